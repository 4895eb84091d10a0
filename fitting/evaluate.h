// Spline kinds and the polynomial evaluation shared by interpolation and
// integration.
#pragma once
#include "fitting/search.h"

namespace qor::df {

// Kind codes: 0 linear, 1 default quadratic, 2 cubic, 3 quadratic with
// knots, 4 user interpolant, 5 left-continuous step (s_type 8),
// 6 right-continuous step (s_type 7), 7 look-up (s_type 6).
inline int spline_kind(const GuxDFTask* t, bool all_callbacks) {
  switch (t->s_order) {
    case 0:
      if (t->s_type == 8) return 5;
      if (t->s_type == 7) return 6;
      if (t->s_type == 6) return 7;
      return all_callbacks ? 4 : GUX_DF_BAD_S_TYPE;
    case 2: return 0;
    case 3: return t->s_type == 0 ? 1 : t->s_type == 1 ? 3 : GUX_DF_BAD_S_TYPE;
    case 4: return t->s_type >= 0 && t->s_type <= 9 && ((0x23d >> t->s_type) & 1) ? 2 : GUX_DF_BAD_S_TYPE;
    default: return GUX_DF_BAD_S_TYPE;
  }
}

// Left breakpoint of row j (cell j+1), for an explicit or uniform partition.
template <class T> struct RowOrigin {
  const T* x;
  bool uniform;
  T h;
  RowOrigin(const GuxDFTask* t) : x(static_cast<const T*>(t->x)), uniform(t->xhint == GUX_DF_X_UNIFORM) {
    h = uniform ? (x[1] - x[0]) / T(t->nx - 1) : T(0);
  }
  T operator()(int64_t j) const { return uniform ? x[0] + T(j) * h : x[j]; }
  T width(int64_t j) const { return uniform ? h : x[j + 1] - x[j]; }
};

// Derivative of order d of c0 + c1 u + c2 u^2 + c3 u^3 at u (K coefficients).
template <class T, int K> inline T poly_derivative(const T* c, T u, int64_t d) {
  const T c0 = c[0], c1 = c[1], c2 = K > 2 ? c[2] : T(0), c3 = K > 3 ? c[3] : T(0);
  switch (d) {
    case 0: return ((c3 * u + c2) * u + c1) * u + c0;
    case 1: return (T(3) * c3 * u + T(2) * c2) * u + c1;
    case 2: return T(6) * c3 * u + T(2) * c2;
    case 3: return T(6) * c3;
    default: return T(0);
  }
}

// Antiderivative from 0 to u.
template <class T, int K> inline T poly_integral(const T* c, T u) {
  const T c0 = c[0], c1 = c[1], c2 = K > 2 ? c[2] : T(0), c3 = K > 3 ? c[3] : T(0);
  return (((T(0.25) * c3 * u + c2 * T(1) / T(3)) * u + T(0.5) * c1) * u + c0) * u;
}

inline int64_t row_of_cell(int64_t c, int64_t nx) {
  int64_t j = c - 1;
  return j < 0 ? 0 : (j > nx - 2 ? nx - 2 : j);
}

}  // namespace qor::df
