#!/usr/bin/env python3
"""Writes the cost columns of the exact kernels' entries in
vector/dispatch/manifest.def from the output of build/bench/bench_arith.

Usage: tools/arith_costs.py BENCH_OUTPUT...  (several runs: the least figure counts)
Costs are ns per element relative to sAdd = 0.920 (the 'cost' column of the
bench). The fixed figures (sAdd, sSqr, Frac, Pack/Unpack) are left as they are.
Entries whose LA/HA kernel differs from EP (complex Add/Sub) take the 'HA'
row for LA and HA and the 'EP' row for EP."""
import re
import sys

FIXED = {"sAdd", "sSqr", "sFrac", "dFrac"}


def main():
    costs = {}
    for path in sys.argv[1:]:
        for line in open(path):
            m = re.match(r"^(\w+)( HA| EP)?\s+[\d.]+\s+[\d.]+\s+[\d.]+x\s+([\d.]+)$", line.strip())
            if m:
                key = (m.group(1), (m.group(2) or "").strip())
                costs[key] = min(costs.get(key, 1e9), float(m.group(3)))
    path = "vector/dispatch/manifest.def"
    out = []
    for line in open(path):
        m = re.match(r"^QOR_ENTRY\((\w), (\w+), (\w+), (\w+), ", line)
        if m:
            name = m.group(1) + m.group(2)
            if name not in FIXED:
                if (name, "") in costs:
                    c = costs[(name, "")]
                    line = "%s%.3f, %.3f, %.3f)\n" % (m.group(0), c, c, c)
                elif (name, "HA") in costs and (name, "EP") in costs:
                    h, e = costs[(name, "HA")], costs[(name, "EP")]
                    assert e < h, name
                    line = "%s%.3f, %.3f, %.3f)\n" % (m.group(0), h, h, e)
        out.append(line)
    open(path, "w").write("".join(out))


if __name__ == "__main__":
    main()
