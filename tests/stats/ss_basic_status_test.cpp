// The order in which the basic estimator and min/max refuse a call.
#include <qor/qor_stats.h>

#include <gtest/gtest.h>

#include "stats/ss_fixture.h"

using namespace qor_test;

namespace {

struct Bare : ::testing::Test {
  DataSet<double> d = make_data<double>(3, 40, false, false, 1.0, 1.0, 1);
  Session<double> s{d, false};
  int64_t run(uint64_t mask, uint64_t method) { return s.basic(mask, method); }
};

TEST_F(Bare, MethodWordIsCheckedFirst) {
  EXPECT_EQ(run(GUX_SS_MEAN, 0), GUX_SS_BAD_METHOD);
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_FAST | GUX_SS_M_ONE_PASS), GUX_SS_BAD_METHOD);
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_USER_MEAN | GUX_SS_M_FROM_SUMS | GUX_SS_M_ONE_PASS), GUX_SS_BAD_METHOD);
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_SORT), GUX_SS_BAD_METHOD);
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_FAST), GUX_SS_NO_MEAN) << "one method bit passes";
  EXPECT_EQ(_guxdSSBasic(nullptr, GUX_SS_MEAN, GUX_SS_M_FAST, nullptr), GUX_SS_NULL_TASK);
}

TEST_F(Bare, TheLowestMissingArrayDecides) {
  std::vector<double> c2(3), raw2(3), mean(3), sum(3);
  __guxdSSEditTask(s.task, GUX_SS_P_CENTRAL2, c2.data());
  // Central 2 under the fast method works in the raw 2 array and the mean.
  EXPECT_EQ(run(GUX_SS_CENTRAL2, GUX_SS_M_FAST), GUX_SS_NO_MEAN);
  __guxdSSEditTask(s.task, GUX_SS_P_MEAN, mean.data());
  EXPECT_EQ(run(GUX_SS_CENTRAL2, GUX_SS_M_FAST), GUX_SS_NO_RAW2);
  EXPECT_EQ(run(GUX_SS_CENTRAL2 | GUX_SS_KURTOSIS, GUX_SS_M_FAST), GUX_SS_NO_RAW2);
  __guxdSSEditTask(s.task, GUX_SS_P_RAW2, raw2.data());
  EXPECT_EQ(run(GUX_SS_CENTRAL2, GUX_SS_M_FAST), 0);
  EXPECT_EQ(run(GUX_SS_CENTRAL_SUM2, GUX_SS_M_ONE_PASS), GUX_SS_NO_CENTRAL_SUM2);
  EXPECT_EQ(run(GUX_SS_SUM, GUX_SS_M_FAST), GUX_SS_NO_SUM);
  EXPECT_EQ(run(GUX_SS_CROSS_PRODUCT | GUX_SS_COR, GUX_SS_M_ONE_PASS), GUX_SS_NO_COR);
  EXPECT_EQ(run(GUX_SS_CROSS_PRODUCT, GUX_SS_M_ONE_PASS), GUX_SS_NO_CROSS_PRODUCT);
  // Sums cannot come out of a conversion, even with their array present.
  __guxdSSEditTask(s.task, GUX_SS_P_SUM, sum.data());
  EXPECT_EQ(run(GUX_SS_SUM, GUX_SS_M_FROM_SUMS), GUX_SS_BAD_METHOD);
  EXPECT_EQ(run(GUX_SS_SUM, GUX_SS_M_FAST), 0);
  // A conversion of the mean works from the sum array.
  s.task->sum = nullptr;
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_FROM_SUMS), GUX_SS_NO_SUM);
}

TEST_F(Bare, CentralTwoWithoutRawTwoUnderFastNamesRawTwo) {
  std::vector<double> mean(3);
  __guxdSSEditTask(s.task, GUX_SS_P_MEAN, mean.data());
  EXPECT_EQ(run(GUX_SS_CENTRAL2, GUX_SS_M_FAST), GUX_SS_NO_RAW2) << "not -4010: the lowest bit decides";
}

TEST_F(Bare, DataChecksFollowTheArrays) {
  std::vector<double> mean(3, -1);
  __guxdSSEditTask(s.task, GUX_SS_P_MEAN, mean.data());
  int zero = 0, bad = 0x30;
  s.task->n = &zero;
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_ONE_PASS), GUX_SS_BAD_OBSERVATIONS);
  s.task->n = nullptr;
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_ONE_PASS), GUX_SS_BAD_OBSERVATIONS);
  s.task->n = &s.n;
  s.task->x = nullptr;
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_ONE_PASS), GUX_SS_NO_X);
  s.task->x = d.x.data();
  s.task->x_storage = nullptr;
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_ONE_PASS), GUX_SS_NO_STORAGE);
  s.task->x_storage = &bad;
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_ONE_PASS), GUX_SS_BAD_STORAGE);
  s.task->p = &zero;
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_ONE_PASS), GUX_SS_BAD_DIMENSION);
  EXPECT_EQ(mean[0], -1) << "nothing written by a refused call";
  // Conversions need W from somewhere: accumulated weights, or n without weights.
  s.task->p = &s.p;
  std::vector<double> sum(3, 6.0), w(40, 1.0);
  __guxdSSEditTask(s.task, GUX_SS_P_SUM, sum.data());
  s.task->n = nullptr;
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_FROM_SUMS), GUX_SS_NO_ACCUM_WEIGHTS);
  s.task->n = &s.n;
  __guxdSSEditTask(s.task, GUX_SS_P_WEIGHTS, w.data());
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_FROM_SUMS), GUX_SS_NO_ACCUM_WEIGHTS);
  s.task->weights = nullptr;
  EXPECT_EQ(run(GUX_SS_MEAN, GUX_SS_M_FROM_SUMS), 0);
  EXPECT_EQ(mean[0], 6.0 / 40);
}

TEST(Basic, TaskWithoutDataFailsOnlyWhenComputing) {
  GuxSSTask *task = nullptr;
  int p = 2;
  ASSERT_EQ(__guxdSSNewTask(&task, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  std::vector<double> mean(2);
  __guxdSSEditTask(task, GUX_SS_P_MEAN, mean.data());
  EXPECT_EQ(_guxdSSBasic(task, GUX_SS_MEAN, GUX_SS_M_FAST, nullptr), GUX_SS_BAD_OBSERVATIONS);
  __guxSSDeleteTask(&task);
}

TEST(Minmax, ChecksInOrder) {
  auto d = make_data<double>(2, 10, true, false, 0, 1, 1);
  Session<double> s(d, false);
  std::vector<double> mn(2), mx(2);
  EXPECT_EQ(_guxdSSMinmax(s.task, GUX_SS_MIN, GUX_SS_M_FAST, nullptr), GUX_SS_NO_MIN);
  __guxdSSEditTask(s.task, GUX_SS_P_MIN, mn.data());
  EXPECT_EQ(_guxdSSMinmax(s.task, GUX_SS_MIN | GUX_SS_MAX, GUX_SS_M_FAST, nullptr), GUX_SS_NO_MAX);
  EXPECT_EQ(_guxdSSMinmax(s.task, GUX_SS_MIN, GUX_SS_M_USER_MEAN, nullptr), GUX_SS_BAD_METHOD);
  int bad = 1;
  s.task->x_storage = &bad;
  EXPECT_EQ(_guxdSSMinmax(s.task, GUX_SS_MIN, GUX_SS_M_USER_MEAN, nullptr), GUX_SS_BAD_STORAGE);
  EXPECT_EQ(_guxdSSMinmax(nullptr, GUX_SS_MIN, GUX_SS_M_FAST, nullptr), GUX_SS_NULL_TASK);
}

}  // namespace
