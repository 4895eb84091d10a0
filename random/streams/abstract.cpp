// Abstract streams: no generator of their own, they hand out the numbers of a
// caller's circular buffer and ask the caller's callback to refill it. Three
// kinds by the buffer's type: iAbstract (32-bit words, copied), dAbstract and
// sAbstract (doubles and floats on [lowerBound, upperBound], mapped affinely
// onto the form's [a, b]). Each kind serves its own form only.
#include <emmintrin.h>
#include <stdint.h>
#include <string.h>

#include "random/streams/stream_internal.h"

using namespace qor::random;

namespace {

// State records after the 16-byte header, laid out as the registry rows size
// them (48, 64 and 56 bytes of record).
struct IAbstractState {
  int32_t size;       // elements in the buffer
  int32_t readPos;    // next element to read
  int32_t freeCount;  // used-up elements; size - freeCount are unread
  int32_t unused;
  uint32_t *buffer;
  GuxiAbstractCallback callback;
};
struct DAbstractState {
  int32_t size, readPos, freeCount, unused;
  double lowerBound, upperBound;
  double *buffer;
  GuxdAbstractCallback callback;
};
struct SAbstractState {
  int32_t size, readPos, freeCount;
  float lowerBound, upperBound;
  float *buffer;
  GuxsAbstractCallback callback;
};
static_assert(sizeof(GuxStream) + sizeof(IAbstractState) == 48, "iAbstract record");
static_assert(sizeof(GuxStream) + sizeof(DAbstractState) == 64, "dAbstract record");
static_assert(sizeof(GuxStream) + sizeof(SAbstractState) == 56, "sAbstract record");

// ---- delivery of a run of buffer elements --------------------------------------

struct CopyWords {
  void operator()(const uint32_t *in, int n, uint32_t *out) const {
    if (n > 0) memcpy(out, in, (size_t)n * sizeof *in);
  }
};

// e -> (e - lower) * scale + a, two doubles per step, the same arithmetic as
// the scalar tail so that every element rounds alike.
struct MapDoubles {
  double lower, scale, a;
  void operator()(const double *in, int n, double *out) const {
    const __m128d lo = _mm_set1_pd(lower), sc = _mm_set1_pd(scale), aa = _mm_set1_pd(a);
    int i = 0;
    if (((uintptr_t)out & 15) == 0) {
      for (; i + 2 <= n; i += 2)
        _mm_store_pd(out + i, _mm_add_pd(_mm_mul_pd(_mm_sub_pd(_mm_loadu_pd(in + i), lo), sc), aa));
    } else {
      for (; i + 2 <= n; i += 2)
        _mm_storeu_pd(out + i, _mm_add_pd(_mm_mul_pd(_mm_sub_pd(_mm_loadu_pd(in + i), lo), sc), aa));
    }
    for (; i < n; ++i) out[i] = (in[i] - lower) * scale + a;
  }
};

struct MapFloats {
  float lower, scale, a;
  void operator()(const float *in, int n, float *out) const {
    const __m128 lo = _mm_set1_ps(lower), sc = _mm_set1_ps(scale), aa = _mm_set1_ps(a);
    int i = 0;
    if (((uintptr_t)out & 15) == 0) {
      for (; i + 4 <= n; i += 4)
        _mm_store_ps(out + i, _mm_add_ps(_mm_mul_ps(_mm_sub_ps(_mm_loadu_ps(in + i), lo), sc), aa));
    } else {
      for (; i + 4 <= n; i += 4)
        _mm_storeu_ps(out + i, _mm_add_ps(_mm_mul_ps(_mm_sub_ps(_mm_loadu_ps(in + i), lo), sc), aa));
    }
    for (; i < n; ++i) out[i] = (in[i] - lower) * scale + a;
  }
};

// `count` elements (at most size) from `pos` on, wrapping at `size`.
template <class T, class Map>
void deliver(const T *buffer, int size, int pos, int count, T *out, const Map &map) {
  const int first = count < size - pos ? count : size - pos;
  map(buffer + pos, first, out);
  map(buffer, count - first, out + first);
}

int wrap(int64_t index, int size) { return (int)(index % size); }

// The refill protocol, common to the three kinds. Fields are written only on
// success: a failing callback leaves the stream as it was at entry.
template <class State, class T, class Map>
int draw(GuxStream *stream, int n, T *r, const Map &map) {
  State *st = state_of<State>(stream);
  if (!st->buffer) return GUX_STATUS_NULL_POINTER;
  if (n <= 0) return GUX_STATUS_OK;
  const int size = st->size;
  const int readPos = st->readPos;
  int freeCount = st->freeCount;
  const int unread = size - freeCount;

  if (n <= unread) {
    deliver(st->buffer, size, readPos, n, r, map);
    st->readPos = wrap((int64_t)readPos + n, size);
    st->freeCount = freeCount + n;
    return GUX_STATUS_OK;
  }

  // Everything unread goes first; then the whole buffer is free for refills.
  deliver(st->buffer, size, readPos, unread, r, map);
  int done = unread;
  int writeIndex = wrap((int64_t)readPos + unread, size);
  freeCount = size;
  for (;;) {
    const int remaining = n - done;
    int sizeArg = size, minimum = remaining < freeCount ? remaining : freeCount;
    int maximum = freeCount, index = writeIndex;
    const int got = st->callback(stream, &sizeArg, st->buffer, &minimum, &maximum, &index);
    if (got < 0 || got > freeCount) return GUX_STATUS_ABSTRACT_BAD_CALLBACK_RESULT;
    if (got == 0) return GUX_STATUS_ABSTRACT_NO_NUMBERS;
    const int start = writeIndex;
    freeCount -= got;
    writeIndex = wrap((int64_t)writeIndex + got, size);
    if (remaining <= got) {
      deliver(st->buffer, size, start, remaining, r + done, map);
      st->readPos = wrap((int64_t)start + remaining, size);
      st->freeCount = freeCount + remaining;
      return GUX_STATUS_OK;
    }
    // The whole refill is handed out, and its places are free again.
    deliver(st->buffer, size, start, got, r + done, map);
    done += got;
    freeCount += got;
  }
}

int refuse_method(int method) {
  switch (method) {
    case GUX_INIT_STANDARD: return GUX_STATUS_OK;
    case GUX_INIT_LEAPFROG: return GUX_STATUS_NO_LEAPFROG;
    case GUX_INIT_SKIPAHEAD: return GUX_STATUS_NO_SKIPAHEAD;
    case GUX_INIT_SKIPAHEADEX: return GUX_STATUS_NO_SKIPAHEADEX;
    default: return GUX_STATUS_BAD_INIT_METHOD;
  }
}

// params: the addresses of size, buffer, [lowerBound, upperBound,] callback.
template <class State>
void assign_common(State *st, const void *const *p, int callbackSlot) {
  st->size = *static_cast<const int *>(p[0]);
  st->readPos = 0;
  st->freeCount = st->size;  // the buffer starts empty
  st->buffer = *static_cast<decltype(st->buffer) const *>(p[1]);
  st->callback = *static_cast<decltype(st->callback) const *>(p[callbackSlot]);
}

// Creation common to the kinds: validate the row, allocate, fill the header,
// run the row's init with the block of argument addresses.
int create(GuxStream **streamOut, int id, int n, const void *const *params) {
  int row = 0, sub = 0;
  const BrngProperties *table = __guxGetBrngBaseOffset(id, &row, &sub);
  int status = __guxAllocateStream(streamOut, table, id, row, sub);
  if (status < 0) return status;
  status = table[row].initStream(GUX_INIT_STANDARD, *streamOut, n, params);
  if (status < 0) __guxDeleteStream(streamOut);
  return status;
}

}  // namespace

// The addresses of an abstract stream's buffer and callback are meaningful
// only in the process that made it; what can be checked are the positions.
namespace qor::random {
template <class State>
static bool positions_usable(const GuxStream *stream) {
  const State &st = *state_of<State>(stream);
  return st.size > 0 && st.readPos >= 0 && st.readPos < st.size && st.freeCount >= 0 && st.freeCount <= st.size;
}
bool state_usable_iAbstract(const GuxStream *stream) { return positions_usable<IAbstractState>(stream); }
bool state_usable_dAbstract(const GuxStream *stream) { return positions_usable<DAbstractState>(stream); }
bool state_usable_sAbstract(const GuxStream *stream) { return positions_usable<SAbstractState>(stream); }
}  // namespace qor::random

extern "C" {

// One stub per signature (hidden), each exported under two names.
int qor_abstract_wrong_form_s(GuxStream *, int, float *, float, float) {
  return GUX_STATUS_ABSTRACT_WRONG_FORM;
}
int qor_abstract_wrong_form_d(GuxStream *, int, double *, double, double) {
  return GUX_STATUS_ABSTRACT_WRONG_FORM;
}
int qor_abstract_wrong_form_i(GuxStream *, int, uint32_t *) { return GUX_STATUS_ABSTRACT_WRONG_FORM; }

QOR_API int __guxsBRngiAbstract(GuxStream *, int, float *, float, float)
    __attribute__((alias("qor_abstract_wrong_form_s")));
QOR_API int __guxsBRngdAbstract(GuxStream *, int, float *, float, float)
    __attribute__((alias("qor_abstract_wrong_form_s")));
QOR_API int __guxdBRngiAbstract(GuxStream *, int, double *, double, double)
    __attribute__((alias("qor_abstract_wrong_form_d")));
QOR_API int __guxdBRngsAbstract(GuxStream *, int, double *, double, double)
    __attribute__((alias("qor_abstract_wrong_form_d")));
QOR_API int __guxiBRngdAbstract(GuxStream *, int, uint32_t *)
    __attribute__((alias("qor_abstract_wrong_form_i")));
QOR_API int __guxiBRngsAbstract(GuxStream *, int, uint32_t *)
    __attribute__((alias("qor_abstract_wrong_form_i")));

// ---- init ---------------------------------------------------------------------------
int __guxBRngiAbstractInitStream(int method, GuxStream *stream, int, const void *params) {
  const int status = refuse_method(method);
  if (status != GUX_STATUS_OK) return status;
  assign_common(state_of<IAbstractState>(stream), static_cast<const void *const *>(params), 2);
  return GUX_STATUS_OK;
}

int __guxBRngdAbstractInitStream(int method, GuxStream *stream, int, const void *params) {
  const int status = refuse_method(method);
  if (status != GUX_STATUS_OK) return status;
  auto *p = static_cast<const void *const *>(params);
  auto *st = state_of<DAbstractState>(stream);
  assign_common(st, p, 4);
  st->lowerBound = *static_cast<const double *>(p[2]);
  st->upperBound = *static_cast<const double *>(p[3]);
  return GUX_STATUS_OK;
}

int __guxBRngsAbstractInitStream(int method, GuxStream *stream, int, const void *params) {
  const int status = refuse_method(method);
  if (status != GUX_STATUS_OK) return status;
  auto *p = static_cast<const void *const *>(params);
  auto *st = state_of<SAbstractState>(stream);
  assign_common(st, p, 4);
  st->lowerBound = *static_cast<const float *>(p[2]);
  st->upperBound = *static_cast<const float *>(p[3]);
  return GUX_STATUS_OK;
}

// ---- the forms ------------------------------------------------------------------------
int __guxiBRngiAbstract(GuxStream *stream, int n, uint32_t *r) {
  return draw<IAbstractState>(stream, n, r, CopyWords{});
}

int __guxdBRngdAbstract(GuxStream *stream, int n, double *r, double a, double b) {
  const auto *st = state_of<DAbstractState>(stream);
  const double scale = (b - a) / (st->upperBound - st->lowerBound);
  return draw<DAbstractState>(stream, n, r, MapDoubles{st->lowerBound, scale, a});
}

int __guxsBRngsAbstract(GuxStream *stream, int n, float *r, float a, float b) {
  const auto *st = state_of<SAbstractState>(stream);
  const float scale = (b - a) / (st->upperBound - st->lowerBound);
  return draw<SAbstractState>(stream, n, r, MapFloats{st->lowerBound, scale, a});
}

// ---- creation ------------------------------------------------------------------------
// Checks in order: size, buffer, bounds strictly ordered (a NaN fails), callback.
// A negative size is refused with zero: no buffer has that many elements.
int __guxiNewAbstractStream(GuxStream **streamOut, int size, uint32_t *buffer,
                            GuxiAbstractCallback callback) {
  *streamOut = nullptr;
  if (size <= 0 || !buffer || !callback) return GUX_STATUS_BAD_ARGUMENT;
  const void *params[] = {&size, &buffer, &callback};
  return create(streamOut, GUX_BRNG_IABSTRACT, 6, params);
}

int __guxdNewAbstractStream(GuxStream **streamOut, int size, double *buffer, double lowerBound,
                            double upperBound, GuxdAbstractCallback callback) {
  *streamOut = nullptr;
  if (size <= 0 || !buffer || !(lowerBound < upperBound) || !callback) return GUX_STATUS_BAD_ARGUMENT;
  const void *params[] = {&size, &buffer, &lowerBound, &upperBound, &callback};
  return create(streamOut, GUX_BRNG_DABSTRACT, 10, params);
}

int __guxsNewAbstractStream(GuxStream **streamOut, int size, float *buffer, float lowerBound,
                            float upperBound, GuxsAbstractCallback callback) {
  *streamOut = nullptr;
  if (size <= 0 || !buffer || !(lowerBound < upperBound) || !callback) return GUX_STATUS_BAD_ARGUMENT;
  const void *params[] = {&size, &buffer, &lowerBound, &upperBound, &callback};
  return create(streamOut, GUX_BRNG_SABSTRACT, 10, params);
}

}  // extern "C"
