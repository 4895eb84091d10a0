// What the distribution benchmarks share: the best-of-five rate of a fill
// (by the wall clock or by the thread's CPU time), the figures of the numpy
// companion script, the best numpy figure of a law over its generators, the
// MT19937 and MCG59 streams our rows run on, and the printed row.
#ifndef QOR_BENCH_DIST_BENCH_H
#define QOR_BENCH_DIST_BENCH_H

#include <stdio.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "qor/qor_random_brng.h"

namespace dist_bench {

// Variates per second of fill(), which makes `count` variates: the best of
// five rounds by the steady clock.
inline double wall_rate(int count, const std::function<void()> &fill) {
  using clock = std::chrono::steady_clock;
  double best = 0;
  for (int round = 0; round < 5; ++round) {
    auto t0 = clock::now();
    fill();
    best = std::max(best, count / std::chrono::duration<double>(clock::now() - t0).count());
  }
  return best;
}

// The same by the CPU time of this thread: on a shared machine the wall clock
// counts the time the thread waited for a core.
inline double cpu_seconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return t.tv_sec + 1e-9 * t.tv_nsec;
}
inline double cpu_rate(int count, const std::function<void()> &fill) {
  double best = 0;
  for (int round = 0; round < 5; ++round) {
    const double t0 = cpu_seconds();
    fill();
    best = std::max(best, count / (cpu_seconds() - t0));
  }
  return best;
}

// "generator.key value" lines of bench/<script> --table, run from the source
// or the build directory; empty when the script or python3 is missing.
inline std::map<std::string, double> numpy_figures(const char *script) {
  std::map<std::string, double> f;
  for (const std::string dir : {"bench/", "../bench/"}) {
    const std::string path = dir + script;
    FILE *probe = fopen(path.c_str(), "r");
    if (!probe) continue;
    fclose(probe);
    FILE *p = popen(("/usr/bin/python3 " + path + " --table 2>/dev/null").c_str(), "r");
    if (!p) break;
    char key[128];
    double v;
    while (fscanf(p, "%127s %lf", key, &v) == 2) f[key] = v;
    pclose(p);
    break;
  }
  return f;
}

// The better of numpy's PCG64 and MT19937 figures for `key` (0 if neither).
inline double numpy_best(const std::map<std::string, double> &np, const std::string &key) {
  double best = 0;
  for (const char *g : {"PCG64.", "MT19937."}) {
    auto it = np.find(g + key);
    if (it != np.end()) best = std::max(best, it->second);
  }
  return best;
}

// A peer of a row: its name and rate (0: no figure, not shown).
struct Peer {
  std::string name;
  double rate;
};

inline Peer numpy_peer(const std::map<std::string, double> &np, const std::string &key) {
  return {"numpy", numpy_best(np, key)};
}

// The streams of our columns: MT19937 and MCG59 from the same seed.
struct Streams {
  GuxStream *mt, *mcg;
  Streams() {
    uint32_t seed = 12345;
    __guxNewStreamEx(&mt, GUX_BRNG_MT19937, 1, &seed);
    __guxNewStreamEx(&mcg, GUX_BRNG_MCG59, 1, &seed);
  }
  ~Streams() {
    __guxDeleteStream(&mt);
    __guxDeleteStream(&mcg);
  }
};

// The table of rows in millions per second: the entry in a field of `width`,
// our two rates in fields of `col`, the peers with a figure, then our better
// rate over the fastest peer and its name.
struct Table {
  int width = 30, col = 9;
  void heading() const {
    printf("millions of variates per second, n = 10^6\n");
    printf("%-*s %*s %*s  peers (std: <random> on mt19937_64, gsl: gsl_rng_mt19937)\n", width, "entry", col,
           "qor MT", col, "qor MCG59");
  }
  void row(const std::string &entry, double ours_mt, double ours_mcg59, const std::vector<Peer> &peers) const {
    const Peer *best = nullptr;
    for (const Peer &p : peers)
      if (p.rate > 0 && (!best || p.rate > best->rate)) best = &p;
    printf("%-*s %*.1f %*.1f", width, entry.c_str(), col, ours_mt / 1e6, col, ours_mcg59 / 1e6);
    for (const Peer &p : peers)
      if (p.rate > 0) printf("  %s %.1f", p.name.c_str(), p.rate / 1e6);
    if (best) printf("  | x%.2f vs %s", std::max(ours_mt, ours_mcg59) / best->rate, best->name.c_str());
    printf("\n");
  }
};

}  // namespace dist_bench

#endif
