"""numpy's random.random (PCG64 doubles on [0,1)) at n = 10^4 and 10^6, in
millions per second, as a peer for the d forms of bench_random; and
Generator(MT19937).random(out=...) for the Mersenne Twister family, and
Generator(Philox).random(out=...) for the counter-based generators. With
--mt19937 it prints only that figure, as numbers per second at the two sizes,
and with --philox only the Philox figure at n = 10^6, for bench_random to read.
With --sobol D it prints scipy's qmc.Sobol(d=D, scramble=False).random in
coordinates per second at 10^6 coordinates, the peer of the quasi-random d forms."""
import sys
import time

import numpy as np


def best_rate(n, fill):
    reps = max(1, 5_000_000 // n)
    best = 0.0
    for _ in range(3):
        t0 = time.perf_counter()
        for _ in range(reps):
            fill()
        best = max(best, n * reps / (time.perf_counter() - t0))
    return best


def mt19937_rate(n):
    g = np.random.Generator(np.random.MT19937(12345))
    out = np.empty(n)
    return best_rate(n, lambda: g.random(out=out))


def philox_rate(n):
    g = np.random.Generator(np.random.Philox(12345))
    out = np.empty(n)
    return best_rate(n, lambda: g.random(out=out))


def rate(n):
    g = np.random.default_rng(12345)
    out = np.empty(n)
    reps = max(1, 5_000_000 // n)
    best = 0.0
    for _ in range(3):
        t0 = time.perf_counter()
        for _ in range(reps):
            g.random(out=out)
        best = max(best, n * reps / (time.perf_counter() - t0))
    legacy = np.random.RandomState(12345)
    t0 = time.perf_counter()
    for _ in range(reps):
        legacy.random_sample(n)
    return best, n * reps / (time.perf_counter() - t0)


def sobol_rate(dim, n=1_000_000):
    import warnings
    from scipy.stats import qmc
    warnings.simplefilter("ignore")  # point counts that are not powers of two
    points = n // dim
    engine = qmc.Sobol(d=dim, scramble=False)
    return best_rate(points * dim, lambda: engine.random(points)) if points else 0.0


if __name__ == "__main__":
    if "--sobol" in sys.argv[1:]:
        print("%.6g" % sobol_rate(int(sys.argv[sys.argv.index("--sobol") + 1])))
        sys.exit(0)
    if "--mt19937" in sys.argv[1:]:
        print("%.6g %.6g" % (mt19937_rate(10_000), mt19937_rate(1_000_000)))
        sys.exit(0)
    if "--philox" in sys.argv[1:]:
        print("%.6g" % philox_rate(1_000_000))
        sys.exit(0)
    print("millions of doubles per second")
    for n in (10_000, 1_000_000):
        pcg, mt = rate(n)
        print("numpy Generator.random (PCG64)   n=%-8d %8.1f" % (n, pcg / 1e6))
        print("numpy random.random (MT19937)    n=%-8d %8.1f" % (n, mt / 1e6))
        print("numpy Generator(MT19937).random  n=%-8d %8.1f" % (n, mt19937_rate(n) / 1e6))
        print("numpy Generator(Philox).random   n=%-8d %8.1f" % (n, philox_rate(n) / 1e6))
    print("millions of coordinates per second, n = 10^6 coordinates")
    for dim in (1, 40):
        print("scipy qmc.Sobol(scramble=False) d=%-3d %8.1f" % (dim, sobol_rate(dim) / 1e6))
