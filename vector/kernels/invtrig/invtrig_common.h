// Shared pieces of the inverse circular kernels: constants of pi in parts,
// Horner's scheme over a coefficient array, the double arcsine and
// arctangent cores (used by the double kernels and by the single HA
// kernels, which compute in double and round once), and the scaling by 1/pi
// of the half-turn forms.
#ifndef QOR_KERNELS_INVTRIG_COMMON_H
#define QOR_KERNELS_INVTRIG_COMMON_H

#include <math.h>
#include <stddef.h>

#include "vector/kernels/arith/bitops.h"
#include "vector/kernels/exact.h"
#include "vector/kernels/invtrig/invtrig_tables.inc"

namespace qor::kernels::invtrig {

using namespace qor::simd;
using bits::bor;
using bits::bxor;
using bits::gt;
using bits::lt;
using bits::select;
using bits::sign_of;
using bits::unord;
using bits::vabs;
using exact::fast_two_sum;
using exact::two_product;
using exact::two_sum;
namespace tab = invtrig_tables;

// pi/2, pi and 1/pi as hi + lo doubles, and rounded to float.
constexpr double kPio2Hi = 0x1.921fb54442d18p+0, kPio2Lo = 0x1.1a62633145c07p-54;
constexpr double kPiHi = 0x1.921fb54442d18p+1, kPiLo = 0x1.1a62633145c07p-53;
constexpr double kInvPiHi = 0x1.45f306dc9c883p-2, kInvPiLo = -0x1.6b01ec5417056p-56;
constexpr float kPio2F = 0x1.921fb6p+0f, kPiF = 0x1.921fb6p+1f, kInvPiF = 0x1.45f306p-2f;

// 1.5 * 2^50: a + kShifter rounds a to a multiple of 1/4, whose count sits in
// the low bits; kShifterCap bounds that count at 16 (4.0).
constexpr double kShifter = 1688849860263936.0;  // 0x4318000000000000
constexpr double kShifterCap = f64(0x4318000000000010);
constexpr double kAtanLimit = 7.875;  // above it, atan(a) = pi/2 - atan(1/a)
constexpr double kTwo128 = 3.4028236692093846e+38;

// c[0] + s c[1] + ... + s^(N-1) c[N-1].
template <class V, class C, size_t N> inline V horner(const C (&c)[N], V s) {
  V p = V{} + c[N - 1];
  for (int i = (int)N - 2; i >= 0; --i) p = p * s + c[i];
  return p;
}

// The same sum with a shorter dependency chain: pairs c[2i] + c[2i+1] s
// (and for 8 terms or more quads of them with s^2) are independent, and are
// combined by Horner's scheme in s^2 (or s^4).
template <class V, class C, size_t N> inline V poly(const C (&c)[N], V s) {
  if constexpr (N < 4) {
    return horner(c, s);
  } else {
    const V s2 = s * s;
    auto pair = [&](size_t i) { return 2 * i + 1 < N ? c[2 * i] + c[2 * i + 1] * s : V{} + c[2 * i]; };
    constexpr size_t M = (N + 1) / 2;
    if constexpr (N < 8) {
      V p = pair(M - 1);
      for (int i = (int)M - 2; i >= 0; --i) p = p * s2 + pair(i);
      return p;
    } else {
      const V s4 = s2 * s2;
      auto quad = [&](size_t i) { return 2 * i + 1 < M ? pair(2 * i) + pair(2 * i + 1) * s2 : pair(2 * i); };
      constexpr size_t Q = (M + 1) / 2;
      V p = quad(Q - 1);
      for (int i = (int)Q - 2; i >= 0; --i) p = p * s4 + quad(i);
      return p;
    }
  }
}

inline vf4 vmin(vf4 a, vf4 b) { return as<vf4>(_mm_min_ps(as<__m128>(a), as<__m128>(b))); }
inline vf4 vmax(vf4 a, vf4 b) { return as<vf4>(_mm_max_ps(as<__m128>(a), as<__m128>(b))); }
inline vd2 vmin(vd2 a, vd2 b) { return as<vd2>(_mm_min_pd(as<__m128d>(a), as<__m128d>(b))); }
inline vd2 vmax(vd2 a, vd2 b) { return as<vd2>(_mm_max_pd(as<__m128d>(a), as<__m128d>(b))); }
inline vd2 vsqrt(vd2 a) { return as<vd2>(_mm_sqrt_pd(as<__m128d>(a))); }
inline vf4 rcp_approx(vf4 x) { return as<vf4>(_mm_rcp_ps(as<__m128>(x))); }
// Not less than: a >= b, or unordered.
inline vi4 nlt(vf4 a, float b) { return as<vi4>(_mm_cmpnlt_ps(as<__m128>(a), _mm_set1_ps(b))); }
inline vl2 nlt(vd2 a, double b) { return as<vl2>(_mm_cmpnlt_pd(as<__m128d>(a), _mm_set1_pd(b))); }
// Lanes whose sign bit is set (negative zero included), as a lane mask.
inline vi4 negative(vf4 x) { return as<vi4>(x) >> 31; }
inline vl2 negative(vd2 x) { return from_high_words(words(x) >> 31); }
// A 12-bit approximation of 1/x of doubles within the float range.
inline vd2 rcp_approx(vd2 x) { return low_pair(rcp_approx(as<vf4>(_mm_cvtpd_ps(as<__m128d>(x))))); }

// Unsigned a > c per 32-bit lane.
inline vi4 above_u(vi4 a, uint32_t c) { return (a ^ (int32_t)0x80000000) > (int32_t)(c ^ 0x80000000u); }

// A value as hi + lo with |lo| far below an ulp of hi.
struct Two {
  vd2 hi, lo;
};

// (hi + lo) / pi, correct to well below an ulp. The product is formed at
// 2^106 times the size, so that the split products stay exact for a result
// that ends denormal; the scaling back is then its one rounding.
inline vd2 times_inv_pi(Two v) {
  const vd2 h = v.hi * 0x1p106, l = v.lo * 0x1p106;
  vd2 p, e;
  two_product(h, vd2{} + kInvPiHi, p, e);
  return (p + (e + (h * kInvPiLo + l * kInvPiHi))) * 0x1p-106;
}

// Arcsine and arccosine of doubles with |x| < 1. With z = min(x^2, (1 - |x|)/2)
// and w = |x| or sqrt(z) (above 0.5), asin(w) = w + w z P(z); above 0.5,
// asin(|x|) = pi/2 - 2 asin(w). The result is B + H + T: a constant part B,
// the head H and a small tail T, with |H| <= |B| or B = 0. Precise adds the
// residual of the root to the tail, and Asin's result is for |x| (the caller
// puts the sign back).
template <bool Acos, bool Precise, size_t N> inline void asin_parts(vd2 x, const double (&c)[N], vd2 &B, vd2 &H, vd2 &T) {
  const vd2 a = vabs(x), sg = sign_of(x);
  const vl2 big = gt(a, 0.5);
  const vd2 z = vmin(a * a, 0.5 - 0.5 * a);
  const vd2 s = vsqrt(z);
  const vd2 w = select(big, s, a);
  vd2 tail = w * (z * poly(c, z));
  if (Precise) {  // sqrt(z) = s + (z - s^2) / (2 s), the residual exact from the split product
    vd2 sq, se;
    exact::two_square(s, sq, se);
    tail = tail + select(big, ((z - sq) - se) * (0.5 * rcp_approx(s)), vd2{});
  }
  if (!Acos) {
    B = select(big, vd2{} + kPio2Hi, vd2{});
    H = select(big, -2.0 * w, w);
    T = select(big, kPio2Lo - 2.0 * tail, tail);
    return;
  }
  const vl2 neg = negative(x);
  // small: pi/2 - asin(x); big: 2 asin(w), or pi - 2 asin(w) for x < 0.
  B = select(big, select(neg, vd2{} + kPiHi, vd2{}), vd2{} + kPio2Hi);
  H = select(big, bxor(2.0 * w, sg), -bxor(w, sg));
  T = select(big, select(neg, kPiLo - 2.0 * tail, 2.0 * tail), kPio2Lo - bxor(tail, sg));
}

// The break point of a >= 0 (not NaN): its row k (a rounded to a multiple of
// 1/4, at most 16) and b = k/4.
inline void break_point(vd2 a, vd2 &b, vd2 &hi, vd2 &lo) {
  const vd2 kk = vmin(a + kShifter, vd2{} + kShifterCap);
  b = kk - kShifter;
  const vl2 j = as<vl2>(kk) - as<vl2>(vd2{} + kShifter);
  gather_pairs(tab::kAtanBreak, j, hi, lo);
}

// atan(a) for a >= 0 (infinity included, not NaN) as hi + lo. Up to the limit
// atan(a) = atan(b) + atan((a - b) / (1 + a b)), beyond it pi/2 + atan(-1/a);
// a is clamped at 2^128, where -1/a no longer shows. One division per pair.
// Precise keeps the rounding errors of the denominator and of the quotient.
template <bool Precise, size_t N> inline Two atan_parts(vd2 a, const double (&c)[N]) {
  const vl2 big = gt(a, kAtanLimit);
  const vd2 ac = vmin(a, vd2{} + kTwo128);
  vd2 b, th, tl;
  break_point(ac, b, th, tl);
  const vd2 num = select(big, vd2{} - 1.0, a - b);  // exact: b is within 1/8 of a
  const vd2 hi = select(big, vd2{} + kPio2Hi, th), lo = select(big, vd2{} + kPio2Lo, tl);
  if (!Precise) {
    const vd2 t = num / select(big, ac, 1.0 + ac * b);
    const vd2 s = t * t;
    return {hi + (t + (lo + t * s * poly(c, s))), vd2{}};
  }
  vd2 m, me, dh, de;
  two_product(ac, b, m, me);
  two_sum(vd2{} + 1.0, m, dh, de);
  const vd2 den = select(big, ac, dh), den_lo = select(big, vd2{}, de + me);
  const vd2 t = num / den;
  vd2 q, qe;
  two_product(t, den, q, qe);
  const vd2 t_lo = (((num - q) - qe) - t * den_lo) * rcp_approx(den);
  const vd2 s = t * t;
  Two r;
  vd2 e;
  fast_two_sum(hi, t, r.hi, e);
  r.lo = e + (lo + (t_lo + t * s * poly(c, s)));
  return r;
}

// atan2(y, x) of doubles whose larger magnitude d is within the float range
// and not zero, as hi + lo with the sign of y put back by the caller. With n
// the smaller magnitude, the break point b comes from an estimate of n/d (the
// float reciprocal), and atan(n/d) = atan(b) + atan((n - b d) / (d + b n)):
// one division. The quadrant adds 0, pi/2 or pi and flips the sign.
template <bool Precise, size_t N> inline Two atan2_parts(vd2 y, vd2 x, const double (&c)[N]) {
  const vd2 ax = vabs(x), ay = vabs(y);
  vd2 n = vmin(ax, ay), d = vmax(ax, ay);
  if (Precise) {
    // Below 1, both scaled up by 2^-e(d) (exactly), so that the residual of
    // the quotient, formed near n, is not divided by a small d after losing
    // its bits below the normal range.
    const vd2 sc = as<vd2>((vl2{} + (2046ll << 52)) - (as<vl2>(d) & 0x7ff0000000000000ll));
    const vd2 up = vmax(sc, vd2{} + 1.0);
    n = n * up, d = d * up;
  }
  const vl2 swap = gt(ay, ax), xneg = negative(x);
  const vf4 nf = as<vf4>(_mm_cvtpd_ps(as<__m128d>(n))), df = as<vf4>(_mm_cvtpd_ps(as<__m128d>(d)));
  vd2 b, th, tl;
  break_point(low_pair(nf * rcp_approx(df)), b, th, tl);
  // The quadrant: 0 + p, pi/2 - p, pi - p or pi/2 + p.
  const vd2 flip = as<vd2>((swap ^ xneg) & (vl2{} + INT64_MIN));
  const vd2 base_hi = select(swap, vd2{} + kPio2Hi, select(xneg, vd2{} + kPiHi, vd2{}));
  const vd2 base_lo = select(swap, vd2{} + kPio2Lo, select(xneg, vd2{} + kPiLo, vd2{}));
  if (!Precise) {
    const vd2 t = (n - b * d) / (d + b * n);
    const vd2 s = t * t;
    const vd2 p = th + (t + (tl + t * s * poly(c, s)));
    return {base_hi + (bxor(p, flip) + base_lo), vd2{}};
  }
  vd2 m, me, m2, m2e, dh, de;
  two_product(b, d, m, me);
  const vd2 num = n - m;  // exact: n lies within [m/2, 2m] or m = 0
  two_product(b, n, m2, m2e);
  two_sum(d, m2, dh, de);
  const vd2 den_lo = de + m2e;
  const vd2 t = num / dh;
  vd2 q, qe;
  two_product(t, dh, q, qe);
  const vd2 t_lo = ((((num - q) - qe) - me) - t * den_lo) * rcp_approx(dh);
  const vd2 s = t * t;
  vd2 h, e;
  fast_two_sum(th, t, h, e);
  const vd2 l = e + (tl + (t_lo + t * s * poly(c, s)));
  Two r;
  fast_two_sum(base_hi, bxor(h, flip), r.hi, e);
  r.lo = e + (base_lo + bxor(l, flip));
  return r;
}

// Lanes of a two-input atan2 that the scalar routine takes: a NaN, or a
// larger magnitude that is zero, infinite, or outside [2^-126, 2^126), where
// the float estimate of n/d would fail.
inline vl2 atan2_special(vd2 y, vd2 x) {
  const vd2 d = vmax(vabs(x), vabs(y));
  const vi4 w = words(d);
  return from_high_words(above_u(as<vi4>(as<vu4>(w) - 0x38100000u), 0x47d00000 - 0x38100000 - 1)) |
         as<vl2>(unord(x, y));
}

// The edges of atan2 as C99 Annex F gives them, with pi/2, pi, pi/4 and 3pi/4
// passed in the entry's units (0.5, 1, 0.25, 0.75 for the half-turn forms):
// returns true with *r set when y or x is NaN, zero or infinite.
template <class T> inline bool atan2_edges(T y, T x, T pio2, T pi, T pio4, T tpio4, T *r) {
  if (isnan(y) || isnan(x)) return *r = add_ordered(y, x), true;
  const bool xneg = signbit(x);
  T m;
  if (y == 0) m = xneg ? pi : 0;
  else if (isinf(y)) m = isinf(x) ? (xneg ? tpio4 : pio4) : pio2;
  else if (x == 0) m = pio2;
  else if (isinf(x)) m = xneg ? pi : 0;
  else return false;
  *r = signbit(y) ? -m : m;
  return true;
}

// NaN for an argument outside [-1, 1] (status 1), a quiet NaN for a NaN.
template <class T> inline int domain_edges(T x, T *r) {
  if (isnan(x)) return *r = x + x, 0;
  *r = (x - x) / (x - x);
  return 1;
}

}  // namespace qor::kernels::invtrig

// The three tiers of an arctangent entry: Desc<Pi, tier> with tier 0, 1, 2 for
// LA, HA, EP, defined through MACRO (QOR_INVTRIG_UNARY or QOR_INVTRIG_BINARY).
#define QOR_INVTRIG_TIERS(entry, Desc, Pi, MACRO)                    \
  using entry##LA = Desc<Pi, 0>;                                     \
  using entry##HA = Desc<Pi, 1>;                                     \
  using entry##EP = Desc<Pi, 2>;                                     \
  MACRO(entry, LA, entry##LA, ::qor::bex::StandardEnv)               \
  MACRO(entry, HA, entry##HA, ::qor::bex::StandardEnv)               \
  MACRO(entry, EP, entry##EP, ::qor::bex::StandardEnv)
#define QOR_INVTRIG_UNARY(entry, tag, K, Env) QOR_UNARY_KERNELS(entry, tag, K, Env)
#define QOR_INVTRIG_BINARY(entry, tag, K, Env) QOR_BINARY_KERNELS(entry, tag, K, K, Env)

#endif
