// sCos in three tiers: fast path by the half-odd multiples of pi up to 10000
// (LA four parts of pi and odd degree 9, HA in double, EP three parts and
// degree 5), the large path above; only Inf and NaN reach the scalar routine.
#include "vector/kernels/trig/strig_sincos.h"

namespace qor::kernels {
namespace {
using namespace strig;

template <Tier K, int Block> struct SCos {
  QOR_STRIG_KERNEL(SCos, "vsCos", Block)
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 ax = fabs4(x);
    bad = non_finite(ax);
    return cos_abs<K>(ax);
  }
};
using SCosLA = SCos<kLA, 32>;
using SCosHA = SCos<kHA, 16>;
using SCosEP = SCos<kEP, 32>;

QOR_ACCURACY(sCos, LA, ULP, 4.0)
QOR_ACCURACY(sCos, HA, ULP, 1.0)
QOR_ACCURACY(sCos, EP, BITS, 11)
QOR_INTERVAL_LOG(sCos, 1.4e-45, 3.4e38, 1000000)  // every binade, denormals included
QOR_INTERVAL(sCos, -10000, 10000, 500000)         // the fast path, both signs
QOR_INTERVAL(sCos, 9990, 10010, 100000)           // the threshold of the large path
QOR_INTERVAL(sCos, -7, 7, 200000)                 // the first zeros
QOR_INTERVAL(sCos, 1e19, 1e20, 100000)            // huge arguments

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sCos, LA, qor::kernels::SCosLA, StandardEnv)
QOR_UNARY_KERNELS(sCos, HA, qor::kernels::SCosHA, StandardEnv)
QOR_UNARY_KERNELS(sCos, EP, qor::kernels::SCosEP, StandardEnv)
