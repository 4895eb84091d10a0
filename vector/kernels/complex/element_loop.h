// The element-loop frame of the complex functions that have no vector form
// (Cos, Sin, Tan, their hyperbolic and inverse kin, Ln, Log10, Pow, Powx).
//
// The loop sets the Extended x87 state (64-bit significand, round to nearest,
// x87 exceptions masked; the SSE unit only gets its exception masks) and calls
// one routine per element on a pair of doubles:
//
//   int routine(double out[2], const double in[2]);                 // unary
//   int routine(double out[2], const double a[2], const double b[2]); // Pow
//
// A `c` kernel and its `z` twin call the same routine: the `c` kernel widens
// the element to doubles and narrows the result, both by x87 loads and stores
// (no SSE conversion, so DAZ and FTZ cannot touch a part). A part that narrows
// to a denormal raises the underflow flag by squaring the least normal float;
// the stored result stands. Kernels with a reporter call it after the routine
// with the routine's status, or with status 3 when a part of the result is
// infinite although both inputs were finite.
#ifndef QOR_KERNELS_COMPLEX_ELEMENT_LOOP_H
#define QOR_KERNELS_COMPLEX_ELEMENT_LOOP_H

#include <stdint.h>
#include <string.h>

#include "vector/dispatch/kernel_defs.h"

namespace qor::kernels::cplx {

using UnaryRoutine = int (*)(double out[2], const double in[2]);
using BinaryRoutine = int (*)(double out[2], const double a[2], const double b[2]);

namespace element {

// Elements of either type, read into and written from a pair of doubles.
inline void load(const QorComplex16 *p, double d[2]) { memcpy(d, p, 16); }
inline void load(const QorComplex8 *p, double d[2]) {
  __asm__("flds %2\n\tfstpl %0\n\tflds %3\n\tfstpl %1"
          : "=m"(d[0]), "=m"(d[1])
          : "m"(p->re), "m"(p->im));
}
inline void store(QorComplex16 *p, const double d[2]) { memcpy(p, d, 16); }
inline void store(QorComplex8 *p, const double d[2]) {
  float f[2];
  __asm__("fldl %2\n\tfstps %0\n\tfldl %3\n\tfstps %1"
          : "=m"(f[0]), "=m"(f[1])
          : "m"(d[0]), "m"(d[1]));
  uint32_t b[2];
  memcpy(b, f, 8);
  memcpy(p, f, 8);
  const bool denormal = ((b[0] & 0x7f800000u) == 0 && (b[0] & 0x007fffffu) != 0) ||
                        ((b[1] & 0x7f800000u) == 0 && (b[1] & 0x007fffffu) != 0);
  if (__builtin_expect(denormal, 0)) {
    volatile float least = 0x1p-126f, tiny;
    tiny = least * least;  // raises underflow (and inexact) in MXCSR
    (void)tiny;
  }
}

// Elements are read through pointers and copied bytewise: a caller's array
// need not be aligned to its element type.
template <class E> bool finite(const E *e) {
  if constexpr (sizeof(E) == 16) {
    uint64_t b[2];
    memcpy(b, e, 16);
    return (b[0] & 0x7ff0000000000000ull) != 0x7ff0000000000000ull &&
           (b[1] & 0x7ff0000000000000ull) != 0x7ff0000000000000ull;
  } else {
    uint32_t b[2];
    memcpy(b, e, 8);
    return (b[0] & 0x7f800000u) != 0x7f800000u && (b[1] & 0x7f800000u) != 0x7f800000u;
  }
}
template <class E> bool has_inf(const E *e) {
  if constexpr (sizeof(E) == 16) {
    uint64_t b[2];
    memcpy(b, e, 16);
    return (b[0] << 1) == 0xffe0000000000000ull || (b[1] << 1) == 0xffe0000000000000ull;
  } else {
    uint32_t b[2];
    memcpy(b, e, 8);
    return (b[0] << 1) == 0xff000000u || (b[1] << 1) == 0xff000000u;
  }
}

// The status a reporting kernel passes on: the routine's own, else overflow
// when a finite element (and exponent) gave an infinite part.
template <class E> int overflow_status(int st, bool inputs_finite, const E *r) {
  return st != 0 ? st : (inputs_finite && has_inf(r)) ? 3 : 0;
}

// The reporter converts the parts of a `c` record in the SSE unit: it runs
// under the state the Mode word's denormal field selects, as in the standard
// frame, not under the caller's flush settings; the flags it raises stay.
struct ReportCsr {
  uint32_t saved;
  ReportCsr() : saved(_mm_getcsr()) {
    const bool flush = (bex::get_mode() & BEX_DENORMAL_MASK) == BEX_FTZDAZ_ON;
    _mm_setcsr((flush ? 0x9fc0u : 0x1f80u) | (saved & 0x3fu));
  }
  ~ReportCsr() { _mm_setcsr(saved | (_mm_getcsr() & 0x3fu)); }
};
inline void report(int st, int i, const QorComplex8 *a, int inca, const QorComplex8 *b, int incb, QorComplex8 *r,
                   int incr, const char *name) {
  ReportCsr csr;
  bex::report_cI(st, i, a, inca, b, incb, r, incr, r, incr, name);
}
inline void report(int st, int i, const QorComplex16 *a, int inca, const QorComplex16 *b, int incb,
                   QorComplex16 *r, int incr, const char *name) {
  ReportCsr csr;
  bex::report_zI(st, i, a, inca, b, incb, r, incr, r, incr, name);
}

inline void barrier() { __asm__ volatile("" ::: "memory"); }

}  // namespace element

// One input: r[i] = f(a[i]) for i = 0..n-1 at strides inca, incr (elements).
template <class E, UnaryRoutine F, bool Report>
void run_unary(int n, const E *a, int inca, E *r, int incr, const char *name) {
  bex::SavedEnv env = bex::ExtendedX87Env::enter();
  element::barrier();
  for (int i = 0; i < n; ++i) {
    const long ia = bex::strided_index(i, inca), ir = bex::strided_index(i, incr);
    double in[2], out[2];
    element::load(a + ia, in);
    const bool fin = Report && element::finite(a + ia);
    const int st = F(out, in);
    element::store(r + ir, out);
    if constexpr (Report) {
      const int s = element::overflow_status(st, fin, r + ir);
      if (__builtin_expect(s != 0, 0)) element::report(s, i, a, inca, a, inca, r, incr, name);
    }
  }
  element::barrier();
  bex::fpenv::leave(env);
}

// Two inputs (Pow): r[i] = f(a[i], b[i]); Powx passes incb = 0, so both
// entries run the same routine on the same pairs.
template <class E, BinaryRoutine F, bool Report>
void run_binary(int n, const E *a, int inca, const E *b, int incb, E *r, int incr, const char *name) {
  bex::SavedEnv env = bex::ExtendedX87Env::enter();
  element::barrier();
  for (int i = 0; i < n; ++i) {
    const long ia = bex::strided_index(i, inca), ib = bex::strided_index(i, incb), ir = bex::strided_index(i, incr);
    double x[2], y[2], out[2];
    element::load(a + ia, x);
    element::load(b + ib, y);
    const bool fin = Report && element::finite(a + ia) && element::finite(b + ib);
    const int st = F(out, x, y);
    element::store(r + ir, out);
    if constexpr (Report) {
      const int s = element::overflow_status(st, fin, r + ir);
      if (__builtin_expect(s != 0, 0)) element::report(s, i, a, inca, b, incb, r, incr, name);
    }
  }
  element::barrier();
  bex::fpenv::leave(env);
}

}  // namespace qor::kernels::cplx

// The unit and I kernels of a one-input element-loop entry, e.g.
// QOR_COMPLEX_ELEMENT_UNARY(cCos, ALL, QorComplex8, cos_routine, true).
// The name string is "v" followed by the entry ("vcCos").
#define QOR_COMPLEX_ELEMENT_UNARY(entry, tag, E, routine, report)                                       \
  QOR_CUSTOM_UNARY(entry, tag, E, ([](int n, const E *a, E *r) {                                      \
                     ::qor::kernels::cplx::run_unary<E, routine, report>(n, a, 1, r, 1, "v" #entry);   \
                   }),                                                                                \
                   ([](int n, const E *a, int inca, E *r, int incr) {                                 \
                     ::qor::kernels::cplx::run_unary<E, routine, report>(n, a, inca, r, incr, "v" #entry); \
                   }))

// Both types of a one-input entry with one routine, reporter flag and tag.
#define QOR_COMPLEX_ELEMENT_KERNELS(name, tag, routine, report)                                        \
  QOR_COMPLEX_ELEMENT_UNARY(c##name, tag, QorComplex8, routine, report)                               \
  QOR_COMPLEX_ELEMENT_UNARY(z##name, tag, QorComplex16, routine, report)

// Pow: (n, a, b, r) and (n, a, inca, b, incb, r, incr).
#define QOR_COMPLEX_ELEMENT_POW(entry, tag, E, routine, report)                                         \
  QOR_CUSTOM_BINARY(entry, tag, E, ([](int n, const E *a, const E *b, E *r) {                         \
                      ::qor::kernels::cplx::run_binary<E, routine, report>(n, a, 1, b, 1, r, 1, "v" #entry); \
                    }),                                                                               \
                    ([](int n, const E *a, int inca, const E *b, int incb, E *r, int incr) {          \
                      ::qor::kernels::cplx::run_binary<E, routine, report>(n, a, inca, b, incb, r, incr, \
                                                                           "v" #entry);               \
                    }))

// Powx: the exponent is one element, read through a pointer (the entry point
// has already made its private copy): (n, a, b, r) and (n, a, inca, b, r, incr).
#define QOR_COMPLEX_ELEMENT_POWX(entry, tag, E, routine, report)                                        \
  QOR_UNIT_TABLE(entry)                                                                               \
  extern "C" void qor_k_##entry##_##tag(int n, const E *a, const E *b, E *r) {                       \
    ::qor::kernels::cplx::run_binary<E, routine, report>(n, a, 1, b, 0, r, 1, "v" #entry);            \
  }                                                                                                   \
  extern "C" void qor_k_##entry##I_##tag(int n, const E *a, int inca, const E *b, E *r, int incr) {  \
    if (inca == 1 && incr == 1) {                                                                     \
      using Unit = void (*)(int, const E *, const E *, E *);                                          \
      QOR_FORWARD_UNIT(entry, tag, Unit, n, a, b, r);                                                 \
    }                                                                                                 \
    ::qor::kernels::cplx::run_binary<E, routine, report>(n, a, inca, b, 0, r, incr, "v" #entry);      \
  }

#endif
