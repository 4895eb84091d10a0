// Complex arccosine and inverse hyperbolic cosine: one core (the angle of
// sqrt(A^2 - x^2) + ix and acosh A), one element routine per function, shared by
// the c and z kernels and by the three tiers.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/complex/elem_inv_core.h"
#include "vector/kernels/complex/element_loop.h"

using namespace qor::kernels::cplx::inv;

// No reporter: what the routine stores is the result.
QOR_COMPLEX_ELEMENT_KERNELS(Acos, ALL, acos_routine, false)
QOR_COMPLEX_ELEMENT_KERNELS(Acosh, ALL, acosh_routine, false)

QOR_ACCURACY(zAcos, LA, ULP, 4.0)
QOR_ACCURACY(zAcos, HA, ULP, 1.0)
QOR_ACCURACY(zAcos, EP, BITS, 26)
QOR_CBOX(zAcos, 0.0, 1.7e308, 0.0, 1.7e308, 20000)  // every binade, denormal to the largest
QOR_CBOX(zAcos, 1e-3, 1e3, 1e-3, 1e3, 20000)
QOR_CBOX(zAcos, 0.0, 1.7e308, 0.0, 0.0, 5000)       // the real axis, either zero
QOR_CBOX(zAcos, 0.0, 0.0, 0.0, 1.7e308, 5000)       // the imaginary axis
QOR_CBOX(zAcos, 0.5, 2.0, 0.0, 1e-5, 20000)        // around the branch points +-1
QOR_CBOX(zAcos, 0.0, 1e-5, 0.5, 2.0, 20000)
QOR_ACCURACY(cAcos, LA, ULP, 4.0)
QOR_ACCURACY(cAcos, HA, ULP, 1.0)
QOR_ACCURACY(cAcos, EP, BITS, 11)
QOR_CBOX(cAcos, 0.0, 3.4e38, 0.0, 3.4e38, 20000)
QOR_CBOX(cAcos, 1e-3, 1e3, 1e-3, 1e3, 20000)
QOR_CBOX(cAcos, 0.0, 3.4e38, 0.0, 0.0, 5000)
QOR_CBOX(cAcos, 0.0, 0.0, 0.0, 3.4e38, 5000)
QOR_CBOX(cAcos, 0.5, 2.0, 0.0, 1e-5, 20000)        // around the branch points +-1
QOR_CBOX(cAcos, 0.0, 1e-5, 0.5, 2.0, 20000)

QOR_ACCURACY(zAcosh, LA, ULP, 4.0)
QOR_ACCURACY(zAcosh, HA, ULP, 1.0)
QOR_ACCURACY(zAcosh, EP, BITS, 26)
QOR_CBOX(zAcosh, 0.0, 1.7e308, 0.0, 1.7e308, 20000)  // every binade, denormal to the largest
QOR_CBOX(zAcosh, 1e-3, 1e3, 1e-3, 1e3, 20000)
QOR_CBOX(zAcosh, 0.0, 1.7e308, 0.0, 0.0, 5000)       // the real axis, either zero
QOR_CBOX(zAcosh, 0.0, 0.0, 0.0, 1.7e308, 5000)       // the imaginary axis
QOR_CBOX(zAcosh, 0.5, 2.0, 0.0, 1e-5, 20000)       // around the branch points +-1
QOR_CBOX(zAcosh, 0.0, 1e-5, 0.5, 2.0, 20000)
QOR_ACCURACY(cAcosh, LA, ULP, 4.0)
QOR_ACCURACY(cAcosh, HA, ULP, 1.0)
QOR_ACCURACY(cAcosh, EP, BITS, 11)
QOR_CBOX(cAcosh, 0.0, 3.4e38, 0.0, 3.4e38, 20000)
QOR_CBOX(cAcosh, 1e-3, 1e3, 1e-3, 1e3, 20000)
QOR_CBOX(cAcosh, 0.0, 3.4e38, 0.0, 0.0, 5000)
QOR_CBOX(cAcosh, 0.0, 0.0, 0.0, 3.4e38, 5000)
QOR_CBOX(cAcosh, 0.5, 2.0, 0.0, 1e-5, 20000)       // around the branch points +-1
QOR_CBOX(cAcosh, 0.0, 1e-5, 0.5, 2.0, 20000)
