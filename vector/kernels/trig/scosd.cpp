// sCosd, the cosine of x degrees, in three tiers: whole half-turns drop out
// exactly, then a sine polynomial (LA, EP) or the sine table in double (HA).
#include "vector/kernels/trig/strig_deg.h"

namespace qor::kernels {
namespace {
using namespace strig;

template <Tier K, int Block> struct SCosd {
  QOR_STRIG_KERNEL(SCosd, "vsCosd", Block)
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 ax = fabs4(x);
    bad = non_finite(ax);
    return sind_abs<K, true>(ax);
  }
};
using SCosdLA = SCosd<kLA, 32>;
using SCosdHA = SCosd<kHA, 16>;
using SCosdEP = SCosd<kEP, 32>;

QOR_ACCURACY(sCosd, LA, ULP, 4.0)
QOR_ACCURACY(sCosd, HA, ULP, 1.0)
QOR_ACCURACY(sCosd, EP, BITS, 11)
QOR_INTERVAL_LOG(sCosd, 1.4e-45, 3.4e38, 1000000)  // every binade, denormals included
QOR_INTERVAL(sCosd, -720, 720, 300000)              // the zeros and extrema, both signs
QOR_INTERVAL(sCosd, 89.9, 90.1, 100000)             // the first zero
QOR_INTERVAL(sCosd, 179.9, 180.1, 100000)           // the first minimum
QOR_INTERVAL(sCosd, 16777000, 16777700, 100000)     // the threshold 16777306
QOR_INTERVAL(sCosd, 1e11, 1e12, 100000)             // folded exponents

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sCosd, LA, qor::kernels::SCosdLA, StandardEnv)
QOR_UNARY_KERNELS(sCosd, HA, qor::kernels::SCosdHA, StandardEnv)
QOR_UNARY_KERNELS(sCosd, EP, qor::kernels::SCosdEP, StandardEnv)
