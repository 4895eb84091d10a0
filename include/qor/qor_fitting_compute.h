/* Data fitting compute entries: construction, search, interpolation,
 * integration. Included by qor_fitting.h. */
#ifndef QOR_FITTING_COMPUTE_H
#define QOR_FITTING_COMPUTE_H

#include <stdint.h>
#include "qor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

struct GuxDFTask;
struct GuxThreadingTable;

/* ---- construction: (task, reserved, method, threading) ----------------- */
#define QOR_DF_CONSTRUCT(P, NAME) \
  QOR_API int qor_df_kernel_##P##DF##NAME##Spline1D(struct GuxDFTask *task, void *reserved, \
      const void *method, const struct GuxThreadingTable *threading);
#define QOR_DF_CONSTRUCT_BOTH(NAME) QOR_DF_CONSTRUCT(d, NAME) QOR_DF_CONSTRUCT(s, NAME)
QOR_DF_CONSTRUCT_BOTH(Linear)
QOR_DF_CONSTRUCT_BOTH(Quadratic)
QOR_DF_CONSTRUCT_BOTH(NaturalCubic)
QOR_DF_CONSTRUCT_BOTH(DefaultCubic)
QOR_DF_CONSTRUCT_BOTH(HermiteCubic)
QOR_DF_CONSTRUCT_BOTH(BesselCubic)
QOR_DF_CONSTRUCT_BOTH(AkimaCubic)
QOR_DF_CONSTRUCT_BOTH(HymanCubic)
#undef QOR_DF_CONSTRUCT_BOTH
#undef QOR_DF_CONSTRUCT

/* ---- cell search --------------------------------------------------------- */
QOR_API int qor_df_kernel_dDFSearch1D(struct GuxDFTask *task, void *reserved, int64_t nsite,
    const double *site, int64_t sitehint, const double *datahint, void *cell,
    void *search_cb, void *search_params, const struct GuxThreadingTable *threading);
QOR_API int qor_df_kernel_sDFSearch1D(struct GuxDFTask *task, void *reserved, int64_t nsite,
    const float *site, int64_t sitehint, const float *datahint, void *cell,
    void *search_cb, void *search_params, const struct GuxThreadingTable *threading);

/* Strategy entries. Common arguments: nx, x, nsite, site, position (running
 * cell of the sorted strategy, in and out), scale (uniform: (nx-1)/(x1-x0);
 * hybrid: table scale; peak: the peak index), two reserved, table, cell.
 * The base form takes a flags byte first: bit 0 set = 64-bit cells, bit 1
 * set (with bit 0) = 64-bit cells computed in 32 bits. Returns a status. */
#define QOR_DF_SEARCH_ARGS(T) int64_t nx, const T *x, int64_t nsite, const T *site, \
    int64_t *position, T scale, void *r1, void *r2, const int64_t *table, void *cell
#define QOR_DF_SEARCH_FORMS(P, T, NAME) \
  QOR_API int qor_df_kernel_##P##DF##NAME##Search1D(int flags, QOR_DF_SEARCH_ARGS(T)); \
  QOR_API int qor_df_kernel_##P##DF##NAME##Search1D32(QOR_DF_SEARCH_ARGS(T)); \
  QOR_API int qor_df_kernel_##P##DF##NAME##Search1D64(QOR_DF_SEARCH_ARGS(T)); \
  QOR_API int qor_df_kernel_##P##DF##NAME##Search1D64Pack(QOR_DF_SEARCH_ARGS(T));
#define QOR_DF_USER_SEARCH_FORMS(P, T, NAME) \
  QOR_API int qor_df_kernel_##P##DF##NAME##Search1D(int flags, QOR_DF_SEARCH_ARGS(T), \
      void *cb, void *params); \
  QOR_API int qor_df_kernel_##P##DF##NAME##Search1D32(QOR_DF_SEARCH_ARGS(T), void *cb, void *params); \
  QOR_API int qor_df_kernel_##P##DF##NAME##Search1D64(QOR_DF_SEARCH_ARGS(T), void *cb, void *params); \
  QOR_API int qor_df_kernel_##P##DF##NAME##Search1D64Pack(QOR_DF_SEARCH_ARGS(T), void *cb, void *params);
#define QOR_DF_ALL_SEARCH(P, T) \
  QOR_DF_SEARCH_FORMS(P, T, Uniform) QOR_DF_SEARCH_FORMS(P, T, QuasiUniform) \
  QOR_DF_SEARCH_FORMS(P, T, Sorted) QOR_DF_SEARCH_FORMS(P, T, Peak) \
  QOR_DF_SEARCH_FORMS(P, T, Hybrid) QOR_DF_USER_SEARCH_FORMS(P, T, UserDef) \
  QOR_DF_USER_SEARCH_FORMS(P, T, UniUserDef)
QOR_DF_ALL_SEARCH(d, double)
QOR_DF_ALL_SEARCH(s, float)
#undef QOR_DF_ALL_SEARCH
#undef QOR_DF_USER_SEARCH_FORMS
#undef QOR_DF_SEARCH_FORMS

/* ---- interpolation and integration ------------------------------------- */
/* dorder[k] nonzero (k < ndorder <= 4) asks for the derivative of order k;
 * ndorder 0 or dorder null asks for values only. cell (when type has
 * GUX_DF_CELL) receives the cells with the task's index width. */
QOR_API int qor_df_kernel_dDFInterpolate1D(struct GuxDFTask *task, int64_t type, int64_t method,
    int64_t nsite, const double *site, int64_t sitehint, int64_t ndorder, const int64_t *dorder,
    const double *datahint, double *r, int64_t rhint, void *cell,
    void *le_cb, void *le_params, void *re_cb, void *re_params, void *i_cb, void *i_params,
    void *search_cb, void *search_params, const struct GuxThreadingTable *threading);
QOR_API int qor_df_kernel_sDFInterpolate1D(struct GuxDFTask *task, int64_t type, int64_t method,
    int64_t nsite, const float *site, int64_t sitehint, int64_t ndorder, const int64_t *dorder,
    const float *datahint, float *r, int64_t rhint, void *cell,
    void *le_cb, void *le_params, void *re_cb, void *re_params, void *i_cb, void *i_params,
    void *search_cb, void *search_params, const struct GuxThreadingTable *threading);
QOR_API int qor_df_kernel_dDFIntegrate1D(struct GuxDFTask *task, int64_t method, int64_t nlim,
    const double *llim, int64_t llimhint, const double *rlim, int64_t rlimhint,
    const double *ldatahint, const double *rdatahint, double *r, int64_t rhint,
    void *le_cb, void *le_params, void *re_cb, void *re_params, void *i_cb, void *i_params,
    void *search_cb, void *search_params, const struct GuxThreadingTable *threading);
QOR_API int qor_df_kernel_sDFIntegrate1D(struct GuxDFTask *task, int64_t method, int64_t nlim,
    const float *llim, int64_t llimhint, const float *rlim, int64_t rlimhint,
    const float *ldatahint, const float *rdatahint, float *r, int64_t rhint,
    void *le_cb, void *le_params, void *re_cb, void *re_params, void *i_cb, void *i_params,
    void *search_cb, void *search_params, const struct GuxThreadingTable *threading);

#ifdef __cplusplus
}
#endif
#endif
