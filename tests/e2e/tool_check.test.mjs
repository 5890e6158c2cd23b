// Before the show: the tool looks at the running program and says READY, or why not.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, beforeEach, test } from 'node:test';

import { decks, plug_into, until_control, xl } from '../driver/decks.mjs';
import { addresses, windows } from '../driver/environment.mjs';
import { occupy } from '../driver/http.mjs';
import { start_silent_resolver } from '../driver/network.mjs';
import { get_status, until_active, until_alert } from '../driver/operator.mjs';
import { Pair, paired_config, quick_policy } from '../driver/pair.mjs';
import { ask_tool, ask_tool_json, run_tool } from '../driver/tool.mjs';
import { until } from '../driver/waiting.mjs';
import { Workstation } from '../driver/workstation.mjs';

let pair;
before(async () => {
  pair = await Pair.start((workstation) => {
    if (!windows) plug_into(workstation, [xl]);
  });
});
after(() => pair?.stop());
beforeEach(() => pair.settle());

const check = (...words) => ask_tool(pair.workstation, 'check', ...words);
const ready = { code: 0, output: 'READY\n', errors: '' };
const memory = () => `${pair.workstation.config}.check.json`;
// Absent as long as no deck was ever there.
const memory_written = () => fs.existsSync(memory()) && fs.statSync(memory()).mtimeMs;

// What a busy machine delays, a poll or the pairing, is no finding that stays.
const until_ready = () => until('READY', async () => (await check()).code === 0);

const until_found = (sentence) =>
  until(sentence, async () => {
    const { code, output } = await check();
    return code === 1 && output.includes(`- ${sentence}`) && output;
  });

test('a_healthy_pair_is_ready_and_nothing_else_is_said', async () => {
  await until_ready();
  assert.deepEqual(await check(), ready);
  const { code, ...answer } = await ask_tool_json(pair.workstation, 'check');
  const longestSequenceMs = { backup: 0, main: 0 };
  assert.deepEqual(
    [code, answer],
    [0, { ready: true, findings: [], notes: [], longestSequenceMs }],
  );
});

test('a_check_changes_nothing_but_its_own_memory', async () => {
  await until_ready();
  const folder = path.dirname(pair.workstation.config);
  // The program replaces its own files by way of others.
  const of_the_tool = () => fs.readdirSync(folder).filter((name) => name.includes('.check.json'));
  const before_it = [of_the_tool(), memory_written()];
  const state = fs.readFileSync(pair.workstation.state, 'utf8');
  await pair.backup.set({ engine: 'stopped' });
  await until_found('Backup is not ready to take over: its engine has stopped.');
  await pair.backup.heal();
  await until_ready();
  assert.deepEqual([of_the_tool(), memory_written()], before_it);
  assert.equal(fs.readFileSync(pair.workstation.state, 'utf8'), state);
});

const backup_faults = [
  ['a_stopped_engine', { engine: 'stopped' }, 'its engine has stopped.'],
  ['a_dead_server', { httpPort: 'closed' }, 'it does not answer.'],
  ['frozen_frames', { frames: 'frozen' }, 'one of its channels makes no frames.'],
  [
    'a_starting_engine',
    { engine: 'starting' },
    'for a reason that the program does not show: its engine may still be starting, ' +
      'or its clock may be unlocked.',
  ],
];
for (const [name, fault, reason] of backup_faults) {
  test(`${name}_of_backup_is_found`, async () => {
    await pair.backup.set(fault);
    await until_alert('Backup is not ready; automatic protection is degraded.');
    const hidden = reason.startsWith('for');
    const found = await until_found(
      `Backup is not ready to take over${hidden ? ', ' : ': '}${reason}`,
    );
    // The alerts say the same, and are not told again.
    assert.equal(found.split('\n').length, 3, found);
  });
}

test('a_failover_is_found_with_the_cause', async () => {
  await pair.main.set({ engine: 'stopped' });
  await until_active('backup');
  const found = await until_found('Main is not well: its engine has stopped.');
  assert.match(found, /^- Operation is held on Backup: nothing moves by itself\. /m);
});

test('settings_that_would_fail_the_show_are_found', async () => {
  const action = { event: 'backup', port: 7000, transport: 'TCP', payload: 'x', enabled: true };
  await pair.settle({
    armed: false,
    lossMs: 550,
    startupMs: 60000,
    outputRules: [{ mainId: 'no such', backupId: '', mode: 1 }],
    actions: [
      { ...action, name: 'Nowhere', host: 'nowhere.invalid' },
      { ...action, name: 'Slow', host: addresses.device, delayMs: 10000 },
    ],
  });
  const { code, findings, longestSequenceMs } = await ask_tool_json(pair.workstation, 'check');
  assert.equal(code, 1);
  const found = findings.map(({ id }) => id);
  const expected = [
    'armed',
    'output-rule',
    'loss-time',
    'startup-time',
    'command-address',
    'command-time',
  ];
  for (const id of expected) assert.ok(found.includes(id), `${id} in ${found}`);
  assert.equal(longestSequenceMs.backup, 12000);
  for (const { advice } of findings) assert.notEqual(advice, '');
});

test('a_name_server_that_never_answers_keeps_the_check_waiting_for_a_moment_only', async () => {
  const resolver = await start_silent_resolver();
  try {
    const action = { name: 'Router', event: 'backup', port: 7000, payload: 'x', enabled: true };
    await pair.settle({ actions: [{ ...action, host: 'router.example' }] });
    await until_found(
      'The name server does not say where the command "Router" goes: router.example.',
    );
  } finally {
    await resolver.stop();
  }
});

test('another_configuration_file_than_the_programs_is_found', async () => {
  const other = new Workstation();
  other.write_config(paired_config());
  const { code, output } = await ask_tool(other, 'check');
  assert.equal(code, 1);
  assert.match(output, /^- The running program uses another configuration file: /m);
  // The log beside it is not the program's.
  const sentence = /The running program uses another configuration file: /;
  for (const question of ['explain', 'timeline'])
    assert.match((await ask_tool(other, question)).output, sentence);
  await other.remove();
});

if (!windows) {
  test('a_folder_that_takes_no_memory_is_told', async () => {
    await until('the deck is there', async () => (await get_status()).streamDeckCount === 1);
    fs.rmSync(memory(), { force: true });
    fs.mkdirSync(path.join(memory(), 'in the way'), { recursive: true });
    const unwritten = 'The decks could not be written down in ';
    await until('noted', async () => {
      const { code, output } = await check();
      return code === 0 && output.startsWith(`READY\nNote: ${unwritten}`);
    });
    await until('found', async () => {
      const { code, output } = await check('--accept-decks');
      return code === 1 && output.includes(`- ${unwritten}`);
    });
    assert.ok(!fs.existsSync(`${memory()}.tmp`));
    fs.rmSync(memory(), { recursive: true });
    await until_ready();
  });

  test('a_deck_that_was_there_at_the_last_good_check_is_missed', async () => {
    await until_control();
    await until('the deck is there', async () => (await get_status()).streamDeckCount === 1);
    await until_ready();
    assert.deepEqual(JSON.parse(fs.readFileSync(memory(), 'utf8')).decks[0].serial, xl.serial);
    await decks.tell('pull', { path: xl.path });
    await until('the deck is gone', async () => (await get_status()).streamDeckCount === 0);
    await until_found('Stream Deck XL (XL-1) is missing; it was there at the last good check.');
    await until('accepted', async () => (await check('--accept-decks')).code === 0);
    assert.deepEqual(JSON.parse(fs.readFileSync(memory(), 'utf8')), { decks: [] });
    await until_ready();
  });
}

test('without_the_program_the_files_are_still_checked', async () => {
  const stopped = new Workstation();
  await pair.workstation.stop();
  try {
    stopped.write_config(paired_config());
    const hold = { heldOnBackup: true, pairMain: 'SER-A', pairBackup: 'SER-B' };
    stopped.write_state({ ...quick_policy, armed: false, ...hold });
    const { code, output } = await ask_tool(stopped, 'check');
    assert.equal(code, 1);
    const sentences = output.split('\n').map((line) => line.split('. ')[0]);
    assert.deepEqual(sentences.slice(0, 4), [
      'NOT READY',
      '- The program is not running',
      '- Automatic failover is disarmed',
      '- Operation is held on Backup: nothing moves by itself',
    ]);
    await with_bad_files(stopped);
    await with_a_silent_port(stopped);
  } finally {
    await stopped.remove();
    await pair.workstation.start();
  }
});

async function with_bad_files(stopped) {
  stopped.write_state('{"armed":tr');
  assert.match((await ask_tool(stopped, 'check')).output, /^- The protection file is damaged\. /m);
  fs.rmSync(stopped.state);
  fs.mkdirSync(stopped.state);
  const unreadable = await ask_tool(stopped, 'check');
  assert.match(unreadable.output, /^- The protection file can't be read\. /m);
  fs.rmdirSync(stopped.state);

  fs.rmSync(stopped.config);
  const missing = await ask_tool(stopped, 'check');
  assert.deepEqual([missing.code, missing.output], [2, '']);
  assert.match(missing.errors, /^The program is not running\. There is no configuration file at /);
  const { code, error } = await ask_tool_json(stopped, 'check');
  assert.equal(code, 2);
  assert.match(error, /^The program is not running\. /);
  stopped.write_config(paired_config());
}

async function with_a_silent_port(stopped) {
  const silent = await occupy(5251);
  const held = await ask_tool(stopped, 'check');
  assert.match(held.output, /^- Something holds port 5251 and gives no answer\. /m);
  await silent.release();
}

test('help_and_wrong_words_have_their_exit_codes', async () => {
  for (const command of ['check', 'doctor', 'explain', 'timeline', 'bundle', 'metrics']) {
    const { code, output, errors } = await run_tool(pair.workstation, command, '--help');
    assert.deepEqual([code, errors], [0, ''], command);
    assert.match(output, /--config PATH[^]*Exit code: 0 all is well/, command);
  }
  const help = await run_tool(pair.workstation, 'check', '--help');
  assert.match(help.output, /nothing else is ever written/);
  assert.equal((await run_tool(pair.workstation, '--version')).code, 0);
  const wrong = await run_tool(pair.workstation, 'check', '--wrong');
  assert.deepEqual([wrong.code, wrong.output], [2, '']);
});
