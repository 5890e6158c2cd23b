// Watches over the tour: none of its programs may end by itself, and Ctrl-C ends every wait.
import { NoAnswer } from '../../tests/driver/http.mjs';
import { until } from '../../tests/driver/waiting.mjs';

class Interrupted extends Error {}

export class Watch {
  constructor() {
    this.interrupted = false;
    this.ending = false;
    this.unexpected_end = '';
    for (const signal of ['SIGINT', 'SIGTERM']) process.on(signal, () => (this.interrupted = true));
  }

  over(name, child) {
    child.exited.then(({ code, signal }) => {
      if (this.ending) return;
      this.unexpected_end = `${name} ended by itself with ${signal ?? code}\n${child.text.errors}`;
    });
    return child;
  }

  // Asks again also where nobody answers yet; anything else that goes wrong ends the tour at once.
  until(what, question) {
    return until(what, async () => {
      if (this.interrupted) throw new Interrupted();
      if (this.unexpected_end) throw new Error(this.unexpected_end);
      try {
        return await question();
      } catch (error) {
        if (!(error instanceof NoAnswer)) throw error;
        return false;
      }
    });
  }
}
