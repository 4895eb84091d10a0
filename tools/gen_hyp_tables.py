#!/usr/bin/python3
"""Generates vector/kernels/hyp/hyp_tables.inc: the rows of the single-precision
hyperbolic tangent, from mpmath at 200 bits.

kTanhRows: 134 rows of four doubles, c0 + c1 a + c2 a^2 + c3 a^3 in the
magnitude a. Row k serves the floats whose bits, masked to exponent and top four
fraction bits, equal 0x3cf80000 + (k << 19): sixteen rows per binade from
0.0302734375 (row 0 also takes everything below) up to 10.0 (row 133 also takes
everything above, up to the lane test, so it is the constant tanh(10), which
rounds to 1 in single precision). Each row is the cubic interpolating tanh at
the four Chebyshev nodes of its interval, which is within a few per cent of the
minimax cubic. Row 0, over [0, 0.03125], is the odd-dominated cubic with no
constant term that keeps the relative error small down to the least denormal:
1.0000000080972835, -3.8282289125186144e-06, -0.33309708258468135; the
generator checks that these keep the relative error of the row below 2^-26.

kTanhRowsD: 119 rows of the double-precision HA hyperbolic tangent, keyed on
the high word in the same way: row k serves the doubles whose high word, masked
to exponent and top four fraction bits, equals 0x3fbe0000 + (k << 16), sixteen
rows per binade from 0.1171875 up to 20.0 (row 118 takes everything above and
is the constant 1, which tanh(20) rounds to). A row is the start s of its
interval, then the coefficients of a degree-10 polynomial in t = a - s, the
interpolant at the Chebyshev nodes of the interval: c0 as two doubles (hi, lo),
c1..c10, and a zero that pads the row to 112 bytes. Its relative error with the
coefficients as stored is checked below 2^-58. Below 0.1171875 the kernel uses kTanhOdd instead: tanh a =
a + a^3 (c3 + a^2 (c5 + ...)), the series to a^15.

Run: tools/gen_hyp_tables.py > vector/kernels/hyp/hyp_tables.inc"""
import struct
import mpmath
from tablegen import f64, lit64

mpmath.mp.prec = 200

BASE, STEP, ROWS = 0x3CF80000, 1 << 19, 134
ROW0 = [0.0, 1.0000000080972835, -3.8282289125186144e-06, -0.33309708258468135]


def float_of_bits(b):
    return struct.unpack("<f", struct.pack("<I", b))[0]


def cheb_cubic(lo, hi):
    lo, hi = mpmath.mpf(lo), mpmath.mpf(hi)
    xs = [(lo + hi) / 2 + (hi - lo) / 2 * mpmath.cos(mpmath.pi * (2 * k + 1) / 8) for k in range(4)]
    a = mpmath.matrix([[x ** j for j in range(4)] for x in xs])
    return list(mpmath.lu_solve(a, mpmath.matrix([mpmath.tanh(x) for x in xs])))


def max_rel_error(c, lo, hi, points=400):
    worst = 0
    for i in range(points + 1):
        x = mpmath.mpf(lo) + (mpmath.mpf(hi) - lo) * i / points
        if x == 0:
            x = mpmath.mpf(2) ** -149
        p = c[0] + x * (c[1] + x * (c[2] + x * c[3]))
        worst = max(worst, abs(p / mpmath.tanh(x) - 1))
    return worst


def rows():
    out = []
    for k in range(ROWS):
        lo = float_of_bits(BASE + k * STEP)
        hi = float_of_bits(BASE + (k + 1) * STEP)
        if k == 0:
            c = [mpmath.mpf(v) for v in ROW0]
            assert max_rel_error(c, 0, hi) < 2.0 ** -26
        elif k == ROWS - 1:
            c = [mpmath.tanh(10), 0, 0, 0]
            assert float(struct.unpack("<f", struct.pack("<f", f64(c[0])))[0]) == 1.0
        else:
            c = cheb_cubic(lo, hi)
            assert max_rel_error([mpmath.mpf(f64(v)) for v in c], lo, hi, 64) < 2.0 ** -24, k
        out.append([f64(v) for v in c])
    return out


DBASE, DSTEP, DROWS = 0x3FBE0000, 1 << 16, 119


def double_of_high(h):
    return struct.unpack("<d", struct.pack("<Q", h << 32))[0]


def cheb_poly(f, lo, hi, degree):
    """Monomial coefficients in t = x - lo of the interpolant at the Chebyshev nodes."""
    lo, hi = mpmath.mpf(lo), mpmath.mpf(hi)
    n = degree + 1
    ts = [(hi - lo) / 2 + (hi - lo) / 2 * mpmath.cos(mpmath.pi * (2 * k + 1) / (2 * n)) for k in range(n)]
    a = mpmath.matrix([[t ** j for j in range(n)] for t in ts])
    return list(mpmath.lu_solve(a, mpmath.matrix([f(lo + t) for t in ts])))


def rows_d():
    out = []
    for k in range(DROWS):
        lo, hi = double_of_high(DBASE + k * DSTEP), double_of_high(DBASE + (k + 1) * DSTEP)
        if k == DROWS - 1:
            c = [mpmath.mpf(1)] + [mpmath.mpf(0)] * 10
            exact = c
            assert f64(mpmath.tanh(lo)) == 1.0
        else:
            exact = cheb_poly(mpmath.tanh, lo, hi, 10)
            c = exact[:1] + [mpmath.mpf(f64(v)) for v in exact[1:]]
            worst = 0
            for i in range(65):
                t = (mpmath.mpf(hi) - lo) * i / 64
                p = mpmath.mpf(0)
                for cj in reversed(c):
                    p = p * t + cj
                worst = max(worst, abs(p / mpmath.tanh(lo + t) - 1))
            assert worst < 2.0 ** -58, (k, worst)
        c0_hi = f64(exact[0])
        out.append([lo, c0_hi, f64(exact[0] - c0_hi)] + [f64(v) for v in c[1:]] + [0.0])
    return out


def tanh_odd():
    """Taylor coefficients of tanh from a^3 to a^15."""
    series = mpmath.taylor(mpmath.tanh, 0, 15)
    return [f64(series[j]) for j in range(3, 16, 2)]


def main():
    print("// Generated by tools/gen_hyp_tables.py; do not edit.")
    print("namespace qor::kernels::hyp_tables {")
    print("alignas(64) constexpr double kTanhRows[%d][4] = {" % ROWS)
    for r in rows():
        print("    {%s}," % ", ".join(lit64(v) for v in r))
    print("};")
    print("alignas(16) constexpr double kTanhRowsD[%d][14] = {" % DROWS)
    for r in rows_d():
        print("    {%s}," % ", ".join(lit64(v) for v in r))
    print("};")
    print("constexpr double kTanhOdd[7] = {%s};" % ", ".join(lit64(v) for v in tanh_odd()))
    print("}  // namespace qor::kernels::hyp_tables")


if __name__ == "__main__":
    main()
