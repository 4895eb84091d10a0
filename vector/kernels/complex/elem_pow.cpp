// Pow and Powx of c and z: one element routine, z^w = e^(w ln z), shared by
// both entries of both types, so that Powx(a, b) is Pow(a, [b, b, ...]) bit
// for bit. In x87 extended precision, with ln z exact near the unit circle;
// the products w ln z are carried as exact head and tail, so that a real
// part of e^... that cancels, and a large angle, keep their accuracy
// relative to the extended logarithm. Reports 2 for 0 to a power with a
// negative real part, 1 for a zero base under a purely imaginary power, and
// (by the frame) 3 for an overflowing part.
#include "vector/kernels/complex/elem_common.h"

namespace qor::kernels::cplx {
namespace {

// h + l = a*b - c*d to about 2^-128 of the larger product.
inline void dot2(ld a, ld b, ld c, ld d, ld &h, ld &l) {
  ld p, pe, q, qe, s, se;
  two_prod(a, b, p, pe);
  two_prod(c, d, q, qe);
  two_sum(p, -q, s, se);
  two_sum(s, se + (pe - qe), h, l);
}

int pow_routine(double out[2], const double a[2], const double b[2]) {
  const ld x = part(&a[0]), y = part(&a[1]), u = part(&b[0]), v = part(&b[1]);
  if (u == 0 && v == 0) return put(out, 1.0L, 0.0L);
  const bool finite = is_finite(x) && is_finite(y) && is_finite(u) && is_finite(v);
  if (finite && x == 0 && y == 0) {
    if (u > 0) return put(out, 0.0L, 0.0L);
    if (u < 0) {
      put(out, __builtin_infl(), 0.0L);
      return 2;
    }
    put(out, nan_of(x, __builtin_infl()), nan_of(x, __builtin_infl()));
    return 1;
  }
  ld lr, li;
  clog_ext<0>(x, y, lr, li);
  if (!finite) {
    // Infinite or NaN parts: e^(w ln z) by the plain formulas, in IEEE rules.
    const ld er = u * lr - v * li, ei = u * li + v * lr;
    ld s, c;
    sincos_ext(ei, s, c);
    const ld m = exp_ext(er);
    return put(out, c == 0 ? c : m * c, s == 0 ? s : m * s);
  }
  ld rh, rl, ih, il;
  dot2(u, lr, v, li, rh, rl);
  dot2(u, li, -v, lr, ih, il);
  ld s, c;
  sincos_ext(ih, s, c);
  const ld cs = c - il * s, sn = s + il * c;  // the tail of the angle
  const ld m = exp_ext(rh) * (1 + rl);
  return put(out, cs == 0 ? cs : m * cs, sn == 0 ? sn : m * sn);
}

}  // namespace
}  // namespace qor::kernels::cplx

QOR_COMPLEX_ELEMENT_POW(cPow, ALL, QorComplex8, qor::kernels::cplx::pow_routine, true)
QOR_COMPLEX_ELEMENT_POW(zPow, ALL, QorComplex16, qor::kernels::cplx::pow_routine, true)
QOR_COMPLEX_ELEMENT_POWX(cPowx, ALL, QorComplex8, qor::kernels::cplx::pow_routine, true)
QOR_COMPLEX_ELEMENT_POWX(zPowx, ALL, QorComplex16, qor::kernels::cplx::pow_routine, true)

namespace {
QOR_ACCURACY(cPow, LA, ULP, 4.0)
QOR_ACCURACY(cPow, HA, ULP, 1.0)
QOR_ACCURACY(cPow, EP, BITS, 11)
QOR_CBOX2(cPow, 1e-3, 1e3, 1e-3, 1e3, 1e-3, 10, 1e-3, 10, 20000)  // the body
QOR_CBOX2(cPow, 0, 3.4e38, 0, 3.4e38, 0, 1, 0, 1, 20000)  // bases across the whole range
QOR_CBOX2(cPow, 0.5, 1.5, 0, 1e-2, 1, 1e4, 0, 1e2, 10000)  // bases near 1, large exponents
QOR_CBOX2(cPow, 1e-3, 1e3, 0, 0, 0, 50, 0, 0, 10000)  // real bases of both signs, real exponents
QOR_ACCURACY(cPowx, LA, ULP, 4.0)
QOR_ACCURACY(cPowx, HA, ULP, 1.0)
QOR_ACCURACY(cPowx, EP, BITS, 11)
QOR_CBOX2(cPowx, 1e-3, 1e3, 1e-3, 1e3, 1e-3, 10, 1e-3, 10, 20000)  // the body
QOR_CBOX2(cPowx, 0, 3.4e38, 0, 3.4e38, 0, 1, 0, 1, 20000)  // bases across the whole range
QOR_CBOX2(cPowx, 0.5, 1.5, 0, 1e-2, 1, 1e4, 0, 1e2, 10000)  // bases near 1, large exponents
QOR_CBOX2(cPowx, 1e-3, 1e3, 0, 0, 0, 50, 0, 0, 10000)  // real bases of both signs, real exponents
QOR_ACCURACY(zPow, LA, ULP, 4.0)
QOR_ACCURACY(zPow, HA, ULP, 1.0)
QOR_ACCURACY(zPow, EP, BITS, 26)
QOR_CBOX2(zPow, 1e-3, 1e3, 1e-3, 1e3, 1e-3, 10, 1e-3, 10, 20000)  // the body
QOR_CBOX2(zPow, 0, 1.7e308, 0, 1.7e308, 0, 1, 0, 1, 20000)  // bases across the whole range
QOR_CBOX2(zPow, 0.5, 1.5, 0, 1e-2, 1, 1e4, 0, 1e2, 10000)  // bases near 1, large exponents
QOR_CBOX2(zPow, 1e-3, 1e3, 0, 0, 0, 50, 0, 0, 10000)  // real bases of both signs, real exponents
QOR_ACCURACY(zPowx, LA, ULP, 4.0)
QOR_ACCURACY(zPowx, HA, ULP, 1.0)
QOR_ACCURACY(zPowx, EP, BITS, 26)
QOR_CBOX2(zPowx, 1e-3, 1e3, 1e-3, 1e3, 1e-3, 10, 1e-3, 10, 20000)  // the body
QOR_CBOX2(zPowx, 0, 1.7e308, 0, 1.7e308, 0, 1, 0, 1, 20000)  // bases across the whole range
QOR_CBOX2(zPowx, 0.5, 1.5, 0, 1e-2, 1, 1e4, 0, 1e2, 10000)  // bases near 1, large exponents
QOR_CBOX2(zPowx, 1e-3, 1e3, 0, 0, 0, 50, 0, 0, 10000)  // real bases of both signs, real exponents
}  // namespace
