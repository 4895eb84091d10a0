#!/usr/bin/env python3
"""The kernel library exports exactly the interface of what is built.

Expected: the four names on three entry points and the two table records of
every built entry (read from the manifest, with the built set from the
generator's coverage file), the vector service names, and the names listed in
tests/build/exports/*.txt by the other subsystems. The cost figures of the
built entries keep their rules: positive, EP <= LA <= HA, two slots equal
exactly when they share a kernel, I entries as their unit entries, and the
fixed figures of Frac, Pack and Unpack."""
import glob
import os
import subprocess
import sys

here = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(here, "..", "..", "tools"))
import manifest  # noqa: E402

SERVICE = ["SetInterfInputVectorPointer", "SetErrStatus", "GetErrStatus", "ClearErrStatus",
           "SetErrorCallBack", "GetErrorCallBack", "ClearErrorCallBack", "SetMode", "GetMode"]


def cost_faults(e, unit):
    la, ha, ep = e.costs
    share = {"ALL": (True, True), "LAHA_EP": (True, False), "LAEP_HA": (False, True), "THREE": (False, False)}
    la_ha, la_ep = share[e.sharing]
    faults = []
    if min(e.costs) <= 0:
        faults.append("a figure not above 0")
    if not ep <= la <= ha:
        faults.append("not EP <= LA <= HA")
    if (la == ha) != la_ha or (la == ep) != la_ep:
        faults.append("equal figures where kernels differ, or the reverse")
    if e.strided and e.costs != unit.costs:
        faults.append("not the figures of " + unit.name)
    fixed = 1.0 if e.func == "Frac" else 1111.0 if e.shape in manifest.PACK_SHAPES else None
    if fixed is not None and e.costs != (fixed,) * 3:
        faults.append("not the fixed figure %.3f" % fixed)
    return ["%s costs %s: %s" % (e.name, e.costs, f) for f in faults]


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
    faults = [f for name in built for f in cost_faults(entries[name], entries[entries[name].unit_name])]
    if extra or missing or faults:
        print("exported but not expected:", extra[:50])
        print("expected but not exported:", missing[:50])
        print("\n".join(faults))
        sys.exit(1)
    print("ok: %d exported names, %d built entries" % (len(actual), len(built)))


if __name__ == "__main__":
    main()
