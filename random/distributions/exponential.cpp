// Exponential law with displacement a and scale beta: a - beta ln(u), u uniform
// on [0, 1). A uniform of exactly 0 gives a + 744.44 beta (double) or
// a + 103.28 beta (float) through the logarithm's fix-up.
#include "random/distributions/frame.h"

namespace qor::dist {
namespace {

template <class T> int exponential(int method, GuxStream *stream, int n, T *r, T a, T beta) {
  return guarded(fix_ln<T>, [&] {
    const int status = uniform(stream, n, r, T(0), T(1));
    if (status < 0) return status;
    if (n <= 0) return status;
    apply(Fn::Ln, n, r);
    // a - beta * x equals a + (-beta) * x bit for bit: negation is exact.
    scale_shift(n, r, -beta, a);
    if (method & GUX_METHOD_ACCURATE_FLAG) clamp_low(n, r, a);
    return status;
  });
}

}  // namespace
}  // namespace qor::dist

extern "C" {

int _guxsRngExponential(int method, GuxStream *stream, int n, float *r, float a, float beta) {
  return qor::dist::exponential(method, stream, n, r, a, beta);
}

int _guxdRngExponential(int method, GuxStream *stream, int n, double *r, double a, double beta) {
  return qor::dist::exponential(method, stream, n, r, a, beta);
}

}  // extern "C"
