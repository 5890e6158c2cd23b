// Every target of tests/fuzz, for its share of the time or its full length.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import os from 'node:os';

import { said } from './support/words.mjs';

const goal = 20_000_000;
// Some targets do so much for each input that the goal would take days.
const longest_seconds = 2 * 60 * 60;

function targets() {
  const text = fs.readFileSync('tests/fuzz/CMakeLists.txt', 'utf8');
  return [...text.matchAll(/^add_fuzz_target\((\w+)/gm)].map(([, name]) => name);
}

// What it finds new goes to the build folder; the committed seeds stay as they are.
async function run_target(name, seconds) {
  const found = `build/fuzz/corpus/${name}`;
  fs.mkdirSync(found, { recursive: true });
  const words = [
    ...[
      `-runs=${goal}`,
      `-max_total_time=${seconds}`,
      '-max_len=4096',
      '-rss_limit_mb=1024',
      '-print_final_stats=1',
    ],
    ...[`-artifact_prefix=build/fuzz/${name}-`, found, `tests/fuzz/corpus/${name}`],
  ];
  const child = spawn(`build/fuzz/fuzz_${name}`, words, { stdio: ['ignore', 'ignore', 'pipe'] });
  let report = '';
  child.stderr.setEncoding('utf8').on('data', (part) => (report = (report + part).slice(-65536)));
  const [status] = await once(child, 'close');
  const executions = Number(/number_of_executed_units: *(\d+)/.exec(report)?.[1] ?? 0);
  if (status !== 0) console.error(`fuzz_${name}:\n${report}`);
  return { name, executions, passed: status === 0 };
}

const row_of = ({ name, executions, passed }) => ({
  what: `\`tests/fuzz/${name}.cpp\``,
  amount: `${said(executions)} executions`,
  outcome: passed ? 'no fault' : '**a fault**',
  bound: `none; full length ${said(goal)}, or two hours`,
});

// One target for each core; each has the same share.
export async function prove_fuzz({ deadline }) {
  const waiting = targets();
  const lanes = os.availableParallelism();
  const rounds = Math.ceil(waiting.length / lanes);
  const share = (deadline - Date.now()) / 1000 / rounds;
  const seconds = Math.max(1, Math.floor(Math.min(share, longest_seconds)));
  const finished = [];
  const work = async () => {
    for (let name = waiting.shift(); name; name = waiting.shift()) {
      finished.push(await run_target(name, seconds));
    }
  };
  await Promise.all(Array.from({ length: lanes }, work));
  finished.sort((one, other) => one.name.localeCompare(other.name));
  const executions = finished.reduce((sum, one) => sum + one.executions, 0);
  const faults = finished.filter(({ passed }) => !passed).length;
  return {
    passed: faults === 0,
    amount: `${said(executions)} executions of ${finished.length} targets`,
    outcome: `${said(faults)} with a fault`,
    bound: 'none',
    rows: finished.map(row_of),
  };
}
