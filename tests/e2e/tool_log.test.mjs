// After the show: the tool tells from the alert log what happened, and why operation moved or not.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import { after, before, beforeEach, test } from 'node:test';

import { Device } from '../driver/network.mjs';
import { operate, until_active, until_alert } from '../driver/operator.mjs';
import { command, Pair } from '../driver/pair.mjs';
import { ask_tool, ask_tool_json, run_tool } from '../driver/tool.mjs';
import { until } from '../driver/waiting.mjs';

let pair;
let device;
before(async () => {
  device = await Device.start();
  pair = await Pair.start();
});
after(async () => {
  await pair?.stop();
  await device?.stop();
});
beforeEach(async () => {
  await pair.settle();
  fs.rmSync(pair.workstation.alert_log, { force: true });
});

const ask = (...words) => ask_tool(pair.workstation, ...words);
const ask_json = (...words) => ask_tool_json(pair.workstation, ...words);

async function fail_over() {
  await pair.main.set({ engine: 'stopped' });
  await until_active('backup');
}

const until_told = (what, satisfied) =>
  until(what, async () => {
    const told = await ask_json('explain');
    return satisfied(told) && told;
  });

test('a_failover_with_its_commands_is_explained_and_listed', async () => {
  await pair.settle({ actions: [command('One'), command('Two')] });
  fs.rmSync(pair.workstation.alert_log, { force: true });
  await fail_over();
  const sent = ({ story }) => story.some(({ text }) => text === '2 commands sent.');
  const told = await until_told('both commands are told', sent);
  assert.deepEqual(
    [told.code, told.outcome, told.summary],
    [1, 'moved', 'Operation moved to Backup because of Main: Engine stopped or exited.'],
  );
  assert.match(told.story[1].text, /^Moved to Backup(, \d+ s after the alert)?\.$/);

  const { output } = await ask('timeline');
  const rows = output.trimEnd().split('\n').slice(1);
  assert.deepEqual(
    rows.map((row) => row.slice(10, 19).trimEnd()),
    ['fault', 'moved', 'command', 'command'],
  );
  const { code, timeline, damagedLines } = await ask_json('timeline');
  assert.deepEqual([code, timeline.length, damagedLines], [1, 4, 0]);
  const [first] = pair.workstation.alert_log_lines();
  assert.equal(timeline[0].begun, first.time);
  const csv = (await ask('timeline', '--csv')).output.split('\n');
  assert.equal(csv[0], 'begun,ended,duration_ms,kind,message');
  assert.equal(csv.length, 6);
});

test('a_backup_that_was_not_ready_is_the_reason', async () => {
  await pair.backup.set({ engine: 'stopped' });
  await until_alert('Backup is not ready; automatic protection is degraded.');
  await pair.main.set({ engine: 'stopped' });
  await until_alert('Main fault detected; failover blocked because Backup is not ready.');
  const told = await until_told('blocked', ({ outcome }) => outcome === 'blocked');
  assert.match(told.summary, /^Operation did not move: Backup was not ready from .* on\.$/);
  assert.deepEqual(told.reasons, ['Backup: Engine stopped or exited.']);
});

test('a_disarmed_program_and_an_operator_are_told', async () => {
  assert.equal((await operate('disarm')).ok, true);
  await pair.main.set({ engine: 'stopped' });
  await until_alert('Main: Engine stopped or exited.');
  const stayed = await until_told('stayed', ({ outcome }) => outcome === 'stayed');
  assert.equal(stayed.reasons[0], 'Automatic failover is disarmed now.');
  assert.equal((await operate('backup')).ok, true);
  const moved = await until_told('moved', ({ outcome }) => outcome === 'moved');
  assert.equal(moved.summary, 'The operator moved operation to Backup.');
  assert.ok(moved.reasons.includes('Operation is held on Backup now.'));
});

test('a_quiet_time_has_nothing_to_tell', async () => {
  const quiet = await ask('timeline');
  assert.deepEqual([quiet.code, quiet.output], [0, 'Nothing happened in this time.\n']);
  const told = await ask_json('explain');
  assert.deepEqual([told.code, told.outcome], [0, 'noFault']);
  await fail_over();
  const long_ago = await ask('explain', '--at', '2001-01-01 20:14');
  assert.equal(long_ago.code, 0);
  assert.match(long_ago.output, /^The program saw no fault of Main at that time\.\n/);
  const until_then = await ask('timeline', '--until', '2001-01-01');
  assert.equal(until_then.output, 'Nothing happened in this time.\n');
  assert.equal((await ask('timeline', '--since', '2001-01-01')).code, 1);
});

test('a_time_that_was_asked_for_has_its_events', async () => {
  await fail_over();
  const { timeline } = await ask_json('timeline');
  const [fault, moved] = timeline.map(({ begunLocal }) => begunLocal.slice(0, 19));
  for (const at of [fault, fault.slice(11), fault.slice(0, 10)]) {
    const told = await ask_json('explain', '--at', at);
    assert.deepEqual([told.code, told.outcome, told.olderLeftOut], [1, 'moved', false], at);
  }
  const since_then = await ask_json('timeline', '--since', fault.slice(11), '--until', moved);
  assert.deepEqual(
    since_then.timeline.slice(0, 2).map(({ kind }) => kind),
    ['fault', 'moved'],
  );
  const refused = await ask('timeline', '--since', fault, '--until', '2001-01-01');
  assert.deepEqual([refused.code, refused.output], [2, '']);
  assert.match(refused.errors, /^--until 2001-01-01 is before --since /);
});

test('damaged_lines_are_counted_and_the_others_told', async () => {
  await fail_over();
  const whole = fs.readFileSync(pair.workstation.alert_log, 'utf8');
  fs.writeFileSync(pair.workstation.alert_log, `{"time":17\n\x00\xff\n${whole}{"ti`, 'latin1');
  const { code, timeline, damagedLines } = await ask_json('timeline');
  assert.deepEqual([code, timeline.length, damagedLines], [1, 2, 3]);
  assert.equal((await ask_json('explain')).outcome, 'moved');
});

// It takes no room on the disk: all but the end is a hole.
test('of_a_log_of_two_gigabytes_the_end_is_told', async () => {
  await fail_over();
  const whole = fs.readFileSync(pair.workstation.alert_log, 'utf8');
  fs.truncateSync(pair.workstation.alert_log, 2 ** 31 + 4096);
  fs.appendFileSync(pair.workstation.alert_log, `\n${whole}`);
  const { timeline, olderLeftOut } = await ask_json('timeline');
  assert.deepEqual([timeline.length, olderLeftOut], [2, true]);
  assert.equal((await ask_json('explain')).outcome, 'moved');
  const early = await ask_json('timeline', '--until', '2001-01-01');
  assert.deepEqual([early.timeline, early.damagedLines], [[], 1]);
});

test('what_cannot_be_read_is_one_sentence', async () => {
  for (const question of ['timeline', 'explain']) {
    const { workstation } = pair;
    fs.mkdirSync(workstation.alert_log);
    const folder = await ask(question);
    fs.rmdirSync(workstation.alert_log);
    assert.deepEqual([folder.code, folder.output], [2, '']);
    assert.match(folder.errors, /^The alert log can't be read: .*\n$/);
    const nowhere = await run_tool(workstation, question, '--config', 'no such/folder.json');
    assert.equal(nowhere.code, 2);
    assert.match(nowhere.errors, /^There is no configuration file at no such.*\n$/);
  }
  const no_time = await ask('explain', '--at', 'yesterday');
  assert.equal(no_time.code, 2);
  assert.match(no_time.errors, /^"yesterday" is no time\. /);
});
