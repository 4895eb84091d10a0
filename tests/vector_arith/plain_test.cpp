// Plain element loops (Sqr, Add, Sub, Mul), the complex Add/Sub/Conj block
// kernels and LinearFrac against their references. (Alignments, lengths,
// aliasing and strides of every entry: the safety sweep.)
#include <string.h>
#include <errno.h>

#include "qor/qor_bex.h"
#include "vector_arith/arith_harness.h"

namespace {

using namespace arith_test;

template <class T> std::vector<T> ramp(int n, T scale) {
  std::vector<T> v(n);
  for (int i = 0; i < n; ++i) v[i] = (T(i) - T(n / 3)) * scale + T(0.25);
  return v;
}

template <class T> T add(T a, T b) { return a + b; }
template <class T> T sub(T a, T b) { return a - b; }
template <class T> T mul(T a, T b) { return a * b; }
template <class T> T sqr(T a) { return a * a; }

TEST(Plain, StridedAndSpecialValues) {
  auto d = arith_ref::double_sample(20000);
  std::vector<double> e(d.rbegin(), d.rend());
  check_binary<double>("dAdd", _bexdAdd, _bexdAddI, d, e, add<double>);
  check_binary<double>("dSub", _bexdSub, _bexdSubI, d, e, sub<double>);
  check_binary<double>("dMul", _bexdMul, _bexdMulI, d, e, mul<double>);
  check_unary<double>("dSqr", _bexdSqr, _bexdSqrI, d, sqr<double>);
  auto f = arith_ref::float_sample(70001, 5);
  std::vector<float> g(f.rbegin(), f.rend());
  check_binary<float>("sAdd", _bexsAdd, _bexsAddI, f, g, add<float>);
  check_binary<float>("sSub", _bexsSub, _bexsSubI, f, g, sub<float>);
  check_binary<float>("sMul", _bexsMul, _bexsMulI, f, g, mul<float>);
  check_unary<float>("sSqr", _bexsSqr, _bexsSqrI, f, sqr<float>);
}

// With flush-to-zero asked for in the Mode word, denormal results flush.
TEST(Plain, FollowsTheModeWordsFlushing) {
  const unsigned saved = qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT | BEX_HA | BEX_FTZDAZ_ON);
  float a[40], r[40];
  for (float &x : a) x = 1e-20f;
  _bexsSqr(40, a, r);
  for (float x : r) EXPECT_EQ(x, 0.0f);
  qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT | BEX_HA | BEX_FTZDAZ_OFF);
  _bexsSqr(40, a, r);
  for (float x : r) EXPECT_EQ(x, 1e-20f * 1e-20f);
  qor_bex_kernel_SetMode(saved);
}

// ----- complex -----------------------------------------------------------------

TEST(Complex, ConjFlipsImaginarySigns) {
  std::vector<float> a = ramp<float>(2 * 37, 1.5f), r(2 * 37);
  a[5] = NAN;
  _bexcConj(37, (const QorComplex8 *)a.data(), (QorComplex8 *)r.data());
  for (int i = 0; i < 37; ++i) {
    EXPECT_TRUE(same(r[2 * i], a[2 * i]));
    EXPECT_TRUE(same(r[2 * i + 1], -a[2 * i + 1]));
  }
  std::vector<double> z = ramp<double>(2 * 9, 0.5), rz(2 * 18, 7.0);
  _bexzConjI(9, (const QorComplex16 *)z.data(), 1, (QorComplex16 *)rz.data(), 2);
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(rz[4 * i], z[2 * i]);
    EXPECT_EQ(rz[4 * i + 1], -z[2 * i + 1]);
    EXPECT_EQ(rz[4 * i + 2], 7.0);
  }
}

class ComplexStatus : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = qor_bex_kernel_SetMode(BEX_ERRMODE_IGNORE | BEX_HA);
    qor_bex_kernel_ClearErrStatus();
  }
  void TearDown() override { qor_bex_kernel_SetMode(saved_); }
  unsigned saved_ = 0;
};

using CBin = void (*)(int, const QorComplex8 *, const QorComplex8 *, QorComplex8 *);
using CBinI = void (*)(int, const QorComplex8 *, int, const QorComplex8 *, int, QorComplex8 *, int);

TEST_F(ComplexStatus, AddSubAllTiersAndOverflowReport) {
  const int n = 21;
  std::vector<float> a = ramp<float>(2 * n, 2.5f), b = ramp<float>(2 * n, -1.25f);
  a[7] = 3e38f, b[7] = 3e38f;  // element 3, real part overflows
  a[20] = INFINITY;            // element 10: infinite input, no report
  const CBin units[] = {_bexcAdd_21, _bexcAdd, _bexcAdd_11};
  for (int t = 0; t < 3; ++t) {
    qor_bex_kernel_ClearErrStatus();
    std::vector<float> r(2 * n);
    units[t](n, (const QorComplex8 *)a.data(), (const QorComplex8 *)b.data(), (QorComplex8 *)r.data());
    for (int i = 0; i < 2 * n; ++i) EXPECT_TRUE(same(r[i], a[i] + b[i])) << t << " " << i;
    EXPECT_EQ(qor_bex_kernel_GetErrStatus(), t == 2 ? 0 : BEX_STATUS_OVERFLOW) << "tier " << t;
  }
  qor_bex_kernel_ClearErrStatus();
  std::vector<float> r(4 * n, 5.0f);
  _bexcSubI(n, (const QorComplex8 *)a.data(), 1, (const QorComplex8 *)b.data(), 1, (QorComplex8 *)r.data(), 2);
  for (int i = 0; i < n; ++i) {
    EXPECT_TRUE(same(r[4 * i], a[2 * i] - b[2 * i]));
    EXPECT_TRUE(same(r[4 * i + 1], a[2 * i + 1] - b[2 * i + 1]));
    EXPECT_EQ(r[4 * i + 2], 5.0f);
  }
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 0);  // 3e38 - 3e38 does not overflow
  std::vector<double> za = ramp<double>(2 * n, 1.5), zb = ramp<double>(2 * n, 0.5), zr(2 * n);
  za[3] = -1.7e308, zb[3] = -1.7e308;
  _bexzAdd(n, (const QorComplex16 *)za.data(), (const QorComplex16 *)zb.data(), (QorComplex16 *)zr.data());
  for (int i = 0; i < 2 * n; ++i) EXPECT_EQ(zr[i], za[i] + zb[i]);
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), BEX_STATUS_OVERFLOW);
}

// ----- LinearFrac --------------------------------------------------------------

TEST(LinearFrac, AgainstDivisionAllScaleBranches) {
  const int n = 203;
  std::vector<float> a = ramp<float>(n, 0.37f), b = ramp<float>(n, -0.11f), r(n);
  b[17] = 0.0f;  // with scale_b 2 and shift_b 0: a zero divisor
  for (auto sc : std::vector<std::array<float, 4>>{{1.5f, -2.0f, 2.0f, 0.0f}, {0.0f, 3.0f, 2.0f, 0.5f},
                                                    {1.5f, -2.0f, 0.0f, 0.5f}, {0.0f, 3.0f, 0.0f, 7.0f}}) {
    _bexsLinearFrac(n, a.data(), b.data(), sc[0], sc[1], sc[2], sc[3], r.data());
    std::vector<float> s(2 * n);
    _bexsLinearFracI(n, a.data(), 1, b.data(), 1, sc[0], sc[1], sc[2], sc[3], s.data(), 2);
    for (int i = 0; i < n; ++i) {
      const float num = sc[0] * a[i] + sc[1], den = sc[2] * b[i] + sc[3];
      const double want = (double)num / den;  // the division the reciprocal stands for
      if (den == 0.0f) {
        EXPECT_TRUE(same(r[i], num / den)) << i;
      } else {
        EXPECT_NEAR(r[i], want, 2.5 * fabs(want) * 1.2e-7) << i;
      }
      EXPECT_TRUE(same(s[2 * i], r[i])) << "strided differs at " << i;
    }
  }
  std::vector<double> ad = ramp<double>(n, 0.37), bd = ramp<double>(n, -0.11), rd(n);
  _bexdLinearFrac(n, ad.data(), bd.data(), 1.5, -2.0, 2.0, 0.3, rd.data());
  for (int i = 0; i < n; ++i) EXPECT_EQ(rd[i], (1.5 * ad[i] - 2.0) / (2.0 * bd[i] + 0.3));
}

// Divisors whose reciprocal estimate fails (denormal, huge, infinite) are divided.
TEST(LinearFrac, ExtremeDivisorsDivide) {
  const float b[8] = {1e-39f, 1e38f, INFINITY, -0.0f, 3e38f, 2e-45f, 1.0f, 2.0f};
  const float a[8] = {1e-30f, 5.0f, 1.0f, 1.0f, 1.0f, 1e-44f, 1.0f, 1.0f};
  float r[8];
  _bexsLinearFrac(8, a, b, 1.0f, 0.0f, 1.0f, 0.0f, r);
  for (int i = 0; i < 6; ++i) EXPECT_TRUE(same(r[i], (a[i] + 0.0f) / (b[i] + 0.0f))) << i;  // -0 + 0 is +0
}

}  // namespace
