// The retry rule of the hardware generator: a draw is one call of the source,
// which gives a value and a flag; on a flag of failure it is repeated. Attempts
// are numbered from 0 and only those below the limit count, so the limit bounds
// the number of useful attempts. A template over the source, so that the rule
// can be checked with a source that fails on demand.
#ifndef QOR_RANDOM_RETRY_H
#define QOR_RANDOM_RETRY_H

#include <stdint.h>

namespace qor::random {

// Calls source(&v) until it returns non-zero, at most `limit` times. Returns
// whether a value was obtained.
template <class T, class Source>
inline bool draw_with_retry(uint32_t limit, T *v, Source source) {
  for (uint32_t attempt = 0; attempt < limit; ++attempt)
    if (source(v)) return true;
  return false;
}

}  // namespace qor::random

#endif
