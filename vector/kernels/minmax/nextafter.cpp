// NextAfter: one step of the bits toward b. The vector path adds 1 or -1 to
// the bits; zero, denormal, infinite and NaN inputs, the lowest and highest
// normal binades (whose step may leave the normal range) and a equal to b go
// to the scalar routine, which reports overflow (3) and underflow (4).
#include "vector/kernels/arith/bitops.h"

namespace qor::kernels {
namespace {

using namespace bits;

// Lanes outside the binades 2..253 (float) or 2..2045 (double), by the
// magnitude bits or their high words.
inline vi4 edge_binades(vf4 a) {
  const vi4 d = (as<vi4>(a) & 0x7fffffff) - 0x01000000;
  return (d < 0) | (d > 0x7dffffff);
}
inline vl2 edge_binades(vd2 a) {
  const vi4 d = (as<vi4>(a) & 0x7fffffff) - 0x00200000;
  const vi4 m = (d < 0) | (d > 0x7fbfffff);
  return as<vl2>(__builtin_shuffle(m, vi4{1, 1, 3, 3}));
}

template <class T> constexpr T kSmallestDenormal[2] = {from_bits<T>(1), from_bits<T>(kSignBit<T> | 1)};

struct NextAfterF {
  template <class V> static V two(V a, V b, MaskOf<V> &bad) {
    using M = MaskOf<V>;
    bad = edge_binades(a) | eq(a, b) | is_nan(b);
    // Away from zero (bits + 1) when b lies beyond a on a's side, else toward it.
    const M away = ~(gt(b, a) ^ gt(a, ElemOf<V>(0)));
    // Unsigned lanes: the step may wrap the bits of -0 or of the largest negative.
    using U = UnsignedOf<V>;
    return as<V>(as<U>(a) - (U{} + 1) - as<U>(away) - as<U>(away));
  }
  template <class T> static int run(const T *pa, const T *pb, T *r) {
    const T a = *pa, b = *pb;
    if (nan_bits(a) || nan_bits(b)) return *r = add_ordered(a, b), 0;
    if (a == b) return *r = b, 0;
    const auto sb = ubits(b) & kSignBit<T>;
    if (a == T(0)) return *r = kSmallestDenormal<T>[sb != 0], 4;
    const auto ua = ubits(a);
    const bool same_sign = (ua & kSignBit<T>) == sb;
    const bool up = same_sign && !(__builtin_fabs(a) > __builtin_fabs(b));
    const auto u = up ? ua + 1 : ua - 1;
    *r = from_bits<T>(u);
    const auto mag = u & ~kSignBit<T>;
    constexpr auto kMinNormal = UintOf<T>(1) << kMantBits<T>;
    if (mag >= kExpMask<T>) return 3;
    return mag < kMinNormal ? 4 : 0;
  }
};

constexpr char kS[] = "vsNextAfter", kD[] = "vdNextAfter";
using SNextAfter = Desc<float, 2, 1, 8, kS, NextAfterF>;
using DNextAfter = Desc<double, 2, 1, 4, kD, NextAfterF>;

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
using namespace qor::kernels;
QOR_BINARY_KERNELS(sNextAfter, ALL, SNextAfter, SNextAfter, StandardEnv)
QOR_BINARY_KERNELS(dNextAfter, ALL, DNextAfter, DNextAfter, StandardEnv)
