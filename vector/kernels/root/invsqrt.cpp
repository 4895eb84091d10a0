// InvSqrt, s and d. The fast path starts from the processor's approximate
// reciprocal square root (12 bits) and refines it; lanes outside the positive
// normal range go to one scalar routine, which works in double (or long
// double for d) and reports 2 for a zero and 1 for a negative input.
#include <math.h>

#include "vector/dispatch/accuracy.h"
#include "vector/kernels/root/root_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::root;

// Zero: +Inf, status 2. Negative (or -Inf): NaN, status 1. +Inf: +0. NaN: quiet NaN.
template <class T> int invsqrt_special(T x, T *r) {
  if (isnan(x)) {
    *r = x + x;
    return 0;
  }
  if (x == 0) {
    volatile T one = 1, zero = 0;
    *r = one / zero;
    return 2;
  }
  if (x < 0) {
    volatile T zero = 0;
    *r = zero / zero;
    return 1;
  }
  return -1;  // finite positive: computed by the caller
}

int sinvsqrt_scalar(const float *a, float *r) {
  int st = invsqrt_special(*a, r);
  if (st >= 0) return st;
  *r = isinf(*a) ? 0.0f : (float)(1.0 / sqrt((double)*a));  // one final rounding
  return 0;
}

// EP and LA: one Newton step y (3 - x y^2) / 2 in single precision.
template <const char *Tier> struct SInvSqrtNewton {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsInvSqrt";
  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = s_special_lanes(x);
    vf4 y = rsqrt_approx(x);
    return (y * (3.0f - x * y * y)) * 0.5f;
  }
  static int scalar(const float *a, float *r) { return sinvsqrt_scalar(a, r); }
};
constexpr char kLA[] = "LA", kEP[] = "EP";
using SInvSqrtLA = SInvSqrtNewton<kLA>;
using SInvSqrtEP = SInvSqrtNewton<kEP>;
QOR_ACCURACY(sInvSqrt, LA, ULP, 4.0)
QOR_ACCURACY(sInvSqrt, EP, BITS, 11)
QOR_INTERVAL(sInvSqrt, 1.2e-38, 3.3e38, 300000)
QOR_INTERVAL(sInvSqrt, 0.0, 4.0, 300000)

// HA: the seed refined in double by the coupled iteration of s ~ sqrt(x) and
// h ~ 1/(2 sqrt(x)), then rounded once to single.
struct SInvSqrtHA {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsInvSqrt";
  static vd2 step(vd2 x, vd2 y) {
    vd2 h = 0.5 * y, s = x * y;
    vd2 e = 0.5 - s * h;
    s = s + s * e;
    h = h + h * e;
    e = 0.5 - s * h;
    return 2.0 * (h + h * e);
  }
  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = s_special_lanes(x);
    vf4 y = rsqrt_approx(x);
    vd2 xl = __builtin_convertvector(__builtin_shufflevector(x, x, 0, 1), vd2);
    vd2 xh = __builtin_convertvector(__builtin_shufflevector(x, x, 2, 3), vd2);
    vd2 yl = __builtin_convertvector(__builtin_shufflevector(y, y, 0, 1), vd2);
    vd2 yh = __builtin_convertvector(__builtin_shufflevector(y, y, 2, 3), vd2);
    vf4 lo = __builtin_convertvector(__builtin_shufflevector(step(xl, yl), step(xl, yl), 0, 1, 0, 1), vf4);
    vf4 hi = __builtin_convertvector(__builtin_shufflevector(step(xh, yh), step(xh, yh), 0, 1, 0, 1), vf4);
    return __builtin_shufflevector(lo, hi, 0, 1, 4, 5);
  }
  static int scalar(const float *a, float *r) { return sinvsqrt_scalar(a, r); }
};
QOR_ACCURACY(sInvSqrt, HA, ULP, 1.0)

// 1/sqrt of a positive denormal, rounded once from extended precision.
__attribute__((noinline)) void dinvsqrt_extended(const double *a, double *r) {
  *r = (double)(1.0L / sqrtl((long double)*a));
}

int dinvsqrt_scalar(const double *a, double *r) {
  int st = invsqrt_special(*a, r);
  if (st >= 0) return st;
  if (isinf(*a)) return *r = 0.0, 0;
  qor::bex::fpenv::X87ExtendedScope x87;  // not the caller's precision or rounding
  dinvsqrt_extended(a, r);
  return 0;
}

// The common start of the d kernels: the lane test, the even-exponent split
// and `steps` Newton steps y += y (1/2 - m y^2 / 2) from the 12-bit seed.
inline vd2 newton_on_mantissa(vd2 x, int steps, vl2 &bad, vd2 &m, vl2 &q) {
  bad = d_special_lanes(x);
  split_even(x, m, q);
  vd2 y = seed(m);
  for (int k = 0; k < steps; ++k) y = y + y * (0.5 - 0.5 * m * y * y);
  return y;
}

// LA and EP: three Newton steps from the 12-bit seed.
struct DInvSqrtLAEP {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdInvSqrt";
  static vd2 lanes(vd2 x, vl2 &bad) {
    vd2 m;
    vl2 q;
    vd2 y = newton_on_mantissa(x, 3, bad, m, q);
    return scale_down(y, q);
  }
  static int scalar(const double *a, double *r) { return dinvsqrt_scalar(a, r); }
};
QOR_ACCURACY(dInvSqrt, LA, ULP, 4.0)
QOR_ACCURACY(dInvSqrt, EP, BITS, 26)
QOR_INTERVAL(dInvSqrt, 2.3e-308, 1.7e308, 300000)
QOR_INTERVAL(dInvSqrt, 0.0, 4.0, 300000)

// HA: two Newton steps, then one last correction with the exact residual
// 1 - m y^2 (from exact products), so the last bits come in.
struct DInvSqrtHA {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdInvSqrt";
  static vd2 lanes(vd2 x, vl2 &bad) {
    vd2 m;
    vl2 q;
    vd2 y = newton_on_mantissa(x, 2, bad, m, q);
    vd2 yy, yy_err, t, t_err;
    two_product(y, y, yy, yy_err);
    two_product(m, yy, t, t_err);
    vd2 residual = ((1.0 - t) - t_err) - m * yy_err;  // 1 - m y^2, nearly exact
    y = y + (0.5 * y) * (residual + 0.75 * residual * residual);
    return scale_down(y, q);
  }
  static int scalar(const double *a, double *r) { return dinvsqrt_scalar(a, r); }
};
QOR_ACCURACY(dInvSqrt, HA, ULP, 1.0)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sInvSqrt, LA, qor::kernels::SInvSqrtLA, StandardEnv)
QOR_UNARY_KERNELS(sInvSqrt, HA, qor::kernels::SInvSqrtHA, StandardEnv)
QOR_UNARY_KERNELS(sInvSqrt, EP, qor::kernels::SInvSqrtEP, StandardEnv)
QOR_UNARY_KERNELS(dInvSqrt, LAEP, qor::kernels::DInvSqrtLAEP, StandardEnv)
QOR_UNARY_KERNELS(dInvSqrt, HA, qor::kernels::DInvSqrtHA, StandardEnv)
