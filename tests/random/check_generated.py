#!/usr/bin/env python3
"""The committed generated tables of the random side equal what their tools
make now: nobody edited them by hand, and the tools still produce them.

Usage: check_generated.py REPO_ROOT [SHARED_DATA_DIR]. The WH, MT2203 and Sobol
tables are checked only when the shared data directory is present."""
import os
import subprocess
import sys


def run(args):
    return subprocess.run([sys.executable] + args, check=True, capture_output=True, text=True).stdout


def main():
    root = sys.argv[1]
    data = sys.argv[2] if len(sys.argv) > 2 else os.path.join(root, "..", "shared", "data")
    bad = []
    made = run([os.path.join(root, "tools", "random_vect3_tables.py")])
    if made != open(os.path.join(root, "random", "streams", "vect3_pow_tables.inc")).read():
        bad.append("random/streams/vect3_pow_tables.inc")
    made = run([os.path.join(root, "tools", "gen_mrg32k3a_tables.py")])
    if made != open(os.path.join(root, "random", "generators", "mrg32k3a_jump.inc")).read():
        bad.append("random/generators/mrg32k3a_jump.inc")
    made = run([os.path.join(root, "tools", "random_mt_polynomials.py")])
    if made != open(os.path.join(root, "random", "generators", "mt_polynomials.inc")).read():
        bad.append("random/generators/mt_polynomials.inc")
    made = run([os.path.join(root, "tools", "gen_poisson_table.py")])
    if made != open(os.path.join(root, "random", "distributions", "poisson_normal_table.inc")).read():
        bad.append("random/distributions/poisson_normal_table.inc")
    mt2203 = os.path.join(data, "mt2203_parameters.txt")
    if os.path.exists(mt2203):
        made = run([os.path.join(root, "tools", "random_mt2203_table.py"), mt2203])
        if made != open(os.path.join(root, "random", "generators", "mt2203_parameters.inc")).read():
            bad.append("random/generators/mt2203_parameters.inc")
    else:
        print("no %s: MT2203 table not checked" % mt2203)
    wh = os.path.join(data, "wh_parameters.txt")
    if os.path.exists(wh):
        made = run([os.path.join(root, "tools", "random_wh_table.py"), wh])
        if made != open(os.path.join(root, "random", "generators", "wh_parameters.inc")).read():
            bad.append("random/generators/wh_parameters.inc")
    else:
        print("no %s: WH table not checked" % wh)
    sobol = os.path.join(data, "sobol_initial.txt")
    if os.path.exists(sobol):
        made = run([os.path.join(root, "tools", "random_sobol_table.py"), sobol])
        if made != open(os.path.join(root, "random", "generators", "sobol_initial.inc")).read():
            bad.append("random/generators/sobol_initial.inc")
    else:
        print("no %s: Sobol table not checked" % sobol)
    if bad:
        print("differs from its generator:", ", ".join(bad))
        sys.exit(1)
    print("ok")


if __name__ == "__main__":
    main()
