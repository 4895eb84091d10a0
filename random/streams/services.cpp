// Processor queries and the scalar helpers of the stream service.
#include <cpuid.h>
#include <math.h>

#include "random/streams/stream_internal.h"

namespace {
unsigned query_cpuid1_ecx() {
  unsigned a, b, c, d;
  if (!__get_cpuid(1, &a, &b, &c, &d)) return 0;
  return c;
}
// Read once: under a hypervisor cpuid traps and costs tens of microseconds,
// and the generators that test the processor do so on every call.
unsigned cpuid1_ecx() {
  static const unsigned ecx = query_cpuid1_ecx();
  return ecx;
}
}  // namespace

extern "C" {

int __guxCPUisAES(void) { return (cpuid1_ecx() >> 25) & 1; }
int __guxCPUisRDRAND(void) { return (cpuid1_ecx() >> 30) & 1; }
int __guxCPUisVAES(void) { return qor_serv_cpuisicx(); }

double __guxdFloor(double x) { return floor(x); }
float __guxsLn(float x) { return logf(x); }
double __guxdLn(double x) { return log(x); }
double __guxdSqrt(double x) { return sqrt(x); }

}  // extern "C"
