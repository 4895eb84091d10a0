#!/usr/bin/python3
"""Generates vector/kernels/erfinv/erfinv_tables.inc: the row polynomials of
the inverse error-function kernels, from mpmath.

All kernels reduce to w in (0, 1.25): w = 1 - |x| for ErfInv, min(y, 2 - y)
for ErfcInv, 2 min(p, 1 - p) for CdfNormInv. A row covers a quarter binade
of w: row 0 is [1, 1.25), row k >= 1 is 2^e [1 + q/4, 1 + (q+1)/4) with
e = -1 - (k-1)//4 and q = 3 - (k-1)%4 (the kernels read k = 0xFFC - (high
word of w >> 18)). Within the row, s = m - c where m is the mantissa of w with
its top two bits cleared (m in [1, 1.25)) and c the table's centre. The row
holds the coefficients of P(s), a polynomial close to

    f(w) = scale * erfcinv(w) / (1 - w)    (scale = 1, or sqrt(2) for CdfNormInv)

so that the result is P(s) * x with x = 1 - w carrying the sign. f is even in
1 - w and analytic across w = 1, so row 0 is a plain fit too.

The fit interpolates f at Chebyshev nodes of the row's s interval, with
erfcinv from Newton steps in mpmath; every rounded row is then checked at 40
points against f and the largest relative error is asserted below the table's
target. Run: tools/gen_erfinv_tables.py > vector/kernels/erfinv/erfinv_tables.inc"""
import sys

import mpmath
from mpmath import mpf

from tablegen import f64, lit64, round_to

PREC = 150
mpmath.mp.prec = PREC
SQRT_PI_2 = mpmath.sqrt(mpmath.pi) / 2
_cache = {}


def erfcinv(w):
    """z with erfc(z) = w, for 0 < w < 2, to about PREC - 20 bits."""
    w = mpf(w)
    if w == 1:
        return mpf(0)
    if w > 1:
        return -erfcinv(2 - w)
    x = 1 - w
    if x <= mpf("0.5"):
        # Newton on erf(z) = x from below (erf is concave on z > 0).
        z = x * SQRT_PI_2
        for prec in (40, 40, 40, 40, 80, PREC, PREC, PREC):
            with mpmath.workprec(prec):
                z = z + (x - mpmath.erf(z)) * mpmath.exp(z * z) * SQRT_PI_2
        return z
    # Newton on ln erfc(z) = ln w, which keeps its scale in the far tail.
    lw = mpmath.log(w)
    z = mpmath.sqrt(-lw)
    for prec in (40, 40, 40, 40, 40, 80, PREC, PREC, PREC):
        with mpmath.workprec(prec):
            e = mpmath.erfc(z)
            z = z + (mpmath.log(e) - lw) * e * mpmath.exp(z * z) * SQRT_PI_2
    return z


def f(w):
    """erfcinv(w) / (1 - w), cached by w."""
    key = mpmath.nstr(w, 60)
    v = _cache.get(key)
    if v is None:
        v = SQRT_PI_2 if w == 1 else erfcinv(w) / (1 - w)
        _cache[key] = v
    return v


def row_range(k):
    """(e, q): the row's w is 2^e (m + q/4) with m in [1, 1.25)."""
    if k == 0:
        return 0, 0
    return -1 - (k - 1) // 4, 3 - (k - 1) % 4


def w_of(k, m):
    e, q = row_range(k)
    return mpmath.ldexp(m + mpf(q) / 4, e)


def fit_row(k, centre, n):
    """The n coefficients (low order first, unrounded) of the interpolant of
    f at n Chebyshev nodes of s in [1 - c, 1.25 - c]."""
    lo, hi = 1 - centre, mpf("1.25") - centre
    mid, half = (lo + hi) / 2, (hi - lo) / 2
    nodes = [mid + half * mpmath.cos(mpmath.pi * (j + mpf("0.5")) / n) for j in range(n)]
    vals = [f(w_of(k, s + centre)) for s in nodes]
    with mpmath.workprec(3 * PREC):
        a = mpmath.matrix([[s ** i for i in range(n)] for s in nodes])
        c = mpmath.lu_solve(a, mpmath.matrix(vals))
    return [c[i] for i in range(n)]


def horner(cs, s):
    p = mpf(0)
    for c in reversed(cs):
        p = p * s + c
    return p


def row_error(k, centre, cs, scale):
    """Largest relative error of the rounded row over 40 points of the row."""
    lo = 1 - centre
    worst = mpf(0)
    for j in range(1 if k == 0 else 41):
        s = lo + mpf(j) / 160
        exact = scale * f(w_of(k, s + centre))
        worst = max(worst, abs(horner(cs, s) / exact - 1))
    return worst


class Table:
    def __init__(self, name, centre, n, rows, target, scale=1, split0=False):
        self.name, self.centre, self.n, self.rows = name, mpf(centre), n, rows
        self.target, self.scale, self.split0 = target, scale, split0

    def width(self):
        return self.n + 1 if self.split0 else self.n

    def build(self):
        out, worst = [], mpf(0)
        for k in range(self.rows):
            if k == 0:
                # w in [1, 1.25) arises only as w = 1 (|x| at most 2^-54 rounds
                # 1 - |x| to 1): the constant f(1) = sqrt(pi)/2 serves it exactly.
                raw = [self.scale * SQRT_PI_2] + [mpf(0)] * (self.n - 1)
            else:
                raw = [self.scale * c for c in fit_row(k, self.centre, self.n)]
            cs = [f64(c) for c in raw]
            if self.split0:  # c0 as hi + lo, for the compensated product of the HA kernels
                cs = [cs[0], f64(raw[0] - cs[0])] + cs[1:]
                err = row_error(k, self.centre, [mpf(cs[0]) + cs[1]] + cs[2:], self.scale)
            else:
                err = row_error(k, self.centre, cs, self.scale)
            assert err < self.target, (self.name, k, float(err))
            worst = max(worst, err)
            e, q = row_range(k)
            out.append("    {%s},  // w in 2^%d [%g, %g): %.3g" % (", ".join(lit64(c) for c in cs), e,
                                                                  1 + q / 4, 1.25 + q / 4, float(err)))
        head = ["// %s: %d rows of %d, centre %s, largest relative error %.3g" %
                (self.name, self.rows, self.width(), mpmath.nstr(self.centre, 8), float(worst)),
                "alignas(16) constexpr double %s[%d][%d] = {" % (self.name, self.rows, self.width())]
        print("%s: worst %.3g" % (self.name, float(worst)), file=sys.stderr)
        return head + out + ["};", ""]


def rows_to(e):
    """Rows for w down to 2^e."""
    return 1 + 4 * (-e)


def check_design_constants():
    """The constants the kernels quote follow from the tables' layout."""
    import struct
    hw = lambda v: struct.unpack("<Q", struct.pack("<d", v))[0] >> 32
    assert hw(1.1102232753642797e-16) == 0x3CA00000  # 2^-53: the least w of a double ErfInv input
    assert hw(1.0000002381857485) == hw(1.0)  # the upper cut: |x| below 1
    assert (hw(1.0) >> 18) == 0xFFC  # row 0 is w in [1, 1.25)
    assert hw(0.99999999999999989) == 0x3FEFFFFF and 0.99999999999999989 == 1 - 2.0 ** -53
    assert f64(SQRT_PI_2) == 0.88622692545275801


SQRT2 = mpmath.sqrt(2)
D_DEEP = -128  # the double ErfcInv and CdfNormInv tables reach w = 2^-128; below, the scalar tail routine
S_DEEP = -149  # single: every positive float w

TABLES = [
    # double: ErfInv needs w down to 2^-53; ErfcInv and CdfNormInv deeper.
    # LA: degree 11; HA: degree 12 with c0 in two parts (14 doubles); EP: degree 5.
    Table("kErfInvD", "1.125", 12, rows_to(-53), 2.0 ** -52),
    Table("kErfInvDHA", "1.125", 13, rows_to(-53), 2.0 ** -56, split0=True),
    Table("kErfInvDEP", "1.9375", 6, rows_to(-53), 2.0 ** -27),
    Table("kErfcInvD", "1.125", 12, rows_to(D_DEEP), 2.0 ** -52),
    Table("kErfcInvDHA", "1.125", 13, rows_to(D_DEEP), 2.0 ** -56, split0=True),
    Table("kErfcInvDEP", "1.03125", 6, rows_to(D_DEEP), 2.0 ** -27),
    Table("kCdfNormInvD", "1.125", 12, rows_to(D_DEEP), 2.0 ** -52, scale=SQRT2),
    Table("kCdfNormInvDHA", "1.125", 13, rows_to(D_DEEP), 2.0 ** -56, scale=SQRT2, split0=True),
    Table("kCdfNormInvDEP", "1.03125", 6, rows_to(D_DEEP), 2.0 ** -27, scale=SQRT2),
    # single, evaluated in double: w down to 2^-24 (ErfInv), 2^-149 (the others).
    # LA and HA share degree 5; EP degree 2.
    Table("kErfInvS", "1.0625", 6, rows_to(-24), 2.0 ** -28),
    Table("kErfInvSEP", "1.03125", 3, rows_to(-24), 2.0 ** -14),
    Table("kErfcInvS", "1.0625", 6, rows_to(S_DEEP), 2.0 ** -28),
    Table("kErfcInvSEP", "1.03125", 3, rows_to(S_DEEP), 2.0 ** -14),
    Table("kCdfNormInvS", "1.0625", 6, rows_to(S_DEEP), 2.0 ** -28, scale=SQRT2),
    Table("kCdfNormInvSEP", "1.03125", 3, rows_to(S_DEEP), 2.0 ** -14, scale=SQRT2),
]


def main():
    check_design_constants()
    only = sys.argv[1:]
    out = ["// Generated by tools/gen_erfinv_tables.py from mpmath at %d bits; do not edit." % PREC,
           "#ifndef QOR_ERFINV_TABLES_INC", "#define QOR_ERFINV_TABLES_INC", "",
           "namespace qor::kernels::erfinv_tables {", "",
           "constexpr int kDeepD = %d;  // the double ErfcInv/CdfNormInv tables end at w = 2^kDeepD" % D_DEEP, ""]
    hi = round_to(SQRT_PI_2, 32)  # 32 bits: its product with an 18-bit number is exact
    out += ["// sqrt(pi)/2 rounded, and as a 32-bit head plus a tail, for the tiny-x linear term",
            "constexpr double kSqrtPiHalf = %s;  // %.17g" % (lit64(f64(SQRT_PI_2)), f64(SQRT_PI_2)),
            "constexpr double kSqrtPiHalfHi = %s;" % lit64(hi),
            "constexpr double kSqrtPiHalfLo = %s;" % lit64(f64(SQRT_PI_2 - hi)),
            "// ln sqrt(pi), ln 2 and sqrt(2) for the extended-precision tail routine",
            "constexpr long double kLnSqrtPi = %sL;" % mpmath.nstr(mpmath.log(mpmath.sqrt(mpmath.pi)), 25),
            "constexpr long double kLn2 = %sL;" % mpmath.nstr(mpmath.log(2), 25),
            "constexpr long double kSqrt2 = %sL;" % mpmath.nstr(SQRT2, 25), ""]
    for t in TABLES:
        if not only or t.name in only:
            out += t.build()
    out += ["}  // namespace qor::kernels::erfinv_tables", "", "#endif  // QOR_ERFINV_TABLES_INC"]
    print("\n".join(out))


if __name__ == "__main__":
    main()
