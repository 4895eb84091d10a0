// The lane formulas of sin and cos of |x| in single precision, by tier,
// shared by sSin, sCos, sSinCos and cCIS. Up to 10000 the fast path reduces
// by pi (cos by the half-odd multiples of pi, sin(a) = (-1)^N sin(a - N pi),
// cos(a) = (-1)^N sin(a - (N - 1/2) pi)); above it the large path.
#ifndef QOR_KERNELS_STRIG_SINCOS_H
#define QOR_KERNELS_STRIG_SINCOS_H

#include "vector/kernels/trig/strig_common.h"

namespace qor::kernels::strig {
namespace {

constexpr float kThreshold = 10000.0f;

enum Tier { kLA, kHA, kEP };

// LA, odd degree 9 (SinCos: its own first two coefficients).
template <bool SinCosPoly> inline vf4 la_poly(vf4 r) {
  if constexpr (SinCosPoly) return sin9(r, -0.166666612f, 0.00833306648f, -0.000198096022f, 2.60578054e-06f);
  return sin9(r, -0.166666597f, 0.00833306275f, -0.000198096022f, 2.60578054e-06f);
}
// EP, degree 5 with a leading coefficient that is not 1 (cos: its own r^3 term).
template <bool Cos> inline vf4 ep_poly(vf4 r) {
  const vf4 z = r * r;
  return r * (0.999885321f + z * ((Cos ? -0.165921196f : -0.165920958f) + z * 0.00757660158f));
}
// Below 2^-12 sin a rounds to a itself: the leading coefficient's 2^-13 would
// otherwise cost a denormal result a thousand of its ulps.
inline vf4 ep_tiny(vf4 ax, vf4 res) { return select(ax < 0x1p-12f, ax, res); }

template <Tier K> inline vf4 sin_abs(vf4 ax) {
  vf4 res;
  if constexpr (K == kHA) {
    auto f = [](vd2 a) {
      vq2 s;
      const vd2 r = reduce_pi_wide(a, 0.0, s);
      return as<vd2>(as<vq2>(sin_ha_poly(r)) ^ s);
    };
    res = narrow(map(widen(ax), f));
  } else {
    vu4 s;
    const vf4 r = reduce_pi<K == kLA ? 4 : 3, false>(ax, K == kLA ? kPiLA : kPiEP, s);
    res = xor_sign(K == kLA ? la_poly<false>(r) : ep_poly<false>(r), s);
    if constexpr (K == kEP) res = ep_tiny(ax, res);
  }
  return large_sin(ax, above(ax, kThreshold), res, 0);
}

template <Tier K> inline vf4 cos_abs(vf4 ax) {
  vf4 res;
  if constexpr (K == kHA) {
    auto f = [](vd2 a) {
      vq2 s;
      const vd2 r = reduce_pi_wide(a, 0.5, s);
      return as<vd2>(as<vq2>(sin_ha_poly(r)) ^ s);
    };
    res = narrow(map(widen(ax), f));
  } else {
    vu4 s;
    const vf4 r = reduce_pi<K == kLA ? 4 : 3, true>(ax, K == kLA ? kPiLA : kPiEP, s);
    res = xor_sign(K == kLA ? la_poly<false>(r) : ep_poly<true>(r), s);
  }
  return large_sin(ax, above(ax, kThreshold), res, 1);
}

// Both at once: N = rint(a/pi) once; the cosine reduces by M = N + copysign(1/2, r)
// with r the sine's reduced argument, and cos(a) = -(-1)^N sign(r) sin(a - M pi).
template <Tier K> inline void sincos_abs(vf4 ax, vf4 &sn, vf4 &cs) {
  if constexpr (K == kHA) {
    auto f = [](vd2 a, vd2 &s_out, vd2 &c_out) {
      const vd2 t = a * 0.31830988618379069 + kShifterD;
      const vq2 par = as<vq2>(t) << 63;
      const vd2 n = t - kShifterD;
      const vd2 r = (a - n * 3.1415926535846666) - n * 5.1266883031890378e-12;
      const vq2 rs = as<vq2>(r) & 0x8000000000000000ull;
      const vd2 m = n + as<vd2>(rs | as<vq2>(vd2{0.5, 0.5}));
      const vd2 rc = (a - m * 3.1415926535846666) - m * 5.1266883031890378e-12;
      s_out = as<vd2>(as<vq2>(sin_ha_poly(r)) ^ par);
      c_out = as<vd2>(as<vq2>(sin_ha_poly(rc)) ^ par ^ rs ^ 0x8000000000000000ull);
    };
    const Wide a = widen(ax);
    Wide s, c;
    f(a.lo, s.lo, c.lo);
    f(a.hi, s.hi, c.hi);
    sn = narrow(s);
    cs = narrow(c);
  } else {
    const float(&pi)[4] = K == kLA ? kPiLA : kPiEP;
    const vf4 t = ax * kInvPi + kShifter;
    const vu4 par = parity_sign(t);
    const vf4 n = t - kShifter;
    vf4 r = ((ax - n * pi[0]) - n * pi[1]) - n * pi[2];
    if constexpr (K == kLA) r = r - n * pi[3];
    const vu4 rs = sign_of(r);
    const vf4 m = n + as<vf4>(rs | as<vu4>(vf4{} + 0.5f));
    vf4 rc = ((ax - m * pi[0]) - m * pi[1]) - m * pi[2];
    if constexpr (K == kLA) rc = rc - m * pi[3];
    sn = xor_sign(K == kLA ? la_poly<true>(r) : ep_poly<false>(r), par);
    cs = xor_sign(K == kLA ? la_poly<true>(rc) : ep_poly<true>(rc), par ^ rs ^ kSignBit);
    if constexpr (K == kEP) sn = ep_tiny(ax, sn);
  }
  large_sincos(ax, above(ax, kThreshold), sn, cs);
}

// The description of SinCos (sine first) and CIS (cosine first, the real
// part): the same lanes, so the two entries agree bit for bit.
template <Tier K, int Block, bool CosFirst, const char *Name> struct SinCosK {
  using T = float;
  static constexpr int kIn = 1, kOut = 2, kBlock = Block;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = Name;
  static void lanes(vf4 x, vf4 &r1, vf4 &r2, vi4 &bad) {
    const vf4 ax = fabs4(x);
    bad = non_finite(ax);
    vf4 s, c;
    sincos_abs<K>(ax, s, c);
    s = xor_sign(s, sign_of(x));
    r1 = CosFirst ? c : s;
    r2 = CosFirst ? s : c;
  }
  static int scalar(const float *a, float *r1, float *r2) { return nonfinite_scalar2(*a, r1, r2); }
};

}  // namespace
}  // namespace qor::kernels::strig

#endif
