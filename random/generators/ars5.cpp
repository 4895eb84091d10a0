// ARS5: each block of four words is the 128-bit counter XOR the key, then five
// AES rounds (four aesenc and one aesenclast) whose round keys step from the
// key by a fixed pair of 64-bit constants. The AES instructions are not part
// of the library's processor class: the code that executes them is compiled
// for "aes" on its own, and the entries test the processor before reaching it
// (the s form excepted, see there).
#include <wmmintrin.h>

#include "random/generators/counter_block.h"
#include "random/streams/stream_internal.h"

// Everything that executes an AES instruction lives in aes_path: the ISA test
// allows aesenc and aesenclast there and nowhere else.
namespace qor::random::aes_path {
namespace {

// Added to both 64-bit halves of the key per round, without carry between
// them: the fractional parts of the golden ratio and of sqrt(3).
constexpr uint64_t kWeylLow = 0x9E3779B97F4A7C15ull, kWeylHigh = 0xBB67AE8584CAA73Bull;
constexpr int kInterleave = 8;  // blocks in flight, to cover the latency of aesenc

struct ArsState {
  uint32_t key[4];
  uint64_t counter[2];  // low word first
  uint32_t buffered;    // words of buffer still to serve
  uint32_t buffer[4];
};
static_assert(sizeof(ArsState) + sizeof(GuxStream) == 72, "record size of the row");

#define QOR_AES __attribute__((target("aes")))

struct RoundKeys {
  __m128i k[6];
  QOR_AES explicit RoundKeys(const uint32_t *key) {
    const __m128i weyl = _mm_set_epi64x((long long)kWeylHigh, (long long)kWeylLow);
    k[0] = _mm_loadu_si128(reinterpret_cast<const __m128i *>(key));
    for (int n = 1; n < 6; ++n) k[n] = _mm_add_epi64(k[n - 1], weyl);
  }
};

QOR_AES inline __m128i encrypt(const RoundKeys &rk, __m128i c) {
  __m128i v = _mm_xor_si128(c, rk.k[0]);
  for (int n = 1; n < 5; ++n) v = _mm_aesenc_si128(v, rk.k[n]);
  return _mm_aesenclast_si128(v, rk.k[5]);
}

inline __m128i counter_vector(const uint64_t *c) { return _mm_set_epi64x((long long)c[1], (long long)c[0]); }

struct Engine {
  using State = ArsState;

  QOR_AES static void fill(State &s) {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(s.buffer), encrypt(RoundKeys(s.key), counter_vector(s.counter)));
    cbrng::add128(s.counter[0], s.counter[1], 1, 0);
  }

  template <class Out>
  QOR_AES static void blocks(State &s, int count, int i, const Out &out_) {
    const Out out = out_;  // a local copy: stores to the output cannot alias its fields
    const RoundKeys rk(s.key);
    const __m128i one = _mm_set_epi64x(0, 1);
    int b = 0;
    for (; b + kInterleave <= count; b += kInterleave) {
      __m128i v[kInterleave];
      if (s.counter[0] <= ~0ull - (kInterleave - 1)) {  // no carry into the high word
        v[0] = counter_vector(s.counter);
        for (int j = 1; j < kInterleave; ++j) v[j] = _mm_add_epi64(v[j - 1], one);
      } else {
        uint64_t c[2] = {s.counter[0], s.counter[1]};
        for (int j = 0; j < kInterleave; ++j, cbrng::add128(c[0], c[1], 1, 0)) v[j] = counter_vector(c);
      }
      for (int j = 0; j < kInterleave; ++j) v[j] = _mm_xor_si128(v[j], rk.k[0]);
      for (int n = 1; n < 5; ++n)
        for (int j = 0; j < kInterleave; ++j) v[j] = _mm_aesenc_si128(v[j], rk.k[n]);
      for (int j = 0; j < kInterleave; ++j) v[j] = _mm_aesenclast_si128(v[j], rk.k[5]);
      for (int j = 0; j < kInterleave; ++j) out.put4(i + 4 * (b + j), v[j]);
      cbrng::add128(s.counter[0], s.counter[1], kInterleave, 0);
    }
    for (; b < count; ++b) {
      out.put4(i + 4 * b, encrypt(rk, counter_vector(s.counter)));
      cbrng::add128(s.counter[0], s.counter[1], 1, 0);
    }
  }
};

// Positions the stream r words past the end of its buffer (r >= 1), r/4 whole
// blocks being (hi:lo): the block holding word r goes to buffer, whole.
void skip_past_buffer(ArsState &s, uint64_t lo, uint64_t hi, uint32_t r_low) {
  s.buffered = 4 - (r_low & 3);
  cbrng::add128(s.counter[0], s.counter[1], lo, hi);
  Engine::fill(s);
}

}  // namespace
}  // namespace qor::random::aes_path

namespace qor::random {
bool state_usable_ARS5(const GuxStream *stream) { return state_of<aes_path::ArsState>(stream)->buffered <= 4; }
}  // namespace qor::random

using namespace qor::random;
using namespace qor::random::aes_path;

extern "C" {

int __guxBRngARS5InitStream(int method, GuxStream *stream, int n, const void *params) {
  ArsState &s = *state_of<ArsState>(stream);
  switch (method) {
    case GUX_INIT_STANDARD: {
      // No test of the processor: the stream is made on any.
      const uint32_t *seed = static_cast<const uint32_t *>(params);
      uint32_t w[8] = {};
      for (int k = 0; k < n && k < 8; ++k) w[k] = seed[k];
      for (int k = 0; k < 4; ++k) s.key[k] = w[k], s.buffer[k] = 0;
      s.counter[0] = w[4] | (uint64_t)w[5] << 32;
      s.counter[1] = w[6] | (uint64_t)w[7] << 32;
      s.buffered = 0;
      return GUX_STATUS_OK;
    }
    case GUX_INIT_LEAPFROG:
      return GUX_STATUS_NO_LEAPFROG;
    case GUX_INIT_SKIPAHEAD: {
      if (!__guxCPUisAES()) return GUX_STATUS_NO_AES;
      const uint64_t c = *static_cast<const uint64_t *>(params);
      if (c <= s.buffered) {
        s.buffered -= (uint32_t)c;
        return GUX_STATUS_OK;
      }
      const uint64_t r = c - s.buffered;
      skip_past_buffer(s, r >> 2, 0, (uint32_t)r);
      return GUX_STATUS_OK;
    }
    case GUX_INIT_SKIPAHEADEX: {
      if (!__guxCPUisAES()) return GUX_STATUS_NO_AES;
      cbrng::Count192 c(n, static_cast<const uint64_t *>(params));
      if (c.zero()) return GUX_STATUS_OK;
      if (c.small() && c.w[0] <= s.buffered) {
        s.buffered -= (uint32_t)c.w[0];
        return GUX_STATUS_OK;
      }
      c.sub(s.buffered);
      uint64_t lo, hi;
      c.quarter(lo, hi);
      skip_past_buffer(s, lo, hi, (uint32_t)c.w[0]);
      return GUX_STATUS_OK;
    }
    default:
      return GUX_STATUS_BAD_INIT_METHOD;
  }
}

int __guxiBRngARS5(GuxStream *stream, int n, uint32_t *r) {
  if (!__guxCPUisAES()) return GUX_STATUS_NO_AES;
  cbrng::generate<Engine>(*state_of<ArsState>(stream), n, cbrng::WordOut{r});
  return GUX_STATUS_OK;
}

int __guxdBRngARS5(GuxStream *stream, int n, double *r, double a, double b) {
  if (!__guxCPUisAES()) return GUX_STATUS_NO_AES;
  cbrng::generate<Engine>(*state_of<ArsState>(stream), n, cbrng::MidDoubleOut(r, a, b));
  return GUX_STATUS_OK;
}

// No test of the processor here, by design: a stream reaches the s form only
// after its creation or loading on this processor, where the other entries
// report the absence.
int __guxsBRngARS5(GuxStream *stream, int n, float *r, float a, float b) {
  cbrng::generate<Engine>(*state_of<ArsState>(stream), n, cbrng::MidFloatOut(r, a, b));
  return GUX_STATUS_OK;
}

}  // extern "C"
