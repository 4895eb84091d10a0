// LGamma, TGamma and ExpInt1 against glibc libm, SLEEF (SSE4, u10), GSL and
// Boost.Math; then the cost figures, ns per element at n = 1000 on the scale
// on which sExp LA costs 5.636. Arguments, if any, name the functions to run
// (e.g. `bench_gamma dLGamma`); `--paired` prints ratios timed in alternation.
// LGamma and TGamma have one kernel for all tiers, ExpInt1 one for LA and HA
// and a vector kernel for EP.
#include <gsl/gsl_errno.h>
#include <gsl/gsl_sf_expint.h>
#include <gsl/gsl_sf_gamma.h>
#include <sleef.h>

#include <boost/math/special_functions/expint.hpp>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

using namespace qor::bench;

namespace {

// ExpInt1: the shared LA/HA kernel and the EP kernel side by side.
template <class T> void run_expint1(const Ours<T> &o, const std::vector<Contender<T>> &peers) {
  if (!wanted(o.entry)) return;
  if (!o.la) return (void)printf("\n%s: not built\n", o.entry);
  const std::string e = std::string("qor ") + o.entry;
  table<T>(o.entry, o.lo, o.hi, {{e + " LA/HA", kLA | kHA, o.ha}, {e + " EP", kEP, o.ep}}, peers);
}

double boost_e1(double x) { return boost::math::expint(1, x); }
float boost_e1f(float x) { return boost::math::expint(1, x); }
float gsl_lngammaf(float x) { return (float)gsl_sf_lngamma(x); }
float gsl_gammaf(float x) { return (float)gsl_sf_gamma(x); }
float gsl_e1f(float x) { return (float)gsl_sf_expint_E1(x); }

}  // namespace

int main(int argc, char **argv) {
  parse_args(argc, argv);
  gsl_set_error_handler_off();
  const Ours<float> fs[] = {ours_by_name<float>("sLGamma", 0.01, 30.0), ours_by_name<float>("sTGamma", 0.01, 30.0),
                            ours_by_name<float>("sExpInt1", 0.01, 50.0)};
  const Ours<double> ds[] = {ours_by_name<double>("dLGamma", 0.01, 100.0),
                             ours_by_name<double>("dTGamma", 0.01, 100.0),
                             ours_by_name<double>("dExpInt1", 0.01, 50.0)};

  // Peer classes by the max error measured against a 100-bit reference on
  // [0.01, 100] and [-20, 0] (E1: [0.01, 50]), double forms: SLEEF u10 within
  // 1 ulp (all tiers); glibc lgamma 5.1 ulp and tgamma 4.5 ulp, GSL lngamma
  // 395 ulp and gamma 45 ulp (EP only); GSL E1 2.5 ulp (LA, EP). Boost E1 is
  // taken as LA/EP. The float forms are classed like the double ones. The
  // x87 kernels are besides held to glibc's speed whatever its class.
  run_entry<float>(fs[0], {{"glibc lgammaf", kEP, scalar_loop<float>(lgammaf)},
                           {"SLEEF lgammaf4_u10sse4", kAll, over_m128(Sleef_lgammaf4_u10sse4)},
                           {"GSL sf_lngamma", kEP, scalar_loop<float>(gsl_lngammaf)}});
  run_entry<float>(fs[1], {{"glibc tgammaf", kEP, scalar_loop<float>(tgammaf)},
                           {"SLEEF tgammaf4_u10sse4", kAll, over_m128(Sleef_tgammaf4_u10sse4)},
                           {"GSL sf_gamma", kEP, scalar_loop<float>(gsl_gammaf)}});
  run_expint1<float>(fs[2], {{"Boost expint(1, x)", kLow, scalar_loop<float>(boost_e1f)},
                             {"GSL sf_expint_E1", kLow, scalar_loop<float>(gsl_e1f)}});
  run_entry<double>(ds[0], {{"glibc lgamma", kEP, scalar_loop<double>(lgamma)},
                            {"SLEEF lgammad2_u10sse4", kAll, over_m128d(Sleef_lgammad2_u10sse4)},
                            {"GSL sf_lngamma", kEP, scalar_loop<double>(gsl_sf_lngamma)}});
  run_entry<double>(ds[1], {{"glibc tgamma", kEP, scalar_loop<double>(tgamma)},
                            {"SLEEF tgammad2_u10sse4", kAll, over_m128d(Sleef_tgammad2_u10sse4)},
                            {"GSL sf_gamma", kEP, scalar_loop<double>(gsl_sf_gamma)}});
  run_expint1<double>(ds[2], {{"Boost expint(1, x)", kLow, scalar_loop<double>(boost_e1)},
                              {"GSL sf_expint_E1", kEP, scalar_loop<double>(gsl_sf_expint_E1)}});

  if (!g_paired) print_costs(fs, ds, _bexsExp_21);
  return 0;
}
