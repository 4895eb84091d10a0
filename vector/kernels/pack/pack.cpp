// Pack and Unpack: bit-for-bit copies between a dense array and a strided,
// masked or indexed one. No frame, no floating-point state, no reports. With
// the width flag 1 the count, stride, mask and index elements are 32-bit
// signed; otherwise 64-bit. Loops take two elements a round where the
// element is small.
#include <stdint.h>

#include "vector/dispatch/kernel_defs.h"

namespace qor::kernels {
namespace {

struct Elem16 {
  uint64_t lo, hi;
};

// The integer interface: 32-bit values sign-extended, or 64-bit as they came.
inline intptr_t narrow(intptr_t v, int width) { return width == 1 ? (intptr_t)(int32_t)v : v; }

// Arrays need not be aligned even to their element size, so every element
// moves through the byte-wise element access.
template <class E> struct Array {
  const char *p;
  E operator[](intptr_t i) const { return qor::simd::get((const E *)p + i); }
};
template <class E> struct OutArray {
  char *p;
  void set(intptr_t i, const E &e) const { qor::simd::put((E *)p + i, e); }
};
template <class I> inline intptr_t at(const void *p, intptr_t i) { return (intptr_t)Array<I>{(const char *)p}[i]; }

template <class E> void pack_i(intptr_t n0, const void *a0, intptr_t inc0, intptr_t y0, int width) {
  const intptr_t n = narrow(n0, width), inc = narrow(inc0, width);
  const Array<E> a{(const char *)a0};
  const OutArray<E> y{(char *)y0};
  intptr_t i = 0, j = 0;
  if (sizeof(E) <= 8)
    for (; i + 2 <= n; i += 2, j += 2 * inc) {
      const E u = a[j], v = a[j + inc];
      y.set(i, u), y.set(i + 1, v);
    }
  for (; i < n; ++i, j += inc) y.set(i, a[j]);
}

template <class E> void unpack_i(intptr_t n0, const void *a0, intptr_t y0, intptr_t inc0, int width) {
  const intptr_t n = narrow(n0, width), inc = narrow(inc0, width);
  const Array<E> a{(const char *)a0};
  const OutArray<E> y{(char *)y0};
  intptr_t i = 0, j = 0;
  if (sizeof(E) <= 8)
    for (; i + 2 <= n; i += 2, j += 2 * inc) {
      const E u = a[i], v = a[i + 1];
      y.set(j, u), y.set(j + inc, v);
    }
  for (; i < n; ++i, j += inc) y.set(j, a[i]);
}

template <class E, class I> void pack_m_w(intptr_t n, const void *a0, const void *mask, void *y0) {
  const Array<E> a{(const char *)a0};
  const OutArray<E> y{(char *)y0};
  intptr_t k = 0;
  for (intptr_t i = 0; i < n; ++i)
    if (at<I>(mask, i) != 0) y.set(k++, a[i]);
}
template <class E> void pack_m(intptr_t n, const void *a, intptr_t mask, intptr_t y, int width) {
  if (width == 1) pack_m_w<E, int32_t>(narrow(n, width), a, (const void *)mask, (void *)y);
  else pack_m_w<E, int64_t>(n, a, (const void *)mask, (void *)y);
}

template <class E, class I> void unpack_m_w(intptr_t n, const void *a0, void *y0, const void *mask) {
  const Array<E> a{(const char *)a0};
  const OutArray<E> y{(char *)y0};
  intptr_t k = 0;
  for (intptr_t i = 0; i < n; ++i)
    if (at<I>(mask, i) != 0) y.set(i, a[k++]);
}
template <class E> void unpack_m(intptr_t n, const void *a, intptr_t y, intptr_t mask, int width) {
  if (width == 1) unpack_m_w<E, int32_t>(narrow(n, width), a, (void *)y, (const void *)mask);
  else unpack_m_w<E, int64_t>(n, a, (void *)y, (const void *)mask);
}

template <class E, class I> void pack_v_w(intptr_t n, const void *a0, const void *index, void *y0) {
  const Array<E> a{(const char *)a0};
  const OutArray<E> y{(char *)y0};
  intptr_t i = 0;
  if (sizeof(E) <= 8)
    for (; i + 2 <= n; i += 2) {
      const E u = a[at<I>(index, i)], v = a[at<I>(index, i + 1)];
      y.set(i, u), y.set(i + 1, v);
    }
  for (; i < n; ++i) y.set(i, a[at<I>(index, i)]);
}
template <class E> void pack_v(intptr_t n, const void *a, intptr_t index, intptr_t y, int width) {
  if (width == 1) pack_v_w<E, int32_t>(narrow(n, width), a, (const void *)index, (void *)y);
  else pack_v_w<E, int64_t>(n, a, (const void *)index, (void *)y);
}

// In index order, so a repeated index keeps the later element.
template <class E, class I> void unpack_v_w(intptr_t n, const void *a0, void *y0, const void *index) {
  const Array<E> a{(const char *)a0};
  const OutArray<E> y{(char *)y0};
  for (intptr_t i = 0; i < n; ++i) y.set(at<I>(index, i), a[i]);
}
template <class E> void unpack_v(intptr_t n, const void *a, intptr_t y, intptr_t index, int width) {
  if (width == 1) unpack_v_w<E, int32_t>(narrow(n, width), a, (void *)y, (const void *)index);
  else unpack_v_w<E, int64_t>(n, a, (void *)y, (const void *)index);
}

}  // namespace
}  // namespace qor::kernels

using namespace qor::kernels;

#define QOR_PACK_FAMILY(Kind, fn)                 \
  QOR_PACK_KERNEL(s##Kind, uint32_t, fn)          \
  QOR_PACK_KERNEL(d##Kind, uint64_t, fn)          \
  QOR_PACK_KERNEL(z##Kind, Elem16, fn)

QOR_PACK_FAMILY(PackI, pack_i)
QOR_PACK_FAMILY(PackM, pack_m)
QOR_PACK_FAMILY(PackV, pack_v)
QOR_PACK_FAMILY(UnpackI, unpack_i)
QOR_PACK_FAMILY(UnpackM, unpack_m)
QOR_PACK_FAMILY(UnpackV, unpack_v)
QOR_PACK_KERNEL(cPackI, uint64_t, pack_i)
QOR_PACK_KERNEL(cPackV, uint64_t, pack_v)
QOR_PACK_KERNEL(cUnpackI, uint64_t, unpack_i)
QOR_PACK_KERNEL(cUnpackV, uint64_t, unpack_v)

// c and d elements are both 8 bytes: their masked kernels are one.
extern "C" void qor_k_cPackM_ALL(intptr_t, const void *, intptr_t, intptr_t, int)
    __attribute__((alias("qor_k_dPackM_ALL")));
extern "C" void qor_k_cUnpackM_ALL(intptr_t, const void *, intptr_t, intptr_t, int)
    __attribute__((alias("qor_k_dUnpackM_ALL")));
