// dPow in three tiers on one outline: log2 x, times y, 2^t (see dpow_core.h).
// Flagged lanes (x not positive normal finite, y huge or not finite, |t| at or
// above 1000) take the scalar routine with the C99 values.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/pow/dpow_core.h"

namespace qor::kernels::powk {
namespace {

constexpr char kName[] = "vdPow";
using DPowLA = PowKernel<DPowLACore, PowScalar, kName>;
using DPowHA = PowKernel<DPowHACore, PowScalar, kName>;
using DPowEP = PowKernel<DPowEPCore, PowScalar, kName>;

QOR_ACCURACY(dPow, LA, ULP, 4.0)
QOR_ACCURACY(dPow, HA, ULP, 1.0)
QOR_ACCURACY(dPow, EP, BITS, 26)
QOR_INTERVAL2_LOG(dPow, 1e-307, 1e308, 0.01, 2.0, 200000)     // results all over the range
QOR_INTERVAL2(dPow, 0.999999, 1.000001, -5e8, 5e8, 200000)      // bases near 1, large exponents
QOR_INTERVAL2(dPow, 0.0, 10.0, -300.0, 300.0, 200000)
QOR_INTERVAL2(dPow, -10.0, 0.0, -300.0, 300.0, 100000)          // negative bases (integers pass)
QOR_INTERVAL2(dPow, 1.5, 2.5, 1000.0, 1100.0, 100000)           // near overflow
QOR_INTERVAL2(dPow, 1.5, 2.5, -1600.0, -1000.0, 100000)         // denormal results

}  // namespace
}  // namespace qor::kernels::powk

using qor::bex::StandardEnv;
using namespace qor::kernels::powk;
QOR_BINARY_KERNELS(dPow, LA, DPowLA, DPowLA, StandardEnv)
QOR_BINARY_KERNELS(dPow, HA, DPowHA, DPowHA, StandardEnv)
QOR_BINARY_KERNELS(dPow, EP, DPowEP, DPowEP, StandardEnv)
