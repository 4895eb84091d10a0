// Memory, locks, environment, exit and processor services of the core stand-in.
#include "qor_core.h"

#include <cpuid.h>
#include <sched.h>
#include <malloc.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

extern "C" {

}  // extern "C"

namespace {

// A few blocks freed by this thread are kept for reuse. Aligned allocations
// past the allocator's small-size cache cost a split of a larger block on
// every call; reusing a freed block of about the same size avoids that for the
// common pattern of making and deleting a stream record of one size again and
// again. Sanitizer builds keep no blocks, so that every free is seen.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kKeptBlocks = 0;
#else
constexpr int kKeptBlocks = 4;
#endif

struct KeptBlocks {
  void *block[kKeptBlocks > 0 ? kKeptBlocks : 1] = {};
  size_t usable[kKeptBlocks > 0 ? kKeptBlocks : 1] = {};
  ~KeptBlocks() {
    for (int i = 0; i < kKeptBlocks; ++i) free(block[i]);
  }
};
thread_local KeptBlocks kept;

void *reuse(size_t size, size_t align) {
  for (int i = 0; i < kKeptBlocks; ++i) {
    void *p = kept.block[i];
    // A block fits when it holds the size without wasting more than half of it.
    if (p && kept.usable[i] >= size && kept.usable[i] <= 2 * size + 256 &&
        ((uintptr_t)p & (align - 1)) == 0) {
      kept.block[i] = nullptr;
      return p;
    }
  }
  return nullptr;
}

}  // namespace

extern "C" {

void *qor_serv_allocate(size_t size, int alignment) {
  size_t align = alignment < (int)sizeof(void *) ? sizeof(void *) : (size_t)alignment;
  if (align & (align - 1)) return nullptr;
  if (size == 0) size = 1;
  if (void *p = reuse(size, align)) return p;
  void *p = nullptr;
  if (posix_memalign(&p, align, size) != 0) return nullptr;
  return p;
}

void qor_serv_deallocate(void *ptr) {
  if (!ptr) return;
  for (int i = 0; i < kKeptBlocks; ++i)
    if (!kept.block[i]) {
      kept.block[i] = ptr;
      kept.usable[i] = malloc_usable_size(ptr);
      return;
    }
  free(ptr);
}

void qor_serv_lock(volatile int *word) {
  while (__atomic_exchange_n(word, 1, __ATOMIC_ACQUIRE) != 0)
    while (__atomic_load_n(word, __ATOMIC_RELAXED) != 0) sched_yield();
}

void qor_serv_unlock(volatile int *word) { __atomic_store_n(word, 0, __ATOMIC_RELEASE); }

int qor_serv_getenv(const char *name, char *buf, int len) {
  if (!name || !buf || len <= 0) return -1;
  const char *v = getenv(name);
  if (!v) return 0;
  size_t n = strlen(v);
  if (n + 1 > (size_t)len) return -1;
  memcpy(buf, v, n + 1);
  return (int)n;
}

void qor_serv_exit(int code) { exit(code); }

int qor_serv_memcpy_s(void *dst, size_t dstsize, const void *src, size_t n) {
  if (!dst || (!src && n)) return 22;
  if (n > dstsize) {
    memset(dst, 0, dstsize);
    return 34;
  }
  if (n) memmove(dst, src, n);
  return 0;
}

int qor_serv_cpuisicx(void) {
  unsigned a, b, c, d;
  if (!__get_cpuid_count(7, 0, &a, &b, &c, &d)) return 0;
  return (c >> 9) & 1;
}

}  // extern "C"
