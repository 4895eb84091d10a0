/* Distribution generators: n variates of one law from a stream's basic
 * generator. Every entry takes (method, stream, n, r, parameters...) and
 * returns the int status of the stream service: negative is an error, zero or
 * positive success (a positive status of the basic generator is passed on).
 * The type letter is the element type of r: s float, d double, i int32. */
#ifndef QOR_RANDOM_DIST_H
#define QOR_RANDOM_DIST_H

#include <stdint.h>
#include "qor_random.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- method word: low bits select the algorithm, bit 30 is a flag -------- */
#define GUX_METHOD_ACCURATE_FLAG   0x40000000 /* clamp results into the support */
#define GUX_METHOD_DEFAULT         0
#define GUX_METHOD_BOX_MULLER      0 /* Gaussian: one variate from two uniforms  */
#define GUX_METHOD_BOX_MULLER2     1 /* Gaussian: two variates from two uniforms */
#define GUX_METHOD_GAUSSIAN_ICDF   2 /* Gaussian: inverse distribution function  */
#define GUX_METHOD_POISSON_PTPE    0
#define GUX_METHOD_POISSON_NORMAL  1

/* ---- storage of the Cholesky factor of the multivariate Gaussian --------- */
#define GUX_MATRIX_STORAGE_FULL     0 /* dimen x dimen, upper triangle read     */
#define GUX_MATRIX_STORAGE_PACKED   1 /* lower triangle packed by columns       */
#define GUX_MATRIX_STORAGE_DIAGONAL 2 /* dimen diagonal entries                 */

/* ---- uniform ------------------------------------------------------------- */
/* On [a, b); with the accurate flag clamped into [a, b]. */
QOR_API int _guxsRngUniform(int method, GuxStream *stream, int n, float *r, float a, float b);
QOR_API int _guxdRngUniform(int method, GuxStream *stream, int n, double *r, double a, double b);
/* floor of a double uniform on [a, b); the method word is ignored. */
QOR_API int _guxiRngUniform(int method, GuxStream *stream, int n, int32_t *r, int32_t a,
                            int32_t b);
/* n words of the generator's own word size. */
QOR_API int _guxiRngUniformBits(int method, GuxStream *stream, int n, uint32_t *r);
/* n 32-bit or n 64-bit words of uniform bits; GUX_STATUS_NO_UNIFORM_BITS for
 * generators whose words are not uniform over all their bits. */
QOR_API int _guxiRngUniformBits32(int method, GuxStream *stream, int n, uint32_t *r);
QOR_API int _guxiRngUniformBits64(int method, GuxStream *stream, int n, uint64_t *r);

/* ---- Gaussian, multivariate Gaussian, exponential ----------------------- */
/* Mean a, standard deviation sigma; method 0, 1 or 2 (see above). */
QOR_API int _guxsRngGaussian(int method, GuxStream *stream, int n, float *r, float a, float sigma);
QOR_API int _guxdRngGaussian(int method, GuxStream *stream, int n, double *r, double a,
                             double sigma);
/* n vectors of dimen elements, mean a[dimen], Cholesky factor t in storage
 * mstorage (GUX_MATRIX_STORAGE_*). */
QOR_API int _guxsRngGaussianMV(int method, GuxStream *stream, int n, float *r, int dimen,
                               int mstorage, const float *a, const float *t);
QOR_API int _guxdRngGaussianMV(int method, GuxStream *stream, int n, double *r, int dimen,
                               int mstorage, const double *a, const double *t);
/* Displacement a, scale beta: a - beta ln(u). */
QOR_API int _guxsRngExponential(int method, GuxStream *stream, int n, float *r, float a,
                                float beta);
QOR_API int _guxdRngExponential(int method, GuxStream *stream, int n, double *r, double a,
                                double beta);

/* ---- Poisson, Poisson with a mean per element, multinomial ---------------- */
/* Mean lambda. Method GUX_METHOD_POISSON_PTPE: a cumulative table below 27,
 * the PTPE rejection from 27 on, set up once per lambda in chunk 3 of the
 * stream; every other word: the normal method (one float normal per count). */
QOR_API int _guxiRngPoisson(int method, GuxStream *stream, int n, int32_t *r, double lambda);
/* r[i] of mean lambda[i] by the normal method; the method word is not read. */
QOR_API int _guxiRngPoissonV(int method, GuxStream *stream, int n, int32_t *r, const double *lambda);
/* n rows of k counts of ntrial trials, probabilities p[k] (non-negative,
 * summing to within 0.001 of 1, else GUX_STATUS_BAD_ARGUMENT with nothing
 * written and the stream unmoved); the method word is not read. */
QOR_API int _guxiRngMultinomial(int method, GuxStream *stream, int n, int32_t *r, int ntrial, int k,
                                const double *p);

/* ---- continuous laws ------------------------------------------------------ */
/* Location a, scale beta: tan(v) beta + a, v uniform on [-pi/2, pi/2). */
QOR_API int _guxsRngCauchy(int method, GuxStream *stream, int n, float *r, float a, float beta);
QOR_API int _guxdRngCauchy(int method, GuxStream *stream, int n, double *r, double a, double beta);
/* ln(E) beta + a, E exponential (the law of minima). */
QOR_API int _guxsRngGumbel(int method, GuxStream *stream, int n, float *r, float a, float beta);
QOR_API int _guxdRngGumbel(int method, GuxStream *stream, int n, double *r, double a, double beta);
/* a -+ beta ln(u), two uniforms a variate. */
QOR_API int _guxsRngLaplace(int method, GuxStream *stream, int n, float *r, float a, float beta);
QOR_API int _guxdRngLaplace(int method, GuxStream *stream, int n, double *r, double a, double beta);
/* sqrt(-ln u) beta + a; accurate flag honoured. */
QOR_API int _guxsRngRayleigh(int method, GuxStream *stream, int n, float *r, float a, float beta);
QOR_API int _guxdRngRayleigh(int method, GuxStream *stream, int n, double *r, double a, double beta);
/* (-ln u)^(1/alpha) beta + a; accurate flag honoured. */
QOR_API int _guxsRngWeibull(int method, GuxStream *stream, int n, float *r, float alpha, float a,
                            float beta);
QOR_API int _guxdRngWeibull(int method, GuxStream *stream, int n, double *r, double alpha, double a,
                            double beta);
/* exp(N) beta + b, N Gaussian (a, sigma): word 0 Box-Muller2, any other word
 * the inverse distribution function; accurate flag honoured. */
QOR_API int _guxsRngLognormal(int method, GuxStream *stream, int n, float *r, float a, float sigma,
                              float b, float beta);
QOR_API int _guxdRngLognormal(int method, GuxStream *stream, int n, double *r, double a,
                              double sigma, double b, double beta);
/* Shape alpha, displacement a, scale beta; accurate flag honoured. A shape
 * that is not a positive finite number is refused (GUX_STATUS_BAD_ARGUMENT). */
QOR_API int _guxsRngGamma(int method, GuxStream *stream, int n, float *r, float alpha, float a,
                          float beta);
QOR_API int _guxdRngGamma(int method, GuxStream *stream, int n, double *r, double alpha, double a,
                          double beta);
/* Shapes p and q on [a, a + beta]; accurate flag honoured. Shapes that are
 * not positive finite numbers are refused (GUX_STATUS_BAD_ARGUMENT). */
QOR_API int _guxsRngBeta(int method, GuxStream *stream, int n, float *r, float p, float q, float a,
                         float beta);
QOR_API int _guxdRngBeta(int method, GuxStream *stream, int n, double *r, double p, double q,
                         double a, double beta);
/* v degrees of freedom (v below 1 is refused with GUX_STATUS_BAD_ARGUMENT). */
QOR_API int _guxsRngChiSquare(int method, GuxStream *stream, int n, float *r, int v);
QOR_API int _guxdRngChiSquare(int method, GuxStream *stream, int n, double *r, int v);
/* ---- discrete: Bernoulli, geometric, binomial, hypergeometric, negative
 * binomial. The method word is ignored by all of them. ------------------ */
/* 1 with probability p, else 0. */
QOR_API int _guxiRngBernoulli(int method, GuxStream *stream, int n, int32_t *r, double p);
/* Failures before the first success of probability p: floor(ln u / ln(1 - p)). */
QOR_API int _guxiRngGeometric(int method, GuxStream *stream, int n, int32_t *r, double p);
/* Successes in ntrial trials of probability p. */
QOR_API int _guxiRngBinomial(int method, GuxStream *stream, int n, int32_t *r, int ntrial,
                             double p);
/* Marked items in a sample of s drawn without replacement from l items of
 * which m are marked. */
QOR_API int _guxiRngHypergeometric(int method, GuxStream *stream, int n, int32_t *r, int l, int s,
                                   int m);
/* Failures before the a-th success of probability p (a > 0 real). */
QOR_API int _guxiRngNegbinomial(int method, GuxStream *stream, int n, int32_t *r, double a,
                                double p);

#ifdef __cplusplus
}
#endif
#endif
