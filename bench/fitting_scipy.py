"""Natural cubic spline against scipy's CubicSpline: construction on 10^6
breakpoints, value + first derivative at 10^7 random sites and integrals over
10^6 random windows up to 10 cells wide (scipy: the antiderivative, then its
values at both ends). Our library is called through ctypes from the build directory given
as argument."""
import ctypes
import os
import sys
import time

import numpy as np
from scipy.interpolate import CubicSpline

build = sys.argv[1] if len(sys.argv) > 1 else "build"
core = ctypes.CDLL(os.path.join(build, "libqor_core.so.2"), mode=ctypes.RTLD_GLOBAL)
kern = ctypes.CDLL(os.path.join(build, "libqor_kernel_ssse3.so"), mode=ctypes.RTLD_GLOBAL)
P = ctypes.c_void_p
I64 = ctypes.c_int64
core.qor_core_threading.restype = P
core.qor_df_dConstruct1D.argtypes = [P, P]
kern.qor_df_kernel_dNewTask1D.argtypes = [ctypes.POINTER(P), I64, P, I64, I64, P, I64, ctypes.c_int]
kern.qor_df_kernel_dEditPPSpline1D.argtypes = [P, I64, I64, I64, P, I64, P, P, I64]
kern.qor_df_kernel_dDFInterpolate1D.argtypes = [P, I64, I64, I64, P, I64, I64, P, P, P, I64, P] + [P] * 9
kern.qor_df_kernel_dDFIntegrate1D.argtypes = [P, I64, I64, P, I64, P, I64, P, P, P, I64] + [P] * 9
kern.qor_df_kernel_DeleteTask.argtypes = [ctypes.POINTER(P)]


def best(reps, f):
    t = 1e300
    for _ in range(reps):
        t0 = time.perf_counter()
        f()
        t = min(t, time.perf_counter() - t0)
    return t


def ptr(a):
    return a.ctypes.data_as(P)


nx, ns = 1_000_000, 10_000_000
rng = np.random.default_rng(42)
x = np.cumsum(0.5 + rng.random(nx))
y = np.sin(1e-3 * x) + 0.1 * rng.random(nx)
sites = x[0] + (x[-1] - x[0]) * rng.random(ns)
coef = np.empty(4 * (nx - 1))
bc = np.zeros(2)
dorder = np.array([1, 1], dtype=np.int64)
r = np.empty(2 * ns)
nlim = 1_000_000
llim = np.minimum(sites[:nlim], x[-1] - 10.0)
rlim = llim + 10.0 * rng.random(nlim)
ri = np.empty(nlim)

task = P()
kern.qor_df_kernel_dNewTask1D(ctypes.byref(task), nx, ptr(x), 1, 1, ptr(y), 16, 0)
kern.qor_df_kernel_dEditPPSpline1D(task, 4, 2, 48, ptr(bc), 0, None, ptr(coef), 16)
threading = core.qor_core_threading()
print("natural cubic spline vs scipy CubicSpline (%d breakpoints, %d sites, value + d1)" % (nx, ns))
for threads in (1, 2):
    core.qor_core_set_num_threads(threads)
    tq = best(5, lambda: core.qor_df_dConstruct1D(task, None))
    ts = best(3, lambda: CubicSpline(x, y, bc_type="natural"))
    print("  construct   threads %d: qor %7.2f ns/pt   scipy %7.2f ns/pt   scipy/qor %.2f"
          % (threads, 1e9 * tq / nx, 1e9 * ts / nx, ts / tq))
    cs = CubicSpline(x, y, bc_type="natural")
    ti = best(3, lambda: kern.qor_df_kernel_dDFInterpolate1D(
        task, 1, 1, ns, ptr(sites), 0, 2, ptr(dorder), None, ptr(r), 16, None,
        None, None, None, None, None, None, None, None, threading))
    tsi = best(2, lambda: (cs(sites), cs(sites, 1)))
    v = cs(sites[:100000])
    err = np.max(np.abs(v - r[0:200000:2]))
    print("  interpolate threads %d: qor %7.2f ns/site scipy %7.2f ns/site scipy/qor %.2f (max |diff| %.1e)"
          % (threads, 1e9 * ti / ns, 1e9 * tsi / ns, tsi / ti, err))
    tint = best(3, lambda: kern.qor_df_kernel_dDFIntegrate1D(
        task, 1, nlim, ptr(llim), 0, ptr(rlim), 0, None, None, ptr(ri), 16,
        None, None, None, None, None, None, None, None, threading))

    def scipy_integrals():
        anti = cs.antiderivative()
        return anti(rlim) - anti(llim)
    tsint = best(3, scipy_integrals)
    rel = np.max(np.abs(scipy_integrals() - ri) / (1 + np.abs(ri)))
    print("  integrate   threads %d: qor %7.2f ns/lim  scipy %7.2f ns/lim  scipy/qor %.2f (max rel diff %.1e)"
          % (threads, 1e9 * tint / nlim, 1e9 * tsint / nlim, tsint / tint, rel))
kern.qor_df_kernel_DeleteTask(ctypes.byref(task))
