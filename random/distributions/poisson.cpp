// Poisson law of mean lambda, by two methods:
//   0  below 27 inversion of a cumulative table, from 27 on the
//      triangle-parallelogram-exponential rejection (PTPE), both set up once
//      per lambda in chunk 3 of the stream;
//   1  one normal variate per count, in three ranges of lambda: a cumulative
//      chain below 1; from 1 to 32 the exact inversion of the law at the
//      normal's probability, its cell guessed by the cubic of the fitted
//      factors and settled by the cell edges kept in chunk 3; from 32 to
//      100 that cubic alone; from 100 on the cubic of a closed form.
#include <limits.h>

#include "core/qor_core.h"
#include "random/distributions/poisson_normal.h"

namespace qor::dist {
namespace {

constexpr int kBlock = 1024;
constexpr double kTableTop = 27.0;
constexpr int kTableLength = 128;  // enough for every lambda below 27
constexpr int kPoissonChunk = 3;
constexpr int kNear = 20;  // ratios to the mode's probability kept in the set-up

// The set-up of a lambda: its cumulative table below 27, its PTPE constants
// from 27 on. The record is a plain block so that it saves with the stream.
struct Setup {
  double lambda;  // key, compared exactly
  int32_t length, pad;
  // PTPE: the mode, the half-width of the triangle, the region bounds and
  // weights, the tail rates, and the pieces of the log ratio ln f(y)/f(M).
  double mode, p1, xm, xl, xr, c, lam_l, lam_r, p2, p3, p4;
  double log_lambda_f1, stirling_f1;
  double near[2 * kNear + 1];  // f(M + d) / f(M), |d| <= kNear
  double cdf[kTableLength];
  // The normal method's cell edges for 1 <= lambda < 32, made on its first
  // use (count 0 until then).
  NormalEdges edges;
};

// P(0) = exp(-lambda) through dExp HA at one element.
double exp_minus(double lambda) {
  double x = -lambda;
  apply_slot(qor_ttab_dExp, kSlotHA, 1, &x);
  return x;
}

double stirling_tail(double x) { return (1.0 / 12.0 - 1.0 / 360.0 / (x * x)) / x; }

void build(Setup *s, double lambda) {
  memset(s, 0, sizeof *s);
  s->lambda = lambda;
  if (lambda < kTableTop) {
    double p = exp_minus(lambda), f = p;
    s->cdf[0] = f;
    int k = 1;
    for (; k < kTableLength; ++k) {
      p = p * lambda / k;
      const double next = f + p;
      if (next == f && k > lambda) break;
      s->cdf[k] = f = next;
    }
    s->length = k;
    return;
  }
  // Constants as the double values of their float forms.
  const double mode = (double)(int32_t)lambda, root = __guxdSqrt(mode);
  s->mode = mode;
  s->p1 = (double)(int32_t)(2.1949999332427979 * root - 2.2000000476837158) + 0.5;
  s->c = 0.13300000131130219 + 8.5600004196166992 / (6.8299999237060547 + mode);
  s->xm = mode + 0.5;
  s->xl = s->xm - s->p1;
  s->xr = s->xm + s->p1;
  const double al = (lambda - s->xl) / lambda, ar = (s->xr - lambda) / s->xr;
  s->lam_l = al * (1.0 + 0.5 * al);
  s->lam_r = ar * (1.0 + 0.5 * ar);
  s->p2 = s->p1 * (1.0 + 2.0 * s->c);
  s->p3 = s->p2 + s->c / s->lam_l;
  s->p4 = s->p3 + s->c / s->lam_r;
  s->log_lambda_f1 = __guxdLn(lambda / (mode + 1.0)) + 1.0;
  s->stirling_f1 = stirling_tail(mode + 1.0);
  // The ratios by the recurrence f(k+1)/f(k) = lambda/(k+1), outwards from M.
  s->near[kNear] = 1.0;
  for (int d = 1; d <= kNear; ++d) {
    s->near[kNear + d] = s->near[kNear + d - 1] * lambda / (mode + d);
    s->near[kNear - d] = s->near[kNear - d + 1] * (mode - d + 1) / lambda;
  }
}

// The stream's set-up for lambda: kept if its key matches, else rebuilt in
// place; created on first use.
int setup_for(GuxStream *stream, double lambda, Setup **out) {
  Setup *s = static_cast<Setup *>(__guxSearchChunk(stream, kPoissonChunk));
  if (!s) {
    s = static_cast<Setup *>(qor_serv_allocate(sizeof(Setup), 128));
    if (!s) return GUX_STATUS_NO_MEMORY;
    build(s, lambda);
    const int status = __guxAddChunk(stream, kPoissonChunk, nullptr, s, (int)sizeof(Setup));
    if (status < 0) {
      qor_serv_deallocate(s);
      return status;
    }
  } else if (!(s->lambda == lambda)) {
    build(s, lambda);
  }
  *out = s;
  return GUX_STATUS_OK;
}

// The smallest k with u < F(k): from the mode down or up; past the table the
// recurrence goes on (the table ends where F stops growing in double).
int32_t invert(const Setup &s, double u) {
  int k = (int)s.lambda;
  if (k >= s.length) k = s.length - 1;
  if (u < s.cdf[k]) {
    while (k > 0 && u < s.cdf[k - 1]) --k;
    return k;
  }
  while (k + 1 < s.length && !(u < s.cdf[k + 1])) ++k;
  if (k + 1 < s.length) return k + 1;
  double f = s.cdf[s.length - 1], p = f - s.cdf[s.length - 2];
  for (k = s.length;; ++k) {
    p = p * s.lambda / k;
    if (u < f + p || p == 0.0) return k;
    f += p;
  }
}

int table(GuxStream *stream, int n, int32_t *r, const Setup &s) {
  double u[kBlock];
  for (int done = 0; done < n; done += kBlock) {
    const int m = n - done < kBlock ? n - done : kBlock;
    const int status = uniform(stream, m, u, 0.0, 1.0);
    if (status < 0) return status;
    for (int i = 0; i < m; ++i) r[done + i] = invert(s, u[i]);
  }
  return GUX_STATUS_OK;
}

// Acceptance of y with v on the scale f(M) = 1: the set-up's ratios near the
// mode, the Stirling form of ln f(y)/f(M) farther out.
bool accept(const Setup &s, double y, double v) {
  const double d = y - s.mode;
  if (d >= -kNear && d <= kNear) return v <= s.near[kNear + (int)d];
  // ln f(y)/f(M) = d (ln(lambda/(M+1)) + 1) - (y + 1/2) ln((y+1)/(M+1))
  //              + s(M+1) - s(y+1), s the Stirling tail 1/12x - 1/360x^3.
  const double x1 = y + 1.0;
  const double bound = d * s.log_lambda_f1 - (y + 0.5) * __guxdLn(x1 / (s.mode + 1.0)) + s.stirling_f1 -
                       stirling_tail(x1);
  return __guxdLn(v) <= bound;
}

int ptpe(GuxStream *stream, int n, int32_t *r, const Setup &s) {
  float u[2 * kBlock], lnv[kBlock];
  int done = 0;
  while (done < n) {
    // Pairs for the counts still wanted, with a margin for the rejections.
    int m = n - done + ((n - done) >> 2) + 4;
    if (m > kBlock) m = kBlock;
    const int status = uniform(stream, 2 * m, u, 0.0f, 1.0f);
    if (status < 0) return status;
    for (int i = 0; i < m; ++i) lnv[i] = u[2 * i + 1];
    apply(Fn::Ln, m, lnv);
    for (int i = 0; i < m && done < n; ++i) {
      const double uu = (double)u[2 * i] * s.p4;
      double v = u[2 * i + 1], y;
      if (uu <= s.p1) {  // triangle: accepted as it stands
        r[done++] = (int32_t)floor(s.xm - s.p1 * v + uu);
        continue;
      }
      if (uu <= s.p2) {  // parallelogram
        const double x = s.xl + (uu - s.p1) / s.c;
        v = v * s.c + 1.0 - fabs(s.xm - x) / s.p1;
        if (v > 1.0) continue;
        y = floor(x);
      } else if (uu <= s.p3) {  // left exponential tail
        y = floor(s.xl + lnv[i] / s.lam_l);
        if (y < 0.0) continue;
        v = v * (uu - s.p2) * s.lam_l;
      } else {  // right exponential tail
        y = floor(s.xr - lnv[i] / s.lam_r);
        if (y > (double)INT_MAX) continue;
        v = v * (uu - s.p3) * s.lam_r;
      }
      if (accept(s, y, v)) r[done++] = (int32_t)y;
    }
  }
  return GUX_STATUS_OK;
}

int method_ptpe(GuxStream *stream, int n, int32_t *r, double lambda) {
  if (n <= 0) return GUX_STATUS_OK;
  Setup *s;
  const int status = setup_for(stream, lambda, &s);
  if (status < 0) return status;
  return lambda < kTableTop ? table(stream, n, r, *s) : ptpe(stream, n, r, *s);
}

int method_normal(GuxStream *stream, int n, int32_t *r, double lambda) {
  if (n <= 0) return GUX_STATUS_OK;
  float z[kBlock];
  if (lambda < kNormalChainTop) {
    float cdf[kNormalChainLength];
    normal_chain(lambda, exp_minus(lambda), cdf);
    for (int done = 0; done < n; done += kBlock) {
      const int m = n - done < kBlock ? n - done : kBlock;
      const int status = uniform(stream, m, z, 0.0f, 1.0f);
      if (status < 0) return status;
      for (int i = 0; i < m; ++i) r[done + i] = chain_count(z[i], cdf);
    }
    return GUX_STATUS_OK;
  }
  const NormalFactors f = normal_factors(lambda);
  int status = GUX_STATUS_OK;
  if (lambda < kNormalExactTop) {
    // The cubic guesses, the edges of the set-up decide.
    Setup *s;
    status = setup_for(stream, lambda, &s);
    if (status < 0) return status;
    if (s->edges.count == 0) normal_edges(lambda, &s->edges);
    for (int done = 0; done < n; done += kBlock) {
      const int m = n - done < kBlock ? n - done : kBlock;
      status = _guxsRngGaussian(GUX_METHOD_GAUSSIAN_ICDF, stream, m, z, 0.0f, 1.0f);
      if (status < 0) return status;
      for (int i = 0; i < m; ++i) r[done + i] = exact_count(z[i], normal_count(z[i] * f.b + f.a, f), s->edges);
    }
    return status;
  }
  for (int done = 0; done < n; done += kBlock) {
    const int m = n - done < kBlock ? n - done : kBlock;
    status = _guxsRngGaussian(GUX_METHOD_GAUSSIAN_ICDF, stream, m, z, f.a, f.b);
    if (status < 0) return status;
    for (int i = 0; i < m; ++i) r[done + i] = normal_count(z[i], f);
  }
  return status;
}

}  // namespace

// The method word indexes two routines: 0 is PTPE, every other word the
// normal method. Inside the guard with the float logarithm's fix-up.
int poisson(int method, GuxStream *stream, int n, int32_t *r, double lambda) {
  return guarded(fix_ln<float>, [&] {
    return method == GUX_METHOD_POISSON_PTPE ? method_ptpe(stream, n, r, lambda)
                                             : method_normal(stream, n, r, lambda);
  });
}

}  // namespace qor::dist

extern "C" int _guxiRngPoisson(int method, GuxStream *stream, int n, int32_t *r, double lambda) {
  return qor::dist::poisson(method, stream, n, r, lambda);
}
