// dSind, sin(x degrees), in three tiers. LA and EP: N = rint(a/180),
// r = a - 180 N exactly, the sign (-1)^N; LA evaluates a polynomial in
// degrees (exactly +-1 near 90 by a mask), EP the sine polynomial of degree 9
// on r pi/180. Above 2^26 the scalar routine reduces modulo 360 exactly. HA:
// the exponent of a huge |x| is folded (mod 12), the remainder modulo 360
// and then modulo 0.703125 degrees (pi/256) picks a row of the sine table,
// and r pi/180 is carried as a pair; below 2^-964 the scalar routine gives
// the product with pi/180 scaled. sind(180 n) is a zero of the sign of x.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/trig/dpideg_common.h"
#include "vector/kernels/trig/dpideg_tables.inc"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::pideg;

template <bool LA> struct DSindPoly {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdSind";

  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = abs(x);
    bad = above(a, 67108864.0);  // 2^26: the scalar routine reduces modulo 360 exactly
    const vd2 t = a * 0.0055555555555555558 + kShifter;
    const vd2 r = xor_bits(a - (t - kShifter) * 180.0, parity_sign(t));  // exact, |r| <= 90
    vd2 v;
    if constexpr (LA) v = sind_poly_la(r, as<vl2>(abs(r) > 89.999999146226344));
    else v = sin_poly_ep(r * kDegree);
    return xor_bits(v + 0.0, sign_of(x));
  }
  static int scalar(const double *x, double *r) { return degrees_scalar<DSindPoly>(*x, true, r); }
};
using DSindLA = DSindPoly<true>;
using DSindEP = DSindPoly<false>;

struct DSindHA {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 4;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdSind";

  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = abs(x);
    bad = tiny_or_non_finite(a, 6.4133387520287129e-291);  // tiny: the scaled product, rounded once
    vq2 k;
    const vd2 rd = reduce_degrees(fold_exponent(a), k);
    vd2 r, r_lo, c_lo, c_hi, s_hi, s_lo;
    times_pair(rd, kDegree, kDegreeHi, kDegreeLo, r, r_lo);
    uint32_t k0, k1;
    low_words(k, k0, k1);
    gather4(pideg_tables::kSinRows, k0 & 511, k1 & 511, c_lo, c_hi, s_hi, s_lo);
    return xor_bits(sin_rows(r, r_lo, c_lo, c_hi, s_hi, s_lo) + 0.0, sign_of(x));
  }
  static int scalar(const double *x, double *r) { return degrees_tiny_scalar(*x, r); }
};

QOR_ACCURACY(dSind, LA, ULP, 4.0)
QOR_ACCURACY(dSind, HA, ULP, 1.0)
QOR_ACCURACY(dSind, EP, BITS, 26)
QOR_INTERVAL_LOG(dSind, 4.9406564584124654e-324, 1.7976931348623157e308, 400000)  // every binade
QOR_INTERVAL(dSind, -720.0, 720.0, 200000)
QOR_INTERVAL(dSind, 89.9999, 90.0001, 20000)           // the exact one
QOR_INTERVAL(dSind, 179.999, 180.001, 20000)           // a zero
QOR_INTERVAL(dSind, 67108000.0, 67109000.0, 20000)     // 2^26
QOR_INTERVAL(dSind, 1.475739525896e20, 1.475739525897e20, 20000)  // 2^67, the folding
QOR_INTERVAL_LOG(dSind, 1.0e15, 1.0e25, 100000)       // the exact remainders

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dSind, LA, qor::kernels::DSindLA, StandardEnv)
QOR_UNARY_KERNELS(dSind, HA, qor::kernels::DSindHA, StandardEnv)
QOR_UNARY_KERNELS(dSind, EP, qor::kernels::DSindEP, StandardEnv)
