// dExp in three tiers. LA: 1024-row table of short rows, degree 3; HA:
// 64-row hi/lo table, two-part reduction, degree 5; EP: 128-row table, one
// reduction constant, degree 2. Each computes 2^n T[j] (1 + p) with n added
// to the exponent field as an integer.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/exp/exp_common.h"

namespace qor::kernels {
namespace {

using namespace qor::simd;
using namespace qor::kernels::expk;

constexpr double kShifter = 6755399441055744.0;        // 1.5 * 2^52: k lands in the low bits
constexpr int32_t kLaneBound = 0x4086232a;              // high word of about 708.39563
constexpr double kOverflow = f64(0x40862e42fefa39ef);   // 709.78271289338397
constexpr double kUnderflow = f64(0xc0874910d52d3051);  // -745.13321910194111
constexpr uint64_t kExpField = 0xfff0000000000000ull;

inline vl2 special_lanes(vd2 x) { return high_word_gt(as<vl2>(as<vq2>(x) & 0x7fffffffffffffffull), kLaneBound); }

// The vector shortcut under ERRMODE_NOERR: overflow to +Inf, underflow to 0.
inline vl2 noerr_fix_dexp(vd2 x, vd2 &r) {
  vl2 hi = x > kOverflow, lo = x < kUnderflow;
  r = as<vd2>((as<vl2>(r) & ~(hi | lo)) | (hi & 0x7ff0000000000000ll));
  return hi | lo;
}

// The frame description of a tier; Core::core(x, e) returns T[j] (1 + p)
// and the exponent-field addend e = n << 52.
template <class Core, class Scalar> struct DExpKernel {
  using T = double;
  static constexpr int kIn = 1, kOut = 1, kBlock = Core::kBlock;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = "vdExp";

  static vd2 lanes(vd2 x, vl2 &bad) {
    vq2 e;
    const vd2 v = Core::core(x, e);
    bad = special_lanes(x);
    return as<vd2>(as<vq2>(v) + e);
  }
  // Every tier's scalar routine runs the HA arithmetic (each kernel has its own copy).
  static int scalar(const double *a, double *r) { return exp_double_scalar<Scalar>(*a, kOverflow, kUnderflow, r); }
  static vl2 noerr_fix(vd2 x, vd2 &r) { return noerr_fix_dexp(x, r); }
};

// LA: N = 1024; k shifted left by 42 leaves n in the exponent field.
struct DExpLACore {
  static constexpr int kBlock = 8;
  static constexpr double kInvL = 1477.3197218702985;
  static constexpr double kL1 = f64(0x3f462e42fec00000), kL2 = f64(0x3d5d1cf79abc9e3b);

  static vd2 core(vd2 x, vq2 &e) {
    const vd2 t = x * kInvL + kShifter;
    const vd2 k = t - kShifter;
    const vd2 r = (x - k * kL1) - k * kL2;
    const vq2 kb = as<vq2>(t);
    e = (kb << 42) & kExpField;
    const vd2 tj = gather(exp_tables::kExp2d_1024, as<vl2>(kb & 1023));
    const vd2 p = r + r * r * (0.50000000357965391 + r * 0.16666666666666669);
    return tj + tj * p;
  }
};

QOR_ACCURACY(dExp, LA, ULP, 4.0)
QOR_INTERVAL(dExp, -745.2, 709.8, 1000000)  // all tiers: the whole finite range
QOR_INTERVAL(dExp, -1.0, 1.0, 200000)
QOR_INTERVAL(dExp, 700.0, 709.79, 100000)     // overflow neighbourhood
QOR_INTERVAL(dExp, -745.2, -705.0, 100000)    // denormal results and underflow

// HA: the 64-row hi/lo core of exp_common.h.
using DExpHACore = expk::ExpHACore;
using DExpHA = DExpKernel<DExpHACore, DExpHACore>;
QOR_ACCURACY(dExp, HA, ULP, 1.0)

// EP: N = 128, one reduction constant, degree 2; k shifted by 45.
struct DExpEPCore {
  static constexpr int kBlock = 8;
  static constexpr double kInvL = 184.66496523378731;
  static constexpr double kL = f64(0x3f762e42fefa39ef);

  static vd2 core(vd2 x, vq2 &e) {
    const vd2 t = x * kInvL + kShifter;
    const vd2 r = x - (t - kShifter) * kL;
    const vq2 kb = as<vq2>(t);
    e = (kb << 45) & kExpField;
    const vd2 tj = gather(exp_tables::kExp2d_128, as<vl2>(kb & 127));
    const vd2 p = r + 0.49999908361121337 * r * r;
    return tj + tj * p;
  }
};
using DExpLA = DExpKernel<DExpLACore, DExpHACore>;
using DExpEP = DExpKernel<DExpEPCore, DExpHACore>;
QOR_ACCURACY(dExp, EP, BITS, 26)

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
QOR_UNARY_KERNELS(dExp, LA, qor::kernels::DExpLA, StandardEnv)
QOR_UNARY_KERNELS(dExp, HA, qor::kernels::DExpHA, StandardEnv)
QOR_UNARY_KERNELS(dExp, EP, qor::kernels::DExpEP, StandardEnv)
