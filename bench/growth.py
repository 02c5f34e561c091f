#!/usr/bin/env python3
"""Measures how time and memory grow with the input.

usage: growth.py PROGRAM

Each shape is a line, or some lines, of a length. Scripts with a megabyte of lines are timed for lengths from 10 KB to
1 MB: if time is linear in the length, all of them take the same time. The exponent is fitted to the processor times.
Memory is the peak for the longest line, beyond that of an empty script, in bytes per byte of input."""

import math
import os
import subprocess
import sys
import tempfile

SIZES = [10_000, 32_000, 100_000, 320_000, 1_000_000]
RUNS = 2
SHORTEST, MOST_COPIES = 0.02, 20
LARGEST_EXPONENT, MOST_MEMORY = 1.2, 60


def repeat(text, size):
    return text * (size // len(text))


def nest(opening, middle, closing, levels):
    return opening * levels + middle + closing * levels


DEEP_VECTOR = nest("<", "1", ">", 300)

# (name, the lines of a length)
SHAPES = [
    ("additions", lambda n: [repeat("1+", n) + "1"]),
    ("operators of all priorities", lambda n: [repeat("1+2*3^2/4-5%3*", n) + "1"]),
    ("operators without right operands", lambda n: ["1" + repeat("!", n)]),
    ("operators without left operands", lambda n: [repeat("-", n) + "1"]),
    ("names", lambda n: ["a = 1", repeat("a+a*", n) + "a"]),
    ("calls", lambda n: [repeat("abs(1)+", n) + "1"]),
    ("arguments of a call", lambda n: ["max(" + repeat("1,", n) + "1)"]),
    ("calls within calls", lambda n: [repeat(nest("abs(", "1", ")", 900) + "+", n) + "1"]),
    ("round brackets", lambda n: [repeat("(1)+", n) + "1"]),
    ("round brackets within one another", lambda n: [repeat(nest("(", "1", ")", 900) + "+", n) + "1"]),
    ("round brackets around a long text", lambda n: [nest("(", repeat("1+", n) + "1", ")", 900)]),
    ("square brackets", lambda n: ["v = <1>", repeat("v[0]+", n) + "1"]),
    ("angle brackets", lambda n: [repeat("<1>+", n) + "<1>"]),
    ("angle brackets within one another", lambda n: [repeat(DEEP_VECTOR + "+", n) + DEEP_VECTOR]),
    ("brackets that never close", lambda n: [repeat("(", n)]),
    ("a vector", lambda n: ["v = <" + repeat("1.25,", n) + "1>"]),
    ("a vector of pairs", lambda n: ["v = <" + repeat("<1.2345678,2>,", n) + "<1,2>>"]),
    ("a vector, added to itself and shown", lambda n: ["v = <" + repeat("1.2345678901,", n) + "1>", "v+v"]),
    ("statements on a line", lambda n: [repeat("a=1;", n)]),
    ("empty statements on a line", lambda n: [repeat(";", n)]),
    ("a long name", lambda n: [repeat("a", n // 2) + " = 1", repeat("a", n // 2)]),
    ("a long number", lambda n: [repeat("1", n)]),
    ("a long fraction", lambda n: ["." + repeat("1", n)]),
    ("an error that quotes the text", lambda n: [repeat(". ", n)]),
    ("blanks", lambda n: [repeat(" ", n) + "1"]),
    ("a comment", lambda n: ["//" + repeat("x", n)]),
    ("ampersands", lambda n: [repeat("&", n) + "a"]),
    ("a reference", lambda n: ["r &= " + repeat("1+", n) + "1"]),
    ("a reference that has no value", lambda n: ["u &= " + repeat("1+", n) + "x"]),
    ("operations that are kept", lambda n: ["y = &" + repeat("x", n // 2), "(y+1)*2-y"]),
    ("nested brackets, kept", lambda n: ["u &= x" + nest("(", "1", ")", n // 2) + "y", "u+1"]),
    ("plain text around a bracket, kept",
     lambda n: ["u &= " + repeat("x", n // 2) + "(1)" + repeat("x", n // 2), "u+1"]),
    ("constructors around a text", lambda n: [nest("Reference(", repeat("a", n), ")", 999)]),
]


def measure_time(program, script):
    """The lowest processor time of some runs in seconds."""
    seconds = math.inf
    for _ in range(RUNS):
        process = subprocess.Popen([program, script], stdout=subprocess.DEVNULL, cwd=os.path.dirname(script))
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            sys.exit("%s ended with %d" % (script, process.returncode))
        seconds = min(seconds, usage.ru_utime + usage.ru_stime)
    return seconds


def measure_memory(program, script):
    """The peak memory in bytes. A small program starts the process, because memory before its start counts too."""
    process = subprocess.run(["/usr/bin/time", "-f", "%M", program, script], stdout=subprocess.DEVNULL,
                             stderr=subprocess.PIPE, text=True, cwd=os.path.dirname(script), check=True)
    return int(process.stderr.split()[-1]) * 1024


def slope(points):
    """Of the line that fits the points best."""
    mean_x, mean_y = (sum(values) / len(points) for values in zip(*points))
    return sum((x - mean_x) * (y - mean_y) for x, y in points) / sum((x - mean_x) ** 2 for x, _ in points)


def main():
    program = os.path.abspath(sys.argv[1])
    print("| shape | a megabyte in one | exponent | bytes a byte |")
    print("| --- | --- | --- | --- |")
    failed = False
    with tempfile.TemporaryDirectory() as folder:
        script = os.path.join(folder, "script")

        def write(lines):
            with open(script, "w") as file:
                file.write("\n".join(lines) + "\n")

        def fit(shape, copies):
            """The exponent, from as much input in lines of different lengths."""
            points = []
            for size in SIZES:
                write(shape(size) * (copies * SIZES[-1] // size))
                points.append((math.log(size), math.log(max(measure_time(program, script) - start, 1e-4))))
            return 1 + slope(points)

        write([])
        start, floor = measure_time(program, script), measure_memory(program, script)
        for name, shape in SHAPES:
            write(shape(SIZES[-1]))
            longest = max(measure_time(program, script) - start, 1e-4)
            memory = (measure_memory(program, script) - floor) / os.path.getsize(script)
            # Cheap shapes are repeated until they take long enough to be timed.
            copies = min(MOST_COPIES, math.ceil(SHORTEST / longest))
            exponent = fit(shape, copies)
            if exponent > LARGEST_EXPONENT:  # perhaps because the machine was busy
                exponent = fit(shape, copies)
            failed = failed or exponent > LARGEST_EXPONENT or memory > MOST_MEMORY
            print("| %s | %.0f ms | %.2f | %.0f |" % (name, 1000 * longest, exponent, memory), flush=True)
    if failed:
        sys.exit("growth.py: an exponent is above %.1f, or memory above %d bytes a byte" %
                 (LARGEST_EXPONENT, MOST_MEMORY))


main()
