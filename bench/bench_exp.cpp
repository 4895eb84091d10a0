// Exponential kernels against glibc libm, libmvec (SSE4) and SLEEF (SSE2,
// SSE4), each tier against the peers of its accuracy class; then the cost
// figures of our kernels, ns per element at n = 1000 on the scale on which
// sExp LA costs 5.636. Arguments, if any, name the functions to run
// (e.g. `bench_exp dExp2 dExp10`); the cost figures then follow for those only.
// `--paired` prints ratios timed in alternation instead (no cost figures).
#include <sleef.h>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

extern "C" {
__m128 _ZGVbN4v_expf(__m128);
__m128 _ZGVbN4v_exp2f(__m128);
__m128 _ZGVbN4v_exp10f(__m128);
__m128 _ZGVbN4v_expm1f(__m128);
__m128d _ZGVbN2v_exp(__m128d);
__m128d _ZGVbN2v_exp2(__m128d);
__m128d _ZGVbN2v_exp10(__m128d);
__m128d _ZGVbN2v_expm1(__m128d);
}

using namespace qor::bench;

int main(int argc, char **argv) {
  parse_args(argc, argv);
  const Ours<float> fs[] = {{"sExp", -87.0, 88.0, _bexsExp_21, _bexsExp, _bexsExp_11},
                            {"sExp2", -126.0, 126.0, _bexsExp2_21, _bexsExp2, _bexsExp2_11},
                            {"sExp10", -37.9, 37.9, _bexsExp10_21, _bexsExp10, _bexsExp10_11},
                            {"sExpm1", -86.0, 86.0, _bexsExpm1_21, _bexsExpm1, _bexsExpm1_11}};
  const Ours<double> ds[] = {{"dExp", -708.0, 708.0, _bexdExp_50, _bexdExp, _bexdExp_26},
                             {"dExp2", -1022.0, 1022.0, _bexdExp2_50, _bexdExp2, _bexdExp2_26},
                             {"dExp10", -307.0, 307.0, _bexdExp10_50, _bexdExp10, _bexdExp10_26},
                             {"dExpm1", -707.0, 707.0, _bexdExpm1_50, _bexdExpm1, _bexdExpm1_26}};

  // Peers and the tiers whose bound they meet: libm and SLEEF u10 are within
  // 1 ulp, libmvec and SLEEF u35 within 4 ulp.
  if (wanted("sExp")) table<float>("sExp", fs[0].lo, fs[0].hi, tiers(fs[0]),
                 {{"glibc expf", kAll, scalar_loop<float>(expf)},
                  {"libmvec _ZGVbN4v_expf", kLow, over_m128(_ZGVbN4v_expf)},
                  {"SLEEF expf4_u10sse2", kAll, over_m128(Sleef_expf4_u10sse2)},
                  {"SLEEF expf4_u10sse4", kAll, over_m128(Sleef_expf4_u10sse4)}});
  if (wanted("sExp2")) table<float>("sExp2", fs[1].lo, fs[1].hi, tiers(fs[1]),
                 {{"glibc exp2f", kAll, scalar_loop<float>(exp2f)},
                  {"libmvec _ZGVbN4v_exp2f", kLow, over_m128(_ZGVbN4v_exp2f)},
                  {"SLEEF exp2f4_u10sse2", kAll, over_m128(Sleef_exp2f4_u10sse2)},
                  {"SLEEF exp2f4_u10sse4", kAll, over_m128(Sleef_exp2f4_u10sse4)},
                  {"SLEEF exp2f4_u35sse2", kLow, over_m128(Sleef_exp2f4_u35sse2)},
                  {"SLEEF exp2f4_u35sse4", kLow, over_m128(Sleef_exp2f4_u35sse4)}});
  if (wanted("sExp10")) table<float>("sExp10", fs[2].lo, fs[2].hi, tiers(fs[2]),
                 {{"glibc exp10f", kAll, scalar_loop<float>(exp10f)},
                  {"libmvec _ZGVbN4v_exp10f", kLow, over_m128(_ZGVbN4v_exp10f)},
                  {"SLEEF exp10f4_u10sse2", kAll, over_m128(Sleef_exp10f4_u10sse2)},
                  {"SLEEF exp10f4_u10sse4", kAll, over_m128(Sleef_exp10f4_u10sse4)},
                  {"SLEEF exp10f4_u35sse2", kLow, over_m128(Sleef_exp10f4_u35sse2)},
                  {"SLEEF exp10f4_u35sse4", kLow, over_m128(Sleef_exp10f4_u35sse4)}});
  if (wanted("sExpm1")) table<float>("sExpm1", fs[3].lo, fs[3].hi, tiers(fs[3]),
                 {{"glibc expm1f", kAll, scalar_loop<float>(expm1f)},
                  {"libmvec _ZGVbN4v_expm1f", kLow, over_m128(_ZGVbN4v_expm1f)},
                  {"SLEEF expm1f4_u10sse2", kAll, over_m128(Sleef_expm1f4_u10sse2)},
                  {"SLEEF expm1f4_u10sse4", kAll, over_m128(Sleef_expm1f4_u10sse4)}});
  if (wanted("dExp")) table<double>("dExp", ds[0].lo, ds[0].hi, tiers(ds[0]),
                  {{"glibc exp", kAll, scalar_loop<double>(exp)},
                   {"libmvec _ZGVbN2v_exp", kLow, over_m128d(_ZGVbN2v_exp)},
                   {"SLEEF expd2_u10sse2", kAll, over_m128d(Sleef_expd2_u10sse2)},
                   {"SLEEF expd2_u10sse4", kAll, over_m128d(Sleef_expd2_u10sse4)}});
  if (wanted("dExp2")) table<double>("dExp2", ds[1].lo, ds[1].hi, tiers(ds[1]),
                  {{"glibc exp2", kAll, scalar_loop<double>(exp2)},
                   {"libmvec _ZGVbN2v_exp2", kLow, over_m128d(_ZGVbN2v_exp2)},
                   {"SLEEF exp2d2_u10sse2", kAll, over_m128d(Sleef_exp2d2_u10sse2)},
                   {"SLEEF exp2d2_u10sse4", kAll, over_m128d(Sleef_exp2d2_u10sse4)},
                   {"SLEEF exp2d2_u35sse2", kLow, over_m128d(Sleef_exp2d2_u35sse2)},
                   {"SLEEF exp2d2_u35sse4", kLow, over_m128d(Sleef_exp2d2_u35sse4)}});
  if (wanted("dExp10")) table<double>("dExp10", ds[2].lo, ds[2].hi, tiers(ds[2]),
                  {{"glibc exp10", kAll, scalar_loop<double>(exp10)},
                   {"libmvec _ZGVbN2v_exp10", kLow, over_m128d(_ZGVbN2v_exp10)},
                   {"SLEEF exp10d2_u10sse2", kAll, over_m128d(Sleef_exp10d2_u10sse2)},
                   {"SLEEF exp10d2_u10sse4", kAll, over_m128d(Sleef_exp10d2_u10sse4)},
                   {"SLEEF exp10d2_u35sse2", kLow, over_m128d(Sleef_exp10d2_u35sse2)},
                   {"SLEEF exp10d2_u35sse4", kLow, over_m128d(Sleef_exp10d2_u35sse4)}});
  if (wanted("dExpm1")) table<double>("dExpm1", ds[3].lo, ds[3].hi, tiers(ds[3]),
                  {{"glibc expm1", kAll, scalar_loop<double>(expm1)},
                   {"libmvec _ZGVbN2v_expm1", kLow, over_m128d(_ZGVbN2v_expm1)},
                   {"SLEEF expm1d2_u10sse2", kAll, over_m128d(Sleef_expm1d2_u10sse2)},
                   {"SLEEF expm1d2_u10sse4", kAll, over_m128d(Sleef_expm1d2_u10sse4)}});

  if (g_paired) return 0;

  print_costs(fs, ds, _bexsExp_21);
  return 0;
}
