// Task creation, the lookup table, editors and queries.
#include "df_util.h"

TEST(FittingTask, CreationChecksInOrder) {
  GuxDFTask* t = nullptr;
  double x[4] = {0, 1, 2, 3}, y[4] = {0, 1, 4, 9};
  EXPECT_EQ(qor_df_kernel_dNewTask1D(&t, 1, nullptr, 99, 1, nullptr, 7, 0), GUX_DF_BAD_NX);
  EXPECT_EQ(qor_df_kernel_dNewTask1D(&t, 4, nullptr, 99, 1, nullptr, 7, 0), GUX_DF_NO_X);
  EXPECT_EQ(qor_df_kernel_dNewTask1D(&t, 4, x, 3, 1, nullptr, 7, 0), GUX_DF_BAD_XHINT);
  EXPECT_EQ(qor_df_kernel_dNewTask1D(&t, 4, x, 1, 1, nullptr, 7, 0), GUX_DF_NO_Y);
  EXPECT_EQ(qor_df_kernel_dNewTask1D(&t, 4, x, 1, 0, y, 7, 0), GUX_DF_BAD_NY);
  EXPECT_EQ(qor_df_kernel_dNewTask1D(&t, 4, x, 1, 1, y, 7, 0), GUX_DF_BAD_YHINT);
  EXPECT_EQ(t, nullptr);
  // A task with no functions yet is fine and can be filled in later.
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, 4, x, 1, 0, nullptr, 0, 0), 0);
  EXPECT_EQ(t->kind, 4);
  EXPECT_EQ(t->precision, 1u);
  EXPECT_EQ(t->dimension, 1u);
  EXPECT_EQ(qor_df_kernel_dEditPtr(t, GUX_DF_A_Y, y), GUX_DF_BAD_NY);
  EXPECT_EQ(qor_df_kernel_iEditVal(t, GUX_DF_A_NY, 1), 0);
  EXPECT_EQ(qor_df_kernel_dEditPtr(t, GUX_DF_A_Y, y), 0);
  double* p = nullptr;
  EXPECT_EQ(qor_df_kernel_dQueryPtr(t, GUX_DF_A_Y, &p), 0);
  EXPECT_EQ(p, y);
  EXPECT_EQ(qor_df_kernel_DeleteTask(&t), 0);
  EXPECT_EQ(t, nullptr);
  EXPECT_EQ(qor_df_kernel_DeleteTask(&t), GUX_DF_NULL_TASK);
  EXPECT_EQ(qor_df_kernel_DeleteTask(nullptr), GUX_DF_NULL_TASK);
}

TEST(FittingTask, LookupTableFollowsTheRule) {
  GuxDFTask* t = nullptr;
  double x2[2] = {0, 1}, y2[2] = {0, 0};
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, 2, x2, 0, 1, y2, 0, 0), 0);
  ASSERT_EQ(t->table_size, 16);
  for (int k = 0; k <= 16; ++k) {
    EXPECT_EQ(t->table[2 * k], 0) << k;
    EXPECT_EQ(t->table[2 * k + 1], 1) << k;
  }
  qor_df_kernel_DeleteTask(&t);
  // Uniform partitions build no table.
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, 2, x2, GUX_DF_X_UNIFORM, 1, y2, 0, 0), 0);
  EXPECT_EQ(t->table, nullptr);
  qor_df_kernel_DeleteTask(&t);
  // Every site's answer lies in lo..hi of its table pair.
  std::vector<double> x = random_partition(5000, -3, 7, 5), y(5000, 0.0);
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, 5000, x.data(), 1, 1, y.data(), 0, 0), 0);
  EXPECT_EQ(t->table_size, 312);
  for (int i = 0; i < 20000; ++i) {
    double s = -3 + 10 * (i + 0.5) / 20000;
    int64_t k = (int64_t)((s - x[0]) * t->table_scale.d);
    int64_t lo = t->table[2 * k], hi = t->table[2 * k + 1];
    int64_t c = std::upper_bound(x.begin(), x.end(), s) - x.begin();
    ASSERT_TRUE(lo <= c - 1 && c <= hi) << s << " " << lo << " " << c << " " << hi;
  }
  qor_df_kernel_DeleteTask(&t);
}

TEST(FittingTask, EditorsStoreThenCheck) {
  GuxDFTask* t = nullptr;
  double x[5] = {0, 1, 2, 3, 4}, y[10] = {0}, bc[2] = {0, 0}, sc[40];
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, 5, x, 1, 2, y, 0, 1), 0);
  EXPECT_EQ(qor_df_kernel_dEditPPSpline1D(nullptr, 4, 0, 0, nullptr, 0, nullptr, nullptr, 0), GUX_DF_NULL_TASK);
  EXPECT_EQ(qor_df_kernel_dEditPPSpline1D(t, -1, -1, 12, nullptr, 1, nullptr, sc, 0), GUX_DF_BAD_S_ORDER);
  EXPECT_EQ(t->s_order, -1);
  EXPECT_EQ(t->s_type, -1);
  EXPECT_EQ(qor_df_kernel_dEditPPSpline1D(t, 4, -1, 12, nullptr, 1, nullptr, sc, 0), GUX_DF_BAD_S_TYPE);
  EXPECT_EQ(qor_df_kernel_dEditPPSpline1D(t, 4, 2, 12, nullptr, 1, nullptr, sc, 0), GUX_DF_NO_BC);
  EXPECT_EQ(t->bc_type, 12);
  EXPECT_EQ(qor_df_kernel_dEditPPSpline1D(t, 4, 2, 64, nullptr, 1, nullptr, sc, 0), GUX_DF_NO_IC);
  EXPECT_EQ(qor_df_kernel_dEditPPSpline1D(t, 4, 2, 12, bc, 0, bc, sc, 0), GUX_DF_BAD_IC_TYPE);
  EXPECT_EQ(qor_df_kernel_dEditPPSpline1D(t, 4, 2, 12, bc, 0, nullptr, sc, 0), 0);
  void* p = nullptr;
  EXPECT_EQ(qor_df_kernel_dQueryIdxPtr(t, GUX_DF_A_SCOEFF, 1, &p), 0);
  EXPECT_EQ(p, sc + 16);  // (nx-1)*4 per function
  EXPECT_EQ(qor_df_kernel_dQueryIdxPtr(t, GUX_DF_A_SCOEFF, 2, &p), 0);  // one past: lenient
  EXPECT_EQ(qor_df_kernel_dQueryIdxPtr(t, GUX_DF_A_SCOEFF, 3, &p), GUX_DF_BAD_INDEX);
  // The quadratic with knots has one more polynomial per row.
  EXPECT_EQ(qor_df_kernel_dEditPPSpline1D(t, 3, 1, 0, nullptr, 8, bc, sc, 0), 0);
  EXPECT_EQ(qor_df_kernel_dQueryIdxPtr(t, GUX_DF_A_SCOEFF, 1, &p), 0);
  EXPECT_EQ(p, sc + 15);
  EXPECT_EQ(qor_df_kernel_dEditIdxPtr(t, GUX_DF_A_Y, 2, y), GUX_DF_BAD_INDEX);
  EXPECT_EQ(qor_df_kernel_dEditIdxPtr(t, GUX_DF_A_Y, 1, nullptr), GUX_DF_NO_Y);
  EXPECT_EQ(qor_df_kernel_dEditIdxPtr(t, GUX_DF_A_SCOEFF, 1, nullptr), GUX_DF_NO_SCOEFF);
  EXPECT_EQ(qor_df_kernel_dEditIdxPtr(t, GUX_DF_A_X, 1, y), GUX_DF_BAD_ATTRIBUTE);
  EXPECT_EQ(qor_df_kernel_dEditIdxPtr(t, GUX_DF_A_Y, 1, y + 1), 0);
  EXPECT_EQ(qor_df_kernel_dQueryIdxPtr(t, GUX_DF_A_Y, 1, &p), 0);
  EXPECT_EQ(p, y + 1);
  EXPECT_EQ(qor_df_kernel_dEditPtr(t, 7, x), GUX_DF_BAD_ATTRIBUTE);
  const int ids[5] = {1, 2, 3, 4, 5}, nulls[5] = {-1005, -1008, -1013, -1015, -1016};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(qor_df_kernel_dEditPtr(t, ids[i], nullptr), nulls[i]);
  // Values: each id with its refusal.
  struct { int64_t id, bad, status; } vals[] = {{14, 1, -1004}, {15, 3, -1006}, {16, 0, -1007}, {17, 8, -1009},
      {18, -1, -1010}, {19, 6, -1011}, {20, 4, -1012}, {21, -1, -1014}, {22, 1, -1017}, {23, 2, -1036}, {24, 0, -1019}};
  for (auto& v : vals) EXPECT_EQ(qor_df_kernel_iEditVal(t, v.id, v.bad), v.status) << v.id;
  EXPECT_EQ(qor_df_kernel_iEditVal(t, GUX_DF_A_S_TYPE, 9), 0);
  EXPECT_EQ(qor_df_kernel_iEditVal(t, GUX_DF_A_IC_TYPE, 0x18), 0);
  int64_t v64 = 0;
  EXPECT_EQ(qor_df_kernel_iQueryVal(t, GUX_DF_A_S_TYPE, &v64), 0);
  EXPECT_EQ(v64, 9);
  EXPECT_EQ(qor_df_kernel_iQueryVal(t, GUX_DF_A_S_TYPE, nullptr), GUX_DF_NO_DESTINATION);
  EXPECT_EQ(qor_df_kernel_dQueryPtr(t, GUX_DF_A_X, nullptr), GUX_DF_NO_DESTINATION);
  qor_df_kernel_DeleteTask(&t);
  // 32-bit queries on a narrow task, and columns refuse indexed y.
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, 5, x, 1, 2, y, GUX_DF_Y_COLUMNS, 0), 0);
  int32_t v32[2] = {0, 77};
  EXPECT_EQ(qor_df_kernel_iQueryVal(t, GUX_DF_A_NX, v32), 0);
  EXPECT_EQ(v32[0], 5);
  EXPECT_EQ(v32[1], 77);
  EXPECT_EQ(qor_df_kernel_dEditIdxPtr(t, GUX_DF_A_Y, 0, y), GUX_DF_BAD_YHINT);
  // A task of another dimension is left alone.
  t->dimension = 2;
  EXPECT_EQ(qor_df_kernel_iEditVal(t, GUX_DF_A_NX, 1), 0);
  t->dimension = 1;
  qor_df_kernel_DeleteTask(&t);
}
