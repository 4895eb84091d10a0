// The complex inverse functions: the identities between entries that the
// generic harnesses cannot express, bit for bit in both types (the element
// routines build them in, so no rounding may break them), and the underflow
// flag of a c result part that narrows to a denormal.
#include <dlfcn.h>
#include <fenv.h>
#include <gtest/gtest.h>
#include <string.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace {

template <class T> using Kernel = void (*)(int, const T *, T *);

template <class T> Kernel<T> kernel(const char *func) {
  const std::string name = std::string("_bex") + (sizeof(T) == 8 ? "z" : "c") + func + "_HA";
  auto k = (Kernel<T>)dlsym(RTLD_DEFAULT, name.c_str());
  EXPECT_NE(k, nullptr) << name;
  return k;
}

// Element maps: the input of the second entry from z, and the expected
// result of the second entry from the first entry's result w.
template <class T> using Map = void (*)(const T *z, T *out);
template <class T> void conj(const T *z, T *o) { o[0] = z[0], o[1] = -z[1]; }
template <class T> void neg(const T *z, T *o) { o[0] = -z[0], o[1] = -z[1]; }
template <class T> void times_i(const T *z, T *o) { o[0] = -z[1], o[1] = z[0]; }       // iz
template <class T> void times_minus_i(const T *z, T *o) { o[0] = z[1], o[1] = -z[0]; }  // -iz
// acosh z from w = acos z: |Im w| + i Re w with the sign of Im z (here the
// sign of -Im w, which is that of Im z away from NaN parts).
template <class T> void acos_to_acosh(const T *w, T *o) { o[0] = std::fabs(w[1]), o[1] = std::copysign(w[0], -w[1]); }

template <class T> struct Identity {
  const char *f, *g;
  Map<T> arg, res;  // g(arg(z)) == res(f(z))
};

template <class T> const Identity<T> kIdentities[] = {
    {"Asin", "Asin", conj<T>, conj<T>},     {"Acos", "Acos", conj<T>, conj<T>},
    {"Atan", "Atan", conj<T>, conj<T>},     {"Asinh", "Asinh", conj<T>, conj<T>},
    {"Acosh", "Acosh", conj<T>, conj<T>},   {"Atanh", "Atanh", conj<T>, conj<T>},
    {"Asin", "Asin", neg<T>, neg<T>},       {"Atan", "Atan", neg<T>, neg<T>},
    {"Asinh", "Asinh", neg<T>, neg<T>},     {"Atanh", "Atanh", neg<T>, neg<T>},
    {"Asinh", "Asin", times_minus_i<T>, times_minus_i<T>},  // asin(-iz) = -i asinh z
    {"Atanh", "Atan", times_minus_i<T>, times_minus_i<T>},  // atan(-iz) = -i atanh z
    {"Asin", "Asinh", times_i<T>, times_i<T>},              // asinh(iz) = i asin z
    {"Acos", "Acosh", [](const T *z, T *o) { o[0] = z[0], o[1] = z[1]; }, acos_to_acosh<T>},
};

template <class T> void check_identities() {
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> e(-40, 40);
  const int n = 4000;
  std::vector<T> z(2 * n);
  for (T &v : z) v = (T)std::copysign(std::exp2(e(rng)), (rng() & 1) ? 1.0 : -1.0);
  z[0] = 0, z[1] = 2, z[2] = 2, z[3] = 0, z[4] = 1, z[5] = (T)1e-30;  // cuts and a branch point
  for (const Identity<T> &id : kIdentities<T>) {
    std::vector<T> w(2 * n), z2(2 * n), w2(2 * n), want(2 * n);
    kernel<T>(id.f)(n, z.data(), w.data());
    for (int i = 0; i < n; ++i) id.arg(&z[2 * i], &z2[2 * i]), id.res(&w[2 * i], &want[2 * i]);
    kernel<T>(id.g)(n, z2.data(), w2.data());
    for (int i = 0; i < 2 * n; ++i)
      ASSERT_EQ(memcmp(&w2[i], &want[i], sizeof(T)), 0)
          << id.f << " / " << id.g << " at (" << z[i & ~1] << ", " << z[i | 1] << "): " << w2[i] << " vs " << want[i];
  }
}

TEST(ComplexInverse, IdentitiesHoldBitForBit) {
  check_identities<float>();
  check_identities<double>();
}

// asin(1e-40 + 0i) = 1e-40 + 0i: the real part is a float denormal, stored as
// it is, and the underflow flag is raised.
const float kTinyIn[2] = {1e-40f, 0.0f};

TEST(ComplexInverse, AsinDenormalPartIsStored) {
  float r[2] = {1, 1};
  kernel<float>("Asin")(1, kTinyIn, r);
  EXPECT_EQ(memcmp(r, kTinyIn, sizeof r), 0) << r[0] << " " << r[1];
}

TEST(ComplexInverse, AsinDenormalPartRaisesUnderflow) {
  float r[2];
  feclearexcept(FE_ALL_EXCEPT);
  kernel<float>("Asin")(1, kTinyIn, r);
  EXPECT_TRUE(fetestexcept(FE_UNDERFLOW));
}

}  // namespace
