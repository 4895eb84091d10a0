/* Summary statistics of a small data set given in two groups: the second
 * call folds its observations into the results of the first. */
#include <stdio.h>

#include <qor/qor_stats.h>
#include "qor_core_threading.h"

int main(void) {
  /* Four observations of three variables, observations in rows, per group. */
  double group1[] = {1e9 + 0.1, 2.0, 5.0, 1e9 + 0.4, 2.5, 4.0, 1e9 + 0.2, 1.5, 6.0, 1e9 + 0.3, 3.5, 4.5};
  double group2[] = {1e9 + 0.6, 2.2, 5.5, 1e9 + 0.5, 3.0, 3.5, 1e9 + 0.1, 1.0, 6.5, 1e9 + 0.2, 2.8, 5.0};
  int p = 3, n = 4, storage = GUX_SS_OBSERVATIONS_IN_ROWS, cor_storage = GUX_MATRIX_FULL;
  double mean[3], raw2[3], variance[3], cov[9], cor[9], weights[2] = {0, 0};
  GuxSSTask *task = NULL;

  __guxdSSNewTask(&task, &p, &n, &storage, group1, NULL, NULL, 0);
  __guxdSSEditMoments(task, mean, raw2, NULL, NULL, variance, NULL, NULL);
  __guxdSSEditCovCor(task, NULL, cov, &cor_storage, cor, &cor_storage);
  __guxdSSEditTask(task, GUX_SS_P_ACCUM_WEIGHTS, weights);

  const uint64_t mask = GUX_SS_MEAN | GUX_SS_RAW2 | GUX_SS_CENTRAL2 | GUX_SS_COV | GUX_SS_COR;
  int64_t status = _guxdSSBasic(task, mask, GUX_SS_M_ONE_PASS, qor_core_threading());
  __guxdSSEditTask(task, GUX_SS_P_X, group2);
  if (status == 0) status = _guxdSSBasic(task, mask, GUX_SS_M_ONE_PASS, qor_core_threading());
  __guxSSDeleteTask(&task);
  if (status != 0) {
    printf("status %lld\n", (long long)status);
    return 1;
  }
  printf("observations: %.0f\n", weights[0]);
  for (int j = 0; j < p; ++j)
    printf("x%d: mean %.6f  variance %.6f  cor with x0 %+.4f\n", j, mean[j], variance[j], cor[j * 3]);
  return 0;
}
