// MCG31M1, MCG59, R250 and WH as rows of the generator harness (plain scalar
// recurrences of reference.h, the published WH rows as known answers); their
// seeding rules; skips too large to discard against the reference powers.
#include <string.h>

#include "random/generator_rows.h"
#include "random/reference.h"

namespace {
#include "random/generators/wh_parameters.inc"
}

namespace {

using gen_rows::Known;
using gen_rows::Row;
using gen_rows::Seed;
using gen_rows::Words;
using gen_rows::Rows;

ref::WhRow wh_row(int sub) {
  ref::WhRow r;
  for (int k = 0; k < 4; ++k) r.m[k] = kWhModuli[sub][k], r.a[k] = kWhMultipliers[sub][k];
  return r;
}

Row mcg31(const char *name, int id, Seed seed) {
  return {name, id, seed, 1, gen_rows::kSkip | gen_rows::kLeapfrog, 16,
          gen_rows::from_start([seed](size_t n) { return ref::mcg31(seed, n); }),
          [](const uint32_t *w, double a, double b) { return (double)w[0] * ((b - a) * ref::kScale31) + a; }};
}
Row mcg59(const char *name, int id, Seed seed) {
  return {name, id, seed, 2, gen_rows::kSkip | gen_rows::kLeapfrog, 16,
          gen_rows::from_start([seed](size_t n) {
            Words w;
            for (uint64_t x : ref::mcg59(seed, n)) w.insert(w.end(), {(uint32_t)x, (uint32_t)(x >> 32)});
            return w;
          }, 2),
          [](const uint32_t *w, double a, double b) {
            return (double)(w[0] | (uint64_t)w[1] << 32) * ((b - a) * ref::kScale59) + a;
          }};
}
Row r250(const char *name, int id, Seed seed) {
  return {name, id, seed, 1, 0, 250, gen_rows::from_start([seed](size_t n) { return ref::r250(seed, n); }),
          [](const uint32_t *w, double a, double b) { return (double)w[0] * ((b - a) * ref::kScale32) + a; }};
}
// The published rows of WH: sub-generator, moduli, multipliers.
struct WhPublished { int sub; uint32_t m[4], a[4]; };
const WhPublished kWhPublished[] = {{0, {16770647, 16770643, 16770623, 16770617}, {125, 117, 127, 126}},
                                    {1, {16770311, 16770283, 16770263, 16770209}, {127, 126, 125, 123}},
                                    {2, {16769807, 16769771, 16769749, 16769663}, {125, 119, 123, 126}},
                                    {271, {16766831, 16766803, 16766459, 16766429}, {127, 124, 126, 118}},
                                    {272, {16766363, 16766359, 16766327, 16766231}, {126, 127, 125, 124}}};

// A WH row; `published` seeds each component with m - 1, whose next state is
// m - a: the moduli and multipliers published for the sub-generator.
Row wh(const char *name, int id, int sub, Seed seed, bool published = false) {
  const ref::WhRow p = wh_row(sub);
  Words known;
  for (const WhPublished &w : kWhPublished)
    if (published && w.sub == sub) {
      seed.clear();
      for (int k = 0; k < 4; ++k) seed.push_back(w.m[k] - 1);
      known = seed;
      for (int k = 0; k < 4; ++k) known.push_back(w.m[k] - w.a[k]);
    }
  Row r{name, id, seed, 4, gen_rows::kSkip | gen_rows::kLeapfrog, 16,
        gen_rows::from_start([p, seed](size_t n) {
          Words w;
          for (const auto &x : ref::wh(p, seed, n)) w.insert(w.end(), x.begin(), x.end());
          return w;
        }, 4),
        [p](const uint32_t *w, double a, double b) {
          return ref::wh_uniform(p, {w[0], w[1], w[2], w[3]}) * (b - a) + a;
        }};
  r.known = known;
  return r;
}

Seed seq(int n, uint32_t start) {
  Seed v;
  for (int k = 0; k < n; ++k) v.push_back(start + 2654435761u * (uint32_t)k);
  return v;
}

INSTANTIATE_TEST_SUITE_P(
    Congruential, Rows,
    ::testing::Values(mcg31("MCG31M1", GUX_BRNG_MCG31M1, {12345}), mcg31("MCG31M1_old_id", 0, {0x7FFFFFFE}),
                      mcg59("MCG59", GUX_BRNG_MCG59, {0x89ABCDEFu, 0x12345u}), mcg59("MCG59_one_word", 3, {777}),
                      r250("R250", GUX_BRNG_R250, {4242}), r250("R250_full_seed", 1, seq(250, 99)),
                      wh("WH0", GUX_BRNG_WH, 0, {}, true), wh("WH1", GUX_BRNG_WH + 1, 1, {}, true),
                      wh("WH2_small_seed", GUX_BRNG_WH + 2, 2, {1, 2, 3, 4}),
                      wh("WH96_old_id", 100, 96, {0xFFFFFFFFu, 16776000u, 5}),
                      wh("WH271_old_id", 4 + 271, 271, {}, true), wh("WH272", GUX_BRNG_WH + 272, 272, {}, true),
                      wh("WH272_old_id", 276, 272, {9})),
    gen_rows::row_name);

// ---- seeding rules ------------------------------------------------------------
TEST(Seeds, SeedingRules) {
  const uint32_t *m = kWhModuli[0];
  const Seed s249 = seq(249, 4242), s250 = seq(250, 1);
  const Words r250_one = gen_rows::first_words(GUX_BRNG_R250, {1}, 300);
  gen_rows::check_known({
      // MCG31M1: no seed, 0 and the modulus give 1; words past the first are ignored.
      {GUX_BRNG_MCG31M1, {}, {1, 1132489760}},
      {GUX_BRNG_MCG31M1, {0}, {1, 1132489760}},
      {GUX_BRNG_MCG31M1, {0x7FFFFFFF}, {1, 1132489760}},
      {GUX_BRNG_MCG31M1, {5, 1, 2, 3}, gen_rows::first_words(GUX_BRNG_MCG31M1, {5}, 4)},
      // MCG59: two words lose the top five bits; zero gives 1; an even seed stays.
      {GUX_BRNG_MCG59, {0x11111111u, 0xFFFFFFFFu}, {0x11111111u, 0x07FFFFFFu}, 2},
      {GUX_BRNG_MCG59, {0, 0}, {1, 0}, 2},
      {GUX_BRNG_MCG59, {}, {1, 0}, 2},
      {GUX_BRNG_MCG59, {0}, {1, 0}, 2},
      {GUX_BRNG_MCG59, {9}, {1, 0}, 2, -3},
      {GUX_BRNG_MCG59, {6}, {6, 0}, 2},
      // R250: short seeds use only the first word, 0 and none are 1; 250
      // words are taken as they are (the first output is s[0] ^ s[103]).
      {GUX_BRNG_R250, s249, gen_rows::first_words(GUX_BRNG_R250, {4242}, 300)},
      {GUX_BRNG_R250, {0}, r250_one},
      {GUX_BRNG_R250, {}, r250_one},
      {GUX_BRNG_R250, s250, {s250[0] ^ s250[103]}},
      // WH: components without seed are 1, seeds reduce modulo m (0 gives 1);
      // a negative count reads four words, words past the fourth are ignored.
      {GUX_BRNG_WH, {5, 6}, {5, 6, 1, 1}, 4},
      {GUX_BRNG_WH, {m[0], m[1] + 3, 0, 2 * m[3] + 1}, {1, 3, 1, 1}, 4},
      {GUX_BRNG_WH, {}, {1, 1, 1, 1}, 4},
      {GUX_BRNG_WH, {7, 8, 9, 10}, {7, 8, 9, 10}, 4, -1},
      {GUX_BRNG_WH, {7, 8, 9, 10, 11}, {7, 8, 9, 10}, 4},
  });
}

// WH's reduction changes the rounding mode only for its divisions.
TEST(Forms, WhLeavesTheRoundingModeAlone) {
  GuxStream *s;
  uint32_t seed = 3;
  ASSERT_EQ(__guxNewStreamEx(&s, GUX_BRNG_WH, 1, &seed), 0);
  double r[8];
  unsigned before = __builtin_ia32_stmxcsr();
  __guxdBRngWH(s, 8, r, 0, 1);
  EXPECT_EQ(__builtin_ia32_stmxcsr() & 0x6000u, before & 0x6000u);
  __guxDeleteStream(&s);
}

// Skips too large to discard, against the reference powers.
TEST(SkipAhead, LargeCountsFollowThePowers) {
  const uint64_t big = (1ull << 40) + 12345;
  auto skipped = [big](int id, int units) {
    GuxStream *s;
    uint32_t seed = 99;
    EXPECT_EQ(__guxNewStreamEx(&s, id, 1, &seed), 0);
    EXPECT_EQ(__guxSkipAheadStream(s, big), 0);
    Words w(units);
    BrngProperties p;
    __guxGetBrngProperties(id, &p);
    p.iGenerate(s, 1, w.data());
    __guxDeleteStream(&s);
    return w;
  };
  EXPECT_EQ(skipped(GUX_BRNG_MCG31M1, 1)[0], ref::mulmod(99, ref::powmod(ref::kA31, big, ref::kM31), ref::kM31));
  const Words w59 = skipped(GUX_BRNG_MCG59, 2);
  uint64_t a = 1, base = ref::kA59;
  for (uint64_t e = big; e; e >>= 1, base *= base)
    if (e & 1) a *= base;
  EXPECT_EQ(w59[0] | (uint64_t)w59[1] << 32, (99 * a) & ref::kMask59);
  const Words x = skipped(GUX_BRNG_WH + 3, 4);
  for (int k = 0; k < 4; ++k) {
    const uint64_t m = kWhModuli[3][k];
    EXPECT_EQ(x[k], ref::mulmod(k == 0 ? 99 : 1, ref::powmod(kWhMultipliers[3][k], big, m), m)) << k;
  }
}

}  // namespace
