// ExpInt1 EP, s and d: branch-free vector formulas, both branches computed
// and one selected per lane.
// d, in double:
//   x <= 1   E1 = (x P(x) - gamma) - ln x, P of 9 terms; ln x from the
//            exponent (biased by 1023 or 1022, so that the mantissa m lies in
//            [sqrt(1/2), sqrt(2))) and the series of ln m in s = (m-1)/(m+1);
//   x > 1    E1 = e^-x g(x) / x, g = x e^x E1(x) from a 7-term row of its
//            quarter binade, e^-x from a two-part ln 2 and a degree-8 Taylor
//            polynomial, scaled by 2^k through the exponent field.
// s, in float (a 2^-11 result leaves the float lanes bits to spare):
//   x <= 1   E1 = Q(x) - ln x, Q = E1 + ln x of degree 4 in x - 1, and ln x
//            as above with ln m = s (L0 + L1 s^2);
//   x > 1    E1 = 2^-y N(x) / (x D(x)), y = x log2(e), with N / D a ratio of
//            monic quadratics fitted to x e^x E1(x), 2^-y = 2^k 2^f by a
//            degree-4 polynomial in f and k added to the exponent field.
// Lanes outside the normal positive range, or above 700 (d) / 80 (s), where
// the result would leave the normal range, go to the extended-precision
// routine of LA and HA, which also reports the statuses.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/gamma/expint1_common.h"
#include "vector/kernels/gamma/expint_tables.inc"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::gamma_tables;

constexpr double kShifter = 6755399441055744.0;  // 1.5 * 2^52: rint into the low bits
constexpr double kLog2e = 1.4426950408889634, kLn2 = 0.69314718055994529;
constexpr double kEuler = 0.57721566490153287;

inline vd2 ln_of(vd2 x) {
  // x in [sqrt(1/2) 2^k, sqrt(2) 2^k): k from the shifted bits, m = x / 2^k
  const vq2 b = as<vq2>(x);
  const vq2 t = b + (0x3ff0000000000000ull - 0x3fe6a09e667f3bcdull);
  const vq2 kb = t >> 52;
  const vd2 k = as<vd2>(kb | 0x4330000000000000ull) - (4503599627370496.0 + 1023.0);
  const vd2 m = as<vd2>(b - ((kb - 1023) << 52));
  const vd2 s = (m - 1.0) / (m + 1.0), z = s * s;
  const vd2 p = 1.0 + z * (1.0 / 3 + z * (1.0 / 5 + z * (1.0 / 7 + z * (1.0 / 9 + z * (1.0 / 11)))));
  return k * kLn2 + 2.0 * s * p;
}

// e^-x for x in [1, 700].
inline vd2 exp_neg(vd2 x) {
  const vd2 y = -x;
  const vd2 sh = y * kLog2e + kShifter;
  const vd2 k = sh - kShifter;
  const vd2 r = (y - k * kLn2HiEP) - k * kLn2LoEP;
  vd2 p = splat<vd2>(1.0 / 40320);
  p = p * r + 1.0 / 5040, p = p * r + 1.0 / 720, p = p * r + 1.0 / 120, p = p * r + 1.0 / 24;
  p = p * r + 1.0 / 6, p = p * r + 0.5, p = p * r + 1.0, p = p * r + 1.0;
  const vq2 scale = (as<vq2>(sh) + 1023) << 52;
  return p * as<vd2>(scale);
}

// Both branches, for lanes in the normal range up to the bound.
inline vd2 e1_lanes(vd2 x) {
  vd2 ps = splat<vd2>(kE1SmallEP[8]);
  for (int i = 7; i >= 0; --i) ps = ps * x + kE1SmallEP[i];
  const vd2 small = (x * ps - kEuler) - ln_of(x);
  // the row of the quarter binade; lanes at or below 1 take row 0
  vl2 row = as<vl2>(as<vq2>(x) >> 50) - (0x3ff << 2);
  row = row & ~(row >> 63);
  row = row - ((row - 39) & ~((row - 39) >> 63));  // at most 39
  const double *r0 = kE1LargeEP[row[0]], *r1 = kE1LargeEP[row[1]];
  const vd2 t = x - vd2{r0[7], r1[7]};
  vd2 g = vd2{r0[6], r1[6]};
  for (int i = 5; i >= 0; --i) g = g * t + vd2{r0[i], r1[i]};
  const vd2 large = exp_neg(x) * g / x;
  const vl2 is_small = x <= 1.0;
  return as<vd2>((as<vl2>(small) & is_small) | (as<vl2>(large) & ~is_small));
}

struct DExpInt1EP {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdExpInt1";
  static vd2 lanes(vd2 x, vl2 &bad) {
    // signed high words: negative, zero, denormal, above 700, Inf and NaN
    const vl2 b = as<vl2>(x);
    bad = high_word_gt(b, 0x4085dfff) | ~high_word_gt(b, 0x000fffff);
    return e1_lanes(x);
  }
  static int scalar(const double *a, double *r) {
    qor::bex::fpenv::X87ExtendedScope x87;
    return expint1_scalar_d(a, r);
  }
};
QOR_ACCURACY(dExpInt1, EP, BITS, 26)

// The float branches (coefficients in expint_tables.inc, lowest term first).
namespace sfloat {
using namespace qor::kernels::expint_tables;
constexpr float kShifter = 12582912.0f;  // 1.5 * 2^23: rint into the low bits

// 0 < x <= 1: E1 = Q(x) - ln x, Q in t = x - 1 (so that E1(1) is exact to
// the float); ln x = k ln 2 + ln m with m = x / 2^k in [sqrt(1/2), sqrt(2)).
inline vf4 small(vf4 x) {
  const vu4 b = as<vu4>(x);
  const vi4 e = as<vi4>(b - 0x3f3504f3u) >> 23;
  const vf4 m = as<vf4>(b - (as<vu4>(e) << 23));
  const vf4 s = (m - 1.0f) / (m + 1.0f);
  const vf4 lnx = __builtin_convertvector(e, vf4) * kE1Ln2 + s * (kE1LogL[0] + s * s * kE1LogL[1]);
  const vf4 t = x - 1.0f;
  const vf4 q = kE1SmallQ[0] + t * (kE1SmallQ[1] + t * (kE1SmallQ[2] + t * (kE1SmallQ[3] + t * kE1SmallQ[4])));
  return q - lnx;
}

// 1 < x <= 80: 2^-y with y = x log2(e) = k + f, |f| <= 1/2; the result stays
// normal, so k goes straight into the exponent field.
inline vf4 large(vf4 x) {
  const vf4 y = x * -kE1Log2e;
  const vf4 t = y + kShifter;
  const vf4 f = y - (t - kShifter);
  const vf4 p = kE1Exp2[0] + f * (kE1Exp2[1] + f * (kE1Exp2[2] + f * (kE1Exp2[3] + f * kE1Exp2[4])));
  const vf4 n = (x + kE1LargeN[1]) * x + kE1LargeN[0];
  const vf4 d = ((x + kE1LargeD[1]) * x + kE1LargeD[0]) * x;
  const vf4 r = p * n / d;
  return as<vf4>(as<vu4>(r) + (as<vu4>(t) << 23));
}
}  // namespace sfloat

struct SExpInt1EP {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsExpInt1";
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 b = as<vi4>(x);
    bad = (b > 0x42a00000) | (b < 0x00800000);  // above 80, or not a positive normal
    return select(x <= 1.0f, sfloat::small(x), sfloat::large(x));
  }
  static int scalar(const float *a, float *r) {
    qor::bex::fpenv::X87ExtendedScope x87;
    return expint1_scalar_s(a, r);
  }
};
QOR_ACCURACY(sExpInt1, EP, BITS, 11)
QOR_INTERVAL(sExpInt1, 0.98, 1.02, 20000)        // the seam of the two branches
QOR_INTERVAL(sExpInt1, 0.69, 0.72, 20000)        // ln: m = x / 2^k wraps at sqrt(1/2)
QOR_INTERVAL(sExpInt1, 1.0, 80.0, 200000)        // the large branch up to the flagged lanes

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sExpInt1, EP, qor::kernels::SExpInt1EP, StandardEnv)
QOR_UNARY_KERNELS(dExpInt1, EP, qor::kernels::DExpInt1EP, StandardEnv)
