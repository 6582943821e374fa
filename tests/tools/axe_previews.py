#!/usr/bin/env python3
"""Audits every preview page of the sample campaigns with axe-core in headless Chromium.

Draws the campaigns with `otsim --preview` at its four widths, runs axe-core over each page (the
page is copied with axe and a few lines that write the violations into the page, which Chromium
then dumps) and fails on any violation of impact "serious" or "critical". axe-core comes from
PyPI, inside the axe-playwright-python wheel (only its axe.min.js is used), and is kept in the work
folder. Exits 77 (skipped) when Chromium is missing.

Usage: axe_previews.py OTSIM CAMPAIGNS WORK
"""
import concurrent.futures
import html
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import zipfile

AXE_WHEEL = "axe-playwright-python==0.1.8"  # carries axe-core 4.12.1
SKIPPED = 77
BLOCKING = {"serious", "critical"}
RESULT = re.compile(r'<pre id="axe-result">(.*?)</pre>', re.S)
RUNNER = """<script>%s</script><script>
axe.run(document, {resultTypes: ["violations"]}).then(function (result) {
  var out = document.createElement("pre");
  out.id = "axe-result";
  out.textContent = JSON.stringify(result.violations.map(function (v) {
    return {id: v.id, impact: v.impact, help: v.help, targets: v.nodes.map(function (n) { return n.target.join(" "); })};
  }));
  document.documentElement.appendChild(out);
});
</script>"""


def browser():
    named = os.environ.get("OT_CHROMIUM")
    return named if named and os.access(named, os.X_OK) else shutil.which("chromium")


def axe_source(work):
    kept = work / "axe" / "axe.min.js"
    if not kept.exists():
        download = work / "axe" / "wheel"
        subprocess.run([sys.executable, "-m", "pip", "download", "--quiet", "--no-deps", "-d", str(download),
                        AXE_WHEEL], check=True)
        wheel = next(download.glob("*.whl"))
        with zipfile.ZipFile(wheel) as archive:
            kept.write_bytes(archive.read("axe_playwright_python/axe.min.js"))
    return kept.read_text(encoding="utf-8")


def audit(chromium, axe, page, width):
    """The violations of one page, as axe reports them."""
    audited = page.with_name("axe-" + page.name)
    audited.write_text(page.read_text(encoding="utf-8").replace("</body>", RUNNER % axe + "</body>"),
                       encoding="utf-8")
    # Root may run Chromium only without its sandbox.
    done = subprocess.run([chromium, "--headless", "--no-sandbox", "--disable-gpu", "--virtual-time-budget=20000",
                           "--window-size=%d,1400" % width, "--dump-dom", audited.as_uri()],
                          capture_output=True, text=True, timeout=180)
    audited.unlink()
    found = RESULT.search(done.stdout)
    if not found:
        return [{"id": "no-result", "impact": "critical", "help": "axe-core gave no result: " + done.stderr[-300:],
                 "targets": []}]
    return json.loads(html.unescape(found.group(1)))


def main():
    if len(sys.argv) != 4:
        print(__doc__.strip().splitlines()[-1])
        return 2
    otsim, campaigns, work = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
    chromium = browser()
    if not chromium:
        print("skipped: chromium is not installed (Debian package chromium)")
        return SKIPPED
    work.mkdir(parents=True, exist_ok=True)
    axe = axe_source(work)
    pages = work / "pages"
    shutil.rmtree(pages, ignore_errors=True)
    subprocess.run([otsim, "--preview", str(pages), "--campaigns", campaigns], check=True,
                   stdout=subprocess.DEVNULL, env=dict(os.environ, OT_CHROMIUM="/nonexistent"))
    drawn = sorted((int(folder.name), page) for folder in pages.iterdir() if folder.name.isdigit()
                   for page in folder.glob("*.html"))
    if not drawn:
        print("no preview pages were drawn")
        return 1
    failures = 0
    with concurrent.futures.ThreadPoolExecutor(max_workers=os.cpu_count() or 2) as pool:
        audits = {pool.submit(audit, chromium, axe, page, width): (width, page) for width, page in drawn}
        for future in concurrent.futures.as_completed(audits):
            width, page = audits[future]
            for violation in future.result():
                if violation["impact"] in BLOCKING:
                    failures += 1
                    print("%d/%s: %s (%s) %s at %s" % (width, page.name, violation["id"], violation["impact"],
                                                       violation["help"], ", ".join(violation["targets"])))
    print("%d pages at %d widths audited with axe-core: %d serious or critical violations"
          % (len(drawn), len({width for width, _ in drawn}), failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
