// Two-input kernels: CopySign, Fmax/Fmin, MaxMag/MinMag, Fdim, NextAfter, Fmod,
// Remainder, against the C library (or the kernels' own rules), with statuses.
#include "qor/qor_bex.h"
#include "vector_arith/arith_harness.h"

namespace {

using namespace arith_test;

template <class T> struct Pairs {
  std::vector<T> a, b;
};

// Mixed specials against each other, then random pairs of every kind.
template <class T> Pairs<T> pairs(int count, uint64_t seed, int max_gap) {
  const T sp[] = {T(0), T(-0.0), T(1), T(-1), T(2), T(0.5), T(-3.5), T(INFINITY), T(-INFINITY), T(NAN),
                  std::numeric_limits<T>::denorm_min(), std::numeric_limits<T>::min(),
                  std::numeric_limits<T>::max(), -std::numeric_limits<T>::max(), T(5.5), T(1e30)};
  Pairs<T> p;
  for (T x : sp)
    for (T y : sp) p.a.push_back(x), p.b.push_back(y);
  uint64_t s = seed;
  auto next = [&s] { s ^= s << 13; s ^= s >> 7; s ^= s << 17; return s; };
  using U = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
  constexpr int P = sizeof(T) == 4 ? 23 : 52, E = sizeof(T) == 4 ? 255 : 2047;
  for (int i = 0; i < count; ++i) {
    U ua = (U)next(), ub = (U)next();
    if (i % 4 != 3) {  // exponents close together: the vector paths
      const int eb = 1 + (int)(next() % (E - 2 - max_gap));
      const int ea = eb - 3 + (int)(next() % (max_gap + 4));
      ua = (ua & ~((U)E << P)) | ((U)(ea < 1 ? 1 : ea) << P);
      ub = (ub & ~((U)E << P)) | ((U)eb << P);
    }
    T x, y;
    memcpy(&x, &ua, sizeof x);
    memcpy(&y, &ub, sizeof y);
    p.a.push_back(x), p.b.push_back(y);
    if (i % 16 == 5) p.a.back() = p.b.back();  // equal pairs
  }
  return p;
}

template <class T> bool zero_pair(T a, T b) { return a == 0 && b == 0 && signbit(a) != signbit(b); }

TEST(Sign, CopySignAgainstC) {
  auto f = pairs<float>(100000, 1, 30);
  auto d = pairs<double>(100000, 2, 60);
  check_binary<float>("sCopySign", _bexsCopySign, _bexsCopySignI, f.a, f.b, copysignf);
  check_binary<double>("dCopySign", _bexdCopySign, _bexdCopySignI, d.a, d.b, (double (*)(double, double))copysign);
}

// fmax/fmin of +0 and -0 may give either in C; here the rule is "b unless a is
// strictly beyond". C turns a signaling NaN into a NaN result; here one NaN
// of either kind gives the other input. Those pairs follow the kernels' rule.
template <class T> T nan_or(T a, T b, T c) {
  if (std::isnan(b)) return std::isnan(a) ? b : a;
  return std::isnan(a) ? b : c;
}
template <class T> T fmax_rule(T a, T b) { return zero_pair(a, b) ? b : nan_or(a, b, (T)fmax(a, b)); }
template <class T> T fmin_rule(T a, T b) { return zero_pair(a, b) ? b : nan_or(a, b, (T)fmin(a, b)); }

TEST(MinMax, AgainstCAndOwnRules) {
  auto f = pairs<float>(100000, 3, 30);
  auto d = pairs<double>(100000, 4, 60);
  check_binary<float>("sFmax", _bexsFmax, _bexsFmaxI, f.a, f.b, fmax_rule<float>);
  check_binary<float>("sFmin", _bexsFmin, _bexsFminI, f.a, f.b, fmin_rule<float>);
  check_binary<double>("dFmax", _bexdFmax, _bexdFmaxI, d.a, d.b, fmax_rule<double>);
  check_binary<double>("dFmin", _bexdFmin, _bexdFminI, d.a, d.b, fmin_rule<double>);
  check_binary<float>("sMaxMag", _bexsMaxMag, _bexsMaxMagI, f.a, f.b, arith_ref::maxmag_ref<float>);
  check_binary<float>("sMinMag", _bexsMinMag, _bexsMinMagI, f.a, f.b, arith_ref::minmag_ref<float>);
  check_binary<double>("dMaxMag", _bexdMaxMag, _bexdMaxMagI, d.a, d.b, arith_ref::maxmag_ref<double>);
  check_binary<double>("dMinMag", _bexdMinMag, _bexdMinMagI, d.a, d.b, arith_ref::minmag_ref<double>);
  check_binary<float>("sFdim", _bexsFdim, _bexsFdimI, f.a, f.b, fdimf);
  check_binary<double>("dFdim", _bexdFdim, _bexdFdimI, d.a, d.b, (double (*)(double, double))fdim);
}

// The NaN rules bit for bit: one NaN gives the other input; two give b
// quieted (Fdim: a NaN a gives a quieted, then a NaN b gives b quieted); a
// signalling NaN never comes back signalling. Unit and strided forms alike.
template <class T> struct NanRuleFn {
  const char *name;
  void (*unit)(int, const T *, const T *, T *);
  void (*strided)(int, const T *, int, const T *, int, T *, int);
  bool fdim;
};

template <class T> void check_nan_rules(const std::vector<NanRuleFn<T>> &fs) {
  using U = arith_ref::Uint<T>;
  constexpr int P = sizeof(T) == 4 ? 23 : 52;
  const U exp = sizeof(T) == 4 ? 0x7f800000u : 0x7ff0000000000000ull, quiet = U(1) << (P - 1);
  const U sign = U(1) << (sizeof(T) * 8 - 1);
  const T snan_a = arith_ref::from<T>(exp | 0x5), qnan_b = arith_ref::from<T>(sign | exp | quiet | 0x7);
  const T snan_b = arith_ref::from<T>(exp | 0x9), one = T(1);
  auto q = [&](T x) { return arith_ref::from<T>(arith_ref::bits(x) | quiet); };
  struct Case { T a, b, minmax, fdim; };
  const Case cases[] = {{snan_a, qnan_b, q(qnan_b), q(qnan_b)}, {snan_a, one, one, q(snan_a)},
                        {one, snan_b, one, q(snan_b)}, {snan_a, snan_b, q(snan_b), q(snan_b)}};
  for (const auto &f : fs)
    for (const Case &c : cases) {
      // 40 copies: the element lands in whole blocks and in the tail.
      std::vector<T> a(40, c.a), b(40, c.b), r(40), ri(80);
      f.unit(40, a.data(), b.data(), r.data());
      f.strided(40, a.data(), 1, b.data(), 1, ri.data(), 2);
      const T want = f.fdim ? c.fdim : c.minmax;
      for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(arith_ref::bits(r[i]), arith_ref::bits(want)) << f.name << " element " << i;
        EXPECT_EQ(arith_ref::bits(ri[2 * i]), arith_ref::bits(want)) << f.name << "I element " << i;
      }
    }
}

TEST(MinMax, NaNRulesBitForBit) {
  check_nan_rules<float>({{"sFmax", _bexsFmax, _bexsFmaxI, false}, {"sFmin", _bexsFmin, _bexsFminI, false},
                          {"sMaxMag", _bexsMaxMag, _bexsMaxMagI, false}, {"sMinMag", _bexsMinMag, _bexsMinMagI, false},
                          {"sFdim", _bexsFdim, _bexsFdimI, true}});
  check_nan_rules<double>({{"dFmax", _bexdFmax, _bexdFmaxI, false}, {"dFmin", _bexdFmin, _bexdFminI, false},
                           {"dMaxMag", _bexdMaxMag, _bexdMaxMagI, false}, {"dMinMag", _bexdMinMag, _bexdMinMagI, false},
                           {"dFdim", _bexdFdim, _bexdFdimI, true}});
}

class Statuses : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = qor_bex_kernel_SetMode(BEX_ERRMODE_IGNORE);
    qor_bex_kernel_ClearErrStatus();
  }
  void TearDown() override { qor_bex_kernel_SetMode(saved_); }
  unsigned saved_ = 0;
};

TEST_F(Statuses, NextAfterAgainstC) {
  auto f = pairs<float>(100000, 5, 3);
  auto d = pairs<double>(100000, 6, 3);
  check_binary<float>("sNextAfter", _bexsNextAfter, _bexsNextAfterI, f.a, f.b, nextafterf);
  check_binary<double>("dNextAfter", _bexdNextAfter, _bexdNextAfterI, d.a, d.b, (double (*)(double, double))nextafter);
}

TEST_F(Statuses, NextAfterReportsUnderflowAndOverflow) {
  float a = 0.0f, b = -1.0f, r;
  _bexsNextAfter(1, &a, &b, &r);
  EXPECT_EQ(r, -std::numeric_limits<float>::denorm_min());
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), BEX_STATUS_UNDERFLOW);
  qor_bex_kernel_ClearErrStatus();
  double x = std::numeric_limits<double>::max(), y = INFINITY, rd;
  _bexdNextAfter(1, &x, &y, &rd);
  EXPECT_EQ(rd, INFINITY);
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), BEX_STATUS_OVERFLOW);
  qor_bex_kernel_ClearErrStatus();
  float m = 1.0f, t = 2.0f;
  _bexsNextAfter(1, &m, &t, &r);
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), 0);
}

TEST_F(Statuses, FmodAndRemainderAgainstC) {
  for (int gap : {11, 40}) {
    auto f = pairs<float>(150000, 7 + gap, gap);
    auto d = pairs<double>(150000, 8 + gap, gap + 20);
    check_binary<float>("sFmod", _bexsFmod, _bexsFmodI, f.a, f.b, fmodf);
    check_binary<double>("dFmod", _bexdFmod, _bexdFmodI, d.a, d.b, (double (*)(double, double))fmod);
    check_binary<float>("sRemainder", _bexsRemainder, _bexsRemainderI, f.a, f.b, remainderf);
    check_binary<double>("dRemainder", _bexdRemainder, _bexdRemainderI, d.a, d.b, (double (*)(double, double))remainder);
  }
}

// Exact half-way quotients: ties go to the even quotient, in the vector path
// (small gaps) and in the long division (wide gaps, denormal divisors).
TEST_F(Statuses, RemainderTiesToEven) {
  std::vector<float> a, b;
  std::vector<double> ad, bd;
  for (int k = 0; k < 64; ++k)
    for (float d : {1.0f, 0.375f, 3.0f, 1e-40f, 1e-3f}) {
      const float q = k + 0.5f;
      for (float scale : {1.0f, 1024.0f * 1024.0f * 64.0f}) {
        a.push_back(q * d * scale), b.push_back(d);
        ad.push_back((double)q * d * scale), bd.push_back(d);
        a.push_back(-q * d), b.push_back(-d);
        ad.push_back(-(double)q * d), bd.push_back(-(double)d);
      }
    }
  check_binary<float>("sRemainder ties", _bexsRemainder, _bexsRemainderI, a, b, remainderf);
  check_binary<double>("dRemainder ties", _bexdRemainder, _bexdRemainderI, ad, bd,
                       (double (*)(double, double))remainder);
  check_binary<float>("sFmod halves", _bexsFmod, _bexsFmodI, a, b, fmodf);
}

// Divisors of magnitude 1 against every kind of dividend.
TEST_F(Statuses, FmodByOne) {
  std::vector<float> a = arith_ref::float_sample(1000003, 17), b(a.size());
  for (size_t i = 0; i < a.size(); ++i) b[i] = (i & 1) ? 1.0f : -1.0f;
  check_binary<float>("sFmod by 1", _bexsFmod, _bexsFmodI, a, b, fmodf);
  std::vector<double> ad = arith_ref::double_sample(4000), bd(ad.size());
  for (size_t i = 0; i < ad.size(); ++i) bd[i] = (i & 1) ? 1.0 : -1.0;
  check_binary<double>("dFmod by 1", _bexdFmod, _bexdFmodI, ad, bd, (double (*)(double, double))fmod);
}

TEST_F(Statuses, FmodNamedCases) {
  const float a[4] = {5.5f, -5.5f, 1.0f, 1e30f}, b[4] = {2.0f, 2.0f, 0.0f, 3.0f};
  float r[4];
  _bexsFmod(4, a, b, r);
  EXPECT_EQ(r[0], 1.5f);
  EXPECT_EQ(r[1], -1.5f);
  EXPECT_TRUE(std::isnan(r[2]));
  EXPECT_EQ(r[3], fmodf(1e30f, 3.0f));
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), BEX_STATUS_SINGULARITY);
  qor_bex_kernel_ClearErrStatus();
  const double ai = INFINITY, bi = 2.0;
  double rd;
  _bexdFmod(1, &ai, &bi, &rd);
  EXPECT_TRUE(std::isnan(rd));
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), BEX_STATUS_SINGULARITY);
  qor_bex_kernel_ClearErrStatus();
  _bexdRemainder(1, &ai, &bi, &rd);
  EXPECT_TRUE(std::isnan(rd));
  EXPECT_EQ(qor_bex_kernel_GetErrStatus(), BEX_STATUS_DOMAIN);
}

}  // namespace
