// WH: 273 sub-generators, each four congruences x_k := a_k x_k mod m_k with
// moduli near 2^24 and one-byte multipliers. The uniform is the fractional
// part of sum x_k / m_k. Reductions run in doubles (the vector unit has no
// integer division): q = trunc(p * inv), x = p - q m, with inv = 1/m rounded
// upward so that an exact multiple of m gets its full quotient.
#include <emmintrin.h>
#include <stdint.h>

#include "random/streams/stream_internal.h"

namespace qor::random {
namespace {

#include "random/generators/wh_parameters.inc"

struct WhState {
  uint32_t x[4];  // component states, the next number to output
  uint32_t a[4];  // current multipliers (powers of the table's after a leapfrog)
};
static_assert(sizeof(WhState) + sizeof(GuxStream) == 48, "record size of the row");

int sub_generator(const GuxStream *stream) {
  int sub = 0;
  stream_row(stream, &sub);
  return sub;
}

inline uint32_t stmxcsr() {
  uint32_t csr;
  __asm__ volatile("stmxcsr %0" : "=m"(csr));
  return csr;
}
inline void ldmxcsr(uint32_t csr) { __asm__ volatile("ldmxcsr %0" : : "m"(csr)); }

// 1/m for the four moduli, each rounded toward +infinity. The rounding mode is
// the caller's again right after the four divisions.
void upward_reciprocals(const uint32_t *m, double *inv) {
  const uint32_t saved = stmxcsr();
  ldmxcsr((saved & ~0x6000u) | 0x4000u);
  for (int k = 0; k < 4; ++k) {
    double q = 1.0, d = (double)m[k];
    __asm__ volatile("divsd %1, %0" : "+x"(q) : "x"(d));
    inv[k] = q;
  }
  ldmxcsr(saved);
}

// p mod m for an integer-valued double p < 2^38, in the same steps as the lanes.
inline double reduce(double p, double m, double inv) {
  double q = (double)(int32_t)(p * inv);
  return p - q * m;
}

// Everything a call needs about its sub-generator, as doubles.
struct WhCall {
  double m[4], inv[4], rcp[4];
  explicit WhCall(const GuxStream *stream) {
    const int s = sub_generator(stream);
    for (int k = 0; k < 4; ++k) {
      m[k] = (double)kWhModuli[s][k];
      rcp[k] = kWhReciprocals[s][k];
    }
    upward_reciprocals(kWhModuli[s], inv);
  }
  // Fractional part of the weighted sum, summed left to right.
  double uniform(const double *x) const {
    double u = x[0] * rcp[0] + x[1] * rcp[1] + x[2] * rcp[2] + x[3] * rcp[3];
    return u - (double)(int32_t)u;
  }
};

// All three forms run the same steps: a two-lane body for pairs of numbers
// and a scalar step for the rest, operation for operation alike, so the
// numbers do not depend on how a request is split. `emit` turns the states of
// one number (put) or of two consecutive numbers (put2) into output.
template <class Emit>
void generate(GuxStream *stream, int n, const Emit &emit) {
  if (n <= 0) return;
  WhState &s = *state_of<WhState>(stream);
  const WhCall c(stream);
  double x[4], a[4];
  for (int k = 0; k < 4; ++k) {
    x[k] = s.x[k];
    a[k] = s.a[k];
  }
  int i = 0;
  if (n >= 4) {
    // Lanes hold steps t and t + 1 of every component and advance by a^2.
    __m128d lane[4], a2[4], m[4], inv[4];
    for (int k = 0; k < 4; ++k) {
      double next = reduce(a[k] * x[k], c.m[k], c.inv[k]);
      lane[k] = _mm_set_pd(next, x[k]);
      a2[k] = _mm_set1_pd(reduce(a[k] * a[k], c.m[k], c.inv[k]));
      m[k] = _mm_set1_pd(c.m[k]);
      inv[k] = _mm_set1_pd(c.inv[k]);
    }
    auto advance = [&] {
      for (int k = 0; k < 4; ++k) {
        __m128d p = _mm_mul_pd(lane[k], a2[k]);
        __m128d q = _mm_cvtepi32_pd(_mm_cvttpd_epi32(_mm_mul_pd(p, inv[k])));
        lane[k] = _mm_sub_pd(p, _mm_mul_pd(q, m[k]));
      }
    };
    const int quads = n & ~3, pairs = n & ~1;
    for (; i < quads; i += 4) {  // four numbers a pass
      emit.put2(c, i, lane);
      advance();
      emit.put2(c, i + 2, lane);
      advance();
    }
    for (; i < pairs; i += 2) {
      emit.put2(c, i, lane);
      advance();
    }
    // The lane that matches the count delivered: step t of the low lane.
    for (int k = 0; k < 4; ++k) x[k] = _mm_cvtsd_f64(lane[k]);
  }
  for (; i < n; ++i) {
    emit.put(c, i, x);
    for (int k = 0; k < 4; ++k) x[k] = reduce(a[k] * x[k], c.m[k], c.inv[k]);
  }
  for (int k = 0; k < 4; ++k) s.x[k] = (uint32_t)x[k];
}

// The weighted sum of both lanes, its fractional part, left to right.
inline __m128d uniform2(const WhCall &c, const __m128d *lane) {
  __m128d u = _mm_mul_pd(lane[0], _mm_set1_pd(c.rcp[0]));
  for (int k = 1; k < 4; ++k) u = _mm_add_pd(u, _mm_mul_pd(lane[k], _mm_set1_pd(c.rcp[k])));
  return _mm_sub_pd(u, _mm_cvtepi32_pd(_mm_cvttpd_epi32(u)));
}

struct WordEmit {
  uint32_t *r;
  void put(const WhCall &, int i, const double *x) const {
    for (int k = 0; k < 4; ++k) r[4 * i + k] = (uint32_t)x[k];
  }
  void put2(const WhCall &, int i, const __m128d *lane) const {
    __m128i lo = _mm_unpacklo_epi64(_mm_cvttpd_epi32(_mm_unpacklo_pd(lane[0], lane[1])),
                                    _mm_cvttpd_epi32(_mm_unpacklo_pd(lane[2], lane[3])));
    __m128i hi = _mm_unpacklo_epi64(_mm_cvttpd_epi32(_mm_unpackhi_pd(lane[0], lane[1])),
                                    _mm_cvttpd_epi32(_mm_unpackhi_pd(lane[2], lane[3])));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(r + 4 * i), lo);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(r + 4 * i + 4), hi);
  }
};

struct DoubleEmit {
  double *r;
  double w, a;
  void put(const WhCall &c, int i, const double *x) const { r[i] = c.uniform(x) * w + a; }
  void put2(const WhCall &c, int i, const __m128d *lane) const {
    _mm_storeu_pd(r + i, _mm_add_pd(_mm_mul_pd(uniform2(c, lane), _mm_set1_pd(w)), _mm_set1_pd(a)));
  }
};

// The s form: the sum and the scaling in doubles, the result rounded.
struct FloatEmit {
  float *r;
  double w, a;
  void put(const WhCall &c, int i, const double *x) const { r[i] = (float)(c.uniform(x) * w + a); }
  void put2(const WhCall &c, int i, const __m128d *lane) const {
    __m128d v = _mm_add_pd(_mm_mul_pd(uniform2(c, lane), _mm_set1_pd(w)), _mm_set1_pd(a));
    _mm_storel_pi(reinterpret_cast<__m64 *>(r + i), _mm_cvtpd_ps(v));
  }
};

}  // namespace
}  // namespace qor::random

using namespace qor::random;

extern "C" {

int __guxBRngWHInitStream(int method, GuxStream *stream, int n, const void *params) {
  WhState &s = *state_of<WhState>(stream);
  const uint32_t *m = kWhModuli[sub_generator(stream)];
  switch (method) {
    case GUX_INIT_STANDARD: {
      // Count 0 means no seeds; a negative count counts as four words.
      const uint32_t *seed = static_cast<const uint32_t *>(params);
      const int count = n < 0 ? 4 : n;
      for (int k = 0; k < 4; ++k) {
        uint32_t x = k < count ? seed[k] % m[k] : 1;
        s.x[k] = x ? x : 1;
        s.a[k] = kWhMultipliers[sub_generator(stream)][k];
      }
      return GUX_STATUS_OK;
    }
    case GUX_INIT_LEAPFROG: {
      const uint32_t k = *static_cast<const uint32_t *>(params);
      for (int c = 0; c < 4; ++c)
        s.x[c] = (uint32_t)((uint64_t)s.x[c] * __guxiPowMod(s.a[c], k, m[c]) % m[c]);
      for (int c = 0; c < 4; ++c) s.a[c] = __guxiPowMod(s.a[c], (uint64_t)(uint32_t)n, m[c]);
      return GUX_STATUS_OK;
    }
    case GUX_INIT_SKIPAHEAD: {
      const uint64_t count = *static_cast<const uint64_t *>(params);
      for (int c = 0; c < 4; ++c)
        s.x[c] = (uint32_t)((uint64_t)s.x[c] * __guxiPowMod(s.a[c], count, m[c]) % m[c]);
      return GUX_STATUS_OK;
    }
    case GUX_INIT_SKIPAHEADEX:
      return GUX_STATUS_NO_SKIPAHEADEX;
    default:
      return GUX_STATUS_BAD_INIT_METHOD;
  }
}

int __guxiBRngWH(GuxStream *stream, int n, uint32_t *r) {
  generate(stream, n, WordEmit{r});
  return GUX_STATUS_OK;
}

int __guxdBRngWH(GuxStream *stream, int n, double *r, double a, double b) {
  generate(stream, n, DoubleEmit{r, b - a, a});
  return GUX_STATUS_OK;
}

int __guxsBRngWH(GuxStream *stream, int n, float *r, float a, float b) {
  generate(stream, n, FloatEmit{r, (double)b - (double)a, (double)a});
  return GUX_STATUS_OK;
}

}  // extern "C"
