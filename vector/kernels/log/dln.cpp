// dLn in three tiers. LA and HA reduce by an integer reciprocal c of the
// mantissa (dlog_common.h) and add a 513-row table of -ln(c / 2^j): LA with one
// double a row and one constant for ln 2, HA with hi/lo rows that carry the
// exponent bias and a two-part ln 2, summed so that the large part is exact.
// EP takes its row from the top mantissa bits, in a table of short
// reciprocals, with the SSE unit held at round to nearest.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/log/dlog_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::dlogk;

// LA: ((k ln 2 + T) + u) + tail.
struct DLnLACore {
  static constexpr int kBlock = 8;
  static constexpr const char *kName = "vdLn";
  static vd2 eval(vd2 x, vd2 dk) {
    const Reduced q = reduce(x);
    const vd2 k = la_exponent(q) + dk;
    const vd2 t = gather_at(dlog_tables::kLnLA, row_offset8(q.c));
    return ((k * 0.69314718055994529 + t) + q.u) + ln_tail(q.u);
  }
};
QOR_ACCURACY(dLn, LA, ULP, 4.0)
QOR_INTERVAL_LOG(dLn, 4.9e-324, 1.7e308, 1000000)  // every binade, denormals included
QOR_INTERVAL(dLn, 0.99, 1.01, 200000)              // next to 1, both sides
QOR_INTERVAL(dLn, 0.9995, 1.0005, 200000)
QOR_INTERVAL(dLn, 1.4128, 1.4150, 100000)          // c = 724 / 725
QOR_INTERVAL(dLn, 1.9985, 2.0015, 100000)          // the ends of the mantissa interval
QOR_INTERVAL(dLn, 0.49, 0.51, 100000)

// HA: the bias is in the rows; k L1 + T.hi + u is summed exactly.
struct DLnHACore {
  static constexpr int kBlock = 8;
  static constexpr const char *kName = "vdLn";
  static vd2 eval(vd2 x, vd2 dk) {
    const Reduced q = reduce(x);
    return ln_two_part(q, ha_exponent(q) + dk, vd2{0.0, 0.0});
  }
};
QOR_ACCURACY(dLn, HA, ULP, 1.0)

// EP: x = 2^e m, m in [1, 2); j = the top 9 mantissa bits rounded, r_j about
// 1/m to 21 bits, u = m r_j - 1 (|u| < 2^-10), ln x = e ln 2 + (-ln r_j) +
// ln(1 + u). The rounding carry moves into e and picks the last row (0.5, 0).
// ln(1 + u) = u - u^2/2 + u^3/3: relative error below u^3/4 < 2^-32; with the
// u^2 term alone it would be u^2/3, 2^-21.6 next to 1.
struct DLnEPCore {
  static vd2 eval(vd2 x, vd2 dk) {
    const vq2 bits = as<vq2>(x);
    const vq2 carried = bits + 0x0000040000000000ull;  // + 0x400 on the high word
    const vq2 off = (((bits & 0x000fffff00000000ull) + 0x0000040000000000ull) >> 39) & ~15ull;  // 16 j
    const vd2 e = (as<vd2>((carried >> 52) | as<uint64_t>(kTwo52)) - (kTwo52 + 1023.0)) + dk;
    const vd2 m = as<vd2>((bits & kMantissa) | 0x3ff0000000000000ull);
    vd2 r, t;
    gather_pairs_at(dlog_tables::kLnEP, off, r, t);
    const vd2 u = m * r - 1.0;
    return (e * 0.69314718055994529 + t) + (u + u * u * (-0.5 + u * 0.33333333333333331));
  }
};

// The kernel runs in the double x87 variant with the SSE unit held as well
// (DoubleX87NearestEnv). The scalar routine runs the same lane formula, so
// every path, and every group of four, agrees bit for bit.
struct DLnEP {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = 4;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdLn";
  // The high word less 0x100000 below 0x7fdfffff (unsigned): positive normal,
  // finite, and not in the top corner of the largest binade.
  static vd2 lanes(vd2 x, vl2 &bad) {
    const vu4 w = as<vu4>(x) - 0x100000u;
    bad = from_high_words(as<vi4>(w >= 0x7fdfffffu));
    return DLnEPCore::eval(x, vd2{0.0, 0.0});
  }
  static int scalar(const double *a, double *r) { return log_scalar<DLnEPCore>(a, r); }
};
QOR_ACCURACY(dLn, EP, BITS, 26)

using DLnLA = LogKernel<DLnLACore>;
using DLnHA = LogKernel<DLnHACore>;

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dLn, LA, qor::kernels::DLnLA, StandardEnv)
QOR_UNARY_KERNELS(dLn, HA, qor::kernels::DLnHA, StandardEnv)
QOR_UNARY_KERNELS(dLn, EP, qor::kernels::DLnEP, qor::bex::DoubleX87NearestEnv)
