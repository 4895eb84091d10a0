#!/usr/bin/env python3
"""Writes the cost columns of vector/dispatch/manifest.def from the cost lines
that the family benchmarks print (bench_exp, bench_log, ...):

    sLn      LA    5.636  HA    7.703  EP    3.598   (ns: ...)

Usage: tools/vector_costs.py BENCH_OUTPUT...  (several runs: the least figure counts)

Slots that share a kernel get one figure (the least of their measurements).
The order EP <= LA <= HA is kept with equality exactly where slots share a
kernel: a tier measured no dearer than the tier below it is raised to 0.001
above it, and each such change is printed. The figures
that define the scale (sExp, dExp, sAdd, sSqr, cAsin, Frac) stay as they are."""
import re
import sys

import manifest

# Figures fixed by the table's definition, never overwritten.
FIXED = {"sExp", "dExp", "sAdd", "sSqr", "cAsin", "sFrac", "dFrac"}
LINE = re.compile(r"^\s*(\w+)\s+LA\s+([\d.]+)\s+HA\s+([\d.]+)\s+EP\s+([\d.]+)")


def ordered(sharing, la, ha, ep):
    if sharing == "ALL":
        c = min(la, ha, ep)
        return c, c, c
    if sharing == "LAHA_EP":
        la = ha = min(la, ha)
    elif sharing == "LAEP_HA":
        la = ep = min(la, ep)
    if sharing in ("THREE", "LAHA_EP") and ep >= la:
        la = ep + 0.001
        if sharing == "LAHA_EP":
            ha = la
    if sharing in ("THREE", "LAEP_HA") and la >= ha:
        ha = la + 0.001
    return la, ha, ep


def main():
    measured = {}
    for path in sys.argv[1:]:
        for line in open(path):
            m = LINE.match(line)
            if m:
                new = tuple(float(m.group(i)) for i in (2, 3, 4))
                old = measured.get(m.group(1))
                measured[m.group(1)] = new if old is None else tuple(map(min, old, new))
    path = "vector/dispatch/manifest.def"
    sharing = {e.name: e.sharing for e in manifest.read(path) if not e.strided}
    out = []
    for line in open(path):
        m = re.match(r"^(QOR_ENTRY\((\w), (\w+), \w+, \w+, )", line)
        name = m and m.group(2) + m.group(3)
        if name in measured and name not in FIXED:
            raw = measured[name]
            costs = ordered(sharing[name], *raw)
            if [round(c, 3) for c in costs] != [round(c, 3) for c in raw]:
                print("%s: measured %.3f %.3f %.3f, written %.3f %.3f %.3f" % ((name,) + raw + costs))
            line = "%s%.3f, %.3f, %.3f)\n" % ((m.group(1),) + costs)
        out.append(line)
    open(path, "w").write("".join(out))


if __name__ == "__main__":
    main()
