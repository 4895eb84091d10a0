// dAtanh in three tiers: atanh a = ln(1 + u)/2 with u = 2a/(1 - a) for
// a = |x| below 1, over the reduction of dLog1p; below 2^-9 the series
// a + a^3/3 + a^5/5. HA carries u as the quotient and its exact residual's
// correction, LA the quotient alone, EP as LA with the shorter sum.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/hyp/hyp_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::exact;

// |x| = 1: the signed infinity (2); |x| above 1 or infinite: NaN (1); NaN quieted.
int datanh_scalar(const double *a, double *r) {
  const double x = *a;
  if (x != x) return *r = x + x, 0;
  volatile double zero = 0.0;
  if (__builtin_fabs(x) == 1.0) {
    *r = x / zero;
    return 2;
  }
  *r = zero / zero;
  return 1;
}

enum Tier { kLA, kHA, kEP };

template <Tier kTier> struct DAtanh {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdAtanh";

  static vd2 lanes(vd2 x, vl2 &bad) {
    const vq2 sign = as<vq2>(x) & 0x8000000000000000ull;
    vd2 a = as<vd2>(as<vq2>(x) ^ sign);
    bad = as<vl2>(~(a < 1.0));
    a = select(bad, vd2{}, a);
    vd2 dh, dl;
    two_sum(vd2{1.0, 1.0}, -a, dh, dl);  // 1 - a = dh + dl
    const vd2 q = (a + a) / dh;
    vd2 v;
    if (kTier == kHA) {
      vd2 p, pe;
      two_product(q, dh, p, pe);
      const vd2 ql = (((a + a) - p) - pe - q * dl) / dh;  // 2a/(1 - a) = q + ql
      v = 0.5 * hyp::log1p_two_ha(q, ql);
    } else {
      v = 0.5 * hyp::log1p_two_la(q, -q * dl / dh);
    }
    const vd2 s = a * a;
    const vd2 series = a + a * s * (0.33333333333333331 + s * 0.20000000000000001);
    return as<vd2>(as<vq2>(select(a < 0.001953125, series, v)) | sign);
  }
  static int scalar(const double *a, double *r) { return datanh_scalar(a, r); }
};

QOR_ACCURACY(dAtanh, LA, ULP, 4.0)
QOR_ACCURACY(dAtanh, HA, ULP, 1.0)
QOR_ACCURACY(dAtanh, EP, BITS, 26)
QOR_INTERVAL(dAtanh, -1.0, 1.0, 500000)
QOR_INTERVAL_LOG(dAtanh, 4.9e-324, 1.0, 300000)
QOR_INTERVAL(dAtanh, 0.999, 1.0, 100000)
QOR_INTERVAL(dAtanh, 0.0019, 0.0020, 20000)
QOR_INTERVAL(dAtanh, -3.0, 3.0, 20000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dAtanh, LA, qor::kernels::DAtanh<qor::kernels::kLA>, StandardEnv)
QOR_UNARY_KERNELS(dAtanh, HA, qor::kernels::DAtanh<qor::kernels::kHA>, StandardEnv)
QOR_UNARY_KERNELS(dAtanh, EP, qor::kernels::DAtanh<qor::kernels::kEP>, StandardEnv)
