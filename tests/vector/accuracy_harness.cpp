// The MPFR accuracy harness. Every kernel that declares QOR_ACCURACY and
// QOR_INTERVAL (or QOR_INTERVAL_LOG) beside its definition is run over random
// inputs on its intervals and over special values, and its error against MPFR (at 160 bits)
// is compared with its bound: at most `bound` ulp, or at least `bound` correct
// bits (a bound of 0.5 ulp asks for the correctly rounded result). Two-input
// entries (QOR_INTERVAL2) run over random pairs and every pair of special
// values; SinCos and CIS are checked in both results. The other complex
// entries run in accuracy_complex.cpp over their boxes. Periodic functions also
// run over the inputs of accuracy_points.cpp, where reduction is hardest. The
// strided form with stride 2 must give the same bits.
//
//   qor_accuracy --quick   a sample of each interval (part of make test)
//   qor_accuracy --long    the declared counts, as a table (make accuracy)
//   qor_accuracy --long sSqrt dDiv   only the entries named
//   qor_accuracy --quick --shard 2/4 the third of four interleaved parts of the
//                                    entries (CTest runs the parts side by side)
#include <dlfcn.h>
#include <float.h>
#include <math.h>
#include <mpfr.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "accuracy_complex.h"
#include "accuracy_points.h"
#include "accuracy_refs.h"
#include "qor/qor_bex.h"
#include "ref_cache.h"

namespace {

enum Kind { ULP, BITS };
enum Tier { LA = 0, HA = 1, EP = 2 };
struct Decl {
  const char *entry;
  Tier tier;
  Kind kind;
  double bound;
};
struct Interval {
  const char *entry;
  double lo, hi;
  long count;
  bool log_scale;  // log-uniform: every binade of [lo, hi] alike
  bool two;        // a pair interval of a two-input entry: b on [blo, bhi]
  double blo, bhi;
};

struct KnownMiss {
  const char *entry;
  Tier tier;
  double measured;  // ulp, or correct bits
};
struct AbsoluteRule {
  const char *entry;
  double below, unit;
};

#define QOR_ACCURACY(entry, tier, kind, bound)
#define QOR_INTERVAL(entry, lo, hi, count)
#define QOR_INTERVAL_LOG(entry, lo, hi, count)
#define QOR_INTERVAL2(entry, alo, ahi, blo, bhi, count)
#define QOR_INTERVAL2_LOG(entry, alo, ahi, blo, bhi, count)
#define QOR_KNOWN_MISS(entry, tier, measured)
#define QOR_ABSOLUTE_BELOW(entry, x, unit)
#define QOR_CBOX(entry, re_lo, re_hi, im_lo, im_hi, count)  // complex boxes: accuracy_complex.cpp
#define QOR_SPECIAL_CLASS_ONLY(entry)
#define QOR_CBOX2(entry, re_lo, re_hi, im_lo, im_hi, b_re_lo, b_re_hi, b_im_lo, b_im_hi, count)
#undef QOR_ACCURACY
#define QOR_ACCURACY(entry, tier, kind, bound) {#entry, tier, kind, bound},
const Decl kDecls[] = {
#include "accuracy.def"
};
#undef QOR_ACCURACY
#undef QOR_INTERVAL
#undef QOR_INTERVAL_LOG
#undef QOR_INTERVAL2
#undef QOR_INTERVAL2_LOG
#define QOR_ACCURACY(entry, tier, kind, bound)
#define QOR_INTERVAL(entry, lo, hi, count) {#entry, lo, hi, count, false, false, 0, 0},
#define QOR_INTERVAL_LOG(entry, lo, hi, count) {#entry, lo, hi, count, true, false, 0, 0},
#define QOR_INTERVAL2(entry, alo, ahi, blo, bhi, count) {#entry, alo, ahi, count, false, true, blo, bhi},
#define QOR_INTERVAL2_LOG(entry, alo, ahi, blo, bhi, count) {#entry, alo, ahi, count, true, true, blo, bhi},
const Interval kIntervals[] = {
#include "accuracy.def"
};
#undef QOR_INTERVAL
#undef QOR_INTERVAL_LOG
#undef QOR_INTERVAL2
#undef QOR_INTERVAL2_LOG
#undef QOR_KNOWN_MISS
#define QOR_INTERVAL(entry, lo, hi, count)
#define QOR_INTERVAL_LOG(entry, lo, hi, count)
#define QOR_INTERVAL2(entry, alo, ahi, blo, bhi, count)
#define QOR_INTERVAL2_LOG(entry, alo, ahi, blo, bhi, count)
#define QOR_KNOWN_MISS(entry, tier, measured) {#entry, tier, measured},
const KnownMiss kKnownMisses[] = {
#include "accuracy.def"
    {nullptr, LA, 0},
};
#undef QOR_KNOWN_MISS
#undef QOR_ABSOLUTE_BELOW
#define QOR_KNOWN_MISS(entry, tier, measured)
#define QOR_ABSOLUTE_BELOW(entry, x, unit) {#entry, x, unit},
const AbsoluteRule kAbsoluteRules[] = {
#include "accuracy.def"
    {nullptr, 0, 0},
};

const AbsoluteRule *absolute_rule(const char *entry) {
  for (const AbsoluteRule &a : kAbsoluteRules)
    if (a.entry && strcmp(a.entry, entry) == 0) return &a;
  return nullptr;
}

// A recorded miss of a kernel built as designed: the bound is not loosened,
// the row shows MISS, and only an error beyond the recorded figure fails.
const KnownMiss *known_miss(const Decl &d) {
  for (const KnownMiss &m : kKnownMisses)
    if (m.entry && strcmp(m.entry, d.entry) == 0 && m.tier == d.tier) return &m;
  return nullptr;
}

using MpfrUnary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);

// The unbiased binary exponent floor(log2 |x|), exact: -Inf at zero, +Inf at
// infinities.
int logb_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(x)) return mpfr_set_nan(y), 0;
  if (mpfr_inf_p(x)) return mpfr_set_inf(y, 1), 0;
  if (mpfr_zero_p(x)) return mpfr_set_inf(y, -1), 0;
  return mpfr_set_si(y, mpfr_get_exp(x) - 1, rnd);
}

// References computed at the working precision (160 bits) and rounded once
// by error_of: 1/x, 1/cbrt(x), cbrt(x)^2 (also for negative x), x^(3/2)
// (NaN for any negative x, -Inf included, as the square root of x would give).
int inv_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) { return mpfr_ui_div(y, 1, x, rnd); }
int inv_cbrt_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  mpfr_cbrt(y, x, rnd);
  return mpfr_ui_div(y, 1, y, rnd);
}
int pow2o3_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  mpfr_cbrt(y, x, rnd);
  return mpfr_sqr(y, y, rnd);
}
int pow3o2_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_sgn(x) < 0) return mpfr_set_nan(y), 0;
  mpfr_sqrt(y, x, rnd);
  return mpfr_mul(y, y, x, rnd);
}

// The degree forms: one turn is 360. A zero tangent (at a multiple of 180
// degrees, or an integer in half-turns) keeps the sign of x.
int sind_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) { return mpfr_sinu(y, x, 360, rnd); }
int cosd_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) { return mpfr_cosu(y, x, 360, rnd); }
int zero_signed_as_x(mpfr_ptr y, mpfr_srcptr x, int t) {
  if (mpfr_zero_p(y)) mpfr_set_zero(y, mpfr_signbit(x) ? -1 : 1);
  return t;
}
int tand_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) { return zero_signed_as_x(y, x, mpfr_tanu(y, x, 360, rnd)); }
int tanpi_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) { return zero_signed_as_x(y, x, mpfr_tanpi(y, x, rnd)); }

struct Reference {
  const char *func;
  MpfrUnary f;
};
const Reference kReferences[] = {
    {"Exp", mpfr_exp}, {"Exp2", mpfr_exp2}, {"Exp10", mpfr_exp10}, {"Expm1", mpfr_expm1},
    {"Ln", mpfr_log}, {"Log2", mpfr_log2}, {"Log10", mpfr_log10}, {"Log1p", mpfr_log1p},
    {"Logb", logb_ref},
    {"Sqrt", mpfr_sqrt}, {"InvSqrt", mpfr_rec_sqrt}, {"Cbrt", mpfr_cbrt},
    {"Inv", inv_ref}, {"InvCbrt", inv_cbrt_ref}, {"Pow2o3", pow2o3_ref}, {"Pow3o2", pow3o2_ref},
    {"Sin", mpfr_sin}, {"Cos", mpfr_cos}, {"Tan", mpfr_tan},
    {"Sinpi", mpfr_sinpi}, {"Cospi", mpfr_cospi}, {"Tanpi", tanpi_ref},
    {"Sind", sind_ref}, {"Cosd", cosd_ref}, {"Tand", tand_ref},
    {"Sinh", mpfr_sinh}, {"Cosh", mpfr_cosh}, {"Tanh", mpfr_tanh},
    {"Asin", mpfr_asin}, {"Acos", mpfr_acos}, {"Atan", mpfr_atan},
    {"Asinh", mpfr_asinh}, {"Acosh", mpfr_acosh}, {"Atanh", mpfr_atanh},
    {"Asinpi", mpfr_asinpi}, {"Acospi", mpfr_acospi}, {"Atanpi", mpfr_atanpi},
    {"Erf", mpfr_erf}, {"Erfc", mpfr_erfc}, {"CdfNorm", cdfnorm_ref},
    {"ErfInv", erfinv_ref}, {"ErfcInv", erfcinv_ref}, {"CdfNormInv", cdfnorminv_ref},
    {"LGamma", lgamma_ref}, {"TGamma", mpfr_gamma}, {"ExpInt1", expint1_ref},
};

// Two-input entries: f(a, b).
using MpfrBinary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t);
struct Reference2 {
  const char *func;
  MpfrBinary f;
};
// powr(x, y) = exp(y ln x): pow for x > 0; NaN for a negative base, 0^0,
// inf^0 and 1^inf.
int powr_ref(mpfr_ptr r, mpfr_srcptr x, mpfr_srcptr y, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(x) || mpfr_nan_p(y) || (mpfr_sgn(x) < 0 && !mpfr_zero_p(x)) ||
      (mpfr_zero_p(y) && (mpfr_zero_p(x) || mpfr_inf_p(x))) || (mpfr_cmp_ui(x, 1) == 0 && mpfr_inf_p(y)))
    return mpfr_set_nan(r), 0;
  if (mpfr_zero_p(x)) {  // -0 counts as +0
    mpfr_t ax;
    mpfr_init2(ax, mpfr_get_prec(x));
    mpfr_abs(ax, x, rnd);
    const int t = mpfr_pow(r, ax, y, rnd);
    mpfr_clear(ax);
    return t;
  }
  return mpfr_pow(r, x, y, rnd);
}

// Powx (an array and one scalar exponent) is pow with b fixed per call.
const Reference2 kReferences2[] = {
    {"Div", mpfr_div}, {"Hypot", mpfr_hypot}, {"Pow", mpfr_pow}, {"Powr", powr_ref}, {"Powx", mpfr_pow},
    {"Atan2", mpfr_atan2}, {"Atan2pi", mpfr_atan2pi},
};

// Entries with two results of one input: SinCos gives (sin, cos) in two
// arrays, CIS the complex cos + i sin, interleaved.
bool two_results(const char *entry) { return strcmp(entry + 1, "SinCos") == 0 || strcmp(entry + 1, "CIS") == 0; }

MpfrUnary reference_of(const char *entry) {
  if (two_results(entry)) return mpfr_sin;
  for (const Reference &r : kReferences)
    if (strcmp(entry + 1, r.func) == 0) return r.f;
  return nullptr;
}
MpfrBinary reference2_of(const char *entry) {
  for (const Reference2 &r : kReferences2)
    if (strcmp(entry + 1, r.func) == 0) return r.f;
  return nullptr;
}

void *table_kernel(const std::string &entry, Tier tier) {
  auto *t = (BexKernelTable *)dlsym(RTLD_DEFAULT, ("qor_bex_kernel_" + entry + "_ttab").c_str());
  return t ? t->kernel[tier] : nullptr;
}

struct Result {
  double worst = 0;     // max ulp, or max relative error for BITS
  double worst_at = 0;
  double worst_at_b = NAN;  // the second input of a two-input entry
  long count = 0;
  long mismatches = 0;  // strided form differing from the unit form
  long nan_errors = 0;
  // One element's error, kept if it is the worst so far (NaN counts as worst).
  void note(double e, double a, double b = NAN) {
    if (e <= worst) return;
    if (isinf(e) || isnan(e)) ++nan_errors;
    worst = e, worst_at = a, worst_at_b = b;
  }
};

// Error of one result: ulps of the type, or relative error for BITS (where the
// reference is denormal, BITS asks for at most 4 ulp instead).
template <class T> double error_of(T got, mpfr_t ref, Kind kind, mpfr_t tmp) {
  const int prec = sizeof(T) == 4 ? 24 : 53, emin = sizeof(T) == 4 ? -126 : -1022;
  if (mpfr_nan_p(ref)) return isnan(got) ? 0 : INFINITY;
  if (isnan(got)) return INFINITY;
  T rounded = sizeof(T) == 4 ? (T)mpfr_get_flt(ref, MPFR_RNDN) : (T)mpfr_get_d(ref, MPFR_RNDN);
  if (got == rounded && signbit(got) == signbit(rounded)) return 0;
  if (got == 0 && rounded == 0) return INFINITY;  // a zero of the wrong sign
  if (isinf(got) || mpfr_inf_p(ref)) return INFINITY;
  mpfr_set_d(tmp, (double)got, MPFR_RNDN);
  mpfr_sub(tmp, tmp, ref, MPFR_RNDN);
  mpfr_abs(tmp, tmp, MPFR_RNDN);
  long e = mpfr_zero_p(ref) ? emin - 1 : mpfr_get_exp(ref) - 1;  // ref in [2^e, 2^(e+1))
  const bool denormal = e < emin;
  if (denormal) e = emin;
  if (kind == ULP || denormal) {
    // Scaled in MPFR: near the bottom of the range an error below one ulp is
    // itself below the smallest denormal and would round in a double.
    mpfr_mul_2si(tmp, tmp, -(e - prec + 1), MPFR_RNDN);
    double ulps = mpfr_get_d(tmp, MPFR_RNDN);
    if (kind == ULP) return ulps;
    return ulps <= 4 ? 0 : INFINITY;  // denormal results carry fewer bits: 4 ulp as in LA
  }
  mpfr_div(tmp, tmp, ref, MPFR_RNDN);
  return fabs(mpfr_get_d(tmp, MPFR_RNDN));
}

template <class T> std::vector<T> special_values(const Interval &iv) {
  const T big = sizeof(T) == 4 ? FLT_MAX : DBL_MAX, tiny = sizeof(T) == 4 ? FLT_MIN : DBL_MIN;
  const T den = sizeof(T) == 4 ? (T)1.4e-45f : (T)4.9e-324;
  std::vector<T> v = {0, -(T)0, 1, -1, (T)0.5, (T)INFINITY, -(T)INFINITY, (T)NAN, -(T)NAN,
                      big, -big, tiny, -tiny, den, -den, (T)1e-30, -(T)1e-30};
  for (T near1 = 1, below1 = 1, k = 0; k < 4; ++k) {  // the neighbours of 1, where logarithms vanish
    v.push_back(near1 = nextafter(near1, (T)2));
    v.push_back(below1 = nextafter(below1, (T)0));
  }
  for (double end : {iv.lo, iv.hi}) {
    T e = (T)end;
    v.push_back(e);
    v.push_back(nextafter(e, (T)INFINITY));
    v.push_back(nextafter(e, -(T)INFINITY));
  }
  return v;
}

// The inputs of one interval: special values, random ones, and on the first
// interval the reduction points of a periodic function.
template <class T>
std::vector<T> inputs_of(const Decl &d, const Interval &iv, bool first, bool quick, std::mt19937_64 &rng) {
  const long count = quick ? std::min(iv.count, 40000L) : iv.count;
  std::vector<T> in = special_values<T>(iv);
  if (first)
    for (T x : reduction_points<T>(d.entry + 1, quick)) in.push_back(x);
  std::uniform_real_distribution<double> u(iv.log_scale ? log(iv.lo) : iv.lo, iv.log_scale ? log(iv.hi) : iv.hi);
  for (long i = 0; i < count; ++i) in.push_back((T)(iv.log_scale ? exp(u(rng)) : u(rng)));
  return in;
}

RefCache<double, __mpfr_struct> g_refs;

template <class T>
void run(const Decl &d, MpfrUnary ref_fn, const std::vector<const Interval *> &ivs, bool quick, Result &res) {
  g_refs.start(d.entry);
  using Unit = void (*)(int, const T *, T *);
  using Strided = void (*)(int, const T *, int, T *, int);
  auto unit = (Unit)table_kernel(d.entry, d.tier);
  auto strided = (Strided)table_kernel(std::string(d.entry) + "I", d.tier);
  const AbsoluteRule *absolute = absolute_rule(d.entry);
  std::mt19937_64 rng(12345);
  mpfr_t x, y, tmp;
  mpfr_inits2(160, x, y, tmp, (mpfr_ptr)0);
  for (const Interval *iv : ivs) {
    if (iv->two) continue;
    std::vector<T> in = inputs_of<T>(d, *iv, iv == ivs.front(), quick, rng);
    const int n = (int)in.size();
    std::vector<T> out(n), in2(2 * n), out2(2 * n);
    for (int i = 0; i < n; ++i) in2[2 * i] = in[i];
    unit(n, in.data(), out.data());
    if (strided) strided(n, in2.data(), 2, out2.data(), 2);
    for (int i = 0; i < n; ++i) {
      if (strided && memcmp(&out[i], &out2[2 * i], sizeof(T)) != 0) ++res.mismatches;
      mpfr_set_d(x, (double)in[i], MPFR_RNDN);
      g_refs.eval(y, (double)in[i], [&] { ref_fn(y, x, MPFR_RNDN); });
      double e = error_of<T>(out[i], y, d.kind, tmp);
      if (absolute && in[i] < absolute->below && isfinite(out[i]) && e > 0 && !mpfr_inf_p(y)) {
        const double ab = fabs((double)out[i] - mpfr_get_d(y, MPFR_RNDN));
        e = std::min(e, d.kind == ULP ? ab / absolute->unit : ab);
      }
      res.note(e, (double)in[i]);
    }
    res.count += n;
  }
  mpfr_clears(x, y, tmp, (mpfr_ptr)0);
}

// SinCos (n, a, r1, r2) and CIS (n, a, r) with r[2k] = cos, r[2k+1] = sin;
// the strided forms with stride 2 on the input and each result.
template <class T> void run_two_results(const Decl &d, const std::vector<const Interval *> &ivs, bool quick, Result &res) {
  const bool cis = strcmp(d.entry + 1, "CIS") == 0;
  void *unit = table_kernel(d.entry, d.tier), *strided = table_kernel(std::string(d.entry) + "I", d.tier);
  std::mt19937_64 rng(12345);
  mpfr_t x, y, tmp;
  mpfr_inits2(160, x, y, tmp, (mpfr_ptr)0);
  for (const Interval *iv : ivs) {
    if (iv->two) continue;
    std::vector<T> in = inputs_of<T>(d, *iv, iv == ivs.front(), quick, rng);
    const int n = (int)in.size();
    std::vector<T> s(n), c(n), in2(2 * n), s2(2 * n), c2(2 * n), z(2 * n), z2(4 * n);
    for (int i = 0; i < n; ++i) in2[2 * i] = in[i];
    if (cis) {
      ((void (*)(int, const T *, T *))unit)(n, in.data(), z.data());
      if (strided) ((void (*)(int, const T *, int, T *, int))strided)(n, in2.data(), 2, z2.data(), 2);
      for (int i = 0; i < n; ++i) {
        c[i] = z[2 * i], s[i] = z[2 * i + 1], c2[2 * i] = z2[4 * i], s2[2 * i] = z2[4 * i + 1];
      }
    } else {
      ((void (*)(int, const T *, T *, T *))unit)(n, in.data(), s.data(), c.data());
      if (strided)
        ((void (*)(int, const T *, int, T *, int, T *, int))strided)(n, in2.data(), 2, s2.data(), 2, c2.data(), 2);
    }
    for (int i = 0; i < n; ++i) {
      if (strided && (memcmp(&s[i], &s2[2 * i], sizeof(T)) != 0 || memcmp(&c[i], &c2[2 * i], sizeof(T)) != 0))
        ++res.mismatches;
      mpfr_set_d(x, (double)in[i], MPFR_RNDN);
      mpfr_sin(y, x, MPFR_RNDN);
      res.note(error_of<T>(s[i], y, d.kind, tmp), (double)in[i]);
      mpfr_cos(y, x, MPFR_RNDN);
      res.note(error_of<T>(c[i], y, d.kind, tmp), (double)in[i]);
    }
    res.count += n;
  }
  mpfr_clears(x, y, tmp, (mpfr_ptr)0);
}

// The special values of both inputs, as pairs (every pair of the list).
template <class T> std::vector<T> pair_values() {
  const T big = sizeof(T) == 4 ? FLT_MAX : DBL_MAX, tiny = sizeof(T) == 4 ? FLT_MIN : DBL_MIN;
  const T den = sizeof(T) == 4 ? (T)1.4e-45f : (T)4.9e-324;
  return {0, -(T)0, 1, -1, (T)0.5, 3, (T)INFINITY, -(T)INFINITY, (T)NAN, -(T)NAN, big, -big, tiny, -tiny, den,
          -den, (T)1e-30, (T)1e30};
}

// Two inputs: random pairs on each pair interval, then all special pairs;
// the strided form with stride 2 on both inputs and the result.
template <class T>
void run2(const Decl &d, MpfrBinary ref_fn, const std::vector<const Interval *> &ivs, bool quick, Result &res) {
  using Unit = void (*)(int, const T *, const T *, T *);
  using Strided = void (*)(int, const T *, int, const T *, int, T *, int);
  auto unit = (Unit)table_kernel(d.entry, d.tier);
  auto strided = (Strided)table_kernel(std::string(d.entry) + "I", d.tier);
  std::mt19937_64 rng(12345);
  mpfr_t x, xb, y, tmp;
  mpfr_inits2(160, x, xb, y, tmp, (mpfr_ptr)0);
  std::vector<T> a, b;
  for (T u : pair_values<T>())
    for (T v : pair_values<T>()) a.push_back(u), b.push_back(v);
  for (const Interval *iv : ivs) {
    if (!iv->two) continue;
    long count = quick ? std::min(iv->count, 40000L) : iv->count;
    auto draw = [&](double lo, double hi) {
      std::uniform_real_distribution<double> u(iv->log_scale ? log(lo) : lo, iv->log_scale ? log(hi) : hi);
      return (T)(iv->log_scale ? exp(u(rng)) : u(rng));
    };
    for (long i = 0; i < count; ++i) a.push_back(draw(iv->lo, iv->hi)), b.push_back(draw(iv->blo, iv->bhi));
  }
  const int n = (int)a.size();
  std::vector<T> out(n), a2(2 * n), b2(2 * n), out2(2 * n);
  for (int i = 0; i < n; ++i) a2[2 * i] = a[i], b2[2 * i] = b[i];
  unit(n, a.data(), b.data(), out.data());
  if (strided) strided(n, a2.data(), 2, b2.data(), 2, out2.data(), 2);
  for (int i = 0; i < n; ++i) {
    if (strided && memcmp(&out[i], &out2[2 * i], sizeof(T)) != 0) ++res.mismatches;
    mpfr_set_d(x, (double)a[i], MPFR_RNDN);
    mpfr_set_d(xb, (double)b[i], MPFR_RNDN);
    ref_fn(y, x, xb, MPFR_RNDN);
    res.note(error_of<T>(out[i], y, d.kind, tmp), (double)a[i], (double)b[i]);
  }
  res.count += n;
  mpfr_clears(x, xb, y, tmp, (mpfr_ptr)0);
}

// Powx: the exponents of every dispatch path and random ones from the pair
// intervals' b range, each over the special values and random a's; unit and
// stride 2 (the exponent by value).
template <class T>
void run_powx(const Decl &d, const std::vector<const Interval *> &ivs, bool quick, Result &res) {
  using Unit = void (*)(int, const T *, T, T *);
  using Strided = void (*)(int, const T *, int, T, T *, int);
  auto unit = (Unit)table_kernel(d.entry, d.tier);
  auto strided = (Strided)table_kernel(std::string(d.entry) + "I", d.tier);
  std::mt19937_64 rng(12345);
  mpfr_t x, xb, y, tmp;
  mpfr_inits2(160, x, xb, y, tmp, (mpfr_ptr)0);
  for (const Interval *iv : ivs) {
    if (!iv->two) continue;
    auto draw = [&](double lo, double hi) {
      std::uniform_real_distribution<double> u(iv->log_scale ? log(lo) : lo, iv->log_scale ? log(hi) : hi);
      return (T)(iv->log_scale ? exp(u(rng)) : u(rng));
    };
    std::vector<T> bs = {0, -(T)0, 1, 2, 3, 4, 5, 6, 7, 8, 9, -1, -2, -3, -4, (T)0.5, (T)-0.5, (T)1.5};
    const int kRandomB = 32;
    for (int k = 0; k < kRandomB; ++k) bs.push_back(draw(iv->blo, iv->bhi));
    const long per_b = (quick ? std::min(iv->count, 40000L) : iv->count) / (long)bs.size() + 1;
    for (T b : bs) {
      std::vector<T> a = pair_values<T>();
      for (long i = 0; i < per_b; ++i) a.push_back(draw(iv->lo, iv->hi));
      const int n = (int)a.size();
      std::vector<T> out(n), a2(2 * n), out2(2 * n);
      for (int i = 0; i < n; ++i) a2[2 * i] = a[i];
      unit(n, a.data(), b, out.data());
      if (strided) strided(n, a2.data(), 2, b, out2.data(), 2);
      mpfr_set_d(xb, (double)b, MPFR_RNDN);
      // Exponents served by another entry take that entry's reference (its
      // special values: sqrt(-Inf) is NaN, not pow's +Inf). The LA and EP
      // chains for -2..-4 invert the power: where it overflows, 0 is the
      // designed result, as +-Inf is for 3..9.
      const char *other = b == (T)0.5 ? "Sqrt" : b == (T)-0.5 ? "InvSqrt" : b == (T)1.5 ? "Pow3o2"
                        : b == (T)-1 ? "Inv" : nullptr;
      MpfrUnary via = other ? reference_of((std::string(1, d.entry[0]) + other).c_str()) : nullptr;
      const bool chain_inverse = d.tier != HA && (b == (T)-2 || b == (T)-3 || b == (T)-4);
      for (int i = 0; i < n; ++i) {
        if (strided && memcmp(&out[i], &out2[2 * i], sizeof(T)) != 0) ++res.mismatches;
        mpfr_set_d(x, (double)a[i], MPFR_RNDN);
        if (via) via(y, x, MPFR_RNDN);
        else mpfr_pow(y, x, xb, MPFR_RNDN);
        if (chain_inverse && isfinite(a[i]) && std::isinf((T)pow(fabs((double)a[i]), -(double)b)))
          mpfr_set_zero(y, signbit(a[i]) && b == (T)-3 ? -1 : 1);
        res.note(error_of<T>(out[i], y, d.kind, tmp), (double)a[i], (double)b);
      }
      res.count += n;
    }
  }
  mpfr_clears(x, xb, y, tmp, (mpfr_ptr)0);
}

}  // namespace

int main(int argc, char **argv) {
  const bool quick = !(argc > 1 && strcmp(argv[1], "--long") == 0);
  qor_bex_kernel_SetMode(BEX_ERRMODE_IGNORE);
  static const char *tier_names[] = {"LA", "HA", "EP"};
  int failures = 0, run_count = 0;
  printf("%-14s %-4s %-22s %-24s %-10s %s\n", "entry", "tier", "bound", "measured", "inputs", "worst at");
  int shard = 0, shards = 1;
  for (int i = 1; i + 1 < argc; ++i)
    if (strcmp(argv[i], "--shard") == 0 && sscanf(argv[i + 1], "%d/%d", &shard, &shards) != 2) shards = 1;
  // Entries are dealt to shards whole, by their position among the entries.
  std::vector<std::string> order;
  auto shard_of = [&](const char *entry) {
    size_t k = 0;
    while (k < order.size() && order[k] != entry) ++k;
    if (k == order.size()) order.push_back(entry);
    return (int)(k % (size_t)shards);
  };
  auto wanted = [&](const char *entry) {  // entries named on the command line, or all
    if (shard_of(entry) != shard) return false;
    bool any = false;
    for (int i = 1; i < argc; ++i)
      if (argv[i][0] != '-' && strchr(argv[i], '/') == nullptr) {
        any = true;
        if (strcmp(argv[i], entry) == 0) return true;
      }
    return !any;
  };
  for (const Decl &d : kDecls) {
    if (!wanted(d.entry)) continue;
    std::string complex_at;
    Result res;
    const bool single = d.entry[0] == 's' || d.entry[0] == 'c';
    MpfrUnary ref = reference_of(d.entry);
    MpfrBinary ref2 = reference2_of(d.entry);
    std::vector<const Interval *> ivs;
    for (const Interval &iv : kIntervals)
      if (strcmp(iv.entry, d.entry) == 0) ivs.push_back(&iv);
    if (complex_entry(d.entry)) {
      ComplexResult cres;
      if (!run_complex(d.entry, d.tier, d.kind == BITS, quick, cres)) {
        printf("%-14s %-4s no reference, box or kernel\n", d.entry, tier_names[d.tier]);
        ++failures;
        continue;
      }
      res.worst = cres.worst, res.count = cres.count, res.mismatches = cres.mismatches;
      complex_at = cres.worst_at;
      if (cres.by_class) complex_at += "  [" + std::to_string(cres.by_class) + " special points by class]";
    } else if (!(ref || ref2) || ivs.empty() || !table_kernel(d.entry, d.tier)) {
      printf("%-14s %-4s no reference, interval or kernel\n", d.entry, tier_names[d.tier]);
      ++failures;
      continue;
    } else if (strstr(d.entry, "Powx")) {
      if (single) run_powx<float>(d, ivs, quick, res);
      else run_powx<double>(d, ivs, quick, res);
    } else if (two_results(d.entry)) {
      if (single) run_two_results<float>(d, ivs, quick, res);
      else run_two_results<double>(d, ivs, quick, res);
    } else if (ref2) {
      if (single) run2<float>(d, ref2, ivs, quick, res);
      else run2<double>(d, ref2, ivs, quick, res);
    } else {
      if (single) run<float>(d, ref, ivs, quick, res);
      else run<double>(d, ref, ivs, quick, res);
    }
    ++run_count;
    char bound[32], measured[48];
    bool ok;
    if (d.kind == ULP) {
      if (d.bound == 0.5) snprintf(bound, sizeof bound, "correctly rounded");
      else snprintf(bound, sizeof bound, "<= %.1f ulp", d.bound);
      snprintf(measured, sizeof measured, "%.3f ulp", res.worst);
      ok = res.worst <= d.bound;
    } else {
      snprintf(bound, sizeof bound, ">= %.0f bits", d.bound);
      double bits = res.worst > 0 ? -log2(res.worst) : 99;
      snprintf(measured, sizeof measured, "%.2f bits (rel %.2e)", bits, res.worst);
      ok = res.worst <= ldexp(1.0, -(int)d.bound);
    }
    const KnownMiss *miss = ok ? nullptr : known_miss(d);
    if (miss) ok = d.kind == ULP ? res.worst <= miss->measured : res.worst <= ldexp(1.0, -(int)miss->measured);
    ok = ok && res.mismatches == 0;
    char note[48] = "";
    if (miss) snprintf(note, sizeof note, "  MISS (recorded %.2f)", miss->measured);
    char at[160];
    if (!complex_at.empty()) snprintf(at, sizeof at, "%s", complex_at.c_str());
    else if (isnan(res.worst_at_b)) snprintf(at, sizeof at, "%.9g", res.worst_at);
    else snprintf(at, sizeof at, "%.9g, %.9g", res.worst_at, res.worst_at_b);
    printf("%-14s %-4s %-22s %-24s %-10ld %s%s%s%s\n", d.entry, tier_names[d.tier], bound, measured, res.count,
           at, note, res.mismatches ? "  STRIDED MISMATCH" : "", ok ? "" : "  FAIL");
    failures += !ok;
  }
  printf("%d passed, %d failed\n", run_count - (failures > run_count ? run_count : failures), failures);
  return failures ? 1 : 0;
}
