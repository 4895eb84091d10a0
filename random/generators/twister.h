// The twisted feedback shift register shared by MT19937 and MT2203: the array
// initialisation, the block recurrence x[i] = x[i+M] ^ twist(x[i], x[i+1])
// with its tempering, and the generation of a request. The state keeps its
// words untempered; output is tempered on the way out.
//
// A request first takes what the current block still holds. When more than
// one block remains, whole blocks are made straight in the caller's buffer as
// a recurrence array z[k] = z[k-N+M] ^ twist(z[k-N], z[k-N+1]) (no wrap, no
// temporary), then tempered and converted in place one block behind, so that
// the words a later block reads are still raw. The d form keeps its raw words
// in the upper half of its buffer: double j overwrites the two words at 2j and
// 2j+1, which lie below the raw word n+j it is made from.
#ifndef QOR_RANDOM_TWISTER_H
#define QOR_RANDOM_TWISTER_H

#include <emmintrin.h>
#include <stdint.h>
#include <string.h>

namespace qor::random::twister {

// The published array initialisation for N words; no seed stands for the
// one-word key 1. The first number after it comes from a fresh block.
template <int N>
void init_by_array(uint32_t *x, int count, const uint32_t *seed) {
  static const uint32_t kOne = 1;
  if (count <= 0) {
    count = 1;
    seed = &kOne;
  }
  x[0] = 19650218u;
  for (int i = 1; i < N; ++i) x[i] = 1812433253u * (x[i - 1] ^ (x[i - 1] >> 30)) + (uint32_t)i;
  int i = 1, j = 0;
  for (int k = N > count ? N : count; k > 0; --k) {
    x[i] = (x[i] ^ ((x[i - 1] ^ (x[i - 1] >> 30)) * 1664525u)) + seed[j] + (uint32_t)j;
    if (++i >= N) {
      x[0] = x[N - 1];
      i = 1;
    }
    if (++j >= count) j = 0;
  }
  for (int k = N - 1; k > 0; --k) {
    x[i] = (x[i] ^ ((x[i - 1] ^ (x[i - 1] >> 30)) * 1566083941u)) - (uint32_t)i;
    if (++i >= N) {
      x[0] = x[N - 1];
      i = 1;
    }
  }
  x[0] = 0x80000000u;
}

inline __m128i load4(const uint32_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
inline void store4(uint32_t *p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
inline __m128i splat32(uint32_t v) { return _mm_set1_epi32((int)v); }

// One shape of twister: N words, middle tap M, the upper bits `Upper` of a
// word joined to the lower bits of the next, first tempering shift `Shift1`.
template <int N_, int M_, uint32_t Upper, int Shift1>
struct Twister {
  static constexpr int N = N_, M = M_;
  uint32_t matrix, temperB, temperC;

  uint32_t twist(uint32_t a, uint32_t next) const {
    uint32_t y = (a & Upper) | (next & ~Upper);
    return (y >> 1) ^ (matrix & (0u - (y & 1)));
  }
  __m128i twist4(__m128i a, __m128i next) const {
    const __m128i upper = splat32(Upper);
    __m128i y = _mm_or_si128(_mm_and_si128(a, upper), _mm_andnot_si128(upper, next));
    __m128i odd = _mm_sub_epi32(_mm_setzero_si128(), _mm_and_si128(y, splat32(1)));
    return _mm_xor_si128(_mm_srli_epi32(y, 1), _mm_and_si128(odd, splat32(matrix)));
  }
  uint32_t temper(uint32_t y) const {
    y ^= y >> Shift1;
    y ^= (y << 7) & temperB;
    y ^= (y << 15) & temperC;
    return y ^ (y >> 18);
  }
  __m128i temper4(__m128i y) const {
    y = _mm_xor_si128(y, _mm_srli_epi32(y, Shift1));
    y = _mm_xor_si128(y, _mm_and_si128(_mm_slli_epi32(y, 7), splat32(temperB)));
    y = _mm_xor_si128(y, _mm_and_si128(_mm_slli_epi32(y, 15), splat32(temperC)));
    return _mm_xor_si128(y, _mm_srli_epi32(y, 18));
  }

  // dst[t] = tap[t] ^ twist(dst[t], dst[t+1]) for t in [0, count), in order.
  void run(uint32_t *dst, const uint32_t *tap, int count) const {
    int t = 0;
    for (; t + 4 <= count; t += 4)
      store4(dst + t, _mm_xor_si128(load4(tap + t), twist4(load4(dst + t), load4(dst + t + 1))));
    for (; t < count; ++t) dst[t] = tap[t] ^ twist(dst[t], dst[t + 1]);
  }

  // The next block in place. The loop splits where the middle tap wraps.
  void regenerate(uint32_t *x) const {
    run(x, x + M, N - M);
    run(x + N - M, x, M - 1);
    x[N - 1] = x[M - 1] ^ twist(x[N - 1], x[0]);
  }

  // z[k] for k in [0, N) from the N words before z, as a recurrence array.
  void extend(uint32_t *z) const {
    const uint32_t *old = z - N;
    int t = 0;
    for (; t + 4 <= N; t += 4)
      store4(z + t, _mm_xor_si128(load4(old + M + t), twist4(load4(old + t), load4(old + t + 1))));
    for (; t < N; ++t) z[t] = old[M + t] ^ twist(old[t], old[t + 1]);
  }
};

// Output forms over raw words: put(t, j, src, count) writes elements j..j+count
// from raw words src[0..count), reading each group of four before writing it
// (src may be the raw area of the same buffer). raw_area(j, m) is where m raw
// words for elements j.. may be kept.
struct WordOut {
  uint32_t *r;
  uint32_t *raw_area(int j, int) const { return r + j; }
  template <class T>
  void put(const T &t, int j, const uint32_t *src, int count) const {
    uint32_t *out = r + j;
    int k = 0;
    for (; k + 4 <= count; k += 4) store4(out + k, t.temper4(load4(src + k)));
    for (; k < count; ++k) out[k] = t.temper(src[k]);
  }
};

// The word read as unsigned: w (b - a) 2^-32 + a. The lanes convert the word
// biased by 2^31 as a signed integer and add 2^31 back, which is exact, so the
// lanes and the scalar tail give the same bits.
inline void unsigned_words(__m128i w, __m128d &lo, __m128d &hi) {
  const __m128i v = _mm_xor_si128(w, splat32(0x80000000u));
  const __m128d half = _mm_set1_pd(2147483648.0);
  lo = _mm_add_pd(_mm_cvtepi32_pd(v), half);
  hi = _mm_add_pd(_mm_cvtepi32_pd(_mm_srli_si128(v, 8)), half);
}

struct DoubleOut {
  double *r;
  double factor, shift;
  DoubleOut(double *out, double a, double b) : r(out), factor((b - a) * 0x1p-32), shift(a) {}
  uint32_t *raw_area(int j, int m) const { return reinterpret_cast<uint32_t *>(r + j) + m; }
  template <class T>
  void put(const T &t, int j, const uint32_t *src, int count) const {
    double *out = r + j;
    const __m128d f = _mm_set1_pd(factor), s = _mm_set1_pd(shift);
    int k = 0;
    for (; k + 4 <= count; k += 4) {
      __m128d lo, hi;
      unsigned_words(t.temper4(load4(src + k)), lo, hi);
      _mm_storeu_pd(out + k, _mm_add_pd(_mm_mul_pd(lo, f), s));
      _mm_storeu_pd(out + k + 2, _mm_add_pd(_mm_mul_pd(hi, f), s));
    }
    for (; k < count; ++k) out[k] = (double)t.temper(src[k]) * factor + shift;
  }
};

// Computed in doubles, rounded to float at the end.
struct FloatOut {
  float *r;
  double factor, shift;
  FloatOut(float *out, float a, float b)
      : r(out), factor(((double)b - (double)a) * 0x1p-32), shift((double)a) {}
  uint32_t *raw_area(int j, int) const { return reinterpret_cast<uint32_t *>(r + j); }
  template <class T>
  void put(const T &t, int j, const uint32_t *src, int count) const {
    float *out = r + j;
    const __m128d f = _mm_set1_pd(factor), s = _mm_set1_pd(shift);
    int k = 0;
    for (; k + 4 <= count; k += 4) {
      __m128d lo, hi;
      unsigned_words(t.temper4(load4(src + k)), lo, hi);
      __m128 lo32 = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(lo, f), s));
      __m128 hi32 = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(hi, f), s));
      _mm_storeu_ps(out + k, _mm_movelh_ps(lo32, hi32));
    }
    for (; k < count; ++k) out[k] = (float)((double)t.temper(src[k]) * factor + shift);
  }
};

// n numbers from the state (x, index), index == N meaning a used-up block.
template <class T, class Out>
void generate(const T &t, uint32_t *x, uint32_t &index, int n, const Out &out) {
  constexpr int N = T::N;
  if (n <= 0) return;
  int j = N - (int)index < n ? N - (int)index : n;
  if (j > 0) {
    out.put(t, 0, x + index, j);
    index += (uint32_t)j;
  }
  int m = n - j;
  if (m > N) {
    const int blocks = m / N;
    uint32_t *z = out.raw_area(j, m);
    t.regenerate(x);
    memcpy(z, x, sizeof(uint32_t) * N);
    for (int b = 1; b < blocks; ++b) {
      t.extend(z + b * N);
      out.put(t, j + (b - 1) * N, z + (b - 1) * N, N);
    }
    memcpy(x, z + (blocks - 1) * N, sizeof(uint32_t) * N);
    out.put(t, j + (blocks - 1) * N, z + (blocks - 1) * N, N);
    j += blocks * N;
    m -= blocks * N;
    index = N;
  }
  if (m > 0) {
    t.regenerate(x);
    out.put(t, j, x, m);
    index = (uint32_t)m;
  }
}

}  // namespace qor::random::twister

#endif
