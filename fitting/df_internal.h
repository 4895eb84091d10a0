// Shared internals of the data fitting subsystem.
#pragma once
#include <stdint.h>
#include <string.h>
#include "qor/qor_fitting.h"
#include "qor_core.h"
#include "qor_core_threading.h"

namespace qor::df {

static_assert(sizeof(GuxDFTask) == 160, "task record is 160 bytes");

// Reads the lookup table's scale in the task's precision.
template <class T> inline T table_scale(const GuxDFTask* t);
template <> inline double table_scale<double>(const GuxDFTask* t) { return t->table_scale.d; }
template <> inline float table_scale<float>(const GuxDFTask* t) { return t->table_scale.s; }

// Builds the lookup table of a non-uniform partition (0 or GUX_DF_NO_MEMORY).
template <class T> int build_table(GuxDFTask* t);

// Function f of the task as (pointer, stride).
template <class T> struct Column {
  const T* p;
  int64_t stride;
  T operator[](int64_t i) const { return p[i * stride]; }
};
template <class T> inline Column<T> function_of(const GuxDFTask* t, int64_t f) {
  if (t->yhint == GUX_DF_Y_COLUMNS) return {static_cast<const T*>(t->y[0]) + f, t->ny};
  return {static_cast<const T*>(t->y[f]), 1};
}

// Runs body(block) for blocks 0..n-1 through the threading table, or inline.
template <class F> inline void run_blocks(const GuxThreadingTable* th, int n, F& body) {
  if (n <= 1 || !th) {
    for (int b = 0; b < n; ++b) body(b);
    return;
  }
  th->parallel_for(n, &body, [](int b, void*, int, void* a) { (*static_cast<F*>(a))(b); });
}
inline int thread_count(const GuxThreadingTable* th) {
  if (!th || !th->thread_count) return 1;
  int n = th->thread_count();
  return n < 1 ? 1 : n;
}

}  // namespace qor::df
