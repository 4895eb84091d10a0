// LGamma, s and d: one scalar x87 routine serves all three tiers. ln|Gamma|
// in extended precision, by intervals:
//   x >= 128       Stirling's series, its tail S(x) = w P(w^2) fitted (3 terms);
//   [1, 128)       16 fitted rows a binade of 12 terms, read by the top bits
//                  of x: a polynomial, no logarithm and no division; the rows
//                  at the zeros 1 and 2 carry the factor (x - 1) or (x - 2),
//                  so that the result keeps its relative accuracy near them;
//   (0, 1)         lgamma(x + 1) - ln x;
//   (-32, 0)       the [2, 3) rows minus ln|x (x+1) ... (x+n-1)|: the product
//                  is formed to 64 bits, so the zeros of lgamma between -2
//                  and -6 are met with an absolute error near 2^-62;
//   below -32      reflection, ln pi - ln|sin(pi x)| - lgamma(1 - x).
// The logarithms come from the 256-row table of gamma_x87.h (no fyl2x); the
// coefficients beyond the leading ones are held in double, whose loads cost
// the x87 unit far less than 80-bit ones, and the long sums run by Estrin's
// scheme. The result is narrowed once.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/gamma/gamma_x87.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::gamma;
using namespace qor::kernels::gamma_tables;

// Short = true for the float routine: rows through t^7, Stirling's tail in
// one term, ln through r^4 (errors near 2^-39 of the result), which keeps
// its result correctly rounded but for the rounding of the float.

// The bits of x rounded to double: the row index of an extended value.
inline uint64_t double_bits(ld x) {
  const double d = (double)x;
  uint64_t b;
  memcpy(&b, &d, 8);
  return b;
}

// lgamma on [1, 128) by row i (16 b + q for [2^b (1 + q/16), 2^b (1 + (q+1)/16))).
template <bool Short> [[gnu::always_inline]] inline ld lgamma_row(ld x, unsigned i) {
  const LGammaBinadeRow &row = kLGamma[i];
  const ld t = x - row.centre;
  const ld t2 = t * t;
  const double *c = row.p.rest;
  ld tail;  // the terms from t^3 on
  if constexpr (Short) tail = (c[0] + t * c[1]) + t2 * ((c[2] + t * c[3]) + t2 * c[4]);
  else tail = estrin(row.p.rest, t);
  const ld p = row.p.wide[0] + (t * row.p.wide[1] + t2 * (row.p.wide[2] + t * tail));
  if (i > 16 || (i != 0 && i < 15)) return p;
  return p * (x - (i == 0 ? 1 : 2)) + 0;  // + 0: lgamma(1) = lgamma(2) = +0
}
// The row of x in [1, 128) from the top 16 bits of x as a double. Where x is
// an extended value that rounds up into the next row, t lies a half ulp of the
// double outside the row, which its polynomial covers all the same.
inline unsigned row_of(uint64_t bits) { return (unsigned)(bits >> 48) - 0x3ff0u; }

// Stirling's series for x >= 128: the tail S(x) first, then the sum with
// ln x (in this order the x87 stack holds the live values without a spill).
template <bool Short> [[gnu::always_inline]] inline ld stirling_tail(ld x) {
  const ld w = 1 / x, w2 = w * w;
  if constexpr (Short) return w * kStirlingShort[0];
  else return w * (kStirling[0] + w2 * (kStirling[1] + w2 * kStirling[2]));
}
[[gnu::always_inline]] inline ld stirling_sum(ld x, ld lnx, ld s) {
  // (x - 1/2) ln x - x as x (ln x - 1) - ln x / 2: ln x - 1 is exact (ln x > 4),
  // and the halving too
  return (x * (lnx - 1) - lnx * 0.5) + (kHalfLn2PiHi + (kHalfLn2PiLo + s));
}

// lgamma(y) for an extended y >= 1 (below overflow).
template <bool Short> ld lgamma_pos(ld y) {
  const uint64_t bits = double_bits(y);
  if ((bits >> 48) >= kLGammaRowsEnd) {
    const ld s = stirling_tail<Short>(y);
    return stirling_sum(y, log_table<Short>(y), s);
  }
  return lgamma_row<Short>(y, row_of(bits));
}

// ln|Gamma(x)| for finite x, not zero nor a negative integer, below overflow;
// `mag` are the bits of |x| as a double.
template <bool Short> ld lgamma_ext(ld x, bool negative, uint64_t mag) {
  if (!negative) {
    if ((mag >> 48) >= kLGammaRowsEnd) {
      const ld s = stirling_tail<Short>(x);
      return stirling_sum(x, log_bits<Short>(mag), s);
    }
    if (mag >= 0x3ff0000000000000ull) return lgamma_row<Short>(x, row_of(mag));
    // (0, 1): lgamma(x + 1) - ln x, the row of x + 1 being floor(16 x), by
    // integer shifts of x's significand (0 below 1/16 and for denormals)
    const int shift = 48 - ((int)(mag >> 52) - 1023);
    const uint64_t sig = (mag & 0x000fffffffffffffull) | 0x0010000000000000ull;
    const unsigned i = shift < 64 ? (unsigned)(sig >> shift) : 0;
    const ld lnx = mag >= 0x0010000000000000ull ? log_bits<Short>(mag) : log_table<Short>(x);
    return lgamma_row<Short>(x + 1, i) - lnx;
  }
  if (x > -32) {
    const ld fl = x87_floor(x);
    const int n = 2 - (int)fl;
    const ld p = rising_product(x, n);
    const ld y = x + n;  // in [2, 3)
    return lgamma_row<Short>(y, row_of(double_bits(y))) - log_table<Short>(p < 0 ? -p : p);
  }
  const ld f = x - x87_rint(x);  // exact, |f| <= 1/2
  const ld s = x87_sin(kPi * (f < 0 ? -f : f));
  return kLnPi - log_table<Short>(s) - lgamma_pos<Short>(1 - x);
}

// The double input bound: lgamma above 2.5599833278516383e+305 overflows.
constexpr uint64_t kDOverflowBits = 0x7f5754d9278b51a7ull;
static_assert(__builtin_bit_cast(double, kDOverflowBits) == 2.5599833278516383e+305, "overflow bound");

template <class T> int lgamma_scalar(const T *a, T *r) {
  const Input in = classify(a);
  if (in.is_nan() || in.is_inf()) {  // +Inf for both infinities, NaN stays NaN
    *r = (T)(in.x * in.x);
    return 0;
  }
  if (in.is_zero()) {
    *r = (T)inf_ext();
    return 2;
  }
  if (sizeof(T) == 8 && !in.negative && in.mag > kDOverflowBits) {
    *r = (T)((ld)__DBL_MAX__ * (ld)__DBL_MAX__);  // overflows in the narrowing
    return 3;
  }
  if (in.negative && x87_rint(in.x) == in.x) {  // a pole
    *r = (T)inf_ext();
    return 2;
  }
  return narrow(lgamma_ext<sizeof(T) == 4>(in.x, in.negative, in.mag), r) ? 3 : 0;
}

int slgamma_scalar(const float *a, float *r) { return lgamma_scalar(a, r); }
int dlgamma_scalar(const double *a, double *r) { return lgamma_scalar(a, r); }

constexpr char kSName[] = "vsLGamma", kDName[] = "vdLGamma";
using SLGamma = ScalarOnly<float, kSName, slgamma_scalar>;
using DLGamma = ScalarOnly<double, kDName, dlgamma_scalar>;

QOR_ACCURACY(dLGamma, LA, ULP, 4.0)
QOR_ACCURACY(dLGamma, HA, ULP, 1.0)
QOR_ACCURACY(dLGamma, EP, BITS, 26)
QOR_ABSOLUTE_BELOW(dLGamma, 0.0, 0x1p-52)  // the zeros of lgamma for negative x
QOR_INTERVAL(dLGamma, 0.0, 20.0, 300000)
QOR_INTERVAL_LOG(dLGamma, 4.9e-324, 2.6e305, 300000)  // every binade up to overflow
QOR_INTERVAL(dLGamma, -40.0, 0.0, 300000)              // poles, zeros, the reflection seam at -32
QOR_INTERVAL(dLGamma, 0.9, 1.1, 5000)                  // the zero at 1
QOR_INTERVAL(dLGamma, 1.9, 2.1, 5000)                  // the zero at 2
QOR_INTERVAL(dLGamma, 2.5599833278516e305, 2.5599833278517e305, 1000)  // overflow bound
QOR_INTERVAL(dLGamma, -2.8, -2.3, 5000)                // the zeros near -2.46 and -2.75
QOR_INTERVAL(dLGamma, -1e15, -30.0, 5000)
QOR_INTERVAL(dLGamma, 126.0, 130.0, 5000)              // the seam of the rows and the series at 128
QOR_INTERVAL(dLGamma, -130.0, -126.0, 5000)              // the same seam in 1 - x

QOR_ACCURACY(sLGamma, LA, ULP, 4.0)
QOR_ACCURACY(sLGamma, HA, ULP, 1.0)
QOR_ACCURACY(sLGamma, EP, BITS, 11)
QOR_ABSOLUTE_BELOW(sLGamma, 0.0, 0x1p-23)
QOR_INTERVAL(sLGamma, 0.0, 20.0, 300000)
QOR_INTERVAL_LOG(sLGamma, 1.4e-45, 3.4e38, 300000)
QOR_INTERVAL(sLGamma, -40.0, 0.0, 300000)
QOR_INTERVAL(sLGamma, 0.9, 1.1, 5000)
QOR_INTERVAL(sLGamma, 1.9, 2.1, 5000)
QOR_INTERVAL(sLGamma, 4.0e36, 4.2e36, 1000)  // the float overflow bound
QOR_INTERVAL(sLGamma, -2.8, -2.3, 5000)
QOR_INTERVAL(sLGamma, -1e7, -30.0, 5000)
QOR_INTERVAL(sLGamma, 126.0, 130.0, 5000)
QOR_INTERVAL(sLGamma, -130.0, -126.0, 5000)

}  // namespace
}  // namespace qor::kernels

using qor::kernels::gamma::ExtendedX87ModeEnv;
QOR_UNARY_KERNELS(sLGamma, ALL, qor::kernels::SLGamma, ExtendedX87ModeEnv)
QOR_UNARY_KERNELS(dLGamma, ALL, qor::kernels::DLGamma, ExtendedX87ModeEnv)
