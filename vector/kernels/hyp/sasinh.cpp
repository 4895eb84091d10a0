// sAsinh and sAcosh in three tiers, as ln(1 + u) with u = a + a^2/(1 + sqrt(1 + a^2))
// for asinh of a = |x| and u = d + sqrt(d (2 + d)), d = x - 1, for acosh: u is
// formed without cancellation, so results near 0 keep their relative accuracy.
// EP works in single precision with its own logarithm and root; above 2^30 the
// argument stops being squared and ln(2a) = ln a + ln 2. LA and HA work in
// double and narrow once.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/hyp/hyp_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;

constexpr float kLogEP[4] = {-0.5f, 0.332896233f, -0.267402589f, 0.219883725f};
constexpr float kBig = 1.07374182e+09f;  // 2^30

// asinh: NaN quieted, the infinities themselves; acosh: NaN quieted, +Inf
// itself, below 1 (-Inf included) NaN with status 1.
template <bool kAcosh> int scalar_edges(const float *a, float *r) {
  const float x = *a;
  if (__builtin_isnan(x)) return *r = x + x, 0;
  if (!kAcosh || x == __builtin_inff()) return *r = x, 0;
  *r = __builtin_nanf("");
  return 1;
}
template <bool kAcosh> vi4 special(vf4 x) {
  const vi4 ix = as<vi4>(x);
  if (kAcosh) return (ix < 0x3f800000) | (ix > 0x7f7fffff);  // below 1, negative, NaN, +Inf
  return (ix & 0x7fffffff) > 0x7f7fffff;
}

template <bool kAcosh> struct SInvHyperbolicEP {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 32;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = kAcosh ? "vsAcosh" : "vsAsinh";

  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = special<kAcosh>(x);
    const vi4 ix = as<vi4>(x);
    const vf4 a = kAcosh ? select(bad, vf4{} + 1.0f, x) : as<vf4>(ix & 0x7fffffff);
    const vi4 big = a > kBig;
    vf4 u;
    if (kAcosh) {
      const vf4 d = a - 1.0f;
      u = d + hyp::sqrt_float(d * (2.0f + d));
    } else {
      const vf4 s = hyp::sqrt_float(a * a + 1.0f);
      u = a + a * a / (1.0f + s);
    }
    const vf4 arg = select(big, a, 1.0f + u);
    const vf4 ln = hyp::log_float(arg, u, kLogEP) + select(big, vf4{} + 0.693147182f, vf4{});
    return kAcosh ? ln : hyp::with_sign(ln, ix);
  }
  static int scalar(const float *a, float *r) { return scalar_edges<kAcosh>(a, r); }
};

template <bool kAcosh, int kTerms> struct SInvHyperbolicWide {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = kAcosh ? "vsAcosh" : "vsAsinh";

  static vd2 half(vd2 a) {
    if (kAcosh) {
      const vd2 d = a - 1.0;
      return hyp::log1p_lanes<kTerms>(d + sqrt(d * (2.0 + d)));
    }
    return hyp::log1p_lanes<kTerms>(a + a * a / (1.0 + sqrt(1.0 + a * a)));
  }
  static vd2 sqrt(vd2 z) { return as<vd2>(_mm_sqrt_pd(as<__m128d>(z))); }
  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = special<kAcosh>(x);
    const vi4 ix = as<vi4>(x);
    const vf4 a = kAcosh ? select(bad, vf4{} + 1.0f, x) : as<vf4>(ix & 0x7fffffff & ~bad);
    const vf4 v = hyp::in_double(a, half);
    return kAcosh ? v : hyp::with_sign(v, ix);
  }
  static int scalar(const float *a, float *r) { return scalar_edges<kAcosh>(a, r); }
};

using SAsinhEP = SInvHyperbolicEP<false>;
using SAsinhLA = SInvHyperbolicWide<false, 5>;
using SAsinhHA = SInvHyperbolicWide<false, 8>;
using SAcoshEP = SInvHyperbolicEP<true>;
using SAcoshLA = SInvHyperbolicWide<true, 5>;
using SAcoshHA = SInvHyperbolicWide<true, 8>;

QOR_ACCURACY(sAsinh, LA, ULP, 4.0)
QOR_ACCURACY(sAsinh, HA, ULP, 1.0)
QOR_ACCURACY(sAsinh, EP, BITS, 11)
QOR_INTERVAL(sAsinh, -10.0, 10.0, 300000)
QOR_INTERVAL_LOG(sAsinh, 1e-45, 3.4e38, 400000)
QOR_INTERVAL_LOG(sAsinh, 5e8, 3e9, 50000)
QOR_ACCURACY(sAcosh, LA, ULP, 4.0)
QOR_ACCURACY(sAcosh, HA, ULP, 1.0)
QOR_ACCURACY(sAcosh, EP, BITS, 11)
QOR_INTERVAL(sAcosh, 1.0, 1.001, 100000)
QOR_INTERVAL(sAcosh, 1.0, 10.0, 300000)
QOR_INTERVAL_LOG(sAcosh, 1.0, 3.4e38, 400000)
QOR_INTERVAL(sAcosh, -3.0, 1.0, 20000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sAsinh, LA, qor::kernels::SAsinhLA, StandardEnv)
QOR_UNARY_KERNELS(sAsinh, HA, qor::kernels::SAsinhHA, StandardEnv)
QOR_UNARY_KERNELS(sAsinh, EP, qor::kernels::SAsinhEP, StandardEnv)
QOR_UNARY_KERNELS(sAcosh, LA, qor::kernels::SAcoshLA, StandardEnv)
QOR_UNARY_KERNELS(sAcosh, HA, qor::kernels::SAcoshHA, StandardEnv)
QOR_UNARY_KERNELS(sAcosh, EP, qor::kernels::SAcoshEP, StandardEnv)
