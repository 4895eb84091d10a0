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

// The real forms: the scalar step and the two-lane body agree operation for
// operation, so the numbers do not depend on how a request is split.
template <class Emit>
void generate_real(GuxStream *stream, int n, const Emit &emit) {
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
      double sq = reduce(a[k] * a[k], c.m[k], c.inv[k]);
      a2[k] = _mm_set1_pd(sq);
      m[k] = _mm_set1_pd(c.m[k]);
      inv[k] = _mm_set1_pd(c.inv[k]);
    }
    const int pairs = n & ~1;
    for (; i < pairs; i += 2) {
      __m128d u = _mm_mul_pd(lane[0], _mm_set1_pd(c.rcp[0]));
      for (int k = 1; k < 4; ++k) u = _mm_add_pd(u, _mm_mul_pd(lane[k], _mm_set1_pd(c.rcp[k])));
      u = _mm_sub_pd(u, _mm_cvtepi32_pd(_mm_cvttpd_epi32(u)));
      emit.put2(i, u);
      for (int k = 0; k < 4; ++k) {
        __m128d p = _mm_mul_pd(lane[k], a2[k]);
        __m128d q = _mm_cvtepi32_pd(_mm_cvttpd_epi32(_mm_mul_pd(p, inv[k])));
        lane[k] = _mm_sub_pd(p, _mm_mul_pd(q, m[k]));
      }
    }
    // The lane that matches the count delivered: step t of the low lane.
    for (int k = 0; k < 4; ++k) x[k] = _mm_cvtsd_f64(lane[k]);
  }
  for (; i < n; ++i) {
    emit.put(i, c.uniform(x));
    for (int k = 0; k < 4; ++k) x[k] = reduce(a[k] * x[k], c.m[k], c.inv[k]);
  }
  for (int k = 0; k < 4; ++k) s.x[k] = (uint32_t)x[k];
}

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
  WhState &s = *state_of<WhState>(stream);
  const WhCall c(stream);
  double x[4];
  for (int k = 0; k < 4; ++k) x[k] = s.x[k];
  for (int i = 0; i < n; ++i) {
    for (int k = 0; k < 4; ++k) {
      r[4 * i + k] = (uint32_t)x[k];
      x[k] = reduce((double)s.a[k] * x[k], c.m[k], c.inv[k]);
    }
  }
  for (int k = 0; k < 4; ++k) s.x[k] = (uint32_t)x[k];
  return GUX_STATUS_OK;
}

int __guxdBRngWH(GuxStream *stream, int n, double *r, double a, double b) {
  struct Emit {
    double *r;
    double w, a;
    void put(int i, double u) const { r[i] = u * w + a; }
    void put2(int i, __m128d u) const {
      _mm_storeu_pd(r + i, _mm_add_pd(_mm_mul_pd(u, _mm_set1_pd(w)), _mm_set1_pd(a)));
    }
  };
  generate_real(stream, n, Emit{r, b - a, a});
  return GUX_STATUS_OK;
}

int __guxsBRngWH(GuxStream *stream, int n, float *r, float a, float b) {
  struct Emit {
    float *r;
    double w, a;
    void put(int i, double u) const { r[i] = (float)(u * w + a); }
    void put2(int i, __m128d u) const {
      __m128d v = _mm_add_pd(_mm_mul_pd(u, _mm_set1_pd(w)), _mm_set1_pd(a));
      _mm_storel_pi(reinterpret_cast<__m64 *>(r + i), _mm_cvtpd_ps(v));
    }
  };
  generate_real(stream, n, Emit{r, (double)b - (double)a, (double)a});
  return GUX_STATUS_OK;
}

}  // extern "C"
