/* Random streams: make a stream, draw uniforms in every form, split a
 * sequence between workers by leapfrog and by skip-ahead. */
#include <stdio.h>

#include "qor/qor_random_brng.h"

int main(void) {
  GuxStream *stream, *worker[3];
  const uint32_t seed[2] = {0x9E3779B9u, 0x7F4A7C15u}; /* 59 bits of seed, low word first */
  if (__guxNewStreamEx(&stream, GUX_BRNG_MCG59, 2, seed) < 0) return 1;

  /* One state serves every form: the sequence just goes on. */
  double d[4];
  float s[2];
  uint32_t words[2 * 2]; /* MCG59 words are 64 bits: two units each */
  __guxdBRngMCG59(stream, 4, d, 0.0, 1.0);
  __guxsBRngMCG59(stream, 2, s, -1.0f, 1.0f);
  __guxiBRngMCG59(stream, 2, words);
  printf("d: %.6f %.6f %.6f %.6f  s: %.4f %.4f  i: 0x%08x%08x\n", d[0], d[1], d[2], d[3], s[0],
         s[1], words[1], words[0]);

  /* Leapfrog: worker k of 3 takes elements k, k + 3, k + 6, ... */
  for (int k = 0; k < 3; ++k) {
    __guxCopyStream(&worker[k], stream);
    __guxLeapfrogStream(worker[k], (uint32_t)k, 3);
  }
  /* Skip-ahead: a fourth stream jumps a billion numbers ahead at once. */
  GuxStream *far;
  __guxCopyStream(&far, stream);
  __guxSkipAheadStream(far, 1000000000ull);

  for (int k = 0; k < 3; ++k) {
    __guxdBRngMCG59(worker[k], 2, d, 0.0, 1.0);
    printf("worker %d: %.6f %.6f\n", k, d[0], d[1]);
    __guxDeleteStream(&worker[k]);
  }
  __guxdBRngMCG59(far, 1, d, 0.0, 1.0);
  printf("element 10^9 from here: %.6f\n", d[0]);
  __guxDeleteStream(&far);
  __guxDeleteStream(&stream);
  return 0;
}
