// The thin compute dispatcher of the core stand-in for summary statistics.
// Estimators are named imports of the kernel library, resolved at first use.
#include "qor_core_stats.h"

#include <dlfcn.h>

#include <atomic>

#include "qor_core_threading.h"

namespace {

using Estimator = int64_t (*)(GuxSSTask *, uint64_t, uint64_t, const GuxThreadingTable *);

struct Family {
  const char *name;  // after the precision letter: _gux<t>SS<name>
  uint64_t bits;     // estimate mask bits owned
  uint64_t method_bits;  // or method bits that call it whatever the mask
  std::atomic<Estimator> resolved[2];  // single, double
};

Family families[] = {
    {"Basic", 0x3ffull | 0x3000ull | 0x1fe000000ull, 0, {}},
    {"Minmax", 0xc00ull, 0, {}},
    {"Quantiles", 0x30000ull, 0, {}},
    {"PooledCovariance", 0xc000ull | 0x1800000000ull, 0, {}},
    {"PartialCovariance", 0x300000ull, 0, {}},
    {"MAD", 0x600000000ull, 0, {}},
    // Sorting, streaming quantiles, the correlation repair, robust
    // covariance, missing values and outlier detection are asked for by
    // their method bits.
    {"Sort", 0, 0x100000ull, {}},
    {"StreamQuantiles", 0, 0x40ull | 0x80ull, {}},
    {"CorParametrization", 0, 0x4ull, {}},
    {"RobustCovariance", 0, 0x8ull, {}},
    {"MissingValues", 0, 0x10ull, {}},
    {"OutliersDetection", 0, 0x20ull, {}},
};

Estimator resolve(Family &f, int precision) {
  Estimator e = f.resolved[precision].load(std::memory_order_acquire);
  if (e) return e;
  char name[64] = "_guxdSS";
  name[4] = precision ? 'd' : 's';
  int len = 7;
  for (const char *c = f.name; *c && len < 63; ++c) name[len++] = *c;
  name[len] = 0;
  e = reinterpret_cast<Estimator>(dlsym(RTLD_DEFAULT, name));
  f.resolved[precision].store(e, std::memory_order_release);
  return e;
}

}  // namespace

extern "C" int64_t qor_ss_compute(GuxSSTask *task, uint64_t estimates, uint64_t method) {
  if (!task) return GUX_SS_NULL_TASK;
  const int precision = task->precision ? 1 : 0;
  for (Family &f : families) {
    if (!(estimates & f.bits) && !(method & f.method_bits)) continue;
    Estimator e = resolve(f, precision);
    if (!e) return GUX_SS_BAD_METHOD;
    const int64_t status = e(task, estimates, method, qor_core_threading());
    if (status < 0) return status;
  }
  return GUX_SS_OK;
}
