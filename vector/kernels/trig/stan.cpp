// sTan: LA and EP are one kernel, float reduction by pi/2 in four parts up to
// 8256 and a rational function; HA reduces by pi/2 in double up to 10000 with
// a rational function in double. Above, the large path with the tangent table.
// For odd N, tan(r + N pi/2) = -cot r: numerator and denominator change place.
#include "vector/kernels/trig/strig_common.h"

namespace qor::kernels {
namespace {
using namespace strig;

struct STanLAEP {
  QOR_STRIG_KERNEL(STanLAEP, "vsTan", 32)
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 ax = fabs4(x);
    const vf4 t = ax * 0.636619747f + kShifter;
    const vf4 n = t - kShifter;
    const vf4 r = (((ax - n * 1.5703125f) - n * 0.000483751297f) - n * 7.54953362e-08f) - n * 2.56334407e-12f;
    const vf4 z = r * r;
    const vf4 num = r * (0.999999762f - 0.0958017409f * z);
    const vf4 den = 0.999999762f + z * (-0.42913565f + z * 0.00971684884f);
    const vi4 odd = as<vi4>(as<vu4>(t) << 31) < 0;
    vf4 res = select(odd, den, num) / select(odd, num, den);
    res = xor_sign(res, parity_sign(t));
    res = large_tan(ax, above(ax, 8256.0f), res);
    bad = non_finite(ax);
    return xor_sign(res, sign_of(x));
  }
};
QOR_ACCURACY(sTan, LA, ULP, 4.0)
QOR_ACCURACY(sTan, EP, BITS, 11)

struct STanHA {
  QOR_STRIG_KERNEL(STanHA, "vsTan", 16)
  static vd2 wide(vd2 a) {
    const vd2 t = a * 0.63661977236758138 + kShifterD;
    const vd2 n = t - kShifterD;
    const vd2 r = (a - n * 1.5707963267923333) - n * 2.5633441515945189e-12;
    const vd2 z = r * r;
    const vd2 num = r + r * z * -0.0958017723;
    const vd2 den = 1.0 + z * (-0.429135777 + z * 0.00971685835);
    const vl2 odd = as<vl2>(as<vq2>(t) << 63) < 0;
    const vd2 q = select(odd, den, num) / select(odd, num, den);
    return as<vd2>(as<vq2>(q) ^ (as<vq2>(t) << 63));
  }
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 ax = fabs4(x);
    vf4 res = narrow(map(widen(ax), wide));
    res = large_tan(ax, above(ax, 10000.0f), res);
    bad = non_finite(ax);
    return xor_sign(res, sign_of(x));
  }
};
QOR_ACCURACY(sTan, HA, ULP, 1.0)

QOR_INTERVAL_LOG(sTan, 1.4e-45, 3.4e38, 1000000)  // every binade, denormals included
QOR_INTERVAL(sTan, -10000, 10000, 500000)         // the fast paths, both signs
QOR_INTERVAL(sTan, 8200, 8300, 100000)            // the LA and EP threshold
QOR_INTERVAL(sTan, 9990, 10010, 100000)           // the HA threshold
QOR_INTERVAL(sTan, 1.55, 1.59, 100000)            // next to the first pole
QOR_INTERVAL(sTan, 1e19, 1e20, 100000)            // huge arguments

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sTan, LAEP, qor::kernels::STanLAEP, StandardEnv)
QOR_UNARY_KERNELS(sTan, HA, qor::kernels::STanHA, StandardEnv)
