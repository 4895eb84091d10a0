/* Quantiles and a robust covariance of a data file. The file holds 200
 * observations of three variables, a few of them gross outliers: the
 * classical mean and covariance follow the outliers, the robust estimates
 * (a minimum covariance determinant fit) and the quantiles do not.
 * Usage: quantiles_robust [file]   (default: the file beside the sources) */
#include <stdio.h>
#include <stdlib.h>

#include <qor/qor_stats.h>
#include "qor_core_threading.h"

#ifndef QOR_EXAMPLE_DATA
#define QOR_EXAMPLE_DATA "examples/data/measurements.csv"
#endif

enum { P = 3, MAXN = 1000 };

int main(int argc, char **argv) {
  const char *path = argc > 1 ? argv[1] : QOR_EXAMPLE_DATA;
  FILE *f = fopen(path, "r");
  if (!f) {
    perror(path);
    return 1;
  }
  static double x[MAXN * P];
  int n = 0;
  char line[256];
  while (n < MAXN && fgets(line, sizeof line, f))
    if (line[0] != '#' && sscanf(line, "%lf,%lf,%lf", &x[n * P], &x[n * P + 1], &x[n * P + 2]) == 3) ++n;
  fclose(f);

  int p = P, storage = GUX_SS_OBSERVATIONS_IN_ROWS, full = GUX_MATRIX_FULL, m = 5;
  double orders[5] = {0.05, 0.25, 0.5, 0.75, 0.95}, quantiles[P * 5];
  double mean[P], cov[P * P], rmean[P], rcov[P * P];
  GuxSSTask *task = NULL;
  int64_t st = __guxdSSNewTask(&task, &p, &n, &storage, x, NULL, NULL, 0);
  if (!st) st = __guxdSSEditQuantiles(task, &m, orders, quantiles, NULL, NULL);
  if (!st) st = __guxdSSEditCovCor(task, mean, cov, &full, NULL, NULL);
  if (!st) st = __guxdSSEditRCov(task, &full, NULL, NULL, rmean, rcov);
  if (!st) st = _guxdSSQuantiles(task, GUX_SS_QUANTS, GUX_SS_M_FAST, qor_core_threading());
  if (!st) st = _guxdSSBasic(task, GUX_SS_MEAN | GUX_SS_COV, GUX_SS_M_FAST, qor_core_threading());
  if (!st) st = _guxdSSRobustCovariance(task, 0, GUX_SS_M_ROBUST, qor_core_threading());
  __guxSSDeleteTask(&task);
  if (st) {
    printf("status %lld\n", (long long)st);
    return 1;
  }
  const char *name[P] = {"temperature", "pressure", "flow"};
  printf("%d observations\n\n%-12s %9s %9s %9s %9s %9s\n", n, "quantile", "5%", "25%", "50%", "75%", "95%");
  for (int j = 0; j < P; ++j) {
    printf("%-12s", name[j]);
    for (int k = 0; k < m; ++k) printf(" %9.4f", quantiles[j * m + k]);
    printf("\n");
  }
  printf("\n%-12s %9s %9s   %s\n", "", "mean", "robust", "variance: classical / robust");
  for (int j = 0; j < P; ++j)
    printf("%-12s %9.4f %9.4f   %9.4f / %.4f\n", name[j], mean[j], rmean[j], cov[j * P + j], rcov[j * P + j]);
  printf("\ncorrelation of temperature and pressure: classical %.3f, robust %.3f\n",
         cov[1] / __builtin_sqrt(cov[0] * cov[4]), rcov[1] / __builtin_sqrt(rcov[0] * rcov[4]));
  return 0;
}
