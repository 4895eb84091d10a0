// Uniform distributions: real on [a, b), integer by floor, and raw bits in the
// generator's own words or narrowed to 32 and 64 bits.
#include <stdint.h>

#include "random/distributions/frame.h"
#include "random/streams/stream_internal.h"

namespace qor::dist {
namespace {

constexpr int kIntBlock = 1024;    // doubles per block of the integer uniform
constexpr int kNarrowBlock = 2048;  // 64-bit words per block of the narrowing

template <class T, class Generate>
int real_uniform(int method, GuxStream *stream, int n, T *r, T a, T b, Generate generate) {
  const int status = generate(qor::random::stream_row(stream), stream, n, r, a, b);
  if (status < 0) return status;
  if ((method & GUX_METHOD_ACCURATE_FLAG) && n > 0)
    for (int i = 0; i < n; ++i) r[i] = clamp_high(clamp_low(a, r[i]), b);
  return status;
}

// MCG59 yields 59-bit values in 64-bit words: keep bits 58..27 of each, as
// consecutive 32-bit values. `count` 32-bit values are written.
int narrow_bits(GuxStream *stream, int count, uint32_t *r) {
  uint64_t words[kNarrowBlock];
  int status = GUX_STATUS_OK;
  auto block = [&](int m, uint32_t *out) {
    status = _guxiRngUniformBits(0, stream, m, reinterpret_cast<uint32_t *>(words));
    if (status < 0) return false;
    for (int i = 0; i < m; ++i) out[i] = (uint32_t)(words[i] >> 27);
    return true;
  };
  const int whole = count / kNarrowBlock;
  for (int k = 0; k < whole; ++k)
    if (!block(kNarrowBlock, r + (ptrdiff_t)k * kNarrowBlock)) return status;
  const int rest = count - whole * kNarrowBlock;
  if (rest > 0) block(rest, r + (ptrdiff_t)whole * kNarrowBlock);
  return status;
}

// r[i] := floor(v[i]): truncation rounds negative values up, so 1.0 is taken
// off wherever the truncated value exceeds the value, then truncated again.
// Two at a time without branches (the sign of a uniform is not predictable).
void floor_to_int(int m, const double *v, int32_t *r) {
  const __m128d one = _mm_set1_pd(1.0);
  int i = 0;
  for (; i + 2 <= m; i += 2) {
    __m128d x = _mm_loadu_pd(v + i);
    const __m128d t = _mm_cvtepi32_pd(_mm_cvttpd_epi32(x));
    x = _mm_sub_pd(x, _mm_and_pd(_mm_cmplt_pd(x, t), one));
    _mm_storel_epi64(reinterpret_cast<__m128i *>(r + i), _mm_cvttpd_epi32(x));
  }
  for (; i < m; ++i) {
    double x = v[i];
    if ((double)(int32_t)x > x) x -= 1.0;
    r[i] = (int32_t)x;
  }
}

int raw_bits(GuxStream *stream, int count, uint32_t *r) { return _guxiRngUniformBits(0, stream, count, r); }

int no_bits(GuxStream *, int, uint32_t *) { return GUX_STATUS_NO_UNIFORM_BITS; }

// The routine of each row of the generator registry; `count` is in 32-bit words.
using BitsRoutine = int (*)(GuxStream *, int, uint32_t *);
constexpr BitsRoutine kBitsByRow[16] = {
    no_bits,  // 0  MCG31M1: 31-bit values
    no_bits,  // 1  R250
    no_bits,  // 2  MRG32K3A: values below 2^32 - 209
    narrow_bits,  // 3  MCG59
    no_bits,  // 4  WH
    no_bits,  // 5  SOBOL
    no_bits,  // 6  NIEDERR
    raw_bits,  // 7  MT19937
    raw_bits,  // 8  MT2203
    no_bits,  // 9  IABSTRACT
    no_bits,  // 10 DABSTRACT
    no_bits,  // 11 SABSTRACT
    raw_bits,  // 12 SFMT19937
    raw_bits,  // 13 TRNG
    raw_bits,  // 14 ARS5
    raw_bits,  // 15 PHILOX4X32X10
};

BitsRoutine bits_routine(const GuxStream *stream) {
  int row = 0, sub = 0;
  const BrngProperties *table = __guxGetBrngBaseOffset(stream->brngId, &row, &sub);
  if (table != __RegBrngsNew || row < 0 || row >= 16) return no_bits;
  return kBitsByRow[row];
}

}  // namespace
}  // namespace qor::dist

using namespace qor::dist;

extern "C" {

int _guxsRngUniform(int method, GuxStream *stream, int n, float *r, float a, float b) {
  return real_uniform(method, stream, n, r, a, b,
                      [](const BrngProperties &row, GuxStream *s, int m, float *out, float lo, float hi) {
                        return row.sGenerate(s, m, out, lo, hi);
                      });
}

int _guxdRngUniform(int method, GuxStream *stream, int n, double *r, double a, double b) {
  return real_uniform(method, stream, n, r, a, b,
                      [](const BrngProperties &row, GuxStream *s, int m, double *out, double lo, double hi) {
                        return row.dGenerate(s, m, out, lo, hi);
                      });
}

int _guxiRngUniform(int, GuxStream *stream, int n, int32_t *r, int32_t a, int32_t b) {
  double buffer[kIntBlock];
  int status = GUX_STATUS_OK;
  for (int done = 0; done < n; done += kIntBlock) {
    const int m = n - done < kIntBlock ? n - done : kIntBlock;
    status = _guxdRngUniform(0, stream, m, buffer, (double)a, (double)b);
    if (status < 0) return status;
    floor_to_int(m, buffer, r + done);
  }
  return status;
}

int _guxiRngUniformBits(int, GuxStream *stream, int n, uint32_t *r) {
  return qor::random::stream_row(stream).iGenerate(stream, n, r);
}

int _guxiRngUniformBits32(int, GuxStream *stream, int n, uint32_t *r) {
  return bits_routine(stream)(stream, n, r);
}

int _guxiRngUniformBits64(int, GuxStream *stream, int n, uint64_t *r) {
  return bits_routine(stream)(stream, (int)(2u * (unsigned)n), reinterpret_cast<uint32_t *>(r));
}

}  // extern "C"
