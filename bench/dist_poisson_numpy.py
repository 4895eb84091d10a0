"""numpy's Generator (PCG64 and MT19937) as the peer of the Poisson,
PoissonV and Multinomial generators: variates per second at n = 10^6 for
poisson at the means of bench_dist_poisson, poisson with an array of means,
and multinomial (counts per second). With --table it prints `key rate` lines
for bench_dist_poisson to read; otherwise a readable table in millions per
second. The build directory argument of `make bench` is accepted and ignored."""
import numpy as np

from dist_numpy_common import N, best_rate, generators, report

MEANS = (0.5, 5.0, 26.0, 27.0, 100.0, 1000.0, 1e7)
MULTI = ((10, 4), (100, 4), (10000, 4), (1000, 32))


def figures():
    out = {}
    lam = np.array([0.3, 0.999, 1.0, 2.5, 7.0, 50.0, 100.0, 400.0] * (N // 8))
    for bitgen, g in generators():
        for m in MEANS:
            out["%s.poisson.%g" % (bitgen, m)] = best_rate(N, lambda: g.poisson(m, size=N))
        out[bitgen + ".poissonv"] = best_rate(N, lambda: g.poisson(lam))
        for ntrial, k in MULTI:
            p = np.full(k, 1.0 / k)
            out["%s.multinomial.%d.%d" % (bitgen, ntrial, k)] = best_rate(
                N, lambda: g.multinomial(ntrial, p, size=N // k))
    return out


if __name__ == "__main__":
    report(figures(), "numpy Generator, millions of variates per second at n = 10^6")
