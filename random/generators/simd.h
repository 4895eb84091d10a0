// A thin layer over the SSE2/SSSE3 integer and double intrinsics used by the
// generators' vector paths, so that their loops read as arithmetic.
#ifndef QOR_RANDOM_SIMD_H
#define QOR_RANDOM_SIMD_H

#include <emmintrin.h>
#include <stdint.h>

namespace qor::random::simd {

using u64x2 = __m128i;  // two 64-bit lanes
using f64x2 = __m128d;

inline u64x2 load2(uint64_t a, uint64_t b) { return _mm_set_epi64x((long long)b, (long long)a); }
inline u64x2 splat(uint64_t a) { return _mm_set1_epi64x((long long)a); }
inline uint64_t lane(u64x2 v, int i) {
  alignas(16) uint64_t t[2];
  _mm_store_si128(reinterpret_cast<__m128i *>(t), v);
  return t[i];
}

// Low 32 bits of each 64-bit lane times the low 32 bits of b's lane: full 64-bit products.
inline u64x2 mul32x32(u64x2 a, u64x2 b) { return _mm_mul_epu32(a, b); }

// 64-bit lane product modulo 2^64 from three 32x32 products.
inline u64x2 mul64(u64x2 a, u64x2 b) {
  u64x2 lo = _mm_mul_epu32(a, b);
  u64x2 cross = _mm_add_epi64(_mm_mul_epu32(_mm_srli_epi64(a, 32), b),
                              _mm_mul_epu32(a, _mm_srli_epi64(b, 32)));
  return _mm_add_epi64(lo, _mm_slli_epi64(cross, 32));
}

// The low 32-bit words of two vectors' lanes packed as four 32-bit numbers.
inline __m128i pack_low32(u64x2 a, u64x2 b) {
  return _mm_unpacklo_epi64(_mm_shuffle_epi32(a, _MM_SHUFFLE(3, 1, 2, 0)),
                            _mm_shuffle_epi32(b, _MM_SHUFFLE(3, 1, 2, 0)));
}

// Unsigned 64-bit lanes below 2^64 to doubles, correctly rounded: the two
// 32-bit halves convert exactly through the 2^52 bias, then one rounding add.
inline f64x2 u64_to_f64(u64x2 v) {
  const u64x2 bias = splat(0x4330000000000000ull);
  const f64x2 two52 = _mm_set1_pd(4503599627370496.0);
  const u64x2 low = _mm_and_si128(v, splat(0xFFFFFFFFull));
  f64x2 lo = _mm_sub_pd(_mm_castsi128_pd(_mm_or_si128(low, bias)), two52);
  f64x2 hi = _mm_sub_pd(_mm_castsi128_pd(_mm_or_si128(_mm_srli_epi64(v, 32), bias)), two52);
  return _mm_add_pd(_mm_mul_pd(hi, _mm_set1_pd(4294967296.0)), lo);
}

inline void store_f32x4(float *r, f64x2 a, f64x2 b) {
  _mm_storeu_ps(r, _mm_movelh_ps(_mm_cvtpd_ps(a), _mm_cvtpd_ps(b)));
}

}  // namespace qor::random::simd

#endif
