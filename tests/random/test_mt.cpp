// MT19937, SFMT19937 and MT2203 against plain scalar recurrences written here,
// bit for bit, in all three forms, however a request is split and whatever
// mix of forms draws from one stream; known answers; skip-ahead against
// discarding on both sides of each threshold; copies; statuses.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "qor/qor_random_brng.h"

namespace {
#include "random/generators/mt2203_parameters.inc"
#include "random/mt19937_numpy.inc"
}  // namespace

namespace {

// ---- plain references -------------------------------------------------------
void array_init(std::vector<uint32_t> &x, std::vector<uint32_t> key) {
  const int n = (int)x.size();
  if (key.empty()) key = {1};
  x[0] = 19650218u;
  for (int i = 1; i < n; ++i) x[i] = 1812433253u * (x[i - 1] ^ (x[i - 1] >> 30)) + (uint32_t)i;
  int i = 1, j = 0;
  for (int k = std::max(n, (int)key.size()); k; --k) {
    x[i] = (x[i] ^ ((x[i - 1] ^ (x[i - 1] >> 30)) * 1664525u)) + key[j] + (uint32_t)j;
    ++i, ++j;
    if (i >= n) x[0] = x[n - 1], i = 1;
    if (j >= (int)key.size()) j = 0;
  }
  for (int k = n - 1; k; --k) {
    x[i] = (x[i] ^ ((x[i - 1] ^ (x[i - 1] >> 30)) * 1566083941u)) - (uint32_t)i;
    if (++i >= n) x[0] = x[n - 1], i = 1;
  }
  x[0] = 0x80000000u;
}

// A word twister one word at a time: x[i] := x[i+m] ^ twist(x[i], x[i+1]).
struct RefMt {
  int n, m, shift;
  uint32_t upper, a, b, c;
  std::vector<uint32_t> x;
  int i = 0;
  uint32_t next() {
    uint32_t y = (x[i] & upper) | (x[(i + 1) % n] & ~upper);
    x[i] = x[(i + m) % n] ^ (y >> 1) ^ ((y & 1) ? a : 0);
    uint32_t w = x[i];
    i = (i + 1) % n;
    w ^= w >> shift;
    w ^= (w << 7) & b;
    w ^= (w << 15) & c;
    return w ^ (w >> 18);
  }
};

RefMt ref_mt19937(const std::vector<uint32_t> &key) {
  RefMt r{624, 397, 11, 0x80000000u, 0x9908B0DFu, 0x9D2C5680u, 0xEFC60000u, std::vector<uint32_t>(624)};
  array_init(r.x, key);
  return r;
}

RefMt ref_mt2203(int sub, const std::vector<uint32_t> &key) {
  const uint32_t *p = kMt2203Parameters[sub];
  RefMt r{69, 34, 12, 0xFFFFFFE0u, p[0], p[1], p[2], std::vector<uint32_t>(69)};
  array_init(r.x, key);
  return r;
}

// SFMT on 32-bit lanes, word by word as the authors describe the recursion.
struct RefSfmt {
  uint32_t x[624];
  int block = 155, word = 4;  // the last word handed out is x[4 block + word - 1]
  void init(std::vector<uint32_t> key) {
    if (key.empty()) key = {1};
    const int len = (int)key.size(), lag = 11, mid = 306, size = 624;
    memset(x, 0x8B, sizeof x);
    int count = std::max(len + 1, size) - 1;
    auto f1 = [](uint32_t v) { return (v ^ (v >> 27)) * 1664525u; };
    auto f2 = [](uint32_t v) { return (v ^ (v >> 27)) * 1566083941u; };
    uint32_t r = f1(x[0] ^ x[mid] ^ x[size - 1]);
    x[mid] += r;
    r += (uint32_t)len;
    x[mid + lag] += r;
    x[0] = r;
    int i = 1, j = 0;
    for (; j < count; ++j, i = (i + 1) % size) {
      r = f1(x[i] ^ x[(i + mid) % size] ^ x[(i + size - 1) % size]);
      x[(i + mid) % size] += r;
      r += (j < len ? key[j] : 0) + (uint32_t)i;
      x[(i + mid + lag) % size] += r;
      x[i] = r;
    }
    for (j = 0; j < size; ++j, i = (i + 1) % size) {
      r = f2(x[i] + x[(i + mid) % size] + x[(i + size - 1) % size]);
      x[(i + mid) % size] ^= r;
      r -= (uint32_t)i;
      x[(i + mid + lag) % size] ^= r;
      x[i] = r;
    }
    const uint32_t parity[4] = {1, 0, 0, 0x13C9E684u};
    uint32_t inner = 0;
    for (int k = 0; k < 4; ++k) inner ^= x[k] & parity[k];
    int ones = 0;
    for (int k = 0; k < 32; ++k) ones += (inner >> k) & 1;
    if (ones % 2 == 0) x[0] ^= 1;
  }
  void step(int b) {
    const uint32_t mask[4] = {0xDFFFFFEFu, 0xDDFECB7Fu, 0xBFFAFFFFu, 0xBFFFFFF6u};
    auto wide = [&](int k) {  // 128-bit word k, lowest 32 bits first
      unsigned __int128 v = 0;
      for (int q = 3; q >= 0; --q) v = v << 32 | x[4 * (k % 156) + q];
      return v;
    };
    const unsigned __int128 left = wide(b) << 8, right = wide(b + 154) >> 8;
    const uint32_t *a = x + 4 * b, *bb = x + 4 * ((b + 122) % 156), *d = x + 4 * ((b + 155) % 156);
    uint32_t out[4];
    for (int k = 0; k < 4; ++k)
      out[k] = a[k] ^ (uint32_t)(left >> (32 * k)) ^ ((bb[k] >> 11) & mask[k]) ^
               (uint32_t)(right >> (32 * k)) ^ (d[k] << 18);
    memcpy(x + 4 * b, out, 16);
  }
  uint32_t next() {
    if (word == 4) {
      block = (block + 1) % 156;
      step(block);
      word = 0;
    }
    return x[4 * block + word++];
  }
};

// ---- the stream under test and its expected numbers ---------------------------
enum Kind { MT19937, SFMT, MT2203 };

struct Case {
  const char *name;
  Kind kind;
  int sub;
  std::vector<uint32_t> seed;
  int id() const {
    return kind == MT19937 ? GUX_BRNG_MT19937 : kind == SFMT ? GUX_BRNG_SFMT19937 : GUX_BRNG_MT2203 + sub;
  }
};

void PrintTo(const Case &c, std::ostream *os) { *os << c.name; }

constexpr double kDA = -1.5, kDB = 2.25;
constexpr float kFA = -0.75f, kFB = 3.5f;

struct Expected {
  std::vector<uint32_t> i;
  std::vector<double> d;
  std::vector<float> s;
};

// The unsigned word for the word twisters, the signed view around the middle
// of the interval for SFMT; the s form computed in doubles and rounded.
double to_double(Kind k, uint32_t w, double a, double b) {
  if (k == SFMT) return (double)(int32_t)w * ((b - a) * 0x1p-32) + (a + b) / 2;
  return (double)w * ((b - a) * 0x1p-32) + a;
}

std::vector<uint32_t> reference_words(const Case &c, size_t n) {
  std::vector<uint32_t> w(n);
  if (c.kind == SFMT) {
    RefSfmt r;
    r.init(c.seed);
    for (auto &v : w) v = r.next();
  } else {
    RefMt r = c.kind == MT19937 ? ref_mt19937(c.seed) : ref_mt2203(c.sub, c.seed);
    for (auto &v : w) v = r.next();
  }
  return w;
}

Expected expected(const Case &c, size_t n) {
  Expected e;
  e.i = reference_words(c, n);
  for (uint32_t w : e.i) {
    e.d.push_back(to_double(c.kind, w, kDA, kDB));
    e.s.push_back((float)to_double(c.kind, w, kFA, kFB));
  }
  return e;
}

uint64_t bits(double x) {
  uint64_t b;
  memcpy(&b, &x, 8);
  return b;
}
uint32_t bits(float x) {
  uint32_t b;
  memcpy(&b, &x, 4);
  return b;
}

class Twisters : public ::testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    const Case &c = GetParam();
    ASSERT_EQ(__guxNewStreamEx(&stream_, c.id(), (int)c.seed.size(), c.seed.data()), 0);
    int sub = 0;
    row_ = &__guxGetBrngBaseOffset(c.id(), &rowIndex_, &sub)[rowIndex_];
  }
  void TearDown() override {
    if (stream_) __guxDeleteStream(&stream_);
  }

  // Draws the sizes in turn, cycling through `forms`; odd calls write to an
  // output pointer one element past an aligned start. Checks every element and
  // that nothing past the request is touched.
  void check_splits(const std::vector<int> &sizes, const std::string &forms, size_t skipped = 0) {
    size_t total = skipped;
    for (int n : sizes) total += (size_t)n;
    const Expected e = expected(GetParam(), total);
    size_t pos = skipped;
    for (size_t call = 0; call < sizes.size(); ++call) {
      const int n = sizes[call];
      const char form = forms[call % forms.size()];
      const size_t off = call & 1;
      SCOPED_TRACE(::testing::Message() << "call " << call << " form " << form << " n " << n << " at " << pos);
      if (form == 'i') {
        std::vector<uint32_t> r((size_t)n + 2, 0xDEADBEEF);
        ASSERT_EQ(row_->iGenerate(stream_, n, r.data() + off), 0);
        ASSERT_EQ(0, memcmp(r.data() + off, e.i.data() + pos, (size_t)n * 4));
        ASSERT_EQ(r[(size_t)n + off], 0xDEADBEEFu) << "wrote past the request";
      } else if (form == 'd') {
        std::vector<double> r((size_t)n + 2, 7.0);
        ASSERT_EQ(row_->dGenerate(stream_, n, r.data() + off, kDA, kDB), 0);
        for (int t = 0; t < n; ++t) ASSERT_EQ(bits(r[off + t]), bits(e.d[pos + t])) << "element " << pos + t;
        ASSERT_EQ(r[(size_t)n + off], 7.0) << "wrote past the request";
      } else {
        std::vector<float> r((size_t)n + 2, 7.0f);
        ASSERT_EQ(row_->sGenerate(stream_, n, r.data() + off, kFA, kFB), 0);
        for (int t = 0; t < n; ++t) ASSERT_EQ(bits(r[off + t]), bits(e.s[pos + t])) << "element " << pos + t;
        ASSERT_EQ(r[(size_t)n + off], 7.0f) << "wrote past the request";
      }
      pos += (size_t)n;
    }
  }

  GuxStream *stream_ = nullptr;
  const BrngProperties *row_ = nullptr;
  int rowIndex_ = 0;
};

// Sizes that start, end and cross the four-lane groups, the four-word steps,
// the 69- and 624-word blocks and the multi-block path at every phase.
const std::vector<int> kAwkward = {0, 1, 3, 4, 5, 15, 16, 17, 68, 69, 70, 2, 623, 624, 625,
                                   1, 1249, 138, 139, 6, 2000, 7, 3000, 13, 4, 1872, 0, 9};

// One call per form, then the awkward sizes in each form and in mixes.
TEST_P(Twisters, SplitsInEveryFormAndMix) {
  const std::pair<std::vector<int>, const char *> runs[] = {
      {{5000}, "i"}, {{5000}, "d"}, {{5000}, "s"}, {kAwkward, "i"}, {kAwkward, "d"},
      {kAwkward, "s"}, {kAwkward, "ids"}, {kAwkward, "dsi"}, {kAwkward, "sd"}};
  for (const auto &[sizes, forms] : runs) {
    SCOPED_TRACE(forms);
    __guxDeleteStream(&stream_);
    const Case &c = GetParam();
    ASSERT_EQ(__guxNewStreamEx(&stream_, c.id(), (int)c.seed.size(), c.seed.data()), 0);
    check_splits(sizes, forms);
  }
}

TEST_P(Twisters, EverySplitOfTwoCallsAroundTheBlocks) {
  const Case &c = GetParam();
  const int n = c.kind == MT2203 ? 150 : 1300;
  for (int first = 0; first <= n; first += (first < 80 || (first > 600 && first < 660)) ? 1 : 37) {
    __guxDeleteStream(&stream_);
    ASSERT_EQ(__guxNewStreamEx(&stream_, c.id(), (int)c.seed.size(), c.seed.data()), 0);
    check_splits({first, n - first}, first % 3 == 0 ? "id" : first % 3 == 1 ? "ds" : "si");
    if (HasFatalFailure()) return;
  }
}

TEST_P(Twisters, UnsupportedMethodsLeaveTheStream) {
  const Case &c = GetParam();
  uint32_t w = 0xDEADBEEF;
  ASSERT_EQ(row_->iGenerate(stream_, -3, &w), 0);  // a negative count writes nothing
  EXPECT_EQ(w, 0xDEADBEEFu);
  check_splits({7}, "i");
  uint64_t words[2] = {5, 0};
  EXPECT_EQ(__guxLeapfrogStream(stream_, 1, 3), GUX_STATUS_NO_LEAPFROG);
  EXPECT_EQ(__guxSkipAheadStreamEx(stream_, 2, words), GUX_STATUS_NO_SKIPAHEADEX);
  EXPECT_EQ(row_->initStream(9, stream_, 0, nullptr), GUX_STATUS_BAD_INIT_METHOD);
  if (c.kind == MT2203) {
    EXPECT_EQ(__guxSkipAheadStream(stream_, 5), GUX_STATUS_NO_SKIPAHEAD);
  }
  check_splits({20}, "d", 7);
}

const Case kCases[] = {
    {"Mt19937Published", MT19937, 0, {0x123, 0x234, 0x345, 0x456}},
    {"Mt19937NoSeed", MT19937, 0, {}},
    {"Mt19937Zero", MT19937, 0, {0}},
    {"Mt19937Key624", MT19937, 0, std::vector<uint32_t>(624, 0x9E3779B9u)},
    {"Mt19937Key1000", MT19937, 0, std::vector<uint32_t>(1000, 12345u)},
    {"SfmtPublishedKey", SFMT, 0, {0x1234, 0x5678, 0x9ABC, 0xDEF0}},
    {"SfmtNoSeed", SFMT, 0, {}},
    {"SfmtOneWord", SFMT, 0, {4321}},
    {"SfmtKey623", SFMT, 0, std::vector<uint32_t>(623, 77u)},
    {"SfmtKey900", SFMT, 0, std::vector<uint32_t>(900, 0xFFFFFFFFu)},
    {"Mt2203First", MT2203, 0, {0x123, 0x234}},
    {"Mt2203Second", MT2203, 1, {}},
    {"Mt2203Middle", MT2203, 3000, {7}},
    {"Mt2203Last", MT2203, 6023, std::vector<uint32_t>(100, 5u)},
};

INSTANTIATE_TEST_SUITE_P(All, Twisters, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<Case> &i) { return std::string(i.param.name); });

// ---- seeds and known answers ---------------------------------------------------
GuxStream *make(int id, std::vector<uint32_t> seed) {
  GuxStream *s = nullptr;
  EXPECT_EQ(__guxNewStreamEx(&s, id, (int)seed.size(), seed.data()), 0);
  return s;
}

std::vector<uint32_t> draw(GuxStream *s, int n) {
  std::vector<uint32_t> w((size_t)n);
  int row = 0, sub = 0;
  const BrngProperties &p = __guxGetBrngBaseOffset(__guxGetStreamStateBrng(s), &row, &sub)[row];
  EXPECT_EQ(p.iGenerate(s, n, w.data()), 0);
  return w;
}

TEST(KnownAnswers, Mt19937ArrayInitialisation) {
  // The first outputs printed in the authors' mt19937ar.out for the key
  // (0x123, 0x234, 0x345, 0x456).
  const uint32_t published[] = {1067595299u, 955945823u, 477289528u, 4107218783u, 4228976476u};
  GuxStream *s = make(GUX_BRNG_MT19937, {0x123, 0x234, 0x345, 0x456});
  auto w = draw(s, 5);
  for (int k = 0; k < 5; ++k) EXPECT_EQ(w[k], published[k]) << k;
  __guxDeleteStream(&s);
  // Longer stretches from numpy's legacy RandomState, seeded by the same
  // array initialisation (fixture made by make_mt19937_numpy_fixture.py).
  struct Row {
    std::vector<uint32_t> key;
    const uint32_t *words;
    int n;
  };
  std::vector<uint32_t> longKey(700);
  for (uint32_t k = 0; k < 700; ++k) longKey[k] = k * 2654435761u;
  const Row rows[] = {{{0x123, 0x234, 0x345, 0x456}, kNumpyPublished, 2000},
                      {{0, 0}, kNumpyZeros, 700},
                      {{5489, 1}, kNumpyPair, 700},
                      {longKey, kNumpyLong, 1300}};
  for (const Row &r : rows) {
    s = make(GUX_BRNG_MT19937, r.key);
    EXPECT_EQ(0, memcmp(draw(s, r.n).data(), r.words, 4 * (size_t)r.n)) << "key of " << r.key.size();
    __guxDeleteStream(&s);
  }
}

// No seed, a negative count and the one-word key 1 are the same seed.
TEST(Seeds, NoSeedIsTheKeyOne) {
  for (int id : {GUX_BRNG_MT19937, GUX_BRNG_SFMT19937, GUX_BRNG_MT2203 + 17}) {
    GuxStream *none = make(id, {}), *one = make(id, {1}), *negative = make(id, {99});
    int row = 0, sub = 0;
    ASSERT_EQ(__guxGetBrngBaseOffset(id, &row, &sub)[row].initStream(GUX_INIT_STANDARD, negative, -4, nullptr), 0);
    auto want = draw(none, 3000);
    EXPECT_EQ(draw(one, 3000), want) << std::hex << id;
    EXPECT_EQ(draw(negative, 3000), want) << std::hex << id;
    for (GuxStream *s : {none, one, negative}) __guxDeleteStream(&s);
  }
}

// ---- MT2203 rows ------------------------------------------------------------
TEST(Mt2203, EveryRowFollowsItsRecurrenceAndStartsDistinctly) {
  std::set<uint32_t> first;
  const std::vector<uint32_t> seed = {2024};
  for (int sub = 0; sub < 6024; ++sub) {
    GuxStream *s = make(GUX_BRNG_MT2203 + sub, seed);
    auto got = draw(s, 150);
    RefMt r = ref_mt2203(sub, seed);
    for (int k = 0; k < 150; ++k) ASSERT_EQ(got[k], r.next()) << "sub-generator " << sub << " element " << k;
    first.insert(got[0]);
    __guxDeleteStream(&s);
  }
  EXPECT_EQ(first.size(), 6024u);
  GuxStream *s = nullptr;
  EXPECT_EQ(__guxNewStreamEx(&s, GUX_BRNG_MT2203 + 6024, 0, nullptr), GUX_STATUS_BAD_BRNG);
  EXPECT_EQ(0x901787, GUX_BRNG_MT2203 + 6023);
}

// ---- skip-ahead ---------------------------------------------------------------
struct Skip {
  int id;
  int before;     // numbers drawn before the skip
  uint64_t skip;  // numbers skipped
};

TEST(SkipAhead, EqualsDiscardingAroundTheThresholds) {
  const Skip skips[] = {
      {GUX_BRNG_MT19937, 0, 0},         {GUX_BRNG_MT19937, 5, 1},         {GUX_BRNG_MT19937, 5, 619},
      {GUX_BRNG_MT19937, 5, 620},       {GUX_BRNG_MT19937, 300, 1000},    {GUX_BRNG_MT19937, 0, 0xFFFFF},
      {GUX_BRNG_MT19937, 10, 0xFFFFF},  {GUX_BRNG_MT19937, 0, 0x100000},  {GUX_BRNG_MT19937, 10, 0x100000},
      {GUX_BRNG_MT19937, 623, 0x100001}, {GUX_BRNG_MT19937, 624, 1500000},
      {GUX_BRNG_SFMT19937, 0, 0},       {GUX_BRNG_SFMT19937, 1, 1},       {GUX_BRNG_SFMT19937, 1, 3},
      {GUX_BRNG_SFMT19937, 2, 5},       {GUX_BRNG_SFMT19937, 0, 4},       {GUX_BRNG_SFMT19937, 6, 620},
      {GUX_BRNG_SFMT19937, 7, 1000},    {GUX_BRNG_SFMT19937, 0, 19967},   {GUX_BRNG_SFMT19937, 3, 19967},
      {GUX_BRNG_SFMT19937, 0, 19968},   {GUX_BRNG_SFMT19937, 5, 19968},   {GUX_BRNG_SFMT19937, 624, 19971},
      {GUX_BRNG_SFMT19937, 2, 0x100000}, {GUX_BRNG_SFMT19937, 625, 1500003},
  };
  for (const Skip &k : skips) {
    SCOPED_TRACE(::testing::Message() << std::hex << k.id << std::dec << " after " << k.before << " skip " << k.skip);
    const std::vector<uint32_t> seed = {0x123, 0x234, 0x345, 0x456};
    Case c{"", k.id == GUX_BRNG_MT19937 ? MT19937 : SFMT, 0, seed};
    auto want = reference_words(c, (size_t)k.before + k.skip + 700);
    GuxStream *s = make(k.id, seed);
    if (k.before) {
      EXPECT_EQ(0, memcmp(draw(s, k.before).data(), want.data(), 4 * (size_t)k.before));
    }
    ASSERT_EQ(__guxSkipAheadStream(s, k.skip), 0);
    auto got = draw(s, 700);
    EXPECT_EQ(0, memcmp(got.data(), want.data() + k.before + k.skip, 4 * 700));
    __guxDeleteStream(&s);
  }
}

TEST(SkipAhead, FarJumpsEqualOneLongDiscard) {
  for (int id : {GUX_BRNG_MT19937, GUX_BRNG_SFMT19937}) {
    SCOPED_TRACE(::testing::Message() << std::hex << id);
    GuxStream *jumped = make(id, {42}), *walked = make(id, {42});
    draw(jumped, 3);
    draw(walked, 3);
    ASSERT_EQ(__guxSkipAheadStream(jumped, 1ull << 30), 0);
    std::vector<uint32_t> sink(1 << 20);
    int row = 0, sub = 0;
    const BrngProperties &p = __guxGetBrngBaseOffset(id, &row, &sub)[row];
    for (int k = 0; k < 1024; ++k) p.iGenerate(walked, 1 << 20, sink.data());
    EXPECT_EQ(draw(jumped, 2000), draw(walked, 2000));
    __guxDeleteStream(&jumped);
    __guxDeleteStream(&walked);
  }
}

TEST(SkipAhead, ZeroLeavesTheStateAsItWas) {
  for (int id : {GUX_BRNG_MT19937, GUX_BRNG_SFMT19937}) {
    GuxStream *s = make(id, {3});
    draw(s, 5);
    std::vector<char> before((const char *)s, (const char *)s + 2536 - (id == GUX_BRNG_MT19937 ? 16 : 0));
    ASSERT_EQ(__guxSkipAheadStream(s, 0), 0);
    EXPECT_EQ(0, memcmp(before.data(), s, before.size()));
    __guxDeleteStream(&s);
  }
}

// ---- copies ------------------------------------------------------------------
TEST(Copies, CopyStreamContinuesTheSameSequence) {
  for (int id : {GUX_BRNG_MT19937, GUX_BRNG_SFMT19937, GUX_BRNG_MT2203 + 6023}) {
    GuxStream *s = make(id, {11, 12});
    draw(s, 629);  // inside a block, and for SFMT inside a four-word step
    GuxStream *c = nullptr;
    ASSERT_EQ(__guxCopyStream(&c, s), 0);
    EXPECT_EQ(draw(c, 1500), draw(s, 1500)) << std::hex << id;
    __guxDeleteStream(&s);
    __guxDeleteStream(&c);
  }
}

// The state copy takes the words and the index only: what follows them in the
// record (the twister's parameters, SFMT's pending tail) stays the
// destination's own.
TEST(Copies, CopyStreamStateTakesWordsAndIndexOnly) {
  // MT19937: the destination continues the source.
  GuxStream *src = make(GUX_BRNG_MT19937, {1, 2, 3}), *dst = make(GUX_BRNG_MT19937, {9});
  draw(src, 100);
  draw(dst, 7);
  ASSERT_EQ(__guxCopyStreamState(dst, src), 0);
  EXPECT_EQ(draw(dst, 1000), draw(src, 1000));
  __guxDeleteStream(&src);
  __guxDeleteStream(&dst);

  // SFMT: the destination first hands out its own three pending words.
  src = make(GUX_BRNG_SFMT19937, {1, 2, 3});
  dst = make(GUX_BRNG_SFMT19937, {9});
  GuxStream *twin = make(GUX_BRNG_SFMT19937, {9});
  draw(src, 100);
  draw(dst, 5);
  auto own = draw(twin, 8);
  ASSERT_EQ(__guxCopyStreamState(dst, src), 0);
  auto got = draw(dst, 1003);
  EXPECT_EQ(std::vector<uint32_t>(got.begin(), got.begin() + 3), std::vector<uint32_t>(own.begin() + 5, own.end()));
  EXPECT_EQ(std::vector<uint32_t>(got.begin() + 3, got.end()), draw(src, 1000));
  __guxDeleteStream(&src);
  __guxDeleteStream(&dst);
  __guxDeleteStream(&twin);

  // MT2203: the words of sub-generator 0 under the twist and tempering of 5,
  // from the end of a block on.
  src = make(GUX_BRNG_MT2203 + 0, {4});
  dst = make(GUX_BRNG_MT2203 + 5, {4});
  draw(src, 69);
  ASSERT_EQ(__guxCopyStreamState(dst, src), 0);
  RefMt r = ref_mt2203(0, {4});
  for (int k = 0; k < 69; ++k) r.next();
  const uint32_t *p5 = kMt2203Parameters[5];
  r.a = p5[0], r.b = p5[1], r.c = p5[2];
  auto mixed = draw(dst, 300);
  for (int k = 0; k < 300; ++k) ASSERT_EQ(mixed[k], r.next()) << k;
  __guxDeleteStream(&src);
  __guxDeleteStream(&dst);
}

}  // namespace
