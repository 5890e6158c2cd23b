// Strangers that answer discovery without end, or with endless names, cost no failover, no memory.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import { after, afterEach, before, beforeEach, test } from 'node:test';

import { windows } from '../driver/environment.mjs';
import { crowd, Server } from '../driver/network.mjs';
import { get_status, system_of, until_active, until_status } from '../driver/operator.mjs';
import { Pair } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';
import {
  assert_polled_for,
  assert_polls_kept_coming,
  memory_mib,
  spoiled_ms,
  took,
  until_passes,
} from './support/hostile.mjs';

const most_systems = 1024;
const longest_text = 4096;
const largest_file = 32 * 1024 * 1024;
const most_memory_mib = 64;

let pair;
let spare;
let stranger;
before(async () => {
  crowd('device');
  spare = await Server.start('spare', 'SER-C');
  stranger = await Server.start('device', 'STRANGER');
  await stranger.set({ discovery: { silent: true } });
});
after(async () => {
  await spare?.stop();
  await stranger?.stop();
});
// Each flood meets a program that knows nothing of the last one.
beforeEach(async () => {
  pair = await Pair.start();
  await until_status('the third server is found', (status) => system_of(status, 'SER-C')?.online);
});
afterEach(async () => {
  await stranger.set({ discovery: { silent: true, flood: null } });
  await pair?.workstation.kill();
  await pair?.workstation.remove();
  for (const server of [pair?.main, pair?.backup]) await server?.stop();
});

// Under way when this returns.
async function flood(fields) {
  const { discoveryRequests } = await stranger.set({
    discovery: { silent: true, flood: { addresses: 100, ...fields } },
  });
  await until(
    'the flood begins',
    async () => (await stranger.report()).discoveryRequests > discoveryRequests,
  );
}

const until_listed = () => until_status('the flood is listed', ({ systems }) => systems.length > 3);

function assert_real_servers_have_room(status) {
  assert.ok(status.systems.length <= most_systems, `${status.systems.length} systems`);
  const [main, backup, third] = ['SER-A', 'SER-B', 'SER-C'].map((one) => system_of(status, one));
  assert.deepEqual([main?.role, backup?.role, third?.role], ['Main', 'Backup', 'Independent']);
  assert.deepEqual([main.online, backup.online, third.online], [true, true, true]);
}

async function assert_room_for(ms) {
  for (const end = Date.now() + ms; Date.now() < end;) {
    assert_real_servers_have_room(await get_status());
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
}

// A stopped engine is seen with the next poll: a quarter of a second, more on a busy machine.
async function assert_failover_comes_in_time() {
  const spent = await took(async () => {
    await pair.main.set({ engine: 'stopped' });
    await until_active('backup');
  });
  assert.ok(spent < spoiled_ms, `${spent} ms`);
}

function assert_little_memory() {
  if (windows) return;
  const peak = memory_mib(pair.workstation, 'VmHWM');
  assert.ok(peak < most_memory_mib, `${peak} MiB`);
}

const lines_about_the_bound = () =>
  pair.workstation
    .log_lines()
    .filter((line) => /\b1,?024\b/.test(line) && !line.startsWith('[status]'));

async function assert_file_brings_the_pairing_back() {
  const { workstation } = pair;
  assert.ok(fs.statSync(workstation.config).size < largest_file);
  await workstation.stop();
  for (const server of [pair.main, pair.backup, spare]) {
    await server.set({ discovery: { silent: true } });
  }
  await workstation.start();
  const status = await get_status();
  assert.ok(status.systems.length <= most_systems);
  assert.ok(status.enabled && status.controllerConfigured);
  assert.deepEqual(
    ['SER-A', 'SER-B'].map((serial) => system_of(status, serial)?.role),
    ['Main', 'Backup'],
  );
  for (const server of [pair.main, pair.backup, spare]) await server.heal();
}

test('a_flood_of_distinct_serials_leaves_room_time_and_memory', async () => {
  const begin = Date.now();
  await flood({ perSecond: 20000, forMs: 5000, serials: 1000000 });
  await assert_failover_comes_in_time();
  await until_listed();
  await assert_room_for(1500);
  await until_passes(pair.main, 2);
  assert_real_servers_have_room(await get_status());
  for (const server of [pair.main, pair.backup]) await assert_polls_kept_coming(server, begin);
  assert_little_memory();
  assert.equal(lines_about_the_bound().length, 1);
  await assert_file_brings_the_pairing_back();
});

test('a_flood_of_one_serial_from_many_addresses_is_one_system', async () => {
  const begin = Date.now();
  await flood({ perSecond: 20000, forMs: 4000, serials: 1 });
  await assert_failover_comes_in_time();
  await until_listed();
  await until_passes(pair.main, 1);
  const status = await get_status();
  assert_real_servers_have_room(status);
  assert.equal(status.systems.length, 4);
  for (const server of [pair.main, pair.backup]) await assert_polls_kept_coming(server, begin);
  assert_little_memory();
});

test('names_of_control_bytes_leave_a_file_that_is_read_again', async () => {
  const begin = Date.now();
  await flood({ perSecond: 8000, forMs: 3000, serials: 8000, nameControlBytes: 1400 });
  await assert_failover_comes_in_time();
  await until_listed();
  await until_passes(pair.main, 2);
  for (const server of [pair.main, pair.backup]) await assert_polls_kept_coming(server, begin);
  assert_real_servers_have_room(await get_status());
  assert_little_memory();
  await assert_file_brings_the_pairing_back();
});

test('a_title_and_an_error_of_12_mebibytes_of_control_bytes_are_cut', async () => {
  const bytes = 12 * 1024 * 1024;
  await pair.backup.set({
    replication: { titleControlBytes: bytes, errorControlBytes: bytes },
  });
  const replicated = (status) => {
    const { replicationEventTitle, replicationLastError } = system_of(status, 'SER-B');
    return [replicationEventTitle, replicationLastError];
  };
  const status = await until_status('the texts have come', (now) =>
    replicated(now).every((text) => text.startsWith('\u0001')),
  );
  for (const text of replicated(status)) {
    assert.ok(Buffer.byteLength(text) <= longest_text, `${Buffer.byteLength(text)} bytes`);
  }
  await assert_polled_for(pair.main, 2);
  assert_little_memory();
  await assert_file_brings_the_pairing_back();
});

test('an_unconfigured_workstation_goes_on_under_a_flood', async () => {
  const { workstation } = pair;
  await workstation.stop();
  workstation.write_config({});
  await stranger.set({ faults: { '*': { hang: true } } });
  await workstation.start();
  await flood({ perSecond: 5000, forMs: 4000, serials: 1000000 });
  await until_listed();
  // One pass under way, with a server that hangs behind each address.
  await until_passes(pair.main, 1, 33000);
  assert.ok((await get_status()).systems.length <= most_systems);
  await stranger.set({ faults: null });
});
