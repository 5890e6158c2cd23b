// What the measurements share: their clock, how figures are said, and idle time.
import fs from 'node:fs';
import { setTimeout as sleep } from 'node:timers/promises';

import { patience_ms, until } from '../../tests/driver/waiting.mjs';

// Milliseconds of the wall clock and parts of them, comparable with the simulator's reports.
export const now = () => performance.timeOrigin + performance.now();

export const poll_period_ms = 250;

// Asks each millisecond, so that the moment is known as closely as that.
export const first = (what, ask) => until(what, ask, patience_ms, 1);

export function quantile(values, part) {
  const sorted = [...values].sort((a, b) => a - b);
  return sorted[Math.min(sorted.length - 1, Math.floor(sorted.length * part))];
}

export const ms = (value) => `${value.toFixed(1)} ms`;

export const spread = (values) =>
  `median ${ms(quantile(values, 0.5))}, max ${ms(Math.max(...values))}, ` +
  `min ${ms(Math.min(...values))} (${values.length} times)`;

export const say = (what, figure) => console.log(`${what.padEnd(52)} ${figure}`);

function processor_ms(program) {
  const stat = fs.readFileSync(`/proc/${program.process.pid}/stat`, 'utf8');
  const fields = stat.split(') ')[1].split(' ');
  return (Number(fields[11]) + Number(fields[12])) * 10;
}

// What the program takes of a core while nothing happens for so many seconds.
export async function idle_share(program, seconds) {
  const before = processor_ms(program);
  await sleep(seconds * 1000);
  return `${((processor_ms(program) - before) / seconds / 10).toFixed(2)} % of a core`;
}
