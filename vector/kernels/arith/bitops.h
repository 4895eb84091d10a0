// Bit-level helpers shared by the exact kernels (rounding, sign, min/max,
// remainders): sign masks, magnitudes and a description skeleton for the
// frame, all generic over vf4 and vd2.
#ifndef QOR_KERNELS_ARITH_BITOPS_H
#define QOR_KERNELS_ARITH_BITOPS_H

#include <limits>
#include <type_traits>

#include "vector/dispatch/kernel_defs.h"

namespace qor::kernels::bits {

using namespace qor::simd;

template <class V> using MaskOf = decltype(V{} < V{});
template <class V> using ElemOf = std::decay_t<decltype(V{}[0])>;
template <class T> using VecOf = typename Lanes<T>::V;

// The sign bit in every lane, as integer lanes.
template <class V> inline MaskOf<V> sign_mask() {
  using I = ElemOf<MaskOf<V>>;
  return MaskOf<V>{} + std::numeric_limits<I>::min();
}
template <class V> inline V vabs(V x) { return as<V>(as<MaskOf<V>>(x) & ~sign_mask<V>()); }
template <class V> inline V sign_of(V x) { return as<V>(as<MaskOf<V>>(x) & sign_mask<V>()); }
template <class V> inline V bor(V a, V b) { return as<V>(as<MaskOf<V>>(a) | as<MaskOf<V>>(b)); }
template <class V> inline V bxor(V a, V b) { return as<V>(as<MaskOf<V>>(a) ^ as<MaskOf<V>>(b)); }
// m ? a : b by lanes, with the SSE logic instructions (the generic vector
// form may be turned into scalar moves by the compiler).
inline vf4 select(vi4 m, vf4 a, vf4 b) {
  const __m128 mm = as<__m128>(m);
  return as<vf4>(_mm_or_ps(_mm_and_ps(mm, as<__m128>(a)), _mm_andnot_ps(mm, as<__m128>(b))));
}
inline vd2 select(vl2 m, vd2 a, vd2 b) {
  const __m128d mm = as<__m128d>(m);
  return as<vd2>(_mm_or_pd(_mm_and_pd(mm, as<__m128d>(a)), _mm_andnot_pd(mm, as<__m128d>(b))));
}

// Lane comparisons by the SSE compare instructions (for double the generic
// form can come out as scalar code); the second operand may be a scalar.
#define QOR_CMP(name, ps, pd)                                                                                   \
  inline vi4 name(vf4 a, vf4 b) { return as<vi4>(ps(as<__m128>(a), as<__m128>(b))); }                         \
  inline vl2 name(vd2 a, vd2 b) { return as<vl2>(pd(as<__m128d>(a), as<__m128d>(b))); }                       \
  template <class V> inline MaskOf<V> name(V a, ElemOf<V> c) { return name(a, V{} + c); }
QOR_CMP(gt, _mm_cmpgt_ps, _mm_cmpgt_pd)
QOR_CMP(lt, _mm_cmplt_ps, _mm_cmplt_pd)
QOR_CMP(le, _mm_cmple_ps, _mm_cmple_pd)
QOR_CMP(eq, _mm_cmpeq_ps, _mm_cmpeq_pd)
QOR_CMP(unord, _mm_cmpunord_ps, _mm_cmpunord_pd)
#undef QOR_CMP

// Lanes where x is a NaN (unordered with itself).
template <class V> inline MaskOf<V> is_nan(V x) { return unord(x, x); }

// 2^23 or 2^52: adding and subtracting it rounds a smaller magnitude to an integer.
template <class T> constexpr T kIntShift = sizeof(T) == 4 ? T(8388608.0f) : T(4503599627370496.0);

// Scalar bit access.
template <class T> using UintOf = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
template <class T> constexpr UintOf<T> ubits(T x) { return __builtin_bit_cast(UintOf<T>, x); }
template <class T> constexpr T from_bits(UintOf<T> u) { return __builtin_bit_cast(T, u); }
template <class T> constexpr UintOf<T> kSignBit = UintOf<T>(1) << (sizeof(T) * 8 - 1);
template <class T> constexpr UintOf<T> kExpMask = sizeof(T) == 4 ? UintOf<T>(0x7f800000u) : UintOf<T>(0x7ff0000000000000ull);
template <class T> constexpr int kMantBits = sizeof(T) == 4 ? 23 : 52;
template <class T> inline bool nan_bits(T x) { return (ubits(x) & ~kSignBit<T>) > kExpMask<T>; }

// A frame description from a lane formula F and scalar routine S, both
// templates over the element type, for entries of one input or two.
//   F::template one<V>(x, bad) / two<V>(a, b, bad) / pair<V>(a, r1, r2, bad)
//   S::run(const T*...) -> status
template <class T_, int In, int Out, int Block, const char *Name, class F> struct Desc {
  using T = T_;
  using V = VecOf<T>;
  using M = typename Lanes<T>::Bits;
  static constexpr int kIn = In, kOut = Out, kBlock = Block;
  static constexpr T kPad = T(0.75);
  static constexpr const char *kName = Name;
  static V lanes(V x, M &bad) { return F::template one<V>(x, bad); }
  static V lanes(V a, V b, M &bad) { return F::template two<V>(a, b, bad); }
  static void lanes(V a, V &r1, V &r2, M &bad) { F::template pair<V>(a, r1, r2, bad); }
  static int scalar(const T *a, T *r) { return F::run(a, r); }
  static int scalar(const T *a, const T *b, T *r) { return F::run(a, b, r); }
  static int scalar(const T *a, T *r1, T *r2) { return F::run(a, r1, r2); }
};

}  // namespace qor::kernels::bits

#endif
