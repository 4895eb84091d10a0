// The inverse error functions: the symmetries the generic harnesses cannot
// express, bit for bit in every tier. ErfInv is odd; ErfcInv mirrors about
// 1 (y and 2 - y) and CdfNormInv about 0.5 (p and 1 - p) where the mirrored
// input and the reduction are exact (y in [1, 1.5], p in [0.5, 0.75]): both
// inputs read the same row at the same s, with x of opposite signs.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

namespace {

template <class T> using Kernel = void (*)(int, const T *, T *);

template <class T> Kernel<T> kernel(const std::string &entry, int tier) {
  static const char *kD[3] = {"_50", "_HA", "_26"}, *kS[3] = {"_21", "_HA", "_11"};
  const std::string name = "_bex" + entry + (sizeof(T) == 8 ? kD : kS)[tier];
  auto k = (Kernel<T>)dlsym(RTLD_DEFAULT, name.c_str());
  EXPECT_NE(k, nullptr) << name;
  return k;
}

template <class T> std::vector<T> call(Kernel<T> k, const std::vector<T> &a) {
  std::vector<T> r(a.size());
  k((int)a.size(), a.data(), r.data());
  return r;
}

// Inputs uniform on [lo, hi] and, for the tails, at 1 - 10^-u.
template <class T> std::vector<T> inputs(double lo, double hi, bool tails) {
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> u(lo, hi), e(0.5, sizeof(T) == 8 ? 15.9 : 7.0);
  std::vector<T> a;
  for (int i = 0; i < 4000; ++i) a.push_back((T)u(rng));
  if (tails)
    for (int i = 0; i < 2000; ++i) a.push_back((T)(1 - pow(10.0, -e(rng))));
  return a;
}

// f(m(a)) == -f(a) bit for bit, m the mirror of the entry.
template <class T, class Mirror> void expect_mirrored(const char *entry, std::vector<T> a, Mirror m) {
  std::vector<T> b;
  for (T x : a) b.push_back(m(x));
  for (int tier = 0; tier < 3; ++tier) {
    const auto k = kernel<T>(entry, tier);
    if (!k) continue;
    const std::vector<T> ra = call(k, a), rb = call(k, b);
    for (size_t i = 0; i < a.size(); ++i) {
      const T neg = -ra[i];
      ASSERT_EQ(memcmp(&neg, &rb[i], sizeof(T)), 0) << entry << " tier " << tier << " at " << a[i];
    }
  }
}

TEST(ErfInvFamily, ErfInvIsOdd) {
  expect_mirrored<double>("dErfInv", inputs<double>(-1, 1, true), [](double x) { return -x; });
  expect_mirrored<float>("sErfInv", inputs<float>(-1, 1, true), [](float x) { return -x; });
}

TEST(ErfInvFamily, ErfcInvMirrorsAboutOne) {
  expect_mirrored<double>("dErfcInv", inputs<double>(1, 1.5, false), [](double y) { return 2 - y; });
  expect_mirrored<float>("sErfcInv", inputs<float>(1, 1.5, false), [](float y) { return 2 - y; });
}

TEST(ErfInvFamily, CdfNormInvMirrorsAboutOneHalf) {
  expect_mirrored<double>("dCdfNormInv", inputs<double>(0.5, 0.75, false), [](double p) { return 1 - p; });
  expect_mirrored<float>("sCdfNormInv", inputs<float>(0.5, 0.75, false), [](float p) { return 1 - p; });
}

}  // namespace
