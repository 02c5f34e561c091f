// Carries out lines beside the page, which can end it at any time. Whatever a statement prints is reported when the
// statement is done, so the page knows which ones a new worker has to repeat.

import { Calculator } from "./calculator.js";

/** Of work, in milliseconds, until all that the calculator knows is handed to the page. */
const MostToRepeat = 50;

let calculator;
let spent = 0;
let lines = [];
let isScript = false;

/** Carries out a line again, as far as it came: the number of steps, and the answers on the way. */
function repeat({ line, isScript, steps, answers }) {
  calculator.begin(line, isScript);
  for (let done = 0, asked = 0; done < steps; ) {
    calculator.step();
    if (calculator.isAsked) calculator.answer(answers[asked++]);
    else ++done;
  }
}

/** Goes on until all lines are done, or a question is asked. */
function goOn() {
  for (;;) {
    const start = performance.now();
    const step = { output: calculator.step(), isAsked: calculator.isAsked };
    spent += performance.now() - start;
    step.isAtEnd = !step.isAsked && calculator.isAtEnd;
    if (step.isAtEnd && spent > MostToRepeat) {
      step.saved = calculator.save();
      spent = 0;
    }
    postMessage({ step }, step.saved ? [step.saved.memory.buffer] : []);
    if (step.isAsked) return;
    if (step.isAtEnd && !begin()) return;
  }
}

/** Begins the next line; false if there is none. */
function begin() {
  if (lines.length === 0) return false;
  calculator.begin(lines.shift(), isScript);
  return true;
}

const tasks = {
  open({ module, saved, journal }) {
    calculator = saved ? Calculator.restore(module, saved) : Calculator.of(module);
    journal.forEach(repeat);
  },
  run(task) {
    ({ lines, isScript } = task);
    if (begin()) goOn();
  },
  answer({ text }) {
    calculator.answer(text);
    goOn();
  },
  advise({ line, cursor }) {
    postMessage({ advice: { line, text: calculator.advise(line, cursor) } });
  },
  complete({ line, cursor }) {
    postMessage({ completions: calculator.complete(line, cursor) });
  },
};

onmessage = ({ data }) => {
  try {
    tasks[data.task](data);
  } catch (error) {
    postMessage({ broken: String(error) }); // most likely, the stack of the browser was too small
  }
};
