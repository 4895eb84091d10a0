// Fmax, Fmin, MaxMag, MinMag and Fdim: compare and select in vector form.
// Lanes with a NaN (Fdim: any non-finite input) go to a scalar routine that
// returns 0 always, so none of them reports.
#include "vector/kernels/arith/bitops.h"

namespace qor::kernels {
namespace {

using namespace bits;

template <class V> inline MaskOf<V> any_nan(V a, V b) { return is_nan(a) | is_nan(b); }

// One NaN input gives the other input; two give b, quieted by the product
// (a real multiplication: a signalling NaN comes back quiet).
template <class T> inline T nan_rule(T a, T b) {
  T r = a;
  if (nan_bits(b)) r = quieted(a);
  if (nan_bits(a)) r = quieted(b);
  return r;
}

// a > b ? a : b and a < b ? a : b, as the SSE max and min instructions give them.
inline vf4 vmax(vf4 a, vf4 b) { return as<vf4>(_mm_max_ps(as<__m128>(a), as<__m128>(b))); }
inline vd2 vmax(vd2 a, vd2 b) { return as<vd2>(_mm_max_pd(as<__m128d>(a), as<__m128d>(b))); }
inline vf4 vmin(vf4 a, vf4 b) { return as<vf4>(_mm_min_ps(as<__m128>(a), as<__m128>(b))); }
inline vd2 vmin(vd2 a, vd2 b) { return as<vd2>(_mm_min_pd(as<__m128d>(a), as<__m128d>(b))); }
template <class T> inline T smax(T a, T b) { return a > b ? a : b; }
template <class T> inline T smin(T a, T b) { return a < b ? a : b; }

struct FmaxF {
  template <class V> static V two(V a, V b, MaskOf<V> &bad) { return bad = any_nan(a, b), vmax(a, b); }
  template <class T> static int run(const T *a, const T *b, T *r) { return *r = nan_rule(*a, *b), 0; }
};
struct FminF {
  template <class V> static V two(V a, V b, MaskOf<V> &bad) { return bad = any_nan(a, b), vmin(a, b); }
  template <class T> static int run(const T *a, const T *b, T *r) { return *r = nan_rule(*a, *b), 0; }
};
// Equal magnitudes fall back to Fmax / Fmin.
struct MaxMagF {
  template <class V> static V two(V a, V b, MaskOf<V> &bad) {
    bad = any_nan(a, b);
    const V aa = vabs(a), ab = vabs(b);
    return select(gt(aa, ab), a, select(lt(aa, ab), b, vmax(a, b)));
  }
  template <class T> static int run(const T *a, const T *b, T *r) { return *r = nan_rule(*a, *b), 0; }
};
struct MinMagF {
  template <class V> static V two(V a, V b, MaskOf<V> &bad) {
    bad = any_nan(a, b);
    const V aa = vabs(a), ab = vabs(b);
    return select(lt(aa, ab), a, select(gt(aa, ab), b, vmin(a, b)));
  }
  template <class T> static int run(const T *a, const T *b, T *r) { return *r = nan_rule(*a, *b), 0; }
};

// Non-finite lanes by an integer test on the exponent field; for double on
// the high words, copied to both halves of the lane.
inline vi4 non_finite(vf4 x) { return (as<vi4>(x) & 0x7f800000) == 0x7f800000; }
inline vl2 non_finite(vd2 x) {
  const vi4 hi = (as<vi4>(x) & 0x7ff00000) == 0x7ff00000;
  return as<vl2>(__builtin_shuffle(hi, vi4{1, 1, 3, 3}));
}

struct FdimF {
  template <class V> static V two(V a, V b, MaskOf<V> &bad) {
    bad = non_finite(a) | non_finite(b);
    return select(gt(a, b), a - b, V{});
  }
  template <class T> static int run(const T *a, const T *b, T *r) {
    const T x = *a, y = *b;
    T v = x > y ? x - y : T(0.0);
    if (nan_bits(x)) v = quieted(x);
    if (nan_bits(y)) v = quieted(y);  // b wins when both are NaN
    return *r = v, 0;
  }
};

#define NAMES(F) constexpr char kS##F[] = "vs" #F, kD##F[] = "vd" #F;
NAMES(Fmax) NAMES(Fmin) NAMES(MaxMag) NAMES(MinMag) NAMES(Fdim)
#undef NAMES

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;

#define QOR_MINMAX(F, Fn, bs, bd)                                                     \
  namespace qor::kernels {                                                            \
  using S##F = Desc<float, 2, 1, bs, kS##F, Fn>;                                      \
  using D##F = Desc<double, 2, 1, bd, kD##F, Fn>;                                     \
  }                                                                                   \
  QOR_BINARY_KERNELS(s##F, ALL, qor::kernels::S##F, qor::kernels::S##F, StandardEnv) \
  QOR_BINARY_KERNELS(d##F, ALL, qor::kernels::D##F, qor::kernels::D##F, StandardEnv)

QOR_MINMAX(Fmax, FmaxF, 16, 8)
QOR_MINMAX(Fmin, FminF, 16, 8)
QOR_MINMAX(MaxMag, MaxMagF, 8, 4)
QOR_MINMAX(MinMag, MinMagF, 8, 4)
QOR_MINMAX(Fdim, FdimF, 16, 4)
