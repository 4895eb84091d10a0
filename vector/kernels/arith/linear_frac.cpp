// LinearFrac: r = (scale_a a + shift_a) / (scale_b b + shift_b), the scalars
// broadcast once. Single precision divides by an approximate reciprocal with
// one Newton step; double divides. Zero scales skip their multiplication, and
// with both zero every element is the same quotient. No lane test, no reports:
// a zero divisor gives what the division gives.
#include "vector/kernels/arith/bitops.h"

namespace qor::kernels {
namespace {

using namespace bits;
using qor::bex::SavedEnv;
using qor::bex::StandardEnv;
using qor::bex::strided_index;

// The quotient, lane by lane. For float the reciprocal estimate is refined by
// y + y (1 - d y); lanes whose divisor the estimate cannot serve (zero,
// denormal, infinite, beyond 2^126) are divided, so their special cases come
// out as from a division. The test branches once for a group of vectors.
inline vi4 odd_divisors(vf4 den) {
  const vf4 ad = vabs(den);
  return ~(le(vf4{} + 1.17549435e-38f, ad) & le(ad, 8.50705917e37f));
}
inline vl2 odd_divisors(vd2) { return vl2{}; }
// The estimate y of 1/den is refined once by its error e = 1 - den y. For a
// divisor the estimate serves, |e| is below 2^-11; for zero and infinite
// divisors e is NaN, for denormal ones infinite, and beyond 2^126 (where the
// estimate flushes to 0) it is 1. The sum of e^2 over a block, kept in err,
// is therefore below 1/4 unless some lane needs the division (NaN divisors
// need none: the estimate gives the division's bits).
inline vf4 reciprocal_quotient(vf4 num, vf4 den, vf4 &err) {
  const vf4 y = as<vf4>(_mm_rcp_ps(as<__m128>(den)));
  const vf4 e = 1.0f - den * y;  // y and e carry den's NaN, so their order needs no pinning
  err += e * e;
  return mul_ordered(num, y + y * e);
}
inline vd2 reciprocal_quotient(vd2 num, vd2 den, vd2 &) { return num / den; }
inline bool any_odd(vf4 err) { return lane_bits(as<vi4>(_mm_cmpnlt_ps(as<__m128>(err), _mm_set1_ps(0.25f)))) != 0; }
inline bool any_odd(vd2) { return false; }

// The four scalars, broadcast once per call.
template <class T> struct Scalars {
  VecOf<T> sa, ha, sb, hb;
  Scalars(T a, T b, T c, T d) : sa(VecOf<T>{} + a), ha(VecOf<T>{} + b), sb(VecOf<T>{} + c), hb(VecOf<T>{} + d) {}
};

// Numerator and divisor of one vector, by which scales are zero (Case: bit 0
// scale_a, bit 1 scale_b).
template <int Case, class V, class T> inline V numerator(V a, const Scalars<T> &s) {
  return (Case & 1) ? s.ha : add_ordered(mul_ordered(a, s.sa), s.ha);
}
template <int Case, class V, class T> inline V divisor(V b, const Scalars<T> &s) {
  return (Case & 2) ? s.hb : add_ordered(mul_ordered(b, s.sb), s.hb);
}

// One vector of results, each lane on its own: the estimate, or the division
// for a divisor the estimate cannot serve. Every path gives these bits.
template <int Case, class V, class T> inline V lf_exact(V a, V b, const Scalars<T> &s) {
  const V num = numerator<Case>(a, s), den = divisor<Case>(b, s);
  V err{};
  return select(odd_divisors(den), num / den, reciprocal_quotient(num, den, err));
}

// A block with an odd divisor, recomputed lane by lane from a and b, which
// the block has not written yet (r may alias them). Out of line, so that the
// fast loop keeps nothing alive for it.
template <int Case, int NV, class T>
__attribute__((noinline, cold)) void lf_block_redo(const T *a, const T *b, const Scalars<T> &s, T *r) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T);
  for (int v = 0; v < NV; ++v) store<V>(r + v * W, lf_exact<Case>(load<V>(a + v * W), load<V>(b + v * W), s));
}

template <int Case, class T>
void lf_strided_loop(int n, const T *a, int inca, const T *b, int incb, const Scalars<T> &s, T *r, int incr);

// Blocks of 16 from the arrays: estimates, with one test of the block's
// error sum; the tail as the strided form with unit strides.
template <int Case, class T> void lf_loop(int n, const T *a, const T *b, const Scalars<T> &s, T *r) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T), B = 16, NV = B / W;
  int i = 0;
  for (; i + B <= n; i += B) {
    V z[NV], err{};
    for (int v = 0; v < NV; ++v)
      z[v] = reciprocal_quotient(numerator<Case>(load<V>(a + i + v * W), s), divisor<Case>(load<V>(b + i + v * W), s), err);
    if (__builtin_expect(any_odd(err), 0)) {
      lf_block_redo<Case, NV>(a + i, b + i, s, r + i);
      continue;
    }
    for (int v = 0; v < NV; ++v) store<V>(r + i + v * W, z[v]);
  }
  lf_strided_loop<Case>(n - i, a + i, 1, b + i, 1, s, r + i, 1);
}

// Strided (and the unit tail): two elements a round, padded, through the
// same lane formula.
template <int Case, class T>
void lf_strided_loop(int n, const T *a, int inca, const T *b, int incb, const Scalars<T> &s, T *r, int incr) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T);
  for (int i = 0; i < n; i += 2) {
    const int live = n - i < 2 ? n - i : 2;
    alignas(16) T x[W], y[W];
    for (int j = 0; j < W; ++j) x[j] = y[j] = T(0.75);
    for (int j = 0; j < live; ++j) x[j] = get(a + strided_index(i + j, inca)), y[j] = get(b + strided_index(i + j, incb));
    const V z = lf_exact<Case>(load<V>(x), load<V>(y), s);
    for (int j = 0; j < live; ++j) put(r + strided_index(i + j, incr), z[j]);
  }
}

// Both forms choose by the scalars in the same way, so that a strided call
// gives the bits of the unit call: a zero scale is skipped, not multiplied
// (0 times an infinite or NaN element would be a NaN), and with both scales
// zero every element is the same quotient.
template <class T, class Loop> void by_scales(int n, T sa, T sb, const Scalars<T> &s, T *r, int incr, Loop loop) {
  if (sa == T(0) && sb == T(0)) {
    const VecOf<T> q = lf_exact<3>(VecOf<T>{}, VecOf<T>{}, s);
    for (int i = 0; i < n; ++i) put(r + strided_index(i, incr), q[0]);
  } else if (sb == T(0)) {
    loop(std::integral_constant<int, 2>{});
  } else if (sa == T(0)) {
    loop(std::integral_constant<int, 1>{});
  } else {
    loop(std::integral_constant<int, 0>{});
  }
}

template <class T> void linear_frac_unit(int n, const T *a, const T *b, T sa, T ha, T sb, T hb, T *r) {
  SavedEnv env = StandardEnv::enter();
  const Scalars<T> s(sa, ha, sb, hb);
  by_scales(n, sa, sb, s, r, 1, [&](auto c) { lf_loop<decltype(c)::value>(n, a, b, s, r); });
  qor::bex::fpenv::leave(env);
}

template <class T>
void linear_frac_strided(int n, const T *a, int inca, const T *b, int incb, T sa, T ha, T sb, T hb, T *r,
                         int incr) {
  SavedEnv env = StandardEnv::enter();
  const Scalars<T> s(sa, ha, sb, hb);
  by_scales(n, sa, sb, s, r, incr,
            [&](auto c) { lf_strided_loop<decltype(c)::value>(n, a, inca, b, incb, s, r, incr); });
  qor::bex::fpenv::leave(env);
}

}  // namespace
}  // namespace qor::kernels

using namespace qor::kernels;
QOR_CUSTOM_LINFRAC(sLinearFrac, ALL, float, linear_frac_unit<float>, linear_frac_strided<float>)
QOR_CUSTOM_LINFRAC(dLinearFrac, ALL, double, linear_frac_unit<double>, linear_frac_strided<double>)
