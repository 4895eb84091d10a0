"""numpy's Generator (PCG64 and MT19937) as the peer of the integer-valued
distribution generators: variates per second at n = 10^6 for the cases of
bench_dist_discrete. With --table it prints `key rate` lines for
bench_dist_discrete to read; otherwise a readable table in millions per
second. The build directory argument of `make bench` is accepted and ignored.
numpy's geometric counts trials (from 1): the rate is the same law shifted."""
import time

from dist_numpy_common import N, best_rate, generators, report


CASES = {
    "bernoulli": lambda g: g.binomial(1, 0.3, size=N),
    "geometric_0.3": lambda g: g.geometric(0.3, size=N),
    "geometric_0.001": lambda g: g.geometric(0.001, size=N),
    "binomial_10_0.3": lambda g: g.binomial(10, 0.3, size=N),
    "binomial_100_0.7": lambda g: g.binomial(100, 0.7, size=N),
    "binomial_1000_0.5": lambda g: g.binomial(1000, 0.5, size=N),
    "binomial_1e9_0.3": lambda g: g.binomial(1_000_000_000, 0.3, size=N),
    "hyper_100_20_30": lambda g: g.hypergeometric(30, 70, 20, size=N),
    "hyper_1000_400_450": lambda g: g.hypergeometric(450, 550, 400, size=N),
    "hyper_200000_60000_80000": lambda g: g.hypergeometric(80000, 120000, 60000, size=N),
    "negbin_2.5_0.4": lambda g: g.negative_binomial(2.5, 0.4, size=N),
    "negbin_50_0.3": lambda g: g.negative_binomial(50, 0.3, size=N),
    "negbin_0.5_0.005": lambda g: g.negative_binomial(0.5, 0.005, size=N),
    "negbin_3_1e-7": lambda g: g.negative_binomial(3, 1e-7, size=N),
    "negbin_0.5_1e-8": lambda g: g.negative_binomial(0.5, 1e-8, size=N),
}


def figures():
    out = {}
    for bitgen, g in generators():
        for key, fill in CASES.items():
            # CPU time: the machine may be shared
            out[bitgen + "." + key] = best_rate(N, lambda: fill(g), clock=time.thread_time)
    return out


if __name__ == "__main__":
    report(figures(), "numpy Generator, millions of variates per second, n = 10^6")
