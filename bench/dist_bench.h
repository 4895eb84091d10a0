// What the distribution benchmarks share: the best-of-five rate of a fill
// (by the wall clock or by the thread's CPU time), the figures of the numpy
// companion script, and the best numpy figure of a law over its generators.
#ifndef QOR_BENCH_DIST_BENCH_H
#define QOR_BENCH_DIST_BENCH_H

#include <stdio.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <string>

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

}  // namespace dist_bench

#endif
