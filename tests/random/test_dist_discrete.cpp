// Integer-valued distributions over one table of laws (entry x parameters on
// both sides of every switch of method) run on three generators: chi-square
// against the exact law, the inversion rule recomputed from each variate's own
// uniform, splits of a request, chunks as caches (deleted, foreign, saved and
// loaded), then statuses and edge values with a scripted generator.
#include <gsl/gsl_cdf.h>
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

namespace {

using namespace dist_test;
float sln(float x) { return k1<float>("Ln", x); }  // sLn LA, as the geometric entry calls it

// ---- the laws --------------------------------------------------------------------
enum Entry { kBernoulli, kGeometric, kBinomial, kHyper, kNegbin, kUniform };
// How a variate relates to its uniforms: recomputed from one float (Bernoulli,
// geometric), the smallest k with u < F(k) for one double (inversion), or
// nothing checkable one by one (rejection).
enum Rule { kFloat, kInversion, kRejection };
struct Law {
  Entry entry;
  double x, y, z;  // parameters in the entry's order
  Rule rule;
  const char *branch;
};
const Law kLaws[] = {
    {kBernoulli, 0, 0, 0, kFloat, "p 0"}, {kBernoulli, 1e-3, 0, 0, kFloat, "p small"},
    {kBernoulli, 0.3, 0, 0, kFloat, ""}, {kBernoulli, 0.999, 0, 0, kFloat, "p near 1"},
    {kBernoulli, 1, 0, 0, kFloat, "p 1"},
    {kGeometric, 1e-3, 0, 0, kFloat, "p small"}, {kGeometric, 0.3, 0, 0, kFloat, ""},
    {kGeometric, 0.999, 0, 0, kFloat, "p near 1"}, {kGeometric, 1, 0, 0, kFloat, "p 1"},
    {kBinomial, 10, 0.3, 0, kInversion, "table"}, {kBinomial, 1000, 1e-4, 0, kInversion, "table, p small"},
    {kBinomial, 100, 0.29999, 0, kInversion, "table, n pp 29.999"},
    {kBinomial, 60, 0.5, 0, kRejection, "BTPE, n pp exactly 30"},
    {kBinomial, 100, 0.3, 0, kRejection, "BTPE"}, {kBinomial, 100, 0.7, 0, kRejection, "BTPE mirrored"},
    {kBinomial, 40, 0.75, 0, kInversion, "table mirrored"}, {kBinomial, 200, 0.9995, 0, kInversion, "table, p near 1"},
    {kBinomial, 2000, 0.05, 0, kRejection, "BTPE, npq 95"}, {kBinomial, 1000, 0.5, 0, kRejection, "BTPE p 0.5"},
    {kBinomial, 1e9, 0.3, 0, kRejection, "BTPE, ntrial 1e9"}, {kBinomial, 7, 0, 0, kInversion, "p 0"},
    {kBinomial, 7, 1, 0, kInversion, "p 1"},
    {kHyper, 100, 20, 30, kInversion, "table"}, {kHyper, 100, 80, 30, kInversion, "table, s folded"},
    {kHyper, 100, 20, 70, kInversion, "table, m folded"}, {kHyper, 100, 80, 70, kInversion, "table, both folded"},
    {kHyper, 1000, 199, 199, kInversion, "table, M - minjx 39"},
    {kHyper, 1000, 200, 200, kRejection, "H2PE, M - minjx 40"},
    {kHyper, 1000, 400, 450, kRejection, "H2PE"}, {kHyper, 1000, 600, 450, kRejection, "H2PE, s folded"},
    {kHyper, 1000, 400, 550, kRejection, "H2PE, m folded"}, {kHyper, 1000, 600, 550, kRejection, "H2PE, both folded"},
    {kHyper, 200000, 60000, 80000, kRejection, "H2PE large"}, {kHyper, 50, 50, 20, kInversion, "s = l"},
    {kNegbin, 2.5, 0.4, 0, kInversion, "table"}, {kNegbin, 0.5, 0.3, 0, kInversion, "table, a < 1"},
    {kNegbin, 30, 0.25, 0, kInversion, "table, J 87"}, {kNegbin, 50, 0.3, 0, kRejection, "rejection, (a-1)q/p 114"},
    {kNegbin, 1.5, 0.01, 0, kRejection, "rejection, long tail"}, {kNegbin, 0.5, 0.005, 0, kRejection, "gamma envelope"},
    {kNegbin, 0.01, 0.001, 0, kRejection, "gamma envelope, a 0.01"},
    {kNegbin, 2, 2.0 / 10737418.0, 0, kRejection, "a q/p 10737416"},
    {kNegbin, 2, 2.0 / 10737421.0, 0, kRejection, "huge mean, a q/p 10737419"},
    {kNegbin, 0.5, 1e-8, 0, kRejection, "huge mean, a 0.5"}, {kNegbin, 3, 0.9999, 0, kInversion, "p near 1"},
    {kUniform, 3, 21, 0, kInversion, "on [3, 21)"}};
const char *kNames[] = {"Bernoulli", "Geometric", "Binomial", "Hypergeometric", "Negbinomial", "Uniform"};

int draw(const Law &w, GuxStream *s, int n, int32_t *r, int method = 0) {
  switch (w.entry) {
    case kBernoulli: return _guxiRngBernoulli(method, s, n, r, w.x);
    case kGeometric: return _guxiRngGeometric(method, s, n, r, w.x);
    case kBinomial: return _guxiRngBinomial(method, s, n, r, (int)w.x, w.y);
    case kHyper: return _guxiRngHypergeometric(method, s, n, r, (int)w.x, (int)w.y, (int)w.z);
    case kUniform: return _guxiRngUniform(method, s, n, r, (int)w.x, (int)w.y);
    default: return _guxiRngNegbinomial(method, s, n, r, w.x, w.y);
  }
}
// The binomial law of a large ntrial (where GSL's function fails near the
// mean): a cumulative table over the mean +- 15 sigma, from the probability of
// the mode in long double and the recurrences of the probabilities.
double big_binomial_cdf(double n, double p, double k) {
  static double key_n = 0, key_p = 0, lo = 0;
  static std::vector<long double> F;
  const long double q = 1 - (long double)p, sd = sqrtl(n * p * q);
  if (key_n != n || key_p != p) {
    key_n = n, key_p = p;
    const double M = std::floor((n + 1) * p);
    lo = std::max(0.0, std::floor(M - 15 * (double)sd));
    const double hi = std::min(n, std::ceil(M + 15 * (double)sd));
    std::vector<long double> f((size_t)(hi - lo + 1));
    const long double r = (long double)p / q;
    f[M - lo] = expl(lgammal(n + 1.0L) - lgammal(M + 1.0L) - lgammal(n - M + 1.0L) + M * logl(p) + (n - M) * logl(q));
    for (double k = M + 1; k <= hi; ++k) f[k - lo] = f[k - 1 - lo] * (n - k + 1) / k * r;
    for (double k = M - 1; k >= lo; --k) f[k - lo] = f[k + 1 - lo] * (k + 1) / (n - k) / r;
    F.assign(f.size(), 0);
    long double c = 0;
    for (size_t i = 0; i < f.size(); ++i) F[i] = c += f[i];
  }
  if (k < lo) return 0;
  if (k - lo >= F.size()) return 1;
  return (double)F[(size_t)(k - lo)];
}

// P(X <= k), exact to the precision of GSL's distribution functions.
double cdf(const Law &w, double k) {
  if (k < 0) return 0;
  if (k > 4e9) return 1;
  const unsigned K = (unsigned)k;
  switch (w.entry) {
    case kBernoulli: return K >= 1 ? 1 : 1 - w.x;
    case kGeometric: return w.x == 1 ? 1 : gsl_cdf_geometric_P(K + 1, w.x);
    case kBinomial: if (w.x > 1e6) return big_binomial_cdf(w.x, w.y, k);
      return w.y == 0 || K >= w.x ? 1 : w.y == 1 ? 0 : gsl_cdf_binomial_P(K, w.y, (unsigned)w.x);
    case kHyper: return gsl_cdf_hypergeometric_P(K, (unsigned)w.z, (unsigned)(w.x - w.z), (unsigned)w.y);
    case kUniform: return std::min(1.0, std::max(0.0, (K - w.x + 1) / (w.y - w.x)));
    default: return gsl_cdf_negative_binomial_P(K, w.y, w.x);
  }
}
std::string name(const Law &w) {
  char b[160];
  snprintf(b, sizeof b, "%s(%g, %g, %g) %s", kNames[w.entry], w.x, w.y, w.z, w.branch);
  return b;
}

// ---- chi-square ----------------------------------------------------------------------
// Cells at the quantiles j/32 of the law (smallest k with F(k) >= j/32),
// neighbours merged until each expects at least 8 draws.
struct Cells { std::vector<double> upper, mass; };
Cells cells(const Law &w, int n) {
  Cells c;
  double lo = -1, prev = -1;
  for (int j = 1; j < 32; ++j) {
    double a = lo, b = 4e9;  // cdf(a) < j/32 <= cdf(b)
    while (b - a > 1) {
      const double m = std::floor((a + b) / 2);
      (cdf(w, m) >= j / 32.0 ? b : a) = m;
    }
    lo = a;
    if (b != prev && b < 4e9) c.upper.push_back(b), prev = b;
  }
  c.upper.push_back(4e9);
  double below = 0;
  for (double u : c.upper) {
    const double F = cdf(w, u);
    c.mass.push_back(F - below), below = F;
  }
  for (size_t i = 0; i < c.mass.size();) {
    if (c.mass[i] * n >= 8 || c.mass.size() == 1) { ++i; continue; }
    const size_t j = i + 1 < c.mass.size() ? i + 1 : i - 1;  // into the right neighbour, the last into the left
    c.mass[j] += c.mass[i];
    c.upper[std::min(i, j)] = c.upper[std::max(i, j)];
    c.mass.erase(c.mass.begin() + i), c.upper.erase(c.upper.begin() + std::max(i, j));
    if (j < i) --i;
  }
  return c;
}

// 10^5 draws on each generator; the rejection methods 10^6 more on MT19937.
TEST(DiscreteDistributions, ChiSquareAgainstTheExactLaw) {
  std::string report;
  std::vector<int32_t> r;
  for (const Law &w : kLaws) {
    for (const Generator &g : kGenerators)
      for (int n : {100000, 1000000}) {
        if (n > 100000 && (w.rule != kRejection || g.id != GUX_BRNG_MT19937)) continue;
        const Cells c = cells(w, n);
        r.resize(n);
        Stream s(g.id, g.seed);
        ASSERT_GE(draw(w, s.s, n, r.data()), 0) << name(w);
        std::vector<double> count(c.upper.size(), 0);
        for (int32_t x : r) count[std::lower_bound(c.upper.begin(), c.upper.end(), (double)x) - c.upper.begin()] += 1;
        double chi = 0;
        for (size_t i = 0; i < count.size(); ++i) chi += (count[i] - n * c.mass[i]) * (count[i] - n * c.mass[i]) / (n * c.mass[i]);
        const int df = (int)count.size() - 1;
        const double p = df > 0 ? gsl_cdf_chisq_Q(chi, df) : (count[0] == n ? 1.0 : 0.0);
        EXPECT_GT(p, 1e-4) << name(w) << " on " << g.name << ": chi-square " << chi << " with " << df << " df";
        char line[200];
        snprintf(line, sizeof line, "  %-58s %-8s %7d draws %2d cells  p = %.3f\n", name(w).c_str(), g.name, n, df + 1, p);
        report += line;
      }
  }
  printf("chi-square p-values:\n%s", report.c_str());
}

// ---- each variate from its own uniform, and splits of a request ------------------------
// The tables are searched for the mirrored binomial (p of 0.5 and above) and
// the folded hypergeometric: the law *v and the variate of that problem.
double searched(const Law &w, int32_t x, Law *v) {
  if (w.entry == kBinomial && !(0.5 > w.y)) {
    v->y = 1 - w.y;
    return w.x - x;
  }
  if (w.entry != kHyper) return x;
  const double l = w.x, s = w.y, m = w.z;
  const bool mf = !(2 * m < l), sf = !(2 * s < l);
  v->y = sf ? l - s : s, v->z = mf ? l - m : m;
  return !mf && !sf ? x : mf && !sf ? s - x : !mf ? m - x : x - s + l - m;
}
const std::vector<std::vector<int>> kSplits = {
    {5000}, {1, 1, 4998}, {3, 5, 7, 2047, 1, 2049, 888}, {2048, 2048, 904}, {0, 13, 0, 4987}};

TEST(DiscreteDistributions, EachVariateFromItsOwnUniformAndSplits) {
  for (const Law &w : kLaws) {
    if (w.rule == kRejection) continue;
    for (const Generator &g : kGenerators) {
      std::vector<int32_t> one;
      for (const auto &split : kSplits) {
        SCOPED_TRACE(name(w) + " on " + g.name + ", split " + std::to_string(&split - &kSplits[0]));
        Stream s(g.id, g.seed), copy(s);
        std::vector<int32_t> got(5000);
        int pos = 0, bad = 0;
        for (int piece : split) {
          EXPECT_GE(draw(w, s.s, piece, got.data() + pos), 0);
          pos += piece;
        }
        if (one.empty()) one = got;
        EXPECT_EQ(got, one);
        for (int i = 0; i < 5000; ++i) {
          int32_t want = got[i];
          bool ok = true;
          if (w.entry == kHyper && w.x == w.y) {
            ok = got[i] == w.z;
          } else if (w.rule == kFloat) {
            float u;
            _guxsRngUniform(0, copy.s, 1, &u, 0.0f, 1.0f);
            if (w.entry == kBernoulli) want = u < (float)w.x;
            else want = (int32_t)std::floor(sln(u) * (float)(1.0 / std::log(1.0 - w.x)));
            ok = want == got[i];
          } else {
            const double u = next_d(copy.s), tol = 1e-10;  // GSL's distribution functions
            Law v = w;
            const double k = searched(w, got[i], &v);
            ok = cdf(v, k - 1.0) <= u + tol && u < cdf(v, k) + tol;
          }
          if (!ok && bad++ < 3) ADD_FAILURE() << i << ": got " << got[i] << " want " << want;
        }
        // Exactly one uniform per variate, of the entry's own type.
        if (w.entry == kHyper && w.x == w.y) {
          Stream fresh(g.id, g.seed);  // a constant draws nothing
          EXPECT_EQ(next_d(s.s), next_d(fresh.s));
        } else if (w.rule == kFloat) {
          float a, b;
          _guxsRngUniform(0, s.s, 1, &a, 0, 1), _guxsRngUniform(0, copy.s, 1, &b, 0, 1);
          EXPECT_EQ(a, b);
        } else {
          EXPECT_EQ(next_d(s.s), next_d(copy.s));
        }
      }
    }
  }
}

// ---- chunks are caches ------------------------------------------------------------------
// A stream that kept its chunk, one whose chunks were deleted, one holding the
// chunk of other parameters of the same entry, one saved and loaded, and one
// called with other method words (all ignored) give the same numbers.
TEST(DiscreteDistributions, ChunksAreCaches) {
  for (const Law &w : kLaws) {
    Law other = w;
    other.x = w.entry == kHyper ? 500 : w.entry == kBinomial ? 500 : w.x * 0.5 + 0.1;
    other.y = w.entry == kHyper ? 300 : w.entry == kBinomial ? 0.2 : w.y * 0.5 + 0.01;
    other.z = 260;
    for (const Generator &g : kGenerators) {
      SCOPED_TRACE(name(w) + " on " + g.name);
      Stream kept(g.id, g.seed), deleted(kept), foreign(kept), donor(kept);
      std::vector<int32_t> warm(17), a(3000), b(3000), c(3000), d(3000);
      for (GuxStream *s : {kept.s, deleted.s, foreign.s}) ASSERT_GE(draw(w, s, 17, warm.data()), 0);
      draw(other, donor.s, 5, warm.data());
      __guxDeleteChunks(deleted.s);
      __guxDeleteChunks(foreign.s);
      __guxCopyChunks(foreign.s, donor.s);
      std::vector<char> image(__guxGetStreamSize(kept.s));
      ASSERT_EQ(__guxSaveStreamM(kept.s, image.data()), 0);
      GuxStream *loaded = nullptr;
      ASSERT_EQ(__guxLoadStreamM(&loaded, image.data()), 0);
      draw(w, kept.s, 3000, a.data()), draw(w, deleted.s, 3000, b.data()), draw(w, foreign.s, 3000, c.data());
      draw(w, loaded, 3000, d.data());
      __guxDeleteStream(&loaded);
      for (int method : {1, 2, GUX_METHOD_ACCURATE_FLAG, -1}) {
        Stream other_word(g.id, g.seed);
        std::vector<int32_t> e(3000);
        draw(w, other_word.s, 17, warm.data(), method), draw(w, other_word.s, 3000, e.data(), method);
        EXPECT_EQ(a, e) << "method " << method;
      }
      EXPECT_EQ(a, b);
      EXPECT_EQ(a, c);
      EXPECT_EQ(a, d);
      EXPECT_EQ(next_d(kept.s), next_d(deleted.s));
    }
  }
}

int sentinel(BexErrorContext *) { return 1; }

// Every law returns the failing generator's status, and leaves the caller's
// mode, callback and MXCSR (exception flags included) as it found them.
TEST(DiscreteDistributions, StatusesAndTheCallersState) {
  const int fail = GUX_STATUS_ABSTRACT_NO_NUMBERS;
  const unsigned mode = _bexSetMode(BEX_ERRMODE_ERRNO | BEX_HA);
  const BexErrorCallBack cb = _bexSetErrorCallBack(sentinel);
  const unsigned callers = _bexGetMode();
  for (const Law &w : kLaws) {
    std::vector<int32_t> r(1000);
    if (!(w.entry == kHyper && w.y == w.x)) {  // a constant draws no uniform
      Scripted sc({0.5}, fail);
      EXPECT_EQ(draw(w, sc.s, 10, r.data()), fail) << name(w);
    }
    Stream s(GUX_BRNG_MCG59, 1);
    const uint32_t csr = _mm_getcsr() & ~0x3fu;
    _mm_setcsr(csr);
    EXPECT_GE(draw(w, s.s, 1000, r.data()), 0);
    EXPECT_EQ(_mm_getcsr() & 0x5u, 0u) << name(w);  // no invalid or divide-by-zero flag
    EXPECT_EQ(_bexGetMode() & ~BEX_DENORMAL_MASK, callers & ~BEX_DENORMAL_MASK) << name(w);
    EXPECT_EQ(_bexGetErrorCallBack(), sentinel) << name(w);
  }
  _bexSetErrorCallBack(cb);
  _bexSetMode(mode);
}

TEST(DiscreteDistributions, EdgeCases) {
  int32_t r[6];
  {  // ntrial 0: zeros, no uniform, no chunk
    Stream s(GUX_BRNG_MCG59, 3), copy(s);
    EXPECT_EQ(_guxiRngBinomial(0, s.s, 6, r, 0, 0.3), 0);
    EXPECT_EQ(std::vector<int32_t>(r, r + 6), std::vector<int32_t>(6, 0));
    EXPECT_EQ(__guxSearchChunk(s.s, 5), nullptr);
    EXPECT_EQ(next_d(s.s), next_d(copy.s));
  }
  {  // p 0.75 mirrors p 0.25 on the same uniforms, in both methods
    for (int nt : {20, 400}) {
      Stream s(GUX_BRNG_MT19937, 9), copy(s);
      int32_t m[6];
      _guxiRngBinomial(0, s.s, 6, r, nt, 0.75), _guxiRngBinomial(0, copy.s, 6, m, nt, 0.25);
      for (int i = 0; i < 6; ++i) EXPECT_EQ(r[i], nt - m[i]);
    }
  }
  {  // a uniform of exactly 0: the fix-up ln(0) = -103.28 in the geometric
    Scripted sc({0.0, 0.5});
    EXPECT_EQ(_guxiRngGeometric(0, sc.s, 2, r, 0.3), 0);
    EXPECT_EQ(r[0], (int32_t)std::floor(-103.2789306640625f * (float)(1.0 / std::log(0.7))));
    EXPECT_EQ(r[1], (int32_t)std::floor(sln(0.5f) * (float)(1.0 / std::log(0.7))));
  }
  {  // rejection methods meet v = 0 (ln fixed up) and finish
    Scripted sc({0.0, 0.0, 0.97, 0.0, 0.3, 0.6});
    EXPECT_EQ(_guxiRngBinomial(0, sc.s, 6, r, 1000, 0.4), 0);
    EXPECT_EQ(_guxiRngHypergeometric(0, sc.s, 6, r, 1000, 400, 450), 0);
  }
  {  // the Hypergeometric chunk of a stream that also holds a binomial chunk
    Stream s(GUX_BRNG_MCG59, 3), copy(s);
    _guxiRngBinomial(0, s.s, 6, r, 10, 0.5), _guxiRngHypergeometric(0, s.s, 6, r, 100, 20, 30);
    _guxiRngHypergeometric(0, s.s, 6, r, 100, 21, 30);
    EXPECT_NE(__guxSearchChunk(s.s, 6), nullptr);
  }
}

}  // namespace
