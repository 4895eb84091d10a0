#!/usr/bin/python3
"""Generates vector/kernels/gamma/gamma_tables.inc: the coefficient tables of
the extended-precision LGamma, TGamma and ExpInt1 routines and the double
polynomials of the ExpInt1 EP kernels, from mpmath at 256 bits.

Every fit is a Chebyshev interpolant, turned into monomial coefficients about
the row's centre and rounded to the element type (long double: 64-bit
significand). The generator measures each row with its rounded coefficients
on a dense grid and fails when a row misses its target, so a table that is
written is a table that meets its bound.
Run: tools/gen_gamma_tables.py > vector/kernels/gamma/gamma_tables.inc"""
import sys

import mpmath
from tablegen import lit64, round_to

mpmath.mp.prec = 256
mp = mpmath


def lit80(v):
    """A long double literal for v rounded to a 64-bit significand."""
    with mp.workprec(64):
        y = +mp.mpf(v)
    if y == 0:
        return "0.0L"
    man, exp = int(y.man), int(y.exp)
    sign = "-" if y < 0 else ""
    man = abs(man)
    return "%s0x%xp%dL" % (sign, man, exp)


def r80(v):
    with mp.workprec(64):
        return +mp.mpf(v)


def cheb_fit(g, a, b, n):
    """Degree-n interpolant of g at the Chebyshev points of [a, b], as
    monomial coefficients in u = (2x - a - b) / (b - a)."""
    nodes = [mp.cos(mp.pi * (k + mp.mpf(1) / 2) / (n + 1)) for k in range(n + 1)]
    vals = [g((b - a) / 2 * u + (a + b) / 2) for u in nodes]
    # Chebyshev coefficients
    c = []
    for j in range(n + 1):
        s = sum(vals[k] * mp.cos(mp.pi * j * (k + mp.mpf(1) / 2) / (n + 1)) for k in range(n + 1))
        c.append(2 * s / (n + 1))
    c[0] /= 2
    # to monomials in u
    T = [[mp.mpf(1)], [mp.mpf(0), mp.mpf(1)]]
    for j in range(2, n + 1):
        prev, prev2 = T[j - 1], T[j - 2]
        t = [mp.mpf(0)] + [2 * v for v in prev]
        for i, v in enumerate(prev2):
            t[i] -= v
        T.append(t)
    mono = [mp.mpf(0)] * (n + 1)
    for j in range(n + 1):
        for i, v in enumerate(T[j]):
            mono[i] += c[j] * v
    return mono


def fit_about(g, a, b, centre, n):
    """Monomial coefficients in t = x - centre of the degree-n interpolant of g on [a, b]."""
    mono_u = cheb_fit(g, a, b, n)
    # u = (x - m) / h with m = (a+b)/2, h = (b-a)/2; x - m = t + (centre - m)
    m, h = (a + b) / 2, (b - a) / 2
    d = centre - m
    # p(t) = sum mono_u[i] ((t + d)/h)^i
    out = [mp.mpf(0)] * (n + 1)
    for i, ci in enumerate(mono_u):
        for k in range(i + 1):
            out[k] += ci * mp.binomial(i, k) * d ** (i - k) / h ** i
    return out


def horner(coef, t):
    r = mp.mpf(0)
    for c in reversed(coef):
        r = r * t + c
    return r


def rel_err(f, approx, a, b, points=200):
    worst = mp.mpf(0)
    for k in range(points + 1):
        x = a + (b - a) * k / points
        fx = f(x)
        if fx == 0:
            continue
        e = abs(approx(x) / fx - 1)
        worst = max(worst, e)
    return worst


def log2_of(e):
    return float(mp.log(e, 2)) if e > 0 else -999.0


out = []


def emit_rows(name, rows, comment):
    """rows: list of coefficient lists (long double)."""
    n = len(rows[0])
    out.append("// " + comment)
    out.append("alignas(16) constexpr long double %s[%d][%d] = {" % (name, len(rows), n))
    for row in rows:
        out.append("    {" + ", ".join(lit80(c) for c in row) + "},")
    out.append("};")
    out.append("")


# The first three coefficients of a row are held in extended precision, the
# others (whose terms are below 2^-15 of the value, |t| <= 1/32 of the
# distance to the nearest pole) in double.
LG_WIDE = 3
LG_TERMS = 12


def lg_round(coef):
    return [r80(c) for c in coef[:LG_WIDE]] + [mp.mpf(round_to(c, 53)) for c in coef[LG_WIDE:]]


# ---- LGamma on [1, 128): 16 rows a binade, read by the top bits of the double
# (exponent and four significand bits), so that a row's half-width is at most
# 1/32 of its distance from the poles. 12 terms about the row's middle; the
# rows next to the zeros at 1 and 2 hold lgamma(x) / (x - z), so that the
# result keeps its relative accuracy as it goes to zero. The float routine
# stops at t^7; the generator checks that cut too.
LG_BINADES = 7
LG_PER_BINADE = 16
LG_SHORT = 8
LG_ZERO_ROWS = {0: 1, 15: 2, 16: 2}


def lgamma_rows():
    rows, worst, worst_short = [], -999.0, -999.0
    for b in range(LG_BINADES):
        for q in range(LG_PER_BINADE):
            i = b * LG_PER_BINADE + q
            a = mp.mpf(2) ** b * (1 + mp.mpf(q) / LG_PER_BINADE)
            e = a + mp.mpf(2) ** b / LG_PER_BINADE
            c = (a + e) / 2
            z = LG_ZERO_ROWS.get(i)
            if z is None:
                g = mp.loggamma
            else:
                g = lambda x, z=z: mp.loggamma(x) / (x - z) if x != z else mp.diff(mp.loggamma, z)
            rc = lg_round(fit_about(g, a, e, c, LG_TERMS - 1))
            f = (lambda x: 1) if z is None else (lambda x, z=z: x - z)
            approx = lambda x, n: horner(rc[:n], x - c) * f(x)
            lo, hi = a + mp.mpf(1) / 2**40, e - mp.mpf(1) / 2**40
            worst = max(worst, log2_of(rel_err(mp.loggamma, lambda x: approx(x, LG_TERMS), lo, hi, 60)))
            worst_short = max(worst_short, log2_of(rel_err(mp.loggamma, lambda x: approx(x, LG_SHORT), lo, hi, 20)))
            rows.append((rc, c))
    assert worst < -62 and worst_short < -38, (worst, worst_short)
    return rows, worst, worst_short


# ---- Stirling's series for x >= 128: lgamma(x) = (x - 1/2) ln x - x +
# ln(2 pi)/2 + S(x), with S(x) = w P(w^2), w = 1/x, and P fitted on
# [0, 1/128^2] (P(0) = 1/12, the first Bernoulli term). Its terms are below
# 2^-10 of a result above 480, so double coefficients serve.
STIRLING_FROM = 128
STIRLING_TERMS = 3
STIRLING_SHORT = 1


def stirling_fit(n):
    def g(u):
        x = 1 / mp.sqrt(u)
        return (mp.loggamma(x) - ((x - mp.mpf(1) / 2) * mp.log(x) - x + mp.log(2 * mp.pi) / 2)) * x
    umax = mp.mpf(1) / STIRLING_FROM**2
    rc = [mp.mpf(round_to(v, 53)) for v in fit_about(g, mp.mpf(0), umax, mp.mpf(0), n - 1)]
    worst = mp.mpf(0)
    for k in range(1, 41):  # the error of S relative to lgamma(x)
        u = umax * k / 40
        x = 1 / mp.sqrt(u)
        worst = max(worst, abs((horner(rc, u) - g(u)) / x / mp.loggamma(x)))
    return rc, log2_of(worst)


# ---- Gamma on [2, 3): 16 rows of 1/16, 12 terms.
def tgamma_rows():
    rows, worst = [], -999.0
    for i in range(16):
        a = 2 + mp.mpf(i) / 16
        b = a + mp.mpf(1) / 16
        c = (a + b) / 2
        coef = fit_about(mp.gamma, a, b, c, 11)
        rc = lg_round(coef)
        e = rel_err(mp.gamma, lambda x: horner(rc, x - c), a, b, 60)
        worst = max(worst, log2_of(e))
        rows.append(rc)
    assert worst < -63, worst
    return rows, worst


# ---- E1 on (0, 1]: E1(x) = -gamma - ln x + x P(x).
E1_SMALL_TERMS = 16


def e1_small():
    g = lambda x: (mp.e1(x) + mp.euler + mp.log(x)) / x if x != 0 else mp.mpf(1)
    coef = fit_about(g, mp.mpf(0), mp.mpf(1), mp.mpf(0), E1_SMALL_TERMS - 1)
    rc = [r80(v) for v in coef]
    e = rel_err(g, lambda x: horner(rc, x), mp.mpf(0), mp.mpf(1), 200)
    assert log2_of(e) < -64, log2_of(e)
    return rc, log2_of(e)


# ---- E1 on [1, 724]: x e^x E1(x) in quarter binades (index from the exponent
# and the top two significand bits), 16 terms about the row's centre.
E1_TERMS = 16


def e1_large():
    g = lambda x: x * mp.exp(x) * mp.e1(x)
    rows, centres, worst = [], [], -999.0
    for b in range(10):  # binades 2^0 .. 2^9 (724 < 1024)
        for q in range(4):
            lo = mp.mpf(2) ** b * (1 + mp.mpf(q) / 4)
            hi = mp.mpf(2) ** b * (1 + mp.mpf(q + 1) / 4)
            c = (lo + hi) / 2
            coef = fit_about(g, lo, hi, c, E1_TERMS - 1)
            rc = [r80(v) for v in coef]
            e = rel_err(g, lambda x: horner(rc, x - c), lo, hi, 40)
            worst = max(worst, log2_of(e))
            rows.append(rc)
            centres.append(c)
    assert worst < -64, worst
    return rows, centres, worst


# ---- The EP kernels, in double: (E1(x) + gamma + ln x) / x on [0, 1] and
# x e^x E1(x) on the quarter binades of [1, 1024), 7 terms each; e^r on
# |r| <= ln 2 / 2 by its Taylor polynomial.
EP_SMALL_TERMS = 9
EP_TERMS = 7


def ep_tables():
    g = lambda x: (mp.e1(x) + mp.euler + mp.log(x)) / x if x != 0 else mp.mpf(1)
    small = [round_to(v, 53) for v in fit_about(g, mp.mpf(0), mp.mpf(1), mp.mpf(0), EP_SMALL_TERMS - 1)]
    ws = log2_of(rel_err(g, lambda x: horner(small, x), mp.mpf(0), mp.mpf(1), 200))
    big = lambda x: x * mp.exp(x) * mp.e1(x)
    rows, centres, worst = [], [], -999.0
    for b in range(10):
        for q in range(4):
            lo = mp.mpf(2) ** b * (1 + mp.mpf(q) / 4)
            hi = mp.mpf(2) ** b * (1 + mp.mpf(q + 1) / 4)
            c = (lo + hi) / 2
            rc = [round_to(v, 53) for v in fit_about(big, lo, hi, c, EP_TERMS - 1)]
            worst = max(worst, log2_of(rel_err(big, lambda x: horner(rc, x - c), lo, hi, 40)))
            rows.append(rc)
            centres.append(float(c))
    assert ws < -34 and worst < -32, (ws, worst)
    return small, ws, rows, centres, worst


# ---- ln of a positive long double by a table of 256 rows: the row of the
# top eight bits of the significand m in [1, 2) holds c (11 bits, about 1/m;
# halved for m >= 1.5, where the exponent counts one more), so that
# r = m c - 1 is exact for a double m, |r| < 2^-8.5 (2^-8 in row 0), and
#   ln x = (e + d) ln 2 - ln(2^d c) + ln(1 + r).
# The rows at m = 1 and m -> 2 have c = 1 and c = 1/2 exactly, so that ln x
# keeps its relative accuracy next to x = 1 on either side.
LOG_ROWS = 256


def log_rows():
    rows = []
    for i in range(LOG_ROWS):
        lo, hi = 1 + mp.mpf(i) / 256, 1 + mp.mpf(i + 1) / 256
        d = 1 if i >= 128 else 0
        if i == 0:
            c = mp.mpf(1)
        elif i == LOG_ROWS - 1:
            c = mp.mpf(1) / 2
        else:
            c = round_to(2 ** d / ((lo + hi) / 2), 11) / 2 ** d
        rmax = max(abs(lo * c - 1), abs(hi * c - 1))
        assert rmax <= mp.mpf(2) ** (-8 if i == 0 else -8.5), (i, rmax)  # at the open end
        assert mp.nint(c * 2 ** (11 + d)) == c * 2 ** (11 + d)  # 11 bits: m c exact in 64
        v = -mp.log(2 ** d * c)
        vh = round_to(v, 53)
        rows.append((c, vh, round_to(v - vh, 53), d))
    # ln(1 + r) through r^7: the first term left out, r^8/8, is below 2^-70
    # (2^-67 in row 0, where x lies in [1, 1 + 2^-8) and ln x is not near 0
    # in any of the routines' uses but the tails of the product logs).
    assert mp.mpf(2) ** (-8.5 * 8) / 8 < mp.mpf(2) ** -70
    return rows


def main():
    head = ["// Generated by tools/gen_gamma_tables.py from mpmath at 256 bits; do not edit.",
            "#ifndef QOR_GAMMA_TABLES_INC", "#define QOR_GAMMA_TABLES_INC", "",
            "namespace qor::kernels::gamma_tables {", ""]
    out.extend(head)
    rows, w, ws = lgamma_rows()
    out.append("// lgamma on [2^b (1 + q/16), 2^b (1 + (q+1)/16)), row 16 b + q, b = 0..%d, in t = x - centre;" %
               (LG_BINADES - 1))
    out.append("// rows %s hold lgamma(x) / (x - z) for the zero z at their edge (max rel. error 2^%.1f; %d terms 2^%.1f)" %
               (", ".join(str(i) for i in sorted(LG_ZERO_ROWS)), w, LG_SHORT, ws))
    out.append("// the first %d coefficients in extended precision, the rest in double" % LG_WIDE)
    out.append("struct LGammaRow {")
    out.append("  long double wide[%d];" % LG_WIDE)
    out.append("  double rest[%d];" % (LG_TERMS - LG_WIDE))
    out.append("};")
    out.append("struct LGammaBinadeRow {")
    out.append("  LGammaRow p;")
    out.append("  double centre;")
    out.append("};")
    out.append("alignas(64) constexpr LGammaBinadeRow kLGamma[%d] = {" % len(rows))
    for row, c in rows:
        assert round_to(c, 53) == c
        out.append("    {{{" + ", ".join(lit80(v) for v in row[:LG_WIDE]) + "}, {" +
                   ", ".join(lit64(float(v)) for v in row[LG_WIDE:]) + "}}, " + lit64(float(c)) + "},")
    out.append("};")
    out.append("constexpr unsigned kLGammaRowsEnd = 0x%x;  // top 16 bits of %d.0: the rows end, the series begins" %
               ((0x3ff + LG_BINADES) << 4, STIRLING_FROM))
    assert STIRLING_FROM == 2**LG_BINADES
    out.append("")
    st, w = stirling_fit(STIRLING_TERMS)
    sts, ws = stirling_fit(STIRLING_SHORT)
    assert w < -64 and ws < -39, (w, ws)
    out.append("// Stirling's series above %d: S(x) = w P(w^2), w = 1/x, P fitted on [0, %d^-2];" %
               (STIRLING_FROM, STIRLING_FROM))
    out.append("// error relative to lgamma 2^%.1f (%d terms), 2^%.1f (%d terms, the float routine)" %
               (w, STIRLING_TERMS, ws, STIRLING_SHORT))
    out.append("constexpr double kStirling[%d] = {" % STIRLING_TERMS)
    out.append("    " + ", ".join(lit64(float(c)) for c in st) + "};")
    out.append("constexpr double kStirlingShort[%d] = {" % STIRLING_SHORT)
    out.append("    " + ", ".join(lit64(float(c)) for c in sts) + "};")
    hl = mp.log(2 * mp.pi) / 2
    out.append("constexpr double kHalfLn2PiHi = %s, kHalfLn2PiLo = %s;  // ln(2 pi) / 2 in two parts" %
               (lit64(round_to(hl, 53)), lit64(round_to(hl - round_to(hl, 53), 53))))
    out.append("constexpr long double kLnPi = %s;" % lit80(mp.log(mp.pi)))
    out.append("constexpr long double kPi = %s;" % lit80(mp.pi))
    # ln 2 in two parts for exp: the head has 48 bits, so k * head is exact for |k| < 2^16
    with mp.workprec(48):
        hi = +mp.log(2)
    out.append("constexpr long double kLn2Hi = %s, kLn2Lo = %s, kLog2e = %s;" %
               (lit80(hi), lit80(mp.log(2) - hi), lit80(1 / mp.log(2))))
    out.append("// the same head as a double (exact), and the tail rounded to double, for the log")
    assert round_to(hi, 53) == hi
    out.append("constexpr double kLn2HiD = %s, kLn2LoD = %s;" % (lit64(round_to(hi, 53)), lit64(round_to(mp.log(2) - hi, 53))))
    out.append("")
    out.append("// ln x for x = 2^e m, m in [1, 2): the row of the top eight bits of m holds c")
    out.append("// (11 bits), -ln(2^d c) in two parts and d; r = m c - 1, and")
    out.append("// ln x = (e + d) ln 2 - ln(2^d c) + ln(1 + r), |r| < 2^-8")
    out.append("struct LogRow {")
    out.append("  double neg_log_hi, neg_log_lo;")
    out.append("  float c;")
    out.append("  int d;")
    out.append("};")
    out.append("alignas(32) constexpr LogRow kLogRows[%d] = {" % LOG_ROWS)
    for c, vh, vl, d in log_rows():
        out.append("    {%s, %s, %sf, %d}," % (lit64(vh), lit64(vl), lit64(float(c)), d))
    out.append("};")
    out.append("")
    rows, w = tgamma_rows()
    out.append("// Gamma on [2 + i/16, 2 + (i+1)/16) about the middle (max rel. error 2^%.1f), as kLGamma's rows" % w)
    out.append("alignas(16) constexpr LGammaRow kTGamma[%d] = {" % len(rows))
    for row in rows:
        out.append("    {{" + ", ".join(lit80(c) for c in row[:LG_WIDE]) + "}, {" +
                   ", ".join(lit64(float(c)) for c in row[LG_WIDE:]) + "}},")
    out.append("};")
    out.append("")
    rc, w = e1_small()
    out.append("// (E1(x) + gamma + ln x) / x on [0, 1] (max rel. error 2^%.1f)" % w)
    out.append("constexpr long double kE1Small[%d] = {" % len(rc))
    out.append("    " + ", ".join(lit80(c) for c in rc) + "};")
    out.append("constexpr long double kEulerGamma = %s;" % lit80(mp.euler))
    out.append("")
    rows, centres, w = e1_large()
    emit_rows("kE1Large", rows, "x e^x E1(x) on the quarter binades of [1, 1024) (max rel. error 2^%.1f)" % w)
    out.append("constexpr long double kE1LargeCentre[%d] = {" % len(centres))
    out.append("    " + ", ".join(lit80(c) for c in centres) + "};")
    out.append("")
    small, ws, rows, centres, w = ep_tables()
    out.append("// EP: (E1(x) + gamma + ln x) / x on [0, 1] in double (max rel. error 2^%.1f)" % ws)
    with mp.workprec(32):
        hi32 = +mp.log(2)
    out.append("// ln 2 in two parts for the EP exponential: k * head is exact for |k| < 2^21")
    out.append("constexpr double kLn2HiEP = %s, kLn2LoEP = %s;" % (lit64(float(hi32)), lit64(round_to(mp.log(2) - hi32, 53))))
    out.append("alignas(16) constexpr double kE1SmallEP[%d] = {" % len(small))
    out.append("    " + ", ".join(lit64(c) for c in small) + "};")
    out.append("// EP: x e^x E1(x) on the quarter binades of [1, 1024), the row's centre last (max rel. error 2^%.1f)" % w)
    out.append("alignas(16) constexpr double kE1LargeEP[%d][%d] = {" % (len(rows), EP_TERMS + 1))
    for rc, c in zip(rows, centres):
        out.append("    {" + ", ".join(lit64(v) for v in rc) + ", " + lit64(c) + "},")
    out.append("};")
    out.append("")
    out.append("}  // namespace qor::kernels::gamma_tables")
    out.append("")
    out.append("#endif")
    print("\n".join(out))


if __name__ == "__main__":
    main()
