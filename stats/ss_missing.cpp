// Missing values by multiple imputation under a multivariate normal model.
//
// Parameters (five reals): [0] EM iterations, [1] data-augmentation
// iterations, [2] EM tolerance, [3] number of copies m, [4] the marker of a
// missing entry (NaN: every NaN is missing; otherwise entries equal to it).
// Counts are truncated to integers; negative iteration counts read as 0 and
// m below 1 as 1.
//
// 1. Start: the initial estimates when their count is p(p+3)/2 (p means,
//    then the covariance packed by lower rows); otherwise the means and
//    variances of the observed entries, with zero covariances.
// 2. EM: observations are grouped by their pattern of missing entries; for
//    each pattern the regression of the missing dimensions M on the observed
//    ones O is taken from the present estimate (B = S_MO S_OO^-1, residual
//    covariance C = S_MM - B S_OM). The E-step fills x_M = mu_M + B (x_O -
//    mu_O) and adds C to the scatter; the M-step takes mean and covariance
//    of the completed data. Iterations stop after parameter 0 steps, or when
//    no mean or covariance entry moves by more than the tolerance.
// 3. Data augmentation, for each copy from the EM estimate: parameter 1
//    rounds of an I-step (x_M drawn from the normal of mean mu_M + B (x_O -
//    mu_O) and covariance C) and a P-step (covariance drawn from the
//    inverse Wishart of n - 1 degrees of freedom and scale the completed
//    scatter, by Bartlett's decomposition; mean from the normal about the
//    completed mean with that covariance / n), then a last I-step whose draws
//    are the copy's simulated values.
// Outputs: simulated values, m sets of the missing entries, each set in
// observation-major order (observation by observation, dimensions ascending
// within one), so their count must be m times the number of missing entries;
// the prior output receives the EM estimate (p means and the covariance by
// lower rows, as far as its count allows); the estimate record, when bound,
// receives for each copy the parameters of its last I-step in the same
// layout. X is not written. Draws come from a fixed-seed generator, so a
// call is reproducible.
#include <qor/qor_stats.h>

#include <cmath>
#include <cstring>

#include "qor_core.h"
#include "stats/ss_columns.h"
#include "stats/ss_cov_util.h"
#include "stats/ss_internal.h"
#include "stats/ss_sort_kernels.h"

namespace qor::ss {
namespace {

constexpr uint64_t kSeed = 0x5eed1e55c0ffee01ull;

// xoshiro256** with normals by the polar method and gammas by
// Marsaglia and Tsang.
struct Rng {
  uint64_t s[4];
  double spare = 0;
  bool has_spare = false;
  explicit Rng(uint64_t seed) {
    for (auto &v : s) {  // splitmix64 fills the state
      seed += 0x9e3779b97f4a7c15ull;
      uint64_t z = seed;
      z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
      z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
      v = z ^ (z >> 31);
    }
  }
  static uint64_t rotl(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
  uint64_t next() {
    const uint64_t r = rotl(s[1] * 5, 7) * 9, t = s[1] << 17;
    s[2] ^= s[0], s[3] ^= s[1], s[1] ^= s[2], s[0] ^= s[3], s[2] ^= t, s[3] = rotl(s[3], 45);
    return r;
  }
  double uniform() { return ((next() >> 11) + 0.5) * 0x1.0p-53; }  // in (0, 1)
  double normal() {
    if (has_spare) return has_spare = false, spare;
    double u, v, q;
    do {
      u = 2 * uniform() - 1, v = 2 * uniform() - 1, q = u * u + v * v;
    } while (q >= 1 || q == 0);
    const double f = std::sqrt(-2 * std::log(q) / q);
    spare = v * f, has_spare = true;
    return u * f;
  }
  double gamma(double a) {
    if (a < 1) return gamma(a + 1) * std::pow(uniform(), 1 / a);
    const double d = a - 1.0 / 3, c = 1 / std::sqrt(9 * d);
    for (;;) {
      double x, v;
      do {
        x = normal(), v = 1 + c * x;
      } while (v <= 0);
      v = v * v * v;
      const double u = uniform();
      if (std::log(u) < 0.5 * x * x + d - d * v + d * std::log(v)) return d * v;
    }
  }
  double chi2(double k) { return 2 * gamma(k / 2); }
};

struct Pattern {
  const uint8_t *row;  // missing flags of the observation
  int64_t i, p;
  bool operator<(const Pattern &o) const {
    const int c = std::memcmp(row, o.row, (size_t)p);
    return c < 0 || (c == 0 && i < o.i);
  }
};

// Cholesky with a ridge that grows until the factor exists; q may be 0.
void robust_cholesky(double *a, const double *src, int64_t q) {
  double tr = 0;
  for (int64_t j = 0; j < q; ++j) tr += std::fabs(src[j * q + j]);
  double ridge = 0;
  for (int attempt = 0; attempt < 40; ++attempt) {
    std::memcpy(a, src, sizeof(double) * (size_t)(q * q));
    for (int64_t j = 0; j < q; ++j) a[j * q + j] += ridge;
    if (cholesky(a, q)) return;
    ridge = ridge == 0 ? (tr > 0 ? tr : 1) * 1e-14 : ridge * 10;
  }
}

struct Model {
  int64_t p, n;
  const double *x;     // n*p, missing entries arbitrary
  const uint8_t *miss; // n*p flags
  const Pattern *order;
  double *mu, *sigma;  // present parameters
  // scratch
  int64_t *oi, *mi;
  double *soo, *loo, *b, *c, *lc, *row, *xm;

  // Regression of pattern (flags) on the present parameters: B (|M| x |O|,
  // row-major), C and its factor LC (|M| x |M|). Returns |M|; no, |O| in *no.
  int64_t regress(const uint8_t *flags, int64_t *no) {
    int64_t nm = 0, nob = 0;
    for (int64_t j = 0; j < p; ++j) (flags[j] ? mi[nm++] : oi[nob++]) = j;
    *no = nob;
    if (nm == 0) return 0;
    for (int64_t a = 0; a < nob; ++a)
      for (int64_t bb = 0; bb < nob; ++bb) soo[a * nob + bb] = sigma[oi[a] * p + oi[bb]];
    robust_cholesky(loo, soo, nob);
    // Row r of B solves S_OO b = S_O,m.
    for (int64_t r = 0; r < nm; ++r) {
      double *br = b + r * p;
      for (int64_t a = 0; a < nob; ++a) br[a] = sigma[oi[a] * p + mi[r]];
      forward_solve(loo, nob, br);
      backward_solve(loo, nob, br);
    }
    for (int64_t r = 0; r < nm; ++r)
      for (int64_t s = 0; s < nm; ++s) {
        double v = sigma[mi[r] * p + mi[s]];
        for (int64_t a = 0; a < nob; ++a) v -= b[r * p + a] * sigma[oi[a] * p + mi[s]];
        c[r * nm + s] = v;
      }
    for (int64_t r = 0; r < nm; ++r)
      for (int64_t s = 0; s < r; ++s) c[r * nm + s] = c[s * nm + r] = (c[r * nm + s] + c[s * nm + r]) / 2;
    robust_cholesky(lc, c, nm);
    return nm;
  }

  // Completes observation i into row (conditional mean, plus a draw when rng).
  void complete(int64_t i, int64_t nm, int64_t nob, Rng *rng) {
    const double *xi = x + i * p;
    for (int64_t j = 0; j < p; ++j) row[j] = xi[j];
    for (int64_t r = 0; r < nm; ++r) {
      double v = mu[mi[r]];
      for (int64_t a = 0; a < nob; ++a) v += b[r * p + a] * (xi[oi[a]] - mu[oi[a]]);
      xm[r] = v;
    }
    if (rng) {
      for (int64_t r = 0; r < nm; ++r) soo[r] = rng->normal();  // soo is free once B is made
      for (int64_t r = 0; r < nm; ++r) {
        double v = 0;
        for (int64_t s = 0; s <= r; ++s) v += lc[r * nm + s] * soo[s];
        xm[r] += v;
      }
    }
    for (int64_t r = 0; r < nm; ++r) row[mi[r]] = xm[r];
  }

  // Visits every observation, completed, group by group: f(i, row, nm).
  template <class F>
  void sweep(Rng *rng, F f) {
    int64_t k = 0;
    while (k < n) {
      const uint8_t *flags = order[k].row;
      int64_t nob = 0;
      const int64_t nm = regress(flags, &nob);
      int64_t e = k;
      for (; e < n && std::memcmp(order[e].row, flags, (size_t)p) == 0; ++e) {
        complete(order[e].i, nm, nob, rng);
        f(order[e].i, row, nm);
      }
      k = e;
    }
  }
};

template <class T>
int64_t missing(GuxSSTask *task, uint64_t, uint64_t method, const GuxThreadingTable *) {
  if (!task) return GUX_SS_NULL_TASK;
  const int wide = (int)task->index_width;
  if (!task->p || read_int(task->p, wide) < 1) return GUX_SS_BAD_DIMENSION;
  if (!task->n || read_int(task->n, wide) < 1) return GUX_SS_BAD_OBSERVATIONS;
  if (!task->x_storage || !storage_known(read_int(task->x_storage, wide))) return GUX_SS_BAD_STORAGE;
  if (!task->missing_params) return GUX_SS_NO_MISSING_PARAMS;
  if (!task->missing_param_count) return GUX_SS_NO_MISSING_PARAM_COUNT;
  if (read_int(task->missing_param_count, wide) != 5) return GUX_SS_BAD_MISSING_PARAM_COUNT;
  if (task->simulated_values) {
    if (!task->simulation_count) return GUX_SS_NO_SIMULATION_COUNT;
  } else if (task->simulation_count) {
    return GUX_SS_BAD_SIMULATIONS;
  }
  if (task->prior && !task->prior_count) return GUX_SS_NO_PRIOR_COUNT;
  if (!task->prior && task->prior_count && read_int(task->prior_count, wide) > 0) return GUX_SS_NO_PRIOR;
  if (!task->simulated_values && !task->prior) return GUX_SS_NOTHING_TO_PRODUCE;
  if (!(method & GUX_SS_M_MULTIPLE_IMPUTATION)) return GUX_SS_BAD_METHOD;
  if (!task->x) return GUX_SS_NO_X;

  const int64_t p = read_int(task->p, wide), n = read_int(task->n, wide);
  const T *prm = static_cast<const T *>(task->missing_params);
  const int64_t em_iters = prm[0] > 0 ? (int64_t)(double)prm[0] : 0;
  const int64_t da_iters = prm[1] > 0 ? (int64_t)(double)prm[1] : 0;
  const double tol = (double)prm[2];
  const int64_t m = prm[3] >= 1 ? (int64_t)(double)prm[3] : 1;
  const T marker = prm[4];
  const bool nan_marker = std::isnan((double)marker);
  const Columns<T> X(task->x, n, p, read_int(task->x_storage, wide));

  int64_t missing_count = 0;
  for (int64_t i = 0; i < n; ++i)
    for (int64_t j = 0; j < p; ++j) {
      const T v = X.at(j, i);
      missing_count += nan_marker ? std::isnan((double)v) : v == marker;
    }
  if (task->simulated_values && read_int(task->simulation_count, wide) != m * missing_count)
    return GUX_SS_BAD_SIMULATIONS;
  const int64_t est = p * (p + 3) / 2;

  // One allocation: data, flags, order, parameters and scratch.
  const size_t reals = (size_t)(n * p + 7 * p * p + 8 * p + 2 * est);
  const size_t bytes = sizeof(double) * reals + sizeof(Pattern) * (size_t)n +
                       sizeof(int64_t) * (size_t)(2 * p + n) + (size_t)(n * p);
  char *mem = static_cast<char *>(qor_serv_allocate(bytes, 128));
  if (!mem) return GUX_SS_NO_MEMORY;
  double *xd = reinterpret_cast<double *>(mem), *mu = xd + n * p, *sigma = mu + p, *mu_em = sigma + p * p,
         *sigma_em = mu_em + p, *s1 = sigma_em + p * p, *s2 = s1 + p, *soo = s2 + p * p, *loo = soo + p * p,
         *bm = loo + p * p, *cm = bm + p * p, *lcm = cm + p * p, *row = lcm + p * p, *xm = row + p,
         *dmu = xm + p, *cnt = dmu + p;
  Pattern *order = reinterpret_cast<Pattern *>(mem + sizeof(double) * reals);
  int64_t *oi = reinterpret_cast<int64_t *>(order + n), *mi = oi + p, *first = mi + p;
  uint8_t *miss = reinterpret_cast<uint8_t *>(first + n);

  for (int64_t i = 0; i < n; ++i)
    for (int64_t j = 0; j < p; ++j) {
      const T v = X.at(j, i);
      const bool gone = nan_marker ? std::isnan((double)v) : v == marker;
      miss[i * p + j] = gone;
      xd[i * p + j] = gone ? 0 : (double)v;
    }
  for (int64_t i = 0, at = 0; i < n; ++i) {
    order[i] = Pattern{miss + i * p, i, p};
    first[i] = at;  // missing entries before observation i
    for (int64_t j = 0; j < p; ++j) at += miss[i * p + j];
  }
  quick_sort(order, n);

  // Start.
  const bool use_init = task->init_estimates && task->init_estimate_count &&
                        read_int(task->init_estimate_count, wide) == p * (p + 3) / 2;
  if (use_init) {
    const T *ie = static_cast<const T *>(task->init_estimates);
    for (int64_t j = 0; j < p; ++j) mu[j] = (double)ie[j];
    sym_expand(ie + p, GUX_MATRIX_LOWER_ROWS, p, sigma);
  } else {
    for (int64_t j = 0; j < p; ++j) mu[j] = s1[j] = cnt[j] = 0;
    for (int64_t i = 0; i < n; ++i)
      for (int64_t j = 0; j < p; ++j)
        if (!miss[i * p + j]) mu[j] += xd[i * p + j], cnt[j] += 1;
    for (int64_t j = 0; j < p; ++j) mu[j] = cnt[j] > 0 ? mu[j] / cnt[j] : 0;
    for (int64_t i = 0; i < n; ++i)
      for (int64_t j = 0; j < p; ++j)
        if (!miss[i * p + j]) s1[j] += (xd[i * p + j] - mu[j]) * (xd[i * p + j] - mu[j]);
    for (int64_t j = 0; j < p * p; ++j) sigma[j] = 0;
    for (int64_t j = 0; j < p; ++j) sigma[j * p + j] = cnt[j] > 1 && s1[j] > 0 ? s1[j] / (cnt[j] - 1) : 1;
  }
  Model M{p, n, xd, miss, order, mu, sigma, oi, mi, soo, loo, bm, cm, lcm, row, xm};

  // Completed-data mean and scatter about the old mean: s1, s2.
  auto moments = [&](Rng *rng) {
    for (int64_t j = 0; j < p; ++j) s1[j] = 0;
    for (int64_t j = 0; j < p * p; ++j) s2[j] = 0;
    M.sweep(rng, [&](int64_t, const double *r, int64_t nm) {
      for (int64_t j = 0; j < p; ++j) dmu[j] = r[j] - mu[j];
      for (int64_t j = 0; j < p; ++j) {
        s1[j] += dmu[j];
        for (int64_t k = 0; k <= j; ++k) s2[j * p + k] += dmu[j] * dmu[k];
      }
      if (!rng)  // the E-step adds the residual covariance of the missing block
        for (int64_t a = 0; a < nm; ++a)
          for (int64_t b = 0; b <= a; ++b) {
            const int64_t j = mi[a], k = mi[b];
            s2[(j > k ? j : k) * p + (j > k ? k : j)] += cm[a * nm + b];
          }
    });
    for (int64_t j = 0; j < p; ++j) s1[j] /= (double)n;  // shift of the mean
  };

  for (int64_t it = 0; it < em_iters; ++it) {
    moments(nullptr);
    double change = 0;
    for (int64_t j = 0; j < p; ++j)
      for (int64_t k = 0; k <= j; ++k) {
        const double v = s2[j * p + k] / (double)n - s1[j] * s1[k];
        change = std::fmax(change, std::fabs(v - sigma[j * p + k]));
        sigma[j * p + k] = sigma[k * p + j] = v;
      }
    for (int64_t j = 0; j < p; ++j) change = std::fmax(change, std::fabs(s1[j])), mu[j] += s1[j];
    if (change <= tol) break;
  }
  std::memcpy(mu_em, mu, sizeof(double) * (size_t)p);
  std::memcpy(sigma_em, sigma, sizeof(double) * (size_t)(p * p));

  if (task->prior) {
    T *pr = static_cast<T *>(task->prior);
    const int64_t room = read_int(task->prior_count, wide);
    for (int64_t j = 0; j < p && j < room; ++j) pr[j] = (T)mu_em[j];
    for (int64_t j = 0, k = p; j < p; ++j)
      for (int64_t l = 0; l <= j; ++l, ++k)
        if (k < room) pr[k] = (T)sigma_em[j * p + l];
  }

  T *sim = static_cast<T *>(task->simulated_values);
  T *record = static_cast<T *>(task->estimate_record);
  const int64_t record_room = record && task->estimate_record_count ? read_int(task->estimate_record_count, wide) : 0;
  const double df = (double)(n - 1);
  for (int64_t copy = 0; sim && copy < m; ++copy) {
    Rng rng(kSeed + (uint64_t)copy);
    std::memcpy(mu, mu_em, sizeof(double) * (size_t)p);
    std::memcpy(sigma, sigma_em, sizeof(double) * (size_t)(p * p));
    for (int64_t it = 0; it < da_iters; ++it) {
      moments(&rng);  // I-step: scatter of the completed data about mu
      // Completed mean and scatter about it.
      for (int64_t j = 0; j < p; ++j)
        for (int64_t k = 0; k <= j; ++k) {
          const double v = s2[j * p + k] - (double)n * s1[j] * s1[k];
          s2[j * p + k] = s2[k * p + j] = v;
        }
      for (int64_t j = 0; j < p; ++j) mu[j] += s1[j];
      if (df >= (double)p) {
        // P-step: sigma = L A^-T A^-1 L' with S = L L', A the Bartlett factor.
        robust_cholesky(loo, s2, p);
        for (int64_t j = 0; j < p * p; ++j) cm[j] = 0;
        for (int64_t j = 0; j < p; ++j) {
          cm[j * p + j] = std::sqrt(rng.chi2(df - (double)j));
          for (int64_t k = 0; k < j; ++k) cm[j * p + k] = rng.normal();
        }
        // bm := A^-1 (lower), column by column.
        for (int64_t k = 0; k < p; ++k) {
          for (int64_t j = 0; j < p; ++j) row[j] = j == k;
          forward_solve(cm, p, row);
          for (int64_t j = 0; j < p; ++j) bm[j * p + k] = row[j];
        }
        // lcm := G = L A^-T: G[i][j] = sum_k L[i][k] Ainv[j][k].
        for (int64_t i = 0; i < p; ++i)
          for (int64_t j = 0; j < p; ++j) {
            double v = 0;
            for (int64_t k = 0; k <= i && k <= j; ++k) v += loo[i * p + k] * bm[j * p + k];
            lcm[i * p + j] = v;
          }
        for (int64_t i = 0; i < p; ++i)
          for (int64_t j = 0; j <= i; ++j) {
            double v = 0;
            for (int64_t k = 0; k < p; ++k) v += lcm[i * p + k] * lcm[j * p + k];
            sigma[i * p + j] = sigma[j * p + i] = v;
          }
      }
      // Mean about the completed mean, covariance sigma / n.
      robust_cholesky(loo, sigma, p);
      for (int64_t j = 0; j < p; ++j) row[j] = rng.normal();
      for (int64_t j = 0; j < p; ++j) {
        double v = 0;
        for (int64_t k = 0; k <= j; ++k) v += loo[j * p + k] * row[k];
        mu[j] += v / std::sqrt((double)n);
      }
    }
    for (int64_t j = 0, at = copy * est; j < p; ++j, ++at)
      if (at < record_room) record[at] = (T)mu[j];
    for (int64_t j = 0, at = copy * est + p; j < p; ++j)
      for (int64_t l = 0; l <= j; ++l, ++at)
        if (at < record_room) record[at] = (T)sigma[j * p + l];
    // Last I-step: the draws of this copy, each observation's at its place.
    T *out = sim + copy * missing_count;
    M.sweep(&rng, [&](int64_t i, const double *r, int64_t nm) {
      for (int64_t a = 0; a < nm; ++a) out[first[i] + a] = (T)r[mi[a]];
    });
  }
  qor_serv_deallocate(mem);
  return GUX_SS_OK;
}

}  // namespace
}  // namespace qor::ss

QOR_SS_ENTRIES(MissingValues, qor::ss::missing)
