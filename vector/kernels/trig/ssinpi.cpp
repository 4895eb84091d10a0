// sSinpi, sin(pi x), in three tiers: the integer part of x drops out exactly,
// then a sine polynomial on pi times the rest (HA in double).
#include "vector/kernels/trig/strig_pi.h"

namespace qor::kernels {
namespace {
using namespace strig;

template <Tier K, int Block> struct SSinpi {
  QOR_STRIG_KERNEL(SSinpi, "vsSinpi", Block)
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 ax = fabs4(x);
    bad = non_finite(ax);
    return xor_sign(sinpi_abs<K, false>(ax), sign_of(x));
  }
};
using SSinpiLA = SSinpi<kLA, 32>;
using SSinpiHA = SSinpi<kHA, 16>;
using SSinpiEP = SSinpi<kEP, 32>;

QOR_ACCURACY(sSinpi, LA, ULP, 4.0)
QOR_ACCURACY(sSinpi, HA, ULP, 1.0)
QOR_ACCURACY(sSinpi, EP, BITS, 11)
QOR_INTERVAL_LOG(sSinpi, 1.4e-45, 3.4e38, 1000000)  // every binade, denormals included
QOR_INTERVAL(sSinpi, -4, 4, 300000)                 // the zeros and extrema, both signs
QOR_INTERVAL(sSinpi, 4194000, 4194600, 100000)      // the threshold 2^22
QOR_INTERVAL(sSinpi, 16777000, 16777500, 100000)    // 2^24, from where every float is even

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sSinpi, LA, qor::kernels::SSinpiLA, StandardEnv)
QOR_UNARY_KERNELS(sSinpi, HA, qor::kernels::SSinpiHA, StandardEnv)
QOR_UNARY_KERNELS(sSinpi, EP, qor::kernels::SSinpiEP, StandardEnv)
