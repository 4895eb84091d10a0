// The working set of the robust covariance and of outlier detection: a
// double, observations-in-rows copy of the data, a 0/1 weight per
// observation that marks the present subset, and the subset's estimates.
// Mean and covariance of a subset come from the basic estimator (one-pass,
// weights 0/1) on a private task; medians from the quantile estimator;
// squared Mahalanobis distances from the mean and inverse covariance, by
// groups of 2048 observations over the threading table.
#ifndef QOR_STATS_SS_SUBSET_H
#define QOR_STATS_SS_SUBSET_H

#include <qor/qor_stats.h>

#include <cmath>
#include <cstring>

#include "qor_core.h"
#include "qor_core_threading.h"
#include "stats/ss_columns.h"
#include "stats/ss_cov_util.h"
#include "stats/ss_sort_kernels.h"

namespace qor::ss {

constexpr int64_t kDistanceGroup = 2048;

// Squared distances (x_i - m)' A (x_i - m) for i in [i0, i1), x observations
// in rows; y is p reals of scratch.
template <class T>
void mahalanobis_range(const Columns<T> &x, int64_t i0, int64_t i1, const T *m, const T *a, T *out, double *y) {
  const int64_t p = x.p;
  for (int64_t i = i0; i < i1; ++i) {
    for (int64_t j = 0; j < p; ++j) y[j] = (double)x.at(j, i) - (double)m[j];
    double s = 0;
    for (int64_t j = 0; j < p; ++j) {
      const T *row = a + j * p;
      double t = 0;
      for (int64_t k = 0; k < j; ++k) t += (double)row[k] * y[k];
      s += y[j] * (2 * t + (double)row[j] * y[j]);
    }
    out[i] = (T)s;
  }
}

template <class T>
struct DistanceJob {
  Columns<T> x;
  int64_t i0, i1;
  const T *mean, *inv;
  T *out;
  double *scratch;  // p reals per block
  int64_t groups;
};

template <class T>
void distance_worker(int block, void *, int nblocks, void *args) {
  const DistanceJob<T> &J = *static_cast<const DistanceJob<T> *>(args);
  double *y = J.scratch + block * J.x.p;
  for (int64_t g = block; g < J.groups; g += nblocks) {
    const int64_t a = J.i0 + g * kDistanceGroup, b = a + kDistanceGroup < J.i1 ? a + kDistanceGroup : J.i1;
    mahalanobis_range(J.x, a, b, J.mean, J.inv, J.out, y);
  }
}

// Runs the distances of [i0, i1) over the threads; scratch holds
// p * threads reals.
template <class T>
void mahalanobis(const Columns<T> &x, int64_t i0, int64_t i1, const T *mean, const T *inv, T *out,
                 double *scratch, const GuxThreadingTable *threading) {
  const int64_t groups = (i1 - i0 + kDistanceGroup - 1) / kDistanceGroup;
  const int threads = threading ? threading->thread_count() : 1;
  const int64_t blocks = groups < threads ? groups : threads;
  DistanceJob<T> job{x, i0, i1, mean, inv, out, scratch, groups};
  if (blocks > 1)
    threading->parallel_for((int)blocks, &job, distance_worker<T>);
  else if (blocks == 1)
    distance_worker<T>(0, nullptr, 1, &job);
}

// A distance and its observation, ordered by distance.
struct Ranked {
  double d;
  int64_t i;
  bool operator<(const Ranked &o) const { return d < o.d || (d == o.d && i < o.i); }
};

struct Subset {
  int64_t p, n;
  const GuxThreadingTable *threading;
  double *mem = nullptr;
  double *x, *w, *mean, *cov, *fac, *inv, *col, *dist, *scratch, aw[2] = {0, 0};
  Ranked *ranked;
  PrivateTask task;
  double median_order = 0.5;
  int64_t one = 1;

  Subset(int64_t p_, int64_t n_, const GuxThreadingTable *th) : p(p_), n(n_), threading(th), task(p_, n_, nullptr) {}
  ~Subset() { qor_serv_deallocate(mem); }

  // One allocation for everything; false when it fails.
  bool allocate(int64_t extra_reals = 0) {
    const int threads = threading ? threading->thread_count() : 1;
    const size_t reals = (size_t)(n * p + 2 * n + 4 * p * p + 2 * p + p * threads + 2 * n + extra_reals);
    mem = static_cast<double *>(qor_serv_allocate(sizeof(double) * reals, 128));
    if (!mem) return false;
    x = mem, w = x + n * p, dist = w + n, mean = dist + n, cov = mean + p, fac = cov + p * p, inv = fac + p * p,
    col = inv + p * p, scratch = col + p;
    ranked = reinterpret_cast<Ranked *>(scratch + p * threads);  // 2n reals
    task.t.x = x, task.t.weights = w, task.t.accum_weights = aw;
    task.t.mean = mean, task.t.cov = cov;
    task.t.cov_storage = &zero_code;
    return true;
  }
  int64_t zero_code = GUX_MATRIX_FULL;
  double *extra() { return reinterpret_cast<double *>(ranked) + 2 * n; }

  template <class T>
  void load(const Columns<T> &src) {
    for (int64_t i = 0; i < n; ++i)
      for (int64_t j = 0; j < p; ++j) x[i * p + j] = (double)src.at(j, i);
  }

  int64_t count() const {
    int64_t c = 0;
    for (int64_t i = 0; i < n; ++i) c += w[i] != 0;
    return c;
  }

  // Mean and covariance of the observations of weight 1; then the lower
  // factor and the inverse. False when the subset's covariance is not of
  // full rank (or the estimator failed).
  bool estimate() {
    aw[0] = aw[1] = 0;
    if (_guxdSSBasic(&task.t, GUX_SS_MEAN | GUX_SS_COV, GUX_SS_M_ONE_PASS, threading) != 0) return false;
    return factor();
  }
  bool factor() {
    std::memcpy(fac, cov, sizeof(double) * (size_t)(p * p));
    if (!cholesky(fac, p)) return false;
    inverse_from_factor(fac, p, inv, col);
    return true;
  }
  double log_det() const {
    double s = 0;
    for (int64_t j = 0; j < p; ++j) s += std::log(fac[j * p + j]);
    return 2 * s;
  }
  // Coordinate-wise medians of the data into out (p reals).
  bool medians(const double *data, double *out) {
    PrivateTask q(p, n, data);
    q.t.quant_order_count = &one, q.t.quant_orders = &median_order, q.t.quantiles = out;
    return _guxdSSQuantiles(&q.t, GUX_SS_QUANTS, GUX_SS_M_FAST, threading) == 0;
  }
  void distances() {
    mahalanobis(Columns<double>(x, n, p, GUX_SS_OBSERVATIONS_IN_ROWS), 0, n, mean, inv, dist, scratch, threading);
  }
  // Weight 1 for the h observations of smallest distance, 0 for the others.
  void keep_smallest(int64_t h) {
    for (int64_t i = 0; i < n; ++i) ranked[i] = Ranked{dist[i], i}, w[i] = 0;
    if (h < n) quick_select(ranked, n, h);
    for (int64_t k = 0; k < h && k < n; ++k) w[ranked[k].i] = 1;
  }
};

}  // namespace qor::ss

#endif
