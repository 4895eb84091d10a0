// Beta law with shapes p and q on [a, a + beta]. The shapes are tested
// against 1 and against each other:
//   p = 1 or q = 1    inverse transform: u^(1/p) when q is 1, else
//                     1 - u^(1/q), as exp(ln(u)/p) at HA;
//   p < 1 and q < 1   Johnk (1964): x = u1^(1/p), y = u2^(1/q), accepted when
//                     x + y <= 1, giving x/(x + y); in logarithms, so that tiny
//                     shapes neither underflow nor divide 0 by 0;
//   p > 1 and q > 1   Cheng's BB (1978), with a = min and b = max of p, q;
//   otherwise         Cheng's BC (1978), with a = max and b = min, its w = a e^v
//                     kept as a logarithm (v reaches +-3700 for b = 0.01).
// Ln and Exp at HA; candidates in batches of at most 512 tested as arrays;
// accepted values beyond n are dropped.
#include "random/distributions/continuous_frame.h"

namespace qor::dist {
namespace {

constexpr int kBatch = 512;

template <class T> struct BetaConst;
template <> struct BetaConst<double> { static constexpr double kLn4 = 0x1.62e42fefa39efp+0; };  // 1.3862944
template <> struct BetaConst<float> { static constexpr float kLn4 = 0x1.62e430p+0f; };

template <class T> void ln_ha(int m, T *x) { apply2(Fn2::Ln, m, x, kSlotHA); }

// For g = ln(b/w): e = exp(-|g|) and the two ratios w/(b + w), b/(b + w)
// without overflow; l1e receives ln(1 + e) when asked for.
template <class T> struct Ratio {
  T e;
  bool w_larger;  // g <= 0
  T w_part() const { return w_larger ? T(1) / (T(1) + e) : e / (T(1) + e); }
  T b_part() const { return w_larger ? e / (T(1) + e) : T(1) / (T(1) + e); }
};

// ---- p = 1 or q = 1 ----------------------------------------------------------------
template <class T> int inverse(Source<T> &src, int n, T *r, T p, T q) {
  if (!src.fetch(n, r)) return src.status;
  if (n <= 0) return GUX_STATUS_OK;
  const bool upper = q != T(1);  // p is 1: 1 - u^(1/q)
  const T inv = T(1) / (upper ? q : p);
  ln_ha(n, r);
  for (int i = 0; i < n; ++i) r[i] = r[i] * inv;
  exp_quiet(n, r);
  if (upper)
    for (int i = 0; i < n; ++i) r[i] = T(1) - r[i];
  return GUX_STATUS_OK;
}

// ---- p < 1 and q < 1 ------------------------------------------------------------------
template <class T> int johnk(Source<T> &src, int n, T *r, T p, T q) {
  const T ip = T(1) / p, iq = T(1) / q;
  return fill_accepted<T, kBatch>(n, r, [&](int want, T *out) {
    const int m = batch_size(want, 0.5, kBatch);
    T u[2 * kBatch], e[kBatch], l1e[kBatch];
    if (!src.fetch(2 * m, u)) return src.status;
    ln_ha(2 * m, u);
    // lx = ln(u1)/p, ly = ln(u2)/q; e = exp(-|lx - ly|); accepted when
    // max(lx, ly) + ln(1 + e) <= 0, that is x + y <= 1.
    for (int i = 0; i < m; ++i) {
      u[i] *= ip, u[m + i] *= iq;
      const T d = u[i] - u[m + i];
      e[i] = d < T(0) ? d : -d;
    }
    exp_quiet(m, e);
    for (int i = 0; i < m; ++i) l1e[i] = T(1) + e[i];
    ln_ha(m, l1e);
    int got = 0;
    for (int i = 0; i < m; ++i) {
      const bool x_larger = u[i] >= u[m + i];
      const T mx = x_larger ? u[i] : u[m + i];
      if (mx + l1e[i] <= T(0)) out[got++] = x_larger ? T(1) / (T(1) + e[i]) : e[i] / (T(1) + e[i]);
    }
    return got;
  });
}

// ---- p > 1 and q > 1 ------------------------------------------------------------------
template <class T> int cheng_bb(Source<T> &src, int n, T *r, T p, T q) {
  const T a = p < q ? p : q, b = p < q ? q : p, alpha = a + b;
  const T be = apply1(Fn2::Sqrt, (alpha - T(2)) / (T(2) * a * b - alpha), kSlotHA);
  const T ga = a + T(1) / be;
  const bool a_is_p = a == p;
  return fill_accepted<T, kBatch>(n, r, [&](int want, T *out) {
    const int m = batch_size(want, 0.75, kBatch);
    T u[2 * kBatch], v[kBatch], w[kBatch], z[kBatch], s[kBatch], rr[kBatch], lt[2 * kBatch];
    int slow[kBatch], ns = 0;
    bool ok[kBatch];
    if (!src.fetch(2 * m, u)) return src.status;
    for (int i = 0; i < m; ++i) v[i] = u[i] / (T(1) - u[i]), z[i] = u[i] * u[i] * u[m + i];
    ln_ha(m, v);
    for (int i = 0; i < m; ++i) v[i] = be * v[i], w[i] = v[i];
    exp_quiet(m, w);
    for (int i = 0; i < m; ++i) {
      w[i] = a * w[i];
      rr[i] = ga * v[i] - BetaConst<T>::kLn4;
      s[i] = a + rr[i] - w[i];
      ok[i] = s[i] + T(2.609438) >= T(5) * z[i];
      if (!ok[i]) slow[ns++] = i;
    }
    // t = ln z: accepted if s > t, or if r + alpha ln(alpha/(b + w)) >= t.
    for (int k = 0; k < ns; ++k) lt[k] = z[slow[k]], lt[ns + k] = alpha / (b + w[slow[k]]);
    ln_ha(2 * ns, lt);
    for (int k = 0; k < ns; ++k) {
      const int i = slow[k];
      ok[i] = s[i] > lt[k] || rr[i] + alpha * lt[ns + k] >= lt[k];
    }
    int got = 0;
    for (int i = 0; i < m; ++i)
      if (ok[i]) out[got++] = a_is_p ? w[i] / (b + w[i]) : b / (b + w[i]);
    return got;
  });
}

// ---- one shape below 1, the other above ---------------------------------------------
template <class T> int cheng_bc(Source<T> &src, int n, T *r, T p, T q) {
  const T a = p < q ? q : p, b = p < q ? p : q, alpha = a + b, be = T(1) / b, de = T(1) + a - b;
  const T k1 = de * (T(0.0138889) + T(0.0416667) * b) / (a * be - T(0.777778));
  const T k2 = T(0.25) + (T(0.5) + T(0.25) / de) * b;
  const T ln_a = apply1(Fn2::Ln, a, kSlotHA), ln_b = apply1(Fn2::Ln, b, kSlotHA);
  const T ln_alpha = apply1(Fn2::Ln, alpha, kSlotHA);
  const bool a_is_p = a == p;
  return fill_accepted<T, kBatch>(n, r, [&](int want, T *out) {
    const int m = batch_size(want, 0.6, kBatch);
    T u[2 * kBatch], z[kBatch], v[kBatch], g[kBatch], lt[2 * kBatch];
    int live[kBatch], nl = 0, slow[kBatch], ns = 0;
    bool test[kBatch];
    if (!src.fetch(2 * m, u)) return src.status;
    // The quick rejections; the survivors go on, those with z <= 1/4 on the
    // upper half accepted without the final test.
    for (int i = 0; i < m; ++i) {
      const T u1 = u[i], u2 = u[m + i];
      bool keep;
      if (u1 < T(0.5)) {
        const T y = u1 * u2;
        z[i] = u1 * y;
        keep = T(0.25) * u2 + z[i] - y < k1;
        test[i] = true;
      } else {
        z[i] = u1 * u1 * u2;
        keep = z[i] < k2;
        test[i] = z[i] > T(0.25);
      }
      if (keep) live[nl] = i, v[nl++] = u1 / (T(1) - u1);
    }
    ln_ha(nl, v);
    // v = be ln(u1/(1 - u1)), ln w = ln a + v, g = ln(b/w); e = exp(-|g|).
    for (int k = 0; k < nl; ++k) v[k] = be * v[k], g[k] = ln_b - (ln_a + v[k]), u[k] = g[k] < T(0) ? g[k] : -g[k];
    exp_quiet(nl, u);  // u[0..nl) := e; the u1 are no longer needed, the u2 stay in u[m..2m)
    for (int k = 0; k < nl; ++k)
      if (test[live[k]]) slow[ns++] = k;
    // alpha (ln(alpha/(b + w)) + v) - ln 4 >= ln z, with ln(b + w) = max(ln b, ln w) + ln(1 + e).
    for (int j = 0; j < ns; ++j) lt[j] = z[live[slow[j]]], lt[ns + j] = T(1) + u[slow[j]];
    ln_ha(2 * ns, lt);
    bool ok[kBatch];
    for (int k = 0; k < nl; ++k) ok[k] = true;
    for (int j = 0; j < ns; ++j) {
      const int k = slow[j];
      const T ln_bw = (g[k] <= T(0) ? ln_a + v[k] : ln_b) + lt[ns + j];
      ok[k] = alpha * (ln_alpha - ln_bw + v[k]) - BetaConst<T>::kLn4 >= lt[j];
    }
    int got = 0;
    for (int k = 0; k < nl; ++k)
      if (ok[k]) {
        const Ratio<T> ratio{u[k], g[k] <= T(0)};
        out[got++] = a_is_p ? ratio.w_part() : ratio.b_part();
      }
    return got;
  });
}

template <class T> int beta_law(int method, GuxStream *stream, int n, T *r, T p, T q, T a, T beta) {
  if (!positive_finite(p) || !positive_finite(q)) return GUX_STATUS_BAD_ARGUMENT;
  return guarded(fix_ln_singular<T>, [&] {
    Source<T> src{stream};
    const int st = p == T(1) || q == T(1) ? inverse(src, n, r, p, q)
                   : p < T(1) && q < T(1) ? johnk(src, n, r, p, q)
                   : p > T(1) && q > T(1) ? cheng_bb(src, n, r, p, q)
                                          : cheng_bc(src, n, r, p, q);
    if (st < 0) return st;
    if (n <= 0) return src.status;
    scale_shift(n, r, beta, a);
    if (method & GUX_METHOD_ACCURATE_FLAG) clamp_low(n, r, a);
    return src.status;
  });
}

}  // namespace
}  // namespace qor::dist

using namespace qor::dist;
extern "C" {

int _guxsRngBeta(int method, GuxStream *stream, int n, float *r, float p, float q, float a, float beta) {
  return beta_law(method, stream, n, r, p, q, a, beta);
}
int _guxdRngBeta(int method, GuxStream *stream, int n, double *r, double p, double q, double a, double beta) {
  return beta_law(method, stream, n, r, p, q, a, beta);
}

}  // extern "C"
