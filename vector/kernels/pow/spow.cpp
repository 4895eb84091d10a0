// sPow in three tiers on one outline: ln x, times y, e^t (see spow_core.h).
// Flagged lanes (x not positive normal finite, y not finite, |t| beyond the
// normal range of the result) take the scalar routine with the C99 values.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/pow/spow_core.h"

namespace qor::kernels::powk {
namespace {

constexpr char kName[] = "vsPow";
using SPowLA = PowKernel<SPowLACore, PowScalar, kName>;
using SPowHA = PowKernel<SPowHACore, PowScalar, kName>;
using SPowEP = PowKernel<SPowEPCore, PowScalar, kName>;

QOR_ACCURACY(sPow, LA, ULP, 4.0)
QOR_ACCURACY(sPow, HA, ULP, 1.0)
QOR_ACCURACY(sPow, EP, BITS, 11)
QOR_INTERVAL2_LOG(sPow, 1e-38, 3e38, 0.01, 2.0, 200000)     // results all over the range
QOR_INTERVAL2(sPow, 0.999, 1.001, -80000.0, 80000.0, 200000)  // bases near 1, large exponents
QOR_INTERVAL2(sPow, 0.0, 10.0, -40.0, 40.0, 200000)
QOR_INTERVAL2(sPow, -10.0, 0.0, -40.0, 40.0, 100000)          // negative bases (integers pass)
QOR_INTERVAL2(sPow, 1.5, 2.5, 120.0, 130.0, 100000)           // near overflow
QOR_INTERVAL2(sPow, 1.5, 2.5, -160.0, -120.0, 100000)         // denormal results

}  // namespace
}  // namespace qor::kernels::powk

using qor::bex::StandardEnv;
using namespace qor::kernels::powk;
QOR_BINARY_KERNELS(sPow, LA, SPowLA, SPowLA, StandardEnv)
QOR_BINARY_KERNELS(sPow, HA, SPowHA, SPowHA, StandardEnv)
QOR_BINARY_KERNELS(sPow, EP, SPowEP, SPowEP, StandardEnv)
