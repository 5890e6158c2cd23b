// How servers are found, become ready, and are lost again, without a pair.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import { after, afterEach, before, beforeEach, test } from 'node:test';

import {
  hear_questions,
  Server,
  start_endless_replies,
  start_timed_replies,
} from '../driver/network.mjs';
import { get_status, post, system_of, until_status } from '../driver/operator.mjs';
import { paired_config } from '../driver/pair.mjs';
import { in_time, until } from '../driver/waiting.mjs';
import { Workstation } from '../driver/workstation.mjs';

let main;
let spare;
let workstation;
before(async () => {
  main = await Server.start('main', 'SER-A');
  spare = await Server.start('spare', 'SER-C');
});
after(async () => {
  await main?.stop();
  await spare?.stop();
});
beforeEach(async () => {
  await main.heal();
  await spare.heal();
  await spare.set({ discovery: { silent: true } });
  workstation = new Workstation();
});
afterEach(async () => {
  if (workstation.program && !workstation.program.ended) await workstation.stop();
  await workstation.remove();
});

const until_ready = (serial) =>
  until_status(`${serial} is ready`, (status) => system_of(status, serial)?.uiReady);
const until_rounds = (count) =>
  until(`${count} rounds`, async () => (await main.report()).discoveryRequests >= count);
const serials_of = ({ systems }) => systems.map(({ serial }) => serial).sort();

test('a_server_is_found_by_broadcast_and_becomes_ready', async () => {
  await workstation.start();
  const status = await until_ready('SER-A');
  assert.deepEqual(status.systems, [
    {
      serial: 'SER-A',
      workstation: 'The main',
      address: '10.77.0.11',
      webPort: 5000,
      controlPort: 1256,
      role: 'Independent',
      backupForSerial: '',
      online: true,
      uiReady: true,
      replicationEnabled: false,
      replicationRole: 'Independent',
      replicationRevision: 0,
      replicationAppliedRevision: 0,
      replicationPendingMedia: 0,
      replicationEventTitle: '',
      replicationLastError: '',
    },
  ]);
  assert.deepEqual([status.active, status.activeSerial], ['independent', 'SER-A']);
  await until_rounds(2);
  assert.equal((await get_status()).policySyncMessage, '', 'there is no pairing to write');
});

test('a_configured_workstation_without_a_pair_writes_no_pairing', async () => {
  workstation.write_config(paired_config({ systems: [] }));
  await workstation.start();
  await until_rounds(2);
  assert.equal((await get_status()).policySyncMessage, '');
});

test('every_server_is_asked_once_by_each_of_the_two_broadcast_addresses', async () => {
  const limited = ['255.255.255.255/32', 'dev', 'lan'];
  execFileSync('ip', ['route', 'add', ...limited]);
  try {
    await in_time('the count is read before the second round', async () => {
      const questions = await hear_questions();
      await main.set({ forget: true });
      await workstation.start();
      await until('the first round', () => workstation.log_lines('[status]').length > 0);
      const { discoveryRequests } = await main.report();
      await workstation.kill();
      questions.stop();
      fs.rmSync(workstation.log_file);
      const later = questions.moments.some((moment) => moment > questions.moments[0] + 1500);
      if (!later) assert.equal(discoveryRequests, 2);
      return discoveryRequests === 2;
    });
  } finally {
    execFileSync('ip', ['route', 'delete', ...limited]);
  }
});

test('the_state_is_logged_only_when_it_changes_as_six_seconds_of_silence_do', async () => {
  const block = (online) => [
    `[status] enabled=false active=${online ? 'independent' : 'none'}`,
    `[status] SER-A role=Independent online=${online} uiReady=${online}` +
      ' address=10.77.0.11 web=5000 control=1256',
  ];
  const questions = await hear_questions();
  await workstation.start();
  await until_ready('SER-A');
  await main.set({ discovery: { silent: true } });
  // The last question that it can have answered; heard here a little later than there.
  const last_sign = questions.moments.at(-1) - 500;
  const status = await until_status('offline', ({ systems }) => !systems[0].online);
  questions.stop();
  assert.ok(Date.now() - last_sign > 6000, `${Date.now() - last_sign} ms`);
  assert.equal(status.systems[0].uiReady, false);
  assert.equal(status.active, 'none');
  // The passes in between have added nothing.
  await until('the block', () => workstation.log_lines('[status]').length >= 4);
  assert.deepEqual(workstation.log_lines('[status]'), [...block(true), ...block(false)]);
  await main.set({ discovery: { silent: false } });
  await until_ready('SER-A');
});

test('a_server_whose_identity_is_late_is_online_and_not_ready', async () => {
  await main.break_path('GetOperatorControlIdentity', { delayMs: 1500 });
  await workstation.start();
  const probed = await until('probed', () => workstation.log_lines('[status] SER-A')[0]);
  assert.match(probed, / online=true uiReady=false /);
  const { calls, discoveryRequests } = await main.report();
  const { count } = calls['/Home/GetOperatorControlIdentity'];
  assert.ok(count <= discoveryRequests, `${count} times in ${discoveryRequests} rounds`);
});

test('an_identity_that_takes_its_time_makes_a_server_ready', async () => {
  await main.break_path('GetOperatorControlIdentity', { delayMs: 350 });
  await workstation.start();
  await until_ready('SER-A');
});

test('malformed_replies_are_skipped_and_the_round_goes_on', async () => {
  await spare.set({
    discovery: {
      silent: false,
      replies: [
        'elvantris-server',
        'elvantris-server?',
        'elvantris-server!',
        'elvantris-server!,x',
        'elvantris-server!,99999999999,Far,TOO-FAR',
        `elvantris-server!,70000,${'w'.repeat(1900)},SER-LONG,more,`,
      ],
    },
  });
  await workstation.start();
  const status = await until_status('both', ({ systems }) => systems.length >= 2);
  const found = status.systems.map(({ serial, webPort }) => [serial, webPort]).sort();
  assert.deepEqual(found, [
    ['SER-A', 5000],
    ['SER-LONG', 4464],
  ]);
  assert.equal(system_of(status, 'SER-LONG').workstation.length, 1900);
});

test('an_empty_reply_ends_the_round', async () => {
  const after = 'elvantris-server!,5000,After,SER-AFTER';
  await spare.set({ discovery: { silent: false, replies: ['', after] } });
  await workstation.start();
  await until('three questions', async () => (await spare.report()).discoveryRequests >= 3);
  assert.ok(!serials_of(await get_status()).includes('SER-AFTER'));
  await spare.set({ reset: true });
  await until_status('found', (status) => system_of(status, 'SER-C'));
});

test('each_reply_prolongs_the_round', async () => {
  const late = await start_timed_replies('backup', { 350: 'P1', 700: 'P2', 1050: 'P3' });
  try {
    await workstation.start();
    await until_status('all are found', (status) => status.systems.length === 4);
    assert.deepEqual(serials_of(await get_status()), ['P1', 'P2', 'P3', 'SER-A']);
  } finally {
    await late.signal('SIGKILL');
  }
});

test('a_late_reply_is_heard_by_the_longer_round_on_request_alone', async () => {
  await main.set({ discovery: { silent: true } });
  const late = await start_timed_replies('backup', { 900: 'SER-LATE' });
  try {
    await workstation.start();
    await until_rounds(3);
    assert.deepEqual((await get_status()).systems, []);
    const found = await in_time('the reply comes within the longer round', async () => {
      await post('/api/discover', '');
      const serials = serials_of(await get_status());
      return serials.length > 0 && serials;
    });
    assert.deepEqual(found, ['SER-LATE']);
  } finally {
    await late.signal('SIGKILL');
  }
});

test('discovery_by_request_finds_a_server_at_once_and_saves_it', async () => {
  await workstation.start();
  await until_ready('SER-A');
  await spare.set({ discovery: { silent: false } });
  assert.deepEqual(await post('/api/discover', ''), { status: 200, ok: true });
  assert.ok(system_of(await get_status(), 'SER-C').online);
  assert.deepEqual(
    workstation
      .saved_config()
      .systems.map(({ serial }) => serial)
      .sort(),
    ['SER-A', 'SER-C'],
  );
});

test('a_flood_of_replies_is_taken_in', async () => {
  await main.set({ discovery: { copies: 2000 } });
  await workstation.start();
  await until_ready('SER-A');
  assert.equal((await get_status()).systems.length, 1);
});

test('replies_without_end_do_not_hold_the_rounds', async () => {
  const endless = await start_endless_replies('backup');
  try {
    await workstation.start();
    await until('a second round', async () => (await main.report()).discoveryRequests > 1);
    await until_ready('SER-A');
  } finally {
    await endless.signal('SIGKILL');
  }
});
