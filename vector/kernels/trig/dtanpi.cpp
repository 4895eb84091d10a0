// dTanpi, tan(pi x), in three tiers, on the remainder of |x| modulo 256.
// LA and EP: a rounded to a multiple of 1/2 (N/2), r = a - N/2 in
// [-1/4, 1/4], and a rational function in r with pi folded in; an odd N
// swaps numerator and denominator and flips the sign. HA: a rounded to a
// multiple of 2^-8 picks a row of the 256-row tangent table, with the pole
// term and r pi as a pair. A zero result has the sign of x; a pole is +Inf
// in the first half turn of the period 2 and -Inf in the second, times the
// sign of x: tanpi(0.5) = +Inf, tanpi(1.5) = -Inf. |x| below 2^-53 takes
// the scalar routine (pi x rounded once).
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/trig/dpideg_common.h"
#include "vector/kernels/trig/dpideg_tables.inc"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::pideg;

struct DTanpiBase {
  using T = double;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdTanpi";
  static int scalar(const double *x, double *r) { return pi_tiny_scalar(*x, r); }
};

// Where `at` is set the result takes the sign `s`.
inline vd2 sign_at(vd2 v, vl2 at, vq2 s) {
  const vq2 m = as<vq2>(at) & kSignBit;
  return as<vd2>((as<vq2>(v) & ~m) | (s & m));
}

template <class Rational> struct DTanpiRational : DTanpiBase {
  static constexpr int kBlock = 8;
  static vd2 lanes(vd2 x, vl2 &bad) {
    constexpr double kHalves = 3377699720527872.0;  // 1.5 * 2^51: rounds to a multiple of 1/2
    const vd2 a = abs(x);
    bad = tiny_or_non_finite(a, 0x1p-53);
    const vd2 b = mod256(a);
    const vd2 t = b + kHalves;
    const vd2 r = b - (t - kHalves);
    const vq2 tb = as<vq2>(t);
    const vl2 odd = as<vl2>(__builtin_shuffle(as<vi4>(tb << 63) >> 31, vi4{1, 1, 3, 3}));
    vd2 num, den;
    Rational::eval(r, num, den);
    vd2 v = select(odd, den, num) / select(odd, num, den);
    v = xor_bits(v, as<vq2>(odd) & kSignBit);
    v = sign_at(v, as<vl2>(r == 0.0), (tb << 62) & as<vq2>(odd) & kSignBit);
    return xor_bits(v, sign_of(x));
  }
};

struct LARational {
  static void eval(vd2 r, vd2 &num, vd2 &den) {
    const vd2 z = r * r;
    num = kPi * r + r * z * (-4.1364176824468704 + z * (1.0489121066453733 + z * -0.054084892216858978));
    den = 1.0 + z * (-4.6065307754047353 +
                     z * (2.5008790936455489 + z * (-0.30021093319918968 + z * 0.0047478617374690354)));
  }
};
struct EPRational {
  static void eval(vd2 r, vd2 &num, vd2 &den) {
    const vd2 z = r * r;
    num = 3.1415926540626216 * r + r * z * (-3.4563676869445228 + z * 0.33138764124750075);
    den = 1.0 + z * (-4.3900640637338109 + z * 1.5603310701145856);
  }
};
using DTanpiLA = DTanpiRational<LARational>;
using DTanpiEP = DTanpiRational<EPRational>;

struct DTanpiHA : DTanpiBase {
  static constexpr int kBlock = 4;
  static vd2 lanes(vd2 x, vl2 &bad) {
    constexpr double kGrid = 26388279066624.0;  // 3 * 2^43: rounds to a multiple of 2^-8
    const vd2 a = abs(x);
    bad = tiny_or_non_finite(a, 0x1p-53);
    const vd2 b = mod256(a);
    const vd2 t = b + kGrid;
    vd2 r, r_lo;
    times_pair(b - (t - kGrid), kPi, kPiHi, kPiLo, r, r_lo);
    uint32_t k0, k1;
    low_words(as<vq2>(t), k0, k1);
    TanRow w;
    gather_tan(pideg_tables::kTanRows, k0 & 255, k1 & 255, w);
    vl2 pole;
    vd2 v = tan_rows_ha(w, r, r_lo, r, r_lo, pole);
    const vq2 s = (as<vq2>(t) << 55) & kSignBit;  // bit 8 of the row count: the second half turn
    v = pole_select(v, pole, s);
    return xor_bits(v, sign_of(x));
  }
};

QOR_ACCURACY(dTanpi, LA, ULP, 4.0)
QOR_ACCURACY(dTanpi, HA, ULP, 1.0)
QOR_ACCURACY(dTanpi, EP, BITS, 26)
QOR_INTERVAL_LOG(dTanpi, 4.9406564584124654e-324, 1.7976931348623157e308, 400000)  // every binade
QOR_INTERVAL(dTanpi, -2.0, 2.0, 200000)
QOR_INTERVAL(dTanpi, 0.4999, 0.5001, 20000)            // a pole
QOR_INTERVAL(dTanpi, 0.2499, 0.2501, 20000)            // the seam of the rational forms
QOR_INTERVAL(dTanpi, 0.9999, 1.0001, 20000)            // a zero
QOR_INTERVAL(dTanpi, 1.0e-17, 2.0e-16, 20000)          // around the tiny threshold 2^-53
QOR_INTERVAL(dTanpi, 562949953421000.0, 562949953422000.0, 20000)      // 2^49
QOR_INTERVAL(dTanpi, 5.76460752303e17, 5.76460752304e17, 20000)        // 2^59
QOR_INTERVAL(dTanpi, -1.0e6, 1.0e6, 100000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dTanpi, LA, qor::kernels::DTanpiLA, StandardEnv)
QOR_UNARY_KERNELS(dTanpi, HA, qor::kernels::DTanpiHA, StandardEnv)
QOR_UNARY_KERNELS(dTanpi, EP, qor::kernels::DTanpiEP, StandardEnv)
