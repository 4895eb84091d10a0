// Conj and the complex Add and Sub (c, z), as block kernels over interleaved
// real and imaginary parts. Conj flips the imaginary sign bits in the frame
// variant without flushing. Add and Sub: the EP kernel is the plain loop; the
// LA/HA kernel flags an element whose result has a part with an all-ones
// exponent and gives it to a scalar routine, which reports overflow (3) when
// finite inputs gave an infinite part.
#include "vector/kernels/arith/bitops.h"

namespace qor::kernels {
namespace {

using namespace bits;
using qor::bex::NoFlushEnv;
using qor::bex::SavedEnv;
using qor::bex::StandardEnv;
using qor::bex::strided_index;

template <class T> struct Cx;  // the reporter's element type
template <> struct Cx<float> {
  using C = QorComplex8;
  static void report(int st, int i, const C *a, int ia, const C *b, int ib, C *r, int ir, const char *name,
                     bool strided) {
    strided ? qor::bex::report_cI(st, i, a, ia, b, ib, r, ir, r, ir, name) : qor::bex::report_c(st, i, a, b, r, r, name);
  }
};
template <> struct Cx<double> {
  using C = QorComplex16;
  static void report(int st, int i, const C *a, int ia, const C *b, int ib, C *r, int ir, const char *name,
                     bool strided) {
    strided ? qor::bex::report_zI(st, i, a, ia, b, ib, r, ir, r, ir, name) : qor::bex::report_z(st, i, a, b, r, r, name);
  }
};

// ----- Conj -------------------------------------------------------------------

// Sign bits of the imaginary lanes.
template <class V> inline MaskOf<V> imag_signs() {
  using M = MaskOf<V>;
  M m = sign_mask<V>();
  for (unsigned j = 0; j < sizeof(V) / sizeof(m[0]); j += 2) m[j] = 0;
  return m;
}

template <class T> void conj_unit(int n, const T *a, T *r) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T);
  SavedEnv env = NoFlushEnv::enter();
  const auto flip = imag_signs<V>();
  const int m = 2 * n;
  int i = 0;
  for (; i + 4 * W <= m; i += 4 * W)
    for (int v = 0; v < 4 * W; v += W) store<V>(r + i + v, as<V>(as<typename Lanes<T>::Bits>(load<V>(a + i + v)) ^ flip));
  for (; i < m; i += 2) put(r + i, get(a + i)), put(r + i + 1, from_bits<T>(ubits(get(a + i + 1)) ^ kSignBit<T>));
  qor::bex::fpenv::leave(env);
}

template <class T> void conj_strided(int n, const T *a, int inca, T *r, int incr) {
  SavedEnv env = NoFlushEnv::enter();
  for (int i = 0; i < n; ++i) {
    const T *x = a + 2 * strided_index(i, inca);
    T *y = r + 2 * strided_index(i, incr);
    const T re = get(x), im = get(x + 1);
    put(y, re), put(y + 1, from_bits<T>(ubits(im) ^ kSignBit<T>));
  }
  qor::bex::fpenv::leave(env);
}

// ----- Add, Sub ---------------------------------------------------------------

struct AddOp {
  template <class X> static X f(X a, X b) { return add_ordered(a, b); }
};
struct SubOp {
  template <class X> static X f(X a, X b) { return a - b; }
};

template <class T> inline bool finite(T x) { return (ubits(x) & kExpMask<T>) != kExpMask<T>; }

// The scalar routine of the flagged elements.
template <class T, class Op> int addsub_scalar(const T *a, const T *b, T *r) {
  r[0] = Op::f(a[0], b[0]);
  r[1] = Op::f(a[1], b[1]);
  const bool inputs_finite = finite(a[0]) && finite(a[1]) && finite(b[0]) && finite(b[1]);
  return inputs_finite && !(finite(r[0]) && finite(r[1])) ? 3 : 0;
}

// Parts that are infinite or NaN: not below infinity in magnitude.
template <class V> inline unsigned nonfinite_bits(V x) { return lane_bits(~lt(vabs(x), ElemOf<V>(__builtin_inf()))); }

// EP: the plain loop over all parts.
template <class T, class Op> void addsub_plain(int n, const T *a, const T *b, T *r) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T);
  SavedEnv env = StandardEnv::enter();
  const int m = 2 * n;
  int i = 0;
  for (; i + 4 * W <= m; i += 4 * W)
    for (int v = 0; v < 4 * W; v += W) store<V>(r + i + v, Op::f(load<V>(a + i + v), load<V>(b + i + v)));
  for (; i < m; ++i) put(r + i, Op::f(get(a + i), get(b + i)));
  qor::bex::fpenv::leave(env);
}

template <class T, class Op> void addsub_plain_strided(int n, const T *a, int inca, const T *b, int incb, T *r,
                                                       int incr) {
  SavedEnv env = StandardEnv::enter();
  for (int i = 0; i < n; ++i) {
    const T *x = a + 2 * strided_index(i, inca), *y = b + 2 * strided_index(i, incb);
    const T re = Op::f(get(x), get(y)), im = Op::f(get(x + 1), get(y + 1));
    T *z = r + 2 * strided_index(i, incr);
    put(z, re), put(z + 1, im);
  }
  qor::bex::fpenv::leave(env);
}

// Flagged elements of a block (bit 2j or 2j+1 for element j) to the scalar
// routine, from the block's kept inputs into its result buffer z. A status
// stores the element in the caller's array, goes to the reporter, and the
// element is read back, since a callback may have repaired it. The caller
// then stores the whole buffer in element order.
template <class T, class Op>
void addsub_special(unsigned mask, int i, const T *x, const T *y, T *z, const T *a, int inca, const T *b,
                    int incb, T *r, int incr, const char *name, bool strided) {
  using C = typename Cx<T>::C;
  while (mask) {
    const int j = __builtin_ctz(mask) >> 1;
    mask &= ~(3u << 2 * j);
    const int status = addsub_scalar<T, Op>(x + 2 * j, y + 2 * j, z + 2 * j);
    if (status == 0) continue;
    T *pr = r + 2 * (strided ? strided_index(i + j, incr) : i + j);
    put(pr, z[2 * j]), put(pr + 1, z[2 * j + 1]);
    Cx<T>::report(status, i + j, (const C *)a, inca, (const C *)b, incb, (C *)r, incr, name, strided);
    z[2 * j] = get(pr), z[2 * j + 1] = get(pr + 1);
  }
}

// One group of `live` elements from i (a whole block, a tail, or a strided
// block): gathered to the stack, computed, flagged elements redone by the
// scalar routine, then stored in element order.
template <class T, class Op, bool Strided>
void addsub_group(int i, int live, const T *a, int inca, const T *b, int incb, T *r, int incr, const char *name) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T), B = 64 / sizeof(T), P = 2 * B;
  alignas(64) T x[P] = {}, y[P] = {}, z[P];
  for (int j = 0; j < live; ++j) {
    const T *pa = a + 2 * (Strided ? strided_index(i + j, inca) : i + j);
    const T *pb = b + 2 * (Strided ? strided_index(i + j, incb) : i + j);
    x[2 * j] = get(pa), x[2 * j + 1] = get(pa + 1), y[2 * j] = get(pb), y[2 * j + 1] = get(pb + 1);
  }
  unsigned mask = 0;
  for (int v = 0; v < P; v += W) {
    const V s = Op::f(load<V>(x + v), load<V>(y + v));
    store<V>(z + v, s);
    mask |= nonfinite_bits(s) << v;
  }
  mask &= (live == B) ? ~0u : (1u << 2 * live) - 1;
  if (mask) addsub_special<T, Op>(mask, i, x, y, z, a, inca, b, incb, r, incr, name, Strided);
  for (int j = 0; j < live; ++j) {
    T *pr = r + 2 * (Strided ? strided_index(i + j, incr) : i + j);
    put(pr, z[2 * j]), put(pr + 1, z[2 * j + 1]);
  }
}

// Out of line, so that the fast loop keeps nothing alive for it.
template <class T, class Op>
__attribute__((noinline, cold)) void addsub_block_redo(int i, const T *a, const T *b, T *r, const char *name) {
  addsub_group<T, Op, false>(i, 64 / sizeof(T), a, 1, b, 1, r, 1, name);
}

// LA/HA: blocks of 16 elements (8 for double), eight vectors. Unit-stride
// blocks compute in registers and test once a block: the sum t of the eight
// result vectors is non-finite whenever a part is (and, rarely, when finite
// parts overflow the sum), and t - t is +0 exactly when t is finite. A
// flagged block is redone exactly as a group from a and b, which the block
// has not written yet, so r may alias them. Strided blocks and the tail are
// groups.
template <class T, class Op, bool Strided>
void addsub_checked(int n, const T *a, int inca, const T *b, int incb, T *r, int incr, const char *name) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T), B = 64 / sizeof(T), NV = 2 * B / W;
  static_assert(NV == 8, "the block test sums eight vectors");
  SavedEnv env = StandardEnv::enter();
  int i = 0;
  if (!Strided)
    for (; i + B <= n; i += B) {
      V s[NV];
      for (int v = 0; v < NV; ++v) s[v] = Op::f(load<V>(a + 2 * i + v * W), load<V>(b + 2 * i + v * W));
      const V t = ((s[0] + s[1]) + (s[2] + s[3])) + ((s[4] + s[5]) + (s[6] + s[7]));
      if (__builtin_expect(lane_bits(as<vi4>(t - t) != 0) != 0, 0)) {
        addsub_block_redo<T, Op>(i, a, b, r, name);
        continue;
      }
      for (int v = 0; v < NV; ++v) store<V>(r + 2 * i + v * W, s[v]);
    }
  if (Strided) {
    for (; i < n; i += B)
      addsub_group<T, Op, true>(i, n - i < B ? n - i : B, a, inca, b, incb, r, incr, name);
  } else {
    for (; i < n; ++i) {  // the unit tail, element by element; a non-finite one as a group of one
      const T re = Op::f(get(a + 2 * i), get(b + 2 * i)), im = Op::f(get(a + 2 * i + 1), get(b + 2 * i + 1));
      if (__builtin_expect(!finite(re) || !finite(im), 0)) {
        addsub_group<T, Op, false>(i, 1, a, 1, b, 1, r, 1, name);
        continue;
      }
      put(r + 2 * i, re), put(r + 2 * i + 1, im);
    }
  }
  qor::bex::fpenv::leave(env);
}

template <class T, class Op, const char *Name> void checked_unit(int n, const T *a, const T *b, T *r) {
  addsub_checked<T, Op, false>(n, a, 1, b, 1, r, 1, Name);
}
template <class T, class Op, const char *Name>
void checked_strided(int n, const T *a, int inca, const T *b, int incb, T *r, int incr) {
  addsub_checked<T, Op, true>(n, a, inca, b, incb, r, incr, Name);
}

constexpr char kCAdd[] = "vcAdd", kCSub[] = "vcSub", kZAdd[] = "vzAdd", kZSub[] = "vzSub";

}  // namespace
}  // namespace qor::kernels

using namespace qor::kernels;

QOR_CUSTOM_UNARY(cConj, ALL, float, conj_unit<float>, conj_strided<float>)
QOR_CUSTOM_UNARY(zConj, ALL, double, conj_unit<double>, conj_strided<double>)

#define QOR_COMPLEX_ADDSUB(e, T, Op, name)                                                              \
  QOR_CUSTOM_BINARY(e, LAHA, T, (checked_unit<T, Op, name>), (checked_strided<T, Op, name>))           \
  QOR_CUSTOM_BINARY(e, EP, T, (addsub_plain<T, Op>), (addsub_plain_strided<T, Op>))

QOR_COMPLEX_ADDSUB(cAdd, float, AddOp, kCAdd)
QOR_COMPLEX_ADDSUB(cSub, float, SubOp, kCSub)
QOR_COMPLEX_ADDSUB(zAdd, double, AddOp, kZAdd)
QOR_COMPLEX_ADDSUB(zSub, double, SubOp, kZSub)
