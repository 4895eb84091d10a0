// Runs a kernel's unit, strided and in-place forms over the same inputs and
// checks every element against a reference.
#ifndef QOR_TESTS_VECTOR_ARITH_HARNESS_H
#define QOR_TESTS_VECTOR_ARITH_HARNESS_H

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <limits>
#include <type_traits>
#include <vector>

#include "vector_arith/arith_ref.h"

namespace arith_test {

using arith_ref::same;

template <class T> using Unary = void (*)(int, const T *, T *);
template <class T> using UnaryI = void (*)(int, const T *, int, T *, int);
template <class T> using Binary = void (*)(int, const T *, const T *, T *);
template <class T> using BinaryI = void (*)(int, const T *, int, const T *, int, T *, int);

template <class T> std::vector<T> spread(const std::vector<T> &x, int inc) {
  std::vector<T> s(x.size() * inc + 1, T(0.75));
  for (size_t i = 0; i < x.size(); ++i) s[i * inc] = x[i];
  return s;
}

// Counts mismatches and reports the first few.
template <class T> struct Mismatch {
  const char *what;
  int count = 0;
  void check(T got, T want, T a, T b = T(0)) {
    if (same(got, want)) return;
    if (++count <= 5)
      ADD_FAILURE() << what << ": a=" << a << " b=" << b << " got " << got << " want " << want;
  }
  ~Mismatch() { EXPECT_EQ(count, 0) << what; }
};

template <class T>
void check_unary(const char *name, Unary<T> unit, UnaryI<T> strided, const std::vector<T> &x,
                 const std::function<T(T)> &ref) {
  const int n = (int)x.size();
  std::vector<T> want(n);
  for (int i = 0; i < n; ++i) want[i] = ref(x[i]);
  {
    Mismatch<T> m{name};
    std::vector<T> r(n);
    unit(n, x.data(), r.data());
    for (int i = 0; i < n; ++i) m.check(r[i], want[i], x[i]);
  }
  {
    Mismatch<T> m{"in place"};
    std::vector<T> r = x;
    unit(n, r.data(), r.data());
    for (int i = 0; i < n; ++i) m.check(r[i], want[i], x[i]);
  }
  {
    Mismatch<T> m{"strided 3, 2"};
    std::vector<T> a = spread(x, 3), r(2 * n + 1, T(-9));
    strided(n, a.data(), 3, r.data(), 2);
    for (int i = 0; i < n; ++i) m.check(r[2 * i], want[i], x[i]);
    for (int i = 0; i < n; ++i) EXPECT_EQ(r[2 * i + 1], T(-9)) << "gap overwritten at " << i;
  }
  {
    Mismatch<T> m{"strided 1, 1"};
    std::vector<T> r(n);
    strided(n, x.data(), 1, r.data(), 1);
    for (int i = 0; i < n; ++i) m.check(r[i], want[i], x[i]);
  }
}

template <class T>
void check_binary(const char *name, Binary<T> unit, BinaryI<T> strided, const std::vector<T> &a,
                  const std::vector<T> &b, const std::function<T(T, T)> &ref) {
  const int n = (int)a.size();
  std::vector<T> want(n);
  for (int i = 0; i < n; ++i) want[i] = ref(a[i], b[i]);
  {
    Mismatch<T> m{name};
    std::vector<T> r(n);
    unit(n, a.data(), b.data(), r.data());
    for (int i = 0; i < n; ++i) m.check(r[i], want[i], a[i], b[i]);
  }
  {
    Mismatch<T> m{"in place over a"};
    std::vector<T> r = a;
    unit(n, r.data(), b.data(), r.data());
    for (int i = 0; i < n; ++i) m.check(r[i], want[i], a[i], b[i]);
  }
  {
    Mismatch<T> m{"in place over b"};
    std::vector<T> r = b;
    unit(n, a.data(), r.data(), r.data());
    for (int i = 0; i < n; ++i) m.check(r[i], want[i], a[i], b[i]);
  }
  {
    Mismatch<T> m{"strided 2, 3, 2"};
    std::vector<T> sa = spread(a, 2), sb = spread(b, 3), r(2 * n + 1, T(-9));
    strided(n, sa.data(), 2, sb.data(), 3, r.data(), 2);
    for (int i = 0; i < n; ++i) m.check(r[2 * i], want[i], a[i], b[i]);
    for (int i = 0; i < n; ++i) EXPECT_EQ(r[2 * i + 1], T(-9)) << "gap overwritten at " << i;
  }
  {
    Mismatch<T> m{"strided 1, 1, 1"};
    std::vector<T> r(n);
    strided(n, a.data(), 1, b.data(), 1, r.data(), 1);
    for (int i = 0; i < n; ++i) m.check(r[i], want[i], a[i], b[i]);
  }
}

}  // namespace arith_test

#endif
