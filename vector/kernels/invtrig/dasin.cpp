// dAsin, dAcos, dAsinpi, dAcospi in three tiers, one branch-free formula
// over (-1, 1): a = |x|, z = min(a^2, (1 - a)/2), w = a or sqrt(z) above 0.5,
// asin(w) = w + w z P(z), and above 0.5 asin(a) = pi/2 - 2 asin(w). P has 6
// (EP), 12 (LA) or 15 (HA) terms. HA keeps the residual of the root and adds
// the constant part in two pieces; its half-turn forms multiply by 1/pi in
// two parts. |x| >= 1 and NaN go to the scalar routine: +-1 exactly, NaN with
// status 1 outside [-1, 1].
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/invtrig/invtrig_common.h"

namespace qor::kernels {
namespace {

using namespace invtrig;

template <int Fn, bool Pi> constexpr const char *dname() {
  return Fn == 0 ? (Pi ? "vdAsinpi" : "vdAsin") : (Pi ? "vdAcospi" : "vdAcos");
}

template <int Fn, bool Pi, int Tier> inline vd2 dasin_lanes(vd2 x) {
  vd2 B, H, T;
  if (Tier == 1) {
    asin_parts<Fn == 1, true>(x, tab::kAsin_HA, B, H, T);
    Two v;
    vd2 e;
    fast_two_sum(B, H, v.hi, e);
    v.lo = e + T;
    const vd2 r = Pi ? times_inv_pi(v) : v.hi + v.lo;
    return Fn == 0 ? bor(r, sign_of(x)) : r;
  }
  if (Tier == 0) asin_parts<Fn == 1, false>(x, tab::kAsin_LA, B, H, T);
  else asin_parts<Fn == 1, false>(x, tab::kAsin_EP, B, H, T);
  vd2 r = (B + H) + T;
  if (Pi) r = r * kInvPiHi;
  return Fn == 0 ? bor(r, sign_of(x)) : r;
}

// |x| >= 1 or NaN: asin(+-1) = +-pi/2, acos(1) = 0, acos(-1) = pi; their
// half-turn forms +-0.5, 0, 1. Other inputs take the HA formula.
template <int Fn, bool Pi> int dasin_scalar(const double *a, double *r) {
  const double x = *a;
  if (x == 1.0 || x == -1.0) {
    const double pio2 = Pi ? 0.5 : kPio2Hi, pi = Pi ? 1.0 : kPiHi;
    *r = Fn == 0 ? (x > 0 ? pio2 : -pio2) : (x > 0 ? 0.0 : pi);
    return 0;
  }
  if (isnan(x) || fabs(x) > 1.0) return domain_edges(x, r);
  *r = dasin_lanes<Fn, Pi, 1>(vd2{x, x})[0];
  return 0;
}

template <int Fn, bool Pi, int Tier> struct DAsin {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = dname<Fn, Pi>();
  static vd2 lanes(vd2 x, vl2 &bad) {
    bad = nlt(vabs(x), 1.0);
    return dasin_lanes<Fn, Pi, Tier>(x);
  }
  static int scalar(const double *a, double *r) { return dasin_scalar<Fn, Pi>(a, r); }
};

QOR_ACCURACY(dAsin, LA, ULP, 4.0)
QOR_ACCURACY(dAsin, HA, ULP, 1.0)
QOR_ACCURACY(dAsin, EP, BITS, 26)
QOR_INTERVAL(dAsin, -1.0, 1.0, 1000000)
QOR_INTERVAL(dAsin, 0.49, 0.51, 200000)
QOR_INTERVAL(dAsin, 0.999, 1.0, 200000)
QOR_INTERVAL_LOG(dAsin, 4.9e-324, 1.0, 300000)
QOR_ACCURACY(dAcos, LA, ULP, 4.0)
QOR_ACCURACY(dAcos, HA, ULP, 1.0)
QOR_ACCURACY(dAcos, EP, BITS, 26)
QOR_INTERVAL(dAcos, -1.0, 1.0, 1000000)
QOR_INTERVAL(dAcos, 0.49, 0.51, 200000)
QOR_INTERVAL(dAcos, 0.999, 1.0, 200000)
QOR_INTERVAL_LOG(dAcos, 4.9e-324, 1.0, 300000)
QOR_ACCURACY(dAsinpi, LA, ULP, 4.0)
QOR_ACCURACY(dAsinpi, HA, ULP, 1.0)
QOR_ACCURACY(dAsinpi, EP, BITS, 26)
QOR_INTERVAL(dAsinpi, -1.0, 1.0, 1000000)
QOR_INTERVAL(dAsinpi, 0.49, 0.51, 200000)
QOR_INTERVAL(dAsinpi, 0.999, 1.0, 200000)
QOR_INTERVAL_LOG(dAsinpi, 4.9e-324, 1.0, 300000)
QOR_ACCURACY(dAcospi, LA, ULP, 4.0)
QOR_ACCURACY(dAcospi, HA, ULP, 1.0)
QOR_ACCURACY(dAcospi, EP, BITS, 26)
QOR_INTERVAL(dAcospi, -1.0, 1.0, 1000000)
QOR_INTERVAL(dAcospi, 0.49, 0.51, 200000)
QOR_INTERVAL(dAcospi, 0.999, 1.0, 200000)
QOR_INTERVAL_LOG(dAcospi, 4.9e-324, 1.0, 300000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
using namespace qor::kernels;
#define QOR_DASIN(entry, Fn, Pi)                           \
  using entry##LA = DAsin<Fn, Pi, 0>;                      \
  using entry##HA = DAsin<Fn, Pi, 1>;                      \
  using entry##EP = DAsin<Fn, Pi, 2>;                      \
  QOR_UNARY_KERNELS(entry, LA, entry##LA, StandardEnv)     \
  QOR_UNARY_KERNELS(entry, HA, entry##HA, StandardEnv)     \
  QOR_UNARY_KERNELS(entry, EP, entry##EP, StandardEnv)
QOR_DASIN(dAsin, 0, false)
QOR_DASIN(dAcos, 1, false)
QOR_DASIN(dAsinpi, 0, true)
QOR_DASIN(dAcospi, 1, true)
