// dSinCos in three tiers (sine to the first array, cosine to the second);
// the lane formulas are in dsincos.h, shared with zCIS.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/trig/dsincos.h"

namespace qor::kernels {
namespace {

constexpr char kName[] = "vdSinCos";
using LA = dtrig::DSinCosK<0, false, kName>;
using HA = dtrig::DSinCosK<1, false, kName>;
using EP = dtrig::DSinCosK<2, false, kName>;

QOR_ACCURACY(dSinCos, LA, ULP, 4.0)
QOR_ACCURACY(dSinCos, HA, ULP, 1.0)
QOR_ACCURACY(dSinCos, EP, BITS, 26)
QOR_INTERVAL_LOG(dSinCos, 4.9406564584124654e-324, 1.7976931348623157e308, 300000)  // every binade
QOR_INTERVAL(dSinCos, -10.0, 10.0, 200000)
QOR_INTERVAL(dSinCos, 8388600.0, 8388620.0, 5000)   // LA and EP threshold 2^23
QOR_INTERVAL(dSinCos, 65535.9, 65536.1, 5000)       // HA threshold
QOR_INTERVAL(dSinCos, 1.0e20, 1.0e300, 20000)        // huge arguments

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_TWO_OUT_KERNELS(dSinCos, LA, qor::kernels::LA, qor::kernels::LA, StandardEnv)
QOR_TWO_OUT_KERNELS(dSinCos, HA, qor::kernels::HA, qor::kernels::HA, StandardEnv)
QOR_TWO_OUT_KERNELS(dSinCos, EP, qor::kernels::EP, qor::kernels::EP, StandardEnv)
