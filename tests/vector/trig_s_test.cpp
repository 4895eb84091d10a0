// Single-precision circular functions: what the generic harnesses cannot
// express. cCIS is sSinCos interleaved bit for bit in every tier, and a
// lane's result does not depend on a huge neighbour in its block, in every
// entry and tier, on arguments around the seams of each reduction.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

namespace {

using One = void (*)(int, const float *, float *);
using Two = void (*)(int, const float *, float *, float *);
const char *kSuffix[3] = {"_21", "_HA", "_11"};

void *entry(const std::string &name) {
  void *p = dlsym(RTLD_DEFAULT, name.c_str());
  EXPECT_NE(p, nullptr) << name;
  return p;
}

// Arguments of every scale: small, around pi/2 multiples, the thresholds,
// exact degrees and half-turns, huge; both signs.
std::vector<float> arguments() {
  std::vector<float> a;
  std::mt19937 rng(11);
  std::uniform_real_distribution<float> u(-8.0f, 8.0f);
  std::uniform_real_distribution<float> e(-40.0f, 38.0f);
  for (int i = 0; i < 4000; ++i) a.push_back(i % 2 ? u(rng) : copysignf(powf(10.0f, e(rng)), u(rng)));
  for (float s : {1.0f, 8256.0f, 10000.0f, 1048576.0f, 4194304.0f, 16777306.0f, 90.0f, 0.5f})
    for (int k = -3; k <= 3; ++k) a.push_back(nextafterf(s, k < 0 ? 0.0f : INFINITY) * (k & 1 ? -1.0f : 1.0f));
  a.resize(a.size() & ~31u);
  return a;
}

TEST(TrigS, CisIsSinCosInterleaved) {
  const std::vector<float> a = arguments();
  const int n = (int)a.size();
  for (int t = 0; t < 3; ++t) {
    std::vector<float> s(n), c(n), z(2 * n);
    ((Two)entry(std::string("_bexsSinCos") + kSuffix[t]))(n, a.data(), s.data(), c.data());
    ((One)entry(std::string("_bexcCIS") + kSuffix[t]))(n, a.data(), z.data());
    for (int i = 0; i < n; ++i) {
      ASSERT_EQ(memcmp(&z[2 * i], &c[i], 4), 0) << "tier " << t << " x = " << a[i];
      ASSERT_EQ(memcmp(&z[2 * i + 1], &s[i], 4), 0) << "tier " << t << " x = " << a[i];
    }
  }
}

TEST(TrigS, HugeNeighbourChangesNoLane) {
  const std::vector<float> a = arguments();
  const int n = (int)a.size();
  for (const char *f : {"sSin", "sCos", "sTan", "sSinpi", "sCospi", "sTanpi", "sSind", "sCosd", "sTand"}) {
    for (int t = 0; t < 3; ++t) {
      const One k = (One)entry(std::string("_bex") + f + kSuffix[t]);
      std::vector<float> plain(n), mixed(n), b = a;
      k(n, a.data(), plain.data());
      for (int i = 5; i < n; i += 7) b[i] = 3.0e38f;
      k(n, b.data(), mixed.data());
      for (int i = 0; i < n; ++i) {
        if (b[i] != a[i]) continue;
        ASSERT_EQ(memcmp(&plain[i], &mixed[i], 4), 0) << f << " tier " << t << " x = " << a[i];
      }
    }
  }
}

}  // namespace
