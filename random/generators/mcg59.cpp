// MCG59: x := a x mod 2^59, a = 13^13. Outputs the state, then advances. The
// main loop covers n rounded down to a multiple of 16, in blocks of eight
// lanes primed by a^0..a^7 and advanced by a^8.
#include <string.h>

#include "random/generators/simd.h"
#include "random/generators/uniform.h"
#include "random/streams/stream_internal.h"

namespace qor::random {
namespace {

constexpr uint64_t kMask = 0x7FFFFFFFFFFFFFFull;  // 2^59 - 1
constexpr uint64_t kA = 302875106592253ull;       // 13^13
constexpr double kScale = 0x1p-59;

struct Mcg59State {
  uint64_t x;  // the next number to output
  uint64_t a;  // current multiplier
};
static_assert(sizeof(Mcg59State) + sizeof(GuxStream) == 32, "record size of the row");

inline uint64_t step(uint64_t a, uint64_t x) { return (a * x) & kMask; }

// The caller's buffer is counted in 32-bit units and may be only 4-byte aligned.
struct WordOut {
  uint64_t *r;
  void put(int i, uint64_t x) const { memcpy(r + i, &x, sizeof x); }
  void put8(int i, const simd::u64x2 *v) const {
    for (int k = 0; k < 4; ++k) _mm_storeu_si128(reinterpret_cast<__m128i *>(r + i + 2 * k), v[k]);
  }
};

template <class Out>
struct RealOut {
  Out out;
  void put(int i, uint64_t x) const { out.put(i, (double)x); }
  void put8(int i, const simd::u64x2 *v) const {
    out.put4(i, simd::u64_to_f64(v[0]), simd::u64_to_f64(v[1]));
    out.put4(i + 4, simd::u64_to_f64(v[2]), simd::u64_to_f64(v[3]));
  }
};

template <class Out>
void generate(Mcg59State &s, int n, const Out &out) {
  if (n <= 0) return;
  uint64_t x = s.x;
  const uint64_t a = s.a;
  const int main = n & ~15;
  if (main > 0) {
    // Lane k holds x a^k; every block advances all lanes by a^8.
    uint64_t p[8];
    p[0] = x;
    for (int k = 1; k < 8; ++k) p[k] = step(a, p[k - 1]);
    simd::u64x2 v[4];
    for (int k = 0; k < 4; ++k) v[k] = simd::load2(p[2 * k], p[2 * k + 1]);
    const simd::u64x2 a8 = simd::splat(__guxiPowMod2P59(a, 8));
    const simd::u64x2 mask = simd::splat(kMask);
    for (int i = 0; i < main; i += 8) {
      out.put8(i, v);
      for (int k = 0; k < 4; ++k) v[k] = _mm_and_si128(simd::mul64(v[k], a8), mask);
    }
    x = simd::lane(v[0], 0);
  }
  for (int i = main; i < n; ++i) {
    out.put(i, x);
    x = step(a, x);
  }
  s.x = x;
}

}  // namespace
}  // namespace qor::random

using namespace qor::random;

extern "C" {

int __guxBRngMCG59InitStream(int method, GuxStream *stream, int n, const void *params) {
  Mcg59State &s = *state_of<Mcg59State>(stream);
  switch (method) {
    case GUX_INIT_STANDARD: {
      const uint32_t *seed = static_cast<const uint32_t *>(params);
      uint64_t x = 1;
      if (n == 1) x = seed[0];
      if (n >= 2) x = ((uint64_t)seed[1] << 32 | seed[0]) & kMask;
      // An even seed is kept: the modulus is a power of two, so its period is shorter.
      s.x = x ? x : 1;
      s.a = kA;
      return GUX_STATUS_OK;
    }
    case GUX_INIT_LEAPFROG: {
      uint32_t k = *static_cast<const uint32_t *>(params);
      s.x = step(s.x, __guxiPowMod2P59(s.a, k));
      s.a = __guxiPowMod2P59(s.a, (uint64_t)(uint32_t)n);
      return GUX_STATUS_OK;
    }
    case GUX_INIT_SKIPAHEAD:
      s.x = step(s.x, __guxiPowMod2P59(s.a, *static_cast<const uint64_t *>(params)));
      return GUX_STATUS_OK;
    case GUX_INIT_SKIPAHEADEX:
      return GUX_STATUS_NO_SKIPAHEADEX;
    default:
      return GUX_STATUS_BAD_INIT_METHOD;
  }
}

int __guxiBRngMCG59(GuxStream *stream, int n, uint32_t *r) {
  generate(*state_of<Mcg59State>(stream), n, WordOut{reinterpret_cast<uint64_t *>(r)});
  return GUX_STATUS_OK;
}

int __guxdBRngMCG59(GuxStream *stream, int n, double *r, double a, double b) {
  generate(*state_of<Mcg59State>(stream), n, RealOut<DoubleOut>{DoubleOut(r, a, b, kScale)});
  return GUX_STATUS_OK;
}

int __guxsBRngMCG59(GuxStream *stream, int n, float *r, float a, float b) {
  generate(*state_of<Mcg59State>(stream), n, RealOut<FloatOut>{FloatOut(r, a, b, kScale)});
  return GUX_STATUS_OK;
}

}  // extern "C"
