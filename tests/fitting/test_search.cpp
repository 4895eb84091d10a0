// Cell search: every strategy and cell form agrees with the defining rule.
#include <algorithm>
#include "df_util.h"

namespace {

int64_t reference_cell(const std::vector<double>& x, double s) {
  const int64_t nx = x.size();
  if (s < x[0]) return 0;
  if (s > x[nx - 1]) return nx;
  if (s == x[nx - 1]) return nx - 1;
  return std::upper_bound(x.begin(), x.end(), s) - x.begin();
}

// Proposes cell 1 for everything and settles nothing.
int lazy_callback(int64_t* n, const double*, int64_t* cell, int* flag, void*) {
  for (int64_t i = 0; i < *n; ++i) { cell[i] = 1; flag[i] = 0; }
  return 0;
}
int failing_callback(int64_t*, const double*, int64_t*, int*, void*) { return -7; }

}  // namespace

TEST(FittingSearch, AllStrategiesAgree) {
  for (int nx : {2, 3, 40, 3000}) {
    std::vector<double> x = random_partition(nx, -1, 2, nx);
    std::vector<double> s;
    srand(17);
    for (int i = 0; i < 700; ++i) s.push_back(-1.5 + 4.0 * rand() / RAND_MAX);
    for (double v : x) s.push_back(v);
    s.push_back(-1); s.push_back(2); s.push_back(2); s.push_back(-1.0000001); s.push_back(2.0000001);
    std::vector<double> sorted_s = s;
    std::sort(sorted_s.begin(), sorted_s.end());
    const double peak = nx / 3;
    double table_scale;
    GuxDFTask* t = nullptr;
    std::vector<double> y(nx, 0.0);
    ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, nx, x.data(), 1, 1, y.data(), 0, 1), 0);
    table_scale = t->table_scale.d;
    const double qscale = (nx - 1) / (x[nx - 1] - x[0]);
    for (int form = 0; form < 3; ++form) {
      auto check = [&](const char* name, const std::vector<double>& sites, std::vector<int64_t> got) {
        for (size_t i = 0; i < sites.size(); ++i)
          ASSERT_EQ(got[i], reference_cell(x, sites[i])) << name << " form " << form << " nx " << nx << " s " << sites[i];
      };
      auto run = [&](auto entry, const std::vector<double>& sites, double scale, bool user) {
        std::vector<int64_t> c64(sites.size(), -5);
        std::vector<int32_t> c32(sites.size(), -5);
        int64_t pos = 0;
        void* out = form == 0 ? (void*)c32.data() : (void*)c64.data();
        int flags = form == 0 ? 0 : form == 1 ? 1 : 3;
        int st;
        if constexpr (std::is_invocable_v<decltype(entry), int, int64_t, const double*, int64_t, const double*,
                                          int64_t*, double, void*, void*, const int64_t*, void*, void*, void*>)
          st = entry(flags, nx, x.data(), (int64_t)sites.size(), sites.data(), &pos, scale, nullptr, nullptr,
                     t->table, out, user ? (void*)lazy_callback : nullptr, nullptr);
        else
          st = entry(flags, nx, x.data(), (int64_t)sites.size(), sites.data(), &pos, scale, nullptr, nullptr,
                     t->table, out);
        EXPECT_EQ(st, 0);
        if (form == 0) c64.assign(c32.begin(), c32.end());
        return c64;
      };
      check("hybrid", s, run(qor_df_kernel_dDFHybridSearch1D, s, table_scale, false));
      check("quasi", s, run(qor_df_kernel_dDFQuasiUniformSearch1D, s, qscale, false));
      check("peak", s, run(qor_df_kernel_dDFPeakSearch1D, s, peak, false));
      check("peak-end", s, run(qor_df_kernel_dDFPeakSearch1D, s, (double)nx, false));
      check("sorted", sorted_s, run(qor_df_kernel_dDFSortedSearch1D, sorted_s, 0, false));
      check("user", s, run(qor_df_kernel_dDFUserDefSearch1D, s, 0, true));
    }
    // The public entry over threads, narrow and wide cells.
    qor_core_set_num_threads(2);
    std::vector<int64_t> c(s.size());
    ASSERT_EQ(qor_df_kernel_dDFSearch1D(t, nullptr, s.size(), s.data(), 0, nullptr, c.data(), nullptr, nullptr,
                                        qor_core_threading()), 0);
    for (size_t i = 0; i < s.size(); ++i) ASSERT_EQ(c[i], reference_cell(x, s[i]));
    double dh[5] = {0, 0.5, 0, 0, 0};
    EXPECT_EQ(qor_df_kernel_dDFSearch1D(t, nullptr, s.size(), s.data(), 0, dh, c.data(), nullptr, nullptr, nullptr),
              GUX_DF_BAD_SITE_HINT);
    dh[1] = 1;
    dh[4] = nx + 1;
    EXPECT_EQ(qor_df_kernel_dDFSearch1D(t, nullptr, s.size(), s.data(), 0, dh, c.data(), nullptr, nullptr, nullptr),
              GUX_DF_BAD_SITE_HINT);
    EXPECT_EQ(qor_df_kernel_dDFSearch1D(t, nullptr, s.size(), s.data(), 0, nullptr, c.data(),
                                        (void*)failing_callback, nullptr, nullptr), -7);
    qor_df_kernel_DeleteTask(&t);
  }
}

TEST(FittingSearch, UniformPartitionAndSites) {
  const int nx = 101;
  double ends[2] = {0, 10}, y[101] = {0};
  std::vector<double> x(nx);
  for (int i = 0; i < nx; ++i) x[i] = 0.1 * i;
  x[nx - 1] = 10;
  GuxDFTask* t = nullptr;
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, nx, ends, GUX_DF_X_UNIFORM, 1, y, 0, 0), 0);
  std::vector<double> s = {-1, 0, 0.05, 0.1, 5.55, 9.99, 10, 10.5, NAN};
  std::vector<int32_t> c(s.size(), -5);
  ASSERT_EQ(qor_df_kernel_dDFSearch1D(t, nullptr, s.size(), s.data(), 0, nullptr, c.data(), nullptr, nullptr, nullptr), 0);
  std::vector<int32_t> want = {0, 1, 1, 2, 56, 100, 100, 101};
  for (size_t i = 0; i < want.size(); ++i) EXPECT_EQ(c[i], want[i]) << s[i];
  // 5000 uniform sites over [-1, 11]: the expansion goes to the heap.
  double se[2] = {-1, 11};
  std::vector<int32_t> cu(5000);
  ASSERT_EQ(qor_df_kernel_dDFSearch1D(t, nullptr, 5000, se, GUX_DF_SITES_UNIFORM, nullptr, cu.data(), nullptr,
                                      nullptr, qor_core_threading()), 0);
  for (int i = 0; i < 5000; ++i) {
    double v = -1 + i * (12.0 / 4999);
    int64_t r = reference_cell(x, v);
    ASSERT_LE(std::abs(cu[i] - r), (std::fabs(v - std::round(v * 10) / 10) < 1e-9) ? 1 : 0) << v;
  }
  EXPECT_EQ(cu[0], 0);
  EXPECT_EQ(cu[4999], 101);
  // Nothing to do: output untouched.
  c[0] = 42;
  EXPECT_EQ(qor_df_kernel_dDFSearch1D(t, nullptr, 0, s.data(), 0, nullptr, c.data(), nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(c[0], 42);
  qor_df_kernel_DeleteTask(&t);
}

TEST(FittingSearch, SortedContinuesAcrossCalls) {
  std::vector<double> x = random_partition(500, 0, 1, 2);
  std::vector<double> s;
  for (int i = 0; i < 200; ++i) s.push_back(i / 199.0);
  std::vector<int64_t> c(200);
  int64_t pos = 0;
  ASSERT_EQ(qor_df_kernel_dDFSortedSearch1D64(500, x.data(), 100, s.data(), &pos, 0, nullptr, nullptr, nullptr, c.data()), 0);
  EXPECT_EQ(pos, c[99]);
  ASSERT_EQ(qor_df_kernel_dDFSortedSearch1D64(500, x.data(), 100, s.data() + 100, &pos, 0, nullptr, nullptr, nullptr,
                                              c.data() + 100), 0);
  for (int i = 0; i < 200; ++i) EXPECT_EQ(c[i], reference_cell(x, s[i]));
}

TEST(FittingSearch, SinglePrecisionTwin) {
  std::vector<float> x = {0, 0.5f, 1.5f, 2, 4};
  float y[5] = {0};
  GuxDFTask* t = nullptr;
  ASSERT_EQ(qor_df_kernel_sNewTask1D(&t, 5, x.data(), 0, 1, y, 0, 1), 0);
  float s[6] = {-1, 0, 0.7f, 2, 4, 5};
  int64_t c[6];
  ASSERT_EQ(qor_df_kernel_sDFSearch1D(t, nullptr, 6, s, 0, nullptr, c, nullptr, nullptr, nullptr), 0);
  int64_t want[6] = {0, 1, 2, 4, 4, 5};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(c[i], want[i]);
  qor_df_kernel_DeleteTask(&t);
}

namespace {
// Settles everything with the right answer for a partition 0, 1, ..., 9.
int exact_callback(int64_t* n, const double* site, int64_t* cell, int* flag, void*) {
  for (int64_t i = 0; i < *n; ++i) {
    cell[i] = site[i] < 0 ? 0 : site[i] >= 9 ? (site[i] == 9 ? 9 : 10) : (int64_t)site[i] + 1;
    flag[i] = 1;
  }
  return GUX_DF_CALLBACK_ALL_SETTLED;
}
// Proposes wrong cells; the check must repair them.
int wrong_callback(int64_t* n, const double*, int64_t* cell, int* flag, void*) {
  for (int64_t i = 0; i < *n; ++i) { cell[i] = (i * 7) % 13 - 2; flag[i] = 0; }
  return 0;
}
}  // namespace

TEST(FittingSearch, CallbacksOnExplicitAndUniformPartitions) {
  std::vector<double> x(10), ends = {0, 9}, y(10, 0.0);
  for (int i = 0; i < 10; ++i) x[i] = i;
  std::vector<double> s;
  for (int i = 0; i < 300; ++i) s.push_back(-1.3 + 0.037 * i);
  s.push_back(9);
  s.push_back(0);
  for (int xhint : {1, 4}) {
    GuxDFTask* t = nullptr;
    ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, 10, xhint == 4 ? ends.data() : x.data(), xhint, 1, y.data(), 0, 1), 0);
    for (void* cb : {(void*)exact_callback, (void*)wrong_callback}) {
      std::vector<int64_t> c(s.size(), -9);
      ASSERT_EQ(qor_df_kernel_dDFSearch1D(t, nullptr, s.size(), s.data(), 0, nullptr, c.data(), cb, nullptr,
                                          qor_core_threading()), 0);
      for (size_t i = 0; i < s.size(); ++i) ASSERT_EQ(c[i], reference_cell(x, s[i])) << s[i] << " xhint " << xhint;
    }
    qor_df_kernel_DeleteTask(&t);
  }
  // Strategy entries in their own forms.
  std::vector<int32_t> c32(s.size());
  int64_t pos = 0;
  ASSERT_EQ(qor_df_kernel_dDFUniUserDefSearch1D32(10, ends.data(), s.size(), s.data(), &pos, 1.0, nullptr, nullptr,
                                                  nullptr, c32.data(), (void*)wrong_callback, nullptr), 0);
  for (size_t i = 0; i < s.size(); ++i) ASSERT_EQ(c32[i], reference_cell(x, s[i]));
  std::vector<int64_t> c64(s.size());
  ASSERT_EQ(qor_df_kernel_dDFUniformSearch1D64Pack(10, ends.data(), s.size(), s.data(), &pos, 1.0, nullptr, nullptr,
                                                   nullptr, c64.data()), 0);
  for (size_t i = 0; i < s.size(); ++i) ASSERT_EQ(c64[i], reference_cell(x, s[i]));
}

TEST(FittingSearch, StrategyChoiceThroughTheEntry) {
  std::vector<double> x = random_partition(300, 0, 1, 8), y(300, 0.0);
  std::vector<double> s;
  for (int i = 0; i < 100; ++i) s.push_back(i / 99.0);
  GuxDFTask* t = nullptr;
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, 300, x.data(), GUX_DF_X_QUASI_UNIFORM, 1, y.data(), 0, 1), 0);
  std::vector<int64_t> c(100);
  double bad[5] = {0, 0.5, 0, 0, 0};
  // Quasi-uniform is chosen before the data hint is read.
  ASSERT_EQ(qor_df_kernel_dDFSearch1D(t, nullptr, 100, s.data(), 0, bad, c.data(), nullptr, nullptr, nullptr), 0);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(c[i], reference_cell(x, s[i]));
  ASSERT_EQ(qor_df_kernel_iEditVal(t, GUX_DF_A_XHINT, GUX_DF_X_NON_UNIFORM), 0);
  ASSERT_EQ(qor_df_kernel_dDFSearch1D(t, nullptr, 100, s.data(), GUX_DF_SITES_SORTED, bad, c.data(), nullptr,
                                      nullptr, nullptr), 0);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(c[i], reference_cell(x, s[i]));
  double peak[5] = {0, 1, 0, 0, 150};
  ASSERT_EQ(qor_df_kernel_dDFSearch1D(t, nullptr, 100, s.data(), 0, peak, c.data(), nullptr, nullptr,
                                      qor_core_threading()), 0);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(c[i], reference_cell(x, s[i]));
  qor_df_kernel_DeleteTask(&t);
}
