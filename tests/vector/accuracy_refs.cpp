#include "accuracy_refs.h"

#include <math.h>
#include <string.h>

namespace {

// Working variables at 32 bits above the result's precision.
struct Work {
  mpfr_t a, b, c;
  mpfr_prec_t p;
  explicit Work(mpfr_srcptr y) : p(mpfr_get_prec(y) + 32) { mpfr_inits2(p, a, b, c, (mpfr_ptr)0); }
  ~Work() { mpfr_clears(a, b, c, (mpfr_ptr)0); }
};

// Two Newton steps at the working precision from an estimate good to about
// 60 bits (long double) reach beyond it: 60 -> 120 -> 240 bits.
constexpr int kSteps = 2;

// z := erfinv(x) for 0 < |x| < 0.5 by Newton on erf(z) = x, first in long
// double from z0 = x sqrt(pi)/2 (below the root, where erf is concave, so the
// steps approach it from one side), then at the working precision.
void erfinv_central(mpfr_ptr z, mpfr_srcptr x, Work &w) {
  const long double xl = mpfr_get_ld(x, MPFR_RNDN), c = 0.886226925452758013649083741671L;
  long double zl = xl * c;
  for (int k = 0; k < 12; ++k) zl += (xl - erfl(zl)) * c * expl(zl * zl);
  mpfr_set_ld(z, zl, MPFR_RNDN);
  mpfr_const_pi(w.c, MPFR_RNDN);
  mpfr_sqrt(w.c, w.c, MPFR_RNDN);
  mpfr_div_2ui(w.c, w.c, 1, MPFR_RNDN);  // sqrt(pi)/2
  for (int k = 0; k < kSteps; ++k) {
    mpfr_erf(w.a, z, MPFR_RNDN);
    mpfr_sub(w.a, x, w.a, MPFR_RNDN);
    mpfr_sqr(w.b, z, MPFR_RNDN);
    mpfr_exp(w.b, w.b, MPFR_RNDN);
    mpfr_mul(w.a, w.a, w.b, MPFR_RNDN);
    mpfr_mul(w.a, w.a, w.c, MPFR_RNDN);
    mpfr_add(z, z, w.a, MPFR_RNDN);
  }
}

// z := erfcinv(q) for 0 < q <= 0.5: bisection in long double to about 60
// bits, then Newton on ln erfc(z) = ln q, which keeps its scale down to the
// least denormal q.
void erfcinv_tail(mpfr_ptr z, mpfr_srcptr q, Work &w) {
  const long double ql = mpfr_get_ld(q, MPFR_RNDN);
  long double lo = 0, hi = 30;
  for (int k = 0; k < 80; ++k) {
    const long double mid = (lo + hi) / 2;
    (erfcl(mid) > ql ? lo : hi) = mid;
  }
  mpfr_set_ld(z, (lo + hi) / 2, MPFR_RNDN);
  mpfr_log(w.c, q, MPFR_RNDN);
  for (int k = 0; k < kSteps; ++k) {
    mpfr_erfc(w.a, z, MPFR_RNDN);
    mpfr_log(w.b, w.a, MPFR_RNDN);
    mpfr_sub(w.b, w.b, w.c, MPFR_RNDN);  // ln erfc(z) - ln q
    mpfr_mul(w.b, w.b, w.a, MPFR_RNDN);
    mpfr_sqr(w.a, z, MPFR_RNDN);
    mpfr_exp(w.a, w.a, MPFR_RNDN);
    mpfr_mul(w.b, w.b, w.a, MPFR_RNDN);
    mpfr_const_pi(w.a, MPFR_RNDN);
    mpfr_sqrt(w.a, w.a, MPFR_RNDN);
    mpfr_mul(w.b, w.b, w.a, MPFR_RNDN);
    mpfr_div_2ui(w.b, w.b, 1, MPFR_RNDN);
    mpfr_add(z, z, w.b, MPFR_RNDN);
  }
}

}  // namespace

int cdfnorm_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  Work w(y);
  mpfr_sqrt_ui(w.a, 2, MPFR_RNDN);
  mpfr_div(w.a, x, w.a, MPFR_RNDN);
  mpfr_neg(w.a, w.a, MPFR_RNDN);
  mpfr_erfc(w.a, w.a, MPFR_RNDN);
  return mpfr_div_2ui(y, w.a, 1, rnd);
}

int erfinv_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(x) || mpfr_inf_p(x) || mpfr_cmpabs_ui(x, 1) > 0) return mpfr_set_nan(y), 0;
  if (mpfr_zero_p(x)) return mpfr_set(y, x, rnd);
  if (mpfr_cmpabs_ui(x, 1) == 0) return mpfr_set_inf(y, mpfr_sgn(x)), 0;
  Work w(y);
  mpfr_t z, q;
  mpfr_inits2(w.p, z, q, (mpfr_ptr)0);
  if (mpfr_cmp_d(x, 0.5) < 0 && mpfr_cmp_d(x, -0.5) > 0) {
    erfinv_central(z, x, w);
  } else {
    mpfr_abs(q, x, MPFR_RNDN);
    mpfr_ui_sub(q, 1, q, MPFR_RNDN);  // exact: |x| >= 0.5
    erfcinv_tail(z, q, w);
    mpfr_setsign(z, z, mpfr_signbit(x), MPFR_RNDN);
  }
  const int t = mpfr_set(y, z, rnd);
  mpfr_clears(z, q, (mpfr_ptr)0);
  return t;
}

int erfcinv_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(x) || mpfr_sgn(x) < 0 || mpfr_cmp_ui(x, 2) > 0) return mpfr_set_nan(y), 0;
  if (mpfr_zero_p(x)) return mpfr_set_inf(y, 1), 0;
  if (mpfr_cmp_ui(x, 2) == 0) return mpfr_set_inf(y, -1), 0;
  if (mpfr_cmp_ui(x, 1) == 0) return mpfr_set_zero(y, 1), 0;
  Work w(y);
  mpfr_t z, q;
  mpfr_inits2(w.p, z, q, (mpfr_ptr)0);
  if (mpfr_cmp_d(x, 0.5) > 0 && mpfr_cmp_d(x, 1.5) < 0) {
    mpfr_ui_sub(q, 1, x, MPFR_RNDN);  // exact on (0.5, 1.5)
    erfinv_central(z, q, w);
  } else if (mpfr_cmp_d(x, 0.5) <= 0) {
    erfcinv_tail(z, x, w);
  } else {
    mpfr_ui_sub(q, 2, x, MPFR_RNDN);  // exact on [1.5, 2)
    erfcinv_tail(z, q, w);
    mpfr_neg(z, z, MPFR_RNDN);
  }
  const int t = mpfr_set(y, z, rnd);
  mpfr_clears(z, q, (mpfr_ptr)0);
  return t;
}

// cdfnorminv(p) = -sqrt(2) erfcinv(2p); 0.5 gives +0.
int cdfnorminv_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(x)) return mpfr_set_nan(y), 0;
  if (mpfr_cmp_d(x, 0.5) == 0) return mpfr_set_zero(y, 1), 0;
  mpfr_t p2, z;
  mpfr_inits2(mpfr_get_prec(y) + 32, p2, z, (mpfr_ptr)0);
  mpfr_mul_2ui(p2, x, 1, MPFR_RNDN);
  erfcinv_ref(z, p2, MPFR_RNDN);
  mpfr_sqrt_ui(p2, 2, MPFR_RNDN);
  mpfr_mul(z, z, p2, MPFR_RNDN);
  const int t = mpfr_neg(y, z, rnd);
  mpfr_clears(p2, z, (mpfr_ptr)0);
  return t;
}

// ln |gamma(x)|: +Inf at the poles and at both infinities.
int lgamma_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_inf_p(x)) return mpfr_set_inf(y, 1), 0;
  int sign;
  return mpfr_lgamma(y, &sign, x, rnd);
}

// E1(x) = -Ei(-x) for x > 0; NaN below 0, +Inf at 0, +0 at +Inf.
int expint1_ref(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(x) || (mpfr_sgn(x) < 0 && !mpfr_zero_p(x))) return mpfr_set_nan(y), 0;
  if (mpfr_zero_p(x)) return mpfr_set_inf(y, 1), 0;
  if (mpfr_inf_p(x)) return mpfr_set_zero(y, 1), 0;
  Work w(y);
  mpfr_neg(w.a, x, MPFR_RNDN);
  mpfr_eint(w.b, w.a, MPFR_RNDN);  // -E1(x) for a negative argument
  return mpfr_neg(y, w.b, rnd);
}

namespace {

int mul_by_conj_ref(mpc_ptr r, mpc_srcptr a, mpc_srcptr b, mpc_rnd_t rnd) {
  mpc_t cb;
  mpc_init3(cb, mpfr_get_prec(mpc_realref(b)), mpfr_get_prec(mpc_imagref(b)));
  mpc_conj(cb, b, MPC_RNDNN);
  const int t = mpc_mul(r, a, cb, rnd);
  mpc_clear(cb);
  return t;
}
// z^w = e^(w ln z) with ln z on the side of the cut that the sign of a zero
// imaginary part picks: mpc_pow takes a real base as x + 0i whatever the
// sign, so for Im z = -0 it is conj(conj(z)^conj(w)), which is the same
// function where ln(conj z) = conj(ln z).
int pow_ref(mpc_ptr r, mpc_srcptr z, mpc_srcptr w, mpc_rnd_t rnd) {
  if (!mpfr_zero_p(mpc_imagref(z)) || !mpfr_signbit(mpc_imagref(z))) return mpc_pow(r, z, w, rnd);
  mpc_t cz, cw;
  mpc_init3(cz, mpfr_get_prec(mpc_realref(z)), mpfr_get_prec(mpc_imagref(z)));
  mpc_init3(cw, mpfr_get_prec(mpc_realref(w)), mpfr_get_prec(mpc_imagref(w)));
  mpc_conj(cz, z, MPC_RNDNN);
  mpc_conj(cw, w, MPC_RNDNN);
  const int t = mpc_pow(r, cz, cw, rnd);
  mpc_conj(r, r, MPC_RNDNN);
  mpc_clear(cz), mpc_clear(cw);
  return t;
}
// |a| and arg a from the parts, with the C99 special values of hypot and atan2.
int abs_ref(mpfr_ptr y, mpc_srcptr a, mpfr_rnd_t rnd) { return mpfr_hypot(y, mpc_realref(a), mpc_imagref(a), rnd); }
int arg_ref(mpfr_ptr y, mpc_srcptr a, mpfr_rnd_t rnd) { return mpfr_atan2(y, mpc_imagref(a), mpc_realref(a), rnd); }

template <class F> struct Named {
  const char *func;
  F f;
};
const Named<MpcUnary> kComplexUnary[] = {
    {"Exp", mpc_exp},     {"Ln", mpc_log},     {"Log10", mpc_log10}, {"Sqrt", mpc_sqrt},   {"Sin", mpc_sin},
    {"Cos", mpc_cos},     {"Tan", mpc_tan},    {"Sinh", mpc_sinh},   {"Cosh", mpc_cosh},   {"Tanh", mpc_tanh},
    {"Asin", mpc_asin},   {"Acos", mpc_acos},  {"Atan", mpc_atan},   {"Asinh", mpc_asinh}, {"Acosh", mpc_acosh},
    {"Atanh", mpc_atanh},
};
const Named<MpcBinary> kComplexBinary[] = {
    {"Mul", mpc_mul}, {"MulByConj", mul_by_conj_ref}, {"Div", mpc_div}, {"Pow", pow_ref}, {"Powx", pow_ref},
};
const Named<MpcToReal> kComplexToReal[] = {{"Abs", abs_ref}, {"Arg", arg_ref}};

template <class F, size_t N> F find(const Named<F> (&list)[N], const char *func) {
  for (const Named<F> &n : list)
    if (strcmp(n.func, func) == 0) return n.f;
  return nullptr;
}

}  // namespace

MpcUnary complex_reference(const char *func) { return find(kComplexUnary, func); }
MpcBinary complex_reference2(const char *func) { return find(kComplexBinary, func); }
MpcToReal complex_to_real_reference(const char *func) { return find(kComplexToReal, func); }
