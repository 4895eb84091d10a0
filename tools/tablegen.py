"""Helpers shared by the table generators: values rounded correctly from
mpmath to float and double, and C literals that give those values exactly."""
import struct

import mpmath


def round_to(x, bits):
    """x rounded to nearest with a `bits`-bit significand, as a Python float."""
    with mpmath.workprec(bits):
        y = +mpmath.mpf(x)
    return float(y)


def f32(x):
    """x rounded to single precision (as a Python float)."""
    v = round_to(x, 24)
    assert struct.unpack("f", struct.pack("f", v))[0] == v
    return v


def f64(x):
    """x rounded to double precision."""
    return round_to(x, 53)


def lit32(v):
    """A float literal for v, hexadecimal."""
    return "%sf" % float.hex(v) if v != 0 else "0.0f"


def lit64(v):
    """A double literal for v, hexadecimal; a negative zero keeps its sign."""
    if v == 0:
        return "-0.0" if struct.pack("<d", v)[7] & 0x80 else "0.0"
    return float.hex(v)
