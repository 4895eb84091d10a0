// Extended-precision primitives of the complex element routines: logarithms,
// exponentials, sine and cosine with an exact reduction of huge arguments,
// hyperbolic pairs, atan2, square root and an overflow-free hypot, all in
// long double on the x87 unit.
//
// They run under the Extended x87 frame (64-bit significand, round to
// nearest, exceptions masked). Nothing here uses SSE arithmetic, so the
// caller's MXCSR (rounding, DAZ, FTZ) cannot reach a result. Each primitive
// is accurate to a few units of the 64-bit significand, leaving about ten
// bits of headroom over a double result.
#ifndef QOR_KERNELS_COMPLEX_X87_CMATH_H
#define QOR_KERNELS_COMPLEX_X87_CMATH_H

#include <stdint.h>
#include <string.h>

#include "vector/kernels/complex/x87_constants.inc"
#include "vector/kernels/trig/dtrig_window.inc"
#include "vector/kernels/x87_common.h"

namespace qor::kernels::cplx {

using ld = long double;
using x87::x87_rint;
using x87::x87_scale;
using x87::x87_exp2m1;
using x87::x87_log;
using x87::x87_log1p;

// ---- bits and classification (integer tests only) -------------------------

inline uint64_t bits(double d) {
  uint64_t b;
  memcpy(&b, &d, sizeof b);
  return b;
}
inline double from_bits(uint64_t b) {
  double d;
  memcpy(&d, &b, sizeof d);
  return d;
}
// Significand (explicit integer bit) and sign/exponent word of a long double.
inline void ld_parts(ld x, uint64_t &man, uint16_t &se) {
  unsigned char b[16];
  memcpy(b, &x, 10);
  memcpy(&man, b, 8);
  memcpy(&se, b + 8, 2);
}
inline bool is_nan(ld x) { return x != x; }
inline bool is_inf(ld x) { return x == x && x - x != x - x; }
inline bool is_finite(ld x) { return x - x == 0; }
inline bool sign_bit(ld x) {
  uint64_t m;
  uint16_t se;
  ld_parts(x, m, se);
  return se >> 15;
}
inline ld fabs_ld(ld x) {
  ld r;
  __asm__("fabs" : "=t"(r) : "0"(x));
  return r;
}
inline ld copysign_ld(ld mag, ld sgn) {
  const ld a = fabs_ld(mag);
  return sign_bit(sgn) ? -a : a;
}

// ---- x87 instructions ------------------------------------------------------

// sine and cosine of |a| <= pi/4 (no reduction inside the instruction).
inline void x87_sincos(ld a, ld &s, ld &c) { __asm__("fsincos" : "=t"(c), "=u"(s) : "0"(a)); }
// atan2(y, x), signed zeros and infinities as the quadrant rules give them.
inline ld atan2_ext(ld y, ld x) {
  ld r;
  __asm__("fpatan" : "=t"(r) : "0"(x), "u"(y) : "st(1)");
  return r;
}
inline ld sqrt_ext(ld x) {
  ld r;
  __asm__("fsqrt" : "=t"(r) : "0"(x));
  return r;
}

// ---- exact products and sums in 64-bit significands -----------------------

// a + b = s + e exactly.
inline void two_sum(ld a, ld b, ld &s, ld &e) {
  s = a + b;
  const ld bb = s - a;
  e = (a - (s - bb)) + (b - bb);
}
// a * b = p + e exactly (Veltkamp halves of 32 bits; no FMA on the x87 unit).
inline void two_prod(ld a, ld b, ld &p, ld &e) {
  constexpr ld kSplit = 4294967297.0L;  // 2^32 + 1
  p = a * b;
  const ld ta = kSplit * a, ah = ta - (ta - a), al = a - ah;
  const ld tb = kSplit * b, bh = tb - (tb - b), bl = b - bh;
  e = ((ah * bh - p) + ah * bl + al * bh) + al * bl;
}

// ---- logarithms ------------------------------------------------------------

inline ld log1p_ext(ld y) {
  return (y > -0.29L && y < 0.29L) ? x87_log1p(y) : x87_log(1 + y);
}
// ln x for x > 0, with full relative accuracy near 1 as well.
inline ld log_ext(ld x) {
  const ld d = x - 1;
  return (d > -0.29L && d < 0.29L) ? x87_log1p(d) : x87_log(x);
}

// ---- exponentials ----------------------------------------------------------

// e^y: y = k ln 2 + r with the two-part ln 2, then 2^(r log2 e) from f2xm1,
// scaled by 2^k. Overflows to +inf and underflows to 0 beyond the range.
inline ld exp_ext(ld y) {
  using namespace k80;
  if (!(y < 11400.0L)) return y != y ? y : __builtin_infl();
  if (y < -11500.0L) return 0.0L;
  const ld k = x87_rint(y * kLog2e);
  const ld r = (y - k * kLn2Hi) - k * kLn2Lo;
  return x87_scale(1 + x87_exp2m1(r * kLog2e), k);
}
// e^y - 1, with full relative accuracy for small |y|.
inline ld expm1_ext(ld y) {
  if (y > -0.5L && y < 0.5L) return x87_exp2m1(y * k80::kLog2e);
  return exp_ext(y) - 1;
}
// sinh and cosh together. A finite |x| is held below 11000, where both stay
// finite in long double (far beyond any double result), so that a product
// with a zero sine or cosine stays a signed zero.
inline void sinh_cosh_ext(ld x, ld &sh, ld &ch) {
  ld ax = fabs_ld(x);
  if (is_inf(ax)) {
    sh = x, ch = ax;
    return;
  }
  if (ax > 11000.0L) ax = 11000.0L;
  const ld em1 = expm1_ext(ax), e = em1 + 1;
  const ld s = 0.5L * (em1 + em1 / e);
  ch = 0.5L * (e + 1 / e);
  sh = sign_bit(x) ? -s : s;
}

// ---- sine and cosine with an exact reduction --------------------------------

// The fraction of m 2^(e - 1075) / (2 pi) in 2^-192 units, for m < 2^53 and a
// biased double exponent e: the window row e holds the bits of 1/(2 pi) that
// matter there, the integer part falls off the top.
inline void turns192(uint64_t m, int e, uint64_t f[3]) {
  const uint64_t *w = dtrig_tables::kTwoOverPiWindow[e];
  const unsigned __int128 t2 = (unsigned __int128)m * w[2], t1 = (unsigned __int128)m * w[1];
  const unsigned __int128 mid = (t2 >> 64) + (uint64_t)t1;
  f[2] = (uint64_t)t2;
  f[1] = (uint64_t)mid;
  f[0] = (uint64_t)(mid >> 64) + (uint64_t)(t1 >> 64) + m * w[0];
}

// x = q pi/2 + r for finite x >= pi/4 below 2^1024, with |r| <= pi/4 carried
// to about 2^-64 relative. The 64-bit significand is split into its top 53
// and low 11 bits, each reduced exactly through the window, and the two
// fractions added modulo 1.
inline ld reduce_pio2(ld x, int &q) {
  uint64_t man;
  uint16_t se;
  ld_parts(x, man, se);
  const int e = (int)(se & 0x7fff) - 16383 + 1023;
  uint64_t f[3], g[3];
  turns192(man >> 11, e, f);
  turns192(man & 0x7ff, e - 11, g);
  unsigned __int128 c = (unsigned __int128)f[2] + g[2];
  f[2] = (uint64_t)c;
  c = (unsigned __int128)f[1] + g[1] + (uint64_t)(c >> 64);
  f[1] = (uint64_t)c;
  f[0] += g[0] + (uint64_t)(c >> 64);
  // Quarter turns: the top two bits, rounded by the third.
  q = (int)(f[0] >> 62);
  uint64_t r0 = (f[0] << 2) | (f[1] >> 62), r1 = (f[1] << 2) | (f[2] >> 62), r2 = f[2] << 2;
  bool neg = false;
  if (r0 >> 63) {
    q = (q + 1) & 3;
    neg = true;
    r0 = ~r0, r1 = ~r1, r2 = ~r2;  // 2^192 - rem: complement, then add one
    if (++r2 == 0 && ++r1 == 0) ++r0;
  }
  // Normalise the remainder (at most half a quarter turn) to 128 leading bits.
  int shift = 0;
  while (r0 == 0 && shift < 128) r0 = r1, r1 = r2, r2 = 0, shift += 64;
  if (r0 == 0) return neg ? -0.0L : 0.0L;
  const int lz = __builtin_clzll(r0);
  if (lz) r0 = (r0 << lz) | (r1 >> (64 - lz)), r1 = (r1 << lz) | (r2 >> (64 - lz));
  shift += lz;
  const ld scale = x87_scale(1.0L, (ld)(-64 - shift));
  const ld hi = (ld)r0 * scale, lo = (ld)r1 * scale * 0x1p-64L;
  const ld r = hi * k80::kPiO2Hi + (hi * k80::kPiO2Lo + lo * k80::kPiO2Hi);
  return neg ? -r : r;
}

// sin x and cos x for any long double x (NaN for infinities and NaN).
inline void sincos_ext(ld x, ld &s, ld &c) {
  const ld ax = fabs_ld(x);
  if (ax <= k80::kPiO4) {
    x87_sincos(x, s, c);
    return;
  }
  if (!is_finite(ax)) {
    s = c = ax - ax;
    return;
  }
  int q = 0;
  ld r;
  if (ax < 0x1p20L) {
    // Below 2^20 the three-part pi/2 suffices: k * C1 and k * C2 are exact, and
    // where r is small the differences are exact too.
    const ld k = x87_rint(ax * k80::kTwoOverPi);
    r = ((ax - k * k80::kPiO2C1) - k * k80::kPiO2C2) - k * k80::kPiO2C3;
    q = (int)(long long)k & 3;
  } else if (ax < 0x1p1024L) {
    r = reduce_pio2(ax, q);
  } else {
    // Beyond the double range no input reaches here with meaning left in its
    // low bits; a deterministic partial remainder keeps the result in range.
    r = ax;
    unsigned short sw;
    do {
      __asm__("fprem1\n\tfnstsw %1" : "+t"(r), "=am"(sw) : "u"(k80::kPiO2Hi));
    } while (sw & 0x400);
  }
  ld sr, cr;
  x87_sincos(r, sr, cr);
  switch (q & 3) {
    case 0: s = sr, c = cr; break;
    case 1: s = cr, c = -sr; break;
    case 2: s = -sr, c = -cr; break;
    default: s = -cr, c = sr; break;
  }
  if (sign_bit(x)) s = -s;
}

// ---- moduli ----------------------------------------------------------------

// sqrt(x^2 + y^2) without overflow or underflow in between.
inline ld hypot_ext(ld x, ld y) {
  ld ax = fabs_ld(x), ay = fabs_ld(y);
  if (is_inf(ax) || is_inf(ay)) return __builtin_infl();
  const ld m = ax > ay ? ax : ay;
  if (m > 0x1p8000L) return x87_scale(hypot_ext(x87_scale(ax, -8000.0L), x87_scale(ay, -8000.0L)), 8000.0L);
  if (m < 0x1p-8000L && m > 0)
    return x87_scale(hypot_ext(x87_scale(ax, 8000.0L), x87_scale(ay, 8000.0L)), -8000.0L);
  return sqrt_ext(ax * ax + ay * ay);
}

// ln sqrt(x^2 + y^2) for double-valued x and y (not both zero). Within 1/16
// of the unit circle x^2 + y^2 - 1 is formed from exact products,
// (a - 1)(a + 1) + b^2 with a the larger part, so the cancellation costs no
// accuracy; farther out the rounded sum loses at most 4 of the 64 bits.
inline ld log_hypot(ld x, ld y) {
  ld a = fabs_ld(x), b = fabs_ld(y);
  if (a < b) {
    const ld t = a;
    a = b, b = t;
  }
  const ld s = a * a + b * b;
  if (s > 0.9375L && s < 1.0625L) {
    ld ph, pl, qh, ql, sh, se;
    two_prod(a - 1, a + 1, ph, pl);
    two_prod(b, b, qh, ql);
    two_sum(ph, qh, sh, se);
    return 0.5L * log1p_ext(sh + (se + (pl + ql)));
  }
  return 0.5L * log_ext(s);  // s - 1 is exact where log_ext needs it
}

}  // namespace qor::kernels::cplx

#endif
