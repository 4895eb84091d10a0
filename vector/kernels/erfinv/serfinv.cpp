// sErfInv in three tiers, evaluated in double on the two halves of a vector
// and rounded once: w = 1 - |x| in double (exact down to the least float
// w, 2^-24) picks a quarter-binade row of its own table. LA and HA share the
// degree-5 rows about 1.0625; EP has degree 2 about 1.03125. A tiny x takes
// row 0 (w = 1), so only |x| >= 1 and NaN go to the scalar routine.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/erfinv/erfinv_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::erfinv;

QOR_ERFINV_TABLE(TabLAHA, erfinv_tables::kErfInvS, false, 1.0625)
QOR_ERFINV_TABLE(TabEP, erfinv_tables::kErfInvSEP, false, 1.03125)

template <class Tab> struct Core {
  static vd2 run(vd2 x) {
    const vd2 ax = as<vd2>(as<vq2>(x) & 0x7fffffffffffffffull);
    return evaluate<Tab>(1.0 - ax, x, high_word_outside(ax, 0, 0x3ff00000));
  }
};

// NaN: x + x; +-Inf and |x| > 1: NaN, 1; +-1: +-Inf, 2.
template <class Tab> int serfinv_scalar(const float *a, float *r) {
  const float x = *a, ax = fabsf(x);
  if (isnan(x)) return *r = x + x, 0;
  if (ax > 1) return *r = nan_of_domain<float>(), 1;
  if (ax == 1) return *r = pole<float>(x < 0), 2;
  *r = (float)evaluate1<Tab>(1.0 - (double)ax, x);
  return 0;
}

template <class Tab> struct SErfInv {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsErfInv";
  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = (as<vi4>(x) & 0x7fffffff) >= 0x3f800000;  // |x| >= 1 or NaN
    return on_halves<Core<Tab>>(x);
  }
  static int scalar(const float *a, float *r) { return serfinv_scalar<Tab>(a, r); }
};
using SErfInvLA = SErfInv<TabLAHA>;
struct SErfInvHA : SErfInv<TabLAHA> {};
using SErfInvEP = SErfInv<TabEP>;

QOR_ACCURACY(sErfInv, LA, ULP, 4.0)
QOR_ACCURACY(sErfInv, HA, ULP, 1.0)
QOR_ACCURACY(sErfInv, EP, BITS, 11)
QOR_INTERVAL(sErfInv, -1.0, 1.0, 300000)
QOR_INTERVAL_LOG(sErfInv, 1.4e-45, 1e-3, 10000)  // denormal and tiny results
QOR_INTERVAL_LOG(sErfInv, 1e-3, 0.999, 10000)
QOR_INTERVAL(sErfInv, 0.999, 1.0, 10000)          // the tail, w down to 2^-24
QOR_INTERVAL(sErfInv, -1.0, -0.99999, 10000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sErfInv, LA, qor::kernels::SErfInvLA, StandardEnv)
QOR_UNARY_KERNELS(sErfInv, HA, qor::kernels::SErfInvHA, StandardEnv)
QOR_UNARY_KERNELS(sErfInv, EP, qor::kernels::SErfInvEP, StandardEnv)
