"""Peers of bench_stats_cov, in numpy (and scipy's eigh with driver 'ev',
LAPACK's syev, for the correlation repair), on the same problems:
  pooled   pooled mean and covariance plus the four group means and
           covariances of a 10^6 x 10 matrix (observations in rows)
  partial  partial covariance of 150 dimensions given 150 others (p = 300)
  repair   eigenvalues below 1e-14 raised and the matrix rebuilt, p = 300
  mad      mean and median absolute deviation of 4 x 10^6 values (4 rows)
Best of 5 runs, in seconds. With --numbers it prints only the figures, in
that order (repair twice: scipy syev, numpy syevd), for bench_stats_cov to read.
Run as: /usr/bin/python3 bench/stats_cov_numpy.py [build]"""
import sys
import time

import numpy as np

try:
    import scipy.linalg as sla
except ImportError:  # the repair's scipy figure is then left out
    sla = None


def best(f, runs=5):
    b = 1e30
    for _ in range(runs):
        t = time.perf_counter()
        f()
        b = min(b, time.perf_counter() - t)
    return b


rng = np.random.default_rng(1)

# pooled and group covariance
n, p, G = 1000000, 10, 4
x = rng.standard_normal((n, p)) + 3.0
groups = rng.integers(0, G, n).astype(np.int32)


def pooled():
    scatter = np.zeros((p, p))
    means, covs = [], []
    for g in range(G):
        xg = x[groups == g]
        means.append(xg.mean(axis=0))
        c = np.cov(xg, rowvar=False)
        covs.append(c)
        scatter += c * (len(xg) - 1)
    return x.mean(axis=0), scatter / (n - G), means, covs


# partial covariance, p = 300
q = 300
b = rng.standard_normal((q, q))
s = b @ b.T / q + 0.5 * np.eye(q)
kept = np.arange(0, q, 2)
cond = np.arange(1, q, 2)
s_kk, s_kc, s_cc = s[np.ix_(kept, kept)], s[np.ix_(kept, cond)], s[np.ix_(cond, cond)]


def partial():
    return s_kk - s_kc @ np.linalg.solve(s_cc, s_kc.T)


# repair of a matrix with negative eigenvalues
d = np.sqrt(np.diag(s))
cor = s / np.outer(d, d)
idx = rng.integers(0, q, (q, 2))
for i, j in idx:
    if i != j:
        cor[i, j] = cor[j, i] = 0.95 if (i + j) % 2 else -0.95


def repair_scipy():
    w, v = sla.eigh(cor, driver="ev")
    w = np.maximum(w, 1e-14)
    return (v * w) @ v.T


def repair_numpy():
    w, v = np.linalg.eigh(cor)
    w = np.maximum(w, 1e-14)
    return (v * w) @ v.T


# absolute deviations, 4 rows of 10^6
dev = rng.standard_normal((4, 1000000)) * 2.0 + 1.0


def mad():
    mean_abs = np.mean(np.abs(dev - dev.mean(axis=1, keepdims=True)), axis=1)
    med = np.median(dev, axis=1, keepdims=True)
    return mean_abs, np.median(np.abs(dev - med), axis=1)


figures = [best(pooled), best(partial, 50), best(repair_scipy, 10) if sla else -1.0, best(repair_numpy, 10), best(mad)]
if "--numbers" in sys.argv:
    print(" ".join("%.6g" % f for f in figures))
else:
    names = ["pooled + group covariance, 10^6 x 10, 4 groups", "partial covariance, p = 300 (150 | 150)",
             "repair, scipy eigh(driver='ev')", "repair, numpy eigh (syevd)", "mean + median abs deviation, 4 x 10^6"]
    print("numpy %s, scipy %s: best of 5" % (np.__version__, sla and __import__("scipy").__version__ or "absent"))
    for name, f in zip(names, figures):
        print("%-50s %10.2f ms" % (name, f * 1e3) if f > 0 else "%-50s %10s" % (name, "-"))
    # The repair interleaved with ours (through ctypes), run by run, so that
    # a busy machine weighs on both sides alike.
    import ctypes as C
    import os
    build = next((a for a in sys.argv[1:] if not a.startswith("--")), "build")
    lib_path = os.path.join(build, "libqor_kernel_ssse3.so")
    if sla and os.path.exists(lib_path):
        core = C.CDLL(os.path.join(build, "libqor_core.so.2"), mode=C.RTLD_GLOBAL)
        lib = C.CDLL(lib_path)
        core.qor_core_threading.restype = C.c_void_p
        lib._guxdSSCorParametrization.restype = C.c_int64
        lib._guxdSSCorParametrization.argtypes = [C.c_void_p, C.c_uint64, C.c_uint64, C.c_void_p]
        a = np.ascontiguousarray(cor)
        out = np.zeros_like(a)
        task, cp, full = C.c_void_p(), C.c_int(q), C.c_int(0)
        lib.__guxdSSNewTask(C.byref(task), C.byref(cp), None, None, None, None, None, 0)
        lib.__guxdSSEditMtxParametrz(task, a.ctypes.data_as(C.c_void_p), C.byref(full),
                                     out.ctypes.data_as(C.c_void_p), C.byref(full))
        ours_best, peer_best = 1e30, 1e30
        for _ in range(10):
            t = time.perf_counter()
            assert lib._guxdSSCorParametrization(task, 0, 4, core.qor_core_threading()) == 0
            ours_best = min(ours_best, time.perf_counter() - t)
            t = time.perf_counter()
            repair_scipy()
            peer_best = min(peer_best, time.perf_counter() - t)
        lib.__guxSSDeleteTask(C.byref(task))
        print("repair interleaved, best of 10: ours %.2f ms, scipy eigh(driver='ev') %.2f ms, ratio %.3f; "
              "max |ours - scipy| %.1e" % (ours_best * 1e3, peer_best * 1e3, ours_best / peer_best,
                                           np.max(np.abs(out - repair_scipy()))))
