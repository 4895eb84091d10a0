#!/usr/bin/env python3
"""Writes the reference documentation in docs/ from the library's own
declarations and from measured figures.

Sources: the manifest of vector entries (types, tiers, sharing), the accuracy
declarations beside the kernels (the inputs each entry is tested on), the
special-value rows (the statuses each entry reports), the generator families
and their notes, and the public headers (constants and entries with their
comments). Figures: docs/data/, refreshed from a build by --build: the
output of `make accuracy` and `make bench` (kept in BUILD/reports by those
targets) and a probe of the split methods of every generator.

Usage: tools/gen_docs.py [--build BUILD] [--check] [--plots]
  --build BUILD  refresh docs/data from BUILD before writing
  --check        write nothing; exit 1 when a committed page differs
  --plots        also draw docs/img/*.png (matplotlib) from docs/data"""
import argparse
import ctypes
import glob
import math
import os
import re
import shutil
import sys

ROOT = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
DOCS = os.path.join(ROOT, "docs")
DATA = os.path.join(DOCS, "data")
STATUS = {1: "1 domain", 2: "2 singularity", 3: "3 overflow", 4: "4 underflow"}
TIERS = ("LA", "HA", "EP")


def read(path):
    with open(os.path.join(ROOT, path)) as f:
        return f.read()


def data(name):
    path = os.path.join(DATA, name)
    return open(path).read() if os.path.exists(path) else ""


# ---- vector functions ------------------------------------------------------------

def manifest():
    rows = []
    for m in re.finditer(r"^QOR_ENTRY\((\w), (\w+), (\w+), (\w+), ([\d.]+), ([\d.]+), ([\d.]+)\)", read("vector/dispatch/manifest.def"), re.M):
        rows.append(dict(type=m[1], func=m[2], shape=m[3], sharing=m[4], cost=(m[5], m[6], m[7])))
    return rows


def c_number(text):
    t = text.strip().replace("(double)", "").replace("(float)", "")
    t = re.sub(r"(?<=[\d.])[fFlL]$", "", t)
    sign = -1.0 if t.startswith("-") else 1.0
    t = t.lstrip("+-")
    if t in ("INFINITY", "HUGE_VAL", "HUGE_VALF"):
        return sign * math.inf
    try:
        return sign * (float.fromhex(t) if t.lower().startswith("0x") else float(t))
    except ValueError:
        return None


def declared_intervals():
    """entry -> (lo, hi) over its QOR_INTERVAL declarations."""
    spans = {}
    decl = re.compile(r"^\s*QOR_INTERVAL(?:_LOG)?\((\w+),([^,]+),([^,]+),")
    for path in sorted(glob.glob(os.path.join(ROOT, "vector/kernels/**/*.*"), recursive=True)):
        for line in open(path):
            m = decl.match(line)
            if not m:
                continue
            lo, hi = c_number(m[2]), c_number(m[3])
            if lo is None or hi is None:
                continue
            old = spans.get(m[1], (math.inf, -math.inf))
            spans[m[1]] = (min(old[0], lo), max(old[1], hi))
    # Complex entries: boxes of real and imaginary parts (magnitudes, either sign).
    box = re.compile(r"^\s*QOR_CBOX2?\((\w+),([^,]+),([^,]+),([^,]+),([^,]+),")
    for path in sorted(glob.glob(os.path.join(ROOT, "vector/kernels/complex/*.*"))):
        for line in open(path):
            m = box.match(line)
            if m:
                v = [c_number(m[k]) for k in range(2, 6)]
                if None not in v:
                    old = spans.get(m[1], (math.inf, -math.inf))
                    spans[m[1]] = (min(old[0], v[0], v[2]), max(old[1], v[1], v[3]))
    return spans


def special_statuses():
    """entry -> sorted nonzero statuses of its special-value rows."""
    out = {}
    for path in sorted(glob.glob(os.path.join(ROOT, "tests/vector/special/*.def"))):
        for m in re.finditer(r"^QOR_C?SPECIAL\w*\((\w+),.*,\s*(-?\d+)\)\s*$", open(path).read(), re.M):
            out.setdefault(m[1], set())
            if int(m[2]):
                out[m[1]].add(int(m[2]))
    return out


def measured_accuracy():
    """(entry, tier) -> measured text, from the output of qor_accuracy --long."""
    out = {}
    for m in re.finditer(r"^(\w+)\s+(LA|HA|EP)\s+[<>]=\s*\S+ (?:ulp|bits)\s+([\d.]+ (?:ulp|bits))", data("accuracy.txt"), re.M):
        out[(m[1], m[2])] = m[3]
    return out


def fmt(x):
    if x is None:
        return "?"
    if math.isinf(x):
        return "-inf" if x < 0 else "inf"
    return "%.6g" % x


def vector_page():
    rows, spans, statuses, acc = manifest(), declared_intervals(), special_statuses(), measured_accuracy()
    funcs = []
    for r in rows:
        if r["func"] not in funcs:
            funcs.append(r["func"])
    out = ["# Vector functions", "",
           "Every function in its types (`s` float, `d` double, `c` complex float, `z` complex double), "
           "each with a unit-stride entry and a strided `I` entry, in three accuracy tiers: `LA` (at most 4 ulp), "
           "`HA` (at most 1 ulp) and `EP` (relative error at most 2^-11 in single, 2^-26 in double). "
           "A tier is chosen by the entry's name: `_bexsExp_21` / `_bexdExp_50` is LA, `_bexsExp` (or `_HA`) HA, "
           "`_bexsExp_11` / `_bexdExp_26` EP. *Sharing* tells which tiers run one kernel. *Tested on* is the span "
           "of the inputs the accuracy harness draws for the entry (for complex entries, of the parts' magnitudes, "
           "either sign); *max error* is the worst error the accuracy "
           "harness measured against MPFR (MPC for complex results) in the run `docs/data/accuracy.txt` names; *statuses* are those its special-value rows check "
           "(1 domain, 2 singularity, 3 overflow, 4 underflow), reported through the error callback and errno.",
           "", "Generated by `tools/gen_docs.py` from the manifest, the kernels' declarations and `docs/data/`; do not edit.", "",
           "| entry | shape | sharing | tested on | max error LA | HA | EP | statuses | cost LA/HA/EP (ns) |",
           "|---|---|---|---|---|---|---|---|---|"]
    for f in funcs:
        for r in rows:
            if r["func"] != f:
                continue
            e = r["type"] + f
            span = spans.get(e)
            where = "[%s, %s]" % (fmt(span[0]), fmt(span[1])) if span else ""
            st = ", ".join(STATUS.get(s, str(s)) for s in sorted(statuses[e])) or "none" if e in statuses else ""
            errs = [acc.get((e, t), "") for t in TIERS]
            out.append("| `%s` | %s | %s | %s | %s | %s | %s | %s | %s |" % (
                e, r["shape"].lower(), r["sharing"], where, errs[0], errs[1], errs[2], st, " / ".join(r["cost"])))
    return "\n".join(out) + "\n"


# ---- generators ------------------------------------------------------------------

def families():
    fams = [m.groups() for m in re.finditer(r"^FAMILY\((\w+), (\d+), (\d+), (\d+), (\d+), (\d+), (\d+)\)", read("random/streams/brng_families.def"), re.M)]
    notes = {m[1]: (m[2], m[3]) for m in re.finditer(r'^NOTE\((\w+), "([^"]*)", "([^"]*)"\)', read("random/streams/brng_notes.def"), re.M)}
    return fams, notes


def multiplicative_order(a, m):
    """Order of a modulo the prime m: m - 1 divided by each prime factor while it stays a multiple."""
    order, n, f = m - 1, m - 1, 2
    factors = set()
    while f * f <= n:
        while n % f == 0:
            factors.add(f)
            n //= f
        f += 1
    if n > 1:
        factors.add(n)
    for q in factors:
        while order % q == 0 and pow(a, order // q, m) == 1:
            order //= q
    return order


def wh_period():
    """The period range of the WH sub-generators: lcm of the orders of the four multipliers."""
    text = read("random/generators/wh_parameters.inc")

    def table(name):
        body = text[text.index(name):]
        body = body[body.index("= {") + 3:body.index("};")]
        return [[int(v) for v in row.split(",")] for row in re.findall(r"\{([\d, ]+)\}", body)]

    lo, hi = math.inf, 0.0
    for mods, muls in zip(table("kWhModuli"), table("kWhMultipliers")):
        period = 1
        for a, m in zip(muls, mods):
            o = multiplicative_order(a, m)
            period = period * o // math.gcd(period, o)
        lo, hi = min(lo, math.log2(period)), max(hi, math.log2(period))
    if round(lo, 1) == round(hi, 1):
        return "about 2^%.1f (each sub-generator)" % lo
    return "2^%.1f to 2^%.1f by sub-generator" % (lo, hi)


def probe_splits(build):
    """Statuses of leapfrog, skip-ahead and skip-ahead-ex for a stream of every family."""
    lib = ctypes.CDLL(os.path.join(build, "libqor_kernel_ssse3.so"))
    fams, _ = families()
    lines = []
    for row, fam in enumerate(fams):
        ident = (row + 1) << 20
        s = ctypes.c_void_p()
        seed = (ctypes.c_uint32 * 1)(3)
        if lib.__guxNewStreamEx(ctypes.byref(s), ident, 1, seed) != 0:
            lines.append("split %s not-creatable" % fam[0])
            continue
        results = []
        for call in ("leapfrog", "skip", "skipex"):
            t = ctypes.c_void_p()
            lib.__guxCopyStream(ctypes.byref(t), s)
            if call == "leapfrog":
                st = lib.__guxLeapfrogStream(t, ctypes.c_uint32(1), 3)
            elif call == "skip":
                st = lib.__guxSkipAheadStream(t, ctypes.c_uint64(1000))
            else:
                nskip = (ctypes.c_uint64 * 2)(1000, 1)
                st = lib.__guxSkipAheadStreamEx(t, 2, nskip)
            results.append("%s=%d" % (call, st))
            lib.__guxDeleteStream(ctypes.byref(t))
        lib.__guxDeleteStream(ctypes.byref(s))
        lines.append("split %s %s" % (fam[0], " ".join(results)))
    return "\n".join(lines) + "\n"


def random_page():
    fams, notes = families()
    splits = {m[1]: m[2] for m in re.finditer(r"^split (\w+) (.*)$", data("splits.txt"), re.M)}
    old = {"MCG31M1": "0", "R250": "1", "MRG32K3A": "2", "MCG59": "3", "WH": "4 to 276", "Sobol": "277", "Niederr": "278"}
    out = ["# Random number generators", "",
           "Every generator is made by `__guxNewStreamEx(&stream, id, n, seeds)` and serves three forms of one "
           "sequence: `__guxsBRng<Name>` (float on [a, b)), `__guxdBRng<Name>` (double on [a, b)) and "
           "`__guxiBRng<Name>` (words). Ids are the row times 2^20 (`GUX_BRNG_<NAME>`), plus the sub-generator "
           "for families of several; the older ids of the first rows are kept. *Splits* are the ways to divide "
           "one sequence between workers: leapfrog (`__guxLeapfrogStream`), skip-ahead (`__guxSkipAheadStream`) "
           "and skip-ahead by a 128-bit count (`__guxSkipAheadStreamEx`), as a probe of the library answered them.",
           "", "Generated by `tools/gen_docs.py` from the registry's family list and notes; do not edit.", "",
           "| generator | id | old ids | period | state bytes | word bits | sub-generators | splits | kind |",
           "|---|---|---|---|---|---|---|---|---|"]
    wh = None
    for row, (name, state, seeds, zero, word, bits, subs) in enumerate(fams):
        period, kind = notes.get(name, ("", ""))
        if period == "computed":
            wh = wh or wh_period()
            period = wh
        sp = splits.get(name, "")
        if sp:
            ok = [c.split("=")[0] for c in sp.split() if c.endswith("=0")]
            sp = ", ".join(ok) if ok else "none"
        out.append("| %s | 0x%X | %s | %s | %s | %d | %s | %s | %s |" % (
            name, (row + 1) << 20, old.get(name, ""), period, int(state) - 16, int(bits), subs, sp, kind))
    return "\n".join(out) + "\n"


# ---- public headers --------------------------------------------------------------

def header_page(title, path, intro):
    """Sections, constants and entries of a public header, with its comments."""
    text = read(path)
    out = ["# " + title, "", intro, "",
           "Generated by `tools/gen_docs.py` from `%s`; do not edit." % path, ""]
    consts = []
    comment = []

    def flush():
        if consts:
            out.extend(["| name | value | meaning |", "|---|---|---|"] + consts + [""])
            consts.clear()

    lines = text.splitlines()
    i = 0
    while i < len(lines):
        line = lines[i]
        sec = re.match(r"/\* -+ (.*?) -*\s*\*/", line)
        if sec:
            flush()
            t = sec[1].strip()
            out += ["## " + t[:1].upper() + t[1:], ""]
            comment = []
        elif line.startswith("/*"):
            block = [line]
            while "*/" not in lines[i] and i + 1 < len(lines):
                i += 1
                block.append(lines[i])
            comment = [re.sub(r"^\s*(/\*+|\*/|\*)\s?", "", b).replace("*/", "").strip() for b in block]
        elif line.startswith("#define GUX") or line.startswith("#define QOR_SS") or line.startswith("#define GUX_DF"):
            m = re.match(r"#define (\w+)\s+([^/]+?)\s*(?:/\*\s*(.*?)\s*\*/)?\s*$", line)
            if m and not m[1].endswith("_H"):
                consts.append("| `%s` | `%s` | %s |" % (m[1], m[2], m[3] or ""))
        elif "QOR_API" in line and "(" in line:
            decl = line
            while ";" not in decl and i + 1 < len(lines):
                i += 1
                decl += " " + lines[i].strip()
            flush()
            # Declarations inside a macro of both types: __gux##T##SS... stands for d and s.
            decl = decl.replace("\\", " ").replace("##T##", "{d,s}").replace("##L##", "{d,s}")
            decl = re.sub(r"\s+", " ", decl.replace("QOR_API", "").strip())
            out += ["```c", decl, "```"]
            if comment:
                out += [" ".join(c for c in comment if c)]
            out += [""]
            comment = []
        elif re.match(r"^GUX_SS_DECLARE\((\w+)\)", line):
            name = re.match(r"^GUX_SS_DECLARE\((\w+)\)", line)[1]
            flush()
            out += ["```c", "int64_t _gux{d,s}SS%s(GuxSSTask *task, uint64_t estimates, uint64_t method, "
                    "const GuxThreadingTable *threading);" % name, "```"]
            if comment:
                out += [" ".join(c for c in comment if c)]
            out += [""]
            comment = []
        elif line.strip() == "":
            pass
        i += 1
    flush()
    return "\n".join(out) + "\n"


def index_page(pages):
    out = ["# qor reference", "",
           "Generated by `tools/gen_docs.py`; `make docs` rewrites these pages and the plots from the sources "
           "and from the figures of `make accuracy` and `make bench` (kept in `docs/data/`).", ""]
    for name, title in pages:
        out.append("- [%s](%s)" % (title, name))
    plots = sorted(os.path.basename(p) for p in glob.glob(os.path.join(DOCS, "img", "*.png")))
    if plots:
        out += ["", "## Plots", ""]
        for p in plots:
            out += ["![%s](img/%s)" % (p[:-4].replace("_", " "), p), ""]
    return "\n".join(out) + "\n"


# ---- plots -----------------------------------------------------------------------

def draw_plots():
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
    os.makedirs(os.path.join(DOCS, "img"), exist_ok=True)
    acc = {}
    for m in re.finditer(r"^accuracy (\w+)\s+(.+?)\s+([\d.e+inf-]+)$", data("bench.txt") + data("peer_accuracy.txt"), re.M):
        acc.setdefault(m[1], {})[m[2].strip()] = float(m[3])
    for t, label in (("d", "double"), ("s", "single")):
        entries = [e for e in acc if e[0] == t]
        impls = ["qor LA", "qor HA", "glibc", "libmvec", "SLEEF u10", "SLEEF u35"]
        if not entries:
            continue
        fig, ax = plt.subplots(figsize=(12, 4.5))
        width = 0.8 / len(impls)
        for k, impl in enumerate(impls):
            ys = [acc[e].get(impl, float("nan")) for e in entries]
            ax.bar([i + k * width for i in range(len(entries))], ys, width, label=impl)
        ax.set_yscale("log")
        ax.axhline(1.0, color="k", lw=0.6)
        ax.axhline(4.0, color="k", lw=0.6, ls="--")
        ax.set_xticks([i + 0.4 for i in range(len(entries))], [e[1:] for e in entries], rotation=60)
        ax.set_ylabel("max error (ulp)")
        ax.set_title("Max error of %s functions: qor tiers against the peers (lines: 1 and 4 ulp)" % label)
        ax.legend(ncol=6, fontsize=8)
        fig.tight_layout()
        fig.savefig(os.path.join(DOCS, "img", "accuracy_%s.png" % label))
        plt.close(fig)
    # Speed: the n = 1000 column of every family benchmark, ours against the fastest peer.
    speed = {}
    entry = None
    for line in data("bench.txt").splitlines():
        h = re.match(r"^(\w+) on .*ns per element", line)
        if h:
            entry = h[1]
            continue
        q = re.match(r"^\s+qor (\w+) (LA|HA|EP)\s+([\d.]+)", line)
        if q and entry:
            speed.setdefault(q[1], {})[q[2]] = float(q[3])
            continue
        p = re.match(r"^\s+(glibc|libmvec|SLEEF|GSL|Boost)\s+(.+?)\s+([\d.]+)\s+[\d.]+\s*$", line)
        if p and entry:
            d = speed.setdefault(entry, {})
            d["peer"] = min(d.get("peer", math.inf), float(p[3]))
    for t, label in (("d", "double"), ("s", "single")):
        es = [e for e in speed if e[0] == t and "peer" in speed[e] and any(k in speed[e] for k in TIERS)]
        if not es:
            continue
        fig, ax = plt.subplots(figsize=(12, 4.5))
        for k, tier in enumerate(TIERS):
            ax.bar([i + k * 0.27 for i in range(len(es))], [speed[e].get(tier, float("nan")) / speed[e]["peer"] for e in es], 0.27, label="qor " + tier)
        ax.axhline(1.0, color="k", lw=0.6)
        ax.set_xticks([i + 0.27 for i in range(len(es))], [e[1:] for e in es], rotation=60)
        ax.set_ylabel("time / fastest peer's time")
        ax.set_title("Time per element at n = 1000, %s: below 1 we are faster than the fastest peer" % label)
        ax.legend()
        fig.tight_layout()
        fig.savefig(os.path.join(DOCS, "img", "speed_%s.png" % label))
        plt.close(fig)


# ---- main ------------------------------------------------------------------------

PAGES = [
    ("vector.md", "Vector functions", vector_page),
    ("random.md", "Random number generators", random_page),
    ("distributions.md", "Distributions", lambda: header_page(
        "Distributions", "include/qor/qor_random_dist.h",
        "Variates of a law from a stream; every entry takes (method, stream, n, r, parameters...).")),
    ("streams.md", "Streams", lambda: header_page(
        "Streams", "include/qor/qor_random.h", "Stream objects, the registry, chunks, splitting and persistence.")),
    ("stats.md", "Summary statistics", lambda: header_page(
        "Summary statistics", "include/qor/qor_stats.h",
        "A task holds the observations and the outputs; editors bind arrays to parameter ids, estimators compute the estimates a mask asks for.")),
    ("fitting.md", "Data fitting", lambda: header_page(
        "Data fitting", "include/qor/qor_fitting.h",
        "Spline construction, interpolation, integration and cell search on a task.")),
    ("vector_api.md", "Vector interface", lambda: header_page(
        "Vector interface", "include/qor/qor_bex.h", "The Mode word, the thread's status, the error callback and the entry names.")),
]


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build")
    ap.add_argument("--check", action="store_true")
    ap.add_argument("--plots", action="store_true")
    a = ap.parse_args()
    if a.build and not a.check:
        os.makedirs(DATA, exist_ok=True)
        for name in ("accuracy.txt", "bench.txt", "peer_accuracy.txt"):
            src = os.path.join(a.build, "reports", name)
            if os.path.exists(src):
                shutil.copyfile(src, os.path.join(DATA, name))
        # Without a long run, the accuracy tables the suite's quick shards printed.
        log = os.path.join(a.build, "Testing", "Temporary", "LastTest.log")
        if not os.path.exists(os.path.join(a.build, "reports", "accuracy.txt")) and os.path.exists(log):
            rows = sorted(set(re.findall(r"^\w+\s+(?:LA|HA|EP)\s+[<>]=.*$", open(log, errors="replace").read(), re.M)))
            if rows:
                with open(os.path.join(DATA, "accuracy.txt"), "w") as f:
                    f.write("# the quick accuracy run of the suite (make test)\n" + "\n".join(rows) + "\n")
        with open(os.path.join(DATA, "splits.txt"), "w") as f:
            f.write(probe_splits(a.build))
    if a.plots and not a.check:
        draw_plots()
    pages = [(name, fn()) for name, _, fn in PAGES]
    pages.append(("README.md", index_page([(n, t) for n, t, _ in PAGES])))
    stale = []
    for name, text in pages:
        path = os.path.join(DOCS, name)
        old = open(path).read() if os.path.exists(path) else None
        if old != text:
            stale.append(name)
            if not a.check:
                os.makedirs(DOCS, exist_ok=True)
                with open(path, "w") as f:
                    f.write(text)
    if a.check and stale:
        print("stale documentation (run `make docs`): " + ", ".join(stale))
        return 1
    print("%s: %d pages%s" % ("checked" if a.check else "written", len(pages), ", changed: " + ", ".join(stale) if stale else ""))
    return 0


if __name__ == "__main__":
    sys.exit(main())
