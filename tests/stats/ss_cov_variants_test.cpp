// Pooled and group covariance, partial covariance, the correlation repair,
// absolute deviations, the weighted median and Mahalanobis distances against
// long-double references, over storages x thread splits x seeds, both
// precisions. Output arrays are framed by guard cells that must stay.
#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include "stats/ss_cov_reference.h"
#include "stats/ss_fixture.h"

using namespace qor_test;

namespace {

template <class T> struct Cov;
#define QOR_COV_ENTRIES(T, L)                                                                  \
  template <> struct Cov<T> {                                                                  \
    static constexpr auto pooled = _gux##L##SSPooledCovariance, partial = _gux##L##SSPartialCovariance, \
        repair = _gux##L##SSCorParametrization, mad = _gux##L##SSMAD, wmedian = _gux##L##SSWMedian,     \
        mah = _gux##L##SSMahDistance;                                                          \
    static constexpr double tol = sizeof(T) == 8 ? 1e-12 : 2e-5;                               \
  };
QOR_COV_ENTRIES(double, d)
QOR_COV_ENTRIES(float, s)

// An output array with four guard cells on each side.
template <class T>
struct Guarded : std::vector<T> {
  explicit Guarded(size_t n, T fill = T(0)) : std::vector<T>(n + 8, T(-12345)) {
    std::fill(this->begin() + 4, this->end() - 4, fill);
  }
  T *out() { return this->data() + 4; }
  T at(size_t i) const { return (*this)[4 + i]; }
  bool intact() const {
    for (size_t i = 0; i < 4; ++i)
      if ((*this)[i] != T(-12345) || (*this)[this->size() - 1 - i] != T(-12345)) return false;
    return true;
  }
};

const GuxThreadingTable *th() { return qor_core_threading(); }

// Largest relative errors seen: pooled, group, partial covariance, partial
// correlation, repair; printed after each table for the record.
double worst[5];
double seen(int k, double e) { return worst[k] = std::max(worst[k], e), e; }

template <class T>
void check_pooled(bool rows, bool weighted, int code, int threads, uint64_t seed) {
  SCOPED_TRACE(testing::Message() << rows << weighted << code << threads << " seed " << seed);
  Threads scope(threads);
  const int p = 5, n = 3000, G = 4, gcode = (code + 1) % 3;
  const auto d = make_data<T>(p, n, rows, weighted, 3.0, 1.0, seed);
  std::vector<int> groups(n), flags{1, 0, 1, 1};
  std::mt19937_64 g(seed);
  for (auto &v : groups) v = (int)(g() % G);
  // Reference: weights, means, scatters per group (group G = all together).
  std::vector<long double> W(G + 1, 0), V(G + 1, 0), mean((G + 1) * p, 0);
  std::vector<LMat> scat(G, LMat(p * p, 0));
  for (int i = 0; i < n; ++i)
    for (int k : {groups[i], G}) {
      const long double w = weighted ? d.w[i] : 1;
      W[k] += w, V[k] += w * w;
      for (int j = 0; j < p; ++j) mean[k * p + j] += w * d.at(i, j);
    }
  for (int e = 0; e < (G + 1) * p; ++e) mean[e] /= W[e / p];
  for (int i = 0; i < n; ++i)
    for (int e = 0; e < p * p; ++e)
      scat[groups[i]][e] += (weighted ? d.w[i] : 1) * (d.at(i, e / p) - mean[groups[i] * p + e / p]) *
                            (d.at(i, e % p) - mean[groups[i] * p + e % p]);
  LMat pooled(p * p, 0);
  for (int k = 0; k < G; ++k)
    for (int e = 0; e < p * p; ++e) pooled[e] += scat[k][e] / (W[G] - G);

  int pp = p, nn = n, storage = d.storage(), pc_code = code, gc_code = gcode;
  GuxSSTask *task = nullptr;
  ASSERT_EQ(Entries<T>::new_task(&task, &pp, &nn, &storage, d.x.data(), weighted ? d.w.data() : nullptr, nullptr, 0), 0);
  const size_t gsize = sym_len(gcode, p);
  Guarded<T> pm(p), pc(sym_len(code, p)), gm(G * p, T(7)), gc(G * gsize, T(7));
  __guxdSSEditPooledCovariance(task, groups.data(), pm.out(), pc.out(), flags.data(), gm.out(), gc.out());
  __guxiSSEditTask(task, GUX_SS_P_POOLED_STORAGE, &pc_code);
  __guxiSSEditTask(task, GUX_SS_P_GROUP_STORAGE, &gc_code);
  ASSERT_EQ(Cov<T>::pooled(task, GUX_SS_POOLED_COV | GUX_SS_GROUP_COV | GUX_SS_POOLED_MEAN | GUX_SS_GROUP_MEANS,
                           GUX_SS_M_ONE_PASS, th()), 0);
  __guxSSDeleteTask(&task);
  const double tol = Cov<T>::tol * 10;
  EXPECT_LT(seen(0, rel_diff(from_storage(pc.out(), code, p), pooled)), tol);
  for (int j = 0; j < p; ++j) EXPECT_NEAR((double)pm.at(j), (double)mean[G * p + j], tol * 10);
  for (int k = 0; k < G; ++k) {
    LMat want(p * p);
    for (int e = 0; e < p * p; ++e) want[e] = scat[k][e] / (W[k] - V[k] / W[k]);
    for (int j = 0; j < p; ++j) EXPECT_NEAR((double)gm.at(k * p + j), flags[k] ? (double)mean[k * p + j] : 7.0, tol * 10);
    if (flags[k]) EXPECT_LT(seen(1, rel_diff(from_storage(gc.out() + k * gsize, gcode, p), want)), tol);
    else for (size_t e = 0; e < gsize; ++e) EXPECT_EQ(gc.at(k * gsize + e), T(7));
  }
  EXPECT_TRUE(pm.intact() && pc.intact() && gm.intact() && gc.intact());
}

template <class T>
void check_partial(bool from_cor, int src_code, int out_code, const std::vector<int> &marks, uint64_t seed) {
  SCOPED_TRACE(testing::Message() << from_cor << src_code << out_code << " seed " << seed);
  const int p = (int)marks.size(), k = (int)std::count(marks.begin(), marks.end(), 1);
  LMat s = test_covariance(p, seed);
  const LMat raw = s;
  if (from_cor)
    for (int e = 0; e < p * p; ++e) s[e] = raw[e] / std::sqrt(raw[e / p * (p + 1)] * raw[e % p * (p + 1)]);
  std::vector<T> src = to_storage<T>(s, src_code, p);
  const LMat want = schur(from_storage(src.data(), src_code, p), p, marks);
  LMat want_cor(k * k);
  for (int e = 0; e < k * k; ++e) want_cor[e] = want[e] / std::sqrt(want[e / k * (k + 1)] * want[e % k * (k + 1)]);
  int pp = p, sc = src_code, oc = out_code;
  GuxSSTask *task = nullptr;
  ASSERT_EQ(Entries<T>::new_task(&task, &pp, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  Guarded<T> pcov(sym_len(out_code, k)), pcor(sym_len(out_code, k));
  T *cov = from_cor ? nullptr : src.data(), *cor = from_cor ? src.data() : nullptr;
  __guxdSSEditPartialCovCor(task, marks.data(), cov, cov ? &sc : nullptr, cor, cor ? &sc : nullptr, pcov.out(), &oc,
                            pcor.out(), &oc);
  ASSERT_EQ(Cov<T>::partial(task, GUX_SS_PARTIAL_COV | GUX_SS_PARTIAL_COR, GUX_SS_M_FAST, th()), 0);
  __guxSSDeleteTask(&task);
  EXPECT_LT(seen(2, rel_diff(from_storage(pcov.out(), out_code, k), want)), Cov<T>::tol * 10);
  EXPECT_LT(seen(3, rel_diff(from_storage(pcor.out(), out_code, k), want_cor)), Cov<T>::tol * 10);
  EXPECT_TRUE(pcov.intact() && pcor.intact());
}

// A correlation with entries pushed off until eigenvalues turn negative.
template <class T>
void check_repair(int in_code, int out_code, bool in_place, int64_t p, uint64_t seed) {
  SCOPED_TRACE(testing::Message() << in_code << out_code << in_place << " seed " << seed);
  LMat c = test_covariance(p, seed);
  const LMat diag = c;
  for (int64_t e = 0; e < p * p; ++e) c[e] /= std::sqrt(diag[e / p * (p + 1)] * diag[e % p * (p + 1)]);
  for (int64_t k = 1; k < p; k += 2) c[k * p + k - 1] = c[(k - 1) * p + k] = k % 4 == 1 ? 0.95L : -0.95L;
  std::vector<T> in = to_storage<T>(c, in_code, p);
  long double least = 0;
  const LMat want = rebuilt(from_storage(in.data(), in_code, p), p, 1e-14L, &least);
  ASSERT_LT(least, -0.01L);
  Guarded<T> out(in_place ? in.size() : sym_len(out_code, p));
  if (in_place) std::copy(in.begin(), in.end(), out.begin() + 4);
  int pp = (int)p, ic = in_code, oc = out_code;
  GuxSSTask *task = nullptr;
  ASSERT_EQ(Entries<T>::new_task(&task, &pp, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  __guxdSSEditMtxParametrz(task, in_place ? out.out() : in.data(), &ic, out.out(), &oc);
  ASSERT_EQ(Cov<T>::repair(task, 0, GUX_SS_M_SPECTRAL, th()), 0);
  __guxSSDeleteTask(&task);
  const LMat got = from_storage(out.out(), out_code, p);
  EXPECT_LT(seen(4, rel_diff(got, want)), sizeof(T) == 8 ? 1e-12 : 1e-5);
  rebuilt(got, p, -INFINITY, &least);  // positive semi-definite, to rounding
  EXPECT_GT(least, sizeof(T) == 8 ? -1e-13L : -1e-5L);
  EXPECT_TRUE(out.intact());
}

long double median_ld(std::vector<long double> v) {
  std::sort(v.begin(), v.end());
  return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

template <class T>
void check_deviations(bool rows, int64_t n, int threads, uint64_t seed) {
  SCOPED_TRACE(testing::Message() << rows << " n " << n << " threads " << threads);
  Threads scope(threads);
  const int64_t p = 4;
  auto d = make_data<T>(p, n, rows, true, 2.0, 1.5, seed);
  for (int64_t i = 3; i < n; i += 7) d.w[i] = 0;  // weight 0 takes no part in the weighted median
  int pp = (int)p, nn = (int)n, storage = d.storage(), sel[4] = {1, 1, 0, 1};
  GuxSSTask *task = nullptr;
  ASSERT_EQ(Entries<T>::new_task(&task, &pp, &nn, &storage, d.x.data(), d.w.data(), sel, 0), 0);
  Guarded<T> mean_abs(p, T(9)), median_abs(p, T(9)), wmed(p, T(9));
  Entries<T>::edit(task, GUX_SS_P_MEAN_ABS_DEV, mean_abs.out());
  Entries<T>::edit(task, GUX_SS_P_MEDIAN_ABS_DEV, median_abs.out());
  Entries<T>::edit(task, GUX_SS_P_QUANTILES, wmed.out());
  ASSERT_EQ(Cov<T>::mad(task, GUX_SS_MEAN_ABS_DEV | GUX_SS_MEDIAN_ABS_DEV, GUX_SS_M_FAST, th()), 0);
  ASSERT_EQ(Cov<T>::wmedian(task, 0, 0, th()), 0);
  __guxSSDeleteTask(&task);
  for (int64_t j = 0; j < p; ++j) {
    std::vector<long double> col(n), dev(n);
    std::vector<std::pair<long double, long double>> pw;
    long double m = 0, a = 0, tot = 0, acc = 0, wm = 9;
    for (int64_t i = 0; i < n; ++i) col[i] = d.at(i, j), m += col[i] / n, tot += d.w[i];
    for (int64_t i = 0; i < n; ++i) a += std::fabs(col[i] - m) / n, pw.push_back({col[i], d.w[i]});
    const long double med = median_ld(col);
    for (int64_t i = 0; i < n; ++i) dev[i] = std::fabs(col[i] - med);
    std::sort(pw.begin(), pw.end());
    for (size_t k = 0; k < pw.size() && acc < tot / 2; ++k) acc += pw[k].second, wm = pw[k].first;
    const double tol = Cov<T>::tol * 100, md = sel[j] ? (double)median_ld(dev) : 9;
    EXPECT_NEAR((double)mean_abs.at(j), sel[j] ? (double)a : 9, tol * (1 + (double)a));
    EXPECT_NEAR((double)median_abs.at(j), md, tol);
    EXPECT_NEAR((double)wmed.at(j), sel[j] ? (double)wm : 9, tol);
  }
  EXPECT_TRUE(mean_abs.intact() && median_abs.intact() && wmed.intact());
}

template <class T>
void check_mah(bool rows, int threads, uint64_t seed) {
  Threads scope(threads);
  const int64_t p = 3, n = 5000;
  const auto d = make_data<T>(p, n, rows, false, 1.0, 1.0, seed);
  const LMat a_ld = test_covariance(p, seed);
  std::vector<T> mean{T(0.5), T(-1), T(2)}, a(a_ld.begin(), a_ld.end()), dist(n, T(-7));
  int pp = (int)p, nn = (int)n, storage = d.storage();
  int64_t first = 3, end = n - 1;
  GuxSSTask *task = nullptr;
  ASSERT_EQ(Entries<T>::new_task(&task, &pp, &nn, &storage, d.x.data(), nullptr, nullptr, 0), 0);
  task->mahalanobis[0] = &first, task->mahalanobis[1] = &end;
  task->mahalanobis[2] = mean.data(), task->mahalanobis[3] = a.data(), task->mahalanobis[4] = dist.data();
  ASSERT_EQ(Cov<T>::mah(task, 0x4000000ull, GUX_SS_M_FAST, th()), 0);
  __guxSSDeleteTask(&task);
  for (int64_t i = 0; i < n; ++i) {
    long double want = 0;
    for (int64_t e = 0; e < p * p; ++e)
      want += (d.at(i, e / p) - (long double)mean[e / p]) * (long double)a[e] * (d.at(i, e % p) - (long double)mean[e % p]);
    if (i < first || i >= end) EXPECT_EQ(dist[i], T(-7));
    else EXPECT_NEAR((double)dist[i], (double)want, Cov<T>::tol * 10 * (1 + (double)want));
  }
}

template <class T>
void all_tables() {
  uint64_t seed = 11;
  for (bool rows : {false, true}) {
    for (bool weighted : {false, true})
      for (int code : {0, 1, 2})
        for (int threads : {1, 2}) check_pooled<T>(rows, weighted, code, threads, seed++);
    for (int64_t n : {1, 2, 5, 1000, 1001})
      for (int threads : {1, 2}) check_deviations<T>(rows, n, threads, seed++);
    for (int threads : {1, 2}) check_mah<T>(rows, threads, seed++);
  }
  const std::vector<std::vector<int>> marks{{1, -1, 1, -1, 1, 1, -1}, {-1, -1, -1, -1, -1, -1, 1}, {1, 1, 1, 1},
                                            {1, -1}, {1, 1, -1, 1, -1, -1, -1, 1, 1}};
  for (int sc : {0, 1, 2})
    for (int oc : {0, 1, 2}) {
      for (bool cor : {false, true})
        for (const auto &m : marks) check_partial<T>(cor, sc, oc, m, seed++);
      check_repair<T>(sc, oc, false, 12, seed++);
      if (!(oc == 0 && sc != 0)) check_repair<T>(sc, oc, true, 9, seed++);
    }
  std::printf("largest relative errors (%s): pooled %.2e, group %.2e, partial cov %.2e, partial cor %.2e, "
              "repair %.2e\n", sizeof(T) == 8 ? "d" : "s", worst[0], worst[1], worst[2], worst[3], worst[4]);
  std::fill(worst, worst + 5, 0.0);
}
TEST(CovVariants, AgainstLongDoubleReferences) { all_tables<double>(); }
TEST(CovVariants, SingleTwin) { all_tables<float>(); }

// Ties: at exactly half the weight, the mean of the value and the next one
// of positive weight.
TEST(CovVariants, WeightedMedianTieRule) {
  struct Case { std::vector<double> x, w; double want; };
  for (const Case &c : std::vector<Case>{{{1, 2, 3, 4}, {1, 1, 1, 1}, 2.5}, {{1, 2, 3, 4}, {1, 1, 2, 0}, 2.5},
                                         {{4, 1, 3, 2}, {0, 1, 1, 3}, 2.0}, {{5, 5, 5}, {1, 2, 3}, 5.0}, {{1, 9}, {0, 0}, NAN}}) {
    int p = 1, n = (int)c.x.size(), storage = GUX_SS_VARIABLES_IN_ROWS;
    GuxSSTask *task = nullptr;
    double q = -1;
    ASSERT_EQ(__guxdSSNewTask(&task, &p, &n, &storage, c.x.data(), c.w.data(), nullptr, 0), 0);
    __guxdSSEditTask(task, GUX_SS_P_QUANTILES, &q);
    ASSERT_EQ(_guxdSSWMedian(task, 0, 0, th()), 0);
    __guxSSDeleteTask(&task);
    EXPECT_TRUE(q == c.want || (std::isnan(q) && std::isnan(c.want))) << q;
  }
}

}  // namespace
