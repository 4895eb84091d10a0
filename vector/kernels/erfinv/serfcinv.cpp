// sErfcInv in three tiers, evaluated in double on the two halves of a vector
// and rounded once: w = min(y, 2 - y), exact in double, picks a quarter-binade
// row of a table that reaches 2^-149, so every y in (0, 2) takes the fast
// path; x = 1 - y carries the sign. LA and HA share the degree-5 rows.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/erfinv/erfinv_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::erfinv;

QOR_ERFINV_TABLE(TabLAHA, erfinv_tables::kErfcInvS, false, 1.0625)
QOR_ERFINV_TABLE(TabEP, erfinv_tables::kErfcInvSEP, false, 1.03125)

template <class Tab> struct Core {
  static vd2 run(vd2 y) {
    const vl2 bad = high_word_outside(y, 0x36a00000, 0x40000000);  // outside [2^-149, 2)
    const vd2 w = as<vd2>(_mm_min_pd(as<__m128d>(y), as<__m128d>(2.0 - y)));
    return evaluate<Tab>(w, 1.0 - y, bad);
  }
};

// NaN: y + y; 0: +Inf and 2: -Inf, status 2; outside [0, 2]: NaN, 1.
template <class Tab> int serfcinv_scalar(const float *a, float *r) {
  const float y = *a;
  if (isnan(y)) return *r = y + y, 0;
  if (y == 0 || y == 2) return *r = pole<float>(y == 2), 2;
  if (y < 0 || y > 2) return *r = nan_of_domain<float>(), 1;
  const double yd = y;
  *r = (float)evaluate1<Tab>(yd < 1 ? yd : 2.0 - yd, 1.0 - yd);
  return 0;
}

template <class Tab> struct SErfcInv {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsErfcInv";
  static vf4 lanes(vf4 y, vi4 &bad) {
    const vi4 b = as<vi4>(y);
    bad = (b <= 0) | (b >= 0x40000000);  // y <= 0 (or -0), y >= 2, NaN
    return on_halves<Core<Tab>>(y);
  }
  static int scalar(const float *a, float *r) { return serfcinv_scalar<Tab>(a, r); }
};
using SErfcInvLA = SErfcInv<TabLAHA>;
struct SErfcInvHA : SErfcInv<TabLAHA> {};
using SErfcInvEP = SErfcInv<TabEP>;

QOR_ACCURACY(sErfcInv, LA, ULP, 4.0)
QOR_ACCURACY(sErfcInv, HA, ULP, 1.0)
QOR_ACCURACY(sErfcInv, EP, BITS, 11)
QOR_INTERVAL(sErfcInv, 0.0, 2.0, 300000)
QOR_INTERVAL_LOG(sErfcInv, 1.4e-45, 1.0, 300000)  // the tail to the least denormal
QOR_INTERVAL(sErfcInv, 0.999, 1.001, 10000)       // the zero at 1
QOR_INTERVAL(sErfcInv, 1.999, 2.0, 10000)         // w down to 2^-23

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sErfcInv, LA, qor::kernels::SErfcInvLA, StandardEnv)
QOR_UNARY_KERNELS(sErfcInv, HA, qor::kernels::SErfcInvHA, StandardEnv)
QOR_UNARY_KERNELS(sErfcInv, EP, qor::kernels::SErfcInvEP, StandardEnv)
