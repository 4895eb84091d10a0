// Pieces shared by the single-precision circular kernels: lane tests, the
// reductions by pi of the fast paths (float for LA and EP, double for HA),
// the exact remainders of the pi and degree forms, the large path applied to
// the lanes that need it, and the scalar routine of Inf and NaN.
#ifndef QOR_KERNELS_STRIG_COMMON_H
#define QOR_KERNELS_STRIG_COMMON_H

#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/trig/strig_large.h"

namespace qor::kernels::strig {
namespace {

constexpr float kShifter = 12582912.0f;           // 1.5 * 2^23: rint to an integer in the low bits
constexpr double kShifterD = 6755399441055744.0;  // 1.5 * 2^52
constexpr float kInvPi = 0.318309873f;
constexpr uint32_t kSignBit = 0x80000000u;

inline vf4 fabs4(vf4 x) { return as<vf4>(as<vu4>(x) & 0x7fffffffu); }
inline vu4 sign_of(vf4 x) { return as<vu4>(x) & kSignBit; }
inline vf4 xor_sign(vf4 x, vu4 s) { return as<vf4>(as<vu4>(x) ^ s); }
// The parity of the integer held in the low bits of a shifted sum, as a sign bit.
inline vu4 parity_sign(vf4 t) { return as<vu4>(t) << 31; }

// Lanes of |x| that are Inf or NaN; lanes of |x| above `bound`, Inf and NaN
// included: their large-path values are harmless, the scalar routine
// replaces them.
inline vi4 non_finite(vf4 ax) { return as<vi4>(ax) >= 0x7f800000; }
inline vi4 above(vf4 ax, float bound) { return as<vi4>(ax) > as<int32_t>(bound); }
inline bool any(vi4 m) { return lane_bits(m) != 0; }

// Four float lanes as two double pairs, and back (one rounding).
struct Wide {
  vd2 lo, hi;
};
inline Wide widen(vf4 x) { return {low_pair(x), high_pair(x)}; }
inline vf4 narrow(Wide w) { return qor::simd::narrow(w.lo, w.hi); }
template <class F> inline Wide map(Wide w, F f) { return {f(w.lo), f(w.hi)}; }
inline vd2 fabs2(vd2 x) { return as<vd2>(as<vq2>(x) & 0x7fffffffffffffffull); }

// sin of |x| + quarter * pi/2 for the lanes of |x| that are large, by the
// large path; the other lanes keep res. Rare lanes: the test is per vector.
inline vf4 large_sin(vf4 ax, vi4 big, vf4 res, unsigned quarter) {
  if (__builtin_expect(!any(big), 1)) return res;
  vd2 r[2];
  vq2 k[2];
  reduce_large(ax, r, k);
  const vf4 v = qor::simd::narrow(sin_row(k[0] + quarter * 64u, r[0]), sin_row(k[1] + quarter * 64u, r[1]));
  return select(big, v, res);
}
// sin and cos of |x| for the large lanes, from one reduction.
inline void large_sincos(vf4 ax, vi4 big, vf4 &sn, vf4 &cs) {
  if (__builtin_expect(!any(big), 1)) return;
  vd2 r[2];
  vq2 k[2];
  reduce_large(ax, r, k);
  sn = select(big, qor::simd::narrow(sin_row(k[0], r[0]), sin_row(k[1], r[1])), sn);
  cs = select(big, qor::simd::narrow(sin_row(k[0] + 64u, r[0]), sin_row(k[1] + 64u, r[1])), cs);
}
// tan |x| for the large lanes: tan has period pi, row 2k of the tangent table.
inline vf4 large_tan(vf4 ax, vi4 big, vf4 res) {
  if (__builtin_expect(!any(big), 1)) return res;
  vd2 r[2];
  vq2 k[2];
  reduce_large(ax, r, k);
  const vf4 v = qor::simd::narrow(tan_row(k[0] << 1, r[0]), tan_row(k[1] << 1, r[1]));
  return select(big, v, res);
}

// Float reduction by pi: N = rint(a/pi) (plus `half` 0.5 for the cosine,
// which reduces by the half-odd multiples), r = a - N pi with pi in the given
// parts (the products with N are exact below the threshold); the sign of
// (-1)^N in `s`.
template <int Parts, bool Half>
inline vf4 reduce_pi(vf4 a, const float (&pi)[4], vu4 &s) {
  vf4 t = a * kInvPi;
  if constexpr (Half) t = t + 0.5f;
  t = t + kShifter;
  s = parity_sign(t);
  vf4 n = t - kShifter;
  if constexpr (Half) n = n - 0.5f;
  vf4 r = (a - n * pi[0]) - n * pi[1];
  r = r - n * pi[2];
  if constexpr (Parts == 4) r = r - n * pi[3];
  return r;
}
constexpr float kPiLA[4] = {3.140625f, 0.000967502594f, 1.50990672e-07f, 5.12668814e-12f};
constexpr float kPiEP[4] = {3.140625f, 0.000967502594f, 1.50995803e-07f, 0.0f};

// r + r^3 (c1 + z c2 + z^2 c3 + z^3 c4), z = r^2: the odd degree-9 sine.
template <class V, class C> inline V sin9(V r, C c1, C c2, C c3, C c4) {
  const V z = r * r;
  return r + (r * z) * (c1 + z * (c2 + z * (c3 + z * c4)));
}

// Double reduction by pi for HA: N = rint(a/pi + half), r = a - (N - half) pi
// with pi as 3.1415926535846666 + 5.1266883031890378e-12; parity of N in s.
inline vd2 reduce_pi_wide(vd2 a, double half, vq2 &s) {
  const vd2 t = (a * 0.31830988618379069 + half) + kShifterD;
  s = as<vq2>(t) << 63;
  const vd2 n = (t - kShifterD) - half;
  return (a - n * 3.1415926535846666) - n * 5.1266883031890378e-12;
}
inline vd2 sin_ha_poly(vd2 r) {
  return sin9(r, -0.16666659550427829, 0.0083330662460856901, -0.00019809602902257352, 2.605780638722852e-06);
}

// The odd degree-11 sine in double of the pi and degree forms, |r| <= pi/2.
inline vd2 sin11_wide(vd2 r) {
  const vd2 z = r * r;
  return r + (r * z) * (-0.16666666626149496 +
                        z * (0.0083333311085967768 +
                             z * (-0.00019840868209067061 + z * (2.752538438200725e-06 + z * -2.3888908529596174e-08))));
}

// The exact remainder of a float |x| of 2^24 and above modulo 360, as a float
// in [-180, 180]. From exponent 2^3 on, 2^(E+12) = 2^E modulo 360 (360 divides
// 2^E (2^12 - 1)), so the exponent is folded into [3, 14] first, which keeps
// the value below 2^38 and the reduction in double exact.
inline vf4 mod360(vf4 ax) {
  const vi4 b = as<vi4>(ax), e = b >> 23;
  const vf4 d = __builtin_convertvector(e - 153, vf4);
  const vf4 q = ((d - 5.5f) * (1.0f / 12.0f) + kShifter) - kShifter;  // floor(d/12)
  const vi4 folded = 153 + __builtin_convertvector(d - 12.0f * q, vi4);
  const vi4 ef = select(e >= 153, folded, e);
  const vf4 v = as<vf4>((b & 0x807fffff) | (ef << 23));
  auto rem = [](vd2 w) { return w - 360.0 * (((w * (1.0 / 360.0)) + kShifterD) - kShifterD); };
  return narrow(map(widen(v), rem));
}

// The exact remainder of |x| modulo `period` (2 or 1), for lanes at or above
// 2^22: a multiple u of the period near a is subtracted, exactly; from
// `zero_from` on (2^24 or 2^23) every float is a multiple of the period and
// the remainder is 0.
inline vf4 mod_period(vf4 a, float shifter, float zero_from) {
  const vf4 u = (a + shifter) - shifter;
  return select(a >= zero_from, vf4{} + 0.0f, a - u);
}

// The scalar routine of every entry: NaN gives a quiet NaN (x * x), no
// error; +-Inf gives NaN (x * 0), domain error. Finite lanes never come.
inline int nonfinite_scalar(float x, float *r) {
  if (x != x) {
    *r = x * x;
    return 0;
  }
  volatile float zero = 0.0f;
  *r = x * zero;
  return 1;
}
inline int nonfinite_scalar2(float x, float *r1, float *r2) {
  const int st = nonfinite_scalar(x, r1);
  *r2 = *r1;
  return st;
}

// The description boilerplate of a one-input, one-output kernel.
#define QOR_STRIG_KERNEL(Name, NameStr, Block)            \
  using T = float;                                        \
  static constexpr int kIn = 1, kOut = 1, kBlock = Block; \
  static constexpr float kPad = 0.75f;                    \
  static constexpr const char *kName = NameStr;           \
  static int scalar(const float *a, float *r) { return nonfinite_scalar(*a, r); }

}  // namespace
}  // namespace qor::kernels::strig

#endif
