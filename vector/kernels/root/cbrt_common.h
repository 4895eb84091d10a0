// The cube-root scheme shared by Cbrt, InvCbrt and Pow2o3: no division and no
// floating-point exponent work. For x = m 2^u, m in [1, 2):
//  1. u + 129 (s) or u + 1026 (d) is divided by 3 by an integer multiplication
//     (0x55 or 0x555, and a shift): quotient k, remainder j in 0..2;
//  2. j and the top 6 fraction bits pick a row: 1/c for the row's point c
//     (the middle of its interval) and the power of c 2^j;
//  3. r := m/c - 1 by the product with the reciprocal (|r| < 2^-7), and the
//     result is row * (1 + p(r)), p the binomial series of (1 + r)^(P/3);
//  4. P k goes into the result's exponent field by integer addition; the sign
//     is ORed back in for the odd powers (Pow2o3 of a negative x is the
//     square of its cube root, positive).
// P is 1 (Cbrt), -1 (InvCbrt) or 2 (Pow2o3).
#ifndef QOR_KERNELS_ROOT_CBRT_COMMON_H
#define QOR_KERNELS_ROOT_CBRT_COMMON_H

#include "vector/kernels/root/root_common.h"

namespace qor::kernels::root {

using namespace root_tables;

// The column of the power in the single rows and of its hi part in the double rows.
constexpr int float_column(int P) { return P == 1 ? 1 : P == -1 ? 2 : 3; }
constexpr int double_column(int P) { return P == 1 ? 1 : P == -1 ? 3 : 5; }
template <int P> const double *series() { return P == 1 ? kCbrtSeries : P == -1 ? kInvCbrtSeries : kPow2o3Series; }

// s: the split of a float lane. Lanes that are not normal and finite (either
// sign) are flagged: one subtraction of 0x80800000 from the magnitude, one
// signed compare.
struct CubeSplitF {
  vi4 bad, k, sign, row;
  vf4 m;
};
inline CubeSplitF cube_split(vf4 x) {
  CubeSplitF s;
  vi4 b = as<vi4>(x);
  s.sign = b & (int32_t)0x80000000;
  vi4 mag = b & 0x7fffffff;
  s.bad = greater(as<vi4>(as<vu4>(mag) - 0x80800000u), (int32_t)0xfeffffff);
  vi4 n = (mag >> 23) + 2;  // u + 129, from 3 to 256
  vi4 q = as<vi4>(_mm_srli_epi32(_mm_mullo_epi16(as<__m128i>(n + 1), _mm_set1_epi32(0x55)), 8));  // n / 3
  s.k = q - 43;
  s.row = ((n - (q + q + q)) << 6) | ((mag >> 17) & 63);
  s.m = as<vf4>((mag & 0x007fffff) | 0x3f800000);
  return s;
}
// The row's reciprocal and power, and r.
template <int P> inline vf4 cube_row(const CubeSplitF &s, vf4 &r) {
  vi4 at = s.row << 2;
  r = s.m * gather(&kCbrtRowsF[0][0][0], at) - 1.0f;
  return gather(&kCbrtRowsF[0][0][float_column(P)], at);
}
// value * 2^(P k), with the sign for odd P.
template <int P> inline vf4 cube_finish(const CubeSplitF &s, vf4 v) {
  vi4 bits = as<vi4>(v) + ((P * s.k) << 23);
  return as<vf4>(P == 2 ? bits : bits | s.sign);
}

// d: the same on the high words, carried in 64-bit lanes (the quotient by the
// unsigned 32-bit multiply). Terms: the degree of p. At degree 8 (HA) the
// row's power comes in two parts, so the sum hi + (lo + hi p) keeps the last
// bits, and r is formed from the exact product m * (1/c), 1/c in two parts.
template <int P, int Terms> inline vd2 cube_core(vd2 x, vl2 &bad) {
  bad = from_high_words(as<vi4>(as<vu4>(words(x) & 0x7fffffff) - 0x80100000u) > (int32_t)0xffdfffff);
  vq2 bits = as<vq2>(x);
  vq2 mag = (bits >> 32) & 0x7fffffff;
  vq2 n = (mag >> 20) + 3;  // u + 1026, from 4 to 2049
  vq2 q = as<vq2>(_mm_srli_epi64(_mm_mul_epu32(as<__m128i>(n + 1), _mm_set1_epi32(0x555)), 12));  // n / 3
  vq2 k = q - 342;
  vl2 at = as<vl2>((((n - (q + q + q)) << 6) | ((mag >> 14) & 63)) << 3);
  vd2 m = as<vd2>((bits & 0x000fffffffffffffull) | 0x3ff0000000000000ull);
  vd2 rcp = gather(&kCbrtRowsD[0][0][0], at), r = m * rcp - 1.0;
  if (Terms >= 8) {  // HA: r from the exact product, not rounded to the ulp of 1
    vd2 prod, err;
    two_product(m, rcp, prod, err);
    r = (prod - 1.0) + (err + m * gather(&kCbrtRowsD[0][0][7], at));  // with the low part of 1/c
  }
  vd2 hi = gather(&kCbrtRowsD[0][0][double_column(P)], at);
  const double *c = series<P>();
  vd2 p = vd2{} + c[Terms - 1];
  for (int i = Terms - 2; i >= 0; --i) p = c[i] + r * p;
  vd2 v = Terms >= 8 ? hi + (gather(&kCbrtRowsD[0][0][double_column(P) + 1], at) + hi * (r * p)) : hi + hi * (r * p);
  vq2 pk = P == 1 ? k : P == -1 ? vq2{} - k : k + k;
  vq2 out = as<vq2>(v) + (pk << 52);
  return as<vd2>(P == 2 ? out : out | (bits & 0x8000000000000000ull));
}

// The scalar routine of the three functions, s and d: NaN gives x + x; zero
// gives the power's limit (InvCbrt: the signed infinity, status 2); infinity
// likewise; denormal doubles are scaled by 2^54 first.
template <int P, class T> int cube_scalar(const T *a, T *r) {
  const T x = *a;
  if (isnan(x)) return *r = x + x, 0;
  if (x == 0) {
    if (P == -1) {
      volatile T one = 1;
      *r = one / x;
      return 2;
    }
    return *r = P == 2 ? (T)0 : x, 0;
  }
  if (isinf(x)) return *r = P == 1 ? x : P == -1 ? (T)copysign((T)0, x) : (T)INFINITY, 0;
  double d = (double)x;
  int scale = 0;
  if (fabs(d) < 0x1p-1022) d *= 0x1p54, scale = 18;
  vl2 bad;
  const double v = cube_core<P, 8>(vd2{d, d}, bad)[0];
  *r = (T)(scale ? ldexp(v, -P * scale) : v);
  return 0;
}

}  // namespace qor::kernels::root

#endif
