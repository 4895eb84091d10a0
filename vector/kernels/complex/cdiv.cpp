// Complex Div, c and z, two kernels each: LA/HA and EP, all as
// a conj(b) / |b|^2.
//
// c: the parts widened to double make the products and |b|^2 exact, so each
// part is one rounded sum, one rounded quotient and the narrowing; LA/HA
// divides each part, EP multiplies by one reciprocal of |b|^2. Both flag a
// part with infinity bits (a zero divisor, overflow, NaN and infinite parts).
// z EP: the true divisions of the plain double formula. z LA/HA: numerator
// and |b|^2 as exact double-double sums of Dekker's two-products, the
// quotient corrected once by its residual. Both z kernels take their fast
// path for parts of magnitude in [2^-450, 2^450], where no product
// or sum can overflow or lose bits to underflow; the rest goes to the
// binary128 scalar routine.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/complex/cblock.h"
#include "vector/kernels/complex/cscalar.h"
#include "vector/kernels/exact.h"

namespace qor::kernels::cx {
namespace {

template <bool kReciprocal> struct CDiv {
  using T = float;
  static constexpr int kIn = 2, kBlock = 8;
  static constexpr const char *kName = "vcDiv";
  static vi4 lanes(const vf4 *x, vf4 &re, vf4 &im) {
    vd2 r2[2], i2[2];
    for (int h = 0; h < 2; ++h) {
      const vd2 ar = h ? high_pair(x[0]) : low_pair(x[0]), ai = h ? high_pair(x[1]) : low_pair(x[1]);
      const vd2 br = h ? high_pair(x[2]) : low_pair(x[2]), bi = h ? high_pair(x[3]) : low_pair(x[3]);
      const vd2 den = br * br + bi * bi, nr = ar * br + ai * bi, ni = ai * br - ar * bi;
      if constexpr (kReciprocal) {
        const vd2 inv = 1.0 / den;
        r2[h] = nr * inv, i2[h] = ni * inv;
      } else {
        r2[h] = nr / den, i2[h] = ni / den;
      }
    }
    re = narrow(r2[0], r2[1]);
    im = narrow(i2[0], i2[1]);
    return not_finite(re) | not_finite(im);
  }
  static int scalar(const float *a, const float *b, float *r) { return div_scalar(a, b, r); }
};

// Zero parts go to the scalar routine too: the compensated sums would not
// keep the sign of an exact zero.
constexpr double kLo = 0x1p-450, kHi = 0x1p450;
inline vl2 z_unsafe(const vd2 *x) {
  return ~(in_range(x[0], kLo, kHi) & in_range(x[1], kLo, kHi) & in_range(x[2], kLo, kHi) &
           in_range(x[3], kLo, kHi));
}

struct ZDivEP {
  using T = double;
  static constexpr int kIn = 2, kBlock = 4;
  static constexpr const char *kName = "vzDiv";
  static vl2 lanes(const vd2 *x, vd2 &re, vd2 &im) {
    const vd2 ar = x[0], ai = x[1], br = x[2], bi = x[3];
    const vd2 den = br * br + bi * bi;
    re = (ar * br + ai * bi) / den;
    im = (ai * br - ar * bi) / den;
    return z_unsafe(x) | not_finite(re) | not_finite(im);
  }
  static int scalar(const double *a, const double *b, double *r) { return div_scalar(a, b, r); }
};

// u v + w z as a double-double (hi, lo), with splits of all four given.
struct Split {
  vd2 v, h, l;
  explicit Split(vd2 x) : v(x) { exact::split(x, h, l); }
};
inline void dot2(const Split &u, const Split &v, const Split &w, const Split &z, vd2 &hi, vd2 &lo) {
  const vd2 p1 = u.v * v.v, e1 = ((u.h * v.h - p1) + u.h * v.l + u.l * v.h) + u.l * v.l;
  const vd2 p2 = w.v * z.v, e2 = ((w.h * z.h - p2) + w.h * z.l + w.l * z.h) + w.l * z.l;
  vd2 s, t;
  exact::two_sum(p1, p2, s, t);
  exact::fast_two_sum(s, t + (e1 + e2), hi, lo);
}
// (nh + nl) / (dh + dl), with one correction by the residual.
inline vd2 dd_div(vd2 nh, vd2 nl, vd2 dh, vd2 dl) {
  const vd2 q = nh / dh;
  vd2 p, e;
  exact::two_product(q, dh, p, e);
  const vd2 rem = (((nh - p) - e) + nl) - q * dl;
  return q + rem / dh;
}

struct ZDivLAHA {
  using T = double;
  static constexpr int kIn = 2, kBlock = 4;
  static constexpr const char *kName = "vzDiv";
  static vl2 lanes(const vd2 *x, vd2 &re, vd2 &im) {
    const Split ar(x[0]), ai(x[1]), br(x[2]), bi(x[3]), nbi(vd2{} - x[3]);
    vd2 dh, dl, rh, rl, ih, il;
    dot2(br, br, bi, bi, dh, dl);
    dot2(ar, br, ai, bi, rh, rl);
    dot2(ai, br, ar, nbi, ih, il);
    re = dd_div(rh, rl, dh, dl);
    im = dd_div(ih, il, dh, dl);
    return z_unsafe(x) | not_finite(re) | not_finite(im);
  }
  static int scalar(const double *a, const double *b, double *r) { return div_scalar(a, b, r); }
};


QOR_ACCURACY(cDiv, LA, ULP, 4.0)
QOR_ACCURACY(cDiv, HA, ULP, 1.0)
QOR_ACCURACY(cDiv, EP, BITS, 11)
QOR_CBOX2(cDiv, 0, 3.4e38, 0, 3.4e38, 0, 3.4e38, 0, 3.4e38, 100000)  // the whole range, denormals included
QOR_CBOX2(cDiv, 0.5, 2, 0.5, 2, 0.5, 2, 0.5, 2, 100000)  // near unity
QOR_ACCURACY(zDiv, LA, ULP, 4.0)
QOR_ACCURACY(zDiv, HA, ULP, 1.0)
QOR_ACCURACY(zDiv, EP, BITS, 26)
QOR_CBOX2(zDiv, 0, 1.7e308, 0, 1.7e308, 0, 1.7e308, 0, 1.7e308, 100000)  // the whole range, denormals included
QOR_CBOX2(zDiv, 0.5, 2, 0.5, 2, 0.5, 2, 0.5, 2, 100000)  // near unity
QOR_CBOX2(zDiv, 1e-130, 1e130, 1e-130, 1e130, 1e-130, 1e130, 1e-130, 1e130, 100000)  // the compensated fast path
QOR_CBOX2(zDiv, 1e-300, 1e300, 0, 0, 1e-300, 1e300, 1e-300, 1e300, 50000)  // real numerators

}  // namespace
}  // namespace qor::kernels::cx

using qor::bex::StandardEnv;
namespace cxk = qor::kernels::cx;
using CDivLAHA = cxk::CDiv<false>;
using CDivEP = cxk::CDiv<true>;
QOR_CX_BINARY(cDiv, LAHA, CDivLAHA, StandardEnv)
QOR_CX_BINARY(cDiv, EP, CDivEP, StandardEnv)
QOR_CX_BINARY(zDiv, LAHA, cxk::ZDivLAHA, StandardEnv)
QOR_CX_BINARY(zDiv, EP, cxk::ZDivEP, StandardEnv)
