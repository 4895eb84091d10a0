// Shared pieces of the covariance variants, the robust estimators, outlier
// detection and missing values: square matrices in the caller's storage,
// the LAPACK and BLAS calls by element type, small dense helpers in double,
// and the chi-square distribution used for cut-offs.
#ifndef QOR_STATS_SS_COV_UTIL_H
#define QOR_STATS_SS_COV_UTIL_H

#include <qor/qor_stats.h>

#include <cmath>
#include <cstdint>

#include "qor_core.h"
#include "qor_core_blas.h"
#include "stats/ss_internal.h"

namespace qor::ss {

// Matrix storage codes accepted by these estimators: 0 full, 1 packed lower
// rows, 2 packed upper rows; anything else is refused.
inline bool matrix_code_ok(int64_t code) { return code >= 0 && code <= 2; }

// Position of (i, j) of a q-by-q symmetric matrix stored by code; packed
// forms take the triangle that holds the pair.
inline int64_t sym_index(int64_t code, int64_t q, int64_t i, int64_t j) {
  if (code == GUX_MATRIX_FULL) return i * q + j;
  if (code == GUX_MATRIX_LOWER_ROWS) {
    if (j > i) { const int64_t t = i; i = j; j = t; }
    return i * (i + 1) / 2 + j;
  }
  if (j < i) { const int64_t t = i; i = j; j = t; }
  return i * q - i * (i - 1) / 2 + (j - i);
}

inline int64_t sym_size(int64_t code, int64_t q) {
  return code == GUX_MATRIX_FULL ? q * q : q * (q + 1) / 2;
}

// full (q by q, symmetric, both triangles) := caller's matrix.
template <class S, class D>
void sym_expand(const S *src, int64_t code, int64_t q, D *full) {
  for (int64_t i = 0; i < q; ++i)
    for (int64_t j = 0; j <= i; ++j) full[i * q + j] = full[j * q + i] = (D)src[sym_index(code, q, i, j)];
}

// caller's matrix := full (q by q; only the lower triangle i >= j is read).
template <class S, class D>
void sym_store(const S *full, int64_t code, int64_t q, D *dst) {
  for (int64_t i = 0; i < q; ++i)
    for (int64_t j = 0; j < q; ++j) {
      if (code == GUX_MATRIX_LOWER_ROWS && j > i) continue;
      if (code == GUX_MATRIX_UPPER_ROWS && j < i) continue;
      dst[sym_index(code, q, i, j)] = (D)(i >= j ? full[i * q + j] : full[j * q + i]);
    }
}

// LAPACK and BLAS by element type (column-major, Fortran conventions).
#define QOR_SS_LAPACK(T, P)                                                                        \
  inline int potrf(char uplo, int n, T *a) {                                                       \
    int info = 0;                                                                                  \
    qor_lapack_##P##potrf(&uplo, &n, a, &n, &info);                                                \
    return info;                                                                                   \
  }                                                                                                \
  inline int potri(char uplo, int n, T *a) {                                                       \
    int info = 0;                                                                                  \
    qor_lapack_##P##potri(&uplo, &n, a, &n, &info);                                                \
    return info;                                                                                   \
  }                                                                                                \
  inline int syev(int n, T *a, T *w, T *work, int lwork) {                                         \
    int info = 0;                                                                                  \
    qor_lapack_##P##syev("V", "U", &n, a, &n, w, work, &lwork, &info);                             \
    return info;                                                                                   \
  }                                                                                                \
  inline void gemm(char ta, char tb, int m, int n, int k, T alpha, const T *a, int lda,            \
                   const T *b, int ldb, T beta, T *c, int ldc) {                                   \
    qor_blas_##P##gemm(&ta, &tb, &m, &n, &k, &alpha, a, &lda, b, &ldb, &beta, c, &ldc);            \
  }                                                                                                \
  inline void syrk(char uplo, char trans, int n, int k, T alpha, const T *a, int lda, T beta,      \
                   T *c, int ldc) {                                                                \
    qor_blas_##P##syrk(&uplo, &trans, &n, &k, &alpha, a, &lda, &beta, c, &ldc);                    \
  }
QOR_SS_LAPACK(double, d)
QOR_SS_LAPACK(float, s)
#undef QOR_SS_LAPACK

// Lower Cholesky factor of a q-by-q row-major symmetric matrix, in place
// (upper part left as it was). Returns false when a pivot is not positive:
// the matrix is not of full rank, to working precision.
inline bool cholesky(double *a, int64_t q) {
  for (int64_t j = 0; j < q; ++j) {
    double d = a[j * q + j];
    for (int64_t k = 0; k < j; ++k) d -= a[j * q + k] * a[j * q + k];
    if (!(d > 0)) return false;
    d = std::sqrt(d);
    a[j * q + j] = d;
    const double r = 1 / d;
    for (int64_t i = j + 1; i < q; ++i) {
      double s = a[i * q + j];
      for (int64_t k = 0; k < j; ++k) s -= a[i * q + k] * a[j * q + k];
      a[i * q + j] = s * r;
    }
  }
  return true;
}

// y := L^-1 y for the lower factor L (row-major q by q).
inline void forward_solve(const double *l, int64_t q, double *y) {
  for (int64_t i = 0; i < q; ++i) {
    double s = y[i];
    for (int64_t k = 0; k < i; ++k) s -= l[i * q + k] * y[k];
    y[i] = s / l[i * q + i];
  }
}

// y := L^-T y.
inline void backward_solve(const double *l, int64_t q, double *y) {
  for (int64_t i = q - 1; i >= 0; --i) {
    double s = y[i];
    for (int64_t k = i + 1; k < q; ++k) s -= l[k * q + i] * y[k];
    y[i] = s / l[i * q + i];
  }
}

// Full inverse of a symmetric positive definite matrix from its lower factor
// (row-major, both triangles written): inv = L^-T L^-1, column by column.
inline void inverse_from_factor(const double *l, int64_t q, double *inv, double *col) {
  for (int64_t j = 0; j < q; ++j) {
    for (int64_t i = 0; i < q; ++i) col[i] = i == j;
    forward_solve(l, q, col);
    backward_solve(l, q, col);
    for (int64_t i = 0; i < q; ++i) inv[i * q + j] = col[i];
  }
}

// Regularized lower incomplete gamma P(a, x): series below a + 1, Lentz's
// continued fraction for the upper part above; relative error near 1e-15.
inline double gamma_p(double a, double x) {
  if (!(x > 0)) return 0;
  const double lead = std::exp(a * std::log(x) - x - std::lgamma(a));
  if (x < a + 1) {
    double term = 1 / a, sum = term;
    for (int k = 1; k < 1000; ++k) {
      term *= x / (a + k);
      sum += term;
      if (std::fabs(term) < std::fabs(sum) * 1e-17) break;
    }
    return sum * lead;
  }
  const double tiny = 1e-300;
  double b = x + 1 - a, c = 1 / tiny, d = 1 / b, h = d;
  for (int k = 1; k < 1000; ++k) {
    const double an = -k * (k - a);
    b += 2;
    d = an * d + b;
    if (std::fabs(d) < tiny) d = tiny;
    c = b + an / c;
    if (std::fabs(c) < tiny) c = tiny;
    d = 1 / d;
    const double del = d * c;
    h *= del;
    if (std::fabs(del - 1) < 1e-16) break;
  }
  return 1 - lead * h;
}

// Chi-square distribution with k degrees of freedom.
inline double chi2_cdf(double k, double x) { return gamma_p(k / 2, x / 2); }

// Its inverse: a Wilson-Hilferty start refined by safeguarded Newton steps
// on the distribution function; q in (0, 1).
inline double chi2_icdf(double k, double q) {
  // Normal quantile by a rational start and Newton steps on erfc.
  auto norm_icdf = [](double u) {
    const double t = std::sqrt(-2 * std::log(u < 0.5 ? u : 1 - u));
    double z = t - (2.515517 + 0.802853 * t + 0.010328 * t * t) /
                       (1 + 1.432788 * t + 0.189269 * t * t + 0.001308 * t * t * t);
    if (u < 0.5) z = -z;
    for (int i = 0; i < 3; ++i) {
      const double e = 0.5 * std::erfc(-z / std::sqrt(2.0)) - u;
      z -= e * std::sqrt(2 * M_PI) * std::exp(z * z / 2);
    }
    return z;
  };
  const double z = norm_icdf(q), h = 2 / (9 * k);
  double x = k * std::pow(std::fmax(1 - h + z * std::sqrt(h), 0.05), 3);
  double lo = 0, hi = INFINITY;
  for (int i = 0; i < 100; ++i) {
    const double f = chi2_cdf(k, x) - q;
    if (f < 0) lo = x; else hi = x;
    const double dens = std::exp((k / 2 - 1) * std::log(x) - x / 2 - (k / 2) * std::log(2.0) - std::lgamma(k / 2));
    double nx = x - f / dens;
    if (!(nx > lo && nx < hi)) nx = std::isinf(hi) ? 2 * x + 1 : (lo + hi) / 2;
    if (std::fabs(nx - x) <= 1e-15 * x) return nx;
    x = nx;
  }
  return x;
}

// An estimator entry by element type, for the estimators that run others on
// a private task.
template <class T> struct Entry;
template <> struct Entry<double> {
  static int64_t basic(GuxSSTask *t, uint64_t e, uint64_t m, const GuxThreadingTable *th) { return _guxdSSBasic(t, e, m, th); }
  static int64_t quantiles(GuxSSTask *t, uint64_t e, uint64_t m, const GuxThreadingTable *th) { return _guxdSSQuantiles(t, e, m, th); }
};
template <> struct Entry<float> {
  static int64_t basic(GuxSSTask *t, uint64_t e, uint64_t m, const GuxThreadingTable *th) { return _guxsSSBasic(t, e, m, th); }
  static int64_t quantiles(GuxSSTask *t, uint64_t e, uint64_t m, const GuxThreadingTable *th) { return _guxsSSQuantiles(t, e, m, th); }
};

// A task on the stack over an observations-in-rows double matrix, with the
// fields the internal calls need; nothing is allocated.
struct PrivateTask {
  GuxSSTask t{};
  int64_t p, n, storage = GUX_SS_OBSERVATIONS_IN_ROWS;
  PrivateTask(int64_t p_, int64_t n_, const double *x) : p(p_), n(n_) {
    t.index_width = 1, t.kind = 2, t.precision = 1;
    t.p = &p, t.n = &n, t.x_storage = &storage, t.x = x;
  }
};

}  // namespace qor::ss

#endif
