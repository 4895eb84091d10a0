// What a call of the basic estimator asks for, in the compact internal
// numbering of estimates, and which arrays it needs.
#ifndef QOR_STATS_SS_BASIC_PLAN_H
#define QOR_STATS_SS_BASIC_PLAN_H

#include <qor/qor_stats.h>

#include <cstdint>

namespace qor::ss {

// Internal estimate bits.
enum : uint32_t {
  kMean = 1u << 0, kRaw2 = 1u << 1, kRaw3 = 1u << 2, kRaw4 = 1u << 3,
  kCen2 = 1u << 4, kCen3 = 1u << 5, kCen4 = 1u << 6, kCov = 1u << 7, kCor = 1u << 8,
  kKurt = 1u << 9, kSkew = 1u << 10, kVariation = 1u << 11,
  kSum = 1u << 12, kRawSum2 = 1u << 13, kRawSum3 = 1u << 14, kRawSum4 = 1u << 15,
  kCenSum2 = 1u << 16, kCenSum3 = 1u << 17, kCenSum4 = 1u << 18, kCP = 1u << 19,
  kNever = 1u << 20,
};

enum class Method { Fast, OnePass, UserMean, Convert };

struct BasicPlan {
  Method method;
  uint32_t want;  // estimates asked for
  uint32_t need;  // union of their dependency words
};

// Method and mask checks of the first step: fills `plan` and returns 0, or
// returns the status of the lowest needed array that the task lacks.
int64_t plan_basic(const GuxSSTask *task, uint64_t estimates, uint64_t method, BasicPlan *plan);

// Internal bits of the arrays the task holds.
uint32_t present_arrays(const GuxSSTask *task);

}  // namespace qor::ss

#endif
