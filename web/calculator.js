// The calculator as a module: the engine itself, compiled to WebAssembly. It runs in pages, in workers and in Node.
//
//   const calculator = Calculator.of(await WebAssembly.compile(bytes));
//   calculator.run("x = 2; 2*x");   // "\tDefining Scalar : x = 2\n\tScalar : 4\n"

/** How deeply expressions may nest: what the stacks of browsers have room for. The program allows 1000. */
const Levels = 400;

const encoder = new TextEncoder();
const decoder = new TextDecoder();

/** What the engine asks of a system: the time. */
function systemOf(memory) {
  const succeed = () => 0;
  const fail = () => 8; // no such file
  return {
    env: { emscripten_notify_memory_growth() {} },
    wasi_snapshot_preview1: {
      clock_time_get(clock, precision, address) {
        const milliseconds = clock === 0 ? Date.now() : performance.now();
        new DataView(memory()).setBigUint64(address, BigInt(Math.round(milliseconds * 1e6)), true);
        return 0;
      },
      environ_sizes_get(count, size) {
        new DataView(memory()).setUint32(count, 0, true);
        new DataView(memory()).setUint32(size, 0, true);
        return 0;
      },
      environ_get: succeed,
      fd_close: fail,
      fd_read: fail,
      fd_seek: fail,
      fd_write: fail,
      proc_exit(status) {
        throw new Error(`the engine has ended: ${status}`);
      },
    },
  };
}

export class Calculator {
  #engine;
  #handle;
  #bytes = new Uint8Array(0);

  /** A new calculator. The module is the compiled engine; many calculators may share it. */
  static of(module, levels = Levels) {
    const calculator = new Calculator(module);
    calculator.#handle = calculator.#engine.Open(levels);
    return calculator;
  }

  /** A calculator as `save` found it. */
  static restore(module, { handle, memory }) {
    const calculator = new Calculator(module);
    const missing = memory.length - calculator.#memory.length;
    if (missing > 0) calculator.#engine.memory.grow(Math.ceil(missing / 65536));
    calculator.#memory.set(memory);
    calculator.#handle = handle;
    return calculator;
  }

  /** @private */
  constructor(module) {
    this.#engine = new WebAssembly.Instance(module, systemOf(() => this.#engine.memory.buffer)).exports;
    this.#engine._initialize();
  }

  /** All that it knows. */
  save() {
    return { handle: this.#handle, memory: this.#memory.slice(0, this.#engine.sbrk(0)) };
  }

  /** Carries out the lines of a script, and returns what they print. */
  run(script) {
    this.#put(script);
    return this.#take(this.#engine.Run(this.#handle));
  }

  /** Begins a line that somebody types, whose statements `step` carries out. In a script, "~" does not ask. */
  begin(line, isScript = false) {
    this.#put(line);
    this.#engine.Begin(this.#handle, isScript);
  }

  /** Carries out the next statement, and returns what it prints. */
  step() {
    return this.#take(this.#engine.Step(this.#handle));
  }

  /** Whether all statements of the line are done. */
  get isAtEnd() {
    return Boolean(this.#engine.IsAtEnd(this.#handle));
  }

  /** Whether the last step printed a question. Then `answer` it, and go on with `step`. */
  get isAsked() {
    return Boolean(this.#engine.IsAsked(this.#handle));
  }

  answer(text) {
    this.#put(text);
    this.#engine.GiveAnswer(this.#handle);
  }

  /** What a line that is being typed would give, or the signatures of the function at the cursor; "" for neither. */
  advise(line, cursor) {
    this.#put(line);
    return this.#take(this.#engine.Advise(this.#handle, encoder.encode(line.slice(0, cursor)).length));
  }

  /** What may stand at the cursor: where it begins, and the candidates. */
  complete(line, cursor) {
    const before = encoder.encode(line.slice(0, cursor));
    this.#put(line);
    const [begin, ...candidates] = this.#take(this.#engine.Complete(this.#handle, before.length)).split("\n");
    return { begin: decoder.decode(before.subarray(0, Number(begin))).length, candidates };
  }

  get #memory() {
    const buffer = this.#engine.memory.buffer; // another one after it has grown
    if (this.#bytes.buffer !== buffer) this.#bytes = new Uint8Array(buffer);
    return this.#bytes;
  }

  #put(text) {
    const most = 3 * text.length;
    const address = this.#engine.Reserve(this.#handle, most);
    const { written } = encoder.encodeInto(text, this.#memory.subarray(address, address + most));
    this.#engine.Reserve(this.#handle, written);
  }

  #take(size) {
    const address = this.#engine.GetText(this.#handle);
    return decoder.decode(this.#memory.subarray(address, address + size));
  }
}
