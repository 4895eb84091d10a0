// The distribution generators against plain scalar recurrences: the same
// uniforms drawn one at a time through _guxdRngUniform / _guxsRngUniform on a
// copied stream, put through the same vector kernels at length 1 in the
// documented order, bit for bit, for every entry x method x type x split x
// generator. The same draws against the exact transformation in long double,
// chi-square against the exact laws, and the floating-point guard and the
// statuses as the caller sees them (a scripted generator supplies 0, -1, +1,
// NaN and failing statuses).
#include <dlfcn.h>
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
#include "random/reference.h"

namespace {

struct Stream {
  GuxStream *s = nullptr;
  Stream(int id, uint32_t seed) { EXPECT_EQ(__guxNewStreamEx(&s, id, 1, &seed), 0); }
  explicit Stream(const Stream &o) { EXPECT_EQ(__guxCopyStream(&s, o.s), 0); }
  ~Stream() { __guxDeleteStream(&s); }
};

// ---- the kernels at length 1, through the slots the generators use ----------
const BexKernelTable *table(const std::string &entry) {
  return (const BexKernelTable *)dlsym(RTLD_DEFAULT, ("qor_bex_kernel_" + entry + "_ttab").c_str());
}
template <class T> constexpr const char *letter() { return sizeof(T) == 8 ? "d" : "s"; }
template <class T> constexpr int slot() { return sizeof(T) == 8 ? 2 : 0; }
template <class T> bool has(const char *f) {
  const BexKernelTable *t = table(std::string(letter<T>()) + f);
  return t && t->kernel[slot<T>()];
}
template <class T> T k1(const char *f, T x) {
  using K = void (*)(int, const T *, T *);
  const unsigned old = _bexSetMode(0x140000);
  ((K)table(std::string(letter<T>()) + f)->kernel[slot<T>()])(1, &x, &x);
  _bexSetMode(old);
  return x;
}
template <class T> void sincos1(T x, T *s, T *c) {
  using K = void (*)(int, const T *, T *, T *);
  const unsigned old = _bexSetMode(0x140000);
  ((K)table(std::string(letter<T>()) + "SinCos")->kernel[slot<T>()])(1, &x, s, c);
  _bexSetMode(old);
}

template <class T> T two_pi() { return sizeof(T) == 8 ? (T)6.283185307179586 : (T)0x1.921fb6p+2f; }
template <class T> T sqrt2() { return sizeof(T) == 8 ? (T)1.4142135623730951 : (T)0x1.6a09e6p+0f; }
constexpr long double kPiL = 3.141592653589793238462643383279502884L;

// One uniform at a time from the reference stream.
template <class T> T next(GuxStream *s, T a, T b) {
  T x;
  if constexpr (sizeof(T) == 8) EXPECT_GE(_guxdRngUniform(0, s, 1, &x, a, b), 0);
  else EXPECT_GE(_guxsRngUniform(0, s, 1, &x, a, b), 0);
  return x;
}

// Inverse error function in long double by Newton steps from the kernel's value.
long double erfinv_exact(long double y, long double x0) {
  long double x = x0;
  for (int k = 0; k < 6; ++k) x -= (erfl(x) - y) / (2.0L / sqrtl(kPiL) * expl(-x * x));
  return x;
}

// ---- the cases ------------------------------------------------------------
// Parameters of every case.
constexpr double kA = 1.25, kScale = 0.75, kLo = -1.5, kHi = 2.25;
constexpr int kIntLo = -7, kIntHi = 11;

// A reference produces the next `n` results of a call into out (as doubles)
// and the exact transformation of the same uniforms into exact; `held` is its
// own copy of the saved pair.
struct RefState {
  bool held = false;
  double pair[2] = {0, 0};
};
using Draw = std::function<int(int method, GuxStream *, int n, double *out)>;
using Ref = std::function<void(int method, GuxStream *, int n, double *out, long double *exact, RefState &)>;
using Cdf = std::function<long double(double)>;

struct Case {
  std::string name;
  int method;
  Draw draw;
  Ref ref;
  Cdf cdf;          // the exact law, for chi-square (null: discrete, see below)
  double tolerance;  // relative, against the exact transformation
  const char *needs = nullptr;  // a kernel the method needs, maybe not built yet
};

template <class T, class F> Draw typed(F entry) {
  return [entry](int method, GuxStream *s, int n, double *out) {
    std::vector<T> r(n + 1);
    const int st = entry(method, s, n, r.data());
    for (int i = 0; i < n; ++i) out[i] = (double)r[i];
    return st;
  };
}

long double normal_cdf(long double z) { return 0.5L * erfcl(-z / sqrtl(2.0L)); }

template <class T> std::vector<Case> cases_of() {
  const T a = (T)kA, sc = (T)kScale, lo = (T)kLo, hi = (T)kHi;
  const double tol = sizeof(T) == 8 ? 0x1p-23 : 0x1p-18;
  const std::string L = letter<T>();
  std::vector<Case> v;
  auto uniform_entry = [lo, hi](int m, GuxStream *s, int n, T *r) {
    if constexpr (sizeof(T) == 8) return _guxdRngUniform(m, s, n, r, lo, hi);
    else return _guxsRngUniform(m, s, n, r, lo, hi);
  };
  for (int m : {0, GUX_METHOD_ACCURATE_FLAG})
    v.push_back({L + "Uniform/" + std::to_string(m), m, typed<T>(uniform_entry),
                 [lo, hi](int m, GuxStream *s, int n, double *out, long double *ex, RefState &) {
                   for (int i = 0; i < n; ++i) {
                     T x = next<T>(s, lo, hi);
                     if (m) x = std::min(std::max(x, lo), hi);
                     out[i] = x, ex[i] = x;
                   }
                 },
                 [lo, hi](double x) { return ((long double)x - lo) / ((long double)hi - lo); }, tol});
  auto exp_entry = [a, sc](int m, GuxStream *s, int n, T *r) {
    if constexpr (sizeof(T) == 8) return _guxdRngExponential(m, s, n, r, a, sc);
    else return _guxsRngExponential(m, s, n, r, a, sc);
  };
  for (int m : {0, GUX_METHOD_ACCURATE_FLAG})
    v.push_back({L + "Exponential/" + std::to_string(m), m, typed<T>(exp_entry),
                 [a, sc](int m, GuxStream *s, int n, double *out, long double *ex, RefState &) {
                   for (int i = 0; i < n; ++i) {
                     const T u = next<T>(s, T(0), T(1));
                     T x = a - sc * k1<T>("Ln", u);
                     if (m && !(x > a)) x = a;
                     out[i] = x, ex[i] = (long double)a - (long double)sc * logl(u);
                   }
                 },
                 [a, sc](double x) { return 1.0L - expl(-((long double)x - a) / sc); }, tol});
  auto gauss_entry = [a, sc](int m, GuxStream *s, int n, T *r) {
    if constexpr (sizeof(T) == 8) return _guxdRngGaussian(m, s, n, r, a, sc);
    else return _guxsRngGaussian(m, s, n, r, a, sc);
  };
  const Cdf gauss_cdf = [a, sc](double x) { return normal_cdf(((long double)x - a) / sc); };
  // rho and theta of a pair, and the exact value rho * f(2 pi u1) * sigma + a.
  auto rho = [](T u0) { T l = k1<T>("Ln", u0); return k1<T>("Sqrt", T(-(l + l))); };
  auto exact_bm = [a, sc](T u0, T u1, bool cosine) {
    const long double r = sqrtl(-2.0L * logl(u0)), t = 2.0L * kPiL * u1;
    return (cosine ? cosl(t) : sinl(t)) * r * sc + a;
  };
  v.push_back({L + "Gaussian/BoxMuller", 0, typed<T>(gauss_entry),
               [=](int, GuxStream *s, int n, double *out, long double *ex, RefState &) {
                 for (int i = 0; i < n; ++i) {
                   const T u0 = next<T>(s, T(0), T(1)), u1 = next<T>(s, T(0), T(1));
                   out[i] = (rho(u0) * k1<T>("Sin", T(u1 * two_pi<T>()))) * sc + a;
                   ex[i] = exact_bm(u0, u1, false);
                 }
               },
               gauss_cdf, tol});
  v.push_back({L + "Gaussian/BoxMuller2", 1, typed<T>(gauss_entry),
               [=](int, GuxStream *s, int n, double *out, long double *ex, RefState &st) {
                 int i = 0;
                 if (n > 0 && st.held) {
                   const T u0 = (T)st.pair[0], u1 = (T)st.pair[1];
                   out[i] = (rho(u0) * k1<T>("Cos", T(u1 * two_pi<T>()))) * sc + a;
                   ex[i++] = exact_bm(u0, u1, true);
                 }
                 for (; i + 1 < n; i += 2) {
                   const T u0 = next<T>(s, T(0), T(1)), u1 = next<T>(s, T(0), T(1));
                   T sn, cs;
                   sincos1<T>(T(u1 * two_pi<T>()), &sn, &cs);
                   const T r = rho(u0);
                   out[i] = (r * sn) * sc + a, out[i + 1] = (r * cs) * sc + a;
                   ex[i] = exact_bm(u0, u1, false), ex[i + 1] = exact_bm(u0, u1, true);
                 }
                 if (n > 0) st.held = i < n;
                 if (i < n) {
                   const T u0 = next<T>(s, T(0), T(1)), u1 = next<T>(s, T(0), T(1));
                   st.pair[0] = u0, st.pair[1] = u1;
                   out[i] = (rho(u0) * k1<T>("Sin", T(u1 * two_pi<T>()))) * sc + a;
                   ex[i] = exact_bm(u0, u1, false);
                 }
               },
               gauss_cdf, tol});
  v.push_back({L + "Gaussian/ICDF", 2, typed<T>(gauss_entry),
               [=](int, GuxStream *s, int n, double *out, long double *ex, RefState &) {
                 for (int i = 0; i < n; ++i) {
                   const T u = next<T>(s, T(-1), T(1));
                   const T e = k1<T>("ErfInv", u);
                   out[i] = e * (sqrt2<T>() * sc) + a;
                   ex[i] = erfinv_exact(u, e) * sqrtl(2.0L) * sc + a;
                 }
               },
               gauss_cdf, tol, "ErfInv"});
  return v;
}

std::vector<Case> all_cases() {
  std::vector<Case> v = cases_of<double>(), s = cases_of<float>();
  v.insert(v.end(), s.begin(), s.end());
  v.push_back({"iUniform", 0,
               typed<int32_t>([](int m, GuxStream *s, int n, int32_t *r) {
                 return _guxiRngUniform(m, s, n, r, kIntLo, kIntHi);
               }),
               [](int, GuxStream *s, int n, double *out, long double *ex, RefState &) {
                 for (int i = 0; i < n; ++i) out[i] = ex[i] = std::floor(next<double>(s, kIntLo, kIntHi));
               },
               nullptr, 0});
  return v;
}

struct Generator {
  const char *name;
  int id;
  uint32_t seed;
};
const Generator kGenerators[] = {{"MCG31M1", GUX_BRNG_MCG31M1, 7},
                                 {"MCG59", GUX_BRNG_MCG59, 12345},
                                 {"MT19937", GUX_BRNG_MT19937, 5489}};

// Splits of a request of 2600 (past two blocks of 1024): one call, singles
// first, odd pieces, pieces across the block edges.
const std::vector<std::vector<int>> kSplits = {
    {2600}, {1, 1, 2598}, {3, 5, 7, 1023, 1, 1025, 536}, {1024, 1024, 552}, {2047, 2, 551}, {0, 13, 0, 2587}};

bool skip_missing(const Case &c) {
  if (!c.needs) return false;
  return c.name[0] == 'd' ? !has<double>(c.needs) : !has<float>(c.needs);
}

// ---- every entry x method x type x split x generator, bit for bit ------------
TEST(Distributions, MatchScalarRecurrenceForEverySplit) {
  for (const Case &c : all_cases()) {
    if (skip_missing(c)) continue;
    for (const Generator &g : kGenerators)
      for (const auto &split : kSplits) {
        SCOPED_TRACE(c.name + " " + g.name + " split " + std::to_string(&split - &kSplits[0]));
        Stream s(g.id, g.seed), copy(s);
        std::vector<double> got(2600), want(2600);
        std::vector<long double> exact(2600);
        RefState st;
        int pos = 0;
        for (int piece : split) {
          EXPECT_GE(c.draw(c.method, s.s, piece, got.data() + pos), 0);
          c.ref(c.method, copy.s, piece, want.data() + pos, exact.data() + pos, st);
          pos += piece;
        }
        int mismatches = 0, inexact = 0;
        for (int i = 0; i < pos; ++i) {
          if (memcmp(&got[i], &want[i], sizeof(double)) != 0 && mismatches++ < 3)
            ADD_FAILURE() << "element " << i << ": " << got[i] << " != " << want[i];
          const long double e = exact[i], err = fabsl(got[i] - e) / std::max(1.0L, fabsl(e));
          if (err > c.tolerance && inexact++ < 3) ADD_FAILURE() << "element " << i << " off the exact value by " << (double)err;
        }
        // Both streams are at the same place afterwards.
        double u1, u2;
        _guxdRngUniform(0, s.s, 1, &u1, 0, 1);
        _guxdRngUniform(0, copy.s, 1, &u2, 0, 1);
        EXPECT_EQ(u1, u2);
      }
  }
}

// Box-Muller2 split against one call: the same numbers and the same uniforms.
// In double the sine and cosine of a half pair equal those of SinCos; in
// single the LA kernels differ by an ulp or two, so the variates that straddle
// two calls are compared with that tolerance.
template <class T> void box_muller2_split() {
  for (const Generator &g : kGenerators)
    for (const auto &split : kSplits) {
      Stream one(g.id, g.seed), parts(g.id, g.seed);
      std::vector<T> whole(2600), pieces(2600);
      auto call = [](GuxStream *s, int n, T *r) {
        if constexpr (sizeof(T) == 8) return _guxdRngGaussian(1, s, n, r, 0.0, 1.0);
        else return _guxsRngGaussian(1, s, n, r, 0.0f, 1.0f);
      };
      call(one.s, 2600, whole.data());
      int pos = 0;
      std::vector<int> straddle;
      for (int p : split) {
        call(parts.s, p, pieces.data() + pos);
        if (p > 0 && ((pos & 1) || (p & 1))) straddle.push_back((pos + p - 1) & ~1), straddle.push_back(pos & ~1);
        pos += p;
      }
      for (int i = 0; i < 2600; ++i) {
        bool near = sizeof(T) == 4 && std::find(straddle.begin(), straddle.end(), i & ~1) != straddle.end();
        if (near) EXPECT_NEAR(pieces[i], whole[i], 4e-7 * std::max(1.0, std::fabs((double)whole[i]))) << i;
        else EXPECT_EQ(memcmp(&pieces[i], &whole[i], sizeof(T)), 0) << g.name << " element " << i;
      }
      double u1, u2;
      _guxdRngUniform(0, one.s, 1, &u1, 0, 1);
      _guxdRngUniform(0, parts.s, 1, &u2, 0, 1);
      EXPECT_EQ(u1, u2);
    }
}
TEST(Distributions, BoxMuller2SplitsGiveTheNumbersOfOneCall) {
  box_muller2_split<double>();
  box_muller2_split<float>();
}

// ---- chi-square against the exact laws ---------------------------------------
// 20 equiprobable cells, 20000 draws; the bound is the 0.999 quantile of
// chi-square with 19 degrees of freedom (17 for the 18 integers).
double chi_square(const std::vector<double> &p, int cells) {
  std::vector<double> count(cells, 0);
  for (double x : p) count[std::min(cells - 1, std::max(0, (int)(x * cells)))] += 1;
  const double e = (double)p.size() / cells;
  double chi = 0;
  for (double c : count) chi += (c - e) * (c - e) / e;
  return chi;
}

TEST(Distributions, ChiSquareAgainstTheExactLaw) {
  constexpr int kN = 20000;
  for (const Case &c : all_cases()) {
    if (skip_missing(c)) continue;
    for (const Generator &g : kGenerators) {
      Stream s(g.id, g.seed);
      std::vector<double> x(kN), p(kN);
      ASSERT_GE(c.draw(c.method, s.s, kN, x.data()), 0);
      const int cells = c.cdf ? 20 : kIntHi - kIntLo;
      for (int i = 0; i < kN; ++i) p[i] = c.cdf ? (double)c.cdf(x[i]) : (x[i] - kIntLo + 0.5) / cells;
      EXPECT_LT(chi_square(p, cells), c.cdf ? 43.82 : 40.79) << c.name << " on " << g.name;
    }
  }
}

// ---- multivariate Gaussian -----------------------------------------------------
// Lower factor L (row i, column j), dimension d; stored for each storage form.
template <class T> struct Factor {
  int d;
  std::vector<T> L, full, packed, diag, mean;
  explicit Factor(int dim) : d(dim), L(dim * dim, 0), full(dim * dim), packed(dim * (dim + 1) / 2), diag(dim), mean(dim) {
    const T nan = std::numeric_limits<T>::quiet_NaN();
    for (int i = 0; i < d; ++i) {
      mean[i] = T(0.5) * T(i) - T(1);
      for (int j = 0; j <= i; ++j) L[i * d + j] = i == j ? T(1) + T(0.25) * T(i) : T(0.125) * T(i - j) - T(0.3);
    }
    // Full: column-major upper triangle U = L' (U(j,i) = L(i,j)), NaN below.
    for (int c = 0; c < d; ++c)
      for (int r = 0; r < d; ++r) full[c * d + r] = r <= c ? L[c * d + r] : nan;
    // Packed: the lower triangle by columns.
    for (int c = 0, k = 0; c < d; ++c)
      for (int r = c; r < d; ++r) packed[k++] = L[r * d + c];
    for (int i = 0; i < d; ++i) diag[i] = L[i * d + i];
  }
};

template <class T> int mv(int method, GuxStream *s, int n, T *r, int d, int storage, const T *a, const T *t) {
  if constexpr (sizeof(T) == 8) return _guxdRngGaussianMV(method, s, n, r, d, storage, a, t);
  else return _guxsRngGaussianMV(method, s, n, r, d, storage, a, t);
}
template <class T> int gauss(int method, GuxStream *s, int n, T *r, T a, T sigma) {
  if constexpr (sizeof(T) == 8) return _guxdRngGaussian(method, s, n, r, a, sigma);
  else return _guxsRngGaussian(method, s, n, r, a, sigma);
}

template <class T> void mv_forms() {
  const double tol = sizeof(T) == 8 ? 1e-13 : 2e-6;
  for (int method : {0, 1, 2}) {
    if (method == 2 && !has<T>("ErfInv")) continue;
    for (int d : {2, 3, 10, 11, 16})
      for (int storage : {0, 1, 2, 7}) {
        SCOPED_TRACE(std::string(letter<T>()) + " method " + std::to_string(method) + " d " + std::to_string(d) +
                     " storage " + std::to_string(storage));
        Factor<T> f(d);
        const int n = 37;
        Stream s(GUX_BRNG_MT19937, 99), copy(s);
        std::vector<T> r(n * d), z(n * d);
        const T *t = storage == 0 ? f.full.data() : storage == 1 ? f.packed.data() : f.diag.data();
        ASSERT_EQ(mv<T>(method, s.s, n, r.data(), d, storage, f.mean.data(), t), 0);
        ASSERT_EQ(gauss<T>(method, copy.s, n * d, z.data(), T(0), T(1)), 0);
        for (int v = 0; v < n; ++v)
          for (int i = 0; i < d; ++i) {
            double want = z[v * d + i];
            if (storage == 2) {
              want = (double)(z[v * d + i] * f.diag[i] + f.mean[i]);
            } else if (storage < 2) {
              long double acc = 0;
              for (int j = 0; j <= i; ++j) acc += (long double)f.L[i * d + j] * z[v * d + j];
              want = (double)(acc + f.mean[i]);
            }
            const double got = r[v * d + i];
            ASSERT_TRUE(std::isfinite(got));
            if (storage >= 2) EXPECT_EQ(got, want) << v << "," << i;
            else EXPECT_NEAR(got, want, tol * (1 + std::fabs(want)) * d) << v << "," << i;
          }
      }
    // Dimension 1: mean a[0] and sigma t[0], whatever the storage word says.
    for (int storage : {0, 1, 2, 7}) {
      Stream s(GUX_BRNG_MCG59, 3), copy(s);
      const T a = T(2), t = T(0.5);
      std::vector<T> r(101), w(101);
      mv<T>(method, s.s, 101, r.data(), 1, storage, &a, &t);
      gauss<T>(method, copy.s, 101, w.data(), a, t);
      EXPECT_EQ(memcmp(r.data(), w.data(), sizeof(T) * 101), 0);
    }
  }
}
TEST(Distributions, MultivariateGaussianEveryStorage) {
  mv_forms<double>();
  mv_forms<float>();
}

// ---- a scripted generator: supplies chosen raw values and statuses ------------
struct Script {
  std::vector<double> raw;  // each output is raw * (b - a) + a
  size_t pos = 0;
  int status = 0;
} g_script;

int script_init(int, GuxStream *, int, const void *) { return 0; }
double script_next() { return g_script.raw[g_script.pos++ % g_script.raw.size()]; }
int script_d(GuxStream *, int n, double *r, double a, double b) {
  if (g_script.status < 0) return g_script.status;
  for (int i = 0; i < n; ++i) r[i] = script_next() * (b - a) + a;
  return g_script.status;
}
int script_s(GuxStream *, int n, float *r, float a, float b) {
  if (g_script.status < 0) return g_script.status;
  for (int i = 0; i < n; ++i) r[i] = (float)(script_next() * ((double)b - a) + a);
  return g_script.status;
}
int script_i(GuxStream *, int n, uint32_t *r) {
  if (g_script.status < 0) return g_script.status;
  for (int i = 0; i < n; ++i) r[i] = (uint32_t)(script_next() * 4294967296.0);
  return g_script.status;
}
int script_id() {
  static int id = [] {
    BrngProperties p{};
    p.stateSize = 64, p.seedCount = 1, p.includesZero = 1, p.wordSize = 4, p.bitCount = 32;
    p.initStream = script_init, p.sGenerate = script_s, p.dGenerate = script_d, p.iGenerate = script_i;
    return __guxRegisterBrng(&p);
  }();
  return id;
}
void script(std::vector<double> raw, int status = 0) { g_script.raw = raw, g_script.pos = 0, g_script.status = status; }

// Every guarded entry with a scripted singular uniform and its expected first value.
struct Singular {
  const char *name;
  std::vector<double> raw;
  std::function<int(GuxStream *, double *)> run;  // draws 2 variates
  double expect;
};
std::vector<Singular> singular_cases() {
  const double ln0 = -744.44007192138122, ln0s = -103.2789306640625;
  const double e1 = 5.8635847487551676, e1s = (double)3.832507f;
  auto d = [](auto f) { return [f](GuxStream *s, double *out) { return f(s, out); }; };
  auto s2 = [](auto f) {
    return [f](GuxStream *s, double *out) {
      float r[2];
      int st = f(s, r);
      out[0] = r[0], out[1] = r[1];
      return st;
    };
  };
  std::vector<Singular> v = {
      {"dExponential u=0", {0.0}, d([](GuxStream *s, double *r) { return _guxdRngExponential(0, s, 2, r, 1.0, 2.0); }),
       1.0 + 744.44007192138122 * 2.0},
      {"sExponential u=0", {0.0}, s2([](GuxStream *s, float *r) { return _guxsRngExponential(0, s, 2, r, 1.0f, 2.0f); }),
       (double)(1.0f - (float)ln0s * 2.0f)},
      {"dGaussian/0 u=0", {0.0, 0.25}, d([](GuxStream *s, double *r) { return _guxdRngGaussian(0, s, 2, r, 0.0, 1.0); }),
       std::sqrt(-2 * ln0)},
      {"dGaussian/1 u=0", {0.0, 0.25}, d([](GuxStream *s, double *r) { return _guxdRngGaussian(1, s, 2, r, 0.0, 1.0); }),
       std::sqrt(-2 * ln0)},
      {"sGaussian/0 u=0", {0.0, 0.25}, s2([](GuxStream *s, float *r) { return _guxsRngGaussian(0, s, 2, r, 0.0f, 1.0f); }),
       (double)std::sqrt(-2 * (float)ln0s)},
      {"sGaussian/1 u=0", {0.0, 0.25}, s2([](GuxStream *s, float *r) { return _guxsRngGaussian(1, s, 2, r, 0.0f, 1.0f); }),
       (double)std::sqrt(-2 * (float)ln0s)},
  };
  if (has<double>("ErfInv")) {
    v.push_back({"dGaussian/2 u=-1", {0.0}, d([](GuxStream *s, double *r) { return _guxdRngGaussian(2, s, 2, r, 0.0, 1.0); }),
                 -e1 * 1.4142135623730951});
    v.push_back({"dGaussian/2 u=+1", {1.0}, d([](GuxStream *s, double *r) { return _guxdRngGaussian(2, s, 2, r, 0.0, 1.0); }),
                 e1 * 1.4142135623730951});
  }
  if (has<float>("ErfInv")) {
    v.push_back({"sGaussian/2 u=-1", {0.0}, s2([](GuxStream *s, float *r) { return _guxsRngGaussian(2, s, 2, r, 0.0f, 1.0f); }),
                 (double)(-(float)e1s * 0x1.6a09e6p+0f)});
    v.push_back({"sGaussian/2 u=+1", {1.0}, s2([](GuxStream *s, float *r) { return _guxsRngGaussian(2, s, 2, r, 0.0f, 1.0f); }),
                 (double)((float)e1s * 0x1.6a09e6p+0f)});
  }
  return v;
}

int sentinel_callback(BexErrorContext *) { return 1; }

// The caller's environment as the guard must leave it.
struct Env {
  unsigned mode;
  BexErrorCallBack cb;
  int err;
  uint32_t mxcsr;
  uint16_t x87;
  static Env now() {
    Env e{_bexGetMode(), _bexGetErrorCallBack(), errno, _mm_getcsr(), 0};
    __asm__ volatile("fnstcw %0" : "=m"(e.x87));
    return e;
  }
};

TEST(Distributions, SingularUniformsGetTheFixUpWhateverTheCallersMode) {
  GuxStream *s = nullptr;
  ASSERT_GT(script_id(), 0);
  ASSERT_EQ(__guxNewStreamEx(&s, script_id(), 1, nullptr), 0);
  // Caller modes: the default; no error reporting with flushing on and traps
  // in the mode word; a callback with exceptions unmasked in MXCSR and x87.
  struct Caller {
    unsigned mode;
    BexErrorCallBack cb;
    uint32_t mxcsr_clear;
    uint16_t x87_clear;
  } callers[] = {{BEX_MODE_DEFAULT, nullptr, 0, 0},
                 {BEX_ERRMODE_NOERR | BEX_FTZDAZ_ON | BEX_TRAP_INVALID | BEX_TRAP_DIVBYZERO | BEX_LA, nullptr, 0, 0},
                 {BEX_ERRMODE_CALLBACK | BEX_ERRMODE_ERRNO | BEX_HA, sentinel_callback, 0x280, 0x5}};
  const unsigned saved_mode = _bexGetMode();
  const uint32_t saved_csr = _mm_getcsr();
  uint16_t saved_cw;
  __asm__ volatile("fnstcw %0" : "=m"(saved_cw));
  for (const Singular &c : singular_cases())
    for (const Caller &k : callers) {
      SCOPED_TRACE(std::string(c.name) + " caller mode " + std::to_string(k.mode));
      _bexSetMode(k.mode);
      _bexSetErrorCallBack(k.cb);
      _mm_setcsr((saved_csr | 0x1f80) & ~k.mxcsr_clear);
      const uint16_t cw = (uint16_t)((saved_cw | 0x3f) & ~k.x87_clear);
      __asm__ volatile("fnclex\n\tfldcw %0" : : "m"(cw));
      errno = 4321;
      const Env before = Env::now();
      script(c.raw);
      double r[2];
      const int st = c.run(s, r);
      const Env after = Env::now();
      const int err = errno;
      _mm_setcsr(saved_csr);
      __asm__ volatile("fnclex\n\tfldcw %0" : : "m"(saved_cw));
      _bexSetErrorCallBack(nullptr);
      _bexSetMode(saved_mode);
      EXPECT_EQ(st, 0);
      EXPECT_TRUE(std::isfinite(r[0]) && std::isfinite(r[1]));
      // The exponential is exact; the Gaussian radius goes through Sqrt and Sin.
      EXPECT_NEAR(r[0], c.expect, 0x1p-23 * std::fabs(c.expect));
      EXPECT_EQ(err, 4321);
      // The kernel bracket restores every field it found set; a denormal field
      // that was empty is left at 0x140000.
      const unsigned bracketed = (before.mode & BEX_DENORMAL_MASK) ? before.mode : before.mode | BEX_FTZDAZ_OFF;
      EXPECT_EQ(after.mode, bracketed);
      EXPECT_EQ(after.cb, before.cb);
      EXPECT_EQ(after.mxcsr, before.mxcsr);
      EXPECT_EQ(after.x87, before.x87);
    }
  __guxDeleteStream(&s);
}

// A failing generator: every entry passes its status on, with the caller's
// mode and callback restored.
TEST(Distributions, NegativeGeneratorStatusIsReturned) {
  GuxStream *s = nullptr;
  ASSERT_EQ(__guxNewStreamEx(&s, script_id(), 1, nullptr), 0);
  script({0.5}, GUX_STATUS_ABSTRACT_NO_NUMBERS);
  _bexSetErrorCallBack(sentinel_callback);
  const unsigned mode = _bexGetMode();
  double d[8], t[4] = {1, 0, 0, 1}, a[2] = {0, 0};
  float f[8], ts[4] = {1, 0, 0, 1}, as[2] = {0, 0};
  int32_t i[8];
  uint32_t u[16];
  uint64_t w[8];
  const int want = GUX_STATUS_ABSTRACT_NO_NUMBERS;
  for (int m : {0, GUX_METHOD_ACCURATE_FLAG}) {
    EXPECT_EQ(_guxdRngUniform(m, s, 8, d, 0, 1), want);
    EXPECT_EQ(_guxsRngUniform(m, s, 8, f, 0, 1), want);
    EXPECT_EQ(_guxdRngExponential(m, s, 8, d, 0, 1), want);
    EXPECT_EQ(_guxsRngExponential(m, s, 8, f, 0, 1), want);
  }
  EXPECT_EQ(_guxiRngUniform(0, s, 8, i, 0, 9), want);
  EXPECT_EQ(_guxiRngUniformBits(0, s, 8, u), want);
  for (int m = 0; m < 3; ++m) {
    if (m == 2 && !has<double>("ErfInv")) continue;
    EXPECT_EQ(_guxdRngGaussian(m, s, 7, d, 0, 1), want);
    EXPECT_EQ(_guxsRngGaussian(m, s, 7, f, 0, 1), want);
    for (int storage = 0; storage < 3; ++storage) {
      EXPECT_EQ(_guxdRngGaussianMV(m, s, 3, d, 2, storage, a, t), want);
      EXPECT_EQ(_guxsRngGaussianMV(m, s, 3, f, 2, storage, as, ts), want);
    }
  }
  EXPECT_EQ(_guxiRngUniformBits32(0, s, 8, u), GUX_STATUS_NO_UNIFORM_BITS);  // not a row of the table
  EXPECT_EQ(_guxiRngUniformBits64(0, s, 8, w), GUX_STATUS_NO_UNIFORM_BITS);
  EXPECT_EQ(_bexGetErrorCallBack(), sentinel_callback);
  EXPECT_EQ(_bexGetMode(), mode);
  _bexSetErrorCallBack(nullptr);
  __guxDeleteStream(&s);
}

// Methods outside the table are refused, nothing written, the stream unmoved.
TEST(Distributions, BadGaussianMethodIsRefused) {
  Stream s(GUX_BRNG_MCG31M1, 1), copy(s);
  double d[4] = {7, 7, 7, 7};
  for (int m : {-1, 3, GUX_METHOD_ACCURATE_FLAG}) {
    EXPECT_EQ(_guxdRngGaussian(m, s.s, 4, d, 0, 1), GUX_STATUS_BAD_ARGUMENT);
    EXPECT_EQ(d[0], 7);
  }
  double u1, u2;
  _guxdRngUniform(0, s.s, 1, &u1, 0, 1);
  _guxdRngUniform(0, copy.s, 1, &u2, 0, 1);
  EXPECT_EQ(u1, u2);
}

// ---- the documented edge cases -------------------------------------------------
TEST(Distributions, EdgeCases) {
  GuxStream *s = nullptr;
  ASSERT_EQ(__guxNewStreamEx(&s, script_id(), 1, nullptr), 0);
  // Integer uniform is floor: -0.5 on [-1, 1) gives -1, 0.5 gives 0.
  script({0.25, 0.75, 0.0, 0.999});
  int32_t k[4];
  EXPECT_EQ(_guxiRngUniform(0, s, 4, k, -1, 1), 0);
  EXPECT_EQ(k[0], -1);
  EXPECT_EQ(k[1], 0);
  EXPECT_EQ(k[2], -1);
  EXPECT_EQ(k[3], 0);
  // The accurate flag keeps a uniform inside [a, b], NaN included; without it
  // the generator's rounding shows.
  for (int m : {0, GUX_METHOD_ACCURATE_FLAG}) {
    script({1.0 + 0x1p-40, -0x1p-40, std::nan("")});
    double d[3];
    _guxdRngUniform(m, s, 3, d, 2.0, 3.0);
    float f[3];
    script({1.0 + 0x1p-20, -0x1p-20, std::nan("")});
    _guxsRngUniform(m, s, 3, f, 2.0f, 3.0f);
    if (m) {
      EXPECT_EQ(d[0], 3.0);
      EXPECT_EQ(d[1], 2.0);
      EXPECT_EQ(d[2], 2.0);
      EXPECT_EQ(f[0], 3.0f);
      EXPECT_EQ(f[1], 2.0f);
      EXPECT_EQ(f[2], 2.0f);
    } else {
      EXPECT_GT(d[0], 3.0);
      EXPECT_LT(d[1], 2.0);
      EXPECT_GT(f[0], 3.0f);
    }
  }
  // The exponential's accurate flag: max(a, x).
  script({1.0});
  double e;
  _guxdRngExponential(GUX_METHOD_ACCURATE_FLAG, s, 1, &e, 0.5, 1.0);
  EXPECT_EQ(e, 0.5);
  __guxDeleteStream(&s);
}

TEST(Distributions, BoxMuller2SavedPair) {
  for (int id : {GUX_BRNG_MCG31M1, GUX_BRNG_MT19937}) {
    Stream s(id, 11), copy(s);
    double r[2], r2[2];
    // n = 1 twice: the two halves of one pair, two uniforms consumed.
    _guxdRngGaussian(1, s.s, 1, r, 0, 1);
    const double *pair = (const double *)__guxSearchChunk(s.s, 2);
    ASSERT_NE(pair, nullptr);
    EXPECT_NE(pair[0], -1.0);
    {
      Stream carried(s);  // a copy carries the pair
      _guxdRngGaussian(1, carried.s, 1, r2, 0, 1);
    }
    _guxdRngGaussian(1, s.s, 1, r + 1, 0, 1);
    EXPECT_EQ(r2[0], r[1]);
    double both[2];
    _guxdRngGaussian(1, copy.s, 2, both, 0, 1);
    EXPECT_EQ(both[0], r[0]);
    EXPECT_EQ(both[1], r[1]);
    // After an even count the pair is empty.
    pair = (const double *)__guxSearchChunk(s.s, 2);
    EXPECT_EQ(pair[0], -1.0);
    EXPECT_EQ(pair[1], -1.0);
    // The float and the double pair on one stream stay apart.
    Stream mixed(id, 5), dref(id, 5);
    float f[3];
    double d[2], dr[2];
    _guxdRngGaussian(1, mixed.s, 1, d, 0, 1);
    _guxsRngGaussian(1, mixed.s, 3, f, 0, 1);
    _guxdRngGaussian(1, mixed.s, 1, d + 1, 0, 1);
    _guxdRngGaussian(1, dref.s, 2, dr, 0, 1);
    EXPECT_EQ(d[0], dr[0]);
    EXPECT_EQ(d[1], dr[1]);
    EXPECT_NE(__guxSearchChunk(mixed.s, 1), nullptr);
  }
}

// ---- uniform bits ----------------------------------------------------------------
TEST(Distributions, UniformBitsByGenerator) {
  {
    Stream s(GUX_BRNG_MCG59, 12345);
    std::vector<uint64_t> words = ref::mcg59({12345}, 2 * 2049 + 3 + 4 * 2049 + 6);
    std::vector<uint32_t> got(2049 + 3);
    std::vector<uint64_t> got64(2049 + 3);
    EXPECT_EQ(_guxiRngUniformBits32(0, s.s, 2049 + 3, got.data()), 0);
    EXPECT_EQ(_guxiRngUniformBits64(0, s.s, 2049 + 3, got64.data()), 0);
    for (size_t i = 0; i < got.size(); ++i) ASSERT_EQ(got[i], (uint32_t)(words[i] >> 27)) << i;
    for (size_t i = 0; i < got64.size(); ++i) {
      const size_t w = got.size() + 2 * i;
      ASSERT_EQ(got64[i], (uint64_t)(uint32_t)(words[w] >> 27) | (uint64_t)(uint32_t)(words[w + 1] >> 27) << 32) << i;
    }
  }
  for (int id : {GUX_BRNG_MT19937, GUX_BRNG_MT2203, GUX_BRNG_SFMT19937}) {
    Stream s(id, 77), copy(s);
    std::vector<uint32_t> raw(3 * 1001), got(1001);
    std::vector<uint64_t> got64(1001);
    EXPECT_EQ(_guxiRngUniformBits(0, copy.s, 3 * 1001, raw.data()), 0);
    EXPECT_EQ(_guxiRngUniformBits32(0, s.s, 1001, got.data()), 0);
    EXPECT_EQ(_guxiRngUniformBits64(0, s.s, 1001, got64.data()), 0);
    EXPECT_EQ(memcmp(got.data(), raw.data(), 4 * 1001), 0);
    EXPECT_EQ(memcmp(got64.data(), raw.data() + 1001, 8 * 1001), 0);
  }
  for (int id : {GUX_BRNG_MCG31M1, GUX_BRNG_R250, GUX_BRNG_MRG32K3A, GUX_BRNG_WH}) {
    Stream s(id, 3), copy(s);
    uint32_t w[4] = {9, 9, 9, 9};
    uint64_t w64[2] = {9, 9};
    EXPECT_EQ(_guxiRngUniformBits32(0, s.s, 4, w), GUX_STATUS_NO_UNIFORM_BITS);
    EXPECT_EQ(_guxiRngUniformBits64(0, s.s, 2, w64), GUX_STATUS_NO_UNIFORM_BITS);
    EXPECT_EQ(w[0], 9u);
    EXPECT_EQ(w64[0], 9u);
    double u1, u2;
    _guxdRngUniform(0, s.s, 1, &u1, 0, 1);
    _guxdRngUniform(0, copy.s, 1, &u2, 0, 1);
    EXPECT_EQ(u1, u2);
  }
  // Bits of the generator's own word size, and chi-square over the top bits.
  for (const Generator &g : kGenerators) {
    Stream s(g.id, g.seed);
    std::vector<uint32_t> w(40000);
    ASSERT_EQ(_guxiRngUniformBits(0, s.s, 20000, w.data()), 0);
    if (g.id == GUX_BRNG_MCG31M1) continue;  // 31-bit values
    std::vector<double> p(20000);
    Stream b(g.id, g.seed);
    if (_guxiRngUniformBits32(0, b.s, 20000, w.data()) == 0) {
      for (int i = 0; i < 20000; ++i) p[i] = w[i] * 0x1p-32;
      EXPECT_LT(chi_square(p, 20), 43.82) << g.name;
    }
  }
}

}  // namespace
