// Chunks of a stream and the shared read-only table: order, search, deletion
// by id, copies, the 127/128 limits and reference counts across copies.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "qor/qor_random.h"
#include "qor_core.h"

namespace {

int *block(int v) {
  int *p = static_cast<int *>(qor_serv_allocate(sizeof(int), 128));
  *p = v;
  return p;
}

GuxStream *new_stream() {
  GuxStream *s = nullptr;
  EXPECT_EQ(__guxNewStreamEx(&s, GUX_BRNG_MCG31M1, 0, nullptr), 0);
  return s;
}

int ref_count(const uint64_t *id) {
  GlobRODataEntry *e;
  return __guxFindGlobRODataTableEntry(&e, id) == 0 ? e->refCount : 0;
}

TEST(Chunks, AddSearchCountAndOrder) {
  GuxStream *s = new_stream();
  EXPECT_EQ(__guxGetNumChunks(s), 0);
  EXPECT_EQ(__guxSearchChunk(s, 1), nullptr);
  int *first = block(1), *second = block(2);
  ASSERT_EQ(__guxAddChunk(s, 1, nullptr, first, 4), 0);
  ASSERT_EQ(__guxAddChunk(s, 1, nullptr, second, 4), 0);
  ASSERT_EQ(__guxAddChunk(s, 3, nullptr, block(3), 4), 0);
  EXPECT_EQ(__guxGetNumChunks(s), 3);
  // Newest first: the search finds the one added last.
  EXPECT_EQ(__guxSearchChunk(s, 1), second);
  EXPECT_EQ(s->chunks->chunkId, 3);
  EXPECT_EQ((uintptr_t)s->chunks % 128, 0u);
  EXPECT_EQ(s->chunks->sharedId[0] | s->chunks->sharedId[1], 0u);
  EXPECT_EQ(__guxDeleteChunks(s), 0);
  EXPECT_EQ(s->chunks, nullptr);
  __guxDeleteStream(&s);
}

// Deleting by id relinks around removed nodes and makes the last kept node
// the head: kept nodes before it leave the list.
TEST(Chunks, DeleteByIdKeepsOnlyFromTheLastKeptNode) {
  GuxStream *s = new_stream();
  __guxAddChunk(s, 1, nullptr, block(10), 4);   // A
  __guxAddChunk(s, 2, nullptr, block(20), 4);   // B
  __guxAddChunk(s, 1, nullptr, block(11), 4);   // C
  __guxAddChunk(s, 3, nullptr, block(30), 4);   // D: list is D C B A
  StreamChunk *d = s->chunks;
  ASSERT_EQ(__guxDeleteChunksById(s, 1), 0);
  ASSERT_EQ(__guxGetNumChunks(s), 1);
  EXPECT_EQ(s->chunks->chunkId, 2);
  EXPECT_EQ(s->chunks->next, nullptr);
  EXPECT_EQ(__guxSearchChunk(s, 3), nullptr);  // D dropped out of the list
  EXPECT_EQ(*static_cast<int *>(__guxSearchChunk(s, 2)), 20);
  qor_serv_deallocate(d->data);  // nothing else frees the dropped node
  qor_serv_deallocate(d);

  // Even with nothing to remove, the head becomes the last kept node.
  __guxAddChunk(s, 5, nullptr, block(50), 4);  // E: list is E B
  StreamChunk *e = s->chunks;
  ASSERT_EQ(__guxDeleteChunksById(s, 9), 0);
  EXPECT_EQ(__guxGetNumChunks(s), 1);
  EXPECT_EQ(s->chunks->chunkId, 2);
  qor_serv_deallocate(e->data);
  qor_serv_deallocate(e);
  // Removing every node leaves an empty list.
  ASSERT_EQ(__guxDeleteChunksById(s, 2), 0);
  EXPECT_EQ(s->chunks, nullptr);
  __guxDeleteStream(&s);
}

TEST(Chunks, CopiesAreReversedAndPrivate) {
  GuxStream *s = new_stream(), *c;
  __guxAddChunk(s, 1, nullptr, block(1), 4);
  __guxAddChunk(s, 2, nullptr, block(2), 4);
  ASSERT_EQ(__guxCopyStream(&c, s), 0);
  ASSERT_EQ(__guxGetNumChunks(c), 2);
  EXPECT_EQ(c->chunks->chunkId, 1);
  EXPECT_NE(__guxSearchChunk(c, 2), __guxSearchChunk(s, 2));
  EXPECT_EQ(*static_cast<int *>(__guxSearchChunk(c, 2)), 2);
  __guxDeleteStream(&s);
  EXPECT_EQ(*static_cast<int *>(__guxSearchChunk(c, 1)), 1);
  __guxDeleteStream(&c);
}

TEST(SharedTable, ReferencesFollowCopiesAndDeletes) {
  GuxStream *s = new_stream(), *c;
  const uint64_t id[2] = {0x1234, 0x5678};
  int *data = block(42);
  ASSERT_EQ(__guxAddChunk(s, 9, id, data, 4), 0);
  EXPECT_EQ(ref_count(id), 1);
  ASSERT_EQ(__guxCopyStream(&c, s), 0);
  EXPECT_EQ(ref_count(id), 2);
  EXPECT_EQ(__guxSearchChunk(c, 9), data);  // shared, not copied
  // A second chunk with the known id takes the entry's block; the caller's
  // own block is abandoned by the call.
  int *other = block(43);
  ASSERT_EQ(__guxAddChunk(s, 9, id, other, 4), 0);
  EXPECT_EQ(__guxSearchChunk(s, 9), data);
  qor_serv_deallocate(other);
  EXPECT_EQ(ref_count(id), 3);
  __guxDeleteStream(&s);
  EXPECT_EQ(ref_count(id), 1);
  EXPECT_EQ(*static_cast<int *>(__guxSearchChunk(c, 9)), 42);  // alive through the copy
  __guxDeleteStream(&c);
  GlobRODataEntry *e;
  EXPECT_EQ(__guxFindGlobRODataTableEntry(&e, id), GUX_STATUS_RO_NOT_FOUND);
}

// A chunk that names a known id with a block of another size (a damaged
// image) keeps its own block, privately: the entry's smaller block is never
// read as the larger one, and the entry's count is unchanged.
TEST(SharedTable, AnotherSizeDoesNotShare) {
  GuxStream *s = new_stream(), *t = new_stream();
  const uint64_t id[2] = {0x4321, 0x8765};
  int *data = block(1);
  ASSERT_EQ(__guxAddChunk(s, 9, id, data, 4), 0);
  void *wide = qor_serv_allocate(64, 128);
  ASSERT_EQ(__guxAddChunk(t, 9, id, wide, 64), 0);
  EXPECT_EQ(__guxSearchChunk(t, 9), wide);
  EXPECT_EQ(t->chunks->sharedId[0] | t->chunks->sharedId[1], 0u);
  EXPECT_EQ(ref_count(id), 1);
  __guxDeleteStream(&t);
  __guxDeleteStream(&s);
  EXPECT_EQ(ref_count(id), 0);
}

TEST(SharedTable, FindRefusesNullAndZeroIds) {
  GlobRODataEntry *e = nullptr;
  const uint64_t zero[2] = {0, 0};
  EXPECT_EQ(__guxFindGlobRODataTableEntry(&e, nullptr), GUX_STATUS_RO_NOT_FOUND);
  EXPECT_EQ(__guxFindGlobRODataTableEntry(&e, zero), GUX_STATUS_RO_NOT_FOUND);
  // A zero id keeps a chunk private.
  GuxStream *s = new_stream();
  ASSERT_EQ(__guxAddChunk(s, 9, zero, block(1), 4), 0);
  EXPECT_EQ(__guxFindGlobRODataTableEntry(&e, zero), GUX_STATUS_RO_NOT_FOUND);
  __guxDeleteStream(&s);
}

TEST(SharedTable, RegisterAndUnregisterDirectly) {
  const uint64_t id[2] = {77, 1};
  GlobRODataEntry *e;
  ASSERT_EQ(__guxCreateGlobRODataTableEntry(&e, id, block(5)), 0);
  EXPECT_EQ(e->refCount, 1);
  StreamChunk chunk{};
  ASSERT_EQ(__guxRegisterGlobRODataReference(&chunk, id), 0);
  EXPECT_EQ(ref_count(id), 2);
  EXPECT_EQ(*static_cast<int *>(chunk.data), 5);
  const uint64_t unknown[2] = {78, 1};
  StreamChunk untouched{};
  __guxRegisterGlobRODataReference(&untouched, unknown);
  EXPECT_EQ(untouched.data, nullptr);
  __guxUnregisterGlobRODataReference(id);
  EXPECT_EQ(ref_count(id), 1);
  __guxUnregisterGlobRODataReference(id);
  EXPECT_EQ(__guxFindGlobRODataTableEntry(&e, id), GUX_STATUS_RO_NOT_FOUND);
}

TEST(SharedTable, NewIdsAreFreeAndCarryTheTag) {
  uint64_t id[2];
  ASSERT_EQ(__guxGenerateNewGlobalRODataTableEntryId(id, 0xABC), 0);
  EXPECT_EQ(id[1], 0xABCu);
  GlobRODataEntry *e;
  EXPECT_EQ(__guxFindGlobRODataTableEntry(&e, id), GUX_STATUS_RO_NOT_FOUND);
  // Taken ids are not handed out again.
  ASSERT_EQ(__guxCreateGlobRODataTableEntry(&e, id, block(1)), 0);
  uint64_t next[2];
  ASSERT_EQ(__guxGenerateNewGlobalRODataTableEntryId(next, 0xABC), 0);
  EXPECT_FALSE(next[0] == id[0] && next[1] == id[1]);
  __guxUnregisterGlobRODataReference(id);
}

// Chunks share up to 127 entries; past that they stay private with a cleared
// id, and only the creation call can take the 128th entry.
TEST(SharedTable, LimitsOf127And128) {
  GuxStream *s = new_stream();
  for (uint64_t k = 1; k <= 127; ++k) {
    const uint64_t id[2] = {k, 0xC0FFEE};
    ASSERT_EQ(__guxAddChunk(s, 9, id, block((int)k), 4), 0);
  }
  const uint64_t last[2] = {128, 0xC0FFEE};
  ASSERT_EQ(__guxAddChunk(s, 9, last, block(128), 4), 0);
  EXPECT_EQ(s->chunks->sharedId[0], 0u);
  EXPECT_EQ(s->chunks->sharedId[1], 0u);
  GlobRODataEntry *e;
  EXPECT_EQ(__guxFindGlobRODataTableEntry(&e, last), GUX_STATUS_RO_NOT_FOUND);
  const uint64_t extra[2] = {500, 1};
  ASSERT_EQ(__guxCreateGlobRODataTableEntry(&e, extra, block(0)), 0);
  const uint64_t full[2] = {501, 1};
  int *spare = block(0);
  EXPECT_EQ(__guxCreateGlobRODataTableEntry(&e, full, spare), GUX_STATUS_RO_TABLE_FULL);
  qor_serv_deallocate(spare);
  // A copy still shares the 127 entries.
  GuxStream *c;
  ASSERT_EQ(__guxCopyStream(&c, s), 0);
  const uint64_t some[2] = {64, 0xC0FFEE};
  EXPECT_EQ(ref_count(some), 2);
  __guxDeleteStream(&s);
  EXPECT_EQ(ref_count(some), 1);
  __guxDeleteStream(&c);
  EXPECT_EQ(ref_count(some), 0);
  __guxUnregisterGlobRODataReference(extra);
  // The table is empty again: a new shared chunk gets an entry.
  s = new_stream();
  ASSERT_EQ(__guxAddChunk(s, 9, last, block(1), 4), 0);
  EXPECT_EQ(ref_count(last), 1);
  __guxDeleteStream(&s);
}

// Streams on several threads copy and drop references to one shared entry
// while each thread also creates and removes entries of its own: the counts
// come back exactly.
TEST(SharedTable, ConcurrentReferenceCounting) {
  GuxStream *master = new_stream();
  const uint64_t common[2] = {0xFEED, 7};
  ASSERT_EQ(__guxAddChunk(master, 9, common, block(1), 4), 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([master, t] {
      for (int k = 0; k < 300; ++k) {
        GuxStream *c = nullptr;
        if (__guxCopyStream(&c, master) != 0) return;
        const uint64_t own[2] = {(uint64_t)t + 1, (uint64_t)k + 1};
        __guxAddChunk(c, 10, own, block(k), 4);
        __guxDeleteStream(&c);
      }
    });
  for (auto &th : threads) th.join();
  EXPECT_EQ(ref_count(common), 1);
  const uint64_t own[2] = {1, 300};
  EXPECT_EQ(ref_count(own), 0);
  __guxDeleteStream(&master);
  EXPECT_EQ(ref_count(common), 0);
}

}  // namespace
