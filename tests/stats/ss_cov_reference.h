// Long-double references of the covariance variants: symmetric storage,
// Schur complements, a Jacobi eigen-decomposition, data of known covariance.
#ifndef QOR_TESTS_STATS_SS_COV_REFERENCE_H
#define QOR_TESTS_STATS_SS_COV_REFERENCE_H

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace qor_test {

using LMat = std::vector<long double>;  // row-major q by q

inline int64_t sym_at(int code, int64_t q, int64_t i, int64_t j) {
  if (code == 0) return i * q + j;
  if ((code == 1) == (j > i)) std::swap(i, j);  // lower rows want i >= j, upper rows i <= j
  return code == 1 ? i * (i + 1) / 2 + j : i * q - i * (i - 1) / 2 + (j - i);
}
inline int64_t sym_len(int code, int64_t q) { return code == 0 ? q * q : q * (q + 1) / 2; }

template <class T>
std::vector<T> to_storage(const LMat &a, int code, int64_t q) {
  std::vector<T> out(sym_len(code, q));
  for (int64_t i = 0; i < q * q; ++i) out[sym_at(code, q, i / q, i % q)] = (T)a[i];
  return out;
}
template <class T>
LMat from_storage(const T *v, int code, int64_t q) {
  LMat a(q * q);
  for (int64_t i = 0; i < q * q; ++i) a[i] = v[sym_at(code, q, i / q, i % q)];
  return a;
}

// Largest |a - b| relative to the largest |b|.
inline double rel_diff(const LMat &a, const LMat &b) {
  long double e = 0, s = 0;
  for (size_t i = 0; i < a.size(); ++i) e = std::max(e, std::fabs(a[i] - b[i])), s = std::max(s, std::fabs(b[i]));
  return (double)(e / (s > 0 ? s : 1));
}

// S_KK - S_KC S_CC^-1 S_CK by eliminating the conditioned dimensions one by
// one (marks: 1 kept, -1 conditioned); the kept block in dimension order.
inline LMat schur(LMat s, int64_t p, const std::vector<int> &marks) {
  for (int64_t c = 0; c < p; ++c)
    if (marks[c] == -1)
      for (int64_t i = 0; i < p; ++i)
        for (int64_t j = 0; j < p; ++j)
          if (i != c && j != c) s[i * p + j] -= s[i * p + c] * s[c * p + j] / s[c * p + c];
  LMat out;
  for (int64_t i = 0; i < p; ++i)
    for (int64_t j = 0; j < p; ++j)
      if (marks[i] == 1 && marks[j] == 1) out.push_back(s[i * p + j]);
  return out;
}

// Cyclic Jacobi: eigenvalues w, eigenvectors the columns of v.
inline void jacobi_eigen(LMat a, int64_t q, std::vector<long double> &w, LMat &v) {
  v.assign(q * q, 0);
  for (int64_t i = 0; i < q; ++i) v[i * q + i] = 1;
  for (int sweep = 0; sweep < 60; ++sweep)
    for (int64_t i = 0; i < q; ++i)
      for (int64_t j = i + 1; j < q; ++j) {
        if (std::fabs(a[i * q + j]) < 1e-40L) continue;
        const long double th = (a[j * q + j] - a[i * q + i]) / (2 * a[i * q + j]);
        const long double t = (th >= 0 ? 1 : -1) / (std::fabs(th) + std::sqrt(th * th + 1));
        const long double c = 1 / std::sqrt(t * t + 1), s = t * c;
        auto rot = [&](long double &x, long double &y) { const long double u = x; x = c * u - s * y, y = s * u + c * y; };
        for (int64_t k = 0; k < q; ++k) rot(a[k * q + i], a[k * q + j]), rot(v[k * q + i], v[k * q + j]);
        for (int64_t k = 0; k < q; ++k) rot(a[i * q + k], a[j * q + k]);
      }
  w.resize(q);
  for (int64_t i = 0; i < q; ++i) w[i] = a[i * q + i];
}

// Eigenvalues below `floor` raised to it and the matrix rebuilt; with a
// negative floor, nothing is raised and the smallest eigenvalue is returned
// in *least.
inline LMat rebuilt(const LMat &a, int64_t q, long double floor, long double *least = nullptr) {
  std::vector<long double> w;
  LMat v, out(q * q, 0);
  jacobi_eigen(a, q, w, v);
  if (least) *least = *std::min_element(w.begin(), w.end());
  for (int64_t k = 0; k < q; ++k)
    for (int64_t e = 0; e < q * q; ++e) out[e] += v[e / q * q + k] * std::max(w[k], floor) * v[e % q * q + k];
  return out;
}

// A random factor B (q by q) and the covariance B B'/q + I/2.
inline LMat test_covariance(int64_t q, uint64_t seed, LMat *factor = nullptr) {
  std::mt19937_64 g(seed);
  std::normal_distribution<double> z;
  LMat b(q * q), s(q * q, 0);
  for (auto &x : b) x = z(g) / std::sqrt((double)q);
  for (int64_t e = 0; e < q * q; ++e)
    for (int64_t k = 0; k < q; ++k) s[e] += b[e / q * q + k] * b[e % q * q + k];
  for (int64_t i = 0; i < q; ++i) s[i * q + i] += 0.5L;
  if (factor) *factor = b;
  return s;
}

// n normal rows of mean 1 and covariance test_covariance(p, seed): B e plus
// an independent part of variance 1/2.
inline std::vector<double> normal_rows(int64_t n, int64_t p, uint64_t seed) {
  LMat b;
  test_covariance(p, seed, &b);
  std::mt19937_64 g(seed + 7);
  std::normal_distribution<double> z;
  std::vector<double> x(n * p), e(p);
  for (int64_t i = 0; i < n; ++i) {
    for (auto &v : e) v = z(g);
    for (int64_t j = 0; j < p; ++j) {
      long double v = 1 + std::sqrt(0.5) * z(g);
      for (int64_t k = 0; k < p; ++k) v += b[j * p + k] * e[k];
      x[i * p + j] = (double)v;
    }
  }
  return x;
}

// Sample covariance of the rows i with keep[i] (all when empty).
inline LMat sample_cov(const std::vector<double> &x, int64_t n, int64_t p, const std::vector<int> &keep = {}) {
  LMat m(p, 0), s(p * p, 0);
  long double c = 0;
  for (int pass = 0; pass < 2; ++pass)
    for (int64_t i = 0; i < n; ++i)
      if (keep.empty() || keep[i]) {
        if (pass == 0) c += 1;
        for (int64_t e = 0; e < (pass ? p * p : p); ++e)
          if (pass == 0) m[e] += x[i * p + e];
          else s[e] += (x[i * p + e / p] - m[e / p] / c) * (x[i * p + e % p] - m[e % p] / c) / (c - 1);
      }
  return s;
}

}  // namespace qor_test

#endif
