// Commands of local clients, as they arrive at the servers' control ports.
import assert from 'node:assert/strict';
import { after, before, beforeEach, test } from 'node:test';

import { post, until_active } from '../driver/operator.mjs';
import { Pair } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';

const shared = 3;
const not_shared = 5;

let pair;
before(async () => {
  pair = await Pair.start();
});
after(() => pair?.stop());
beforeEach(() => pair.settle());

const route = (functionId, payload, targetSerial) =>
  post('/api/route', { functionId, targetSerial, payload });
const delivery = (role) => ({ role, attempted: true, sent: true, error: '' });

// What has arrived; a last command to both closes the row, and the order of a host's datagrams
// holds, so that nothing can still be under way.
async function arrived() {
  const servers = [pair.main, pair.backup];
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
  assert.deepEqual(await arrived(), { main: ['CUE 12\r\n'], backup: [] });
});

test('a_shared_command_goes_to_both_byte_for_byte', async () => {
  const payload = 'a\0b "quoted" \\ \u00fc \ud83c\udfac\n';
  const reply = await route(shared, payload);
  assert.deepEqual([reply.shared, reply.backupOnline], [true, true]);
  assert.deepEqual(reply.deliveries, [delivery('Main'), delivery('Backup')]);
  assert.deepEqual(await arrived(), { main: [payload], backup: [payload] });
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
