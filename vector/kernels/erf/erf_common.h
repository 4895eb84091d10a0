// Pieces shared by the error-function kernels (Erf, Erfc, CdfNorm in s and d).
//
// Each kernel rounds g = min(|x|, cap) to a grid point x0 = k * step with a
// shifter (y = g + shifter, x0 = y - shifter, h = g - x0 exactly), reads the
// row k from the low bits of y, and expands about x0:
//
//   f(x0 + h) = f(x0) + f'(x0) h (1 + S(q, z)),   q = x0 h, z = h^2,
//   1 + S = integral over u in [0, 1] of exp(-a q u - b z u^2),
//
// with a = 2, b = 1 for erf and erfc, and a = 1, b = 1/2 for the normal tail.
// S has the Taylor coefficients taylor_coef(a, b, i, j) of q^i z^j, so the
// same terms serve every kernel; some tiers use fitted values of them.
#ifndef QOR_KERNELS_ERF_COMMON_H
#define QOR_KERNELS_ERF_COMMON_H

#include <utility>

#include "vector/kernels/arith/bitops.h"
#include "vector/kernels/exact.h"
#include "vector/kernels/erf/erf_tables.inc"

namespace qor::kernels::erfk {

using namespace qor::simd;
using namespace qor::kernels::bits;

constexpr double factorial(int n) { return n <= 1 ? 1.0 : n * factorial(n - 1); }
constexpr double power(double b, int n) { return n == 0 ? 1.0 : b * power(b, n - 1); }

// (-1)^(i+j) a^i b^j / (i! j! (i + 2j + 1)): the coefficient of q^i z^j in S.
constexpr double taylor_coef(double a, double b, int i, int j) {
  return ((i + j) % 2 ? -1.0 : 1.0) * power(a, i) * power(b, j) / (factorial(i) * factorial(j) * (i + 2 * j + 1));
}
// The two families: erf/erfc, and the normal tail in the same q = x0 h.
struct ErfSeries { static constexpr double a = 2.0, b = 1.0; };
struct NormSeries { static constexpr double a = 1.0, b = 0.5; };

// Horner in q of the terms q^i z^j, i = From .. To, of one power j of z.
template <class Ser, class V, int J, int From, int To> inline V horner_q(V q) {
  using E = ElemOf<V>;
  constexpr E c = E(taylor_coef(Ser::a, Ser::b, From, J));
  if constexpr (From == To) return V{} + c;
  else return c + q * horner_q<Ser, V, J, From + 1, To>(q);
}

// S truncated to q^1..q^N0, z q^0..q^N1, z^2 q^0..q^N2 (a negative N drops
// the power of z), in exact Taylor coefficients.
template <class Ser, int N0, int N1, int N2, class V> inline V taylor_s(V q, V z) {
  V s = q * horner_q<Ser, V, 0, 1, N0>(q);
  if constexpr (N2 >= 0) s += z * (horner_q<Ser, V, 1, 0, N1>(q) + z * horner_q<Ser, V, 2, 0, N2>(q));
  else if constexpr (N1 >= 0) s += z * horner_q<Ser, V, 1, 0, N1>(q);
  return s;
}

// Minimum and maximum by the SSE instructions, which return their second
// operand when either is a NaN: min(cap, t) lets a NaN t through.
inline vd2 vmin(vd2 a, vd2 b) { return as<vd2>(_mm_min_pd(as<__m128d>(a), as<__m128d>(b))); }
inline vd2 vmax(vd2 a, vd2 b) { return as<vd2>(_mm_max_pd(as<__m128d>(a), as<__m128d>(b))); }
inline vf4 vmin(vf4 a, vf4 b) { return as<vf4>(_mm_min_ps(as<__m128>(a), as<__m128>(b))); }
inline vf4 vmax(vf4 a, vf4 b) { return as<vf4>(_mm_max_ps(as<__m128>(a), as<__m128>(b))); }

// Row index from the low bits of y. Below the cap the index is k itself; a
// NaN lane carries arbitrary bits, so the index is clamped to the table.
template <int Rows> inline uint32_t row_of(uint32_t low) { return low < Rows ? low : Rows - 1; }

// The rows (E, F) of two double lanes, by the low words of y (the 32-bit
// lanes 0 and 2), through memory rather than by lane extracts.
template <int Rows> inline void rows(const double (*tab)[2], vd2 y, vd2 &e, vd2 &f) {
  alignas(16) uint32_t w[4];
  store(w, y);
  __asm__("" : "+m"(w));
  const __m128d r0 = _mm_load_pd(tab[row_of<Rows>(w[0])]), r1 = _mm_load_pd(tab[row_of<Rows>(w[2])]);
  e = as<vd2>(_mm_unpacklo_pd(r0, r1));
  f = as<vd2>(_mm_unpackhi_pd(r0, r1));
}

// As above, with the low parts of E from a column array `lo` (HA tiers).
template <int Rows> inline void rows(const double (*tab)[2], const double *lo, vd2 y, vd2 &e, vd2 &f, vd2 &el) {
  alignas(16) uint32_t w[4];
  store(w, y);
  __asm__("" : "+m"(w));
  const uint32_t k0 = row_of<Rows>(w[0]), k1 = row_of<Rows>(w[2]);
  const __m128d r0 = _mm_load_pd(tab[k0]), r1 = _mm_load_pd(tab[k1]);
  e = as<vd2>(_mm_unpacklo_pd(r0, r1));
  f = as<vd2>(_mm_unpackhi_pd(r0, r1));
  el = vd2{lo[k0], lo[k1]};
}

// The rows (E, F) of four float lanes, by the low bits of y.
template <int Rows> inline void rows(const float (*tab)[2], vf4 y, vf4 &e, vf4 &f) {
  alignas(16) uint32_t w[4];
  store(w, y);
  __asm__("" : "+m"(w));
  const uint32_t m = 0x7fffff;  // mantissa field
  gather_pairs(tab, vi4{(int)row_of<Rows>(w[0] & m), (int)row_of<Rows>(w[1] & m), (int)row_of<Rows>(w[2] & m),
                        (int)row_of<Rows>(w[3] & m)},
               e, f);
}

// Double rows for four float lanes (the single HA kernels evaluate in double):
// lanes 0-1 in (e0, f0), lanes 2-3 in (e1, f1).
template <int Rows>
inline void rows(const double (*tab)[2], vf4 y, vd2 &e0, vd2 &f0, vd2 &e1, vd2 &f1) {
  alignas(16) uint32_t w[4];
  store(w, y);
  __asm__("" : "+m"(w));
  const uint32_t m = 0x7fffff;
  const __m128d r0 = _mm_load_pd(tab[row_of<Rows>(w[0] & m)]), r1 = _mm_load_pd(tab[row_of<Rows>(w[1] & m)]);
  const __m128d r2 = _mm_load_pd(tab[row_of<Rows>(w[2] & m)]), r3 = _mm_load_pd(tab[row_of<Rows>(w[3] & m)]);
  e0 = as<vd2>(_mm_unpacklo_pd(r0, r1)), f0 = as<vd2>(_mm_unpackhi_pd(r0, r1));
  e1 = as<vd2>(_mm_unpacklo_pd(r2, r3)), f1 = as<vd2>(_mm_unpackhi_pd(r2, r3));
}

// The grid point and offset of g: x0 = round(g / step), h = g - x0 (exact),
// y keeps k in its low bits.
template <class V> struct Grid {
  V y, x0, h;
  Grid(V g, ElemOf<V> shifter) {
    y = g + shifter;
    x0 = y - shifter;
    h = g - x0;
  }
};

// The tail value v = E - E (hF) (1 + S): erfc(t) or the upper normal tail,
// with the derivative held relative to the value (see the generator).
template <class V> inline V tail(V e, V f, V h, V s) {
  const V w = h * f;
  return e - e * (w + s * w);
}
// The same with the low part el of E: (E + el) - E (hF) (1 + S).
inline vd2 tail(vd2 e, vd2 el, vd2 f, vd2 h, vd2 s) {
  const vd2 w = h * f;
  return e + (el - e * (w + s * w));
}

// The same to half an ulp more, for HA in the far tail, where E (hF)(1 + S)
// grows to a fifth of the result: hF and E hF are formed exactly and the
// difference from E by an exact sum, so only the small terms round. E is
// never below 2^-960 here (the tables scale the rows of smaller values), so
// the products stay exact.
inline vd2 tail_exact(vd2 e, vd2 el, vd2 f, vd2 h, vd2 s) {
  vd2 wh, wl, th, tl, r, re;
  exact::two_product(h, f, wh, wl);
  exact::two_product(e, wh, th, tl);
  exact::two_sum(e, -th, r, re);
  return r + ((re + el) - (tl + e * (wl + s * (wh + wl))));
}

// The factor that undoes the table's scaling: 2^-128 on the rows from
// `first` on (whose E and low part are held times 2^128), else 1. The one
// multiplication rounds the tail value once into the denormal grid.
inline vd2 row_scale(vd2 x0, int first) {
  return select(as<vl2>(_mm_cmpge_pd(as<__m128d>(x0), _mm_set1_pd(first / 128.0))), vd2{} + 0x1p-128,
                vd2{} + 1.0);
}

// Four float lanes evaluated in double (the single HA kernels): rows from a
// double table by the float grid, then ev(x, x0, h, e, f) on each half, in
// double, narrowed once.
template <int Rows, class Eval> inline vf4 in_double(const double (*tab)[2], vf4 x, const Grid<vf4> &p, Eval ev) {
  vd2 e0, f0, e1, f1;
  rows<Rows>(tab, p.y, e0, f0, e1, f1);
  return narrow(ev(low_pair(x), low_pair(p.x0), low_pair(p.h), e0, f0),
                ev(high_pair(x), high_pair(p.x0), high_pair(p.h), e1, f1));
}

// The lane constant of erfc: 2 for negative x (sign bit set), else 0.
inline vf4 two_if_negative(vf4 x) { return as<vf4>((as<vi4>(x) >> 31) & as<vi4>(vf4{} + 2.0f)); }
inline vd2 two_if_negative(vd2 x) {
  return as<vd2>(from_high_words(as<vi4>(x) >> 31) & as<vl2>(vd2{} + 2.0));
}

// CdfNorm from the tail value v of |x|: 1 - v for x > 0, else v.
template <class V> inline V cdf_from_tail(V x, V v) {
  const auto pos = gt(x, ElemOf<V>(0));
  return bxor(v, as<V>(pos & sign_mask<V>())) + as<V>(pos & as<MaskOf<V>>(V{} + 1));
}

}  // namespace qor::kernels::erfk

#endif
