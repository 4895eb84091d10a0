// sCdfNormInv in three tiers, evaluated in double on the two halves of a
// vector and rounded once: w = 2 min(p, 1 - p), exact in double, picks a
// quarter-binade row of a table that reaches 2^-149, so every p in (0, 1)
// but 0.5 takes the fast path; x = 2p - 1 carries the sign. The rows hold
// sqrt(2) erfcinv(w) / (1 - w); LA and HA share the degree-5 rows.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/erfinv/erfinv_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::erfinv;

QOR_ERFINV_TABLE(TabLAHA, erfinv_tables::kCdfNormInvS, false, 1.0625)
QOR_ERFINV_TABLE(TabEP, erfinv_tables::kCdfNormInvSEP, false, 1.03125)

template <class Tab> struct Core {
  static vd2 run(vd2 p) {
    const vl2 bad = high_word_outside(p, 0x36a00000, 0x3ff00000);  // outside [2^-149, 1)
    const vd2 w = 2.0 * as<vd2>(_mm_min_pd(as<__m128d>(p), as<__m128d>(1.0 - p)));
    return evaluate<Tab>(w, (p - 0.5) * 2.0, bad);
  }
};

// NaN: p * p; 0.5: +0; 0: -Inf and 1: +Inf, status 2; outside [0, 1]: NaN, 1.
template <class Tab> int scdfnorminv_scalar(const float *a, float *r) {
  const float p = *a;
  if (isnan(p)) return *r = p * p, 0;
  if (p == 0.5f) return *r = 0.0f, 0;
  if (p == 0 || p == 1) return *r = pole<float>(p == 0), 2;
  if (p < 0 || p > 1) return *r = nan_of_domain<float>(), 1;
  const double pd = p;
  *r = (float)evaluate1<Tab>(2 * (pd < 0.5 ? pd : 1.0 - pd), (pd - 0.5) * 2);
  return 0;
}

template <class Tab> struct SCdfNormInv {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsCdfNormInv";
  static vf4 lanes(vf4 p, vi4 &bad) {
    const vi4 b = as<vi4>(p);
    bad = (b <= 0) | (b >= 0x3f800000) | (b == 0x3f000000);  // p <= 0 (or -0), p >= 1, NaN, 0.5
    return on_halves<Core<Tab>>(p);
  }
  static int scalar(const float *a, float *r) { return scdfnorminv_scalar<Tab>(a, r); }
};
using SCdfNormInvLA = SCdfNormInv<TabLAHA>;
struct SCdfNormInvHA : SCdfNormInv<TabLAHA> {};
using SCdfNormInvEP = SCdfNormInv<TabEP>;

QOR_ACCURACY(sCdfNormInv, LA, ULP, 4.0)
QOR_ACCURACY(sCdfNormInv, HA, ULP, 1.0)
QOR_ACCURACY(sCdfNormInv, EP, BITS, 11)
QOR_INTERVAL(sCdfNormInv, 0.0, 1.0, 300000)
QOR_INTERVAL_LOG(sCdfNormInv, 1.4e-45, 0.5, 300000)  // the lower tail to the least denormal
QOR_INTERVAL(sCdfNormInv, 0.4999, 0.5001, 10000)     // the zero at 0.5
QOR_INTERVAL(sCdfNormInv, 0.999, 1.0, 10000)         // the upper tail, w down to 2^-23

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sCdfNormInv, LA, qor::kernels::SCdfNormInvLA, StandardEnv)
QOR_UNARY_KERNELS(sCdfNormInv, HA, qor::kernels::SCdfNormInvHA, StandardEnv)
QOR_UNARY_KERNELS(sCdfNormInv, EP, qor::kernels::SCdfNormInvEP, StandardEnv)
