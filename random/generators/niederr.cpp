// Niederr: the base-2 Niederreiter sequence. Coordinate j takes the j-th
// irreducible polynomial p over GF(2) in increasing order (x, x + 1, x^2 + x +
// 1, x^3 + x + 1, ...), and its generator matrix comes from the Laurent series
// of 1/p^(Q+1): output digit i (i = Q e + u, e the degree of p) reads the
// series coefficients from u on. The built-in tables, dimensions 1 to 318, are
// made at init from that rule; user blocks give the polynomials or the whole
// table. Direction number r of a coordinate is column r of its matrix, the
// first output digit in bit 31, and stepping is Sobol's (quasi.h).
#include "random/generators/quasi.h"
#include "random/streams/stream_internal.h"

namespace qor::random {
namespace {

using namespace quasi;

constexpr uint32_t kBuiltInDimensions = 318;
constexpr int kPitch = 320;     // words of a vt row and of x in the state
constexpr int kChunkTable = 10;  // point and numbers of more than 318 coordinates, private

struct NiederrState {
  Head head;
  uint32_t x[kPitch];
  uint32_t v[kBuiltInDimensions][kRowWords];  // polynomial, then columns 0..31
  alignas(16) uint32_t vt[kBits][kPitch];
};
static_assert(sizeof(GuxStream) + sizeof(NiederrState) <= 84288, "record size of the row");

enum UserClass { kPolynomials = 1, kTable = 4 };

int degree_of(uint32_t polynomial) { return polynomial ? 31 - __builtin_clz(polynomial) : 0; }

// a * b over GF(2); the product fits in 64 bits for the degrees met here.
uint64_t multiply(uint64_t a, uint64_t b) {
  uint64_t r = 0;
  for (; b; b >>= 1, a <<= 1)
    if (b & 1) r ^= a;
  return r;
}

// a modulo b over GF(2), b non-zero.
uint32_t remainder(uint32_t a, uint32_t b) {
  const int db = degree_of(b);
  for (int da = degree_of(a); a && da >= db; da = degree_of(a)) a ^= b << (da - db);
  return a;
}

// The first `count` irreducible polynomials, in increasing order of their
// masks: a polynomial is irreducible when no irreducible one of at most half
// its degree divides it, and those are all found before it.
void irreducible_polynomials(uint32_t count, uint32_t *out) {
  uint32_t found = 0;
  for (uint32_t p = 2; found < count; ++p) {
    bool divisible = false;
    for (uint32_t i = 0; i < found && 2 * degree_of(out[i]) <= degree_of(p) && !divisible; ++i)
      divisible = remainder(p, out[i]) == 0;
    if (!divisible) out[found++] = p;
  }
}

// The 32 columns of the generator matrix of polynomial p. Row i = Q e + u
// holds coefficients u, u + 1, ... of the series of y/p^(Q+1), the sequence s
// that obeys the recurrence of B = p^(Q+1) from the start values: zeros up to
// the degree of p^Q, a one, then ones up to the degree of B. A polynomial of
// degree 0 cannot make a matrix and stands for x.
void generator_columns(uint32_t p, uint32_t column[kBits]) {
  if (degree_of(p) < 1) p = 2;
  const int e = degree_of(p);
  // Coefficients 0 .. 31 + e - 1 (below 62, as e < 32) are read; bit r of s
  // is coefficient r. B has degree at most 31 + e, below 64.
  uint64_t s = 0;
  uint64_t b = 1;
  memset(column, 0, kBits * 4);
  for (int i = 0; i < kBits; ++i) {
    const int u = i % e;
    if (u == 0) {
      const int previous = 63 - __builtin_clzll(b);  // degree of p^Q
      b = multiply(b, p);
      const int m = 63 - __builtin_clzll(b);
      // window: bit k is coefficient r - m + k; the next one is the parity of
      // the window under the low terms of B.
      uint64_t window = ((1ull << m) - 1) & ~((1ull << previous) - 1);
      s = window;
      const uint64_t taps = b & ~(1ull << m);
      for (int r = m; r < 64; ++r) {
        const uint64_t next = (uint64_t)__builtin_parityll(window & taps);
        s |= next << r;
        window = (window >> 1) | (next << (m - 1));
      }
    }
    for (int r = 0; r < kBits; ++r)
      if (s >> (r + u) & 1) column[r] |= 0x80000000u >> i;
  }
}

View state_view(NiederrState &st) {
  return View{&st.head, st.x, &st.vt[0][0], kPitch, padded(st.head.dimension)};
}

// Chunk 10: the point (`pitch` words), then 32 rows of `pitch` transposed numbers.
View chunk_view(NiederrState &st, uint32_t *chunk) {
  const int pitch = padded(st.head.dimension);
  return View{&st.head, chunk, chunk + pitch, pitch, pitch};
}

View view_of(GuxStream *stream) {
  NiederrState &st = *state_of<NiederrState>(stream);
  if (uint32_t *chunk = static_cast<uint32_t *>(__guxSearchChunk(stream, kChunkTable)))
    return chunk_view(st, chunk);
  return state_view(st);
}

// Polynomials and table of the block, null where the built-in rule serves.
struct Source {
  uint32_t dimension = 1;
  const uint32_t *polynomials = nullptr;
  const uint32_t *table = nullptr;
};

Source read_block(int n, const uint32_t *p) {
  Source s;
  if (n <= 0) return s;
  if (n == 1) {
    s.dimension = p[0] >= 1 && p[0] <= kBuiltInDimensions ? p[0] : 1;
    return s;
  }
  const int64_t dim = (int32_t)p[0] < 1 ? 1 : (int32_t)p[0];
  s.dimension = dim <= kBuiltInDimensions ? (uint32_t)dim : 1;
  if (n < 3 || p[1] != 1) return s;
  if (p[2] == kPolynomials && n >= dim + 3) {
    s.polynomials = p + 3;
  } else if (p[2] == kTable && n >= dim * 32 + 3) {
    s.table = p + 3;
  } else {
    return s;
  }
  s.dimension = (uint32_t)dim;
  return s;
}

// Columns of every coordinate into vt (rows of `pitch`) and, when given, the v rows.
void fill(const Source &s, uint32_t *vt, int pitch, uint32_t (*v)[kRowWords]) {
  uint32_t builtin[kBuiltInDimensions];
  if (!s.polynomials && !s.table) irreducible_polynomials(s.dimension, builtin);
  uint32_t column[kBits];
  for (uint32_t j = 0; j < s.dimension; ++j) {
    uint32_t poly = 0;
    if (s.table) {
      memcpy(column, s.table + (size_t)j * kBits, sizeof column);
    } else {
      poly = s.polynomials ? s.polynomials[j] : builtin[j];
      generator_columns(poly, column);
    }
    for (int b = 0; b < kBits; ++b) vt[(size_t)b * pitch + j] = column[b];
    if (v) {
      v[j][0] = poly;
      memcpy(v[j] + 1, column, sizeof column);
    }
  }
}

int init_standard(GuxStream *stream, int n, const uint32_t *params) {
  NiederrState &st = *state_of<NiederrState>(stream);
  memset(&st, 0, sizeof st);
  const Source s = read_block(n, params);
  st.head.dimension = s.dimension;
  if (s.dimension <= kBuiltInDimensions) {
    fill(s, &st.vt[0][0], kPitch, st.v);
    start(state_view(st), s.dimension);
    return GUX_STATUS_OK;
  }
  const int64_t pitch = padded(s.dimension);
  const int64_t bytes = pitch * kRowWords * 4;
  if (bytes > 0x7FFFFFFF) return GUX_STATUS_NO_MEMORY;
  uint32_t *chunk = static_cast<uint32_t *>(qor_serv_allocate((size_t)bytes, 128));
  if (!chunk) return GUX_STATUS_NO_MEMORY;
  memset(chunk, 0, (size_t)bytes);
  View q = chunk_view(st, chunk);
  fill(s, chunk + pitch, (int)pitch, nullptr);
  start(q, s.dimension);
  const int status = __guxAddChunk(stream, kChunkTable, nullptr, chunk, (int)bytes);
  if (status < 0) qor_serv_deallocate(chunk);
  return status;
}

}  // namespace

bool state_usable_Niederr(const GuxStream *stream) {
  const NiederrState &st = *state_of<NiederrState>(stream);
  const int32_t chunk = chunk_size(stream, kChunkTable);
  const int64_t pitch = padded(st.head.dimension);
  if (!quasi::head_usable(st.head)) return false;
  if (chunk >= 0) return chunk >= 4 * (quasi::kBits + 1) * pitch;
  return st.head.dimension <= kBuiltInDimensions;
}
}  // namespace qor::random

using namespace qor::random;

QOR_QUASI_ENTRIES(Niederr)
