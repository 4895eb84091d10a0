// Ln and Log10 of c and z, element routines in x87 extended precision:
// ln z = ln|z| + i arg z, with arg z from fpatan (signed zeros choose the side
// of the cut along the negative real axis) and ln|z| by tier:
//   HA (cLn HA, zLn LA/HA) and Log10: x^2 + y^2 - 1 from exact products near
//       the unit circle, where ln|z| cancels;
//   cLn LA: ln of the extended modulus;
//   EP: half the ln of the extended sum of squares.
// Neither entry reports: what the routine stores is the result.
#include "vector/kernels/complex/elem_common.h"

namespace qor::kernels::cplx {
namespace {

template <int Method> int ln_routine(double out[2], const double in[2]) {
  ld re, im;
  clog_ext<Method>(in[0], in[1], re, im);
  return put(out, re, im);
}

int log10_routine(double out[2], const double in[2]) {
  ld re, im;
  clog_ext<0>(in[0], in[1], re, im);
  return put(out, re * k80::kLog10e, im * k80::kLog10e);
}

}  // namespace
}  // namespace qor::kernels::cplx

QOR_COMPLEX_ELEMENT_UNARY(cLn, HA, QorComplex8, qor::kernels::cplx::ln_routine<0>, false)
QOR_COMPLEX_ELEMENT_UNARY(cLn, LA, QorComplex8, qor::kernels::cplx::ln_routine<1>, false)
QOR_COMPLEX_ELEMENT_UNARY(cLn, EP, QorComplex8, qor::kernels::cplx::ln_routine<2>, false)
QOR_COMPLEX_ELEMENT_UNARY(zLn, LAHA, QorComplex16, qor::kernels::cplx::ln_routine<0>, false)
QOR_COMPLEX_ELEMENT_UNARY(zLn, EP, QorComplex16, qor::kernels::cplx::ln_routine<2>, false)
QOR_COMPLEX_ELEMENT_KERNELS(Log10, ALL, qor::kernels::cplx::log10_routine, false)
