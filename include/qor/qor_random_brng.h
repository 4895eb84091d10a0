/* Basic generators and the modular arithmetic behind their leapfrog and
 * skip-ahead. Every family has four functions with the signatures of the
 * registry row (qor_random.h): InitStream and the s, d and i forms. */
#ifndef QOR_RANDOM_BRNG_H
#define QOR_RANDOM_BRNG_H

#include <stdint.h>
#include "qor_random.h"

#ifdef __cplusplus
extern "C" {
#endif

#define GUX_BRNG_FAMILY(F)                                                              \
  QOR_API int __guxBRng##F##InitStream(int method, GuxStream *stream, int n,            \
                                       const void *params);                             \
  QOR_API int __guxsBRng##F(GuxStream *stream, int n, float *r, float a, float b);      \
  QOR_API int __guxdBRng##F(GuxStream *stream, int n, double *r, double a, double b);   \
  QOR_API int __guxiBRng##F(GuxStream *stream, int n, uint32_t *r);

GUX_BRNG_FAMILY(MCG31M1)  /* x := a x mod 2^31-1; i form: 32-bit words          */
GUX_BRNG_FAMILY(MCG59)    /* x := a x mod 2^59;   i form: 64-bit words (2 units) */
GUX_BRNG_FAMILY(R250)     /* r[k+250] = r[k] ^ r[k+103]; i form: 32-bit words    */
GUX_BRNG_FAMILY(MRG32K3A) /* two order-3 recursions mod 2^32-209, 2^32-22853     */
GUX_BRNG_FAMILY(WH)       /* four small congruences; i form: 4 x 32-bit per word */
GUX_BRNG_FAMILY(MT19937)  /* 624-word twister, tempered; i form: 32-bit words      */
GUX_BRNG_FAMILY(MT2203)   /* 6024 twisters of 69 words; i form: 32-bit words       */
GUX_BRNG_FAMILY(SFMT19937) /* 128-bit twister, untempered; i form: 32-bit words    */
GUX_BRNG_FAMILY(Sobol)    /* quasi-random, Gray-code order; i form: 32-bit words */
GUX_BRNG_FAMILY(Niederr)  /* quasi-random, base-2 Niederreiter; i form: 32-bit    */
GUX_BRNG_FAMILY(TRNG)     /* the processor's rdrand; no state, no jumps           */
GUX_BRNG_FAMILY(ARS5)     /* five AES rounds of a 128-bit counter; 4-word blocks  */
GUX_BRNG_FAMILY(PHILOX4X32X10) /* ten Philox 4x32 rounds of a 128-bit counter     */
/* The abstract kinds read a caller's buffer (see __gux?NewAbstractStream); each
 * serves its own form, the other two return GUX_STATUS_ABSTRACT_WRONG_FORM. Their
 * init takes params as an array of the addresses of size, buffer, [lower and
 * upper bound,] callback. */
GUX_BRNG_FAMILY(iAbstract)
GUX_BRNG_FAMILY(dAbstract)
GUX_BRNG_FAMILY(sAbstract)

/* ---- modular powers ---------------------------------------------------------- */
QOR_API uint32_t __guxiPowMod(uint32_t a, uint64_t e, uint32_t m);
QOR_API uint32_t __guxiPowMod2P31M1(uint32_t a, uint64_t e);
QOR_API uint64_t __guxiPowMod2P59(uint64_t a, uint64_t e);

/* v := A^e v modulo m, A the companion matrix with rows (0,1,0), (0,0,1),
 * (c3,c2,c1) for coeffs = (c1,c2,c3). */
QOR_API void __guxiVect3PowMod(uint32_t *v, const uint32_t *coeffs, uint32_t m, uint64_t e);
/* The same with an exponent of n 64-bit words, word 0 lowest. */
QOR_API int __guxiVect3PowArrayMod(uint32_t *v, const uint32_t *coeffs, uint32_t m, int n,
                                   const uint64_t *e);
/* The same for the two fixed moduli 4294967087 (_M1) and 4294944443 (_M2), with
 * a table of A^(2^k), k = 0..192, nine words per matrix in row order. */
QOR_API void __guxiVect3PowArrayMod_M1(uint32_t *v, int n, const uint64_t *e,
                                       const uint32_t *table);
QOR_API void __guxiVect3PowArrayMod_M2(uint32_t *v, int n, const uint64_t *e,
                                       const uint32_t *table);
/* The tables for the two moduli: A^(2^k) for k = 0..255, so that any exponent
 * of up to four words is exact (only k <= 192 matter below the period). Words
 * of the exponent past the fourth are not read by the table routines. */
QOR_RANDOM_DATA_API const uint32_t __guxVect3PowTableM1[256 * 9];
QOR_RANDOM_DATA_API const uint32_t __guxVect3PowTableM2[256 * 9];

/* ---- jumps of GF(2)-linear generators ---------------------------------------- */
/* out := x^n mod F over GF(2); F given by its `terms` exponents, ascending, the
 * last one its degree. out holds `words` 32-bit words (at least (degree+31)/32);
 * bit i of the result is bit (i & 31) of out[i >> 5]. */
QOR_API int __guxPolyRem(uint64_t n, int degree, int terms, const int *exponents, int words,
                         uint32_t *out);

/* The six operations on states that a jump is written over. "state" arguments
 * are the stream's state or temporaries of stateSize bytes; `flag` is what
 * Prepare reported and is handed on untouched. */
typedef void (*GuxJumpZero)(void *temp);
typedef void (*GuxJumpAdd)(void *temp, const void *state, int flag);
typedef void (*GuxJumpAssign)(void *temp, const void *state);
typedef void (*GuxJumpStep)(void *temp);
typedef void (*GuxJumpStore)(void *state, const void *temp, int flag);
/* Absorbs what the present block of the state still holds: may lower *count,
 * sets *flag; returns non-zero when a jump by the remaining *count is needed. */
typedef int (*GuxJumpPrepare)(void *state, uint64_t *count, int *flag);

/* Both routines leave state advanced by nskip steps: h(J) s with h = x^n mod F.
 * Horner evaluates h bit by bit; SWin with a 7-bit window over a table of 128
 * precomputed sums. Results are identical; cost differs. */
QOR_API int __gux_SkipAheadHorner(void *state, GuxJumpZero zero, GuxJumpAdd add,
                                  GuxJumpAssign assign, GuxJumpStep step, GuxJumpStore store,
                                  GuxJumpPrepare prepare, uint64_t nskip, int stateWords,
                                  int degree, int stateSize, int terms, const int *exponents);
QOR_API int __gux_SkipAheadSWin(void *state, GuxJumpZero zero, GuxJumpAdd add,
                                GuxJumpAssign assign, GuxJumpStep step, GuxJumpStore store,
                                GuxJumpPrepare prepare, uint64_t nskip, int stateWords,
                                int degree, int stateSize, int terms, const int *exponents);

#ifdef __cplusplus
}
#endif
#endif
