// Continuous laws. Three tables:
//  - compositions: every entry whose steps are a fixed chain of kernels, against
//    a plain recurrence (uniforms drawn one at a time on a copied stream, the
//    same kernels at length 1), bit for bit, and against the exact
//    transformation of the same uniforms in long double; entries x types x
//    splits x generators;
//  - laws: chi-square against the exact law (GSL's distribution functions or
//    closed forms) on both sides of every branch point, tiny and huge shapes;
//    laws x parameters x types x generators, with p-values printed;
//  - behaviour: singular uniforms, the accurate clamp, ignored method words,
//    statuses and refused shapes.
#include <dlfcn.h>
#include <gsl/gsl_cdf.h>
#include <gsl/gsl_errno.h>
#include <gtest/gtest.h>
#include <string.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "qor/qor_bex.h"
#include "qor/qor_random_brng.h"
#include "qor/qor_random_dist.h"
#include "random/dist_test_util.h"

namespace {

using namespace dist_test;
constexpr int kAcc = GUX_METHOD_ACCURATE_FLAG, kHA = 1;

// ======== compositions: bit for bit, and near the exact transformation ===============
// A reference writes the next n results of one call (bits) and the exact value
// of each from the same uniforms; `held` is its copy of a Box-Muller2 pair.
struct Held { bool on = false; long double u0, u1; };
using Ref = std::function<void(GuxStream *, int, double *, long double *, Held &)>;
struct Composition {
  std::string name;
  Draw draw;
  Ref ref;
  double tol;           // relative to max(1, |exact|)
  bool splits = true;   // splitting a request changes nothing
};

template <class T> void add_compositions(std::vector<Composition> &v) {
  const T a = (T)1.25, b = (T)0.75;
  const double tol = sizeof(T) == 8 ? 0x1p-23 : 0x1p-18;
  const std::string L = sizeof(T) == 8 ? "d" : "s";
  auto each = [](auto f) {  // a reference drawing one uniform per variate
    return [f](GuxStream *s, int n, double *out, long double *ex, Held &) {
      for (int i = 0; i < n; ++i) f(next<T>(s), out[i], ex[i]);
    };
  };
  auto clamp = [](int m, T lo, T x) { return m && !(x > lo) ? lo : x; };
  auto clampl = [](int m, long double lo, long double x) { return m && x < lo ? lo : x; };
  // Uniform and Exponential (the accurate flag clamps into the support), and
  // the Gaussian by Box-Muller, Box-Muller2 (a held pair) and the inverse.
  const T lo = (T)-1.5, hi = (T)2.25;
  for (int m : {0, kAcc}) {
    const std::string tag = m ? " accurate" : "";
    v.push_back({L + "Uniform" + tag, typed<T>([=](GuxStream *s, int n, T *r) { return Uniform<T>(m, s, n, r, lo, hi); }),
                 [=](GuxStream *s, int n, double *out, long double *ex, Held &) {
                   for (int i = 0; i < n; ++i) {
                     const T x = next<T>(s, lo, hi);
                     out[i] = ex[i] = m ? std::min(std::max(x, lo), hi) : x;
                   }
                 },
                 tol});
    v.push_back({L + "Exponential" + tag, typed<T>([=](GuxStream *s, int n, T *r) { return Exponential<T>(m, s, n, r, a, b); }),
                 each([=](T u, double &o, long double &e) {
                   o = clamp(m, a, a - b * k1<T>("Ln", u)), e = (long double)a - (long double)b * logl(u);
                 }),
                 tol});
  }
  auto rho = [](T u0) { const T l = k1<T>("Ln", u0); return k1<T>("Sqrt", T(-(l + l))); };
  auto exact_bm = [a, b](long double u0, long double u1, bool cosine) {
    const long double t = 2 * kPi * u1;
    return (cosine ? cosl(t) : sinl(t)) * sqrtl(-2 * logl(u0)) * b + a;
  };
  auto gaussian = [=](int m) { return typed<T>([=](GuxStream *s, int n, T *r) { return Gaussian<T>(m, s, n, r, a, b); }); };
  v.push_back({L + "Gaussian BoxMuller", gaussian(0),
               [=](GuxStream *s, int n, double *out, long double *ex, Held &) {
                 for (int i = 0; i < n; ++i) {
                   const T u0 = next<T>(s), u1 = next<T>(s);
                   out[i] = (rho(u0) * k1<T>("Sin", T(u1 * two_pi<T>()))) * b + a, ex[i] = exact_bm(u0, u1, false);
                 }
               },
               tol});
  v.push_back({L + "Gaussian BoxMuller2", gaussian(1),
               [=](GuxStream *s, int n, double *out, long double *ex, Held &p) {
                 int i = 0;
                 if (n > 0 && p.on) {  // the second half of the held pair: Cos at length 1
                   out[0] = (rho((T)p.u0) * k1<T>("Cos", T((T)p.u1 * two_pi<T>()))) * b + a;
                   ex[i++] = exact_bm(p.u0, p.u1, true);
                 }
                 for (; i < n; i += 2) {
                   const T u0 = next<T>(s), u1 = next<T>(s), r = rho(u0);
                   T sn, cs;
                   sincos1<T>(T(u1 * two_pi<T>()), &sn, &cs);
                   if (i + 1 == n) sn = k1<T>("Sin", T(u1 * two_pi<T>())), p.u0 = u0, p.u1 = u1;
                   out[i] = (r * sn) * b + a, ex[i] = exact_bm(u0, u1, false);
                   if (i + 1 < n) out[i + 1] = (r * cs) * b + a, ex[i + 1] = exact_bm(u0, u1, true);
                 }
                 if (n > 0) p.on = i > n;
               },
               tol, sizeof(T) == 8});
  v.push_back({L + "Gaussian ICDF", gaussian(2),
               [=](GuxStream *s, int n, double *out, long double *ex, Held &) {
                 for (int i = 0; i < n; ++i) {
                   // A uniform of exactly -1 (a small first state rounded to
                   // float) is singular: the fix-up gives -5.86 or -3.83.
                   const T u = next<T>(s, T(-1), T(1)), fix = sizeof(T) == 8 ? (T)5.8635847487551676 : (T)3.832507f;
                   const T e = std::fabs(u) == 1 ? std::copysign(fix, u) : k1<T>("ErfInv", u);
                   long double x = e;  // Newton steps on erf in long double
                   for (int k = 0; k < 6 && std::fabs(u) < 1; ++k) x -= (erfl(x) - u) / (2 / sqrtl(kPi) * expl(-x * x));
                   out[i] = e * (sqrt2<T>() * b) + a, ex[i] = x * sqrtl(2.0L) * b + a;
                 }
               },
               tol});
  for (int m : {0, 1, kAcc}) {
    const std::string tag = m == kAcc ? " accurate" : m ? " word 1" : "";
    if (m != kAcc) {  // Cauchy, Gumbel, Laplace read no word: 0 and 1 are the same entry
      v.push_back({L + "Cauchy" + tag, typed<T>([=](GuxStream *s, int n, T *r) { return Cauchy<T>(m, s, n, r, a, b); }),
                   [=](GuxStream *s, int n, double *out, long double *ex, Held &) {
                     const T h = sizeof(T) == 8 ? (T)1.5707963267948966 : (T)0x1.921fb6p+0f;
                     for (int i = 0; i < n; ++i) {
                       const T u = next<T>(s, -h, h);
                       out[i] = k1<T>("Tan", u) * b + a, ex[i] = tanl(u) * b + a;
                     }
                   },
                   tol});
      v.push_back({L + "Gumbel" + tag, typed<T>([=](GuxStream *s, int n, T *r) { return Gumbel<T>(m, s, n, r, a, b); }),
                   each([=](T u, double &o, long double &e) {
                     o = k1<T>("Ln", T(-k1<T>("Ln", u))) * b + a, e = logl(-logl(u)) * b + a;
                   }),
                   tol});
      v.push_back({L + "Laplace" + tag, typed<T>([=](GuxStream *s, int n, T *r) { return Laplace<T>(m, s, n, r, a, b); }),
                   [=](GuxStream *s, int n, double *out, long double *ex, Held &) {
                     for (int i = 0; i < n; ++i) {
                       const T u = next<T>(s), side = next<T>(s), c = side <= T(0.5) ? -b : b;
                       out[i] = c * k1<T>("Ln", u) + a, ex[i] = c * logl(u) + a;
                     }
                   },
                   tol});
    }
    if (m == 1) continue;
    v.push_back({L + "Rayleigh" + tag, typed<T>([=](GuxStream *s, int n, T *r) { return Rayleigh<T>(m, s, n, r, a, b); }),
                 each([=](T u, double &o, long double &e) {
                   o = clamp(m, a, k1<T>("Sqrt", T(-k1<T>("Ln", u))) * b + a), e = clampl(m, a, sqrtl(-logl(u)) * b + a);
                 }),
                 tol});
    for (T al : {T(0.5), T(1), T(2.5)})
      v.push_back({L + "Weibull " + std::to_string(al) + tag,
                   typed<T>([=](GuxStream *s, int n, T *r) { return Weibull<T>(m, s, n, r, al, a, b); }),
                   each([=](T u, double &o, long double &e) {
                     o = clamp(m, a, powx1<T>(T(-k1<T>("Ln", u)), T(1) / al) * b + a);
                     e = clampl(m, a, powl(-logl(u), 1.0L / al) * b + a);
                   }),
                   tol});
    v.push_back({L + "Gamma 1" + tag, typed<T>([=](GuxStream *s, int n, T *r) { return Gamma<T>(m, s, n, r, T(1), a, b); }),
                 each([=](T u, double &o, long double &e) {
                   o = clamp(m, a, T(-k1<T>("Ln", u)) * b + a), e = clampl(m, a, -logl(u) * b + a);
                 }),
                 tol});
    // Beta with a shape of exactly 1 is the inverse transform: u^(1/p) or 1 - u^(1/q).
    for (auto pq : {std::pair<T, T>{T(2.5), T(1)}, {T(1), T(3.5)}})
      v.push_back({L + "Beta " + std::to_string(pq.first) + "," + std::to_string(pq.second) + tag,
                   typed<T>([=](GuxStream *s, int n, T *r) { return Beta<T>(m, s, n, r, pq.first, pq.second, a, b); }),
                   each([=](T u, double &o, long double &e) {
                     const bool upper = pq.second != T(1);
                     const T inv = T(1) / (upper ? pq.second : pq.first);
                     const T x = k1<T>("Exp", T(k1<T>("Ln", u, kHA) * inv), kHA);
                     const long double xe = powl(u, 1.0L / (upper ? pq.second : pq.first));
                     o = clamp(m, a, T(upper ? T(1) - x : x) * b + a), e = clampl(m, a, (upper ? 1 - xe : xe) * b + a);
                   }),
                   tol});
  }
  // Chi-square: v = 2 is Gamma(1, 0, 2); v = 1 and 3 square Box-Muller normals
  // (pairs in blocks of 512, an odd count dropping the last cosine) and for 3
  // add -2 ln u of uniforms drawn after the block's pairs. The float angle
  // 2 pi u1 is rounded before the sine: that error, times -2 ln u0, needs a
  // wider bound than the location-scale laws.
  v.push_back({L + "ChiSquare 2", typed<T>([](GuxStream *s, int n, T *r) { return ChiSquare<T>(0, s, n, r, 2); }),
               each([](T u, double &o, long double &e) { o = T(-k1<T>("Ln", u)) * T(2), e = -2 * logl(u); }), tol});
  for (int dof : {1, 3})
    v.push_back({L + "ChiSquare " + std::to_string(dof),
                 typed<T>([=](GuxStream *s, int n, T *r) { return ChiSquare<T>(7, s, n, r, dof); }),
                 [=](GuxStream *s, int n, double *out, long double *ex, Held &) {
                   for (int done = 0; done < n; done += 1024) {
                     const int count = std::min(n - done, 1024);
                     for (int i = 0; i < count; i += 2) {
                       const T u0 = next<T>(s), u1 = next<T>(s), l = k1<T>("Ln", u0), e = -(l + l);
                       T sn, cs;
                       sincos1<T>(T(u1 * two_pi<T>()), &sn, &cs);
                       const long double el = -2 * logl(u0), t = 2 * kPi * u1;
                       out[done + i] = (sn * sn) * e, ex[done + i] = el * sinl(t) * sinl(t);
                       if (i + 1 < count) out[done + i + 1] = (cs * cs) * e, ex[done + i + 1] = el * cosl(t) * cosl(t);
                     }
                     for (int i = 0; i < count && dof == 3; ++i) {
                       const T u = next<T>(s), l = k1<T>("Ln", u);
                       out[done + i] = (T)(T(out[done + i]) - (l + l)), ex[done + i] -= 2 * logl(u);
                     }
                   }
                 },
                 sizeof(T) == 8 ? 0x1p-23 : 0x1p-15, false});
  // Lognormal: the Gaussian entry (word 0: Box-Muller2, any other word: the
  // inverse distribution function), then Exp, then b + beta x. The exact value
  // is formed from the Gaussian's own uniforms, replayed on a second copy.
  const T mu = (T)0.25, sg = (T)0.5;
  for (int m : {0, 2, 5, kAcc})
    v.push_back({L + "Lognormal word " + std::to_string(m),
                 typed<T>([=](GuxStream *s, int n, T *r) { return Lognormal<T>(m, s, n, r, mu, sg, a, b); }),
                 [=](GuxStream *s, int n, double *out, long double *ex, Held &held) {
                   GuxStream *rp = nullptr;
                   __guxCopyStream(&rp, s);
                   Stream replay(rp);
                   std::vector<T> g(n + 1);
                   Gaussian<T>(m ? 2 : 1, s, n, g.data(), mu, sg);
                   int i = 0;
                   auto normal = [](long double u0, long double u1, bool cosine) {
                     return sqrtl(-2 * logl(u0)) * (cosine ? cosl(2 * kPi * u1) : sinl(2 * kPi * u1));
                   };
                   if (m == 0 && n > 0 && held.on) ex[i++] = normal(held.u0, held.u1, true), held.on = false;
                   for (; i < n; ++i) {
                     if (m) {  // ErfInv by Newton steps on erf from the variate itself
                       const T u = next<T>(replay.s, T(-1), T(1));
                       long double x = ((long double)g[i] - mu) / sg / sqrtl(2.0L);
                       for (int k = 0; k < 6 && std::fabs(u) < 1; ++k) x -= (erfl(x) - u) / (2 / sqrtl(kPi) * expl(-x * x));
                       ex[i] = x * sqrtl(2.0L);
                       continue;
                     }
                     const T u0 = next<T>(replay.s), u1 = next<T>(replay.s);
                     ex[i] = normal(u0, u1, false);
                     if (i + 1 < n) ex[++i] = normal(u0, u1, true);
                     else held = {true, u0, u1};
                   }
                   for (int j = 0; j < n; ++j) {
                     out[j] = clamp(m & kAcc, a, k1<T>("Exp", g[j]) * b + a);
                     ex[j] = clampl(m & kAcc, a, expl(mu + sg * ex[j]) * b + a);
                   }
                 },
                 tol, !(sizeof(T) == 4 && m == 0)});
}

std::vector<Composition> compositions() {
  std::vector<Composition> v;
  add_compositions<double>(v);
  add_compositions<float>(v);
  v.push_back({"iUniform", typed<int32_t>([](GuxStream *s, int n, int32_t *r) { return _guxiRngUniform(0, s, n, r, -7, 11); }),
               [](GuxStream *s, int n, double *out, long double *ex, Held &) {
                 for (int i = 0; i < n; ++i) out[i] = ex[i] = std::floor(next<double>(s, -7, 11));
               },
               0});
  return v;
}

const std::vector<std::vector<int>> &kSplits = dist_test::kSplits2600;

TEST(ContinuousLaws, CompositionsBitForBitAndNearExact) {
  for (const Composition &c : compositions())
    for (const Generator &g : kGenerators) {
      std::vector<double> one;
      for (const auto &split : kSplits) {
        SCOPED_TRACE(c.name + " on " + g.name + ", split " + std::to_string(&split - &kSplits[0]));
        Stream s(g.id, g.seed), copy(s);
        std::vector<double> got(2600), want(2600);
        std::vector<long double> exact(2600);
        Held held;
        int pos = 0, bad = 0;
        for (int piece : split) {
          EXPECT_GE(c.draw(s.s, piece, got.data() + pos), 0);
          c.ref(copy.s, piece, want.data() + pos, exact.data() + pos, held);
          pos += piece;
        }
        if (one.empty()) one = got;
        double worst = 0;
        for (int i = 0; i < 2600; ++i) {
          const long double err = fabsl(got[i] - exact[i]) / std::max(1.0L, fabsl(exact[i]));
          worst = std::max(worst, (double)err);
          // The float Box-Muller2 pair straddling two calls goes through sSin
          // and sCos instead of sSinCos: an ulp or two.
          const bool split_ok = got[i] == one[i] || (!c.splits && std::fabs(got[i] - one[i]) <= 1e-5 * std::max(1.0, std::fabs(one[i])));
          if ((memcmp(&got[i], &want[i], 8) || !(err <= c.tol) || (c.splits && !split_ok)) && bad++ < 3)
            ADD_FAILURE() << i << ": " << got[i] << " want " << want[i] << " one call " << one[i] << " exact "
                          << (double)exact[i] << " err " << (double)err;
        }
        EXPECT_EQ(next<double>(s.s), next<double>(copy.s));  // the same uniforms consumed
      }
    }
}

// ======== laws: chi-square against the exact distribution ===============================
// A law is drawn as x and compared through y = (x - shift)/scale with cdf(y);
// cell edges are the 20-quantiles found by bisection on the order of doubles,
// clamped into [lo, hi] (beyond them the type cannot resolve the law: values
// underflow or round to 1), merged where they coincide.
struct Law {
  std::string name;
  std::function<Draw(bool dbl)> draw;  // for double or float
  std::function<double(double)> cdf;
  double shift, scale, lo, hi;
  bool dbl_only = false;
};

int64_t order(double x) { int64_t i; memcpy(&i, &x, 8); return i < 0 ? INT64_MIN - i : i; }
double unorder(int64_t i) { i = i < 0 ? INT64_MIN - i : i; double x; memcpy(&x, &i, 8); return x; }
double quantile(const Law &l, double p, double lo, double hi) {
  int64_t a = order(lo), b = order(hi);
  if (l.cdf(lo) >= p) return lo;
  if (l.cdf(hi) <= p) return hi;
  while ((uint64_t)b - (uint64_t)a > 1) {  // the distance may pass INT64_MAX
    const int64_t mid = (int64_t)((uint64_t)a + ((uint64_t)b - (uint64_t)a) / 2);
    (l.cdf(unorder(mid)) < p ? a : b) = mid;
  }
  return unorder(b);
}

// Returns the p-value of `x` against the law (standardized inside); `used`
// receives the number of cells.
double chi_square_p(const Law &l, const std::vector<double> &x, bool dbl, int &used) {
  const double lo = l.lo < 0 ? -HUGE_VAL : std::max(l.lo, dbl ? 0x1p-1000 : 0x1p-100);
  const double hi = l.hi < 1.5 ? std::min(l.hi, dbl ? 1 - 0x1p-40 : 1 - 0x1p-20) : l.hi;
  std::vector<double> edges;
  for (int k = 1; k < 20; ++k) {
    const double q = quantile(l, k / 20.0, l.lo < 0 ? -1e300 : lo, hi);
    if (q >= lo && q <= hi && (edges.empty() || q > edges.back())) edges.push_back(q);
  }
  // Cells (-inf, e0), [e0, e1), ..., [e_last, inf), merged until each expects 5.
  std::vector<double> mass, count(edges.size() + 1, 0);
  double prev = 0;
  for (double e : edges) mass.push_back(l.cdf(e) - prev), prev = l.cdf(e);
  mass.push_back(1 - prev);
  for (double v : x) {
    const double y = (double)(((long double)v - l.shift) / l.scale);
    count[std::upper_bound(edges.begin(), edges.end(), y) - edges.begin()] += 1;
  }
  double chi = 0, m = 0, c = 0;
  int cells = 0;
  for (size_t i = 0; i < mass.size(); ++i) {
    m += mass[i] * x.size(), c += count[i];
    if (m < 5 && i + 1 < mass.size()) continue;
    chi += (c - m) * (c - m) / m, ++cells, m = c = 0;
  }
  used = cells;
  return cells < 2 ? 1.0 : gsl_cdf_chisq_Q(chi, cells - 1);
}

std::vector<Law> laws() {
  std::vector<Law> v;
  const double a = 1.25, b = 0.75, inf = HUGE_VAL;
  // An entry for either type: f(s, n, r) with r pointing to doubles or floats.
  auto both = [](auto f) {
    return [f](bool dbl) {
      return dbl ? typed<double>([f](GuxStream *s, int n, double *r) { return f(s, n, r); })
                 : typed<float>([f](GuxStream *s, int n, float *r) { return f(s, n, r); });
    };
  };
#define LAW_TYPE using T = std::remove_pointer_t<decltype(r)>
  auto two = [&](std::string name, auto entry, std::function<double(double)> cdf, double lo, int m = 0) {
    v.push_back({name, both([=](GuxStream *s, int n, auto *r) { LAW_TYPE; return entry(T(), m, s, n, r, (T)a, (T)b); }),
                 cdf, a, b, lo, inf});
  };
#define ENTRY(Name) [](auto t, int m, GuxStream *s, int n, auto *r, auto x, auto y) { return Name<decltype(t)>(m, s, n, r, x, y); }
  v.push_back({"Uniform", both([](GuxStream *s, int n, auto *r) { LAW_TYPE; return Uniform<T>(0, s, n, r, T(-1.5), T(2.25)); }),
               [](double y) { return y; }, -1.5, 3.75, 0, 1});
  for (int m : {0, kAcc}) two(m ? "Exponential accurate" : "Exponential", ENTRY(Exponential), [](double y) { return -expm1(-y); }, 0, m);
  for (int m : {0, 1, 2})
    two("Gaussian method " + std::to_string(m), ENTRY(Gaussian), [](double y) { return gsl_cdf_ugaussian_P(y); }, -inf, m);
  two("Cauchy", ENTRY(Cauchy), [](double y) { return 0.5 + atan(y) / M_PI; }, -inf);
  two("Gumbel", ENTRY(Gumbel), [](double y) { return -expm1(-exp(y)); }, -inf);
  two("Laplace", ENTRY(Laplace), [](double y) { return y < 0 ? 0.5 * exp(y) : 1 - 0.5 * exp(-y); }, -inf);
  two("Rayleigh accurate", ENTRY(Rayleigh), [](double y) { return -expm1(-y * y); }, 0, kAcc);
#undef ENTRY
  for (double al : {0.5, 1.0, 3.0})
    v.push_back({"Weibull " + std::to_string(al),
                 both([=](GuxStream *s, int n, auto *r) { LAW_TYPE; return Weibull<T>(kAcc, s, n, r, (T)al, (T)a, (T)b); }),
                 [=](double y) { return -expm1(-pow(y, al)); }, a, b, 0, inf});
  for (int m : {0, 2, kAcc})
    v.push_back({"Lognormal word " + std::to_string(m),
                 both([=](GuxStream *s, int n, auto *r) { LAW_TYPE; return Lognormal<T>(m, s, n, r, T(0.25), T(0.5), (T)a, (T)b); }),
                 [](double y) { return y <= 0 ? 0 : gsl_cdf_ugaussian_P((log(y) - 0.25) / 0.5); }, a, b, 0, inf});
  // Gamma on both sides of 0.6 and 1, tiny and huge; tiny shapes unshifted.
  for (double al : {1e-3, 0.05, 0.3, 0.5999, 0.6, 0.8, 0.9999, 1.0, 1.0001, 2.5, 1e4}) {
    const double sh = al < 0.1 ? 0 : a, sc = al < 0.1 ? 2 : b;
    v.push_back({"Gamma " + std::to_string(al),
                 both([=](GuxStream *s, int n, auto *r) { LAW_TYPE; return Gamma<T>(kAcc, s, n, r, (T)al, (T)sh, (T)sc); }),
                 [=](double y) { return y <= 0 ? 0 : gsl_cdf_gamma_P(y, al, 1); }, sh, sc, 0, inf});
  }
  for (int dof : {1, 2, 3, 4, 5, 7, 20000})
    v.push_back({"ChiSquare " + std::to_string(dof), both([=](GuxStream *s, int n, auto *r) { LAW_TYPE; return ChiSquare<T>(0, s, n, r, dof); }),
                 [=](double y) { return y <= 0 ? 0 : gsl_cdf_chisq_P(y, dof); }, 0, 1, 0, inf});
  // Beta: both below 1, one below and one above (either order), both above,
  // a shape of exactly 1, and each side of 1 closely; tiny and huge.
  const std::pair<double, double> shapes[] = {{0.01, 0.01}, {0.5, 0.5},   {0.999, 0.3},  {0.9999, 0.9999}, {1, 1},
                                              {1, 3},       {2.5, 1},     {0.3, 1},      {1, 0.2},         {0.5, 2},
                                              {3, 0.4},     {0.01, 1e4},  {1e4, 0.01},   {0.9999, 1.0001}, {1.0001, 1.0001},
                                              {2, 3},       {1e4, 1e4},   {50, 0.9},     {0.02, 1.5}};
  for (auto [p, q] : shapes) {
    const bool tiny = p < 0.1 || q < 0.1;
    const double sh = tiny ? 0 : a, sc = tiny ? 1 : b;
    v.push_back({"Beta " + std::to_string(p) + "," + std::to_string(q),
                 both([=](GuxStream *s, int n, auto *r) { LAW_TYPE; return Beta<T>(kAcc, s, n, r, (T)p, (T)q, (T)sh, (T)sc); }),
                 [=](double y) { return y <= 0 ? 0 : y >= 1 ? 1 : gsl_cdf_beta_P(y, p, q); }, sh, sc, 0, 1});
  }
#undef LAW_TYPE
  return v;
}

TEST(ContinuousLaws, ChiSquareAgainstTheExactLaw) {
  gsl_set_error_handler_off();
  std::string report;
  int low = 0;
  for (const Law &l : laws())
    for (bool dbl : {true, false})
      for (const Generator &g : kGenerators) {
        Stream s(g.id, g.seed);
        std::vector<double> x(20000);
        ASSERT_GE(l.draw(dbl)(s.s, 20000, x.data()), 0);
        int cells = 0;
        const double p = chi_square_p(l, x, dbl, cells);
        char line[160];
        snprintf(line, sizeof line, "  %s%-26s %-8s cells %2d  p = %.4f\n", dbl ? "d" : "s", l.name.c_str(), g.name, cells, p);
        report += line;
        EXPECT_GT(p, 1e-4) << line;
        EXPECT_GE(cells, 2) << line;  // sGamma(1e-3), Beta(1e4, 0.01): the type resolves a few cells only
        low += p < 0.01;
      }
  printf("chi-square p-values, 20000 draws, 20 cells:\n%s  below 0.01: %d\n", report.c_str(), low);
}

// ======== behaviour =========================================================================
// A stream over a script of uniforms on [0, 1) (values exact for [0, 1)
// requests); a negative `fail` makes the refill report that status.
struct Uniforms { std::vector<double> values; size_t at = 0; int fail = 0; } g_uniforms;
template <class T> int refill(GuxStream *, const int *size, T *buf, const int *, const int *maximum, const int *index) {
  if (g_uniforms.fail < 0) return g_uniforms.fail;
  for (int k = 0; k < *maximum; ++k) buf[(*index + k) % *size] = (T)g_uniforms.values[g_uniforms.at++ % g_uniforms.values.size()];
  return *maximum;
}
template <class T> GuxStream *over_uniforms(std::vector<double> values, int fail = 0) {
  static T buf[64];
  g_uniforms = {values, 0, fail};
  GuxStream *s = nullptr;
  if constexpr (sizeof(T) == 8) EXPECT_EQ(__guxdNewAbstractStream(&s, 64, buf, 0.0, 1.0, refill<double>), 0);
  else EXPECT_EQ(__guxsNewAbstractStream(&s, 64, buf, 0.0f, 1.0f, refill<float>), 0);
  return s;
}

// The entries of this file with chosen parameters, by method word.
template <class T> std::vector<std::pair<std::string, std::function<int(int, GuxStream *, int, T *)>>> entries(T beta) {
  const T a = (T)1.25;
  return {{"Cauchy", [=](int m, GuxStream *s, int n, T *r) { return Cauchy<T>(m, s, n, r, a, beta); }},
          {"Gumbel", [=](int m, GuxStream *s, int n, T *r) { return Gumbel<T>(m, s, n, r, a, beta); }},
          {"Laplace", [=](int m, GuxStream *s, int n, T *r) { return Laplace<T>(m, s, n, r, a, beta); }},
          {"Rayleigh", [=](int m, GuxStream *s, int n, T *r) { return Rayleigh<T>(m, s, n, r, a, beta); }},
          {"Weibull", [=](int m, GuxStream *s, int n, T *r) { return Weibull<T>(m, s, n, r, T(2.5), a, beta); }},
          {"Lognormal", [=](int m, GuxStream *s, int n, T *r) { return Lognormal<T>(m, s, n, r, T(0), T(1), a, beta); }},
          {"Gamma 0.3", [=](int m, GuxStream *s, int n, T *r) { return Gamma<T>(m, s, n, r, T(0.3), a, beta); }},
          {"Gamma 0.7", [=](int m, GuxStream *s, int n, T *r) { return Gamma<T>(m, s, n, r, T(0.7), a, beta); }},
          {"Gamma 1", [=](int m, GuxStream *s, int n, T *r) { return Gamma<T>(m, s, n, r, T(1), a, beta); }},
          {"Gamma 4", [=](int m, GuxStream *s, int n, T *r) { return Gamma<T>(m, s, n, r, T(4), a, beta); }},
          {"Beta 0.5,0.5", [=](int m, GuxStream *s, int n, T *r) { return Beta<T>(m, s, n, r, T(0.5), T(0.5), a, beta); }},
          {"Beta 1,2", [=](int m, GuxStream *s, int n, T *r) { return Beta<T>(m, s, n, r, T(1), T(2), a, beta); }},
          {"Beta 2,3", [=](int m, GuxStream *s, int n, T *r) { return Beta<T>(m, s, n, r, T(2), T(3), a, beta); }},
          {"Beta 0.5,3", [=](int m, GuxStream *s, int n, T *r) { return Beta<T>(m, s, n, r, T(0.5), T(3), a, beta); }},
          {"ChiSquare 1", [=](int m, GuxStream *s, int n, T *r) { return ChiSquare<T>(m, s, n, r, 1); }},
          {"ChiSquare 3", [=](int m, GuxStream *s, int n, T *r) { return ChiSquare<T>(m, s, n, r, 3); }},
          {"ChiSquare 6", [=](int m, GuxStream *s, int n, T *r) { return ChiSquare<T>(m, s, n, r, 6); }}};
}
bool clamps(const std::string &name) { return name.rfind("Cauchy", 0) && name.rfind("Gumbel", 0) && name.rfind("Laplace", 0) && name.rfind("Chi", 0); }

template <class T> void behaviour() {
  const std::string L = sizeof(T) == 8 ? "d" : "s";
  // Words: the accurate flag with a NaN scale gives the bound everywhere
  // (without it NaN); the entries that read no word give the same numbers
  // for any word.
  for (auto &[name, run] : entries<T>(T(NAN))) {
    SCOPED_TRACE(L + name);
    Stream s(GUX_BRNG_MT19937, 11), copy(s);
    std::vector<T> x(600), y(600);
    ASSERT_GE(run(kAcc, s.s, 600, x.data()), 0);
    ASSERT_GE(run(0, copy.s, 600, y.data()), 0);
    for (int i = 0; i < 600 && clamps(name); ++i) ASSERT_TRUE(x[i] == T(1.25) && std::isnan(y[i])) << i;
  }
  for (auto &[name, run] : entries<T>(T(0.75))) {
    SCOPED_TRACE(L + name);
    std::vector<T> first;
    const bool reads = clamps(name) || name == "Lognormal";
    for (int m : {0, 1, 7, 0x10, kAcc}) {
      if (reads && m != 0 && m != 1) continue;
      if (name == "Lognormal" && m == 1) continue;  // word 1 is the ICDF, compared below
      Stream s(GUX_BRNG_MCG59, 5);
      std::vector<T> x(700);
      ASSERT_GE(run(m, s.s, 700, x.data()), 0);
      if (first.empty()) first = x;
      EXPECT_EQ(first, x) << "word " << m;
    }
    if (name == "Lognormal") {  // every non-zero word is the inverse distribution function
      std::vector<std::vector<T>> got;
      for (int m : {1, 2, 5, kAcc}) {
        Stream s(GUX_BRNG_MCG59, 5);
        got.emplace_back(700);
        run(m, s.s, 700, got.back().data());
      }
      for (auto &g : got) EXPECT_EQ(g, got[0]);
    }
  }
  // Singular uniforms: a uniform of exactly 0 reaches ln(0) and gets the
  // fix-up value (ln of the smallest denormal); the Laplace selector 0.5 takes
  // the upper side.
  const double z = sizeof(T) == 8 ? 744.44007192138122 : 103.2789306640625;
  const struct { const char *name; std::vector<double> script; double want; std::function<int(GuxStream *, T *)> run; } singular[] = {
      {"Gumbel", {0.0}, std::log(z) * 0.75 + 1.25, [](GuxStream *s, T *r) { return Gumbel<T>(0, s, 1, r, T(1.25), T(0.75)); }},
      {"Laplace", {0.0, 0.5}, z * 0.75 + 1.25, [](GuxStream *s, T *r) { return Laplace<T>(0, s, 1, r, T(1.25), T(0.75)); }},
      {"Laplace 0.5", {0.25, 0.5}, -std::log(0.25) * 0.75 + 1.25, [](GuxStream *s, T *r) { return Laplace<T>(0, s, 1, r, T(1.25), T(0.75)); }},
      {"Rayleigh", {0.0}, std::sqrt(z) * 0.75 + 1.25, [](GuxStream *s, T *r) { return Rayleigh<T>(0, s, 1, r, T(1.25), T(0.75)); }},
      {"Weibull", {0.0}, std::pow(z, 0.4) * 0.75 + 1.25, [](GuxStream *s, T *r) { return Weibull<T>(0, s, 1, r, T(2.5), T(1.25), T(0.75)); }},
      {"Gamma 1", {0.0}, z * 0.75 + 1.25, [](GuxStream *s, T *r) { return Gamma<T>(0, s, 1, r, T(1), T(1.25), T(0.75)); }},
      {"ChiSquare 2", {0.0}, 2 * z, [](GuxStream *s, T *r) { return ChiSquare<T>(0, s, 1, r, 2); }},
      {"ChiSquare 3", {0.0, 0.25, 0.0}, 4 * z, [](GuxStream *s, T *r) { return ChiSquare<T>(0, s, 1, r, 3); }},
      {"Beta 1,0.5", {0.0}, 1.0, [](GuxStream *s, T *r) { return Beta<T>(0, s, 1, r, T(1), T(0.5), T(0), T(1)); }},
  };
  for (const auto &c : singular) {
    Stream s(over_uniforms<T>(c.script));
    T r = T(-1);
    EXPECT_EQ(c.run(s.s, &r), 0) << L << c.name;
    EXPECT_NEAR(r, c.want, 1e-5 * c.want) << L << c.name;  // sin^2(pi/2) of the ChiSquare pair is 1 up to rounding
  }
  // Statuses: a failing stream's status comes back from every entry; shapes
  // that are not positive finite numbers are refused with nothing written and
  // the stream unmoved.
  for (auto &[name, run] : entries<T>(T(0.75))) {
    Stream s(over_uniforms<T>({0.5}, GUX_STATUS_ABSTRACT_NO_NUMBERS)), u(over_uniforms<T>({0.5}, GUX_STATUS_ABSTRACT_NO_NUMBERS));
    std::vector<T> x(70), w(70);
    const int want = Uniform<T>(0, u.s, 70, w.data(), T(0), T(1));
    EXPECT_LT(want, 0);
    EXPECT_EQ(run(0, s.s, 70, x.data()), want) << L << name;
  }
  const T bad[] = {T(0), T(-1), T(NAN), T(INFINITY)};
  for (T v : bad) {
    Stream s(GUX_BRNG_MCG31M1, 3), copy(s);
    T x[4] = {T(7), T(7), T(7), T(7)};
    EXPECT_EQ(Gamma<T>(0, s.s, 4, x, v, T(0), T(1)), GUX_STATUS_BAD_ARGUMENT);
    EXPECT_EQ(Beta<T>(0, s.s, 4, x, v, T(2), T(0), T(1)), GUX_STATUS_BAD_ARGUMENT);
    EXPECT_EQ(Beta<T>(0, s.s, 4, x, T(2), v, T(0), T(1)), GUX_STATUS_BAD_ARGUMENT);
    EXPECT_EQ(x[0], T(7));
    EXPECT_EQ(next<double>(s.s), next<double>(copy.s));
  }
  // Extreme finite shapes end: values in the support, or NaN where the
  // set-up's arithmetic breaks down.
  const T tiny = std::numeric_limits<T>::denorm_min(), huge = std::numeric_limits<T>::max() / 4;
  for (auto [p, q] : {std::pair<T, T>{tiny, tiny}, {huge, huge}, {tiny, huge}, {huge, T(0.5)}, {tiny, T(1)}}) {
    Stream s(GUX_BRNG_MCG31M1, 3);
    std::vector<T> x(300);
    EXPECT_GE(Beta<T>(0, s.s, 300, x.data(), p, q, T(0), T(1)), 0);
    for (T v : x) EXPECT_TRUE(std::isnan(v) || (v >= 0 && v <= 1)) << p << "," << q << ": " << v;
    EXPECT_GE(Gamma<T>(0, s.s, 300, x.data(), p, T(0), T(1)), 0);
    for (T v : x) EXPECT_TRUE(std::isnan(v) || v >= 0) << p << ": " << v;
  }
  for (int v : {0, -2}) {
    T x = T(7);
    Stream s(GUX_BRNG_MCG31M1, 3);
    EXPECT_EQ(ChiSquare<T>(0, s.s, 1, &x, v), GUX_STATUS_BAD_ARGUMENT);
  }
}
TEST(ContinuousLaws, WordsSingularUniformsAndStatuses) { behaviour<double>(), behaviour<float>(); }

}  // namespace
