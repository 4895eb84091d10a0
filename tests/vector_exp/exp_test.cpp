// The exponential kernels: names reach their slots, costs keep their rules,
// special values come out unreported, and a flagged lane anywhere in a block
// leaves the other lanes as they were.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <vector>

#include "vector/kernels/exp/exp_tables.inc"
#include "vector_exp/exp_family.h"

namespace {

using namespace exptest;

template <class T> void check_slots(const Func<T> &f) {
  SCOPED_TRACE(f.name);
  // The entry points reach the slots: their results match direct slot calls
  // (EP and LA differ from HA in the three-kernel entries, so a wrong slot shows).
  const int n = 40;
  T a[2 * n], r[n], direct[n], rs[2 * n], ds[2 * n];
  for (int i = 0; i < 2 * n; ++i) a[i] = (T)(-5.0 + 0.2371 * i);
  for (int s = 0; s < 3; ++s) {
    f.unit[s](n, a, r);
    ((typename Func<T>::Unit)f.table->kernel[s])(n, a, direct);
    EXPECT_EQ(memcmp(r, direct, sizeof r), 0) << "slot " << s;
    f.strided[s](n, a, 2, rs, 2);
    ((typename Func<T>::Strided)f.table_i->kernel[s])(n, a, 2, ds, 2);
    for (int i = 0; i < n; ++i) EXPECT_EQ(memcmp(&rs[2 * i], &ds[2 * i], sizeof(T)), 0) << "I slot " << s;
  }
  const float *c = f.cost->cost;
  if (f.three) {
    EXPECT_NE(f.table->kernel[0], f.table->kernel[1]);
    EXPECT_NE(f.table->kernel[1], f.table->kernel[2]);
    EXPECT_NE(f.table->kernel[0], f.table->kernel[2]);
    EXPECT_LT(c[2], c[0]);  // distinct kernels, distinct costs: EP < LA < HA
    EXPECT_LT(c[0], c[1]);
  } else {
    EXPECT_EQ(f.table->kernel[0], f.table->kernel[1]);
    EXPECT_EQ(f.table->kernel[1], f.table->kernel[2]);
    EXPECT_EQ(c[0], c[1]);
    EXPECT_EQ(c[1], c[2]);
  }
  EXPECT_GT(c[2], 0.0f);
  EXPECT_EQ(memcmp(f.cost, f.cost_i, sizeof *f.cost), 0);
}

TEST(ExpEntries, EveryNameReachesItsSlotAndCostsKeepTheirRules) {
  for (const auto &f : kFloat) check_slots(f);
  for (const auto &f : kDouble) check_slots(f);
}

template <class T> bool same_bits(T a, T b) { return memcmp(&a, &b, sizeof a) == 0; }

template <class T> void check_specials(const Func<T> &f) {
  const bool m1 = strstr(f.name, "m1") != nullptr;
  const T inf = (T)INFINITY;
  for (int s = 0; s < 3; ++s) {
    SCOPED_TRACE(std::string(f.name) + " tier " + std::to_string(s));
    T a[6] = {0, -(T)0, inf, -inf, (T)NAN, 1}, r[6];
    qor_bex_kernel_SetErrStatus(-7);
    f.unit[s](6, a, r);
    EXPECT_EQ(qor_bex_kernel_GetErrStatus(), -7) << "NaN and infinities are not reported";
    EXPECT_EQ(r[0], m1 ? 0 : 1);
    EXPECT_TRUE(same_bits(r[1], m1 ? -(T)0 : (T)1));  // expm1 keeps the sign of zero
    EXPECT_EQ(r[2], inf);
    EXPECT_TRUE(same_bits(r[3], m1 ? (T)-1 : (T)0));
    EXPECT_TRUE(isnan(r[4]));
    const double tol = s == 2 ? (sizeof(T) == 4 ? 0x1p-11 : 0x1p-26) : (sizeof(T) == 4 ? 0x1p-21 : 0x1p-50);
    EXPECT_NEAR(r[5], f.ref(1), f.ref(1) * tol);
  }
}

TEST(ExpValues, ZeroInfinitiesAndNanInEveryTierWithNoReport) {
  qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
  for (const auto &f : kFloat) check_specials(f);
  for (const auto &f : kDouble) check_specials(f);
}

// Inputs across the range and a flagged lane (NaN) at each position of a
// 37-element array: every other element equals the clean run, bit for bit,
// in the unit form and in strided forms with strides 3 and -2.
template <class T> void check_flagged_lane(const Func<T> &f) {
  const int n = 37;
  std::vector<T> a(n), clean(n), r(n);
  for (int i = 0; i < n; ++i) a[i] = (T)(-3.0 + 0.173 * i);
  for (int s = 0; s < 3; ++s) {
    SCOPED_TRACE(std::string(f.name) + " tier " + std::to_string(s));
    f.unit[s](n, a.data(), clean.data());
    for (int i = 0; i < n; ++i) ASSERT_NEAR(clean[i], f.ref(a[i]), fabs(f.ref(a[i])) * 2e-3 + 1e-30);
    for (int bad = 0; bad < n; bad += 5) {
      std::vector<T> b = a;
      b[bad] = (T)NAN;
      f.unit[s](n, b.data(), r.data());
      for (int i = 0; i < n; ++i)
        if (i != bad) {
          ASSERT_TRUE(same_bits(r[i], clean[i])) << "at " << i << " with NaN at " << bad;
        }
      EXPECT_TRUE(isnan(r[bad]));
      std::vector<T> b3(3 * n, (T)5), r3(3 * n, (T)-9);
      for (int i = 0; i < n; ++i) b3[3 * i] = b[i];
      f.strided[s](n, b3.data(), 3, r3.data(), 3);
      for (int i = 0; i < n; ++i) {
        if (i != bad) {
          ASSERT_TRUE(same_bits(r3[3 * i], clean[i])) << "stride 3 at " << i;
        }
        ASSERT_EQ(r3[3 * i + 1], (T)-9);
      }
      // Stride -2 from the last element backwards: element i is at base - 2i.
      std::vector<T> bn(2 * n, (T)5), rn(2 * n);
      for (int i = 0; i < n; ++i) bn[2 * (n - 1) - 2 * i] = b[i];
      f.strided[s](n, bn.data() + 2 * (n - 1), -2, rn.data() + 2 * (n - 1), -2);
      for (int i = 0; i < n; ++i) {
        if (i != bad) {
          ASSERT_TRUE(same_bits(rn[2 * (n - 1) - 2 * i], clean[i])) << "stride -2 at " << i;
        }
      }
    }
  }
}

TEST(ExpFrame, FlaggedLaneAnywhereLeavesTheOthersInUnitAndStridedForms) {
  qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
  for (const auto &f : kFloat) check_flagged_lane(f);
  for (const auto &f : kDouble) check_flagged_lane(f);
}

TEST(ExpValues, EdgeCasesOfTheFamily) {
  qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
  qor_bex_kernel_ClearErrStatus();
  for (int s = 0; s < 3; ++s) {
    // dExp of 709.7 is finite and goes through the scalar routine unreported.
    double a = 709.7, r;
    kDouble[0].unit[s](1, &a, &r);
    EXPECT_TRUE(isfinite(r));
    EXPECT_NEAR(r, exp(709.7), exp(709.7) * 1e-15);
    // sExpm1: -1000 gives -1 with no report; 1e-30 gives 1e-30.
    float am[3] = {-1000.0f, 1e-30f, -1e-30f}, rm[3];
    kFloat[3].unit[s](3, am, rm);
    EXPECT_EQ(rm[0], -1.0f);
    EXPECT_EQ(rm[1], 1e-30f);
    EXPECT_EQ(rm[2], -1e-30f);
    double dm[3] = {-1000.0, 1e-300, -4.9e-324}, dr[3];
    kDouble[3].unit[s](3, dm, dr);
    EXPECT_EQ(dr[0], -1.0);
    EXPECT_EQ(dr[1], 1e-300);
    EXPECT_EQ(dr[2], -4.9e-324);
  }
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 0);
  // Exact powers: 2^k and 10^k come out exactly where they are representable.
  float a2[4] = {-126.0f, -3.0f, 10.0f, 127.0f}, r2[4];
  kFloat[1].unit[1](4, a2, r2);
  EXPECT_EQ(r2[0], ldexpf(1, -126));
  EXPECT_EQ(r2[1], 0.125f);
  EXPECT_EQ(r2[2], 1024.0f);
  EXPECT_EQ(r2[3], ldexpf(1, 127));
  double a10[3] = {1.0, 5.0, 22.0}, r10[3];
  kDouble[2].unit[1](3, a10, r10);
  EXPECT_EQ(r10[0], 10.0);
  EXPECT_EQ(r10[1], 1e5);
  EXPECT_EQ(r10[2], 1e22);
}

// The largest magnitudes the lanes serve (the lane bounds' bit patterns):
// the exponent added as an integer must still give a normal result there.
TEST(ExpValues, LaneBoundsStayInTheNormalRange) {
  qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
  auto d = [](uint64_t b) { return __builtin_bit_cast(double, b); };
  auto f = [](uint32_t b) { return __builtin_bit_cast(float, b); };
  const double dx[4][2] = {{d(0x4086232affffffffull), 0}, {d(0x408fefffffffffffull), 0},
                           {d(0x40733a70ffffffffull), 0}, {d(0x40861da04cbafe43ull), 0}};
  const float fx[4] = {f(0x42aeac4f), f(0x42fc0000), f(0x4217b818), f(0x42ad496b)};
  for (int i = 0; i < 4; ++i) {
    for (int s = 0; s < 3; ++s) {
      SCOPED_TRACE(std::string(kDouble[i].name) + " tier " + std::to_string(s));
      const double dtol = s == 2 ? 0x1p-26 : 0x1p-50, ftol = s == 2 ? 0x1p-11 : 0x1p-21;
      for (double x : {dx[i][0], -dx[i][0]}) {
        double r;
        kDouble[i].unit[s](1, &x, &r);
        EXPECT_NEAR(r, kDouble[i].ref(x), fabs(kDouble[i].ref(x)) * dtol) << x;
      }
      for (float x : {fx[i], -fx[i]}) {
        float r;
        kFloat[i].unit[s](1, &x, &r);
        EXPECT_NEAR(r, kFloat[i].ref(x), fabsf(kFloat[i].ref(x)) * ftol) << x;
      }
    }
  }
}

// The generated tables hold the rows their rules give, and the quoted ones exactly.
TEST(ExpTables, QuotedRowsAndTheRuleOfEveryRow) {
  using namespace qor::kernels::exp_tables;
  EXPECT_EQ(kExp2f_128[0][0], 1.0f);
  EXPECT_EQ(kExp2f_128[0][1], 0.0f);
  EXPECT_EQ(kExp2f_128[1][0], 1.00542986f);
  EXPECT_EQ(kExp2f_128[1][1], 3.7183053e-08f);
  EXPECT_EQ(kExp2d_1024[1], 1.0006771306930664);
  EXPECT_EQ(kExp2d2_64[1][0], 1.0108892860517005);
  EXPECT_EQ(kExp2d2_64[1][1], -1.5234778603368577e-17);
  // hi + lo against 2^(j/N) in extended precision; single rows to half an ulp.
  for (int j = 0; j < 128; ++j) {
    const long double e128 = exp2l(j / 128.0L), e64 = exp2l((j % 64) / 64.0L);
    EXPECT_NEAR((long double)kExp2d2_128[j][0] + kExp2d2_128[j][1], e128, 1e-18L * e128);
    EXPECT_NEAR((long double)kExp2f_128[j][0] + kExp2f_128[j][1], e128, 1e-14L);
    EXPECT_NEAR((long double)kExp2d_128[j], e128, 0x1p-53L * e128);
    EXPECT_NEAR((long double)kExp2d2_64[j % 64][0] + kExp2d2_64[j % 64][1], e64, 1e-18L * e64);
    EXPECT_NEAR((long double)kExp2f_64[j % 64][0] + kExp2f_64[j % 64][1], e64, 1e-14L);
    EXPECT_NEAR((long double)kExp2f_32[j % 32], exp2l((j % 32) / 32.0L), 0x1p-24L * 2);
  }
  for (int j = 0; j < 1024; j += 7) EXPECT_NEAR((long double)kExp2d_1024[j], exp2l(j / 1024.0L), 0x1p-53L * 2);
}

// With flush-to-zero asked for, denormal results of the scalar routines are
// flushed as the lanes' would be, and still reported as underflow.
TEST(ExpValues, FlushToZeroModeFlushesDenormalResults) {
  qor_bex_kernel_SetMode(BEX_ERRMODE_IGNORE | BEX_FTZDAZ_ON);
  for (int s = 0; s < 3; ++s) {
    qor_bex_kernel_ClearErrStatus();
    double d = -709.5, rd;
    kDouble[0].unit[s](1, &d, &rd);
    EXPECT_EQ(rd, 0.0);
    EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 4);
    qor_bex_kernel_ClearErrStatus();
    float f = -130.0f, rf;
    kFloat[1].unit[s](1, &f, &rf);
    EXPECT_EQ(rf, 0.0f);
    EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 4);
  }
  qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT | BEX_FTZDAZ_OFF);
  double d = -709.5, rd;
  kDouble[0].unit[1](1, &d, &rd);
  EXPECT_GT(rd, 0.0);
}

}  // namespace
