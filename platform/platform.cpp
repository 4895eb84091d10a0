#include "platform/platform.h"

#include <errno.h>
#include <pthread.h>
#include <stdlib.h>

namespace qor::platform {

bool tls_alloc(uint32_t *index, void (*on_thread_exit)(void *)) {
  pthread_key_t key;
  if (pthread_key_create(&key, on_thread_exit) != 0) return false;
  *index = (uint32_t)key;
  return true;
}
void tls_free(uint32_t index) { pthread_key_delete((pthread_key_t)index); }
void *tls_get(uint32_t index) { return pthread_getspecific((pthread_key_t)index); }
bool tls_set(uint32_t index, void *value) {
  return pthread_setspecific((pthread_key_t)index, value) == 0;
}

// A heap is a list of its blocks, so that destroying it frees what is left.
namespace {
struct Block {
  Block *prev, *next;
};
struct Heap {
  pthread_mutex_t lock;
  Block head;
};
}  // namespace

void *heap_create() {
  Heap *h = static_cast<Heap *>(malloc(sizeof(Heap)));
  if (!h) return nullptr;
  pthread_mutex_init(&h->lock, nullptr);
  h->head.prev = h->head.next = &h->head;
  return h;
}

void heap_destroy(void *heap) {
  Heap *h = static_cast<Heap *>(heap);
  for (Block *b = h->head.next; b != &h->head;) {
    Block *next = b->next;
    free(b);
    b = next;
  }
  pthread_mutex_destroy(&h->lock);
  free(h);
}

void *heap_alloc(void *heap, size_t size) {
  Heap *h = static_cast<Heap *>(heap);
  constexpr size_t kHeader = 16;  // keeps the block 16-byte aligned
  static_assert(sizeof(Block) <= kHeader, "header fits");
  Block *b = static_cast<Block *>(malloc(kHeader + size));
  if (!b) return nullptr;
  pthread_mutex_lock(&h->lock);
  b->next = h->head.next;
  b->prev = &h->head;
  h->head.next->prev = b;
  h->head.next = b;
  pthread_mutex_unlock(&h->lock);
  return reinterpret_cast<char *>(b) + kHeader;
}

void heap_free(void *heap, void *block) {
  if (!block) return;
  Heap *h = static_cast<Heap *>(heap);
  Block *b = reinterpret_cast<Block *>(static_cast<char *>(block) - 16);
  pthread_mutex_lock(&h->lock);
  b->prev->next = b->next;
  b->next->prev = b->prev;
  pthread_mutex_unlock(&h->lock);
  free(b);
}

void set_errno(int value) { errno = value; }

}  // namespace qor::platform

// Process attach: a failure makes the load fail, which an ELF constructor can
// only express by ending the process after the message.
__attribute__((constructor)) static void qor_on_load() {
  if (!qor_process_attach()) abort();
}

// The ELF destructor runs on dlclose and at process end alike. The process-end
// case must do nothing (other threads may still be running), so an exit
// handler marks the end. It is registered at first use, after the program has
// started: exit() then runs it before the loader's handler that calls library
// destructors. On dlclose this library's destructor runs before its own exit
// handlers (those run from the runtime's destructor, which comes last).
// The handler is bound to this library's DSO handle explicitly, so that
// dlclose discards it with the code it points to: a runtime that interposes
// atexit (ThreadSanitizer's does) would otherwise drop the handle, and exit()
// would then call into the unmapped library.
extern "C" void *__dso_handle;
extern "C" int __cxa_atexit(void (*handler)(void *), void *arg, void *dso);
static bool g_process_ending = false;
static void qor_mark_process_end(void *) { g_process_ending = true; }
static pthread_once_t g_exit_mark_once = PTHREAD_ONCE_INIT;
static void qor_register_exit_mark() { __cxa_atexit(qor_mark_process_end, nullptr, &__dso_handle); }
void qor::platform::arm_process_end_mark() { pthread_once(&g_exit_mark_once, qor_register_exit_mark); }

__attribute__((destructor)) static void qor_on_unload() {
  if (!g_process_ending) qor_process_detach_unload();
}
