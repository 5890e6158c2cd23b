// Servers that answer wrongly, slowly or without end hold neither the monitor nor the main loop.
import assert from 'node:assert/strict';
import { after, before, beforeEach, test } from 'node:test';

import { Server } from '../driver/network.mjs';
import {
  active_alerts,
  get_status,
  health_of,
  until_active,
  until_alert,
  until_recovered,
  until_status,
} from '../driver/operator.mjs';
import { Pair } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';

const garbage = 33 * 1024 * 1024;

let pair;
let spare;
before(async () => {
  spare = await Server.start('spare', 'SER-C');
  pair = await Pair.start();
});
after(async () => {
  await pair?.stop();
  await spare?.stop();
});
beforeEach(async () => {
  await spare.heal();
  await pair.settle();
});

const lost = 'Backup: Server communication lost.';

const unusable = [
  ['a_trickle', { trickleBytes: 1, trickleEveryMs: 50 }],
  ['33_mebibytes', { padToBytes: garbage }],
];
for (const [name, fault] of unusable) {
  test(`${name}_is_no_health_and_the_server_counts_as_lost`, async () => {
    await pair.backup.break_path('GetVorHealth', fault);
    await until_alert(lost);
    // The monitor is not held: Main's health is as fresh as ever.
    await until_status('Main is polled', (status) => health_of(status, 'SER-A').ageMs < 250);
    await pair.backup.set({ reset: true });
    await until_recovered(lost);
  });
}

test('outputs_that_are_no_json_leave_the_status_whole', async () => {
  await pair.backup.set({ outputs: '[{"id":"a"' });
  await until_status(
    'the outputs are gone',
    (status) => health_of(status, 'SER-B').outputs.length === 0,
  );
});

test('an_old_server_is_alive_and_supports_nothing', async () => {
  await pair.backup.set({ healthCall: false });
  const status = await until_alert(
    'Backup: Frame/output telemetry unavailable; update Elvantris and its engine.',
  );
  assert.equal(health_of(status, 'SER-B').supported, false);
  assert.ok(!active_alerts(status).includes(lost));
});

test('a_trickling_main_is_lost_and_operation_moves', async () => {
  await pair.main.break_path('GetVorHealth', { trickleBytes: 1, trickleEveryMs: 100 });
  await until_active('backup');
  await pair.backup.set({ engine: 'stopped' });
  await until_alert('Backup: Engine stopped or exited.');
});

test('a_server_with_endless_answers_does_not_hold_the_passes', async () => {
  // Making so much garbage keeps the simulated server itself from its other answers.
  await pair.settle({ lossMs: 10000 });
  const { discoveryRequests } = await pair.main.report();
  await pair.main.set({
    faults: {
      '/Home/GetOperatorControlReplicationStatus': { padToBytes: garbage },
      '/Home/GetOperatorControlConfiguration': { padToBytes: garbage },
      '/Home/GetEventModel': { padToBytes: garbage },
    },
  });
  await until(
    'two more passes',
    async () => (await pair.main.report()).discoveryRequests >= discoveryRequests + 2,
  );
  assert.equal((await get_status()).active, 'main');
});
