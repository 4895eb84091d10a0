// Poisson counts with a mean per element, lambda[i], in one pass: n standard
// normals by the Gaussian inverse-function method, then each element by the
// normal method's range of its own mean (from 1 to 32 the exact inversion at
// the normal's probability, guessed by the cubic and settled by the cell
// edges). Below mean 1 the normal is taken back to a uniform, 1/2 + erf(g / sqrt 2) / 2 by sErf LA over the block,
// and inverted through the cumulative chain. The method word is not read.
#include "core/qor_core.h"
#include "random/distributions/poissonv.h"

namespace qor::dist {
namespace {

constexpr int kBlock = 1024;
constexpr float kInvSqrt2 = 0x1.6a09e6p-1f;

inline int slot_of(double lambda, int bits_out) {
  uint64_t bits;
  memcpy(&bits, &lambda, 8);
  return (int)((bits * 0x9e3779b97f4a7c15ull) >> (64 - bits_out));
}

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
    const int slot = slot_of(lambda, 4);
    if (!(key[slot] == lambda)) key[slot] = lambda, value[slot] = normal_factors(lambda);
    return value[slot];
  }
};

// The distribution functions of the means from 1 to 32, in more slots
// (Multinomial's later rounds bring many means, each a few times per block of
// rows), on the heap from the first such mean of a call. A table costs one
// multiply-add per count, so a mean seen once pays little.
struct CdfCache {
  static constexpr int kBits = 7, kSize = 1 << kBits;
  double key[kSize];
  PoissonCdf cdf[kSize];
  const PoissonCdf &get(double lambda) {
    const int slot = slot_of(lambda, kBits);
    if (!(key[slot] == lambda)) {
      double p0 = -lambda;
      apply_slot(qor_ttab_dExp, kSlotHA, 1, &p0);
      key[slot] = lambda, poisson_cdf(lambda, p0, &cdf[slot]);
    }
    return cdf[slot];
  }
};

struct Caches {
  FactorCache factors;
  CdfCache *cdf = nullptr;
  ~Caches() {
    if (cdf) qor_serv_deallocate(cdf);
  }
};

int block(GuxStream *stream, int m, int32_t *r, const double *lambda, Caches &cache) {
  float g[kBlock], e[kBlock];
  double p0[kBlock], w[kBlock];
  int small[kBlock], mid[kBlock];
  int status = _guxsRngGaussian(GUX_METHOD_GAUSSIAN_ICDF, stream, m, g, 0.0f, 1.0f);
  if (status < 0) return status;
  int ns = 0, nm = 0;
  for (int i = 0; i < m; ++i) {
    const double lam = lambda[i];
    if (lam < kNormalChainTop) {
      small[ns] = i, e[ns] = g[i] * kInvSqrt2, p0[ns] = -lam;
      ++ns;
      continue;
    }
    const NormalFactors &f = cache.factors.get(lam);
    r[i] = normal_count(g[i] * f.b + f.a, f);
    if (lam < kNormalExactTop) mid[nm] = i, w[nm] = -fabs((double)g[i]), ++nm;
  }
  if (nm > 0) {
    // From 1 to 32 the exact inversion at u = Phi(g), from the cubic's guess:
    // Phi(-|g|) by dCdfNorm LA (4 ulp) over the block keeps the smaller
    // tail's relative precision.
    if (!cache.cdf) {
      cache.cdf = static_cast<CdfCache *>(qor_serv_allocate(sizeof(CdfCache), 128));
      if (!cache.cdf) return GUX_STATUS_NO_MEMORY;
      for (double &k : cache.cdf->key) k = -1.0;
    }
    apply_slot(qor_ttab_dCdfNorm, kSlotLA, nm, w);
    for (int j = 0; j < nm; ++j) {
      const int i = mid[j];
      const double u = g[i] > 0.0f ? 1.0 - w[j] : w[j];
      r[i] = cdf_count(u, r[i], cache.cdf->get(lambda[i]));
    }
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
  Caches cache;
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
