#!/usr/bin/python3
"""Generates the double tables of the trigonometric kernels, from mpmath at
2600 bits, into vector/kernels/trig/:

  dtrig_window.inc   two-over-pi window: 2048 rows by biased exponent e, the
                     192 bits of 1/(2 pi) that begin e - 1075 bits after the
                     binary point, as three 64-bit words (bits before the point
                     count as zero)
  dtrig_sine.inc     sine table (512 rows, theta = k pi/256): C_lo, C_hi, S_hi,
                     S_lo, and the cosine table (the same rule at theta + pi/2)
  dtrig_tan.inc      tangent table (256 rows, theta = k pi/256), 13 doubles
  dtrig_tand.inc     degree tangent table (256 rows, theta = 0.703125 k degrees)
  dtrig_ep.inc       scalar row table of the EP routine (64 rows, theta = j pi/32)
                     and the 52 four-over-pi words

Row functions are importable (sine_row, cosine_row, tangent_row,
degree_tangent_row, window_row, ep_row, four_over_pi_words) so that other
generators share this math. Run: tools/gen_dtrig_tables.py"""
import os
import struct
import sys

import mpmath

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from tablegen import lit64, round_to  # noqa: E402

mpmath.mp.prec = 2600
PI = mpmath.pi
OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "vector", "kernels", "trig")


def d(x):
    return round_to(x, 53)


def bits(v):
    return struct.unpack("<Q", struct.pack("<d", v))[0]


def pow2_near(c):
    """The signed power of two nearest to c (least |c - p|), or 0 for c == 0."""
    if c == 0:
        return 0.0
    a = abs(c)
    e = int(mpmath.floor(mpmath.log(a, 2)))
    lo, hi = mpmath.mpf(2) ** e, mpmath.mpf(2) ** (e + 1)
    p = hi if hi - a <= a - lo else lo
    return float(p) if c > 0 else -float(p)


def cos_sin_row(theta):
    """(C_lo, C_hi, S_hi, S_lo): C_hi a signed power of two or zero, so that
    r * C_hi is exact; C_hi + C_lo = cos theta, S_hi + S_lo = sin theta."""
    c, s = mpmath.cos(theta), mpmath.sin(theta)
    if abs(c) < mpmath.mpf(2) ** -2000:
        c = mpmath.mpf(0)
    if abs(s) < mpmath.mpf(2) ** -2000:
        s = mpmath.mpf(0)
    c_hi = pow2_near(c)
    c_lo = d(c - c_hi)
    s_hi = d(s)
    s_lo = d(s - s_hi)
    return (c_lo, c_hi, s_hi, s_lo)


def sine_row(k):
    """Row k of the sine table: theta = k pi/256."""
    return cos_sin_row(PI * k / 256)


def cosine_row(k):
    """Row k of the cosine table: the sine-table rule at k pi/256 + pi/2."""
    return cos_sin_row(PI * k / 256 + PI / 2)


def window_row(e):
    """Row e of the two-over-pi window: three 64-bit words, highest first."""
    shift = e - 1075 + 192
    if shift < 0:
        return (0, 0, 0)
    v = int(mpmath.floor(mpmath.mpf(2) ** shift / (2 * PI))) % (1 << 192)
    return ((v >> 128) & (2**64 - 1), (v >> 64) & (2**64 - 1), v & (2**64 - 1))


def _tan_row(theta, scale):
    """13 doubles: B_hi, B_lo, A, c0_hi, c0_lo, c1_hi, c1_lo, c2..c7.

    B is the signed distance pi/2 - theta to the pole (in radians); A = 1 when
    |B| < pi/4, where the pole term 1/(B - r) is needed, else 0. c0 + c1 r + ...
    is the Taylor series about r = 0 of the regular part tan(theta + r) - A/(B - r)
    (r in radians); with scale != 1 the coefficients c1.. are for an argument
    in other units, r_rad = scale * r."""
    b = PI / 2 - theta
    a = 1 if abs(b) < PI / 4 else 0

    if b == 0:
        # tan(pi/2 + r) + 1/r = -cot r + 1/r = r/3 + r^3/45 + 2 r^5/945 + r^7/4725
        coef = [mpmath.mpf(0), mpmath.mpf(1) / 3, 0, mpmath.mpf(1) / 45, 0, mpmath.mpf(2) / 945, 0,
                mpmath.mpf(1) / 4725]
    else:
        # tan(theta + r) = sum t_n r^n from T' = 1 + T^2; 1/(B - r) = sum r^n / B^(n+1)
        t = [mpmath.tan(theta)]
        for n in range(7):
            t.append(((1 if n == 0 else 0) + sum(t[i] * t[n - i] for i in range(n + 1))) / (n + 1))
        coef = [t[n] - a / b ** (n + 1) for n in range(8)]
    coef = [mpmath.mpf(c) * mpmath.mpf(scale) ** n for n, c in enumerate(coef)]
    b_hi = d(b)
    b_lo = d(b - b_hi)
    c0_hi = d(coef[0])
    c0_lo = d(coef[0] - c0_hi)
    c1_hi = d(coef[1])
    c1_lo = d(coef[1] - c1_hi)
    return [b_hi, b_lo, float(a), c0_hi, c0_lo, c1_hi, c1_lo] + [d(c) for c in coef[2:8]]


def tangent_row(k):
    """Row k of the tangent table: theta = k pi/256, polynomial in r radians."""
    return _tan_row(PI * k / 256, 1)


def degree_tangent_row(k):
    """Row k of the degree tangent table: theta = 0.703125 k degrees (k pi/256),
    B in radians; the polynomial c0 + c1 r + ... takes r in degrees (the pole
    term takes r in radians)."""
    return _tan_row(PI * k / 256, PI / 180)


def ep_row(j):
    """Row j of the EP scalar row table (theta = j pi/32): C_lo, S_hi, S_lo, C_hi;
    S_lo is rounded to 24 bits, all the EP routine needs of it."""
    c_lo, c_hi, s_hi, _ = cos_sin_row(PI * j / 32)
    s_lo = round_to(mpmath.sin(PI * j / 32) - s_hi, 24)
    return (c_lo, s_hi, s_lo, c_hi)


def four_over_pi_words():
    """4/pi cut into 25-bit pieces: word i holds the bits of weight 2^(25 - 25i)
    down to 2^(1 - 25i), times 2^200, as a double (word 0 is the empty piece
    above the leading bit)."""
    words = []
    f = 4 / PI
    for i in range(52):
        top = 25 * i - 1  # bits of weight 2^-top .. 2^-(top + 24) after scaling
        piece = int(mpmath.floor(f * mpmath.mpf(2) ** top)) % (1 << 25) if top >= 0 else 0
        words.append(float(mpmath.mpf(piece) * mpmath.mpf(2) ** (200 - top)))
    return words


def check_quoted_rows():
    """The rows the design quotes come out of the rules exactly."""
    assert window_row(0x3FF) == (0x28B, 0xE60DB9391054A7F0, 0x9D5F47D4D377036D)
    assert cosine_row(0) == (0.0, 0.0, 1.0, 0.0)
    assert sine_row(0) == (0.0, 1.0, 0.0, 0.0)
    hi = {sine_row(k)[1] for k in range(512)}
    for v in (1.0, 0.25, 0.015625, -1.0):
        assert v in hi
    t0 = tangent_row(0)
    assert t0[:8] == [1.5707963267948966, t0[1], 0.0, 0.0, 0.0, 1.0, 0.0, 0.0]
    assert abs(t0[1] - 6.123e-17) < 1e-20
    assert abs(t0[8] - 0.3333) < 1e-4 and t0[9] == 0 and abs(t0[10] - 0.1333) < 1e-4 and t0[11] == 0
    assert abs(t0[12] - 0.05397) < 1e-5
    assert tangent_row(128)[0] == 0.0 and tangent_row(128)[2] == 1.0
    assert degree_tangent_row(128)[0] == 0.0
    assert ep_row(0) == (0.0, 0.0, 0.0, 1.0)
    assert ep_row(1) == (-0.0048152733278031138, 0.098017140329560604, -1.6345824060817233e-18, 1.0)
    w = four_over_pi_words()
    assert [bits(v) for v in w[:4]] == [0, 0x4C745F3060000000, 0x4AEB939100000000, 0x494529FC20000000]


def header(name):
    guard = "QOR_TRIG_%s_INC" % name.upper()
    return ["// Generated by tools/gen_dtrig_tables.py from mpmath at 2600 bits; do not edit.",
            "#ifndef " + guard, "#define " + guard, "", "#include <stdint.h>", "",
            "namespace qor::kernels::dtrig_tables {", ""]


FOOTER = ["}  // namespace qor::kernels::dtrig_tables", "", "#endif", ""]


def rows_of(name, ctype, rows, width, comment, fmt=lit64):
    out = ["// " + comment, "alignas(64) constexpr %s %s[%d][%d] = {" % (ctype, name, len(rows), width)]
    for i, r in enumerate(rows):
        out.append("    {%s},  // %d" % (", ".join(fmt(v) for v in r), i))
    return out + ["};", ""]


def write(fname, lines):
    with open(os.path.join(OUT, fname), "w") as f:
        f.write("\n".join(lines))


def main():
    check_quoted_rows()
    os.makedirs(OUT, exist_ok=True)

    win = [window_row(e) for e in range(2048)]
    write("dtrig_window.inc", header("window") + rows_of(
        "kTwoOverPiWindow", "uint64_t", win, 3,
        "Row e: the 192 bits of 1/(2 pi) from e - 1075 bits after the point, highest word first",
        fmt=lambda v: "0x%016xull" % v) + FOOTER)

    write("dtrig_sine.inc", header("sine")
          + rows_of("kSineTable", "double", [sine_row(k) for k in range(512)], 4,
                    "theta = k pi/256: C_lo, C_hi, S_hi, S_lo; C_hi a power of two or 0")
          + rows_of("kCosineTable", "double", [cosine_row(k) for k in range(512)], 4,
                    "the sine table's rule at theta + pi/2")
          + FOOTER)

    tan_comment = ("theta = k pi/256: B_hi, B_lo (pi/2 - theta), A, c0_hi, c0_lo, c1_hi, c1_lo, c2..c7: "
                   "tan(theta + r) = A/(B - r) + c0 + c1 r + ... + c7 r^7")
    write("dtrig_tan.inc", header("tan")
          + rows_of("kTanTable", "double", [tangent_row(k) for k in range(256)], 13, tan_comment) + FOOTER)
    write("dtrig_tand.inc", header("tand")
          + rows_of("kTandTable", "double", [degree_tangent_row(k) for k in range(256)], 13,
                    "theta = 0.703125 k degrees, layout of the tangent table; B and the pole term in radians, "
                    "c0 + c1 r + ... with r in degrees") + FOOTER)

    ep = header("ep") + rows_of("kEpRows", "double", [ep_row(j) for j in range(64)], 4,
                                "theta = j pi/32: C_lo, S_hi, S_lo, C_hi")
    ep += ["// 4/pi in 25-bit pieces times 2^200, one double each",
           "alignas(64) constexpr double kFourOverPiWords[52] = {"]
    ep += ["    %s,  // %d" % (lit64(v), i) for i, v in enumerate(four_over_pi_words())]
    ep += ["};", ""] + FOOTER
    write("dtrig_ep.inc", ep)


if __name__ == "__main__":
    main()
