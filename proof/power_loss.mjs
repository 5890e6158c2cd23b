// The power is lost at every moment of the program's saves. What the saves do is recorded from a
// real run; what the disk may hold then is enumerated, and the program is started on each.
import assert from 'node:assert/strict';
import { createHash } from 'node:crypto';
import fs from 'node:fs';

import { Disk } from './support/disk_model.mjs';
import { memory_folder } from './support/folders.mjs';
import { record } from './support/recording.mjs';
import {
  allowed_after,
  broken_rule,
  Checker,
  prepare_show,
  saving_program,
} from './support/saving_program.mjs';
import { said } from './support/words.mjs';

const fewest_states = 2000;

const fingerprint = (files, allowed) => {
  const hash = createHash('sha256').update(JSON.stringify(allowed));
  for (const [name, bytes] of [...files].sort())
    hash.update(`${name} ${bytes.length} `).update(bytes);
  return hash.digest('hex');
};

// Each different state once, with what may be loaded from it; before the first word that is unknown.
function* crashes({ before, steps }) {
  const disk = new Disk(before);
  const lines = [];
  const seen = new Set();
  for (const step of steps) {
    disk.take(step);
    if (step.kind === 'said') lines.push(step.line);
    const allowed = allowed_after(lines);
    for (const files of disk.after_crash()) {
      const print = fingerprint(files, allowed);
      if (seen.has(print)) continue;
      seen.add(print);
      yield { files, allowed };
    }
  }
}

// The model must end where the real disk ended.
function assert_recorded_all({ before, steps, after }) {
  const disk = new Disk(before);
  for (const step of steps) disk.take(step);
  const modelled = [...disk.now()].sort().map(([name, bytes]) => ({ name, bytes }));
  assert.deepEqual(modelled, after, 'the recording lacks a step');
}

function put(folder, files) {
  fs.rmSync(folder, { recursive: true, force: true });
  fs.mkdirSync(folder);
  for (const [name, bytes] of files) fs.writeFileSync(`${folder}/${name}`, bytes);
}

// Starts on each state until the time is over, or until a rule breaks that was to break.
async function start_on_each(recording, checker, folder, { deadline, until_broken = false }) {
  const outcome = { states: 0, broken: 0, first: '' };
  for (const { files, allowed } of crashes(recording)) {
    if (Date.now() > deadline) break;
    if (allowed.length === 0) continue;
    put(folder, files);
    const rule = broken_rule(await checker.look_at(folder), allowed);
    outcome.states += 1;
    if (!rule) continue;
    outcome.broken += 1;
    outcome.first ||= rule;
    if (until_broken) break;
  }
  return outcome;
}

// A damaged file is under its name or kept under the other, whatever the disk has lost.
function row_of_damaged_file(show) {
  const state = 'operator-control.json.protection.json';
  const damaged = fs.readFileSync(`${show}/${state}`).subarray(0, -10);
  fs.writeFileSync(`${show}/${state}`, damaged);
  const recording = record(show, [saving_program, 'act', show, '1']);
  assert_recorded_all(recording);
  let states = 0;
  let lost = 0;
  for (const { files } of crashes(recording)) {
    const kept = [files.get(state), files.get(`${state}.unreadable-1`)];
    states += 1;
    if (!kept.some((bytes) => bytes?.equals(damaged))) lost += 1;
  }
  return {
    kept: lost === 0,
    row: {
      what: 'states while a damaged file is replaced for the first time',
      amount: said(states),
      outcome: lost === 0 ? 'the damaged file is there' : `**${said(lost)} without it**`,
      bound: 'always there',
    },
  };
}

const without = (recording, kind) => ({
  ...recording,
  steps: recording.steps.filter((step) => step.kind !== kind),
});

// The proof of the proof: a program that left out a flush would be found.
async function row_without(what, kind, recording, checker, folder, deadline) {
  const limits = { deadline, until_broken: true };
  const { states, broken, first } = await start_on_each(
    without(recording, kind),
    checker,
    folder,
    limits,
  );
  return {
    found: broken > 0,
    row: {
      what: `the same, if a save did not flush ${what}`,
      amount: `${said(states)} states`,
      outcome: broken > 0 ? `found: ${first}` : '**not found**',
      bound: 'must be found',
    },
  };
}

function row_of({ states, broken, first }) {
  return {
    what: 'states of the disk after a loss of power',
    amount: said(states),
    outcome:
      broken === 0 ? 'both files whole, the right side' : `**${said(broken)} broken**: ${first}`,
    bound: `none broken, at least ${said(fewest_states)}`,
  };
}

export async function prove_power_loss({ deadline }) {
  const folder = memory_folder();
  const checker = new Checker();
  try {
    const show = folder.inside('show');
    const state = folder.inside('state');
    fs.mkdirSync(show);
    prepare_show(show);
    const recording = record(show, [saving_program, 'act', show, '8']);
    assert_recorded_all(recording);
    const whole = await start_on_each(recording, checker, state, { deadline });
    const later = Date.now() + 60_000;
    const without_flush = [
      await row_without('its file', 'flush', recording, checker, state, later),
      await row_without('its folder', 'flush_folder', recording, checker, state, later),
    ];
    const replaced = row_of_damaged_file(show);
    const passed =
      whole.broken === 0 &&
      replaced.kept &&
      whole.states >= fewest_states &&
      without_flush.every(({ found }) => found);
    return {
      passed,
      amount: `${said(whole.states)} states`,
      outcome: `${said(whole.broken)} broken`,
      bound: 'none',
      rows: [row_of(whole), replaced.row, ...without_flush.map(({ row }) => row)],
    };
  } finally {
    await checker.end();
    folder.remove();
  }
}
