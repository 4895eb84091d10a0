// dCdfNormInv in three tiers, pivot 0.5: w = 2 min(p, 1 - p) (exact) picks
// the row, x = 2p - 1 carries the sign, and the rows hold sqrt(2) erfcinv(w) /
// (1 - w). p below 2^-129 (w below the table's end) goes to the accurate
// tail routine, shared by the tiers; 0.5 gives +0 without evaluation.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/erfinv/erfinv_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::erfinv;

constexpr int32_t kDeepHigh = (1023 + erfinv_tables::kDeepD - 1) << 20;  // high word of 2^(kDeepD - 1)
constexpr int32_t kOneHigh = 0x3ff00000;

QOR_ERFINV_TABLE(TabLA, erfinv_tables::kCdfNormInvD, false, 1.125)
QOR_ERFINV_TABLE(TabHA, erfinv_tables::kCdfNormInvDHA, true, 1.125)
QOR_ERFINV_TABLE(TabEP, erfinv_tables::kCdfNormInvDEP, false, 1.03125)

// NaN: p * p; 0.5: +0; 0 and 1: -Inf and +Inf by a division by 0, status 2;
// outside [0, 1]: NaN from Inf * 0, status 1; p below the table: -sqrt(2)
// erfcinv(2p) by the tail routine; the rest by the table.
template <class Tab> int dcdfnorminv_scalar(const double *a, double *r) {
  const double p = *a;
  if (isnan(p)) return *r = p * p, 0;
  if (p == 0.5) return *r = 0.0, 0;
  if (p == 0 || p == 1) return *r = pole<double>(p == 0), 2;
  if (p < 0 || p > 1) return *r = nan_of_domain<double>(), 1;
  if (p < 0x1p-129) return *r = erfcinv_tail(2 * p, -erfinv_tables::kSqrt2), 0;
  *r = evaluate1<Tab>(2 * (p < 0.5 ? p : 1.0 - p), (p - 0.5) * 2);
  return 0;
}

template <class Tab> struct DCdfNormInv {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdCdfNormInv";
  static vd2 lanes(vd2 p, vl2 &bad) {
    bad = high_word_outside(p, kDeepHigh, kOneHigh) | as<vl2>(p == 0.5);
    const vd2 w = 2.0 * as<vd2>(_mm_min_pd(as<__m128d>(p), as<__m128d>(1.0 - p)));
    const vd2 d = p - 0.5;  // rounds for p below 0.25: keep the error for HA
    return evaluate<Tab>(w, d * 2.0, bad, (p - (d + 0.5)) * 2.0);
  }
  static int scalar(const double *a, double *r) { return dcdfnorminv_scalar<Tab>(a, r); }
};
using DCdfNormInvLA = DCdfNormInv<TabLA>;
using DCdfNormInvHA = DCdfNormInv<TabHA>;
using DCdfNormInvEP = DCdfNormInv<TabEP>;

QOR_ACCURACY(dCdfNormInv, LA, ULP, 4.0)
QOR_ACCURACY(dCdfNormInv, HA, ULP, 1.0)
QOR_ACCURACY(dCdfNormInv, EP, BITS, 26)
QOR_INTERVAL(dCdfNormInv, 0.0, 1.0, 300000)
QOR_INTERVAL_LOG(dCdfNormInv, 4.9e-324, 0.5, 300000)  // the lower tail to the least denormal
QOR_INTERVAL_LOG(dCdfNormInv, 1e-40, 1e-37, 10000)    // around 2^-129, the table's end
QOR_INTERVAL(dCdfNormInv, 0.4999999, 0.5000001, 10000)  // the zero at 0.5
QOR_INTERVAL(dCdfNormInv, 0.999, 1.0, 10000)
QOR_INTERVAL(dCdfNormInv, 0.99999999999, 1.0, 10000)  // the upper tail, w down to 2^-52

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dCdfNormInv, LA, qor::kernels::DCdfNormInvLA, StandardEnv)
QOR_UNARY_KERNELS(dCdfNormInv, HA, qor::kernels::DCdfNormInvHA, StandardEnv)
QOR_UNARY_KERNELS(dCdfNormInv, EP, qor::kernels::DCdfNormInvEP, StandardEnv)
