// Threads that share nothing must see nothing of each other. Eight threads,
// each with its own Mode word, callback, status and errno, call kernels that
// report; meanwhile other threads create, copy and delete streams with chunks,
// reference and release entries of the shared read-only table, and short-lived
// threads come and go (their records are freed at thread exit). After every
// call each thread checks that its state is exactly what it set. Under
// ThreadSanitizer (`make tsan`) the same run also proves the absence of races.
#include <errno.h>
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <xmmintrin.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "qor/qor_bex.h"
#include "qor/qor_random.h"
#include "qor_core.h"

namespace {

constexpr int kVectorThreads = 8;
constexpr int kLength = 37;  // one block of 32 and a tail
constexpr int kBadInBlock = 5, kBadInTail = 35;

double run_seconds() {
  const char *v = getenv("QOR_STRESS_SECONDS");
  return v ? atof(v) : 2.0;
}

// A thread's first problem, kept to be reported by the main thread.
struct Failures {
  long count = 0;
  std::string first;
  void add(const std::string &what) {
    if (count++ == 0) first = what;
  }
};
#define STRESS_CHECK(f, cond, what) \
  do {                              \
    if (!(cond)) (f).add(what);     \
  } while (0)

// ---- vector threads --------------------------------------------------------

// One reporting call: which entry, its name in the callback's record, the
// element that makes it report (thread-specific) and what the kernel leaves.
struct Case {
  enum Type { kFloat1, kFloat2, kDouble1, kDouble2 } type;
  void *entry;
  const char *name;
  double bad_a, bad_b;  // bad_a is offset by the thread number
  int status;
  double result;        // the kernel's own value at a bad element
};

enum class Callback { kNone, kFixUp, kKeep };

struct Plan {
  unsigned mode;
  Callback callback;
  Case cases[2];
};

const double kInf = INFINITY, kNaN = NAN;
const double kMinDenormalF = 0x1p-149;  // the smallest single precision denormal

// Every error mode the reporter distinguishes, each tier, denormal handling on
// and off, trap bits carried but not armed (no ERRMODE_EXCEPT beside them).
const Plan kPlans[kVectorThreads] = {
    {BEX_LA | BEX_ERRMODE_CALLBACK, Callback::kFixUp,
     {{Case::kFloat1, (void *)_bexsExp_21, "vsExp", 100, 0, 3, kInf},
      {Case::kFloat1, (void *)_bexsExp_21, "vsExp", -104, 0, 4, 0}}},
    {BEX_HA | BEX_ERRMODE_DEFAULT | BEX_FTZDAZ_ON, Callback::kFixUp,
     {{Case::kDouble1, (void *)_bexdExp, "vdExp", 710, 0, 3, kInf},
      {Case::kDouble1, (void *)_bexdExp, "vdExp", -746, 0, 4, 0}}},
    {BEX_EP | BEX_ERRMODE_CALLBACK | BEX_ERRMODE_ERRNO, Callback::kKeep,
     {{Case::kFloat2, (void *)_bexsNextAfter, "vsNextAfter", 0, 1, 4, kMinDenormalF},
      {Case::kFloat1, (void *)_bexsExp_11, "vsExp", 100, 0, 3, kInf}}},
    {BEX_LA | BEX_ERRMODE_ERRNO, Callback::kFixUp,  // stored, but the mode does not call it
     {{Case::kFloat2, (void *)_bexsFmod, "vsFmod", 5, 0, 2, kNaN},
      {Case::kFloat1, (void *)_bexsExp_21, "vsExp", -104, 0, 4, 0}}},
    {BEX_HA | BEX_ERRMODE_IGNORE | BEX_FTZDAZ_OFF, Callback::kFixUp,
     {{Case::kFloat1, (void *)_bexsExp, "vsExp", 100, 0, 3, kInf},
      {Case::kDouble2, (void *)_bexdFmod, "vdFmod", 5, 0, 2, kNaN}}},
    {BEX_EP | BEX_ERRMODE_NOERR, Callback::kFixUp,
     {{Case::kFloat1, (void *)_bexsExp_11, "vsExp", 100, 0, 3, kInf},
      {Case::kFloat2, (void *)_bexsFmod, "vsFmod", 5, 0, 2, kNaN}}},
    {BEX_LA | BEX_ERRMODE_CALLBACK | BEX_ERRMODE_ERRNO | BEX_TRAP_OVERFLOW, Callback::kFixUp,
     {{Case::kDouble2, (void *)_bexdFmod, "vdFmod", 5, 0, 2, kNaN},
      {Case::kDouble1, (void *)_bexdExp_50, "vdExp", 710, 0, 3, kInf}}},
    {BEX_HA | BEX_ERRMODE_DEFAULT, Callback::kNone,
     {{Case::kFloat1, (void *)_bexsExp, "vsExp", -104, 0, 4, 0},
      {Case::kFloat2, (void *)_bexsNextAfter, "vsNextAfter", 0, 1, 4, kMinDenormalF}}},
};

struct VectorWorker {
  int id = 0;
  Plan plan{};
  BexErrorCallBack callback = nullptr;
  // Inputs live at an offset inside a larger array; interf_input names its
  // start, so the callback's index is offset + position.
  int offset = 0;
  alignas(64) double a[kLength + 16], b[kLength + 16], r[kLength + 16];
  float fa[kLength + 16], fb[kLength + 16], fr[kLength + 16];
  // What the callback is expected to see in the current call, and saw.
  const Case *current = nullptr;
  int hits = 0;
  long calls = 0;
  Failures failures;

  double marker() const { return 1000.0 + id; }
  double bad_a(const Case &c) const { return c.bad_a + (c.bad_a > 0 ? id : c.bad_a < 0 ? -id : 0); }
  double bad_b(const Case &c) const { return c.bad_b == 0 ? 0 : c.bad_b + id; }
};

thread_local VectorWorker *t_worker = nullptr;

// The callback's record must name this thread's own call: code, index into
// its own array, its own input value and the kernel's name.
int on_report(int owner, BexErrorContext *c, int answer) {
  VectorWorker *w = t_worker;
  if (!w || w->id != owner || !w->current) {
    if (w) w->failures.add("callback of thread " + std::to_string(owner) + " ran on another thread");
    return answer;
  }
  const Case &k = *w->current;
  ++w->hits;
  const int pos = c->index - w->offset;
  STRESS_CHECK(w->failures, c->code == k.status, "callback code " + std::to_string(c->code));
  STRESS_CHECK(w->failures, pos == kBadInBlock || pos == kBadInTail,
               "callback index " + std::to_string(c->index));
  STRESS_CHECK(w->failures, c->a1 == w->bad_a(k), "callback a1 " + std::to_string(c->a1));
  STRESS_CHECK(w->failures, strcmp(c->name, k.name) == 0, std::string("callback name ") + c->name);
  if (answer == 0) c->r1 = w->marker();
  return answer;
}
template <int T> int fix_up(BexErrorContext *c) { return on_report(T, c, 0); }
template <int T> int keep(BexErrorContext *c) { return on_report(T, c, 1); }
template <int... T> constexpr auto fix_ups(std::integer_sequence<int, T...>) {
  return std::array<BexErrorCallBack, sizeof...(T)>{fix_up<T>...};
}
template <int... T> constexpr auto keeps(std::integer_sequence<int, T...>) {
  return std::array<BexErrorCallBack, sizeof...(T)>{keep<T>...};
}
const auto kFixUps = fix_ups(std::make_integer_sequence<int, kVectorThreads>{});
const auto kKeeps = keeps(std::make_integer_sequence<int, kVectorThreads>{});

using F1 = void (*)(int, const float *, float *);
using F2 = void (*)(int, const float *, const float *, float *);
using D1 = void (*)(int, const double *, double *);
using D2 = void (*)(int, const double *, const double *, double *);

// Runs one case with bad elements at two positions and returns their results.
void call(VectorWorker &w, const Case &c, double out[2]) {
  const int o = w.offset;
  for (int i = 0; i < kLength; ++i) w.a[o + i] = 0.5, w.b[o + i] = 1.5;
  w.a[o + kBadInBlock] = w.a[o + kBadInTail] = w.bad_a(c);
  w.b[o + kBadInBlock] = w.b[o + kBadInTail] = w.bad_b(c);
  const bool single = c.type == Case::kFloat1 || c.type == Case::kFloat2;
  if (single) {
    for (int i = 0; i < kLength + 16; ++i) w.fa[i] = (float)w.a[i], w.fb[i] = (float)w.b[i];
    qor_bex_kernel_SetInterfInputVectorPointer(w.fa);
  } else {
    qor_bex_kernel_SetInterfInputVectorPointer(w.a);
  }
  switch (c.type) {
    case Case::kFloat1: ((F1)c.entry)(kLength, w.fa + o, w.fr + o); break;
    case Case::kFloat2: ((F2)c.entry)(kLength, w.fa + o, w.fb + o, w.fr + o); break;
    case Case::kDouble1: ((D1)c.entry)(kLength, w.a + o, w.r + o); break;
    case Case::kDouble2: ((D2)c.entry)(kLength, w.a + o, w.b + o, w.r + o); break;
  }
  out[0] = single ? w.fr[o + kBadInBlock] : w.r[o + kBadInBlock];
  out[1] = single ? w.fr[o + kBadInTail] : w.r[o + kBadInTail];
}

bool same_value(double x, double y) { return (isnan(x) && isnan(y)) || x == y; }

void vector_thread(VectorWorker &w, const std::atomic<bool> &go, const std::atomic<bool> &stop) {
  t_worker = &w;
  const Plan &p = w.plan;
  // Set up in the order a user would: callback first (which sets the
  // callback bit), then the whole Mode word, which may take the bit away.
  qor_bex_kernel_SetErrorCallBack(w.callback);
  qor_bex_kernel_SetMode(p.mode);
  const unsigned field = p.mode & BEX_ERRMODE_MASK;
  const bool reporting = field != BEX_ERRMODE_NOERR;
  const bool calls_back = reporting && field != BEX_ERRMODE_IGNORE && (field & BEX_ERRMODE_CALLBACK) && w.callback;
  const bool fixes = calls_back && p.callback == Callback::kFixUp;
  const bool sets_errno = reporting && field != BEX_ERRMODE_IGNORE && (field & BEX_ERRMODE_ERRNO) &&
                          !(calls_back && p.callback == Callback::kKeep);
  const unsigned csr = _mm_getcsr() & 0xffc0;
  const int status_sentinel = -100 - w.id, errno_sentinel = 1000 + w.id;
  while (!go.load(std::memory_order_acquire)) std::this_thread::yield();
  for (long k = 0; !stop.load(std::memory_order_relaxed); ++k) {
    const Case &c = p.cases[k & 1];
    w.current = &c;
    w.hits = 0;
    qor_bex_kernel_SetErrStatus(status_sentinel);
    errno = errno_sentinel;
    double got[2];
    call(w, c, got);
    const int err = errno;
    const int status = qor_bex_kernel_GetErrStatus();
    w.current = nullptr;
    ++w.calls;
    auto at = [&] { return " (thread " + std::to_string(w.id) + ", " + c.name + ", call " + std::to_string(k) + ")"; };
    STRESS_CHECK(w.failures, status == (reporting ? c.status : status_sentinel), "status " + std::to_string(status) + at());
    STRESS_CHECK(w.failures, err == (sets_errno ? 34 : errno_sentinel), "errno " + std::to_string(err) + at());
    STRESS_CHECK(w.failures, w.hits == (calls_back ? 2 : 0), "callback hits " + std::to_string(w.hits) + at());
    const double want = fixes ? w.marker() : c.result;
    STRESS_CHECK(w.failures, same_value(got[0], want) && same_value(got[1], want),
                 "results " + std::to_string(got[0]) + ", " + std::to_string(got[1]) + at());
    STRESS_CHECK(w.failures, qor_bex_kernel_GetMode() == p.mode, "mode word" + at());
    STRESS_CHECK(w.failures, qor_bex_kernel_SetMode(p.mode) == p.mode, "previous mode word" + at());
    STRESS_CHECK(w.failures, qor_bex_kernel_GetTTableIndex() == (int)(p.mode & BEX_ACCURACY_MASK) - 1,
                 "table index" + at());
    STRESS_CHECK(w.failures, qor_bex_kernel_GetErrorCallBack() == w.callback, "callback pointer" + at());
    STRESS_CHECK(w.failures, (_mm_getcsr() & 0xffc0) == csr, "SSE control word" + at());
  }
  t_worker = nullptr;
}

// ---- stream and shared-table threads -----------------------------------------

constexpr int kDraws = 64;
const uint32_t kSeed = 20261123;
const uint64_t kCommonId[2] = {0xC0FFEE, 0x51};  // held by the main thread throughout

const BrngProperties &row_of(int id) {
  int row, sub;
  return __guxGetBrngBaseOffset(id, &row, &sub)[row];
}

std::vector<double> draws(GuxStream *s, int id, int n) {
  std::vector<double> v(n);
  row_of(id).dGenerate(s, n, v.data(), 0.0, 1.0);
  return v;
}

int *block_of(int value) {
  int *p = static_cast<int *>(qor_serv_allocate(sizeof(int) * 4, 128));
  for (int i = 0; i < 4; ++i) p[i] = value + i;
  return p;
}
bool holds(const void *p, int value) {
  const int *q = static_cast<const int *>(p);
  return q && q[0] == value && q[3] == value + 3;
}

struct RandomWorker {
  int id = 0;
  std::vector<int> generators;
  std::vector<std::vector<double>> expected;  // kDraws from kSeed, per generator
  const void *common = nullptr;
  long rounds = 0;
  Failures failures;
};

// New stream, draws in two pieces against the single-threaded reference,
// private and shared chunks, a copy that must continue the same sequence and
// share (or duplicate) the chunks, then both go.
void stream_thread(RandomWorker &w, const std::atomic<bool> &go, const std::atomic<bool> &stop) {
  while (!go.load(std::memory_order_acquire)) std::this_thread::yield();
  for (long k = 0; !stop.load(std::memory_order_relaxed); ++k) {
    const size_t g = (size_t)k % w.generators.size();
    const int id = w.generators[g];
    auto at = [&] { return " (stream thread " + std::to_string(w.id) + ", generator " + std::to_string(id) + ")"; };
    GuxStream *s = nullptr, *copy = nullptr;
    if (__guxNewStreamEx(&s, id, 1, &kSeed) != 0 || !s) {
      w.failures.add("new stream" + at());
      continue;
    }
    std::vector<double> head = draws(s, id, 20), tail = draws(s, id, kDraws - 20 - 8);
    head.insert(head.end(), tail.begin(), tail.end());
    STRESS_CHECK(w.failures, std::equal(head.begin(), head.end(), w.expected[g].begin()), "draws" + at());

    const int own_value = (w.id << 20) | (int)(k & 0xfffff);
    const uint64_t own_id[2] = {0x5100u + (uint64_t)w.id, (uint64_t)k + 1};
    STRESS_CHECK(w.failures, __guxAddChunk(s, 3, nullptr, block_of(own_value), 16) == 0, "private chunk" + at());
    // The common entry exists, so the chunk takes a reference and no block is handed over.
    STRESS_CHECK(w.failures, __guxAddChunk(s, 9, kCommonId, nullptr, 16) == 0, "common chunk" + at());
    STRESS_CHECK(w.failures, __guxAddChunk(s, 10, own_id, block_of(-own_value), 16) == 0, "own shared chunk" + at());
    STRESS_CHECK(w.failures, __guxSearchChunk(s, 9) == w.common, "common chunk data" + at());
    STRESS_CHECK(w.failures, holds(__guxSearchChunk(s, 3), own_value), "private chunk data" + at());
    STRESS_CHECK(w.failures, holds(__guxSearchChunk(s, 10), -own_value), "own shared chunk data" + at());

    if (__guxCopyStream(&copy, s) != 0 || !copy) {
      w.failures.add("copy stream" + at());
    } else {
      std::vector<double> a = draws(s, id, 8), b = draws(copy, id, 8);
      STRESS_CHECK(w.failures, a == b && std::equal(a.begin(), a.end(), w.expected[g].end() - 8),
                   "copy continues the sequence" + at());
      STRESS_CHECK(w.failures, __guxGetNumChunks(copy) == 3, "copied chunk count" + at());
      STRESS_CHECK(w.failures, __guxSearchChunk(copy, 9) == w.common, "copy shares the common block" + at());
      STRESS_CHECK(w.failures, __guxSearchChunk(copy, 10) == __guxSearchChunk(s, 10), "copy shares its own block" + at());
      const void *mine = __guxSearchChunk(copy, 3);
      STRESS_CHECK(w.failures, mine != __guxSearchChunk(s, 3) && holds(mine, own_value), "copy owns a private copy" + at());
      __guxDeleteStream(&copy);
    }
    __guxDeleteStream(&s);
    STRESS_CHECK(w.failures, !s, "stream pointer cleared" + at());
    GlobRODataEntry *e;
    STRESS_CHECK(w.failures, __guxFindGlobRODataTableEntry(&e, own_id) != 0, "own entry freed with its last chunk" + at());
    ++w.rounds;
  }
}

// Direct use of the table: a fresh id, an entry, references taken into a
// chunk and released until the entry goes; and a reference to the common entry.
void table_thread(RandomWorker &w, const std::atomic<bool> &go, const std::atomic<bool> &stop) {
  while (!go.load(std::memory_order_acquire)) std::this_thread::yield();
  for (long k = 0; !stop.load(std::memory_order_relaxed); ++k) {
    auto at = [&] { return " (table thread " + std::to_string(w.id) + ", round " + std::to_string(k) + ")"; };
    uint64_t id[2];
    __guxGenerateNewGlobalRODataTableEntryId(id, 0x7AB0u + (uint64_t)w.id);
    STRESS_CHECK(w.failures, id[1] == 0x7AB0u + (uint64_t)w.id, "tag of the new id" + at());
    const int value = 7 * (int)(k & 0xffff) + w.id;
    int *data = block_of(value);
    GlobRODataEntry *e = nullptr;
    if (__guxCreateGlobRODataTableEntry(&e, id, data) != 0) {
      qor_serv_deallocate(data);
      w.failures.add("create entry" + at());
      continue;
    }
    // Only the status of a lookup is used: the entry's slot may move as soon
    // as the lock is released, when another entry goes.
    STRESS_CHECK(w.failures, __guxFindGlobRODataTableEntry(&e, id) == 0, "find own entry" + at());
    StreamChunk holder{};
    __guxRegisterGlobRODataReference(&holder, id);
    STRESS_CHECK(w.failures, holder.data == data && holds(holder.data, value), "referenced data" + at());
    __guxUnregisterGlobRODataReference(id);
    STRESS_CHECK(w.failures, __guxFindGlobRODataTableEntry(&e, id) == 0, "entry kept while referenced" + at());
    __guxUnregisterGlobRODataReference(id);
    STRESS_CHECK(w.failures, __guxFindGlobRODataTableEntry(&e, id) != 0, "entry gone with its last reference" + at());

    StreamChunk common{};
    __guxRegisterGlobRODataReference(&common, kCommonId);
    STRESS_CHECK(w.failures, common.data == w.common, "common data" + at());
    __guxUnregisterGlobRODataReference(kCommonId);
    ++w.rounds;
  }
}

// ---- threads that come and go -------------------------------------------------

// Each short-lived thread must start from a fresh record (the default word,
// status 0, no callback), even though the records of its predecessors were
// freed a moment ago and their memory may come back.
void churn_thread(RandomWorker &w, const std::atomic<bool> &go, const std::atomic<bool> &stop) {
  while (!go.load(std::memory_order_acquire)) std::this_thread::yield();
  for (long k = 0; !stop.load(std::memory_order_relaxed); ++k) {
    bool fresh = false, own = false;
    std::thread([&] {
      fresh = qor_bex_kernel_GetMode() == BEX_MODE_DEFAULT && qor_bex_kernel_GetErrStatus() == 0 &&
              qor_bex_kernel_GetErrorCallBack() == nullptr;
      qor_bex_kernel_SetErrorCallBack(kFixUps[0]);
      qor_bex_kernel_SetMode(BEX_LA | BEX_ERRMODE_IGNORE);
      float x[3] = {0.5f, 100.0f, -104.0f}, r[3];
      _bexsExp_21(3, x, r);
      own = qor_bex_kernel_GetErrStatus() == 4 && isinf(r[1]) && r[2] == 0.0f &&
            qor_bex_kernel_GetMode() == (BEX_LA | BEX_ERRMODE_IGNORE);
    }).join();
    auto at = [&] { return " (short-lived thread " + std::to_string(k) + ")"; };
    STRESS_CHECK(w.failures, fresh, "fresh record" + at());
    STRESS_CHECK(w.failures, own, "own state" + at());
    ++w.rounds;
  }
}

TEST(Threads, NothingCrossesThreads) {
  // Every thread must start from the built-in default, not from the variable.
  unsetenv("QOR_BEX_MODE");

  static VectorWorker vector_workers[kVectorThreads];
  for (int t = 0; t < kVectorThreads; ++t) {
    VectorWorker &w = vector_workers[t];
    w.id = t;
    w.plan = kPlans[t];
    w.offset = 3 + t;
    w.callback = w.plan.callback == Callback::kFixUp ? kFixUps[t]
                 : w.plan.callback == Callback::kKeep ? kKeeps[t]
                                                      : nullptr;
  }

  // Single-threaded references for the stream threads.
  const std::vector<int> generators = {GUX_BRNG_MCG31M1, GUX_BRNG_MCG59, GUX_BRNG_R250, GUX_BRNG_WH + 5};
  std::vector<std::vector<double>> expected;
  for (int id : generators) {
    GuxStream *s = nullptr;
    ASSERT_EQ(__guxNewStreamEx(&s, id, 1, &kSeed), 0);
    expected.push_back(draws(s, id, kDraws));
    __guxDeleteStream(&s);
  }
  GlobRODataEntry *entry = nullptr;
  int *common = block_of(424242);
  ASSERT_EQ(__guxCreateGlobRODataTableEntry(&entry, kCommonId, common), 0);

  constexpr int kStreamThreads = 2, kTableThreads = 2;
  RandomWorker random_workers[kStreamThreads + kTableThreads + 1];
  for (int i = 0; i < kStreamThreads + kTableThreads + 1; ++i) {
    random_workers[i].id = i;
    random_workers[i].generators = generators;
    random_workers[i].expected = expected;
    random_workers[i].common = common;
  }

  std::atomic<bool> go{false}, stop{false};
  std::vector<std::thread> threads;
  for (auto &w : vector_workers) threads.emplace_back(vector_thread, std::ref(w), std::cref(go), std::cref(stop));
  for (int i = 0; i < kStreamThreads; ++i)
    threads.emplace_back(stream_thread, std::ref(random_workers[i]), std::cref(go), std::cref(stop));
  for (int i = kStreamThreads; i < kStreamThreads + kTableThreads; ++i)
    threads.emplace_back(table_thread, std::ref(random_workers[i]), std::cref(go), std::cref(stop));
  RandomWorker &churn = random_workers[kStreamThreads + kTableThreads];
  threads.emplace_back(churn_thread, std::ref(churn), std::cref(go), std::cref(stop));

  go.store(true, std::memory_order_release);
  std::this_thread::sleep_for(std::chrono::duration<double>(run_seconds()));
  stop.store(true, std::memory_order_relaxed);
  for (auto &t : threads) t.join();

  for (const auto &w : vector_workers) {
    EXPECT_EQ(w.failures.count, 0) << "vector thread " << w.id << ": " << w.failures.first;
    EXPECT_GE(w.calls, 20) << "vector thread " << w.id << " hardly ran";
  }
  for (const auto &w : random_workers) {
    EXPECT_EQ(w.failures.count, 0) << w.failures.first;
    EXPECT_GE(w.rounds, 5) << "random-side thread " << w.id << " hardly ran";
  }
  // All references taken during the run were given back: only the main
  // thread's own remains, and the entry goes with it.
  ASSERT_EQ(__guxFindGlobRODataTableEntry(&entry, kCommonId), 0);
  EXPECT_EQ(entry->refCount, 1);
  __guxUnregisterGlobRODataReference(kCommonId);
  EXPECT_NE(__guxFindGlobRODataTableEntry(&entry, kCommonId), 0);
}

}  // namespace
