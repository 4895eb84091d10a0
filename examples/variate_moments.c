/* Gaussian and Poisson variates against their theoretical moments: the sample
 * mean and variance of 10^6 draws, and how many standard errors they lie from
 * the exact values. A generator or a transformation with a bias shows here
 * long before it shows in a plot. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "qor/qor_random_brng.h"
#include "qor/qor_random_dist.h"

enum { N = 1000000 };

/* Prints the sample mean and variance against mu and var, with the distance
 * in standard errors (the variance's error uses the fourth central moment m4). */
static void report(const char *what, const double *x, double mu, double var, double m4) {
  double s = 0, s2 = 0;
  for (int i = 0; i < N; ++i) s += x[i];
  const double mean = s / N;
  for (int i = 0; i < N; ++i) s2 += (x[i] - mean) * (x[i] - mean);
  const double v = s2 / (N - 1);
  printf("%-28s mean %10.5f (exact %8.4f, %+5.2f se)  variance %10.5f (exact %8.4f, %+5.2f se)\n", what, mean, mu,
         (mean - mu) / sqrt(var / N), v, var, (v - var) / sqrt((m4 - var * var) / N));
}

int main(void) {
  GuxStream *stream;
  const uint32_t seed = 12345;
  if (__guxNewStreamEx(&stream, GUX_BRNG_MCG59, 1, &seed) < 0) return 1;
  double *x = malloc(sizeof(double) * N);
  int *k = malloc(sizeof(int) * N);

  /* Gaussian (a, sigma) = (2, 3): mean 2, variance 9, fourth central moment 3 sigma^4. */
  const char *gauss[] = {"Gaussian, Box-Muller", "Gaussian, Box-Muller2", "Gaussian, inverse cdf"};
  const int method[] = {GUX_METHOD_BOX_MULLER, GUX_METHOD_BOX_MULLER2, GUX_METHOD_GAUSSIAN_ICDF};
  for (int m = 0; m < 3; ++m) {
    _guxdRngGaussian(method[m], stream, N, x, 2.0, 3.0);
    report(gauss[m], x, 2.0, 9.0, 3 * 81.0);
  }

  /* Poisson(lambda): mean and variance lambda, fourth central moment lambda (1 + 3 lambda). */
  const double lambdas[] = {0.5, 20.0, 1000.0};
  for (int m = 0; m < 2; ++m)
    for (int j = 0; j < 3; ++j) {
      const double l = lambdas[j];
      char what[64];
      _guxiRngPoisson(m == 0 ? GUX_METHOD_POISSON_PTPE : GUX_METHOD_POISSON_NORMAL, stream, N, k, l);
      for (int i = 0; i < N; ++i) x[i] = k[i];
      snprintf(what, sizeof what, "Poisson %s, lambda %g", m == 0 ? "PTPE" : "normal", l);
      report(what, x, l, l, l * (1 + 3 * l));
    }
  free(x);
  free(k);
  __guxDeleteStream(&stream);
  return 0;
}
