// dTanh: one kernel for LA and EP, one for HA. HA has no exponential: a
// polynomial of degree 10 in t = |x| - s from a 119-row table keyed on the
// high word (exponent and top four fraction bits, sixteen rows per binade from
// 0.1171875 to 20.0, s the start of the row), with the constant term in two
// parts; below 0.1171875 the odd series to a^15. LA and EP: the quotient of the
// sinh and cosh series below 1, 1 - 2/(e^2a + 1) above.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/exp/exp_common.h"
#include "vector/kernels/hyp/hyp_common.h"
#include "vector/kernels/hyp/hyp_tables.inc"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using hyp_tables::kTanhOdd;
using hyp_tables::kTanhRowsD;

constexpr int32_t kKeyMask = 0x7fff0000, kKeyBase = 0x3fbe0000, kKeyTop = 0x00760000;
constexpr int32_t kLaneBound = 0x7fe00000;  // keys above: NaN, infinity and the top binade

// Only NaN, infinity and the top binade come here: NaN quieted, else +-1.
int dtanh_scalar(const double *a, double *r) {
  const double x = *a;
  *r = __builtin_isnan(x) ? x + x : __builtin_copysign(1.0, x);
  return 0;
}

struct DTanhHA {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdTanh";

  static vd2 lanes(vd2 x, vl2 &bad) {
    const vq2 sign = as<vq2>(x) & 0x8000000000000000ull;
    const vd2 a = as<vd2>(as<vq2>(x) ^ sign);
    const vi4 key = words(a) & kKeyMask;
    bad = from_high_words(key > kLaneBound);
    vi4 off = key - kKeyBase;
    off = off & ~(off < 0);
    off = select(off > kKeyTop, vi4{} + kKeyTop, off) >> 16;
    alignas(16) int32_t row[4];
    store(row, off);
    const double *r0 = kTanhRowsD[row[1]], *r1 = kTanhRowsD[row[3]];
    auto column = [&](int j, vd2 &lo, vd2 &hi) {  // coefficients j and j + 1 of both rows
      const __m128d p = _mm_load_pd(r0 + j), q = _mm_load_pd(r1 + j);
      lo = as<vd2>(_mm_unpacklo_pd(p, q));
      hi = as<vd2>(_mm_unpackhi_pd(p, q));
    };
    vd2 start, c0, c0lo, c1, c2, c3, c4, c5, c6, c7, c8, c9, c10, pad;
    column(0, start, c0);
    column(2, c0lo, c1);
    column(4, c2, c3);
    column(6, c4, c5);
    column(8, c6, c7);
    column(10, c8, c9);
    column(12, c10, pad);
    const vd2 t = a - start;
    const vd2 q = c1 + t * (c2 + t * (c3 + t * (c4 + t * (c5 + t * (c6 + t * (c7 + t * (c8 + t * (c9 + t * c10))))))));
    const vd2 v = c0 + (c0lo + t * q);
    const vd2 s = a * a;
    const vd2 odd = a + a * s * (kTanhOdd[0] + s * (kTanhOdd[1] + s * (kTanhOdd[2] + s * (kTanhOdd[3] +
                    s * (kTanhOdd[4] + s * (kTanhOdd[5] + s * kTanhOdd[6]))))));
    return as<vd2>(as<vq2>(select(a < 0.1171875, odd, v)) | sign);
  }
  static int scalar(const double *a, double *r) { return dtanh_scalar(a, r); }
};

struct DTanhLAEP {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdTanh";

  static vd2 lanes(vd2 x, vl2 &bad) {
    const vq2 sign = as<vq2>(x) & 0x8000000000000000ull;
    const vd2 a = as<vd2>(as<vq2>(x) ^ sign);
    bad = as<vl2>(~(a <= 1.79769313486231570815e+308));  // NaN and infinity
    const vd2 c = select(a < 20.0, a, vd2{20.0, 20.0});
    vq2 e;
    vd2 hi, rest;
    expk::ExpHACore::parts(c + c, e, hi, rest);
    const vd2 big = as<vd2>(as<vq2>(hi + rest) + e);
    const vd2 v = select(a < 1.0, hyp::sinh_series(a) / hyp::cosh_series(a), 1.0 - 2.0 / (big + 1.0));
    return as<vd2>(as<vq2>(v) | sign);
  }
  static int scalar(const double *a, double *r) { return dtanh_scalar(a, r); }
};

QOR_ACCURACY(dTanh, LA, ULP, 4.0)
QOR_ACCURACY(dTanh, HA, ULP, 1.0)
QOR_ACCURACY(dTanh, EP, BITS, 26)
QOR_INTERVAL(dTanh, -25.0, 25.0, 500000)
QOR_INTERVAL_LOG(dTanh, 4.9e-324, 1.7e308, 300000)
QOR_INTERVAL(dTanh, -2.0, 2.0, 300000)
QOR_INTERVAL(dTanh, 0.1, 0.14, 50000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dTanh, LAEP, qor::kernels::DTanhLAEP, StandardEnv)
QOR_UNARY_KERNELS(dTanh, HA, qor::kernels::DTanhHA, StandardEnv)
