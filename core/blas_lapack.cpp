// Dense linear algebra of the core stand-in: thin forwards to the system's
// BLAS and LAPACK (Fortran interface, hidden character lengths passed as 1).
// The packed triangular product has no BLAS routine of its own and is built
// here from the packed triangular matrix-vector product, one vector at a time.
#include "qor_core_blas.h"

#include <cctype>
#include <cstddef>

#define QOR_FORTRAN_DECLS(T, P)                                                                   \
  void P##gemm_(const char *, const char *, const int *, const int *, const int *, const T *,     \
                const T *, const int *, const T *, const int *, const T *, T *, const int *,      \
                size_t, size_t);                                                                  \
  void P##gemv_(const char *, const int *, const int *, const T *, const T *, const int *,        \
                const T *, const int *, const T *, T *, const int *, size_t);                     \
  void P##syr_(const char *, const int *, const T *, const T *, const int *, T *, const int *,    \
               size_t);                                                                           \
  void P##syrk_(const char *, const char *, const int *, const int *, const T *, const T *,       \
                const int *, const T *, T *, const int *, size_t, size_t);                        \
  void P##symm_(const char *, const char *, const int *, const int *, const T *, const T *,       \
                const int *, const T *, const int *, const T *, T *, const int *, size_t, size_t); \
  void P##trmm_(const char *, const char *, const char *, const char *, const int *, const int *, \
                const T *, const T *, const int *, T *, const int *, size_t, size_t, size_t,      \
                size_t);                                                                          \
  void P##tpmv_(const char *, const char *, const char *, const int *, const T *, T *,            \
                const int *, size_t, size_t, size_t);                                             \
  void P##potrf_(const char *, const int *, T *, const int *, int *, size_t);                     \
  void P##potri_(const char *, const int *, T *, const int *, int *, size_t);                     \
  void P##trtri_(const char *, const char *, const int *, T *, const int *, int *, size_t,        \
                 size_t);                                                                         \
  void P##syev_(const char *, const char *, const int *, T *, const int *, T *, T *, const int *, \
                int *, size_t, size_t);                                                           \
  void P##spevd_(const char *, const char *, const int *, T *, T *, T *, const int *, T *,        \
                 const int *, int *, const int *, int *, size_t, size_t);

extern "C" {
QOR_FORTRAN_DECLS(double, d)
QOR_FORTRAN_DECLS(float, s)
}

namespace {

// B := alpha*op(A)*B or alpha*B*op(A) with A packed; one tpmv per column
// (left) or per row (right, where B*op(A) is op(A)' applied to each row).
template <class T, class Tpmv>
void packed_trmm(const char *side, const char *uplo, const char *transa, const char *diag,
                 const int *m, const int *n, const T *alpha, const T *ap, T *b, const int *ldb,
                 Tpmv tpmv) {
  const bool left = std::toupper((unsigned char)*side) == 'L';
  const bool trans = std::toupper((unsigned char)*transa) != 'N';
  const char flipped = trans ? 'N' : 'T';
  const int one = 1;
  const int count = left ? *n : *m;
  for (int v = 0; v < count; ++v) {
    T *vec = left ? b + (ptrdiff_t)v * *ldb : b + v;
    const int *inc = left ? &one : ldb;
    tpmv(uplo, left ? transa : &flipped, diag, left ? m : n, ap, vec, inc, 1, 1, 1);
    if (*alpha != T(1)) {
      for (int i = 0, len = left ? *m : *n; i < len; ++i) {
        T &e = vec[(ptrdiff_t)i * *inc];
        e = *alpha == T(0) ? T(0) : e * *alpha;
      }
    }
  }
}

}  // namespace

#define QOR_FORWARDS(T, P)                                                                        \
  void qor_blas_##P##gemm(const char *ta, const char *tb, const int *m, const int *n,             \
                          const int *k, const T *al, const T *a, const int *lda, const T *b,      \
                          const int *ldb, const T *be, T *c, const int *ldc) {                    \
    P##gemm_(ta, tb, m, n, k, al, a, lda, b, ldb, be, c, ldc, 1, 1);                              \
  }                                                                                               \
  void qor_blas_x##P##gemm(const char *ta, const char *tb, const int *m, const int *n,            \
                           const int *k, const T *al, const T *a, const int *lda, const T *b,     \
                           const int *ldb, const T *be, T *c, const int *ldc) {                   \
    P##gemm_(ta, tb, m, n, k, al, a, lda, b, ldb, be, c, ldc, 1, 1);                              \
  }                                                                                               \
  void qor_blas_##P##gemv(const char *t, const int *m, const int *n, const T *al, const T *a,     \
                          const int *lda, const T *x, const int *incx, const T *be, T *y,         \
                          const int *incy) {                                                      \
    P##gemv_(t, m, n, al, a, lda, x, incx, be, y, incy, 1);                                       \
  }                                                                                               \
  void qor_blas_##P##syr(const char *u, const int *n, const T *al, const T *x, const int *incx,   \
                         T *a, const int *lda) {                                                  \
    P##syr_(u, n, al, x, incx, a, lda, 1);                                                        \
  }                                                                                               \
  void qor_blas_x##P##syr(const char *u, const int *n, const T *al, const T *x, const int *incx,  \
                          T *a, const int *lda) {                                                 \
    P##syr_(u, n, al, x, incx, a, lda, 1);                                                        \
  }                                                                                               \
  void qor_blas_##P##syrk(const char *u, const char *t, const int *n, const int *k, const T *al,  \
                          const T *a, const int *lda, const T *be, T *c, const int *ldc) {        \
    P##syrk_(u, t, n, k, al, a, lda, be, c, ldc, 1, 1);                                           \
  }                                                                                               \
  void qor_blas_x##P##syrk(const char *u, const char *t, const int *n, const int *k,              \
                           const T *al, const T *a, const int *lda, const T *be, T *c,            \
                           const int *ldc) {                                                      \
    P##syrk_(u, t, n, k, al, a, lda, be, c, ldc, 1, 1);                                           \
  }                                                                                               \
  void qor_blas_x##P##symm(const char *s, const char *u, const int *m, const int *n,              \
                           const T *al, const T *a, const int *lda, const T *b, const int *ldb,   \
                           const T *be, T *c, const int *ldc) {                                   \
    P##symm_(s, u, m, n, al, a, lda, b, ldb, be, c, ldc, 1, 1);                                   \
  }                                                                                               \
  void qor_blas_##P##trmm(const char *s, const char *u, const char *t, const char *d,             \
                          const int *m, const int *n, const T *al, const T *a, const int *lda,    \
                          T *b, const int *ldb) {                                                 \
    P##trmm_(s, u, t, d, m, n, al, a, lda, b, ldb, 1, 1, 1, 1);                                   \
  }                                                                                               \
  void qor_blas_x##P##trmm_4bex(const char *s, const char *u, const char *t, const char *d,       \
                                const int *m, const int *n, const T *al, const T *a,              \
                                const int *lda, T *b, const int *ldb) {                           \
    P##trmm_(s, u, t, d, m, n, al, a, lda, b, ldb, 1, 1, 1, 1);                                   \
  }                                                                                               \
  void qor_blas4bex_##P##trmm(const char *s, const char *u, const char *t, const char *d,         \
                              const int *m, const int *n, const T *al, const T *a,                \
                              const int *lda, T *b, const int *ldb) {                             \
    P##trmm_(s, u, t, d, m, n, al, a, lda, b, ldb, 1, 1, 1, 1);                                   \
  }                                                                                               \
  void qor_blas4bex_##P##ptrmm(const char *s, const char *u, const char *t, const char *d,        \
                               const int *m, const int *n, const T *al, const T *ap, T *b,        \
                               const int *ldb) {                                                  \
    packed_trmm<T>(s, u, t, d, m, n, al, ap, b, ldb, P##tpmv_);                         \
  }                                                                                               \
  void qor_lapack_##P##potrf(const char *u, const int *n, T *a, const int *lda, int *info) {      \
    P##potrf_(u, n, a, lda, info, 1);                                                             \
  }                                                                                               \
  void qor_lapack_##P##potri(const char *u, const int *n, T *a, const int *lda, int *info) {      \
    P##potri_(u, n, a, lda, info, 1);                                                             \
  }                                                                                               \
  void qor_lapack_##P##trtri(const char *u, const char *d, const int *n, T *a, const int *lda,    \
                             int *info) {                                                         \
    P##trtri_(u, d, n, a, lda, info, 1, 1);                                                       \
  }                                                                                               \
  void qor_lapack_##P##syev(const char *j, const char *u, const int *n, T *a, const int *lda,     \
                            T *w, T *work, const int *lwork, int *info) {                         \
    P##syev_(j, u, n, a, lda, w, work, lwork, info, 1, 1);                                        \
  }                                                                                               \
  void qor_lapack_##P##spevd(const char *j, const char *u, const int *n, T *ap, T *w, T *z,       \
                             const int *ldz, T *work, const int *lwork, int *iwork,               \
                             const int *liwork, int *info) {                                      \
    P##spevd_(j, u, n, ap, w, z, ldz, work, lwork, iwork, liwork, info, 1, 1);                    \
  }

extern "C" {
QOR_FORWARDS(double, d)
QOR_FORWARDS(float, s)
}
