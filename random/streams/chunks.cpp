// Chunks: named blocks of a stream kept in a singly linked list, newest first.
// A chunk with a non-zero sharedId references an entry of the shared table
// instead of owning its block.
#include <string.h>

#include "random/streams/stream_internal.h"

namespace qor::random {

int32_t chunk_size(const GuxStream *stream, int chunkId) {
  for (const StreamChunk *c = stream->chunks; c; c = c->next)
    if (c->chunkId == chunkId) return c->size;
  return -1;
}

void release_chunk(StreamChunk *node) {
  if (!id_is_zero(node->sharedId) && shared_entry_exists(node->sharedId)) {
    // The entry may vanish between the search and this step; unregistering
    // then finds nothing and the node alone goes.
    __guxUnregisterGlobRODataReference(node->sharedId);
  } else if (node->data) {
    qor_serv_deallocate(node->data);
  }
  qor_serv_deallocate(node);
}

namespace {

// Steps 2 to 5 of adding: take a shared reference, or become private when the
// table is nearly full, or create the shared entry; then link in front.
void attach(GuxStream *stream, StreamChunk *node) {
  if (!id_is_zero(node->sharedId) && shared_size_differs(node->sharedId, node->size)) {
    // The id is known with a block of another size (a damaged or hostile
    // image): the chunk keeps its own block, privately.
    node->sharedId[0] = node->sharedId[1] = 0;
  } else if (!id_is_zero(node->sharedId) && shared_entry_exists(node->sharedId)) {
    // The caller's block is abandoned here: the chunk now uses the entry's.
    __guxRegisterGlobRODataReference(node, node->sharedId);
  } else if (shared_count_unlocked() >= GUX_GLOB_RO_ENTRIES - 1) {
    // One entry stays reserved for __guxCreateGlobRODataTableEntry.
    node->sharedId[0] = node->sharedId[1] = 0;
  } else if (!id_is_zero(node->sharedId)) {
    shared_append(node->sharedId, node->data, node->size);
  }
  node->next = stream->chunks;
  stream->chunks = node;
}

StreamChunk *new_node(int chunkId, int size, void *data, const uint64_t *sharedId) {
  auto *node = static_cast<StreamChunk *>(qor_serv_allocate(sizeof(StreamChunk), kChunkAlignment));
  if (!node) return nullptr;
  node->chunkId = chunkId;
  node->size = size;
  node->data = data;
  node->next = nullptr;
  node->sharedId[0] = sharedId ? sharedId[0] : 0;
  node->sharedId[1] = sharedId ? sharedId[1] : 0;
  return node;
}

}  // namespace
}  // namespace qor::random

using namespace qor::random;

extern "C" {

int __guxAddChunk(GuxStream *stream, int chunkId, const uint64_t *sharedId, void *data, int size) {
  StreamChunk *node = new_node(chunkId, size, data, sharedId);
  if (!node) return GUX_STATUS_NO_MEMORY;
  attach(stream, node);
  return GUX_STATUS_OK;
}

void *__guxSearchChunk(const GuxStream *stream, int chunkId) {
  for (StreamChunk *c = stream->chunks; c; c = c->next)
    if (c->chunkId == chunkId) return c->data;
  return nullptr;
}

int __guxGetNumChunks(const GuxStream *stream) {
  int n = 0;
  for (StreamChunk *c = stream->chunks; c; c = c->next) ++n;
  return n;
}

int __guxDeleteChunksById(GuxStream *stream, int chunkId) {
  // One pass that relinks the last kept node past each removed one, then makes
  // that last kept node the head. Kept nodes before it drop out of the list
  // (the only caller remakes its own chunk; other holders start afresh).
  StreamChunk *lastKept = nullptr;
  for (StreamChunk *c = stream->chunks; c;) {
    StreamChunk *next = c->next;
    if (c->chunkId == chunkId) {
      release_chunk(c);
      if (lastKept) lastKept->next = next;
    } else {
      lastKept = c;
    }
    c = next;
  }
  stream->chunks = lastKept;
  return GUX_STATUS_OK;
}

int __guxDeleteChunks(GuxStream *stream) {
  for (StreamChunk *c = stream->chunks; c;) {
    StreamChunk *next = c->next;
    release_chunk(c);
    c = next;
  }
  stream->chunks = nullptr;
  return GUX_STATUS_OK;
}

int __guxCopyChunks(GuxStream *destination, const GuxStream *source) {
  for (const StreamChunk *c = source->chunks; c; c = c->next) {
    bool shared = !id_is_zero(c->sharedId) && shared_entry_exists(c->sharedId);
    void *data = c->data;
    if (!shared) {
      data = qor_serv_allocate((size_t)(c->size > 0 ? c->size : 0), kChunkAlignment);
      if (data && c->size > 0) memcpy(data, c->data, (size_t)c->size);
    }
    StreamChunk *node = data ? new_node(c->chunkId, c->size, data, c->sharedId) : nullptr;
    if (!node) {
      if (data && !shared) qor_serv_deallocate(data);
      __guxDeleteChunks(destination);
      return GUX_STATUS_NO_MEMORY;
    }
    attach(destination, node);
  }
  return GUX_STATUS_OK;
}

}  // extern "C"
