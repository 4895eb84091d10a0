// MRG32K3A as rows of the generator harness, against a plain recurrence
// written here from its definition; seeds at the edges, skip-ahead by wide
// counts against matrix powers computed here, state copies and properties.
#include <gtest/gtest.h>
#include <string.h>

#include <array>
#include <vector>

#include "qor/qor_random_brng.h"
#include "random/generator_rows.h"

namespace {

constexpr uint64_t kM[2] = {4294967087u, 4294944443u};
// Last row of each component's companion matrix, oldest word first.
constexpr int64_t kRow[2][3] = {{-810728, 1403580, 0}, {-1370589, 0, 527612}};

using Words = std::vector<uint32_t>;
using State = std::array<uint32_t, 6>;  // x oldest first, then y

State seeded(const Words &seed, int count) {
  State s;
  for (int k = 0; k < 6; ++k) s[k] = k < count ? seed[k] : 1;
  for (int c = 0; c < 2; ++c) {
    uint32_t *v = &s[3 * c];
    for (int k = 0; k < 3; ++k) v[k] = (uint32_t)(v[k] % kM[c]);
    if (!v[0] && !v[1] && !v[2]) v[0] = 1;
  }
  return s;
}

// The outputs z_1..z_n from a state: advance, then z = x - y mod m1.
Words reference(State s, size_t n) {
  Words z(n);
  for (size_t t = 0; t < n; ++t) {
    int64_t p[2];
    for (int c = 0; c < 2; ++c) {
      uint32_t *v = &s[3 * c];
      int64_t q = 0;
      for (int k = 0; k < 3; ++k) q += kRow[c][k] * (int64_t)v[k];
      p[c] = ((q % (int64_t)kM[c]) + (int64_t)kM[c]) % (int64_t)kM[c];
      v[0] = v[1], v[1] = v[2], v[2] = (uint32_t)p[c];
    }
    z[t] = (uint32_t)((p[0] - p[1] + (int64_t)kM[0]) % (int64_t)kM[0]);
  }
  return z;
}

// State after skipping e (words, lowest first): companion powers, highest bit first.
using Mat = std::array<uint64_t, 9>;
Mat mul(const Mat &a, const Mat &b, uint64_t m) {
  Mat c{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k)
        c[3 * i + j] = (uint64_t)(((unsigned __int128)a[3 * i + k] * b[3 * k + j] + c[3 * i + j]) % m);
  return c;
}
Mat power(int c, const std::vector<uint64_t> &e) {
  const uint64_t m = kM[c];
  Mat a{0, 1, 0, 0, 0, 1}, r{1, 0, 0, 0, 1, 0, 0, 0, 1};
  for (int k = 0; k < 3; ++k) a[6 + k] = (uint64_t)((kRow[c][k] + (int64_t)m) % (int64_t)m);
  for (size_t w = e.size(); w-- > 0;)
    for (int b = 63; b >= 0; --b) {
      r = mul(r, r, m);
      if (e[w] >> b & 1) r = mul(r, a, m);
    }
  return r;
}
State skipped(State s, const std::vector<uint64_t> &e) {
  for (int c = 0; c < 2; ++c) {
    Mat p = power(c, e);
    State t = s;
    for (int i = 0; i < 3; ++i)
      s[3 * c + i] = (uint32_t)(((unsigned __int128)p[3 * i] * t[3 * c] + (unsigned __int128)p[3 * i + 1] * t[3 * c + 1] +
                                 (unsigned __int128)p[3 * i + 2] * t[3 * c + 2]) % kM[c]);
  }
  return s;
}

State state_of(const GuxStream *s) {
  State st;
  memcpy(st.data(), reinterpret_cast<const char *>(s) + 16, 24);
  return st;
}

// The outputs from a seed; the d form is z / m1 scaled.
gen_rows::Row row(const char *name, int id, Words seed) {
  return {name, id, seed, 1, gen_rows::kSkip | gen_rows::kSkipEx, 16,
          gen_rows::from_start([seed](size_t n) { return reference(seeded(seed, (int)seed.size()), n); }),
          [](const uint32_t *w, double a, double b) { return (double)w[0] * ((b - a) * (1.0 / 4294967087.0)) + a; }};
}
using gen_rows::Rows;
INSTANTIATE_TEST_SUITE_P(Mrg32k3a, Rows,
                         ::testing::Values(row("NoSeed", GUX_BRNG_MRG32K3A, {}),
                                           row("Equal", GUX_BRNG_MRG32K3A, {12345, 12345, 12345, 12345, 12345, 12345}),
                                           row("Wide", GUX_BRNG_MRG32K3A, {0xFFFFFFFFu, 7, 0, 0, 0, 0xFFFFFFFFu, 99}),
                                           row("Moduli", GUX_BRNG_MRG32K3A, {4294967087u, 0, 0, 4294944443u}),
                                           row("ThreeWordsOldId", 2, {1, 2, 3})),
                         gen_rows::row_name);

TEST(Mrg32k3a, SeedEdges) {
  const uint32_t m1 = 4294967087u, m2 = 4294944443u;
  struct Case {
    Words seed;
    int count;
    State state;
  } cases[] = {
      {{}, 0, {1, 1, 1, 1, 1, 1}},
      {{9}, -3, {1, 1, 1, 1, 1, 1}},
      {{0, 0, 0, 0, 0, 0}, 6, {1, 0, 0, 1, 0, 0}},
      {{m1, 0, 0, m2, 0, 0}, 6, {1, 0, 0, 1, 0, 0}},
      {{m1 - 1, m1 + 5, 0xFFFFFFFFu, m2 - 1, m2, 0xFFFFFFFFu}, 6, {m1 - 1, 5, 208, m2 - 1, 0, 22852}},
      {{4, 5, 6, 7, 8, 9, 10, 11}, 8, {4, 5, 6, 7, 8, 9}},
      {{4, 5}, 2, {4, 5, 1, 1, 1, 1}},
      {{0, 0, 0, 0}, 4, {1, 0, 0, 0, 1, 1}},
      {{0, 0, 1, 0, 1, 0}, 6, {0, 0, 1, 0, 1, 0}},  // both step to 0: z = 0
  };
  for (const Case &c : cases) {
    GuxStream *s;
    ASSERT_EQ(__guxNewStreamEx(&s, GUX_BRNG_MRG32K3A, c.count, c.seed.data()), 0);
    EXPECT_EQ(state_of(s), c.state) << c.count;
    Words r(40);
    __guxiBRngMRG32K3A(s, 40, r.data());
    EXPECT_EQ(r, reference(c.state, 40));
    __guxDeleteStream(&s);
  }
  // z = 0 is delivered as 0, so the d form gives a exactly.
  GuxStream *s;
  const Words zero = cases[8].seed;
  ASSERT_EQ(__guxNewStreamEx(&s, GUX_BRNG_MRG32K3A, 6, zero.data()), 0);
  double d;
  __guxdBRngMRG32K3A(s, 1, &d, -1.25, 3.0);
  EXPECT_EQ(d, -1.25);
  __guxDeleteStream(&s);
}

// (m1^3 - 1)(m2^3 - 1) 2^70 + 1000 in six words: past 2^256, so the general
// routine runs, and a multiple of both components' periods plus 1000.
std::vector<uint64_t> wide_count() {
  std::vector<uint64_t> e = {0, 1ull << 6, 0, 0, 0, 0};
  for (uint64_t m : kM)
    for (uint64_t f : {m - 1, m * m + m + 1}) {  // m^3 - 1 = (m - 1)(m^2 + m + 1)
      unsigned __int128 carry = 0;
      for (uint64_t &w : e) {
        carry += (unsigned __int128)w * f;
        w = (uint64_t)carry;
        carry >>= 64;
      }
    }
  e[0] = 1000;
  return e;
}

Words draw(GuxStream *s, int n) {
  Words r((size_t)n);
  EXPECT_EQ(__guxiBRngMRG32K3A(s, n, r.data()), 0);
  return r;
}

// Skips from several positions inside a 16-block by one word, by several
// words and by the count padded to twelve words, against the powers above.
TEST(Mrg32k3a, SkipAheadFollowsThePowers) {
  const Words seed = {11, 22, 33, 44, 55, 66};
  const unsigned __int128 one = 1;
  const std::vector<uint64_t> wide = wide_count();
  ASSERT_NE(wide[4], 0u);
  EXPECT_EQ(skipped(seeded(seed, 6), wide), skipped(seeded(seed, 6), {1000}));
  const std::vector<std::vector<uint64_t>> counts = {wide,
      {0}, {1}, {17}, {4099}, {1ull << 63}, {0, 1}, {5, 1}, {3, 0, 1 << 20},
      {7, 0, 0, 1ull << 63}, {0, 0, 0x8000000000000000ull, 0}, {1, 2, 3, 4}, {9, 0, 0, 0, 0, 0},
      {(uint64_t)((one << 100) - 1), ~0ull, 1ull << 62}};
  for (int drawn : {0, 5, 21})
    for (const auto &e : counts)
      for (int method = 0; method < 3; ++method) {
        if (method == 0 && e.size() != 1) continue;
        SCOPED_TRACE(::testing::Message() << "drawn " << drawn << " words " << e.size() << " low " << e[0]
                                          << " method " << method);
        GuxStream *s;
        ASSERT_EQ(__guxNewStreamEx(&s, GUX_BRNG_MRG32K3A, 6, seed.data()), 0);
        draw(s, drawn);
        const State at = state_of(s);
        std::vector<uint64_t> padded = e;
        padded.resize(12, 0);
        ASSERT_EQ(method == 0   ? __guxSkipAheadStream(s, e[0])
                  : method == 1 ? __guxSkipAheadStreamEx(s, (int)e.size(), e.data())
                                : __guxSkipAheadStreamEx(s, 12, padded.data()),
                  0);
        EXPECT_EQ(draw(s, 40), reference(skipped(at, e), 40));
        __guxDeleteStream(&s);
      }
}

// Init methods past the three are refused; a state copy onto itself is
// harmless; the old id 2 is the same row.
TEST(Mrg32k3a, StatusesAndProperties) {
  const Words seed = {8, 6, 7, 5, 3, 0};
  GuxStream *a;
  ASSERT_EQ(__guxNewStreamEx(&a, GUX_BRNG_MRG32K3A, 6, seed.data()), 0);
  for (int method : {4, -1, 99}) EXPECT_EQ(__guxBRngMRG32K3AInitStream(method, a, 2, nullptr), GUX_STATUS_BAD_INIT_METHOD);
  EXPECT_EQ(__guxCopyStreamState(a, a), 0);
  EXPECT_EQ(draw(a, 40), reference(seeded(seed, 6), 40));
  BrngProperties p, q;
  ASSERT_EQ(__guxGetBrngProperties(2, &p), 0);
  ASSERT_EQ(__guxGetBrngProperties(GUX_BRNG_MRG32K3A, &q), 0);
  EXPECT_EQ(memcmp(&p, &q, sizeof p), 0);
  EXPECT_EQ((std::array<int, 5>{p.stateSize, p.seedCount, p.includesZero, p.wordSize, p.bitCount}),
            (std::array<int, 5>{40, 6, 1, 4, 32}));
  EXPECT_EQ(p.dGenerate, &__guxdBRngMRG32K3A);
  __guxDeleteStream(&a);
}

}  // namespace
