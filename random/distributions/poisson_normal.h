// Pieces shared by the Poisson, PoissonV and Multinomial generators: the
// normal method's factors and its cubic map from a normal variate to a count.
#ifndef QOR_RANDOM_DIST_POISSON_NORMAL_H
#define QOR_RANDOM_DIST_POISSON_NORMAL_H

#include <math.h>
#include <string.h>

#include "random/distributions/frame.h"

namespace qor::dist {

#include "random/distributions/poisson_normal_table.inc"

// Ranges of the normal method: below 1 the cumulative chain, from 1 to 100 the
// fitted table, from 100 on the closed form in 1/lambda.
constexpr double kNormalChainTop = 1.0, kNormalTableTop = 100.0;
// Below 32 the cubic's law differs from the Poisson law by a chi-square
// noncentrality of up to 1.6e-5 per draw (at lambda 5.7; above 1e-6 from 1.45
// to 16), visible at 10^6 draws, so the count is settled by the exact cell
// edges there; from 32 on it is below 1e-7 per draw (0.1 at 10^6 draws) and
// the cubic stands alone.
constexpr double kNormalExactTop = 32.0;
constexpr int kNormalChainLength = 11;  // P(0) .. P(10)

// ylo: the turning point of the cubic in y where c3 < 0 (the count is 0 to
// its left, where the cubic would climb again), else -inf.
struct NormalFactors {
  float a, b, c1, c2, c3, ylo;
};

// The smaller root of (1 + c1) + 2 c2 y + 3 c3 y^2 when c3 < 0.
inline float turning_point(float c1, float c2, float c3) {
  if (!(c3 < 0.0f)) return -INFINITY;
  const double disc = (double)c2 * c2 - 3.0 * c3 * (1.0 + c1);
  return (float)((-(double)c2 + sqrt(disc)) / (3.0 * c3));
}

inline double cubic(const double *p, double m) { return ((p[3] * m + p[2]) * m + p[1]) * m + p[0]; }

// The factors for 1 <= lambda: the table row of lambda's binary exponent at
// m = significand - 1, or the closed form in t = 1/lambda from 100 on.
inline NormalFactors normal_factors(double lambda) {
  if (lambda < kNormalTableTop) {
    uint64_t bits;
    memcpy(&bits, &lambda, 8);
    const int e = (int)(bits >> 52) - 1023;
    const uint64_t one = (bits & 0x000fffffffffffffull) | 0x3ff0000000000000ull;
    double m;
    memcpy(&m, &one, 8);
    m -= 1.0;
    const double *row = kPoissonNormalRows[e];
    const double m2 = m * m;
    const float c1 = (float)cubic(row + 12, m), c2 = (float)cubic(row + 16, m), c3 = (float)cubic(row + 20, m);
    return {(float)(cubic(row, m) + m2 * m2 * cubic(row + 4, m)), (float)cubic(row + 8, m), c1, c2, c3,
            turning_point(c1, c2, c3)};
  }
  const double t = 1.0 / lambda;
  const double a = (-0.66669571979999998 + lambda) +
                   ((0.0016451537090000001 * t - 0.0012887193080000001) * t - 0.019410208620000001) * t;
  const double b = sqrt(-0.055806676280000002 + lambda);
  const double c1 = ((((2.02847035732762 * t - 3.85841212878712) * t + 2.29098262740971) * t -
                      0.443911391797447) * t + 0.00774710541609) * t;
  const double c2 = ((((-0.185436433294704 * t + 0.358642226989579) * t - 0.228162379800275) * t +
                      0.0472242348292688) * t + 0.168577008904505) * t;
  const double c3 = ((((0.014389264627966 * t - 0.0291113093667918) * t + 0.0232257954288354) * t -
                      0.0126559989233446) * t - 0.0001145865551857) * t;
  // The turning point lies beyond any float normal from 100 on.
  return {(float)a, (float)b, (float)c1, (float)c2, (float)c3, -INFINITY};
}

// The count of the normal variate z of mean a: trunc(max(0, z + 1 + y (c1 +
// y (c2 + y c3)))), y = z - a, all in float; 0 left of the turning point. A
// NaN gives 0.
inline int32_t normal_count(float z, const NormalFactors &f) {
  const float y = z - f.a;
  if (y < f.ylo) return 0;
  const float x = z + 1.0f + y * ((f.c3 * y + f.c2) * y + f.c1);
  return (int32_t)clamp_low(0.0f, x);
}

// The cells of the exact inversion. A normal g gives the count k exactly when
// z(k-1) <= g < z(k), z(k) = Phi^-1(F(k)), F the Poisson distribution
// function of lambda: the inversion of the Poisson law at u = Phi(g). The
// cubic above only guesses the cell (rarely off by more than one). Kept edges
// are those with F(k) and 1 - F(k) at least 1e-9 (|z| below 6): the float
// normal stays within |g| < 5.42, so every edge below the first kept one lies
// below each g, and every edge past the last kept one above it.
constexpr int kEdgeMax = 96;  // 67 at lambda just below 32
constexpr double kEdgeTail = 1e-9;

struct NormalEdges {
  int32_t first, count;  // z[i + 1] is the edge of count first + i, i < count
  double z[kEdgeMax + 2];  // z[0] = -inf, z[count + 1] = +inf
};

// The edges for 1 <= lambda < 32: the probabilities by the recurrence
// P(k) = P(k-1) lambda / k from exp(-lambda) (dExp HA) until they fall below
// 1e-30 past the mean, F summed upwards and 1 - F downwards so that both
// tails keep their relative precision, then Phi^-1 of the smaller of the two
// by dCdfNormInv HA over the whole set (negated for 1 - F).
inline void normal_edges(double lambda, NormalEdges *e) {
  constexpr int kTerms = 160;  // about 110 used at lambda 32
  double p[kTerms], q[kTerms];
  p[0] = -lambda;
  apply_slot(qor_ttab_dExp, kSlotHA, 1, p);
  int n = 1;
  while (n < kTerms && !(n > lambda && p[n - 1] < 1e-30)) {
    p[n] = p[n - 1] * lambda / n;
    ++n;
  }
  q[n - 1] = 0.0;  // q[k] = sum of P(j), k < j < n
  for (int k = n - 1; k > 0; --k) q[k - 1] = q[k] + p[k];
  double f = 0.0;
  int first = -1, count = 0;
  bool upper[kEdgeMax];
  for (int k = 0; k < n - 1 && count < kEdgeMax; ++k) {
    f += p[k];
    if (f < kEdgeTail) continue;
    if (q[k] < kEdgeTail) break;
    if (first < 0) first = k;
    upper[count] = f > 0.5;
    e->z[count + 1] = upper[count] ? q[k] : f;
    ++count;
  }
  apply_slot(qor_ttab_dCdfNormInv, kSlotHA, count, e->z + 1);
  for (int i = 0; i < count; ++i)
    if (upper[i]) e->z[i + 1] = -e->z[i + 1];
  e->z[0] = -INFINITY, e->z[count + 1] = INFINITY;
  e->first = first, e->count = count;
}

// The exact count of g, searched from the cubic's guess.
// The infinite ends stop both loops.
inline int32_t exact_count(float g, int32_t guess, const NormalEdges &e) {
  const double x = g;
  int i = guess - e.first;
  i = i < 0 ? 0 : i > e.count ? e.count : i;
  while (x < e.z[i]) --i;
  while (x >= e.z[i + 1]) ++i;
  return e.first + i;
}

// The Poisson distribution function of lambda (1 <= lambda < 32) in double,
// F(k) for k < length: P(0) = exp(-lambda) (given), P(k) = P(k-1) lambda/k,
// summed upwards until 1 - F is below 1e-9 past the mean. The float normal
// stays within |g| < 5.42, so u = Phi(g) stays below 1 - 2.9e-8 and the
// search always ends inside the table.
constexpr int kCdfMax = 80;  // 72 used just below 32

struct PoissonCdf {
  int32_t length;
  double f[kCdfMax];
};

inline void poisson_cdf(double lambda, double p0, PoissonCdf *t) {
  double p = p0, f = p0;
  t->f[0] = f;
  int k = 1;
  for (; k < kCdfMax; ++k) {
    if (f > 1.0 - 1e-9 && k > lambda) break;
    p *= lambda / k;
    t->f[k] = f = f + p;
  }
  t->length = k;
}

// The smallest k with u < F(k), searched from the cubic's guess (length if u
// were past the table).
inline int32_t cdf_count(double u, int32_t guess, const PoissonCdf &t) {
  int k = guess < 0 ? 0 : guess >= t.length ? t.length - 1 : guess;
  if (u < t.f[k]) {
    while (k > 0 && u < t.f[k - 1]) --k;
    return k;
  }
  while (k + 1 < t.length && !(u < t.f[k + 1])) ++k;
  return k + 1;
}

// The chain of the smallest means: F(k) = sum of P(j), j <= k, k = 0..10, in
// double from P(0) = exp(-lambda) (given), held in float.
inline void normal_chain(double lambda, double p0, float *cdf) {
  double p = p0, s = p0;
  cdf[0] = (float)s;
  for (int k = 1; k < kNormalChainLength; ++k) {
    p = p * lambda / k;
    s += p;
    cdf[k] = (float)s;
  }
}

// The first k whose cumulative bound exceeds u; 11 past the chain.
inline int32_t chain_count(float u, const float *cdf) {
  int32_t k = 0;
  while (k < kNormalChainLength && !(u < cdf[k])) ++k;
  return k;
}

}  // namespace qor::dist

#endif
