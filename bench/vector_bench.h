// The vector benchmark harness: runs our kernels and their peers side by side
// in one process over the same inputs and prints ns per element and ratios.
// A tier is compared with the peers of its accuracy class.
#ifndef QOR_BENCH_VECTOR_BENCH_H
#define QOR_BENCH_VECTOR_BENCH_H

#include <dlfcn.h>
#include <math.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <xmmintrin.h>
#include <emmintrin.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace qor::bench {

enum Class { kHA = 1, kLA = 2, kEP = 4 };  // a peer serves the classes whose bound it meets

template <class T> struct Contender {
  std::string name;
  int classes;  // for peers: the tiers it is a fair comparison for; for ours: its tier
  std::function<void(int, const T *, T *)> run;
};

inline double now_ns() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec * 1e9 + ts.tv_nsec;
}

// Best of 7 runs of enough repetitions to take about 2 ms each.
template <class T> double ns_per_element(const Contender<T> &c, const std::vector<T> &a, std::vector<T> &r) {
  const int n = (int)a.size();
  int reps = 1;
  for (;;) {
    double t0 = now_ns();
    for (int k = 0; k < reps; ++k) c.run(n, a.data(), r.data());
    if (now_ns() - t0 > 2e6 || reps > (1 << 20)) break;
    reps *= 2;
  }
  double best = 1e300;
  for (int trial = 0; trial < 7; ++trial) {
    double t0 = now_ns();
    for (int k = 0; k < reps; ++k) c.run(n, a.data(), r.data());
    best = std::min(best, (now_ns() - t0) / reps / n);
  }
  return best;
}

// A peer over 4 floats or 2 doubles at a time, as vector math libraries give them.
template <class F> std::function<void(int, const float *, float *)> over_m128(F f) {
  return [f](int n, const float *a, float *r) {
    int i = 0;
    for (; i + 4 <= n; i += 4) _mm_storeu_ps(r + i, f(_mm_loadu_ps(a + i)));
    for (; i < n; ++i) r[i] = _mm_cvtss_f32(f(_mm_set1_ps(a[i])));
  };
}
template <class F> std::function<void(int, const double *, double *)> over_m128d(F f) {
  return [f](int n, const double *a, double *r) {
    int i = 0;
    for (; i + 2 <= n; i += 2) _mm_storeu_pd(r + i, f(_mm_loadu_pd(a + i)));
    for (; i < n; ++i) r[i] = _mm_cvtsd_f64(f(_mm_set1_pd(a[i])));
  };
}
template <class T> std::function<void(int, const T *, T *)> scalar_loop(T (*f)(T)) {
  return [f](int n, const T *a, T *r) {
    for (int i = 0; i < n; ++i) r[i] = f(a[i]);
  };
}

// The tiers a peer is a fair comparison for, as " LA HA EP" (a subset).
inline std::string class_names(int classes) {
  std::string s;
  if (classes & kLA) s += " LA";
  if (classes & kHA) s += " HA";
  if (classes & kEP) s += " EP";
  return s;
}

// Prints one table for a function: every contender at n = 1000 and 100000
// (each peer with the tiers it serves), then, for each of our tiers, the
// ratio ours/peer against each peer of its class.
template <class T>
void compare(const std::string &title, double lo, double hi, const std::vector<Contender<T>> &ours,
             const std::vector<Contender<T>> &peers) {
  const int sizes[2] = {1000, 100000};
  std::vector<std::vector<double>> t_ours(ours.size()), t_peers(peers.size());
  for (int s = 0; s < 2; ++s) {
    std::vector<T> a(sizes[s]), r(sizes[s]);
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(lo, hi);
    for (T &x : a) x = (T)u(rng);
    for (size_t i = 0; i < ours.size(); ++i) t_ours[i].push_back(ns_per_element(ours[i], a, r));
    for (size_t i = 0; i < peers.size(); ++i) t_peers[i].push_back(ns_per_element(peers[i], a, r));
  }
  printf("\n%s on [%g, %g]: ns per element\n", title.c_str(), lo, hi);
  printf("  %-26s %10s %10s\n", "", "n=1000", "n=100000");
  for (size_t i = 0; i < ours.size(); ++i)
    printf("  %-26s %10.3f %10.3f\n", ours[i].name.c_str(), t_ours[i][0], t_ours[i][1]);
  for (size_t i = 0; i < peers.size(); ++i)
    printf("  %-26s %10.3f %10.3f   serves%s\n", peers[i].name.c_str(), t_peers[i][0], t_peers[i][1],
           class_names(peers[i].classes).c_str());
  printf("  ratio ours/peer (below 1: we are faster), n=1000 | n=100000\n");
  for (size_t i = 0; i < ours.size(); ++i) {
    for (size_t j = 0; j < peers.size(); ++j) {
      if (!(peers[j].classes & ours[i].classes)) continue;
      double r0 = t_ours[i][0] / t_peers[j][0], r1 = t_ours[i][1] / t_peers[j][1];
      printf("  %-12s / %-26s %6.2f | %6.2f%s\n", ours[i].name.c_str(), peers[j].name.c_str(), r0, r1,
             (r0 > 1 || r1 > 1) ? "  <- slower" : "");
    }
  }
}

constexpr int kAll = kHA | kLA | kEP, kLow = kLA | kEP;

// One of our entries: its three tier kernels (the same pointer where tiers
// share a kernel), and the interval its benchmark draws inputs from.
template <class T> struct Ours {
  const char *entry;
  double lo, hi;
  void (*la)(int, const T *, T *);
  void (*ha)(int, const T *, T *);
  void (*ep)(int, const T *, T *);
};

template <class T> std::vector<Contender<T>> tiers(const Ours<T> &o) {
  const std::string e = std::string("qor ") + o.entry;
  if (o.la == o.ha) return {{e + " (all)", kAll, o.ha}};
  return {{e + " LA", kLA, o.la}, {e + " HA", kHA, o.ha}, {e + " EP", kEP, o.ep}};
}

// One of our entries by its exported names (LA, HA, EP), looked up at run
// time, so that an entry not built yet is skipped rather than unlinked.
template <class T> Ours<T> ours_by_name(const char *entry, double lo, double hi) {
  using K = void (*)(int, const T *, T *);
  const bool wide = sizeof(T) == 8;
  const std::string base = std::string("_bex") + entry;
  auto get = [&](const std::string &name) { return (K)dlsym(RTLD_DEFAULT, name.c_str()); };
  return {entry, lo, hi, get(base + (wide ? "_50" : "_21")), get(base), get(base + (wide ? "_26" : "_11"))};
}

// The cost line of one entry: each tier's ns per element at n = 1000, scaled.
template <class T>
void cost_line(const char *entry, const Contender<T> (&tier)[3], double lo, double hi, double scale) {
  std::vector<T> a(1000), r(1000);
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(lo, hi);
  for (T &x : a) x = (T)u(rng);
  double c[3];
  for (int s = 0; s < 3; ++s) c[s] = ns_per_element(tier[s], a, r) * scale;
  printf("  %-8s LA %8.3f  HA %8.3f  EP %8.3f   (ns: %.3f %.3f %.3f)\n", entry, c[0], c[1], c[2], c[0] / scale,
         c[1] / scale, c[2] / scale);
}
template <class T> void cost_line(const Ours<T> &o, double scale) {
  const Contender<T> tier[3] = {{"", 0, o.la}, {"", 0, o.ha}, {"", 0, o.ep}};
  cost_line(o.entry, tier, o.lo, o.hi, scale);
}

// The functions named on the command line, or all of them; `--paired` asks
// for the paired comparison below instead of the table of best times.
inline int g_argc;
inline char **g_argv;
inline bool g_paired = false;
inline void parse_args(int argc, char **argv) {
  g_argc = argc, g_argv = argv;
  for (int i = 1; i < argc; ++i) g_paired |= strcmp(argv[i], "--paired") == 0;
}
inline bool wanted(const char *entry) {
  bool any = false;
  for (int i = 1; i < g_argc; ++i) {
    if (g_argv[i][0] == '-') continue;
    any = true;
    if (strcmp(g_argv[i], entry) == 0) return true;
  }
  return !any;
}

// Paired timing for a shared, busy machine: each ratio ours/peer is taken
// from two runs of about a millisecond made back to back (in alternating
// order), so both sides see the same load; over 31 such pairs the median and
// the quartiles are printed.
template <class T>
void compare_paired(const std::string &title, double lo, double hi, const std::vector<Contender<T>> &ours,
                    const std::vector<Contender<T>> &peers) {
  constexpr int kRounds = 31;
  printf("\n%s on [%g, %g]: ratio ours/peer timed in pairs, median [quartiles] of %d\n", title.c_str(), lo, hi,
         kRounds);
  for (int n : {1000, 100000}) {
    std::vector<T> a(n), r(n);
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(lo, hi);
    for (T &x : a) x = (T)u(rng);
    const int reps = n >= 200000 ? 1 : 200000 / n;
    auto time = [&](const Contender<T> &c) {
      const double t0 = now_ns();
      for (int k = 0; k < reps; ++k) c.run(n, a.data(), r.data());
      return now_ns() - t0;
    };
    printf("  n = %d\n", n);
    for (const Contender<T> &o : ours)
      for (const Contender<T> &p : peers) {
        if (!(p.classes & o.classes)) continue;
        std::vector<double> q(kRounds);
        for (int round = 0; round < kRounds; ++round) {
          double to, tp;
          if (round & 1) tp = time(p), to = time(o);
          else to = time(o), tp = time(p);
          q[round] = to / tp;
        }
        std::sort(q.begin(), q.end());
        printf("  %-12s / %-26s %6.2f [%.2f .. %.2f]%s\n", o.name.c_str(), p.name.c_str(), q[kRounds / 2],
               q[kRounds / 4], q[3 * kRounds / 4], q[kRounds / 2] > 1 ? "  <- slower" : "");
      }
  }
}

template <class T>
void table(const std::string &title, double lo, double hi, const std::vector<Contender<T>> &ours,
           const std::vector<Contender<T>> &peers) {
  if (g_paired) compare_paired<T>(title, lo, hi, ours, peers);
  else compare<T>(title, lo, hi, ours, peers);
}

// The table of one entry against its peers, if the entry is wanted and built.
template <class T> void run_entry(const Ours<T> &o, const std::vector<Contender<T>> &peers) {
  if (!wanted(o.entry)) return;
  if (!o.la) return (void)printf("\n%s: not built\n", o.entry);
  table<T>(o.entry, o.lo, o.hi, tiers(o), peers);
}

// The cost figures of the entries wanted, on the scale on which sExp LA
// (passed in) costs 5.636: each tier's ns per element at n = 1000, scaled.
// The scale of the cost figures: sExp LA (passed in) costs 5.636.
inline double cost_scale(void (*sexp_la)(int, const float *, float *)) {
  std::vector<float> a(1000), r(1000);
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-87.0, 88.0);
  for (float &x : a) x = (float)u(rng);
  return 5.636 / ns_per_element(Contender<float>{"", 0, sexp_la}, a, r);
}

// The cost figures of the entries wanted: each tier's ns per element at
// n = 1000, scaled.
template <size_t NF, size_t ND>
void print_costs(const Ours<float> (&fs)[NF], const Ours<double> (&ds)[ND], void (*sexp_la)(int, const float *, float *)) {
  const double scale = cost_scale(sexp_la);
  printf("\nCost figures (sExp LA = 5.636):\n");
  for (const auto &o : fs)
    if (wanted(o.entry) && o.la) cost_line(o, scale);
  for (const auto &o : ds)
    if (wanted(o.entry) && o.la) cost_line(o, scale);
}

}  // namespace qor::bench

#endif
