// dCos in three tiers. LA and EP work on t = pi/2 - |x|: N = rint(t/pi),
// m = 0.5 - N, r = m pi - |x| with pi in four (LA) or three (EP) parts, and
// the sine polynomial of the tier; cos x = (-1)^N sin r. A lane where t
// rounds to pi/2 itself (|x| too small to change it) gives 1.0. HA: the sine
// evaluation on the cosine table. LA and HA reduce lanes beyond the fast
// path by the two-over-pi window; EP calls its scalar routine.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/trig/dtrig_common.h"
#include "vector/kernels/trig/dtrig_ep.h"
#include "vector/kernels/trig/dtrig_large.h"
#include "vector/kernels/trig/dtrig_sine.inc"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::dtrig;

constexpr double kHalfPi = 1.5707963267948966;

struct DCosLA {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdCos";
  static vd2 fast(vd2 a, vd2 t) {
    vq2 nb;
    const vd2 n = round_shift(t * kInvPi, nb);
    const vd2 m = 0.5 - n;
    vd2 r = (((m * kP1 - a) + m * kP2) + m * kP3) + m * kP4;
    r = bxor(r, parity_sign(nb));
    const vd2 z = r * r;
    // c4..c7 by pairs, c3..c1 by Horner: a shorter dependency chain, with the
    // low-order terms rounded as in Horner's scheme.
    const vd2 z2 = z * z;
    const vd2 q = (2.755731658449074e-06 + z * -2.5051879126742989e-08) +
                  z2 * (1.6048055576979365e-10 + z * -7.3728090972650701e-13);
    const vd2 p = -0.16666666666666183 + z * (0.0083333333332851894 + z * (-0.00019841269824944275 + z * q));
    return select(bits::eq(t, kHalfPi), vd2{} + 1.0, r + (z * p) * r);
  }
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = vabs(x), t = kHalfPi - a;
    return fast_or_large(~le(vabs(t), 8388608.0), a, bad, [&] { return fast(a, t); }, [&] { return large_row(dtrig_tables::kCosineTable, a); });
  }
  static int scalar(const double *a, double *r) { return non_finite_scalar<DCosLA>(a, r); }
};

struct DCosHA {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdCos";
  static vd2 lanes(vd2 x, vl2 &bad) { return table_ha_lanes<dtrig_tables::kCosineTable, false>(x, bad); }
  static int scalar(const double *a, double *r) { return non_finite_scalar<DCosHA>(a, r); }
};

struct DCosEP {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdCos";
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = vabs(x);
    const vd2 t = kHalfPi - a;
    vq2 nb;
    const vd2 n = round_shift(t * kInvPi, nb);
    const vd2 m = 0.5 - n;
    vd2 r = ((m * kP1 - a) + m * kP2) + m * f64(0x3D08469898CC5170);
    r = bxor(r, parity_sign(nb));
    const vd2 z = r * r;
    const vd2 p = -0.16666658839437162 +
                  z * (0.0083330466452487071 + z * (-0.00019808085361787081 + z * 2.6022725384193179e-06));
    bad = ~le(vabs(t), 8388608.0);
    return select(bits::eq(t, kHalfPi), vd2{} + 1.0, r + (z * p) * r);
  }
  static int scalar(const double *a, double *r) { return ep_scalar(*a, nullptr, r); }
};

QOR_ACCURACY(dCos, LA, ULP, 4.0)
QOR_ACCURACY(dCos, HA, ULP, 1.0)
QOR_ACCURACY(dCos, EP, BITS, 26)
QOR_INTERVAL_LOG(dCos, 4.9406564584124654e-324, 1.7976931348623157e308, 400000)  // every binade
QOR_INTERVAL(dCos, -10.0, 10.0, 200000)
QOR_INTERVAL(dCos, 8388600.0, 8388620.0, 5000)       // LA and EP threshold 2^23 on pi/2 - |x|
QOR_INTERVAL(dCos, 65535.9, 65536.1, 5000)           // HA threshold
QOR_INTERVAL(dCos, 1.0e-9, 1.0e-7, 5000)              // where pi/2 - |x| stops changing
QOR_INTERVAL(dCos, 1.0e20, 1.0e300, 20000)            // huge arguments

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dCos, LA, qor::kernels::DCosLA, StandardEnv)
QOR_UNARY_KERNELS(dCos, HA, qor::kernels::DCosHA, StandardEnv)
QOR_UNARY_KERNELS(dCos, EP, qor::kernels::DCosEP, StandardEnv)
