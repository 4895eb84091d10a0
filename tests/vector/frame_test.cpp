// The frame around every kernel, through sExp: the table records' layout and
// fixed figures, the ERRMODE_NOERR shortcut, and the floating-point
// environment the Mode word asks for. (Lengths, tails, strides, positions and
// caller states of every entry: the safety sweep; special values and
// statuses: the special-value rows.)
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>
#include <xmmintrin.h>

#include <vector>

#include "qor/qor_bex.h"

namespace {

using Unit = void (*)(int, const float *, float *);
using Strided = void (*)(int, const float *, int, float *, int);

struct Tiers {
  Unit unit;
  Strided strided;
  int tier;
};
const Tiers kTiers[] = {{_bexsExp_21, _bexsExpI_21, 0}, {_bexsExp, _bexsExpI, 1}, {_bexsExp_11, _bexsExpI_11, 2}};

std::vector<float> ramp(int n) {
  std::vector<float> a(n);
  for (int i = 0; i < n; ++i) a[i] = -20.0f + 0.37f * i;
  return a;
}

TEST(EntryPoints, NamesReachTheirSlots) {
  EXPECT_EQ((void *)qor_bex_kernel_sExp_ttab.kernel[0], (void *)qor_bex_kernel_sExp_ttab.kernel[0]);
  EXPECT_NE(qor_bex_kernel_sExp_ttab.kernel[0], qor_bex_kernel_sExp_ttab.kernel[1]);
  EXPECT_NE(qor_bex_kernel_sExp_ttab.kernel[1], qor_bex_kernel_sExp_ttab.kernel[2]);
  EXPECT_EQ((void *)_bexsExp, (void *)_bexsExp_HA);
  // In the library the cost record follows the kernel record, 40 bytes a pair
  // (the executable's copies of the two records need not be adjacent).
  void *lib = dlopen("libqor_kernel_ssse3.so", RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(lib, nullptr);
  char *tt = (char *)dlsym(lib, "qor_bex_kernel_sExp_ttab"), *ct = (char *)dlsym(lib, "qor_bex_kernel_sExp_ctab");
  char *tti = (char *)dlsym(lib, "qor_bex_kernel_sExpI_ttab");
  EXPECT_EQ(ct - tt, 24);
  EXPECT_EQ((tti - tt) % 40, 0);
  dlclose(lib);
  EXPECT_FLOAT_EQ(qor_bex_kernel_sExp_ctab.cost[0], 5.636f);
  EXPECT_FLOAT_EQ(qor_bex_kernel_sExp_ctab.cost[1], 7.703f);
  EXPECT_FLOAT_EQ(qor_bex_kernel_sExp_ctab.cost[2], 3.598f);
  EXPECT_EQ(qor_bex_kernel_sExp_ctab.pad, 0u);
  std::vector<float> a = ramp(64), r(64), direct(64);
  for (const Tiers &t : kTiers) {
    t.unit(64, a.data(), r.data());
    ((Unit)qor_bex_kernel_sExp_ttab.kernel[t.tier])(64, a.data(), direct.data());
    EXPECT_EQ(memcmp(r.data(), direct.data(), 64 * 4), 0) << "tier " << t.tier;
  }
}

TEST(Frame, NoerrShortcutStillSendsTheHardLanesToTheScalarRoutine) {
  qor_bex_kernel_SetMode(BEX_ERRMODE_NOERR);
  float in[4] = {100.0f, -200.0f, 88.0f, -95.0f}, r[4];
  _bexsExp_21(4, in, r);
  EXPECT_TRUE(isinf(r[0]));
  EXPECT_EQ(r[1], 0.0f);
  EXPECT_NEAR(r[2] / expf(88.0f), 1.0f, 1e-6f);
  EXPECT_GT(r[3], 0.0f);
  qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
}

TEST(FloatingPointState, CallerFlushSettingIsOffInsideAndRestoredWithStickyFlags) {
  const unsigned csr = _mm_getcsr();
  float in[4] = {-88.0f, 1, 1, 1}, r[4];
  uint32_t bits;
  qor_bex_kernel_SetMode(BEX_ERRMODE_IGNORE | BEX_FTZDAZ_OFF);
  _mm_setcsr((csr | 0x8040) & ~0x3fu);  // FTZ and DAZ on, flags clear
  _bexsExp_21(4, in, r);
  const unsigned after = _mm_getcsr();
  _mm_setcsr(csr);  // compare values without DAZ
  memcpy(&bits, &r[0], 4);
  EXPECT_NE(bits, 0u) << "denormal result not flushed inside the kernel";
  EXPECT_EQ(after & 0x8040, 0x8040u) << "caller's FTZ/DAZ restored";
  EXPECT_TRUE(after & 0x20) << "flags raised inside are passed back";
  qor_bex_kernel_SetMode(BEX_FTZDAZ_ON);
  _bexsExp_21(4, in, r);
  memcpy(&bits, &r[0], 4);
  EXPECT_EQ(bits, 0u) << "the Mode word asks for flushing";
  EXPECT_EQ(_mm_getcsr() & 0x8040, csr & 0x8040) << "and the caller's setting is back";
  qor_bex_kernel_SetMode(BEX_FTZDAZ_OFF | BEX_ERRMODE_DEFAULT);
  _mm_setcsr(csr);
}

uint16_t x87_cw() {
  uint16_t cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
uint16_t x87_sw() {
  uint16_t sw;
  __asm__ volatile("fnstsw %0" : "=m"(sw));
  return sw;
}

TEST(FloatingPointState, MaskedX87IsUntouchedUnmaskedIsMaskedInsideAndRestored) {
  float in[4] = {1, 2, 3, 4}, r[4];
  // Raise a masked zero-divide flag; a call must leave it pending.
  __asm__ volatile("fnclex; fld1; fldz; fdivrp; fstp %%st(0)" ::: "st");
  ASSERT_TRUE(x87_sw() & 0x4);
  _bexsExp_21(4, in, r);
  EXPECT_TRUE(x87_sw() & 0x4);
  // With an exception unmasked, the kernel masks all for the call and restores.
  const uint16_t cw = x87_cw();
  const uint16_t unmasked = cw & ~0x20;  // precision exception unmasked
  __asm__ volatile("fnclex; fldcw %0" ::"m"(unmasked));
  _bexsExp_21(4, in, r);
  EXPECT_EQ(x87_cw(), unmasked);
  __asm__ volatile("fnclex; fldcw %0" ::"m"(cw));
}

}  // namespace
