// Helpers of the fitting tests: a task with its coefficient storage.
#pragma once
#include <gtest/gtest.h>
#include <cmath>
#include <vector>
#include "core/qor_core_fitting.h"
#include "core/qor_core_threading.h"
#include "qor/qor_fitting.h"

struct Spline {
  GuxDFTask* task = nullptr;
  std::vector<double> x, y, coef;
  ~Spline() { if (task) qor_df_kernel_DeleteTask(&task); }
  // Builds order/type with bc over the data, ny functions in rows.
  int build(int64_t order, int64_t type, int64_t bct, const double* bc, int64_t xhint = 1,
            int64_t ny = 1, int64_t ict = 0, const double* ic = nullptr) {
    const int64_t nx = xhint == GUX_DF_X_UNIFORM ? (int64_t)(y.size() / ny) : (int64_t)x.size();
    int st = qor_df_kernel_dNewTask1D(&task, nx, x.data(), xhint, ny, y.data(), GUX_DF_Y_ROWS, 1);
    if (st) return st;
    coef.assign(ny * nx * order, NAN);
    st = qor_df_kernel_dEditPPSpline1D(task, order, type, bct, bc, ict, ic, coef.data(), GUX_DF_Y_ROWS);
    if (st) return st;
    return qor_df_dConstruct1D(task, nullptr);
  }
  // Values (and derivatives by dorder) at sites, site-major.
  std::vector<double> eval(const std::vector<double>& s, std::vector<int64_t> dorder = {1}) {
    int64_t nd = 0;
    for (auto d : dorder) nd += d != 0;
    std::vector<double> r(s.size() * task->ny * nd, NAN);
    int st = qor_df_kernel_dDFInterpolate1D(task, GUX_DF_INTERP, GUX_DF_METHOD_PP, s.size(), s.data(), 0,
                                            dorder.size(), dorder.data(), nullptr, r.data(),
                                            GUX_DF_MATRIX_STORAGE_ROWS, nullptr, nullptr, nullptr, nullptr,
                                            nullptr, nullptr, nullptr, nullptr, nullptr, qor_core_threading());
    EXPECT_EQ(st, 0);
    return r;
  }
  double integrate(double a, double b) {
    double r = NAN;
    int st = qor_df_kernel_dDFIntegrate1D(task, GUX_DF_METHOD_PP, 1, &a, 0, &b, 0, nullptr, nullptr, &r,
                                          GUX_DF_MATRIX_STORAGE_ROWS, nullptr, nullptr, nullptr, nullptr,
                                          nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(st, 0);
    return r;
  }
};

// Sorted random partition of n points in [a, b] with both ends included.
inline std::vector<double> random_partition(int n, double a, double b, unsigned seed) {
  std::vector<double> x(n);
  srand(seed);
  double acc = 0;
  for (int i = 0; i < n; ++i) x[i] = (acc += 0.2 + (double)rand() / RAND_MAX);
  for (int i = 0; i < n; ++i) x[i] = a + (b - a) * (x[i] - x[0]) / (x[n - 1] - x[0]);
  x[n - 1] = b;
  return x;
}
