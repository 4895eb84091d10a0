// Helpers shared by the statistics entries: reading the task's integer
// parameters at their declared width, and the estimator signature.
#ifndef QOR_STATS_SS_INTERNAL_H
#define QOR_STATS_SS_INTERNAL_H

#include <qor/qor_stats.h>

#include <cstdint>

namespace qor::ss {

// An integer parameter is 64-bit when the task's index width flag is set.
inline int64_t read_int(const void *ptr, int wide) {
  return wide ? *static_cast<const int64_t *>(ptr) : *static_cast<const int32_t *>(ptr);
}

inline int64_t read_int_at(const void *array, int wide, int64_t i) {
  return wide ? static_cast<const int64_t *>(array)[i] : static_cast<const int32_t *>(array)[i];
}

// Selection entry j: every dimension is selected when there is no array.
inline bool selected(const GuxSSTask *task, int64_t j) {
  return !task->indices || read_int_at(task->indices, (int)task->index_width, j) != 0;
}

}  // namespace qor::ss

#endif
