// The exponential kernels where the generic harnesses do not reach: results
// at the lanes' bounds, and denormal results under the flush-to-zero mode.
// (Special values and statuses: tests/vector/special/exp.def; accuracy: the
// MPFR harness; position and layout independence: the safety sweep.)
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <vector>

#include "vector_exp/exp_family.h"

namespace {

using namespace exptest;

// The largest magnitudes the lanes serve (the lane bounds' bit patterns):
// the exponent added as an integer must still give a normal result there.
TEST(ExpValues, LaneBoundsStayInTheNormalRange) {
  qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
  auto d = [](uint64_t b) { return __builtin_bit_cast(double, b); };
  auto f = [](uint32_t b) { return __builtin_bit_cast(float, b); };
  const double dx[4][2] = {{d(0x4086232affffffffull), 0}, {d(0x408fefffffffffffull), 0},
                           {d(0x40733a70ffffffffull), 0}, {d(0x40861da04cbafe43ull), 0}};
  const float fx[4] = {f(0x42aeac4f), f(0x42fc0000), f(0x4217b818), f(0x42ad496b)};
  for (int i = 0; i < 4; ++i) {
    for (int s = 0; s < 3; ++s) {
      SCOPED_TRACE(std::string(kDouble[i].name) + " tier " + std::to_string(s));
      const double dtol = s == 2 ? 0x1p-26 : 0x1p-50, ftol = s == 2 ? 0x1p-11 : 0x1p-21;
      for (double x : {dx[i][0], -dx[i][0]}) {
        double r;
        kDouble[i].unit[s](1, &x, &r);
        EXPECT_NEAR(r, kDouble[i].ref(x), fabs(kDouble[i].ref(x)) * dtol) << x;
      }
      for (float x : {fx[i], -fx[i]}) {
        float r;
        kFloat[i].unit[s](1, &x, &r);
        EXPECT_NEAR(r, kFloat[i].ref(x), fabsf(kFloat[i].ref(x)) * ftol) << x;
      }
    }
  }
}

// With flush-to-zero asked for, denormal results of the scalar routines are
// flushed as the lanes' would be, and still reported as underflow.
TEST(ExpValues, FlushToZeroModeFlushesDenormalResults) {
  qor_bex_kernel_SetMode(BEX_ERRMODE_IGNORE | BEX_FTZDAZ_ON);
  for (int s = 0; s < 3; ++s) {
    qor_bex_kernel_ClearErrStatus();
    double d = -709.5, rd;
    kDouble[0].unit[s](1, &d, &rd);
    EXPECT_EQ(rd, 0.0);
    EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 4);
    qor_bex_kernel_ClearErrStatus();
    float f = -130.0f, rf;
    kFloat[1].unit[s](1, &f, &rf);
    EXPECT_EQ(rf, 0.0f);
    EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 4);
  }
  qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT | BEX_FTZDAZ_OFF);
  double d = -709.5, rd;
  kDouble[0].unit[1](1, &d, &rd);
  EXPECT_GT(rd, 0.0);
}

}  // namespace
