// dTand, tan(x degrees), in three tiers, all on the degree tangent table.
// The exponent of a huge |x| is folded (mod 12), the remainder modulo 360
// and then modulo 0.703125 degrees (pi/256) picks row k mod 256, and
// tan = A/(B - r pi/180) + c0 + c1 r + ... in r degrees. HA carries the pole
// term and its reciprocal as pairs and sums the leading terms exactly; LA
// and EP divide once and evaluate in double, EP stopping at r^5. At a pole (B - r = 0, A = 1) the result
// is +-Inf by the half turn of the remainder (bit 8 of k), with no status; a
// zero result has the sign of x. Below 2^-964 the scalar routine gives the
// product with pi/180 scaled, rounded once.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/trig/dpideg_common.h"
#include "vector/kernels/trig/dpideg_tables.inc"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::pideg;

// Tier: 0 LA, 1 HA, 2 EP.
template <int Tier> struct DTand {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = Tier == 1 ? 4 : 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdTand";
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = abs(x);
    bad = tiny_or_non_finite(a, 6.4133387520287129e-291);
    vq2 k;
    const vd2 r = reduce_degrees(fold_exponent(a), k);
    uint32_t k0, k1;
    low_words(k, k0, k1);
    TanRow w;
    gather_tan(pideg_tables::kTandRows, k0 & 255, k1 & 255, w);
    vl2 pole;
    vd2 v;
    if constexpr (Tier == 1) {
      vd2 rr, rr_lo;
      times_pair(r, kDegree, kDegreeHi, kDegreeLo, rr, rr_lo);
      v = tan_rows_ha(w, r, vd2{}, rr, rr_lo, pole);
    } else {
      const vd2 d = (w.v[kBHi] - r * kDegree) + w.v[kBLo];
      const vd2 y = w.v[kA] / d;
      vd2 p;
      if constexpr (Tier == 0)
        p = w.v[kC2] + r * (w.v[kC2 + 1] + r * (w.v[kC2 + 2] + r * (w.v[kC2 + 3] + r * (w.v[kC2 + 4] + r * w.v[kC2 + 5]))));
      else
        p = w.v[kC2] + r * (w.v[kC2 + 1] + r * (w.v[kC2 + 2] + r * w.v[kC2 + 3]));
      v = y + (w.v[kC0Hi] + r * (w.v[kC1Hi] + r * p));
      pole = as<vl2>(d == 0.0) & as<vl2>(w.v[kA] != 0.0);
    }
    v = pole_select(v, pole, (k << 55) & kSignBit);
    return xor_bits(v, sign_of(x));
  }
  static int scalar(const double *x, double *r) { return degrees_tiny_scalar(*x, r); }
};

QOR_ACCURACY(dTand, LA, ULP, 4.0)
QOR_ACCURACY(dTand, HA, ULP, 1.0)
QOR_ACCURACY(dTand, EP, BITS, 26)
QOR_INTERVAL_LOG(dTand, 4.9406564584124654e-324, 1.7976931348623157e308, 400000)  // every binade
QOR_INTERVAL(dTand, -720.0, 720.0, 200000)
QOR_INTERVAL(dTand, 89.9999, 90.0001, 20000)           // a pole
QOR_INTERVAL(dTand, 44.9999, 45.0001, 20000)           // where the pole term starts
QOR_INTERVAL(dTand, 1.0e-292, 1.0e-289, 20000)         // the tiny threshold
QOR_INTERVAL(dTand, 1.475739525896e20, 1.475739525897e20, 20000)  // 2^67, the folding
QOR_INTERVAL_LOG(dTand, 1.0e15, 1.0e25, 100000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dTand, LA, qor::kernels::DTand<0>, StandardEnv)
QOR_UNARY_KERNELS(dTand, HA, qor::kernels::DTand<1>, StandardEnv)
QOR_UNARY_KERNELS(dTand, EP, qor::kernels::DTand<2>, StandardEnv)
