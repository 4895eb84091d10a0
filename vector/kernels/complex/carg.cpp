// Arg, c and z: the argument atan2(im, re) of each element, by the Atan2
// kernel of the same tier applied to the parts, which each chunk of up to 256
// elements de-interleaves on the stack (the unit form writes the results in
// place, the strided form gathers and scatters). The Atan2 kernels keep the
// C99 special values (the sign of a zero imaginary part picks the side of the
// negative real axis) and enter their own floating-point environment. Nothing
// reports: the argument is finite or NaN.
#include "vector/dispatch/accuracy.h"
#include "vector/dispatch/kernel_defs.h"
#include "vector/kernels/complex/complex_parts.h"

#define QOR_ATAN2_KERNEL(T, entry, tier) extern "C" void qor_k_##entry##_##tier(int, const T *, const T *, T *);
QOR_ATAN2_KERNEL(float, sAtan2, LA)
QOR_ATAN2_KERNEL(float, sAtan2, HA)
QOR_ATAN2_KERNEL(float, sAtan2, EP)
QOR_ATAN2_KERNEL(double, dAtan2, LA)
QOR_ATAN2_KERNEL(double, dAtan2, HA)
QOR_ATAN2_KERNEL(double, dAtan2, EP)

namespace qor::kernels {
namespace {

using qor::bex::strided_index;
using qor::simd::get;
using qor::simd::put;

constexpr int kChunk = 256;
template <class T> using Atan2Kernel = void (*)(int, const T *, const T *, T *);

template <class T, Atan2Kernel<T> Atan2> void arg_unit(int n, const T *a, T *r) {
  alignas(16) T y[kChunk], x[kChunk];
  for (int i = 0; i < n; i += kChunk) {
    const int m = n - i < kChunk ? n - i : kChunk;
    complex_parts::split_parts(m, a + 2 * i, x, y);
    Atan2(m, y, x, r + i);  // r[i + j] lies below a[2 i]: no input of a later chunk is overwritten
  }
}

template <class T, Atan2Kernel<T> Atan2> void arg_strided(int n, const T *a, int inca, T *r, int incr) {
  alignas(16) T y[kChunk], x[kChunk], t[kChunk];
  for (int i = 0; i < n; i += kChunk) {
    const int m = n - i < kChunk ? n - i : kChunk;
    for (int j = 0; j < m; ++j) {
      const T *p = a + 2 * strided_index(i + j, inca);
      x[j] = get(p), y[j] = get(p + 1);
    }
    Atan2(m, y, x, t);
    for (int j = 0; j < m; ++j) put(r + strided_index(i + j, incr), t[j]);
  }
}

QOR_ACCURACY(cArg, LA, ULP, 4.0)
QOR_ACCURACY(cArg, HA, ULP, 1.0)
QOR_ACCURACY(cArg, EP, BITS, 11)
QOR_CBOX(cArg, 0, 3.4e38, 0, 3.4e38, 400000)
QOR_CBOX(cArg, 0.5, 2.0, 0.5, 2.0, 200000)
QOR_CBOX(cArg, 1e-30, 1e-20, 1e10, 1e30, 50000)
QOR_ACCURACY(zArg, LA, ULP, 4.0)
QOR_ACCURACY(zArg, HA, ULP, 1.0)
QOR_ACCURACY(zArg, EP, BITS, 26)
QOR_CBOX(zArg, 0, 1.7e308, 0, 1.7e308, 400000)
QOR_CBOX(zArg, 0.5, 2.0, 0.5, 2.0, 200000)
QOR_CBOX(zArg, 1e-300, 1e-200, 1e100, 1e300, 50000)

}  // namespace
}  // namespace qor::kernels

using namespace qor::kernels;

#define QOR_ARG_KERNELS(entry, T, atan2, tier) \
  QOR_CUSTOM_UNARY(entry, tier, T, (arg_unit<T, qor_k_##atan2##_##tier>), (arg_strided<T, qor_k_##atan2##_##tier>))
QOR_ARG_KERNELS(cArg, float, sAtan2, LA)
QOR_ARG_KERNELS(cArg, float, sAtan2, HA)
QOR_ARG_KERNELS(cArg, float, sAtan2, EP)
QOR_ARG_KERNELS(zArg, double, dAtan2, LA)
QOR_ARG_KERNELS(zArg, double, dAtan2, HA)
QOR_ARG_KERNELS(zArg, double, dAtan2, EP)
