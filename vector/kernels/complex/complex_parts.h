// The parts of interleaved complex elements: two vectors of elements (four
// float or two double elements) into a vector of real and one of imaginary
// parts, and a chunk of unit-stride elements into two arrays of parts.
#ifndef QOR_KERNELS_COMPLEX_PARTS_H
#define QOR_KERNELS_COMPLEX_PARTS_H

#include "vector/dispatch/simd.h"

namespace qor::kernels::complex_parts {

using namespace qor::simd;

inline void deinterleave(vf4 v0, vf4 v1, vf4 &re, vf4 &im) {
  re = as<vf4>(_mm_shuffle_ps(as<__m128>(v0), as<__m128>(v1), 0x88));
  im = as<vf4>(_mm_shuffle_ps(as<__m128>(v0), as<__m128>(v1), 0xdd));
}
inline void deinterleave(vd2 v0, vd2 v1, vd2 &re, vd2 &im) {
  re = as<vd2>(_mm_unpacklo_pd(as<__m128d>(v0), as<__m128d>(v1)));
  im = as<vd2>(_mm_unpackhi_pd(as<__m128d>(v0), as<__m128d>(v1)));
}

// m elements from a (unit stride) into re[0..m) and im[0..m); re and im are
// aligned to 16 bytes.
template <class T> inline void split_parts(int m, const T *a, T *re, T *im) {
  using V = typename Lanes<T>::V;
  constexpr int W = 16 / sizeof(T);
  int j = 0;
  for (; j + W <= m; j += W) {
    V r, i;
    deinterleave(load<V>(a + 2 * j), load<V>(a + 2 * j + W), r, i);
    store<V>(re + j, r), store<V>(im + j, i);
  }
  for (; j < m; ++j) re[j] = get(a + 2 * j), im[j] = get(a + 2 * j + 1);
}

}  // namespace qor::kernels::complex_parts

#endif
