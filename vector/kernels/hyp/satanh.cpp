// sAtanh in three tiers: atanh a = ln((1 + a)/(1 - a)) / 2 = ln(1 + u) / 2 with
// u = 2a/(1 - a), for a = |x| below 1; the sign is OR-ed back. LA and EP in
// single precision with the logarithm cut at 0.666666687, reduced from u
// itself; HA in double, narrowed once.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/hyp/hyp_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;

constexpr float kLogLA[8] = {-0.5f,         0.333332658f, -0.250042379f, 0.200079203f,
                             -0.164723262f, 0.140423089f, -0.151221797f, 0.138202384f};
constexpr float kLogEP[6] = {-0.5f, 0.333332658f, -0.250042379f, 0.200079203f, -0.164723262f, 0.140423089f};

// |x| = 1: the signed infinity (2); |x| above 1 or infinite: NaN (1); NaN quieted.
int atanh_scalar(const float *a, float *r) {
  const float x = *a;
  if (__builtin_isnan(x)) return *r = x + x, 0;
  if (__builtin_fabsf(x) == 1.0f) {
    volatile float zero = 0.0f;
    *r = x / zero;
    return 2;
  }
  *r = __builtin_nanf("");
  return 1;
}

template <int kTerms, const float (&kC)[kTerms]> struct SAtanhFloat {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 32;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsAtanh";

  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x), mag = ix & 0x7fffffff;
    bad = mag >= 0x3f800000;
    const vf4 a = as<vf4>(mag & ~bad);
    const vf4 v = 0.5f * hyp::log1p_float((a + a) / (1.0f - a), kC);
    return hyp::with_sign(v, ix);
  }
  static int scalar(const float *a, float *r) { return atanh_scalar(a, r); }
};

struct SAtanhHA {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsAtanh";

  static vd2 half(vd2 a) { return 0.5 * hyp::log1p_lanes<8>((a + a) / (1.0 - a)); }
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x), mag = ix & 0x7fffffff;
    bad = mag >= 0x3f800000;
    const vf4 a = as<vf4>(mag & ~bad);
    const vf4 v = hyp::in_double(a, half);
    return hyp::with_sign(v, ix);
  }
  static int scalar(const float *a, float *r) { return atanh_scalar(a, r); }
};

using SAtanhLA = SAtanhFloat<8, kLogLA>;
using SAtanhEP = SAtanhFloat<6, kLogEP>;

QOR_ACCURACY(sAtanh, LA, ULP, 4.0)
QOR_ACCURACY(sAtanh, HA, ULP, 1.0)
QOR_ACCURACY(sAtanh, EP, BITS, 11)
QOR_INTERVAL(sAtanh, -1.0, 1.0, 500000)
QOR_INTERVAL_LOG(sAtanh, 1e-45, 1.0, 300000)
QOR_INTERVAL(sAtanh, 0.99, 1.0, 100000)
QOR_INTERVAL(sAtanh, -3.0, 3.0, 20000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sAtanh, LA, qor::kernels::SAtanhLA, StandardEnv)
QOR_UNARY_KERNELS(sAtanh, HA, qor::kernels::SAtanhHA, StandardEnv)
QOR_UNARY_KERNELS(sAtanh, EP, qor::kernels::SAtanhEP, StandardEnv)
