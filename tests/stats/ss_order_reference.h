// Data patterns for the order-based estimators and the long-double
// reference of the quantile rule over a full sort.
#ifndef QOR_TESTS_STATS_SS_ORDER_REFERENCE_H
#define QOR_TESTS_STATS_SS_ORDER_REFERENCE_H

#include <qor/qor_stats.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace qor_test {

// The order-based entries by element type.
template <class T> struct OrderEntries;
template <> struct OrderEntries<double> {
  static constexpr auto quantiles = _guxdSSQuantiles, sort = _guxdSSSort, stream = _guxdSSStreamQuantiles;
  static constexpr auto qsort = __guxdQSort, select = __guxdQSortSelect, step = __guxdQSortStep;
};
template <> struct OrderEntries<float> {
  static constexpr auto quantiles = _guxsSSQuantiles, sort = _guxsSSSort, stream = _guxsSSStreamQuantiles;
  static constexpr auto qsort = __guxsQSort, select = __guxsQSortSelect, step = __guxsQSortStep;
};

enum class Pattern { Random, Ties, SignedZeros, Denormals, Huge, Sorted, Reversed, Constant };
constexpr Pattern kPatterns[] = {Pattern::Random,   Pattern::Ties,   Pattern::SignedZeros,
                                 Pattern::Denormals, Pattern::Huge,  Pattern::Sorted,
                                 Pattern::Reversed, Pattern::Constant};

template <class T>
std::vector<T> make_values(Pattern pat, int64_t n, uint64_t seed) {
  using L = std::numeric_limits<T>;
  std::mt19937_64 g(seed);
  std::uniform_real_distribution<double> u(-1, 1);
  std::uniform_int_distribution<int> pick(0, 3);
  std::vector<T> v(n);
  for (auto &x : v) {
    switch (pat) {
      case Pattern::Ties: x = (T)(pick(g) - 1); break;
      case Pattern::SignedZeros: { const int k = pick(g); x = k == 0 ? -T(0) : k == 1 ? T(0) : (T)u(g); break; }
      case Pattern::Denormals: x = (T)(u(g) * (double)L::denorm_min() * 1000.0) + (pick(g) == 0 ? L::min() : T(0)); break;
      case Pattern::Huge: x = (T)(u(g) * (double)L::max()); break;
      case Pattern::Constant: x = T(3.25); break;
      default: x = (T)(1e3 * u(g)); break;
    }
  }
  if (pat == Pattern::Sorted) std::sort(v.begin(), v.end());
  if (pat == Pattern::Reversed) std::sort(v.begin(), v.end(), [](T a, T b) { return b < a; });
  return v;
}

// The quantile rule on sorted values, in long double, rounded once to T.
template <class T>
T reference_quantile(const std::vector<T> &sorted, T order) {
  const int64_t n = (int64_t)sorted.size();
  const long double t = (long double)(n - 1) * (long double)order;
  const int64_t j = (int64_t)t;
  const long double f = t - (long double)j;
  return (T)((1 - f) * sorted[j] + f * (long double)sorted[std::min<int64_t>(j + 1, n - 1)]);
}

// Distance in units in the last place; equal values (-0 and +0 too) are 0 apart.
template <class T>
int64_t ulps(T a, T b) {
  if (a == b) return 0;
  if (std::isnan(a) || std::isnan(b)) return 1 << 30;
  long double lo = std::min(a, b), hi = std::max(a, b);
  int64_t d = 0;
  for (T v = (T)lo; v < (T)hi && d < 1000; v = std::nextafter(v, (T)hi)) ++d;
  return d;
}

// Rank distance of an estimate v from the exact quantile at position t of the
// sorted data: 0 when v sits at floor(t) or ceil(t), else how many places
// further it sits.
template <class T>
double rank_error(const std::vector<T> &sorted, T v, double t) {
  const double lo = (double)(std::lower_bound(sorted.begin(), sorted.end(), v) - sorted.begin());
  const double hi = (double)(std::upper_bound(sorted.begin(), sorted.end(), v) - sorted.begin()) - 1;
  return std::max({0.0, lo - std::ceil(t), std::floor(t) - hi});
}

}  // namespace qor_test

#endif
