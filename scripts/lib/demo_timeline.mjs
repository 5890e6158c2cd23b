// What the tour prints: one line for each event, with the time since the beginning.
const coloured = process.stdout.isTTY && !process.env.NO_COLOR && process.env.TERM !== 'dumb';
const paint = (code, text) => (coloured ? `\x1b[${code}m${text}\x1b[0m` : text);

export const bold = (text) => paint('1', text);
const dim = (text) => paint('2', text);
const colours = { fault: '1;31', transfer: '1;32', plain: '1' };

export class Timeline {
  constructor() {
    this.started = performance.now();
  }

  // `kind` is one of the words of `colours`.
  event(word, text, kind = 'plain') {
    const seconds = ((performance.now() - this.started) / 1000).toFixed(1).padStart(6);
    console.log(`${dim(`${seconds} s`)}  ${paint(colours[kind], word.padEnd(9))}  ${text}`);
  }

  chapter() {
    console.log();
  }

  closing(text) {
    console.log(`\n${paint(colours.transfer, text)}`);
  }

  failure(text) {
    console.log(`\n${paint(colours.fault, text)}`);
  }
}
