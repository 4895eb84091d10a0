// The inverse error-function kernels: ErfInv, ErfcInv and CdfNormInv all
// reduce to w in (0, 1.25), the distance of erf(result) from +-1, and read
// one row per quarter binade of w. The row holds a polynomial P in s, the
// mantissa of w with its exponent and top two bits replaced by those of 1.0,
// minus the table's centre; the result is P(s) * x, where x (the odd part)
// carries the sign. The row index is 0xFFC - (high word of w >> 18): the
// exponent and top two mantissa bits, so the tail needs no branch.
//
// The single kernels run the same arithmetic in double on two halves, with
// their own tables (w of a float input spans more binades than a float w).
#ifndef QOR_KERNELS_ERFINV_COMMON_H
#define QOR_KERNELS_ERFINV_COMMON_H

#include <math.h>

#include "vector/dispatch/fpenv.h"
#include "vector/dispatch/simd.h"
#include "vector/kernels/erfinv/erfinv_tables.inc"
#include "vector/kernels/exact.h"

namespace qor::kernels::erfinv {

using namespace qor::simd;

constexpr int32_t kRowBase = 0xFFC;  // high word of 1.0 >> 18: row 0 is w in [1, 1.25)
constexpr uint64_t kQuarterMantissa = 0x0003ffffffffffffull;
constexpr uint64_t kOneBits = 0x3ff0000000000000ull;

// A table: its rows, their width, the centre of s and the evaluation:
// kSplit rows start with c0 as hi + lo (the HA kernels), the others are
// plain coefficients, low order first.
#define QOR_ERFINV_TABLE(Name, Rows, Split, Centre)                          \
  struct Name {                                                              \
    static constexpr int kWidth = sizeof(Rows[0]) / sizeof(double);          \
    static constexpr bool kSplit = Split;                                    \
    static constexpr double kCentre = Centre;                                \
    static const double *row(int32_t k) { return Rows[k]; }                  \
  };

// Horner in s over coefficients [First, Width) of the two lanes' rows.
template <int First, int Width> inline vd2 horner(const double *r0, const double *r1, vd2 s) {
  vd2 p = vd2{r0[Width - 1], r1[Width - 1]};
  for (int k = Width - 2; k >= First; --k) p = p * s + vd2{r0[k], r1[k]};
  return p;
}

// P(s) * x for w, x (two lanes); lanes flagged `bad` read row 0 so that no
// index leaves the table.
template <class Tab> inline vd2 evaluate(vd2 w, vd2 x, vl2 bad) {
  const vi4 idx = (kRowBase - (words(w) >> 18)) & ~as<vi4>(bad);
  const double *r0 = Tab::row(idx[1]), *r1 = Tab::row(idx[3]);
  const vd2 s = as<vd2>((as<vq2>(w) & kQuarterMantissa) | kOneBits) - Tab::kCentre;
  if constexpr (!Tab::kSplit) {
    return horner<0, Tab::kWidth>(r0, r1, s) * x;
  } else {
    // x c0 exactly as hi + lo; the rest of the polynomial is small beside c0.
    const vd2 c0 = vd2{r0[0], r1[0]};
    const vd2 t = vd2{r0[1], r1[1]} + s * horner<2, Tab::kWidth>(r0, r1, s);
    vd2 hi, lo;
    exact::two_product(x, c0, hi, lo);
    return hi + (lo + x * t);
  }
}

// The lane of a splatted evaluation, for the scalar routines.
template <class Tab> inline double evaluate1(double w, double x) {
  return evaluate<Tab>(vd2{w, w}, vd2{x, x}, vl2{0, 0})[0];
}

// Lane test on the high words of two doubles: flagged unless lo <= hw < hi.
inline vl2 high_word_outside(vd2 v, int32_t lo, int32_t hi) {
  const vi4 h = words(v);
  return from_high_words((h < lo) | (h >= hi));
}

// The float kernels: the double core on both halves, one rounding to float.
template <class Core> inline vf4 on_halves(vf4 a) {
  return narrow(Core::run(low_pair(a)), Core::run(high_pair(a)));
}

template <class T> inline T nan_of_domain() {
  volatile T inf = INFINITY, zero = 0;
  return inf * zero;
}
template <class T> inline T pole(bool negative) {
  volatile T one = negative ? -1 : 1, zero = 0;
  return one / zero;
}

// erfinv(x) for 0 < |x| < 2.9103830456733704e-11, where the cubic term is
// below 2^-70 of the result: x sqrt(pi)/2, formed at 2^256 times the scale
// with x split into 18 bits and the rest, so that a denormal result comes from
// one rounding of a nearly exact value.
inline double tiny_linear(double x) {
  if (x == 0) return x;
  const double y = x * 0x1p256;
  const double yh = y * 103079215105.0 - y * 103079215104.0;  // (3 2^35 + 1) y - 3 2^35 y
  const double yl = y - yh;
  using namespace erfinv_tables;
  const double v = yh * kSqrtPiHalfHi + (yh * kSqrtPiHalfLo + yl * kSqrtPiHalf);
  return v * 0x1p-256;
}

// erfcinv(w) for 0 < w <= 2^kDeepD, where z > 13: Newton steps on
// ln erfc(z) = ln w in extended precision, with erfc(z) = exp(-z^2) /
// (sqrt(pi) D(z)) and D the continued fraction z + (1/2)/(z + 1/(z + ...)).
// Then (ln erfc)' = -2 D, and the step is z += g / (2 D) with
// g = -z^2 - ln sqrt(pi) - ln D - ln w.
__attribute__((noinline)) inline void erfcinv_tail_extended(const double *w, long double scale, double *r) {
  qor::bex::fpenv::X87ExtendedScope x87;
  auto ln = [](long double v) {  // ln 2 * log2(v) by the x87 unit
    long double y;
    __asm__("fyl2x" : "=t"(y) : "0"(v), "u"(erfinv_tables::kLn2) : "st(1)");
    return y;
  };
  const long double lw = ln((long double)*w);
  long double z = __builtin_sqrtl(-lw);
  for (int it = 0; it < 8; ++it) {
    long double d = z;
    for (int k = 40; k >= 1; --k) d = z + (0.5L * k) / d;
    const long double g = -z * z - erfinv_tables::kLnSqrtPi - ln(d) - lw;
    z += g / (2 * d);
  }
  *r = (double)(scale * z);
  __asm__ volatile("" : : "m"(*r) : "memory");
}
inline double erfcinv_tail(double w, long double scale) {
  double r;
  erfcinv_tail_extended(&w, scale, &r);
  return r + 0.0;
}

}  // namespace qor::kernels::erfinv

#endif
