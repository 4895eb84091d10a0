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

// h + l = a*b - c*d to about 2^-128 of the larger product. A product with a
// zero factor is an exact zero that does not take part, so the sign of a
// zero result is that of the other product.
inline void dot2(ld a, ld b, ld c, ld d, ld &h, ld &l) {
  l = 0;
  if (!is_finite(a) || !is_finite(b) || !is_finite(c) || !is_finite(d)) {
    h = a * b - c * d;
    return;
  }
  if (a == 0 || b == 0) {
    h = -(c * d);
    return;
  }
  if (c == 0 || d == 0) {
    h = a * b;
    return;
  }
  ld p, pe, q, qe, s, se;
  two_prod(a, b, p, pe);
  two_prod(c, d, q, qe);
  two_sum(p, -q, s, se);
  two_sum(s, se + (pe - qe), h, l);
}

// Where the modulus of the result is 0 or infinite in the limit, the angle
// goes unused: 0 + 0i, or an infinity with a NaN angle.
inline int limit(double out[2], bool infinite) {
  if (!infinite) return put(out, 0.0L, 0.0L);
  return put(out, __builtin_infl(), nan_of(__builtin_infl(), 0.0L));
}

int pow_routine(double out[2], const double a[2], const double b[2]) {
  const ld x = part(&a[0]), y = part(&a[1]), u = part(&b[0]), v = part(&b[1]);
  const bool base_finite = is_finite(x) && is_finite(y);
  if (x == 0 && y == 0) {  // a zero base: the sign of Re w decides
    if (u > 0) return limit(out, false);
    if (u < 0) return limit(out, true), (is_finite(u) && is_finite(v)) ? 2 : 0;
    if (u == 0 && v == 0) return put(out, 1.0L, 0.0L);
    put(out, nan_of(x, __builtin_infl()), nan_of(x, __builtin_infl()));
    return is_finite(v) ? 1 : 0;
  }
  if (!base_finite && u == 0 && v == 0) return put(out, 1.0L, 0.0L);
  if (!base_finite && !is_nan(x) && !is_nan(y)) {  // an infinite base
    if (u > 0) return limit(out, true);
    if (u < 0) return limit(out, false);
  }
  ld lr, li;
  clog_ext<0>(x, y, lr, li);
  ld rh, rl, ih, il;
  dot2(u, lr, v, li, rh, rl);
  dot2(u, li, -v, lr, ih, il);
  if (is_inf(rh) && !is_nan(rl)) return limit(out, rh > 0);
  if (!is_finite(rh) || !is_finite(ih)) return put(out, nan_of(rh, ih), nan_of(rh, ih));
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

