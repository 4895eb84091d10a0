// Pieces shared by the double kernels of the half-turn forms (Sinpi, Cospi,
// Tanpi) and the degree forms (Sind, Cosd, Tand): the reduction steps, the
// sine polynomials, the table evaluation of the accurate tier, and the scalar
// routines (the accurate product pi*x of tiny arguments, the exact remainder
// modulo 360 of any double).
#ifndef QOR_KERNELS_TRIG_DPIDEG_COMMON_H
#define QOR_KERNELS_TRIG_DPIDEG_COMMON_H

#include <stdint.h>

#include "vector/dispatch/simd.h"
#include "vector/kernels/exact.h"

namespace qor::kernels::pideg {

using namespace qor::simd;

constexpr uint64_t kSignBit = 0x8000000000000000ull;
constexpr uint64_t kAbsMask = 0x7fffffffffffffffull;
constexpr double kShifter = 6755399441055744.0;   // 1.5 * 2^52: rint of |v| < 2^51, parity in bit 0
constexpr double kPi = 3.1415926535897931;
constexpr double kDegree = 0.017453292519943295;  // pi/180
// pi/180 as a pair for products carried beyond double precision.
constexpr double kDegreeHi = 0.01745329238474369, kDegreeLo = 1.3519960527851425e-10;

inline vd2 abs(vd2 x) { return as<vd2>(as<vq2>(x) & kAbsMask); }
inline vq2 sign_of(vd2 x) { return as<vq2>(x) & kSignBit; }
inline vd2 xor_bits(vd2 v, vq2 s) { return as<vd2>(as<vq2>(v) ^ s); }
// The lowest mantissa bit of a shifter sum (the parity of the integer it
// holds) moved to the sign position.
inline vq2 parity_sign(vd2 t) { return as<vq2>(t) << 63; }

// The remainder of a modulo 256, a period of every half-turn form: a minus
// a rounded to a multiple of 256 by the sum with 3*2^59. From 2^59 on every
// double is an even integer, with remainder 0 for every half-turn form, so
// those lanes are first made 2^59 (a minimum, which is also the select).
// The difference is exact, and below 2^51 the later steps see the same
// fraction and the same parity as without it.
inline vd2 mod256(vd2 a) {
  constexpr double kShift256 = 2.0752587082923246e+18;  // 3 * 2^59
  a = as<vd2>(_mm_min_pd(as<__m128d>(a), _mm_set1_pd(0x1p59)));
  return a - ((a + kShift256) - kShift256);
}

// Lane test: NaN, infinity and magnitudes above `bound` (not <=, so NaN too).
inline vl2 above(vd2 a, double bound) { return ~as<vl2>(a <= bound); }

// Odd sine polynomials in r: r + r z p(z), z = r^2.
// LA: degree 15, |r| <= pi/2.
inline vd2 sin_poly_la(vd2 r) {
  const vd2 z = r * r;
  const vd2 p =
      -0.16666666666666186 +
      z * (0.0083333333332855416 +
           z * (-0.00019841269825056256 +
                z * (2.7557316600552628e-06 +
                     z * (-2.5051880273862881e-08 + z * (1.6048095404959637e-10 + z * -7.3733445331106646e-13)))));
  return r + (z * p) * r;
}
// EP: degree 9.
inline vd2 sin_poly_ep(vd2 r) {
  const vd2 z = r * r;
  const vd2 p = -0.16666658839437162 +
                z * (0.0083330466452487071 + z * (-0.00019808085361787081 + z * 2.6022725384193179e-06));
  return r + (z * p) * r;
}

// sin of r degrees for |r| <= 90, directly in degrees: c0 r + r z Q(z).
// Where |r| is above `one_above` the value is exactly +-1: z is forced to 0
// and c0 r keeps only its sign and exponent (c0 r is then in [1, 2)).
inline vd2 sind_poly_la(vd2 r, vl2 at_one) {
  vd2 z = r * r;
  z = as<vd2>(as<vl2>(z) & ~at_one);
  const vd2 q = -8.8609615570129797e-07 +
                z * (1.3496016231632278e-11 +
                     z * (-9.78838486158418e-17 +
                          z * (4.1412674151785006e-22 +
                               z * (-1.1468201048815279e-27 +
                                    z * (2.2393530017516324e-33 +
                                         z * (-3.246532112681558e-39 + z * 3.5201457219421781e-45))))));
  vd2 c = r * kDegree;
  c = as<vd2>(as<vl2>(c) & (~at_one | (vl2{} + (int64_t)0xfff0000000000000ll)));
  return c + r * z * q;
}

// d * pi (or d * pi/180) as hi + lo, with d split so that the partial
// products with the 26-bit head of the constant are exact.
inline void times_pair(vd2 d, double c, double c_hi, double c_lo, vd2 &hi, vd2 &lo) {
  vd2 dh, dl;
  exact::split(d, dh, dl);
  hi = d * c;
  lo = ((dh * c_hi - hi) + dl * c_hi) + d * c_lo;
}
constexpr double kPiHi = 3.1415926814079285, kPiLo = -2.7818135228334233e-08;

// The table evaluation of sin(theta + r) for a row (C_lo, C_hi, S_hi, S_lo) of
// theta, r = r_hi + r_lo small (|r| <= pi/512 and a little): the head
// S_hi + r C_hi + r C_lo by exact sums, the rest by the Taylor terms.
inline vd2 sin_rows(vd2 r, vd2 r_lo, vd2 c_lo, vd2 c_hi, vd2 s_hi, vd2 s_lo) {
  const vd2 rc = r * c_hi;  // exact: C_hi is a power of two or zero
  const vd2 t = s_hi + rc;
  const vd2 e1 = (s_hi - t) + rc;
  const vd2 rcl = r * c_lo;
  const vd2 h = t + rcl;
  const vd2 e2 = (t - h) + rcl;
  const vd2 z = r * r;
  const vd2 c = c_hi + c_lo;
  const vd2 low = e1 + e2 + ((0.0083333229326095146 * z - 0.1666666666665455) * z * r) * c +
                  (((-0.0013888875887985619 * z + 0.041666666666651524) * z - 0.5) * z) * s_hi + s_lo +
                  r_lo * (c - r * s_hi);
  return h + low;
}

// Loads rows k0, k1 of a four-double table as four vectors.
inline void gather4(const double (*table)[4], uint32_t k0, uint32_t k1, vd2 &a, vd2 &b, vd2 &c, vd2 &d) {
  const __m128d x0 = _mm_load_pd(table[k0]), x1 = _mm_load_pd(table[k1]);
  const __m128d y0 = _mm_load_pd(table[k0] + 2), y1 = _mm_load_pd(table[k1] + 2);
  a = as<vd2>(_mm_unpacklo_pd(x0, x1));
  b = as<vd2>(_mm_unpackhi_pd(x0, x1));
  c = as<vd2>(_mm_unpacklo_pd(y0, y1));
  d = as<vd2>(_mm_unpackhi_pd(y0, y1));
}
// The low 32 bits of both 64-bit lanes, through memory (no 64-bit extract here).
inline void low_words(vq2 v, uint32_t &k0, uint32_t &k1) {
  alignas(16) uint32_t w[4];
  store(w, v);
  __asm__("" : "+m"(w));
  k0 = w[0], k1 = w[2];
}

// Exponent folding for the degree forms: 2^(e+12) and 2^e have the same
// remainder modulo 360 from 2^3 on, so a magnitude from 2^67 up gets the
// biased exponent 0x436 + ((e - 0x436) mod 12) (below 2^67 nothing changes).
// The mod 12 is a multiply by 0xAAAC and a shift, in 16-bit lanes.
inline vd2 fold_exponent(vd2 a) {
  const __m128i e = _mm_srli_epi64(as<__m128i>(a), 52);
  const __m128i d = _mm_subs_epu16(e, _mm_set1_epi64x(0x436));           // max(e - 0x436, 0)
  const __m128i q = _mm_srli_epi16(_mm_mulhi_epu16(d, _mm_set1_epi64x(0xAAAC)), 3);  // d / 12
  const __m128i twelve_q = _mm_mullo_epi16(q, _mm_set1_epi64x(12));
  return as<vd2>(_mm_sub_epi64(as<__m128i>(a), _mm_slli_epi64(twelve_q, 52)));
}

// Reduction of the accurate degree kernels: t := a - 360 rint(a/360), with
// the shifter 3*2^63 (a multiple of 4096 times 360 for large a, exact), then
// k := rint(t * 64/45) and r := t - k * 0.703125 exactly: theta = k pi/256.
// Returns r in degrees and k (any integer; rows by its low bits).
inline vd2 reduce_degrees(vd2 a, vq2 &k) {
  constexpr double kShift63 = 2.7670116110564327e+19;  // 3 * 2^63
  const vd2 n = (a * 0.0027777777777777779 + kShift63) - kShift63;
  const vd2 t = a - n * 360.0;
  const vd2 s = t * 1.4222222222222223 + kShifter;
  k = as<vq2>(s);
  return t - (s - kShifter) * 0.703125;
}

// Lane tests of the half-turn forms with the accurate tiny product: |x|
// below 2^-53 (zeros included), NaN and infinities.
inline vl2 tiny_or_non_finite(vd2 a, double tiny) { return ~as<vl2>(a >= tiny) | as<vl2>(a > 1.7976931348623157e308); }

// A row of a tangent table as vectors: B_hi, B_lo, A, c0_hi, c0_lo, c1_hi, c1_lo, c2..c7.
struct TanRow {
  vd2 v[13];
};
// Two rows by pairs of elements (unaligned loads, then unpacks); elements a
// kernel does not use are never loaded.
inline void gather_tan(const double (*table)[13], uint32_t k0, uint32_t k1, TanRow &w) {
  const double *p = table[k0], *q = table[k1];
  for (int i = 0; i < 12; i += 2) {
    const __m128d x0 = _mm_loadu_pd(p + i), x1 = _mm_loadu_pd(q + i);
    w.v[i] = as<vd2>(_mm_unpacklo_pd(x0, x1));
    w.v[i + 1] = as<vd2>(_mm_unpackhi_pd(x0, x1));
  }
  w.v[12] = vd2{p[12], q[12]};
}
enum { kBHi, kBLo, kA, kC0Hi, kC0Lo, kC1Hi, kC1Lo, kC2 };

// 1/d to working precision: the single-precision reciprocal estimate, two
// Newton steps in double.
inline vd2 reciprocal(vd2 d) {
  vd2 y = low_pair(as<vf4>(_mm_rcp_ps(_mm_cvtpd_ps(as<__m128d>(d)))));
  y = y * (2.0 - d * y);
  return y * (2.0 - d * y);
}

// tan(theta + r) from a tangent row: the pole term A/(B - r_rad) with its
// reciprocal carried to a pair, plus c0 + c1 r + ... + c7 r^7, where the
// polynomial's argument is rp + rp_lo (in the table's units) and the pole's
// rr + rr_lo (radians). The leading terms are summed exactly. `pole` flags
// B - r = 0 with A != 0, where the caller puts the infinity.
inline vd2 tan_rows_ha(const TanRow &w, vd2 rp, vd2 rp_lo, vd2 rr, vd2 rr_lo, vl2 &pole) {
  const vd2 dh = w.v[kBHi] - rr;
  const vd2 de = ((w.v[kBHi] - dh) - rr) + (w.v[kBLo] - rr_lo);
  const vd2 y = reciprocal(dh);
  vd2 p, pe;
  exact::two_product(dh, y, p, pe);
  const vd2 inv_lo = y * (((1.0 - p) - pe) - de * y);
  vd2 m, me, s1, s1e, s2, s2e;
  exact::two_product(w.v[kC1Hi], rp, m, me);
  exact::two_sum(w.v[kC0Hi], m, s1, s1e);
  exact::two_sum(w.v[kA] * y, s1, s2, s2e);
  const vd2 z = rp * rp;
  const vd2 poly =
      z * (w.v[kC2] + rp * (w.v[kC2 + 1] + rp * (w.v[kC2 + 2] + rp * (w.v[kC2 + 3] + rp * (w.v[kC2 + 4] + rp * w.v[kC2 + 5])))));
  const vd2 tail = (s1e + s2e + me) + w.v[kA] * inv_lo + w.v[kC0Lo] + w.v[kC1Lo] * rp + w.v[kC1Hi] * rp_lo + poly;
  pole = as<vl2>(dh == 0.0) & as<vl2>(w.v[kA] != 0.0);
  return s2 + tail;
}

// The pole select: +-Inf by `sign` where `pole` is set.
inline vd2 pole_select(vd2 v, vl2 pole, vq2 sign) {
  const vd2 inf = as<vd2>(sign | 0x7ff0000000000000ull);
  return select(pole, inf, v);
}

// Scalar routines.

// (hi + lo) * 2^-k rounded once, hi + lo given with |lo| much below |hi|,
// scaled so that hi + lo is normal: a denormal result is rounded to its grid
// before the exact scaling, so that it does not round twice.
template <int K> inline double scale_down_once(double hi, double lo) {
  const double down = as<double>((uint64_t)(1023 - K) << 52);
  double s, e;
  exact::fast_two_sum(hi, lo, s, e);
  const double normal = as<double>((uint64_t)(1023 - 1022 + K) << 52);  // 2^(K - 1022)
  if (__builtin_fabs(s) >= normal) return s * down;
  // On the magnitude, so that the sum with the shifter stays in its binade.
  const bool negative = s < 0;
  if (negative) s = -s, e = -e;
  const double grid = as<double>((uint64_t)(1023 - 1074 + K) << 52);       // 2^(K - 1074)
  const double shift = 1.5 * as<double>((uint64_t)(1023 - 1022 + K) << 52);  // ulp = grid
  const double q = (s + shift) - shift;
  const double rest = (s - q) + e;
  double v = q;
  if (rest > 0.5 * grid) v += grid;
  else if (rest < -0.5 * grid) v -= grid;
  v *= down;
  return negative ? -v : v;  // a zero keeps the sign of the product
}

// |x| below 2^-53: pi*x correctly rounded, also into the denormals. x*2^82 is
// split and multiplied by pi as 3.1415926218032837 + 3.178650954705639e-08.
inline double pi_times_tiny(double x) {
  constexpr double kP1 = 3.1415926218032837, kP2 = 3.178650954705639e-08;
  const double y = x * 4.835703278458517e+24;  // 2^82, exact; a factor (1 + x) would round to 1 - 2^-53 for small negative x
  double yh, yl;
  exact::split(y, yh, yl);
  return scale_down_once<82>(yh * kP1, yl * kP1 + y * kP2);
}

// NaN and infinities of every routine here: NaN gives x + x (status 0),
// +-Inf gives x * 0, a NaN, with the domain status 1. Returns -1 for finite x.
inline int non_finite(double x, double *r) {
  if (__builtin_isnan(x)) return *r = x + x, 0;
  if (__builtin_isinf(x)) {
    volatile double zero = 0.0;
    *r = x * zero;
    return 1;
  }
  return -1;
}

// The scalar routine of Sinpi and Tanpi: NaN, infinities, and the tiny
// lanes (zeros keep their sign).
inline int pi_tiny_scalar(double x, double *r) {
  const int s = non_finite(x, r);
  if (s >= 0) return s;
  *r = x == 0 ? x : pi_times_tiny(x);
  return 0;
}

// The scalar routine of lanes flagged only for NaN and infinities.
inline int non_finite_scalar(double x, double *r) {
  const int s = non_finite(x, r);
  return s >= 0 ? s : (*r = x, 0);
}

// The remainder of a (finite, >= 0) modulo 360, exactly, in [0, 360), by
// integer arithmetic on the significand: a = m 2^E.
inline double mod360(double a) {
  if (a < 360.0) return a;
  const uint64_t b = as<uint64_t>(a);
  const uint64_t m = (b & 0x000fffffffffffffull) | 0x0010000000000000ull;
  int E = (int)(b >> 52) - 1075;
  if (E < 0) {  // E >= -44 here, since a >= 360 and m < 2^53
    const uint64_t period = 360ull << -E;
    return (double)(m % period) * as<double>((uint64_t)(1023 + E) << 52);
  }
  if (E >= 3) E = 3 + (E - 3) % 12;  // 2^E mod 360 repeats with period 12 from 2^3 on
  return (double)(((m % 360) << E) % 360);
}

// x pi/180 for tiny x (below 2^-964, where the table forms would lose the
// low part of their pair): the product with the pair, scaled up by 2^100 so
// that the partial products are exact, rounded once into the result's grid.
inline double degrees_tiny(double x) {
  if (x == 0) return x;
  const double y = x * 0x1p100;  // exact
  double yh, yl;
  exact::split(y, yh, yl);  // yh * kDegreeHi and yl * kDegreeHi are exact (20-bit head)
  return scale_down_once<100>(yh * kDegreeHi, yl * kDegreeHi + y * kDegreeLo);
}
inline int degrees_tiny_scalar(double x, double *r) {
  const int s = non_finite(x, r);
  if (s >= 0) return s;
  *r = degrees_tiny(x);  // sin and tan agree to the last bit here
  return 0;
}

// The scalar routine of the LA and EP degree kernels K: NaN, infinities, and
// magnitudes beyond the fast path, whose exact remainder modulo 360 then goes
// through the kernel's own lane formula. `odd`: the sign of x carries over.
template <class K> int degrees_scalar(double x, bool odd, double *r) {
  const int s = non_finite(x, r);
  if (s >= 0) return s;
  const double t = mod360(__builtin_fabs(x));
  vl2 bad;
  const double v = K::lanes(vd2{t, t}, bad)[0];
  *r = odd && x < 0 ? -v : v;
  return 0;
}

}  // namespace qor::kernels::pideg

#endif
