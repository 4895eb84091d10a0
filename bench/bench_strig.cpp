// Single-precision circular kernels against glibc libm, libmvec (SSE4) and
// SLEEF (SSE2, SSE4), each tier against the peers of its accuracy class, on
// |x| < 10^4 and on 10^4 .. 3e38; composites (sinf(pi x), sinf(x pi/180)) where
// no peer has the function. Then the cost figures, ns per element at n = 1000
// on |x| < 10^4, on the scale on which sExp LA costs 5.636.
// Arguments name the functions to run (e.g. `bench_strig sSin sCIS`);
// `--paired` prints ratios timed in alternation instead (no cost figures).
#include <sleef.h>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

extern "C" {
__m128 _ZGVbN4v_sinf(__m128);
__m128 _ZGVbN4v_cosf(__m128);
__m128 _ZGVbN4v_tanf(__m128);
}

using namespace qor::bench;
using F = std::function<void(int, const float *, float *)>;

namespace {

constexpr float kPi = 3.14159265f, kDeg = 0.0174532925f;

// A peer composed of a four-lane function after a scaling of the argument.
template <class G> F scaled4(G g, float s) {
  return over_m128([g, s](__m128 x) { return g(_mm_mul_ps(x, _mm_set1_ps(s))); });
}
template <class G> F scaled1(G g, float s) {
  return [g, s](int n, const float *a, float *r) {
    for (int i = 0; i < n; ++i) r[i] = g(a[i] * s);
  };
}
// Two-result forms timed with both results written (SinCos and CIS).
F sincos_loop() {
  return [](int n, const float *a, float *r) {
    static float c[100000];
    for (int i = 0; i < n; ++i) sincosf(a[i], r + i, c + i);
  };
}
template <class G> F sincos4(G g) {
  return [g](int n, const float *a, float *r) {
    static float c[100000];
    int i = 0;
    for (; i + 4 <= n; i += 4) {
      Sleef___m128_2 v = g(_mm_loadu_ps(a + i));
      _mm_storeu_ps(r + i, v.x);
      _mm_storeu_ps(c + i, v.y);
    }
    for (; i < n; ++i) sincosf(a[i], r + i, c + i);
  };
}

using Two = void (*)(int, const float *, float *, float *);
using Cis = void (*)(int, const float *, float *);
std::vector<Contender<float>> two_tiers(const char *entry) {
  const std::string base = std::string("_bex") + entry;
  std::vector<Contender<float>> v;
  const char *suffix[3] = {"_21", "", "_11"};
  const int cls[3] = {kLA, kHA, kEP};
  const char *tier[3] = {" LA", " HA", " EP"};
  for (int t = 0; t < 3; ++t) {
    void *p = dlsym(RTLD_DEFAULT, (base + suffix[t]).c_str());
    if (!p) return {};
    if (entry[0] == 'c')
      v.push_back({std::string("qor ") + entry + tier[t], cls[t], [p](int n, const float *a, float *r) {
                     static float c[200000];
                     ((Cis)p)(n, a, c);
                     (void)r;
                   }});
    else
      v.push_back({std::string("qor ") + entry + tier[t], cls[t], [p](int n, const float *a, float *r) {
                     static float c[100000];
                     ((Two)p)(n, a, r, c);
                   }});
  }
  return v;
}

struct Set {
  const char *name;
  double lo, hi;
};
constexpr Set kSmall = {"|x| < 1e4", -1e4, 1e4}, kHuge = {"1e4 .. 3e38", 1e4, 3e38};

void one(const char *entry, const Set &s, const std::vector<Contender<float>> &peers) {
  if (!wanted(entry)) return;
  const Ours<float> o = ours_by_name<float>(entry, s.lo, s.hi);
  if (!o.la) return (void)printf("\n%s: not built\n", entry);
  table<float>(std::string(entry) + ", " + s.name, s.lo, s.hi, tiers(o), peers);
}
void two(const char *entry, const Set &s, const std::vector<Contender<float>> &peers) {
  if (!wanted(entry)) return;
  const auto ours = two_tiers(entry);
  if (ours.empty()) return (void)printf("\n%s: not built\n", entry);
  table<float>(std::string(entry) + ", " + s.name, s.lo, s.hi, ours, peers);
}

}  // namespace

int main(int argc, char **argv) {
  parse_args(argc, argv);
  for (const Set &s : {kSmall, kHuge}) {
    one("sSin", s, {{"glibc sinf", kAll, scalar_loop<float>(sinf)},
                    {"libmvec _ZGVbN4v_sinf", kLow, over_m128(_ZGVbN4v_sinf)},
                    {"SLEEF sinf4_u10sse2", kAll, over_m128(Sleef_sinf4_u10sse2)},
                    {"SLEEF sinf4_u10sse4", kAll, over_m128(Sleef_sinf4_u10sse4)},
                    {"SLEEF sinf4_u35sse2", kLow, over_m128(Sleef_sinf4_u35sse2)},
                    {"SLEEF sinf4_u35sse4", kLow, over_m128(Sleef_sinf4_u35sse4)}});
    one("sCos", s, {{"glibc cosf", kAll, scalar_loop<float>(cosf)},
                    {"libmvec _ZGVbN4v_cosf", kLow, over_m128(_ZGVbN4v_cosf)},
                    {"SLEEF cosf4_u10sse2", kAll, over_m128(Sleef_cosf4_u10sse2)},
                    {"SLEEF cosf4_u10sse4", kAll, over_m128(Sleef_cosf4_u10sse4)},
                    {"SLEEF cosf4_u35sse2", kLow, over_m128(Sleef_cosf4_u35sse2)},
                    {"SLEEF cosf4_u35sse4", kLow, over_m128(Sleef_cosf4_u35sse4)}});
    one("sTan", s, {{"glibc tanf", kAll, scalar_loop<float>(tanf)},
                    {"libmvec _ZGVbN4v_tanf", kLow, over_m128(_ZGVbN4v_tanf)},
                    {"SLEEF tanf4_u10sse2", kAll, over_m128(Sleef_tanf4_u10sse2)},
                    {"SLEEF tanf4_u10sse4", kAll, over_m128(Sleef_tanf4_u10sse4)},
                    {"SLEEF tanf4_u35sse2", kLow, over_m128(Sleef_tanf4_u35sse2)},
                    {"SLEEF tanf4_u35sse4", kLow, over_m128(Sleef_tanf4_u35sse4)}});
    const std::vector<Contender<float>> sincos_peers = {
        {"glibc sincosf", kAll, sincos_loop()},
        {"SLEEF sincosf4_u10sse2", kAll, sincos4(Sleef_sincosf4_u10sse2)},
        {"SLEEF sincosf4_u10sse4", kAll, sincos4(Sleef_sincosf4_u10sse4)},
        {"SLEEF sincosf4_u35sse2", kLow, sincos4(Sleef_sincosf4_u35sse2)},
        {"SLEEF sincosf4_u35sse4", kLow, sincos4(Sleef_sincosf4_u35sse4)}};
    two("sSinCos", s, sincos_peers);
    two("cCIS", s, sincos_peers);
    one("sSinpi", s, {{"glibc sinf(pi x)", kAll, scaled1(sinf, kPi)},
                      {"libmvec sinf(pi x)", kLow, scaled4(_ZGVbN4v_sinf, kPi)},
                      {"SLEEF sinpif4_u05sse2", kAll, over_m128(Sleef_sinpif4_u05sse2)},
                      {"SLEEF sinpif4_u05sse4", kAll, over_m128(Sleef_sinpif4_u05sse4)}});
    one("sCospi", s, {{"glibc cosf(pi x)", kAll, scaled1(cosf, kPi)},
                      {"libmvec cosf(pi x)", kLow, scaled4(_ZGVbN4v_cosf, kPi)},
                      {"SLEEF cospif4_u05sse2", kAll, over_m128(Sleef_cospif4_u05sse2)},
                      {"SLEEF cospif4_u05sse4", kAll, over_m128(Sleef_cospif4_u05sse4)}});
    one("sTanpi", s, {{"glibc tanf(pi x)", kAll, scaled1(tanf, kPi)},
                      {"libmvec tanf(pi x)", kLow, scaled4(_ZGVbN4v_tanf, kPi)},
                      {"SLEEF tanf4_u10sse4(pi x)", kAll, scaled4(Sleef_tanf4_u10sse4, kPi)},
                      {"SLEEF tanf4_u35sse4(pi x)", kLow, scaled4(Sleef_tanf4_u35sse4, kPi)}});
    one("sSind", s, {{"glibc sinf(x pi/180)", kAll, scaled1(sinf, kDeg)},
                     {"libmvec sinf(x pi/180)", kLow, scaled4(_ZGVbN4v_sinf, kDeg)},
                     {"SLEEF sinf4_u10sse4(x pi/180)", kAll, scaled4(Sleef_sinf4_u10sse4, kDeg)},
                     {"SLEEF sinf4_u35sse4(x pi/180)", kLow, scaled4(Sleef_sinf4_u35sse4, kDeg)}});
    one("sCosd", s, {{"glibc cosf(x pi/180)", kAll, scaled1(cosf, kDeg)},
                     {"libmvec cosf(x pi/180)", kLow, scaled4(_ZGVbN4v_cosf, kDeg)},
                     {"SLEEF cosf4_u10sse4(x pi/180)", kAll, scaled4(Sleef_cosf4_u10sse4, kDeg)},
                     {"SLEEF cosf4_u35sse4(x pi/180)", kLow, scaled4(Sleef_cosf4_u35sse4, kDeg)}});
    one("sTand", s, {{"glibc tanf(x pi/180)", kAll, scaled1(tanf, kDeg)},
                     {"libmvec tanf(x pi/180)", kLow, scaled4(_ZGVbN4v_tanf, kDeg)},
                     {"SLEEF tanf4_u10sse4(x pi/180)", kAll, scaled4(Sleef_tanf4_u10sse4, kDeg)},
                     {"SLEEF tanf4_u35sse4(x pi/180)", kLow, scaled4(Sleef_tanf4_u35sse4, kDeg)}});
  }

  if (g_paired) return 0;
  const Ours<float> fs[] = {
      ours_by_name<float>("sSin", -1e4, 1e4),   ours_by_name<float>("sCos", -1e4, 1e4),
      ours_by_name<float>("sTan", -1e4, 1e4),   ours_by_name<float>("sSinpi", -1e4, 1e4),
      ours_by_name<float>("sCospi", -1e4, 1e4), ours_by_name<float>("sTanpi", -1e4, 1e4),
      ours_by_name<float>("sSind", -1e4, 1e4),  ours_by_name<float>("sCosd", -1e4, 1e4),
      ours_by_name<float>("sTand", -1e4, 1e4)};
  const double scale = cost_scale(_bexsExp_21);
  printf("\nCost figures (sExp LA = 5.636):\n");
  for (const auto &o : fs)
    if (wanted(o.entry) && o.la) cost_line(o, scale);
  for (const char *e : {"sSinCos", "cCIS"}) {
    const auto t = two_tiers(e);
    if (!wanted(e) || t.empty()) continue;
    const Contender<float> tier[3] = {t[0], t[1], t[2]};
    cost_line(e, tier, -1e4, 1e4, scale);
  }
  return 0;
}
