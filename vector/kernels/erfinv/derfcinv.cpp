// dErfcInv in three tiers, pivot 1: w = min(y, 2 - y) (exact) picks the row,
// x = 1 - y carries the sign, result P(s) x as in dErfInv, with a table that
// reaches w = 2^-128. Smaller y goes to the extended-precision tail routine;
// 0, 2, beyond them and NaN to the special cases.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/erfinv/erfinv_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::erfinv;

constexpr int32_t kDeepHigh = (1023 + erfinv_tables::kDeepD) << 20;  // high word of 2^kDeepD
constexpr int32_t kTwoHigh = 0x40000000;                             // high word of 2.0

QOR_ERFINV_TABLE(TabLA, erfinv_tables::kErfcInvD, false, 1.125)
QOR_ERFINV_TABLE(TabHA, erfinv_tables::kErfcInvDHA, true, 1.125)
QOR_ERFINV_TABLE(TabEP, erfinv_tables::kErfcInvDEP, false, 1.03125)

// NaN: y + y; 0: +Inf and 2: -Inf, status 2; outside [0, 2]: NaN, 1; y
// below the table: the tail routine; the rest by the table.
template <class Tab> int derfcinv_scalar(const double *a, double *r) {
  const double y = *a;
  if (isnan(y)) return *r = y + y, 0;
  if (y == 0 || y == 2) return *r = pole<double>(y == 2), 2;
  if (y < 0 || y > 2) return *r = nan_of_domain<double>(), 1;
  if (y < 0x1p-128) return *r = erfcinv_tail(y, 1.0L), 0;
  *r = evaluate1<Tab>(y < 1 ? y : 2.0 - y, 1.0 - y);
  return 0;
}

template <class Tab> struct DErfcInv {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdErfcInv";
  static vd2 lanes(vd2 y, vl2 &bad) {
    bad = high_word_outside(y, kDeepHigh, kTwoHigh);  // signed: a negative y is below
    const vd2 w = as<vd2>(_mm_min_pd(as<__m128d>(y), as<__m128d>(2.0 - y)));
    const vd2 x = 1.0 - y;
    return evaluate<Tab>(w, x, bad, (1.0 - x) - y);  // 1 - y rounds for y below 0.5
  }
  static int scalar(const double *a, double *r) { return derfcinv_scalar<Tab>(a, r); }
};
using DErfcInvLA = DErfcInv<TabLA>;
using DErfcInvHA = DErfcInv<TabHA>;
using DErfcInvEP = DErfcInv<TabEP>;

QOR_ACCURACY(dErfcInv, LA, ULP, 4.0)
QOR_ACCURACY(dErfcInv, HA, ULP, 1.0)
QOR_ACCURACY(dErfcInv, EP, BITS, 26)
QOR_INTERVAL(dErfcInv, 0.0, 2.0, 300000)
QOR_INTERVAL_LOG(dErfcInv, 4.9e-324, 1.0, 300000)  // tails to the least denormal, the table's end
QOR_INTERVAL_LOG(dErfcInv, 1e-40, 1e-37, 10000)    // around 2^-128, the table's end
QOR_INTERVAL(dErfcInv, 0.999999, 1.000001, 10000)  // the zero at 1
QOR_INTERVAL(dErfcInv, 1.999, 2.0, 10000)
QOR_INTERVAL(dErfcInv, 1.99999999999, 2.0, 10000)  // w down to 2^-52

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dErfcInv, LA, qor::kernels::DErfcInvLA, StandardEnv)
QOR_UNARY_KERNELS(dErfcInv, HA, qor::kernels::DErfcInvHA, StandardEnv)
QOR_UNARY_KERNELS(dErfcInv, EP, qor::kernels::DErfcInvEP, StandardEnv)
