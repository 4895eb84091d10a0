// Tridiagonal LU without pivoting (Thomas algorithm), split into factor and
// solve so that one factor serves every function of a spline task. The
// factor keeps reciprocal pivots in d: the solve then only multiplies, and
// its back substitution is no longer a chain of divisions.
#include "qor_core_tridiag.h"

namespace {

template <class T> void factor(const int64_t* pn, T* dl, T* d, const T* du, int64_t* info) {
  const int64_t n = *pn;
  *info = n < 0 ? -1 : 0;
  if (n <= 0) return;
  for (int64_t i = 0; i + 1 < n; ++i) {
    if (d[i] == T(0)) {
      *info = i + 1;
      return;
    }
    const T r = T(1) / d[i];
    d[i] = r;
    dl[i] *= r;
    d[i + 1] -= dl[i] * du[i];
  }
  if (d[n - 1] == T(0)) *info = n;
  else d[n - 1] = T(1) / d[n - 1];
}

template <class T>
void solve(const char* trans, const int64_t* pn, const int64_t* pnrhs, const T* dl, const T* d,
           const T* du, T* b, const int64_t* ldb, int64_t* info) {
  const int64_t n = *pn, nrhs = *pnrhs;
  if (!trans || (*trans != 'N' && *trans != 'n')) { *info = -1; return; }
  if (n < 0) { *info = -2; return; }
  if (nrhs < 0) { *info = -3; return; }
  if (*ldb < (n > 1 ? n : 1)) { *info = -8; return; }
  *info = 0;
  for (int64_t r = 0; r < nrhs; ++r) {
    T* x = b + r * *ldb;
    for (int64_t i = 1; i < n; ++i) x[i] -= dl[i - 1] * x[i - 1];
    if (n > 0) x[n - 1] *= d[n - 1];
    for (int64_t i = n - 2; i >= 0; --i) x[i] = (x[i] - du[i] * x[i + 1]) * d[i];
  }
}

// One right-hand side is eliminated in the same pass as the factor.
template <class T>
void factor_solve(const int64_t* pn, const int64_t* nrhs, T* dl, T* d, const T* du, T* b,
                  const int64_t* ldb, int64_t* info) {
  const int64_t n = *pn;
  if (*nrhs != 1 || n < 1) {
    factor(pn, dl, d, du, info);
    if (*info == 0) solve("N", pn, nrhs, dl, d, du, b, ldb, info);
    return;
  }
  *info = 0;
  for (int64_t i = 0; i + 1 < n; ++i) {
    if (d[i] == T(0)) {
      *info = i + 1;
      return;
    }
    const T r = T(1) / d[i];
    const T w = dl[i] * r;
    d[i] = r;
    dl[i] = w;
    d[i + 1] -= w * du[i];
    b[i + 1] -= w * b[i];
  }
  if (d[n - 1] == T(0)) {
    *info = n;
    return;
  }
  d[n - 1] = T(1) / d[n - 1];
  b[n - 1] *= d[n - 1];
  for (int64_t i = n - 2; i >= 0; --i) b[i] = (b[i] - du[i] * b[i + 1]) * d[i];
}

}  // namespace

extern "C" {
void ddttrfb_4dfl(const int64_t* n, double* dl, double* d, const double* du, int64_t* info) { factor(n, dl, d, du, info); }
void sdttrfb_4dfl(const int64_t* n, float* dl, float* d, const float* du, int64_t* info) { factor(n, dl, d, du, info); }
void ddttrsb_4dfl(const char* t, const int64_t* n, const int64_t* r, const double* dl, const double* d,
                  const double* du, double* b, const int64_t* ldb, int64_t* info) {
  solve(t, n, r, dl, d, du, b, ldb, info);
}
void sdttrsb_4dfl(const char* t, const int64_t* n, const int64_t* r, const float* dl, const float* d,
                  const float* du, float* b, const int64_t* ldb, int64_t* info) {
  solve(t, n, r, dl, d, du, b, ldb, info);
}
void ddtsvb_4dfl(const int64_t* n, const int64_t* r, double* dl, double* d, const double* du, double* b,
                 const int64_t* ldb, int64_t* info) {
  factor_solve(n, r, dl, d, du, b, ldb, info);
}
void sdtsvb_4dfl(const int64_t* n, const int64_t* r, float* dl, float* d, const float* du, float* b,
                 const int64_t* ldb, int64_t* info) {
  factor_solve(n, r, dl, d, du, b, ldb, info);
}
}
