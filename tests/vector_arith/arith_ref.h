// Reference definitions for the exact kernels: the C library where the kernels
// agree with it, and the kernels' own rules where they deliberately differ.
#ifndef QOR_TESTS_VECTOR_ARITH_REF_H
#define QOR_TESTS_VECTOR_ARITH_REF_H

#include <math.h>
#include <stdint.h>
#include <string.h>

#include <type_traits>
#include <vector>

namespace arith_ref {

template <class T> inline bool same(T a, T b) {
  if (a != a && b != b) return true;  // any NaN matches any NaN
  return memcmp(&a, &b, sizeof a) == 0;
}
template <class T> using Uint = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
template <class T> inline Uint<T> bits(T x) { Uint<T> u; memcpy(&u, &x, sizeof u); return u; }
template <class T> inline T from(Uint<T> u) { T x; memcpy(&x, &u, sizeof x); return x; }
inline float fbits(uint32_t u) { float f; memcpy(&f, &u, 4); return f; }
inline double dbits(uint64_t u) { double d; memcpy(&d, &u, 8); return d; }

// Ceil differs from C on (-1, -0.5): the correction -1 + 1 gives +0, not -0.
template <class T> T ceil_ref(T x) { return (x > T(-1) && x < T(-0.5)) ? T(0) : ceil(x); }
// Frac: x - trunc(x) carrying x's sign; infinity gives zero of its sign.
template <class T> T frac_ref(T x) {
  if (isnan(x)) return x + x;
  if (isinf(x)) return copysign(T(0), x);
  return copysign(T(x - trunc(x)), x);
}
template <class T> T maxmag_ref(T a, T b) {
  if (isnan(a) || isnan(b)) return isnan(b) ? (isnan(a) ? b : a) : b;
  if (fabs(a) > fabs(b)) return a;
  if (fabs(a) < fabs(b)) return b;
  return a > b ? a : b;
}
template <class T> T minmag_ref(T a, T b) {
  if (isnan(a) || isnan(b)) return isnan(b) ? (isnan(a) ? b : a) : b;
  if (fabs(a) < fabs(b)) return a;
  if (fabs(a) > fabs(b)) return b;
  return a < b ? a : b;
}

// Every step-th single precision bit pattern, from offset.
inline std::vector<float> float_sample(uint64_t step, uint32_t offset = 0) {
  std::vector<float> v;
  for (uint64_t u = offset; u < (uint64_t(1) << 32); u += step) v.push_back(fbits((uint32_t)u));
  return v;
}

// Doubles: the edge values, integers and halves near the rounding constant,
// and random bit patterns and magnitudes.
inline std::vector<double> double_sample(int count, uint64_t seed = 0x9e3779b97f4a7c15ull) {
  std::vector<double> v = {0.0, -0.0, 0.5, -0.5, 1.5, -1.5, 2.5, -2.5, 0.7, -0.7, 0.3, -0.3,
                           4503599627370496.0, -4503599627370496.0, 4503599627370497.0, 4503599627370495.5,
                           2251799813685248.5, -2251799813685247.5, 1e300, -1e300, 5e-324, -5e-324,
                           2.2250738585072014e-308, INFINITY, -INFINITY, NAN, -NAN, 1.7976931348623157e308};
  uint64_t s = seed;
  auto next = [&s] { s ^= s << 13; s ^= s >> 7; s ^= s << 17; return s; };
  for (int i = 0; i < count; ++i) {
    const uint64_t u = next();
    switch (i & 3) {
      case 0: v.push_back(dbits(u)); break;                                          // any pattern
      case 1: v.push_back(dbits((u & 0x800fffffffffffffull) | (uint64_t(1023 + (u >> 52) % 60) << 52))); break;
      case 2: v.push_back((double)(int64_t)(u >> 20) * 0.5 * ((u & 1) ? -1 : 1)); break;  // halves
      default: v.push_back(dbits((u & 0x800fffffffffffffull) | (uint64_t(980 + (u >> 52) % 100) << 52)));
    }
  }
  return v;
}

}  // namespace arith_ref

#endif
