#!/usr/bin/env python3
"""kiv_summary.py - ratio table of a bench_kivruntime run.

    kiv_summary.py RESULT.json [--markdown] [--stat median|min]

RESULT.json is Google Benchmark's JSON output (--benchmark_format=json or
--benchmark_out=FILE).  Benchmarks are named "<row>/<impl>": the "kiv" run of
a row is set beside each of its baseline runs.  With repetitions the medians
are used (--stat min: the fastest repetition, the steadier figure on a busy
machine), and the spread is shown as the larger coefficient of variation of
the two runs; without repetitions, the single run.

    ratio = baseline CPU time / library CPU time   (above 1: the library is faster)

Rows "Wildcard_<case>_N<n>" are also summarised as growth: the exponent k of
time ~ n^k between successive sizes (the larger step is shown), which stays
near 1 for a linear and near 2 for a quadratic matcher and keeps climbing
for an exponential one.
"""
import json
import math
import re
import sys

# Targets on the ratio, by row name and baseline (regular expressions),
# with their text.  IntFormat rows are judged against the inlined
# std::to_chars only; the out-of-line "to_chars_call" is shown for context.
# The first pattern that matches a row decides.
TARGETS = [
    (r"^Utf8Decode_Ascii$", r"^glibc$", 5.0, ">= 5x"),
    (r"^Utf8Decode_", r"^glibc$", 2.5, ">= 2.5x"),
    (r"^Utf8Encode_", r"^glibc$", 1.0, ">= 1x"),
    (r"^IntFormat_.*_Hex$", r"^to_chars$", 1.0, ">= 1x"),
    (r"^IntFormat_", r"^to_chars$", 1.0 / 1.2, "within 1.2x"),
    (r"^Base64Decode$", r"^loop$", 4.0, ">= 4x"),
    (r"^Base64", r"^loop$", 2.0, ">= 2x"),
    (r"^Latin1Encode$", r"^loop$", 1.0, ">= 1x"),
    (r"^Ucs4ToUtf16_", r"^loop$", 1.0, ">= 1x"),
    (r"^IPos_AsciiMiss$", r"^glibc$", 1.0, ">= 1x"),
    (r"^IPos_Ascii$", r"^glibc$", 0.8, ">= 0.8x"),
]
# Growth exponent that still counts as polynomial of the expected order
# (at most quadratic, with room for measurement noise).
GROWTH_LIMIT = 2.3


def target_for(row, impl):
    for pattern, base, value, text in TARGETS:
        if re.search(pattern, row):
            if re.search(base, impl):
                return value, text
            return None, "-"
    return None, "-"


def load(path, stat):
    with open(path) as f:
        data = json.load(f)
    runs = {}   # run name -> {"cpu": ns, "rate": bytes/s or None, "cv": fraction or None}
    order = []
    singles = {}
    # Registration order (repetitions may have been interleaved at random).
    benchmarks = sorted(data.get("benchmarks", []),
                        key=lambda b: (b.get("family_index", 0), b.get("per_family_instance_index", 0)))
    for b in benchmarks:
        name = b.get("run_name", b["name"])
        scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}[b.get("time_unit", "ns")]
        if name not in order:
            order.append(name)
        if b.get("run_type") == "aggregate":
            agg = b.get("aggregate_name")
            entry = runs.setdefault(name, {"cpu": None, "rate": None, "cv": None})
            if agg == stat:
                entry["cpu"] = b["cpu_time"] * scale
            if agg == "median" and b.get("bytes_per_second"):
                # bytes per iteration, to show the rate of the chosen statistic
                entry["rate"] = b["bytes_per_second"]
                entry["bytes"] = b["bytes_per_second"] * b["cpu_time"] * scale * 1e-9
            if agg == "cv":
                entry["cv"] = b["cpu_time"]
            elif agg == "stddev" and entry["cv"] is None:
                entry["sd"] = b["cpu_time"] * scale
            elif agg == "mean":
                entry["mean"] = b["cpu_time"] * scale
        else:
            singles.setdefault(name, []).append(b)
    for name, bs in singles.items():
        if name in runs and runs[name]["cpu"] is not None:
            continue
        cpus = sorted(x["cpu_time"] * {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}[x.get("time_unit", "ns")]
                      for x in bs)
        rates = sorted(x.get("bytes_per_second") or 0 for x in bs)
        runs[name] = {"cpu": cpus[len(cpus) // 2], "rate": rates[len(rates) // 2] or None, "cv": None}
    for entry in runs.values():
        if entry.get("cv") is None and entry.get("sd") is not None and entry.get("mean"):
            entry["cv"] = entry["sd"] / entry["mean"]
    return data.get("context", {}), runs, order


def show(entry):
    if entry["rate"] and entry.get("bytes"):
        return "%.0f MB/s" % (entry["bytes"] / entry["cpu"] * 1e3)
    if entry["rate"]:
        return "%.0f MB/s" % (entry["rate"] / 1e6)
    ns = entry["cpu"]
    return "%.0f ns" % ns if ns >= 100 else "%.1f ns" % ns


def main(argv):
    if len(argv) < 2:
        sys.stderr.write("usage: kiv_summary.py RESULT.json [--markdown]\n")
        return 2
    markdown = "--markdown" in argv[2:]
    stat = "median"
    if "--stat" in argv[2:]:
        stat = argv[argv.index("--stat") + 1]
    context, runs, order = load(argv[1], stat)

    rows = []      # (what, kiv, baseline, ratio, target, met, noise)
    grouped = {}   # row -> {impl: entry}
    row_order = []
    for name in order:
        if "/" not in name or name not in runs or runs[name]["cpu"] is None:
            continue
        row, impl = name.rsplit("/", 1)
        if row not in grouped:
            grouped[row] = {}
            row_order.append(row)
        grouped[row][impl] = runs[name]

    for row in row_order:
        impls = grouped[row]
        kiv = impls.get("kiv")
        if kiv is None:
            continue
        for impl, base in impls.items():
            if impl == "kiv":
                continue
            ratio = base["cpu"] / kiv["cpu"]
            value, text = target_for(row, impl)
            met = "-" if value is None else ("yes" if ratio >= value else "NO")
            cvs = [c for c in (kiv.get("cv"), base.get("cv")) if c is not None]
            noise = "%.0f%%" % (100 * max(cvs)) if cvs else "-"
            rows.append(("%s vs %s" % (row, impl), show(kiv), show(base), "%.2f" % ratio, text, met, noise))

    # Growth of the adversarial wildcard rows with n.
    sizes = {}
    for row in row_order:
        m = re.match(r"^(Wildcard_\w+?)_N(\d+)$", row)
        if m:
            sizes.setdefault(m.group(1), []).append((int(m.group(2)), row))
    for case, pts in sizes.items():
        pts.sort()
        if len(pts) < 2:
            continue
        def exponent(impl):
            worst = None
            for (n1, r1), (n2, r2) in zip(pts, pts[1:]):
                a, b = grouped[r1].get(impl), grouped[r2].get(impl)
                if not a or not b:
                    return None
                k = math.log(b["cpu"] / a["cpu"]) / math.log(n2 / n1)
                worst = k if worst is None else max(worst, k)
            return worst
        kk, kb = exponent("kiv"), exponent("glibc")
        met = "-" if kk is None else ("yes" if kk <= GROWTH_LIMIT else "NO")
        rows.append(("%s growth n=%d..%d (time ~ n^k)" % (case, pts[0][0], pts[-1][0]),
                     "k=%.2f" % kk if kk is not None else "-",
                     "k=%.2f" % kb if kb is not None else "-", "", "polynomial (k <= %.1f)" % GROWTH_LIMIT,
                     met, ""))

    head = ("what", "kiv", "baseline", "ratio", "target", "met?", "noise")
    if markdown:
        print("| " + " | ".join(head) + " |")
        print("|" + "|".join("---" for _ in head) + "|")
        for r in rows:
            print("| " + " | ".join(r) + " |")
    else:
        widths = [max(len(h), *(len(r[i]) for r in rows)) if rows else len(h) for i, h in enumerate(head)]
        fmt = "  ".join("%%-%ds" % w if i in (0, 4) else "%%%ds" % w for i, w in enumerate(widths))
        print(fmt % head)
        print("  ".join("-" * w for w in widths))
        for r in rows:
            print(fmt % r)
    missed = [r[0] for r in rows if r[5] == "NO"]
    print()
    print("ratio = baseline CPU time / kiv CPU time (%s of the repetitions); noise = larger coefficient of variation of the pair"
          % ("medians" if stat == "median" else stat))
    if context:
        print("machine: %s CPUs at %s MHz; load average %s" % (
            context.get("num_cpus", "?"), context.get("mhz_per_cpu", "?"),
            ", ".join("%.2f" % x for x in context.get("load_avg", [])) or "?"))
    print("targets missed: %s" % (", ".join(missed) if missed else "none"))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
