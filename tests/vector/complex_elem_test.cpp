// What the special rows cannot express for the complex element loops: a `c`
// result part that narrows to a denormal raises the underflow flag and is
// stored as it is, whatever the caller's flush settings; a part that stays
// normal raises nothing.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>
#include <xmmintrin.h>

#include "qor/qor_bex.h"

namespace {

using CUnary = void (*)(int, const QorComplex8 *, QorComplex8 *);
using CBinary = void (*)(int, const QorComplex8 *, const QorComplex8 *, QorComplex8 *);

struct Row {
  const char *what;
  CUnary unary;
  CBinary binary;
  QorComplex8 a, b;
  bool underflow;
};

const Row kRows[] = {
    {"cSinh of a denormal real part", _bexcSinh_HA, nullptr, {1e-40f, 0.0f}, {}, true},
    {"cSin of a denormal real part", _bexcSin, nullptr, {-1e-40f, 0.0f}, {}, true},
    {"cTanh of a denormal imaginary part", _bexcTanh_11, nullptr, {0.0f, 3e-39f}, {}, true},
    {"cPow to a denormal square", nullptr, _bexcPow_HA, {1e-20f, 0.0f}, {2.0f, 0.0f}, true},
    {"cCosh, normal parts", _bexcCosh_HA, nullptr, {0.5f, 0.25f}, {}, false},
};

void run(const Row &r, QorComplex8 *out) {
  if (r.unary) {
    r.unary(1, &r.a, out);
  } else {
    r.binary(1, &r.a, &r.b, out);
  }
}

class ComplexElemUnderflow : public ::testing::TestWithParam<unsigned> {};

TEST_P(ComplexElemUnderflow, DenormalPartRaisesAndStands) {
  const unsigned saved = _mm_getcsr();
  for (const Row &r : kRows) {
    QorComplex8 out{}, ref{};
    _mm_setcsr(0x1f80u);
    run(r, &ref);
    _mm_setcsr(GetParam());  // the caller's state: flags clear, its own flush bits
    run(r, &out);
    const unsigned flags = _mm_getcsr();
    _mm_setcsr(saved);
    EXPECT_EQ((flags & 0x10u) != 0, r.underflow) << r.what;
    EXPECT_EQ(memcmp(&out, &ref, sizeof out), 0) << r.what;
    if (r.underflow) {
      EXPECT_TRUE(fpclassify(out.re) == FP_SUBNORMAL || fpclassify(out.im) == FP_SUBNORMAL) << r.what;
    }
  }
}

// Plain, flush to zero, denormals are zero, and both.
INSTANTIATE_TEST_SUITE_P(CallerStates, ComplexElemUnderflow, ::testing::Values(0x1f80u, 0x9f80u, 0x1fc0u, 0x9fc0u));

}  // namespace
