// Exact quantiles and order statistics of the selected dimensions. The
// dimensions are spread over the threads, one contiguous copy of a dimension
// per thread at a time. Quantile of order b over n values x(0) <= ... <=
// x(n-1): t = (n-1)*b, j = trunc(t), f = t - j, value (1-f)*x(j) + f*x(j+1),
// with j+1 clamped to n-1, so that order 0 gives the minimum and 1 the maximum.
#include <qor/qor_stats.h>

#include "qor_core.h"
#include "qor_core_threading.h"
#include "stats/ss_columns.h"
#include "stats/ss_internal.h"
#include "stats/ss_sort_kernels.h"

namespace qor::ss {
namespace {

// One order, placed: ranks j and j+1 (clamped) and the weight f of the upper
// one. The rule is evaluated in long double, so that the only rounding left
// is the final one to the element type.
struct Order {
  int64_t lo, hi;  // ranks j and min(j+1, n-1)
  long double f;
  int64_t k;       // position among the caller's orders
  bool operator<(const Order &o) const { return lo < o.lo; }
};

template <class T>
struct Job {
  Columns<T> x;
  Columns<T> os;     // order statistics output (valid when wanted)
  bool want_os;
  T *q;              // quantiles, dimension-major
  const Order *orders;  // ascending by rank
  int64_t m;
  const int64_t *dims;
  int64_t count;
  char *scratch;     // 2*n reals per block
};

template <class T>
T interpolate(T lo, T hi, long double f) {
  return (T)((1.0L - f) * (long double)lo + f * (long double)hi);
}

// Quantiles without a full sort: the orders are visited by ascending rank and
// each rank is selected in the part of the buffer above the last one fixed,
// which already holds exactly the larger values.
template <class T>
void select_quantiles(const Job<T> &J, T *buf, T *q) {
  int64_t fixed = -1;  // highest rank whose place is settled, -1 for none
  auto rank = [&](int64_t r) -> T {
    if (r <= fixed) return buf[r];
    const int64_t from = fixed + 1;
    const T v = quick_select(buf + from, J.x.n - from, r - from);
    fixed = r;
    return v;
  };
  for (int64_t c = 0; c < J.m; ++c) {
    const Order &o = J.orders[c];
    const T lo = rank(o.lo);
    const T hi = rank(o.hi);
    q[o.k] = interpolate(lo, hi, o.f);
  }
}

template <class T>
void worker(int block, void *, int nblocks, void *args) {
  const Job<T> &J = *static_cast<const Job<T> *>(args);
  const int64_t n = J.x.n;
  T *buf = reinterpret_cast<T *>(J.scratch + (size_t)block * 2 * n * sizeof(T));
  for (int64_t c = block; c < J.count; c += nblocks) {
    const int64_t j = J.dims[c];
    T *q = J.q ? J.q + j * J.m : nullptr;
    if (J.want_os) {
      sort_through<T>(n, buf, [&](int64_t i) { return J.x.at(j, i); },
                      [&](int64_t i, T v) { J.os.at(j, i) = v; });
      for (int64_t k = 0; q && k < J.m; ++k) {
        const Order &o = J.orders[k];
        q[o.k] = interpolate(J.os.at(j, o.lo), J.os.at(j, o.hi), o.f);
      }
    } else {
      J.x.gather(j, buf);
      select_quantiles(J, buf, q);
    }
  }
}

template <class T>
int64_t quantiles(GuxSSTask *task, uint64_t estimates, uint64_t method,
                  const GuxThreadingTable *threading) {
  if (!task) return GUX_SS_NULL_TASK;
  const int wide = (int)task->index_width;
  if (!task->p || read_int(task->p, wide) < 1) return GUX_SS_BAD_DIMENSION;
  if (!task->n || read_int(task->n, wide) < 1) return GUX_SS_BAD_OBSERVATIONS;
  if (!task->x_storage) return GUX_SS_NO_STORAGE;
  const int64_t code = read_int(task->x_storage, wide);
  if (!storage_known(code)) return GUX_SS_BAD_STORAGE;
  const bool want_q = estimates & GUX_SS_QUANTS, want_os = estimates & GUX_SS_ORDER_STATS;
  int64_t m = 0;
  const T *b = static_cast<const T *>(task->quant_orders);
  if (want_q) {
    if (!task->quantiles) return GUX_SS_NO_QUANTILES;
    if (!b) return GUX_SS_NO_QUANT_ORDERS;
    if (!task->quant_order_count) return GUX_SS_BAD_QUANT_ORDERS;
    m = read_int(task->quant_order_count, wide);
    if (m < 0) return GUX_SS_BAD_QUANT_ORDERS;
    for (int64_t k = 0; k < m; ++k)
      if (!(b[k] >= 0 && b[k] <= 1)) return GUX_SS_BAD_QUANT_ORDERS;  // NaN fails too
  }
  int64_t os_code = 0;
  if (want_os) {
    if (!task->order_stats) return GUX_SS_NO_ORDER_STATS;
    if (!task->order_stats_storage) return GUX_SS_NO_STORAGE;
    os_code = read_int(task->order_stats_storage, wide);
    if (!storage_known(os_code)) return GUX_SS_BAD_STORAGE;
  }
  if (!(method & GUX_SS_M_FAST)) return GUX_SS_BAD_METHOD;
  if (m == 0 && !want_os) return GUX_SS_OK;
  if (!task->x) return GUX_SS_NO_X;

  const int64_t p = read_int(task->p, wide), n = read_int(task->n, wide);
  const int threads = threading ? threading->thread_count() : 1;
  // The placed orders and the index list share one allocation, the orders
  // first for the alignment of their long double.
  char *meta = static_cast<char *>(
      qor_serv_allocate(sizeof(Order) * (size_t)m + sizeof(int64_t) * (size_t)p, 64));
  if (!meta) return GUX_SS_NO_MEMORY;
  auto *orders = reinterpret_cast<Order *>(meta);
  auto *dims = reinterpret_cast<int64_t *>(meta + sizeof(Order) * (size_t)m);
  const int64_t count = selected_dims(task, p, dims);
  for (int64_t k = 0; k < m; ++k) {
    const long double t = (long double)(n - 1) * (long double)b[k];
    const int64_t j = (int64_t)t;
    orders[k] = Order{j, j + 1 < n ? j + 1 : n - 1, t - (long double)j, k};
  }
  quick_sort(orders, m);
  const int64_t blocks = count < threads ? count : threads;
  char *scratch = nullptr;
  if (count > 0) {
    scratch = static_cast<char *>(qor_serv_allocate((size_t)blocks * 2 * n * sizeof(T), 128));
    if (!scratch) {
      qor_serv_deallocate(meta);
      return GUX_SS_NO_MEMORY;
    }
    Job<T> job{Columns<T>(task->x, n, p, code),
               Columns<T>(want_os ? task->order_stats : task->x, n, p, os_code),
               want_os,
               m ? static_cast<T *>(task->quantiles) : nullptr,
               orders,
               m,
               dims,
               count,
               scratch};
    if (blocks > 1)
      threading->parallel_for((int)blocks, &job, worker<T>);
    else
      worker<T>(0, nullptr, 1, &job);
  }
  qor_serv_deallocate(scratch);
  qor_serv_deallocate(meta);
  return GUX_SS_OK;
}

}  // namespace
}  // namespace qor::ss

QOR_SS_ENTRIES(Quantiles, qor::ss::quantiles)
