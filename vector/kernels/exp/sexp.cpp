// sExp in three tiers. LA: no table, degree 5; HA: 128-row table, two-part
// reduction, hi/lo reconstruction; EP: base-2 reduction without a split, degree 3.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/exp/exp_tables.inc"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using exp_tables::kExp2d_64;
using exp_tables::kExp2f_128;

constexpr float kShifter = 12582912.0f;            // 1.5 * 2^23: k lands in the low bits
constexpr int32_t kLaneBound = 0x42aeac4f;          // 87.3365402: above it, NaN and Inf, a lane is special
constexpr float kOverflow = f32(0x42b17217);        // 88.7228317
constexpr float kUnderflow = f32(0xc2cff1b4);       // -103.972076
constexpr float kDenormal = -87.3365402f;           // below it the result is denormal

inline vi4 special_lanes(vf4 x) { return (as<vi4>(x) & 0x7fffffff) > kLaneBound; }

// The vector shortcut under ERRMODE_NOERR: overflow to +Inf, underflow to 0.
inline vi4 noerr_fix_sexp(vf4 x, vf4 &r) {
  vi4 hi = x > kOverflow, lo = x < kUnderflow;
  r = as<vf4>((as<vi4>(r) & ~(hi | lo)) | (hi & 0x7f800000));
  return hi | lo;
}

// The first steps of every sExp scalar routine: NaN and infinities (no
// report), overflow to +Inf (3), underflow to 0 below the denormals (4).
// Returns -1 when x needs the computed path.
inline int sexp_edges(float x, float *r) {
  const uint32_t bits = as<uint32_t>(x);
  if ((bits & 0x7f800000) == 0x7f800000) {
    *r = (bits == 0xff800000u) ? 0.0f : x * x;  // -Inf -> +0; NaN quieted; +Inf
    return 0;
  }
  if (x > kOverflow) {
    volatile float big = 3.40282347e38f;
    *r = big * big;  // rounds to +Inf, raising overflow
    return 3;
  }
  if (x < kUnderflow) {
    volatile float tiny = 1.40129846e-45f;
    *r = tiny * tiny;  // rounds to 0, raising underflow
    return 4;
  }
  return -1;
}

// The scalar routine of LA and EP; only flagged inputs come here.
// Status 3 on overflow, 4 on underflow (denormal results included).
struct SExpScalar {
  static constexpr float kLog2e = f32(0x3fb8aa3b);
  static constexpr float kL1 = f32(0x3f317200), kL2 = f32(0x35bfbe8e);

  static int run(const float *a, float *r) {
    const float x = *a;
    if (int st = sexp_edges(x, r); st >= 0) return st;
    const float t = x * kLog2e + kShifter;
    const int k = (int16_t)as<uint32_t>(t);
    const float kf = t - kShifter;
    const float q = (x - kf * kL1) - kf * kL2;
    const float p =
        1.00000012f + q * (1.00000012f + q * (0.499988705f + q * (0.166663259f + q * (0.0419175252f + q * 0.00838111248f))));
    if (x >= kDenormal) {
      if (k + 127 >= 0 && k + 127 <= 254) {
        *r = p * as<float>((uint32_t)(k + 127) << 23);
      } else {  // 2^k itself is not a float: scale by 2^(k-1), then by 2
        *r = (p * as<float>((uint32_t)(k + 126) << 23)) * 2.0f;
      }
      return 0;
    }
    // One rounding into the denormal range: scale up by 2^60 first, then down.
    *r = (p * as<float>((uint32_t)(k + 60 + 127) << 23)) * 8.67361738e-19f;
    return 4;
  }
};

// LA: p = 1 + r(c1 + ... + r c5) on r in [-ln2/2, ln2/2]; exponent added as an integer.
struct SExpLA {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 32;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsExp";
  static constexpr float c1 = f32(0x3f7ffffe), c2 = f32(0x3effff34), c3 = f32(0x3e2aacac), c4 = f32(0x3d2b8392),
                         c5 = f32(0x3c07d9fe);

  static vf4 lanes(vf4 x, vi4 &bad) {
    vf4 t = x * SExpScalar::kLog2e + kShifter;
    vf4 k = t - kShifter;
    vf4 r = (x - k * SExpScalar::kL1) - k * SExpScalar::kL2;
    vf4 p = 1.0f + r * (c1 + r * (c2 + r * (c3 + r * (c4 + r * c5))));
    bad = special_lanes(x);
    return as<vf4>(as<vi4>(p) + (as<vi4>(t) << 23));
  }
  static int scalar(const float *a, float *r) { return SExpScalar::run(a, r); }
  static vi4 noerr_fix(vf4 x, vf4 &r) { return noerr_fix_sexp(x, r); }
};
QOR_ACCURACY(sExp, LA, ULP, 4.0)
QOR_INTERVAL(sExp, -103.98, 88.73, 1000000)  // all tiers: the whole finite range

// HA: N = 128, two-part ln2/128; p = r + r^2/2; result = 2^n (hi + (lo + hi p)).
struct SExpHA {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsExp";
  static constexpr float kInvL = f32(0x4338aa3b);                      // 128 / ln 2
  static constexpr float kL1 = f32(0x3bb18000), kL2 = f32(0xb5de8083);  // ln2/128 = L1 + L2

  static vf4 lanes(vf4 x, vi4 &bad) {
    vf4 t = x * kInvL + kShifter;
    vf4 k = t - kShifter;
    vf4 r = (x - k * kL1) - k * kL2;
    vi4 ki = as<vi4>(t) - as<vi4>(vf4{kShifter, kShifter, kShifter, kShifter});
    vi4 j = ki & 127, n = ki >> 7;
    vf4 hi, lo;
    gather_pairs(kExp2f_128, j, hi, lo);
    vf4 p = r + 0.5f * r * r;
    vf4 scale = as<vf4>((n + 127) << 23);
    bad = special_lanes(x);
    return scale * (hi + (lo + hi * p));
  }

  // In double precision: 64-row table, degree 6, one rounding on narrowing.
  static int scalar(const float *a, float *r) {
    const float x = *a;
    if (int st = sexp_edges(x, r); st >= 0) return st;
    constexpr double kShift = 6755399441055744.0;
    constexpr double kL1d = f64(0x3f862e42fefa0000), kL2d = 2.5728046223276691e-14;
    const double xd = x;
    const double t = xd * 92.3324826168936 + kShift;
    const int k = (int)as<uint64_t>(t);
    const double kf = t - kShift;
    const double q = (xd - kf * kL1d) - kf * kL2d;
    const double p = q + q * q * (0.5 + q * (0.16666666666657 + q * (0.04166666666677 + q * (0.00833334199514 + q * 0.00138888704592))));
    const double scale = as<double>((uint64_t)((k >> 6) + 1023) << 52);
    *r = (float)(kExp2d_64[k & 63] * (1.0 + p) * scale);
    return x < kDenormal ? 4 : 0;
  }
  static vi4 noerr_fix(vf4 x, vf4 &r) { return noerr_fix_sexp(x, r); }
};
QOR_ACCURACY(sExp, HA, ULP, 1.0)

// EP: y = x log2e, k = round(y), f = y - k; 2^f by degree 3.
struct SExpEP {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsExp";

  static vf4 lanes(vf4 x, vi4 &bad) {
    vf4 y = x * SExpScalar::kLog2e;
    vf4 t = y + kShifter;
    vf4 f = y - (t - kShifter);
    vf4 p = 1.0f + f * (0.693178296f + f * (0.242028862f + f * 0.0555040054f));
    bad = special_lanes(x);
    return as<vf4>(as<vi4>(p) + (as<vi4>(t) << 23));
  }
  static int scalar(const float *a, float *r) { return SExpScalar::run(a, r); }
  static vi4 noerr_fix(vf4 x, vf4 &r) { return noerr_fix_sexp(x, r); }
};
QOR_ACCURACY(sExp, EP, BITS, 11)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sExp, LA, qor::kernels::SExpLA, StandardEnv)
QOR_UNARY_KERNELS(sExp, HA, qor::kernels::SExpHA, StandardEnv)
QOR_UNARY_KERNELS(sExp, EP, qor::kernels::SExpEP, StandardEnv)
