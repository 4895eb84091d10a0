// MPFR references of the accuracy harness that MPFR has no function for:
// the normal distribution, the inverse error functions (by Newton steps at
// the working precision), the exponential integral E1 and the gamma
// logarithm. Each sets y to f(x) for x held exactly, like mpfr_exp.
// The complex references go through MPC, by the entry's function name.
#ifndef QOR_TESTS_ACCURACY_REFS_H
#define QOR_TESTS_ACCURACY_REFS_H

#include <mpc.h>
#include <mpfr.h>

int cdfnorm_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd);
int erfinv_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd);
int erfcinv_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd);
int cdfnorminv_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd);
int lgamma_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd);
int expint1_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd);

// Complex functions: "Exp", "Ln", "Log10", "Sqrt", the circular and
// hyperbolic functions and their inverses; "Mul", "MulByConj" (a times the
// conjugate of b), "Div", "Pow" and "Powx" (the same with the scalar
// exponent); "Abs" and "Arg", real results from the parts (hypot, atan2).
// A name not listed gives null.
using MpcUnary = int (*)(mpc_ptr, mpc_srcptr, mpc_rnd_t);
using MpcBinary = int (*)(mpc_ptr, mpc_srcptr, mpc_srcptr, mpc_rnd_t);
using MpcToReal = int (*)(mpfr_ptr, mpc_srcptr, mpfr_rnd_t);
MpcUnary complex_reference(const char *func);
MpcBinary complex_reference2(const char *func);
MpcToReal complex_to_real_reference(const char *func);

#endif
