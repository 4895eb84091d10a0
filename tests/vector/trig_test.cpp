// Double trigonometric behaviours the generic harnesses do not express: zCIS
// is dSinCos interleaved bit for bit, and a lane's result does not depend on
// a huge neighbour in its block (which takes the large-argument path).
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "qor/qor_bex.h"

namespace {

const BexKernelTable &table(const char *entry) {
  static const struct { const char *name; const BexKernelTable *t; } tabs[] = {
      {"dSin", &qor_bex_kernel_dSin_ttab}, {"dCos", &qor_bex_kernel_dCos_ttab},
      {"dTan", &qor_bex_kernel_dTan_ttab}, {"dSinCos", &qor_bex_kernel_dSinCos_ttab},
      {"zCIS", &qor_bex_kernel_zCIS_ttab}};
  for (const auto &t : tabs)
    if (std::string(t.name) == entry) return *t.t;
  abort();
}

std::vector<double> mixed_inputs(int n) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> e(-60.0, 1023.0), u(-1.0, 1.0);
  std::vector<double> v(n);
  for (double &x : v) x = u(rng) * exp2(e(rng));
  return v;
}

using Unary = void (*)(int, const double *, double *);
using TwoOut = void (*)(int, const double *, double *, double *);

TEST(DTrig, CisIsSinCosInterleaved) {
  const std::vector<double> x = mixed_inputs(301);
  const int n = (int)x.size();
  for (int slot = 0; slot < 3; ++slot) {
    std::vector<double> s(n), c(n), z(2 * n);
    ((TwoOut)table("dSinCos").kernel[slot])(n, x.data(), s.data(), c.data());
    ((Unary)table("zCIS").kernel[slot])(n, x.data(), z.data());
    for (int i = 0; i < n; ++i) {
      ASSERT_EQ(0, memcmp(&c[i], &z[2 * i], 8)) << "slot " << slot << " x " << x[i];
      ASSERT_EQ(0, memcmp(&s[i], &z[2 * i + 1], 8)) << "slot " << slot << " x " << x[i];
    }
  }
}

TEST(DTrig, HugeNeighbourLeavesOtherLanes) {
  const double small[] = {0.5, -3.0, 1e-5, 123.456, -65535.5, 16777216.0, 1e6, 2.5e-300};
  for (const char *entry : {"dSin", "dCos", "dTan", "dSinCos"})
    for (int slot = 0; slot < 3; ++slot)
      for (int pos = 0; pos < 16; ++pos) {
        std::vector<double> x(16), alone(16), a2(16), mixed(16), m2(16);
        for (int i = 0; i < 16; ++i) x[i] = small[i % 8];
        const bool two = std::string(entry) == "dSinCos";
        auto run = [&](std::vector<double> &r, std::vector<double> &r2) {
          if (two) ((TwoOut)table(entry).kernel[slot])(16, x.data(), r.data(), r2.data());
          else ((Unary)table(entry).kernel[slot])(16, x.data(), r.data());
        };
        run(alone, a2);
        x[pos] = -1.2345e300;
        run(mixed, m2);
        for (int i = 0; i < 16; ++i)
          if (i != pos) {
            ASSERT_EQ(0, memcmp(&alone[i], &mixed[i], 8)) << entry << " slot " << slot << " lane " << i;
            if (two) {
              ASSERT_EQ(0, memcmp(&a2[i], &m2[i], 8)) << entry << " slot " << slot << " lane " << i;
            }
          }
      }
}

}  // namespace
