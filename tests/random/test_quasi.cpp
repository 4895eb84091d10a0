// Sobol and Niederr against GSL's gsl_qrng_sobol and gsl_qrng_niederreiter_2
// and against plain references written here: direction numbers from the
// polynomial recurrence (Sobol) or the Laurent-series rule (Niederreiter), and
// point k = XOR of v_b over the set bits b of gray(k). One table of streams
// (built-in and every user class) runs through the generator harness (forms,
// splits, skips), leapfrog, copies and the period limit.
#include <gsl/gsl_qrng.h>
#include <gtest/gtest.h>
#include <string.h>

#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "qor/qor_random_brng.h"
#include "random/generator_rows.h"

namespace {
#include "random/generators/sobol_initial.inc"

using Table = std::vector<std::array<uint32_t, 32>>;  // direction numbers per coordinate

int degree(uint32_t p) { return p ? 31 - __builtin_clz(p) : 0; }

// Sobol, left-aligned: v_k = v_{k-d} ^ (v_{k-d} >> d) ^ XOR a_i v_{k-i}.
std::array<uint32_t, 32> sobol_numbers(uint32_t poly, std::vector<uint32_t> m) {
  std::array<uint32_t, 32> v{};
  const int d = degree(poly);
  for (int k = 0; k < 32; ++k) {
    v[k] = d == 0 ? 1u << (31 - k) : k < d ? m[k] << (31 - k) : v[k - d] ^ (v[k - d] >> d);
    for (int i = 1; k >= d && i < d; ++i) v[k] ^= (poly >> (d - i) & 1) ? v[k - i] : 0;
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

// Sobol streams: cls 0 built-in; 1, 2, 3, 11 user blocks from random
// polynomials of degree 2 to 9 and valid initial numbers; 4 a random table.
// Numbers a block leaves out are the built-in ones where those exist, else 1.
Case sobol(int dim, int cls = 0, unsigned seed = 1) {
  std::mt19937 g(seed);
  const int maxdeg = 9, first = cls == 11 ? 0 : 1;
  Case c{"Sobol" + (cls ? "Class" + std::to_string(cls) + "_" : "") + std::to_string(dim), GUX_BRNG_SOBOL,
         {(uint32_t)dim}, {}};
  if (cls) c.seed.insert(c.seed.end(), {1, (uint32_t)cls});
  std::vector<uint32_t> polys, ms;
  for (int j = 0; j < dim; ++j) {
    polys.push_back(j < first || cls == 0 || cls == 2 ? (j ? kSobolPolynomial[j - 1] : 1)
                                                      : (1u << (2 + g() % 8)) | (g() & 0xFF) | 1);
    for (int k = 0; k < maxdeg; ++k) ms.push_back((g() & ((1u << (k + 1)) - 1)) | 1);
    std::vector<uint32_t> m(32, 1);
    for (int k = 0; k < 32; ++k)
      if (cls >= 2 && j >= first && k < maxdeg) m[k] = ms[(size_t)j * maxdeg + k];
      else if (j >= 1 && j < 40 && k < 8 && kSobolInitial[j - 1][k]) m[k] = kSobolInitial[j - 1][k];
    c.v.push_back(sobol_numbers(polys[j], m));
  }
  if (cls == 1 || cls == 3 || cls == 11) c.seed.insert(c.seed.end(), polys.begin() + first, polys.end());
  if (cls == 2 || cls == 3 || cls == 11) {
    c.seed.push_back(maxdeg);
    c.seed.insert(c.seed.end(), ms.begin() + (size_t)first * maxdeg, ms.end());
  }
  if (cls == 4)
    for (auto &row : c.v)
      for (uint32_t &w : row) c.seed.push_back(w = g());
  return c;
}

// Niederr from the irreducibles in order, or a user block: class 1, a random
// pick of them, or class 4, a random table.
Case niederr(int dim, int cls = 0, unsigned seed = 1) {
  std::mt19937 g(seed);
  Case c{"Niederr" + (cls ? "Class" + std::to_string(cls) + "_" : "") + std::to_string(dim), GUX_BRNG_NIEDERR,
         {(uint32_t)dim}, {}};
  if (cls) c.seed.insert(c.seed.end(), {1, (uint32_t)cls});
  const std::vector<uint32_t> irr = irreducibles(cls ? 400 : dim);
  for (int j = 0; j < dim; ++j) {
    const uint32_t p = cls ? irr[g() % irr.size()] : irr[j];
    if (cls == 1) c.seed.push_back(p);
    c.v.push_back(niederreiter_numbers(p));
    if (cls == 4)
      for (uint32_t &w : c.v.back()) c.seed.push_back(w = g());
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

// The stream of a case as a row of the generator harness: word t is
// coordinate t mod dim of point 1 + t / dim.
gen_rows::Row row_of(const Case &c) {
  gen_rows::Row r{c.name, c.id, c.seed, 1, gen_rows::kSkip, (int)c.v.size(),
                  [c](uint64_t from, size_t n) {
                    gen_rows::Words w(n);
                    for (size_t t = 0; t < n; ++t) w[t] = word(c, from + t);
                    return w;
                  },
                  [](const uint32_t *x, double a, double b) { return (double)*x * ((b - a) * 0x1p-32) + a; }};
  r.s = [](const uint32_t *x, float a, float b) {
    return ((float)(*x >> 8) * 256.0f + (float)(*x & 255)) * ((b - a) * 0x1p-32f) + a;
  };
  r.skips = {{c.v.size() + 2, (1ull << 31) * c.v.size() + 7}};
  return r;
}
using gen_rows::check_draws;
using gen_rows::run;

class Quasi : public ::testing::TestWithParam<Case> {
 protected:
  const Case &c = GetParam();
  const gen_rows::Row r = row_of(c);
  const uint64_t dim = c.v.size();
};

// Far points keep the low bits that GSL drops. At the end, index + n may reach
// 2^32 - 1 and not pass it; a refusal writes nothing and changes nothing.
TEST_P(Quasi, FarPointsAndThePeriodLimit) {
  for (uint64_t index : {0x40000000ull, 0x80000001ull, 0xFFFFFFF0ull}) {
    Stream st(c);
    ASSERT_EQ(__guxSkipAheadStream(st.s, (index - 1) * dim), 0);
    EXPECT_EQ(st.head()[0], index);
    if (index == 0xFFFFFFF0ull) {
      std::vector<uint32_t> r(20, 5);
      EXPECT_EQ(st.p.iGenerate(st.s, 16, r.data()), GUX_STATUS_QRNG_PERIOD_EXCEEDED);
      EXPECT_EQ(r, std::vector<uint32_t>(20, 5));
      EXPECT_EQ(__guxSkipAheadStream(st.s, 16 * dim), GUX_STATUS_NO_SKIPAHEAD);
    }
    const int n = index == 0xFFFFFFF0ull ? 15 : 40;
    check_draws(r, st.s, {n}, "i", run((index - 1) * dim, n));
  }
}

TEST_P(Quasi, LeapfrogSelectsOneCoordinateFromTheNextPoint) {
  for (uint32_t k : {0u, (uint32_t)dim / 2, (uint32_t)dim - 1})
    for (uint64_t pre : std::vector<uint64_t>{0, 1, dim + 1}) {
      SCOPED_TRACE(::testing::Message() << "k " << k << " after " << pre);
      Stream st(c);
      check_draws(r, st.s, {(int)pre}, "i", run(0, pre));
      const uint64_t next = (pre + dim - 1) / dim;  // first point not begun, from 0
      ASSERT_EQ(__guxLeapfrogStream(st.s, k, 0x7FFFFFFF), 0);
      ASSERT_EQ(__guxLeapfrogStream(st.s, k, 0x7FFFFFFF), 0);
      check_draws(r, st.s, {0, 5}, "id", run(next * dim + k, 5, dim));  // coordinate k of the points
      ASSERT_EQ(__guxSkipAheadStream(st.s, 1000), 0);
      check_draws(r, st.s, {7}, "s", run((next + 1005) * dim + k, 7, dim));
      EXPECT_EQ(__guxLeapfrogStream(st.s, (uint32_t)dim, 0x7FFFFFFF), GUX_STATUS_NO_LEAPFROG);
      EXPECT_EQ(__guxLeapfrogStream(st.s, k, 2), GUX_STATUS_NO_LEAPFROG);
    }
}

// Copies share a Sobol user table (chunk 9) and own their point (chunk 13) or
// Niederr table (chunk 10); the shared table outlives the source.
TEST_P(Quasi, CopiesContinueAndShareUserTables) {
  Stream a(c), b(c);
  check_draws(r, a.s, {13}, "i", run(0, 13));
  EXPECT_EQ(a.head()[0], 1 + 13 / dim);            // index
  EXPECT_EQ(a.head()[3], (dim - 13 % dim) % dim);  // coordinates owed
  __guxDeleteStream(&b.s);
  ASSERT_EQ(__guxCopyStream(&b.s, a.s), 0);
  check_draws(r, a.s, {9}, "d", run(13, 9));
  check_draws(r, b.s, {9}, "s", run(13, 9));
  for (int id : {9, 10, 13}) {
    void *x = __guxSearchChunk(a.s, id), *y = __guxSearchChunk(b.s, id);
    EXPECT_EQ(x != nullptr, y != nullptr);
    EXPECT_TRUE(!x || (x == y) == (id == 9)) << id;
  }
  __guxDeleteStream(&a.s);
  check_draws(r, b.s, {0, 30}, "i", run(22, 30));
  ASSERT_EQ(__guxCopyStream(&a.s, b.s), 0);
}

const std::vector<Case> kCases = {sobol(1), sobol(2), sobol(5), sobol(40), sobol(7, 1), sobol(9, 2), sobol(50, 3),
                                  sobol(6, 3), sobol(45, 11), sobol(3, 4), niederr(1), niederr(3), niederr(12),
                                  niederr(318), niederr(20, 1), niederr(330, 1), niederr(5, 4), niederr(321, 4)};
INSTANTIATE_TEST_SUITE_P(Streams, Quasi, ::testing::ValuesIn(kCases), [](const auto &info) { return info.param.name; });

std::vector<gen_rows::Row> rows() {
  std::vector<gen_rows::Row> v;
  for (const Case &c : kCases) v.push_back(row_of(c));
  return v;
}
using gen_rows::Rows;
INSTANTIATE_TEST_SUITE_P(Quasi, Rows, ::testing::ValuesIn(rows()), gen_rows::row_name);

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
      Stream st(Case{"", pe.id, {(uint32_t)dim}, {}});
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

// The seed block: dimension limits, user classes with their required counts
// and fallbacks (tables in chunks for Sobol classes 3, 4, 11); then statuses.
TEST(Quasi, SeedBlockRulesAndStatuses) {
  const int S = GUX_BRNG_SOBOL, N = GUX_BRNG_NIEDERR;
  struct Row {
    int id;
    std::vector<uint32_t> seed;
    uint32_t dimension;
    int chunks;
  } rows[] = {{S, {}, 1, 0}, {S, {40}, 40, 0}, {S, {41}, 1, 0}, {S, {0}, 1, 0}, {S, {500, 0}, 1, 0},
              {S, {(uint32_t)-3, 1}, 1, 0}, {S, {7, 1, 1}, 7, 0}, {S, {7, 1, 5, 0, 0, 0, 0, 0, 0}, 7, 0},
              {S, {3, 1, 1, 7, 11}, 3, 0}, {S, {3, 1, 1, 7}, 3, 0}, {S, {41, 1, 2, 0}, 1, 0},
              {S, {3, 1, 2, 2, 1, 1, 1, 3}, 3, 0}, {S, {41, 1, 3, 0}, 1, 0}, {S, {2, 1, 3, 7, 2, 1, 3}, 2, 2},
              {S, {1, 1, 11, 3, 1, 1}, 1, 2}, {N, {318}, 318, 0}, {N, {319}, 1, 0}, {N, {319, 0}, 1, 0},
              {N, {5, 1, 1}, 5, 0}, {N, {2, 1, 1, 2, 3}, 2, 0}, {N, {2, 1, 7, 2, 3}, 2, 0}};
  for (const Row &r : rows) {
    SCOPED_TRACE(::testing::Message() << std::hex << r.id << " with " << r.seed.size() << " words");
    Stream st(Case{"", r.id, r.seed, {}});
    EXPECT_EQ(std::vector<uint32_t>(st.head(), st.head() + 4), (std::vector<uint32_t>{1, r.dimension, ~0u, 0}));
    EXPECT_EQ(__guxGetNumChunks(st.s), r.chunks);
  }
  uint32_t w;
  Stream one(sobol(1));
  one.p.iGenerate(one.s, 1, &w);
  EXPECT_EQ(w, 0x80000000u);
  for (int id : {S, N}) {
    Stream st(Case{"", id, {4}, {}});
    const uint64_t c = 5;
    EXPECT_EQ(st.p.initStream(GUX_INIT_SKIPAHEAD, st.s, 0, &c), GUX_STATUS_NO_SKIPAHEAD);
    EXPECT_EQ(__guxLeapfrogStream(st.s, 0, 2), GUX_STATUS_NO_LEAPFROG);
    EXPECT_EQ(__guxLeapfrogStream(st.s, 4, 0x7FFFFFFF), GUX_STATUS_NO_LEAPFROG);
    EXPECT_EQ(st.head()[0], 1u);
  }
}

}  // namespace
