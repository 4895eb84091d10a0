// sAtan, sAtanpi, sAtan2, sAtan2pi in three tiers.
//  - EP: t = min(a, 1/a) with 1/a from the approximate reciprocal and one
//    Newton step (2 - a r), and an odd polynomial of degree 7 on [0, 1].
//  - LA: t = min(a, 1) / max(a, 1) by one true division, degree 17 on [0, 1].
//  - HA: in double on the break points of the double arctangent (one
//    division per pair), rounded once to single.
// Atan2 takes t = n/d, n and d the smaller and larger magnitude, and adds the
// quadrant (0, pi/2 or pi, with a sign flip); a NaN, a zero or infinite
// larger magnitude, and one outside [2^-126, 2^126), go to the scalar
// routine, which keeps the C99 special cases and computes the rest in double.
// Nothing reports. The half-turn forms scale the result by 1/pi.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/invtrig/invtrig_common.h"

namespace qor::kernels {
namespace {

using namespace invtrig;

template <bool Two, bool Pi> constexpr const char *sname() {
  return Two ? (Pi ? "vsAtan2pi" : "vsAtan2") : (Pi ? "vsAtanpi" : "vsAtan");
}

// The EP polynomial t (c1 + s (c3 + s (c5 + s c7))), s = t^2, for t >= 0.
// Below 2^-12 atan(t) is t to 2^-25; the polynomial's leading 0.99978 would
// leave a denormal result hundreds of ulp away, so t itself is taken there.
inline vf4 atan_ep(vf4 t) {
  const vf4 s = t * t;
  const vf4 p = t * (0.999775231f + s * (-0.325505346f + s * (0.154571936f + s * -0.043525815f)));
  return select(lt(t, 0x1p-12f), t, p);
}
inline vf4 atan_la(vf4 t) {
  const vf4 s = t * t;
  return t + t * (s * poly(tab::kAtanF_LA, s));
}
// 1/a: the approximate reciprocal and one Newton step.
inline vf4 recip_ep(vf4 a) {
  const vf4 r = rcp_approx(a);
  return r * (2.0f - a * r);
}

// The double forms: Atan on a pair (sign kept apart), Atan2 on a pair.
template <bool Pi> inline vd2 atan_double(vd2 x) {
  vd2 r = atan_parts<false>(vabs(x), tab::kAtanBreak_EP).hi;
  if (Pi) r = r * kInvPiHi;
  return bor(r, sign_of(x));
}
template <bool Pi> inline vd2 atan2_double(vd2 y, vd2 x) {
  vd2 r = atan2_parts<false>(y, x, tab::kAtanBreak_EP).hi;
  if (Pi) r = r * kInvPiHi;
  return bor(r, sign_of(y));
}

// Atan: NaN and infinities only.
template <bool Pi> int satan_scalar(const float *a, float *r) {
  const float x = *a;
  if (isnan(x)) return *r = x + x, 0;
  const float m = Pi ? 0.5f : kPio2F;
  *r = x > 0 ? m : -m;
  return 0;
}

// Atan2: the special cases, then the pair in double, the larger magnitude
// scaled into [1, 2) (exact: every float pair fits the double range).
template <bool Pi> int satan2_scalar(const float *a, const float *b, float *r) {
  const float y = *a, x = *b;
  if (Pi ? atan2_edges(y, x, 0.5f, 1.0f, 0.25f, 0.75f, r) : atan2_edges(y, x, kPio2F, kPiF, 0x1.921fb6p-1f, 0x1.2d97c8p+1f, r))
    return 0;
  const int k = ilogb(fmaxf(fabsf(y), fabsf(x)));
  const double ys = ldexp((double)y, -k), xs = ldexp((double)x, -k);  // pairs as built, signs of zero kept
  const vd2 v = atan2_double<Pi>(vd2{ys, ys}, vd2{xs, xs});
  *r = (float)v[0];
  return 0;
}

template <bool Pi, int Tier> struct SAtan {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = sname<false, Pi>();

  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = (as<vi4>(x) & 0x7fffffff) > 0x7f7fffff;  // infinity and NaN
    if (Tier == 1) return narrow(atan_double<Pi>(low_pair(x)), atan_double<Pi>(high_pair(x)));
    const vf4 a = vabs(x);
    const vi4 big = gt(a, 1.0f);
    vf4 r;
    if (Tier == 2) {
      const vf4 p = atan_ep(select(big, recip_ep(a), a));
      r = select(big, kPio2F - p, p);
    } else {
      const vf4 p = atan_la(vmin(a, vf4{} + 1.0f) / vmax(a, vf4{} + 1.0f));
      r = select(big, kPio2F - p, p);
    }
    if (Pi) r = r * kInvPiF;
    return bor(r, sign_of(x));
  }
  static int scalar(const float *a, float *r) { return satan_scalar<Pi>(a, r); }
};

template <bool Pi, int Tier> struct SAtan2 {
  using T = float;
  static constexpr int kIn = 2, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = sname<true, Pi>();

  static vf4 lanes(vf4 y, vf4 x, vi4 &bad) {
    const vf4 ax = vabs(x), ay = vabs(y);
    const vf4 n = vmin(ax, ay), d = vmax(ax, ay);
    bad = above_u(as<vi4>(d) - 0x00800000, 0x7e800000 - 0x00800000 - 1) | unord(x, y);
    if (Tier == 1)
      return narrow(atan2_double<Pi>(low_pair(y), low_pair(x)), atan2_double<Pi>(high_pair(y), high_pair(x)));
    const vf4 p = Tier == 2 ? atan_ep(n * recip_ep(d)) : atan_la(n / d);
    const vi4 swap = gt(ay, ax), xneg = negative(x);
    // 0 + p, pi/2 - p, pi - p or pi/2 + p.
    const vf4 base = select(swap, vf4{} + kPio2F, select(xneg, vf4{} + kPiF, vf4{}));
    vf4 r = base + bxor(p, as<vf4>((swap ^ xneg) & INT32_MIN));
    if (Pi) r = r * kInvPiF;
    return bor(r, sign_of(y));
  }
  static int scalar(const float *a, const float *b, float *r) { return satan2_scalar<Pi>(a, b, r); }
};

QOR_ACCURACY(sAtan, LA, ULP, 4.0)
QOR_ACCURACY(sAtan, HA, ULP, 1.0)
QOR_ACCURACY(sAtan, EP, BITS, 11)
QOR_INTERVAL(sAtan, -10.0, 10.0, 1000000)
QOR_INTERVAL_LOG(sAtan, 1e-45, 3.4e38, 500000)
QOR_INTERVAL(sAtan, 0.9, 1.1, 200000)
QOR_INTERVAL(sAtan, 7.0, 8.5, 200000)
QOR_ACCURACY(sAtanpi, LA, ULP, 4.0)
QOR_ACCURACY(sAtanpi, HA, ULP, 1.0)
QOR_ACCURACY(sAtanpi, EP, BITS, 11)
QOR_INTERVAL(sAtanpi, -10.0, 10.0, 1000000)
QOR_INTERVAL_LOG(sAtanpi, 1e-45, 3.4e38, 500000)
QOR_INTERVAL(sAtanpi, 0.9, 1.1, 200000)
QOR_ACCURACY(sAtan2, LA, ULP, 4.0)
QOR_ACCURACY(sAtan2, HA, ULP, 1.0)
QOR_ACCURACY(sAtan2, EP, BITS, 11)
QOR_INTERVAL2(sAtan2, -10.0, 10.0, -10.0, 10.0, 1000000)
QOR_INTERVAL2(sAtan2, -3.4e38, 3.4e38, -3.4e38, 3.4e38, 100000)
QOR_INTERVAL2(sAtan2, 0.9, 1.1, 0.9, 1.1, 100000)
QOR_INTERVAL2_LOG(sAtan2, 1e-45, 3.4e38, 1e-45, 3.4e38, 500000)
QOR_ACCURACY(sAtan2pi, LA, ULP, 4.0)
QOR_ACCURACY(sAtan2pi, HA, ULP, 1.0)
QOR_ACCURACY(sAtan2pi, EP, BITS, 11)
QOR_INTERVAL2(sAtan2pi, -10.0, 10.0, -10.0, 10.0, 1000000)
QOR_INTERVAL2(sAtan2pi, -3.4e38, 3.4e38, -3.4e38, 3.4e38, 100000)
QOR_INTERVAL2(sAtan2pi, -1.1, -0.9, 0.9, 1.1, 100000)
QOR_INTERVAL2_LOG(sAtan2pi, 1e-45, 3.4e38, 1e-45, 3.4e38, 500000)

}  // namespace
}  // namespace qor::kernels

using namespace qor::kernels;
QOR_INVTRIG_TIERS(sAtan, SAtan, false, QOR_INVTRIG_UNARY)
QOR_INVTRIG_TIERS(sAtanpi, SAtan, true, QOR_INVTRIG_UNARY)
QOR_INVTRIG_TIERS(sAtan2, SAtan2, false, QOR_INVTRIG_BINARY)
QOR_INVTRIG_TIERS(sAtan2pi, SAtan2, true, QOR_INVTRIG_BINARY)
