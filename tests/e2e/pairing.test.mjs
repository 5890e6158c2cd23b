// The pairing: taken over from servers that hold one, and written into Main's event.
import assert from 'node:assert/strict';
import { afterEach, beforeEach, test } from 'node:test';

import { held_system, Server } from '../driver/network.mjs';
import { get_status, post, system_of, until_status } from '../driver/operator.mjs';
import { paired_config } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';
import { Workstation } from '../driver/workstation.mjs';

let main;
let backup;
let workstation;
// Servers remember; each test needs new ones.
beforeEach(async () => {
  main = await Server.start('main', 'SER-A');
  backup = await Server.start('backup', 'SER-B');
  workstation = new Workstation();
});
afterEach(async () => {
  if (workstation.program && !workstation.program.ended) await workstation.stop();
  await workstation.remove();
  await main.stop();
  await backup.stop();
});

const held_main = held_system('main', 'SER-A', 'Main');
const held_backup = held_system('backup', 'SER-B', 'Backup', 'SER-A');

const synchronized = 'Main event pairing is synchronized.';
const until_message = (message) =>
  until_status(message, (status) => status.policySyncMessage === message);
const until_both_ready = () =>
  until_status(
    'both are ready',
    ({ systems }) => systems.filter(({ uiReady }) => uiReady).length === 2,
  );
const pair = {
  enabled: true,
  mainSerial: 'SER-A',
  backupSerial: 'SER-B',
  sharedFunctionIds: [7, 3],
};

test('a_pairing_that_the_servers_hold_is_taken_over', async () => {
  await main.hold_pairing([held_main, held_backup], { shared: [9, 2] });
  await workstation.start();
  const status = await until_message(synchronized);
  assert.deepEqual([status.enabled, status.controllerConfigured], [true, true]);
  assert.deepEqual(status.sharedFunctionIds, [2, 9]);
  assert.equal(system_of(status, 'SER-A').role, 'Main');
  const { role, backupForSerial } = system_of(status, 'SER-B');
  assert.deepEqual([role, backupForSerial], ['Backup', 'SER-A']);
  await until_status('Main is active', ({ active }) => active === 'main');
  assert.equal((await main.calls('UpdateEventModel')).count, 1, 'only what made the pairing');
});

test('a_main_without_backup_is_taken_over_and_the_servers_are_asked_again', async () => {
  await main.hold_pairing([held_main]);
  await workstation.start();
  const status = await until_status('taken over', ({ systems }) =>
    systems.some(({ role }) => role === 'Main'),
  );
  assert.deepEqual([status.enabled, status.controllerConfigured], [true, false]);
  await until_both_ready();
  await main.hold_pairing([held_main, held_backup]);
  await until_status('configured', ({ controllerConfigured }) => controllerConfigured);
});

test('a_pairing_among_four_thousand_systems_is_taken_over_and_the_passes_go_on', async () => {
  const crowd = Array.from({ length: 4000 }, (_, i) => ({
    ...held_system('spare', `SER-CROWD-${i}`, 'Independent'),
    WorkstationName: `One of many, number ${i}`,
  }));
  const body = JSON.stringify({ Enabled: true, Systems: [held_main, ...crowd, held_backup] });
  await main.break_path('GetOperatorControlConfiguration', { body });
  await workstation.start();
  const status = await until_status('taken over', (now) => now.controllerConfigured);
  // No more are kept than this, and the pair is always among them.
  assert.equal(status.systems.length, 1024);
  assert.deepEqual(
    ['SER-A', 'SER-B'].map((serial) => system_of(status, serial).role),
    ['Main', 'Backup'],
  );
  await main.set({ forget: true });
  await until('two more rounds', async () => (await main.report()).discoveryRequests >= 2);
  await until_status('Main is active', ({ active }) => active === 'main');
  assert.equal(workstation.saved_config().systems.length, 1024);
});

test('a_pairing_without_systems_is_not_taken_over', async () => {
  await main.hold_pairing([], { shared: [1] });
  await workstation.start();
  const status = await until_both_ready();
  assert.deepEqual([status.enabled, status.controllerConfigured], [false, false]);
  assert.equal(status.sharedFunctionIds.length, 23);
});

test('servers_whose_answers_take_their_time_are_waited_for', async () => {
  const configuration = { '/Home/GetOperatorControlConfiguration': { delayMs: 350 } };
  const replication = { '/Home/GetOperatorControlReplicationStatus': { delayMs: 250 } };
  const faults = { ...configuration, ...replication };
  await main.hold_pairing([held_main, held_backup]);
  for (const server of [main, backup]) await server.set({ faults });
  await workstation.start();
  await until_message(synchronized);
  await until_status('shown', ({ systems }) =>
    systems.every(({ replicationRevision }) => replicationRevision >= 1),
  );
});

test('servers_whose_answers_are_late_tell_neither_pairing_nor_replication', async () => {
  const configuration = { '/Home/GetOperatorControlConfiguration': { delayMs: 1500 } };
  const replication = { '/Home/GetOperatorControlReplicationStatus': { delayMs: 1300 } };
  await main.hold_pairing([held_main, held_backup]);
  for (const server of [main, backup]) await server.set({ faults: configuration });
  await workstation.start();
  await until_both_ready();
  assert.equal((await get_status()).enabled, false);

  for (const server of [main, backup]) await server.set({ reset: true, faults: replication });
  await until_message(synchronized);
  await main.set({ forget: true });
  await until('two more rounds', async () => (await main.report()).discoveryRequests >= 2);
  for (const { replicationRevision } of (await get_status()).systems) {
    assert.equal(replicationRevision, 0);
  }
});

test('an_event_that_takes_its_time_is_read_and_written', async () => {
  await main.set({
    faults: {
      '/Home/GetEventModel': { delayMs: 1000 },
      '/Home/UpdateEventModel': { delayMs: 2300 },
    },
  });
  workstation.write_config(paired_config());
  await workstation.start();
  await until_message(synchronized);
});

const readiness = [
  ['switched_off_makes_its_servers_ready', { enabled: false }, true],
  ['switched_on_leaves_the_readiness_to_the_protection', {}, false],
];
for (const [name, changes, asked] of readiness) {
  test(`a_pair_${name}`, async () => {
    workstation.write_config(paired_config(changes));
    await workstation.start();
    await until_both_ready();
    for (const server of [main, backup]) await server.set({ forget: true });
    for (const server of [main, backup]) {
      await until('two more rounds', async () => (await server.report()).discoveryRequests >= 2);
      const { count } = await server.calls('GetOperatorControlIdentity');
      assert.equal(count > 0, asked, `${count} questions for the identity`);
    }
  });
}

test('a_configured_workstation_asks_no_server_for_a_pairing', async () => {
  await main.hold_pairing([held_backup, { ...held_main, Role: 'Backup' }]);
  workstation.write_config(paired_config());
  await workstation.start();
  await until_message(synchronized);
  assert.equal((await backup.calls('GetOperatorControlConfiguration')).count, 0);
});

test('the_pairing_is_written_into_mains_event_and_nothing_else_changes', async () => {
  await workstation.start();
  await until_both_ready();
  const { eventModel } = await main.report();
  const reply = await post('/api/configure', { ...pair, uiPort: 5270 });
  assert.deepEqual(reply, {
    status: 200,
    ok: true,
    serverUpdated: true,
    uiPort: 5270,
    uiPortChanged: false,
    message: synchronized,
  });
  const object =
    '{"Enabled":true,"Systems":[' +
    (await get_status()).systems
      .map(({ serial }) => JSON.stringify(serial === 'SER-A' ? held_main : held_backup))
      .join(',') +
    '],"SharedFunctionIds":[3,7],"ReplicationRevision":0}';
  const end = eventModel.lastIndexOf(']') + 1;
  const [ahead, behind] = [eventModel.slice(0, end), eventModel.slice(end)];
  const expected = `${ahead},"OperatorControl":${object}${behind}`;
  assert.equal((await main.report()).lastUpdate, expected);
  const { count, lastHead, lastBody } = await main.calls('UpdateEventModel');
  assert.equal(count, 1);
  assert.match(lastHead, /^POST \/Home\/UpdateEventModel HTTP\/1\.1\r\nHost: 10\.77\.0\.11\r\n/);
  assert.match(lastHead, /\r\nContent-Type: application\/x-www-form-urlencoded\r\n/);
  assert.match(lastHead, new RegExp(`\r\nContent-Length: ${Buffer.byteLength(lastBody)}\r\n`));
  const encoded = encodeURIComponent(expected)
    .replace(/%20/g, '+')
    .replace(/[!'()*]/g, (sign) => `%${sign.charCodeAt(0).toString(16).toUpperCase()}`);
  assert.equal(lastBody, `room=prime&data=${encoded}`);

  await main.set({ forget: true });
  await until(
    'the pairing is compared again',
    async () => (await main.calls('GetOperatorControlConfiguration')).count >= 2,
  );
  assert.equal((await main.calls('UpdateEventModel')).count, 0);
  assert.equal((await main.calls('GetEventModel')).count, 0);
});

test('a_pairing_that_has_drifted_in_main_is_put_right', async () => {
  workstation.write_config(paired_config());
  await workstation.start();
  await until_message(synchronized);
  await main.hold_pairing([held_main, held_backup], { shared: [1] });
  await until('put right', async () => {
    const { pairing } = await main.report();
    return JSON.stringify(pairing).includes('[3,7]');
  });
});

test('a_pairing_saved_while_main_is_away_reaches_it_when_it_comes', async () => {
  await main.stop();
  workstation.write_config(paired_config());
  await workstation.start();
  await until_message('Pairing saved locally. Waiting for Main to come online.');
  const reply = await post('/api/configure', pair);
  assert.deepEqual(
    [reply.ok, reply.serverUpdated, reply.message],
    [true, false, 'Pairing saved locally. Waiting for Main to come online.'],
  );
  main = await Server.start('main', 'SER-A');
  await until_message(synchronized);
  assert.equal((await main.report()).role, 'Main');
});

test('redundancy_switched_off_is_written_into_main_as_well', async () => {
  workstation.write_config(paired_config());
  await workstation.start();
  await until_message(synchronized);
  const reply = await post('/api/configure', { ...pair, enabled: false });
  assert.equal(reply.message, synchronized);
  assert.match((await main.report()).eventModel, /"OperatorControl":\{"Enabled":false,/);
});

const late = [
  [
    'an_event_that_comes_late',
    ['GetEventModel', { delayMs: 2500 }],
    'Main is online but its current event could not be read.',
  ],
  [
    'an_update_that_takes_too_long',
    ['UpdateEventModel', { delayMs: 4500 }],
    'Main rejected the Redundancy Control pairing update.',
  ],
];
for (const [name, fault, message] of late) {
  test(`${name}_leaves_the_pairing_unsynchronized`, async () => {
    await main.break_path(...fault);
    workstation.write_config(paired_config());
    await workstation.start();
    assert.equal((await until_message(message)).policySynchronized, false);
  });
}

test('a_failed_update_is_tried_again_in_the_next_pass', async () => {
  await main.break_path('UpdateEventModel', { status: 500 });
  workstation.write_config(paired_config());
  await workstation.start();
  await until_message('Main rejected the Redundancy Control pairing update.');
  await main.set({ reset: true });
  await until_message(synchronized);
});

test('a_main_that_cannot_tell_its_pairing_is_written_to_until_it_can', async () => {
  await main.break_path('GetOperatorControlConfiguration', { status: 500 });
  workstation.write_config(paired_config());
  await workstation.start();
  await until_message('Main accepted the update but has not exposed the new pairing yet.');
  await until('written again', async () => (await main.calls('UpdateEventModel')).count >= 2);
  await main.set({ reset: true });
  await until_message(synchronized);
  await main.set({ forget: true });
  await until('two more rounds', async () => (await main.report()).discoveryRequests >= 2);
  assert.equal((await main.calls('UpdateEventModel')).count, 0);
  assert.equal((await main.calls('GetEventModel')).count, 0);
});

test('a_backup_that_follows_shows_its_revision_and_event', async () => {
  workstation.write_config(paired_config());
  await workstation.start();
  const status = await until_status(
    'in step',
    ({ systems }) =>
      systems[0].replicationRevision >= 1 &&
      systems[0].replicationRevision === systems[1].replicationAppliedRevision,
  );
  const { replicationRole, replicationEventTitle } = system_of(status, 'SER-B');
  assert.deepEqual([replicationRole, replicationEventTitle], ['Backup', 'Harbour Lights']);
});
