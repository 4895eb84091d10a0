// MCG31M1, MCG59, R250 and WH against plain scalar recurrences, bit for bit,
// in all three forms, however a request is split and whatever mix of forms
// draws from one stream; skip-ahead, leapfrog, seeding rules and statuses.
#include <gtest/gtest.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "qor/qor_random_brng.h"
#include "random/reference.h"

namespace {
#include "random/generators/wh_parameters.inc"
}

namespace {

enum Kind { MCG31, MCG59, R250, WH };

struct Case {
  const char *name;
  Kind kind;
  int id;
  int sub;  // WH sub-generator
  std::vector<uint32_t> seed;
};

ref::WhRow wh_row(int sub) {
  ref::WhRow r;
  for (int k = 0; k < 4; ++k) {
    r.m[k] = kWhModuli[sub][k];
    r.a[k] = kWhMultipliers[sub][k];
  }
  return r;
}

int units_per_word(Kind k) { return k == MCG59 ? 2 : k == WH ? 4 : 1; }

// The expected outputs of the first n elements in each form.
struct Expected {
  std::vector<uint32_t> i;
  std::vector<double> d;
  std::vector<float> s;
};

constexpr double kDA = -1.5, kDB = 2.25;
constexpr float kFA = -0.75f, kFB = 3.5f;

Expected expected(const Case &c, size_t n) {
  Expected e;
  e.d.resize(n);
  e.s.resize(n);
  auto fill = [&](size_t t, double raw, double scale) {
    e.d[t] = raw * ((kDB - kDA) * scale) + kDA;
    e.s[t] = (float)(raw * (((double)kFB - (double)kFA) * scale) + (double)kFA);
  };
  switch (c.kind) {
    case MCG31: {
      auto x = ref::mcg31(c.seed, n);
      e.i = x;
      for (size_t t = 0; t < n; ++t) fill(t, (double)x[t], ref::kScale31);
      break;
    }
    case MCG59: {
      auto x = ref::mcg59(c.seed, n);
      for (size_t t = 0; t < n; ++t) {
        e.i.push_back((uint32_t)x[t]);
        e.i.push_back((uint32_t)(x[t] >> 32));
        fill(t, (double)x[t], ref::kScale59);
      }
      break;
    }
    case R250: {
      auto x = ref::r250(c.seed, n);
      e.i = x;
      for (size_t t = 0; t < n; ++t) fill(t, (double)x[t], ref::kScale32);
      break;
    }
    case WH: {
      ref::WhRow row = wh_row(c.sub);
      auto x = ref::wh(row, c.seed, n);
      for (size_t t = 0; t < n; ++t) {
        for (int k = 0; k < 4; ++k) e.i.push_back(x[t][k]);
        double u = ref::wh_uniform(row, x[t]);
        e.d[t] = u * (kDB - kDA) + kDA;
        e.s[t] = (float)(u * ((double)kFB - (double)kFA) + (double)kFA);
      }
      break;
    }
  }
  return e;
}

class Generator : public ::testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    const Case &c = GetParam();
    ASSERT_EQ(__guxNewStreamEx(&stream_, c.id, (int)c.seed.size(), c.seed.data()), 0);
  }
  void TearDown() override {
    if (stream_) __guxDeleteStream(&stream_);
  }

  // Draws the sizes in turn, cycling through `forms` ("i", "d", "s" or a mix),
  // and checks every element against the expected sequence.
  void check_splits(const std::vector<int> &sizes, const std::string &forms) {
    const Case &c = GetParam();
    size_t total = 0;
    for (int n : sizes) total += (size_t)n;
    const Expected e = expected(c, total);
    const int units = units_per_word(c.kind);
    size_t pos = 0;
    for (size_t call = 0; call < sizes.size(); ++call) {
      const int n = sizes[call];
      const char form = forms[call % forms.size()];
      SCOPED_TRACE(::testing::Message() << "call " << call << " form " << form << " n " << n
                                        << " at " << pos);
      if (form == 'i') {
        std::vector<uint32_t> r((size_t)n * units + 1, 0xDEADBEEF);
        ASSERT_EQ(__guxGetBrngBaseOffset(c.id, &row_, &sub_)[row_].iGenerate(stream_, n, r.data()), 0);
        ASSERT_EQ(0, memcmp(r.data(), e.i.data() + pos * units, (size_t)n * units * 4));
        ASSERT_EQ(r[(size_t)n * units], 0xDEADBEEFu) << "wrote past the request";
      } else if (form == 'd') {
        std::vector<double> r((size_t)n);
        ASSERT_EQ(__guxGetBrngBaseOffset(c.id, &row_, &sub_)[row_].dGenerate(stream_, n, r.data(), kDA, kDB), 0);
        for (int t = 0; t < n; ++t)
          ASSERT_EQ(bits(r[t]), bits(e.d[pos + t])) << "element " << pos + t << ": " << r[t] << " vs " << e.d[pos + t];
      } else {
        std::vector<float> r((size_t)n);
        ASSERT_EQ(__guxGetBrngBaseOffset(c.id, &row_, &sub_)[row_].sGenerate(stream_, n, r.data(), kFA, kFB), 0);
        for (int t = 0; t < n; ++t)
          ASSERT_EQ(bits(r[t]), bits(e.s[pos + t])) << "element " << pos + t;
      }
      pos += (size_t)n;
    }
  }
  static uint64_t bits(double x) {
    uint64_t b;
    memcpy(&b, &x, 8);
    return b;
  }
  static uint32_t bits(float x) {
    uint32_t b;
    memcpy(&b, &x, 4);
    return b;
  }

  GuxStream *stream_ = nullptr;
  int row_ = 0, sub_ = 0;
};

// Sizes that start, end and cross the vector blocks (8, 16 lanes, pairs, the
// 250-word recurrence array) at every phase.
const std::vector<int> kAwkward = {1, 7, 8, 9, 15, 16, 17, 33, 250, 251, 3, 0, 500, 2, 31, 249, 64, 5, 1000};

std::vector<int> random_sizes(unsigned seed, int count, int max) {
  std::mt19937 g(seed);
  std::vector<int> s;
  for (int k = 0; k < count; ++k) s.push_back((int)(g() % (unsigned)max));
  return s;
}

TEST_P(Generator, EveryFormInOneCallMatchesTheRecurrence) {
  for (const char *form : {"i", "d", "s"}) {
    SCOPED_TRACE(form);
    TearDown();
    SetUp();
    check_splits({3000}, form);
  }
}

TEST_P(Generator, SplitsAnywhereGiveTheSameNumbers) {
  for (const char *form : {"i", "d", "s"}) {
    SCOPED_TRACE(form);
    TearDown();
    SetUp();
    check_splits(kAwkward, form);
    TearDown();
    SetUp();
    check_splits(std::vector<int>(40, 1), form);
    TearDown();
    SetUp();
    check_splits(random_sizes(7, 60, 70), form);
  }
}

// Every cut of 100 numbers into two calls, each form and a change of form at the cut.
TEST_P(Generator, EveryTwoWaySplit) {
  for (const char *forms : {"ii", "dd", "ss", "di", "sd", "is"}) {
    for (int cut = 0; cut <= 100; ++cut) {
      SCOPED_TRACE(::testing::Message() << forms << " cut " << cut);
      TearDown();
      SetUp();
      check_splits({cut, 100 - cut}, forms);
      if (HasFatalFailure()) return;
    }
  }
}

TEST_P(Generator, MixedFormsContinueOneSequence) {
  check_splits(kAwkward, "ids");
  TearDown();
  SetUp();
  check_splits(random_sizes(11, 90, 300), "sdi");
}

TEST_P(Generator, SkipAheadEqualsDiscarding) {
  const Case &c = GetParam();
  BrngProperties p;
  ASSERT_EQ(__guxGetBrngProperties(c.id, &p), 0);
  const int units = units_per_word(c.kind);
  for (uint64_t skip : {0ull, 1ull, 7ull, 16ull, 1000ull, 4099ull}) {
    SCOPED_TRACE(skip);
    GuxStream *a, *b;
    ASSERT_EQ(__guxNewStreamEx(&a, c.id, (int)c.seed.size(), c.seed.data()), 0);
    ASSERT_EQ(__guxNewStreamEx(&b, c.id, (int)c.seed.size(), c.seed.data()), 0);
    int status = __guxSkipAheadStream(a, skip);
    if (c.kind == R250) {
      EXPECT_EQ(status, GUX_STATUS_NO_SKIPAHEAD);
    } else {
      ASSERT_EQ(status, 0);
      std::vector<uint32_t> drop((skip + 1) * units), ra(40 * units), rb(40 * units);
      if (skip) p.iGenerate(b, (int)skip, drop.data());
      p.iGenerate(a, 40, ra.data());
      p.iGenerate(b, 40, rb.data());
      EXPECT_EQ(ra, rb);
    }
    __guxDeleteStream(&a);
    __guxDeleteStream(&b);
  }
}

TEST_P(Generator, LeapfrogTakesEveryNthElementFromK) {
  const Case &c = GetParam();
  BrngProperties p;
  ASSERT_EQ(__guxGetBrngProperties(c.id, &p), 0);
  const int units = units_per_word(c.kind);
  const Expected e = expected(c, 7 * 310);
  for (int nstreams : {1, 2, 7}) {
    for (int k = 0; k < nstreams; ++k) {
      SCOPED_TRACE(::testing::Message() << k << " of " << nstreams);
      GuxStream *s;
      ASSERT_EQ(__guxNewStreamEx(&s, c.id, (int)c.seed.size(), c.seed.data()), 0);
      int status = __guxLeapfrogStream(s, (uint32_t)k, nstreams);
      if (c.kind == R250) {
        EXPECT_EQ(status, GUX_STATUS_NO_LEAPFROG);
        __guxDeleteStream(&s);
        continue;
      }
      ASSERT_EQ(status, 0);
      // Split so that the vector paths run on the leapfrogged multiplier.
      std::vector<uint32_t> r(300 * units);
      p.iGenerate(s, 5, r.data());
      p.iGenerate(s, 295, r.data() + 5 * units);
      for (int t = 0; t < 300; ++t)
        ASSERT_EQ(0, memcmp(&r[t * units], &e.i[(k + (size_t)nstreams * t) * units], units * 4)) << t;
      // A skip on a leapfrogged stream skips its own elements.
      ASSERT_EQ(__guxSkipAheadStream(s, 3), 0);
      p.iGenerate(s, 1, r.data());
      EXPECT_EQ(0, memcmp(&r[0], &e.i[(k + (size_t)nstreams * 303) * units], units * 4));
      __guxDeleteStream(&s);
    }
  }
}

TEST_P(Generator, EmptyAndNegativeCountsWriteNothing) {
  const Case &c = GetParam();
  const BrngProperties &p = __guxGetBrngBaseOffset(c.id, &row_, &sub_)[row_];
  std::vector<uint32_t> guard(64, 0xA5A5A5A5u);
  for (int n : {0, -1, -5, -17, -100}) {
    EXPECT_EQ(p.iGenerate(stream_, n, guard.data() + 32), 0);
    EXPECT_EQ(p.dGenerate(stream_, n, reinterpret_cast<double *>(guard.data() + 32), 0, 1), 0);
    EXPECT_EQ(p.sGenerate(stream_, n, reinterpret_cast<float *>(guard.data() + 32), 0, 1), 0);
  }
  for (uint32_t g : guard) ASSERT_EQ(g, 0xA5A5A5A5u);
  check_splits({40}, "i");  // the stream did not move
}

TEST_P(Generator, UnsupportedMethodsAndStreamCount) {
  const Case &c = GetParam();
  const int init = __guxGetBrngBaseOffset(c.id, &row_, &sub_)[row_].initStream(7, stream_, 0, nullptr);
  EXPECT_EQ(init, GUX_STATUS_BAD_INIT_METHOD);
  uint64_t words[2] = {5, 0};
  EXPECT_EQ(__guxSkipAheadStreamEx(stream_, 2, words), GUX_STATUS_NO_SKIPAHEADEX);
  EXPECT_EQ(__guxLeapfrogStream(stream_, 0, -1), GUX_STATUS_BAD_STREAM_COUNT);
}

std::vector<uint32_t> seq(int n, uint32_t start) {
  std::vector<uint32_t> v;
  for (int k = 0; k < n; ++k) v.push_back(start + 2654435761u * (uint32_t)k);
  return v;
}

INSTANTIATE_TEST_SUITE_P(
    Congruential, Generator,
    ::testing::Values(Case{"MCG31M1", MCG31, GUX_BRNG_MCG31M1, 0, {12345}},
                      Case{"MCG31M1_old_id", MCG31, 0, 0, {0x7FFFFFFE}},
                      Case{"MCG59", MCG59, GUX_BRNG_MCG59, 0, {0x89ABCDEFu, 0x12345u}},
                      Case{"MCG59_one_word", MCG59, 3, 0, {777}},
                      Case{"R250", R250, GUX_BRNG_R250, 0, {4242}},
                      Case{"R250_full_seed", R250, 1, 0, seq(250, 99)},
                      Case{"WH0", WH, GUX_BRNG_WH, 0, {1, 2, 3, 4}},
                      Case{"WH96_old_id", WH, 100, 96, {0xFFFFFFFFu, 16776000u, 5}},
                      Case{"WH272", WH, GUX_BRNG_WH + 272, 272, {99, 98, 97, 96}}),
    [](const ::testing::TestParamInfo<Case> &i) { return std::string(i.param.name); });

// ---- seeding rules ------------------------------------------------------------

std::vector<uint32_t> first_words(int id, std::vector<uint32_t> seed, int n, int units = 1,
                                  int count = -100) {
  GuxStream *s;
  EXPECT_EQ(__guxNewStreamEx(&s, id, count == -100 ? (int)seed.size() : count, seed.data()), 0);
  BrngProperties p;
  EXPECT_EQ(__guxGetBrngProperties(id, &p), 0);
  std::vector<uint32_t> r((size_t)n * units);
  p.iGenerate(s, n, r.data());
  __guxDeleteStream(&s);
  return r;
}

TEST(Seeds, Mcg31M1ZeroAndModulusGiveOne) {
  auto one = first_words(GUX_BRNG_MCG31M1, {1}, 4);
  EXPECT_EQ(first_words(GUX_BRNG_MCG31M1, {0}, 4), one);
  EXPECT_EQ(first_words(GUX_BRNG_MCG31M1, {0x7FFFFFFF}, 4), one);
  EXPECT_EQ(first_words(GUX_BRNG_MCG31M1, {}, 4), one);
  EXPECT_EQ(first_words(GUX_BRNG_MCG31M1, {5, 1, 2, 3}, 4), first_words(GUX_BRNG_MCG31M1, {5}, 4));
  EXPECT_EQ(one[0], 1u);
  EXPECT_EQ(one[1], 1132489760u);
}

TEST(Seeds, Mcg59TwoWordsLoseTheTopFiveBits) {
  auto w = first_words(GUX_BRNG_MCG59, {0x11111111u, 0xFFFFFFFFu}, 1, 2);
  EXPECT_EQ(w[0], 0x11111111u);
  EXPECT_EQ(w[1], 0x07FFFFFFu);
  auto one = first_words(GUX_BRNG_MCG59, {0, 0}, 2, 2);
  EXPECT_EQ(one[0], 1u);
  EXPECT_EQ(one[1], 0u);
  EXPECT_EQ(one, first_words(GUX_BRNG_MCG59, {}, 2, 2));
  EXPECT_EQ(one, first_words(GUX_BRNG_MCG59, {0}, 2, 2));
  EXPECT_EQ(one, first_words(GUX_BRNG_MCG59, {9}, 2, 2, -3));
  // An even seed is kept as it is.
  EXPECT_EQ(first_words(GUX_BRNG_MCG59, {6}, 1, 2)[0], 6u);
}

TEST(Seeds, R250ShortSeedsUseOnlyTheFirstWord) {
  std::vector<uint32_t> s249 = seq(249, 4242);
  EXPECT_EQ(first_words(GUX_BRNG_R250, s249, 300), first_words(GUX_BRNG_R250, {4242}, 300));
  EXPECT_EQ(first_words(GUX_BRNG_R250, {0}, 300), first_words(GUX_BRNG_R250, {1}, 300));
  EXPECT_EQ(first_words(GUX_BRNG_R250, {}, 300), first_words(GUX_BRNG_R250, {1}, 300));
  // 250 words are taken as they are: the first output is s[0] ^ s[103].
  std::vector<uint32_t> s250 = seq(250, 1);
  EXPECT_EQ(first_words(GUX_BRNG_R250, s250, 1)[0], s250[0] ^ s250[103]);
}

TEST(Seeds, WhComponentsWithoutSeedAreOne) {
  const uint32_t *m = kWhModuli[0];
  auto w = first_words(GUX_BRNG_WH, {5, 6}, 1, 4);
  EXPECT_EQ(w, (std::vector<uint32_t>{5, 6, 1, 1}));
  w = first_words(GUX_BRNG_WH, {m[0], m[1] + 3, 0, 2 * m[3] + 1}, 1, 4);
  EXPECT_EQ(w, (std::vector<uint32_t>{1, 3, 1, 1}));
  EXPECT_EQ(first_words(GUX_BRNG_WH, {}, 1, 4), (std::vector<uint32_t>{1, 1, 1, 1}));
  // A negative count reads four words; words past the fourth are ignored.
  EXPECT_EQ(first_words(GUX_BRNG_WH, {7, 8, 9, 10}, 1, 4, -1), (std::vector<uint32_t>{7, 8, 9, 10}));
  EXPECT_EQ(first_words(GUX_BRNG_WH, {7, 8, 9, 10, 11}, 1, 4), (std::vector<uint32_t>{7, 8, 9, 10}));
}

// The rows published for the family: moduli and multipliers, checked through
// the recurrence (seed m-1 gives m - a next; seed 1 gives a).
TEST(Seeds, WhKnownRows) {
  struct Row {
    int sub;
    uint32_t m[4], a[4];
  } rows[] = {{0, {16770647, 16770643, 16770623, 16770617}, {125, 117, 127, 126}},
              {1, {16770311, 16770283, 16770263, 16770209}, {127, 126, 125, 123}},
              {2, {16769807, 16769771, 16769749, 16769663}, {125, 119, 123, 126}},
              {271, {16766831, 16766803, 16766459, 16766429}, {127, 124, 126, 118}},
              {272, {16766363, 16766359, 16766327, 16766231}, {126, 127, 125, 124}}};
  for (const Row &r : rows) {
    SCOPED_TRACE(r.sub);
    auto w = first_words(GUX_BRNG_WH + r.sub, {r.m[0] - 1, r.m[1] - 1, r.m[2] - 1, r.m[3] - 1}, 2, 4);
    auto v = first_words(GUX_BRNG_WH + r.sub, {1, 1, 1, 1}, 2, 4);
    for (int k = 0; k < 4; ++k) {
      EXPECT_EQ(w[4 + k], r.m[k] - r.a[k]);
      EXPECT_EQ(v[4 + k], r.a[k]);
    }
    // Old ids 4..276 name the same sub-generators.
    EXPECT_EQ(first_words(4 + r.sub, {11, 12, 13, 14}, 3, 4),
              first_words(GUX_BRNG_WH + r.sub, {11, 12, 13, 14}, 3, 4));
  }
}

// ---- forms --------------------------------------------------------------------

TEST(Forms, ScaleConstants) {
  uint64_t b;
  double s = ref::kScale31;
  memcpy(&b, &s, 8);
  EXPECT_EQ(b, 0x3E00000000200000ull);
  GuxStream *st;
  uint32_t seed = 0x40000000u;
  ASSERT_EQ(__guxNewStreamEx(&st, GUX_BRNG_MCG31M1, 1, &seed), 0);
  double r;
  __guxdBRngMCG31M1(st, 1, &r, 0.0, 1.0);
  EXPECT_EQ(r, 0x40000000u * ref::kScale31);
  __guxDeleteStream(&st);
  ASSERT_EQ(__guxNewStreamEx(&st, GUX_BRNG_MCG59, 1, &seed), 0);
  __guxdBRngMCG59(st, 1, &r, 0.0, 1.0);
  EXPECT_EQ(r, 0x1p-29);
  __guxDeleteStream(&st);
}

// The s form is the d form rounded when the bounds are floats.
TEST(Forms, SingleIsTheRoundedDouble) {
  for (int id : {GUX_BRNG_MCG31M1, GUX_BRNG_MCG59, GUX_BRNG_R250, GUX_BRNG_WH + 5}) {
    SCOPED_TRACE(id);
    GuxStream *a, *b;
    uint32_t seed[4] = {17, 18, 19, 20};
    ASSERT_EQ(__guxNewStreamEx(&a, id, 4, seed), 0);
    ASSERT_EQ(__guxCopyStream(&b, a), 0);
    BrngProperties p;
    __guxGetBrngProperties(id, &p);
    std::vector<double> d(777);
    std::vector<float> s(777);
    p.dGenerate(a, 777, d.data(), -2.0, 0.5);
    p.sGenerate(b, 777, s.data(), -2.0f, 0.5f);
    for (int t = 0; t < 777; ++t) ASSERT_EQ(s[t], (float)d[t]) << t;
    __guxDeleteStream(&a);
    __guxDeleteStream(&b);
  }
}

TEST(Forms, UnitIntervalBounds) {
  for (int id : {GUX_BRNG_MCG31M1, GUX_BRNG_MCG59, GUX_BRNG_R250, GUX_BRNG_WH}) {
    GuxStream *s;
    uint32_t seed = 3;
    ASSERT_EQ(__guxNewStreamEx(&s, id, 1, &seed), 0);
    BrngProperties p;
    __guxGetBrngProperties(id, &p);
    std::vector<double> d(5000);
    p.dGenerate(s, 5000, d.data(), 0.0, 1.0);
    double lo = 1, hi = 0, sum = 0;
    for (double x : d) {
      lo = std::min(lo, x);
      hi = std::max(hi, x);
      sum += x;
    }
    EXPECT_GE(lo, 0.0) << id;
    EXPECT_LT(hi, 1.0) << id;
    EXPECT_NEAR(sum / 5000, 0.5, 0.02) << id;
    __guxDeleteStream(&s);
  }
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
  GuxStream *s;
  uint32_t seed[2] = {99, 0};
  ASSERT_EQ(__guxNewStreamEx(&s, GUX_BRNG_MCG31M1, 1, seed), 0);
  ASSERT_EQ(__guxSkipAheadStream(s, big), 0);
  uint32_t w;
  __guxiBRngMCG31M1(s, 1, &w);
  EXPECT_EQ(w, ref::mulmod(99, ref::powmod(ref::kA31, big, ref::kM31), ref::kM31));
  __guxDeleteStream(&s);

  ASSERT_EQ(__guxNewStreamEx(&s, GUX_BRNG_MCG59, 1, seed), 0);
  ASSERT_EQ(__guxSkipAheadStream(s, big), 0);
  uint64_t w59;
  __guxiBRngMCG59(s, 1, reinterpret_cast<uint32_t *>(&w59));
  uint64_t a = 1, base = ref::kA59;
  for (uint64_t e = big; e; e >>= 1, base *= base)
    if (e & 1) a *= base;
  EXPECT_EQ(w59, (99 * a) & ref::kMask59);
  __guxDeleteStream(&s);

  ASSERT_EQ(__guxNewStreamEx(&s, GUX_BRNG_WH + 3, 1, seed), 0);
  ASSERT_EQ(__guxSkipAheadStream(s, big), 0);
  uint32_t x[4];
  __guxiBRngWH(s, 1, x);
  for (int k = 0; k < 4; ++k) {
    uint64_t m = kWhModuli[3][k];
    uint64_t x0 = k == 0 ? 99 : 1;
    EXPECT_EQ(x[k], ref::mulmod(x0, ref::powmod(kWhMultipliers[3][k], big, m), m)) << k;
  }
  __guxDeleteStream(&s);
}

}  // namespace
