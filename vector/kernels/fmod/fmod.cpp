// Fmod (remainder with the sign of a, quotient truncated) and Remainder
// (quotient rounded to nearest, ties to even). The vector path divides,
// rounds the quotient down and subtracts b times it in two exact parts; lanes
// whose exponent gap is too wide for that, and those with a zero, denormal,
// infinite or NaN divisor or a non-finite dividend, take a bitwise long division.
#include "vector/kernels/arith/bitops.h"

namespace qor::kernels {
namespace {

using namespace bits;

// Exponent gap up to which the quotient fits the split (12 bits for float,
// 26 for double), and the bits cleared from |b| to make its high part.
template <class T> struct Split;
template <> struct Split<float> {
  static constexpr int kMaxGap = 11;
  static constexpr int32_t kLowBits = 0xfff;
};
template <> struct Split<double> {
  static constexpr int kMaxGap = 25;
  static constexpr int64_t kLowBits = (int64_t(1) << 27) - 1;
};

// Lanes the vector path cannot serve.
inline vi4 long_lanes(vf4 ax, vf4 ab) {
  const vi4 ia = as<vi4>(ax), ib = as<vi4>(ab);
  return ((ia >> 23) - (ib >> 23) > Split<float>::kMaxGap) | (ib < 0x00800000) | (ib >= 0x7f800000) |
         (ia >= 0x7f800000);
}
inline vl2 long_lanes(vd2 ax, vd2 ab) {
  const vi4 ia = as<vi4>(ax), ib = as<vi4>(ab);  // high words in lanes 1 and 3
  const vi4 m = ((ia >> 20) - (ib >> 20) > Split<double>::kMaxGap) | (ib < 0x00100000) | (ib >= 0x7ff00000) |
                (ia >= 0x7ff00000);
  return as<vl2>(__builtin_shuffle(m, vi4{1, 1, 3, 3}));
}

// |a| - k |b| >= 0 with k = floor(|a| / |b|), exactly; k is returned too.
template <class V> inline V floor_rem(V ax, V ab, V &k) {
  using T = ElemOf<V>;
  using M = MaskOf<V>;
  constexpr T kShifter = T(1.5) * kIntShift<T>;
  const V q = ax / ab;
  k = (q + kShifter) - kShifter;
  k = select(lt(q, k), k - T(1.0), k);
  const V bh = as<V>(as<M>(ab) & ~Split<T>::kLowBits), bl = ab - bh;
  V rem = (ax - bh * k) - bl * k;  // both products and differences exact
  const M neg = lt(rem, T(0.0));
  rem = select(neg, rem + ab, rem);
  k = select(neg, k - T(1.0), k);
  return rem;
}

// ----- the scalar long division ---------------------------------------------

template <class T> constexpr int kBias = sizeof(T) == 4 ? 127 : 1023;

// Significand with the leading bit at kMantBits, and the exponent; denormals
// are shifted up and their exponent counted down from the lowest.
template <class T> inline UintOf<T> significand(UintOf<T> mag, int &e) {
  constexpr int P = kMantBits<T>;
  constexpr UintOf<T> one = UintOf<T>(1) << P;
  if (mag >= one) {
    e = int(mag >> P) - kBias<T>;
    return (mag & (one - 1)) | one;
  }
  e = 1 - kBias<T>;
  while (mag < one) mag <<= 1, --e;
  return mag;
}

// The float of magnitude m * 2^(e - P), exact: the value is a remainder.
template <class T> inline UintOf<T> build(UintOf<T> m, int e) {
  constexpr int P = kMantBits<T>;
  constexpr UintOf<T> one = UintOf<T>(1) << P;
  if (m == 0) return 0;
  while (m < one) m <<= 1, --e;
  if (e >= 1 - kBias<T>) return (UintOf<T>(e + kBias<T>) << P) | (m & (one - 1));
  return m >> ((1 - kBias<T>) - e);  // denormal
}

// Fmod by a divisor of magnitude 1: the fractional part, by clearing the
// integer bits; zero of a's sign at 1 and beyond 2^23 (2^52).
template <class T> inline T fmod_by_one(T a, UintOf<T> ua, UintOf<T> sa) {
  constexpr int P = kMantBits<T>;
  if (ua < ubits(T(1.0))) return a;
  const int e = int(ua >> P) - kBias<T>;
  if (e >= P) return from_bits<T>(sa);
  const UintOf<T> int_bits = ua & ~((UintOf<T>(1) << (P - e)) - 1);
  const T frac = from_bits<T>(ua) - from_bits<T>(int_bits);  // exact
  return from_bits<T>(ubits(frac) | sa);
}

template <bool IsRemainder, class T> int long_division(T a, T b, T *r) {
  using U = UintOf<T>;
  if (nan_bits(a) || nan_bits(b)) return *r = mul_ordered(a, b), 0;
  const U sa = ubits(a) & kSignBit<T>;
  const U ua = ubits(a) & ~kSignBit<T>, ub = ubits(b) & ~kSignBit<T>;
  if (ub == 0 || ua == kExpMask<T>) {
    volatile T zero = T(0.0);
    *r = zero / zero;
    return IsRemainder ? 1 : 2;
  }
  if (ub == kExpMask<T>) return *r = a, 0;
  if (!IsRemainder && ub == ubits(T(1.0))) return *r = fmod_by_one(a, ua, sa), 0;
  if (ua < ub) {
    if (!IsRemainder) return *r = a, 0;
    const T ax = from_bits<T>(ua), ab = from_bits<T>(ub);
    const T v = (ax + ax > ab) ? ax - ab : ax;  // quotient 0 is even: a tie keeps ax
    return *r = from_bits<T>(ubits(v) ^ sa), 0;
  }
  int ea, eb;
  U rem = significand<T>(ua, ea);
  const U mb = significand<T>(ub, eb);
  unsigned last = 0;
  for (int i = ea - eb;; --i) {
    last = rem >= mb;
    if (last) rem -= mb;
    if (i == 0) break;
    rem <<= 1;
  }
  U sign = sa;
  if (IsRemainder && (2 * rem > mb || (2 * rem == mb && last))) {
    rem = mb - rem;
    sign ^= kSignBit<T>;
  }
  return *r = from_bits<T>(build<T>(rem, eb) | sign), 0;
}

struct FmodF {
  template <class V> static V two(V a, V b, MaskOf<V> &bad) {
    const V ax = vabs(a), ab = vabs(b);
    bad = long_lanes(ax, ab);
    V k;
    return bor(floor_rem(ax, ab, k), sign_of(a));
  }
  template <class T> static int run(const T *a, const T *b, T *r) { return long_division<false>(*a, *b, r); }
};

// From the floored remainder: above half of |b|, or at half with an odd
// quotient, it moves down by |b|; the result then takes a's sign by XOR.
struct RemainderF {
  template <class V> static V two(V a, V b, MaskOf<V> &bad) {
    using T = ElemOf<V>;
    using M = MaskOf<V>;
    const V ax = vabs(a), ab = vabs(b);
    bad = long_lanes(ax, ab);
    V k;
    const V rem = floor_rem(ax, ab, k);
    const M odd = -(as<M>(k + kIntShift<T>) & 1);  // all ones when k is odd
    const V twice = rem + rem;
    const M down = gt(twice, ab) | (eq(twice, ab) & odd);
    return bxor(select(down, rem - ab, rem), sign_of(a));
  }
  template <class T> static int run(const T *a, const T *b, T *r) { return long_division<true>(*a, *b, r); }
};

constexpr char kSF[] = "vsFmod", kDF[] = "vdFmod", kSR[] = "vsRemainder", kDR[] = "vdRemainder";
using SFmod = Desc<float, 2, 1, 16, kSF, FmodF>;
using DFmod = Desc<double, 2, 1, 8, kDF, FmodF>;
using SRemainder = Desc<float, 2, 1, 4, kSR, RemainderF>;
using SRemainderI = Desc<float, 2, 1, 8, kSR, RemainderF>;
using DRemainder = Desc<double, 2, 1, 4, kDR, RemainderF>;

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
using namespace qor::kernels;
QOR_BINARY_KERNELS(sFmod, ALL, SFmod, SFmod, StandardEnv)
QOR_BINARY_KERNELS(dFmod, ALL, DFmod, DFmod, StandardEnv)
QOR_BINARY_KERNELS(sRemainder, ALL, SRemainder, SRemainderI, StandardEnv)
QOR_BINARY_KERNELS(dRemainder, ALL, DRemainder, DRemainder, StandardEnv)
