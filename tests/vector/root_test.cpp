// Root kernels, what the generic harnesses cannot express: the EP tiers of
// sSqrt, sInv and sDiv are exactly the approximate instruction's formula in
// their lane ranges, and sHypot LA reports nothing where HA reports overflow.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>
#include <xmmintrin.h>

#include <random>
#include <vector>

#include "qor/qor_bex.h"

namespace {

// Random floats of every binade in [2^lo, 2^hi), either sign if asked.
std::vector<float> binades(int n, int lo, int hi, bool signs, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<float> v(n);
  for (float &x : v) {
    const float m = 1.0f + (float)(rng() >> 8) * 0x1p-24f;
    x = ldexpf(m, lo + (int)(rng() % (unsigned)(hi - lo)));
    if (signs && (rng() & 1)) x = -x;
  }
  return v;
}
float rsqrt1(float x) { return _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(x))); }
float rcp1(float x) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(x))); }
bool same_bits(float a, float b) { return memcmp(&a, &b, 4) == 0; }

TEST(RootEP, SqrtIsTheApproximateRootTimesX) {
  std::vector<float> a = binades(4096, -126, 127, false, 1), r(a.size());
  _bexsSqrt_11((int)a.size(), a.data(), r.data());
  for (size_t i = 0; i < a.size(); ++i) ASSERT_TRUE(same_bits(r[i], a[i] * rsqrt1(a[i]))) << a[i];
}

TEST(RootEP, InvIsTheApproximateReciprocal) {
  std::vector<float> a = binades(4096, -126, 126, true, 2), r(a.size());
  _bexsInv_11((int)a.size(), a.data(), r.data());
  for (size_t i = 0; i < a.size(); ++i) ASSERT_TRUE(same_bits(r[i], rcp1(a[i]))) << a[i];
}

TEST(RootEP, DivIsTheNumeratorTimesTheApproximateReciprocal) {
  std::vector<float> a = binades(4096, -40, 40, true, 3), b = binades(4096, -40, 40, true, 4), r(a.size());
  _bexsDiv_11((int)a.size(), a.data(), b.data(), r.data());
  for (size_t i = 0; i < a.size(); ++i) ASSERT_TRUE(same_bits(r[i], a[i] * rcp1(b[i]))) << a[i] << " " << b[i];
}

TEST(RootStatus, HypotOverflowIsReportedExceptByLA) {
  const float a[2] = {3e38f, 1.0f}, b[2] = {3e38f, 1.0f};
  float r[2];
  qor_bex_kernel_SetMode(BEX_ERRMODE_IGNORE);
  qor_bex_kernel_ClearErrStatus();
  _bexsHypot_21(2, a, b, r);
  EXPECT_TRUE(isinf(r[0]));
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 0);
  _bexsHypot(2, a, b, r);
  EXPECT_TRUE(isinf(r[0]));
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 3);
  qor_bex_kernel_ClearErrStatus();
}

}  // namespace
