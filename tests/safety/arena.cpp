// Arenas between unmapped pages, guard patterns, and array placement.
#include <stdlib.h>
#include <sys/mman.h>

#include "tests/safety/safety.h"

namespace safety {

void make_arena(Arena &a) {
  uint8_t *m = (uint8_t *)mmap(nullptr, kArenaData + 2 * kPage, PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (m == MAP_FAILED) perror("mmap"), exit(2);
  mprotect(m, kPage, PROT_NONE);
  mprotect(m + kPage + kArenaData, kPage, PROT_NONE);
  a.lo = m + kPage, a.hi = m + kPage + kArenaData;
  a.shadow.resize(kArenaData);
}
// Guard values by component size: NaNs with payloads, a signalling NaN, zero,
// infinities, huge, denormal, and values that overflow the exponentials.
const uint64_t kGuard4[] = {0x7fc00d01, 0x7f800001, 0x00000000, 0x7f800000, 0x7f7fffff,
                            0x00000001, 0xff800000, 0x80000000, 0x42c80000, 0xffc00002, 0x00400000};
const uint64_t kGuard8[] = {0x7ff8000000000d01, 0x7ff0000000000001, 0, 0x7ff0000000000000,
                            0x7fefffffffffffff, 1, 0xfff0000000000000, 0x8000000000000000,
                            0x4090000000000000, 0xfff8000000000002, 0x0008000000000000};
constexpr int kGuardCount = 11;

void Pattern::build(int comp, int comps) {
  const int esize = comp * comps;
  period = (size_t)esize * kGuardCount;
  bytes.resize(period + kArenaData + 64);
  int v = 0;
  for (size_t off = 0; off < bytes.size(); off += comp, v = (v + 1) % kGuardCount) {
    const uint64_t b = comp == 4 ? kGuard4[v] : kGuard8[v];
    memcpy(&bytes[off], &b, std::min<size_t>(comp, bytes.size() - off));
  }
}
Placed place_array(Arena &ar, int n, long inc, int esize, int placement, const Pattern &pat) {
  Placed p;
  p.arena = &ar, p.n = n, p.inc = inc, p.esize = esize, p.place = placement;
  const long mag = inc < 0 ? -inc : inc;
  const size_t span = n == 0 ? 0 : (size_t)((n - 1) * mag + 1) * esize;
  if (placement < 16) p.low = ar.lo + 256 + placement;
  else if (placement == 16) p.low = ar.lo;
  else p.low = ar.hi - span;
  p.base = inc < 0 && n > 0 ? p.low + (size_t)(n - 1) * mag * esize : p.low;
  p.w0 = std::max(ar.lo, p.low - kGuard);
  p.w1 = std::min(ar.hi, p.low + span + kGuard);
  const long rel = (long)(p.w0 - p.low);
  const size_t phase = (size_t)(((rel % (long)pat.period) + (long)pat.period) % (long)pat.period);
  memcpy(p.w0, &pat.bytes[phase], (size_t)(p.w1 - p.w0));
  return p;
}

}  // namespace safety
