// The frame of the complex block kernels (Mul, MulByConj, Div, Exp, Sqrt):
// blocks of interleaved elements are split into vectors of real and of
// imaginary parts, computed by a branch-free lane formula that flags
// elements, and the flagged elements go to a scalar routine whose status
// goes to the complex reporter with both parts of inputs and results.
//
//   struct K {
//     using T = float;                          // part type
//     static constexpr int kIn = 2;             // complex inputs: 1 or 2
//     static constexpr int kBlock = 8;          // elements per block, whole vectors
//     static constexpr const char *kName = "vcMul";
//     static M lanes(const V *x, V &re, V &im); // x: a.re, a.im[, b.re, b.im]; flags
//     static int scalar(const T *a, const T *b, T *r);  // pairs; returns a status
//   };
//
// Every path (whole unit blocks, the tail, the strided form) computes an
// element by the same lanes with the same pad (0.75 + 0.75i) around it, so a
// result does not depend on where the element stands.
#ifndef QOR_KERNELS_COMPLEX_CBLOCK_H
#define QOR_KERNELS_COMPLEX_CBLOCK_H

#include "vector/kernels/arith/bitops.h"

namespace qor::kernels::cx {

using namespace qor::simd;
using bits::bxor;
using bits::eq;
using bits::le;
using bits::lt;
using bits::select;
using bits::sign_of;
using bits::vabs;
using qor::bex::SavedEnv;
using qor::bex::strided_index;

template <class T> struct Types;
template <> struct Types<float> {
  using C = QorComplex8;
  using V = vf4;
  using M = vi4;
  // Four interleaved elements at p as vectors of real and imaginary parts.
  static void split(const float *p, V &re, V &im) {
    const __m128 lo = _mm_loadu_ps(p), hi = _mm_loadu_ps(p + 4);
    re = as<V>(_mm_shuffle_ps(lo, hi, 0x88));
    im = as<V>(_mm_shuffle_ps(lo, hi, 0xdd));
  }
  static void join(float *p, V re, V im) {
    _mm_storeu_ps(p, _mm_unpacklo_ps(as<__m128>(re), as<__m128>(im)));
    _mm_storeu_ps(p + 4, _mm_unpackhi_ps(as<__m128>(re), as<__m128>(im)));
  }
  static void report(int st, int i, const float *a, int ia, const float *b, int ib, float *r, int ir,
                     const char *name, bool strided) {
    const C *ca = (const C *)a, *cb = (const C *)b;
    C *cr = (C *)r;
    strided ? qor::bex::report_cI(st, i, ca, ia, cb, ib, cr, ir, cr, ir, name)
            : qor::bex::report_c(st, i, ca, cb, cr, cr, name);
  }
};
template <> struct Types<double> {
  using C = QorComplex16;
  using V = vd2;
  using M = vl2;
  static void split(const double *p, V &re, V &im) {
    const __m128d lo = _mm_loadu_pd(p), hi = _mm_loadu_pd(p + 2);
    re = as<V>(_mm_unpacklo_pd(lo, hi));
    im = as<V>(_mm_unpackhi_pd(lo, hi));
  }
  static void join(double *p, V re, V im) {
    _mm_storeu_pd(p, _mm_unpacklo_pd(as<__m128d>(re), as<__m128d>(im)));
    _mm_storeu_pd(p + 2, _mm_unpackhi_pd(as<__m128d>(re), as<__m128d>(im)));
  }
  static void report(int st, int i, const double *a, int ia, const double *b, int ib, double *r, int ir,
                     const char *name, bool strided) {
    const C *ca = (const C *)a, *cb = (const C *)b;
    C *cr = (C *)r;
    strided ? qor::bex::report_zI(st, i, ca, ia, cb, ib, cr, ir, cr, ir, name)
            : qor::bex::report_z(st, i, ca, cb, cr, cr, name);
  }
};

template <class K, class Env> struct Block {
  using T = typename K::T;
  using Ty = Types<T>;
  using V = typename Ty::V;
  static constexpr int W = 16 / sizeof(T);  // elements per vector of parts
  static constexpr int B = K::kBlock, NV = B / W, NI = K::kIn;
  static_assert(B % W == 0 && B <= 32, "a block is whole vectors");

  struct Args {
    const T *in[2];
    int inc[2];
    T *r;
    int incr;
  };

  static void run(int n, const Args &a, bool strided) {
    SavedEnv env = Env::enter();
    int i = 0;
    if (!strided)
      for (; i + B <= n; i += B) unit_block(a, i);
    for (; i < n; i += B) group(a, i, n - i < B ? n - i : B, strided);
    qor::bex::fpenv::leave(env);
  }

 private:
  // The lanes of one block of interleaved inputs x[k] (2B parts each).
  static unsigned compute(const T (*x)[2 * B], T *res) {
    unsigned mask = 0;
    for (int v = 0; v < NV; ++v) {
      V p[4], re, im;
      for (int k = 0; k < NI; ++k) Ty::split(x[k] + 2 * W * v, p[2 * k], p[2 * k + 1]);
      const auto bad = K::lanes(p, re, im);
      Ty::join(res + 2 * W * v, re, im);
      mask |= lane_bits(bad) << (v * W);
    }
    return mask;
  }

  // A whole unit-stride block: the inputs are kept on the stack, since r may
  // alias a or b; the results go out once the flagged elements are redone.
  static void unit_block(const Args &a, int i) {
    alignas(64) T x[2][2 * B];
    alignas(64) T res[2 * B];
    for (int k = 0; k < NI; ++k) memcpy(x[k], a.in[k] + 2 * (long)i, sizeof x[k]);
    const unsigned mask = compute(x, res);
    if (__builtin_expect(mask != 0, 0)) special(a, i, mask, x, res, false);
    memcpy(a.r + 2 * (long)i, res, sizeof res);
  }

  // A tail or a strided block of `live` elements, gathered and padded.
  static void group(const Args &a, int i, int live, bool strided) {
    alignas(64) T x[2][2 * B];
    alignas(64) T res[2 * B];
    for (int k = 0; k < NI; ++k) {
      for (int j = 0; j < 2 * B; ++j) x[k][j] = T(0.75);
      for (int j = 0; j < live; ++j) {
        const T *p = a.in[k] + 2 * (strided ? strided_index(i + j, a.inc[k]) : i + j);
        x[k][2 * j] = get(p), x[k][2 * j + 1] = get(p + 1);
      }
    }
    unsigned mask = compute(x, res);
    if (live < 32) mask &= (1u << live) - 1;
    if (__builtin_expect(mask != 0, 0)) special(a, i, mask, x, res, strided);
    for (int j = 0; j < live; ++j) {
      T *p = a.r + 2 * (strided ? strided_index(i + j, a.incr) : i + j);
      put(p, res[2 * j]), put(p + 1, res[2 * j + 1]);
    }
  }

  // Flagged elements in ascending order: a status stores the element in the
  // caller's array, reports with the caller's arrays, and reads it back, since
  // a callback may have repaired either part.
  __attribute__((noinline)) static void special(const Args &a, int i, unsigned mask, const T (*x)[2 * B], T *res,
                                                bool strided) {
    const int k1 = NI - 1;
    while (mask) {
      const int j = __builtin_ctz(mask);
      mask &= mask - 1;
      const int status = K::scalar(x[0] + 2 * j, x[k1] + 2 * j, res + 2 * j);
      if (status == 0) continue;
      const int e = i + j;
      T *p = a.r + 2 * (strided ? strided_index(e, a.incr) : e);
      put(p, res[2 * j]), put(p + 1, res[2 * j + 1]);
      Ty::report(status, e, a.in[0], a.inc[0], a.in[k1], a.inc[k1], a.r, a.incr, K::kName, strided);
      res[2 * j] = get(p), res[2 * j + 1] = get(p + 1);
    }
  }
};

template <class K, class Env> void unary_unit(int n, const typename K::T *a, typename K::T *r) {
  Block<K, Env>::run(n, {{a, a}, {1, 1}, r, 1}, false);
}
template <class K, class Env>
void unary_strided(int n, const typename K::T *a, int inca, typename K::T *r, int incr) {
  Block<K, Env>::run(n, {{a, a}, {inca, inca}, r, incr}, true);
}
template <class K, class Env>
void binary_unit(int n, const typename K::T *a, const typename K::T *b, typename K::T *r) {
  Block<K, Env>::run(n, {{a, b}, {1, 1}, r, 1}, false);
}
template <class K, class Env>
void binary_strided(int n, const typename K::T *a, int inca, const typename K::T *b, int incb, typename K::T *r,
                    int incr) {
  Block<K, Env>::run(n, {{a, b}, {inca, incb}, r, incr}, true);
}

// Scalar helpers of the routines.
template <class T> inline bool finite(T x) { return __builtin_isfinite(x); }
template <class T> inline bool all_finite(const T *a, const T *b) {
  return finite(a[0]) && finite(a[1]) && finite(b[0]) && finite(b[1]);
}
// 3 when finite inputs gave a part that is infinite.
template <class T> inline int overflow_status(bool inputs_finite, const T *r) {
  return inputs_finite && !(finite(r[0]) && finite(r[1])) ? 3 : 0;
}
// Parts of magnitude in [lo, hi]: the compensated lanes are exact there.
template <class V> inline auto in_range(V x, bits::ElemOf<V> lo, bits::ElemOf<V> hi) {
  const V m = vabs(x);
  return le(V{} + lo, m) & le(m, hi);
}
// Magnitude bits at or above those of infinity (infinite or NaN parts).
inline vi4 not_finite(vf4 x) { return (as<vi4>(x) & 0x7fffffff) > 0x7f7fffff; }
inline vl2 not_finite(vd2 x) { return ~lt(vabs(x), __builtin_inf()); }

}  // namespace qor::kernels::cx

// The unit and I kernels of a complex block entry, through a table forward of
// unit strides as for every I kernel.
#define QOR_CX_UNARY(entry, tag, K, Env)                                                                    \
  QOR_CUSTOM_UNARY(entry, tag, K::T, (::qor::kernels::cx::unary_unit<K, Env>),                            \
                   (::qor::kernels::cx::unary_strided<K, Env>))
#define QOR_CX_BINARY(entry, tag, K, Env)                                                                   \
  QOR_CUSTOM_BINARY(entry, tag, K::T, (::qor::kernels::cx::binary_unit<K, Env>),                          \
                    (::qor::kernels::cx::binary_strided<K, Env>))

#endif
