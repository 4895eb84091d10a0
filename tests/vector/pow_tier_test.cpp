// Powx behaviours that differ by tier or report under another entry's name,
// which the special-value rows cannot express.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <string>
#include <vector>

#include "qor/qor_bex.h"

namespace {

struct Seen {
  int calls = 0, code = 0, index = -1;
  std::string name;
};
Seen g_seen;
int record(BexErrorContext *c) {
  ++g_seen.calls;
  g_seen.code = c->code;
  g_seen.index = c->index;
  g_seen.name.assign(c->name, (size_t)c->name_length);
  return 0;
}

class PowTier : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = qor_bex_kernel_GetMode();
    qor_bex_kernel_SetMode(BEX_ERRMODE_CALLBACK);
    qor_bex_kernel_SetErrorCallBack(record);
    qor_bex_kernel_SetInterfInputVectorPointer(nullptr);  // a new thread's record leaves it as the heap held it
    g_seen = Seen{};
  }
  void TearDown() override {
    qor_bex_kernel_ClearErrorCallBack();
    qor_bex_kernel_SetMode(saved_);
    qor_bex_kernel_ClearErrStatus();
  }
  unsigned saved_ = 0;
};

using SPowx = void (*)(int, const float *, float, float *);
const SPowx kTiers[3] = {_bexsPowx_21, _bexsPowx, _bexsPowx_11};

// b = 3: LA and EP multiply (overflow is silent), HA takes the general loop.
TEST_F(PowTier, CubeOverflowsSilentlyOnlyInTheChainTiers) {
  std::vector<float> a(20, 0.75f), r(20);
  a[5] = 1e20f;
  for (int t = 0; t < 3; ++t) {
    g_seen = Seen{};
    kTiers[t](20, a.data(), 3.0f, r.data());
    EXPECT_TRUE(isinf(r[5])) << t;
    if (t == 1) {
      EXPECT_EQ(g_seen.calls, 1);
      EXPECT_EQ(g_seen.code, 3);
      EXPECT_EQ(g_seen.index, 5);
      EXPECT_EQ(g_seen.name, "vsPowx");
    } else {
      EXPECT_EQ(g_seen.calls, 0) << t;
    }
  }
}

// b = 0.5 goes to the Sqrt slot and -1 to the Inv slot: their reports, their names.
TEST_F(PowTier, SqrtAndInvPathsReportUnderTheirOwnNames) {
  std::vector<float> a(20, 0.75f), r(20);
  a[3] = -4.0f;
  for (int t = 0; t < 3; ++t) {
    g_seen = Seen{};
    kTiers[t](20, a.data(), 0.5f, r.data());
    EXPECT_TRUE(isnan(r[3]));
    EXPECT_EQ(g_seen.code, 1);
    EXPECT_EQ(g_seen.index, 3);
    EXPECT_EQ(g_seen.name, "vsSqrt");
  }
  a[3] = 0.0f;
  for (int t = 0; t < 3; ++t) {
    g_seen = Seen{};
    kTiers[t](20, a.data(), -1.0f, r.data());
    EXPECT_TRUE(isinf(r[3]));
    EXPECT_EQ(g_seen.code, 2);
    EXPECT_EQ(g_seen.name, "vsInv");
  }
}

// -0.5 and 1.5 go to the InvSqrt and Pow3o2 slots: a negative element reports there.
TEST_F(PowTier, InvSqrtAndPow3o2PathsReportUnderTheirOwnNames) {
  std::vector<float> a(20, 0.75f), r(20);
  a[7] = -9.0f;
  const float bs[2] = {-0.5f, 1.5f};
  const char *names[2] = {"vsInvSqrt", "vsPow3o2"};
  for (int k = 0; k < 2; ++k)
    for (int t = 0; t < 3; ++t) {
      g_seen = Seen{};
      kTiers[t](20, a.data(), bs[k], r.data());
      EXPECT_TRUE(isnan(r[7]));
      EXPECT_EQ(g_seen.code, 1);
      EXPECT_EQ(g_seen.index, 7);
      EXPECT_EQ(g_seen.name, names[k]) << t;
    }
}

// The general loop is Pow's lanes with the exponent fixed: the same bits.
TEST_F(PowTier, GeneralLoopGivesPowBits) {
  using SPow = void (*)(int, const float *, const float *, float *);
  using DPow = void (*)(int, const double *, const double *, double *);
  using DPowx = void (*)(int, const double *, double, double *);
  const SPow sp[3] = {_bexsPow_21, _bexsPow, _bexsPow_11};
  const DPow dp[3] = {_bexdPow_50, _bexdPow, _bexdPow_26};
  const DPowx dx[3] = {_bexdPowx_50, _bexdPowx, _bexdPowx_26};
  const int n = 203;
  std::vector<float> a(n), b(n, 2.5f), r1(n), r2(n);
  std::vector<double> ad(n), bd(n, -1.75), d1(n), d2(n);
  for (int i = 0; i < n; ++i) a[i] = ad[i] = 0.01 + i * 0.37;
  for (int t = 0; t < 3; ++t) {
    sp[t](n, a.data(), b.data(), r1.data());
    kTiers[t](n, a.data(), 2.5f, r2.data());
    EXPECT_EQ(memcmp(r1.data(), r2.data(), n * sizeof(float)), 0) << t;
    dp[t](n, ad.data(), bd.data(), d1.data());
    dx[t](n, ad.data(), -1.75, d2.data());
    EXPECT_EQ(memcmp(d1.data(), d2.data(), n * sizeof(double)), 0) << t;
  }
}

}  // namespace
