import assert from 'node:assert/strict';
import { after, before, beforeEach, test } from 'node:test';

import { Server } from '../driver/network.mjs';
import { exchange, get, read } from './raw_calls.mjs';

const health = '/Home/GetVorHealth';
let main;
before(async () => {
  main = await Server.start('main', 'SER-A', '--workstation', 'Stage');
});
after(() => main.stop());
beforeEach(() => main.set({ reset: true, forget: true }));

test('a_healthy_server_shows_a_running_engine_two_outputs_and_fresh_frames', async () => {
  const { channels, ...rest } = await read('main', health);
  assert.deepEqual(rest, {
    serial: 'SER-A',
    version: 1,
    engineRunning: true,
    engineResponsive: true,
    telemetryAvailable: true,
    engineStarting: false,
    clockEngaged: false,
    clockHealthy: true,
    resourcesKnown: true,
    memoryAvailablePercent: 62,
    cpuPercent: 18,
    gpuTemperature: 55,
    outputs: [
      { id: 'out-1', name: 'Projector Left', available: true, known: true },
      { id: 'out-2', name: 'Projector Right', available: true, known: true },
    ],
  });
  assert.equal(channels.length, 2);
  for (const { ageMs } of channels) assert.ok(ageMs >= 0 && ageMs < 20, `${ageMs}`);
});

const switches = [
  [{ engine: 'stopped' }, { engineRunning: false, engineResponsive: false, channels: [] }],
  [{ engine: 'starting' }, { engineRunning: true, engineStarting: true }],
  [{ engine: 'unresponsive' }, { engineRunning: true, engineResponsive: false }],
  [{ telemetry: false }, { telemetryAvailable: false }],
  [{ channelCount: 0 }, { channels: [] }],
  [{ channelCount: 1, frameAgeMs: 1500 }, { channels: [{ name: 'Channel 1', ageMs: 1500 }] }],
  [{ outputs: [] }, { outputs: [] }],
  [{ outputs: [{ id: 'x', known: false }] }, { outputs: [{ id: 'x', known: false }] }],
  [{ clock: { engaged: true, healthy: false } }, { clockEngaged: true, clockHealthy: false }],
  [{ resources: { cpuPercent: 95 } }, { resourcesKnown: true, cpuPercent: 95 }],
  [{ resources: { known: false } }, { resourcesKnown: false, cpuPercent: 18 }],
  [{ healthVersion: 2 }, { version: 2 }],
  [{ reportedSerial: 'OTHER' }, { serial: 'OTHER' }],
];
for (const [changes, expected] of switches) {
  test(`health_follows_the_switch_${JSON.stringify(changes)}`, async () => {
    await main.set(changes);
    const reply = await read('main', health);
    for (const [key, value] of Object.entries(expected)) assert.deepEqual(reply[key], value, key);
  });
}

test('frozen_frames_grow_older_and_moving_ones_are_young_again', async () => {
  await main.set({ frames: 'frozen' });
  const age = async () => (await read('main', health)).channels[0].ageMs;
  const first = await age();
  let later = first;
  while (later < 100) later = await age();
  assert.ok(later > first);
  await main.set({ frames: 'moving' });
  assert.ok((await age()) < 20);
});

test('outputs_can_be_raw_text_that_is_no_json', async () => {
  await main.set({ outputs: '[{"id":"a"' });
  const { body } = await get('main', health);
  assert.match(body, /"gpuTemperature":55,"outputs":\[\{"id":"a","channels":\[/);
});

test('an_old_version_has_no_health_call_but_an_identity', async () => {
  await main.set({ healthCall: false });
  assert.equal((await get('main', health)).status, 404);
  const identity = await read('main', '/Home/GetOperatorControlIdentity');
  assert.deepEqual(identity, { Serial: 'SER-A', WorkstationName: 'Stage' });
});

test('an_unpaired_server_holds_no_pairing_and_no_revision', async () => {
  assert.deepEqual(await read('main', '/Home/GetOperatorControlConfiguration'), {
    Enabled: false,
    ReplicationRevision: 0,
    SharedFunctionIds: [],
    Systems: [],
  });
  assert.deepEqual(await read('main', '/Home/GetOperatorControlReplicationStatus'), {
    Enabled: false,
    Role: 'Independent',
    LocalSerial: 'SER-A',
    MainSerial: '',
    Revision: 0,
    AppliedRevision: 0,
    PendingMedia: 0,
    EventTitle: 'Harbour Lights',
    LastError: '',
  });
});

test('replication_figures_are_as_the_switches_say', async () => {
  await main.set({
    replication: { revision: 9, behind: 2, pendingMedia: 4, lastError: 'disk full' },
  });
  const path = '/Home/GetOperatorControlReplicationStatus';
  const reply = await read('main', path);
  assert.deepEqual(
    [reply.Revision, reply.AppliedRevision, reply.PendingMedia, reply.LastError],
    [9, 7, 4, 'disk full'],
  );
  await main.set({ replication: { appliedRevision: 3 } });
  assert.equal((await read('main', path)).AppliedRevision, 3);
});

test('every_reply_comes_in_either_spelling', async () => {
  const identity = '/Home/GetOperatorControlIdentity';
  await main.set({ spelling: { '*': 'camelCase', [health]: 'PascalCase' } });
  assert.deepEqual(Object.keys(await read('main', identity)), ['serial', 'workstationName']);
  const reply = await read('main', health);
  assert.equal(reply.Serial, 'SER-A');
  assert.deepEqual(Object.keys(reply.Outputs[0]), ['Id', 'Name', 'Available', 'Known']);
  assert.ok('AgeMs' in reply.Channels[0]);
});

test('the_report_counts_the_calls_and_keeps_the_last_head_as_it_came', async () => {
  const head = 'GET /odd?a=1 HTTP/1.1\r\nB: 2\r\na:1\r\nConnection: close\r\n\r\n';
  await exchange('main', 5000, head);
  await exchange('main', 5000, head);
  const { calls } = await main.report();
  const { timesUs, ...rest } = calls['/odd'];
  assert.deepEqual(rest, { count: 2, lastHead: head, lastBody: '' });
  assert.equal(timesUs.length, 2);
  assert.ok(timesUs[0] <= timesUs[1]);
});

test('a_wrong_switch_is_refused_and_changes_nothing', async () => {
  const wrong = [
    [{ engine: 'stopped', engin: 1 }, 'unknown: switches.engin'],
    [{ engine: 'gone' }, 'switches.engine must be one of running, starting, stopped, unresponsive'],
    [{ faults: { '/': { hangs: true } } }, 'unknown: faults[/].hangs'],
    [{ clock: { healthy: 1 } }, 'clock.healthy must be true or false'],
    [[], 'the body must be a JSON object'],
  ];
  for (const [changes, error] of wrong) {
    const answer = await main.set(changes);
    assert.deepEqual(answer, { status: 400, error });
  }
  assert.deepEqual((await main.report()).switchesSet, {});
});

test('null_takes_a_switch_back_to_its_default', async () => {
  await main.set({ engine: 'stopped', telemetry: false });
  const answer = await main.set({ engine: null });
  assert.equal(answer.switches.engine, 'running');
  assert.equal(answer.switches.telemetry, false);
});

test('the_web_page_knows_its_server_and_has_no_unfilled_place', async () => {
  const page = await get('main', '/?operatorControl=1&operatorControlRole=main&t=1');
  assert.equal(page.status, 200);
  assert.match(page.head, /Content-Type: text\/html/);
  assert.match(page.body, /"serial":"SER-A","workstation":"Stage"/);
  assert.doesNotMatch(page.body, /\{\{/);
});
