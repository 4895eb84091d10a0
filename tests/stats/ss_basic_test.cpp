// Basic statistics against a long-double two-pass reference.
#include <qor/qor_bex.h>
#include <qor/qor_stats.h>

#include <gtest/gtest.h>

#include <tuple>

#include "stats/ss_fixture.h"

using namespace qor_test;

namespace {

DataSet<float> make_float_copy(const DataSet<double> &d) {
  DataSet<float> f;
  f.p = d.p, f.n = d.n, f.rows = d.rows;
  f.x.assign(d.x.begin(), d.x.end());
  f.w.assign(d.w.begin(), d.w.end());
  return f;
}

constexpr uint64_t kOnePassSet = GUX_SS_MEAN | GUX_SS_RAW2 | GUX_SS_CENTRAL2 | GUX_SS_CENTRAL3 |
                                 GUX_SS_CENTRAL4 | GUX_SS_KURTOSIS | GUX_SS_SKEWNESS |
                                 GUX_SS_VARIATION | GUX_SS_COV | GUX_SS_COR | GUX_SS_CROSS_PRODUCT |
                                 GUX_SS_CENTRAL_SUM2 | GUX_SS_SUM;

struct Errors {
  double mean, c2, c3, c4, kurt, skew, cov, cor, cs2;
};

template <class T>
Errors errors(const Session<T> &s, const Reference &r) {
  Errors e;
  e.mean = max_rel_err(s.mean, r.mean);
  e.c2 = max_rel_err(s.c2, r.c2);
  e.c3 = 0;
  for (size_t j = 0; j < r.c3.size(); ++j)
    e.c3 = std::max(e.c3, std::fabs(s.c3[j] - (double)r.c3[j]) / std::pow((double)r.c2[j], 1.5));
  e.c4 = max_rel_err(s.c4, r.c4);
  e.kurt = max_abs_err(s.kurt, r.kurt);
  e.skew = max_abs_err(s.skew, r.skew);
  e.cov = max_rel_err(s.cov, r.cov);
  e.cor = max_abs_err(s.cor, r.cor);
  e.cs2 = max_rel_err(s.cs2, r.M2);
  return e;
}

// (observations in rows, weighted, threads)
class HardData : public ::testing::TestWithParam<std::tuple<bool, bool, int>> {};

// Values near 1e9 with a spread near 1: sums of squares lose every digit,
// the running update and the sums about a given mean must not.
TEST_P(HardData, OnePassAndUserMeanMatchTheReference) {
  const auto [rows, weighted, threads] = GetParam();
  Threads t(threads);
  const auto d = make_data<double>(5, 6007, rows, weighted, 1e9, 1.0, 42);
  const Reference r = reference(d);
  {
    Session<double> s(d);
    ASSERT_EQ(s.basic(kOnePassSet, GUX_SS_M_ONE_PASS), 0);
    const Errors e = errors(s, r);
    EXPECT_LT(e.mean, 1e-15);
    EXPECT_LT(e.c2, 1e-8);
    EXPECT_LT(e.c3, 1e-7);
    EXPECT_LT(e.c4, 1e-7);
    EXPECT_LT(e.kurt, 1e-7);
    EXPECT_LT(e.skew, 1e-7);
    EXPECT_LT(e.cov, 1e-8);
    EXPECT_LT(e.cor, 1e-8);
    EXPECT_LT(e.cs2, 1e-8);
    EXPECT_NEAR(s.aw[0], (double)r.W, 1e-13 * (double)r.W);
    EXPECT_NEAR(s.aw[1], (double)r.V, 1e-13 * (double)r.V);
    EXPECT_EQ(s.cp[1], s.cp[s.p]) << "the cross-product is symmetric in full storage";
  }
  {
    Session<double> s(d);
    for (int j = 0; j < s.p; ++j) s.mean[j] = (double)r.mean[j];
    const uint64_t mask = kOnePassSet & ~GUX_SS_MEAN & ~GUX_SS_SUM;
    ASSERT_EQ(s.basic(mask, GUX_SS_M_USER_MEAN), 0);
    const Errors e = errors(s, r);
    // The given mean is the reference's rounded to double: second order for
    // the variance, first order (4 * delta * M3) for the fourth moment.
    EXPECT_LT(e.c2, 1e-12);
    EXPECT_LT(e.c4, 1e-7);
    EXPECT_LT(e.cov, 1e-12);
    EXPECT_LT(e.cor, 1e-12);
    EXPECT_LT(e.kurt, 1e-7);
  }
}

INSTANTIATE_TEST_SUITE_P(Layouts, HardData,
                         ::testing::Combine(::testing::Bool(), ::testing::Bool(), ::testing::Values(1, 3)));

// (observations in rows, weighted, threads)
class BenignData : public ::testing::TestWithParam<std::tuple<bool, bool, int>> {};

TEST_P(BenignData, FastSumsMatchTheReference) {
  const auto [rows, weighted, threads] = GetParam();
  Threads t(threads);
  const auto d = make_data<double>(6, 5003, rows, weighted, 2.0, 1.0, 7);
  const Reference r = reference(d);
  Session<double> s(d);
  ASSERT_EQ(s.basic(kAllBasic, GUX_SS_M_FAST), 0);
  EXPECT_LT(max_rel_err(s.mean, r.mean), 1e-13);
  EXPECT_LT(max_rel_err(s.raw2, r.raw2), 1e-13);
  EXPECT_LT(max_rel_err(s.raw3, r.raw3), 1e-13);
  EXPECT_LT(max_rel_err(s.raw4, r.raw4), 1e-13);
  EXPECT_LT(max_rel_err(s.c2, r.c2), 1e-11);
  EXPECT_LT(max_rel_err(s.c4, r.c4), 1e-10);
  EXPECT_LT(max_abs_err(s.c3, r.c3), 1e-10);
  EXPECT_LT(max_abs_err(s.cov, r.cov), 1e-10);
  EXPECT_LT(max_abs_err(s.cor, r.cor), 1e-11);
  for (int j = 0; j < s.p; ++j) {
    EXPECT_NEAR(s.sum[j], (double)(r.mean[j] * r.W), 1e-9 * std::fabs((double)(r.mean[j] * r.W)));
    EXPECT_NEAR(s.rs2[j], (double)(r.raw2[j] * r.W), 1e-9 * (double)(r.raw2[j] * r.W));
    EXPECT_NEAR(s.cs4[j], (double)r.M4[j], 1e-9 * (double)r.M4[j]);
    EXPECT_NEAR(s.skew[j], (double)r.skew[j], 1e-9);
    EXPECT_NEAR(s.var[j], (double)r.var[j], 1e-12);
  }
  // Every method agrees on the same estimates.
  Session<double> o(d);
  ASSERT_EQ(o.basic(kAllBasic, GUX_SS_M_ONE_PASS), 0);
  EXPECT_LT(max_rel_err(o.raw4, r.raw4), 1e-13);
  EXPECT_LT(max_rel_err(o.c4, r.c4), 1e-12);
  EXPECT_LT(max_abs_err(o.cor, r.cor), 1e-13);
}

INSTANTIATE_TEST_SUITE_P(Layouts, BenignData,
                         ::testing::Combine(::testing::Bool(), ::testing::Bool(), ::testing::Values(1, 3)));

// (method, weighted, threads)
class Progressive : public ::testing::TestWithParam<std::tuple<uint64_t, bool, int>> {};

// Two calls over the halves leave what one call over all leaves.
TEST_P(Progressive, TwoHalvesEqualTheWhole) {
  const auto [method, weighted, threads] = GetParam();
  Threads t(threads);
  const auto d = make_data<double>(4, 8000, true, weighted, method == GUX_SS_M_FAST ? 1.0 : 1e6, 1.0, 3);
  DataSet<double> first = d, second = d;
  first.n = second.n = d.n / 2;
  first.x.assign(d.x.begin(), d.x.begin() + d.x.size() / 2);
  second.x.assign(d.x.begin() + d.x.size() / 2, d.x.end());
  if (weighted) {
    first.w.assign(d.w.begin(), d.w.begin() + d.n / 2);
    second.w.assign(d.w.begin() + d.n / 2, d.w.end());
  }
  const Reference r = reference(d);
  uint64_t mask = GUX_SS_MEAN | GUX_SS_CENTRAL2 | GUX_SS_CENTRAL3 | GUX_SS_CENTRAL4 | GUX_SS_COV |
                  GUX_SS_RAW2 | GUX_SS_RAW3 | GUX_SS_RAW4;
  if (method == GUX_SS_M_USER_MEAN) mask &= ~GUX_SS_MEAN;
  Session<double> whole(d), halves(first);
  for (int j = 0; j < whole.p; ++j) whole.mean[j] = halves.mean[j] = (double)r.mean[j];
  ASSERT_EQ(whole.basic(mask, method), 0);
  ASSERT_EQ(halves.basic(mask, method), 0);
  halves.rebind(second);
  ASSERT_EQ(halves.basic(mask, method), 0);
  const double tol = method == GUX_SS_M_FAST ? 1e-12 : 1e-9;
  for (int j = 0; j < whole.p; ++j) {
    EXPECT_NEAR(halves.mean[j], whole.mean[j], 1e-15 * std::fabs(whole.mean[j]));
    EXPECT_NEAR(halves.c2[j], whole.c2[j], tol * whole.c2[j]);
    EXPECT_NEAR(halves.c4[j], whole.c4[j], tol * whole.c4[j]);
    EXPECT_NEAR(halves.c3[j], whole.c3[j], tol * std::pow(whole.c2[j], 1.5));
    EXPECT_NEAR(halves.raw4[j], whole.raw4[j], 1e-13 * whole.raw4[j]);
  }
  for (int k = 0; k < whole.p * whole.p; ++k) EXPECT_NEAR(halves.cov[k], whole.cov[k], tol * whole.cov[0]);
  EXPECT_NEAR(halves.aw[0], whole.aw[0], 1e-13 * whole.aw[0]);
}

INSTANTIATE_TEST_SUITE_P(Methods, Progressive,
                         ::testing::Combine(::testing::Values(GUX_SS_M_FAST, GUX_SS_M_ONE_PASS, GUX_SS_M_USER_MEAN),
                                            ::testing::Bool(), ::testing::Values(1, 3)));

TEST(Basic, UnselectedDimensionsKeepTheirOutputs) {
  Threads t(3);
  const auto d = make_data<double>(4, 3000, false, false, 5.0, 1.0, 11);
  const Reference r = reference(d);
  for (uint64_t method : {GUX_SS_M_FAST, GUX_SS_M_ONE_PASS}) {
    Session<double> s(d);
    int sel[4] = {1, 0, 1, 1};
    __guxiSSEditTask(s.task, GUX_SS_P_INDICES, sel);
    s.mean.assign(4, -7), s.c2.assign(4, -7), s.cov.assign(16, -7), s.cor.assign(16, -7), s.cs2.assign(4, -7);
    ASSERT_EQ(s.basic(GUX_SS_MEAN | GUX_SS_CENTRAL2 | GUX_SS_COV | GUX_SS_COR | GUX_SS_CENTRAL_SUM2, method), 0);
    for (int j = 0; j < 4; ++j) {
      for (int k = 0; k < 4; ++k) {
        const bool both = j != 1 && k != 1;
        if (both) {
          EXPECT_NEAR(s.cov[j * 4 + k], (double)r.cov[j * 4 + k], 1e-10);
          EXPECT_NEAR(s.cor[j * 4 + k], (double)r.cor[j * 4 + k], 1e-12);
        } else {
          EXPECT_EQ(s.cov[j * 4 + k], -7);
          EXPECT_EQ(s.cor[j * 4 + k], -7);
        }
      }
      if (j == 1) {
        EXPECT_EQ(s.mean[j], -7);
        EXPECT_EQ(s.c2[j], -7);
        EXPECT_EQ(s.cs2[j], -7);
      } else {
        EXPECT_NEAR(s.mean[j], (double)r.mean[j], 1e-13);
        EXPECT_NEAR(s.c2[j], (double)r.c2[j], 1e-11 * (double)r.c2[j]);
      }
    }
  }
}

// The correlation's inverse roots run under a temporary mode word; the
// caller's word is back afterwards.
TEST(Basic, CorrelationLeavesTheModeWordAlone) {
  ASSERT_NE(qor_bex_kernel_dInvSqrt_ttab.kernel[1], nullptr);
  ASSERT_NE(qor_bex_kernel_sInvSqrt_ttab.kernel[1], nullptr);
  const auto d = make_data<double>(3, 200, true, false, 1.0, 1.0, 12);
  const Reference r = reference(d);
  const unsigned before = qor_bex_kernel_SetMode(BEX_EP | BEX_FTZDAZ_ON);
  const unsigned mine = qor_bex_kernel_GetMode();
  Session<double> s(d);
  ASSERT_EQ(s.basic(GUX_SS_MEAN | GUX_SS_COR, GUX_SS_M_ONE_PASS), 0);
  EXPECT_EQ(qor_bex_kernel_GetMode(), mine);
  qor_bex_kernel_SetMode(before);
  EXPECT_LT(max_abs_err(s.cor, r.cor), 1e-14);
  const DataSet<float> df = make_float_copy(d);
  Session<float> f(df);
  ASSERT_EQ(f.basic(GUX_SS_MEAN | GUX_SS_COR, GUX_SS_M_ONE_PASS), 0);
  EXPECT_LT(max_abs_err(f.cor, r.cor), 1e-5);
}

TEST(Basic, PackedMatrixStorages) {
  const auto d = make_data<double>(4, 500, true, true, 1.0, 1.0, 5);
  const Reference r = reference(d);
  Session<double> s(d);
  s.cov_storage = GUX_MATRIX_LOWER_ROWS;
  s.cor_storage = GUX_MATRIX_UPPER_ROWS;
  s.cp_storage = 3;  // bit 1 is tested first: upper rows
  ASSERT_EQ(s.basic(GUX_SS_COV | GUX_SS_COR | GUX_SS_CROSS_PRODUCT | GUX_SS_MEAN, GUX_SS_M_ONE_PASS), 0);
  int lower = 0, upper = 0;
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j <= i; ++j) EXPECT_NEAR(s.cov[lower++], (double)r.cov[i * 4 + j], 1e-12);
    for (int j = i; j < 4; ++j, ++upper) {
      EXPECT_NEAR(s.cor[upper], (double)r.cor[i * 4 + j], 1e-13);
      EXPECT_NEAR(s.cp[upper], (double)r.cp[i * 4 + j], 1e-10);
    }
  }
  EXPECT_EQ(s.cor[0], 1.0);
  EXPECT_EQ(s.cov[10], 0.0) << "packed output stops at p(p+1)/2";
}

TEST(Basic, ConversionsFromSumsAndCrossProducts) {
  const auto d = make_data<double>(3, 400, false, true, 3.0, 1.0, 9);
  const Reference r = reference(d);
  Session<double> s(d);
  ASSERT_EQ(s.basic(GUX_SS_SUM | GUX_SS_RAW_SUM2 | GUX_SS_CENTRAL_SUM2 | GUX_SS_CENTRAL_SUM3 |
                        GUX_SS_CENTRAL_SUM4 | GUX_SS_CROSS_PRODUCT | GUX_SS_MEAN,
                    GUX_SS_M_ONE_PASS), 0);
  Session<double> c(d);
  c.sum = s.sum, c.rs2 = s.rs2, c.cs2 = s.cs2, c.cs3 = s.cs3, c.cs4 = s.cs4, c.cp = s.cp, c.aw = s.aw;
  ASSERT_EQ(c.basic(GUX_SS_MEAN | GUX_SS_RAW2 | GUX_SS_CENTRAL2 | GUX_SS_CENTRAL3 | GUX_SS_CENTRAL4 |
                        GUX_SS_KURTOSIS | GUX_SS_SKEWNESS | GUX_SS_VARIATION,
                    GUX_SS_M_FROM_SUMS), 0);
  ASSERT_EQ(c.basic(GUX_SS_COV | GUX_SS_COR, GUX_SS_M_FROM_CROSS_PRODUCT), 0);
  for (int j = 0; j < 3; ++j) {
    EXPECT_NEAR(c.mean[j], (double)r.mean[j], 1e-13 * std::fabs((double)r.mean[j]));
    EXPECT_NEAR(c.raw2[j], (double)r.raw2[j], 1e-13 * (double)r.raw2[j]);
    EXPECT_NEAR(c.c2[j], (double)r.c2[j], 1e-12 * (double)r.c2[j]);
    EXPECT_NEAR(c.kurt[j], (double)r.kurt[j], 1e-11);
    EXPECT_NEAR(c.skew[j], (double)r.skew[j], 1e-11);
    EXPECT_NEAR(c.var[j], (double)r.var[j], 1e-12);
  }
  EXPECT_LT(max_abs_err(c.cov, r.cov), 1e-12);
  EXPECT_LT(max_abs_err(c.cor, r.cor), 1e-13);
  EXPECT_EQ(c.aw, s.aw) << "conversions leave the accumulated weights alone";

  // Without accumulated weights an unweighted task takes W = V = n.
  const auto u = make_data<double>(3, 400, false, false, 3.0, 1.0, 9);
  const Reference ru = reference(u);
  Session<double> a(u), b(u);
  ASSERT_EQ(a.basic(GUX_SS_CROSS_PRODUCT | GUX_SS_MEAN, GUX_SS_M_ONE_PASS), 0);
  b.cp = a.cp;
  __guxdSSEditCP(b.task, nullptr, nullptr, b.cp.data(), nullptr);
  b.task->accum_weights = nullptr;
  ASSERT_EQ(b.basic(GUX_SS_COV, GUX_SS_M_FROM_CROSS_PRODUCT), 0);
  EXPECT_LT(max_abs_err(b.cov, ru.cov), 1e-12);
}

// The sums about a given mean follow the mean when it moves between groups.
TEST(Basic, UserMeanCarriesEarlierGroupsToAMovedMean) {
  const auto d = make_data<double>(3, 2000, true, false, 100.0, 1.0, 21);
  DataSet<double> first = d, second = d;
  first.n = second.n = 1000;
  first.x.assign(d.x.begin(), d.x.begin() + 3000);
  second.x.assign(d.x.begin() + 3000, d.x.end());
  const Reference r1 = reference(first), r = reference(d);
  Session<double> s(first);
  for (int j = 0; j < 3; ++j) s.mean[j] = (double)r1.mean[j];
  const uint64_t mask = GUX_SS_CENTRAL2 | GUX_SS_CENTRAL4 | GUX_SS_COV | GUX_SS_CENTRAL_SUM3;
  ASSERT_EQ(s.basic(mask, GUX_SS_M_USER_MEAN), 0);
  ASSERT_NE(s.task->kept_mean, nullptr);
  EXPECT_EQ(static_cast<double *>(s.task->kept_mean)[2], s.mean[2]);
  for (int j = 0; j < 3; ++j) s.mean[j] = (double)r.mean[j];
  s.rebind(second);
  ASSERT_EQ(s.basic(mask, GUX_SS_M_USER_MEAN), 0);
  for (int j = 0; j < 3; ++j) {
    EXPECT_NEAR(s.c2[j], (double)r.c2[j], 1e-11 * (double)r.c2[j]);
    EXPECT_NEAR(s.c4[j], (double)r.c4[j], 1e-10 * (double)r.c4[j]);
    EXPECT_NEAR(s.cs3[j], (double)r.M3[j], 1e-9 * (double)r.M2[j]);
  }
  EXPECT_LT(max_abs_err(s.cov, r.cov), 1e-11);
}

TEST(Basic, SingleObservationAndLeadingZeroWeights) {
  auto d = make_data<double>(2, 1, false, false, 4.0, 1.0, 1);
  Session<double> one(d);
  ASSERT_EQ(one.basic(GUX_SS_MEAN | GUX_SS_CENTRAL2, GUX_SS_M_ONE_PASS), 0);
  EXPECT_EQ(one.mean[0], d.x[0]);
  EXPECT_FALSE(std::isfinite(one.c2[0])) << "W*W - V is zero and is not reported";

  auto z = make_data<double>(2, 64, true, true, 4.0, 1.0, 2);
  for (int i = 0; i < 64; ++i) z.w[i] = 0;
  for (uint64_t method : {GUX_SS_M_ONE_PASS, GUX_SS_M_FAST}) {
    Session<double> s(z);
    ASSERT_EQ(s.basic(GUX_SS_MEAN | GUX_SS_CENTRAL_SUM2 | GUX_SS_CROSS_PRODUCT, method), 0);
    EXPECT_EQ(s.aw[0], 0.0);
    for (double v : s.mean) EXPECT_EQ(v, 0.0);
    for (double v : s.cs2) EXPECT_EQ(v, 0.0);
    for (double v : s.cp) EXPECT_EQ(v, 0.0);
  }
  // Zero weights ahead of real data change nothing, even on a NaN.
  auto zw = make_data<double>(2, 64, true, true, 4.0, 1.0, 2);
  for (int i = 0; i < 10; ++i) zw.w[i] = 0;
  zw.x[0] = zw.x[1] = std::nan("");
  const Reference r = reference(zw);
  Session<double> s(zw);
  ASSERT_EQ(s.basic(GUX_SS_MEAN | GUX_SS_CENTRAL2, GUX_SS_M_ONE_PASS), 0);
  EXPECT_NEAR(s.c2[0], (double)r.c2[0], 1e-13 * (double)r.c2[0]);
  EXPECT_NEAR(s.c2[1], (double)r.c2[1], 1e-13 * (double)r.c2[1]);
}

TEST(Basic, OneDimensionIgnoresTheStorageCode) {
  const auto d = make_data<double>(1, 777, false, false, 1e8, 1.0, 4);
  const Reference r = reference(d);
  Session<double> s(d);
  s.storage = GUX_SS_OBSERVATIONS_IN_ROWS;
  ASSERT_EQ(s.basic(GUX_SS_MEAN | GUX_SS_CENTRAL2 | GUX_SS_COV, GUX_SS_M_ONE_PASS), 0);
  EXPECT_NEAR(s.c2[0], (double)r.c2[0], 1e-9 * (double)r.c2[0]);
  EXPECT_NEAR(s.cov[0], s.c2[0], 1e-9 * s.c2[0]);
}

// (observations in rows, weighted)
class SingleTwin : public ::testing::TestWithParam<std::tuple<bool, bool>> {};

TEST_P(SingleTwin, MatchesTheReferenceToSinglePrecision) {
  const auto [rows, weighted] = GetParam();
  Threads t(3);
  const auto d = make_data<float>(5, 4099, rows, weighted, 1e3, 1.0, 8);
  const Reference r = reference(d);
  for (uint64_t method : {GUX_SS_M_ONE_PASS, GUX_SS_M_USER_MEAN}) {
    Session<float> s(d);
    for (int j = 0; j < s.p; ++j) s.mean[j] = (float)r.mean[j];
    uint64_t mask = kOnePassSet;
    if (method == GUX_SS_M_USER_MEAN) mask &= ~(GUX_SS_MEAN | GUX_SS_SUM);
    ASSERT_EQ(s.basic(mask, method), 0);
    // Offset 1e3 with spread 1 in single precision: sums of squares keep
    // about one digit here, the running update keeps about six.
    EXPECT_LT(max_rel_err(s.mean, r.mean), 1e-6);
    EXPECT_LT(max_rel_err(s.c2, r.c2), 1e-5);
    EXPECT_LT(max_abs_err(s.cor, r.cor), 1e-5);
    EXPECT_LT(max_abs_err(s.kurt, r.kurt), 1e-4);
  }
  const auto fd = make_data<float>(5, 4099, rows, weighted, 0.5, 1.0, 8);
  const Reference fr = reference(fd);
  Session<float> f(fd);
  ASSERT_EQ(f.basic(GUX_SS_MEAN | GUX_SS_RAW2 | GUX_SS_COV, GUX_SS_M_FAST), 0);
  EXPECT_LT(max_abs_err(f.mean, fr.mean), 1e-5);
  EXPECT_LT(max_rel_err(f.raw2, fr.raw2), 1e-5);
  EXPECT_LT(max_abs_err(f.cov, fr.cov) / (double)fr.cov[0], 1e-4);
}

INSTANTIATE_TEST_SUITE_P(Layouts, SingleTwin, ::testing::Combine(::testing::Bool(), ::testing::Bool()));

}  // namespace

namespace {

// (dimension, observations in rows): every width of the dimension groups,
// with the padded last group, in all three families.
class Widths : public ::testing::TestWithParam<std::tuple<int, bool>> {};

TEST_P(Widths, EveryMethodMatchesTheReference) {
  const auto [p, rows] = GetParam();
  const auto d = make_data<double>(p, 301, rows, true, 3.0, 1.0, 100 + p);
  const Reference r = reference(d);
  for (uint64_t method : {GUX_SS_M_FAST, GUX_SS_M_ONE_PASS, GUX_SS_M_USER_MEAN}) {
    Session<double> s(d);
    for (int j = 0; j < p; ++j) s.mean[j] = (double)r.mean[j];
    uint64_t mask = kAllBasic;
    if (method == GUX_SS_M_USER_MEAN) mask &= ~(GUX_SS_MEAN | GUX_SS_SUM);
    ASSERT_EQ(s.basic(mask, method), 0) << method;
    EXPECT_LT(max_rel_err(s.raw4, r.raw4), 1e-13) << method;
    EXPECT_LT(max_rel_err(s.c2, r.c2), 1e-11) << method;
    EXPECT_LT(max_rel_err(s.c4, r.c4), 1e-10) << method;
    EXPECT_LT(max_abs_err(s.cor, r.cor), 1e-11) << method;
    if (method != GUX_SS_M_USER_MEAN) {
      EXPECT_LT(max_rel_err(s.mean, r.mean), 1e-14) << method;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Dimensions, Widths,
                         ::testing::Combine(::testing::Values(1, 3, 5, 9, 13, 17, 33), ::testing::Bool()));

}  // namespace

namespace {

// Running values read back from packed storage and through a 64-bit
// selection of a wide task.
TEST(Basic, RunningValuesFromPackedStorageOfAWideTask) {
  const auto d = make_data<double>(4, 2000, false, true, 50.0, 1.0, 31);
  DataSet<double> first = d, second = d;
  first.n = second.n = 1000;
  first.x.clear(), second.x.clear();
  for (int j = 0; j < 4; ++j) {
    first.x.insert(first.x.end(), d.x.begin() + j * 2000, d.x.begin() + j * 2000 + 1000);
    second.x.insert(second.x.end(), d.x.begin() + j * 2000 + 1000, d.x.begin() + (j + 1) * 2000);
  }
  first.w.assign(d.w.begin(), d.w.begin() + 1000);
  second.w.assign(d.w.begin() + 1000, d.w.end());
  const Reference r = reference(d);

  int64_t p = 4, n = 1000, storage = GUX_SS_VARIABLES_IN_ROWS, lower = GUX_MATRIX_LOWER_ROWS,
          upper = GUX_MATRIX_UPPER_ROWS, sel[4] = {1, 1, 0, 1};
  std::vector<double> mean(4, -5), cov(10, -5), cp(10, -5), aw{0, 0};
  GuxSSTask *t = nullptr;
  ASSERT_EQ(__guxdSSNewTask(&t, &p, &n, &storage, first.x.data(), first.w.data(), sel, 1), 0);
  __guxdSSEditCovCor(t, mean.data(), cov.data(), &lower, nullptr, nullptr);
  __guxdSSEditCP(t, nullptr, nullptr, cp.data(), &upper);
  __guxdSSEditTask(t, GUX_SS_P_ACCUM_WEIGHTS, aw.data());
  for (uint64_t mask : {GUX_SS_MEAN | GUX_SS_COV, GUX_SS_MEAN | GUX_SS_CROSS_PRODUCT}) {
    aw = {0, 0};
    __guxdSSEditTask(t, GUX_SS_P_X, first.x.data());
    __guxdSSEditTask(t, GUX_SS_P_WEIGHTS, first.w.data());
    ASSERT_EQ(_guxdSSBasic(t, mask, GUX_SS_M_ONE_PASS, nullptr), 0);
    __guxdSSEditTask(t, GUX_SS_P_X, second.x.data());
    __guxdSSEditTask(t, GUX_SS_P_WEIGHTS, second.w.data());
    ASSERT_EQ(_guxdSSBasic(t, mask, GUX_SS_M_ONE_PASS, nullptr), 0);
  }
  int lo = 0, up = 0;
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j <= i; ++j, ++lo) {
      if (i == 2 || j == 2) EXPECT_EQ(cov[lo], -5);
      else EXPECT_NEAR(cov[lo], (double)r.cov[i * 4 + j], 1e-12 * (double)r.cov[0]);
    }
    for (int j = i; j < 4; ++j, ++up) {
      if (i == 2 || j == 2) EXPECT_EQ(cp[up], -5);
      else EXPECT_NEAR(cp[up], (double)r.cp[i * 4 + j], 1e-12 * (double)r.cp[0]);
    }
  }
  EXPECT_EQ(mean[2], -5);
  EXPECT_NEAR(mean[3], (double)r.mean[3], 1e-14 * (double)r.mean[3]);
  __guxSSDeleteTask(&t);
}

}  // namespace
