// sErfc in three tiers over grids of erfc(k step) and its derivative over its
// value: erfc(t) = E - E (hF) (1 + S); a negative x gives 2 - erfc(|x|).
// LA (1/64 grid) and EP (1/32 grid) work in float; HA reduces in float on
// the 1/64 grid and evaluates in double, rounding once. Above 10.0541945 the
// result is below half the least denormal: those lanes (and NaN) go to the
// scalar routine, which reports an underflow.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/erf/erf_common.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::erfk;

constexpr float kFloor = 0x1p-40f;  // keeps z = h^2 normal; erfc rounds to 1 below
constexpr float kFlag = 10.0541945f;

inline vi4 flagged(vf4 x, float above) { return as<vi4>(_mm_cmpnle_ps(as<__m128>(x), _mm_set1_ps(above))); }

struct SErfcHA;
// x above the flag: +0 with an underflow; +Inf: +0 exactly; NaN: quieted;
// EP's denormal results (from 9.1 to the flag): by the HA lanes.
inline int erfc_scalar(const float *a, float *r);

// LA: fitted float series over |q| <= 0.079.
struct LaTier {
  static constexpr float kCap = 10.0625f, kShifter = 131072.0f, kScalarAbove = kFlag;  // multiples of 2^-6
  static vf4 tail(const Grid<vf4> &p) {
    const vf4 q = p.x0 * p.h, z = p.h * p.h;
    const vf4 s = q * (((0.133452564f * q - 0.334585994f) * q + 0.666666389f) * q - 0.999999762f) +
                  z * (0.501391768f * q - 0.333611548f);
    vf4 e, f;
    rows<645>(erf_tables::kErfcS, p.y, e, f);
    return erfk::tail(e, f, p.h, s);
  }
};
// EP: the 1/32 grid, S through q^3 and z (|q| <= 0.158).
struct EpTier {
  // Above 9.1 the result is denormal and needs the absolute accuracy of the
  // denormal grid, beyond the short series: those lanes take the HA path.
  static constexpr float kCap = 10.0625f, kShifter = 262144.0f, kScalarAbove = 9.1f;  // multiples of 2^-5
  static vf4 tail(const Grid<vf4> &p) {
    const vf4 s = taylor_s<ErfSeries, 3, 0, -1>(p.x0 * p.h, p.h * p.h);
    vf4 e, f;
    rows<323>(erf_tables::kErfcEpS, p.y, e, f);
    return erfk::tail(e, f, p.h, s);
  }
};

template <class Tier> struct SErfcFloat {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsErfc";
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 g = vmax(vf4{} + kFloor, vmin(vf4{} + Tier::kCap, vabs(x)));
    const vf4 v = Tier::tail(Grid<vf4>(g, Tier::kShifter));
    bad = flagged(x, Tier::kScalarAbove);
    return bxor(v, sign_of(x)) + two_if_negative(x);
  }
  static int scalar(const float *a, float *r) { return erfc_scalar(a, r); }
};

// HA: S through q^6, z q^3 and z^2 in double.
struct SErfcHA {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsErfc";
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 g = vmax(vf4{} + kFloor, vmin(vf4{} + 10.046875f, vabs(x)));
    bad = flagged(x, kFlag);
    return in_double<644>(erf_tables::kErfcHaS, x, Grid<vf4>(g, 131072.0f),
                          [](vd2 xd, vd2 x0, vd2 h, vd2 e, vd2 f) {
                            const vd2 v = erfk::tail(e, f, h, taylor_s<ErfSeries, 6, 3, 0>(x0 * h, h * h));
                            return bxor(v, sign_of(xd)) + two_if_negative(xd);
                          });
  }
  static int scalar(const float *a, float *r) { return erfc_scalar(a, r); }
};

inline int erfc_scalar(const float *a, float *r) {
  const float x = *a;
  if (x != x) return *r = x + x, 0;
  if (x <= kFlag) {
    vi4 unused;
    return *r = SErfcHA::lanes(vf4{} + x, unused)[0], 0;
  }
  *r = 0.0f;
  return x == __builtin_inff() ? 0 : 4;
}

using SErfcLA = SErfcFloat<LaTier>;
using SErfcEP = SErfcFloat<EpTier>;
QOR_ACCURACY(sErfc, LA, ULP, 4.0)
QOR_ACCURACY(sErfc, HA, ULP, 1.0)
QOR_ACCURACY(sErfc, EP, BITS, 11)
QOR_INTERVAL(sErfc, -4.5, 10.5, 300000)
QOR_INTERVAL(sErfc, -0.05, 0.05, 10000)
QOR_INTERVAL_LOG(sErfc, 1e-45, 0.1, 10000)
QOR_INTERVAL(sErfc, 9.0, 10.1, 10000)   // denormal results, the flag and the caps
QOR_INTERVAL(sErfc, -1e30, -3.9, 10000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sErfc, LA, qor::kernels::SErfcLA, StandardEnv)
QOR_UNARY_KERNELS(sErfc, HA, qor::kernels::SErfcHA, StandardEnv)
QOR_UNARY_KERNELS(sErfc, EP, qor::kernels::SErfcEP, StandardEnv)
