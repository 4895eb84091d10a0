// ExpInt1 LA and HA, s and d: one scalar x87 routine, E1(x) = -Ei(-x) in
// extended precision with branches at 0 and 1:
//   (0, 1]   -gamma - ln x + x P(x), P of 16 terms (its series is entire);
//   (1, 724] e^-x g(x) / x with g(x) = x e^x E1(x) in [0.59, 1), fitted on
//            quarter binades (row from the exponent and two top bits of x);
//            e^-x with a two-part ln 2, so no error of the argument grows.
// x < 0 is a domain error (NaN, 1), 0 a pole (+Inf, 2); d above 724 returns
// +0 with status 4, s wherever the float result is 0.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/gamma/expint1_common.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::gamma;
using namespace qor::kernels::gamma_tables;

// E1(x) for 0 < x <= 1024; bits are those of x as a double.
ld expint1_ext(ld x, uint64_t bits) {
  if (x <= 1) return (x * horner(kE1Small, x) - kEulerGamma) - log_ext(x);
  const int row = (int)(bits >> 50) - (0x3ff << 2);
  const ld g = horner(kE1Large[row], x - kE1LargeCentre[row]);
  return exp_ext(-x) * g / x;
}

template <class T> int expint1_scalar(const T *a, T *r) {
  const Input in = classify(a);
  if (in.is_nan()) {
    *r = (T)(in.x + in.x);
    return 0;
  }
  if (in.is_zero()) {
    *r = (T)inf_ext();
    return 2;
  }
  if (in.negative) {
    *r = (T)nan_ext();
    return 1;
  }
  if (in.is_inf()) return *r = 0, 0;
  if (in.mag > kDExpInt1UnderflowBits) {  // d: the design's bound; s: far below the float range
    *r = 0;
    return 4;
  }
  const T v = (T)expint1_ext(in.x, in.mag);
  *r = v;
  return is_zero_bits(v) ? 4 : 0;
}

int sexpint1_scalar(const float *a, float *r) { return expint1_scalar(a, r); }
int dexpint1_scalar(const double *a, double *r) { return expint1_scalar(a, r); }

constexpr char kSName[] = "vsExpInt1", kDName[] = "vdExpInt1";
using SExpInt1 = ScalarOnly<float, kSName, sexpint1_scalar>;
using DExpInt1 = ScalarOnly<double, kDName, dexpint1_scalar>;

QOR_ACCURACY(dExpInt1, LA, ULP, 4.0)
QOR_ACCURACY(dExpInt1, HA, ULP, 1.0)
QOR_INTERVAL(dExpInt1, 0.0, 723.99, 300000)
QOR_INTERVAL_LOG(dExpInt1, 4.9e-324, 723.99, 300000)
QOR_INTERVAL(dExpInt1, 0.0, 4.0, 300000)      // the seam at 1
QOR_INTERVAL(dExpInt1, 690.0, 723.99, 5000)   // the EP seam at 700, denormal results

QOR_ACCURACY(sExpInt1, LA, ULP, 4.0)
QOR_ACCURACY(sExpInt1, HA, ULP, 1.0)
QOR_INTERVAL(sExpInt1, 0.0, 110.0, 300000)
QOR_INTERVAL_LOG(sExpInt1, 1.4e-45, 3.4e38, 300000)
QOR_INTERVAL(sExpInt1, 0.0, 4.0, 300000)
QOR_INTERVAL(sExpInt1, 78.0, 105.0, 5000)     // the EP seam at 80, denormal results, underflow

}  // namespace

int expint1_scalar_s(const float *a, float *r) { return sexpint1_scalar(a, r); }
int expint1_scalar_d(const double *a, double *r) { return dexpint1_scalar(a, r); }

}  // namespace qor::kernels

using qor::kernels::gamma::ExtendedX87ModeEnv;
QOR_UNARY_KERNELS(sExpInt1, LAHA, qor::kernels::SExpInt1, ExtendedX87ModeEnv)
QOR_UNARY_KERNELS(dExpInt1, LAHA, qor::kernels::DExpInt1, ExtendedX87ModeEnv)
