// The scalar routine of the EP sine and cosine kernels, for lanes beyond the
// fast path: a reduction by pi/4 (four or five parts for exponents 1040 to
// 1052, the 25-bit pieces of 4/pi beyond), then a row of pi/32 and short
// Taylor series. The count of pi/4 steps is kept modulo 8 and goes into the
// row number, so the remainder never needs a second correction.
#ifndef QOR_KERNELS_TRIG_DTRIG_EP_H
#define QOR_KERNELS_TRIG_DTRIG_EP_H

#include "vector/kernels/trig/dtrig_common.h"
#include "vector/kernels/trig/dtrig_ep.inc"

namespace qor::kernels::dtrig {

// x = row pi/32 + r + r_lo (row modulo 64).
struct EpReduced {
  double r, r_lo;
  int row;
};

inline double rint_small(double y) {  // |y| < 2^51
  return (y + kShifter) - kShifter;
}

// p modulo 8, exactly, in [-4, 4].
inline double mod8(double p) {
  const double y = p * 0.125;
  if (__builtin_fabs(y) >= 0x1p52) return 0.0;
  const double c = __builtin_copysign(0x1p52, y);
  return p - 8.0 * ((y + c) - c);
}

// hi + lo += p, with the rounding error of the sum kept in lo.
inline void add_exact(double &hi, double &lo, double p) {
  double s, e;
  exact::two_sum(hi, p, s, e);
  hi = s, lo += e;
}

inline EpReduced ep_reduce(double x) {
  const uint64_t b = bits::ubits(x);
  const int e = (int)((b >> 52) & 0x7FF);
  double r = x, r_lo = 0.0;
  long eighths = 0;
  if (e >= 1040 && e < 1053) {
    // q = rint(x 4/pi) below 2^24; x - q pi/4 with pi/4 in four or five parts.
    const double q = rint_small(x * 1.2732395447351628);
    eighths = (long)q;
    static constexpr double k4[] = {0.7853981629014015, 4.960467904491228e-10, -6.088525906594782e-19,
                                    1.7607799325916e-27, 0.0};
    static constexpr double k5[] = {0.7853975296020508, 6.337954800983425e-07, -8.256991011063031e-14,
                                    -6.675151087907452e-20, 8.223128468162129e-27};
    const double *c = e < 1046 ? k4 : k5;
    r = x - q * c[0];
    for (int i = 1; i < 5; ++i) add_exact(r, r_lo, -(q * c[i]));
  } else if (e >= 1053) {
    // x 2^-200 split in a 26-bit head and tail; the words from row i on carry
    // every bit of x 4/pi below 8 (earlier rows give multiples of 8 only).
    const double xs = bits::from_bits<double>(b - (200ull << 52));
    double xh, xt;
    exact::split(xs, xh, xt);
    const int i0 = ((e - 1052) * 83886) >> 21;
    double hi = 0.0, lo = 0.0;
    for (int i = i0; i < i0 + 8; ++i) {
      const double w = dtrig_tables::kFourOverPiWords[i];
      add_exact(hi, lo, mod8(xh * w));
      add_exact(hi, lo, mod8(xt * w));
    }
    const double n = rint_small(hi);
    eighths = (long)n;
    double fh, fl;
    exact::two_sum(hi - n, lo, fh, fl);
    // r = f pi/4, the head of f times the 24-bit head of pi/4 exactly.
    double fhh, fht;
    exact::split(fh, fhh, fht);
    const double head = fhh * 0.7853981256484985;
    const double rest = fht * 0.7853981256484985 + fh * 3.774894977445941e-08 + fl * 0.78539816339744828;
    exact::fast_two_sum(head, rest, r, r_lo);
  }
  // Row of pi/32: j = rint(r 32/pi), r - j pi/32 with pi/32 in two parts.
  const double j = rint_small(r * 10.185916357881302);
  double r1 = r - j * 0.09817477042088285, r2;
  double e2;
  exact::two_sum(r1, -(j * 3.798187816439979e-12), r2, e2);
  return {r2, r_lo + e2, (int)((8 * eighths + (long)j) & 63)};
}

// sin and cos of row pi/32 + r + r_lo from a row C_lo, S_hi, S_lo, C_hi.
inline void ep_eval(const EpReduced &t, double *s, double *c) {
  const double *row = dtrig_tables::kEpRows[t.row];
  const double c_lo = row[0], s_hi = row[1], s_lo = row[2], c_hi = row[3];
  const double r = t.r, z = r * r;
  const double sin_tail = r * z * (-1.0 / 6 + z * (1.0 / 120 + z * (-1.0 / 5040 + z * 2.7557319223985893e-06))) + t.r_lo;
  const double cos_tail = z * (-0.5 + z * (1.0 / 24 + z * (-1.0 / 720 + z * (1.0 / 40320))));
  const double cc = c_hi + c_lo, ss = s_hi + s_lo;
  if (s) *s = s_hi + (c_hi * r + (s_lo + c_lo * r + cc * sin_tail + ss * cos_tail));
  if (c) *c = c_hi + (c_lo - s_hi * r + (-s_lo * r + cc * cos_tail - ss * sin_tail));
}

// The EP routine of one element: non-finite x as the LA and HA routines,
// finite x reduced and evaluated here. Either output may be null.
inline int ep_scalar(double x, double *s, double *c) {
  if (x != x) {
    if (s) *s = x * x;
    if (c) *c = x * x;
    return 0;
  }
  if (x == kInf || x == -kInf) {
    if (s) *s = x * 0.0;
    if (c) *c = x * 0.0;
    return 1;
  }
  ep_eval(ep_reduce(x), s, c);
  return 0;
}

}  // namespace qor::kernels::dtrig

#endif
