// Data fitting task: creation, deletion and the lookup table of a
// non-uniform partition.
#include "fitting/df_internal.h"

namespace qor::df {

static inline bool unset(int64_t v) { return (uint64_t)v >= ~(uint64_t)0 - 1; }

// Table of m + 2 pairs (lo, hi) over m equal cells of [x0, x_last]: for a
// site in table cell k, the answer lies in x indices lo..hi of pair k.
template <class T> int build_table(GuxDFTask* t) {
  const int64_t nx = t->nx;
  const T* x = static_cast<const T*>(t->x);
  int64_t m = nx / 16;
  m = m < 16 ? 16 : (m > 1024 ? 1024 : m);
  if (t->table) qor_serv_deallocate(t->table);
  t->table = static_cast<int64_t*>(qor_serv_allocate(sizeof(int64_t) * 2 * (m + 2), 64));
  if (!t->table) return GUX_DF_NO_MEMORY;
  t->table_size = m;
  int64_t* tab = t->table;
  for (int64_t j = 0; j < 2 * (m + 2); ++j) tab[j] = -1;
  const T scale = (T)m / (x[nx - 1] - x[0]);
  if (sizeof(T) == sizeof(double)) t->table_scale.d = (double)scale;
  else t->table_scale.s = (float)scale;
  for (int64_t i = 1; i <= nx - 2; ++i) {
    int64_t k = (int64_t)((x[i] - x[0]) * scale);
    if (k == 0) continue;
    if (unset(tab[2 * (k - 1) + 1])) tab[2 * (k - 1) + 1] = i;
    tab[2 * (k + 1)] = i;
  }
  tab[0] = 0;
  tab[2 * (m - 1) + 1] = nx - 1;
  // Close the gaps from both ends in one sweep.
  for (int64_t j = 0; j + 1 < m; ++j) {
    if (unset(tab[2 * (j + 1)])) tab[2 * (j + 1)] = tab[2 * j];
    if (unset(tab[2 * (m - 2 - j) + 1])) tab[2 * (m - 2 - j) + 1] = tab[2 * (m - 1 - j) + 1];
  }
  tab[2 * m] = tab[2 * (m - 1)];
  tab[2 * m + 1] = tab[2 * (m - 1) + 1];
  return 0;
}
template int build_table<double>(GuxDFTask*);
template int build_table<float>(GuxDFTask*);

// Fills the task's array of function pointers for data y (hint 0/16: one
// row per function; 32 and 128: the first slot only).
template <class T> int set_y(GuxDFTask* t, const T* y, int64_t ny, int64_t yhint) {
  if (t->y) qor_serv_deallocate(t->y);
  t->y = nullptr;
  if (!y) return 0;
  int64_t slots = (ny > 1 ? ny : 1) + 1;  // a spare: queries may read slot ny
  t->y = static_cast<void**>(qor_serv_allocate(sizeof(void*) * slots, 64));
  if (!t->y) return GUX_DF_NO_MEMORY;
  memset(t->y, 0, sizeof(void*) * slots);
  if (yhint == 0 || yhint == GUX_DF_Y_ROWS)
    for (int64_t f = 0; f < ny; ++f) t->y[f] = const_cast<T*>(y) + f * t->nx;
  else
    t->y[0] = const_cast<T*>(y);
  return 0;
}
template int set_y<double>(GuxDFTask*, const double*, int64_t, int64_t);
template int set_y<float>(GuxDFTask*, const float*, int64_t, int64_t);

template <class T>
static int new_task(GuxDFTaskPtr* out, int64_t nx, const T* x, int64_t xhint, int64_t ny,
                    const T* y, int64_t yhint, int wide) {
  if (nx < 2) return GUX_DF_BAD_NX;
  if (!x) return GUX_DF_NO_X;
  if (xhint != 0 && xhint != 1 && xhint != 2 && xhint != 4) return GUX_DF_BAD_XHINT;
  if (ny != 0) {
    if (!y) return GUX_DF_NO_Y;
  } else if (y) {
    return GUX_DF_BAD_NY;
  }
  if (yhint != 0 && yhint != 16 && yhint != 32 && yhint != 128) return GUX_DF_BAD_YHINT;
  auto* t = static_cast<GuxDFTask*>(qor_serv_allocate(sizeof(GuxDFTask), 128));
  if (!t) return GUX_DF_NO_MEMORY;
  memset(t, 0, sizeof *t);
  t->nx = nx;
  t->x = const_cast<T*>(x);
  t->xhint = xhint;
  int st = set_y(t, y, ny, yhint);
  if (st) {
    qor_serv_deallocate(t);
    return st;
  }
  t->ny = ny;
  t->yhint = yhint;
  t->index_width = (uint32_t)wide;
  t->kind = 4;
  t->precision = sizeof(T) == sizeof(double) ? 1 : 0;
  t->dimension = 1;
  if (xhint != GUX_DF_X_UNIFORM && (st = build_table<T>(t)) != 0) {
    if (t->y) qor_serv_deallocate(t->y);
    qor_serv_deallocate(t);
    return st;
  }
  *out = t;
  return 0;
}

}  // namespace qor::df

using namespace qor::df;

QOR_API int qor_df_kernel_dNewTask1D(GuxDFTaskPtr* task, int64_t nx, const double* x,
                                     int64_t xhint, int64_t ny, const double* y, int64_t yhint,
                                     int wide) {
  return new_task(task, nx, x, xhint, ny, y, yhint, wide);
}
QOR_API int qor_df_kernel_sNewTask1D(GuxDFTaskPtr* task, int64_t nx, const float* x,
                                     int64_t xhint, int64_t ny, const float* y, int64_t yhint,
                                     int wide) {
  return new_task(task, nx, x, xhint, ny, y, yhint, wide);
}

QOR_API int qor_df_kernel_DeleteTask(GuxDFTaskPtr* task) {
  if (!task || !*task) return GUX_DF_NULL_TASK;
  GuxDFTask* t = *task;
  if (t->y) qor_serv_deallocate(t->y);
  if (t->scoeff) qor_serv_deallocate(t->scoeff);
  if (t->table) qor_serv_deallocate(t->table);
  qor_serv_deallocate(t);
  *task = nullptr;
  return 0;
}
