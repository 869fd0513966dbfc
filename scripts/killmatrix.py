#!/usr/bin/env python3
# Which tests catch which faults: plants the faults of ../shared/tools/mutants.py one at a time
# in a copy of the tree (sanitizer build), runs the chosen ctest tests without stopping at the
# first failure, and writes one JSON line per fault with the names of the tests that failed.
# A test whose faults all fail other tests too adds nothing the suite lacks; a fault no test
# fails is a gap or a change without effect. With --sites, the faults named in an earlier
# output (those with the --status given) are planted again instead of a sample: the check
# that a test, once changed or removed, leaves nothing uncaught.
import argparse, json, os, random, re, shlex, shutil, sys, tempfile

ap = argparse.ArgumentParser(description=__doc__)
ap.add_argument("root", help="the project's folder")
ap.add_argument("--out", required=True, help="JSON lines to write")
ap.add_argument("--paths", default="lib,receiver,sender", help="folders or files to plant in")
ap.add_argument("--n", type=int, default=100, help="faults to sample")
ap.add_argument("--seed", type=int, default=1)
ap.add_argument("--sites", nargs="*", help="earlier outputs whose faults to plant again")
ap.add_argument("--status", default="KILLED", help="with --sites: which faults (KILLED, SURVIVED)")
ap.add_argument("--target", default="", help="build targets, comma-separated (default: all)")
ap.add_argument("--ctest-args", default="-LE e2e", help='which tests, e.g. "-L ^time$"')
ap.add_argument("--timeout", type=int, default=60, help="seconds for one test")
ap.add_argument("--tools", default=os.path.join(os.path.dirname(__file__), "../../shared/tools"))
a = ap.parse_args()
sys.path.insert(0, os.path.abspath(a.tools))
import mutants as M  # noqa: E402 (the site finder and file helpers of the mutation tool)

root = os.path.abspath(a.root)
files = M.project_files(root)
tmp = tempfile.mkdtemp(prefix="killmatrix-")
src, build = os.path.join(tmp, "src"), os.path.join(tmp, "build")
M.copy_files(root, files, src)
wanted = []
for earlier in a.sites or []:
    wanted += [r["site"] for r in map(json.loads, open(earlier))
               if r.get("status") == a.status]
paths = sorted({w.split(":")[0] for w in wanted}) if a.sites else a.paths.split(",")
sites, texts = M.collect_sites(src, files, paths)
if a.sites:
    by_name = {M.describe(s, texts[s.file]): s for s in sites}
    chosen = [by_name[w] for w in wanted if w in by_name]
else:
    chosen = random.Random(a.seed).sample(sites, min(a.n, len(sites)))
chosen.sort(key=lambda s: (s.file, s.start))

build_cmd = ["cmake", "--build", build, "-j2"] + (["--target", *a.target.split(",")] if a.target else [])


def ctest():
    rc, out = M.sh(["ctest", "--timeout", str(a.timeout), *shlex.split(a.ctest_args)], build,
                   a.timeout * 100)
    failed = re.findall(r"^\s*\d+ - (\S+) \(", out.split("The following tests FAILED:")[-1], re.M)
    return rc, failed if rc else [], out


try:
    rc, out = M.sh(["cmake", "-S", src, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                    "-DZIMB_SANITIZE=ON"], src, 900)
    rc = rc or M.sh(build_cmd, src, 3000)[0]
    if rc == 0:
        rc, _, out = ctest()
    if rc != 0:
        sys.exit("the unchanged tree does not build or pass:\n" + out[-3000:])
    with open(a.out, "w") as f:
        for s in chosen:
            path, text = os.path.join(src, s.file), texts[s.file]
            M.write(path, text[:s.start] + s.new + text[s.end:])
            try:
                if M.sh(build_cmd, src, 900)[0] != 0:
                    rec = {"site": M.describe(s, text), "status": "INVALID"}
                else:
                    rc, failed, _ = ctest()
                    rec = {"site": M.describe(s, text), "status": "KILLED" if rc else "SURVIVED",
                           "failed": failed}
            finally:
                M.write(path, text)
            f.write(json.dumps(rec) + "\n")
            f.flush()
            print(rec["status"], rec["site"][:100], flush=True)
finally:
    shutil.rmtree(tmp, ignore_errors=True)
