// Plays what is typed in a folder of scripts through the module, and compares it with what the program prints.
// usage: module_test.mjs MODULE PROGRAM FOLDER
import { execFileSync } from "node:child_process";
import { mkdtempSync, readdirSync, readFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";

const [module, program, folder] = process.argv.slice(2).map((path) => resolve(path));
const { default: open } = await import(module);
const Levels = 1000; // of the program; this process has a larger stack than a page

/** What the program shows while lines are typed, without what is typed. */
async function screenOf(lines) {
  const calculator = await open(Levels);
  let screen = "";
  const left = lines.slice();
  while (left.length > 0) {
    screen += "> ";
    const line = left.shift();
    if (line === "q" || line === "exit") return screen;
    for (calculator.begin(line); !calculator.isAtEnd; ) {
      screen += calculator.step();
      if (calculator.isAsked) calculator.answer(left.shift() ?? "");
    }
  }
  return screen + "> ";
}

const here = mkdtempSync(join(tmpdir(), "orbel-"));
const run = (argument, input) =>
  execFileSync(program, argument, { cwd: here, input, maxBuffer: 2 ** 30, timeout: 60_000, encoding: "latin1" });
const asBytes = (text) => Buffer.from(text).toString("latin1");
let count = 0;
let differing = 0;
function compare(name, expected, found) {
  ++count;
  if (expected === asBytes(found)) return;
  ++differing;
  const at = [...expected].findIndex((character, index) => character !== asBytes(found)[index]);
  const from = Math.max(0, at - 100);
  console.error(`${name}, from ${at}: ${JSON.stringify(expected.slice(from, at + 100))}
    instead: ${JSON.stringify(asBytes(found).slice(from, at + 100))}`);
}

for (const name of readdirSync(folder)) {
  const script = readFileSync(join(folder, name), "utf8");
  compare(name, run([join(folder, name)]), (await open(Levels)).run(script));
  if (!/^(q|exit)\r?$/m.test(script) && !name.startsWith("random")) {
    const typed = [...script.replace(/\n$/, "").split("\n"), "q", "q"]; // one may be taken for an answer
    compare(`${name}, typed`, run([], typed.map((line) => `${line}\n`).join("")), await screenOf(typed));
  }
}
if (differing > 0) process.exit(1);
console.log(`${count} sessions are the same through the module`);
