// Cubic spline construction: the global C2 family (natural and default,
// one tridiagonal factor shared by all functions) and the local families
// (Akima, Bessel, Hyman, Hermite) whose derivatives follow from neighbours.
#include "fitting/construct_common.h"
#include "qor_core_tridiag.h"

namespace qor::df {

// ---- global C2 cubic -----------------------------------------------------
// Shared layout: dl, d, du, z (n each), then v.z and beta/gamma.

template <class T> struct Factor;
template <> struct Factor<double> {
  static void f(const int64_t* n, double* dl, double* d, const double* du, int64_t* info) { ddttrfb_4dfl(n, dl, d, du, info); }
  static void s(const int64_t* n, const double* dl, const double* d, const double* du, double* b, int64_t* info) {
    const int64_t one = 1;
    ddttrsb_4dfl("N", n, &one, dl, d, du, b, n, info);
  }
  static void fs(const int64_t* n, double* dl, double* d, const double* du, double* b, int64_t* info) {
    const int64_t one = 1;
    ddtsvb_4dfl(n, &one, dl, d, du, b, n, info);
  }
};
template <> struct Factor<float> {
  static void f(const int64_t* n, float* dl, float* d, const float* du, int64_t* info) { sdttrfb_4dfl(n, dl, d, du, info); }
  static void s(const int64_t* n, const float* dl, const float* d, const float* du, float* b, int64_t* info) {
    const int64_t one = 1;
    sdttrsb_4dfl("N", n, &one, dl, d, du, b, n, info);
  }
  static void fs(const int64_t* n, float* dl, float* d, const float* du, float* b, int64_t* info) {
    const int64_t one = 1;
    sdtsvb_4dfl(n, &one, dl, d, du, b, n, info);
  }
};

// Builds and factors the matrix once for the task; returns the factor info.
template <class T, bool U> int64_t factor_c2(const GuxDFTask* t, int code, T* sh) {
  const int64_t n = t->nx;
  Partition<T, U> p(t);
  T *dl = sh, *d = sh + n, *du = sh + 2 * n, *z = sh + 3 * n;
  int64_t info = 0;
  if (code == 6) {
    const int64_t N = n - 1;
    if (N < 2) return 0;
    for (int64_t i = 0; i < N; ++i) {
      T hp = p.h((i + N - 1) % N), hc = p.h(i);
      d[i] = T(2) * (hp + hc);
      if (i > 0) dl[i - 1] = hc;
      if (i + 1 < N) du[i] = hp;
    }
    const T beta = p.h(0), alpha = p.h(N - 2), gamma = -d[0];
    d[0] -= gamma;
    d[N - 1] -= alpha * beta / gamma;
    Factor<T>::f(&N, dl, d, du, &info);
    if (info) return info;
    for (int64_t i = 0; i < N; ++i) z[i] = T(0);
    z[0] = gamma;
    z[N - 1] = alpha;
    Factor<T>::s(&N, dl, d, du, z, &info);
    sh[4 * n] = z[0] + beta / gamma * z[N - 1];
    sh[4 * n + 1] = beta / gamma;
    return info;
  }
  if (n == 2 || (n == 3 && code == 1)) return 0;  // closed forms in the worker
  for (int64_t i = 1; i + 1 < n; ++i) {
    dl[i - 1] = p.h(i);
    d[i] = T(2) * (p.h(i - 1) + p.h(i));
    du[i] = p.h(i - 1);
  }
  const T h0 = p.h(0), h1 = p.h(1), hl = p.h(n - 2), hl1 = p.h(n - 3);
  Row<T> L = side_row<T>(left_side(code), 0, 0, h0, h1, 0, false);
  Row<T> R = side_row<T>(right_side(code), 0, 0, hl, hl1, 0, true);
  d[0] = L.a;
  du[0] = L.b;
  d[n - 1] = R.a;
  dl[n - 2] = R.b;
  Factor<T>::f(&n, dl, d, du, &info);
  return info;
}

// The derivatives m are solved in place inside the function's own
// coefficient row, in its last n slots (from 3n-4): the coefficient pass
// writes cells in ascending order and never reaches a derivative it has yet
// to read, so no per-function scratch is needed.
template <class T, int Code, bool U, bool Col> struct C2Worker {
  // A single function needs no shared factor: rows are built while they are
  // eliminated (reciprocal pivots and reduced right sides kept in the work
  // block), and the back substitution writes each cell's coefficients as
  // soon as its two derivatives are known. Two passes over the data.
  static int single_pass(const Work<T>& w, const Partition<T, U>& p, Column<T> y, T* c) {
    const int64_t n = w.n;
    T *rp = w.shared, *bp = w.shared + n;
    auto S = [&](int64_t i) { return p.slope(y[i + 1] - y[i], i); };
    const Row<T> L = side_row<T>(left_side(Code), S(0), S(1), p.h(0), p.h(1), (Code >= 2 && Code <= 5) ? w.bc[0] : T(0), false);
    const Row<T> R = side_row<T>(right_side(Code), S(n - 2), S(n - 3), p.h(n - 2), p.h(n - 3),
                                 (Code >= 2 && Code <= 5) ? w.bc[1] : T(0), true);
    if (L.a == T(0)) return GUX_DF_SOLVE_FAILED;
    T r = T(1) / L.a, up = L.b, b = L.r;  // previous row: reciprocal pivot, upper entry, reduced rhs
    rp[0] = r;
    bp[0] = b;
    T s_prev = S(0), h_prev = p.h(0);
    for (int64_t i = 1; i + 1 < n; ++i) {
      const T hc = p.h(i), sc = S(i);
      const T wgt = hc * r;
      const T piv = T(2) * (h_prev + hc) - wgt * up;
      if (piv == T(0)) return GUX_DF_SOLVE_FAILED;
      b = T(3) * (h_prev * sc + hc * s_prev) - wgt * b;
      r = T(1) / piv;
      up = h_prev;
      rp[i] = r;
      bp[i] = b;
      s_prev = sc;
      h_prev = hc;
    }
    const T wgt = R.b * r, piv = R.a - wgt * up;
    if (piv == T(0)) return GUX_DF_SOLVE_FAILED;
    T m_next = (R.r - wgt * b) / piv;
    for (int64_t i = n - 2; i >= 0; --i) {
      const T upper = i == 0 ? L.b : p.h(i - 1);
      const T mi = (bp[i] - upper * m_next) * rp[i];
      const T ih = U ? p.inv_hu : T(1) / p.h(i);
      const T yi = y[i], si = (y[i + 1] - yi) * ih;
      c[4 * i + 0] = yi;
      c[4 * i + 1] = mi;
      c[4 * i + 2] = (T(3) * si - T(2) * mi - m_next) * ih;
      c[4 * i + 3] = (mi + m_next - T(2) * si) * ih * ih;
      m_next = mi;
    }
    return 0;
  }

  static int run(const Work<T>& w, int64_t f, T*) {
    const GuxDFTask* t = w.task;
    const int64_t n = w.n;
    Partition<T, U> p(t);
    Column<T> y = function_of<T>(t, f);
    T* c = coeff_row<T>(t, f);
    T* m = c + 3 * n - 4;
    const T* sh = w.shared;
    auto S = [&](int64_t i) { return p.slope(y[i + 1] - y[i], i); };
    int64_t info = 0;
    if (n == 2 && Code != 6 && Code != 1) {
      // Two boundary rows alone: a 2x2 system.
      const T s0 = S(0), h0 = p.h(0);
      Row<T> L = side_row<T>(left_side(Code), s0, s0, h0, h0, (Code >= 2 && Code <= 5) ? w.bc[0] : T(0), false);
      Row<T> R = side_row<T>(right_side(Code), s0, s0, h0, h0, (Code >= 2 && Code <= 5) ? w.bc[1] : T(0), true);
      T det = L.a * R.a - L.b * R.b;
      m[0] = (L.r * R.a - L.b * R.r) / det;
      m[1] = (L.a * R.r - R.b * L.r) / det;
    } else if (n == 2) {
      m[0] = m[1] = S(0);
    } else if (Code == 1 && n == 3) {
      // Not-a-knot on three points: the parabola through them.
      T h0 = p.h(0), h1 = p.h(1), s0 = S(0), s1 = S(1);
      m[1] = (h1 * s0 + h0 * s1) / (h0 + h1);
      m[0] = T(2) * s0 - m[1];
      m[2] = T(2) * s1 - m[1];
    } else if (Code == 6) {
      const int64_t N = n - 1;
      T s_prev = S(N - 1), h_prev = p.h(N - 1);
      for (int64_t i = 0; i < N; ++i) {
        const T hc = p.h(i), sc = S(i);
        m[i] = T(3) * (h_prev * sc + hc * s_prev);
        s_prev = sc;
        h_prev = hc;
      }
      Factor<T>::s(&N, sh, sh + n, sh + 2 * n, m, &info);
      const T* z = sh + 3 * n;
      const T vy = m[0] + sh[4 * n + 1] * m[N - 1];
      const T k = vy / (T(1) + sh[4 * n]);
      for (int64_t i = 0; i < N; ++i) m[i] -= k * z[i];
      m[n - 1] = m[0];
    } else if (w.single) {
      return single_pass(w, p, y, c);
    } else {
      T s_prev = S(0), h_prev = p.h(0);
      for (int64_t i = 1; i + 1 < n; ++i) {
        const T hc = p.h(i), sc = S(i);
        m[i] = T(3) * (h_prev * sc + hc * s_prev);
        s_prev = sc;
        h_prev = hc;
      }
      m[0] = side_row<T>(left_side(Code), S(0), S(1), p.h(0), p.h(1), (Code >= 2 && Code <= 5) ? w.bc[0] : T(0), false).r;
      m[n - 1] = side_row<T>(right_side(Code), S(n - 2), S(n - 3), p.h(n - 2), p.h(n - 3),
                             (Code >= 2 && Code <= 5) ? w.bc[1] : T(0), true).r;
      Factor<T>::s(&n, sh, sh + n, sh + 2 * n, m, &info);
    }
    if (info) return GUX_DF_SOLVE_FAILED;
    for (int64_t i = 0; i + 1 < n; ++i) {
      const T ih = U ? p.inv_hu : T(1) / p.h(i);
      const T yi = y[i], si = (y[i + 1] - yi) * ih, mi = m[i], mj = m[i + 1];
      c[4 * i + 0] = yi;
      c[4 * i + 1] = mi;
      c[4 * i + 2] = (T(3) * si - T(2) * mi - mj) * ih;
      c[4 * i + 3] = (mi + mj - T(2) * si) * ih * ih;
    }
    return 0;
  }
};

template <class T>
static int natural_cubic(GuxDFTask* t, const GuxThreadingTable* th) {
  int st = check_task(t, 2);
  if (st) return st;
  const int code = boundary_code(t->bc_type);
  if (code < 0 || code == 7) return GUX_DF_BAD_BC_TYPE;
  if (code_reads_values(code) && !t->bc) return GUX_DF_NO_BC;
  if (t->nx == 2 && code == 0) return GUX_DF_BAD_NX;
  if ((st = check_data(t))) return st;
  Work<T> w{t, t->nx, static_cast<const T*>(t->bc), nullptr, nullptr, 0, nullptr};
  const int nb = blocks_for(th, t->ny);
  Scratch<T> mem;
  if ((st = mem.get(w, code == 6 ? 4 * t->nx + 2 : 3 * t->nx, 0, nb))) return st;
  const bool uni = t->xhint == GUX_DF_X_UNIFORM;
  w.single = t->ny == 1 && code != 6 && t->nx > 3;
  int64_t info = w.single ? 0 : uni ? factor_c2<T, true>(t, code, w.shared) : factor_c2<T, false>(t, code, w.shared);
  if (info) {
    for (int64_t f = 0; f < t->ny; ++f) w.status[f] = GUX_DF_SOLVE_FAILED;
    return GUX_DF_SOLVE_FAILED;
  }
  return run_functions(w, WorkerTable<C2Worker, T>::table[storage_index(t)][code], th, nb);
}

// ---- local families -------------------------------------------------------
// Inner derivative rules. S has two valid guard slopes on each side.

// Akima: weights from the changes of the neighbouring slopes.
struct AkimaRule {
  template <class T> static T inner(const T* S, int64_t i, T, T) {
    const T tol = sizeof(T) == sizeof(double) ? T(1e-10) : T(1e-6);
    T w1 = fabs(S[i + 1] - S[i]), w2 = fabs(S[i - 1] - S[i - 2]);
    if (fabs(w1 + w2) < tol) return (S[i - 1] + S[i]) * T(0.5);
    return (w1 * S[i - 1] + w2 * S[i]) / (w1 + w2);
  }
};
// Bessel: the derivative at x[i] of the parabola through x[i-1], x[i], x[i+1].
struct BesselRule {
  template <class T> static T inner(const T* S, int64_t i, T hp, T hc) {
    return (hc * S[i - 1] + hp * S[i]) / (hp + hc);
  }
};
// Hyman: the Bessel derivatives, limited to keep monotone data monotone:
// |m| <= 3 min(|S[i-1]|, |S[i]|) when the slopes agree in sign, else m = 0.
struct HymanRule {
  template <class T> static T inner(const T* S, int64_t i, T hp, T hc) {
    T m = BesselRule::inner(S, i, hp, hc);
    T a = S[i - 1], b = S[i];
    T lim = a * b > T(0) ? T(3) * fmin(fabs(a), fabs(b)) : T(0);
    return copysign(fmin(fabs(m), lim), m);
  }
};
struct HermiteRule {};  // inner derivatives read from ic

template <class Rule, class T, int Code, bool U, bool Col> struct LocalWorker {
  static int run(const Work<T>& w, int64_t f, T* scratch) {
    const GuxDFTask* t = w.task;
    const int64_t n = w.n;
    Partition<T, U> p(t);
    Column<T> y = function_of<T>(t, f);
    T *S = scratch + 2, *m = scratch + n + 4;
    slopes(p, y, n, S);
    if (Code == 6) {
      S[-1] = S[n - 2];
      S[-2] = S[n - 3];
      S[n - 1] = S[0];
      S[n] = S[1];
    } else {
      // Slopes beyond the ends continue the change of the last two.
      S[-1] = T(2) * S[0] - S[1];
      S[-2] = T(2) * S[-1] - S[0];
      S[n - 1] = T(2) * S[n - 2] - S[n - 3];
      S[n] = T(2) * S[n - 1] - S[n - 2];
    }
    Column<T> ic{nullptr, 1};
    if constexpr (std::is_same_v<Rule, HermiteRule>) {
      const T* base = static_cast<const T*>(t->ic);
      ic = Col ? Column<T>{base + f, t->ny} : Column<T>{base + f * n, 1};
    }
    const int64_t first = Code == 6 ? 0 : 1;
    for (int64_t i = first; i + 1 < n; ++i) {
      if constexpr (std::is_same_v<Rule, HermiteRule>) {
        m[i] = ic[i];
      } else {
        T hp = i == 0 ? p.h(n - 2) : p.h(i - 1);
        m[i] = Rule::template inner<T>(S, i, hp, p.h(i));
      }
    }
    if (Code == 6) {
      m[n - 1] = m[0];
    } else if (std::is_same_v<Rule, HermiteRule> && Code == 7) {
      m[0] = ic[0];
      m[n - 1] = ic[n - 1];
    } else {
      Row<T> L = side_row<T>(left_side(Code), S[0], S[1], p.h(0), p.h(1), (Code >= 2 && Code <= 5) ? w.bc[0] : T(0), false);
      Row<T> R = side_row<T>(right_side(Code), S[n - 2], S[n - 3], p.h(n - 2), p.h(n - 3),
                             (Code >= 2 && Code <= 5) ? w.bc[1] : T(0), true);
      m[0] = (L.r - L.b * m[1]) / L.a;
      m[n - 1] = (R.r - R.b * m[n - 2]) / R.a;
    }
    cubic_tail(p, y, S, m, n, coeff_row<T>(t, f));
    return 0;
  }
};
template <class T, int C, bool U, bool Col> using AkimaW = LocalWorker<AkimaRule, T, C, U, Col>;
template <class T, int C, bool U, bool Col> using BesselW = LocalWorker<BesselRule, T, C, U, Col>;
template <class T, int C, bool U, bool Col> using HymanW = LocalWorker<HymanRule, T, C, U, Col>;
template <class T, int C, bool U, bool Col> using HermiteW = LocalWorker<HermiteRule, T, C, U, Col>;

template <class T, template <class, int, bool, bool> class Family, bool Hermite>
static int local_cubic(GuxDFTask* t, const GuxThreadingTable* th) {
  int st = check_task(t, 5);
  if (st) return st;
  const int code = boundary_code(t->bc_type);
  if (code < 0) return GUX_DF_BAD_BC_TYPE;
  if (code_reads_values(code) && !t->bc) return GUX_DF_NO_BC;
  if (code == 6 && (t->s_type == 0 || t->s_type == 3) && !t->bc) return GUX_DF_NO_BC;
  if (Hermite && !t->ic) return GUX_DF_NO_IC;
  if ((st = check_data(t))) return st;
  Work<T> w{t, t->nx, static_cast<const T*>(t->bc), nullptr, nullptr, 0, nullptr};
  const int nb = blocks_for(th, t->ny);
  Scratch<T> mem;
  if ((st = mem.get(w, 0, 2 * t->nx + 8, nb))) return st;
  return run_functions(w, WorkerTable<Family, T>::table[storage_index(t)][code], th, nb);
}

}  // namespace qor::df

using namespace qor::df;

#define QOR_DF_ENTRY(P, T, NAME, CALL)                                                       \
  QOR_API int qor_df_kernel_##P##DF##NAME##Spline1D(GuxDFTask* task, void*, const void*,    \
                                                     const GuxThreadingTable* th) {          \
    return CALL;                                                                             \
  }
QOR_DF_ENTRY(d, double, NaturalCubic, (natural_cubic<double>(task, th)))
QOR_DF_ENTRY(s, float, NaturalCubic, (natural_cubic<float>(task, th)))
// The default cubic is the C2 spline with the task's end conditions.
QOR_DF_ENTRY(d, double, DefaultCubic, (natural_cubic<double>(task, th)))
QOR_DF_ENTRY(s, float, DefaultCubic, (natural_cubic<float>(task, th)))
QOR_DF_ENTRY(d, double, AkimaCubic, (local_cubic<double, AkimaW, false>(task, th)))
QOR_DF_ENTRY(s, float, AkimaCubic, (local_cubic<float, AkimaW, false>(task, th)))
QOR_DF_ENTRY(d, double, BesselCubic, (local_cubic<double, BesselW, false>(task, th)))
QOR_DF_ENTRY(s, float, BesselCubic, (local_cubic<float, BesselW, false>(task, th)))
QOR_DF_ENTRY(d, double, HymanCubic, (local_cubic<double, HymanW, false>(task, th)))
QOR_DF_ENTRY(s, float, HymanCubic, (local_cubic<float, HymanW, false>(task, th)))
QOR_DF_ENTRY(d, double, HermiteCubic, (local_cubic<double, HermiteW, true>(task, th)))
QOR_DF_ENTRY(s, float, HermiteCubic, (local_cubic<float, HermiteW, true>(task, th)))
