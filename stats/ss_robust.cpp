// Robust mean and covariance: a minimum covariance determinant estimate from
// deterministic starts, made consistent at the normal model and reweighted.
//
// 1. h = n - trunc(b * (n - p - 1)) observations are kept, b the breakdown
//    point (parameter 0, default 0.5, which gives h = ceil((n+p+1)/2)).
// 2. Two starts, on the data standardized by coordinate-wise median and
//    median absolute deviation: (a) the h observations nearest to the
//    medians; (b) the spatial-sign start: the covariance of the directions
//    z/|z| is decomposed (LAPACK spevd), the data are projected on its
//    eigenvectors, each projection is given a median-absolute-deviation
//    scale, and the h observations of smallest distance in that frame are
//    taken.
// 3. Concentration: from the subset's mean and covariance the Mahalanobis
//    distances of all observations are taken and the h smallest form the
//    next subset, while the covariance determinant decreases (at most
//    parameter 2 steps, default 100). The start with the smaller determinant
//    wins. A subset of lower rank ends the search at once: it is an exact fit.
// 4. Consistency: the covariance is multiplied by median(d^2) / chi2(p, 1/2).
// 5. Reweighting: observations with d^2 below the chi-square quantile of
//    level 1 - a (parameter 1, a default 0.025) give the final mean and
//    covariance; the covariance is multiplied by (1 - a) / F(p+2; q), the
//    inverse of the shrinkage that the truncation at q causes at the normal.
// Parameters are read when both pointers are set and the count is 3; a value
// out of range falls back to its default (b in (0, 0.5], a in (0, 1), steps
// at least 1).
#include <qor/qor_stats.h>

#include <cmath>
#include <cstring>

#include "qor_core.h"
#include "stats/ss_columns.h"
#include "stats/ss_cov_util.h"
#include "stats/ss_internal.h"
#include "stats/ss_subset.h"

namespace qor::ss {
namespace {

struct RobustParams {
  double breakdown = 0.5, alpha = 0.025;
  int64_t steps = 100;
};

template <class T>
RobustParams robust_params(const GuxSSTask *task) {
  RobustParams r;
  const int wide = (int)task->index_width;
  if (!task->robust_param_count || !task->robust_params || read_int(task->robust_param_count, wide) != 3) return r;
  const T *v = static_cast<const T *>(task->robust_params);
  if (v[0] > 0 && v[0] <= T(0.5)) r.breakdown = (double)v[0];
  if (v[1] > 0 && v[1] < 1) r.alpha = (double)v[1];
  if (v[2] >= 1) r.steps = (int64_t)(double)v[2];
  return r;
}

// Concentration steps from the subset in s.w; returns the log determinant
// of the final subset (its mean and covariance left in s), or -inf when a
// subset was of lower rank: an exact fit, whose estimates are reported as
// they are, without the consistency and reweighting steps.
double concentrate(Subset &s, int64_t h, int64_t steps) {
  if (!s.estimate()) return -INFINITY;
  double det = s.log_det();
  for (int64_t k = 0; k < steps; ++k) {
    s.distances();
    s.keep_smallest(h);
    if (!s.estimate()) return -INFINITY;
    const double nd = s.log_det();
    if (!(nd < det - 1e-12 * std::fabs(det))) {
      det = nd;
      break;
    }
    det = nd;
  }
  return det;
}

template <class T>
int64_t robust(GuxSSTask *task, uint64_t, uint64_t method, const GuxThreadingTable *threading) {
  if (!task) return GUX_SS_NULL_TASK;
  const int wide = (int)task->index_width;
  if (!task->p || read_int(task->p, wide) < 1) return GUX_SS_BAD_DIMENSION;
  const int64_t p = read_int(task->p, wide);
  if (!task->n || read_int(task->n, wide) <= 2 * p) return GUX_SS_BAD_OBSERVATIONS;
  if (!task->x_storage) return GUX_SS_NO_STORAGE;
  const int64_t code = read_int(task->x_storage, wide);
  if (!storage_known(code)) return GUX_SS_BAD_STORAGE;
  if (!task->robust_mean) return GUX_SS_NO_ROBUST_MEAN;
  if (!task->robust_cov) return GUX_SS_NO_ROBUST_COV;
  if (!task->robust_storage) return GUX_SS_NO_STORAGE;
  const int64_t out_code = read_int(task->robust_storage, wide);
  if (!matrix_code_ok(out_code)) return GUX_SS_BAD_STORAGE;
  if (!(method & GUX_SS_M_ROBUST)) return GUX_SS_BAD_METHOD;
  if (!task->x) return GUX_SS_NO_X;
  const int64_t n = read_int(task->n, wide);
  const RobustParams prm = robust_params<T>(task);
  const int64_t h = n - (int64_t)(prm.breakdown * (double)(n - p - 1));

  // Extra: z (n*p standardized data), medians, scales, the packed direction
  // covariance, eigenvalues, eigenvectors, spevd work (1 + 6p + p*p), and the
  // best subset's weights (n).
  const int64_t lwork = 1 + 6 * p + p * p, liwork = 3 + 5 * p;
  Subset s(p, n, threading);
  if (!s.allocate(n * p + 2 * p + p * (p + 1) / 2 + p + p * p + lwork + n + liwork)) return GUX_SS_NO_MEMORY;
  s.load(Columns<T>(task->x, n, p, code));
  double *z = s.extra(), *med = z + n * p, *scale = med + p, *packed = scale + p, *eig = packed + p * (p + 1) / 2,
         *vec = eig + p, *work = vec + p * p, *best_w = work + lwork;
  int *iwork = reinterpret_cast<int *>(best_w + n);

  // Standardize by median and MAD (a zero MAD falls back to 1).
  if (!s.medians(s.x, med)) return GUX_SS_NO_MEMORY;
  for (int64_t i = 0; i < n * p; ++i) z[i] = std::fabs(s.x[i] - med[i % p]);
  if (!s.medians(z, scale)) return GUX_SS_NO_MEMORY;
  for (int64_t j = 0; j < p; ++j) scale[j] = scale[j] > 0 ? scale[j] : 1;
  for (int64_t i = 0; i < n * p; ++i) z[i] = (s.x[i] - med[i % p]) / scale[i % p];

  // Start (a): nearest to the medians in the standardized frame.
  for (int64_t i = 0; i < n; ++i) {
    double d = 0;
    for (int64_t j = 0; j < p; ++j) d += z[i * p + j] * z[i * p + j];
    s.dist[i] = d;
  }
  s.keep_smallest(h);
  double best = concentrate(s, h, prm.steps);
  std::memcpy(best_w, s.w, sizeof(double) * (size_t)n);

  // Start (b): spatial signs.
  if (best > -INFINITY && p > 1) {
    std::memset(packed, 0, sizeof(double) * (size_t)(p * (p + 1) / 2));
    for (int64_t i = 0; i < n; ++i) {
      const double *zi = z + i * p;
      double r = 0;
      for (int64_t j = 0; j < p; ++j) r += zi[j] * zi[j];
      if (!(r > 0)) continue;
      r = 1 / r;
      // Upper triangle packed by columns, as spevd reads it.
      for (int64_t b = 0; b < p; ++b)
        for (int64_t a = 0; a <= b; ++a) packed[a + b * (b + 1) / 2] += zi[a] * zi[b] * r;
    }
    int info = 0;
    const int pi = (int)p, lw = (int)lwork, liw = (int)liwork;
    qor_lapack_dspevd("V", "U", &pi, packed, eig, vec, &pi, work, &lw, iwork, &liw, &info);
    if (info == 0) {
      // Projections on the eigenvectors, in place, row by row.
      for (int64_t i = 0; i < n; ++i) {
        double *zi = z + i * p;
        for (int64_t k = 0; k < p; ++k) {
          double t = 0;
          for (int64_t j = 0; j < p; ++j) t += vec[j + k * p] * zi[j];
          s.col[k] = t;
        }
        std::memcpy(zi, s.col, sizeof(double) * (size_t)p);
      }
      // Median and MAD of each projection, on a column copy.
      double *colbuf = reinterpret_cast<double *>(s.ranked);  // 2n reals, n used
      for (int64_t k = 0; k < p; ++k) {
        for (int64_t i = 0; i < n; ++i) colbuf[i] = z[i * p + k];
        med[k] = quick_select(colbuf, n, (n - 1) / 2);
        for (int64_t i = 0; i < n; ++i) colbuf[i] = std::fabs(z[i * p + k] - med[k]);
        const double m = quick_select(colbuf, n, (n - 1) / 2);
        scale[k] = m > 0 ? m : 1;
      }
      for (int64_t i = 0; i < n; ++i) {
        double d = 0;
        for (int64_t k = 0; k < p; ++k) {
          const double u = (z[i * p + k] - med[k]) / scale[k];
          d += u * u;
        }
        s.dist[i] = d;
      }
      s.keep_smallest(h);
      const double det = concentrate(s, h, prm.steps);
      if (det < best) {
        best = det;
        std::memcpy(best_w, s.w, sizeof(double) * (size_t)n);
      }
    }
  }

  // Final subset estimates, consistency factor, reweighting.
  std::memcpy(s.w, best_w, sizeof(double) * (size_t)n);
  if (s.estimate() && best > -INFINITY) {
    s.distances();
    double *colbuf = reinterpret_cast<double *>(s.ranked);
    std::memcpy(colbuf, s.dist, sizeof(double) * (size_t)n);
    const double md = quick_select(colbuf, n, (n - 1) / 2);
    const double f = md / chi2_icdf((double)p, 0.5);
    if (f > 0) {
      for (int64_t k = 0; k < p * p; ++k) s.cov[k] *= f;
      s.factor();
      s.distances();
      const double q = chi2_icdf((double)p, 1 - prm.alpha);
      for (int64_t i = 0; i < n; ++i) s.w[i] = s.dist[i] <= q ? 1 : 0;
      if (s.estimate()) {
        const double c = (1 - prm.alpha) / chi2_cdf((double)p + 2, q);
        for (int64_t k = 0; k < p * p; ++k) s.cov[k] *= c;
      } else {
        std::memcpy(s.w, best_w, sizeof(double) * (size_t)n);
        s.estimate();
        for (int64_t k = 0; k < p * p; ++k) s.cov[k] *= f;
      }
    }
  }
  T *rm = static_cast<T *>(task->robust_mean);
  for (int64_t j = 0; j < p; ++j) rm[j] = (T)s.mean[j];
  sym_store(s.cov, out_code, p, static_cast<T *>(task->robust_cov));
  return GUX_SS_OK;
}

}  // namespace
}  // namespace qor::ss

QOR_SS_ENTRIES(RobustCovariance, qor::ss::robust)
