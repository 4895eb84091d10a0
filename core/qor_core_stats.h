/* The compute call of the core stand-in for summary statistics: splits the
 * caller's estimate mask among the estimators of the kernel library. */
#ifndef QOR_CORE_STATS_H
#define QOR_CORE_STATS_H

#include <stdint.h>

#include "qor_core.h"
#include <qor/qor_stats.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Calls, in a fixed order, every estimator of the task's precision that owns
 * a bit of `estimates`, each with the whole mask, the method word and the
 * core's threading table; sorting (method GUX_SS_M_SORT), streaming
 * quantiles (GUX_SS_M_STREAM_ONE or GUX_SS_M_STREAM_GROUPED), the
 * correlation repair (GUX_SS_M_SPECTRAL), robust covariance
 * (GUX_SS_M_ROBUST), missing values (GUX_SS_M_MULTIPLE_IMPUTATION) and
 * outlier detection (GUX_SS_M_OUTLIERS) are called by their method bits. Returns the first negative status, or 0. An
 * estimator that the kernel library does not export gives GUX_SS_BAD_METHOD. */
QOR_CORE_API int64_t qor_ss_compute(GuxSSTask *task, uint64_t estimates, uint64_t method);

#ifdef __cplusplus
}
#endif
#endif
