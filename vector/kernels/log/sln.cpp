// sLn in three tiers, without tables: x = 2^e m with m in [2/3, 4/3),
// r = m - 1, ln x = e ln2 + r + r^2 P(r). LA: degree 8, one ln2; HA: degree
// 10, ln2 in two parts; EP: degree 5. The scalar routine works in double.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/log/slog_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::slog;

struct SLnBase {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 32;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsLn";
  static int scalar(const float *a, float *r) { return log_scalar(a, r, 1.0); }
};

struct SLnLA : SLnBase {
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x);
    vi4 e;
    vf4 m;
    split(ix, e, m);
    const vf4 r = m - 1.0f;
    const vf4 p = -0.5f + r * (0.333365649f + r * (-0.250046641f + r * (0.198225036f + r * (-0.164624572f +
                                                    r * (0.169648811f + r * -0.151772052f)))));
    bad = not_positive_normal(ix);
    return to_float(e) * kLn2 + (r + r * r * p);
  }
};
QOR_ACCURACY(sLn, LA, ULP, 4.0)
QOR_INTERVAL_LOG(sLn, 1.4e-45, 3.4e38, 1000000)  // all tiers: every binade, denormals included
QOR_INTERVAL(sLn, 0.6, 1.4, 400000)              // around 1 and the seams at 2/3 and 4/3
QOR_INTERVAL(sLn, 0.99, 1.01, 200000)

struct SLnHA : SLnBase {
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x);
    vi4 e;
    vf4 m;
    split(ix, e, m);
    const vf4 r = m - 1.0f;
    const vf4 p =
        -0.5f + r * (0.333332151f + r * (-0.249997973f + r * (0.200104058f + r * (-0.16680488f + r * (0.140058696f +
                     r * (-0.121842608f + r * (0.139844373f + r * -0.12891686f)))))));
    const vf4 fe = to_float(e);
    bad = not_positive_normal(ix);
    return fe * kLn2Hi + (r + (fe * kLn2Lo + r * r * p));
  }
};
QOR_ACCURACY(sLn, HA, ULP, 1.0)

struct SLnEP : SLnBase {
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x);
    vi4 e;
    vf4 m;
    split(ix, e, m);
    const vf4 r = m - 1.0f;
    const vf4 p = -0.5f + r * (0.332896233f + r * (-0.267402589f + r * 0.219883725f));
    bad = not_positive_normal(ix);
    return to_float(e) * kLn2 + (r + r * r * p);
  }
};
QOR_ACCURACY(sLn, EP, BITS, 11)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sLn, LA, qor::kernels::SLnLA, StandardEnv)
QOR_UNARY_KERNELS(sLn, HA, qor::kernels::SLnHA, StandardEnv)
QOR_UNARY_KERNELS(sLn, EP, qor::kernels::SLnEP, StandardEnv)
