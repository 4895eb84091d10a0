// Reduction of large double arguments, two lanes at a time in SIMD integer
// arithmetic with no loop and no branch per lane. Row e of the two-over-pi
// window holds the 192 bits of 1/(2 pi) that matter for exponent e; the
// 53-bit significand times those bits, modulo 2^192, is the fraction of
// x/(2 pi) in 2^-192 units (the integer part falls off the top). The top 9
// bits select a row of 2 pi/512; the rest times 2 pi is r in double-double.
#ifndef QOR_KERNELS_TRIG_DTRIG_LARGE_H
#define QOR_KERNELS_TRIG_DTRIG_LARGE_H

#include "vector/kernels/trig/dtrig_common.h"
#include "vector/kernels/trig/dtrig_window.inc"

namespace qor::kernels::dtrig {

constexpr uint64_t kLow32 = 0xFFFFFFFFull;
constexpr uint64_t kOneBits = 0x3FF0000000000000ull;

// pmuludq: the low 32 bits of each 64-bit lane of a times those of b.
inline vq2 mul32(vq2 a, vq2 b) { return as<vq2>(_mm_mul_epu32(as<__m128i>(a), as<__m128i>(b))); }

// For finite a = |x| (any lane; small lanes come out correct too, the callers
// select the fast path there): a = 2 pi (integer + (k + f)/512), with
// r_hi + r_lo = 2 pi f/512 ... returned as r_hi, r_lo and k in the low 9 bits.
inline vd2 reduce_large(vd2 a, vq2 &k, vd2 &r_lo) {
  const vq2 b = as<vq2>(a);
  const vq2 e = b >> 52;
  const vq2 m = (b & 0x000FFFFFFFFFFFFFull) | 0x0010000000000000ull;
  const uint64_t *p = dtrig_tables::kTwoOverPiWindow[e[0] & 2047], *q = dtrig_tables::kTwoOverPiWindow[e[1] & 2047];
  const vq2 w0 = {p[0], q[0]}, w1 = {p[1], q[1]}, w2 = {p[2], q[2]};
  // 32-bit digits of the window, A5 highest; pmuludq reads the low halves itself.
  const vq2 a5 = w0 >> 32, a3 = w1 >> 32, a1 = w2 >> 32;
  const vq2 mh = m >> 32;
  const vq2 l0 = mul32(m, w2), l1 = mul32(m, a1), l2 = mul32(m, w1), l3 = mul32(m, a3), l4 = mul32(m, w0),
            l5 = mul32(m, a5);
  const vq2 h0 = mul32(mh, w2), h1 = mul32(mh, a1), h2 = mul32(mh, w1), h3 = mul32(mh, a3), h4 = mul32(mh, w0);
  // Column sums by 32-bit weight (at most four terms below 2^32 each), then the carries.
  vq2 c1 = (l0 >> 32) + (l1 & kLow32) + (h0 & kLow32);
  vq2 c2 = (l1 >> 32) + (l2 & kLow32) + (h0 >> 32) + (h1 & kLow32);
  vq2 c3 = (l2 >> 32) + (l3 & kLow32) + (h1 >> 32) + (h2 & kLow32);
  vq2 c4 = (l3 >> 32) + (l4 & kLow32) + (h2 >> 32) + (h3 & kLow32);
  vq2 c5 = (l4 >> 32) + (l5 & kLow32) + (h3 >> 32) + (h4 & kLow32);
  c2 += c1 >> 32;
  c3 += c2 >> 32;
  c4 += c3 >> 32;
  c5 += c4 >> 32;
  const vq2 top = (c5 << 32) | (c4 & kLow32);  // fraction bits 1..64
  const vq2 mid = (c3 << 32) | (c2 & kLow32);  // bits 65..128
  // v in [1, 2) from the top 52 bits; u rounds it to a multiple of 2^-9.
  const vd2 v = as<vd2>((top >> 12) | kOneBits);
  const vd2 u = v + 13194139533312.0;  // 3 * 2^42
  k = as<vq2>(u);
  const vd2 d = v - (u - 13194139533312.0);  // |d| <= 2^-10
  const vd2 f2 = (as<vd2>((((top & 0xFFF) << 40) | (mid >> 24)) | kOneBits) - 1.0) * 0x1p-52;
  const vd2 f3 = (as<vd2>(((mid & 0xFFFFFF) << 28) | kOneBits) - 1.0) * 0x1p-104;
  vd2 f_hi, f_lo;
  exact::fast_two_sum(d, f2, f_hi, f_lo);
  f_lo += f3;
  // r = 2 pi f: the 26-bit head of f_hi times the 27-bit head of 2 pi is exact.
  const vd2 fh = as<vd2>(as<vq2>(f_hi) & 0xFFFFFFFFF8000000ull), fl = f_hi - fh;
  const double kC1 = f64(0x401921FB54000000), kC2 = f64(0x3E310B4611A62633), kTwoPi = f64(0x401921FB54442D18);
  const vd2 head = fh * kC1;
  const vd2 rest = fl * kC1 + f_hi * kC2 + f_lo * kTwoPi;
  vd2 r;
  exact::fast_two_sum(head, rest, r, r_lo);
  return r;
}

// f(|x|) from a 512-row sine or cosine table, for the lanes beyond a fast
// path (and correct for the others).
inline vd2 large_row(const double (*table)[4], vd2 a) {
  vq2 k;
  vd2 r_lo;
  const vd2 r = reduce_large(a, k, r_lo);
  return eval_row(table, k & 511, r, r_lo);
}

// The HA lanes of sine and cosine: the 512-row table at the argument reduced
// by pi/256, or beyond the threshold at the large reduction; the odd sine
// takes the sign of x.
template <const double (&Table)[512][4], bool Odd> inline vd2 table_ha_lanes(vd2 x, vl2 &bad) {
  const vd2 a = vabs(x);
  auto fast = [&] {
    vq2 nb;
    vd2 r_lo;
    const vd2 r = ReduceHA::run(a, nb, r_lo);
    return eval_row(Table, nb & 511, r, r_lo);
  };
  const vd2 v = fast_or_large(~le(a, ReduceHA::kThreshold), a, bad, fast, [&] { return large_row(Table, a); });
  return Odd ? bxor(v, sign_of(x)) : v;
}

}  // namespace qor::kernels::dtrig

#endif
