// Distribution generators, millions of variates per second at n = 10^6, for
// every entry, method and type on MT19937 and MCG59 streams, side by side with
// numpy's Generator (read from bench/distributions_numpy.py), the C++ standard
// library's distributions on std::mt19937_64, and GSL (gsl_rng_uniform,
// gsl_ran_gaussian_ziggurat, gsl_ran_exponential,
// gsl_ran_multivariate_gaussian on gsl_rng_mt19937). The last columns are our
// rate over the fastest peer and the name of that peer. Best of five rounds.
#include <gsl/gsl_linalg.h>
#include <gsl/gsl_randist.h>
#include <gsl/gsl_rng.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "qor/qor_random_brng.h"
#include "qor/qor_random_dist.h"
#include "dist_bench.h"

namespace {

constexpr int kN = 1000000;

double rate(int count, const std::function<void()> &fill) { return dist_bench::wall_rate(count, fill); }

std::vector<double> d(kN);
std::vector<float> s(kN);
std::vector<int32_t> iv(kN);
std::vector<uint32_t> u32(2 * kN);
std::vector<uint64_t> u64(kN);

using dist_bench::Peer;
constexpr dist_bench::Table kTable;

}  // namespace

int main() {
  const std::map<std::string, double> np = dist_bench::numpy_figures("distributions_numpy.py");
  auto numpy = [&](const std::string &key) { return dist_bench::numpy_peer(np, key); };
  std::mt19937_64 eng(12345);
  gsl_rng *gr = gsl_rng_alloc(gsl_rng_mt19937);
  volatile double sink = 0;

  const dist_bench::Streams streams;
  GuxStream *mt = streams.mt, *mcg = streams.mcg;
  auto both = [&](const std::function<void(GuxStream *)> &f, double *r_mt, double *r_mcg, int count = kN) {
    *r_mt = rate(count, [&] { f(mt); });
    *r_mcg = rate(count, [&] { f(mcg); });
  };

  kTable.heading();
  double a, b;

  const double std_ud = rate(kN, [&] {
    std::uniform_real_distribution<double> u(0.0, 1.0);
    for (int i = 0; i < kN; ++i) d[i] = u(eng);
  });
  const double std_uf = rate(kN, [&] {
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    for (int i = 0; i < kN; ++i) s[i] = u(eng);
  });
  const double gsl_u = rate(kN, [&] {
    for (int i = 0; i < kN; ++i) d[i] = gsl_rng_uniform(gr);
  });
  for (int m : {0, GUX_METHOD_ACCURATE_FLAG}) {
    both([&](GuxStream *st) { _guxdRngUniform(m, st, kN, d.data(), 0.0, 1.0); }, &a, &b);
    kTable.row(m ? "dUniform accurate" : "dUniform", a, b, {numpy("random.d"), {"std", std_ud}, {"gsl", gsl_u}});
    both([&](GuxStream *st) { _guxsRngUniform(m, st, kN, s.data(), 0.0f, 1.0f); }, &a, &b);
    kTable.row(m ? "sUniform accurate" : "sUniform", a, b, {numpy("random.s"), {"std", std_uf}, {"gsl", gsl_u}});
  }
  both([&](GuxStream *st) { _guxiRngUniform(0, st, kN, iv.data(), -7, 11); }, &a, &b);
  kTable.row("iUniform [-7, 11)", a, b,
      {numpy("integers.i"),
       {"std", rate(kN, [&] {
          std::uniform_int_distribution<int32_t> u(-7, 10);
          for (int i = 0; i < kN; ++i) iv[i] = u(eng);
        })},
       {"gsl", rate(kN, [&] {
          for (int i = 0; i < kN; ++i) iv[i] = (int32_t)gsl_rng_uniform_int(gr, 18) - 7;
        })}});
  const double std_raw = rate(kN, [&] {
    for (int i = 0; i < kN; ++i) u64[i] = eng();
  });
  both([&](GuxStream *st) { _guxiRngUniformBits(0, st, kN, u32.data()); }, &a, &b);
  kTable.row("iUniformBits (own words)", a, b, {numpy("bits32"), {"std mt19937_64()", std_raw}});
  both([&](GuxStream *st) { _guxiRngUniformBits32(0, st, kN, u32.data()); }, &a, &b);
  kTable.row("iUniformBits32", a, b,
      {numpy("bits32"), {"std mt19937 ()", rate(kN, [&] {
         static std::mt19937 e32(1);
         for (int i = 0; i < kN; ++i) u32[i] = e32();
       })}});
  both([&](GuxStream *st) { _guxiRngUniformBits64(0, st, kN, u64.data()); }, &a, &b);
  kTable.row("iUniformBits64", a, b, {numpy("bits64"), {"std mt19937_64()", std_raw}});

  const double std_ed = rate(kN, [&] {
    std::exponential_distribution<double> e(1.0);
    for (int i = 0; i < kN; ++i) d[i] = e(eng);
  });
  const double std_ef = rate(kN, [&] {
    std::exponential_distribution<float> e(1.0f);
    for (int i = 0; i < kN; ++i) s[i] = e(eng);
  });
  const double gsl_e = rate(kN, [&] {
    for (int i = 0; i < kN; ++i) d[i] = gsl_ran_exponential(gr, 1.0);
  });
  for (int m : {0, GUX_METHOD_ACCURATE_FLAG}) {
    both([&](GuxStream *st) { _guxdRngExponential(m, st, kN, d.data(), 0.0, 1.0); }, &a, &b);
    kTable.row(m ? "dExponential accurate" : "dExponential", a, b, {numpy("exponential.d"), {"std", std_ed}, {"gsl", gsl_e}});
    both([&](GuxStream *st) { _guxsRngExponential(m, st, kN, s.data(), 0.0f, 1.0f); }, &a, &b);
    kTable.row(m ? "sExponential accurate" : "sExponential", a, b, {numpy("exponential.s"), {"std", std_ef}, {"gsl", gsl_e}});
  }

  const double std_nd = rate(kN, [&] {
    std::normal_distribution<double> g(0.0, 1.0);
    for (int i = 0; i < kN; ++i) d[i] = g(eng);
  });
  const double std_nf = rate(kN, [&] {
    std::normal_distribution<float> g(0.0f, 1.0f);
    for (int i = 0; i < kN; ++i) s[i] = g(eng);
  });
  const double gsl_n = rate(kN, [&] {
    for (int i = 0; i < kN; ++i) d[i] = gsl_ran_gaussian_ziggurat(gr, 1.0);
  });
  const char *names[] = {"Box-Muller", "Box-Muller2", "ICDF"};
  for (int m = 0; m < 3; ++m) {
    char label[64];
    double probe;
    if (_guxdRngGaussian(m, mt, 1, &probe, 0.0, 1.0) < 0) {
      printf("%-30s (method not available: the ErfInv kernels are not built)\n", "Gaussian ICDF");
      continue;
    }
    both([&](GuxStream *st) { _guxdRngGaussian(m, st, kN, d.data(), 0.0, 1.0); }, &a, &b);
    snprintf(label, sizeof label, "dGaussian %s", names[m]);
    kTable.row(label, a, b, {numpy("normal.d"), {"std", std_nd}, {"gsl ziggurat", gsl_n}});
    both([&](GuxStream *st) { _guxsRngGaussian(m, st, kN, s.data(), 0.0f, 1.0f); }, &a, &b);
    snprintf(label, sizeof label, "sGaussian %s", names[m]);
    kTable.row(label, a, b, {numpy("normal.s"), {"std", std_nf}, {"gsl ziggurat", gsl_n}});
  }

  // Multivariate: dimension 3, full storage, n / 3 vectors.
  const int dim = 3, vecs = kN / dim;
  const double cov[9] = {1.0, 0.3, 0.1, 0.3, 2.0, 0.2, 0.1, 0.2, 1.5};
  gsl_matrix *L = gsl_matrix_alloc(dim, dim);
  for (int i = 0; i < dim; ++i)
    for (int j = 0; j < dim; ++j) gsl_matrix_set(L, i, j, cov[i * dim + j]);
  gsl_linalg_cholesky_decomp1(L);
  double tfull[9] = {0}, tfloat_mean[3] = {0, 0, 0}, mean[3] = {0, 0, 0};
  float tf[9] = {0}, meanf[3] = {0, 0, 0};
  for (int i = 0; i < dim; ++i)  // column-major upper triangle U = L'
    for (int j = 0; j <= i; ++j) tfull[i * dim + j] = gsl_matrix_get(L, i, j), tf[i * dim + j] = (float)tfull[i * dim + j];
  (void)tfloat_mean;
  gsl_vector *mu = gsl_vector_calloc(dim), *x = gsl_vector_alloc(dim);
  const double gsl_mv = rate(vecs * dim, [&] {
    for (int v = 0; v < vecs; ++v) {
      gsl_ran_multivariate_gaussian(gr, mu, L, x);
      memcpy(&d[v * dim], x->data, sizeof(double) * dim);
    }
  });
  for (int m = 0; m < 3; ++m) {
    double probe;
    if (_guxdRngGaussian(m, mt, 1, &probe, 0.0, 1.0) < 0) continue;
    char label[64];
    both([&](GuxStream *st) { _guxdRngGaussianMV(m, st, vecs, d.data(), dim, GUX_MATRIX_STORAGE_FULL, mean, tfull); },
         &a, &b, vecs * dim);
    snprintf(label, sizeof label, "dGaussianMV d=3 %s", names[m]);
    kTable.row(label, a, b, {numpy("mvnormal.d"), {"gsl", gsl_mv}});
    both([&](GuxStream *st) { _guxsRngGaussianMV(m, st, vecs, s.data(), dim, GUX_MATRIX_STORAGE_FULL, meanf, tf); },
         &a, &b, vecs * dim);
    snprintf(label, sizeof label, "sGaussianMV d=3 %s", names[m]);
    kTable.row(label, a, b, {numpy("mvnormal.d"), {"gsl", gsl_mv}});
  }
  sink = d[1] + s[1] + iv[1] + u32[1] + (double)u64[1];
  (void)sink;
  gsl_vector_free(mu);
  gsl_vector_free(x);
  gsl_matrix_free(L);
  gsl_rng_free(gr);
  return 0;
}
