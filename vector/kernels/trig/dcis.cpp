// zCIS in three tiers: the dSinCos lane formulas (dsincos.h) with the results
// interleaved, cosine as the real part and sine as the imaginary part, bit
// for bit those of dSinCos.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/trig/dsincos.h"

namespace qor::kernels {
namespace {

constexpr char kName[] = "vzCIS";
using LA = dtrig::DSinCosK<0, true, kName>;
using HA = dtrig::DSinCosK<1, true, kName>;
using EP = dtrig::DSinCosK<2, true, kName>;

QOR_ACCURACY(zCIS, LA, ULP, 4.0)
QOR_ACCURACY(zCIS, HA, ULP, 1.0)
QOR_ACCURACY(zCIS, EP, BITS, 26)
QOR_INTERVAL_LOG(zCIS, 4.9406564584124654e-324, 1.7976931348623157e308, 200000)  // every binade
QOR_INTERVAL(zCIS, -10.0, 10.0, 20000)
QOR_INTERVAL(zCIS, 65535.9, 65536.1, 5000)       // HA threshold
QOR_INTERVAL(zCIS, 8388600.0, 8388620.0, 5000)   // LA and EP threshold 2^23
QOR_INTERVAL(zCIS, 1.0e20, 1.0e300, 20000)        // huge arguments

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_R2C_KERNELS(zCIS, LA, qor::kernels::LA, qor::kernels::LA, StandardEnv)
QOR_R2C_KERNELS(zCIS, HA, qor::kernels::HA, qor::kernels::HA, StandardEnv)
QOR_R2C_KERNELS(zCIS, EP, qor::kernels::EP, qor::kernels::EP, StandardEnv)
