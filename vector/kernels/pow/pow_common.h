// Pieces shared by the power kernels: the lane tests on the input bits, the
// double-double log2 of the d kernels and the scalar routines of Pow and Powr
// (one routine per element type, with the C99 special values of pow or the
// IEEE special values of powr), and the kernel descriptions that join a
// tier's lane formula to a scalar routine.
#ifndef QOR_KERNELS_POW_COMMON_H
#define QOR_KERNELS_POW_COMMON_H

#include <float.h>
#include <stdint.h>

#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/exact.h"
#include "vector/kernels/exp/exp_common.h"
#include "vector/kernels/pow/pow_tables.inc"

namespace qor::kernels::powk {

using exact::fast_two_sum;
using exact::split;
using exact::two_product;
using exact::two_sum;

using namespace qor::simd;
using namespace qor::kernels::pow_tables;

// ---------------------------------------------------------------- lane tests

// x positive, normal and finite: bits + 0x7f800000 stays at or below
// 0xfeffffff as a signed number (one addition, one comparison).
inline vi4 s_x_bad(vf4 x) { return as<vi4>(as<vu4>(x) + 0x7f800000u) > (int32_t)0xfeffffff; }
// y finite.
inline vi4 s_y_bad(vf4 y) { return (as<vi4>(y) & 0x7fffffff) > 0x7f7fffff; }

// d: the high word plus 0x00100000 stays at or above 0x00200000 (signed):
// positive, normal, finite. y: the high word's magnitude below 0x7f800000.
inline vl2 d_x_bad(vd2 x) { return from_high_words(as<vi4>(as<vu4>(words(x)) + 0x00100000u) < 0x00200000); }
inline vl2 d_y_bad(vd2 y) { return from_high_words((words(y) & 0x7fffffff) > 0x7f7fffff); }
// |t| at or above 1000: the result may leave the normal range.
inline vl2 d_t_bad(vd2 t) { return from_high_words((words(t) & 0x7fffffff) > 0x408f3fff); }

// ------------------------------------------------------- double-double log2

// 1/ln 2 in two parts, and the series of log2(1 + r) beyond its first term.
constexpr double kInvLn2Hi = f64(0x3ff71547652b82fe), kInvLn2Lo = f64(0x3c7777d0ffda0d24);
constexpr double kL2 = -0.7213475204444817, kL3 = 0.4808983469629878, kL4 = -0.36067376022224085,
                 kL5 = 0.28853900817779266, kL6 = -0.2404491734814939;

// Rows of the 1025-row tables by the high words: the top 10 fraction bits,
// rounded by adding 1 at the 11th.
inline void row_index(vd2 x, int32_t (&w)[4]) {
  const vi4 i = ((words(x) & 0x000ffe00) + 0x200) >> 10;
  store(w, i);
  __asm__("" : "+m"(w));  // read back as integers through memory
}

// log2 x = hi + lo for x positive and normal, to about 2^-68 relative:
// x = 2^k m, c the row's reciprocal, r = m c - 1 exactly as rh + rl (a 21-bit
// head and the tail of m, each multiplied exactly by the 18-bit c), then
// k - log2 c + log2(1 + r), the first term of the series an exact product.
inline void log2_dd(vd2 x, vd2 &hi, vd2 &lo) {
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
  vd2 r, re, rsh, rsl, ph, pe;
  two_sum(rh, rl, r, re);
  split(r, rsh, rsl);
  two_product(r, rsh, rsl, vd2{kInvLn2Hi, kInvLn2Hi}, ph, pe);
  const vd2 q = r * r * (kL2 + r * (kL3 + r * (kL4 + r * (kL5 + r * kL6))));
  vd2 s1, e1, s2, e2;
  fast_two_sum(k, lh, s1, e1);
  two_sum(s1, ph, s2, e2);
  hi = s2;
  lo = (e1 + e2) + (ll + (pe + (r * kInvLn2Lo + (re * kInvLn2Hi + q))));
}

// t = y (hi + lo) as th + tl, y given with its split.
inline void times_y(vd2 y, vd2 yh, vd2 yl, vd2 hi, vd2 lo, vd2 &th, vd2 &tl) {
  vd2 e;
  two_product(y, yh, yl, hi, th, e);
  tl = e + y * lo;
}

// 2^(th + tl) for |th| below 1100, as hi + rest and the exponent n: 128
// rows of 2^(j/128) in two parts, degree 5 for 2^f - 1 on |f| <= 1/256.
constexpr double kShift128 = 52776558133248.0;  // 1.5 * 2^45: th rounded to 7 fraction bits
constexpr double kE1 = 0.69314718055994529, kE2 = 0.24022650695910069, kE3 = 0.055504108664821576,
                 kE4 = 0.0096181291076284769, kE5 = 0.0013333558146428443;
inline vd2 exp2_poly(vd2 f) { return f * (kE1 + f * (kE2 + f * (kE3 + f * (kE4 + f * kE5)))); }

// -------------------------------------------------------- scalar routines

// Beyond this |y|, |y log2 x| passes 2^800 for any x other than 1.
constexpr double kHugeExponent = 0x1p900;

// 0: not an integer, 1: odd integer, 2: even integer.
inline int integer_kind(double y) {
  const double a = __builtin_fabs(y);
  if (a >= 0x1p53) return 2;
  const int64_t i = (int64_t)a;
  if ((double)i != a) return 0;
  return (i & 1) ? 1 : 2;
}

// |x|^y for finite nonzero x, finite y, in double with the exponent n kept
// apart so that the denormal range gets one rounding.
inline double abs_pow(double x, double y) {
  double ax = __builtin_fabs(x), adjust = 0.0;
  if (ax == 1.0) return 1.0;  // -1 to an integer exponent, however large
  if (ax < DBL_MIN) {
    ax *= 0x1p64;
    adjust = -64.0;
  }
  vd2 hi, lo;
  log2_dd(vd2{ax, ax}, hi, lo);
  double h = hi[0], l = lo[0];
  if (adjust != 0.0) {
    double s, e;
    two_sum(h, adjust, s, e);
    h = s;
    l += e;
  }
  if (__builtin_fabs(y) >= kHugeExponent) {
    // log2|x| is at least 2^-60 away from 0 here, so the product is far out.
    return ((h > 0) == (y > 0)) ? DBL_MAX * 2.0 : 0.0;
  }
  double yh, yl, th, tl;
  split(y, yh, yl);
  {
    vd2 t1, t2;
    times_y(vd2{y, y}, vd2{yh, yh}, vd2{yl, yl}, vd2{h, h}, vd2{l, l}, t1, t2);
    th = t1[0];
    tl = t2[0];
  }
  if (th > 1100.0) return DBL_MAX * 2.0;
  if (th < -1200.0) return 0.0;
  const double tt = th + kShift128;
  const int64_t kb = (int64_t)(as<uint64_t>(tt) - as<uint64_t>(kShift128));  // round(128 th)
  const double f = (th - (tt - kShift128)) + tl;
  const int j = (int)(kb & 127);
  const double p = exp2_poly(vd2{f, f})[0];
  const double th0 = kPowExp2_128[j][0];
  return expk::scale_pow2(th0, kPowExp2_128[j][1] + th0 * p, (long)(kb >> 7));
}

// Results that overflow or underflow read back as status 3 or 4.
template <class T> inline int finish(double v, int sign, T *r) {
  const T t = (T)v;  // one rounding to T (after one to double for float)
  const T out = sign ? -t : t;
  *r = out;
  const double a = __builtin_fabs((double)out);
  if (a > (sizeof(T) == 4 ? (double)FLT_MAX : DBL_MAX)) return 3;
  if (a < (sizeof(T) == 4 ? (double)FLT_MIN : DBL_MIN)) return 4;
  return 0;
}

template <class T> inline T infinity() { return (T)__builtin_inf(); }

// The zero base with a negative exponent: a pole (2) in d; s reports it as
// an overflow (3), the only statuses of its routine being 1, 3 and 4.
template <class T> constexpr int kPoleStatus = sizeof(T) == 8 ? 2 : 3;

// pow(x, y) with the C99 special values.
template <class T> int pow_scalar(T xt, T yt, T *r) {
  const double x = xt, y = yt;
  if (y == 0) return *r = (T)1, 0;
  if (x == 1) return *r = (T)1, 0;
  if (x != x || y != y) return *r = xt + yt, 0;
  const double ax = __builtin_fabs(x);
  if (__builtin_isinf(y)) {
    if (ax == 1) return *r = (T)1, 0;
    return *r = ((ax < 1) == (y < 0)) ? infinity<T>() : (T)0, 0;
  }
  const int kind = integer_kind(y);
  const int odd_neg = (kind == 1) && __builtin_signbit(x);
  if (x == 0) {
    if (y < 0) return *r = odd_neg ? -infinity<T>() : infinity<T>(), kPoleStatus<T>;
    return *r = odd_neg ? (T)-0.0 : (T)0, 0;
  }
  if (__builtin_isinf(x)) {
    const T v = y < 0 ? (T)0 : infinity<T>();
    return *r = odd_neg ? -v : v, 0;
  }
  if (x < 0 && kind == 0) {
    volatile T zero = 0;
    return *r = zero / zero, 1;
  }
  return finish<T>(abs_pow(x, y), odd_neg, r);
}

// powr(x, y) = exp(y ln x): a negative base is out of the domain for every
// exponent; 0^0, inf^0 and 1^inf are undefined; NaN in gives NaN.
template <class T> int powr_scalar(T xt, T yt, T *r) {
  const double x = xt, y = yt;
  volatile T zero = 0;
  if (x != x || y != y) return *r = xt + yt, 0;
  if (x < 0) return *r = zero / zero, 1;
  if (y == 0) {
    if (x == 0 || __builtin_isinf(x)) return *r = zero / zero, 1;
    return *r = (T)1, 0;
  }
  if (x == 1) {
    if (__builtin_isinf(y)) return *r = zero / zero, 1;
    return *r = (T)1, 0;
  }
  if (__builtin_isinf(y)) return *r = ((x < 1) == (y < 0)) ? infinity<T>() : (T)0, 0;
  if (x == 0) {
    if (y < 0) return *r = infinity<T>(), kPoleStatus<T>;
    return *r = (T)0, 0;
  }
  if (__builtin_isinf(x)) return *r = (y < 0) ? (T)0 : infinity<T>(), 0;
  return finish<T>(abs_pow(x, y), 0, r);
}

struct PowScalar {
  template <class T> static int run(T x, T y, T *r) { return pow_scalar(x, y, r); }
};
struct PowrScalar {
  template <class T> static int run(T x, T y, T *r) { return powr_scalar(x, y, r); }
};

// ---------------------------------------------------------------- kernels

// Core: a tier's lane formula. Core::Y holds the exponent with the parts a
// tier cuts from it; Core::cut(y) forms them, Core::lanes(x, Y, bad) the rest.
template <class Core, class Scalar, const char *Name> struct PowKernel {
  using T = typename Core::T;
  using V = typename Lanes<T>::V;
  using M = typename Lanes<T>::Bits;
  static constexpr int kIn = 2, kOut = 1, kBlock = Core::kBlock;
  static constexpr T kPad = (T)0.75;
  static constexpr const char *kName = Name;
  static V lanes(V x, V y, M &bad) { return Core::lanes(x, Core::cut(y), bad); }
  static int scalar(const T *a, const T *b, T *r) { return Scalar::run(*a, *b, r); }
};

// Powx's general loop: the same lanes with the exponent cut once per call.
// The frame runs an instance that carries the cut exponent and the exponent
// itself for the scalar routine.
template <class Core> struct PowxKernel {
  using T = typename Core::T;
  using V = typename Lanes<T>::V;
  using M = typename Lanes<T>::Bits;
  static constexpr int kIn = 1, kOut = 1, kBlock = Core::kBlock;
  static constexpr T kPad = (T)0.75;
  static constexpr const char *kName = sizeof(T) == 4 ? "vsPowx" : "vdPowx";
  typename Core::Y y;
  T scalar_y;
  V lanes(V x, M &bad) const { return Core::lanes(x, y, bad); }
  int scalar(const T *a, T *r) const { return pow_scalar(*a, scalar_y, r); }
};

}  // namespace qor::kernels::powk

#endif
