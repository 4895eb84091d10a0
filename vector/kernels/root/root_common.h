// Shared pieces of the root kernels: lane tests on the input bits, the
// approximate instructions, the even-exponent split of doubles, exact
// products, lane widening, and the scalar square root that serves the flagged
// lanes of Sqrt, Pow3o2 and Hypot.
#ifndef QOR_KERNELS_ROOT_COMMON_H
#define QOR_KERNELS_ROOT_COMMON_H

#include <math.h>
#include <stdint.h>
#include <string.h>

#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/exact.h"
#include "vector/kernels/root/root_tables.inc"

namespace qor::kernels::root {

using exact::two_product;
using exact::two_square;

using namespace qor::simd;

// a > c per signed 32-bit lane as one pcmpgtd (the compiler's own form of a
// comparison with a constant may come out as a compare and a negation).
inline vi4 greater(vi4 a, int32_t c) {
  vi4 b = vi4{} + c;
  __asm__("pcmpgtd %1, %0" : "+x"(a) : "x"(b));
  return a;
}

// Positive normal floats below 0x7f7ff000: one subtraction, one signed compare.
inline vi4 s_special_lanes(vf4 x) { return greater(as<vi4>(as<vu4>(x) - 0x80800000u), (int32_t)0xfefff000); }

inline vf4 rsqrt_approx(vf4 x) { return as<vf4>(_mm_rsqrt_ps(as<__m128>(x))); }
inline vf4 rcp_approx(vf4 x) { return as<vf4>(_mm_rcp_ps(as<__m128>(x))); }

// Flagged lanes read as NaN, so that no stray number survives in them.
inline vf4 nan_where(vi4 bad, vf4 y) { return as<vf4>(as<vi4>(y) | bad); }

// Unsigned a > c per 32-bit lane, by the signed compare with the sign flipped.
inline vi4 above_u(vi4 a, uint32_t c) { return greater(a ^ (int32_t)0x80000000, (int32_t)(c ^ 0x80000000u)); }

// d: positive normal doubles by the high word (a subtraction of 0x80100000).
inline vl2 d_special_lanes(vd2 x) {
  return from_high_words(greater(as<vi4>(as<vu4>(x) - 0x80100000u), (int32_t)0xffbfffff));
}

// x = m 2^(2q), m in [1, 4). The exponent work is done on the 32-bit high
// words (SSSE3 has no 64-bit arithmetic shift); q comes back already placed in
// the exponent field. Normal inputs only.
inline void split_even(vd2 x, vd2 &m, vl2 &q_field) {
  const vi4 high = {0, -1, 0, -1};
  vi4 w = words(x);
  vi4 e = ((w >> 20) & 0x7ff) - 1023;
  vi4 odd = e & 1;
  vi4 q = (e - odd) >> 1;
  vi4 mw = (w & ~high) | (((w & 0x000fffff) | ((odd + 1023) << 20)) & high);
  m = as<vd2>(mw);
  q_field = as<vl2>((as<vu4>(q) << 20) & as<vu4>(high));
}
// The single precision approximate 1/sqrt of m, widened.
inline vd2 seed(vd2 m) {
  vf4 mf = __builtin_convertvector(__builtin_shufflevector(m, m, 0, 1, 0, 1), vf4);
  vf4 y = rsqrt_approx(mf);
  return __builtin_convertvector(__builtin_shufflevector(y, y, 0, 1), vd2);
}
inline vd2 scale_down(vd2 y, vl2 q_field) { return as<vd2>(as<vl2>(y) - q_field); }
inline vd2 scale_up(vd2 y, vl2 q_field) { return as<vd2>(as<vq2>(y) + as<vq2>(q_field)); }

// sqrt(m) for m in [1, 4) from the approximate seed y (12 bits), to nearly
// double precision: s = m y, e = 1 - m y^2, sqrt(m) = s / sqrt(1 - e) by a
// short series of 1/sqrt(1 - e). Degree 2 gives about 34 bits, degree 4 about 56.
inline vd2 sqrt_series2(vd2 m, vd2 y) {
  vd2 s = m * y, e = 1.0 - s * y;
  return s * (0x1.fffffffffff4fp-1 + e * (0.50000012568255314 + e * 0.37500018328707924));
}
inline vd2 sqrt_series4(vd2 m, vd2 y) {
  vd2 s = m * y, e = 1.0 - s * y;
  vd2 p = e * (0.49999999999997785 + e * (0.37500000000001366 + e * (0.31250016501874495 + e * 0.27343754675366555)));
  return s + s * p;
}
// The last bits: the residual m - s^2, exact from the cut product, times
// 1/(2 sqrt(m)) ~ y/2 gives the low part of the root.
inline vd2 sqrt_low_part(vd2 m, vd2 y, vd2 s) {
  vd2 p, err;
  two_product(s, s, p, err);
  return ((m - p) - err) * (0.5 * y);
}

inline uint64_t bits_of(double x) {
  uint64_t b;
  memcpy(&b, &x, 8);
  return b;
}
inline double from_bits(uint64_t b) {
  double x;
  memcpy(&x, &b, 8);
  return x;
}

// sqrt of a positive finite double (denormals included) by the seed table and
// coupled iterations; the root is returned as hi + lo, hi within half an ulp
// and more. Used by the scalar routines of the whole family.
inline double sqrt_scalar_core(double x, double *lo = nullptr) {
  int adjust = 0;
  if (bits_of(x) >> 52 == 0) {  // denormal: scaled by 2^200 into the normal range
    x *= from_bits(0x4c70000000000000ull);
    adjust = -100;
  }
  const uint64_t b = bits_of(x);
  const int e = (int)(b >> 52) - 1023, parity = e & 1, half = (e - parity) / 2;
  const double m = from_bits((b & 0x000fffffffffffffull) | ((uint64_t)(1023 + parity) << 52));  // [1, 4)
  const double g = root_tables::kSqrtSeed[256 * parity + ((b >> 44) & 0xff)];
  double h = 0.5 * g, s = m * g;
  for (int k = 0; k < 3; ++k) {  // coupled: s -> sqrt(m), h -> 1/(2 sqrt(m))
    double t = 0.5 - s * h;
    s = s + s * t;
    h = h + h * t;
  }
  // The residual m - s^2, exact from the halves of s cut by 2^27 + 1.
  double sh, sl;
  exact::split(s, sh, sl);
  const double residual = ((m - sh * sh) - 2 * sh * sl) - sl * sl;
  const double hi = s + residual * h;
  const int64_t shift = (int64_t)((uint64_t)(half + adjust) << 52);
  if (lo) *lo = ldexp((s - hi) + residual * h, half + adjust);
  return from_bits(bits_of(hi) + shift);
}

// The scalar routine of Sqrt, s and d: NaN and +Inf give x + x, zero itself;
// a negative x or -Inf gives NaN with status 1.
template <class T> int sqrt_scalar(const T *a, T *r) {
  const T x = *a;
  if (isnan(x) || x == (T)INFINITY) return *r = x + x, 0;
  if (x == 0) return *r = x, 0;
  if (x < 0) {
    volatile T zero = 0;
    *r = zero / zero;
    return 1;
  }
  *r = (T)sqrt_scalar_core((double)x);
  return 0;
}

}  // namespace qor::kernels::root

#endif
