// Double sine, cosine, tangent, SinCos and CIS against glibc libm, libmvec
// (SSE4) and SLEEF (SSE2, SSE4), each tier against the peers of its accuracy
// class, on |x| < 1e4 and on huge arguments (1e20 .. 1e300); then the cost
// figures on the scale on which sExp LA costs 5.636. Arguments name the
// functions to run (e.g. `bench_trig dSin dSinCos`); `--paired` prints
// ratios timed in alternation instead (no cost figures).
#include <sleef.h>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

extern "C" {
__m128d _ZGVbN2v_sin(__m128d);
__m128d _ZGVbN2v_cos(__m128d);
__m128d _ZGVbN2v_tan(__m128d);
void _ZGVbN2vvv_sincos(__m128d, __m128i, __m128i);
}

using namespace qor::bench;

namespace {

using Fn = std::function<void(int, const double *, double *)>;
using TwoOut = void (*)(int, const double *, double *, double *);

// Second-result scratch for the two-result contenders: the first result goes
// to r, the second (cosine, or the interleaved pair for CIS) here.
std::vector<double> g_second(2 * 100000 + 8), g_pairs(2 * 100000 + 8);

Fn ours_two(const char *name) {
  auto k = (TwoOut)dlsym(RTLD_DEFAULT, name);
  if (!k) return nullptr;
  return [k](int n, const double *a, double *r) { k(n, a, r, g_second.data()); };
}
Fn ours_cis(const char *name) {
  using K = void (*)(int, const double *, double *);
  auto k = (K)dlsym(RTLD_DEFAULT, name);
  if (!k) return nullptr;
  return [k](int n, const double *a, double *) { k(n, a, g_pairs.data()); };
}

// Peers of SinCos: glibc sincos by element, libmvec through vectors of
// pointers, SLEEF returning both vectors; `cis` stores them interleaved.
Fn glibc_sincos(bool cis) {
  return [cis](int n, const double *a, double *r) {
    for (int i = 0; i < n; ++i)
      if (cis) sincos(a[i], &g_pairs[2 * i + 1], &g_pairs[2 * i]);
      else sincos(a[i], &r[i], &g_second[i]);
  };
}
Fn mvec_sincos(bool cis) {
  return [cis](int n, const double *a, double *r) {
    for (int i = 0; i + 2 <= n; i += 2) {
      double *s0 = cis ? &g_pairs[2 * i + 1] : &r[i], *s1 = cis ? &g_pairs[2 * i + 3] : &r[i + 1];
      double *c0 = cis ? &g_pairs[2 * i] : &g_second[i], *c1 = cis ? &g_pairs[2 * i + 2] : &g_second[i + 1];
      _ZGVbN2vvv_sincos(_mm_loadu_pd(a + i), _mm_set_epi64x((long long)s1, (long long)s0),
                        _mm_set_epi64x((long long)c1, (long long)c0));
    }
  };
}
template <class F> Fn sleef_sincos(F f, bool cis) {
  return [f, cis](int n, const double *a, double *r) {
    for (int i = 0; i + 2 <= n; i += 2) {
      const Sleef___m128d_2 v = f(_mm_loadu_pd(a + i));
      if (cis) {
        _mm_storeu_pd(&g_pairs[2 * i], _mm_unpacklo_pd(v.y, v.x));
        _mm_storeu_pd(&g_pairs[2 * i + 2], _mm_unpackhi_pd(v.y, v.x));
      } else {
        _mm_storeu_pd(r + i, v.x);
        _mm_storeu_pd(&g_second[i], v.y);
      }
    }
  };
}

struct Range {
  const char *label;
  double lo, hi;
};
const Range kRanges[] = {{"", -1e4, 1e4}, {" huge", 1e20, 1e300}};

void unary(const Ours<double> &o, Fn libm, Fn mvec, Fn u10sse2, Fn u10sse4, Fn u35sse2, Fn u35sse4) {
  if (!wanted(o.entry)) return;
  if (!o.la) return (void)printf("\n%s: not built\n", o.entry);
  const std::vector<Contender<double>> peers = {
      {"glibc", kAll, libm}, {"libmvec SSE4", kLow, mvec}, {"SLEEF u10sse2", kAll, u10sse2},
      {"SLEEF u10sse4", kAll, u10sse4}, {"SLEEF u35sse2", kLow, u35sse2}, {"SLEEF u35sse4", kLow, u35sse4}};
  for (const Range &g : kRanges) table<double>(std::string(o.entry) + g.label, g.lo, g.hi, tiers(o), peers);
}

void two_results(const char *entry, bool cis) {
  if (!wanted(entry)) return;
  const std::string b = std::string("_bex") + entry;
  auto get = cis ? ours_cis : ours_two;
  const std::vector<Contender<double>> ours = {{std::string("qor ") + entry + " LA", kLA, get((b + "_50").c_str())},
                                               {std::string("qor ") + entry + " HA", kHA, get(b.c_str())},
                                               {std::string("qor ") + entry + " EP", kEP, get((b + "_26").c_str())}};
  if (!ours[0].run) return (void)printf("\n%s: not built\n", entry);
  const std::vector<Contender<double>> peers = {
      {"glibc sincos", kAll, glibc_sincos(cis)},
      {"libmvec SSE4", kLow, mvec_sincos(cis)},
      {"SLEEF u10sse2", kAll, sleef_sincos(Sleef_sincosd2_u10sse2, cis)},
      {"SLEEF u10sse4", kAll, sleef_sincos(Sleef_sincosd2_u10sse4, cis)},
      {"SLEEF u35sse2", kLow, sleef_sincos(Sleef_sincosd2_u35sse2, cis)},
      {"SLEEF u35sse4", kLow, sleef_sincos(Sleef_sincosd2_u35sse4, cis)}};
  for (const Range &g : kRanges) table<double>(std::string(entry) + g.label, g.lo, g.hi, ours, peers);
}

void cost_two(const char *entry, bool cis, double scale) {
  if (!wanted(entry)) return;
  const std::string b = std::string("_bex") + entry;
  auto get = cis ? ours_cis : ours_two;
  const Contender<double> tier[3] = {{"", 0, get((b + "_50").c_str())}, {"", 0, get(b.c_str())},
                                     {"", 0, get((b + "_26").c_str())}};
  if (tier[0].run) cost_line(entry, tier, -1e4, 1e4, scale);
}

}  // namespace

int main(int argc, char **argv) {
  parse_args(argc, argv);
  const Ours<double> ds[] = {ours_by_name<double>("dSin", -1e4, 1e4), ours_by_name<double>("dCos", -1e4, 1e4),
                             ours_by_name<double>("dTan", -1e4, 1e4)};
  unary(ds[0], scalar_loop<double>(sin), over_m128d(_ZGVbN2v_sin), over_m128d(Sleef_sind2_u10sse2),
        over_m128d(Sleef_sind2_u10sse4), over_m128d(Sleef_sind2_u35sse2), over_m128d(Sleef_sind2_u35sse4));
  unary(ds[1], scalar_loop<double>(cos), over_m128d(_ZGVbN2v_cos), over_m128d(Sleef_cosd2_u10sse2),
        over_m128d(Sleef_cosd2_u10sse4), over_m128d(Sleef_cosd2_u35sse2), over_m128d(Sleef_cosd2_u35sse4));
  unary(ds[2], scalar_loop<double>(tan), over_m128d(_ZGVbN2v_tan), over_m128d(Sleef_tand2_u10sse2),
        over_m128d(Sleef_tand2_u10sse4), over_m128d(Sleef_tand2_u35sse2), over_m128d(Sleef_tand2_u35sse4));
  two_results("dSinCos", false);
  two_results("zCIS", true);

  if (!g_paired) {
    const double scale = cost_scale(_bexsExp_21);
    printf("\nCost figures (sExp LA = 5.636), |x| < 1e4:\n");
    for (const auto &o : ds)
      if (wanted(o.entry) && o.la) cost_line(o, scale);
    cost_two("dSinCos", false, scale);
    cost_two("zCIS", true, scale);
  }
  return 0;
}
