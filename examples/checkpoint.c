/* Checkpointing a long simulation: the stream is saved to a file halfway, the
 * process could stop there, and a stream loaded from the file carries on
 * with exactly the numbers the original would have given. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "qor/qor_random_brng.h"
#include "qor/qor_random_dist.h"

int main(void) {
  char file[512];
  const char *dir = getenv("TMPDIR");
  snprintf(file, sizeof file, "%s/qor_checkpoint_%d.bin", dir ? dir : "/tmp", (int)getpid());
  GuxStream *stream, *resumed;
  const uint32_t seed = 777;
  if (__guxNewStreamEx(&stream, GUX_BRNG_MT19937, 1, &seed) < 0) return 1;

  double first[999], original[5], again[5];
  _guxdRngGaussian(GUX_METHOD_BOX_MULLER2, stream, 999, first, 0.0, 1.0);  /* the run so far */
  int status = __guxSaveStreamF(stream, file, (int)strlen(file));
  printf("saved after 999 variates (the pair's second half is kept in the image): status %d, %d bytes\n", status, __guxGetStreamSize(stream));

  _guxdRngGaussian(GUX_METHOD_BOX_MULLER2, stream, 5, original, 0.0, 1.0);  /* what comes next */

  status = __guxLoadStreamF(&resumed, file, (int)strlen(file));  /* e.g. in a new process */
  if (status < 0) {
    printf("load failed: %d\n", status);
    return 1;
  }
  _guxdRngGaussian(GUX_METHOD_BOX_MULLER2, resumed, 5, again, 0.0, 1.0);
  for (int i = 0; i < 5; ++i) printf("  %+.15f  %+.15f\n", original[i], again[i]);
  printf("resumed stream %s the original\n", memcmp(original, again, sizeof again) ? "DIFFERS from" : "matches");
  __guxDeleteStream(&stream);
  __guxDeleteStream(&resumed);
  remove(file);
  return memcmp(original, again, sizeof again) != 0;
}
