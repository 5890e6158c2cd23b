import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { addresses } from '../driver/environment.mjs';
import { call } from '../driver/http.mjs';
import { held_system, Server } from '../driver/network.mjs';
import { until } from '../driver/waiting.mjs';
import { get, read } from './raw_calls.mjs';

const configuration = '/Home/GetOperatorControlConfiguration';
const replication = '/Home/GetOperatorControlReplicationStatus';
let main;
let backup;
let spare;
before(async () => {
  main = await Server.start('main', 'SER-A');
  backup = await Server.start('backup', 'SER-B');
  spare = await Server.start('spare', 'SER-C');
});
after(async () => {
  for (const server of [main, backup, spare]) await server.stop();
});

const pair = [
  held_system('main', 'SER-A', 'Main'),
  held_system('backup', 'SER-B', 'Backup', 'SER-A'),
];
const status = (host) => read(host, replication);
const applied = (host, revision) =>
  until(`${host} has applied ${revision}`, async () => {
    const reply = await status(host);
    return reply.AppliedRevision === revision && reply;
  });

// Each test goes on from where the one before it ended.
test('a_written_pairing_makes_the_server_main_with_revision_one', async () => {
  const answer = await main.hold_pairing(pair);
  assert.deepEqual([answer.status, answer.body], [200, 'OK']);
  assert.deepEqual(await read('main', configuration), {
    Enabled: true,
    ReplicationRevision: 1,
    SharedFunctionIds: [3, 7],
    Systems: pair,
  });
  const reply = await status('main');
  assert.deepEqual(
    [reply.Enabled, reply.Role, reply.MainSerial, reply.Revision, reply.AppliedRevision],
    [true, 'Main', 'SER-A', 1, 1],
  );
});

test('the_event_model_comes_back_whole_with_the_pairing_in_it', async () => {
  const model = await read('main', '/Home/GetEventModel');
  assert.equal(model.Notes, 'Doors 19:30 & curtain 20:00 + 5 % "soft" fade \\ Bühne Süd');
  assert.deepEqual(model.OperatorControl, {
    Enabled: true,
    Systems: pair,
    SharedFunctionIds: [3, 7],
    ReplicationRevision: 1,
  });
  const { modelUpdates, lastUpdate } = await main.report();
  assert.equal(modelUpdates, 1);
  assert.equal(JSON.parse(lastUpdate).OperatorControl.ReplicationRevision, 0);
});

test('the_backup_follows_its_main', async () => {
  const reply = await applied('backup', 1);
  assert.deepEqual(
    [reply.Role, reply.LocalSerial, reply.MainSerial, reply.Revision, reply.PendingMedia],
    ['Backup', 'SER-B', 'SER-A', 1, 0],
  );
  assert.deepEqual((await read('backup', configuration)).Systems, pair);
  assert.equal((await status('spare')).Role, 'Independent');
});

test('a_change_of_the_show_advances_the_revision_on_both', async () => {
  const model = await read('main', '/Home/GetEventModel');
  model.Title = 'Second Night';
  await main.set({ eventModel: JSON.stringify(model) });
  assert.equal((await status('main')).Revision, 2);
  assert.equal((await applied('backup', 2)).EventTitle, 'Second Night');
});

test('an_unplugged_backup_stays_behind_and_catches_up', async () => {
  backup.unplug();
  await main.hold_pairing(pair);
  backup.plug();
  await applied('backup', 3);
});

test('a_paused_backup_stays_behind_and_catches_up', async () => {
  await backup.set({ replication: { paused: true }, forget: true });
  await main.hold_pairing(pair);
  await until('the main has offered its model', async () => {
    return (await backup.report()).calls['/Simulator/Replicate'];
  });
  assert.equal((await status('backup')).AppliedRevision, 3);
  await backup.set({ reset: true });
  await applied('backup', 4);
});

test('a_restarted_backup_gets_the_pairing_again', async () => {
  assert.equal((await backup.stop()).code, 0);
  backup = await Server.start('backup', 'SER-B');
  assert.equal((await applied('backup', 4)).Role, 'Backup');
});

test('a_model_above_eight_kibibytes_is_taken', async () => {
  const model = await read('main', '/Home/GetEventModel');
  model.Long = 'é "+" '.repeat(50_000);
  const form = new URLSearchParams({ room: 'prime', data: JSON.stringify(model) }).toString();
  const answer = await call(addresses.main, 5000, 'POST', '/Home/UpdateEventModel', form);
  assert.equal(answer.body, 'OK');
  assert.equal((await read('main', '/Home/GetEventModel')).Long, model.Long);
  await applied('backup', 5);
});

test('roles_can_be_exchanged', async () => {
  const exchanged = [
    held_system('main', 'SER-A', 'Backup', 'SER-B'),
    held_system('backup', 'SER-B', 'Main'),
  ];
  await backup.hold_pairing(exchanged);
  await applied('main', 6);
  assert.equal((await status('main')).Role, 'Backup');
  assert.equal((await status('backup')).Role, 'Main');
});

test('a_former_backup_is_let_go', async () => {
  const other = [
    held_system('backup', 'SER-B', 'Main'),
    held_system('spare', 'SER-C', 'Backup', 'SER-B'),
  ];
  await backup.hold_pairing(other);
  await applied('spare', 7);
  await until('the former backup holds no pairing', async () => {
    return (await main.report()).pairing === null;
  });
  assert.equal((await status('main')).Role, 'Independent');
});

test('a_disabled_pairing_leaves_no_roles', async () => {
  const other = [
    held_system('backup', 'SER-B', 'Main'),
    held_system('spare', 'SER-C', 'Backup', 'SER-B'),
  ];
  await backup.hold_pairing(other, { enabled: false });
  await applied('spare', 8);
  for (const host of ['backup', 'spare']) {
    const reply = await status(host);
    assert.deepEqual([reply.Enabled, reply.Role], [false, 'Independent']);
  }
});

test('a_text_that_is_no_event_is_rejected', async () => {
  for (const body of ['room=prime&data=nonsense', 'room=other&data=%7B%7D', '']) {
    const answer = await call(addresses.main, 5000, 'POST', '/Home/UpdateEventModel', body);
    assert.match(answer.body, /^ERROR/);
  }
});

test('any_text_can_be_put_in_place_of_the_event_model', async () => {
  await main.set({ eventModel: 'ERROR no event is loaded' });
  const { body } = await get('main', '/Home/GetEventModel');
  assert.equal(body, 'ERROR no event is loaded');
});
