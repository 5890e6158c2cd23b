// The two loopback services as the program puts them up.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { answers, call, Connection } from '../driver/http.mjs';
import { get_status, health_of, until_status } from '../driver/operator.mjs';
import { paired_config, quick_policy } from '../driver/pair.mjs';
import { Workstation } from '../driver/workstation.mjs';

let workstation;
before(async () => {
  workstation = new Workstation();
  // A pair that nobody has ever heard of.
  workstation.write_config(paired_config());
  workstation.write_state(quick_policy);
});
after(() => workstation.remove());

test('the_status_is_whole_from_the_first_moment_though_no_server_was_ever_heard', async () => {
  await workstation.start();
  const first = await get_status();
  assert.deepEqual(Object.keys(first), [
    'enabled',
    'controllerConfigured',
    'uiPort',
    'runtimeUiPort',
    'openBrowserOnStart',
    'systems',
    'sharedFunctionIds',
    'policySynchronized',
    'policySyncMessage',
    'active',
    'activeSerial',
    'streamDeckCount',
    'streamDecks',
    'protection',
    'configPath',
  ]);
  const status = await until_status('polled in vain', ({ protection }) =>
    protection.alerts.some(({ message }) => message === 'Main: Server communication lost.'),
  );
  const never = {
    ageMs: -1,
    supported: false,
    engineRunning: false,
    engineResponsive: false,
    telemetryAvailable: false,
    frameStalled: false,
    outputs: [],
  };
  for (const serial of ['SER-A', 'SER-B']) {
    assert.deepEqual(health_of(status, serial), { serial, ...never });
  }
  assert.deepEqual([status.active, status.activeSerial], ['none', '']);
});

test('the_page_is_served_while_the_api_is_held_and_no_server_answers', async () => {
  const holder = await Connection.open(5251);
  await holder.write('POST /api/configure HTTP/1.1\r\nContent-Length: 100\r\n\r\n{');
  await assert.rejects(call('127.0.0.1', 5251, 'GET', '/api/status', undefined, 500), /no answer/);
  for (const path of ['/', '/?configure=1']) {
    const { status, body } = await call('127.0.0.1', 5270, 'GET', path);
    assert.equal(status, 200);
    assert.match(body, /^<!doctype html>[^]*<\/html>\s*$/i);
  }
  holder.drop();
  assert.equal((await get_status()).active, 'none');
});

const longest = 64 * 4194304;
test('a_client_that_never_stops_sending_is_left_behind', async () => {
  const connection = await Connection.open(5251);
  const piece = 'x'.repeat(65536);
  for (let sent = 0; !connection.socket.destroyed && sent < longest; sent += piece.length) {
    await connection.write(piece);
  }
  await connection.closed;
  assert.equal((await get_status()).uiPort, 5270);
});

test('neither_service_is_reachable_from_the_network', async () => {
  for (const port of [5251, 5270]) assert.equal(await answers(port, '10.77.0.10'), false);
});
