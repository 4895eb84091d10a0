/* Random streams: the stream record, the generator registry, chunks, the
 * shared read-only table, stream splitting and the status codes of the random
 * side. Basic generators are declared in qor_random_brng.h. */
#ifndef QOR_RANDOM_H
#define QOR_RANDOM_H

#include <stdint.h>
#include "qor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- status codes (0 success, negative failure) ------------------------ */
#define GUX_STATUS_OK                           0
#define GUX_STATUS_BAD_INIT_METHOD             -2
#define GUX_STATUS_BAD_ARGUMENT                -3
#define GUX_STATUS_NO_MEMORY                   -4
#define GUX_STATUS_NULL_POINTER                -5
#define GUX_STATUS_BAD_BRNG                 -1000
#define GUX_STATUS_NO_LEAPFROG              -1002
#define GUX_STATUS_NO_SKIPAHEAD             -1003
#define GUX_STATUS_NO_SKIPAHEADEX           -1004
#define GUX_STATUS_BAD_STATE_SIZE           -1008
#define GUX_STATUS_BAD_WORD_SIZE            -1009
#define GUX_STATUS_BAD_SEED_COUNT           -1010
#define GUX_STATUS_BAD_BIT_COUNT            -1011
#define GUX_STATUS_QRNG_PERIOD_EXCEEDED     -1012
#define GUX_STATUS_BAD_STREAM_COUNT         -1013
#define GUX_STATUS_NO_UNIFORM_BITS          -1014
#define GUX_STATUS_FILE_CLOSE               -1100
#define GUX_STATUS_FILE_OPEN                -1101
#define GUX_STATUS_FILE_WRITE               -1102
#define GUX_STATUS_FILE_READ                -1103
#define GUX_STATUS_BAD_FILE_FORMAT          -1110
#define GUX_STATUS_ABSTRACT_BAD_CALLBACK_RESULT -1120
#define GUX_STATUS_ABSTRACT_NO_NUMBERS      -1121
#define GUX_STATUS_ABSTRACT_WRONG_FORM      -1122
#define GUX_STATUS_NO_RDRAND                -1130
#define GUX_STATUS_RDRAND_EXHAUSTED         -1131
#define GUX_STATUS_NO_AES                   -1140
#define GUX_STATUS_BAD_MEMORY_FORMAT        -1200
#define GUX_STATUS_RO_NOT_FOUND             -3000
#define GUX_STATUS_RO_TABLE_FULL            -3001

/* ---- init methods: the first argument of a generator's initStream -------- */
typedef enum GuxInitMethod {
  GUX_INIT_STANDARD = 0,    /* n seed words, params: const uint32_t[n]          */
  GUX_INIT_LEAPFROG = 1,    /* n streams, params: const uint32_t* index          */
  GUX_INIT_SKIPAHEAD = 2,   /* n = 2, params: const uint64_t* count              */
  GUX_INIT_SKIPAHEADEX = 3  /* n words, params: const uint64_t[n], low word first */
} GuxInitMethod;

/* ---- generator ids ------------------------------------------------------ */
/* Old ids index __RegBrngs; from 0x100000 on, bits 20 and up give the row of
 * __RegBrngsNew plus one and the low 20 bits the sub-generator. */
#define GUX_BRNG_MCG31M1       0x100000
#define GUX_BRNG_R250          0x200000
#define GUX_BRNG_MRG32K3A      0x300000
#define GUX_BRNG_MCG59         0x400000
#define GUX_BRNG_WH            0x500000
#define GUX_BRNG_SOBOL         0x600000
#define GUX_BRNG_NIEDERR       0x700000
#define GUX_BRNG_MT19937       0x800000
#define GUX_BRNG_MT2203        0x900000
#define GUX_BRNG_IABSTRACT     0xA00000
#define GUX_BRNG_DABSTRACT     0xB00000
#define GUX_BRNG_SABSTRACT     0xC00000
#define GUX_BRNG_SFMT19937     0xD00000
#define GUX_BRNG_TRNG          0xE00000
#define GUX_BRNG_ARS5          0xF00000
#define GUX_BRNG_PHILOX4X32X10 0x1000000
#define GUX_BRNG_INC           0x100000   /* stride between families */
#define GUX_BRNG_SUB_MASK      0xFFFFF

#define GUX_OLD_BRNG_ROWS   281
#define GUX_NEW_BRNG_ROWS   512
#define GUX_GLOB_RO_ENTRIES 128

/* ---- records ------------------------------------------------------------ */
struct StreamChunk;

/* The stream header. The generator's state follows it in the same allocation,
 * 16 bytes after the start; the record starts on a 128-byte boundary. */
typedef struct GuxStream {
  int32_t brngId;
  uint8_t headerMarkA;
  uint8_t headerMarkB;
  uint16_t headerMarkC;
  struct StreamChunk *chunks;
} GuxStream;

#define GUX_STREAM_STATE(stream) ((void *)((char *)(stream) + sizeof(GuxStream)))

typedef int (*GuxBrngInitStream)(int method, GuxStream *stream, int n, const void *params);
typedef int (*GuxBrngSGenerate)(GuxStream *stream, int n, float *r, float a, float b);
typedef int (*GuxBrngDGenerate)(GuxStream *stream, int n, double *r, double a, double b);
/* Writes n words of wordSize bytes, counted in 32-bit units of r. */
typedef int (*GuxBrngIGenerate)(GuxStream *stream, int n, uint32_t *r);

typedef struct BrngProperties {
  int32_t stateSize;     /* bytes of the whole stream record, header included */
  int32_t seedCount;     /* words of wordSize bytes of essential state */
  int32_t includesZero;  /* 0 when the stream never yields 0 */
  int32_t wordSize;      /* bytes of one i-form word: 4, 8 or 16 */
  int32_t bitCount;      /* significant bits of one word */
  GuxBrngInitStream initStream;
  GuxBrngSGenerate sGenerate;
  GuxBrngDGenerate dGenerate;
  GuxBrngIGenerate iGenerate;
} BrngProperties;

/* One named block of a stream. A non-zero sharedId names an entry of the
 * shared read-only table whose data the chunk references. */
typedef struct StreamChunk {
  int32_t chunkId;
  int32_t size;
  void *data;
  struct StreamChunk *next;
  uint64_t sharedId[2];
} StreamChunk;

typedef struct GlobRODataEntry {
  uint64_t id[2];
  int32_t refCount;
  void *data;
} GlobRODataEntry;

/* ---- registry (exported data) ------------------------------------------- */
#ifdef __cplusplus
#define QOR_RANDOM_DATA_API extern "C" __attribute__((visibility("default")))
#else
#define QOR_RANDOM_DATA_API extern __attribute__((visibility("default")))
#endif
QOR_RANDOM_DATA_API BrngProperties __RegBrngs[GUX_OLD_BRNG_ROWS];
QOR_RANDOM_DATA_API BrngProperties __RegBrngsNew[GUX_NEW_BRNG_ROWS];
QOR_RANDOM_DATA_API int32_t BrngSubCounts[GUX_NEW_BRNG_ROWS];
QOR_RANDOM_DATA_API int32_t RegBrngCount;

/* ---- streams -------------------------------------------------------------- */
QOR_API int __guxNewStreamEx(GuxStream **streamOut, int id, int seedCount, const uint32_t *seeds);
QOR_API int __guxAllocateStream(GuxStream **streamOut, const BrngProperties *table, int id,
                                int row, int sub);
QOR_API int __guxDeleteStream(GuxStream **streamInOut);
QOR_API int __guxCopyStream(GuxStream **streamOut, const GuxStream *source);
QOR_API int __guxCopyStreamState(GuxStream *destination, const GuxStream *source);
QOR_API int __guxGetStreamStateBrng(const GuxStream *stream);
QOR_API BrngProperties *__guxGetBrngBaseOffset(int id, int *rowOut, int *subOut);
QOR_API int __guxIsBrngValid(const BrngProperties *table, int row, int sub);
QOR_API int __guxGetBrngProperties(int id, BrngProperties *out);
QOR_API int __guxGetNumRegBrngs(void);
QOR_API int __guxRegisterBrng(const BrngProperties *properties);

/* ---- chunks --------------------------------------------------------------- */
QOR_API int __guxAddChunk(GuxStream *stream, int chunkId, const uint64_t *sharedId, void *data,
                          int size);
QOR_API void *__guxSearchChunk(const GuxStream *stream, int chunkId);
QOR_API int __guxGetNumChunks(const GuxStream *stream);
QOR_API int __guxDeleteChunksById(GuxStream *stream, int chunkId);
QOR_API int __guxDeleteChunks(GuxStream *stream);
QOR_API int __guxCopyChunks(GuxStream *destination, const GuxStream *source);

/* ---- shared read-only table ------------------------------------------------ */
QOR_API int __guxFindGlobRODataTableEntry(GlobRODataEntry **entryOut, const uint64_t *id);
QOR_API int __guxCreateGlobRODataTableEntry(GlobRODataEntry **entryOut, const uint64_t *id,
                                            void *data);
QOR_API int __guxRegisterGlobRODataReference(StreamChunk *chunk, const uint64_t *id);
QOR_API int __guxUnregisterGlobRODataReference(const uint64_t *id);
QOR_API int __guxGenerateNewGlobalRODataTableEntryId(uint64_t *idOut, uint64_t tag);

/* ---- splitting ------------------------------------------------------------- */
QOR_API int __guxLeapfrogStream(GuxStream *stream, uint32_t k, int nstreams);
QOR_API int __guxSkipAheadStream(GuxStream *stream, uint64_t nskip);
QOR_API int __guxSkipAheadStreamEx(GuxStream *stream, int n, const uint64_t *nskip);

/* ---- persistence: a stream's image in a file or a memory block -------------
 * The image is a 24-byte header, the generator state, then one entry per chunk.
 * Names: nameLength >= 0 means `name` holds that many bytes (not terminated);
 * a negative nameLength means `name` is a terminated string. */
QOR_API int __guxSaveStreamF(const GuxStream *stream, const char *name, int nameLength);
QOR_API int __guxLoadStreamF(GuxStream **streamOut, const char *name, int nameLength);
/* Writes __guxGetStreamSize(stream) bytes to memory; the caller provides them. */
QOR_API int __guxSaveStreamM(const GuxStream *stream, void *memory);
QOR_API int __guxLoadStreamM(GuxStream **streamOut, const void *memory);
QOR_API int __guxGetStreamSize(const GuxStream *stream);

/* ---- abstract streams: numbers from a caller's circular buffer ----------------
 * The callback refills the buffer: *size is the buffer's length, at least
 * *minimum and at most *maximum elements go in from *index on (wrapping at
 * *size); it returns the count put in, or a negative number. */
typedef int (*GuxiAbstractCallback)(GuxStream *stream, const int *size, uint32_t *buffer,
                                    const int *minimum, const int *maximum, const int *index);
typedef int (*GuxdAbstractCallback)(GuxStream *stream, const int *size, double *buffer,
                                    const int *minimum, const int *maximum, const int *index);
typedef int (*GuxsAbstractCallback)(GuxStream *stream, const int *size, float *buffer,
                                    const int *minimum, const int *maximum, const int *index);
QOR_API int __guxiNewAbstractStream(GuxStream **streamOut, int size, uint32_t *buffer,
                                    GuxiAbstractCallback callback);
QOR_API int __guxdNewAbstractStream(GuxStream **streamOut, int size, double *buffer,
                                    double lowerBound, double upperBound,
                                    GuxdAbstractCallback callback);
QOR_API int __guxsNewAbstractStream(GuxStream **streamOut, int size, float *buffer,
                                    float lowerBound, float upperBound,
                                    GuxsAbstractCallback callback);

/* ---- processor queries and scalar helpers ------------------------------------ */
QOR_API int __guxCPUisAES(void);
QOR_API int __guxCPUisRDRAND(void);
QOR_API int __guxCPUisVAES(void);
QOR_API double __guxdFloor(double x);
QOR_API float __guxsLn(float x);
QOR_API double __guxdLn(double x);
QOR_API double __guxdSqrt(double x);

#ifdef __cplusplus
}
#endif
#endif
