// Continuous laws, millions of variates per second at n = 10^6, for every
// entry, type and branch (Gamma by shape range, Beta by branch, ChiSquare by
// route) on MT19937 and MCG59 streams, side by side with numpy's Generator
// (read from bench/dist_continuous_numpy.py), the C++ standard library's
// distributions on std::mt19937_64 where it has the law, and GSL's gsl_ran_*
// on gsl_rng_mt19937. The last columns are our better rate over the fastest
// peer and the name of that peer. Best of five rounds.
#include <gsl/gsl_randist.h>
#include <gsl/gsl_rng.h>
#include <stdio.h>

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

double rate(const std::function<void()> &fill) { return dist_bench::wall_rate(kN, fill); }

std::vector<double> d(kN);
std::vector<float> s(kN);

using dist_bench::Peer;
constexpr dist_bench::Table kTable{24, 8};

}  // namespace

int main() {
  const std::map<std::string, double> np = dist_bench::numpy_figures("dist_continuous_numpy.py");
  auto numpy = [&](const std::string &key) { return dist_bench::numpy_peer(np, key); };
  std::mt19937_64 eng(12345);
  gsl_rng *gr = gsl_rng_alloc(gsl_rng_mt19937);
  const dist_bench::Streams st;

  // One law: our d and s forms on both streams, and the peers (double; the
  // float rows repeat the double peers, numpy's float figure where it has one).
  using Ours = std::function<void(GuxStream *, bool dbl)>;
  auto law = [&](const std::string &name, const Ours &ours, const std::vector<Peer> &peers,
                 const Peer &numpy_float = {"numpy", 0}) {
    for (bool dbl : {true, false}) {
      const double a = rate([&] { ours(st.mt, dbl); }), b = rate([&] { ours(st.mcg, dbl); });
      std::vector<Peer> p = peers;
      if (!dbl && numpy_float.rate > 0) p[0] = numpy_float;
      kTable.row((dbl ? "d" : "s") + name, a, b, p);
    }
  };
  auto std_rate = [&](auto dist) {
    return rate([&] {
      for (int i = 0; i < kN; ++i) d[i] = dist(eng);
    });
  };
  auto gsl_rate = [&](const std::function<double()> &draw) {
    return rate([&] {
      for (int i = 0; i < kN; ++i) d[i] = draw();
    });
  };

  kTable.heading();
  const double A = 1.25, B = 0.75;
  law("Cauchy", [&](GuxStream *st, bool dbl) {
        dbl ? _guxdRngCauchy(0, st, kN, d.data(), A, B) : _guxsRngCauchy(0, st, kN, s.data(), A, B);
      },
      {numpy("cauchy"), {"std", std_rate(std::cauchy_distribution<double>(A, B))},
       {"gsl", gsl_rate([&] { return A + gsl_ran_cauchy(gr, B); })}});
  law("Gumbel", [&](GuxStream *st, bool dbl) {
        dbl ? _guxdRngGumbel(0, st, kN, d.data(), A, B) : _guxsRngGumbel(0, st, kN, s.data(), A, B);
      },
      {numpy("gumbel"), {"std", std_rate(std::extreme_value_distribution<double>(A, B))},
       {"gsl", gsl_rate([&] { return gsl_ran_gumbel1(gr, 1 / B, 1.0); })}});
  law("Laplace", [&](GuxStream *st, bool dbl) {
        dbl ? _guxdRngLaplace(0, st, kN, d.data(), A, B) : _guxsRngLaplace(0, st, kN, s.data(), A, B);
      },
      {numpy("laplace"), {"gsl", gsl_rate([&] { return A + gsl_ran_laplace(gr, B); })}});
  law("Rayleigh", [&](GuxStream *st, bool dbl) {
        dbl ? _guxdRngRayleigh(0, st, kN, d.data(), A, B) : _guxsRngRayleigh(0, st, kN, s.data(), A, B);
      },
      {numpy("rayleigh"), {"gsl", gsl_rate([&] { return A + gsl_ran_rayleigh(gr, B); })}});
  law("Weibull 2.5", [&](GuxStream *st, bool dbl) {
        dbl ? _guxdRngWeibull(0, st, kN, d.data(), 2.5, A, B) : _guxsRngWeibull(0, st, kN, s.data(), 2.5f, A, B);
      },
      {numpy("weibull"), {"std", std_rate(std::weibull_distribution<double>(2.5, B))},
       {"gsl", gsl_rate([&] { return A + gsl_ran_weibull(gr, B, 2.5); })}});
  for (int m : {0, 2}) {
    law(m ? "Lognormal ICDF" : "Lognormal BM2", [&](GuxStream *st, bool dbl) {
          dbl ? _guxdRngLognormal(m, st, kN, d.data(), 0.25, 0.5, A, B)
              : _guxsRngLognormal(m, st, kN, s.data(), 0.25f, 0.5f, A, B);
        },
        {numpy("lognormal"), {"std", std_rate(std::lognormal_distribution<double>(0.25, 0.5))},
         {"gsl", gsl_rate([&] { return gsl_ran_lognormal(gr, 0.25, 0.5); })}});
  }
  for (const char *shape : {"0.3", "0.7", "1", "2.5", "10000"}) {
    const double al = atof(shape);
    law(std::string("Gamma ") + shape, [&](GuxStream *st, bool dbl) {
          dbl ? _guxdRngGamma(0, st, kN, d.data(), al, 0, 1) : _guxsRngGamma(0, st, kN, s.data(), (float)al, 0, 1);
        },
        {numpy(std::string("gamma") + shape), {"std", std_rate(std::gamma_distribution<double>(al, 1))},
         {"gsl", gsl_rate([&] { return gsl_ran_gamma(gr, al, 1); })}},
        numpy(std::string("gamma") + shape + ".s"));
  }
  for (auto [pn, qn] : {std::pair<const char *, const char *>{"0.5", "0.5"}, {"1", "2"}, {"0.5", "3"}, {"2", "3"},
                        {"0.01", "0.01"}}) {
    const double p = atof(pn), q = atof(qn);
    law(std::string("Beta ") + pn + "," + qn, [&](GuxStream *st, bool dbl) {
          dbl ? _guxdRngBeta(0, st, kN, d.data(), p, q, 0, 1) : _guxsRngBeta(0, st, kN, s.data(), (float)p, (float)q, 0, 1);
        },
        {numpy(std::string("beta") + pn + "," + qn), {"gsl", gsl_rate([&] { return gsl_ran_beta(gr, p, q); })}});
  }
  for (int v : {1, 2, 3, 10}) {
    law("ChiSquare " + std::to_string(v), [&](GuxStream *st, bool dbl) {
          dbl ? _guxdRngChiSquare(0, st, kN, d.data(), v) : _guxsRngChiSquare(0, st, kN, s.data(), v);
        },
        {numpy("chisq" + std::to_string(v)), {"std", std_rate(std::chi_squared_distribution<double>(v))},
         {"gsl", gsl_rate([&] { return gsl_ran_chisq(gr, v); })}});
  }
  volatile double sink = d[1] + s[1];
  (void)sink;
  gsl_rng_free(gr);
  return 0;
}
