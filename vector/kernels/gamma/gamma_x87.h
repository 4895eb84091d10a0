// The common ground of the extended-precision gamma-family routines: the x87
// instructions they build on, Horner in long double, the classification of an
// input by its bits, and the description of a kernel that has no vector
// formula (every lane goes to the scalar routine).
//
// The routines run under ExtendedX87Env: 64-bit significand, round to
// nearest, exceptions masked. All arithmetic stays on the x87 unit; inputs are
// classified by integer compares, so the caller's MXCSR (DAZ in particular)
// cannot reach a result, and each result is narrowed once by an x87 store.
#ifndef QOR_KERNELS_GAMMA_X87_H
#define QOR_KERNELS_GAMMA_X87_H

#include <stdint.h>
#include <string.h>

#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/gamma/gamma_tables.inc"
#include "vector/kernels/x87_common.h"

namespace qor::kernels::gamma {

using namespace x87;  // ld and the instruction wrappers

// ln x with full relative accuracy near 1 as well.
inline ld log_ext(ld x) {
  const ld d = x - 1;
  return (d > -0.25L && d < 0.25L) ? x87_log1p(d) : x87_log(x);
}
// ln x by the 256-row table (see the generator) and a polynomial of
// ln(1 + r) through r^7, with no microcoded instruction: x = 2^e m, the row
// of the top eight bits of m gives c, r = m c - 1 (exact for a double m),
// and ln x = (e + d) ln 2 - ln(2^d c) + ln(1 + r). Absolute error near
// 2^-66, and relative accuracy next to x = 1 from either side.
// Short = true (the float routines) stops the series at r^4, with an
// absolute error near 2^-38.
template <bool Short = false> inline ld log_core(int e, unsigned row, ld m) {
  using namespace gamma_tables;
  const LogRow &t = kLogRows[row];
  const ld r = m * (ld)t.c - 1;
  const ld r2 = r * r;
  // constants in double (fast loads); their rounding is far below 2^-66 here
  ld q;
  if constexpr (Short) q = (-0.5 + r * (1 / 3.0)) + r2 * -0.25;
  else q = (-0.5 + r * (1 / 3.0)) + r2 * ((-0.25 + r * 0.2) + r2 * (-(1 / 6.0) + r * (1 / 7.0)));
  // k enters the x87 stack only now (tied to q): loaded earlier, it would be
  // spilled to memory while the polynomial holds the registers
  int ki = e + t.d;
  __asm__("" : "+r"(ki) : "f"(q));
  const ld k = (ld)ki;
  // k ln2hi + hi is exact (64 bits hold both); the small terms follow
  return (k * kLn2HiD + t.neg_log_hi) + ((k * kLn2LoD + t.neg_log_lo) + (r + r2 * q));
}
// ln x for a positive normal double x given by its bits.
template <bool Short = false> inline ld log_bits(uint64_t bits) {
  const uint64_t mbits = (bits & 0x000fffffffffffffull) | 0x3ff0000000000000ull;
  double m;  // the significand in [1, 2)
  memcpy(&m, &mbits, 8);
  return log_core<Short>((int)(bits >> 52) - 1023, (unsigned)(bits >> 44) & 0xff, (ld)m);
}
// ln x for x > 0 (binary exponents beyond +-1000 by fyl2x). The exponent and the
// row come from x rounded to double (no store of the 80-bit value, which the
// integer loads could not forward from); where that rounding carries into
// the next row or binade, m = x 2^-e lies just below the row's range, r
// stays below 2^-8.5 all the same, and the result is the same.
template <bool Short = false> inline ld log_table(ld x) {
  const double xd = (double)x;
  uint64_t bits;
  memcpy(&bits, &xd, 8);
  if ((bits >> 52) - 23 > 2000) return x87_log(x);  // the double is near or past the ends of its range
  const int e = (int)(bits >> 52) - 1023;
  double scale;  // 2^-e, exact
  const uint64_t sbits = (uint64_t)(1023 - e) << 52;
  memcpy(&scale, &sbits, 8);
  return log_core<Short>(e, (unsigned)(bits >> 44) & 0xff, x * (ld)scale);
}

inline ld x87_floor(ld x) {
  ld n = x87_rint(x);
  return n > x ? n - 1 : n;
}
// sin a for |a| <= pi/2.
inline ld x87_sin(ld a) {
  ld r;
  __asm__("fsin" : "=t"(r) : "0"(a));
  return r;
}

// e^y for |y| < 11000: y = k ln 2 + r with the two-part ln 2, then
// 2^(r log2 e) from f2xm1 on |r log2 e| <= 1/2, scaled by 2^k.
inline ld exp_ext(ld y) {
  using namespace gamma_tables;
  const ld k = x87_rint(y * kLog2e);
  const ld r = (y - k * kLn2Hi) - k * kLn2Lo;
  const ld m = x87_exp2m1(r * kLog2e);
  return x87_scale(1 + m, k);
}

// The polynomial sum c[i] t^i as two Horner chains in t^2 (even and odd
// terms), which the x87 unit runs side by side: about half the latency.
template <class C, int N> inline ld horner(const C (&c)[N], ld t) {
  const ld t2 = t * t;
  constexpr int last_even = (N - 1) & ~1, last_odd = (N - 2) | 1;
  ld e = c[last_even], o = c[last_odd];
  for (int i = last_even - 2; i >= 0; i -= 2) e = e * t2 + c[i];
  for (int i = last_odd - 2; i >= 1; i -= 2) o = o * t2 + c[i];
  return e + t * o;
}

// The same sum by Estrin's scheme: pairs c[i] + c[i+1] t combined by t^2,
// t^4, t^8: a shorter chain of dependent operations than Horner's for the
// long x87 latencies, at the price of a few more multiplications.
template <class C, int N> inline ld estrin(const C (&c)[N], ld t) {
  static_assert(N >= 2 && N <= 16, "up to 16 terms");
  ld p[8];
  constexpr int pairs = (N + 1) / 2;
  for (int i = 0; i < pairs; ++i) p[i] = 2 * i + 1 < N ? c[2 * i] + t * (ld)c[2 * i + 1] : (ld)c[2 * i];
  ld s = t * t;
  int n = pairs;
  while (n > 1) {
    for (int i = 0; 2 * i < n; ++i) p[i] = 2 * i + 1 < n ? p[2 * i] + s * p[2 * i + 1] : p[2 * i];
    n = (n + 1) / 2;
    if (n > 1) s = s * s;
  }
  return p[0];
}

// The product start (start + 1) ... (start + n - 1), in four independent chains.
inline ld rising_product(ld start, int n) {
  ld p0 = 1, p1 = 1, p2 = 1, p3 = 1;
  int j = 0;
  for (; j + 4 <= n; j += 4) {
    const ld b = start + j;
    p0 *= b;
    p1 *= b + 1;
    p2 *= b + 2;
    p3 *= b + 3;
  }
  for (; j < n; ++j) p0 *= start + j;
  return (p0 * p1) * (p2 * p3);
}

// An input seen through its bits: the value widened on the x87 unit, the
// sign, and the magnitude bits of the double it converts to exactly.
struct Input {
  ld x;
  bool negative;
  uint64_t mag;  // |x| as double bits
  bool is_nan() const { return mag > 0x7ff0000000000000ull; }
  bool is_inf() const { return mag == 0x7ff0000000000000ull; }
  bool is_zero() const { return mag == 0; }
};
// The loads are x87 loads: an SSE conversion would see the caller's DAZ.
inline Input classify(const double *a) {
  uint64_t b;
  memcpy(&b, a, 8);
  ld x;
  __asm__("fldl %1" : "=t"(x) : "m"(*a));
  return {x, (b >> 63) != 0, b & 0x7fffffffffffffffull};
}
inline Input classify(const float *a) {
  uint32_t b;
  memcpy(&b, a, 4);
  ld x;
  __asm__("flds %1" : "=t"(x) : "m"(*a));
  // the bits of the same value as a double, by integer arithmetic
  const uint32_t m = b & 0x7fffffffu;
  uint64_t d;
  if (m == 0) d = 0;
  else if (m >= 0x7f800000u) d = 0x7ff0000000000000ull | (uint64_t)(m & 0x7fffffu) << 29;
  else if (m >= 0x00800000u) d = ((uint64_t)m << 29) + ((uint64_t)(1023 - 127) << 52);
  else {  // denormal: normalise the significand
    const int shift = __builtin_clz(m) - 8;
    d = ((uint64_t)(1023 - 126 - shift) << 52) | ((uint64_t)((m << shift) & 0x7fffffu) << 29);
  }
  return {x, (b >> 31) != 0, d};
}

// Whether a stored result is zero, by its bits (a compare would see DAZ).
template <class T> inline bool is_zero_bits(T v) {
  if constexpr (sizeof(T) == 8) {
    uint64_t b;
    memcpy(&b, &v, 8);
    return (b << 1) == 0;
  } else {
    uint32_t b;
    memcpy(&b, &v, 4);
    return (b << 1) == 0;
  }
}

// Stores v narrowed once to T; true when that overflowed to an infinity.
// Only a v beyond the largest finite T can round to an infinity: the common
// case is settled by a register compare, without reading the store back.
template <class T> inline bool narrow(ld v, T *r) {
  const T t = (T)v;
  *r = t;
  constexpr T kMax = sizeof(T) == 8 ? (T)__DBL_MAX__ : (T)__FLT_MAX__;
  if (__builtin_expect(!(v > kMax || v < -kMax), 1)) return false;
  const ld back = (ld)t;
  return back - back != 0;  // Inf - Inf is NaN; finite values give 0
}

inline ld inf_ext() {
  volatile ld one = 1, zero = 0;
  return one / zero;
}
inline ld nan_ext() {
  volatile ld zero = 0;
  return zero / zero;
}

// The frame variant of these kernels: the x87 unit at 64-bit precision,
// round to nearest, masked (as ExtendedX87Env), and the SSE unit held as
// StandardEnv holds it, by the Mode word's denormal field, so that the
// reporter widens an input the way the other kernels' reports do.
struct ExtendedX87ModeEnv {
  static bex::SavedEnv enter() {
    bex::SavedEnv s;
    bex::fpenv::force_x87(s, 0xf3f, 0x300 | 0x3f);
    s.mode = bex::get_mode();
    bex::fpenv::force_mxcsr(s, (s.mode & BEX_DENORMAL_MASK) == BEX_FTZDAZ_ON ? 0x9fc0u : 0x1f80u);
    return s;
  }
};

// A kernel with no vector formula: every lane is flagged, and the frame
// hands each element to Routine, in order.
template <class T_, const char *Name, int (*Routine)(const T_ *, T_ *)> struct ScalarOnly {
  using T = T_;
  using L = simd::Lanes<T>;
  static constexpr int kIn = 1, kOut = 1, kBlock = L::kCount;
  static constexpr T kPad = (T)0.75;
  static constexpr const char *kName = Name;
  static typename L::V lanes(typename L::V x, typename L::Bits &bad) {
    const typename L::Bits zero = {};
    bad = zero == zero;
    return x;
  }
  static int scalar(const T *a, T *r) { return Routine(a, r); }
};

}  // namespace qor::kernels::gamma

#endif
