// Outlier detection by growing a clean subset, and the Mahalanobis distance
// entry it relies on.
//
// Start (parameter 0): method 1 takes mean and covariance of all
// observations and the squared Mahalanobis distances from them; method 2
// (default) takes the coordinate-wise medians and the Euclidean distances
// from them. The first subset is the 5p observations of smallest distance
// (n >= 5p is required), enlarged by the next ones while its covariance is
// not of full rank. Growth: mean and covariance of the subset, distances of
// all observations, the next subset is every observation whose distance is
// below the cut-off; repeated until the subset stops changing, or until the
// share of observations that changed side is below the stopping level
// (parameter 2).
//
// Cut-off. With q = chi2 quantile (p, 1 - alpha) the base cut-off is sqrt(q).
// A subset cut at the chi-square quantile has a covariance smaller than the
// population's by c = F(p+2; q) / (1 - alpha) (F the chi-square distribution
// function), so the distances measured from it are inflated by 1/c; the
// cut-off is divided by sqrt(c) to compare like with like. Two finite-sample
// terms widen it further: (1 + (p+1)/(n-p) + 2/(n-1-3p)) for the estimation
// error of the subset's estimates, plus max(0, (h-r)/(h+r)) with
// h = trunc((n+p+1)/2) and r the subset size, while the subset is small.
// Thus a clean observation is dropped at about the rate alpha, and not at
// the much higher rate that the plain quantile gives against a truncated
// subset.
#include <qor/qor_stats.h>

#include <cmath>

#include "qor_core.h"
#include "stats/ss_columns.h"
#include "stats/ss_cov_util.h"
#include "stats/ss_internal.h"
#include "stats/ss_subset.h"

namespace qor::ss {
namespace {

constexpr int kMaxGrowth = 200;  // growth steps; the subset settles in a few

// Dimension, observations, storage pointer and code, X, in this order.
int64_t check_x(const GuxSSTask *task, int64_t min_n_per_p, int64_t storage_null_status) {
  if (!task) return GUX_SS_NULL_TASK;
  const int wide = (int)task->index_width;
  if (!task->p || read_int(task->p, wide) < 1) return GUX_SS_BAD_DIMENSION;
  const int64_t p = read_int(task->p, wide);
  if (!task->n || read_int(task->n, wide) < 1 || read_int(task->n, wide) < min_n_per_p * p)
    return GUX_SS_BAD_OBSERVATIONS;
  if (!task->x_storage) return storage_null_status;
  if (!storage_known(read_int(task->x_storage, wide))) return GUX_SS_BAD_STORAGE;
  return GUX_SS_OK;
}

// Work block of the distance entry: [0] first observation and [1] end of the
// range (int64, optional), [2] mean, [3] inverse covariance (p by p),
// [4] distances (n reals, indexed by observation).
template <class T>
int64_t mah_distance(GuxSSTask *task, uint64_t estimates, uint64_t method, const GuxThreadingTable *threading) {
  if (const int64_t s = check_x(task, 0, GUX_SS_NO_STORAGE)) return s;
  const int wide = (int)task->index_width;
  if (!task->mahalanobis[2]) return GUX_SS_NO_MEAN;
  if (!task->mahalanobis[3]) return GUX_SS_NO_COV;
  if (!task->mahalanobis[4] || !(estimates & 0x4000000ull) || !(method & GUX_SS_M_FAST)) return GUX_SS_BAD_METHOD;
  if (!task->x) return GUX_SS_NO_X;
  const int64_t p = read_int(task->p, wide), n = read_int(task->n, wide);
  int64_t i0 = task->mahalanobis[0] ? *static_cast<const int64_t *>(task->mahalanobis[0]) : 0;
  int64_t i1 = task->mahalanobis[1] ? *static_cast<const int64_t *>(task->mahalanobis[1]) : n;
  i0 = i0 < 0 ? 0 : i0, i1 = i1 > n ? n : i1;
  if (i1 <= i0) return GUX_SS_OK;
  const int threads = threading ? threading->thread_count() : 1;
  auto *scratch = static_cast<double *>(qor_serv_allocate(sizeof(double) * (size_t)(p * threads), 64));
  if (!scratch) return GUX_SS_NO_MEMORY;
  mahalanobis(Columns<T>(task->x, n, p, read_int(task->x_storage, wide)), i0, i1,
              static_cast<const T *>(task->mahalanobis[2]), static_cast<const T *>(task->mahalanobis[3]),
              static_cast<T *>(task->mahalanobis[4]), scratch, threading);
  qor_serv_deallocate(scratch);
  return GUX_SS_OK;
}

struct OutlierParams {
  int start = 2;
  double alpha = 0.05, stop = 0.005;
};

template <class T>
OutlierParams outlier_params(const GuxSSTask *task) {
  OutlierParams o;
  const int wide = (int)task->index_width;
  if (!task->outlier_param_count || !task->outlier_params || read_int(task->outlier_param_count, wide) != 3)
    return o;
  const T *v = static_cast<const T *>(task->outlier_params);
  o.start = (int64_t)(double)v[0] == 1 ? 1 : 2;
  o.alpha = v[1] > 0 && v[1] < 1 ? (double)v[1] : 0.05;
  o.stop = v[2] > 0 ? (double)v[2] : 0.005;
  return o;
}

// The first subset: the 5p nearest observations by s.dist, enlarged while
// the covariance is singular. False if even all observations are singular.
bool first_subset(Subset &s) {
  for (int64_t i = 0; i < s.n; ++i) s.ranked[i] = Ranked{s.dist[i], i}, s.w[i] = 0;
  quick_sort(s.ranked, s.n);
  int64_t m = 5 * s.p;
  for (int64_t k = 0; k < m; ++k) s.w[s.ranked[k].i] = 1;
  while (!s.estimate()) {
    if (m >= s.n) return false;
    s.w[s.ranked[m++].i] = 1;
  }
  return true;
}

template <class T>
int64_t outliers(GuxSSTask *task, uint64_t, uint64_t method, const GuxThreadingTable *threading) {
  if (!task) return GUX_SS_NULL_TASK;
  if (const int64_t s = check_x(task, 5, GUX_SS_BAD_STORAGE)) return s;
  if (!task->outlier_weights) return GUX_SS_NO_OUTLIER_WEIGHTS;
  if (!(method & GUX_SS_M_OUTLIERS)) return GUX_SS_BAD_METHOD;
  if (!task->x) return GUX_SS_NO_X;
  const int wide = (int)task->index_width;
  const int64_t p = read_int(task->p, wide), n = read_int(task->n, wide);
  const OutlierParams prm = outlier_params<T>(task);

  Subset s(p, n, threading);
  if (!s.allocate(p)) return GUX_SS_NO_MEMORY;
  s.load(Columns<T>(task->x, n, p, read_int(task->x_storage, wide)));
  bool ok = true;
  if (prm.start == 1) {
    for (int64_t i = 0; i < n; ++i) s.w[i] = 1;
    ok = s.estimate();
    if (ok) s.distances();
  } else {
    double *med = s.extra();
    ok = s.medians(s.x, med);
    for (int64_t i = 0; ok && i < n; ++i) {
      double d = 0;
      for (int64_t j = 0; j < p; ++j) d += (s.x[i * p + j] - med[j]) * (s.x[i * p + j] - med[j]);
      s.dist[i] = d;
    }
  }
  if (ok) ok = first_subset(s);
  T *out = static_cast<T *>(task->outlier_weights);
  if (!ok) {
    // All observations together are of lower rank: nothing can be told apart.
    for (int64_t i = 0; i < n; ++i) out[i] = T(1);
    return GUX_SS_OK;
  }
  const double q = chi2_icdf((double)p, 1 - prm.alpha);
  const double c_trunc = chi2_cdf((double)p + 2, q) / (1 - prm.alpha);
  const double c_np = 1 + (double)(p + 1) / (double)(n - p) + 2.0 / (double)(n - 1 - 3 * p);
  const double h = (double)((n + p + 1) / 2);
  for (int step = 0; step < kMaxGrowth; ++step) {
    s.distances();
    const double r = (double)s.count();
    const double c_hr = std::fmax(0.0, (h - r) / (h + r));
    const double cut = (c_np + c_hr) * std::sqrt(q / c_trunc);
    const double cut2 = cut * cut;
    int64_t changed = 0;
    for (int64_t i = 0; i < n; ++i) {
      const double nw = s.dist[i] < cut2 ? 1 : 0;
      changed += nw != s.w[i];
      s.w[i] = nw;
    }
    if (changed == 0 || (double)changed < prm.stop * (double)n) break;
    if (!s.estimate()) break;  // the grown subset is singular: keep it as it stands
  }
  for (int64_t i = 0; i < n; ++i) out[i] = (T)s.w[i];
  return GUX_SS_OK;
}

}  // namespace
}  // namespace qor::ss

QOR_SS_ENTRIES(MahDistance, qor::ss::mah_distance)
QOR_SS_ENTRIES(OutliersDetection, qor::ss::outliers)
