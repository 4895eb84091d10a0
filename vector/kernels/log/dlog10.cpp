// dLog10: one kernel for LA and EP, one for HA, over the reduction of dLn
// (dlog_common.h) with tables of -log10(c / 2^j). LA/EP: one-part rows, k times
// log10(2) and a degree-5 polynomial in u; HA: hi/lo rows carrying the bias,
// a two-part log10(2), and ln(1 + u) times 1/ln 10 split at 0.43359375.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/log/dlog_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::dlogk;

struct DLog10LACore {
  static constexpr int kBlock = 8;
  static constexpr const char *kName = "vdLog10";
  static vd2 eval(vd2 x, vd2 dk) {
    const Reduced q = reduce(x);
    const vd2 k = la_exponent(q) + dk;
    const vd2 t = gather_at(dlog_tables::kLog10LA, row_offset8(q.c));
    const vd2 u = q.u;
    const vd2 u2 = u * u;
    const vd2 p = (0.43429448190325182 + u * -0.21714724095157728) +
                  u2 * ((0.14476482730097556 + u * -0.10857375315018218) + u2 * 0.086859055590810946);
    return (k * 0.3010299956639812 + t) + u * p;
  }
};
QOR_ACCURACY(dLog10, LA, ULP, 4.0)
QOR_ACCURACY(dLog10, EP, BITS, 26)
QOR_INTERVAL_LOG(dLog10, 4.9e-324, 1.7e308, 1000000)  // every binade, denormals included
QOR_INTERVAL(dLog10, 0.99, 1.01, 200000)              // next to 1, both sides
QOR_INTERVAL(dLog10, 0.9995, 1.0005, 200000)
QOR_INTERVAL(dLog10, 1.4128, 1.4150, 100000)          // c = 724 / 725
QOR_INTERVAL(dLog10, 1.9985, 2.0015, 100000)          // the ends of the mantissa interval

// HA: k G1 + T.hi is exact (multiples of 2^-38 below 2^10: G1 has 36 bits)
// and so is uh kInvHi for the top 21 bits uh of u (kInvHi = 111/256); their
// sum is taken exactly.
struct DLog10HACore {
  static constexpr int kBlock = 8;
  static constexpr const char *kName = "vdLog10";
  static constexpr double kG1 = 0.30102999566224753, kG2 = 1.7336659603714182e-12;
  static constexpr double kInv = 0.43429448190325182, kInvHi = 0.43359375;
  static constexpr double kInvLo = f64(0x3f46f62a4dca1c65);  // 1/ln 10 - kInvHi, 7.0073190325182760e-4
  static vd2 eval(vd2 x, vd2 dk) {
    const Reduced q = reduce(x);
    const vd2 k = ha_exponent(q) + dk;
    vd2 th, tl;
    gather_pairs_at(dlog_tables::kLog10HA, row_offset16(q.c), th, tl);
    const vd2 uh = high_part(q.u);
    vd2 a, e;
    fast_two_sum(k * kG1 + th, uh * kInvHi, a, e);
    return a + ((((k * kG2 + tl) + e) + ((q.u - uh) * kInvHi + q.u * kInvLo)) + ln_tail(q.u) * kInv);
  }
};
QOR_ACCURACY(dLog10, HA, ULP, 1.0)

using DLog10LA = LogKernel<DLog10LACore>;
using DLog10HA = LogKernel<DLog10HACore>;

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dLog10, LAEP, qor::kernels::DLog10LA, StandardEnv)
QOR_UNARY_KERNELS(dLog10, HA, qor::kernels::DLog10HA, StandardEnv)
