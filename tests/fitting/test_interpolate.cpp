// Interpolation and integration: storages, extrapolation, callbacks,
// integration limits.
#include "df_util.h"

namespace {

// Builds a natural cubic (not-a-knot) of two functions on a partition.
struct TwoCubics : Spline {
  TwoCubics(int64_t xhint = 1) {
    x = xhint == 4 ? std::vector<double>{0, 3} : random_partition(20, 0, 3, 21);
    for (int f = 0; f < 2; ++f)
      for (int i = 0; i < 20; ++i) {
        double t = xhint == 4 ? 3.0 * i / 19 : x[i];
        y.push_back(f == 0 ? t * t * t - t : 2 - t * t);
      }
    EXPECT_EQ(build(4, GUX_DF_PP_NATURAL, GUX_DF_BC_NOT_A_KNOT, nullptr, xhint, 2), 0);
  }
  static double f(int k, double t, int d) {
    if (k == 0) return d == 0 ? t * t * t - t : d == 1 ? 3 * t * t - 1 : d == 2 ? 6 * t : 6;
    return d == 0 ? 2 - t * t : d == 1 ? -2 * t : d == 2 ? -2 : 0;
  }
};

int left_cb(int64_t* n, const int64_t* cell, const double* site, double* r, void* params,
            const GuxDFCallBackInfo* info) {
  for (int64_t i = 0; i < *n; ++i) {
    EXPECT_EQ(cell[i], 0);
    r[i] = *static_cast<double*>(params) + 100 * info->function + 10 * info->order + site[i] * 0;
  }
  return 0;
}
int stop_cb(int64_t*, const int64_t*, const double*, double*, void*, const GuxDFCallBackInfo*) { return -42; }

}  // namespace

TEST(FittingInterpolate, StoragesHoldTheSameNumbers) {
  TwoCubics sp;
  std::vector<double> s = {-0.5, 0, 0.3, 1.7, 3, 3.5};
  const int64_t ns = s.size(), ny = 2;
  int64_t dorder[4] = {1, 0, 1, 1};  // value, second and third derivative
  const int64_t nd = 3, ord[3] = {0, 2, 3};
  for (int64_t rhint : {0, 16, 32, 0x100, 0x200, 0x80}) {
    std::vector<double> r(ns * ny * nd, NAN);
    std::vector<double*> ptrs = {r.data(), r.data() + ns * nd};
    void* dest = rhint == 0x80 ? (void*)ptrs.data() : (void*)r.data();
    std::vector<int64_t> cells(ns);
    ASSERT_EQ(qor_df_kernel_dDFInterpolate1D(sp.task, GUX_DF_INTERP | GUX_DF_CELL, GUX_DF_METHOD_PP, ns, s.data(), 0,
                                             4, dorder, nullptr, (double*)dest, rhint, cells.data(), nullptr, nullptr,
                                             nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(cells[0], 0);
    EXPECT_EQ(cells[4], 19);
    EXPECT_EQ(cells[5], 20);
    for (int64_t i = 0; i < ns; ++i)
      for (int64_t f = 0; f < ny; ++f)
        for (int64_t k = 0; k < nd; ++k) {
          int64_t at;
          switch (rhint) {
            case 32: at = (f * ns + i) * nd + k; break;
            case 0x100: at = (i * nd + k) * ny + f; break;
            case 0x200: at = (f * nd + k) * ns + i; break;
            case 0x80: at = f * ns * nd + i * nd + k; break;
            default: at = (i * ny + f) * nd + k;
          }
          EXPECT_NEAR(r[at], TwoCubics::f(f, s[i], ord[k]), 1e-9) << rhint << " " << i << " " << f << " " << k;
        }
  }
  double r1;
  EXPECT_EQ(qor_df_kernel_dDFInterpolate1D(sp.task, 1, 1, 1, s.data(), 0, 0, nullptr, nullptr, &r1, 7, nullptr,
                                           nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                           nullptr), GUX_DF_BAD_RHINT);
}

TEST(FittingInterpolate, UniformPartitionUniformSitesAndThreads) {
  qor_core_set_num_threads(2);
  TwoCubics sp(GUX_DF_X_UNIFORM);
  const int64_t ns = 20000;
  double ends[2] = {-0.25, 3.25};
  std::vector<double> r(ns * 2);
  int64_t dorder[2] = {0, 1};
  ASSERT_EQ(qor_df_kernel_dDFInterpolate1D(sp.task, 1, 1, ns, ends, GUX_DF_SITES_UNIFORM, 2, dorder, nullptr, r.data(),
                                           GUX_DF_MATRIX_STORAGE_COLS, nullptr, nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr, nullptr, nullptr, qor_core_threading()), 0);
  double e = 0;
  for (int64_t i = 0; i < ns; ++i) {
    double t = -0.25 + 3.5 * i / (ns - 1);
    e = std::max(e, std::fabs(r[i] - TwoCubics::f(0, t, 1)));
    e = std::max(e, std::fabs(r[ns + i] - TwoCubics::f(1, t, 1)));
  }
  EXPECT_LT(e, 1e-11);
}

TEST(FittingInterpolate, ExtrapolationCallbacks) {
  TwoCubics sp;
  std::vector<double> s = {-1, -0.5, 1, 4};
  std::vector<double> r(8);
  double base = 7;
  ASSERT_EQ(qor_df_kernel_dDFInterpolate1D(sp.task, 1, 1, 4, s.data(), 0, 0, nullptr, nullptr, r.data(), 16, nullptr,
                                           (void*)left_cb, &base, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                           nullptr), 0);
  EXPECT_EQ(r[0], 7);
  EXPECT_EQ(r[1], 107);
  EXPECT_EQ(r[2], 7);
  EXPECT_NEAR(r[4], 0, 1e-12);
  EXPECT_NEAR(r[6], 60, 1e-9);  // right end: the last polynomial extended
  EXPECT_EQ(qor_df_kernel_dDFInterpolate1D(sp.task, 1, 1, 4, s.data(), 0, 0, nullptr, nullptr, r.data(), 16, nullptr,
                                           nullptr, nullptr, (void*)stop_cb, nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr), -42);
}

TEST(FittingInterpolate, StepAndLookupInterpolants) {
  double x[4] = {0, 1, 2, 3}, y[4] = {10, 20, 30, 40};
  GuxDFTask* t = nullptr;
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, 4, x, 1, 1, y, 0, 0), 0);
  double s[5] = {0.5, 1, 1.5, 3, 2};
  double r[5];
  auto eval = [&](int64_t type) {
    qor_df_kernel_dEditPPSpline1D(t, 0, type, 0, nullptr, 0, nullptr, nullptr, 0);
    return qor_df_kernel_dDFInterpolate1D(t, 1, 1, 5, s, 0, 0, nullptr, nullptr, r, 0, nullptr, nullptr, nullptr,
                                          nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  };
  ASSERT_EQ(eval(GUX_DF_CR_STEPWISE_CONST), 0);
  EXPECT_EQ(r[0], 10); EXPECT_EQ(r[1], 20); EXPECT_EQ(r[2], 20); EXPECT_EQ(r[3], 40);
  ASSERT_EQ(eval(GUX_DF_CL_STEPWISE_CONST), 0);
  EXPECT_EQ(r[0], 20); EXPECT_EQ(r[1], 20); EXPECT_EQ(r[2], 30); EXPECT_EQ(r[3], 40);
  ASSERT_EQ(eval(GUX_DF_LOOKUP_INTERPOLANT), 0);
  EXPECT_TRUE(std::isnan(r[0])); EXPECT_EQ(r[1], 20); EXPECT_EQ(r[3], 40); EXPECT_EQ(r[4], 30);
  EXPECT_EQ(eval(5), GUX_DF_BAD_S_TYPE);
  qor_df_kernel_DeleteTask(&t);
}

TEST(FittingIntegrate, LimitsSwappedEqualSortedAndOutside) {
  TwoCubics sp;
  auto F = [](int f, double t) { return f == 0 ? t * t * t * t / 4 - t * t / 2 : 2 * t - t * t * t / 3; };
  const int n = 300;
  std::vector<double> a(n), b(n), r(2 * n);
  srand(3);
  for (int i = 0; i < n; ++i) {
    a[i] = -0.5 + 4.0 * rand() / RAND_MAX;
    b[i] = -0.5 + 4.0 * rand() / RAND_MAX;
  }
  a[0] = b[0] = 1.3;
  ASSERT_EQ(qor_df_kernel_dDFIntegrate1D(sp.task, 1, n, a.data(), 0, b.data(), 0, nullptr, nullptr, r.data(), 0,
                                         nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                         nullptr), 0);
  EXPECT_EQ(r[0], 0);
  EXPECT_EQ(r[1], 0);
  for (int i = 0; i < n; ++i)
    for (int f = 0; f < 2; ++f) ASSERT_NEAR(r[2 * i + f], F(f, b[i]) - F(f, a[i]), 1e-10) << i;
  // Sorted limits reuse the running sums.
  std::sort(a.begin(), a.end());
  std::sort(b.begin(), b.end());
  ASSERT_EQ(qor_df_kernel_dDFIntegrate1D(sp.task, 1, n, a.data(), GUX_DF_SITES_SORTED, b.data(), GUX_DF_SITES_SORTED,
                                         nullptr, nullptr, r.data(), GUX_DF_MATRIX_STORAGE_COLS, nullptr, nullptr,
                                         nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  for (int i = 0; i < n; ++i)
    for (int f = 0; f < 2; ++f) ASSERT_NEAR(r[f * n + i], F(f, b[i]) - F(f, a[i]), 1e-10) << i;
  EXPECT_EQ(qor_df_kernel_dDFIntegrate1D(sp.task, 1, n, a.data(), 0, b.data(), 0, nullptr, nullptr, r.data(), 3,
                                         nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                         nullptr), GUX_DF_BAD_INTEGR_RHINT);
}

TEST(FittingInterpolate, SinglePrecision) {
  std::vector<float> x(30), y(30), c(29 * 4);
  for (int i = 0; i < 30; ++i) { x[i] = 0.1f * i; y[i] = x[i] * x[i]; }
  GuxDFTask* t = nullptr;
  ASSERT_EQ(qor_df_kernel_sNewTask1D(&t, 30, x.data(), 0, 1, y.data(), 0, 0), 0);
  ASSERT_EQ(qor_df_kernel_sEditPPSpline1D(t, 4, GUX_DF_PP_AKIMA, 2, nullptr, 0, nullptr, c.data(), 0), 0);
  ASSERT_EQ(qor_df_sConstruct1D(t, nullptr), 0);
  float s[3] = {0.55f, 1.23f, 2.9f}, r[3];
  ASSERT_EQ(qor_df_kernel_sDFInterpolate1D(t, 1, 1, 3, s, 0, 0, nullptr, nullptr, r, 0, nullptr, nullptr, nullptr,
                                           nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(r[i], s[i] * s[i], 2e-5);
  float a = 0, b = 2.9f, v;
  ASSERT_EQ(qor_df_kernel_sDFIntegrate1D(t, 1, 1, &a, 0, &b, 0, nullptr, nullptr, &v, 0, nullptr, nullptr, nullptr,
                                         nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_NEAR(v, 2.9 * 2.9 * 2.9 / 3, 1e-4);
  qor_df_kernel_DeleteTask(&t);
}

namespace {
// A user interpolant 3 s + function + 10 order, everywhere.
int user_values(int64_t* n, const int64_t*, const double* site, double* r, void*, const GuxDFCallBackInfo* info) {
  for (int64_t i = 0; i < *n; ++i) r[i] = 3 * site[i] + info->function + 10 * info->order;
  return 0;
}
// Integral of the constant 1 over [a, b], tagged by params.
int user_integral(int64_t* n, const double* a, const double* b, double* r, void* params, const GuxDFCallBackInfo*) {
  for (int64_t i = 0; i < *n; ++i) r[i] = (b[i] - a[i]) * *static_cast<double*>(params);
  return 0;
}
}  // namespace

TEST(FittingInterpolate, UserInterpolantAndIntegrationCallbacks) {
  double x[5] = {0, 1, 2, 3, 4}, y[5] = {0};
  GuxDFTask* t = nullptr;
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, 5, x, 1, 1, y, 0, 0), 0);
  ASSERT_EQ(qor_df_kernel_dEditPPSpline1D(t, 0, 0, 0, nullptr, 0, nullptr, nullptr, 0), 0);
  double s[4] = {-1, 0.5, 3.5, 6}, r[4];
  ASSERT_EQ(qor_df_kernel_dDFInterpolate1D(t, 1, 1, 4, s, 0, 0, nullptr, nullptr, r, 0, nullptr, (void*)user_values,
                                           nullptr, (void*)user_values, nullptr, (void*)user_values, nullptr, nullptr,
                                           nullptr, nullptr), 0);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(r[i], 3 * s[i]);
  // Without the three callbacks a user interpolant does not exist.
  EXPECT_EQ(qor_df_kernel_dDFInterpolate1D(t, 1, 1, 4, s, 0, 0, nullptr, nullptr, r, 0, nullptr, (void*)user_values,
                                           nullptr, nullptr, nullptr, (void*)user_values, nullptr, nullptr, nullptr,
                                           nullptr), GUX_DF_BAD_S_TYPE);
  double one = 1, two = 2, three = 3, a = -2, b = 7, v;
  ASSERT_EQ(qor_df_kernel_dDFIntegrate1D(t, 1, 1, &a, 0, &b, 0, nullptr, nullptr, &v, 0, (void*)user_integral, &one,
                                         (void*)user_integral, &two, (void*)user_integral, &three, nullptr, nullptr,
                                         nullptr), 0);
  EXPECT_DOUBLE_EQ(v, 2 * 1 + 4 * 3 + 3 * 2);
  ASSERT_EQ(qor_df_kernel_dDFIntegrate1D(t, 1, 1, &b, 0, &a, 0, nullptr, nullptr, &v, 0, (void*)user_integral, &one,
                                         (void*)user_integral, &two, (void*)user_integral, &three, nullptr, nullptr,
                                         nullptr), 0);
  EXPECT_DOUBLE_EQ(v, -20);
  qor_df_kernel_DeleteTask(&t);
}

TEST(FittingInterpolate, GivenCellsSkipTheSearch) {
  TwoCubics sp;
  std::vector<double> s = {0.1, 1.1, 2.2, 2.9};
  std::vector<int64_t> cells(4);
  std::vector<double> want(8), got(8);
  ASSERT_EQ(qor_df_kernel_dDFInterpolate1D(sp.task, GUX_DF_INTERP | GUX_DF_CELL, 1, 4, s.data(), 0, 0, nullptr, nullptr,
                                           want.data(), 0, cells.data(), nullptr, nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(qor_df_kernel_dDFInterpolate1D(sp.task, GUX_DF_INTERP | GUX_DF_CELLS_GIVEN, 1, 4, s.data(), 0, 0, nullptr,
                                           nullptr, got.data(), 0, cells.data(), nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(want, got);
  // A wrong given cell is used as it stands: the neighbouring polynomial.
  cells[0] = 2;
  ASSERT_EQ(qor_df_kernel_dDFInterpolate1D(sp.task, GUX_DF_INTERP | GUX_DF_CELLS_GIVEN, 1, 4, s.data(), 0, 0, nullptr,
                                           nullptr, got.data(), 0, cells.data(), nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_NEAR(got[0], want[0], 1e-9);  // the cubic is one polynomial everywhere
}

TEST(FittingIntegrate, FunctionsOverThreads) {
  TwoCubics sp;
  const int n = 3000;
  std::vector<double> a(n), b(n), r1(2 * n), r2(2 * n);
  for (int i = 0; i < n; ++i) {
    a[i] = 3.0 * ((i * 37) % n) / n;
    b[i] = 3.0 * ((i * 101) % n) / n - 0.2;
  }
  qor_core_set_num_threads(2);
  ASSERT_EQ(qor_df_kernel_dDFIntegrate1D(sp.task, 1, n, a.data(), 0, b.data(), 0, nullptr, nullptr, r1.data(), 0,
                                         nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                         qor_core_threading()), 0);
  ASSERT_EQ(qor_df_kernel_dDFIntegrate1D(sp.task, 1, n, a.data(), 0, b.data(), 0, nullptr, nullptr, r2.data(), 0,
                                         nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                         nullptr), 0);
  EXPECT_EQ(r1, r2);
  auto F = [](double t) { return t * t * t * t / 4 - t * t / 2; };
  for (int i = 0; i < n; i += 17) EXPECT_NEAR(r1[2 * i], F(b[i]) - F(a[i]), 1e-10);
}
