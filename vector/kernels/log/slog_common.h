// Pieces shared by the single-precision logarithm kernels: the reduction of x
// (or of 1 + x) to m in [2/3, 4/3) and an exponent e, the table step of the HA
// kernels of Log2, Log10 and Log1p, and the double-precision scalar routine
// that serves the lanes the formulas leave out.
#ifndef QOR_KERNELS_SLOG_COMMON_H
#define QOR_KERNELS_SLOG_COMMON_H

#include <float.h>

#include "vector/dispatch/simd.h"
#include "vector/kernels/log/slog_tables.inc"

namespace qor::kernels::slog {

using namespace qor::simd;
using namespace qor::kernels::slog_tables;

constexpr int32_t kTwoThirds = 0x3f2aaaab;  // bits of 2/3: m = x / 2^e lands in [2/3, 4/3)

// ln 2 in two parts (the high one short, so that e * hi is exact) and in one.
constexpr float kLn2Hi = f32(0x3f317200), kLn2Lo = f32(0x35bfbe8e), kLn2 = f32(0x3f317218);
// log10(2) in two parts, the high one short.
constexpr float kLg2Hi = f32(0x3e9a2100), kLg2Lo = f32(0xb64af600);

// x = 2^e m with m in [2/3, 4/3): e from the bits less those of 2/3, taken
// by an arithmetic shift, and m by subtracting e from the exponent field.
// Any input gives an m in range, so table rows stay in bounds on every lane.
inline void split(vi4 ix, vi4 &e, vf4 &m) {
  e = as<vi4>(as<vu4>(ix) - (uint32_t)kTwoThirds) >> 23;
  m = as<vf4>(as<vu4>(ix) - (as<vu4>(e) << 23));
}

// Lanes that are not positive, normal and finite: adding 0x800000 to the bits
// pushes infinities and NaN past the sign and wraps the largest negatives to
// small values, so one signed comparison with 0x1000000 catches all of them,
// with zero, the denormals and the negatives.
inline vi4 not_positive_normal(vi4 ix) { return as<vi4>(as<vu4>(ix) + 0x800000u) < 0x1000000; }

// The same for the sum s = 1 + x of Log1p, which also leaves out s >= 2^127,
// where 2^-e would not be a normal float.
inline vi4 log1p_sum_special(vi4 is) { return as<vi4>(as<vu4>(is) + 0x1000000u) < 0x1800000; }

// The rounding error of s = 1 + x, exact: the larger operand first (Fast2Sum).
inline vf4 sum_error(vf4 x, vf4 s) {
  const vf4 one = splat<vf4>(1.0f);
  const vf4 big = as<vf4>(_mm_max_ps(as<__m128>(x), as<__m128>(one)));
  const vf4 small = as<vf4>(_mm_min_ps(as<__m128>(x), as<__m128>(one)));
  return small - (s - big);
}

// 2^-e for e in [-126, 127] (0 at 127, where the term it scales is negligible).
inline vf4 pow2_neg(vi4 e) { return as<vf4>((127 - e) << 23); }

inline vf4 to_float(vi4 e) { return __builtin_convertvector(e, vf4); }

// Four 16-byte table rows, one per lane, transposed into four vectors.
inline void gather_rows(const float (*table)[4], vi4 j, vf4 &c0, vf4 &c1, vf4 &c2, vf4 &c3) {
  __m128 r0 = _mm_load_ps(table[j[0]]), r1 = _mm_load_ps(table[j[1]]);
  __m128 r2 = _mm_load_ps(table[j[2]]), r3 = _mm_load_ps(table[j[3]]);
  _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
  c0 = as<vf4>(r0), c1 = as<vf4>(r1), c2 = as<vf4>(r2), c3 = as<vf4>(r3);
}

// The HA table step in base b. m = c + r with c = m rounded to 10 fraction
// bits (the row) and r exact; u = r / c = r inv_hi (exact) + rest; then
// log_b(2^e m) = e lg2_b + log_b(c) + K u + u^2 P(u) with K = 1/ln b. The
// large terms are summed with their rounding errors kept (Fast2Sum: e lg2_b
// outweighs log_b(c) unless e = 0, and log_b(c) outweighs K u unless c = 1),
// so that only the final addition rounds at the scale of the result.
// `extra` is a small addition to m (the lost part of 1 + x in Log1p), taken
// in base e only.
struct TableBase {
  const float (*rows)[4];
  const float *inner;  // P: p0, p1, p2
  float k_hi, k_lo;    // K = k_hi + k_lo, k_hi short (1 and 0 for base e)
  float e_hi, e_lo;    // log_b(2) in two parts (e_hi = 1, e_lo = 0 for base 2)
};

template <const TableBase &B, bool kNatural>
inline vf4 table_log(vi4 e, vf4 m, vf4 extra) {
  const vi4 jr = (as<vi4>(m) + 0x1000) >> 13;
  const vf4 c = as<vf4>(jr << 13);
  const vf4 r = m - c;  // exact: c and m within a factor of 2
  vf4 inv_hi, inv_lo, t_hi, t_lo;
  gather_rows(B.rows, jr - kRowBase, inv_hi, inv_lo, t_hi, t_lo);
  vf4 uh = r * inv_hi;  // exact: 13 bits times 11 bits
  vf4 ul, a, ku;         // a = K times the leading part of u, exactly; ku the rest of K u
  if constexpr (kNatural) {
    // extra / c in full: inv_lo reaches 2^-11 relative, too much to drop there
    ul = (r + extra) * inv_lo + extra * inv_hi;
    a = uh;
    ku = ul;
  } else {
    (void)extra;
    const vf4 us = as<vf4>(as<vi4>(uh) & (int32_t)0xfffff000);  // 12 bits: us k_hi is exact
    ul = r * inv_lo + (uh - us);
    uh = us;
    a = us * B.k_hi;
    ku = us * B.k_lo + ul * (B.k_hi + B.k_lo);
  }
  const vf4 u = uh + ul;
  const vf4 fe = to_float(e);
  const vf4 eh = fe * B.e_hi;  // exact: e_hi is short
  const vf4 h1 = eh + t_hi;
  const vf4 err1 = t_hi - (h1 - eh);
  const vf4 h2 = h1 + a;
  const vf4 err2 = a - (h2 - h1);
  const vf4 p = B.inner[0] + u * (B.inner[1] + u * B.inner[2]);
  const vf4 small = ((err1 + err2) + (t_lo + fe * B.e_lo)) + (ku + u * u * p);
  return h2 + small;
}

// ---- the double-precision scalar routine ----------------------------------

// ln(1 + r) for |r| <= 0.009765625, in double.
inline double ln_near1(double r) {
  return r + r * r *
                 (-0.5 + r * (0.33333333333334386 +
                              r * (-0.25000000000003386 +
                                   r * (0.19999999911565072 +
                                        r * (-0.1666666651884978 + r * (0.1428756883852146 + r * -0.1250214602960357))))));
}

// ln d for a positive, normal, finite double d, with k carried in the
// exponent: near 1 the polynomial directly, otherwise a 128-row table
// (reciprocal and two parts of its logarithm) around the mantissa in [1, 2).
inline double ln_wide(double d, int k) {
  if (k == 0 && __builtin_fabs(d - 1.0) <= 0.009765625) return ln_near1(d - 1.0);
  const uint64_t bits = as<uint64_t>(d);
  k += (int)(bits >> 52) - 1023;
  const double m = as<double>((bits & 0x000fffffffffffffull) | 0x3ff0000000000000ull);
  const int j = (int)(as<uint64_t>(m + 70368744177665.0) & 127);  // round(64 m) less 64
  const double *row = kLnScalar128[j];
  const double m_hi = (m + 2097152.0) - 2097152.0, m_lo = m - m_hi;  // m_hi: 32 bits
  const double u = (row[0] * m_hi - 1.0) + row[0] * m_lo;             // row[0] * m_hi exact
  const double kd = k;
  return (kd * 0.6931471805598903 + row[1]) + ((kd * 5.497923018708371e-14 + row[2]) + ln_near1(u));
}

// ln x in double for the bits of a positive finite float, denormals included:
// a denormal is the integer of its bits times 2^-149, taken as x 2^60 with
// -60 carried (from the integer, so that no denormals-are-zero setting applies).
inline double ln_float(uint32_t bits) {
  if (bits < 0x800000) return ln_wide((double)bits * 0x1p-89, -60);
  return ln_wide((double)as<float>(bits), 0);
}

inline float make_nan() {
  volatile float zero = 0.0f;
  return zero / zero;  // quiet NaN, raising invalid
}
inline float minus_inf() {
  volatile float zero = 0.0f;
  return -1.0f / zero;  // raising divide-by-zero
}

// The scalar routine of Ln, Log2 and Log10: -Inf gives a NaN (1), +Inf and NaN
// x * x (0), zero -Inf (2), a negative x a NaN (1); otherwise ln x in double,
// times `scale`, rounded once.
inline int log_scalar(const float *a, float *r, double scale) {
  const float x = *a;
  const uint32_t bits = as<uint32_t>(x);
  if ((bits & 0x7f800000) == 0x7f800000) {
    if (bits == 0xff800000u) return *r = make_nan(), 1;
    return *r = x * x, 0;
  }
  if ((bits & 0x7fffffff) == 0) return *r = minus_inf(), 2;
  if (bits >> 31) return *r = make_nan(), 1;
  const double l = ln_float(bits);
  *r = (float)(scale == 1.0 ? l : l * scale);
  return 0;
}

// The scalar routine of Log1p: -1 gives -Inf (2), below it a NaN (1); near 0
// the polynomial in x itself, otherwise ln(1 + x) in double.
inline int log1p_scalar(const float *a, float *r) {
  const float x = *a;
  const uint32_t bits = as<uint32_t>(x);
  if ((bits & 0x7f800000) == 0x7f800000 && bits != 0xff800000u) return *r = x * x, 0;
  if (x == -1.0f) return *r = minus_inf(), 2;
  if (x < -1.0f) return *r = make_nan(), 1;
  if ((bits & 0x7fffffff) == 0) return *r = x, 0;  // log1p(-0) = -0
  if (__builtin_fabsf(x) <= 0.009765625f) {
    // x from its bits, so that a denormal x is kept whatever the setting
    const double xd = (bits & 0x7f800000) ? (double)x : (double)(bits & 0x7fffff) * 0x1p-149 * ((bits >> 31) ? -1 : 1);
    return *r = (float)ln_near1(xd), 0;
  }
  return *r = (float)ln_wide(1.0 + (double)x, 0), 0;
}

}  // namespace qor::kernels::slog

#endif
