// Before the show: the tool looks at the running program and says READY, or why not.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, beforeEach, test } from 'node:test';

import { decks, plug_into, until_control, xl } from '../driver/decks.mjs';
import { addresses, windows } from '../driver/environment.mjs';
import { occupy, unreadable_status, while_answered } from '../driver/http.mjs';
import { start_silent_resolver } from '../driver/network.mjs';
import { get_status, post, until_active, until_alert } from '../driver/operator.mjs';
import { Pair, paired_config, quick_policy } from '../driver/pair.mjs';
import { ask_tool, ask_tool_json, run_tool, with_files_of } from '../driver/tool.mjs';
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

// This finding and no other, but for those that may come and go beside it.
const until_only = (id, beside = []) =>
  until(`nothing but ${id}`, async () => {
    const { findings } = await ask_tool_json(pair.workstation, 'check');
    const found = findings.filter((each) => !beside.includes(each.id));
    return found.length === 1 && found[0].id === id && found[0];
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

const telemetry_alert = 'Frame/output telemetry unavailable; update Elvantris and its engine.';
// The fault, what the check says, what the program's own alert says, and the settings that it takes.
const server_faults = [
  [
    'a_stopped_engine',
    { engine: 'stopped' },
    'its engine has stopped.',
    'Engine stopped or exited.',
  ],
  ['a_dead_server', { httpPort: 'closed' }, 'it does not answer.', 'Server communication lost.'],
  ['an_old_version', { healthCall: false }, 'it is too old to report its health.', telemetry_alert],
  [
    'an_unresponsive_engine',
    { engine: 'unresponsive' },
    'its engine does not respond.',
    'Engine is not responding.',
  ],
  ['missing_telemetry', { telemetry: false }, 'it reports no frames and outputs.', telemetry_alert],
  [
    'frozen_frames',
    { frames: 'frozen' },
    'one of its channels makes no frames.',
    'Engine channel frame progress stalled.',
  ],
  [
    'a_lost_clock',
    { clock: { engaged: true, healthy: false } },
    'its external clock is unavailable or unlocked.',
    'Engaged external clock is unavailable or unlocked.',
    { clock: 2 },
  ],
  [
    'a_missing_output',
    { outputs: [{ id: 'out-1', name: 'Projector Left', available: false, known: true }] },
    'its protected output out-1 is not there.',
    'Protected output unavailable: out-1',
    { outputRules: [{ mainId: 'out-1', backupId: 'out-1', mode: 2 }] },
  ],
];

for (const [name, fault, reason, alert, policy] of server_faults) {
  test(`${name}_of_backup_is_found`, async () => {
    await pair.settle(policy);
    await pair.backup.set(fault);
    await until_alert(`Backup: ${alert}`);
    await until_alert('Backup is not ready; automatic protection is degraded.');
    // The alerts say the same, and are not told again.
    const { sentence } = await until_only('backup');
    assert.equal(sentence, `Backup is not ready to take over: ${reason}`);
  });

  test(`${name}_of_main_is_found`, async () => {
    // Otherwise operation would move, and Backup's case would be told.
    await pair.settle({ ...policy, armed: false });
    await pair.main.set(fault);
    await until_alert(`Main: ${alert}`);
    // The event of a silent Main can't be compared with the pairing.
    const { sentence } = await until_only('main', ['armed', 'pairing']);
    assert.equal(sentence, `Main is not well: ${reason}`);
  });
}

test('a_starting_engine_of_backup_is_a_reason_that_the_program_does_not_show', async () => {
  await pair.backup.set({ engine: 'starting' });
  await until_alert('Backup is not ready; automatic protection is degraded.');
  const { sentence } = await until_only('backup');
  assert.equal(
    sentence,
    'Backup is not ready to take over, for a reason that the program does not show: ' +
      'its engine may still be starting, or its clock may be unlocked.',
  );
});

const lagging = { replication: { pendingMedia: 2, lastError: 'Disk full' } };

test('a_backup_that_lags_behind_is_found_with_what_it_lacks', async () => {
  await pair.backup.set(lagging);
  await until_alert('Backup show state or media is not synchronized.');
  const { sentence } = await until_only('sync');
  assert.match(
    sentence,
    /^Backup's show or media is behind Main's: revision (\d+) of \1, 2 media missing, Disk full\.$/,
  );
});

test('a_backup_that_must_be_in_sync_and_is_not_is_not_ready', async () => {
  await pair.settle({ sync: 2 });
  await pair.backup.set(lagging);
  await until_alert('Backup show state or media is not synchronized.');
  await until_alert('Backup is not ready; automatic protection is degraded.');
  const { sentence } = await until_only('sync');
  assert.equal(sentence, "Backup is not ready to take over: its show or media is behind Main's.");
});

test('any_other_alert_is_found_with_its_time', async () => {
  await pair.settle({ frames: 1 });
  await pair.backup.set({ frames: 'frozen' });
  const message = 'Backup: Engine channel frame progress stalled.';
  await until_alert(message);
  const { sentence } = await until_only('alert');
  const [, moment, alert] = sentence.match(
    /^An alert has been active since ([-\d]+ [:\d]+): (.*)$/,
  );
  assert.equal(alert, message);
  assert.match(moment, /^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d$/);
});

const chosen = { enabled: true, mainSerial: 'SER-A', backupSerial: 'SER-B' };

test('a_pair_that_is_not_chosen_is_found', async () => {
  await post('/api/role', { serial: 'SER-B', role: 'Independent' });
  try {
    await until_found('Main and Backup are not chosen.');
  } finally {
    await post('/api/configure', chosen);
  }
});

test('a_disabled_pair_is_found', async () => {
  await post('/api/configure', { ...chosen, enabled: false });
  try {
    await until_found('The pair is disabled: nothing moves.');
  } finally {
    await post('/api/configure', chosen);
  }
});

test('a_pairing_that_main_does_not_take_is_found', async () => {
  await pair.main.break_path('UpdateEventModel', { status: 500 });
  try {
    await post('/api/configure', { ...chosen, sharedFunctionIds: [3] });
    const { sentence } = await until_only('pairing');
    assert.equal(
      sentence,
      "The pairing is not in Main's event: " +
        'Main rejected the Redundancy Control pairing update.',
    );
  } finally {
    await pair.main.heal();
    await post('/api/configure', { ...chosen, sharedFunctionIds: [3, 7] });
  }
});

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
  const expected = {
    armed: 'Automatic failover is disarmed.',
    'output-rule': 'Main has no output no such, which a rule under Protected Outputs names.',
    'loss-time': 'The response timeout of 550 ms is short: a single lost poll can move operation.',
    'startup-time': 'After a start of the program nothing moves by itself for 1 min.',
    'command-address': 'The address of the command "Nowhere" can\'t be found: nowhere.invalid.',
    'command-time':
      'The commands of Transfer to Backup can take 12 s; until then nothing else can move.',
  };
  for (const [id, sentence] of Object.entries(expected))
    assert.equal(findings.find((found) => found.id === id)?.sentence, sentence);
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

// The program itself may write the file again at any time.
const file_damages = [
  ['a_damaged', (file) => fs.writeFileSync(file, '{"enabled":tr'), 'is damaged.'],
  ['an_unreadable', (file) => replace_by_folder(file), "can't be read."],
  ['a_missing', (file) => fs.rmSync(file, { force: true, recursive: true }), ''],
];
function replace_by_folder(file) {
  fs.rmSync(file, { force: true, recursive: true });
  fs.mkdirSync(path.join(file, 'in the way'), { recursive: true });
}
for (const [name, damage, words] of file_damages) {
  test(`${name}_configuration_of_the_running_program_is_found`, async () => {
    const { config } = pair.workstation;
    const whole = fs.readFileSync(config);
    const sentence = words
      ? `The configuration file ${words}`
      : `There is no configuration file at ${with_files_of(pair.workstation)[1]}.`;
    try {
      await until(sentence, async () => {
        damage(config);
        const { findings } = await ask_tool_json(pair.workstation, 'check');
        return findings.some(
          (found) => found.id === 'configuration' && found.sentence === sentence,
        );
      });
    } finally {
      fs.rmSync(config, { force: true, recursive: true });
      fs.writeFileSync(config, whole);
    }
    await until_ready();
  });
}

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
  // Wine counts the room of its whole drive, not of what is mounted in it.
  test('a_disk_without_room_for_the_logs_is_found', async () => {
    const other = new Workstation();
    const disk = path.join(other.folder, 'disk');
    fs.mkdirSync(disk);
    execFileSync('mount', ['-t', 'tmpfs', '-o', 'size=100m', 'tmpfs', disk]);
    try {
      other.use_folder(disk);
      other.write_config(paired_config());
      assert.match(
        (await ask_tool(other, 'check')).output,
        /^- The disk of the settings has 104 MB left; a month of logs takes 150 MB\. /m,
      );
    } finally {
      execFileSync('umount', [disk]);
      await other.remove();
    }
  });

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
  fs.truncateSync(stopped.state, 1_000_000_000);
  assert.match((await ask_tool(stopped, 'check')).output, /^- The protection file is too large: /m);
  stopped.write_state({ ...quick_policy, lossMs: 1 });
  assert.match(
    (await ask_tool(stopped, 'check')).output,
    /^- The saved protection settings are not valid: Fault delays must be 500-30000 ms; /m,
  );
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

  const told_beside = async (text) =>
    (await while_answered(5251, text, () => ask_tool(stopped, 'check'))).output;
  const strange = await told_beside('{"status":"fine"}');
  assert.match(strange, /^- Another program answers on port 5251\. /m);
  const unread = await told_beside(unreadable_status);
  assert.match(unread, /^- The program is running, and its status can't be read\. /m);
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
