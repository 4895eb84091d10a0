// PHILOX4X32X10: each block of four words is ten Philox 4x32 rounds of the
// 128-bit counter under a 64-bit key. A round multiplies two words by fixed
// odd constants and mixes the halves of the products with the other two
// words and the round key. The vector path runs four consecutive counters in
// the four lanes, word j of each block in vector j, then transposes.
#include "random/generators/counter_block.h"
#include "random/streams/stream_internal.h"

namespace qor::random {
namespace {

constexpr uint32_t kMul0 = 0xD2511F53u, kMul1 = 0xCD9E8D57u;
constexpr uint32_t kWeyl0 = 0x9E3779B9u, kWeyl1 = 0xBB67AE85u;  // golden ratio, sqrt(3) - 1
constexpr int kRounds = 10;

struct PhiloxState {
  uint32_t key[2];
  uint32_t counter[4];  // low word first
  uint32_t buffered;    // words of buffer still to serve
  uint32_t buffer[4];
};
static_assert(sizeof(PhiloxState) + sizeof(GuxStream) <= 64, "record size of the row");

struct RoundKeys {
  uint32_t k0[kRounds], k1[kRounds];
  explicit RoundKeys(const uint32_t *key) {
    uint32_t a = key[0], b = key[1];
    for (int r = 0; r < kRounds; ++r, a += kWeyl0, b += kWeyl1) {
      k0[r] = a;
      k1[r] = b;
    }
  }
};

inline void block(const RoundKeys &k, const uint32_t *ctr, uint32_t *out) {
  uint32_t c0 = ctr[0], c1 = ctr[1], c2 = ctr[2], c3 = ctr[3];
  for (int r = 0; r < kRounds; ++r) {
    const uint64_t p0 = (uint64_t)kMul0 * c0, p1 = (uint64_t)kMul1 * c2;
    c0 = (uint32_t)(p1 >> 32) ^ c1 ^ k.k0[r];
    c1 = (uint32_t)p1;
    c2 = (uint32_t)(p0 >> 32) ^ c3 ^ k.k1[r];
    c3 = (uint32_t)p0;
  }
  out[0] = c0, out[1] = c1, out[2] = c2, out[3] = c3;
}

inline void increment(uint32_t *c, uint64_t by) {
  uint64_t lo = c[0] | (uint64_t)c[1] << 32, hi = c[2] | (uint64_t)c[3] << 32;
  cbrng::add128(lo, hi, by, 0);
  c[0] = (uint32_t)lo, c[1] = (uint32_t)(lo >> 32), c[2] = (uint32_t)hi, c[3] = (uint32_t)(hi >> 32);
}

// Four lanes of full 32x32 products: the high and the low halves.
inline void mulhilo4(__m128i x, __m128i m, __m128i &hi, __m128i &lo) {
  const __m128i even = _mm_mul_epu32(x, m);                            // lanes 0, 2
  const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(x, 32), m);         // lanes 1, 3
  const __m128i e = _mm_shuffle_epi32(even, _MM_SHUFFLE(3, 1, 2, 0));  // lo0 lo2 hi0 hi2
  const __m128i o = _mm_shuffle_epi32(odd, _MM_SHUFFLE(3, 1, 2, 0));   // lo1 lo3 hi1 hi3
  lo = _mm_unpacklo_epi32(e, o);
  hi = _mm_unpackhi_epi32(e, o);
}

// Round keys and multipliers splatted over the four lanes.
struct LaneKeys {
  __m128i k0[kRounds], k1[kRounds], m0, m1;
  explicit LaneKeys(const RoundKeys &k) : m0(_mm_set1_epi32((int)kMul0)), m1(_mm_set1_epi32((int)kMul1)) {
    for (int r = 0; r < kRounds; ++r) {
      k0[r] = _mm_set1_epi32((int)k.k0[r]);
      k1[r] = _mm_set1_epi32((int)k.k1[r]);
    }
  }
};

// 4 G consecutive blocks from the counter, G groups of four lanes side by side
// so that the products of one group overlap the mixing of the other.
template <int G, class Out>
void lane_blocks(const LaneKeys &lk, uint32_t *ctr, int at, const Out &out) {
  __m128i c[G][4];
  if (ctr[0] <= 0xFFFFFFFFu - (4 * G - 1)) {  // no carry out of the low word
    for (int g = 0; g < G; ++g) {
      c[g][0] = _mm_add_epi32(_mm_set1_epi32((int)ctr[0]), _mm_set_epi32(4 * g + 3, 4 * g + 2, 4 * g + 1, 4 * g));
      for (int q = 1; q < 4; ++q) c[g][q] = _mm_set1_epi32((int)ctr[q]);
    }
  } else {
    alignas(16) uint32_t w[G][4][4];
    uint32_t t[4] = {ctr[0], ctr[1], ctr[2], ctr[3]};
    for (int j = 0; j < 4 * G; ++j, increment(t, 1))
      for (int q = 0; q < 4; ++q) w[j / 4][q][j % 4] = t[q];
    for (int g = 0; g < G; ++g)
      for (int q = 0; q < 4; ++q) c[g][q] = _mm_load_si128(reinterpret_cast<const __m128i *>(w[g][q]));
  }
  for (int r = 0; r < kRounds; ++r)
    for (int g = 0; g < G; ++g) {
      __m128i h0, l0, h1, l1;
      mulhilo4(c[g][0], lk.m0, h0, l0);
      mulhilo4(c[g][2], lk.m1, h1, l1);
      c[g][0] = _mm_xor_si128(_mm_xor_si128(h1, c[g][1]), lk.k0[r]);
      c[g][1] = l1;
      c[g][2] = _mm_xor_si128(_mm_xor_si128(h0, c[g][3]), lk.k1[r]);
      c[g][3] = l0;
    }
  // Transpose: block j of a group is lane j of its four vectors.
  for (int g = 0; g < G; ++g) {
    const __m128i t0 = _mm_unpacklo_epi32(c[g][0], c[g][1]), t1 = _mm_unpacklo_epi32(c[g][2], c[g][3]);
    const __m128i t2 = _mm_unpackhi_epi32(c[g][0], c[g][1]), t3 = _mm_unpackhi_epi32(c[g][2], c[g][3]);
    const int i = at + 16 * g;
    out.put4(i, _mm_unpacklo_epi64(t0, t1));
    out.put4(i + 4, _mm_unpackhi_epi64(t0, t1));
    out.put4(i + 8, _mm_unpacklo_epi64(t2, t3));
    out.put4(i + 12, _mm_unpackhi_epi64(t2, t3));
  }
  increment(ctr, 4 * G);
}

struct Engine {
  using State = PhiloxState;

  static void fill(State &s) {
    block(RoundKeys(s.key), s.counter, s.buffer);
    increment(s.counter, 1);
  }

  template <class Out>
  static void blocks(State &s, int count, int i, const Out &out_) {
    const Out out = out_;  // a local copy: stores to the output cannot alias its fields
    const RoundKeys k(s.key);
    int b = 0;
    if (count >= 4) {
      const LaneKeys lk(k);
      for (; b + 8 <= count; b += 8) lane_blocks<2>(lk, s.counter, i + 4 * b, out);
      for (; b + 4 <= count; b += 4) lane_blocks<1>(lk, s.counter, i + 4 * b, out);
    }
    for (; b < count; ++b) {
      uint32_t w[4];
      block(k, s.counter, w);
      increment(s.counter, 1);
      for (int q = 0; q < 4; ++q) out.put(i + 4 * b + q, w[q]);
    }
  }
};

// Positions the stream r words past the end of its buffer (r >= 1): the block
// holding the last skipped word goes to buffer, the words after it to serve.
void skip_past_buffer(PhiloxState &s, uint64_t lo, uint64_t hi, uint32_t r_low) {
  s.buffered = (4 - r_low) & 3;
  uint32_t *c = s.counter;
  uint64_t clo = c[0] | (uint64_t)c[1] << 32, chi = c[2] | (uint64_t)c[3] << 32;
  cbrng::add128(clo, chi, lo, hi);
  c[0] = (uint32_t)clo, c[1] = (uint32_t)(clo >> 32), c[2] = (uint32_t)chi, c[3] = (uint32_t)(chi >> 32);
  Engine::fill(s);
}

}  // namespace

bool state_usable_PHILOX4X32X10(const GuxStream *stream) { return state_of<PhiloxState>(stream)->buffered <= 4; }
}  // namespace qor::random

using namespace qor::random;

extern "C" {

int __guxBRngPHILOX4X32X10InitStream(int method, GuxStream *stream, int n, const void *params) {
  PhiloxState &s = *state_of<PhiloxState>(stream);
  switch (method) {
    case GUX_INIT_STANDARD: {
      const uint32_t *seed = static_cast<const uint32_t *>(params);
      uint32_t w[6] = {};
      for (int k = 0; k < n && k < 6; ++k) w[k] = seed[k];
      s.key[0] = w[0], s.key[1] = w[1];
      for (int k = 0; k < 4; ++k) s.counter[k] = w[2 + k], s.buffer[k] = 0;
      s.buffered = 0;
      return GUX_STATUS_OK;
    }
    case GUX_INIT_LEAPFROG:
      return GUX_STATUS_NO_LEAPFROG;
    case GUX_INIT_SKIPAHEAD: {
      const uint64_t c = *static_cast<const uint64_t *>(params);
      if (c <= s.buffered) {
        s.buffered -= (uint32_t)c;
        return GUX_STATUS_OK;
      }
      const uint64_t r = c - s.buffered;
      skip_past_buffer(s, (r - 1) >> 2, 0, (uint32_t)r);
      return GUX_STATUS_OK;
    }
    case GUX_INIT_SKIPAHEADEX: {
      cbrng::Count192 c(n, static_cast<const uint64_t *>(params));
      if (c.zero()) return GUX_STATUS_OK;
      if (c.small() && c.w[0] <= s.buffered) {
        s.buffered -= (uint32_t)c.w[0];
        return GUX_STATUS_OK;
      }
      c.sub(s.buffered);
      const uint32_t r_low = (uint32_t)c.w[0];
      c.sub(1);
      uint64_t lo, hi;
      c.quarter(lo, hi);
      skip_past_buffer(s, lo, hi, r_low);
      return GUX_STATUS_OK;
    }
    default:
      return GUX_STATUS_BAD_INIT_METHOD;
  }
}

int __guxiBRngPHILOX4X32X10(GuxStream *stream, int n, uint32_t *r) {
  cbrng::generate<Engine>(*state_of<PhiloxState>(stream), n, cbrng::WordOut{r});
  return GUX_STATUS_OK;
}

int __guxdBRngPHILOX4X32X10(GuxStream *stream, int n, double *r, double a, double b) {
  cbrng::generate<Engine>(*state_of<PhiloxState>(stream), n, cbrng::MidDoubleOut(r, a, b));
  return GUX_STATUS_OK;
}

int __guxsBRngPHILOX4X32X10(GuxStream *stream, int n, float *r, float a, float b) {
  cbrng::generate<Engine>(*state_of<PhiloxState>(stream), n, cbrng::MidFloatViaDoubleOut(r, a, b));
  return GUX_STATUS_OK;
}

}  // extern "C"
