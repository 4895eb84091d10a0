// Absolute deviations and the weighted median, per selected dimension; the
// dimensions are spread over the threads as for the quantiles.
//  - mean absolute deviation: mean of |x - mean| (sums in double);
//  - median absolute deviation: median of |x - median|, unscaled, each median
//    by the quantile rule of order 1/2 (the mean of the two middle values for
//    even n);
//  - weighted median (task weights, 1 without them): the smallest x(k) of
//    the sorted values whose cumulative weight reaches half the total; when
//    the cumulative weight equals half the total exactly, the mean of x(k)
//    and the next value of positive weight (so that equal weights give the
//    ordinary median). Observations of weight 0 take no part.
// The task weights do not enter either absolute deviation.
#include <qor/qor_stats.h>

#include <cmath>

#include "qor_core.h"
#include "qor_core_threading.h"
#include "stats/ss_columns.h"
#include "stats/ss_internal.h"
#include "stats/ss_sort_kernels.h"

namespace qor::ss {
namespace {

template <class T>
struct Job {
  Columns<T> x;
  const T *w;
  T *mean_abs, *median_abs, *wmedian;
  const int64_t *dims;
  int64_t count;
  char *scratch;  // per block: 2n reals
};

// Quantile of order 1/2 of buf[0..n-1], reordering buf.
template <class T>
double median_of(T *buf, int64_t n) {
  const int64_t j = (n - 1) / 2;
  const double lo = (double)quick_select(buf, n, j);
  if (j + 1 >= n || (n - 1) % 2 == 0) return lo;
  T hi = buf[j + 1];  // the part above j holds the larger values
  for (int64_t i = j + 2; i < n; ++i) hi = buf[i] < hi ? buf[i] : hi;
  return 0.5 * lo + 0.5 * (double)hi;
}

template <class T>
double mean_abs_dev(const T *v, int64_t n) {
  double s[4] = {0, 0, 0, 0};
  int64_t i = 0;
  for (; i + 4 <= n; i += 4)
    s[0] += v[i], s[1] += v[i + 1], s[2] += v[i + 2], s[3] += v[i + 3];
  for (; i < n; ++i) s[0] += v[i];
  const double m = ((s[0] + s[1]) + (s[2] + s[3])) / (double)n;
  double a[4] = {0, 0, 0, 0};
  for (i = 0; i + 4 <= n; i += 4) {
    a[0] += std::fabs((double)v[i] - m), a[1] += std::fabs((double)v[i + 1] - m);
    a[2] += std::fabs((double)v[i + 2] - m), a[3] += std::fabs((double)v[i + 3] - m);
  }
  for (; i < n; ++i) a[0] += std::fabs((double)v[i] - m);
  return ((a[0] + a[1]) + (a[2] + a[3])) / (double)n;
}

template <class T>
struct Weighted {
  T v, w;
  bool operator<(const Weighted &o) const { return v < o.v; }
};

template <class T>
double weighted_median(Weighted<T> *pairs, int64_t n) {
  quick_sort(pairs, n);
  double total = 0;
  for (int64_t i = 0; i < n; ++i) total += (double)pairs[i].w;
  const double half = total / 2;
  double acc = 0;
  for (int64_t i = 0; i < n; ++i) {
    if (pairs[i].w == 0) continue;
    acc += (double)pairs[i].w;
    if (acc < half) continue;
    if (acc == half)
      for (int64_t k = i + 1; k < n; ++k)
        if (pairs[k].w != 0) return 0.5 * (double)pairs[i].v + 0.5 * (double)pairs[k].v;
    return (double)pairs[i].v;
  }
  return NAN;  // no positive weight
}

template <class T>
void worker(int block, void *, int nblocks, void *args) {
  const Job<T> &J = *static_cast<const Job<T> *>(args);
  const int64_t n = J.x.n;
  T *buf = reinterpret_cast<T *>(J.scratch + (size_t)block * 2 * n * sizeof(T));
  for (int64_t c = block; c < J.count; c += nblocks) {
    const int64_t j = J.dims[c];
    if (J.wmedian) {
      auto *pairs = reinterpret_cast<Weighted<T> *>(buf);
      for (int64_t i = 0; i < n; ++i) pairs[i] = {J.x.at(j, i), J.w ? J.w[i] : T(1)};
      J.wmedian[j] = (T)weighted_median(pairs, n);
      continue;
    }
    const T *col = J.x.rows ? nullptr : J.x.base + j * n;
    if (!col || J.median_abs) {
      J.x.gather(j, buf);
      col = buf;
    }
    if (J.mean_abs) J.mean_abs[j] = (T)mean_abs_dev(col, n);
    if (J.median_abs) {
      const double med = median_of(buf, n);
      for (int64_t i = 0; i < n; ++i) buf[i] = (T)std::fabs((double)buf[i] - med);
      J.median_abs[j] = (T)median_of(buf, n);
    }
  }
}

template <class T>
int64_t run(GuxSSTask *task, Job<T> job, const GuxThreadingTable *threading) {
  const int wide = (int)task->index_width;
  const int64_t p = read_int(task->p, wide), n = read_int(task->n, wide);
  const int threads = threading ? threading->thread_count() : 1;
  auto *dims = static_cast<int64_t *>(qor_serv_allocate(sizeof(int64_t) * (size_t)p, 64));
  if (!dims) return GUX_SS_NO_MEMORY;
  const int64_t count = selected_dims(task, p, dims);
  const int64_t blocks = count < threads ? count : threads;
  if (count > 0) {
    char *scratch = static_cast<char *>(qor_serv_allocate((size_t)blocks * 2 * n * sizeof(T), 128));
    if (!scratch) {
      qor_serv_deallocate(dims);
      return GUX_SS_NO_MEMORY;
    }
    job.dims = dims, job.count = count, job.scratch = scratch;
    if (blocks > 1)
      threading->parallel_for((int)blocks, &job, worker<T>);
    else
      worker<T>(0, nullptr, 1, &job);
    qor_serv_deallocate(scratch);
  }
  qor_serv_deallocate(dims);
  return GUX_SS_OK;
}

// Dimension, observations, storage pointer and code, in this order.
inline int64_t check_data(const GuxSSTask *task) {
  if (!task) return GUX_SS_NULL_TASK;
  const int wide = (int)task->index_width;
  if (!task->p || read_int(task->p, wide) < 1) return GUX_SS_BAD_DIMENSION;
  if (!task->n || read_int(task->n, wide) < 1) return GUX_SS_BAD_OBSERVATIONS;
  if (!task->x_storage) return GUX_SS_NO_STORAGE;
  if (!storage_known(read_int(task->x_storage, wide))) return GUX_SS_BAD_STORAGE;
  return GUX_SS_OK;
}

template <class T>
Columns<T> columns(const GuxSSTask *task) {
  const int wide = (int)task->index_width;
  return Columns<T>(task->x, read_int(task->n, wide), read_int(task->p, wide), read_int(task->x_storage, wide));
}

template <class T>
int64_t mad(GuxSSTask *task, uint64_t estimates, uint64_t method, const GuxThreadingTable *threading) {
  if (const int64_t s = check_data(task)) return s;
  const bool want_mean = estimates & GUX_SS_MEAN_ABS_DEV, want_median = estimates & GUX_SS_MEDIAN_ABS_DEV;
  if (want_mean && !task->mean_abs_dev) return GUX_SS_NO_MEAN_ABS_DEV;
  if (want_median && !task->median_abs_dev) return GUX_SS_NO_MEDIAN_ABS_DEV;
  if (want_mean && !(method & GUX_SS_M_FAST)) return GUX_SS_BAD_METHOD;
  if (want_median && !(method & (GUX_SS_M_FAST | GUX_SS_M_USER_MEAN))) return GUX_SS_BAD_METHOD;
  if (!want_mean && !want_median) return GUX_SS_OK;
  if (!task->x) return GUX_SS_NO_X;
  return run<T>(task,
                Job<T>{columns<T>(task), nullptr, want_mean ? static_cast<T *>(task->mean_abs_dev) : nullptr,
                       want_median ? static_cast<T *>(task->median_abs_dev) : nullptr, nullptr, nullptr, 0, nullptr},
                threading);
}

template <class T>
int64_t wmedian(GuxSSTask *task, uint64_t, uint64_t, const GuxThreadingTable *threading) {
  if (const int64_t s = check_data(task)) return s;
  if (!task->quantiles) return GUX_SS_NO_QUANTILES;
  if (!task->x) return GUX_SS_NO_X;
  return run<T>(task,
                Job<T>{columns<T>(task), static_cast<const T *>(task->weights), nullptr, nullptr,
                       static_cast<T *>(task->quantiles), nullptr, 0, nullptr},
                threading);
}

}  // namespace
}  // namespace qor::ss

QOR_SS_ENTRIES(MAD, qor::ss::mad)
QOR_SS_ENTRIES(WMedian, qor::ss::wmedian)
