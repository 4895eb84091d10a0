// The process-wide table of shared read-only blocks: 128 entries kept packed at
// the front, reference counted, guarded by one spin word. The lock is never
// held across an allocation; freeing an entry's data is the only service
// called under it.
#include <x86intrin.h>

#include <atomic>

#include "random/streams/stream_internal.h"

namespace {

GlobRODataEntry GlobRODataTable[GUX_GLOB_RO_ENTRIES];
// The block size of each entry, beside the table (whose layout is public):
// known for entries made by adding a chunk, -1 for those made directly. A
// chunk that names a known entry with another size does not share its block.
int32_t GlobRODataSize[GUX_GLOB_RO_ENTRIES];
// Changed only under the lock, but adding a chunk reads it without the lock
// (the 127-entry test), so every access is atomic; relaxed order suffices, as
// the entries themselves are only read under the lock.
std::atomic<int> GlobRODataCount{0};
volatile int GlobRODataLock = 0;

// Compare-and-swap from 0 to 1, repeated without pause; release is a store.
void lock() {
  for (;;) {
    int expected = 0;
    if (__atomic_compare_exchange_n(&GlobRODataLock, &expected, 1, false, __ATOMIC_ACQUIRE,
                                    __ATOMIC_RELAXED))
      return;
  }
}
void unlock() { __atomic_store_n(&GlobRODataLock, 0, __ATOMIC_RELEASE); }

bool same_id(const GlobRODataEntry &e, const uint64_t *id) {
  return e.id[0] == id[0] && e.id[1] == id[1];
}

// Index of the entry with the id, or -1. Caller holds the lock.
int find_locked(const uint64_t *id) {
  const int count = GlobRODataCount.load(std::memory_order_relaxed);
  for (int i = 0; i < count; ++i)
    if (same_id(GlobRODataTable[i], id)) return i;
  return -1;
}

// Appends an entry. Caller holds the lock.
GlobRODataEntry *append_locked(const uint64_t *id, void *data, int32_t size) {
  const int count = GlobRODataCount.load(std::memory_order_relaxed);
  if (count >= GUX_GLOB_RO_ENTRIES) return nullptr;
  GlobRODataCount.store(count + 1, std::memory_order_relaxed);
  GlobRODataSize[count] = size;
  GlobRODataEntry &e = GlobRODataTable[count];
  e.id[0] = id[0];
  e.id[1] = id[1];
  e.refCount = 1;
  e.data = data;
  return &e;
}

}  // namespace

namespace qor::random {

bool shared_entry_exists(const uint64_t *id) {
  GlobRODataEntry *e;
  return __guxFindGlobRODataTableEntry(&e, id) == GUX_STATUS_OK;
}

bool shared_append(const uint64_t *id, void *data, int32_t size) {
  lock();
  bool done = append_locked(id, data, size) != nullptr;
  unlock();
  return done;
}

bool shared_size_differs(const uint64_t *id, int32_t size) {
  lock();
  const int i = find_locked(id);
  const bool differs = i >= 0 && GlobRODataSize[i] >= 0 && GlobRODataSize[i] != size;
  unlock();
  return differs;
}

int shared_count_unlocked() { return GlobRODataCount.load(std::memory_order_relaxed); }

}  // namespace qor::random

extern "C" {

int __guxFindGlobRODataTableEntry(GlobRODataEntry **entryOut, const uint64_t *id) {
  if (!id || qor::random::id_is_zero(id)) return GUX_STATUS_RO_NOT_FOUND;
  lock();
  int i = find_locked(id);
  unlock();
  if (i < 0) return GUX_STATUS_RO_NOT_FOUND;
  *entryOut = &GlobRODataTable[i];
  return GUX_STATUS_OK;
}

int __guxCreateGlobRODataTableEntry(GlobRODataEntry **entryOut, const uint64_t *id, void *data) {
  lock();
  GlobRODataEntry *e = append_locked(id, data, -1);
  unlock();
  if (!e) return GUX_STATUS_RO_TABLE_FULL;
  *entryOut = e;
  return GUX_STATUS_OK;
}

int __guxRegisterGlobRODataReference(StreamChunk *chunk, const uint64_t *id) {
  lock();
  int i = find_locked(id);
  if (i >= 0) {
    GlobRODataTable[i].refCount++;
    chunk->data = GlobRODataTable[i].data;
  }
  unlock();
  return GUX_STATUS_OK;
}

int __guxUnregisterGlobRODataReference(const uint64_t *id) {
  lock();
  // Every matching entry loses one reference; one that had its last is freed
  // and the last entry moves into its place. The scan goes to the end.
  for (int i = 0; i < GlobRODataCount.load(std::memory_order_relaxed); ++i) {
    GlobRODataEntry &e = GlobRODataTable[i];
    if (!same_id(e, id)) continue;
    if (e.refCount-- == 1) {
      qor_serv_deallocate(e.data);
      const int last = GlobRODataCount.load(std::memory_order_relaxed) - 1;
      GlobRODataCount.store(last, std::memory_order_relaxed);
      if (i != last) e = GlobRODataTable[last], GlobRODataSize[i] = GlobRODataSize[last];
      GlobRODataTable[last] = GlobRODataEntry{};
    }
  }
  unlock();
  return GUX_STATUS_OK;
}

int __guxGenerateNewGlobalRODataTableEntryId(uint64_t *idOut, uint64_t tag) {
  idOut[0] = __rdtsc();
  idOut[1] = tag;
  for (;;) {
    if (qor::random::id_is_zero(idOut)) return GUX_STATUS_OK;
    lock();
    int i = find_locked(idOut);
    unlock();
    if (i < 0) return GUX_STATUS_OK;
    idOut[0] = __rdtsc();
  }
}

}  // extern "C"
