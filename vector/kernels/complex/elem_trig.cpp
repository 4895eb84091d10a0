// Cos, Sin, Cosh, Sinh, Tan and Tanh of c and z: one element routine each,
// shared by both types and all tiers, in x87 extended precision. The
// circular forms rotate the argument: cos z = cosh(iz), sin z = -i sinh(iz),
// tan z = -i tanh(iz). Cos, Sin, Cosh and Sinh report an overflowing part;
// Tan and Tanh store what the routine gives.
#include "vector/kernels/complex/elem_common.h"

namespace qor::kernels::cplx {
namespace {

int cosh_routine(double out[2], const double in[2]) {
  ld re, im;
  ccosh_ext(in[0], in[1], re, im);
  return put(out, re, im);
}
int sinh_routine(double out[2], const double in[2]) {
  ld re, im;
  csinh_ext(in[0], in[1], re, im);
  return put(out, re, im);
}
int tanh_routine(double out[2], const double in[2]) {
  ld re, im;
  ctanh_ext(in[0], in[1], re, im);
  return put(out, re, im);
}
int cos_routine(double out[2], const double in[2]) {
  ld re, im;
  ccosh_ext(-(ld)in[1], in[0], re, im);
  return put(out, re, im);
}
int sin_routine(double out[2], const double in[2]) {
  ld re, im;
  csinh_ext(-(ld)in[1], in[0], re, im);
  return put(out, im, -re);
}
int tan_routine(double out[2], const double in[2]) {
  ld re, im;
  ctanh_ext(-(ld)in[1], in[0], re, im);
  return put(out, im, -re);
}

}  // namespace
}  // namespace qor::kernels::cplx

QOR_COMPLEX_ELEMENT_KERNELS(Cosh, ALL, qor::kernels::cplx::cosh_routine, true)
QOR_COMPLEX_ELEMENT_KERNELS(Sinh, ALL, qor::kernels::cplx::sinh_routine, true)
QOR_COMPLEX_ELEMENT_KERNELS(Cos, ALL, qor::kernels::cplx::cos_routine, true)
QOR_COMPLEX_ELEMENT_KERNELS(Sin, ALL, qor::kernels::cplx::sin_routine, true)
QOR_COMPLEX_ELEMENT_KERNELS(Tanh, ALL, qor::kernels::cplx::tanh_routine, false)
QOR_COMPLEX_ELEMENT_KERNELS(Tan, ALL, qor::kernels::cplx::tan_routine, false)
