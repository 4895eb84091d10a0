// sCdfNorm in three tiers over grids of the upper normal tail Q(k step) and
// the density over the tail: Q(t) = E - E (hF) (1 + S); x above 0 gives
// 1 - Q(x), otherwise Q(-x). LA (1/64 grid) and EP (1/32 grid) work in float;
// HA reduces in float on the 1/64 grid and evaluates in double, rounding
// once. Below -14.1701851 the result is below half the least denormal: those
// lanes (and NaN) go to the scalar routine, which reports an underflow.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/erf/erf_common.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::erfk;

constexpr float kFloor = 0x1p-40f;  // keeps z = h^2 normal; the result rounds to 0.5 below
constexpr float kFlag = -14.1701851f;

inline vi4 flagged(vf4 x, float below) { return as<vi4>(_mm_cmpnge_ps(as<__m128>(x), _mm_set1_ps(below))); }

struct SCdfNormHA;
// x below the flag: +0 with an underflow; -Inf: +0 exactly; NaN: quieted;
// EP's denormal results (from -12.9 to the flag): by the HA lanes.
inline int cdf_scalar(const float *a, float *r);

// LA: fitted float series over |q| <= 0.111.
struct LaTier {
  static constexpr float kCap = 14.171875f, kShifter = 131072.0f, kScalarBelow = kFlag;  // multiples of 2^-6
  static vf4 tail(const Grid<vf4> &p) {
    const vf4 q = p.x0 * p.h, z = p.h * p.h;
    const vf4 s = q * (((0.00834078528f * q - 0.0417014435f) * q + 0.166666597f) * q - 0.499999881f) +
                  z * (0.125347942f * q - 0.167292997f);
    vf4 e, f;
    rows<908>(erf_tables::kCdfNormS, p.y, e, f);
    return erfk::tail(e, f, p.h, s);
  }
};
// EP: the 1/32 grid, S through q^3 and z (|q| <= 0.222).
struct EpTier {
  // Below -12.9 the result is denormal and needs the absolute accuracy of the
  // denormal grid, beyond the short series: those lanes take the HA path.
  static constexpr float kCap = 14.1875f, kShifter = 262144.0f, kScalarBelow = -12.9f;  // multiples of 2^-5
  static vf4 tail(const Grid<vf4> &p) {
    const vf4 s = taylor_s<NormSeries, 3, 0, -1>(p.x0 * p.h, p.h * p.h);
    vf4 e, f;
    rows<455>(erf_tables::kCdfNormEpS, p.y, e, f);
    return erfk::tail(e, f, p.h, s);
  }
};

template <class Tier> struct SCdfNormFloat {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsCdfNorm";
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 g = vmax(vf4{} + kFloor, vmin(vf4{} + Tier::kCap, vabs(x)));
    const vf4 v = Tier::tail(Grid<vf4>(g, Tier::kShifter));
    bad = flagged(x, Tier::kScalarBelow);
    return cdf_from_tail(x, v);
  }
  static int scalar(const float *a, float *r) { return cdf_scalar(a, r); }
};

// HA: S through q^6 and z q^3 in double.
struct SCdfNormHA {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsCdfNorm";
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 g = vmax(vf4{} + kFloor, vmin(vf4{} + 14.171875f, vabs(x)));
    bad = flagged(x, kFlag);
    return in_double<908>(erf_tables::kCdfNormHaS, x, Grid<vf4>(g, 131072.0f),
                          [](vd2 xd, vd2 x0, vd2 h, vd2 e, vd2 f) {
                            return cdf_from_tail(xd, erfk::tail(e, f, h, taylor_s<NormSeries, 6, 3, -1>(x0 * h, h * h)));
                          });
  }
  static int scalar(const float *a, float *r) { return cdf_scalar(a, r); }
};

inline int cdf_scalar(const float *a, float *r) {
  const float x = *a;
  if (x != x) return *r = x + x, 0;
  if (x >= kFlag) {
    vi4 unused;
    return *r = SCdfNormHA::lanes(vf4{} + x, unused)[0], 0;
  }
  *r = 0.0f;
  return x == -__builtin_inff() ? 0 : 4;
}

using SCdfNormLA = SCdfNormFloat<LaTier>;
using SCdfNormEP = SCdfNormFloat<EpTier>;
QOR_ACCURACY(sCdfNorm, LA, ULP, 4.0)
QOR_ACCURACY(sCdfNorm, HA, ULP, 1.0)
QOR_ACCURACY(sCdfNorm, EP, BITS, 11)
QOR_INTERVAL(sCdfNorm, -14.5, 6.0, 300000)
QOR_INTERVAL(sCdfNorm, -0.05, 0.05, 10000)
QOR_INTERVAL_LOG(sCdfNorm, 1e-45, 0.1, 10000)
QOR_INTERVAL(sCdfNorm, -14.3, -12.5, 10000)   // denormal results, the flag and the caps
QOR_INTERVAL(sCdfNorm, 5.0, 1e30, 10000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sCdfNorm, LA, qor::kernels::SCdfNormLA, StandardEnv)
QOR_UNARY_KERNELS(sCdfNorm, HA, qor::kernels::SCdfNormHA, StandardEnv)
QOR_UNARY_KERNELS(sCdfNorm, EP, qor::kernels::SCdfNormEP, StandardEnv)
