// MRG32K3A: two order-3 recursions combined,
//   x_n = (1403580 x_{n-2} - 810728 x_{n-3}) mod m1,  m1 = 2^32 - 209
//   y_n = (527612 y_{n-1} - 1370589 y_{n-3}) mod m2,  m2 = 2^32 - 22853
//   z_n = (x_n - y_n) mod m1.
// A step advances first and outputs z of the new values. The state holds the
// last three values of each component, oldest first.
//
// The order-3 dependence is broken for vectors by jumping: from the three
// newest values of a component, the value j steps ahead is a fixed linear form
// (last row of A^j), so a round of 16 outputs is 16 independent lanes over the
// same three words, two lanes per SSE2 register.
#include <string.h>

#include "random/generators/simd.h"
#include "random/generators/uniform.h"
#include "random/streams/stream_internal.h"

namespace qor::random {
namespace {

constexpr uint64_t kM1 = 4294967087u;  // 2^32 - 209
constexpr uint64_t kM2 = 4294944443u;  // 2^32 - 22853
constexpr uint64_t kA12 = 1403580, kA13 = 810728;   // x: +a12 x[1], -a13 x[0]
constexpr uint64_t kA21 = 527612, kA23 = 1370589;   // y: +a21 y[2], -a23 y[0]
// 1/m1 rounded to double: bits 0x3DF000000D10000B.
constexpr double kScale = 0x1.000000d10000bp-32;

// Companion coefficients (c1, c2, c3) of the two components for the modular
// helpers, the negative multipliers as their residues.
constexpr uint32_t kCoeffs1[3] = {0, 1403580, 4294156359u};
constexpr uint32_t kCoeffs2[3] = {527612, 0, 4293573854u};

#include "random/generators/mrg32k3a_jump.inc"

struct MrgState {
  uint32_t x[3];  // first component, oldest first
  uint32_t y[3];  // second component, oldest first
};
static_assert(sizeof(MrgState) + sizeof(GuxStream) == 40, "record size of the row");

// v mod m for v < 2^53, m = 2^32 - c: two folds at bit 32 (2^32 = c mod m)
// leave v below 2m, then one conditional subtraction.
template <uint64_t M>
inline uint32_t fold(uint64_t v) {
  constexpr uint64_t c = (1ull << 32) - M;
  v = (v & 0xFFFFFFFFu) + c * (v >> 32);
  v = (v & 0xFFFFFFFFu) + c * (v >> 32);
  return (uint32_t)(v >= M ? v - M : v);
}

// One step of both components; returns z. Adding a13 m1 (a23 m2) keeps the
// difference of products positive; the sums stay below 2^53.
inline uint32_t step(uint32_t *x, uint32_t *y) {
  const uint32_t p1 = fold<kM1>(kA12 * x[1] + kA13 * (kM1 - x[0]));
  x[0] = x[1], x[1] = x[2], x[2] = p1;
  const uint32_t p2 = fold<kM2>(kA21 * y[2] + kA23 * (kM2 - y[0]));
  y[0] = y[1], y[1] = y[2], y[2] = p2;
  return p1 >= p2 ? p1 - p2 : (uint32_t)(p1 - p2 + kM1);
}

// ---- two-lane arithmetic ----------------------------------------------------------

using simd::u64x2;

// u + m where u is negative, for lanes with |u| < 2^32: the high word of
// such a lane is all zeros or all ones, and serves as the mask.
inline u64x2 add_if_negative(u64x2 u, u64x2 m) {
  return _mm_add_epi64(u, _mm_and_si128(_mm_shuffle_epi32(u, _MM_SHUFFLE(3, 3, 1, 1)), m));
}

// v - m where that is not negative, else v; lanes below 2m.
inline u64x2 sub_if_at_least(u64x2 v, u64x2 m) { return add_if_negative(_mm_sub_epi64(v, m), m); }

// p - m (p >> 32) = (low word of p) + c (p >> 32): a fold without a mask.
inline u64x2 fold_lanes(u64x2 p, u64x2 m) { return _mm_sub_epi64(p, _mm_mul_epu32(_mm_srli_epi64(p, 32), m)); }

// Lanes j, j+1 of sum_k K[k][j] s[k] mod m. Each full product is folded below
// (c + 1) 2^32; their sum stays below 2^49 and one more fold brings it below 2m.
template <uint64_t M>
inline u64x2 jump2(const uint64_t (&K)[3][16], int j, const u64x2 *s) {
  const u64x2 m = simd::splat(M);
  u64x2 acc = fold_lanes(_mm_mul_epu32(_mm_load_si128(reinterpret_cast<const __m128i *>(&K[0][j])), s[0]), m);
  acc = _mm_add_epi64(acc, fold_lanes(_mm_mul_epu32(_mm_load_si128(reinterpret_cast<const __m128i *>(&K[1][j])), s[1]), m));
  acc = _mm_add_epi64(acc, fold_lanes(_mm_mul_epu32(_mm_load_si128(reinterpret_cast<const __m128i *>(&K[2][j])), s[2]), m));
  return sub_if_at_least(fold_lanes(acc, m), m);
}

inline u64x2 broadcast_low(u64x2 v) { return _mm_shuffle_epi32(v, _MM_SHUFFLE(1, 0, 1, 0)); }
inline u64x2 broadcast_high(u64x2 v) { return _mm_shuffle_epi32(v, _MM_SHUFFLE(3, 2, 3, 2)); }

// ---- output forms -----------------------------------------------------------------

struct WordOut {
  uint32_t *r;
  void put(int i, uint32_t z) const { r[i] = z; }
  void put4(int i, u64x2 z0, u64x2 z1) const {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(r + i), simd::pack_low32(z0, z1));
  }
};

// z below 2^32 converts exactly through the 2^52 bias, as the scalar cast does.
inline simd::f64x2 to_double(u64x2 z) {
  return _mm_sub_pd(_mm_castsi128_pd(_mm_or_si128(z, simd::splat(0x4330000000000000ull))),
                    _mm_set1_pd(4503599627370496.0));
}

template <class Out>
struct RealOut {
  Out out;
  void put(int i, uint32_t z) const { out.put(i, (double)z); }
  void put4(int i, u64x2 z0, u64x2 z1) const { out.put4(i, to_double(z0), to_double(z1)); }
};

template <class Out>
void generate(MrgState &st, int n, const Out &out) {
  if (n <= 0) return;
  uint32_t x[3], y[3];
  memcpy(x, st.x, sizeof x);
  memcpy(y, st.y, sizeof y);
  int i = 0;
  if (n >= 16) {
    // The first round one at a time: its last three values per component
    // start the jumps.
    for (; i < 16; ++i) out.put(i, step(x, y));
    u64x2 s1[3], s2[3];
    for (int k = 0; k < 3; ++k) s1[k] = simd::splat(x[k]), s2[k] = simd::splat(y[k]);
    const u64x2 m1 = simd::splat(kM1);
    const int rounds_end = n & ~15;
    for (; i < rounds_end; i += 16) {
      u64x2 p1[2], p2[2];
      for (int j = 0; j < 16; j += 4) {
        for (int h = 0; h < 2; ++h) {
          p1[h] = jump2<kM1>(kJump1, j + 2 * h, s1);
          p2[h] = jump2<kM2>(kJump2, j + 2 * h, s2);
        }
        // z = p1 - p2, plus m1 where negative.
        out.put4(i + j, add_if_negative(_mm_sub_epi64(p1[0], p2[0]), m1),
                 add_if_negative(_mm_sub_epi64(p1[1], p2[1]), m1));
      }
      // Values 14, 15 and 16 of the round are the new state.
      s1[0] = broadcast_high(p1[0]), s1[1] = broadcast_low(p1[1]), s1[2] = broadcast_high(p1[1]);
      s2[0] = broadcast_high(p2[0]), s2[1] = broadcast_low(p2[1]), s2[2] = broadcast_high(p2[1]);
    }
    alignas(16) uint64_t w[2];
    for (int k = 0; k < 3; ++k) {
      _mm_store_si128(reinterpret_cast<__m128i *>(w), s1[k]);
      x[k] = (uint32_t)w[0];
      _mm_store_si128(reinterpret_cast<__m128i *>(w), s2[k]);
      y[k] = (uint32_t)w[0];
    }
  }
  for (; i < n; ++i) out.put(i, step(x, y));
  memcpy(st.x, x, sizeof x);
  memcpy(st.y, y, sizeof y);
}

// ---- initialisation and jumps -----------------------------------------------------

void seed(MrgState &st, int n, const uint32_t *words) {
  uint32_t w[6];
  for (int k = 0; k < 6; ++k) w[k] = k < n ? words[k] : 1;
  for (int k = 0; k < 3; ++k) {
    st.x[k] = w[k] >= kM1 ? (uint32_t)(w[k] - kM1) : w[k];
    st.y[k] = w[3 + k] >= kM2 ? (uint32_t)(w[3 + k] - kM2) : w[3 + k];
  }
  if ((st.x[0] | st.x[1] | st.x[2]) == 0) st.x[0] = 1;
  if ((st.y[0] | st.y[1] | st.y[2]) == 0) st.y[0] = 1;
}

// A jump by an exponent of n 64-bit words. Words from the fifth on are all
// zero in any meaningful jump (the period is below 2^191), and then the tables
// of A^(2^k) serve; otherwise the general power, which may need memory. The
// stream moves only when both components have been computed.
int skip_words(MrgState &st, int n, const uint64_t *e) {
  bool wide = false;
  for (int k = 4; k < n; ++k) wide |= e[k] != 0;
  MrgState next = st;
  if (wide) {
    int status = __guxiVect3PowArrayMod(next.x, kCoeffs1, (uint32_t)kM1, n, e);
    if (status < 0) return status;
    status = __guxiVect3PowArrayMod(next.y, kCoeffs2, (uint32_t)kM2, n, e);
    if (status < 0) return status;
  } else {
    __guxiVect3PowArrayMod_M1(next.x, n, e, __guxVect3PowTableM1);
    __guxiVect3PowArrayMod_M2(next.y, n, e, __guxVect3PowTableM2);
  }
  st = next;
  return GUX_STATUS_OK;
}

}  // namespace
}  // namespace qor::random

using namespace qor::random;

extern "C" {

int __guxBRngMRG32K3AInitStream(int method, GuxStream *stream, int n, const void *params) {
  MrgState &st = *state_of<MrgState>(stream);
  switch (method) {
    case GUX_INIT_STANDARD:
      seed(st, n, static_cast<const uint32_t *>(params));
      return GUX_STATUS_OK;
    case GUX_INIT_LEAPFROG:
      return GUX_STATUS_NO_LEAPFROG;
    case GUX_INIT_SKIPAHEAD: {
      const uint64_t count = *static_cast<const uint64_t *>(params);
      __guxiVect3PowMod(st.x, kCoeffs1, (uint32_t)kM1, count);
      __guxiVect3PowMod(st.y, kCoeffs2, (uint32_t)kM2, count);
      return GUX_STATUS_OK;
    }
    case GUX_INIT_SKIPAHEADEX:
      return skip_words(st, n, static_cast<const uint64_t *>(params));
    default:
      return GUX_STATUS_BAD_INIT_METHOD;
  }
}

int __guxiBRngMRG32K3A(GuxStream *stream, int n, uint32_t *r) {
  generate(*state_of<MrgState>(stream), n, WordOut{r});
  return GUX_STATUS_OK;
}

int __guxdBRngMRG32K3A(GuxStream *stream, int n, double *r, double a, double b) {
  generate(*state_of<MrgState>(stream), n, RealOut<DoubleOut>{DoubleOut(r, a, b, kScale)});
  return GUX_STATUS_OK;
}

int __guxsBRngMRG32K3A(GuxStream *stream, int n, float *r, float a, float b) {
  generate(*state_of<MrgState>(stream), n, RealOut<FloatOut>{FloatOut(r, a, b, kScale)});
  return GUX_STATUS_OK;
}

}  // extern "C"
