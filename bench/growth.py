#!/usr/bin/env python3
"""Measures how time and memory grow: fits an exponent to the processor time of scripts that double in size.

usage: growth.py PROGRAM [--quick]

The shapes are prone to superlinear growth. Memory is the peak above that of an empty script, per byte of the largest
one. A shape must be linear unless its row states another exponent and why."""

import math
import os
import subprocess
import sys
import tempfile

RUNS = 3
SIZES = 4  # each double the one before


def nest(opening, middle, closing, levels):
    return opening * levels + middle + closing * levels


def nested_vectors(n):
    return (["w%d=1" % k for k in range(n + 1)] +
            ["w%d=%s" % (k, nest("<", "&w%d,1" % (k - 1), ">", 900)) for k in range(n, 0, -1)])


def chain_to_nothing(n):
    return ["r%d &= r%d+1" % (k, k - 1) for k in range(1, n)]


def kept_sums(n):
    return ["x=&a", "x=x+x;" * 12] + ["y=x" + "+1" * n]


# (name, script of a size, smallest size, largest exponent)
SHAPES = [
    ("a flat line", lambda n: ["1" + "+1" * n], 100_000, 1),
    ("brackets in a line", lambda n: ["(1)+" * n + "1"], 50_000, 1),
    ("nested brackets, kept", lambda n: ["u &= x" + nest("(", "1", ")", n) + "y", "u+1"], 50_000, 1),
    ("plain text around a bracket, kept", lambda n: ["u &= " + "x" * n + "(1)" + "x" * n, "u+1"], 50_000, 1),
    ("statements on a line", lambda n: ["a=1;" * n], 10_000, 1),
    ("a vector of pairs", lambda n: ["v=<" + "<1,2>," * n + "<1,2>>"], 20_000, 1),
    ("ampersands", lambda n: ["&" * n + "a"], 100_000, 1),
    ("constructors around a text", lambda n: [nest("Reference(", "a" * n, ")", 999)], 20_000, 1),
    ("vectors through references, shown", nested_vectors, 50, 1),
    ("terms of a kept sum", kept_sums, 100, 1),
    # the text of each link grows with the chain before it
    ("a chain to nothing", chain_to_nothing, 124, 2),
    # each reference shows the vector once
    ("a vector of references to itself", lambda n: ["v=1", "v=<1," + ",".join(["&v"] * n) + ">"], 100, 2),
]


def measure(program, script):
    """The lowest processor time of the runs in seconds, and the peak memory in bytes."""
    seconds, peak = math.inf, 0
    for _ in range(RUNS):
        process = subprocess.Popen([program, script], stdout=subprocess.DEVNULL, cwd=os.path.dirname(script))
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            sys.exit("%s ended with %d" % (script, process.returncode))
        seconds = min(seconds, usage.ru_utime + usage.ru_stime)
        peak = usage.ru_maxrss * 1024
    return seconds, peak


def main():
    program = os.path.abspath(sys.argv[1])
    scale = 4 if "--quick" in sys.argv else 1
    print("| shape | largest script | time | exponent | wanted | bytes a byte |")
    print("| --- | --- | --- | --- | --- | --- |")
    failed = False
    with tempfile.TemporaryDirectory() as folder:
        script = os.path.join(folder, "script")

        def measure_lines(lines):
            with open(script, "w") as file:
                file.write("\n".join(lines) + "\n")
            return measure(program, script)

        start, floor = measure_lines([])
        for name, shape, smallest, wanted in SHAPES:
            times = []
            for i in range(SIZES):
                seconds, peak = measure_lines(shape(max(10, smallest // scale) << i))
                times.append(max(seconds - start, 1e-4))
            size = os.path.getsize(script)
            # the slope over the last two doublings, where the fixed cost matters least
            exponent = math.log2(times[-1] / times[-3]) / 2
            failed = failed or exponent > wanted + 0.3
            # a small script says nothing about memory
            memory = "%.0f" % (max(0, peak - floor) / size) if size > 50_000 else "-"
            print("| %s | %d KB | %.2f s | %.2f | %d | %s |" %
                  (name, size // 1000, times[-1], exponent, wanted, memory))
    sys.exit(1 if failed else 0)


main()
