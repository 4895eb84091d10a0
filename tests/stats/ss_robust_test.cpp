// Robust covariance on clean and contaminated normal data, outlier detection
// with planted outliers (default and strict alpha, both starts), and missing
// values planted in nearly collinear data; both precisions, both storages.
// The measured errors are printed for the record.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <vector>

#include "stats/ss_cov_reference.h"
#include "stats/ss_fixture.h"

using namespace qor_test;

namespace {

template <class T> struct Rob;
#define QOR_ROB_ENTRIES(T, L)                                     \
  template <> struct Rob<T> {                                     \
    static constexpr auto robust = _gux##L##SSRobustCovariance;   \
    static constexpr auto outliers = _gux##L##SSOutliersDetection; \
    static constexpr auto missing = _gux##L##SSMissingValues;     \
  };
QOR_ROB_ENTRIES(double, d)
QOR_ROB_ENTRIES(float, s)

// Observations-in-rows doubles into the task's element type and storage.
template <class T>
std::vector<T> layout(const std::vector<double> &x, int64_t n, int64_t p, bool rows) {
  std::vector<T> out(n * p);
  for (int64_t i = 0; i < n; ++i)
    for (int64_t j = 0; j < p; ++j) (rows ? out[i * p + j] : out[j * n + i]) = (T)x[i * p + j];
  return out;
}

// Data with a planted cluster: the first `bad` rows moved far away.
std::vector<double> contaminated(int64_t n, int64_t p, int64_t bad, const LMat &s, uint64_t seed) {
  std::vector<double> mu(p, 1.0);
  auto x = normal_rows(n, p, mu, s, seed);
  std::mt19937_64 g(seed + 1);
  std::normal_distribution<double> z;
  for (int64_t i = 0; i < bad; ++i)
    for (int64_t j = 0; j < p; ++j) x[i * p + j] = 1.0 + 9.0 * (j % 2 ? 1 : -1) + 0.2 * z(g);
  return x;
}

template <class T>
LMat robust_cov(const std::vector<double> &x, int64_t n, int64_t p, bool rows, int code, std::vector<T> &mean) {
  auto data = layout<T>(x, n, p, rows);
  int pp = (int)p, nn = (int)n, storage = rows ? GUX_SS_OBSERVATIONS_IN_ROWS : GUX_SS_VARIABLES_IN_ROWS, oc = code;
  GuxSSTask *task = nullptr;
  EXPECT_EQ(Entries<T>::new_task(&task, &pp, &nn, &storage, data.data(), nullptr, nullptr, 0), 0);
  mean.assign(p, T(0));
  std::vector<T> cov(sym_len(code, p));
  __guxdSSEditRCov(task, &oc, nullptr, nullptr, mean.data(), cov.data());
  EXPECT_EQ(Rob<T>::robust(task, 0, GUX_SS_M_ROBUST, qor_core_threading()), 0);
  __guxSSDeleteTask(&task);
  return from_storage(cov.data(), code, p);
}

template <class T>
void robust_table() {
  const int64_t p = 4, n = 4000;
  const LMat s = test_covariance(p, 3);
  uint64_t seed = 100;
  for (bool rows : {false, true})
    for (int code : {0, 1, 2})
      for (int64_t bad : {int64_t(0), n / 5, n * 2 / 5}) {
        SCOPED_TRACE(testing::Message() << "rows " << rows << " storage " << code << " outliers " << bad);
        const auto x = contaminated(n, p, bad, s, seed++);
        std::vector<int> clean(n, 1);
        for (int64_t i = 0; i < bad; ++i) clean[i] = 0;
        const LMat clean_cov = sample_cov(x, n, p, clean), all_cov = sample_cov(x, n, p);
        std::vector<T> mean;
        const LMat got = robust_cov<T>(x, n, p, rows, code, mean);
        const double err_true = rel_diff(got, s), err_clean = rel_diff(got, clean_cov);
        std::printf("robust %s rows %d storage %d outliers %4lld: error vs true %.4f, vs clean part %.4f, "
                    "plain covariance vs clean part %.4f\n",
                    sizeof(T) == 8 ? "d" : "s", rows, code, (long long)bad, err_true, err_clean,
                    rel_diff(all_cov, clean_cov));
        EXPECT_LT(err_clean, 0.12);
        for (int64_t j = 0; j < p; ++j) EXPECT_NEAR((double)mean[j], 1.0, 0.1);
      }
}
TEST(RobustCovariance, CleanAndContaminated) { robust_table<double>(); }
TEST(RobustCovariance, SingleTwin) { robust_table<float>(); }

// ---- outliers -----------------------------------------------------------

template <class T>
void outlier_table() {
  const int64_t p = 5, n = 3000, bad = 150;
  const LMat s = test_covariance(p, 8);
  uint64_t seed = 200;
  for (bool rows : {false, true})
    for (double alpha : {0.05, 0.01})
      for (int start : {1, 2}) {
        SCOPED_TRACE(testing::Message() << "rows " << rows << " alpha " << alpha << " start " << start);
        const auto x = contaminated(n, p, bad, s, seed++);
        auto data = layout<T>(x, n, p, rows);
        int pp = (int)p, nn = (int)n, storage = rows ? GUX_SS_OBSERVATIONS_IN_ROWS : GUX_SS_VARIABLES_IN_ROWS, pc = 3;
        std::vector<T> params{T(start), T(alpha), T(0.005)}, w(n + 1, T(5));
        GuxSSTask *task = nullptr;
        ASSERT_EQ(Entries<T>::new_task(&task, &pp, &nn, &storage, data.data(), nullptr, nullptr, 0), 0);
        __guxdSSEditOutDetect(task, &pc, params.data(), w.data());
        ASSERT_EQ(Rob<T>::outliers(task, 0, GUX_SS_M_OUTLIERS, qor_core_threading()), 0);
        __guxSSDeleteTask(&task);
        int64_t found = 0, clean_flagged = 0;
        for (int64_t i = 0; i < n; ++i) {
          ASSERT_TRUE(w[i] == T(0) || w[i] == T(1));
          if (i < bad) found += w[i] == T(0);
          else clean_flagged += w[i] == T(0);
        }
        EXPECT_EQ(w[n], T(5));
        const double rate = (double)clean_flagged / (double)(n - bad);
        std::printf("outliers %s rows %d alpha %.2f start %d: planted found %lld/%lld, clean flagged %lld (%.2f%%)\n",
                    sizeof(T) == 8 ? "d" : "s", rows, alpha, start, (long long)found, (long long)bad,
                    (long long)clean_flagged, 100 * rate);
        EXPECT_EQ(found, bad);
        EXPECT_LT(rate, 1.6 * alpha);
        EXPECT_GT(rate, 0.3 * alpha);
      }
}
TEST(OutliersDetection, PlantedOutliers) { outlier_table<double>(); }
TEST(OutliersDetection, SingleTwin) { outlier_table<float>(); }

// ---- missing values -----------------------------------------------------

template <class T>
void missing_case(bool rows, bool nan_marker, bool with_init, uint64_t seed) {
  SCOPED_TRACE(testing::Message() << "rows " << rows << " nan " << nan_marker << " init " << with_init << " seed " << seed);
  const int64_t p = 4, n = 2000, m = 3;
  const double noise = 0.01;
  std::mt19937_64 g(seed);
  std::normal_distribution<double> z;
  std::vector<double> x(n * p);
  for (int64_t i = 0; i < n; ++i) {
    const double a = z(g), b = z(g);
    x[i * p + 0] = 3 + a;
    x[i * p + 1] = 3 + a + noise * z(g);               // nearly collinear with 0
    x[i * p + 2] = 1 + 2 * a - b + noise * z(g);       // nearly a combination
    x[i * p + 3] = -1 + b;
  }
  const T marker = nan_marker ? T(NAN) : T(-999);
  std::vector<T> data = layout<T>(x, n, p, rows);
  std::vector<int64_t> planted;  // observation-major (i*p + j)
  for (int64_t i = 0; i < n; ++i)
    for (int64_t j = 0; j < p; ++j)
      if (g() % 12 == 0 && !(j == 3)) {  // every pattern but the fully observed third dimension
        planted.push_back(i * p + j);
        (rows ? data[i * p + j] : data[j * n + i]) = marker;
      }
  const std::vector<T> before = data;
  const int64_t miss = planted.size();
  int pp = (int)p, nn = (int)n, storage = rows ? GUX_SS_OBSERVATIONS_IN_ROWS : GUX_SS_VARIABLES_IN_ROWS;
  int pcount = 5, simc = (int)(m * miss), est = (int)(p * (p + 3) / 2), recc = (int)(m * est);
  std::vector<T> params{T(100), T(5), T(1e-10), T(m), marker}, sim(m * miss + 1, T(77)), prior(est + 1, T(77)),
      record(m * est + 1, T(77)), init(est);
  for (int64_t j = 0; j < p; ++j) init[j] = T(2);
  for (int64_t j = 0, k = p; j < p; ++j)
    for (int64_t l = 0; l <= j; ++l, ++k) init[k] = T(j == l ? 2 : 0);
  GuxSSTask *task = nullptr;
  ASSERT_EQ(Entries<T>::new_task(&task, &pp, &nn, &storage, data.data(), nullptr, nullptr, 0), 0);
  __guxdSSEditMissingVals(task, &pcount, params.data(), with_init ? &est : nullptr, with_init ? init.data() : nullptr,
                          &recc, record.data(), &simc, sim.data(), &est, prior.data());
  ASSERT_EQ(Rob<T>::missing(task, 0, GUX_SS_M_MULTIPLE_IMPUTATION, qor_core_threading()), 0);
  __guxSSDeleteTask(&task);
  for (size_t i = 0; i < data.size(); ++i)
    ASSERT_TRUE(data[i] == before[i] || (std::isnan((double)data[i]) && std::isnan((double)before[i])));
  EXPECT_EQ(sim[m * miss], T(77));
  EXPECT_EQ(prior[est], T(77));
  EXPECT_EQ(record[m * est], T(77));
  // Imputation error against the noise, where another of the three nearly
  // collinear dimensions is observed in the same row; rows that lost all
  // three are predicted from the independent dimension alone (error ~ 1).
  std::vector<int> lost(n, 0);
  for (int64_t k : planted) lost[k / p] += 1;
  double se = 0, se_far = 0;
  int64_t c = 0, c_far = 0;
  for (int64_t copy = 0; copy < m; ++copy)
    for (int64_t k = 0; k < miss; ++k) {
      const double e = (double)sim[copy * miss + k] - x[planted[k]];
      ASSERT_TRUE(std::isfinite(e));
      if (lost[planted[k] / p] < 3) se += e * e, ++c;
      else se_far += e * e, ++c_far;
    }
  const double rms = std::sqrt(se / c), rms_far = c_far ? std::sqrt(se_far / c_far) : 0;
  std::printf("missing %s rows %d nan %d init %d: %lld entries, rms error %.4f (noise %.3f); "
              "%lld entries of rows without a collinear partner: rms %.3f\n",
              sizeof(T) == 8 ? "d" : "s", rows, nan_marker, with_init, (long long)miss, rms, noise,
              (long long)(c_far / m), rms_far);
  // A draw from the conditional normal errs by about sqrt(2) times the
  // conditional deviation, itself of the order of the noise.
  EXPECT_LT(rms, 4 * noise);
  EXPECT_LT(rms_far, 6.0);  // conditional deviation up to 2 (dimension 2), times sqrt(2)
  // The EM estimate (prior output) against the generating model.
  EXPECT_NEAR((double)prior[0], 3, 0.1);
  EXPECT_NEAR((double)prior[3], -1, 0.1);
  EXPECT_NEAR((double)prior[p], 1, 0.1);  // variance of dimension 0
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
