#!/usr/bin/env python3
"""The calculator as a whole process, beside others that are Debian packages.

usage: compare.py ORBEL [--rounds N] [--quick] [--picture FILE.svg]

Every work is generated here, once for each program. All that is printed is compared first, number by number. Then the
programs take turns, and the table shows their shortest processor times as multiples of the yardstick's: what else a
shared machine does only adds to them. The picture shows cost against size.
"""

import argparse
import math
import os
import random
import subprocess
import sys
import tempfile

ENOUGH = 8  # seconds of processor time for a work
TURN = 0.3  # for a turn of a program, in which a short run is repeated
COMMANDS = {"orbel": [], "bc": ["bc", "-q"], "mawk": ["mawk", "-f"], "lua": ["lua5.4"], "luajit": ["luajit"]}


class Work:
    """A workload: its text for each program."""

    def __init__(self, name, yardstick, texts, shows_memory=False):
        self.name, self.yardstick, self.texts, self.shows_memory = name, yardstick, texts, shows_memory


def in_blocks(lines, begin, end):
    """Lines in blocks of a thousand: some implementations reject a longer action or function."""
    blocks = [lines[i:i + 1000] for i in range(0, len(lines), 1000)]
    return "".join(begin + "\n" + "\n".join(block) + "\n" + end + "\n" for block in blocks)


def awk(lines, functions=""):
    return functions + in_blocks(lines, "BEGIN {", "}")


def lua(lines):
    return in_blocks(lines, "do local function block()", "end block() end")


FORMS = ["{a} = 3.25*{b} + 2/({c}+1)", "{a} = ({b} - {c})*0.75 + 4.5", "2*sqrt({a}) + abs({b} - 50)",
         "{a}^3/100 + 31", "{a} = 56.89*3 - 2.5", "{a} = {b} + {c} - 9.34"]


def statements(count):
    rng = random.Random(1)
    names = ["a%d" % i for i in range(50)]
    values = {name: i + 1.0 for i, name in enumerate(names)}
    plain = ["%s = %d" % (name, i + 1) for i, name in enumerate(names)]
    while len(plain) < count:
        a, b, c = rng.sample(names, 3)
        form = FORMS[len(plain) % len(FORMS)]
        if ("sqrt" in form and values[a] < 0) or abs(values[b]) > 1000 or abs(values[c] + 1) < 0.01:
            continue
        plain.append(form.format(a=a, b=b, c=c))
        if "=" in form:
            expression = plain[-1].split(" = ")[1].replace("^", "**")
            values[a] = eval(expression, {}, values)

    def shown(assignment, expression):
        return [assignment(*line.split(" = ")) if "=" in line else expression(line) for line in plain]

    script = "sqrt, abs = math.sqrt, math.abs\n" + lua(
        shown(lambda n, e: "%s = %s print(%s)" % (n, e, n), lambda e: "print(%s)" % e))
    return Work("%d statements over fifty names" % count, "bc", {
        "orbel": "\n".join(plain),
        "bc": "scale = 15\ndefine abs(x) { if (x < 0) return -x; return x; }\n" +
              "\n".join(shown(lambda n, e: "%s = %s\n%s" % (n, e, n), str)),
        "mawk": awk(["CONVFMT = OFMT = \"%.15g\""] +
                    shown(lambda n, e: "print %s = %s" % (n, e), lambda e: "print (%s)" % e),
                    "function abs(x) { return x < 0 ? -x : x }\n"),
        "lua": script, "luajit": script,
    })


def flat(count):
    numbers = ["1.5", "2", "3", "4", "5", "7.25", "1.5", "4", "12.5", "8", "3", "0.125", "16", "9.75", "2"]
    signs = ["+", "*", "-", "/", "+", "-", "*", "+", "/", "-", "+", "*", "-", "/", "+"]
    terms = [numbers[i % len(numbers)] + signs[i % len(signs)] for i in range(count)]
    text = "".join(terms)[:-1]
    script = "print(%s)" % text
    return Work("a flat line of %d terms" % count, "lua",
                {"orbel": text, "bc": "scale = 15\n" + text, "mawk": awk(["OFMT = \"%.15g\"", "print " + text]),
                 "lua": script, "luajit": script})


def calls(lines, levels):
    texts = ["sqrt(" * levels + str(i % 97 + 2) + ")" * levels for i in range(lines)]
    script = "sqrt = math.sqrt\n" + lua(["print(%s)" % text for text in texts])
    return Work("%d lines of sqrt(sqrt(... %d deep" % (lines, levels), "lua",
                {"orbel": "\n".join(texts), "lua": script,
                 "luajit": script})


def vectors(count):
    first = ", ".join("%.15g" % (1 + 1.75 * (i % 1000)) for i in range(count))
    second = ", ".join("%.15g" % (2 + 0.5 * (i % 1000)) for i in range(count))
    script = "local v, w, s, t = {%s}, {%s}, {}, {}\n" % (first, second)
    script += "local function show(x) print(table.concat(x, ', ')) end show(v) show(w)\n"
    script += "for i = 1, #v do s[i] = v[i] + w[i] end show(s) print(v[%d])\n" % (count // 2 + 1)
    script += "for i = 1, #v do t[i] = 2*v[i] end show(t)\n"
    return Work("two vectors of %d" % count, "lua", {
        "orbel": "v1 = <%s>\nv2 = <%s>\nv1+v2\nv1[%d]\n2*v1" % (first, second, count // 2),
        "lua": script, "luajit": script}, shows_memory=True)


def chain(links, count):
    orbel = ["r0 = 1"] + ["r%d &= r%d+1" % (i, i - 1) for i in range(1, links + 1)] + ["r%d" % links] * count
    bc = ["define r0() { return 1; }", "r0()"]
    bc += ["define r%d() { return r%d()+1; }" % (i, i - 1) for i in range(1, links + 1)]
    bc += ["r%d()" % i for i in range(1, links + 1)] + ["r%d()" % links] * count
    script = ["local r0 = function() return 1 end print(r0())"]
    script += ["local r%d = function() return r%d()+1 end print(r%d())" % (i, i - 1, i) for i in range(1, links + 1)]
    script += ["for i = 1, %d do print(r%d()) end" % (count, links)]
    return Work("%d links, shown %d times" % (links, count), "bc", {
        "orbel": "\n".join(orbel), "bc": "\n".join(bc), "lua": "\n".join(script), "luajit": "\n".join(script)})


def web(size):
    lines = ["f0 &= 0+0", "f1 &= 1+0"] + ["f%d &= f%d + f%d" % (k, k - 1, k - 2) for k in range(2, size + 1)]
    return Work("a web of references, f%d+0" % size, "orbel", {"orbel": "\n".join(lines + ["f%d+0" % size])})


def names(count):
    orbel = ["n%d = %d" % (i, i) for i in range(count)] + ["n%d" % i for i in range(count)]
    script = lua(["n%d = %d print(n%d)" % (i, i, i) for i in range(count)] +
                 ["print(n%d)" % i for i in range(count)])
    return Work("%d names defined, then read" % count, "lua",
                {"orbel": "\n".join(orbel), "lua": script, "luajit": script})


def empty():
    return Work("an empty script", "bc", {"orbel": "", "bc": "", "mawk": "BEGIN {}", "lua": "", "luajit": ""})


def works(quick):
    shrink = 10 if quick else 1
    return [statements(200000 // shrink), flat(1000000 // shrink), calls(10000 // shrink, 100),
            vectors(1000000 // shrink), chain(100, 50000 // shrink), web(90), names(1000000 // shrink), empty()]


def numbers_in(output):
    """The numbers that a program printed: those of values, not of names."""
    values = (line.rsplit(" = ", 1)[-1].rsplit(" : ", 1)[-1] for line in output.replace("\\\n", "").splitlines())
    return [float(word) for value in values for word in value.strip("<>").split(",")]


class Runner:
    def __init__(self, orbel, folder):
        self.folder = folder
        self.commands = dict(COMMANDS, orbel=[os.path.abspath(orbel)])

    def write(self, work):
        for program, text in work.texts.items():
            with open(os.path.join(self.folder, program), "w") as file:
                file.write(text + ("\n" if text else ""))

    def run(self, program):
        """The processor time in seconds, and the file that it printed to."""
        command = self.commands[program] + [os.path.join(self.folder, program)]
        path = os.path.join(self.folder, "output")
        with open(path, "wb") as output:
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, cwd=self.folder)
            _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            sys.exit("compare.py: %s failed" % " ".join(command))
        return usage.ru_utime + usage.ru_stime, path

    def memory(self, program):
        """The peak memory in megabytes. A small program starts the process: memory before its start counts too."""
        command = self.commands[program] + [os.path.join(self.folder, program)]
        process = subprocess.run(["/usr/bin/time", "-f", "%M"] + command, stdin=subprocess.DEVNULL,
                                 stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, cwd=self.folder)
        return int(process.stderr.split()[-1]) / 1024

    def check(self, work):
        """Ends the benchmark unless all programs print the same numbers."""
        expected = None
        for program in work.texts:
            with open(self.run(program)[1]) as output:
                found = numbers_in(output.read())
            expected = found if expected is None else expected
            same = len(found) == len(expected) and all(
                math.isclose(a, b, rel_tol=1e-9, abs_tol=1e-9) for a, b in zip(found, expected))
            if not same:
                sys.exit("compare.py: orbel and %s print different numbers for: %s" % (program, work.name))

    def measure(self, work, rounds):
        """The shortest processor time of each program that can do the work."""
        self.write(work)
        self.check(work)
        times = {program: [] for program in work.texts}
        for _ in range(rounds):
            for program in times:
                turn = []
                while sum(turn) < TURN and len(turn) < 10:
                    turn.append(self.run(program)[0])
                times[program] += turn
            if sum(map(sum, times.values())) > ENOUGH:
                break
        return {program: min(values) for program, values in times.items()}


def print_row(cells):
    print("| " + " | ".join(cells) + " |", flush=True)


def print_work(name, yardstick, unit, values):
    print_row([name, "%s, %s" % (yardstick, unit % values[yardstick])] +
              ["%.2f" % (values[p] / values[yardstick]) if p in values else "-" for p in COMMANDS])


def print_table(runner, rounds, quick):
    print_row(["work", "yardstick"] + list(COMMANDS))
    print_row(["---"] * (2 + len(COMMANDS)))
    for work in works(quick):
        print_work(work.name, work.yardstick, "%.4g s", runner.measure(work, rounds))
        if work.shows_memory:
            memory = {program: runner.memory(program) for program in work.texts}
            print_work(work.name + ", memory", work.yardstick, "%.0f MB", memory)


def draw(runner, rounds, quick, path):
    """Plots cost against size for flat expressions, both axes logarithmic."""
    points = {program: [] for program in COMMANDS}
    for size in [10 ** k for k in range(3, 6 if quick else 7)]:
        for program, seconds in runner.measure(flat(size), rounds).items():
            points[program].append((size, seconds))
    script = ["set terminal svg size 720,440 font 'sans,12' background 'white'", "set output '%s'" % path,
              "set logscale xy", "set format x '10^{%T}'", "set key left top",
              "set xlabel 'terms of one flat expression'", "set ylabel 'processor time of the whole process, s'",
              "set grid"]
    script += ["plot " + ", ".join("'-' with linespoints lw 2 title '%s'" % program for program in points)]
    for program in points:
        script += ["%d %.6f" % point for point in points[program]] + ["e"]
    subprocess.run(["gnuplot"], input="\n".join(script), text=True, check=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("orbel")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--quick", action="store_true", help="a tenth of the work")
    parser.add_argument("--picture", help="where to draw cost against size")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        runner = Runner(options.orbel, folder)
        print_table(runner, options.rounds, options.quick)
        if options.picture:
            draw(runner, options.rounds, options.quick, options.picture)


main()
