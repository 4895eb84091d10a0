// The stepping shared by the quasi-random generators Sobol and Niederr. A
// stream walks the points of a digital sequence in Gray-code order: point k is
// the XOR of the direction numbers v_b over the set bits b of gray(k), so
// passing from point k to k + 1 XORs one direction number, that of the lowest
// zero bit of k, into every coordinate. Coordinates are 32-bit fractions, the
// first digit in bit 31. Point 0 (all zeros) is skipped: a stream starts at 1.
//
// The two generators differ only in where their direction numbers come from
// and in their limits; each keeps them transposed (one row per bit, one word
// per coordinate, rows padded to a multiple of four words) so that a step is a
// run of vector XORs across the coordinates.
#ifndef QOR_RANDOM_QUASI_H
#define QOR_RANDOM_QUASI_H

#include <emmintrin.h>
#include <stdint.h>
#include <string.h>

#include "qor/qor_random.h"

namespace qor::random::quasi {

constexpr int kBits = 32;                     // direction numbers per coordinate
constexpr int kRowWords = kBits + 1;          // a `v` row: the polynomial, then the numbers
constexpr uint32_t kAllCoordinates = 0xFFFFFFFFu;
constexpr uint64_t kIndexLimit = 0xFFFFFFFFull;  // 2^32 - 1: no point numbered at or past it

// The fields at the head of both states, in this order.
struct Head {
  uint32_t index;        // number of the current point; 1 after init
  uint32_t dimension;    // coordinates per point
  uint32_t leapfrogDim;  // kAllCoordinates, or the one coordinate delivered
  uint32_t position;     // coordinates of the current point not yet delivered
};

// Where a stream's current point and transposed direction numbers live: in the
// state (built-in tables and small user tables) or in chunks (large user tables).
struct View {
  Head *head;
  uint32_t *x;         // the current point, `width` words (padding words are 0)
  const uint32_t *vt;  // kBits rows of `pitch` words: number b of every coordinate
  int pitch;           // words between two rows of vt
  int width;           // dimension rounded up to a multiple of four
};

// A head read from an image addresses only the point it describes.
inline bool head_usable(const Head &h) {
  return h.dimension >= 1 && h.position < h.dimension &&
         (h.leapfrogDim == kAllCoordinates || h.leapfrogDim < h.dimension);
}

inline int padded(uint32_t dimension) { return (int)((dimension + 3) & ~3u); }

// The bit that changes in gray(k) when k moves to k + 1: the lowest zero bit of k.
inline int lowest_zero_bit(uint32_t k) { return __builtin_ctz(~k); }

inline uint32_t gray(uint64_t k) { return (uint32_t)(k ^ (k >> 1)); }

// x ^= row over `width` words.
inline void xor_row(uint32_t *x, const uint32_t *row, int width) {
  for (int j = 0; j < width; j += 4) {
    __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(x + j));
    __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(row + j));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(x + j), _mm_xor_si128(a, b));
  }
}

// One coordinate of point k straight from the direction numbers.
inline uint32_t coordinate_at(const View &q, uint32_t coordinate, uint32_t k) {
  uint32_t x = 0;
  for (uint32_t g = gray(k); g; g &= g - 1) x ^= q.vt[(size_t)__builtin_ctz(g) * q.pitch + coordinate];
  return x;
}

// ---- output forms -----------------------------------------------------------
// Each writes single words (put) and runs of a point's coordinates (run).

struct WordOut {
  uint32_t *r;
  void put(int i, uint32_t w) const { r[i] = w; }
  void run(int i, const uint32_t *w, int count) const { memcpy(r + i, w, (size_t)count * 4); }
};

// w * ((b - a) * 2^-32) + a, w read as unsigned; the conversion of w is exact.
struct DoubleOut {
  double *r;
  double factor, shift;
  DoubleOut(double *out, double a, double b) : r(out), factor((b - a) * 0x1p-32), shift(a) {}
  void put(int i, uint32_t w) const { r[i] = (double)w * factor + shift; }
  void run(int i, const uint32_t *w, int count) const {
    const __m128i sign = _mm_set1_epi32((int)0x80000000u);
    const __m128d half = _mm_set1_pd(2147483648.0), f = _mm_set1_pd(factor), s = _mm_set1_pd(shift);
    double *out = r + i;
    int k = 0;
    for (; k + 4 <= count; k += 4) {
      __m128i v = _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(w + k)), sign);
      __m128d lo = _mm_add_pd(_mm_cvtepi32_pd(v), half);
      __m128d hi = _mm_add_pd(_mm_cvtepi32_pd(_mm_srli_si128(v, 8)), half);
      _mm_storeu_pd(out + k, _mm_add_pd(_mm_mul_pd(lo, f), s));
      _mm_storeu_pd(out + k + 2, _mm_add_pd(_mm_mul_pd(hi, f), s));
    }
    for (; k < count; ++k) put(i + k, w[k]);
  }
};

// In floats, in two halves so that the low byte is not lost before the sum:
// ((w >> 8) * 256 + (w & 255)) * scale + a, scale = (b - a) * 2^-32.
struct FloatOut {
  float *r;
  float scale, shift;
  FloatOut(float *out, float a, float b) : r(out), scale((b - a) * 0x1p-32f), shift(a) {}
  void put(int i, uint32_t w) const {
    r[i] = ((float)(int)(w >> 8) * 256.0f + (float)(int)(w & 255)) * scale + shift;
  }
  void run(int i, const uint32_t *w, int count) const {
    const __m128 s = _mm_set1_ps(scale), a = _mm_set1_ps(shift), k256 = _mm_set1_ps(256.0f);
    const __m128i low = _mm_set1_epi32(255);
    float *out = r + i;
    int k = 0;
    for (; k + 4 <= count; k += 4) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(w + k));
      __m128 hi = _mm_mul_ps(_mm_cvtepi32_ps(_mm_srli_epi32(v, 8)), k256);
      __m128 sum = _mm_add_ps(hi, _mm_cvtepi32_ps(_mm_and_si128(v, low)));
      _mm_storeu_ps(out + k, _mm_add_ps(_mm_mul_ps(sum, s), a));
    }
    for (; k < count; ++k) put(i + k, w[k]);
  }
};

// ---- generation ---------------------------------------------------------------

// n words from the stream. The period check takes n as it stands (a word
// count against a point number), so that nothing is written when it fails.
template <class Out>
int generate(const View &q, int n, const Out &out) {
  Head &h = *q.head;
  if (n <= 0) return GUX_STATUS_OK;
  if ((uint64_t)h.index + (uint64_t)n > kIndexLimit) return GUX_STATUS_QRNG_PERIOD_EXCEEDED;
  uint32_t index = h.index;
  if (h.leapfrogDim != kAllCoordinates || h.dimension == 1) {
    // One coordinate per point: the selected one, or the only one.
    const uint32_t k = h.leapfrogDim != kAllCoordinates ? h.leapfrogDim : 0;
    const uint32_t *v = q.vt + k;
    const size_t pitch = (size_t)q.pitch;
    uint32_t x = q.x[k];
    for (int i = 0; i < n; ++i) {
      out.put(i, x);
      x ^= v[(size_t)lowest_zero_bit(index++) * pitch];
    }
    q.x[k] = x;
    h.index = index;
    return GUX_STATUS_OK;
  }
  const int dim = (int)h.dimension;
  int owed = (int)h.position, i = 0;
  if (owed) {
    // The rest of the point that the last call began.
    const int m = owed < n ? owed : n;
    out.run(0, q.x + (dim - owed), m);
    i = m;
    owed -= m;
    if (owed == 0) xor_row(q.x, q.vt + (size_t)lowest_zero_bit(index++) * q.pitch, q.width);
  }
  for (; n - i >= dim; i += dim) {
    out.run(i, q.x, dim);
    xor_row(q.x, q.vt + (size_t)lowest_zero_bit(index++) * q.pitch, q.width);
  }
  if (i < n) {
    out.run(i, q.x, n - i);
    owed = dim - (n - i);
  }
  h.position = (uint32_t)owed;
  h.index = index;
  return GUX_STATUS_OK;
}

// ---- splitting ------------------------------------------------------------------

// Leapfrog selects one coordinate: nstreams must be 0x7FFFFFFF and k a
// coordinate. A point already begun is finished first, so that the next word
// belongs to the next point; the selected coordinate is then taken afresh from
// the direction numbers, as an earlier selection may have left it behind.
inline int leapfrog(const View &q, int nstreams, uint32_t k) {
  Head &h = *q.head;
  if (nstreams != 0x7FFFFFFF || k >= h.dimension) return GUX_STATUS_NO_LEAPFROG;
  if (h.position != 0) {
    if (h.index == kIndexLimit) return GUX_STATUS_QRNG_PERIOD_EXCEEDED;
    xor_row(q.x, q.vt + (size_t)lowest_zero_bit(h.index++) * q.pitch, q.width);
    h.position = 0;
  }
  h.leapfrogDim = k;
  q.x[k] = coordinate_at(q, k, h.index);
  return GUX_STATUS_OK;
}

// Skip c words. A stream that delivers one coordinate per point counts points.
// The point moves from k to k + t without walking: by the Gray code, x(k + t)
// = x(k) ^ XOR of v_b over the set bits b of gray(k) ^ gray(k + t).
inline int skip_ahead(const View &q, int n, uint64_t c) {
  Head &h = *q.head;
  if (n < 1) return GUX_STATUS_NO_SKIPAHEAD;
  const uint64_t dim = h.leapfrogDim != kAllCoordinates ? 1 : h.dimension;
  uint64_t t = c / dim;
  if (t >= kIndexLimit || h.index + t >= kIndexLimit) return GUX_STATUS_NO_SKIPAHEAD;
  const uint64_t position = h.position;
  if (c < position) {
    h.position = (uint32_t)(position - c);
    return GUX_STATUS_OK;
  }
  uint64_t e;
  if (position != 0) {
    t = (c - position) / dim + 1;
    e = c - position - dim * (t - 1);
  } else {
    e = c - dim * t;
  }
  const uint64_t to = h.index + t;
  if (to > kIndexLimit) return GUX_STATUS_NO_SKIPAHEAD;
  for (uint32_t g = gray(h.index) ^ gray(to); g; g &= g - 1)
    xor_row(q.x, q.vt + (size_t)__builtin_ctz(g) * q.pitch, q.width);
  h.index = (uint32_t)to;
  h.position = e ? (uint32_t)(dim - e) : 0;
  return GUX_STATUS_OK;
}

// The methods of initStream other than the standard one.
inline int split(const View &q, int method, int n, const void *params) {
  switch (method) {
    case GUX_INIT_LEAPFROG:
      return leapfrog(q, n, *static_cast<const uint32_t *>(params));
    case GUX_INIT_SKIPAHEAD:
      return skip_ahead(q, n, *static_cast<const uint64_t *>(params));
    case GUX_INIT_SKIPAHEADEX:
      return GUX_STATUS_NO_SKIPAHEADEX;
    default:
      return GUX_STATUS_BAD_INIT_METHOD;
  }
}

// Start of a stream over its direction numbers: point 1, nothing delivered,
// all coordinates. Point 1 is gray(1) = 1: the first number of each coordinate.
inline void start(const View &q, uint32_t dimension) {
  q.head->index = 1;
  q.head->dimension = dimension;
  q.head->leapfrogDim = kAllCoordinates;
  q.head->position = 0;
  memset(q.x, 0, (size_t)q.width * 4);
  memcpy(q.x, q.vt, (size_t)dimension * 4);
}

}  // namespace qor::random::quasi

// The four registry entries of a quasi-random family, over the family's own
// init_standard(stream, n, params) and view_of(stream).
#define QOR_QUASI_ENTRIES(Name)                                                          \
  extern "C" {                                                                           \
  int __guxBRng##Name##InitStream(int method, GuxStream *stream, int n, const void *params) { \
    if (method == GUX_INIT_STANDARD) return init_standard(stream, n, static_cast<const uint32_t *>(params)); \
    return qor::random::quasi::split(view_of(stream), method, n, params);                \
  }                                                                                      \
  int __guxiBRng##Name(GuxStream *stream, int n, uint32_t *r) {                          \
    return qor::random::quasi::generate(view_of(stream), n, qor::random::quasi::WordOut{r}); \
  }                                                                                      \
  int __guxdBRng##Name(GuxStream *stream, int n, double *r, double a, double b) {        \
    return qor::random::quasi::generate(view_of(stream), n, qor::random::quasi::DoubleOut(r, a, b)); \
  }                                                                                      \
  int __guxsBRng##Name(GuxStream *stream, int n, float *r, float a, float b) {           \
    return qor::random::quasi::generate(view_of(stream), n, qor::random::quasi::FloatOut(r, a, b)); \
  }                                                                                      \
  }

#endif
