// Gaussian law with mean a and standard deviation sigma, by three methods:
//   0  Box-Muller: one variate rho sin(theta) from each pair of uniforms;
//   1  Box-Muller2: both rho sin(theta) and rho cos(theta) from each pair, a
//      half-used pair kept in a chunk of the stream across calls;
//   2  inverse distribution function: sqrt(2) ErfInv(u), u uniform on [-1, 1).
// rho = sqrt(-2 ln u0), theta = 2 pi u1, (u0, u1) the even and odd uniform.
#include "core/qor_core.h"
#include "random/distributions/frame.h"

namespace qor::dist {
namespace {

constexpr int kBlock = 1024;  // variates per block (method 0), uniforms per block (method 1)

template <class T> struct GaussConst;
template <> struct GaussConst<double> {
  static constexpr double kTwoPi = 0x1.921fb54442d18p+2;  // 6.283185307179586
  static constexpr double kSqrt2 = 0x1.6a09e667f3bcdp+0;  // 1.4142135623730951
  static constexpr int kPairChunk = 2;
};
template <> struct GaussConst<float> {
  static constexpr float kTwoPi = 0x1.921fb6p+2f;
  static constexpr float kSqrt2 = 0x1.6a09e6p+0f;
  static constexpr int kPairChunk = 1;
};

// e[0..m) := sqrt(-2 ln e).
template <class T> void radius(int m, T *e) {
  apply(Fn::Ln, m, e);
  for (int k = 0; k < m; ++k) e[k] = -(e[k] + e[k]);
  apply(Fn::Sqrt, m, e);
}

template <class T> int box_muller(GuxStream *stream, int n, T *r, T a, T sigma) {
  int status = GUX_STATUS_OK;
  if (n <= 0) return status;
  T u[2 * kBlock], odd[kBlock];
  for (int done = 0; done < n; done += kBlock) {
    const int m = n - done < kBlock ? n - done : kBlock;
    status = uniform(stream, 2 * m, u, T(0), T(1));
    if (status < 0) return status;
    T *even = r + done;  // the radii are built in the result array
    for (int k = 0; k < m; ++k) even[k] = u[2 * k], odd[k] = u[2 * k + 1] * GaussConst<T>::kTwoPi;
    apply(Fn::Sin, m, odd);
    radius(m, even);
    for (int k = 0; k < m; ++k) even[k] = even[k] * odd[k];
    scale_shift(m, even, sigma, a);
  }
  return status;
}

// The saved pair of the stream: the even and the odd uniform of a pair whose
// first variate ended a call; (-1, -1) when none is held. Created on first use.
template <class T> int saved_pair(GuxStream *stream, T **pair) {
  constexpr int id = GaussConst<T>::kPairChunk;
  *pair = static_cast<T *>(__guxSearchChunk(stream, id));
  if (*pair) return GUX_STATUS_OK;
  T *p = static_cast<T *>(qor_serv_allocate(2 * sizeof(T), 128));
  if (!p) return GUX_STATUS_NO_MEMORY;
  p[0] = p[1] = T(-1);
  const int status = __guxAddChunk(stream, id, nullptr, p, (int)(2 * sizeof(T)));
  if (status < 0) {
    qor_serv_deallocate(p);
    return status;
  }
  *pair = p;
  return GUX_STATUS_OK;
}

// m pairs (m <= 512) into out[0..2m): rho sin(theta), rho cos(theta).
template <class T> int pairs(GuxStream *stream, int m, T *out) {
  T u[kBlock], even[kBlock / 2], odd[kBlock / 2];
  const int status = uniform(stream, 2 * m, u, T(0), T(1));
  if (status < 0) return status;
  for (int k = 0; k < m; ++k) even[k] = u[2 * k], odd[k] = u[2 * k + 1] * GaussConst<T>::kTwoPi;
  T *sin = u, *cos = u + kBlock / 2;  // the uniforms are no longer needed
  apply_sincos(m, odd, sin, cos);
  radius(m, even);
  for (int k = 0; k < m; ++k) out[2 * k] = even[k] * sin[k], out[2 * k + 1] = even[k] * cos[k];
  return status;
}

template <class T> int box_muller2(GuxStream *stream, int n, T *r, T a, T sigma) {
  if (n <= 0) return GUX_STATUS_OK;
  T *pair;
  int status = saved_pair(stream, &pair);
  if (status < 0) return status;
  int pos = 0;
  if (pair[0] != T(-1)) {
    // The second half of the pair whose first half ended the previous call.
    T rho = pair[0], theta = pair[1] * GaussConst<T>::kTwoPi;
    apply(Fn::Cos, 1, &theta);
    radius(1, &rho);
    r[0] = rho * theta;
    pos = 1;
  }
  const int count = n - pos;
  int done = 0;
  for (int b = 0, whole = count >> 10; b < whole; ++b, done += kBlock) {
    status = pairs(stream, kBlock / 2, r + pos + done);
    if (status < 0) return status;
  }
  const int m = (count - done) >> 1;
  if (m > 0) {
    status = pairs(stream, m, r + pos + done);
    if (status < 0) return status;
    done += 2 * m;
  }
  if (count & 1) {
    // One more pair: its first variate ends this call, the pair is kept.
    T u[2];
    status = uniform(stream, 2, u, T(0), T(1));
    if (status < 0) return status;
    pair[0] = u[0], pair[1] = u[1];
    T rho = u[0], theta = u[1] * GaussConst<T>::kTwoPi;
    apply(Fn::Sin, 1, &theta);
    radius(1, &rho);
    r[pos + done] = rho * theta;
  } else {
    pair[0] = pair[1] = T(-1);
  }
  scale_shift(n, r, sigma, a);
  return status;
}

template <class T> int icdf(GuxStream *stream, int n, T *r, T a, T sigma) {
  const int status = uniform(stream, n, r, T(-1), T(1));
  if (status < 0 || n <= 0) return status;
  apply(Fn::ErfInv, n, r);
  scale_shift(n, r, GaussConst<T>::kSqrt2 * sigma, a);
  return status;
}

}  // namespace

// The dispatch by method word, inside the guard with the Gaussian fix-up.
// Words other than 0, 1 and 2 (the accurate flag among them) are refused with
// nothing written; so is method 2 while the ErfInv kernel is not built.
template <class T> int gaussian(int method, GuxStream *stream, int n, T *r, T a, T sigma) {
  using Routine = int (*)(GuxStream *, int, T *, T, T);
  static constexpr Routine kMethods[3] = {box_muller<T>, box_muller2<T>, icdf<T>};
  if (method < 0 || method > 2) return GUX_STATUS_BAD_ARGUMENT;
  if (method == GUX_METHOD_GAUSSIAN_ICDF && !has_kernel<T>(Fn::ErfInv)) return GUX_STATUS_BAD_ARGUMENT;
  return guarded(fix_gaussian<T>, [&] { return kMethods[method](stream, n, r, a, sigma); });
}

template int gaussian<float>(int, GuxStream *, int, float *, float, float);
template int gaussian<double>(int, GuxStream *, int, double *, double, double);

}  // namespace qor::dist

extern "C" {

int _guxsRngGaussian(int method, GuxStream *stream, int n, float *r, float a, float sigma) {
  return qor::dist::gaussian(method, stream, n, r, a, sigma);
}

int _guxdRngGaussian(int method, GuxStream *stream, int n, double *r, double a, double sigma) {
  return qor::dist::gaussian(method, stream, n, r, a, sigma);
}

}  // extern "C"
