// Root kernels against glibc libm, libmvec (SSE4), SLEEF (SSE2, SSE4, u05,
// u10, u35) and plain SSE2 division and square-root loops; where no library
// has the function (InvSqrt, InvCbrt, Pow2o3, Pow3o2) against the composite a
// user would write. Each tier is compared with the peers of its accuracy
// class; then the cost figures, ns per element at n = 1000 on the scale on
// which sExp LA costs 5.636. Arguments, if any, name the functions to run
// (e.g. `bench_root sSqrt dHypot`); `--paired` prints ratios timed in
// alternation for the one-input functions instead.
#include <sleef.h>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

extern "C" {
__m128 _ZGVbN4v_cbrtf(__m128);
__m128d _ZGVbN2v_cbrt(__m128d);
__m128 _ZGVbN4vv_hypotf(__m128, __m128);
__m128d _ZGVbN2vv_hypot(__m128d, __m128d);
__m128 _ZGVbN4vv_powf(__m128, __m128);
__m128d _ZGVbN2vv_pow(__m128d, __m128d);
}

using namespace qor::bench;

namespace {

// One-input composites over 4 floats or 2 doubles.
template <class F> __m128 inv4(F f, __m128 x) { return _mm_div_ps(_mm_set1_ps(1.0f), f(x)); }
template <class F> __m128d inv2(F f, __m128d x) { return _mm_div_pd(_mm_set1_pd(1.0), f(x)); }
template <class F> __m128 sq4(F f, __m128 x) {
  __m128 c = f(x);
  return _mm_mul_ps(c, c);
}
template <class F> __m128d sq2(F f, __m128d x) {
  __m128d c = f(x);
  return _mm_mul_pd(c, c);
}
__m128 sse_sqrt4(__m128 x) { return _mm_sqrt_ps(x); }
__m128d sse_sqrt2(__m128d x) { return _mm_sqrt_pd(x); }
__m128 sse_inv4(__m128 x) { return _mm_div_ps(_mm_set1_ps(1.0f), x); }
__m128d sse_inv2(__m128d x) { return _mm_div_pd(_mm_set1_pd(1.0), x); }

// Two inputs: the same tables, with a second array.
template <class T> struct Contender2 {
  std::string name;
  int classes;
  std::function<void(int, const T *, const T *, T *)> run;
};
template <class F> std::function<void(int, const float *, const float *, float *)> over_m128_2(F f) {
  return [f](int n, const float *a, const float *b, float *r) {
    int i = 0;
    for (; i + 4 <= n; i += 4) _mm_storeu_ps(r + i, f(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i)));
    for (; i < n; ++i) r[i] = _mm_cvtss_f32(f(_mm_set1_ps(a[i]), _mm_set1_ps(b[i])));
  };
}
template <class F> std::function<void(int, const double *, const double *, double *)> over_m128d_2(F f) {
  return [f](int n, const double *a, const double *b, double *r) {
    int i = 0;
    for (; i + 2 <= n; i += 2) _mm_storeu_pd(r + i, f(_mm_loadu_pd(a + i), _mm_loadu_pd(b + i)));
    for (; i < n; ++i) r[i] = _mm_cvtsd_f64(f(_mm_set1_pd(a[i]), _mm_set1_pd(b[i])));
  };
}
template <class T> std::function<void(int, const T *, const T *, T *)> scalar_loop2(T (*f)(T, T)) {
  return [f](int n, const T *a, const T *b, T *r) {
    for (int i = 0; i < n; ++i) r[i] = f(a[i], b[i]);
  };
}

template <class T> double ns_per_element2(const Contender2<T> &c, const std::vector<T> &a, const std::vector<T> &b,
                                          std::vector<T> &r) {
  const int n = (int)a.size();
  int reps = 1;
  for (;;) {
    double t0 = now_ns();
    for (int k = 0; k < reps; ++k) c.run(n, a.data(), b.data(), r.data());
    if (now_ns() - t0 > 2e6 || reps > (1 << 20)) break;
    reps *= 2;
  }
  double best = 1e300;
  for (int trial = 0; trial < 7; ++trial) {
    double t0 = now_ns();
    for (int k = 0; k < reps; ++k) c.run(n, a.data(), b.data(), r.data());
    best = std::min(best, (now_ns() - t0) / reps / n);
  }
  return best;
}

using Kernel2F = void (*)(int, const float *, const float *, float *);
using Kernel2D = void (*)(int, const double *, const double *, double *);

template <class T> struct Ours2 {
  const char *entry;
  double lo, hi;
  void (*k[3])(int, const T *, const T *, T *);  // LA, HA, EP
};
template <class T> Ours2<T> ours2(const char *entry, double lo, double hi) {
  using K = void (*)(int, const T *, const T *, T *);
  const bool wide = sizeof(T) == 8;
  const std::string base = std::string("_bex") + entry;
  auto get = [&](const std::string &name) { return (K)dlsym(RTLD_DEFAULT, name.c_str()); };
  return {entry, lo, hi, {get(base + (wide ? "_50" : "_21")), get(base), get(base + (wide ? "_26" : "_11"))}};
}

template <class T> std::vector<T> inputs(int n, double lo, double hi, unsigned seed) {
  std::vector<T> a(n);
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(lo, hi);
  for (T &x : a) x = (T)u(rng);
  return a;
}

// Every tier and peer at n = 1000, then ours/peer for the peers of each tier's class.
template <class T> void run2(const Ours2<T> &o, const std::vector<Contender2<T>> &peers) {
  if (!wanted(o.entry)) return;
  if (!o.k[0]) return (void)printf("\n%s: not built\n", o.entry);
  static const char *tier_names[] = {"LA", "HA", "EP"};
  static const int tier_class[] = {kLA, kHA, kEP};
  std::vector<T> a = inputs<T>(1000, o.lo, o.hi, 7), b = inputs<T>(1000, o.lo, o.hi, 11), r(1000);
  double t[3], tp[16];
  printf("\n%s on [%g, %g]^2: ns per element, n=1000\n", o.entry, o.lo, o.hi);
  for (int s = 0; s < 3; ++s) {
    t[s] = ns_per_element2(Contender2<T>{"", 0, o.k[s]}, a, b, r);
    printf("  qor %s %-21s %10.3f\n", o.entry, tier_names[s], t[s]);
  }
  for (size_t j = 0; j < peers.size(); ++j) {
    tp[j] = ns_per_element2(peers[j], a, b, r);
    printf("  %-26s %10.3f   serves%s\n", peers[j].name.c_str(), tp[j], class_names(peers[j].classes).c_str());
  }
  printf("  ratio ours/peer (below 1: we are faster), n=1000\n");
  for (int s = 0; s < 3; ++s)
    for (size_t j = 0; j < peers.size(); ++j)
      if (peers[j].classes & tier_class[s])
        printf("  %s %-4s / %-26s %6.2f%s\n", o.entry, tier_names[s], peers[j].name.c_str(), t[s] / tp[j],
               t[s] > tp[j] ? "  <- slower" : "");
}

template <class T> void cost_line2(const Ours2<T> &o, double scale) {
  std::vector<T> a = inputs<T>(1000, o.lo, o.hi, 7), b = inputs<T>(1000, o.lo, o.hi, 11), r(1000);
  double c[3];
  for (int s = 0; s < 3; ++s) c[s] = ns_per_element2(Contender2<T>{"", 0, o.k[s]}, a, b, r) * scale;
  printf("  %-8s LA %8.3f  HA %8.3f  EP %8.3f   (ns: %.3f %.3f %.3f)\n", o.entry, c[0], c[1], c[2], c[0] / scale,
         c[1] / scale, c[2] / scale);
}

float inv_sqrtf(float x) { return 1.0f / sqrtf(x); }
double inv_sqrt(double x) { return 1.0 / sqrt(x); }
float invf(float x) { return 1.0f / x; }
double inv(double x) { return 1.0 / x; }
float inv_cbrtf(float x) { return 1.0f / cbrtf(x); }
double inv_cbrt(double x) { return 1.0 / cbrt(x); }
float pow2o3f(float x) {
  float c = cbrtf(x);
  return c * c;
}
double pow2o3(double x) {
  double c = cbrt(x);
  return c * c;
}
float pow3o2f(float x) { return powf(x, 1.5f); }
double pow3o2(double x) { return pow(x, 1.5); }
float divf(float a, float b) { return a / b; }
double divd(double a, double b) { return a / b; }
__m128 sse_div4(__m128 a, __m128 b) { return _mm_div_ps(a, b); }
__m128d sse_div2(__m128d a, __m128d b) { return _mm_div_pd(a, b); }
template <class F> __m128 pow15_4(F f, __m128 x) { return f(x, _mm_set1_ps(1.5f)); }
template <class F> __m128d pow15_2(F f, __m128d x) { return f(x, _mm_set1_pd(1.5)); }

}  // namespace

int main(int argc, char **argv) {
  parse_args(argc, argv);
  const Ours<float> fs[] = {ours_by_name<float>("sSqrt", 1e-3, 1e6), ours_by_name<float>("sInv", 1e-3, 1e6),
                            ours_by_name<float>("sInvSqrt", 1e-3, 1e6), ours_by_name<float>("sCbrt", -1e6, 1e6),
                            ours_by_name<float>("sInvCbrt", 1e-3, 1e6), ours_by_name<float>("sPow2o3", -1e6, 1e6),
                            ours_by_name<float>("sPow3o2", 1e-3, 1e6)};
  const Ours<double> ds[] = {ours_by_name<double>("dSqrt", 1e-3, 1e6), ours_by_name<double>("dInv", 1e-3, 1e6),
                             ours_by_name<double>("dInvSqrt", 1e-3, 1e6), ours_by_name<double>("dCbrt", -1e6, 1e6),
                             ours_by_name<double>("dInvCbrt", 1e-3, 1e6), ours_by_name<double>("dPow2o3", -1e6, 1e6),
                             ours_by_name<double>("dPow3o2", 1e-3, 1e6)};
  const Ours2<float> fs2[] = {ours2<float>("sDiv", 1e-3, 1e6), ours2<float>("sHypot", -1e6, 1e6)};
  const Ours2<double> ds2[] = {ours2<double>("dDiv", 1e-3, 1e6), ours2<double>("dHypot", -1e6, 1e6)};

  // Classes: correctly rounded and 1-ulp peers serve every tier, 3.5-ulp
  // peers (libmvec, SLEEF u35) LA and EP.
  run_entry<float>(fs[0], {{"glibc sqrtf", kAll, scalar_loop<float>(sqrtf)},
                     {"SSE2 sqrtps", kAll, over_m128(sse_sqrt4)},
                     {"SLEEF sqrtf4_u05sse2", kAll, over_m128(Sleef_sqrtf4_u05sse2)},
                     {"SLEEF sqrtf4_u05sse4", kAll, over_m128(Sleef_sqrtf4_u05sse4)},
                     {"SLEEF sqrtf4_u35sse2", kLow, over_m128(Sleef_sqrtf4_u35sse2)},
                     {"SLEEF sqrtf4_u35sse4", kLow, over_m128(Sleef_sqrtf4_u35sse4)}});
  run_entry<float>(fs[1], {{"scalar 1/x", kAll, scalar_loop<float>(invf)}, {"SSE2 divps 1/x", kAll, over_m128(sse_inv4)}});
  run_entry<float>(fs[2], {{"glibc 1/sqrtf", kAll, scalar_loop<float>(inv_sqrtf)},
                     {"1/SLEEF sqrtf4_u05sse2", kAll, over_m128([](__m128 x) { return inv4(Sleef_sqrtf4_u05sse2, x); })},
                     {"1/SSE2 sqrtps", kAll, over_m128([](__m128 x) { return inv4(sse_sqrt4, x); })},
                     {"1/SLEEF sqrtf4_u35sse4", kLow, over_m128([](__m128 x) { return inv4(Sleef_sqrtf4_u35sse4, x); })}});
  run_entry<float>(fs[3], {{"glibc cbrtf", kAll, scalar_loop<float>(cbrtf)},
                     {"libmvec _ZGVbN4v_cbrtf", kLow, over_m128(_ZGVbN4v_cbrtf)},
                     {"SLEEF cbrtf4_u10sse2", kAll, over_m128(Sleef_cbrtf4_u10sse2)},
                     {"SLEEF cbrtf4_u10sse4", kAll, over_m128(Sleef_cbrtf4_u10sse4)},
                     {"SLEEF cbrtf4_u35sse2", kLow, over_m128(Sleef_cbrtf4_u35sse2)},
                     {"SLEEF cbrtf4_u35sse4", kLow, over_m128(Sleef_cbrtf4_u35sse4)}});
  run_entry<float>(fs[4], {{"glibc 1/cbrtf", kAll, scalar_loop<float>(inv_cbrtf)},
                     {"1/libmvec cbrtf", kLow, over_m128([](__m128 x) { return inv4(_ZGVbN4v_cbrtf, x); })},
                     {"1/SLEEF cbrtf4_u10sse4", kAll, over_m128([](__m128 x) { return inv4(Sleef_cbrtf4_u10sse4, x); })},
                     {"1/SLEEF cbrtf4_u35sse4", kLow, over_m128([](__m128 x) { return inv4(Sleef_cbrtf4_u35sse4, x); })}});
  run_entry<float>(fs[5], {{"glibc cbrtf^2", kAll, scalar_loop<float>(pow2o3f)},
                     {"libmvec cbrtf^2", kLow, over_m128([](__m128 x) { return sq4(_ZGVbN4v_cbrtf, x); })},
                     {"SLEEF cbrtf4_u10sse4^2", kAll, over_m128([](__m128 x) { return sq4(Sleef_cbrtf4_u10sse4, x); })},
                     {"SLEEF cbrtf4_u35sse4^2", kLow, over_m128([](__m128 x) { return sq4(Sleef_cbrtf4_u35sse4, x); })}});
  run_entry<float>(fs[6], {{"glibc powf(x, 1.5)", kAll, scalar_loop<float>(pow3o2f)},
                     {"libmvec powf(x, 1.5)", kLow, over_m128([](__m128 x) { return pow15_4(_ZGVbN4vv_powf, x); })},
                     {"SLEEF powf4_u10sse2", kAll, over_m128([](__m128 x) { return pow15_4(Sleef_powf4_u10sse2, x); })},
                     {"SLEEF powf4_u10sse4", kAll, over_m128([](__m128 x) { return pow15_4(Sleef_powf4_u10sse4, x); })},
                     {"SSE2 x*sqrtps(x)", kAll, over_m128([](__m128 x) { return _mm_mul_ps(x, _mm_sqrt_ps(x)); })}});

  run_entry<double>(ds[0], {{"glibc sqrt", kAll, scalar_loop<double>(sqrt)},
                      {"SSE2 sqrtpd", kAll, over_m128d(sse_sqrt2)},
                      {"SLEEF sqrtd2_u05sse2", kAll, over_m128d(Sleef_sqrtd2_u05sse2)},
                      {"SLEEF sqrtd2_u05sse4", kAll, over_m128d(Sleef_sqrtd2_u05sse4)},
                      {"SLEEF sqrtd2_u35sse2", kLow, over_m128d(Sleef_sqrtd2_u35sse2)},
                      {"SLEEF sqrtd2_u35sse4", kLow, over_m128d(Sleef_sqrtd2_u35sse4)}});
  run_entry<double>(ds[1], {{"scalar 1/x", kAll, scalar_loop<double>(inv)}, {"SSE2 divpd 1/x", kAll, over_m128d(sse_inv2)}});
  run_entry<double>(ds[2], {{"glibc 1/sqrt", kAll, scalar_loop<double>(inv_sqrt)},
                      {"1/SLEEF sqrtd2_u05sse2", kAll, over_m128d([](__m128d x) { return inv2(Sleef_sqrtd2_u05sse2, x); })},
                      {"1/SSE2 sqrtpd", kAll, over_m128d([](__m128d x) { return inv2(sse_sqrt2, x); })},
                      {"1/SLEEF sqrtd2_u35sse4", kLow, over_m128d([](__m128d x) { return inv2(Sleef_sqrtd2_u35sse4, x); })}});
  run_entry<double>(ds[3], {{"glibc cbrt", kAll, scalar_loop<double>(cbrt)},
                      {"libmvec _ZGVbN2v_cbrt", kLow, over_m128d(_ZGVbN2v_cbrt)},
                      {"SLEEF cbrtd2_u10sse2", kAll, over_m128d(Sleef_cbrtd2_u10sse2)},
                      {"SLEEF cbrtd2_u10sse4", kAll, over_m128d(Sleef_cbrtd2_u10sse4)},
                      {"SLEEF cbrtd2_u35sse2", kLow, over_m128d(Sleef_cbrtd2_u35sse2)},
                      {"SLEEF cbrtd2_u35sse4", kLow, over_m128d(Sleef_cbrtd2_u35sse4)}});
  run_entry<double>(ds[4], {{"glibc 1/cbrt", kAll, scalar_loop<double>(inv_cbrt)},
                      {"1/libmvec cbrt", kLow, over_m128d([](__m128d x) { return inv2(_ZGVbN2v_cbrt, x); })},
                      {"1/SLEEF cbrtd2_u10sse4", kAll, over_m128d([](__m128d x) { return inv2(Sleef_cbrtd2_u10sse4, x); })},
                      {"1/SLEEF cbrtd2_u35sse4", kLow, over_m128d([](__m128d x) { return inv2(Sleef_cbrtd2_u35sse4, x); })}});
  run_entry<double>(ds[5], {{"glibc cbrt^2", kAll, scalar_loop<double>(pow2o3)},
                      {"libmvec cbrt^2", kLow, over_m128d([](__m128d x) { return sq2(_ZGVbN2v_cbrt, x); })},
                      {"SLEEF cbrtd2_u10sse4^2", kAll, over_m128d([](__m128d x) { return sq2(Sleef_cbrtd2_u10sse4, x); })},
                      {"SLEEF cbrtd2_u35sse4^2", kLow, over_m128d([](__m128d x) { return sq2(Sleef_cbrtd2_u35sse4, x); })}});
  run_entry<double>(ds[6], {{"glibc pow(x, 1.5)", kAll, scalar_loop<double>(pow3o2)},
                      {"libmvec pow(x, 1.5)", kLow, over_m128d([](__m128d x) { return pow15_2(_ZGVbN2vv_pow, x); })},
                      {"SLEEF powd2_u10sse2", kAll, over_m128d([](__m128d x) { return pow15_2(Sleef_powd2_u10sse2, x); })},
                      {"SLEEF powd2_u10sse4", kAll, over_m128d([](__m128d x) { return pow15_2(Sleef_powd2_u10sse4, x); })},
                      {"SSE2 x*sqrtpd(x)", kAll, over_m128d([](__m128d x) { return _mm_mul_pd(x, _mm_sqrt_pd(x)); })}});

  run2<float>(fs2[0], {{"scalar a/b", kAll, scalar_loop2<float>(divf)}, {"SSE2 divps", kAll, over_m128_2(sse_div4)}});
  run2<float>(fs2[1], {{"glibc hypotf", kAll, scalar_loop2<float>(hypotf)},
                       {"libmvec _ZGVbN4vv_hypotf", kLow, over_m128_2(_ZGVbN4vv_hypotf)},
                       {"SLEEF hypotf4_u05sse2", kAll, over_m128_2(Sleef_hypotf4_u05sse2)},
                       {"SLEEF hypotf4_u05sse4", kAll, over_m128_2(Sleef_hypotf4_u05sse4)},
                       {"SLEEF hypotf4_u35sse2", kLow, over_m128_2(Sleef_hypotf4_u35sse2)},
                       {"SLEEF hypotf4_u35sse4", kLow, over_m128_2(Sleef_hypotf4_u35sse4)}});
  run2<double>(ds2[0], {{"scalar a/b", kAll, scalar_loop2<double>(divd)}, {"SSE2 divpd", kAll, over_m128d_2(sse_div2)}});
  run2<double>(ds2[1], {{"glibc hypot", kAll, scalar_loop2<double>(hypot)},
                        {"libmvec _ZGVbN2vv_hypot", kLow, over_m128d_2(_ZGVbN2vv_hypot)},
                        {"SLEEF hypotd2_u05sse2", kAll, over_m128d_2(Sleef_hypotd2_u05sse2)},
                        {"SLEEF hypotd2_u05sse4", kAll, over_m128d_2(Sleef_hypotd2_u05sse4)},
                        {"SLEEF hypotd2_u35sse2", kLow, over_m128d_2(Sleef_hypotd2_u35sse2)},
                        {"SLEEF hypotd2_u35sse4", kLow, over_m128d_2(Sleef_hypotd2_u35sse4)}});

  if (!g_paired) {
    auto sexp = _bexsExp_21;  // a direct reference also keeps the library linked for dlsym
    print_costs(fs, ds, sexp);
    const double scale = cost_scale(sexp);
    for (const auto &o : fs2)
      if (wanted(o.entry) && o.k[0]) cost_line2(o, scale);
    for (const auto &o : ds2)
      if (wanted(o.entry) && o.k[0]) cost_line2(o, scale);
  }
  return 0;
}
