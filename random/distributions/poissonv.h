// Poisson counts with one mean per element, for the Multinomial generator.
#ifndef QOR_RANDOM_DIST_POISSONV_H
#define QOR_RANDOM_DIST_POISSONV_H

#include "random/distributions/poisson_normal.h"

namespace qor::dist {

// r[i] := a Poisson count of mean lambda[i], i < n (no guard of its own).
int poissonv(GuxStream *stream, int n, int32_t *r, const double *lambda);

}  // namespace qor::dist

#endif
