// Pieces shared by the integer-valued distributions: the HA kernels their
// set-ups call at a few elements, chunk records of fixed size kept in the
// stream, a pool of uniforms for the rejection loops, and log-gamma
// differences formed without cancellation for the acceptance tests.
#ifndef QOR_RANDOM_DIST_DISCRETE_H
#define QOR_RANDOM_DIST_DISCRETE_H

#include <math.h>
#include <string.h>

#include "core/qor_core.h"
#include "random/distributions/frame.h"

namespace qor::dist {

// x^b at one element through dPowx HA.
inline double powx_ha(double x, double b) {
  double r;
  apply_powx_slot(kSlotHA, 1, &x, b, &r);
  return r;
}

// exp(x) at one element through dExp HA.
inline double exp_ha(double x) {
  apply_slot(qor_ttab_dExp, kSlotHA, 1, &x);
  return x;
}

// The record of chunk `id`, `size` bytes, created (zeroed) when the stream
// has none. A chunk of that id with another size (an image from elsewhere) is
// dropped and remade. *fresh tells the caller to fill the record.
inline int chunk_record(GuxStream *stream, int id, int size, void **out, bool *fresh) {
  for (StreamChunk *c = stream->chunks; c; c = c->next)
    if (c->chunkId == id) {
      if (c->size == size && c->data) {
        *out = c->data;
        *fresh = false;
        return GUX_STATUS_OK;
      }
      __guxDeleteChunksById(stream, id);
      break;
    }
  void *p = qor_serv_allocate((size_t)size, 128);
  if (!p) return GUX_STATUS_NO_MEMORY;
  memset(p, 0, (size_t)size);
  const int status = __guxAddChunk(stream, id, nullptr, p, size);
  if (status < 0) {
    qor_serv_deallocate(p);
    return status;
  }
  *out = p;
  *fresh = true;
  return GUX_STATUS_OK;
}

// Uniforms on [0, 1) handed out one at a time to a rejection loop, fetched in
// blocks sized by what the call still needs (so a short call does not draw a
// whole block). What is left at the end of a call is dropped.
template <class T> struct Pool {
  static constexpr int kCap = 2048;
  GuxStream *stream;
  T buf[kCap];
  int pos = 0, len = 0, status = GUX_STATUS_OK;
  explicit Pool(GuxStream *s) : stream(s) {}
  // Refills for about `want` more draws; false on a negative status.
  bool refill(long want) {
    const int m = want > kCap ? kCap : want < 16 ? 16 : (int)want;
    status = uniform(stream, m, buf, T(0), T(1));
    pos = 0, len = m;
    return status >= 0;
  }
  bool next(T *x, long want) {
    if (pos == len && !refill(want)) return false;
    *x = buf[pos++];
    return true;
  }
};

// Draws n uniforms on [0, 1) in blocks of 2048 and hands each to body(i, u)
// for output index i; returns the last block's status (a negative one at
// once).
template <class Body> int each_uniform(GuxStream *stream, int n, Body body) {
  constexpr int kBlock = 2048;
  double u[kBlock];
  int status = GUX_STATUS_OK;
  for (int done = 0; done < n; done += kBlock) {
    const int m = n - done < kBlock ? n - done : kBlock;
    status = uniform(stream, m, u, 0.0, 1.0);
    if (status < 0) return status;
    for (int i = 0; i < m; ++i) body(done + i, u[i]);
  }
  return status;
}

// The Stirling remainder of ln Gamma(x): 1/(12x) - 1/(360x^3) + 1/(1260x^5)
// - 1/(1680x^7), for x of 16 and above (error below 3e-13 there).
inline double stirling_tail(double x) {
  const double r = 1.0 / x, r2 = r * r;
  return r * (0.083333333333333329 - r2 * (0.0027777777777777779 - r2 * (0.00079365079365079365 -
                                                                        r2 * 0.00059523809523809524)));
}
constexpr double kHalfLn2Pi = 0.91893853320467274;

// ln Gamma(x) for x > 0: shifted to 16 and above by an exact-enough product,
// then Stirling.
inline double ln_gamma(double x) {
  double prod = 1.0;
  while (x < 16.0) prod *= x, x += 1.0;
  return (x - 0.5) * log(x) - x + kHalfLn2Pi + stirling_tail(x) - log(prod);
}

// ln Gamma(x + d) - ln Gamma(x), for x > 0 and x + d > 0, without the
// cancellation of two large logarithms: for both arguments of 16 and above,
// (x - 1/2) ln(1 + d/x) + d ln(x + d) - d + the difference of the remainders.
inline double ln_gamma_diff(double x, double d) {
  const double y = x + d;
  if (d == 0.0) return 0.0;
  if (x < 16.0 || y < 16.0) return ln_gamma(y) - ln_gamma(x);
  return (x - 0.5) * log1p(d / x) + d * log(y) - d + (stirling_tail(y) - stirling_tail(x));
}

// ln(x!) - ln(y!) for integers x, y >= 0.
inline double ln_fact_diff(double x, double y) { return ln_gamma_diff(y + 1.0, x - y); }

}  // namespace qor::dist

#endif
