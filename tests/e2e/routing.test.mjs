// Commands of local clients, as they arrive at the servers' control ports.
import assert from 'node:assert/strict';
import { after, before, beforeEach, test } from 'node:test';

import { until } from './support/environment.mjs';
import { Server } from './support/network.mjs';
import { get_status, operate, post, until_active, until_status } from './support/operator.mjs';
import { Pair } from './support/pair.mjs';

const shared = 3;
const not_shared = 5;

let pair;
let spare;
before(async () => {
  spare = await Server.start('spare', 'SER-C');
  pair = await Pair.start();
  await until_status('the spare is found', ({ systems }) => systems.length === 3);
});
after(async () => {
  await pair?.stop();
  await spare?.stop();
});
beforeEach(async () => {
  await spare.heal();
  await pair.settle();
});

const route = (functionId, payload, targetSerial) =>
  post('/api/route', { functionId, targetSerial, payload });
const delivery = (role) => ({ role, attempted: true, sent: true, error: '' });

// What has arrived; a last command to all three closes the row, and the order of a host's datagrams
// holds, so that nothing can still be under way.
async function arrived() {
  const servers = [pair.main, pair.backup, spare];
  for (const { serial } of servers) await route(not_shared, 'end', serial);
  const all = {};
  for (const server of servers) {
    await until('the end', async () => (await server.commands()).includes('end'));
    all[server.host] = (await server.commands()).filter((text) => text !== 'end');
  }
  return all;
}

test('a_command_that_is_not_shared_goes_to_main_alone', async () => {
  const reply = await route(not_shared, 'CUE 12\r\n');
  assert.deepEqual(
    { ...reply, sequence: 0 },
    {
      status: 200,
      ok: true,
      routed: true,
      targetFound: true,
      mainOnline: true,
      shared: false,
      backupOnline: false,
      sequence: 0,
      deliveries: [delivery('Main')],
    },
  );
  assert.deepEqual(await arrived(), { main: ['CUE 12\r\n'], backup: [], spare: [] });
});

test('a_shared_command_goes_to_both_byte_for_byte', async () => {
  const payload = 'a\0b "quoted" \\ \u00fc \ud83c\udfac\n';
  const reply = await route(shared, payload);
  assert.deepEqual([reply.shared, reply.backupOnline], [true, true]);
  assert.deepEqual(reply.deliveries, [delivery('Main'), delivery('Backup')]);
  assert.deepEqual(await arrived(), { main: [payload], backup: [payload], spare: [] });
});

test('a_named_target_receives_its_command_without_a_mirror', async () => {
  assert.deepEqual((await route(shared, 'x', 'SER-B')).deliveries, [delivery('Backup')]);
  assert.deepEqual((await route(shared, 'y', 'SER-C')).deliveries, [delivery('Independent')]);
  assert.deepEqual(await arrived(), { main: [], backup: ['x'], spare: ['y'] });
});

test('sequence_numbers_count_every_command_that_was_well_formed', async () => {
  const { sequence } = await route(not_shared, 'first');
  const unknown = await route(shared, 'nobody', 'SER-X');
  assert.deepEqual(
    [unknown.status, unknown.routed, unknown.targetFound, unknown.deliveries],
    [200, false, false, []],
  );
  for (const wrong of [
    [0, 'x'],
    [-1, 'x'],
    [shared, ''],
  ]) {
    assert.deepEqual(await route(...wrong), {
      status: 400,
      ok: false,
      error: 'functionId and payload are required',
    });
  }
  assert.equal((await route(not_shared, 'last')).sequence, sequence + 2);
  assert.deepEqual((await arrived()).main, ['first', 'last']);
});

test('the_shared_functions_can_be_changed_at_any_time', async () => {
  assert.deepEqual(await post('/api/shared', { ids: [not_shared] }), { status: 200, ok: true });
  await route(not_shared, 'now shared');
  await route(shared, 'not any more');
  assert.deepEqual(await arrived().finally(() => post('/api/shared', { ids: [3, 7] })), {
    main: ['now shared', 'not any more'],
    backup: ['now shared'],
    spare: [],
  });
});

test('while_main_is_offline_only_shared_commands_arrive_and_only_at_backup', async () => {
  await pair.main.unplug();
  await until_active('backup');
  const dropped = await route(not_shared, 'dropped');
  assert.deepEqual([dropped.routed, dropped.mainOnline, dropped.deliveries], [false, false, []]);
  const mirrored = await route(shared, 'mirrored');
  assert.deepEqual(
    [mirrored.routed, mirrored.mainOnline, mirrored.deliveries],
    [true, false, [delivery('Backup')]],
  );
  await until('it arrives', async () => (await pair.backup.commands()).length > 0);
  assert.deepEqual(await pair.backup.commands(), ['mirrored']);
});

test('while_operation_is_on_backup_commands_still_go_by_role', async () => {
  assert.equal((await operate('backup')).ok, true);
  await until_active('backup');
  await route(not_shared, 'to main');
  assert.deepEqual(await arrived(), { main: ['to main'], backup: [], spare: [] });
});

test('without_backup_a_shared_command_reaches_main', async () => {
  await pair.backup.unplug();
  await until_status('Backup is offline', ({ systems }) => !systems[1].online);
  const reply = await route(shared, 'alone');
  assert.deepEqual([reply.backupOnline, reply.deliveries], [false, [delivery('Main')]]);
  await until('it arrives', async () => (await pair.main.commands()).length > 0);
});

test('the_routes_of_a_command_are_logged', async () => {
  const before = pair.workstation.log_lines('[route]').length;
  await route(shared, 'four');
  await route(not_shared, 'x', 'SER-C');
  await route(0, '');
  await until('three requests', () => pair.workstation.log_lines('[route]').length >= before + 6);
  assert.deepEqual(pair.workstation.log_lines('[route]').slice(before), [
    '[route] request function=3 target=<auto> payloadBytes=4',
    '[route] Main -> 10.77.0.11:1256 serial=SER-A',
    '[route] Backup -> 10.77.0.12:1256 serial=SER-B',
    '[route] request function=5 target=SER-C payloadBytes=1',
    '[route] Main -> 10.77.0.13:1256 serial=SER-C',
    '[route] request function=0 target=<auto> payloadBytes=0',
  ]);
});

test('roles_can_be_set_one_by_one', async () => {
  const changes = [
    [{ serial: 'SER-C', role: 'main' }, 200, 'Independent', ''],
    [{ serial: 'SER-C', role: 'Backup', backupForSerial: 'SER-A' }, 200, 'Backup', 'SER-A'],
    [{ serial: 'SER-C', role: 'Independent', backupForSerial: 'SER-A' }, 200, 'Independent', ''],
    [{ serial: 'SER-X', role: 'Main' }, 200, 'Independent', ''],
    [{ serial: 'SER-C', role: '' }, 400, 'Independent', ''],
    [{ role: 'Main' }, 400, 'Independent', ''],
  ];
  for (const [body, status, role, main] of changes) {
    assert.deepEqual(await post('/api/role', body), { status, ok: status === 200 });
    const { systems } = await get_status();
    const changed = systems.find(({ serial }) => serial === 'SER-C');
    assert.deepEqual([changed.role, changed.backupForSerial], [role, main], JSON.stringify(body));
  }
});
