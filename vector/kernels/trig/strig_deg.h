// The lane formulas of sind and cosd of |x| in single precision, by tier,
// shared by sSind and sCosd. Above 16777306 a lane is replaced by its exact
// remainder modulo 360 and rejoins. LA and EP: N = rint(a/180), r = a - 180 N
// exactly, sind(a) = (-1)^N sin(r pi/180), cosd(a) = (-1)^N sin((90 - |r|) pi/180)
// by the polynomials of sinpi; HA the same steps in double.
#ifndef QOR_KERNELS_STRIG_DEG_H
#define QOR_KERNELS_STRIG_DEG_H

#include "vector/kernels/trig/strig_sincos.h"

namespace qor::kernels::strig {
namespace {

inline vf4 deg_remainder(vf4 ax) {
  const vi4 big = above(ax, 16777306.0f);
  if (__builtin_expect(!any(big), 1)) return ax;
  return select(big, mod360(ax), ax);
}

template <Tier K, bool Cos> inline vf4 sind_abs(vf4 ax) {
  const vf4 a = deg_remainder(ax);
  if constexpr (K == kHA) {
    auto f = [](vd2 v) {
      const vd2 t = v * (1.0 / 180.0) + kShifterD;
      const vd2 d = v - 180.0 * (t - kShifterD);  // exact
      const vd2 r = (Cos ? 90.0 - fabs2(d) : d) * 0.017453292519943295;
      return as<vd2>(as<vq2>(sin11_wide(r)) ^ (as<vq2>(t) << 63));
    };
    return narrow(map(widen(a), f)) + 0.0f;  // the zeros are +0
  } else {
    const vf4 t = a * 0.00555555569f + kShifter;
    const vf4 d = a - 180.0f * (t - kShifter);  // exact
    const vf4 r = (Cos ? 90.0f - fabs4(d) : d) * 0.0174532924f;
    vf4 res;
    if constexpr (K == kLA) {
      res = sin9(r, -0.166666597f, 0.00833306555f, -0.000198095731f, 2.60575825e-06f);
    } else {
      const vf4 z = r * r;
      res = r + (r * z) * (-0.165961236f + z * 0.00757427746f);
    }
    return xor_sign(res, parity_sign(t)) + 0.0f;  // the zeros are +0
  }
}

}  // namespace
}  // namespace qor::kernels::strig

#endif
