// Puts the page together, one file with all that it needs, and the module for Node.
// usage: assemble.mjs ENGINE MANUAL FOLDER
// ENGINE is a WebAssembly module, MANUAL is HTML, and FOLDER is where orbel.html and orbel.mjs go.
import { readFileSync, writeFileSync } from "node:fs";

const [engine, manual, folder] = process.argv.slice(2);
const own = (name) => readFileSync(new URL(name, import.meta.url), "utf8").trimEnd();
/** Modules as one script, each behind those that it imports. */
const joined = (...names) =>
  names.map((name) => own(name).replace(/^import .*\n/gm, "").replace(/^export /gm, "")).join("\n\n");
const bytes = readFileSync(engine).toString("base64");

/** What links of the manual name a heading by. */
const nameOf = (heading) =>
  heading
    .replace(/<[^>]*>/g, "")
    .toLowerCase()
    .replace(/[^\p{L}\p{N} -]/gu, "")
    .replaceAll(" ", "-");
const withNames = (html) =>
  html.replace(/<(h[1-6])>(.*?)<\/\1>/g, (all, tag, text) => `<${tag} id="${nameOf(text)}">${text}</${tag}>`);

const parts = {
  style: own("page.css"),
  manual: withNames(readFileSync(manual, "utf8")),
  engine: bytes,
  // No module: a page from a disk may not start one as a worker.
  worker: joined("calculator.js", "worker.js"),
  page: joined("history.js", "engine.js", "page.js"),
};
writeFileSync(`${folder}/orbel.html`, own("page.html").replace(/\{\{(\w+)\}\}/g, (all, part) => parts[part]) + "\n");
writeFileSync(
  `${folder}/orbel.mjs`,
  `${own("calculator.js")}

const module = WebAssembly.compile(Uint8Array.from(atob("${bytes}"), (each) => each.charCodeAt(0)));

/** A new calculator. */
export default async function open(levels) {
  return Calculator.of(await module, levels);
}
`,
);
