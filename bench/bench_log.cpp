// Logarithm kernels against glibc libm, libmvec (SSE4) and SLEEF (SSE2, SSE4),
// each tier against the peers of its accuracy class; then the cost figures,
// ns per element at n = 1000 on the scale on which sExp LA costs 5.636.
// Arguments, if any, name the functions to run (e.g. `bench_log dLn sLog1p`);
// `--paired` prints ratios timed in alternation instead (no cost figures).
// Our entry points are looked up by name, so an entry not built yet is skipped.
#include <sleef.h>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

extern "C" {
__m128 _ZGVbN4v_logf(__m128);
__m128 _ZGVbN4v_log2f(__m128);
__m128 _ZGVbN4v_log10f(__m128);
__m128 _ZGVbN4v_log1pf(__m128);
__m128d _ZGVbN2v_log(__m128d);
__m128d _ZGVbN2v_log2(__m128d);
__m128d _ZGVbN2v_log10(__m128d);
__m128d _ZGVbN2v_log1p(__m128d);
}

using namespace qor::bench;

int main(int argc, char **argv) {
  parse_args(argc, argv);
  const Ours<float> fs[] = {ours_by_name<float>("sLn", 1e-3, 1e3), ours_by_name<float>("sLog2", 1e-3, 1e3),
                            ours_by_name<float>("sLog10", 1e-3, 1e3), ours_by_name<float>("sLog1p", -0.9, 1e3),
                            ours_by_name<float>("sLogb", 1e-3, 1e3)};
  const Ours<double> ds[] = {ours_by_name<double>("dLn", 1e-3, 1e3), ours_by_name<double>("dLog2", 1e-3, 1e3),
                             ours_by_name<double>("dLog10", 1e-3, 1e3), ours_by_name<double>("dLog1p", -0.9, 1e3),
                             ours_by_name<double>("dLogb", 1e-3, 1e3)};

  // Peers and the tiers whose bound they meet: libm and SLEEF u10 are within
  // 1 ulp, libmvec and SLEEF u35 within 4 ulp.
  run_entry<float>(fs[0], {{"glibc logf", kAll, scalar_loop<float>(logf)},
                     {"libmvec _ZGVbN4v_logf", kLow, over_m128(_ZGVbN4v_logf)},
                     {"SLEEF logf4_u10sse2", kAll, over_m128(Sleef_logf4_u10sse2)},
                     {"SLEEF logf4_u10sse4", kAll, over_m128(Sleef_logf4_u10sse4)},
                     {"SLEEF logf4_u35sse2", kLow, over_m128(Sleef_logf4_u35sse2)},
                     {"SLEEF logf4_u35sse4", kLow, over_m128(Sleef_logf4_u35sse4)}});
  run_entry<float>(fs[1], {{"glibc log2f", kAll, scalar_loop<float>(log2f)},
                     {"libmvec _ZGVbN4v_log2f", kLow, over_m128(_ZGVbN4v_log2f)},
                     {"SLEEF log2f4_u10sse2", kAll, over_m128(Sleef_log2f4_u10sse2)},
                     {"SLEEF log2f4_u10sse4", kAll, over_m128(Sleef_log2f4_u10sse4)},
                     {"SLEEF log2f4_u35sse2", kLow, over_m128(Sleef_log2f4_u35sse2)},
                     {"SLEEF log2f4_u35sse4", kLow, over_m128(Sleef_log2f4_u35sse4)}});
  run_entry<float>(fs[2], {{"glibc log10f", kAll, scalar_loop<float>(log10f)},
                     {"libmvec _ZGVbN4v_log10f", kLow, over_m128(_ZGVbN4v_log10f)},
                     {"SLEEF log10f4_u10sse2", kAll, over_m128(Sleef_log10f4_u10sse2)},
                     {"SLEEF log10f4_u10sse4", kAll, over_m128(Sleef_log10f4_u10sse4)}});
  run_entry<float>(fs[3], {{"glibc log1pf", kAll, scalar_loop<float>(log1pf)},
                     {"libmvec _ZGVbN4v_log1pf", kLow, over_m128(_ZGVbN4v_log1pf)},
                     {"SLEEF log1pf4_u10sse2", kAll, over_m128(Sleef_log1pf4_u10sse2)},
                     {"SLEEF log1pf4_u10sse4", kAll, over_m128(Sleef_log1pf4_u10sse4)}});
  run_entry<float>(fs[4], {{"glibc logbf", kAll, scalar_loop<float>(logbf)}});
  run_entry<double>(ds[0], {{"glibc log", kAll, scalar_loop<double>(log)},
                      {"libmvec _ZGVbN2v_log", kLow, over_m128d(_ZGVbN2v_log)},
                      {"SLEEF logd2_u10sse2", kAll, over_m128d(Sleef_logd2_u10sse2)},
                      {"SLEEF logd2_u10sse4", kAll, over_m128d(Sleef_logd2_u10sse4)},
                      {"SLEEF logd2_u35sse2", kLow, over_m128d(Sleef_logd2_u35sse2)},
                      {"SLEEF logd2_u35sse4", kLow, over_m128d(Sleef_logd2_u35sse4)}});
  run_entry<double>(ds[1], {{"glibc log2", kAll, scalar_loop<double>(log2)},
                      {"libmvec _ZGVbN2v_log2", kLow, over_m128d(_ZGVbN2v_log2)},
                      {"SLEEF log2d2_u10sse2", kAll, over_m128d(Sleef_log2d2_u10sse2)},
                      {"SLEEF log2d2_u10sse4", kAll, over_m128d(Sleef_log2d2_u10sse4)},
                      {"SLEEF log2d2_u35sse2", kLow, over_m128d(Sleef_log2d2_u35sse2)},
                      {"SLEEF log2d2_u35sse4", kLow, over_m128d(Sleef_log2d2_u35sse4)}});
  run_entry<double>(ds[2], {{"glibc log10", kAll, scalar_loop<double>(log10)},
                      {"libmvec _ZGVbN2v_log10", kLow, over_m128d(_ZGVbN2v_log10)},
                      {"SLEEF log10d2_u10sse2", kAll, over_m128d(Sleef_log10d2_u10sse2)},
                      {"SLEEF log10d2_u10sse4", kAll, over_m128d(Sleef_log10d2_u10sse4)}});
  run_entry<double>(ds[3], {{"glibc log1p", kAll, scalar_loop<double>(log1p)},
                      {"libmvec _ZGVbN2v_log1p", kLow, over_m128d(_ZGVbN2v_log1p)},
                      {"SLEEF log1pd2_u10sse2", kAll, over_m128d(Sleef_log1pd2_u10sse2)},
                      {"SLEEF log1pd2_u10sse4", kAll, over_m128d(Sleef_log1pd2_u10sse4)}});
  run_entry<double>(ds[4], {{"glibc logb", kAll, scalar_loop<double>(logb)}});

  if (!g_paired) print_costs(fs, ds, _bexsExp_21);
  return 0;
}
