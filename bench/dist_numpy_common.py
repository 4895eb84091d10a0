"""What the numpy companion scripts of the distribution benchmarks share: the
best-of-rounds rate of a fill, the two generators, and the output of
`key rate` lines (with --table) or a readable table."""
import sys
import time

import numpy as np

N = 1_000_000
BITGENS = ("PCG64", "MT19937")


def best_rate(count, fill, rounds=3, clock=time.perf_counter):
    """Variates per second of fill(), which makes `count` variates."""
    best = 0.0
    for _ in range(rounds):
        t0 = clock()
        fill()
        best = max(best, count / (clock() - t0))
    return best


def generators(seed=12345):
    """(name, Generator) for each bit generator compared."""
    for bitgen in BITGENS:
        yield bitgen, np.random.Generator(getattr(np.random, bitgen)(seed))


def report(f, title):
    """`key rate` lines with --table (then exit), else a table in millions."""
    if "--table" in sys.argv[1:]:
        for k, v in f.items():
            print("%s %.6g" % (k, v))
        sys.exit(0)
    print(title)
    for k, v in f.items():
        print("  %-28s %8.1f" % (k, v / 1e6))
