// Mode word, environment variable, status and callback calls, per thread.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <thread>

#include "qor/qor_bex.h"

namespace {

// Runs f on a new thread, whose record and Mode word start fresh.
template <class F> auto on_new_thread(F f) {
  decltype(f()) out{};
  std::thread([&] { out = f(); }).join();
  return out;
}

unsigned first_mode_with(const char *value) {
  if (value) setenv("QOR_BEX_MODE", value, 1);
  else unsetenv("QOR_BEX_MODE");
  unsigned m = on_new_thread([] { return qor_bex_kernel_GetMode(); });
  unsetenv("QOR_BEX_MODE");
  return m;
}

TEST(ModeFromEnvironment, KeywordsCombineAndMissingFieldsTakeDefaults) {
  EXPECT_EQ(first_mode_with(nullptr), 0x1a02u);
  EXPECT_EQ(first_mode_with("BEX_EP,BEX_ERRMODE_STDERR"), 0x403u);
  EXPECT_EQ(first_mode_with("BEX_EP"), 0x1a03u);
  EXPECT_EQ(first_mode_with("BEX_ERRMODE_NOERR"), 0x2002u);
  EXPECT_EQ(first_mode_with("BEX_TRAP_INVALID"), 0x1001a02u);
  EXPECT_EQ(first_mode_with("BEX_DEFAULT_PRECISION"), 0x1a02u);
  EXPECT_EQ(first_mode_with("BEX_LA,BEX_FLOAT_CONSISTENT,BEX_TRAP_OVERFLOW,BEX_TRAP_UNDERFLOW"), 0xc001a11u);
}

TEST(ModeFromEnvironment, AnyFaultFallsBackToTheDefault) {
  EXPECT_EQ(first_mode_with("BEX_EP,"), 0x1a02u);
  EXPECT_EQ(first_mode_with("BEX_EP BEX_HA"), 0x1a02u);
  EXPECT_EQ(first_mode_with("EP"), 0x1a02u);
  EXPECT_EQ(first_mode_with("BEX_EPX"), 0x1a02u);                 // a keyword only as a prefix
  EXPECT_EQ(first_mode_with("BEX_DOUBLE_CONSISTENT"), 0x1a02u);   // matched at 16 chars, T left over
  EXPECT_EQ(first_mode_with("BEX_DOUBLE_CONSISTEN"), 0x1a22u);
  EXPECT_EQ(first_mode_with(""), 0x1a02u);
}

TEST(ModeWord, SetModeReplacesOnlyNonZeroFields) {
  on_new_thread([] {
    EXPECT_EQ(qor_bex_kernel_SetMode(0x1), 0x1a02u);
    EXPECT_EQ(qor_bex_kernel_GetMode(), 0x1a01u);
    qor_bex_kernel_SetMode(0x2);
    EXPECT_EQ(qor_bex_kernel_SetMode(0x100), 0x1a02u);
    EXPECT_EQ(qor_bex_kernel_GetMode(), 0x102u);
    qor_bex_kernel_SetMode(0x10);  // the floating-point control field is set only from the environment
    EXPECT_EQ(qor_bex_kernel_GetMode(), 0x102u);
    qor_bex_kernel_SetMode(0);
    EXPECT_EQ(qor_bex_kernel_GetMode(), 0x102u);
    qor_bex_kernel_SetMode(0x280000 | 0x4000000 | 0x30000 | 0xf0000000u);  // high bits ignored
    EXPECT_EQ(qor_bex_kernel_GetMode(), 0x42b0102u);
    EXPECT_EQ(_bexGetMode(), qor_bex_kernel_GetMode());
    return 0;
  });
}

TEST(ModeWord, EachThreadStartsFromTheDefault) {
  qor_bex_kernel_SetMode(BEX_EP);
  EXPECT_EQ(on_new_thread([] { return qor_bex_kernel_GetMode(); }), 0x1a02u);
  EXPECT_EQ(qor_bex_kernel_GetMode() & 0xf, BEX_EP);
  qor_bex_kernel_SetMode(BEX_HA);
}

TEST(ModeWord, TableIndexFollowsTheAccuracyField) {
  on_new_thread([] {
    EXPECT_EQ(qor_bex_kernel_GetTTableIndex(), 1);
    qor_bex_kernel_SetMode(BEX_EP);
    EXPECT_EQ(qor_bex_kernel_GetTTableIndex(), 2);
    return 0;
  });
  EXPECT_EQ(qor_bex_kernel_GetTTableIndexM(77, 0x1a03), 2);
  EXPECT_EQ(qor_bex_kernel_GetTTableIndexM(0, 0x1a00), -1);
  EXPECT_EQ(qor_bex_kernel_GetTTableIndexM(0, 0x5), 4);
  EXPECT_EQ(dll_cpu_version(), 3);
}

TEST(Status, SetGetClear) {
  on_new_thread([] {
    EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 0);
    EXPECT_EQ(qor_bex_kernel_SetErrStatus(-77), 0);
    EXPECT_EQ(_bexGetErrStatus(), -77);
    EXPECT_EQ(qor_bex_kernel_ClearErrStatus(), -77);
    EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 0);
    return 0;
  });
}

int dummy_callback(BexErrorContext *) { return 0; }

TEST(Callback, SettingAndClearingKeepTheFieldRules) {
  on_new_thread([] {
    EXPECT_EQ(qor_bex_kernel_SetErrorCallBack(dummy_callback), nullptr);
    EXPECT_EQ(qor_bex_kernel_GetMode(), 0x1a02u);  // the bit was already set
    EXPECT_EQ(_bexGetErrorCallBack(), dummy_callback);
    EXPECT_EQ(qor_bex_kernel_ClearErrorCallBack(), dummy_callback);
    EXPECT_EQ(qor_bex_kernel_GetErrorCallBack(), nullptr);
    EXPECT_EQ(qor_bex_kernel_GetMode(), 0xa02u);  // cleared from the default field
    qor_bex_kernel_SetMode(BEX_ERRMODE_CALLBACK);
    qor_bex_kernel_ClearErrorCallBack();
    EXPECT_EQ(qor_bex_kernel_GetMode(), 0x1002u);  // a field holding only the bit cannot lose it
    qor_bex_kernel_SetMode(BEX_ERRMODE_ERRNO);
    qor_bex_kernel_SetErrorCallBack(dummy_callback);
    EXPECT_EQ(qor_bex_kernel_GetMode(), 0x1202u);
    return 0;
  });
}

TEST(InterfacePointer, ReturnsWhatItStores) {
  int x = 0;
  EXPECT_EQ(qor_bex_kernel_SetInterfInputVectorPointer(&x), &x);
  EXPECT_EQ(_bexSetInterfInputVectorPointer(nullptr), nullptr);
}

}  // namespace
