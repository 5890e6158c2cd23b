// What survives the end of the program, however it ends, and what a bad file or disk does to it.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { after, afterEach, before, beforeEach, test } from 'node:test';

import { windows } from '../driver/environment.mjs';
import { Server } from '../driver/network.mjs';
import {
  active_alerts,
  get_status,
  operate,
  post,
  until_active,
  until_alert,
  until_recovered,
  until_status,
} from '../driver/operator.mjs';
import { paired_config, quick_policy } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';
import { Workstation } from '../driver/workstation.mjs';
import { assert_ends_at_once } from './support/hostile.mjs';

let main;
let backup;
let workstation;
before(async () => {
  main = await Server.start('main', 'SER-A');
  backup = await Server.start('backup', 'SER-B');
});
after(async () => {
  await main?.stop();
  await backup?.stop();
});
beforeEach(async () => {
  await main.heal();
  await backup.heal();
  workstation = new Workstation();
  workstation.write_config(paired_config());
  workstation.write_state(quick_policy);
});
afterEach(async () => {
  if (workstation.program && !workstation.program.ended) await workstation.stop();
  await workstation.remove();
});

const start_on_main = async () => {
  await workstation.start();
  await until('the pair is saved', () => workstation.saved_state().pairMain === 'SER-A');
  return until_status('both are well', ({ active, protection }) => {
    const well = protection.systems.filter((one) => one.ageMs >= 0 && one.engineRunning);
    return active === 'main' && well.length === 2;
  });
};
const take_backup = async () => {
  await start_on_main();
  await until('Backup is taken', async () => (await operate('backup')).ok);
  return until_active('backup');
};

for (const [name, end] of [
  ['an_orderly', () => workstation.stop()],
  ['a_violent', () => workstation.kill()],
]) {
  test(`after_${name}_end_a_hold_comes_up_on_backup_at_once`, async () => {
    await take_backup();
    await end();
    // With servers that do not answer, no cycle and no decision could bring operation there.
    for (const server of [main, backup]) await server.set({ faults: { '*': { hang: true } } });
    await workstation.start();
    assert.equal((await get_status()).protection.heldOnBackup, true);
    assert.notEqual((await get_status()).active, 'main');
    await backup.set({ reset: true });
    const status = await until_active('backup');
    assert.deepEqual(
      status.protection.alerts.filter(({ severity }) => severity === 'notice'),
      [],
    );
  });
}

test('after_a_restart_a_held_backup_stays_active_though_main_is_faulty_or_well', async () => {
  await take_backup();
  await main.set({ engine: 'stopped' });
  await workstation.stop();
  await workstation.start();
  await until_alert('Main: Engine stopped or exited.');
  await main.set({ reset: true });
  await until_recovered('Main: Engine stopped or exited.');
  assert.deepEqual(
    [(await get_status()).active, (await get_status()).protection.heldOnBackup],
    ['backup', true],
  );
});

test('the_policy_and_disarming_survive_a_violent_end', async () => {
  await start_on_main();
  const policy = { ...(await get_status()).protection.policy, lossMs: 777, sync: 2 };
  policy.outputRules = [{ mainId: 'out-1', backupId: 'out-2', mode: 1 }];
  assert.equal((await post('/api/protection', policy)).ok, true);
  assert.equal((await operate('disarm')).ok, true);
  await workstation.kill();
  await workstation.start();
  assert.deepEqual((await get_status()).protection.policy, { ...policy, armed: false });
});

test('a_pair_that_was_changed_while_the_program_was_away_ends_the_hold', async () => {
  await take_backup();
  await workstation.stop();
  const config = paired_config();
  config.systems[1].serial = 'SER-Z';
  workstation.write_config(config);
  await workstation.start();
  const status = await until_status('the hold ends', ({ protection }) => !protection.heldOnBackup);
  assert.notEqual(status.active, 'backup');
  await until_active('main');
  const { heldOnBackup, pairMain, pairBackup } = workstation.saved_state();
  assert.deepEqual([heldOnBackup, pairMain, pairBackup], [false, 'SER-A', 'SER-Z']);
});

test('another_backup_during_a_hold_ends_it_and_runs_no_action', async () => {
  const spare = await Server.start('spare', 'SER-C');
  try {
    await take_backup();
    await until_status('the spare is found', ({ systems }) => systems.length === 3);
    const pair = { enabled: true, mainSerial: 'SER-A', backupSerial: 'SER-C' };
    await post('/api/configure', { ...pair, sharedFunctionIds: [3, 7] });
    const status = await until_active('main');
    assert.deepEqual(active_alerts(status), []);
    assert.deepEqual([status.protection.heldOnBackup, status.protection.lastAction], [false, '']);
    // The end of the old alerts is no event of the log.
    const events = workstation.alert_log_lines().map(({ event }) => event);
    assert.deepEqual(events, ['fault']);
  } finally {
    await spare.stop();
  }
});

test('a_main_that_never_answers_is_lost_when_the_grace_ends_and_not_before', async () => {
  await main.set({ faults: { '*': { hang: true } } });
  const grace_ms = 2000;
  workstation.write_state({ ...quick_policy, startupMs: grace_ms });
  const launched = Date.now();
  await workstation.start();
  const status = await until_active('backup');
  for (const { message, started } of status.protection.alerts) {
    assert.ok(started - launched >= grace_ms, `${message} after ${started - launched} ms`);
  }
  assert.deepEqual(
    status.protection.alerts.map(({ message }) => message),
    [
      'Main: Server communication lost.',
      'Server communication lost.; operating on Backup. Return to Main manually when ready.',
    ],
  );
});

test('the_operator_need_not_wait_for_the_end_of_the_grace', async () => {
  workstation.write_state({ ...quick_policy, startupMs: 60000 });
  await start_on_main();
  await main.set({ engine: 'stopped' });
  await until_status('seen', ({ protection }) => !protection.systems[0].engineRunning);
  assert.deepEqual((await get_status()).protection.alerts, []);
  assert.equal((await operate('backup')).ok, true);
  await until_active('backup');
});

test('the_files_are_whole_after_ten_kills_at_any_moment', async () => {
  workstation.write_state({ ...quick_policy, pairMain: 'SER-A', pairBackup: 'SER-B' });
  for (let kill = 0; kill < 10; ++kill) {
    await workstation.start();
    // Writers of both files, as fast as they go, until the end comes between any two bytes.
    let killed = false;
    const write = async () => {
      for (let round = 0; !killed && round < 10000; ++round) {
        try {
          await operate(round % 2 ? 'arm' : 'disarm');
          await post('/api/shared', { ids: [3, 7, 100 + (round % 50)] });
        } catch {
          return;
        }
      }
    };
    const writing = write();
    const moment = 20 + ((kill * 37) % 150);
    await new Promise((resolve) => setTimeout(resolve, moment));
    await workstation.kill();
    killed = true;
    await writing;
    assert.equal(workstation.saved_config().systems.length, 2);
    assert.equal(workstation.saved_state().pairBackup, 'SER-B');
    assert.equal(workstation.saved_state().lossMs, quick_policy.lossMs);
  }
});

test('a_transfer_that_cannot_be_saved_is_blocked_and_tried_again', async () => {
  const message = 'Could not persist active server; transfer was blocked.';
  await start_on_main();
  const kept = workstation.state;
  fs.rmSync(kept);
  fs.mkdirSync(kept);
  fs.writeFileSync(path.join(kept, 'in the way'), '');
  const before = (await get_status()).protection;
  await until('refused', async () => (await operate('backup')).error === message);
  assert.deepEqual(await operate('disarm'), {
    status: 400,
    ok: false,
    error: 'Could not save protection state.',
  });
  assert.deepEqual(await post('/api/protection', { ...before.policy, lossMs: 900 }), {
    status: 400,
    ok: false,
    error: 'Protection settings could not be saved.',
  });
  const { active, protection } = await until_alert(message);
  assert.deepEqual([active, protection.heldOnBackup, protection.armed], ['main', false, true]);
  assert.deepEqual(protection.policy, before.policy);

  await main.set({ engine: 'stopped' });
  await until_alert('Main: Engine stopped or exited.');
  assert.equal((await get_status()).active, 'main');
  fs.rmSync(kept, { recursive: true });
  const moved = await until_active('backup');
  assert.ok(!active_alerts(moved).includes(message));
  assert.equal(workstation.saved_state().heldOnBackup, true);
});

test('a_full_disk_blocks_a_transfer_and_leaves_whole_files', async () => {
  const disk = path.join(workstation.folder, 'disk');
  fs.mkdirSync(disk);
  execFileSync('mount', ['-t', 'tmpfs', '-o', 'size=64k', 'tmpfs', disk]);
  try {
    for (const file of [workstation.config, workstation.state]) {
      fs.renameSync(file, `${disk}-${path.basename(file)}`);
      fs.copyFileSync(`${disk}-${path.basename(file)}`, path.join(disk, path.basename(file)));
    }
    workstation.use_folder(disk);
    await start_on_main();
    const filler = path.join(disk, 'filler');
    const rest = `${workstation.config}.tmp`;
    fs.closeSync(fs.openSync(rest, 'a'));
    fill(filler);
    await until('refused', async () => {
      const { error } = await operate('backup');
      return error === 'Could not persist active server; transfer was blocked.';
    });
    assert.ok(fs.existsSync(`${workstation.state}.tmp`));
    await until('the vain attempt of a pass is cleared away', () => !fs.existsSync(rest));
    assert.equal((await get_status()).active, 'main');
    assert.equal(workstation.saved_config().systems.length, 2);
    assert.equal(workstation.saved_state().heldOnBackup, false);
    fs.rmSync(filler);
    await until('there is room again', async () => (await operate('backup')).ok);
    await until_active('backup');
    assert.equal(workstation.saved_state().heldOnBackup, true);
    assert.ok(!fs.existsSync(`${workstation.state}.tmp`));
    await workstation.stop();
  } finally {
    if (!workstation.program.ended) await workstation.kill();
    execFileSync('umount', [disk]);
  }
});

test('a_full_disk_tears_no_line_of_either_log', async () => {
  const disk = path.join(workstation.folder, 'disk');
  const page = 4096;
  fs.mkdirSync(disk);
  execFileSync('mount', ['-t', 'tmpfs', '-o', 'size=64k', 'tmpfs', disk]);
  try {
    workstation.use_folder(disk);
    workstation.write_config(paired_config());
    workstation.write_state(quick_policy);
    await start_on_main();
    // A few bytes are left in the last page of each log, and no page behind it.
    fs.appendFileSync(workstation.alert_log, '');
    for (const log of [workstation.alert_log, workstation.log_file]) {
      const room = page - (fs.statSync(log).size % page);
      fs.appendFileSync(log, `{"pad":"${'x'.repeat(room - 20)}"}\n`);
    }
    const filler = path.join(disk, 'filler');
    fill(filler);
    const trouble = async (port) => {
      await post('/api/configure', { uiPort: port });
      await until_status('the port follows', ({ runtimeUiPort }) => runtimeUiPort === port);
    };
    await main.set({ engine: 'stopped' });
    await until_alert('Main: Engine stopped or exited.');
    await trouble(5301);
    fs.rmSync(filler);
    await until_active('backup');
    await main.set({ reset: true });
    await until_recovered('Main: Engine stopped or exited.');
    await trouble(5302);
    await until('the line', () => workstation.log_lines('[shell] UI port changed to 5302').length);
    const events = workstation.alert_log_lines();
    assert.ok(events.some(({ event }) => event === 'recovered'));
    const lines = workstation.log_lines();
    const after_pad = lines.slice(lines.findIndex((line) => line.startsWith('{"pad"')) + 1);
    for (const line of after_pad) assert.match(line, /^\[[a-z]+\] [^[]*$/);
    await workstation.stop();
  } finally {
    if (!workstation.program.ended) await workstation.kill();
    execFileSync('umount', [disk]);
  }
});

// Takes every byte that is left, the last partial block as well.
function fill(file) {
  const descriptor = fs.openSync(file, 'w');
  try {
    for (let size = 4096; size >= 1; size = Math.floor(size / 2)) {
      try {
        for (;;) fs.writeSync(descriptor, Buffer.alloc(size));
      } catch (error) {
        assert.equal(error.code, 'ENOSPC');
      }
    }
  } finally {
    fs.closeSync(descriptor);
  }
}

const bad_configs = [
  ['an_empty_file', ''],
  ['a_binary_file', Buffer.from(Array.from({ length: 4096 }, (_, i) => (i * 7919) % 256))],
  ['a_truncated_file', JSON.stringify(paired_config()).slice(0, 40)],
  ['another_json', '[1,2,{"systems":"no","uiPort":{},"enabled":[]}]'],
];
for (const [name, content] of bad_configs) {
  test(`${name}_gives_defaults_and_is_replaced_by_a_whole_one`, async () => {
    fs.writeFileSync(workstation.config, content);
    fs.writeFileSync(workstation.state, content);
    await workstation.start();
    const status = await get_status();
    assert.deepEqual([status.uiPort, status.openBrowserOnStart], [5270, true]);
    assert.equal(status.protection.policy.lossMs, 1000);
    assert.equal(status.protection.heldOnBackup, false);
    await until('saved', () => fs.readFileSync(workstation.config, 'utf8').endsWith('"}'));
    assert.equal(workstation.saved_config().uiPort, 5270);
    assert.equal(workstation.log_lines('[settings]').length, 2);
    const kept = fs.readFileSync(`${workstation.config}.unreadable-1`);
    assert.deepEqual(kept, Buffer.from(content));
  });
}

test('a_hold_in_a_state_file_that_was_torn_is_told_as_lost_and_the_file_is_kept', async () => {
  const hold = { ...quick_policy, heldOnBackup: true, pairMain: 'SER-A', pairBackup: 'SER-B' };
  const torn = JSON.stringify(hold).slice(0, -20);
  workstation.write_state(torn);
  await workstation.start();
  await until('the pair is saved', () => fs.readFileSync(workstation.state, 'utf8') !== torn);
  assert.equal(workstation.saved_state().lossMs, quick_policy.lossMs);
  assert.equal(fs.readFileSync(`${workstation.state}.unreadable-1`, 'utf8'), torn);
  const [line, ...others] = workstation.log_lines('[settings]');
  assert.match(line, /protection\.json is damaged; .* a hold on Backup may be lost\. /);
  assert.deepEqual(others, []);
});

if (!windows) {
  test('a_state_file_that_cannot_be_read_at_first_brings_its_hold_all_the_same', async () => {
    const hold = { ...quick_policy, heldOnBackup: true, pairMain: 'SER-A', pairBackup: 'SER-B' };
    workstation.write_state(hold);
    fs.renameSync(workstation.state, `${workstation.state}.real`);
    execFileSync('mkfifo', [workstation.state]);
    const started = workstation.start();
    // Done when the program has opened the pipe, in which it finds no file.
    const pipe = await fs.promises.open(workstation.state, 'w');
    fs.renameSync(`${workstation.state}.real`, workstation.state);
    await pipe.close();
    await started;
    assert.equal((await get_status()).protection.heldOnBackup, true);
    await until_active('backup');
    assert.deepEqual(workstation.log_lines('[settings]'), []);
  });

  test('a_state_file_that_stays_unreadable_is_told_and_kept', async () => {
    fs.rmSync(workstation.state);
    execFileSync('mkfifo', [workstation.state]);
    await workstation.start();
    await until_active('main');
    await until('the pair is saved', () => fs.statSync(workstation.state).isFile());
    assert.equal(workstation.saved_state().pairMain, 'SER-A');
    assert.ok(fs.statSync(`${workstation.state}.unreadable-1`).isFIFO());
    const [line] = workstation.log_lines('[settings]');
    assert.match(line, /protection\.json could not be read; .* a hold on Backup may be lost\. /);
  });

  test('a_stop_while_the_files_cannot_be_read_ends_the_program_at_once', async () => {
    for (const name of [workstation.config, workstation.state]) {
      fs.rmSync(name);
      execFileSync('mkfifo', [name]);
    }
    workstation.launch(workstation.with_config('--background'));
    // Done when the program has opened the pipe.
    await (await fs.promises.open(workstation.config, 'w')).close();
    await assert_ends_at_once(workstation);
    for (const name of [workstation.config, workstation.state]) {
      assert.ok(fs.statSync(name).isFIFO());
      assert.ok(!fs.existsSync(`${name}.unreadable-1`));
    }
    assert.deepEqual(workstation.log_lines('[settings]'), []);
  });
}

test('a_folder_in_place_of_the_file_gives_defaults_and_stays', async () => {
  fs.rmSync(workstation.config);
  fs.mkdirSync(workstation.config);
  await workstation.start();
  assert.equal((await get_status()).uiPort, 5270);
  await until('the first pass', () => workstation.log_lines('[status]').length > 0);
  assert.ok(fs.statSync(workstation.config).isDirectory());
  const rest = `${workstation.config}.tmp`;
  await until('the vain attempt is cleared away', () => !fs.existsSync(rest));
});

test('an_invalid_policy_on_disk_is_told_and_replaced_with_the_pair', async () => {
  workstation.write_state({ ...quick_policy, lossMs: 499, heldOnBackup: true });
  await workstation.start();
  const { protection } = await get_status();
  assert.equal(
    protection.lastAction,
    'Invalid saved protection settings: ' +
      'Fault delays must be 500-30000 ms; startup grace must be 1000-60000 ms.',
  );
  assert.equal(protection.heldOnBackup, false);
  await until('replaced', () => workstation.saved_state().pairMain === 'SER-A');
  assert.equal(workstation.saved_state().lossMs, 1000);
});
