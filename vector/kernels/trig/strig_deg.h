// The lane formulas of sind and cosd of |x| in single precision, by tier,
// shared by sSind and sCosd. Above 16777306 a lane is replaced by its exact
// remainder modulo 360 and rejoins. LA and EP: N = rint(a/180), r = a - 180 N
// exactly, sind(a) = (-1)^N sin(r pi/180), cosd(a) = (-1)^N sin((90 - |r|) pi/180)
// by the polynomials of sinpi. HA: in double, rows of 1.40625 degrees
// (k pi/128) of the sine table.
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
      const vd2 t = v - 360.0 * ((v * 0.0027777777777777779 + kShifterD) - kShifterD);  // exact
      const vd2 u = t * 0.71111111111111114 + kShifterD;                                // t / 1.40625
      const vd2 r = (t - (u - kShifterD) * 1.40625) * 0.017453292519943295;
      return sin_row(as<vq2>(u) + (Cos ? 64u : 0u), r);
    };
    return narrow(map(widen(a), f)) + 0.0f;
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
