// Pieces shared by the double sine, cosine and tangent kernels: the rounding
// shifter, the reduction by pi/256 of the table tiers, the evaluation of a
// sine-table row at a reduced argument in double-double, the pole-term
// evaluation of a tangent row, and the scalar routine of the non-finite lanes.
#ifndef QOR_KERNELS_TRIG_DTRIG_COMMON_H
#define QOR_KERNELS_TRIG_DTRIG_COMMON_H

#include <emmintrin.h>

#include "vector/kernels/arith/bitops.h"
#include "vector/kernels/exact.h"

namespace qor::kernels::dtrig {

using namespace qor::simd;
using bits::bxor;
using bits::le;
using bits::lt;
using bits::select;
using bits::sign_of;
using bits::vabs;

constexpr double kShifter = 6755399441055744.0;  // 1.5 * 2^52: rint, with the integer in the low bits
constexpr double kInf = __builtin_inf();
// 1/pi, and pi in four parts for the LA reductions by multiples of pi.
constexpr double kInvPi = f64(0x3FD45F306DC9C883);
constexpr double kP1 = f64(0x400921FB40000000), kP2 = f64(0x3E84442D00000000), kP3 = f64(0x3D08469880000000),
                 kP4 = f64(0x3B88CC51701B839A);

// n = rint(v) and its bits (low bits = n modulo a power of two).
inline vd2 round_shift(vd2 v, vq2 &nbits) {
  const vd2 t = v + kShifter;
  nbits = as<vq2>(t);
  return t - kShifter;
}

// Lanes that are NaN or infinite, for the scalar routine: !(a < Inf).
inline vl2 non_finite(vd2 a) { return ~lt(a, kInf); }

// A value with the sign bit of the lowest bit of n (the parity of a rounded sum).
inline vd2 parity_sign(vq2 nbits) { return as<vd2>(nbits << 63); }

// Row loads: two rows of four doubles, transposed into the four columns.
inline void gather4(const double (*table)[4], vq2 k, vd2 &c0, vd2 &c1, vd2 &c2, vd2 &c3) {
  const double *p = table[k[0]], *q = table[k[1]];
  const __m128d a0 = _mm_loadu_pd(p), a1 = _mm_loadu_pd(p + 2), b0 = _mm_loadu_pd(q), b1 = _mm_loadu_pd(q + 2);
  c0 = as<vd2>(_mm_unpacklo_pd(a0, b0)), c1 = as<vd2>(_mm_unpackhi_pd(a0, b0));
  c2 = as<vd2>(_mm_unpacklo_pd(a1, b1)), c3 = as<vd2>(_mm_unpackhi_pd(a1, b1));
}

// HA reduction of a = |x| below 65536.0035 by pi/256: N = rint(a 256/pi),
// r_hi + r_lo = a - N pi/256 with pi/256 = Q1 + Q2 + Q3; N Q1 is exact below
// the threshold, and the rounding errors of both subtractions go to r_lo.
struct ReduceHA {
  static constexpr double kThreshold = f64(0x40F000000E4DB24C);  // 65536.00349206588
  static constexpr double kInvQ = f64(0x40545F306DC9C883);       // 256/pi
  static constexpr double kQ1 = f64(0x3F8921FB54400000), kQ2 = 4.7477347705499734e-13,
                          kQ3 = 1.5798955068718364e-23;
  static vd2 run(vd2 a, vq2 &nbits, vd2 &r_lo) {
    const vd2 n = round_shift(a * kInvQ, nbits);
    const vd2 r1 = a - n * kQ1;
    vd2 r2, e2, r3, e3;
    exact::two_sum(r1, -(n * kQ2), r2, e2);
    exact::two_sum(r2, -(n * kQ3), r3, e3);
    r_lo = e2 + e3;
    return r3;
  }
};

// sin(theta_k + r) for a row C_lo, C_hi, S_hi, S_lo of a sine table (or of
// the cosine table for the cosine): S_hi + r C_hi (exact product) + r C_lo
// with both rounding errors kept, then the low terms of the two series
// sin r - r and cos r - 1 and the derivative times r_lo.
inline vd2 eval_row(const double (*table)[4], vq2 k, vd2 r, vd2 r_lo) {
  vd2 c_lo, c_hi, s_hi, s_lo;
  gather4(table, k, c_lo, c_hi, s_hi, s_lo);
  vd2 t, e1, h, e2;
  exact::two_sum(s_hi, r * c_hi, t, e1);
  exact::two_sum(t, r * c_lo, h, e2);
  const vd2 z = r * r, c = c_hi + c_lo;
  const vd2 sin_tail = (0.0083333229326095146 * z - 0.1666666666665455) * z * r;
  const vd2 cos_tail = ((-0.0013888875887985619 * z + 0.041666666666651524) * z - 0.5) * z;
  const vd2 low = (e1 + e2) + sin_tail * c + cos_tail * s_hi + s_lo + r_lo * (c - r * s_hi);
  return h + low;
}

// tan(theta_k + r) for row k of a tangent table (B_hi, B_lo, A, c0_hi, c0_lo,
// c1_hi, c1_lo, c2..c7): the pole term A/(B - r), its reciprocal from the
// single-precision estimate and two Newton steps, its residual carried as a
// low part, plus the regular polynomial.
inline vd2 eval_tan_row(const double (*table)[13], vq2 k, vd2 r, vd2 r_lo) {
  const double *p = table[k[0]], *q = table[k[1]];
  auto col = [&](int i) { return vd2{p[i], q[i]}; };
  vd2 d_hi, d_e;
  exact::two_sum(col(0), -r, d_hi, d_e);
  const vd2 d_lo = d_e + (col(1) - r_lo);
  vd2 d, dl;
  exact::fast_two_sum(d_hi, d_lo, d, dl);
  const __m128 df = _mm_cvtpd_ps(as<__m128d>(d));
  vd2 y = as<vd2>(_mm_cvtps_pd(_mm_rcp_ps(df)));
  y = y * (2.0 - d * y);
  y = y * (2.0 - d * y);
  vd2 pr, pe;
  exact::two_product(d, y, pr, pe);
  const vd2 res = ((1.0 - pr) - pe) - dl * y;  // 1 - d y, nearly exact
  const vd2 inv_hi = col(2) * y;  // A is 0 or 1; d is never 0 where A is 0
  const vd2 inv_lo = inv_hi * res;
  vd2 p1, p1e, s1, e1, s2, e2;
  exact::two_product(col(5), r, p1, p1e);
  exact::two_sum(inv_hi, col(3), s1, e1);
  exact::two_sum(s1, p1, s2, e2);
  const vd2 poly = r * r * (col(7) + r * (col(8) + r * (col(9) + r * (col(10) + r * (col(11) + r * col(12))))));
  const vd2 low = (e1 + e2) + p1e + inv_lo + col(4) + col(6) * r + col(5) * r_lo + poly;
  return s2 + low;
}

// The same row in plain double arithmetic, for the LA and EP large paths
// (a few ulp): the pole term by one division, no low parts but r_lo's.
inline vd2 eval_tan_row_short(const double (*table)[13], vq2 k, vd2 r, vd2 r_lo) {
  const double *p = table[k[0]], *q = table[k[1]];
  auto col = [&](int i) { return vd2{p[i], q[i]}; };
  const vd2 d = (col(0) - r) + (col(1) - r_lo);
  const vd2 poly = r * r * (col(7) + r * (col(8) + r * (col(9) + r * (col(10) + r * (col(11) + r * col(12))))));
  return (col(2) / d + col(3)) + (col(5) * r + (col(4) + col(5) * r_lo + poly));
}

// The lane skeleton of the kernels with a large path: fast() for the lanes
// up to the threshold, large() for the finite lanes above it (computed on
// the pair, selected by lane), the non-finite lanes flagged for the scalar
// routine. A pair with both lanes over the threshold skips fast(); the
// other lanes keep their fast-path bits.
template <class Fast, class Large> inline vd2 fast_or_large(vl2 big, vd2 a, vl2 &bad, Fast fast, Large large) {
  const unsigned m = lane_bits(big);
  bad = vl2{};
  if (__builtin_expect(m == 0, 1)) return fast();
  bad = non_finite(a);
  const vd2 y = m == 3 ? vd2{} : fast();
  if (lane_bits(big & ~bad) == 0) return y;
  return select(big, large(), y);
}

// The scalar routine of the LA and HA kernels, which flag only non-finite
// lanes: NaN comes back quiet (x * x) with no status; +-Inf gives NaN (x * 0)
// and status 1. A finite lane (never flagged) gets its vector result.
template <class K> inline int non_finite_scalar(const double *a, double *r) {
  const double x = *a;
  if (x != x) return *r = x * x, 0;
  if (x == kInf || x == -kInf) return *r = x * 0.0, 1;
  vl2 bad;
  *r = K::lanes(vd2{x, x}, bad)[0];
  return 0;
}
template <class K> inline int non_finite_scalar2(const double *a, double *r1, double *r2) {
  const double x = *a;
  if (x != x) return *r1 = *r2 = x * x, 0;
  if (x == kInf || x == -kInf) return *r1 = *r2 = x * 0.0, 1;
  vl2 bad;
  vd2 y1, y2;
  K::lanes(vd2{x, x}, y1, y2, bad);
  *r1 = y1[0], *r2 = y2[0];
  return 0;
}

}  // namespace qor::kernels::dtrig

#endif
