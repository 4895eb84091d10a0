// Multinomial law: n rows of k counts of ntrial trials over the categories of
// p (normalised by its sum, which must lie within 0.1% of 1).
//
// Below 16 trials every trial is drawn: one double uniform, a linear search in
// the cumulative probabilities. From 16 on most trials come in bulk: the row
// takes independent Poisson counts of means p[j] t, t a little below the r
// trials left. Given their sum S, such counts are multinomial of S trials, so
// the row is finished exactly by r - S more trials when S is short (again in
// bulk while many are left, then one by one), and, when S is over, by taking
// out S - r of the new counts one at a time, each a uniformly chosen one of
// those left: a uniform subset of r of S multinomial trials is multinomial of
// r trials.
#include "core/qor_core.h"
#include "random/distributions/poissonv.h"

namespace qor::dist {
namespace {

constexpr int kDirectBelow = 16;
constexpr int kBlock = 1024;  // uniforms per fetch; means per Poisson block

// The category of u: the first j with u < cdf[j], the last one if rounding
// leaves u at or above the final sum.
inline int category(double u, const double *cdf, int k) {
  int j = 0;
  while (j < k - 1 && !(u < cdf[j])) ++j;
  return j;
}

// count single trials added to row (k counts).
int add_trials(GuxStream *stream, int count, int32_t *row, const double *cdf, int k) {
  double u[kBlock];
  while (count > 0) {
    const int m = count < kBlock ? count : kBlock;
    const int status = uniform(stream, m, u, 0.0, 1.0);
    if (status < 0) return status;
    for (int i = 0; i < m; ++i) ++row[category(u[i], cdf, k)];
    count -= m;
  }
  return GUX_STATUS_OK;
}

// count counts taken out of row (sum `total`), each uniformly among those left.
int remove_trials(GuxStream *stream, int count, int32_t *row, int64_t total) {
  double u[kBlock];
  while (count > 0) {
    const int m = count < kBlock ? count : kBlock;
    const int status = uniform(stream, m, u, 0.0, 1.0);
    if (status < 0) return status;
    for (int i = 0; i < m; ++i, --total) {
      int64_t pick = (int64_t)(u[i] * (double)total);
      if (pick >= total) pick = total - 1;
      int j = 0;
      while (pick >= row[j]) pick -= row[j++];
      --row[j];
    }
    count -= m;
  }
  return GUX_STATUS_OK;
}

int rows_direct(GuxStream *stream, int n, int32_t *r, int ntrial, int k, const double *cdf) {
  memset(r, 0, sizeof(int32_t) * (size_t)n * (size_t)k);
  if (ntrial > kBlock) {  // rows longer than a fetch: trial by trial
    for (int row = 0; row < n; ++row) {
      const int status = add_trials(stream, ntrial, r + (size_t)row * k, cdf, k);
      if (status < 0) return status;
    }
    return GUX_STATUS_OK;
  }
  double u[kBlock];
  const int per = kBlock / ntrial;  // whole rows per fetch
  for (int row = 0; row < n; row += per) {
    const int rows = n - row < per ? n - row : per;
    const int status = uniform(stream, rows * ntrial, u, 0.0, 1.0);
    if (status < 0) return status;
    for (int i = 0; i < rows; ++i)
      for (int t = 0; t < ntrial; ++t) ++r[(size_t)(row + i) * k + category(u[i * ntrial + t], cdf, k)];
  }
  return GUX_STATUS_OK;
}

// The trials left[i] of each row i < rows, one by one, with uniforms fetched
// for many rows at once.
int finish_rows(GuxStream *stream, int rows, int32_t *block, const int *left, int k, const double *cdf) {
  double u[kBlock];
  int have = 0, pos = 0;
  for (int i = 0; i < rows; ++i)
    for (int t = 0; t < left[i]; ++t) {
      if (pos == have) {
        int want = 0;  // what the rows from here still need, up to a block
        for (int j = i; j < rows && want < kBlock; ++j) want += j == i ? left[i] - t : left[j];
        have = want < kBlock ? want : kBlock, pos = 0;
        const int status = uniform(stream, have, u, 0.0, 1.0);
        if (status < 0) return status;
      }
      ++block[(size_t)i * k + category(u[pos++], cdf, k)];
    }
  return GUX_STATUS_OK;
}

// The bulk mean for r trials left: t = r - 2 sqrt(r), so that the Poisson sum
// passes r in about 2% of rows, and the trials left after it are about
// 2 sqrt(r). 0 when single trials are cheaper: fewer than 16, or fewer than
// there are categories.
double bulk_mean(int left, int k) {
  if (left < kDirectBelow || left < k) return 0.0;
  return left - 2.0 * __guxdSqrt(left);
}

// Rows from 16 trials on, a block of rows at a time: rounds of Poisson counts
// (one PoissonV call per round for the rows still in bulk) until every row
// has few trials left, then those as single trials.
int rows_bulk(GuxStream *stream, int n, int32_t *r, int ntrial, int k, const double *q, const double *cdf) {
  memset(r, 0, sizeof(int32_t) * (size_t)n * (size_t)k);
  const int per = k < kBlock ? kBlock / k : 1;
  const int rows_max = n < per ? n : per;
  const size_t cells = (size_t)rows_max * k;
  // Means and counts of a round, the trials left and the bulk rows' indices.
  void *work = qor_serv_allocate(cells * (sizeof(double) + sizeof(int32_t)) + 2 * sizeof(int) * rows_max, 128);
  if (!work) return GUX_STATUS_NO_MEMORY;
  double *lambda = static_cast<double *>(work);
  int32_t *round = reinterpret_cast<int32_t *>(lambda + cells);
  int *left = reinterpret_cast<int *>(round + cells), *active = left + rows_max;
  int status = GUX_STATUS_OK;
  for (int row = 0; row < n && status >= 0; row += rows_max) {
    const int rows = n - row < rows_max ? n - row : rows_max;
    int32_t *block = r + (size_t)row * k;
    for (int i = 0; i < rows; ++i) left[i] = ntrial;
    for (;;) {
      int na = 0;
      for (int i = 0; i < rows; ++i) {
        const double t = bulk_mean(left[i], k);
        if (t <= 0.0) continue;
        for (int j = 0; j < k; ++j) lambda[(size_t)na * k + j] = q[j] * t;
        active[na++] = i;
      }
      if (na == 0) break;
      for (size_t done = 0; done < (size_t)na * k && status >= 0; done += kBlock) {
        const size_t m = (size_t)na * k - done < (size_t)kBlock ? (size_t)na * k - done : (size_t)kBlock;
        status = poissonv(stream, (int)m, round + done, lambda + done);
      }
      for (int a = 0; a < na && status >= 0; ++a) {
        int32_t *counts = round + (size_t)a * k, *out = block + (size_t)active[a] * k;
        int64_t sum = 0;
        for (int j = 0; j < k; ++j) sum += counts[j];
        if (sum > left[active[a]]) {
          status = remove_trials(stream, (int)(sum - left[active[a]]), counts, sum);
          sum = left[active[a]];
        }
        for (int j = 0; j < k; ++j) out[j] += counts[j];
        left[active[a]] -= (int)sum;
      }
      if (status < 0) break;
    }
    if (status >= 0) status = finish_rows(stream, rows, block, left, k, cdf);
  }
  qor_serv_deallocate(work);
  return status;
}

}  // namespace

int multinomial(GuxStream *stream, int n, int32_t *r, int ntrial, int k, const double *p) {
  double sum = 0.0;
  for (int j = 0; j < k; ++j) {
    if (!(p[j] >= 0.0)) return GUX_STATUS_BAD_ARGUMENT;
    sum += p[j];
  }
  if (!(sum >= 0.999 && sum <= 1.001)) return GUX_STATUS_BAD_ARGUMENT;
  if (n <= 0) return GUX_STATUS_OK;
  if (ntrial == 0 || k == 1) {
    for (size_t i = 0; i < (size_t)n * k; ++i) r[i] = ntrial;
    return GUX_STATUS_OK;
  }
  // Normalised probabilities and their running sums, for both parts of a row.
  double *q = static_cast<double *>(qor_serv_allocate(sizeof(double) * 2 * (size_t)k, 128));
  if (!q) return GUX_STATUS_NO_MEMORY;
  double *cdf = q + k, run = 0.0;
  for (int j = 0; j < k; ++j) q[j] = p[j] / sum, cdf[j] = run += q[j];
  const int status = ntrial < kDirectBelow ? rows_direct(stream, n, r, ntrial, k, cdf)
                                           : rows_bulk(stream, n, r, ntrial, k, q, cdf);
  qor_serv_deallocate(q);
  return status;
}

}  // namespace qor::dist

extern "C" int _guxiRngMultinomial(int, GuxStream *stream, int n, int32_t *r, int ntrial, int k,
                                   const double *p) {
  return qor::dist::guarded(qor::dist::fix_ln<float>,
                            [&] { return qor::dist::multinomial(stream, n, r, ntrial, k, p); });
}
