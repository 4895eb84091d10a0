// sSinCos in three tiers: one reduction by pi for both results, the sine as
// in sSin, the cosine by the neighbouring half-odd multiple of pi; the large
// path above 10000. Inf gives NaN in both outputs with one domain error.
#include "vector/kernels/trig/strig_sincos.h"

namespace qor::kernels {
namespace {
using namespace strig;

constexpr char kName[] = "vsSinCos";
using SSinCosLA = SinCosK<kLA, 32, false, kName>;
using SSinCosHA = SinCosK<kHA, 16, false, kName>;
using SSinCosEP = SinCosK<kEP, 32, false, kName>;

QOR_ACCURACY(sSinCos, LA, ULP, 4.0)
QOR_ACCURACY(sSinCos, HA, ULP, 1.0)
QOR_ACCURACY(sSinCos, EP, BITS, 11)
QOR_INTERVAL_LOG(sSinCos, 1.4e-45, 3.4e38, 1000000)  // every binade, denormals included
QOR_INTERVAL(sSinCos, -10000, 10000, 500000)         // the fast path, both signs
QOR_INTERVAL(sSinCos, 9990, 10010, 100000)           // the threshold of the large path
QOR_INTERVAL(sSinCos, -7, 7, 200000)                 // the first zeros of both
QOR_INTERVAL(sSinCos, 1e19, 1e20, 100000)            // huge arguments

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_TWO_OUT_KERNELS(sSinCos, LA, qor::kernels::SSinCosLA, qor::kernels::SSinCosLA, StandardEnv)
QOR_TWO_OUT_KERNELS(sSinCos, HA, qor::kernels::SSinCosHA, qor::kernels::SSinCosHA, StandardEnv)
QOR_TWO_OUT_KERNELS(sSinCos, EP, qor::kernels::SSinCosEP, qor::kernels::SSinCosEP, StandardEnv)
