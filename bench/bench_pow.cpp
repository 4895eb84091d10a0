// Power kernels against glibc libm, libmvec (SSE4) and SLEEF (SSE2, SSE4),
// each tier against the peers of its accuracy class: Pow and Powr with an
// array of exponents, Powx with one exponent (2.5) for the whole array. The
// exponents are drawn once per array length, the same for every contender.
// Arguments, if any, name the entries to run (e.g. `bench_pow dPow`);
// `--paired` prints ratios timed in alternation instead.
#include <dlfcn.h>
#include <sleef.h>

#include <map>
#include <memory>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

extern "C" {
__m128 _ZGVbN4vv_powf(__m128, __m128);
__m128d _ZGVbN2vv_pow(__m128d, __m128d);
}

using namespace qor::bench;

namespace {

constexpr double kBLo = -10.0, kBHi = 10.0, kPowxB = 2.5;

// The exponent array of length n, drawn once.
template <class T> const T *exponents(int n) {
  static std::map<int, std::vector<T>> cache;
  auto &v = cache[n];
  if ((int)v.size() != n) {
    v.resize(n);
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> u(kBLo, kBHi);
    for (T &y : v) y = (T)u(rng);
  }
  return v.data();
}

// A two-input function as a one-input contender over the exponent array.
template <class T> std::function<void(int, const T *, T *)> with_b(void (*f)(int, const T *, const T *, T *)) {
  return [f](int n, const T *a, T *r) { f(n, a, exponents<T>(n), r); };
}
template <class T> std::function<void(int, const T *, T *)> with_scalar_b(void (*f)(int, const T *, T, T *)) {
  return [f](int n, const T *a, T *r) { f(n, a, (T)kPowxB, r); };
}

// Peers over 4 floats or 2 doubles at a time, with the exponents from the array or broadcast.
template <class F> std::function<void(int, const float *, float *)> over_m128_2(F f, bool broadcast) {
  return [f, broadcast](int n, const float *a, float *r) {
    const float *b = exponents<float>(n);
    const __m128 bb = _mm_set1_ps((float)kPowxB);
    int i = 0;
    for (; i + 4 <= n; i += 4) _mm_storeu_ps(r + i, f(_mm_loadu_ps(a + i), broadcast ? bb : _mm_loadu_ps(b + i)));
    for (; i < n; ++i) r[i] = _mm_cvtss_f32(f(_mm_set1_ps(a[i]), broadcast ? bb : _mm_set1_ps(b[i])));
  };
}
template <class F> std::function<void(int, const double *, double *)> over_m128d_2(F f, bool broadcast) {
  return [f, broadcast](int n, const double *a, double *r) {
    const double *b = exponents<double>(n);
    const __m128d bb = _mm_set1_pd(kPowxB);
    int i = 0;
    for (; i + 2 <= n; i += 2) _mm_storeu_pd(r + i, f(_mm_loadu_pd(a + i), broadcast ? bb : _mm_loadu_pd(b + i)));
    for (; i < n; ++i) r[i] = _mm_cvtsd_f64(f(_mm_set1_pd(a[i]), broadcast ? bb : _mm_set1_pd(b[i])));
  };
}
template <class T> std::function<void(int, const T *, T *)> scalar_loop2(T (*f)(T, T), bool broadcast) {
  return [f, broadcast](int n, const T *a, T *r) {
    const T *b = exponents<T>(n);
    for (int i = 0; i < n; ++i) r[i] = f(a[i], broadcast ? (T)kPowxB : b[i]);
  };
}

template <class T> void *sym(const std::string &name) { return dlsym(RTLD_DEFAULT, name.c_str()); }

// Our three tiers by their exported names.
template <class T> std::vector<Contender<T>> ours(const char *entry, bool powx) {
  const bool wide = sizeof(T) == 8;
  const std::string base = std::string("_bex") + entry;
  const std::string names[3] = {base + (wide ? "_50" : "_21"), base, base + (wide ? "_26" : "_11")};
  const int classes[3] = {kLA, kHA, kEP};
  const char *tn[3] = {" LA", " HA", " EP"};
  std::vector<Contender<T>> out;
  for (int t = 0; t < 3; ++t) {
    void *f = sym<T>(names[t]);
    if (!f) return {};
    std::function<void(int, const T *, T *)> run;
    if (powx) run = with_scalar_b<T>((void (*)(int, const T *, T, T *))f);
    else run = with_b<T>((void (*)(int, const T *, const T *, T *))f);
    out.push_back({std::string("qor ") + entry + tn[t], classes[t], run});
  }
  return out;
}

template <class T> void run(const char *entry, bool powx, const std::vector<Contender<T>> &peers) {
  if (!wanted(entry)) return;
  auto o = ours<T>(entry, powx);
  if (o.empty()) return (void)printf("\n%s: not built\n", entry);
  table<T>(std::string(entry) + (powx ? " (b = 2.5)" : " (b on [-10, 10])"), 0.1, 10.0, o, peers);
}

template <bool B> std::vector<Contender<float>> float_peers() {
  return {{"glibc powf", kAll, scalar_loop2<float>(powf, B)},
          {"libmvec _ZGVbN4vv_powf", kLow, over_m128_2(_ZGVbN4vv_powf, B)},
          {"SLEEF powf4_u10sse2", kAll, over_m128_2(Sleef_powf4_u10sse2, B)},
          {"SLEEF powf4_u10sse4", kAll, over_m128_2(Sleef_powf4_u10sse4, B)}};
}
template <bool B> std::vector<Contender<double>> double_peers() {
  return {{"glibc pow", kAll, scalar_loop2<double>(pow, B)},
          {"libmvec _ZGVbN2vv_pow", kLow, over_m128d_2(_ZGVbN2vv_pow, B)},
          {"SLEEF powd2_u10sse2", kAll, over_m128d_2(Sleef_powd2_u10sse2, B)},
          {"SLEEF powd2_u10sse4", kAll, over_m128d_2(Sleef_powd2_u10sse4, B)}};
}

}  // namespace

int main(int argc, char **argv) {
  parse_args(argc, argv);
  volatile auto keep = &_bexsPow;  // a direct reference keeps the library linked for dlsym
  (void)keep;
  run<float>("sPow", false, float_peers<false>());
  run<double>("dPow", false, double_peers<false>());
  run<float>("sPowr", false, float_peers<false>());
  run<double>("dPowr", false, double_peers<false>());
  run<float>("sPowx", true, float_peers<true>());
  run<double>("dPowx", true, double_peers<true>());
  if (g_paired) return 0;
  // Cost figures: the kernels over x on [0.1, 10] with b on [-10, 10] (Powx: b = 2.5).
  const double scale = cost_scale(_bexsExp_21);
  printf("\nCost figures (sExp LA = 5.636):\n");
  for (const char *e : {"sPow", "sPowr", "sPowx"}) {
    auto o = ours<float>(e, e[4] == 'x');
    if (wanted(e) && !o.empty()) cost_line<float>(e, {o[0], o[1], o[2]}, 0.1, 10.0, scale);
  }
  for (const char *e : {"dPow", "dPowr", "dPowx"}) {
    auto o = ours<double>(e, e[4] == 'x');
    if (wanted(e) && !o.empty()) cost_line<double>(e, {o[0], o[1], o[2]}, 0.1, 10.0, scale);
  }
  return 0;
}
