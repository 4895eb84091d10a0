// Poisson counts with a mean per element, lambda[i], in one pass: n standard
// normals by the Gaussian inverse-function method, then each element by the
// normal method's range of its own mean. Below mean 1 the normal is taken
// back to a uniform, 1/2 + erf(g / sqrt 2) / 2 by sErf LA over the block,
// and inverted through the cumulative chain. The method word is not read.
#include "random/distributions/poissonv.h"

namespace qor::dist {
namespace {

constexpr int kBlock = 1024;
constexpr float kInvSqrt2 = 0x1.6a09e6p-1f;

// The factors of the last means seen, by a hash of their bits: callers such
// as Multinomial repeat a few means many times.
struct FactorCache {
  static constexpr int kSize = 16;
  double key[kSize];
  NormalFactors value[kSize];
  FactorCache() {
    for (double &k : key) k = -1.0;
  }
  const NormalFactors &get(double lambda) {
    uint64_t bits;
    memcpy(&bits, &lambda, 8);
    const int slot = (int)((bits * 0x9e3779b97f4a7c15ull) >> 60);
    if (!(key[slot] == lambda)) key[slot] = lambda, value[slot] = normal_factors(lambda);
    return value[slot];
  }
};

int block(GuxStream *stream, int m, int32_t *r, const double *lambda, FactorCache &cache) {
  float g[kBlock], e[kBlock];
  double p0[kBlock];
  int small[kBlock];
  const int status = _guxsRngGaussian(GUX_METHOD_GAUSSIAN_ICDF, stream, m, g, 0.0f, 1.0f);
  if (status < 0) return status;
  int ns = 0;
  for (int i = 0; i < m; ++i) {
    const double lam = lambda[i];
    if (lam < kNormalChainTop) {
      small[ns] = i, e[ns] = g[i] * kInvSqrt2, p0[ns] = -lam;
      ++ns;
      continue;
    }
    const NormalFactors &f = cache.get(lam);
    r[i] = normal_count(g[i] * f.b + f.a, f);
  }
  if (ns == 0) return status;
  apply_slot(qor_ttab_sErf, kSlotLA, ns, e);
  apply_slot(qor_ttab_dExp, kSlotHA, ns, p0);
  for (int j = 0; j < ns; ++j) {
    const float u = 0.5f + 0.5f * e[j];
    const double lam = lambda[small[j]];
    double p = p0[j], s = p;
    int32_t k = 0;
    while (k < kNormalChainLength && !(u < (float)s)) {
      ++k;
      p = p * lam / k;
      s += p;
    }
    r[small[j]] = k;
  }
  return status;
}

}  // namespace

int poissonv(GuxStream *stream, int n, int32_t *r, const double *lambda) {
  int status = GUX_STATUS_OK;
  FactorCache cache;
  for (int done = 0; done < n; done += kBlock) {
    const int m = n - done < kBlock ? n - done : kBlock;
    status = block(stream, m, r + done, lambda + done, cache);
    if (status < 0) return status;
  }
  return status;
}

}  // namespace qor::dist

extern "C" int _guxiRngPoissonV(int, GuxStream *stream, int n, int32_t *r, const double *lambda) {
  return qor::dist::guarded(qor::dist::fix_ln<float>, [&] { return qor::dist::poissonv(stream, n, r, lambda); });
}
