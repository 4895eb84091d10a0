// Pieces shared by the scalar routines of the exponential kernels: the
// non-finite inputs, the scaling of a reduced result by 2^n with a single
// rounding, and a double-precision 2^y that the single-precision routines
// narrow once.
#ifndef QOR_KERNELS_EXP_COMMON_H
#define QOR_KERNELS_EXP_COMMON_H

#include <float.h>

#include "vector/dispatch/fpenv.h"
#include "vector/dispatch/simd.h"
#include "vector/kernels/exp/exp_tables.inc"

namespace qor::kernels::expk {

using namespace qor::simd;

// Non-finite x: NaN quieted (x * x), +Inf stays, -Inf gives `at_minus_inf`.
// Returns false for finite x.
template <class T> inline bool non_finite(T x, T at_minus_inf, T *r) {
  if (__builtin_isfinite(x)) return false;
  *r = (x < 0) ? at_minus_inf : x * x;
  return true;
}

// v * 2^n for v near 1 and n in [-1200, 1120], rounded once: overflow gives
// +Inf, and the denormal range is reached by one final rounding.
inline double scale_pow2(double v, long n) {
  if (n > 1000) return (v * as<double>((uint64_t)(n - 100 + 1023) << 52)) * 0x1p100;
  if (n < -1000) return (v * as<double>((uint64_t)(n + 200 + 1023) << 52)) * 0x1p-200;
  return v * as<double>((uint64_t)(n + 1023) << 52);
}

// The denormal case of the scaling below, in extended precision with
// round-to-nearest whatever the caller's x87 control word says. Out of line
// and through memory, so the x87 arithmetic cannot move out of the scope.
__attribute__((noinline)) inline void scale_pow2_extended(const double *hi, const double *rest, long n, double *d) {
  qor::bex::fpenv::X87ExtendedScope x87;
  const long double v = (long double)*hi + (long double)*rest;
  *d = (double)((v * (long double)as<double>((uint64_t)(n + 200 + 1023) << 52)) * 0x1p-200L);
  __asm__ volatile("" : : "m"(*d) : "memory");  // the narrowing store happens inside the scope
}

// (hi + rest) * 2^n with one rounding, also into the denormal range: there
// the sum is formed in extended precision, scaled exactly, and narrowed once.
inline double scale_pow2(double hi, double rest, long n) {
  if (n >= -1020) return scale_pow2(hi + rest, n);
  double d;
  scale_pow2_extended(&hi, &rest, n, &d);
  return d + 0.0;  // through the SSE unit, so a flush-to-zero setting applies as to the lanes
}

// Status of a double result of a finite x: 3 overflow, 4 underflow (a
// denormal result or zero), 0 otherwise.
inline int status_of(double r) { return r > DBL_MAX ? 3 : r < DBL_MIN ? 4 : 0; }
inline int status_of(float r) { return r > FLT_MAX ? 3 : r < FLT_MIN ? 4 : 0; }

// 2^y in double for |y| below 200, to about 1e-16 relative: k = round(64 y),
// f = y - k/64 exactly, 2^f = e^q with q = f ln 2 by degree 6, a 64-row table.
inline double exp2_wide(double y) {
  constexpr double kShift = 6755399441055744.0;  // 1.5 * 2^52
  const double t = y * 64.0 + kShift;
  const long k = (long)(int32_t)as<uint64_t>(t);
  const double q = (y - (t - kShift) * 0.015625) * 0.69314718055994531;
  const double p =
      q + q * q * (0.5 + q * (0.16666666666657 + q * (0.04166666666677 + q * (0.00833334199514 + q * 0.00138888704592))));
  return exp_tables::kExp2d_64[k & 63] * (1.0 + p) * as<double>((uint64_t)((k >> 6) + 1023) << 52);
}

// The single-precision scalar routine of b^x, through 2^(x log2 b) in double:
// one rounding on narrowing. `ovf`/`unf` bound x beyond which the result is
// surely +Inf or 0. Status 3 on overflow, 4 on underflow, denormals included.
inline int exp_float_scalar(float x, double log2b, float ovf, float unf, float *r) {
  if (non_finite(x, 0.0f, r)) return 0;
  if (x > ovf) {
    volatile float big = FLT_MAX;
    *r = big * big;
    return 3;
  }
  if (x < unf) {
    volatile float tiny = 1.40129846e-45f;
    *r = tiny * tiny;
    return 4;
  }
  *r = (float)exp2_wide((double)x * log2b);
  return status_of(*r);
}

// The double-precision scalar routine of b^x over a kernel's reduction:
// Core::parts(x, e, hi, rest) gives hi + rest = T[j] (1 + p) and the exponent
// addend e = n << 52. x above `ovf` is surely +Inf (3), below `unf` surely 0
// (4); in between the result is scaled with one rounding and its status read
// from it. NaN and infinities give no report.
template <class Core> int exp_double_scalar(double x, double ovf, double unf, double *r) {
  if (non_finite(x, 0.0, r)) return 0;
  if (x > ovf) {
    volatile double big = DBL_MAX;
    *r = big * big;
    return 3;
  }
  if (x < unf) {
    volatile double tiny = 4.9406564584124654e-324;
    *r = tiny * tiny;
    return 4;
  }
  vq2 e;
  vd2 hi, rest;
  Core::parts(vd2{x, x}, e, hi, rest);
  *r = scale_pow2(hi[0], rest[0], (long)((int64_t)e[0] >> 52));
  return status_of(*r);
}

// The lane test on the high word of |x|, signed, as a lane mask whose sign
// bits alone are meaningful: the frame reads lane masks only through their
// sign bits (movmskpd), so the high word's comparison result is left in place
// instead of being copied over the low word, which saves a shuffle per vector.
inline vl2 high_word_above(vd2 x, int32_t bound) {
  return as<vl2>(as<vi4>(as<vq2>(x) & 0x7fffffffffffffffull) > bound);
}

// Gathers two-part rows by the low bits of the integer lanes kb, where
// `Rows` is a power of two. The lanes go through memory and come back as two
// 32-bit integer loads: SSSE3 has no 64-bit lane extract, and each move out of
// the vector unit would take a slot of the pipes the arithmetic runs on; the
// stack round trip uses the store and load units instead.
template <int Rows> inline void gather_rows(const double (*table)[2], vq2 kb, vd2 &hi, vd2 &lo) {
  alignas(16) uint32_t w[4];
  store(w, kb);
  __asm__("" : "+m"(w));  // the round trip through memory stays
  const __m128d r0 = _mm_load_pd(table[w[0] & (Rows - 1)]), r1 = _mm_load_pd(table[w[2] & (Rows - 1)]);
  hi = as<vd2>(_mm_unpacklo_pd(r0, r1));
  lo = as<vd2>(_mm_unpackhi_pd(r0, r1));
}

// The lane formula of the d kernels of one kernel for all tiers: K::parts
// gives the exponent field e and 2^(j/N) e^r as hi + rest; the result is
// 2^n (hi + rest), and the lane test is on the high word of |x|.
template <class K> struct ScaledExpLanes {
  static vd2 lanes(vd2 x, vl2 &bad) {
    vq2 e;
    vd2 hi, rest;
    K::parts(x, e, hi, rest);
    bad = high_word_above(x, K::kLaneBound);
    return as<vd2>(as<vq2>(hi + rest) + e);
  }
};

// The HA core of dExp, also used by the hyperbolic kernels: N = 64, two-part
// ln2/64, hi/lo rows; e^x = 2^n (hi + rest) with rest = lo + hi p, and the
// exponent-field addend e = n << 52 (k shifted by 46).
struct ExpHACore {
  static constexpr int kBlock = 16;
  static constexpr double kShift = 6755399441055744.0;  // 1.5 * 2^52: k lands in the low bits
  static constexpr double kInvL = 92.332482616893657;
  static constexpr double kL1 = f64(0x3f862e42fefa0000), kL2 = f64(0x3d1cf79abc9e3b3a);

  static void parts(vd2 x, vq2 &e, vd2 &hi, vd2 &rest) {
    const vd2 t = x * kInvL + kShift;
    const vd2 k = t - kShift;
    const vd2 r = (x - k * kL1) - k * kL2;
    const vq2 kb = as<vq2>(t);
    e = (kb << 46) & 0xfff0000000000000ull;
    vd2 lo;
    gather_pairs(exp_tables::kExp2d2_64, as<vl2>(kb & 63), hi, lo);
    const vd2 p = r + r * r *
                          (0.49999999999947747 +
                           r * (0.16666666666677971 + r * (0.041666723686623851 + r * 0.0083333341644141103)));
    rest = lo + hi * p;
  }
  static vd2 core(vd2 x, vq2 &e) {
    vd2 hi, rest;
    parts(x, e, hi, rest);
    return hi + rest;
  }
};

}  // namespace qor::kernels::expk

#endif
