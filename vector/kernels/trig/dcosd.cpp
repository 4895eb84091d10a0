// dCosd, cos(x degrees), in three tiers. LA: N = rint(a/180),
// r = |a - 180 N|, the polynomial of Sind on 90 - r with the sign (-1)^N
// (exactly +-1 for r up to 8.5e-7 by a mask). EP: N = rint(a/180 + 1/2),
// r = a - 180 N + 90, the sine polynomial of degree 9 on r pi/180. Above 2^52
// the scalar routine reduces modulo 360 exactly. HA: as Sind HA on the row a
// quarter turn on. Zeros are +0.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/trig/dpideg_common.h"
#include "vector/kernels/trig/dpideg_tables.inc"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::pideg;

struct DCosdBase {
  using T = double;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdCosd";
};

struct DCosdLA : DCosdBase {
  static constexpr int kBlock = 8;
  static int scalar(const double *x, double *r) { return degrees_scalar<DCosdLA>(*x, false, r); }
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = abs(x);
    bad = above(a, 4503599627370496.0);  // 2^52
    const vd2 t = a * 0.0055555555555555558 + kShifter;
    const vd2 r = abs(a - (t - kShifter) * 180.0);  // exact, in [0, 90]
    const vd2 v = sind_poly_la(xor_bits(90.0 - r, parity_sign(t)), as<vl2>(r <= 8.5377364625159377e-07));
    return v + 0.0;
  }
};

struct DCosdEP : DCosdBase {
  static constexpr int kBlock = 8;
  static int scalar(const double *x, double *r) { return degrees_scalar<DCosdEP>(*x, false, r); }
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = abs(x);
    bad = above(a, 4503599627370496.0);  // 2^52
    const vd2 t = (a * 0.0055555555555555558 + 0.5) + kShifter;
    const vd2 r = (a - (t - kShifter) * 180.0) + 90.0;
    return sin_poly_ep(xor_bits(r * kDegree, parity_sign(t))) + 0.0;
  }
};

struct DCosdHA : DCosdBase {
  static constexpr int kBlock = 4;
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = abs(x);
    bad = above(a, 1.7976931348623157e308);
    vq2 k;
    const vd2 rd = reduce_degrees(fold_exponent(a), k);
    vd2 r, r_lo, c_lo, c_hi, s_hi, s_lo;
    times_pair(rd, kDegree, kDegreeHi, kDegreeLo, r, r_lo);
    uint32_t k0, k1;
    low_words(k, k0, k1);
    gather4(pideg_tables::kSinRows, (k0 + 128) & 511, (k1 + 128) & 511, c_lo, c_hi, s_hi, s_lo);
    return sin_rows(r, r_lo, c_lo, c_hi, s_hi, s_lo) + 0.0;
  }
  static int scalar(const double *x, double *r) { return non_finite_scalar(*x, r); }
};

QOR_ACCURACY(dCosd, LA, ULP, 4.0)
QOR_ACCURACY(dCosd, HA, ULP, 1.0)
QOR_ACCURACY(dCosd, EP, BITS, 26)
QOR_INTERVAL_LOG(dCosd, 4.9406564584124654e-324, 1.7976931348623157e308, 400000)  // every binade
QOR_INTERVAL(dCosd, -720.0, 720.0, 200000)
QOR_INTERVAL(dCosd, 89.9999, 90.0001, 20000)           // a zero
QOR_INTERVAL(dCosd, 269.9999, 270.0001, 20000)         // a zero
QOR_INTERVAL(dCosd, -2.0e-6, 2.0e-6, 20000)            // the exact one
QOR_INTERVAL(dCosd, 4503599627370000.0, 4503599627371000.0, 20000)  // 2^52
QOR_INTERVAL(dCosd, 1.475739525896e20, 1.475739525897e20, 20000)    // 2^67, the folding
QOR_INTERVAL_LOG(dCosd, 1.0e15, 1.0e25, 100000)       // the exact remainders

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dCosd, LA, qor::kernels::DCosdLA, StandardEnv)
QOR_UNARY_KERNELS(dCosd, HA, qor::kernels::DCosdHA, StandardEnv)
QOR_UNARY_KERNELS(dCosd, EP, qor::kernels::DCosdEP, StandardEnv)
