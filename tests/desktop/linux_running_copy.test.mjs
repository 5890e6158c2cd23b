// What happens to the installed program while it runs on Linux: its package is upgraded during a
// hold, and its log is trimmed.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import zlib from 'node:zlib';
import { after, before, test } from 'node:test';

import { Server } from '../driver/network.mjs';
import { get_status, until_active, until_status } from '../driver/operator.mjs';
import { paired_config, quick_policy } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';
import { DebianMachine, ended, name, programs, settings } from './support/debian_machine.mjs';

let machine;
let main;
let backup;
let program;

before(async () => {
  machine = new DebianMachine();
  machine.succeeds('dpkg', '-i', '/package.deb');
  machine.write_setting('operator-control.json', paired_config());
  machine.write_setting('operator-control.json.protection.json', quick_policy);
  [main, backup] = [await Server.start('main', 'SER-A'), await Server.start('backup', 'SER-B')];
});
after(async () => {
  if (program && !program.ended) await program.signal('SIGKILL');
  await main.stop();
  await backup.stop();
  machine.remove();
});

function both_run({ protection }) {
  const run = ({ ageMs, engineRunning }) => ageMs >= 0 && ageMs < 500 && engineRunning;
  return protection.systems.length === 2 && protection.systems.every(run);
}

const until_both_run = (when) => until_status(`both servers are well ${when}`, both_run);

async function assert_held() {
  const { active, protection } = await get_status();
  assert.deepEqual([active, protection.heldOnBackup], ['backup', true]);
}

// The same package, as far as it works: other programs, a higher version.
function make_newer_package() {
  machine.succeeds('dpkg-deb', '-R', '/package.deb', '/newer');
  for (const one of programs) fs.appendFileSync(machine.file(`/newer/usr/bin/${one}`), 'newer');
  machine.succeeds('sed', '-i', 's/^Version: .*/Version: 99/', '/newer/DEBIAN/control');
  machine.succeeds('dpkg-deb', '--build', '/newer', '/newer.deb');
}

test('an_upgrade_during_a_hold_leaves_the_running_copy_and_operation_on_backup', async () => {
  make_newer_package();
  program = await machine.start_program();
  await until_both_run('at first');
  await main.set({ engine: 'stopped' });
  await until_active('backup');
  await main.set({ reset: true });
  await until_both_run('again');

  machine.succeeds('dpkg', '-i', '/newer.deb');
  assert.match(machine.succeeds('dpkg', '-s', name), /^Version: 99$/m);
  assert.match(fs.readFileSync(machine.file(`/usr/bin/${name}`), 'latin1'), /newer$/);
  // It is still the file that it was started from.
  assert.match(fs.readlinkSync(`/proc/${program.process.pid}/exe`), / \(deleted\)$/);
  await assert_held();
  // It sees what happens after the upgrade, too.
  await backup.set({ engine: 'stopped' });
  await until_status('the copy still polls', (status) => !both_run(status));
  await backup.set({ reset: true });
  await until_both_run('after the upgrade');
  await assert_held();
  assert.equal(program.ended, false);
});

test('the_new_program_goes_on_where_the_old_one_stopped', async () => {
  assert.deepEqual(await program.signal('SIGTERM'), ended);
  program = await machine.start_program();
  // Nobody is active before both have been asked.
  await until_status('it knows', ({ active }) => active !== 'none');
  await assert_held();
  await until_both_run('for the new program');
  await assert_held();
});

test('the_log_is_trimmed_while_the_program_writes_it', async () => {
  await until('lines to trim', () => machine.log().includes('[status]'));
  const state = '/home/operator/logs.state';
  const rules = `/usr/share/${name}/logrotate.conf`;
  const trim = ['/usr/sbin/logrotate', '--force', '--state', state, rules];
  const trimming = machine.as_operator(...trim);
  assert.deepEqual(await trimming.exited, ended, trimming.text.errors);
  const kept = path.join(machine.file(settings), 'operator-control.log.1.gz');
  const lines = zlib.gunzipSync(fs.readFileSync(kept)).toString();
  assert.match(lines, /^Elvantris Redundancy Control 0\.9\.2$/m);
  assert.equal(machine.log().includes('Elvantris Redundancy Control 0.9.2'), false);

  await backup.set({ engine: 'stopped' });
  await until('the next line', () => machine.log().includes('[status]'));
  // A file that is written on at its old end begins with a hole.
  assert.equal(machine.log().includes('\0'), false);
  assert.deepEqual(await program.signal('SIGTERM'), ended);
});

test('the_rehearsal_of_the_menu_says_why_it_does_not_start_before_its_window_closes', async () => {
  const entry = machine.file('/usr/share/applications/elvantris-rehearsal.desktop');
  const [, command] = /^Exec=sh -c "(.*)"$/m.exec(fs.readFileSync(entry, 'utf8'));
  const started = machine.as_operator('sh', '-c', command);
  await started.exited;
  assert.match(started.text.errors, /^elvantris-rehearsal: A media server answers/m);
  assert.match(started.text.output, /^Press Enter/m);
});
