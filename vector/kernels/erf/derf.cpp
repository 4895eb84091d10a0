// dErf in three tiers over the 768-row grid erf(k/128), (2/sqrt(pi)) e^(-k^2/128^2):
// erf(x0 + h) = E + (D + S D) with D = h F, the sign of x folded into E and D
// and or-ed into the result (so erf(-0) = -0). No input fails: a NaN runs
// through the lanes (the cap is the first operand of the minimum), and there
// is no scalar routine to call.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/erf/erf_common.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::erfk;
using erf_tables::kErfD;

constexpr double kCap = 5.9921875;            // erf rounds to 1 above
constexpr double kShifter = 35184372088832.0;  // 2^45: rounds g to multiples of 2^-7
constexpr double kZeroZ = 8.6361685550944446e-78;  // 2^-256: below it h*h would underflow

// The series of a tier, S(q, z).
struct LaSeries {
  static vd2 s(vd2 q, vd2 z) {
    const vd2 a = ((-0.044444492128545655 * q + 0.13333346957258876) * q - 0.3333333333331433) * q + 0.66666666666637431;
    const vd2 b = ((0.2222225798503483 * q - 0.40000061307679369) * q + 0.4999999999993861) * q;
    const vd2 c = (-0.16666698455829951 * q + 0.10000027247855717) * z - 0.33333333333333331 + b;
    return q * q * a - q + z * c;
  }
};
// EP: the leading four terms, fitted.
struct EpSeries {
  static vd2 s(vd2 q, vd2 z) {
    return q * (-1.0000014305126206 + 0.66666781107678186 * q + 0.5000019073510884 * z) -
           0.33333504994947405 * z;
  }
};

// The table path; `sign` receives the sign bit of x. HA adds the low part
// of E (a column beside the table), without which E's rounding alone can
// cost half an ulp of the result.
template <class Ser, bool WithLo = false> inline vd2 table_path(vd2 x, vd2 &sign) {
  sign = sign_of(x);
  const vd2 t = vabs(x);
  const vd2 g = vmin(vd2{} + kCap, t);
  const Grid<vd2> p(g, kShifter);
  vd2 e, f, el = {};
  if constexpr (WithLo) rows<768>(kErfD, erf_tables::kErfLoD, p.y, e, f, el);
  else rows<768>(kErfD, p.y, e, f);
  const vd2 q = p.x0 * p.h;
  const vd2 z = as<vd2>(as<vl2>(p.h * p.h) & gt(g, kZeroZ));
  const vd2 s = Ser::s(q, z);
  const vd2 d = bxor(p.h * f, sign);
  if constexpr (WithLo) return bor(bxor(e, sign) + (bxor(el, sign) + (d + s * d)), sign);
  return bor(bxor(e, sign) + (d + s * d), sign);
}

template <class Ser> struct DErfTable {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdErf";
  static vd2 lanes(vd2 x, vl2 &bad) {
    bad = vl2{};
    vd2 sign;
    return table_path<Ser>(x, sign);
  }
  static int scalar(const double *a, double *r) { return *r = *a, 0; }  // never called: no lane is flagged
};
using DErfLA = DErfTable<LaSeries>;
using DErfEP = DErfTable<EpSeries>;

QOR_ACCURACY(dErf, LA, ULP, 4.0)
QOR_ACCURACY(dErf, EP, BITS, 26)
QOR_INTERVAL(dErf, -6.5, 6.5, 300000)   // all tiers: the whole non-constant range
QOR_INTERVAL(dErf, -0.05, 0.05, 10000)  // first rows, HA's first stage and its seam
QOR_INTERVAL_LOG(dErf, 1e-320, 0.1, 10000)  // tiny and denormal inputs
QOR_INTERVAL(dErf, 5.98, 6.01, 10000)    // the cap
QOR_INTERVAL(dErf, 0.02, 0.035, 10000)   // the seam at 0.02734375
QOR_INTERVAL(dErf, 6.0, 1e300, 10000)

// HA: below 0.02734375 the series about 0, erf(x) = x + x P(x^2) with the
// Taylor coefficients of (2/sqrt(pi)) sum (-1)^n x^(2n+1) / (n! (2n+1)) after
// the leading 1; it runs scaled by 2^1016 so that tiny and denormal results
// are rounded once.
struct DErfHA {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdErf";
  static constexpr double kCut = 0.02734375;
  static constexpr double kUp = 0x1p1016, kDown = 0x1p-1016;

  static vd2 lanes(vd2 x, vl2 &bad) {
    bad = vl2{};
    vd2 sign;
    const vd2 r = table_path<LaSeries, true>(x, sign);
    const vd2 t = vabs(x);
    const vd2 ts = vmin(t, vd2{} + kCut);  // a NaN t gives the cut, and the table path its NaN
    const vd2 u = ts * ts;
    const vd2 p = 0.12837916709551259 +
                  u * (-0.37612638903183754 +
                       u * (0.11283791670955126 + u * (-0.026866170645131252 + u * 0.0052239776254421878)));
    const vd2 xs = ts * kUp;
    const vd2 small = bor((xs + xs * p) * kDown, sign);
    return select(lt(t, kCut), small, r);
  }
  static int scalar(const double *a, double *r) { return *r = *a, 0; }
};
QOR_ACCURACY(dErf, HA, ULP, 1.0)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dErf, LA, qor::kernels::DErfLA, StandardEnv)
QOR_UNARY_KERNELS(dErf, HA, qor::kernels::DErfHA, StandardEnv)
QOR_UNARY_KERNELS(dErf, EP, qor::kernels::DErfEP, StandardEnv)
