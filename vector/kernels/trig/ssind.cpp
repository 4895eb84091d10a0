// sSind, the sine of x degrees, in three tiers: whole half-turns drop out
// exactly, then a sine polynomial (LA, EP) or the sine table in double (HA).
#include "vector/kernels/trig/strig_deg.h"

namespace qor::kernels {
namespace {
using namespace strig;

template <Tier K, int Block> struct SSind {
  QOR_STRIG_KERNEL(SSind, "vsSind", Block)
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 ax = fabs4(x);
    bad = non_finite(ax);
    return xor_sign(sind_abs<K, false>(ax), sign_of(x));
  }
};
using SSindLA = SSind<kLA, 32>;
using SSindHA = SSind<kHA, 16>;
using SSindEP = SSind<kEP, 32>;

QOR_ACCURACY(sSind, LA, ULP, 4.0)
QOR_ACCURACY(sSind, HA, ULP, 1.0)
QOR_ACCURACY(sSind, EP, BITS, 11)
QOR_INTERVAL_LOG(sSind, 1.4e-45, 3.4e38, 1000000)  // every binade, denormals included
QOR_INTERVAL(sSind, -720, 720, 300000)              // the zeros and extrema, both signs
QOR_INTERVAL(sSind, 89.9, 90.1, 100000)             // the top of the curve
QOR_INTERVAL(sSind, 179.9, 180.1, 100000)           // the first zero
QOR_INTERVAL(sSind, 16777000, 16777700, 100000)     // the threshold 16777306
QOR_INTERVAL(sSind, 1e11, 1e12, 100000)             // folded exponents

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sSind, LA, qor::kernels::SSindLA, StandardEnv)
QOR_UNARY_KERNELS(sSind, HA, qor::kernels::SSindHA, StandardEnv)
QOR_UNARY_KERNELS(sSind, EP, qor::kernels::SSindEP, StandardEnv)
