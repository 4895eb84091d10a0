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
  --check        write nothing; exit 1 when a committed page differs, or when
                 a benchmark's output in docs/data/bench.txt is one the speed
                 plots cannot read
  --plots        also draw docs/img/*.png (matplotlib) and docs/data/speed.txt
                 (the figures the speed plots show) from docs/data"""
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


# The plots of each page, with what they show; a page links those drawn.
PLOTS = {
    "vector.md": [
        ("accuracy_double.png", "Max error of the double functions, our LA and HA tiers against glibc, libmvec and SLEEF"),
        ("accuracy_single.png", "Max error of the single functions, our LA and HA tiers against glibc, libmvec and SLEEF"),
        ("speed_double.png", "Time per element of the double functions, each tier over the fastest peer of its accuracy class"),
        ("speed_single.png", "Time per element of the single functions, each tier over the fastest peer of its accuracy class"),
        ("speed_complex.png", "Time per element of the complex functions over the C library's"),
        ("speed_exact.png", "Time per element of the exact functions over a loop of the C library's"),
    ],
    "random.md": [("speed_random.png", "Numbers per second of the generators beside numpy, the C++ library, GSL and Random123")],
    "stats.md": [("speed_stats.png", "Time per task of the summary statistics beside GSL, numpy, scipy and the C++ library")],
    "fitting.md": [("speed_fitting.png", "Time per element of the natural cubic spline beside GSL and scipy")],
}


def plot_links(page):
    """The page's section of plots: those of PLOTS[page] present in docs/img."""
    drawn = [(f, t) for f, t in PLOTS.get(page, []) if os.path.exists(os.path.join(DOCS, "img", f))]
    if not drawn:
        return []
    out = ["", "## Plots", "",
           "Drawn by `make docs` from the output of `make bench` kept in `docs/data/`: the speed figures are "
           "listed in `docs/data/speed.txt`, the max errors against the peers in `docs/data/peer_accuracy.txt`.", ""]
    for f, t in drawn:
        out += ["![%s](img/%s)" % (t, f), ""]
    return out[:-1]


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
    return "\n".join(out + plot_links("vector.md")) + "\n"


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
    return "\n".join(out + plot_links("random.md")) + "\n"


# ---- public headers --------------------------------------------------------------

def header_page(title, path, intro, page=None):
    """Sections, constants and entries of a public header, with its comments
    (and the page's plots, if any, at the end)."""
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
    links = plot_links(page)
    if links:
        out = out[:-1] if out and out[-1] == "" else out
    return "\n".join(out + links) + "\n"


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


# ---- benchmark figures -----------------------------------------------------------
# `make bench` writes each program's output after a line `== <path>`; the
# speed plots read those sections back from docs/data/bench.txt.

def bench_sections(text=None):
    """Program name (bench_exp, random_numpy.py ...) -> its output lines."""
    out, name = {}, None
    for line in (data("bench.txt") if text is None else text).splitlines():
        m = re.match(r"^== (\S+)\s*$", line)
        if m:
            name = os.path.basename(m[1])
            out[name] = []
        elif name:
            out[name].append(line)
    return out


def vector_benches():
    """The vector family benchmarks: the programs built on bench/vector_bench.h."""
    return sorted(os.path.basename(p)[:-4] for p in glob.glob(os.path.join(ROOT, "bench", "bench_*.cpp"))
                  if "vector_bench.h" in open(p).read())


TIER_LABELS = {"LA": ("LA",), "HA": ("HA",), "EP": ("EP",), "(all)": TIERS, "LA/HA": ("LA", "HA")}
_TITLE = re.compile(r"^(\w+)\b.*: ns per element")
_RATIO = re.compile(r"^  (\S.*?)\s+/\s+(\S.*?)\s+(\d+\.\d+)(?:\s+\|\s+\d+\.\d+)?(?:\s+<- slower)?\s*$")
_ROW = re.compile(r"^  (\S.*?)\s+(\d+\.\d+)(?:\s+\d+\.\d+)?(?:\s+serves((?: (?:LA|HA|EP))+))?\s*$")
_CTIER = re.compile(r"^  ([cz]\w+) (LA|HA|EP)\s+(\d+\.\d+)\s+ratio\s+(\d+\.\d+)")
_ARITH = re.compile(r"^(\w+)(?: (HA|EP))?\s+(\d+\.\d+)\s+(\d+\.\d+)\s+\d+\.\d+x\s+\d+\.\d+\s*$")


def _close_table(table, out, bench):
    """Each of our tiers in a table against the fastest peer of its class: the
    peers the table marks as serving the tier or, where it does not mark
    them, those it printed a ratio against for that tier."""
    if not table or table["entry"] in out:
        return
    rows, ratios, entry = table["rows"], table["ratios"], table["entry"]
    found = {}
    for name, (ns, _) in rows.items():
        label = name[len("qor " + entry):].strip() if name.startswith("qor " + entry) else None
        if label not in TIER_LABELS:
            continue
        for tier in TIER_LABELS[label]:
            peers = [p for p, (_, serves) in rows.items() if serves and tier in serves]
            if not any(serves for _, serves in rows.values()):
                peers = [p for o, p in ratios if o in (name, name[4:]) and p in rows]
            if peers:
                best = min(peers, key=lambda p: rows[p][0])
                found[tier] = dict(ours=ns, peer=best, peer_ns=rows[best][0], ratio=ns / rows[best][0], bench=bench)
    if found:
        out[entry] = found


def vector_speed(sections=None):
    """entry -> tier -> {ours, peer, peer_ns, ratio} at n = 1000, from every
    vector family benchmark (the first table of an entry: its main input range)."""
    sections = bench_sections() if sections is None else sections
    out = {}
    for bench in vector_benches():
        table = None
        for line in sections.get(bench, []):
            t = _TITLE.match(line)
            if t:
                _close_table(table, out, bench)
                table = dict(entry=t[1], rows={}, ratios=[])
                continue
            c = _CTIER.match(line)
            if c and table:
                # Complex entries: one peer, the ratio timed in pairs.
                peer = next(iter(table["rows"]), None)
                if peer:
                    out.setdefault(c[1], {}).setdefault(c[2], dict(
                        ours=float(c[3]), peer=peer, peer_ns=table["rows"][peer][0], ratio=float(c[4]), bench=bench))
                continue
            a = _ARITH.match(line)
            if a and bench == "bench_arith":
                # Exact kernels at n = 1000 against a glibc element loop.
                for tier in ((a[2],) if a[2] else TIERS):
                    out.setdefault(a[1], {})[tier] = dict(ours=float(a[3]), peer="glibc loop", peer_ns=float(a[4]),
                                                          ratio=float(a[3]) / float(a[4]), bench=bench)
                continue
            if not line.startswith("  "):
                _close_table(table, out, bench)
                table = None
                continue
            if table is None:
                continue
            r = _RATIO.match(line)
            if r:
                table["ratios"].append((r[1].strip(), r[2].strip()))
                continue
            w = _ROW.match(line)
            if w:
                table["rows"][w[1].strip()] = (float(w[2]), w[3].split() if w[3] else None)
        _close_table(table, out, bench)
    return out


def _trailing_numbers(line):
    """(name, columns) of a table row: the trailing numbers (or '-') and the text before them."""
    toks = line.split()
    k = len(toks)
    while k > 0 and re.fullmatch(r"-|\d+(?:\.\d+)?(?:e[+-]?\d+)?", toks[k - 1]):
        k -= 1
    return " ".join(toks[:k]), toks[k:]


def random_speed(sections=None):
    """Groups of (generator, millions of doubles per second at n = 10^6, ours?):
    each of our families beside the peers bench_random runs it against."""
    sections = bench_sections() if sections is None else sections
    rate, quasi = {}, []
    part = None
    for line in sections.get("bench_random", []):
        # The tables of rates: the first, the twisters' and the counter-based
        # generators'; other sections (ratios, skip-ahead) end them.
        if line.startswith(("millions of numbers per second", "Mersenne Twister family", "Counter-based generators")):
            part = "table"
        elif line and not re.match(r"^(qor |std::|GSL |numpy |Random123 |generator |CPUID)", line):
            part = None
        q = re.match(r"^\s+(\w+)\s+dimension (\d+)\s+qor\s+([\d.]+)\s+GSL (\S+)\s+([\d.]+)(?:\s+scipy qmc.Sobol\s+([\d.]+))?", line)
        if q:
            g = [("qor %s" % q[1], float(q[3]), True), ("GSL %s" % q[4], float(q[5]), False)]
            if q[6]:
                g.append(("scipy qmc.Sobol", float(q[6]), False))
            quasi.append(("%s, dimension %s (coordinates)" % (q[1], q[2]), g))
            continue
        if part and re.match(r"^(qor |std::|GSL |numpy |Random123 )", line):
            name, cols = _trailing_numbers(line)
            if len(cols) >= 2 and cols[1] != "-":
                # A peer run in two tables (std::mt19937) keeps its better figure.
                rate[name] = max(rate.get(name, 0.0), float(cols[1]))
    for line in sections.get("random_numpy.py", []):
        m = re.match(r"^(numpy Generator\.random \(PCG64\))\s+n=1000000\s+([\d.]+)", line)
        if m:
            rate.setdefault(m[1], float(m[2]))

    def group(title, *patterns):
        g = [(n, rate[n], n.startswith("qor ")) for p in patterns for n in rate if re.match(p, n)]
        return (title, g) if any(o for _, _, o in g) else None

    groups = [group("congruential", r"qor MCG", r"std::minstd", r"GSL minstd"),
              group("R250", r"qor R250", r"GSL r250"),
              group("MRG32K3A", r"qor MRG32K3A", r"GSL mrg", r"std::mt19937 \+"),
              group("WH", r"qor WH", r"numpy Generator\.random"),
              group("Mersenne twisters", r"qor (S?FMT|MT)", r"std::mt19937 \+", r"GSL mt19937", r"numpy Generator\(MT"),
              group("counter-based", r"qor (PHILOX|ARS)", r"Random123", r"numpy Generator\(Philox")]
    return [g for g in groups if g] + quasi


def stats_speed(sections=None):
    """Groups of (implementation, ms, ours?) per task of the statistics benchmarks."""
    sections = bench_sections() if sections is None else sections
    groups = {}

    def add(task, impl, ms, ours):
        g = groups.setdefault(task, {})
        g.setdefault(impl, (ms, ours))

    table = None
    for line in sections.get("bench_stats", []):
        h = re.match(r"^(estimate|double|single)\s+ms", line)
        if h:
            table = h[1]
            continue
        if not line.startswith(("mean", "skewness", "quantiles", "sort", "order statistics")):
            continue
        name, cols = _trailing_numbers(line)
        if table == "estimate" and len(cols) == 5:
            # Peers' times from the ratios ours / peer.
            task, method = name.rsplit(", ", 1)
            add(task + ", 10^6 x 10", "qor " + method, float(cols[0]), True)
            for peer, r in (("GSL", cols[3]), ("numpy", cols[4])):
                if r != "-":
                    add(task + ", 10^6 x 10", peer, float(cols[0]) / float(r), False)
        elif table == "double" and len(cols) == 4:
            add(name + ", 4x10^6", "qor", float(cols[0]), True)
            for peer, r in (("std", cols[2]), ("numpy", cols[3])):
                if r != "-":
                    add(name + ", 4x10^6", peer, float(cols[0]) / float(r), False)
    for line in sections.get("bench_stats_cov", []):
        gsl = "(GSL absdev + mad)" in line
        name, cols = _trailing_numbers(line.replace("(GSL absdev + mad)", ""))
        if len(cols) != 4 or cols[2] == "-":
            continue
        peer = "GSL" if gsl else "scipy" if "vs scipy" in name else "numpy"
        task = re.sub(r" vs (scipy|numpy) .*", "", name)
        add(task, "qor", float(cols[0]), True)
        add(task, peer, float(cols[2]), False)
    # Ours (one-pass, fast) first, then the peers.
    return [(task, sorted(((k, v[0], v[1]) for k, v in g.items()), key=lambda x: not x[2]))
            for task, g in groups.items()]


def fitting_speed(sections=None):
    """Groups of (implementation, ns per element, ours?) for the spline tasks."""
    sections = bench_sections() if sections is None else sections
    tasks = {}
    for bench in ("bench_fitting", "fitting_scipy.py"):
        for line in sections.get(bench, []):
            m = re.match(r"^\s+(construct|interpolate|integrate)\s+threads (\d): qor\s+([\d.]+) ns/(\w+)\s+(gsl|scipy)\s+([\d.]+)", line)
            if not m:
                continue
            g = tasks.setdefault(m[1], dict(unit=m[4]))
            if bench == "bench_fitting":
                g.setdefault("qor, %s thread%s" % (m[2], "s" if m[2] != "1" else ""), float(m[3]))
            g.setdefault("GSL" if m[5] == "gsl" else "scipy", float(m[6]))
    names = {"construct": "construct, 10^6 points (ns per point)", "interpolate": "value + derivative (ns per site)",
             "integrate": "integrals over 10^6 windows up to 10 cells wide (ns per window)"}
    return [(names[t], sorted(((k, v, k.startswith("qor")) for k, v in g.items() if k != "unit"), key=lambda x: not x[2]))
            for t, g in tasks.items()]


def unread_benches(sections=None):
    """Benchmarks whose output docs/data/bench.txt holds but the speed parsers
    read nothing from (a format they do not know)."""
    sections = bench_sections() if sections is None else sections
    vec = vector_speed(sections)
    read = {v["bench"] for tiers in vec.values() for v in tiers.values()}
    bad = [b for b in vector_benches() if b in sections and b not in read]
    # Every table of a vector benchmark must give its entry's figures.
    for b in vector_benches():
        missed = sorted({m[1] for line in sections.get(b, []) for m in [_TITLE.match(line)] if m} - set(vec))
        if missed and b not in bad:
            bad.append("%s (%s)" % (b, " ".join(missed)))
    for names, parse in ((("bench_random",), random_speed), (("bench_stats", "bench_stats_cov"), stats_speed),
                         (("bench_fitting", "fitting_scipy.py"), fitting_speed)):
        for b in names:
            if b in sections and not parse({b: sections[b]}):
                bad.append(b)
    return bad


def speed_table(vec, rnd, sts, fit):
    """The figures the speed plots draw, as text (docs/data/speed.txt)."""
    out = ["# Figures of the speed plots, read by tools/gen_docs.py from docs/data/bench.txt.",
           "# vector: entry tier ours_ns fastest_class_peer_ns ratio bench peer"]
    for e, tiers in vec.items():
        for t, v in tiers.items():
            out.append("vector %-14s %s %9.3f %9.3f %7.3f %-16s %s" % (e, t, v["ours"], v["peer_ns"], v["ratio"],
                                                                     v["bench"], v["peer"]))
    for kind, groups, unit in (("random", rnd, "M/s"), ("stats", sts, "ms"), ("fitting", fit, "ns")):
        out.append("# %s: task | implementation | %s" % (kind, unit))
        for task, g in groups:
            for name, value, _ in g:
                out.append("%s %s | %s | %.6g" % (kind, task, name, value))
    return "\n".join(out) + "\n"


def _tier_bars(ax, entries, speed, title):
    width = 0.27
    for k, tier in enumerate(TIERS):
        ax.bar([i + k * width for i in range(len(entries))],
               [speed[e][tier]["ratio"] if tier in speed[e] else float("nan") for e in entries], width,
               label="qor " + tier, color=("#4c72b0", "#dd8452", "#55a868")[k])
    ax.set_yscale("log")
    ax.axhline(1.0, color="k", lw=0.6)
    ax.set_xticks([i + width for i in range(len(entries))], [e[1:] for e in entries], rotation=70, fontsize=7)
    ax.set_xlim(-0.5, len(entries))
    ax.set_title(title, fontsize=10)
    ax.grid(axis="y", which="both", lw=0.3, alpha=0.5)


def draw_vector_speed(plt, speed):
    """Ratio of each tier's ns per element to the fastest peer of its class."""
    transc = [e for e in speed if next(iter(speed[e].values()))["bench"] not in ("bench_arith", "bench_complex")]
    for t, label in (("d", "double"), ("s", "single")):
        es = [e for e in transc if e[0] == t]
        if not es:
            continue
        fig, ax = plt.subplots(figsize=(max(12, 0.3 * len(es)), 5))
        _tier_bars(ax, es, speed, "%s: time per element at n = 1000 over the fastest peer of the tier's class "
                   "(LA, EP: peers within 4 ulp; HA: within 1 ulp; no bar: no peer in the class); "
                   "below 1 we are faster" % label.capitalize())
        ax.set_ylabel("qor time / fastest peer's time")
        ax.legend(fontsize=8)
        fig.tight_layout()
        fig.savefig(os.path.join(DOCS, "img", "speed_%s.png" % label))
        plt.close(fig)
    cplx = [e for e in speed if next(iter(speed[e].values()))["bench"] == "bench_complex"]
    if cplx:
        fig, axes = plt.subplots(2, 1, figsize=(12, 7))
        for ax, t, label in zip(axes, "cz", ("single", "double")):
            es = [e for e in cplx if e[0] == t]
            _tier_bars(ax, es, speed, "Complex %s (%s...): time per element at n = 1000 over the C library's "
                       "function (ratio timed in pairs)" % (label, t))
            ax.set_ylabel("qor / C library")
        axes[0].legend(fontsize=8)
        fig.tight_layout()
        fig.savefig(os.path.join(DOCS, "img", "speed_complex.png"))
        plt.close(fig)
    # Exact functions: one bar where every tier runs one kernel, else one per tier timed.
    exact = []
    for e in speed:
        tiers = speed[e]
        if next(iter(tiers.values()))["bench"] == "bench_arith":
            same = set(tiers) == set(TIERS) and len({v["ratio"] for v in tiers.values()}) == 1
            exact += [(e, tiers["LA"]["ratio"])] if same else [(e + " " + t, v["ratio"]) for t, v in tiers.items()]
    if exact:
        fig, ax = plt.subplots(figsize=(max(12, 0.25 * len(exact)), 4.5))
        ax.bar(range(len(exact)), [r for _, r in exact], 0.7, color="#4c72b0")
        ax.set_yscale("log")
        ax.axhline(1.0, color="k", lw=0.6)
        ax.set_xticks(range(len(exact)), [e for e, _ in exact], rotation=70, fontsize=7)
        ax.set_xlim(-0.7, len(exact) - 0.3)
        ax.set_ylabel("qor time / glibc loop's time")
        ax.set_title("Exact functions: time per element at n = 1000 over a loop of the C library's function "
                     "or operator (one kernel for all tiers unless a tier is named); below 1 we are faster", fontsize=10)
        ax.grid(axis="y", which="both", lw=0.3, alpha=0.5)
        fig.tight_layout()
        fig.savefig(os.path.join(DOCS, "img", "speed_exact.png"))
        plt.close(fig)


def draw_groups(plt, groups, xlabel, title, name):
    """Horizontal bars, one block per task: ours (blue) above the peers (grey)."""
    if not groups:
        return
    labels, values, colors, ticks = [], [], [], []
    y = 0
    heads = []
    for task, g in groups:
        heads.append((y, task))
        y += 1
        for impl, v, ours in g:
            ticks.append(y)
            labels.append(impl)
            values.append(v)
            colors.append("#4c72b0" if ours else "#a0a0a0")
            y += 1
        y += 0.5
    fig, ax = plt.subplots(figsize=(10, 0.28 * y + 1.2))
    ax.barh(ticks, values, 0.8, color=colors)
    for t, v in zip(ticks, values):
        ax.text(v, t, " %.3g" % v, va="center", fontsize=7)
    for hy, task in heads:
        ax.text(0.0, hy, task, transform=ax.get_yaxis_transform(), fontsize=8, fontweight="bold", va="center")
    ax.set_yticks(ticks, labels, fontsize=7)
    ax.set_ylim(y, -1)
    ax.set_xscale("log")
    ax.set_xlim(min(values) / 2, max(values) * 4)
    ax.set_xlabel(xlabel)
    ax.set_title(title, fontsize=10)
    ax.grid(axis="x", which="both", lw=0.3, alpha=0.5)
    fig.tight_layout()
    fig.savefig(os.path.join(DOCS, "img", name))
    plt.close(fig)


def draw_speed(plt):
    sections = bench_sections()
    vec, rnd, sts, fit = vector_speed(sections), random_speed(sections), stats_speed(sections), fitting_speed(sections)
    if not (vec or rnd or sts or fit):
        return
    with open(os.path.join(DATA, "speed.txt"), "w") as f:
        f.write(speed_table(vec, rnd, sts, fit))
    draw_vector_speed(plt, vec)
    draw_groups(plt, rnd, "millions of doubles on [0, 1) per second, n = 10^6 (quasi-random: coordinates)",
                "Basic generators (blue) beside their peers (grey)", "speed_random.png")
    draw_groups(plt, sts, "milliseconds per task (best of runs)",
                "Summary statistics (blue) beside GSL, numpy, scipy and the C++ library (grey)", "speed_stats.png")
    draw_groups(plt, fit, "nanoseconds per element", "Natural cubic spline (blue) beside GSL and scipy (grey)",
                "speed_fitting.png")


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
    draw_speed(plt)


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
        "A task holds the observations and the outputs; editors bind arrays to parameter ids, estimators compute the estimates a mask asks for.",
        "stats.md")),
    ("fitting.md", "Data fitting", lambda: header_page(
        "Data fitting", "include/qor/qor_fitting.h",
        "Spline construction, interpolation, integration and cell search on a task.", "fitting.md")),
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
    unread = unread_benches()
    if a.check and unread:
        print("benchmark output the speed plots do not read: " + ", ".join(unread))
        return 1
    print("%s: %d pages%s" % ("checked" if a.check else "written", len(pages), ", changed: " + ", ".join(stale) if stale else ""))
    return 0


if __name__ == "__main__":
    sys.exit(main())
