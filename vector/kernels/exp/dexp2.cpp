// dExp2, one kernel for all tiers: k = round(64 x) by a shifter that keeps
// six fractional bits, f = x - k/64 exactly, a 64-row hi/lo table and a
// degree 5 polynomial in f.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/exp/exp_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::expk;

struct DExp2 : ScaledExpLanes<DExp2> {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdExp2";
  static constexpr double kShifter = 105553116266496.0;  // 1.5 * 2^46: ulp 2^-6
  static constexpr int32_t kLaneBound = 0x408fefff;      // high word of about 1022

  static void parts(vd2 x, vq2 &e, vd2 &hi, vd2 &rest) {
    const vd2 t = x + kShifter;
    const vd2 f = x - (t - kShifter);
    const vq2 kb = as<vq2>(t);  // the shifter's low 46 bits are clear: these are k's
    e = (kb >> 6) << 52;  // n = k >> 6 into the exponent field (two shifts, no mask constant)
    vd2 lo;
    gather_rows<64>(exp_tables::kExp2d2_64, kb, hi, lo);
    // 2^f - 1 = f q(f), q by Estrin's scheme: its three pairs are independent,
    // so the chain from f to the result is four operations shorter than
    // Horner's; hi f is formed beside q.
    const vd2 f2 = f * f;
    const vd2 q = (0.69314718055994529 + f * 0.24022650695884967) +
                  f2 * ((0.05550410866607508 + f * 0.0096181422696537591) + f2 * 0.0013333417185814622);
    rest = lo + (hi * f) * q;
  }
  // Overflow from 1024 up, zero below -1075, denormals between.
  static int scalar(const double *a, double *r) { return exp_double_scalar<DExp2>(*a, 1025.0, -1080.0, r); }
};
QOR_ACCURACY(dExp2, LA, ULP, 4.0)
QOR_ACCURACY(dExp2, HA, ULP, 1.0)
QOR_ACCURACY(dExp2, EP, BITS, 26)
QOR_INTERVAL(dExp2, -1075.5, 1024.5, 1000000)  // the whole finite range, denormals included
QOR_INTERVAL(dExp2, -1.0, 1.0, 200000)
QOR_INTERVAL(dExp2, -1023.0, -1021.0, 50000)  // the lane bound and the denormal edge

}  // namespace
}  // namespace qor::kernels

QOR_UNARY_KERNELS(dExp2, ALL, qor::kernels::DExp2, qor::bex::StandardEnv)
