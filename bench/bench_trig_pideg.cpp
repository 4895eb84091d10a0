// Double half-turn and degree forms (Sinpi, Cospi, Tanpi, Sind, Cosd, Tand)
// against glibc libm, libmvec (SSE4) and SLEEF (SSE2, SSE4), each tier against
// the peers of its accuracy class, on |x| < 1e4 and on huge arguments
// (1e20 .. 1e300). SLEEF has sinpi and cospi (u05); every other peer is the
// composite of its radian function with the product by pi or pi/180. Then
// the cost figures on the scale on which sExp LA costs 5.636. Arguments name
// the functions to run (e.g. `bench_trig_pideg dSind`); `--paired` prints
// ratios timed in alternation instead (no cost figures).
#include <sleef.h>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

extern "C" {
__m128d _ZGVbN2v_sin(__m128d);
__m128d _ZGVbN2v_cos(__m128d);
__m128d _ZGVbN2v_tan(__m128d);
}

using namespace qor::bench;

namespace {

using Fn = std::function<void(int, const double *, double *)>;
using Vec = __m128d (*)(__m128d);

constexpr double kPi = 3.1415926535897931, kDegree = 0.017453292519943295;

// f(scale * x), by element or two at a time.
Fn scaled_loop(double (*f)(double), double scale) {
  return [f, scale](int n, const double *a, double *r) {
    for (int i = 0; i < n; ++i) r[i] = f(scale * a[i]);
  };
}
Fn scaled_vec(Vec f, double scale) {
  return over_m128d([f, scale](__m128d v) { return f(_mm_mul_pd(v, _mm_set1_pd(scale))); });
}

struct Radian {  // the radian function of each peer
  double (*libm)(double);
  Vec mvec, u10sse2, u10sse4, u35sse2, u35sse4;
};
// SLEEF declares its functions with attributes that a plain pointer drops.
#define QOR_VEC(f) [](__m128d v) { return f(v); }
const Radian kSin = {sin, _ZGVbN2v_sin, QOR_VEC(Sleef_sind2_u10sse2), QOR_VEC(Sleef_sind2_u10sse4),
                     QOR_VEC(Sleef_sind2_u35sse2), QOR_VEC(Sleef_sind2_u35sse4)};
const Radian kCos = {cos, _ZGVbN2v_cos, QOR_VEC(Sleef_cosd2_u10sse2), QOR_VEC(Sleef_cosd2_u10sse4),
                     QOR_VEC(Sleef_cosd2_u35sse2), QOR_VEC(Sleef_cosd2_u35sse4)};
const Radian kTan = {tan, _ZGVbN2v_tan, QOR_VEC(Sleef_tand2_u10sse2), QOR_VEC(Sleef_tand2_u10sse4),
                     QOR_VEC(Sleef_tand2_u35sse2), QOR_VEC(Sleef_tand2_u35sse4)};

struct Range {
  const char *label;
  double lo, hi;
};
const Range kRanges[] = {{"", -1e4, 1e4}, {" huge", 1e20, 1e300}};

void unary(const Ours<double> &o, const Radian &f, double scale, std::vector<Contender<double>> extra = {}) {
  if (!wanted(o.entry)) return;
  if (!o.la) return (void)printf("\n%s: not built\n", o.entry);
  std::vector<Contender<double>> peers = {
      {"glibc (composite)", kAll, scaled_loop(f.libm, scale)},
      {"libmvec SSE4 (composite)", kLow, scaled_vec(f.mvec, scale)},
      {"SLEEF u10sse2 (composite)", kAll, scaled_vec(f.u10sse2, scale)},
      {"SLEEF u10sse4 (composite)", kAll, scaled_vec(f.u10sse4, scale)},
      {"SLEEF u35sse2 (composite)", kLow, scaled_vec(f.u35sse2, scale)},
      {"SLEEF u35sse4 (composite)", kLow, scaled_vec(f.u35sse4, scale)}};
  peers.insert(peers.end(), extra.begin(), extra.end());
  for (const Range &g : kRanges) table<double>(std::string(o.entry) + g.label, g.lo, g.hi, tiers(o), peers);
}

}  // namespace

int main(int argc, char **argv) {
  parse_args(argc, argv);
  const Ours<double> ds[] = {ours_by_name<double>("dSinpi", -1e4, 1e4), ours_by_name<double>("dCospi", -1e4, 1e4),
                             ours_by_name<double>("dTanpi", -1e4, 1e4), ours_by_name<double>("dSind", -1e4, 1e4),
                             ours_by_name<double>("dCosd", -1e4, 1e4),  ours_by_name<double>("dTand", -1e4, 1e4)};
  unary(ds[0], kSin, kPi,
        {{"SLEEF sinpid2_u05sse2", kAll, over_m128d(Sleef_sinpid2_u05sse2)},
         {"SLEEF sinpid2_u05sse4", kAll, over_m128d(Sleef_sinpid2_u05sse4)}});
  unary(ds[1], kCos, kPi,
        {{"SLEEF cospid2_u05sse2", kAll, over_m128d(Sleef_cospid2_u05sse2)},
         {"SLEEF cospid2_u05sse4", kAll, over_m128d(Sleef_cospid2_u05sse4)}});
  unary(ds[2], kTan, kPi);
  unary(ds[3], kSin, kDegree);
  unary(ds[4], kCos, kDegree);
  unary(ds[5], kTan, kDegree);

  if (!g_paired) {
    const double scale = cost_scale(_bexsExp_21);
    printf("\nCost figures (sExp LA = 5.636), |x| < 1e4:\n");
    for (const auto &o : ds)
      if (wanted(o.entry) && o.la) cost_line(o, scale);
  }
  return 0;
}
