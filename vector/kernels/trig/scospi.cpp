// sCospi, cos(pi x), in three tiers: the nearest half-odd integer drops out exactly,
// then a sine polynomial on pi times the rest (HA in double).
#include "vector/kernels/trig/strig_pi.h"

namespace qor::kernels {
namespace {
using namespace strig;

template <Tier K, int Block> struct SCospi {
  QOR_STRIG_KERNEL(SCospi, "vsCospi", Block)
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 ax = fabs4(x);
    bad = non_finite(ax);
    return sinpi_abs<K, true>(ax);
  }
};
using SCospiLA = SCospi<kLA, 32>;
using SCospiHA = SCospi<kHA, 16>;
using SCospiEP = SCospi<kEP, 32>;

QOR_ACCURACY(sCospi, LA, ULP, 4.0)
QOR_ACCURACY(sCospi, HA, ULP, 1.0)
QOR_ACCURACY(sCospi, EP, BITS, 11)
QOR_INTERVAL_LOG(sCospi, 1.4e-45, 3.4e38, 1000000)  // every binade, denormals included
QOR_INTERVAL(sCospi, -4, 4, 300000)                 // the zeros and extrema, both signs
QOR_INTERVAL(sCospi, 4194000, 4194600, 100000)      // the threshold 2^22
QOR_INTERVAL(sCospi, 16777000, 16777500, 100000)    // 2^24, from where every float is even

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sCospi, LA, qor::kernels::SCospiLA, StandardEnv)
QOR_UNARY_KERNELS(sCospi, HA, qor::kernels::SCospiHA, StandardEnv)
QOR_UNARY_KERNELS(sCospi, EP, qor::kernels::SCospiEP, StandardEnv)
