// Hypot, s and d: sqrt(a^2 + b^2).
//  - s LA and EP: the sum of squares in single precision, its root by the
//    approximate instruction with one coupled step (LA) or none (EP). Lanes
//    whose larger magnitude lies outside [2^-63, 2^63), where a square could
//    overflow or leave the normal range, take the scalar routine.
//  - s HA: the sum of the squares of the widened inputs is exact in double
//    to one rounding; two coupled steps in double, rounded once.
//  - d: the sum in double, narrowed to single for the seed by the conversion
//    instruction, and iterated in double (the series of 1/sqrt(1 - e)); HA forms the sum in two parts and finishes with
//    the residual of the root against both, so the low bits stay.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/root/root_common.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::root;

inline vi4 larger(vi4 a, vi4 b) { return select(a > b, a, b); }

// sqrt(a^2 + b^2) of two finite floats, not both zero, in double: one rounding.
inline float shypot_core(float a, float b) {
  const double s = (double)a * a + (double)b * b;
  return (float)sqrt_scalar_core(s);
}

// Infinity wins over NaN; statuses only where the kernel reports (3: overflow).
template <class T> inline bool hypot_special(T a, T b, T *r) {
  if (isinf(a) || isinf(b)) return *r = (T)INFINITY, true;
  if (isnan(a) || isnan(b)) return *r = a + b, true;
  if (a == 0 && b == 0) return *r = 0, true;
  return false;
}
template <bool Reports> int shypot_scalar(const float *a, const float *b, float *r) {
  if (hypot_special(*a, *b, r)) return 0;
  *r = shypot_core(*a, *b);
  return Reports && isinf(*r) ? 3 : 0;
}

template <int Steps> struct SHypot {
  using T = float;
  static constexpr int kIn = 2, kOut = 1, kBlock = Steps == 0 ? 16 : 32;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsHypot";
  static vf4 lanes(vf4 a, vf4 b, vi4 &bad) {
    vi4 mx = larger(as<vi4>(a) & 0x7fffffff, as<vi4>(b) & 0x7fffffff);
    bad = above_u(mx - 0x20000000, 0x5f000000 - 0x20000000 - 1);
    vf4 s = a * a + b * b;
    vf4 y = nan_where(bad, rsqrt_approx(s));
    vf4 r = s * y;
    if (Steps == 1) r = r + r * (0.5f - r * (0.5f * y));
    return r;
  }
  // LA reports nothing, overflow included; EP reports an overflow.
  static int scalar(const float *a, const float *b, float *r) { return shypot_scalar<Steps == 0>(a, b, r); }
};
// HA: the sum of the squares of the widened inputs in double (one rounding),
// the seed from it narrowed, and the two coupled steps in double.
struct SHypotHA : SHypot<1> {
  static vd2 root(vd2 s, vd2 y) {
    vd2 r = s * y, h = 0.5 * y;
    vd2 e = 0.5 - r * h;
    r = r + r * e;
    h = h + h * e;
    e = 0.5 - r * h;
    return r + r * e;
  }
  static vf4 lanes(vf4 a, vf4 b, vi4 &bad) {
    vi4 mx = larger(as<vi4>(a) & 0x7fffffff, as<vi4>(b) & 0x7fffffff);
    bad = above_u(mx - 0x20000000, 0x5f000000 - 0x20000000 - 1);
    vd2 al = low_pair(a), ah = high_pair(a), bl = low_pair(b), bh = high_pair(b);
    vd2 sl = al * al + bl * bl, sh = ah * ah + bh * bh;
    vf4 y = nan_where(bad, rsqrt_approx(narrow(sl, sh)));
    return narrow(root(sl, low_pair(y)), root(sh, high_pair(y)));
  }
  static int scalar(const float *a, const float *b, float *r) { return shypot_scalar<true>(a, b, r); }
};
using SHypotLA = SHypot<1>;
using SHypotEP = SHypot<0>;
QOR_ACCURACY(sHypot, LA, ULP, 4.0)
QOR_ACCURACY(sHypot, HA, ULP, 1.0)
QOR_ACCURACY(sHypot, EP, BITS, 11)
QOR_INTERVAL2(sHypot, -10.0, 10.0, -10.0, 10.0, 200000)
QOR_INTERVAL2(sHypot, -3.4e38, 3.4e38, -3.4e38, 3.4e38, 50000)
QOR_INTERVAL2_LOG(sHypot, 1e-45, 3.4e38, 1e-45, 3.4e38, 200000)
QOR_INTERVAL2_LOG(sHypot, 1e-30, 1e-15, 1e-30, 1e-15, 50000)

// d: the larger magnitude within [2^-63, 2^63) by its high word, so that the
// sum of squares narrows to a normal float for the seed.
inline vl2 d_hypot_special(vd2 a, vd2 b) {
  vi4 mx = larger(words(a) & 0x7fffffff, words(b) & 0x7fffffff);
  return from_high_words(above_u(mx - 0x3c000000, 0x43e00000 - 0x3c000000 - 1));
}
inline vd2 narrowed_seed(vd2 s) {
  return low_pair(rsqrt_approx(as<vf4>(_mm_cvtpd_ps(as<__m128d>(s)))));
}

template <int Tier> struct DHypot {
  using T = double;
  static constexpr int kIn = 2, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdHypot";
  static vd2 core(vd2 a, vd2 b) {
    if (Tier != 1) {
      vd2 s = a * a + b * b;
      vd2 y = narrowed_seed(s);
      return Tier == 2 ? sqrt_series2(s, y) : sqrt_series4(s, y);
    }
    vd2 p1, e1, p2, e2;  // a^2 + b^2 = s + lo
    two_product(a, a, p1, e1);
    two_product(b, b, p2, e2);
    vd2 s = p1 + p2, v = s - p1;
    vd2 lo = ((p1 - (s - v)) + (p2 - v)) + (e1 + e2);
    vd2 y = narrowed_seed(s);
    vd2 t = sqrt_series4(s, y), tt, te;
    two_product(t, t, tt, te);
    return t + (((s - tt) - te) + lo) * (0.5 * y);  // + residual / (2 t)
  }
  static vd2 lanes(vd2 a, vd2 b, vl2 &bad) {
    bad = d_hypot_special(a, b);
    return core(a, b);
  }
  // Scaled so that the larger magnitude is in [1, 2), then the HA form.
  static int scalar(const double *a, const double *b, double *r) {
    if (hypot_special(*a, *b, r)) return 0;
    double x = fabs(*a), z = fabs(*b);
    if (x < z) {
      double t = x;
      x = z, z = t;
    }
    const int k = ilogb(x);
    const double xs = ldexp(x, -k), zs = ldexp(z, -k);
    *r = ldexp(DHypot<1>::core(vd2{xs, xs}, vd2{zs, zs})[0], k);
    return isinf(*r) ? 3 : 0;
  }
};
QOR_ACCURACY(dHypot, LA, ULP, 4.0)
QOR_ACCURACY(dHypot, HA, ULP, 1.0)
QOR_ACCURACY(dHypot, EP, BITS, 26)
QOR_INTERVAL2(dHypot, -10.0, 10.0, -10.0, 10.0, 200000)
QOR_INTERVAL2(dHypot, -1.7e308, 1.7e308, -1.7e308, 1.7e308, 50000)
QOR_INTERVAL2_LOG(dHypot, 4.9e-324, 1.7e308, 4.9e-324, 1.7e308, 200000)
QOR_INTERVAL2_LOG(dHypot, 1e-200, 1e-100, 1e-200, 1e-100, 50000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
using namespace qor::kernels;
QOR_BINARY_KERNELS(sHypot, LA, SHypotLA, SHypotLA, StandardEnv)
QOR_BINARY_KERNELS(sHypot, HA, SHypotHA, SHypotHA, StandardEnv)
QOR_BINARY_KERNELS(sHypot, EP, SHypotEP, SHypotEP, StandardEnv)
QOR_BINARY_KERNELS(dHypot, LA, DHypot<0>, DHypot<0>, StandardEnv)
QOR_BINARY_KERNELS(dHypot, HA, DHypot<1>, DHypot<1>, StandardEnv)
QOR_BINARY_KERNELS(dHypot, EP, DHypot<2>, DHypot<2>, StandardEnv)
