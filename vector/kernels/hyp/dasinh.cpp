// dAsinh and dAcosh: one kernel for LA and EP, one for HA, both as
// ln(1 + u) over the reduction of dLog1p, with u formed without cancellation
// and carried as uh + ul where HA needs it: asinh a = ln(1 + a + a^2/(1 + sqrt(1 + a^2)))
// for a = |x|, acosh x = ln(1 + d + sqrt(d (2 + d))) for d = x - 1. Above 2^28
// both are ln(2a) to well below an ulp, the 2 added to the exponent; below
// 2^-9 asinh is its series a - a^3/6 + 3a^5/40.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/hyp/hyp_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::exact;

constexpr double kLarge = 268435456.0;         // 2^28
constexpr double kSeries = 0.001953125;         // 2^-9
constexpr double kMax = 1.79769313486231570815e+308;

inline vd2 root(vd2 z) { return as<vd2>(_mm_sqrt_pd(as<__m128d>(z))); }

// asinh: NaN quieted and the infinities themselves; acosh: NaN quieted, +Inf
// itself, below 1 (-Inf included) NaN with status 1.
template <bool kAcosh> int dinv_scalar(const double *a, double *r) {
  const double x = *a;
  if (x != x) return *r = x + x, 0;
  if (!kAcosh || x == __builtin_inf()) return *r = x, 0;
  volatile double zero = 0.0;
  *r = zero / zero;
  return 1;
}

template <bool kHA> struct DAsinh {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdAsinh";

  static vd2 lanes(vd2 x, vl2 &bad) {
    const vq2 sign = as<vq2>(x) & 0x8000000000000000ull;
    vd2 a = as<vd2>(as<vq2>(x) ^ sign);
    bad = as<vl2>(~(a <= kMax));
    a = select(bad, vd2{1.0, 1.0}, a);
    const vd2 m = select(a < kLarge, a, vd2{1.0, 1.0});  // the middle range's argument
    const vd2 term = m * m / (1.0 + root(1.0 + m * m));
    vd2 uh, ul;
    fast_two_sum(m, term, uh, ul);
    const vd2 big = select(a < kLarge, vd2{1.0, 1.0}, a);
    const vd2 mid = kHA ? hyp::log1p_two_ha(uh, ul) : hyp::log1p_two_la(uh, ul);
    const vd2 far = kHA ? hyp::log_scaled_ha(big, 1.0) : hyp::log_scaled_la(big, 1.0);
    const vd2 s = a * a;
    const vd2 series = a + a * s * (-0.16666666666666666 + s * 0.074999999999999997);
    const vd2 v = select(a < kSeries, series, select(a < kLarge, mid, far));
    return as<vd2>(as<vq2>(v) | sign);
  }
  static int scalar(const double *a, double *r) { return dinv_scalar<false>(a, r); }
};

template <bool kHA> struct DAcosh {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdAcosh";

  static vd2 lanes(vd2 x, vl2 &bad) {
    bad = as<vl2>(~((x >= 1.0) & (x <= kMax)));
    const vd2 a = select(bad, vd2{1.0, 1.0}, x);
    const vd2 d = select(a < kLarge, a, vd2{1.0, 1.0}) - 1.0;
    vd2 sq, sqe, w, we;
    two_square(d, sq, sqe);
    two_sum(d + d, sq, w, we);  // d (2 + d) = w + we to twice the precision
    we = we + sqe;
    const vd2 r = root(w);
    vd2 p, pe;
    two_square(r, p, pe);  // the root's correction: (w + we - r^2) / 2r, zero where w is
    const vd2 rl = (((w - p) - pe) + we) / (r + r + select(r == 0.0, vd2{1.0, 1.0}, vd2{}));
    vd2 uh, ul;
    two_sum(d, r, uh, ul);
    ul = ul + rl;
    const vd2 big = select(a < kLarge, vd2{1.0, 1.0}, a);
    const vd2 mid = kHA ? hyp::log1p_two_ha(uh, ul) : hyp::log1p_two_la(uh, ul);
    const vd2 far = kHA ? hyp::log_scaled_ha(big, 1.0) : hyp::log_scaled_la(big, 1.0);
    return select(a < kLarge, mid, far);
  }
  static int scalar(const double *a, double *r) { return dinv_scalar<true>(a, r); }
};

QOR_ACCURACY(dAsinh, LA, ULP, 4.0)
QOR_ACCURACY(dAsinh, HA, ULP, 1.0)
QOR_ACCURACY(dAsinh, EP, BITS, 26)
QOR_INTERVAL(dAsinh, -10.0, 10.0, 300000)
QOR_INTERVAL_LOG(dAsinh, 4.9e-324, 1.7e308, 400000)
QOR_INTERVAL(dAsinh, -0.01, 0.01, 100000)
QOR_INTERVAL_LOG(dAsinh, 1e8, 1e9, 50000)
QOR_ACCURACY(dAcosh, LA, ULP, 4.0)
QOR_ACCURACY(dAcosh, HA, ULP, 1.0)
QOR_ACCURACY(dAcosh, EP, BITS, 26)
QOR_INTERVAL(dAcosh, 1.0, 1.0001, 100000)
QOR_INTERVAL(dAcosh, 1.0, 10.0, 300000)
QOR_INTERVAL_LOG(dAcosh, 1.0, 1.7e308, 400000)
QOR_INTERVAL_LOG(dAcosh, 1e8, 1e9, 50000)
QOR_INTERVAL(dAcosh, -3.0, 1.0, 20000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dAsinh, LAEP, qor::kernels::DAsinh<false>, StandardEnv)
QOR_UNARY_KERNELS(dAsinh, HA, qor::kernels::DAsinh<true>, StandardEnv)
QOR_UNARY_KERNELS(dAcosh, LAEP, qor::kernels::DAcosh<false>, StandardEnv)
QOR_UNARY_KERNELS(dAcosh, HA, qor::kernels::DAcosh<true>, StandardEnv)
