// Poisson, PoissonV and Multinomial: the inversion paths against plain scalar
// recomputations on a copied stream (same uniforms, same kernels, bit for bit)
// over entries x means x splits x generators; every method and range by
// chi-square against the exact Poisson law; Multinomial marginals and
// covariances; the set-up chunk as a cache; statuses and edges.
#include <gsl/gsl_cdf.h>
#include <gsl/gsl_randist.h>
#include <gtest/gtest.h>
#include <string.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "qor/qor_bex.h"
#include "qor/qor_random_brng.h"
#include "qor/qor_random_dist.h"
#include "random/dist_test_util.h"

namespace {
#include "random/distributions/poisson_normal_table.inc"

using namespace dist_test;

// ---- plain recomputations ------------------------------------------------------
// Method 0 below 27: the smallest k with u < F(k), F summed from exp(-lambda).
int table_count(double lambda, double u) {
  double p = k1<double>("Exp", -lambda, 1), f = p;
  for (int k = 0;; ++k) {
    if (u < f) return k;
    p = p * lambda / (k + 1);
    if (f + p == f && k > lambda) return k + 1;
    f += p;
  }
}
// From mean 1 to 32 the normal method inverts the law at u = Phi(g): the
// smallest k with u < F(k), all in long double (erfc and F summed here).
int32_t exact_normal(double lam, float g) {
  const long double u = 0.5L * std::erfc(-(long double)g / std::sqrt(2.0L));
  long double p = std::exp(-(long double)lam), f = p;
  int32_t k = 0;
  while (!(u < f) && k < 1000) ++k, p *= lam / k, f += p;
  return k;
}
// From 32 on, the cubic alone: the factors from the table rows below 100,
// the closed form above.
struct Factors { float a, b, c1, c2, c3, ylo = -INFINITY; };
double cubic(const double *p, double m) { return p[0] + m * (p[1] + m * (p[2] + m * p[3])); }
Factors factors(double lam) {
  if (lam < 100) {
    const int e = (int)std::floor(std::log2(lam));
    const double m = lam / std::ldexp(1.0, e) - 1, *r = kPoissonNormalRows[e];
    Factors f{(float)(cubic(r, m) + m * m * m * m * cubic(r + 4, m)), (float)cubic(r + 8, m), (float)cubic(r + 12, m),
              (float)cubic(r + 16, m), (float)cubic(r + 20, m)};
    if (f.c3 < 0)  // the turning point, left of which the count is 0
      f.ylo = (float)((-(double)f.c2 + std::sqrt((double)f.c2 * f.c2 - 3.0 * f.c3 * (1.0 + f.c1))) / (3.0 * f.c3));
    return f;
  }
  const double t = 1 / lam;
  auto poly = [t](std::vector<double> c) { double s = 0; for (int i = 4; i >= 0; --i) s = s * t + c[i]; return s * t; };
  return {(float)((-0.66669571979999998 + lam) + ((0.0016451537090000001 * t - 0.0012887193080000001) * t - 0.019410208620000001) * t),
          (float)std::sqrt(-0.055806676280000002 + lam),
          (float)poly({0.00774710541609, -0.443911391797447, 2.29098262740971, -3.85841212878712, 2.02847035732762}),
          (float)poly({0.168577008904505, 0.0472242348292688, -0.228162379800275, 0.358642226989579, -0.185436433294704}),
          (float)poly({-0.0001145865551857, -0.0126559989233446, 0.0232257954288354, -0.0291113093667918, 0.014389264627966})};
}
int32_t cubic_count(float z, const Factors &f) {
  const float y = z - f.a, x = z + 1.0f + y * ((f.c3 * y + f.c2) * y + f.c1);
  return y >= f.ylo && x > 0 ? (int32_t)x : 0;
}
// Below mean 1: the first k of the float chain above u (11 past it).
int32_t chain(double lam, float u) {
  double p = k1<double>("Exp", -lam, 1), s = p;
  int k = 0;
  while (k < 11 && !(u < (float)s)) ++k, p = p * lam / k, s += p;
  return k;
}
float normal(GuxStream *s, float a, float b) {
  float g;
  _guxsRngGaussian(2, s, 1, &g, a, b);
  return g;
}
int32_t normal_ref(GuxStream *s, double lam) {
  if (lam < 1) return chain(lam, next_f(s));
  if (lam < 32) return exact_normal(lam, normal(s, 0, 1));
  const Factors f = factors(lam);
  return cubic_count(normal(s, f.a, f.b), f);
}
int32_t vector_ref(GuxStream *s, double lam) {
  const float g = normal(s, 0, 1);
  if (lam < 1) return chain(lam, 0.5f + 0.5f * k1<float>("Erf", g * 0x1.6a09e6p-1f, 0));
  if (lam < 32) return exact_normal(lam, g);
  const Factors f = factors(lam);
  return cubic_count(g * f.b + f.a, f);
}

// ---- the exact cases: entry x mean ---------------------------------------------------
const std::vector<double> kMeans = {0.0, 0.3, 0.999, 1.0, 1.7, 3.25, 5.72, 26.999, 31.999, 32.0, 63.9, 99.99, 100.0, 1234.5};
const std::vector<double> kMeansV = {0.2, 5.5, 0.9, 1.0, 150.0, 31.0, 99.5, 0.0, 2.0, 32.0, 14.25};
struct Exact {
  std::string name;
  std::function<int(GuxStream *, int, int32_t *, int)> draw;  // (stream, n, r, position)
  std::function<int32_t(GuxStream *, int)> ref;               // (copied stream, position)
};
std::vector<Exact> exact_cases() {
  std::vector<Exact> v;
  for (double lam : kMeans) {
    const std::string l = std::to_string(lam);
    if (lam < 27)
      v.push_back({"Poisson/0 " + l, [lam](GuxStream *s, int n, int32_t *r, int) { return _guxiRngPoisson(0, s, n, r, lam); },
                   [lam](GuxStream *s, int) { return table_count(lam, next_d(s)); }});
    v.push_back({"Poisson/1 " + l, [lam](GuxStream *s, int n, int32_t *r, int) { return _guxiRngPoisson(1, s, n, r, lam); },
                 [lam](GuxStream *s, int) { return normal_ref(s, lam); }});
  }
  static std::vector<double> means;
  for (int i = 0; i < 2600; ++i) means.push_back(kMeansV[i % kMeansV.size()]);
  v.push_back({"PoissonV", [](GuxStream *s, int n, int32_t *r, int pos) { return _guxiRngPoissonV(0, s, n, r, means.data() + pos); },
               [](GuxStream *s, int pos) { return vector_ref(s, means[pos]); }});
  return v;
}
const std::vector<std::vector<int>> &kSplits = kSplits2600;

TEST(PoissonDist, InversionPathsEveryMeanSplitAndGenerator) {
  for (const Exact &c : exact_cases())
    for (const Generator &g : kGenerators)
      for (const auto &split : kSplits) {
        SCOPED_TRACE(c.name + " on " + g.name + ", split " + std::to_string(&split - &kSplits[0]));
        Stream s(g.id, g.seed), copy(s);
        std::vector<int32_t> got(2600);
        int pos = 0, bad = 0;
        for (int piece : split) {
          ASSERT_GE(c.draw(s.s, piece, got.data() + pos, pos), 0);
          pos += piece;
        }
        for (int i = 0; i < 2600; ++i) {
          const int32_t want = c.ref(copy.s, i);
          if (got[i] != want && bad++ < 3) ADD_FAILURE() << i << ": " << got[i] << " want " << want;
        }
        EXPECT_EQ(next_d(s.s), next_d(copy.s));  // the same uniforms consumed
      }
}

// ---- chi-square against the exact law --------------------------------------------------
// Cells of consecutive counts with at least 20 expected, tails pooled.
double chi_p(const std::vector<int32_t> &x, const std::function<double(int)> &pmf, int lo, int hi) {
  std::vector<double> count(hi - lo + 1, 0), prob(hi - lo + 1, 0);
  for (int32_t k : x) count[std::min(std::max(k, lo), hi) - lo] += 1;
  double below = 0;
  for (int k = 0; k < lo; ++k) below += pmf(k);
  prob[0] = below;
  double sum = below;
  for (int k = lo; k < hi; ++k) prob[k - lo] += pmf(k), sum += pmf(k);
  prob[hi - lo] = 1 - sum;
  double chi = 0, c = 0, p = 0, n = x.size();
  int df = -1;
  for (size_t i = 0; i < prob.size(); ++i) {
    c += count[i], p += prob[i];
    if (p * n >= 20 || i + 1 == prob.size()) {
      chi += (c - n * p) * (c - n * p) / (n * p), ++df, c = 0, p = 0;
    }
  }
  return gsl_cdf_chisq_Q(chi, df);
}
double poisson_pmf(double lam, int k) { return std::exp(k * std::log(lam) - lam - std::lgamma(k + 1.0)); }
void poisson_range(double lam, int *lo, int *hi) {
  const double w = 8 * std::sqrt(lam) + 10;
  *lo = std::max(0, (int)(lam - w)), *hi = (int)(lam + w);
}

TEST(PoissonDist, ChiSquareEveryMethodAndRange) {
  struct Law { int method; double lam; int n; };
  std::vector<Law> laws;
  // The normal method on both sides of 1, each binary exponent and 100.
  for (double lam : {0.5, 0.999, 1.0, 1.5, 1.999, 2.0, 3.0, 4.0, 5.0, 5.72, 6.0, 8.0, 12.0, 16.0, 27.0, 32.0, 64.0, 99.99, 100.0, 250.0})
    laws.push_back({1, lam, 1000000});
  // PTPE and the table on both sides of 27, and at large means.
  for (double lam : {0.5, 5.0, 26.999, 27.0, 40.0, 150.0, 1000.0, 1e5, 1e7}) laws.push_back({0, lam, 400000});
  std::string out;
  for (const Law &l : laws)
    for (const Generator &g : {kGenerators[1], kGenerators[2]}) {
      Stream s(g.id, g.seed);
      std::vector<int32_t> x(l.n);
      ASSERT_EQ(_guxiRngPoisson(l.method, s.s, l.n, x.data(), l.lam), 0);
      int lo, hi;
      poisson_range(l.lam, &lo, &hi);
      const double p = chi_p(x, [&](int k) { return poisson_pmf(l.lam, k); }, lo, hi);
      EXPECT_GT(p, 1e-4) << "method " << l.method << " lambda " << l.lam << " on " << g.name;
      char line[128];
      snprintf(line, sizeof line, "  Poisson/%d lambda %-9g %-8s n %-7d p = %.3f\n", l.method, l.lam, g.name, l.n, p);
      out += line;
    }
  // PoissonV: 400000 draws over means cycling through all ranges.
  const std::vector<double> means = {0.3, 0.999, 1.0, 2.5, 7.0, 50.0, 100.0, 400.0};
  std::vector<double> lam(800000);
  for (size_t i = 0; i < lam.size(); ++i) lam[i] = means[i % means.size()];
  Stream s(GUX_BRNG_MT19937, 77);
  std::vector<int32_t> x(lam.size());
  ASSERT_EQ(_guxiRngPoissonV(0, s.s, (int)x.size(), x.data(), lam.data()), 0);
  for (size_t j = 0; j < means.size(); ++j) {
    std::vector<int32_t> y;
    for (size_t i = j; i < x.size(); i += means.size()) y.push_back(x[i]);
    int lo, hi;
    poisson_range(means[j], &lo, &hi);
    const double p = chi_p(y, [&](int k) { return poisson_pmf(means[j], k); }, lo, hi);
    EXPECT_GT(p, 1e-4) << "PoissonV lambda " << means[j];
    char line[128];
    snprintf(line, sizeof line, "  PoissonV  lambda %-9g n %-7zu p = %.3f\n", means[j], y.size(), p);
    out += line;
  }
  printf("chi-square p-values:\n%s", out.c_str());
}

// Rows sum to ntrial; each marginal is binomial (chi-square); covariances are
// -ntrial p_i p_j (z-score of the sample covariance).
TEST(PoissonDist, MultinomialMarginalsAndCovariances) {
  const std::vector<double> p = {0.1, 0.2, 0.3, 0.4 * 1.0004};
  const double sum = 1.00016;
  std::string out;
  for (int ntrial : {5, 15, 16, 17, 100, 3000}) {
    const int n = 200000, k = 4;
    Stream s(GUX_BRNG_MCG59, 321);
    std::vector<int32_t> r(n * k);
    ASSERT_EQ(_guxiRngMultinomial(0, s.s, n, r.data(), ntrial, k, p.data()), 0);
    for (int i = 0; i < n; ++i) ASSERT_EQ(r[i * k] + r[i * k + 1] + r[i * k + 2] + r[i * k + 3], ntrial) << i;
    for (int j = 0; j < k; ++j) {
      std::vector<int32_t> m;
      for (int i = 0; i < n; ++i) m.push_back(r[i * k + j]);
      const double q = p[j] / sum, mean = ntrial * q, w = 8 * std::sqrt(mean) + 10;
      const double pv = chi_p(m, [&](int c) { return gsl_ran_binomial_pdf(c, q, ntrial); }, std::max(0, (int)(mean - w)),
                              std::min(ntrial, (int)(mean + w)));
      EXPECT_GT(pv, 1e-4) << "ntrial " << ntrial << " category " << j;
      char line[96];
      snprintf(line, sizeof line, "  Multinomial ntrial %-5d category %d p = %.3f\n", ntrial, j, pv);
      out += line;
      for (int l = j + 1; l < k; ++l) {
        double c = 0, ml = ntrial * p[l] / sum;
        for (int i = 0; i < n; ++i) c += (r[i * k + j] - mean) * (r[i * k + l] - ml);
        const double want = -ntrial * q * p[l] / sum, sd = ntrial * std::sqrt(q * p[l] / sum) * 1.5 / std::sqrt(n);
        EXPECT_NEAR(c / n, want, 5 * sd + 1e-12) << "ntrial " << ntrial << " cov " << j << "," << l;
      }
    }
  }
  printf("Multinomial marginal chi-square p-values:\n%s", out.c_str());
}

// The rejection is exact when its regions enclose the law the right way: the
// triangle (always accepted) lies under f(y)/f(M) on every cell y, and the
// whole hat (triangle plus band c on [xl, xr], exponential tails beyond) lies
// above it. Checked cell by cell at each piece's extreme, the set-up
// recomputed from its constants.
TEST(PoissonDist, RejectionHatEnclosesTheLaw) {
  for (double lam : {27.0, 27.5, 28.0, 30.0, 35.0, 50.0, 64.0, 100.0, 150.0, 500.0, 1e3, 1e4, 1e5, 1e6, 1e7, 1e9}) {
    const double M = (int32_t)lam, p1 = (int32_t)(2.1949999332427979 * std::sqrt(M) - 2.2000000476837158) + 0.5;
    const double c = 0.13300000131130219 + 8.5600004196166992 / (6.8299999237060547 + M);
    const double xm = M + 0.5, xl = xm - p1, xr = xm + p1, al = (lam - xl) / lam, ar = (xr - lam) / xr;
    const double lam_l = al * (1 + al / 2), lam_r = ar * (1 + ar / 2);
    auto ratio = [&](double y) { return std::exp((y - M) * std::log(lam) - std::lgamma(y + 1) + std::lgamma(M + 1)); };
    auto tri = [&](double x) { return 1 - std::fabs(x - xm) / p1; };
    const double w = 14 * std::sqrt(lam) + 40;
    int bad = 0;
    for (double y = std::max(0.0, std::floor(M - w)); y <= M + w; ++y) {
      const double f = ratio(y) * (1 + 1e-9), lo = std::max(y, xl), hi = std::min(y + 1, xr);
      bool ok = true;
      if (lo < hi) {  // the part of the cell on [xl, xr]
        const double nearest = std::min(std::max(xm, lo), hi), farthest = std::fabs(lo - xm) > std::fabs(hi - xm) ? lo : hi;
        ok = tri(nearest) <= ratio(y) * (1 + 1e-9) && tri(farthest) + c >= ratio(y) * (1 - 1e-9);
      }
      if (y < xl) ok = ok && c * std::exp(lam_l * (y - xl)) >= f * (1 - 2e-9);
      if (y + 1 > xr) ok = ok && c * std::exp(-lam_r * (y + 1 - xr)) >= f * (1 - 2e-9);
      if (!ok && bad++ < 3) ADD_FAILURE() << "lambda " << lam << " cell " << y;
    }
  }
}

// The set-up chunk is a cache: a stream without it, with the set-up of
// another mean, or saved and loaded gives the same numbers.
// Method 1 keeps its cell edges in the same chunk (means 1 to 32), after a
// set-up of method 0 for the same mean too.
TEST(PoissonDist, SetupChunkIsACache) {
  const struct { int method; double lam; } kCases[] = {{0, 4.5}, {0, 27.0}, {0, 800.0}, {1, 4.5}, {1, 27.0}};
  for (const auto [method, lam] : kCases)
    for (const Generator &g : kGenerators) {
      Stream fresh(g.id, g.seed), other(fresh), kept(fresh), dropped(fresh);
      int32_t want[300], got[300];
      ASSERT_EQ(_guxiRngPoisson(method, fresh.s, 300, want, lam), 0);
      _guxiRngPoisson(method, other.s, 5, got, lam * 2.5 + 1);  // a chunk of another mean
      _guxiRngPoisson(1 - method, kept.s, 5, got, lam);
      _guxiRngPoisson(method, kept.s, 5, got, lam);
      _guxiRngPoisson(method, dropped.s, 5, got, lam);
      __guxDeleteChunksById(dropped.s, 3);
      std::vector<char> image(__guxGetStreamSize(kept.s));
      ASSERT_EQ(__guxSaveStreamM(kept.s, image.data()), 0);
      GuxStream *loaded = nullptr;
      ASSERT_EQ(__guxLoadStreamM(&loaded, image.data()), 0);
      for (GuxStream *s : {other.s, kept.s, dropped.s, loaded}) {
        Stream start(g.id, g.seed);
        __guxCopyStreamState(s, start.s);
        ASSERT_EQ(_guxiRngPoisson(method, s, 300, got, lam), 0);
        EXPECT_EQ(memcmp(got, want, sizeof want), 0) << method << " " << lam << " " << g.name;
      }
      EXPECT_NE(__guxSearchChunk(loaded, 3), nullptr);
      __guxDeleteStream(&loaded);
    }
}

// Branch points, ignored method words, Multinomial's parameter test and
// degenerate forms, and a failing generator's status.
TEST(PoissonDist, EdgesAndStatuses) {
  // 26.999 takes the table (one double per count), 27 the rejection.
  for (double lam : {26.999, 27.0}) {
    Stream s(GUX_BRNG_MT19937, 9), copy(s);
    int32_t r[100];
    _guxiRngPoisson(0, s.s, 100, r, lam);
    for (int i = 0; i < 100; ++i) next_d(copy.s);
    EXPECT_EQ(next_d(s.s) == next_d(copy.s), lam < 27) << lam;
  }
  // Every word but 0 is the normal method; PoissonV and Multinomial read none.
  const double means[3] = {0.5, 5, 500}, p[3] = {0.25, 0.25, 0.5005};
  std::vector<int32_t> base(3 * 50), other(3 * 50);
  for (int word : {2, -1, GUX_METHOD_ACCURATE_FLAG}) {
    Stream a(GUX_BRNG_MCG59, 4), b(a);
    _guxiRngPoisson(1, a.s, 50, base.data(), 7.5), _guxiRngPoisson(word, b.s, 50, other.data(), 7.5);
    EXPECT_EQ(base, other);
    _guxiRngPoissonV(0, a.s, 3, base.data(), means), _guxiRngPoissonV(word, b.s, 3, other.data(), means);
    EXPECT_EQ(base, other);
    _guxiRngMultinomial(0, a.s, 50, base.data(), 40, 3, p), _guxiRngMultinomial(word, b.s, 50, other.data(), 40, 3, p);
    EXPECT_EQ(base, other);
  }
  // Multinomial: the sum within 0.001 of 1 (1.0005 accepted), non-negative
  // probabilities; a refusal writes nothing and leaves the stream unmoved.
  struct Param { std::vector<double> p; int status; };
  for (const Param &c : {Param{{0.5, 0.5005}, 0}, Param{{0.5, 0.4991}, 0}, Param{{0.5, 0.502}, GUX_STATUS_BAD_ARGUMENT},
                         Param{{0.5, 0.498}, GUX_STATUS_BAD_ARGUMENT}, Param{{1.2, -0.2}, GUX_STATUS_BAD_ARGUMENT},
                         Param{{NAN, 1.0}, GUX_STATUS_BAD_ARGUMENT}})
    for (int ntrial : {0, 3, 40}) {
      Stream s(GUX_BRNG_MCG31M1, 5), copy(s);
      int32_t r[6] = {-7, -7, -7, -7, -7, -7};
      EXPECT_EQ(_guxiRngMultinomial(0, s.s, 3, r, ntrial, 2, c.p.data()), c.status);
      if (c.status) {
        EXPECT_EQ(std::vector<int32_t>(r, r + 6), std::vector<int32_t>(6, -7));
      } else {
        EXPECT_EQ(r[0] + r[1], ntrial);
      }
      if (c.status || ntrial == 0) {
        EXPECT_EQ(next_d(s.s), next_d(copy.s));
      }
    }
  Stream s(GUX_BRNG_MCG31M1, 5), copy(s);
  int32_t r[4];
  const double one = 1.0;
  EXPECT_EQ(_guxiRngMultinomial(0, s.s, 4, r, 37, 1, &one), 0);
  EXPECT_EQ(std::vector<int32_t>(r, r + 4), std::vector<int32_t>(4, 37));
  EXPECT_EQ(next_d(s.s), next_d(copy.s));
  // A failing generator: its status comes back from every entry and method.
  Scripted failing({0.5}, -1121);
  GuxStream *f = failing.s;
  int32_t x[64];
  const double lam[64] = {3.0};
  for (double l : {0.5, 5.0, 50.0, 500.0}) EXPECT_EQ(_guxiRngPoisson(0, f, 64, x, l) + _guxiRngPoisson(1, f, 64, x, l), -2 * 1121);
  EXPECT_EQ(_guxiRngPoissonV(0, f, 64, x, lam), -1121);
  for (int ntrial : {3, 100}) EXPECT_EQ(_guxiRngMultinomial(0, f, 8, x, ntrial, 3, p), -1121);
}

}  // namespace
