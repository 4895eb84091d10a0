// Rounding to integers: Ceil, Floor, Trunc, Round, NearbyInt, Rint.
// One trick serves all: in round-to-nearest (which the frame forces whatever
// the caller's mode), (|x| + 2^23) - 2^23 rounds |x| to an integer (2^52 for
// double). Lanes above the constant are integers already and pass unchanged;
// NaN and infinity come out of the formula itself, so there is no scalar
// work and nothing to report.
#include "vector/kernels/arith/bitops.h"

namespace qor::kernels {
namespace {

using namespace bits;

// Common shape: big lanes keep x, the others take the rounded value.
template <class V, class G> inline V rounded(V x, MaskOf<V> &bad, G g) {
  using T = ElemOf<V>;
  constexpr T C = kIntShift<T>;
  const V ax = vabs(x);
  const V m = (ax + C) - C;  // |x| rounded to nearest, ties to even
  bad = MaskOf<V>{};
  return select(gt(ax, C), x, g(x, ax, m));
}

struct NearestF {  // NearbyInt and Rint: the same formula
  template <class V> static V one(V x, MaskOf<V> &bad) {
    return rounded(x, bad, [](V x, V, V m) { return bor(m, sign_of(x)); });
  }
  template <class T> static int run(const T *a, T *r) { return *r = *a, 0; }
};

// Ceil corrects t (x's sign already in) by +1 as t - (-1.0): for x in (-1, -0.5)
// t is -1 and the result +0, for x in [-0.5, -0] it is -0.
struct CeilF {
  template <class V> static V one(V x, MaskOf<V> &bad) {
    return rounded(x, bad, [](V x, V, V m) {
      const V t = bor(m, sign_of(x));
      return select(lt(t, x), t - ElemOf<V>(-1.0), t);
    });
  }
  template <class T> static int run(const T *a, T *r) { return *r = *a, 0; }
};

struct FloorF {
  template <class V> static V one(V x, MaskOf<V> &bad) {
    return rounded(x, bad, [](V x, V, V m) {
      const V t = bor(m, sign_of(x));
      return select(gt(t, x), t - ElemOf<V>(1.0), t);
    });
  }
  template <class T> static int run(const T *a, T *r) { return *r = *a, 0; }
};

struct TruncF {
  template <class V> static V one(V x, MaskOf<V> &bad) {
    return rounded(x, bad, [](V x, V ax, V m) {
      return bor(select(gt(m, ax), m - ElemOf<V>(1.0), m), sign_of(x));
    });
  }
  template <class T> static int run(const T *a, T *r) { return *r = *a, 0; }
};

// Ties away from zero: a magnitude exactly half above m goes up.
struct RoundF {
  template <class V> static V one(V x, MaskOf<V> &bad) {
    return rounded(x, bad, [](V x, V ax, V m) {
      return bor(select(eq(ax - m, ElemOf<V>(0.5)), m + ElemOf<V>(1.0), m), sign_of(x));
    });
  }
  template <class T> static int run(const T *a, T *r) { return *r = *a, 0; }
};

#define NAMES(F) constexpr char kS##F[] = "vs" #F, kD##F[] = "vd" #F;
NAMES(Ceil) NAMES(Floor) NAMES(Trunc) NAMES(Round) NAMES(NearbyInt) NAMES(Rint)
#undef NAMES

}  // namespace
}  // namespace qor::kernels

using qor::bex::Blocked;
using qor::bex::StandardEnv;
using qor::kernels::bits::Desc;

// Blocks: 32 (s) and 16 (d) a unit block, Round 8 for both; strided 4 for
// both, Round 8 (s) and 2 (d).
#define QOR_ROUNDING(F, Fn, bs, bd, bis, bid)                                   \
  namespace qor::kernels {                                                      \
  using S##F = Desc<float, 1, 1, bs, kS##F, Fn>;                                \
  using D##F = Desc<double, 1, 1, bd, kD##F, Fn>;                               \
  using S##F##I = Blocked<S##F, bis>;                                           \
  using D##F##I = Blocked<D##F, bid>;                                           \
  }                                                                             \
  QOR_UNARY_KERNELS2(s##F, ALL, qor::kernels::S##F, qor::kernels::S##F##I, StandardEnv) \
  QOR_UNARY_KERNELS2(d##F, ALL, qor::kernels::D##F, qor::kernels::D##F##I, StandardEnv)

QOR_ROUNDING(Ceil, CeilF, 32, 16, 4, 4)
QOR_ROUNDING(Floor, FloorF, 32, 16, 4, 4)
QOR_ROUNDING(Trunc, TruncF, 32, 16, 4, 4)
QOR_ROUNDING(NearbyInt, NearestF, 32, 16, 4, 4)
QOR_ROUNDING(Rint, NearestF, 32, 16, 4, 4)
QOR_ROUNDING(Round, RoundF, 8, 8, 8, 2)
