// Conversions from accumulated sums to the caller's outputs, shared by the
// computing methods and the conversion methods of the basic estimator.
#ifndef QOR_STATS_SS_CONVERT_H
#define QOR_STATS_SS_CONVERT_H

#include <qor/qor_bex.h>
#include <qor/qor_random.h>
#include <qor/qor_stats.h>

#include <cmath>
#include <cstdint>

#include "stats/ss_matrix.h"

extern "C" {
extern BexKernelTable qor_ttab_dInvSqrt __attribute__((visibility("hidden")));
extern BexKernelTable qor_ttab_sInvSqrt __attribute__((visibility("hidden")));
}

namespace qor::ss {

// Central sums from raw moments (the fast method), each times W.
template <class T>
void central_sums_from_raw(T m, T r2, T r3, T r4, T W, T cs[3]) {
  cs[0] = (r2 - m * m) * W;
  cs[1] = ((T(2) * m * m - T(3) * r2) * m + r3) * W;
  cs[2] = (((T(6) * r2 - T(3) * m * m) * m - T(4) * r3) * m + r4) * W;
}

template <class T> T variance_from_sum(T M2, T W, T V) { return M2 * W / (W * W - V); }
template <class T> T kurtosis(T c2, T c4) { return c4 / (c2 * c2) - T(3); }
// The one root that goes through the stream service's scalar square root.
template <class T> T skewness(T c2, T c3) { return c3 / T(__guxdSqrt(double(c2 * c2 * c2))); }
template <class T> T variation(T c2, T mean) { return std::sqrt(c2) / mean; }

// Slot of the inverse square root used for correlations: the HA tier.
constexpr int kInvSqrtSlot = 1;

// r[i] = 1/sqrt(a[i]) by the vector kernel, under the temporary mode word
// 0x140000 (denormals kept); the caller's mode word is restored afterwards.
template <class T>
void inv_sqrt(int n, const T *a, T *r) {
  BexKernelTable &table = sizeof(T) == sizeof(double) ? qor_ttab_dInvSqrt : qor_ttab_sInvSqrt;
  using VecKernel = void (*)(int, const T *, T *);
  const auto kernel = reinterpret_cast<VecKernel>(table.kernel[kInvSqrtSlot]);
  const unsigned old = qor_bex_kernel_SetMode(BEX_FTZDAZ_OFF);
  kernel(n, a, r);
  qor_bex_kernel_SetMode(old);
}

// Covariance and correlation outputs from a cross-product in work form.
// `scratch` holds 2p reals.
template <class T>
void store_cov_cor(const GuxSSTask *task, uint32_t want, int64_t p, T W, T V, const T *cp,
                   T *scratch) {
  const int wide = (int)task->index_width;
  if (want & (1u << 7)) {
    const T f = W > T(0) ? T(1) / (W - V / W) : T(1);
    store(task, static_cast<T *>(task->cov), matrix_storage(task->cov_storage, wide), p, cp,
          [f](int64_t, int64_t, T c) { return c * f; });
  }
  if (want & (1u << 8)) {
    T *diag = scratch, *is = scratch + p;
    for (int64_t j = 0; j < p; ++j) diag[j] = cp[j + j * p];
    inv_sqrt<T>((int)p, diag, is);
    store(task, static_cast<T *>(task->cor), matrix_storage(task->cor_storage, wide), p, cp,
          [is](int64_t i, int64_t j, T c) {
            const T r = c * is[i] * is[j];
            return i == j && r == r ? T(1) : r;
          });
  }
}

}  // namespace qor::ss

#endif
