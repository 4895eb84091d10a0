/* The threading table the core library hands to statistics and fitting
 * compute entries. Entry 3 (index 2) runs a worker over blocks on the core's
 * thread pool, entry 5 (index 4) gives the number of threads. */
#ifndef QOR_CORE_THREADING_H
#define QOR_CORE_THREADING_H

#include "qor_core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* worker(block, reserved, block count, arguments) */
typedef void (*GuxBlockWorker)(int block, void *reserved, int nblocks, void *args);

typedef struct GuxThreadingTable {
  void *reserved0;
  void *reserved1;
  /* Runs worker for blocks 0..nblocks-1, in parallel; returns when all are done. */
  void (*parallel_for)(int nblocks, void *args, GuxBlockWorker worker);
  void *reserved3;
  /* Number of threads parallel_for may use (at least 1). */
  int (*thread_count)(void);
} GuxThreadingTable;

/* The table of the stand-in. Its thread count is the processor count, or the
 * value of QOR_NUM_THREADS, or what qor_core_set_num_threads last set. */
QOR_CORE_API const GuxThreadingTable *qor_core_threading(void);
QOR_CORE_API void qor_core_set_num_threads(int n);

#ifdef __cplusplus
}
#endif
#endif
