// Modular helpers, matrix powers with and without the tables, polynomial
// remainders over GF(2), and the two generic jumps checked on a small
// GF(2)-linear generator of the test's own (the R250 recurrence in a circular
// buffer with an index, the shape the twisters have).
#include <gtest/gtest.h>
#include <string.h>

#include <random>
#include <vector>

#include "qor/qor_random_brng.h"
#include "random/reference.h"

namespace {

TEST(PowMod, MatchesWideArithmetic) {
  std::mt19937_64 g(1);
  EXPECT_EQ(__guxiPowMod(5, 0, 7), 1u);
  EXPECT_EQ(__guxiPowMod(5, 0, 1), 1u);
  EXPECT_EQ(__guxiPowMod2P31M1(12345, 0), 1u);
  EXPECT_EQ(__guxiPowMod2P59(12345, 0), 1u);
  for (int t = 0; t < 300; ++t) {
    uint64_t e = g() >> (g() % 64);
    uint32_t m = (uint32_t)(g() | 1) | 0x80000000u;
    uint32_t a = (uint32_t)g();
    ASSERT_EQ(__guxiPowMod(a, e, m), ref::powmod(a % m, e, m)) << a << " " << e << " " << m;
    uint32_t a31 = (uint32_t)(g() % ref::kM31);
    ASSERT_EQ(__guxiPowMod2P31M1(a31, e), ref::powmod(a31, e, ref::kM31));
    uint64_t a59 = g();
    uint64_t r = 1, b = a59;
    for (uint64_t x = e; x; x >>= 1, b *= b)
      if (x & 1) r *= b;
    ASSERT_EQ(__guxiPowMod2P59(a59, e), r & ref::kMask59);
  }
}

struct Comp {
  uint32_t m, c[3];
};
const Comp kM1 = {4294967087u, {0, 1403580, 4294156359u}};
const Comp kM2 = {4294944443u, {527612, 0, 4293573854u}};

// A^e v by plain stepping: v' = (v1, v2, c3 v0 + c2 v1 + c1 v2).
std::vector<uint32_t> step_vec(const Comp &k, std::vector<uint32_t> v, uint64_t e) {
  for (uint64_t t = 0; t < e; ++t) {
    uint64_t n = (ref::mulmod(k.c[2], v[0], k.m) + ref::mulmod(k.c[1], v[1], k.m) +
                  ref::mulmod(k.c[0], v[2], k.m)) % k.m;
    v = {v[1], v[2], (uint32_t)n};
  }
  return v;
}

TEST(Vect3, PowerEqualsStepping) {
  for (const Comp &k : {kM1, kM2})
    for (uint64_t e : {0ull, 1ull, 2ull, 3ull, 64ull, 1000ull, 4097ull}) {
      uint32_t v[3] = {12345, 678910, 1112131415};
      __guxiVect3PowMod(v, k.c, k.m, e);
      EXPECT_EQ(std::vector<uint32_t>(v, v + 3), step_vec(k, {12345, 678910, 1112131415}, e)) << e;
    }
}

TEST(Vect3, WideExponentsAgreeEverywhere) {
  std::mt19937_64 g(5);
  for (int t = 0; t < 20; ++t) {
    uint64_t e[12] = {};
    const int n = 1 + t % 4;
    for (int w = 0; w < n; ++w) e[w] = g();
    for (const Comp &k : {kM1, kM2}) {
      uint32_t a[3] = {1, 2, 3}, b[3] = {1, 2, 3}, c[3] = {1, 2, 3};
      ASSERT_EQ(__guxiVect3PowArrayMod(a, k.c, k.m, n, e), 0);
      if (k.m == kM1.m)
        __guxiVect3PowArrayMod_M1(b, n, e, __guxVect3PowTableM1);
      else
        __guxiVect3PowArrayMod_M2(b, n, e, __guxVect3PowTableM2);
      EXPECT_EQ(0, memcmp(a, b, sizeof a)) << t;
      if (n == 1) {
        __guxiVect3PowMod(c, k.c, k.m, e[0]);
        EXPECT_EQ(0, memcmp(a, c, sizeof a));
      }
      // Leading zero words change nothing, also past the fixed buffer of ten.
      uint32_t d[3] = {1, 2, 3};
      ASSERT_EQ(__guxiVect3PowArrayMod(d, k.c, k.m, 12, e), 0);
      EXPECT_EQ(0, memcmp(a, d, sizeof a));
    }
  }
}

TEST(Vect3, TablesStartWithTheCompanionMatricesAndSquare) {
  const uint32_t first1[9] = {0, 1, 0, 0, 0, 1, 4294156359u, 1403580, 0};
  const uint32_t first2[9] = {0, 1, 0, 0, 0, 1, 4293573854u, 0, 527612};
  EXPECT_EQ(0, memcmp(__guxVect3PowTableM1, first1, sizeof first1));
  EXPECT_EQ(0, memcmp(__guxVect3PowTableM2, first2, sizeof first2));
  for (int k : {0, 1, 57, 191}) {
    for (const auto &[table, m] : {std::pair{__guxVect3PowTableM1, kM1.m}, std::pair{__guxVect3PowTableM2, kM2.m}}) {
      const uint32_t *a = table + 9 * k, *b = table + 9 * (k + 1);
      for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
          uint64_t s = 0;
          for (int q = 0; q < 3; ++q) s = (s + ref::mulmod(a[3 * i + q], a[3 * q + j], m)) % m;
          ASSERT_EQ(b[3 * i + j], s) << k;
        }
    }
  }
}

// ---- GF(2) ---------------------------------------------------------------------

// x^n mod F by multiplying by x n times.
std::vector<uint32_t> slow_rem(uint64_t n, const std::vector<int> &f) {
  const int d = f.back();
  std::vector<uint8_t> p(d + 1, 0);
  p[0] = 1;
  for (uint64_t t = 0; t < n; ++t) {
    for (int i = d; i > 0; --i) p[i] = p[i - 1];
    p[0] = 0;
    if (p[d])
      for (int e : f) p[e] ^= 1;
  }
  std::vector<uint32_t> out((d + 31) / 32, 0);
  for (int i = 0; i < d; ++i)
    if (p[i]) out[i >> 5] |= 1u << (i & 31);
  return out;
}

TEST(PolyRem, MatchesRepeatedMultiplication) {
  for (const std::vector<int> &f : {std::vector<int>{0, 3, 31}, std::vector<int>{0, 2, 3, 5, 64},
                                    std::vector<int>{0, 103, 250}, std::vector<int>{0, 1, 32}}) {
    const int d = f.back();
    for (uint64_t n : std::vector<uint64_t>{0, 1, (uint64_t)d - 1, (uint64_t)d, (uint64_t)d + 1, 1000, 4567}) {
      std::vector<uint32_t> out((d + 31) / 32 + 1, 0xFFFFFFFF);
      ASSERT_EQ(__guxPolyRem(n, d, (int)f.size(), f.data(), (int)out.size(), out.data()), 0);
      std::vector<uint32_t> want = slow_rem(n, f);
      want.push_back(0);
      EXPECT_EQ(out, want) << "degree " << d << " n " << n;
    }
  }
}

// The test generator: 250 words in a circle, x[i] ^= x[i + 103], i advances.
struct Lfsr {
  uint32_t x[250];
  int32_t i;
};
constexpr int kExps[3] = {0, 103, 250};

void lfsr_step(Lfsr &s) {
  s.x[s.i] ^= s.x[(s.i + 103) % 250];
  s.i = (s.i + 1) % 250;
}

extern "C" {
void op_zero(void *t) { memset(t, 0, sizeof(Lfsr)); }
void op_add(void *t, const void *s, int) {
  Lfsr &a = *static_cast<Lfsr *>(t);
  const Lfsr &b = *static_cast<const Lfsr *>(s);
  for (int k = 0; k < 250; ++k) a.x[(a.i + k) % 250] ^= b.x[(b.i + k) % 250];
}
void op_assign(void *t, const void *s) { memcpy(t, s, sizeof(Lfsr)); }
void op_step(void *t) { lfsr_step(*static_cast<Lfsr *>(t)); }
void op_store(void *s, const void *t, int flag) {
  EXPECT_EQ(flag, 5);
  memcpy(s, t, sizeof(Lfsr));
}
int op_prepare(void *, uint64_t *, int *flag) {
  *flag = 5;
  return 1;
}
// Absorbs skips below 10 by stepping, as a generator with a buffered block would.
int op_prepare_small(void *s, uint64_t *count, int *flag) {
  *flag = 5;
  if (*count < 10) {
    for (uint64_t k = 0; k < *count; ++k) lfsr_step(*static_cast<Lfsr *>(s));
    return 0;
  }
  return 1;
}
}

Lfsr seeded(uint32_t seed, int index) {
  Lfsr s;
  std::mt19937 g(seed);
  for (auto &w : s.x) w = g();
  s.i = index;
  return s;
}

bool same(const Lfsr &a, const Lfsr &b) {
  for (int k = 0; k < 250; ++k)
    if (a.x[(a.i + k) % 250] != b.x[(b.i + k) % 250]) return false;
  return true;
}

TEST(Jump, HornerAndWindowEqualStepping) {
  for (uint64_t n : {1ull, 6ull, 7ull, 249ull, 250ull, 251ull, 1000ull, 4103ull, 65537ull}) {
    SCOPED_TRACE(n);
    Lfsr stepped = seeded(3, 17), horner = stepped, window = stepped;
    for (uint64_t t = 0; t < n; ++t) lfsr_step(stepped);
    ASSERT_EQ(__gux_SkipAheadHorner(&horner, op_zero, op_add, op_assign, op_step, op_store, op_prepare,
                                    n, 250, 250, sizeof(Lfsr), 3, kExps), 0);
    ASSERT_EQ(__gux_SkipAheadSWin(&window, op_zero, op_add, op_assign, op_step, op_store, op_prepare,
                                  n, 250, 250, sizeof(Lfsr), 3, kExps), 0);
    EXPECT_TRUE(same(horner, stepped));
    EXPECT_TRUE(same(window, stepped));
  }
}

TEST(Jump, ZeroSkipAndPrepareShortCut) {
  Lfsr s = seeded(9, 0), before = s;
  ASSERT_EQ(__gux_SkipAheadHorner(&s, op_zero, op_add, op_assign, op_step, op_store, op_prepare, 0,
                                  250, 250, sizeof(Lfsr), 3, kExps), 0);
  EXPECT_EQ(0, memcmp(&s, &before, sizeof s));
  ASSERT_EQ(__gux_SkipAheadSWin(&s, op_zero, op_add, op_assign, op_step, op_store, op_prepare_small,
                                4, 250, 250, sizeof(Lfsr), 3, kExps), 0);
  for (int k = 0; k < 4; ++k) lfsr_step(before);
  EXPECT_TRUE(same(s, before));
}

// The same jump applied to a real R250 stream: its state is the 250 words with
// the older tap as index.
TEST(Jump, MovesAnR250StreamLikeDiscarding) {
  uint32_t seed = 31337;
  GuxStream *a, *b;
  ASSERT_EQ(__guxNewStreamEx(&a, GUX_BRNG_R250, 1, &seed), 0);
  ASSERT_EQ(__guxNewStreamEx(&b, GUX_BRNG_R250, 1, &seed), 0);
  std::vector<uint32_t> drop(123457), ra(100), rb(100);
  __guxiBRngR250(a, 91, ra.data());
  __guxiBRngR250(b, 91, rb.data());
  Lfsr *state = static_cast<Lfsr *>(GUX_STREAM_STATE(a));
  ASSERT_EQ(__gux_SkipAheadSWin(state, op_zero, op_add, op_assign, op_step, op_store, op_prepare,
                                drop.size(), 250, 250, sizeof(Lfsr), 3, kExps), 0);
  // The stream's record goes on with the younger tap, 103 after the index.
  struct R250Image {
    Lfsr words;
    int32_t j;
  };
  static_cast<R250Image *>(GUX_STREAM_STATE(a))->j = (state->i + 103) % 250;
  __guxiBRngR250(b, (int)drop.size(), drop.data());
  __guxiBRngR250(a, 100, ra.data());
  __guxiBRngR250(b, 100, rb.data());
  EXPECT_EQ(ra, rb);
  __guxDeleteStream(&a);
  __guxDeleteStream(&b);
}

}  // namespace
