// The linear algebra forwards of the core stand-in, on small known cases.
#include <gtest/gtest.h>

#include <vector>

#include "core/qor_core_blas.h"

namespace {

TEST(CoreBlas, SyrAndSyrkFillTheUpperTriangle) {
  const int n = 2, one = 1, k = 3;
  const double alpha = 2, beta = 1, x[2] = {1, 3};
  double a[4] = {0, -9, 0, 0};
  qor_blas_dsyr("U", &n, &alpha, x, &one, a, &n);
  EXPECT_EQ(a[0], 2);
  EXPECT_EQ(a[2], 6);
  EXPECT_EQ(a[3], 18);
  EXPECT_EQ(a[1], -9) << "lower triangle untouched";
  // C += A*A' with A 2x3.
  const double m[6] = {1, 2, 3, 4, 5, 6};
  double c[4] = {0, 0, 0, 0};
  qor_blas_xdsyrk("U", "N", &n, &k, &beta, m, &n, &beta, c, &n);
  EXPECT_EQ(c[0], 1 + 9 + 25);
  EXPECT_EQ(c[2], 2 + 12 + 30);
  const float fa = 1, fx[2] = {2, 1};
  float f[4] = {};
  qor_blas_xssyr("U", &n, &fa, fx, &one, f, &n);
  EXPECT_EQ(f[2], 2.0f);
}

// The packed product equals the full one on the same triangle, all sides
// and transpositions.
TEST(CoreBlas, PackedTriangularProductMatchesTheFullOne) {
  const int m = 3, nn = 2;
  const double full_upper[9] = {1, 0, 0, 2, 3, 0, 4, 5, 6};  // column-major upper
  const double packed_upper[6] = {1, 2, 3, 4, 5, 6};
  const double alpha = 0.5;
  for (const char *side : {"L", "R"}) {
    for (const char *trans : {"N", "T"}) {
      const bool left = *side == 'L';
      const int rows = left ? m : nn, cols = left ? nn : m, ldb = rows;
      std::vector<double> b1(rows * cols), b2;
      for (size_t i = 0; i < b1.size(); ++i) b1[i] = 1.0 + i * 0.25;
      b2 = b1;
      qor_blas_dtrmm(side, "U", trans, "N", &rows, &cols, &alpha, full_upper, &m, b1.data(), &ldb);
      qor_blas4bex_dptrmm(side, "U", trans, "N", &rows, &cols, &alpha, packed_upper, b2.data(), &ldb);
      for (size_t i = 0; i < b1.size(); ++i) EXPECT_DOUBLE_EQ(b1[i], b2[i]) << side << trans << i;
    }
  }
}

TEST(CoreLapack, CholeskyAndEigenvalues) {
  const int n = 2, lwork = 64;
  double a[4] = {4, 2, 2, 3}, w[2], work[64];
  int info = -1;
  qor_lapack_dpotrf("U", &n, a, &n, &info);
  EXPECT_EQ(info, 0);
  EXPECT_DOUBLE_EQ(a[0], 2);
  double e[4] = {2, 1, 1, 2};
  qor_lapack_dsyev("N", "U", &n, e, &n, w, work, &lwork, &info);
  EXPECT_EQ(info, 0);
  EXPECT_NEAR(w[0], 1, 1e-15);
  EXPECT_NEAR(w[1], 3, 1e-15);
}

}  // namespace
