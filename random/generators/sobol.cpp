// Sobol: the quasi-random sequence whose coordinate j has direction numbers
// from a primitive polynomial over GF(2) and initial numbers m(1)..m(d):
//   m(k) = 2 a1 m(k-1) ^ 4 a2 m(k-2) ^ ... ^ 2^d m(k-d) ^ m(k-d),
// a(i) the polynomial's coefficients, and v_k = m(k+1) << (31 - k). Built-in
// tables serve dimensions 1 to 40; user tables, read from the seed block,
// serve any dimension. Stepping is shared with Niederr (quasi.h).
#include "random/generators/quasi.h"
#include "random/streams/stream_internal.h"

namespace qor::random {
namespace {

#include "random/generators/sobol_initial.inc"

using namespace quasi;

constexpr uint32_t kBuiltInDimensions = 40;
constexpr int kPitch = 48;  // words of a vt row in the state
constexpr int kChunkTable = 9;   // user direction numbers, shared between copies
constexpr int kChunkPoint = 13;  // the running point of a stream with chunk 9

struct SobolState {
  Head head;
  uint32_t x[kBuiltInDimensions];
  uint32_t v[kBuiltInDimensions][kRowWords];  // polynomial, then v_0..v_31
  alignas(16) uint32_t vt[kBits][kPitch];
};
static_assert(sizeof(GuxStream) + sizeof(SobolState) <= 11712, "record size of the row");

// Classes of the user block (seed word 2 when word 1 is 1).
enum UserClass { kPolynomials = 1, kInitialNumbers = 2, kBoth = 3, kTable = 4, kBothFromFirst = 11 };

int degree_of(uint32_t polynomial) { return polynomial ? 31 - __builtin_clz(polynomial) : 0; }

// What the block asks for: the source of each coordinate's polynomial and
// initial numbers, or a complete table of direction numbers.
struct Source {
  uint32_t dimension = 1;
  bool user = false;          // tables from the block
  bool in_chunks = false;     // classes 3, 4, 11
  const uint32_t *polynomials = nullptr;  // from coordinate `first_polynomial` on
  int first_polynomial = 1;   // 0-based coordinate of polynomials[0]
  const uint32_t *initial = nullptr;      // m values, `max_degree` per coordinate
  int first_initial = 1;
  int64_t max_degree = 0;
  const uint32_t *table = nullptr;        // class 4: 32 direction numbers per coordinate
};

Source read_block(int n, const uint32_t *p) {
  Source s;
  if (n <= 0) return s;
  if (n == 1) {
    s.dimension = p[0] >= 1 && p[0] <= kBuiltInDimensions ? p[0] : 1;
    return s;
  }
  const int64_t dim = (int32_t)p[0] < 1 ? 1 : (int32_t)p[0];
  const int64_t count = n;
  const uint32_t built_in = dim <= kBuiltInDimensions ? (uint32_t)dim : 1;
  s.dimension = built_in;
  if (n < 4 || p[1] != 1) return s;
  switch (p[2]) {
    case kPolynomials:
      if (dim > kBuiltInDimensions || count < dim + 2) return s;
      s.polynomials = p + 3;
      break;
    case kInitialNumbers:
      if (dim > kBuiltInDimensions || (int32_t)p[3] < 0 || count < (dim - 1) * (int32_t)p[3] + 4) return s;
      s.max_degree = (int32_t)p[3];
      s.initial = p + 4;
      break;
    case kBoth: {
      if (count < dim + 3) return s;
      const int64_t degree = (int32_t)p[dim + 2];
      if (degree < 0 || count < (dim - 1) * (degree + 1) + 4) return s;
      s.polynomials = p + 3;
      s.max_degree = degree;
      s.initial = p + dim + 3;
      s.in_chunks = true;
      break;
    }
    case kBothFromFirst: {
      if (count < dim + 4) return s;
      const int64_t degree = (int32_t)p[dim + 3];
      if (degree < 0 || count < dim * (degree + 1) + 4) return s;
      s.polynomials = p + 3;
      s.first_polynomial = 0;
      s.max_degree = degree;
      s.initial = p + dim + 4;
      s.first_initial = 0;
      s.in_chunks = true;
      break;
    }
    case kTable:
      if (count < dim * 32 + 3) return s;
      s.table = p + 3;
      s.in_chunks = true;
      break;
    default:
      return s;
  }
  s.user = true;
  s.dimension = (uint32_t)dim;
  return s;
}

// Initial number m(k), k from 1, of coordinate j (0-based): the block's when it
// holds one, else the built-in table's, else 1 (odd and below 2^k, so that
// every coordinate has valid numbers whatever the block leaves out).
uint32_t initial_number(const Source &s, uint32_t j, int k) {
  if (s.initial && (int)j >= s.first_initial && k <= s.max_degree)
    return s.initial[(size_t)(j - s.first_initial) * (size_t)s.max_degree + (size_t)(k - 1)];
  if (j >= 1 && j < kBuiltInDimensions && k <= 8 && kSobolInitial[j - 1][k - 1]) return kSobolInitial[j - 1][k - 1];
  return 1;
}

uint32_t polynomial_of(const Source &s, uint32_t j) {
  if (s.polynomials && (int)j >= s.first_polynomial) return s.polynomials[j - s.first_polynomial];
  if (j == 0 || j >= kBuiltInDimensions) return 1;  // dimension 1: all m(k) = 1
  return kSobolPolynomial[j - 1];
}

// Row of coordinate j: its polynomial, then its 32 direction numbers.
void direction_numbers(const Source &s, uint32_t j, uint32_t row[kRowWords]) {
  if (s.table) {
    row[0] = 0;
    memcpy(row + 1, s.table + (size_t)j * kBits, kBits * 4);
    return;
  }
  const uint32_t poly = polynomial_of(s, j);
  const int d = degree_of(poly);
  uint64_t m[kBits];
  for (int k = 0; k < kBits; ++k) {
    if (d == 0) {
      m[k] = 1;
    } else if (k < d) {
      m[k] = initial_number(s, j, k + 1);
    } else {
      // m(k+1) from the d before it; bit d - i of the mask is a(i).
      uint64_t next = m[k - d] ^ (m[k - d] << d);
      for (int i = 1; i < d; ++i)
        if (poly >> (d - i) & 1) next ^= m[k - i] << i;
      m[k] = next;
    }
  }
  row[0] = poly;
  for (int k = 0; k < kBits; ++k) row[1 + k] = (uint32_t)(m[k] << (31 - k));
}

// The tables of a stream whose numbers live in the state.
View state_view(SobolState &st) {
  return View{&st.head, st.x, &st.vt[0][0], kPitch, padded(st.head.dimension)};
}

// Chunk 9: the transposed numbers (32 rows of `pitch`), then the rows of v.
// Chunk 13: the running point.
View chunk_view(SobolState &st, uint32_t *point, uint32_t *table) {
  const int pitch = padded(st.head.dimension);
  return View{&st.head, point, table, pitch, pitch};
}

View view_of(GuxStream *stream) {
  SobolState &st = *state_of<SobolState>(stream);
  uint32_t *table = static_cast<uint32_t *>(__guxSearchChunk(stream, kChunkTable));
  uint32_t *point = static_cast<uint32_t *>(__guxSearchChunk(stream, kChunkPoint));
  if (table && point) return chunk_view(st, point, table);
  return state_view(st);
}

int init_chunks(GuxStream *stream, SobolState &st, const Source &s) {
  const int64_t pitch = padded(s.dimension);
  const int64_t table_bytes = (kBits * pitch + (int64_t)s.dimension * kBits) * 4;
  if (table_bytes > 0x7FFFFFFF) return GUX_STATUS_NO_MEMORY;
  uint32_t *table = static_cast<uint32_t *>(qor_serv_allocate((size_t)table_bytes, 128));
  if (!table) return GUX_STATUS_NO_MEMORY;
  memset(table, 0, (size_t)table_bytes);
  uint32_t *rows = table + kBits * pitch;
  uint32_t row[kRowWords];
  for (uint32_t j = 0; j < s.dimension; ++j) {
    direction_numbers(s, j, row);
    memcpy(rows + (size_t)j * kBits, row + 1, kBits * 4);
    for (int b = 0; b < kBits; ++b) table[(size_t)b * pitch + j] = row[1 + b];
  }
  uint32_t *point = static_cast<uint32_t *>(qor_serv_allocate((size_t)pitch * 4, 128));
  if (!point) {
    qor_serv_deallocate(table);
    return GUX_STATUS_NO_MEMORY;
  }
  st.head.dimension = s.dimension;
  View q = chunk_view(st, point, table);
  start(q, s.dimension);
  // Copies of the stream share the table through the process-wide table, under
  // an id tagged with the block's address; each keeps its own point.
  uint64_t id[2];
  __guxGenerateNewGlobalRODataTableEntryId(id, (uint64_t)(uintptr_t)table);
  int status = __guxAddChunk(stream, kChunkTable, id, table, (int)table_bytes);
  if (status < 0) {
    qor_serv_deallocate(table);
    qor_serv_deallocate(point);
    return status;
  }
  status = __guxAddChunk(stream, kChunkPoint, nullptr, point, (int)(pitch * 4));
  if (status < 0) qor_serv_deallocate(point);
  return status;
}

int init_standard(GuxStream *stream, int n, const uint32_t *params) {
  SobolState &st = *state_of<SobolState>(stream);
  memset(&st, 0, sizeof st);
  const Source s = read_block(n, params);
  if (s.in_chunks) return init_chunks(stream, st, s);
  st.head.dimension = s.dimension;
  for (uint32_t j = 0; j < s.dimension; ++j) {
    direction_numbers(s, j, st.v[j]);
    for (int b = 0; b < kBits; ++b) st.vt[b][j] = st.v[j][1 + b];
  }
  start(state_view(st), s.dimension);
  return GUX_STATUS_OK;
}

}  // namespace

bool state_usable_Sobol(const GuxStream *stream) {
  const SobolState &st = *state_of<SobolState>(stream);
  const int32_t table = chunk_size(stream, kChunkTable), point = chunk_size(stream, kChunkPoint);
  const int64_t pitch = padded(st.head.dimension);
  if (!quasi::head_usable(st.head)) return false;
  if (table >= 0 && point >= 0) return table >= 4 * quasi::kBits * pitch && point >= 4 * pitch;
  return st.head.dimension <= kBuiltInDimensions;
}
}  // namespace qor::random

using namespace qor::random;

QOR_QUASI_ENTRIES(Sobol)
