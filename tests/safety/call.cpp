// Calls by shape, and calls in a caller floating-point state.
#include "tests/safety/safety.h"

namespace safety {

template <class R> void invoke_as(const Entry &e, void *fn, const CallArgs &c, const R *s) {
  using L = long;
  using CP = const void *;
  using P = void *;
  const bool I = e.strided;
  switch (e.shape) {
    case ONE_IN: case C2R: case R2C:
      if (!I) ((void (*)(L, CP, P))fn)(c.n, c.in[0], c.out[0]);
      else ((void (*)(L, CP, L, P, L))fn)(c.n, c.in[0], c.inc[0], c.out[0], c.incr[0]);
      break;
    case TWO_IN:
      if (!I) ((void (*)(L, CP, CP, P))fn)(c.n, c.in[0], c.in[1], c.out[0]);
      else ((void (*)(L, CP, L, CP, L, P, L))fn)(c.n, c.in[0], c.inc[0], c.in[1], c.inc[1], c.out[0], c.incr[0]);
      break;
    case POWX_R:
      if (!I) ((void (*)(L, CP, R, P))fn)(c.n, c.in[0], s[0], c.out[0]);
      else ((void (*)(L, CP, L, R, P, L))fn)(c.n, c.in[0], c.inc[0], s[0], c.out[0], c.incr[0]);
      break;
    case POWX_C:
      if (e.t == 'c' && c.via_entry_point) {  // the exponent pair by value
        QorComplex8 b;
        memcpy(&b, s, sizeof b);
        if (!I) ((void (*)(L, CP, QorComplex8, P))fn)(c.n, c.in[0], b, c.out[0]);
        else ((void (*)(L, CP, L, QorComplex8, P, L))fn)(c.n, c.in[0], c.inc[0], b, c.out[0], c.incr[0]);
      } else {
        if (!I) ((void (*)(L, CP, CP, P))fn)(c.n, c.in[0], s, c.out[0]);
        else ((void (*)(L, CP, L, CP, P, L))fn)(c.n, c.in[0], c.inc[0], s, c.out[0], c.incr[0]);
      }
      break;
    case TWO_OUT:
      if (!I) ((void (*)(L, CP, P, P))fn)(c.n, c.in[0], c.out[0], c.out[1]);
      else ((void (*)(L, CP, L, P, L, P, L))fn)(c.n, c.in[0], c.inc[0], c.out[0], c.incr[0], c.out[1], c.incr[1]);
      break;
    case LINFRAC:
      if (!I) ((void (*)(L, CP, CP, R, R, R, R, P))fn)(c.n, c.in[0], c.in[1], s[0], s[1], s[2], s[3], c.out[0]);
      else
        ((void (*)(L, CP, L, CP, L, R, R, R, R, P, L))fn)(c.n, c.in[0], c.inc[0], c.in[1], c.inc[1], s[0], s[1], s[2],
                                                          s[3], c.out[0], c.incr[0]);
      break;
    default:
      break;
  }
}

__attribute__((noinline)) void invoke(const Entry &e, void *fn, const CallArgs &c) {
  if (e.comp == 4) invoke_as<float>(e, fn, c, c.sc->f);
  else invoke_as<double>(e, fn, c, c.sc->d);
}
__attribute__((noinline)) FpAfter call_in_state(const Entry &e, void *fn, const CallArgs &c, const FpState &s) {
  FpAfter after;
  set_fp(s.mxcsr, s.x87);
  invoke(e, fn, c);
  get_fp(after.mxcsr, after.x87);
  set_fp(0x1f80, 0x037f);
  return after;
}

}  // namespace safety
