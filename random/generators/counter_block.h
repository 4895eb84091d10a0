// What the counter-based generators share: a block of four 32-bit words is a
// function of a 128-bit counter and a key, the stream keeps the last block
// made and how many of its words are still to serve, and the output forms
// turn words into numbers. The numbers are the blocks' words in order however
// a request is cut.
#ifndef QOR_RANDOM_COUNTER_BLOCK_H
#define QOR_RANDOM_COUNTER_BLOCK_H

#include <stdint.h>

#include "random/generators/simd.h"

namespace qor::random::cbrng {

// ---- output forms: put(i, word) one word, put4(i, v) four words at i..i+3 ----

struct WordOut {
  uint32_t *r;
  void put(int i, uint32_t w) const { r[i] = w; }
  void put4(int i, __m128i v) const { _mm_storeu_si128(reinterpret_cast<__m128i *>(r + i), v); }
};

// A word read as a signed number w in [-2^31, 2^31) maps to
// w (b - a) 2^-32 + (a + b)/2, in [a, b): the signed conversion is one
// instruction for four words, where the unsigned one takes several.
struct MidDoubleOut {
  double *r;
  double factor, mid;
  MidDoubleOut(double *out, double a, double b) : r(out), factor((b - a) * 0x1p-32), mid((a + b) * 0.5) {}
  void put(int i, uint32_t w) const { r[i] = (double)(int32_t)w * factor + mid; }
  void put4(int i, __m128i v) const {
    const __m128d f = _mm_set1_pd(factor), m = _mm_set1_pd(mid);
    _mm_storeu_pd(r + i, _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(v), f), m));
    _mm_storeu_pd(r + i + 2, _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(v, 8)), f), m));
  }
};

// The same map computed in doubles and rounded once to float.
struct MidFloatViaDoubleOut {
  float *r;
  double factor, mid;
  MidFloatViaDoubleOut(float *out, float a, float b)
      : r(out), factor(((double)b - (double)a) * 0x1p-32), mid(((double)a + (double)b) * 0.5) {}
  void put(int i, uint32_t w) const { r[i] = (float)((double)(int32_t)w * factor + mid); }
  void put4(int i, __m128i v) const {
    const __m128d f = _mm_set1_pd(factor), m = _mm_set1_pd(mid);
    simd::store_f32x4(r + i, _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(v), f), m),
                      _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(v, 8)), f), m));
  }
};

// The same map in floats: the factor is (b - a), a float difference, times
// 2^-32 in doubles rounded to float; the midpoint and the arithmetic are float.
struct MidFloatOut {
  float *r;
  float factor, mid;
  MidFloatOut(float *out, float a, float b) : r(out), factor((float)((double)(b - a) * 0x1p-32)), mid((a + b) * 0.5f) {}
  void put(int i, uint32_t w) const { r[i] = (float)(int32_t)w * factor + mid; }
  void put4(int i, __m128i v) const {
    _mm_storeu_ps(r + i, _mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(v), _mm_set1_ps(factor)), _mm_set1_ps(mid)));
  }
};

// ---- the request loop ------------------------------------------------------
// Engine supplies: State with `buffered` and `buffer[4]`; blocks(s, count, i, out)
// writing `count` whole blocks at the counter to out from index i and moving
// the counter past them; fill(s) making the block at the counter into buffer
// and moving the counter by one. buffered counts the words still to serve,
// the next being word 4 - buffered of buffer.
template <class Engine, class Out>
void generate(typename Engine::State &s, int n, const Out &out) {
  if (n <= 0) return;
  int i = 0;
  const int from = 4 - (int)s.buffered;
  const int served = n < (int)s.buffered ? n : (int)s.buffered;
  for (; i < served; ++i) out.put(i, s.buffer[from + i]);
  s.buffered -= served;
  const int whole = (n - i) >> 2;
  if (whole > 0) {
    Engine::blocks(s, whole, i, out);
    i += 4 * whole;
  }
  if (i < n) {
    Engine::fill(s);
    const int rest = n - i;
    for (int k = 0; k < rest; ++k) out.put(i + k, s.buffer[k]);
    s.buffered = 4 - rest;
  }
}

// ---- skip-ahead arithmetic on 128-bit counters and 192-bit counts -----------

// c += (hi:lo), 128 bits with carry, the carry out dropped.
inline void add128(uint64_t &clo, uint64_t &chi, uint64_t lo, uint64_t hi) {
  const uint64_t s = clo + lo;
  chi += hi + (s < clo);
  clo = s;
}

// Reads up to three 64-bit words of a count (further words ignored, missing
// ones zero).
struct Count192 {
  uint64_t w[3];
  Count192(int n, const uint64_t *p) {
    for (int k = 0; k < 3; ++k) w[k] = k < n ? p[k] : 0;
  }
  bool zero() const { return (w[0] | w[1] | w[2]) == 0; }
  bool small() const { return (w[1] | w[2]) == 0; }
  void sub(uint64_t x) {
    uint64_t borrow = w[0] < x;
    w[0] -= x;
    for (int k = 1; k < 3; ++k) {
      const uint64_t b = w[k] < borrow;
      w[k] -= borrow;
      borrow = b;
    }
  }
  // The number shifted right by 2, bits 0 to 127 of the result.
  void quarter(uint64_t &lo, uint64_t &hi) const {
    lo = (w[0] >> 2) | (w[1] << 62);
    hi = (w[1] >> 2) | (w[2] << 62);
  }
};

}  // namespace qor::random::cbrng

#endif
