// Every status of quantiles, sorting and streaming quantiles, in the order
// the entries test them: one table of (change to a valid task, entry, status),
// both precisions; and the core's dispatcher reaching all three.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

#include "core/qor_core_stats.h"
#include "stats/ss_fixture.h"
#include "stats/ss_order_reference.h"

using namespace qor_test;

namespace {

// A task on which every entry succeeds.
template <class T>
struct Valid {
  int p = 2, n = 5, storage = GUX_SS_VARIABLES_IN_ROWS, m = 2, os_storage = GUX_SS_VARIABLES_IN_ROWS,
      sorted_storage = GUX_SS_OBSERVATIONS_IN_ROWS, pcount = 1, neg = -1, two = 2,
      sel[2] = {1, 1}, sel2[2] = {1, 0};
  std::vector<T> x{5, 1, 4, 2, 3, 10, 30, 20, 50, 40}, orders{T(0.5), T(1)}, q = std::vector<T>(4, T(-1)),
      os = std::vector<T>(10), sorted = std::vector<T>(10), eps{T(0.1)}, bad{T(0.5), T(NAN)};
  GuxSSTask *t = nullptr;
  Valid() {
    Entries<T>::new_task(&t, &p, &n, &storage, x.data(), nullptr, nullptr, 0);
    __guxdSSEditQuantiles(t, &m, orders.data(), q.data(), os.data(), &os_storage);
    __guxdSSEditStreamQuantiles(t, &m, orders.data(), q.data(), &pcount, eps.data());
    Entries<T>::edit(t, GUX_SS_P_SORTED, sorted.data());
    __guxiSSEditTask(t, GUX_SS_P_SORTED_STORAGE, &sorted_storage);
  }
  ~Valid() { __guxSSDeleteTask(&t); }
};

enum Which { Q, S, St };
constexpr uint64_t kQ = GUX_SS_QUANTS, kOS = GUX_SS_ORDER_STATS, kBoth = kQ | kOS;
constexpr uint64_t kFast = GUX_SS_M_FAST, kSort = GUX_SS_M_SORT, kOne = GUX_SS_M_STREAM_ONE;

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
  return {
      {"quantiles ok", Q, kBoth, kFast, [](V &) {}, 0},
      {"p null", Q, kQ, kFast, [](V &v) { v.t->p = nullptr; }, GUX_SS_BAD_DIMENSION},
      {"p below 1", Q, kQ, kFast, [](V &v) { v.p = 0; }, GUX_SS_BAD_DIMENSION},
      {"n below 1", Q, kQ, kFast, [](V &v) { v.n = 0; }, GUX_SS_BAD_OBSERVATIONS},
      {"no storage", Q, kQ, kFast, [](V &v) { v.t->x_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"bad storage", Q, kQ, kFast, [](V &v) { v.storage = 5; }, GUX_SS_BAD_STORAGE},
      {"no quantiles", Q, kQ, kFast, [](V &v) { v.t->quantiles = nullptr; v.t->quant_orders = nullptr; }, GUX_SS_NO_QUANTILES},
      {"no orders", Q, kQ, kFast, [](V &v) { v.t->quant_orders = nullptr; v.t->quant_order_count = nullptr; }, GUX_SS_NO_QUANT_ORDERS},
      {"no order count", Q, kQ, kFast, [](V &v) { v.t->quant_order_count = nullptr; }, GUX_SS_BAD_QUANT_ORDERS},
      {"negative count", Q, kQ, kFast, [](V &v) { v.m = -1; }, GUX_SS_BAD_QUANT_ORDERS},
      {"order NaN", Q, kQ, kFast, [](V &v) { v.t->quant_orders = v.bad.data(); }, GUX_SS_BAD_QUANT_ORDERS},
      {"order above 1", Q, kQ, kFast, [](V &v) { v.orders[1] = T(1.5); }, GUX_SS_BAD_QUANT_ORDERS},
      {"order below 0", Q, kQ, kFast, [](V &v) { v.orders[0] = T(-0.25); v.t->order_stats = nullptr; }, GUX_SS_BAD_QUANT_ORDERS},
      {"no order stats", Q, kOS, kFast, [](V &v) { v.t->order_stats = nullptr; v.t->quantiles = nullptr; }, GUX_SS_NO_ORDER_STATS},
      {"no os storage", Q, kOS, kFast, [](V &v) { v.t->order_stats_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"bad os storage", Q, kOS, kFast, [](V &v) { v.os_storage = 3 << 20; }, GUX_SS_BAD_STORAGE},
      {"quantile method", Q, kBoth, GUX_SS_M_ONE_PASS, [](V &v) { v.t->x = nullptr; }, GUX_SS_BAD_METHOD},
      {"no x", Q, kQ, kFast, [](V &v) { v.t->x = nullptr; }, GUX_SS_NO_X},
      {"count 0", Q, kQ, kFast, [](V &v) { v.m = 0; v.t->x = nullptr; }, 0},
      {"other masks", Q, GUX_SS_MEAN, kFast, [](V &v) { v.t->x = nullptr; }, 0},
      {"sort ok", S, 0, kSort, [](V &) {}, 0},
      {"sort no output", S, 0, kSort, [](V &v) { v.t->sorted = nullptr; v.t->sorted_storage = nullptr; }, GUX_SS_NO_SORTED},
      {"sort no storage", S, 0, kSort, [](V &v) { v.t->sorted_storage = nullptr; }, GUX_SS_NO_STORAGE},
      {"sort bad storage", S, 0, kSort, [](V &v) { v.sorted_storage = 0; }, GUX_SS_BAD_STORAGE},
      {"in place, kinds differ", S, 0, kSort, [](V &v) { v.t->sorted = v.x.data(); v.t->indices = v.sel; }, GUX_SS_NO_STORAGE},
      {"in place with selection", S, 0, kSort, [](V &v) { v.t->sorted = v.x.data(); v.sorted_storage = v.storage; v.t->indices = v.sel; }, GUX_SS_SORT_IN_PLACE_WITH_INDICES},
      {"in place", S, 0, kSort, [](V &v) { v.t->sorted = v.x.data(); v.sorted_storage = v.storage; }, 0},
      {"sort method", S, 0, kFast, [](V &) {}, GUX_SS_BAD_METHOD},
      {"stream ok", St, 0, kOne, [](V &) {}, 0},
      {"stream grouped", St, 0, GUX_SS_M_STREAM_GROUPED, [](V &) {}, 0},
      {"stream n null", St, 0, kOne, [](V &v) { v.t->n = nullptr; }, GUX_SS_BAD_OBSERVATIONS},
      {"stream n negative", St, 0, kOne, [](V &v) { v.n = -1; }, GUX_SS_BAD_OBSERVATIONS},
      {"stream n 0 without x", St, 0, kOne, [](V &v) { v.n = 0; v.t->x = nullptr; v.t->x_storage = nullptr; }, 0},
      {"stream no x", St, 0, kOne, [](V &v) { v.t->x = nullptr; v.t->x_storage = nullptr; }, GUX_SS_NO_X},
      {"stream no storage", St, 0, kOne, [](V &v) { v.t->x_storage = nullptr; v.t->stream_quantiles = nullptr; }, GUX_SS_NO_STORAGE},
      {"stream bad storage", St, 0, kOne, [](V &v) { v.storage = 0; v.t->stream_quantiles = nullptr; }, GUX_SS_BAD_STORAGE},
      {"stream no output", St, 0, kOne, [](V &v) { v.t->stream_quantiles = nullptr; v.t->stream_orders = nullptr; }, GUX_SS_NO_STREAM_QUANTILES},
      {"stream no orders", St, 0, kOne, [](V &v) { v.t->stream_orders = nullptr; v.t->stream_order_count = nullptr; }, GUX_SS_NO_STREAM_ORDERS},
      {"stream no count", St, 0, kOne, [](V &v) { v.t->stream_order_count = nullptr; v.t->stream_param_count = nullptr; }, GUX_SS_BAD_STREAM_ORDERS},
      {"stream negative count", St, 0, kOne, [](V &v) { v.t->stream_order_count = &v.neg; }, GUX_SS_BAD_STREAM_ORDERS},
      {"stream no param count", St, 0, kOne, [](V &v) { v.t->stream_param_count = nullptr; v.orders[0] = 2; }, GUX_SS_NO_STREAM_PARAM_COUNT},
      {"stream param count 2", St, 0, kOne, [](V &v) { v.t->stream_param_count = &v.two; v.orders[0] = 2; }, GUX_SS_BAD_STREAM_PARAM_COUNT},
      {"stream order outside", St, 0, kOne, [](V &v) { v.orders[0] = 2; v.t->stream_params = nullptr; }, GUX_SS_BAD_STREAM_ORDERS},
      {"stream order NaN", St, 0, kOne, [](V &v) { v.t->stream_orders = v.bad.data(); }, GUX_SS_BAD_STREAM_ORDERS},
      {"stream no params", St, 0, kOne, [](V &v) { v.t->stream_params = nullptr; }, GUX_SS_NO_STREAM_PARAMS},
      {"stream method", St, 0, kFast, [](V &v) { v.eps[0] = 0; }, GUX_SS_BAD_METHOD},
      {"epsilon 0", St, 0, kOne, [](V &v) { v.eps[0] = 0; }, GUX_SS_BAD_STREAM_EPSILON},
      {"epsilon above 1", St, 0, kOne, [](V &v) { v.eps[0] = T(1.5); }, GUX_SS_BAD_STREAM_EPSILON},
      {"epsilon NaN", St, 0, kOne, [](V &v) { v.eps[0] = T(NAN); }, GUX_SS_BAD_STREAM_EPSILON},
      {"epsilon 1", St, 0, kOne, [](V &v) { v.eps[0] = 1; }, 0},
  };
}

template <class T>
void check_table() {
  for (const Row<T> &r : rows<T>()) {
    Valid<T> v;
    r.change(v);
    using E = OrderEntries<T>;
    const decltype(E::sort) entry[] = {E::quantiles, E::sort, E::stream};
    EXPECT_EQ(entry[r.which](v.t, r.mask, r.method, qor_core_threading()), r.status) << r.name;
    if (r.status < 0 || std::string(r.name) == "count 0") {
      for (T q : v.q) EXPECT_EQ(q, T(-1)) << r.name << ": nothing is written";
    }
  }
  EXPECT_EQ(OrderEntries<T>::quantiles(nullptr, kQ, kFast, nullptr), GUX_SS_NULL_TASK);
  EXPECT_EQ(OrderEntries<T>::sort(nullptr, 0, kSort, nullptr), GUX_SS_NULL_TASK);
  EXPECT_EQ(OrderEntries<T>::stream(nullptr, 0, kOne, nullptr), GUX_SS_NULL_TASK);
}

TEST(QuantileStatus, DoubleTable) { check_table<double>(); }
TEST(QuantileStatus, SingleTable) { check_table<float>(); }

// A later streaming call over another selection is refused, and the sketch
// kept from the first call still answers.
TEST(QuantileStatus, StreamSelectionMustStay) {
  Valid<double> v;
  ASSERT_EQ(_guxdSSStreamQuantiles(v.t, 0, kOne, nullptr), 0);
  __guxiSSEditTask(v.t, GUX_SS_P_INDICES, v.sel2);
  EXPECT_EQ(_guxdSSStreamQuantiles(v.t, 0, kOne, nullptr), GUX_SS_BAD_INDICES);
  __guxiSSEditTask(v.t, GUX_SS_P_INDICES, v.sel);
  EXPECT_EQ(_guxdSSStreamQuantiles(v.t, 0, kOne, nullptr), 0) << "all dimensions, as at first";
  EXPECT_EQ(v.q[0], 3);
  EXPECT_EQ(v.q[3], 50);
}

TEST(QuantileStatus, DispatcherRoutesMaskAndMethodBits) {
  Valid<double> v;
  EXPECT_EQ(qor_ss_compute(v.t, kQ, kFast), 0);
  EXPECT_EQ(v.q[0] * 100 + v.q[3], 350);
  EXPECT_EQ(qor_ss_compute(v.t, 0, kSort), 0);
  EXPECT_EQ(v.sorted[1], 10) << "observations in rows: (1, 10), (2, 20) ...";
  EXPECT_EQ(qor_ss_compute(v.t, 0, GUX_SS_M_STREAM_GROUPED), 0);
  EXPECT_NE(v.t->stream_state, nullptr);
  EXPECT_EQ(qor_ss_compute(v.t, kOS, GUX_SS_M_ONE_PASS), GUX_SS_BAD_METHOD);
}

}  // namespace
