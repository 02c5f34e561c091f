// What Up and Down bring back. The browser keeps it.

const MostRemembered = 1000;

/** The lines typed before, in this and in earlier sessions. */
export class History {
  #lines = [];
  #position = 0;
  #prefix = "";

  constructor() {
    try {
      this.#lines = JSON.parse(localStorage.getItem("orbel.history")) ?? [];
    } catch {
      // a browser that keeps nothing
    }
    this.restart();
  }

  add(...lines) {
    for (const line of lines) if (line !== "" && line !== this.#lines.at(-1)) this.#lines.push(line);
    this.#lines = this.#lines.slice(-MostRemembered);
    this.restart();
    try {
      localStorage.setItem("orbel.history", JSON.stringify(this.#lines));
    } catch {
      // full, or a browser that keeps nothing
    }
  }

  restart() {
    this.#position = this.#lines.length;
  }

  /** The next line in a direction, -1 or 1, that begins like the one that was typed; undefined if there is none. */
  go(direction, typed) {
    if (this.#position === this.#lines.length) this.#prefix = typed;
    for (let at = this.#position + direction; at >= 0 && at <= this.#lines.length; at += direction) {
      const line = this.#lines[at] ?? this.#prefix;
      if (at < this.#lines.length && (!line.startsWith(this.#prefix) || line === typed)) continue;
      this.#position = at;
      return line;
    }
  }
}
