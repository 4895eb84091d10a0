// Cos, Sin, Cosh, Sinh, Tan and Tanh of c and z: one element routine each,
// shared by both types and all tiers, in x87 extended precision. The
// circular forms rotate the argument: cos z = cosh(iz), sin z = -i sinh(iz),
// tan z = -i tanh(iz). Cos, Sin, Cosh and Sinh report an overflowing part;
// Tan and Tanh store what the routine gives.
#include "vector/kernels/complex/elem_common.h"

namespace qor::kernels::cplx {
namespace {

int cos_routine(double out[2], const double in[2]) {
  ld re, im;
  // A NaN beside a zero: the zero keeps its own sign (the reference's choice
  // where the tables leave it open, not the one of the rotated cosh).
  const ld x = part(&in[0]), y = part(&in[1]);
  if (is_nan(x) && y == 0) return put(out, x, y);
  if (is_nan(y) && x == 0) return put(out, y, x);
  ccosh_ext(-y, x, re, im);
  return put(out, re, im);
}

}  // namespace
}  // namespace qor::kernels::cplx

using namespace qor::kernels::cplx;
QOR_COMPLEX_ELEMENT_KERNELS(Cosh, ALL, direct_routine<ccosh_ext>, true)
QOR_COMPLEX_ELEMENT_KERNELS(Sinh, ALL, direct_routine<csinh_ext>, true)
QOR_COMPLEX_ELEMENT_KERNELS(Cos, ALL, cos_routine, true)
QOR_COMPLEX_ELEMENT_KERNELS(Sin, ALL, rotated_routine<csinh_ext>, true)
QOR_COMPLEX_ELEMENT_KERNELS(Tanh, ALL, direct_routine<ctanh_ext>, false)
QOR_COMPLEX_ELEMENT_KERNELS(Tan, ALL, rotated_routine<ctanh_ext>, false)


// One kernel serves the three tiers, so each meets the HA bound.
namespace {
QOR_ACCURACY(cCosh, LA, ULP, 4.0)
QOR_ACCURACY(cCosh, HA, ULP, 1.0)
QOR_ACCURACY(cCosh, EP, BITS, 11)
QOR_ACCURACY(zCosh, LA, ULP, 4.0)
QOR_ACCURACY(zCosh, HA, ULP, 1.0)
QOR_ACCURACY(zCosh, EP, BITS, 26)
QOR_ACCURACY(cSinh, LA, ULP, 4.0)
QOR_ACCURACY(cSinh, HA, ULP, 1.0)
QOR_ACCURACY(cSinh, EP, BITS, 11)
QOR_ACCURACY(zSinh, LA, ULP, 4.0)
QOR_ACCURACY(zSinh, HA, ULP, 1.0)
QOR_ACCURACY(zSinh, EP, BITS, 26)
QOR_ACCURACY(cCos, LA, ULP, 4.0)
QOR_ACCURACY(cCos, HA, ULP, 1.0)
QOR_ACCURACY(cCos, EP, BITS, 11)
QOR_ACCURACY(zCos, LA, ULP, 4.0)
QOR_ACCURACY(zCos, HA, ULP, 1.0)
QOR_ACCURACY(zCos, EP, BITS, 26)
QOR_ACCURACY(cSin, LA, ULP, 4.0)
QOR_ACCURACY(cSin, HA, ULP, 1.0)
QOR_ACCURACY(cSin, EP, BITS, 11)
QOR_ACCURACY(zSin, LA, ULP, 4.0)
QOR_ACCURACY(zSin, HA, ULP, 1.0)
QOR_ACCURACY(zSin, EP, BITS, 26)
QOR_ACCURACY(cTanh, LA, ULP, 4.0)
QOR_ACCURACY(cTanh, HA, ULP, 1.0)
QOR_ACCURACY(cTanh, EP, BITS, 11)
QOR_ACCURACY(zTanh, LA, ULP, 4.0)
QOR_ACCURACY(zTanh, HA, ULP, 1.0)
QOR_ACCURACY(zTanh, EP, BITS, 26)
QOR_ACCURACY(cTan, LA, ULP, 4.0)
QOR_ACCURACY(cTan, HA, ULP, 1.0)
QOR_ACCURACY(cTan, EP, BITS, 11)
QOR_ACCURACY(zTan, LA, ULP, 4.0)
QOR_ACCURACY(zTan, HA, ULP, 1.0)
QOR_ACCURACY(zTan, EP, BITS, 26)
QOR_CBOX(cCosh, 0, 3.4e38, 0, 3.4e38, 20000)  // both parts across the whole range
QOR_CBOX(cCosh, 0, 89, 0, 1e4, 20000)  // finite results, moderate angles
QOR_CBOX(cCosh, 0, 20, 0, 3.4e38, 20000)  // huge angles: exact reduction
QOR_CBOX(cCosh, 0, 1e-5, 0, 4, 10000)  // small hyperbolic part: zeros of the parts
QOR_CBOX(cSinh, 0, 3.4e38, 0, 3.4e38, 20000)  // both parts across the whole range
QOR_CBOX(cSinh, 0, 89, 0, 1e4, 20000)  // finite results, moderate angles
QOR_CBOX(cSinh, 0, 20, 0, 3.4e38, 20000)  // huge angles: exact reduction
QOR_CBOX(cSinh, 0, 1e-5, 0, 4, 10000)  // small hyperbolic part: zeros of the parts
QOR_CBOX(cCos, 0, 3.4e38, 0, 3.4e38, 20000)  // both parts across the whole range
QOR_CBOX(cCos, 0, 1e4, 0, 89, 20000)  // finite results, moderate angles
QOR_CBOX(cCos, 0, 3.4e38, 0, 20, 20000)  // huge angles: exact reduction
QOR_CBOX(cCos, 0, 4, 0, 1e-5, 10000)  // small hyperbolic part: zeros of the parts
QOR_CBOX(cSin, 0, 3.4e38, 0, 3.4e38, 20000)  // both parts across the whole range
QOR_CBOX(cSin, 0, 1e4, 0, 89, 20000)  // finite results, moderate angles
QOR_CBOX(cSin, 0, 3.4e38, 0, 20, 20000)  // huge angles: exact reduction
QOR_CBOX(cSin, 0, 4, 0, 1e-5, 10000)  // small hyperbolic part: zeros of the parts
QOR_CBOX(cTanh, 0, 40, 0, 1e4, 20000)  // the body, both signs
QOR_CBOX(cTanh, 0, 1e-3, 1.5, 1.6, 10000)  // near the poles and zeros at multiples of pi/2
QOR_CBOX(cTanh, 0, 30, 0, 3.4e38, 10000)  // huge angles
QOR_CBOX(cTanh, 20, 1e4, 0, 10, 5000)  // the far band, real part 1
QOR_CBOX(cTan, 0, 1e4, 0, 40, 20000)  // the body, both signs
QOR_CBOX(cTan, 1.5, 1.6, 0, 1e-3, 10000)  // near the poles and zeros at multiples of pi/2
QOR_CBOX(cTan, 0, 3.4e38, 0, 30, 10000)  // huge angles
QOR_CBOX(cTan, 0, 10, 20, 1e4, 5000)  // the far band, real part 1
QOR_CBOX(zCosh, 0, 1.7e308, 0, 1.7e308, 20000)  // both parts across the whole range
QOR_CBOX(zCosh, 0, 711, 0, 1e4, 20000)  // finite results, moderate angles
QOR_CBOX(zCosh, 0, 20, 0, 1.7e308, 20000)  // huge angles: exact reduction
QOR_CBOX(zCosh, 0, 1e-5, 0, 4, 10000)  // small hyperbolic part: zeros of the parts
QOR_CBOX(zSinh, 0, 1.7e308, 0, 1.7e308, 20000)  // both parts across the whole range
QOR_CBOX(zSinh, 0, 711, 0, 1e4, 20000)  // finite results, moderate angles
QOR_CBOX(zSinh, 0, 20, 0, 1.7e308, 20000)  // huge angles: exact reduction
QOR_CBOX(zSinh, 0, 1e-5, 0, 4, 10000)  // small hyperbolic part: zeros of the parts
QOR_CBOX(zCos, 0, 1.7e308, 0, 1.7e308, 20000)  // both parts across the whole range
QOR_CBOX(zCos, 0, 1e4, 0, 711, 20000)  // finite results, moderate angles
QOR_CBOX(zCos, 0, 1.7e308, 0, 20, 20000)  // huge angles: exact reduction
QOR_CBOX(zCos, 0, 4, 0, 1e-5, 10000)  // small hyperbolic part: zeros of the parts
QOR_CBOX(zSin, 0, 1.7e308, 0, 1.7e308, 20000)  // both parts across the whole range
QOR_CBOX(zSin, 0, 1e4, 0, 711, 20000)  // finite results, moderate angles
QOR_CBOX(zSin, 0, 1.7e308, 0, 20, 20000)  // huge angles: exact reduction
QOR_CBOX(zSin, 0, 4, 0, 1e-5, 10000)  // small hyperbolic part: zeros of the parts
QOR_CBOX(zTanh, 0, 40, 0, 1e4, 20000)  // the body, both signs
QOR_CBOX(zTanh, 0, 1e-3, 1.5, 1.6, 10000)  // near the poles and zeros at multiples of pi/2
QOR_CBOX(zTanh, 0, 30, 0, 1.7e308, 10000)  // huge angles
QOR_CBOX(zTanh, 20, 1e4, 0, 10, 5000)  // the far band, real part 1
QOR_CBOX(zTan, 0, 1e4, 0, 40, 20000)  // the body, both signs
QOR_CBOX(zTan, 1.5, 1.6, 0, 1e-3, 10000)  // near the poles and zeros at multiples of pi/2
QOR_CBOX(zTan, 0, 1.7e308, 0, 30, 10000)  // huge angles
QOR_CBOX(zTan, 0, 10, 20, 1e4, 5000)  // the far band, real part 1
}  // namespace
