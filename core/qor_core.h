/* Services of the core library qor_core.2 that the kernel library imports.
 * This tree ships a small stand-in for that library (libqor_core.so.2). */
#ifndef QOR_CORE_H
#define QOR_CORE_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#define QOR_CORE_API __attribute__((visibility("default")))

/* Memory: alignment is a power of two (the library asks for 64 or 128). */
QOR_CORE_API void *qor_serv_allocate(size_t size, int alignment);
QOR_CORE_API void qor_serv_deallocate(void *ptr);

/* A lock word is an int owned by the caller, zero when free. Not recursive. */
QOR_CORE_API void qor_serv_lock(volatile int *word);
QOR_CORE_API void qor_serv_unlock(volatile int *word);

/* Copies the variable's value, terminated, into buf (at most len - 1 chars).
 * Returns the value's length, 0 if unset, -1 if it does not fit. */
QOR_CORE_API int qor_serv_getenv(const char *name, char *buf, int len);

/* Prints catalogue message `msg` at `level` to stderr. The arguments follow the
 * message's shape: a name is const char *, an index int, a value the 64 bits
 * of a double as unsigned long long. Returns the number of characters written. */
QOR_CORE_API int qor_serv_print(int level, int msg, int nargs, ...);

/* Ends the process with the exit code. */
QOR_CORE_API void qor_serv_exit(int code);

/* Bounded copy: 0 on success, 22 (EINVAL) for null pointers,
 * 34 (ERANGE) when n exceeds dstsize (dst is then zeroed). */
QOR_CORE_API int qor_serv_memcpy_s(void *dst, size_t dstsize, const void *src, size_t n);

/* Nonzero when the processor has the vector AES instructions (CPUID leaf 7, ECX bit 9). */
QOR_CORE_API int qor_serv_cpuisicx(void);

#ifdef __cplusplus
}
#endif
#endif
