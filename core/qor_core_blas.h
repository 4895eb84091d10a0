/* Dense linear algebra of the core stand-in, forwarded to the system's BLAS
 * and LAPACK. Every argument is passed by pointer, characters Fortran-style
 * (one character, case-insensitive), integers 32-bit, matrices column-major.
 * The `x` forms are the ones the kernel library calls from inside its own
 * worker blocks; here they forward to the same routines. */
#ifndef QOR_CORE_BLAS_H
#define QOR_CORE_BLAS_H

#include "qor_core.h"

#ifdef __cplusplus
extern "C" {
#endif

#define QOR_BLAS_TWINS(T, P)                                                                    \
  /* C := alpha*op(A)*op(B) + beta*C */                                                         \
  QOR_CORE_API void qor_blas_##P##gemm(const char *transa, const char *transb, const int *m,    \
      const int *n, const int *k, const T *alpha, const T *a, const int *lda, const T *b,       \
      const int *ldb, const T *beta, T *c, const int *ldc);                                     \
  QOR_CORE_API void qor_blas_x##P##gemm(const char *transa, const char *transb, const int *m,   \
      const int *n, const int *k, const T *alpha, const T *a, const int *lda, const T *b,       \
      const int *ldb, const T *beta, T *c, const int *ldc);                                     \
  /* y := alpha*op(A)*x + beta*y */                                                             \
  QOR_CORE_API void qor_blas_##P##gemv(const char *trans, const int *m, const int *n,           \
      const T *alpha, const T *a, const int *lda, const T *x, const int *incx, const T *beta,   \
      T *y, const int *incy);                                                                   \
  /* A := alpha*x*x' + A, triangle uplo */                                                      \
  QOR_CORE_API void qor_blas_##P##syr(const char *uplo, const int *n, const T *alpha,           \
      const T *x, const int *incx, T *a, const int *lda);                                       \
  QOR_CORE_API void qor_blas_x##P##syr(const char *uplo, const int *n, const T *alpha,          \
      const T *x, const int *incx, T *a, const int *lda);                                       \
  /* C := alpha*A*A' + beta*C ('n') or alpha*A'*A + beta*C ('t'), triangle uplo */              \
  QOR_CORE_API void qor_blas_##P##syrk(const char *uplo, const char *trans, const int *n,       \
      const int *k, const T *alpha, const T *a, const int *lda, const T *beta, T *c,            \
      const int *ldc);                                                                          \
  QOR_CORE_API void qor_blas_x##P##syrk(const char *uplo, const char *trans, const int *n,      \
      const int *k, const T *alpha, const T *a, const int *lda, const T *beta, T *c,            \
      const int *ldc);                                                                          \
  /* C := alpha*A*B + beta*C (side 'l') or alpha*B*A + beta*C ('r'), A symmetric */             \
  QOR_CORE_API void qor_blas_x##P##symm(const char *side, const char *uplo, const int *m,       \
      const int *n, const T *alpha, const T *a, const int *lda, const T *b, const int *ldb,     \
      const T *beta, T *c, const int *ldc);                                                     \
  /* B := alpha*op(A)*B (side 'l') or alpha*B*op(A) ('r'), A triangular */                      \
  QOR_CORE_API void qor_blas_##P##trmm(const char *side, const char *uplo, const char *transa,  \
      const char *diag, const int *m, const int *n, const T *alpha, const T *a,                 \
      const int *lda, T *b, const int *ldb);                                                    \
  QOR_CORE_API void qor_blas_x##P##trmm_4bex(const char *side, const char *uplo,                \
      const char *transa, const char *diag, const int *m, const int *n, const T *alpha,         \
      const T *a, const int *lda, T *b, const int *ldb);                                        \
  QOR_CORE_API void qor_blas4bex_##P##trmm(const char *side, const char *uplo,                  \
      const char *transa, const char *diag, const int *m, const int *n, const T *alpha,         \
      const T *a, const int *lda, T *b, const int *ldb);                                        \
  /* The same with A packed by columns (the order of the matching tpmv). */                     \
  QOR_CORE_API void qor_blas4bex_##P##ptrmm(const char *side, const char *uplo,                 \
      const char *transa, const char *diag, const int *m, const int *n, const T *alpha,         \
      const T *ap, T *b, const int *ldb);                                                       \
  /* Cholesky factor, inverse from the factor, triangular inverse */                            \
  QOR_CORE_API void qor_lapack_##P##potrf(const char *uplo, const int *n, T *a, const int *lda, \
      int *info);                                                                               \
  QOR_CORE_API void qor_lapack_##P##potri(const char *uplo, const int *n, T *a, const int *lda, \
      int *info);                                                                               \
  QOR_CORE_API void qor_lapack_##P##trtri(const char *uplo, const char *diag, const int *n,     \
      T *a, const int *lda, int *info);                                                         \
  /* Symmetric eigenproblem, full and packed (divide and conquer) */                            \
  QOR_CORE_API void qor_lapack_##P##syev(const char *jobz, const char *uplo, const int *n,      \
      T *a, const int *lda, T *w, T *work, const int *lwork, int *info);                        \
  QOR_CORE_API void qor_lapack_##P##spevd(const char *jobz, const char *uplo, const int *n,     \
      T *ap, T *w, T *z, const int *ldz, T *work, const int *lwork, int *iwork,                 \
      const int *liwork, int *info);

QOR_BLAS_TWINS(double, d)
QOR_BLAS_TWINS(float, s)
#undef QOR_BLAS_TWINS

#ifdef __cplusplus
}
#endif
#endif
