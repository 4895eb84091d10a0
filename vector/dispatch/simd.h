// A thin layer over SSE so kernels read as arithmetic: GCC vector types with
// their natural operators, plus the few operations those do not spell.
#ifndef QOR_VECTOR_SIMD_H
#define QOR_VECTOR_SIMD_H

#include <stdint.h>
#include <string.h>
#include <tmmintrin.h>

namespace qor::simd {

typedef float vf4 __attribute__((vector_size(16), aligned(16)));
typedef double vd2 __attribute__((vector_size(16), aligned(16)));
typedef int32_t vi4 __attribute__((vector_size(16), aligned(16)));
typedef uint32_t vu4 __attribute__((vector_size(16), aligned(16)));
typedef int64_t vl2 __attribute__((vector_size(16), aligned(16)));
typedef uint64_t vq2 __attribute__((vector_size(16), aligned(16)));

// Element type -> vector type, lane count and the integer type of its bits.
template <class T> struct Lanes;
template <> struct Lanes<float> {
  using V = vf4;
  using Bits = vi4;
  using Int = int32_t;
  static constexpr int kCount = 4;
};
template <> struct Lanes<double> {
  using V = vd2;
  using Bits = vl2;
  using Int = int64_t;
  static constexpr int kCount = 2;
};

// Reinterpreting casts between same-size vectors and scalars.
template <class To, class From> inline To as(From v) {
  static_assert(sizeof(To) == sizeof(From), "same size");
  To t;
  memcpy(&t, &v, sizeof t);
  return t;
}
constexpr float f32(uint32_t bits) { return __builtin_bit_cast(float, bits); }
constexpr double f64(uint64_t bits) { return __builtin_bit_cast(double, bits); }

template <class V> inline V load(const void *p) {
  V v;
  memcpy(&v, p, sizeof v);
  return v;
}
template <class V> inline void store(void *p, V v) { memcpy(p, &v, sizeof v); }
template <class V, class T> inline V splat(T x) {
  V v = {};
  return v + x;
}

// One bit per lane, in lane order, from a comparison result.
inline unsigned lane_bits(vi4 m) { return (unsigned)_mm_movemask_ps(as<__m128>(m)); }
inline unsigned lane_bits(vl2 m) { return (unsigned)_mm_movemask_pd(as<__m128d>(m)); }

// Signed compare of the high 32-bit words of two 64-bit lanes, as a lane mask:
// SSSE3 has no 64-bit compare, so the odd 32-bit lanes are compared and copied.
inline vl2 high_word_gt(vl2 bits, int32_t bound) {
  vi4 gt = as<vi4>(bits) > bound;
  vi4 hi = __builtin_shuffle(gt, vi4{1, 1, 3, 3});
  return as<vl2>(hi);
}

template <class V, class M> inline V select(M mask, V a, V b) {
  return as<V>((as<M>(a) & mask) | (as<M>(b) & ~mask));
}

}  // namespace qor::simd

#endif
