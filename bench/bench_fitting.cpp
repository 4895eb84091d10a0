// Natural cubic spline: construction on 10^6 breakpoints, evaluation (value
// and first derivative) at 10^7 random sites and integration over 10^6
// random windows a few cells wide, against GSL's gsl_spline with
// gsl_interp_accel. Prints ns per element and ratios.
#include <gsl/gsl_spline.h>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>
#include "core/qor_core_fitting.h"
#include "core/qor_core_threading.h"
#include "qor/qor_fitting.h"

namespace {

template <class F> double best_of(int reps, F f) {
  double best = 1e300;
  for (int r = 0; r < reps; ++r) {
    auto t0 = std::chrono::steady_clock::now();
    f();
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
  }
  return best;
}

}  // namespace

int main() {
  const int64_t nx = 1000000, ns = 10000000;
  std::mt19937_64 rng(42);
  std::uniform_real_distribution<double> u01(0.0, 1.0);
  std::vector<double> x(nx), y(nx), sites(ns), coef(4 * (nx - 1)), r(2 * ns), g(2 * ns);
  double acc = 0;
  for (int64_t i = 0; i < nx; ++i) {
    x[i] = (acc += 0.5 + u01(rng));
    y[i] = std::sin(1e-3 * x[i]) + 0.1 * u01(rng);
  }
  for (auto& s : sites) s = x[0] + (x[nx - 1] - x[0]) * u01(rng);
  // Integration limits: 10^6 windows at random sites, up to 10 cells wide
  // (the cells are 1 wide on average), so that the cost is per window, not
  // per cell crossed.
  const int64_t nlim = 1000000;
  std::vector<double> llim(nlim), rlim(nlim), ri(nlim), gi(nlim);
  for (int64_t i = 0; i < nlim; ++i) {
    llim[i] = std::min(sites[i], x[nx - 1] - 10.0);
    rlim[i] = llim[i] + 10.0 * u01(rng);
  }

  GuxDFTask* task = nullptr;
  const double bc[2] = {0, 0};
  qor_df_kernel_dNewTask1D(&task, nx, x.data(), GUX_DF_X_NON_UNIFORM, 1, y.data(), GUX_DF_Y_ROWS, 0);
  qor_df_kernel_dEditPPSpline1D(task, GUX_DF_PP_CUBIC, GUX_DF_PP_NATURAL, GUX_DF_BC_D2_LEFT | GUX_DF_BC_D2_RIGHT,
                                bc, 0, nullptr, coef.data(), GUX_DF_Y_ROWS);
  gsl_interp_accel* accel = gsl_interp_accel_alloc();
  gsl_spline* spline = gsl_spline_alloc(gsl_interp_cspline, nx);
  const int64_t dorder[2] = {1, 1};

  printf("natural cubic spline, %lld breakpoints, %lld random sites (value + first derivative)\n",
         (long long)nx, (long long)ns);
  for (int threads : {1, 2}) {
    qor_core_set_num_threads(threads);
    double tq = best_of(15, [&] { qor_df_dConstruct1D(task, nullptr); });
    double tg = best_of(15, [&] { gsl_spline_init(spline, x.data(), y.data(), nx); });
    printf("  construct  threads %d: qor %7.2f ns/pt  gsl %7.2f ns/pt  gsl/qor %.2f\n", threads, 1e9 * tq / nx,
           1e9 * tg / nx, tg / tq);
    double ti = best_of(3, [&] {
      qor_df_kernel_dDFInterpolate1D(task, GUX_DF_INTERP, GUX_DF_METHOD_PP, ns, sites.data(), 0, 2, dorder,
                                     nullptr, r.data(), GUX_DF_MATRIX_STORAGE_ROWS, nullptr, nullptr, nullptr,
                                     nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, qor_core_threading());
    });
    double tgi = best_of(threads == 1 ? 3 : 1, [&] {
      for (int64_t i = 0; i < ns; ++i) {
        g[2 * i] = gsl_spline_eval(spline, sites[i], accel);
        g[2 * i + 1] = gsl_spline_eval_deriv(spline, sites[i], accel);
      }
    });
    double err = 0;
    for (int64_t i = 0; i < ns; i += 997) err = std::max(err, std::fabs(r[2 * i] - g[2 * i]));
    printf("  interpolate threads %d: qor %7.2f ns/site gsl %7.2f ns/site gsl/qor %.2f  (max |diff| %.1e)\n",
           threads, 1e9 * ti / ns, 1e9 * tgi / ns, tgi / ti, err);
    double tint = best_of(3, [&] {
      qor_df_kernel_dDFIntegrate1D(task, GUX_DF_METHOD_PP, nlim, llim.data(), 0, rlim.data(), 0, nullptr, nullptr,
                                   ri.data(), GUX_DF_MATRIX_STORAGE_ROWS, nullptr, nullptr, nullptr, nullptr, nullptr,
                                   nullptr, nullptr, nullptr, qor_core_threading());
    });
    double tgint = best_of(threads == 1 ? 3 : 1, [&] {
      for (int64_t i = 0; i < nlim; ++i) gi[i] = gsl_spline_eval_integ(spline, llim[i], rlim[i], accel);
    });
    double rel = 0;
    for (int64_t i = 0; i < nlim; i += 997) rel = std::max(rel, std::fabs(ri[i] - gi[i]) / (1 + std::fabs(gi[i])));
    printf("  integrate   threads %d: qor %7.2f ns/lim  gsl %7.2f ns/lim  gsl/qor %.2f  (max rel diff %.1e)\n",
           threads, 1e9 * tint / nlim, 1e9 * tgint / nlim, tgint / tint, rel);
  }
  gsl_spline_free(spline);
  gsl_interp_accel_free(accel);
  qor_df_kernel_DeleteTask(&task);
  return 0;
}
