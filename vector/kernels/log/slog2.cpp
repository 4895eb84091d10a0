// sLog2 in three tiers. LA: r times a degree-8 polynomial, e added; HA: the
// 1025-row table step with 1/ln 2 split; EP: the sLn EP form times 1/ln 2.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/log/slog_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::slog;

struct SLog2Base {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsLog2";
  static int scalar(const float *a, float *r) { return log_scalar(a, r, kInvLn2d); }
};

struct SLog2LA : SLog2Base {
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x);
    vi4 e;
    vf4 m;
    split(ix, e, m);
    const vf4 r = m - 1.0f;
    // the upper terms by pairs (Estrin), the two leading ones by Horner:
    // shorter dependency chains, and the last steps round as in Horner
    const vf4 r2 = r * r;
    const vf4 q = (0.480894089f + r * -0.360789567f) + r2 * ((0.28879568f + r * -0.236786425f) + r2 * ((0.200584576f + r * -0.222221673f) + r2 * 0.208252221f));
    const vf4 p = 1.44269502f + r * (-0.721346557f + r * q);
    bad = not_positive_normal(ix);
    return to_float(e) + r * p;
  }
};
QOR_ACCURACY(sLog2, LA, ULP, 4.0)
QOR_INTERVAL_LOG(sLog2, 1.4e-45, 3.4e38, 1000000)  // all tiers: every binade, denormals included
QOR_INTERVAL(sLog2, 0.6, 1.4, 400000)              // around 1 and the seams at 2/3 and 4/3
QOR_INTERVAL(sLog2, 0.99, 1.01, 200000)

constexpr TableBase kLog2Table = {kLogRowsLog2, kInnerLog2, kSplitLog2[0], kSplitLog2[1], 1.0f, 0.0f};

struct SLog2HA : SLog2Base {
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x);
    vi4 e;
    vf4 m;
    split(ix, e, m);
    bad = not_positive_normal(ix);
    return table_log<kLog2Table, false>(e, m, vf4{});
  }
};
QOR_ACCURACY(sLog2, HA, ULP, 1.0)

struct SLog2EP : SLog2Base {
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x);
    vi4 e;
    vf4 m;
    split(ix, e, m);
    const vf4 r = m - 1.0f;
    const vf4 p = -0.5f + r * (0.332896233f + r * (-0.267402589f + r * 0.219883725f));
    bad = not_positive_normal(ix);
    return to_float(e) + (r + r * r * p) * kInvLn2;
  }
};
QOR_ACCURACY(sLog2, EP, BITS, 11)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sLog2, LA, qor::kernels::SLog2LA, StandardEnv)
QOR_UNARY_KERNELS(sLog2, HA, qor::kernels::SLog2HA, StandardEnv)
QOR_UNARY_KERNELS(sLog2, EP, qor::kernels::SLog2EP, StandardEnv)
