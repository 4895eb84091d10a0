// Every single precision input through the one-input exact kernels, bit for
// bit against the C library (or the kernels' own rule where they differ).
// Long: run by `make accuracy`, not by the test suite. Usage: qor_arith_exhaustive
#include <stdio.h>

#include <vector>

#include "qor/qor_bex.h"
#include "vector_arith/arith_ref.h"

namespace {

using arith_ref::same;

struct Case {
  const char *name;
  void (*f)(int, const float *, float *);
  float (*ref)(float);
  unsigned long long bad = 0;
};

float sqr(float x) { return x * x; }

}  // namespace

int main() {
  Case cases[] = {{"sCeil", _bexsCeil, arith_ref::ceil_ref<float>}, {"sFloor", _bexsFloor, floorf},
                  {"sTrunc", _bexsTrunc, truncf},                   {"sRound", _bexsRound, roundf},
                  {"sRint", _bexsRint, rintf},                      {"sNearbyInt", _bexsNearbyInt, nearbyintf},
                  {"sFrac", _bexsFrac, arith_ref::frac_ref<float>}, {"sAbs", _bexsAbs, fabsf},
                  {"sSqr", _bexsSqr, sqr}};
  unsigned long long modf_bad = 0;
  const int chunk = 1 << 22;
  std::vector<float> x(chunk), r(chunk), r2(chunk);
  for (uint64_t base = 0; base < (uint64_t(1) << 32); base += chunk) {
    for (int i = 0; i < chunk; ++i) x[i] = arith_ref::fbits((uint32_t)(base + i));
    for (Case &c : cases) {
      c.f(chunk, x.data(), r.data());
      for (int i = 0; i < chunk; ++i)
        if (!same(r[i], c.ref(x[i])) && c.bad++ < 3)
          printf("%s(%a) = %a, want %a\n", c.name, x[i], r[i], c.ref(x[i]));
    }
    _bexsModf(chunk, x.data(), r.data(), r2.data());
    for (int i = 0; i < chunk; ++i) {
      float ip;
      const float fp = modff(x[i], &ip);
      if ((!same(r[i], ip) || !same(r2[i], fp)) && modf_bad++ < 3) printf("sModf(%a) = %a, %a\n", x[i], r[i], r2[i]);
    }
  }
  int failed = 0;
  for (const Case &c : cases) {
    printf("%-11s 2^32 inputs, %llu mismatches\n", c.name, c.bad);
    failed += c.bad != 0;
  }
  printf("%-11s 2^32 inputs, %llu mismatches\n", "sModf", modf_bad);
  failed += modf_bad != 0;
  printf("%d passed, %d failed\n", 10 - failed, failed);
  return failed ? 1 : 0;
}
