// dTand, tan(x degrees), in three tiers. The exponent of a huge |x| is
// folded (mod 12) and the remainder modulo 360 taken. HA: the remainder
// modulo 0.703125 degrees (pi/256) picks row k mod 256 of the degree tangent
// table, tan = A/(B - r pi/180) + c0 + c1 r + ... in r degrees, with the pole
// term and its reciprocal carried as pairs and the leading terms summed
// exactly; at a pole (B - r = 0, A = 1) the result is +-Inf by the half turn
// of the remainder (bit 8 of k). LA and EP: the nearest multiple of 90
// degrees and a rational function in r pi/180 (no table, no gathers: about
// half the time of the table form). No status at a pole; a zero result has
// the sign of x. Below 2^-964 the scalar routine gives the product with
// pi/180 scaled, rounded once.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/trig/dpideg_common.h"
#include "vector/kernels/trig/dpideg_tables.inc"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::pideg;

struct DTandBase {
  using T = double;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdTand";
  static int scalar(const double *x, double *r) { return degrees_tiny_scalar(*x, r); }
};

// HA: the degree tangent table, the pole term and its reciprocal as pairs.
struct DTandHA : DTandBase {
  static constexpr int kBlock = 4;
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = abs(x);
    bad = tiny_or_non_finite(a, 6.4133387520287129e-291);
    vq2 k;
    const vd2 r = reduce_degrees(fold_exponent(a), k);
    uint32_t k0, k1;
    low_words(k, k0, k1);
    TanRow w;
    gather_tan(pideg_tables::kTandRows, k0 & 255, k1 & 255, w);
    vd2 rr, rr_lo;
    times_pair(r, kDegree, kDegreeHi, kDegreeLo, rr, rr_lo);
    vl2 pole;
    vd2 v = tan_rows_ha(w, r, vd2{}, rr, rr_lo, pole);
    v = pole_select(v, pole, (k << 55) & kSignBit);  // bit 8 of k: the second half turn
    return xor_bits(v, sign_of(x));
  }
};

// LA and EP: the same folding and remainder modulo 360, then the nearest
// multiple q of 90 degrees, r = t - 90 q exactly, and the rational forms of
// dTan LA and EP in r pi/180 (|r| <= 45 degrees); odd q swaps numerator and
// denominator and flips the sign. A pole (odd q, r = 0) is +Inf for q = 1
// mod 4 and -Inf for q = 3 mod 4.
template <class Rational> struct DTandRational : DTandBase {
  static constexpr int kBlock = 8;
  static vd2 lanes(vd2 x, vl2 &bad) {
    constexpr double kShift63 = 2.7670116110564327e+19;  // 3 * 2^63
    const vd2 a = abs(x);
    bad = tiny_or_non_finite(a, 6.4133387520287129e-291);
    const vd2 f = fold_exponent(a);
    const vd2 t = f - ((f * 0.0027777777777777779 + kShift63) - kShift63) * 360.0;
    const vd2 s = t * 0.011111111111111112 + kShifter;
    const vd2 r = t - (s - kShifter) * 90.0;  // exact, |r| <= 45 (and a hair)
    const vq2 qb = as<vq2>(s);
    const vl2 odd = as<vl2>(__builtin_shuffle(as<vi4>(qb << 63) >> 31, vi4{1, 1, 3, 3}));
    vd2 num, den;
    Rational::eval(r * kDegree, num, den);
    vd2 v = select(odd, den, num) / select(odd, num, den);
    v = xor_bits(v, as<vq2>(odd) & kSignBit);
    const vq2 at_pole = as<vq2>(as<vl2>(r == 0.0) & odd) & kSignBit;
    v = as<vd2>((as<vq2>(v) & ~at_pole) | ((qb << 62) & at_pole));
    return xor_bits(v, sign_of(x));
  }
};

struct LARational {  // degree 7 over 6
  static void eval(vd2 r, vd2 &num, vd2 &den) {
    const vd2 z = r * r;
    num = r + r * z * ((-7.4836345641659391e-06 * z + 0.0028059181997214249) * z - 0.12828347003747023);
    den = 1.0 + z * (((-0.00020844803827304198 * z + 0.023344852656587221) * z) - 0.46161680337080113);
  }
};
struct EPRational {  // degree 5 over 4
  static void eval(vd2 r, vd2 &num, vd2 &den) {
    const vd2 z = r * r;
    num = r * (1.1559034178886809 - 0.12872306814578047 * z + 0.0012427749419586368 * z * z);
    den = 1.1559034178631502 - 0.51402420551256156 * z + 0.018463698006558116 * z * z;
  }
};
using DTandLA = DTandRational<LARational>;
using DTandEP = DTandRational<EPRational>;

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
QOR_UNARY_KERNELS(dTand, LA, qor::kernels::DTandLA, StandardEnv)
QOR_UNARY_KERNELS(dTand, HA, qor::kernels::DTandHA, StandardEnv)
QOR_UNARY_KERNELS(dTand, EP, qor::kernels::DTandEP, StandardEnv)
