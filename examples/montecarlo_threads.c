/* A Monte Carlo estimate of pi split over threads. Worker k draws from its
 * own MT2203 sub-stream k: the sub-generators are independent sequences by
 * construction, so the workers need no coordination, and the merged count
 * does not depend on how the threads are scheduled. montecarlo_mpi.c spreads
 * the same workers over processes and prints the same line. */
#include <pthread.h>
#include <stdio.h>

#include "qor/qor_random_brng.h"
#include "qor/qor_random_dist.h"

enum { WORKERS = 4, POINTS = 1000000, BLOCK = 4096 };

typedef struct {
  int k;
  long long inside, drawn;
  int status;
} Work;

/* Points (x, y) uniform in the unit square; inside when x^2 + y^2 < 1. */
static void *worker(void *arg) {
  Work *w = arg;
  GuxStream *s;
  const uint32_t seed = 2026;
  w->status = __guxNewStreamEx(&s, GUX_BRNG_MT2203 + w->k, 1, &seed);
  if (w->status < 0) return NULL;
  double u[2 * BLOCK];
  for (int done = 0; done < POINTS && w->status >= 0; done += BLOCK) {
    const int n = POINTS - done < BLOCK ? POINTS - done : BLOCK;
    w->status = _guxdRngUniform(GUX_METHOD_DEFAULT, s, 2 * n, u, 0.0, 1.0);
    for (int i = 0; i < n; ++i) w->inside += u[2 * i] * u[2 * i] + u[2 * i + 1] * u[2 * i + 1] < 1.0;
    w->drawn += n;
  }
  __guxDeleteStream(&s);
  return NULL;
}

int main(void) {
  pthread_t thread[WORKERS];
  Work work[WORKERS] = {{0}};
  for (int k = 0; k < WORKERS; ++k) {
    work[k].k = k;
    pthread_create(&thread[k], NULL, worker, &work[k]);
  }
  long long inside = 0, drawn = 0;
  for (int k = 0; k < WORKERS; ++k) {
    pthread_join(thread[k], NULL);
    if (work[k].status < 0) {
      printf("worker %d: status %d\n", k, work[k].status);
      return 1;
    }
    inside += work[k].inside;
    drawn += work[k].drawn;
  }
  printf("%d workers, %lld points: %lld inside, pi ~ %.6f\n", WORKERS, drawn, inside, 4.0 * (double)inside / (double)drawn);
  return 0;
}
