// Streaming quantiles: after every call each estimate lies within epsilon*N
// ranks of the exact quantile of all data so far, for methods x epsilons x
// patterns x storages x random splits (empty calls included), both
// precisions; the sketch stays small and goes with the task.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <tuple>

#include "stats/ss_fixture.h"
#include "stats/ss_order_reference.h"
#include "stats/ss_sketch.h"

using namespace qor_test;

namespace {

// Bytes the task's sketch holds: records, level arrays and buffers.
template <class T>
int64_t state_bytes(const GuxSSTask *task) {
  const auto *rec = static_cast<const qor::ss::SketchDim *>(task->stream_state);
  const int64_t dims = rec[0].levels;  // the header's first word
  int64_t bytes = (dims + 1) * (int64_t)sizeof(qor::ss::SketchDim);
  for (int64_t j = 1; j <= dims; ++j) {
    bytes += rec[j].levels * (int64_t)sizeof(qor::ss::SketchLevel);
    for (int64_t l = 0; l < rec[j].levels; ++l) {
      const auto &lv = rec[j].level[l];
      bytes += lv.capacity * (int64_t)(sizeof(T) + (lv.weights ? 8 : 0));
      if (lv.spare) bytes += lv.capacity * (int64_t)sizeof(T);
    }
  }
  return bytes;
}

// (method, bytes of the element type, epsilon) -> worst error / (epsilon N)
std::map<std::tuple<uint64_t, int, double>, double> worst;

template <class T>
void check_stream(uint64_t method, T eps, Pattern pat, bool rows, int64_t total, uint64_t seed) {
  constexpr int kP = 3;
  int p = kP, n = 0, storage = rows ? GUX_SS_OBSERVATIONS_IN_ROWS : GUX_SS_VARIABLES_IN_ROWS,
      sel[kP] = {1, 0, 1}, one = 1;
  const std::vector<T> orders = {T(0), T(0.01), T(0.25), T(0.5), T(0.75), T(0.99), T(1)};
  const int m = (int)orders.size();
  std::vector<T> q(kP * m, T(-7)), x;
  std::vector<std::vector<T>> seen(kP);
  GuxSSTask *task = nullptr;
  ASSERT_EQ(Entries<T>::new_task(&task, &p, &n, &storage, nullptr, nullptr, sel, 0), 0);
  __guxdSSEditStreamQuantiles(task, &m, orders.data(), q.data(), &one, &eps);
  std::mt19937_64 g(seed);
  const std::vector<T> all0 = make_values<T>(pat, total, seed), all2 = make_values<T>(pat, total, seed + 1);
  int64_t done = 0;
  while (done < total) {
    // Split sizes from empty to a few stages' worth.
    const int64_t cap = std::uniform_int_distribution<int>(0, 3)(g) == 0 ? 0 : (int64_t)(8 / eps) << (g() % 5);
    n = (int)std::min<int64_t>(total - done, (int64_t)(g() % (cap + 1)));
    x.assign(kP * std::max(n, 1), T(0));
    for (int64_t i = 0; i < n; ++i) {
      const T v[kP] = {all0[done + i], T(99), all2[done + i]};
      for (int j = 0; j < kP; ++j) (rows ? x[i * kP + j] : x[j * n + i]) = v[j];
    }
    Entries<T>::edit(task, GUX_SS_P_X, x.data());
    ASSERT_EQ(OrderEntries<T>::stream(task, 0, method, qor_core_threading()), 0);
    for (int64_t i = 0; i < n; ++i) seen[0].push_back(all0[done + i]), seen[2].push_back(all2[done + i]);
    done += n;
    if (done == 0) continue;
    for (int j : {0, 2}) {
      std::vector<T> s = seen[j];
      std::sort(s.begin(), s.end());
      for (int k = 0; k < m; ++k) {
        const double err = rank_error(s, q[j * m + k], (double)(done - 1) * (double)orders[k]);
        const double bound = (double)eps * (double)done;
        double &w = worst[{method, (int)sizeof(T), (double)eps}];
        w = std::max(w, err / bound);
        ASSERT_LE(err, bound) << "N=" << done << " order " << orders[k] << " dim " << j;
      }
    }
    for (int k = 0; k < m; ++k) ASSERT_EQ(q[1 * m + k], T(-7)) << "unselected dimension written";
  }
  __guxSSDeleteTask(&task);
}

template <class T>
void check_all(int64_t scale) {
  uint64_t seed = 1;
  for (uint64_t method : {GUX_SS_M_STREAM_ONE, GUX_SS_M_STREAM_GROUPED})
    for (T eps : {T(1), T(0.3), T(0.05), T(0.01)})
      for (Pattern pat : {Pattern::Random, Pattern::Sorted, Pattern::Reversed, Pattern::Ties})
        for (bool rows : {false, true}) {
          Threads guard((int)(seed % 3) + 1);
          check_stream<T>(method, eps, pat, rows, std::min<int64_t>(scale, (int64_t)(3000 / eps)), seed++);
          if (::testing::Test::HasFatalFailure()) return;
        }
}

TEST(StreamQuantiles, DoubleRankBoundOverRandomSplits) { check_all<double>(20000); }
TEST(StreamQuantiles, SingleRankBoundOverRandomSplits) { check_all<float>(8000); }
TEST(StreamQuantiles, WorstRankErrorOverEpsilonN) {
  for (auto &[key, w] : worst)
    std::printf("method 0x%llx %s epsilon %g: worst rank error %.3f epsilon*N\n",
                (unsigned long long)std::get<0>(key), std::get<1>(key) == 8 ? "double" : "single",
                std::get<2>(key), w);
}

// The sketch after 10^6 values at epsilon 0.01 is a small fraction of the data.
TEST(StreamQuantiles, StateStaysSmall) {
  for (uint64_t method : {GUX_SS_M_STREAM_ONE, GUX_SS_M_STREAM_GROUPED}) {
    int p = 1, n = 1000000, storage = GUX_SS_VARIABLES_IN_ROWS, m = 1, one = 1;
    const double eps = 0.01, order = 0.5;
    double q = 0;
    const std::vector<double> x = make_values<double>(Pattern::Random, n, 5);
    GuxSSTask *task = nullptr;
    ASSERT_EQ(__guxdSSNewTask(&task, &p, &n, &storage, x.data(), nullptr, nullptr, 0), 0);
    __guxdSSEditStreamQuantiles(task, &m, &order, &q, &one, &eps);
    ASSERT_EQ(_guxdSSStreamQuantiles(task, 0, method, qor_core_threading()), 0);
    const int64_t bytes = state_bytes<double>(task);
    std::printf("method 0x%llx: state %lld bytes after 10^6 doubles at epsilon 0.01 (data 8000000)\n",
                (unsigned long long)method, (long long)bytes);
    EXPECT_LT(bytes, 8000000 / 20);
    EXPECT_EQ(task->cleanup, __guxSQuantilesFreeBuffers);
    __guxSSDeleteTask(&task);  // the sketch goes with it (checked by the sanitizer builds)
    EXPECT_EQ(task, nullptr);
  }
}

// Stage plans: the in-stage bound H <= epsilon*B holds, and a level is free
// above any carry.
TEST(StreamQuantiles, StagePlansKeepTheirBound) {
  for (double eps : {1.0, 0.5, 0.3, 0.1, 0.05, 0.01, 0.001, 1e-4})
    for (int64_t s = 0; s < 24; ++s) {
      const auto plan = qor::ss::stage_plan(s, eps);
      const int64_t h = qor::ss::floor_log2(plan.width / plan.block);
      EXPECT_GE(plan.width, 4);
      EXPECT_LE((double)h, eps * (double)plan.block) << eps << " stage " << s;
      EXPECT_GE(plan.levels, h + 2);
    }
}

}  // namespace
