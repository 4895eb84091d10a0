// Reading one dimension of an observation matrix, and writing one column of a
// result matrix, by storage code; shared by the order-based estimators.
#ifndef QOR_STATS_SS_COLUMNS_H
#define QOR_STATS_SS_COLUMNS_H

#include <qor/qor_stats.h>

#include <cstdint>

#include "stats/ss_internal.h"

namespace qor::ss {

// A storage code is usable when it names one of the two layouts; a code with
// both bits reads as variables in rows, and so does any code when p is 1.
inline bool storage_known(int64_t code) {
  return (code & (GUX_SS_VARIABLES_IN_ROWS | GUX_SS_OBSERVATIONS_IN_ROWS)) != 0;
}

template <class T>
struct Columns {
  T *base;
  int64_t n, p;
  bool rows;  // observations in rows: element (i, j) at base[i*p + j]
  Columns(const void *x, int64_t n_, int64_t p_, int64_t code)
      : base(static_cast<T *>(const_cast<void *>(x))), n(n_), p(p_),
        rows(p_ > 1 && !(code & GUX_SS_VARIABLES_IN_ROWS)) {}
  T &at(int64_t j, int64_t i) const { return rows ? base[i * p + j] : base[j * n + i]; }
  // Copies dimension j into out[0..n-1].
  void gather(int64_t j, T *out) const {
    if (!rows) {
      const T *col = base + j * n;
      for (int64_t i = 0; i < n; ++i) out[i] = col[i];
    } else {
      const T *col = base + j;
      for (int64_t i = 0; i < n; ++i) out[i] = col[i * p];
    }
  }
};

// Fills dims with the selected dimension numbers; returns their count.
inline int64_t selected_dims(const GuxSSTask *task, int64_t p, int64_t *dims) {
  int64_t count = 0;
  for (int64_t j = 0; j < p; ++j)
    if (!task->indices || read_int_at(task->indices, (int)task->index_width, j) != 0)
      dims[count++] = j;
  return count;
}

}  // namespace qor::ss

#endif
