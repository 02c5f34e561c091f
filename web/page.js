// The page: a prompt, its session above it, and the manual beside it.
import { Engine } from "./engine.js";
import { History } from "./history.js";

const MostShown = 5000; // parts of the session
const MostCharacters = 100_000; // of what one statement prints

const element = (id) => document.getElementById(id);
const [main, log, prompt, input, hint, stop] = ["main", "log", "prompt", "line", "hint", "stop"].map(
  (id) => element(id) ?? document.querySelector(id),
);

const session = []; // the lines that were carried out, for a script
const history = new History();
let engine;
let giveAnswer = null; // while a question is open

function show(text, kind) {
  if (text === "") return;
  const part = document.createElement("span");
  part.className = kind;
  const isCut = text.length > MostCharacters;
  part.textContent = isCut ? text.slice(0, MostCharacters) : text;
  log.append(part);
  if (isCut) show(`… and ${(text.length - MostCharacters).toLocaleString("en")} more characters\n`, "note");
  while (log.childNodes.length > MostShown) log.firstChild.remove();
  scroll();
}

let willScroll = false;
/** To the prompt, once for all that is shown until then. */
function scroll() {
  if (willScroll) return;
  willScroll = true;
  requestAnimationFrame(() => {
    willScroll = false;
    main.scrollTop = main.scrollHeight;
  });
}

function showOutput(text) {
  for (const part of text.split(/^(?=\t[A-Z])/m))
    show(part, part.startsWith("\tError") ? "error" : part.startsWith("\tWarning") ? "warning" : "output");
}

/** Carries out lines one after the other, as if they were typed. */
async function run(lines, isScript = false) {
  const wanted = lines.filter((line) => line !== "");
  const end = isScript ? -1 : wanted.findIndex((line) => line === "q" || line === "exit");
  const lastWord = wanted[end];
  if (end >= 0) wanted.length = end;
  hint.textContent = "";
  stop.disabled = false;
  await engine.run(wanted, isScript, {
    onLine(line) {
      show(`> ${line}\n`, "typed");
      session.push(line);
    },
    onOutput: showOutput,
    onQuestion: () => new Promise((resolve) => (giveAnswer = resolve)),
  });
  stop.disabled = true;
  giveAnswer = null;
  if (end >= 0) leave(lastWord);
  else advise();
}

function leave(word) {
  show(`> ${word}\n`, "typed");
  prompt.hidden = true;
  element("again").hidden = false;
  element("again").focus();
  engine.end();
}

function setLine(text, cursor = text.length) {
  input.value = text;
  input.setSelectionRange(cursor, cursor);
  advise();
}

function advise() {
  if (input.value === "" || engine.isBusy) hint.textContent = "";
  else engine.advise(input.value, input.selectionStart);
}

/** Characters that other texts have instead of those of the language. */
const Typographic = {
  "\u2212": "-",
  "\u00d7": "*",
  "\u00b7": "*",
  "\u22c5": "*",
  "\u00f7": "/",
  "\u00a0": " ",
  "\u202f": " ",
};
const inLanguage = (text) => text.replace(/[\u2212\u00d7\u00b7\u22c5\u00f7\u00a0\u202f]/g, (each) => Typographic[each]);
const linesOf = (text) => text.replace(/^\ufeff/, "").split(/\r?\n/);

/** The name at the cursor becomes what all candidates begin with; if it is that already, they are listed. */
function complete({ begin, candidates }) {
  const cursor = input.selectionStart;
  if (candidates.length === 0) return;
  let common = candidates[0];
  for (const each of candidates) while (!each.startsWith(common)) common = common.slice(0, -1);
  if (common.length > cursor - begin)
    setLine(input.value.slice(0, begin) + common + input.value.slice(cursor), begin + common.length);
  else if (candidates.length > 1) hint.textContent = candidates.join("  ");
}

function enter() {
  const line = input.value;
  setLine("");
  if (giveAnswer) {
    show(`${line}\n`, "typed");
    giveAnswer(line);
    giveAnswer = null;
  } else if (!engine.isBusy) {
    if (line !== "q" && line !== "exit") history.add(line);
    run([line]);
  } else {
    setLine(line);
  }
}

/** Stops a statement, or says no to its question. */
function interrupt() {
  if (giveAnswer) {
    setLine("n");
    enter();
  } else {
    engine.stop();
  }
}

function recall(direction) {
  const line = history.go(direction, input.value);
  if (line !== undefined) setLine(line);
}

const keys = {
  ArrowUp: () => recall(-1),
  ArrowDown: () => recall(1),
  Escape: interrupt,
  Tab(event) {
    if (event.shiftKey || input.value.slice(0, input.selectionStart).trim() === "") return true; // to the next element
    if (!engine.isBusy) engine.complete(input.value, input.selectionStart);
  },
};

prompt.addEventListener("submit", (event) => {
  event.preventDefault();
  enter();
});
input.addEventListener("keydown", (event) => {
  const key = event.ctrlKey || event.altKey || event.metaKey || event.isComposing ? undefined : keys[event.key];
  if (key && key(event) !== true) event.preventDefault();
});
input.addEventListener("input", () => {
  const cursor = input.selectionStart;
  history.restart();
  setLine(inLanguage(input.value), cursor);
});
input.addEventListener("paste", (event) => {
  const text = inLanguage(event.clipboardData.getData("text"));
  if (!/\n/.test(text) || engine.isBusy) return;
  event.preventDefault();
  const before = input.value.slice(0, input.selectionStart);
  const lines = linesOf(before + text + input.value.slice(input.selectionEnd));
  const last = lines.pop();
  history.add(...lines);
  setLine("");
  run(lines).then(() => setLine(last));
});
element("older").addEventListener("click", () => {
  input.focus();
  recall(-1);
});
element("complete").addEventListener("click", () => {
  input.focus();
  if (!engine.isBusy) engine.complete(input.value, input.selectionStart);
});
document.addEventListener("keydown", (event) => {
  if (event.key === "Escape" && event.target !== input) interrupt();
});
stop.addEventListener("click", interrupt);
log.addEventListener("click", () => getSelection().isCollapsed && input.focus());

main.addEventListener("dragover", (event) => {
  event.preventDefault();
  main.classList.add("dropping");
});
main.addEventListener("dragleave", () => main.classList.remove("dropping"));
main.addEventListener("drop", async (event) => {
  event.preventDefault();
  main.classList.remove("dropping");
  for (const file of event.dataTransfer.files) if (!engine.isBusy) await run(linesOf(await file.text()), true);
});

const script = () => session.map((line) => `${line}\n`).join("");
element("copy").addEventListener("click", () => {
  navigator.clipboard.writeText(log.textContent).then(() => (hint.textContent = "Copied"));
});
element("save").addEventListener("click", () => {
  const link = document.createElement("a");
  link.href = URL.createObjectURL(new Blob([script()], { type: "text/plain" }));
  link.download = "session.orbel";
  link.click();
  URL.revokeObjectURL(link.href);
});

/** Each line of a sample goes to the prompt when it is clicked, and a button runs them all. */
function prepareSamples() {
  for (const sample of document.querySelectorAll("aside pre")) {
    const text = sample.textContent;
    if (!text.startsWith("> ")) continue;
    const typed = [];
    sample.textContent = "";
    for (const line of text.replace(/\n$/, "").split("\n")) {
      if (line.startsWith("> ")) {
        typed.push(line.slice(2));
        const button = Object.assign(document.createElement("button"), { className: "try", textContent: line });
        button.addEventListener("click", () => {
          input.focus();
          setLine(line.slice(2));
        });
        sample.append(button, "\n");
      } else {
        sample.append(`${line}\n`);
      }
    }
    const all = Object.assign(document.createElement("button"), { className: "run", textContent: "Run" });
    all.addEventListener("click", () => engine.isBusy || run(typed));
    sample.append(all);
  }
}

function toggleManual(isOpen) {
  document.body.classList.toggle("narrow", !isOpen);
  element("toggle").setAttribute("aria-expanded", String(isOpen));
}
element("toggle").addEventListener("click", () => toggleManual(document.body.classList.contains("narrow")));
toggleManual(innerWidth > 960);
prepareSamples();

async function start() {
  const bytes = Uint8Array.from(atob(element("engine").textContent), (each) => each.charCodeAt(0));
  engine = new Engine(await WebAssembly.compile(bytes), element("worker").textContent, {
    advice: ({ line, text }) => line === input.value && (hint.textContent = text),
    completions: complete,
  });
  input.focus();
}
element("again").addEventListener("click", () => location.reload());
await start();
document.body.dataset.ready = "true";
