// Repair of a symmetric matrix that is not positive semi-definite: the
// eigen-decomposition V diag(l) V' (LAPACK syev, vectors, upper triangle),
// every eigenvalue below 1e-14 raised to 1e-14, and the matrix rebuilt as
// B B' with B = V diag(sqrt(l)) by one syrk. The input is expanded to a full
// work matrix first, so the output may be the input array itself, except
// that a packed input cannot receive a full output.
#include <qor/qor_stats.h>

#include <cmath>

#include "qor_core.h"
#include "stats/ss_cov_util.h"
#include "stats/ss_internal.h"

namespace qor::ss {
namespace {

constexpr double kEigenFloor = 1e-14;

template <class T>
int64_t parametrize(GuxSSTask *task, uint64_t, uint64_t method, const GuxThreadingTable *) {
  if (!task) return GUX_SS_NULL_TASK;
  const int wide = (int)task->index_width;
  if (!task->p || read_int(task->p, wide) < 1) return GUX_SS_BAD_DIMENSION;
  if (!task->cor) return GUX_SS_NO_COR;
  if (!task->cor_storage) return GUX_SS_NO_STORAGE;
  const int64_t in_code = read_int(task->cor_storage, wide);
  if (!matrix_code_ok(in_code)) return GUX_SS_BAD_STORAGE;
  if (!task->param_cor) return GUX_SS_NO_PARAM_COR;
  if (!task->param_cor_storage) return GUX_SS_NO_STORAGE;
  const int64_t out_code = read_int(task->param_cor_storage, wide);
  if (!matrix_code_ok(out_code)) return GUX_SS_BAD_STORAGE;
  if (out_code == GUX_MATRIX_FULL && in_code != GUX_MATRIX_FULL && task->param_cor == task->cor)
    return GUX_SS_BAD_STORAGE;
  if (!(method & GUX_SS_M_SPECTRAL)) return GUX_SS_BAD_METHOD;
  const int64_t p = read_int(task->p, wide);

  // Work block: 50p for syev's workspace, the matrix, its scaled vectors,
  // and the p eigenvalues.
  const int64_t lwork = 50 * p;
  T *work = static_cast<T *>(qor_serv_allocate(sizeof(T) * (size_t)(lwork + 2 * p * p + p), 128));
  if (!work) return GUX_SS_NO_MEMORY;
  T *a = work + lwork, *b = a + p * p, *l = b + p * p;
  sym_expand(static_cast<const T *>(task->cor), in_code, p, a);
  int64_t status = GUX_SS_OK;
  if (syev((int)p, a, l, work, (int)lwork) != 0) {
    status = GUX_SS_WARN_COR_NOT_POSITIVE;
  } else {
    int64_t raised = 0;
    for (int64_t k = 0; k < p; ++k)
      if (!(l[k] >= T(kEigenFloor))) l[k] = T(kEigenFloor), ++raised;
    if (raised == p) {
      status = GUX_SS_BAD_COR_MATRIX;
    } else {
      // Column k of V (column-major in a) scaled by sqrt(l_k); then B B'.
      for (int64_t k = 0; k < p; ++k) {
        const T r = T(std::sqrt((double)l[k]));
        for (int64_t i = 0; i < p; ++i) b[i + k * p] = a[i + k * p] * r;
      }
      syrk('U', 'N', (int)p, (int)p, T(1), b, (int)p, T(0), a, (int)p);
      // Upper triangle of a column-major matrix = lower triangle read row-major.
      sym_store(a, out_code, p, static_cast<T *>(task->param_cor));
    }
  }
  qor_serv_deallocate(work);
  return status;
}

}  // namespace
}  // namespace qor::ss

QOR_SS_ENTRIES(CorParametrization, qor::ss::parametrize)
