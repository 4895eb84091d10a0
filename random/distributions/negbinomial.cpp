// Negative binomial law: failures before the a-th success of probability p,
// a > 0 real; f(k) = Gamma(a + k) / (Gamma(a) k!) p^a q^k, q = 1 - p.
//   Small means: inversion of a cumulative table searched from the mode J,
//   one double uniform per variate, the recurrence going on past the table.
//   a >= 1 and a large mode or mean: rejection from a hat made of a box of
//   height f(M) around the mode M and two geometric tails along the chords
//   of ln f at the box edges (ln f is concave for a >= 1, so the chords lie
//   above it); two uniforms a trial, whatever the mean.
//   a < 1 and a large mean: the mass at 0, and k >= 1 under the envelope
//   p^a / Gamma(a) x^(a-1) q^x at x in (k - 1, k] (Gamma(k + a) / k! is at
//   most k^(a - 1)), x drawn from the gamma law of shape a and rate -ln q.
// The table or the set-up is kept in chunk 4, keyed by (a, p).
#include "random/distributions/discrete.h"

namespace qor::dist {
namespace {

constexpr int kChunk = 4;
constexpr int kTable = 1024;
constexpr double kHugeMean = 10737418.24;
constexpr double kIntBound = 2147483648.0;

enum Kind { kInversion = 1, kConcave = 2, kGammaEnvelope = 3 };

struct Record {
  double a, p, kind, pad;
  union {
    struct {
      double J, len, last;  // start of the search, entries, P(len - 1)
      double F[kTable];
    } inv;
    struct {
      double M, lnq, xl, xr, hl, ll, hr, lr, box, massl, total, sl, sr;
      double R[2 * 256 + 1];  // f(M + j)/f(M), |j| <= 256, by the recurrence of the probabilities
    } cc;
    struct {
      double zero, beta, lnq, b;
    } ge;
  };
};

Kind choose(double a, double p) {
  const double q = 1.0 - p, mean = a * q / p;
  if (mean >= kHugeMean) return a < 1.0 ? kGammaEnvelope : kConcave;
  if ((a - 1.0) * q / p >= 100.0) return kConcave;
  // A long geometric-like tail would make the table's search walk: beyond
  // q/p of 64 one of the rejections takes over.
  if (q / p >= 64.0) return a < 1.0 ? kGammaEnvelope : kConcave;
  return kInversion;
}

// ---- inversion ---------------------------------------------------------------
void set_up_table(Record *rec, double a, double p) {
  const double q = 1.0 - p;
  int J = (int)((a - 1.0) * q / p);
  if (J < 0) J = 0;
  int len = J + 64 + (int)(8.0 / p);
  if (len > kTable) len = kTable;
  double P = powx_ha(p, a), F = P;
  rec->inv.F[0] = F;
  for (int j = 0; j + 1 < len; ++j) {
    P = P * q * (a + j) / (j + 1);
    F += P;
    rec->inv.F[j + 1] = F;
  }
  rec->inv.J = J, rec->inv.len = len, rec->inv.last = P;
}

int inversion(GuxStream *stream, int n, int32_t *r, const Record *rec) {
  const double *F = rec->inv.F, a = rec->a, q = 1.0 - rec->p;
  const int J = (int)rec->inv.J, last = (int)rec->inv.len - 1;
  return each_uniform(stream, n, [&](int at, double x) {
    int j;
    if (x < F[0]) {
      j = 0;
    } else if (x < F[J]) {
      j = J;
      while (x < F[j - 1]) --j;
    } else {
      j = J;
      while (j < last && x >= F[j]) ++j;
      if (j == last && x >= F[j]) {
        // Past the table: the recurrence goes on until the terms vanish.
        double P = rec->inv.last, c = F[last];
        while (x >= c && P > 0x1p-60 * c && j < 2147483647) {
          P = P * q * (a + j) / (j + 1);
          c += P;
          ++j;
        }
      }
    }
    r[at] = j;
  });
}

// ---- a >= 1: box and chord tails ----------------------------------------------
// ln f(k)/f(M).
inline double ln_ratio(const Record *rec, double a, double k) {
  const double M = rec->cc.M;
  return ln_gamma_diff(a + M, k - M) - ln_fact_diff(k, M) + (k - M) * rec->cc.lnq;
}

void set_up_concave(Record *rec, double a, double p) {
  auto &c = rec->cc;
  const double q = 1.0 - p;
  double M = floor((a - 1.0) * q / p);
  if (M < 0) M = 0;
  c.M = M;
  c.lnq = log1p(-p);
  double d = floor(__guxdSqrt(a * q) / p);
  if (d < 2) d = 2;
  c.xl = M - d > 0 ? M - d : 0;
  c.xr = M + d;
  if (c.xl > 0) {
    // The slopes of the chords from f(k)/f(k - 1) = q (a + k - 1)/k directly:
    // as a difference of two values of ln f they would lose their digits
    // when the mean is large and the slope small.
    c.hl = ln_ratio(rec, a, c.xl - 1);
    c.ll = c.lnq + log1p((a - 1.0) / c.xl);
    c.massl = exp_ha(c.hl) / -expm1(-c.ll);
  } else {
    c.hl = c.ll = c.massl = 0;
  }
  c.hr = ln_ratio(rec, a, c.xr + 1);
  c.lr = -(c.lnq + log1p((a - 1.0) / (c.xr + 1.0)));
  c.box = c.xr - c.xl + 1;
  // Slopes of the chords from (M, 0) to the box edges: ln f/f(M) lies above
  // them inside the box, and exp(x) >= 1 + x, so v <= 1 - slope |y - M|
  // accepts without a logarithm.
  c.sl = c.xl < M ? -ln_ratio(rec, a, c.xl) / (M - c.xl) : 0;
  c.sr = -ln_ratio(rec, a, c.xr) / (c.xr - M);
  double *R = c.R + 256;
  R[0] = 1.0;
  for (int j = 1; j <= 256; ++j) {
    R[j] = R[j - 1] * q * (a + M + j - 1) / (M + j);
    R[-j] = M - j >= 0 ? R[1 - j] * (M - j + 1) / (q * (a + M - j)) : 0.0;
  }
  c.total = c.box + c.massl + exp_ha(c.hr) / -expm1(-c.lr);
}

int concave(GuxStream *stream, int n, int32_t *r, const Record *rec) {
  const auto &c = rec->cc;
  const double a = rec->a;
  Pool<double> pool(stream);
  for (int done = 0; done < n;) {
    const long want = 2L * (n - done) + (n - done) / 2 + 4;
    double u, v;
    if (!pool.next(&u, want) || !pool.next(&v, want)) return pool.status;
    u *= c.total;
    double y, hat;
    if (u < c.box) {
      y = c.xl + floor(u);
      const double j = y - c.M;
      if (j >= -256 && j <= 256 ? v <= c.R[256 + (int)j] : v <= 1.0 - (j < 0 ? -c.sl * j : c.sr * j)) {
        r[done++] = (int32_t)y;
        continue;
      }
      hat = 0;
    } else if (u < c.box + c.massl) {
      const double g = floor(log1p(-(u - c.box) / c.massl) / -c.ll);
      y = c.xl - 1 - g;
      if (!(y >= 0)) continue;
      hat = c.hl - c.ll * g;
    } else {
      const double w = (u - c.box - c.massl) / (c.total - c.box - c.massl);
      const double g = floor(log1p(-w) / -c.lr);
      y = c.xr + 1 + g;
      if (!(y < kIntBound)) continue;
      hat = c.hr - c.lr * g;
    }
    const double j = y - c.M;
    const bool near = j >= -256 && j <= 256;
    if (near ? v * exp(hat) <= c.R[256 + (int)j] : log(v) <= ln_ratio(rec, a, y) - hat) r[done++] = (int32_t)y;
  }
  return pool.status;
}

// ---- a < 1: the gamma envelope ---------------------------------------------------
void set_up_gamma(Record *rec, double a, double p) {
  auto &g = rec->ge;
  g.lnq = log1p(-p);
  g.beta = -g.lnq;
  g.zero = 1.0 / (1.0 + exp_ha(-a * __guxdLn(g.beta)));  // share of the mass at 0 in the hat
  g.b = 1.0 + a / 2.718281828459045;
}

int gamma_envelope(GuxStream *stream, int n, int32_t *r, const Record *rec) {
  const auto &g = rec->ge;
  const double a = rec->a;
  Pool<double> pool(stream);
  for (int done = 0; done < n;) {
    const long want = 3L * (n - done) + (n - done) + 4;
    double w1, w2, w3;
    if (!pool.next(&w1, want) || !pool.next(&w2, want) || !pool.next(&w3, want)) return pool.status;
    if (w1 < g.zero) {
      r[done++] = 0;
      continue;
    }
    // A gamma variate of shape a < 1 by a power law on [0, 1] and an
    // exponential tail beyond, accepted against the gamma density; its own
    // rejections draw again for the gamma variate only.
    double U = (w1 - g.zero) / (1.0 - g.zero), X;
    for (;;) {
      const double P = g.b * U;
      if (P <= 1.0) {
        X = exp(log(P) / a);
        if (w2 <= exp(-X)) break;
      } else {
        X = -log((g.b - P) / a);
        if (w2 <= exp((a - 1.0) * log(X))) break;
      }
      if (!pool.next(&U, want) || !pool.next(&w2, want)) return pool.status;
    }
    const double x = X / g.beta, K = ceil(x);
    if (!(K >= 1.0) || !(K < kIntBound)) continue;
    // A lower bound of the log ratio below, (1 - a) (1 - (K + a)/x) - (K - x) beta
    // (Gamma(K + a)/K! >= K^(a - 1) (K/(K + a))^(1 - a), ln t >= 1 - 1/t), and
    // exp(b) >= 1 + b: most candidates pass without a logarithm.
    if (w3 <= 1.0 + (1.0 - a) * (1.0 - (K + a) / x) - (K - x) * g.beta) {
      r[done++] = (int32_t)K;
      continue;
    }
    if (log(w3) <= ln_gamma_diff(K + 1.0, a - 1.0) - (a - 1.0) * log(x) + (K - x) * g.lnq)
      r[done++] = (int32_t)K;
  }
  return pool.status;
}

// Inside the guard, so that the logarithms of the set-up and of the
// rejections (ln 0 of a uniform of exactly 0 among them) raise no flag that
// reaches the caller.
int negbinomial(GuxStream *stream, int n, int32_t *r, double a, double p) {
  void *raw;
  bool fresh;
  int status = chunk_record(stream, kChunk, (int)sizeof(Record), &raw, &fresh);
  if (status < 0) return status;
  Record *rec = static_cast<Record *>(raw);
  const Kind kind = choose(a, p);
  if (fresh || rec->a != a || rec->p != p || rec->kind != kind) {
    rec->a = a, rec->p = p, rec->kind = kind;
    if (kind == kInversion) set_up_table(rec, a, p);
    if (kind == kConcave) set_up_concave(rec, a, p);
    if (kind == kGammaEnvelope) set_up_gamma(rec, a, p);
  }
  if (n <= 0) return GUX_STATUS_OK;
  if (kind == kInversion) return inversion(stream, n, r, rec);
  if (kind == kConcave) return concave(stream, n, r, rec);
  return gamma_envelope(stream, n, r, rec);
}

}  // namespace
}  // namespace qor::dist

extern "C" int _guxiRngNegbinomial(int, GuxStream *stream, int n, int32_t *r, double a, double p) {
  using namespace qor::dist;
  return guarded(fix_ln<double>, [&] { return negbinomial(stream, n, r, a, p); });
}
