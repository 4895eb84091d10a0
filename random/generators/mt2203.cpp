// MT2203: 6024 twisters of 69 words (period 2^2203 - 1) that share one
// recurrence and differ in the twist matrix and the tempering masks, so that
// streams of different sub-generators are independent. The sub-generator's
// three parameters are copied into the state at creation.
#include "random/generators/twister.h"
#include "random/streams/stream_internal.h"

namespace qor::random {
namespace {

#include "random/generators/mt2203_parameters.inc"

constexpr int kN = 69, kM = 34;

struct Mt2203State {
  uint32_t x[kN];  // untempered words
  uint32_t index;  // next word of x; kN when the block is used up
  uint32_t matrixA, temperB, temperC;
};
static_assert(sizeof(Mt2203State) + sizeof(GuxStream) <= 312, "record size of the row");

// Upper 27 bits of a word joined to the lower 5 of the next.
using Mt = twister::Twister<kN, kM, 0xFFFFFFE0u, 12>;

template <class Out>
void generate(GuxStream *stream, int n, const Out &out) {
  Mt2203State &s = *state_of<Mt2203State>(stream);
  const Mt t{s.matrixA, s.temperB, s.temperC};
  twister::generate(t, s.x, s.index, n, out);
}

}  // namespace

bool state_usable_MT2203(const GuxStream *stream) { return state_of<Mt2203State>(stream)->index <= kN; }
}  // namespace qor::random

using namespace qor::random;

extern "C" {

int __guxBRngMT2203InitStream(int method, GuxStream *stream, int n, const void *params) {
  switch (method) {
    case GUX_INIT_STANDARD: break;
    case GUX_INIT_LEAPFROG: return GUX_STATUS_NO_LEAPFROG;
    case GUX_INIT_SKIPAHEAD: return GUX_STATUS_NO_SKIPAHEAD;
    case GUX_INIT_SKIPAHEADEX: return GUX_STATUS_NO_SKIPAHEADEX;
    default: return GUX_STATUS_BAD_INIT_METHOD;
  }
  Mt2203State &s = *state_of<Mt2203State>(stream);
  int sub = 0;
  stream_row(stream, &sub);
  twister::init_by_array<kN>(s.x, n, static_cast<const uint32_t *>(params));
  s.index = kN;
  s.matrixA = kMt2203Parameters[sub][0];
  s.temperB = kMt2203Parameters[sub][1];
  s.temperC = kMt2203Parameters[sub][2];
  return GUX_STATUS_OK;
}

int __guxiBRngMT2203(GuxStream *stream, int n, uint32_t *r) {
  generate(stream, n, twister::WordOut{r});
  return GUX_STATUS_OK;
}

int __guxdBRngMT2203(GuxStream *stream, int n, double *r, double a, double b) {
  generate(stream, n, twister::DoubleOut(r, a, b));
  return GUX_STATUS_OK;
}

int __guxsBRngMT2203(GuxStream *stream, int n, float *r, float a, float b) {
  generate(stream, n, twister::FloatOut(r, a, b));
  return GUX_STATUS_OK;
}

}  // extern "C"
