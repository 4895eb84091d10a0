#!/usr/bin/env python3
"""Generates random/distributions/poisson_normal_table.inc: the factors of the
normal method of the Poisson generator for 1 <= lambda < 100.

The method turns a standard normal g into a count through a cubic:

    y = b g,  z = a + y,  X = trunc(max(0, z + 1 + y ((c3 y + c2) y + c1))),

so X = k exactly when Q(g) = A + B g + C g^2 + D g^3 lies in [k, k + 1), with
A = a + 1, B = b (1 + c1), C = c2 b^2, D = c3 b^3. What the factors
approximate: the cubic that carries each quantile point of the normal,
g_k = Phi^-1(F(k - 1)) (F the Poisson distribution function of lambda), onto
the integer k, which would make the law of X the Poisson law. A cubic has
four coefficients and the law a cell per count, so this is a fit, not an
identity; in the limit it is the Cornish-Fisher expansion of the Poisson
quantiles (A ~ lambda + 1/3, B ~ sqrt(lambda), C ~ 1/6, D ~ -1/(72
sqrt(lambda))). For each lambda of a grid, (A, B, C, D) minimise

    sum_k  (Phi(g_k) - Phi(Q^-1(k)))^2 / (F(k-1) (1 - F(k-1)))

to first order (weighted least squares on Q(g_k) - k with the weights
(phi(g_k) / Q'(g_k))^2 / (F (1 - F)), Q' from the fit of the step before),
over the cells whose distribution value lies in [1e-9, 1 - 1e-9] (the float
inverse error function reaches no further). Where D < 0 the cubic turns back
up far left; the generator gives 0 left of that turning point, and the tool
checks that Q is negative there. The factors are then polynomials in
m = significand(lambda) - 1 within each binary exponent of lambda (rows 0..6,
lambda in [2^e, 2^(e+1))): a of degree 7 (two cubics, the second times m^4),
b, c1, c2 and c3 cubics. b takes the fit of sqrt(lambda) as its target and
c1, c2, c3 the values B / b - 1, C / b^2, D / b^3 with that b, so the
redundancy of b costs nothing. Row layout, 24 doubles: a0..a3, a4..a7, b0..b3,
c1_0..c1_3, c2_0..c2_3, c3_0..c3_3, each cubic p0 + p1 m + p2 m^2 + p3 m^3.

The tool reports, on standard error and in the header of the table, the
error of the law the factors give (computed in double through an exact
normal, before the float rounding of the generator): the largest |delta F|
over the cells, and the largest chi-square noncentrality per draw,
sum (p^ - p)^2 / p, over a grid of lambda; 1 / that value is the number of
draws at which a chi-square test begins to see the difference. It reports the
same figures for the closed form of lambda >= 100 (fixed constants, scale
b = sqrt(lambda - 0.05580667628)).

Usage: gen_poisson_table.py > random/distributions/poisson_normal_table.inc"""
import math
import statistics
import sys

import mpmath

mpmath.mp.dps = 30
TAIL = 1e-9
NORMAL = statistics.NormalDist()
REACH = 5.42  # |g| of the float normal: sqrt(2) times 3.8325, ErfInv at the last float below 1
ROWS = 7
NODES = 16  # Chebyshev nodes of m per row
TOP = 100.0

# The closed form above 100 (fixed constants).
A_FORM = (-0.66669571979999998, -0.019410208620000001, -0.0012887193080000001, 0.0016451537090000001)
C1_FORM = (0.00774710541609, -0.443911391797447, 2.29098262740971, -3.85841212878712, 2.02847035732762)
C2_FORM = (0.168577008904505, 0.0472242348292688, -0.228162379800275, 0.358642226989579, -0.185436433294704)
C3_FORM = (-0.0001145865551857, -0.0126559989233446, 0.0232257954288354, -0.0291113093667918, 0.014389264627966)
B_SHIFT = -0.055806676280000002


def quantile_points(lam):
    """(k, g_k, F(k-1)) for the cells in the reach of the float normal."""
    lam = mpmath.mpf(lam)
    term = mpmath.exp(-lam)
    cdf = term
    out = []
    k = 1
    while True:
        f = float(cdf)
        if f > 1 - TAIL:
            break
        if f >= TAIL:
            # The normal quantile from the nearer tail, so that both keep
            # their relative precision in double.
            g = NORMAL.inv_cdf(f) if f < 0.5 else -NORMAL.inv_cdf(float(1 - cdf))
            out.append((k, g, f))
        term = term * lam / k
        cdf += term
        k += 1
    return out


def solve(rows, rhs):
    m = mpmath.matrix(rows)
    return [float(x) for x in mpmath.lu_solve(m, mpmath.matrix(rhs))]


def weighted_cubic(points, weights):
    """Least squares of Q(g) = A + B g + C g^2 + D g^3 on Q(g_k) = k."""
    n = 4
    ata = [[0.0] * n for _ in range(n)]
    atb = [0.0] * n
    for (k, g, _), w in zip(points, weights):
        basis = [1.0, g, g * g, g * g * g]
        for i in range(n):
            atb[i] += w * basis[i] * k
            for j in range(n):
                ata[i][j] += w * basis[i] * basis[j]
    return solve(ata, atb)


def phi(g):
    return math.exp(-0.5 * g * g) / math.sqrt(2 * math.pi)


def fit_lambda(lam):
    pts = quantile_points(lam)
    slope = []
    for i, (k, g, _) in enumerate(pts):
        lo = pts[max(0, i - 1)][1]
        hi = pts[min(len(pts) - 1, i + 1)][1]
        slope.append((min(len(pts) - 1, i + 1) - max(0, i - 1)) / (hi - lo) if hi > lo else 1.0)
    coef = None
    for _ in range(3):
        w = [(phi(g) / s) ** 2 / (f * (1 - f)) for (k, g, f), s in zip(pts, slope)]
        coef = weighted_cubic(pts, w)
        slope = [coef[1] + 2 * coef[2] * g + 3 * coef[3] * g * g for (_, g, _) in pts]
    return coef


def polyfit(xs, ys, degree):
    n = degree + 1
    ata = [[sum(x ** (i + j) for x in xs) for j in range(n)] for i in range(n)]
    atb = [sum(y * x ** i for x, y in zip(xs, ys)) for i in range(n)]
    return solve(ata, atb)


def horner(c, x):
    r = 0.0
    for v in reversed(c):
        r = r * x + v
    return r


def row_fit(e):
    lo, hi = 2.0 ** e, min(2.0 ** (e + 1), TOP)
    m_hi = hi / lo - 1
    ms = [0.5 * m_hi * (1 - math.cos(math.pi * (i + 0.5) / NODES)) for i in range(NODES)]
    ms = [0.0] + ms + [m_hi]
    fits = [fit_lambda(lo * (1 + m)) for m in ms]
    a = polyfit(ms, [f[0] - 1 for f in fits], 7)
    b = polyfit(ms, [math.sqrt(lo * (1 + m)) for m in ms], 3)
    bs = [horner(b, m) for m in ms]
    c1 = polyfit(ms, [f[1] / bb - 1 for f, bb in zip(fits, bs)], 3)
    c2 = polyfit(ms, [f[2] / bb ** 2 for f, bb in zip(fits, bs)], 3)
    c3 = polyfit(ms, [f[3] / bb ** 3 for f, bb in zip(fits, bs)], 3)
    return a[:4] + a[4:] + b + c1 + c2 + c3


def factors_table(row, lam):
    e = int(math.floor(math.log2(lam)))
    m = lam / 2.0 ** e - 1
    r = row[e]
    a = horner(r[0:4], m) + m ** 4 * horner(r[4:8], m)
    return a, horner(r[8:12], m), horner(r[12:16], m), horner(r[16:20], m), horner(r[20:24], m)


def factors_form(lam):
    t = 1.0 / lam
    a = (A_FORM[0] + lam) + ((A_FORM[3] * t + A_FORM[2]) * t + A_FORM[1]) * t
    b = math.sqrt(B_SHIFT + lam)
    c = [t * horner(f, t) for f in (C1_FORM, C2_FORM, C3_FORM)]
    return a, b, c[0], c[1], c[2]


def law_error(lam, fac):
    """Largest |delta F| and chi-square noncentrality per draw of the law that
    the factors (a, b, c1, c2, c3) give through an exact normal."""
    a, b, c1, c2, c3 = fac
    A, B, C, D = a + 1, b * (1 + c1), c2 * b * b, c3 * b ** 3

    def q(g):
        return ((D * g + C) * g + B) * g + A

    # Q' = B + 2 C g + 3 D g^2 is positive between its roots; with D < 0 the
    # cubic turns down again far left, where only the rebound above 0 counts.
    left, right = -12.0, 12.0
    if D < 0:
        disc = math.sqrt(C * C - 3 * B * D)
        left, right = (-C + disc) / (3 * D), (-C - disc) / (3 * D)
    assert right > REACH, lam
    # The generator gives 0 left of the turning point, so Q must be negative
    # there for the clamp to change nothing else.
    assert left < -REACH or q(left) < 0, lam

    def inverse(k):  # Q is increasing on [left, right]
        lo, hi = max(left, -12.0), right
        for _ in range(56):
            mid = 0.5 * (lo + hi)
            if q(mid) < k:
                lo = mid
            else:
                hi = mid
        return 0.5 * (lo + hi)

    def cdf_normal(g):
        return 0.5 * math.erfc(-g / math.sqrt(2))

    # From 12 standard deviations below the mean (what lies below counts as 0).
    k = max(0, int(lam - 12 * math.sqrt(lam)))
    term = math.exp(k * math.log(lam) - lam - math.lgamma(k + 1.0))
    F = term
    prev_hat, prev = cdf_normal(inverse(k)) if k else 0.0, 0.0
    worst_f, chi = 0.0, 0.0
    while term > 1e-17 or k <= lam:
        hat = cdf_normal(inverse(k + 1))
        worst_f = max(worst_f, abs(hat - F))
        p, p_hat = F - prev, hat - prev_hat
        if p > 0:
            chi += (p_hat - p) ** 2 / p
        prev_hat, prev = hat, F
        k += 1
        term *= lam / k
        F += term
    return worst_f, chi


def main():
    rows = [row_fit(e) for e in range(ROWS)]
    worst_f, worst_chi, at = 0.0, 0.0, 0.0
    for i in range(140):
        lam = 100.0 ** (i / 140.0)
        f, c = law_error(lam, factors_table(rows, lam))
        worst_f = max(worst_f, f)
        if c > worst_chi:
            worst_chi, at = c, lam
    form_f, form_chi = 0.0, 0.0
    for i in range(12):
        lam = 100.0 * 100.0 ** (i / 12.0)
        f, c = law_error(lam, factors_form(lam))
        form_f, form_chi = max(form_f, f), max(form_chi, c)
    sys.stderr.write("table 1 <= lambda < 100: max |dF| %.3g, max chi-square per draw %.3g at lambda %.4g\n"
                     % (worst_f, worst_chi, at))
    sys.stderr.write("closed form lambda >= 100: max |dF| %.3g, max chi-square per draw %.3g\n"
                     % (form_f, form_chi))
    out = ["// Generated by tools/gen_poisson_table.py; do not edit.",
           "// Factors of the normal method of the Poisson generator by binary exponent",
           "// e of lambda (row e: 2^e <= lambda < 2^(e+1)), as polynomials in",
           "// m = lambda / 2^e - 1: a0..a3, a4..a7 (a = P(m) + m^4 P'(m)), b, c1, c2, c3.",
           "// Law error of the table (exact normal, before float rounding): max |dF|",
           "// %.2g, max chi-square noncentrality per draw %.2g (at lambda %.4g)."
           % (worst_f, worst_chi, at),
           "alignas(16) constexpr double kPoissonNormalRows[%d][24] = {" % ROWS]
    for r in rows:
        vals = ["%.17g" % v for v in r]
        for j in range(0, 24, 4):
            out.append(("    {" if j == 0 else "     ") + ", ".join(vals[j:j + 4]) + ("}," if j == 20 else ","))
    out.append("};")
    out.append("// The closed form from 100 on (fixed constants) over [100, 10^4]: max |dF|")
    out.append("// %.2g, max chi-square noncentrality per draw %.2g." % (form_f, form_chi))
    print("\n".join(out))


if __name__ == "__main__":
    main()
