// The accuracy of each vector function beside its peers: the largest error in
// ulps (against MPFR) of our three tiers, glibc's scalar function, libmvec's
// SSE4 vector variant and SLEEF's u10 / u35 SSE4 variants, over one sample of
// inputs spread over the function's domain. Prints one line per function,
// type and implementation ("accuracy <entry> <implementation> <max ulp>"),
// the input of the accuracy plots of the documentation.
#include <dlfcn.h>
#include <emmintrin.h>
#include <math.h>
#include <mpfr.h>
#include <stdio.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

namespace {

using MpfrUnary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
struct Function {
  const char *qor;    // our name
  const char *c;      // the C library's (and SLEEF's, libmvec's) name
  MpfrUnary ref;
  double lo, hi;      // inputs: |x| log-uniform in [lo, hi] with either sign, clipped
  bool positive;      // the domain has no negative part
  double slo, shi;    // the single precision range, where it is narrower
};
int lgamma_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t r) {
  int sign;
  return mpfr_lgamma(y, &sign, x, r);
}
const Function kFunctions[] = {
    {"Exp", "exp", mpfr_exp, 1e-6, 700, false, 1e-6, 87},
    {"Exp2", "exp2", mpfr_exp2, 1e-6, 1000, false, 1e-6, 126},
    {"Exp10", "exp10", mpfr_exp10, 1e-6, 300, false, 1e-6, 37},
    {"Expm1", "expm1", mpfr_expm1, 1e-9, 700, false, 1e-9, 87},
    {"Ln", "log", mpfr_log, 1e-300, 1e300, true, 1e-37, 1e37},
    {"Log2", "log2", mpfr_log2, 1e-300, 1e300, true, 1e-37, 1e37},
    {"Log10", "log10", mpfr_log10, 1e-300, 1e300, true, 1e-37, 1e37},
    {"Log1p", "log1p", mpfr_log1p, 1e-12, 1e300, true, 1e-12, 1e37},
    {"Cbrt", "cbrt", mpfr_cbrt, 1e-300, 1e300, false, 1e-37, 1e37},
    {"Sin", "sin", mpfr_sin, 1e-6, 1e4, false, 1e-6, 1e4},
    {"Cos", "cos", mpfr_cos, 1e-6, 1e4, false, 1e-6, 1e4},
    {"Tan", "tan", mpfr_tan, 1e-6, 1e4, false, 1e-6, 1e4},
    {"Sinh", "sinh", mpfr_sinh, 1e-6, 700, false, 1e-6, 88},
    {"Cosh", "cosh", mpfr_cosh, 1e-6, 700, false, 1e-6, 88},
    {"Tanh", "tanh", mpfr_tanh, 1e-6, 20, false, 1e-6, 10},
    {"Asin", "asin", mpfr_asin, 1e-6, 1, false, 1e-6, 1},
    {"Acos", "acos", mpfr_acos, 1e-6, 1, false, 1e-6, 1},
    {"Atan", "atan", mpfr_atan, 1e-6, 1e6, false, 1e-6, 1e6},
    {"Asinh", "asinh", mpfr_asinh, 1e-6, 1e300, false, 1e-6, 1e37},
    {"Acosh", "acosh", mpfr_acosh, 1, 1e300, true, 1, 1e37},
    {"Atanh", "atanh", mpfr_atanh, 1e-6, 0.999999, false, 1e-6, 0.9999},
    {"Erf", "erf", mpfr_erf, 1e-6, 6, false, 1e-6, 4},
    {"Erfc", "erfc", mpfr_erfc, 1e-6, 26, false, 1e-6, 9},
    {"LGamma", "lgamma", lgamma_ref, 1e-3, 1e5, true, 1e-3, 1e5},
    {"TGamma", "tgamma", mpfr_gamma, 1e-3, 170, true, 1e-3, 34},
};

constexpr int kSamples = 20000;

// Error of y in ulps of the exact value at precision p (53 or 24), the ulp
// taken at the least normal exponent for denormal results.
double ulps(double y, mpfr_srcptr exact, int p, int emin) {
  if (isnan(y) != mpfr_nan_p(exact)) return INFINITY;
  if (isnan(y)) return 0;
  if (isinf(y) || mpfr_inf_p(exact)) return (isinf(y) && mpfr_inf_p(exact) && (y > 0) == (mpfr_sgn(exact) > 0)) ? 0 : INFINITY;
  mpfr_t d;
  mpfr_init2(d, 256);
  mpfr_set_d(d, y, MPFR_RNDN);
  mpfr_sub(d, d, exact, MPFR_RNDN);
  mpfr_abs(d, d, MPFR_RNDN);
  long e = mpfr_zero_p(exact) ? emin : mpfr_get_exp(exact);
  if (e < emin) e = emin;
  mpfr_mul_2si(d, d, p - e, MPFR_RNDN);
  const double u = mpfr_get_d(d, MPFR_RNDN);
  mpfr_clear(d);
  return u;
}

struct Sample {
  std::vector<double> x;
  std::vector<mpfr_t *> dummy;
};

template <class T>
std::vector<T> inputs(const Function &f) {
  std::mt19937_64 rng(2026);
  const double lo = sizeof(T) == 4 ? f.slo : f.lo, hi = sizeof(T) == 4 ? f.shi : f.hi;
  std::uniform_real_distribution<double> e(log(lo), log(hi)), u(0, 1);
  std::vector<T> x(kSamples);
  for (T &v : x) {
    double m = exp(e(rng));
    if (!f.positive && u(rng) < 0.5) m = -m;
    v = (T)m;
  }
  return x;
}

template <class T>
void measure(const Function &f, void *qor, void *self, void *mvec, void *sleef) {
  const bool single = sizeof(T) == 4;
  const std::string t = single ? "s" : "d", entry = t + f.qor;
  const int p = single ? 24 : 53, emin = single ? -125 : -1021;
  const std::vector<T> x = inputs<T>(f);
  std::vector<mpfr_t> exact(kSamples);
  for (int i = 0; i < kSamples; ++i) {
    mpfr_init2(exact[i], 200);
    mpfr_t xi;
    mpfr_init2(xi, 64);
    mpfr_set_d(xi, (double)x[i], MPFR_RNDN);
    f.ref(exact[i], xi, MPFR_RNDN);
    mpfr_clear(xi);
  }
  auto report = [&](const std::string &impl, const std::vector<T> &y) {
    double worst = 0;
    for (int i = 0; i < kSamples; ++i) worst = fmax(worst, ulps((double)y[i], exact[i], p, emin));
    printf("accuracy %-8s %-22s %.3g\n", entry.c_str(), impl.c_str(), worst);
  };
  std::vector<T> y(kSamples);
  // Ours: the three tiers through their entry names.
  const char *tiers[3][2] = {{"LA", single ? "_21" : "_50"}, {"HA", ""}, {"EP", single ? "_11" : "_26"}};
  for (auto &tier : tiers) {
    auto fn = (void (*)(int, const T *, T *))dlsym(qor, ("_bex" + entry + tier[1]).c_str());
    if (!fn) continue;
    fn(kSamples, x.data(), y.data());
    report(std::string("qor ") + tier[0], y);
  }
  // glibc scalar.
  if (auto fn = (T(*)(T))dlsym(self, (std::string(f.c) + (single ? "f" : "")).c_str())) {
    for (int i = 0; i < kSamples; ++i) y[i] = fn(x[i]);
    report("glibc", y);
  }
  // Four floats or two doubles at a time.
  auto vector_run = [&](const std::string &impl, void *lib, const std::string &name) {
    void *sym = lib ? dlsym(lib, name.c_str()) : nullptr;
    if (!sym) return;
    for (int i = 0; i + 4 <= kSamples; i += 4) {
      if (single) {
        __m128 v = ((__m128(*)(__m128))sym)(_mm_loadu_ps((const float *)(const void *)&x[i]));
        _mm_storeu_ps((float *)(void *)&y[i], v);
      } else {
        for (int k = 0; k < 4; k += 2) {
          __m128d v = ((__m128d(*)(__m128d))sym)(_mm_loadu_pd((const double *)(const void *)&x[i + k]));
          _mm_storeu_pd((double *)(void *)&y[i + k], v);
        }
      }
    }
    report(impl, y);
  };
  vector_run("libmvec", mvec, single ? std::string("_ZGVbN4v_") + f.c + "f" : std::string("_ZGVbN2v_") + f.c);
  for (const char *u : {"u10", "u35", "u15"})
    vector_run(std::string("SLEEF ") + u, sleef, std::string("Sleef_") + f.c + (single ? "f4_" : "d2_") + u + "sse4");
  for (auto &e : exact) mpfr_clear(e);
}

}  // namespace

int main(int argc, char **argv) {
  void *self = dlopen("libm.so.6", RTLD_NOW);
  void *qor = dlopen("libqor_kernel_ssse3.so", RTLD_NOW);
  if (!qor) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  void *mvec = dlopen("libmvec.so.1", RTLD_NOW);
  void *sleef = dlopen("libsleef.so.3", RTLD_NOW);
  if (!sleef) sleef = dlopen("libsleef.so", RTLD_NOW);
  printf("# max error in ulps over %d inputs per function and type (MPFR reference)\n", kSamples);
  for (const Function &f : kFunctions) {
    if (argc > 1 && strcmp(argv[1], f.qor) != 0) continue;
    measure<float>(f, qor, self, mvec, sleef);
    measure<double>(f, qor, self, mvec, sleef);
  }
  return 0;
}
