// Pieces shared by the Poisson, PoissonV and Multinomial generators: the
// kernels they call beyond the frame's set (dExp HA, sErf LA), and the normal
// method's factors and its cubic map from a normal variate to a count.
#ifndef QOR_RANDOM_DIST_POISSON_NORMAL_H
#define QOR_RANDOM_DIST_POISSON_NORMAL_H

#include <math.h>
#include <string.h>

#include "random/distributions/frame.h"

extern "C" {
extern BexKernelTable qor_ttab_dExp __attribute__((visibility("hidden")));
extern BexKernelTable qor_ttab_sErf __attribute__((visibility("hidden")));
}

namespace qor::dist {

#include "random/distributions/poisson_normal_table.inc"

constexpr int kSlotLA = 0, kSlotHA = 1;

// x[0..n) := f(x[0..n)) through slot `slot` of table `t`, under the mode
// bracket (the frame's apply() at a tier chosen by the caller).
template <class T> void apply_slot(BexKernelTable &t, int slot, int n, T *x) {
  using Kernel = void (*)(int, const T *, T *);
  const unsigned old = _bexSetMode(kKernelMode);
  reinterpret_cast<Kernel>(t.kernel[slot])(n, x, x);
  _bexSetMode(old);
}

// Ranges of the normal method: below 1 the cumulative chain, from 1 to 100 the
// fitted table, from 100 on the closed form in 1/lambda.
constexpr double kNormalChainTop = 1.0, kNormalTableTop = 100.0;
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
