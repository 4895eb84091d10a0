// Partial covariance and correlation: for the kept dimensions K (index 1)
// given the conditioned ones C (index -1), S_KK - S_KC S_CC^-1 S_CK. The
// source is the task's covariance, or its correlation when no covariance is
// bound. S_CC is factored and inverted by LAPACK (potrf, potri), and the
// Schur complement is formed by two gemm calls. Outputs are |K| by |K|, in
// dimension order, stored by their own storage codes.
#include <qor/qor_stats.h>

#include <qor/qor_random.h>

#include <cmath>

#include "qor_core.h"
#include "stats/ss_cov_util.h"
#include "stats/ss_internal.h"

namespace qor::ss {
namespace {

template <class T>
int64_t partial(GuxSSTask *task, uint64_t estimates, uint64_t method, const GuxThreadingTable *) {
  if (!task) return GUX_SS_NULL_TASK;
  const int wide = (int)task->index_width;
  if (!task->p || read_int(task->p, wide) < 1) return GUX_SS_BAD_DIMENSION;
  const void *src = task->cov, *src_storage = task->cov_storage;
  if (src) {
    if (!src_storage) return GUX_SS_NO_STORAGE;
  } else {
    src = task->cor, src_storage = task->cor_storage;
    if (!src) return GUX_SS_NO_COV;
    if (!src_storage) return GUX_SS_NO_STORAGE;
  }
  const int64_t src_code = read_int(src_storage, wide);
  if (!matrix_code_ok(src_code)) return GUX_SS_BAD_STORAGE;
  if (!task->partial_indices) return GUX_SS_NO_PARTIAL_INDICES;
  const bool want_cov = estimates & GUX_SS_PARTIAL_COV, want_cor = estimates & GUX_SS_PARTIAL_COR;
  int64_t cov_code = 0, cor_code = 0;
  if (want_cov) {
    if (!task->partial_cov) return GUX_SS_NO_PARTIAL_COV;
    if (!task->partial_cov_storage) return GUX_SS_NO_STORAGE;
    cov_code = read_int(task->partial_cov_storage, wide);
    if (!matrix_code_ok(cov_code)) return GUX_SS_BAD_STORAGE;
  }
  if (want_cor) {
    if (!task->partial_cor) return GUX_SS_NO_PARTIAL_COR;
    if (!task->partial_cor_storage) return GUX_SS_NO_STORAGE;
    cor_code = read_int(task->partial_cor_storage, wide);
    if (!matrix_code_ok(cor_code)) return GUX_SS_BAD_STORAGE;
  }
  if (!(method & GUX_SS_M_FAST)) return GUX_SS_BAD_METHOD;
  const int64_t p = read_int(task->p, wide);
  int64_t nk = 0, nc = 0;
  for (int64_t j = 0; j < p; ++j) {
    const int64_t v = read_int_at(task->partial_indices, wide, j);
    if (v == 1) ++nk;
    else if (v == -1) ++nc;
    else return GUX_SS_BAD_PARTIAL_INDICES;
  }
  if (nk == 0) return GUX_SS_BAD_PARTIAL_INDICES;
  if (!want_cov && !want_cor) return GUX_SS_OK;

  // Work: full source p*p, then S_CC (c*c), S_CK (c*k), its product (c*k),
  // the complement (k*k), k inverse roots, and the index lists.
  const size_t reals = (size_t)(p * p + nc * nc + 2 * nc * nk + nk * nk + nk);
  const size_t index_at = (sizeof(T) * reals + 7) & ~(size_t)7;
  char *mem = static_cast<char *>(qor_serv_allocate(index_at + sizeof(int64_t) * (size_t)p, 128));
  if (!mem) return GUX_SS_NO_MEMORY;
  T *full = reinterpret_cast<T *>(mem), *scc = full + p * p, *sck = scc + nc * nc, *prod = sck + nc * nk,
    *res = prod + nc * nk;
  T *roots = res + nk * nk;
  int64_t *kept = reinterpret_cast<int64_t *>(mem + index_at), *cond = kept + nk;
  for (int64_t j = 0, a = 0, b = 0; j < p; ++j)
    (read_int_at(task->partial_indices, wide, j) == 1 ? kept[a++] : cond[b++]) = j;
  sym_expand(static_cast<const T *>(src), src_code, p, full);
  // Column-major blocks (symmetric, so row-major reads the same).
  for (int64_t a = 0; a < nk; ++a)
    for (int64_t b = 0; b < nk; ++b) res[a + b * nk] = full[kept[a] * p + kept[b]];
  int64_t status = GUX_SS_OK;
  if (nc > 0) {
    for (int64_t a = 0; a < nc; ++a)
      for (int64_t b = 0; b < nc; ++b) scc[a + b * nc] = full[cond[a] * p + cond[b]];
    for (int64_t a = 0; a < nc; ++a)
      for (int64_t b = 0; b < nk; ++b) sck[a + b * nc] = full[cond[a] * p + kept[b]];
    if (potrf('U', (int)nc, scc) != 0) {
      status = GUX_SS_WARN_COV_NOT_POSITIVE;
    } else if (potri('U', (int)nc, scc) != 0) {
      status = GUX_SS_WARN_PARTIAL_SINGULAR;
    } else {
      for (int64_t b = 0; b < nc; ++b)
        for (int64_t a = b + 1; a < nc; ++a) scc[a + b * nc] = scc[b + a * nc];
      // prod = S_CC^-1 S_CK; res -= S_KC prod.
      gemm('N', 'N', (int)nc, (int)nk, (int)nc, T(1), scc, (int)nc, sck, (int)nc, T(0), prod, (int)nc);
      gemm('T', 'N', (int)nk, (int)nk, (int)nc, T(-1), sck, (int)nc, prod, (int)nc, T(1), res, (int)nk);
    }
  }
  if (status == GUX_SS_OK) {
    // The complement is symmetric up to rounding; take its mean.
    for (int64_t a = 0; a < nk; ++a)
      for (int64_t b = 0; b < a; ++b) res[a * nk + b] = res[b * nk + a] = (res[a * nk + b] + res[b * nk + a]) / 2;
    if (want_cov) sym_store(res, cov_code, nk, static_cast<T *>(task->partial_cov));
    if (want_cor) {
      for (int64_t a = 0; a < nk; ++a) roots[a] = T(1 / __guxdSqrt((double)res[a * nk + a]));
      for (int64_t a = 0; a < nk; ++a)
        for (int64_t b = 0; b <= a; ++b) res[a * nk + b] = res[a * nk + b] * roots[a] * roots[b];
      sym_store(res, cor_code, nk, static_cast<T *>(task->partial_cor));
    }
  }
  qor_serv_deallocate(mem);
  return status;
}

}  // namespace
}  // namespace qor::ss

QOR_SS_ENTRIES(PartialCovariance, qor::ss::partial)
