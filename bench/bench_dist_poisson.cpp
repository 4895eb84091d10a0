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

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "qor/qor_random_brng.h"
#include "qor/qor_random_dist.h"

namespace {

constexpr int kN = 1000000;

double rate(int count, const std::function<void()> &fill) {
  using clock = std::chrono::steady_clock;
  double best = 0;
  for (int round = 0; round < 5; ++round) {
    auto t0 = clock::now();
    fill();
    best = std::max(best, count / std::chrono::duration<double>(clock::now() - t0).count());
  }
  return best;
}

std::map<std::string, double> numpy_figures() {
  std::map<std::string, double> f;
  for (const char *path : {"bench/dist_poisson_numpy.py", "../bench/dist_poisson_numpy.py"}) {
    FILE *probe = fopen(path, "r");
    if (!probe) continue;
    fclose(probe);
    FILE *p = popen((std::string("/usr/bin/python3 ") + path + " --table 2>/dev/null").c_str(), "r");
    if (!p) break;
    char key[128];
    double v;
    while (fscanf(p, "%127s %lf", key, &v) == 2) f[key] = v;
    pclose(p);
    break;
  }
  return f;
}

struct Peer {
  std::string name;
  double rate;
};

void row(const std::string &entry, double ours_mt, double ours_mcg59, const std::vector<Peer> &peers) {
  const Peer *best = nullptr;
  for (const Peer &p : peers)
    if (p.rate > 0 && (!best || p.rate > best->rate)) best = &p;
  printf("%-30s %9.1f %9.1f", entry.c_str(), ours_mt / 1e6, ours_mcg59 / 1e6);
  for (const Peer &p : peers) printf("  %s %.1f", p.name.c_str(), p.rate / 1e6);
  if (best) printf("  | x%.2f vs %s", std::max(ours_mt, ours_mcg59) / best->rate, best->name.c_str());
  printf("\n");
}

}  // namespace

int main() {
  const std::map<std::string, double> np = numpy_figures();
  auto numpy = [&](const std::string &key) {
    double best = 0;
    for (const char *g : {"PCG64.", "MT19937."}) {
      auto it = np.find(g + key);
      if (it != np.end()) best = std::max(best, it->second);
    }
    return Peer{"numpy", best};
  };
  std::mt19937_64 eng(12345);
  gsl_rng *gr = gsl_rng_alloc(gsl_rng_mt19937);
  std::vector<int32_t> iv(kN);
  std::vector<unsigned> gv(kN);
  GuxStream *mt, *mcg;
  uint32_t seed = 12345;
  __guxNewStreamEx(&mt, GUX_BRNG_MT19937, 1, &seed);
  __guxNewStreamEx(&mcg, GUX_BRNG_MCG59, 1, &seed);
  double a, b;
  auto both = [&](const std::function<void(GuxStream *)> &f) {
    a = rate(kN, [&] { f(mt); });
    b = rate(kN, [&] { f(mcg); });
  };

  printf("millions of variates per second, n = 10^6\n");
  printf("%-30s %9s %9s  peers (std: <random> on mt19937_64, gsl: gsl_rng_mt19937)\n", "entry", "qor MT", "qor MCG59");
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
      both([&](GuxStream *st) { _guxiRngPoisson(m, st, kN, iv.data(), lam); });
      row(std::string(m ? "Poisson normal " : "Poisson PTPE ") + std::to_string(lam).substr(0, 9), a, b,
          {numpy(key), std_p, gsl_p});
    }
  }
  std::vector<double> lam(kN);
  const double means[8] = {0.3, 0.999, 1.0, 2.5, 7.0, 50.0, 100.0, 400.0};
  for (int i = 0; i < kN; ++i) lam[i] = means[i % 8];
  both([&](GuxStream *st) { _guxiRngPoissonV(0, st, kN, iv.data(), lam.data()); });
  row("PoissonV 8 means 0.3..400", a, b,
      {numpy("poissonv"), {"std", rate(kN, [&] {
                             for (int i = 0; i < kN; ++i) iv[i] = std::poisson_distribution<int32_t>(lam[i])(eng);
                           })},
       {"gsl", rate(kN, [&] {
          for (int i = 0; i < kN; ++i) gv[i] = gsl_ran_poisson(gr, lam[i]);
        })}});
  for (auto [ntrial, k] : {std::pair{10, 4}, std::pair{100, 4}, std::pair{10000, 4}, std::pair{1000, 32}}) {
    std::vector<double> p(k, 1.0 / k);
    const int rows = kN / k;
    both([&](GuxStream *st) { _guxiRngMultinomial(0, st, rows, iv.data(), ntrial, k, p.data()); });
    char key[48], label[48];
    snprintf(key, sizeof key, "multinomial.%d.%d", ntrial, k);
    snprintf(label, sizeof label, "Multinomial ntrial %d k %d", ntrial, k);
    row(label, a, b,
        {numpy(key), {"gsl", rate(kN, [&] {
                        for (int r = 0; r < rows; ++r) gsl_ran_multinomial(gr, k, ntrial, p.data(), &gv[r * k]);
                      })}});
  }
  gsl_rng_free(gr);
  __guxDeleteStream(&mt);
  __guxDeleteStream(&mcg);
  return 0;
}
