// The lane formulas of sinpi and cospi of |x| in single precision, by tier,
// shared by sSinpi and sCospi. Above 2^22 a lane keeps only its exact
// remainder modulo 2 (every float from 2^24 on is an even integer: 0), and
// rejoins. sinpi(a) = (-1)^N sin(pi (a - N)) with N = rint(a); cospi(a) =
// (-1)^N sin(pi (a - N + 1/2)) with N = rint(a + 1/2).
#ifndef QOR_KERNELS_STRIG_PI_H
#define QOR_KERNELS_STRIG_PI_H

#include "vector/kernels/trig/strig_sincos.h"

namespace qor::kernels::strig {
namespace {

constexpr float kPiThreshold = 4194304.0f;  // 2^22

inline vf4 pi_remainder(vf4 ax) {
  const vi4 big = above(ax, kPiThreshold);
  if (__builtin_expect(!any(big), 1)) return ax;
  return select(big, mod_period(ax, 25165824.0f, 16777216.0f), ax);  // 1.5 * 2^24 rounds to even integers
}

template <Tier K, bool Cos> inline vf4 sinpi_abs(vf4 ax) {
  const vf4 a = pi_remainder(ax);
  const vf4 t = (Cos ? a + 0.5f : a) + kShifter;
  const vf4 n = t - kShifter;
  // |d| <= 1/2; exact but for a cosine with a just below 1/4, where a - 1/2
  // drops a's last bit: HA subtracts in double.
  const vf4 d = Cos ? a - (n - 0.5f) : a - n;
  vf4 res;
  if constexpr (K == kHA) {
    auto f = [](vd2 aa, vd2 nn) { return sin11_wide((Cos ? aa - (nn - 0.5) : aa - nn) * 3.1415926535897931); };
    const Wide wa = widen(a), wn = widen(n);
    res = narrow(Wide{f(wa.lo, wn.lo), f(wa.hi, wn.hi)});
  } else if constexpr (K == kLA) {
    res = sin9(d * 3.14159274f, -0.166666597f, 0.00833306555f, -0.000198095731f, 2.60575825e-06f);
  } else {
    const vf4 r = d * 3.14159274f, z = r * r;
    res = r + (r * z) * (-0.165961236f + z * 0.00757427746f);
  }
  // the zeros of sinpi at integers are +0, and those of cospi always
  return xor_sign(res, parity_sign(t)) + 0.0f;
}

}  // namespace
}  // namespace qor::kernels::strig

#endif
