// The lane formulas of the s power kernels, one per tier, all on the outline
// ln x, times y, e^t. HA widens the lanes and works in double with the
// approximate reciprocal and a 2^(i/2048) table; LA and EP stay in single
// precision, LA with a 7-bit table and the product with y kept in two parts,
// EP with no table.
#ifndef QOR_KERNELS_SPOW_CORE_H
#define QOR_KERNELS_SPOW_CORE_H

#include "vector/kernels/pow/pow_common.h"

namespace qor::kernels::powk {

constexpr double kLn2 = 0.69314718055994531;
constexpr double kShift52 = 6755399441055744.0;  // 1.5 * 2^52: round to integer
constexpr int32_t kSTBound = 0x42ae9a00;         // 87.3007812: |t| above it may leave the normal range

inline vd2 low_half(vi4 x) { return __builtin_convertvector(__builtin_shufflevector(x, x, 0, 1), vd2); }
inline vd2 high_half(vi4 x) { return __builtin_convertvector(__builtin_shufflevector(x, x, 2, 3), vd2); }
inline vi4 s_t_bad(vf4 t) { return (as<vi4>(t) & 0x7fffffff) > kSTBound; }

// HA, in double on widened lanes. x = 2^k m with m in [0.707, 1.414): the
// top 10 fraction bits against 724/512 choose the exponent 1023 or 1022 for
// m. The approximate reciprocal of m, rounded to a step of 2^-10 by a
// shifter, is c; its row of kSPowRcpLn_1025 holds c and -ln c for every
// step from 0.5 to 1.5, so any c the instruction leads to has its exact
// logarithm and r = m c - 1 is exact, |r| <= 1.1e-3 on every processor.
// ln x = k ln 2 - ln c + ln(1 + r), degree 3. e^t = 2^(n/2048) by
// 2048/ln 2 and the shifter: the low 11 bits of n pick 2^(j/2048), the high
// bits the exponent; the remainder s (|s| <= 1/2, in steps of 1/2048 of a
// binade) gives 2^(s/2048) = (1 + a)^s with a = 2^(1/2048) - 1, to second
// order 1 + u + u (u - a)/2 with u = s a. One rounding to single ends the
// element; a result that rounds out of the normal range is flagged.
struct SPowHACore {
  using T = float;
  struct Y {
    vf4 y;
    vd2 lo, hi;
  };
  static constexpr int kBlock = 16;
  static constexpr float kStep = 12288.0f;  // 1.5 * 2^13: rounds to a multiple of 2^-10
  static constexpr double kA = 0.00033850805268231294;  // 2^(1/2048) - 1
  static constexpr int32_t kTBound = 0x42cff1b3;  // 103.97206124103909 rounded up to single
  static Y cut(vf4 y) { return {y, low_pair(y), high_pair(y)}; }

  static vd2 half(vd2 m, vd2 k, vd2 y, const int32_t *w, vd2 &t) {
    vd2 c, lc;
    gather_pairs(kSPowRcpLn_1025, vl2{w[0], w[1]}, c, lc);
    const vd2 r = m * c - 1.0;
    const vd2 lnx = k * kLn2 + (lc + r + r * r * (-0.49999999999988803 + r * 0.33333333333308374));
    t = y * lnx;
    const vd2 tk = t * 2954.639443740597;  // 2048 / ln 2
    const vd2 z = tk + kShift52;
    const vd2 sr = tk - (z - kShift52);
    const vq2 kb = as<vq2>(z);
    alignas(16) uint32_t q[4];
    store(q, kb);
    __asm__("" : "+m"(q));
    const vd2 tj = {kPowExp2_2048[q[0] & 2047], kPowExp2_2048[q[2] & 2047]};
    const vd2 u = sr * kA;
    const vd2 v = tj + tj * (u + 0.5 * u * (u - kA));
    return as<vd2>(as<vq2>(v) + ((kb << 41) & 0xfff0000000000000ull));
  }
  static vf4 lanes(vf4 x, const Y &y, vi4 &bad) {
    const vu4 xi = as<vu4>(x);
    const vu4 frac = xi & 0x7fffffu;
    const vi4 big = as<vi4>(frac >> 13) > (724 - 512) * 2 - 1;  // m at or above 724/512
    const vf4 mf = as<vf4>(frac | as<vu4>((vi4{} + 0x3f800000) - (big & 0x00800000)));  // exponent 0 or -1
    const vi4 k = as<vi4>(xi >> 23) - 127 - big;
    const vf4 c = as<vf4>(_mm_rcp_ps(as<__m128>(mf))) + kStep;
    alignas(16) int32_t w[4];
    store(w, as<vi4>(as<vu4>(c) - as<vu4>(vf4{kStep, kStep, kStep, kStep})) - 512);
    __asm__("" : "+m"(w));
    vd2 t0, t1;
    const vd2 r0 = half(low_pair(mf), low_half(k), y.lo, w, t0);
    const vd2 r1 = half(high_pair(mf), high_half(k), y.hi, w + 2, t1);
    const vf4 res = narrow(r0, r1);
    // |t| above the bound (read in single precision), or the result not
    // positive, normal and finite.
    const vi4 tbad = (as<vi4>(narrow(t0, t1)) & 0x7fffffff) > kTBound;
    bad = s_x_bad(x) | tbad | s_x_bad(res);
    return res;
  }
};

// LA, all in single precision. x = 2^k m with m in [1, 2); the top 7
// fraction bits, rounded at the 8th, pick a row of kSPowLn_128 (the last
// point, 2, is row 0 of the next binade: m halves and k grows, so that x
// near 1 from below finds c = 1 and ln x loses nothing to cancellation).
// m is cut by 4097 into 12-bit halves, each multiplied exactly by the 12-bit
// row reciprocal c: r = m c - 1 = rh + rl, |r| <= 2^-8. ln x = h + l with
// h = k ln2_hi + hi(row), an exact sum (the rows' hi are multiples of
// 2^-17), s = h + r rounded, and l the rest: the sum's error, the row's
// low part, k ln2_lo and the series beyond r (-r^2/2 + r^3/3 - r^4/4). The product with y keeps its low bits:
// s and y are cut into 12-bit halves, so t = yh s12 + (yl s12 + y l) = th + tl
// with th exact. e^t as sExp LA: n by the shifter, the
// remainder in two parts of ln 2 plus tl, degree 5.
struct SPowLACore {
  using T = float;
  struct Y {
    vf4 y, yh, yl;
  };
  static constexpr int kBlock = 16;
  static constexpr float kSplit = 4097.0f;       // 2^12 + 1: 12-bit halves of a float
  static constexpr int32_t kTBound = 0x42819f00;  // |t| up to 64.8: the result stays normal
  static void cut4097(vf4 a, vf4 &hi, vf4 &lo) {
    const vf4 c = a * kSplit;
    hi = c - (c - a);
    lo = a - hi;
  }
  // y's halves by a mask (12 significant bits kept): no product that could
  // overflow for a huge y.
  static Y cut(vf4 y) {
    const vf4 yh = as<vf4>(as<vu4>(y) & 0xfffff000u);
    return {y, yh, y - yh};
  }
  static vf4 lanes(vf4 x, const Y &y, vi4 &bad) {
    const vu4 xi = as<vu4>(x);
    const vu4 frac = xi & 0x7fffffu;
    const vu4 j = (frac + 0x8000u) >> 16;  // 0 .. 128
    const vu4 top = j >> 7;
    alignas(16) int32_t w[4];
    store(w, as<vi4>(j & 127u));
    __asm__("" : "+m"(w));
    __m128 c = _mm_load_ps(kSPowLn_128[w[0]]), lh = _mm_load_ps(kSPowLn_128[w[1]]),
           ll = _mm_load_ps(kSPowLn_128[w[2]]), pad = _mm_load_ps(kSPowLn_128[w[3]]);
    _MM_TRANSPOSE4_PS(c, lh, ll, pad);
    const vf4 m = as<vf4>((frac | 0x3f800000u) - (top << 23));
    const vf4 k = __builtin_convertvector(as<vi4>((xi >> 23) + top) - 127, vf4);
    vf4 mh, ml;
    cut4097(m, mh, ml);
    const vf4 rh = mh * as<vf4>(c) - 1.0f, rl = ml * as<vf4>(c);
    const vf4 r = rh + rl, re = rl - (r - rh);
    const vf4 q = r * r * (-0.5f + r * (0.333333343f + r * -0.25f));
    const vf4 a = k * 0.693115234f;  // exact: ln2_hi has 11 bits
    const vf4 h = a + as<vf4>(lh);   // exact: both multiples of 2^-17, |h| < 2^7
    // ln x = s + l: s = h + r rounded, its error kept; s cut to 12 bits by a
    // mask, so that y's 12-bit halves multiply it exactly.
    // |h| >= |r| or h = 0 for every row (|h| >= ln(256/255) once h is not 0,
    // |r| <= 2^-8), so the error of s comes in two steps.
    const vf4 s = h + r;
    const vf4 se = r - (s - h);
    const vf4 s12 = as<vf4>(as<vu4>(s) & 0xfffff000u);
    const vf4 l = ((s - s12) + se) + ((as<vf4>(ll) + k * 3.19461833e-05f) + (re + q));
    const vf4 th = y.yh * s12;  // exact
    const vf4 tl = y.yl * s12 + y.y * l;
    const vf4 t = th + tl;  // n by the whole product, so that |g| stays within ln2/2
    const vf4 z = t * 1.44269502f + 12582912.0f;
    const vf4 n = z - 12582912.0f;
    const vf4 g = (th - n * 0.693145752f) + (tl - n * 1.42860677e-06f);
    const vf4 g2 = g * g;  // in pairs of terms: a shorter dependency chain than Horner's
    const vf4 p = (1.0f + g * f32(0x3f7ffffe)) +
                  g2 * ((f32(0x3effff34) + g * f32(0x3e2aacac)) + g2 * (f32(0x3d2b8392) + g * f32(0x3c07d9fe)));
    // y infinite or NaN leaves yl = NaN, and so t: the test on t covers y.
    bad = s_x_bad(x) | ((as<vi4>(t) & 0x7fffffff) > kTBound);
    return as<vf4>(as<vu4>(p) + (as<vu4>(z) << 23));
  }
};

// EP, all in single precision: m in [2/3, 4/3) by the bits of 0.666666687,
// ln m by a series in r = m - 1, ln x in two parts of ln 2; t = y ln x;
// e^t = 2^k e^r, k by the shifter, degree 3.
struct SPowEPCore {
  using T = float;
  struct Y {
    vf4 y;
  };
  static constexpr int kBlock = 16;
  static Y cut(vf4 y) { return {y}; }
  static vf4 lanes(vf4 x, const Y &y, vi4 &bad) {
    const vi4 ix = as<vi4>(as<vu4>(x) - as<vu4>(vf4{0.666666687f, 0.666666687f, 0.666666687f, 0.666666687f}));
    const vi4 k = ix >> 23;
    const vf4 r = as<vf4>(as<vu4>(x) - (as<vu4>(k) << 23)) - 1.0f;
    const vf4 kf = __builtin_convertvector(k, vf4);
    const vf4 p =
        r + r * r *
                (-0.5f +
                 r * (0.333365649f +
                      r * (-0.250046641f + r * (0.198225036f + r * (-0.164624572f + r * (0.169648811f + r * -0.151772052f))))));
    const vf4 lnx = kf * 0.693145752f + (kf * 1.42860677e-06f + p);
    const vf4 t = y.y * lnx;
    const vf4 z = t * 1.44269502f + 12582912.0f;
    const vf4 q = t - (z - 12582912.0f) * 0.693147182f;
    const vf4 e = 1.0f + q * (1.00011802f + q * (0.503705382f + q * 0.165419281f));
    bad = s_x_bad(x) | s_y_bad(y.y) | s_t_bad(t);
    return as<vf4>(as<vu4>(e) + (as<vu4>(z) << 23));
  }
};

}  // namespace qor::kernels::powk

#endif
