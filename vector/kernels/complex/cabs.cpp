// Abs, c and z: |a| = sqrt(re^2 + im^2) of each element, as block kernels
// over the de-interleaved parts (four float or two double elements a vector).
//  - c EP: the sum of squares in single precision and its root by the
//    approximate instruction, s (1/sqrt s)~; a result with all exponent bits
//    set (an infinite or NaN part, a sum that overflowed, or a sum that
//    vanished and gave 0 inf), and a sum below the least normal, are flagged.
//  - c LA: the same with one coupled step with 0.5.
//  - c HA: the larger magnitude within [0x1e300000, 0x60a00000) (about 9.3e-21
//    to 9.2e19); the squares of the widened parts summed in double and the
//    double root rounded once to single.
//  - z: the larger magnitude within [2^-500, 2^500). LA and EP: the double
//    square root of the sum of squares (about 1 ulp; a seed from the narrowed
//    sum with two series terms measured slower than the root instruction);
//    HA: the sum of the exact squares in two parts, its double root and the
//    residual of the root against both.
// Flagged elements go to the scalar routine: an infinite part gives +Inf
// (NaN in the other part too), a NaN part NaN, and the rest is computed in
// double (c) or scaled by a power of two (z). An infinite result from finite
// parts reports overflow (3) with the element's two parts in the record.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/arith/bitops.h"
#include "vector/kernels/complex/complex_parts.h"
#include "vector/kernels/root/root_common.h"

namespace qor::kernels {
namespace {

using namespace bits;
using complex_parts::deinterleave;
using qor::bex::SavedEnv;
using qor::bex::StandardEnv;
using qor::bex::strided_index;
using root::above_u;
using root::rsqrt_approx;

// The larger magnitude's bits (high words for double), as signed lanes.
inline vi4 larger(vi4 a, vi4 b) {
  const vi4 g = a > b;
  return (g & a) | (~g & b);
}
inline vi4 larger_bits(vf4 re, vf4 im) { return larger(as<vi4>(re) & 0x7fffffff, as<vi4>(im) & 0x7fffffff); }
// Lanes whose larger magnitude lies outside [lo, hi), by the high words.
inline vl2 outside_high(vd2 re, vd2 im, uint32_t lo, uint32_t hi) {
  const vi4 m = larger(as<vi4>(re) & 0x7fffffff, as<vi4>(im) & 0x7fffffff);
  const vi4 bad = above_u(m - (int32_t)lo, hi - lo - 1);
  return as<vl2>(as<vi4>(_mm_shuffle_epi32(as<__m128i>(bad), 0xf5)));  // the high word's test in both halves
}

// Exact square x^2 = p + e by Dekker's split (no fused multiply-add).
inline void two_square(vd2 x, vd2 &p, vd2 &e) {
  const vd2 c = 134217729.0 * x, hi = c - (c - x), lo = x - hi;
  p = x * x;
  e = ((hi * hi - p) + 2.0 * hi * lo) + lo * lo;
}
inline vd2 vsqrt(vd2 x) { return as<vd2>(_mm_sqrt_pd(as<__m128d>(x))); }

// sqrt(re^2 + im^2) as hi + residual correction: re, im with the larger
// magnitude in [2^-500, 2^500).
inline vd2 zabs_ha(vd2 re, vd2 im) {
  vd2 p1, e1, p2, e2;
  two_square(re, p1, e1);
  two_square(im, p2, e2);
  const vd2 s = p1 + p2, v = s - p1;
  const vd2 lo = ((p1 - (s - v)) + (p2 - v)) + (e1 + e2);
  const vd2 t = vsqrt(s);
  vd2 tt, te;
  two_square(t, tt, te);
  return t + (((s - tt) - te) + lo) / (t + t);
}

// The scalar routine: C99 special values, then the element in a form that
// cannot overflow or lose the small part.
template <class T> bool abs_special(T re, T im, T *r) {
  if (isinf(re) || isinf(im)) return *r = (T)INFINITY, true;
  // A NaN part, quieted; the real part's when both are NaN (re + im would
  // leave the choice to the compiler's order of operands).
  if (isnan(re)) return *r = re + re, true;
  if (isnan(im)) return *r = im + im, true;
  return false;
}
int cabs_scalar(float re, float im, float *r) {
  if (abs_special(re, im, r)) return 0;
  *r = (float)sqrt((double)re * re + (double)im * im);
  return isinf(*r) ? 3 : 0;
}
// x 2^k in two exact steps (the second rounds a denormal once), without the
// library's ldexp, which sets errno on overflow.
inline double pow2(int k) { return root::from_bits((uint64_t)(k + 1023) << 52); }
inline double scaled(double x, int k) {
  const int k1 = k / 2;
  return x * pow2(k1) * pow2(k - k1);
}
int zabs_scalar(double re, double im, double *r) {
  if (abs_special(re, im, r)) return 0;
  const double x = fabs(re), y = fabs(im), m = x > y ? x : y;
  if (m == 0) return *r = 0, 0;
  const int k = ilogb(m);
  const double xs = scaled(x, -k), ys = scaled(y, -k);
  *r = scaled(zabs_ha(vd2{xs, xs}, vd2{ys, ys})[0], k);
  return isinf(*r) ? 3 : 0;
}

// The tiers: lanes(re, im, bad) of one vector of elements.
template <int Steps> struct CAbsLow {  // EP (no step) and LA (one step)
  using T = float;
  static constexpr const char *kName = "vcAbs";
  static vf4 lanes(vf4 re, vf4 im, vi4 &bad) {
    const vf4 s = re * re + im * im, y = rsqrt_approx(s);
    vf4 r = s * y;
    if (Steps == 1) r = r + r * (0.5f - r * (0.5f * y));
    bad = ((as<vi4>(r) & 0x7f800000) == 0x7f800000) | lt(s, 0x1p-126f);
    return r;
  }
};
struct CAbsHA {
  using T = float;
  static constexpr const char *kName = "vcAbs";
  static vf4 lanes(vf4 re, vf4 im, vi4 &bad) {
    bad = above_u(larger_bits(re, im) - 0x1e300000, 0x60a00000 - 0x1e300000 - 1);
    const vd2 rl = low_pair(re), rh = high_pair(re), il = low_pair(im), ih = high_pair(im);
    return narrow(vsqrt(rl * rl + il * il), vsqrt(rh * rh + ih * ih));
  }
};
template <int Tier> struct ZAbs {
  using T = double;
  static constexpr const char *kName = "vzAbs";
  static vd2 lanes(vd2 re, vd2 im, vl2 &bad) {
    bad = outside_high(re, im, 0x20b00000, 0x5f300000);  // [2^-500, 2^500)
    return Tier == 1 ? zabs_ha(re, im) : vsqrt(re * re + im * im);
  }
};

template <class T> struct Complex;
template <> struct Complex<float> {
  using C = QorComplex8;
  static int scalar(float re, float im, float *r) { return cabs_scalar(re, im, r); }
  static void report(int st, int i, const float *a, int inca, C *r, const char *name) {
    qor::bex::report_cI(st, i, (const C *)a, inca, (const C *)a, inca, r, 0, r, 0, name);
  }
};
template <> struct Complex<double> {
  using C = QorComplex16;
  static int scalar(double re, double im, double *r) { return zabs_scalar(re, im, r); }
  static void report(int st, int i, const double *a, int inca, C *r, const char *name) {
    qor::bex::report_zI(st, i, (const C *)a, inca, (const C *)a, inca, r, 0, r, 0, name);
  }
};

// A status of element i: the record takes the element's parts and its
// result as a complex value with a zero imaginary part, which a callback may
// repair; the real part of what it leaves is stored.
template <class T> T reported(int status, int i, const T *a, int inca, T value, const char *name) {
  typename Complex<T>::C c{value, 0};
  Complex<T>::report(status, i, a, inca, &c, name);
  return c.re;
}

// One group of `live` elements from i: gathered to the stack with pad 0.75,
// two vectors of interleaved elements a step, flagged elements redone by the
// scalar routine, then stored in element order.
template <class K, bool Strided>
void abs_group(int i, int live, const typename K::T *a, int inca, typename K::T *r, int incr) {
  using T = typename K::T;
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T), B = 2 * W;
  alignas(16) T x[2 * B], z[B];
  for (int j = 0; j < B; ++j) {
    const T *p = a + 2 * (Strided ? strided_index(i + j, inca) : i + j);
    x[2 * j] = j < live ? get(p) : (T)0.75, x[2 * j + 1] = j < live ? get(p + 1) : (T)0.75;
  }
  unsigned mask = 0;
  for (int v = 0; v < B; v += W) {
    V re, im;
    MaskOf<V> bad;
    deinterleave(load<V>(x + 2 * v), load<V>(x + 2 * v + W), re, im);
    store<V>(z + v, K::lanes(re, im, bad));
    mask |= lane_bits(bad) << v;
  }
  mask &= (1u << live) - 1;
  while (mask) {
    const int j = __builtin_ctz(mask);
    mask &= mask - 1;
    const int status = Complex<T>::scalar(x[2 * j], x[2 * j + 1], &z[j]);
    if (status) z[j] = reported<T>(status, i + j, a, Strided ? inca : 1, z[j], K::kName);
  }
  for (int j = 0; j < live; ++j) put(r + (Strided ? strided_index(i + j, incr) : i + j), z[j]);
}

// Unit stride: whole groups straight from the array when no lane is
// flagged, else (and for the tail) through abs_group. The results of a group
// are stored after its inputs are read, so r may alias a.
template <class K> void abs_unit(int n, const typename K::T *a, typename K::T *r) {
  using T = typename K::T;
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T), B = 2 * W;
  SavedEnv env = StandardEnv::enter();
  int i = 0;
  for (; i + B <= n; i += B) {
    V re0, im0, re1, im1;
    MaskOf<V> bad0, bad1;
    deinterleave(load<V>(a + 2 * i), load<V>(a + 2 * i + W), re0, im0);
    deinterleave(load<V>(a + 2 * i + 2 * W), load<V>(a + 2 * i + 3 * W), re1, im1);
    const V r0 = K::lanes(re0, im0, bad0), r1 = K::lanes(re1, im1, bad1);
    if (__builtin_expect(lane_bits(bad0 | bad1) != 0, 0)) {
      abs_group<K, false>(i, B, a, 1, r, 1);
      continue;
    }
    store<V>(r + i, r0), store<V>(r + i + W, r1);
  }
  if (i < n) abs_group<K, false>(i, n - i, a, 1, r, 1);
  qor::bex::fpenv::leave(env);
}

template <class K> void abs_strided(int n, const typename K::T *a, int inca, typename K::T *r, int incr) {
  constexpr int B = 32 / sizeof(typename K::T);
  SavedEnv env = StandardEnv::enter();
  for (int i = 0; i < n; i += B) abs_group<K, true>(i, n - i < B ? n - i : B, a, inca, r, incr);
  qor::bex::fpenv::leave(env);
}

QOR_ACCURACY(cAbs, LA, ULP, 4.0)
QOR_ACCURACY(cAbs, HA, ULP, 1.0)
QOR_ACCURACY(cAbs, EP, BITS, 11)
QOR_CBOX(cAbs, 0, 3.4e38, 0, 3.4e38, 400000)
QOR_CBOX(cAbs, 0.5, 2.0, 0.5, 2.0, 200000)
QOR_CBOX(cAbs, 1e-30, 1e-15, 1e-30, 1e-15, 100000)
QOR_CBOX(cAbs, 1e19, 1e21, 1e-21, 1e21, 100000)
QOR_ACCURACY(zAbs, LA, ULP, 4.0)
QOR_ACCURACY(zAbs, HA, ULP, 1.0)
QOR_ACCURACY(zAbs, EP, BITS, 26)
QOR_CBOX(zAbs, 0, 1.7e308, 0, 1.7e308, 400000)
QOR_CBOX(zAbs, 0.5, 2.0, 0.5, 2.0, 200000)
QOR_CBOX(zAbs, 1e-200, 1e-100, 1e-200, 1e-100, 100000)
QOR_CBOX(zAbs, 1e150, 1e160, 1e-160, 1e160, 100000)

}  // namespace
}  // namespace qor::kernels

using namespace qor::kernels;

#define QOR_ABS_KERNELS(entry, tier, K) QOR_CUSTOM_UNARY(entry, tier, K::T, abs_unit<K>, abs_strided<K>)
QOR_ABS_KERNELS(cAbs, LA, CAbsLow<1>)
QOR_ABS_KERNELS(cAbs, HA, CAbsHA)
QOR_ABS_KERNELS(cAbs, EP, CAbsLow<0>)
QOR_ABS_KERNELS(zAbs, LA, ZAbs<0>)
QOR_ABS_KERNELS(zAbs, HA, ZAbs<1>)
QOR_ABS_KERNELS(zAbs, EP, ZAbs<2>)
