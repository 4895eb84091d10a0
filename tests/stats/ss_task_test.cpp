// The task record and its editors.
#include <qor/qor_stats.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

namespace {

TEST(Task, RecordLayout) {
  EXPECT_EQ(sizeof(GuxSSTask), 744u);
  EXPECT_EQ(offsetof(GuxSSTask, p), 16u);
  EXPECT_EQ(offsetof(GuxSSTask, mean), 88u);
  EXPECT_EQ(offsetof(GuxSSTask, kurtosis), 200u);
  EXPECT_EQ(offsetof(GuxSSTask, cov_storage), 240u);
  EXPECT_EQ(offsetof(GuxSSTask, mahalanobis), 640u);
  EXPECT_EQ(offsetof(GuxSSTask, kept_mean), 728u);
}

TEST(Task, ConstructorChecks) {
  GuxSSTask *t = nullptr;
  int p = 3, n = 10, zero = 0, vir = GUX_SS_VARIABLES_IN_ROWS, oir = GUX_SS_OBSERVATIONS_IN_ROWS, bad = 5;
  double x[30] = {};
  EXPECT_EQ(__guxdSSNewTask(&t, nullptr, &n, &vir, x, nullptr, nullptr, 0), GUX_SS_BAD_DIMENSION);
  EXPECT_EQ(__guxdSSNewTask(&t, &zero, &n, &vir, x, nullptr, nullptr, 0), GUX_SS_BAD_DIMENSION);
  EXPECT_EQ(__guxdSSNewTask(&t, &p, &n, nullptr, x, nullptr, nullptr, 0), GUX_SS_NO_STORAGE);
  EXPECT_EQ(__guxdSSNewTask(&t, &p, nullptr, &bad, x, nullptr, nullptr, 0), GUX_SS_BAD_STORAGE);
  EXPECT_EQ(__guxdSSNewTask(&t, &p, nullptr, &vir, x, nullptr, nullptr, 0), GUX_SS_BAD_OBSERVATIONS);
  EXPECT_EQ(__guxdSSNewTask(&t, &p, &zero, &oir, x, nullptr, nullptr, 0), GUX_SS_BAD_OBSERVATIONS);
  EXPECT_EQ(t, nullptr);
  // Without data nothing but p is checked.
  ASSERT_EQ(__guxsSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  EXPECT_EQ(t->kind, 2u);
  EXPECT_EQ(t->precision, 0u);
  EXPECT_EQ(t->p, &p);
  EXPECT_EQ(__guxSSDeleteTask(&t), 0);
  EXPECT_EQ(t, nullptr);
  EXPECT_EQ(__guxSSDeleteTask(nullptr), GUX_SS_NULL_TASK);
  // A wide task reads its integers as 64-bit.
  int64_t p64 = 3, n64 = 10, s64 = GUX_SS_VARIABLES_IN_ROWS;
  ASSERT_EQ(__guxdSSNewTask(&t, &p64, &n64, &s64, x, nullptr, nullptr, 1), 0);
  EXPECT_EQ(t->index_width, 1u);
  EXPECT_EQ(t->precision, 1u);
  std::vector<double> mean(3, 0);
  for (int i = 0; i < 10; ++i) x[10 + i] = i;
  __guxdSSEditTask(t, GUX_SS_P_MEAN, mean.data());
  ASSERT_EQ(_guxdSSBasic(t, GUX_SS_MEAN, GUX_SS_M_FAST, nullptr), 0);
  EXPECT_EQ(mean[1], 4.5);
  __guxSSDeleteTask(&t);
}

TEST(Task, EditorsRefuseTheOtherClassAndNull) {
  GuxSSTask *t = nullptr;
  int p = 2;
  ASSERT_EQ(__guxdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  GuxSSTask before;
  std::memcpy(&before, t, sizeof before);
  double v[4];
  int iv = 1;
  EXPECT_EQ(__guxdSSEditTask(t, GUX_SS_P_DIMENSION, v), GUX_SS_BAD_PARAMETER_ID);
  EXPECT_EQ(__guxdSSEditTask(t, GUX_SS_P_OBSERVATIONS, v), GUX_SS_BAD_PARAMETER_ID);
  EXPECT_EQ(__guxdSSEditTask(t, GUX_SS_P_X_STORAGE, &iv), GUX_SS_BAD_PARAMETER_ID);
  EXPECT_EQ(__guxdSSEditTask(t, 79, &iv), GUX_SS_BAD_PARAMETER_ID);
  EXPECT_EQ(__guxiSSEditTask(t, GUX_SS_P_X, v), GUX_SS_BAD_PARAMETER_ID);
  EXPECT_EQ(__guxiSSEditTask(t, 0, &iv), GUX_SS_BAD_PARAMETER_ID);
  EXPECT_EQ(__guxiSSEditTask(t, 80, &iv), GUX_SS_BAD_PARAMETER_ID);
  EXPECT_EQ(__guxsSSEditTask(t, -1, v), GUX_SS_BAD_PARAMETER_ID);
  EXPECT_EQ(__guxdSSEditTask(t, GUX_SS_P_SUM, nullptr), GUX_SS_NO_MEAN);
  EXPECT_EQ(__guxdSSEditTask(t, GUX_SS_P_ACCUM_WEIGHTS, nullptr), GUX_SS_NO_ACCUM_WEIGHTS);
  EXPECT_EQ(__guxdSSEditTask(t, GUX_SS_P_CROSS_PRODUCT, nullptr), GUX_SS_NO_CROSS_PRODUCT);
  EXPECT_EQ(__guxiSSEditTask(t, GUX_SS_P_COV_STORAGE, nullptr), GUX_SS_NO_STORAGE);
  EXPECT_EQ(__guxiSSEditTask(t, GUX_SS_P_INDICES, nullptr), GUX_SS_BAD_INDICES);
  EXPECT_EQ(__guxiSSEditTask(t, GUX_SS_P_QUANT_ORDER_COUNT, nullptr), GUX_SS_BAD_QUANT_ORDERS);
  EXPECT_EQ(__guxdSSEditTask(nullptr, GUX_SS_P_MEAN, v), GUX_SS_NULL_TASK);
  EXPECT_EQ(std::memcmp(&before, t, sizeof before), 0) << "refused edits leave the record";

  // Each class writes its own fields.
  EXPECT_EQ(__guxdSSEditTask(t, GUX_SS_P_SORTED, v), 0);
  EXPECT_EQ(t->sorted, v);
  EXPECT_EQ(__guxiSSEditTask(t, GUX_SS_P_SORTED_STORAGE, &iv), 0);
  EXPECT_EQ(t->sorted_storage, &iv);
  EXPECT_EQ(__guxsSSEditTask(t, GUX_SS_P_STREAM_QUANTILES, v), 0);
  EXPECT_EQ(t->stream_quantiles, v);
  EXPECT_EQ(__guxdSSEditTask(t, GUX_SS_P_CENTRAL_SUM4, v + 1), 0);
  EXPECT_EQ(t->central_sum[2], v + 1);
  EXPECT_EQ(__guxiSSEditTask(t, GUX_SS_P_PARTIAL_COR_STORAGE, &iv), 0);
  EXPECT_EQ(t->partial_cor_storage, &iv);
  __guxSSDeleteTask(&t);
}

TEST(Task, GroupedEditorsStoreOnlyWhatIsGiven) {
  GuxSSTask *t = nullptr;
  int p = 2;
  ASSERT_EQ(__guxdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  double a[2], b[2];
  EXPECT_EQ(__guxdSSEditMoments(t, a, nullptr, nullptr, nullptr, b, nullptr, nullptr), 0);
  EXPECT_EQ(t->mean, a);
  EXPECT_EQ(t->central[0], b);
  GuxSSTask before;
  std::memcpy(&before, t, sizeof before);
  EXPECT_EQ(__guxsSSEditMoments(t, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(__guxdSSEditMissingVals(t, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(std::memcmp(&before, t, sizeof before), 0);
  EXPECT_EQ(__guxdSSEditCP(nullptr, a, a, a, a), GUX_SS_NULL_TASK);
  EXPECT_EQ(__guxsSSEditPooledCovariance(t, a, nullptr, b, nullptr, nullptr, a), 0);
  EXPECT_EQ(t->group_indices, a);
  EXPECT_EQ(t->pooled_cov, b);
  EXPECT_EQ(t->group_covs, a);
  EXPECT_EQ(__guxdSSEditMtxParametrz(t, nullptr, nullptr, b, a), 0);
  EXPECT_EQ(t->param_cor, b);
  EXPECT_EQ(t->param_cor_storage, a);
  EXPECT_EQ((void *)&__guxsSSEditRCov, (void *)&__guxdSSEditRCov) << "one function, two names";
  __guxSSDeleteTask(&t);
}

int cleanups = 0;
void count_cleanup(GuxSSTask *) { ++cleanups; }

TEST(Task, DeleteRunsTheCleanupSlotAndFreesTheKeptMean) {
  GuxSSTask *t = nullptr;
  int p = 1, n = 4, s = GUX_SS_VARIABLES_IN_ROWS;
  double x[4] = {1, 2, 3, 4}, mean[1] = {2.5}, raw2[1], c2[1];
  ASSERT_EQ(__guxdSSNewTask(&t, &p, &n, &s, x, nullptr, nullptr, 0), 0);
  __guxdSSEditMoments(t, mean, nullptr, nullptr, nullptr, c2, nullptr, nullptr);
  // Central 2 of this method needs the raw 2 array too.
  EXPECT_EQ(_guxdSSBasic(t, GUX_SS_CENTRAL2, GUX_SS_M_USER_MEAN, nullptr), GUX_SS_NO_RAW2);
  __guxdSSEditTask(t, GUX_SS_P_RAW2, raw2);
  ASSERT_EQ(_guxdSSBasic(t, GUX_SS_CENTRAL2, GUX_SS_M_USER_MEAN, nullptr), 0);
  EXPECT_NEAR(c2[0], 5.0 / 3, 1e-15);
  ASSERT_NE(t->kept_mean, nullptr);
  t->cleanup = count_cleanup;
  t->cleanup_count = 1;
  EXPECT_EQ(__guxSSDeleteTask(&t), 0);
  EXPECT_EQ(cleanups, 1);
  EXPECT_EQ(t, nullptr);
}

}  // namespace
