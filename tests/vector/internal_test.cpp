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

// Frame variants, through a probe kernel that records the state it runs in.
#include <xmmintrin.h>

#include "vector/dispatch/frame.h"

namespace {

using namespace qor::simd;
uint16_t inside_cw;
unsigned inside_csr;

struct Probe {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsProbe";
  static vf4 lanes(vf4 x, vi4 &bad) {
    inside_cw = qor::platform::x87_control();
    inside_csr = _mm_getcsr();
    bad = x < 0.0f;
    return x;
  }
  static int scalar(const float *a, float *r) {
    *r = -*a;
    return 0;
  }
};

template <class Env> void run_probe(float *r) {
  static const float a[6] = {1, -2, 3, 4, -5, 6};
  qor::bex::Frame<Probe, Env>::run_unit(6, {{a, a}, {1, 1}, {r, r}, {1, 1}});
}

struct EnvCase {
  uint16_t caller_cw;
  unsigned caller_csr;
};

void set_state(uint16_t cw, unsigned csr) {
  __asm__ volatile("fnclex; fldcw %0" ::"m"(cw));
  _mm_setcsr(csr);
}

TEST(FrameVariants, EachForcesItsStateInsideAndRestoresTheCaller) {
  const uint16_t cw0 = qor::platform::x87_control();
  const unsigned csr0 = _mm_getcsr();
  const uint16_t caller_cw = (cw0 & ~0xf3f) | 0x03e;  // invalid unmasked, single precision control
  const unsigned caller_csr = (csr0 | 0x8040) & ~0x0080u;  // FTZ/DAZ on, invalid unmasked
  float r[6];
  qor_bex_kernel_SetMode(BEX_FTZDAZ_ON);

  set_state(caller_cw, caller_csr);
  run_probe<qor::bex::StandardEnv>(r);
  const uint16_t std_cw = inside_cw, after_cw = qor::platform::x87_control();
  const unsigned std_csr = inside_csr, after_csr = _mm_getcsr();
  set_state(caller_cw, caller_csr);
  run_probe<qor::bex::NoFlushEnv>(r);
  const unsigned noflush_csr = inside_csr;
  set_state(caller_cw, caller_csr);
  run_probe<qor::bex::ExtendedX87Env>(r);
  const uint16_t ext_cw = inside_cw;
  const unsigned ext_csr = inside_csr;
  set_state(caller_cw, caller_csr);
  run_probe<qor::bex::DoubleX87Env>(r);
  const uint16_t dbl_cw = inside_cw;
  set_state(caller_cw, caller_csr);
  run_probe<qor::bex::NoEnv>(r);
  const uint16_t none_cw = inside_cw;
  const unsigned none_csr = inside_csr;
  set_state(cw0, csr0);
  qor_bex_kernel_SetMode(BEX_FTZDAZ_OFF);

  EXPECT_EQ(std_cw & 0x3f, 0x3f);
  EXPECT_EQ(std_cw & 0xf00, caller_cw & 0xf00) << "standard leaves precision control";
  EXPECT_EQ(std_csr & 0xffc0, 0x9fc0u) << "the Mode word asks for FTZ/DAZ";
  EXPECT_EQ(after_cw, caller_cw);
  EXPECT_EQ(after_csr & 0xffc0, caller_csr & 0xffc0);
  EXPECT_EQ(noflush_csr & 0xffc0, 0x1f80u) << "never flushes, whatever the Mode word";
  EXPECT_EQ(ext_cw & 0xf3f, 0x33f);
  EXPECT_EQ(ext_csr & 0x1f80, 0x1f80u);
  EXPECT_EQ(ext_csr & 0x8040, caller_csr & 0x8040) << "extended variant only masks";
  EXPECT_EQ(dbl_cw & 0xf3f, 0x23f);
  EXPECT_EQ(none_cw, caller_cw);
  EXPECT_EQ(none_csr, caller_csr);
  EXPECT_EQ(r[1], 2.0f);  // flagged lanes went to the scalar routine
  EXPECT_EQ(r[4], 5.0f);
  EXPECT_EQ(r[5], 6.0f);
}

}  // namespace
