// ThreadVectorState on a private heap behind a TLS index, the first Mode word
// from the environment, and the thread service calls with their two names.
#include "vector/dispatch/thread_state.h"

#include <string.h>

#include <atomic>

#include "core/qor_core.h"
#include "platform/platform.h"

namespace qor::bex {
namespace {

// Created by a double test under a lock word, then read without the lock: the
// handles are atomics so that a thread that sees one set also sees what its
// creation wrote (release on store, acquire on the unlocked load).
std::atomic<uint32_t> g_tls_index{platform::kTlsInvalid};
std::atomic<void *> g_heap{nullptr};
volatile int g_index_lock = 0, g_heap_lock = 0, g_env_lock = 0;

constexpr int kEnvBuffer = 256;
constexpr uint32_t kAllOnes32 = 0xffffffffu;

// The variable's name, stored XORed with the repeating series 1, 3, 5, 2, 4.
constexpr unsigned char kScrambleKey[5] = {1, 3, 5, 2, 4};
struct ScrambledName {
  unsigned char bytes[13];
};
constexpr ScrambledName scramble(const char (&plain)[13]) {
  ScrambledName s{};
  for (int i = 0; i < 12; ++i) s.bytes[i] = (unsigned char)plain[i] ^ kScrambleKey[i % 5];
  return s;
}
constexpr ScrambledName kModeVariable = scramble("QOR_BEX_MODE");

struct Keyword {
  const char *text;
  int length;
  uint32_t value;
};
// Tried in this order. DOUBLE_CONSISTEN is matched at its 16 characters as it stands.
const Keyword kKeywords[18] = {
    {"LA", 2, 0x1},
    {"HA", 2, 0x2},
    {"EP", 2, 0x3},
    {"DEFAULT_PRECISION", 17, 0x0},
    {"FLOAT_CONSISTENT", 16, 0x10},
    {"DOUBLE_CONSISTEN", 16, 0x20},
    {"RESTORE", 7, 0x30},
    {"ERRMODE_IGNORE", 14, 0x100},
    {"ERRMODE_ERRNO", 13, 0x200},
    {"ERRMODE_STDERR", 14, 0x400},
    {"ERRMODE_EXCEPT", 14, 0x800},
    {"ERRMODE_CALLBACK", 16, 0x1000},
    {"ERRMODE_NOERR", 13, 0x2000},
    {"ERRMODE_DEFAULT", 15, 0x1a00},
    {"TRAP_INVALID", 12, 0x1000000},
    {"TRAP_DIVBYZERO", 14, 0x2000000},
    {"TRAP_OVERFLOW", 13, 0x4000000},
    {"TRAP_UNDERFLOW", 14, 0x8000000},
};

[[noreturn]] void record_unavailable() {
  qor_serv_print(1, 0x305, 0);
  qor_serv_exit(3);
  __builtin_unreachable();
}

void free_record(void *record) {
  void *heap = g_heap.load(std::memory_order_acquire);
  if (record && heap) platform::heap_free(heap, record);
}

// Thread detach: the pthread key's destructor hands us the thread's record.
void on_thread_exit(void *record) { free_record(record); }

bool ensure_index() {
  if (g_tls_index.load(std::memory_order_acquire) != platform::kTlsInvalid) return true;
  qor_serv_lock(&g_index_lock);
  bool ok = true;
  if (g_tls_index.load(std::memory_order_relaxed) == platform::kTlsInvalid) {
    uint32_t index;
    ok = platform::tls_alloc(&index, on_thread_exit);
    if (ok) g_tls_index.store(index, std::memory_order_release);
  }
  qor_serv_unlock(&g_index_lock);
  return ok;
}

bool ensure_heap() {
  if (g_heap.load(std::memory_order_acquire)) return true;
  qor_serv_lock(&g_heap_lock);
  void *heap = g_heap.load(std::memory_order_relaxed);
  if (!heap) {
    heap = platform::heap_create();
    g_heap.store(heap, std::memory_order_release);
  }
  qor_serv_unlock(&g_heap_lock);
  return heap != nullptr;
}

// Makes this thread's record. interf_input is left as the heap block held it.
ThreadVectorState *create_record() {
  if (!ensure_heap()) return nullptr;
  void *heap = g_heap.load(std::memory_order_acquire);
  auto *s = static_cast<ThreadVectorState *>(platform::heap_alloc(heap, sizeof(ThreadVectorState)));
  if (!s) return nullptr;
  if (!platform::tls_set(g_tls_index.load(std::memory_order_acquire), s)) {
    platform::heap_free(heap, s);
    return nullptr;
  }
  s->mode = 0;
  s->status = 0;
  s->callback = nullptr;
  return s;
}

uint64_t read_environment() {
  // The barrier hides the scrambled bytes from the optimiser, which would
  // otherwise fold the loop and store the name in clear in the library.
  const unsigned char *scrambled = kModeVariable.bytes;
  __asm__("" : "+r"(scrambled));
  char name[13];
  for (int i = 0; i < 12; ++i) name[i] = (char)(scrambled[i] ^ kScrambleKey[i % 5]);
  name[12] = 0;
  char buffer[kEnvBuffer];
  qor_serv_lock(&g_env_lock);
  int got = qor_serv_getenv(name, buffer, kEnvBuffer);
  qor_serv_unlock(&g_env_lock);
  if (got < 1) return ~0ull;
  return scan_mode_text(buffer, kEnvBuffer);
}

void init_mode(ThreadVectorState *s) {
  platform::arm_process_end_mark();
  uint64_t v = read_environment();
  uint32_t w;
  if (v == ~0ull) {
    w = BEX_MODE_DEFAULT;
  } else {
    w = (uint32_t)v;
    if ((w & BEX_ACCURACY_MASK) == 0) w |= BEX_HA;
    if ((w & BEX_ERRMODE_MASK) == 0) w |= BEX_ERRMODE_DEFAULT;
  }
  s->mode = w;
}

ThreadVectorState *state_with_mode() {
  ThreadVectorState *s = thread_state();
  if (s->mode == 0) init_mode(s);
  return s;
}

}  // namespace

uint64_t scan_mode_text(const char *text, int length) {
  int pos = 0;
  uint64_t value = 0;
  for (;;) {
    if (pos + 4 > length || memcmp(text + pos, "BEX_", 4) != 0) return ~0ull;
    const Keyword *hit = nullptr;
    for (const Keyword &k : kKeywords) {
      if (k.length + pos + 4 >= length) continue;
      if (memcmp(text + pos + 4, k.text, k.length) == 0) {
        hit = &k;
        break;
      }
    }
    if (!hit) return ~0ull;
    int after = pos + 4 + hit->length;
    char c = text[after];
    if (c != ',' && c != 0) return ~0ull;
    value |= hit->value;
    if (c == 0) return value;
    pos = after + 1;
  }
}

ThreadVectorState *thread_state() {
  if (!ensure_index()) record_unavailable();
  auto *s = static_cast<ThreadVectorState *>(platform::tls_get(g_tls_index.load(std::memory_order_acquire)));
  if (s) return s;
  s = create_record();
  if (!s) record_unavailable();
  return s;
}

uint32_t get_mode() { return state_with_mode()->mode; }

uint32_t set_mode(uint32_t w) {
  ThreadVectorState *s = state_with_mode();
  uint32_t old = s->mode, m = old;
  const uint32_t fields[] = {BEX_ACCURACY_MASK, BEX_ERRMODE_MASK, BEX_DENORMAL_MASK, BEX_TRAP_MASK,
                             BEX_CONTROL2_MASK};
  for (uint32_t f : fields)
    if (w & f) m = (m & ~f) | (w & f);
  s->mode = m;
  return old;
}

}  // namespace qor::bex

using namespace qor::bex;

bool qor_process_attach() {
  bool ok = ensure_index() && ensure_heap() && create_record() != nullptr;
  if (!ok) qor_serv_print(1, 0x305, 0);
  return ok;
}

void qor_process_detach_unload() {
  const uint32_t index = g_tls_index.load(std::memory_order_acquire);
  if (index == qor::platform::kTlsInvalid) return;
  free_record(qor::platform::tls_get(index));
  qor::platform::tls_set(index, nullptr);
  qor::platform::tls_free(index);
  g_tls_index.store(qor::platform::kTlsInvalid, std::memory_order_release);
  if (void *heap = g_heap.exchange(nullptr, std::memory_order_acq_rel)) qor::platform::heap_destroy(heap);
}

// Each call has two exported names on one entry point.
#define QOR_ALIAS(target) __attribute__((alias(#target)))

QOR_API unsigned qor_bex_kernel_SetMode(unsigned mode) { return set_mode(mode); }
QOR_API unsigned qor_bex_kernel_GetMode(void) { return get_mode(); }
QOR_API int qor_bex_kernel_SetErrStatus(int status) {
  ThreadVectorState *s = thread_state();
  int old = s->status;
  s->status = status;
  return old;
}
QOR_API int qor_bex_kernel_GetErrStatus(void) { return thread_state()->status; }
QOR_API int qor_bex_kernel_ClearErrStatus(void) { return qor_bex_kernel_SetErrStatus(0); }
QOR_API BexErrorCallBack qor_bex_kernel_SetErrorCallBack(BexErrorCallBack cb) {
  ThreadVectorState *s = thread_state();
  BexErrorCallBack old = s->callback;
  uint32_t mode = get_mode();
  s->callback = cb;
  set_mode(cb ? (mode | BEX_ERRMODE_CALLBACK) : (mode & ~BEX_ERRMODE_CALLBACK));
  return old;
}
QOR_API BexErrorCallBack qor_bex_kernel_GetErrorCallBack(void) { return thread_state()->callback; }
QOR_API BexErrorCallBack qor_bex_kernel_ClearErrorCallBack(void) {
  return qor_bex_kernel_SetErrorCallBack(nullptr);
}
QOR_API const void *qor_bex_kernel_SetInterfInputVectorPointer(const void *p) {
  thread_state()->interf_input = p;
  return p;
}

QOR_API unsigned _bexSetMode(unsigned) QOR_ALIAS(qor_bex_kernel_SetMode);
QOR_API unsigned _bexGetMode(void) QOR_ALIAS(qor_bex_kernel_GetMode);
QOR_API int _bexSetErrStatus(int) QOR_ALIAS(qor_bex_kernel_SetErrStatus);
QOR_API int _bexGetErrStatus(void) QOR_ALIAS(qor_bex_kernel_GetErrStatus);
QOR_API int _bexClearErrStatus(void) QOR_ALIAS(qor_bex_kernel_ClearErrStatus);
QOR_API BexErrorCallBack _bexSetErrorCallBack(BexErrorCallBack) QOR_ALIAS(qor_bex_kernel_SetErrorCallBack);
QOR_API BexErrorCallBack _bexGetErrorCallBack(void) QOR_ALIAS(qor_bex_kernel_GetErrorCallBack);
QOR_API BexErrorCallBack _bexClearErrorCallBack(void) QOR_ALIAS(qor_bex_kernel_ClearErrorCallBack);
QOR_API const void *_bexSetInterfInputVectorPointer(const void *) QOR_ALIAS(qor_bex_kernel_SetInterfInputVectorPointer);

QOR_API int qor_bex_kernel_GetTTableIndex(void) { return (int)(get_mode() & BEX_ACCURACY_MASK) - 1; }
QOR_API int qor_bex_kernel_GetTTableIndexM(int, unsigned mode) { return (int)(mode & BEX_ACCURACY_MASK) - 1; }
QOR_API int dll_cpu_version(void) { return 3; }
