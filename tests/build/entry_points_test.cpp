// The entry points that do more than jump: cPowx keeps the by-value complex
// exponent in memory for the kernel, zPowx passes a private copy of its
// exponent, Pack and Unpack add the 32-bit width flag. The kernels here are
// recording stand-ins, linked with dispatch glue generated for them alone.
#include <gtest/gtest.h>

#include "qor/qor_bex.h"

namespace {
struct Seen {
  int n = 0, inca = 0, incr = 0, flag = 0;
  const void *a = nullptr, *r = nullptr;
  QorComplex16 b{};
  const void *b_address = nullptr;
  int calls = 0;
} seen;
}  // namespace

extern "C" {
void qor_k_cPowx_ALL(int n, const QorComplex8 *a, const QorComplex8 *b, QorComplex8 *r) {
  seen = Seen{n, 0, 0, 0, a, r, {b->re, b->im}, b, seen.calls + 1};
}
void qor_k_cPowxI_ALL(int n, const QorComplex8 *a, int inca, const QorComplex8 *b, QorComplex8 *r, int incr) {
  seen = Seen{n, inca, incr, 0, a, r, {b->re, b->im}, b, seen.calls + 1};
}
void qor_k_zPowx_ALL(int n, const QorComplex16 *a, const QorComplex16 *b, QorComplex16 *r) {
  seen = Seen{n, 0, 0, 0, a, r, *b, b, seen.calls + 1};
}
void qor_k_zPowxI_ALL(int n, const QorComplex16 *a, int inca, const QorComplex16 *b, QorComplex16 *r, int incr) {
  seen = Seen{n, inca, incr, 0, a, r, *b, b, seen.calls + 1};
}
void qor_k_dPackV_ALL(int n, const double *a, const int *index, double *y, int flag) {
  seen = Seen{n, 0, 0, flag, a, y, {(double)index[0], 0}, index, seen.calls + 1};
}
void qor_k_zUnpackI_ALL(int n, const QorComplex16 *a, QorComplex16 *y, int incy, int flag) {
  seen = Seen{n, 0, incy, flag, a, y, {}, nullptr, seen.calls + 1};
}
}

TEST(SpecialEntryPoints, ComplexSingleExponentArrivesInMemory) {
  QorComplex8 a[2] = {}, r[2];
  _bexcPowx(7, a, QorComplex8{1.5f, -2.5f}, r);
  EXPECT_EQ(seen.n, 7);
  EXPECT_EQ(seen.a, a);
  EXPECT_EQ(seen.r, r);
  EXPECT_EQ(seen.b.re, 1.5);
  EXPECT_EQ(seen.b.im, -2.5);
  _bexcPowxI_21(9, a, 3, QorComplex8{4.0f, 5.0f}, r, -2);
  EXPECT_EQ(seen.n, 9);
  EXPECT_EQ(seen.inca, 3);
  EXPECT_EQ(seen.incr, -2);
  EXPECT_EQ(seen.r, r);
  EXPECT_EQ(seen.b.re, 4.0);
  EXPECT_EQ(seen.b.im, 5.0);
}

TEST(SpecialEntryPoints, ComplexDoubleExponentIsCopied) {
  QorComplex16 a[2] = {}, r[2], b{3.25, -1e300};
  _bexzPowx_26(5, a, &b, r);
  EXPECT_EQ(seen.b.re, 3.25);
  EXPECT_EQ(seen.b.im, -1e300);
  EXPECT_NE(seen.b_address, (const void *)&b) << "the kernel sees a private copy";
  _bexzPowxI(6, a, 2, &b, r, 4);
  EXPECT_EQ(seen.inca, 2);
  EXPECT_EQ(seen.incr, 4);
  EXPECT_EQ(seen.r, r);
  EXPECT_NE(seen.b_address, (const void *)&b);
}

TEST(SpecialEntryPoints, PackAndUnpackPassTheWidthFlag) {
  double a[4] = {}, y[4];
  int index[2] = {3, 1};
  _bexdPackV_50(2, a, index, y);
  EXPECT_EQ(seen.flag, 1);
  EXPECT_EQ(seen.b_address, (const void *)index);
  QorComplex16 za[2] = {}, zy[4];
  _bexzUnpackI_26(2, za, zy, 2);
  EXPECT_EQ(seen.flag, 1);
  EXPECT_EQ(seen.incr, 2);
  // The table slot itself takes whatever flag the caller gives.
  using Slot = void (*)(int, const double *, const int *, double *, int);
  ((Slot)qor_bex_kernel_dPackV_ttab.kernel[1])(2, a, index, y, 0);
  EXPECT_EQ(seen.flag, 0);
}
