// sTand, the tangent of x degrees, one formula in three tiers, in double:
// t = x - 360 rint(x/360) exactly (above 2^38 the exact float remainder
// modulo 360 first), k = rint(t/0.703125), r = t - 0.703125 k exactly, and
// row k of the tangent table (theta = k pi/256) at r pi/180. At the poles
// (r = 0 on row 128) +-Inf with the sign of t and no error; a zero result
// keeps the sign of x; below 6.31088724e-30 the scalar routine gives x pi/180.
#include "vector/kernels/trig/strig_common.h"

namespace qor::kernels {
namespace {
using namespace strig;

struct STand {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsTand";
  static constexpr float kTiny = 6.31088724e-30f;

  static vd2 wide(vd2 v) {
    const vd2 t = v - 360.0 * ((v * 0.0027777777777777779 + kShifterD) - kShifterD);  // exact
    const vd2 u = t * 1.4222222222222223 + kShifterD;                                 // t / 0.703125
    const vq2 k = as<vq2>(u);
    const vd2 r = (t - (u - kShifterD) * 0.703125) * 0.017453292519943295;
    const vd2 res = tan_row(k, r);
    const vl2 pole = as<vl2>(fabs2(res) == __builtin_inf());
    const vd2 inf = as<vd2>(0x7ff0000000000000ull | ((k << 55) & 0x8000000000000000ull));  // bit 8 of k
    return select(pole, inf, res);
  }
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 ax = fabs4(x);
    const vi4 big = above(ax, 274877906944.0f);  // 2^38
    const vf4 a = any(big) ? select(big, mod360(ax), ax) : ax;
    const vf4 res = narrow(map(widen(a), wide));
    bad = non_finite(ax) | (ax < kTiny);
    return xor_sign(res + 0.0f, sign_of(x));
  }
  static int scalar(const float *a, float *r) {
    const float x = *a;
    if (__builtin_fabsf(x) < kTiny) {
      *r = (float)((double)x * 0.017453292519943295);
      return 0;
    }
    return nonfinite_scalar(x, r);
  }
};

QOR_ACCURACY(sTand, LA, ULP, 4.0)
QOR_ACCURACY(sTand, HA, ULP, 1.0)
QOR_ACCURACY(sTand, EP, BITS, 11)
QOR_INTERVAL_LOG(sTand, 1.4e-45, 3.4e38, 1000000)  // every binade, denormals included
QOR_INTERVAL(sTand, -720, 720, 300000)              // zeros and poles, both signs
QOR_INTERVAL(sTand, 89.9, 90.1, 100000)             // next to the first pole
QOR_INTERVAL(sTand, 6.2e-30, 6.4e-30, 10000)        // the tiny bound of the scalar routine
QOR_INTERVAL(sTand, 2.74e11, 2.76e11, 100000)       // the threshold 2^38

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sTand, LA, qor::kernels::STand, StandardEnv)
QOR_UNARY_KERNELS(sTand, HA, qor::kernels::STand, StandardEnv)
QOR_UNARY_KERNELS(sTand, EP, qor::kernels::STand, StandardEnv)
