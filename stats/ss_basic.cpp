// The basic estimator: moments, central moments, sums, shape statistics,
// covariance, correlation and cross-product of the selected dimensions, as
// running values over successive calls. Work is split into blocks of
// observations with private accumulators; the blocks are merged on the
// calling thread and converted to the caller's outputs.
#include <qor/qor_stats.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "qor_core.h"
#include "qor_core_threading.h"
#include "stats/ss_basic_plan.h"
#include "stats/ss_blas.h"
#include "stats/ss_convert.h"
#include "stats/ss_internal.h"
#include "stats/ss_kernels.h"

namespace qor::ss {
namespace {

template <class T>
struct Block {
  T *acc;     // W, V, two spare
  T *mean;
  T *raw[3];  // raw moments 2..4
  T *M[3];    // central sums 2..4
  T *cp;      // p by p, upper triangle
  T *scratch;
  RunningAux<T> aux;
};

template <class T>
struct Job {
  const T *x, *w;
  int64_t n, p;
  bool rows, weighted;
  Method method;
  bool slices;  // cross-product by BLAS, slice by slice (fast, user mean)
  int64_t slice;
  const T *mu;  // the given mean (user-mean method)
  Kernel<T> kernel;
  Block<T> *blocks;
};

template <class T>
void update_matrix(const Job<T> &J, Block<T> &B, int64_t s, int64_t len) {
  const int p = (int)J.p, k = (int)len;
  const T *xs = J.rows ? J.x + s * J.p : J.x + s;
  const int ld = J.rows ? p : (int)J.n;
  const char trans = J.rows ? 'N' : 'T';
  if (J.method == Method::Fast) {
    if (!J.weighted) return blas::xsyrk(trans, p, k, xs, ld, B.cp);
    T *xw = B.scratch;
    for (int64_t i = 0; i < len; ++i)
      for (int64_t j = 0; j < J.p; ++j)
        xw[i * J.p + j] = (J.rows ? xs[i * J.p + j] : xs[j * J.n + i]) * J.w[s + i];
    return blas::xgemm(J.rows ? 'T' : 'N', p, k, xw, xs, ld, B.cp);
  }
  // User mean: deviations from the given mean go to the matrix, so that it
  // holds sum w (x - mean)(x - mean)' whatever the mean is.
  T *dev = B.scratch, *dw = B.scratch + J.p * len;
  for (int64_t i = 0; i < len; ++i)
    for (int64_t j = 0; j < J.p; ++j)
      dev[i * J.p + j] = (J.rows ? xs[i * J.p + j] : xs[j * J.n + i]) - J.mu[j];
  if (!J.weighted) return blas::xsyrk('N', p, k, dev, p, B.cp);
  for (int64_t i = 0; i < len; ++i)
    for (int64_t j = 0; j < J.p; ++j) dw[i * J.p + j] = dev[i * J.p + j] * J.w[s + i];
  blas::xgemm('T', p, k, dw, dev, p, B.cp);
}

template <class T>
void worker(int b, void *, int nblocks, void *args) {
  const Job<T> &J = *static_cast<const Job<T> *>(args);
  Block<T> &B = J.blocks[b];
  const int64_t per = J.n / nblocks, i0 = b * per, i1 = b == nblocks - 1 ? J.n : i0 + per;
  auto run = [&](int64_t s, int64_t e) {
    J.kernel(s, e, J.n, 0, J.p, J.p, J.x, J.w, &B.aux, B.acc, B.mean, B.raw[0], B.raw[1],
             B.raw[2], B.M[0], B.M[1], B.M[2], B.cp);
  };
  if (!J.slices) return run(i0, i1);
  // A lone fast block turns its matrix to raw form and back itself; with
  // several blocks the calling thread does that on the whole.
  const bool own_raw_form = J.method == Method::Fast && nblocks == 1;
  if (own_raw_form && B.acc[0] > T(0)) blas::xsyr((int)J.p, B.acc[0], B.mean, B.cp);
  for (int64_t s = i0; s < i1; s += J.slice) {
    const int64_t e = std::min(i1, s + J.slice);
    run(s, e);
    update_matrix(J, B, s, e - s);
  }
  if (own_raw_form) blas::xsyr((int)J.p, -B.acc[0], B.mean, B.cp);
}

// Block b into block a.
template <class T>
void merge(Method method, int64_t p, bool cp, bool raw_cp, Block<T> &a, const Block<T> &b) {
  const T Wa = a.acc[0], Wb = b.acc[0], t = T(1) / (Wa + Wb);
  if (cp) {
    const T f = Wa * Wb * t;
    const bool centred = method == Method::OnePass && !raw_cp && Wa != T(0);
    for (int64_t k = 0; k < p; ++k) {
      const T dk = b.mean[k] - a.mean[k];
      for (int64_t j = 0; j <= k; ++j)
        a.cp[j + k * p] += b.cp[j + k * p] + (centred ? f * (b.mean[j] - a.mean[j]) * dk : T(0));
    }
  }
  for (int64_t j = 0; j < p; ++j) {
    if (method == Method::OnePass) {
      const T d = b.mean[j] - a.mean[j], d2 = d * d;
      const T M2a = a.M[0][j], M2b = b.M[0][j], M3a = a.M[1][j], M3b = b.M[1][j];
      a.M[2][j] += b.M[2][j] + d2 * d2 * t * t * t * Wa * Wb * (Wa * Wa - Wa * Wb + Wb * Wb) +
                   T(6) * d2 * t * t * (Wa * Wa * M2b + Wb * Wb * M2a) +
                   T(4) * d * t * (Wa * M3b - Wb * M3a);
      a.M[1][j] += M3b + d2 * d * t * t * Wa * Wb * (Wa - Wb) + T(3) * d * t * (Wa * M2b - Wb * M2a);
      a.M[0][j] += M2b + d2 * Wa * Wb * t;
    } else if (method == Method::UserMean) {
      for (int k = 0; k < 3; ++k) a.M[k][j] += b.M[k][j];
    }
    if (method != Method::UserMean) a.mean[j] = (Wa * a.mean[j] + Wb * b.mean[j]) * t;
    for (int k = 0; k < 3; ++k) a.raw[k][j] = (Wa * a.raw[k][j] + Wb * b.raw[k][j]) * t;
  }
  a.acc[0] = Wa + Wb;
  a.acc[1] += b.acc[1];
}

bool raw(uint32_t need, int k) { return need & ((kRaw2 | kRawSum2) << (k - 2)); }
bool cen(uint32_t need, int k) { return need & (kRaw2 << (k + 1) | kCenSum2 << (k - 2)); }

int kernel_order(Method m, uint32_t need) {
  switch (m) {
    case Method::Fast: return raw(need, 4) ? 3 : raw(need, 3) ? 2 : raw(need, 2) ? 1 : 0;
    case Method::UserMean:
      return raw(need, 2) || raw(need, 3) || raw(need, 4) ? 3 : cen(need, 4) ? 2 : cen(need, 3) ? 1 : 0;
    default:
      return raw(need, 3) || raw(need, 4) || cen(need, 3) || cen(need, 4) ? 3
             : raw(need, 2)                                             ? 2
             : cen(need, 2)                                             ? 1
                                                                        : 0;
  }
}

// Step of the running state: block 0 takes what earlier calls left in the
// arrays that this call works in (selected dimensions only; the rest start
// from zero). Those arrays are the ones the dependency words name.
template <class T>
void restore(const GuxSSTask *task, Method method, uint32_t need, int64_t p, bool cp, T W, T V,
             Block<T> &b) {
  auto arr = [need](uint32_t bit, void *a) { return need & bit ? static_cast<const T *>(a) : nullptr; };
  const T *mean = arr(kMean, task->mean), *sum = arr(kSum, task->sum);
  const T *raw[3], *raw_sum[3], *cs[3], *c[3];
  for (int k = 0; k < 3; ++k) {
    raw[k] = arr(kRaw2 << k, task->raw[k]);
    raw_sum[k] = arr(kRawSum2 << k, task->raw_sum[k]);
    cs[k] = arr(kCenSum2 << k, task->central_sum[k]);
    c[k] = arr(kCen2 << k, task->central[k]);
  }
  for (int64_t j = 0; j < p; ++j) {
    if (!selected(task, j)) continue;
    if (method != Method::UserMean) b.mean[j] = mean ? mean[j] : sum ? sum[j] / W : T(0);
    for (int k = 0; k < 3; ++k) b.raw[k][j] = raw[k] ? raw[k][j] : raw_sum[k] ? raw_sum[k][j] / W : T(0);
    if (method == Method::Fast) continue;
    b.M[0][j] = cs[0] ? cs[0][j] : c[0] ? c[0][j] * (W * W - V) / W : T(0);
    b.M[1][j] = cs[1] ? cs[1][j] : c[1] ? c[1][j] * W : T(0);
    b.M[2][j] = cs[2] ? cs[2][j] : c[2] ? c[2][j] * W : T(0);
  }
  if (!cp) return;
  const int wide = (int)task->index_width;
  if (need & kCP) {
    expand(task, static_cast<const T *>(task->cp), matrix_storage(task->cp_storage, wide), p, T(1), b.cp);
  } else if (need & kCov) {
    expand(task, static_cast<const T *>(task->cov), matrix_storage(task->cov_storage, wide), p,
           W > T(0) ? W - V / W : T(1), b.cp);
  } else {
    // A correlation carries its past only with the second central sums.
    expand(task, static_cast<const T *>(task->cor), matrix_storage(task->cor_storage, wide), p, T(1), b.cp);
    for (int64_t k = 0; k < p; ++k) {
      for (int64_t j = 0; j <= k; ++j) {
        T s2j = b.M[0][j], s2k = b.M[0][k];
        if (method == Method::Fast) {
          s2j = (b.raw[0][j] - b.mean[j] * b.mean[j]) * W;
          s2k = (b.raw[0][k] - b.mean[k] * b.mean[k]) * W;
        }
        b.cp[j + k * p] *= s2j * s2k > T(0) ? std::sqrt(s2j * s2k) : T(0);
      }
    }
  }
}

// The user-mean sums of earlier groups stand about the kept mean; when the
// given mean has moved, they are carried over to it (the earlier groups'
// deviations from their own mean sum to zero).
template <class T>
void recentre(const GuxSSTask *task, int64_t p, bool cp, T W, const T *kept, const T *mu, Block<T> &b, T *delta) {
  bool moved = false;
  for (int64_t j = 0; j < p; ++j) {
    const T d = selected(task, j) ? kept[j] - mu[j] : T(0);
    delta[j] = d;
    if (d == T(0)) continue;
    moved = true;
    const T M2 = b.M[0][j], M3 = b.M[1][j], d2 = d * d;
    b.M[2][j] += T(4) * d * M3 + T(6) * d2 * M2 + W * d2 * d2;
    b.M[1][j] += T(3) * d * M2 + W * d2 * d;
    b.M[0][j] += W * d2;
  }
  if (cp && moved) blas::syr((int)p, W, delta, b.cp);
}

template <class T>
void store_vec(const GuxSSTask *task, void *dst, int64_t p, const T *src, T scale) {
  if (!dst) return;
  T *out = static_cast<T *>(dst);
  for (int64_t j = 0; j < p; ++j)
    if (selected(task, j)) out[j] = src[j] * scale;
}

// Every array this call works in receives its value: the estimates asked for
// and the arrays that carry the running state for the next call.
template <class T>
void store_outputs(const GuxSSTask *task, const BasicPlan &plan, int64_t p, Block<T> &b, T *scratch) {
  const uint32_t want = plan.need;
  const T W = b.acc[0], V = b.acc[1];
  if (want & kMean && plan.method != Method::UserMean) store_vec(task, task->mean, p, b.mean, T(1));
  if (want & kSum) store_vec(task, task->sum, p, b.mean, W);
  for (int k = 0; k < 3; ++k) {
    if (want & (kRaw2 << k)) store_vec(task, task->raw[k], p, b.raw[k], T(1));
    if (want & (kRawSum2 << k)) store_vec(task, task->raw_sum[k], p, b.raw[k], W);
  }
  const uint32_t central_like = kCen2 | kCen3 | kCen4 | kKurt | kSkew | kVariation | kCenSum2 |
                                kCenSum3 | kCenSum4;
  if (want & central_like) {
    auto out = [](void *a, int64_t j) { return &static_cast<T *>(a)[j]; };
    for (int64_t j = 0; j < p; ++j) {
      if (!selected(task, j)) continue;
      T cs[3] = {b.M[0][j], b.M[1][j], b.M[2][j]};
      if (plan.method == Method::Fast)
        central_sums_from_raw(b.mean[j], b.raw[0][j], b.raw[1][j], b.raw[2][j], W, cs);
      const T c2 = variance_from_sum(cs[0], W, V), c3 = cs[1] / W, c4 = cs[2] / W;
      if (want & kCenSum2) *out(task->central_sum[0], j) = cs[0];
      if (want & kCenSum3) *out(task->central_sum[1], j) = cs[1];
      if (want & kCenSum4) *out(task->central_sum[2], j) = cs[2];
      if (want & kCen2) *out(task->central[0], j) = c2;
      if (want & kCen3) *out(task->central[1], j) = c3;
      if (want & kCen4) *out(task->central[2], j) = c4;
      if (want & kKurt) *out(task->kurtosis, j) = kurtosis(c2, c4);
      if (want & kSkew) *out(task->skewness, j) = skewness(c2, c3);
      if (want & kVariation) *out(task->variation, j) = variation(c2, b.mean[j]);
    }
  }
  if (want & kCP)
    store(task, static_cast<T *>(task->cp), matrix_storage(task->cp_storage, (int)task->index_width), p,
          b.cp, [](int64_t, int64_t, T c) { return c; });
  store_cov_cor(task, want, p, W, V, b.cp, scratch);
}

// Methods 0x200 and 0x400: outputs from sums and cross-products already
// accumulated by the caller; X is not read.
template <class T>
int64_t convert(const GuxSSTask *task, const BasicPlan &plan, int64_t p) {
  const int wide = (int)task->index_width;
  const T *aw = static_cast<const T *>(task->accum_weights);
  if (!aw && (!task->n || task->weights)) return GUX_SS_NO_ACCUM_WEIGHTS;
  const T W = aw ? aw[0] : T(read_int(task->n, wide)), V = aw ? aw[1] : W;
  const uint32_t want = plan.want;
  T *scratch = nullptr, *cp = nullptr;
  if (want & (kCov | kCor)) {
    scratch = static_cast<T *>(qor_serv_allocate(sizeof(T) * (size_t)(p * p + 2 * p), 128));
    if (!scratch) return GUX_SS_NO_MEMORY;
    cp = scratch + 2 * p;
  }
  auto at = [](void *a, int64_t j) -> T & { return static_cast<T *>(a)[j]; };
  for (int64_t j = 0; j < p; ++j) {
    if (!selected(task, j)) continue;
    if (want & kMean) at(task->mean, j) = at(task->sum, j) / W;
    for (int k = 0; k < 3; ++k)
      if (want & (kRaw2 << k)) at(task->raw[k], j) = at(task->raw_sum[k], j) / W;
    if (want & kCen2) at(task->central[0], j) = variance_from_sum(at(task->central_sum[0], j), W, V);
    if (want & kCen3) at(task->central[1], j) = at(task->central_sum[1], j) / W;
    if (want & kCen4) at(task->central[2], j) = at(task->central_sum[2], j) / W;
    if (want & kKurt) at(task->kurtosis, j) = kurtosis(at(task->central[0], j), at(task->central[2], j));
    if (want & kSkew) at(task->skewness, j) = skewness(at(task->central[0], j), at(task->central[1], j));
    if (want & kVariation) at(task->variation, j) = variation(at(task->central[0], j), at(task->mean, j));
  }
  if (cp) {
    expand(task, static_cast<const T *>(task->cp), matrix_storage(task->cp_storage, wide), p, T(1), cp);
    store_cov_cor(task, want, p, W, V, cp, scratch);
    qor_serv_deallocate(scratch);
  }
  return GUX_SS_OK;
}

constexpr int64_t pad(int64_t count, size_t size) {
  const int64_t e = 128 / (int64_t)size;
  return (count + e - 1) / e * e;
}

// One zeroed allocation, every piece 128-byte aligned: the block records,
// 3p reals (conversion scratch 2p, the running shift p), then per block its
// weights, seven moment arrays, the cross-product and the kernel scratch.
// Arrays are padded to whole 128-byte lines, which the kernels' last
// dimension group may use.
template <class T>
struct Workspace {
  char *mem = nullptr;
  Block<T> *blocks = nullptr;
  T *conversion = nullptr;

  bool make(int nblocks, int64_t p, bool cp, int64_t scratch) {
    const int64_t per_block = pad(4, sizeof(T)) + 7 * pad(p, sizeof(T)) + (cp ? pad(p * p, sizeof(T)) : 0) +
                              pad(scratch, sizeof(T));
    const size_t head = (sizeof(Block<T>) * nblocks + 127) / 128 * 128;
    const size_t bytes = head + sizeof(T) * (size_t)(3 * pad(p, sizeof(T)) + nblocks * per_block);
    mem = static_cast<char *>(qor_serv_allocate(bytes, 128));
    if (!mem) return false;
    std::memset(mem, 0, bytes);
    blocks = reinterpret_cast<Block<T> *>(mem);
    conversion = reinterpret_cast<T *>(mem + head);
    T *next = conversion + 3 * pad(p, sizeof(T));
    auto take = [&next](int64_t count) {
      T *r = next;
      next += pad(count, sizeof(T));
      return r;
    };
    for (int b = 0; b < nblocks; ++b) {
      Block<T> &B = blocks[b];
      B.acc = take(4);
      B.mean = take(p);
      for (auto &r : B.raw) r = take(p);
      for (auto &r : B.M) r = take(p);
      B.cp = cp ? take(p * p) : nullptr;
      B.scratch = take(scratch);
      B.aux = RunningAux<T>{conversion + 2 * pad(p, sizeof(T)), B.scratch};
    }
    return true;
  }
  Workspace() = default;
  Workspace(const Workspace &) = delete;
  Workspace &operator=(const Workspace &) = delete;
  ~Workspace() { qor_serv_deallocate(mem); }
};

template <class T>
int64_t basic(GuxSSTask *task, uint64_t estimates, uint64_t method, const GuxThreadingTable *threading) {
  if (!task) return GUX_SS_NULL_TASK;
  BasicPlan plan;
  if (int64_t st = plan_basic(task, estimates, method, &plan)) return st;
  const int wide = (int)task->index_width;
  if (!task->p || read_int(task->p, wide) < 1) return GUX_SS_BAD_DIMENSION;
  const int64_t p = read_int(task->p, wide);
  if (plan.method == Method::Convert) return convert<T>(task, plan, p);

  if (!task->n || read_int(task->n, wide) < 1) return GUX_SS_BAD_OBSERVATIONS;
  if (!task->x) return GUX_SS_NO_X;
  if (!task->x_storage) return GUX_SS_NO_STORAGE;
  const int64_t code = read_int(task->x_storage, wide);
  if (!(code & (GUX_SS_VARIABLES_IN_ROWS | GUX_SS_OBSERVATIONS_IN_ROWS))) return GUX_SS_BAD_STORAGE;
  const int64_t n = read_int(task->n, wide);
  if (plan.want == 0) return GUX_SS_OK;

  const Method m = plan.method;
  const bool rows = p > 1 && !(code & GUX_SS_VARIABLES_IN_ROWS);
  const bool weighted = task->weights != nullptr;
  const bool cp = plan.need & (kCov | kCor | kCP);
  const int order = kernel_order(m, plan.need);

  const int threads = threading && threading->thread_count ? threading->thread_count() : 1;
  const int64_t work = n * p * (cp ? p : 1);
  const int nblocks = (int)std::max<int64_t>(1, std::min<int64_t>({work / 8192, threads, n / 16}));
  const bool slices = cp && (m == Method::UserMean || (m == Method::Fast && (nblocks == 1 || weighted)));

  const int64_t slice = std::max<int64_t>(262144 / (p * (int64_t)sizeof(T) * (weighted ? 2 : 1)), 64);
  int64_t scratch = 0;
  if (cp && m == Method::OnePass) scratch = cp_scratch_size(p);
  if (slices && m == Method::Fast && weighted) scratch = p * slice;
  if (slices && m == Method::UserMean) scratch = p * slice * (weighted ? 2 : 1);
  Workspace<T> ws;
  if (!ws.make(nblocks, p, cp, scratch)) return GUX_SS_NO_MEMORY;
  T *kept = static_cast<T *>(task->kept_mean);
  if (m == Method::UserMean && !kept) {
    kept = static_cast<T *>(qor_serv_allocate(sizeof(T) * (size_t)p, 128));
    if (!kept) return GUX_SS_NO_MEMORY;
  }
  Block<T> *blocks = ws.blocks;
  T *conv_scratch = ws.conversion;

  // The given mean (zeros when the task has none) stands in every block.
  const T *mu = nullptr;
  if (m == Method::UserMean) {
    for (int b = 0; b < nblocks; ++b)
      for (int64_t j = 0; j < p; ++j) blocks[b].mean[j] = task->mean ? static_cast<const T *>(task->mean)[j] : T(0);
    mu = blocks[0].mean;
  }

  // Running values: a zero weight sum (tested exactly) starts afresh.
  T *aw = static_cast<T *>(task->accum_weights);
  const T W0 = aw ? aw[0] : T(0), V0 = aw && W0 != T(0) ? aw[1] : T(0);
  Block<T> &b0 = blocks[0];
  b0.acc[0] = W0;
  b0.acc[1] = V0;
  if (W0 != T(0)) {
    restore(task, m, plan.need, p, cp, W0, V0, b0);
    if (m == Method::UserMean && task->kept_mean) recentre(task, p, cp, W0, kept, mu, b0, conv_scratch);
    if (cp && m == Method::Fast && nblocks > 1 && W0 > T(0)) blas::syr((int)p, W0, b0.mean, b0.cp);
  }
  // The running update works relative to the earlier mean, or to the first
  // observation when there is none (zero if that is not finite: it may be a
  // skipped observation of weight zero).
  T *shift = const_cast<T *>(b0.aux.shift);
  if (m == Method::OnePass) {
    const T *x = static_cast<const T *>(task->x);
    for (int64_t j = 0; j < p; ++j) {
      const T s = W0 != T(0) ? b0.mean[j] : rows ? x[j] : x[j * n];
      shift[j] = std::isfinite(s) ? s : T(0);
      b0.mean[j] -= shift[j];
    }
  }

  Job<T> job{static_cast<const T *>(task->x), static_cast<const T *>(task->weights), n, p, rows, weighted, m,
             slices, slice, mu, nullptr, blocks};
  const int index = m == Method::Fast       ? sums_index(rows, weighted, order)
                    : m == Method::UserMean ? about_mean_index(rows, weighted, order)
                                            : running_index(rows, weighted, order, cp);
  job.kernel = kernel_table<T>()[index];
  if (nblocks == 1)
    worker<T>(0, nullptr, 1, &job);
  else
    threading->parallel_for(nblocks, &job, worker<T>);

  const bool raw_cp = m == Method::Fast;
  for (int b = 1; b < nblocks; ++b)
    if (blocks[b].acc[0] != T(0)) merge(m, p, cp && (m != Method::Fast || weighted), raw_cp, b0, blocks[b]);
  if (cp && m == Method::Fast && nblocks > 1) {
    // Unweighted blocks left the matrix alone: the data go to it in one call.
    if (!weighted)
      blas::syrk(rows ? 'N' : 'T', (int)p, (int)n, job.x, rows ? (int)p : (int)n, b0.cp);
    blas::syr((int)p, -b0.acc[0], b0.mean, b0.cp);
  }

  if (m == Method::OnePass)
    for (int64_t j = 0; j < p; ++j) b0.mean[j] += shift[j];
  store_outputs(task, plan, p, b0, conv_scratch);
  if (aw) aw[0] = b0.acc[0], aw[1] = b0.acc[1];
  if (m == Method::UserMean) {
    std::memcpy(kept, mu, sizeof(T) * (size_t)p);
    task->kept_mean = kept;
  }
  return GUX_SS_OK;
}

}  // namespace
}  // namespace qor::ss

QOR_SS_ENTRIES(Basic, qor::ss::basic)
