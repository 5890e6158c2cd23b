// build/linux/proof_crash: its acts, and its look at a folder that a crash has left.
import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { once } from 'node:events';
import { createInterface } from 'node:readline';

export const saving_program = 'build/linux/proof_crash';

// A show with a pair and a policy, every one of its files written a few times.
export const prepare_show = (folder) =>
  execFileSync(saving_program, ['act', folder, '8'], { stdio: 'ignore' });

// What its lines say the files hold: after "done" just that, within an act that or the new.
export function allowed_after(lines) {
  let allowed = [];
  for (const line of lines) {
    const [word, ...rest] = line.split(' ');
    const values = JSON.parse(rest.join(' '));
    if (word === 'begin') allowed = [allowed.at(-1), values];
    else allowed = [values];
  }
  return allowed;
}

// Starts on folders, one after the other, as the program does.
export class Checker {
  constructor() {
    this.process = spawn(saving_program, ['check'], { stdio: ['pipe', 'pipe', 'inherit'] });
    this.lines = createInterface({ input: this.process.stdout })[Symbol.asyncIterator]();
  }

  async look_at(folder) {
    this.process.stdin.write(`${folder}\n`);
    const { value, done } = await this.lines.next();
    if (done) throw new Error('the program ended when it was started on what a crash had left');
    return JSON.parse(value);
  }

  async end() {
    this.process.stdin.end();
    if (this.process.exitCode === null && this.process.signalCode === null) {
      await once(this.process, 'exit');
    }
  }
}

const is_one_of = (values, allowed) =>
  allowed.some((one) => JSON.stringify(one) === JSON.stringify(values));

// The rule that this start breaks; absent if it breaks none.
export function broken_rule(found, allowed) {
  assert.ok(allowed.length > 0, 'the files were not whole when the acts began');
  if (found.told !== '') return 'a file is damaged';
  if (found.refusal !== '') return found.refusal;
  if (!is_one_of(found.values, allowed)) {
    return 'what is loaded is neither what was said nor what was being saved';
  }
  if (!found.paired) return 'the pair is gone';
  if (!found.side_kept) return 'operation left its side';
  if (!found.saved) return 'the next save failed';
  if (!found.log_goes_on) return 'the next line of the log is joined to a torn one';
  return undefined;
}
