// Stream records: creation, copies and deletion. A record is one 128-byte
// aligned allocation: the 16-byte header, then the generator's state.
#include <string.h>

#include "random/streams/stream_internal.h"

using namespace qor::random;

namespace {

GuxStream *allocate_record(const BrngProperties &row, int id) {
  size_t size = record_allocation_size(row);
  auto *s = static_cast<GuxStream *>(qor_serv_allocate(size, kRecordAlignment));
  if (!s) return nullptr;
  memset(s, 0, size);
  s->brngId = id;
  s->headerMarkA = 1;
  s->headerMarkB = 0;
  s->headerMarkC = 0;
  s->chunks = nullptr;
  return s;
}

// The abstract kinds are made only by their own creation calls.
bool is_abstract_id(int id) {
  return id == GUX_BRNG_IABSTRACT || id == GUX_BRNG_DABSTRACT || id == GUX_BRNG_SABSTRACT;
}

}  // namespace

extern "C" {

int __guxNewStreamEx(GuxStream **streamOut, int id, int seedCount, const uint32_t *seeds) {
  *streamOut = nullptr;
  if (is_abstract_id(id)) return GUX_STATUS_BAD_BRNG;
  int status;
  const BrngProperties *row = resolve_row(id, &status);
  if (!row) return status;
  // A row without a generator (an empty row, or a family not built) cannot
  // make a stream.
  if (!row_is_creatable(*row)) return GUX_STATUS_BAD_BRNG;
  GuxStream *s = allocate_record(*row, id);
  if (!s) return GUX_STATUS_NO_MEMORY;
  *streamOut = s;
  // On failure the record stays in streamOut for the caller to delete.
  return row->initStream(GUX_INIT_STANDARD, s, seedCount, seeds);
}

int __guxAllocateStream(GuxStream **streamOut, const BrngProperties *table, int id, int row,
                        int sub) {
  *streamOut = nullptr;
  int status = __guxIsBrngValid(table, row, sub);
  if (status < 0) return status;
  if (row < 0 || !row_is_creatable(table[row])) return GUX_STATUS_BAD_BRNG;
  GuxStream *s = allocate_record(table[row], id);
  if (!s) return GUX_STATUS_NO_MEMORY;
  *streamOut = s;
  return GUX_STATUS_OK;
}

int __guxDeleteStream(GuxStream **streamInOut) {
  GuxStream *s = *streamInOut;
  __guxDeleteChunks(s);
  qor_serv_deallocate(s);
  *streamInOut = nullptr;
  return GUX_STATUS_OK;
}

int __guxCopyStream(GuxStream **streamOut, const GuxStream *source) {
  *streamOut = nullptr;
  int status;
  const BrngProperties *row = resolve_row(source->brngId, &status);
  if (!row) return status;
  if (!row_is_creatable(*row)) return GUX_STATUS_BAD_BRNG;
  GuxStream *s = allocate_record(*row, source->brngId);
  if (!s) return GUX_STATUS_NO_MEMORY;
  // Header and state come from the source; the chunk list is copied below.
  memcpy(s, source, record_allocation_size(*row));
  s->chunks = nullptr;
  status = __guxCopyChunks(s, source);
  if (status < 0) {
    qor_serv_deallocate(s);
    return status;
  }
  *streamOut = s;
  return GUX_STATUS_OK;
}

int __guxCopyStreamState(GuxStream *destination, const GuxStream *source) {
  if (destination == source) return GUX_STATUS_OK;
  // Only the essential words move: wordSize x seedCount bytes of the source's
  // row, whatever the destination's generator. For MCG31M1 and MCG59 that is
  // the seed word alone, so a leapfrogged destination keeps its multiplier.
  const BrngProperties &srcRow = stream_row(source);
  size_t bytes = (size_t)srcRow.wordSize * (size_t)(srcRow.seedCount > 0 ? srcRow.seedCount : 0);
  // Never past the end of the destination's own record.
  size_t room = record_allocation_size(stream_row(destination)) - sizeof(GuxStream);
  if (bytes > room) bytes = room;
  memcpy(state_of<char>(destination), state_of<char>(source), bytes);
  __guxDeleteChunks(destination);
  return __guxCopyChunks(destination, source);
}

int __guxGetStreamStateBrng(const GuxStream *stream) { return stream->brngId; }

}  // extern "C"
