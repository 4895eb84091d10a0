// sLog1p in three tiers, on s = 1 + x reduced as in sLn: s = 2^e m. The part
// of x lost in the sum, scaled by 2^-e, is added to m - 1, so that small x
// keep all their bits (log1p(1e-30) = 1e-30) and x near -1 is exact already.
// LA: degree 9; EP: degree 5; HA: the 1025-row table step in base e.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/log/slog_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::slog;

struct SLog1pBase {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsLog1p";
  static int scalar(const float *a, float *r) { return log1p_scalar(a, r); }

  // s = 1 + x, its exponent e and m, and the lost part of x scaled by 2^-e.
  static void reduce(vf4 x, vi4 &e, vf4 &m, vf4 &lost, vi4 &bad) {
    const vf4 s = x + 1.0f;
    const vi4 is = as<vi4>(s);
    split(is, e, m);
    lost = sum_error(x, s) * pow2_neg(e);
    bad = log1p_sum_special(is) | (as<vi4>(x) == (int32_t)0x80000000);  // -0: its sign is lost in 1 + x
  }
};

struct SLog1pLA : SLog1pBase {
  static vf4 lanes(vf4 x, vi4 &bad) {
    vi4 e;
    vf4 m, lost;
    reduce(x, e, m, lost, bad);
    const vf4 r = (m - 1.0f) + lost;
    const vf4 p = -0.5f + r * (0.333332658f + r * (-0.250042379f + r * (0.200079203f + r * (-0.164723262f +
                  r * (0.140423089f + r * (-0.151221797f + r * 0.138202384f))))));
    return to_float(e) * kLn2 + (r + r * r * p);
  }
};
QOR_ACCURACY(sLog1p, LA, ULP, 4.0)
QOR_INTERVAL_LOG(sLog1p, 1.4e-45, 3.4e38, 1000000)   // all tiers: every binade of x > 0
QOR_INTERVAL(sLog1p, -0.4, 0.4, 400000)               // near 0 and the seams at -1/3 and 1/3
QOR_INTERVAL(sLog1p, -1.0, -0.3, 400000)              // towards -1
QOR_INTERVAL(sLog1p, -1.0, -0.9999, 100000)
QOR_INTERVAL(sLog1p, -1e-3, 1e-3, 100000)
QOR_INTERVAL(sLog1p, -1e-8, 1e-8, 100000)             // small arguments of both signs
QOR_INTERVAL(sLog1p, -1e-20, 1e-20, 50000)
QOR_INTERVAL(sLog1p, -1e-38, 1e-38, 50000)

constexpr TableBase kLnTable = {kLogRowsLn, kInnerLn, 1.0f, 0.0f, kLn2Hi, kLn2Lo};

struct SLog1pHA : SLog1pBase {
  static vf4 lanes(vf4 x, vi4 &bad) {
    vi4 e;
    vf4 m, lost;
    reduce(x, e, m, lost, bad);
    return table_log<kLnTable, true>(e, m, lost);
  }
};
QOR_ACCURACY(sLog1p, HA, ULP, 1.0)

struct SLog1pEP : SLog1pBase {
  static vf4 lanes(vf4 x, vi4 &bad) {
    vi4 e;
    vf4 m, lost;
    reduce(x, e, m, lost, bad);
    const vf4 r = (m - 1.0f) + lost;
    const vf4 p = -0.5f + r * (0.332896233f + r * (-0.267402589f + r * 0.219883725f));
    return to_float(e) * kLn2 + (r + r * r * p);
  }
};
QOR_ACCURACY(sLog1p, EP, BITS, 11)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sLog1p, LA, qor::kernels::SLog1pLA, StandardEnv)
QOR_UNARY_KERNELS(sLog1p, HA, qor::kernels::SLog1pHA, StandardEnv)
QOR_UNARY_KERNELS(sLog1p, EP, qor::kernels::SLog1pEP, StandardEnv)
