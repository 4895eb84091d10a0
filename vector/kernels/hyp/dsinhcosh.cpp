// dSinh and dCosh: one kernel for LA and EP, one for HA. Both tiers form
// e^a and e^-a for a = |x| from the 64-row hi/lo exponential core, each as
// 2^(n-1) (hi + rest) so that the halving is in the exponent, and compose
// cosh = A + B, sinh = A - B; below 1 sinh is its odd series to a^19, so no
// cancellation reaches small arguments. HA adds the leading parts by an exact
// two-sum and the rests after. Beyond a = 40, e^-a no longer counts.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/exp/exp_common.h"
#include "vector/kernels/hyp/hyp_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using expk::ExpHACore;

constexpr int32_t kLaneBound = 0x4086232a;  // high word of about 708.39563: above it, NaN and Inf, a lane is special
constexpr uint64_t kHalf = 1ull << 52;      // one less in the exponent field

// NaN quieted, infinities exact (no report); beyond the lane bound e^|x|/2
// rounded once, +Inf with status 3 where it overflows.
template <bool kSinh> int dhyperbolic_scalar(const double *a, double *r) {
  const double x = *a;
  if (!__builtin_isfinite(x)) {
    *r = __builtin_isnan(x) ? x + x : (kSinh ? x : __builtin_fabs(x));
    return 0;
  }
  const double ax = __builtin_fabs(x) < 711.0 ? __builtin_fabs(x) : 711.0;  // e^711 / 2 overflows already
  vq2 e;
  vd2 hi, rest;
  ExpHACore::parts(vd2{ax, ax}, e, hi, rest);
  const double v = expk::scale_pow2(hi[0], rest[0], (long)((int64_t)e[0] >> 52) - 1);
  *r = kSinh && x < 0 ? -v : v;
  return __builtin_isinf(v) ? 3 : 0;
}

template <bool kSinh, bool kTwoSum> struct DHyperbolic {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = kSinh ? "vdSinh" : "vdCosh";

  static vd2 lanes(vd2 x, vl2 &bad) {
    const vq2 sign = as<vq2>(x) & 0x8000000000000000ull;
    const vd2 a = as<vd2>(as<vq2>(x) ^ sign);
    bad = expk::high_word_above(x, kLaneBound);
    vq2 ea, eb;
    vd2 ah, ar, bh, br;
    ExpHACore::parts(a, ea, ah, ar);
    ExpHACore::parts(-a, eb, bh, br);
    // 2^(n-1) as a factor: normal for every a of the lanes (n - 1 from -59 to 1021).
    const vd2 sa = as<vd2>(ea - kHalf + 0x3ff0000000000000ull), sb = as<vd2>(eb - kHalf + 0x3ff0000000000000ull);
    const vl2 far = a > 40.0;
    ah = ah * sa, ar = ar * sa;
    bh = select(far, vd2{}, bh * sb), br = select(far, vd2{}, br * sb);
    if (!kSinh) bh = -bh, br = -br;  // A + B as A - (-B)
    vd2 v;
    if (kTwoSum) {
      const vd2 s = ah - bh;
      const vd2 err = (ah - s) - bh;  // exact: |ah| >= |bh|
      v = s + (err + (ar - br));
    } else {
      v = (ah - bh) + (ar - br);
    }
    if (kSinh) v = as<vd2>(as<vq2>(select(a < 1.0, hyp::sinh_series(a), v)) | sign);
    return v;
  }
  static int scalar(const double *a, double *r) { return dhyperbolic_scalar<kSinh>(a, r); }
};

using DSinhLAEP = DHyperbolic<true, false>;
using DSinhHA = DHyperbolic<true, true>;
using DCoshLAEP = DHyperbolic<false, false>;
using DCoshHA = DHyperbolic<false, true>;

QOR_ACCURACY(dSinh, LA, ULP, 4.0)
QOR_ACCURACY(dSinh, HA, ULP, 1.0)
QOR_ACCURACY(dSinh, EP, BITS, 26)
QOR_INTERVAL(dSinh, -711.0, 711.0, 500000)
QOR_INTERVAL_LOG(dSinh, 4.9e-324, 4.0, 300000)
QOR_INTERVAL(dSinh, -2.0, 2.0, 300000)
QOR_INTERVAL(dSinh, 705.0, 710.6, 50000)
QOR_INTERVAL(dSinh, 39.0, 41.0, 20000)
QOR_ACCURACY(dCosh, LA, ULP, 4.0)
QOR_ACCURACY(dCosh, HA, ULP, 1.0)
QOR_ACCURACY(dCosh, EP, BITS, 26)
QOR_INTERVAL(dCosh, -711.0, 711.0, 500000)
QOR_INTERVAL_LOG(dCosh, 4.9e-324, 4.0, 300000)
QOR_INTERVAL(dCosh, -710.6, -705.0, 50000)
QOR_INTERVAL(dCosh, 39.0, 41.0, 20000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dSinh, LAEP, qor::kernels::DSinhLAEP, StandardEnv)
QOR_UNARY_KERNELS(dSinh, HA, qor::kernels::DSinhHA, StandardEnv)
QOR_UNARY_KERNELS(dCosh, LAEP, qor::kernels::DCoshLAEP, StandardEnv)
QOR_UNARY_KERNELS(dCosh, HA, qor::kernels::DCoshHA, StandardEnv)
