// Shared pieces of the complex element routines of Cos, Sin, Tan, their
// hyperbolic forms, Ln, Log10 and Pow: the parts of an element in long
// double, their classification, and the store of a result pair (each part
// rounded once, by an x87 store).
#ifndef QOR_KERNELS_COMPLEX_ELEM_COMMON_H
#define QOR_KERNELS_COMPLEX_ELEM_COMMON_H

#include "vector/dispatch/accuracy.h"
#include "vector/kernels/complex/element_loop.h"
#include "vector/kernels/complex/x87_cmath.h"

namespace qor::kernels::cplx {

// A part loaded by the x87 unit: opaque to the compiler, so that no test or
// operation on it is narrowed back to an SSE double operation (which the
// caller's DAZ would see), and a signalling NaN comes out quiet.
inline ld part(const double *p) {
  ld r;
  __asm__("fldl %1" : "=t"(r) : "m"(*p));
  return r;
}
inline void store_part(double *p, ld v) { __asm__("fstpl %0" : "=m"(*p) : "t"(v) : "st"); }
inline int put(double out[2], ld re, ld im) {
  store_part(&out[0], re);
  store_part(&out[1], im);
  return 0;
}
inline ld nan_of(ld a, ld b) { return (a - a) + (b - b); }  // a quiet NaN when either is not finite
inline ld signed_zero(bool negative) { return negative ? -0.0L : 0.0L; }

// The element routines over a core f(x, y, re, im) on extended parts: f(z)
// itself, and -i f(iz) (iz = -y + ix, -i(u + iv) = v - iu), which gives the
// circular functions from the hyperbolic ones. Internal to each kernel file,
// as a routine written there would be, so that the compiler inlines alike.
using ExtCore = void (*)(ld x, ld y, ld &re, ld &im);
namespace {
template <ExtCore F> int direct_routine(double out[2], const double in[2]) {
  ld re, im;
  F(part(&in[0]), part(&in[1]), re, im);
  return put(out, re, im);
}
template <ExtCore F> int rotated_routine(double out[2], const double in[2]) {
  ld re, im;
  F(-part(&in[1]), part(&in[0]), re, im);
  return put(out, im, -re);
}
}  // namespace

// sinh(x + iy) and cosh(x + iy) by the product formulas, with the infinite
// and NaN parts as the C99 Annex G tables give them. The circular functions
// come from these through sin z = -i sinh(iz), cos z = cosh(iz).
inline void csinh_ext(ld x, ld y, ld &re, ld &im) {
  if (is_finite(x) && is_finite(y)) {
    ld sh, ch, s, c;
    sinh_cosh_ext(x, sh, ch);
    sincos_ext(y, s, c);
    re = sh * c, im = ch * s;
  } else if (!is_finite(y)) {  // y infinite or NaN
    re = (x == 0 || is_inf(x)) ? x : nan_of(y, y);
    im = nan_of(y, y);
  } else if (is_inf(x)) {  // y finite
    if (y == 0) {
      re = x, im = y;
    } else {
      ld s, c;
      sincos_ext(y, s, c);
      re = x * c, im = fabs_ld(x) * s;
    }
  } else {  // x NaN, y finite
    re = x, im = y == 0 ? y : x;
  }
}

inline void ccosh_ext(ld x, ld y, ld &re, ld &im) {
  if (is_finite(x) && is_finite(y)) {
    ld sh, ch, s, c;
    sinh_cosh_ext(x, sh, ch);
    sincos_ext(y, s, c);
    re = ch * c, im = sh * s;
  } else if (!is_finite(y)) {
    // the signs left open (of an infinite real part, of a zero imaginary
    // part) as the MPC reference gives them
    re = is_inf(x) ? (is_inf(y) && sign_bit(x) != sign_bit(y) ? -fabs_ld(x) : fabs_ld(x)) : nan_of(y, y);
    im = x == 0 ? signed_zero(is_nan(y) ? sign_bit(x) : sign_bit(x) != sign_bit(y)) : nan_of(y, y);
  } else if (is_inf(x)) {
    if (y == 0) {
      re = fabs_ld(x), im = signed_zero(sign_bit(x) != sign_bit(y));
    } else {
      ld s, c;
      sincos_ext(y, s, c);
      re = fabs_ld(x) * c, im = x * s;
    }
  } else {
    re = x, im = y == 0 ? -y : x;
  }
}

// tanh(x + iy) = (sinh x cosh x + i sin y cos y) / (sinh^2 x + cos^2 y): a sum
// of squares below, so no cancellation near the poles. Beyond |x| = 23 the
// real part is 1 to far more than 64 bits and the imaginary part
// 4 sin y cos y e^(-2|x|).
inline void ctanh_ext(ld x, ld y, ld &re, ld &im) {
  if (is_finite(x) && is_finite(y)) {
    ld s, c;
    sincos_ext(y, s, c);
    const ld ax = fabs_ld(x);
    if (ax > 23) {
      re = sign_bit(x) ? -1.0L : 1.0L;
      im = 4 * s * c * exp_ext(-2 * ax);
      return;
    }
    ld sh, ch;
    sinh_cosh_ext(x, sh, ch);
    const ld d = sh * sh + c * c;
    re = sh * ch / d, im = s * c / d;
  } else if (is_inf(x)) {
    re = sign_bit(x) ? -1.0L : 1.0L;
    if (is_finite(y)) {
      ld s, c;
      sincos_ext(y, s, c);
      im = signed_zero(sign_bit(s * c));
    } else {
      im = signed_zero(sign_bit(y) && is_inf(y));
    }
  } else if (is_nan(x) && y == 0) {
    re = x, im = y;
  } else {
    re = im = nan_of(x, y);
  }
}

// ln(x + iy) = ln|z| + i arg z; ln|z| by one of three methods (Method 0 exact
// near the unit circle, 1 ln of the modulus, 2 the plain sum of squares).
template <int Method> inline void clog_ext(ld x, ld y, ld &re, ld &im) {
  im = atan2_ext(y, x);
  if (is_inf(x) || is_inf(y)) {
    re = __builtin_infl();
  } else if (is_nan(x) || is_nan(y)) {
    re = im = nan_of(x, y);
  } else if (x == 0 && y == 0) {
    re = -__builtin_infl();
  } else if (Method == 0) {
    re = log_hypot(x, y);
  } else if (Method == 1) {
    re = log_ext(hypot_ext(x, y));
  } else {
    re = 0.5L * log_ext(x * x + y * y);
  }
}

}  // namespace qor::kernels::cplx

#endif
