// Poisson (both methods), PoissonV and Multinomial, millions of variates per
// second at n = 10^6 on MT19937 and MCG59 streams, side by side with numpy's
// Generator (read from bench/dist_poisson_numpy.py), std::poisson_distribution
// on std::mt19937_64 and GSL (gsl_ran_poisson, gsl_ran_multinomial on
// gsl_rng_mt19937). Multinomial rates count the k counts of a row as k
// variates. The last columns are our rate over the fastest peer and its
// name. Best of five rounds.
#include <gsl/gsl_randist.h>
#include <gsl/gsl_rng.h>
#include <stdio.h>

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

using dist_bench::Peer;
constexpr dist_bench::Table kTable;

}  // namespace

int main() {
  const std::map<std::string, double> np = dist_bench::numpy_figures("dist_poisson_numpy.py");
  auto numpy = [&](const std::string &key) { return dist_bench::numpy_peer(np, key); };
  std::mt19937_64 eng(12345);
  gsl_rng *gr = gsl_rng_alloc(gsl_rng_mt19937);
  std::vector<int32_t> iv(kN);
  std::vector<unsigned> gv(kN);
  const dist_bench::Streams st;
  double a, b;
  auto both = [&](const std::function<void(GuxStream *)> &f) {
    a = rate(kN, [&] { f(st.mt); });
    b = rate(kN, [&] { f(st.mcg); });
  };

  kTable.heading();
  for (double lam : {0.5, 5.0, 26.0, 27.0, 100.0, 1000.0, 1e7}) {
    char key[32];
    snprintf(key, sizeof key, "poisson.%g", lam);
    const Peer std_p{"std", rate(kN, [&] {
                       std::poisson_distribution<int32_t> p(lam);
                       for (int i = 0; i < kN; ++i) iv[i] = p(eng);
                     })};
    const Peer gsl_p{"gsl", rate(kN, [&] {
                       for (int i = 0; i < kN; ++i) gv[i] = gsl_ran_poisson(gr, lam);
                     })};
    for (int m = 0; m < 2; ++m) {
      both([&](GuxStream *s) { _guxiRngPoisson(m, s, kN, iv.data(), lam); });
      kTable.row(std::string(m ? "Poisson normal " : "Poisson PTPE ") + std::to_string(lam).substr(0, 9), a, b,
          {numpy(key), std_p, gsl_p});
    }
  }
  std::vector<double> lam(kN);
  const double means[8] = {0.3, 0.999, 1.0, 2.5, 7.0, 50.0, 100.0, 400.0};
  for (int i = 0; i < kN; ++i) lam[i] = means[i % 8];
  both([&](GuxStream *s) { _guxiRngPoissonV(0, s, kN, iv.data(), lam.data()); });
  kTable.row("PoissonV 8 means 0.3..400", a, b,
      {numpy("poissonv"), {"std", rate(kN, [&] {
                             for (int i = 0; i < kN; ++i) iv[i] = std::poisson_distribution<int32_t>(lam[i])(eng);
                           })},
       {"gsl", rate(kN, [&] {
          for (int i = 0; i < kN; ++i) gv[i] = gsl_ran_poisson(gr, lam[i]);
        })}});
  for (auto [ntrial, k] : {std::pair{10, 4}, std::pair{100, 4}, std::pair{10000, 4}, std::pair{1000, 32}}) {
    std::vector<double> p(k, 1.0 / k);
    const int rows = kN / k;
    both([&](GuxStream *s) { _guxiRngMultinomial(0, s, rows, iv.data(), ntrial, k, p.data()); });
    char key[48], label[48];
    snprintf(key, sizeof key, "multinomial.%d.%d", ntrial, k);
    snprintf(label, sizeof label, "Multinomial ntrial %d k %d", ntrial, k);
    kTable.row(label, a, b,
        {numpy(key), {"gsl", rate(kN, [&] {
                        for (int r = 0; r < rows; ++r) gsl_ran_multinomial(gr, k, ntrial, p.data(), &gv[r * k]);
                      })}});
  }
  gsl_rng_free(gr);
  return 0;
}
