// The lane formulas of the d power kernels, one per tier, all on the outline
// log2 x, times y, 2^t. HA: log2 x in two parts from the 1025-row tables
// (see log2_dd), the product with y exact, 2^t by 128 rows and degree 5 with
// the rows' low parts. LA: the same tables with r's head masked (log2_la),
// log2 x's head cut to 26 bits so that y's halves multiply it exactly, the
// rows' high parts only. EP: the same tables' high parts, log2 x and the
// product in plain double, degree 4 and 3.
#ifndef QOR_KERNELS_DPOW_CORE_H
#define QOR_KERNELS_DPOW_CORE_H

#include "vector/kernels/pow/pow_common.h"

namespace qor::kernels::powk {

constexpr uint64_t kExpField = 0xfff0000000000000ull;

// The exponent with its Dekker split, formed once per vector (Pow) or once
// per call (Powx).
struct DPowY {
  vd2 y, yh, yl;
};

// LA's log2 x = hi + lo: r = m c - 1 exactly as rh + rl (m's head by the mask
// 0xffffffff00000000), r's 26-bit head by the mask 0xfffffff800000000 times
// the 21-bit head of 1/ln 2 exactly; the rest of 1/ln 2 times r, and the
// series beyond its first term, in lo.
constexpr double kInvLn2Head = 1.4426949024200439, kInvLn2Tail = 0x1.295c17f0bbbe8p-23;
inline void log2_la(vd2 x, vd2 &hi, vd2 &lo) {
  alignas(16) int32_t w[4];
  row_index(x, w);
  const vq2 bits = as<vq2>(x);
  const vd2 k = as<vd2>((bits >> 52) | 0x4330000000000000ull) - 4503599627371519.0;  // 2^52 + 1023
  const vd2 m = as<vd2>((bits & 0x000fffffffffffffull) | 0x3ff0000000000000ull);
  const vd2 c = {kPowRecip_1025[w[1]], kPowRecip_1025[w[3]]};
  vd2 lh, ll;
  gather_pairs(kPowLog2_1025, vl2{w[1], w[3]}, lh, ll);
  const vd2 mh = as<vd2>(as<vq2>(m) & 0xffffffff00000000ull);
  const vd2 rh = mh * c - 1.0, rl = (m - mh) * c;
  const vd2 r = rh + rl;
  const vd2 r1 = as<vd2>(as<vq2>(r) & 0xfffffff800000000ull);
  const vd2 r2 = (rh - r1) + rl;
  const vd2 p1 = r1 * kInvLn2Head;  // exact
  const vd2 q = r * r * (kL2 + r * (kL3 + r * (kL4 + r * (kL5 + r * kL6))));
  vd2 s1, e1, s2, e2;
  fast_two_sum(k, lh, s1, e1);
  two_sum(s1, p1, s2, e2);
  hi = s2;
  lo = (e1 + e2) + (ll + ((r2 * kInvLn2Head + r * kInvLn2Tail) + q));
}

template <bool KeepLow> struct DPowCore {
  using T = double;
  using Y = DPowY;
  static constexpr int kBlock = 8;
  static Y cut(vd2 y) {
    Y c{y, {}, {}};
    split(y, c.yh, c.yl);
    return c;
  }
  static vd2 lanes(vd2 x, const Y &y, vl2 &bad) {
    vd2 hi, lo, th, tl;
    if constexpr (KeepLow) {
      log2_dd(x, hi, lo);
      times_y(y.y, y.yh, y.yl, hi, lo, th, tl);
    } else {
      log2_la(x, hi, lo);
      // log2 x = h + l with h the top 26 bits of hi (a mask), so that the
      // halves of y multiply it exactly: t = yh h + (yl h + y l) = th + tl.
      const vd2 h = as<vd2>(as<vq2>(hi) & 0xfffffffff8000000ull);
      const vd2 l = (hi - h) + lo;
      th = y.yh * h;
      tl = y.yl * h + y.y * l;
    }
    const vd2 tt = KeepLow ? th + kShift128 : (th + tl) + kShift128;  // n by the whole t
    const vq2 kb = as<vq2>(tt);
    const vd2 f = (th - (tt - kShift128)) + tl;
    vd2 t0, t1;
    expk::gather_rows<128>(kPowExp2_128, kb, t0, t1);
    const vd2 p = exp2_poly(f);
    const vd2 v = KeepLow ? t0 + (t1 + t0 * p) : t0 + t0 * p;
    bad = d_x_bad(x) | d_y_bad(y.y) | d_t_bad(th);
    return as<vd2>(as<vq2>(v) + ((kb << 45) & kExpField));
  }
};
using DPowLACore = DPowCore<false>;
using DPowHACore = DPowCore<true>;

// EP: log2 x = k - log2 c + log2(1 + r) with r = m c - 1 rounded once, the
// series to degree 4 (|r| < 2^-10.9, truncation below 2^-45); t in plain
// double, 2^f to degree 3 on |f| <= 1/256 (below 2^-38).
struct DPowEPCore {
  using T = double;
  struct Y {
    vd2 y;
  };
  static constexpr int kBlock = 16;
  static Y cut(vd2 y) { return {y}; }
  static vd2 lanes(vd2 x, const Y &y, vl2 &bad) {
    alignas(16) int32_t w[4];
    row_index(x, w);
    const vq2 bits = as<vq2>(x);
    const vd2 k = as<vd2>((bits >> 52) | 0x4330000000000000ull) - 4503599627371519.0;
    const vd2 m = as<vd2>((bits & 0x000fffffffffffffull) | 0x3ff0000000000000ull);
    const vd2 c = {kPowRecip_1025[w[1]], kPowRecip_1025[w[3]]};
    const vd2 lh = {kPowLog2_1025[w[1]][0], kPowLog2_1025[w[3]][0]};
    const vd2 r = m * c - 1.0;
    const vd2 l2 = (k + lh) + r * (kInvLn2Hi + r * (kL2 + r * (kL3 + r * kL4)));
    const vd2 t = y.y * l2;
    const vd2 tt = t + kShift128;
    const vq2 kb = as<vq2>(tt);
    const vd2 f = t - (tt - kShift128);
    vd2 t0, t1;
    expk::gather_rows<128>(kPowExp2_128, kb, t0, t1);
    const vd2 v = t0 + t0 * (f * (kE1 + f * (kE2 + f * kE3)));
    bad = d_x_bad(x) | d_y_bad(y.y) | d_t_bad(t);
    return as<vd2>(as<vq2>(v) + ((kb << 45) & kExpField));
  }
};

}  // namespace qor::kernels::powk

#endif
