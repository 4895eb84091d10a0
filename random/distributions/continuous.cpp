// Continuous laws that are one composition of vector kernels over uniforms,
// each finished by the scale and shift r * beta + a (u uniform on [0, 1)):
//   Cauchy     tan(v) * beta + a, v uniform on [-pi/2, pi/2)
//   Gumbel     ln(E) * beta + a, E the exponential -ln u
//   Laplace    -+beta ln(u) + a, the side chosen by a second uniform
//   Rayleigh   sqrt(-ln u) * beta + a
//   Weibull    (-ln u)^(1/alpha) * beta + a
//   Lognormal  exp(N) * beta + b, N Gaussian with mean a and deviation sigma
#include "random/distributions/continuous_frame.h"

namespace qor::dist {
namespace {

template <class T> struct HalfPi;
template <> struct HalfPi<double> { static constexpr double kValue = 0x1.921fb54442d18p+0; };  // 1.5707963267948966
template <> struct HalfPi<float> { static constexpr float kValue = 0x1.921fb6p+0f; };          // 0x3FC90FDB

template <class T> int cauchy(GuxStream *stream, int n, T *r, T a, T beta) {
  const int status = uniform(stream, n, r, -HalfPi<T>::kValue, HalfPi<T>::kValue);
  if (status < 0 || n <= 0) return status;
  apply2(Fn2::Tan, n, r);
  scale_shift(n, r, beta, a);
  return status;
}

template <class T> int gumbel(GuxStream *stream, int n, T *r, T a, T beta) {
  return guarded(fix_ln<T>, [&] {
    int status;
    if constexpr (sizeof(T) == 8) status = _guxdRngExponential(0, stream, n, r, 0.0, 1.0);
    else status = _guxsRngExponential(0, stream, n, r, 0.0f, 1.0f);
    if (status < 0 || n <= 0) return status;
    apply(Fn::Ln, n, r);
    scale_shift(n, r, beta, a);
    return status;
  });
}

constexpr int kLaplaceBlock = 1024;  // variates per block, two uniforms each

template <class T> int laplace(GuxStream *stream, int n, T *r, T a, T beta) {
  return guarded(fix_ln<T>, [&] {
    T u[2 * kLaplaceBlock];
    int status = GUX_STATUS_OK;
    for (int done = 0; done < n; done += kLaplaceBlock) {
      const int m = n - done < kLaplaceBlock ? n - done : kLaplaceBlock;
      status = uniform(stream, 2 * m, u, T(0), T(1));
      if (status < 0) return status;
      T *x = r + done;
      // Even uniforms to the result, odd ones to the front of the buffer as
      // the side selectors (the write never passes the read).
      for (int i = 0; i < m; ++i) x[i] = u[2 * i], u[i] = u[2 * i + 1];
      apply(Fn::Ln, m, x);
      // A selector of at most 0.5 takes -beta ln u >= 0: 0.5 is on the upper side.
      for (int i = 0; i < m; ++i) x[i] = (u[i] <= T(0.5) ? -beta : beta) * x[i] + a;
    }
    return status;
  });
}

// -ln u into r[0..n), the common start of Rayleigh and Weibull.
template <class T> int minus_ln_uniform(GuxStream *stream, int n, T *r) {
  const int status = uniform(stream, n, r, T(0), T(1));
  if (status < 0 || n <= 0) return status;
  apply(Fn::Ln, n, r);
  for (int i = 0; i < n; ++i) r[i] = -r[i];
  return status;
}

template <class T> int rayleigh(int method, GuxStream *stream, int n, T *r, T a, T beta) {
  return guarded(fix_ln_singular<T>, [&] {
    const int status = minus_ln_uniform(stream, n, r);
    if (status < 0 || n <= 0) return status;
    apply(Fn::Sqrt, n, r);
    scale_shift(n, r, beta, a);
    if (method & GUX_METHOD_ACCURATE_FLAG) clamp_low(n, r, a);
    return status;
  });
}

template <class T> int weibull(int method, GuxStream *stream, int n, T *r, T alpha, T a, T beta) {
  return guarded(fix_ln_singular<T>, [&] {
    const int status = minus_ln_uniform(stream, n, r);
    if (status < 0 || n <= 0) return status;
    apply_powx(n, r, T(1) / alpha);
    scale_shift(n, r, beta, a);
    if (method & GUX_METHOD_ACCURATE_FLAG) clamp_low(n, r, a);
    return status;
  });
}

// Word 0 draws the normals by Box-Muller2 (method 1), every other word, the
// accurate flag alone included, by the inverse distribution function.
template <class T> int lognormal(int method, GuxStream *stream, int n, T *r, T a, T sigma, T b, T beta) {
  const int gauss_method = method == 0 ? GUX_METHOD_BOX_MULLER2 : GUX_METHOD_GAUSSIAN_ICDF;
  int status;
  if constexpr (sizeof(T) == 8) status = _guxdRngGaussian(gauss_method, stream, n, r, a, sigma);
  else status = _guxsRngGaussian(gauss_method, stream, n, r, a, sigma);
  if (status < 0 || n <= 0) return status;
  apply2(Fn2::Exp, n, r);
  scale_shift(n, r, beta, b);
  if (method & GUX_METHOD_ACCURATE_FLAG) clamp_low(n, r, b);
  return status;
}

}  // namespace
}  // namespace qor::dist

using namespace qor::dist;
extern "C" {

int _guxsRngCauchy(int, GuxStream *stream, int n, float *r, float a, float beta) { return cauchy(stream, n, r, a, beta); }
int _guxdRngCauchy(int, GuxStream *stream, int n, double *r, double a, double beta) {
  return cauchy(stream, n, r, a, beta);
}
int _guxsRngGumbel(int, GuxStream *stream, int n, float *r, float a, float beta) { return gumbel(stream, n, r, a, beta); }
int _guxdRngGumbel(int, GuxStream *stream, int n, double *r, double a, double beta) {
  return gumbel(stream, n, r, a, beta);
}
int _guxsRngLaplace(int, GuxStream *stream, int n, float *r, float a, float beta) {
  return laplace(stream, n, r, a, beta);
}
int _guxdRngLaplace(int, GuxStream *stream, int n, double *r, double a, double beta) {
  return laplace(stream, n, r, a, beta);
}
int _guxsRngRayleigh(int method, GuxStream *stream, int n, float *r, float a, float beta) {
  return rayleigh(method, stream, n, r, a, beta);
}
int _guxdRngRayleigh(int method, GuxStream *stream, int n, double *r, double a, double beta) {
  return rayleigh(method, stream, n, r, a, beta);
}
int _guxsRngWeibull(int method, GuxStream *stream, int n, float *r, float alpha, float a, float beta) {
  return weibull(method, stream, n, r, alpha, a, beta);
}
int _guxdRngWeibull(int method, GuxStream *stream, int n, double *r, double alpha, double a, double beta) {
  return weibull(method, stream, n, r, alpha, a, beta);
}
int _guxsRngLognormal(int method, GuxStream *stream, int n, float *r, float a, float sigma, float b, float beta) {
  return lognormal(method, stream, n, r, a, sigma, b, beta);
}
int _guxdRngLognormal(int method, GuxStream *stream, int n, double *r, double a, double sigma, double b,
                      double beta) {
  return lognormal(method, stream, n, r, a, sigma, b, beta);
}

}  // extern "C"
