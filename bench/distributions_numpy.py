"""numpy's Generator (PCG64 and MT19937) as the peer of the distribution
generators: variates per second at n = 10^6 for random, integers,
standard_normal, standard_exponential and multivariate_normal (dimension 3),
in double and, where numpy has it, single precision. With --table it prints
`key rate` lines for bench_distributions to read; otherwise a readable table
in millions per second. The build directory argument of `make bench` is
accepted and ignored."""
import numpy as np

from dist_numpy_common import N, best_rate, generators, report


def figures():
    out = {}
    cov = np.array([[1.0, 0.3, 0.1], [0.3, 2.0, 0.2], [0.1, 0.2, 1.5]])
    mean = np.zeros(3)
    for bitgen, g in generators():
        d = np.empty(N)
        f = np.empty(N, dtype=np.float32)
        out[bitgen + ".random.d"] = best_rate(N, lambda: g.random(out=d))
        out[bitgen + ".random.s"] = best_rate(N, lambda: g.random(out=f, dtype=np.float32))
        out[bitgen + ".integers.i"] = best_rate(N, lambda: g.integers(-7, 11, size=N, dtype=np.int32))
        out[bitgen + ".bits32"] = best_rate(N, lambda: g.integers(0, 2**32, size=N, dtype=np.uint32))
        out[bitgen + ".bits64"] = best_rate(N, lambda: g.integers(0, 2**64, size=N, dtype=np.uint64))
        out[bitgen + ".normal.d"] = best_rate(N, lambda: g.standard_normal(out=d))
        out[bitgen + ".normal.s"] = best_rate(N, lambda: g.standard_normal(out=f, dtype=np.float32))
        out[bitgen + ".exponential.d"] = best_rate(N, lambda: g.standard_exponential(out=d))
        out[bitgen + ".exponential.s"] = best_rate(N, lambda: g.standard_exponential(out=f, dtype=np.float32))
        out[bitgen + ".mvnormal.d"] = best_rate(N // 3 * 3, lambda: g.multivariate_normal(mean, cov, size=N // 3))
    return out


if __name__ == "__main__":
    report(figures(), "numpy Generator, millions of variates per second at n = 10^6")
