// sErf in three tiers. LA and EP work in float over the 504-row grid erf(k/128),
// (2/sqrt(pi)) e^(-k^2/128^2) up to the cap 3.9296875 (above it erf rounds
// to 1); HA reduces in float on the 1/256 grid and evaluates in double from
// a double table, rounding once. The sign of x is or-ed into the result.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/erf/erf_common.h"

namespace qor::kernels {
namespace {

using namespace qor::kernels::erfk;

constexpr float kCap = 3.9296875f;
constexpr float kZeroZ = 0x1p-60f;  // below it h*h would underflow

// LA: S through q^3 and z q (|q| <= 0.0154); EP: through q^2 and z.
template <int N0, int N1> struct SErfFloat {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsErf";
  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = vi4{};
    const vf4 sign = sign_of(x);
    const vf4 g = vmin(vf4{} + kCap, vabs(x));
    const Grid<vf4> p(g, 65536.0f);  // multiples of 2^-7
    vf4 e, f;
    rows<504>(erf_tables::kErfS, p.y, e, f);
    const vf4 q = p.x0 * p.h;
    const vf4 z = as<vf4>(as<vi4>(p.h * p.h) & gt(g, kZeroZ));
    const vf4 s = taylor_s<ErfSeries, N0, N1, -1>(q, z);
    const vf4 d = p.h * f;
    return bor(e + (d + s * d), sign);
  }
  static int scalar(const float *a, float *r) { return *r = *a, 0; }  // never called: no lane is flagged
};
using SErfLA = SErfFloat<3, 1>;
using SErfEP = SErfFloat<2, 0>;
QOR_ACCURACY(sErf, LA, ULP, 4.0)
QOR_ACCURACY(sErf, EP, BITS, 11)

// HA: the 1/256 grid (|q| <= 0.0077), S through q^4 and z q in double.
struct SErfHA {
  using T = float;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr float kPad = 0.75f;
  static constexpr const char *kName = "vsErf";
  static vf4 lanes(vf4 x, vi4 &bad) {
    bad = vi4{};
    const vf4 g = vmin(vf4{} + kCap, vabs(x));
    const Grid<vf4> p(g, 32768.0f);  // multiples of 2^-8
    const vf4 r = in_double<1007>(erf_tables::kErfHaS, x, p, [](vd2, vd2 x0, vd2 h, vd2 e, vd2 f) {
      const vd2 d = h * f;
      return e + (d + taylor_s<ErfSeries, 4, 1, -1>(x0 * h, h * h) * d);
    });
    return bor(r, sign_of(x));
  }
  static int scalar(const float *a, float *r) { return *r = *a, 0; }
};
QOR_ACCURACY(sErf, HA, ULP, 1.0)

QOR_INTERVAL(sErf, -4.5, 4.5, 300000)
QOR_INTERVAL(sErf, -0.05, 0.05, 10000)
QOR_INTERVAL_LOG(sErf, 1e-45, 0.1, 10000)  // tiny and denormal inputs
QOR_INTERVAL(sErf, 3.9, 3.95, 10000)         // the cap
QOR_INTERVAL(sErf, 3.9, 1e30, 10000)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(sErf, LA, qor::kernels::SErfLA, StandardEnv)
QOR_UNARY_KERNELS(sErf, HA, qor::kernels::SErfHA, StandardEnv)
QOR_UNARY_KERNELS(sErf, EP, qor::kernels::SErfEP, StandardEnv)
