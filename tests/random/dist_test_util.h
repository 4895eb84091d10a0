// What the distribution tests share: an owned stream (copyable by
// __guxCopyStream), one uniform drawn from a stream, the splits of 2600
// variates across calls, and a scripted generator whose raw values and
// status a test chooses.
#ifndef QOR_TESTS_RANDOM_DIST_TEST_UTIL_H
#define QOR_TESTS_RANDOM_DIST_TEST_UTIL_H

#include <gtest/gtest.h>
#include <stddef.h>
#include <stdint.h>

#include <vector>

#include "qor/qor_random_brng.h"
#include "qor/qor_random_dist.h"

namespace dist_test {

struct Stream {
  GuxStream *s = nullptr;
  Stream(int id, uint32_t seed) { EXPECT_EQ(__guxNewStreamEx(&s, id, 1, &seed), 0); }
  explicit Stream(const Stream &o) { EXPECT_EQ(__guxCopyStream(&s, o.s), 0); }
  explicit Stream(GuxStream *own) : s(own) {}
  ~Stream() { __guxDeleteStream(&s); }
};
inline double next_d(GuxStream *s) { double u; _guxdRngUniform(0, s, 1, &u, 0, 1); return u; }

// Splits of 2600 (past two blocks of 1024): one call, singles, odd pieces,
// pieces across the block edges, empty calls.
inline const std::vector<std::vector<int>> kSplits2600 = {
    {2600}, {1, 1, 2598}, {3, 5, 7, 1023, 1, 1025, 536}, {1024, 1024, 552}, {2047, 2, 551}, {0, 13, 0, 2587}};

// A scripted generator: the raw values it hands out in turn (output
// raw * (b - a) + a) and the status it returns.
struct Script { std::vector<double> raw; size_t pos = 0; int status = 0; };
inline Script g_script;
inline double raw() { return g_script.raw[g_script.pos++ % g_script.raw.size()]; }
inline int script_d(GuxStream *, int n, double *r, double a, double b) {
  for (int i = 0; i < n && g_script.status >= 0; ++i) r[i] = raw() * (b - a) + a;
  return g_script.status;
}
inline int script_s(GuxStream *, int n, float *r, float a, float b) {
  for (int i = 0; i < n && g_script.status >= 0; ++i) r[i] = (float)(raw() * ((double)b - a) + a);
  return g_script.status;
}
inline int script_i(GuxStream *, int n, uint32_t *r) {
  for (int i = 0; i < n && g_script.status >= 0; ++i) r[i] = (uint32_t)(raw() * 4294967296.0);
  return g_script.status;
}

}  // namespace dist_test

#endif
