// The generator registry: the old-scheme table (one row per id), the
// new-scheme table (one row per family), id resolution, validation and the
// registration of user generators.
#include "random/streams/stream_internal.h"

// Weak references to every family's four functions: a family not built yet
// leaves its slots null (see brng_families.def).
#define FAMILY(F, ...)                                                                  \
  extern "C" __attribute__((weak, visibility("default"))) int __guxBRng##F##InitStream( \
      int, GuxStream *, int, const void *);                                             \
  extern "C" __attribute__((weak, visibility("default"))) int __guxsBRng##F(            \
      GuxStream *, int, float *, float, float);                                         \
  extern "C" __attribute__((weak, visibility("default"))) int __guxdBRng##F(            \
      GuxStream *, int, double *, double, double);                                      \
  extern "C" __attribute__((weak, visibility("default"))) int __guxiBRng##F(            \
      GuxStream *, int, uint32_t *);
#include "random/streams/brng_families.def"
#undef FAMILY

#define ROW_OF(F, stateSize, seedCount, includesZero, wordSize, bitCount)               \
  {stateSize,       seedCount,     includesZero,  wordSize,     bitCount,               \
   __guxBRng##F##InitStream, __guxsBRng##F, __guxdBRng##F, __guxiBRng##F}

#define MCG31M1_ROW ROW_OF(MCG31M1, 24, 1, 0, 4, 31)
#define R250_ROW ROW_OF(R250, 1024, 252, 1, 4, 32)
#define MRG32K3A_ROW ROW_OF(MRG32K3A, 40, 6, 1, 4, 32)
#define MCG59_ROW ROW_OF(MCG59, 32, 1, 0, 8, 59)
#define WH_ROW ROW_OF(WH, 48, 4, 1, 16, 24)
#define SOBOL_ROW ROW_OF(Sobol, 11712, 2604, 0, 4, 32)
#define NIEDERR_ROW ROW_OF(Niederr, 84288, 10498, 0, 4, 32)
#define WH_ROWS_16 WH_ROW, WH_ROW, WH_ROW, WH_ROW, WH_ROW, WH_ROW, WH_ROW, WH_ROW, \
                   WH_ROW, WH_ROW, WH_ROW, WH_ROW, WH_ROW, WH_ROW, WH_ROW, WH_ROW
#define WH_ROWS_256 WH_ROWS_16, WH_ROWS_16, WH_ROWS_16, WH_ROWS_16, WH_ROWS_16, WH_ROWS_16, \
                    WH_ROWS_16, WH_ROWS_16, WH_ROWS_16, WH_ROWS_16, WH_ROWS_16, WH_ROWS_16, \
                    WH_ROWS_16, WH_ROWS_16, WH_ROWS_16, WH_ROWS_16
#define EMPTY_ROW {0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr}

// Old ids index this table directly; rows 4..276 are the 273 WH sub-generators
// (only row 4 is ever reached), 279 and 280 are empty.
QOR_RANDOM_DATA BrngProperties __RegBrngs[GUX_OLD_BRNG_ROWS] = {
    MCG31M1_ROW, R250_ROW, MRG32K3A_ROW, MCG59_ROW,
    WH_ROWS_256, WH_ROWS_16, WH_ROW,
    SOBOL_ROW, NIEDERR_ROW, EMPTY_ROW, EMPTY_ROW};
static_assert(sizeof(__RegBrngs) / sizeof(BrngProperties) == GUX_OLD_BRNG_ROWS, "281 rows");

#define FAMILY(F, stateSize, seedCount, includesZero, wordSize, bitCount, subs) \
  ROW_OF(F, stateSize, seedCount, includesZero, wordSize, bitCount),
QOR_RANDOM_DATA BrngProperties __RegBrngsNew[GUX_NEW_BRNG_ROWS] = {
#include "random/streams/brng_families.def"
};
#undef FAMILY

#define FAMILY(F, stateSize, seedCount, includesZero, wordSize, bitCount, subs) subs,
QOR_RANDOM_DATA int32_t BrngSubCounts[GUX_NEW_BRNG_ROWS] = {
#include "random/streams/brng_families.def"
};
#undef FAMILY

QOR_RANDOM_DATA int32_t RegBrngCount = 16;

namespace qor::random {

bool row_is_creatable(const BrngProperties &row) { return row.initStream != nullptr; }

bool state_is_usable(const GuxStream *stream, const BrngProperties &row) {
  // The families' checks in the order of their rows in __RegBrngsNew; a row
  // of either table belongs to the family whose generator it runs.
  static bool (*const checks[])(const GuxStream *) = {
#define FAMILY(F, ...) state_usable_##F,
#include "random/streams/brng_families.def"
#undef FAMILY
  };
  for (int k = 0; k < (int)(sizeof checks / sizeof *checks); ++k)
    if (row.initStream == __RegBrngsNew[k].initStream) return !checks[k] || checks[k](stream);
  return true;
}
bool row_is_pending(const BrngProperties &row) {
  return row.stateSize != 0 && row.initStream == nullptr;
}

// Bytes to allocate for a record of this row: stateSize, and never less than
// the header plus the essential words that a state copy moves (WH's row asks
// for 64 bytes of them although its state is 32).
size_t record_allocation_size(const BrngProperties &row) {
  size_t size = (size_t)(row.stateSize > 0 ? row.stateSize : 0);
  size_t essential = sizeof(GuxStream) + (size_t)row.wordSize * (size_t)(row.seedCount > 0 ? row.seedCount : 0);
  return size > essential ? size : essential;
}

const BrngProperties *resolve_row(int id, int *status) {
  int row = 0, sub = 0;
  const BrngProperties *table = __guxGetBrngBaseOffset(id, &row, &sub);
  *status = __guxIsBrngValid(table, row, sub);
  if (*status < 0) return nullptr;
  // The old table's check is an upper bound only; a negative row has no row
  // to read, so it is refused here before any use.
  if (row < 0) {
    *status = GUX_STATUS_BAD_BRNG;
    return nullptr;
  }
  return &table[row];
}

}  // namespace qor::random

extern "C" {

BrngProperties *__guxGetBrngBaseOffset(int id, int *rowOut, int *subOut) {
  if (id >= GUX_BRNG_INC) {
    *rowOut = (id >> 20) - 1;
    *subOut = id & GUX_BRNG_SUB_MASK;
    return __RegBrngsNew;
  }
  if (id >= 4 && id <= 276) {
    *rowOut = 4;
    *subOut = id - 4;
  } else {
    *rowOut = id;
    *subOut = 0;
  }
  return __RegBrngs;
}

int __guxIsBrngValid(const BrngProperties *table, int row, int sub) {
  // The old table is checked against its upper bound only: rows 279 and 280
  // and negative ids pass, and nothing below the bound is looked at.
  if (table == __RegBrngs) return row < GUX_OLD_BRNG_ROWS ? GUX_STATUS_OK : GUX_STATUS_BAD_BRNG;
  if (row >= RegBrngCount || sub >= BrngSubCounts[row]) return GUX_STATUS_BAD_BRNG;
  return GUX_STATUS_OK;
}

int __guxGetBrngProperties(int id, BrngProperties *out) {
  int status;
  const BrngProperties *row = qor::random::resolve_row(id, &status);
  if (!row) return status;
  if (qor::random::row_is_pending(*row)) return GUX_STATUS_BAD_BRNG;
  *out = *row;
  return GUX_STATUS_OK;
}

int __guxGetNumRegBrngs(void) { return RegBrngCount; }

int __guxRegisterBrng(const BrngProperties *p) {
  if (p->stateSize < 0) return GUX_STATUS_BAD_STATE_SIZE;
  if (p->wordSize != 4 && p->wordSize != 8 && p->wordSize != 16) return GUX_STATUS_BAD_WORD_SIZE;
  if (p->seedCount < 1) return GUX_STATUS_BAD_SEED_COUNT;
  if (p->bitCount < 1) return GUX_STATUS_BAD_BIT_COUNT;
  if (!p->initStream || !p->sGenerate || !p->dGenerate || !p->iGenerate)
    return GUX_STATUS_NULL_POINTER;
  // The table has 512 rows; a registration past them is refused rather than
  // written beyond the table.
  if (RegBrngCount >= GUX_NEW_BRNG_ROWS) return GUX_STATUS_BAD_BRNG;
  int row = RegBrngCount;
  __RegBrngsNew[row] = *p;
  BrngSubCounts[row] = 1;
  RegBrngCount = row + 1;
  return (row + 1) << 20;
}

}  // extern "C"
