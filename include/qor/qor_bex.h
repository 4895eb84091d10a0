/* Vector functions: Mode word, thread status, error callback and the
 * per-function kernel tables. The entry points themselves are declared in
 * qor_bex_entries.h, generated from the manifest of table entries. */
#ifndef QOR_BEX_H
#define QOR_BEX_H

#include <stdint.h>
#include "qor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Mode word fields. */
#define BEX_ACCURACY_MASK     0x0000000fu
#define BEX_LA                0x00000001u
#define BEX_HA                0x00000002u
#define BEX_EP                0x00000003u
#define BEX_FPU_MASK          0x000000f0u
#define BEX_FLOAT_CONSISTENT  0x00000010u
#define BEX_DOUBLE_CONSISTENT 0x00000020u
#define BEX_RESTORE           0x00000030u
#define BEX_ERRMODE_MASK      0x0000ff00u
#define BEX_ERRMODE_IGNORE    0x00000100u
#define BEX_ERRMODE_ERRNO     0x00000200u
#define BEX_ERRMODE_STDERR    0x00000400u
#define BEX_ERRMODE_EXCEPT    0x00000800u
#define BEX_ERRMODE_CALLBACK  0x00001000u
#define BEX_ERRMODE_NOERR     0x00002000u
#define BEX_ERRMODE_DEFAULT   0x00001a00u
#define BEX_CONTROL2_MASK     0x00030000u
#define BEX_DENORMAL_MASK     0x003c0000u
#define BEX_FTZDAZ_ON         0x00280000u
#define BEX_FTZDAZ_OFF        0x00140000u
#define BEX_TRAP_MASK         0x0f000000u
#define BEX_TRAP_INVALID      0x01000000u
#define BEX_TRAP_DIVBYZERO    0x02000000u
#define BEX_TRAP_OVERFLOW     0x04000000u
#define BEX_TRAP_UNDERFLOW    0x08000000u
#define BEX_MODE_DEFAULT      0x00001a02u

/* Statuses reported per element. */
#define BEX_STATUS_OK            0
#define BEX_STATUS_DOMAIN        1
#define BEX_STATUS_SINGULARITY   2
#define BEX_STATUS_OVERFLOW      3
#define BEX_STATUS_UNDERFLOW     4
#define BEX_STATUS_BAD_ARGUMENT (-1)
#define BEX_STATUS_BAD_ACCESS   (-2)

/* The record handed to the error callback; its layout is an interface. */
typedef struct BexErrorContext {
  int32_t code;
  int32_t index;
  double a1, a2, r1, r2;
  char name[64];
  int32_t name_length;
  int32_t reserved;
  double a1_im, a2_im, r1_im, r2_im;
} BexErrorContext;

typedef int (*BexErrorCallBack)(BexErrorContext *context);

typedef struct { float re, im; } QorComplex8;
typedef struct { double re, im; } QorComplex16;

/* Per-function records, in table order: three kernels and their costs by
 * tier LA, HA, EP, with a pad word after the costs. */
typedef struct { void *kernel[3]; } BexKernelTable;
typedef struct { float cost[3]; uint32_t pad; } BexCostTable;

/* Thread service; each also exported as _bex<Name>. */
QOR_API unsigned qor_bex_kernel_SetMode(unsigned mode);
QOR_API unsigned qor_bex_kernel_GetMode(void);
QOR_API int qor_bex_kernel_SetErrStatus(int status);
QOR_API int qor_bex_kernel_GetErrStatus(void);
QOR_API int qor_bex_kernel_ClearErrStatus(void);
QOR_API BexErrorCallBack qor_bex_kernel_SetErrorCallBack(BexErrorCallBack cb);
QOR_API BexErrorCallBack qor_bex_kernel_GetErrorCallBack(void);
QOR_API BexErrorCallBack qor_bex_kernel_ClearErrorCallBack(void);
/* The start of the caller's whole input array, when a front layer hands the
 * kernels pieces of it: reported indices are then offset to name the element
 * in the whole array. A thread's record does not clear it on creation, so a
 * caller that reads indices from callbacks sets it (to NULL for none) first. */
QOR_API const void *qor_bex_kernel_SetInterfInputVectorPointer(const void *p);
QOR_API unsigned _bexSetMode(unsigned mode);
QOR_API unsigned _bexGetMode(void);
QOR_API int _bexSetErrStatus(int status);
QOR_API int _bexGetErrStatus(void);
QOR_API int _bexClearErrStatus(void);
QOR_API BexErrorCallBack _bexSetErrorCallBack(BexErrorCallBack cb);
QOR_API BexErrorCallBack _bexGetErrorCallBack(void);
QOR_API BexErrorCallBack _bexClearErrorCallBack(void);
QOR_API const void *_bexSetInterfInputVectorPointer(const void *p);

QOR_API int qor_bex_kernel_GetTTableIndex(void);
QOR_API int qor_bex_kernel_GetTTableIndexM(int ignored, unsigned mode);
QOR_API int dll_cpu_version(void);

#ifdef __cplusplus
}
#endif

#include <qor/qor_bex_entries.h>

#endif
