// LGamma, s and d: one scalar x87 routine serves all three tiers. ln|Gamma|
// in extended precision, by intervals:
//   x >= 12        Stirling's series in 1/x^2 (1/12, -1/360, ...);
//   [3, 12)        the [2, 3) row plus the log of the rising product;
//   [1, 3)         32 fitted rows of 12 terms; the rows at the zeros 1 and 2
//                  carry the factor (x - 1) or (x - 2), so that the result
//                  keeps its relative accuracy as it goes to zero;
//   (0, 1)         lgamma(x + 1) - ln x;
//   (-32, 0)       the [2, 3) row minus ln|x (x+1) ... (x+n-1)|: the product is
//                  formed to 64 bits, so the zeros of lgamma between -2 and -6
//                  are met with an absolute error near 2^-62;
//   below -32      reflection, ln pi - ln|sin(pi x)| - lgamma(1 - x).
// Each path takes one logarithm, from the 256-row table of gamma_x87.h (no
// fyl2x); the coefficients beyond the leading ones are held in double, whose
// loads cost the x87 unit far less than 80-bit ones, and the long sums run
// by Estrin's scheme. The result is narrowed once.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/gamma/gamma_x87.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::gamma;
using namespace qor::kernels::gamma_tables;

// Short = true for the float routine: series cut where their terms fall
// below 2^-36 of the result (rows through t^6, Stirling through 1/x^5, ln
// through r^4), which keeps its result correctly rounded but for the
// rounding of the float.

// lgamma on [1, 3).
template <bool Short> ld lgamma_row(ld y) {
  int i = (int)((y - 1) * 16);
  i = i < 0 ? 0 : i > 31 ? 31 : i;
  const ld t = y - kLGammaCentre[i];
  const LGammaRow &row = kLGamma[i];
  const ld t2 = t * t;
  ld tail;  // the terms from t^3 on
  if constexpr (Short) tail = (row.rest[0] + t * row.rest[1]) + t2 * (row.rest[2] + t * row.rest[3]);
  else tail = estrin(row.rest, t);
  const ld p = row.wide[0] + (t * row.wide[1] + t2 * (row.wide[2] + t * tail));
  return (kLGammaZeroRows >> i) & 1 ? p * t + 0 : p;  // + 0: lgamma(1) = lgamma(2) = +0
}

// Stirling's series for x >= 12, given ln x.
template <bool Short> inline ld lgamma_stirling(ld x, ld lnx) {
  const ld w = 1 / x, w2 = w * w;
  const ld s = Short ? w * (kStirling[0] + w2 * (kStirling[1] + w2 * kStirling[2])) : w * estrin(kStirling, w2);
  return (x - 0.5) * lnx - x + (kHalfLn2PiHi + (kHalfLn2PiLo + s));
}

// ln|Gamma(x)| for finite x, not zero nor a negative integer, below overflow;
// `bits` are those of x as a double.
template <bool Short> ld lgamma_ext(ld x, uint64_t bits) {
  if (x >= 12) return lgamma_stirling<Short>(x, log_bits<Short>(bits));
  if (x >= 3) {
    const int n = (int)x - 2;  // truncation (fisttp): the floor for positive x
    const ld y = x - n;
    return lgamma_row<Short>(y) + log_table<Short>(rising_product(y, n));
  }
  if (x >= 1) return lgamma_row<Short>(x);
  if (x > 0) return lgamma_row<Short>(x + 1) - log_table<Short>(x);
  if (x > -32) {
    const ld fl = x87_floor(x);
    const int n = 2 - (int)fl;
    const ld p = rising_product(x, n);
    return lgamma_row<Short>(x + n) - log_table<Short>(p < 0 ? -p : p);
  }
  const ld f = x - x87_rint(x);  // exact, |f| <= 1/2
  const ld s = x87_sin(kPi * (f < 0 ? -f : f));
  const ld y = 1 - x;
  return kLnPi - log_table<Short>(s) - lgamma_stirling<Short>(y, log_table<Short>(y));
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
  return narrow(lgamma_ext<sizeof(T) == 4>(in.x, in.mag), r) ? 3 : 0;
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

}  // namespace
}  // namespace qor::kernels

using qor::kernels::gamma::ExtendedX87ModeEnv;
QOR_UNARY_KERNELS(sLGamma, ALL, qor::kernels::SLGamma, ExtendedX87ModeEnv)
QOR_UNARY_KERNELS(dLGamma, ALL, qor::kernels::DLGamma, ExtendedX87ModeEnv)
