// A task with every basic-statistics output bound, for the tests.
#ifndef QOR_TESTS_STATS_SS_FIXTURE_H
#define QOR_TESTS_STATS_SS_FIXTURE_H

#include <qor/qor_stats.h>

#include <gtest/gtest.h>

#include <vector>

#include "core/qor_core_threading.h"
#include "stats/ss_reference.h"

namespace qor_test {

template <class T> struct Entries;
template <> struct Entries<double> {
  static constexpr auto basic = _guxdSSBasic;
  static constexpr auto minmax = _guxdSSMinmax;
  static constexpr auto new_task = __guxdSSNewTask;
  static constexpr auto edit = __guxdSSEditTask;
};
template <> struct Entries<float> {
  static constexpr auto basic = _guxsSSBasic;
  static constexpr auto minmax = _guxsSSMinmax;
  static constexpr auto new_task = __guxsSSNewTask;
  static constexpr auto edit = __guxsSSEditTask;
};

constexpr uint64_t kAllBasic = 0x3ffull | 0x3000ull | 0x1fe000000ull;

template <class T>
struct Session {
  int p, n, storage, cov_storage = GUX_MATRIX_FULL, cor_storage = GUX_MATRIX_FULL,
                     cp_storage = GUX_MATRIX_FULL;
  GuxSSTask *task = nullptr;
  std::vector<T> mean, raw2, raw3, raw4, c2, c3, c4, kurt, skew, var, sum, rs2, rs3, rs4, cs2,
      cs3, cs4, cov, cor, cp, aw{0, 0};

  Session(const DataSet<T> &d, bool bind_all = true)
      : p((int)d.p), n((int)d.n), storage(d.storage()) {
    EXPECT_EQ(Entries<T>::new_task(&task, &p, &n, &storage, d.x.data(),
                                   d.w.empty() ? nullptr : d.w.data(), nullptr, 0), 0);
    for (auto *v : {&mean, &raw2, &raw3, &raw4, &c2, &c3, &c4, &kurt, &skew, &var, &sum, &rs2,
                    &rs3, &rs4, &cs2, &cs3, &cs4})
      v->assign(p, T(0));
    for (auto *v : {&cov, &cor, &cp}) v->assign(p * p, T(0));
    if (!bind_all) return;
    __guxdSSEditMoments(task, mean.data(), raw2.data(), raw3.data(), raw4.data(), c2.data(),
                        c3.data(), c4.data());
    __guxdSSEditSums(task, sum.data(), rs2.data(), rs3.data(), rs4.data(), cs2.data(),
                     cs3.data(), cs4.data());
    __guxdSSEditCovCor(task, nullptr, cov.data(), &cov_storage, cor.data(), &cor_storage);
    __guxdSSEditCP(task, nullptr, nullptr, cp.data(), &cp_storage);
    Entries<T>::edit(task, GUX_SS_P_KURTOSIS, kurt.data());
    Entries<T>::edit(task, GUX_SS_P_SKEWNESS, skew.data());
    Entries<T>::edit(task, GUX_SS_P_VARIATION, var.data());
    Entries<T>::edit(task, GUX_SS_P_ACCUM_WEIGHTS, aw.data());
  }
  Session(DataSet<T> &&, bool = true) = delete;  // the task keeps pointers into the data
  ~Session() { __guxSSDeleteTask(&task); }
  Session(const Session &) = delete;

  int64_t basic(uint64_t mask, uint64_t method) {
    return Entries<T>::basic(task, mask, method, qor_core_threading());
  }
  // Point the task at another data set of the same shape.
  void rebind(const DataSet<T> &d) {
    n = (int)d.n;
    Entries<T>::edit(task, GUX_SS_P_X, d.x.data());
    if (!d.w.empty()) Entries<T>::edit(task, GUX_SS_P_WEIGHTS, d.w.data());
  }
};

// Forces the thread count of the core's table for one scope.
struct Threads {
  int old;
  explicit Threads(int n) : old(qor_core_threading()->thread_count()) { qor_core_set_num_threads(n); }
  ~Threads() { qor_core_set_num_threads(old); }
};

template <class T>
double max_abs_err(const std::vector<T> &got, const std::vector<long double> &want) {
  double e = 0;
  for (size_t i = 0; i < want.size(); ++i) {
    const double a = (double)std::fabs((long double)got[i] - want[i]);
    e = std::isnan(a) ? INFINITY : std::max(e, a);
  }
  return e;
}

}  // namespace qor_test

#endif
