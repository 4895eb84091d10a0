// Inverse error-function kernels against Boost.Math and GSL, each tier against
// the peers of its accuracy class; then the cost figures, ns per element at
// n = 1000 on the scale on which sExp LA costs 5.636.
// Arguments, if any, name the functions to run (e.g. `bench_erfinv dErfInv`);
// `--paired` prints ratios timed in alternation instead (no cost figures).
// Our entry points are looked up by name, so an entry not built yet is skipped.
//
// Peer classes, from a max-ulp check over 10^5 inputs against the MPFR
// references of the accuracy harness (see the report of the erfinv branch):
// Boost with its default policy evaluates double in long double and float in
// double and meets 1 ulp; without promotion it meets 4 ulp (LA, EP) only;
// GSL's gsl_cdf_ugaussian_Pinv meets 4 ulp.
#include <gsl/gsl_cdf.h>

#include <boost/math/distributions/normal.hpp>
#include <boost/math/special_functions/erf.hpp>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

using namespace qor::bench;

namespace {

using NoPromote = boost::math::policies::policy<boost::math::policies::promote_double<false>,
                                                boost::math::policies::promote_float<false>>;

template <class T> T boost_erfinv(T x) { return boost::math::erf_inv(x); }
template <class T> T boost_erfinv_np(T x) { return boost::math::erf_inv(x, NoPromote()); }
template <class T> T boost_erfcinv(T x) { return boost::math::erfc_inv(x); }
template <class T> T boost_erfcinv_np(T x) { return boost::math::erfc_inv(x, NoPromote()); }
template <class T> T boost_quantile(T p) { return boost::math::quantile(boost::math::normal_distribution<T>(), p); }
template <class T> T boost_quantile_np(T p) {
  return boost::math::quantile(boost::math::normal_distribution<T, NoPromote>(), p);
}
double gsl_pinv(double p) { return gsl_cdf_ugaussian_Pinv(p); }

}  // namespace

int main(int argc, char **argv) {
  parse_args(argc, argv);
  const Ours<float> fs[] = {ours_by_name<float>("sErfInv", -0.999, 0.999),
                            ours_by_name<float>("sErfcInv", 0.001, 1.999),
                            ours_by_name<float>("sCdfNormInv", 0.001, 0.999)};
  const Ours<double> ds[] = {ours_by_name<double>("dErfInv", -0.999, 0.999),
                             ours_by_name<double>("dErfcInv", 0.001, 1.999),
                             ours_by_name<double>("dCdfNormInv", 0.001, 0.999)};

  run_entry<float>(fs[0], {{"Boost erf_inv<float>", kAll, scalar_loop<float>(boost_erfinv<float>)},
                           {"Boost erf_inv<float> np", kLow, scalar_loop<float>(boost_erfinv_np<float>)}});
  run_entry<float>(fs[1], {{"Boost erfc_inv<float>", kAll, scalar_loop<float>(boost_erfcinv<float>)},
                           {"Boost erfc_inv<float> np", kLow, scalar_loop<float>(boost_erfcinv_np<float>)}});
  run_entry<float>(fs[2], {{"Boost quantile<float>", kAll, scalar_loop<float>(boost_quantile<float>)},
                           {"Boost quantile<float> np", kLow, scalar_loop<float>(boost_quantile_np<float>)}});
  run_entry<double>(ds[0], {{"Boost erf_inv", kAll, scalar_loop<double>(boost_erfinv<double>)},
                            {"Boost erf_inv np", kLow, scalar_loop<double>(boost_erfinv_np<double>)}});
  run_entry<double>(ds[1], {{"Boost erfc_inv", kAll, scalar_loop<double>(boost_erfcinv<double>)},
                            {"Boost erfc_inv np", kLow, scalar_loop<double>(boost_erfcinv_np<double>)}});
  run_entry<double>(ds[2], {{"Boost quantile", kAll, scalar_loop<double>(boost_quantile<double>)},
                            {"Boost quantile np", kLow, scalar_loop<double>(boost_quantile_np<double>)},
                            {"GSL ugaussian_Pinv", kLow, scalar_loop<double>(gsl_pinv)}});

  if (!g_paired) print_costs(fs, ds, _bexsExp_21);
  return 0;
}
