// The lane formulas of the s power kernels, one per tier, all on the outline
// ln x, times y, e^t. HA and LA widen the lanes and work in double: x = 2^k m,
// c a row's reciprocal (28 bits, so m c is exact), r = m c - 1, ln x = k ln 2
// - ln c + ln(1 + r); e^t by a 2^(i/N) table. HA: rows in steps of 2^-10,
// N = 2048, degree 2; LA: steps of 2^-7, N = 128, degree 3. EP stays in
// single precision with no table.
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

// The exponent widened, formed once per vector (Pow) or once per call (Powx).
struct SPowWideY {
  vf4 y;
  vd2 lo, hi;
};

// Shift: the row index is the fraction's top bits rounded at the next one;
// Step: rows of kPowLn_1025 between two used ones. Tier: the series and the
// exponential.
template <int Shift, int Step, class Tier> struct SPowWideCore {
  using T = float;
  using Y = SPowWideY;
  static constexpr int kBlock = 16;
  static Y cut(vf4 y) { return {y, low_pair(y), high_pair(y)}; }

  static vd2 half(vd2 m, vd2 k, vd2 y, const int32_t *w, vd2 &t) {
    vd2 c, lc;
    gather_pairs(kPowLn_1025, vl2{w[0] * Step, w[1] * Step}, c, lc);
    const vd2 r = m * c - 1.0;
    const vd2 lnx = k * kLn2 + (lc + Tier::log1p(r));
    t = y * lnx;
    return Tier::exp(t);
  }
  static vf4 lanes(vf4 x, const Y &y, vi4 &bad) {
    const vi4 xi = as<vi4>(x);
    const vi4 frac = xi & 0x7fffff;
    alignas(16) int32_t w[4];
    store(w, (frac + (1 << (Shift - 1))) >> Shift);
    __asm__("" : "+m"(w));
    const vi4 k = (xi >> 23) - 127;
    const vf4 m = as<vf4>(frac | 0x3f800000);
    vd2 t0, t1;
    const vd2 r0 = half(low_pair(m), low_half(k), y.lo, w, t0);
    const vd2 r1 = half(high_pair(m), high_half(k), y.hi, w + 2, t1);
    bad = s_x_bad(x) | s_y_bad(y.y) | s_t_bad(narrow(t0, t1));
    return narrow(r0, r1);
  }
};

// HA: steps of 2^-10 (|r| <= 2^-11), ln(1 + r) to degree 3; N = 2048 with
// one reduction constant, e^r to degree 2 (|r| <= 1.7e-4).
struct SPowHATier {
  static vd2 log1p(vd2 r) { return r + r * r * (-0.49999999999988803 + r * 0.33333333333308374); }
  static vd2 exp(vd2 t) {
    const vd2 z = t * 2954.639443740597 + kShift52;  // 2048 / ln 2
    const vd2 r = t - (z - kShift52) * 0.0003384507717577858;  // ln 2 / 2048
    const vq2 kb = as<vq2>(z);
    alignas(16) uint32_t w[4];
    store(w, kb);
    __asm__("" : "+m"(w));
    const vd2 tj = {kPowExp2_2048[w[0] & 2047], kPowExp2_2048[w[2] & 2047]};
    const vd2 v = tj + tj * (r + 0.5 * r * r);
    return as<vd2>(as<vq2>(v) + ((kb << 41) & 0xfff0000000000000ull));
  }
};
using SPowHACore = SPowWideCore<13, 1, SPowHATier>;

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
    const vf4 s = h + r, sb = s - h;
    const vf4 se = (h - (s - sb)) + (r - sb);
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
