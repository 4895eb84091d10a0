// Pooled and group covariance, partial covariance, the correlation repair,
// absolute deviations, the weighted median and Mahalanobis distances against
// long-double references, over storages x thread splits x seeds, both
// precisions. Every output array is framed by guard values that must stay.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "stats/ss_cov_reference.h"
#include "stats/ss_fixture.h"

using namespace qor_test;

namespace {

template <class T> struct Cov;
#define QOR_COV_ENTRIES(T, L)                                     \
  template <> struct Cov<T> {                                     \
    static constexpr auto pooled = _gux##L##SSPooledCovariance;   \
    static constexpr auto partial = _gux##L##SSPartialCovariance; \
    static constexpr auto repair = _gux##L##SSCorParametrization; \
    static constexpr auto mad = _gux##L##SSMAD;                   \
    static constexpr auto wmedian = _gux##L##SSWMedian;           \
    static constexpr auto mah = _gux##L##SSMahDistance;           \
    static constexpr double tol = sizeof(T) == 8 ? 1e-12 : 2e-5;  \
  };
QOR_COV_ENTRIES(double, d)
QOR_COV_ENTRIES(float, s)

constexpr double kGuard = -12345.0;

// An output array with guard cells on both sides.
template <class T>
struct Guarded {
  std::vector<T> v;
  size_t len;
  explicit Guarded(size_t n, T fill = T(0)) : v(n + 8, T(kGuard)), len(n) {
    for (size_t i = 0; i < n; ++i) v[4 + i] = fill;
  }
  T *data() { return v.data() + 4; }
  T &operator[](size_t i) { return v[4 + i]; }
  bool guards_intact() const {
    for (size_t i = 0; i < 4; ++i)
      if (v[i] != T(kGuard) || v[v.size() - 1 - i] != T(kGuard)) return false;
    return true;
  }
};

const GuxThreadingTable *th() { return qor_core_threading(); }

// ---- pooled and group covariance ----------------------------------------

template <class T>
void check_pooled(bool rows, bool weighted, int code, int threads, uint64_t seed) {
  SCOPED_TRACE(testing::Message() << "rows " << rows << " weighted " << weighted << " storage " << code
                                  << " threads " << threads << " seed " << seed);
  Threads scope(threads);
  const int p = 5, n = 3000, G = 4;
  const auto d = make_data<T>(p, n, rows, weighted, 3.0, 1.0, seed);
  std::vector<int> groups(n), flags{1, 0, 1, 1};
  std::mt19937_64 g(seed);
  for (auto &v : groups) v = (int)(g() % G);
  // Long-double reference.
  std::vector<long double> W(G, 0), V(G, 0), mean(G * p, 0), all(p, 0);
  long double Wt = 0;
  for (int i = 0; i < n; ++i) {
    const long double w = weighted ? d.w[i] : 1;
    W[groups[i]] += w, V[groups[i]] += w * w, Wt += w;
    for (int j = 0; j < p; ++j) mean[groups[i] * p + j] += w * d.at(i, j), all[j] += w * d.at(i, j);
  }
  for (int k = 0; k < G; ++k)
    for (int j = 0; j < p; ++j) mean[k * p + j] /= W[k];
  for (auto &v : all) v /= Wt;
  std::vector<LMat> scat(G, LMat(p * p, 0));
  for (int i = 0; i < n; ++i) {
    const long double w = weighted ? d.w[i] : 1;
    const int k = groups[i];
    for (int a = 0; a < p; ++a)
      for (int b = 0; b < p; ++b)
        scat[k][a * p + b] += w * (d.at(i, a) - mean[k * p + a]) * (d.at(i, b) - mean[k * p + b]);
  }
  LMat pooled(p * p, 0);
  for (int k = 0; k < G; ++k)
    for (int e = 0; e < p * p; ++e) pooled[e] += scat[k][e] / (Wt - G);

  int pp = p, nn = n, storage = d.storage(), pc_code = code, gc_code = (code + 1) % 3;
  GuxSSTask *task = nullptr;
  ASSERT_EQ(Entries<T>::new_task(&task, &pp, &nn, &storage, d.x.data(), weighted ? d.w.data() : nullptr, nullptr, 0), 0);
  const size_t gsize = sym_len(gc_code, p);
  Guarded<T> pm(p), pc(sym_len(code, p)), gm(G * p, T(7)), gc(G * gsize, T(7));
  __guxdSSEditPooledCovariance(task, groups.data(), pm.data(), pc.data(), flags.data(), gm.data(), gc.data());
  __guxiSSEditTask(task, GUX_SS_P_POOLED_STORAGE, &pc_code);
  __guxiSSEditTask(task, GUX_SS_P_GROUP_STORAGE, &gc_code);
  ASSERT_EQ(Cov<T>::pooled(task, GUX_SS_POOLED_COV | GUX_SS_GROUP_COV | GUX_SS_POOLED_MEAN | GUX_SS_GROUP_MEANS,
                           GUX_SS_M_ONE_PASS, th()), 0);
  __guxSSDeleteTask(&task);
  const double tol = Cov<T>::tol * 10;
  EXPECT_LT(rel_diff(from_storage(pc.data(), code, p), pooled), tol);
  for (int j = 0; j < p; ++j) EXPECT_NEAR((double)pm[j], (double)all[j], tol * 10);
  for (int k = 0; k < G; ++k) {
    if (!flags[k]) {
      for (int j = 0; j < p; ++j) EXPECT_EQ(gm[k * p + j], T(7));
      for (size_t e = 0; e < gsize; ++e) EXPECT_EQ(gc[k * gsize + e], T(7));
      continue;
    }
    for (int j = 0; j < p; ++j) EXPECT_NEAR((double)gm[k * p + j], (double)mean[k * p + j], tol * 10);
    LMat want(p * p);
    for (int e = 0; e < p * p; ++e) want[e] = scat[k][e] / (W[k] - V[k] / W[k]);
    EXPECT_LT(rel_diff(from_storage(gc.data() + k * gsize, gc_code, p), want), tol);
  }
  EXPECT_TRUE(pm.guards_intact() && pc.guards_intact() && gm.guards_intact() && gc.guards_intact());
}

template <class T>
void pooled_table() {
  uint64_t seed = 11;
  for (bool rows : {false, true})
    for (bool weighted : {false, true})
      for (int code : {0, 1, 2})
        for (int threads : {1, 2}) check_pooled<T>(rows, weighted, code, threads, seed++);
}
TEST(PooledCovariance, AgainstLongDoubleScatter) { pooled_table<double>(); }
TEST(PooledCovariance, SingleTwin) { pooled_table<float>(); }

// ---- partial covariance ---------------------------------------------------

template <class T>
void check_partial(bool from_cor, int src_code, int out_code, const std::vector<int> &marks, uint64_t seed) {
  SCOPED_TRACE(testing::Message() << "cor " << from_cor << " src " << src_code << " out " << out_code << " seed " << seed);
  const int p = (int)marks.size();
  LMat s = test_covariance(p, seed);
  if (from_cor) {
    LMat c(p * p);
    for (int i = 0; i < p; ++i)
      for (int j = 0; j < p; ++j) c[i * p + j] = s[i * p + j] / std::sqrt(s[i * p + i] * s[j * p + j]);
    s = c;
  }
  std::vector<T> src = to_storage<T>(s, src_code, p);
  const LMat src_ld = from_storage(src.data(), src_code, p);  // the rounded input
  const LMat want = schur(src_ld, p, marks);
  int k = 0;
  for (int m : marks) k += m == 1;
  LMat want_cor(k * k);
  for (int a = 0; a < k; ++a)
    for (int b = 0; b < k; ++b) want_cor[a * k + b] = want[a * k + b] / std::sqrt(want[a * k + a] * want[b * k + b]);

  int pp = p, one = 1, zero_storage = 0x10000;
  T dummy = 0;
  GuxSSTask *task = nullptr;
  ASSERT_EQ(Entries<T>::new_task(&task, &pp, &one, &zero_storage, &dummy, nullptr, nullptr, 0), 0);
  Guarded<T> pcov(sym_len(out_code, k)), pcor(sym_len(out_code, k));
  int sc = src_code, oc = out_code;
  __guxdSSEditPartialCovCor(task, marks.data(), from_cor ? nullptr : src.data(), from_cor ? nullptr : &sc,
                            from_cor ? src.data() : nullptr, from_cor ? &sc : nullptr, pcov.data(), &oc,
                            pcor.data(), &oc);
  ASSERT_EQ(Cov<T>::partial(task, GUX_SS_PARTIAL_COV | GUX_SS_PARTIAL_COR, GUX_SS_M_FAST, th()), 0);
  __guxSSDeleteTask(&task);
  EXPECT_LT(rel_diff(from_storage(pcov.data(), out_code, k), want), Cov<T>::tol * 10);
  EXPECT_LT(rel_diff(from_storage(pcor.data(), out_code, k), want_cor), Cov<T>::tol * 10);
  EXPECT_TRUE(pcov.guards_intact() && pcor.guards_intact());
}

template <class T>
void partial_table() {
  const std::vector<std::vector<int>> marks{
      {1, -1, 1, -1, 1, 1, -1}, {-1, -1, -1, -1, -1, -1, 1}, {1, 1, 1, 1, 1, 1, 1}, {1, -1}, {1, 1, -1, 1, -1, -1, -1, 1, 1}};
  uint64_t seed = 5;
  for (bool cor : {false, true})
    for (int sc : {0, 1, 2})
      for (int oc : {0, 1, 2})
        for (const auto &m : marks) check_partial<T>(cor, sc, oc, m, seed++);
}
TEST(PartialCovariance, AgainstLongDoubleSchurComplement) { partial_table<double>(); }
TEST(PartialCovariance, SingleTwin) { partial_table<float>(); }

// ---- correlation repair ---------------------------------------------------

// A correlation-like matrix with negative eigenvalues: a valid correlation
// with some entries pushed off.
inline LMat broken_correlation(int64_t p, uint64_t seed) {
  LMat s = test_covariance(p, seed), c(p * p);
  for (int64_t i = 0; i < p; ++i)
    for (int64_t j = 0; j < p; ++j) c[i * p + j] = s[i * p + j] / std::sqrt(s[i * p + i] * s[j * p + j]);
  std::mt19937_64 g(seed);
  for (int k = 0; k < (int)p; ++k) {
    const int64_t i = g() % p, j = g() % p;
    if (i == j) continue;
    const long double v = (g() % 2 ? 0.95L : -0.95L);
    c[i * p + j] = c[j * p + i] = v;
  }
  return c;
}

template <class T>
void check_repair(int in_code, int out_code, bool in_place, int64_t p, uint64_t seed) {
  SCOPED_TRACE(testing::Message() << "in " << in_code << " out " << out_code << " in place " << in_place << " seed " << seed);
  const LMat c = broken_correlation(p, seed);
  std::vector<T> in = to_storage<T>(c, in_code, p);
  const LMat want = repaired(from_storage(in.data(), in_code, p), p);
  ASSERT_LT(min_eigen(c, p), -0.01L);
  Guarded<T> out(in_place ? in.size() : sym_len(out_code, p));
  if (in_place)
    for (size_t i = 0; i < in.size(); ++i) out[i] = in[i];
  int pp = (int)p, ic = in_code, oc = out_code;
  GuxSSTask *task = nullptr;
  ASSERT_EQ(Entries<T>::new_task(&task, &pp, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  __guxdSSEditMtxParametrz(task, in_place ? out.data() : in.data(), &ic, out.data(), &oc);
  ASSERT_EQ(Cov<T>::repair(task, 0, GUX_SS_M_SPECTRAL, th()), 0);
  __guxSSDeleteTask(&task);
  const LMat got = from_storage(out.data(), out_code, p);
  EXPECT_LT(rel_diff(got, want), sizeof(T) == 8 ? 1e-12 : 1e-5);
  // Positive semi-definite, to the rounding of the rebuilt product.
  EXPECT_GT(min_eigen(got, p), sizeof(T) == 8 ? -1e-13L : -1e-5L);
  EXPECT_TRUE(out.guards_intact());
}

template <class T>
void repair_table() {
  uint64_t seed = 21;
  for (int ic : {0, 1, 2})
    for (int oc : {0, 1, 2}) {
      check_repair<T>(ic, oc, false, 12, seed++);
      if (!(oc == 0 && ic != 0)) check_repair<T>(ic, oc, true, 9, seed++);
    }
}
TEST(CorParametrization, AgainstLongDoubleEigenRule) { repair_table<double>(); }
TEST(CorParametrization, SingleTwin) { repair_table<float>(); }

// ---- deviations, weighted median, distances -------------------------------

long double median_ld(std::vector<long double> v) {
  std::sort(v.begin(), v.end());
  const size_t n = v.size();
  return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

template <class T>
void check_deviations(bool rows, int64_t n, int threads, uint64_t seed) {
  SCOPED_TRACE(testing::Message() << "rows " << rows << " n " << n << " threads " << threads << " seed " << seed);
  Threads scope(threads);
  const int64_t p = 4;
  auto d = make_data<T>(p, n, rows, true, 2.0, 1.5, seed);
  for (int64_t i = 3; i < n; i += 7) d.w[i] = 0;  // zero weights take no part
  int pp = (int)p, nn = (int)n, storage = d.storage(), sel[4] = {1, 1, 0, 1};
  GuxSSTask *task = nullptr;
  ASSERT_EQ(Entries<T>::new_task(&task, &pp, &nn, &storage, d.x.data(), d.w.data(), sel, 0), 0);
  Guarded<T> mean_abs(p, T(9)), median_abs(p, T(9)), wmed(p, T(9));
  Entries<T>::edit(task, GUX_SS_P_MEAN_ABS_DEV, mean_abs.data());
  Entries<T>::edit(task, GUX_SS_P_MEDIAN_ABS_DEV, median_abs.data());
  Entries<T>::edit(task, GUX_SS_P_QUANTILES, wmed.data());
  ASSERT_EQ(Cov<T>::mad(task, GUX_SS_MEAN_ABS_DEV | GUX_SS_MEDIAN_ABS_DEV, GUX_SS_M_FAST, th()), 0);
  ASSERT_EQ(Cov<T>::wmedian(task, 0, 0, th()), 0);
  __guxSSDeleteTask(&task);
  for (int64_t j = 0; j < p; ++j) {
    if (!sel[j]) {
      EXPECT_EQ(mean_abs[j], T(9));
      EXPECT_EQ(median_abs[j], T(9));
      EXPECT_EQ(wmed[j], T(9));
      continue;
    }
    std::vector<long double> col(n);
    long double m = 0;
    for (int64_t i = 0; i < n; ++i) col[i] = d.at(i, j), m += col[i];
    m /= n;
    long double a = 0;
    for (auto v : col) a += std::fabs(v - m);
    const long double med = median_ld(col);
    std::vector<long double> dev(n);
    for (int64_t i = 0; i < n; ++i) dev[i] = std::fabs(col[i] - med);
    // Weighted median by the stated rule.
    std::vector<std::pair<long double, long double>> pw;
    long double tot = 0;
    for (int64_t i = 0; i < n; ++i)
      if (d.w[i] != 0) pw.push_back({col[i], (long double)d.w[i]}), tot += d.w[i];
    std::sort(pw.begin(), pw.end());
    long double acc = 0, wm = NAN;
    for (size_t k = 0; k < pw.size(); ++k) {
      acc += pw[k].second;
      if (acc >= tot / 2) {
        wm = pw[k].first;
        break;
      }
    }
    const double tol = Cov<T>::tol * 10;
    EXPECT_NEAR((double)mean_abs[j], (double)(a / n), tol * (double)(a / n));
    EXPECT_NEAR((double)median_abs[j], (double)median_ld(dev), tol * 10);
    EXPECT_NEAR((double)wmed[j], (double)wm, tol * 10);
  }
  EXPECT_TRUE(mean_abs.guards_intact() && median_abs.guards_intact() && wmed.guards_intact());
}

template <class T>
void deviation_table() {
  uint64_t seed = 31;
  for (bool rows : {false, true})
    for (int64_t n : {1, 2, 5, 1000, 1001})
      for (int threads : {1, 2}) check_deviations<T>(rows, n, threads, seed++);
}
TEST(Deviations, MeanMedianAbsoluteAndWeightedMedian) { deviation_table<double>(); }
TEST(Deviations, SingleTwin) { deviation_table<float>(); }

// Ties: the exact half gives the mean of the two values around it.
TEST(Deviations, WeightedMedianTieRule) {
  struct Case { std::vector<double> x, w; double want; };
  const std::vector<Case> cases{
      {{1, 2, 3, 4}, {1, 1, 1, 1}, 2.5},  // equal weights: ordinary median
      {{1, 2, 3, 4}, {1, 1, 2, 0}, 2.5},  // half reached exactly at 2; next positive weight is 3
      {{4, 1, 3, 2}, {0, 1, 1, 3}, 2.0},  // 2 carries the half on its own
      {{5, 5, 5}, {1, 2, 3}, 5.0},
      {{1, 9}, {0, 0}, NAN},
  };
  for (const auto &c : cases) {
    int p = 1, n = (int)c.x.size(), storage = GUX_SS_VARIABLES_IN_ROWS;
    GuxSSTask *task = nullptr;
    double q = -1;
    ASSERT_EQ(__guxdSSNewTask(&task, &p, &n, &storage, c.x.data(), c.w.data(), nullptr, 0), 0);
    __guxdSSEditTask(task, GUX_SS_P_QUANTILES, &q);
    ASSERT_EQ(_guxdSSWMedian(task, 0, 0, th()), 0);
    __guxSSDeleteTask(&task);
    if (std::isnan(c.want))
      EXPECT_TRUE(std::isnan(q));
    else
      EXPECT_EQ(q, c.want);
  }
}

template <class T>
void mah_table() {
  uint64_t seed = 41;
  for (bool rows : {false, true})
    for (int threads : {1, 2}) {
      Threads scope(threads);
      const int64_t p = 3, n = 5000;
      const auto d = make_data<T>(p, n, rows, false, 1.0, 1.0, seed++);
      const LMat s = test_covariance(p, seed), inv = inverse(s, p);
      std::vector<T> mean{T(0.5), T(-1), T(2)}, a(p * p), dist(n + 2, T(-7));
      for (int64_t e = 0; e < p * p; ++e) a[e] = (T)inv[e];
      int pp = (int)p, nn = (int)n, storage = d.storage();
      int64_t first = 3, end = n - 1;
      GuxSSTask *task = nullptr;
      ASSERT_EQ(Entries<T>::new_task(&task, &pp, &nn, &storage, d.x.data(), nullptr, nullptr, 0), 0);
      task->mahalanobis[0] = &first, task->mahalanobis[1] = &end;
      task->mahalanobis[2] = mean.data(), task->mahalanobis[3] = a.data(), task->mahalanobis[4] = dist.data();
      ASSERT_EQ(Cov<T>::mah(task, 0x4000000ull, GUX_SS_M_FAST, th()), 0);
      __guxSSDeleteTask(&task);
      for (int64_t i = 0; i < n + 2; ++i) {
        if (i < first || i >= end) {
          EXPECT_EQ(dist[i], T(-7));
          continue;
        }
        long double want = 0;
        for (int64_t j = 0; j < p; ++j)
          for (int64_t k = 0; k < p; ++k) want += (d.at(i, j) - (long double)mean[j]) * (long double)a[j * p + k] * (d.at(i, k) - (long double)mean[k]);
        EXPECT_NEAR((double)dist[i], (double)want, Cov<T>::tol * 10 * (1 + (double)want));
      }
    }
}
TEST(MahDistance, AgainstLongDouble) { mah_table<double>(); }
TEST(MahDistance, SingleTwin) { mah_table<float>(); }

}  // namespace
