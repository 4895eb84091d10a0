// Inputs where a periodic function's argument reduction is hardest: the
// values of each binade closest to a multiple of pi/2 (found through the
// continued fraction of pi/2 in units of the binade's ulp), the powers of
// two with their neighbours (every threshold of a fast path that is a power
// of two), and the zeros, poles and extrema of the pi and degree forms.
#include "accuracy_points.h"

#include <gmp.h>
#include <math.h>
#include <mpfr.h>
#include <string.h>

#include <limits>

namespace {

template <class T> void with_neighbours(std::vector<T> &v, T x) {
  if (!std::isfinite(x)) return;
  for (T s : {x, -x}) {
    v.push_back(s);
    v.push_back(nextafter(s, std::numeric_limits<T>::infinity()));
    v.push_back(nextafter(s, -std::numeric_limits<T>::infinity()));
  }
}

// The significands m in [2^(p-1), 2^p) for which m * 2^(e-p+1) lies closest to
// a multiple of pi/2: numerators of the convergents of pi/2 / ulp that fit,
// scaled into the binade by their smallest and largest integer multiple.
template <class T> void near_half_pi_multiples(std::vector<T> &v, int e) {
  const int p = std::numeric_limits<T>::digits;
  const int prec = 2 * (e > 0 ? e : 0) + 4 * p + 256;
  mpfr_t alpha, frac;
  mpfr_inits2(prec, alpha, frac, (mpfr_ptr)0);
  mpfr_const_pi(alpha, MPFR_RNDN);
  mpfr_mul_2si(alpha, alpha, p - 2 - e, MPFR_RNDN);  // (pi/2) / 2^(e-p+1)
  const unsigned long long top = 1ull << p;
  unsigned long long h2 = 0, h1 = 1;  // convergent numerators h(i-2), h(i-1)
  mpz_t a;
  mpz_init(a);
  for (int i = 0; i < 4 * p + 64; ++i) {
    mpfr_get_z(a, alpha, MPFR_RNDD);
    // h = a*h1 + h2, as long as it stays below 2^p.
    if (h1 != 0 && mpz_cmp_ui(a, (unsigned long)(top / h1 + 1)) > 0) break;
    const unsigned long long h = mpz_get_ui(a) * h1 + h2;
    if (h >= top) break;
    if (h > 0) {
      const unsigned long long lo = ((top >> 1) + h - 1) / h, hi = (top - 1) / h;
      for (unsigned long long j : {lo, hi})
        if (j >= 1 && j <= hi && j >= lo) with_neighbours(v, (T)ldexp((double)(j * h), e - p + 1));
    }
    h2 = h1, h1 = h;
    mpfr_frac(frac, alpha, MPFR_RNDN);
    if (mpfr_zero_p(frac)) break;
    mpfr_ui_div(alpha, 1, frac, MPFR_RNDN);
  }
  mpz_clear(a);
  mpfr_clears(alpha, frac, (mpfr_ptr)0);
}

bool is(const char *func, std::initializer_list<const char *> names) {
  for (const char *n : names)
    if (strcmp(func, n) == 0) return true;
  return false;
}

}  // namespace

template <class T> std::vector<T> reduction_points(const char *func, bool quick) {
  std::vector<T> v;
  const bool radians = is(func, {"Sin", "Cos", "Tan", "SinCos", "CIS"});
  const bool halfturns = is(func, {"Sinpi", "Cospi", "Tanpi"});
  const bool degrees = is(func, {"Sind", "Cosd", "Tand"});
  if (!radians && !halfturns && !degrees) return v;
  const int emin = std::numeric_limits<T>::min_exponent - 1, emax = std::numeric_limits<T>::max_exponent - 1;
  const int step = quick ? 23 : 1;  // a quick run takes every 23rd binade
  for (int e = emin; e <= emax; e += (e < -2 || e > 80) ? step : 1) {
    with_neighbours(v, (T)ldexp(1.0, e));
    if (radians && e >= 0) near_half_pi_multiples(v, e);
    if (degrees) with_neighbours(v, (T)ldexp(45.0, e)), with_neighbours(v, (T)ldexp(90.0, e));
    if (halfturns && e >= 1 && e <= std::numeric_limits<T>::digits + 1)
      for (double f : {0.25, 0.5, 1.0}) with_neighbours(v, (T)(ldexp(1.0, e) + f)), with_neighbours(v, (T)(ldexp(1.0, e) - f));
  }
  for (int k = 1; k <= 64; ++k) {
    if (halfturns) with_neighbours(v, (T)(0.25 * k));
    if (degrees) with_neighbours(v, (T)(45.0 * k)), with_neighbours(v, (T)(30.0 * k));
  }
  return v;
}

template std::vector<float> reduction_points<float>(const char *, bool);
template std::vector<double> reduction_points<double>(const char *, bool);

template <class T> std::vector<std::array<T, 2>> complex_points(const char *func, bool quick) {
  using L = std::numeric_limits<T>;
  const int p = L::digits;
  const T one_up = nextafter((T)1, (T)2), one_down = nextafter((T)1, (T)0);
  const T ln_max = (T)log((double)L::max()), ln_2max = (T)(log((double)L::max()) + M_LN2);
  const T ln_den = (T)log((double)L::denorm_min());
  const T pi = (T)M_PI;
  std::vector<T> mags = {0, L::denorm_min(), L::min(), (T)1e-20, (T)ldexp(1.0, -p / 2), (T)0.5, 1, one_up, one_down,
                         2, pi / 4, pi / 2, pi, 3 * pi / 2, ln_max, nextafter(ln_max, (T)0), nextafter(ln_max, L::max()),
                         ln_2max, -ln_den, (T)1e10, (T)ldexp(1.0, p + 7), L::max(), L::infinity()};
  std::vector<T> parts = {L::quiet_NaN()};
  for (T m : mags) parts.push_back(m), parts.push_back(-m);
  std::vector<std::array<T, 2>> v;
  for (T re : parts)
    for (T im : parts) v.push_back({re, im});
  // The unit circle: the angles k pi/32, then points whose |z| lies within
  // rounding of 1, where ln |z| cancels.
  for (int k = 0; k < 64; ++k) v.push_back({(T)cos(k * M_PI / 32), (T)sin(k * M_PI / 32)});
  for (int k = 1; k < 64; ++k) {
    const T x = (T)(k / 64.0 + ldexp(1.0, -p / 2) * k), y = (T)sqrt(1.0 - (double)x * (double)x);
    for (T sx : {x, -x})
      for (T sy : {y, -y}) v.push_back({sx, sy}), v.push_back({sy, sx});
  }
  // Next to the branch points 1, -1, i, -i.
  for (int k = 4; k < p + 8; k += 3)
    for (T d : {(T)ldexp(1.0, -k), -(T)ldexp(1.0, -k)})
      for (T e : {(T)0, -(T)0, (T)ldexp(1.0, -2 * k), d}) {
        v.push_back({1 + d, e}), v.push_back({-1 + d, e});
        v.push_back({e, 1 + d}), v.push_back({e, -1 + d});
      }
  // The part that a periodic function reduces, at the hard reduction points.
  const bool circular = !strcmp(func, "Sin") || !strcmp(func, "Cos") || !strcmp(func, "Tan");
  const bool hyperbolic = !strcmp(func, "Sinh") || !strcmp(func, "Cosh") || !strcmp(func, "Tanh") || !strcmp(func, "Exp");
  if (circular || hyperbolic)
    for (T x : reduction_points<T>("Tan", quick))
      for (T y : {(T)0, (T)ldexp(1.0, -30), (T)1}) v.push_back(circular ? std::array<T, 2>{x, y} : std::array<T, 2>{y, x});
  return v;
}

template <class T> std::vector<std::array<T, 2>> complex_pair_values() {
  using L = std::numeric_limits<T>;
  const T parts[] = {0, -(T)0, 1, -1, (T)0.5, 3, L::infinity(), -L::infinity(), L::quiet_NaN(), L::max(), L::denorm_min()};
  std::vector<std::array<T, 2>> v;
  for (T re : parts)
    for (T im : parts) v.push_back({re, im});
  return v;
}

template std::vector<std::array<float, 2>> complex_points<float>(const char *, bool);
template std::vector<std::array<double, 2>> complex_points<double>(const char *, bool);
template std::vector<std::array<float, 2>> complex_pair_values<float>();
template std::vector<std::array<double, 2>> complex_pair_values<double>();
