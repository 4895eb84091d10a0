// Minimum and maximum of the selected dimensions, extending the range that
// the output arrays already hold, so that repeated calls cover all groups.
#include <qor/qor_stats.h>

#include <cstring>

#include "qor_core.h"
#include "qor_core_threading.h"
#include "stats/ss_internal.h"

namespace qor::ss {
namespace {

// The running value is the second operand, as minpd/maxpd take it: a NaN in
// the data compares false and leaves the running value in place.
template <class T> T min_keep(T x, T run) { return x < run ? x : run; }
template <class T> T max_keep(T x, T run) { return x > run ? x : run; }

// Observations in rows: one pass over the rows, the caller's arrays hold the
// running values.
template <class T>
void scan_rows(const T *x, int64_t n, int64_t p, const int64_t *dims, int64_t count, T *mn, T *mx) {
  for (int64_t i = 0; i < n; ++i) {
    const T *row = x + i * p;
    for (int64_t c = 0; c < count; ++c) {
      const int64_t j = dims[c];
      if (mn) mn[j] = min_keep(row[j], mn[j]);
      if (mx) mx[j] = max_keep(row[j], mx[j]);
    }
  }
}

// Variables in rows: each selected row in turn, two lanes of running values
// per bound, folded at the end.
template <class T>
void scan_columns(const T *x, int64_t n, const int64_t *dims, int64_t count, T *mn, T *mx) {
  for (int64_t c = 0; c < count; ++c) {
    const int64_t j = dims[c];
    const T *row = x + j * n;
    T lo = mn ? mn[j] : T(0), hi = mx ? mx[j] : T(0), lo2 = lo, hi2 = hi;
    int64_t i = 0;
    for (; i + 2 <= n; i += 2) {
      lo = min_keep(row[i], lo), lo2 = min_keep(row[i + 1], lo2);
      hi = max_keep(row[i], hi), hi2 = max_keep(row[i + 1], hi2);
    }
    if (i < n) lo = min_keep(row[i], lo), hi = max_keep(row[i], hi);
    if (mn) mn[j] = min_keep(lo2, lo);
    if (mx) mx[j] = max_keep(hi2, hi);
  }
}

template <class T>
int64_t minmax(GuxSSTask *task, uint64_t estimates, uint64_t method, const GuxThreadingTable *) {
  if (!task) return GUX_SS_NULL_TASK;
  const int wide = (int)task->index_width;
  if (!task->p || read_int(task->p, wide) < 1) return GUX_SS_BAD_DIMENSION;
  if (!task->n || read_int(task->n, wide) < 1) return GUX_SS_BAD_OBSERVATIONS;
  if (!task->x_storage) return GUX_SS_NO_STORAGE;
  const int64_t code = read_int(task->x_storage, wide);
  if (!(code & (GUX_SS_VARIABLES_IN_ROWS | GUX_SS_OBSERVATIONS_IN_ROWS))) return GUX_SS_BAD_STORAGE;
  if ((estimates & GUX_SS_MIN) && !task->min) return GUX_SS_NO_MIN;
  if ((estimates & GUX_SS_MAX) && !task->max) return GUX_SS_NO_MAX;
  if (!(method & (GUX_SS_M_FAST | GUX_SS_M_ONE_PASS))) return GUX_SS_BAD_METHOD;
  if (!(estimates & (GUX_SS_MIN | GUX_SS_MAX))) return GUX_SS_OK;
  if (!task->x) return GUX_SS_NO_X;

  const int64_t p = read_int(task->p, wide), n = read_int(task->n, wide);
  auto *dims = static_cast<int64_t *>(qor_serv_allocate(sizeof(int64_t) * (size_t)p, 64));
  if (!dims) return GUX_SS_NO_MEMORY;
  int64_t count = 0;
  for (int64_t j = 0; j < p; ++j)
    if (selected(task, j)) dims[count++] = j;
  T *mn = estimates & GUX_SS_MIN ? static_cast<T *>(task->min) : nullptr;
  T *mx = estimates & GUX_SS_MAX ? static_cast<T *>(task->max) : nullptr;
  const T *x = static_cast<const T *>(task->x);
  if (p > 1 && !(code & GUX_SS_VARIABLES_IN_ROWS))
    scan_rows(x, n, p, dims, count, mn, mx);
  else
    scan_columns(x, n, dims, count, mn, mx);
  qor_serv_deallocate(dims);
  return GUX_SS_OK;
}

}  // namespace
}  // namespace qor::ss

QOR_SS_ENTRIES(Minmax, qor::ss::minmax)
