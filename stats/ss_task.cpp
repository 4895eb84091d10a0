// The summary statistics task record: constructor, destructor, the editor by
// parameter id and the grouped editors. Nothing is validated here beyond what
// the editors themselves refuse; estimators re-read and check the record.
#include <qor/qor_stats.h>

#include <cstddef>
#include <cstring>

#include "qor_core.h"
#include "stats/ss_internal.h"

namespace {

static_assert(sizeof(GuxSSTask) == 744, "task record layout");

enum Writer : char { kInt = 'i', kReal = 'r' };

struct ParamSlot {
  unsigned short offset;
  Writer writer;
  int null_status;
};

#define SLOT(field, w, st) {(unsigned short)offsetof(GuxSSTask, field), w, st}

// Indexed by parameter id; entry 0 is unused.
constexpr ParamSlot kParams[80] = {
    {0, kInt, 0},
    SLOT(p, kInt, -4001), SLOT(n, kInt, -4002), SLOT(x, kReal, -4032),
    SLOT(x_storage, kInt, -4044), SLOT(indices, kInt, -4004), SLOT(weights, kReal, -4005),
    SLOT(mean, kReal, -4006), SLOT(raw[0], kReal, -4007), SLOT(raw[1], kReal, -4008),
    SLOT(raw[2], kReal, -4009), SLOT(central[0], kReal, -4010), SLOT(central[1], kReal, -4011),
    SLOT(central[2], kReal, -4012), SLOT(kurtosis, kReal, -4013), SLOT(skewness, kReal, -4014),
    SLOT(min, kReal, -4015), SLOT(max, kReal, -4016), SLOT(variation, kReal, -4017),
    SLOT(cov, kReal, -4018), SLOT(cov_storage, kInt, -4044), SLOT(cor, kReal, -4019),
    SLOT(cor_storage, kInt, -4044), SLOT(accum_weights, kReal, -4020),
    SLOT(quant_order_count, kInt, -4022), SLOT(quant_orders, kReal, -4021),
    SLOT(quantiles, kReal, -4023), SLOT(order_stats, kReal, -4024),
    SLOT(group_indices, kInt, -4038), SLOT(pooled_storage, kInt, -4044),
    SLOT(pooled_mean, kReal, -4035), SLOT(pooled_cov, kReal, -4034),
    SLOT(group_cov_indices, kInt, -4038), SLOT(group_means, kReal, -4037),
    SLOT(group_storage, kInt, -4044), SLOT(group_covs, kReal, -4036),
    SLOT(robust_storage, kInt, -4044), SLOT(robust_param_count, kInt, -4043),
    SLOT(robust_params, kReal, -4042), SLOT(robust_mean, kReal, -4028),
    SLOT(robust_cov, kReal, -4027), SLOT(outlier_param_count, kInt, -4040),
    SLOT(outlier_params, kReal, -4039), SLOT(outlier_weights, kReal, -4041),
    SLOT(order_stats_storage, kInt, -4044), SLOT(partial_indices, kInt, -4045),
    SLOT(partial_cov, kReal, -4046), SLOT(partial_cov_storage, kInt, -4044),
    SLOT(partial_cor, kReal, -4047), SLOT(partial_cor_storage, kInt, -4044),
    SLOT(missing_param_count, kInt, -4049), SLOT(missing_params, kReal, -4048),
    SLOT(init_estimate_count, kInt, -4052), SLOT(init_estimates, kReal, -4053),
    SLOT(simulation_count, kInt, -4055), SLOT(simulated_values, kReal, -4054),
    SLOT(prior_count, kInt, -4056), SLOT(prior, kReal, -4057),
    SLOT(estimate_record_count, kInt, -4061), SLOT(estimate_record, kReal, -4062),
    SLOT(param_cor, kReal, -4071), SLOT(param_cor_storage, kInt, -4044),
    SLOT(stream_param_count, kInt, -4066), SLOT(stream_params, kReal, -4065),
    SLOT(stream_order_count, kInt, -4069), SLOT(stream_orders, kReal, -4068),
    SLOT(stream_quantiles, kReal, -4070),
    // The sum shares the mean's status on purpose.
    SLOT(sum, kReal, -4006), SLOT(raw_sum[0], kReal, -4075), SLOT(raw_sum[1], kReal, -4076),
    SLOT(raw_sum[2], kReal, -4077), SLOT(central_sum[0], kReal, -4078),
    SLOT(central_sum[1], kReal, -4079), SLOT(central_sum[2], kReal, -4080),
    SLOT(cp, kReal, -4081), SLOT(cp_storage, kInt, -4044), SLOT(mean_abs_dev, kReal, -4082),
    SLOT(median_abs_dev, kReal, -4083), SLOT(sorted, kReal, -4084),
    SLOT(sorted_storage, kInt, -4044),
};
#undef SLOT

static_assert(kParams[79].offset == offsetof(GuxSSTask, sorted_storage), "id table length");

void store(GuxSSTask *task, int64_t id, const void *value) {
  std::memcpy(reinterpret_cast<char *>(task) + kParams[id].offset, &value, sizeof value);
}

int64_t edit(GuxSSTask *task, int64_t id, const void *value, Writer writer, int64_t lo,
             int64_t hi) {
  if (!task) return GUX_SS_NULL_TASK;
  if (id < lo || id > hi || kParams[id].writer != writer) return GUX_SS_BAD_PARAMETER_ID;
  if (!value) return kParams[id].null_status;
  store(task, id, value);
  return GUX_SS_OK;
}

template <class T>
int64_t new_task(GuxSSTask **task_out, const void *p, const void *n, const void *x_storage,
                 const T *x, const T *weights, const void *indices, int wide) {
  if (!p || qor::ss::read_int(p, wide) < 1) return GUX_SS_BAD_DIMENSION;
  if (x) {
    if (!x_storage) return GUX_SS_NO_STORAGE;
    const int64_t code = qor::ss::read_int(x_storage, wide);
    // An unknown code is refused before n is looked at.
    if (code != GUX_SS_VARIABLES_IN_ROWS && code != GUX_SS_OBSERVATIONS_IN_ROWS)
      return GUX_SS_BAD_STORAGE;
    if (!n) return GUX_SS_BAD_OBSERVATIONS;
    if (qor::ss::read_int(n, wide) < 1) return GUX_SS_BAD_OBSERVATIONS;
  }
  auto *task = static_cast<GuxSSTask *>(qor_serv_allocate(sizeof(GuxSSTask), 128));
  if (!task) return GUX_SS_NO_MEMORY;
  std::memset(task, 0, sizeof *task);
  task->index_width = wide ? 1u : 0u;
  task->kind = 2;
  task->precision = sizeof(T) == sizeof(double) ? 1u : 0u;
  task->p = p;
  task->n = n;
  task->x = x;
  task->x_storage = x_storage;
  task->weights = weights;
  task->indices = indices;
  *task_out = task;
  return GUX_SS_OK;
}

template <class F>
void set_if(F *&field, const void *value) {
  if (value) field = static_cast<F *>(const_cast<void *>(value));
}

}  // namespace

QOR_API int64_t __guxdSSNewTask(GuxSSTask **task, const void *p, const void *n,
                                const void *x_storage, const double *x, const double *weights,
                                const void *indices, int wide) {
  return new_task(task, p, n, x_storage, x, weights, indices, wide);
}

QOR_API int64_t __guxsSSNewTask(GuxSSTask **task, const void *p, const void *n,
                                const void *x_storage, const float *x, const float *weights,
                                const void *indices, int wide) {
  return new_task(task, p, n, x_storage, x, weights, indices, wide);
}

QOR_API int64_t __guxSSDeleteTask(GuxSSTask **task_ptr) {
  if (!task_ptr) return GUX_SS_NULL_TASK;
  GuxSSTask *task = *task_ptr;
  if (task) {
    if (task->kept_mean) qor_serv_deallocate(task->kept_mean);
    task->kept_mean = nullptr;
    if (task->cleanup_count > 0 && task->cleanup) task->cleanup(task);
    qor_serv_deallocate(task);
  }
  *task_ptr = nullptr;
  return GUX_SS_OK;
}

QOR_API int64_t __guxdSSEditTask(GuxSSTask *task, int64_t id, const void *value) {
  return edit(task, id, value, kReal, 3, 78);
}

QOR_API int64_t __guxsSSEditTask(GuxSSTask *task, int64_t id, const void *value)
    __attribute__((alias("__guxdSSEditTask")));

QOR_API int64_t __guxiSSEditTask(GuxSSTask *task, int64_t id, const void *value) {
  return edit(task, id, value, kInt, 1, 79);
}

// ---- grouped editors: one function, exported under the d and s names ----
#define QOR_SS_TWIN(name) \
  QOR_API decltype(__guxd##name) __guxs##name __attribute__((alias("__guxd" #name)));

QOR_API int64_t __guxdSSEditMoments(GuxSSTask *t, const void *mean, const void *raw2,
                                    const void *raw3, const void *raw4, const void *c2,
                                    const void *c3, const void *c4) {
  if (!t) return GUX_SS_NULL_TASK;
  set_if(t->mean, mean);
  set_if(t->raw[0], raw2);
  set_if(t->raw[1], raw3);
  set_if(t->raw[2], raw4);
  set_if(t->central[0], c2);
  set_if(t->central[1], c3);
  set_if(t->central[2], c4);
  return GUX_SS_OK;
}
QOR_SS_TWIN(SSEditMoments)

QOR_API int64_t __guxdSSEditSums(GuxSSTask *t, const void *sum, const void *rs2,
                                 const void *rs3, const void *rs4, const void *cs2,
                                 const void *cs3, const void *cs4) {
  if (!t) return GUX_SS_NULL_TASK;
  set_if(t->sum, sum);
  set_if(t->raw_sum[0], rs2);
  set_if(t->raw_sum[1], rs3);
  set_if(t->raw_sum[2], rs4);
  set_if(t->central_sum[0], cs2);
  set_if(t->central_sum[1], cs3);
  set_if(t->central_sum[2], cs4);
  return GUX_SS_OK;
}
QOR_SS_TWIN(SSEditSums)

QOR_API int64_t __guxdSSEditCovCor(GuxSSTask *t, const void *mean, const void *cov,
                                   const void *cov_storage, const void *cor,
                                   const void *cor_storage) {
  if (!t) return GUX_SS_NULL_TASK;
  set_if(t->mean, mean);
  set_if(t->cov, cov);
  set_if(t->cov_storage, cov_storage);
  set_if(t->cor, cor);
  set_if(t->cor_storage, cor_storage);
  return GUX_SS_OK;
}
QOR_SS_TWIN(SSEditCovCor)

QOR_API int64_t __guxdSSEditCP(GuxSSTask *t, const void *mean, const void *sum, const void *cp,
                               const void *cp_storage) {
  if (!t) return GUX_SS_NULL_TASK;
  set_if(t->mean, mean);
  set_if(t->sum, sum);
  set_if(t->cp, cp);
  set_if(t->cp_storage, cp_storage);
  return GUX_SS_OK;
}
QOR_SS_TWIN(SSEditCP)

QOR_API int64_t __guxdSSEditPartialCovCor(GuxSSTask *t, const void *pidx, const void *cov,
                                          const void *cov_storage, const void *cor,
                                          const void *cor_storage, const void *pcov,
                                          const void *pcov_storage, const void *pcor,
                                          const void *pcor_storage) {
  if (!t) return GUX_SS_NULL_TASK;
  set_if(t->partial_indices, pidx);
  set_if(t->cov, cov);
  set_if(t->cov_storage, cov_storage);
  set_if(t->cor, cor);
  set_if(t->cor_storage, cor_storage);
  set_if(t->partial_cov, pcov);
  set_if(t->partial_cov_storage, pcov_storage);
  set_if(t->partial_cor, pcor);
  set_if(t->partial_cor_storage, pcor_storage);
  return GUX_SS_OK;
}
QOR_SS_TWIN(SSEditPartialCovCor)

QOR_API int64_t __guxdSSEditQuantiles(GuxSSTask *t, const void *count, const void *orders,
                                      const void *quantiles, const void *order_stats,
                                      const void *order_stats_storage) {
  if (!t) return GUX_SS_NULL_TASK;
  set_if(t->quant_order_count, count);
  set_if(t->quant_orders, orders);
  set_if(t->quantiles, quantiles);
  set_if(t->order_stats, order_stats);
  set_if(t->order_stats_storage, order_stats_storage);
  return GUX_SS_OK;
}
QOR_SS_TWIN(SSEditQuantiles)

QOR_API int64_t __guxdSSEditStreamQuantiles(GuxSSTask *t, const void *count, const void *orders,
                                            const void *quantiles, const void *param_count,
                                            const void *params) {
  if (!t) return GUX_SS_NULL_TASK;
  set_if(t->stream_order_count, count);
  set_if(t->stream_orders, orders);
  set_if(t->stream_quantiles, quantiles);
  set_if(t->stream_param_count, param_count);
  set_if(t->stream_params, params);
  return GUX_SS_OK;
}
QOR_SS_TWIN(SSEditStreamQuantiles)

QOR_API int64_t __guxdSSEditPooledCovariance(GuxSSTask *t, const void *group_indices,
                                             const void *pooled_mean, const void *pooled_cov,
                                             const void *group_cov_indices,
                                             const void *group_means, const void *group_covs) {
  if (!t) return GUX_SS_NULL_TASK;
  set_if(t->group_indices, group_indices);
  set_if(t->pooled_mean, pooled_mean);
  set_if(t->pooled_cov, pooled_cov);
  set_if(t->group_cov_indices, group_cov_indices);
  set_if(t->group_means, group_means);
  set_if(t->group_covs, group_covs);
  return GUX_SS_OK;
}
QOR_SS_TWIN(SSEditPooledCovariance)

QOR_API int64_t __guxdSSEditRCov(GuxSSTask *t, const void *storage, const void *count,
                                 const void *params, const void *robust_mean,
                                 const void *robust_cov) {
  if (!t) return GUX_SS_NULL_TASK;
  set_if(t->robust_storage, storage);
  set_if(t->robust_param_count, count);
  set_if(t->robust_params, params);
  set_if(t->robust_mean, robust_mean);
  set_if(t->robust_cov, robust_cov);
  return GUX_SS_OK;
}
QOR_SS_TWIN(SSEditRCov)

QOR_API int64_t __guxdSSEditOutDetect(GuxSSTask *t, const void *count, const void *params,
                                      const void *weights) {
  if (!t) return GUX_SS_NULL_TASK;
  set_if(t->outlier_param_count, count);
  set_if(t->outlier_params, params);
  set_if(t->outlier_weights, weights);
  return GUX_SS_OK;
}
QOR_SS_TWIN(SSEditOutDetect)

QOR_API int64_t __guxdSSEditMissingVals(GuxSSTask *t, const void *count, const void *params,
                                        const void *init_count, const void *init_estimates,
                                        const void *record_count, const void *record,
                                        const void *simulation_count,
                                        const void *simulated_values, const void *prior_count,
                                        const void *prior) {
  if (!t) return GUX_SS_NULL_TASK;
  set_if(t->missing_param_count, count);
  set_if(t->missing_params, params);
  set_if(t->init_estimate_count, init_count);
  set_if(t->init_estimates, init_estimates);
  set_if(t->estimate_record_count, record_count);
  set_if(t->estimate_record, record);
  set_if(t->simulation_count, simulation_count);
  set_if(t->simulated_values, simulated_values);
  set_if(t->prior_count, prior_count);
  set_if(t->prior, prior);
  return GUX_SS_OK;
}
QOR_SS_TWIN(SSEditMissingVals)

QOR_API int64_t __guxdSSEditMtxParametrz(GuxSSTask *t, const void *cor, const void *cor_storage,
                                         const void *param_cor, const void *param_cor_storage) {
  if (!t) return GUX_SS_NULL_TASK;
  set_if(t->cor, cor);
  set_if(t->cor_storage, cor_storage);
  set_if(t->param_cor, param_cor);
  set_if(t->param_cor_storage, param_cor_storage);
  return GUX_SS_OK;
}
QOR_SS_TWIN(SSEditMtxParametrz)
