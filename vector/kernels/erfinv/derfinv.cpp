// dErfInv in three tiers: w = 1 - |x| picks a quarter-binade row, and the
// result is P(s) x. LA: degree 11; HA: degree 12 with c0 as hi + lo and the
// product x c0 formed exactly; EP: degree 5 about 1.9375. Lanes with |x| below
// 2^-53 (w would round to 1), |x| >= 1 and NaN go to the scalar routine.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/erfinv/erfinv_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::erfinv;

constexpr int32_t kTinyHigh = 0x3ca00000;  // high word of 1.1102232753642797e-16 = 2^-53
constexpr int32_t kOneHigh = 0x3ff00000;   // high word of 1.0000002381857485: |x| below 1
constexpr double kLinearBound = 2.9103830456733704e-11;

QOR_ERFINV_TABLE(TabLA, erfinv_tables::kErfInvD, false, 1.125)
QOR_ERFINV_TABLE(TabHA, erfinv_tables::kErfInvDHA, true, 1.125)
QOR_ERFINV_TABLE(TabEP, erfinv_tables::kErfInvDEP, false, 1.9375)

// NaN: x + x; +-Inf and |x| > 1: NaN, 1; +-1: +-Inf, 2; tiny: the linear
// term; the rest (never flagged, but the routine is complete) by the table.
template <class Tab> int derfinv_scalar(const double *a, double *r) {
  const double x = *a, ax = fabs(x);
  if (isnan(x)) return *r = x + x, 0;
  if (ax > 1) return *r = nan_of_domain<double>(), 1;
  if (ax == 1) return *r = pole<double>(x < 0), 2;
  if (ax < kLinearBound) return *r = tiny_linear(x), 0;
  *r = evaluate1<Tab>(1.0 - ax, x);
  return 0;
}

template <class Tab> struct DErfInv {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdErfInv";
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 ax = as<vd2>(as<vq2>(x) & 0x7fffffffffffffffull);
    bad = high_word_outside(ax, kTinyHigh, kOneHigh);
    return evaluate<Tab>(1.0 - ax, x, bad);
  }
  static int scalar(const double *a, double *r) { return derfinv_scalar<Tab>(a, r); }
};
using DErfInvLA = DErfInv<TabLA>;
using DErfInvHA = DErfInv<TabHA>;
using DErfInvEP = DErfInv<TabEP>;

QOR_ACCURACY(dErfInv, LA, ULP, 4.0)
QOR_ACCURACY(dErfInv, HA, ULP, 1.0)
QOR_ACCURACY(dErfInv, EP, BITS, 26)
QOR_INTERVAL(dErfInv, -1.0, 1.0, 300000)
QOR_INTERVAL(dErfInv, -0.001, 0.001, 10000)
QOR_INTERVAL_LOG(dErfInv, 4.9e-324, 1e-9, 10000)    // denormal and linear-term results
QOR_INTERVAL_LOG(dErfInv, 1e-12, 0.999, 10000)      // the lane cut at 2^-53 and every w near 1
QOR_INTERVAL(dErfInv, 0.999, 1.0, 10000)
QOR_INTERVAL(dErfInv, 0.9999999999, 1.0, 10000)
QOR_INTERVAL(dErfInv, -1.0, -0.99999999999999, 10000)  // the deep tail, w down to 2^-53
QOR_INTERVAL(dErfInv, 0.9999999999999, 1.0, 10000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dErfInv, LA, qor::kernels::DErfInvLA, StandardEnv)
QOR_UNARY_KERNELS(dErfInv, HA, qor::kernels::DErfInvHA, StandardEnv)
QOR_UNARY_KERNELS(dErfInv, EP, qor::kernels::DErfInvEP, StandardEnv)
