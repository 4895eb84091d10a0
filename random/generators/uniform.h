// Output forms shared by the congruential generators: a state word x becomes
// an i-form word, or x * scale * (b - a) + a in the d form, or that double
// rounded to float in the s form. The factor is computed once per call.
#ifndef QOR_RANDOM_UNIFORM_H
#define QOR_RANDOM_UNIFORM_H

#include <stdint.h>

#include "random/generators/simd.h"

namespace qor::random {

struct DoubleOut {
  double *r;
  double factor, shift;
  DoubleOut(double *out, double a, double b, double scale) : r(out), factor((b - a) * scale), shift(a) {}
  void put(int i, double x) const { r[i] = x * factor + shift; }
  void put2(int i, simd::f64x2 x) const {
    _mm_storeu_pd(r + i, _mm_add_pd(_mm_mul_pd(x, _mm_set1_pd(factor)), _mm_set1_pd(shift)));
  }
  void put4(int i, simd::f64x2 x0, simd::f64x2 x1) const {
    put2(i, x0);
    put2(i + 2, x1);
  }
};

// The s form computes in doubles and rounds the result, so it agrees with the
// d form over the same float bounds.
struct FloatOut {
  float *r;
  double factor, shift;
  FloatOut(float *out, float a, float b, double scale)
      : r(out), factor(((double)b - (double)a) * scale), shift((double)a) {}
  void put(int i, double x) const { r[i] = (float)(x * factor + shift); }
  simd::f64x2 map(simd::f64x2 x) const {
    return _mm_add_pd(_mm_mul_pd(x, _mm_set1_pd(factor)), _mm_set1_pd(shift));
  }
  void put4(int i, simd::f64x2 x0, simd::f64x2 x1) const { simd::store_f32x4(r + i, map(x0), map(x1)); }
};

}  // namespace qor::random

#endif
