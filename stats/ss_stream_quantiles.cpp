// Streaming quantiles: each call folds its observations into per-dimension
// sketches kept in the task (see ss_sketch.h), then writes every order's
// estimate for the data seen so far, dimension-major. The state is one block:
// a header record, then one SketchDim per dimension; it is released by
// __guxSQuantilesFreeBuffers at task deletion.
#include <qor/qor_stats.h>

#include <cstring>

#include "qor_core.h"
#include "qor_core_threading.h"
#include "stats/ss_columns.h"
#include "stats/ss_internal.h"
#include "stats/ss_sketch.h"

namespace qor::ss {
namespace {

// Four words in front of the dimension records. The sketch keeps the epsilon
// of its first call: its stages were planned with it.
struct StreamHeader {
  int64_t dims;
  double eps;
  int64_t reserved[2];
};
static_assert(sizeof(StreamHeader) == sizeof(SketchDim), "header is one record");

StreamHeader *header(GuxSSTask *task) { return static_cast<StreamHeader *>(task->stream_state); }
SketchDim *records(GuxSSTask *task) { return reinterpret_cast<SketchDim *>(header(task) + 1); }

template <class T>
struct Job {
  SketchDim *dims;
  const int64_t *list;  // selected dimension numbers
  int64_t count;
  double eps;
  bool one;
  Columns<T> x;
  int64_t first, len;  // the slice of observations
  const T *orders;
  int64_t m;
  T *q;
  int64_t status;  // last negative status of any worker, stored atomically
};

template <class T>
void fold_worker(int block, void *, int nblocks, void *args) {
  Job<T> &J = *static_cast<Job<T> *>(args);
  for (int64_t c = block; c < J.count; c += nblocks) {
    const int64_t j = J.list[c];
    Sketch<T> s(J.dims[j], J.eps);
    if (s.room() < J.len) continue;  // a stage that could not be closed earlier
    if (!s.fold(J.len, [&](int64_t i) { return J.x.at(j, J.first + i); }, J.one))
      __atomic_store_n(&J.status, GUX_SS_NO_MEMORY, __ATOMIC_RELAXED);
  }
}

template <class T>
void read_worker(int block, void *, int nblocks, void *args) {
  Job<T> &J = *static_cast<Job<T> *>(args);
  for (int64_t c = block; c < J.count; c += nblocks) {
    const int64_t j = J.list[c];
    SketchDim &d = J.dims[j];
    if (d.count == 0) continue;
    Sketch<T> s(d, J.eps);
    auto *items = static_cast<Item<T> *>(qor_serv_allocate(sizeof(Item<T>) * s.items(), 64));
    if (!items) {
      __atomic_store_n(&J.status, GUX_SS_NO_MEMORY, __ATOMIC_RELAXED);
      continue;
    }
    const int64_t k = s.list(items);
    // Cumulative weights, in place of the weights.
    for (int64_t i = 1; i < k; ++i) items[i].w += items[i - 1].w;
    for (int64_t o = 0; o < J.m; ++o) {
      // The nearest rank to (N-1)*b; the value whose weight interval holds it.
      const double t = (double)(d.count - 1) * (double)J.orders[o];
      const int64_t r = (int64_t)(t + 0.5);
      int64_t lo = 0, hi = k - 1;
      while (lo < hi) {
        const int64_t mid = lo + (hi - lo) / 2;
        if (items[mid].w > r) hi = mid; else lo = mid + 1;
      }
      J.q[j * J.m + o] = items[lo].v;
    }
    qor_serv_deallocate(items);
  }
}

template <class T>
void run(Job<T> &J, const GuxThreadingTable *threading, void (*worker)(int, void *, int, void *)) {
  const int64_t threads = threading ? threading->thread_count() : 1;
  const int64_t blocks = J.count < threads ? J.count : threads;
  if (blocks > 1)
    threading->parallel_for((int)blocks, &J, worker);
  else if (blocks == 1)
    worker(0, nullptr, 1, &J);
}

// First call: the header and one record per dimension; selected dimensions
// get stage 0, the others stay empty (no levels), which marks them.
template <class T>
int64_t create_state(GuxSSTask *task, int64_t p, double eps) {
  const size_t bytes = sizeof(SketchDim) * (size_t)(p + 1);
  auto *h = static_cast<StreamHeader *>(qor_serv_allocate(bytes, 128));
  if (!h) return GUX_SS_NO_MEMORY;
  std::memset(h, 0, bytes);
  h->dims = p, h->eps = eps;
  task->stream_state = h;
  task->cleanup = __guxSQuantilesFreeBuffers;
  task->cleanup_count = 1;
  SketchDim *d = records(task);
  for (int64_t j = 0; j < p; ++j) {
    if (!selected(task, j)) continue;
    Sketch<T> s(d[j], eps);
    if (!s.start()) {
      __guxSQuantilesFreeBuffers(task);
      return GUX_SS_NO_MEMORY;
    }
  }
  return GUX_SS_OK;
}

template <class T>
int64_t stream_quantiles(GuxSSTask *task, uint64_t, uint64_t method,
                         const GuxThreadingTable *threading) {
  if (!task) return GUX_SS_NULL_TASK;
  const int wide = (int)task->index_width;
  if (!task->p || read_int(task->p, wide) < 1) return GUX_SS_BAD_DIMENSION;
  if (!task->n || read_int(task->n, wide) < 0) return GUX_SS_BAD_OBSERVATIONS;
  const int64_t p = read_int(task->p, wide), n = read_int(task->n, wide);
  int64_t code = 0;
  if (n > 0) {
    if (!task->x) return GUX_SS_NO_X;
    if (!task->x_storage) return GUX_SS_NO_STORAGE;
    code = read_int(task->x_storage, wide);
    if (!storage_known(code)) return GUX_SS_BAD_STORAGE;
  }
  if (!task->stream_quantiles) return GUX_SS_NO_STREAM_QUANTILES;
  const T *orders = static_cast<const T *>(task->stream_orders);
  if (!orders) return GUX_SS_NO_STREAM_ORDERS;
  if (!task->stream_order_count) return GUX_SS_BAD_STREAM_ORDERS;
  const int64_t m = read_int(task->stream_order_count, wide);
  if (m < 0) return GUX_SS_BAD_STREAM_ORDERS;
  if (!task->stream_param_count) return GUX_SS_NO_STREAM_PARAM_COUNT;
  if (read_int(task->stream_param_count, wide) != 1) return GUX_SS_BAD_STREAM_PARAM_COUNT;
  for (int64_t k = 0; k < m; ++k)
    if (!(orders[k] >= 0 && orders[k] <= 1)) return GUX_SS_BAD_STREAM_ORDERS;
  if (!task->stream_params) return GUX_SS_NO_STREAM_PARAMS;
  if (!(method & (GUX_SS_M_STREAM_ONE | GUX_SS_M_STREAM_GROUPED))) return GUX_SS_BAD_METHOD;
  const double eps = (double)static_cast<const T *>(task->stream_params)[0];
  if (!(eps > 0 && eps <= 1)) return GUX_SS_BAD_STREAM_EPSILON;

  if (!task->stream_state) {
    const int64_t st = create_state<T>(task, p, eps);
    if (st < 0) return st;
  } else {
    // The selected set must be the one the sketches were made for.
    if (header(task)->dims != p) return GUX_SS_BAD_INDICES;
    const SketchDim *d = records(task);
    for (int64_t j = 0; j < p; ++j)
      if (selected(task, j) != (d[j].levels > 0)) return GUX_SS_BAD_INDICES;
  }
  auto *list = static_cast<int64_t *>(qor_serv_allocate(sizeof(int64_t) * (size_t)p, 64));
  if (!list) return GUX_SS_NO_MEMORY;
  Job<T> job{records(task), list, selected_dims(task, p, list), header(task)->eps,
             (method & GUX_SS_M_STREAM_ONE) != 0, Columns<T>(task->x, n, p, code), 0, 0,
             orders, m, static_cast<T *>(task->stream_quantiles), GUX_SS_OK};
  // Slices never cross a stage boundary; all selected dimensions share one
  // count, so the first one tells the room.
  while (job.count > 0 && job.first < n && job.status == GUX_SS_OK) {
    const int64_t room = Sketch<T>(job.dims[list[0]], job.eps).room();
    job.len = n - job.first < room ? n - job.first : room;
    if (job.len <= 0) {
      job.status = GUX_SS_NO_MEMORY;  // a stage left full by an earlier failure
      break;
    }
    run(job, threading, fold_worker<T>);
    job.first += job.len;
  }
  if (m > 0) run(job, threading, read_worker<T>);
  qor_serv_deallocate(list);
  return job.status;
}

}  // namespace
}  // namespace qor::ss

QOR_API void __guxSQuantilesFreeBuffers(GuxSSTask *task) {
  using namespace qor::ss;
  if (!task || !task->stream_state) return;
  SketchDim *d = records(task);
  for (int64_t j = 0; j < header(task)->dims; ++j) Sketch<double>::release(d[j]);
  qor_serv_deallocate(task->stream_state);
  task->stream_state = nullptr;
}

QOR_SS_ENTRIES(StreamQuantiles, qor::ss::stream_quantiles)
