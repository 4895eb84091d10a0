// Basic generators, numbers per second for the d form (uniform on [0,1)) and
// the i form at n = 10^4 and 10^6, beside std::minstd_rand with
// std::uniform_real_distribution and GSL's gsl_rng_uniform on comparable
// generators. The Mersenne Twister family runs beside std::mt19937, GSL's
// gsl_rng_mt19937 and numpy's Generator(MT19937) (from bench/random_numpy.py),
// with the time of one skip-ahead. The counter-based generators run beside
// Random123's Philox4x32-10 and ARS-5 block functions with the same conversion
// to doubles, and numpy's Generator(Philox). The quasi-random Sobol and
// Niederr run beside GSL's gsl_qrng_sobol and gsl_qrng_niederreiter_2 and
// scipy's qmc.Sobol(scramble=False) (from bench/random_numpy.py), counting
// coordinates as numbers. Plain chrono timing; each figure is the best of a
// few rounds.
#include <gsl/gsl_qrng.h>
#include <gsl/gsl_rng.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <random>
#include <tuple>
#include <vector>

#include "qor/qor_random_brng.h"

// Random123's ARS needs the AES instructions: only its code is compiled for them.
#define R123_USE_AES_NI 1
#include <Random123/philox.h>
#pragma GCC push_options
#pragma GCC target("aes")
#include <Random123/ars.h>
#pragma GCC pop_options

namespace {

// Numbers per second of fill(n), repeated to about 50 ms per round, best of 3
// (or of `rounds`).
double rate(int n, const std::function<void(int)> &fill, int rounds = 3) {
  using clock = std::chrono::steady_clock;
  const int reps = std::max(1, 5000000 / n);
  double best = 0;
  for (int round = 0; round < rounds; ++round) {
    auto t0 = clock::now();
    for (int r = 0; r < reps; ++r) fill(n);
    double s = std::chrono::duration<double>(clock::now() - t0).count();
    best = std::max(best, (double)n * reps / s);
  }
  return best;
}

double sink = 0;

struct Row {
  const char *name;
  double d4, d6, i4, i6;
};

void print(const Row &r) {
  printf("%-34s %10.1f %10.1f %10.1f %10.1f\n", r.name, r.d4 / 1e6, r.d6 / 1e6, r.i4 / 1e6, r.i6 / 1e6);
}

// numpy's Generator(MT19937).random(out=...) in numbers per second at 1e4 and
// 1e6, from the python script run from the source or the build directory.
bool numpy_mt19937(double *r4, double *r6) {
  for (const char *path : {"bench/random_numpy.py", "../bench/random_numpy.py"}) {
    FILE *f = fopen(path, "r");
    if (!f) continue;
    fclose(f);
    char cmd[256];
    snprintf(cmd, sizeof cmd, "/usr/bin/python3 %s --mt19937 2>/dev/null", path);
    FILE *p = popen(cmd, "r");
    if (!p) return false;
    bool ok = fscanf(p, "%lf %lf", r4, r6) == 2;
    pclose(p);
    return ok;
  }
  return false;
}

void twisters(std::vector<double> &d, std::vector<uint32_t> &w) {
  printf("\nMersenne Twister family, millions of numbers per second\n");
  printf("%-34s %10s %10s %10s %10s\n", "generator", "d n=1e4", "d n=1e6", "i n=1e4", "i n=1e6");
  struct Ours {
    const char *name;
    int id;
    Row r;
  } ours[] = {{"qor MT19937", GUX_BRNG_MT19937, {}},
              {"qor SFMT19937", GUX_BRNG_SFMT19937, {}},
              {"qor MT2203 (sub-generator 0)", GUX_BRNG_MT2203, {}}};
  for (Ours &o : ours) {
    GuxStream *s;
    uint32_t seed = 12345;
    if (__guxNewStreamEx(&s, o.id, 1, &seed) != 0) return;
    BrngProperties p;
    __guxGetBrngProperties(o.id, &p);
    auto fd = [&](int n) {
      p.dGenerate(s, n, d.data(), 0.0, 1.0);
      sink += d[n - 1];
    };
    auto fi = [&](int n) {
      p.iGenerate(s, n, w.data());
      sink += w[n - 1];
    };
    o.r = Row{o.name, rate(10000, fd), rate(1000000, fd), rate(10000, fi), rate(1000000, fi)};
    print(o.r);
    __guxDeleteStream(&s);
  }

  std::mt19937 mt(12345);
  std::uniform_real_distribution<double> unif(0.0, 1.0);
  auto std_d = [&](int n) {
    for (int k = 0; k < n; ++k) d[k] = unif(mt);
    sink += d[n - 1];
  };
  auto std_i = [&](int n) {
    for (int k = 0; k < n; ++k) w[k] = (uint32_t)mt();
    sink += w[n - 1];
  };
  Row peers[3] = {{"std::mt19937 + uniform_real", rate(10000, std_d), rate(1000000, std_d),
                   rate(10000, std_i), rate(1000000, std_i)}};
  print(peers[0]);
  gsl_rng *g = gsl_rng_alloc(gsl_rng_mt19937);
  gsl_rng_set(g, 12345);
  auto gd = [&](int n) {
    for (int k = 0; k < n; ++k) d[k] = gsl_rng_uniform(g);
    sink += d[n - 1];
  };
  auto gi = [&](int n) {
    for (int k = 0; k < n; ++k) w[k] = (uint32_t)gsl_rng_get(g);
    sink += w[n - 1];
  };
  peers[1] = Row{"GSL mt19937 (gsl_rng_uniform)", rate(10000, gd), rate(1000000, gd), rate(10000, gi),
                 rate(1000000, gi)};
  print(peers[1]);
  gsl_rng_free(g);
  int npeers = 2;
  if (numpy_mt19937(&peers[2].d4, &peers[2].d6)) {
    peers[2].name = "numpy Generator(MT19937).random";
    printf("%-34s %10.1f %10.1f %10s %10s\n", peers[2].name, peers[2].d4 / 1e6, peers[2].d6 / 1e6, "-", "-");
    npeers = 3;
  } else {
    printf("numpy figure not available (run bench/random_numpy.py)\n");
  }

  const double goals[3] = {1.5, 2.0, 1.5};
  printf("\nd form over each MT19937 peer (goal against the fastest: MT19937 1.5x, SFMT19937 2x, MT2203 1.5x)\n");
  for (int k = 0; k < 3; ++k) {
    double best4 = 0, best6 = 0;
    printf("  %-30s", ours[k].name);
    for (int q = 0; q < npeers; ++q) {
      printf("  %s %.2fx/%.2fx", q == 0 ? "std" : q == 1 ? "GSL" : "numpy", ours[k].r.d4 / peers[q].d4,
             ours[k].r.d6 / peers[q].d6);
      best4 = std::max(best4, peers[q].d4);
      best6 = std::max(best6, peers[q].d6);
    }
    printf("  | fastest %.2fx/%.2fx (goal %.1fx)\n", ours[k].r.d4 / best4, ours[k].r.d6 / best6, goals[k]);
  }

  printf("\none skip-ahead, microseconds (best of 5)\n");
  for (int id : {GUX_BRNG_MT19937, GUX_BRNG_SFMT19937}) {
    for (uint64_t skip : {1ull << 20, 1ull << 30}) {
      GuxStream *s;
      uint32_t seed = 7;
      if (__guxNewStreamEx(&s, id, 1, &seed) != 0) return;
      double best = 1e30;
      for (int round = 0; round < 5; ++round) {
        auto t0 = std::chrono::steady_clock::now();
        __guxSkipAheadStream(s, skip);
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
      }
      printf("  %-10s skip 2^%d: %10.1f\n", id == GUX_BRNG_MT19937 ? "MT19937" : "SFMT19937",
             skip == (1ull << 20) ? 20 : 30, best * 1e6);
      __guxDeleteStream(&s);
    }
  }
}

// One figure printed by bench/random_numpy.py with the given arguments:
// numpy's Generator(Philox).random(out=...) at n = 10^6 in numbers per second
// (--philox), or scipy's qmc.Sobol(d, scramble=False).random in coordinates
// per second at n = 10^6 coordinates (--sobol d).
bool python_figure(const char *args, double *figure) {
  for (const char *path : {"bench/random_numpy.py", "../bench/random_numpy.py"}) {
    FILE *f = fopen(path, "r");
    if (!f) continue;
    fclose(f);
    char cmd[256];
    snprintf(cmd, sizeof cmd, "/usr/bin/python3 %s %s 2>/dev/null", path, args);
    FILE *p = popen(cmd, "r");
    if (!p) return false;
    bool ok = fscanf(p, "%lf", figure) == 1;
    pclose(p);
    return ok;
  }
  return false;
}

// The peers' conversion, the one of our d form: the word as a signed number
// times 2^-32, plus 1/2.
inline void to_unit4(const uint32_t *v, double *r) {
  for (int q = 0; q < 4; ++q) r[q] = (double)(int32_t)v[q] * 0x1p-32 + 0.5;
}

void random123_philox(double *r, int n, uint32_t &ctr0) {
  philox4x32_key_t k = {{12345, 0}};
  philox4x32_ctr_t c = {{ctr0, 0, 0, 0}};
  for (int i = 0; i < n; i += 4, ++c.v[0]) to_unit4(philox4x32_R(10, c, k).v, r + i);
  ctr0 = c.v[0];
}

#pragma GCC push_options
#pragma GCC target("aes")
void random123_ars(double *r, int n, uint32_t &ctr0) {
  ars4x32_key_t k = ars4x32keyinit(ars4x32_ukey_t{{12345, 0, 0, 0}});
  ars4x32_ctr_t c = {{ctr0, 0, 0, 0}};
  for (int i = 0; i < n; i += 4, ++c.v[0]) to_unit4(ars4x32_R(5, c, k).v, r + i);
  ctr0 = c.v[0];
}
#pragma GCC pop_options

bool cpu_has(int bit) {
  unsigned a, b, c, d;
  __asm__("cpuid" : "=a"(a), "=b"(b), "=c"(c), "=d"(d) : "a"(1), "c"(0));
  return (c >> bit) & 1;
}

void counter_based(std::vector<double> &d, std::vector<uint32_t> &w) {
  printf("\nCounter-based generators, millions of numbers per second (best of 9 rounds), d form on [0,1)\n");
  printf("CPUID: AES-NI %s, RDRAND %s (__guxCPUisAES %d, __guxCPUisRDRAND %d)\n", cpu_has(25) ? "yes" : "no",
         cpu_has(30) ? "yes" : "no", __guxCPUisAES(), __guxCPUisRDRAND());
  printf("%-40s %10s %10s %10s\n", "generator", "d n=1e4", "d n=1e6", "i n=1e6");
  double ours[2] = {0, 0};
  const int ids[2] = {GUX_BRNG_PHILOX4X32X10, GUX_BRNG_ARS5};
  const char *names[2] = {"qor PHILOX4X32X10", "qor ARS5"};
  for (int g = 0; g < 2; ++g) {
    GuxStream *s;
    uint32_t seed = 12345;
    if (__guxNewStreamEx(&s, ids[g], 1, &seed) != 0) return;
    BrngProperties p;
    __guxGetBrngProperties(ids[g], &p);
    auto fd = [&](int n) {
      p.dGenerate(s, n, d.data(), 0.0, 1.0);
      sink += d[n - 1];
    };
    auto fi = [&](int n) {
      p.iGenerate(s, n, w.data());
      sink += w[n - 1];
    };
    const double d4 = rate(10000, fd, 9), d6 = rate(1000000, fd, 9), i6 = rate(1000000, fi, 9);
    printf("%-40s %10.1f %10.1f %10.1f\n", names[g], d4 / 1e6, d6 / 1e6, i6 / 1e6);
    ours[g] = d6;
    __guxDeleteStream(&s);
  }
  uint32_t c0 = 0;
  auto philox = [&](int n) {
    random123_philox(d.data(), n, c0);
    sink += d[n - 1];
  };
  auto ars = [&](int n) {
    random123_ars(d.data(), n, c0);
    sink += d[n - 1];
  };
  const double r123p[2] = {rate(10000, philox, 9), rate(1000000, philox, 9)};
  printf("%-40s %10.1f %10.1f %10s\n", "Random123 philox4x32_R(10) + same map", r123p[0] / 1e6, r123p[1] / 1e6, "-");
  const double r123a[2] = {rate(10000, ars, 9), rate(1000000, ars, 9)};
  printf("%-40s %10.1f %10.1f %10s\n", "Random123 ars4x32_R(5) + same map", r123a[0] / 1e6, r123a[1] / 1e6, "-");
  double np = 0;
  const bool have_np = python_figure("--philox", &np);
  if (have_np)
    printf("%-40s %10s %10.1f %10s\n", "numpy Generator(Philox).random", "-", np / 1e6, "-");
  else
    printf("numpy figure not available (run bench/random_numpy.py)\n");
  // Each generator against the peers of its own kind: Philox against
  // Random123's and numpy's, ARS5 against Random123's ARS-5.
  const double fastest[2] = {std::max(r123p[1], have_np ? np : 0.0), r123a[1]};
  printf("\nd form at n=1e6 over each peer (goal: at least 1x the fastest of its kind)\n");
  for (int g = 0; g < 2; ++g) {
    printf("  %-20s over Random123 Philox %.2fx, ARS-5 %.2fx", names[g], ours[g] / r123p[1], ours[g] / r123a[1]);
    if (have_np) printf(", numpy Philox %.2fx", ours[g] / np);
    printf("  | fastest %s %.2fx\n", g ? "ARS-5" : "Philox", ours[g] / fastest[g]);
  }

  printf("\none skip-ahead, nanoseconds (best of 5 rounds of 10^4)\n");
  for (int g = 0; g < 2; ++g) {
    GuxStream *s;
    uint32_t seed = 7;
    if (__guxNewStreamEx(&s, ids[g], 1, &seed) != 0) return;
    const uint64_t far[3] = {~0ull, ~0ull, ~0ull};
    for (int kind = 0; kind < 2; ++kind) {
      double best = 1e30;
      for (int round = 0; round < 5; ++round) {
        auto t0 = std::chrono::steady_clock::now();
        for (int r = 0; r < 10000; ++r) kind ? __guxSkipAheadStreamEx(s, 3, far) : __guxSkipAheadStream(s, 1000003);
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count() / 1e4);
      }
      printf("  %-20s %-32s %8.1f\n", names[g], kind ? "skip-ahead ex 2^192 - 1" : "skip-ahead 10^6 + 3", best * 1e9);
    }
    __guxDeleteStream(&s);
  }

  // TRNG: one pass of each form (rdrand is slow, no repeats).
  GuxStream *t;
  if (__guxNewStreamEx(&t, GUX_BRNG_TRNG, 0, nullptr) != 0) return;
  BrngProperties p;
  __guxGetBrngProperties(GUX_BRNG_TRNG, &p);
  const int n = 200000;
  std::vector<float> f(n);
  for (int form = 0; form < 3; ++form) {
    auto t0 = std::chrono::steady_clock::now();
    int st = form == 0 ? p.dGenerate(t, n, d.data(), 0.0, 1.0)
             : form == 1 ? p.sGenerate(t, n, f.data(), 0.0f, 1.0f)
                         : p.iGenerate(t, n, w.data());
    double sec = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    printf("  qor TRNG %c form n=2e5: %8.2f million per second (status %d)\n", "dsi"[form], n / sec / 1e6, st);
  }
  __guxDeleteStream(&t);
}

void quasi(std::vector<double> &d) {
  printf("\nQuasi-random generators, millions of coordinates per second, d form on [0,1), n = 1e6\n");
  struct Config {
    const char *name;
    int id, dim;
    const gsl_qrng_type *gsl;
  } configs[] = {{"Sobol", GUX_BRNG_SOBOL, 1, gsl_qrng_sobol},
                 {"Sobol", GUX_BRNG_SOBOL, 40, gsl_qrng_sobol},
                 {"Niederr", GUX_BRNG_NIEDERR, 12, gsl_qrng_niederreiter_2}};
  const int n = 1000000;
  for (const Config &c : configs) {
    uint32_t seed = (uint32_t)c.dim;
    GuxStream *s;
    if (__guxNewStreamEx(&s, c.id, 1, &seed) != 0) return;
    BrngProperties p;
    __guxGetBrngProperties(c.id, &p);
    double ours = rate(n, [&](int m) {
      if (p.dGenerate(s, m, d.data(), 0.0, 1.0) < 0) {  // past the period: start again
        __guxDeleteStream(&s);
        __guxNewStreamEx(&s, c.id, 1, &seed);
      }
      sink += d[m - 1];
    });
    __guxDeleteStream(&s);
    gsl_qrng *g = gsl_qrng_alloc(c.gsl, c.dim);
    double gsl = rate(n, [&](int m) {
      const int points = m / c.dim;
      for (int k = 0; k < points; ++k) gsl_qrng_get(g, d.data() + (size_t)k * c.dim);
      sink += d[0];
    }) * (double)(n / c.dim * c.dim) / n;
    gsl_qrng_free(g);
    double scipy = 0;
    char sobol_args[32];
    snprintf(sobol_args, sizeof sobol_args, "--sobol %d", c.dim);
    const bool have_scipy = c.id == GUX_BRNG_SOBOL && python_figure(sobol_args, &scipy);
    printf("  %-8s dimension %-3d  qor %8.1f   GSL %s %8.1f", c.name, c.dim, ours / 1e6, c.gsl->name, gsl / 1e6);
    if (have_scipy) printf("   scipy qmc.Sobol %8.1f", scipy / 1e6);
    printf("\n      over GSL %.2fx", ours / gsl);
    if (have_scipy) printf(", over scipy %.2fx", ours / scipy);
    printf(", over the fastest %.2fx (goal 1x)\n", ours / std::max(gsl, scipy));
  }

  printf("\nquasi-random skip-ahead by words, microseconds per jump (best of 5 rounds)\n");
  for (auto [name, id, dim] : {std::tuple{"Sobol", GUX_BRNG_SOBOL, 40}, std::tuple{"Niederr", GUX_BRNG_NIEDERR, 318}}) {
    for (uint64_t skip : {1ull << 20, 1ull << 31, (1ull << 32) - 3}) {
      uint32_t seed = (uint32_t)dim;
      GuxStream *s;
      if (__guxNewStreamEx(&s, id, 1, &seed) != 0) return;
      double best = 1e30;
      for (int round = 0; round < 5; ++round) {
        auto t0 = std::chrono::steady_clock::now();
        __guxSkipAheadStream(s, skip);
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
        __guxDeleteStream(&s);
        __guxNewStreamEx(&s, id, 1, &seed);
      }
      printf("  %-8s dimension %-3d skip %12llu: %8.2f\n", name, dim, (unsigned long long)skip, best * 1e6);
      __guxDeleteStream(&s);
    }
  }
}

}  // namespace

int main(int argc, char **argv) {
  std::vector<double> d(1000000);
  std::vector<uint32_t> w(4 * 1000000);
  if (argc > 1 && !strcmp(argv[1], "--counter-based")) {  // that section alone
    counter_based(d, w);
    return sink == 42;
  }
  printf("millions of numbers per second (d: uniform doubles on [0,1), i: raw words)\n");
  printf("%-34s %10s %10s %10s %10s\n", "generator", "d n=1e4", "d n=1e6", "i n=1e4", "i n=1e6");

  struct Ours {
    const char *name;
    int id;
  } ours[] = {{"qor MCG31M1", GUX_BRNG_MCG31M1},
              {"qor MCG59", GUX_BRNG_MCG59},
              {"qor R250", GUX_BRNG_R250},
              {"qor WH", GUX_BRNG_WH},
              {"qor MRG32K3A", GUX_BRNG_MRG32K3A}};
  double mcg31d[2] = {0, 0}, mcg59d[2] = {0, 0}, mrgd[2] = {0, 0};
  for (const Ours &o : ours) {
    GuxStream *s;
    uint32_t seed = 12345;
    if (__guxNewStreamEx(&s, o.id, 1, &seed) != 0) return 1;
    BrngProperties p;
    __guxGetBrngProperties(o.id, &p);
    auto fd = [&](int n) {
      p.dGenerate(s, n, d.data(), 0.0, 1.0);
      sink += d[n - 1];
    };
    auto fi = [&](int n) {
      p.iGenerate(s, n, w.data());
      sink += w[n - 1];
    };
    Row r{o.name, rate(10000, fd), rate(1000000, fd), rate(10000, fi), rate(1000000, fi)};
    print(r);
    if (o.id == GUX_BRNG_MCG31M1) mcg31d[0] = r.d4, mcg31d[1] = r.d6;
    if (o.id == GUX_BRNG_MCG59) mcg59d[0] = r.d4, mcg59d[1] = r.d6;
    if (o.id == GUX_BRNG_MRG32K3A) mrgd[0] = r.d4, mrgd[1] = r.d6;
    __guxDeleteStream(&s);
  }

  std::minstd_rand minstd(12345);
  std::uniform_real_distribution<double> unif(0.0, 1.0);
  auto std_d = [&](int n) {
    for (int k = 0; k < n; ++k) d[k] = unif(minstd);
    sink += d[n - 1];
  };
  auto std_i = [&](int n) {
    for (int k = 0; k < n; ++k) w[k] = (uint32_t)minstd();
    sink += w[n - 1];
  };
  Row stdrow{"std::minstd_rand + uniform_real", rate(10000, std_d), rate(1000000, std_d),
             rate(10000, std_i), rate(1000000, std_i)};
  print(stdrow);

  std::mt19937 mt(12345);
  auto mt_d = [&](int n) {
    for (int k = 0; k < n; ++k) d[k] = unif(mt);
    sink += d[n - 1];
  };
  auto mt_i = [&](int n) {
    for (int k = 0; k < n; ++k) w[k] = (uint32_t)mt();
    sink += w[n - 1];
  };
  Row mtrow{"std::mt19937 + uniform_real", rate(10000, mt_d), rate(1000000, mt_d), rate(10000, mt_i),
            rate(1000000, mt_i)};
  print(mtrow);

  double gslmrgd[2] = {0, 0};
  for (auto [name, type] : {std::pair{"GSL minstd (gsl_rng_uniform)", gsl_rng_minstd},
                            std::pair{"GSL r250 (gsl_rng_uniform)", gsl_rng_r250},
                            std::pair{"GSL mrg (gsl_rng_uniform)", gsl_rng_mrg}}) {
    gsl_rng *g = gsl_rng_alloc(type);
    gsl_rng_set(g, 12345);
    auto gd = [&](int n) {
      for (int k = 0; k < n; ++k) d[k] = gsl_rng_uniform(g);
      sink += d[n - 1];
    };
    auto gi = [&](int n) {
      for (int k = 0; k < n; ++k) w[k] = (uint32_t)gsl_rng_get(g);
      sink += w[n - 1];
    };
    Row r{name, rate(10000, gd), rate(1000000, gd), rate(10000, gi), rate(1000000, gi)};
    print(r);
    if (type == gsl_rng_mrg) gslmrgd[0] = r.d4, gslmrgd[1] = r.d6;
    gsl_rng_free(g);
  }

  printf("\nd form over std::uniform_real_distribution<double>(minstd_rand) (goal: at least 4x)\n");
  printf("  MCG31M1: %.1fx at n=1e4, %.1fx at n=1e6\n", mcg31d[0] / stdrow.d4, mcg31d[1] / stdrow.d6);
  printf("  MCG59:   %.1fx at n=1e4, %.1fx at n=1e6\n", mcg59d[0] / stdrow.d4, mcg59d[1] / stdrow.d6);
  printf("\nMRG32K3A d form (goal: at least 1x GSL mrg)\n");
  printf("  over GSL mrg:                  %.2fx at n=1e4, %.2fx at n=1e6\n", mrgd[0] / gslmrgd[0],
         mrgd[1] / gslmrgd[1]);
  printf("  over std::mt19937 + uniform:   %.2fx at n=1e4, %.2fx at n=1e6\n", mrgd[0] / mtrow.d4,
         mrgd[1] / mtrow.d6);

  // Skip-ahead of MRG32K3A: microseconds per jump by count and path.
  printf("\nMRG32K3A skip-ahead, microseconds per jump\n");
  GuxStream *ms;
  const uint32_t mseed[6] = {1, 2, 3, 4, 5, 6};
  if (__guxNewStreamEx(&ms, GUX_BRNG_MRG32K3A, 6, mseed) != 0) return 1;
  struct Jump {
    const char *name;
    int words;
    uint64_t e[6];
  } jumps[] = {{"2^10 (one word)", 0, {1ull << 10}},
               {"2^63 - 1 (one word)", 0, {~0ull >> 1}},
               {"2^63 - 1, tables (ex, 1 word)", 1, {~0ull >> 1}},
               {"2^191 - 1, tables (ex, 3 words)", 3, {~0ull, ~0ull, ~0ull >> 1}},
               {"2^191 - 1, general (ex, 5 words)", 5, {~0ull, ~0ull, ~0ull >> 1, 0, 1}}};
  for (const Jump &j : jumps) {
    using clock = std::chrono::steady_clock;
    const int reps = 20000;
    double best = 1e9;
    for (int round = 0; round < 3; ++round) {
      auto t0 = clock::now();
      for (int r = 0; r < reps; ++r)
        j.words ? __guxSkipAheadStreamEx(ms, j.words, j.e) : __guxSkipAheadStream(ms, j.e[0]);
      best = std::min(best, std::chrono::duration<double>(clock::now() - t0).count() / reps);
    }
    printf("  %-36s %8.3f\n", j.name, best * 1e6);
  }
  __guxDeleteStream(&ms);
  twisters(d, w);
  counter_based(d, w);
  quasi(d);
  if (sink == 42) printf("%f\n", sink);
  return 0;
}
