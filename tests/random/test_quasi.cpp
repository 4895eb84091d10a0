// Sobol and Niederr against GSL's gsl_qrng_sobol and gsl_qrng_niederreiter_2
// and against plain references written here: direction numbers from the
// polynomial recurrence (Sobol) or the Laurent-series rule (Niederreiter), and
// point k = XOR of v_b over the set bits b of gray(k). One table of streams
// (built-in and every user class) runs through forms, splits, skips, leapfrog
// and the period limit.
#include <gsl/gsl_qrng.h>
#include <gtest/gtest.h>
#include <string.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "qor/qor_random_brng.h"

namespace {
#include "random/generators/sobol_initial.inc"

using Table = std::vector<std::array<uint32_t, 32>>;  // direction numbers per coordinate

int degree(uint32_t p) { return p ? 31 - __builtin_clz(p) : 0; }

// Sobol, left-aligned: v_k = v_{k-d} ^ (v_{k-d} >> d) ^ XOR a_i v_{k-i}.
std::array<uint32_t, 32> sobol_numbers(uint32_t poly, std::vector<uint32_t> m) {
  std::array<uint32_t, 32> v{};
  const int d = degree(poly);
  for (int k = 0; k < 32; ++k) {
    if (d == 0 || k < d) {
      v[k] = (d == 0 ? 1u : m[k]) << (31 - k);
      continue;
    }
    v[k] = v[k - d] ^ (v[k - d] >> d);
    for (int i = 1; i < d; ++i)
      if (poly >> (d - i) & 1) v[k] ^= v[k - i];
  }
  return v;
}

// Niederreiter base 2: row i = Q e + u of the matrix of p reads the sequence of
// B = p^(Q+1) from u on; the sequence starts with zeros to the degree of p^Q,
// then ones to the degree of B, and follows B's recurrence after that.
std::array<uint32_t, 32> niederreiter_numbers(uint32_t p) {
  std::array<uint32_t, 32> col{};
  const int e = degree(p);
  std::vector<int> b{1}, s;
  for (int i = 0; i < 32; ++i) {
    if (i % e == 0) {
      std::vector<int> next(b.size() + e, 0);
      for (size_t x = 0; x < b.size(); ++x)
        for (int y = 0; y <= e; ++y) next[x + y] ^= b[x] & (int)(p >> y & 1);
      const int old = (int)b.size() - 1, m = (int)next.size() - 1;
      b = next;
      s.assign(100, 0);
      for (int r = old; r < m; ++r) s[r] = 1;
      for (int r = m; r < 100; ++r)
        for (int k = 0; k < m; ++k) s[r] ^= b[k] & s[r - m + k];
    }
    for (int r = 0; r < 32; ++r) col[r] |= (uint32_t)s[r + i % e] << (31 - i);
  }
  return col;
}

std::vector<uint32_t> irreducibles(int count) {
  std::vector<uint32_t> out;
  for (uint32_t p = 2; (int)out.size() < count; ++p) {
    bool ok = true;
    for (uint32_t q = 2; ok && degree(q) < degree(p); ++q) {
      uint32_t r = p;
      while (r && degree(r) >= degree(q)) r ^= q << (degree(r) - degree(q));
      ok = r != 0;
    }
    if (ok) out.push_back(p);
  }
  return out;
}

uint32_t point(const Table &v, int j, uint64_t k) {
  uint32_t x = 0;
  for (uint32_t g = (uint32_t)(k ^ (k >> 1)); g; g &= g - 1) x ^= v[j][__builtin_ctz(g)];
  return x;
}

// A stream to make: its id, seed block and the numbers it must use.
struct Case {
  std::string name;
  int id;
  std::vector<uint32_t> seed;
  Table v;
};

std::vector<uint32_t> builtin_m(int j, int d) {  // j 0-based coordinate, missing values 1
  std::vector<uint32_t> m(32, 1);
  for (int k = 0; k < d && k < 8 && j >= 1 && j < 40; ++k)
    if (kSobolInitial[j - 1][k]) m[k] = kSobolInitial[j - 1][k];
  return m;
}

uint32_t builtin_poly(int j) { return j == 0 ? 1 : kSobolPolynomial[j - 1]; }

Case sobol(int dim) {
  Case c{"Sobol" + std::to_string(dim), GUX_BRNG_SOBOL, {(uint32_t)dim}, {}};
  for (int j = 0; j < dim; ++j) c.v.push_back(sobol_numbers(builtin_poly(j), builtin_m(j, 8)));
  return c;
}

Case niederr(int dim) {
  Case c{"Niederr" + std::to_string(dim), GUX_BRNG_NIEDERR, {(uint32_t)dim}, {}};
  for (uint32_t p : irreducibles(dim)) c.v.push_back(niederreiter_numbers(p));
  return c;
}

// Sobol user blocks of classes 1, 2, 3, 11 from random polynomials of degree
// up to 9 and random valid initial numbers.
Case sobol_user(int cls, int dim, unsigned seed) {
  std::mt19937 g(seed);
  const int maxdeg = 9;
  std::vector<uint32_t> polys(dim), ms((size_t)dim * maxdeg);
  for (int j = 0; j < dim; ++j) {
    polys[j] = (1u << (2 + g() % (maxdeg - 1))) | (g() & 0xFF) | 1;
    for (int k = 0; k < maxdeg; ++k) ms[(size_t)j * maxdeg + k] = (g() & ((1u << (k + 1)) - 1)) | 1;
  }
  Case c{"SobolClass" + std::to_string(cls) + "_" + std::to_string(dim), GUX_BRNG_SOBOL,
         {(uint32_t)dim, 1, (uint32_t)cls}, {}};
  auto &s = c.seed;
  const int first = cls == 11 ? 0 : 1;
  if (cls != 2) s.insert(s.end(), polys.begin() + first, polys.end());
  if (cls != 1) {
    s.push_back(maxdeg);
    s.insert(s.end(), ms.begin() + (size_t)first * maxdeg, ms.end());
  }
  for (int j = 0; j < dim; ++j) {
    const uint32_t p = cls == 2 || j < first ? builtin_poly(j) : polys[j];
    std::vector<uint32_t> m = builtin_m(j, degree(p));
    if (cls != 1 && j >= first) m.assign(ms.begin() + (size_t)j * maxdeg, ms.begin() + (size_t)(j + 1) * maxdeg);
    m.resize(32, 1);
    c.v.push_back(sobol_numbers(p, m));
  }
  return c;
}

Case table_user(int id, int dim, unsigned seed) {
  std::mt19937 g(seed);
  Case c{std::string(id == GUX_BRNG_SOBOL ? "Sobol" : "Niederr") + "Class4_" + std::to_string(dim), id,
         {(uint32_t)dim, 1, 4}, Table(dim)};
  for (auto &row : c.v)
    for (uint32_t &w : row) c.seed.push_back(w = g());
  return c;
}

Case niederr_polys(int dim, unsigned seed) {
  std::mt19937 g(seed);
  Case c{"NiederrClass1_" + std::to_string(dim), GUX_BRNG_NIEDERR, {(uint32_t)dim, 1, 1}, {}};
  std::vector<uint32_t> irr = irreducibles(400);
  for (int j = 0; j < dim; ++j) {
    c.seed.push_back(irr[g() % irr.size()]);
    c.v.push_back(niederreiter_numbers(c.seed.back()));
  }
  return c;
}

void PrintTo(const Case &c, std::ostream *os) { *os << c.name; }

// Word t of a stream: coordinate t mod dim of point 1 + t / dim.
uint32_t word(const Case &c, uint64_t t) { return point(c.v, (int)(t % c.v.size()), 1 + t / c.v.size()); }

struct Stream {
  GuxStream *s = nullptr;
  BrngProperties p{};
  explicit Stream(const Case &c) {
    EXPECT_EQ(__guxNewStreamEx(&s, c.id, (int)c.seed.size(), c.seed.data()), 0);
    __guxGetBrngProperties(c.id, &p);
  }
  ~Stream() { __guxDeleteStream(&s); }
  const uint32_t *head() const { return reinterpret_cast<const uint32_t *>(s + 1); }
};

constexpr double kDA = -1.5, kDB = 2.25;
constexpr float kFA = -0.75f, kFB = 3.5f;

// Draws n words in the form, at an unaligned place when `odd`, and checks them
// against words from..from+n-1 of the reference sequence `at`.
template <class At>
void draw_and_check(Stream &st, char form, int n, bool odd, uint64_t from, const At &at) {
  SCOPED_TRACE(::testing::Message() << "form " << form << " n " << n << " from " << from);
  if (form == 'i') {
    std::vector<uint32_t> r(n + 2, 0xDEADBEEF);
    ASSERT_EQ(st.p.iGenerate(st.s, n, r.data() + odd), 0);
    for (int t = 0; t < n; ++t) ASSERT_EQ(r[t + odd], at(from + t)) << t;
    ASSERT_EQ(r[n + odd], 0xDEADBEEFu);
  } else if (form == 'd') {
    std::vector<double> r(n + 2, 7.0);
    ASSERT_EQ(st.p.dGenerate(st.s, n, r.data() + odd, kDA, kDB), 0);
    for (int t = 0; t < n; ++t) ASSERT_EQ(r[t + odd], (double)at(from + t) * ((kDB - kDA) * 0x1p-32) + kDA) << t;
    ASSERT_EQ(r[n + odd], 7.0);
  } else {
    std::vector<float> r(n + 2, 7.0f);
    ASSERT_EQ(st.p.sGenerate(st.s, n, r.data() + odd, kFA, kFB), 0);
    const float scale = (kFB - kFA) * 0x1p-32f;
    for (int t = 0; t < n; ++t) {
      const uint32_t w = at(from + t);
      ASSERT_EQ(r[t + odd], ((float)(w >> 8) * 256.0f + (float)(w & 255)) * scale + kFA) << t;
    }
    ASSERT_EQ(r[n + odd], 7.0f);
  }
}

class Quasi : public ::testing::TestWithParam<Case> {};

TEST_P(Quasi, FormsAndSplitsFollowTheReference) {
  const Case &c = GetParam();
  const int dim = (int)c.v.size();
  auto at = [&](uint64_t t) { return word(c, t); };
  const std::vector<std::vector<int>> splits = {
      {0, 3 * dim + 5, 0},
      {1, 3, 4, 5, 1, 7, 8, 9, 2},
      {dim - 1, dim, dim + 1, 1, 2 * dim - 1, dim + 3, 4},
      {2 * dim + 3, dim - 2 > 0 ? dim - 2 : 1, 64, 1, 3}};
  for (const char *forms : {"i", "d", "s", "ids", "sdi"})
    for (const auto &sizes : splits) {
      Stream st(c);
      uint64_t from = 0;
      for (size_t k = 0; k < sizes.size(); ++k) {
        draw_and_check(st, forms[k % strlen(forms)], sizes[k], k % 2, from, at);
        if (::testing::Test::HasFatalFailure()) return;
        from += (uint64_t)sizes[k];
        EXPECT_EQ(st.head()[0], 1 + from / dim);             // index
        EXPECT_EQ(st.head()[3], (dim - from % dim) % dim);   // position
      }
    }
}

TEST_P(Quasi, SkipAheadEqualsDiscarding) {
  const Case &c = GetParam();
  const uint64_t dim = (uint64_t)c.v.size();
  auto at = [&](uint64_t t) { return word(c, t); };
  for (uint64_t pre : std::vector<uint64_t>{0, 1, dim - 1, dim + 2})
    for (uint64_t skip : std::vector<uint64_t>{0, 1, dim - 1, dim, dim + 1, 5 * dim + 3, 1000, (1ull << 31) * dim + 7}) {
      Stream st(c);
      draw_and_check(st, 'i', (int)pre, false, 0, at);
      ASSERT_EQ(__guxSkipAheadStream(st.s, skip), 0);
      draw_and_check(st, "ids"[skip % 3], (int)(2 * dim + 1), true, pre + skip, at);
    }
}

// Far points keep the low bits GSL drops: reached by a skip, checked against the reference.
TEST_P(Quasi, FarPointsAndThePeriodLimit) {
  const Case &c = GetParam();
  const uint64_t dim = c.v.size();
  auto at = [&](uint64_t t) { return word(c, t); };
  for (uint64_t index : {0x40000000ull, 0x80000001ull, 0xFFFFFFF0ull}) {
    Stream st(c);
    ASSERT_EQ(__guxSkipAheadStream(st.s, (index - 1) * dim), 0);
    EXPECT_EQ(st.head()[0], index);
    const uint64_t left = 0xFFFFFFFFull - index;
    draw_and_check(st, 'i', (int)(left < 40 ? left : 40), false, (index - 1) * dim, at);
  }
  // index + n may reach 2^32 - 1 and not pass it; a refusal writes nothing.
  Stream st(c);
  ASSERT_EQ(__guxSkipAheadStream(st.s, (0xFFFFFFF0ull - 1) * dim), 0);
  std::vector<uint32_t> r(20, 5);
  EXPECT_EQ(st.p.iGenerate(st.s, 16, r.data()), GUX_STATUS_QRNG_PERIOD_EXCEEDED);
  std::vector<double> d(20, 5);
  EXPECT_EQ(st.p.dGenerate(st.s, 16, d.data(), 0, 1), GUX_STATUS_QRNG_PERIOD_EXCEEDED);
  EXPECT_EQ(r, std::vector<uint32_t>(20, 5));
  EXPECT_EQ(d, std::vector<double>(20, 5));
  draw_and_check(st, 'i', 15, false, (0xFFFFFFF0ull - 1) * dim, at);
  EXPECT_EQ(__guxSkipAheadStream(st.s, 0xFFFFFFFFull * dim), GUX_STATUS_NO_SKIPAHEAD);
}

TEST_P(Quasi, LeapfrogSelectsOneCoordinateFromTheNextPoint) {
  const Case &c = GetParam();
  const uint32_t dim = (uint32_t)c.v.size();
  for (uint32_t k : {0u, dim / 2, dim - 1})
    for (uint32_t pre : {0u, 1u, dim + 1}) {
      SCOPED_TRACE(::testing::Message() << "k " << k << " after " << pre);
      Stream st(c);
      draw_and_check(st, 'i', (int)pre, false, 0, [&](uint64_t t) { return word(c, t); });
      const uint64_t next = 1 + (pre + dim - 1) / dim;  // first point not begun
      ASSERT_EQ(__guxLeapfrogStream(st.s, k, 0x7FFFFFFF), 0);
      ASSERT_EQ(__guxLeapfrogStream(st.s, k, 0x7FFFFFFF), 0);
      auto at = [&](uint64_t t) { return point(c.v, (int)k, next + t); };
      draw_and_check(st, 'd', 5, true, 0, at);
      ASSERT_EQ(__guxSkipAheadStream(st.s, 1000), 0);
      draw_and_check(st, 's', 7, false, 1005, at);
      EXPECT_EQ(__guxLeapfrogStream(st.s, dim, 0x7FFFFFFF), GUX_STATUS_NO_LEAPFROG);
      EXPECT_EQ(__guxLeapfrogStream(st.s, k, 2), GUX_STATUS_NO_LEAPFROG);
    }
}

TEST_P(Quasi, CopiesContinueAndShareUserTables) {
  const Case &c = GetParam();
  auto at = [&](uint64_t t) { return word(c, t); };
  Stream a(c);
  draw_and_check(a, 'i', 13, false, 0, at);
  Stream b(c);
  __guxDeleteStream(&b.s);
  ASSERT_EQ(__guxCopyStream(&b.s, a.s), 0);
  draw_and_check(a, 'd', 9, false, 13, at);
  draw_and_check(b, 's', 9, false, 13, at);
  // Shared direction numbers, own running point (Sobol); a private table (Niederr).
  for (int id : {9, 10, 13}) EXPECT_EQ(__guxSearchChunk(a.s, id) != nullptr, __guxSearchChunk(b.s, id) != nullptr);
  if (__guxSearchChunk(a.s, 9)) {
    EXPECT_EQ(__guxSearchChunk(a.s, 9), __guxSearchChunk(b.s, 9));
  }
  for (int id : {10, 13})
    if (__guxSearchChunk(a.s, id)) {
      EXPECT_NE(__guxSearchChunk(a.s, id), __guxSearchChunk(b.s, id));
    }
  // The copy's table outlives the source.
  __guxDeleteStream(&a.s);
  draw_and_check(b, 'i', 30, true, 22, at);
  ASSERT_EQ(__guxCopyStream(&a.s, b.s), 0);
}

std::vector<Case> cases() {
  return {sobol(1), sobol(2), sobol(5), sobol(40), sobol_user(1, 7, 1), sobol_user(2, 9, 2),
          sobol_user(3, 50, 3), sobol_user(3, 6, 4), sobol_user(11, 45, 5), table_user(GUX_BRNG_SOBOL, 3, 6),
          niederr(1), niederr(3), niederr(12), niederr(318), niederr_polys(20, 7), niederr_polys(330, 8),
          table_user(GUX_BRNG_NIEDERR, 5, 9), table_user(GUX_BRNG_NIEDERR, 321, 10)};
}
INSTANTIATE_TEST_SUITE_P(Streams, Quasi, ::testing::ValuesIn(cases()),
                         [](const auto &info) { return info.param.name; });

// GSL keeps 30 bits of Sobol and starts at point 1, as we do; it keeps 31 bits
// of Niederreiter and starts at point 0, which we skip.
TEST(Quasi, AgreesWithGsl) {
  struct Peer {
    const gsl_qrng_type *type;
    int id, max_dim, dropped_bits, first;
  } peers[] = {{gsl_qrng_sobol, GUX_BRNG_SOBOL, 40, 2, 0}, {gsl_qrng_niederreiter_2, GUX_BRNG_NIEDERR, 12, 1, 1}};
  for (const Peer &pe : peers)
    for (int dim = 1; dim <= pe.max_dim; ++dim) {
      SCOPED_TRACE(::testing::Message() << pe.type->name << " dimension " << dim);
      gsl_qrng *g = gsl_qrng_alloc(pe.type, dim);
      std::vector<double> x(dim);
      for (int k = 0; k < pe.first; ++k) gsl_qrng_get(g, x.data());
      Case c{"", pe.id, {(uint32_t)dim}, {}};
      Stream st(c);
      std::vector<uint32_t> w(dim);
      for (int k = 0; k < 4100; ++k) {
        gsl_qrng_get(g, x.data());
        ASSERT_EQ(st.p.iGenerate(st.s, dim, w.data()), 0);
        for (int j = 0; j < dim; ++j)
          ASSERT_EQ((double)(w[j] >> pe.dropped_bits), std::ldexp(x[j], 32 - pe.dropped_bits)) << k << " " << j;
      }
      gsl_qrng_free(g);
    }
}

// The parameter block: dimension rules, user classes and their fallbacks.
TEST(Quasi, SeedBlockRules) {
  struct Row {
    int id;
    std::vector<uint32_t> seed;
    uint32_t dimension;
    bool chunks;
  } rows[] = {
      {GUX_BRNG_SOBOL, {}, 1, false}, {GUX_BRNG_SOBOL, {40}, 40, false}, {GUX_BRNG_SOBOL, {41}, 1, false},
      {GUX_BRNG_SOBOL, {0}, 1, false}, {GUX_BRNG_SOBOL, {500, 0}, 1, false}, {GUX_BRNG_SOBOL, {(uint32_t)-3, 1}, 1, false},
      {GUX_BRNG_SOBOL, {7, 1, 1}, 7, false},              // too short for any user block
      {GUX_BRNG_SOBOL, {7, 1, 5, 0, 0, 0, 0, 0, 0}, 7, false},  // unknown class
      {GUX_BRNG_SOBOL, {3, 1, 1, 7, 11}, 3, false},       // class 1, dimension + 2 words
      {GUX_BRNG_SOBOL, {3, 1, 1, 7}, 3, false},           // class 1 short: built-in
      {GUX_BRNG_SOBOL, {41, 1, 2, 0}, 1, false},          // class 2 past 40: built-in, dimension 1
      {GUX_BRNG_SOBOL, {3, 1, 2, 2, 1, 1, 1, 3}, 3, false},
      {GUX_BRNG_SOBOL, {41, 1, 3, 0}, 1, false},          // class 3 short
      {GUX_BRNG_SOBOL, {2, 1, 3, 7, 2, 1, 3}, 2, true},
      {GUX_BRNG_SOBOL, {1, 1, 11, 3, 1, 1}, 1, true},
      {GUX_BRNG_NIEDERR, {318}, 318, false}, {GUX_BRNG_NIEDERR, {319}, 1, false},
      {GUX_BRNG_NIEDERR, {319, 0}, 1, false}, {GUX_BRNG_NIEDERR, {5, 1, 1}, 5, false},
      {GUX_BRNG_NIEDERR, {2, 1, 1, 2, 3}, 2, false}, {GUX_BRNG_NIEDERR, {2, 1, 7, 2, 3}, 2, false},
  };
  for (const Row &r : rows) {
    SCOPED_TRACE(::testing::Message() << std::hex << r.id << " with " << r.seed.size() << " words");
    Stream st(Case{"", r.id, r.seed, {}});
    EXPECT_EQ(st.head()[0], 1u);
    EXPECT_EQ(st.head()[1], r.dimension);
    EXPECT_EQ(st.head()[2], 0xFFFFFFFFu);
    EXPECT_EQ(__guxGetNumChunks(st.s), r.chunks ? 2 : 0);
  }
  Stream one(sobol(1));
  uint32_t w;
  one.p.iGenerate(one.s, 1, &w);
  EXPECT_EQ(w, 0x80000000u);
}

TEST(Quasi, Statuses) {
  for (int id : {GUX_BRNG_SOBOL, GUX_BRNG_NIEDERR}) {
    Stream st(Case{"", id, {4}, {}});
    const uint64_t c = 5;
    EXPECT_EQ(st.p.initStream(GUX_INIT_SKIPAHEAD, st.s, 0, &c), GUX_STATUS_NO_SKIPAHEAD);
    EXPECT_EQ(__guxSkipAheadStreamEx(st.s, 1, &c), GUX_STATUS_NO_SKIPAHEADEX);
    EXPECT_EQ(st.p.initStream(9, st.s, 1, &c), GUX_STATUS_BAD_INIT_METHOD);
    EXPECT_EQ(__guxLeapfrogStream(st.s, 0, 2), GUX_STATUS_NO_LEAPFROG);
    EXPECT_EQ(__guxLeapfrogStream(st.s, 0, -1), GUX_STATUS_BAD_STREAM_COUNT);
    EXPECT_EQ(__guxLeapfrogStream(st.s, 4, 0x7FFFFFFF), GUX_STATUS_NO_LEAPFROG);
    EXPECT_EQ(st.head()[0], 1u);
  }
}

}  // namespace
