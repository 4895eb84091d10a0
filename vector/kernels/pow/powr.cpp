// sPowr and dPowr: the Pow kernels of each tier with the same lane tests; the
// two functions part only in the scalar routine (IEEE powr: a negative base,
// 0^0, inf^0 and 1^inf are out of the domain).
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/pow/dpow_core.h"
#include "vector/kernels/pow/spow_core.h"

namespace qor::kernels::powk {
namespace {

constexpr char kSName[] = "vsPowr", kDName[] = "vdPowr";
using SPowrLA = PowKernel<SPowLACore, PowrScalar, kSName>;
using SPowrHA = PowKernel<SPowHACore, PowrScalar, kSName>;
using SPowrEP = PowKernel<SPowEPCore, PowrScalar, kSName>;
using DPowrLA = PowKernel<DPowLACore, PowrScalar, kDName>;
using DPowrHA = PowKernel<DPowHACore, PowrScalar, kDName>;
using DPowrEP = PowKernel<DPowEPCore, PowrScalar, kDName>;

QOR_ACCURACY(sPowr, LA, ULP, 4.0)
QOR_ACCURACY(sPowr, HA, ULP, 1.0)
QOR_ACCURACY(sPowr, EP, BITS, 11)
QOR_INTERVAL2_LOG(sPowr, 1e-38, 3e38, 0.01, 2.0, 200000)
QOR_INTERVAL2(sPowr, 0.999, 1.001, -80000.0, 80000.0, 100000)
QOR_INTERVAL2(sPowr, 0.0, 10.0, -40.0, 40.0, 100000)
QOR_INTERVAL2(sPowr, 1.5, 2.5, -160.0, 130.0, 100000)
QOR_ACCURACY(dPowr, LA, ULP, 4.0)
QOR_ACCURACY(dPowr, HA, ULP, 1.0)
QOR_ACCURACY(dPowr, EP, BITS, 26)
QOR_INTERVAL2_LOG(dPowr, 1e-307, 1e308, 0.01, 2.0, 200000)
QOR_INTERVAL2(dPowr, 0.999999, 1.000001, -5e8, 5e8, 100000)
QOR_INTERVAL2(dPowr, 0.0, 10.0, -300.0, 300.0, 100000)
QOR_INTERVAL2(dPowr, 1.5, 2.5, -1600.0, 1100.0, 100000)

}  // namespace
}  // namespace qor::kernels::powk

using qor::bex::StandardEnv;
using namespace qor::kernels::powk;
QOR_BINARY_KERNELS(sPowr, LA, SPowrLA, SPowrLA, StandardEnv)
QOR_BINARY_KERNELS(sPowr, HA, SPowrHA, SPowrHA, StandardEnv)
QOR_BINARY_KERNELS(sPowr, EP, SPowrEP, SPowrEP, StandardEnv)
QOR_BINARY_KERNELS(dPowr, LA, DPowrLA, DPowrLA, StandardEnv)
QOR_BINARY_KERNELS(dPowr, HA, DPowrHA, DPowrHA, StandardEnv)
QOR_BINARY_KERNELS(dPowr, EP, DPowrEP, DPowrEP, StandardEnv)
