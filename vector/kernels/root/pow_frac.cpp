// Pow2o3 and Pow3o2, s and d.
//  - Pow2o3 is the cube-root scheme (cbrt_common.h) with the rows of c^(2/3),
//    the exponent twice divided by three and the series of (1 + r)^(2/3); a
//    negative x gives the square of its cube root.
//  - Pow3o2 is x times the square root of x by the pieces of Sqrt. Its lanes
//    are kept to magnitudes where x^(3/2) neither overflows nor underflows;
//    the others, and every negative x, take the scalar routine.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/root/cbrt_common.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::root;

template <int Terms> struct SPow2o3 {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsPow2o3";
  static vf4 lanes(vf4 x, vi4 &bad) {
    CubeSplitF s = cube_split(x);
    bad = s.bad;
    vf4 r, v = cube_row<2>(s, r), p;
    if (Terms == 1) {
      p = r * kPow2o3SeriesF[0];
    } else {  // degree 7, fitted to (1 + r)^(2/3)
      p = r * (0.66666472f +
               r * (-0.111064978f +
                    r * (0.0489601381f +
                         r * (-0.0268590543f + r * (0.0140510211f + r * (-0.00535755465f + r * 0.00100674503f))))));
    }
    return cube_finish<2>(s, v + v * p);
  }
  static int scalar(const float *a, float *r) { return cube_scalar<2>(a, r); }
};
struct SPow2o3HA : SPow2o3<1> {
  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = cube_split(x).bad;
    vl2 ignored;
    return narrow(cube_core<2, 5>(low_pair(x), ignored), cube_core<2, 5>(high_pair(x), ignored));
  }
};
template <int Terms> struct DPow2o3 {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdPow2o3";
  static vd2 lanes(vd2 x, vl2 &bad) { return cube_core<2, Terms>(x, bad); }
  static int scalar(const double *a, double *r) { return cube_scalar<2>(a, r); }
};
using SPow2o3LA = SPow2o3<7>;
using SPow2o3EP = SPow2o3<1>;
using DPow2o3LA = DPow2o3<6>;
using DPow2o3HA = DPow2o3<8>;
using DPow2o3EP = DPow2o3<4>;
QOR_ACCURACY(sPow2o3, LA, ULP, 4.0)
QOR_ACCURACY(sPow2o3, HA, ULP, 1.0)
QOR_ACCURACY(sPow2o3, EP, BITS, 11)
QOR_INTERVAL_LOG(sPow2o3, 1e-45, 3.4e38, 300000)
QOR_INTERVAL(sPow2o3, -10.0, 10.0, 200000)
QOR_INTERVAL(sPow2o3, -3.4e38, 3.4e38, 50000)
QOR_ACCURACY(dPow2o3, LA, ULP, 4.0)
QOR_ACCURACY(dPow2o3, HA, ULP, 1.0)
QOR_ACCURACY(dPow2o3, EP, BITS, 26)
QOR_INTERVAL_LOG(dPow2o3, 4.9e-324, 1.7e308, 300000)
QOR_INTERVAL(dPow2o3, -10.0, 10.0, 200000)
QOR_INTERVAL(dPow2o3, -1.7e308, 1.7e308, 50000)

// x^(3/2) of any x, in double: NaN for a negative x (-Inf included, as its
// square root), status 1; +0 for either zero; 3 on overflow, 4 when a non-zero
// x gives a result below the normal range of T.
template <class T> int pow3o2_scalar(const T *a, T *r) {
  const T x = *a;
  if (isnan(x)) return *r = x + x, 0;
  if (x < 0) {
    volatile T zero = 0;
    *r = zero / zero;
    return 1;
  }
  if (x == 0 || isinf(x)) return *r = x == 0 ? (T)0 : x, 0;
  // x^(3/2) = (x 2^-s) sqrt(x) 2^s: the scaled product stays normal, its
  // error terms included, and the last product rounds once.
  const double d = (double)x;
  const double pre = d < 0x1p-600 ? 0x1p600 : d > 0x1p600 ? 0x1p-600 : 1.0, post = 1.0 / pre;
  const double xs = d * pre;
  double lo, hi = sqrt_scalar_core(d, &lo), p, err;
  two_product(xs, hi, p, err);
  p = (p + (err + xs * lo)) * post;
  *r = (T)p;
  if (isinf(*r)) return 3;
  return fabs((double)*r) < (sizeof(T) == 4 ? 0x1p-126 : 0x1p-1022) ? 4 : 0;
}

// s: bits from 0x1d800000 (2^-68, about 3.4e-21) below 0x69800000 (2^84,
// about 1.9e25) by one unsigned compare; negative x lies above.
inline vi4 s_pow3o2_special(vf4 x) { return greater(as<vi4>(as<vu4>(x) + 0x62800000u), (int32_t)0xcbffffff); }  // bits - 0x1d800000 >= 0x4c000000, unsigned

template <int Steps> struct SPow3o2 {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsPow3o2";
  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = s_pow3o2_special(x);
    vf4 y = nan_where(bad, rsqrt_approx(x));
    vf4 s = x * y;
    if (Steps == 1) s = s + s * (0.5f - s * (0.5f * y));
    return x * s;
  }
  static int scalar(const float *a, float *r) { return pow3o2_scalar(a, r); }
};
// HA: the two coupled steps in double, x times the root, one rounding.
struct SPow3o2HA : SPow3o2<0> {
  static vd2 x_root(vd2 x, vd2 y) {
    vd2 s = x * y, h = 0.5 * y;
    vd2 e = 0.5 - s * h;
    s = s + s * e;
    h = h + h * e;
    e = 0.5 - s * h;
    return x * (s + s * e);
  }
  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = s_pow3o2_special(x);
    vf4 y = nan_where(bad, rsqrt_approx(x));
    return narrow(x_root(low_pair(x), low_pair(y)), x_root(high_pair(x), high_pair(y)));
  }
};
using SPow3o2LA = SPow3o2<1>;
using SPow3o2EP = SPow3o2<0>;
QOR_ACCURACY(sPow3o2, LA, ULP, 4.0)
QOR_ACCURACY(sPow3o2, HA, ULP, 1.0)
QOR_ACCURACY(sPow3o2, EP, BITS, 11)
QOR_INTERVAL_LOG(sPow3o2, 1e-45, 3.4e38, 300000)
QOR_INTERVAL(sPow3o2, 0.0, 10.0, 200000)
QOR_INTERVAL(sPow3o2, -1.0, 0.0, 1000)

// d: high words from 0x15700000 (2^-680) below 0x6a700000 (2^680). The root
// of the mantissa, s, times x, then the exponent q: x^(3/2) = (x s) 2^q.
inline vl2 d_pow3o2_special(vd2 x) { return from_high_words(above_u(as<vi4>(as<vu4>(words(x)) - 0x15700000u), 0x6a700000 - 0x15700000 - 1)); }

template <int Tier> struct DPow3o2 {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdPow3o2";
  static vd2 lanes(vd2 x, vl2 &bad) {
    bad = d_pow3o2_special(x);
    vd2 m;
    vl2 q;
    split_even(x, m, q);
    vd2 y = seed(m);
    if (Tier == 2) return scale_up(x * sqrt_series2(m, y), q);
    vd2 s = sqrt_series4(m, y);
    if (Tier == 0) return scale_up(x * s, q);
    vd2 p, err;  // HA: the exact product x s, and x times the root's low part
    two_product(x, s, p, err);
    return scale_up(p + (err + x * sqrt_low_part(m, y, s)), q);
  }
  static int scalar(const double *a, double *r) { return pow3o2_scalar(a, r); }
};
QOR_ACCURACY(dPow3o2, LA, ULP, 4.0)
QOR_ACCURACY(dPow3o2, HA, ULP, 1.0)
QOR_ACCURACY(dPow3o2, EP, BITS, 26)
QOR_INTERVAL_LOG(dPow3o2, 4.9e-324, 1.7e308, 300000)
QOR_INTERVAL(dPow3o2, 0.0, 10.0, 200000)
QOR_INTERVAL(dPow3o2, -1.0, 0.0, 1000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
using namespace qor::kernels;
QOR_UNARY_KERNELS(sPow2o3, LA, SPow2o3LA, StandardEnv)
QOR_UNARY_KERNELS(sPow2o3, HA, SPow2o3HA, StandardEnv)
QOR_UNARY_KERNELS(sPow2o3, EP, SPow2o3EP, StandardEnv)
QOR_UNARY_KERNELS(dPow2o3, LA, DPow2o3LA, StandardEnv)
QOR_UNARY_KERNELS(dPow2o3, HA, DPow2o3HA, StandardEnv)
QOR_UNARY_KERNELS(dPow2o3, EP, DPow2o3EP, StandardEnv)
QOR_UNARY_KERNELS(sPow3o2, LA, SPow3o2LA, StandardEnv)
QOR_UNARY_KERNELS(sPow3o2, HA, SPow3o2HA, StandardEnv)
QOR_UNARY_KERNELS(sPow3o2, EP, SPow3o2EP, StandardEnv)
QOR_UNARY_KERNELS(dPow3o2, LA, DPow3o2<0>, StandardEnv)
QOR_UNARY_KERNELS(dPow3o2, HA, DPow3o2<1>, StandardEnv)
QOR_UNARY_KERNELS(dPow3o2, EP, DPow3o2<2>, StandardEnv)
