// sLog10 in three tiers. LA: r times a degree-8 polynomial, e log10(2) in two
// parts; HA: the 1025-row table step with 1/ln 10 split as 0.43359375 + rest;
// EP: the sLn EP form times 1/ln 10.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/log/slog_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::slog;

struct SLog10Base {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsLog10";
  static int scalar(const float *a, float *r) { return log_scalar(a, r, kInvLn10d); }
};

struct SLog10LA : SLog10Base {
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x);
    vi4 e;
    vf4 m;
    split(ix, e, m);
    const vf4 r = m - 1.0f;
    // the upper terms by pairs (Estrin), the two leading ones by Horner:
    // shorter dependency chains, and the last steps round as in Horner
    const vf4 r2 = r * r;
    const vf4 q = (0.144763544f + r * -0.108608484f) + r2 * ((0.0869361609f + r * -0.0712798163f) + r2 * ((0.060381975f + r * -0.0668953881f) + r2 * 0.0626901686f));
    const vf4 p = 0.434294492f + r * (-0.217146948f + r * q);
    const vf4 fe = to_float(e);
    bad = not_positive_normal(ix);
    return fe * kLg2Hi + (fe * kLg2Lo + r * p);
  }
};
QOR_ACCURACY(sLog10, LA, ULP, 4.0)
QOR_INTERVAL_LOG(sLog10, 1.4e-45, 3.4e38, 1000000)  // all tiers: every binade, denormals included
QOR_INTERVAL(sLog10, 0.6, 1.4, 400000)              // around 1 and the seams at 2/3 and 4/3
QOR_INTERVAL(sLog10, 0.99, 1.01, 200000)

constexpr TableBase kLog10Table = {kLogRowsLog10, kInnerLog10, kSplitLog10[0], kSplitLog10[1], kLg2Hi, kLg2Lo};

struct SLog10HA : SLog10Base {
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x);
    vi4 e;
    vf4 m;
    split(ix, e, m);
    bad = not_positive_normal(ix);
    return table_log<kLog10Table, false>(e, m, vf4{});
  }
};
QOR_ACCURACY(sLog10, HA, ULP, 1.0)

struct SLog10EP : SLog10Base {
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x);
    vi4 e;
    vf4 m;
    split(ix, e, m);
    const vf4 r = m - 1.0f;
    const vf4 p = -0.5f + r * (0.332896233f + r * (-0.267402589f + r * 0.219883725f));
    bad = not_positive_normal(ix);
    return to_float(e) * f32(0x3e9a209b) + (r + r * r * p) * kInvLn10;  // log10(2) in one part
  }
};
QOR_ACCURACY(sLog10, EP, BITS, 11)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sLog10, LA, qor::kernels::SLog10LA, StandardEnv)
QOR_UNARY_KERNELS(sLog10, HA, qor::kernels::SLog10HA, StandardEnv)
QOR_UNARY_KERNELS(sLog10, EP, qor::kernels::SLog10EP, StandardEnv)
