#!/usr/bin/env python3
"""Prints how much of the vector interface is built, against the totals.

Usage: coverage.py BUILD_DIR
Counts, from the manifest and the built library: table entries, exported entry
names, entry points (distinct addresses), table exports and distinct kernels."""
import os
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import manifest  # noqa: E402


def main():
    build = sys.argv[1] if len(sys.argv) > 1 else "build"
    root = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    entries = manifest.read(os.path.join(root, "vector", "dispatch", "manifest.def"))
    lib = os.path.join(build, "libqor_kernel_ssse3.so")
    out = subprocess.run(["nm", "-D", "--defined-only", lib], check=True, capture_output=True, text=True).stdout
    addr = {}
    for line in out.splitlines():
        f = line.split()
        if len(f) == 3:
            addr[f[2].split("@")[0]] = f[0]

    built = [e for e in entries if "qor_bex_kernel_%s_ttab" % e.name in addr]
    names = [n for e in entries for ns, _ in e.entry_names() for n in ns]
    exported = [n for n in names if n in addr]
    points = {addr[n] for n in exported}
    tables = [t for e in entries for t in ("qor_bex_kernel_%s_ttab" % e.name, "qor_bex_kernel_%s_ctab" % e.name)]
    # Kernels are counted by address: two entries may share one kernel (the
    # mask forms of Pack and Unpack move 8-byte elements alike for c and d).
    local = subprocess.run(["nm", lib], check=True, capture_output=True, text=True).stdout
    kaddr = {}
    for line in local.splitlines():
        f = line.split()
        if len(f) == 3 and f[2].startswith("qor_k_"):
            kaddr[f[2]] = f[0]
    shared_across = 2  # cPackM = dPackM, cUnpackM = dUnpackM
    kernels_total = len({k for e in entries for k in e.kernel_symbols()}) - shared_across
    kernels_built = {kaddr.get(k, k) for e in built for k in e.kernel_symbols()}

    rows = [("table entries", len(built), len(entries)),
            ("entry names", len(exported), len(names)),
            ("entry points", len(points), 3 * len(entries)),
            ("table exports", len([t for t in tables if t in addr]), len(tables)),
            ("distinct kernels", len(kernels_built), kernels_total)]
    for what, have, total in rows:
        print("%-18s %5d / %d" % (what, have, total))
    print("built:", " ".join(sorted(e.name for e in built)))


if __name__ == "__main__":
    main()
