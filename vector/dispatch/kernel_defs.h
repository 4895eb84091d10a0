// Macros that define the exported kernel symbols of an entry around a kernel
// description, one per shape: qor_k_<entry>_<tag> and qor_k_<entry>I_<tag>.
// <tag> names the tiers the kernel serves (LA, HA, EP, LAHA, LAEP, ALL), as
// tools/manifest.py expects; the I kernel forwards unit strides to that slot.
#ifndef QOR_VECTOR_KERNEL_DEFS_H
#define QOR_VECTOR_KERNEL_DEFS_H

#include "vector/dispatch/frame.h"

// Declares the hidden table of a unit-stride entry, for I forms to forward through.
#define QOR_UNIT_TABLE(entry) extern "C" __attribute__((visibility("hidden"))) BexKernelTable qor_ttab_##entry;

// Defines the unit and strided kernels of a one-input, one-output entry:
// qor_k_<entry>_<tag> and qor_k_<entry>I_<tag>, both running description K in
// frame variant Env.
#define QOR_UNARY_KERNELS(entry, tag, K, Env)                                                          \
  QOR_UNIT_TABLE(entry)                                                                               \
  extern "C" void qor_k_##entry##_##tag(int n, const K::T *a, K::T *r) {                              \
    ::qor::bex::Frame<K, Env>::run_unit(n, {{a, a}, {1, 1}, {r, r}, {1, 1}});                         \
  }                                                                                                   \
  extern "C" void qor_k_##entry##I_##tag(int n, const K::T *a, int inca, K::T *r, int incr) {        \
    if (inca == 1 && incr == 1) {                                                                     \
      using Unit = void (*)(int, const K::T *, K::T *);                                               \
      return ((Unit)qor_ttab_##entry.kernel[::qor::bex::forward_slot(#tag)])(n, a, r);                \
    }                                                                                                 \
    ::qor::bex::Frame<K, Env>::run_strided(n, {{a, a}, {inca, inca}, {r, r}, {incr, incr}});          \
  }

#endif
