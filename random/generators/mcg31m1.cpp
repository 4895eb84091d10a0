// MCG31M1: x := a x mod 2^31 - 1, a = 1132489760. Outputs the state, then
// advances. The vector path runs eight lanes t..t+7 advancing by a^8.
#include "random/generators/simd.h"
#include "random/generators/uniform.h"
#include "random/streams/stream_internal.h"

namespace qor::random {
namespace {

constexpr uint32_t kM = 0x7FFFFFFFu;
constexpr uint32_t kA = 1132489760u;
// 1/(2^31 - 1) rounded to double: bits 0x3E00000000200000.
constexpr double kScale = 0x1.00000002p-31;

struct Mcg31State {
  uint32_t x;  // the next number to output
  uint32_t a;  // current multiplier (a power of kA after a leapfrog)
};
static_assert(sizeof(Mcg31State) + sizeof(GuxStream) == 24, "record size of the row");

inline uint32_t mulmod(uint32_t a, uint32_t x) {
  uint64_t p = (uint64_t)a * x;
  uint64_t t = (p & kM) + (p >> 31);
  if (t >= kM) t -= kM;
  return (uint32_t)t;
}

// Two lanes of a x mod m, the folded reduction with a branch-free correction.
inline simd::u64x2 mulmod2(simd::u64x2 x, simd::u64x2 a) {
  simd::u64x2 p = simd::mul32x32(x, a);
  simd::u64x2 t = _mm_add_epi64(_mm_and_si128(p, simd::splat(kM)), _mm_srli_epi64(p, 31));
  simd::u64x2 u = _mm_sub_epi64(t, simd::splat(kM));
  simd::u64x2 negative = _mm_shuffle_epi32(_mm_srai_epi32(u, 31), _MM_SHUFFLE(3, 3, 1, 1));
  return _mm_add_epi64(u, _mm_and_si128(negative, simd::splat(kM)));
}

struct WordOut {
  uint32_t *r;
  void put(int i, uint32_t x) const { r[i] = x; }
  void put8(int i, const simd::u64x2 *v) const {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(r + i), simd::pack_low32(v[0], v[1]));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(r + i + 4), simd::pack_low32(v[2], v[3]));
  }
};

// Lanes hold numbers below 2^31, so the signed conversion is exact.
template <class Out>
struct RealOut {
  Out out;
  void put(int i, uint32_t x) const { out.put(i, (double)x); }
  void put8(int i, const simd::u64x2 *v) const {
    __m128i w0 = simd::pack_low32(v[0], v[1]), w1 = simd::pack_low32(v[2], v[3]);
    out.put4(i, _mm_cvtepi32_pd(w0), _mm_cvtepi32_pd(_mm_srli_si128(w0, 8)));
    out.put4(i + 4, _mm_cvtepi32_pd(w1), _mm_cvtepi32_pd(_mm_srli_si128(w1, 8)));
  }
};

template <class Out>
void generate(Mcg31State &s, int n, const Out &out) {
  if (n <= 0) return;
  uint32_t x = s.x;
  const uint32_t a = s.a;
  int i = 0;
  if (n >= 16) {
    // The first eight sequentially; they prime the lanes.
    alignas(16) uint64_t first[8];
    for (; i < 8; ++i) {
      out.put(i, x);
      first[i] = x;
      x = mulmod(a, x);
    }
    const simd::u64x2 a8 = simd::splat(__guxiPowMod2P31M1(a, 8));
    simd::u64x2 v[4];
    for (int k = 0; k < 4; ++k) v[k] = _mm_load_si128(reinterpret_cast<const __m128i *>(first + 2 * k));
    const int blocks = n & ~7;
    for (; i < blocks; i += 8) {
      for (int k = 0; k < 4; ++k) v[k] = mulmod2(v[k], a8);
      out.put8(i, v);
    }
    x = mulmod(a, (uint32_t)simd::lane(v[3], 1));
  }
  for (; i < n; ++i) {
    out.put(i, x);
    x = mulmod(a, x);
  }
  s.x = x;
}

}  // namespace
}  // namespace qor::random

using namespace qor::random;

extern "C" {

int __guxBRngMCG31M1InitStream(int method, GuxStream *stream, int n, const void *params) {
  Mcg31State &s = *state_of<Mcg31State>(stream);
  switch (method) {
    case GUX_INIT_STANDARD: {
      uint32_t x = 1;
      if (n >= 1) x = static_cast<const uint32_t *>(params)[0] % kM;
      s.x = x ? x : 1;
      s.a = kA;
      return GUX_STATUS_OK;
    }
    case GUX_INIT_LEAPFROG: {
      uint32_t k = *static_cast<const uint32_t *>(params);
      s.x = mulmod(s.x, __guxiPowMod2P31M1(s.a, k));
      s.a = __guxiPowMod2P31M1(s.a, (uint64_t)(uint32_t)n);
      return GUX_STATUS_OK;
    }
    case GUX_INIT_SKIPAHEAD:
      s.x = mulmod(s.x, __guxiPowMod2P31M1(s.a, *static_cast<const uint64_t *>(params)));
      return GUX_STATUS_OK;
    case GUX_INIT_SKIPAHEADEX:
      return GUX_STATUS_NO_SKIPAHEADEX;
    default:
      return GUX_STATUS_BAD_INIT_METHOD;
  }
}

int __guxiBRngMCG31M1(GuxStream *stream, int n, uint32_t *r) {
  generate(*state_of<Mcg31State>(stream), n, WordOut{r});
  return GUX_STATUS_OK;
}

int __guxdBRngMCG31M1(GuxStream *stream, int n, double *r, double a, double b) {
  generate(*state_of<Mcg31State>(stream), n, RealOut<DoubleOut>{DoubleOut(r, a, b, kScale)});
  return GUX_STATUS_OK;
}

int __guxsBRngMCG31M1(GuxStream *stream, int n, float *r, float a, float b) {
  generate(*state_of<Mcg31State>(stream), n, RealOut<FloatOut>{FloatOut(r, a, b, kScale)});
  return GUX_STATUS_OK;
}

}  // extern "C"
