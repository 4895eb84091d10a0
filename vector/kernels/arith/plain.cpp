// Sqr, Add, Sub, Mul (real): plain element loops with no lane test, no scalar
// routine and no reports. Short arrays go one by one; longer ones peel single
// elements until a is aligned to 16 bytes, then run a main loop with aligned
// loads of a and, by r's alignment, aligned or unaligned stores; r equal to a
// (or b) has its own path. The frame's floating-point environment applies
// (flush-to-zero when the Mode word asks for it).
#include <string.h>

#include "vector/kernels/arith/bitops.h"

namespace qor::kernels {
namespace {

using namespace bits;
using qor::bex::SavedEnv;
using qor::bex::StandardEnv;

struct SqrOp {
  template <class X> static X f(X a) { return a * a; }
};
struct AddOp {
  template <class X> static X f(X a, X b) { return add_ordered(a, b); }
};
struct SubOp {
  template <class X> static X f(X a, X b) { return a - b; }
};
struct MulOp {
  template <class X> static X f(X a, X b) { return mul_ordered(a, b); }
};

inline bool aligned16(const void *p) { return ((uintptr_t)p & 15) == 0; }
template <class V> inline V load_aligned(const void *p) { return *(const V *)p; }
template <class V> inline void store_aligned(void *p, V v) { *(V *)p = v; }

// Elements before i where a becomes 16-byte aligned (none if it never can).
template <class T> inline int peel_count(const T *a, int n) {
  if ((uintptr_t)a % sizeof(T)) return 0;
  const int k = (int)(((16 - ((uintptr_t)a & 15)) & 15) / sizeof(T));
  return k < n ? k : n;
}


// The main loop over [i, n) in rounds of R elements: a is aligned here.
template <class T, int R, bool AlignedStore, class Op>
inline int unary_rounds(int i, int n, const T *a, T *r) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T);
  for (; i + R <= n; i += R)
    for (int v = 0; v < R; v += W) {
      const V x = Op::f(load_aligned<V>(a + i + v));
      if (AlignedStore) store_aligned(r + i + v, x);
      else store<V>(r + i + v, x);
    }
  return i;
}

template <class T, int Threshold, int R, class Op> void sqr_unit(int n, const T *a, T *r) {
  SavedEnv env = StandardEnv::enter();
  int i = 0;
  if (n >= Threshold) {
    for (const int p = peel_count(a, n); i < p; ++i) put(r + i, Op::f(get(a + i)));
    if (aligned16(a + i)) {  // a not aligned to its element size stays on the element loop
      if (a == r || aligned16(r + i)) i = unary_rounds<T, R, true, Op>(i, n, a, r);
      else i = unary_rounds<T, R, false, Op>(i, n, a, r);
    }
  }
  for (; i < n; ++i) put(r + i, Op::f(get(a + i)));
  qor::bex::fpenv::leave(env);
}

template <class T, int R, bool AlignedStore, class Op>
inline int binary_rounds(int i, int n, const T *a, const T *b, T *r) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T);
  for (; i + R <= n; i += R)
    for (int v = 0; v < R; v += W) {
      const V x = Op::f(load_aligned<V>(a + i + v), load<V>(b + i + v));
      if (AlignedStore) store_aligned(r + i + v, x);
      else store<V>(r + i + v, x);
    }
  return i;
}

// r coinciding with b: the aligned side is r (and b), a is loaded unaligned.
template <class T, int R, class Op> inline int over_b_rounds(int i, int n, const T *a, T *r) {
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T);
  for (; i + R <= n; i += R)
    for (int v = 0; v < R; v += W) store_aligned(r + i + v, Op::f(load<V>(a + i + v), load_aligned<V>(r + i + v)));
  return i;
}

template <class T, int Threshold, int R, class Op> void binary_unit(int n, const T *a, const T *b, T *r) {
  SavedEnv env = StandardEnv::enter();
  int i = 0;
  if (n >= Threshold) {
    if (r == b && r != a) {
      for (const int p = peel_count<T>(r, n); i < p; ++i) put(r + i, Op::f(get(a + i), get(b + i)));
      if (aligned16(r + i)) i = over_b_rounds<T, R, Op>(i, n, a, r);
    } else {
      for (const int p = peel_count(a, n); i < p; ++i) put(r + i, Op::f(get(a + i), get(b + i)));
      if (aligned16(a + i)) {  // a not aligned to its element size stays on the element loop
        if (r == a || aligned16(r + i)) i = binary_rounds<T, R, true, Op>(i, n, a, b, r);
        else i = binary_rounds<T, R, false, Op>(i, n, a, b, r);
      }
    }
  }
  for (; i < n; ++i) put(r + i, Op::f(get(a + i), get(b + i)));
  qor::bex::fpenv::leave(env);
}

// Strided forms: blocks of B elements gathered into vectors, 8 (s) or 4 (d).
template <class T, int B, class Op> void sqr_strided(int n, const T *a, int inca, T *r, int incr) {
  using qor::bex::strided_index;
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T);
  SavedEnv env = StandardEnv::enter();
  for (int i = 0; i < n; i += B) {
    const int live = n - i < B ? n - i : B;
    alignas(16) T x[B] = {};
    for (int j = 0; j < live; ++j) x[j] = get(a + strided_index(i + j, inca));
    for (int v = 0; v < B; v += W) store_aligned(x + v, Op::f(load_aligned<V>(x + v)));
    for (int j = 0; j < live; ++j) put(r + strided_index(i + j, incr), x[j]);
  }
  qor::bex::fpenv::leave(env);
}

template <class T, int B, class Op>
void binary_strided(int n, const T *a, int inca, const T *b, int incb, T *r, int incr) {
  using qor::bex::strided_index;
  using V = VecOf<T>;
  constexpr int W = 16 / sizeof(T);
  SavedEnv env = StandardEnv::enter();
  for (int i = 0; i < n; i += B) {
    const int live = n - i < B ? n - i : B;
    alignas(16) T x[B] = {}, y[B] = {};
    for (int j = 0; j < live; ++j) x[j] = get(a + strided_index(i + j, inca)), y[j] = get(b + strided_index(i + j, incb));
    for (int v = 0; v < B; v += W) store_aligned(x + v, Op::f(load_aligned<V>(x + v), load_aligned<V>(y + v)));
    for (int j = 0; j < live; ++j) put(r + strided_index(i + j, incr), x[j]);
  }
  qor::bex::fpenv::leave(env);
}

}  // namespace
}  // namespace qor::kernels

using namespace qor::kernels;

#define QOR_PLAIN_BINARY(F, Op)                                                                     \
  QOR_CUSTOM_BINARY(s##F, ALL, float, (binary_unit<float, 32, 32, Op>), (binary_strided<float, 8, Op>)) \
  QOR_CUSTOM_BINARY(d##F, ALL, double, (binary_unit<double, 16, 16, Op>), (binary_strided<double, 4, Op>))

QOR_CUSTOM_UNARY(sSqr, ALL, float, (sqr_unit<float, 8, 8, SqrOp>), (sqr_strided<float, 8, SqrOp>))
QOR_CUSTOM_UNARY(dSqr, ALL, double, (sqr_unit<double, 8, 8, SqrOp>), (sqr_strided<double, 4, SqrOp>))
QOR_PLAIN_BINARY(Add, AddOp)
QOR_PLAIN_BINARY(Sub, SubOp)
QOR_PLAIN_BINARY(Mul, MulOp)
