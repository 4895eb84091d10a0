// Bernoulli law (1 with probability p) and geometric law on {0, 1, ...}
// (failures before the first success of probability p).
//   Bernoulli: u < p for a float uniform u and p narrowed to float, compared
//   as bit patterns (both non-negative), four at a time.
//   Geometric: floor(ln(u) * c) with c = 1 / ln(1 - p) formed once in double
//   and narrowed; ln through sLn LA over blocks, in the guard whose fix-up
//   turns ln(0) into the logarithm of the smallest float denormal.
#include <emmintrin.h>
#include <string.h>

#include "random/distributions/discrete.h"

namespace qor::dist {
namespace {

constexpr int kBlock = 1024;

int bernoulli(GuxStream *stream, int n, int32_t *r, double p) {
  if (n <= 0) return GUX_STATUS_OK;
  // The uniforms land in r itself as float bits, then become 0 or 1 in place.
  const int status = uniform(stream, n, reinterpret_cast<float *>(r), 0.0f, 1.0f);
  if (status < 0) return status;
  const float pf = (float)p;
  int32_t pbits;
  memcpy(&pbits, &pf, 4);
  const __m128i pv = _mm_set1_epi32(pbits), one = _mm_set1_epi32(1);
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    __m128i *q = reinterpret_cast<__m128i *>(r + i);
    _mm_storeu_si128(q, _mm_and_si128(_mm_cmpgt_epi32(pv, _mm_loadu_si128(q)), one));
  }
  for (; i < n; ++i) r[i] = pbits > r[i] ? 1 : 0;
  return status;
}

// floor of x >= -1 as int32: truncate, convert back, subtract 1 where the
// value lies below the truncation.
inline void floor_store(int m, const float *x, int32_t *r) {
  int i = 0;
  for (; i + 4 <= m; i += 4) {
    const __m128 v = _mm_loadu_ps(x + i);
    const __m128i t = _mm_cvttps_epi32(v);
    const __m128i below = _mm_castps_si128(_mm_cmplt_ps(v, _mm_cvtepi32_ps(t)));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(r + i), _mm_add_epi32(t, below));
  }
  for (; i < m; ++i) {
    const int32_t t = _mm_cvtt_ss2si(_mm_set_ss(x[i]));
    r[i] = x[i] < (float)t ? t - 1 : t;
  }
}

int geometric(GuxStream *stream, int n, int32_t *r, double p) {
  return guarded(fix_ln<float>, [&] {
    const float c = (float)(1.0 / __guxdLn(1.0 - p));  // p = 1: -0, every result 0
    int status = GUX_STATUS_OK;
    float u[kBlock];
    for (int done = 0; done < n; done += kBlock) {
      const int m = n - done < kBlock ? n - done : kBlock;
      status = uniform(stream, m, u, 0.0f, 1.0f);
      if (status < 0) return status;
      apply(Fn::Ln, m, u);
      for (int k = 0; k < m; ++k) u[k] *= c;
      floor_store(m, u, r + done);
    }
    return status;
  });
}

}  // namespace
}  // namespace qor::dist

extern "C" {

int _guxiRngBernoulli(int, GuxStream *stream, int n, int32_t *r, double p) {
  return qor::dist::bernoulli(stream, n, r, p);
}

int _guxiRngGeometric(int, GuxStream *stream, int n, int32_t *r, double p) {
  return qor::dist::geometric(stream, n, r, p);
}

}  // extern "C"
