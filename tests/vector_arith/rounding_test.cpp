// Rounding, Frac, Modf and Abs: bit for bit against the C library (Ceil on
// (-1, -0.5) and the signed zero of Frac against the kernels' own rule), over a
// strided sample of all single precision inputs and a double sample.

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

}  // namespace
