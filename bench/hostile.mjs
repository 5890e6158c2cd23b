// Measures the program under floods, from inside the workstation's namespace. Started by hostile.
import { execFile } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { setTimeout as sleep } from 'node:timers/promises';
import { promisify } from 'node:util';

import { simulator } from '../tests/driver/environment.mjs';
import { call } from '../tests/driver/http.mjs';
import { crowd, hear_questions, Server } from '../tests/driver/network.mjs';
import { Pair } from '../tests/driver/pair.mjs';
import { until } from '../tests/driver/waiting.mjs';
import { memory_mib, polls_since } from '../tests/e2e/support/hostile.mjs';

const seconds = Number(process.argv[2]);
const period_ms = 250;
const punctual_ms = 20;
const quick_status_ms = 100;
const longest_wait_ms = 45000;

const one_decimal = (value) => (Number.isFinite(value) ? value.toFixed(1) : 'never');

// By the times at which the server heard them, recovery included: the share of gaps that are a
// period, and the longest, also if it has not ended yet.
async function punctuality(server, begin) {
  const moments = [...(await polls_since(server, begin)), Date.now()];
  const gaps = moments.slice(1).map((moment, at) => moment - moments[at]);
  if (gaps.at(-1) < period_ms + punctual_ms) gaps.pop();
  const good = gaps.filter((gap) => Math.abs(gap - period_ms) <= punctual_ms);
  return { share: (100 * good.length) / gaps.length, longest: Math.max(...gaps, 0) };
}

// From the moment when the engine has stopped to the notice of the transfer, both by the same wall
// clock; taken from the alert log, as the flood may keep the API busy.
async function failover(pair) {
  const notices = () =>
    pair.workstation.alert_log_lines().filter(({ message }) => message?.includes('operating on B'));
  const before = fs.existsSync(pair.workstation.alert_log) ? notices().length : 0;
  await pair.main.set({ engine: 'stopped' });
  const stopped = Date.now();
  const seen = await until(
    'a transfer',
    () => {
      const now = fs.existsSync(pair.workstation.alert_log) ? notices() : [];
      return now.length > before && Date.now();
    },
    longest_wait_ms,
  ).catch(() => Infinity);
  return seen - stopped;
}

// The first quick status behind the first question that is asked after the end.
async function recovery(end, questions) {
  let recovered = true;
  await until(
    'a status in time',
    async () => {
      const begin = Date.now();
      await call('127.0.0.1', 5251, 'GET', '/api/status', undefined, longest_wait_ms);
      return Date.now() - begin <= quick_status_ms && questions.moments.some((at) => at > end);
    },
    longest_wait_ms,
  ).catch(() => {
    recovered = false;
  });
  return recovered ? (Date.now() - end) / 1000 : Infinity;
}

// `begin_flood` gives the promise of its end, a moment of the wall clock.
async function measure(what, pair, questions, begin_flood) {
  await pair.settle();
  const flood = begin_flood();
  const begin = Date.now();
  await sleep((seconds * 1000) / 2);
  const moved = await failover(pair);
  const end = await flood;
  const back = await recovery(end, questions);
  const main = await punctuality(pair.main, begin);
  const backup = await punctuality(pair.backup, begin);
  return {
    under: what,
    'polls within 20 ms, Main': `${one_decimal(main.share)} %`,
    Backup: `${one_decimal(backup.share)} %`,
    'longest gap (ms)': one_decimal(Math.max(main.longest, backup.longest)),
    'failover (ms)': one_decimal(moved),
    'recovery (s)': one_decimal(back),
    'resident (MiB)': one_decimal(memory_mib(pair.workstation, 'VmRSS')),
    'peak (MiB)': one_decimal(memory_mib(pair.workstation, 'VmHWM')),
    'systems in the file': pair.workstation.saved_config().systems.length,
    'file (KiB)': one_decimal(fs.statSync(pair.workstation.config).size / 1024),
  };
}

const quiet = async () => {
  await sleep(seconds * 1000);
  return Date.now();
};

const flood_of_answers = (stranger, questions) => async () => {
  const set = Date.now();
  await stranger.set({
    discovery: {
      silent: true,
      flood: { perSecond: 50000, forMs: seconds * 1000, serials: 1000000, addresses: 100 },
    },
  });
  const begin = await until('a question', () => questions.moments.find((at) => at > set), 60000);
  await sleep(Math.max(0, begin + seconds * 1000 - Date.now()));
  return begin + seconds * 1000;
};

const flood_of_requests = async () => {
  const words = ['--per-second', '2000', '--for-ms', String(seconds * 1000)];
  const { stdout } = await promisify(execFile)(path.join(simulator, 'request_flood'), words);
  process.stdout.write(`malformed requests: ${stdout}`);
  return Date.now();
};

crowd('device');
const stranger = await Server.start('device', 'STRANGER');
await stranger.set({ discovery: { silent: true } });
// A program of its own for each, so that none inherits the memory of the last.
for (const [what, flood] of [
  ['quiet', () => quiet],
  ['50,000 answers/s', (questions) => flood_of_answers(stranger, questions)],
  ['2,000 malformed requests/s', () => flood_of_requests],
]) {
  const questions = await hear_questions();
  const pair = await Pair.start();
  const figures = await measure(what, pair, questions, flood(questions));
  for (const [name, value] of Object.entries(figures)) console.log(`${name.padEnd(28)} ${value}`);
  console.log();
  await pair.workstation.kill();
  await pair.workstation.remove();
  for (const server of [pair.main, pair.backup]) await server.stop();
  questions.stop();
}
await stranger.stop();
