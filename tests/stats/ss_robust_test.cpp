// Robust covariance on clean and contaminated normal data, outlier detection
// with planted outliers (default and strict alpha, both starts), and missing
// values planted in nearly collinear data; both precisions and storages.
// The measured errors are printed for the record.
#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include "stats/ss_cov_reference.h"
#include "stats/ss_fixture.h"

using namespace qor_test;

namespace {

template <class T> struct Rob;
#define QOR_ROB_ENTRIES(T, L)                                                                   \
  template <> struct Rob<T> {                                                                   \
    static constexpr auto robust = _gux##L##SSRobustCovariance, outliers = _gux##L##SSOutliersDetection, \
                          missing = _gux##L##SSMissingValues;                                   \
  };
QOR_ROB_ENTRIES(double, d)
QOR_ROB_ENTRIES(float, s)

// Rows of doubles as a task's data of type T; the first `bad` rows are moved
// to a tight cluster far from the rest.
template <class T>
struct Data {
  int p, n, storage;
  std::vector<double> x;
  std::vector<T> v;
  Data(int p_, int n_, bool rows, int bad, uint64_t seed)
      : p(p_), n(n_), storage(rows ? GUX_SS_OBSERVATIONS_IN_ROWS : GUX_SS_VARIABLES_IN_ROWS), x(normal_rows(n_, p_, seed)) {
    std::mt19937_64 g(seed);
    std::normal_distribution<double> z;
    for (int e = 0; e < bad * p; ++e) x[e] = 1.0 + 9.0 * (e % 2 ? 1 : -1) + 0.2 * z(g);
    relayout(rows);
  }
  void relayout(bool rows) {
    v.resize(x.size());
    for (int e = 0; e < n * p; ++e) v[rows ? e : e % p * n + e / p] = (T)x[e];
  }
  GuxSSTask *task() {
    GuxSSTask *t = nullptr;
    EXPECT_EQ(Entries<T>::new_task(&t, &p, &n, &storage, v.data(), nullptr, nullptr, 0), 0);
    return t;
  }
};

const char *name(float) { return "s"; }
const char *name(double) { return "d"; }

template <class T>
void robust_table() {
  const int p = 4, n = 4000;
  const LMat truth = test_covariance(p, 100);
  for (bool rows : {false, true})
    for (int code : {0, 1, 2})
      for (int bad : {0, n / 5, n * 2 / 5}) {
        SCOPED_TRACE(testing::Message() << rows << code << " outliers " << bad);
        Data<T> d(p, n, rows, bad, 100);
        std::vector<int> clean(n, 1);
        std::fill(clean.begin(), clean.begin() + bad, 0);
        std::vector<T> mean(p), cov(sym_len(code, p));
        GuxSSTask *task = d.task();
        __guxdSSEditRCov(task, &code, nullptr, nullptr, mean.data(), cov.data());
        EXPECT_EQ(Rob<T>::robust(task, 0, GUX_SS_M_ROBUST, qor_core_threading()), 0);
        __guxSSDeleteTask(&task);
        const LMat got = from_storage(cov.data(), code, p), clean_cov = sample_cov(d.x, n, p, clean);
        const double err_clean = rel_diff(got, clean_cov);
        std::printf("robust %s rows %d storage %d outliers %4d: error vs model %.4f, vs clean part %.4f "
                    "(plain covariance vs clean part %.3f)\n", name(T()), rows, code, bad, rel_diff(got, truth),
                    err_clean, rel_diff(sample_cov(d.x, n, p), clean_cov));
        EXPECT_LT(err_clean, 0.12);
        for (int j = 0; j < p; ++j) EXPECT_NEAR((double)mean[j], 1.0, 0.1);
      }
}
TEST(RobustCovariance, CleanAndContaminated) { robust_table<double>(); }
TEST(RobustCovariance, SingleTwin) { robust_table<float>(); }

template <class T>
void outlier_table() {
  const int p = 5, n = 3000, bad = 150;
  for (bool rows : {false, true})
    for (double alpha : {0.05, 0.01})
      for (int start : {1, 2}) {
        SCOPED_TRACE(testing::Message() << rows << " alpha " << alpha << " start " << start);
        Data<T> d(p, n, rows, bad, 200 + start);
        int pc = 3;
        std::vector<T> params{T(start), T(alpha), T(0.005)}, w(n + 1, T(5));
        GuxSSTask *task = d.task();
        __guxdSSEditOutDetect(task, &pc, params.data(), w.data());
        ASSERT_EQ(Rob<T>::outliers(task, 0, GUX_SS_M_OUTLIERS, qor_core_threading()), 0);
        __guxSSDeleteTask(&task);
        const int found = (int)std::count(w.begin(), w.begin() + bad, T(0));
        const int flagged = (int)std::count(w.begin() + bad, w.end() - 1, T(0));
        const double rate = (double)flagged / (n - bad);
        std::printf("outliers %s rows %d alpha %.2f start %d: planted found %d/%d, clean flagged %d (%.2f%%)\n",
                    name(T()), rows, alpha, start, found, bad, flagged, 100 * rate);
        EXPECT_EQ(found, bad);
        EXPECT_EQ(std::count(w.begin(), w.end() - 1, T(1)), n - found - flagged);  // only 0 and 1
        EXPECT_EQ(w[n], T(5));
        EXPECT_LT(rate, 1.6 * alpha);
        EXPECT_GT(rate, 0.3 * alpha);
      }
}
TEST(OutliersDetection, PlantedOutliers) { outlier_table<double>(); }
TEST(OutliersDetection, SingleTwin) { outlier_table<float>(); }

// Dimensions 0, 1, 2 nearly collinear (noise 0.01), 3 independent; about
// one entry in 12 of the first three is missing.
template <class T>
void missing_case(bool rows, bool nan_marker, bool with_init, uint64_t seed) {
  SCOPED_TRACE(testing::Message() << rows << nan_marker << with_init << " seed " << seed);
  const int p = 4, n = 2000, m = 3, est = p * (p + 3) / 2;
  const double noise = 0.01;
  Data<T> d(p, n, rows, 0, seed);
  std::mt19937_64 g(seed);
  std::normal_distribution<double> z;
  for (int i = 0; i < n; ++i) {
    const double a = z(g), b = z(g);
    d.x[i * p + 0] = 3 + a, d.x[i * p + 1] = 3 + a + noise * z(g), d.x[i * p + 2] = 1 + 2 * a - b + noise * z(g);
    d.x[i * p + 3] = -1 + b;
  }
  d.relayout(rows);
  const T marker = nan_marker ? T(NAN) : T(-999);
  std::vector<int> planted, lost(n, 0);  // observation-major positions; entries lost per row
  for (int e = 0; e < n * p; ++e)
    if (e % p != 3 && g() % 12 == 0) planted.push_back(e), lost[e / p]++, d.v[rows ? e : e % p * n + e / p] = marker;
  const std::vector<T> before = d.v;
  const int miss = (int)planted.size();
  int pcount = 5, simc = m * miss, recc = m * est, estc = est;
  std::vector<T> params{T(100), T(5), T(1e-10), T(m), marker}, sim(m * miss + 1, T(77)), prior(est + 1, T(77)),
      record(m * est + 1, T(77)), init(est, T(0));
  for (int j = 0; j < p; ++j) init[j] = T(2), init[p + j * (j + 3) / 2] = T(2);  // means 2, covariance 2I
  GuxSSTask *task = d.task();
  __guxdSSEditMissingVals(task, &pcount, params.data(), with_init ? &estc : nullptr, with_init ? init.data() : nullptr,
                          &recc, record.data(), &simc, sim.data(), &estc, prior.data());
  ASSERT_EQ(Rob<T>::missing(task, 0, GUX_SS_M_MULTIPLE_IMPUTATION, qor_core_threading()), 0);
  __guxSSDeleteTask(&task);
  for (size_t e = 0; e < d.v.size(); ++e) ASSERT_TRUE(d.v[e] == before[e] || (d.v[e] != d.v[e] && before[e] != before[e]));
  EXPECT_TRUE(sim[m * miss] == T(77) && prior[est] == T(77) && record[m * est] == T(77));
  // Against the noise where another of the three collinear dimensions is
  // observed; rows that lost all three lean on dimension 3 alone.
  double se[2] = {0, 0};
  int cnt[2] = {0, 0};
  for (int k = 0; k < m * miss; ++k) {
    const double e = (double)sim[k] - d.x[planted[k % miss]];
    ASSERT_TRUE(std::isfinite(e));
    const int far = lost[planted[k % miss] / p] == 3;
    se[far] += e * e, cnt[far]++;
  }
  const double rms = std::sqrt(se[0] / cnt[0]), rms_far = cnt[1] ? std::sqrt(se[1] / cnt[1]) : 0;
  std::printf("missing %s rows %d nan %d init %d: %d entries, rms error %.4f (noise %.3f); %d entries of rows "
              "without a collinear partner: rms %.3f\n", name(T()), rows, nan_marker, with_init, miss, rms, noise,
              cnt[1] / m, rms_far);
  EXPECT_LT(rms, 4 * noise);  // a draw errs by about sqrt(2) conditional deviations
  EXPECT_LT(rms_far, 6.0);    // conditional deviation up to 2 (dimension 2), times sqrt(2)
  EXPECT_NEAR((double)prior[0], 3, 0.1);   // the EM estimate: means and a variance
  EXPECT_NEAR((double)prior[3], -1, 0.1);
  EXPECT_NEAR((double)prior[p], 1, 0.1);
}
TEST(MissingValues, NearlyCollinearData) {
  uint64_t seed = 300;
  for (bool rows : {false, true})
    for (bool nan_marker : {true, false})
      for (bool init : {false, true}) missing_case<double>(rows, nan_marker, init, seed++);
}
TEST(MissingValues, SingleTwin) {
  uint64_t seed = 400;
  for (bool rows : {false, true})
    for (bool nan_marker : {true, false}) missing_case<float>(rows, nan_marker, false, seed++);
}

}  // namespace
