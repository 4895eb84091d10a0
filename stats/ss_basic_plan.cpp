// First step of the basic estimator: method word, requested estimates, the
// dependency table of the method, and the lowest missing array's status.
#include "stats/ss_basic_plan.h"

namespace qor::ss {
namespace {

constexpr uint64_t kCallerBit[20] = {
    GUX_SS_MEAN, GUX_SS_RAW2, GUX_SS_RAW3, GUX_SS_RAW4, GUX_SS_CENTRAL2, GUX_SS_CENTRAL3,
    GUX_SS_CENTRAL4, GUX_SS_COV, GUX_SS_COR, GUX_SS_KURTOSIS, GUX_SS_SKEWNESS,
    GUX_SS_VARIATION, GUX_SS_SUM, GUX_SS_RAW_SUM2, GUX_SS_RAW_SUM3, GUX_SS_RAW_SUM4,
    GUX_SS_CENTRAL_SUM2, GUX_SS_CENTRAL_SUM3, GUX_SS_CENTRAL_SUM4, GUX_SS_CROSS_PRODUCT};

// Status for an absent array, by internal bit; bit 20 is never available.
constexpr int kMissingStatus[21] = {-4006, -4007, -4008, -4009, -4010, -4011, -4012,
                                    -4018, -4019, -4013, -4014, -4017, -4074, -4075,
                                    -4076, -4077, -4078, -4079, -4080, -4081, -4029};

// A word is the estimate's own bit with the arrays it reads or works in.
constexpr uint32_t kFastDeps[20] = {0x1, 0x2, 0x4, 0x8, 0x13, 0x27, 0x4f,
                                    0x81, 0x101, 0x25f, 0x437, 0x813, 0x1000, 0x2000,
                                    0x4000, 0x8000, 0x10003, 0x20007, 0x4000f, 0x80001};
constexpr uint32_t kOnePassDeps[20] = {0x1, 0x2, 0x4, 0x8, 0x13, 0x27, 0x4f,
                                       0x81, 0x101, 0x25f, 0x437, 0x813, 0x1000, 0x2000,
                                       0x4000, 0x8000, 0x10001, 0x20001, 0x40001, 0x80001};
constexpr uint32_t kConvertDeps[20] = {0x1001, 0x2002, 0x4004, 0x8008, 0x10010, 0x20020,
                                       0x40040, 0x80080, 0x80100, 0x251, 0x431, 0x811,
                                       kNever, kNever, kNever, kNever, kNever, kNever,
                                       kNever, kNever};

}  // namespace

uint32_t present_arrays(const GuxSSTask *t) {
  const void *arrays[20] = {t->mean, t->raw[0], t->raw[1], t->raw[2], t->central[0],
                            t->central[1], t->central[2], t->cov, t->cor, t->kurtosis,
                            t->skewness, t->variation, t->sum, t->raw_sum[0], t->raw_sum[1],
                            t->raw_sum[2], t->central_sum[0], t->central_sum[1],
                            t->central_sum[2], t->cp};
  uint32_t have = 0;
  for (int b = 0; b < 20; ++b)
    if (arrays[b]) have |= 1u << b;
  return have;
}

int64_t plan_basic(const GuxSSTask *task, uint64_t estimates, uint64_t method, BasicPlan *plan) {
  const uint64_t computing = method & (GUX_SS_M_FAST | GUX_SS_M_ONE_PASS | GUX_SS_M_USER_MEAN);
  const uint64_t converting = method & (GUX_SS_M_FROM_CROSS_PRODUCT | GUX_SS_M_FROM_SUMS);
  if (computing & (computing - 1)) return GUX_SS_BAD_METHOD;  // more than one
  if (!computing && !converting) return GUX_SS_BAD_METHOD;

  Method m = Method::Convert;
  const uint32_t *deps = kConvertDeps;
  if (computing == GUX_SS_M_FAST) m = Method::Fast, deps = kFastDeps;
  if (computing == GUX_SS_M_ONE_PASS) m = Method::OnePass, deps = kOnePassDeps;
  if (computing == GUX_SS_M_USER_MEAN) m = Method::UserMean, deps = kOnePassDeps;

  uint32_t want = 0, need = 0;
  for (int b = 0; b < 20; ++b)
    if (estimates & kCallerBit[b]) want |= 1u << b, need |= deps[b];
  const uint32_t missing = need & ~present_arrays(task);
  for (int b = 0; b <= 20; ++b)
    if (missing & (1u << b)) return kMissingStatus[b];
  *plan = BasicPlan{m, want, need};
  return GUX_SS_OK;
}

}  // namespace qor::ss
