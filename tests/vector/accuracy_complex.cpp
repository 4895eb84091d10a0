#include "accuracy_complex.h"

#include <dlfcn.h>
#include <math.h>
#include <mpc.h>
#include <stdio.h>
#include <string.h>

#include <array>
#include <complex>
#include <limits>
#include <random>
#include <vector>

#include "accuracy_points.h"
#include "accuracy_refs.h"
#include "ref_cache.h"
#include "qor/qor_bex.h"

namespace {

struct Box {
  const char *entry;
  double re_lo, re_hi, im_lo, im_hi;
  bool two;  // a pair box: the second operand's parts on the ranges below
  double b_re_lo, b_re_hi, b_im_lo, b_im_hi;
  long count;
};

#define QOR_ACCURACY(entry, tier, kind, bound)
#define QOR_INTERVAL(entry, lo, hi, count)
#define QOR_INTERVAL_LOG(entry, lo, hi, count)
#define QOR_INTERVAL2(entry, alo, ahi, blo, bhi, count)
#define QOR_INTERVAL2_LOG(entry, alo, ahi, blo, bhi, count)
#define QOR_KNOWN_MISS(entry, tier, measured)
#define QOR_ABSOLUTE_BELOW(entry, x, unit)
#define QOR_SPECIAL_CLASS_ONLY(entry)
#define QOR_CBOX(entry, re_lo, re_hi, im_lo, im_hi, count) \
  {#entry, re_lo, re_hi, im_lo, im_hi, false, 0, 0, 0, 0, count},
#define QOR_CBOX2(entry, re_lo, re_hi, im_lo, im_hi, b_re_lo, b_re_hi, b_im_lo, b_im_hi, count) \
  {#entry, re_lo, re_hi, im_lo, im_hi, true, b_re_lo, b_re_hi, b_im_lo, b_im_hi, count},
const Box kBoxes[] = {
#include "accuracy.def"
    {nullptr, 0, 0, 0, 0, false, 0, 0, 0, 0, 0},
};

#undef QOR_CBOX
#undef QOR_CBOX2
#undef QOR_SPECIAL_CLASS_ONLY
#define QOR_CBOX(entry, re_lo, re_hi, im_lo, im_hi, count)
#define QOR_CBOX2(entry, re_lo, re_hi, im_lo, im_hi, b_re_lo, b_re_hi, b_im_lo, b_im_hi, count)
#define QOR_SPECIAL_CLASS_ONLY(entry) #entry,
const char *const kClassOnly[] = {
#include "accuracy.def"
    nullptr,
};

bool class_only(const char *entry) {
  for (const char *const *e = kClassOnly; *e; ++e)
    if (strcmp(*e, entry) == 0) return true;
  return false;
}

constexpr int kPrec = 160;
constexpr long kQuickCount = 5000;  // per box in a quick run

template <class T> using C = std::array<T, 2>;

void *table_kernel(const std::string &entry, int tier) {
  auto *t = (BexKernelTable *)dlsym(RTLD_DEFAULT, ("qor_bex_kernel_" + entry + "_ttab").c_str());
  return t ? t->kernel[tier] : nullptr;
}

// A part with |x| log-uniform on [lo, hi] (lo 0: from the least denormal) and
// a random sign; a range lo = hi gives that value exactly (0, 0: a zero of
// either sign).
template <class T> T draw_part(double lo, double hi, std::mt19937_64 &rng) {
  const bool neg = rng() & 1;
  if (lo == hi) return neg ? -(T)hi : (T)hi;
  if (lo == 0) lo = (double)std::numeric_limits<T>::denorm_min();
  std::uniform_real_distribution<double> u(log(lo), log(hi));
  const T x = (T)exp(u(rng));
  return neg ? -x : x;
}

// The error of one part against its exact value, in ulps of the scale (a
// power of two at or below the larger exact part), or relative to the
// larger exact part for a BITS bound (where that is denormal: at most 4 ulp).
template <class T> double part_error(T got, mpfr_srcptr ref, mpfr_srcptr scale, bool bits, mpfr_ptr tmp) {
  const int prec = std::numeric_limits<T>::digits, emin = std::numeric_limits<T>::min_exponent - 1;
  if (mpfr_nan_p(ref)) return isnan(got) ? 0 : INFINITY;
  if (isnan(got)) return INFINITY;
  const T rounded = sizeof(T) == 4 ? (T)mpfr_get_flt(ref, MPFR_RNDN) : (T)mpfr_get_d(ref, MPFR_RNDN);
  if (got == rounded && signbit(got) == signbit(rounded)) return 0;
  if (got == 0 && mpfr_zero_p(ref)) return INFINITY;  // an exact zero of the wrong sign
  if (isinf(got) || mpfr_inf_p(ref)) return INFINITY;
  if (mpfr_inf_p(scale)) return 0;  // a finite part beside an infinite one
  mpfr_set_d(tmp, (double)got, MPFR_RNDN);
  mpfr_sub(tmp, tmp, ref, MPFR_RNDN);
  mpfr_abs(tmp, tmp, MPFR_RNDN);
  long e = mpfr_zero_p(scale) ? emin - 1 : mpfr_get_exp(scale) - 1;
  const bool denormal = e < emin;
  if (denormal) e = emin;
  if (!bits || denormal) {
    mpfr_mul_2si(tmp, tmp, -(e - prec + 1), MPFR_RNDN);
    const double ulps = mpfr_get_d(tmp, MPFR_RNDN);
    return !bits ? ulps : ulps <= 4 ? 0 : INFINITY;
  }
  mpfr_div(tmp, tmp, scale, MPFR_RNDN);
  return fabs(mpfr_get_d(tmp, MPFR_RNDN));
}

// A complex result: the larger part error, each part in units of the larger
// exact part, or of its own (each_part).
template <class T> double complex_error(const T *got, mpc_srcptr ref, bool bits, bool each_part, mpfr_ptr tmp) {
  mpfr_t scale;
  mpfr_init2(scale, kPrec);
  double e = 0;
  for (int k = 0; k < 2; ++k) {
    mpfr_srcptr part = k ? mpc_imagref(ref) : mpc_realref(ref);
    if (each_part) {
      mpfr_abs(scale, part, MPFR_RNDN);
    } else {
      const int larger_im = mpfr_cmpabs(mpc_imagref(ref), mpc_realref(ref)) > 0;
      mpfr_abs(scale, larger_im ? mpc_imagref(ref) : mpc_realref(ref), MPFR_RNDN);
    }
    e = fmax(e, part_error<T>(got[k], part, scale, bits, tmp));
  }
  mpfr_clear(scale);
  return e;
}

enum PartClass { kZero, kInf, kNaN, kFinite };
template <class T> PartClass class_of(T x) { return x == 0 ? kZero : isinf(x) ? kInf : isnan(x) ? kNaN : kFinite; }
template <class T> PartClass class_of(mpfr_srcptr x) {  // of the part rounded to T
  return class_of(sizeof(T) == 4 ? (T)mpfr_get_flt(x, MPFR_RNDN) : (T)mpfr_get_d(x, MPFR_RNDN));
}

// True where the exact angle Im(w ln z) is beyond 2^64 in magnitude: no
// working precision of 64 bits places it within a turn.
template <class T> bool angle_open(const std::array<T, 2> &z, const std::array<T, 2> &w) {
  mpc_t l, t;
  mpc_init2(l, kPrec), mpc_init2(t, kPrec);
  mpc_set_d_d(l, (double)z[0], (double)z[1], MPC_RNDNN);
  mpc_set_d_d(t, (double)w[0], (double)w[1], MPC_RNDNN);
  mpc_log(l, l, MPC_RNDNN);
  mpc_mul(t, t, l, MPC_RNDNN);
  const bool open = mpfr_number_p(mpc_imagref(t)) && !mpfr_zero_p(mpc_imagref(t)) && mpfr_get_exp(mpc_imagref(t)) > 64;
  mpc_clear(l), mpc_clear(t);
  return open;
}

// True where the exact angle Im(w ln z) is a whole number of quarter turns:
// a part of an infinite result is then exactly 0 times an infinite modulus.
template <class T> bool quarter_turns(const std::array<T, 2> &z, const std::array<T, 2> &w) {
  mpc_t l, t;
  mpfr_t q;
  mpc_init2(l, kPrec), mpc_init2(t, kPrec), mpfr_init2(q, kPrec);
  mpc_set_d_d(l, (double)z[0], (double)z[1], MPC_RNDNN);
  mpc_set_d_d(t, (double)w[0], (double)w[1], MPC_RNDNN);
  mpc_log(l, l, MPC_RNDNN);
  mpc_mul(t, t, l, MPC_RNDNN);
  mpfr_const_pi(q, MPFR_RNDN);
  mpfr_div_2ui(q, q, 1, MPFR_RNDN);
  mpfr_div(q, mpc_imagref(t), q, MPFR_RNDN);
  bool whole = mpfr_number_p(q) && mpfr_get_exp(q) < 60;
  if (whole) {
    mpfr_frac(q, q, MPFR_RNDN);
    whole = mpfr_zero_p(q) || mpfr_get_exp(q) < -100 || (mpfr_cmpabs_ui(q, 1) < 0 && mpfr_get_exp(q) > 0);
    if (!mpfr_zero_p(q) && mpfr_get_exp(q) >= -100) {  // near +-1: frac within 2^-100 of a whole turn
      mpfr_abs(q, q, MPFR_RNDN);
      mpfr_ui_sub(q, 1, q, MPFR_RNDN);
      whole = mpfr_zero_p(q) || mpfr_get_exp(q) < -100;
    }
  }
  mpc_clear(l), mpc_clear(t), mpfr_clear(q);
  return whole;
}

// The rule of QOR_SPECIAL_CLASS_ONLY at a special point z^w: each part of the
// result is a zero, infinity or NaN where the exact result or the plain
// composition cexp(w clog z), formed in T, has a part of that class (signs
// free). Finite non-zero parts are never excused.
template <class T> bool class_match(const T *got, mpc_srcptr ref, const std::array<T, 2> &z, const std::array<T, 2> &w) {
  if (angle_open<T>(z, w)) {
    // Beyond 2^64 the direction is open: NaN parts, or parts of the classes
    // of the exact result (zero, finite, infinite), any value and sign.
    for (int k = 0; k < 2; ++k) {
      const PartClass g = class_of(got[k]);
      if (g != kNaN && g != class_of<T>(k ? mpc_imagref(ref) : mpc_realref(ref))) return false;
    }
    return true;
  }
  const std::complex<T> l = std::log(std::complex<T>(z[0], z[1]));
  const std::complex<T> t(w[0] * l.real() - w[1] * l.imag(), w[0] * l.imag() + w[1] * l.real());
  const std::complex<T> c = std::exp(t);
  for (int k = 0; k < 2; ++k) {
    const PartClass g = class_of(got[k]), r = class_of<T>(k ? mpc_imagref(ref) : mpc_realref(ref));
    if (g == kFinite) return false;
    if (g == kZero && r == kInf && quarter_turns<T>(z, w)) continue;
    if (g != r && g != class_of(k ? c.imag() : c.real())) return false;
  }
  return true;
}

RefCache<std::array<double, 4>, __mpc_struct> g_refs;

enum Shape { kUnary, kToReal, kBinary, kPowx };

template <class T> std::string text_of(const C<T> &a) {
  char buf[64];
  snprintf(buf, sizeof buf, "(%.9g, %.9g)", (double)a[0], (double)a[1]);
  return buf;
}

template <class T> struct Runner {
  const char *entry;
  int tier;
  bool bits, quick;
  Shape shape;
  MpcUnary f1;
  MpcBinary f2;
  MpcToReal fr;
  ComplexResult &res;
  std::mt19937_64 rng{12345};

  C<T> draw(double rlo, double rhi, double ilo, double ihi) {
    const T re = draw_part<T>(rlo, rhi, rng);
    return {re, draw_part<T>(ilo, ihi, rng)};
  }

  // One batch: a (and b for two inputs, or the one exponent of Powx) through
  // the unit kernel and the strided one with stride 2, then every element
  // against its reference.
  void batch(const std::vector<C<T>> &a, const std::vector<C<T>> &b, size_t specials) {
    const bool by_class = class_only(entry);
    const int n = (int)a.size();
    if (n == 0) return;
    const int rparts = shape == kToReal ? 1 : 2;
    void *unit = table_kernel(entry, tier), *strided = table_kernel(std::string(entry) + "I", tier);
    std::vector<T> out(rparts * n), out2(2 * rparts * n), a2(4 * n), b2(4 * n);
    for (int i = 0; i < n; ++i) {
      a2[4 * i] = a[i][0], a2[4 * i + 1] = a[i][1];
      if (shape == kBinary) b2[4 * i] = b[i][0], b2[4 * i + 1] = b[i][1];
    }
    const T *pa = a[0].data(), *pb = b.empty() ? nullptr : b[0].data();
    if (shape == kUnary || shape == kToReal) {
      ((void (*)(int, const T *, T *))unit)(n, pa, out.data());
      if (strided) ((void (*)(int, const T *, int, T *, int))strided)(n, a2.data(), 2, out2.data(), 2);
    } else if (shape == kBinary) {
      ((void (*)(int, const T *, const T *, T *))unit)(n, pa, pb, out.data());
      if (strided)
        ((void (*)(int, const T *, int, const T *, int, T *, int))strided)(n, a2.data(), 2, b2.data(), 2, out2.data(), 2);
    } else {
      ((void (*)(int, const T *, const T *, T *))unit)(n, pa, pb, out.data());
      if (strided) ((void (*)(int, const T *, int, const T *, T *, int))strided)(n, a2.data(), 2, pb, out2.data(), 2);
      // Powx and Pow share their element routine: Powx(a, b) is Pow(a, [b, b, ...]) bit for bit.
      std::string pow = entry;
      pow.resize(pow.size() - 1);
      if (void *p = table_kernel(pow, tier)) {
        std::vector<C<T>> bs(n, b[0]);
        std::vector<T> outp(2 * n);
        ((void (*)(int, const T *, const T *, T *))p)(n, pa, bs[0].data(), outp.data());
        for (int i = 0; i < 2 * n; ++i) res.mismatches += memcmp(&outp[i], &out[i], sizeof(T)) != 0;
      }
    }
    mpc_t x, xb, y;
    mpfr_t yr, tmp;
    mpc_init2(x, kPrec), mpc_init2(xb, kPrec), mpc_init2(y, kPrec);
    mpfr_inits2(kPrec, yr, tmp, (mpfr_ptr)0);
    for (int i = 0; i < n; ++i) {
      for (int k = 0; k < rparts; ++k)
        if (strided && memcmp(&out[rparts * i + k], &out2[2 * rparts * i + k], sizeof(T)) != 0) ++res.mismatches;
      const C<T> &bi = shape == kBinary ? b[i] : shape == kPowx ? b[0] : a[i];
      mpc_set_d_d(x, (double)a[i][0], (double)a[i][1], MPC_RNDNN);
      mpc_set_d_d(xb, (double)bi[0], (double)bi[1], MPC_RNDNN);
      const std::array<double, 4> key = {(double)a[i][0], (double)a[i][1], (double)bi[0], (double)bi[1]};
      double e;
      if (shape == kToReal) {
        g_refs.eval(y, key, [&] {
          fr(yr, x, MPFR_RNDN);
          mpc_set_fr(y, yr, MPC_RNDNN);
        });
        mpfr_abs(yr, mpc_realref(y), MPFR_RNDN);  // a real result: plain ulps of itself
        e = part_error<T>(out[i], mpc_realref(y), yr, bits, tmp);
      } else {
        g_refs.eval(y, key, [&] { shape == kUnary ? f1(y, x, MPC_RNDNN) : f2(y, x, xb, MPC_RNDNN); });
        const bool each_part = strstr(entry, "Mul") != nullptr;
        e = complex_error<T>(&out[2 * i], y, bits, each_part, tmp);
        if (e > 0 && by_class) {
          // A zero part of either sign where the exact part is zero; then, at
          // the special points, the classes of the composition.
          const T g[2] = {out[2 * i] == 0 && mpfr_zero_p(mpc_realref(y)) ? (T)(mpfr_signbit(mpc_realref(y)) ? -0.0 : 0.0) : out[2 * i],
                          out[2 * i + 1] == 0 && mpfr_zero_p(mpc_imagref(y)) ? (T)(mpfr_signbit(mpc_imagref(y)) ? -0.0 : 0.0) : out[2 * i + 1]};
          e = complex_error<T>(g, y, bits, each_part, tmp);
          if (e > 0 && (size_t)i < specials && class_match<T>(&out[2 * i], y, a[i], bi)) e = 0, ++res.by_class;
          else if (e == 0) ++res.by_class;
        }
      }
      if (e > res.worst) {
        res.worst = e;
        res.worst_at = text_of(a[i]) + (shape == kBinary || shape == kPowx ? ", " + text_of(bi) : "");
      }
    }
    res.count += n;
    mpc_clear(x), mpc_clear(xb), mpc_clear(y);
    mpfr_clears(yr, tmp, (mpfr_ptr)0);
  }

  void run(const std::vector<const Box *> &boxes) {
    g_refs.start(entry);
    const long limit = quick ? kQuickCount : std::numeric_limits<long>::max();
    if (shape == kUnary || shape == kToReal) {
      std::vector<C<T>> a = complex_points<T>(entry + 1, quick);
      for (const Box *bx : boxes)
        for (long i = 0; i < std::min(bx->count, limit); ++i) a.push_back(draw(bx->re_lo, bx->re_hi, bx->im_lo, bx->im_hi));
      return batch(a, {}, 0);
    }
    if (shape == kBinary) {
      std::vector<C<T>> a, b;
      size_t specials = 0;
      for (const C<T> &u : complex_pair_values<T>())
        for (const C<T> &v : complex_pair_values<T>()) a.push_back(u), b.push_back(v), ++specials;
      for (const Box *bx : boxes) {
        const long count = std::min(bx->count, limit);
        for (long i = 0; i < count; ++i) {
          a.push_back(draw(bx->re_lo, bx->re_hi, bx->im_lo, bx->im_hi));
          b.push_back(draw(bx->b_re_lo, bx->b_re_hi, bx->b_im_lo, bx->b_im_hi));
        }
        // Products and quotients that cancel: b near (a_im, a_re) cancels the
        // real part of a*b, b near a the imaginary part of a*conj(b) and of a/b
        // (not for the powers of QOR_SPECIAL_CLASS_ONLY, whose exponents keep
        // to their box).
        for (long i = 0; i < (class_only(entry) ? 0 : count / 4); ++i) {
          const C<T> u = draw(bx->re_lo, bx->re_hi, bx->im_lo, bx->im_hi);
          const T t = (T)(1 + ldexp((double)(int64_t)(rng() % 65) - 32, -std::numeric_limits<T>::digits));
          a.push_back(u), b.push_back({u[1] * t, u[0]});
          a.push_back(u), b.push_back({u[0], u[1] * t});
        }
      }
      return batch(a, b, specials);
    }
    // Powx: one batch per exponent, the special list and random ones.
    std::vector<C<T>> exps = {{0, 0}, {-(T)0, 0}, {1, 0}, {2, 0}, {3, 0}, {-1, 0}, {(T)0.5, 0}, {-2, 0},
                              {0, 1}, {1, 1}, {(T)-2.5, (T)0.5}, {std::numeric_limits<T>::quiet_NaN(), 0}};
    for (const Box *bx : boxes)
      for (int k = 0; k < 24; ++k) exps.push_back(draw(bx->b_re_lo, bx->b_re_hi, bx->b_im_lo, bx->b_im_hi));
    long per_exp = 0;
    for (const Box *bx : boxes) per_exp += std::min(bx->count, limit);
    per_exp = per_exp / (long)exps.size() + 1;
    for (const C<T> &e : exps) {
      std::vector<C<T>> a = complex_pair_values<T>();
      const size_t specials = a.size();
      for (const Box *bx : boxes)
        for (long i = 0; i < per_exp / (long)boxes.size() + 1; ++i) a.push_back(draw(bx->re_lo, bx->re_hi, bx->im_lo, bx->im_hi));
      batch(a, {e}, specials);
    }
  }
};

}  // namespace

bool complex_entry(const char *entry) {
  return (entry[0] == 'c' || entry[0] == 'z') && strcmp(entry + 1, "CIS") != 0;
}

bool run_complex(const char *entry, int tier, bool bits, bool quick, ComplexResult &res) {
  const char *func = entry + 1;
  const bool powx = strcmp(func, "Powx") == 0;
  const Shape shape = complex_to_real_reference(func) ? kToReal : powx ? kPowx : complex_reference2(func) ? kBinary : kUnary;
  std::vector<const Box *> boxes;
  for (const Box &b : kBoxes)
    if (b.entry && strcmp(b.entry, entry) == 0 && b.two == (shape == kBinary || shape == kPowx)) boxes.push_back(&b);
  if (boxes.empty() || !table_kernel(entry, tier)) return false;
  if (shape == kUnary && !complex_reference(func)) return false;
  if (entry[0] == 'c') {
    Runner<float> r{entry, tier, bits, quick, shape, complex_reference(func), complex_reference2(func),
                    complex_to_real_reference(func), res};
    r.run(boxes);
  } else {
    Runner<double> r{entry, tier, bits, quick, shape, complex_reference(func), complex_reference2(func),
                     complex_to_real_reference(func), res};
    r.run(boxes);
  }
  if (res.worst_at.empty()) res.worst_at = "-";
  return true;
}
