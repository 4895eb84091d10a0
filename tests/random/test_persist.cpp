// Saved streams: every generator the registry makes, after every kind of
// split, through a file and through memory, goes on bit for bit in every form,
// here and in a freshly started process; chunks private and shared; older
// header forms; every status of the loader; and thousands of damaged images
// checked against the independent reader of persist_oracle.h.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "qor/qor_random_brng.h"
#include "qor/qor_random_dist.h"
#include "qor_core.h"
#include "tests/random/persist_oracle.h"

namespace qor_test {
extern bool g_hide_aes, g_hide_rdrand;  // processor tests seen by the library (test_cbrng.cpp)
}

namespace {

using Bytes = std::vector<uint8_t>;
using persist_oracle::Outcome;

// Header bytes a writer leaves unset: comparisons of images skip them.
bool reserved(size_t i) { return (i >= 1 && i <= 3) || i == 7 || i == 10 || i == 11 || i == 18 || i == 19; }

::testing::AssertionResult same_image(const Bytes &a, const Bytes &b) {
  if (a.size() != b.size())
    return ::testing::AssertionFailure() << "sizes " << a.size() << " and " << b.size();
  for (size_t i = 0; i < a.size(); ++i)
    if (!reserved(i) && a[i] != b[i]) return ::testing::AssertionFailure() << "byte " << i;
  return ::testing::AssertionSuccess();
}

std::string temp_path(const std::string &name) {
  return ::testing::TempDir() + "qor_persist_" + std::to_string(getpid()) + "_" + name;
}

Bytes read_file(const std::string &path) {
  std::ifstream f(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(f), {});
}
void write_file(const std::string &path, const Bytes &b) {
  std::ofstream f(path, std::ios::binary);
  f.write(reinterpret_cast<const char *>(b.data()), (std::streamsize)b.size());
}

Bytes save_memory(const GuxStream *s) {
  Bytes b((size_t)__guxGetStreamSize(s));
  EXPECT_EQ(__guxSaveStreamM(s, b.data()), 0);
  return b;
}

const uint8_t *state_bytes(const GuxStream *s) { return reinterpret_cast<const uint8_t *>(s) + 16; }

// A mix of the three forms, of sizes that cut the generators' blocks unevenly;
// the statuses are part of the result.
Bytes draw(GuxStream *s, int round) {
  BrngProperties p;
  EXPECT_EQ(__guxGetBrngProperties(s->brngId, &p), 0);
  Bytes out;
  auto put = [&](const void *v, size_t n) {
    out.insert(out.end(), (const uint8_t *)v, (const uint8_t *)v + n);
  };
  const int ni = 3 + round % 7, ns = 9 + round, nd = 5 + 2 * round;
  std::vector<uint32_t> w((size_t)ni * p.wordSize / 4);
  std::vector<float> f(ns);
  std::vector<double> d(nd);
  int st[3] = {p.iGenerate(s, ni, w.data()), p.sGenerate(s, ns, f.data(), -1.0f, 3.0f),
               p.dGenerate(s, nd, d.data(), 0.0, 1.0)};
  put(st, sizeof st);
  put(w.data(), w.size() * 4);
  put(f.data(), f.size() * 4);
  put(d.data(), d.size() * 8);
  return out;
}

constexpr int kBuiltInRows = 16;  // the families of the library's registry

// Every id the registry makes a stream for: the old ids, every built family's
// base id (later families included) and the ends of the sub-generator ranges.
std::vector<int> creatable_ids() {
  std::vector<int> candidates = {0, 1, 2, 3, 4, 100, 276, 277, 278};
  // The library's own families only: rows that other tests register are this
  // process's alone, and a freshly started one would not know them.
  for (int row = 0; row < kBuiltInRows; ++row) candidates.push_back((row + 1) << 20);
  candidates.insert(candidates.end(), {0x500001, 0x500110, 0x900001, 0x901787});
  std::vector<int> ids;
  for (int id : candidates) {
    GuxStream *s = nullptr;
    const uint32_t seed = 7;
    if (__guxNewStreamEx(&s, id, 1, &seed) == 0) ids.push_back(id);
    if (s) __guxDeleteStream(&s);
  }
  return ids;
}

enum Split { kNone, kLeapfrog, kSkip, kSkipEx };
const char *split_name(int k) {
  static const char *n[] = {"none", "leapfrog", "skip", "skipex"};
  return n[k];
}
int apply_split(GuxStream *s, int split) {
  const uint64_t wide[2] = {123457, 1};
  switch (split) {
    case kLeapfrog: return __guxLeapfrogStream(s, 2, 5);
    case kSkip: return __guxSkipAheadStream(s, 1000003);
    case kSkipEx: return __guxSkipAheadStreamEx(s, 2, wide);
    default: return 0;
  }
}

enum Medium { kMemory, kFile };

// Loads `image` through the medium (the file form writes it first).
int load(GuxStream **out, const Bytes &image, int medium, const std::string &tag) {
  if (medium == kMemory) return __guxLoadStreamM(out, image.data());
  const std::string path = temp_path(tag);
  write_file(path, image);
  const int st = __guxLoadStreamF(out, path.c_str(), -1);
  unlink(path.c_str());
  return st;
}

bool is_trng(int id) { return id == GUX_BRNG_TRNG; }

// ---- round trips --------------------------------------------------------------

// How a stream of the round trips is made: an id and its seed block. Small
// seeds (the quasi-random generators read the first word as a dimension), and
// quasi-random user tables kept in chunks: Sobol from polynomials and initial
// numbers (class 3) and from a whole table (class 4), Niederreiter from a
// table wider than its built-in one.
struct Maker {
  int id;
  std::vector<uint32_t> seeds;
};
std::vector<Maker> makers() {
  std::vector<Maker> out;
  for (int id : creatable_ids()) out.push_back({id, {3u + (uint32_t)(id & 7)}});
  std::mt19937 rng(5);
  auto table = [&](uint32_t dim, uint32_t cls) {
    std::vector<uint32_t> b = {dim, 1, cls};
    for (uint32_t k = 0; k < dim * 32; ++k) b.push_back((uint32_t)rng() | 0x80000000u);
    return b;
  };
  std::vector<uint32_t> both = {6, 1, 3, 1, 3, 7, 11, 13, 19, 3};  // polynomials, degree, numbers
  for (int k = 0; k < 15; ++k) both.push_back(1 + 2 * (uint32_t)(k % 3));
  out.push_back({GUX_BRNG_SOBOL, both});
  out.push_back({GUX_BRNG_SOBOL, table(50, 4)});
  out.push_back({GUX_BRNG_NIEDERR, table(330, 4)});
  return out;
}

TEST(PersistRoundTrip, EveryGeneratorEverySplitBothMedia) {
  int checked = 0, unsupported = 0;
  std::string list;
  for (const Maker &maker : makers()) {
    const int id = maker.id;
    list += std::to_string(id) + (maker.seeds.size() > 1 ? "u " : " ");
    for (int split = kNone; split <= kSkipEx; ++split)
      for (int medium : {kMemory, kFile}) {
        SCOPED_TRACE(::testing::Message() << "id 0x" << std::hex << id << std::dec << " split "
                                          << split_name(split) << (medium ? " file" : " memory"));
        GuxStream *s = nullptr;
        ASSERT_EQ(__guxNewStreamEx(&s, id, (int)maker.seeds.size(), maker.seeds.data()), 0);
        if (apply_split(s, split) < 0) {
          ++unsupported;
          __guxDeleteStream(&s);
          continue;
        }
        draw(s, 0);  // leave the stream inside a block
        const Bytes image = save_memory(s);
        EXPECT_EQ(image.size(), (size_t)__guxGetStreamSize(s));
        if (medium == kFile) {
          const std::string path = temp_path("rt");
          ASSERT_EQ(__guxSaveStreamF(s, path.c_str(), -1), 0);
          EXPECT_TRUE(same_image(read_file(path), image));
          unlink(path.c_str());
        }
        GuxStream *t = nullptr;
        ASSERT_EQ(load(&t, image, medium, "rt"), 0);
        ASSERT_NE(t, nullptr);
        EXPECT_EQ(t->brngId, id);
        // A load reverses the chunk list; a second one gives back the image.
        Bytes again = save_memory(t);
        if (__guxGetNumChunks(t) > 1) {
          GuxStream *u = nullptr;
          ASSERT_EQ(__guxLoadStreamM(&u, again.data()), 0);
          again = save_memory(u);
          __guxDeleteStream(&u);
        }
        EXPECT_TRUE(same_image(again, image));
        if (!is_trng(id)) {
          for (int round = 1; round <= 3; ++round) ASSERT_EQ(draw(s, round), draw(t, round)) << round;
        }
        ++checked;
        __guxDeleteStream(&s);
        __guxDeleteStream(&t);
      }
  }
  std::printf("round trips: %d (stream x split x medium), %d splits unsupported; ids (u: user table): %s\n", checked,
              unsupported, list.c_str());
}

// Images made here are loaded by a second run of this program, which has
// nothing of this process: no shared entries, other addresses.
const char *kFreshDirVar = "QOR_PERSIST_FRESH_DIR";

void add_chunks(GuxStream *s, uint64_t sharedTag) {
  auto block = [](int size, int seed) {
    auto *p = static_cast<uint8_t *>(qor_serv_allocate((size_t)size, 128));
    for (int i = 0; i < size; ++i) p[i] = (uint8_t)(seed * 31 + i * 7);
    return p;
  };
  ASSERT_EQ(__guxAddChunk(s, 1, nullptr, block(8, 1), 8), 0);
  ASSERT_EQ(__guxAddChunk(s, 2, nullptr, block(16, 2), 16), 0);
  uint64_t sid[2];
  ASSERT_EQ(__guxGenerateNewGlobalRODataTableEntryId(sid, sharedTag), 0);
  ASSERT_EQ(__guxAddChunk(s, 9, sid, block(64, 9), 64), 0);
  ASSERT_EQ(__guxAddChunk(s, 5, nullptr, block(300, 5), 300), 0);
}

TEST(PersistFresh, ImagesLoadInAFreshProcess) {
  const std::string dir = temp_path("fresh");
  ASSERT_EQ(system(("rm -rf '" + dir + "' && mkdir -p '" + dir + "'").c_str()), 0);
  std::ofstream manifest(dir + "/list");
  int count = 0;
  for (int id : creatable_ids())
    for (int split : {kNone, kSkip, kLeapfrog}) {
      GuxStream *s = nullptr;
      const uint32_t seed = 5u + (uint32_t)(id & 3);
      ASSERT_EQ(__guxNewStreamEx(&s, id, 1, &seed), 0);
      if (apply_split(s, split) == 0) {
        draw(s, 0);
        if (count % 3 == 0) add_chunks(s, 0x5A00 + (uint64_t)count);
        const std::string base = dir + "/" + std::to_string(count);
        ASSERT_EQ(__guxSaveStreamF(s, base.c_str(), -1), 0);
        Bytes expected;
        for (int round = 1; round <= 2; ++round) {
          Bytes d = draw(s, round);
          expected.insert(expected.end(), d.begin(), d.end());
        }
        write_file(base + ".out", expected);
        manifest << count << " " << (is_trng(id) ? 1 : 0) << "\n";
        ++count;
      }
      __guxDeleteStream(&s);
    }
  manifest.close();
  char exe[4096];
  const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  ASSERT_GT(n, 0);
  exe[n] = 0;
  const std::string cmd = std::string(kFreshDirVar) + "='" + dir + "' '" + exe +
                          "' --gtest_filter=PersistFresh.ChildLoads > '" + dir + "/child.log' 2>&1";
  const int rc = system(cmd.c_str());
  const Bytes log = read_file(dir + "/child.log");
  EXPECT_EQ(rc, 0) << std::string(log.begin(), log.end());
  std::printf("fresh process: %d images loaded and continued in both media\n", count);
  if (system(("rm -rf '" + dir + "'").c_str()) != 0) ADD_FAILURE() << "cleanup";
}

// Runs only when started by the test above.
TEST(PersistFresh, ChildLoads) {
  const char *dir = getenv(kFreshDirVar);
  if (!dir) GTEST_SKIP() << "started by PersistFresh.ImagesLoadInAFreshProcess";
  std::ifstream manifest(std::string(dir) + "/list");
  int k, trng, loaded = 0;
  while (manifest >> k >> trng) {
    const std::string base = std::string(dir) + "/" + std::to_string(k);
    const Bytes image = read_file(base), expected = read_file(base + ".out");
    GuxStream *f = nullptr, *m = nullptr;
    ASSERT_EQ(__guxLoadStreamF(&f, base.c_str(), -1), 0) << k;
    ASSERT_EQ(__guxLoadStreamM(&m, image.data()), 0) << k;
    // Header and state as saved (the chunk list comes back reversed).
    const Bytes again = save_memory(f);
    ASSERT_EQ(again.size(), image.size()) << k;
    uint32_t stateSize;
    memcpy(&stateSize, &image[12], 4);
    EXPECT_TRUE(same_image(Bytes(again.begin(), again.begin() + 24 + stateSize),
                           Bytes(image.begin(), image.begin() + 24 + stateSize))) << k;
    // The shared chunk: the first load made the entry, the second shares it.
    if (__guxGetNumChunks(f) > 0) {
      EXPECT_EQ(__guxSearchChunk(f, 9), __guxSearchChunk(m, 9)) << k;
      EXPECT_NE(__guxSearchChunk(f, 5), __guxSearchChunk(m, 5)) << k;
    }
    if (!trng)
      for (GuxStream *s : {f, m}) {
        Bytes got;
        for (int round = 1; round <= 2; ++round) {
          Bytes d = draw(s, round);
          got.insert(got.end(), d.begin(), d.end());
        }
        EXPECT_EQ(got, expected) << k;
      }
    __guxDeleteStream(&f);
    __guxDeleteStream(&m);
    ++loaded;
  }
  EXPECT_GT(loaded, 0);
}

int ref_count(const uint64_t *id) {
  GlobRODataEntry *e;
  return __guxFindGlobRODataTableEntry(&e, id) == 0 ? e->refCount : 0;
}

TEST(PersistChunks, PrivateAndSharedChunksComeBack) {
  for (int medium : {kMemory, kFile}) {
    GuxStream *s = nullptr;
    ASSERT_EQ(__guxNewStreamEx(&s, GUX_BRNG_MT19937, 0, nullptr), 0);
    add_chunks(s, 0xC0FFEE);
    const StreamChunk *shared = s->chunks->next;  // chunk 9
    ASSERT_EQ(shared->chunkId, 9);
    const uint64_t sid[2] = {shared->sharedId[0], shared->sharedId[1]};
    const Bytes image = save_memory(s);
    EXPECT_EQ(image.size(), 24u + 2504u + 4 * 24 + 8 + 16 + 64 + 300);
    GuxStream *t = nullptr;
    ASSERT_EQ(load(&t, image, medium, "chunks"), 0);
    // Same chunks, list reversed; the shared block is the table's.
    ASSERT_EQ(__guxGetNumChunks(t), 4);
    std::vector<const StreamChunk *> a, b;
    for (const StreamChunk *c = s->chunks; c; c = c->next) a.push_back(c);
    for (const StreamChunk *c = t->chunks; c; c = c->next) b.insert(b.begin(), c);
    for (size_t i = 0; i < a.size(); ++i) {
      EXPECT_EQ(a[i]->chunkId, b[i]->chunkId);
      ASSERT_EQ(a[i]->size, b[i]->size);
      EXPECT_EQ(0, memcmp(a[i]->sharedId, b[i]->sharedId, 16));
      EXPECT_EQ(0, memcmp(a[i]->data, b[i]->data, (size_t)a[i]->size));
      EXPECT_EQ(a[i]->chunkId == 9, a[i]->data == b[i]->data);
    }
    EXPECT_EQ(ref_count(sid), 2);
    // Loading twice reverses twice: the original image, byte for byte.
    GuxStream *u = nullptr;
    const Bytes once = save_memory(t);
    ASSERT_EQ(__guxLoadStreamM(&u, once.data()), 0);
    EXPECT_TRUE(same_image(save_memory(u), image));
    EXPECT_EQ(ref_count(sid), 3);
    __guxDeleteStream(&u);
    __guxDeleteStream(&t);
    EXPECT_EQ(ref_count(sid), 1);
    // With the entry gone, a load creates it and a second load shares it.
    __guxDeleteStream(&s);
    EXPECT_EQ(ref_count(sid), 0);
    ASSERT_EQ(__guxLoadStreamM(&t, image.data()), 0);
    ASSERT_EQ(__guxLoadStreamM(&u, image.data()), 0);
    EXPECT_EQ(ref_count(sid), 2);
    EXPECT_EQ(__guxSearchChunk(t, 9), __guxSearchChunk(u, 9));
    __guxDeleteStream(&t);
    __guxDeleteStream(&u);
    EXPECT_EQ(ref_count(sid), 0);
  }
}

TEST(PersistChunks, FullTableLoadsSharedChunksAsPrivate) {
  GuxStream *s = nullptr;
  ASSERT_EQ(__guxNewStreamEx(&s, GUX_BRNG_MCG59, 0, nullptr), 0);
  add_chunks(s, 0xF011);
  const Bytes image = save_memory(s);
  __guxDeleteStream(&s);
  // Fill the table to 128 entries, then free one: 127 in use.
  std::vector<std::array<uint64_t, 2>> mine;
  for (uint64_t k = 1;; ++k) {
    std::array<uint64_t, 2> id = {0xFEED, k};
    GlobRODataEntry *e;
    void *data = qor_serv_allocate(8, 128);
    if (__guxCreateGlobRODataTableEntry(&e, id.data(), data) != 0) {
      qor_serv_deallocate(data);
      break;
    }
    mine.push_back(id);
  }
  ASSERT_FALSE(mine.empty());
  __guxUnregisterGlobRODataReference(mine.back().data());
  mine.pop_back();
  for (int medium : {kMemory, kFile}) {
    GuxStream *t = nullptr;
    ASSERT_EQ(load(&t, image, medium, "full"), 0);
    for (const StreamChunk *c = t->chunks; c; c = c->next)
      EXPECT_TRUE(c->sharedId[0] == 0 && c->sharedId[1] == 0) << c->chunkId;
    // Saved again, the chunk carries a zero id and its own content.
    const Bytes again = save_memory(t);
    EXPECT_EQ(again.size(), image.size());
    EXPECT_EQ(0, memcmp(__guxSearchChunk(t, 9), image.data() + 24 + 16 + 24 + 300 + 24, 64));
    __guxDeleteStream(&t);
  }
  for (auto &id : mine) __guxUnregisterGlobRODataReference(id.data());
}

// Older header forms, made from a current image: version 0 (magic at 4, no
// sharedId in the chunk entries), version 1 (magic at 4, sharedId), and the
// form whose magic stands at offset 0.
Bytes old_form(const Bytes &v2, int form) {
  Bytes h(20, 0xEE);
  if (form == 2) {
    h[0] = 'R', h[1] = 'N', h[2] = 'G', h[3] = 0x91;
  } else {
    h[0] = (uint8_t)form, h[4] = 'R', h[5] = 'N', h[6] = 'G';
  }
  uint32_t stateSize;
  memcpy(&stateSize, &v2[12], 4);
  memcpy(&h[10], &stateSize, 2);
  memcpy(&h[12], &v2[16], 2);
  memcpy(&h[16], &v2[20], 4);
  Bytes out(20 + v2.size());
  size_t w = 0;
  auto put = [&](const uint8_t *src, size_t n) {
    memcpy(out.data() + w, src, n);
    w += n;
  };
  put(h.data(), 20);
  put(v2.data() + 24, stateSize);
  for (size_t pos = 24 + stateSize; pos < v2.size();) {
    int32_t size;
    memcpy(&size, &v2[pos + 20], 4);
    put(v2.data() + pos, 4);
    if (form != 0) put(v2.data() + pos + 4, 16);
    put(v2.data() + pos + 20, 4 + (size_t)size);
    pos += 24 + (size_t)size;
  }
  out.resize(w);
  return out;
}

TEST(PersistImage, OlderHeadersLoad) {
  for (int id : {GUX_BRNG_R250, 3, GUX_BRNG_MT2203 + 17})
    for (bool chunks : {false, true})
      for (int form : {0, 1, 2})
        for (int medium : {kMemory, kFile}) {
          SCOPED_TRACE(::testing::Message() << id << " chunks " << chunks << " form " << form << " medium " << medium);
          GuxStream *s = nullptr;
          ASSERT_EQ(__guxNewStreamEx(&s, id, 0, nullptr), 0);
          if (chunks) {
            ASSERT_EQ(__guxAddChunk(s, 7, nullptr, qor_serv_allocate(16, 128), 16), 0);
            memset(s->chunks->data, 0x3C, 16);
          }
          const Bytes image = old_form(save_memory(s), form);
          GuxStream *t = reinterpret_cast<GuxStream *>(&s);
          const int st = load(&t, image, medium, "old");
          if (form == 2 && chunks) {
            // The first byte names no chunk entry form.
            EXPECT_EQ(st, GUX_STATUS_FILE_READ);
            EXPECT_EQ(t, nullptr);
          } else {
            ASSERT_EQ(st, 0);
            EXPECT_TRUE(same_image(save_memory(t), save_memory(s)));
            EXPECT_EQ(draw(s, 1), draw(t, 1));
            __guxDeleteStream(&t);
          }
          __guxDeleteStream(&s);
        }
}

// ---- statuses -------------------------------------------------------------------

struct Damage {
  const char *what;
  void (*apply)(Bytes &);
  int fileStatus, memoryStatus;
};

void put32(Bytes &b, size_t at, uint32_t v) { memcpy(&b[at], &v, 4); }
void put16(Bytes &b, size_t at, uint16_t v) { memcpy(&b[at], &v, 2); }

TEST(PersistImage, FailureTable) {
  const int F = GUX_STATUS_BAD_FILE_FORMAT, M = GUX_STATUS_BAD_MEMORY_FORMAT;
  const Damage table[] = {
      {"intact", [](Bytes &) {}, 0, 0},
      {"byte 7 any value", [](Bytes &b) { b[7] = 0xA5; }, 0, 0},
      {"reserved bytes", [](Bytes &b) { b[1] = b[2] = b[3] = b[10] = b[11] = b[18] = b[19] = 0xFF; }, 0, 0},
      {"magic lost", [](Bytes &b) { b[5] = 'X'; }, F, M},
      {"state size + 1", [](Bytes &b) { put32(b, 12, 9); }, F, M},
      {"state size - 1", [](Bytes &b) { put32(b, 12, 7); }, F, M},
      {"header size 23", [](Bytes &b) { put16(b, 8, 23); }, F, M},
      {"header size 25", [](Bytes &b) { put16(b, 8, 25); }, 0, 0},
      {"id past the registered rows", [](Bytes &b) { put32(b, 20, (uint32_t)(__guxGetNumRegBrngs() + 1) << 20); }, F, M},
      {"id -1", [](Bytes &b) { put32(b, 20, 0xFFFFFFFF); }, F, M},
      {"id INT_MIN", [](Bytes &b) { put32(b, 20, 0x80000000); }, F, M},
      {"id 279 (empty row)", [](Bytes &b) { put32(b, 20, 279); }, F, M},
      {"id 280 (empty row)", [](Bytes &b) { put32(b, 20, 280); }, F, M},
      {"id 0x500111", [](Bytes &b) { put32(b, 20, 0x500111); }, F, M},
      {"id 0x901788", [](Bytes &b) { put32(b, 20, 0x901788); }, F, M},
      {"id of a larger generator", [](Bytes &b) { put32(b, 20, GUX_BRNG_R250); }, F, M},
      {"old id 0 (same size)", [](Bytes &b) { put32(b, 20, 0); }, 0, 0},
      {"state cut", [](Bytes &b) { b.resize(29); }, GUX_STATUS_FILE_READ, 0},
      {"header cut", [](Bytes &b) { b.resize(13); }, GUX_STATUS_FILE_READ, 0},
      {"chunk announced, absent", [](Bytes &b) { put16(b, 16, 1); }, GUX_STATUS_FILE_READ, -1},
      {"negative chunk size",
       [](Bytes &b) {
         put16(b, 16, 1);
         Bytes e(24, 0);
         put32(e, 20, 0xFFFFFFF0);
         b.insert(b.end(), e.begin(), e.end());
       },
       GUX_STATUS_NO_MEMORY, GUX_STATUS_NO_MEMORY},
      {"chunk data cut",
       [](Bytes &b) {
         put16(b, 16, 1);
         Bytes e(24 + 10, 0);
         put32(e, 20, 40);
         b.insert(b.end(), e.begin(), e.end());
       },
       GUX_STATUS_FILE_READ, -1},
  };
  GuxStream *s = nullptr;
  ASSERT_EQ(__guxNewStreamEx(&s, GUX_BRNG_MCG31M1, 0, nullptr), 0);
  const Bytes image = save_memory(s);
  ASSERT_EQ(image.size(), 32u);
  ASSERT_EQ(__guxGetStreamSize(s), 32);
  for (const Damage &d : table)
    for (int medium : {kMemory, kFile}) {
      const int expect = medium == kFile ? d.fileStatus : d.memoryStatus;
      if (expect == -1 || (medium == kMemory && expect == 0 && d.fileStatus < 0)) continue;  // memory is trusted to hold the image
      Bytes b = image;
      d.apply(b);
      GuxStream *t = s;  // not null, so that clearing shows
      EXPECT_EQ(load(&t, b, medium, "fail"), expect) << d.what << (medium ? " file" : " memory");
      if (expect < 0) {
        EXPECT_EQ(t, nullptr) << d.what;
      }
      if (t) __guxDeleteStream(&t);
    }
  __guxDeleteStream(&s);
}

TEST(PersistImage, FileNamesAndFileStatuses) {
  GuxStream *s = nullptr, *t = nullptr;
  ASSERT_EQ(__guxNewStreamEx(&s, GUX_BRNG_MRG32K3A, 0, nullptr), 0);
  // A name given by length need not be terminated.
  const std::string path = temp_path("named");
  const std::string padded = path + "XYZ";
  ASSERT_EQ(__guxSaveStreamF(s, padded.c_str(), (int)path.size()), 0);
  EXPECT_EQ(read_file(path).size(), (size_t)__guxGetStreamSize(s));
  t = s;
  ASSERT_EQ(__guxLoadStreamF(&t, padded.c_str(), (int)path.size()), 0);
  EXPECT_EQ(draw(s, 2), draw(t, 2));
  __guxDeleteStream(&t);
  unlink(path.c_str());
  // Length 0 is the empty name.
  t = s;
  EXPECT_EQ(__guxSaveStreamF(s, "x", 0), GUX_STATUS_FILE_OPEN);
  EXPECT_EQ(__guxLoadStreamF(&t, "x", 0), GUX_STATUS_FILE_OPEN);
  EXPECT_EQ(t, nullptr);
  t = s;
  EXPECT_EQ(__guxLoadStreamF(&t, "/nonexistent/dir/stream", -1), GUX_STATUS_FILE_OPEN);
  EXPECT_EQ(t, nullptr);
  EXPECT_EQ(__guxSaveStreamF(s, "/nonexistent/dir/stream", -1), GUX_STATUS_FILE_OPEN);
  // A full device: the buffered writes go through and closing fails.
  if (access("/dev/full", W_OK) == 0) {
    EXPECT_EQ(__guxSaveStreamF(s, "/dev/full", -1), GUX_STATUS_FILE_CLOSE);
  }
  // A directory opens for reading on Linux but cannot be read.
  t = s;
  EXPECT_EQ(__guxLoadStreamF(&t, "/", -1), GUX_STATUS_FILE_READ);
  EXPECT_EQ(t, nullptr);
  __guxDeleteStream(&s);
}

TEST(PersistImage, HardwareGeneratorsOnProcessorsWithout) {
  const std::pair<int, bool *> cases[] = {{GUX_BRNG_TRNG, &qor_test::g_hide_rdrand},
                                          {GUX_BRNG_ARS5, &qor_test::g_hide_aes},
                                          {GUX_BRNG_PHILOX4X32X10, &qor_test::g_hide_aes}};
  for (auto &c : cases) {
    GuxStream *s = nullptr;
    if (__guxNewStreamEx(&s, c.first, 0, nullptr) != 0) {
      if (s) __guxDeleteStream(&s);
      continue;  // this processor cannot make one
    }
    ASSERT_EQ(__guxAddChunk(s, 1, nullptr, qor_serv_allocate(8, 128), 8), 0);
    const Bytes image = save_memory(s);
    *c.second = true;
    for (int medium : {kMemory, kFile}) {
      GuxStream *t = s;
      const int expect = c.first == GUX_BRNG_TRNG ? GUX_STATUS_NO_RDRAND
                         : c.first == GUX_BRNG_ARS5 ? GUX_STATUS_NO_AES : 0;
      EXPECT_EQ(load(&t, image, medium, "hw"), expect) << c.first;
      if (expect) {
        EXPECT_EQ(t, nullptr);
      }
      if (t) __guxDeleteStream(&t);
    }
    *c.second = false;
    __guxDeleteStream(&s);
  }
}

// A state whose positions point outside it is refused in both media, for
// every family that addresses its state by position. Offsets are bytes into
// the state; the quasi-random rows cover the point head (dimension, leapfrog
// coordinate, coordinates owed) and a dimension beyond the built-in tables.
TEST(PersistImage, StatesAGeneratorCannotRunFromAreRefused) {
  struct Row {
    int id;
    size_t offset;
    uint32_t value;
  } rows[] = {
      {GUX_BRNG_R250, 1000, 250},         {GUX_BRNG_R250, 1004, 5},
      {GUX_BRNG_MT19937, 2496, 625},      {GUX_BRNG_MT2203 + 3, 276, 70},
      {GUX_BRNG_SFMT19937, 2496, 626},    {GUX_BRNG_SFMT19937, 2516, 4},
      {GUX_BRNG_ARS5, 32, 5},             {GUX_BRNG_PHILOX4X32X10, 24, 0xFFFFFFFF},
      {GUX_BRNG_SOBOL, 4, 0},             {GUX_BRNG_SOBOL, 4, 41},
      {GUX_BRNG_SOBOL, 8, 7},             {GUX_BRNG_SOBOL, 12, 9},
      {GUX_BRNG_NIEDERR, 4, 319},         {GUX_BRNG_NIEDERR, 12, 0x80000000},
  };
  for (const Row &r : rows)
    for (int medium : {kMemory, kFile}) {
      GuxStream *s = nullptr, *t = reinterpret_cast<GuxStream *>(&s);
      const uint32_t param = r.id == GUX_BRNG_SOBOL || r.id == GUX_BRNG_NIEDERR ? 5 : 1;  // dimension or seed
      ASSERT_EQ(__guxNewStreamEx(&s, r.id, 1, &param), 0);
      Bytes image = save_memory(s);
      __guxDeleteStream(&s);
      memcpy(&image[24 + r.offset], &r.value, 4);
      EXPECT_EQ(load(&t, image, medium, "hostile"),
                medium == kMemory ? GUX_STATUS_BAD_MEMORY_FORMAT : GUX_STATUS_BAD_FILE_FORMAT)
          << std::hex << r.id << " at " << std::dec << r.offset;
      EXPECT_EQ(t, nullptr);
      if (t) __guxDeleteStream(&t);
    }
}

// ---- the loader fuzz ---------------------------------------------------------------

bool cpu_rdrand() { return __guxCPUisRDRAND(); }
bool cpu_aes() { return __guxCPUisAES(); }

// The loaded stream holds exactly what the reader says.
void check_loaded(const GuxStream *s, const Outcome &o) {
  ASSERT_EQ(s->brngId, o.brngId);
  ASSERT_EQ(0, memcmp(state_bytes(s), o.state.data(), o.state.size()));
  ASSERT_EQ((size_t)__guxGetNumChunks(s), o.chunks.size());
  const StreamChunk *n = s->chunks;
  for (size_t i = o.chunks.size(); i-- > 0; n = n->next) {
    const persist_oracle::Chunk &c = o.chunks[i];
    ASSERT_EQ((uint32_t)n->chunkId, c.chunkId) << i;
    ASSERT_EQ(n->size, c.size) << i;
    ASSERT_EQ(0, memcmp(n->sharedId, c.sharedId, 16)) << i;
    ASSERT_TRUE(c.data.empty() || memcmp(n->data, c.data.data(), c.data.size()) == 0) << i;
  }
}

// After a load and its deletion no shared entry of the image remains.
void check_table_clean(const Bytes &image) {
  Outcome o = persist_oracle::read_image(image.data(), image.size(), true, {}, true, true);
  for (auto &c : o.chunks) ASSERT_EQ(ref_count(c.sharedId), 0) << "entry left behind";
}

std::vector<Bytes> fuzz_bases() {
  std::vector<Bytes> bases;
  std::vector<GuxStream *> keep;
  auto make = [&](int id, int chunks) {
    GuxStream *s = nullptr;
    const uint32_t seed = 11;
    if (__guxNewStreamEx(&s, id, 1, &seed) != 0) {
      if (s) __guxDeleteStream(&s);
      return Bytes();
    }
    if (chunks >= 1) add_chunks(s, 0xABC0 + (uint64_t)id);
    if (chunks >= 2) {  // a second node on the same shared entry
      const StreamChunk *sh = s->chunks->next;
      void *block = qor_serv_allocate(64, 128);
      EXPECT_EQ(__guxAddChunk(s, 9, sh->sharedId, block, 64), 0);
      if (s->chunks->data != block) qor_serv_deallocate(block);  // the entry's block is shared instead
    }
    Bytes b = save_memory(s);
    keep.push_back(s);
    bases.push_back(b);
    return b;
  };
  make(GUX_BRNG_MCG31M1, 0);
  const Bytes r250 = make(GUX_BRNG_R250, 1);
  const Bytes mt = make(GUX_BRNG_MT19937, 2);
  make(100, 1);
  make(GUX_BRNG_MRG32K3A, 0);
  make(GUX_BRNG_PHILOX4X32X10, 1);
  make(GUX_BRNG_ARS5, 0);
  make(GUX_BRNG_TRNG, 0);
  make(GUX_BRNG_MT2203 + 5, 1);
  bases.push_back(old_form(r250, 0));
  bases.push_back(old_form(mt, 1));
  bases.push_back(old_form(bases[0], 2));
  for (GuxStream *s : keep) __guxDeleteStream(&s);
  return bases;
}

const int32_t kIds[] = {0, 1, 2, 3, 4, 100, 276, 277, 278, 279, 280, -1, INT_MIN, 0x500111, 0x901788,
                        0x1100000, INT_MAX, 0xA00000, 0xB00000, 0xC00000, 0x100000, 0x200000,
                        0x300000, 0x400000, 0x500000, 0x600000, 0x700000, 0x800000, 0x900000,
                        0xD00000, 0xE00000, 0xF00000, 0x1000000};

Bytes mutate(Bytes b, std::mt19937_64 &rng) {
  const int steps = 1 + (int)(rng() % 3);
  for (int k = 0; k < steps && !b.empty(); ++k) {
    const Outcome parsed = persist_oracle::read_image(b.data(), b.size(), true, {}, true, true);
    const bool v2 = b[0] == 2;
    const size_t countAt = v2 ? 16 : 12;
    switch (rng() % 8) {
      case 0:  // bit flips anywhere
        for (int i = 1 + (int)(rng() % 4); i > 0; --i) b[rng() % b.size()] ^= (uint8_t)(1u << (rng() % 8));
        break;
      case 1: {  // a header field
        if (b.size() < 24) break;
        const uint8_t versions[] = {0, 1, 2, 3, 'R', (uint8_t)rng()};
        const uint16_t hs[] = {0, 23, 24, 25, 0xFFFF};
        switch (rng() % 6) {
          case 0: b[0] = versions[rng() % 6]; break;
          case 1: b[7] = (uint8_t)rng(); break;
          case 2: put16(b, 8, hs[rng() % 5]); break;
          case 3: {
            const uint32_t size = (uint32_t)(parsed.state.size() + (rng() % 3) - 1);
            if (v2) put32(b, 12, size); else put16(b, 10, (uint16_t)size);
            break;
          }
          case 4: put16(b, countAt, (uint16_t)(rng() % 3 == 0 ? rng() : (rng() % 8))); break;
          case 5: put32(b, v2 ? 20 : 16, (uint32_t)kIds[rng() % (sizeof kIds / sizeof *kIds)]); break;
        }
        break;
      }
      case 2:
      case 3: {  // a field of a chunk entry
        if (parsed.chunks.empty()) break;
        const persist_oracle::Chunk &c = parsed.chunks[rng() % parsed.chunks.size()];
        const bool hasShared = b[0] == 1 || b[0] == 2;
        const size_t sizeAt = c.offset + (hasShared ? 20 : 4);
        const int32_t sizes[] = {0, -1, INT_MIN, c.size + 1, c.size - 1, 2 * c.size, 1 << 16,
                                 (int32_t)(rng() % 4096), INT_MAX};
        switch (rng() % 4) {
          case 0: put32(b, c.offset, (uint32_t)rng()); break;
          case 1:
            if (hasShared) {
              const uint64_t choices[][2] = {{0, 0}, {rng(), rng()}, {0xABC0, 7}};
              memcpy(&b[c.offset + 4], choices[rng() % 3], 16);
            }
            break;
          default: put32(b, sizeAt, (uint32_t)sizes[rng() % 9]); break;
        }
        break;
      }
      case 4:  // truncation
        b.resize(rng() % b.size());
        break;
      case 5: {  // a duplicated entry
        if (parsed.chunks.empty() || parsed.status != 0) break;
        const size_t i = rng() % parsed.chunks.size();
        const size_t from = parsed.chunks[i].offset;
        const size_t to = i + 1 < parsed.chunks.size() ? parsed.chunks[i + 1].offset : parsed.extent;
        Bytes entry(b.begin() + (long)from, b.begin() + (long)to);
        for (int copies = 1 + (int)(rng() % 3); copies > 0; --copies) {
          b.insert(b.begin() + (long)to, entry.begin(), entry.end());
          uint16_t count;
          memcpy(&count, &b[countAt], 2);
          put16(b, countAt, (uint16_t)(count + 1));
        }
        break;
      }
      case 6:  // garbage appended
        for (int i = (int)(rng() % 64); i > 0; --i) b.push_back((uint8_t)rng());
        break;
      case 7:  // a large chunk count over whatever follows
        if (b.size() >= 24) put16(b, countAt, (uint16_t)(200 + rng() % 65000));
        break;
    }
  }
  return b;
}

int fuzz_images() {
  const char *env = getenv("QOR_PERSIST_FUZZ_IMAGES");
  return env ? atoi(env) : 3000;
}

TEST(PersistFuzz, DamagedImagesMatchTheReader) {
  const std::vector<Bytes> bases = fuzz_bases();
  std::mt19937_64 rng(0x5EED2026);
  const int images = fuzz_images();
  int loadedF = 0, refusedF = 0, loadedM = 0, refusedM = 0, memorySkipped = 0;
  const std::string path = temp_path("fuzz");
  for (int it = 0; it < images; ++it) {
    const Bytes image = mutate(bases[rng() % bases.size()], rng);
    SCOPED_TRACE(::testing::Message() << "image " << it << " of " << image.size() << " bytes");
    // File: any bytes at all.
    write_file(path, image);
    Outcome o = persist_oracle::read_image(image.data(), image.size(), true, {}, cpu_rdrand(), cpu_aes());
    GuxStream *s = reinterpret_cast<GuxStream *>(&s);
    ASSERT_EQ(__guxLoadStreamF(&s, path.c_str(), -1), o.status);
    if (o.status < 0) {
      ASSERT_EQ(s, nullptr);
      ++refusedF;
    } else {
      check_loaded(s, o);
      draw(s, it % 5);  // a loaded state must run, whatever its bytes
      __guxDeleteStream(&s);
      ++loadedF;
    }
    check_table_clean(image);
    // Memory: the block is trusted to hold what the fields describe, so it is
    // extended with zeros to that extent, in an allocation of exactly that
    // size so that a sanitizer sees any read beyond.
    Outcome om = persist_oracle::read_image(image.data(), image.size(), false, {}, cpu_rdrand(), cpu_aes());
    if (om.needMore) {
      ++memorySkipped;
      continue;
    }
    Bytes m = image;
    if (om.extent > m.size()) m.resize(om.extent, 0);
    std::unique_ptr<uint8_t[]> exact(new uint8_t[m.size() ? m.size() : 1]);
    memcpy(exact.get(), m.data(), m.size());
    s = reinterpret_cast<GuxStream *>(&s);
    ASSERT_EQ(__guxLoadStreamM(&s, exact.get()), om.status);
    if (om.status < 0) {
      ASSERT_EQ(s, nullptr);
      ++refusedM;
    } else {
      check_loaded(s, om);
      __guxDeleteStream(&s);
      ++loadedM;
    }
    check_table_clean(m);
  }
  unlink(path.c_str());
  std::printf("loader fuzz: %d images; file: %d loaded, %d refused; memory: %d loaded, %d refused, "
              "%d describing over 256 KiB not run in memory\n",
              images, loadedF, refusedF, loadedM, refusedM, memorySkipped);
}

}  // namespace

namespace {

// The Box-Muller2 saved pair is a chunk: a stream saved after an odd call
// goes on with the saved variate, in both forms and both media.
TEST(PersistChunks, GaussianSavedPairComesBack) {
  for (int medium : {kMemory, kFile})
    for (int id : {GUX_BRNG_MCG31M1, GUX_BRNG_MT19937, GUX_BRNG_PHILOX4X32X10}) {
      GuxStream *s = nullptr, *t = nullptr;
      ASSERT_EQ(__guxNewStreamEx(&s, id, 0, nullptr), 0);
      double d[9], e[9];
      float f[9], g[9];
      ASSERT_GE(_guxdRngGaussian(GUX_METHOD_BOX_MULLER2, s, 3, d, 0.0, 1.0), 0);
      ASSERT_GE(_guxsRngGaussian(GUX_METHOD_BOX_MULLER2, s, 5, f, 0.0f, 1.0f), 0);
      ASSERT_EQ(__guxGetNumChunks(s), 2);
      ASSERT_EQ(load(&t, save_memory(s), medium, "pair"), 0);
      for (GuxStream *x : {s, t}) {
        ASSERT_GE(_guxdRngGaussian(GUX_METHOD_BOX_MULLER2, x, 9, x == s ? d : e, 0.0, 1.0), 0);
        ASSERT_GE(_guxsRngGaussian(GUX_METHOD_BOX_MULLER2, x, 9, x == s ? f : g, 0.0f, 1.0f), 0);
      }
      EXPECT_EQ(0, memcmp(d, e, sizeof d)) << id;
      EXPECT_EQ(0, memcmp(f, g, sizeof f)) << id;
      __guxDeleteStream(&s);
      __guxDeleteStream(&t);
    }
}

}  // namespace
