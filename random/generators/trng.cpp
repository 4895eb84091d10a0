// TRNG: numbers straight from the processor's rdrand instruction, so they
// cannot be repeated and the stream keeps nothing between calls but the retry
// limit. rdrand is not part of the library's processor class: the loops that
// execute it are compiled for "rdrnd" on their own, and every form tests the
// processor first.
#include <immintrin.h>

#include "random/generators/retry.h"
#include "random/streams/stream_internal.h"

// Everything that executes rdrand lives in rdrand_path: the ISA test allows
// the instruction there and nowhere else.
namespace qor::random::rdrand_path {
namespace {

constexpr uint32_t kDefaultRetryLimit = 10;
constexpr double kTwoM64 = 5.421010862427522e-20;  // 2^-64

struct TrngState {
  uint32_t zero;  // kept at 0
  uint32_t retryLimit;
};
static_assert(sizeof(TrngState) + sizeof(GuxStream) == 24, "record size of the row");

#define QOR_RDRND __attribute__((target("rdrnd")))

// One call of the instruction each; the draw functions add the retry rule.
struct Rdrand64 {
  QOR_RDRND int operator()(uint64_t *p) const {
    unsigned long long x;
    const int ok = _rdrand64_step(&x);
    *p = x;
    return ok;
  }
};
struct Rdrand32 {
  QOR_RDRND int operator()(uint32_t *p) const {
    unsigned int x;
    const int ok = _rdrand32_step(&x);
    *p = x;
    return ok;
  }
};

QOR_RDRND inline bool draw64(uint32_t limit, uint64_t *v) { return draw_with_retry(limit, v, Rdrand64()); }
QOR_RDRND inline bool draw32(uint32_t limit, uint32_t *v) { return draw_with_retry(limit, v, Rdrand32()); }

// Two 32-bit numbers per 64-bit value, low half first; one 32-bit value for
// an odd last. put(k, word) writes number k.
template <class Put>
QOR_RDRND int pairs(uint32_t limit, int n, Put put) {
  int k = 0;
  for (; k + 2 <= n; k += 2) {
    uint64_t v;
    if (!draw64(limit, &v)) return GUX_STATUS_RDRAND_EXHAUSTED;
    put(k, (uint32_t)v);
    put(k + 1, (uint32_t)(v >> 32));
  }
  if (k < n) {
    uint32_t v;
    if (!draw32(limit, &v)) return GUX_STATUS_RDRAND_EXHAUSTED;
    put(k, v);
  }
  return GUX_STATUS_OK;
}

QOR_RDRND int words(uint32_t limit, int n, uint32_t *r) {
  return pairs(limit, n, [r](int k, uint32_t w) { r[k] = w; });
}

QOR_RDRND int floats(uint32_t limit, int n, float *r, float a, float b) {
  const float factor = (b - a) * 0x1p-32f;
  return pairs(limit, n, [=](int k, uint32_t w) { r[k] = (float)w * factor + a; });
}

QOR_RDRND int doubles(uint32_t limit, int n, double *r, double a, double b) {
  const double factor = (b - a) * kTwoM64;
  for (int k = 0; k < n; ++k) {
    uint64_t v;
    if (!draw64(limit, &v)) return GUX_STATUS_RDRAND_EXHAUSTED;
    r[k] = (double)v * factor + a;
  }
  return GUX_STATUS_OK;
}

}  // namespace
}  // namespace qor::random::rdrand_path

using namespace qor::random;
using namespace qor::random::rdrand_path;

extern "C" {

int __guxBRngTRNGInitStream(int method, GuxStream *stream, int n, const void *params) {
  TrngState &s = *state_of<TrngState>(stream);
  switch (method) {
    case GUX_INIT_STANDARD: {
      s.zero = 0;
      s.retryLimit = kDefaultRetryLimit;
      if (n >= 2) {
        const uint32_t limit = static_cast<const uint32_t *>(params)[1];
        if (limit) s.retryLimit = limit;
      }
      return GUX_STATUS_OK;
    }
    case GUX_INIT_LEAPFROG:
      return GUX_STATUS_NO_LEAPFROG;
    case GUX_INIT_SKIPAHEAD:
      return GUX_STATUS_NO_SKIPAHEAD;
    case GUX_INIT_SKIPAHEADEX:
      return GUX_STATUS_NO_SKIPAHEADEX;
    default:
      return GUX_STATUS_BAD_INIT_METHOD;
  }
}

int __guxiBRngTRNG(GuxStream *stream, int n, uint32_t *r) {
  if (!__guxCPUisRDRAND()) return GUX_STATUS_NO_RDRAND;
  return words(state_of<TrngState>(stream)->retryLimit, n, r);
}

int __guxdBRngTRNG(GuxStream *stream, int n, double *r, double a, double b) {
  if (!__guxCPUisRDRAND()) return GUX_STATUS_NO_RDRAND;
  return doubles(state_of<TrngState>(stream)->retryLimit, n, r, a, b);
}

int __guxsBRngTRNG(GuxStream *stream, int n, float *r, float a, float b) {
  if (!__guxCPUisRDRAND()) return GUX_STATUS_NO_RDRAND;
  return floats(state_of<TrngState>(stream)->retryLimit, n, r, a, b);
}

}  // extern "C"
