// Saving a stream to a file or a memory block and loading it back: header,
// the generator state as it lies in the record, then one entry per chunk from
// the head of the list. Both media share the writer's layout and the loader's
// steps; only the byte source or sink differs.
#include <stdio.h>
#include <string.h>

#include "random/streams/persist_format.h"
#include "random/streams/stream_internal.h"

using namespace qor::random;
namespace img = qor::random::image;

namespace {

enum Medium { kFile = 0, kMemory = 1 };

// ---- byte sources: one reader per medium, chosen through a table --------------

struct Source {
  FILE *file;
  const uint8_t *memory;
};

bool read_file(Source &src, void *dst, size_t n) {
  return n == 0 || fread(dst, 1, n, src.file) == n;
}
// The memory image is trusted to hold what its own fields describe.
bool read_memory(Source &src, void *dst, size_t n) {
  if (n) memcpy(dst, src.memory, n);
  src.memory += n;
  return true;
}
using ReadFn = bool (*)(Source &, void *, size_t);
const ReadFn kReaders[2] = {read_file, read_memory};

// The name rule: a length of 0 or more means `name` holds that many bytes and
// gets a terminated copy; a negative length means it is terminated already.
int resolve_name(const char *name, int length, char **owned, const char **path) {
  *owned = nullptr;
  *path = name;
  if (length < 0) return GUX_STATUS_OK;
  char *copy = static_cast<char *>(qor_serv_allocate((size_t)length + 1, kRecordAlignment));
  if (!copy) return GUX_STATUS_NO_MEMORY;
  if (length) memcpy(copy, name, (size_t)length);
  copy[length] = '\0';
  *owned = copy;
  *path = copy;
  return GUX_STATUS_OK;
}

size_t state_bytes(const BrngProperties &row) { return (size_t)(row.stateSize - (int)sizeof(GuxStream)); }

// ---- loading ---------------------------------------------------------------------

// Chunk entries, read by the medium's reader. Every block read is either
// attached to the stream or freed here, so a failure leaves nothing behind
// once the caller deletes the stream.
int read_chunks(GuxStream *stream, Source &src, Medium medium, const img::Header &h) {
  const ReadFn read = kReaders[medium];
  for (int i = 0; i < h.chunkCount; ++i) {
    uint32_t chunkId = 0;
    uint64_t sharedId[2] = {0, 0};
    int32_t size = 0;
    if (!read(src, &chunkId, sizeof chunkId)) return GUX_STATUS_FILE_READ;
    // Version 0 entries have no sharedId; 1 and 2 have one; an older header
    // whose first byte belongs to the magic names no entry form at all.
    if (h.version == 1 || h.version == 2) {
      if (!read(src, sharedId, img::kSharedIdBytes)) return GUX_STATUS_FILE_READ;
    } else if (h.version != 0) {
      return GUX_STATUS_FILE_READ;
    }
    if (!read(src, &size, sizeof size)) return GUX_STATUS_FILE_READ;
    // A negative size cannot be allocated.
    if (size < 0) return GUX_STATUS_NO_MEMORY;
    void *data = qor_serv_allocate((size_t)size, kChunkAlignment);
    if (!data) return GUX_STATUS_NO_MEMORY;
    if (!read(src, data, (size_t)size)) {
      qor_serv_deallocate(data);
      return GUX_STATUS_FILE_READ;
    }
    int status = __guxAddChunk(stream, (int)chunkId, sharedId, data, size);
    if (status < 0) {
      qor_serv_deallocate(data);
      return status;
    }
    // A sharedId the table already knows makes the chunk use the entry's
    // block (same id, same content); the copy just read is not needed.
    if (stream->chunks->data != data) qor_serv_deallocate(data);
  }
  return GUX_STATUS_OK;
}

int load(GuxStream **streamOut, Source &src, Medium medium) {
  *streamOut = nullptr;
  const ReadFn read = kReaders[medium];
  const int badFormat = medium == kFile ? GUX_STATUS_BAD_FILE_FORMAT : GUX_STATUS_BAD_MEMORY_FORMAT;

  uint8_t raw[img::kHeaderSize] = {};
  if (!read(src, raw, img::kHeaderProbe)) return GUX_STATUS_FILE_READ;
  if (!read(src, raw + img::kHeaderProbe, (size_t)img::header_rest(raw[0])))
    return GUX_STATUS_FILE_READ;
  img::Header h;
  if (!img::decode_header(raw, &h)) return badFormat;

  // The id must name a generator that exists: ids the old table's bound lets
  // through (negative, empty rows) and families not built are refused here,
  // before any row is read.
  int status;
  const BrngProperties *row = resolve_row(h.brngId, &status);
  if (!row || !row_is_creatable(*row)) return badFormat;
  if (row->stateSize < (int)sizeof(GuxStream) || h.stateSize != state_bytes(*row) ||
      h.headerSize < img::kHeaderSize)
    return badFormat;

  int rowIndex = 0, sub = 0;
  const BrngProperties *table = __guxGetBrngBaseOffset(h.brngId, &rowIndex, &sub);
  GuxStream *stream = nullptr;
  status = __guxAllocateStream(&stream, table, h.brngId, rowIndex, sub);
  if (status < 0) return status;

  status = GUX_STATUS_OK;
  if (!read(src, state_of<char>(stream), h.stateSize)) status = GUX_STATUS_FILE_READ;
  // Streams of the hardware generators load anywhere, but say when this
  // processor cannot run them.
  if (status >= 0 && h.brngId == GUX_BRNG_TRNG && !__guxCPUisRDRAND()) status = GUX_STATUS_NO_RDRAND;
  if (status >= 0 && h.brngId == GUX_BRNG_ARS5 && !__guxCPUisAES()) status = GUX_STATUS_NO_AES;
  if (status >= 0 && h.chunkCount > 0) status = read_chunks(stream, src, medium, h);
  if (status >= 0 && !state_is_usable(stream, *row)) status = badFormat;

  if (status < 0) {
    __guxDeleteStream(&stream);
    return status;
  }
  *streamOut = stream;
  return status;
}

// ---- saving ----------------------------------------------------------------------

// Fills the header of a stream's image; returns the row's status.
int image_header(const GuxStream *stream, uint8_t *header, size_t *stateSize) {
  BrngProperties props;
  int status = __guxGetBrngProperties(__guxGetStreamStateBrng(stream), &props);
  if (status < 0) return status;
  *stateSize = state_bytes(props);
  img::encode_header(header, (uint32_t)*stateSize, __guxGetNumChunks(stream), stream->brngId);
  return GUX_STATUS_OK;
}

}  // namespace

extern "C" {

int __guxGetStreamSize(const GuxStream *stream) {
  const BrngProperties &row = stream_row(stream);
  int size = img::kHeaderProbe + row.stateSize;
  for (const StreamChunk *c = stream->chunks; c; c = c->next) size += img::kChunkFixed + c->size;
  return size;
}

int __guxSaveStreamM(const GuxStream *stream, void *memory) {
  uint8_t header[img::kHeaderSize];
  size_t stateSize = 0;
  int status = image_header(stream, header, &stateSize);
  if (status < 0) return status;
  auto *out = static_cast<uint8_t *>(memory);
  memcpy(out, header, sizeof header);
  out += sizeof header;
  memcpy(out, state_of<char>(stream), stateSize);
  out += stateSize;
  for (const StreamChunk *c = stream->chunks; c; c = c->next) {
    img::store_le<int32_t>(out, c->chunkId);
    memcpy(out + 4, c->sharedId, img::kSharedIdBytes);
    img::store_le<int32_t>(out + 20, c->size);
    out += img::kChunkFixed;
    if (c->size > 0) memcpy(out, c->data, (size_t)c->size);
    out += c->size > 0 ? c->size : 0;
  }
  return GUX_STATUS_OK;
}

int __guxLoadStreamM(GuxStream **streamOut, const void *memory) {
  Source src{nullptr, static_cast<const uint8_t *>(memory)};
  return load(streamOut, src, kMemory);
}

int __guxSaveStreamF(const GuxStream *stream, const char *name, int nameLength) {
  uint8_t header[img::kHeaderSize];
  size_t stateSize = 0;
  int status = image_header(stream, header, &stateSize);
  if (status < 0) return status;
  char *owned;
  const char *path;
  status = resolve_name(name, nameLength, &owned, &path);
  if (status < 0) return status;
  FILE *f = fopen(path, "wb");
  if (owned) qor_serv_deallocate(owned);
  if (!f) return GUX_STATUS_FILE_OPEN;

  if (fwrite(header, 1, sizeof header, f) != sizeof header ||
      (stateSize && fwrite(state_of<char>(stream), 1, stateSize, f) != stateSize)) {
    status = GUX_STATUS_FILE_WRITE;
  } else {
    // One write per field. Only the data write of the last chunk decides the
    // status; a short write earlier shows up there or at closing.
    for (const StreamChunk *c = stream->chunks; c; c = c->next) {
      const int32_t size = c->size;
      fwrite(&c->chunkId, 1, 4, f);
      fwrite(c->sharedId, 1, img::kSharedIdBytes, f);
      fwrite(&size, 1, 4, f);
      const size_t bytes = size > 0 ? (size_t)size : 0;
      const bool ok = bytes == 0 || fwrite(c->data, 1, bytes, f) == bytes;
      status = ok ? GUX_STATUS_OK : GUX_STATUS_FILE_WRITE;
    }
  }
  if (fclose(f) != 0) status = GUX_STATUS_FILE_CLOSE;
  return status;
}

int __guxLoadStreamF(GuxStream **streamOut, const char *name, int nameLength) {
  *streamOut = nullptr;
  char *owned;
  const char *path;
  int status = resolve_name(name, nameLength, &owned, &path);
  if (status < 0) return status;
  FILE *f = fopen(path, "rb");
  if (owned) qor_serv_deallocate(owned);
  if (!f) return GUX_STATUS_FILE_OPEN;
  Source src{f, nullptr};
  status = load(streamOut, src, kFile);
  if (fclose(f) != 0) {
    if (*streamOut) __guxDeleteStream(streamOut);
    status = GUX_STATUS_FILE_CLOSE;
  }
  return status;
}

}  // extern "C"
