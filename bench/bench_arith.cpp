// The exact kernels against their baselines. Memory-bound kernels (Add, Mul,
// Sqr, Abs, Pack/Unpack) at 10^6 elements against memcpy bandwidth and a plain
// compiled loop; the others at 1000 elements (in cache) against glibc loops.
// The last column of the second table is the cost figure relative to sAdd
// (0.920), the scale of the tables' CostTable.
#include <math.h>
#include <stdio.h>
#include <string.h>

#include <functional>
#include <random>
#include <vector>

#include "qor/qor_bex.h"
#include "vector_bench.h"

using qor::bench::now_ns;

namespace {

// Best of 5 runs of enough repetitions to take ~3 ms, in ns per element.
double time_ns(int n, const std::function<void()> &f) {
  int reps = 1;
  for (;;) {
    double t0 = now_ns();
    for (int k = 0; k < reps; ++k) f();
    if (now_ns() - t0 > 3e6 || reps > (1 << 20)) break;
    reps *= 2;
  }
  double best = 1e300;
  for (int t = 0; t < 5; ++t) {
    double t0 = now_ns();
    for (int k = 0; k < reps; ++k) f();
    best = std::min(best, (now_ns() - t0) / reps / n);
  }
  return best;
}

template <class T> std::vector<T> data(int n, double lo, double hi, int seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(lo, hi);
  std::vector<T> v(n);
  for (T &x : v) x = (T)u(rng);
  return v;
}

__attribute__((noinline)) void loop_add(int n, const float *a, const float *b, float *r) {
  for (int i = 0; i < n; ++i) r[i] = a[i] + b[i];
}
__attribute__((noinline)) void loop_addd(int n, const double *a, const double *b, double *r) {
  for (int i = 0; i < n; ++i) r[i] = a[i] + b[i];
}
__attribute__((noinline)) void loop_mul(int n, const float *a, const float *b, float *r) {
  for (int i = 0; i < n; ++i) r[i] = a[i] * b[i];
}
__attribute__((noinline)) void loop_muld(int n, const double *a, const double *b, double *r) {
  for (int i = 0; i < n; ++i) r[i] = a[i] * b[i];
}
__attribute__((noinline)) void loop_sqr(int n, const float *a, float *r) {
  for (int i = 0; i < n; ++i) r[i] = a[i] * a[i];
}
__attribute__((noinline)) void loop_sqrd(int n, const double *a, double *r) {
  for (int i = 0; i < n; ++i) r[i] = a[i] * a[i];
}
__attribute__((noinline)) void loop_abs(int n, const float *a, float *r) {
  for (int i = 0; i < n; ++i) r[i] = fabsf(a[i]);
}
__attribute__((noinline)) void loop_packi(int n, const float *a, int inc, float *y) {
  for (int i = 0; i < n; ++i) y[i] = a[(long)i * inc];
}
__attribute__((noinline)) void loop_packv(int n, const float *a, const int *ix, float *y) {
  for (int i = 0; i < n; ++i) y[i] = a[ix[i]];
}

// Memory-bound table: bytes moved per element, achieved GB/s, and ratios.
void memory_bound() {
  const int n = 1000000;
  auto a = data<float>(2 * n, -10, 10, 1), b = data<float>(n, -10, 10, 2), r = std::vector<float>(2 * n);
  auto ad = data<double>(n, -10, 10, 3), bd = data<double>(n, -10, 10, 4), rd = std::vector<double>(n);
  std::vector<int> ix(n);
  for (int i = 0; i < n; ++i) ix[i] = (int)(((long)i * 7919) % n);
  // memcpy of one array of n elements, bytes moved = read + write, for
  // float and for double arrays (their footprints differ).
  const double copy_s = 8.0 / time_ns(n, [&] { memcpy(r.data(), a.data(), 4.0 * n); });
  const double copy_d = 16.0 / time_ns(n, [&] { memcpy(rd.data(), ad.data(), 8.0 * n); });
  printf("memory-bound kernels, n = 10^6; memcpy baseline %.2f GB/s (float arrays), %.2f GB/s (double)\n",
         copy_s, copy_d);
  printf("%-10s %8s %8s %9s %11s %10s\n", "kernel", "B/elem", "ns/elem", "GB/s", "vs memcpy", "vs loop");
  struct Row {
    const char *name;
    double bytes;
    std::function<void()> ours, loop;
    bool wide = false;
  };
  std::vector<Row> rows = {
      {"sAdd", 12, [&] { _bexsAdd(n, a.data(), b.data(), r.data()); }, [&] { loop_add(n, a.data(), b.data(), r.data()); }},
      {"dAdd", 24, [&] { _bexdAdd(n, ad.data(), bd.data(), rd.data()); }, [&] { loop_addd(n, ad.data(), bd.data(), rd.data()); }, true},
      {"sMul", 12, [&] { _bexsMul(n, a.data(), b.data(), r.data()); }, [&] { loop_mul(n, a.data(), b.data(), r.data()); }},
      {"dMul", 24, [&] { _bexdMul(n, ad.data(), bd.data(), rd.data()); }, [&] { loop_muld(n, ad.data(), bd.data(), rd.data()); }, true},
      {"sSqr", 8, [&] { _bexsSqr(n, a.data(), r.data()); }, [&] { loop_sqr(n, a.data(), r.data()); }},
      {"dSqr", 16, [&] { _bexdSqr(n, ad.data(), rd.data()); }, [&] { loop_sqrd(n, ad.data(), rd.data()); }, true},
      {"sAbs", 8, [&] { _bexsAbs(n, a.data(), r.data()); }, [&] { loop_abs(n, a.data(), r.data()); }},
      {"sPackI/2", 12, [&] { _bexsPackI(n, a.data(), 2, r.data()); }, [&] { loop_packi(n, a.data(), 2, r.data()); }},
      {"sPackV", 12, [&] { _bexsPackV(n, a.data(), ix.data(), r.data()); }, [&] { loop_packv(n, a.data(), ix.data(), r.data()); }},
  };
  for (auto &row : rows) {
    const double t = time_ns(n, row.ours), tl = time_ns(n, row.loop);
    const double gbs = row.bytes / t;
    printf("%-10s %8.0f %8.3f %9.2f %10.2fx %9.2fx\n", row.name, row.bytes, t, gbs, gbs / (row.wide ? copy_d : copy_s),
           tl / t);
  }
}

using F1 = void (*)(int, const float *, float *);
using F2 = void (*)(int, const float *, const float *, float *);
using D1 = void (*)(int, const double *, double *);
using D2 = void (*)(int, const double *, const double *, double *);

void against_glibc() {
  const int n = 1000;
  auto a = data<float>(n, -1000, 1000, 5), b = data<float>(n, 0.5, 30, 6), r = std::vector<float>(n);
  auto ad = data<double>(n, -1000, 1000, 7), bd = data<double>(n, 0.5, 30, 8), rd = std::vector<double>(n);
  const double t_add = time_ns(n, [&] { _bexsAdd(n, a.data(), b.data(), r.data()); });
  printf("\nin-cache kernels, n = 1000, against glibc element loops (ratio > 1: we are faster)\n");
  printf("%-12s %9s %9s %8s %8s\n", "kernel", "ours ns", "glibc ns", "ratio", "cost");
  auto row = [&](const char *name, const std::function<void()> &ours, const std::function<void()> &peer) {
    const double t = time_ns(n, ours), tp = time_ns(n, peer);
    printf("%-12s %9.3f %9.3f %7.2fx %8.3f\n", name, t, tp, tp / t, 0.920 * t / t_add);
  };
  auto s1 = [&](const char *name, F1 f, float (*g)(float)) {
    row(name, [&] { f(n, a.data(), r.data()); }, [&] { for (int i = 0; i < n; ++i) r[i] = g(a[i]); });
  };
  auto d1 = [&](const char *name, D1 f, double (*g)(double)) {
    row(name, [&] { f(n, ad.data(), rd.data()); }, [&] { for (int i = 0; i < n; ++i) rd[i] = g(ad[i]); });
  };
  auto s2 = [&](const char *name, F2 f, float (*g)(float, float)) {
    row(name, [&] { f(n, a.data(), b.data(), r.data()); },
        [&] { for (int i = 0; i < n; ++i) r[i] = g(a[i], b[i]); });
  };
  auto d2 = [&](const char *name, D2 f, double (*g)(double, double)) {
    row(name, [&] { f(n, ad.data(), bd.data(), rd.data()); },
        [&] { for (int i = 0; i < n; ++i) rd[i] = g(ad[i], bd[i]); });
  };
  s1("sCeil", _bexsCeil, ceilf), d1("dCeil", _bexdCeil, ceil);
  s1("sFloor", _bexsFloor, floorf), d1("dFloor", _bexdFloor, floor);
  s1("sTrunc", _bexsTrunc, truncf), d1("dTrunc", _bexdTrunc, trunc);
  s1("sRound", _bexsRound, roundf), d1("dRound", _bexdRound, round);
  s1("sRint", _bexsRint, rintf), d1("dRint", _bexdRint, rint);
  s1("sNearbyInt", _bexsNearbyInt, nearbyintf), d1("dNearbyInt", _bexdNearbyInt, nearbyint);
  s1("sAbs", _bexsAbs, fabsf), d1("dAbs", _bexdAbs, fabs);
  s1("sSqr", _bexsSqr, [](float x) { return x * x; }), d1("dSqr", _bexdSqr, [](double x) { return x * x; });
  s1("sFrac", _bexsFrac, [](float x) { return x - truncf(x); });
  d1("dFrac", _bexdFrac, [](double x) { return x - trunc(x); });
  std::vector<float> r2(n);
  row("sModf", [&] { _bexsModf(n, a.data(), r.data(), r2.data()); },
      [&] { for (int i = 0; i < n; ++i) r2[i] = modff(a[i], &r[i]); });
  row("dModf", [&] { _bexdModf(n, ad.data(), rd.data(), bd.data()); },
      [&] { for (int i = 0; i < n; ++i) bd[i] = modf(ad[i], &rd[i]); });
  bd = data<double>(n, 0.5, 30, 8);
  s2("sAdd", _bexsAdd, [](float x, float y) { return x + y; }), d2("dAdd", _bexdAdd, [](double x, double y) { return x + y; });
  s2("sSub", _bexsSub, [](float x, float y) { return x - y; }), d2("dSub", _bexdSub, [](double x, double y) { return x - y; });
  s2("sMul", _bexsMul, [](float x, float y) { return x * y; }), d2("dMul", _bexdMul, [](double x, double y) { return x * y; });
  s2("sCopySign", _bexsCopySign, copysignf), d2("dCopySign", _bexdCopySign, copysign);
  s2("sFmax", _bexsFmax, fmaxf), d2("dFmax", _bexdFmax, fmax);
  s2("sFmin", _bexsFmin, fminf), d2("dFmin", _bexdFmin, fmin);
  s2("sMaxMag", _bexsMaxMag, [](float x, float y) { return fabsf(x) > fabsf(y) ? x : fabsf(x) < fabsf(y) ? y : fmaxf(x, y); });
  d2("dMaxMag", _bexdMaxMag, [](double x, double y) { return fabs(x) > fabs(y) ? x : fabs(x) < fabs(y) ? y : fmax(x, y); });
  s2("sMinMag", _bexsMinMag, [](float x, float y) { return fabsf(x) < fabsf(y) ? x : fabsf(x) > fabsf(y) ? y : fminf(x, y); });
  d2("dMinMag", _bexdMinMag, [](double x, double y) { return fabs(x) < fabs(y) ? x : fabs(x) > fabs(y) ? y : fmin(x, y); });
  s2("sFdim", _bexsFdim, fdimf), d2("dFdim", _bexdFdim, fdim);
  s2("sNextAfter", _bexsNextAfter, nextafterf), d2("dNextAfter", _bexdNextAfter, nextafter);
  s2("sFmod", _bexsFmod, fmodf), d2("dFmod", _bexdFmod, fmod);
  s2("sRemainder", _bexsRemainder, remainderf), d2("dRemainder", _bexdRemainder, remainder);
  row("sLinearFrac", [&] { _bexsLinearFrac(n, a.data(), b.data(), 1.5f, 2.0f, 0.5f, 3.0f, r.data()); },
      [&] { for (int i = 0; i < n; ++i) r[i] = (1.5f * a[i] + 2.0f) / (0.5f * b[i] + 3.0f); });
  row("dLinearFrac", [&] { _bexdLinearFrac(n, ad.data(), bd.data(), 1.5, 2.0, 0.5, 3.0, rd.data()); },
      [&] { for (int i = 0; i < n; ++i) rd[i] = (1.5 * ad[i] + 2.0) / (0.5 * bd[i] + 3.0); });
  // Complex Add/Sub, n complex elements: LA/HA (checked) and EP (plain).
  auto ca = data<float>(2 * n, -10, 10, 9), cb = data<float>(2 * n, -10, 10, 10), cr = std::vector<float>(2 * n);
  auto za = data<double>(2 * n, -10, 10, 11), zb = data<double>(2 * n, -10, 10, 12), zr = std::vector<double>(2 * n);
  auto C = [](std::vector<float> &v) { return (QorComplex8 *)v.data(); };
  auto Z = [](std::vector<double> &v) { return (QorComplex16 *)v.data(); };
  auto cloop = [&] { for (int i = 0; i < 2 * n; ++i) cr[i] = ca[i] + cb[i]; };
  auto zloop = [&] { for (int i = 0; i < 2 * n; ++i) zr[i] = za[i] + zb[i]; };
  row("cAdd HA", [&] { _bexcAdd(n, C(ca), C(cb), C(cr)); }, cloop);
  row("cAdd EP", [&] { _bexcAdd_11(n, C(ca), C(cb), C(cr)); }, cloop);
  row("cSub HA", [&] { _bexcSub(n, C(ca), C(cb), C(cr)); }, cloop);
  row("cSub EP", [&] { _bexcSub_11(n, C(ca), C(cb), C(cr)); }, cloop);
  row("zAdd HA", [&] { _bexzAdd(n, Z(za), Z(zb), Z(zr)); }, zloop);
  row("zAdd EP", [&] { _bexzAdd_26(n, Z(za), Z(zb), Z(zr)); }, zloop);
  row("zSub HA", [&] { _bexzSub(n, Z(za), Z(zb), Z(zr)); }, zloop);
  row("zSub EP", [&] { _bexzSub_26(n, Z(za), Z(zb), Z(zr)); }, zloop);
  row("cConj", [&] { _bexcConj(n, C(ca), C(cr)); }, [&] { for (int i = 0; i < 2 * n; i += 2) cr[i] = ca[i], cr[i + 1] = -ca[i + 1]; });
  row("zConj", [&] { _bexzConj(n, Z(za), Z(zr)); }, [&] { for (int i = 0; i < 2 * n; i += 2) zr[i] = za[i], zr[i + 1] = -za[i + 1]; });
}

}  // namespace

int main() {
  memory_bound();
  against_glibc();
  return 0;
}
