// Leapfrog and skip-ahead entries: they only dispatch to the generator's init
// routine, which does the arithmetic. The stream's brngId is trusted.
#include "random/streams/stream_internal.h"

using namespace qor::random;

extern "C" {

int __guxLeapfrogStream(GuxStream *stream, uint32_t k, int nstreams) {
  if (nstreams < 0) return GUX_STATUS_BAD_STREAM_COUNT;
  return stream_row(stream).initStream(GUX_INIT_LEAPFROG, stream, nstreams, &k);
}

int __guxSkipAheadStream(GuxStream *stream, uint64_t nskip) {
  return stream_row(stream).initStream(GUX_INIT_SKIPAHEAD, stream, 2, &nskip);
}

int __guxSkipAheadStreamEx(GuxStream *stream, int n, const uint64_t *nskip) {
  return stream_row(stream).initStream(GUX_INIT_SKIPAHEADEX, stream, n, nskip);
}

}  // extern "C"
