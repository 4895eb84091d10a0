// cCIS in three tiers: the sSinCos lanes with the results interleaved,
// cosine as the real part and sine as the imaginary part, bit for bit those
// of sSinCos.
#include "vector/kernels/trig/strig_sincos.h"

namespace qor::kernels {
namespace {
using namespace strig;

constexpr char kName[] = "vcCIS";
using CCisLA = SinCosK<kLA, 32, true, kName>;
using CCisHA = SinCosK<kHA, 16, true, kName>;
using CCisEP = SinCosK<kEP, 32, true, kName>;

QOR_ACCURACY(cCIS, LA, ULP, 4.0)
QOR_ACCURACY(cCIS, HA, ULP, 1.0)
QOR_ACCURACY(cCIS, EP, BITS, 11)
QOR_INTERVAL_LOG(cCIS, 1.4e-45, 3.4e38, 200000)  // every binade, denormals included
QOR_INTERVAL(cCIS, -10000, 10000, 100000)        // the fast path, both signs
QOR_INTERVAL(cCIS, 9990, 10010, 20000)           // the threshold of the large path

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_R2C_KERNELS(cCIS, LA, qor::kernels::CCisLA, qor::kernels::CCisLA, StandardEnv)
QOR_R2C_KERNELS(cCIS, HA, qor::kernels::CCisHA, qor::kernels::CCisHA, StandardEnv)
QOR_R2C_KERNELS(cCIS, EP, qor::kernels::CCisEP, qor::kernels::CCisEP, StandardEnv)
