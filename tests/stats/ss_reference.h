// Long-double two-pass reference of the basic statistics, and data sets.
#ifndef QOR_TESTS_STATS_SS_REFERENCE_H
#define QOR_TESTS_STATS_SS_REFERENCE_H

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace qor_test {

template <class T>
struct DataSet {
  int64_t p = 0, n = 0;
  bool rows = false;  // observations in rows
  std::vector<T> x, w;
  T at(int64_t i, int64_t j) const { return rows ? x[i * p + j] : x[j * n + i]; }
  int storage() const { return rows ? 0x20000 : 0x10000; }
};

// Dimension j: offset[j] + scale * (gaussian with a little correlation to j-1).
template <class T>
DataSet<T> make_data(int64_t p, int64_t n, bool rows, bool weighted, double offset, double scale,
                     uint64_t seed) {
  DataSet<T> d;
  d.p = p, d.n = n, d.rows = rows;
  d.x.resize(p * n);
  std::mt19937_64 g(seed);
  std::normal_distribution<double> z;
  std::uniform_real_distribution<double> u(0.1, 2.0);
  for (int64_t i = 0; i < n; ++i) {
    double prev = 0;
    for (int64_t j = 0; j < p; ++j) {
      const double e = z(g) + 0.5 * prev;
      prev = e;
      const double v = offset * (1 + 0.25 * j) + scale * (1 + j) * e;
      (rows ? d.x[i * p + j] : d.x[j * n + i]) = (T)v;
    }
  }
  if (weighted) {
    d.w.resize(n);
    for (auto &w : d.w) w = (T)u(g);
  }
  return d;
}

struct Reference {
  std::vector<long double> mean, raw2, raw3, raw4, M2, M3, M4, c2, c3, c4, kurt, skew, var, cp, cov, cor;
  long double W = 0, V = 0;
};

template <class T>
Reference reference(const DataSet<T> &d, int64_t i0 = 0, int64_t i1 = -1) {
  if (i1 < 0) i1 = d.n;
  const int64_t p = d.p;
  Reference r;
  r.mean.assign(p, 0), r.raw2.assign(p, 0), r.raw3.assign(p, 0), r.raw4.assign(p, 0);
  r.M2.assign(p, 0), r.M3.assign(p, 0), r.M4.assign(p, 0), r.cp.assign(p * p, 0);
  for (int64_t i = i0; i < i1; ++i) {
    const long double w = d.w.empty() ? 1 : d.w[i];
    if (w == 0) continue;  // contributes nothing, whatever the value
    r.W += w, r.V += w * w;
    for (int64_t j = 0; j < p; ++j) {
      const long double x = d.at(i, j);
      r.mean[j] += w * x, r.raw2[j] += w * x * x, r.raw3[j] += w * x * x * x, r.raw4[j] += w * x * x * x * x;
    }
  }
  for (int64_t j = 0; j < p; ++j) r.mean[j] /= r.W, r.raw2[j] /= r.W, r.raw3[j] /= r.W, r.raw4[j] /= r.W;
  for (int64_t i = i0; i < i1; ++i) {
    const long double w = d.w.empty() ? 1 : d.w[i];
    if (w == 0) continue;
    for (int64_t j = 0; j < p; ++j) {
      const long double dj = d.at(i, j) - r.mean[j];
      r.M2[j] += w * dj * dj, r.M3[j] += w * dj * dj * dj, r.M4[j] += w * dj * dj * dj * dj;
      for (int64_t k = 0; k < p; ++k) r.cp[j * p + k] += w * dj * (d.at(i, k) - r.mean[k]);
    }
  }
  r.c2.resize(p), r.c3.resize(p), r.c4.resize(p), r.kurt.resize(p), r.skew.resize(p), r.var.resize(p);
  for (int64_t j = 0; j < p; ++j) {
    r.c2[j] = r.M2[j] * r.W / (r.W * r.W - r.V);
    r.c3[j] = r.M3[j] / r.W, r.c4[j] = r.M4[j] / r.W;
    r.kurt[j] = r.c4[j] / (r.c2[j] * r.c2[j]) - 3;
    r.skew[j] = r.c3[j] / std::sqrt(r.c2[j] * r.c2[j] * r.c2[j]);
    r.var[j] = std::sqrt(r.c2[j]) / r.mean[j];
  }
  r.cov.resize(p * p), r.cor.resize(p * p);
  for (int64_t j = 0; j < p; ++j)
    for (int64_t k = 0; k < p; ++k) {
      r.cov[j * p + k] = r.cp[j * p + k] / (r.W - r.V / r.W);
      r.cor[j * p + k] = r.cp[j * p + k] / std::sqrt(r.cp[j * p + j] * r.cp[k * p + k]);
    }
  return r;
}

// Largest relative error of got against want, over all entries.
template <class T>
double max_rel_err(const std::vector<T> &got, const std::vector<long double> &want) {
  double e = 0;
  for (size_t i = 0; i < want.size(); ++i) {
    const long double den = std::fabs(want[i]) > 0 ? std::fabs(want[i]) : 1;
    const double r = (double)(std::fabs((long double)got[i] - want[i]) / den);
    e = std::isnan(r) ? INFINITY : std::max(e, r);
  }
  return e;
}

}  // namespace qor_test

#endif
