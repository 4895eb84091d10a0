// MRG32K3A against a plain recurrence written here from its definition: every
// form, every split of a request, seeds at the edges, skip-ahead against
// discarding and against matrix powers computed here, copies and statuses.
#include <gtest/gtest.h>
#include <string.h>

#include <array>
#include <random>
#include <vector>

#include "qor/qor_random_brng.h"

namespace {

constexpr uint64_t kM[2] = {4294967087u, 4294944443u};
// Last row of each component's companion matrix, oldest word first.
constexpr int64_t kRow[2][3] = {{-810728, 1403580, 0}, {-1370589, 0, 527612}};
constexpr double kDA = -1.25, kDB = 3.0;
constexpr float kFA = -0.5f, kFB = 2.75f;

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

uint64_t bits(double x) { uint64_t b; memcpy(&b, &x, 8); return b; }
uint32_t bits(float x) { uint32_t b; memcpy(&b, &x, 4); return b; }

State state_of(const GuxStream *s) {
  State st;
  memcpy(st.data(), reinterpret_cast<const char *>(s) + 16, 24);
  return st;
}

// Draws `sizes` in turn with forms cycling through `forms`, each into a buffer
// offset by `offset` elements and fenced by guards, against the reference.
void check_draws(GuxStream *s, const Words &expect, const std::vector<int> &sizes, const char *forms, int offset) {
  size_t pos = 0;
  const double dscale = (kDB - kDA) * (1.0 / 4294967087.0);
  const double sscale = ((double)kFB - (double)kFA) * (1.0 / 4294967087.0);
  for (size_t call = 0; call < sizes.size(); ++call) {
    const int n = sizes[call];
    const char form = forms[call % strlen(forms)];
    SCOPED_TRACE(::testing::Message() << "call " << call << " form " << form << " n " << n << " at " << pos);
    std::vector<uint64_t> buf((size_t)n + offset + 2, 0x5A5A5A5A5A5A5A5Aull);
    if (form == 'i') {
      uint32_t *r = reinterpret_cast<uint32_t *>(buf.data()) + offset;
      ASSERT_EQ(__guxiBRngMRG32K3A(s, n, r), 0);
      for (int t = 0; t < n; ++t) ASSERT_EQ(r[t], expect[pos + t]) << t;
      ASSERT_EQ(r[n], 0x5A5A5A5Au);
    } else if (form == 'd') {
      double *r = reinterpret_cast<double *>(buf.data()) + offset;
      ASSERT_EQ(__guxdBRngMRG32K3A(s, n, r, kDA, kDB), 0);
      for (int t = 0; t < n; ++t) ASSERT_EQ(bits(r[t]), bits(expect[pos + t] * dscale + kDA)) << t;
      ASSERT_EQ(bits(r[n]), 0x5A5A5A5A5A5A5A5Aull);
    } else {
      float *r = reinterpret_cast<float *>(buf.data()) + offset;
      ASSERT_EQ(__guxsBRngMRG32K3A(s, n, r, kFA, kFB), 0);
      for (int t = 0; t < n; ++t) ASSERT_EQ(bits(r[t]), bits((float)(expect[pos + t] * sscale + (double)kFA))) << t;
      ASSERT_EQ(bits(r[n]), 0x5A5A5A5Au);
    }
    if (offset) {
      ASSERT_EQ(buf[0] & 0xFFFFFFFFu, 0x5A5A5A5Au) << "wrote before the request";
    }
    pos += (size_t)n;
  }
}

std::vector<int> random_sizes(unsigned seed) {
  std::mt19937 g(seed);
  std::vector<int> s;
  for (int k = 0; k < 40; ++k) s.push_back((int)(g() % 90));
  return s;
}

const Words kSeeds[] = {{}, {12345, 12345, 12345, 12345, 12345, 12345}, {0xFFFFFFFFu, 7, 0, 0, 0, 0xFFFFFFFFu, 99},
                        {4294967087u, 0, 0, 4294944443u}, {1, 2, 3}};
const std::vector<int> kSplits[] = {{3000}, {0, 4, 3, 5, 16, 15, 17, 1, 0, 69, 69, 32, 31, 33, 100},
                                    std::vector<int>(70, 1), random_sizes(3), random_sizes(4)};

// Forms x splits x seeds x output alignment, one stream per combination.
TEST(Mrg32k3a, EveryFormAndSplitMatchesTheRecurrence) {
  for (const Words &seed : kSeeds)
    for (const auto &sizes : kSplits)
      for (const char *forms : {"i", "d", "s", "ids", "sdi"})
        for (int offset : {0, 1}) {
          SCOPED_TRACE(::testing::Message() << "seed words " << seed.size() << " forms " << forms << " offset " << offset);
          size_t total = 0;
          for (int n : sizes) total += (size_t)n;
          GuxStream *s;
          ASSERT_EQ(__guxNewStreamEx(&s, GUX_BRNG_MRG32K3A, (int)seed.size(), seed.data()), 0);
          check_draws(s, reference(seeded(seed, (int)seed.size()), total), sizes, forms, offset);
          __guxDeleteStream(&s);
          if (HasFatalFailure()) return;
        }
}

TEST(Mrg32k3a, EveryTwoWaySplitAndNegativeCounts) {
  const Words seed = {5, 6, 7, 8, 9, 10};
  const Words z = reference(seeded(seed, 6), 100);
  for (const char *forms : {"ii", "dd", "ss", "di", "sd", "is"})
    for (int cut = 0; cut <= 100; ++cut) {
      GuxStream *s;
      ASSERT_EQ(__guxNewStreamEx(&s, 2, 6, seed.data()), 0);  // old id
      for (int n : {-1, -16, -100}) {
        EXPECT_EQ(__guxiBRngMRG32K3A(s, n, nullptr), 0);
        EXPECT_EQ(__guxdBRngMRG32K3A(s, n, nullptr, 0, 1), 0);
      }
      check_draws(s, z, {cut, 100 - cut}, forms, cut & 1);
      __guxDeleteStream(&s);
      if (HasFatalFailure()) return;
    }
}

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
  __guxdBRngMRG32K3A(s, 1, &d, kDA, kDB);
  EXPECT_EQ(d, kDA);
  EXPECT_EQ(bits(1.0 / 4294967087.0), 0x3DF000000D10000Bull);
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

// Skip from several positions inside a 16-block, by every method and path,
// against discarding (small counts) and the powers above (all counts).
TEST(Mrg32k3a, SkipAheadEqualsDiscardingAndThePowers) {
  const Words seed = {11, 22, 33, 44, 55, 66};
  const unsigned __int128 one = 1;
  const std::vector<uint64_t> wide = wide_count();
  ASSERT_NE(wide[4], 0u);
  EXPECT_EQ(skipped(seeded(seed, 6), wide), skipped(seeded(seed, 6), {1000}));
  const std::vector<std::vector<uint64_t>> counts = {wide,
      {0}, {1}, {2}, {15}, {16}, {17}, {69}, {4099}, {1ull << 63}, {0, 1}, {5, 1}, {3, 0, 1 << 20},
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
        Words r(drawn + 40);
        __guxiBRngMRG32K3A(s, drawn, r.data());
        State at = state_of(s);
        if (method == 0) {
          ASSERT_EQ(__guxSkipAheadStream(s, e[0]), 0);
        } else if (method == 1) {
          ASSERT_EQ(__guxSkipAheadStreamEx(s, (int)e.size(), e.data()), 0);
        }
        if (method == 2) {  // the same count padded to twelve words
          std::vector<uint64_t> padded = e;
          padded.resize(12, 0);
          ASSERT_EQ(__guxSkipAheadStreamEx(s, 12, padded.data()), 0);
        }
        const Words expect = reference(skipped(at, e), 40);
        check_draws(s, expect, {3, 37}, "di", 1);
        if (e[0] < 5000 && (e.size() == 1 || e == wide)) {  // against discarding
          GuxStream *d;
          ASSERT_EQ(__guxNewStreamEx(&d, GUX_BRNG_MRG32K3A, 6, seed.data()), 0);
          Words drop(drawn + e[0]);
          __guxiBRngMRG32K3A(d, (int)drop.size(), drop.data());
          check_draws(d, expect, {40}, "s", 0);
          __guxDeleteStream(&d);
        }
        __guxDeleteStream(&s);
      }
}

TEST(Mrg32k3a, CopiesAndStatuses) {
  const Words seed = {8, 6, 7, 5, 3, 0};
  const Words z = reference(seeded(seed, 6), 200);
  GuxStream *a, *b, *c;
  ASSERT_EQ(__guxNewStreamEx(&a, GUX_BRNG_MRG32K3A, 6, seed.data()), 0);
  check_draws(a, z, {37}, "d", 0);
  // Unsupported methods leave the stream where it was.
  EXPECT_EQ(__guxLeapfrogStream(a, 1, 4), GUX_STATUS_NO_LEAPFROG);
  EXPECT_EQ(__guxLeapfrogStream(a, 1, -1), GUX_STATUS_BAD_STREAM_COUNT);
  for (int method : {4, -1, 99}) EXPECT_EQ(__guxBRngMRG32K3AInitStream(method, a, 2, nullptr), GUX_STATUS_BAD_INIT_METHOD);
  // A full copy continues the sequence on its own.
  ASSERT_EQ(__guxCopyStream(&b, a), 0);
  check_draws(b, Words(z.begin() + 37, z.end()), {50, 13}, "is", 0);
  check_draws(a, Words(z.begin() + 37, z.end()), {63}, "i", 1);
  // The state copy moves the six words: c now continues a's sequence.
  const Words other = {1};
  ASSERT_EQ(__guxNewStreamEx(&c, GUX_BRNG_MRG32K3A, 1, other.data()), 0);
  ASSERT_EQ(__guxCopyStreamState(c, a), 0);
  EXPECT_EQ(__guxCopyStreamState(c, c), 0);
  check_draws(c, Words(z.begin() + 100, z.end()), {100}, "ids", 0);
  BrngProperties p, q;
  ASSERT_EQ(__guxGetBrngProperties(2, &p), 0);
  ASSERT_EQ(__guxGetBrngProperties(GUX_BRNG_MRG32K3A, &q), 0);
  EXPECT_EQ(memcmp(&p, &q, sizeof p), 0);
  EXPECT_EQ((std::array<int, 5>{p.stateSize, p.seedCount, p.includesZero, p.wordSize, p.bitCount}),
            (std::array<int, 5>{40, 6, 1, 4, 32}));
  EXPECT_EQ(p.dGenerate, &__guxdBRngMRG32K3A);
  __guxDeleteStream(&a);
  __guxDeleteStream(&b);
  __guxDeleteStream(&c);
}

}  // namespace
