// Random input bits by class, and byte helpers.
#include "tests/safety/safety.h"

namespace safety {

// The bit classes of inputs: ordinary, integers and halves, wide exponents,
// huge, tiny, denormal, zero, infinite, quiet and signalling NaNs with payloads.
uint64_t random_component(Rng &g, int comp) {
  const int mbits = comp == 4 ? 23 : 52, ebits = comp == 4 ? 8 : 11;
  const uint64_t emax = (1ull << ebits) - 1, bias = emax >> 1, mmask = (1ull << mbits) - 1;
  const uint64_t sign = (g.next() & 1) << (comp * 8 - 1);
  const uint64_t mant = g.next() & mmask;
  auto make = [&](uint64_t e, uint64_t m) { return sign | (e << mbits) | m; };
  const int c = g.below(100);
  if (c < 30) return make(bias - 10 + g.below(21), mant);
  if (c < 40) {
    const double v = (double)(g.below(401) - 200) * 0.5;
    uint64_t b;
    if (comp == 4) {
      const float f = (float)v;
      uint32_t u;
      memcpy(&u, &f, 4);
      b = u;
    } else {
      memcpy(&b, &v, 8);
    }
    return b;
  }
  if (c < 55) return make(1 + g.below((int)emax - 1), mant);
  if (c < 62) return make(emax - 1 - g.below(6), mant);
  if (c < 67) return make(1 + g.below(4), mant);
  if (c < 73) return make(0, mant ? mant : 1);
  if (c < 78) return make(0, 0);
  if (c < 83) return make(emax, 0);
  const uint64_t quiet = 1ull << (mbits - 1);
  if (c < 91) return make(emax, quiet | (mant & (quiet - 1)));
  if (c < 99) return make(emax, (mant & (quiet - 1)) | 1);
  return g.next() & (comp == 4 ? 0xffffffffull : ~0ull);
}
uint64_t widened(const uint8_t *p, int comp, bool daz) {
  if (comp == 8) return get_comp(p, 8);
  const uint32_t f = (uint32_t)get_comp(p, 4), state = daz ? 0x9fc0u : 0x1f80u, normal = 0x1f80u;
  uint64_t d;
  __asm__ volatile("ldmxcsr %2\n\tmovd %1, %%xmm0\n\tcvtss2sd %%xmm0, %%xmm0\n\tmovq %%xmm0, %0\n\tldmxcsr %3"
                   : "=r"(d)
                   : "r"(f), "m"(state), "m"(normal)
                   : "xmm0");
  return d;
}
std::string hex(const uint8_t *p, int size) {
  std::string s = "0x";
  char buf[4];
  for (int i = size - 1; i >= 0; --i) snprintf(buf, sizeof buf, "%02x", p[i]), s += buf;
  return s;
}

}  // namespace safety
