// Internal services of the stream layer shared by the stream, chunk, splitting
// and generator sources. Not part of the exported interface.
#ifndef QOR_RANDOM_STREAM_INTERNAL_H
#define QOR_RANDOM_STREAM_INTERNAL_H

#include <stddef.h>
#include <stdint.h>

#include "qor/qor_random.h"
#include "qor/qor_random_brng.h"
#include "qor_core.h"

// Exported data lives in sections of its own. Besides grouping it, this keeps
// AddressSanitizer builds from adding indicator symbols to the export list.
#define QOR_RANDOM_DATA __attribute__((section(".data.rel.qor_random")))
#define QOR_RANDOM_RODATA __attribute__((section(".rodata.qor_random")))

namespace qor::random {

constexpr int kRecordAlignment = 128;
constexpr int kChunkAlignment = 128;

// A row whose generator is built (its init routine exists).
bool row_is_creatable(const BrngProperties &row);
// A generator row whose family is not built yet (empty rows are not pending).
bool row_is_pending(const BrngProperties &row);
// Bytes of a record for the row (see registry.cpp).
size_t record_allocation_size(const BrngProperties &row);
// Row of an id after resolution and validation, or null with *status set.
const BrngProperties *resolve_row(int id, int *status);

// The row of a stream's generator, by the resolution rule, without validation.
inline const BrngProperties &stream_row(const GuxStream *stream, int *sub = nullptr) {
  int row = 0, s = 0;
  const BrngProperties *table = __guxGetBrngBaseOffset(stream->brngId, &row, &s);
  if (sub) *sub = s;
  return table[row];
}

template <class State>
inline State *state_of(GuxStream *stream) {
  return reinterpret_cast<State *>(reinterpret_cast<char *>(stream) + sizeof(GuxStream));
}
template <class State>
inline const State *state_of(const GuxStream *stream) {
  return reinterpret_cast<const State *>(reinterpret_cast<const char *>(stream) + sizeof(GuxStream));
}

inline bool id_is_zero(const uint64_t *id) { return id[0] == 0 && id[1] == 0; }

// Shared table steps used by the chunk operations.
bool shared_entry_exists(const uint64_t *id);
// Under the lock: appends an entry with reference count 1 when fewer than 128
// are in use. Returns whether it did.
bool shared_append(const uint64_t *id, void *data, int32_t size);
// True when the entry of id exists with a known block size other than size.
bool shared_size_differs(const uint64_t *id, int32_t size);
// Entries in use, read without the lock.
int shared_count_unlocked();

// Frees one chunk node, dropping its shared reference or its private data.
void release_chunk(StreamChunk *node);
// The size of the first chunk of the id in the stream's list, or -1.
int32_t chunk_size(const GuxStream *stream, int chunkId);

// A family's check of a state read from an image, run once its chunks are in:
// true when every field the generator addresses its state or its chunks with
// (indices, counts, dimensions) is in range, so that no image can make a
// later draw read or write outside the stream. A family whose every bit
// pattern is a usable state defines none; its weak reference is then null.
#define FAMILY(F, ...) bool state_usable_##F(const GuxStream *stream) __attribute__((weak));
#include "random/streams/brng_families.def"
#undef FAMILY
// The check of the family whose generator the row runs; true for rows of
// generators the caller registered, whose states are theirs to vouch for.
bool state_is_usable(const GuxStream *stream, const BrngProperties &row);

}  // namespace qor::random

#endif
