// Double-precision pieces of the single-precision hyperbolic kernels: e^a for
// a non-negative a, and ln(1 + u) for a non-negative u, on two lanes. The
// single-precision kernels that widen their argument compute with these and
// narrow once.
#ifndef QOR_KERNELS_HYP_COMMON_H
#define QOR_KERNELS_HYP_COMMON_H

#include "vector/dispatch/simd.h"
#include "vector/kernels/exact.h"
#include "vector/kernels/exp/exp_tables.inc"
#include "vector/kernels/log/dlog_common.h"

namespace qor::kernels::hyp {

using namespace qor::simd;

// f applied to the four lanes in double, two at a time, narrowed once.
template <class F> inline vf4 in_double(vf4 a, F f) { return narrow(f(low_pair(a)), f(high_pair(a))); }
// v with the sign bit of the lanes whose bits are ix OR-ed in.
inline vf4 with_sign(vf4 v, vi4 ix) { return as<vf4>(as<vi4>(v) | (ix & (int32_t)0x80000000)); }

// e^a for 0 <= a <= 700, to about 2e-16 relative: k = round(64 a / ln 2),
// q = a - k ln2/64 in two parts, e^q by degree 6, the row 2^(j/64) and the
// exponent added as an integer.
inline vd2 exp_lanes(vd2 a) {
  constexpr double kShift = 6755399441055744.0;  // 1.5 * 2^52: k lands in the low bits
  constexpr double kL1 = 0x1.62e42fefa0000p-7, kL2 = 0x1.cf79abc9e3b3ap-46;  // ln2/64
  const vd2 t = a * 92.332482616893658 + kShift;
  const vd2 kf = t - kShift;
  const vd2 q = (a - kf * kL1) - kf * kL2;
  const vd2 p = q + q * q * (0.5 + q * (0.16666666666666666 + q * (0.041666666666666664 +
                                         q * (0.0083333333333333332 + q * 0.0013888888888888889))));
  const vq2 k = as<vq2>(t) & 0xffffffffull;
  const vd2 row = gather(exp_tables::kExp2d_64, as<vl2>(k & 63));
  return as<vd2>(as<vq2>(row + row * p) + ((k >> 6) << 52));
}

// sinh a and cosh a for a below 1 in double, by their series to a^19 and
// a^18: a + a^3 (1/3! + a^2 (1/5! + ...)) and 1 + a^2 (1/2! + a^2 (1/4! + ...)).
inline vd2 sinh_series(vd2 a) {
  const vd2 s = a * a;
  const vd2 p =
      1.0 / 6 + s * (1.0 / 120 + s * (1.0 / 5040 + s * (1.0 / 362880 + s * (1.0 / 39916800 + s * (1.0 / 6227020800 +
      s * (1.0 / 1307674368000 + s * (1.0 / 355687428096000 + s * (1.0 / 121645100408832000))))))));
  return a + a * s * p;
}

inline vd2 cosh_series(vd2 a) {
  const vd2 s = a * a;
  return 1.0 + s * (0.5 + s * (1.0 / 24 + s * (1.0 / 720 + s * (1.0 / 40320 + s * (1.0 / 3628800 + s * (1.0 / 479001600 +
         s * (1.0 / 87178291200 + s * (1.0 / 20922789888000 + s * (1.0 / 6402373705728000)))))))));
}

// ln(1 + u) for u >= 0 (u below 2^1000), through 2 atanh(f) with
// f = (m - 1)/(m + 1) and m the mantissa of 1 + u in [0.75, 1.5): |f| <= 0.2.
// Where 1 + u itself lies in [0.75, 1.5), f = u / (2 + u) from the exact u, so
// the relative error stays small down to the least u. kTerms odd powers of f:
// 5 give about 1e-8 relative, 8 about 1e-12.
template <int kTerms> inline vd2 log1p_lanes(vd2 u) {
  const vd2 x = 1.0 + u;
  const vq2 bits = as<vq2>(x);
  const vd2 m1 = as<vd2>((bits & 0x000fffffffffffffull) | 0x3ff0000000000000ull);  // [1, 2)
  const vl2 upper = m1 > 1.5;
  const vd2 m = select(upper, m1 * 0.5, m1);
  // k as a double: the biased exponent field read as the low bits of 2^52 + e.
  const vd2 e = as<vd2>((bits >> 52) | 0x4330000000000000ull) - (4503599627370496.0 + 1023.0);
  const vd2 k = e + select(upper, vd2{1.0, 1.0}, vd2{0.0, 0.0});
  const vl2 near1 = k == 0.0;
  const vd2 f = select(near1, u, m - 1.0) / select(near1, 2.0 + u, m + 1.0);
  const vd2 s = f * f;
  vd2 p = vd2{} + 1.0 / (2 * kTerms - 1);
  for (int i = kTerms - 2; i >= 0; --i) p = 1.0 / (2 * i + 1) + s * p;
  return k * 0.69314718055994531 + 2.0 * f * p;
}

// ln(x) in single precision for a positive normal x that stands for 1 + u:
// x = 2^k m with m in [0.666666687, 1.33333337), r = m - 1, and
// ln x = k ln2 + r + r^2 (c0 + r (c1 + ...)). Where k is 0, r is u itself,
// exact, rather than the rounded x - 1, so small results keep their relative
// accuracy.
template <int kTerms> inline vf4 log_float(vf4 x, vf4 u, const float (&c)[kTerms]) {
  constexpr int32_t kCut = 0x3f2aaaab;  // 0.666666687
  const vi4 ix = as<vi4>(x);
  const vi4 k = (ix - kCut) >> 23;
  const vi4 k0 = k == 0;
  const vf4 r = select(k0, u, as<vf4>(ix - (k << 23)) - 1.0f);
  vf4 p = vf4{} + c[kTerms - 1];
  for (int i = kTerms - 2; i >= 0; --i) p = c[i] + r * p;
  return __builtin_convertvector(k, vf4) * 0.693147182f + (r + r * r * p);
}

// ln(1 + u) for u >= 0 in single precision, on the same cut: k from the
// rounded 1 + u, but r = (u + 1 - 2^k) 2^-k from u itself, and ln 2 in two
// parts, so that neither the rounding of 1 + u nor that of k ln 2 reaches a
// result where k ln2 and ln(1 + r) nearly cancel.
template <int kTerms> inline vf4 log1p_float(vf4 u, const float (&c)[kTerms]) {
  constexpr int32_t kCut = 0x3f2aaaab;  // 0.666666687
  const vi4 k = (as<vi4>(1.0f + u) - kCut) >> 23;
  const vf4 r = (u + (1.0f - as<vf4>((k + 127) << 23))) * as<vf4>((127 - k) << 23);
  vf4 p = vf4{} + c[kTerms - 1];
  for (int i = kTerms - 2; i >= 0; --i) p = c[i] + r * p;
  const vf4 kf = __builtin_convertvector(k, vf4);
  return kf * 0.693115234f + (kf * 3.19461833e-05f + (r + r * r * p));
}

// sqrt(z) for z >= 0 in single precision from the reciprocal square root
// estimate and the series 1 + e/2 + 3e^2/8 + 5e^3/16 of (1 - e)^(-1/2),
// e = 1 - z y^2; z is held off zero for the estimate, and a zero z gives 0.
inline vf4 sqrt_float(vf4 z) {
  const vf4 y = as<vf4>(_mm_rsqrt_ps(as<__m128>(z + 1.17549435e-38f)));
  const vf4 e = 1.0f - z * y * y;
  return z * (y + y * e * (0.5f + e * (0.375f + e * 0.3125f)));
}

// ln(1 + uh + ul) in double for 0 <= uh <= 8.7e304 and |ul| below an ulp of
// uh, over the reduction of dLog1p: the two-part table sum for HA, the
// one-part sum for LA and EP. ln(2^k x) for a positive normal x by the same
// sums, with k added to the exponent (exactly: k ln 2 is in the table sum).
inline vd2 log1p_two_ha(vd2 uh, vd2 ul) {
  vd2 corr;
  const dlogk::Reduced q = dlogk::reduce1p(uh, ul, corr);
  return dlogk::ln_two_part(q, dlogk::ha_exponent(q), corr - corr * q.u);
}
inline vd2 log1p_two_la(vd2 uh, vd2 ul) {
  vd2 corr;
  const dlogk::Reduced q = dlogk::reduce1p(uh, ul, corr);
  const vd2 t = dlogk::gather_at(dlog_tables::kLnLA, dlogk::row_offset8(q.c));
  return ((dlogk::la_exponent(q) * 0.69314718055994529 + t) + q.u) + (corr + dlogk::ln_tail(q.u));
}
inline vd2 log_scaled_ha(vd2 x, double k) {
  const dlogk::Reduced q = dlogk::reduce(x);
  return dlogk::ln_two_part(q, dlogk::ha_exponent(q) + k, vd2{});
}
inline vd2 log_scaled_la(vd2 x, double k) {
  const dlogk::Reduced q = dlogk::reduce(x);
  const vd2 t = dlogk::gather_at(dlog_tables::kLnLA, dlogk::row_offset8(q.c));
  return (((dlogk::la_exponent(q) + k) * 0.69314718055994529 + t) + q.u) + dlogk::ln_tail(q.u);
}

}  // namespace qor::kernels::hyp

#endif
