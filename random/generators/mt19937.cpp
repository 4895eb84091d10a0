// MT19937: the 624-word twister of period 2^19937 - 1. Short skips discard
// numbers; long ones evaluate x^n mod the characteristic polynomial at the
// word step (sliding window), which costs about as much as 20000 steps.
#include "random/generators/twister.h"
#include "random/streams/stream_internal.h"

namespace qor::random {
namespace {

#include "random/generators/mt_polynomials.inc"

constexpr int kN = 624, kM = 397;
// Below this many numbers, discarding them is cheaper than a jump.
constexpr uint64_t kJumpThreshold = 0x100000;

struct Mt19937State {
  uint32_t x[kN];  // untempered words
  uint32_t index;  // next word of x; kN when the block is used up
  uint32_t spare;
};
static_assert(sizeof(Mt19937State) + sizeof(GuxStream) == 2520, "record size of the row");

using Mt = twister::Twister<kN, kM, 0x80000000u, 11>;
constexpr Mt kMt{0x9908B0DFu, 0x9D2C5680u, 0xEFC60000u};

Mt19937State &state(GuxStream *stream) { return *state_of<Mt19937State>(stream); }

template <class Out>
void generate(GuxStream *stream, int n, const Out &out) {
  Mt19937State &s = state(stream);
  twister::generate(kMt, s.x, s.index, n, out);
}

// ---- operations of the jump: states as windows of 624 words, the oldest at
// position index mod 624; one step replaces the oldest by the new word.
inline int oldest(const Mt19937State &s) { return (int)(s.index % kN); }

void jump_zero(void *temp) { memset(temp, 0, sizeof(Mt19937State)); }

void jump_add(void *temp, const void *state, int) {
  auto &t = *static_cast<Mt19937State *>(temp);
  const auto &s = *static_cast<const Mt19937State *>(state);
  int ti = oldest(t), si = oldest(s);
  for (int k = 0; k < kN; ++k) {
    t.x[ti] ^= s.x[si];
    if (++ti == kN) ti = 0;
    if (++si == kN) si = 0;
  }
}

void jump_assign(void *temp, const void *state) { memcpy(temp, state, sizeof(Mt19937State)); }

void jump_step(void *temp) {
  auto &t = *static_cast<Mt19937State *>(temp);
  const int i = oldest(t);
  if (i < kN - kM)
    t.x[i] = t.x[i + kM] ^ kMt.twist(t.x[i], t.x[i + 1]);
  else if (i < kN - 1)
    t.x[i] = t.x[i + kM - kN] ^ kMt.twist(t.x[i], t.x[i + 1]);
  else
    t.x[i] = t.x[kM - 1] ^ kMt.twist(t.x[i], t.x[0]);
  t.index = (uint32_t)(i + 1 == kN ? 0 : i + 1);
}

// Back into the stream with the oldest word first: a used-up block.
void jump_store(void *state, const void *temp, int) {
  auto &s = *static_cast<Mt19937State *>(state);
  const auto &t = *static_cast<const Mt19937State *>(temp);
  const int ti = oldest(t);
  memcpy(s.x, t.x + ti, sizeof(uint32_t) * (size_t)(kN - ti));
  memcpy(s.x + kN - ti, t.x, sizeof(uint32_t) * (size_t)ti);
  s.index = kN;
}

int jump_prepare(void *state, uint64_t *count, int *flag) {
  auto &s = *static_cast<Mt19937State *>(state);
  *flag = 0;
  const uint64_t left = kN - s.index;
  if (*count <= left) {
    s.index += (uint32_t)*count;
    return 0;
  }
  *count -= left;
  s.index = kN;
  return 1;
}

int skip_ahead(GuxStream *stream, uint64_t nskip) {
  if (nskip < kJumpThreshold) {
    uint32_t scratch[2048];
    while (nskip > 0) {
      const int part = nskip < 2048 ? (int)nskip : 2048;
      generate(stream, part, twister::WordOut{scratch});
      nskip -= (uint64_t)part;
    }
    return GUX_STATUS_OK;
  }
  Mt19937State &s = state(stream);
  const uint32_t savedIndex = s.index;
  const int status = __gux_SkipAheadSWin(&s, jump_zero, jump_add, jump_assign, jump_step, jump_store,
                                         jump_prepare, nskip, kN, kMt19937Poly[kMt19937PolyTerms - 1],
                                         2520, kMt19937PolyTerms, kMt19937Poly);
  if (status < 0) s.index = savedIndex;  // the jump failed before it moved the words
  return status;
}

}  // namespace

bool state_usable_MT19937(const GuxStream *stream) { return state_of<Mt19937State>(stream)->index <= kN; }
}  // namespace qor::random

using namespace qor::random;

extern "C" {

int __guxBRngMT19937InitStream(int method, GuxStream *stream, int n, const void *params) {
  switch (method) {
    case GUX_INIT_STANDARD: {
      Mt19937State &s = state(stream);
      twister::init_by_array<kN>(s.x, n, static_cast<const uint32_t *>(params));
      s.index = kN;
      s.spare = 0;
      return GUX_STATUS_OK;
    }
    case GUX_INIT_LEAPFROG: return GUX_STATUS_NO_LEAPFROG;
    case GUX_INIT_SKIPAHEAD: return skip_ahead(stream, *static_cast<const uint64_t *>(params));
    case GUX_INIT_SKIPAHEADEX: return GUX_STATUS_NO_SKIPAHEADEX;
    default: return GUX_STATUS_BAD_INIT_METHOD;
  }
}

int __guxiBRngMT19937(GuxStream *stream, int n, uint32_t *r) {
  generate(stream, n, twister::WordOut{r});
  return GUX_STATUS_OK;
}

int __guxdBRngMT19937(GuxStream *stream, int n, double *r, double a, double b) {
  generate(stream, n, twister::DoubleOut(r, a, b));
  return GUX_STATUS_OK;
}

int __guxsBRngMT19937(GuxStream *stream, int n, float *r, float a, float b) {
  generate(stream, n, twister::FloatOut(r, a, b));
  return GUX_STATUS_OK;
}

}  // extern "C"
