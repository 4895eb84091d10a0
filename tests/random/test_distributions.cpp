// Distribution generators beyond the composition tables of
// test_dist_continuous.cpp: the multivariate Gaussian against L z + a of the
// Gaussian generator's z in every storage; singular uniforms under any
// caller environment; statuses; edge values with a scripted generator; the
// Box-Muller2 saved pair; uniform bits.
#include <errno.h>
#include <gtest/gtest.h>
#include <string.h>
#include <xmmintrin.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "random/dist_test_util.h"
#include "random/reference.h"

namespace {

using namespace dist_test;

// 20 equiprobable cells; the bound is the 0.999 quantile of chi-square with 19
// degrees of freedom.
double chi_square(const std::vector<double> &p, int cells) {
  std::vector<double> count(cells, 0);
  for (double x : p) count[std::min(cells - 1, std::max(0, (int)(x * cells)))] += 1;
  double chi = 0, e = (double)p.size() / cells;
  for (double c : count) chi += (c - e) * (c - e) / e;
  return chi;
}

// ---- multivariate: L z + a against the Gaussian generator's z -----------------------
template <class T> void mv_forms() {
  for (int method = 0; method < 3; ++method) {
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
        ASSERT_EQ(GaussianMV<T>(method, s.s, n, r.data(), d, storage, mean.data(), t), 0);
        ASSERT_EQ(Gaussian<T>(method, copy.s, n * d, z.data(), T(0), T(1)), 0);
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
      GaussianMV<T>(method, s.s, 101, r.data(), 1, storage, &a, &t);
      Gaussian<T>(method, copy.s, 101, w.data(), a, t);
      EXPECT_EQ(memcmp(r.data(), w.data(), sizeof(T) * 101), 0);
    }
  }
}
TEST(Distributions, MultivariateGaussianEveryStorage) { mv_forms<double>(), mv_forms<float>(); }

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
  cases.insert(cases.end(), {{"dGaussian/2 u=-1", 0, -e1 * sqrt2<double>(), d(_guxdRngGaussian, 2)},
                             {"dGaussian/2 u=+1", 1, e1 * sqrt2<double>(), d(_guxdRngGaussian, 2)},
                             {"sGaussian/2 u=-1", 0, -e1s * sqrt2<float>(), s(_guxsRngGaussian, 2)},
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
      Scripted sc({c.raw, 0.25});
      GuxStream *st = sc.s;
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
  Scripted sc({0.5}, fail);
  GuxStream *s = sc.s;
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
    for (int storage = 0; storage < 3; ++storage) {
      EXPECT_EQ(_guxdRngGaussian(m, s, 7, d, 0, 1) + _guxsRngGaussian(m, s, 7, f, 0, 1), 2 * fail);
      EXPECT_EQ(_guxdRngGaussianMV(m, s, 3, d, 2, storage, a, t) + _guxsRngGaussianMV(m, s, 3, f, 2, storage, as, ts),
                2 * fail);
    }
  EXPECT_EQ(_guxiRngUniformBits32(0, s, 8, u), GUX_STATUS_NO_UNIFORM_BITS);  // a row past the sixteen
  EXPECT_EQ(_bexGetErrorCallBack(), sentinel);
  EXPECT_EQ(_bexGetMode(), mode);
  _bexSetErrorCallBack(nullptr);

  Stream g(GUX_BRNG_MCG31M1, 1), copy(g);
  d[0] = 7;
  for (int m : {-1, 3, GUX_METHOD_ACCURATE_FLAG}) EXPECT_EQ(_guxdRngGaussian(m, g.s, 4, d, 0, 1), GUX_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(d[0], 7);
  EXPECT_EQ(next_d(g.s), next_d(copy.s));
}

TEST(Distributions, EdgeCases) {
  // Integer uniform is floor: -0.5 on [-1, 1) gives -1.
  int32_t k[4];
  EXPECT_EQ(_guxiRngUniform(0, Scripted({0.25, 0.75, 0.0, 0.999}).s, 4, k, -1, 1), 0);
  EXPECT_EQ(std::vector<int32_t>(k, k + 4), (std::vector<int32_t>{-1, 0, -1, 0}));
  // The accurate flag clamps into [a, b], NaN to a; without it rounding shows.
  for (int m : {0, GUX_METHOD_ACCURATE_FLAG}) {
    double d[3];
    float f[3];
    Scripted sc({1.0 + 0x1p-20, -0x1p-20, NAN});
    _guxdRngUniform(m, sc.s, 3, d, 2.0, 3.0);
    _guxsRngUniform(m, sc.s, 3, f, 2.0f, 3.0f);
    using V = std::vector<double>;
    const V want = m ? V{3, 2, 2, 3, 2, 2} : V{3 + 0x1p-20, 2 - 0x1p-20, 3 + 0x1p-20};
    const V got = m ? V{d[0], d[1], d[2], f[0], f[1], f[2]} : V{d[0], d[1], f[0]};
    EXPECT_EQ(want, got);
  }
  double e;
  _guxdRngExponential(GUX_METHOD_ACCURATE_FLAG, Scripted({1.0}).s, 1, &e, 0.5, 1.0);  // ln 1 = 0: exactly a
  EXPECT_EQ(e, 0.5);
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
