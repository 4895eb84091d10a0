// sLogb, one kernel for all tiers: the exponent field less the bias, as a
// float. Zero, denormals, infinities and NaN (fields 0 and all ones) go to the
// scalar routine.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/log/slog_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;

struct SLogb {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 32;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsLogb";

  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x);
    // field + 1 in the exponent position: 0 for all ones, 0x800000 for zero
    bad = (as<vi4>(as<vu4>(ix) + 0x800000u) & 0x7f800000) < 0x1000000;
    return __builtin_convertvector(((ix >> 23) & 0xff) - 127, vf4);
  }

  // Zero: -Inf with status 1 (a domain error here, not a pole). Field all
  // ones: |x| (a NaN kept quiet). A denormal: x 2^25, taken exactly from the
  // integer of its bits, whose exponent field less 152 is the answer.
  static int scalar(const float *a, float *r) {
    const uint32_t bits = as<uint32_t>(*a), mag = bits & 0x7fffffff;
    if (mag == 0) return *r = slog::minus_inf(), 1;
    if (mag >= 0x7f800000) return *r = as<float>(mag > 0x7f800000 ? mag | 0x400000 : mag), 0;
    const float scaled = (float)mag * 0x1p-124f;  // x 2^25, the integer times 2^-149 2^25
    *r = (float)((int)(as<uint32_t>(scaled) >> 23) - 152);
    return 0;
  }
};
QOR_ACCURACY(sLogb, LA, ULP, 0.0)
QOR_ACCURACY(sLogb, HA, ULP, 0.0)
QOR_ACCURACY(sLogb, EP, ULP, 0.0)
QOR_INTERVAL_LOG(sLogb, 1.4e-45, 3.4e38, 400000)
QOR_INTERVAL(sLogb, -3.4e38, 3.4e38, 100000)

}  // namespace
}  // namespace qor::kernels

QOR_UNARY_KERNELS(sLogb, ALL, qor::kernels::SLogb, qor::bex::StandardEnv)
