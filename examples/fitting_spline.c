/* From data to spline values in a few calls: a natural cubic spline through
 * samples of sin(x), evaluated with its first derivative, then integrated. */
#include <math.h>
#include <stdio.h>
#include "qor/qor_fitting.h"
#include "qor_core_fitting.h"
#include "qor_core_threading.h"

int main(void) {
  enum { NX = 11, NS = 5 };
  double x[NX], y[NX], coef[4 * (NX - 1)];
  for (int i = 0; i < NX; ++i) {
    x[i] = 0.3 * i;
    y[i] = sin(x[i]);
  }
  GuxDFTask *task = NULL;
  const double bc[2] = {0.0, 0.0}; /* second derivative zero at both ends */
  int st = qor_df_kernel_dNewTask1D(&task, NX, x, GUX_DF_X_NON_UNIFORM, 1, y, GUX_DF_Y_ROWS, 1);
  if (!st) st = qor_df_kernel_dEditPPSpline1D(task, GUX_DF_PP_CUBIC, GUX_DF_PP_NATURAL,
                                              GUX_DF_BC_D2_LEFT | GUX_DF_BC_D2_RIGHT, bc, 0, NULL,
                                              coef, GUX_DF_Y_ROWS);
  if (!st) st = qor_df_dConstruct1D(task, NULL);

  double site[NS] = {0.1, 0.75, 1.5, 2.2, 2.95}, r[2 * NS];
  int64_t dorder[2] = {1, 1}; /* value and first derivative */
  if (!st) st = qor_df_kernel_dDFInterpolate1D(task, GUX_DF_INTERP, GUX_DF_METHOD_PP, NS, site, 0, 2, dorder,
                                               NULL, r, GUX_DF_MATRIX_STORAGE_ROWS, NULL, NULL, NULL, NULL,
                                               NULL, NULL, NULL, NULL, NULL, qor_core_threading());
  if (st) {
    fprintf(stderr, "fitting failed: %d\n", st);
    return 1;
  }
  printf("     x    spline     sin(x)   spline'    cos(x)\n");
  for (int i = 0; i < NS; ++i)
    printf("%6.2f %9.6f %9.6f %9.6f %9.6f\n", site[i], r[2 * i], sin(site[i]), r[2 * i + 1], cos(site[i]));

  double a = 0.0, b = 3.0, area;
  st = qor_df_kernel_dDFIntegrate1D(task, GUX_DF_METHOD_PP, 1, &a, 0, &b, 0, NULL, NULL, &area, 0, NULL, NULL,
                                    NULL, NULL, NULL, NULL, NULL, NULL, NULL);
  printf("integral over [0, 3]: %.6f (exact %.6f), status %d\n", area, 1.0 - cos(3.0), st);
  qor_df_kernel_DeleteTask(&task);
  return st != 0;
}
