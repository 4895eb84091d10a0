// sExp2, one kernel for all tiers: k = round(64 x) by a shifter that keeps
// six fractional bits, f = x - k/64 exactly, a 64-row hi/lo table and a
// degree 2 polynomial in f.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/exp/exp_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::expk;

struct SExp2 {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsExp2";
  static constexpr float kShifter = 196608.0f;  // 1.5 * 2^17: ulp 2^-6
  static constexpr int32_t kLaneBound = 0x42fc0000;  // 126.0

  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 t = x + kShifter;
    const vf4 f = x - (t - kShifter);
    const vu4 kb = as<vu4>(t);  // the shifter's low 22 bits are clear: these are k's
    vf4 hi, lo;
    gather_pairs(exp_tables::kExp2f_64, as<vi4>(kb & 63), hi, lo);
    const vf4 p = f * (0.693149745f + f * 0.240226686f);
    const vf4 v = hi + (lo + hi * p);
    bad = (as<vi4>(x) & 0x7fffffff) > kLaneBound;
    return as<vf4>(as<vu4>(v) + ((kb << 17) & 0xff800000u));  // k << 17 = n << 23 + j << 17
  }
  // In double: overflow from 128 up, zero below -151, denormals between.
  static int scalar(const float *a, float *r) { return exp_float_scalar(*a, 1.0, 128.5f, -151.0f, r); }
};
QOR_ACCURACY(sExp2, LA, ULP, 4.0)
QOR_ACCURACY(sExp2, HA, ULP, 1.0)
QOR_ACCURACY(sExp2, EP, BITS, 11)
QOR_INTERVAL(sExp2, -150.5, 128.5, 1000000)  // the whole finite range, denormals included
QOR_INTERVAL(sExp2, -1.0, 1.0, 200000)
QOR_INTERVAL(sExp2, -127.0, -125.0, 50000)  // the lane bound and the denormal edge

}  // namespace
}  // namespace qor::kernels

QOR_UNARY_KERNELS(sExp2, ALL, qor::kernels::SExp2, qor::bex::StandardEnv)
