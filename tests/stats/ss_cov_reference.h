// Long-double references of the covariance variants: symmetric storage,
// Schur complements, a Jacobi eigen-decomposition, group scatters, and data
// with a known covariance.
#ifndef QOR_TESTS_STATS_SS_COV_REFERENCE_H
#define QOR_TESTS_STATS_SS_COV_REFERENCE_H

#include <qor/qor_stats.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "core/qor_core_threading.h"

namespace qor_test {

using LMat = std::vector<long double>;  // row-major q by q

inline int64_t sym_at(int code, int64_t q, int64_t i, int64_t j) {
  if (code == 0) return i * q + j;
  if (code == 1) { if (j > i) std::swap(i, j); return i * (i + 1) / 2 + j; }
  if (j < i) std::swap(i, j);
  return i * q - i * (i - 1) / 2 + (j - i);
}
inline int64_t sym_len(int code, int64_t q) { return code == 0 ? q * q : q * (q + 1) / 2; }

template <class T>
std::vector<T> to_storage(const LMat &a, int code, int64_t q) {
  std::vector<T> out(sym_len(code, q));
  for (int64_t i = 0; i < q; ++i)
    for (int64_t j = 0; j < q; ++j) out[sym_at(code, q, i, j)] = (T)a[i * q + j];
  return out;
}
template <class T>
LMat from_storage(const T *v, int code, int64_t q) {
  LMat a(q * q);
  for (int64_t i = 0; i < q; ++i)
    for (int64_t j = 0; j < q; ++j) a[i * q + j] = v[sym_at(code, q, i, j)];
  return a;
}

// Largest |a - b| over entries, relative to the largest |b|.
inline double rel_diff(const LMat &a, const LMat &b) {
  long double e = 0, s = 0;
  for (size_t i = 0; i < a.size(); ++i) e = std::max(e, std::fabs(a[i] - b[i])), s = std::max(s, std::fabs(b[i]));
  return (double)(e / (s > 0 ? s : 1));
}

// Inverse by Gauss-Jordan with partial pivoting.
inline LMat inverse(LMat a, int64_t q) {
  LMat inv(q * q, 0);
  for (int64_t i = 0; i < q; ++i) inv[i * q + i] = 1;
  for (int64_t c = 0; c < q; ++c) {
    int64_t piv = c;
    for (int64_t r = c + 1; r < q; ++r)
      if (std::fabs(a[r * q + c]) > std::fabs(a[piv * q + c])) piv = r;
    for (int64_t k = 0; k < q; ++k) std::swap(a[c * q + k], a[piv * q + k]), std::swap(inv[c * q + k], inv[piv * q + k]);
    const long double d = a[c * q + c];
    for (int64_t k = 0; k < q; ++k) a[c * q + k] /= d, inv[c * q + k] /= d;
    for (int64_t r = 0; r < q; ++r) {
      if (r == c) continue;
      const long double f = a[r * q + c];
      for (int64_t k = 0; k < q; ++k) a[r * q + k] -= f * a[c * q + k], inv[r * q + k] -= f * inv[c * q + k];
    }
  }
  return inv;
}

// S_KK - S_KC S_CC^-1 S_CK for index marks (1 kept, -1 conditioned).
inline LMat schur(const LMat &s, int64_t p, const std::vector<int> &marks) {
  std::vector<int64_t> K, C;
  for (int64_t j = 0; j < p; ++j) (marks[j] == 1 ? K : C).push_back(j);
  const int64_t k = K.size(), c = C.size();
  LMat scc(c * c);
  for (int64_t a = 0; a < c; ++a)
    for (int64_t b = 0; b < c; ++b) scc[a * c + b] = s[C[a] * p + C[b]];
  const LMat inv = c ? inverse(scc, c) : LMat();
  LMat out(k * k);
  for (int64_t a = 0; a < k; ++a)
    for (int64_t b = 0; b < k; ++b) {
      long double v = s[K[a] * p + K[b]];
      for (int64_t x = 0; x < c; ++x)
        for (int64_t y = 0; y < c; ++y) v -= s[K[a] * p + C[x]] * inv[x * c + y] * s[C[y] * p + K[b]];
      out[a * k + b] = v;
    }
  return out;
}

// Cyclic Jacobi: eigenvalues w and eigenvectors as the columns of v.
inline void jacobi_eigen(LMat a, int64_t q, std::vector<long double> &w, LMat &v) {
  v.assign(q * q, 0);
  for (int64_t i = 0; i < q; ++i) v[i * q + i] = 1;
  for (int sweep = 0; sweep < 100; ++sweep) {
    long double off = 0;
    for (int64_t i = 0; i < q; ++i)
      for (int64_t j = i + 1; j < q; ++j) off += a[i * q + j] * a[i * q + j];
    if (off < 1e-60L) break;
    for (int64_t i = 0; i < q; ++i)
      for (int64_t j = i + 1; j < q; ++j) {
        if (a[i * q + j] == 0) continue;
        const long double th = (a[j * q + j] - a[i * q + i]) / (2 * a[i * q + j]);
        const long double t = (th >= 0 ? 1 : -1) / (std::fabs(th) + std::sqrt(th * th + 1));
        const long double c = 1 / std::sqrt(t * t + 1), s = t * c;
        for (int64_t k = 0; k < q; ++k) {
          const long double x = a[k * q + i], y = a[k * q + j];
          a[k * q + i] = c * x - s * y, a[k * q + j] = s * x + c * y;
        }
        for (int64_t k = 0; k < q; ++k) {
          const long double x = a[i * q + k], y = a[j * q + k];
          a[i * q + k] = c * x - s * y, a[j * q + k] = s * x + c * y;
        }
        for (int64_t k = 0; k < q; ++k) {
          const long double x = v[k * q + i], y = v[k * q + j];
          v[k * q + i] = c * x - s * y, v[k * q + j] = s * x + c * y;
        }
      }
  }
  w.resize(q);
  for (int64_t i = 0; i < q; ++i) w[i] = a[i * q + i];
}

// The repair rule: eigenvalues below 1e-14 raised to it, matrix rebuilt.
inline LMat repaired(const LMat &a, int64_t q) {
  std::vector<long double> w;
  LMat v;
  jacobi_eigen(a, q, w, v);
  LMat out(q * q, 0);
  for (int64_t k = 0; k < q; ++k) {
    const long double l = w[k] < 1e-14L ? 1e-14L : w[k];
    for (int64_t i = 0; i < q; ++i)
      for (int64_t j = 0; j < q; ++j) out[i * q + j] += v[i * q + k] * l * v[j * q + k];
  }
  return out;
}

inline long double min_eigen(const LMat &a, int64_t q) {
  std::vector<long double> w;
  LMat v;
  jacobi_eigen(a, q, w, v);
  return *std::min_element(w.begin(), w.end());
}

// A covariance with unit-ish scales and correlations up to about 0.6.
inline LMat test_covariance(int64_t p, uint64_t seed) {
  std::mt19937_64 g(seed);
  std::normal_distribution<double> z;
  LMat b(p * p), s(p * p, 0);
  for (auto &x : b) x = z(g);
  for (int64_t i = 0; i < p; ++i)
    for (int64_t j = 0; j < p; ++j) {
      for (int64_t k = 0; k < p; ++k) s[i * p + j] += b[i * p + k] * b[j * p + k] / p;
      if (i == j) s[i * p + j] += 0.5L;
    }
  return s;
}

// n normal observations (rows) of mean mu and covariance s.
inline std::vector<double> normal_rows(int64_t n, int64_t p, const std::vector<double> &mu, const LMat &s,
                                       uint64_t seed) {
  LMat l(s);  // lower Cholesky factor
  for (int64_t j = 0; j < p; ++j) {
    for (int64_t k = 0; k < j; ++k) l[j * p + j] -= l[j * p + k] * l[j * p + k];
    l[j * p + j] = std::sqrt(l[j * p + j]);
    for (int64_t i = j + 1; i < p; ++i) {
      for (int64_t k = 0; k < j; ++k) l[i * p + j] -= l[i * p + k] * l[j * p + k];
      l[i * p + j] /= l[j * p + j];
    }
  }
  std::mt19937_64 g(seed);
  std::normal_distribution<double> z;
  std::vector<double> x(n * p), e(p);
  for (int64_t i = 0; i < n; ++i) {
    for (auto &v : e) v = z(g);
    for (int64_t j = 0; j < p; ++j) {
      long double v = mu[j];
      for (int64_t k = 0; k <= j; ++k) v += l[j * p + k] * e[k];
      x[i * p + j] = (double)v;
    }
  }
  return x;
}

// Sample covariance of the rows with keep[i] set (all when empty).
inline LMat sample_cov(const std::vector<double> &x, int64_t n, int64_t p, const std::vector<int> &keep = {}) {
  std::vector<long double> m(p, 0);
  long double c = 0;
  for (int64_t i = 0; i < n; ++i)
    if (keep.empty() || keep[i]) {
      c += 1;
      for (int64_t j = 0; j < p; ++j) m[j] += x[i * p + j];
    }
  for (auto &v : m) v /= c;
  LMat s(p * p, 0);
  for (int64_t i = 0; i < n; ++i)
    if (keep.empty() || keep[i])
      for (int64_t j = 0; j < p; ++j)
        for (int64_t k = 0; k < p; ++k) s[j * p + k] += (x[i * p + j] - m[j]) * (x[i * p + k] - m[k]) / (c - 1);
  return s;
}

}  // namespace qor_test

#endif
