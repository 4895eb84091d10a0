// A thin layer over SSE so kernels read as arithmetic: GCC vector types with
// their natural operators, plus the few operations those do not spell.
#ifndef QOR_VECTOR_SIMD_H
#define QOR_VECTOR_SIMD_H

#include <stdint.h>
#include <string.h>
#include <tmmintrin.h>

namespace qor::simd {

typedef float vf4 __attribute__((vector_size(16)));
typedef double vd2 __attribute__((vector_size(16)));
typedef int32_t vi4 __attribute__((vector_size(16)));
typedef uint32_t vu4 __attribute__((vector_size(16)));
typedef int64_t vl2 __attribute__((vector_size(16)));
typedef uint64_t vq2 __attribute__((vector_size(16)));

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

// The unsigned integer lanes of the same width, for bit arithmetic that may wrap.
template <class V> struct UnsignedLanes;
template <> struct UnsignedLanes<vf4> { using type = vu4; };
template <> struct UnsignedLanes<vd2> { using type = vq2; };
template <class V> using UnsignedOf = typename UnsignedLanes<V>::type;

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
// Single elements of a caller's array, which need not be aligned even to the
// element size: through memcpy, as bytes.
template <class T> inline T get(const T *p) { return load<T>(p); }
template <class T> inline void put(T *p, T v) { store(p, v); }

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

// Table gathers, lane by lane: the row numbers go to integer registers and
// each row is loaded whole. Two-part float rows come back as hi and lo vectors.
inline void gather_pairs(const float (*table)[2], vi4 j, vf4 &hi, vf4 &lo) {
  __m128 r0 = _mm_castpd_ps(_mm_load_sd((const double *)table[j[0]]));
  __m128 r1 = _mm_castpd_ps(_mm_load_sd((const double *)table[j[1]]));
  __m128 r2 = _mm_castpd_ps(_mm_load_sd((const double *)table[j[2]]));
  __m128 r3 = _mm_castpd_ps(_mm_load_sd((const double *)table[j[3]]));
  __m128 u = _mm_unpacklo_ps(r0, r1), w = _mm_unpacklo_ps(r2, r3);  // hi hi lo lo
  hi = as<vf4>(_mm_movelh_ps(u, w));
  lo = as<vf4>(_mm_movehl_ps(w, u));
}
inline vf4 gather(const float *table, vi4 j) { return vf4{table[j[0]], table[j[1]], table[j[2]], table[j[3]]}; }
inline vd2 gather(const double *table, vl2 j) { return vd2{table[j[0]], table[j[1]]}; }
inline void gather_pairs(const double (*table)[2], vl2 j, vd2 &hi, vd2 &lo) {
  __m128d r0 = _mm_loadu_pd(table[j[0]]), r1 = _mm_loadu_pd(table[j[1]]);
  hi = as<vd2>(_mm_unpacklo_pd(r0, r1));
  lo = as<vd2>(_mm_unpackhi_pd(r0, r1));
}

// The high 32-bit words of two doubles sit in lanes 1 and 3 of the bits; a
// 32-bit lane mask on those lanes widens to a 64-bit lane mask.
// Float lanes 0-1 and 2-3 widened to doubles, and two double pairs narrowed
// back, by the conversion instructions (the generic conversions may come out as scalar code).
inline vd2 low_pair(vf4 x) { return as<vd2>(_mm_cvtps_pd(as<__m128>(x))); }
inline vd2 high_pair(vf4 x) { return as<vd2>(_mm_cvtps_pd(_mm_movehl_ps(as<__m128>(x), as<__m128>(x)))); }
inline vf4 narrow(vd2 lo, vd2 hi) {
  const vf4 l = as<vf4>(_mm_cvtpd_ps(as<__m128d>(lo))), h = as<vf4>(_mm_cvtpd_ps(as<__m128d>(hi)));
  return __builtin_shufflevector(l, h, 0, 1, 4, 5);
}

inline vi4 words(vd2 x) { return as<vi4>(x); }  // lanes 1 and 3 hold the high words
inline vl2 from_high_words(vi4 m) { return as<vl2>(__builtin_shuffle(m, vi4{1, 1, 3, 3})); }

// Addition and multiplication with a fixed operand order. With two NaN
// operands the SSE unit returns the first one, quieted; the compiler is free to
// swap the operands of a commutative operator, so a NaN payload would depend on
// which code path (vector block, scalar peel, tail) computed the element. These
// pin the order: the first argument is the first operand in every path. The
// product by 1.0 also stays a real multiplication, which quiets a signalling NaN.
#define QOR_ORDERED_OP(name, ps, pd, ss, sd)                                            \
  inline vf4 name(vf4 a, vf4 b) { __asm__(ps " %1, %0" : "+x"(a) : "x"(b)); return a; } \
  inline vd2 name(vd2 a, vd2 b) { __asm__(pd " %1, %0" : "+x"(a) : "x"(b)); return a; } \
  inline float name(float a, float b) { __asm__(ss " %1, %0" : "+x"(a) : "x"(b)); return a; } \
  inline double name(double a, double b) { __asm__(sd " %1, %0" : "+x"(a) : "x"(b)); return a; }
QOR_ORDERED_OP(add_ordered, "addps", "addpd", "addss", "addsd")
QOR_ORDERED_OP(mul_ordered, "mulps", "mulpd", "mulss", "mulsd")
#undef QOR_ORDERED_OP

// x * 1.0, kept as a multiplication: a signalling NaN comes back quiet.
template <class X> inline X quieted(X x) { return mul_ordered(x, X{} + 1); }

template <class V, class M> inline V select(M mask, V a, V b) {
  return as<V>((as<M>(a) & mask) | (as<M>(b) & ~mask));
}

}  // namespace qor::simd

#endif
