// Linear and quadratic spline construction.
#include "fitting/construct_common.h"
#include "qor_core_tridiag.h"

namespace qor::df {

template <class T, int Code, bool U, bool Col> struct LinearWorker {
  static int run(const Work<T>& w, int64_t f, T*) {
    Partition<T, U> p(w.task);
    Column<T> y = function_of<T>(w.task, f);
    T* c = coeff_row<T>(w.task, f);
    for (int64_t i = 0; i + 1 < w.n; ++i) {
      c[2 * i] = y[i];
      c[2 * i + 1] = p.slope(y[i + 1] - y[i], i);
    }
    return 0;
  }
};

// Default quadratic: the C1 piecewise quadratic with knots at the breakpoints.
// Its derivatives obey m[i+1] = 2 S[i] - m[i], so one end condition fixes
// it: the left condition of the pair (free end: no curvature in the first
// cell; not-a-knot: the first two cells share one parabola; d1, d2: the
// given value at the left end). The right-hand value of a pair is not
// used: a C1 quadratic has only one degree of freedom left.
template <class T, int Code, bool U, bool Col> struct QuadWorker {
  static int run(const Work<T>& w, int64_t f, T*) {
    const int64_t n = w.n;
    Partition<T, U> p(w.task);
    Column<T> y = function_of<T>(w.task, f);
    T* c = coeff_row<T>(w.task, f);
    const T S0 = p.slope(y[1] - y[0], 0);
    T m;
    constexpr Side side = left_side(Code);
    if constexpr (side == kFree) {
      m = S0;
    } else if constexpr (side == kNotAKnot) {
      if (n < 3) {
        m = S0;
      } else {
        T h0 = p.h(0), h1 = p.h(1), S1 = p.slope(y[2] - y[1], 1);
        m = (S0 * h1 + (T(2) * S0 - S1) * h0) / (h0 + h1);
      }
    } else if constexpr (side == kD1) {
      m = w.bc[0];
    } else {
      m = S0 - T(0.5) * p.h(0) * w.bc[0];
    }
    for (int64_t i = 0; i + 1 < n; ++i) {
      const T S = p.slope(y[i + 1] - y[i], i);
      c[3 * i] = y[i];
      c[3 * i + 1] = m;
      c[3 * i + 2] = (S - m) / p.h(i);
      m = T(2) * S - m;
    }
    return 0;
  }
};


template <class T> static int linear(GuxDFTask* t, const void* method, const GuxThreadingTable* th) {
  if (!t) return GUX_DF_NULL_TASK;
  if (method) return GUX_DF_BAD_METHOD;
  int st = check_task(t, 2);
  if (st || (st = check_data(t))) return st;
  Work<T> w{t, t->nx, nullptr, nullptr, nullptr, 0, nullptr};
  const int nb = blocks_for(th, t->ny);
  Scratch<T> mem;
  if ((st = mem.get(w, 0, 0, nb))) return st;
  return run_functions(w, WorkerTable<LinearWorker, T>::table[storage_index(t)][0], th, nb);
}

template <class T> int knot_quadratic(GuxDFTask* t, const GuxThreadingTable* th, int code);

template <class T> static int quadratic(GuxDFTask* t, const GuxThreadingTable* th) {
  int st = check_task(t, 2);
  if (st) return st;
  const int code = boundary_code(t->bc_type);
  if (code < 0 || code > 5) return GUX_DF_BAD_BC_TYPE;
  if (code_reads_values(code) && !t->bc) return GUX_DF_NO_BC;
  if (t->s_type == 1) {
    if (!(t->ic_type & GUX_DF_IC_QUADRATIC_KNOTS)) return GUX_DF_BAD_IC_TYPE;
    if ((st = check_data(t))) return st;
    return knot_quadratic<T>(t, th, code);
  }
  if (t->s_type != 0) return GUX_DF_BAD_METHOD;
  if ((st = check_data(t))) return st;
  Work<T> w{t, t->nx, static_cast<const T*>(t->bc), nullptr, nullptr, 0, nullptr};
  const int nb = blocks_for(th, t->ny);
  Scratch<T> mem;
  if ((st = mem.get(w, 0, 0, nb))) return st;
  return run_functions(w, WorkerTable<QuadWorker, T>::table[storage_index(t)][code], th, nb);
}

// Quadratic with knots: nx parabolas, parabola j centred on x[j] and valid
// between the knots t[j-1] and t[j] that ic supplies (t[j] between x[j] and
// x[j+1]; the ends act as t[-1] and t[nx-1]). Rows hold (y[j], d[j], c[j])
// in u = t - x[j], so every parabola interpolates its own point. The
// derivative is continuous and piecewise linear with breaks at the knots;
// its values G[0] = p'(x0), G[j+1] = p'(t[j]), G[nx] = p'(x_last) solve one
// tridiagonal system: the integral of p' over [x[j], x[j+1]] must be
// y[j+1] - y[j], and two end conditions close it (free end and d2: the end
// parabola's curvature; d1: the end slope; not-a-knot: the two end
// parabolas are one).
template <class T, bool U> struct KnotGeometry {
  const T* x;
  const T* t;
  int64_t n;
  T x0, hu;
  KnotGeometry(const GuxDFTask* task)
      : x(static_cast<const T*>(task->x)), t(static_cast<const T*>(task->ic)), n(task->nx) {
    x0 = x[0];
    hu = U ? (x[1] - x[0]) / T(n - 1) : T(0);
  }
  T xi(int64_t j) const { return U ? (j == n - 1 ? x[1] : x0 + T(j) * hu) : x[j]; }
  T a(int64_t j) const { return j >= n - 1 ? T(0) : t[j] - xi(j); }      // x[j] to its right knot
  T b(int64_t j) const { return j < 0 ? T(0) : xi(j + 1) - t[j]; }     // knot j to x[j+1]
  T L(int64_t j) const { return a(j) + b(j - 1); }                     // width of parabola j
  // Equation j (0..n-2): e0*G[j] + e1*G[j+1] + e2*G[j+2] = 2 (y[j+1] - y[j]).
  void eq(int64_t j, T* e) const {
    const T aj = a(j), bj = b(j), Lj = L(j), Lk = L(j + 1);
    e[0] = aj * aj / Lj;
    e[1] = aj * b(j - 1) / Lj + aj + bj + bj * a(j + 1) / Lk;
    e[2] = bj * bj / Lk;
  }
};

template <class T, bool U>
static int64_t factor_knots(const GuxDFTask* task, int code, T* sh) {
  KnotGeometry<T, U> g(task);
  const int64_t n = g.n, N = n + 1;
  T *dl = sh, *d = sh + N, *du = sh + 2 * N, *scale = sh + 3 * N;  // scale: not-a-knot rhs factors
  for (int64_t j = 0; j + 1 < n; ++j) {
    T e[3];
    g.eq(j, e);
    dl[j] = e[0];
    d[j + 1] = e[1];
    du[j + 1] = e[2];
  }
  const Side ls = n < 3 && left_side(code) == kNotAKnot ? kFree : left_side(code);
  const Side rs = n < 3 && right_side(code) == kNotAKnot ? kFree : right_side(code);
  scale[0] = scale[1] = T(0);
  if (ls == kD1) { d[0] = 1; du[0] = 0; }
  else if (ls == kNotAKnot) {
    T e[3], L0 = g.L(0), L1 = g.L(1);
    g.eq(0, e);
    d[0] = -L1 + L0 * e[0] / e[2];
    du[0] = L0 + L1 + L0 * e[1] / e[2];
    scale[0] = L0 / e[2];
  } else { d[0] = -1; du[0] = 1; }
  if (rs == kD1) { d[n] = 1; dl[n - 1] = 0; }
  else if (rs == kNotAKnot) {
    T f[3], La = g.L(n - 2), Lb = g.L(n - 1);
    g.eq(n - 2, f);
    d[n] = La - Lb * f[2] / f[0];
    dl[n - 1] = -(La + Lb) - Lb * f[1] / f[0];
    scale[1] = -Lb / f[0];
  } else { d[n] = 1; dl[n - 1] = -1; }
  int64_t info = 0;
  if (sizeof(T) == sizeof(double))
    ddttrfb_4dfl(&N, (double*)dl, (double*)d, (const double*)du, &info);
  else
    sdttrfb_4dfl(&N, (float*)dl, (float*)d, (const float*)du, &info);
  return info;
}

template <class T, int Code, bool U, bool Col> struct KnotQuadWorker {
  static int run(const Work<T>& w, int64_t f, T* G) {
    const GuxDFTask* task = w.task;
    KnotGeometry<T, U> g(task);
    const int64_t n = g.n, N = n + 1;
    const T* sh = w.shared;
    Column<T> y = function_of<T>(task, f);
    for (int64_t j = 0; j + 1 < n; ++j) G[j + 1] = T(2) * (y[j + 1] - y[j]);
    const Side ls = n < 3 && left_side(Code) == kNotAKnot ? kFree : left_side(Code);
    const Side rs = n < 3 && right_side(Code) == kNotAKnot ? kFree : right_side(Code);
    const T vl = (Code >= 2 && Code <= 5) ? w.bc[0] : T(0), vr = (Code >= 2 && Code <= 5) ? w.bc[1] : T(0);
    G[0] = ls == kD1 ? vl : ls == kNotAKnot ? sh[3 * N] * G[1] : g.a(0) * vl;
    G[n] = rs == kD1 ? vr : rs == kNotAKnot ? sh[3 * N + 1] * G[n - 1] : g.b(n - 2) * vr;
    int64_t info = 0;
    const int64_t one = 1;
    if (sizeof(T) == sizeof(double))
      ddttrsb_4dfl("N", &N, &one, (const double*)sh, (const double*)sh + N, (const double*)sh + 2 * N,
                   (double*)G, &N, &info);
    else
      sdttrsb_4dfl("N", &N, &one, (const float*)sh, (const float*)sh + N, (const float*)sh + 2 * N,
                   (float*)G, &N, &info);
    if (info) return GUX_DF_SOLVE_FAILED;
    T* c = coeff_row<T>(task, f);
    for (int64_t j = 0; j < n; ++j) {
      const T Lj = g.L(j);
      c[3 * j] = y[j];
      c[3 * j + 1] = (g.a(j) * G[j] + g.b(j - 1) * G[j + 1]) / Lj;
      c[3 * j + 2] = (G[j + 1] - G[j]) / (T(2) * Lj);
    }
    return 0;
  }
};

template <class T> int knot_quadratic(GuxDFTask* t, const GuxThreadingTable* th, int code) {
  if (!t->ic) return GUX_DF_NO_IC;
  Work<T> w{t, t->nx, static_cast<const T*>(t->bc), nullptr, nullptr, 0, nullptr};
  const int nb = blocks_for(th, t->ny);
  Scratch<T> mem;
  int st = mem.get(w, 3 * (t->nx + 1) + 2, t->nx + 1, nb);
  if (st) return st;
  const bool uni = t->xhint == GUX_DF_X_UNIFORM;
  int64_t info = uni ? factor_knots<T, true>(t, code, w.shared) : factor_knots<T, false>(t, code, w.shared);
  if (info) {
    for (int64_t f = 0; f < t->ny; ++f) w.status[f] = GUX_DF_SOLVE_FAILED;
    return GUX_DF_SOLVE_FAILED;
  }
  return run_functions(w, WorkerTable<KnotQuadWorker, T>::table[storage_index(t)][code], th, nb);
}

}  // namespace qor::df

using namespace qor::df;

QOR_API int qor_df_kernel_dDFLinearSpline1D(GuxDFTask* t, void*, const void* m, const GuxThreadingTable* th) { return linear<double>(t, m, th); }
QOR_API int qor_df_kernel_sDFLinearSpline1D(GuxDFTask* t, void*, const void* m, const GuxThreadingTable* th) { return linear<float>(t, m, th); }
QOR_API int qor_df_kernel_dDFQuadraticSpline1D(GuxDFTask* t, void*, const void*, const GuxThreadingTable* th) { return quadratic<double>(t, th); }
QOR_API int qor_df_kernel_sDFQuadraticSpline1D(GuxDFTask* t, void*, const void*, const GuxThreadingTable* th) { return quadratic<float>(t, th); }
