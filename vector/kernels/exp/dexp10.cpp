// dExp10, one kernel for all tiers: k = round(x 128 log2 10), r = x - k
// log10(2)/128 by a two-part constant, a 128-row hi/lo table and a degree 5
// polynomial for 10^r - 1.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/exp/exp_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::expk;

struct DExp10 : ScaledExpLanes<DExp10> {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 16;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdExp10";
  static constexpr double kShifter = f64(0x4338800000000000);  // low 45 bits clear
  static constexpr double kInvL = 425.20679614558236;            // 128 log2(10)
  static constexpr double kL1 = f64(0x3f63441350a00000), kL2 = -1.4877444114972089e-14;
  static constexpr int32_t kLaneBound = 0x40733a70;  // high word of about 307.65

  static void parts(vd2 x, vq2 &e, vd2 &hi, vd2 &rest) {
    const vd2 t = x * kInvL + kShifter;
    const vd2 k = t - kShifter;
    const vd2 r = (x - k * kL1) - k * kL2;
    const vq2 kb = as<vq2>(t);
    e = (kb >> 7) << 52;  // n = k >> 7 into the exponent field (two shifts, no mask constant)
    vd2 lo;
    gather_rows<128>(exp_tables::kExp2d2_128, kb, hi, lo);
    // 10^r - 1 = r q(r), q by Estrin's scheme (independent pairs, a shorter
    // chain than Horner's); hi r is formed beside q.
    const vd2 r2 = r * r;
    const vd2 q = (2.3025850929940459 + r * 2.650949055239026) +
                  r2 * ((2.0346785917911965 + r * 1.1712555494866221) + r2 * 0.53964245129450683);
    rest = lo + (hi * r) * q;
  }
  // Overflow from 308.26 up, zero below -323.61, denormals between.
  static int scalar(const double *a, double *r) { return exp_double_scalar<DExp10>(*a, 310.0, -330.0, r); }
};
QOR_ACCURACY(dExp10, LA, ULP, 4.0)
QOR_ACCURACY(dExp10, HA, ULP, 1.0)
QOR_ACCURACY(dExp10, EP, BITS, 26)
QOR_INTERVAL(dExp10, -323.7, 308.3, 1000000)  // the whole finite range, denormals included
QOR_INTERVAL(dExp10, -1.0, 1.0, 200000)
QOR_INTERVAL(dExp10, -308.5, -307.0, 50000)  // the lane bound and the denormal edge
QOR_INTERVAL(dExp10, 307.0, 308.3, 50000)    // the lane bound and overflow

}  // namespace
}  // namespace qor::kernels

QOR_UNARY_KERNELS(dExp10, ALL, qor::kernels::DExp10, qor::bex::StandardEnv)
