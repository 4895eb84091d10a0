// ARS5 and PHILOX4X32X10 as rows of the generator harness, against Random123's
// block functions (ars4x32_R(5), philox4x32_R(10), Philox4x32_R<10>) word for
// word; known-answer vectors, far jumps, counter wrap, records and statuses. TRNG: the retry rule over a source
// failing on demand, bit balance, chi-square, resolution, seeds, statuses.
// Absent AES or RDRAND is simulated by interposing the processor tests, which
// the library calls through its export table.
#include <cpuid.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <math.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

// Random123's ARS needs the AES instructions: only its code is compiled for them.
#define R123_USE_AES_NI 1
#include <Random123/philox.h>
#pragma GCC push_options
#pragma GCC target("aes")
#include <Random123/ars.h>
#pragma GCC pop_options

#include "qor/qor_random_brng.h"
#include "random/generator_rows.h"
#include "random/generators/retry.h"

// The flags are shared with the other tests of this program that need a
// processor without AES or RDRAND.
namespace qor_test {
bool g_hide_aes = false, g_hide_rdrand = false;
}  // namespace qor_test
using qor_test::g_hide_aes;
using qor_test::g_hide_rdrand;
namespace {
uint32_t cpuid1_ecx() {
  unsigned a, b, c, d;
  return __get_cpuid(1, &a, &b, &c, &d) ? c : 0;
}
bool has_aes() { return (cpuid1_ecx() >> 25) & 1; }
bool has_rdrand() { return (cpuid1_ecx() >> 30) & 1; }
}  // namespace
extern "C" int __guxCPUisAES(void) { return !g_hide_aes && has_aes(); }
extern "C" int __guxCPUisRDRAND(void) { return !g_hide_rdrand && has_rdrand(); }

namespace {

using Block = std::array<uint32_t, 4>;
using u128 = unsigned __int128;
enum Gen { ARS, PHILOX };
const char *gen_name(Gen g) { return g == ARS ? "ARS5" : "PHILOX4X32X10"; }
int gen_id(Gen g) { return g == ARS ? GUX_BRNG_ARS5 : GUX_BRNG_PHILOX4X32X10; }

#pragma GCC push_options
#pragma GCC target("aes")
Block ars_block(const uint32_t *key, u128 c) {
  ars4x32_ctr_t r =
      ars4x32_R(5, ars4x32_ctr_t{{(uint32_t)c, (uint32_t)(c >> 32), (uint32_t)(c >> 64), (uint32_t)(c >> 96)}},
                ars4x32keyinit(ars4x32_ukey_t{{key[0], key[1], key[2], key[3]}}));
  return {r.v[0], r.v[1], r.v[2], r.v[3]};
}
#pragma GCC pop_options

Block philox_block(const uint32_t *key, u128 c) {
  philox4x32_ctr_t r =
      philox4x32_R(10, philox4x32_ctr_t{{(uint32_t)c, (uint32_t)(c >> 32), (uint32_t)(c >> 64), (uint32_t)(c >> 96)}},
                   philox4x32_key_t{{key[0], key[1]}});
  return {r.v[0], r.v[1], r.v[2], r.v[3]};
}

Block philox_block_cpp(const uint32_t *key, u128 c) {
  auto r = r123::Philox4x32_R<10>()({{(uint32_t)c, (uint32_t)(c >> 32), (uint32_t)(c >> 64), (uint32_t)(c >> 96)}},
                                    {{key[0], key[1]}});
  return {r.v[0], r.v[1], r.v[2], r.v[3]};
}

// Key and counter of a seed: ARS5 words 0-3 key, 4-7 counter; PHILOX4X32X10
// words 0-1 key, 2-5 counter; missing words 0, further words ignored.
struct Origin {
  uint32_t key[4] = {};
  u128 ctr = 0;
};
Origin origin(Gen g, const std::vector<uint32_t> &seed) {
  const size_t nkey = g == ARS ? 4 : 2;
  Origin o;
  for (size_t k = 0; k < nkey + 4 && k < seed.size(); ++k)
    k < nkey ? (void)(o.key[k] = seed[k]) : (void)(o.ctr |= (u128)seed[k] << (32 * (k - nkey)));
  return o;
}

// Words [from, from + n) of the sequence; block numbers wrap modulo 2^128.
std::vector<uint32_t> ref_words(Gen g, const Origin &o, u128 from, size_t n) {
  std::vector<uint32_t> w;
  for (u128 b = from >> 2; w.size() < n; ++b) {
    const Block blk = g == ARS ? ars_block(o.key, o.ctr + b) : philox_block(o.key, o.ctr + b);
    for (int q = w.empty() ? (int)(from & 3) : 0; q < 4 && w.size() < n; ++q) w.push_back(blk[q]);
  }
  return w;
}

// The conversions, from their definitions.
double to_d(uint32_t w, double a, double b) { return (double)(int32_t)w * ((b - a) * 0x1p-32) + (a + b) / 2; }
float to_s(Gen g, uint32_t w, float a, float b) {
  if (g == ARS) return (float)(int32_t)w * (float)((double)(b - a) * 0x1p-32) + (a + b) / 2.0f;
  return (float)((double)(int32_t)w * (((double)b - (double)a) * 0x1p-32) + ((double)a + (double)b) / 2);
}

struct Stream {
  GuxStream *s = nullptr;
  BrngProperties p;
  Stream(int id, const std::vector<uint32_t> &seed) {
    EXPECT_EQ(__guxNewStreamEx(&s, id, (int)seed.size(), seed.data()), GUX_STATUS_OK);
    __guxGetBrngProperties(id, &p);
  }
  ~Stream() { __guxDeleteStream(&s); }
  uint32_t *state() { return reinterpret_cast<uint32_t *>(reinterpret_cast<char *>(s) + 16); }
  std::vector<uint32_t> words(int n) {
    std::vector<uint32_t> r(n + 1);
    EXPECT_EQ(p.iGenerate(s, n, r.data()), GUX_STATUS_OK);
    r.pop_back();
    return r;
  }
};

// Philox4x32-10 known-answer vectors in the form of the Random123
// distribution's kat_vectors file (its "philox4x32 10" lines): counter, key,
// result. The Debian package does not ship that file, so these results were
// written down from memory; the test confirms each one against Random123's
// own C and C++ block functions before it checks our stream with it.
struct Kat {
  uint32_t ctr[4], key[2], out[4];
} const kPhiloxKat[] = {
    {{0, 0, 0, 0}, {0, 0}, {0x6627e8d5, 0xe169c58d, 0xbc57ac4c, 0x9b00dbd8}},
    {{~0u, ~0u, ~0u, ~0u}, {~0u, ~0u}, {0x408f276d, 0x41c83b0e, 0xa20bc7c6, 0x6d5451fd}},
    {{0x243f6a88, 0x85a308d3, 0x13198a2e, 0x03707344},
     {0xa4093822, 0x299f31d0},
     {0xd16cfe09, 0x94fdcceb, 0x5001e420, 0x24126ea1}},
};

TEST(Philox4x32x10, KnownAnswerVectorsAgreeWithRandom123) {
  for (const Kat &k : kPhiloxKat) {
    const u128 c = (u128)k.ctr[3] << 96 | (u128)k.ctr[2] << 64 | (u128)k.ctr[1] << 32 | k.ctr[0];
    const Block want = {k.out[0], k.out[1], k.out[2], k.out[3]};
    EXPECT_EQ(philox_block(k.key, c), want);
    EXPECT_EQ(philox_block_cpp(k.key, c), want);
  }
  std::mt19937_64 r(5);  // Random123's C and C++ forms agree elsewhere too
  for (int t = 0; t < 100; ++t) {
    const uint32_t key[2] = {(uint32_t)r(), (uint32_t)r()};
    const u128 c = (u128)r() << 64 | r();
    EXPECT_EQ(philox_block(key, c), philox_block_cpp(key, c));
  }
}

// The rows: seeds include counters whose low word carries, that cross 2^64
// and that wrap at 2^128 during a run; the known-answer vectors as seeds.
gen_rows::Row row(Gen g, const char *name, const std::vector<uint32_t> &seed, const Kat *kat = nullptr) {
  const Origin o = origin(g, seed);
  gen_rows::Row r{name, gen_id(g), seed, 1, gen_rows::kSkip | gen_rows::kSkipEx, 4,
                  [g, o](uint64_t from, size_t n) { return ref_words(g, o, from, n); },
                  [](const uint32_t *w, double a, double b) { return to_d(w[0], a, b); }};
  if (g == ARS) r.s = [](const uint32_t *w, float a, float b) { return to_s(ARS, w[0], a, b); }, r.needs_aes = true;
  if (kat) r.known.assign(kat->out, kat->out + 4);
  r.whole_state_copy = false;  // the state copy moves the seed-sized words: the buffered block stays behind
  return r;
}
std::vector<uint32_t> kat_seed(const Kat &k) { return {k.key[0], k.key[1], k.ctr[0], k.ctr[1], k.ctr[2], k.ctr[3]}; }
const uint32_t F = ~0u;
using gen_rows::Rows;
INSTANTIATE_TEST_SUITE_P(
    Cbrng, Rows,
    ::testing::Values(row(ARS, "Ars5NoSeed", {}), row(ARS, "Ars5OneWord", {7}),
                      row(ARS, "Ars5Full", {0x01234567, 0x89abcdef, 0xfedcba98, 0x76543210, 11, 22, 33, 44}),
                      row(ARS, "Ars5TenWords", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}),
                      row(ARS, "Ars5Crosses2p64", {9, 8, 7, 6, F - 20, F, 0, 0}),
                      row(ARS, "Ars5Wraps", {9, 8, 7, 6, F - 30, F, F, F}),
                      row(PHILOX, "PhiloxNoSeedIsKat0", {}, &kPhiloxKat[0]),
                      row(PHILOX, "PhiloxKatOnes", kat_seed(kPhiloxKat[1]), &kPhiloxKat[1]),
                      row(PHILOX, "PhiloxKatPi", kat_seed(kPhiloxKat[2]), &kPhiloxKat[2]),
                      row(PHILOX, "PhiloxOneWord", {7}), row(PHILOX, "PhiloxEightWords", {1, 2, 3, 4, 5, 6, 7, 8}),
                      row(PHILOX, "PhiloxCarries", {3, 4, F - 9, 5, 6, 7}), row(PHILOX, "PhiloxWraps", {3, 4, F - 41, F, F, F}),
                      row(PHILOX, "PhiloxCrosses2p64", {3, 4, F - 13, F, F, 0})),
    gen_rows::row_name);

class Forms : public ::testing::TestWithParam<Gen> {
 protected:
  void SetUp() override {
    if (GetParam() == ARS && !has_aes()) GTEST_SKIP() << "no AES instructions";
  }
};

// Skip-ahead ex by 192-bit counts lands at word pre + count (blocks modulo
// 2^128); a fourth word is ignored; one-word counts agree with the plain skip.
TEST_P(Forms, SkipAheadExFarJumps) {
  const Gen g = GetParam();
  const uint64_t M = ~0ull;
  const uint64_t jumps[][3] = {{0, 0, 0},
                               {1, 0, 0},
                               {3, 0, 0},
                               {4, 0, 0},
                               {5, 0, 0},
                               {M, 0, 0},
                               {M - 2, 0, 0},
                               {0, 1, 0},
                               {1, 1, 0},
                               {3, M, 0},
                               {0, 0, 1},
                               {2, 0, 1},
                               {M, M, 0},
                               {M, M, M},
                               {M - 1, M, M},
                               {M - 3, M, M},
                               {0x0123456789abcdefull, 0xfedcba9876543210ull, 0x0f1e2d3c4b5a6978ull}};
  const std::vector<uint32_t> seed = {0x1111, 0x2222, 0x3333, 0x4444, 0x5555, 0x6666, 0x7777, 0x8888};
  for (int pre = 0; pre <= 5; ++pre)
    for (const auto &j : jumps) {
      SCOPED_TRACE("pre " + std::to_string(pre) + " jump " + std::to_string(j[2]) + ":" + std::to_string(j[1]) + ":" +
                   std::to_string(j[0]));
      Stream st(gen_id(g), seed);
      st.words(pre);
      const uint64_t four[4] = {j[0], j[1], j[2], 0xA5A5A5A5A5A5A5A5ull};
      ASSERT_EQ(__guxSkipAheadStreamEx(st.s, 4, four), GUX_STATUS_OK);
      const u128 low = (u128)j[1] << 64 | j[0], pos = low + (u128)pre;
      Origin at = origin(g, seed);  // bits 128-129 of the position from the third word and the carry
      at.ctr += (pos >> 2) + ((u128)((j[2] + (pos < low)) & 3) << 126);
      EXPECT_EQ(st.words(13), ref_words(g, at, pos & 3, 13));
      if (j[1] == 0 && j[2] == 0) {
        Stream plain(gen_id(g), seed), ex(gen_id(g), seed);
        plain.words(pre), ex.words(pre);
        ASSERT_EQ(__guxSkipAheadStream(plain.s, j[0]), GUX_STATUS_OK);
        ASSERT_EQ(__guxSkipAheadStreamEx(ex.s, 1, j), GUX_STATUS_OK);
        EXPECT_EQ(plain.words(11), ex.words(11));
      }
    }
}

INSTANTIATE_TEST_SUITE_P(Cbrng, Forms, ::testing::Values(ARS, PHILOX),
                         [](const ::testing::TestParamInfo<Gen> &i) { return std::string(gen_name(i.param)); });

// Records (ARS5: key[4] counter[2 x 64] buffered buffer[4]; PHILOX4X32X10:
// key[2] counter[4] buffered buffer[4]) after seeding and skips.
TEST(Cbrng, StateAfterSeedAndSkip) {
  if (!has_aes()) GTEST_SKIP() << "no AES instructions";
  Stream a(GUX_BRNG_ARS5, {1, 2, 3, 4, ~0u, ~0u, 7, 8, 9});
  const uint32_t seeded[9] = {1, 2, 3, 4, ~0u, ~0u, 7, 8, 0};
  EXPECT_EQ(memcmp(a.state(), seeded, sizeof seeded), 0);
  // c = 4, empty buffer: the next block whole in buffer, counter + 2 across 2^64.
  ASSERT_EQ(__guxSkipAheadStream(a.s, 4), GUX_STATUS_OK);
  const uint32_t skipped[9] = {1, 2, 3, 4, 1, 0, 8, 8, 4};
  EXPECT_EQ(memcmp(a.state(), skipped, sizeof skipped), 0);
  uint32_t before[13];
  memcpy(before, a.state(), sizeof before);
  ASSERT_EQ(__guxSkipAheadStream(a.s, 4), GUX_STATUS_OK);  // exactly `buffered`: 0, no block
  before[8] = 0;
  EXPECT_EQ(memcmp(a.state(), before, sizeof before), 0);

  Stream p(GUX_BRNG_PHILOX4X32X10, {1, 2, ~0u, ~0u, ~0u, 5, 6});
  const uint32_t pseeded[7] = {1, 2, ~0u, ~0u, ~0u, 5, 0};
  EXPECT_EQ(memcmp(p.state(), pseeded, sizeof pseeded), 0);
  ASSERT_EQ(__guxSkipAheadStream(p.s, 4), GUX_STATUS_OK);  // the skipped block made, left unread
  const uint32_t pskipped[7] = {1, 2, 0, 0, 0, 6, 0};
  EXPECT_EQ(memcmp(p.state(), pskipped, sizeof pskipped), 0);
  p.words(1);
  EXPECT_EQ(p.state()[6], 3u);
  ASSERT_EQ(__guxSkipAheadStream(p.s, 3), GUX_STATUS_OK);
  EXPECT_EQ(p.state()[6], 0u);
}

// Statuses of the init methods, present and absent hardware: ARS5 streams are
// still made, d, i and both skips refuse with NO_AES leaving the state, the s
// form does not test; PHILOX4X32X10 has no test; every TRNG form refuses.
TEST(Cbrng, Statuses) {
  const int methods[4] = {GUX_INIT_LEAPFROG, GUX_INIT_SKIPAHEAD, GUX_INIT_SKIPAHEADEX, 17};
  const struct {
    int id, want[4];
  } cases[] = {
      {GUX_BRNG_ARS5, {GUX_STATUS_NO_LEAPFROG, 0, 0, GUX_STATUS_BAD_INIT_METHOD}},
      {GUX_BRNG_PHILOX4X32X10, {GUX_STATUS_NO_LEAPFROG, 0, 0, GUX_STATUS_BAD_INIT_METHOD}},
      {GUX_BRNG_TRNG,
       {GUX_STATUS_NO_LEAPFROG, GUX_STATUS_NO_SKIPAHEAD, GUX_STATUS_NO_SKIPAHEADEX, GUX_STATUS_BAD_INIT_METHOD}}};
  for (int hide = 0; hide < 2; ++hide) {
    g_hide_aes = g_hide_rdrand = hide;
    for (const auto &c : cases) {
      if (c.id == GUX_BRNG_ARS5 && !has_aes() && !hide) continue;
      Stream st(c.id, {1, 2});
      uint32_t before[13] = {}, w[8];
      double d[8];
      float f[8];
      BrngProperties props;
      ASSERT_EQ(__guxGetBrngProperties(c.id, &props), 0);
      const size_t bytes = std::min(sizeof before, (size_t)props.stateSize - 16);  // the record past its header
      memcpy(before, st.state(), bytes);
      const uint64_t count[3] = {5, 0, 0};
      const uint32_t k = 0;
      for (int m = 0; m < 4; ++m) {
        const int want = c.id == GUX_BRNG_ARS5 && hide && (m == 1 || m == 2) ? GUX_STATUS_NO_AES : c.want[m];
        EXPECT_EQ(st.p.initStream(methods[m], st.s, m ? 3 : 2, m ? (const void *)count : &k), want) << c.id << " " << m;
      }
      if (!hide) continue;
      const int form = c.id == GUX_BRNG_ARS5 ? GUX_STATUS_NO_AES : c.id == GUX_BRNG_TRNG ? GUX_STATUS_NO_RDRAND : 0;
      EXPECT_EQ(st.p.iGenerate(st.s, 8, w), form);
      EXPECT_EQ(st.p.dGenerate(st.s, 8, d, 0.0, 1.0), form);
      if (c.id == GUX_BRNG_ARS5) {
        EXPECT_EQ(memcmp(before, st.state(), bytes), 0);
      }
      if (c.id == GUX_BRNG_TRNG) {
        EXPECT_EQ(st.p.sGenerate(st.s, 8, f, 0.0f, 1.0f), GUX_STATUS_NO_RDRAND);
      }
    }
  }
  g_hide_aes = g_hide_rdrand = false;
}

// A source failing `fails` times before succeeding: a value comes exactly when
// the success falls at an attempt below the limit.
TEST(Trng, RetryRule) {
  const struct {
    uint32_t limit, fails, calls;
    bool ok;
  } cases[] = {{1, 0, 1, true},     {1, 1, 1, false}, {10, 9, 10, true}, {10, 10, 10, false},
               {10, 50, 10, false}, {3, 2, 3, true},  {3, 3, 3, false},  {~0u, 100, 101, true}};
  for (const auto &c : cases) {
    uint32_t calls = 0, v = 0;
    EXPECT_EQ(qor::random::draw_with_retry(c.limit, &v, [&](uint32_t *) { return ++calls > c.fails; }), c.ok);
    EXPECT_EQ(calls, c.calls) << c.limit << " " << c.fails;
  }
}

TEST(Trng, SeedsSetTheRetryLimit) {
  const struct {
    std::vector<uint32_t> seed;
    uint32_t limit;
  } cases[] = {{{}, 10}, {{5}, 10}, {{5, 0}, 10}, {{5, 1}, 1}, {{0, 77, 3}, 77}, {{9, ~0u}, ~0u}};
  for (const auto &c : cases) {
    Stream t(GUX_BRNG_TRNG, c.seed);
    EXPECT_EQ(t.state()[0], 0u);
    EXPECT_EQ(t.state()[1], c.limit);
  }
}

TEST(Trng, FormsBitsAndDistribution) {
  if (!has_rdrand()) GTEST_SKIP() << "no RDRAND";
  Stream t(GUX_BRNG_TRNG, {0, 1000});
  for (int n : {0, 1, 2, 3, 7, 64}) {  // odd and even sizes; nothing past n
    std::vector<uint32_t> w(n + 1, 0xDEADBEEF);
    std::vector<float> f(n + 1, -9.0f);
    std::vector<double> d(n + 1, -9.0);
    ASSERT_EQ(t.p.iGenerate(t.s, n, w.data()) | t.p.sGenerate(t.s, n, f.data(), -2.0f, 3.0f) |
                  t.p.dGenerate(t.s, n, d.data(), -2.0, 3.0),
              GUX_STATUS_OK);
    EXPECT_TRUE(w[n] == 0xDEADBEEF && f[n] == -9.0f && d[n] == -9.0);
    for (int k = 0; k < n; ++k) EXPECT_TRUE(f[k] >= -2.0f && f[k] <= 3.0f && d[k] >= -2.0 && d[k] <= 3.0);
  }
  // Each of the 32 bits over 2^20 words within six standard deviations of 1/2.
  const int n = 1 << 20;
  std::vector<uint32_t> w(n);
  ASSERT_EQ(t.p.iGenerate(t.s, n, w.data()), GUX_STATUS_OK);
  for (int b = 0; b < 32; ++b) {
    long ones = 0;
    for (uint32_t x : w) ones += (x >> b) & 1;
    EXPECT_LT(fabs(ones - n / 2.0), 6 * sqrt(n / 4.0)) << "bit " << b;
  }
  // Chi-square of the d and s forms over 100 cells (99 degrees of freedom;
  // 180 is far in the 1e-6 tail).
  std::vector<double> d(n);
  std::vector<float> f(n);
  ASSERT_EQ(t.p.dGenerate(t.s, n, d.data(), 0.0, 1.0) | t.p.sGenerate(t.s, n, f.data(), 0.0f, 1.0f), GUX_STATUS_OK);
  for (int form = 0; form < 2; ++form) {
    std::vector<double> cells(100, 0);
    for (int k = 0; k < n; ++k) cells[std::min(99, (int)((form ? (double)f[k] : d[k]) * 100))] += 1;
    double chi = 0, e = n / 100.0;
    for (double c : cells) chi += (c - e) * (c - e) / e;
    EXPECT_LT(chi, 180.0) << (form ? "s" : "d");
  }
  // The d form takes 64-bit values: nearly every number has bits below 2^-32.
  int fine = 0;
  for (int k = 0; k < 1000; ++k) fine += d[k] * 0x1p32 != floor(d[k] * 0x1p32);
  EXPECT_GT(fine, 990);
  Stream u(GUX_BRNG_TRNG, {0, 1000});  // equal seeds, different numbers
  EXPECT_NE(t.words(8), u.words(8));
}

}  // namespace
