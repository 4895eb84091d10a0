// The one harness every basic generator goes through. A generator file
// contributes rows: an id and seed, its independent reference (the words of
// the i form from any position, written in the test from the generator's
// definition), how a word becomes the d and s forms, its known answers and the
// methods it supports. test_generator_rows.cpp runs every row through every
// form, every split of a request, skip-ahead, leapfrog, copies and statuses.
#ifndef QOR_TESTS_RANDOM_GENERATOR_ROWS_H
#define QOR_TESTS_RANDOM_GENERATOR_ROWS_H

#include <gtest/gtest.h>
#include <stdint.h>

#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "qor/qor_random_brng.h"

namespace gen_rows {

using Seed = std::vector<uint32_t>;
using Words = std::vector<uint32_t>;

// Bounds of the d and s forms in every check.
constexpr double kDA = -1.5, kDB = 2.25;
constexpr float kFA = -0.75f, kFB = 3.5f;

enum Method : unsigned { kSkip = 1, kLeapfrog = 2, kSkipEx = 4 };

struct Row {
  Row(std::string name_, int id_, Seed seed_, int units_, unsigned methods_, int block_,
      std::function<Words(uint64_t, size_t)> words_, std::function<double(const uint32_t *, double, double)> d_)
      : name(std::move(name_)), id(id_), seed(std::move(seed_)), units(units_), methods(methods_), block(block_),
        words(std::move(words_)), d(std::move(d_)) {}
  std::string name;
  int id;
  Seed seed;
  int units = 1;         // 32-bit words per element of the i form
  unsigned methods = 0;  // the Method bits the generator supports
  int block = 16;        // elements per block of the vector paths: splits and skips cut around it
  // Words of elements [from, from + n) of the reference.
  std::function<Words(uint64_t from, size_t n)> words;
  // One element's words as the d form on [a, b) and the s form on [a, b);
  // without `s`, the d form computed for the float bounds and rounded.
  std::function<double(const uint32_t *, double, double)> d;
  std::function<float(const uint32_t *, float, float)> s;
  Words known;                                          // published words of the i form from this seed
  std::vector<std::pair<uint64_t, uint64_t>> skips;    // (drawn before, count) past the common ones
  bool needs_aes = false;
  bool whole_state_copy = true;  // __guxCopyStreamState carries everything the sequence depends on
};
inline void PrintTo(const Row &r, std::ostream *os) { *os << r.name; }
inline std::string row_name(const ::testing::TestParamInfo<Row> &i) { return i.param.name; }

// The reference of a recurrence that only runs from the start: `first(n)`
// gives the words of the first n elements.
inline std::function<Words(uint64_t, size_t)> from_start(std::function<Words(size_t)> first, int units = 1) {
  return [first, units](uint64_t from, size_t n) {
    const Words all = first((size_t)from + n);
    return Words(all.begin() + (long)(from * units), all.end());
  };
}

class Rows : public ::testing::TestWithParam<Row> {
 protected:
  void SetUp() override;
};

// Draws `sizes` from `s` (a stream of the row) in turn, forms cycling through
// `forms` ('i', 'd', 's'); calls write 0, 1, 0, 3, ... elements past an
// aligned start, between guards. Element t of the calls must be reference element at[t].
void check_draws(const Row &r, GuxStream *s, const std::vector<int> &sizes, const std::string &forms,
                 const std::vector<uint64_t> &at);
// The positions from, from + stride, ... (n of them).
std::vector<uint64_t> run(uint64_t from, size_t n, uint64_t stride = 1);

// The first words of a stream made with `count` seed words (the seed's size
// by default).
inline Words first_words(int id, const Seed &seed, int n, int units = 1, int count = -100) {
  GuxStream *s = nullptr;
  EXPECT_EQ(__guxNewStreamEx(&s, id, count == -100 ? (int)seed.size() : count, seed.data()), 0);
  BrngProperties p;
  EXPECT_EQ(__guxGetBrngProperties(id, &p), 0);
  Words r((size_t)n * units);
  if (s) p.iGenerate(s, n, r.data());
  __guxDeleteStream(&s);
  return r;
}

// Seeding rules as rows: the stream of (id, seed, count) starts with `words`.
struct Known {
  int id;
  Seed seed;
  Words words;
  int units = 1, count = -100;
};
inline void check_known(const std::vector<Known> &rows) {
  for (const Known &k : rows)
    EXPECT_EQ(first_words(k.id, k.seed, (int)(k.words.size() / k.units), k.units, k.count), k.words)
        << std::hex << "id 0x" << k.id << std::dec << " seed of " << k.seed.size() << " count " << k.count;
}

}  // namespace gen_rows

#endif
