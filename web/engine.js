// The calculator of the page, which works beside it.

const Stopped = "\tError : Cancelled, the statement was stopped\n";
const TooDeep = "\tError : Nested too deeply for this browser\n";

/** The calculator in its worker. What is lost when the worker is ended comes back in a new one. */
export class Engine {
  #module;
  #source;
  #worker;
  #saved; // all that it knew once
  #journal = []; // the lines since then
  #running = null;

  /** @param {{advice, completions}} listeners */
  constructor(module, source, listeners) {
    this.#module = module;
    this.#source = URL.createObjectURL(new Blob([source], { type: "text/javascript" }));
    this.listeners = listeners;
    this.#open();
  }

  /** Whether lines are carried out, or it has ended. */
  get isBusy() {
    return this.#running !== null || this.#worker === null;
  }

  /**
   * Carries out lines. `onLine(line)` is called as each begins, `onOutput(text)` for what is printed, and
   * `onQuestion()` gives a promise of an answer.
   */
  run(lines, isScript, callbacks) {
    if (lines.length === 0) return Promise.resolve();
    return new Promise((resolve) => {
      this.#running = { ...callbacks, rest: lines.slice(), isScript, resolve };
      this.#worker.postMessage({ task: "run", lines, isScript });
      this.#beginLine();
    });
  }

  /** Ends the statement that is running, and drops the lines behind it. */
  stop() {
    if (this.#running) this.#replace(Stopped);
  }

  #replace(message) {
    const running = this.#running;
    this.#running = null;
    if (running?.entry.steps > 0) this.#journal.push(running.entry);
    this.#worker.terminate();
    this.#open();
    running?.onOutput(message);
    running?.resolve();
  }

  advise(line, cursor) {
    this.#worker.postMessage({ task: "advise", line, cursor });
  }

  complete(line, cursor) {
    this.#worker.postMessage({ task: "complete", line, cursor });
  }

  end() {
    this.#worker.terminate();
    this.#worker = null;
  }

  #open() {
    this.#worker = new Worker(this.#source);
    this.#worker.onmessage = ({ data }) => {
      if (data.step) this.#onStep(data.step);
      else if (data.broken) this.#replace(TooDeep);
      else if (data.advice) this.listeners.advice(data.advice);
      else this.listeners.completions(data.completions);
    };
    this.#worker.postMessage({ task: "open", module: this.#module, saved: this.#saved, journal: this.#journal });
  }

  #beginLine() {
    const line = this.#running.rest.shift();
    this.#running.entry = { line, isScript: this.#running.isScript, steps: 0, answers: [] };
    this.#running.onLine(line);
  }

  async #onStep({ output, isAsked, isAtEnd, saved }) {
    const running = this.#running;
    running.onOutput(output);
    if (isAsked) {
      const text = await running.onQuestion();
      if (running !== this.#running) return; // stopped meanwhile
      running.entry.answers.push(text);
      this.#worker.postMessage({ task: "answer", text });
      return;
    }
    ++running.entry.steps;
    if (!isAtEnd) return;
    this.#journal.push(running.entry);
    if (saved) {
      this.#saved = saved;
      this.#journal = [];
    }
    if (running.rest.length > 0) return this.#beginLine();
    this.#running = null;
    running.resolve();
  }
}
