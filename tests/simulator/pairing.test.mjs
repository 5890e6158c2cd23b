import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { Network, system, until } from './network.mjs';

const configuration = '/Home/GetOperatorControlConfiguration';
const replication = '/Home/GetOperatorControlReplicationStatus';
const network = new Network('pairing');
const started = {};
before(async () => {
  await network.up();
  for (const [host, serial] of [
    ['main', 'SER-A'],
    ['backup', 'SER-B'],
    ['spare', 'SER-C'],
  ]) {
    started[host] = await network.start(host, 'simulated_server', '--serial', serial);
  }
});
after(() => network.down());

const pair = [system('main', 'SER-A', 'Main'), system('backup', 'SER-B', 'Backup', 'SER-A')];
const status = (host) => network.read(host, replication);
const applied = (host, revision) =>
  until(`${host} has applied ${revision}`, async () => {
    const reply = await status(host);
    return reply.AppliedRevision === revision && reply;
  });

// Each test goes on from where the one before it ended.
test('a_written_pairing_makes_the_server_main_with_revision_one', async () => {
  const answer = await network.write_pairing('main', pair);
  assert.deepEqual([answer.status, answer.body], [200, 'OK']);
  assert.deepEqual(await network.read('main', configuration), {
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
  const model = await network.read('main', '/Home/GetEventModel');
  assert.equal(model.Notes, 'Doors 19:30 & curtain 20:00 + 5 % "soft" fade \\ Bühne Süd');
  assert.deepEqual(model.OperatorControl, {
    Enabled: true,
    Systems: pair,
    SharedFunctionIds: [3, 7],
    ReplicationRevision: 1,
  });
  const { modelUpdates, lastUpdate } = await network.report('main');
  assert.equal(modelUpdates, 1);
  assert.equal(JSON.parse(lastUpdate).OperatorControl.ReplicationRevision, 0);
});

test('the_backup_follows_its_main', async () => {
  const reply = await applied('backup', 1);
  assert.deepEqual(
    [reply.Role, reply.LocalSerial, reply.MainSerial, reply.Revision, reply.PendingMedia],
    ['Backup', 'SER-B', 'SER-A', 1, 0],
  );
  assert.deepEqual((await network.read('backup', configuration)).Systems, pair);
  assert.equal((await status('spare')).Role, 'Independent');
});

test('a_change_of_the_show_advances_the_revision_on_both', async () => {
  const model = await network.read('main', '/Home/GetEventModel');
  model.Title = 'Second Night';
  await network.switch('main', { eventModel: JSON.stringify(model) });
  assert.equal((await status('main')).Revision, 2);
  assert.equal((await applied('backup', 2)).EventTitle, 'Second Night');
});

test('an_unplugged_backup_stays_behind_and_catches_up', async () => {
  network.unplug('backup');
  await network.write_pairing('main', pair);
  network.plug('backup');
  await applied('backup', 3);
});

test('a_paused_backup_stays_behind_and_catches_up', async () => {
  await network.switch('backup', { replication: { paused: true }, forget: true });
  await network.write_pairing('main', pair);
  await until('the main has offered its model', async () => {
    return (await network.report('backup')).calls['/Simulator/Replicate'];
  });
  assert.equal((await status('backup')).AppliedRevision, 3);
  await network.switch('backup', { reset: true });
  await applied('backup', 4);
});

test('a_restarted_backup_gets_the_pairing_again', async () => {
  started.backup.child.kill('SIGTERM');
  assert.equal((await started.backup.exited).code, 0);
  await network.start('backup', 'simulated_server', '--serial', 'SER-B');
  assert.equal((await applied('backup', 4)).Role, 'Backup');
});

test('a_model_above_eight_kibibytes_is_taken', async () => {
  const model = await network.read('main', '/Home/GetEventModel');
  model.Long = 'é "+" '.repeat(50_000);
  const form = new URLSearchParams({ room: 'prime', data: JSON.stringify(model) }).toString();
  const answer = await network.http('main', 5000, 'POST', '/Home/UpdateEventModel', form);
  assert.equal(answer.body, 'OK');
  assert.equal((await network.read('main', '/Home/GetEventModel')).Long, model.Long);
  await applied('backup', 5);
});

test('roles_can_be_exchanged', async () => {
  const exchanged = [system('main', 'SER-A', 'Backup', 'SER-B'), system('backup', 'SER-B', 'Main')];
  await network.write_pairing('backup', exchanged);
  await applied('main', 6);
  assert.equal((await status('main')).Role, 'Backup');
  assert.equal((await status('backup')).Role, 'Main');
});

test('a_former_backup_is_let_go', async () => {
  const other = [system('backup', 'SER-B', 'Main'), system('spare', 'SER-C', 'Backup', 'SER-B')];
  await network.write_pairing('backup', other);
  await applied('spare', 7);
  await until('the former backup holds no pairing', async () => {
    return (await network.report('main')).pairing === null;
  });
  assert.equal((await status('main')).Role, 'Independent');
});

test('a_disabled_pairing_leaves_no_roles', async () => {
  const other = [system('backup', 'SER-B', 'Main'), system('spare', 'SER-C', 'Backup', 'SER-B')];
  await network.write_pairing('backup', other, false);
  await applied('spare', 8);
  for (const host of ['backup', 'spare']) {
    const reply = await status(host);
    assert.deepEqual([reply.Enabled, reply.Role], [false, 'Independent']);
  }
});

test('a_text_that_is_no_event_is_rejected', async () => {
  for (const body of ['room=prime&data=nonsense', 'room=other&data=%7B%7D', '']) {
    const answer = await network.http('main', 5000, 'POST', '/Home/UpdateEventModel', body);
    assert.match(answer.body, /^ERROR/);
  }
});

test('any_text_can_be_put_in_place_of_the_event_model', async () => {
  await network.switch('main', { eventModel: 'ERROR no event is loaded' });
  const { body } = await network.get('main', '/Home/GetEventModel');
  assert.equal(body, 'ERROR no event is loaded');
});
