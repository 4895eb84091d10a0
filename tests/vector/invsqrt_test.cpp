// InvSqrt: statuses of the scalar routine and agreement of the tiers.
#include <gtest/gtest.h>
#include <math.h>

#include "qor/qor_bex.h"

namespace {

int last_code, last_index;
int record(BexErrorContext *c) {
  last_code = c->code;
  last_index = c->index;
  return 0;
}

TEST(InvSqrt, ZeroIsAPoleNegativeIsOutOfDomain) {
  qor_bex_kernel_SetInterfInputVectorPointer(nullptr);
  qor_bex_kernel_SetErrorCallBack(record);
  using S = void (*)(int, const float *, float *);
  using D = void (*)(int, const double *, double *);
  for (S f : {(S)_bexsInvSqrt_21, (S)_bexsInvSqrt, (S)_bexsInvSqrt_11}) {
    float a[5] = {4.0f, 0.0f, -1.0f, INFINITY, 1e-40f}, r[5];
    f(5, a, r);
    EXPECT_FLOAT_EQ(r[0], 0.5f);
    EXPECT_TRUE(isinf(r[1]) && r[1] > 0);
    EXPECT_TRUE(isnan(r[2]));
    EXPECT_EQ(r[3], 0.0f);
    EXPECT_EQ(r[4], (float)(1 / sqrt((double)a[4])));  // denormal input, exact path
    EXPECT_EQ(last_code, 1);
    EXPECT_EQ(last_index, 2);
  }
  for (D f : {(D)_bexdInvSqrt_50, (D)_bexdInvSqrt, (D)_bexdInvSqrt_26}) {
    double a[3] = {-0.0, 16.0, -5.0}, r[3];
    f(3, a, r);
    EXPECT_TRUE(isinf(r[0]) && r[0] > 0);
    EXPECT_EQ(r[1], 0.25);
    EXPECT_TRUE(isnan(r[2]));
    EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 1);
  }
  qor_bex_kernel_ClearErrorCallBack();
}

}  // namespace
