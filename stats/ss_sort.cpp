// Sorted copies of the selected dimensions. Dimensions go in rounds of up to
// `chunk` at once, one thread each; a dimension is gathered straight into
// radix keys, sorted, and stored by the output's storage. The output may be X
// itself, since a dimension is fully gathered before it is written back.
#include <qor/qor_stats.h>

#include "qor_core.h"
#include "qor_core_threading.h"
#include "stats/ss_columns.h"
#include "stats/ss_internal.h"
#include "stats/ss_sort_kernels.h"

namespace qor::ss {
namespace {

template <class T>
struct Job {
  Columns<T> x, out;
  const int64_t *dims;  // this round's dimensions
  char *scratch;        // 2*n reals per dimension of the round
};

template <class T>
void worker(int block, void *, int, void *args) {
  const Job<T> &J = *static_cast<const Job<T> *>(args);
  const int64_t n = J.x.n, j = J.dims[block];
  sort_through<T>(n, J.scratch + (size_t)block * 2 * n * sizeof(T),
                  [&](int64_t i) { return J.x.at(j, i); },
                  [&](int64_t i, T v) { J.out.at(j, i) = v; });
}

template <class T>
int64_t sort(GuxSSTask *task, uint64_t, uint64_t method, const GuxThreadingTable *threading) {
  if (!task) return GUX_SS_NULL_TASK;
  const int wide = (int)task->index_width;
  if (!task->p || read_int(task->p, wide) < 1) return GUX_SS_BAD_DIMENSION;
  if (!task->n || read_int(task->n, wide) < 1) return GUX_SS_BAD_OBSERVATIONS;
  if (!task->x_storage) return GUX_SS_NO_STORAGE;
  const int64_t code = read_int(task->x_storage, wide);
  if (!storage_known(code)) return GUX_SS_BAD_STORAGE;
  if (!task->sorted) return GUX_SS_NO_SORTED;
  if (!task->sorted_storage) return GUX_SS_NO_STORAGE;
  const int64_t out_code = read_int(task->sorted_storage, wide);
  if (!storage_known(out_code)) return GUX_SS_BAD_STORAGE;
  const int64_t p = read_int(task->p, wide), n = read_int(task->n, wide);
  const Columns<T> x(task->x, n, p, code), out(task->sorted, n, p, out_code);
  if (task->sorted == task->x) {
    if (x.rows != out.rows) return GUX_SS_NO_STORAGE;
    if (task->indices) return GUX_SS_SORT_IN_PLACE_WITH_INDICES;
  }
  if (!(method & GUX_SS_M_SORT)) return GUX_SS_BAD_METHOD;
  if (!task->x) return GUX_SS_NO_X;

  auto *dims = static_cast<int64_t *>(qor_serv_allocate(sizeof(int64_t) * (size_t)p, 64));
  if (!dims) return GUX_SS_NO_MEMORY;
  const int64_t count = selected_dims(task, p, dims);
  // Dimensions per round: as many rows as a gigabyte per thread holds, at
  // least one, at most one per thread and no more than there are.
  const int64_t threads = threading ? threading->thread_count() : 1;
  const int64_t row = (int64_t)sizeof(T) * n * (x.rows ? 2 : 1);
  int64_t chunk = (threads << 30) / row;
  const int64_t most = threads < p ? threads : p;
  chunk = chunk < 1 ? 1 : chunk > most ? most : chunk;
  if (chunk > count) chunk = count;
  char *scratch = nullptr;
  if (count > 0) {
    // Radix sorting moves keys between two arrays: 2*n reals per dimension.
    scratch = static_cast<char *>(qor_serv_allocate((size_t)chunk * 2 * n * sizeof(T), 128));
    if (!scratch) {
      qor_serv_deallocate(dims);
      return GUX_SS_NO_MEMORY;
    }
  }
  for (int64_t start = 0; start < count; start += chunk) {
    const int64_t len = count - start < chunk ? count - start : chunk;
    Job<T> job{x, out, dims + start, scratch};
    if (len > 1)
      threading->parallel_for((int)len, &job, worker<T>);
    else
      worker<T>(0, nullptr, 1, &job);
  }
  qor_serv_deallocate(scratch);
  qor_serv_deallocate(dims);
  return GUX_SS_OK;
}

}  // namespace
}  // namespace qor::ss

QOR_SS_ENTRIES(Sort, qor::ss::sort)
