// The core library's BLAS calls by element type, so that the estimators can
// be written once for both precisions.
#ifndef QOR_STATS_SS_BLAS_H
#define QOR_STATS_SS_BLAS_H

#include "qor_core_blas.h"

namespace qor::ss::blas {

// Restricted to what the basic statistics need: upper triangle, column-major.
#define QOR_SS_BLAS(T, P)                                                                     \
  /* inside a block */                                                                        \
  inline void xsyr(int n, T alpha, const T *x, T *a) {                                        \
    const int one = 1;                                                                        \
    qor_blas_x##P##syr("U", &n, &alpha, x, &one, a, &n);                                      \
  }                                                                                           \
  inline void xsyrk(char trans, int n, int k, const T *a, int lda, T *c) {                    \
    const T one = 1;                                                                          \
    qor_blas_x##P##syrk("U", &trans, &n, &k, &one, a, &lda, &one, c, &n);                     \
  }                                                                                           \
  inline void xgemm(char tb, int n, int k, const T *a, const T *b, int ldb, T *c) {           \
    const T one = 1;                                                                          \
    qor_blas_x##P##gemm("N", &tb, &n, &n, &k, &one, a, &n, b, &ldb, &one, c, &n);             \
  }                                                                                           \
  /* on the whole */                                                                          \
  inline void syr(int n, T alpha, const T *x, T *a) {                                         \
    const int one = 1;                                                                        \
    qor_blas_##P##syr("U", &n, &alpha, x, &one, a, &n);                                       \
  }                                                                                           \
  inline void syrk(char trans, int n, int k, const T *a, int lda, T *c) {                     \
    const T one = 1;                                                                          \
    qor_blas_##P##syrk("U", &trans, &n, &k, &one, a, &lda, &one, c, &n);                      \
  }

QOR_SS_BLAS(double, d)
QOR_SS_BLAS(float, s)
#undef QOR_SS_BLAS

}  // namespace qor::ss::blas

#endif
