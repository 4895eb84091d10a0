// Error-function kernels (Erf, Erfc, CdfNorm) against glibc libm, SLEEF (SSE4)
// and GSL, each tier against the peers of its accuracy class; then the cost
// figures, ns per element at n = 1000 on the scale on which sExp LA costs 5.636.
// Arguments, if any, name the functions to run (e.g. `bench_erf dErfc`);
// `--paired` prints ratios timed in alternation instead (no cost figures).
// Our entry points are looked up by name, so an entry not built yet is skipped.
#include <gsl/gsl_cdf.h>
#include <gsl/gsl_sf_erf.h>
#include <sleef.h>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

using namespace qor::bench;

namespace {
double glibc_cdf(double x) { return 0.5 * erfc(-x * 0.70710678118654752); }
float glibc_cdff(float x) { return 0.5f * erfcf(-x * 0.707106781f); }
}  // namespace

int main(int argc, char **argv) {
  parse_args(argc, argv);
  const Ours<float> fs[] = {ours_by_name<float>("sErf", -4.0, 4.0), ours_by_name<float>("sErfc", -4.0, 10.0),
                            ours_by_name<float>("sCdfNorm", -14.0, 6.0)};
  const Ours<double> ds[] = {ours_by_name<double>("dErf", -6.0, 6.0), ours_by_name<double>("dErfc", -6.0, 27.0),
                             ours_by_name<double>("dCdfNorm", -38.0, 9.0)};

  // Peers and the tiers whose bound they meet: libm and SLEEF u10 within 1 ulp,
  // SLEEF u15 within 1.5 ulp (LA, EP); GSL and the libm forms of the normal
  // distribution function within a few ulp (LA, EP).
  run_entry<float>(fs[0], {{"glibc erff", kAll, scalar_loop<float>(erff)},
                           {"SLEEF erff4_u10sse4", kAll, over_m128(Sleef_erff4_u10sse4)}});
  run_entry<float>(fs[1], {{"glibc erfcf", kAll, scalar_loop<float>(erfcf)},
                           {"SLEEF erfcf4_u15sse4", kLow, over_m128(Sleef_erfcf4_u15sse4)}});
  run_entry<float>(fs[2], {{"glibc 0.5 erfcf(-x/sqrt2)", kLow, scalar_loop<float>(glibc_cdff)}});
  run_entry<double>(ds[0], {{"glibc erf", kAll, scalar_loop<double>(erf)},
                            {"SLEEF erfd2_u10sse4", kAll, over_m128d(Sleef_erfd2_u10sse4)},
                            {"GSL gsl_sf_erf", kLow, scalar_loop<double>(gsl_sf_erf)}});
  run_entry<double>(ds[1], {{"glibc erfc", kAll, scalar_loop<double>(erfc)},
                            {"SLEEF erfcd2_u15sse4", kLow, over_m128d(Sleef_erfcd2_u15sse4)},
                            {"GSL gsl_sf_erfc", kLow, scalar_loop<double>(gsl_sf_erfc)}});
  run_entry<double>(ds[2], {{"glibc 0.5 erfc(-x/sqrt2)", kLow, scalar_loop<double>(glibc_cdf)},
                            {"GSL gsl_cdf_ugaussian_P", kLow, scalar_loop<double>(gsl_cdf_ugaussian_P)}});

  if (!g_paired) print_costs(fs, ds, _bexsExp_21);
  return 0;
}
