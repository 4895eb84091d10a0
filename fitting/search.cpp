// Cell search: the seven strategies in their 32, 64 and 64Pack forms.
// I is the type the loop computes in, O the stored cell type.
#include "fitting/search.h"
#include <math.h>

namespace qor::df {
namespace {

// Walks from cell c to the answer for s (s known to lie in [x0, x_last)
// or outside on the left, for walk-down).
template <class T, class I> inline I walk_up(const T* x, I nx, I c, T s) {
  while (c < nx && x[c] <= s) ++c;
  return c;
}
template <class T, class I> inline I walk_down(const T* x, I c, T s) {
  while (c > 0 && x[c - 1] > s) --c;
  return c;
}

// Uniform formula: x holds the two ends; scale = (nx-1)/(x1-x0).
template <class T, class I> inline I uniform_cell(T s, T x0, T x1, T scale, I nx) {
  if (s == x1) return nx - 1;
  if (s < x0) return 0;
  T v = (s - x0) * scale;
  if (!(v < (T)nx)) return nx;  // far right, and NaN
  I g = (I)v + 1;
  return g < nx ? g : nx;
}

template <class T, class I, class O>
int uniform(int64_t nx, const T* x, int64_t n, const T* site, T scale, O* cell) {
  const T x0 = x[0], x1 = x[1];
  for (int64_t i = 0; i < n; ++i) cell[i] = (O)uniform_cell<T, I>(site[i], x0, x1, scale, (I)nx);
  return 0;
}

template <class T, class I, class O>
int quasi_uniform(int64_t nx64, const T* x, int64_t n, const T* site, T scale, O* cell) {
  const I nx = (I)nx64;
  const T x0 = x[0], xl = x[nx - 1];
  I first[32];
  for (int64_t b = 0; b < n; b += 32) {
    const int64_t m = n - b < 32 ? n - b : 32;
    for (int64_t i = 0; i < m; ++i) {  // first guess from the mean spacing
      T s = site[b + i], v = (s - x0) * scale;
      first[i] = s == xl ? nx - 1 : (v >= T(0) && v < (T)nx) ? (I)v + 1 : (v < T(0) ? 1 : nx);
      if (first[i] > nx) first[i] = nx;
    }
    for (int64_t i = 0; i < m; ++i) {  // correct by a short linear walk
      T s = site[b + i];
      I c = first[i];
      if (s < x0) c = 0;
      else if (s == xl) c = nx - 1;
      else if (c < nx && s >= x[c]) c = walk_up(x, nx, c, s);
      else c = walk_down(x, c, s);
      cell[b + i] = (O)c;
    }
  }
  return 0;
}

// Sites go in groups of 16 whose bisections advance in lockstep, so that
// the loads of different sites overlap instead of waiting on each other.
// Lockstep branch-free steps are cheap, so the bisection runs to the end
// (x[lo] <= s < x[hi], hi = lo + 1) instead of stopping at a 20-wide
// window for a linear scan: the cell found is the same.
template <class T, class I, class O>
int hybrid(int64_t nx64, const T* x, int64_t n, const T* site, T scale, const int64_t* table, O* cell) {
  const I nx = (I)nx64;
  const T x0 = x[0], xl = x[nx - 1];
  constexpr int G = 16;
  I lo[G], hi[G];
  for (int64_t b = 0; b < n; b += G) {
    const int m = n - b < G ? (int)(n - b) : G;
    bool busy = false;
    for (int j = 0; j < m; ++j) {
      const T s = site[b + j];
      lo[j] = 0;
      hi[j] = nx - 1;
      if (!(s >= x0 && s < xl)) {
        hi[j] = lo[j];  // settled below, at or above the ends
        continue;
      }
      if (table) {
        const T v = (s - x0) * scale;
        // The table has m+2 pairs; pair m repeats m-1 and absorbs rounding.
        const int64_t k = v >= T(0) && v < (T)(1 << 30) ? (int64_t)v : 0;
        lo[j] = (I)table[2 * k];
        hi[j] = (I)table[2 * k + 1];
      }
      busy |= hi[j] - lo[j] > 1;
    }
    while (busy) {
      busy = false;
      for (int j = 0; j < m; ++j) {
        const I mid = (I)((lo[j] + hi[j]) >> 1);
        const bool above = x[mid] > site[b + j];
        hi[j] = above ? mid : hi[j];
        lo[j] = above ? lo[j] : mid;
        busy |= hi[j] - lo[j] > 1;
      }
    }
    for (int j = 0; j < m; ++j) {
      const T s = site[b + j];
      I c;
      if (s < x0) c = 0;
      else if (s == xl) c = nx - 1;
      else if (!(s < xl)) c = s > xl ? nx : nx - 1;  // NaN ends at nx - 1
      else {
        c = lo[j];
        while (c < hi[j] && x[c] <= s) ++c;
      }
      cell[b + j] = (O)c;
    }
  }
  return 0;
}

template <class T, class I, class O>
int sorted(int64_t nx64, const T* x, int64_t n, const T* site, int64_t* position, O* cell) {
  const I nx = (I)nx64;
  const T xl = x[nx - 1];
  I c = (I)*position;
  if (c < 0) c = 0;
  if (c > nx) c = nx;
  int64_t i = 0;
  while (i < n && site[i] == xl) cell[i++] = (O)(nx - 1);
  if (i < n && c < nx - nx / 2) {  // a coarse jump before the linear scan
    I lo = c, hi = nx;
    const T s = site[i];
    while (lo < hi - nx / 2) {
      I mid = (I)((lo + hi) >> 1);
      if (x[mid] > s) hi = mid;
      else lo = mid;
    }
    c = lo;
  }
  for (; i < n; ++i) {
    const T s = site[i];
    if (s == xl) {
      cell[i] = (O)(nx - 1);
      continue;
    }
    c = walk_up(x, nx, c, s);
    cell[i] = (O)c;
  }
  *position = c;
  return 0;
}

template <class T, class I, class O>
int peak(int64_t nx64, const T* x, int64_t n, const T* site, T peak_index, O* cell) {
  const I nx = (I)nx64;
  const T x0 = x[0], xl = x[nx - 1];
  const I p = (I)peak_index;
  for (int64_t i = 0; i < n; ++i) {
    const T s = site[i];
    I c;
    if (s == xl) c = nx - 1;
    else if (s > xl) c = nx;
    else if (s < x0) c = 0;
    else if (p >= nx) c = walk_down(x, nx - 1, s);
    else if (s >= x[p]) c = walk_up(x, nx, p, s);
    else if (p > 0 && x[p - 1] > s) c = walk_down(x, p, s);
    else c = p;
    cell[i] = (O)c;
  }
  return 0;
}

// Breakpoint i of an explicit or a uniform partition.
template <class T, bool Uniform> struct Breaks {
  const T* x;
  int64_t nx;
  T operator[](int64_t i) const {
    if (!Uniform) return x[i];
    return i == nx - 1 ? x[1] : x[0] + (x[1] - x[0]) * (T)i / (T)(nx - 1);
  }
};

// User callback search; Uniform also seeds the cells with the uniform formula.
template <class T, bool Uniform, class O>
int user_def(int64_t nx, const T* x, int64_t n, const T* site, T scale, O* cell, void* cbp, void* params) {
  typedef int (*Cb)(int64_t*, const T*, int64_t*, int*, void*);
  Cb cb = reinterpret_cast<Cb>(cbp);
  Breaks<T, Uniform> X{x, nx};
  const T xl = X[nx - 1];
  int64_t buf[128];
  int flag[128];
  for (int64_t b = 0; b < n; b += 128) {
    int64_t m = n - b < 128 ? n - b : 128;
    for (int64_t i = 0; i < m; ++i) {
      flag[i] = 0;
      buf[i] = Uniform ? uniform_cell<T, int64_t>(site[b + i], x[0], x[1], scale, nx) : 0;
    }
    int st = cb(&m, site + b, buf, flag, params);
    if (st < 0) return st;
    if (st != GUX_DF_CALLBACK_ALL_SETTLED) {
      for (int64_t i = 0; i < m; ++i) {
        if (flag[i]) continue;
        const T s = site[b + i];
        int64_t c = buf[i] < 0 ? 0 : buf[i];
        if (c < nx) {
          if (s >= X[c]) {
            if (s == xl) c = nx - 1;
            else while (c < nx && X[c] <= s) ++c;
          } else {
            while (c > 0 && X[c - 1] > s) --c;
          }
        } else if (s == xl) {
          c = nx - 1;
        } else {
          c = nx;
          while (c > 0 && X[c - 1] > s) --c;
        }
        buf[i] = c;
      }
    }
    for (int64_t i = 0; i < m; ++i) cell[b + i] = (O)buf[i];
  }
  return 0;
}

// One strategy run on a block with the cell form chosen by I and O.
template <class T, class I, class O>
int run_strategy(const SearchArgs<T>& a, int64_t n, const T* site, int64_t* position, O* cell) {
  switch (a.strategy) {
    case kUniform: return uniform<T, I, O>(a.nx, a.x, n, site, a.scale, cell);
    case kQuasiUniform: return quasi_uniform<T, I, O>(a.nx, a.x, n, site, a.scale, cell);
    case kSorted: return sorted<T, I, O>(a.nx, a.x, n, site, position, cell);
    case kPeak: return peak<T, I, O>(a.nx, a.x, n, site, a.scale, cell);
    case kHybrid: return hybrid<T, I, O>(a.nx, a.x, n, site, a.scale, a.table, cell);
    case kUserDef: return user_def<T, false, O>(a.nx, a.x, n, site, a.scale, cell, a.cb, a.params);
    default: return user_def<T, true, O>(a.nx, a.x, n, site, a.scale, cell, a.cb, a.params);
  }
}

}  // namespace

template <class T>
int choose_strategy(const GuxDFTask* t, int64_t sitehint, const T* datahint, void* cb, void* params,
                    SearchArgs<T>* a) {
  const int64_t nx = t->nx;
  const T* x = static_cast<const T*>(t->x);
  *a = SearchArgs<T>{kHybrid, nx, x, T(0), t->table, cb, params};
  if (cb) a->strategy = t->xhint == GUX_DF_X_UNIFORM ? kUniUserDef : kUserDef;
  else if (t->xhint == GUX_DF_X_UNIFORM) a->strategy = kUniform;
  else if (t->xhint == GUX_DF_X_QUASI_UNIFORM) a->strategy = kQuasiUniform;
  else if (sitehint == GUX_DF_SITES_SORTED) a->strategy = kSorted;
  else if (!datahint) a->strategy = kHybrid;
  else if (datahint[1] == T(1)) {
    const T p = datahint[4];
    if (!(p >= T(0) && p <= (T)nx)) return GUX_DF_BAD_SITE_HINT;
    a->strategy = kPeak;
    a->scale = p;
    return 0;
  } else if (datahint[1] == T(0)) a->strategy = kHybrid;
  else return GUX_DF_BAD_SITE_HINT;
  if (a->strategy == kUniform || a->strategy == kUniUserDef) a->scale = (T)(nx - 1) / (x[1] - x[0]);
  else if (a->strategy == kQuasiUniform) a->scale = (T)(nx - 1) / (x[nx - 1] - x[0]);
  else if (a->strategy == kHybrid) a->scale = table_scale<T>(t);
  return 0;
}
template int choose_strategy<double>(const GuxDFTask*, int64_t, const double*, void*, void*, SearchArgs<double>*);
template int choose_strategy<float>(const GuxDFTask*, int64_t, const float*, void*, void*, SearchArgs<float>*);

template <class T>
int search_block(const SearchArgs<T>& a, int64_t n, const T* site, int64_t* position, int64_t* cell) {
  if (a.nx < 0x7fffffff) return run_strategy<T, int32_t, int64_t>(a, n, site, position, cell);
  return run_strategy<T, int64_t, int64_t>(a, n, site, position, cell);
}
template int search_block<double>(const SearchArgs<double>&, int64_t, const double*, int64_t*, int64_t*);
template int search_block<float>(const SearchArgs<float>&, int64_t, const float*, int64_t*, int64_t*);

// Fills sites first + i*step, the last one computed as well.
template <class T> void expand_sites(const T* ends, int64_t n, T* out) {
  if (n == 1) { out[0] = ends[0]; return; }
  const T step = (ends[1] - ends[0]) / (T)(n - 1);
  for (int64_t i = 0; i < n; ++i) out[i] = ends[0] + (T)i * step;
}
template void expand_sites<double>(const double*, int64_t, double*);
template void expand_sites<float>(const float*, int64_t, float*);

namespace {

template <class T>
int search1d(GuxDFTask* t, int64_t nsite, const T* site, int64_t sitehint, const T* datahint, void* cell,
             void* cb, void* params, const GuxThreadingTable* th) {
  if (!t) return GUX_DF_NULL_TASK;
  if (nsite < 1) return 0;
  SearchArgs<T> a;
  int st = choose_strategy(t, sitehint, datahint, cb, params, &a);
  if (st) return st;
  T stack_sites[4096];
  void* heap = nullptr;
  if (sitehint == GUX_DF_SITES_UNIFORM) {
    T* full = stack_sites;
    if (nsite > 4096) {
      heap = qor_serv_allocate(sizeof(T) * nsite, 64);
      if (!heap) return GUX_DF_NO_MEMORY;
      full = static_cast<T*>(heap);
    }
    expand_sites(site, nsite, full);
    site = full;
  }
  const bool wide = t->index_width != 0;
  const bool big = a.nx >= 0x7fffffff;
  auto run = [&](int64_t lo, int64_t hi, int64_t* pos) -> int {
    if (!wide) return run_strategy<T, int32_t, int32_t>(a, hi - lo, site + lo, pos, static_cast<int32_t*>(cell) + lo);
    if (big) return run_strategy<T, int64_t, int64_t>(a, hi - lo, site + lo, pos, static_cast<int64_t*>(cell) + lo);
    return run_strategy<T, int32_t, int64_t>(a, hi - lo, site + lo, pos, static_cast<int64_t*>(cell) + lo);
  };
  int64_t position = 0;
  if (nsite < 32) {
    st = run(0, nsite, &position);
  } else {
    int nb = thread_count(th);
    if (nb > nsite / 32) nb = (int)(nsite / 32);
    if (nb < 1) nb = 1;
    int stats[64] = {0};
    if (nb > 64) nb = 64;
    auto body = [&](int b) {
      int64_t pos = 0;
      stats[b] = run(nsite * b / nb, nsite * (b + 1) / nb, &pos);
    };
    run_blocks(th, nb, body);
    for (int b = 0; b < nb && !st; ++b) st = stats[b];
  }
  if (heap) qor_serv_deallocate(heap);
  return st;
}

}  // namespace
}  // namespace qor::df

using namespace qor::df;

QOR_API int qor_df_kernel_dDFSearch1D(GuxDFTask* t, void*, int64_t n, const double* site, int64_t sh,
                                      const double* dh, void* cell, void* cb, void* params,
                                      const GuxThreadingTable* th) {
  return search1d(t, n, site, sh, dh, cell, cb, params, th);
}
QOR_API int qor_df_kernel_sDFSearch1D(GuxDFTask* t, void*, int64_t n, const float* site, int64_t sh,
                                      const float* dh, void* cell, void* cb, void* params,
                                      const GuxThreadingTable* th) {
  return search1d(t, n, site, sh, dh, cell, cb, params, th);
}

// ---- strategy entries ---------------------------------------------------
#define QOR_DF_FORMS(P, T, NAME, STRAT, EXTRA_DECL, EXTRA_CB, EXTRA_P)                                  \
  static int P##NAME##_run(int form, int64_t nx, const T* x, int64_t n, const T* site, int64_t* pos,    \
                           T scale, const int64_t* table, void* cell, void* cb, void* params) {         \
    SearchArgs<T> a{STRAT, nx, x, scale, table, cb, params};                                            \
    if (n < 1) return 0;                                                                                \
    if (form == 0) return run_strategy<T, int32_t, int32_t>(a, n, site, pos, (int32_t*)cell);           \
    if (form == 1) return run_strategy<T, int64_t, int64_t>(a, n, site, pos, (int64_t*)cell);           \
    return run_strategy<T, int32_t, int64_t>(a, n, site, pos, (int64_t*)cell);                          \
  }                                                                                                     \
  QOR_API int qor_df_kernel_##P##DF##NAME##Search1D(int flags, QOR_DF_SEARCH_ARGS(T) EXTRA_DECL) {     \
    (void)r1; (void)r2;                                                                                 \
    int form = !(flags & 1) ? 0 : (flags & 2) ? 2 : 1;                                                  \
    return P##NAME##_run(form, nx, x, nsite, site, position, scale, table, cell, EXTRA_CB, EXTRA_P);    \
  }                                                                                                     \
  QOR_API int qor_df_kernel_##P##DF##NAME##Search1D32(QOR_DF_SEARCH_ARGS(T) EXTRA_DECL) {              \
    (void)r1; (void)r2;                                                                                 \
    return P##NAME##_run(0, nx, x, nsite, site, position, scale, table, cell, EXTRA_CB, EXTRA_P);       \
  }                                                                                                     \
  QOR_API int qor_df_kernel_##P##DF##NAME##Search1D64(QOR_DF_SEARCH_ARGS(T) EXTRA_DECL) {              \
    (void)r1; (void)r2;                                                                                 \
    return P##NAME##_run(1, nx, x, nsite, site, position, scale, table, cell, EXTRA_CB, EXTRA_P);       \
  }                                                                                                     \
  QOR_API int qor_df_kernel_##P##DF##NAME##Search1D64Pack(QOR_DF_SEARCH_ARGS(T) EXTRA_DECL) {          \
    (void)r1; (void)r2;                                                                                 \
    return P##NAME##_run(STRAT >= kUserDef ? 1 : 2, nx, x, nsite, site, position, scale, table, cell,   \
                         EXTRA_CB, EXTRA_P);                                                            \
  }
#define QOR_COMMA ,
#define QOR_DF_PLAIN(P, T, NAME, STRAT) QOR_DF_FORMS(P, T, NAME, STRAT, , nullptr, nullptr)
#define QOR_DF_USER(P, T, NAME, STRAT) \
  QOR_DF_FORMS(P, T, NAME, STRAT, QOR_COMMA void* cb QOR_COMMA void* params, cb, params)
#define QOR_DF_ALL(P, T)                                                                       \
  QOR_DF_PLAIN(P, T, Uniform, kUniform) QOR_DF_PLAIN(P, T, QuasiUniform, kQuasiUniform)       \
  QOR_DF_PLAIN(P, T, Sorted, kSorted) QOR_DF_PLAIN(P, T, Peak, kPeak)                         \
  QOR_DF_PLAIN(P, T, Hybrid, kHybrid) QOR_DF_USER(P, T, UserDef, kUserDef)                    \
  QOR_DF_USER(P, T, UniUserDef, kUniUserDef)
QOR_DF_ALL(d, double)
QOR_DF_ALL(s, float)
