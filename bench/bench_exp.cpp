// Exponential kernels against glibc libm, libmvec (SSE4) and SLEEF (SSE2, SSE4).
#include <sleef.h>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

extern "C" __m128 _ZGVbN4v_expf(__m128);

using namespace qor::bench;

int main() {
  // Peers and the tiers whose bound they meet: libm and SLEEF u10 are within
  // 1 ulp, libmvec within 4 ulp.
  compare<float>("sExp", -87.0, 88.0,
                 {{"qor sExp LA", kLA, _bexsExp_21}, {"qor sExp HA", kHA, _bexsExp}, {"qor sExp EP", kEP, _bexsExp_11}},
                 {{"glibc expf", kHA | kLA | kEP, scalar_loop<float>(expf)},
                  {"libmvec _ZGVbN4v_expf", kLA | kEP, over_m128(_ZGVbN4v_expf)},
                  {"SLEEF expf4_u10sse2", kHA | kLA | kEP, over_m128(Sleef_expf4_u10sse2)},
                  {"SLEEF expf4_u10sse4", kHA | kLA | kEP, over_m128(Sleef_expf4_u10sse4)}});
  return 0;
}
