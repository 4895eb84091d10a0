// Every row of generator_rows.h, bit for bit against its reference: known
// answers, every form, splits of a request anywhere (guards before and after
// the output, aligned and not), mixed forms on one stream, skip-ahead and
// skip-ahead ex against the reference at the landing point, leapfrog against
// the stride, copies, and the statuses of unsupported methods.
#include <cpuid.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <set>

#include "random/generator_rows.h"

namespace gen_rows {

std::vector<uint64_t> run(uint64_t from, size_t n, uint64_t stride) {
  std::vector<uint64_t> at(n);
  for (size_t t = 0; t < n; ++t) at[t] = from + stride * t;
  return at;
}

void Rows::SetUp() {
  unsigned a, b, c, d;
  if (GetParam().needs_aes && !(__get_cpuid(1, &a, &b, &c, &d) && (c >> 25 & 1))) GTEST_SKIP() << "no AES";
}

namespace {

struct Expected {
  Words i;
  std::vector<double> d;
  std::vector<float> s;
};

// Elements `at[0..n)` of the reference in each form.
Expected expected(const Row &r, const std::vector<uint64_t> &at) {
  uint64_t lo = at.empty() ? 0 : *std::min_element(at.begin(), at.end());
  uint64_t hi = at.empty() ? 0 : *std::max_element(at.begin(), at.end()) + 1;
  const Words w = r.words(lo, (size_t)(hi - lo));
  Expected e;
  for (uint64_t t : at) {
    const uint32_t *x = &w[(size_t)(t - lo) * r.units];
    e.i.insert(e.i.end(), x, x + r.units);
    e.d.push_back(r.d(x, kDA, kDB));
    e.s.push_back(r.s ? r.s(x, kFA, kFB) : (float)r.d(x, kFA, kFB));
  }
  return e;
}

uint64_t bits(double x) { uint64_t b; memcpy(&b, &x, 8); return b; }
uint32_t bits(float x) { uint32_t b; memcpy(&b, &x, 4); return b; }

struct Stream {
  GuxStream *s = nullptr;
  BrngProperties p{};
  explicit Stream(const Row &r) {
    EXPECT_EQ(__guxNewStreamEx(&s, r.id, (int)r.seed.size(), r.seed.data()), 0);
    EXPECT_EQ(__guxGetBrngProperties(r.id, &p), 0);
  }
  ~Stream() { __guxDeleteStream(&s); }
};

}  // namespace

void check_draws(const Row &r, GuxStream *s, const std::vector<int> &sizes, const std::string &forms,
                 const std::vector<uint64_t> &at) {
  BrngProperties p;
  ASSERT_EQ(__guxGetBrngProperties(r.id, &p), 0);
  const Expected e = expected(r, at);
  size_t pos = 0;
  for (size_t call = 0; call < sizes.size(); ++call) {
    const int n = sizes[call], off = (int)(call & 1 ? (call & 2) + 1 : 0), u = r.units;  // 0, 1, 0, 3, ...
    const char form = forms[call % forms.size()];
    SCOPED_TRACE(::testing::Message() << "call " << call << " form " << form << " n " << n << " at " << pos);
    if (form == 'i') {
      Words b((size_t)(n + 4) * u, 0xDEADBEEF);
      ASSERT_EQ(p.iGenerate(s, n, b.data() + off * u), 0);
      if (n > 0)  // an empty expectation may have no storage at all
        ASSERT_EQ(0, memcmp(b.data() + off * u, e.i.data() + pos * u, (size_t)n * u * 4));
      for (int k = 0; k < 4 * u; ++k) ASSERT_EQ(b[k < off * u ? k : n * u + k], 0xDEADBEEFu) << "wrote outside";
    } else if (form == 'd') {
      std::vector<double> b((size_t)n + 4, 7.0);
      ASSERT_EQ(p.dGenerate(s, n, b.data() + off, kDA, kDB), 0);
      for (int t = 0; t < n; ++t) ASSERT_EQ(bits(b[off + t]), bits(e.d[pos + t])) << "element " << pos + t;
      for (int k = 0; k < 4; ++k) ASSERT_EQ(b[k < off ? k : n + k], 7.0) << "wrote outside the request";
    } else {
      std::vector<float> b((size_t)n + 4, 7.0f);
      ASSERT_EQ(p.sGenerate(s, n, b.data() + off, kFA, kFB), 0);
      for (int t = 0; t < n; ++t) ASSERT_EQ(bits(b[off + t]), bits(e.s[pos + t])) << "element " << pos + t;
      for (int k = 0; k < 4; ++k) ASSERT_EQ(b[k < off ? k : n + k], 7.0f) << "wrote outside the request";
    }
    pos += (size_t)n;
  }
}

namespace {

void check_from(const Row &r, Stream &st, const std::vector<int> &sizes, const std::string &forms, uint64_t from) {
  size_t total = 0;
  for (int n : sizes) total += (size_t)n;
  check_draws(r, st.s, sizes, forms, run(from, total));
}

std::vector<int> random_sizes(unsigned seed, int count, int max) {
  std::mt19937 g(seed);
  std::vector<int> s;
  for (int k = 0; k < count; ++k) s.push_back((int)(g() % (unsigned)max));
  return s;
}

}  // namespace

// Sizes that start, end and cross the vector lanes and blocks of every family
// (4, 8, 16 lanes, pairs, 69, 250 and 624 words) at every phase, and the
// row's own block.
TEST_P(Rows, KnownAnswersEveryFormAndSplit) {
  const Row &r = GetParam();
  if (!r.known.empty()) {
    EXPECT_EQ(first_words(r.id, r.seed, (int)(r.known.size() / r.units), r.units), r.known) << "the library";
    EXPECT_EQ(r.words(0, r.known.size() / r.units), r.known) << "the reference";
  }
  const int b = r.block;
  const std::vector<std::vector<int>> splits = {
      {3000},
      {0, 1, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 64, 65, 68, 69, 70, 2, 249, 250, 251, 500, 623, 624, 625, 1,
       1249, 138, 139, 6, 2000, 3, 0, 1003, 13, 1872, 9},
      {b - 1, b, b + 1, 1, 2 * b - 1, b + 3, 4, 3 * b + 5},
      std::vector<int>(40, 1),
      random_sizes(7, 60, 70),
      random_sizes(11, 90, 300)};
  for (const char *forms : {"i", "d", "s", "ids", "sdi"})
    for (const auto &sizes : splits) {
      SCOPED_TRACE(::testing::Message() << "forms " << forms << " split " << &sizes - &splits[0]);
      Stream st(r);
      check_from(r, st, sizes, forms, 0);
      if (HasFatalFailure()) return;
    }
}

// Every cut of a request into two calls near the start and around the
// block, in every pair of forms.
TEST_P(Rows, EveryTwoWaySplit) {
  const Row &r = GetParam();
  const int total = std::max(100, 2 * r.block + 12);
  const char *pairs[] = {"ii", "dd", "ss", "di", "sd", "is", "id", "ds", "si"};
  for (int cut = 0; cut <= total; cut += cut < 80 || std::abs(cut - r.block) <= 30 ? 1 : 37) {
    Stream st(r);
    check_from(r, st, {cut, total - cut}, pairs[cut % 9], 0);
    if (HasFatalFailure()) return;
  }
}

// From several positions inside a block, a skip lands where the reference
// says, and a second skip after it too; the ex form with one and three words
// agrees. Without the method the status says so.
TEST_P(Rows, SkipAhead) {
  const Row &r = GetParam();
  const uint64_t b = (uint64_t)r.block;
  std::vector<std::pair<uint64_t, uint64_t>> cases = r.skips;
  for (uint64_t pre : std::set<uint64_t>{0, 1, 2, 3, 5, b - 1, b, b + 1})
    for (uint64_t c : {0, 1, 2, 3, 4, 5, 7, 9, 12, 16, 17, 61, 64, 1000, 1003, 4099}) cases.push_back({pre, c});
  if (!(r.methods & (kSkip | kSkipEx))) cases.resize(2);
  for (const auto &[pre, c] : cases)
    for (int how = 0; how < 3; ++how) {
      SCOPED_TRACE(::testing::Message() << "after " << pre << " skip " << c << " by " << how);
      Stream st(r);
      check_from(r, st, {(int)pre}, "i", 0);
      const uint64_t three[3] = {c, 0, 0};
      const int status = how == 0 ? __guxSkipAheadStream(st.s, c) : __guxSkipAheadStreamEx(st.s, how == 1 ? 1 : 3, three);
      if (!(r.methods & (how ? kSkipEx : kSkip))) {
        EXPECT_EQ(status, how ? GUX_STATUS_NO_SKIPAHEADEX : GUX_STATUS_NO_SKIPAHEAD);
        check_from(r, st, {3}, "i", pre);  // the stream did not move
        continue;
      }
      ASSERT_EQ(status, 0);
      check_from(r, st, {5, 18}, "di", pre + c);
      ASSERT_EQ(__guxSkipAheadStream(st.s, 1 + c % 64), 0);
      check_from(r, st, {9}, "s", pre + c + 23 + 1 + c % 64);
      if (HasFatalFailure()) return;
    }
}

// Stream k of n takes elements k, k + n, ...; a skip then counts its own
// elements. Without the method the status says so and the stream is as it was.
TEST_P(Rows, Leapfrog) {
  const Row &r = GetParam();
  for (int n : {1, 2, 7})
    for (int k = 0; k < n; ++k) {
      SCOPED_TRACE(::testing::Message() << k << " of " << n);
      Stream st(r);
      const int status = __guxLeapfrogStream(st.s, (uint32_t)k, n);
      if (!(r.methods & kLeapfrog)) {
        if (n == 7) {
          EXPECT_EQ(status, GUX_STATUS_NO_LEAPFROG);
        }
        if (status != 0) check_from(r, st, {5}, "d", 0);
        continue;
      }
      ASSERT_EQ(status, 0);
      check_draws(r, st.s, {5, 295, 37}, "ids", run((uint64_t)k, 337, (uint64_t)n));
      ASSERT_EQ(__guxSkipAheadStream(st.s, 3), 0);
      check_draws(r, st.s, {2}, "i", run((uint64_t)k + (uint64_t)n * 340, 2, (uint64_t)n));
      if (HasFatalFailure()) return;
    }
}

// Empty and negative counts write nothing and leave the stream; an unknown
// init method and a negative stream count are refused; a copy made inside a
// block, and a fresh stream given its state, go on with the source's numbers.
TEST_P(Rows, StatusesAndCopies) {
  const Row &r = GetParam();
  Stream st(r);
  Words guard(64, 0xA5A5A5A5u);
  for (int n : {0, -1, -5, -17, -100}) {
    EXPECT_EQ(st.p.iGenerate(st.s, n, guard.data() + 32), 0);
    EXPECT_EQ(st.p.dGenerate(st.s, n, reinterpret_cast<double *>(guard.data() + 32), 0, 1), 0);
    EXPECT_EQ(st.p.sGenerate(st.s, n, reinterpret_cast<float *>(guard.data() + 32), 0, 1), 0);
  }
  for (uint32_t g : guard) ASSERT_EQ(g, 0xA5A5A5A5u);
  EXPECT_EQ(st.p.initStream(9, st.s, 0, nullptr), GUX_STATUS_BAD_INIT_METHOD);
  EXPECT_EQ(__guxLeapfrogStream(st.s, 0, -1), GUX_STATUS_BAD_STREAM_COUNT);
  check_from(r, st, {r.block + 5}, "i", 0);
  Stream copy(r), fresh(r);
  __guxDeleteStream(&copy.s);
  ASSERT_EQ(__guxCopyStream(&copy.s, st.s), 0);
  EXPECT_EQ((uintptr_t)copy.s % 128, 0u);
  EXPECT_EQ(copy.s->brngId, r.id);
  ASSERT_EQ(__guxCopyStreamState(fresh.s, st.s), 0);  // a stream of the same row takes the state
  check_from(r, copy, {1500}, "d", (uint64_t)r.block + 5);
  if (r.whole_state_copy) check_from(r, fresh, {1500}, "i", (uint64_t)r.block + 5);
  check_from(r, st, {1500}, "s", (uint64_t)r.block + 5);
}

}  // namespace gen_rows
