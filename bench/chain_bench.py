#!/usr/bin/env python3
"""chain_bench.py - CPU time of each stage of the document chain, stage by
stage, for a ten-page A4 PDF at 300 dpi: pdftopdf, the raster renderer
(gstoraster, as the scheduler picks it for PDF on Debian), our filter, our
backend (into the host) and the host with and without PNG images.

Each stage runs as the scheduler runs it (same argument list, the queue's
PPD in $PPD, the per-page device URI in $DEVICE_URI), one after the other
on the previous stage's output kept in a file, so that each one's CPU time
(user + system of the process and its children, from wait4) is its own.
The backend needs a printer lookup, so a private scheduler with the queue
is started by bench_jobs --serve.  Minimum of N runs (default 3).

  chain_bench.py BUILD_DIR [N]
"""
import os, resource, subprocess, sys, tempfile, time

build = sys.argv[1] if len(sys.argv) > 1 else "build"
runs = int(sys.argv[2]) if len(sys.argv) > 2 else 3
src = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
filters = "/usr/lib/cups/filter"
uri = "CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-page"


def cpu_of(args, env, stdin=None, stdout=None):
    """Runs args; returns the CPU seconds of it and its children."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    p = subprocess.run(args, env=env, stdin=stdin, stdout=stdout, stderr=subprocess.DEVNULL)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if p.returncode != 0:
        raise SystemExit("chain_bench: %s ended with %d" % (args[0], p.returncode))
    return (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)


def make_pdf(path):
    """Ten pages of text and a colour block each, made with ghostscript."""
    ps = path + ".ps"
    with open(ps, "w") as f:
        f.write("%!PS\n")
        for page in range(10):
            f.write("/Helvetica findfont 11 scalefont setfont\n")
            for line in range(60):
                f.write("72 %d moveto (Page %d line %d: the quick brown fox jumps over the lazy dog 0123456789) show\n"
                        % (760 - line * 11, page + 1, line + 1))
            f.write("%f 0.3 0.6 setrgbcolor 300 80 200 150 rectfill 0 setgray\n" % (page / 10.0))
            f.write("showpage\n")
    subprocess.run(["gs", "-q", "-dBATCH", "-dNOPAUSE", "-dSAFER", "-sDEVICE=pdfwrite",
                    "-sPAPERSIZE=a4", "-o", path, ps], check=True, stdout=subprocess.DEVNULL)


def main():
    work = tempfile.mkdtemp(prefix="corvane-chain-")
    pdf = os.path.join(work, "doc.pdf")
    make_pdf(pdf)
    serve = subprocess.Popen([os.path.join(build, "bin", "bench_jobs"), "--serve"],
                             stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    line = serve.stdout.readline().split()
    env = dict(os.environ)
    for kv in line:
        k, v = kv.split("=", 1)
        env[k] = v
    env.update({"PPD": os.path.join(src, "filter", "corvane.ppd"), "DEVICE_URI": uri,
                "CONTENT_TYPE": "application/pdf", "FINAL_CONTENT_TYPE": "application/vnd.cups-raster",
                "LANG": "C"})
    args = ["1", "bench", "chain", "1", ""]
    names = ["pdftopdf", "gstoraster", "rastertocorvane", "CorvaneBackend",
             "host (PNG images)", "host (records as JSON, no images)"]
    best = {n: 1e9 for n in names}
    files = {k: os.path.join(work, k) for k in ("pdf2", "ras", "stream")}
    try:
        for _ in range(runs):
            with open(pdf, "rb") as i, open(files["pdf2"], "wb") as o:
                t = cpu_of([os.path.join(filters, "pdftopdf")] + args, env, i, o)
            best["pdftopdf"] = min(best["pdftopdf"], t)
            with open(files["pdf2"], "rb") as i, open(files["ras"], "wb") as o:
                t = cpu_of([os.path.join(filters, "gstoraster")] + args, env, i, o)
            best["gstoraster"] = min(best["gstoraster"], t)
            with open(files["ras"], "rb") as i, open(files["stream"], "wb") as o:
                t = cpu_of([os.path.join(build, "bin", "rastertocorvane")] + args, env, i, o)
            best["rastertocorvane"] = min(best["rastertocorvane"], t)
            with open(files["stream"], "rb") as f:
                pages = f.read().count(b"ENDPAGE\n")
            if pages != 10:
                raise SystemExit("chain_bench: the filter's stream has %d pages, not 10" % pages)
            for label, hostArgs in (("host (PNG images)", ["-o", os.path.join(work, "out")]),
                                    ("host (records as JSON, no images)", ["-d"])):
                sock = "/tmp/kivprinter.sock"
                before = resource.getrusage(resource.RUSAGE_CHILDREN)
                host = subprocess.Popen([os.path.join(build, "bin", "kivprinter-host"), "-1"] + hostArgs,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                for _ in range(100):
                    if os.path.exists(sock):
                        break
                    time.sleep(0.05)
                bt = cpu_of([os.path.join(build, "bin", "CorvaneBackend")] + args + [files["stream"]], env)
                host.wait()
                after = resource.getrusage(resource.RUSAGE_CHILDREN)
                ht = (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime) - bt
                best["CorvaneBackend"] = min(best["CorvaneBackend"], bt)
                best[label] = min(best[label], ht)
    finally:
        serve.stdin.close()
        serve.wait()
    pngs = [f for _, _, fs in os.walk(os.path.join(work, "out")) for f in fs if f.endswith(".png")]
    if len(pngs) != 10 * runs:
        raise SystemExit("chain_bench: the host saved %d page images, not %d" % (len(pngs), 10 * runs))
    subprocess.run(["rm", "-rf", work])
    total = sum(best[n] for n in names[:5])
    ours = best["rastertocorvane"] + best["CorvaneBackend"]
    print("Ten-page A4 PDF at 300 dpi RGB, CPU per stage in ms (minimum of %d runs):" % runs)
    for n in names:
        print("  %-34s %9.1f ms  %5.1f %%" % (n, best[n] * 1000, 100 * best[n] / total))
    print("  our stages (filter + backend): %.1f ms, %.1f %% of the chain with PNG images" % (ours * 1000, 100 * ours / total))


main()
