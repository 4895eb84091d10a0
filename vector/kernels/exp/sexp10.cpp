// sExp10, one kernel for all tiers: k = round(x 128 log2 10), r = x - k
// log10(2)/128 by a two-part constant, a 128-row hi/lo table and a degree 2
// polynomial for 10^r - 1.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/exp/exp_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::expk;

struct SExp10 {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsExp10";
  static constexpr float kShifter = 12582912.0f;  // 1.5 * 2^23
  static constexpr float kInvL = 425.206787f;      // 128 log2(10)
  static constexpr float kL1 = f32(0x3b1a4000), kL2 = f32(0xb5fb2bd8);  // log10(2)/128 = L1 + L2
  static constexpr int32_t kLaneBound = 0x4217b818;  // 37.9297791

  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 t = x * kInvL + kShifter;
    const vf4 k = t - kShifter;
    const vf4 r = (x - k * kL1) - k * kL2;
    const vu4 kb = as<vu4>(t);
    vf4 hi, lo;
    gather_pairs(exp_tables::kExp2f_128, as<vi4>(kb & 127), hi, lo);
    const vf4 p = r * (2.30258727f + r * 2.65094972f);
    const vf4 v = hi + (lo + hi * p);
    bad = (as<vi4>(x) & 0x7fffffff) > kLaneBound;
    return as<vf4>(as<vu4>(v) + ((kb << 16) & 0xff800000u));  // k << 16 = n << 23 + j << 16
  }
  // In double: overflow from 38.53 up, zero below -45.5, denormals between.
  static int scalar(const float *a, float *r) {
    return exp_float_scalar(*a, 3.3219280948873623, 39.0f, -46.0f, r);
  }
};
QOR_ACCURACY(sExp10, LA, ULP, 4.0)
QOR_ACCURACY(sExp10, HA, ULP, 1.0)
QOR_ACCURACY(sExp10, EP, BITS, 11)
QOR_INTERVAL(sExp10, -45.2, 38.6, 1000000)  // the whole finite range, denormals included
QOR_INTERVAL(sExp10, -1.0, 1.0, 200000)
QOR_INTERVAL(sExp10, -38.5, -37.5, 50000)  // the lane bound and the denormal edge
QOR_INTERVAL(sExp10, 37.5, 38.6, 50000)    // the lane bound and overflow

}  // namespace
}  // namespace qor::kernels

QOR_UNARY_KERNELS(sExp10, ALL, qor::kernels::SExp10, qor::bex::StandardEnv)
