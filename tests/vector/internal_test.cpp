// Internal routines reached through the static objects: the environment
// scanner at its buffer limit and the reporter for any name and status.
#include <errno.h>
#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "vector/dispatch/reporter.h"
#include "vector/dispatch/thread_state.h"

namespace {

using qor::bex::scan_mode_text;

uint64_t scan(const std::string &s) {
  char buf[256] = {};
  memcpy(buf, s.data(), s.size() < 255 ? s.size() : 255);
  return scan_mode_text(buf, 256);
}

TEST(Scanner, ValuesAndFaults) {
  EXPECT_EQ(scan("BEX_HA"), 0x2u);
  EXPECT_EQ(scan("BEX_RESTORE,BEX_ERRMODE_DEFAULT"), 0x1a30u);
  EXPECT_EQ(scan("BEX_TRAP_DIVBYZERO,BEX_TRAP_UNDERFLOW"), 0xa000000u);
  EXPECT_EQ(scan("BEX_ha"), ~0ull);
  EXPECT_EQ(scan(",BEX_HA"), ~0ull);
  EXPECT_EQ(scan("BEX_HA,,BEX_LA"), ~0ull);
}

TEST(Scanner, KeywordsThatWouldReachTheBufferEndAreSkipped) {
  // 245 bytes of "BEX_LA," then a keyword close to the end of the 256-byte buffer.
  std::string s;
  while (s.size() < 245) s += "BEX_LA,";
  std::string near_end = s + "BEX_HA";  // ends at 251: still room for the terminator
  EXPECT_EQ(scan(near_end), 0x3u);
  std::string too_long = s + "BEX_ERRMODE_CALLBACK";  // would pass position 256
  EXPECT_EQ(scan(too_long), ~0ull);
}

int last_index, last_length;
char last_name[64];
int keep(BexErrorContext *c) {
  last_index = c->index;
  last_length = c->name_length;
  memcpy(last_name, c->name, 64);
  return 0;
}

TEST(ReporterInternal, LongNamesAreCutAt47) {
  const std::string name(60, 'q');
  float a = 1, r = 2;
  qor_bex_kernel_SetMode(BEX_ERRMODE_CALLBACK);
  qor_bex_kernel_SetErrorCallBack(keep);
  qor_bex_kernel_SetInterfInputVectorPointer(nullptr);
  qor::bex::report_s(3, 0, &a, &a, &r, &r, name.c_str());
  EXPECT_EQ(last_length, 47);
  EXPECT_EQ(std::string(last_name), name.substr(0, 47));
}

TEST(ReporterInternal, WholeCallStatusesReadNoElement) {
  qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
  qor_bex_kernel_SetErrorCallBack(keep);
  qor_bex_kernel_SetInterfInputVectorPointer(nullptr);
  errno = 0;
  qor::bex::report_d(-1, 9, nullptr, nullptr, nullptr, nullptr, "vdLn");  // null arrays: never read
  EXPECT_EQ(errno, 22);
  EXPECT_EQ(last_index, 9);
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), -1);
  qor::bex::report_zI(-2, 1, nullptr, 3, nullptr, 3, nullptr, 3, nullptr, 3, "vzExp");
  EXPECT_EQ(errno, 13);
  QorComplex8 a = {1, 2}, r = {3, 4};  // any other status reads the elements
  qor::bex::report_c(99, 0, &a, &a, &r, &r, "vcExp");
  EXPECT_EQ(errno, 14);
  qor_bex_kernel_ClearErrorCallBack();
}

TEST(ReporterInternal, ComplexRecordCarriesImaginaryParts) {
  BexErrorCallBack cb = [](BexErrorContext *c) {
    EXPECT_EQ(c->a1_im, 2.0);
    EXPECT_EQ(c->a2_im, 4.0);
    EXPECT_EQ(c->r1_im, 6.0);
    c->r1_im = -1.0;
    return 0;
  };
  qor_bex_kernel_SetMode(BEX_ERRMODE_CALLBACK);
  qor_bex_kernel_SetErrorCallBack(cb);
  qor_bex_kernel_SetInterfInputVectorPointer(nullptr);
  QorComplex16 a[2] = {{1, 2}, {3, 4}}, r[2] = {{5, 6}, {7, 8}};
  qor::bex::report_z(1, 0, a, a + 1, r, r + 1, "vzPow");
  EXPECT_EQ(r[0].im, -1.0);
  qor_bex_kernel_ClearErrorCallBack();
  qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
}

}  // namespace
