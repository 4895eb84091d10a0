// TGamma, s and d: one scalar x87 routine serves all three tiers. Gamma(y)
// on [2, 3) from 16 fitted rows of 12 terms, then the recurrence in extended
// precision: multiplied by y (y+1) ... (x-1) above 3 (y = x - floor(x) + 2,
// the row and its centre taken from x's bits), divided by
// x (x+1) ... (y-1) below 2 (negative x included). Each factor is exact or
// rounded once to 64 bits, so even the 187 factors at -185 keep the result
// within 2^-56; the long double range holds every intermediate value, and the
// result is narrowed once (overflow and underflow come out of that store).
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/gamma/gamma_x87.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::gamma;
using namespace qor::kernels::gamma_tables;

// Gamma on [2, 3) by row i, in t = y - (2 + (2i + 1)/32).
[[gnu::always_inline]] inline ld tgamma_poly(unsigned i, ld t) {
  const LGammaRow &row = kTGamma[i];
  const ld t2 = t * t;
  return row.wide[0] + (t * row.wide[1] + t2 * (row.wide[2] + t * estrin(row.rest, t)));
}
// Gamma on [2, 3) for an extended y.
[[gnu::always_inline]] inline ld tgamma_row(ld y) {
  int i = (int)((y - 2) * 16);
  i = i < 0 ? 0 : i > 15 ? 15 : i;
  return tgamma_poly((unsigned)i, y - (2 + (2 * i + 1) / 32.0));
}

// Gamma(x) for finite x in (-185, 172), not zero nor a negative integer;
// `mag` are the bits of |x| as a double.
ld tgamma_ext(ld x, bool negative, uint64_t mag) {
  if (!negative && mag >= 0x4000000000000000ull) {
    // x >= 2: floor(x), the row (the four bits of x below the units) and
    // the row's centre moved by floor(x) - 2 (x cut to sixteenths, plus
    // 1/32) from x's bits, with no conversion on the x87 unit
    const int below = 52 - ((int)(mag >> 52) - 1023);  // bits below the units
    const uint64_t sig = (mag & 0x000fffffffffffffull) | 0x0010000000000000ull;
    const int fl = (int)(sig >> below);
    const uint64_t cbits = (mag & ~((1ull << (below - 4)) - 1)) | (1ull << (below - 5));
    double c;
    memcpy(&c, &cbits, 8);
    const ld g = tgamma_poly((unsigned)(sig >> (below - 4)) & 15, x - c);
    if (fl == 2) return g;
    return g * rising_product(x - (fl - 2), fl - 2);
  }
  const int n = 2 - (int)x87_floor(x);
  return tgamma_row(x + n) / rising_product(x, n);
}

constexpr double kOverflow = 171.62437695630274;  // Gamma above overflows in double (float: in the store)
constexpr ld kZeroBelow = -185;                   // |Gamma| below 2^-1100 from here down

template <class T> int tgamma_scalar(const T *a, T *r) {
  const Input in = classify(a);
  if (in.is_nan()) {
    *r = (T)(in.x + in.x);
    return 0;
  }
  if (in.is_inf()) {
    if (!in.negative) return *r = (T)in.x, 0;
    *r = (T)nan_ext();
    return 1;
  }
  if (in.is_zero()) {  // +-Inf with the sign of the zero
    volatile ld one = 1;
    *r = (T)(one / in.x);
    return 2;
  }
  if (!in.negative && in.x > (ld)kOverflow) {
    *r = (T)inf_ext();
    return 3;
  }
  if (in.negative) {
    const ld fl = x87_floor(in.x);
    if (fl == in.x) {  // a pole: negative integers, every double below -2^52 too
      *r = (T)nan_ext();
      return 1;
    }
    if (in.x < kZeroBelow) {  // the sign alternates with the integer part
      const bool odd = ((int64_t)fl & 1) != 0;
      *r = odd ? -(T)0 : (T)0;
      return 0;
    }
  }
  return narrow(tgamma_ext(in.x, in.negative, in.mag), r) ? 3 : 0;
}

int stgamma_scalar(const float *a, float *r) { return tgamma_scalar(a, r); }
int dtgamma_scalar(const double *a, double *r) { return tgamma_scalar(a, r); }

constexpr char kSName[] = "vsTGamma", kDName[] = "vdTGamma";
using STGamma = ScalarOnly<float, kSName, stgamma_scalar>;
using DTGamma = ScalarOnly<double, kDName, dtgamma_scalar>;

QOR_ACCURACY(dTGamma, LA, ULP, 4.0)
QOR_ACCURACY(dTGamma, HA, ULP, 1.0)
QOR_ACCURACY(dTGamma, EP, BITS, 26)
QOR_INTERVAL(dTGamma, -190.0, 171.7, 300000)          // poles, denormal results, signed zeros
QOR_INTERVAL_LOG(dTGamma, 4.9e-324, 171.7, 300000)    // tiny x: 1/x, overflow below 5.6e-309
QOR_INTERVAL(dTGamma, -4.0, 4.0, 300000)
QOR_INTERVAL(dTGamma, 170.0, 171.7, 5000)             // the overflow bound
QOR_INTERVAL(dTGamma, -185.5, -170.0, 5000)           // underflow to denormals and zero
QOR_INTERVAL(dTGamma, -1e16, -1e3, 5000)

QOR_ACCURACY(sTGamma, LA, ULP, 4.0)
QOR_ACCURACY(sTGamma, HA, ULP, 1.0)
QOR_ACCURACY(sTGamma, EP, BITS, 11)
QOR_INTERVAL(sTGamma, -50.0, 35.1, 300000)
QOR_INTERVAL_LOG(sTGamma, 1.4e-45, 35.1, 300000)
QOR_INTERVAL(sTGamma, -4.0, 4.0, 300000)
QOR_INTERVAL(sTGamma, -1e9, -100.0, 5000)

}  // namespace
}  // namespace qor::kernels

using qor::kernels::gamma::ExtendedX87ModeEnv;
QOR_UNARY_KERNELS(sTGamma, ALL, qor::kernels::STGamma, ExtendedX87ModeEnv)
QOR_UNARY_KERNELS(dTGamma, ALL, qor::kernels::DTGamma, ExtendedX87ModeEnv)
