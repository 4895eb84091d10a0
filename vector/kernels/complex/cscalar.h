// The scalar routines of the complex products and quotients: computed in a
// wider format (double for c, binary128 for z, whose 113-bit significand
// holds a product of two doubles exactly and whose exponent range takes any
// square), rounded once to the part type, with the recovery of infinite
// results that C99 Annex G gives for operands with infinite or NaN parts.
#ifndef QOR_KERNELS_COMPLEX_CSCALAR_H
#define QOR_KERNELS_COMPLEX_CSCALAR_H

#include "vector/kernels/complex/cblock.h"

namespace qor::kernels::cx {

template <class T> struct WideOf;
template <> struct WideOf<float> { using W = double; };
template <> struct WideOf<double> { using W = __float128; };

template <class T> inline bool is_inf(T x) { return __builtin_isinf(x); }
template <class T> inline bool is_nan(T x) { return __builtin_isnan(x); }
// inf -> +-1, NaN -> +0, other -> +-0
template <class T> inline T boxed(T x) { return is_nan(x) ? T(0) : __builtin_copysign(is_inf(x) ? T(1) : T(0), x); }
template <class T> inline T nan_to_zero(T x) { return is_nan(x) ? __builtin_copysign(T(0), x) : x; }

// a b (Conj: a conj(b)); status 3 when finite inputs gave an infinite part.
template <bool Conj, class T> int mul_scalar(const T *a, const T *b, T *r) {
  using W = typename WideOf<T>::W;
  T ar = a[0], ai = a[1], br = b[0], bi = Conj ? -b[1] : b[1];
  T x = T((W)ar * br - (W)ai * bi), y = T((W)ai * br + (W)ar * bi);
  if (is_nan(x) && is_nan(y)) {  // recover infinities
    bool again = false;
    if (is_inf(ar) || is_inf(ai)) {
      ar = boxed(ar), ai = boxed(ai), br = nan_to_zero(br), bi = nan_to_zero(bi);
      again = true;
    }
    if (is_inf(br) || is_inf(bi)) {
      br = boxed(br), bi = boxed(bi), ar = nan_to_zero(ar), ai = nan_to_zero(ai);
      again = true;
    }
    if (!again && (is_inf((W)ar * br) || is_inf((W)ai * bi) || is_inf((W)ar * bi) || is_inf((W)ai * br))) {
      ar = nan_to_zero(ar), ai = nan_to_zero(ai), br = nan_to_zero(br), bi = nan_to_zero(bi);
      again = true;
    }
    if (again) {
      const T inf = __builtin_inf();
      x = inf * (ar * br - ai * bi);
      y = inf * (ai * br + ar * bi);
    }
  }
  // Infinite real parts of both, with a finite non-zero a_im: the imaginary
  // part is the sum of two infinities of opposite signs, taken as the a_re b_im term.
  const T ar0 = a[0], ai0 = a[1], br0 = b[0], bi0 = Conj ? -b[1] : b[1];
  if (is_nan(y) && is_inf(x) && is_inf(ar0) && finite(ai0) && ai0 != 0 && is_inf(br0) && !is_nan(bi0)) y = ar0 * bi0;
  r[0] = x, r[1] = y;
  return overflow_status(all_finite(a, b), r);
}

// a / b = a conj(b) / |b|^2 in the wide format; status 2 for a finite
// non-zero a over a zero b, 3 when finite inputs gave an infinite part.
template <class T> int div_scalar(const T *a, const T *b, T *r) {
  using W = typename WideOf<T>::W;
  T ar = a[0], ai = a[1], br = b[0], bi = b[1];
  const W den = (W)br * br + (W)bi * bi;
  T x = T(((W)ar * br + (W)ai * bi) / den), y = T(((W)ai * br - (W)ar * bi) / den);
  const T inf = __builtin_inf();
  if (is_nan(x) && is_nan(y) && den == 0 && (!is_nan(ar) || !is_nan(ai))) {
    x = __builtin_copysign(inf, br) * ar;
    y = __builtin_copysign(inf, br) * ai;
  } else if ((is_inf(ar) || is_inf(ai)) && finite(br) && finite(bi)) {  // infinite over finite: infinite
    ar = boxed(ar), ai = boxed(ai);
    x = inf * (ar * br + ai * bi);
    y = inf * (ai * br - ar * bi);
  } else if ((is_inf(br) || is_inf(bi)) && finite(ar) && finite(ai)) {  // finite over infinite: zero
    br = boxed(br), bi = boxed(bi);
    x = T(W(0) * ((W)ar * br + (W)ai * bi));
    y = T(W(0) * ((W)ai * br - (W)ar * bi));
  }
  r[0] = x, r[1] = y;
  const bool fin = all_finite(a, b);
  if (fin && b[0] == 0 && b[1] == 0) return (a[0] != 0 || a[1] != 0) ? 2 : 0;
  return overflow_status(fin, r);
}

}  // namespace qor::kernels::cx

#endif
