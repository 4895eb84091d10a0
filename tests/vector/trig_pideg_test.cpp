// Half-turn and degree kernels, what the special-value rows cannot hold since
// they differ by tier: the exact ones at the top of the sine curves (HA from
// the table row, Sind and Cosd LA by the mask; EP's polynomial stops an ulp
// or a few short), and lanes next to a huge one keep their own results.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include "qor/qor_bex.h"

namespace {

using Unary = void (*)(int, const double *, double *);

double one(Unary f, double x) {
  double r;
  f(1, &x, &r);
  return r;
}

TEST(PiDegree, ExactOnes) {
  EXPECT_EQ(one(_bexdSinpi, 0.5), 1.0);
  EXPECT_EQ(one(_bexdSinpi, -0.5), -1.0);
  EXPECT_EQ(one(_bexdSinpi, 0x1p50 + 2.5), 1.0);
  for (Unary f : {_bexdSind_50, _bexdSind}) {
    EXPECT_EQ(one(f, 90.0), 1.0);
    EXPECT_EQ(one(f, -90.0), -1.0);
    EXPECT_EQ(one(f, 450.0), 1.0);
    EXPECT_EQ(one(f, 89.9999999), 1.0);
  }
  for (Unary f : {_bexdCosd_50, _bexdCosd}) {
    EXPECT_EQ(one(f, 0.0), 1.0);
    EXPECT_EQ(one(f, 5e-7), 1.0);
    EXPECT_EQ(one(f, 180.0), -1.0);
    EXPECT_EQ(one(f, 360.0 * 0x1p70), 1.0);
  }
  for (Unary f : {_bexdCospi_50, _bexdCospi}) {
    EXPECT_EQ(one(f, 1.0), -1.0);
    for (double even : {8.11296384e+31, 0x1.8p112, 0x1p1000}) EXPECT_EQ(one(f, even), 1.0) << even;
  }
}

// A block with one huge lane: the other lanes' bits are those of a block
// without it, in every tier.
TEST(PiDegree, HugeNeighbourLeavesLanesAlone) {
  const Unary kernels[] = {_bexdSinpi_50, _bexdSinpi, _bexdSinpi_26, _bexdCospi_50, _bexdCospi, _bexdCospi_26,
                           _bexdTanpi_50, _bexdTanpi, _bexdTanpi_26, _bexdSind_50,  _bexdSind,  _bexdSind_26,
                           _bexdCosd_50,  _bexdCosd,  _bexdCosd_26,  _bexdTand_50,  _bexdTand,  _bexdTand_26};
  double x[16], plain[16], mixed[16];
  for (int i = 0; i < 16; ++i) x[i] = 0.37 + 11.3 * i;
  for (Unary f : kernels) {
    f(16, x, plain);
    for (double huge : {1e300, 3e19, -(double)INFINITY, 1e-310}) {
      double y[16];
      memcpy(y, x, sizeof y);
      y[5] = huge;
      f(16, y, mixed);
      for (int i = 0; i < 16; ++i) {
        if (i == 5) continue;
        EXPECT_EQ(memcmp(&plain[i], &mixed[i], 8), 0) << i << " next to " << huge;
      }
    }
  }
}

}  // namespace
