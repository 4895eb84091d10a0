// Interpolation: values, derivatives and cells at sites, by blocks of sites
// held on the stack and spread over the threading table.
#include "fitting/evaluate.h"
#include <math.h>

namespace qor::df {

template <class T> void expand_sites(const T* ends, int64_t n, T* out);

namespace {

constexpr int64_t kBlock = 512;

// Where result (site s, function f, order slot k) goes: base(f) + s*ss + k*ks.
template <class T> struct Results {
  T* r;
  int64_t rhint, nsite, ny, nd;
  T* base(int64_t f) const {
    switch (rhint) {
      case GUX_DF_MATRIX_STORAGE_COLS: return r + f * nsite * nd;
      case GUX_DF_MATRIX_STORAGE_FUNCS_SITES_DERS: return r + f;
      case GUX_DF_MATRIX_STORAGE_FUNCS_DERS_SITES: return r + f * nd * nsite;
      case GUX_DF_MATRIX_STORAGE_BY_POINTER: return reinterpret_cast<T**>(r)[f];
      default: return r + f * nd;
    }
  }
  int64_t site_stride() const {
    switch (rhint) {
      case GUX_DF_MATRIX_STORAGE_COLS: case GUX_DF_MATRIX_STORAGE_BY_POINTER: return nd;
      case GUX_DF_MATRIX_STORAGE_FUNCS_SITES_DERS: return nd * ny;
      case GUX_DF_MATRIX_STORAGE_FUNCS_DERS_SITES: return 1;
      default: return ny * nd;
    }
  }
  int64_t order_stride() const {
    switch (rhint) {
      case GUX_DF_MATRIX_STORAGE_FUNCS_SITES_DERS: return ny;
      case GUX_DF_MATRIX_STORAGE_FUNCS_DERS_SITES: return nsite;
      default: return 1;
    }
  }
};

template <class T> struct Call {
  const GuxDFTask* task;
  int kind;
  bool want_values, want_cells, cells_given;
  int64_t nsite;
  const T* site;      // null for uniform sites (expanded per block)
  const T* ends;      // first and last uniform site
  int64_t nd;
  int64_t orders[64];
  Results<T> res;
  void* cell;
  SearchArgs<T> search;
  void *le_cb, *le_params, *re_cb, *re_params, *i_cb, *i_params;
};

// Polynomial rows: one loop per (order K, values only, uniform) so that no
// branch on the kind or the order is left inside the site loop.
template <class T, int K, bool ValuesOnly, bool Uniform>
void eval_poly(const Call<T>& c, int64_t f, int64_t s0, int64_t n, const T* site, const int64_t* cell) {
  const GuxDFTask* t = c.task;
  const int64_t nx = t->nx;
  const T* coef = static_cast<const T*>(t->scoeff[f]);
  RowOrigin<T> org(t);
  T* out = c.res.base(f) + s0 * c.res.site_stride();
  const int64_t ss = c.res.site_stride(), ks = c.res.order_stride();
  const T x0 = org.x[0], h = org.h;
  for (int64_t i = 0; i < n; ++i) {
    const int64_t j = row_of_cell(cell[i], nx);
    const T u = site[i] - (Uniform ? x0 + T(j) * h : org.x[j]);
    const T* cj = coef + K * j;
    if (ValuesOnly) {
      out[i * ss] = poly_derivative<T, K>(cj, u, 0);
    } else {
      for (int64_t k = 0; k < c.nd; ++k) out[i * ss + k * ks] = poly_derivative<T, K>(cj, u, c.orders[k]);
    }
  }
}

template <class T, int K>
void eval_dispatch(const Call<T>& c, int64_t f, int64_t s0, int64_t n, const T* site, const int64_t* cell) {
  const bool vo = c.nd == 1 && c.orders[0] == 0, uni = c.task->xhint == GUX_DF_X_UNIFORM;
  if (vo && uni) eval_poly<T, K, true, true>(c, f, s0, n, site, cell);
  else if (vo) eval_poly<T, K, true, false>(c, f, s0, n, site, cell);
  else if (uni) eval_poly<T, K, false, true>(c, f, s0, n, site, cell);
  else eval_poly<T, K, false, false>(c, f, s0, n, site, cell);
}

// Quadratic with knots: parabola j lies between knots t[j-1] and t[j] and
// is written in u = s - x[j]; a site of cell c picks c-1 or c by its knot.
template <class T>
void eval_knots(const Call<T>& c, int64_t f, int64_t s0, int64_t n, const T* site, const int64_t* cell) {
  const GuxDFTask* t = c.task;
  const int64_t nx = t->nx;
  const T* coef = static_cast<const T*>(t->scoeff[f]);
  const T* knot = static_cast<const T*>(t->ic);
  RowOrigin<T> org(t);
  T* out = c.res.base(f) + s0 * c.res.site_stride();
  const int64_t ss = c.res.site_stride(), ks = c.res.order_stride();
  for (int64_t i = 0; i < n; ++i) {
    const int64_t cl = cell[i];
    int64_t j = cl <= 0 ? 0 : cl >= nx ? nx - 1 : (site[i] < knot[cl - 1] ? cl - 1 : cl);
    const T u = site[i] - org(j);
    for (int64_t k = 0; k < c.nd; ++k) out[i * ss + k * ks] = poly_derivative<T, 3>(coef + 3 * j, u, c.orders[k]);
  }
}

// Step and look-up interpolants read the data themselves.
template <class T>
void eval_step(const Call<T>& c, int64_t f, int64_t s0, int64_t n, const T* site, const int64_t* cell) {
  const GuxDFTask* t = c.task;
  const int64_t nx = t->nx;
  Column<T> y = function_of<T>(t, f);
  RowOrigin<T> org(t);
  T* out = c.res.base(f) + s0 * c.res.site_stride();
  const int64_t ss = c.res.site_stride(), ks = c.res.order_stride();
  for (int64_t i = 0; i < n; ++i) {
    const int64_t cl = cell[i];
    T v;
    if (cl <= 0) v = y[0];
    else if (cl >= nx - 1 && site[i] >= org(nx - 1 > 0 ? nx - 1 : 0)) v = y[nx - 1];
    else if (c.kind == 6) v = y[cl - 1];                        // right-continuous: y[i] on [x_i, x_i+1)
    else if (c.kind == 5) v = site[i] == org(cl - 1) ? y[cl - 1] : y[cl];  // left-continuous
    else v = site[i] == org(cl - 1) ? y[cl - 1] : T(NAN);     // look-up: breakpoints only
    for (int64_t k = 0; k < c.nd; ++k) out[i * ss + k * ks] = c.orders[k] == 0 ? v : T(0);
  }
}

// Runs callback cb on the sites of the block selected by pick, for every
// function and order, and scatters its answers.
template <class T, class Pick>
int callback_sites(const Call<T>& c, void* cbp, void* params, int64_t s0, int64_t n, const T* site,
                   const int64_t* cell, Pick pick) {
  typedef int (*Cb)(int64_t*, const int64_t*, const T*, T*, void*, const GuxDFCallBackInfo*);
  Cb cb = reinterpret_cast<Cb>(cbp);
  int64_t idx[kBlock], cells[kBlock];
  T sites[kBlock], r[kBlock];
  int64_t m = 0;
  for (int64_t i = 0; i < n; ++i)
    if (pick(cell[i])) {
      idx[m] = i;
      cells[m] = cell[i];
      sites[m++] = site[i];
    }
  if (m == 0) return 0;
  const int64_t ss = c.res.site_stride(), ks = c.res.order_stride();
  for (int64_t f = 0; f < c.task->ny; ++f) {
    T* out = c.res.base(f) + s0 * ss;
    for (int64_t k = 0; k < c.nd; ++k) {
      GuxDFCallBackInfo info{f, c.orders[k]};
      int64_t mm = m;
      int st = cb(&mm, cells, sites, r, params, &info);
      if (st < 0) return st;
      for (int64_t q = 0; q < m; ++q) out[idx[q] * ss + k * ks] = r[q];
    }
  }
  return 0;
}

// One block of sites: cells, then every function's results.
template <class T> int do_block(const Call<T>& c, int64_t s0, int64_t n, int64_t* position) {
  T expanded[kBlock];
  int64_t cell[kBlock];
  const T* site;
  if (c.site) {
    site = c.site + s0;
  } else {
    const T step = c.nsite > 1 ? (c.ends[1] - c.ends[0]) / T(c.nsite - 1) : T(0);
    for (int64_t i = 0; i < n; ++i) expanded[i] = c.ends[0] + T(s0 + i) * step;
    site = expanded;
  }
  int st = 0;
  if (c.cells_given) {
    if (c.task->index_width) memcpy(cell, static_cast<const int64_t*>(c.cell) + s0, sizeof(int64_t) * n);
    else for (int64_t i = 0; i < n; ++i) cell[i] = static_cast<const int32_t*>(c.cell)[s0 + i];
  } else if ((st = search_block(c.search, n, site, position, cell))) {
    return st;
  }
  const int64_t nx = c.task->nx;
  if (c.want_cells && !c.cells_given) {
    if (c.task->index_width) memcpy(static_cast<int64_t*>(c.cell) + s0, cell, sizeof(int64_t) * n);
    else for (int64_t i = 0; i < n; ++i) static_cast<int32_t*>(c.cell)[s0 + i] = (int32_t)cell[i];
  }
  if (!c.want_values) return 0;
  if (c.kind == 4) {
    st = callback_sites(c, c.i_cb, c.i_params, s0, n, site, cell, [nx](int64_t q) { return q > 0 && q < nx; });
  } else {
    for (int64_t f = 0; f < c.task->ny; ++f) {
      switch (c.kind) {
        case 0: eval_dispatch<T, 2>(c, f, s0, n, site, cell); break;
        case 1: eval_dispatch<T, 3>(c, f, s0, n, site, cell); break;
        case 2: eval_dispatch<T, 4>(c, f, s0, n, site, cell); break;
        case 3: eval_knots(c, f, s0, n, site, cell); break;
        default: eval_step(c, f, s0, n, site, cell); break;
      }
    }
  }
  if (!st && c.le_cb) st = callback_sites(c, c.le_cb, c.le_params, s0, n, site, cell, [](int64_t q) { return q == 0; });
  if (!st && c.re_cb) st = callback_sites(c, c.re_cb, c.re_params, s0, n, site, cell, [nx](int64_t q) { return q >= nx; });
  return st;
}

template <class T>
int interpolate(GuxDFTask* t, int64_t type, int64_t method, int64_t nsite, const T* site, int64_t sitehint,
                int64_t ndorder, const int64_t* dorder, const T* datahint, T* r, int64_t rhint, void* cell,
                void* le_cb, void* le_p, void* re_cb, void* re_p, void* i_cb, void* i_p, void* s_cb,
                void* s_p, const GuxThreadingTable* th) {
  if (!t) return GUX_DF_NULL_TASK;
  const int kind = spline_kind(t, le_cb && re_cb && i_cb);
  if (kind < 0) return kind;
  if (kind == 3 && !t->ic) return GUX_DF_NO_IC;
  if (method != GUX_DF_METHOD_PP && method != GUX_DF_METHOD_STD) return GUX_DF_BAD_METHOD;
  if (type < 1 || type > 7 || !(type & 3)) return GUX_DF_BAD_METHOD;
  if (rhint == 0) rhint = GUX_DF_MATRIX_STORAGE_ROWS;
  if (rhint != 16 && rhint != 32 && rhint != 0x100 && rhint != 0x200 && rhint != 0x80) return GUX_DF_BAD_RHINT;
  Call<T> c{};
  c.task = t;
  c.kind = kind;
  c.want_values = type & GUX_DF_INTERP;
  c.cells_given = type & GUX_DF_CELLS_GIVEN;
  c.want_cells = (type & GUX_DF_CELL) && !c.cells_given;
  if (nsite < 1) return 0;
  if (c.want_values && !r) return GUX_DF_NO_DESTINATION;
  if ((c.want_cells || c.cells_given) && !cell) return GUX_DF_NO_DESTINATION;
  if (c.want_values && kind <= 3 && (!t->scoeff || !t->scoeff[0])) return GUX_DF_NO_SCOEFF;
  if (c.want_values && kind >= 5 && (!t->y || !t->y[0])) return GUX_DF_NO_Y;
  c.nd = 0;
  if (!dorder || ndorder < 1) c.orders[c.nd++] = 0;
  else
    for (int64_t k = 0; k < ndorder && c.nd < 64; ++k)
      if (dorder[k]) c.orders[c.nd++] = k;
  if (c.nd == 0) c.want_values = false;
  c.nsite = nsite;
  c.site = sitehint == GUX_DF_SITES_UNIFORM ? nullptr : site;
  c.ends = site;
  c.res = Results<T>{r, rhint, nsite, t->ny, c.nd};
  c.cell = cell;
  c.le_cb = le_cb; c.le_params = le_p;
  c.re_cb = re_cb; c.re_params = re_p;
  c.i_cb = i_cb; c.i_params = i_p;
  // Given cells skip the search and its hints.
  int st = c.cells_given ? 0 : choose_strategy(t, sitehint, datahint, s_cb, s_p, &c.search);
  if (st) return st;
  int64_t position = 0;
  if (nsite == 1) return do_block(c, 0, 1, &position);  // single site: no threading
  const int64_t nblocks_sites = (nsite + kBlock - 1) / kBlock;
  int nb = thread_count(th);
  if (nb > nblocks_sites / 4) nb = (int)(nblocks_sites / 4);
  if (nb < 1) nb = 1;
  if (nb > 64) nb = 64;
  int stats[64] = {0};
  auto body = [&](int b) {
    int64_t lo = nsite * b / nb, hi = nsite * (b + 1) / nb, pos = 0;
    for (int64_t s = lo; s < hi && !stats[b]; s += kBlock)
      stats[b] = do_block(c, s, hi - s < kBlock ? hi - s : kBlock, &pos);
  };
  run_blocks(th, nb, body);
  for (int b = 0; b < nb; ++b)
    if (stats[b]) return stats[b];
  return 0;
}

}  // namespace
}  // namespace qor::df

using namespace qor::df;

QOR_API int qor_df_kernel_dDFInterpolate1D(GuxDFTask* t, int64_t type, int64_t method, int64_t nsite,
    const double* site, int64_t sitehint, int64_t ndorder, const int64_t* dorder, const double* datahint,
    double* r, int64_t rhint, void* cell, void* le, void* lep, void* re, void* rep, void* ic, void* icp,
    void* sc, void* scp, const GuxThreadingTable* th) {
  return interpolate(t, type, method, nsite, site, sitehint, ndorder, dorder, datahint, r, rhint, cell, le,
                     lep, re, rep, ic, icp, sc, scp, th);
}
QOR_API int qor_df_kernel_sDFInterpolate1D(GuxDFTask* t, int64_t type, int64_t method, int64_t nsite,
    const float* site, int64_t sitehint, int64_t ndorder, const int64_t* dorder, const float* datahint,
    float* r, int64_t rhint, void* cell, void* le, void* lep, void* re, void* rep, void* ic, void* icp,
    void* sc, void* scp, const GuxThreadingTable* th) {
  return interpolate(t, type, method, nsite, site, sitehint, ndorder, dorder, datahint, r, rhint, cell, le,
                     lep, re, rep, ic, icp, sc, scp, th);
}
