// dLogb, one kernel for all tiers: the exponent field less the bias, as a
// double (exact, through the 2^52 integer-to-double trick). Zero, denormals,
// infinities and NaN go to the scalar routine.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/log/dlog_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::dlogk;

struct DLogb {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdLogb";
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vq2 e = (as<vq2>(x) >> 52) & 0x7ff;
    const vd2 r = as<vd2>(e | as<uint64_t>(kTwo52)) - (kTwo52 + 1023.0);
    bad = (r == -1023.0) | (r == 1024.0);  // exponent field all zeros or all ones
    return r;
  }
  // Zero: -1.0 / 0, status 1. Exponent all ones: |x| (quiet). A denormal is scaled by
  // 2^1074 through its integer mantissa, exact whatever the flush setting.
  static int scalar(const double *a, double *r) {
    const uint64_t b = as<uint64_t>(*a);
    const uint64_t field = (b & kExpField) >> 52;
    if (field == 0x7ff) {  // |x|, a NaN made quiet
      *r = as<double>((b & 0x7fffffffffffffffull) | ((b & kMantissa) ? 0x0008000000000000ull : 0));
      return 0;
    }
    if ((b << 1) == 0) {
      volatile double zero = 0.0;
      *r = -1.0 / zero;
      return 1;
    }
    if (field == 0) {
      const double scaled = (double)(int64_t)(b & kMantissa);  // x * 2^1074, exact
      *r = (double)((int)(as<uint64_t>(scaled) >> 52) - 1023 - 1074);
      return 0;
    }
    *r = (double)((int)field - 1023);
    return 0;
  }
};
QOR_ACCURACY(dLogb, LA, ULP, 0.0)
QOR_ACCURACY(dLogb, HA, ULP, 0.0)
QOR_ACCURACY(dLogb, EP, ULP, 0.0)
QOR_INTERVAL_LOG(dLogb, 4.9e-324, 1.7e308, 300000)  // every binade, denormals included

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dLogb, ALL, qor::kernels::DLogb, StandardEnv)
