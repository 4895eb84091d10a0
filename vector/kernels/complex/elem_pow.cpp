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
// zero result is that of the other product (itself exact, head and tail).
inline void dot2(ld a, ld b, ld c, ld d, ld &h, ld &l) {
  l = 0;
  if (!is_finite(a) || !is_finite(b) || !is_finite(c) || !is_finite(d)) {
    h = a * b - c * d;
    return;
  }
  ld p, pe, q, qe, s, se;
  if (a == 0 || b == 0) {
    two_prod(c, d, q, qe);
    h = -q, l = -qe;
    return;
  }
  if (c == 0 || d == 0) {
    two_prod(a, b, p, pe);
    h = p, l = pe;
    return;
  }
  two_prod(a, b, p, pe);
  two_prod(c, d, q, qe);
  two_sum(p, -q, s, se);
  two_sum(s, se + (pe - qe), h, l);
}

// h + l += a*b for the small rest b of a logarithm.
inline void add_tail(ld &h, ld &l, ld a, ld b) {
  if (b == 0 || !is_finite(h) || !is_finite(a)) return;
  ld s, e;
  two_sum(h, a * b, s, e);
  two_sum(s, l + e, h, l);
}

// Where the modulus of the result is 0 or infinite in the limit, the angle
// goes unused: 0 + 0i, or an infinity with a NaN angle.
inline int limit(double out[2], bool infinite) {
  if (!infinite) return put(out, 0.0L, 0.0L);
  return put(out, __builtin_infl(), nan_of(__builtin_infl(), 0.0L));
}

// |z^w| = |z|^u e^(-v arg z) where |z|^u is 0 or infinite (infinite: `grows`)
// and v is infinite or NaN: the limit stands where both factors agree, and
// where e^(-v arg z) goes against |z|^u or is NaN (arg z = 0) the modulus is
// open: NaN parts.
inline int open_limit(double out[2], bool grows, ld y, ld x, ld v) {
  const ld e = -v * atan2_ext(y, x);
  if (is_nan(e) || (e > 0) != grows) return put(out, nan_of(v, v), nan_of(v, v));
  return limit(out, grows);
}

int pow_routine(double out[2], const double a[2], const double b[2]) {
  const ld x = part(&a[0]), y = part(&a[1]), u = part(&b[0]), v = part(&b[1]);
  const bool base_finite = is_finite(x) && is_finite(y);
  if (x == 0 && y == 0) {  // a zero base: the sign of Re w decides
    if (!is_finite(v) && u != 0 && !is_nan(u)) return open_limit(out, u < 0, y, x, v);
    if (u > 0) return limit(out, false);
    if (u < 0) return limit(out, true), (is_finite(u) && is_finite(v)) ? 2 : 0;
    if (u == 0 && v == 0) return put(out, 1.0L, 0.0L);
    put(out, nan_of(x, __builtin_infl()), nan_of(x, __builtin_infl()));
    return is_finite(v) ? 1 : 0;
  }
  if (!base_finite && u == 0 && v == 0) return put(out, 1.0L, 0.0L);
  if (!base_finite && !is_nan(x) && !is_nan(y)) {  // an infinite base
    if (!is_finite(v) && u != 0 && !is_nan(u)) return open_limit(out, u > 0, y, x, v);
    if (u > 0) return limit(out, true);
    if (u < 0) return limit(out, false);
  }
  ld lr, li;
  clog_ext<0>(x, y, lr, li);
  // Far from the unit circle ln|z| = k ln 2 + ln|z 2^-k| is carried as the
  // exact k kLn2Hi and a rest: its rounding would otherwise cost up to 2^-64
  // of 745 in the angle v ln|z|.
  ld ll = 0;
  if (base_finite) {
    uint64_t man;
    uint16_t se;
    ld_parts(fabs_ld(x) > fabs_ld(y) ? x : y, man, se);
    const int k = (int)(se & 0x7fff) - 16383;
    if (k > 2 || k < -2) {
      const ld kk = (ld)k;
      lr = kk * k80::kLn2Hi;
      ll = kk * k80::kLn2Lo + log_hypot(x87_scale(x, -kk), x87_scale(y, -kk));
    }
  }
  ld rh, rl, ih, il;
  int quarter = 0;  // quarter turns of the angle beside ih + il
  dot2(u, lr, v, li, rh, rl);
  add_tail(rh, rl, u, ll);
  if (base_finite && is_finite(u)) {
    // arg z = q quarter turns + d, q of the axis nearest to z and |d| <= pi/4:
    // u q / 4 turns are reduced without error (its nearest integer taken
    // off), so that the angle 2 pi (u q / 4 mod 1) + u d + v ln|z| stays exact
    // for a huge u: i^w for a huge even w is exactly real.
    const bool near_re = fabs_ld(y) <= fabs_ld(x);
    const ld sy = sign_bit(y) ? -1.0L : 1.0L;
    const ld q = near_re ? (x > 0 ? 0.0L : 2 * sy) : sy;
    const ld d = near_re ? (x > 0 ? li : atan2_ext(-y, -x)) : atan2_ext(-x * sy, fabs_ld(y));
    ld t = u * q * 0.25L;  // exact
    t -= x87_rint(t);
    dot2(u, d, -v, lr, ih, il);
    if (x87_rint(4 * t) == 4 * t) quarter = (int)(4 * t);  // turned exactly below
    else add_tail(ih, il, t, 2 * k80::kPi);
  } else {
    dot2(u, li, -v, lr, ih, il);
  }
  add_tail(ih, il, v, ll);
  if (is_inf(rh) && !is_nan(rl)) return limit(out, rh > 0);
  if (!is_finite(rh) || !is_finite(ih)) return put(out, nan_of(rh, ih), nan_of(rh, ih));
  if (fabs_ld(ih) >= 0x1p64L) {
    // An angle beyond 2^64 is not placed in its turn by 64-bit logarithms: the
    // modulus stands (0, infinite) or the direction is open (NaN parts).
    const ld m = exp_ext(rh);
    if (m == 0 || is_inf(m)) return limit(out, m != 0);
    const ld open = __builtin_nanl("");
    return put(out, open, open);
  }
  ld s, c;
  sincos_ext(ih, s, c);
  ld cs = c - il * s, sn = s + il * c;  // the tail of the angle
  for (int k = quarter & 3; k > 0; --k) {  // exact quarter turns: (c, s) -> (-s, c)
    const ld r = cs;
    cs = -sn, sn = r;
  }
  const ld m = exp_ext(rh) * (1 + rl);
  return put(out, cs == 0 ? cs : m * cs, sn == 0 ? sn : m * sn);
}

}  // namespace
}  // namespace qor::kernels::cplx

QOR_COMPLEX_ELEMENT_POW(cPow, ALL, QorComplex8, qor::kernels::cplx::pow_routine, true)
QOR_COMPLEX_ELEMENT_POW(zPow, ALL, QorComplex16, qor::kernels::cplx::pow_routine, true)
QOR_COMPLEX_ELEMENT_POWX(cPowx, ALL, QorComplex8, qor::kernels::cplx::pow_routine, true)
QOR_COMPLEX_ELEMENT_POWX(zPowx, ALL, QorComplex16, qor::kernels::cplx::pow_routine, true)

QOR_ACCURACY(cPow, LA, ULP, 4.0)
QOR_ACCURACY(cPow, HA, ULP, 1.0)
QOR_ACCURACY(cPow, EP, BITS, 11)
QOR_SPECIAL_CLASS_ONLY(cPow)
QOR_CBOX2(cPow, 0, 3.4e38, 0, 3.4e38, 1e-3, 0.7, 1e-3, 0.7, 20000)  // bases across the whole range, denormals included
QOR_CBOX2(cPow, 0, 3.4e38, 0, 0, 1e-3, 0.7, 1e-3, 0.7, 10000)  // real bases: the cut along the negative half
QOR_CBOX2(cPow, 0.5, 1.5, 0, 1e-3, 1e-2, 30, 1e-2, 30, 20000)  // near 1 and -1: ln|z| cancels, larger exponents
QOR_CBOX2(cPow, 0.6, 0.8, 0.6, 0.8, 1e-2, 30, 1e-2, 30, 20000)  // the unit circle away from the axes
QOR_CBOX2(cPow, 1e10, 1e30, 1e10, 1e30, 1, 4, 0, 1e-2, 20000)  // huge moduli, Re w of either sign: the overflow and underflow bands
QOR_CBOX2(cPow, 1e-30, 1e-10, 1e-30, 1e-10, 1, 4, 0, 1e-2, 20000)  // tiny moduli
QOR_CBOX2(cPow, 1e-3, 1e3, 0, 1e3, 2, 2, 0, 0, 5000)  // integer and half-integer real exponents
QOR_CBOX2(cPow, 1e-3, 1e3, 0, 1e3, 3, 3, 0, 0, 5000)
QOR_CBOX2(cPow, 1e-3, 1e3, 0, 1e3, 7, 7, 0, 0, 5000)
QOR_CBOX2(cPow, 0, 3.4e38, 0, 3.4e38, 1, 1, 0, 0, 5000)
QOR_CBOX2(cPow, 0, 3.4e38, 0, 3.4e38, 0.5, 0.5, 0, 0, 5000)
QOR_CBOX2(cPow, 1e-3, 1e3, 0, 1e3, 1.5, 1.5, 0, 0, 5000)
QOR_CBOX2(cPow, 1e-3, 1e3, 0, 1e3, 2.5, 2.5, 0, 0, 5000)
QOR_CBOX2(cPow, 0, 3.4e38, 0, 3.4e38, 0, 0, 1e-3, 0.7, 10000)  // purely imaginary exponents
QOR_CBOX2(cPow, 0.5, 2, 0.5, 2, 0, 0, 1e-2, 30, 10000)
QOR_ACCURACY(cPowx, LA, ULP, 4.0)
QOR_ACCURACY(cPowx, HA, ULP, 1.0)
QOR_ACCURACY(cPowx, EP, BITS, 11)
QOR_SPECIAL_CLASS_ONLY(cPowx)
QOR_CBOX2(cPowx, 0, 3.4e38, 0, 3.4e38, 1e-3, 0.7, 1e-3, 0.7, 20000)  // bases across the whole range, denormals included
QOR_CBOX2(cPowx, 0, 3.4e38, 0, 0, 1e-3, 0.7, 1e-3, 0.7, 10000)  // real bases: the cut along the negative half
QOR_CBOX2(cPowx, 0.5, 1.5, 0, 1e-3, 1e-2, 30, 1e-2, 30, 20000)  // near 1 and -1: ln|z| cancels, larger exponents
QOR_CBOX2(cPowx, 0.6, 0.8, 0.6, 0.8, 1e-2, 30, 1e-2, 30, 20000)  // the unit circle away from the axes
QOR_CBOX2(cPowx, 1e10, 1e30, 1e10, 1e30, 1, 4, 0, 1e-2, 20000)  // huge moduli, Re w of either sign: the overflow and underflow bands
QOR_CBOX2(cPowx, 1e-30, 1e-10, 1e-30, 1e-10, 1, 4, 0, 1e-2, 20000)  // tiny moduli
QOR_CBOX2(cPowx, 1e-3, 1e3, 0, 1e3, 2, 2, 0, 0, 5000)  // integer and half-integer real exponents
QOR_CBOX2(cPowx, 1e-3, 1e3, 0, 1e3, 3, 3, 0, 0, 5000)
QOR_CBOX2(cPowx, 1e-3, 1e3, 0, 1e3, 7, 7, 0, 0, 5000)
QOR_CBOX2(cPowx, 0, 3.4e38, 0, 3.4e38, 1, 1, 0, 0, 5000)
QOR_CBOX2(cPowx, 0, 3.4e38, 0, 3.4e38, 0.5, 0.5, 0, 0, 5000)
QOR_CBOX2(cPowx, 1e-3, 1e3, 0, 1e3, 1.5, 1.5, 0, 0, 5000)
QOR_CBOX2(cPowx, 1e-3, 1e3, 0, 1e3, 2.5, 2.5, 0, 0, 5000)
QOR_CBOX2(cPowx, 0, 3.4e38, 0, 3.4e38, 0, 0, 1e-3, 0.7, 10000)  // purely imaginary exponents
QOR_CBOX2(cPowx, 0.5, 2, 0.5, 2, 0, 0, 1e-2, 30, 10000)
QOR_ACCURACY(zPow, LA, ULP, 4.0)
QOR_ACCURACY(zPow, HA, ULP, 1.0)
QOR_ACCURACY(zPow, EP, BITS, 26)
QOR_SPECIAL_CLASS_ONLY(zPow)
QOR_CBOX2(zPow, 0, 1.7e308, 0, 1.7e308, 1e-3, 0.7, 1e-3, 0.7, 20000)  // bases across the whole range, denormals included
QOR_CBOX2(zPow, 0, 1.7e308, 0, 0, 1e-3, 0.7, 1e-3, 0.7, 10000)  // real bases: the cut along the negative half
QOR_CBOX2(zPow, 0.5, 1.5, 0, 1e-3, 1e-2, 30, 1e-2, 30, 20000)  // near 1 and -1: ln|z| cancels, larger exponents
QOR_CBOX2(zPow, 0.6, 0.8, 0.6, 0.8, 1e-2, 30, 1e-2, 30, 20000)  // the unit circle away from the axes
QOR_CBOX2(zPow, 1e100, 1e300, 1e100, 1e300, 1, 4, 0, 1e-2, 20000)  // huge moduli, Re w of either sign: the overflow and underflow bands
QOR_CBOX2(zPow, 1e-300, 1e-100, 1e-300, 1e-100, 1, 4, 0, 1e-2, 20000)  // tiny moduli
QOR_CBOX2(zPow, 1e-3, 1e3, 0, 1e3, 2, 2, 0, 0, 5000)  // integer and half-integer real exponents
QOR_CBOX2(zPow, 1e-3, 1e3, 0, 1e3, 3, 3, 0, 0, 5000)
QOR_CBOX2(zPow, 1e-3, 1e3, 0, 1e3, 7, 7, 0, 0, 5000)
QOR_CBOX2(zPow, 0, 1.7e308, 0, 1.7e308, 1, 1, 0, 0, 5000)
QOR_CBOX2(zPow, 0, 1.7e308, 0, 1.7e308, 0.5, 0.5, 0, 0, 5000)
QOR_CBOX2(zPow, 1e-3, 1e3, 0, 1e3, 1.5, 1.5, 0, 0, 5000)
QOR_CBOX2(zPow, 1e-3, 1e3, 0, 1e3, 2.5, 2.5, 0, 0, 5000)
QOR_CBOX2(zPow, 0, 1.7e308, 0, 1.7e308, 0, 0, 1e-3, 0.7, 10000)  // purely imaginary exponents
QOR_CBOX2(zPow, 0.5, 2, 0.5, 2, 0, 0, 1e-2, 30, 10000)
QOR_ACCURACY(zPowx, LA, ULP, 4.0)
QOR_ACCURACY(zPowx, HA, ULP, 1.0)
QOR_ACCURACY(zPowx, EP, BITS, 26)
QOR_SPECIAL_CLASS_ONLY(zPowx)
QOR_CBOX2(zPowx, 0, 1.7e308, 0, 1.7e308, 1e-3, 0.7, 1e-3, 0.7, 20000)  // bases across the whole range, denormals included
QOR_CBOX2(zPowx, 0, 1.7e308, 0, 0, 1e-3, 0.7, 1e-3, 0.7, 10000)  // real bases: the cut along the negative half
QOR_CBOX2(zPowx, 0.5, 1.5, 0, 1e-3, 1e-2, 30, 1e-2, 30, 20000)  // near 1 and -1: ln|z| cancels, larger exponents
QOR_CBOX2(zPowx, 0.6, 0.8, 0.6, 0.8, 1e-2, 30, 1e-2, 30, 20000)  // the unit circle away from the axes
QOR_CBOX2(zPowx, 1e100, 1e300, 1e100, 1e300, 1, 4, 0, 1e-2, 20000)  // huge moduli, Re w of either sign: the overflow and underflow bands
QOR_CBOX2(zPowx, 1e-300, 1e-100, 1e-300, 1e-100, 1, 4, 0, 1e-2, 20000)  // tiny moduli
QOR_CBOX2(zPowx, 1e-3, 1e3, 0, 1e3, 2, 2, 0, 0, 5000)  // integer and half-integer real exponents
QOR_CBOX2(zPowx, 1e-3, 1e3, 0, 1e3, 3, 3, 0, 0, 5000)
QOR_CBOX2(zPowx, 1e-3, 1e3, 0, 1e3, 7, 7, 0, 0, 5000)
QOR_CBOX2(zPowx, 0, 1.7e308, 0, 1.7e308, 1, 1, 0, 0, 5000)
QOR_CBOX2(zPowx, 0, 1.7e308, 0, 1.7e308, 0.5, 0.5, 0, 0, 5000)
QOR_CBOX2(zPowx, 1e-3, 1e3, 0, 1e3, 1.5, 1.5, 0, 0, 5000)
QOR_CBOX2(zPowx, 1e-3, 1e3, 0, 1e3, 2.5, 2.5, 0, 0, 5000)
QOR_CBOX2(zPowx, 0, 1.7e308, 0, 1.7e308, 0, 0, 1e-3, 0.7, 10000)  // purely imaginary exponents
QOR_CBOX2(zPowx, 0.5, 2, 0.5, 2, 0, 0, 1e-2, 30, 10000)
