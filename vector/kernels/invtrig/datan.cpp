// dAtan, dAtanpi, dAtan2, dAtan2pi in three tiers, on the break points
// atan(k/4): a = |x| rounded to a multiple of 1/4 by the shifter (capped at
// 4), atan(a) = atan(b) + atan((a - b) / (1 + a b)), and beyond 7.875
// pi/2 + atan(-1/a); one division per pair, and |t| <= 0.1275 for the odd
// polynomial: 3 terms (EP), the 6 of the LA scheme, 7 (HA). HA keeps the
// rounding errors of the denominator and the quotient and sums in two parts.
// Atan2 takes the break point from a float estimate of n/d (n, d the smaller
// and larger magnitude) and adds the quadrant; a NaN, and a larger magnitude
// that is zero, infinite or outside [2^-126, 2^126), go to the scalar
// routine (the C99 special cases; the rest scaled into range). Nothing reports.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/invtrig/invtrig_common.h"

namespace qor::kernels {
namespace {

using namespace invtrig;

template <bool Two, bool Pi> constexpr const char *dname() {
  return Two ? (Pi ? "vdAtan2pi" : "vdAtan2") : (Pi ? "vdAtanpi" : "vdAtan");
}

// The LA polynomial, as quoted for the scheme.
constexpr double kAtanBreak_LA[6] = {-0.33333333333333287, 0.19999999999791468, -0.14285714129622457,
                                     0.11111068352428299,  -0.090856061411218991, 0.073878881933519089};

template <bool Pi> inline vd2 finish(Two v, int tier) {
  if (tier == 1) return Pi ? times_inv_pi(v) : v.hi + v.lo;
  return Pi ? v.hi * kInvPiHi : v.hi;
}

template <bool Pi, int Tier> inline vd2 datan_lanes(vd2 x) {
  const vd2 a = vabs(x);
  Two v = Tier == 1 ? atan_parts<true>(a, tab::kAtanBreak_HA)
          : Tier == 0 ? atan_parts<false>(a, kAtanBreak_LA) : atan_parts<false>(a, tab::kAtanBreak_EP);
  return bor(finish<Pi>(v, Tier), sign_of(x));
}
template <bool Pi, int Tier> inline vd2 datan2_lanes(vd2 y, vd2 x) {
  Two v = Tier == 1 ? atan2_parts<true>(y, x, tab::kAtanBreak_HA)
          : Tier == 0 ? atan2_parts<false>(y, x, kAtanBreak_LA) : atan2_parts<false>(y, x, tab::kAtanBreak_EP);
  return bor(finish<Pi>(v, Tier), sign_of(y));
}

// Atan: NaN only.
int datan_scalar(const double *a, double *r) {
  *r = *a + *a;
  return 0;
}

// Atan2: the special cases, then the HA formula with the larger magnitude
// scaled into [1, 2) (a smaller one that underflows leaves a result that does).
template <bool Pi> int datan2_scalar(const double *a, const double *b, double *r) {
  const double y = *a, x = *b;
  if (Pi ? atan2_edges(y, x, 0.5, 1.0, 0.25, 0.75, r)
         : atan2_edges(y, x, kPio2Hi, kPiHi, 0x1.921fb54442d18p-1, 0x1.2d97c7f3321d2p+1, r))
    return 0;
  const int ey = ilogb(y), ex = ilogb(x);
  if (x > 0 && ey - ex < -30) {
    // atan(t) = t to 2^-60: t = y/x from the mantissas (hi + lo by the
    // residual), scaled by 2^(ey - ex) at the end, where a denormal result
    // takes its one rounding.
    const vd2 ys = vd2{} + ldexp(y, -ey), xs = vd2{} + ldexp(x, -ex);
    Two t;
    t.hi = ys / xs;
    vd2 q, qe;
    two_product(t.hi, xs, q, qe);
    t.lo = ((ys - q) - qe) / xs;
    *r = ldexp(Pi ? times_inv_pi(t)[0] : (t.hi + t.lo)[0], ey - ex);
    return 0;
  }
  const int k = ey > ex ? ey : ex;
  const double ys = ldexp(y, -k), xs = ldexp(x, -k);  // pairs as built, signs of zero kept
  *r = datan2_lanes<Pi, 1>(vd2{ys, ys}, vd2{xs, xs})[0];
  return 0;
}

template <bool Pi, int Tier> struct DAtan {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = dname<false, Pi>();
  static vd2 lanes(vd2 x, vl2 &bad) {
    bad = unord(x, x);
    return datan_lanes<Pi, Tier>(x);
  }
  static int scalar(const double *a, double *r) { return datan_scalar(a, r); }
};

template <bool Pi, int Tier> struct DAtan2 {
  using T = double;
  static constexpr int kIn = 2, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = dname<true, Pi>();
  static vd2 lanes(vd2 y, vd2 x, vl2 &bad) {
    bad = atan2_special(y, x);
    return datan2_lanes<Pi, Tier>(y, x);
  }
  static int scalar(const double *a, const double *b, double *r) { return datan2_scalar<Pi>(a, b, r); }
};

QOR_ACCURACY(dAtan, LA, ULP, 4.0)
QOR_ACCURACY(dAtan, HA, ULP, 1.0)
QOR_ACCURACY(dAtan, EP, BITS, 26)
QOR_INTERVAL(dAtan, -10.0, 10.0, 1000000)
QOR_INTERVAL(dAtan, 7.8, 8.0, 100000)
QOR_INTERVAL(dAtan, 3.8, 4.5, 100000)
QOR_INTERVAL_LOG(dAtan, 4.9e-324, 1.7e308, 500000)
QOR_ACCURACY(dAtanpi, LA, ULP, 4.0)
QOR_ACCURACY(dAtanpi, HA, ULP, 1.0)
QOR_ACCURACY(dAtanpi, EP, BITS, 26)
QOR_INTERVAL(dAtanpi, -10.0, 10.0, 1000000)
QOR_INTERVAL_LOG(dAtanpi, 4.9e-324, 1.7e308, 500000)
QOR_ACCURACY(dAtan2, LA, ULP, 4.0)
QOR_ACCURACY(dAtan2, HA, ULP, 1.0)
QOR_ACCURACY(dAtan2, EP, BITS, 26)
QOR_INTERVAL2(dAtan2, -10.0, 10.0, -10.0, 10.0, 1000000)
QOR_INTERVAL2(dAtan2, -1.7e308, 1.7e308, -1.7e308, 1.7e308, 100000)
QOR_INTERVAL2(dAtan2, 0.9, 1.1, 0.9, 1.1, 100000)
QOR_INTERVAL2_LOG(dAtan2, 4.9e-324, 1.7e308, 4.9e-324, 1.7e308, 500000)
QOR_ACCURACY(dAtan2pi, LA, ULP, 4.0)
QOR_ACCURACY(dAtan2pi, HA, ULP, 1.0)
QOR_ACCURACY(dAtan2pi, EP, BITS, 26)
QOR_INTERVAL2(dAtan2pi, -10.0, 10.0, -10.0, 10.0, 1000000)
QOR_INTERVAL2(dAtan2pi, -1.7e308, 1.7e308, -1.7e308, 1.7e308, 100000)
QOR_INTERVAL2(dAtan2pi, -1.1, -0.9, 0.9, 1.1, 100000)
QOR_INTERVAL2_LOG(dAtan2pi, 4.9e-324, 1.7e308, 4.9e-324, 1.7e308, 500000)

}  // namespace
}  // namespace qor::kernels

using namespace qor::kernels;
QOR_INVTRIG_TIERS(dAtan, DAtan, false, QOR_INVTRIG_UNARY)
QOR_INVTRIG_TIERS(dAtanpi, DAtan, true, QOR_INVTRIG_UNARY)
QOR_INVTRIG_TIERS(dAtan2, DAtan2, false, QOR_INVTRIG_BINARY)
QOR_INVTRIG_TIERS(dAtan2pi, DAtan2, true, QOR_INVTRIG_BINARY)
