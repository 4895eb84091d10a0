// The exponential kernels' reports beyond the special-value rows
// (tests/vector/special/exp.def): a callback's write-back at a strided place,
// and the ERRMODE_NOERR shortcut near the thresholds.
#include <errno.h>
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <vector>

#include "vector_exp/exp_family.h"

namespace {

using namespace exptest;

struct Seen {
  int code, index;
  double a1, r1;
};
std::vector<Seen> seen;
double replace_with = NAN;  // a callback result to write back, when not NaN

int record(BexErrorContext *c) {
  seen.push_back({c->code, c->index, c->a1, c->r1});
  if (!isnan(replace_with)) c->r1 = replace_with;
  return 0;
}

class ExpStatus : public ::testing::Test {
 protected:
  void SetUp() override {
    qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
    qor_bex_kernel_SetErrorCallBack(record);
    qor_bex_kernel_SetInterfInputVectorPointer(nullptr);
    qor_bex_kernel_ClearErrStatus();
    seen.clear();
    replace_with = NAN;
    errno = 0;
  }
  void TearDown() override {
    qor_bex_kernel_ClearErrorCallBack();
    qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
  }
};

// Per function: an overflowing input, one with a denormal result and one
// whose result is 0 (Expm1: a large negative x, which gives -1 unreported).
template <class T> struct Case {
  T overflow, denormal, zero;
};
const Case<float> kFloatCases[] = {{88.8f, -88.0f, -104.0f}, {128.0f, -130.0f, -160.0f},
                                   {38.6f, -39.0f, -46.0f}, {88.8f, NAN, -100.0f}};
const Case<double> kDoubleCases[] = {{710.0, -709.5, -746.0}, {1024.0, -1030.0, -1100.0},
                                     {308.5, -310.0, -324.0}, {710.0, NAN, -800.0}};

// Strided: the callback's index is the element number, and a result it
// writes back lands at the element's strided place.
template <class T> void check_strided_writeback(const Func<T> &f, T overflow) {
  for (int s = 0; s < 3; ++s) {
    SCOPED_TRACE(std::string(f.name) + " tier " + std::to_string(s));
    seen.clear();
    replace_with = 42.0;
    const int n = 19;
    std::vector<T> a(3 * n, (T)0), r(2 * n, (T)-5);
    a[3 * 11] = overflow;
    f.strided[s](n, a.data(), 3, r.data(), 2);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].index, 11);
    EXPECT_EQ(r[2 * 11], (T)42);
    EXPECT_EQ(r[2 * 11 + 1], (T)-5);
    EXPECT_EQ(r[2 * 10], f.ref(0));
    EXPECT_EQ(errno, 34);  // a callback returning 0 leaves the other actions on
  }
}

TEST_F(ExpStatus, StridedFormReportsElementIndexAndCallbackResultIsWrittenBack) {
  for (int i = 0; i < 4; ++i) check_strided_writeback(kFloat[i], kFloatCases[i].overflow);
  for (int i = 0; i < 4; ++i) check_strided_writeback(kDouble[i], kDoubleCases[i].overflow);
}

// ERRMODE_NOERR: nothing is reported; the Exp families fix far lanes in
// vector form, and the lanes near the thresholds still get exact treatment.
TEST_F(ExpStatus, NoerrReportsNothingAndKeepsResultsRight) {
  qor_bex_kernel_SetMode(BEX_ERRMODE_NOERR);
  qor_bex_kernel_SetErrStatus(-7);
  for (int s = 0; s < 3; ++s) {
    double a[6] = {800.0, -800.0, 709.7, -709.5, 1.0, NAN}, r[6];
    kDouble[0].unit[s](6, a, r);
    EXPECT_EQ(r[0], INFINITY);
    EXPECT_EQ(r[1], 0.0);
    EXPECT_NEAR(r[2], exp(709.7), exp(709.7) * 1e-15);
    EXPECT_NEAR(r[3], exp(-709.5), exp(-709.5) * 1e-6);
    EXPECT_TRUE(isnan(r[5]));
    float fa[4] = {100.0f, -200.0f, 88.0f, -88.0f}, fr[4];
    kFloat[0].unit[s](4, fa, fr);
    EXPECT_EQ(fr[0], INFINITY);
    EXPECT_EQ(fr[1], 0.0f);
    EXPECT_NEAR(fr[2], expf(88.0f), expf(88.0f) * 1e-6);
    EXPECT_NEAR(fr[3], expf(-88.0f), expf(-88.0f) * 1e-5);
    for (int i = 1; i < 4; ++i) {  // the others have no shortcut: the scalar routine, unreported
      float b[2] = {kFloatCases[i].overflow, kFloatCases[i].zero}, q[2];
      kFloat[i].unit[s](2, b, q);
      EXPECT_EQ(q[0], INFINITY);
      double db[2] = {kDoubleCases[i].overflow, kDoubleCases[i].zero}, dq[2];
      kDouble[i].unit[s](2, db, dq);
      EXPECT_EQ(dq[0], INFINITY);
    }
  }
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), -7);
  EXPECT_EQ(errno, 0);
}

}  // namespace
