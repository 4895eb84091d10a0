// Gamma law with shape alpha, displacement a and scale beta, and the
// chi-square law with v degrees of freedom. Gamma(alpha) by shape range:
//   alpha > 1         Marsaglia and Tsang (2000): d = alpha - 1/3,
//                     c = 1/sqrt(9d), d (1 + c x)^3 for a normal x accepted by
//                     the squeeze or the log test; Box-Muller normals
//                     (Ln, Sqrt, SinCos at the fixed tier);
//   alpha = 1         the exponential -ln u, no rejection;
//   0.6 <= alpha < 1  Ahrens and Dieter's GS (1974) with b = 1 + alpha/e and
//                     the power 1/alpha; Ln and Exp at HA;
//   alpha < 0.6       Liu, Martin and Syring (2017): the variate is exp(t),
//                     t = -z/alpha with z from a two-sided exponential
//                     envelope, so that tiny shapes underflow gracefully
//                     instead of raising a uniform to a huge power; Ln and
//                     Exp at HA.
// Candidates are drawn in batches of at most 512 and tested as arrays;
// accepted values beyond n are dropped. Chi-square with v of 1 or 3 squares
// Box-Muller normals (plus -2 ln u for 3); any other v is Gamma(v/2, 0, 2).
#include "random/distributions/continuous_frame.h"

namespace qor::dist {
namespace {

constexpr int kBatch = 512;  // candidates per batch

template <class T> struct GammaConst;
template <> struct GammaConst<double> {
  static constexpr double kTwoPi = 0x1.921fb54442d18p+2;
  static constexpr double kE = 0x1.5bf0a8b145769p+1;  // e
};
template <> struct GammaConst<float> {
  static constexpr float kTwoPi = 0x1.921fb6p+2f;
  static constexpr float kE = 0x1.5bf0a8p+1f;
};

// x[0..2m) := m pairs of standard normals from the 2m uniforms u (even
// uniforms the radii, odd ones the angles); u is overwritten.
template <class T> void normal_pairs(int m, T *u, T *x) {
  T e[kBatch / 2], o[kBatch / 2];
  for (int k = 0; k < m; ++k) e[k] = u[2 * k], o[k] = u[2 * k + 1] * GammaConst<T>::kTwoPi;
  T *s = u, *c = u + m;
  apply_sincos(m, o, s, c);
  apply(Fn::Ln, m, e);
  for (int k = 0; k < m; ++k) e[k] = -(e[k] + e[k]);
  apply(Fn::Sqrt, m, e);
  for (int k = 0; k < m; ++k) x[2 * k] = e[k] * s[k], x[2 * k + 1] = e[k] * c[k];
}

// ---- alpha > 1 ----------------------------------------------------------------
template <class T> int marsaglia_tsang(Source<T> &src, int n, T *r, T alpha) {
  const T d = alpha - T(1) / T(3);
  const T c = T(1) / apply1(Fn2::Sqrt, T(9) * d);
  return fill_accepted<T, kBatch>(n, r, [&](int want, T *out) {
    const int m = (batch_size(want, 0.9, kBatch) + 1) & ~1;
    T u[2 * kBatch], x[kBatch], v[kBatch], lv[2 * kBatch];
    if (!src.fetch(2 * m, u)) return src.status;
    normal_pairs(m / 2, u, x);  // u[0..m) is used up, u[m..2m) are the test uniforms
    const T *w = u + m;
    int slow[kBatch], ns = 0;
    bool ok[kBatch];
    for (int i = 0; i < m; ++i) {
      const T t = T(1) + c * x[i], x2 = x[i] * x[i];
      v[i] = t * t * t;
      ok[i] = t > T(0) && w[i] < T(1) - T(0.0331) * (x2 * x2);
      if (t > T(0) && !ok[i]) slow[ns++] = i;
    }
    // The log test for the candidates the squeeze left: ln w < x^2/2 + d(1 - v + ln v).
    for (int k = 0; k < ns; ++k) lv[k] = w[slow[k]], lv[ns + k] = v[slow[k]];
    apply(Fn::Ln, 2 * ns, lv);
    for (int k = 0; k < ns; ++k) {
      const int i = slow[k];
      ok[i] = lv[k] < T(0.5) * x[i] * x[i] + d * (T(1) - v[i] + lv[ns + k]);
    }
    int got = 0;
    for (int i = 0; i < m; ++i)
      if (ok[i]) out[got++] = d * v[i];
    return got;
  });
}

// ---- 0.6 <= alpha < 1 ------------------------------------------------------------
template <class T> int ahrens_dieter(Source<T> &src, int n, T *r, T alpha) {
  const T b = T(1) + alpha / GammaConst<T>::kE, inv_alpha = T(1) / alpha;
  return fill_accepted<T, kBatch>(n, r, [&](int want, T *out) {
    const int m = batch_size(want, 0.7, kBatch);
    T u[2 * kBatch], x[kBatch], y[kBatch];
    int i1[kBatch], i2[kBatch], n1 = 0, n2 = 0;
    if (!src.fetch(2 * m, u)) return src.status;
    // p = b u1. p <= 1: x = p^(1/alpha), accepted if u2 <= exp(-x); else
    // x = -ln((b - p)/alpha), accepted if u2 <= x^(alpha - 1). One Ln over
    // both arguments and the u2.
    for (int i = 0; i < m; ++i) {
      const T p = b * u[i];
      if (p <= T(1)) i1[n1++] = i, u[i] = p;
      else i2[n2++] = i, u[i] = (b - p) / alpha;
    }
    apply2(Fn2::Ln, 2 * m, u, kSlotHA);
    const T *lu2 = u + m;
    for (int k = 0; k < n1; ++k) x[k] = u[i1[k]] * inv_alpha;
    exp_quiet(n1, x);
    for (int k = 0; k < n2; ++k) y[k] = -u[i2[k]];
    for (int k = 0; k < n2; ++k) u[i2[k]] = y[k];  // x of the second kind, before its log
    apply2(Fn2::Ln, n2, y, kSlotHA);
    bool ok[kBatch];
    for (int k = 0; k < n1; ++k) ok[i1[k]] = lu2[i1[k]] <= -x[k], u[i1[k]] = x[k];
    for (int k = 0; k < n2; ++k) ok[i2[k]] = lu2[i2[k]] <= (alpha - T(1)) * y[k];
    int got = 0;
    for (int i = 0; i < m; ++i)
      if (ok[i]) out[got++] = u[i];
    return got;
  });
}

// ---- alpha < 0.6 -------------------------------------------------------------------
template <class T> int liu_martin_syring(Source<T> &src, int n, T *r, T alpha) {
  // Envelope of z = -alpha ln X: e^-z for z >= 0 (mass 1), w lambda e^(lambda z)
  // for z < 0 (mass w), lambda = 1/alpha - 1, w = alpha/(e(1 - alpha)); then
  // w lambda = 1/e, and with t = -z/alpha the log of the acceptance ratio is
  // -e^t for z >= 0 and 1 + t - e^t for z < 0, e^t being the variate itself.
  const T lambda = T(1) / alpha - T(1), w = alpha / (GammaConst<T>::kE * (T(1) - alpha));
  const T rr = T(1) / (T(1) + w);
  return fill_accepted<T, kBatch>(n, r, [&](int want, T *out) {
    const int m = batch_size(want, 0.55, kBatch);
    T u[2 * kBatch], t[kBatch];
    bool right[kBatch];
    if (!src.fetch(2 * m, u)) return src.status;
    // u1 <= rr: z = -ln(u1/rr) >= 0; else z = ln((u1 - rr)/(1 - rr))/lambda < 0.
    for (int i = 0; i < m; ++i) right[i] = u[i] <= rr, u[i] = right[i] ? u[i] / rr : (u[i] - rr) / (T(1) - rr);
    apply2(Fn2::Ln, 2 * m, u, kSlotHA);
    for (int i = 0; i < m; ++i) t[i] = (right[i] ? -u[i] : u[i] / lambda) / -alpha;
    T *x = u;  // the first half is free
    for (int i = 0; i < m; ++i) x[i] = t[i];
    exp_quiet(m, x);
    int got = 0;
    for (int i = 0; i < m; ++i)
      if (u[m + i] < (right[i] ? -x[i] : T(1) + t[i] - x[i])) out[got++] = x[i];
    return got;
  });
}

// -ln u into r[0..n) through Ln at the fixed tier.
template <class T> int exponential_shape(Source<T> &src, int n, T *r) {
  if (!src.fetch(n, r)) return src.status;
  if (n <= 0) return GUX_STATUS_OK;
  apply(Fn::Ln, n, r);
  for (int i = 0; i < n; ++i) r[i] = -r[i];
  return GUX_STATUS_OK;
}


}  // namespace

template <class T> int gamma_law(int method, GuxStream *stream, int n, T *r, T alpha, T a, T beta) {
  if (!positive_finite(alpha)) return GUX_STATUS_BAD_ARGUMENT;
  return guarded(fix_ln_singular<T>, [&] {
    Source<T> src{stream};
    const int st = alpha > T(1) ? marsaglia_tsang(src, n, r, alpha)
                   : alpha == T(1) ? exponential_shape(src, n, r)
                   : alpha >= T(0.6) ? ahrens_dieter(src, n, r, alpha)
                                     : liu_martin_syring(src, n, r, alpha);
    if (st < 0) return st;
    if (n <= 0) return src.status;
    scale_shift(n, r, beta, a);
    if (method & GUX_METHOD_ACCURATE_FLAG) clamp_low(n, r, a);
    return src.status;
  });
}

namespace {

// Chi-square with 1 or 3 degrees of freedom, in blocks of 512 pairs: each
// pair (u0, u1) gives -2 ln(u0) sin^2(2 pi u1) and -2 ln(u0) cos^2(2 pi u1),
// the squares of its two normals; for 3 degrees each variate adds -2 ln u of
// one more uniform, drawn for the block after the pairs' uniforms. An odd n
// drops the last cosine.
template <class T> int chi_square_small(GuxStream *stream, int n, T *r, bool three) {
  constexpr int kPairs = 512;
  T u[2 * kPairs], e[kPairs], o[kPairs], s[kPairs], c[kPairs];
  int status = GUX_STATUS_OK;
  for (int done = 0; done < n; done += 2 * kPairs) {
    const int count = n - done < 2 * kPairs ? n - done : 2 * kPairs, m = (count + 1) >> 1;
    status = uniform(stream, 2 * m, u, T(0), T(1));
    if (status < 0) return status;
    for (int k = 0; k < m; ++k) e[k] = u[2 * k], o[k] = u[2 * k + 1] * GammaConst<T>::kTwoPi;
    apply_sincos(m, o, s, c);
    apply(Fn::Ln, m, e);
    for (int k = 0; k < m; ++k) e[k] = -(e[k] + e[k]);
    T *x = r + done;
    for (int i = 0; i < count; ++i) x[i] = (i & 1 ? c[i >> 1] * c[i >> 1] : s[i >> 1] * s[i >> 1]) * e[i >> 1];
    if (!three) continue;
    status = uniform(stream, count, u, T(0), T(1));
    if (status < 0) return status;
    apply(Fn::Ln, count, u);
    for (int i = 0; i < count; ++i) x[i] = x[i] - (u[i] + u[i]);
  }
  return status;
}

template <class T> int chi_square(GuxStream *stream, int n, T *r, int v) {
  if (v < 1) return GUX_STATUS_BAD_ARGUMENT;
  if ((v & ~2) == 1) return guarded(fix_ln_singular<T>, [&] { return chi_square_small(stream, n, r, v == 3); });
  return gamma_law<T>(0, stream, n, r, T(0.5) * T(v), T(0), T(2));
}

}  // namespace
}  // namespace qor::dist

using namespace qor::dist;
extern "C" {

int _guxsRngGamma(int method, GuxStream *stream, int n, float *r, float alpha, float a, float beta) {
  return gamma_law(method, stream, n, r, alpha, a, beta);
}
int _guxdRngGamma(int method, GuxStream *stream, int n, double *r, double alpha, double a, double beta) {
  return gamma_law(method, stream, n, r, alpha, a, beta);
}
int _guxsRngChiSquare(int, GuxStream *stream, int n, float *r, int v) { return chi_square(stream, n, r, v); }
int _guxdRngChiSquare(int, GuxStream *stream, int n, double *r, int v) { return chi_square(stream, n, r, v); }

}  // extern "C"
