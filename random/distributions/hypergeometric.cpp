// Hypergeometric law: marked items in a sample of s taken without
// replacement from l items of which m are marked. The parameters are folded
// to n1 = min(m, l - m) marked, n2 = l - n1 others, a sample of
// k = min(s, l - s); the variate of the folded problem is unfolded at the end.
//   Mode M less than 40 above the lower bound: inversion of a cumulative
//   table searched from the mode, one double uniform per variate;
//   otherwise the rejection of Kachitvichyanukul and Schmeiser over a box
//   around the mode and two exponential tails, two float uniforms a trial.
// The table or the set-up is kept in chunk 6, keyed by (l, s, m).
#include "random/distributions/discrete.h"

namespace qor::dist {
namespace {

constexpr int kChunk = 6;
constexpr int kTable = 1024;  // entries of the table from the lower bound
constexpr int kPairs = 1024;

struct Record {
  double l, s, m, kind;           // key; kind 1: table, 2: rejection
  double M, minjx, maxjx, top;    // mode, bounds, last table entry
  double xl, xr, ll, lr, p1, p2, p3, pad;
  double F[kTable];               // F[i] = P(X <= minjx + i)
};

struct Folded {
  int n1, n2, k, l;
  int M, minjx, maxjx;
};

// ln f(y)/f(M) for the folded law, from differences of log factorials.
double ln_ratio(const Folded &f, int y) {
  const int M = f.M;
  return -(ln_fact_diff(y, M) + ln_fact_diff(f.n1 - y, f.n1 - M) + ln_fact_diff(f.k - y, f.k - M) +
           ln_fact_diff(f.n2 - f.k + y, f.n2 - f.k + M));
}
// f(i)/f(i-1).
inline double step_up(const Folded &f, int i) {
  return ((double)(f.n1 - i + 1) * (double)(f.k - i + 1)) / ((double)i * (double)(f.n2 - f.k + i));
}

void set_up_table(Record *rec, const Folded &f) {
  // Probabilities relative to the mode, upwards until they vanish (2^-64 of
  // the mode) or the table is full, downwards to the bound; then normalised.
  double *g = rec->F;
  const int base = f.minjx, M = f.M;
  g[M - base] = 1.0;
  int top = M;
  while (top < f.maxjx && top - base + 1 < kTable) {
    const double next = g[top - base] * step_up(f, top + 1);
    if (next < 0x1p-64) break;
    g[++top - base] = next;
  }
  for (int i = M - 1; i >= base; --i) g[i - base] = g[i + 1 - base] / step_up(f, i + 1);
  double total = 0;
  for (int i = 0; i <= top - base; ++i) total += g[i];
  double c = 0;
  for (int i = 0; i <= top - base; ++i) c += g[i], g[i] = c / total;
  g[top - base] = 1.0;  // every uniform lies below the last entry
  rec->top = top;
}

void set_up_rejection(Record *rec, const Folded &f) {
  const double l = f.l, n1 = f.n1, n2 = f.n2, k = f.k;
  const double var = n1 * n2 * k * (l - k) / (l * l * (l - 1.0));
  const double d = (double)(int)(1.5 * __guxdSqrt(var)) + 0.5;
  rec->xl = f.M - d + 0.5;
  rec->xr = f.M + d + 0.5;
  const int il = (int)rec->xl, ir = (int)rec->xr;
  const double kl = exp_ha(ln_ratio(f, il)), kr = exp_ha(ln_ratio(f, ir - 1));
  rec->ll = __guxdLn(step_up(f, il));   // ln f(xl)/f(xl - 1)
  rec->lr = -__guxdLn(step_up(f, ir));  // -ln f(xr)/f(xr - 1)
  rec->p1 = d + d;
  rec->p2 = rec->p1 + kl / rec->ll;
  rec->p3 = rec->p2 + kr / rec->lr;
  // f(M + j)/f(M), j = -20..20, for the acceptance near the mode.
  double *R = rec->F + 20;
  R[0] = 1.0;
  for (int j = 1; j <= 20; ++j) {
    R[j] = f.M + j <= f.maxjx ? R[j - 1] * step_up(f, f.M + j) : 0.0;
    R[-j] = f.M - j >= f.minjx ? R[1 - j] / step_up(f, f.M - j + 1) : 0.0;
  }
}

int inversion(GuxStream *stream, int n, int32_t *r, const Record *rec) {
  const int base = (int)rec->minjx, mode = (int)rec->M - base, top = (int)rec->top - base;
  const double *F = rec->F;
  return each_uniform(stream, n, [&](int at, double x) {
    int j = mode;
    if (x < F[j]) {
      while (j > 0 && x < F[j - 1]) --j;
    } else {
      while (j < top && x >= F[j]) ++j;
    }
    r[at] = base + j;
  });
}

bool accept(const Record *rec, const Folded &f, int y, double v) {
  const int M = f.M, dist = y > M ? y - M : M - y;
  if (dist <= 20) return v <= rec->F[20 + y - M];
  const double alv = __guxdLn(v);
  if (M >= 100 && y > 50) {
    // The squeeze: bounds of ln f(y)/f(M) from the expansions of the four
    // logarithms of ratios, each near 0 here, to the third order.
    const double dy = y, y1 = dy + 1, ym = dy - M, yn = f.n1 - dy + 1, yk = f.k - dy + 1, nk = f.n2 - f.k + y1;
    const double r = -ym / y1, s = ym / yn, t = ym / yk, e = -ym / nk;
    const double g = yn * yk / (y1 * nk) - 1.0, dg = g < 0 ? 1.0 + g : 1.0;
    const double gu = g * (1.0 + g * (-0.5 + g / 3.0)), gl = gu - 0.25 * (g * g) * (g * g) / dg;
    const double xm = M + 0.5, xn = f.n1 - M + 0.5, xk = f.k - M + 0.5, nm = f.n2 - f.k + xm;
    auto cubic = [](double z) { return z * (1.0 + z * (-0.5 + z / 3.0)); };
    const double ub = dy * gu - M * gl + 0.0034 + xm * cubic(r) + xn * cubic(s) + xk * cubic(t) + nm * cubic(e);
    if (alv > ub) return false;
    auto fourth = [](double w, double z) { const double z4 = (z * z) * (z * z) * w; return z < 0 ? z4 / (1.0 + z) : z4; };
    const double lb = ub - 0.25 * (fourth(xm, r) + fourth(xn, s) + fourth(xk, t) + fourth(nm, e)) + (dy + M) * (gl - gu) - 0.0078;
    if (alv < lb) return true;
  }
  return alv <= ln_ratio(f, y);
}

int rejection(GuxStream *stream, int n, int32_t *r, const Record *rec, const Folded &f) {
  float u[2 * kPairs], lv[kPairs];
  int status = GUX_STATUS_OK, done = 0;
  while (done < n) {
    const long want = (long)(n - done) + (n - done) / 2 + 4;
    const int m = want > kPairs ? kPairs : (int)want;
    status = uniform(stream, 2 * m, u, 0.0f, 1.0f);
    if (status < 0) return status;
    for (int k = 0; k < m; ++k) lv[k] = u[2 * k + 1];
    apply(Fn::Ln, m, lv);
    for (int k = 0; k < m && done < n; ++k) {
      const double x = (double)u[2 * k] * rec->p3;
      double v = u[2 * k + 1];
      double t;
      if (x < rec->p1) {
        t = floor(rec->xl + x);
      } else if (x <= rec->p2) {
        t = floor(rec->xl + lv[k] / rec->ll);
        if (!(t >= f.minjx)) continue;
        v = v * (x - rec->p1) * rec->ll;
      } else {
        t = floor(rec->xr - lv[k] / rec->lr);
        if (!(t <= f.maxjx)) continue;
        v = v * (x - rec->p2) * rec->lr;
      }
      if (accept(rec, f, (int)t, v)) r[done++] = (int)t;
    }
  }
  return status;
}

// The variate of the folded problem back to the caller's: four loops, one for
// each combination of the folds.
void unfold(int n, int32_t *r, bool mfold, bool sfold, int l, int s, int m) {
  if (!mfold && !sfold) return;
  if (mfold && !sfold)
    for (int i = 0; i < n; ++i) r[i] = s - r[i];
  else if (!mfold && sfold)
    for (int i = 0; i < n; ++i) r[i] = m - r[i];
  else
    for (int i = 0; i < n; ++i) r[i] = s - l + m + r[i];
}

int hypergeometric(GuxStream *stream, int n, int32_t *r, int l, int s, int m) {
  const bool mfold = !(2 * (long)m < l), sfold = !(2 * (long)s < l);
  Folded f;
  f.l = l;
  f.n1 = mfold ? l - m : m;
  f.n2 = l - f.n1;
  f.k = sfold ? l - s : s;
  f.M = (int)floor(((double)f.n1 + 1.0) * ((double)f.k + 1.0) / ((double)l + 2.0));
  f.minjx = f.k - f.n2 > 0 ? f.k - f.n2 : 0;
  f.maxjx = f.n1 < f.k ? f.n1 : f.k;
  if (f.M < f.minjx) f.M = f.minjx;
  if (f.M > f.maxjx) f.M = f.maxjx;
  // The quotient is rounded in double: make sure M is the mode.
  while (f.M < f.maxjx && step_up(f, f.M + 1) > 1.0) ++f.M;
  while (f.M > f.minjx && step_up(f, f.M) < 1.0) --f.M;
  if (n <= 0) return GUX_STATUS_OK;
  int status = GUX_STATUS_OK;
  if (f.minjx == f.maxjx) {
    for (int i = 0; i < n; ++i) r[i] = f.minjx;
  } else {
    void *raw;
    bool fresh;
    status = chunk_record(stream, kChunk, (int)sizeof(Record), &raw, &fresh);
    if (status < 0) return status;
    Record *rec = static_cast<Record *>(raw);
    const bool table = f.M - f.minjx < 40;
    if (fresh || rec->l != l || rec->s != s || rec->m != m) {
      rec->l = l, rec->s = s, rec->m = m, rec->kind = table ? 1 : 2;
      rec->M = f.M, rec->minjx = f.minjx, rec->maxjx = f.maxjx;
      if (table)
        set_up_table(rec, f);
      else
        set_up_rejection(rec, f);
    }
    status = table ? inversion(stream, n, r, rec)
                   : guarded(fix_ln<float>, [&] { return rejection(stream, n, r, rec, f); });
    if (status < 0) return status;
  }
  unfold(n, r, mfold, sfold, l, s, m);
  return status;
}

}  // namespace
}  // namespace qor::dist

extern "C" int _guxiRngHypergeometric(int, GuxStream *stream, int n, int32_t *r, int l, int s, int m) {
  return qor::dist::hypergeometric(stream, n, r, l, s, m);
}
