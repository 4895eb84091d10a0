// The element routines of the complex inverse functions: arcsine, arccosine
// and arctangent with their hyperbolic twins, on pairs of doubles, in x87
// extended precision.
//
// Three cores carry the six functions:
//   asinh_core  Asinh directly; Asin through asin z = -i asinh(iz)
//   acos_core   Acos and Acosh (acosh z = +-i acos z, the sign chosen so
//               that the real part is not negative)
//   atanh_core  Atanh directly; Atan through atan z = -i atanh(iz)
// Each core works on the magnitudes of the parts and puts the signs back at
// the end, which gives the odd and conjugate symmetries, and with them the
// side of a branch cut that the sign of a zero part selects.
//
// Squares of doubles stay far inside the extended exponent range (2^-2148 to
// 2^2048 against 2^-16445 to 2^16384), so nothing here needs scaling; the
// work is keeping cancellation out of A - 1 and A - q below.
#ifndef QOR_KERNELS_COMPLEX_ELEM_INV_CORE_H
#define QOR_KERNELS_COMPLEX_ELEM_INV_CORE_H

#include <stdint.h>
#include <string.h>

#include "vector/kernels/complex/element_loop.h"
#include "vector/kernels/complex/x87_cmath.h"

namespace qor::kernels::cplx::inv {

// The constants of the cores, in 80-bit form.
constexpr ld kOne = 1.0L;
constexpr ld kHalf = 0.5L;
constexpr ld kAsinCross = 0.9L;   // above: the arcsine through A - q
constexpr ld kAcoshCross = 1.5L;  // below: the log1p form of acosh A
constexpr ld kLeastNormal = 2.2250738585072014e-308L;  // below in both parts: z itself
constexpr ld kPi = k80::kPi;
constexpr ld kPi2 = k80::kPiO2Hi;
constexpr ld kPi4 = k80::kPiO4;
constexpr ld k3Pi4 = k80::kThreePiO4;

// Constants, so that the rules for infinite parts raise no flag.
constexpr ld kInf = __builtin_huge_vall();
constexpr ld kNaN = __builtin_nanl("");

// A part seen through its bits, so that a NaN is told by its exponent field
// and fraction rather than by a compare.
struct Part {
  ld v;        // the value, widened by an x87 load
  uint64_t b;  // its bits
  bool neg() const { return (b >> 63) != 0; }
  uint64_t mag() const { return b & 0x7fffffffffffffffull; }
  bool nan() const { return mag() > 0x7ff0000000000000ull; }
  bool inf() const { return mag() == 0x7ff0000000000000ull; }
  bool finite() const { return mag() < 0x7ff0000000000000ull; }
  bool zero() const { return mag() == 0; }
  ld abs() const { return neg() ? -v : v; }
};

inline Part part(const double *p) {
  Part r;
  memcpy(&r.b, p, 8);
  __asm__("fldl %1" : "=t"(r.v) : "m"(*p));
  return r;
}

// -x, except that a NaN keeps its sign: the swaps iz and -iw of Asin and Atan
// pass a NaN part through with its bits unchanged.
inline Part flip(Part x) {
  if (!x.nan()) {
    x.v = -x.v;
    x.b ^= 0x8000000000000000ull;
  }
  return x;
}

inline ld with_sign(ld m, bool negative) { return negative ? -m : m; }
// -v for the maps back from the swapped argument; a NaN keeps its sign.
inline ld negate(ld v) { return v != v ? v : -v; }
inline ld magnitude(ld v) { return __builtin_fabsl(v); }

// A quiet NaN from the operands' NaN (x + x), or a fresh one.
inline ld quiet(Part a, Part b) {
  if (a.nan()) return a.v + a.v;
  if (b.nan()) return b.v + b.v;
  return kNaN;
}

// The moduli r = |w + 1|, s = |w - 1| and A = (r + s)/2 >= 1 of
// w = q + i p (p, q >= 0): A is the point where the arcsine family's level
// curves (ellipses with foci at +-1) meet the real axis.
struct Ellipse {
  ld p, q, r, s, A;
};

inline Ellipse ellipse(ld p, ld q) {
  const ld pp = p * p;
  const ld qp = q + kOne, qm = q - kOne;
  const ld r = sqrt_ext(pp + qp * qp), s = sqrt_ext(pp + qm * qm);
  return {p, q, r, s, kHalf * (r + s)};
}

// p^2 / (s + (q - 1)) = s - (q - 1) for q >= 1, zero at w = 1 itself.
inline ld s_minus_qm1(const Ellipse &e) {
  const ld d = e.s + (e.q - kOne);
  return d == 0 ? 0 : e.p * e.p / d;
}

// acosh A = ln(A + sqrt(A^2 - 1)). Near A = 1 through log1p of
// (A - 1) + sqrt((A - 1)(A + 1)), with A - 1 summed from terms that cannot
// cancel: (r - (q + 1)) / 2 + (s - (1 - q)) / 2, each difference rewritten
// as a quotient when it would subtract close numbers.
inline ld acosh_of_A(const Ellipse &e) {
  if (e.A >= kAcoshCross) return log_ext(e.A + sqrt_ext((e.A - kOne) * (e.A + kOne)));
  const ld pp = e.p * e.p;
  const ld r_part = pp / (e.r + (e.q + kOne));
  const ld s_part = e.q < kOne ? pp / (e.s + (kOne - e.q)) : e.s + (e.q - kOne);
  const ld am1 = kHalf * (r_part + s_part);
  return log1p_ext(am1 + sqrt_ext(am1 * (e.A + kOne)));
}

// sqrt(A^2 - q^2) with A - q = (r - (q + 1)) / 2 + (s - (q - 1)) / 2 free of
// cancellation on both sides of q = 1.
inline ld root_A2_minus_q2(const Ellipse &e) {
  const ld pp = e.p * e.p;
  const ld r_part = pp / (e.r + (e.q + kOne));
  const ld s_part = e.q < kOne ? e.s + (kOne - e.q) : s_minus_qm1(e);
  return sqrt_ext(kHalf * (r_part + s_part) * (e.A + e.q));
}

// asinh(x + iy) for finite parts, on p = |x|, q = |y|:
//   Re = acosh A,   Im = asin(q / A).
// The arcsine is asin B = atan(B / sqrt(1 - B^2)) up to B = 0.9, where 1 - B
// keeps its digits; above, it is atan2(q, sqrt(A^2 - q^2)).
inline void asinh_finite(Part x, Part y, ld *re, ld *im) {
  const ld p = x.abs(), q = y.abs();
  if (p < kLeastNormal && q < kLeastNormal) {
    // |z| so small that asinh z = z(1 - z^2/6 + ...) rounds to z itself
    *re = x.v;
    *im = y.v;
    return;
  }
  const Ellipse e = ellipse(p, q);
  const ld B = q / e.A;
  const ld angle = B <= kAsinCross ? atan2_ext(B, sqrt_ext((kOne - B) * (kOne + B)))
                                   : atan2_ext(q, root_A2_minus_q2(e));
  *re = with_sign(acosh_of_A(e), x.neg());
  *im = with_sign(angle, y.neg());
}

// asinh with the rules for infinite and NaN parts.
inline void asinh_core(Part x, Part y, ld *re, ld *im) {
  if (x.finite() && y.finite()) return asinh_finite(x, y, re, im);
  const ld inf = kInf;
  if (x.inf()) {
    *re = x.v;
    if (y.nan()) *im = y.v + y.v;
    else *im = with_sign(y.inf() ? kPi4 : 0, y.neg());
    return;
  }
  if (y.inf()) {
    // with a NaN real part no rule fixes the sign of the infinite real part;
    // it follows the NaN's sign bit
    *re = with_sign(inf, x.neg());
    *im = x.nan() ? quiet(x, y) : with_sign(kPi2, y.neg());
    return;
  }
  // one part NaN, the other finite: NaN + i0 keeps its zero
  if (x.nan() && y.zero()) {
    *re = x.v + x.v;
    *im = y.v;
    return;
  }
  *re = *im = quiet(x, y);
}

// acos(x + iy) for finite parts, on p = |y|, q = |x|:
//   Re = atan2(sqrt(A^2 - q^2), x),   Im = -sign(y) acosh A.
// The real part uses x with its sign: the angle lies in [0, pi].
inline void acos_finite(Part x, Part y, ld *re, ld *im) {
  const Ellipse e = ellipse(y.abs(), x.abs());
  *re = atan2_ext(root_A2_minus_q2(e), x.v);
  *im = with_sign(acosh_of_A(e), !y.neg());
}

// acos with the rules for infinite and NaN parts.
inline void acos_core(Part x, Part y, ld *re, ld *im) {
  if (x.finite() && y.finite()) return acos_finite(x, y, re, im);
  const ld inf = kInf;
  if (x.inf()) {
    if (y.nan()) {
      *re = y.v + y.v;
      *im = inf;  // no rule fixes this sign; +Inf
      return;
    }
    *re = y.inf() ? (x.neg() ? k3Pi4 : kPi4) : (x.neg() ? kPi : 0);
    *im = with_sign(inf, !y.neg());
    return;
  }
  if (y.inf()) {
    *re = x.nan() ? x.v + x.v : kPi2;
    *im = with_sign(inf, !y.neg());
    return;
  }
  if (y.nan() && x.zero()) {
    *re = kPi2;
    *im = y.v + y.v;
    return;
  }
  *re = *im = quiet(x, y);
}

// atanh(x + iy) for finite parts, on p = |x|, q = |y|:
//   Re = log1p(4p / ((1 - p)^2 + q^2)) / 4,
//   Im = atan2(2q, (1 - p)(1 + p) - q^2) / 2.
// 1 - p is exact where it matters (p in [1/2, 2]); the imaginary part's
// denominator may cancel, but only where the angle is near pi/2 and so
// insensitive to it. The pole at 1 gives an infinite real part.
inline void atanh_finite(Part x, Part y, ld *re, ld *im) {
  const ld p = x.abs(), q = y.abs();
  if (p < kLeastNormal && q < kLeastNormal) {
    *re = x.v;  // atanh z = z(1 + z^2/3 + ...) rounds to z
    *im = y.v;
    return;
  }
  const ld om = kOne - p;
  const ld den = om * om + q * q;
  const ld u = 4 * p / den;
  const ld re_m = 0.25L * log1p_ext(u);
  const ld im_m = kHalf * atan2_ext(2 * q, om * (kOne + p) - q * q);
  *re = with_sign(re_m, x.neg());
  *im = with_sign(im_m, y.neg());
}

// atanh with the rules for infinite and NaN parts.
inline void atanh_core(Part x, Part y, ld *re, ld *im) {
  if (x.finite() && y.finite()) return atanh_finite(x, y, re, im);
  if (x.inf() || y.inf()) {
    // far from the poles: Re -> 0, Im -> +-pi/2 (unless the other part is NaN)
    if (x.inf() && y.nan()) {
      *re = with_sign(0, x.neg());
      *im = y.v + y.v;
      return;
    }
    *re = with_sign(0, x.neg());
    *im = with_sign(kPi2, y.neg());
    return;
  }
  if (x.zero() && y.nan()) {
    *re = x.v;
    *im = y.v + y.v;
    return;
  }
  *re = *im = quiet(x, y);
}

// The six element routines on a pair (re, im), from one of two wrappers over
// a core. Results are narrowed once, by an x87 store. None reports a status.
using Core = void (*)(Part x, Part y, ld *re, ld *im);

inline void store(double out[2], ld re, ld im) {
  out[0] = (double)re;
  out[1] = (double)im;
}

// f(z) = core(z).
template <Core F> int direct(double out[2], const double in[2]) {
  ld re, im;
  F(part(&in[0]), part(&in[1]), &re, &im);
  store(out, re, im);
  return 0;
}

// f(z) = -i core(iz): iz = -y + ix, and -i(u + iv) = v - iu. The swaps
// keep a NaN part's bits (flip, negate). With PlusZeroAtInfNaN the imaginary
// part at (+-Inf, NaN) is +0: for atan no rule fixes the sign of that zero,
// and +0 matches atanh(NaN +- iInf).
template <Core F, bool PlusZeroAtInfNaN> int swapped(double out[2], const double in[2]) {
  const Part x = part(&in[0]), y = part(&in[1]);
  ld u, v;
  F(flip(y), x, &u, &v);
  const ld im = PlusZeroAtInfNaN && x.inf() && y.nan() ? 0 : negate(u);
  store(out, v, im);
  return 0;
}

// The routines the kernels run (acosh below).
inline constexpr UnaryRoutine asinh_routine = direct<asinh_core>;
inline constexpr UnaryRoutine asin_routine = swapped<asinh_core, false>;
inline constexpr UnaryRoutine acos_routine = direct<acos_core>;
inline constexpr UnaryRoutine atanh_routine = direct<atanh_core>;
inline constexpr UnaryRoutine atan_routine = swapped<atanh_core, true>;

// acosh z = i acos z when Im acos z <= 0, -i acos z otherwise, so that the
// real part is not negative and the imaginary part follows the sign of y.
inline int acosh_routine(double out[2], const double in[2]) {
  const Part x = part(&in[0]), y = part(&in[1]);
  ld u, v;  // acos z = u + iv
  acos_core(x, y, &u, &v);
  if (y.nan() && x.finite()) u = v;  // acos(0 + iNaN) has a real part; acosh(0 + iNaN) none
  store(out, magnitude(v), with_sign(magnitude(u), y.neg()));
  return 0;
}

}  // namespace qor::kernels::cplx::inv

#endif
