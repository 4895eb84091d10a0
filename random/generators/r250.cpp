// R250: the generalised feedback shift register r[k+250] = r[k] ^ r[k+103].
// The state holds the last 250 words in a circle; x[i] is the oldest and x[j]
// (j = i + 103 mod 250) the younger tap. The i form, for n >= 250, writes the
// sequence straight into the caller's buffer as a recurrence array.
#include <emmintrin.h>
#include <string.h>

#include "random/streams/stream_internal.h"

namespace qor::random {
namespace {

constexpr int kLong = 250, kShort = 103;
constexpr double kScale = 0x1p-32;

struct R250State {
  uint32_t x[kLong];
  int32_t i;  // index of the older tap
  int32_t j;  // index of the younger tap
};
static_assert(sizeof(R250State) + sizeof(GuxStream) == 1024, "record size of the row");

inline uint32_t next(R250State &s) {
  uint32_t w = s.x[s.i] ^ s.x[s.j];
  s.x[s.i] = w;
  if (++s.i == kLong) s.i = 0;
  if (++s.j == kLong) s.j = 0;
  return w;
}

// Fills r[0..n) (n >= 250) from the state and leaves the state at the end.
void recurrence_array(R250State &s, int n, uint32_t *r) {
  constexpr int kFirst = kLong - kShort;  // 147 results from the state alone
  for (int k = 0; k < kFirst; ++k) r[k] = s.x[(s.i + k) % kLong] ^ s.x[(s.j + k) % kLong];
  for (int k = kFirst; k < kLong; ++k) r[k] = s.x[(s.i + k) % kLong] ^ r[k - kFirst];
  int k = kLong;
  for (; k + 16 <= n; k += 16)
    for (int q = 0; q < 16; q += 4) {
      __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(r + k + q - kLong));
      __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(r + k + q - kFirst));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(r + k + q), _mm_xor_si128(a, b));
    }
  for (; k < n; ++k) r[k] = r[k - kLong] ^ r[k - kFirst];
  memcpy(s.x, r + n - kLong, sizeof s.x);
  s.i = 0;
  s.j = kShort;
}

template <class T, class Map>
void generate_real(R250State &s, int n, T *r, const Map &map) {
  for (int k = 0; k < n; ++k) r[k] = map((double)next(s));
}

}  // namespace

// The block path takes the second tap to be 103 places after the first.
bool state_usable_R250(const GuxStream *stream) {
  const R250State &s = *state_of<R250State>(stream);
  return s.i >= 0 && s.i < kLong && s.j == (s.i + kShort) % kLong;
}
}  // namespace qor::random

using namespace qor::random;

extern "C" {

int __guxBRngR250InitStream(int method, GuxStream *stream, int n, const void *params) {
  R250State &s = *state_of<R250State>(stream);
  switch (method) {
    case GUX_INIT_STANDARD: break;
    case GUX_INIT_LEAPFROG: return GUX_STATUS_NO_LEAPFROG;
    case GUX_INIT_SKIPAHEAD: return GUX_STATUS_NO_SKIPAHEAD;
    case GUX_INIT_SKIPAHEADEX: return GUX_STATUS_NO_SKIPAHEADEX;
    default: return GUX_STATUS_BAD_INIT_METHOD;
  }
  const uint32_t *seed = static_cast<const uint32_t *>(params);
  if (n >= kLong) {
    memcpy(s.x, seed, sizeof s.x);
  } else {
    uint32_t v = 1;
    if (n >= 1 && seed[0] != 0) v = seed[0];
    // x[k] = v 69069^(k+1) mod 2^32, two at a time with 69069^2 = 475559465.
    uint32_t even = v * 69069u, odd = even * 69069u;
    for (int k = 0; k < kLong; k += 2) {
      s.x[k] = even;
      s.x[k + 1] = odd;
      even *= 475559465u;
      odd *= 475559465u;
    }
    // Make the words linearly independent: word 3 + 7j keeps its low 32 - j
    // bits under a leading one at bit 31 - j.
    for (int j = 0; j < 32; ++j) {
      int w = 3 + 7 * j;
      s.x[w] = (s.x[w] & (0xFFFFFFFFu >> j)) | (0x80000000u >> j);
    }
  }
  s.i = 0;
  s.j = kShort;
  return GUX_STATUS_OK;
}

int __guxiBRngR250(GuxStream *stream, int n, uint32_t *r) {
  R250State &s = *state_of<R250State>(stream);
  if (n >= kLong) {
    recurrence_array(s, n, r);
  } else {
    for (int k = 0; k < n; ++k) r[k] = next(s);
  }
  return GUX_STATUS_OK;
}

int __guxdBRngR250(GuxStream *stream, int n, double *r, double a, double b) {
  const double factor = (b - a) * kScale;
  generate_real(*state_of<R250State>(stream), n, r, [=](double w) { return w * factor + a; });
  return GUX_STATUS_OK;
}

int __guxsBRngR250(GuxStream *stream, int n, float *r, float a, float b) {
  const double factor = ((double)b - (double)a) * kScale, shift = a;
  generate_real(*state_of<R250State>(stream), n, r,
                [=](double w) { return (float)(w * factor + shift); });
  return GUX_STATUS_OK;
}

}  // extern "C"
