// MPFR references of the accuracy harness that MPFR has no function for:
// the normal distribution, the inverse error functions (by Newton steps at
// the working precision), the exponential integral E1 and the gamma
// logarithm. Each sets y to f(x) for x held exactly, like mpfr_exp.
#ifndef QOR_TESTS_ACCURACY_REFS_H
#define QOR_TESTS_ACCURACY_REFS_H

#include <mpfr.h>

int cdfnorm_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd);
int erfinv_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd);
int erfcinv_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd);
int cdfnorminv_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd);
int lgamma_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd);
int expint1_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd);

#endif
