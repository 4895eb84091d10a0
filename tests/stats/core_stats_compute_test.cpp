// The core's compute dispatcher hands the mask to the estimators that own it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <vector>

#include "core/qor_core_stats.h"

namespace {

TEST(CoreCompute, CallsEveryEstimatorOfTheMask) {
  int p = 2, n = 4, s = GUX_SS_OBSERVATIONS_IN_ROWS;
  const float x[8] = {1, 10, 2, 20, 3, 30, 4, 40};
  std::vector<float> mean(2), mn(2, 1e9f), mx(2, -1e9f);
  GuxSSTask *t = nullptr;
  ASSERT_EQ(__guxsSSNewTask(&t, &p, &n, &s, x, nullptr, nullptr, 0), 0);
  __guxsSSEditTask(t, GUX_SS_P_MEAN, mean.data());
  __guxsSSEditTask(t, GUX_SS_P_MIN, mn.data());
  __guxsSSEditTask(t, GUX_SS_P_MAX, mx.data());
  EXPECT_EQ(qor_ss_compute(t, GUX_SS_MEAN | GUX_SS_MIN | GUX_SS_MAX, GUX_SS_M_ONE_PASS), 0);
  EXPECT_EQ(mean[1], 25.0f);
  EXPECT_EQ(mn[0], 1.0f);
  EXPECT_EQ(mx[1], 40.0f);
  // The first failing estimator's status comes back.
  EXPECT_EQ(qor_ss_compute(t, GUX_SS_RAW2, GUX_SS_M_ONE_PASS), GUX_SS_NO_RAW2);
  EXPECT_EQ(qor_ss_compute(nullptr, GUX_SS_MEAN, GUX_SS_M_FAST), GUX_SS_NULL_TASK);
  __guxSSDeleteTask(&t);
}

}  // namespace

namespace {

TEST(CoreCompute, AnEstimatorNotBuiltIsABadMethod) {
  int p = 1, n = 2, s = GUX_SS_VARIABLES_IN_ROWS;
  const double x[2] = {1, 2};
  GuxSSTask *t = nullptr;
  ASSERT_EQ(__guxdSSNewTask(&t, &p, &n, &s, x, nullptr, nullptr, 0), 0);
  const bool built = dlsym(RTLD_DEFAULT, "_guxdSSQuantiles") != nullptr;
  if (!built) {
    EXPECT_EQ(qor_ss_compute(t, GUX_SS_QUANTS, GUX_SS_M_FAST), GUX_SS_BAD_METHOD);
  }
  EXPECT_EQ(qor_ss_compute(t, 0, GUX_SS_M_FAST), 0) << "an empty mask calls nothing";
  __guxSSDeleteTask(&t);
}

}  // namespace
