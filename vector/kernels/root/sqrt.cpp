// Sqrt, s and d. The single precision kernels use no square root instruction:
// the approximate reciprocal square root (12 bits) alone (EP), or refined by
// one (LA) or two (HA) coupled Newton steps on s ~ sqrt(x), h ~ 1/(2 sqrt(x)).
// The double kernels seed from the same instruction on the mantissa and finish
// with a series of 1/sqrt(1 - e). Lanes outside the positive normal range go
// to one scalar routine (seed table, coupled iterations, exact residual).
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/root/root_common.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::root;

// Positive normal floats below 0x7f7ff000, that one excluded: there the HA
// residual's square of the root's upper half would round up to infinity.
inline vi4 s_sqrt_special_lanes(vf4 x) { return greater(as<vi4>(as<vu4>(x) - 0x80800000u), (int32_t)0xfeffefff); }

template <int Steps> struct SSqrt {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsSqrt";
  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = s_sqrt_special_lanes(x);
    vf4 y = nan_where(bad, rsqrt_approx(x));
    vf4 s = x * y;
    if (Steps == 0) return s;
    vf4 h = 0.5f * y;
    vf4 e = 0.5f - s * h;  // (1 - x y^2) / 2
    return s + s * e;
  }
  static int scalar(const float *a, float *r) { return sqrt_scalar(a, r); }
};
using SSqrtEP = SSqrt<0>;
using SSqrtLA = SSqrt<1>;

// HA: two coupled steps, the second step's correction added last. Its
// residual x - s^2 comes exact from the halves of s (cut by 4097 = 2^12 + 1):
// formed from the rounded product s h, as in the first step, it leaves 1.6 ulp.
struct SSqrtHA : SSqrt<1> {
  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = s_sqrt_special_lanes(x);
    vf4 y = nan_where(bad, rsqrt_approx(x));
    vf4 s = x * y, h = 0.5f * y;
    vf4 e = 0.5f - s * h;
    s = s + s * e;
    h = h + h * e;
    vf4 c = 4097.0f * s, sh = c - (c - s), sl = s - sh;
    vf4 residual = ((x - sh * sh) - 2.0f * sh * sl) - sl * sl;
    return s + residual * h;
  }
};
QOR_ACCURACY(sSqrt, LA, ULP, 4.0)
QOR_ACCURACY(sSqrt, HA, ULP, 1.0)
QOR_ACCURACY(sSqrt, EP, BITS, 11)
QOR_INTERVAL_LOG(sSqrt, 1e-45, 3.4e38, 400000)
QOR_INTERVAL(sSqrt, 0.0, 4.0, 200000)
QOR_INTERVAL(sSqrt, -1.0, 0.0, 1000)
QOR_INTERVAL(sSqrt, 3.3e38, 0x1.ffep+127, 20000)  // the seam of the lane test at 0x7f7ff000

// d: x = m 2^(2q), m in [1, 4); the seed from the single precision
// instruction on m, then the series; HA adds the residual's low part.
template <int Tier> struct DSqrt {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = Tier == 2 ? 8 : 16;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdSqrt";
  static vd2 lanes(vd2 x, vl2 &bad) {
    bad = d_special_lanes(x);
    vd2 m;
    vl2 q;
    split_even(x, m, q);
    vd2 y = seed(m);
    if (Tier == 2) return scale_up(sqrt_series2(m, y), q);
    vd2 s = sqrt_series4(m, y);
    if (Tier == 1) s = s + sqrt_low_part(m, y, s);
    return scale_up(s, q);
  }
  static int scalar(const double *a, double *r) { return sqrt_scalar(a, r); }
};
using DSqrtLA = DSqrt<0>;
using DSqrtHA = DSqrt<1>;
using DSqrtEP = DSqrt<2>;
QOR_ACCURACY(dSqrt, LA, ULP, 4.0)
QOR_ACCURACY(dSqrt, HA, ULP, 1.0)
QOR_ACCURACY(dSqrt, EP, BITS, 26)
QOR_INTERVAL_LOG(dSqrt, 4.9e-324, 1.7e308, 400000)
QOR_INTERVAL(dSqrt, 0.0, 4.0, 200000)
QOR_INTERVAL(dSqrt, -1.0, 0.0, 1000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sSqrt, LA, qor::kernels::SSqrtLA, StandardEnv)
QOR_UNARY_KERNELS(sSqrt, HA, qor::kernels::SSqrtHA, StandardEnv)
QOR_UNARY_KERNELS(sSqrt, EP, qor::kernels::SSqrtEP, StandardEnv)
QOR_UNARY_KERNELS(dSqrt, LA, qor::kernels::DSqrtLA, StandardEnv)
QOR_UNARY_KERNELS(dSqrt, HA, qor::kernels::DSqrtHA, StandardEnv)
QOR_UNARY_KERNELS(dSqrt, EP, qor::kernels::DSqrtEP, StandardEnv)
