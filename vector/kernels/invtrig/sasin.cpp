// sAsin, sAcos, sAsinpi, sAcospi in three tiers, one branch-free formula
// over the whole of (-1, 1):
//  - LA and EP in single precision: a = |x|, z = min(a^2, 0.5 - 0.5 a); above
//    0.5 the root of z from the approximate reciprocal root with a short
//    series correction, and asin = pi/2 - 2 asin(sqrt(z)); p(w) = w + w P(z).
//  - HA in double: the same reduction with the true root and a longer
//    polynomial, rounded once to single.
// |x| >= 1 and NaN go to the scalar routine: +-1 exactly, NaN with status 1
// outside [-1, 1]. The half-turn forms scale the result by 1/pi.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/invtrig/invtrig_common.h"

namespace qor::kernels {
namespace {

using namespace invtrig;

constexpr float kRootFloor = 2.32830644e-10f;  // 2^-32: keeps the reciprocal root finite

// Fn: 0 asin, 1 acos; Pi: the half-turn form.
template <int Fn, bool Pi> constexpr const char *sname() {
  return Fn == 0 ? (Pi ? "vsAsinpi" : "vsAsin") : (Pi ? "vsAcospi" : "vsAcos");
}

// The HA formula on two pairs of doubles, also the scalar routine's.
template <int Fn, bool Pi> inline vd2 asin_double(vd2 x) {
  vd2 B, H, T;
  asin_parts<Fn == 1, false>(x, tab::kAsin_EP, B, H, T);
  vd2 r = (B + H) + T;
  if (Pi) r = r * kInvPiHi;
  return Fn == 0 ? bor(r, sign_of(x)) : r;
}

// |x| >= 1 or NaN: asin(+-1) = +-pi/2, acos(1) = 0, acos(-1) = pi; their
// half-turn forms +-0.5, 0, 1.
template <int Fn, bool Pi> int sasin_scalar(const float *a, float *r) {
  const float x = *a;
  if (x == 1.0f || x == -1.0f) {
    const float pio2 = Pi ? 0.5f : kPio2F, pi = Pi ? 1.0f : kPiF;
    *r = Fn == 0 ? (x > 0 ? pio2 : -pio2) : (x > 0 ? 0.0f : pi);
    return 0;
  }
  if (isnan(x) || fabsf(x) > 1.0f) return domain_edges(x, r);
  const vd2 v = asin_double<Fn, Pi>(vd2{(double)x, (double)x});
  *r = (float)v[0];
  return 0;
}

template <int Fn, bool Pi, int Tier> struct SAsin {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = sname<Fn, Pi>();

  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = nlt(vabs(x), 1.0f);
    if (Tier == 1) return narrow(asin_double<Fn, Pi>(low_pair(x)), asin_double<Fn, Pi>(high_pair(x)));
    const vf4 a = vabs(x), sg = sign_of(x);
    const vi4 big = gt(a, 0.5f);
    const vf4 z = vmin(a * a, 0.5f - 0.5f * a);
    // 2 sqrt(z) = S (1 + v/2)^(-1/2) with S = 2 z y, v = S y - 2, y ~ 1/sqrt(z).
    const vf4 y = rcp_sqrt(vmax(z, vf4{} + kRootFloor));
    const vf4 S = 2.0f * z * y, v = S * y - 2.0f;
    const vf4 root2 = Tier == 0 ? S - S * v * (0.25000003f - 0.0937500298f * v) : S - S * v * 0.25000003f;
    const vf4 w = select(big, root2, a);
    const vf4 P = Tier == 0 ? 0.166667923f + z * (0.0749436766f + z * (0.0455576926f + z * (0.0238239374f + z * 0.0426903032f)))
                            : 3.18006023e-05f + z * (0.164515287f + z * 0.0960820764f);
    vf4 p = w + w * (Tier == 0 ? z * P : P);
    // EP's constant term would leave a denormal result hundreds of ulp away:
    // below 2^-12, asin(a) is a to 2^-25.
    if (Tier == 2) p = select(lt(a, 0x1p-12f), a, p);
    vf4 r;
    if (Fn == 0) {
      r = select(big, kPio2F - p, p);
    } else {
      const vi4 neg = negative(x);
      r = select(big, select(neg, kPiF - p, p), kPio2F - bxor(p, sg));
    }
    if (Pi) r = r * kInvPiF;
    return Fn == 0 ? bor(r, sg) : r;
  }
  static int scalar(const float *a, float *r) { return sasin_scalar<Fn, Pi>(a, r); }

 private:
  static vf4 rcp_sqrt(vf4 z) { return as<vf4>(_mm_rsqrt_ps(as<__m128>(z))); }
};

QOR_ACCURACY(sAsin, LA, ULP, 4.0)
QOR_ACCURACY(sAsin, HA, ULP, 1.0)
QOR_ACCURACY(sAsin, EP, BITS, 11)
QOR_INTERVAL(sAsin, -1.0, 1.0, 1000000)
QOR_INTERVAL(sAsin, 0.49, 0.51, 200000)
QOR_INTERVAL(sAsin, 0.999, 1.0, 200000)
QOR_INTERVAL_LOG(sAsin, 1e-45, 1.0, 300000)
QOR_ACCURACY(sAcos, LA, ULP, 4.0)
QOR_ACCURACY(sAcos, HA, ULP, 1.0)
QOR_ACCURACY(sAcos, EP, BITS, 11)
QOR_INTERVAL(sAcos, -1.0, 1.0, 1000000)
QOR_INTERVAL(sAcos, 0.49, 0.51, 200000)
QOR_INTERVAL(sAcos, 0.999, 1.0, 200000)
QOR_INTERVAL_LOG(sAcos, 1e-45, 1.0, 300000)
QOR_ACCURACY(sAsinpi, LA, ULP, 4.0)
QOR_ACCURACY(sAsinpi, HA, ULP, 1.0)
QOR_ACCURACY(sAsinpi, EP, BITS, 11)
QOR_INTERVAL(sAsinpi, -1.0, 1.0, 1000000)
QOR_INTERVAL(sAsinpi, 0.49, 0.51, 200000)
QOR_INTERVAL(sAsinpi, 0.999, 1.0, 200000)
QOR_INTERVAL_LOG(sAsinpi, 1e-45, 1.0, 300000)
QOR_ACCURACY(sAcospi, LA, ULP, 4.0)
QOR_ACCURACY(sAcospi, HA, ULP, 1.0)
QOR_ACCURACY(sAcospi, EP, BITS, 11)
QOR_INTERVAL(sAcospi, -1.0, 1.0, 1000000)
QOR_INTERVAL(sAcospi, 0.49, 0.51, 200000)
QOR_INTERVAL(sAcospi, 0.999, 1.0, 200000)
QOR_INTERVAL_LOG(sAcospi, 1e-45, 1.0, 300000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
using namespace qor::kernels;
#define QOR_SASIN(entry, Fn, Pi)                                  \
  using entry##LA = SAsin<Fn, Pi, 0>;                             \
  using entry##HA = SAsin<Fn, Pi, 1>;                             \
  using entry##EP = SAsin<Fn, Pi, 2>;                             \
  QOR_UNARY_KERNELS(entry, LA, entry##LA, StandardEnv)            \
  QOR_UNARY_KERNELS(entry, HA, entry##HA, StandardEnv)            \
  QOR_UNARY_KERNELS(entry, EP, entry##EP, StandardEnv)
QOR_SASIN(sAsin, 0, false)
QOR_SASIN(sAcos, 1, false)
QOR_SASIN(sAsinpi, 0, true)
QOR_SASIN(sAcospi, 1, true)
