// sSin in three tiers: fast path by pi up to 10000 (LA four parts of pi and
// odd degree 9, HA in double, EP three parts and degree 5), the large path
// above; only Inf and NaN reach the scalar routine.
#include "vector/kernels/trig/strig_sincos.h"

namespace qor::kernels {
namespace {
using namespace strig;

template <Tier K, int Block> struct SSin {
  QOR_STRIG_KERNEL(SSin, "vsSin", Block)
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 ax = fabs4(x);
    bad = non_finite(ax);
    return xor_sign(sin_abs<K>(ax), sign_of(x));
  }
};
using SSinLA = SSin<kLA, 32>;
using SSinHA = SSin<kHA, 16>;
using SSinEP = SSin<kEP, 32>;

QOR_ACCURACY(sSin, LA, ULP, 4.0)
QOR_ACCURACY(sSin, HA, ULP, 1.0)
QOR_ACCURACY(sSin, EP, BITS, 11)
QOR_INTERVAL_LOG(sSin, 1.4e-45, 3.4e38, 1000000)  // every binade, denormals included
QOR_INTERVAL(sSin, -10000, 10000, 500000)         // the fast path, both signs
QOR_INTERVAL(sSin, 9990, 10010, 100000)           // the threshold of the large path
QOR_INTERVAL(sSin, -7, 7, 200000)                 // the first multiples of pi/2
QOR_INTERVAL(sSin, 1e19, 1e20, 100000)            // huge arguments

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sSin, LA, qor::kernels::SSinLA, StandardEnv)
QOR_UNARY_KERNELS(sSin, HA, qor::kernels::SSinHA, StandardEnv)
QOR_UNARY_KERNELS(sSin, EP, qor::kernels::SSinEP, StandardEnv)
