// dCospi, cos(pi x), in three tiers, on the remainder of |x| modulo 256.
// LA: N = rint(a + 1/2), r = a - (N - 1/2) with the sign (-1)^N, and
// cos(pi a) = pi r + r z P(z) directly in r. EP: the same N, then r pi and the
// sine polynomial of degree 9. HA: the sine table's row of a rounded to a
// multiple of 2^-8, a quarter turn on (row + 128). Zeros are +0.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/trig/dpideg_common.h"
#include "vector/kernels/trig/dpideg_tables.inc"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::pideg;

struct DCospiBase {
  using T = double;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdCospi";
  static int scalar(const double *x, double *r) { return non_finite_scalar(*x, r); }
  // r = a - (N - 1/2), N = rint(a + 1/2), with the sign (-1)^N.
  static vd2 half_odd(vd2 x, vl2 &bad) {
    const vd2 a = abs(x);
    bad = above(a, 1.7976931348623157e308);
    const vd2 b = mod256(a);
    const vd2 t = (b + 0.5) + kShifter;
    return xor_bits(b - ((t - kShifter) - 0.5), parity_sign(t));
  }
};

struct DCospiLA : DCospiBase {
  static constexpr int kBlock = 8;
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 r = half_odd(x, bad);
    const vd2 z = r * r;
    const vd2 p =
        -5.1677127800499694 +
        z * (2.5501640398773007 +
             z * (-0.59926452931894736 +
                  z * (0.0821458865731442 +
                       z * (-0.007370430506269416 +
                            z * (0.00046629981785601993 + z * (-2.1903501175879917e-05 + z * 7.697867779764488e-07))))));
    return (kPi * r + r * z * p) + 0.0;
  }
};

struct DCospiEP : DCospiBase {
  static constexpr int kBlock = 8;
  static vd2 lanes(vd2 x, vl2 &bad) { return sin_poly_ep(half_odd(x, bad) * kPi) + 0.0; }
};

struct DCospiHA : DCospiBase {
  static constexpr int kBlock = 4;
  static vd2 lanes(vd2 x, vl2 &bad) {
    constexpr double kGrid = 26388279066624.0;  // 3 * 2^43: rounds to a multiple of 2^-8
    const vd2 a = abs(x);
    bad = above(a, 1.7976931348623157e308);
    const vd2 b = mod256(a);
    const vd2 t = b + kGrid;
    vd2 r, r_lo, c_lo, c_hi, s_hi, s_lo;
    times_pair(b - (t - kGrid), kPi, kPiHi, kPiLo, r, r_lo);
    uint32_t k0, k1;
    low_words(as<vq2>(t), k0, k1);
    gather4(pideg_tables::kSinRows, (k0 + 128) & 511, (k1 + 128) & 511, c_lo, c_hi, s_hi, s_lo);
    return sin_rows(r, r_lo, c_lo, c_hi, s_hi, s_lo) + 0.0;
  }
};

QOR_ACCURACY(dCospi, LA, ULP, 4.0)
QOR_ACCURACY(dCospi, HA, ULP, 1.0)
QOR_ACCURACY(dCospi, EP, BITS, 26)
QOR_INTERVAL_LOG(dCospi, 4.9406564584124654e-324, 1.7976931348623157e308, 400000)  // every binade
QOR_INTERVAL(dCospi, -4.0, 4.0, 200000)
QOR_INTERVAL(dCospi, 0.4999, 0.5001, 20000)            // a zero
QOR_INTERVAL(dCospi, 1.4999, 1.5001, 20000)            // a zero
QOR_INTERVAL(dCospi, 8796093022000.0, 8796093023000.0, 20000)          // 2^43
QOR_INTERVAL(dCospi, 5.76460752303e17, 5.76460752304e17, 20000)        // 2^59
QOR_INTERVAL(dCospi, -1.0e6, 1.0e6, 100000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dCospi, LA, qor::kernels::DCospiLA, StandardEnv)
QOR_UNARY_KERNELS(dCospi, HA, qor::kernels::DCospiHA, StandardEnv)
QOR_UNARY_KERNELS(dCospi, EP, qor::kernels::DCospiEP, StandardEnv)
