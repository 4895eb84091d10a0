// Pooled and group covariance. Each observation belongs to the group named by
// its group index; every block of observations keeps, per group, the running
// weight, mean and scatter matrix (the one-pass update of the basic
// statistics, in double), and the blocks are merged pairwise on the calling
// thread. Pooled covariance = sum of the group scatters / (W - G), where W is
// the total weight (n without weights); group covariance = scatter /
// (W_g - V_g/W_g), as for the basic covariance.
#include <qor/qor_stats.h>

#include <cstring>

#include "qor_core.h"
#include "qor_core_threading.h"
#include "stats/ss_columns.h"
#include "stats/ss_cov_util.h"
#include "stats/ss_internal.h"

namespace qor::ss {
namespace {

// Per group accumulators: weight, squared weight, p means, p*p scatter
// (upper triangle j <= k used, row-major).
struct GroupLayout {
  int64_t p, G;
  int64_t stride() const { return 2 + p + p * p; }
  // plus p reals of deviation scratch per block
  int64_t block() const { return G * stride() + p; }
};

template <class T>
struct Job {
  Columns<T> x;
  const T *w;
  const void *groups;
  int wide;
  GroupLayout L;
  double *acc;  // blocks * L.block()
  int64_t n;
};

template <class T>
void worker(int block, void *, int nblocks, void *args) {
  const Job<T> &J = *static_cast<const Job<T> *>(args);
  const int64_t p = J.L.p, n = J.n, chunk = n / nblocks;
  const int64_t i0 = block * chunk, i1 = block == nblocks - 1 ? n : i0 + chunk;
  double *acc = J.acc + block * J.L.block();
  double *dv = acc + J.L.G * J.L.stride();
  for (int64_t i = i0; i < i1; ++i) {
    const double w = J.w ? (double)J.w[i] : 1.0;
    if (w == 0) continue;
    const int64_t g = read_int_at(J.groups, J.wide, i);
    double *a = acc + g * J.L.stride();
    double *mean = a + 2, *cp = mean + p;
    const double W = a[0], Wn = W + w, r = w / Wn, f = W * r;
    for (int64_t j = 0; j < p; ++j) dv[j] = (double)J.x.at(j, i) - mean[j];
    for (int64_t j = 0; j < p; ++j) {
      const double c = f * dv[j];
      double *row = cp + j * p;
      for (int64_t k = j; k < p; ++k) row[k] += c * dv[k];
      mean[j] += r * dv[j];
    }
    a[0] = Wn, a[1] += w * w;
  }
}

// a := a merged with b (one group's accumulators).
inline void merge(double *a, const double *b, int64_t p) {
  const double Wa = a[0], Wb = b[0];
  if (Wb == 0) return;
  double *ma = a + 2, *ca = ma + p;
  const double *mb = b + 2, *cb = mb + p;
  const double t = 1 / (Wa + Wb), f = Wa * Wb * t;
  for (int64_t j = 0; j < p; ++j) {
    const double dj = mb[j] - ma[j];
    for (int64_t k = j; k < p; ++k) ca[j * p + k] += cb[j * p + k] + f * dj * (mb[k] - ma[k]);
  }
  for (int64_t j = 0; j < p; ++j) ma[j] = (Wa * ma[j] + Wb * mb[j]) * t;
  a[0] = Wa + Wb, a[1] += b[1];
}

template <class T>
int64_t pooled(GuxSSTask *task, uint64_t estimates, uint64_t method,
               const GuxThreadingTable *threading) {
  if (!task) return GUX_SS_NULL_TASK;
  const int wide = (int)task->index_width;
  if (!task->p || read_int(task->p, wide) < 1) return GUX_SS_BAD_DIMENSION;
  if (!task->n || read_int(task->n, wide) < 1) return GUX_SS_BAD_OBSERVATIONS;
  if (!task->x_storage) return GUX_SS_NO_STORAGE;
  const int64_t code = read_int(task->x_storage, wide);
  if (!storage_known(code)) return GUX_SS_BAD_STORAGE;
  if (!task->group_indices) return GUX_SS_NO_GROUP_INDICES;
  const bool want_pc = estimates & GUX_SS_POOLED_COV, want_pm = estimates & GUX_SS_POOLED_MEAN;
  const bool want_gc = estimates & GUX_SS_GROUP_COV, want_gm = estimates & GUX_SS_GROUP_MEANS;
  if ((want_pc || want_pm) && !task->pooled_mean) return GUX_SS_NO_POOLED_MEAN;
  int64_t pc_code = 0, gc_code = 0;
  if (want_pc) {
    if (!task->pooled_storage) return GUX_SS_NO_STORAGE;
    if (!task->pooled_cov) return GUX_SS_NO_POOLED_COV;
    pc_code = read_int(task->pooled_storage, wide);
    if (!matrix_code_ok(pc_code)) return GUX_SS_BAD_STORAGE;
  }
  if (want_gc || want_gm) {
    if (!task->group_cov_indices) return GUX_SS_NO_GROUP_INDICES;
    if (!task->group_means) return GUX_SS_NO_GROUP_MEANS;
  }
  if (want_gc) {
    if (!task->group_storage) return GUX_SS_NO_STORAGE;
    if (!task->group_covs) return GUX_SS_NO_GROUP_COVS;
    gc_code = read_int(task->group_storage, wide);
    if (!matrix_code_ok(gc_code)) return GUX_SS_BAD_STORAGE;
  }
  if (!(method & GUX_SS_M_ONE_PASS)) return GUX_SS_BAD_METHOD;
  if (!(want_pc || want_pm || want_gc || want_gm)) return GUX_SS_OK;
  if (!task->x) return GUX_SS_NO_X;
  const int64_t p = read_int(task->p, wide), n = read_int(task->n, wide);

  int64_t G = 0;
  for (int64_t i = 0; i < n; ++i) {
    const int64_t g = read_int_at(task->group_indices, wide, i);
    if (g < 0) return GUX_SS_BAD_GROUP_INDICES;
    if (g + 1 > G) G = g + 1;
  }
  const int threads = threading ? threading->thread_count() : 1;
  int64_t blocks = n * p * p / 65536;
  if (blocks > threads) blocks = threads;
  if (blocks > n / 16) blocks = n / 16;
  if (blocks < 1) blocks = 1;
  const GroupLayout L{p, G};
  auto *acc = static_cast<double *>(qor_serv_allocate(sizeof(double) * (size_t)(blocks * L.block()), 128));
  if (!acc) return GUX_SS_NO_MEMORY;
  std::memset(acc, 0, sizeof(double) * (size_t)(blocks * L.block()));
  Job<T> job{Columns<T>(task->x, n, p, code), static_cast<const T *>(task->weights),
             task->group_indices, wide, L, acc, n};
  if (blocks > 1)
    threading->parallel_for((int)blocks, &job, worker<T>);
  else
    worker<T>(0, nullptr, 1, &job);
  for (int64_t b = 1; b < blocks; ++b)
    for (int64_t g = 0; g < G; ++g) merge(acc + g * L.stride(), acc + b * L.block() + g * L.stride(), p);

  // Per group outputs, for flagged groups only.
  if (want_gc || want_gm) {
    T *gm = static_cast<T *>(task->group_means);
    T *gc = static_cast<T *>(task->group_covs);
    const int64_t size = sym_size(gc_code, p);
    for (int64_t g = 0; g < G; ++g) {
      if (read_int_at(task->group_cov_indices, wide, g) == 0) continue;
      const double *a = acc + g * L.stride(), *mean = a + 2, *cp = mean + p;
      for (int64_t j = 0; j < p; ++j) gm[g * p + j] = (T)mean[j];
      if (want_gc) {
        const double f = 1 / (a[0] - a[1] / a[0]);
        for (int64_t i = 0; i < p; ++i)
          for (int64_t j = 0; j < p; ++j) {
            if ((gc_code == GUX_MATRIX_LOWER_ROWS && j > i) || (gc_code == GUX_MATRIX_UPPER_ROWS && j < i)) continue;
            gc[g * size + sym_index(gc_code, p, i, j)] = (T)(cp[i <= j ? i * p + j : j * p + i] * f);
          }
      }
    }
  }
  // Pooled: merge the group means by weight, add the scatters.
  if (want_pc || want_pm) {
    double W = 0;
    for (int64_t g = 0; g < G; ++g) W += acc[g * L.stride()];
    T *pm = static_cast<T *>(task->pooled_mean);
    for (int64_t j = 0; j < p; ++j) {
      double s = 0;
      for (int64_t g = 0; g < G; ++g) s += acc[g * L.stride()] * acc[g * L.stride() + 2 + j];
      pm[j] = (T)(s / W);
    }
    if (want_pc) {
      T *pc = static_cast<T *>(task->pooled_cov);
      const double f = 1 / (W - (double)G);
      for (int64_t i = 0; i < p; ++i)
        for (int64_t j = 0; j < p; ++j) {
          if ((pc_code == GUX_MATRIX_LOWER_ROWS && j > i) || (pc_code == GUX_MATRIX_UPPER_ROWS && j < i)) continue;
          const int64_t at = i <= j ? i * p + j : j * p + i;
          double s = 0;
          for (int64_t g = 0; g < G; ++g) s += acc[g * L.stride() + 2 + p + at];
          pc[sym_index(pc_code, p, i, j)] = (T)(s * f);
        }
    }
  }
  qor_serv_deallocate(acc);
  return GUX_SS_OK;
}

}  // namespace
}  // namespace qor::ss

QOR_SS_ENTRIES(PooledCovariance, qor::ss::pooled)
