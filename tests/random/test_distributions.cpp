// Distribution generators against plain scalar recurrences: the uniforms drawn
// one at a time on a copied stream and put through the same vector kernels at
// length 1, bit for bit, over entries x methods x types x splits x generators;
// the same draws against the exact transformation in long double and against
// the exact laws by chi-square; then the guard, the statuses, the saved pair,
// bits and the multivariate forms, with a scripted generator for edge values.
#include <dlfcn.h>
#include <gsl/gsl_cdf.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <string.h>
#include <xmmintrin.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "qor/qor_bex.h"
#include "qor/qor_random_brng.h"
#include "qor/qor_random_dist.h"
#include "random/dist_test_util.h"
#include "random/reference.h"

namespace {

using dist_test::next_d;
using dist_test::Stream;

// ---- kernels at length 1 through the slots the generators use (d EP, s LA) ----
template <class T> BexKernelTable *tab(const char *f) {
  std::string n = std::string("qor_bex_kernel_") + (sizeof(T) == 8 ? "d" : "s") + f + "_ttab";
  return (BexKernelTable *)dlsym(RTLD_DEFAULT, n.c_str());
}
template <class T> constexpr int kSlot = sizeof(T) == 8 ? 2 : 0;
template <class T> bool has(const char *f) { return tab<T>(f) && tab<T>(f)->kernel[kSlot<T>]; }
template <class T> T k1(const char *f, T x) {
  const unsigned old = _bexSetMode(0x140000);
  ((void (*)(int, const T *, T *))tab<T>(f)->kernel[kSlot<T>])(1, &x, &x);
  _bexSetMode(old);
  return x;
}
template <class T> void sincos1(T x, T *s, T *c) {
  const unsigned old = _bexSetMode(0x140000);
  ((void (*)(int, const T *, T *, T *))tab<T>("SinCos")->kernel[kSlot<T>])(1, &x, s, c);
  _bexSetMode(old);
}
template <class T> T two_pi() { return sizeof(T) == 8 ? (T)6.283185307179586 : (T)0x1.921fb6p+2f; }
template <class T> T sqrt2() { return sizeof(T) == 8 ? (T)1.4142135623730951 : (T)0x1.6a09e6p+0f; }
constexpr long double kPi = 3.141592653589793238462643383279502884L;

// ---- the entries by type ---------------------------------------------------------
#define BY_TYPE(T, d_call, s_call) \
  if constexpr (sizeof(T) == 8) return d_call; else return s_call;
template <class T> int uniform(int m, GuxStream *s, int n, T *r, T a, T b) {
  BY_TYPE(T, _guxdRngUniform(m, s, n, r, a, b), _guxsRngUniform(m, s, n, r, a, b))
}
template <class T> int expo(int m, GuxStream *s, int n, T *r, T a, T b) {
  BY_TYPE(T, _guxdRngExponential(m, s, n, r, a, b), _guxsRngExponential(m, s, n, r, a, b))
}
template <class T> int gauss(int m, GuxStream *s, int n, T *r, T a, T b) {
  BY_TYPE(T, _guxdRngGaussian(m, s, n, r, a, b), _guxsRngGaussian(m, s, n, r, a, b))
}
template <class T> int mv(int m, GuxStream *s, int n, T *r, int d, int st, const T *a, const T *t) {
  BY_TYPE(T, _guxdRngGaussianMV(m, s, n, r, d, st, a, t), _guxsRngGaussianMV(m, s, n, r, d, st, a, t))
}
template <class T> T next(GuxStream *s, T a, T b) { T x; EXPECT_GE(uniform<T>(0, s, 1, &x, a, b), 0); return x; }

// ---- the cases: entry x method x type ------------------------------------------------
constexpr double kA = 1.25, kB = 0.75, kLo = -1.5, kHi = 2.25;  // location, scale, uniform bounds
constexpr int kIntLo = -7, kIntHi = 11;

// A reference writes the next n results of one call and the exact value of
// each from the same uniforms; `pair` is its copy of the Box-Muller2 pair.
struct Pair { bool held = false; double u[2]; };
using Draw = std::function<int(GuxStream *, int, double *)>;
using Ref = std::function<void(GuxStream *, int, double *, long double *, Pair &)>;
struct Case {
  std::string name;
  Draw draw;
  Ref ref;
  std::function<long double(double)> cdf;  // null: the integer uniform
  double tol;                              // relative to max(1, |exact|)
  const char *needs = nullptr;             // a kernel not built everywhere
};

template <class T, class F> Draw typed(F f) {
  return [f](GuxStream *s, int n, double *out) {
    std::vector<T> r(n + 1);
    const int st = f(s, n, r.data());
    std::copy(r.begin(), r.begin() + n, out);
    return st;
  };
}

template <class T> void add_cases(std::vector<Case> &v) {
  const T a = (T)kA, b = (T)kB, lo = (T)kLo, hi = (T)kHi;
  const double tol = sizeof(T) == 8 ? 0x1p-23 : 0x1p-18;
  const std::string L = sizeof(T) == 8 ? "d" : "s";
  auto normal = [a, b](double x) { return 0.5L * erfcl(-((long double)x - a) / b / sqrtl(2.0L)); };
  auto rho = [](T u0) { T l = k1<T>("Ln", u0); return k1<T>("Sqrt", T(-(l + l))); };
  auto exact_bm = [a, b](T u0, T u1, bool cosine) {
    const long double t = 2 * kPi * u1;
    return (cosine ? cosl(t) : sinl(t)) * sqrtl(-2 * logl(u0)) * b + a;
  };
  for (int m : {0, GUX_METHOD_ACCURATE_FLAG}) {
    const std::string tag = m ? " accurate" : "";
    v.push_back({L + "Uniform" + tag, typed<T>([=](GuxStream *s, int n, T *r) { return uniform<T>(m, s, n, r, lo, hi); }),
                 [=](GuxStream *s, int n, double *out, long double *ex, Pair &) {
                   for (int i = 0; i < n; ++i) {
                     T x = next<T>(s, lo, hi);
                     out[i] = ex[i] = m ? std::min(std::max(x, lo), hi) : x;
                   }
                 },
                 [=](double x) { return ((long double)x - lo) / ((long double)hi - lo); }, tol});
    v.push_back({L + "Exponential" + tag, typed<T>([=](GuxStream *s, int n, T *r) { return expo<T>(m, s, n, r, a, b); }),
                 [=](GuxStream *s, int n, double *out, long double *ex, Pair &) {
                   for (int i = 0; i < n; ++i) {
                     const T u = next<T>(s, T(0), T(1)), x = a - b * k1<T>("Ln", u);
                     out[i] = m && !(x > a) ? a : x;
                     ex[i] = (long double)a - (long double)b * logl(u);
                   }
                 },
                 [=](double x) { return 1 - expl(-((long double)x - a) / b); }, tol});
  }
  auto draw = [=](int m) { return typed<T>([=](GuxStream *s, int n, T *r) { return gauss<T>(m, s, n, r, a, b); }); };
  v.push_back({L + "Gaussian BoxMuller", draw(0),
               [=](GuxStream *s, int n, double *out, long double *ex, Pair &) {
                 for (int i = 0; i < n; ++i) {
                   const T u0 = next<T>(s, T(0), T(1)), u1 = next<T>(s, T(0), T(1));
                   out[i] = (rho(u0) * k1<T>("Sin", T(u1 * two_pi<T>()))) * b + a;
                   ex[i] = exact_bm(u0, u1, false);
                 }
               },
               normal, tol});
  v.push_back({L + "Gaussian BoxMuller2", draw(1),
               [=](GuxStream *s, int n, double *out, long double *ex, Pair &p) {
                 int i = 0;
                 if (n > 0 && p.held) {  // the second half of the held pair: Cos at length 1
                   out[0] = (rho((T)p.u[0]) * k1<T>("Cos", T((T)p.u[1] * two_pi<T>()))) * b + a;
                   ex[i++] = exact_bm((T)p.u[0], (T)p.u[1], true);
                 }
                 for (; i < n; i += 2) {
                   const T u0 = next<T>(s, T(0), T(1)), u1 = next<T>(s, T(0), T(1)), r = rho(u0);
                   T sn, cs;
                   sincos1<T>(T(u1 * two_pi<T>()), &sn, &cs);
                   if (i + 1 == n) sn = k1<T>("Sin", T(u1 * two_pi<T>())), p.u[0] = u0, p.u[1] = u1;
                   out[i] = (r * sn) * b + a, ex[i] = exact_bm(u0, u1, false);
                   if (i + 1 < n) out[i + 1] = (r * cs) * b + a, ex[i + 1] = exact_bm(u0, u1, true);
                 }
                 if (n > 0) p.held = i > n;
               },
               normal, tol});
  v.push_back({L + "Gaussian ICDF", draw(2),
               [=](GuxStream *s, int n, double *out, long double *ex, Pair &) {
                 for (int i = 0; i < n; ++i) {
                   // A uniform of exactly -1 (a small first state rounded to
                   // float) is singular: the fix-up gives -5.86 or -3.83.
                   const T u = next<T>(s, T(-1), T(1)), fix = sizeof(T) == 8 ? (T)5.8635847487551676 : (T)3.832507f;
                   const T e = std::fabs(u) == 1 ? std::copysign(fix, u) : k1<T>("ErfInv", u);
                   long double x = e;  // Newton steps on erf in long double
                   for (int k = 0; k < 6 && std::fabs(u) < 1; ++k) x -= (erfl(x) - u) / (2 / sqrtl(kPi) * expl(-x * x));
                   out[i] = e * (sqrt2<T>() * b) + a, ex[i] = x * sqrtl(2.0L) * b + a;
                 }
               },
               normal, tol, "ErfInv"});
}

std::vector<Case> all_cases() {
  std::vector<Case> v;
  add_cases<double>(v);
  add_cases<float>(v);
  v.push_back({"iUniform",
               typed<int32_t>([](GuxStream *s, int n, int32_t *r) { return _guxiRngUniform(0, s, n, r, kIntLo, kIntHi); }),
               [](GuxStream *s, int n, double *out, long double *ex, Pair &) {
                 for (int i = 0; i < n; ++i) out[i] = ex[i] = std::floor(next<double>(s, kIntLo, kIntHi));
               },
               nullptr, 0});
  return v;
}
bool missing(const Case &c) { return c.needs && !(c.name[0] == 'd' ? has<double>(c.needs) : has<float>(c.needs)); }

const struct Generator { const char *name; int id; uint32_t seed; } kGenerators[] = {
    {"MCG31M1", GUX_BRNG_MCG31M1, 7}, {"MCG59", GUX_BRNG_MCG59, 12345}, {"MT19937", GUX_BRNG_MT19937, 5489}};

const std::vector<std::vector<int>> &kSplits = dist_test::kSplits2600;

TEST(Distributions, EveryEntryMethodTypeSplitAndGenerator) {
  for (const Case &c : all_cases()) {
    if (missing(c)) continue;
    for (const Generator &g : kGenerators) {
      std::vector<double> one;
      for (const auto &split : kSplits) {
        SCOPED_TRACE(c.name + " on " + g.name + ", split " + std::to_string(&split - &kSplits[0]));
        Stream s(g.id, g.seed), copy(s);
        std::vector<double> got(2600), want(2600);
        std::vector<long double> exact(2600);
        Pair pair;
        int pos = 0, bad = 0;
        for (int piece : split) {
          EXPECT_GE(c.draw(s.s, piece, got.data() + pos), 0);
          c.ref(copy.s, piece, want.data() + pos, exact.data() + pos, pair);
          pos += piece;
        }
        if (one.empty()) one = got;
        for (int i = 0; i < 2600; ++i) {
          const long double err = fabsl(got[i] - exact[i]) / std::max(1.0L, fabsl(exact[i]));
          // Splitting changes nothing, except the single-precision Box-Muller2
          // pairs that straddle two calls: sSin/sCos LA and sSinCos LA differ
          // by an ulp or two.
          const bool split_ok = got[i] == one[i] || (c.name == "sGaussian BoxMuller2" &&
                                                     std::fabs(got[i] - one[i]) < 1e-6 * std::max(1.0, std::fabs(one[i])));
          if ((memcmp(&got[i], &want[i], 8) || err > c.tol || !split_ok) && bad++ < 3)
            ADD_FAILURE() << i << ": " << got[i] << " want " << want[i] << " one call " << one[i] << " err " << (double)err;
        }
        EXPECT_EQ(next_d(s.s), next_d(copy.s));  // the same uniforms consumed
      }
    }
  }
}

// 20 equiprobable cells (18 for the integers), 20000 draws; bounds are the
// 0.999 quantiles of chi-square with 19 and 17 degrees of freedom.
double chi_square(const std::vector<double> &p, int cells) {
  std::vector<double> count(cells, 0);
  for (double x : p) count[std::min(cells - 1, std::max(0, (int)(x * cells)))] += 1;
  double chi = 0, e = (double)p.size() / cells;
  for (double c : count) chi += (c - e) * (c - e) / e;
  return chi;
}
TEST(Distributions, ChiSquareAgainstTheExactLaw) {
  std::string pvalues;
  for (const Case &c : all_cases())
    for (const Generator &g : kGenerators) {
      if (missing(c)) continue;
      Stream s(g.id, g.seed);
      std::vector<double> x(20000), p(20000);
      ASSERT_GE(c.draw(s.s, 20000, x.data()), 0);
      for (int i = 0; i < 20000; ++i) p[i] = c.cdf ? (double)c.cdf(x[i]) : (x[i] - kIntLo + 0.5) / (kIntHi - kIntLo);
      const int cells = c.cdf ? 20 : kIntHi - kIntLo;
      const double chi = chi_square(p, cells);
      EXPECT_LT(chi, c.cdf ? 43.82 : 40.79) << c.name << " on " << g.name;
      char line[128];
      snprintf(line, sizeof line, "  %-28s %-8s p = %.3f\n", c.name.c_str(), g.name, gsl_cdf_chisq_Q(chi, cells - 1));
      pvalues += line;
    }
  printf("chi-square p-values, 20000 draws:\n%s", pvalues.c_str());
}

// ---- multivariate: L z + a against the Gaussian generator's z -----------------------
template <class T> void mv_forms() {
  for (int method = 0; method < 3; ++method) {
    if (method == 2 && !has<T>("ErfInv")) continue;
    for (int d : {2, 3, 10, 11, 16})
      for (int storage : {0, 1, 2, 7}) {
        SCOPED_TRACE(std::to_string(sizeof(T)) + " method " + std::to_string(method) + " d " + std::to_string(d) +
                     " storage " + std::to_string(storage));
        // L(i,j) lower; full storage holds U = L' column-major, NaN in the
        // triangle the product must not read.
        std::vector<T> L(d * d, 0), full(d * d, NAN), packed, diag(d), mean(d);
        for (int i = 0; i < d; ++i) {
          mean[i] = T(0.5) * T(i) - T(1);
          for (int j = 0; j <= i; ++j) L[i * d + j] = i == j ? T(1) + T(0.25) * T(i) : T(0.125) * T(i - j) - T(0.3);
          diag[i] = L[i * d + i];
        }
        for (int c = 0; c < d; ++c)
          for (int r = 0; r < d; ++r) {
            if (r <= c) full[c * d + r] = L[c * d + r];
            if (r >= c) packed.push_back(L[r * d + c]);
          }
        const int n = 37;
        Stream s(GUX_BRNG_MT19937, 99), copy(s);
        std::vector<T> r(n * d), z(n * d);
        const T *t = storage == 0 ? full.data() : storage == 1 ? packed.data() : diag.data();
        ASSERT_EQ(mv<T>(method, s.s, n, r.data(), d, storage, mean.data(), t), 0);
        ASSERT_EQ(gauss<T>(method, copy.s, n * d, z.data(), T(0), T(1)), 0);
        for (int v = 0; v < n; ++v)
          for (int i = 0; i < d; ++i) {
            long double want = z[v * d + i];
            if (storage == 2) want = (T)(z[v * d + i] * diag[i] + mean[i]);
            if (storage < 2) {
              want = mean[i];
              for (int j = 0; j <= i; ++j) want += (long double)L[i * d + j] * z[v * d + j];
            }
            const double tol = (sizeof(T) == 8 ? 1e-13 : 2e-6) * d * (1 + fabsl(want)) * (storage < 2);
            ASSERT_NEAR(r[v * d + i], (double)want, tol) << v << "," << i;
          }
      }
    for (int storage : {0, 1, 2, 7}) {  // dimension 1: mean a[0], sigma t[0], whatever the storage
      Stream s(GUX_BRNG_MCG59, 3), copy(s);
      const T a = 2, t = 0.5;
      std::vector<T> r(101), w(101);
      mv<T>(method, s.s, 101, r.data(), 1, storage, &a, &t);
      gauss<T>(method, copy.s, 101, w.data(), a, t);
      EXPECT_EQ(memcmp(r.data(), w.data(), sizeof(T) * 101), 0);
    }
  }
}
TEST(Distributions, MultivariateGaussianEveryStorage) { mv_forms<double>(), mv_forms<float>(); }

// ---- a scripted generator: chosen raw values (output raw * (b - a) + a) and status --
using dist_test::g_script;
using dist_test::script_d;
using dist_test::script_i;
using dist_test::script_s;
// The generator's registry row lives for one test: drop_script_row() gives it
// back, so that tests of the registry's row count see the table as built.
int g_script_id = 0;
GuxStream *scripted(std::vector<double> values, int status = 0) {
  if (!g_script_id) {
    BrngProperties p{64, 1, 1, 4, 32, [](int, GuxStream *, int, const void *) { return 0; }, script_s, script_d, script_i};
    g_script_id = __guxRegisterBrng(&p);
  }
  g_script.raw = values, g_script.pos = 0, g_script.status = status;
  GuxStream *s = nullptr;
  EXPECT_EQ(__guxNewStreamEx(&s, g_script_id, 1, nullptr), 0);
  return s;
}
void drop_script_row() {
  const int row = (g_script_id >> 20) - 1;
  if (row >= 0 && RegBrngCount == row + 1) {
    __RegBrngsNew[row] = BrngProperties{};
    BrngSubCounts[row] = 0;
    RegBrngCount = row;
  }
  g_script_id = 0;
}

int sentinel(BexErrorContext *) { return 1; }
struct Env {
  unsigned mode; BexErrorCallBack cb; int err; uint32_t mxcsr; uint16_t x87;
  static Env now() { Env e{_bexGetMode(), _bexGetErrorCallBack(), errno, _mm_getcsr(), 0}; __asm__ volatile("fnstcw %0" : "=m"(e.x87)); return e; }
};

// A uniform of exactly 0, -1 or +1 (the open end reached by rounding) gives the
// fix-up value, whatever the caller's mode, callback and exception masks, and
// the caller finds them as before.
TEST(Distributions, SingularUniformsUnderAnyCallerEnvironment) {
  const double ln0 = 744.44007192138122, ln0s = 103.2789306640625, e1 = 5.8635847487551676, e1s = 3.832507f;
  struct Singular { const char *name; double raw, expect; std::function<int(GuxStream *, double *)> run; };
  auto d = [](int (*f)(int, GuxStream *, int, double *, double, double), int m) {
    return [=](GuxStream *s, double *r) { return f(m, s, 2, r, 0.0, 1.0); };
  };
  auto s = [](int (*f)(int, GuxStream *, int, float *, float, float), int m) {
    return [=](GuxStream *st, double *r) { float x[2]; int k = f(m, st, 2, x, 0.0f, 1.0f); r[0] = x[0], r[1] = x[1]; return k; };
  };
  std::vector<Singular> cases = {{"dExponential u=0", 0, ln0, d(_guxdRngExponential, 0)},
                                 {"sExponential u=0", 0, ln0s, s(_guxsRngExponential, 0)},
                                 {"dGaussian/0 u=0", 0, std::sqrt(2 * ln0), d(_guxdRngGaussian, 0)},
                                 {"dGaussian/1 u=0", 0, std::sqrt(2 * ln0), d(_guxdRngGaussian, 1)},
                                 {"sGaussian/0 u=0", 0, std::sqrt(2 * ln0s), s(_guxsRngGaussian, 0)},
                                 {"sGaussian/1 u=0", 0, std::sqrt(2 * ln0s), s(_guxsRngGaussian, 1)}};
  if (has<double>("ErfInv"))
    cases.insert(cases.end(), {{"dGaussian/2 u=-1", 0, -e1 * sqrt2<double>(), d(_guxdRngGaussian, 2)},
                               {"dGaussian/2 u=+1", 1, e1 * sqrt2<double>(), d(_guxdRngGaussian, 2)}});
  if (has<float>("ErfInv"))
    cases.insert(cases.end(), {{"sGaussian/2 u=-1", 0, -e1s * sqrt2<float>(), s(_guxsRngGaussian, 2)},
                               {"sGaussian/2 u=+1", 1, e1s * sqrt2<float>(), s(_guxsRngGaussian, 2)}});
  // Callers: the default; no error reporting, flushing on, traps in the mode
  // word; a callback of their own with invalid and divide-by-zero unmasked.
  const struct { unsigned mode; BexErrorCallBack cb; uint32_t csr_unmask; uint16_t x87_unmask; } callers[] = {
      {BEX_MODE_DEFAULT, nullptr, 0, 0},
      {BEX_ERRMODE_NOERR | BEX_FTZDAZ_ON | BEX_TRAP_INVALID | BEX_TRAP_DIVBYZERO | BEX_LA, nullptr, 0, 0},
      {BEX_ERRMODE_CALLBACK | BEX_ERRMODE_ERRNO | BEX_HA, sentinel, 0x280, 0x5}};
  const Env saved = Env::now();
  for (const Singular &c : cases) {
    double first[2];  // the results under the first caller: the others must match them
    for (const auto &k : callers) {
      SCOPED_TRACE(std::string(c.name) + ", caller mode " + std::to_string(k.mode));
      GuxStream *st = scripted({c.raw, 0.25});
      _bexSetMode(k.mode);
      _bexSetErrorCallBack(k.cb);
      _mm_setcsr((saved.mxcsr | 0x1f80) & ~k.csr_unmask);
      const uint16_t cw = (uint16_t)((saved.x87 | 0x3f) & ~k.x87_unmask);
      __asm__ volatile("fnclex\n\tfldcw %0" : : "m"(cw));
      errno = 4321;
      const Env before = Env::now();
      double r[2];
      const int status = c.run(st, r);
      const Env after = Env::now();
      _mm_setcsr(saved.mxcsr);
      __asm__ volatile("fnclex\n\tfldcw %0" : : "m"(saved.x87));
      _bexSetErrorCallBack(saved.cb);
      _bexSetMode(saved.mode);
      __guxDeleteStream(&st);
      drop_script_row();
      EXPECT_EQ(status, 0);
      EXPECT_NEAR(r[0], c.expect, 0x1p-23 * std::fabs(c.expect));  // Sqrt and Sin EP/LA in the Gaussian
      EXPECT_TRUE(std::isfinite(r[1]));
      if (&k == callers) memcpy(first, r, sizeof r);
      EXPECT_EQ(memcmp(first, r, sizeof r), 0);
      // The bracket puts back every mode field it found set; an empty denormal
      // field is left at 0x140000.
      EXPECT_EQ(after.mode, before.mode | ((before.mode & BEX_DENORMAL_MASK) ? 0 : BEX_FTZDAZ_OFF));
      EXPECT_EQ(after.cb, before.cb);
      EXPECT_EQ(after.err, 4321);
      EXPECT_EQ(after.mxcsr, before.mxcsr);
      EXPECT_EQ(after.x87, before.x87);
    }
  }
}

// A failing generator's status comes back from every entry, the caller's
// callback and mode restored; Gaussian words outside 0..2 are refused with
// nothing written and the stream unmoved.
TEST(Distributions, Statuses) {
  const int fail = GUX_STATUS_ABSTRACT_NO_NUMBERS;
  GuxStream *s = scripted({0.5}, fail);
  _bexSetErrorCallBack(sentinel);
  const unsigned mode = _bexGetMode();
  double d[8], t[4] = {1, 0, 0, 1}, a[2] = {0, 0};
  float f[8], ts[4] = {1, 0, 0, 1}, as[2] = {0, 0};
  int32_t k[8];
  uint32_t u[16];
  for (int m : {0, GUX_METHOD_ACCURATE_FLAG}) {
    EXPECT_EQ(_guxdRngUniform(m, s, 8, d, 0, 1) + _guxsRngUniform(m, s, 8, f, 0, 1), 2 * fail);
    EXPECT_EQ(_guxdRngExponential(m, s, 8, d, 0, 1) + _guxsRngExponential(m, s, 8, f, 0, 1), 2 * fail);
  }
  EXPECT_EQ(_guxiRngUniform(0, s, 8, k, 0, 9) + _guxiRngUniformBits(0, s, 8, u), 2 * fail);
  for (int m = 0; m < 3; ++m)
    for (int storage = 0; storage < 3 && (m < 2 || has<double>("ErfInv")); ++storage) {
      EXPECT_EQ(_guxdRngGaussian(m, s, 7, d, 0, 1) + _guxsRngGaussian(m, s, 7, f, 0, 1), 2 * fail);
      EXPECT_EQ(_guxdRngGaussianMV(m, s, 3, d, 2, storage, a, t) + _guxsRngGaussianMV(m, s, 3, f, 2, storage, as, ts),
                2 * fail);
    }
  EXPECT_EQ(_guxiRngUniformBits32(0, s, 8, u), GUX_STATUS_NO_UNIFORM_BITS);  // a row past the sixteen
  EXPECT_EQ(_bexGetErrorCallBack(), sentinel);
  EXPECT_EQ(_bexGetMode(), mode);
  _bexSetErrorCallBack(nullptr);
  __guxDeleteStream(&s);
  drop_script_row();

  Stream g(GUX_BRNG_MCG31M1, 1), copy(g);
  d[0] = 7;
  for (int m : {-1, 3, GUX_METHOD_ACCURATE_FLAG}) EXPECT_EQ(_guxdRngGaussian(m, g.s, 4, d, 0, 1), GUX_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(d[0], 7);
  EXPECT_EQ(next_d(g.s), next_d(copy.s));
}

TEST(Distributions, EdgeCases) {
  // Integer uniform is floor: -0.5 on [-1, 1) gives -1.
  GuxStream *s = scripted({0.25, 0.75, 0.0, 0.999});
  int32_t k[4];
  EXPECT_EQ(_guxiRngUniform(0, s, 4, k, -1, 1), 0);
  EXPECT_EQ(std::vector<int32_t>(k, k + 4), (std::vector<int32_t>{-1, 0, -1, 0}));
  __guxDeleteStream(&s);
  // The accurate flag clamps into [a, b], NaN to a; without it rounding shows.
  for (int m : {0, GUX_METHOD_ACCURATE_FLAG}) {
    double d[3];
    float f[3];
    s = scripted({1.0 + 0x1p-20, -0x1p-20, NAN});
    _guxdRngUniform(m, s, 3, d, 2.0, 3.0);
    _guxsRngUniform(m, s, 3, f, 2.0f, 3.0f);
    using V = std::vector<double>;
    const V want = m ? V{3, 2, 2, 3, 2, 2} : V{3 + 0x1p-20, 2 - 0x1p-20, 3 + 0x1p-20};
    const V got = m ? V{d[0], d[1], d[2], f[0], f[1], f[2]} : V{d[0], d[1], f[0]};
    EXPECT_EQ(want, got);
    __guxDeleteStream(&s);
  }
  s = scripted({1.0});
  double e;
  _guxdRngExponential(GUX_METHOD_ACCURATE_FLAG, s, 1, &e, 0.5, 1.0);  // ln 1 = 0: exactly a
  EXPECT_EQ(e, 0.5);
  __guxDeleteStream(&s);
  drop_script_row();
}

// Box-Muller2: n = 1 twice gives both halves of one pair, a copy carries the
// pair, an even count empties it, and the float and double pairs stay apart.
TEST(Distributions, BoxMuller2SavedPair) {
  for (const Generator &g : kGenerators) {
    Stream s(g.id, g.seed), copy(s), mixed(s);
    double r[2], carried, both[2];
    _guxdRngGaussian(1, s.s, 1, r, 0, 1);
    { Stream c(s); _guxdRngGaussian(1, c.s, 1, &carried, 0, 1); }
    _guxdRngGaussian(1, s.s, 1, r + 1, 0, 1);
    _guxdRngGaussian(1, copy.s, 2, both, 0, 1);
    EXPECT_EQ(std::vector<double>({r[0], r[1], carried}), std::vector<double>({both[0], both[1], r[1]}));
    const double *pair = (const double *)__guxSearchChunk(s.s, 2);
    EXPECT_EQ(std::vector<double>(pair, pair + 2), std::vector<double>({-1.0, -1.0}));
    float f[3];
    double m[2];
    _guxdRngGaussian(1, mixed.s, 1, m, 0, 1);
    _guxsRngGaussian(1, mixed.s, 3, f, 0, 1);
    _guxdRngGaussian(1, mixed.s, 1, m + 1, 0, 1);
    EXPECT_EQ(m[0], r[0]);
    EXPECT_EQ(m[1], r[1]);
    EXPECT_NE(__guxSearchChunk(mixed.s, 1), nullptr);
  }
}

// Bits: MCG59 narrowed to bits 58..27 (across the 2048-word blocks), the
// twisters raw, all others refused with the stream unmoved.
TEST(Distributions, UniformBits) {
  Stream m59(GUX_BRNG_MCG59, 12345);
  const int n = 2049 + 3;
  std::vector<uint64_t> words = ref::mcg59({12345}, 3 * n), got64(n);
  std::vector<uint32_t> got(n);
  EXPECT_EQ(_guxiRngUniformBits32(0, m59.s, n, got.data()) + _guxiRngUniformBits64(0, m59.s, n, got64.data()), 0);
  for (int i = 0; i < n; ++i) {
    ASSERT_EQ(got[i], (uint32_t)(words[i] >> 27)) << i;
    ASSERT_EQ(got64[i], (words[n + 2 * i] >> 27 & 0xffffffffu) | (words[n + 2 * i + 1] >> 27) << 32) << i;
  }
  for (int id : {GUX_BRNG_MT19937, GUX_BRNG_MT2203, GUX_BRNG_SFMT19937}) {
    Stream s(id, 77), copy(s);
    std::vector<uint32_t> raw(3 * 1001), b32(1001), b64(2 * 1001);
    _guxiRngUniformBits(0, copy.s, 3 * 1001, raw.data());
    _guxiRngUniformBits32(0, s.s, 1001, b32.data());
    _guxiRngUniformBits64(0, s.s, 1001, (uint64_t *)b64.data());
    b32.insert(b32.end(), b64.begin(), b64.end());
    EXPECT_EQ(b32, raw);
  }
  for (int id : {GUX_BRNG_MCG31M1, GUX_BRNG_R250, GUX_BRNG_MRG32K3A, GUX_BRNG_WH}) {
    Stream s(id, 3), copy(s);
    uint32_t w[4] = {9, 9, 9, 9};
    EXPECT_EQ(_guxiRngUniformBits32(0, s.s, 4, w), GUX_STATUS_NO_UNIFORM_BITS);
    EXPECT_EQ(_guxiRngUniformBits64(0, s.s, 2, (uint64_t *)w), GUX_STATUS_NO_UNIFORM_BITS);
    EXPECT_EQ(w[0], 9u);
    EXPECT_EQ(next_d(s.s), next_d(copy.s));
  }
  for (int id : {GUX_BRNG_MCG59, GUX_BRNG_MT19937}) {  // chi-square of the 32-bit words
    Stream s(id, 5);
    std::vector<uint32_t> w(20000);
    std::vector<double> p(20000);
    ASSERT_EQ(_guxiRngUniformBits32(0, s.s, 20000, w.data()), 0);
    for (int i = 0; i < 20000; ++i) p[i] = w[i] * 0x1p-32;
    EXPECT_LT(chi_square(p, 20), 43.82) << id;
  }
}

}  // namespace
