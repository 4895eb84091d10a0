// Thin wrappers of the x87 instructions the extended-precision kernels build
// on (complex element routines, gamma family). All operate on long double in
// the x87 registers and do no reduction of their own: the callers keep the
// arguments inside each instruction's domain.
#ifndef QOR_KERNELS_X87_COMMON_H
#define QOR_KERNELS_X87_COMMON_H

namespace qor::kernels::x87 {

using ld = long double;

// Nearest integer in the current rounding mode (frndint).
inline ld x87_rint(ld x) {
  ld r;
  __asm__("frndint" : "=t"(r) : "0"(x));
  return r;
}
// v * 2^k for an integral k (fscale).
inline ld x87_scale(ld v, ld k) {
  ld r;
  __asm__("fscale" : "=t"(r) : "0"(v), "u"(k));
  return r;
}
// 2^f - 1 for |f| <= 1 (f2xm1).
inline ld x87_exp2m1(ld f) {
  ld r;
  __asm__("f2xm1" : "=t"(r) : "0"(f));
  return r;
}
// ln x for x > 0: ln 2 * log2 x (fyl2x).
inline ld x87_log(ld x) {
  ld r;
  __asm__("fldln2\n\tfxch\n\tfyl2x" : "=t"(r) : "0"(x) : "st(1)");
  return r;
}
// ln(1 + y) for |y| < 1 - sqrt(2)/2 (fyl2xp1): 1 + y is never formed.
inline ld x87_log1p(ld y) {
  ld r;
  __asm__("fldln2\n\tfxch\n\tfyl2xp1" : "=t"(r) : "0"(y) : "st(1)");
  return r;
}

}  // namespace qor::kernels::x87

#endif
