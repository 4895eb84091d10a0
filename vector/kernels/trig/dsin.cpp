// dSin in three tiers. LA: N = rint(|x|/pi), pi in four parts, an odd
// polynomial of degree 15. HA: N = rint(|x| 256/pi), pi/256 in three parts,
// a 512-row sine table evaluated in double-double. EP: pi in three parts,
// degree 9. Lanes beyond the fast path: LA and HA reduce them two at a time
// by the two-over-pi window (dtrig_large.h); EP calls its scalar routine.
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


struct DSinLA {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdSin";
  static vd2 fast(vd2 x, vd2 a) {
    vq2 nb;
    const vd2 n = round_shift(a * kInvPi, nb);
    const vd2 r = (((a - n * kP1) - n * kP2) - n * kP3) - n * kP4;
    const vd2 z = r * r, z2 = z * z;
    // c4..c7 by pairs, c3..c1 by Horner: a shorter dependency chain, with the
    // low-order terms rounded as in Horner's scheme.
    const vd2 q = (2.7557316600552628e-06 + z * -2.5051880273862881e-08) +
                  z2 * (1.6048095404959637e-10 + z * -7.3733445331106646e-13);
    const vd2 p = -0.16666666666666186 + z * (0.0083333333332855416 + z * (-0.00019841269825056256 + z * q));
    return bxor(r + (z * p) * r, bxor(parity_sign(nb), sign_of(x)));
  }
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = vabs(x);
    return fast_or_large(~le(a, 16777216.0), a, bad, [&] { return fast(x, a); },
                         [&] { return bxor(large_row(dtrig_tables::kSineTable, a), sign_of(x)); });
  }
  static int scalar(const double *a, double *r) { return non_finite_scalar<DSinLA>(a, r); }
};

struct DSinHA {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 4;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdSin";
  static vd2 lanes(vd2 x, vl2 &bad) { return table_ha_lanes<dtrig_tables::kSineTable, true>(x, bad); }
  static int scalar(const double *a, double *r) { return non_finite_scalar<DSinHA>(a, r); }
};

struct DSinEP {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdSin";
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = vabs(x);
    vq2 nb;
    const vd2 n = round_shift(a * kInvPi, nb);
    const vd2 r = ((a - n * kP1) - n * kP2) - n * f64(0x3D08469898CC5170);
    const vd2 z = r * r;
    const vd2 p = -0.16666658839437162 +
                  z * (0.0083330466452487071 + z * (-0.00019808085361787081 + z * 2.6022725384193179e-06));
    bad = ~le(a, 16777216.0);
    return bxor(r + (z * p) * r, bxor(parity_sign(nb), sign_of(x)));
  }
  static int scalar(const double *a, double *r) { return ep_scalar(*a, r, nullptr); }
};

QOR_ACCURACY(dSin, LA, ULP, 4.0)
QOR_ACCURACY(dSin, HA, ULP, 1.0)
QOR_ACCURACY(dSin, EP, BITS, 26)
QOR_INTERVAL_LOG(dSin, 4.9406564584124654e-324, 1.7976931348623157e308, 400000)  // every binade
QOR_INTERVAL(dSin, -10.0, 10.0, 200000)
QOR_INTERVAL(dSin, 16777200.0, 16777240.0, 5000)     // LA and EP threshold 2^24
QOR_INTERVAL(dSin, 65535.9, 65536.1, 5000)           // HA threshold
QOR_INTERVAL(dSin, 1.0e20, 1.0e300, 20000)            // huge arguments
QOR_INTERVAL(dSin, 1.0e308, 1.7976931348623157e308, 5000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dSin, LA, qor::kernels::DSinLA, StandardEnv)
QOR_UNARY_KERNELS(dSin, HA, qor::kernels::DSinHA, StandardEnv)
QOR_UNARY_KERNELS(dSin, EP, qor::kernels::DSinEP, StandardEnv)
