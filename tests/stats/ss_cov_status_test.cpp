// Every status of the covariance variants, deviations, outlier detection and
// missing values, in the order the entries test them: one table of (change
// to a valid task, entry, mask, method, status) over both precisions; then
// the core's dispatcher reaching each estimator by its mask or method bits.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <tuple>
#include <vector>

#include "core/qor_core_stats.h"
#include "stats/ss_fixture.h"

using namespace qor_test;

namespace {

using Fn = int64_t (*)(GuxSSTask *, uint64_t, uint64_t, const GuxThreadingTable *);
enum Which { Pooled, Partial, Repair, Robust, Mad, WMed, Mah, Outl, Miss, kWhich };
#define QOR_STATUS_ENTRIES(L)                                                                               \
  {_gux##L##SSPooledCovariance, _gux##L##SSPartialCovariance, _gux##L##SSCorParametrization,                \
   _gux##L##SSRobustCovariance, _gux##L##SSMAD, _gux##L##SSWMedian, _gux##L##SSMahDistance,                 \
   _gux##L##SSOutliersDetection, _gux##L##SSMissingValues}
const Fn kEntries[2][kWhich] = {QOR_STATUS_ENTRIES(s), QOR_STATUS_ENTRIES(d)};

// A task on which every entry succeeds.
template <class T>
struct Valid {
  static constexpr int P = 3, N = 40;
  int p = P, n = N, storage = GUX_SS_VARIABLES_IN_ROWS, full = 0, lower = 1, upper = 2, bad_code = 3,
      groups[N], flags[2] = {1, 1}, marks[P] = {1, -1, 1}, ocount = 3, rcount = 3, mcount = 5, simc = 3, prc = 9;
  std::vector<T> x = std::vector<T>(P * N), pm = std::vector<T>(P), pc = std::vector<T>(P * P),
                 gm = std::vector<T>(2 * P), gc = std::vector<T>(2 * P * P), cov{2, 1, 0, 1, 2, 1, 0, 1, 2},
                 pcov = std::vector<T>(4), pcor = std::vector<T>(4), par = std::vector<T>(P * P),
                 rm = std::vector<T>(P), rc = std::vector<T>(P * P), mad = std::vector<T>(P), medad = std::vector<T>(P),
                 q = std::vector<T>(P), ow = std::vector<T>(N), oparams{T(2), T(0.05), T(0.005)},
                 mparams{T(5), T(2), T(1e-6), T(1), T(NAN)}, sim = std::vector<T>(3), prior = std::vector<T>(9),
                 dist = std::vector<T>(N), inv{1, 0, 0, 0, 1, 0, 0, 0, 1};
  GuxSSTask *t = nullptr;
  Valid() {
    std::mt19937_64 g(9);
    std::normal_distribution<double> z;
    for (auto &v : x) v = (T)z(g);
    x[5] = x[N + 7] = x[2 * N + 9] = T(NAN);  // three missing entries (only the missing-value task reads NaN as such)
    for (int i = 0; i < N; ++i) groups[i] = i % 2;
    Entries<T>::new_task(&t, &p, &n, &storage, x.data(), nullptr, nullptr, 0);
    __guxdSSEditPooledCovariance(t, groups, pm.data(), pc.data(), flags, gm.data(), gc.data());
    __guxiSSEditTask(t, GUX_SS_P_POOLED_STORAGE, &full);
    __guxiSSEditTask(t, GUX_SS_P_GROUP_STORAGE, &lower);
    __guxdSSEditPartialCovCor(t, marks, cov.data(), &full, nullptr, nullptr, pcov.data(), &upper, pcor.data(), &lower);
    __guxdSSEditMtxParametrz(t, cov.data(), &full, par.data(), &upper);
    __guxdSSEditRCov(t, &lower, nullptr, nullptr, rm.data(), rc.data());
    Entries<T>::edit(t, GUX_SS_P_MEAN_ABS_DEV, mad.data());
    Entries<T>::edit(t, GUX_SS_P_MEDIAN_ABS_DEV, medad.data());
    Entries<T>::edit(t, GUX_SS_P_QUANTILES, q.data());
    __guxdSSEditOutDetect(t, &ocount, oparams.data(), ow.data());
    __guxdSSEditMissingVals(t, &mcount, mparams.data(), nullptr, nullptr, nullptr, nullptr, &simc, sim.data(), &prc,
                            prior.data());
    t->mahalanobis[2] = rm.data(), t->mahalanobis[3] = inv.data(), t->mahalanobis[4] = dist.data();
  }
  ~Valid() { __guxSSDeleteTask(&t); }
  // Replaces the NaN entries by numbers, for the entries that read all data.
  void finite() { x[5] = x[N + 7] = x[2 * N + 9] = T(0.5); }
};

constexpr uint64_t kPooledAll = GUX_SS_POOLED_COV | GUX_SS_GROUP_COV | GUX_SS_POOLED_MEAN | GUX_SS_GROUP_MEANS;
constexpr uint64_t kPartialAll = GUX_SS_PARTIAL_COV | GUX_SS_PARTIAL_COR;
constexpr uint64_t kMadAll = GUX_SS_MEAN_ABS_DEV | GUX_SS_MEDIAN_ABS_DEV;
constexpr uint64_t kMah = 0x4000000ull;

template <class T>
struct Row {
  const char *name;
  Which which;
  uint64_t mask, method;
  std::function<void(Valid<T> &)> change;
  int64_t status;
};

template <class T>
std::vector<Row<T>> rows() {
  using V = Valid<T>;
  const uint64_t one = GUX_SS_M_ONE_PASS, fast = GUX_SS_M_FAST;
  return {
      // pooled and group covariance
      {"pooled ok", Pooled, kPooledAll, one, [](V &v) { v.finite(); }, 0},
      {"pooled p", Pooled, kPooledAll, one, [](V &v) { v.p = 0; }, GUX_SS_BAD_DIMENSION},
      {"pooled n", Pooled, kPooledAll, one, [](V &v) { v.n = 0; }, GUX_SS_BAD_OBSERVATIONS},
      {"pooled storage null", Pooled, kPooledAll, one, [](V &v) { v.t->x_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"pooled storage", Pooled, kPooledAll, one, [](V &v) { v.storage = 4; }, GUX_SS_BAD_STORAGE},
      {"group indices", Pooled, kPooledAll, one, [](V &v) { v.t->group_indices = nullptr; }, GUX_SS_NO_GROUP_INDICES},
      {"pooled mean", Pooled, GUX_SS_POOLED_COV, one, [](V &v) { v.t->pooled_mean = nullptr; }, GUX_SS_NO_POOLED_MEAN},
      {"pooled cov storage", Pooled, GUX_SS_POOLED_COV, one, [](V &v) { v.t->pooled_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"pooled cov", Pooled, GUX_SS_POOLED_COV, one, [](V &v) { v.t->pooled_cov = nullptr; }, GUX_SS_NO_POOLED_COV},
      {"pooled cov code", Pooled, GUX_SS_POOLED_COV, one, [](V &v) { v.full = 3; }, GUX_SS_BAD_STORAGE},
      {"group flags", Pooled, GUX_SS_GROUP_MEANS, one, [](V &v) { v.t->group_cov_indices = nullptr; }, GUX_SS_NO_GROUP_INDICES},
      {"group means", Pooled, GUX_SS_GROUP_COV, one, [](V &v) { v.t->group_means = nullptr; }, GUX_SS_NO_GROUP_MEANS},
      {"group storage", Pooled, GUX_SS_GROUP_COV, one, [](V &v) { v.t->group_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"group covs", Pooled, GUX_SS_GROUP_COV, one, [](V &v) { v.t->group_covs = nullptr; }, GUX_SS_NO_GROUP_COVS},
      {"group code", Pooled, GUX_SS_GROUP_COV, one, [](V &v) { v.lower = 5; }, GUX_SS_BAD_STORAGE},
      {"pooled method", Pooled, kPooledAll, fast, [](V &) {}, GUX_SS_BAD_METHOD},
      {"pooled x", Pooled, kPooledAll, one, [](V &v) { v.t->x = nullptr; }, GUX_SS_NO_X},
      {"negative group", Pooled, kPooledAll, one, [](V &v) { v.groups[7] = -1; }, GUX_SS_BAD_GROUP_INDICES},
      {"pooled nothing asked", Pooled, 0, one, [](V &v) { v.t->x = nullptr; }, 0},
      // partial covariance
      {"partial ok", Partial, kPartialAll, fast, [](V &) {}, 0},
      {"partial from cor", Partial, kPartialAll, fast, [](V &v) { v.t->cov = nullptr; v.t->cor = v.cov.data(); v.t->cor_storage = &v.full; }, 0},
      {"partial p", Partial, kPartialAll, fast, [](V &v) { v.p = 0; }, GUX_SS_BAD_DIMENSION},
      {"cov storage", Partial, kPartialAll, fast, [](V &v) { v.t->cov_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"no source", Partial, kPartialAll, fast, [](V &v) { v.t->cov = v.t->cor = nullptr; }, GUX_SS_NO_COV},
      {"cor storage", Partial, kPartialAll, fast, [](V &v) { v.t->cov = nullptr; v.t->cor_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"source code", Partial, kPartialAll, fast, [](V &v) { v.full = 7; }, GUX_SS_BAD_STORAGE},
      {"partial indices", Partial, kPartialAll, fast, [](V &v) { v.t->partial_indices = nullptr; }, GUX_SS_NO_PARTIAL_INDICES},
      {"partial cov", Partial, kPartialAll, fast, [](V &v) { v.t->partial_cov = nullptr; }, GUX_SS_NO_PARTIAL_COV},
      {"partial cov storage", Partial, kPartialAll, fast, [](V &v) { v.t->partial_cov_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"partial cov code", Partial, kPartialAll, fast, [](V &v) { v.upper = 3; }, GUX_SS_BAD_STORAGE},
      {"partial cor", Partial, kPartialAll, fast, [](V &v) { v.t->partial_cor = nullptr; }, GUX_SS_NO_PARTIAL_COR},
      {"partial cor storage", Partial, kPartialAll, fast, [](V &v) { v.t->partial_cor_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"partial cor code", Partial, GUX_SS_PARTIAL_COR, fast, [](V &v) { v.lower = -1; }, GUX_SS_BAD_STORAGE},
      {"partial method", Partial, kPartialAll, one, [](V &) {}, GUX_SS_BAD_METHOD},
      {"partial index 0", Partial, kPartialAll, fast, [](V &v) { v.marks[1] = 0; }, GUX_SS_BAD_PARTIAL_INDICES},
      {"partial index 2", Partial, kPartialAll, fast, [](V &v) { v.marks[0] = 2; }, GUX_SS_BAD_PARTIAL_INDICES},
      {"nothing kept", Partial, kPartialAll, fast, [](V &v) { v.marks[0] = v.marks[2] = -1; }, GUX_SS_BAD_PARTIAL_INDICES},
      {"conditioned not positive", Partial, kPartialAll, fast, [](V &v) { v.cov[4] = -1; }, GUX_SS_WARN_COV_NOT_POSITIVE},
      // repair
      {"repair ok", Repair, 0, GUX_SS_M_SPECTRAL, [](V &) {}, 0},
      {"repair p", Repair, 0, GUX_SS_M_SPECTRAL, [](V &v) { v.p = 0; }, GUX_SS_BAD_DIMENSION},
      {"repair cor", Repair, 0, GUX_SS_M_SPECTRAL, [](V &v) { v.t->cor = nullptr; }, GUX_SS_NO_COR},
      {"repair cor storage", Repair, 0, GUX_SS_M_SPECTRAL, [](V &v) { v.t->cor_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"repair cor code", Repair, 0, GUX_SS_M_SPECTRAL, [](V &v) { v.full = 4; }, GUX_SS_BAD_STORAGE},
      {"repair out", Repair, 0, GUX_SS_M_SPECTRAL, [](V &v) { v.t->param_cor = nullptr; }, GUX_SS_NO_PARAM_COR},
      {"repair out storage", Repair, 0, GUX_SS_M_SPECTRAL, [](V &v) { v.t->param_cor_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"repair out code", Repair, 0, GUX_SS_M_SPECTRAL, [](V &v) { v.upper = 9; }, GUX_SS_BAD_STORAGE},
      {"packed to full in place", Repair, 0, GUX_SS_M_SPECTRAL,
       [](V &v) { v.t->cor_storage = &v.lower; v.t->param_cor_storage = &v.full; v.t->param_cor = v.t->cor; }, GUX_SS_BAD_STORAGE},
      {"full to packed in place", Repair, 0, GUX_SS_M_SPECTRAL, [](V &v) { v.t->param_cor = v.t->cor; }, 0},
      {"repair method", Repair, 0, GUX_SS_M_ROBUST, [](V &) {}, GUX_SS_BAD_METHOD},
      {"all eigenvalues raised", Repair, 0, GUX_SS_M_SPECTRAL,
       [](V &v) { for (auto &c : v.cov) c = -c; }, GUX_SS_BAD_COR_MATRIX},
      // robust covariance
      {"robust ok", Robust, 0, GUX_SS_M_ROBUST, [](V &v) { v.finite(); }, 0},
      {"robust p", Robust, 0, GUX_SS_M_ROBUST, [](V &v) { v.p = 0; }, GUX_SS_BAD_DIMENSION},
      {"robust n", Robust, 0, GUX_SS_M_ROBUST, [](V &v) { v.n = 6; }, GUX_SS_BAD_OBSERVATIONS},
      {"robust storage null", Robust, 0, GUX_SS_M_ROBUST, [](V &v) { v.t->x_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"robust storage", Robust, 0, GUX_SS_M_ROBUST, [](V &v) { v.storage = 1; }, GUX_SS_BAD_STORAGE},
      {"robust mean", Robust, 0, GUX_SS_M_ROBUST, [](V &v) { v.t->robust_mean = nullptr; }, GUX_SS_NO_ROBUST_MEAN},
      {"robust cov", Robust, 0, GUX_SS_M_ROBUST, [](V &v) { v.t->robust_cov = nullptr; }, GUX_SS_NO_ROBUST_COV},
      {"robust out storage", Robust, 0, GUX_SS_M_ROBUST, [](V &v) { v.t->robust_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"robust out code", Robust, 0, GUX_SS_M_ROBUST, [](V &v) { v.lower = 3; }, GUX_SS_BAD_STORAGE},
      {"robust method", Robust, 0, GUX_SS_M_FAST, [](V &) {}, GUX_SS_BAD_METHOD},
      {"robust x", Robust, 0, GUX_SS_M_ROBUST, [](V &v) { v.t->x = nullptr; }, GUX_SS_NO_X},
      // deviations and weighted median
      {"mad ok", Mad, kMadAll, fast, [](V &v) { v.finite(); }, 0},
      {"median abs under user mean", Mad, GUX_SS_MEDIAN_ABS_DEV, GUX_SS_M_USER_MEAN, [](V &v) { v.finite(); }, 0},
      {"mad p", Mad, kMadAll, fast, [](V &v) { v.p = 0; }, GUX_SS_BAD_DIMENSION},
      {"mad n", Mad, kMadAll, fast, [](V &v) { v.n = 0; }, GUX_SS_BAD_OBSERVATIONS},
      {"mad storage null", Mad, kMadAll, fast, [](V &v) { v.t->x_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"mad storage", Mad, kMadAll, fast, [](V &v) { v.storage = 0; }, GUX_SS_BAD_STORAGE},
      {"mean abs", Mad, kMadAll, fast, [](V &v) { v.t->mean_abs_dev = nullptr; }, GUX_SS_NO_MEAN_ABS_DEV},
      {"median abs", Mad, kMadAll, fast, [](V &v) { v.t->median_abs_dev = nullptr; }, GUX_SS_NO_MEDIAN_ABS_DEV},
      {"mean abs method", Mad, GUX_SS_MEAN_ABS_DEV, GUX_SS_M_USER_MEAN, [](V &) {}, GUX_SS_BAD_METHOD},
      {"median abs method", Mad, GUX_SS_MEDIAN_ABS_DEV, one, [](V &) {}, GUX_SS_BAD_METHOD},
      {"mad x", Mad, kMadAll, fast, [](V &v) { v.t->x = nullptr; }, GUX_SS_NO_X},
      {"wmedian ok", WMed, 0, 0, [](V &v) { v.finite(); }, 0},
      {"wmedian quantiles", WMed, 0, 0, [](V &v) { v.t->quantiles = nullptr; }, GUX_SS_NO_QUANTILES},
      {"wmedian x", WMed, 0, 0, [](V &v) { v.t->x = nullptr; }, GUX_SS_NO_X},
      // distances
      {"mah ok", Mah, kMah, fast, [](V &v) { v.finite(); }, 0},
      {"mah mean", Mah, kMah, fast, [](V &v) { v.t->mahalanobis[2] = nullptr; }, GUX_SS_NO_MEAN},
      {"mah inverse", Mah, kMah, fast, [](V &v) { v.t->mahalanobis[3] = nullptr; }, GUX_SS_NO_COV},
      {"mah output", Mah, kMah, fast, [](V &v) { v.t->mahalanobis[4] = nullptr; }, GUX_SS_BAD_METHOD},
      {"mah mask", Mah, 0, fast, [](V &) {}, GUX_SS_BAD_METHOD},
      {"mah method", Mah, kMah, one, [](V &) {}, GUX_SS_BAD_METHOD},
      {"mah x", Mah, kMah, fast, [](V &v) { v.t->x = nullptr; }, GUX_SS_NO_X},
      // outlier detection
      {"outliers ok", Outl, 0, GUX_SS_M_OUTLIERS, [](V &v) { v.finite(); }, 0},
      {"outliers start 1", Outl, 0, GUX_SS_M_OUTLIERS, [](V &v) { v.finite(); v.oparams[0] = 1; }, 0},
      {"outliers repaired params", Outl, 0, GUX_SS_M_OUTLIERS,
       [](V &v) { v.finite(); v.oparams = {T(7), T(1.5), T(-1)}; v.t->outlier_params = v.oparams.data(); }, 0},
      {"outliers p", Outl, 0, GUX_SS_M_OUTLIERS, [](V &v) { v.p = 0; }, GUX_SS_BAD_DIMENSION},
      {"outliers n below 5p", Outl, 0, GUX_SS_M_OUTLIERS, [](V &v) { v.n = 14; }, GUX_SS_BAD_OBSERVATIONS},
      {"outliers storage null", Outl, 0, GUX_SS_M_OUTLIERS, [](V &v) { v.t->x_storage = nullptr; }, GUX_SS_BAD_STORAGE},
      {"outliers storage", Outl, 0, GUX_SS_M_OUTLIERS, [](V &v) { v.storage = 2; }, GUX_SS_BAD_STORAGE},
      {"outlier weights", Outl, 0, GUX_SS_M_OUTLIERS, [](V &v) { v.t->outlier_weights = nullptr; }, GUX_SS_NO_OUTLIER_WEIGHTS},
      {"outliers method", Outl, 0, GUX_SS_M_ROBUST, [](V &) {}, GUX_SS_BAD_METHOD},
      {"outliers x", Outl, 0, GUX_SS_M_OUTLIERS, [](V &v) { v.t->x = nullptr; }, GUX_SS_NO_X},
      // missing values
      {"missing ok", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &) {}, 0},
      {"missing prior only", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION,
       [](V &v) { v.t->simulated_values = nullptr; v.t->simulation_count = nullptr; }, 0},
      {"missing p", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.p = 0; }, GUX_SS_BAD_DIMENSION},
      {"missing n", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.n = 0; }, GUX_SS_BAD_OBSERVATIONS},
      {"missing storage null", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.t->x_storage = nullptr; }, GUX_SS_BAD_STORAGE},
      {"missing storage", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.storage = 8; }, GUX_SS_BAD_STORAGE},
      {"missing params", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.t->missing_params = nullptr; }, GUX_SS_NO_MISSING_PARAMS},
      {"missing count null", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.t->missing_param_count = nullptr; }, GUX_SS_NO_MISSING_PARAM_COUNT},
      {"missing count", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.mcount = 4; }, GUX_SS_BAD_MISSING_PARAM_COUNT},
      {"simulation count null", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.t->simulation_count = nullptr; }, GUX_SS_NO_SIMULATION_COUNT},
      {"count without values", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.t->simulated_values = nullptr; }, GUX_SS_BAD_SIMULATIONS},
      {"prior count null", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.t->prior_count = nullptr; }, GUX_SS_NO_PRIOR_COUNT},
      {"prior null", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.t->prior = nullptr; }, GUX_SS_NO_PRIOR},
      {"nothing to produce", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION,
       [](V &v) { v.t->simulated_values = nullptr; v.t->simulation_count = nullptr; v.t->prior = nullptr; v.t->prior_count = nullptr; },
       GUX_SS_NOTHING_TO_PRODUCE},
      {"missing method", Miss, 0, GUX_SS_M_OUTLIERS, [](V &) {}, GUX_SS_BAD_METHOD},
      {"missing x", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.t->x = nullptr; }, GUX_SS_NO_X},
      {"simulation count not m times missing", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.simc = 4; }, GUX_SS_BAD_SIMULATIONS},
      {"two copies", Miss, 0, GUX_SS_M_MULTIPLE_IMPUTATION, [](V &v) { v.mparams[3] = 2; v.simc = 6; v.sim.resize(6); v.t->simulated_values = v.sim.data(); }, 0},
  };
}

template <class T>
void run_table() {
  for (const auto &r : rows<T>()) {
    Valid<T> v;
    r.change(v);
    EXPECT_EQ(kEntries[sizeof(T) == 8][r.which](v.t, r.mask, r.method, qor_core_threading()), r.status) << r.name;
  }
  for (int w = 0; w < kWhich; ++w) EXPECT_EQ(kEntries[sizeof(T) == 8][w](nullptr, 0, 0, qor_core_threading()), GUX_SS_NULL_TASK);
}
TEST(CovStatus, EveryStatusInOrder) { run_table<double>(); }
TEST(CovStatus, SingleTwin) { run_table<float>(); }

// The core's compute call reaches each estimator by its bits: each case
// writes its first output cell.
TEST(CovStatus, DispatcherRoutesMaskAndMethodBits) {
  using V = Valid<double>;
  const std::vector<std::tuple<uint64_t, uint64_t, std::function<double(const V &)>>> cases{
      {GUX_SS_POOLED_COV | GUX_SS_POOLED_MEAN, GUX_SS_M_ONE_PASS, [](const V &v) { return v.pc[0]; }},
      {GUX_SS_GROUP_COV | GUX_SS_GROUP_MEANS, GUX_SS_M_ONE_PASS, [](const V &v) { return v.gc[0]; }},
      {GUX_SS_PARTIAL_COV, GUX_SS_M_FAST, [](const V &v) { return v.pcov[0]; }},
      {GUX_SS_MEAN_ABS_DEV, GUX_SS_M_FAST, [](const V &v) { return v.mad[0]; }},
      {0, GUX_SS_M_SPECTRAL, [](const V &v) { return v.par[0]; }},
      {0, GUX_SS_M_ROBUST, [](const V &v) { return v.rc[0]; }},
      {0, GUX_SS_M_MULTIPLE_IMPUTATION, [](const V &v) { return v.sim[0]; }},
      {0, GUX_SS_M_OUTLIERS, [](const V &v) { return v.ow[0]; }}};
  for (const auto &[mask, method, first] : cases) {
    V v;
    if (method != GUX_SS_M_MULTIPLE_IMPUTATION) v.finite();
    EXPECT_EQ(qor_ss_compute(v.t, mask, method), 0) << method;
    EXPECT_NE(first(v), 0) << method;
  }
}

}  // namespace
