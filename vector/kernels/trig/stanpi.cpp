// sTanpi, tan(pi x), in three tiers. Above 2^20 a lane keeps only its exact
// remainder modulo 1 (from 2^23 on every float is an integer: 0). LA and EP
// round to a multiple h of 1/2 and take a rational function of r = a - h in
// half-turns; where 2h is odd, tan = -cot: numerator and denominator change
// place. HA rounds to a multiple of 2^-8 and takes the pole term and series
// of the tangent table in double. At the poles, +Inf at 1/2 + 2j and -Inf at
// 3/2 + 2j; a zero result keeps the sign of x.
#include "vector/kernels/trig/strig_common.h"

namespace qor::kernels {
namespace {
using namespace strig;

inline vf4 tanpi_remainder(vf4 ax) {
  const vi4 big = above(ax, 1048576.0f);
  if (__builtin_expect(!any(big), 1)) return ax;
  return select(big, mod_period(ax, 12582912.0f, 8388608.0f), ax);
}

template <bool LA> struct STanpiLAEP {
  QOR_STRIG_KERNEL(STanpiLAEP, "vsTanpi", 32)
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 ax = fabs4(x);
    const vf4 a = tanpi_remainder(ax);
    const vf4 t = a + 6291456.0f;  // 1.5 * 2^22: rounds to a multiple of 1/2
    const vf4 r = a - (t - 6291456.0f), z = r * r;
    vf4 num, den;
    if constexpr (LA) {
      num = r * (3.14159179f - 2.97045517f * z);
      den = 0.999999762f + z * (-4.23539925f + z * 0.946509421f);
    } else {
      num = r * (3.14159155f - 2.15097666f * z);
      den = 1.0f - 3.97132063f * z;
    }
    const vu4 odd = parity_sign(t);
    const vi4 swap = as<vi4>(odd) < 0;
    vf4 res = xor_sign(select(swap, den, num) / select(swap, num, den), odd);
    // the pole: r = 0 with 2h odd; the sign of Inf is bit 1 of 2h
    const vi4 pole = swap & (r == 0.0f);
    res = select(pole, as<vf4>(0x7f800000u | ((as<vu4>(t) << 30) & kSignBit)), res);
    bad = non_finite(ax);
    return xor_sign(res + 0.0f, sign_of(x));
  }
};
QOR_ACCURACY(sTanpi, LA, ULP, 4.0)
QOR_ACCURACY(sTanpi, EP, BITS, 11)

struct STanpiHA {
  QOR_STRIG_KERNEL(STanpiHA, "vsTanpi", 16)
  static vd2 wide(vd2 a) {
    constexpr double kGrid = 26388279066624.0;  // 3 * 2^43: rounds to a multiple of 2^-8
    const vd2 u = a + kGrid;
    const vq2 k = as<vq2>(u);
    const vd2 r = (a - (u - kGrid)) * 3.1415926535897931;
    const vd2 res = tan_row(k, r);
    const vl2 pole = as<vl2>(fabs2(res) == __builtin_inf());
    const vd2 inf = as<vd2>(0x7ff0000000000000ull | ((k << 55) & 0x8000000000000000ull));  // bit 8 of k
    return select(pole, inf, res);
  }
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 ax = fabs4(x);
    const vf4 res = narrow(map(widen(tanpi_remainder(ax)), wide));
    bad = non_finite(ax);
    return xor_sign(res + 0.0f, sign_of(x));
  }
};
QOR_ACCURACY(sTanpi, HA, ULP, 1.0)

QOR_INTERVAL_LOG(sTanpi, 1.4e-45, 3.4e38, 1000000)  // every binade, denormals included
QOR_INTERVAL(sTanpi, -2, 2, 300000)                 // zeros and poles, both signs
QOR_INTERVAL(sTanpi, 0.49, 0.51, 100000)            // next to the first pole
QOR_INTERVAL(sTanpi, 0.24, 0.26, 100000)            // where LA and EP change place
QOR_INTERVAL(sTanpi, 1048000, 1049000, 100000)      // the threshold 2^20
QOR_INTERVAL(sTanpi, 8388000, 8389000, 100000)      // 2^23, from where every float is an integer

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sTanpi, LA, qor::kernels::STanpiLAEP<true>, StandardEnv)
QOR_UNARY_KERNELS(sTanpi, HA, qor::kernels::STanpiHA, StandardEnv)
QOR_UNARY_KERNELS(sTanpi, EP, qor::kernels::STanpiLAEP<false>, StandardEnv)
