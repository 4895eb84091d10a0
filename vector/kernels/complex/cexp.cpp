// Complex Exp, c and z: e^x (cos y + i sin y), two kernels each, LA/EP and HA.
//
// c LA/EP: x times 128/ln 2 rounded by the single-precision shifter, reduced
// by ln 2/128 in two parts; the low 7 bits of k take a row of 2^(j/128), the
// rest the power of two. y times 1/pi rounded the same way, reduced by pi in
// two double parts; sine of the remainder and cosine as the sine of pi/2 less
// its magnitude, by one degree-9 polynomial in double, the signs by the
// parity of the multiple of pi. Elements with |x| above 87.3365402 or |y|
// above 10000 (and NaN parts) go to the scalar routine.
// c HA: the same reductions with Taylor polynomials of degree 5 (exponential)
// and 15 (sine) whose truncation error is below 2^-38, so that the result is
// rounded about once on narrowing.
// z: the 64-row exponential core of dExp and the sine and cosine lanes of
// dSinCos (LA for LA/EP, HA for HA, both with the large reduction in lane);
// HA forms the product with the head of e^x exactly. Elements with |x| above
// 708.39 or a non-finite y go to the scalar routine.
// The scalar routines handle infinite and NaN parts as C99 Annex G lists them
// and report 3 when finite inputs gave an infinite part.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/complex/cblock.h"
#include "vector/kernels/complex/cexp_tables.inc"
#include "vector/kernels/exact.h"
#include "vector/kernels/exp/exp_common.h"
#include "vector/kernels/trig/dsincos.h"

namespace qor::kernels::cx {
namespace {

using namespace cexp_tables;

constexpr char kCExp[] = "vcExp", kZExp[] = "vzExp";
constexpr float kShifterF = 12582912.0f;  // 1.5 * 2^23: rint, with the integer in the low bits
constexpr int32_t kShifterBits = 0x4b400000;

// Sine and cosine (as HA double lanes), for the scalar routines.
inline void sincos_ha(double y, double &c, double &s) {
  vd2 vc, vs;
  vl2 bad;
  dtrig::DSinCosK<1, true, kZExp>::lanes(vd2{y, y}, vc, vs, bad);
  c = vc[0], s = vs[0];
}

// Infinite and NaN parts, and y = 0, by C99 Annex G; false for the rest.
// Exp(x) for y = 0 comes from `ex`.
template <class T, class ExpFn> bool exp_specials(T x, T y, T *r, ExpFn ex) {
  const T inf = __builtin_inf(), zero = 0;
  if (y == 0) {
    r[0] = __builtin_isnan(x) ? x + x : ex(x), r[1] = y;
    return true;
  }
  if (__builtin_isfinite(x) && __builtin_isfinite(y)) return false;
  if (__builtin_isnan(x)) {
    r[0] = r[1] = x + y;
  } else if (!__builtin_isfinite(y)) {  // y infinite or NaN, y != 0
    if (x == inf) r[0] = inf, r[1] = y - y;
    else if (x == -inf) r[0] = zero, r[1] = zero;
    else r[0] = r[1] = y - y;
  } else {  // x infinite, y finite and non-zero
    double c, s;
    sincos_ha((double)y, c, s);
    const T m = x > 0 ? inf : zero;
    r[0] = m * T(c), r[1] = m * T(s);
  }
  return true;
}

// ----- c ---------------------------------------------------------------------

// e^x for float x in double, to about 1e-16, without overflow for |x| < 300.
inline double exp_wide(double x) {
  const double xc = x > 300 ? 300 : x < -300 ? -300 : x;
  const double h = expk::exp2_wide(xc * 0.72134752044448170);  // (x / 2) log2(e)
  return h * h;
}

int cexp_scalar(const float *a, float *r) {
  const float x = a[0], y = a[1];
  if (exp_specials(x, y, r, [](float v) { return (float)exp_wide(v); }))
    return __builtin_isfinite(x) && __builtin_isinf(r[0]) ? 3 : 0;
  double c, s;
  sincos_ha((double)y, c, s);
  const double e = exp_wide(x);
  r[0] = (float)(e * c), r[1] = (float)(e * s);
  return overflow_status(true, r);
}

// The rows and powers of two of four lanes of k: 2^(k/128) in two pairs.
inline void exp_rows(vf4 t, vd2 &e0, vd2 &e1) {
  alignas(16) int32_t k[4];
  store(k, as<vi4>(as<vu4>(t) - (uint32_t)kShifterBits));  // wraps: unsigned lanes
  __asm__("" : "+m"(k));
  auto row = [&](int32_t v) { return kExp2_128[v & 127] * as<double>((uint64_t)((v >> 7) + 1023) << 52); };
  e0 = vd2{row(k[0]), row(k[1])};
  e1 = vd2{row(k[2]), row(k[3])};
}

template <bool kHA> struct CExp {
  using T = float;
  static constexpr int kIn = 1, kBlock = 4;
  static constexpr const char *kName = kCExp;

  static vd2 sin_poly(vd2 u) {
    const vd2 z = u * u;
    vd2 p;
    if constexpr (kHA) {
      p = vd2{} - kInvFact[15];
      for (int k = 13; k >= 3; k -= 2) p = (k % 4 == 1 ? kInvFact[k] : -kInvFact[k]) + z * p;
    } else {
      p = -0.16666659550427829 +
          z * (0.0083330662460856901 + z * (-0.00019809602902257352 + z * 2.605780638722852e-06));
    }
    return u + (z * p) * u;
  }
  static vd2 exp_poly(vd2 r) {
    if constexpr (kHA)
      return 1.0 + r * (1.0 + r * (0.5 + r * (kInvFact[3] + r * (kInvFact[4] + r * kInvFact[5]))));
    else
      return 1.0 + r * (1.0 + r * (0.5 + r * kInvFact[3]));
  }

  static vi4 lanes(const vf4 *in, vf4 &re, vf4 &im) {
    const vf4 x = in[0], y = in[1];
    const vf4 t = x * kInvLn2x128 + kShifterF;
    const vf4 k = t - kShifterF;
    const vf4 r = (x - k * kLn2By128Hi) - k * kLn2By128Lo;
    const vf4 u = y * kInvPi + kShifterF;
    const vf4 m = u - kShifterF;
    vd2 e[2];
    exp_rows(t, e[0], e[1]);
    vd2 c2[2], s2[2];
    for (int h = 0; h < 2; ++h) {
      const vd2 md = h ? high_pair(m) : low_pair(m), yd = h ? high_pair(y) : low_pair(y);
      const vd2 ry = (yd - md * kPiHi) - md * kPiLo;
      const vd2 ep = e[h] * exp_poly(h ? high_pair(r) : low_pair(r));
      s2[h] = ep * sin_poly(ry);
      c2[h] = ep * sin_poly(kHalfPi - vabs(ry));
    }
    const vi4 odd = as<vi4>((as<vu4>(u) - (uint32_t)kShifterBits) << 31);  // sign of cos and sin: (-1)^m
    re = as<vf4>(as<vi4>(narrow(c2[0], c2[1])) ^ odd);
    im = select(eq(y, 0.0f), y, as<vf4>(as<vi4>(narrow(s2[0], s2[1])) ^ odd));  // e^x (1 + 0i) keeps the zero
    return ((as<vi4>(x) & 0x7fffffff) > 0x42aeac4f) | ~le(vabs(y), 10000.0f);
  }
  static int scalar(const float *a, const float *, float *r) { return cexp_scalar(a, r); }
};

// ----- z ---------------------------------------------------------------------

int zexp_scalar(const double *a, double *r) {
  const double x = a[0], y = a[1];
  // e^x u with one rounding at the end.
  auto scaled = [](double xv, double u) {
    if (xv > 760) return u * __builtin_inf();  // beyond, every non-zero part is infinite or 0
    if (xv < -800) return u * 0.0;
    const double xc = xv;
    vq2 e;
    vd2 hi, rest;
    expk::ExpHACore::parts(vd2{xc, xc}, e, hi, rest);
    const double t = xc * expk::ExpHACore::kInvL + expk::ExpHACore::kShift;
    const long k = (long)(as<uint64_t>(t) & 0xfffffffffffffull) - (1l << 51);
    vd2 p, pe;
    exact::two_product(hi, vd2{} + u, p, pe);
    return expk::scale_pow2(p[0], pe[0] + rest[0] * u, k >> 6);
  };
  if (exp_specials(x, y, r, [&](double v) { return scaled(v, 1.0); }))
    return __builtin_isfinite(x) && __builtin_isinf(r[0]) ? 3 : 0;
  double c, s;
  sincos_ha(y, c, s);
  r[0] = scaled(x, c), r[1] = scaled(x, s);
  return overflow_status(true, r);
}

// sin(theta_k + r) of a sine or cosine table row as hi + lo: the row
// evaluation of the double sine kernels with its low part kept apart.
inline void eval_row_dd(const double (*table)[4], vq2 k, vd2 r, vd2 r_lo, vd2 &hi, vd2 &lo) {
  vd2 c_lo, c_hi, s_hi, s_lo;
  dtrig::gather4(table, k, c_lo, c_hi, s_hi, s_lo);
  vd2 t, e1, h, e2;
  exact::two_sum(s_hi, r * c_hi, t, e1);
  exact::two_sum(t, r * c_lo, h, e2);
  const vd2 z = r * r, c = c_hi + c_lo;
  const vd2 sin_tail = (0.0083333229326095146 * z - 0.1666666666665455) * z * r;
  const vd2 cos_tail = ((-0.0013888875887985619 * z + 0.041666666666651524) * z - 0.5) * z;
  const vd2 low = (e1 + e2) + sin_tail * c + cos_tail * s_hi + s_lo + r_lo * (c - r * s_hi);
  exact::fast_two_sum(h, low, hi, lo);
}

// cos y and sin y as double-doubles: the reduction by pi/256 of the HA sine
// kernels, or the large reduction beyond its threshold (finite lanes).
inline void sincos_dd(vd2 y, vd2 &ch, vd2 &cl, vd2 &sh, vd2 &sl) {
  const vd2 a = vabs(y);
  vq2 k;
  vd2 r_lo;
  vd2 r = dtrig::ReduceHA::run(a, k, r_lo);
  const vl2 big = ~le(a, dtrig::ReduceHA::kThreshold) & ~dtrig::non_finite(a);
  if (__builtin_expect(lane_bits(big) != 0, 0)) {
    vq2 kb;
    vd2 rb_lo;
    const vd2 rb = dtrig::reduce_large(a, kb, rb_lo);
    r = select(big, rb, r), r_lo = select(big, rb_lo, r_lo);
    k = as<vq2>(select(big, as<vd2>(kb), as<vd2>(k)));
  }
  k &= 511;
  eval_row_dd(dtrig_tables::kCosineTable, k, r, r_lo, ch, cl);
  eval_row_dd(dtrig_tables::kSineTable, k, r, r_lo, sh, sl);
  sh = bxor(sh, sign_of(y)), sl = bxor(sl, sign_of(y));
}

template <bool kHA> struct ZExp {
  using T = double;
  static constexpr int kIn = 1, kBlock = 4;
  static constexpr const char *kName = kZExp;
  // e^x u for u = uh + ul, before the power of two.
  static vd2 product(vd2 hi, vd2 hh, vd2 hl, vd2 rest, vd2 uh, vd2 ul) {
    if constexpr (kHA) {
      vd2 p, e;
      exact::two_product(hi, hh, hl, uh, p, e);
      return p + (e + (hi * ul + rest * uh));
    } else {
      (void)hh, (void)hl, (void)ul;
      return (hi + rest) * uh;
    }
  }
  static vl2 lanes(const vd2 *in, vd2 &re, vd2 &im) {
    const vd2 x = in[0], y = in[1];
    vq2 e;
    vd2 hi, rest, ch, cl, sh, sl, hh, hl;
    expk::ExpHACore::parts(x, e, hi, rest);
    sincos_dd(y, ch, cl, sh, sl);
    exact::split(hi, hh, hl);
    const vd2 scale = as<vd2>(e + 0x3ff0000000000000ull);
    re = product(hi, hh, hl, rest, ch, cl) * scale;
    im = bits::bor(vabs(product(hi, hh, hl, rest, sh, sl) * scale), sign_of(sh));  // the sign of sin y, also of a zero
    return expk::high_word_above(x, 0x4086232a) | dtrig::non_finite(vabs(y));
  }
  static int scalar(const double *a, const double *, double *r) { return zexp_scalar(a, r); }
};

QOR_ACCURACY(cExp, LA, ULP, 4.0)
QOR_ACCURACY(cExp, HA, ULP, 1.0)
QOR_ACCURACY(cExp, EP, BITS, 11)
QOR_ACCURACY(zExp, LA, ULP, 4.0)
QOR_ACCURACY(zExp, HA, ULP, 1.0)
QOR_ACCURACY(zExp, EP, BITS, 26)
QOR_CBOX(cExp, 0, 104, 0, 3.4e38, 100000)  // every imaginary binade, huge arguments included
QOR_CBOX(cExp, 1e-3, 87.34, 1e-3, 10000, 100000)  // the fast path
QOR_CBOX(cExp, 85, 104, 1e-3, 10, 50000)  // overflow and underflow bands
QOR_CBOX(cExp, 0, 1, 1.5, 1.6, 20000)  // cosine near zero at pi/2
QOR_CBOX(zExp, 0, 746, 0, 1.7e308, 100000)  // every imaginary binade, huge arguments included
QOR_CBOX(zExp, 1e-3, 708, 1e-3, 65536, 100000)  // the fast path
QOR_CBOX(zExp, 700, 746, 1e-3, 10, 50000)  // overflow and underflow bands
QOR_CBOX(zExp, 0, 1, 1.5707, 1.5708, 20000)  // cosine near zero at pi/2

}  // namespace
}  // namespace qor::kernels::cx

using qor::bex::StandardEnv;
namespace cxk = qor::kernels::cx;
using CExpLAEP = cxk::CExp<false>;
using CExpHA = cxk::CExp<true>;
using ZExpLAEP = cxk::ZExp<false>;
using ZExpHA = cxk::ZExp<true>;
QOR_CX_UNARY(cExp, LAEP, CExpLAEP, StandardEnv)
QOR_CX_UNARY(cExp, HA, CExpHA, StandardEnv)
QOR_CX_UNARY(zExp, LAEP, ZExpLAEP, StandardEnv)
QOR_CX_UNARY(zExp, HA, ZExpHA, StandardEnv)
