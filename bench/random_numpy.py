"""numpy's random.random (PCG64 doubles on [0,1)) at n = 10^4 and 10^6, in
millions per second, as a peer for the d forms of bench_random."""
import sys
import time

import numpy as np


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


if __name__ == "__main__":
    _ = sys.argv[1:]  # build directory, unused
    print("millions of doubles per second")
    for n in (10_000, 1_000_000):
        pcg, mt = rate(n)
        print("numpy Generator.random (PCG64)   n=%-8d %8.1f" % (n, pcg / 1e6))
        print("numpy random.random (MT19937)    n=%-8d %8.1f" % (n, mt / 1e6))
