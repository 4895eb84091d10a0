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
// y + y (1 - d y); divisors whose reciprocal the estimate cannot represent
// (zero, denormal, infinite, beyond 2^126) are divided directly, so the
// special cases come out as from a division.
inline vf4 quotient(vf4 num, vf4 den) {
  const vf4 ad = vabs(den);
  const vi4 odd = ~(le(vf4{} + 1.17549435e-38f, ad) & le(ad, 8.50705917e37f));
  if (__builtin_expect(lane_bits(odd) != 0, 0)) return num / den;
  const vf4 y = as<vf4>(_mm_rcp_ps(as<__m128>(den)));
  const vf4 e = 1.0f - den * y;
  return num * (y + y * e);
}
inline vd2 quotient(vd2 num, vd2 den) { return num / den; }

template <class T> struct Scalars {
  T sa, ha, sb, hb;
};

// One vector of results, by which scales are zero (Case: bit 0 scale_a, bit 1 scale_b).
template <int Case, class V, class T> inline V lf(V a, V b, const Scalars<T> &s) {
  const V num = (Case & 1) ? V{} + s.ha : a * s.sa + s.ha;
  const V den = (Case & 2) ? V{} + s.hb : b * s.sb + s.hb;
  return quotient(num, den);
}

// Blocks of 16 from the arrays, the tail one vector at a time, padded.
template <int Case, class T> void lf_loop(int n, const T *a, const T *b, const Scalars<T> &s, T *r) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T), B = 16;
  int i = 0;
  for (; i + B <= n; i += B)
    for (int v = 0; v < B; v += W) store<V>(r + i + v, lf<Case>(load<V>(a + i + v), load<V>(b + i + v), s));
  for (; i < n; i += W) {
    const int live = n - i < W ? n - i : W;
    alignas(16) T x[W], y[W], z[W];
    for (int j = 0; j < W; ++j) x[j] = y[j] = T(0.75);
    for (int j = 0; j < live; ++j) x[j] = a[i + j], y[j] = b[i + j];
    store<V>(z, lf<Case>(load<V>(x), load<V>(y), s));
    for (int j = 0; j < live; ++j) r[i + j] = z[j];
  }
}

template <class T> void linear_frac_unit(int n, const T *a, const T *b, T sa, T ha, T sb, T hb, T *r) {
  using V = VecOf<T>;
  SavedEnv env = StandardEnv::enter();
  const Scalars<T> s{sa, ha, sb, hb};
  if (sa == T(0) && sb == T(0)) {
    const T q = lf<3>(V{}, V{}, s)[0];
    for (int i = 0; i < n; ++i) r[i] = q;
  } else if (sb == T(0)) {
    lf_loop<2>(n, a, b, s, r);
  } else if (sa == T(0)) {
    lf_loop<1>(n, a, b, s, r);
  } else {
    lf_loop<0>(n, a, b, s, r);
  }
  qor::bex::fpenv::leave(env);
}

// Strided: two elements a round, through the same lane formula.
template <class T>
void linear_frac_strided(int n, const T *a, int inca, const T *b, int incb, T sa, T ha, T sb, T hb, T *r,
                         int incr) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T);
  SavedEnv env = StandardEnv::enter();
  const Scalars<T> s{sa, ha, sb, hb};
  for (int i = 0; i < n; i += 2) {
    const int live = n - i < 2 ? n - i : 2;
    alignas(16) T x[W], y[W];
    for (int j = 0; j < W; ++j) x[j] = y[j] = T(0.75);
    for (int j = 0; j < live; ++j) x[j] = a[strided_index(i + j, inca)], y[j] = b[strided_index(i + j, incb)];
    const V z = lf<0>(load<V>(x), load<V>(y), s);
    for (int j = 0; j < live; ++j) r[strided_index(i + j, incr)] = z[j];
  }
  qor::bex::fpenv::leave(env);
}

}  // namespace
}  // namespace qor::kernels

using namespace qor::kernels;
QOR_CUSTOM_LINFRAC(sLinearFrac, ALL, float, linear_frac_unit<float>, linear_frac_strided<float>)
QOR_CUSTOM_LINFRAC(dLinearFrac, ALL, double, linear_frac_unit<double>, linear_frac_strided<double>)
