// Complex arctangent and inverse hyperbolic tangent: one core (atanh, atan
// through atan z = -i atanh(iz)), one element routine per function, shared by
// the c and z kernels and by the three tiers.
#include "vector/dispatch/accuracy.h"
#include "vector/kernels/complex/elem_inv_core.h"
#include "vector/kernels/complex/element_loop.h"

using namespace qor::kernels::cplx::inv;

// No reporter: what the routine stores is the result.
QOR_COMPLEX_ELEMENT_KERNELS(Atan, ALL, atan_routine, false)
QOR_COMPLEX_ELEMENT_KERNELS(Atanh, ALL, atanh_routine, false)

QOR_ACCURACY(zAtan, LA, ULP, 4.0)
QOR_ACCURACY(zAtan, HA, ULP, 1.0)
QOR_ACCURACY(zAtan, EP, BITS, 26)
QOR_CBOX(zAtan, 0.0, 1.7e308, 0.0, 1.7e308, 20000)  // every binade, denormal to the largest
QOR_CBOX(zAtan, 1e-3, 1e3, 1e-3, 1e3, 20000)
QOR_CBOX(zAtan, 0.0, 1.7e308, 0.0, 0.0, 5000)       // the real axis, either zero
QOR_CBOX(zAtan, 0.0, 0.0, 0.0, 1.7e308, 5000)       // the imaginary axis
QOR_CBOX(zAtan, 0.0, 1e-5, 0.5, 2.0, 20000)        // around the poles +-i
QOR_CBOX(zAtan, 0.5, 2.0, 0.0, 1e-5, 20000)
QOR_ACCURACY(cAtan, LA, ULP, 4.0)
QOR_ACCURACY(cAtan, HA, ULP, 1.0)
QOR_ACCURACY(cAtan, EP, BITS, 11)
QOR_CBOX(cAtan, 0.0, 3.4e38, 0.0, 3.4e38, 20000)
QOR_CBOX(cAtan, 1e-3, 1e3, 1e-3, 1e3, 20000)
QOR_CBOX(cAtan, 0.0, 3.4e38, 0.0, 0.0, 5000)
QOR_CBOX(cAtan, 0.0, 0.0, 0.0, 3.4e38, 5000)
QOR_CBOX(cAtan, 0.0, 1e-5, 0.5, 2.0, 20000)        // around the poles +-i
QOR_CBOX(cAtan, 0.5, 2.0, 0.0, 1e-5, 20000)

QOR_ACCURACY(zAtanh, LA, ULP, 4.0)
QOR_ACCURACY(zAtanh, HA, ULP, 1.0)
QOR_ACCURACY(zAtanh, EP, BITS, 26)
QOR_CBOX(zAtanh, 0.0, 1.7e308, 0.0, 1.7e308, 20000)  // every binade, denormal to the largest
QOR_CBOX(zAtanh, 1e-3, 1e3, 1e-3, 1e3, 20000)
QOR_CBOX(zAtanh, 0.0, 1.7e308, 0.0, 0.0, 5000)       // the real axis, either zero
QOR_CBOX(zAtanh, 0.0, 0.0, 0.0, 1.7e308, 5000)       // the imaginary axis
QOR_CBOX(zAtanh, 0.5, 2.0, 0.0, 1e-5, 20000)       // around the poles +-1
QOR_CBOX(zAtanh, 0.0, 1e-5, 0.5, 2.0, 20000)
QOR_ACCURACY(cAtanh, LA, ULP, 4.0)
QOR_ACCURACY(cAtanh, HA, ULP, 1.0)
QOR_ACCURACY(cAtanh, EP, BITS, 11)
QOR_CBOX(cAtanh, 0.0, 3.4e38, 0.0, 3.4e38, 20000)
QOR_CBOX(cAtanh, 1e-3, 1e3, 1e-3, 1e3, 20000)
QOR_CBOX(cAtanh, 0.0, 3.4e38, 0.0, 0.0, 5000)
QOR_CBOX(cAtanh, 0.0, 0.0, 0.0, 3.4e38, 5000)
QOR_CBOX(cAtanh, 0.5, 2.0, 0.0, 1e-5, 20000)       // around the poles +-1
QOR_CBOX(cAtanh, 0.0, 1e-5, 0.5, 2.0, 20000)
