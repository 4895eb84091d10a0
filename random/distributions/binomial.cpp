// Binomial law: successes in ntrial trials of probability p. The problem is
// mirrored to pp = min(p, 1 - p) (results ntrial - x when p is above 0.5):
//   ntrial * pp below 30: inversion of a cumulative table from 0 to the mean
//   plus 32, one double uniform per variate, searched from the mean;
//   ntrial * pp of 30 and above: the triangle-parallelogram-exponential
//   rejection of Kachitvichyanukul and Schmeiser, two float uniforms a trial.
// The table or the rejection's set-up is kept in chunk 5 of the stream, keyed
// by (ntrial, p), so calls with fixed parameters pay for it once.
#include "random/distributions/discrete.h"

namespace qor::dist {
namespace {

constexpr int kChunk = 5;
constexpr int kRecordBytes = 544;
constexpr int kPairs = 1024;

// The record: key, kind, then the table or the set-up.
struct Record {
  double ntrial, p, kind;  // kind 1: table, 2: rejection
  union {
    struct {
      double top, s, a;   // last entry; the recurrence P(k) = P(k-1) (a/k - s)
      double F[62];       // F[k] = P(X <= k), k = 0..top
    } inv;
    struct {
      double M, npq, p1, p2, p3, p4, xm, xl, xr, c, ll, lr, pp, qq;
      double R[41];  // f(M + j)/f(M), j = -20..20, by the recurrence of the probabilities
    } rej;
  };
};
static_assert(sizeof(Record) <= kRecordBytes, "binomial record");

void set_up_table(Record *rec, int ntrial, double pp, double qq) {
  const double s = pp / qq, a = (ntrial + 1) * s;
  int top = (int)(ntrial * pp);
  top = (top > 0 ? top : 0) + 32;
  if (top > ntrial) top = ntrial;
  double ratio[62];
  for (int k = 1; k <= top; ++k) ratio[k] = a / k - s;  // the divisions in one loop
  double P = powx_ha(qq, (double)ntrial), F = P;
  rec->inv.F[0] = F;
  for (int k = 1; k <= top; ++k) {
    P *= ratio[k];
    F += P;
    rec->inv.F[k] = F;
  }
  rec->inv.top = top, rec->inv.s = s, rec->inv.a = a;
}

int inversion(GuxStream *stream, int n, int32_t *r, int ntrial, const Record *rec, bool mirror) {
  const double *F = rec->inv.F;
  const int top = (int)rec->inv.top;
  int mean = (int)(ntrial * (mirror ? 1.0 - rec->p : rec->p));
  if (mean > top) mean = top;
  if (mean < 0) mean = 0;
  return each_uniform(stream, n, [&](int at, double x) {
    int k = mean;
    if (x < F[k]) {
      while (k > 0 && x < F[k - 1]) --k;
    } else {
      while (k < top && x >= F[k]) ++k;
      if (k == top && top > 0 && x >= F[k]) {
        // Past the table: the recurrence goes on (a tail below 1e-9).
        double P = F[top] - F[top - 1], c = F[top];
        while (k < ntrial && x >= c) {
          ++k;
          P *= rec->inv.a / k - rec->inv.s;
          c += P;
        }
      }
    }
    r[at] = mirror ? ntrial - k : k;
  });
}

void set_up_rejection(Record *rec, int ntrial, double pp, double qq) {
  auto &b = rec->rej;
  const double fm = ntrial * pp + pp;
  b.M = (double)(int)fm;
  b.npq = ntrial * pp * qq;
  b.p1 = (double)(int)(2.195 * __guxdSqrt(b.npq) - 4.6 * qq) + 0.5;
  b.xm = b.M + 0.5;
  b.xl = b.xm - b.p1;
  b.xr = b.xm + b.p1;
  b.c = 0.134 + 20.5 / (15.3 + b.M);
  double a = (fm - b.xl) / (fm - b.xl * pp);
  b.ll = a * (1.0 + 0.5 * a);
  a = (b.xr - fm) / (b.xr * qq);
  b.lr = a * (1.0 + 0.5 * a);
  b.p2 = b.p1 * (1.0 + 2.0 * b.c);
  b.p3 = b.p2 + b.c / b.ll;
  b.p4 = b.p3 + b.c / b.lr;
  b.pp = pp, b.qq = qq;
  const double s = pp / qq, t = s * (ntrial + 1);
  const int M = (int)b.M;
  b.R[20] = 1.0;
  for (int j = 1; j <= 20; ++j) {
    b.R[20 + j] = M + j <= ntrial ? b.R[19 + j] * (t / (M + j) - s) : 0.0;
    b.R[20 - j] = M - j >= 0 ? b.R[21 - j] / (t / (M - j + 1) - s) : 0.0;
  }
}

// The Stirling remainder 1/(12x) - 1/(360x^3) + 1/(1260x^5) - 1/(1680x^7) +
// 1/(1188x^9) of the final test.
inline double remainder(double x) {
  const double x2 = x * x;
  return (0.0833333358 - (0.00277777785 - (0.000793650805 - (0.000595238118 - 0.000841750822 / x2) / x2) / x2) / x2) / x;
}

// Acceptance of y with the scaled v of the regions 2 to 4.
bool accept(const Record *rec, int ntrial, int y, double v) {
  const auto &b = rec->rej;
  const int M = (int)b.M;
  const int k = y > M ? y - M : M - y;
  if (k <= 20) return v <= b.R[20 + y - M];  // f(y)/f(M) from the set-up
  const double A = __guxdLn(v);
  if (k < 0.5 * b.npq - 1.0) {
    // The squeeze on ln f(y)/f(M) about -k^2 / (2 npq).
    const double dk = k;
    const double rho = (dk / b.npq) * ((dk * (dk / 3.0 + 0.625) + 1.0 / 6.0) / b.npq + 0.5);
    const double t = -dk * dk / (2.0 * b.npq);
    if (A < t - rho) return true;
    if (A > t + rho) return false;
  }
  // The final test: ln f(y)/f(M) by Stirling's formula with its remainders.
  const double x1 = y + 1.0, f1 = M + 1.0, z = ntrial + 1.0 - M, w = ntrial - y + 1.0;
  const double bound = b.xm * __guxdLn(f1 / x1) + (ntrial - M + 0.5) * __guxdLn(z / w) +
                       (y - M) * __guxdLn(w * b.pp / (x1 * b.qq)) + remainder(f1) + remainder(z) -
                       remainder(x1) - remainder(w);
  return A <= bound;
}

int rejection(GuxStream *stream, int n, int32_t *r, int ntrial, const Record *rec, bool mirror) {
  const auto &b = rec->rej;
  float u[2 * kPairs], lv[kPairs];
  int status = GUX_STATUS_OK, done = 0;
  while (done < n) {
    // About 1.25 trials per variate: a short call draws little more than it needs.
    long want = (long)(n - done) + (n - done) / 4 + 4;
    const int m = want > kPairs ? kPairs : (int)want;
    status = uniform(stream, 2 * m, u, 0.0f, 1.0f);
    if (status < 0) return status;
    for (int k = 0; k < m; ++k) lv[k] = u[2 * k + 1];
    apply(Fn::Ln, m, lv);  // the logarithms of the tail regions, for the whole block
    for (int k = 0; k < m && done < n; ++k) {
      const double x = (double)u[2 * k] * b.p4;
      double v = u[2 * k + 1];
      int y;
      if (x <= b.p1) {
        y = (int)floor(b.xm - b.p1 * v + x);
        r[done++] = mirror ? ntrial - y : y;
        continue;
      }
      if (x <= b.p2) {
        const double t = b.xl + (x - b.p1) / b.c;
        v = v * b.c + 1.0 - fabs(b.M - t + 0.5) / b.p1;
        if (v > 1.0 || v <= 0.0) continue;
        y = (int)floor(t);
      } else if (x <= b.p3) {
        const double t = floor(b.xl + lv[k] / b.ll);
        if (!(t >= 0.0)) continue;
        y = (int)t;
        v = v * (x - b.p2) * b.ll;
      } else {
        const double t = floor(b.xr - lv[k] / b.lr);
        if (!(t <= ntrial)) continue;
        y = (int)t;
        v = v * (x - b.p3) * b.lr;
      }
      if (accept(rec, ntrial, y, v)) r[done++] = mirror ? ntrial - y : y;
    }
  }
  return status;
}

int binomial(GuxStream *stream, int n, int32_t *r, int ntrial, double p) {
  if (ntrial == 0) {
    for (int i = 0; i < n; ++i) r[i] = 0;
    return GUX_STATUS_OK;
  }
  void *raw;
  bool fresh;
  int status = chunk_record(stream, kChunk, kRecordBytes, &raw, &fresh);
  if (status < 0) return status;
  Record *rec = static_cast<Record *>(raw);
  const bool mirror = !(0.5 > p);
  const double pp = mirror ? 1.0 - p : p, qq = 1.0 - pp;
  const bool table = !(ntrial * pp >= 30.0);
  if (fresh || rec->ntrial != ntrial || rec->p != p || rec->kind != (table ? 1.0 : 2.0)) {
    rec->ntrial = ntrial, rec->p = p, rec->kind = table ? 1.0 : 2.0;
    if (table)
      set_up_table(rec, ntrial, pp, qq);
    else
      set_up_rejection(rec, ntrial, pp, qq);
  }
  if (table) return inversion(stream, n, r, ntrial, rec, mirror);
  return guarded(fix_ln<float>, [&] { return rejection(stream, n, r, ntrial, rec, mirror); });
}

}  // namespace
}  // namespace qor::dist

extern "C" int _guxiRngBinomial(int, GuxStream *stream, int n, int32_t *r, int ntrial, double p) {
  return qor::dist::binomial(stream, n, r, ntrial, p);
}
