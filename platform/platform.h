// The few operating-system services the library needs, mapped to Linux:
// TLS index -> pthread key (its destructor is the thread-detach notification),
// private heap -> a malloc-backed block list, load/unload -> ELF constructor and
// destructor, the runtime's errno -> errno, x87 state -> inline assembly.
#ifndef QOR_PLATFORM_H
#define QOR_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

namespace qor::platform {

constexpr uint32_t kTlsInvalid = 0xffffffffu;

// TLS index. `on_thread_exit` is called at thread exit with the thread's
// non-null value, as a thread-detach notification would be.
bool tls_alloc(uint32_t *index, void (*on_thread_exit)(void *));
void tls_free(uint32_t index);
void *tls_get(uint32_t index);
bool tls_set(uint32_t index, void *value);

// Private heap: blocks are not zeroed; destroying the heap frees every block.
void *heap_create();
void heap_destroy(void *heap);
void *heap_alloc(void *heap, size_t size);
void heap_free(void *heap, void *block);

// Lets the unload notification tell process end from dlclose; called on
// first use of the service, once the program is running.
void arm_process_end_mark();

// The calling thread's C runtime error number.
void set_errno(int value);

// x87 state.
struct X87Env {
  uint16_t control, r0, status, r1, tag, r2;
  uint32_t ip, cs_op, dp, ds;
};
static_assert(sizeof(X87Env) == 28, "fnstenv image is 28 bytes");

inline uint16_t x87_control() {
  uint16_t cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
inline void x87_set_control(uint16_t cw) { __asm__ volatile("fldcw %0" : : "m"(cw)); }
inline void x87_clear_exceptions() { __asm__ volatile("fnclex"); }
inline uint16_t x87_status() {
  uint16_t sw;
  __asm__ volatile("fnstsw %0" : "=m"(sw));
  return sw;
}
inline void x87_store_env(X87Env *env) { __asm__ volatile("fnstenv %0" : "=m"(*env)); }
// Loads the environment, then waits: a pending unmasked exception is delivered here.
inline void x87_load_env_and_wait(const X87Env *env) {
  __asm__ volatile("fldenv %0\n\tfwait" : : "m"(*env));
}

}  // namespace qor::platform

// Load and unload notifications, implemented by the vector thread service.
bool qor_process_attach();
void qor_process_detach_unload();

#endif
