// The program is killed at every system call of its saves and of its log, and at random moments. It
// is started again on what is left each time.
import { spawn, spawnSync } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import { setTimeout as sleep } from 'node:timers/promises';

import { memory_folder } from './support/folders.mjs';
import {
  allowed_after,
  broken_rule,
  Checker,
  prepare_show,
  saving_program,
} from './support/saving_program.mjs';
import { said } from './support/words.mjs';

const random_kills = 1000;
const longest_life_ms = 20;

const whole_lines = (text) =>
  text
    .slice(0, text.lastIndexOf('\n') + 1)
    .split('\n')
    .filter(Boolean);

// A fresh copy of the show for each kill.
function copy_of(show, folder) {
  fs.rmSync(folder, { recursive: true, force: true });
  fs.cpSync(show, folder, { recursive: true });
}

// How often a run makes each system call.
function calls_of(show, folder, trace) {
  copy_of(show, folder);
  spawnSync('strace', ['-o', trace, saving_program, 'act', folder, '4']);
  const counts = new Map();
  for (const [, name] of fs.readFileSync(trace, 'utf8').matchAll(/^(\w+)\(/gm)) {
    counts.set(name, (counts.get(name) ?? 0) + 1);
  }
  // The first is the one by which strace starts it.
  counts.set('execve', counts.get('execve') - 1);
  return [...counts].flatMap(([name, count]) =>
    Array.from({ length: count }, (_, i) => ({ name, number: i + 1 })),
  );
}

// A run that had not told what the files hold has changed nothing.
const allowed_or = (lines, before) => (lines.length > 0 ? allowed_after(lines) : before);

class Tally {
  constructor() {
    this.kills = 0;
    this.broken = 0;
    this.first = '';
  }

  add(rule, where) {
    this.kills += 1;
    if (!rule) return;
    this.broken += 1;
    this.first ||= `${where}: ${rule}`;
  }

  row(what, bound) {
    const { kills, broken, first } = this;
    const outcome =
      broken === 0 ? 'files whole, the right side' : `**${said(broken)} broken**: ${first}`;
    return { what, amount: `${said(kills)} kills`, outcome, bound };
  }
}

async function kill_at_each_call({ show, folder, trace, checker, deadline, before }) {
  const tally = new Tally();
  for (const { name, number } of calls_of(show, folder, trace)) {
    if (Date.now() > deadline) break;
    copy_of(show, folder);
    const inject = `inject=${name}:signal=KILL:when=${number}`;
    const words = ['-o', '/dev/null', '-e', inject, saving_program, 'act', folder, '4'];
    const { stdout, signal } = spawnSync('strace', words, { encoding: 'utf8' });
    const where = `${name} ${number}`;
    if (signal !== 'SIGKILL') throw new Error(`not killed at ${where}`);
    const allowed = allowed_or(whole_lines(stdout), before);
    tally.add(broken_rule(await checker.look_at(folder), allowed), where);
  }
  return tally;
}

// One life: from its first word on it saves without a pause.
async function life_of(folder) {
  const child = spawn(saving_program, ['act', folder, '1000000'], {
    stdio: ['ignore', 'pipe', 'inherit'],
  });
  let text = '';
  child.stdout.setEncoding('utf8').on('data', (part) => (text += part));
  const closed = once(child, 'close');
  await once(child.stdout, 'data');
  await sleep(Math.random() * longest_life_ms);
  child.kill('SIGKILL');
  await closed;
  return whole_lines(text);
}

// Each life begins on what the one before has left.
async function kill_at_random({ show, folder, checker, deadline, before }) {
  const tally = new Tally();
  copy_of(show, folder);
  for (let i = 0; i < random_kills && Date.now() < deadline; i += 1) {
    const lines = await life_of(folder);
    const rule = broken_rule(await checker.look_at(folder), allowed_or(lines, before));
    tally.add(rule, `kill ${i + 1}`);
  }
  return tally;
}

export async function prove_kills({ deadline }) {
  const place = memory_folder();
  const checker = new Checker();
  try {
    const [show, folder, trace] = ['show', 'killed', 'calls.txt'].map(place.inside);
    fs.mkdirSync(show);
    prepare_show(show);
    copy_of(show, folder);
    const before = [(await checker.look_at(folder)).values];
    const run = { show, folder, trace, checker, deadline, before };
    const at_calls = await kill_at_each_call(run);
    const at_random = await kill_at_random(run);
    const broken = at_calls.broken + at_random.broken;
    return {
      passed: broken === 0 && at_calls.kills > 0 && at_random.kills > 0,
      amount: `${said(at_calls.kills + at_random.kills)} kills`,
      outcome: `${said(broken)} broken`,
      bound: 'none',
      rows: [
        at_calls.row('at each system call of start, save, transfer and log', 'none broken'),
        at_random.row('at a random moment of saves without a pause', 'none broken'),
      ],
    };
  } finally {
    await checker.end();
    place.remove();
  }
}
