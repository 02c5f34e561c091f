#!/usr/bin/env python3
"""The calculator as a whole process, beside the calculators that happen to be installed.

usage: compare.py ORBEL [--rounds N] [--quick] [--picture FILE.svg]

Every work is generated here, once for each program. All outputs are checked first. Then the programs take turns, and
the table shows the median of their processor times as a multiple of the yardstick's. The picture shows cost against
size.
"""

import argparse
import math
import os
import random
import shutil
import statistics
import subprocess
import sys
import tempfile

PROGRAMS = ["orbel", "bc", "awk", "lua", "python3"]
COMMANDS = {
    "bc": ["bc", "-q"],
    "awk": ["awk", "-f"],
    "lua": [shutil.which("lua5.4") or "lua"],
    "python3": ["python3"],
}


class Work:
    """A workload: its text for each program, and the last number that all of them print."""

    def __init__(self, name, yardstick, expected, texts):
        self.name, self.yardstick, self.expected, self.texts = name, yardstick, expected, texts


def awk(lines):
    # Some implementations reject one long action.
    parts = [lines[i:i + 1000] for i in range(0, len(lines), 1000)]
    return "".join("BEGIN { %s\n}\n" % "\n".join(part) for part in parts)


FORMS = {
    "": ["{a} = {b}+{k}", "{a}*{k}-{b}", "{a} = ({b}+{c})/{k}", "sqrt({a}*{a}+{k})", "({a}-{b})^2/{k}", "{a} = {k}"],
    ", whole numbers": ["{a} = {b}+{k}", "{a}*{k}-{b}", "{a} = {k}*{k}", "({a}+{b})*{k}/8"],
    ", long fractions": ["{a} = {b}/{k}+{c}/11", "{a}+{b}*{k}", "({a}-{b})/{k}", "{a} = {k}+{b}/7"],
}


def statements(count, kind):
    rng = random.Random(1)
    names = ["x%d" % i for i in range(50)]
    values = {name: float(i + 1) for i, name in enumerate(names)}
    plain = ["%s = %d" % (name, i + 1) for i, name in enumerate(names)]
    last = 0.0
    for i in range(count - len(names)):
        a, b, c, k = rng.choice(names), rng.choice(names), rng.choice(names), rng.randint(2, 9)
        text = FORMS[kind][i % len(FORMS[kind])].format(a=a, b=b, c=c, k=k)
        last = eval(text.split("= ")[-1].replace("^", "**"), {"sqrt": math.sqrt}, values)
        if "=" in text:
            values[a] = last
        plain.append(text)

    def shown(assignment, expression):
        return [assignment(*line.split(" = ")) if "=" in line else expression(line) for line in plain]

    python = "\n".join(shown(lambda n, e: "%s = %s; print(%s)" % (n, e, n), lambda e: "print(%s)" % e))
    lua = "\n".join(shown(lambda n, e: "%s = %s print(%s)" % (n, e, n), lambda e: "print(%s)" % e))
    return Work("%d short statements%s" % (count, kind), "bc", last, {
        "orbel": "\n".join(plain),
        "bc": "scale = 15\n" + "\n".join(shown(lambda n, e: "%s = %s\n%s" % (n, e, n), str)),
        "awk": awk(["CONVFMT = OFMT = \"%.15g\""] +
                   shown(lambda n, e: "print %s = %s" % (n, e), lambda e: "print (%s)" % e)),
        "lua": "sqrt = math.sqrt\n" + lua,
        "python3": "from math import sqrt\n" + python.replace("^", "**"),
    })


def flat(count):
    terms = [str(i % 997 + 1) for i in range(count)]
    text = "+".join(terms)
    texts = {"orbel": text, "bc": text, "awk": awk(["print " + text]), "lua": "print(%s)" % text}
    if count <= 1000:
        texts["python3"] = "print(%s)" % text  # its parser recurses
    return Work("flat, %d terms" % count, "bc", sum(map(int, terms)), texts)


def nested(levels, total):
    lines = ["(" * levels + "1+1" + ")" * levels, "abs(" * levels + "2" + ")" * levels] * (total // levels // 2)
    bc = ["define f(x) { return x; }"] + [line.replace("abs", "f") for line in lines]
    return Work("nested, %d levels each, %d in all" % (levels, total), "bc", 2, {
        "orbel": "\n".join(lines), "bc": "\n".join(bc),
        "awk": "function f(x) { return x }\n" + awk(["print " + line.replace("abs", "f") for line in lines]),
    })


def vectors(count):
    numbers = [str(i % 1000) for i in range(count)]
    listed = ", ".join(numbers)
    lua = "local v, w, s, t = {%s}, {%s}, {}, {}\n" % (listed, listed)
    lua += "for i = 1, #v do s[i] = v[i] + w[i] end\nfor i = 1, #v do t[i] = 2*s[i] end\n"
    lua += "".join("print(table.concat(%s, ', '))\n" % name for name in "vwst") + "print(t[%d])" % (count // 2 + 1)
    python = "v = [%s]\nw = [%s]\ns = [a+b for a, b in zip(v, w)]\nt = [2*a for a in s]\n" % (listed, listed)
    python += "for x in (v, w, s, t): print(x)\nprint(t[%d])" % (count // 2)
    orbel = "v = <%s>\nw = <%s>\ns = v+w\nt = 2*s\nt[%d]" % (listed, listed, count // 2)
    return Work("two vectors of %d" % count, "lua", 4 * (count // 2 % 1000),
                {"orbel": orbel, "lua": lua, "python3": python})


def references(links, count):
    orbel = ["r0 = 1"] + ["r%d &= r%d+1" % (i, i - 1) for i in range(1, links + 1)] + ["r%d+0" % links] * count
    bc = ["define f0() { return 1; }"]
    bc += ["define f%d() { return f%d()+1; }" % (i, i - 1) for i in range(1, links + 1)] + ["f%d()+0" % links] * count
    lua = ["local f0 = function() return 1 end"] + [
        "local f%d = function() return f%d()+1 end" % (i, i - 1) for i in range(1, links + 1)]
    lua += ["for i = 1, %d do print(f%d()+0) end" % (count, links)]
    python = ["def f0(): return 1"] + ["def f%d(): return f%d()+1" % (i, i - 1) for i in range(1, links + 1)]
    python += ["for i in range(%d): print(f%d()+0)" % (count, links)]
    return Work("%d links, %d times" % (links, count), "bc", links + 1, {
        "orbel": "\n".join(orbel), "bc": "\n".join(bc), "lua": "\n".join(lua), "python3": "\n".join(python)})


def names(count):
    lines = lambda define, read: "\n".join([define % (i, i, i) if define.count("%") == 3 else define % (i, i)
                                            for i in range(count)] + [read % i for i in range(count)])
    texts = {"orbel": lines("n%d = %d", "n%d"), "lua": lines("n%d = %d print(n%d)", "print(n%d)")}
    if count <= 100000:
        texts["python3"] = lines("n%d = %d; print(n%d)", "print(n%d)")  # more take minutes
    return Work("%d names" % count, "lua", count - 1, texts)


def empty():
    return Work("empty script", "bc", None, {"orbel": "", "bc": "", "awk": "BEGIN {}", "lua": "", "python3": ""})


def works(quick):
    shrink = 10 if quick else 1
    return [statements(200000 // shrink, kind) for kind in FORMS] + [
        flat(1000000 // shrink), nested(1000, 1000000 // shrink), vectors(1000000 // shrink),
        references(100, 50000 // shrink), names(100000 // shrink), names(1000000 // shrink), empty()]


class Runner:
    def __init__(self, orbel, folder):
        self.orbel, self.folder = os.path.abspath(orbel), folder
        self.programs = [p for p in PROGRAMS if p == "orbel" or shutil.which(COMMANDS[p][0])]

    def write(self, work):
        for program in self.programs:
            if program in work.texts:
                with open(os.path.join(self.folder, program), "w") as file:
                    file.write(work.texts[program] + ("\n" if work.texts[program] else ""))

    def run(self, program):
        """The processor time of one run and whether it succeeded; the output goes to the file "output"."""
        command = [self.orbel] if program == "orbel" else COMMANDS[program]
        with open(os.path.join(self.folder, "output"), "wb") as output:
            process = subprocess.Popen(command + [os.path.join(self.folder, program)], stdin=subprocess.DEVNULL,
                                       stdout=output, stderr=subprocess.DEVNULL, cwd=self.folder)
            _, status, usage = os.wait4(process.pid, 0)
        process.returncode = status
        return usage.ru_utime + usage.ru_stime, status == 0

    def is_right(self, program, work):
        """Whether the last number of the output is the expected one."""
        if not self.run(program)[1]:
            return False
        with open(os.path.join(self.folder, "output")) as output:
            words = output.read().split()
        if work.expected is None:
            return not words
        return bool(words) and abs(float(words[-1]) - work.expected) <= 1e-6 * max(1, abs(work.expected))

    def measure(self, work, rounds):
        """The median processor time of each program that does the work correctly."""
        self.write(work)
        fit = [p for p in self.programs if p in work.texts and self.is_right(p, work)]
        if "orbel" not in fit:
            sys.exit("compare.py: orbel prints something else than expected for: " + work.name)
        times = {program: [] for program in fit}
        for _ in range(rounds):
            for program in fit:
                times[program].append(self.run(program)[0])
        return {program: statistics.median(values) for program, values in times.items()}


def print_table(runner, rounds, quick):
    rows = []
    for work in works(quick):
        print("measuring: " + work.name, file=sys.stderr)
        medians = runner.measure(work, rounds * 5 if work.expected is None else rounds)
        unit = medians.get(work.yardstick)
        cells = ["%.2f" % (medians[p] / unit) if unit and p in medians else "-" for p in runner.programs]
        rows.append([work.name, "%s, %.4g s" % (work.yardstick, unit) if unit else "-"] + cells)
    head = ["work", "yardstick"] + runner.programs
    for row in [head, ["---"] * len(head)] + rows:
        print("| " + " | ".join(row) + " |")


def draw(runner, rounds, quick, path):
    """Plots cost against size for flat expressions, both axes logarithmic."""
    sizes = [10 ** k for k in range(3, 6 if quick else 7)]
    points = {program: [] for program in runner.programs}
    for size in sizes:
        for program, seconds in runner.measure(flat(size), rounds).items():
            points[program].append((size, seconds))
    script = ["set terminal svg size 720,440 font 'sans,12' background 'white'", "set output '%s'" % path,
              "set logscale xy", "set format x '10^{%T}'", "set key left top",
              "set xlabel 'terms of one flat expression'", "set ylabel 'processor time of the whole process, s'",
              "set grid"]
    drawn = [program for program in runner.programs if points[program]]
    script += ["plot " + ", ".join("'-' with linespoints lw 2 title '%s'" % program for program in drawn)]
    for program in drawn:
        script += ["%d %.6f" % point for point in points[program]] + ["e"]
    subprocess.run(["gnuplot"], input="\n".join(script), text=True, check=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("orbel")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--quick", action="store_true", help="a tenth of the work")
    parser.add_argument("--picture", help="where to draw cost against size")
    options = parser.parse_args()
    sys.setrecursionlimit(100000)
    with tempfile.TemporaryDirectory() as folder:
        runner = Runner(options.orbel, folder)
        print_table(runner, options.rounds, options.quick)
        if options.picture:
            draw(runner, options.rounds, options.quick, options.picture)


main()
