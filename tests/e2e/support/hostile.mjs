// What the tests of hostile networks watch: passes, polls, memory, and the end on request.
import assert from 'node:assert/strict';
import fs from 'node:fs';

import { windows } from '../../driver/environment.mjs';
import { until } from '../../driver/waiting.mjs';

// One byte each 300 ms, for two minutes: no step of an exchange ever runs into its time-out.
export const drip = { trickleBytes: 1, trickleEveryMs: 300, padToBytes: 400 };

export async function until_passes(server, count, limit_ms) {
  const before = (await server.report()).discoveryRequests;
  // The namespaces have no route to the limited broadcast address: one question for each pass.
  await until(
    `${count} more passes`,
    async () => (await server.report()).discoveryRequests >= before + count,
    limit_ms,
  );
}

export async function until_saved_again(workstation, limit_ms) {
  const saved = () => fs.statSync(workstation.config, { throwIfNoEntry: false })?.mtimeMs ?? 0;
  const before = saved();
  await until('the configuration is saved again', () => saved() > before, limit_ms);
}

// The server's own view of its health polls from a moment on, in milliseconds of the wall clock.
export async function polls_since(server, moment) {
  const { timesUs = [] } = await server.calls('GetVorHealth');
  return timesUs.map((us) => us / 1000).filter((ms) => ms >= moment);
}

// What a busy machine and a flood on it may cost together, and Wine's server, through which each
// call of the program goes, on top. Without its bounds the program was away for seven seconds and
// more.
export const spoiled_ms = windows ? 4000 : 1500;

// Four polls a second, less what a busy machine costs.
export async function assert_polled_for(server, seconds) {
  const begin = Date.now();
  const enough = seconds * 3;
  const polls = () => polls_since(server, begin);
  await until(
    `${enough} polls`,
    async () => (await polls()).length >= enough,
    seconds * (windows ? 2500 : 1500),
  );
}

// No two polls since then were further apart than a busy machine explains.
export async function assert_polls_kept_coming(server, moment) {
  const polls = await polls_since(server, moment);
  const times = [moment, ...polls, Date.now()];
  const longest = Math.max(...times.slice(1).map((time, at) => time - times[at]));
  assert.ok(longest < spoiled_ms, `${server.serial} was not polled for ${Math.round(longest)} ms`);
}

export async function took(act) {
  const begin = Date.now();
  await act();
  return Date.now() - begin;
}

// `name` is VmRSS for what the program holds now, VmHWM for the most that it has held.
export function memory_mib({ program }, name) {
  const text = fs.readFileSync(`/proc/${program.process.pid}/status`, 'utf8');
  return Number(new RegExp(`${name}:\\s+(\\d+)`).exec(text)[1]) / 1024;
}

// Under Wine there is no signal to send, and memory holds Wine's own libraries as well.
export const signals_end_the_program = !windows;

export async function assert_ends_at_once({ program }) {
  const begin = Date.now();
  const exit = program.signal('SIGTERM');
  const { code } = await until('the program ends', () => program.ended && exit, 2000);
  assert.equal(code, 0);
  assert.ok(Date.now() - begin <= 2000, `${Date.now() - begin} ms`);
}
