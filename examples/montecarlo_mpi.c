/* The Monte Carlo estimate of montecarlo_threads.c over MPI processes: the
 * same four workers, each on its own MT2203 sub-stream, dealt round-robin to
 * the ranks; rank 0 merges the counts. Any number of ranks prints the same
 * line as the threaded version, since each worker's numbers depend only on
 * its sub-stream.   mpirun -np 2 ./montecarlo_mpi */
#include <mpi.h>
#include <stdio.h>

#include "qor/qor_random_brng.h"
#include "qor/qor_random_dist.h"

enum { WORKERS = 4, POINTS = 1000000, BLOCK = 4096 };

/* Worker k's count of points inside the quarter circle, or -1. */
static long long worker(int k) {
  GuxStream *s;
  const uint32_t seed = 2026;
  if (__guxNewStreamEx(&s, GUX_BRNG_MT2203 + k, 1, &seed) < 0) return -1;
  long long inside = 0;
  double u[2 * BLOCK];
  for (int done = 0; done < POINTS; done += BLOCK) {
    const int n = POINTS - done < BLOCK ? POINTS - done : BLOCK;
    if (_guxdRngUniform(GUX_METHOD_DEFAULT, s, 2 * n, u, 0.0, 1.0) < 0) inside = -1;
    for (int i = 0; i < n && inside >= 0; ++i) inside += u[2 * i] * u[2 * i] + u[2 * i + 1] * u[2 * i + 1] < 1.0;
  }
  __guxDeleteStream(&s);
  return inside;
}

int main(int argc, char **argv) {
  MPI_Init(&argc, &argv);
  int rank, size;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  MPI_Comm_size(MPI_COMM_WORLD, &size);
  long long mine = 0, inside = 0, failed = 0, anyFailed = 0;
  for (int k = rank; k < WORKERS; k += size) {
    const long long c = worker(k);
    if (c < 0) failed = 1;
    else mine += c;
  }
  MPI_Reduce(&mine, &inside, 1, MPI_LONG_LONG, MPI_SUM, 0, MPI_COMM_WORLD);
  MPI_Reduce(&failed, &anyFailed, 1, MPI_LONG_LONG, MPI_MAX, 0, MPI_COMM_WORLD);
  if (rank == 0) {
    if (anyFailed) printf("a worker failed\n");
    else {
      const long long drawn = (long long)WORKERS * POINTS;
      printf("%d workers, %lld points: %lld inside, pi ~ %.6f\n", WORKERS, drawn, inside, 4.0 * (double)inside / (double)drawn);
    }
  }
  MPI_Finalize();
  return rank == 0 && anyFailed;
}
