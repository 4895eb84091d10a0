// sSinh and sCosh in three tiers. LA and EP reduce by ln 2 in single
// precision: a = N ln2 + r, e^r = C + S with C the even and S the odd series,
// and sinh a = sh_N C + ch_N S, cosh a = ch_N C + sh_N S, where
// ch_N = (2^N + 2^-N)/2 and sh_N = (2^N - 2^-N)/2; for N = 0 sinh is S itself,
// so no cancellation reaches small arguments. HA computes in double and narrows.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/exp/exp_common.h"
#include "vector/kernels/hyp/hyp_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;

constexpr float kShifter = 12582912.0f;      // 1.5 * 2^23: N lands in the low bits
constexpr int32_t kLaneBound = 0x42aeac4e;   // 87.3365326: above it, and NaN and Inf, a lane is special

// The scalar routine of every tier: NaN quieted, infinities exact (no
// report), beyond the lane bound e^|x| / 2 in double, overflow reported (3).
template <bool kSinh> int hyperbolic_scalar(const float *a, float *r) {
  const float x = *a;
  if (!__builtin_isfinite(x)) {
    *r = __builtin_isnan(x) ? x + x : (kSinh ? x : __builtin_fabsf(x));
    return 0;
  }
  const double ax = __builtin_fabs((double)x);
  double v;
  if (ax > 90.0) {
    volatile float big = 3.40282347e38f;
    v = (double)(big * big);
  } else {
    const vd2 e = hyp::exp_lanes(vd2{ax, ax});
    v = 0.5 * e[0] + (kSinh ? -0.5 : 0.5) / e[0];
  }
  const float f = (float)v;
  *r = kSinh && x < 0 ? -f : f;
  return __builtin_isinf(f) ? 3 : 0;
}

// The reduction shared by LA and EP: |x| = N ln2 + r with r in [-ln2/2, ln2/2],
// and ch_N, sh_N.
struct Reduced {
  vf4 r, ch, sh;
  vi4 sign;
};
inline Reduced reduce(vf4 x) {
  const vi4 ix = as<vi4>(x);
  const vf4 a = as<vf4>(ix & 0x7fffffff);
  const vf4 t = a * 1.44269502f + kShifter;
  const vf4 n = t - kShifter;
  const vf4 r = (a - n * 0.693115234f) - n * 3.19461833e-05f;
  const vi4 ni = as<vi4>(t) - as<vi4>(vf4{} + kShifter);
  const vf4 up = as<vf4>((ni + 126) << 23), down = as<vf4>((126 - ni) << 23);  // 2^N / 2, 2^-N / 2
  return {r, up + down, up - down, ix & (int32_t)0x80000000};
}

template <bool kSinh, bool kLong> struct SHyperbolicTable {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 32;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = kSinh ? "vsSinh" : "vsCosh";

  static vf4 lanes(vf4 x, vi4 &bad) {
    const Reduced q = reduce(x);
    const vf4 r2 = q.r * q.r;
    vf4 c, s;
    if (kLong) {
      c = 1.0f + r2 * (0.5f + r2 * (0.0416664556f + r2 * 0.00139357557f));
      s = q.r + q.r * r2 * (0.16666542f + r2 * 0.00836667512f);
    } else {
      c = 1.0f + r2 * (0.5f + r2 * 0.0416664556f);
      s = q.r + q.r * r2 * 0.16666542f;
    }
    bad = (as<vi4>(x) & 0x7fffffff) > kLaneBound;
    if (kSinh) return as<vf4>(as<vi4>(q.sh * c + q.ch * s) | q.sign);
    return q.ch * c + q.sh * s;
  }
  static int scalar(const float *a, float *r) { return hyperbolic_scalar<kSinh>(a, r); }
};

// HA: in double, e = e^|x| and 1/e; sinh below 0.5 by its odd series to x^11.
template <bool kSinh> struct SHyperbolicHA {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = kSinh ? "vsSinh" : "vsCosh";

  static vd2 half(vd2 a) {
    const vd2 e = hyp::exp_lanes(a);
    const vd2 inv = 0.5 / e, big = 0.5 * e;
    if (!kSinh) return big + inv;
    const vd2 s2 = a * a;
    const vd2 series = a + a * s2 * (1.0 / 6 + s2 * (1.0 / 120 + s2 * (1.0 / 5040 + s2 * (1.0 / 362880 + s2 * (1.0 / 39916800)))));
    return select(a < 0.5, series, big - inv);
  }
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x);
    bad = (ix & 0x7fffffff) > kLaneBound;
    const vf4 a = as<vf4>(ix & 0x7fffffff & ~bad);  // flagged lanes compute at 0
    const vf4 v = hyp::in_double(a, half);
    return kSinh ? hyp::with_sign(v, ix) : v;
  }
  static int scalar(const float *a, float *r) { return hyperbolic_scalar<kSinh>(a, r); }
};

QOR_ACCURACY(sSinh, LA, ULP, 4.0)
QOR_ACCURACY(sSinh, HA, ULP, 1.0)
QOR_ACCURACY(sSinh, EP, BITS, 11)
QOR_INTERVAL(sSinh, -90.0, 90.0, 500000)
QOR_INTERVAL_LOG(sSinh, 1e-45, 2.0, 300000)
QOR_INTERVAL(sSinh, -1.0, 1.0, 200000)
QOR_INTERVAL(sSinh, 86.0, 89.5, 50000)
QOR_ACCURACY(sCosh, LA, ULP, 4.0)
QOR_ACCURACY(sCosh, HA, ULP, 1.0)
QOR_ACCURACY(sCosh, EP, BITS, 11)
QOR_INTERVAL(sCosh, -90.0, 90.0, 500000)
QOR_INTERVAL_LOG(sCosh, 1e-45, 2.0, 300000)
QOR_INTERVAL(sCosh, 86.0, 89.5, 50000)

using SSinhLA = SHyperbolicTable<true, true>;
using SSinhEP = SHyperbolicTable<true, false>;
using SCoshLA = SHyperbolicTable<false, true>;
using SCoshEP = SHyperbolicTable<false, false>;

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sSinh, LA, qor::kernels::SSinhLA, StandardEnv)
QOR_UNARY_KERNELS(sSinh, EP, qor::kernels::SSinhEP, StandardEnv)
QOR_UNARY_KERNELS(sSinh, HA, qor::kernels::SHyperbolicHA<true>, StandardEnv)
QOR_UNARY_KERNELS(sCosh, LA, qor::kernels::SCoshLA, StandardEnv)
QOR_UNARY_KERNELS(sCosh, EP, qor::kernels::SCoshEP, StandardEnv)
QOR_UNARY_KERNELS(sCosh, HA, qor::kernels::SHyperbolicHA<false>, StandardEnv)
