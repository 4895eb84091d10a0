// sExpm1 in three tiers. e^x - 1 = (-1 + t) + t p with t = 2^n T[j], so the
// cancellation near 0 happens in an exact subtraction; x's sign bit is ORed
// into the result, which keeps -0. LA and HA: 64-row hi/lo table, two-part
// reduction, degree 3; EP: 32-row table, one constant, degree 2.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/exp/exp_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::expk;

constexpr float kShifter = 12582912.0f;  // 1.5 * 2^23
constexpr float kLaneBound = 86.6433945f;  // f32(0x42ad496b)
static_assert(kLaneBound == f32(0x42ad496b), "lane bound bits");

// Lanes beyond the bound, NaN included (the comparison is unordered).
inline vi4 special_lanes(vf4 x) { return ~(as<vf4>(as<vu4>(x) & 0x7fffffffu) <= kLaneBound); }
inline vf4 with_sign_of(vf4 x, vf4 r) { return as<vf4>(as<vu4>(r) | (as<vu4>(x) & 0x80000000u)); }

// The scalar routine (each kernel has its own copy): NaN and +Inf as x * x,
// -Inf and every flagged negative x give -1 with no report; a positive x
// goes through e^x in double, +Inf with status 3 beyond the float range.
inline int sexpm1_scalar(const float *a, float *r) {
  const float x = *a;
  if (non_finite(x, -1.0f, r)) return 0;
  if (x < 0) {
    *r = -1.0f;
    return 0;
  }
  if (x > 89.0f) {
    volatile float big = FLT_MAX;
    *r = big * big;
    return 3;
  }
  *r = (float)(exp2_wide((double)x * 1.4426950408889634) - 1.0);
  return *r > FLT_MAX ? 3 : 0;
}

// LA and HA: N = 64; result (-1 + hi 2^n) + 2^n (lo + hi p).
struct SExpm1Table64 {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsExpm1";
  static constexpr float kInvL = f32(0x42b8aa3b);                       // 64 / ln 2
  static constexpr float kL1 = f32(0x3c318000), kL2 = f32(0xb65e8083);  // ln2/64 = L1 + L2

  // e^x = t + scale * rest with t = hi 2^n, scale = 2^n, rest = lo + hi p.
  static void parts(vf4 x, vf4 &t, vf4 &scale, vf4 &rest) {
    const vf4 tk = x * kInvL + kShifter;
    const vf4 k = tk - kShifter;
    const vf4 r = (x - k * kL1) - k * kL2;
    const vu4 kb = as<vu4>(tk);
    vf4 hi, lo;
    gather_pairs(exp_tables::kExp2f_64, as<vi4>(kb & 63), hi, lo);
    scale = as<vf4>(((kb << 17) & 0xff800000u) + 0x3f800000u);  // 2^n
    const vf4 p = r + r * r * (0.500000894f + r * 0.16666697f);
    t = hi * scale;
    rest = lo + hi * p;
  }
  static vf4 lanes(vf4 x, vi4 &bad) {
    vf4 t, scale, rest;
    parts(x, t, scale, rest);
    bad = special_lanes(x);
    return with_sign_of(x, (-1.0f + t) + scale * rest);
  }
  static int scalar(const float *a, float *r) { return sexpm1_scalar(a, r); }
};
struct SExpm1LA : SExpm1Table64 {};
QOR_ACCURACY(sExpm1, LA, ULP, 4.0)

// HA: the table form loses up to 1.5 ulp where the row 2^(+-1/N) meets the
// cancellation (|x| near ln2/N: the roundings of r and of t p count in full
// against a result of the size of t p). Below 2^-5 the series of expm1 itself
// serves, where the leading x is exact and the rest is small: 0.52 ulp.
// The sum -1 + t is also taken with its rounding error (two-sum).
struct SExpm1HA : SExpm1Table64 {
  static vf4 lanes(vf4 x, vi4 &bad) {
    vf4 t, scale, rest;
    parts(x, t, scale, rest);
    const vf4 s = -1.0f + t, back = s + 1.0f;
    const vf4 err = (-1.0f - (s - back)) + (t - back);
    const vf4 table = s + (err + scale * rest);
    bad = special_lanes(x);
    const vf4 series = x + x * x * (0.5f + x * (0.166666672f + x * (0.0416666679f + x * 0.00833333377f)));
    const vi4 small = (as<vi4>(x) & 0x7fffffff) < 0x3d000000;  // |x| < 2^-5, NaN excluded
    return with_sign_of(x, select(small, series, table));
  }
};
QOR_ACCURACY(sExpm1, HA, ULP, 1.0)
QOR_INTERVAL(sExpm1, -90.0, 89.0, 1000000)  // all tiers: the whole range and beyond
QOR_INTERVAL(sExpm1, -1.0, 1.0, 300000)
QOR_INTERVAL(sExpm1, -0.01, 0.01, 100000)  // where the table row 0 or 1 meets the cancellation

// EP: N = 32, one constant; result (-1 + t) + t p.
struct SExpm1EP {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsExpm1";
  static constexpr float kInvL = f32(0x4238aa3b);  // 32 / ln 2
  static constexpr float kL = f32(0x3cb17218);     // ln2 / 32

  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 t = x * kInvL + kShifter;
    const vf4 r = x - (t - kShifter) * kL;
    const vu4 kb = as<vu4>(t);
    const vf4 tj = gather(exp_tables::kExp2f_32, as<vi4>(kb & 31));
    const vf4 tn = as<vf4>(as<vu4>(tj) + ((kb << 18) & 0xff800000u));  // k << 18 = n << 23 + j << 18
    const vf4 p = r + 0.500000894f * r * r;
    bad = special_lanes(x);
    return with_sign_of(x, (-1.0f + tn) + tn * p);
  }
  static int scalar(const float *a, float *r) { return sexpm1_scalar(a, r); }
};
QOR_ACCURACY(sExpm1, EP, BITS, 11)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sExpm1, LA, qor::kernels::SExpm1LA, StandardEnv)
QOR_UNARY_KERNELS(sExpm1, HA, qor::kernels::SExpm1HA, StandardEnv)
QOR_UNARY_KERNELS(sExpm1, EP, qor::kernels::SExpm1EP, StandardEnv)
