// Complex Sqrt: with w = (|x| + |z|) / 2 and t = sqrt(w), the root of
// x + iy is t + i y/(2t) for x >= 0 and |y|/(2t) + i t (sign of y) otherwise,
// so that no part is formed by cancellation. The branch cut lies on the
// negative real axis, its side taken from the sign of y (also of a zero y).
//
// c LA/EP: the parts widened to double, |z| by the root instruction; 1/t by
// the approximate reciprocal root of w (in single precision) refined by the
// series 1 + e/2 + 3e^2/8 + 5e^3/16 of (1 - e)^-1/2 with e = 1 - w r^2, so
// that t = w r and y/(2t) = y r / 2 need no division. w outside
// [2^-124, 2^126] (outside the normal range of the estimate), a zero and NaN
// and infinite parts go to the scalar routine. No status: a root is never out
// of range.
// c HA: in double with the root and division instructions.
// z: one kernel in the double x87 frame, an element loop whose routine runs in
// extended precision (64-bit significand, wide exponent: |z| can neither
// overflow nor lose bits to underflow), rounded once to double.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/complex/cblock.h"

namespace qor::kernels::cx {
namespace {

// Zeros and infinite and NaN parts by C99 Annex G; false for the rest.
template <class T> bool sqrt_specials(T x, T y, T *r) {
  const T inf = __builtin_inf();
  if (__builtin_isinf(y)) {
    r[0] = inf, r[1] = y;
  } else if (__builtin_isinf(x)) {
    if (x > 0) r[0] = x, r[1] = __builtin_isnan(y) ? y + y : __builtin_copysign(T(0), y);
    else r[0] = __builtin_isnan(y) ? y + y : T(0), r[1] = __builtin_isnan(y) ? -inf : __builtin_copysign(inf, y);  // sign left open for a NaN y
  } else if (__builtin_isnan(x) || __builtin_isnan(y)) {
    r[0] = r[1] = x + y;
  } else if (x == 0 && y == 0) {
    r[0] = T(0), r[1] = y;
  } else {
    return false;
  }
  return true;
}

// The c scalar routine: the formula in double for finite, non-zero inputs.
int csqrt_scalar(const float *a, float *r) {
  if (sqrt_specials(a[0], a[1], r)) return 0;
  const double x = a[0], y = a[1];
  const double t = __builtin_sqrt((__builtin_fabs(x) + __builtin_sqrt(x * x + y * y)) * 0.5);
  const double u = __builtin_fabs(y) / (2 * t);
  r[0] = (float)(x >= 0 ? t : u);
  r[1] = (float)(x >= 0 ? __builtin_copysign(u, y) : __builtin_copysign(t, y));
  return 0;
}

// Places t and the other part u by the sign of x.
template <class V, class M> inline void place(V x, V y, V t, V u, V &re, V &im) {
  const M neg = lt(x, 0);
  re = select(neg, vabs(u), t);
  im = bits::bor(select(neg, t, vabs(u)), sign_of(y));
}

template <bool kHA> struct CSqrt {
  using T = float;
  static constexpr int kIn = 1, kBlock = 4;
  static constexpr const char *kName = "vcSqrt";
  static vi4 lanes(const vf4 *in, vf4 &re, vf4 &im) {
    const vf4 x = in[0], y = in[1];
    vd2 w[2], t[2], u[2];
    for (int h = 0; h < 2; ++h) {
      const vd2 xd = h ? high_pair(x) : low_pair(x), yd = h ? high_pair(y) : low_pair(y);
      w[h] = (vabs(xd) + as<vd2>(_mm_sqrt_pd(as<__m128d>(xd * xd + yd * yd)))) * 0.5;
      if constexpr (kHA) {
        t[h] = as<vd2>(_mm_sqrt_pd(as<__m128d>(w[h])));
        u[h] = (vabs(yd) * 0.5) / t[h];
      }
    }
    const vf4 wf = narrow(w[0], w[1]);
    if constexpr (!kHA) {
      const vf4 r0 = as<vf4>(_mm_rsqrt_ps(as<__m128>(wf)));
      for (int h = 0; h < 2; ++h) {
        const vd2 r = h ? high_pair(r0) : low_pair(r0), yd = h ? high_pair(y) : low_pair(y);
        const vd2 e = 1.0 - w[h] * r * r;
        const vd2 rr = r + r * (e * (0.5 + e * (0.375 + e * 0.3125)));
        t[h] = w[h] * rr;
        u[h] = vabs(yd) * (rr * 0.5);
      }
    }
    place<vf4, vi4>(x, y, narrow(t[0], t[1]), narrow(u[0], u[1]), re, im);
    const vi4 wb = as<vi4>(wf);  // w >= 0, or NaN
    const vi4 out = kHA ? ~(wf > 0.0f) : (wb < 0x01800000) | (wb > 0x7e800000);
    return out | not_finite(x) | not_finite(y);
  }
  static int scalar(const float *a, const float *, float *r) { return csqrt_scalar(a, r); }
};

// ----- z: the extended-precision element loop ----------------------------------

__attribute__((noinline)) void zsqrt_element(const double *a, double *r) {
  if (sqrt_specials(a[0], a[1], r)) return;
  const long double x = a[0], y = a[1];
  long double m = x * x + y * y, w, t;
  __asm__("fsqrt" : "+t"(m));
  w = (__builtin_fabsl(x) + m) * 0.5L;
  t = w;
  __asm__("fsqrt" : "+t"(t));
  const long double u = __builtin_fabsl(y) / (2 * t);
  const double td = (double)t, ud = (double)u;
  r[0] = x >= 0 ? td : ud;
  r[1] = __builtin_copysign(x >= 0 ? ud : td, a[1]);
}

template <bool Strided> void zsqrt_loop(int n, const double *a, int inca, double *r, int incr) {
  SavedEnv env = qor::bex::DoubleX87NearestEnv::enter();  // the SSE tests of the routine do not flush
  {
    qor::bex::fpenv::X87ExtendedScope extended;
    for (int i = 0; i < n; ++i) {
      const double *p = a + 2 * (Strided ? strided_index(i, inca) : i);
      double in[2] = {get(p), get(p + 1)}, out[2];
      zsqrt_element(in, out);
      double *q = r + 2 * (Strided ? strided_index(i, incr) : i);
      put(q, out[0]), put(q + 1, out[1]);
    }
  }
  qor::bex::fpenv::leave(env);
}
void zsqrt_unit(int n, const double *a, double *r) { zsqrt_loop<false>(n, a, 1, r, 1); }
void zsqrt_strided(int n, const double *a, int inca, double *r, int incr) { zsqrt_loop<true>(n, a, inca, r, incr); }

QOR_ACCURACY(cSqrt, LA, ULP, 4.0)
QOR_ACCURACY(cSqrt, HA, ULP, 1.0)
QOR_ACCURACY(cSqrt, EP, BITS, 11)
QOR_ACCURACY(zSqrt, LA, ULP, 4.0)
QOR_ACCURACY(zSqrt, HA, ULP, 1.0)
QOR_ACCURACY(zSqrt, EP, BITS, 26)
QOR_CBOX(cSqrt, 0, 3.4e38, 0, 3.4e38, 100000)  // the whole range, denormals included
QOR_CBOX(cSqrt, 0.5, 2, 0, 1e-3, 50000)  // near the cut and the real axis
QOR_CBOX(cSqrt, 1e-40, 1e-36, 1e-40, 1e-36, 50000)  // the lower bound of the fast path
QOR_CBOX(zSqrt, 0, 1.7e308, 0, 1.7e308, 100000)  // the whole range, denormals included
QOR_CBOX(zSqrt, 0.5, 2, 0, 1e-3, 50000)  // near the cut and the real axis

}  // namespace
}  // namespace qor::kernels::cx

using qor::bex::StandardEnv;
namespace cxk = qor::kernels::cx;
using CSqrtLAEP = cxk::CSqrt<false>;
using CSqrtHA = cxk::CSqrt<true>;
QOR_CX_UNARY(cSqrt, LAEP, CSqrtLAEP, StandardEnv)
QOR_CX_UNARY(cSqrt, HA, CSqrtHA, StandardEnv)
QOR_CUSTOM_UNARY(zSqrt, ALL, double, cxk::zsqrt_unit, cxk::zsqrt_strided)
