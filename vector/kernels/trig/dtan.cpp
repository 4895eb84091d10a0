// dTan in three tiers. LA and EP: N = rint(|x| 2/pi), pi/2 in three parts,
// a rational approximation num/den in r with one true division; an odd N
// swaps num and den and the sign is the parity of N with the sign of x. HA:
// N = rint(|x| 256/pi) as for the sine, a 256-row tangent table, the pole
// term A/(B - r) plus a degree-7 polynomial. Lanes beyond the fast path are
// reduced two at a time by the two-over-pi window in every tier.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/trig/dtrig_common.h"
#include "vector/kernels/trig/dtrig_large.h"
#include "vector/kernels/trig/dtrig_tan.inc"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::dtrig;

constexpr double kTwoOverPi = 0.63661977236758138;

// tan |x| for the lanes beyond the fast path: row k mod 256 (period pi),
// evaluated in double-double for HA, in double for LA and EP.
template <bool kShort> inline vd2 tan_large(vd2 a) {
  vq2 k;
  vd2 r_lo;
  const vd2 r = reduce_large(a, k, r_lo);
  if constexpr (kShort) return eval_tan_row_short(dtrig_tables::kTanTable, k & 255, r, r_lo);
  return eval_tan_row(dtrig_tables::kTanTable, k & 255, r, r_lo);
}

// LA and EP: the rational function of the tier on r, swapped for odd N.
template <bool kEP> struct DTanFast {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = kEP ? 16 : 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdTan";
  static vd2 fast(vd2 a) {
    vq2 nb;
    const vd2 n = round_shift(a * kTwoOverPi, nb);
    vd2 num, den;
    if constexpr (kEP) {
      const vd2 r = ((a - n * 1.5707962512969971) - n * 7.5497894158615964e-08) - n * 5.390302858158119e-15;
      const vd2 z = r * r;
      num = r * (1.1559034178886809 - 0.12872306814578047 * z + 0.0012427749419586368 * z * z);
      den = 1.1559034178631502 - 0.51402420551256156 * z + 0.018463698006558116 * z * z;
    } else {
      const vd2 r = ((a - n * 1.5707963267923333) - n * 2.5633441515839558e-12) - n * 1.0562999066987428e-23;
      const vd2 z = r * r;
      num = r + r * z * ((-7.4836345641659391e-06 * z + 0.0028059181997214249) * z - 0.12828347003747023);
      den = 1.0 + z * (((-0.00020844803827304198 * z + 0.023344852656587221) * z) - 0.46161680337080113);
    }
    const vl2 odd = as<vl2>(nb << 63) >> 63;
    vd2 y = bxor(select(odd, den, num) / select(odd, num, den), parity_sign(nb));
    // EP's leading coefficients differ by 2^-35: below 2^-27, where tan x = x
    // to the ulp, x itself keeps denormal results exact.
    if constexpr (kEP) y = select(lt(a, 0x1p-27), a, y);
    return y;
  }
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = vabs(x);
    return bxor(fast_or_large(~le(a, 128000.0), a, bad, [&] { return fast(a); }, [&] { return tan_large<true>(a); }),
                sign_of(x));
  }
  static int scalar(const double *a, double *r) { return non_finite_scalar<DTanFast>(a, r); }
};

struct DTanHA {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdTan";
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = vabs(x);
    auto fast = [&] {
      vq2 nb;
      vd2 r_lo;
      const vd2 r = ReduceHA::run(a, nb, r_lo);
      return eval_tan_row(dtrig_tables::kTanTable, nb & 255, r, r_lo);
    };
    return bxor(fast_or_large(~le(a, ReduceHA::kThreshold), a, bad, fast, [&] { return tan_large<false>(a); }), sign_of(x));
  }
  static int scalar(const double *a, double *r) { return non_finite_scalar<DTanHA>(a, r); }
};

QOR_ACCURACY(dTan, LA, ULP, 4.0)
QOR_ACCURACY(dTan, HA, ULP, 1.0)
QOR_ACCURACY(dTan, EP, BITS, 26)
QOR_INTERVAL_LOG(dTan, 4.9406564584124654e-324, 1.7976931348623157e308, 400000)  // every binade
QOR_INTERVAL(dTan, -10.0, 10.0, 200000)
QOR_INTERVAL(dTan, 1.5607963267948966, 1.5807963267948966, 5000)  // the pole at pi/2
QOR_INTERVAL(dTan, 127990.0, 128010.0, 5000)                      // LA and EP threshold
QOR_INTERVAL(dTan, 65535.9, 65536.1, 5000)                        // HA threshold
QOR_INTERVAL(dTan, 1.0e20, 1.0e300, 20000)                         // huge arguments

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dTan, LA, qor::kernels::DTanFast<false>, StandardEnv)
QOR_UNARY_KERNELS(dTan, HA, qor::kernels::DTanHA, StandardEnv)
QOR_UNARY_KERNELS(dTan, EP, qor::kernels::DTanFast<true>, StandardEnv)
