// Complex Mul and MulByConj (a times b, a times the conjugate of b), c and z,
// two kernels each: LA/HA and EP. MulByConj negates the imaginary part of b
// and runs the Mul formulas.
//
// c EP: single-precision products in blocks of four; an element is flagged
// when a part lost more than ten bits to cancellation (2^-10 |a_im b_im| not
// below |re|, or 2^-10 |a_re b_im| not below |im|), and for NaN and infinite
// parts. c LA/HA: the products of the widened parts are exact in double, so
// each part is rounded twice only; flagged on infinity bits.
// z LA/HA: Dekker's two-products and an exact difference, for parts of
// magnitude in [2^-450, 2^450] (all the error terms are exact there; zero
// parts take the scalar routine, which keeps the sign of an exact zero);
// z EP: the plain double formula, flagged as c EP is, for a part that lost
// more than twenty bits. The scalar
// routine of every kernel computes in a wider format (double for c, binary128
// for z), recovers infinities as C99 Annex G does, and reports 3 when finite
// inputs gave an infinite part.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/complex/cblock.h"
#include "vector/kernels/complex/cscalar.h"
#include "vector/kernels/exact.h"

namespace qor::kernels::cx {
namespace {

template <bool Conj, class V> inline V conj_im(V bi) { return Conj ? as<V>(as<bits::MaskOf<V>>(bi) ^ bits::sign_mask<V>()) : bi; }

// c EP: the cancellation test in single precision.
template <bool Conj, const char *Name> struct CMulEP {
  using T = float;
  static constexpr int kIn = 2, kBlock = 4;
  static constexpr const char *kName = Name;
  static vi4 lanes(const vf4 *x, vf4 &re, vf4 &im) {
    const vf4 ar = x[0], ai = x[1], br = x[2], bi = conj_im<Conj>(x[3]);
    const vf4 p2 = ai * bi, p4 = ar * bi;
    re = ar * br - p2;
    im = ai * br + p4;
    const vf4 are = vabs(re), aim = vabs(im);
    return ~lt(vabs(p2) * 0.0009765625f, are) | ~lt(vabs(p4) * 0.0009765625f, aim) | not_finite(re) |
           not_finite(im);
  }
  static int scalar(const float *a, const float *b, float *r) { return mul_scalar<Conj>(a, b, r); }
};

// c LA/HA: exact products of the widened parts.
template <bool Conj, const char *Name> struct CMulLAHA {
  using T = float;
  static constexpr int kIn = 2, kBlock = 8;
  static constexpr const char *kName = Name;
  static vi4 lanes(const vf4 *x, vf4 &re, vf4 &im) {
    const vf4 bi4 = conj_im<Conj>(x[3]);
    vd2 r2[2], i2[2];
    for (int h = 0; h < 2; ++h) {
      const vd2 ar = h ? high_pair(x[0]) : low_pair(x[0]), ai = h ? high_pair(x[1]) : low_pair(x[1]);
      const vd2 br = h ? high_pair(x[2]) : low_pair(x[2]), bi = h ? high_pair(bi4) : low_pair(bi4);
      r2[h] = ar * br - ai * bi;
      i2[h] = ai * br + ar * bi;
    }
    re = narrow(r2[0], r2[1]);
    im = narrow(i2[0], i2[1]);
    return not_finite(re) | not_finite(im);
  }
  static int scalar(const float *a, const float *b, float *r) { return mul_scalar<Conj>(a, b, r); }
};

// z EP: the plain formula with the cancellation test.
template <bool Conj, const char *Name> struct ZMulEP {
  using T = double;
  static constexpr int kIn = 2, kBlock = 4;
  static constexpr const char *kName = Name;
  static vl2 lanes(const vd2 *x, vd2 &re, vd2 &im) {
    const vd2 ar = x[0], ai = x[1], br = x[2], bi = conj_im<Conj>(x[3]);
    const vd2 p2 = ai * bi, p4 = ar * bi;
    re = ar * br - p2;
    im = ai * br + p4;
    return ~lt(vabs(p2) * 0x1p-20, vabs(re)) | ~lt(vabs(p4) * 0x1p-20, vabs(im)) | not_finite(re) | not_finite(im);
  }
  static int scalar(const double *a, const double *b, double *r) { return mul_scalar<Conj>(a, b, r); }
};

// z LA/HA: p1 - p2 with p = a b + e exact, the difference s + t exact, and
// re = s + (t + (e1 - e2)): one rounding of a sum whose other errors are
// below 2^-100 of the products.
inline void two_prod(vd2 a, vd2 ah, vd2 al, vd2 b, vd2 bh, vd2 bl, vd2 &p, vd2 &e) {
  p = a * b;
  e = ((ah * bh - p) + ah * bl + al * bh) + al * bl;
}
inline vd2 exact_combination(vd2 p1, vd2 e1, vd2 p2, vd2 e2) {  // p1 + e1 + p2 + e2, rounded about once
  vd2 s, t;
  exact::two_sum(p1, p2, s, t);
  return s + (t + (e1 + e2));
}
template <bool Conj, const char *Name> struct ZMulLAHA {
  using T = double;
  static constexpr int kIn = 2, kBlock = 4;
  static constexpr const char *kName = Name;
  static vl2 lanes(const vd2 *x, vd2 &re, vd2 &im) {
    const vd2 ar = x[0], ai = x[1], br = x[2], bi = conj_im<Conj>(x[3]);
    vd2 arh, arl, aih, ail, brh, brl, bih, bil;
    exact::split(ar, arh, arl), exact::split(ai, aih, ail), exact::split(br, brh, brl), exact::split(bi, bih, bil);
    vd2 p1, e1, p2, e2, p3, e3, p4, e4;
    two_prod(ar, arh, arl, br, brh, brl, p1, e1);
    two_prod(ai, aih, ail, bi, bih, bil, p2, e2);
    two_prod(ai, aih, ail, br, brh, brl, p3, e3);
    two_prod(ar, arh, arl, bi, bih, bil, p4, e4);
    re = exact_combination(p1, e1, -p2, -e2);
    im = exact_combination(p3, e3, p4, e4);
    constexpr double lo = 0x1p-450, hi = 0x1p450;
    return ~(in_range(ar, lo, hi) & in_range(ai, lo, hi) & in_range(br, lo, hi) & in_range(bi, lo, hi));
  }
  static int scalar(const double *a, const double *b, double *r) { return mul_scalar<Conj>(a, b, r); }
};

constexpr char kCMul[] = "vcMul", kCMulByConj[] = "vcMulByConj", kZMul[] = "vzMul", kZMulByConj[] = "vzMulByConj";


QOR_ACCURACY(cMul, LA, ULP, 4.0)
QOR_ACCURACY(cMul, HA, ULP, 1.0)
QOR_ACCURACY(cMul, EP, BITS, 11)
QOR_CBOX2(cMul, 0, 3.4e38, 0, 3.4e38, 0, 3.4e38, 0, 3.4e38, 100000)  // the whole range, denormals included
QOR_CBOX2(cMul, 0.5, 2, 0.5, 2, 0.5, 2, 0.5, 2, 100000)  // near unity: cancellation and the fast path
QOR_ACCURACY(cMulByConj, LA, ULP, 4.0)
QOR_ACCURACY(cMulByConj, HA, ULP, 1.0)
QOR_ACCURACY(cMulByConj, EP, BITS, 11)
QOR_CBOX2(cMulByConj, 0, 3.4e38, 0, 3.4e38, 0, 3.4e38, 0, 3.4e38, 100000)  // the whole range, denormals included
QOR_CBOX2(cMulByConj, 0.5, 2, 0.5, 2, 0.5, 2, 0.5, 2, 100000)  // near unity: cancellation and the fast path
QOR_ACCURACY(zMul, LA, ULP, 4.0)
QOR_ACCURACY(zMul, HA, ULP, 1.0)
QOR_ACCURACY(zMul, EP, BITS, 26)
QOR_CBOX2(zMul, 0, 1.7e308, 0, 1.7e308, 0, 1.7e308, 0, 1.7e308, 100000)  // the whole range, denormals included
QOR_CBOX2(zMul, 0.5, 2, 0.5, 2, 0.5, 2, 0.5, 2, 100000)  // near unity: cancellation and the fast path
QOR_ACCURACY(zMulByConj, LA, ULP, 4.0)
QOR_ACCURACY(zMulByConj, HA, ULP, 1.0)
QOR_ACCURACY(zMulByConj, EP, BITS, 26)
QOR_CBOX2(zMulByConj, 0, 1.7e308, 0, 1.7e308, 0, 1.7e308, 0, 1.7e308, 100000)  // the whole range, denormals included
QOR_CBOX2(zMulByConj, 0.5, 2, 0.5, 2, 0.5, 2, 0.5, 2, 100000)  // near unity: cancellation and the fast path
QOR_CBOX2(zMul, 1e-130, 1e130, 1e-130, 1e130, 1e-130, 1e130, 1e-130, 1e130, 100000)  // the compensated fast path

}  // namespace
}  // namespace qor::kernels::cx

using qor::bex::StandardEnv;
namespace cxk = qor::kernels::cx;
using CMulLAHA = cxk::CMulLAHA<false, cxk::kCMul>;
using CMulEP = cxk::CMulEP<false, cxk::kCMul>;
using CMulByConjLAHA = cxk::CMulLAHA<true, cxk::kCMulByConj>;
using CMulByConjEP = cxk::CMulEP<true, cxk::kCMulByConj>;
using ZMulLAHA = cxk::ZMulLAHA<false, cxk::kZMul>;
using ZMulEP = cxk::ZMulEP<false, cxk::kZMul>;
using ZMulByConjLAHA = cxk::ZMulLAHA<true, cxk::kZMulByConj>;
using ZMulByConjEP = cxk::ZMulEP<true, cxk::kZMulByConj>;
QOR_CX_BINARY(cMul, LAHA, CMulLAHA, StandardEnv)
QOR_CX_BINARY(cMul, EP, CMulEP, StandardEnv)
QOR_CX_BINARY(cMulByConj, LAHA, CMulByConjLAHA, StandardEnv)
QOR_CX_BINARY(cMulByConj, EP, CMulByConjEP, StandardEnv)
QOR_CX_BINARY(zMul, LAHA, ZMulLAHA, StandardEnv)
QOR_CX_BINARY(zMul, EP, ZMulEP, StandardEnv)
QOR_CX_BINARY(zMulByConj, LAHA, ZMulByConjLAHA, StandardEnv)
QOR_CX_BINARY(zMulByConj, EP, ZMulByConjEP, StandardEnv)
