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
inline vf4 reciprocal_quotient(vf4 num, vf4 den) {
  const vf4 y = as<vf4>(_mm_rcp_ps(as<__m128>(den)));
  const vf4 e = 1.0f - mul_ordered(den, y);
  return mul_ordered(num, add_ordered(y, mul_ordered(y, e)));
}
inline vd2 reciprocal_quotient(vd2 num, vd2 den) { return num / den; }
// The range of |divisor| over a group (NaN divisors need no fallback: the
// estimate gives NaN as the division does).
inline vf4 min_lanes(vf4 acc, vf4 x) { return as<vf4>(_mm_min_ps(as<__m128>(x), as<__m128>(acc))); }
inline vf4 max_lanes(vf4 acc, vf4 x) { return as<vf4>(_mm_max_ps(as<__m128>(x), as<__m128>(acc))); }
inline vd2 min_lanes(vd2 acc, vd2) { return acc; }
inline vd2 max_lanes(vd2 acc, vd2) { return acc; }

// The four scalars, broadcast once per call.
template <class T> struct Scalars {
  VecOf<T> sa, ha, sb, hb;
  Scalars(T a, T b, T c, T d) : sa(VecOf<T>{} + a), ha(VecOf<T>{} + b), sb(VecOf<T>{} + c), hb(VecOf<T>{} + d) {}
};

// NV vectors of results, by which scales are zero (Case: bit 0 scale_a, bit 1 scale_b).
template <int Case, int NV, class V, class T> inline void lf(const V *a, const V *b, const Scalars<T> &s, V *r) {
  V num[NV], den[NV];
  V lo = V{} + ElemOf<V>(__builtin_inf()), hi = V{};  // range of |divisor| over the group
  for (int v = 0; v < NV; ++v) {
    num[v] = (Case & 1) ? s.ha : add_ordered(mul_ordered(a[v], s.sa), s.ha);
    den[v] = (Case & 2) ? s.hb : add_ordered(mul_ordered(b[v], s.sb), s.hb);
    const V ad = vabs(den[v]);
    lo = min_lanes(lo, ad), hi = max_lanes(hi, ad);
    r[v] = reciprocal_quotient(num[v], den[v]);
  }
  if (__builtin_expect(lane_bits(odd_divisors(lo) | odd_divisors(hi)) != 0, 0))
    for (int v = 0; v < NV; ++v) r[v] = select(odd_divisors(den[v]), num[v] / den[v], r[v]);
}

// Blocks of 16 from the arrays, the tail one vector at a time, padded.
template <int Case, class T> void lf_loop(int n, const T *a, const T *b, const Scalars<T> &s, T *r) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T), B = 16, NV = B / W;
  int i = 0;
  for (; i + B <= n; i += B) {
    V x[NV], y[NV], z[NV];
    for (int v = 0; v < NV; ++v) x[v] = load<V>(a + i + v * W), y[v] = load<V>(b + i + v * W);
    lf<Case, NV>(x, y, s, z);
    for (int v = 0; v < NV; ++v) store<V>(r + i + v * W, z[v]);
  }
  for (; i < n; i += W) {
    const int live = n - i < W ? n - i : W;
    alignas(16) T x[W], y[W], z[W];
    for (int j = 0; j < W; ++j) x[j] = y[j] = T(0.75);
    for (int j = 0; j < live; ++j) x[j] = a[i + j], y[j] = b[i + j];
    V vx = load<V>(x), vy = load<V>(y), vz;
    lf<Case, 1>(&vx, &vy, s, &vz);
    store<V>(z, vz);
    for (int j = 0; j < live; ++j) r[i + j] = z[j];
  }
}

// Strided: two elements a round, through the same lane formula.
template <int Case, class T>
void lf_strided_loop(int n, const T *a, int inca, const T *b, int incb, const Scalars<T> &s, T *r, int incr) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T);
  for (int i = 0; i < n; i += 2) {
    const int live = n - i < 2 ? n - i : 2;
    alignas(16) T x[W], y[W];
    for (int j = 0; j < W; ++j) x[j] = y[j] = T(0.75);
    for (int j = 0; j < live; ++j) x[j] = a[strided_index(i + j, inca)], y[j] = b[strided_index(i + j, incb)];
    V vx = load<V>(x), vy = load<V>(y), z;
    lf<Case, 1>(&vx, &vy, s, &z);
    for (int j = 0; j < live; ++j) r[strided_index(i + j, incr)] = z[j];
  }
}

// Both forms choose by the scalars in the same way, so that a strided call
// gives the bits of the unit call: a zero scale is skipped, not multiplied
// (0 times an infinite or NaN element would be a NaN), and with both scales
// zero every element is the same quotient.
template <class T, class Loop> void by_scales(int n, T sa, T sb, const Scalars<T> &s, T *r, int incr, Loop loop) {
  if (sa == T(0) && sb == T(0)) {
    VecOf<T> zero{}, q;
    lf<3, 1>(&zero, &zero, s, &q);
    for (int i = 0; i < n; ++i) r[strided_index(i, incr)] = q[0];
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
