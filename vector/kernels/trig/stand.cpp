// sTand, the tangent of x degrees, in three tiers: t = x - 360 rint(x/360)
// exactly, k = rint(t/0.703125), r = t - 0.703125 k exactly, and row k of the
// tangent table (theta = k pi/256) at r pi/180: HA in double (above 2^38 the
// exact float remainder modulo 360 first), LA and EP in float (the remainder
// from 2^24 on, where 360 N is no longer exact in float). At the poles (r = 0
// on row 128) +-Inf with the sign of t and no error; a zero result keeps the
// sign of x; below 6.31088724e-30 the scalar routine gives x pi/180.
#include "vector/kernels/trig/strig_common.h"

namespace qor::kernels {
namespace {
using namespace strig;

struct STand {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsTand";
  static constexpr float kTiny = 6.31088724e-30f;

  static vd2 wide(vd2 v) {
    const vd2 t = v - 360.0 * ((v * 0.0027777777777777779 + kShifterD) - kShifterD);  // exact
    const vd2 u = t * 1.4222222222222223 + kShifterD;                                 // t / 0.703125
    const vq2 k = as<vq2>(u);
    const vd2 r = (t - (u - kShifterD) * 0.703125) * 0.017453292519943295;
    const vd2 res = tan_row(k, r);
    const vl2 pole = as<vl2>(fabs2(res) == __builtin_inf());
    const vd2 inf = as<vd2>(0x7ff0000000000000ull | ((k << 55) & 0x8000000000000000ull));  // bit 8 of k
    return select(pole, inf, res);
  }
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 ax = fabs4(x);
    const vi4 big = above(ax, 274877906944.0f);  // 2^38
    const vf4 a = any(big) ? select(big, mod360(ax), ax) : ax;
    const vf4 res = narrow(map(widen(a), wide));
    bad = non_finite(ax) | (ax < kTiny);
    return xor_sign(res + 0.0f, sign_of(x));
  }
  static int scalar(const float *a, float *r) {
    const float x = *a;
    if (__builtin_fabsf(x) < kTiny) {
      *r = (float)((double)x * 0.017453292519943295);
      return 0;
    }
    return nonfinite_scalar(x, r);
  }
};

// LA and EP: the same steps in float, four lanes at a time.
struct STandF : STand {
  static constexpr int kBlock = 32;
  // Four consecutive floats of the rows of four lanes, column by column.
  static void columns(const float *r0, const float *r1, const float *r2, const float *r3, vf4 (&c)[4]) {
    __m128 a = _mm_loadu_ps(r0), b = _mm_loadu_ps(r1), e = _mm_loadu_ps(r2), d = _mm_loadu_ps(r3);
    _MM_TRANSPOSE4_PS(a, b, e, d);
    c[0] = as<vf4>(a), c[1] = as<vf4>(b), c[2] = as<vf4>(e), c[3] = as<vf4>(d);
  }
  static vf4 lanes(vf4 x, vi4 &bad) {
    const vf4 ax = fabs4(x);
    const vi4 big = above(ax, 16777216.0f);
    const vf4 a = any(big) ? select(big, mod360(ax), ax) : ax;
    const vf4 t = a - 360.0f * ((a * 0.00277777785f + kShifter) - kShifter);  // exact
    const vf4 u = t * 1.42222226f + kShifter;                                 // t / 0.703125
    const vf4 r = (t - (u - kShifter) * 0.703125f) * 0.0174532924f;
    const vi4 k = as<vi4>(u) & 255;
    const float *row[4] = {kTangentS[k[0]], kTangentS[k[1]], kTangentS[k[2]], kTangentS[k[3]]};
    vf4 c0[4], c4[4], c6[4];
    columns(row[0], row[1], row[2], row[3], c0);          // B_hi, B_lo, A, c0_hi
    columns(row[0] + 4, row[1] + 4, row[2] + 4, row[3] + 4, c4);  // c0_lo, c1_hi, c1_lo, c2
    columns(row[0] + 6, row[1] + 6, row[2] + 6, row[3] + 6, c6);  // c1_lo, c2, c3, c4
    const vf4 d = (c0[0] - r) + c0[1];
    const vf4 p = r * (c4[1] + (c4[2] + r * (c4[3] + r * (c6[2] + r * c6[3]))));
    vf4 res = c0[2] / d + (c0[3] + (c4[0] + p));
    const vi4 pole = as<vi4>(fabs4(res)) == 0x7f800000;
    res = select(pole, as<vf4>(0x7f800000u | ((as<vu4>(u) << 23) & kSignBit)), res);  // bit 8 of k
    bad = non_finite(ax) | (ax < kTiny);
    return xor_sign(res + 0.0f, sign_of(x));
  }
};

QOR_ACCURACY(sTand, LA, ULP, 4.0)
QOR_ACCURACY(sTand, HA, ULP, 1.0)
QOR_ACCURACY(sTand, EP, BITS, 11)
QOR_INTERVAL_LOG(sTand, 1.4e-45, 3.4e38, 1000000)  // every binade, denormals included
QOR_INTERVAL(sTand, -720, 720, 300000)              // zeros and poles, both signs
QOR_INTERVAL(sTand, 89.9, 90.1, 100000)             // next to the first pole
QOR_INTERVAL(sTand, 6.2e-30, 6.4e-30, 10000)        // the tiny bound of the scalar routine
QOR_INTERVAL(sTand, 2.74e11, 2.76e11, 100000)       // the HA threshold 2^38
QOR_INTERVAL(sTand, 16777000, 16777500, 100000)     // the LA and EP threshold 2^24

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sTand, LA, qor::kernels::STandF, StandardEnv)
QOR_UNARY_KERNELS(sTand, HA, qor::kernels::STand, StandardEnv)
QOR_UNARY_KERNELS(sTand, EP, qor::kernels::STandF, StandardEnv)
