// Integration of splines between limit pairs. Each limit is located by its
// own search; the whole-cell sums are kept in a running total per side, so
// that sorted limits walk the cells once.
#include "fitting/evaluate.h"
#include <math.h>

namespace qor::df {

template <class T> void expand_sites(const T* ends, int64_t n, T* out);

namespace {

constexpr int64_t kBlock = 256;

// Coefficients of row j for the kinds that integrate as polynomials; step
// kinds become constant rows (the look-up interpolant has no integral).
// Row j is written in u = s - origin(j) and covers [left(j), right(j)]:
// the cells of the partition, or for the quadratic with knots the spans
// between knots around each breakpoint.
template <class T> struct Rows {
  const GuxDFTask* t;
  int kind;
  const T* coef;
  Column<T> y;
  RowOrigin<T> org;
  const T* knot;
  int order() const { return kind == 0 ? 2 : (kind == 1 || kind == 3) ? 3 : kind == 2 ? 4 : 1; }
  int64_t last() const { return kind == 3 ? t->nx - 1 : t->nx - 2; }
  T origin(int64_t j) const { return org(j); }
  T left(int64_t j) const { return kind == 3 && j > 0 ? knot[j - 1] : org(j); }
  T right(int64_t j) const { return kind == 3 ? (j < t->nx - 1 ? knot[j] : org(j)) : org(j + 1); }
  int64_t row(int64_t cell, T s) const {
    const int64_t nx = t->nx;
    if (kind != 3) return row_of_cell(cell, nx);
    return cell <= 0 ? 0 : cell >= nx ? nx - 1 : (s < knot[cell - 1] ? cell - 1 : cell);
  }
  T whole(int64_t j) const { return integral(j, right(j) - origin(j)) - integral(j, left(j) - origin(j)); }
  T partial(int64_t j, T s) const { return integral(j, s - origin(j)) - integral(j, left(j) - origin(j)); }
  void get(int64_t j, T* c) const {
    c[1] = c[2] = c[3] = T(0);
    if (kind <= 3) {
      for (int k = 0; k < order(); ++k) c[k] = coef[order() * j + k];
    } else if (kind == 6) {
      c[0] = y[j];
    } else if (kind == 5) {
      c[0] = y[j + 1];
    } else {
      c[0] = T(NAN);
    }
  }
  T integral(int64_t j, T u) const {
    T c[4];
    get(j, c);
    return poly_integral<T, 4>(c, u);
  }
};

// Integral from x[0] to the left end of row j, by walking from the last row.
// With limits in no order a cumulative array (one per function, built once)
// answers in one step instead.
template <class T> struct Walker {
  int64_t j = 0;
  T sum = T(0);
  const T* cum = nullptr;
  T to(const Rows<T>& rows, int64_t target) {
    if (cum) return cum[target];
    while (j < target) { sum += rows.whole(j); ++j; }
    while (j > target) { --j; sum -= rows.whole(j); }
    return sum;
  }
};

template <class T> struct Limits {
  const T* lim;
  const T* ends;
  int64_t n;
  T at(int64_t k) const {
    if (lim) return lim[k];
    return n > 1 ? ends[0] + T(k) * (ends[1] - ends[0]) / T(n - 1) : ends[0];
  }
};

template <class T>
int call_integr(void* cbp, void* params, int64_t f, T a, T b, T* out) {
  typedef int (*Cb)(int64_t*, const T*, const T*, T*, void*, const GuxDFCallBackInfo*);
  int64_t one = 1;
  GuxDFCallBackInfo info{f, 0};
  return reinterpret_cast<Cb>(cbp)(&one, &a, &b, out, params, &info);
}

template <class T, class Out>
int integrate_blocks(const GuxDFTask* t, int kind, int64_t nlim, const Limits<T>& L, const Limits<T>& R,
                     const SearchArgs<T>& sl, const SearchArgs<T>& sr, Out& out, Walker<T>* walkers,
                     void* le_cb, void* le_p, void* re_cb, void* re_p, void* i_cb, void* i_p, int64_t f0,
                     int64_t f1);

template <class T>
int integrate(GuxDFTask* t, int64_t method, int64_t nlim, const T* llim, int64_t llimhint, const T* rlim,
              int64_t rlimhint, const T* ldh, const T* rdh, T* r, int64_t rhint, void* le_cb, void* le_p,
              void* re_cb, void* re_p, void* i_cb, void* i_p, void* s_cb, void* s_p, const GuxThreadingTable* th) {
  if (!t) return GUX_DF_NULL_TASK;
  const int kind = spline_kind(t, le_cb && re_cb && i_cb);
  if (kind < 0) return kind;
  if (kind == 3 && !t->ic) return GUX_DF_NO_IC;
  if (method != GUX_DF_METHOD_PP && method != GUX_DF_METHOD_STD) return GUX_DF_BAD_METHOD;
  SearchArgs<T> sl, sr;
  int st = choose_strategy(t, llimhint, ldh, s_cb, s_p, &sl);
  if (st || (st = choose_strategy(t, rlimhint, rdh, s_cb, s_p, &sr))) return st;
  if (rhint == 0 || rhint == 0x100) rhint = GUX_DF_MATRIX_STORAGE_ROWS;
  if (rhint == 0x200) rhint = GUX_DF_MATRIX_STORAGE_COLS;
  if (rhint != 16 && rhint != 32 && rhint != 0x80) return GUX_DF_BAD_INTEGR_RHINT;
  if (nlim < 1) return 0;
  if (!r || !llim || !rlim) return GUX_DF_NO_DESTINATION;
  if (kind <= 3 && (!t->scoeff || !t->scoeff[0])) return GUX_DF_NO_SCOEFF;
  const int64_t ny = t->ny;
  Limits<T> L{llimhint == GUX_DF_SITES_UNIFORM ? nullptr : llim, llim, nlim};
  Limits<T> R{rlimhint == GUX_DF_SITES_UNIFORM ? nullptr : rlim, rlim, nlim};
  auto out = [&](int64_t f, int64_t k) -> T& {
    if (rhint == GUX_DF_MATRIX_STORAGE_COLS) return r[f * nlim + k];
    if (rhint == GUX_DF_MATRIX_STORAGE_BY_POINTER) return reinterpret_cast<T**>(r)[f][k];
    return r[k * ny + f];
  };
  // Running sums per function and side, kept across blocks.
  Walker<T>* walkers = static_cast<Walker<T>*>(qor_serv_allocate(sizeof(Walker<T>) * 2 * ny, 64));
  if (!walkers) return GUX_DF_NO_MEMORY;
  for (int64_t k = 0; k < 2 * ny; ++k) walkers[k] = Walker<T>();
  // Unsorted limits: cumulative whole-row integrals per function. Sorted
  // limits walk the rows once and need no array.
  T* cum = nullptr;
  const bool sorted = llimhint == GUX_DF_SITES_SORTED && rlimhint == GUX_DF_SITES_SORTED;
  if (!sorted && nlim > 16 && kind != 4) {
    const int64_t rows_n = t->nx + 1;
    cum = static_cast<T*>(qor_serv_allocate(sizeof(T) * rows_n * ny, 64));
    if (cum) {
      RowOrigin<T> org(t);
      for (int64_t f = 0; f < ny; ++f) {
        Rows<T> rows{t, kind, kind <= 3 ? static_cast<const T*>(t->scoeff[f]) : nullptr,
                     (kind >= 5 && t->y) ? function_of<T>(t, f) : Column<T>{nullptr, 1}, org,
                     static_cast<const T*>(t->ic)};
        T* c = cum + f * rows_n;
        c[0] = T(0);
        for (int64_t j = 0; j <= rows.last(); ++j) c[j + 1] = c[j] + rows.whole(j);
        walkers[2 * f].cum = walkers[2 * f + 1].cum = c;
      }
    }
  }
  // Functions are spread over the threads; each thread locates the limits
  // for its own functions.
  int nb = thread_count(th);
  if (nb > ny) nb = (int)ny;
  if (nb > 64) nb = 64;
  if ((int64_t)nb * nlim < 4096) nb = 1;
  int stats[64] = {0};
  auto body = [&](int b) {
    stats[b] = integrate_blocks(t, kind, nlim, L, R, sl, sr, out, walkers, le_cb, le_p, re_cb, re_p, i_cb, i_p,
                                ny * b / nb, ny * (b + 1) / nb);
  };
  run_blocks(th, nb, body);
  st = 0;
  for (int b = 0; b < nb && !st; ++b) st = stats[b];
  qor_serv_deallocate(walkers);
  if (cum) qor_serv_deallocate(cum);
  return st;
}

template <class T, class Out>
int integrate_blocks(const GuxDFTask* t, int kind, int64_t nlim, const Limits<T>& L, const Limits<T>& R,
                     const SearchArgs<T>& sl, const SearchArgs<T>& sr, Out& out, Walker<T>* walkers,
                     void* le_cb, void* le_p, void* re_cb, void* re_p, void* i_cb, void* i_p, int64_t f0,
                     int64_t f1) {
  const int64_t nx = t->nx;
  RowOrigin<T> org(t);
  const T x0 = org(0), xl = org(nx - 1);
  int st;
  int64_t posl = 0, posr = 0;
  T la[kBlock], ra[kBlock];
  int64_t cl[kBlock], cr[kBlock];
  for (int64_t b = 0; b < nlim; b += kBlock) {
    const int64_t n = nlim - b < kBlock ? nlim - b : kBlock;
    for (int64_t i = 0; i < n; ++i) {
      la[i] = L.at(b + i);
      ra[i] = R.at(b + i);
    }
    if ((st = search_block(sl, n, la, &posl, cl)) || (st = search_block(sr, n, ra, &posr, cr))) return st;
    for (int64_t f = f0; f < f1; ++f) {
      Rows<T> rows{t, kind, kind <= 3 ? static_cast<const T*>(t->scoeff[f]) : nullptr,
                   (kind >= 5 && t->y) ? function_of<T>(t, f) : Column<T>{nullptr, 1}, org,
                   static_cast<const T*>(t->ic)};
      const int64_t jl_end = rows.last();
      Walker<T>& wl = walkers[2 * f];
      Walker<T>& wr = walkers[2 * f + 1];
      for (int64_t i = 0; i < n; ++i) {
        T a = la[i], bb = ra[i], sign = T(1);
        int64_t ca = cl[i], cb = cr[i];
        if (a > bb) {
          T tmp = a; a = bb; bb = tmp;
          int64_t tc = ca; ca = cb; cb = tc;
          sign = T(-1);
        }
        T v = T(0);
        if (kind == 4 || le_cb || re_cb) {
          // Split into left outside, inside, right outside parts.
          T lo = a, hi = bb, part;
          if (lo < x0) {
            T e = hi < x0 ? hi : x0;
            if (le_cb) { if ((st = call_integr(le_cb, le_p, f, lo, e, &part))) return st; }
            else part = rows.integral(0, e - rows.origin(0)) - rows.integral(0, lo - rows.origin(0));
            v += part;
            lo = e;
          }
          if (hi > xl) {
            T s = lo > xl ? lo : xl;
            if (re_cb) { if ((st = call_integr(re_cb, re_p, f, s, hi, &part))) return st; }
            else part = rows.integral(jl_end, hi - rows.origin(jl_end)) - rows.integral(jl_end, s - rows.origin(jl_end));
            v += part;
            hi = s;
          }
          if (hi > lo) {
            if (kind == 4) {
              if ((st = call_integr(i_cb, i_p, f, lo, hi, &part))) return st;
            } else {
              int64_t jl = rows.row(ca, lo), jh = rows.row(cb, hi);
              if (lo == x0) jl = 0;
              if (hi == xl) jh = jl_end;
              part = wr.to(rows, jh) + rows.partial(jh, hi) - wl.to(rows, jl) - rows.partial(jl, lo);
            }
            v += part;
          }
        } else {
          const int64_t ja = rows.row(ca, a), jb = rows.row(cb, bb);
          if (ja == jb) {
            v = rows.integral(jb, bb - rows.origin(jb)) - rows.integral(ja, a - rows.origin(ja));
          } else {
            v = wr.to(rows, jb) + rows.partial(jb, bb) - wl.to(rows, ja) - rows.partial(ja, a);
          }
        }
        out(f, b + i) = sign * v;
      }
    }
  }
  return 0;
}

}  // namespace
}  // namespace qor::df

using namespace qor::df;

QOR_API int qor_df_kernel_dDFIntegrate1D(GuxDFTask* t, int64_t method, int64_t nlim, const double* llim,
    int64_t llh, const double* rlim, int64_t rlh, const double* ldh, const double* rdh, double* r, int64_t rhint,
    void* le, void* lep, void* re, void* rep, void* ic, void* icp, void* sc, void* scp, const GuxThreadingTable* th) {
  return integrate(t, method, nlim, llim, llh, rlim, rlh, ldh, rdh, r, rhint, le, lep, re, rep, ic, icp, sc, scp, th);
}
QOR_API int qor_df_kernel_sDFIntegrate1D(GuxDFTask* t, int64_t method, int64_t nlim, const float* llim,
    int64_t llh, const float* rlim, int64_t rlh, const float* ldh, const float* rdh, float* r, int64_t rhint,
    void* le, void* lep, void* re, void* rep, void* ic, void* icp, void* sc, void* scp, const GuxThreadingTable* th) {
  return integrate(t, method, nlim, llim, llh, rlim, rlh, ldh, rdh, r, rhint, le, lep, re, rep, ic, icp, sc, scp, th);
}
