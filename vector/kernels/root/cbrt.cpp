// Cbrt and InvCbrt, s and d, by the shared cube-root scheme (cbrt_common.h).
// s LA and EP work in single precision with two terms (LA) or one (EP) of the
// series; s HA runs the double scheme on the widened lanes and rounds once.
// d: one kernel for LA and EP (degree 6) and one for HA (degree 8).
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/root/cbrt_common.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::root;

template <int P> struct CubeNames;
template <> struct CubeNames<1> {
  static constexpr const char *s = "vsCbrt", *d = "vdCbrt";
};
template <> struct CubeNames<-1> {
  static constexpr const char *s = "vsInvCbrt", *d = "vdInvCbrt";
};

// s LA and EP: p(r) of degree Terms, in single precision.
template <int P, int Terms> struct SCube {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = CubeNames<P>::s;
  static vf4 lanes(vf4 x, vi4 &bad) {
    CubeSplitF s = cube_split(x);
    bad = s.bad;
    vf4 r, v = cube_row<P>(s, r), p;
    if (Terms == 1) p = r * (P == 1 ? kCbrtSeriesF[0] : kInvCbrtSeriesF[0]);
    else if (P == 1) p = r * (0.333347827f + r * -0.111162916f);  // fitted on |r| < 2^-7
    else p = r * (kInvCbrtSeriesF[0] + r * kInvCbrtSeriesF[1]);
    return cube_finish<P>(s, v + v * p);
  }
  static int scalar(const float *a, float *r) { return cube_scalar<P>(a, r); }
};

// s HA: the double scheme (degree 5) on the widened lanes.
template <int P> struct SCubeHA : SCube<P, 1> {
  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = cube_split(x).bad;
    vl2 ignored;
    return narrow(cube_core<P, 5>(low_pair(x), ignored), cube_core<P, 5>(high_pair(x), ignored));
  }
};

template <int P, int Terms> struct DCube {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = CubeNames<P>::d;
  static vd2 lanes(vd2 x, vl2 &bad) { return cube_core<P, Terms>(x, bad); }
  static int scalar(const double *a, double *r) { return cube_scalar<P>(a, r); }
};

using SCbrtLA = SCube<1, 2>;
using SCbrtEP = SCube<1, 1>;
using SCbrtHA = SCubeHA<1>;
using SInvCbrtLA = SCube<-1, 2>;
using SInvCbrtEP = SCube<-1, 1>;
using SInvCbrtHA = SCubeHA<-1>;
using DCbrtLAEP = DCube<1, 6>;
using DCbrtHA = DCube<1, 8>;
using DInvCbrtLAEP = DCube<-1, 6>;
using DInvCbrtHA = DCube<-1, 8>;

QOR_ACCURACY(sCbrt, LA, ULP, 4.0)
QOR_ACCURACY(sCbrt, HA, ULP, 1.0)
QOR_ACCURACY(sCbrt, EP, BITS, 11)
QOR_INTERVAL_LOG(sCbrt, 1e-45, 3.4e38, 300000)
QOR_INTERVAL(sCbrt, -10.0, 10.0, 200000)
QOR_INTERVAL(sCbrt, -3.4e38, 3.4e38, 50000)
QOR_ACCURACY(sInvCbrt, LA, ULP, 4.0)
QOR_ACCURACY(sInvCbrt, HA, ULP, 1.0)
QOR_ACCURACY(sInvCbrt, EP, BITS, 11)
QOR_INTERVAL_LOG(sInvCbrt, 1e-45, 3.4e38, 300000)
QOR_INTERVAL(sInvCbrt, -10.0, 10.0, 200000)
QOR_INTERVAL(sInvCbrt, -3.4e38, 3.4e38, 50000)
QOR_ACCURACY(dCbrt, LA, ULP, 4.0)
QOR_ACCURACY(dCbrt, HA, ULP, 1.0)
QOR_ACCURACY(dCbrt, EP, BITS, 26)
QOR_INTERVAL_LOG(dCbrt, 4.9e-324, 1.7e308, 300000)
QOR_INTERVAL(dCbrt, -10.0, 10.0, 200000)
QOR_INTERVAL(dCbrt, -1.7e308, 1.7e308, 50000)
QOR_ACCURACY(dInvCbrt, LA, ULP, 4.0)
QOR_ACCURACY(dInvCbrt, HA, ULP, 1.0)
QOR_ACCURACY(dInvCbrt, EP, BITS, 26)
QOR_INTERVAL_LOG(dInvCbrt, 4.9e-324, 1.7e308, 300000)
QOR_INTERVAL(dInvCbrt, -10.0, 10.0, 200000)
QOR_INTERVAL(dInvCbrt, -1.7e308, 1.7e308, 50000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
using namespace qor::kernels;
QOR_UNARY_KERNELS(sCbrt, LA, SCbrtLA, StandardEnv)
QOR_UNARY_KERNELS(sCbrt, HA, SCbrtHA, StandardEnv)
QOR_UNARY_KERNELS(sCbrt, EP, SCbrtEP, StandardEnv)
QOR_UNARY_KERNELS(sInvCbrt, LA, SInvCbrtLA, StandardEnv)
QOR_UNARY_KERNELS(sInvCbrt, HA, SInvCbrtHA, StandardEnv)
QOR_UNARY_KERNELS(sInvCbrt, EP, SInvCbrtEP, StandardEnv)
QOR_UNARY_KERNELS(dCbrt, LAEP, DCbrtLAEP, StandardEnv)
QOR_UNARY_KERNELS(dCbrt, HA, DCbrtHA, StandardEnv)
QOR_UNARY_KERNELS(dInvCbrt, LAEP, DInvCbrtLAEP, StandardEnv)
QOR_UNARY_KERNELS(dInvCbrt, HA, DInvCbrtHA, StandardEnv)
