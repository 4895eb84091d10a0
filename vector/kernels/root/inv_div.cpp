// Inv and Div, s and d.
//  - sInv, sDiv EP: the approximate reciprocal instruction (12 bits), times the
//    numerator for Div; divisors outside the normal range take the scalar routine.
//  - sInv, sDiv LA/HA: the exact single precision division in blocks of 32;
//    only a zero divisor or a zero result goes to the scalar routine.
//  - dInv, dDiv HA: the exact double division in blocks of 2; the zero divisor
//    is reported after the division has given the infinity.
//  - dInv, dDiv LA/EP: a seed from the single precision approximate reciprocal
//    of the divisor's mantissa, its exponent rebuilt by integer work, then
//    three (LA) or two (EP) Newton steps in double.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/root/root_common.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::root;

// a / b by the true division; status 2 for a finite non-zero numerator over
// zero, 3 when finite operands overflow, 4 when they underflow to zero.
template <class T> int div_scalar(T a, T b, T *r) {
  volatile T va = a, vb = b;
  const T q = va / vb;
  *r = q;
  const bool finite = isfinite(a) && isfinite(b);
  if (b == 0 && finite && a != 0) return 2;
  if (finite && isinf(q)) return 3;
  if (finite && q == 0 && a != 0) return 4;
  return 0;
}

// sInv / sDiv EP: divisor bits less 0x00800000, sign dropped, at most
// 0x7dffe800: magnitudes from the least normal to about 8.5e37.
inline vi4 s_rcp_special_lanes(vf4 b) { return greater(as<vi4>(as<vu4>(b) - 0x00800000u) & 0x7fffffff, 0x7dffe800); }

struct SInvEP {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsInv";
  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = s_rcp_special_lanes(x);
    return rcp_approx(x);
  }
  static int scalar(const float *a, float *r) { return div_scalar(1.0f, *a, r); }
};
struct SDivEP {
  using T = float;
  static constexpr int kIn = 2, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsDiv";
  static vf4 lanes(vf4 a, vf4 b, vi4 &bad) {
    vf4 r = mul_ordered(a, rcp_approx(b));
    vi4 mag = as<vi4>(r) & 0x7fffffff;
    // A denormal quotient keeps fewer bits than the 12 of the seed: exact division.
    bad = s_rcp_special_lanes(b) | ((mag > 0) & (mag < 0x00800000));
    return r;
  }
  static int scalar(const float *a, const float *b, float *r) { return div_scalar(*a, *b, r); }
};

// LA/HA: the exact division; the lanes tested are a zero divisor and a zero result.
struct SInvLAHA {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 32;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsInv";
  static vf4 lanes(vf4 x, vi4 &bad) {
    vf4 r = 1.0f / x;
    bad = (x == 0.0f) | (r == 0.0f);
    return r;
  }
  static int scalar(const float *a, float *r) { return div_scalar(1.0f, *a, r); }
};
struct SDivLAHA {
  using T = float;
  static constexpr int kIn = 2, kOut = 1, kBlock = 32;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsDiv";
  static vf4 lanes(vf4 a, vf4 b, vi4 &bad) {
    vf4 r = a / b;
    bad = (b == 0.0f) | (r == 0.0f);
    return r;
  }
  static int scalar(const float *a, const float *b, float *r) { return div_scalar(*a, *b, r); }
};
QOR_ACCURACY(sInv, LA, ULP, 0.5)
QOR_ACCURACY(sInv, HA, ULP, 0.5)
QOR_ACCURACY(sInv, EP, BITS, 11)
QOR_INTERVAL_LOG(sInv, 1e-45, 3.4e38, 300000)
QOR_INTERVAL(sInv, -4.0, 4.0, 200000)
QOR_ACCURACY(sDiv, LA, ULP, 0.5)
QOR_ACCURACY(sDiv, HA, ULP, 0.5)
QOR_ACCURACY(sDiv, EP, BITS, 11)
QOR_INTERVAL2(sDiv, -1e30, 1e30, -1e-30, 1e-30, 100000)
QOR_INTERVAL2(sDiv, -4.0, 4.0, -4.0, 4.0, 100000)
QOR_INTERVAL2_LOG(sDiv, 1e-45, 3.4e38, 1e-45, 3.4e38, 300000)

// HA, d: the true division in blocks of 2; only a zero divisor is flagged.
template <int In> struct DDivHA {
  using T = double;
  static constexpr int kIn = In, kOut = 1, kBlock = 2;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = In == 1 ? "vdInv" : "vdDiv";
  static vd2 lanes(vd2 x, vl2 &bad) {
    bad = x == 0.0;
    return 1.0 / x;
  }
  static vd2 lanes(vd2 a, vd2 b, vl2 &bad) {
    bad = b == 0.0;
    return a / b;
  }
  static int scalar(const double *a, double *r) { return div_scalar(1.0, *a, r); }
  static int scalar(const double *a, const double *b, double *r) { return div_scalar(*a, *b, r); }
};

// LA/EP, d: 1/b from the approximate reciprocal of the mantissa's top 20 bits
// (as a float in [1, 2)); the exponent 0x3ff - E and the sign go back into the
// widened seed by integer work on the high words. Divisor magnitudes whose
// high word less 0x80200000 compares above 0xffafffff (exponent fields 0 and
// 1, from 0x7fd up) go to the scalar routine.
inline vd2 reciprocal_seed(vd2 b, vl2 &bad) {
  const vi4 high = {0, -1, 0, -1};
  vi4 w = words(b);
  vi4 mag = w & 0x7fffffff;
  bad = from_high_words(greater(as<vi4>(as<vu4>(mag) - 0x80200000u), (int32_t)0xffafffff));
  vi4 mf = ((w << 3) & 0x007fffff) | 0x3f800000;
  vf4 y = rcp_approx(as<vf4>(__builtin_shufflevector(mf, mf, 1, 3, 1, 3)));
  vd2 y0 = low_pair(y);  // (1/2, 1]
  vi4 adjust = (0x3ff00000 - (w & 0x7ff00000)) & high;
  return as<vd2>((as<vi4>(y0) + adjust) | (w & (int32_t)0x80000000 & high));
}

template <int In, int Steps> struct DDivNewton {
  using T = double;
  static constexpr int kIn = In, kOut = 1, kBlock = 16;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = In == 1 ? "vdInv" : "vdDiv";
  static vd2 reciprocal(vd2 b, vl2 &bad) {
    vd2 y = reciprocal_seed(b, bad);
    for (int k = 0; k < Steps; ++k) y = y + y * (1.0 - b * y);
    return y;
  }
  static vd2 lanes(vd2 x, vl2 &bad) { return reciprocal(x, bad); }
  static vd2 lanes(vd2 a, vd2 b, vl2 &bad) {
    vd2 r = mul_ordered(a, reciprocal(b, bad));
    if (Steps > 2) return r;
    // EP: denormal quotients would keep fewer bits than the 26 promised: exact division.
    const __m128d mag = _mm_and_pd(as<__m128d>(r), as<__m128d>(vl2{} + 0x7fffffffffffffff));
    bad |= as<vl2>(_mm_and_pd(_mm_cmplt_pd(mag, _mm_set1_pd(0x1p-1022)), _mm_cmpgt_pd(mag, _mm_setzero_pd())));
    return r;
  }
  static int scalar(const double *a, double *r) { return div_scalar(1.0, *a, r); }
  static int scalar(const double *a, const double *b, double *r) { return div_scalar(*a, *b, r); }
};
using DInvLA = DDivNewton<1, 3>;
using DInvEP = DDivNewton<1, 2>;
using DDivLA = DDivNewton<2, 3>;
using DDivEP = DDivNewton<2, 2>;
QOR_ACCURACY(dInv, LA, ULP, 4.0)
QOR_ACCURACY(dInv, HA, ULP, 0.5)
QOR_ACCURACY(dInv, EP, BITS, 26)
QOR_INTERVAL_LOG(dInv, 4.9e-324, 1.7e308, 300000)
QOR_INTERVAL(dInv, -4.0, 4.0, 200000)
QOR_ACCURACY(dDiv, LA, ULP, 4.0)
QOR_ACCURACY(dDiv, HA, ULP, 0.5)
QOR_ACCURACY(dDiv, EP, BITS, 26)
QOR_INTERVAL2(dDiv, -1e300, 1e300, -1e-300, 1e-300, 100000)
QOR_INTERVAL2(dDiv, -4.0, 4.0, -4.0, 4.0, 100000)
QOR_INTERVAL2_LOG(dDiv, 4.9e-324, 1.7e308, 4.9e-324, 1.7e308, 300000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
using namespace qor::kernels;
QOR_UNARY_KERNELS(sInv, LAHA, SInvLAHA, StandardEnv)
QOR_UNARY_KERNELS(sInv, EP, SInvEP, StandardEnv)
QOR_BINARY_KERNELS(sDiv, LAHA, SDivLAHA, SDivLAHA, StandardEnv)
QOR_BINARY_KERNELS(sDiv, EP, SDivEP, SDivEP, StandardEnv)
QOR_UNARY_KERNELS(dInv, LA, DInvLA, StandardEnv)
QOR_UNARY_KERNELS(dInv, HA, DDivHA<1>, StandardEnv)
QOR_UNARY_KERNELS(dInv, EP, DInvEP, StandardEnv)
QOR_BINARY_KERNELS(dDiv, LA, DDivLA, DDivLA, StandardEnv)
QOR_BINARY_KERNELS(dDiv, HA, DDivHA<2>, DDivHA<2>, StandardEnv)
QOR_BINARY_KERNELS(dDiv, EP, DDivEP, DDivEP, StandardEnv)
