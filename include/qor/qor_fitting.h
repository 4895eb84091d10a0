/* Data fitting: tasks, spline construction, cell search, interpolation and
 * integration over a one-dimensional partition. Plain C interface. */
#ifndef QOR_FITTING_H
#define QOR_FITTING_H

#include <stdint.h>
#include "qor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- status codes ------------------------------------------------------ */
#define GUX_DF_STATUS_OK            0
#define GUX_DF_NULL_TASK        (-1000)
#define GUX_DF_NO_MEMORY        (-1001)
#define GUX_DF_BAD_METHOD       (-1002)
#define GUX_DF_BAD_NX           (-1004)
#define GUX_DF_NO_X             (-1005)
#define GUX_DF_BAD_XHINT        (-1006)
#define GUX_DF_BAD_NY           (-1007)
#define GUX_DF_NO_Y             (-1008)
#define GUX_DF_BAD_YHINT        (-1009)
#define GUX_DF_BAD_S_ORDER      (-1010)
#define GUX_DF_BAD_S_TYPE       (-1011)
#define GUX_DF_BAD_IC_TYPE      (-1012)
#define GUX_DF_NO_IC            (-1013)
#define GUX_DF_BAD_BC_TYPE      (-1014)
#define GUX_DF_NO_BC            (-1015)
#define GUX_DF_NO_SCOEFF        (-1016)
#define GUX_DF_BAD_SCOEFFHINT   (-1017)
#define GUX_DF_BAD_RHINT        (-1018)
#define GUX_DF_BAD_ATTRIBUTE    (-1019)
#define GUX_DF_BAD_INDEX        (-1020)
#define GUX_DF_BAD_SITE_HINT    (-1026)
#define GUX_DF_BAD_INTEGR_RHINT (-1034)
#define GUX_DF_BAD_QUASI_UNIFORM (-1036)
#define GUX_DF_NO_DESTINATION   (-1037)
/* Per-function status of a tridiagonal solve that failed (zero pivot). */
#define GUX_DF_SOLVE_FAILED     (-1500)
/* A search callback's answer: every cell is settled, no check needed. */
#define GUX_DF_CALLBACK_ALL_SETTLED 1000

/* ---- partition, storage, spline kinds -------------------------------- */
#define GUX_DF_NO_HINT            0
#define GUX_DF_X_NON_UNIFORM      1
#define GUX_DF_X_QUASI_UNIFORM    2
#define GUX_DF_X_UNIFORM          4

#define GUX_DF_Y_ROWS            16
#define GUX_DF_Y_COLUMNS         32
#define GUX_DF_Y_BY_POINTER     128

#define GUX_DF_PP_LINEAR          2
#define GUX_DF_PP_QUADRATIC       3
#define GUX_DF_PP_CUBIC           4

#define GUX_DF_PP_DEFAULT         0
#define GUX_DF_PP_SUBBOTIN        1  /* quadratic with knots in ic */
#define GUX_DF_PP_NATURAL         2
#define GUX_DF_PP_HERMITE         3
#define GUX_DF_PP_BESSEL          4
#define GUX_DF_PP_AKIMA           5
#define GUX_DF_LOOKUP_INTERPOLANT 6
#define GUX_DF_CR_STEPWISE_CONST  7  /* right-continuous step */
#define GUX_DF_CL_STEPWISE_CONST  8  /* left-continuous step */
#define GUX_DF_PP_HYMAN           9

#define GUX_DF_BC_FREE_END        1
#define GUX_DF_BC_NOT_A_KNOT      2
#define GUX_DF_BC_D1_LEFT         4
#define GUX_DF_BC_D1_RIGHT        8
#define GUX_DF_BC_D2_LEFT        16
#define GUX_DF_BC_D2_RIGHT       32
#define GUX_DF_BC_PERIODIC       64

#define GUX_DF_IC_1ST_DER         1
#define GUX_DF_IC_2ND_DER         2
#define GUX_DF_IC_QUADRATIC_KNOTS 8

/* ---- attribute ids ---------------------------------------------------- */
#define GUX_DF_A_X              1
#define GUX_DF_A_Y              2
#define GUX_DF_A_IC             3
#define GUX_DF_A_BC             4
#define GUX_DF_A_SCOEFF         5
#define GUX_DF_A_NX            14
#define GUX_DF_A_XHINT         15
#define GUX_DF_A_NY            16
#define GUX_DF_A_YHINT         17
#define GUX_DF_A_S_ORDER       18
#define GUX_DF_A_S_TYPE        19
#define GUX_DF_A_IC_TYPE       20
#define GUX_DF_A_BC_TYPE       21
#define GUX_DF_A_SCOEFFHINT    22
#define GUX_DF_A_QUASI_UNIFORM 23

/* ---- sites, results ---------------------------------------------------- */
#define GUX_DF_SITES_UNIFORM      4
#define GUX_DF_SITES_SORTED    0x40
#define GUX_DF_NO_APRIORI_INFO  0.0
#define GUX_DF_APRIORI_MOST_LIKELY_CELL 1.0

/* Interpolation `type`: values, cells, or both (a bit set). */
#define GUX_DF_INTERP           1
#define GUX_DF_CELL             2
/* With this bit the cell array is an input: the cells of the sites are
 * given (task's index width) and no search runs. */
#define GUX_DF_CELLS_GIVEN      4
/* Interpolation and integration `method`. */
#define GUX_DF_METHOD_PP        1
#define GUX_DF_METHOD_STD       0

/* Result storage. For interpolation with nd requested derivative orders
 * (ascending, value first) and ny functions, element (site s, function f,
 * order slot k) stands at:
 *   16  site-major:       r[(s*ny + f)*nd + k]
 *   32  function-major:   r[(f*nsite + s)*nd + k]
 *   0x100 site-derivative:     r[(s*nd + k)*ny + f]
 *   0x200 function-derivative: r[(f*nd + k)*nsite + s]
 *   0x80  per-function pointers: ((double**)r)[f][s*nd + k]
 * Integration uses the same codes with nd = 1 (0x100 as 16, 0x200 as 32). */
#define GUX_DF_MATRIX_STORAGE_ROWS        16
#define GUX_DF_MATRIX_STORAGE_COLS        32
#define GUX_DF_MATRIX_STORAGE_FUNCS_SITES_DERS 0x100
#define GUX_DF_MATRIX_STORAGE_FUNCS_DERS_SITES 0x200
#define GUX_DF_MATRIX_STORAGE_BY_POINTER  0x80

/* ---- the task record (160 bytes) --------------------------------------- */
typedef struct GuxDFTask {
  uint32_t index_width;    /* nonzero: 64-bit integers in queries and cells */
  uint8_t kind;            /* always 4 */
  uint8_t pad0[3];
  uint32_t precision;      /* 1 double, 0 single */
  uint32_t dimension;      /* always 1 */
  int64_t nx;
  void *x;
  int64_t xhint;
  int64_t ny;
  void **y;
  int64_t yhint;
  int64_t s_order;
  int64_t s_type;
  int64_t ic_type;
  void *ic;
  int64_t bc_type;
  void *bc;
  void **scoeff;
  int64_t scoeffhint;
  int64_t quasi_uniform;
  int64_t table_size;
  int64_t *table;          /* table_size + 2 pairs (lo, hi) */
  union { double d; float s; } table_scale;
} GuxDFTask;

typedef GuxDFTask *GuxDFTaskPtr;

/* ---- callbacks ---------------------------------------------------------- */
/* Search: proposes cells for *n sites (n <= 128), sets flags[i] nonzero for
 * settled ones; 1000 = all settled, negative = stop with that status. */
typedef int (*GuxDFdSearchCallBack)(int64_t *n, const double *site, int64_t *cell,
                                    int *flag, void *params);
typedef int (*GuxDFsSearchCallBack)(int64_t *n, const float *site, int64_t *cell,
                                    int *flag, void *params);

/* What an interpolation or integration callback is asked for. */
typedef struct GuxDFCallBackInfo {
  int64_t function;  /* function number */
  int64_t order;     /* derivative order (interpolation) */
} GuxDFCallBackInfo;

/* Interpolation callbacks (left end, right end, user interpolant): write
 * r[i] for the *n sites, cell[i] being the site's cell. */
typedef int (*GuxDFdInterpCallBack)(int64_t *n, const int64_t *cell, const double *site,
                                    double *r, void *params, const GuxDFCallBackInfo *info);
typedef int (*GuxDFsInterpCallBack)(int64_t *n, const int64_t *cell, const float *site,
                                    float *r, void *params, const GuxDFCallBackInfo *info);
/* Integration callbacks: r[i] = integral from llim[i] to rlim[i] (llim <= rlim). */
typedef int (*GuxDFdIntegrCallBack)(int64_t *n, const double *llim, const double *rlim,
                                    double *r, void *params, const GuxDFCallBackInfo *info);
typedef int (*GuxDFsIntegrCallBack)(int64_t *n, const float *llim, const float *rlim,
                                    float *r, void *params, const GuxDFCallBackInfo *info);

/* ---- task --------------------------------------------------------------- */
QOR_API int qor_df_kernel_dNewTask1D(GuxDFTaskPtr *task, int64_t nx, const double *x,
                                     int64_t xhint, int64_t ny, const double *y,
                                     int64_t yhint, int wide);
QOR_API int qor_df_kernel_sNewTask1D(GuxDFTaskPtr *task, int64_t nx, const float *x,
                                     int64_t xhint, int64_t ny, const float *y,
                                     int64_t yhint, int wide);
QOR_API int qor_df_kernel_DeleteTask(GuxDFTaskPtr *task);
QOR_API int qor_df_kernel_dEditPPSpline1D(GuxDFTaskPtr task, int64_t s_order, int64_t s_type,
                                          int64_t bc_type, const double *bc, int64_t ic_type,
                                          const double *ic, double *scoeff, int64_t scoeffhint);
QOR_API int qor_df_kernel_sEditPPSpline1D(GuxDFTaskPtr task, int64_t s_order, int64_t s_type,
                                          int64_t bc_type, const float *bc, int64_t ic_type,
                                          const float *ic, float *scoeff, int64_t scoeffhint);
QOR_API int qor_df_kernel_dEditPtr(GuxDFTaskPtr task, int64_t id, const double *ptr);
QOR_API int qor_df_kernel_sEditPtr(GuxDFTaskPtr task, int64_t id, const float *ptr);
QOR_API int qor_df_kernel_dEditIdxPtr(GuxDFTaskPtr task, int64_t id, int64_t index, const void *ptr);
QOR_API int qor_df_kernel_sEditIdxPtr(GuxDFTaskPtr task, int64_t id, int64_t index, const void *ptr);
QOR_API int qor_df_kernel_iEditVal(GuxDFTaskPtr task, int64_t id, int64_t value);
QOR_API int qor_df_kernel_dQueryPtr(GuxDFTaskPtr task, int64_t id, double **out);
QOR_API int qor_df_kernel_sQueryPtr(GuxDFTaskPtr task, int64_t id, float **out);
QOR_API int qor_df_kernel_dQueryIdxPtr(GuxDFTaskPtr task, int64_t id, int64_t index, void **out);
QOR_API int qor_df_kernel_sQueryIdxPtr(GuxDFTaskPtr task, int64_t id, int64_t index, void **out);
QOR_API int qor_df_kernel_iQueryVal(GuxDFTaskPtr task, int64_t id, void *out);

#ifdef __cplusplus
}
#endif

#include "qor_fitting_compute.h"
#endif
