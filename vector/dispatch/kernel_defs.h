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

// The unit-stride test of every I kernel: all strides 1 go through the unit
// table's slot of the tier the kernel serves, with the strides dropped.
#define QOR_FORWARD_UNIT(entry, tag, Sig, ...) \
  return ((Sig)qor_ttab_##entry.kernel[::qor::bex::forward_slot(#tag)])(__VA_ARGS__)

// As QOR_UNARY_KERNELS, with separate descriptions for the unit (KU) and
// strided (KI) forms, which may differ in block size.
#define QOR_UNARY_KERNELS2(entry, tag, KU, KI, Env)                                                    \
  QOR_UNIT_TABLE(entry)                                                                               \
  extern "C" void qor_k_##entry##_##tag(int n, const KU::T *a, KU::T *r) {                            \
    ::qor::bex::Frame<KU, Env>::run_unit(n, {{a, a}, {1, 1}, {r, r}, {1, 1}});                        \
  }                                                                                                   \
  extern "C" void qor_k_##entry##I_##tag(int n, const KU::T *a, int inca, KU::T *r, int incr) {      \
    if (inca == 1 && incr == 1) {                                                                     \
      using Unit = void (*)(int, const KU::T *, KU::T *);                                             \
      QOR_FORWARD_UNIT(entry, tag, Unit, n, a, r);                                                    \
    }                                                                                                 \
    ::qor::bex::Frame<KI, Env>::run_strided(n, {{a, a}, {inca, inca}, {r, r}, {incr, incr}});         \
  }

// Two inputs, one output: (n, a, b, r) and (n, a, inca, b, incb, r, incr).
#define QOR_BINARY_KERNELS(entry, tag, KU, KI, Env)                                                    \
  QOR_UNIT_TABLE(entry)                                                                               \
  extern "C" void qor_k_##entry##_##tag(int n, const KU::T *a, const KU::T *b, KU::T *r) {           \
    ::qor::bex::Frame<KU, Env>::run_unit(n, {{a, b}, {1, 1}, {r, r}, {1, 1}});                        \
  }                                                                                                   \
  extern "C" void qor_k_##entry##I_##tag(int n, const KU::T *a, int inca, const KU::T *b, int incb,  \
                                         KU::T *r, int incr) {                                        \
    if (inca == 1 && incb == 1 && incr == 1) {                                                        \
      using Unit = void (*)(int, const KU::T *, const KU::T *, KU::T *);                              \
      QOR_FORWARD_UNIT(entry, tag, Unit, n, a, b, r);                                                 \
    }                                                                                                 \
    ::qor::bex::Frame<KI, Env>::run_strided(n, {{a, b}, {inca, incb}, {r, r}, {incr, incr}});         \
  }

// One input, two outputs: (n, a, r1, r2) and (n, a, inca, r1, incr1, r2, incr2).
#define QOR_TWO_OUT_KERNELS(entry, tag, KU, KI, Env)                                                   \
  QOR_UNIT_TABLE(entry)                                                                               \
  extern "C" void qor_k_##entry##_##tag(int n, const KU::T *a, KU::T *r1, KU::T *r2) {               \
    ::qor::bex::Frame<KU, Env>::run_unit(n, {{a, a}, {1, 1}, {r1, r2}, {1, 1}});                      \
  }                                                                                                   \
  extern "C" void qor_k_##entry##I_##tag(int n, const KU::T *a, int inca, KU::T *r1, int incr1,      \
                                         KU::T *r2, int incr2) {                                      \
    if (inca == 1 && incr1 == 1 && incr2 == 1) {                                                      \
      using Unit = void (*)(int, const KU::T *, KU::T *, KU::T *);                                    \
      QOR_FORWARD_UNIT(entry, tag, Unit, n, a, r1, r2);                                               \
    }                                                                                                 \
    ::qor::bex::Frame<KI, Env>::run_strided(n, {{a, a}, {inca, inca}, {r1, r2}, {incr1, incr2}});     \
  }

// One real input, interleaved complex output (CIS): a two-output description
// K (lanes(V a, V &re, V &im, M &bad)) whose first result is the real part and
// second the imaginary part. r points at n complex elements seen as pairs of
// K::T; incr counts complex elements. The unit form runs the frame's unit
// path in chunks into two stack arrays and interleaves them; an array with a
// non-finite element (the only ones that can report) runs the strided
// addressing instead, so that a report sees the caller's arrays and indices.
// Chunks are whole blocks, so results do not depend on the path.
namespace qor::bex {
// Whether a[0..n) holds an infinity or NaN: integer compares of the
// magnitude bits (no floating-point operation under the caller's MXCSR).
template <class T> bool any_non_finite(int n, const T *a) {
  const bool wide = sizeof(T) == 8;
  const __m128i mag = wide ? _mm_set1_epi64x(0x7fffffff00000000ll) : _mm_set1_epi32(0x7fffffff);
  const __m128i lim = wide ? _mm_set1_epi64x(0x7fefffffll << 32) : _mm_set1_epi32(0x7f7fffff);
  constexpr int W = 16 / sizeof(T);
  __m128i any = _mm_setzero_si128();
  int i = 0;
  for (; i + W <= n; i += W)
    any = _mm_or_si128(any, _mm_cmpgt_epi32(_mm_and_si128(_mm_loadu_si128((const __m128i *)(a + i)), mag), lim));
  bool found = _mm_movemask_epi8(any) != 0;
  for (; i < n; ++i) {
    uint64_t b = 0;
    memcpy(&b, a + i, sizeof(T));
    found |= wide ? (b & 0x7ff0000000000000ull) == 0x7ff0000000000000ull : (b & 0x7f800000u) == 0x7f800000u;
  }
  return found;
}

template <class K, class Env> void run_r2c_unit(int n, const typename K::T *a, typename K::T *r) {
  using T = typename K::T;
  if (any_non_finite(n, a)) return Frame<K, Env>::run_strided(n, {{a, a}, {1, 1}, {r, r + 1}, {2, 2}});
  constexpr int C = 256;
  alignas(64) T re[C], im[C];
  for (int i = 0; i < n; i += C) {
    const int m = n - i < C ? n - i : C;
    Frame<K, Env>::run_unit(m, {{a + i, a + i}, {1, 1}, {re, im}, {1, 1}});
    T *out = r + 2 * (long)i;
    int j = 0;
    if constexpr (sizeof(T) == 8) {
      for (; j + 2 <= m; j += 2) {
        const __m128d c = _mm_load_pd(re + j), s = _mm_load_pd(im + j);
        _mm_storeu_pd(out + 2 * j, _mm_unpacklo_pd(c, s));
        _mm_storeu_pd(out + 2 * j + 2, _mm_unpackhi_pd(c, s));
      }
    } else {
      for (; j + 4 <= m; j += 4) {
        const __m128 c = _mm_load_ps(re + j), s = _mm_load_ps(im + j);
        _mm_storeu_ps(out + 2 * j, _mm_unpacklo_ps(c, s));
        _mm_storeu_ps(out + 2 * j + 4, _mm_unpackhi_ps(c, s));
      }
    }
    for (; j < m; ++j) simd::put(out + 2 * j, re[j]), simd::put(out + 2 * j + 1, im[j]);
  }
}
}  // namespace qor::bex

#define QOR_R2C_KERNELS(entry, tag, KU, KI, Env)                                                       \
  QOR_UNIT_TABLE(entry)                                                                               \
  extern "C" void qor_k_##entry##_##tag(int n, const KU::T *a, KU::T *r) {                            \
    ::qor::bex::run_r2c_unit<KU, Env>(n, a, r);                                                       \
  }                                                                                                   \
  extern "C" void qor_k_##entry##I_##tag(int n, const KU::T *a, int inca, KU::T *r, int incr) {      \
    if (inca == 1 && incr == 1) {                                                                     \
      using Unit = void (*)(int, const KU::T *, KU::T *);                                             \
      QOR_FORWARD_UNIT(entry, tag, Unit, n, a, r);                                                    \
    }                                                                                                 \
    ::qor::bex::Frame<KI, Env>::run_strided(n, {{a, a}, {inca, inca}, {r, r + 1}, {2 * incr, 2 * incr}}); \
  }

// Kernels with a loop of their own instead of the frame's (plain element
// loops, complex block kernels). E is the element pointer type the kernel
// works in (float or double; complex elements as interleaved pairs); the
// functions unit_fn and strided_fn take the arguments of the shape.
#define QOR_CUSTOM_UNARY(entry, tag, E, unit_fn, strided_fn)                                           \
  QOR_UNIT_TABLE(entry)                                                                               \
  extern "C" void qor_k_##entry##_##tag(int n, const E *a, E *r) { unit_fn(n, a, r); }                \
  extern "C" void qor_k_##entry##I_##tag(int n, const E *a, int inca, E *r, int incr) {              \
    if (inca == 1 && incr == 1) {                                                                     \
      using Unit = void (*)(int, const E *, E *);                                                     \
      QOR_FORWARD_UNIT(entry, tag, Unit, n, a, r);                                                    \
    }                                                                                                 \
    strided_fn(n, a, inca, r, incr);                                                                  \
  }

#define QOR_CUSTOM_BINARY(entry, tag, E, unit_fn, strided_fn)                                          \
  QOR_UNIT_TABLE(entry)                                                                               \
  extern "C" void qor_k_##entry##_##tag(int n, const E *a, const E *b, E *r) { unit_fn(n, a, b, r); } \
  extern "C" void qor_k_##entry##I_##tag(int n, const E *a, int inca, const E *b, int incb, E *r,    \
                                         int incr) {                                                  \
    if (inca == 1 && incb == 1 && incr == 1) {                                                        \
      using Unit = void (*)(int, const E *, const E *, E *);                                          \
      QOR_FORWARD_UNIT(entry, tag, Unit, n, a, b, r);                                                 \
    }                                                                                                 \
    strided_fn(n, a, inca, b, incb, r, incr);                                                         \
  }

// The linear fraction: two arrays and four scalars by value.
#define QOR_CUSTOM_LINFRAC(entry, tag, E, unit_fn, strided_fn)                                         \
  QOR_UNIT_TABLE(entry)                                                                               \
  extern "C" void qor_k_##entry##_##tag(int n, const E *a, const E *b, E sa, E ha, E sb, E hb, E *r) {\
    unit_fn(n, a, b, sa, ha, sb, hb, r);                                                              \
  }                                                                                                   \
  extern "C" void qor_k_##entry##I_##tag(int n, const E *a, int inca, const E *b, int incb, E sa,    \
                                         E ha, E sb, E hb, E *r, int incr) {                          \
    if (inca == 1 && incb == 1 && incr == 1) {                                                        \
      using Unit = void (*)(int, const E *, const E *, E, E, E, E, E *);                              \
      QOR_FORWARD_UNIT(entry, tag, Unit, n, a, b, sa, ha, sb, hb, r);                                 \
    }                                                                                                 \
    strided_fn(n, a, inca, b, incb, sa, ha, sb, hb, r, incr);                                         \
  }

// Pack and Unpack: one form, no frame. The entry points pass a fifth argument,
// the width flag; the integer arguments arrive as 64-bit registers and the
// kernel reads them as 32-bit when the flag is 1. The third and fourth
// arguments are a stride or a pointer by kind, so they pass as intptr_t to
// Fn<Elem>, the kind's template, instantiated with the entry's element storage.
#define QOR_PACK_KERNEL(entry, Elem, Fn)                                                           \
  extern "C" void qor_k_##entry##_ALL(intptr_t n, const void *a, intptr_t x3, intptr_t x4, int width) { \
    Fn<Elem>(n, a, x3, x4, width);                                                                \
  }

#endif
