// dCdfNorm over the upper normal tail Q(t) = erfc(t / sqrt(2)) / 2 on a grid
// (value and density over value): Q(t) = E - E (hF) (1 + S) as for erfc, with
// the series of the normal density. x above 0 gives 1 - Q(x), built as the
// lane constant 1 plus -Q; x at most 0 gives Q(-x), and 0 gives 0.5. Below
// -38.485408335567335 the result is below half the least denormal: those
// lanes (and NaN) go to the scalar routine, which reports an underflow.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/erf/erf_common.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::erfk;

constexpr double kFloor = 0x1p-128;           // keeps z = h^2 normal
constexpr double kFlag = -38.485408335567335;  // Q(-kFlag) = 2^-1075

template <bool WithLo> struct LaHaTier;
template <class Tier> struct DCdfNorm {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdCdfNorm";

  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 g = vmax(vd2{} + kFloor, vmin(vd2{} + Tier::kCap, vabs(x)));
    const Grid<vd2> p(g, Tier::kShifter);
    const vd2 q = p.x0 * p.h, z = p.h * p.h;
    bad = as<vl2>(_mm_cmpnge_pd(as<__m128d>(x), _mm_set1_pd(Tier::kScalarBelow)));
    return cdf_from_tail(x, Tier::tail(p, q, z));
  }

  // x below the flag: +0 with an underflow; -Inf: +0 exactly; NaN: quieted;
  // denormal results of EP (between the flag and kScalarBelow): by the HA lanes.
  static int scalar(const double *a, double *r) {
    const double x = *a;
    if (x != x) return *r = x + x, 0;
    if (x >= kFlag) {
      vl2 unused;
      return *r = DCdfNorm<LaHaTier<true>>::lanes(vd2{x, x}, unused)[0], 0;
    }
    *r = 0.0;
    return x == -__builtin_inf() ? 0 : 4;
  }
};

// LA and HA: the 1/128 grid up to 38.4921875, the Taylor series through
// q^11, z q^8, z^2 q^4 (|q| <= 0.151, z <= 2^-16); HA adds the low part of E.
// The rows of values below 2^-960 are held times 2^128 (undone at the end).
template <bool WithLo> struct LaHaTier {
  static constexpr double kCap = 38.4921875, kShifter = 0x1p45, kScalarBelow = kFlag;
  static vd2 tail(const Grid<vd2> &p, vd2 q, vd2 z) {
    const vd2 s = taylor_s<NormSeries, 11, 8, 4>(q, z);
    vd2 e, f, el;
    if constexpr (WithLo) {
      rows<4928>(erf_tables::kCdfNormD, erf_tables::kCdfNormLoD, p.y, e, f, el);
      return erfk::tail_exact(e, el, f, p.h, s) * row_scale(p.x0, erf_tables::kCdfNormScaled);
    } else {
      rows<4928>(erf_tables::kCdfNormD, p.y, e, f);
      return erfk::tail(e, f, p.h, s) * row_scale(p.x0, erf_tables::kCdfNormScaled);
    }
  }
};

// EP: the 1/64 grid up to 38.5 and a short fitted series.
struct EpTier {
  // Below -37.5 the result is denormal and needs the absolute accuracy of
  // the denormal grid, beyond the short series: those lanes take the HA path.
  static constexpr double kCap = 38.5, kShifter = 0x1p46, kScalarBelow = -37.5;
  static vd2 tail(const Grid<vd2> &p, vd2 q, vd2 z) {
    const vd2 s =
        q * (((((((-2.4914234950031343e-05 * q + 0.00019928882331276897) * q - 0.0013888741291414501) * q +
                0.0083332538617517729) * q - 0.041666667310122252) * q + 0.166666668468198) * q -
             0.49999999999533284)) +
        z * (((0.014031116148495016 * q - 0.050541907071994921) * q + 0.12499139258046472) * q -
             0.16665437033398192);
    vd2 e, f;
    rows<2465>(erf_tables::kCdfNormEpD, p.y, e, f);
    return erfk::tail(e, f, p.h, s);
  }
};

using DCdfNormLA = DCdfNorm<LaHaTier<false>>;
using DCdfNormHA = DCdfNorm<LaHaTier<true>>;
using DCdfNormEP = DCdfNorm<EpTier>;

QOR_ACCURACY(dCdfNorm, LA, ULP, 4.0)
QOR_ACCURACY(dCdfNorm, HA, ULP, 1.0)
QOR_ACCURACY(dCdfNorm, EP, BITS, 26)
QOR_INTERVAL(dCdfNorm, -39.0, 9.0, 300000)
QOR_INTERVAL(dCdfNorm, -0.01, 0.01, 10000)      // both sides of 0 and 2^-9
QOR_INTERVAL_LOG(dCdfNorm, 1e-320, 0.1, 10000)
QOR_INTERVAL(dCdfNorm, -38.6, -37.0, 10000)      // denormal results, the flag and the caps
QOR_INTERVAL(dCdfNorm, 8.0, 39.0, 10000)
QOR_INTERVAL(dCdfNorm, -1e300, -38.0, 10000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dCdfNorm, LA, qor::kernels::DCdfNormLA, StandardEnv)
QOR_UNARY_KERNELS(dCdfNorm, HA, qor::kernels::DCdfNormHA, StandardEnv)
QOR_UNARY_KERNELS(dCdfNorm, EP, qor::kernels::DCdfNormEP, StandardEnv)
