"""Accuracy of mean, variance and covariance on a hard data set (values near
1e9 with a spread near 1), ours (one-pass and fast) and numpy's, against a
long-double two-pass reference. Run as: /usr/bin/python3 bench/stats_accuracy.py build"""
import ctypes as C
import os
import sys

import numpy as np

build = sys.argv[1] if len(sys.argv) > 1 else "build"
core = C.CDLL(os.path.join(build, "libqor_core.so.2"), mode=C.RTLD_GLOBAL)
lib = C.CDLL(os.path.join(build, "libqor_kernel_ssse3.so"))
core.qor_core_threading.restype = C.c_void_p
lib.__guxdSSNewTask.restype = C.c_int64
lib._guxdSSBasic.restype = C.c_int64
lib._guxdSSBasic.argtypes = [C.c_void_p, C.c_uint64, C.c_uint64, C.c_void_p]
P_MEAN, P_RAW2, P_CENTRAL2, P_COV, P_COR = 7, 8, 11, 19, 21
MEAN, RAW2, CENTRAL2, COV, COR = 0x1, 0x2, 0x10, 0x1000, 0x2000
FAST, ONE_PASS = 0x1, 0x2

p, n = 10, 1000000
rng = np.random.default_rng(7)
x = 1e9 + rng.standard_normal((n, p)) @ np.triu(np.full((p, p), 0.3)) + rng.standard_normal((n, p))
x = np.ascontiguousarray(x)

xl = x.astype(np.longdouble)
ref_mean = xl.sum(axis=0) / n
dev = xl - ref_mean
ref_var = (dev * dev).sum(axis=0) / (n - 1)
ref_cov = dev.T @ dev / (n - 1)
ref_sd = np.sqrt(np.diag(ref_cov))
ref_cor = ref_cov / np.outer(ref_sd, ref_sd)


def rel(got, ref):
    return float(np.max(np.abs((np.asarray(got, dtype=np.longdouble) - ref) / ref)))


def ours(method):
    task = C.c_void_p()
    cp, cn, cs = C.c_int(p), C.c_int(n), C.c_int(0x20000)
    mean, raw2, c2, cov, cor = (np.zeros(k) for k in (p, p, p, p * p, p * p))
    ptr = lambda a: a.ctypes.data_as(C.c_void_p)
    assert lib.__guxdSSNewTask(C.byref(task), C.byref(cp), C.byref(cn), C.byref(cs), ptr(x), None, None, 0) == 0
    for pid, arr in ((P_MEAN, mean), (P_RAW2, raw2), (P_CENTRAL2, c2), (P_COV, cov), (P_COR, cor)):
        lib.__guxdSSEditTask(task, C.c_int64(pid), ptr(arr))
    status = lib._guxdSSBasic(task, MEAN | RAW2 | CENTRAL2 | COV | COR, method, core.qor_core_threading())
    lib.__guxSSDeleteTask(C.byref(task))
    assert status == 0, status
    return mean, c2, cov.reshape(p, p), cor.reshape(p, p)


rows = [("ours one-pass",) + ours(ONE_PASS), ("ours fast (sums of powers)",) + ours(FAST),
        ("numpy mean/var/cov/corrcoef", np.mean(x, axis=0), np.var(x, axis=0, ddof=1), np.cov(x, rowvar=False),
         np.corrcoef(x, rowvar=False))]
print("accuracy on %d x %d values near 1e9 (spread ~1); max relative error against long double" % (n, p))
print("%-28s %12s %12s %12s %16s" % ("", "mean", "variance", "covariance", "correlation(abs)"))
for name, m, v, c, r in rows:
    cor_err = float(np.max(np.abs(np.asarray(r, dtype=np.longdouble) - ref_cor)))
    print("%-28s %12.2e %12.2e %12.2e %16.2e" % (name, rel(m, ref_mean), rel(v, ref_var), rel(c, ref_cov), cor_err))
