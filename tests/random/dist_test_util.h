// What the distribution tests share: an owned stream (copyable by
// __guxCopyStream), one uniform drawn from a stream, the generators and the
// splits the tables run on, vector kernels called at length 1 (the plain
// recomputations use them), the entries by type, and a scripted generator
// whose raw values and status a test chooses.
#ifndef QOR_TESTS_RANDOM_DIST_TEST_UTIL_H
#define QOR_TESTS_RANDOM_DIST_TEST_UTIL_H

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

#include "qor/qor_bex.h"
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
inline float next_f(GuxStream *s) { float u; _guxsRngUniform(0, s, 1, &u, 0, 1); return u; }

const struct Generator { const char *name; int id; uint32_t seed; } kGenerators[] = {
    {"MCG31M1", GUX_BRNG_MCG31M1, 7}, {"MCG59", GUX_BRNG_MCG59, 12345}, {"MT19937", GUX_BRNG_MT19937, 5489}};

// Splits of 2600 (past two blocks of 1024): one call, singles, odd pieces,
// pieces across the block edges, empty calls.
inline const std::vector<std::vector<int>> kSplits2600 = {
    {2600}, {1, 1, 2598}, {3, 5, 7, 1023, 1, 1025, 536}, {1024, 1024, 552}, {2047, 2, 551}, {0, 13, 0, 2587}};

// ---- kernels at length 1 through a slot of their table (default: d EP, s LA,
// the fixed tiers of the generators), under the generators' mode bracket ----
template <class T> constexpr int kFixed = sizeof(T) == 8 ? 2 : 0;
template <class T> void *kernel(const char *f, int slot = kFixed<T>) {
  const std::string n = std::string("qor_bex_kernel_") + (sizeof(T) == 8 ? "d" : "s") + f + "_ttab";
  return ((BexKernelTable *)dlsym(RTLD_DEFAULT, n.c_str()))->kernel[slot];
}
template <class T> T k1(const char *f, T x, int slot = kFixed<T>) {
  const unsigned old = _bexSetMode(0x140000);
  ((void (*)(int, const T *, T *))kernel<T>(f, slot))(1, &x, &x);
  _bexSetMode(old);
  return x;
}
template <class T> T powx1(T x, T b) {
  const unsigned old = _bexSetMode(0x140000);
  ((void (*)(int, const T *, T, T *))kernel<T>("Powx"))(1, &x, b, &x);
  _bexSetMode(old);
  return x;
}
template <class T> void sincos1(T x, T *s, T *c) {
  const unsigned old = _bexSetMode(0x140000);
  ((void (*)(int, const T *, T *, T *))kernel<T>("SinCos"))(1, &x, s, c);
  _bexSetMode(old);
}
template <class T> T two_pi() { return sizeof(T) == 8 ? (T)6.283185307179586 : (T)0x1.921fb6p+2f; }
template <class T> T sqrt2() { return sizeof(T) == 8 ? (T)1.4142135623730951 : (T)0x1.6a09e6p+0f; }
constexpr long double kPi = 3.141592653589793238462643383279502884L;

// ---- the entries by type -----------------------------------------------------
#define QOR_BY_TYPE(d_call, s_call) \
  if constexpr (sizeof(T) == 8) return d_call; else return s_call;
#define QOR_TWO_PARAM(Name)                                                   \
  template <class T> int Name(int m, GuxStream *s, int n, T *r, T a, T b) { \
    QOR_BY_TYPE(_guxdRng##Name(m, s, n, r, a, b), _guxsRng##Name(m, s, n, r, a, b)) }
QOR_TWO_PARAM(Uniform) QOR_TWO_PARAM(Exponential) QOR_TWO_PARAM(Gaussian) QOR_TWO_PARAM(Cauchy)
QOR_TWO_PARAM(Gumbel) QOR_TWO_PARAM(Laplace) QOR_TWO_PARAM(Rayleigh)
template <class T> int Weibull(int m, GuxStream *s, int n, T *r, T al, T a, T b) {
  QOR_BY_TYPE(_guxdRngWeibull(m, s, n, r, al, a, b), _guxsRngWeibull(m, s, n, r, al, a, b))
}
template <class T> int Gamma(int m, GuxStream *s, int n, T *r, T al, T a, T b) {
  QOR_BY_TYPE(_guxdRngGamma(m, s, n, r, al, a, b), _guxsRngGamma(m, s, n, r, al, a, b))
}
template <class T> int Lognormal(int m, GuxStream *s, int n, T *r, T a, T sg, T b, T be) {
  QOR_BY_TYPE(_guxdRngLognormal(m, s, n, r, a, sg, b, be), _guxsRngLognormal(m, s, n, r, a, sg, b, be))
}
template <class T> int Beta(int m, GuxStream *s, int n, T *r, T p, T q, T a, T b) {
  QOR_BY_TYPE(_guxdRngBeta(m, s, n, r, p, q, a, b), _guxsRngBeta(m, s, n, r, p, q, a, b))
}
template <class T> int ChiSquare(int m, GuxStream *s, int n, T *r, int v) {
  QOR_BY_TYPE(_guxdRngChiSquare(m, s, n, r, v), _guxsRngChiSquare(m, s, n, r, v))
}
template <class T> int GaussianMV(int m, GuxStream *s, int n, T *r, int d, int st, const T *a, const T *t) {
  QOR_BY_TYPE(_guxdRngGaussianMV(m, s, n, r, d, st, a, t), _guxsRngGaussianMV(m, s, n, r, d, st, a, t))
}
#undef QOR_TWO_PARAM
#undef QOR_BY_TYPE
// The next uniform on [a, b) of the entry's type.
template <class T> T next(GuxStream *s, T a = 0, T b = 1) { T x; EXPECT_GE(Uniform<T>(0, s, 1, &x, a, b), 0); return x; }

// Any entry as (stream, n, out as double).
using Draw = std::function<int(GuxStream *, int, double *)>;
template <class T, class F> Draw typed(F f) {
  return [f](GuxStream *s, int n, double *out) {
    std::vector<T> r(n + 1);
    const int st = f(s, n, r.data());
    std::copy(r.begin(), r.begin() + n, out);
    return st;
  };
}

// ---- a scripted generator: the raw values it hands out in turn (output
// raw * (b - a) + a) and the status it returns. Its registry row lives as long
// as the object, so that tests of the registry's row count see the table as built.
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
struct Scripted {
  int id = 0;
  GuxStream *s = nullptr;
  explicit Scripted(std::vector<double> values, int status = 0) {
    BrngProperties p{64, 1, 1, 4, 32, [](int, GuxStream *, int, const void *) { return 0; }, script_s, script_d, script_i};
    id = __guxRegisterBrng(&p);
    g_script.raw = values, g_script.pos = 0, g_script.status = status;
    EXPECT_EQ(__guxNewStreamEx(&s, id, 1, nullptr), 0);
  }
  ~Scripted() {
    __guxDeleteStream(&s);
    const int row = (id >> 20) - 1;
    if (row >= 0 && RegBrngCount == row + 1) __RegBrngsNew[row] = BrngProperties{}, BrngSubCounts[row] = 0, RegBrngCount = row;
  }
};

}  // namespace dist_test

#endif
