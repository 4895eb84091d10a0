// What the ExpInt1 kernels share: the scalar routine (LA and HA run it for
// every element, EP for its flagged lanes) and the underflow bound.
#ifndef QOR_KERNELS_GAMMA_EXPINT1_COMMON_H
#define QOR_KERNELS_GAMMA_EXPINT1_COMMON_H

#include "vector/kernels/gamma/gamma_x87.h"

namespace qor::kernels {

// Above 724 the double result is +0 with status 4.
constexpr uint64_t kDExpInt1UnderflowBits = 0x4086a00000000000ull;
static_assert(__builtin_bit_cast(double, kDExpInt1UnderflowBits) == 724.0, "underflow bound");

// E1 of one element in extended precision, with the statuses of the family.
int expint1_scalar_s(const float *a, float *r);
int expint1_scalar_d(const double *a, double *r);

}  // namespace qor::kernels

#endif
