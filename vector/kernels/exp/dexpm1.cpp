// dExpm1 in three tiers. e^x - 1 = (-1 + t) + t p with t = 2^n T[j], so the
// cancellation near 0 happens in an exact subtraction; x's sign bit is ORed
// into the result, which keeps -0. LA (block 8) and HA (block 4): 128-row
// hi/lo table, two-part reduction, degree 5; EP: one constant, degree 3.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/exp/exp_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::expk;

constexpr double kShifter = 6755399441055744.0;  // 1.5 * 2^52
constexpr double kInvL = 184.66496523378731;     // 128 / ln 2
constexpr double kLaneBound = f64(0x40861da04cbafe43);  // 707.70327135170407
constexpr double kOverflow = f64(0x40862e42fefa39ef);   // 709.78271289338397
constexpr uint64_t kExpField = 0xfff0000000000000ull;

// Lanes beyond the bound, NaN included: one "not less or equal" comparison,
// true when unordered. (Spelled as ~(a <= b), it compiled to a mask rebuilt
// lane by lane through the integer registers.)
inline vl2 special_lanes(vd2 x) {
  const vd2 ax = as<vd2>(as<vq2>(x) & 0x7fffffffffffffffull);
  return as<vl2>(_mm_cmpnle_pd(as<__m128d>(ax), _mm_set1_pd(kLaneBound)));
}
inline vd2 with_sign_of(vd2 x, vd2 r) { return as<vd2>(as<vq2>(r) | (as<vq2>(x) & 0x8000000000000000ull)); }

// The LA and HA reduction: hi + rest = 2^(j/128) e^r, e = n << 52.
struct DExpm1Parts {
  static constexpr double kL1 = f64(0x3f762e42fef80000), kL2 = 1.2655086083325438e-13;  // ln2/128

  static void parts(vd2 x, vq2 &e, vd2 &hi, vd2 &rest) {
    const vd2 t = x * kInvL + kShifter;
    const vd2 k = t - kShifter;
    const vd2 r = (x - k * kL1) - k * kL2;
    const vq2 kb = as<vq2>(t);
    e = (kb >> 7) << 52;
    vd2 lo;
    gather_rows<128>(exp_tables::kExp2d2_128, kb, hi, lo);
    // Estrin's scheme: as many operations as Horner's, a chain shorter by two
    // multiplications and two additions.
    const vd2 r2 = r * r;
    const vd2 p = r + r2 * ((0.49999999999997669 + r * 0.166666666666658) +
                            r2 * (0.041666679394326687 + r * 0.0083333358788305473));
    rest = lo + hi * p;
  }
};

// The scalar routine (each kernel has its own copy): NaN and +Inf as x * x,
// -Inf and every flagged negative x give -1 with no report; a positive x is
// e^x to the last bit, +Inf with status 3 beyond the double range.
inline int dexpm1_scalar(const double *a, double *r) {
  const double x = *a;
  if (non_finite(x, -1.0, r)) return 0;
  if (x < 0) {
    *r = -1.0;
    return 0;
  }
  return exp_double_scalar<DExpm1Parts>(x, kOverflow, 0.0, r);
}

// LA and HA: result (-1 + hi 2^n) + 2^n (lo + hi p). hi 2^n is formed by an
// integer addition to hi's exponent field, exact since 2^n hi stays normal on
// the unflagged lanes (n >= -1022), which spares a multiplication.
template <int Block> struct DExpm1Table128 {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = Block;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdExpm1";

  static vd2 lanes(vd2 x, vl2 &bad) {
    vq2 e;
    vd2 hi, rest;
    DExpm1Parts::parts(x, e, hi, rest);
    const vd2 scale = as<vd2>(e + 0x3ff0000000000000ull);  // 2^n
    const vd2 t = as<vd2>(as<vq2>(hi) + e);               // 2^n hi
    bad = special_lanes(x);
    return with_sign_of(x, (-1.0 + t) + scale * rest);
  }
  static int scalar(const double *a, double *r) { return dexpm1_scalar(a, r); }
};
using DExpm1LA = DExpm1Table128<8>;
QOR_ACCURACY(dExpm1, LA, ULP, 4.0)

// HA: the table form loses up to 1.9 ulp where the row 2^(+-1/N) meets the
// cancellation (|x| near ln2/N: the roundings of r and of t p count in full
// against a result of the size of t p). Below 2^-6 the Taylor series of
// expm1 (to x^8) serves instead: its leading x is exact and the rest small.
// The sum -1 + t is also taken with its rounding error (two-sum), which
// matters where t is far below 1.
struct DExpm1HA : DExpm1Table128<4> {
  static vd2 lanes(vd2 x, vl2 &bad) {
    vq2 e;
    vd2 hi, rest;
    DExpm1Parts::parts(x, e, hi, rest);
    const vd2 scale = as<vd2>(e + 0x3ff0000000000000ull);
    const vd2 t = as<vd2>(as<vq2>(hi) + e);
    const vd2 s = -1.0 + t, back = s + 1.0;
    const vd2 err = (-1.0 - (s - back)) + (t - back);
    const vd2 table = s + (err + scale * rest);
    bad = special_lanes(x);
    const vd2 q = 1.0 / 2 + x * (1.0 / 6 + x * (1.0 / 24 + x * (1.0 / 120 + x * (1.0 / 720 + x * (1.0 / 5040 + x * (1.0 / 40320))))));
    const vd2 series = x + x * x * q;
    const vl2 small = from_high_words((words(x) & 0x7fffffff) < 0x3f900000);  // |x| < 2^-6, NaN excluded
    return with_sign_of(x, select(small, series, table));
  }
};
QOR_ACCURACY(dExpm1, HA, ULP, 1.0)
QOR_INTERVAL(dExpm1, -750.0, 710.0, 1000000)  // all tiers: the whole range and beyond
QOR_INTERVAL(dExpm1, -1.0, 1.0, 300000)
QOR_INTERVAL(dExpm1, -0.01, 0.01, 100000)  // where the table row 0 or 1 meets the cancellation
QOR_INTERVAL(dExpm1, 700.0, 709.8, 50000)  // the lane bound and overflow

// EP: N = 128, one constant, single rows; result (-1 + t) + t p.
struct DExpm1EP {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdExpm1";
  static constexpr double kL = f64(0x3f762e42fefa39ef);  // ln2 / 128

  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 t = x * kInvL + kShifter;
    const vd2 r = x - (t - kShifter) * kL;
    const vq2 kb = as<vq2>(t);
    const vd2 tj = gather(exp_tables::kExp2d_128, as<vl2>(kb & 127));
    const vd2 tn = as<vd2>(as<vq2>(tj) + ((kb << 45) & kExpField));  // k << 45 = n << 52 + j << 45
    const vd2 p = r + r * r * (0.49999999999997669 + r * 0.166666666666658);
    bad = special_lanes(x);
    return with_sign_of(x, (-1.0 + tn) + tn * p);
  }
  static int scalar(const double *a, double *r) { return dexpm1_scalar(a, r); }
};
QOR_ACCURACY(dExpm1, EP, BITS, 26)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dExpm1, LA, qor::kernels::DExpm1LA, StandardEnv)
QOR_UNARY_KERNELS(dExpm1, HA, qor::kernels::DExpm1HA, StandardEnv)
QOR_UNARY_KERNELS(dExpm1, EP, qor::kernels::DExpm1EP, StandardEnv)
