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

int log10_routine(double out[2], const double in[2]) {
  ld re, im;
  clog_ext<0>(part(&in[0]), part(&in[1]), re, im);
  return put(out, re * k80::kLog10e, im * k80::kLog10e);
}

}  // namespace
}  // namespace qor::kernels::cplx

using namespace qor::kernels::cplx;
QOR_COMPLEX_ELEMENT_UNARY(cLn, HA, QorComplex8, direct_routine<clog_ext<0>>, false)
QOR_COMPLEX_ELEMENT_UNARY(cLn, LA, QorComplex8, direct_routine<clog_ext<1>>, false)
QOR_COMPLEX_ELEMENT_UNARY(cLn, EP, QorComplex8, direct_routine<clog_ext<2>>, false)
QOR_COMPLEX_ELEMENT_UNARY(zLn, LAHA, QorComplex16, direct_routine<clog_ext<0>>, false)
QOR_COMPLEX_ELEMENT_UNARY(zLn, EP, QorComplex16, direct_routine<clog_ext<2>>, false)
QOR_COMPLEX_ELEMENT_KERNELS(Log10, ALL, log10_routine, false)

namespace {
QOR_ACCURACY(cLn, LA, ULP, 4.0)
QOR_ACCURACY(cLn, HA, ULP, 1.0)
QOR_ACCURACY(cLn, EP, BITS, 11)
QOR_ACCURACY(cLog10, LA, ULP, 4.0)
QOR_ACCURACY(cLog10, HA, ULP, 1.0)
QOR_ACCURACY(cLog10, EP, BITS, 11)
QOR_CBOX(cLn, 0, 3.4e38, 0, 3.4e38, 20000)  // both parts across the whole range, denormals included
QOR_CBOX(cLn, 0.5, 1.5, 0, 1e-3, 20000)  // near 1 and -1: the unit circle where ln|z| cancels
QOR_CBOX(cLn, 0.6, 0.8, 0.6, 0.8, 20000)  // the unit circle away from the axes
QOR_CBOX(cLn, 0, 0, 0, 3.4e38, 5000)  // the imaginary axis, zeros of either sign
QOR_CBOX(cLn, 0, 3.4e38, 0, 0, 5000)  // the real axis: the cut along the negative half
QOR_CBOX(cLog10, 0, 3.4e38, 0, 3.4e38, 20000)  // both parts across the whole range, denormals included
QOR_CBOX(cLog10, 0.5, 1.5, 0, 1e-3, 20000)  // near 1 and -1: the unit circle where ln|z| cancels
QOR_CBOX(cLog10, 0.6, 0.8, 0.6, 0.8, 20000)  // the unit circle away from the axes
QOR_CBOX(cLog10, 0, 0, 0, 3.4e38, 5000)  // the imaginary axis, zeros of either sign
QOR_CBOX(cLog10, 0, 3.4e38, 0, 0, 5000)  // the real axis: the cut along the negative half
QOR_ACCURACY(zLn, LA, ULP, 4.0)
QOR_ACCURACY(zLn, HA, ULP, 1.0)
QOR_ACCURACY(zLn, EP, BITS, 26)
QOR_ACCURACY(zLog10, LA, ULP, 4.0)
QOR_ACCURACY(zLog10, HA, ULP, 1.0)
QOR_ACCURACY(zLog10, EP, BITS, 26)
QOR_CBOX(zLn, 0, 1.7e308, 0, 1.7e308, 20000)  // both parts across the whole range, denormals included
QOR_CBOX(zLn, 0.5, 1.5, 0, 1e-3, 20000)  // near 1 and -1: the unit circle where ln|z| cancels
QOR_CBOX(zLn, 0.6, 0.8, 0.6, 0.8, 20000)  // the unit circle away from the axes
QOR_CBOX(zLn, 0, 0, 0, 1.7e308, 5000)  // the imaginary axis, zeros of either sign
QOR_CBOX(zLn, 0, 1.7e308, 0, 0, 5000)  // the real axis: the cut along the negative half
QOR_CBOX(zLog10, 0, 1.7e308, 0, 1.7e308, 20000)  // both parts across the whole range, denormals included
QOR_CBOX(zLog10, 0.5, 1.5, 0, 1e-3, 20000)  // near 1 and -1: the unit circle where ln|z| cancels
QOR_CBOX(zLog10, 0.6, 0.8, 0.6, 0.8, 20000)  // the unit circle away from the axes
QOR_CBOX(zLog10, 0, 0, 0, 1.7e308, 5000)  // the imaginary axis, zeros of either sign
QOR_CBOX(zLog10, 0, 1.7e308, 0, 0, 5000)  // the real axis: the cut along the negative half
}  // namespace
