// The lane formulas of dSinCos, shared with zCIS (the same results,
// interleaved as cosine and sine). N = rint(|x|/pi) is taken once; the sine
// branch reduces |x| - N pi, the cosine branch |x| - M pi with M = N + 0.5
// towards the two-part remainder, and both use the polynomial of the cosine
// kernel of the tier. HA evaluates one reduction on the sine and cosine
// tables. LA and HA reduce lanes beyond the fast path by the two-over-pi
// window; EP calls its scalar routine.
#ifndef QOR_KERNELS_TRIG_DSINCOS_H
#define QOR_KERNELS_TRIG_DSINCOS_H

#include "vector/kernels/trig/dtrig_common.h"
#include "vector/kernels/trig/dtrig_ep.h"
#include "vector/kernels/trig/dtrig_large.h"
#include "vector/kernels/trig/dtrig_sine.inc"

namespace qor::kernels::dtrig {

constexpr double kSinCosInvPi = f64(0x3FD45F306DC9C883);  // 1/pi
constexpr double kSinCosP1 = f64(0x400921FB40000000), kSinCosP2 = f64(0x3E84442D00000000),
                 kSinCosP3 = f64(0x3D08469880000000), kSinCosP4 = f64(0x3B88CC51701B839A),
                 kSinCosP3EP = f64(0x3D08469898CC5170);

inline vd2 sincos_poly_la(vd2 r) {
  const vd2 z = r * r;
  // c4..c7 by pairs, c3..c1 by Horner: a shorter dependency chain, with the
  // low-order terms rounded as in Horner's scheme.
  const vd2 z2 = z * z;
  const vd2 q = (2.755731658449074e-06 + z * -2.5051879126742989e-08) +
                z2 * (1.6048055576979365e-10 + z * -7.3728090972650701e-13);
  const vd2 p = -0.16666666666666183 + z * (0.0083333333332851894 + z * (-0.00019841269824944275 + z * q));
  return r + (z * p) * r;
}
inline vd2 sincos_poly_ep(vd2 r) {
  const vd2 z = r * r;
  const vd2 p =
      -0.16666658839437162 + z * (0.0083330466452487071 + z * (-0.00019808085361787081 + z * 2.6022725384193179e-06));
  return r + (z * p) * r;
}

// Both results of the large path, for the finite lanes of `big`; the
// non-finite ones go to the scalar routine.
inline void sincos_large(vd2 a, vl2 big, vl2 &bad, vd2 &s, vd2 &c) {
  bad = non_finite(a);
  if (lane_bits(big & ~bad) != 0) {
    vq2 k;
    vd2 r_lo;
    const vd2 r = reduce_large(a, k, r_lo);
    s = select(big, eval_row(dtrig_tables::kSineTable, k & 511, r, r_lo), s);
    c = select(big, eval_row(dtrig_tables::kCosineTable, k & 511, r, r_lo), c);
  }
}

// LA (four parts of pi) and EP (three): sin |x| and cos x.
template <bool kEP> inline void sincos_fast(vd2 a, vd2 &s, vd2 &c) {
  vq2 nb;
  const vd2 n = round_shift(a * kSinCosInvPi, nb);
  const vd2 r2 = (a - n * kSinCosP1) - n * kSinCosP2;
  const vd2 m = n + bits::bor(vd2{} + 0.5, sign_of(r2));
  const vd2 sign = parity_sign(nb);
  if constexpr (kEP) {
    const vd2 rs = r2 - n * kSinCosP3EP;
    const vd2 rc = ((m * kSinCosP1 - a) + m * kSinCosP2) + m * kSinCosP3EP;
    s = bxor(sincos_poly_ep(rs), sign);
    c = bxor(sincos_poly_ep(rc), bxor(sign, sign_of(r2)));
  } else {
    const vd2 rs = (r2 - n * kSinCosP3) - n * kSinCosP4;
    const vd2 rc = (((m * kSinCosP1 - a) + m * kSinCosP2) + m * kSinCosP3) + m * kSinCosP4;
    s = bxor(sincos_poly_la(rs), sign);
    c = bxor(sincos_poly_la(rc), bxor(sign, sign_of(r2)));
  }
  // As in the cosine kernel: where pi/2 - |x| rounds to pi/2, the cosine is 1.
  c = select(bits::eq(1.5707963267948966 - a, 1.5707963267948966), vd2{} + 1.0, c);
}

// A description of a tier for the frame: outputs in the order sin, cos
// (Cis = false) or cos, sin (Cis = true).
template <int kTier, bool kCis, const char *Name> struct DSinCosK {
  using T = double;
  static constexpr int kIn = 1, kOut = 2, kBlock = kTier == 1 ? 4 : 8;
  static constexpr double kPad = 0.75;
  static constexpr const char *kName = Name;
  static void lanes(vd2 x, vd2 &r1, vd2 &r2, vl2 &bad) {
    const vd2 a = vabs(x);
    vd2 s{}, c{};
    auto fast = [&] {
      if constexpr (kTier == 1) {
        vq2 nb;
        vd2 r_lo;
        const vd2 r = ReduceHA::run(a, nb, r_lo);
        s = eval_row(dtrig_tables::kSineTable, nb & 511, r, r_lo);
        c = eval_row(dtrig_tables::kCosineTable, nb & 511, r, r_lo);
      } else {
        sincos_fast<kTier == 2>(a, s, c);
      }
    };
    const vl2 big = ~le(a, kTier == 1 ? ReduceHA::kThreshold : 8388608.0);
    const unsigned m = lane_bits(big);
    bad = vl2{};
    if (__builtin_expect(m == 0, 1)) {
      fast();
    } else if (kTier == 2) {
      fast();
      bad = big;  // EP: the scalar routine
    } else {
      if (m != 3) fast();  // a pair over the threshold skips the fast formulas
      sincos_large(a, big, bad, s, c);
    }
    s = bxor(s, sign_of(x));
    if constexpr (kCis) r1 = c, r2 = s;
    else r1 = s, r2 = c;
  }
  static int scalar(const double *a, double *r1, double *r2) {
    if constexpr (kTier == 2) return kCis ? ep_scalar(*a, r2, r1) : ep_scalar(*a, r1, r2);
    else return non_finite_scalar2<DSinCosK>(a, r1, r2);
  }
};

}  // namespace qor::kernels::dtrig

#endif
