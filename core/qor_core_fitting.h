/* The core library's spline construction dispatcher: maps the task's
 * spline order and type to the kernel library's construction entry and runs
 * it over the core's threading table. */
#ifndef QOR_CORE_FITTING_H
#define QOR_CORE_FITTING_H

#include "qor_core.h"
#include "qor/qor_fitting.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Builds the spline of the task's s_order and s_type (0 or a status). The
 * method argument is passed on (null for the standard method). */
QOR_CORE_API int qor_df_dConstruct1D(GuxDFTask *task, const void *method);
QOR_CORE_API int qor_df_sConstruct1D(GuxDFTask *task, const void *method);

#ifdef __cplusplus
}
#endif
#endif
