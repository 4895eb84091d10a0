/* Export marker of the kernel library. Everything else is hidden. */
#ifndef QOR_API_H
#define QOR_API_H

#ifdef __cplusplus
#define QOR_EXTERN_C extern "C"
#else
#define QOR_EXTERN_C
#endif

#define QOR_API QOR_EXTERN_C __attribute__((visibility("default")))

#endif
