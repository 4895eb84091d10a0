"""numpy's Generator (PCG64 and MT19937) as the peer of the continuous laws:
variates per second at n = 10^6 for Cauchy, Gumbel, Laplace, Rayleigh,
Weibull, lognormal, gamma (by shape range), beta (by branch) and chi-square,
in double and, where numpy has it (standard_gamma), single precision. With
--table it prints `key rate` lines for bench_dist_continuous to read;
otherwise a readable table in millions per second. The build directory
argument of `make bench` is accepted and ignored."""
import numpy as np

from dist_numpy_common import N, best_rate, generators, report


def figures():
    out = {}
    for bitgen, g in generators():
        d = np.empty(N)
        f = np.empty(N, dtype=np.float32)
        calls = {
            "cauchy": lambda: g.standard_cauchy(size=N),
            "gumbel": lambda: g.gumbel(1.25, 0.75, size=N),
            "laplace": lambda: g.laplace(1.25, 0.75, size=N),
            "rayleigh": lambda: g.rayleigh(0.75, size=N),
            "weibull": lambda: g.weibull(2.5, size=N),
            "lognormal": lambda: g.lognormal(0.25, 0.5, size=N),
        }
        for alpha in ("0.3", "0.7", "1", "2.5", "10000"):
            a = float(alpha)
            calls["gamma" + alpha] = lambda a=a: g.standard_gamma(a, size=N, out=d)
            calls["gamma" + alpha + ".s"] = lambda a=a: g.standard_gamma(a, size=N, dtype=np.float32, out=f)
        for p, q in (("0.5", "0.5"), ("1", "2"), ("0.5", "3"), ("2", "3"), ("0.01", "0.01")):
            calls["beta" + p + "," + q] = lambda p=float(p), q=float(q): g.beta(p, q, size=N)
        for v in ("1", "2", "3", "10"):
            calls["chisq" + v] = lambda v=int(v): g.chisquare(v, size=N)
        for key, fill in calls.items():
            out[bitgen + "." + key] = best_rate(N, fill)
    return out


if __name__ == "__main__":
    report(figures(), "numpy Generator, continuous laws, millions of variates per second at n = 10^6")
