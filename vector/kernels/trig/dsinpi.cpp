// dSinpi, sin(pi x), in three tiers. Every tier first keeps the remainder of
// |x| modulo 256 (a period). LA and EP: N = rint(a), r = (a - N) pi with the
// sign (-1)^N, and the sine polynomial of degree 15 (LA) or 9 (EP). HA: a
// rounded to a multiple of 2^-8 gives the row of the 512-row sine table,
// and the rest times pi as a pair. |x| below 2^-53 takes the scalar routine,
// which forms pi x with one rounding.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/trig/dpideg_common.h"
#include "vector/kernels/trig/dpideg_tables.inc"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::pideg;

template <bool LA> struct DSinpiPoly {
  static constexpr int kBlock = 8;
  static constexpr double kPad = 0.75;
  using T = double;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr const char *kName = "vdSinpi";

  static vd2 lanes(vd2 x, vl2 &bad) {
    const vd2 a = abs(x);
    bad = tiny_or_non_finite(a, 0x1p-53);
    const vd2 b = mod256(a);
    const vd2 t = b + kShifter;
    const vd2 r = xor_bits((b - (t - kShifter)) * kPi, parity_sign(t));
    const vd2 v = (LA ? sin_poly_la(r) : sin_poly_ep(r)) + 0.0;  // sin(pi n) is +0 before the sign of x
    return xor_bits(v, sign_of(x));
  }
  static int scalar(const double *x, double *r) { return pi_tiny_scalar(*x, r); }
};
using DSinpiLA = DSinpiPoly<true>;
using DSinpiEP = DSinpiPoly<false>;

struct DSinpiHA {
  static constexpr int kBlock = 4;
  static constexpr double kPad = 0.75;
  using T = double;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr const char *kName = "vdSinpi";

  static vd2 lanes(vd2 x, vl2 &bad) {
    constexpr double kGrid = 26388279066624.0;  // 3 * 2^43: rounds to a multiple of 2^-8
    const vd2 a = abs(x);
    bad = tiny_or_non_finite(a, 0x1p-53);
    const vd2 b = mod256(a);
    const vd2 t = b + kGrid;
    vd2 r, r_lo, c_lo, c_hi, s_hi, s_lo;
    times_pair(b - (t - kGrid), kPi, kPiHi, kPiLo, r, r_lo);
    uint32_t k0, k1;
    low_words(as<vq2>(t), k0, k1);
    gather4(pideg_tables::kSinRows, k0 & 511, k1 & 511, c_lo, c_hi, s_hi, s_lo);
    const vd2 v = sin_rows(r, r_lo, c_lo, c_hi, s_hi, s_lo) + 0.0;
    return xor_bits(v, sign_of(x));
  }
  static int scalar(const double *x, double *r) { return pi_tiny_scalar(*x, r); }
};

QOR_ACCURACY(dSinpi, LA, ULP, 4.0)
QOR_ACCURACY(dSinpi, HA, ULP, 1.0)
QOR_ACCURACY(dSinpi, EP, BITS, 26)
QOR_INTERVAL_LOG(dSinpi, 4.9406564584124654e-324, 1.7976931348623157e308, 400000)  // every binade
QOR_INTERVAL(dSinpi, -4.0, 4.0, 200000)
QOR_INTERVAL(dSinpi, 0.4999, 0.5001, 20000)            // the maximum
QOR_INTERVAL(dSinpi, 0.9999, 1.0001, 20000)            // a zero
QOR_INTERVAL(dSinpi, 1.0e-17, 2.0e-16, 20000)          // around the tiny threshold 2^-53
QOR_INTERVAL(dSinpi, 2251799813685000.0, 2251799813686000.0, 20000)    // 2^51
QOR_INTERVAL(dSinpi, 8796093022000.0, 8796093023000.0, 20000)          // 2^43
QOR_INTERVAL(dSinpi, 5.76460752303e17, 5.76460752304e17, 20000)        // 2^59
QOR_INTERVAL(dSinpi, -1.0e6, 1.0e6, 100000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dSinpi, LA, qor::kernels::DSinpiLA, StandardEnv)
QOR_UNARY_KERNELS(dSinpi, HA, qor::kernels::DSinpiHA, StandardEnv)
QOR_UNARY_KERNELS(dSinpi, EP, qor::kernels::DSinpiEP, StandardEnv)
