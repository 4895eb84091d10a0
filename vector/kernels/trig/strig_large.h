// The large-argument path of the single-precision circular kernels: the
// fraction of |x|/(2 pi) by Payne-Hanek in SIMD integer arithmetic, two lanes
// at a time, with no loop and no branch per lane, then sin or tan of
// 2 pi k/256 + r from one table row, in double, narrowed once by the caller.
// Included once per kernel file: each kernel keeps its own copy of the tables.
#ifndef QOR_KERNELS_STRIG_LARGE_H
#define QOR_KERNELS_STRIG_LARGE_H

#include "vector/dispatch/simd.h"
#include "vector/kernels/trig/strig_tables.inc"

namespace qor::kernels::strig {
namespace {

using namespace qor::simd;
using strig_tables::kSineS;
using strig_tables::kTangentS;
using strig_tables::kTwoOverPiS;

// The low 32 bits of each 64-bit lane of a times those of b, as 64-bit lanes.
inline vq2 mul32(vq2 a, vq2 b) { return as<vq2>(_mm_mul_epu32(as<__m128i>(a), as<__m128i>(b))); }

// Two lanes of |x| (float bits in the low words of 64-bit lanes, finite or
// not; only finite ones are meaningful): k, the turn count of |x| in units
// of 2 pi/256 modulo 256, and r = |x| - 2 pi k/256 in double, |r| <= pi/256.
//
// |x| = m 2^(e-150) with the 24-bit significand m; row e of the window holds
// W, the 96 bits of 1/(2 pi) from e - 150 bits after the point, so that the
// fraction of |x|/(2 pi) is m W mod 2^96 in units of 2^-96: the bits before
// the window give whole turns and fall off, those after it weigh less than
// 2^-72 of a turn.
inline void reduce_pair(vq2 b, const uint32_t *wa, const uint32_t *wb, vd2 &r, vq2 &k) {
  const vq2 m = (b & 0x7fffffu) | 0x800000u;
  // the rows' words as 64-bit lanes: (w0a, w0b), (w1a, w1b), (w2a, w2b)
  const __m128i w01 = _mm_unpacklo_epi32(_mm_loadl_epi64((const __m128i *)wa), _mm_loadl_epi64((const __m128i *)wb));
  const __m128i zero = _mm_setzero_si128();
  const vq2 w0 = as<vq2>(_mm_unpacklo_epi32(w01, zero)), w1 = as<vq2>(_mm_unpackhi_epi32(w01, zero));
  const vq2 w2 = as<vq2>(_mm_unpacklo_epi64(_mm_cvtsi32_si128((int)wa[2]), _mm_cvtsi32_si128((int)wb[2])));
  const vq2 p2 = mul32(m, w2), p1 = mul32(m, w1), p0 = mul32(m, w0);
  const vq2 mid = p1 + (p2 >> 32);                    // bits 32..88 of the product
  const vq2 top = (p0 + (mid >> 32)) & 0xffffffffu;   // bits 64..95, the rest is whole turns
  const vq2 head = (top << 20) | ((mid & 0xffffffffu) >> 12);      // the fraction's top 52 bits
  const vq2 tail = ((mid & 0xfffu) << 32) | (p2 & 0xffffffffu);   // its next 44 bits
  // v = 1 + head 2^-52; adding 3 * 2^43 rounds it to a multiple of 2^-8.
  constexpr double kRound = 26388279066624.0;
  const vd2 v = as<vd2>(head | 0x3ff0000000000000ull);
  const vd2 u = v + kRound;
  k = as<vq2>(u) & 0xffu;
  const vd2 d = v - (u - kRound);  // exact, |d| <= 2^-9
  const vd2 lo = (as<vd2>(tail | 0x4330000000000000ull) - 4503599627370496.0) * 0x1p-96;
  r = (d + lo) * 6.283185307179586;
}

// The same for four float lanes: results for lanes 0-1 and 2-3. The rows
// are found by the exponents through memory, as four 32-bit loads.
inline void reduce_large(vf4 ax, vd2 (&r)[2], vq2 (&k)[2]) {
  alignas(16) uint32_t e[4];
  store(e, as<vu4>(ax) >> 23);
  __asm__("" : "+m"(e));
  const __m128i b = as<__m128i>(ax), zero = _mm_setzero_si128();
  reduce_pair(as<vq2>(_mm_unpacklo_epi32(b, zero)), kTwoOverPiS[e[0]], kTwoOverPiS[e[1]], r[0], k[0]);
  reduce_pair(as<vq2>(_mm_unpackhi_epi32(b, zero)), kTwoOverPiS[e[2]], kTwoOverPiS[e[3]], r[1], k[1]);
}

// Four consecutive floats of two rows, as four pairs of doubles (column j of
// both rows in pair j): two vector loads, a transpose and four conversions.
inline void rows4(const float *ra, const float *rb, vd2 &c0, vd2 &c1, vd2 &c2, vd2 &c3) {
  const __m128 a = _mm_loadu_ps(ra), b = _mm_loadu_ps(rb);
  const __m128 lo = _mm_unpacklo_ps(a, b), hi = _mm_unpackhi_ps(a, b);  // a0 b0 a1 b1, a2 b2 a3 b3
  c0 = as<vd2>(_mm_cvtps_pd(lo));
  c1 = as<vd2>(_mm_cvtps_pd(_mm_movehl_ps(lo, lo)));
  c2 = as<vd2>(_mm_cvtps_pd(hi));
  c3 = as<vd2>(_mm_cvtps_pd(_mm_movehl_ps(hi, hi)));
}

// sin(2 pi k/256 + r) for |r| <= pi/256 from row k of the sine table:
// S cos r + C sin r = (S_hi + r C_hi) + (S_lo + r C_lo + S (cos r - 1) + C (sin r - r)),
// where r C_hi is exact. Odd and even parts of degree 5 and 4 (error below
// 1e-14 of the result): sin r - r and cos r - 1.
inline vd2 sin_row(vq2 k, vd2 r) {
  vd2 c_lo, s_hi, s_lo, c_hi;
  rows4(kSineS[k[0] & 255], kSineS[k[1] & 255], c_lo, s_hi, s_lo, c_hi);
  const vd2 z = r * r;
  const vd2 sr = r * z * (-0.166666672f + z * 0.00833329186f);
  const vd2 cr = z * (-0.5 + z * 0.0416664928f);
  return (s_hi + r * c_hi) + (s_lo + r * c_lo + (s_hi + s_lo) * cr + (c_hi + c_lo) * sr);
}

// tan(k pi/256 + r) for |r| <= pi/256 (and a little more) from row k of the
// tangent table: A/((B_hi - r) + B_lo) + c0 + c1 r + ... + c4 r^4. At a pole
// (B - r exactly 0 with A = 1) the quotient is +Inf; callers set the sign.
inline vd2 tan_row(vq2 k, vd2 r) {
  const float *ra = kTangentS[k[0] & 255], *rb = kTangentS[k[1] & 255];
  vd2 b_hi, b_lo, a, c0_hi, c0_lo, c1_hi, c1_lo, c2, c3, c4, skip;
  rows4(ra, rb, b_hi, b_lo, a, c0_hi);
  rows4(ra + 4, rb + 4, c0_lo, c1_hi, c1_lo, c2);
  rows4(ra + 6, rb + 6, skip, skip, c3, c4);
  const vd2 d = (b_hi - r) + b_lo;
  const vd2 p = r * ((c1_hi + c1_lo) + r * (c2 + r * (c3 + r * c4)));
  return a / d + (c0_hi + (c0_lo + p));
}

}  // namespace
}  // namespace qor::kernels::strig

#endif
