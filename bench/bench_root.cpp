// Root kernels against what a user would otherwise write: 1/sqrt through libm
// or through a vector sqrt and a division (SLEEF u05 and u35, SSE2 and SSE4).
#include <sleef.h>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

using namespace qor::bench;

template <class F> static __m128 inv_of(F sqrt4, __m128 x) { return _mm_div_ps(_mm_set1_ps(1.0f), sqrt4(x)); }
template <class F> static __m128d inv_of_d(F sqrt2, __m128d x) { return _mm_div_pd(_mm_set1_pd(1.0), sqrt2(x)); }
static float inv_sqrtf(float x) { return 1.0f / sqrtf(x); }
static double inv_sqrt(double x) { return 1.0 / sqrt(x); }

int main() {
  compare<float>("sInvSqrt", 1e-3, 1e6,
                 {{"qor sInvSqrt LA", kLA, _bexsInvSqrt_21},
                  {"qor sInvSqrt HA", kHA, _bexsInvSqrt},
                  {"qor sInvSqrt EP", kEP, _bexsInvSqrt_11}},
                 {{"libm 1/sqrtf", kHA | kLA | kEP, scalar_loop<float>(inv_sqrtf)},
                  {"1/SLEEF sqrtf4_u05sse2", kHA | kLA | kEP, over_m128([](__m128 x) { return inv_of(Sleef_sqrtf4_u05sse2, x); })},
                  {"1/SLEEF sqrtf4_u35sse4", kLA | kEP, over_m128([](__m128 x) { return inv_of(Sleef_sqrtf4_u35sse4, x); })}});
  compare<double>("dInvSqrt", 1e-3, 1e6,
                  {{"qor dInvSqrt LA/EP", kLA | kEP, _bexdInvSqrt_50}, {"qor dInvSqrt HA", kHA, _bexdInvSqrt}},
                  {{"libm 1/sqrt", kHA | kLA | kEP, scalar_loop<double>(inv_sqrt)},
                   {"1/SLEEF sqrtd2_u05sse2", kHA | kLA | kEP, over_m128d([](__m128d x) { return inv_of_d(Sleef_sqrtd2_u05sse2, x); })},
                   {"1/SLEEF sqrtd2_u35sse4", kLA | kEP, over_m128d([](__m128d x) { return inv_of_d(Sleef_sqrtd2_u35sse4, x); })}});
  return 0;
}
