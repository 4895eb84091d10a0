#!/usr/bin/env python3
"""Writes examples/data/measurements.csv: 200 observations of three correlated
variables (a fixed seed), every 37th from the 6th on moved far away, so that
the classical and the robust estimates of examples/quantiles_robust.c differ."""
import os
import random

r = random.Random(7)
out = os.path.join(os.path.dirname(__file__), "..", "examples", "data", "measurements.csv")
with open(out, "w") as f:
    f.write("# temperature,pressure,flow: 200 observations, 6 of them gross outliers\n")
    for i in range(200):
        z = [r.gauss(0, 1) for _ in range(3)]
        x = [10 + 2 * z[0], 5 + 1.0 * z[0] + 0.8 * z[1], -3 + 0.5 * z[1] + 0.3 * z[2]]
        if i % 37 == 5:
            x = [x[0] + 40, x[1] - 25, x[2] + 30]
        f.write("%.6f,%.6f,%.6f\n" % tuple(x))
