#!/usr/bin/env python3
"""The kernel library exports exactly the interface of what is built.

Expected: the four names on three entry points and the two table records of
every built entry (read from the manifest, with the built set from the
generator's coverage file), the vector service names, and the names listed in
tests/build/exports/*.txt by the other subsystems."""
import glob
import os
import subprocess
import sys

here = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(here, "..", "..", "tools"))
import manifest  # noqa: E402

SERVICE = ["SetInterfInputVectorPointer", "SetErrStatus", "GetErrStatus", "ClearErrStatus",
           "SetErrorCallBack", "GetErrorCallBack", "ClearErrorCallBack", "SetMode", "GetMode"]


def main():
    lib, gen = sys.argv[1], sys.argv[2]
    entries = {e.name: e for e in manifest.read(os.path.join(here, "..", "..", "vector", "dispatch", "manifest.def"))}
    built = [l.split()[1] for l in open(os.path.join(gen, "coverage.txt")) if l.startswith("entry ")]
    expected = set()
    for name in built:
        e = entries[name]
        for names, _ in e.entry_names():
            expected.update(names)
        expected.update(["qor_bex_kernel_%s_ttab" % name, "qor_bex_kernel_%s_ctab" % name])
    for s in SERVICE:
        expected.update(["qor_bex_kernel_" + s, "_bex" + s])
    expected.update(["qor_bex_kernel_GetTTableIndex", "qor_bex_kernel_GetTTableIndexM", "dll_cpu_version"])
    for f in glob.glob(os.path.join(here, "exports", "*.txt")):
        expected.update(l.strip() for l in open(f) if l.strip() and not l.startswith("#"))
    out = subprocess.run(["nm", "-D", "--defined-only", lib], check=True, capture_output=True, text=True).stdout
    actual = {l.split()[-1].split("@")[0] for l in out.splitlines() if l.strip()}
    extra, missing = sorted(actual - expected), sorted(expected - actual)
    if extra or missing:
        print("exported but not expected:", extra[:50])
        print("expected but not exported:", missing[:50])
        sys.exit(1)
    print("ok: %d exported names, %d built entries" % (len(actual), len(built)))


if __name__ == "__main__":
    main()
