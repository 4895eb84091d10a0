// What a bad element does, through sExp: status, errno, callback, messages,
// index adjustment and the x87 exception.
#include <errno.h>
#include <gtest/gtest.h>
#include <math.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "qor/qor_bex.h"

namespace {

class Reporter : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = qor_bex_kernel_GetMode();
    qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
    qor_bex_kernel_ClearErrorCallBack();
    qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
    qor_bex_kernel_SetInterfInputVectorPointer(nullptr);
    qor_bex_kernel_ClearErrStatus();
    errno = 0;
    seen = BexErrorContext{};
    calls = 0;
  }
  void TearDown() override {
    qor_bex_kernel_ClearErrorCallBack();
    qor_bex_kernel_SetMode(saved_ & (BEX_ERRMODE_MASK | BEX_ACCURACY_MASK));
  }
  unsigned saved_ = 0;

 public:
  static inline BexErrorContext seen;
  static inline int calls;
};

// One overflow at position 7 of a tail-sized and a block-sized array.
std::vector<float> inputs(int n, int at, float bad) {
  std::vector<float> a(n, 1.0f);
  a[at] = bad;
  return a;
}

TEST_F(Reporter, OverflowUnderTheDefaultMode) {
  auto a = inputs(40, 7, 100.0f);
  std::vector<float> r(40);
  _bexsExp_21(40, a.data(), r.data());
  EXPECT_TRUE(isinf(r[7]) && r[7] > 0);
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), BEX_STATUS_OVERFLOW);
  EXPECT_EQ(errno, 34);
  EXPECT_FLOAT_EQ(r[6], expf(1.0f));
}

TEST_F(Reporter, NoerrTouchesNothingAndIgnoreOnlyTheStatus) {
  auto a = inputs(32, 7, 100.0f);
  std::vector<float> r(32);
  qor_bex_kernel_SetMode(BEX_ERRMODE_NOERR);
  _bexsExp(32, a.data(), r.data());
  EXPECT_TRUE(isinf(r[7]));
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 0);
  EXPECT_EQ(errno, 0);
  qor_bex_kernel_SetMode(BEX_ERRMODE_IGNORE);
  _bexsExp(32, a.data(), r.data());
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 3);
  EXPECT_EQ(errno, 0);
}

TEST_F(Reporter, StatusIsTheLastReported) {
  std::vector<float> a(32, 1.0f), r(32);
  a[3] = 100.0f;   // overflow
  a[20] = -95.0f;  // denormal result: underflow
  _bexsExp_11(32, a.data(), r.data());
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), BEX_STATUS_UNDERFLOW);
  EXPECT_GT(r[20], 0.0f);
}

int fix_to_one(BexErrorContext *c) {
  Reporter::seen = *c;
  ++Reporter::calls;
  c->r1 = 1.0;
  return 0;
}
int refuse(BexErrorContext *c) {
  ++Reporter::calls;
  c->r1 = 5.0;
  return 1;
}

TEST_F(Reporter, CallbackReturningZeroFixesTheResultAndErrnoStillFollows) {
  auto a = inputs(40, 35, 100.0f);  // in the tail
  std::vector<float> r(40);
  qor_bex_kernel_SetErrorCallBack(fix_to_one);
  _bexsExp(40, a.data(), r.data());
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(r[35], 1.0f);
  EXPECT_EQ(errno, 34);
  EXPECT_EQ(seen.code, 3);
  EXPECT_EQ(seen.index, 35);
  EXPECT_EQ(seen.a1, 100.0);
  EXPECT_EQ(seen.a2, 100.0);
  EXPECT_TRUE(isinf(seen.r1));
  EXPECT_STREQ(seen.name, "vsExp");
  EXPECT_EQ(seen.name_length, 5);
}

TEST_F(Reporter, CallbackReturningNonZeroStopsTheActions) {
  auto a = inputs(32, 7, 100.0f);
  std::vector<float> r(32);
  qor_bex_kernel_SetErrorCallBack(refuse);
  _bexsExp(32, a.data(), r.data());
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(isinf(r[7]));  // the kernel's own value stays
  EXPECT_EQ(errno, 0);
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 3);
}

TEST_F(Reporter, InterfaceInputShiftsTheReportedIndex) {
  std::vector<float> big(64, 1.0f), r(64);
  big[12 + 5] = 100.0f;
  qor_bex_kernel_SetErrorCallBack(fix_to_one);
  qor_bex_kernel_SetInterfInputVectorPointer(big.data() + 12);
  _bexsExp(20, big.data() + 12, r.data());
  EXPECT_EQ(seen.index, 5);
  qor_bex_kernel_SetInterfInputVectorPointer(big.data() + 2);
  _bexsExp(20, big.data() + 12, r.data());
  EXPECT_EQ(seen.index, 15);
  // The strided form reports the element's number, also adjusted.
  qor_bex_kernel_SetInterfInputVectorPointer(nullptr);
  big[12 + 5] = 1.0f;
  big[12 + 6] = 100.0f;
  _bexsExpI(10, big.data() + 12, 2, r.data(), 3);
  EXPECT_EQ(seen.index, 3);
  EXPECT_EQ(r[9], 1.0f);
}

TEST_F(Reporter, StderrMessageNamesFunctionAndValues) {
  auto a = inputs(8, 2, 100.0f);
  std::vector<float> r(8);
  qor_bex_kernel_SetMode(BEX_ERRMODE_STDERR);
  testing::internal::CaptureStderr();
  _bexsExp(8, a.data(), r.data());
  std::string text = testing::internal::GetCapturedStderr();
  EXPECT_NE(text.find("vsExp"), std::string::npos) << text;
  EXPECT_NE(text.find("overflow"), std::string::npos) << text;
  EXPECT_NE(text.find("a[2] = 100"), std::string::npos) << text;
  EXPECT_NE(text.find("r[2] = inf"), std::string::npos) << text;
  EXPECT_EQ(errno, 0);
}

uint16_t x87_status() {
  uint16_t sw;
  __asm__ volatile("fnstsw %0" : "=m"(sw));
  return sw;
}

TEST_F(Reporter, ExceptActionLeavesTheFlagWhenTheTrapIsOff) {
  __asm__ volatile("fnclex");
  auto a = inputs(8, 2, 100.0f);
  std::vector<float> r(8);
  _bexsExp(8, a.data(), r.data());
  EXPECT_EQ(x87_status() & 0x8, 0x8);  // overflow flag, raised by the reporter
  __asm__ volatile("fnclex");
}

// The child reports a delivered trap by its exit code, whoever else handles SIGFPE.
void exit_on_fpe(int) { _exit(42); }

TEST_F(Reporter, EnabledTrapIsDeliveredAtTheReport) {
  for (unsigned trap : {BEX_TRAP_OVERFLOW, BEX_TRAP_UNDERFLOW}) {
    pid_t pid = fork();
    if (pid == 0) {
      signal(SIGFPE, exit_on_fpe);
      qor_bex_kernel_SetMode(BEX_ERRMODE_EXCEPT | trap);
      float a[4] = {1, trap == BEX_TRAP_OVERFLOW ? 100.0f : -120.0f, 1, 1}, r[4];
      _bexsExp(4, a, r);
      _exit(0);  // reached only if nothing was delivered
    }
    int st = 0;
    waitpid(pid, &st, 0);
    EXPECT_TRUE(WIFEXITED(st) && WEXITSTATUS(st) == 42) << "trap " << std::hex << trap;
  }
  // A trap for another status is not delivered.
  pid_t pid = fork();
  if (pid == 0) {
    signal(SIGFPE, exit_on_fpe);
    qor_bex_kernel_SetMode(BEX_ERRMODE_EXCEPT | BEX_TRAP_INVALID);
    float a[4] = {1, 100.0f, 1, 1}, r[4];
    _bexsExp(4, a, r);
    _exit(7);
  }
  int st = 0;
  waitpid(pid, &st, 0);
  EXPECT_TRUE(WIFEXITED(st) && WEXITSTATUS(st) == 7);
}

}  // namespace
