// Integer-valued distributions, millions of variates per second at n = 10^6,
// for every entry and method on MT19937 and MCG59 streams, side by side with
// GSL (gsl_ran_* on gsl_rng_mt19937), the C++ standard library's
// distributions on std::mt19937_64 where it has the law, and numpy's
// Generator (read from bench/dist_discrete_numpy.py). The last columns are our
// rate over the fastest peer and the name of that peer. Best of five rounds,
// timed by the thread's CPU time.
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

// Timed by the CPU time of this thread.
double rate(const std::function<void()> &fill, int count = kN) { return dist_bench::cpu_rate(count, fill); }
// GSL draws a hypergeometric variate by as many steps as the sample has items:
// for the large samples it is timed over 10^5 and 10^3 variates.
constexpr int kSlow = 1000;

std::vector<int32_t> r(kN);

struct Case {
  const char *label, *numpy_key;
  std::function<int(GuxStream *)> ours;
  std::function<void(gsl_rng *)> gsl;
  std::function<void(std::mt19937_64 &)> std_lib;  // null where <random> lacks the law
  int gsl_count = kN;
};

template <class D> std::function<void(std::mt19937_64 &)> std_fill(D dist) {
  return [dist](std::mt19937_64 &e) mutable {
    for (int i = 0; i < kN; ++i) r[i] = (int32_t)dist(e);
  };
}

}  // namespace

int main() {
  const std::map<std::string, double> np = dist_bench::numpy_figures("dist_discrete_numpy.py");
  std::vector<Case> cases = {
      {"Bernoulli p 0.3", "bernoulli", [](GuxStream *s) { return _guxiRngBernoulli(0, s, kN, r.data(), 0.3); },
       [](gsl_rng *g) { for (int i = 0; i < kN; ++i) r[i] = gsl_ran_bernoulli(g, 0.3); },
       std_fill(std::bernoulli_distribution(0.3))},
      {"Geometric p 0.3", "geometric_0.3", [](GuxStream *s) { return _guxiRngGeometric(0, s, kN, r.data(), 0.3); },
       [](gsl_rng *g) { for (int i = 0; i < kN; ++i) r[i] = gsl_ran_geometric(g, 0.3) - 1; },
       std_fill(std::geometric_distribution<int>(0.3))},
      {"Geometric p 0.001", "geometric_0.001", [](GuxStream *s) { return _guxiRngGeometric(0, s, kN, r.data(), 0.001); },
       [](gsl_rng *g) { for (int i = 0; i < kN; ++i) r[i] = gsl_ran_geometric(g, 0.001) - 1; },
       std_fill(std::geometric_distribution<int>(0.001))},
      {"Binomial 10 0.3 table", "binomial_10_0.3",
       [](GuxStream *s) { return _guxiRngBinomial(0, s, kN, r.data(), 10, 0.3); },
       [](gsl_rng *g) { for (int i = 0; i < kN; ++i) r[i] = gsl_ran_binomial(g, 0.3, 10); },
       std_fill(std::binomial_distribution<int>(10, 0.3))},
      {"Binomial 100 0.7 BTPE mirr.", "binomial_100_0.7",
       [](GuxStream *s) { return _guxiRngBinomial(0, s, kN, r.data(), 100, 0.7); },
       [](gsl_rng *g) { for (int i = 0; i < kN; ++i) r[i] = gsl_ran_binomial(g, 0.7, 100); },
       std_fill(std::binomial_distribution<int>(100, 0.7))},
      {"Binomial 1000 0.5 BTPE", "binomial_1000_0.5",
       [](GuxStream *s) { return _guxiRngBinomial(0, s, kN, r.data(), 1000, 0.5); },
       [](gsl_rng *g) { for (int i = 0; i < kN; ++i) r[i] = gsl_ran_binomial(g, 0.5, 1000); },
       std_fill(std::binomial_distribution<int>(1000, 0.5))},
      {"Binomial 1e9 0.3 BTPE", "binomial_1e9_0.3",
       [](GuxStream *s) { return _guxiRngBinomial(0, s, kN, r.data(), 1000000000, 0.3); },
       [](gsl_rng *g) { for (int i = 0; i < kN; ++i) r[i] = gsl_ran_binomial(g, 0.3, 1000000000); },
       std_fill(std::binomial_distribution<int>(1000000000, 0.3))},
      {"Hypergeom 100 20 30 table", "hyper_100_20_30",
       [](GuxStream *s) { return _guxiRngHypergeometric(0, s, kN, r.data(), 100, 20, 30); },
       [](gsl_rng *g) { for (int i = 0; i < kN; ++i) r[i] = gsl_ran_hypergeometric(g, 30, 70, 20); }, nullptr},
      {"Hypergeom 1000 400 450 H2PE", "hyper_1000_400_450",
       [](GuxStream *s) { return _guxiRngHypergeometric(0, s, kN, r.data(), 1000, 400, 450); },
       [](gsl_rng *g) { for (int i = 0; i < kSlow * 100; ++i) r[i] = gsl_ran_hypergeometric(g, 450, 550, 400); },
       nullptr, kSlow * 100},
      {"Hypergeom 2e5 6e4 8e4 H2PE", "hyper_200000_60000_80000",
       [](GuxStream *s) { return _guxiRngHypergeometric(0, s, kN, r.data(), 200000, 60000, 80000); },
       [](gsl_rng *g) { for (int i = 0; i < kSlow; ++i) r[i] = gsl_ran_hypergeometric(g, 80000, 120000, 60000); },
       nullptr, kSlow},
      {"Negbin 2.5 0.4 table", "negbin_2.5_0.4",
       [](GuxStream *s) { return _guxiRngNegbinomial(0, s, kN, r.data(), 2.5, 0.4); },
       [](gsl_rng *g) { for (int i = 0; i < kN; ++i) r[i] = gsl_ran_negative_binomial(g, 0.4, 2.5); }, nullptr},
      {"Negbin 50 0.3 rejection", "negbin_50_0.3",
       [](GuxStream *s) { return _guxiRngNegbinomial(0, s, kN, r.data(), 50, 0.3); },
       [](gsl_rng *g) { for (int i = 0; i < kN; ++i) r[i] = gsl_ran_negative_binomial(g, 0.3, 50); },
       std_fill(std::negative_binomial_distribution<int>(50, 0.3))},
      {"Negbin 0.5 0.005 gamma env.", "negbin_0.5_0.005",
       [](GuxStream *s) { return _guxiRngNegbinomial(0, s, kN, r.data(), 0.5, 0.005); },
       [](gsl_rng *g) { for (int i = 0; i < kN; ++i) r[i] = gsl_ran_negative_binomial(g, 0.005, 0.5); }, nullptr},
      {"Negbin 3 1e-7 huge mean", "negbin_3_1e-7",
       [](GuxStream *s) { return _guxiRngNegbinomial(0, s, kN, r.data(), 3, 1e-7); },
       [](gsl_rng *g) { for (int i = 0; i < kN; ++i) r[i] = gsl_ran_negative_binomial(g, 1e-7, 3); },
       std_fill(std::negative_binomial_distribution<int>(3, 1e-7))},
      {"Negbin 0.5 1e-8 huge mean", "negbin_0.5_1e-8",
       [](GuxStream *s) { return _guxiRngNegbinomial(0, s, kN, r.data(), 0.5, 1e-8); },
       [](gsl_rng *g) { for (int i = 0; i < kN; ++i) r[i] = gsl_ran_negative_binomial(g, 1e-8, 0.5); }, nullptr},
  };

  std::mt19937_64 eng(12345);
  gsl_rng *gr = gsl_rng_alloc(gsl_rng_mt19937);
  const dist_bench::Streams st;

  setvbuf(stdout, nullptr, _IOLBF, 0);
  printf("millions of variates per second, n = 10^6\n");
  printf("%-30s %8s %8s %8s %8s %8s  best peer\n", "entry", "qor MT", "qor MCG59", "gsl", "std", "numpy");
  for (const Case &c : cases) {
    const double ours_mt = rate([&] { c.ours(st.mt); }), ours_mcg = rate([&] { c.ours(st.mcg); });
    const double gsl = rate([&] { c.gsl(gr); }, c.gsl_count);
    const double std_lib = c.std_lib ? rate([&] { c.std_lib(eng); }) : 0;
    const double numpy = dist_bench::numpy_best(np, c.numpy_key);
    const double best = std::max({gsl, std_lib, numpy});
    const char *who = best == gsl ? "gsl" : best == std_lib ? "std" : "numpy";
    printf("%-30s %8.1f %8.1f %8.1f %8.1f %8.1f  x%.2f vs %s\n", c.label, ours_mt / 1e6, ours_mcg / 1e6, gsl / 1e6,
           std_lib / 1e6, numpy / 1e6, std::max(ours_mt, ours_mcg) / best, who);
  }
  gsl_rng_free(gr);
  return 0;
}
