// The in-place sorting helpers of the statistics side: quicksort, quick-select
// and the single partition step both are made of. Double and single twins.
#include <qor/qor_stats.h>

#include <limits>

#include "stats/ss_sort_kernels.h"

namespace qor::ss {
namespace {

template <class T>
int64_t step(int64_t n, T *data) {
  if (n < 1) return -1;
  if (n < 3) {
    if (n == 2) order2(data[0], data[1]);
    return 0;
  }
  return partition_step(data, n);
}

template <class T>
T select(int64_t n, T *data, int64_t k) {
  if (n < 1) return std::numeric_limits<T>::quiet_NaN();
  k = k < 0 ? 0 : k >= n ? n - 1 : k;
  return quick_select(data, n, k);
}

}  // namespace
}  // namespace qor::ss

QOR_API void __guxdQSort(int64_t n, double *data) { qor::ss::quick_sort(data, n); }
QOR_API void __guxsQSort(int64_t n, float *data) { qor::ss::quick_sort(data, n); }

QOR_API double __guxdQSortSelect(int64_t n, double *data, int64_t k) {
  return qor::ss::select(n, data, k);
}
QOR_API float __guxsQSortSelect(int64_t n, float *data, int64_t k) {
  return qor::ss::select(n, data, k);
}

QOR_API int64_t __guxdQSortStep(int64_t n, double *data) { return qor::ss::step(n, data); }
QOR_API int64_t __guxsQSortStep(int64_t n, float *data) { return qor::ss::step(n, data); }
