// dLog2 in three tiers, over the reduction of dLn (dlog_common.h) with tables
// of -log2(c / 2^j): the exponent is added as it is. LA: one-part rows and a
// degree-5 polynomial in u; HA: hi/lo rows carrying the bias and ln(1 + u)
// times 1/ln 2 in two parts, the large part exact; EP: LA with degree 3.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/log/dlog_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::dlogk;

// LA: k + T + u P(u), P the series of log2(1 + u) / u fitted to degree 4.
struct DLog2LACore {
  static constexpr int kBlock = 8;
  static constexpr const char *kName = "vdLog2";
  static vd2 eval(vd2 x, vd2 dk) {
    const Reduced q = reduce(x);
    const vd2 k = la_exponent(q) + dk;
    const vd2 t = gather_at(dlog_tables::kLog2LA, row_offset8(q.c));
    const vd2 u = q.u;
    const vd2 u2 = u * u;
    const vd2 p = (1.4426950408889634 + u * -0.7213475204443105) +
                  u2 * ((0.48089834696260636 + u * -0.36067421384536552) + u2 * 0.28853955252864438);
    return (k + t) + u * p;
  }
};
QOR_ACCURACY(dLog2, LA, ULP, 4.0)
QOR_INTERVAL_LOG(dLog2, 4.9e-324, 1.7e308, 1000000)  // every binade, denormals included
QOR_INTERVAL(dLog2, 0.99, 1.01, 200000)              // next to 1, both sides
QOR_INTERVAL(dLog2, 0.9995, 1.0005, 200000)
QOR_INTERVAL(dLog2, 1.4128, 1.4150, 100000)          // c = 724 / 725
QOR_INTERVAL(dLog2, 1.9985, 2.0015, 100000)          // the ends of the mantissa interval

// HA: 1/ln 2 = kInvHi + kInvLo, kInvHi of 9 bits so that uh kInvHi is exact
// for the top 21 bits uh of u; k + T.hi + uh kInvHi is summed exactly.
struct DLog2HACore {
  static constexpr int kBlock = 8;
  static constexpr const char *kName = "vdLog2";
  static constexpr double kInv = 1.4426950408889634, kInvHi = 1.44140625;
  static constexpr double kInvLo = f64(0x3f551d94ae0bf85e);  // 1/ln 2 - kInvHi, 1.2887908889634074e-3
  static vd2 eval(vd2 x, vd2 dk) {
    const Reduced q = reduce(x);
    const vd2 k = ha_exponent(q) + dk;
    vd2 th, tl;
    gather_pairs_at(dlog_tables::kLog2HA, row_offset16(q.c), th, tl);
    const vd2 uh = high_part(q.u);
    vd2 a, e;
    fast_two_sum(k + th, uh * kInvHi, a, e);
    return a + (((tl + e) + ((q.u - uh) * kInvHi + q.u * kInvLo)) + ln_tail(q.u) * kInv);
  }
};
QOR_ACCURACY(dLog2, HA, ULP, 1.0)

// EP: LA with the polynomial cut to degree 2 (relative error below u^3/4).
struct DLog2EPCore {
  static constexpr int kBlock = 8;
  static constexpr const char *kName = "vdLog2";
  static vd2 eval(vd2 x, vd2 dk) {
    const Reduced q = reduce(x);
    const vd2 k = la_exponent(q) + dk;
    const vd2 t = gather_at(dlog_tables::kLog2LA, row_offset8(q.c));
    const vd2 u = q.u;
    return (k + t) + u * (1.4426950408889634 + u * (-0.7213475204443105 + u * 0.48089834696260636));
  }
};
QOR_ACCURACY(dLog2, EP, BITS, 26)

using DLog2LA = LogKernel<DLog2LACore>;
using DLog2HA = LogKernel<DLog2HACore>;
using DLog2EP = LogKernel<DLog2EPCore>;

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dLog2, LA, qor::kernels::DLog2LA, StandardEnv)
QOR_UNARY_KERNELS(dLog2, HA, qor::kernels::DLog2HA, StandardEnv)
QOR_UNARY_KERNELS(dLog2, EP, qor::kernels::DLog2EP, StandardEnv)
