// What a proof measured, as a file beside it: with the date, the commit and the machine, and with
// no name or path of that machine.
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

const root = path.resolve(import.meta.dirname, '../..');
const file_of = (name) => path.join(root, 'proof/results', `${name}.json`);
const git = (...words) => execFileSync('git', words, { cwd: root, encoding: 'utf8' }).trim();

// What a run writes itself doesn't count as a change.
function tested_commit() {
  const own = [':!proof/results', ':!docs/reliability.md', ':!SECURITY.md'];
  const changed = git('status', '--porcelain', '--', '.', ...own) !== '';
  return git('rev-parse', '--short=10', 'HEAD') + (changed ? ' with changes' : '');
}

const machine = () => ({
  cores: os.availableParallelism(),
  memory_gib: Math.round(os.totalmem() / 2 ** 30),
  kernel: `${os.type()} ${os.release().split('-')[0]}`,
});

export function write_result(name, result) {
  const date = new Date().toISOString().slice(0, 10);
  const whole = { date, commit: tested_commit(), machine: machine(), ...result };
  fs.mkdirSync(path.dirname(file_of(name)), { recursive: true });
  fs.writeFileSync(file_of(name), `${JSON.stringify(whole, null, 2)}\n`);
}

// Absent for a proof that has not run yet.
export function read_result(name) {
  if (!fs.existsSync(file_of(name))) return undefined;
  return JSON.parse(fs.readFileSync(file_of(name), 'utf8'));
}
