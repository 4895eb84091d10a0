// dErfc, one kernel for all tiers, over the 3488-row grid of erfc(k/128) and
// its derivative over its value: erfc(t) = E - E (hF) (1 + S), with the low
// part of E beside the table. A negative x gives 2 - erfc(|x|), through a lane
// constant of 0 or 2; below about -5.99 that is exactly 2. Above
// 27.226017111108366 the result is below half the least denormal: those
// lanes (and NaN) go to the scalar routine, which reports an underflow. The
// rows of values below 2^-960 are held scaled by 2^128, so denormal results
// round once.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/erf/erf_common.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::erfk;

constexpr double kCap = 27.2421875;
constexpr double kFloor = 0x1p-128;  // keeps z = h^2 normal
constexpr double kShifter = 35184372088832.0;  // 2^45: multiples of 2^-7
constexpr double kFlag = 27.226017111108366;  // erfc(kFlag) = 2^-1075
constexpr double kTwo128 = 0x1p128, kTiny = 0x1p-128;

// S(q, z) in the terms q^i z^j, i + j <= 10, by powers of z; the values are
// the Taylor coefficients refitted over |q| <= 0.107.
inline vd2 series(vd2 q, vd2 z) {
  const vd2 p0 =
      ((((((((2.5675727386570868e-05 * q - 0.00014121463583481421) * q + 0.00070546709224634098) * q -
            0.003174601973211448) * q + 0.012698412699968541) * q - 0.044444444449306376) * q +
         0.13333333333332972) * q - 0.33333333333325893) * q + 0.66666666666666663);
  const vd2 p1 = ((((((0.0025430150843496792 * q - 0.009889631094958537) * q + 0.033333301231169614) * q -
                     0.095238002536235863) * q + 0.22222222233991368) * q - 0.40000000021009396) * q +
                  0.49999999999987876) * q - 0.33333333333332643;
  const vd2 p2 = (((0.037117225161526927 * q - 0.083522353812937586) * q + 0.14285672088530488) * q -
                  0.16666613107665604) * q + 0.10000000036784655;
  const vd2 p3 = 0.041918933810116472 * q - 0.024019784703071118;
  return q * q * p0 - q + z * (p1 + z * (p2 + z * p3));
}

struct DErfc {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdErfc";

  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 sign = sign_of(x);
    const vd2 g = vmax(vd2{} + kFloor, vmin(vd2{} + kCap, vabs(x)));
    const Grid<vd2> p(g, kShifter);
    vd2 e, f, el;
    rows<3488>(erf_tables::kErfcD, erf_tables::kErfcLoD, p.y, e, f, el);
    const vd2 q = p.x0 * p.h, z = p.h * p.h;
    const vd2 v = tail_exact(e, el, f, p.h, series(q, z)) * row_scale(p.x0, erf_tables::kErfcScaled);
    // 0 for positive x, -2 for negative: (2^128 with the sign of x) - 2^128, scaled.
    const vd2 c = (bor(vd2{} + kTwo128, sign) - kTwo128) * kTiny;
    bad = as<vl2>(_mm_cmpnle_pd(as<__m128d>(x), _mm_set1_pd(kFlag)));
    return bxor(v, sign) - c;
  }

  // x above the flag: +0 with an underflow; +Inf: +0 exactly; NaN: quieted.
  static int scalar(const double *a, double *r) {
    const double x = *a;
    if (x != x) return *r = x + x, 0;
    *r = 0.0;
    return x == __builtin_inf() ? 0 : 4;
  }
};

QOR_ACCURACY(dErfc, HA, ULP, 1.0)  // the one kernel of all tiers, at the strictest bound
QOR_INTERVAL(dErfc, -6.5, 28.0, 300000)
QOR_INTERVAL(dErfc, -0.05, 0.05, 10000)
QOR_INTERVAL_LOG(dErfc, 1e-320, 0.1, 10000)     // tiny inputs, both signs below
QOR_INTERVAL(dErfc, 25.0, 27.3, 10000)           // denormal results, the flag and the cap
QOR_INTERVAL(dErfc, 27.2, 27.25, 10000)
QOR_INTERVAL(dErfc, -1e300, -5.9, 10000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dErfc, ALL, qor::kernels::DErfc, StandardEnv)
