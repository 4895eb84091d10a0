// Frac (x - trunc x) and Modf (both parts in one pass), by the rounding trick
// of rounding.cpp. Lanes that are big, infinite or NaN go to scalar routines
// that always return 0: these functions never report.
#include "vector/kernels/arith/bitops.h"

namespace qor::kernels {
namespace {

using namespace bits;

// Truncation and the fraction carrying x's sign (so -3.0 gives -0);
// flags lanes that are not at most 2^23 (2^52): big, infinite, NaN.
template <class V> inline void trunc_frac(V x, V &tr, V &fr, MaskOf<V> &bad) {
  using T = ElemOf<V>;
  constexpr T C = kIntShift<T>;
  const V ax = vabs(x);
  const V m = (ax + C) - C;
  tr = bor(select(gt(m, ax), m - T(1.0), m), sign_of(x));
  fr = bor(x - tr, sign_of(x));
  bad = ~le(ax, C);
}

template <class T> constexpr T kSignedZero[2] = {T(0.0), T(-0.0)};

// The fraction of x on its bits widened to double: the fractional bits are
// cleared by a shift count from the exponent.
template <class T> inline T frac_scalar(T x) {
  const double xd = x;
  const uint64_t b = ubits(xd);
  const int sign = (int)(b >> 63);
  const int e = (int)((b >> 52) & 0x7ff) - 1023;
  if (e == 1024) return (b << 12) ? x + x : kSignedZero<T>[sign];  // NaN : infinity
  if (e < 0) return x;                                             // magnitude below 1
  if (e >= 52) return kSignedZero<T>[sign];
  const uint64_t frac_bits = (uint64_t(1) << (52 - e)) - 1;
  if ((b & frac_bits) == 0) return kSignedZero<T>[sign];
  return (T)(xd - from_bits<double>(b & ~frac_bits));
}

struct FracF {
  template <class V> static V one(V x, MaskOf<V> &bad) {
    V tr, fr;
    trunc_frac(x, tr, fr, bad);
    return fr;
  }
  template <class T> static int run(const T *a, T *r) { return *r = frac_scalar(*a), 0; }
};

struct ModfF {
  template <class V> static void pair(V x, V &r1, V &r2, MaskOf<V> &bad) { trunc_frac(x, r1, r2, bad); }
  // Big finite lanes and infinities: the integer part is x, the fraction zero of its sign.
  template <class T> static int run(const T *a, T *r1, T *r2) {
    const T x = *a;
    if (nan_bits(x)) {
      *r1 = *r2 = x + x;
    } else {
      *r1 = x;
      *r2 = kSignedZero<T>[ubits(x) >> (sizeof(T) * 8 - 1)];
    }
    return 0;
  }
};

constexpr char kSFrac[] = "vsFrac", kDFrac[] = "vdFrac", kSModf[] = "vsModf", kDModf[] = "vdModf";
using SFrac = Desc<float, 1, 1, 8, kSFrac, FracF>;
using DFrac = Desc<double, 1, 1, 4, kDFrac, FracF>;
using SModf = Desc<float, 1, 2, 16, kSModf, ModfF>;
using DModf = Desc<double, 1, 2, 4, kDModf, ModfF>;

}  // namespace
}  // namespace qor::kernels

using qor::bex::StandardEnv;
using namespace qor::kernels;
QOR_UNARY_KERNELS2(sFrac, ALL, SFrac, SFrac, StandardEnv)
QOR_UNARY_KERNELS2(dFrac, ALL, DFrac, DFrac, StandardEnv)
QOR_TWO_OUT_KERNELS(sModf, ALL, SModf, SModf, StandardEnv)
QOR_TWO_OUT_KERNELS(dModf, ALL, DModf, DModf, StandardEnv)
