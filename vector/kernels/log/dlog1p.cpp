// dLog1p in three tiers, over the reduction of dLn applied to y = 1 + x:
// the rounding error of the sum, x - (y - 1), is folded into
// u as err * c * 2^(1013 - E) (E the exponent field of y), which is why x
// above 8.7777985100659102e+304 (E up to 2035) goes to the scalar routine.
// Below 2^-31 in magnitude the result is x - x^2/2 (the cubic term is under
// 2^-62 relative), which also keeps denormal x exact.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/log/dlog_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::dlogk;

constexpr double kMinusOneUp = f64(0xbfefffffffffffff);  // -0.99999999999999989, the next above -1
constexpr double kBig = f64(0x7f3ffffffffff000);         // 8.7777985100659102e+304
constexpr double kSmall = 4.6566128730773926e-10;        // 2^-31

// ln from a reduction, by tier: the sums of dLn LA and HA, and LA with the
// tail cut to degree 3 for EP.
struct SumLA {
  static constexpr const char *kName = "vdLog1p";
  static vd2 ln(const Reduced &q, vd2 corr) {
    const vd2 t = gather_at(dlog_tables::kLnLA, row_offset8(q.c));
    return ((la_exponent(q) * 0.69314718055994529 + t) + q.u) + (corr + ln_tail(q.u));
  }
};
struct SumHA {
  static constexpr const char *kName = "vdLog1p";
  static vd2 ln(const Reduced &q, vd2 corr) { return ln_two_part(q, ha_exponent(q), corr - corr * q.u); }
};
struct SumEP {
  static constexpr const char *kName = "vdLog1p";
  static vd2 ln(const Reduced &q, vd2 corr) {
    const vd2 t = gather_at(dlog_tables::kLnLA, row_offset8(q.c));
    const vd2 u = q.u;
    return ((la_exponent(q) * 0.69314718055994529 + t) + u) + (corr + u * u * (-0.5 + u * 0.33333333333333331));
  }
};

template <class Sum> struct DLog1pKernel {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = Sum::kName;

  static vd2 eval(vd2 x) {
    vd2 corr;
    const Reduced q = reduce1p(x, vd2{}, corr);
    const vd2 r = Sum::ln(q, corr);
    const vd2 small = x + (x * x) * -0.5;
    const vl2 tiny = as<vd2>(as<vq2>(x) & 0x7fffffffffffffffull) < kSmall;
    return select(tiny, small, r);
  }
  static vd2 lanes(vd2 x, vl2 &bad) {
    bad = (x <= kMinusOneUp) | ~(x <= kBig);
    return eval(x);
  }
  // NaN and +Inf: x * x. -1: -Inf, status 2; below -1: NaN, status 1. Above
  // kBig, ln(1 + x) = ln x to well below an ulp; the next above -1 runs the
  // lane formula (1 + x = 2^-53 exactly).
  static int scalar(const double *a, double *r) {
    const double x = *a;
    volatile double zero = 0.0;
    if (x != x || x > DBL_MAX) {
      *r = mul_ordered(x, x);
      return 0;
    }
    if (x == -1.0) {
      *r = -1.0 / zero;
      return 2;
    }
    if (x < -1.0) {
      *r = zero / zero;
      return 1;
    }
    *r = x > kBig ? Sum::ln(reduce(vd2{x, x}), vd2{0.0, 0.0})[0] : eval(vd2{x, x})[0];
    return 0;
  }
};

QOR_ACCURACY(dLog1p, LA, ULP, 4.0)
QOR_ACCURACY(dLog1p, HA, ULP, 1.0)
QOR_ACCURACY(dLog1p, EP, BITS, 26)
QOR_INTERVAL_LOG(dLog1p, 4.9e-324, 1.7e308, 1000000)  // every positive binade, denormals included
QOR_INTERVAL(dLog1p, -1.0, 0.0, 300000)
QOR_INTERVAL(dLog1p, -1.0, -0.999, 100000)            // next to -1
QOR_INTERVAL(dLog1p, -1e-9, 1e-9, 100000)             // the 2^-31 switch, both signs
QOR_INTERVAL(dLog1p, -1e-6, 1e-6, 100000)
QOR_INTERVAL(dLog1p, -1e-300, 1e-300, 20000)          // small arguments
QOR_INTERVAL(dLog1p, -0.42, 0.42, 100000)             // c = 724 / 725 and the ends of the mantissa
QOR_INTERVAL(dLog1p, 8.7e304, 8.9e304, 20000)         // the bound of the scalar routine

using DLog1pLA = DLog1pKernel<SumLA>;
using DLog1pHA = DLog1pKernel<SumHA>;
using DLog1pEP = DLog1pKernel<SumEP>;

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dLog1p, LA, qor::kernels::DLog1pLA, StandardEnv)
QOR_UNARY_KERNELS(dLog1p, HA, qor::kernels::DLog1pHA, StandardEnv)
QOR_UNARY_KERNELS(dLog1p, EP, qor::kernels::DLog1pEP, StandardEnv)
