// Hyperbolic kernels and their inverses against glibc libm, libmvec (SSE4) and
// SLEEF (SSE2, SSE4), each tier against the peers of its accuracy class; then
// the cost figures, ns per element at n = 1000 on the scale on which sExp LA
// costs 5.636. Arguments, if any, name the functions to run (e.g.
// `bench_hyp sTanh dAsinh`); `--paired` prints ratios timed in alternation
// instead (no cost figures). An entry not built yet is skipped.
#include <sleef.h>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

extern "C" {
__m128 _ZGVbN4v_sinhf(__m128);
__m128 _ZGVbN4v_coshf(__m128);
__m128 _ZGVbN4v_tanhf(__m128);
__m128 _ZGVbN4v_asinhf(__m128);
__m128 _ZGVbN4v_acoshf(__m128);
__m128 _ZGVbN4v_atanhf(__m128);
__m128d _ZGVbN2v_sinh(__m128d);
__m128d _ZGVbN2v_cosh(__m128d);
__m128d _ZGVbN2v_tanh(__m128d);
__m128d _ZGVbN2v_asinh(__m128d);
__m128d _ZGVbN2v_acosh(__m128d);
__m128d _ZGVbN2v_atanh(__m128d);
}

using namespace qor::bench;

int main(int argc, char **argv) {
  parse_args(argc, argv);
  const Ours<float> fs[] = {ours_by_name<float>("sSinh", -10, 10), ours_by_name<float>("sCosh", -10, 10), ours_by_name<float>("sTanh", -5, 5), ours_by_name<float>("sAsinh", -100, 100), ours_by_name<float>("sAcosh", 1, 100), ours_by_name<float>("sAtanh", -0.99, 0.99)};
  const Ours<double> ds[] = {ours_by_name<double>("dSinh", -10, 10), ours_by_name<double>("dCosh", -10, 10), ours_by_name<double>("dTanh", -5, 5), ours_by_name<double>("dAsinh", -100, 100), ours_by_name<double>("dAcosh", 1, 100), ours_by_name<double>("dAtanh", -0.99, 0.99)};

  // Peers and the tiers whose bound they meet: libm and SLEEF u10 are within
  // 1 ulp, libmvec and SLEEF u35 within 4 ulp.
  run_entry<float>(fs[0], {{"glibc sinhf", kAll, scalar_loop<float>(sinhf)},
                           {"libmvec _ZGVbN4v_sinhf", kLow, over_m128(_ZGVbN4v_sinhf)},
                           {"SLEEF sinhf4_u10sse2", kAll, over_m128(Sleef_sinhf4_u10sse2)},
                           {"SLEEF sinhf4_u10sse4", kAll, over_m128(Sleef_sinhf4_u10sse4)},
                           {"SLEEF sinhf4_u35sse2", kLow, over_m128(Sleef_sinhf4_u35sse2)},
                           {"SLEEF sinhf4_u35sse4", kLow, over_m128(Sleef_sinhf4_u35sse4)}});
  run_entry<float>(fs[1], {{"glibc coshf", kAll, scalar_loop<float>(coshf)},
                           {"libmvec _ZGVbN4v_coshf", kLow, over_m128(_ZGVbN4v_coshf)},
                           {"SLEEF coshf4_u10sse2", kAll, over_m128(Sleef_coshf4_u10sse2)},
                           {"SLEEF coshf4_u10sse4", kAll, over_m128(Sleef_coshf4_u10sse4)},
                           {"SLEEF coshf4_u35sse2", kLow, over_m128(Sleef_coshf4_u35sse2)},
                           {"SLEEF coshf4_u35sse4", kLow, over_m128(Sleef_coshf4_u35sse4)}});
  run_entry<float>(fs[2], {{"glibc tanhf", kAll, scalar_loop<float>(tanhf)},
                           {"libmvec _ZGVbN4v_tanhf", kLow, over_m128(_ZGVbN4v_tanhf)},
                           {"SLEEF tanhf4_u10sse2", kAll, over_m128(Sleef_tanhf4_u10sse2)},
                           {"SLEEF tanhf4_u10sse4", kAll, over_m128(Sleef_tanhf4_u10sse4)},
                           {"SLEEF tanhf4_u35sse2", kLow, over_m128(Sleef_tanhf4_u35sse2)},
                           {"SLEEF tanhf4_u35sse4", kLow, over_m128(Sleef_tanhf4_u35sse4)}});
  run_entry<float>(fs[3], {{"glibc asinhf", kAll, scalar_loop<float>(asinhf)},
                           {"libmvec _ZGVbN4v_asinhf", kLow, over_m128(_ZGVbN4v_asinhf)},
                           {"SLEEF asinhf4_u10sse2", kAll, over_m128(Sleef_asinhf4_u10sse2)},
                           {"SLEEF asinhf4_u10sse4", kAll, over_m128(Sleef_asinhf4_u10sse4)}});
  run_entry<float>(fs[4], {{"glibc acoshf", kAll, scalar_loop<float>(acoshf)},
                           {"libmvec _ZGVbN4v_acoshf", kLow, over_m128(_ZGVbN4v_acoshf)},
                           {"SLEEF acoshf4_u10sse2", kAll, over_m128(Sleef_acoshf4_u10sse2)},
                           {"SLEEF acoshf4_u10sse4", kAll, over_m128(Sleef_acoshf4_u10sse4)}});
  run_entry<float>(fs[5], {{"glibc atanhf", kAll, scalar_loop<float>(atanhf)},
                           {"libmvec _ZGVbN4v_atanhf", kLow, over_m128(_ZGVbN4v_atanhf)},
                           {"SLEEF atanhf4_u10sse2", kAll, over_m128(Sleef_atanhf4_u10sse2)},
                           {"SLEEF atanhf4_u10sse4", kAll, over_m128(Sleef_atanhf4_u10sse4)}});
  run_entry<double>(ds[0], {{"glibc sinh", kAll, scalar_loop<double>(sinh)},
                            {"libmvec _ZGVbN2v_sinh", kLow, over_m128d(_ZGVbN2v_sinh)},
                            {"SLEEF sinhd2_u10sse2", kAll, over_m128d(Sleef_sinhd2_u10sse2)},
                            {"SLEEF sinhd2_u10sse4", kAll, over_m128d(Sleef_sinhd2_u10sse4)},
                            {"SLEEF sinhd2_u35sse2", kLow, over_m128d(Sleef_sinhd2_u35sse2)},
                            {"SLEEF sinhd2_u35sse4", kLow, over_m128d(Sleef_sinhd2_u35sse4)}});
  run_entry<double>(ds[1], {{"glibc cosh", kAll, scalar_loop<double>(cosh)},
                            {"libmvec _ZGVbN2v_cosh", kLow, over_m128d(_ZGVbN2v_cosh)},
                            {"SLEEF coshd2_u10sse2", kAll, over_m128d(Sleef_coshd2_u10sse2)},
                            {"SLEEF coshd2_u10sse4", kAll, over_m128d(Sleef_coshd2_u10sse4)},
                            {"SLEEF coshd2_u35sse2", kLow, over_m128d(Sleef_coshd2_u35sse2)},
                            {"SLEEF coshd2_u35sse4", kLow, over_m128d(Sleef_coshd2_u35sse4)}});
  run_entry<double>(ds[2], {{"glibc tanh", kAll, scalar_loop<double>(tanh)},
                            {"libmvec _ZGVbN2v_tanh", kLow, over_m128d(_ZGVbN2v_tanh)},
                            {"SLEEF tanhd2_u10sse2", kAll, over_m128d(Sleef_tanhd2_u10sse2)},
                            {"SLEEF tanhd2_u10sse4", kAll, over_m128d(Sleef_tanhd2_u10sse4)},
                            {"SLEEF tanhd2_u35sse2", kLow, over_m128d(Sleef_tanhd2_u35sse2)},
                            {"SLEEF tanhd2_u35sse4", kLow, over_m128d(Sleef_tanhd2_u35sse4)}});
  run_entry<double>(ds[3], {{"glibc asinh", kAll, scalar_loop<double>(asinh)},
                            {"libmvec _ZGVbN2v_asinh", kLow, over_m128d(_ZGVbN2v_asinh)},
                            {"SLEEF asinhd2_u10sse2", kAll, over_m128d(Sleef_asinhd2_u10sse2)},
                            {"SLEEF asinhd2_u10sse4", kAll, over_m128d(Sleef_asinhd2_u10sse4)}});
  run_entry<double>(ds[4], {{"glibc acosh", kAll, scalar_loop<double>(acosh)},
                            {"libmvec _ZGVbN2v_acosh", kLow, over_m128d(_ZGVbN2v_acosh)},
                            {"SLEEF acoshd2_u10sse2", kAll, over_m128d(Sleef_acoshd2_u10sse2)},
                            {"SLEEF acoshd2_u10sse4", kAll, over_m128d(Sleef_acoshd2_u10sse4)}});
  run_entry<double>(ds[5], {{"glibc atanh", kAll, scalar_loop<double>(atanh)},
                            {"libmvec _ZGVbN2v_atanh", kLow, over_m128d(_ZGVbN2v_atanh)},
                            {"SLEEF atanhd2_u10sse2", kAll, over_m128d(Sleef_atanhd2_u10sse2)},
                            {"SLEEF atanhd2_u10sse4", kAll, over_m128d(Sleef_atanhd2_u10sse4)}});

  if (!g_paired) print_costs(fs, ds, _bexsExp_21);
  return 0;
}
