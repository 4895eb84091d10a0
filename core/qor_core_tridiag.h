/* Tridiagonal factor and solve without pivoting, for the diagonally dominant
 * systems of spline construction. Arguments by pointer: n order; dl (n-1
 * below), d (n), du (n-1 above); b holds nrhs columns of leading dimension
 * ldb. info: 0 success, i > 0 the i-th pivot is zero, negative a bad argument. */
#ifndef QOR_CORE_TRIDIAG_H
#define QOR_CORE_TRIDIAG_H

#include <stdint.h>
#include "qor_core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Factors in place: dl becomes the multipliers, d the reciprocal pivots. */
QOR_CORE_API void ddttrfb_4dfl(const int64_t *n, double *dl, double *d, const double *du, int64_t *info);
QOR_CORE_API void sdttrfb_4dfl(const int64_t *n, float *dl, float *d, const float *du, int64_t *info);
/* Solves with the factors; trans "N" only (the matrices are used as given). */
QOR_CORE_API void ddttrsb_4dfl(const char *trans, const int64_t *n, const int64_t *nrhs,
                               const double *dl, const double *d, const double *du,
                               double *b, const int64_t *ldb, int64_t *info);
QOR_CORE_API void sdttrsb_4dfl(const char *trans, const int64_t *n, const int64_t *nrhs,
                               const float *dl, const float *d, const float *du,
                               float *b, const int64_t *ldb, int64_t *info);
/* Factor and solve at once; dl and d are overwritten by the factors. */
QOR_CORE_API void ddtsvb_4dfl(const int64_t *n, const int64_t *nrhs, double *dl, double *d,
                              const double *du, double *b, const int64_t *ldb, int64_t *info);
QOR_CORE_API void sdtsvb_4dfl(const int64_t *n, const int64_t *nrhs, float *dl, float *d,
                              const float *du, float *b, const int64_t *ldb, int64_t *info);

#ifdef __cplusplus
}
#endif
#endif
