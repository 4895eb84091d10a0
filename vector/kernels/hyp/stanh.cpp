// sTanh. LA and EP share one kernel with no exponential: a cubic in the
// magnitude from a 134-row table keyed on the argument's own bits (exponent
// and top four fraction bits, sixteen rows per binade from 0.0302734375 to
// 10.0), evaluated in double and narrowed once. HA computes in double: the
// quotient of the sinh and cosh series below 0.5, 1 - 2/(e^2a + 1) above.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/hyp/hyp_common.h"
#include "vector/kernels/hyp/hyp_tables.inc"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using hyp_tables::kTanhRows;

constexpr int32_t kKeyMask = 0x7ff80000, kKeyBase = 0x3cf80000, kKeyTop = 0x04280000;
constexpr int32_t kLaneBound = 0x7f000000;  // keys above: NaN, infinity and the top binade

// Only NaN, infinity and magnitudes of 2^127 and more come here: NaN quieted,
// everything else +-1.
int tanh_scalar(const float *a, float *r) {
  const float x = *a;
  *r = __builtin_isnan(x) ? x + x : __builtin_copysignf(1.0f, x);
  return 0;
}

// Two lanes of cubic rows: c0 + a (c1 + a (c2 + a c3)).
inline vd2 cubic(vd2 a, int i0, int i1) {
  const __m128d p0 = _mm_load_pd(&kTanhRows[i0][0]), q0 = _mm_load_pd(&kTanhRows[i0][2]);
  const __m128d p1 = _mm_load_pd(&kTanhRows[i1][0]), q1 = _mm_load_pd(&kTanhRows[i1][2]);
  const vd2 c0 = as<vd2>(_mm_unpacklo_pd(p0, p1)), c1 = as<vd2>(_mm_unpackhi_pd(p0, p1));
  const vd2 c2 = as<vd2>(_mm_unpacklo_pd(q0, q1)), c3 = as<vd2>(_mm_unpackhi_pd(q0, q1));
  return c0 + a * (c1 + a * (c2 + a * c3));
}

struct STanhTable {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 32;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsTanh";

  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x), mag = ix & 0x7fffffff;
    const vi4 key = mag & kKeyMask;
    bad = key > kLaneBound;
    vi4 off = key - kKeyBase;
    off = off & ~(off < 0);                                      // below the first row: row 0
    off = select(off > kKeyTop, vi4{} + kKeyTop, off) >> 19;    // above the last: row 133
    alignas(16) int32_t row[4];
    store(row, off);
    const vf4 a = as<vf4>(mag);
    const vf4 v = narrow(cubic(low_pair(a), row[0], row[1]), cubic(high_pair(a), row[2], row[3]));
    return hyp::with_sign(v, ix);
  }
  static int scalar(const float *a, float *r) { return tanh_scalar(a, r); }
};
QOR_ACCURACY(sTanh, LA, ULP, 4.0)
QOR_ACCURACY(sTanh, EP, BITS, 11)

struct STanhHA {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsTanh";

  static vd2 half(vd2 a) {
    const vd2 s2 = a * a;
    const vd2 sh = a + a * s2 * (1.0 / 6 + s2 * (1.0 / 120 + s2 * (1.0 / 5040 + s2 * (1.0 / 362880))));
    const vd2 ch = 1.0 + s2 * (0.5 + s2 * (1.0 / 24 + s2 * (1.0 / 720 + s2 * (1.0 / 40320 + s2 * (1.0 / 3628800)))));
    const vl2 small = a < 0.5;
    const vd2 e = hyp::exp_lanes(select(small, vd2{1.0, 1.0}, a + a));
    return select(small, sh / ch, 1.0 - 2.0 / (e + 1.0));
  }
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vi4 ix = as<vi4>(x), mag = ix & 0x7fffffff;
    bad = mag > 0x7f7fffff;  // NaN and infinity
    const vf4 a = as<vf4>(select(mag > 0x41a00000, vi4{} + 0x41a00000, mag));  // |x| capped at 20
    const vf4 v = hyp::in_double(a, half);
    return hyp::with_sign(v, ix);
  }
  static int scalar(const float *a, float *r) { return tanh_scalar(a, r); }
};
QOR_ACCURACY(sTanh, HA, ULP, 1.0)
QOR_INTERVAL(sTanh, -12.0, 12.0, 500000)
QOR_INTERVAL_LOG(sTanh, 1e-45, 3.4e38, 300000)
QOR_INTERVAL(sTanh, 0.0, 0.07, 100000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sTanh, LAEP, qor::kernels::STanhTable, StandardEnv)
QOR_UNARY_KERNELS(sTanh, HA, qor::kernels::STanhHA, StandardEnv)
