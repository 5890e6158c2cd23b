// Servers that drip their answers byte by byte hold neither the passes, nor the API, nor the end.
import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';

import { call_json } from '../driver/http.mjs';
import { get_status, system_of, until_status } from '../driver/operator.mjs';
import { paired_config, quick_policy } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';
import {
  assert_ends_at_once,
  assert_polled_for,
  drip,
  signals_end_the_program,
  spoiled_ms,
  took,
  until_passes,
  until_saved_again,
} from './support/hostile.mjs';
import { set_the_stage } from './support/show_stage.mjs';

const configuration = 'GetOperatorControlConfiguration';
const identity = 'GetOperatorControlIdentity';
const replication = 'GetOperatorControlReplicationStatus';
const event = 'GetEventModel';
const update = 'UpdateEventModel';
// One pass and the pause before the next.
const longest_pass_ms = 33000;

const stage = set_the_stage();
let main;
let backup;
let workstation;
beforeEach(() => {
  ({ main, backup, workstation } = stage);
});

const drips = (...names) => ({
  faults: Object.fromEntries(names.map((name) => [`/Home/${name}`, drip])),
});
const calls = async (server, name) => (await server.calls(name)).count;
const until_called = (server, name, count = 1, limit_ms = 20000) =>
  until(`${name} is called`, async () => (await calls(server, name)) >= count, limit_ms);

const start_paired = async () => {
  workstation.write_config(paired_config());
  workstation.write_state(quick_policy);
  await workstation.start();
};
const until_synchronized = () =>
  until_status('the pairing is written', ({ policySynchronized }) => policySynchronized);

test('dripped_configurations_and_identities_hold_no_unconfigured_workstation', async () => {
  await main.set(drips(configuration, identity));
  await workstation.start();
  await until_called(main, identity);
  await until_passes(main, 1, longest_pass_ms);
  await until_saved_again(workstation, longest_pass_ms);
  // Discovery alone knows it.
  const { online, uiReady } = system_of(await get_status(), 'SER-A');
  assert.deepEqual([online, uiReady], [true, false]);
});

test('dripped_replication_of_both_servers_holds_no_pass', async () => {
  await start_paired();
  await until_synchronized();
  for (const server of [main, backup]) await server.set(drips(replication));
  await until_called(backup, replication, (await calls(backup, replication)) + 1, longest_pass_ms);
  await until_saved_again(workstation, longest_pass_ms);
});

test('a_pass_in_which_main_drips_every_answer_ends_within_its_bound', async () => {
  await main.set(drips(configuration, event, update, replication));
  await backup.set(drips(replication));
  await start_paired();
  await until_called(main, configuration);
  const pass = took(() => until_passes(main, 1, longest_pass_ms));
  await assert_polled_for(main, 4);
  assert.ok((await pass) < longest_pass_ms);
});

test('a_pass_with_64_dripping_servers_ends_within_its_bound', async () => {
  const replies = Array.from({ length: 64 }, (_, at) => `elvantris-server!,5000,Drip,DRIP-${at}`);
  await main.set({ discovery: { replies }, ...drips(configuration, identity) });
  await workstation.start();
  await until_called(main, configuration);
  await until_passes(main, 1, longest_pass_ms);
});

test('a_save_to_a_main_that_drips_ends_and_failover_comes_meanwhile', async () => {
  await start_paired();
  await until_synchronized();
  await main.set(drips(update));
  const posted = Date.now();
  const settings = { enabled: true, mainSerial: 'SER-A', backupSerial: 'SER-B', uiPort: 5270 };
  const saving = call_json(
    '127.0.0.1',
    5251,
    'POST',
    '/api/configure',
    { ...settings, sharedFunctionIds: [4] },
    40000,
  );
  await until_called(main, update, 2);
  await assert_polled_for(main, 3);
  await main.set({ engine: 'stopped' });
  const failover = await took(() =>
    until('operation is on Backup', () => workstation.saved_state().heldOnBackup),
  );
  assert.ok(failover < spoiled_ms, `${failover} ms`);
  const { ok, serverUpdated } = await saving;
  assert.deepEqual([ok, serverUpdated], [true, false]);
  await get_status();
  assert.ok(Date.now() - posted < 30000, `${Date.now() - posted} ms`);
});

if (signals_end_the_program) {
  const unconfigured = () => workstation.start();
  for (const [name, start] of [
    [identity, unconfigured],
    [configuration, unconfigured],
    [replication, start_paired],
    [event, start_paired],
    [update, start_paired],
  ]) {
    test(`a_stop_while_${name}_drips_ends_the_program_at_once`, async () => {
      await main.set(drips(name));
      await start();
      await until_called(main, name);
      await assert_ends_at_once(workstation);
    });
  }

  test('a_stop_while_a_save_waits_for_a_main_that_drips_ends_the_program_at_once', async () => {
    await start_paired();
    await until_synchronized();
    await main.set({ ...drips(configuration), forget: true });
    const saving = call_json(
      '127.0.0.1',
      5251,
      'POST',
      '/api/configure',
      { enabled: true, mainSerial: 'SER-A', backupSerial: 'SER-B' },
      40000,
    ).catch(() => undefined);
    // The pass and the save.
    await until_called(main, configuration, 1);
    await assert_ends_at_once(workstation);
    await saving;
  });
}
