/* Summary statistics: the task record, its editors, status codes and the
 * estimators. Every parameter of a task is the address of the caller's
 * variable, read when an estimator runs. */
#ifndef QOR_STATS_H
#define QOR_STATS_H

#include <stdint.h>
#include "qor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- status codes ------------------------------------------------------ */
#define GUX_SS_OK                          0
#define GUX_SS_BAD_PARAMETER_ID           (-3)
#define GUX_SS_NO_MEMORY                  (-4000)
#define GUX_SS_BAD_DIMENSION              (-4001)
#define GUX_SS_BAD_OBSERVATIONS           (-4002)
#define GUX_SS_BAD_STORAGE                (-4003)
#define GUX_SS_BAD_INDICES                (-4004)
#define GUX_SS_BAD_WEIGHTS                (-4005)
#define GUX_SS_NO_MEAN                    (-4006)
#define GUX_SS_NO_RAW2                    (-4007)
#define GUX_SS_NO_RAW3                    (-4008)
#define GUX_SS_NO_RAW4                    (-4009)
#define GUX_SS_NO_CENTRAL2                (-4010)
#define GUX_SS_NO_CENTRAL3                (-4011)
#define GUX_SS_NO_CENTRAL4                (-4012)
#define GUX_SS_NO_KURTOSIS                (-4013)
#define GUX_SS_NO_SKEWNESS                (-4014)
#define GUX_SS_NO_MIN                     (-4015)
#define GUX_SS_NO_MAX                     (-4016)
#define GUX_SS_NO_VARIATION               (-4017)
#define GUX_SS_NO_COV                     (-4018)
#define GUX_SS_NO_COR                     (-4019)
#define GUX_SS_NO_ACCUM_WEIGHTS           (-4020)
#define GUX_SS_NO_QUANT_ORDERS            (-4021)
#define GUX_SS_BAD_QUANT_ORDERS           (-4022)
#define GUX_SS_NO_QUANTILES               (-4023)
#define GUX_SS_NO_ORDER_STATS             (-4024)
#define GUX_SS_NO_ROBUST_COV              (-4027)
#define GUX_SS_NO_ROBUST_MEAN             (-4028)
#define GUX_SS_BAD_METHOD                 (-4029)
#define GUX_SS_NO_GROUP_INDICES           (-4030)
#define GUX_SS_NULL_TASK                  (-4031)
#define GUX_SS_NO_X                       (-4032)
#define GUX_SS_NO_POOLED_COV              (-4034)
#define GUX_SS_NO_POOLED_MEAN             (-4035)
#define GUX_SS_NO_GROUP_COVS              (-4036)
#define GUX_SS_NO_GROUP_MEANS             (-4037)
#define GUX_SS_BAD_GROUP_INDICES          (-4038)
#define GUX_SS_NO_OUTLIER_PARAMS          (-4039)
#define GUX_SS_BAD_OUTLIER_PARAM_COUNT    (-4040)
#define GUX_SS_NO_OUTLIER_WEIGHTS         (-4041)
#define GUX_SS_NO_ROBUST_PARAMS           (-4042)
#define GUX_SS_BAD_ROBUST_PARAM_COUNT     (-4043)
#define GUX_SS_NO_STORAGE                 (-4044)
#define GUX_SS_NO_PARTIAL_INDICES         (-4045)
#define GUX_SS_NO_PARTIAL_COV             (-4046)
#define GUX_SS_NO_PARTIAL_COR             (-4047)
#define GUX_SS_NO_MISSING_PARAMS          (-4048)
#define GUX_SS_NO_MISSING_PARAM_COUNT     (-4049)
#define GUX_SS_BAD_MISSING_PARAM_COUNT    (-4050)
#define GUX_SS_NO_INIT_COUNT              (-4052)
#define GUX_SS_NO_INIT_ESTIMATES          (-4053)
#define GUX_SS_BAD_SIMULATIONS            (-4054)
#define GUX_SS_NO_SIMULATION_COUNT        (-4055)
#define GUX_SS_NO_PRIOR_COUNT             (-4056)
#define GUX_SS_NO_PRIOR                   (-4057)
#define GUX_SS_NOTHING_TO_PRODUCE         (-4060)
#define GUX_SS_NO_ESTIMATE_RECORD_COUNT   (-4061)
#define GUX_SS_NO_ESTIMATE_RECORD         (-4062)
#define GUX_SS_NO_STREAM_PARAM_COUNT      (-4064)
#define GUX_SS_NO_STREAM_PARAMS           (-4065)
#define GUX_SS_BAD_STREAM_PARAM_COUNT     (-4066)
#define GUX_SS_BAD_STREAM_EPSILON         (-4067)
#define GUX_SS_NO_STREAM_ORDERS           (-4068)
#define GUX_SS_BAD_STREAM_ORDERS          (-4069)
#define GUX_SS_NO_STREAM_QUANTILES        (-4070)
#define GUX_SS_NO_PARAM_COR               (-4071)
#define GUX_SS_BAD_COR_MATRIX             (-4072)
#define GUX_SS_BAD_PARTIAL_INDICES        (-4073)
#define GUX_SS_NO_SUM                     (-4074)
#define GUX_SS_NO_RAW_SUM2                (-4075)
#define GUX_SS_NO_RAW_SUM3                (-4076)
#define GUX_SS_NO_RAW_SUM4                (-4077)
#define GUX_SS_NO_CENTRAL_SUM2            (-4078)
#define GUX_SS_NO_CENTRAL_SUM3            (-4079)
#define GUX_SS_NO_CENTRAL_SUM4            (-4080)
#define GUX_SS_NO_CROSS_PRODUCT           (-4081)
#define GUX_SS_NO_MEAN_ABS_DEV            (-4082)
#define GUX_SS_NO_MEDIAN_ABS_DEV          (-4083)
#define GUX_SS_NO_SORTED                  (-4084)
#define GUX_SS_SORT_IN_PLACE_WITH_INDICES (-4085)
#define GUX_SS_WARN_COV_NOT_POSITIVE      (-5010)
#define GUX_SS_WARN_PARTIAL_SINGULAR      (-5011)
#define GUX_SS_WARN_COR_NOT_POSITIVE      (-5030)

/* ---- parameter ids (writer: i integer editor, r real editors) ----------- */
#define GUX_SS_P_DIMENSION              1  /* i */
#define GUX_SS_P_OBSERVATIONS           2  /* i */
#define GUX_SS_P_X                      3  /* r */
#define GUX_SS_P_X_STORAGE              4  /* i */
#define GUX_SS_P_INDICES                5  /* i */
#define GUX_SS_P_WEIGHTS                6  /* r */
#define GUX_SS_P_MEAN                   7  /* r */
#define GUX_SS_P_RAW2                   8
#define GUX_SS_P_RAW3                   9
#define GUX_SS_P_RAW4                  10
#define GUX_SS_P_CENTRAL2              11
#define GUX_SS_P_CENTRAL3              12
#define GUX_SS_P_CENTRAL4              13
#define GUX_SS_P_KURTOSIS              14
#define GUX_SS_P_SKEWNESS              15
#define GUX_SS_P_MIN                   16
#define GUX_SS_P_MAX                   17
#define GUX_SS_P_VARIATION             18
#define GUX_SS_P_COV                   19
#define GUX_SS_P_COV_STORAGE           20  /* i */
#define GUX_SS_P_COR                   21
#define GUX_SS_P_COR_STORAGE           22  /* i */
#define GUX_SS_P_ACCUM_WEIGHTS         23
#define GUX_SS_P_QUANT_ORDER_COUNT     24  /* i */
#define GUX_SS_P_QUANT_ORDERS          25
#define GUX_SS_P_QUANTILES             26
#define GUX_SS_P_ORDER_STATS           27
#define GUX_SS_P_GROUP_INDICES         28  /* i */
#define GUX_SS_P_POOLED_STORAGE        29  /* i */
#define GUX_SS_P_POOLED_MEAN           30
#define GUX_SS_P_POOLED_COV            31
#define GUX_SS_P_GROUP_COV_INDICES     32  /* i */
#define GUX_SS_P_GROUP_MEANS           33
#define GUX_SS_P_GROUP_STORAGE         34  /* i */
#define GUX_SS_P_GROUP_COVS            35
#define GUX_SS_P_ROBUST_STORAGE        36  /* i */
#define GUX_SS_P_ROBUST_PARAM_COUNT    37  /* i */
#define GUX_SS_P_ROBUST_PARAMS         38
#define GUX_SS_P_ROBUST_MEAN           39
#define GUX_SS_P_ROBUST_COV            40
#define GUX_SS_P_OUTLIER_PARAM_COUNT   41  /* i */
#define GUX_SS_P_OUTLIER_PARAMS        42
#define GUX_SS_P_OUTLIER_WEIGHTS       43
#define GUX_SS_P_ORDER_STATS_STORAGE   44  /* i */
#define GUX_SS_P_PARTIAL_INDICES       45  /* i */
#define GUX_SS_P_PARTIAL_COV           46
#define GUX_SS_P_PARTIAL_COV_STORAGE   47  /* i */
#define GUX_SS_P_PARTIAL_COR           48
#define GUX_SS_P_PARTIAL_COR_STORAGE   49  /* i */
#define GUX_SS_P_MISSING_PARAM_COUNT   50  /* i */
#define GUX_SS_P_MISSING_PARAMS        51
#define GUX_SS_P_INIT_ESTIMATE_COUNT   52  /* i */
#define GUX_SS_P_INIT_ESTIMATES        53
#define GUX_SS_P_SIMULATION_COUNT      54  /* i */
#define GUX_SS_P_SIMULATED_VALUES      55
#define GUX_SS_P_PRIOR_COUNT           56  /* i */
#define GUX_SS_P_PRIOR                 57
#define GUX_SS_P_ESTIMATE_RECORD_COUNT 58  /* i */
#define GUX_SS_P_ESTIMATE_RECORD       59
#define GUX_SS_P_PARAM_COR             60
#define GUX_SS_P_PARAM_COR_STORAGE     61  /* i */
#define GUX_SS_P_STREAM_PARAM_COUNT    62  /* i */
#define GUX_SS_P_STREAM_PARAMS         63
#define GUX_SS_P_STREAM_ORDER_COUNT    64  /* i */
#define GUX_SS_P_STREAM_ORDERS         65
#define GUX_SS_P_STREAM_QUANTILES      66
#define GUX_SS_P_SUM                   67
#define GUX_SS_P_RAW_SUM2              68
#define GUX_SS_P_RAW_SUM3              69
#define GUX_SS_P_RAW_SUM4              70
#define GUX_SS_P_CENTRAL_SUM2          71
#define GUX_SS_P_CENTRAL_SUM3          72
#define GUX_SS_P_CENTRAL_SUM4          73
#define GUX_SS_P_CROSS_PRODUCT         74
#define GUX_SS_P_CROSS_PRODUCT_STORAGE 75  /* i */
#define GUX_SS_P_MEAN_ABS_DEV          76
#define GUX_SS_P_MEDIAN_ABS_DEV        77
#define GUX_SS_P_SORTED                78
#define GUX_SS_P_SORTED_STORAGE        79  /* i */

/* ---- storage codes ------------------------------------------------------ */
#define GUX_SS_VARIABLES_IN_ROWS    0x10000 /* X[j*n + i] */
#define GUX_SS_OBSERVATIONS_IN_ROWS 0x20000 /* X[i*p + j] */
#define GUX_MATRIX_FULL       0 /* p by p */
#define GUX_MATRIX_LOWER_ROWS 1 /* packed, row i holds columns 0..i */
#define GUX_MATRIX_UPPER_ROWS 2 /* packed, row i holds columns i..p-1 */

/* ---- estimate mask ------------------------------------------------------ */
#define GUX_SS_MEAN          0x1ull
#define GUX_SS_RAW2          0x2ull
#define GUX_SS_RAW3          0x4ull
#define GUX_SS_RAW4          0x8ull
#define GUX_SS_CENTRAL2      0x10ull
#define GUX_SS_CENTRAL3      0x20ull
#define GUX_SS_CENTRAL4      0x40ull
#define GUX_SS_KURTOSIS      0x80ull
#define GUX_SS_SKEWNESS      0x100ull
#define GUX_SS_VARIATION     0x200ull
#define GUX_SS_MIN           0x400ull
#define GUX_SS_MAX           0x800ull
#define GUX_SS_COV           0x1000ull
#define GUX_SS_COR           0x2000ull
#define GUX_SS_POOLED_COV    0x4000ull
#define GUX_SS_GROUP_COV     0x8000ull
#define GUX_SS_QUANTS        0x10000ull
#define GUX_SS_ORDER_STATS   0x20000ull
#define GUX_SS_PARTIAL_COV   0x100000ull
#define GUX_SS_PARTIAL_COR   0x200000ull
#define GUX_SS_SUM           0x2000000ull
#define GUX_SS_RAW_SUM2      0x4000000ull
#define GUX_SS_RAW_SUM3      0x8000000ull
#define GUX_SS_RAW_SUM4      0x10000000ull
#define GUX_SS_CENTRAL_SUM2  0x20000000ull
#define GUX_SS_CENTRAL_SUM3  0x40000000ull
#define GUX_SS_CENTRAL_SUM4  0x80000000ull
#define GUX_SS_CROSS_PRODUCT 0x100000000ull
#define GUX_SS_MEAN_ABS_DEV  0x200000000ull
#define GUX_SS_MEDIAN_ABS_DEV 0x400000000ull
#define GUX_SS_POOLED_MEAN   0x800000000ull
#define GUX_SS_GROUP_MEANS   0x1000000000ull

/* ---- method word -------------------------------------------------------- */
#define GUX_SS_M_FAST                0x1ull
#define GUX_SS_M_ONE_PASS            0x2ull
#define GUX_SS_M_SPECTRAL            0x4ull
#define GUX_SS_M_ROBUST              0x8ull
#define GUX_SS_M_MULTIPLE_IMPUTATION 0x10ull
#define GUX_SS_M_OUTLIERS            0x20ull
#define GUX_SS_M_STREAM_ONE          0x40ull
#define GUX_SS_M_STREAM_GROUPED      0x80ull
#define GUX_SS_M_USER_MEAN           0x100ull
#define GUX_SS_M_FROM_CROSS_PRODUCT  0x200ull
#define GUX_SS_M_FROM_SUMS           0x400ull
#define GUX_SS_M_SORT                0x100000ull

/* ---- the task record (744 bytes) ---------------------------------------- */
struct GuxSSTask;
typedef void (*GuxSSCleanup)(struct GuxSSTask *task);

typedef struct GuxSSTask {
  uint32_t index_width; /* nonzero: integer parameters are 64-bit */
  uint32_t kind;        /* always 2 */
  uint32_t precision;   /* 1 double task, 0 single task */
  uint32_t pad0;
  const void *p, *n, *indices;
  const void *x, *weights;
  void *accum_weights;
  const void *x_storage;
  void *param_cor;
  const void *param_cor_storage;
  void *mean, *raw[3], *central[3];          /* raw 2..4, central 2..4 */
  void *sum, *raw_sum[3], *central_sum[3];   /* raw sums 2..4, central sums 2..4 */
  void *kurtosis, *skewness, *variation, *min, *max;
  const void *cov_storage;
  void *cov;
  const void *cor_storage;
  void *cor;
  const void *cp_storage;
  void *cp;
  const void *group_indices, *group_cov_indices;
  void *group_means, *group_covs;
  const void *group_storage;
  void *pooled_mean, *pooled_cov;
  const void *pooled_storage;
  const void *quant_order_count, *quant_orders;
  void *quantiles, *order_stats;
  const void *order_stats_storage;
  const void *stream_order_count, *stream_orders;
  void *stream_quantiles;
  void *stream_state; /* owned */
  const void *stream_param_count, *stream_params;
  void *median_abs_dev, *mean_abs_dev;
  const void *robust_param_count, *robust_params;
  void *robust_mean, *robust_cov;
  const void *robust_storage;
  const void *outlier_param_count, *outlier_params;
  void *outlier_weights;
  const void *partial_indices;
  void *partial_cov;
  const void *partial_cov_storage;
  void *partial_cor;
  const void *partial_cor_storage;
  const void *missing_param_count, *missing_params;
  const void *init_estimate_count, *init_estimates;
  const void *estimate_record_count;
  void *estimate_record;
  const void *simulation_count;
  void *simulated_values;
  const void *prior_count;
  void *prior;
  void *mahalanobis[7];
  int64_t cleanup_count;
  GuxSSCleanup cleanup;
  void *sorted;
  const void *sorted_storage;
  void *kept_mean; /* owned: p reals */
  void *reserved;
} GuxSSTask;

typedef struct GuxThreadingTable GuxThreadingTable;

/* ---- task, editors ------------------------------------------------------ */
/* Integer arguments point at 32-bit integers, or 64-bit ones when wide != 0. */
QOR_API int64_t __guxdSSNewTask(GuxSSTask **task, const void *p, const void *n,
                                const void *x_storage, const double *x, const double *weights,
                                const void *indices, int wide);
QOR_API int64_t __guxsSSNewTask(GuxSSTask **task, const void *p, const void *n,
                                const void *x_storage, const float *x, const float *weights,
                                const void *indices, int wide);
QOR_API int64_t __guxSSDeleteTask(GuxSSTask **task);
QOR_API int64_t __guxdSSEditTask(GuxSSTask *task, int64_t id, const void *value);
QOR_API int64_t __guxsSSEditTask(GuxSSTask *task, int64_t id, const void *value);
QOR_API int64_t __guxiSSEditTask(GuxSSTask *task, int64_t id, const void *value);

/* Grouped editors: every non-null argument is stored, a null one leaves its
 * field alone. The d and s names are one function. */
#define GUX_SS_GROUPED_EDITORS(T)                                                               \
  QOR_API int64_t __gux##T##SSEditMoments(GuxSSTask *, const void *mean, const void *raw2,      \
      const void *raw3, const void *raw4, const void *c2, const void *c3, const void *c4);     \
  QOR_API int64_t __gux##T##SSEditSums(GuxSSTask *, const void *sum, const void *raw_sum2,      \
      const void *raw_sum3, const void *raw_sum4, const void *central_sum2,                     \
      const void *central_sum3, const void *central_sum4);                                      \
  QOR_API int64_t __gux##T##SSEditCovCor(GuxSSTask *, const void *mean, const void *cov,        \
      const void *cov_storage, const void *cor, const void *cor_storage);                       \
  QOR_API int64_t __gux##T##SSEditCP(GuxSSTask *, const void *mean, const void *sum,            \
      const void *cp, const void *cp_storage);                                                  \
  QOR_API int64_t __gux##T##SSEditPartialCovCor(GuxSSTask *, const void *partial_indices,       \
      const void *cov, const void *cov_storage, const void *cor, const void *cor_storage,       \
      const void *partial_cov, const void *partial_cov_storage, const void *partial_cor,        \
      const void *partial_cor_storage);                                                         \
  QOR_API int64_t __gux##T##SSEditQuantiles(GuxSSTask *, const void *order_count,               \
      const void *orders, const void *quantiles, const void *order_stats,                       \
      const void *order_stats_storage);                                                         \
  QOR_API int64_t __gux##T##SSEditStreamQuantiles(GuxSSTask *, const void *order_count,         \
      const void *orders, const void *quantiles, const void *param_count, const void *params);  \
  QOR_API int64_t __gux##T##SSEditPooledCovariance(GuxSSTask *, const void *group_indices,      \
      const void *pooled_mean, const void *pooled_cov, const void *group_cov_indices,           \
      const void *group_means, const void *group_covs);                                         \
  QOR_API int64_t __gux##T##SSEditRCov(GuxSSTask *, const void *storage,                        \
      const void *param_count, const void *params, const void *robust_mean,                     \
      const void *robust_cov);                                                                  \
  QOR_API int64_t __gux##T##SSEditOutDetect(GuxSSTask *, const void *param_count,               \
      const void *params, const void *outlier_weights);                                         \
  QOR_API int64_t __gux##T##SSEditMissingVals(GuxSSTask *, const void *param_count,             \
      const void *params, const void *init_count, const void *init_estimates,                   \
      const void *record_count, const void *record, const void *simulation_count,               \
      const void *simulated_values, const void *prior_count, const void *prior);                \
  QOR_API int64_t __gux##T##SSEditMtxParametrz(GuxSSTask *, const void *cor,                    \
      const void *cor_storage, const void *param_cor, const void *param_cor_storage);
GUX_SS_GROUPED_EDITORS(d)
GUX_SS_GROUPED_EDITORS(s)
#undef GUX_SS_GROUPED_EDITORS

/* ---- estimators --------------------------------------------------------- */
QOR_API int64_t _guxdSSBasic(GuxSSTask *task, uint64_t estimates, uint64_t method,
                             const GuxThreadingTable *threading);
QOR_API int64_t _guxsSSBasic(GuxSSTask *task, uint64_t estimates, uint64_t method,
                             const GuxThreadingTable *threading);
QOR_API int64_t _guxdSSMinmax(GuxSSTask *task, uint64_t estimates, uint64_t method,
                              const GuxThreadingTable *threading);
QOR_API int64_t _guxsSSMinmax(GuxSSTask *task, uint64_t estimates, uint64_t method,
                              const GuxThreadingTable *threading);

/* Quantiles (mask 0x10000) and order statistics (mask 0x20000) of the selected
 * dimensions, method GUX_SS_M_FAST. With m orders, quantile k of dimension j
 * is written at quantiles[j*m + k] (dimension-major). Order statistics are
 * the sorted columns, stored by the order statistics storage code.
 * Unselected dimensions are left untouched. */
QOR_API int64_t _guxdSSQuantiles(GuxSSTask *task, uint64_t estimates, uint64_t method,
                                 const GuxThreadingTable *threading);
QOR_API int64_t _guxsSSQuantiles(GuxSSTask *task, uint64_t estimates, uint64_t method,
                                 const GuxThreadingTable *threading);

/* Sorted copies of the selected dimensions into the sorted output, stored by
 * its storage code, method GUX_SS_M_SORT. The output may be X itself when
 * both storages agree and no selection is set. */
QOR_API int64_t _guxdSSSort(GuxSSTask *task, uint64_t estimates, uint64_t method,
                            const GuxThreadingTable *threading);
QOR_API int64_t _guxsSSSort(GuxSSTask *task, uint64_t estimates, uint64_t method,
                            const GuxThreadingTable *threading);

/* Approximate quantiles over data that arrives in groups, method
 * GUX_SS_M_STREAM_ONE or GUX_SS_M_STREAM_GROUPED, one parameter: epsilon in
 * (0, 1]. After every call each estimate lies within epsilon*N ranks of the
 * exact quantile of the N observations seen so far. With m orders, estimate k
 * of dimension j is written at stream_quantiles[j*m + k]. The sketch lives in
 * the task and is released by __guxSSDeleteTask. */
QOR_API int64_t _guxdSSStreamQuantiles(GuxSSTask *task, uint64_t estimates, uint64_t method,
                                       const GuxThreadingTable *threading);
QOR_API int64_t _guxsSSStreamQuantiles(GuxSSTask *task, uint64_t estimates, uint64_t method,
                                       const GuxThreadingTable *threading);
/* The cleanup that streaming quantiles register in the task. */
QOR_API void __guxSQuantilesFreeBuffers(GuxSSTask *task);

/* In-place helpers. QSort: ascending quicksort of data[0..n-1]. QSortSelect:
 * the k-th smallest (0-based, clamped to 0..n-1; NaN when n < 1), reordering
 * data. QSortStep: one median-of-three partition of data[0..n-1]; returns the
 * pivot's place j with data[0..j-1] <= data[j] <= data[j+1..n-1] (ranges of
 * one or two elements are ordered and give 0, an empty one -1). */
QOR_API void __guxdQSort(int64_t n, double *data);
QOR_API void __guxsQSort(int64_t n, float *data);
QOR_API double __guxdQSortSelect(int64_t n, double *data, int64_t k);
QOR_API float __guxsQSortSelect(int64_t n, float *data, int64_t k);
QOR_API int64_t __guxdQSortStep(int64_t n, double *data);
QOR_API int64_t __guxsQSortStep(int64_t n, float *data);

/* ---- covariance variants, robust estimates, outliers, missing values ----
 * All take (task, estimates, method, threading) and have d and s twins on
 * the same record. Matrix outputs and inputs here accept the storage codes
 * 0, 1 and 2 only (anything else: GUX_SS_BAD_STORAGE). Except for the
 * deviations and the weighted median, which skip unselected dimensions like
 * the quantiles, these estimators work on all p dimensions. The single
 * forms of the robust covariance, outlier detection and missing values work
 * on a double copy of the data and round only their outputs. */
#define GUX_SS_DECLARE(Name)                                                                    \
  QOR_API int64_t _guxdSS##Name(GuxSSTask *task, uint64_t estimates, uint64_t method,           \
                                const GuxThreadingTable *threading);                           \
  QOR_API int64_t _guxsSS##Name(GuxSSTask *task, uint64_t estimates, uint64_t method,           \
                                const GuxThreadingTable *threading);

/* Pooled and group covariance and means, method GUX_SS_M_ONE_PASS; mask bits
 * GUX_SS_POOLED_COV, GUX_SS_GROUP_COV, GUX_SS_POOLED_MEAN, GUX_SS_GROUP_MEANS.
 * Group index i (integers of the task's width) puts observation i in group
 * 0..G-1, G = largest index + 1; a negative index gives
 * GUX_SS_BAD_GROUP_INDICES. The group covariance indices are G flags (nonzero:
 * wanted); the means of flagged groups go to row g of the group means (G rows
 * of p) and their covariances to slot g of the group covariances (slot size
 * p*p or p(p+1)/2 by the group storage); unflagged groups are untouched.
 * Observations of weight 0 take no part. Pooled mean: weighted mean of all
 * observations; pooled covariance: sum of the group scatters / (W - G), W the
 * sum of weights (n without weights); group covariance: scatter /
 * (W_g - V_g/W_g), V_g the sum of squared weights (n_g - 1 without weights). */
GUX_SS_DECLARE(PooledCovariance)

/* Partial covariance and correlation, method GUX_SS_M_FAST; mask bits
 * GUX_SS_PARTIAL_COV, GUX_SS_PARTIAL_COR. Source: the covariance when bound,
 * else the correlation. Partial index j: 1 keeps dimension j, -1 conditions
 * on it; any other value, or no kept dimension, gives
 * GUX_SS_BAD_PARTIAL_INDICES. With no conditioned dimension the outputs are
 * the kept block itself. Outputs are k by k (k kept dimensions, in dimension
 * order) in their own storage. A conditioned block that is not positive
 * definite stops with GUX_SS_WARN_COV_NOT_POSITIVE (the Cholesky factor
 * fails), and one whose factor cannot be inverted with
 * GUX_SS_WARN_PARTIAL_SINGULAR, outputs untouched in both cases. The
 * complement is formed from the explicit inverse by two general products. */
GUX_SS_DECLARE(PartialCovariance)

/* Repair of a symmetric matrix (the task's correlation) into a positive
 * definite one (the parametrized correlation), method GUX_SS_M_SPECTRAL:
 * eigenvalues below 1e-14 are raised to 1e-14 and the matrix is rebuilt from
 * the eigenvectors; nothing else is changed (the diagonal is not rescaled).
 * Input and output may be one array, except a packed input with a full
 * output (GUX_SS_BAD_STORAGE). All eigenvalues below 1e-14:
 * GUX_SS_BAD_COR_MATRIX; a failed decomposition: GUX_SS_WARN_COR_NOT_POSITIVE;
 * in both cases the output is untouched. */
GUX_SS_DECLARE(CorParametrization)

/* Robust mean and covariance, method GUX_SS_M_ROBUST, n > 2p: a minimum
 * covariance determinant estimate over h = n - trunc(b (n - p - 1))
 * observations from two deterministic starts (nearest to the coordinate-wise
 * medians after median/MAD standardization; the spatial-sign start), refined
 * by concentration steps, multiplied by median(d^2)/chi2_p(1/2) for
 * consistency at the normal, then reweighted: observations with d^2 below
 * the chi2_p quantile of level 1 - a give the final estimates, the
 * covariance multiplied by (1 - a)/F_{p+2}(q) for consistency. Optional
 * parameters (count 3): b breakdown in (0, 0.5] (default 0.5), a in (0, 1)
 * (default 0.025), the most concentration steps (default 100); values out of
 * range take the default. A subset of lower rank (exact fit) is reported as
 * it stands, without the consistency and reweighting steps. */
GUX_SS_DECLARE(RobustCovariance)

/* Mean absolute deviation (mask GUX_SS_MEAN_ABS_DEV, method GUX_SS_M_FAST):
 * mean of |x - mean|. Median absolute deviation (mask GUX_SS_MEDIAN_ABS_DEV,
 * method GUX_SS_M_FAST or GUX_SS_M_USER_MEAN): median of |x - median|, not
 * scaled; a median of an even count is the mean of the two middle values.
 * Weights are not used. One value per selected dimension. */
GUX_SS_DECLARE(MAD)

/* Weighted median of each selected dimension with the task weights (1
 * without them), written at quantiles[j]. With the values sorted, it is the
 * first value at which the cumulative weight reaches half the total; when it
 * equals half the total exactly there, the mean of that value and the next
 * one of positive weight. Observations of weight 0 take no part; no positive
 * weight gives NaN. Any method word. */
GUX_SS_DECLARE(WMedian)

/* Squared Mahalanobis distances (x_i - m)' A (x_i - m), mask 0x4000000 and
 * method GUX_SS_M_FAST, from the task's work block: mahalanobis[0] and [1]
 * point to int64 first and end observation (null: 0 and n), [2] the mean m
 * (p reals), [3] the inverse covariance A (p by p), [4] the distances (n
 * reals, written at the observation's index). Missing mean: GUX_SS_NO_MEAN;
 * missing A: GUX_SS_NO_COV; missing output, mask or method bit:
 * GUX_SS_BAD_METHOD. Used by outlier detection on its private task. */
GUX_SS_DECLARE(MahDistance)

/* Outlier detection, method GUX_SS_M_OUTLIERS, n >= 5p: weights 1 (clean)
 * and 0 (outlier) into the outlier weights. Parameters (count 3): start
 * method (1: mean and covariance of all observations; otherwise 2: the
 * coordinate-wise medians, Euclidean distances), alpha in (0, 1) (default
 * 0.05), stopping level > 0 (default 0.005). The first subset is the 5p
 * observations nearest to the start, enlarged while singular; the subset then
 * grows to the observations whose distance from its mean and covariance is
 * below the cut-off, until it stops changing or fewer than stopping level * n
 * observations change side. Cut-off: (c_np + c_hr) sqrt(q / c), q the chi2_p
 * quantile of 1 - alpha, c = F_{p+2}(q)/(1 - alpha) the shrinkage of a
 * covariance from a subset cut at q, c_np = 1 + (p+1)/(n-p) + 2/(n-1-3p),
 * c_hr = max(0, (h-r)/(h+r)), h = trunc((n+p+1)/2), r the subset size; so
 * clean normal observations are flagged at about the rate alpha. If all
 * observations together are of lower rank, every weight is 1. */
GUX_SS_DECLARE(OutliersDetection)

/* Missing values by multiple imputation (normal model), method
 * GUX_SS_M_MULTIPLE_IMPUTATION. Parameters (count 5): EM iterations,
 * data-augmentation iterations, EM tolerance (largest change of a mean or
 * covariance entry), number of copies m (at least 1), missing-entry marker
 * (NaN: any NaN is missing). X is not changed. Simulated values: m sets of
 * the missing entries, each in observation-major order; the simulation count
 * must be m times the number of missing entries (else GUX_SS_BAD_SIMULATIONS,
 * as is a count without the array). Initial estimates (p means, then the
 * covariance by lower rows) are used when their count is p(p+3)/2. The prior
 * output, when bound (with its count), receives the EM estimate in the same
 * layout; the estimate record, when bound with its count, receives for each
 * copy the parameters of its last imputation step. Imputed entries are drawn
 * from the normal conditional on the observed dimensions; the draws come from
 * a fixed-seed generator, so results are reproducible. */
GUX_SS_DECLARE(MissingValues)
#undef GUX_SS_DECLARE

#ifdef __cplusplus
}
#endif
#endif
