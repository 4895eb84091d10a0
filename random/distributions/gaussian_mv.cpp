// Multivariate Gaussian: n vectors of dimen elements, x = a + L z with z
// standard normal and L the lower Cholesky factor, given as the transpose of
// an upper triangle (full storage), as a lower triangle packed by columns, or
// as a diagonal. The product goes through the core library's triangular
// multiplication; the guard is that of the Gaussian generator it calls.
#include "core/qor_core_blas.h"
#include "random/distributions/frame.h"

namespace qor::dist {

template <class T> int gaussian(int method, GuxStream *stream, int n, T *r, T a, T sigma);

namespace {

// Above this dimension the general triangular product is used, below it the
// small-matrix form; both compute the same product.
constexpr int kSmallDimension = 10;

struct Blas {
  static void trmm_small(const char *s, const char *u, const char *t, const char *d, const int *m,
                         const int *n, const double *al, const double *a, const int *lda, double *b,
                         const int *ldb) {
    qor_blas_xdtrmm_4bex(s, u, t, d, m, n, al, a, lda, b, ldb);
  }
  static void trmm_small(const char *s, const char *u, const char *t, const char *d, const int *m,
                         const int *n, const float *al, const float *a, const int *lda, float *b,
                         const int *ldb) {
    qor_blas_xstrmm_4bex(s, u, t, d, m, n, al, a, lda, b, ldb);
  }
  static void trmm(const char *s, const char *u, const char *t, const char *d, const int *m, const int *n,
                   const double *al, const double *a, const int *lda, double *b, const int *ldb) {
    qor_blas4bex_dtrmm(s, u, t, d, m, n, al, a, lda, b, ldb);
  }
  static void trmm(const char *s, const char *u, const char *t, const char *d, const int *m, const int *n,
                   const float *al, const float *a, const int *lda, float *b, const int *ldb) {
    qor_blas4bex_strmm(s, u, t, d, m, n, al, a, lda, b, ldb);
  }
  static void ptrmm(const char *s, const char *u, const char *t, const char *d, const int *m, const int *n,
                    const double *al, const double *ap, double *b, const int *ldb) {
    qor_blas4bex_dptrmm(s, u, t, d, m, n, al, ap, b, ldb);
  }
  static void ptrmm(const char *s, const char *u, const char *t, const char *d, const int *m, const int *n,
                    const float *al, const float *ap, float *b, const int *ldb) {
    qor_blas4bex_sptrmm(s, u, t, d, m, n, al, ap, b, ldb);
  }
};

// r[i][j] += a[j], vector after vector: one pass over r. The small-matrix
// product could equally be followed by a walk component by component; each
// element gets one addition either way, so the order alters no number, and
// one pass is cheaper than dimen strided passes over a large r.
template <class T> void add_mean(int n, int dimen, T *r, const T *a) {
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < dimen; ++j) r[(ptrdiff_t)i * dimen + j] += a[j];
}

template <class T>
int gaussian_mv(int method, GuxStream *stream, int n, T *r, int dimen, int mstorage, const T *a, const T *t) {
  if (dimen == 1) return gaussian<T>(method, stream, n, r, a[0], t[0]);
  if (dimen < 1) return GUX_STATUS_BAD_ARGUMENT;
  const int total = (int)((unsigned)n * (unsigned)dimen);
  const int status = gaussian<T>(method, stream, total, r, T(0), T(1));
  if (status < 0 || n <= 0) return status;
  const T one = T(1);
  switch (mstorage) {
    case GUX_MATRIX_STORAGE_FULL:
      // r := U' r, U the upper triangle of t (column-major), that is L r.
      if (dimen > kSmallDimension) {
        Blas::trmm("L", "U", "T", "N", &dimen, &n, &one, t, &dimen, r, &dimen);
      } else {
        Blas::trmm_small("L", "U", "T", "N", &dimen, &n, &one, t, &dimen, r, &dimen);
      }
      add_mean(n, dimen, r, a);
      break;
    case GUX_MATRIX_STORAGE_PACKED:
      Blas::ptrmm("L", "L", "N", "N", &dimen, &n, &one, t, r, &dimen);
      add_mean(n, dimen, r, a);
      break;
    case GUX_MATRIX_STORAGE_DIAGONAL:
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < dimen; ++j) {
          T &x = r[(ptrdiff_t)i * dimen + j];
          x = x * t[j] + a[j];
        }
      break;
    default:
      break;  // other storage words leave the standard normals as they are
  }
  return status;
}

}  // namespace
}  // namespace qor::dist

extern "C" {

int _guxsRngGaussianMV(int method, GuxStream *stream, int n, float *r, int dimen, int mstorage,
                       const float *a, const float *t) {
  return qor::dist::gaussian_mv(method, stream, n, r, dimen, mstorage, a, t);
}

int _guxdRngGaussianMV(int method, GuxStream *stream, int n, double *r, int dimen, int mstorage,
                       const double *a, const double *t) {
  return qor::dist::gaussian_mv(method, stream, n, r, dimen, mstorage, a, t);
}

}  // extern "C"
