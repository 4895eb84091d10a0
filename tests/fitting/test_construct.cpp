// Spline construction: reproduction of polynomials, end conditions, the
// local derivative rules, and the natural cubic against GSL.
#include <gsl/gsl_errno.h>
#include <gsl/gsl_interp.h>
#include "df_util.h"

namespace {

double cubic(double t) { return 1.5 - 2 * t + 0.75 * t * t - 0.3 * t * t * t; }
double cubic_d1(double t) { return -2 + 1.5 * t - 0.9 * t * t; }
double cubic_d2(double t) { return 1.5 - 1.8 * t; }

std::vector<double> sites_in(double a, double b, int n) {
  std::vector<double> s(n);
  for (int i = 0; i < n; ++i) s[i] = a + (b - a) * i / (n - 1);
  return s;
}

double max_err(const std::vector<double>& got, const std::vector<double>& s, double (*f)(double)) {
  double e = 0;
  for (size_t i = 0; i < s.size(); ++i) e = std::max(e, std::fabs(got[i] - f(s[i])));
  return e;
}

}  // namespace

TEST(FittingConstruct, LinearReproducesLinesAndTwoPoints) {
  Spline sp;
  sp.x = random_partition(40, -2, 3, 1);
  for (double t : sp.x) sp.y.push_back(4 - 1.25 * t);
  ASSERT_EQ(sp.build(GUX_DF_PP_LINEAR, 0, 0, nullptr), 0);
  auto s = sites_in(-3, 4, 301);
  auto r = sp.eval(s);
  for (size_t i = 0; i < s.size(); ++i) EXPECT_NEAR(r[i], 4 - 1.25 * s[i], 1e-13);
  Spline two;
  two.x = {1, 3};
  two.y = {2, 7};
  ASSERT_EQ(two.build(GUX_DF_PP_LINEAR, 0, 0, nullptr), 0);
  EXPECT_DOUBLE_EQ(two.coef[0], 2);
  EXPECT_DOUBLE_EQ(two.coef[1], 2.5);
}

// Not-a-knot and exact end derivatives reproduce cubics, on explicit and
// uniform partitions; d2 ends likewise.
TEST(FittingConstruct, CubicReproducesCubics) {
  const double d1[2] = {cubic_d1(-1), cubic_d1(2)}, d2[2] = {cubic_d2(-1), cubic_d2(2)};
  const double d12[2] = {cubic_d1(-1), cubic_d2(2)}, d21[2] = {cubic_d2(-1), cubic_d1(2)};
  struct Case { int64_t bc; const double* v; } cases[] = {
      {GUX_DF_BC_NOT_A_KNOT, nullptr}, {12, d1}, {48, d2}, {36, d12}, {24, d21}};
  auto s = sites_in(-1.5, 2.5, 401);
  for (int64_t xhint : {1, 4}) {
    for (int64_t type : {GUX_DF_PP_NATURAL, GUX_DF_PP_DEFAULT}) {
      for (auto& c : cases) {
        Spline sp;
        sp.x = xhint == 4 ? std::vector<double>{-1, 2} : random_partition(30, -1, 2, 3);
        const int n = 30;
        for (int i = 0; i < n; ++i) sp.y.push_back(cubic(xhint == 4 ? -1 + 3.0 * i / (n - 1) : sp.x[i]));
        ASSERT_EQ(sp.build(4, type, c.bc, c.v, xhint), 0) << c.bc;
        auto r = sp.eval(s, {1, 1, 1, 1});
        double e[4] = {0, 0, 0, 0};
        for (size_t i = 0; i < s.size(); ++i) {
          e[0] = std::max(e[0], std::fabs(r[4 * i] - cubic(s[i])));
          e[1] = std::max(e[1], std::fabs(r[4 * i + 1] - cubic_d1(s[i])));
          e[2] = std::max(e[2], std::fabs(r[4 * i + 2] - cubic_d2(s[i])));
          e[3] = std::max(e[3], std::fabs(r[4 * i + 3] + 1.8));
        }
        EXPECT_LT(e[0], 1e-12) << "bc " << c.bc << " xhint " << xhint;
        EXPECT_LT(e[1], 1e-11) << "bc " << c.bc << " xhint " << xhint;
        EXPECT_LT(e[2], 1e-10) << "bc " << c.bc << " xhint " << xhint;
        EXPECT_LT(e[3], 1e-8) << "bc " << c.bc << " xhint " << xhint;
        EXPECT_NEAR(sp.integrate(-0.7, 1.9), 1.5 * 2.6 - (1.9 * 1.9 - 0.49) + 0.25 * (6.859 + 0.343) -
                                                  0.075 * (13.0321 - 0.2401), 1e-12);
      }
    }
  }
}

TEST(FittingConstruct, EndConditionsAreMet) {
  Spline sp;
  sp.x = random_partition(25, 0, 5, 9);
  for (double t : sp.x) sp.y.push_back(std::sin(t));
  ASSERT_EQ(sp.build(4, GUX_DF_PP_NATURAL, GUX_DF_BC_FREE_END, nullptr), 0);
  auto r = sp.eval({0, 5}, {0, 0, 1});
  EXPECT_NEAR(r[0], 0, 1e-12);
  EXPECT_NEAR(r[1], 0, 1e-12);
  Spline q;
  q.x = sp.x;
  q.y = sp.y;
  const double bc[2] = {0.5, -2};
  ASSERT_EQ(q.build(4, GUX_DF_PP_NATURAL, 36, bc), 0);
  auto a = q.eval({0}, {0, 1}), b = q.eval({5}, {0, 0, 1});
  EXPECT_NEAR(a[0], 0.5, 1e-12);
  EXPECT_NEAR(b[0], -2, 1e-12);
}

TEST(FittingConstruct, PeriodicIsSmoothAcrossTheEnds) {
  for (int64_t type : {GUX_DF_PP_NATURAL, GUX_DF_PP_AKIMA, GUX_DF_PP_BESSEL}) {
    Spline sp;
    sp.x = random_partition(33, 0, 2 * M_PI, 4);
    for (double t : sp.x) sp.y.push_back(std::cos(t) + 0.3 * std::sin(2 * t));
    sp.y.back() = sp.y.front();
    const double unused[2] = {0, 0};
    ASSERT_EQ(sp.build(4, type, GUX_DF_BC_PERIODIC, type == GUX_DF_PP_NATURAL ? nullptr : unused), 0);
    auto l = sp.eval({0}, {1, 1, 1}), r = sp.eval({2 * M_PI}, {1, 1, 1});
    EXPECT_NEAR(l[0], r[0], 1e-12);
    EXPECT_NEAR(l[1], r[1], 1e-11) << type;
    if (type == GUX_DF_PP_NATURAL) {
      EXPECT_NEAR(l[2], r[2], 1e-9);
    }
    EXPECT_NEAR(l[1], 0.6, 0.05);
  }
}

TEST(FittingConstruct, AkimaHymanBesselRules) {
  std::vector<double> x = random_partition(12, 0, 11, 7), y;
  for (double t : x) y.push_back(t < 5 ? 1.0 : (t < 8 ? 1 + (t - 5) * (t - 5) : 10 + 0.1 * t));
  const int n = 12;
  std::vector<double> S(n - 1);
  for (int i = 0; i < n - 1; ++i) S[i] = (y[i + 1] - y[i]) / (x[i + 1] - x[i]);
  {
    Spline sp;
    sp.x = x;
    sp.y = y;
    ASSERT_EQ(sp.build(4, GUX_DF_PP_AKIMA, 0, nullptr), 0);
    for (int i = 2; i < n - 2; ++i) {
      double w1 = std::fabs(S[i + 1] - S[i]), w2 = std::fabs(S[i - 1] - S[i - 2]);
      double m = w1 + w2 < 1e-10 ? 0.5 * (S[i - 1] + S[i]) : (w1 * S[i - 1] + w2 * S[i]) / (w1 + w2);
      EXPECT_NEAR(sp.coef[4 * i + 1], m, 1e-13) << i;
    }
    EXPECT_NEAR(sp.coef[1], (3 * S[0] - S[1]) / 2, 1e-13);  // no end condition given
    EXPECT_EQ(sp.coef[4 * 1 + 1], 0.0);                      // flat data: tolerance branch
  }
  {
    Spline sp;
    sp.x = x;
    sp.y = y;
    ASSERT_EQ(sp.build(4, GUX_DF_PP_BESSEL, 1, nullptr), 0);
    for (int i = 1; i < n - 1; ++i) {
      double hp = x[i] - x[i - 1], hc = x[i + 1] - x[i];
      EXPECT_NEAR(sp.coef[4 * i + 1], (hc * S[i - 1] + hp * S[i]) / (hp + hc), 1e-12);
    }
  }
  {
    // Hyman keeps monotone data monotone on a fine grid.
    Spline sp;
    sp.x = x;
    for (int i = 0; i < n; ++i) sp.y.push_back(std::tanh(3 * (x[i] - 5)) + (i == 6 ? 0.0 : 0.0));
    ASSERT_EQ(sp.build(4, GUX_DF_PP_HYMAN, GUX_DF_BC_FREE_END, nullptr), 0);
    auto s = sites_in(0, 11, 5001);
    auto r = sp.eval(s);
    for (size_t i = 1; i < s.size(); ++i) ASSERT_GE(r[i], r[i - 1] - 1e-14) << s[i];
    Spline b;  // Bessel alone overshoots the same data
    b.x = x;
    b.y = sp.y;
    ASSERT_EQ(b.build(4, GUX_DF_PP_BESSEL, GUX_DF_BC_FREE_END, nullptr), 0);
    auto rb = b.eval(s);
    bool mono = true;
    for (size_t i = 1; i < s.size(); ++i) mono &= rb[i] >= rb[i - 1] - 1e-14;
    EXPECT_FALSE(mono);
  }
}

TEST(FittingConstruct, HermiteTakesGivenDerivatives) {
  Spline sp;
  sp.x = random_partition(9, -1, 2, 2);
  std::vector<double> d;
  for (double t : sp.x) { sp.y.push_back(cubic(t)); d.push_back(cubic_d1(t)); }
  ASSERT_EQ(sp.build(4, GUX_DF_PP_HERMITE, 0, nullptr, 1, 1, GUX_DF_IC_1ST_DER, d.data()), 0);
  auto s = sites_in(-1, 2, 97);
  auto r = sp.eval(s);
  EXPECT_LT(max_err(r, s, cubic), 1e-13);
}

TEST(FittingConstruct, QuadraticReproducesParabolas) {
  Spline sp;
  sp.x = random_partition(17, 0, 3, 8);
  for (double t : sp.x) sp.y.push_back(2 - t + 0.5 * t * t);
  ASSERT_EQ(sp.build(3, 0, GUX_DF_BC_NOT_A_KNOT, nullptr), 0);
  auto s = sites_in(0, 3, 101);
  auto r = sp.eval(s, {1, 1, 1});
  for (size_t i = 0; i < s.size(); ++i) {
    EXPECT_NEAR(r[3 * i], 2 - s[i] + 0.5 * s[i] * s[i], 1e-11);
    EXPECT_NEAR(r[3 * i + 1], -1 + s[i], 1e-10);
    EXPECT_NEAR(r[3 * i + 2], 1, 1e-8);
  }
  Spline q;
  q.x = sp.x;
  q.y = sp.y;
  const double bc[2] = {-1, 0};
  ASSERT_EQ(q.build(3, 0, 12, bc), 0);
  EXPECT_NEAR(q.eval({2.5})[0], 2 - 2.5 + 3.125, 1e-11);
}

TEST(FittingConstruct, NaturalMatchesGsl) {
  const int n = 200;
  std::vector<double> x = random_partition(n, -5, 5, 11), y;
  for (double t : x) y.push_back(std::exp(-t * t) + 0.1 * t);
  Spline sp;
  sp.x = x;
  sp.y = y;
  const double bc[2] = {0, 0};
  ASSERT_EQ(sp.build(4, GUX_DF_PP_NATURAL, 48, bc), 0);
  gsl_interp* g = gsl_interp_alloc(gsl_interp_cspline, n);
  gsl_interp_init(g, x.data(), y.data(), n);
  gsl_interp_accel* acc = gsl_interp_accel_alloc();
  double emax = 0;
  for (int i = 0; i + 1 < n; ++i) {
    double t = 0.37 * x[i] + 0.63 * x[i + 1];
    double b, c, d;
    gsl_interp_eval_deriv_e(g, x.data(), y.data(), x[i], acc, &b);
    gsl_interp_eval_deriv2_e(g, x.data(), y.data(), x[i], acc, &c);
    gsl_interp_eval_deriv2_e(g, x.data(), y.data(), t, acc, &d);
    emax = std::max(emax, std::fabs(sp.coef[4 * i + 1] - b));
    emax = std::max(emax, std::fabs(2 * sp.coef[4 * i + 2] - c));
    emax = std::max(emax, std::fabs(2 * sp.coef[4 * i + 2] + 6 * sp.coef[4 * i + 3] * (t - x[i]) - d));
  }
  EXPECT_LT(emax, 1e-10);
  gsl_interp_accel_free(acc);
  gsl_interp_free(g);
}

TEST(FittingConstruct, ManyFunctionsOverThreadsAndStorages) {
  qor_core_set_num_threads(2);
  const int nx = 50, ny = 7;
  std::vector<double> x = random_partition(nx, 0, 1, 3), rows(nx * ny), cols(nx * ny);
  for (int f = 0; f < ny; ++f)
    for (int i = 0; i < nx; ++i) rows[f * nx + i] = cols[i * ny + f] = std::cos((f + 1) * x[i]);
  std::vector<double> c1(ny * (nx - 1) * 4), c2(ny * (nx - 1) * 4);
  GuxDFTask *a = nullptr, *b = nullptr;
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&a, nx, x.data(), 1, ny, rows.data(), GUX_DF_Y_ROWS, 0), 0);
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&b, nx, x.data(), 1, ny, cols.data(), GUX_DF_Y_COLUMNS, 0), 0);
  for (int64_t type : {GUX_DF_PP_NATURAL, GUX_DF_PP_AKIMA}) {
    ASSERT_EQ(qor_df_kernel_dEditPPSpline1D(a, 4, type, 2, nullptr, 0, nullptr, c1.data(), 0), 0);
    ASSERT_EQ(qor_df_kernel_dEditPPSpline1D(b, 4, type, 2, nullptr, 0, nullptr, c2.data(), 0), 0);
    ASSERT_EQ(qor_df_dConstruct1D(a, nullptr), 0);
    ASSERT_EQ(qor_df_dConstruct1D(b, nullptr), 0);
    EXPECT_EQ(c1, c2);
  }
  qor_df_kernel_DeleteTask(&a);
  qor_df_kernel_DeleteTask(&b);
}

TEST(FittingConstruct, StatusChecks) {
  double x[5] = {0, 1, 2, 3, 4}, y[5] = {1, 2, 1, 2, 1}, c[20];
  GuxDFTask* t = nullptr;
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, 4, x, 1, 1, y, 0, 0), 0);
  qor_df_kernel_dEditPPSpline1D(t, 4, GUX_DF_PP_AKIMA, 0, nullptr, 0, nullptr, c, 0);
  EXPECT_EQ(qor_df_kernel_dDFAkimaCubicSpline1D(t, nullptr, nullptr, nullptr), GUX_DF_BAD_NX);
  EXPECT_EQ(qor_df_kernel_dDFHymanCubicSpline1D(t, nullptr, nullptr, nullptr), GUX_DF_BAD_NX);
  EXPECT_EQ(qor_df_kernel_dDFLinearSpline1D(t, nullptr, c, nullptr), GUX_DF_BAD_METHOD);
  EXPECT_EQ(qor_df_kernel_dDFNaturalCubicSpline1D(nullptr, nullptr, nullptr, nullptr), GUX_DF_NULL_TASK);
  qor_df_kernel_iEditVal(t, GUX_DF_A_NX, 5);
  t->bc_type = 12;
  t->bc = nullptr;
  EXPECT_EQ(qor_df_kernel_dDFNaturalCubicSpline1D(t, nullptr, nullptr, nullptr), GUX_DF_NO_BC);
  EXPECT_EQ(qor_df_kernel_dDFAkimaCubicSpline1D(t, nullptr, nullptr, nullptr), GUX_DF_NO_BC);
  EXPECT_EQ(qor_df_kernel_dDFBesselCubicSpline1D(t, nullptr, nullptr, nullptr), GUX_DF_NO_BC);
  t->bc_type = 13;
  EXPECT_EQ(qor_df_kernel_dDFNaturalCubicSpline1D(t, nullptr, nullptr, nullptr), GUX_DF_BAD_BC_TYPE);
  t->bc_type = 0;
  EXPECT_EQ(qor_df_kernel_dDFNaturalCubicSpline1D(t, nullptr, nullptr, nullptr), GUX_DF_BAD_BC_TYPE);
  t->yhint = 5;
  EXPECT_EQ(qor_df_kernel_dDFAkimaCubicSpline1D(t, nullptr, nullptr, nullptr), GUX_DF_BAD_YHINT);
  t->yhint = 0;
  t->s_type = 2;
  EXPECT_EQ(qor_df_kernel_dDFQuadraticSpline1D(t, nullptr, nullptr, nullptr), GUX_DF_BAD_BC_TYPE);
  t->bc_type = 1;
  EXPECT_EQ(qor_df_kernel_dDFQuadraticSpline1D(t, nullptr, nullptr, nullptr), GUX_DF_BAD_METHOD);
  t->s_type = 1;
  EXPECT_EQ(qor_df_kernel_dDFQuadraticSpline1D(t, nullptr, nullptr, nullptr), GUX_DF_BAD_IC_TYPE);
  qor_df_kernel_iEditVal(t, GUX_DF_A_NX, 2);
  EXPECT_EQ(qor_df_kernel_dDFNaturalCubicSpline1D(t, nullptr, nullptr, nullptr), GUX_DF_BAD_NX);
  qor_df_kernel_DeleteTask(&t);
}

TEST(FittingConstruct, QuadraticWithKnots) {
  auto q = [](double t) { return 1 + 2 * t - 0.75 * t * t; };
  auto dq = [](double t) { return 2 - 1.5 * t; };
  std::vector<double> x = random_partition(15, 0, 4, 12), knots;
  for (size_t i = 0; i + 1 < x.size(); ++i) knots.push_back(x[i] + (0.3 + 0.04 * i) * (x[i + 1] - x[i]));
  const double d1[2] = {dq(0), dq(4)}, d2[2] = {-1.5, -1.5};
  struct { int64_t bc; const double* v; } cases[] = {{2, nullptr}, {12, d1}, {48, d2}, {36, d1}};
  auto s = sites_in(-0.5, 4.5, 203);
  for (auto& c : cases) {
    Spline sp;
    sp.x = x;
    for (double t : x) sp.y.push_back(q(t));
    const double mixed[2] = {dq(0), -1.5};
    ASSERT_EQ(sp.build(3, GUX_DF_PP_SUBBOTIN, c.bc, c.bc == 36 ? mixed : c.v, 1, 1, GUX_DF_IC_QUADRATIC_KNOTS,
                       knots.data()), 0) << c.bc;
    auto r = sp.eval(s, {1, 1});
    for (size_t i = 0; i < s.size(); ++i) {
      ASSERT_NEAR(r[2 * i], q(s[i]), 1e-11) << c.bc << " " << s[i];
      ASSERT_NEAR(r[2 * i + 1], dq(s[i]), 1e-10) << c.bc << " " << s[i];
    }
    EXPECT_NEAR(sp.integrate(0.2, 3.7), (3.7 + 3.7 * 3.7 - 0.25 * 3.7 * 3.7 * 3.7) - (0.2 + 0.04 - 0.25 * 0.008), 1e-11);
  }
  // Non-polynomial data: interpolates and stays C1 across every knot.
  Spline sp;
  sp.x = x;
  for (double t : x) sp.y.push_back(std::sin(2 * t));
  ASSERT_EQ(sp.build(3, GUX_DF_PP_SUBBOTIN, GUX_DF_BC_FREE_END, nullptr, 1, 1, GUX_DF_IC_QUADRATIC_KNOTS,
                     knots.data()), 0);
  auto at = sp.eval(x);
  for (size_t i = 0; i < x.size(); ++i) EXPECT_NEAR(at[i], sp.y[i], 1e-13);
  for (double k : knots) {
    auto lr = sp.eval({k - 1e-9, k + 1e-9}, {1, 1});
    EXPECT_NEAR(lr[0], lr[2], 1e-8);
    EXPECT_NEAR(lr[1], lr[3], 1e-6);
  }
}

TEST(FittingConstruct, ZeroPivotMarksTheFunction) {
  double x[4] = {0, 0, 0, 1}, y[8] = {0, 1, 2, 3, 0, 1, 2, 3}, c[24];
  GuxDFTask* t = nullptr;
  ASSERT_EQ(qor_df_kernel_dNewTask1D(&t, 4, x, 1, 2, y, 0, 0), 0);
  ASSERT_EQ(qor_df_kernel_dEditPPSpline1D(t, 4, GUX_DF_PP_NATURAL, GUX_DF_BC_NOT_A_KNOT, nullptr, 0, nullptr, c, 0), 0);
  EXPECT_EQ(qor_df_dConstruct1D(t, nullptr), GUX_DF_SOLVE_FAILED);
  qor_df_kernel_DeleteTask(&t);
}

// The shared factor (several functions) and the single-function passes
// give the same coefficients for every boundary code, uniform or not.
TEST(FittingConstruct, SharedFactorMatchesSingleFunction) {
  const int nx = 40, ny = 3;
  const double bc[2] = {0.25, -0.5};
  for (int64_t xhint : {1, 4}) {
    std::vector<double> x = xhint == 4 ? std::vector<double>{0, 2} : random_partition(nx, 0, 2, 6);
    std::vector<double> y(nx * ny);
    for (int f = 0; f < ny; ++f)
      for (int i = 0; i < nx; ++i) {
        double t = xhint == 4 ? 2.0 * i / (nx - 1) : x[i];
        y[f * nx + i] = std::sin((f + 1) * t) + (i == nx - 1 ? std::sin(0.0) - std::sin((f + 1) * t) : 0);
      }
    for (int64_t bct : {1, 2, 12, 24, 36, 48, 64}) {
      std::vector<double> all(ny * (nx - 1) * 4), one((nx - 1) * 4);
      GuxDFTask *a = nullptr, *b = nullptr;
      ASSERT_EQ(qor_df_kernel_dNewTask1D(&a, nx, x.data(), xhint, ny, y.data(), 0, 0), 0);
      ASSERT_EQ(qor_df_kernel_dEditPPSpline1D(a, 4, 2, bct, bc, 0, nullptr, all.data(), 0), 0);
      ASSERT_EQ(qor_df_dConstruct1D(a, nullptr), 0);
      for (int f = 0; f < ny; ++f) {
        ASSERT_EQ(qor_df_kernel_dNewTask1D(&b, nx, x.data(), xhint, 1, y.data() + f * nx, 0, 0), 0);
        ASSERT_EQ(qor_df_kernel_dEditPPSpline1D(b, 4, 2, bct, bc, 0, nullptr, one.data(), 0), 0);
        ASSERT_EQ(qor_df_dConstruct1D(b, nullptr), 0);
        for (int k = 0; k < (nx - 1) * 4; ++k)
          ASSERT_NEAR(one[k], all[f * (nx - 1) * 4 + k], 1e-9 * (1 + std::fabs(one[k]))) << bct << " " << k;
        qor_df_kernel_DeleteTask(&b);
      }
      qor_df_kernel_DeleteTask(&a);
    }
  }
}
