// MT19937, SFMT19937 and MT2203 as rows of the generator harness: plain
// scalar recurrences written here, known answers, skip-ahead on both sides of
// each threshold. Then seeds, every MT2203 row, far jumps and state copies.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "qor/qor_random_brng.h"
#include "random/generator_rows.h"

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

// ---- the rows of the generator harness ------------------------------------------
using gen_rows::Row;
using gen_rows::Rows;
using gen_rows::Seed;
using gen_rows::Words;
enum Kind { MT19937, SFMT, MT2203 };

Words reference_words(Kind kind, int sub, const Seed &seed, size_t n) {
  Words w(n);
  if (kind == SFMT) {
    RefSfmt r;
    r.init(seed);
    for (auto &v : w) v = r.next();
  } else {
    RefMt r = kind == MT19937 ? ref_mt19937(seed) : ref_mt2203(sub, seed);
    for (auto &v : w) v = r.next();
  }
  return w;
}

// The unsigned word for the word twisters, the signed view around the middle
// of the interval for SFMT.
Row twister(const char *name, Kind kind, int sub, Seed seed, Words known = {},
            std::vector<std::pair<uint64_t, uint64_t>> skips = {}) {
  const int id = kind == MT19937 ? GUX_BRNG_MT19937 : kind == SFMT ? GUX_BRNG_SFMT19937 : GUX_BRNG_MT2203 + sub;
  Row r{name, id, seed, 1, kind == MT2203 ? 0u : (unsigned)gen_rows::kSkip, kind == MT2203 ? 69 : 624,
        gen_rows::from_start([=](size_t n) { return reference_words(kind, sub, seed, n); }),
        [kind](const uint32_t *w, double a, double b) {
          if (kind == SFMT) return (double)(int32_t)w[0] * ((b - a) * 0x1p-32) + (a + b) / 2;
          return (double)w[0] * ((b - a) * 0x1p-32) + a;
        }};
  r.known = known;
  r.skips = skips;
  r.whole_state_copy = kind != SFMT;  // SFMT's pending tail stays the destination's (below)
  return r;
}

// Skip-ahead on both sides of each threshold of the methods: (drawn before, skipped).
const std::vector<std::pair<uint64_t, uint64_t>> kMtSkips = {
    {5, 619}, {5, 620}, {300, 1000}, {0, 0xFFFFF}, {10, 0xFFFFF}, {0, 0x100000}, {10, 0x100000},
    {623, 0x100001}, {624, 1500000}};
const std::vector<std::pair<uint64_t, uint64_t>> kSfmtSkips = {
    {1, 1}, {1, 3}, {2, 5}, {0, 4}, {6, 620}, {7, 1000}, {0, 19967}, {3, 19967}, {0, 19968}, {5, 19968},
    {624, 19971}, {2, 0x100000}, {625, 1500003}};

// Known answers: longer stretches from numpy's legacy RandomState, seeded by
// the same array initialisation (fixture made by make_mt19937_numpy_fixture.py).
Seed long_key() {
  Seed k(700);
  for (uint32_t i = 0; i < 700; ++i) k[i] = i * 2654435761u;
  return k;
}
Words numpy(const uint32_t *w, int n) { return Words(w, w + n); }

INSTANTIATE_TEST_SUITE_P(
    Twisters, Rows,
    ::testing::Values(
        twister("Mt19937Published", MT19937, 0, {0x123, 0x234, 0x345, 0x456}, numpy(kNumpyPublished, 2000), kMtSkips),
        twister("Mt19937NoSeed", MT19937, 0, {}), twister("Mt19937Zero", MT19937, 0, {0}),
        twister("Mt19937NumpyZeros", MT19937, 0, {0, 0}, numpy(kNumpyZeros, 700)),
        twister("Mt19937NumpyPair", MT19937, 0, {5489, 1}, numpy(kNumpyPair, 700)),
        twister("Mt19937NumpyLongKey", MT19937, 0, long_key(), numpy(kNumpyLong, 1300)),
        twister("Mt19937Key624", MT19937, 0, Seed(624, 0x9E3779B9u)),
        twister("Mt19937Key1000", MT19937, 0, Seed(1000, 12345u)),
        twister("SfmtPublishedKey", SFMT, 0, {0x123, 0x234, 0x345, 0x456}, {}, kSfmtSkips),
        twister("SfmtKey1234", SFMT, 0, {0x1234, 0x5678, 0x9ABC, 0xDEF0}), twister("SfmtNoSeed", SFMT, 0, {}),
        twister("SfmtOneWord", SFMT, 0, {4321}), twister("SfmtKey623", SFMT, 0, Seed(623, 77u)),
        twister("SfmtKey900", SFMT, 0, Seed(900, 0xFFFFFFFFu)), twister("Mt2203First", MT2203, 0, {0x123, 0x234}),
        twister("Mt2203Second", MT2203, 1, {}), twister("Mt2203Middle", MT2203, 3000, {7}),
        twister("Mt2203Last", MT2203, 6023, Seed(100, 5u))),
    gen_rows::row_name);

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

// The first outputs printed in the authors' mt19937ar.out for the key
// (0x123, 0x234, 0x345, 0x456) open the numpy stretch of that key.
TEST(KnownAnswers, Mt19937AuthorsOutputOpensTheNumpyStretch) {
  const uint32_t published[] = {1067595299u, 955945823u, 477289528u, 4107218783u, 4228976476u};
  EXPECT_EQ(numpy(kNumpyPublished, 5), numpy(published, 5));
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
}

// ---- skip-ahead ---------------------------------------------------------------
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
// The state copy takes the words and the index only: what follows them in the
// record (the twister's parameters, SFMT's pending tail) stays the
// destination's own.
TEST(Copies, CopyStreamStateTakesWordsAndIndexOnly) {
  // SFMT: the destination first hands out its own three pending words.
  GuxStream *src = make(GUX_BRNG_SFMT19937, {1, 2, 3}), *dst = make(GUX_BRNG_SFMT19937, {9});
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
