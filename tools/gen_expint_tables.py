#!/usr/bin/python3
"""Generates vector/kernels/gamma/expint_tables.inc: the float polynomials of
the sExpInt1 EP kernel, from mpmath at 160 bits.

Each fit is a minimax (Remez exchange) for the relative error, with the
coefficients then rounded to float; the generator measures every fit with its
rounded coefficients on a dense grid and fails when one misses its budget, and
it bounds the whole formula the same way, so a table that is written is a
table that meets the kernel's 2^-11.
  small, 0 < x <= 1:   E1 = Q(x) - ln x, Q = E1 + ln x in t = x - 1, its
                       first term E1(1) rounded, so that E1(1) is exact;
                       ln x = k ln 2 + s L(s^2), s = (m - 1) / (m + 1),
                       m in [sqrt(1/2), sqrt(2));
  large, 1 < x:        E1 = 2^-y N(x) / (x D(x)), y = x log2(e),
                       N / D ~ x e^x E1(x) with N, D monic quadratics,
                       2^f for |f| <= 1/2 by a polynomial.
Run: tools/gen_expint_tables.py > vector/kernels/gamma/expint_tables.inc"""

import mpmath
from tablegen import f32

mpmath.mp.prec = 160
mp = mpmath

SMALL_TERMS = 4     # H: degree 3, Q = Q(1) + t H(t) of degree 4
LOG_TERMS = 2       # L: degree 1 in s^2
EXP2_TERMS = 5      # 2^f: degree 4 on [-1/2, 1/2]
RATIONAL_DEG = 2    # N and D: monic, degree 2

# Budgets (relative error, log2) of each fit with float coefficients, and of
# the whole formula evaluated exactly with them.
BUDGET = {"Q": -14.0, "L": -14.0, "exp2": -14.0, "ND": -14.0, "small": -13.0, "large": -13.0}


def remez_poly(f, w, a, b, n, iters=30, grid=4000):
    """The degree-n polynomial minimising max |(p(x) - f(x)) w(x)| on [a, b]."""
    ref = [(a + b) / 2 - (b - a) / 2 * mp.cos(mp.pi * i / (n + 1)) for i in range(n + 2)]
    xs = [a + (b - a) * mp.mpf(i) / grid for i in range(grid + 1)]
    coef = None
    for _ in range(iters):
        A = mp.matrix(n + 2, n + 2)
        rhs = mp.matrix(n + 2, 1)
        for i, x in enumerate(ref):
            for j in range(n + 1):
                A[i, j] = x ** j
            A[i, n + 1] = (-1) ** i / w(x)
            rhs[i] = f(x)
        sol = mp.lu_solve(A, rhs)
        coef = [sol[j] for j in range(n + 1)]
        err = lambda x: (horner(coef, x) - f(x)) * w(x)
        new = extrema(err, xs, n + 2)
        if new is None or max(abs(u - v) for u, v in zip(new, ref)) < (b - a) * mp.mpf(10) ** -20:
            break
        ref = new
    return coef


def remez_rational(g, a, b, deg, iters=40, grid=4000):
    """Monic N, D of degree deg in x minimising max |N / (D g) - 1| on [a, b],
    by the linearised exchange: N - g D = (-1)^i E g D_prev at the reference."""
    m = 2 * deg + 1  # unknowns: deg of N, deg of D, E
    ref = [a * (b / a) ** ((1 - mp.cos(mp.pi * i / (m - 1))) / 2) for i in range(m)]
    xs = [a * (b / a) ** (mp.mpf(i) / grid) for i in range(grid + 1)]
    dprev = lambda x: x ** deg
    nc = dc = None
    for _ in range(iters):
        for _inner in range(8):
            A = mp.matrix(m, m)
            rhs = mp.matrix(m, 1)
            for i, x in enumerate(ref):
                gx = g(x)
                for j in range(deg):
                    A[i, j] = x ** j
                    A[i, deg + j] = -gx * x ** j
                A[i, m - 1] = -(-1) ** i * gx * dprev(x)
                rhs[i] = gx * x ** deg - x ** deg
            sol = mp.lu_solve(A, rhs)
            nc = [sol[j] for j in range(deg)] + [mp.mpf(1)]
            dc = [sol[deg + j] for j in range(deg)] + [mp.mpf(1)]
            dprev = lambda x, dc=dc: horner(dc, x)
        err = lambda x: horner(nc, x) / (horner(dc, x) * g(x)) - 1
        new = extrema(err, xs, m)
        if new is None or max(abs(u - v) / v for u, v in zip(new, ref)) < mp.mpf(10) ** -20:
            break
        ref = new
    return nc, dc


def extrema(err, xs, count):
    """`count` points of alternating sign where |err| is locally largest, or None."""
    es = [err(x) for x in xs]
    pts = []
    for i in range(len(xs)):
        left = es[i - 1] if i > 0 else None
        right = es[i + 1] if i + 1 < len(xs) else None
        e = es[i]
        if left is None or right is None or (abs(e) >= abs(left) and abs(e) >= abs(right)):
            if pts and mp.sign(pts[-1][1]) == mp.sign(e):
                if abs(e) > abs(pts[-1][1]):
                    pts[-1] = (xs[i], e)
            else:
                pts.append((xs[i], e))
    while len(pts) > count:  # drop the smaller end
        if abs(pts[0][1]) < abs(pts[-1][1]):
            pts.pop(0)
        else:
            pts.pop()
    if len(pts) < count:
        return None
    return [p[0] for p in pts]


def lit32(v):
    """A float literal for v, hexadecimal without trailing zeros."""
    h = float.hex(float(v))
    man, exp = h.split("p")
    return "%sp%sf" % (man.rstrip("0").rstrip("."), exp)


def horner(coef, x):
    r = mp.mpf(0)
    for c in reversed(coef):
        r = r * x + c
    return r


def worst(err, xs):
    return max(abs(err(x)) for x in xs)


def log2_of(e):
    return float(mp.log(e, 2)) if e > 0 else -999.0


def grid(a, b, n, log=False):
    if log:
        return [a * (b / a) ** (mp.mpf(i) / n) for i in range(n + 1)]
    return [a + (b - a) * mp.mpf(i) / n for i in range(n + 1)]


def fr(cs):
    return [mp.mpf(f32(c)) for c in cs]


def check(name, e):
    bits = log2_of(e)
    assert bits < BUDGET[name], (name, bits)
    return bits


def main():
    ln2, log2e = mp.mpf(f32(mp.log(2))), mp.mpf(f32(1 / mp.log(2)))
    report = {}

    # Q(x) = E1(x) + ln x = Q(1) + t H(t), t = x - 1 in [-1, 0], relative to
    # E1(x) (the error of t H reaches the result unscaled); Q(1) = E1(1)
    # rounded to float is the first coefficient, so that x = 1 (t = 0, ln x =
    # 0) gives E1(1) correctly rounded
    q_of = lambda t: mp.e1(1 + t) + mp.log(1 + t) if t > -1 else -mp.euler
    h_of = lambda t: (q_of(t) - mp.e1(1)) / t if t != 0 else 1 - 1 / mp.e
    Q = [mp.mpf(f32(mp.e1(1)))] + fr(remez_poly(h_of, lambda t: -t / mp.e1(1 + t), mp.mpf(-1) + mp.mpf(2) ** -30, -mp.mpf(2) ** -20,
                                                 SMALL_TERMS - 1))
    ts = grid(mp.mpf(-1) + mp.mpf(2) ** -12, mp.mpf(0), 2000)
    report["Q"] = check("Q", worst(lambda t: (horner(Q, t) - q_of(t)) / mp.e1(1 + t), ts))

    # L(z) = ln(m) / s = 2 atanh(s) / s, z = s^2 <= ((sqrt 2 - 1) / (sqrt 2 + 1))^2
    zmax = ((mp.sqrt(2) - 1) / (mp.sqrt(2) + 1)) ** 2
    l_of = lambda z: 2 * mp.atanh(mp.sqrt(z)) / mp.sqrt(z) if z > 0 else mp.mpf(2)
    L = fr(remez_poly(l_of, lambda z: 1 / l_of(z), mp.mpf(0), zmax, LOG_TERMS - 1))
    report["L"] = check("L", worst(lambda z: horner(L, z) / l_of(z) - 1, grid(mp.mpf(0), zmax, 1000)))

    # 2^f on [-1/2, 1/2]
    e_of = lambda f: mp.mpf(2) ** f
    E = fr(remez_poly(e_of, lambda f: 1 / e_of(f), mp.mpf(-0.5), mp.mpf(0.5), EXP2_TERMS - 1))
    report["exp2"] = check("exp2", worst(lambda f: horner(E, f) / e_of(f) - 1, grid(mp.mpf(-0.5), mp.mpf(0.5), 1000)))

    # N / D ~ x e^x E1(x) on [1, 128]
    g_of = lambda x: x * mp.exp(x) * mp.e1(x)
    nc, dc = remez_rational(g_of, mp.mpf(1), mp.mpf(128), RATIONAL_DEG)
    N, D = fr(nc), fr(dc)
    xl = grid(mp.mpf(1), mp.mpf(128), 3000, log=True)
    report["ND"] = check("ND", worst(lambda x: horner(N, x) / (horner(D, x) * g_of(x)) - 1, xl))

    # The whole formulas with the float constants, exact arithmetic otherwise.
    def small(x):
        k = mp.floor(mp.log(x / mp.sqrt(0.5), 2))
        m = x / mp.mpf(2) ** k
        s = (m - 1) / (m + 1)
        return horner(Q, x - 1) - (k * ln2 + s * horner(L, s * s))
    xs = grid(mp.mpf(2) ** -126, mp.mpf(1), 4000, log=True) + grid(mp.mpf(0.5), mp.mpf(1), 2000)
    report["small"] = check("small", worst(lambda x: small(x) / mp.e1(x) - 1, xs))

    def large(x):
        y = x * log2e
        k = mp.nint(y)
        return mp.mpf(2) ** -k * horner(E, k - y) * horner(N, x) / (x * horner(D, x))
    report["large"] = check("large", worst(lambda x: large(x) / mp.e1(x) - 1, grid(mp.mpf(1), mp.mpf(80), 8000)))

    out = ["// Generated by tools/gen_expint_tables.py from mpmath at 160 bits; do not edit.",
           "#ifndef QOR_EXPINT_TABLES_INC", "#define QOR_EXPINT_TABLES_INC", "",
           "namespace qor::kernels::expint_tables {", "",
           "// Max relative error (log2) with the float coefficients, exact arithmetic:",
           "//   " + ", ".join("%s %.1f" % (k, v) for k, v in report.items()), ""]

    def emit(name, cs, comment):
        out.append("// " + comment)
        out.append("constexpr float %s[%d] = {%s};" % (name, len(cs), ", ".join(lit32(c) for c in cs)))

    emit("kE1SmallQ", Q, "Q(x) = E1(x) + ln x on [0, 1] in t = x - 1, lowest term first: Q(1) = E1(1) rounded")
    emit("kE1LogL", L, "ln(m) / s in z = s^2, s = (m - 1) / (m + 1), m in [sqrt(1/2), sqrt(2))")
    emit("kE1Exp2", E, "2^f on [-1/2, 1/2]")
    emit("kE1LargeN", N[:-1], "N(x) = x^2 + N1 x + N0 and D(x) = x^2 + D1 x + D0: N / D ~ x e^x E1(x) on [1, 128]")
    emit("kE1LargeD", D[:-1], "")
    out.pop(-2)
    out.append("constexpr float kE1Ln2 = %s, kE1Log2e = %s;" % (lit32(ln2), lit32(log2e)))
    out += ["", "}  // namespace qor::kernels::expint_tables", "", "#endif"]
    print("\n".join(out))


if __name__ == "__main__":
    main()
