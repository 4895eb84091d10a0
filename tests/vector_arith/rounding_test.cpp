// Rounding, Frac, Modf and Abs: bit for bit against the C library (Ceil on
// (-1, -0.5) and the signed zero of Frac against the kernels' own rule), over a
// strided sample of all single precision inputs and a double sample.
#include <fenv.h>

#include "qor/qor_bex.h"
#include "vector_arith/arith_harness.h"

namespace {

using namespace arith_test;
using arith_ref::ceil_ref;
using arith_ref::frac_ref;

// About 600k patterns spread over all 2^32, offset to hit odd mantissas.
const std::vector<float> &floats() {
  static const std::vector<float> v = [] {
    auto s = arith_ref::float_sample(7001, 13);
    for (float x : {0.5f, -0.5f, 1.5f, 2.5f, -2.5f, 0.7f, -0.7f, -0.3f, 8388608.0f, 8388609.0f, -8388607.5f,
                    4194304.5f, INFINITY, -INFINITY, NAN, 0.0f, -0.0f})
      s.push_back(x);
    return s;
  }();
  return v;
}
const std::vector<double> &doubles() {
  static const std::vector<double> v = arith_ref::double_sample(200000);
  return v;
}

TEST(Rounding, SingleAgainstC) {
  check_unary<float>("sCeil", _bexsCeil, _bexsCeilI, floats(), ceil_ref<float>);
  check_unary<float>("sFloor", _bexsFloor, _bexsFloorI, floats(), floorf);
  check_unary<float>("sTrunc", _bexsTrunc, _bexsTruncI, floats(), truncf);
  check_unary<float>("sRound", _bexsRound, _bexsRoundI, floats(), roundf);
  check_unary<float>("sRint", _bexsRint, _bexsRintI, floats(), rintf);
  check_unary<float>("sNearbyInt", _bexsNearbyInt, _bexsNearbyIntI, floats(), nearbyintf);
}

TEST(Rounding, DoubleAgainstC) {
  check_unary<double>("dCeil", _bexdCeil, _bexdCeilI, doubles(), ceil_ref<double>);
  check_unary<double>("dFloor", _bexdFloor, _bexdFloorI, doubles(), (double (*)(double))floor);
  check_unary<double>("dTrunc", _bexdTrunc, _bexdTruncI, doubles(), (double (*)(double))trunc);
  check_unary<double>("dRound", _bexdRound, _bexdRoundI, doubles(), (double (*)(double))round);
  check_unary<double>("dRint", _bexdRint, _bexdRintI, doubles(), (double (*)(double))rint);
  check_unary<double>("dNearbyInt", _bexdNearbyInt, _bexdNearbyIntI, doubles(), (double (*)(double))nearbyint);
}

TEST(Rounding, NamedCases) {
  auto one = [](Unary<float> f, float x) { float r; f(1, &x, &r); return r; };
  auto bits = [](float x) { uint32_t u; memcpy(&u, &x, 4); return u; };
  EXPECT_EQ(bits(one(_bexsCeil, -0.7f)), 0u);            // +0
  EXPECT_EQ(bits(one(_bexsCeil, -0.3f)), 0x80000000u);   // -0
  EXPECT_EQ(one(_bexsCeil, 2.5f), 3.0f);
  EXPECT_EQ(one(_bexsFloor, -0.3f), -1.0f);
  EXPECT_EQ(bits(one(_bexsFloor, 0.7f)), 0u);
  EXPECT_EQ(one(_bexsRound, 0.5f), 1.0f);
  EXPECT_EQ(one(_bexsRound, 2.5f), 3.0f);
  EXPECT_EQ(one(_bexsRound, -2.5f), -3.0f);
  EXPECT_EQ(one(_bexsRound, 1.5f), 2.0f);
  EXPECT_EQ(one(_bexsRound, 8388609.0f), 8388609.0f);
  EXPECT_EQ(bits(one(_bexsTrunc, -0.7f)), 0x80000000u);
  EXPECT_EQ(bits(one(_bexsFrac, -3.0f)), 0x80000000u);
  EXPECT_EQ(bits(one(_bexsFrac, -INFINITY)), 0x80000000u);
  EXPECT_EQ(bits(one(_bexsFrac, INFINITY)), 0u);
}

// The frame forces round-to-nearest: the caller's rounding mode changes nothing.
TEST(Rounding, IndependentOfCallerRoundingMode) {
  const float xs[] = {2.5f, -2.5f, 0.5f, 3.5f, -0.7f, 1.2f};
  const double xd[] = {2.5, -2.5, 0.5, 3.5, -0.7, 1.2};
  for (int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
    fesetround(mode);
    float r[6], c[6];
    double rd[6], cd[6];
    _bexsRint(6, xs, r);
    _bexdNearbyInt(6, xd, rd);
    _bexsCeil(6, xs, c);
    _bexdFloor(6, xd, cd);
    fesetround(FE_TONEAREST);
    EXPECT_EQ(r[0], 2.0f);
    EXPECT_EQ(r[1], -2.0f);
    EXPECT_EQ(rd[3], 4.0);
    EXPECT_EQ(rd[5], 1.0);
    for (int i = 0; i < 6; ++i) {
      EXPECT_EQ(c[i], ceil_ref(xs[i])) << i;
      EXPECT_EQ(cd[i], floor(xd[i])) << i;
    }
  }
}

TEST(Frac, AgainstTruncation) {
  check_unary<float>("sFrac", _bexsFrac, _bexsFracI, floats(), frac_ref<float>);
  check_unary<double>("dFrac", _bexdFrac, _bexdFracI, doubles(), frac_ref<double>);
}

template <class T>
void check_modf(void (*unit)(int, const T *, T *, T *), void (*strided)(int, const T *, int, T *, int, T *, int),
                const std::vector<T> &x) {
  const int n = (int)x.size();
  std::vector<T> r1(n), r2(n), s1(3 * n + 1, T(-9)), s2(2 * n + 1, T(-9));
  unit(n, x.data(), r1.data(), r2.data());
  strided(n, x.data(), 1, s1.data(), 3, s2.data(), 2);
  Mismatch<T> mi{"Modf integer part"}, mf{"Modf fraction"};
  for (int i = 0; i < n; ++i) {
    T ip;
    const T fp = modf(x[i], &ip);
    mi.check(r1[i], ip, x[i]);
    mf.check(r2[i], fp, x[i]);
    mi.check(s1[3 * i], ip, x[i]);
    mf.check(s2[2 * i], fp, x[i]);
  }
}

TEST(Modf, AgainstC) {
  check_modf<float>(_bexsModf, _bexsModfI, floats());
  check_modf<double>(_bexdModf, _bexdModfI, doubles());
}

TEST(Abs, AgainstC) {
  check_unary<float>("sAbs", _bexsAbs, _bexsAbsI, floats(), fabsf);
  check_unary<double>("dAbs", _bexdAbs, _bexdAbsI, doubles(), (double (*)(double))fabs);
}

// Lengths 0 to 70 cross every block size and tail, and never touch past n.
TEST(Rounding, TailsStayInside) {
  for (int n = 0; n <= 70; ++n) {
    std::vector<float> a(n + 4), r(n + 4, 42.0f);
    for (int i = 0; i < n + 4; ++i) a[i] = -3.3f + 0.77f * i;
    _bexsRound(n, a.data(), r.data());
    for (int i = 0; i < n; ++i) EXPECT_EQ(r[i], roundf(a[i]));
    for (int i = n; i < n + 4; ++i) EXPECT_EQ(r[i], 42.0f);
    std::vector<double> ad(n + 2), rd(n + 2, 42.0);
    for (int i = 0; i < n + 2; ++i) ad[i] = -3.3 + 0.77 * i;
    _bexdCeil(n, ad.data(), rd.data());
    for (int i = 0; i < n; ++i) EXPECT_EQ(rd[i], ceil_ref(ad[i]));
    for (int i = n; i < n + 2; ++i) EXPECT_EQ(rd[i], 42.0);
  }
}

// inca 0 broadcasts a[0]; negative strides walk backwards from the first element.
TEST(Rounding, BroadcastAndNegativeStride) {
  const float a[5] = {1.5f, 2.5f, 3.5f, 4.5f, 5.5f};
  float r[5];
  _bexsFloorI(5, a, 0, r, 1);
  for (float v : r) EXPECT_EQ(v, 1.0f);
  _bexsFloorI(5, a + 4, -1, r, 1);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(r[i], floorf(a[4 - i]));
}

}  // namespace
