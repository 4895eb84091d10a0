// Editors and queries of a data fitting task.
#include "fitting/df_internal.h"

namespace qor::df {

template <class T> int set_y(GuxDFTask* t, const T* y, int64_t ny, int64_t yhint);

// Rebuilds the coefficient pointers for caller memory `scoeff`: each
// function's row holds (nx-1) polynomials of s_order reals, one more for the
// quadratic with knots. Slot ny is a zeroed spare.
template <class T> static int set_scoeff(GuxDFTask* t, T* scoeff) {
  if (t->ny == 0) return GUX_DF_BAD_NY;
  if (t->scoeff) qor_serv_deallocate(t->scoeff);
  t->scoeff = static_cast<void**>(qor_serv_allocate(sizeof(void*) * (t->ny + 1), 64));
  if (!t->scoeff) return GUX_DF_NO_MEMORY;
  memset(t->scoeff, 0, sizeof(void*) * (t->ny + 1));
  if (!(t->scoeffhint & GUX_DF_Y_BY_POINTER)) {
    const int64_t row = t->nx * t->s_order - (t->s_type == 1 ? 0 : t->s_order);
    for (int64_t f = 0; f < t->ny; ++f) t->scoeff[f] = scoeff + f * row;
  } else {
    t->scoeff[0] = scoeff;
  }
  return 0;
}

// A pointer array of ny slots (plus a spare) for indexed edits.
static int ensure_array(GuxDFTask* t, void*** arr) {
  if (*arr) return 0;
  if (t->ny < 1) return GUX_DF_BAD_NY;
  *arr = static_cast<void**>(qor_serv_allocate(sizeof(void*) * (t->ny + 1), 64));
  if (!*arr) return GUX_DF_NO_MEMORY;
  memset(*arr, 0, sizeof(void*) * (t->ny + 1));
  return 0;
}

template <class T>
static int edit_pp(GuxDFTask* t, int64_t s_order, int64_t s_type, int64_t bc_type, const T* bc,
                   int64_t ic_type, const T* ic, T* scoeff, int64_t scoeffhint) {
  if (!t) return GUX_DF_NULL_TASK;
  if (t->dimension != 1) return 0;
  t->s_order = s_order;
  t->s_type = s_type;
  if (s_order < 0) return GUX_DF_BAD_S_ORDER;
  if (s_type < 0) return GUX_DF_BAD_S_TYPE;
  t->bc_type = bc_type;
  t->bc = const_cast<T*>(bc);
  if (bc_type != 0 && bc_type != 1 && bc_type != 2 && bc_type != 64 && !bc) return GUX_DF_NO_BC;
  t->ic_type = ic_type;
  t->ic = const_cast<T*>(ic);
  if (ic_type != 0 && !ic) return GUX_DF_NO_IC;
  if (ic_type == 0 && ic) return GUX_DF_BAD_IC_TYPE;
  t->scoeffhint = scoeffhint;
  if (scoeff) return set_scoeff(t, scoeff);
  return 0;
}

template <class T> static int edit_ptr(GuxDFTask* t, int64_t id, const T* p) {
  if (!t) return GUX_DF_NULL_TASK;
  if (t->dimension != 1) return 0;
  switch (id) {
    case GUX_DF_A_X:
      if (!p) return GUX_DF_NO_X;
      t->x = const_cast<T*>(p);
      return 0;
    case GUX_DF_A_Y:
      if (!p) return GUX_DF_NO_Y;
      if (t->ny < 1) return GUX_DF_BAD_NY;
      return set_y(t, p, t->ny, t->yhint);
    case GUX_DF_A_IC:
      if (!p) return GUX_DF_NO_IC;
      t->ic = const_cast<T*>(p);
      return 0;
    case GUX_DF_A_BC:
      if (!p) return GUX_DF_NO_BC;
      t->bc = const_cast<T*>(p);
      return 0;
    case GUX_DF_A_SCOEFF:
      if (!p) return GUX_DF_NO_SCOEFF;
      return set_scoeff(t, const_cast<T*>(p));
    default:
      return GUX_DF_BAD_ATTRIBUTE;
  }
}

static int edit_idx(GuxDFTask* t, int64_t id, int64_t index, const void* p) {
  if (!t) return GUX_DF_NULL_TASK;
  if (t->dimension != 1) return 0;
  void*** arr;
  if (id == GUX_DF_A_Y) {
    if (t->yhint == GUX_DF_Y_COLUMNS) return GUX_DF_BAD_YHINT;
    arr = &t->y;
  } else if (id == GUX_DF_A_SCOEFF) {
    arr = &t->scoeff;
  } else {
    return GUX_DF_BAD_ATTRIBUTE;
  }
  if (index < 0 || index >= t->ny) return GUX_DF_BAD_INDEX;
  if (!p) return id == GUX_DF_A_Y ? GUX_DF_NO_Y : GUX_DF_NO_SCOEFF;
  int st = ensure_array(t, arr);
  if (st) return st;
  (*arr)[index] = const_cast<void*>(p);
  return 0;
}

template <class T> static int edit_val(GuxDFTask* t, int64_t id, int64_t v) {
  if (!t) return GUX_DF_NULL_TASK;
  if (t->dimension != 1) return 0;
  switch (id) {
    case GUX_DF_A_NX:
      if (v < 2) return GUX_DF_BAD_NX;
      t->nx = v;
      return 0;
    case GUX_DF_A_XHINT:
      if (v == 0 || v == 2 || v == 4) {
        t->xhint = v;
        return 0;
      }
      if (v == 1) {
        t->xhint = v;
        return build_table<T>(t);
      }
      return GUX_DF_BAD_XHINT;
    case GUX_DF_A_NY:
      if (v < 1) return GUX_DF_BAD_NY;
      t->ny = v;
      return 0;
    case GUX_DF_A_YHINT:
      if (v != 0 && v != 16 && v != 32 && v != 128) return GUX_DF_BAD_YHINT;
      t->yhint = v;
      return 0;
    case GUX_DF_A_S_ORDER:
      if (v < 0) return GUX_DF_BAD_S_ORDER;
      t->s_order = v;
      return 0;
    case GUX_DF_A_S_TYPE:
      if (v < 0 || v > 9 || !((0x23f >> v) & 1)) return GUX_DF_BAD_S_TYPE;  // 0..5, 9
      t->s_type = v;
      return 0;
    case GUX_DF_A_IC_TYPE:
      if (v != 0 && v != 1 && v != 2 && !(v & GUX_DF_IC_QUADRATIC_KNOTS)) return GUX_DF_BAD_IC_TYPE;
      t->ic_type = v;
      return 0;
    case GUX_DF_A_BC_TYPE:
      if (v < 0) return GUX_DF_BAD_BC_TYPE;
      t->bc_type = v;
      return 0;
    case GUX_DF_A_SCOEFFHINT:
      if (v != 0 && v != 16 && v != 32 && v != 128) return GUX_DF_BAD_SCOEFFHINT;
      t->scoeffhint = v;
      return 0;
    case GUX_DF_A_QUASI_UNIFORM:
      if (v != 0 && v != 1) return GUX_DF_BAD_QUASI_UNIFORM;
      t->quasi_uniform = v;
      return 0;
    default:
      return GUX_DF_BAD_ATTRIBUTE;
  }
}

template <class T> static int query_ptr(GuxDFTask* t, int64_t id, T** out) {
  if (!t) return GUX_DF_NULL_TASK;
  if (t->dimension != 1) return 0;
  if (!out) return GUX_DF_NO_DESTINATION;
  switch (id) {
    case GUX_DF_A_X: *out = static_cast<T*>(t->x); return 0;
    case GUX_DF_A_Y: *out = t->y ? static_cast<T*>(t->y[0]) : nullptr; return 0;
    case GUX_DF_A_IC: *out = static_cast<T*>(t->ic); return 0;
    case GUX_DF_A_BC: *out = static_cast<T*>(t->bc); return 0;
    case GUX_DF_A_SCOEFF: *out = t->scoeff ? static_cast<T*>(t->scoeff[0]) : nullptr; return 0;
    default: return GUX_DF_BAD_ATTRIBUTE;
  }
}

static int query_idx(GuxDFTask* t, int64_t id, int64_t index, void** out) {
  if (!t) return GUX_DF_NULL_TASK;
  if (t->dimension != 1) return 0;
  if (!out) return GUX_DF_NO_DESTINATION;
  void** arr;
  if (id == GUX_DF_A_Y) arr = t->y;
  else if (id == GUX_DF_A_SCOEFF) arr = t->scoeff;
  else return GUX_DF_BAD_ATTRIBUTE;
  // Index ny is accepted on purpose; the arrays keep a zeroed spare slot.
  if (index < 0 || index > t->ny) return GUX_DF_BAD_INDEX;
  *out = arr ? arr[index] : nullptr;
  return 0;
}

static int query_val(GuxDFTask* t, int64_t id, void* out) {
  if (!t) return GUX_DF_NULL_TASK;
  if (t->dimension != 1) return 0;
  if (!out) return GUX_DF_NO_DESTINATION;
  int64_t v;
  switch (id) {
    case GUX_DF_A_NX: v = t->nx; break;
    case GUX_DF_A_XHINT: v = t->xhint; break;
    case GUX_DF_A_NY: v = t->ny; break;
    case GUX_DF_A_YHINT: v = t->yhint; break;
    case GUX_DF_A_S_ORDER: v = t->s_order; break;
    case GUX_DF_A_S_TYPE: v = t->s_type; break;
    case GUX_DF_A_IC_TYPE: v = t->ic_type; break;
    case GUX_DF_A_BC_TYPE: v = t->bc_type; break;
    case GUX_DF_A_SCOEFFHINT: v = t->scoeffhint; break;
    case GUX_DF_A_QUASI_UNIFORM: v = t->quasi_uniform; break;
    default: return GUX_DF_BAD_ATTRIBUTE;
  }
  if (t->index_width) *static_cast<int64_t*>(out) = v;
  else *static_cast<int32_t*>(out) = (int32_t)v;
  return 0;
}

}  // namespace qor::df

using namespace qor::df;

QOR_API int qor_df_kernel_dEditPPSpline1D(GuxDFTaskPtr t, int64_t o, int64_t ty, int64_t bct,
                                          const double* bc, int64_t ict, const double* ic,
                                          double* sc, int64_t sch) {
  return edit_pp(t, o, ty, bct, bc, ict, ic, sc, sch);
}
QOR_API int qor_df_kernel_sEditPPSpline1D(GuxDFTaskPtr t, int64_t o, int64_t ty, int64_t bct,
                                          const float* bc, int64_t ict, const float* ic,
                                          float* sc, int64_t sch) {
  return edit_pp(t, o, ty, bct, bc, ict, ic, sc, sch);
}
QOR_API int qor_df_kernel_dEditPtr(GuxDFTaskPtr t, int64_t id, const double* p) { return edit_ptr(t, id, p); }
QOR_API int qor_df_kernel_sEditPtr(GuxDFTaskPtr t, int64_t id, const float* p) { return edit_ptr(t, id, p); }
QOR_API int qor_df_kernel_dEditIdxPtr(GuxDFTaskPtr t, int64_t id, int64_t i, const void* p) { return edit_idx(t, id, i, p); }
QOR_API int qor_df_kernel_sEditIdxPtr(GuxDFTaskPtr t, int64_t id, int64_t i, const void* p) { return edit_idx(t, id, i, p); }
QOR_API int qor_df_kernel_iEditVal(GuxDFTaskPtr t, int64_t id, int64_t v) {
  if (t && t->precision == 0) return edit_val<float>(t, id, v);
  return edit_val<double>(t, id, v);
}
QOR_API int qor_df_kernel_dQueryPtr(GuxDFTaskPtr t, int64_t id, double** out) { return query_ptr(t, id, out); }
QOR_API int qor_df_kernel_sQueryPtr(GuxDFTaskPtr t, int64_t id, float** out) { return query_ptr(t, id, out); }
QOR_API int qor_df_kernel_dQueryIdxPtr(GuxDFTaskPtr t, int64_t id, int64_t i, void** out) { return query_idx(t, id, i, out); }
QOR_API int qor_df_kernel_sQueryIdxPtr(GuxDFTaskPtr t, int64_t id, int64_t i, void** out) { return query_idx(t, id, i, out); }
QOR_API int qor_df_kernel_iQueryVal(GuxDFTaskPtr t, int64_t id, void* out) { return query_val(t, id, out); }
