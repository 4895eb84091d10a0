// Pieces shared by the double-precision logarithm kernels: the reduction by
// an integer reciprocal, the table gathers by byte offset, the natural-log
// polynomial and the scalar routine that every d logarithm runs for the
// lanes the fast path flags.
//
// The reduction: m = the mantissa of x with the exponent of 2^-10, so m lies
// in [2^-10, 2^-9); c = 1/m from the single-precision approximate reciprocal,
// rounded to an integer in [512, 1024]; then x = 2^(E - 1023) 2^10 m and
//   ln x = (E - bias) ln 2 - ln(c / 2^(bias - 1013)) + ln(1 + u),  u = m c - 1,
// with bias 1022 for c up to 724 and 1023 from 725 on, so that the table row
// is 0 next to x = 1 on both sides. m is split into hi (the top 21 bits) and
// lo, so that hi c - 1 and lo c are exact; their sum u is exact too, being a
// multiple of 2^-62 below 2^-9 in magnitude.
#ifndef QOR_KERNELS_DLOG_COMMON_H
#define QOR_KERNELS_DLOG_COMMON_H

#include <float.h>
#include <stdint.h>

#include "vector/dispatch/simd.h"
#include "vector/kernels/exact.h"
#include "vector/kernels/log/dlog_tables.inc"

namespace qor::kernels::dlogk {

using namespace qor::simd;

constexpr double kShifter = 6755399441055744.0;           // 1.5 * 2^52: rounds to an integer
constexpr double kTwo52 = 4503599627370496.0;             // 2^52: integer bits to double
constexpr uint64_t kMantissa = 0x000fffffffffffffull;
constexpr uint64_t kExpOfTiny = 0x3f50000000000000ull;    // exponent field of 2^-10
constexpr uint64_t kHiMask = 0xffffffff00000000ull;       // hi keeps 21 bits: hi * c is exact
constexpr uint64_t kExpField = 0x7ff0000000000000ull;
constexpr uint64_t kCBias = 0x408ull << 12;               // bits of 512.0 >> 40: row 0's offset

// The natural-log polynomial ln(1 + u) - u = u^2 (c2 + c3 u + u^2 (c4 + c5 u)),
// fitted on |u| < 1.2e-3: relative error 2.7e-17 of u there.
constexpr double kC2 = -0.49999999999988803, kC3 = 0.33333333333308374;
constexpr double kC4 = -0.2500003054940248, kC5 = 0.20000036659494241;

// A lane is flagged unless x is a positive normal finite number (NaN too, by
// the unordered comparison).
inline vl2 outside_normal(vd2 x) { return (x < DBL_MIN) | ~(x <= DBL_MAX); }

struct Reduced {
  vd2 u;  // m c - 1, exact; |u| < 1.4e-3 by the reciprocal's 1.5 * 2^-12
  vd2 c;  // the integer reciprocal, 512..1024
  vd2 e;       // the biased exponent field of x, as a double
};

inline Reduced reduce(vd2 x) {
  const vq2 bits = as<vq2>(x);
  const vd2 m = as<vd2>((bits & kMantissa) | kExpOfTiny);
  const vd2 r = as<vd2>(_mm_cvtps_pd(_mm_rcp_ps(_mm_cvtpd_ps(as<__m128d>(m)))));
  Reduced q;
  q.c = (r + kShifter) - kShifter;
  const vd2 hi = as<vd2>(as<vq2>(m) & kHiMask);
  const vd2 lo = m - hi;
  q.u = (hi * q.c - 1.0) + lo * q.c;
  q.e = as<vd2>((bits >> 52) | as<uint64_t>(kTwo52));
  return q;
}

// ln(1 + u) - u by the polynomial.
inline vd2 ln_tail(vd2 u) { return u * u * (kC2 + kC3 * u + u * u * (kC4 + kC5 * u)); }

// The row's byte offset from the bits of c: c = 512 + i as a double, shifted
// right by 40, is 8 i past the offset of 512.0 (39 and 16 i for two-part rows).
inline vq2 row_offset8(vd2 c) { return (as<vq2>(c) >> 40) - kCBias; }
inline vq2 row_offset16(vd2 c) { return (as<vq2>(c) >> 39) - (kCBias << 1); }

// Gathers by byte offset. The offsets go through memory and come back as
// integer loads: SSSE3 has no 64-bit lane extract.
inline vd2 gather_at(const double *table, vq2 off) {
  alignas(16) uint64_t w[2];
  store(w, off);
  __asm__("" : "+m"(w));
  const char *base = (const char *)table;
  return as<vd2>(_mm_loadh_pd(_mm_load_sd((const double *)(base + w[0])), (const double *)(base + w[1])));
}
inline void gather_pairs_at(const double (*table)[2], vq2 off, vd2 &hi, vd2 &lo) {
  alignas(16) uint64_t w[2];
  store(w, off);
  __asm__("" : "+m"(w));
  const char *base = (const char *)table;
  const __m128d r0 = _mm_load_pd((const double *)(base + w[0])), r1 = _mm_load_pd((const double *)(base + w[1]));
  hi = as<vd2>(_mm_unpacklo_pd(r0, r1));
  lo = as<vd2>(_mm_unpackhi_pd(r0, r1));
}

// The exponent of the one-part tables: e - 1022 up to c = 724, e - 1023 above.
inline vd2 la_exponent(const Reduced &q) {
  return (q.e - (kTwo52 + 1022.0)) - as<vd2>(as<vq2>(q.c > 724.0) & as<uint64_t>(1.0));
}
// The exponent of the two-part tables, which carry the bias: E itself.
inline vd2 ha_exponent(const Reduced &q) { return q.e - kTwo52; }

// The two-part sums add u (or its high part) to s = k L1 + T.hi by an exact
// fast two-sum: s is exact (multiples of 2^-36 or 2^-38 below 2^11); it is 0
// next to x = 1, where k L2 + T.lo is exactly 0 as well, and otherwise at
// least ln(513/512) in magnitude, above |u|.
using exact::fast_two_sum;

// ln 2 in two parts of 36 bits: k L1 and k L2 are exact.
constexpr double kLn2Hi = f64(0x3fe62e42fefa0000), kLn2Lo = f64(0x3d7cf79abc9e0000);

// The natural logarithm from a reduction, two-part table (HA): the large part
// k L1 + T.hi + u summed exactly, the rest added once. `extra` is a small
// addend to u kept out of the exact sum (dLog1p's rounding correction).
inline vd2 ln_two_part(const Reduced &q, vd2 k, vd2 extra) {
  vd2 th, tl, a, e;
  gather_pairs_at(dlog_tables::kLnHA, row_offset16(q.c), th, tl);
  fast_two_sum(k * kLn2Hi + th, q.u, a, e);
  return a + ((((k * kLn2Lo + tl) + e) + extra) + ln_tail(q.u));
}

// The reduction of 1 + x + xlo (xlo a small second part of the argument,
// zero for dLog1p); `corr` is the sum's rounding error err, plus xlo, as a
// change of u, err s c; the logarithm changes by corr / (1 + u), which HA takes to
// first order in u and LA and EP as corr itself (|corr u| < 2^-62).
inline Reduced reduce1p(vd2 x, vd2 xlo, vd2 &corr) {
  const vd2 y = 1.0 + x;
  // Exact: below x = -0.5 the sum itself is exact, and y - 1 is exact for y
  // in [0.5, 2^53]; beyond, err / y is below 2^-52 and its own error negligible.
  const vd2 err = (x - (y - 1.0)) + xlo;
  const Reduced q = reduce(y);
  const vd2 s = as<vd2>(0x7f40000000000000ull - (as<vq2>(y) & kExpField));  // 2^(1013 - E)
  corr = err * s * q.c;
  return q;
}

// u split for a product by a constant of 9 bits: uh keeps 21 bits.
inline vd2 high_part(vd2 u) { return as<vd2>(as<vq2>(u) & kHiMask); }

// The scalar routine of the d logarithms, for a kernel whose Core::eval(x, dk)
// computes the lane formula with dk added to the exponent. +Inf and NaN give
// x * x; -Inf and negatives a NaN, status 1; zero -Inf, status 2; a denormal
// is scaled by 2^1074 through its integer mantissa (exact, and independent of
// a flush setting) with -1074 carried in the exponent. Positive normal x runs
// the lane formula itself, so a result never depends on the path it took.
template <class Core> int log_scalar(const double *a, double *r) {
  const double x = *a;
  const uint64_t b = as<uint64_t>(x);
  volatile double zero = 0.0;
  if ((b & kExpField) == kExpField) {
    if (b == 0xfff0000000000000ull) {
      *r = zero / zero;
      return 1;
    }
    *r = mul_ordered(x, x);
    return 0;
  }
  if ((b << 1) == 0) {
    *r = -1.0 / zero;
    return 2;
  }
  if (b >> 63) {
    *r = zero / zero;
    return 1;
  }
  double y = x, dk = 0.0;
  if ((b & kExpField) == 0) {
    y = (double)(int64_t)(b & kMantissa);
    dk = -1074.0;
  }
  *r = Core::eval(vd2{y, y}, vd2{dk, dk})[0];
  return 0;
}

// The frame description of a logarithm over a Core.
template <class Core> struct LogKernel {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = Core::kBlock;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = Core::kName;
  static vd2 lanes(vd2 x, vl2 &bad) {
    bad = outside_normal(x);
    return Core::eval(x, vd2{0.0, 0.0});
  }
  static int scalar(const double *a, double *r) { return log_scalar<Core>(a, r); }
};

}  // namespace qor::kernels::dlogk

#endif
