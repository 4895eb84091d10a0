// SFMT19937: the twister on 156 words of 128 bits, period a multiple of
// 2^19937 - 1, without tempering. Output is the state's 32-bit words in order,
// four per 128-bit step; the words of a step that a call does not take wait in
// `tail` for the next call. Jumps count 128-bit steps on the characteristic
// polynomial of degree 19968; numbers are converted through their signed view.
#include <emmintrin.h>
#include <string.h>

#include "random/streams/stream_internal.h"

namespace qor::random {
namespace {

#include "random/generators/mt_polynomials.inc"

constexpr int kN = 156, kN32 = 624;  // 128-bit words, 32-bit words
constexpr int kPos1 = 122;
// From this many numbers on, the sliding window beats Horner's rule.
constexpr uint64_t kWindowThreshold = 19968;
constexpr uint32_t kParity[4] = {0x00000001u, 0x00000000u, 0x00000000u, 0x13C9E684u};

struct SfmtState {
  uint32_t x[kN32];  // 156 words of 128 bits, lowest 32 bits first
  uint32_t index;    // next 32-bit word of x, a multiple of 4; kN32 when used up
  uint32_t tail[3];  // words of the last four-word step not yet handed out
  uint32_t tailPos, tailEnd;
};
static_assert(sizeof(SfmtState) + sizeof(GuxStream) == 2536, "record size of the row");

inline __m128i loadu(const uint32_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
inline void storeu(uint32_t *p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }

// The new 128-bit word from the oldest a, the middle tap b and the two
// newest c (older) and d.
inline __m128i recursion(__m128i a, __m128i b, __m128i c, __m128i d) {
  const __m128i mask = _mm_set_epi32((int)0xBFFFFFF6u, (int)0xBFFAFFFFu, (int)0xDDFECB7Fu, (int)0xDFFFFFEFu);
  __m128i v = _mm_xor_si128(a, _mm_slli_si128(a, 1));
  v = _mm_xor_si128(v, _mm_and_si128(_mm_srli_epi32(b, 11), mask));
  v = _mm_xor_si128(v, _mm_srli_si128(c, 1));
  return _mm_xor_si128(v, _mm_slli_epi32(d, 18));
}

// The next block in place; the middle tap wraps after 34 words.
void regenerate(uint32_t *x32) {
  __m128i *w = reinterpret_cast<__m128i *>(x32);  // 16-byte aligned in the record
  __m128i c = w[kN - 2], d = w[kN - 1];
  int i = 0;
  for (; i < kN - kPos1; ++i) {
    w[i] = recursion(w[i], w[i + kPos1], c, d);
    c = d;
    d = w[i];
  }
  for (; i < kN; ++i) {
    w[i] = recursion(w[i], w[i + kPos1 - kN], c, d);
    c = d;
    d = w[i];
  }
}

// One block of the recurrence array after the 624 words before z.
void extend(uint32_t *z) {
  __m128i c = loadu(z - 8), d = loadu(z - 4);
  for (int i = 0; i < kN32; i += 4) {
    __m128i v = recursion(loadu(z + i - kN32), loadu(z + i - kN32 + 4 * kPos1), c, d);
    storeu(z + i, v);
    c = d;
    d = v;
  }
}

// Output forms over raw words, as in the word twisters: put reads each group
// of four before writing it, so src may lie in the buffer's raw area.
struct WordOut {
  uint32_t *r;
  uint32_t *raw_area(int j, int) const { return r + j; }
  void put(int j, const uint32_t *src, int count) const { memmove(r + j, src, 4 * (size_t)count); }
};

// The word's signed view: (int32) w (b - a) 2^-32 + (a + b)/2.
struct DoubleOut {
  double *r;
  double factor, mid;
  DoubleOut(double *out, double a, double b) : r(out), factor((b - a) * 0x1p-32), mid((a + b) / 2) {}
  uint32_t *raw_area(int j, int m) const { return reinterpret_cast<uint32_t *>(r + j) + m; }
  void put(int j, const uint32_t *src, int count) const {
    double *out = r + j;
    const __m128d f = _mm_set1_pd(factor), s = _mm_set1_pd(mid);
    int k = 0;
    for (; k + 4 <= count; k += 4) {
      __m128i w = loadu(src + k);
      __m128d lo = _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(w), f), s);
      __m128d hi = _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(w, 8)), f), s);
      _mm_storeu_pd(out + k, lo);
      _mm_storeu_pd(out + k + 2, hi);
    }
    for (; k < count; ++k) out[k] = (double)(int32_t)src[k] * factor + mid;
  }
};

// In doubles, rounded to float at the end.
struct FloatOut {
  float *r;
  double factor, mid;
  FloatOut(float *out, float a, float b)
      : r(out), factor(((double)b - (double)a) * 0x1p-32), mid(((double)a + (double)b) / 2) {}
  uint32_t *raw_area(int j, int) const { return reinterpret_cast<uint32_t *>(r + j); }
  void put(int j, const uint32_t *src, int count) const {
    float *out = r + j;
    const __m128d f = _mm_set1_pd(factor), s = _mm_set1_pd(mid);
    int k = 0;
    for (; k + 4 <= count; k += 4) {
      __m128i w = loadu(src + k);
      __m128 lo = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(w), f), s));
      __m128 hi = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(w, 8)), f), s));
      _mm_storeu_ps(out + k, _mm_movelh_ps(lo, hi));
    }
    for (; k < count; ++k) out[k] = (float)((double)(int32_t)src[k] * factor + mid);
  }
};

template <class Out>
void generate(SfmtState &s, int n, const Out &out) {
  if (n <= 0) return;
  int j = (int)(s.tailEnd - s.tailPos) < n ? (int)(s.tailEnd - s.tailPos) : n;
  if (j > 0) {
    out.put(0, s.tail + s.tailPos, j);
    s.tailPos += (uint32_t)j;
  }
  int whole = (n - j) & ~3;
  const int rest = (n - j) & 3;
  int k = kN32 - (int)s.index < whole ? kN32 - (int)s.index : whole;
  if (k > 0) {
    out.put(j, s.x + s.index, k);
    s.index += (uint32_t)k;
    j += k;
    whole -= k;
  }
  if (whole > kN32) {
    // Whole blocks as a recurrence array in the buffer, converted one block behind.
    const int blocks = whole / kN32;
    uint32_t *z = out.raw_area(j, whole);
    regenerate(s.x);
    memcpy(z, s.x, sizeof s.x);
    for (int b = 1; b < blocks; ++b) {
      extend(z + b * kN32);
      out.put(j + (b - 1) * kN32, z + (b - 1) * kN32, kN32);
    }
    memcpy(s.x, z + (blocks - 1) * kN32, sizeof s.x);
    out.put(j + (blocks - 1) * kN32, z + (blocks - 1) * kN32, kN32);
    j += blocks * kN32;
    whole -= blocks * kN32;
    s.index = kN32;
  }
  if (whole > 0) {
    regenerate(s.x);
    out.put(j, s.x, whole);
    s.index = (uint32_t)whole;
    j += whole;
  }
  if (rest > 0) {
    // A request ending inside a four-word step: keep the step's other words.
    if (s.index == kN32) {
      regenerate(s.x);
      s.index = 0;
    }
    out.put(j, s.x + s.index, rest);
    memcpy(s.tail, s.x + s.index + rest, 4 * (size_t)(4 - rest));
    s.tailPos = 0;
    s.tailEnd = (uint32_t)(4 - rest);
    s.index += 4;
  }
}

inline uint32_t mix(uint32_t v) { return v ^ (v >> 27); }

// The published array initialisation (lag 11, mid 306) and the certification
// that the state has a component of full period.
void init_by_array(SfmtState &s, int count, const uint32_t *key) {
  constexpr int kLag = 11, kMid = (kN32 - kLag) / 2;
  static const uint32_t kOne = 1;
  if (count <= 0) {
    count = 1;
    key = &kOne;
  }
  uint32_t *x = s.x;
  memset(x, 0x8B, sizeof s.x);
  const int steps = (count + 1 > kN32 ? count + 1 : kN32) - 1;
  uint32_t r = mix(x[0] ^ x[kMid] ^ x[kN32 - 1]) * 1664525u;
  x[kMid] += r;
  r += (uint32_t)count;
  x[kMid + kLag] += r;
  x[0] = r;
  int i = 1, j = 0;
  for (; j < steps; ++j) {
    r = mix(x[i] ^ x[(i + kMid) % kN32] ^ x[(i + kN32 - 1) % kN32]) * 1664525u;
    x[(i + kMid) % kN32] += r;
    r += (j < count ? key[j] : 0u) + (uint32_t)i;
    x[(i + kMid + kLag) % kN32] += r;
    x[i] = r;
    i = (i + 1) % kN32;
  }
  for (j = 0; j < kN32; ++j) {
    r = mix(x[i] + x[(i + kMid) % kN32] + x[(i + kN32 - 1) % kN32]) * 1566083941u;
    x[(i + kMid) % kN32] ^= r;
    r -= (uint32_t)i;
    x[(i + kMid + kLag) % kN32] ^= r;
    x[i] = r;
    i = (i + 1) % kN32;
  }
  uint32_t inner = 0;
  for (int k = 0; k < 4; ++k) inner ^= x[k] & kParity[k];
  for (int sh = 16; sh > 0; sh >>= 1) inner ^= inner >> sh;
  if ((inner & 1) == 0) x[0] ^= 1u;  // the lowest set bit of the parity words
  s.index = kN32;
  memset(s.tail, 0, sizeof s.tail);
  s.tailPos = s.tailEnd = 0;
}

// ---- operations of the jump on 128-bit steps: the oldest 128-bit word of a
// state is at index / 4 mod 156.
inline int oldest(const SfmtState &s) { return (int)((s.index / 4) % kN); }

void jump_zero(void *temp) { memset(temp, 0, sizeof(SfmtState)); }

void jump_add(void *temp, const void *state, int) {
  auto &t = *static_cast<SfmtState *>(temp);
  const auto &s = *static_cast<const SfmtState *>(state);
  int ti = oldest(t), si = oldest(s);
  for (int k = 0; k < kN; ++k) {
    storeu(t.x + 4 * ti, _mm_xor_si128(loadu(t.x + 4 * ti), loadu(s.x + 4 * si)));
    if (++ti == kN) ti = 0;
    if (++si == kN) si = 0;
  }
}

void jump_assign(void *temp, const void *state) { memcpy(temp, state, sizeof(SfmtState)); }

void jump_step(void *temp) {
  auto &t = *static_cast<SfmtState *>(temp);
  const int i = oldest(t);
  auto at = [&](int k) { return t.x + 4 * (k % kN); };
  storeu(at(i), recursion(loadu(at(i)), loadu(at(i + kPos1)), loadu(at(i + kN - 2)), loadu(at(i + kN - 1))));
  t.index = (uint32_t)(4 * ((i + 1) % kN));
}

void jump_store(void *state, const void *temp, int) {
  auto &s = *static_cast<SfmtState *>(state);
  const auto &t = *static_cast<const SfmtState *>(temp);
  const int ti = 4 * oldest(t);
  memcpy(s.x, t.x + ti, sizeof(uint32_t) * (size_t)(kN32 - ti));
  memcpy(s.x + kN32 - ti, t.x, sizeof(uint32_t) * (size_t)ti);
  s.index = kN32;
}

// count in 128-bit steps.
int jump_prepare(void *state, uint64_t *count, int *flag) {
  auto &s = *static_cast<SfmtState *>(state);
  *flag = 0;
  const uint64_t left = (kN32 - s.index) / 4;
  if (*count <= left) {
    s.index += (uint32_t)(4 * *count);
    return 0;
  }
  *count -= left;
  s.index = kN32;
  return 1;
}

int skip_ahead(GuxStream *stream, uint64_t nskip) {
  SfmtState &s = *state_of<SfmtState>(stream);
  const uint32_t savedIndex = s.index, savedPos = s.tailPos;
  const uint64_t fromTail = nskip < s.tailEnd - s.tailPos ? nskip : s.tailEnd - s.tailPos;
  s.tailPos += (uint32_t)fromTail;
  const uint64_t words = nskip - fromTail;
  if (words >= 4) {
    auto jump = nskip >= kWindowThreshold ? __gux_SkipAheadSWin : __gux_SkipAheadHorner;
    const int status = jump(&s, jump_zero, jump_add, jump_assign, jump_step, jump_store, jump_prepare,
                            words / 4, kN32, kSfmt19937Poly[kSfmt19937PolyTerms - 1], 2536,
                            kSfmt19937PolyTerms, kSfmt19937Poly);
    if (status < 0) {
      s.index = savedIndex;
      s.tailPos = savedPos;
      return status;
    }
  }
  if (words & 3) {
    uint32_t scratch[3];
    generate(s, (int)(words & 3), WordOut{scratch});
  }
  return GUX_STATUS_OK;
}

}  // namespace

bool state_usable_SFMT19937(const GuxStream *stream) {
  const SfmtState &s = *state_of<SfmtState>(stream);
  return s.index <= (uint32_t)kN32 && s.index % 4 == 0 && s.tailPos <= s.tailEnd && s.tailEnd <= 3;
}
}  // namespace qor::random

using namespace qor::random;

extern "C" {

int __guxBRngSFMT19937InitStream(int method, GuxStream *stream, int n, const void *params) {
  switch (method) {
    case GUX_INIT_STANDARD:
      init_by_array(*state_of<SfmtState>(stream), n, static_cast<const uint32_t *>(params));
      return GUX_STATUS_OK;
    case GUX_INIT_LEAPFROG: return GUX_STATUS_NO_LEAPFROG;
    case GUX_INIT_SKIPAHEAD: return skip_ahead(stream, *static_cast<const uint64_t *>(params));
    case GUX_INIT_SKIPAHEADEX: return GUX_STATUS_NO_SKIPAHEADEX;
    default: return GUX_STATUS_BAD_INIT_METHOD;
  }
}

int __guxiBRngSFMT19937(GuxStream *stream, int n, uint32_t *r) {
  generate(*state_of<SfmtState>(stream), n, WordOut{r});
  return GUX_STATUS_OK;
}

int __guxdBRngSFMT19937(GuxStream *stream, int n, double *r, double a, double b) {
  generate(*state_of<SfmtState>(stream), n, DoubleOut(r, a, b));
  return GUX_STATUS_OK;
}

int __guxsBRngSFMT19937(GuxStream *stream, int n, float *r, float a, float b) {
  generate(*state_of<SfmtState>(stream), n, FloatOut(r, a, b));
  return GUX_STATUS_OK;
}

}  // extern "C"
