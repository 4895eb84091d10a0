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

// The double and single entries of an estimator written once as a template
// fn<T>(task, estimates, method, threading).
#define QOR_SS_ENTRIES(Name, fn)                                                                    \
  QOR_API int64_t _guxdSS##Name(GuxSSTask *task, uint64_t estimates, uint64_t method,              \
                                const GuxThreadingTable *threading) {                              \
    return fn<double>(task, estimates, method, threading);                                         \
  }                                                                                                \
  QOR_API int64_t _guxsSS##Name(GuxSSTask *task, uint64_t estimates, uint64_t method,              \
                                const GuxThreadingTable *threading) {                              \
    return fn<float>(task, estimates, method, threading);                                          \
  }

#endif
