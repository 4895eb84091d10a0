// Partial covariance and correlation: for the kept dimensions K (index 1)
// given the conditioned ones C (index -1), S_KK - S_KC S_CC^-1 S_CK. The
// source is the task's covariance, or its correlation when no covariance is
// bound. S_CC is factored by LAPACK (potrf, S_CC = U'U); the complement is
// S_KK - Y'Y with Y = U'^-1 S_CK, one triangular solve and one syrk: half
// the work of an explicit inverse and two general products, and no
// rounding of the inverse in the result. Outputs are |K| by |K|, in
// dimension order, stored by their own storage codes.
#include <qor/qor_stats.h>

#include <qor/qor_random.h>

#include <cmath>
#include <limits>

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

  // Work: S_CC (c*c), S_CK (c*k), the complement (k*k), k inverse roots,
  // then the two index lists; blocks are column-major.
  const size_t reals = (size_t)(nc * nc + nc * nk + nk * nk + nk);
  const size_t index_at = (sizeof(T) * reals + 7) & ~(size_t)7;
  char *mem = static_cast<char *>(qor_serv_allocate(index_at + sizeof(int64_t) * (size_t)p, 128));
  if (!mem) return GUX_SS_NO_MEMORY;
  T *scc = reinterpret_cast<T *>(mem), *sck = scc + nc * nc, *res = sck + nc * nk, *roots = res + nk * nk;
  int64_t *kept = reinterpret_cast<int64_t *>(mem + index_at), *cond = kept + nk;
  for (int64_t j = 0, a = 0, b = 0; j < p; ++j)
    (read_int_at(task->partial_indices, wide, j) == 1 ? kept[a++] : cond[b++]) = j;
  const T *S = static_cast<const T *>(src);
  auto at = [&](int64_t i, int64_t j) { return S[sym_index(src_code, p, i, j)]; };
  for (int64_t b = 0; b < nk; ++b)
    for (int64_t a = 0; a <= b; ++a) res[a + b * nk] = at(kept[a], kept[b]);
  int64_t status = GUX_SS_OK;
  if (nc > 0) {
    for (int64_t b = 0; b < nc; ++b)
      for (int64_t a = 0; a <= b; ++a) scc[a + b * nc] = at(cond[a], cond[b]);
    for (int64_t b = 0; b < nk; ++b)
      for (int64_t a = 0; a < nc; ++a) sck[a + b * nc] = at(cond[a], kept[b]);
    // S_CC = U'U; Y = U'^-1 S_CK; complement = S_KK - Y'Y (upper triangle).
    if (potrf('U', (int)nc, scc) != 0) {
      status = GUX_SS_WARN_COV_NOT_POSITIVE;
    } else {
      trsm_upper_trans((int)nc, (int)nk, scc, sck);
      syrk('U', 'T', (int)nk, (int)nc, T(-1), sck, (int)nc, T(1), res, (int)nk);
    }
  }
  if (status == GUX_SS_OK) {
    // The upper triangle, column-major, reads as the lower one row-major.
    if (want_cov) sym_store(res, cov_code, nk, static_cast<T *>(task->partial_cov));
    // Singular: a partial variance within rounding of zero against the
    // variance it started from.
    bool singular = false;
    const T eps = T(64) * std::numeric_limits<T>::epsilon();
    for (int64_t a = 0; a < nk; ++a) singular |= !(res[a + a * nk] > eps * at(kept[a], kept[a]));
    if (singular) {
      // A kept dimension is fully explained by the conditioned ones.
      status = GUX_SS_WARN_PARTIAL_SINGULAR;
    } else if (want_cor) {
      for (int64_t a = 0; a < nk; ++a) roots[a] = T(1 / __guxdSqrt((double)res[a + a * nk]));
      for (int64_t b = 0; b < nk; ++b)
        for (int64_t a = 0; a <= b; ++a) res[a + b * nk] *= roots[a] * roots[b];
      sym_store(res, cor_code, nk, static_cast<T *>(task->partial_cor));
    }
  }
  qor_serv_deallocate(mem);
  return status;
}

}  // namespace
}  // namespace qor::ss

QOR_SS_ENTRIES(PartialCovariance, qor::ss::partial)
