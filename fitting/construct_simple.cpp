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

template <class T, int C, bool U, bool Col> struct KnotQuadWorker;

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

template <class T> int knot_quadratic(GuxDFTask*, const GuxThreadingTable*, int) { return GUX_DF_BAD_METHOD; }

}  // namespace qor::df

using namespace qor::df;

QOR_API int qor_df_kernel_dDFLinearSpline1D(GuxDFTask* t, void*, const void* m, const GuxThreadingTable* th) { return linear<double>(t, m, th); }
QOR_API int qor_df_kernel_sDFLinearSpline1D(GuxDFTask* t, void*, const void* m, const GuxThreadingTable* th) { return linear<float>(t, m, th); }
QOR_API int qor_df_kernel_dDFQuadraticSpline1D(GuxDFTask* t, void*, const void*, const GuxThreadingTable* th) { return quadratic<double>(t, th); }
QOR_API int qor_df_kernel_sDFQuadraticSpline1D(GuxDFTask* t, void*, const void*, const GuxThreadingTable* th) { return quadratic<float>(t, th); }
