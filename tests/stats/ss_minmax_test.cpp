// Minimum and maximum as running values.
#include <qor/qor_stats.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "stats/ss_fixture.h"

using namespace qor_test;

namespace {

template <class T>
void check_layouts() {
  for (bool rows : {false, true}) {
    auto d = make_data<T>(3, 101, rows, false, 10, 1, 6);
    const T nan = std::numeric_limits<T>::quiet_NaN();
    (rows ? d.x[5 * 3 + 1] : d.x[1 * 101 + 5]) = nan;  // a NaN never wins
    Session<T> s(d, false);
    const T big = std::numeric_limits<T>::infinity();
    std::vector<T> mn(3, big), mx(3, -big);
    int sel[3] = {1, 1, 0};
    mn[2] = mx[2] = 99;
    Entries<T>::edit(s.task, GUX_SS_P_MIN, mn.data());
    Entries<T>::edit(s.task, GUX_SS_P_MAX, mx.data());
    __guxiSSEditTask(s.task, GUX_SS_P_INDICES, sel);
    ASSERT_EQ(Entries<T>::minmax(s.task, GUX_SS_MIN | GUX_SS_MAX, GUX_SS_M_ONE_PASS, nullptr), 0);
    for (int j = 0; j < 2; ++j) {
      T lo = big, hi = -big;
      for (int i = 0; i < 101; ++i)
        if (!std::isnan(d.at(i, j))) lo = std::min(lo, d.at(i, j)), hi = std::max(hi, d.at(i, j));
      EXPECT_EQ(mn[j], lo);
      EXPECT_EQ(mx[j], hi);
    }
    EXPECT_EQ(mn[2], 99);
    EXPECT_EQ(mx[2], 99);
    // A later group extends the range that the arrays hold.
    mn[0] = -1000;
    const T hi0 = mx[0];
    ASSERT_EQ(Entries<T>::minmax(s.task, GUX_SS_MIN | GUX_SS_MAX, GUX_SS_M_FAST, nullptr), 0);
    EXPECT_EQ(mn[0], -1000);
    EXPECT_EQ(mx[0], hi0);
  }
}

TEST(Minmax, DoubleBothLayoutsWithSelectionAndNaN) { check_layouts<double>(); }
TEST(Minmax, SingleBothLayoutsWithSelectionAndNaN) { check_layouts<float>(); }

}  // namespace
