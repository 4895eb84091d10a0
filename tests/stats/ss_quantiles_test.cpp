// Quantiles, order statistics and sorted output against a full sort in long
// double: sizes x data patterns x storages x thread counts, both precisions,
// with one dimension left out of the selection. The in-place helpers against
// the same sorts.
#include <gtest/gtest.h>

#include <cstdio>

#include "stats/ss_fixture.h"
#include "stats/ss_columns.h"
#include "stats/ss_order_reference.h"

using namespace qor_test;
using qor::ss::Columns;

namespace {

constexpr int64_t kSizes[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 31, 1000, 5003};
constexpr int kP = 3, kSkipped = 1;  // dimension 1 is not selected
int64_t worst_ulps[2];                // by precision, for the summary line

template <class T>
void check_case(int64_t n, Pattern pat, bool rows, uint64_t seed) {
  using E = OrderEntries<T>;
  const T sentinel = T(-12345.5);
  std::vector<std::vector<T>> cols(kP);
  std::vector<T> x(kP * n);
  for (int j = 0; j < kP; ++j) {
    cols[j] = make_values<T>(pat, n, seed * 7 + j);
    for (int64_t i = 0; i < n; ++i) (rows ? x[i * kP + j] : x[j * n + i]) = cols[j][i];
    std::sort(cols[j].begin(), cols[j].end());
  }
  const std::vector<T> orders = {T(0), T(1), T(0.5), T(0.25), T(0.1), T(0.9), T(1) / T(3), T(0.999)};
  const int m = (int)orders.size();
  // Results go in the other storage than X's.
  int p = kP, nn = (int)n, storage = rows ? GUX_SS_OBSERVATIONS_IN_ROWS : GUX_SS_VARIABLES_IN_ROWS,
      os_storage = rows ? GUX_SS_VARIABLES_IN_ROWS : GUX_SS_OBSERVATIONS_IN_ROWS, sel[kP] = {1, 0, 1};
  std::vector<T> q(kP * m, sentinel), os(kP * n, sentinel), sorted(kP * n, sentinel);
  GuxSSTask *task = nullptr;
  ASSERT_EQ(Entries<T>::new_task(&task, &p, &nn, &storage, x.data(), nullptr, sel, 0), 0);
  __guxdSSEditQuantiles(task, &m, orders.data(), q.data(), os.data(), &os_storage);
  Entries<T>::edit(task, GUX_SS_P_SORTED, sorted.data());
  __guxiSSEditTask(task, GUX_SS_P_SORTED_STORAGE, &os_storage);
  const Columns<T> osv(os.data(), n, kP, os_storage), sv(sorted.data(), n, kP, os_storage);

  auto check_quantiles = [&](const char *how) {
    for (int j = 0; j < kP; ++j)
      for (int k = 0; k < m; ++k) {
        const T got = q[j * m + k];
        if (j == kSkipped) {
          EXPECT_EQ(got, sentinel);
          continue;
        }
        const int64_t u = ulps(got, reference_quantile(cols[j], orders[k]));
        worst_ulps[sizeof(T) == 8] = std::max(worst_ulps[sizeof(T) == 8], u);
        EXPECT_LE(u, 1) << how << " n=" << n << " pattern=" << (int)pat << " dim " << j
                        << " order " << orders[k] << ": " << got;
      }
  };
  auto check_sorted = [&](const Columns<T> &c, const char *what) {
    for (int j = 0; j < kP; ++j)
      for (int64_t i = 0; i < n; ++i) {
        if (j == kSkipped) {
          EXPECT_EQ(c.at(j, i), sentinel) << what;
          continue;
        }
        ASSERT_EQ(c.at(j, i), cols[j][i]) << what << " n=" << n << " pattern=" << (int)pat;
      }
  };
  // Quantiles alone go through selection; with order statistics, a full sort.
  ASSERT_EQ(E::quantiles(task, GUX_SS_QUANTS, GUX_SS_M_FAST, qor_core_threading()), 0);
  check_quantiles("select");
  std::fill(q.begin(), q.end(), sentinel);
  ASSERT_EQ(E::quantiles(task, GUX_SS_QUANTS | GUX_SS_ORDER_STATS, GUX_SS_M_FAST, qor_core_threading()), 0);
  check_quantiles("sorted");
  check_sorted(osv, "order statistics");
  ASSERT_EQ(E::sort(task, 0, GUX_SS_M_SORT, qor_core_threading()), 0);
  check_sorted(sv, "sorted output");
  // In place: no selection, output is X in X's storage.
  os_storage = storage;
  Entries<T>::edit(task, GUX_SS_P_SORTED, x.data());
  task->indices = nullptr;
  ASSERT_EQ(E::sort(task, 0, GUX_SS_M_SORT, qor_core_threading()), 0);
  const Columns<T> xv(x.data(), n, kP, storage);
  for (int j = 0; j < kP; ++j)
    for (int64_t i = 0; i < n; ++i) ASSERT_EQ(xv.at(j, i), cols[j][i]) << "in place";
  __guxSSDeleteTask(&task);
}

template <class T>
void check_all() {
  for (int threads : {1, 2, 3})
    for (bool rows : {false, true})
      for (Pattern pat : kPatterns)
        for (int64_t n : kSizes) {
          Threads guard(threads);
          check_case<T>(n, pat, rows, (uint64_t)n * 31 + (int)pat);
          if (::testing::Test::HasFatalFailure()) return;
        }
}

TEST(Quantiles, DoubleAgainstLongDoubleSort) { check_all<double>(); }
TEST(Quantiles, SingleAgainstLongDoubleSort) { check_all<float>(); }
TEST(Quantiles, WorstErrorInUlps) {
  std::printf("quantile error against the long-double rule: double %lld ulp, single %lld ulp\n",
              (long long)worst_ulps[1], (long long)worst_ulps[0]);
}

// The helpers: sort, every k of select, and the partition step's promise.
template <class T>
void check_helpers() {
  using E = OrderEntries<T>;
  for (Pattern pat : kPatterns)
    for (int64_t n : {0, 1, 2, 3, 6, 7, 8, 13, 40, 2001}) {
      const std::vector<T> v = make_values<T>(pat, n, 99 + n);
      std::vector<T> want = v;
      std::sort(want.begin(), want.end());
      std::vector<T> a = v;
      E::qsort(n, a.data());
      for (int64_t i = 0; i < n; ++i) ASSERT_EQ(a[i], want[i]) << "n=" << n;
      for (int64_t k = 0; k < n; k += n > 50 ? 97 : 1) {
        a = v;
        ASSERT_EQ(E::select(n, a.data(), k), want[k]) << "n=" << n << " k=" << k;
      }
      a = v;
      const int64_t j = E::step(n, a.data());
      if (n == 0) {
        EXPECT_EQ(j, -1);
        continue;
      }
      for (int64_t i = 0; i < n; ++i) ASSERT_TRUE(i <= j ? !(a[j] < a[i]) : !(a[i] < a[j]));
    }
  T one = 5;
  EXPECT_TRUE(std::isnan(E::select(0, &one, 0)));
  EXPECT_EQ(E::select(1, &one, 7), 5) << "k is clamped";
}

TEST(QuickSort, DoubleHelpers) { check_helpers<double>(); }
TEST(QuickSort, SingleHelpers) { check_helpers<float>(); }

}  // namespace
