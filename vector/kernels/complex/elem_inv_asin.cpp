// Complex arcsine and inverse hyperbolic sine: one element routine per function,
// shared by the c and z kernels and by the three tiers (the core runs in x87
// extended precision and rounds once, within about half an ulp of the larger part).
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/complex/elem_inv_core.h"
#include "vector/kernels/complex/element_loop.h"

using namespace qor::kernels::cplx::inv;

// No reporter: what the routine stores is the result.
QOR_COMPLEX_ELEMENT_KERNELS(Asin, ALL, asin_routine, false)
QOR_COMPLEX_ELEMENT_KERNELS(Asinh, ALL, asinh_routine, false)

QOR_ACCURACY(zAsin, LA, ULP, 4.0)
QOR_ACCURACY(zAsin, HA, ULP, 1.0)
QOR_ACCURACY(zAsin, EP, BITS, 26)
QOR_CBOX(zAsin, 0.0, 1.7e308, 0.0, 1.7e308, 20000)  // every binade, denormal to the largest
QOR_CBOX(zAsin, 1e-3, 1e3, 1e-3, 1e3, 20000)
QOR_CBOX(zAsin, 0.0, 1.7e308, 0.0, 0.0, 5000)       // the real axis, either zero
QOR_CBOX(zAsin, 0.0, 0.0, 0.0, 1.7e308, 5000)       // the imaginary axis
QOR_CBOX(zAsin, 0.5, 2.0, 0.0, 1e-5, 20000)        // around the branch points +-1
QOR_CBOX(zAsin, 0.0, 1e-5, 0.5, 2.0, 20000)
QOR_ACCURACY(cAsin, LA, ULP, 4.0)
QOR_ACCURACY(cAsin, HA, ULP, 1.0)
QOR_ACCURACY(cAsin, EP, BITS, 11)
QOR_CBOX(cAsin, 0.0, 3.4e38, 0.0, 3.4e38, 20000)
QOR_CBOX(cAsin, 1e-3, 1e3, 1e-3, 1e3, 20000)
QOR_CBOX(cAsin, 0.0, 3.4e38, 0.0, 0.0, 5000)
QOR_CBOX(cAsin, 0.0, 0.0, 0.0, 3.4e38, 5000)
QOR_CBOX(cAsin, 0.5, 2.0, 0.0, 1e-5, 20000)        // around the branch points +-1
QOR_CBOX(cAsin, 0.0, 1e-5, 0.5, 2.0, 20000)

QOR_ACCURACY(zAsinh, LA, ULP, 4.0)
QOR_ACCURACY(zAsinh, HA, ULP, 1.0)
QOR_ACCURACY(zAsinh, EP, BITS, 26)
QOR_CBOX(zAsinh, 0.0, 1.7e308, 0.0, 1.7e308, 20000)  // every binade, denormal to the largest
QOR_CBOX(zAsinh, 1e-3, 1e3, 1e-3, 1e3, 20000)
QOR_CBOX(zAsinh, 0.0, 1.7e308, 0.0, 0.0, 5000)       // the real axis, either zero
QOR_CBOX(zAsinh, 0.0, 0.0, 0.0, 1.7e308, 5000)       // the imaginary axis
QOR_CBOX(zAsinh, 0.0, 1e-5, 0.5, 2.0, 20000)       // around the branch points +-i
QOR_CBOX(zAsinh, 0.5, 2.0, 0.0, 1e-5, 20000)
QOR_ACCURACY(cAsinh, LA, ULP, 4.0)
QOR_ACCURACY(cAsinh, HA, ULP, 1.0)
QOR_ACCURACY(cAsinh, EP, BITS, 11)
QOR_CBOX(cAsinh, 0.0, 3.4e38, 0.0, 3.4e38, 20000)
QOR_CBOX(cAsinh, 1e-3, 1e3, 1e-3, 1e3, 20000)
QOR_CBOX(cAsinh, 0.0, 3.4e38, 0.0, 0.0, 5000)
QOR_CBOX(cAsinh, 0.0, 0.0, 0.0, 3.4e38, 5000)
QOR_CBOX(cAsinh, 0.0, 1e-5, 0.5, 2.0, 20000)       // around the branch points +-i
QOR_CBOX(cAsinh, 0.5, 2.0, 0.0, 1e-5, 20000)
