// Multinomial law: n rows of k counts of ntrial trials over the categories of
// p (normalised by its sum, which must lie within 0.1% of 1).
//
// Below 16 trials every trial is drawn: one double uniform, a linear search in
// the cumulative probabilities. From 16 on most trials come in bulk: the row
// starts as independent Poisson counts of means p[j] t, t a little below
// ntrial. Given their sum S, such counts are multinomial of S trials, so the
// row is finished exactly by adding ntrial - S single trials when S is short,
// and, when S is over, by taking out S - ntrial counts one by one, each a
// uniformly chosen one of those left: a uniform subset of ntrial of S
// multinomial trials is multinomial of ntrial trials.
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

int rows_bulk(GuxStream *stream, int n, int32_t *r, int ntrial, int k, const double *q, const double *cdf) {
  // The bulk mean: t = ntrial - k when sqrt(ntrial) >= k, else
  // ntrial - w - sqrt(k - w), w = sqrt(ntrial).
  double w = ntrial;
  apply(Fn::Sqrt, 1, &w);
  double t = ntrial - k;
  if (w < k) {
    double v = k - w;
    apply(Fn::Sqrt, 1, &v);
    t = ntrial - w - v;
  }
  if (t <= 0) return rows_direct(stream, n, r, ntrial, k, cdf);
  // Means for a block of whole rows, repeated row after row.
  const int per = k < kBlock ? kBlock / k : 1;
  const int rows_max = n < per ? n : per;
  double *lambda = static_cast<double *>(qor_serv_allocate(sizeof(double) * (size_t)rows_max * k, 128));
  if (!lambda) return GUX_STATUS_NO_MEMORY;
  for (int i = 0; i < rows_max; ++i)
    for (int j = 0; j < k; ++j) lambda[i * k + j] = q[j] * t;
  int status = GUX_STATUS_OK;
  for (int row = 0; row < n && status >= 0; row += rows_max) {
    const int rows = n - row < rows_max ? n - row : rows_max;
    int32_t *block = r + (size_t)row * k;
    // Blocks of at most kBlock means (one row may be longer).
    for (int done = 0; done < rows * k && status >= 0; done += kBlock) {
      const int m = rows * k - done < kBlock ? rows * k - done : kBlock;
      status = poissonv(stream, m, block + done, lambda + done);
    }
    for (int i = 0; i < rows && status >= 0; ++i) {
      int32_t *counts = block + (size_t)i * k;
      int64_t sum = 0;
      for (int j = 0; j < k; ++j) sum += counts[j];
      if (sum <= ntrial)
        status = add_trials(stream, (int)(ntrial - sum), counts, cdf, k);
      else
        status = remove_trials(stream, (int)(sum - ntrial), counts, sum);
    }
  }
  qor_serv_deallocate(lambda);
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
