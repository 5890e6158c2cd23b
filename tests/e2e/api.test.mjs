// The two loopback services, spoken to as no polite client does.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { windows } from './support/environment.mjs';
import { answers, call, Connection, exchange } from './support/http.mjs';
import { get_status, health_of, post, until_status } from './support/operator.mjs';
import { paired_config, quick_policy } from './support/pair.mjs';
import { Workstation } from './support/workstation.mjs';

const most = 4194304;

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

test('a_reply_has_the_heads_that_a_page_of_another_port_needs', async () => {
  const reply = await exchange(5251, 'GET /api/status HTTP/1.1\r\n\r\n');
  const body = reply.slice(reply.indexOf('\r\n\r\n') + 4);
  assert.equal(
    reply.slice(0, -body.length),
    'HTTP/1.1 200 OK\r\nServer: Elvantris Redundancy Control\r\n' +
      'Content-Type: application/json\r\n' +
      `Content-Length: ${Buffer.byteLength(body)}\r\nConnection: close\r\n` +
      'Cache-Control: no-store\r\nAccess-Control-Allow-Origin: *\r\n\r\n',
  );
});

const unknown = [
  ['GET', '/api/protection'],
  ['POST', '/api/status'],
  ['POST', '/'],
  ['GET', '/api/status/'],
  ['GET', '/api/status?x=1'],
  ['get', '/api/status'],
  ['OPTIONS', '/api/status'],
];
test('every_other_path_and_method_is_not_found', async () => {
  for (const [method, path] of unknown) {
    const reply = await exchange(5251, `${method} ${path} HTTP/1.1\r\n\r\n`);
    assert.match(
      reply,
      /^HTTP\/1\.1 404 Not Found\r\n[^]*text\/plain; charset=utf-8[^]*not found$/,
      `${method} ${path}`,
    );
  }
});

test('the_diagnostics_page_names_the_ui_port', async () => {
  const { status, headers, body } = await call('127.0.0.1', 5251, 'GET', '/');
  assert.deepEqual([status, headers['content-type']], [200, 'text/html; charset=utf-8']);
  assert.match(body, /href='http:\/\/127\.0\.0\.1:5270\/'/);
});

const body = '{"ids":[3,7,11]}';
const shared = `POST /api/shared HTTP/1.1\r\nContent-Length: ${body.length}\r\n\r\n${body}`;
const shared_ids = async () => (await get_status()).sharedFunctionIds;

test('a_request_may_come_byte_by_byte', async () => {
  const reply = await exchange(5251, ...shared);
  assert.match(reply, /^HTTP\/1\.1 200 [^]*\{"ok":true\}$/);
  assert.deepEqual(await shared_ids(), [3, 7, 11]);
});

test('only_two_spellings_announce_a_body', async () => {
  for (const [spelling, ids] of [
    ['CONTENT-LENGTH', []],
    ['content-length', [3, 7, 11]],
    ['Content-length', []],
  ]) {
    await exchange(5251, shared.replace('Content-Length', spelling));
    assert.deepEqual(await shared_ids(), ids, spelling);
  }
});

test('a_body_is_cut_to_its_announced_length', async () => {
  await exchange(5251, `${shared.replace(/: \d+/, ': 10')}`);
  assert.deepEqual(await shared_ids(), []);
});

const unanswered = [
  ['no_path', 'GET\r\n\r\n'],
  ['nothing', ''],
  ['no_line_end', 'GET /api/status'],
  ['no_end_of_the_heads', 'GET /api/status HTTP/1.1\r\nHost: x\r\n'],
  ['half_a_body', 'POST /api/shared HTTP/1.1\r\nContent-Length: 5\r\n\r\n{}'],
];
for (const [name, text] of unanswered) {
  test(`a_request_with_${name}_gets_no_reply_and_the_next_one_does`, async () => {
    const connection = await Connection.open(5251);
    await connection.write(text);
    assert.equal(await connection.finish(), '');
    assert.equal((await get_status()).uiPort, 5270);
  });
}

test('a_request_without_end_is_answered_when_four_mebibytes_have_come', async () => {
  const line = 'GET /api/status HTTP/1.1\r\n';
  const reply = await exchange(5251, line + 'x'.repeat(most - line.length));
  assert.match(reply, /^HTTP\/1\.1 200 OK\r\n/);
});

test('a_body_beyond_four_mebibytes_is_read_up_to_there', async () => {
  const head = 'POST /api/shared HTTP/1.1\r\nContent-Length: 8388608\r\n\r\n';
  const known = '{"ids":[5],"filler":"';
  const sent = head + known + 'x'.repeat(most - head.length - known.length);
  assert.match(await exchange(5251, sent), /\{"ok":true\}$/);
  assert.deepEqual(await shared_ids(), [5]);
});

test('a_client_that_never_stops_sending_is_left_behind', async () => {
  const connection = await Connection.open(5251);
  const piece = 'x'.repeat(65536);
  for (let sent = 0; !connection.socket.destroyed && sent < 64 * most; sent += piece.length) {
    await connection.write(piece);
  }
  await connection.closed;
  assert.equal((await get_status()).uiPort, 5270);
});

test('waiting_requests_are_answered_one_after_the_other', async () => {
  const holding = await Connection.open(5251);
  await holding.write('GET /api/sta');
  const waiting = Array.from({ length: 8 }, () => get_status());
  await holding.write('tus HTTP/1.1\r\n\r\n');
  assert.match(await holding.closed, /^HTTP\/1\.1 200 OK/);
  for (const status of await Promise.all(waiting)) assert.equal(status.uiPort, 5270);
});

const bad_policies = [
  [{ lossMs: 499 }, /^Fault delays must be 500-30000 ms/],
  [{ startupMs: 60001 }, /startup grace must be 1000-60000 ms\.$/],
  [{ resources: 2 }, /^Resource pressure supports Ignore or Alert only\.$/],
  [{ frames: -1 }, /^Choose Ignore, Alert only, or Alert \+ failover\.$/],
  [{ outputRules: [{ mainId: 'a', mode: 2 }] }, /^Each protected output needs a unique Main/],
  [{ actions: Array(33).fill({}) }, /^Maximum 128 output rules and 32 outbound actions\.$/],
  [
    { actions: [{ enabled: true, host: 'h', port: 1, payload: '\\q' }] },
    /^Supported escapes: \\r, \\n, \\t, \\\\, \\xHH\.$/,
  ],
  [{ actions: [{ enabled: true }] }, /^Check action destination, event, timeout, delay, and retry/],
];
test('a_wrong_policy_is_refused_with_its_reason_and_changes_nothing', async () => {
  const { policy } = (await get_status()).protection;
  for (const [changes, reason] of bad_policies) {
    const { status, ok, error } = await post('/api/protection', { ...policy, ...changes });
    assert.deepEqual([status, ok], [400, false], JSON.stringify(changes));
    assert.match(error, reason);
  }
  assert.deepEqual((await get_status()).protection.policy, policy);
});

test('an_action_that_does_not_exist_cannot_be_tested', async () => {
  for (const body of [{ index: -1 }, { index: 0 }, {}, '']) {
    const { status, error } = await post('/api/protection/test', body);
    assert.deepEqual([status, error], [400, 'Save the action before testing it.']);
  }
});

const pages = [
  ['GET', '/', 200],
  ['GET', '/?configure=1', 200],
  ['GET', '/favicon.ico', 302],
  ['GET', '/index.html', 302],
  ['HEAD', '/', 405],
  ['POST', '/', 405],
];
test('the_page_server_gives_the_page_and_sends_the_rest_there', async () => {
  for (const [method, path, status] of pages) {
    const reply = await exchange(5270, `${method} ${path} HTTP/1.1\r\n\r\n`);
    assert.match(reply, new RegExp(`^HTTP/1\\.1 ${status} `), `${method} ${path}`);
    if (status === 200) assert.match(reply, /<\/body>\s*<\/html>\s*$/);
    if (status === 302) assert.match(reply, /\r\nLocation: \/\r\n/);
  }
});

test('silent_connections_do_not_hold_the_page', async () => {
  const silent = await Promise.all(Array.from({ length: 20 }, () => Connection.open(5270)));
  assert.equal((await call('127.0.0.1', 5270, 'GET', '/')).status, 200);
  for (const connection of silent) connection.drop();
});

test('neither_service_is_reachable_from_the_network', async () => {
  for (const port of [5251, 5270]) assert.equal(await answers(port, '10.77.0.10'), false);
});

if (!windows) {
  test('a_silent_client_does_not_hold_the_end_of_the_program', async () => {
    const [api, page] = [await Connection.open(5251), await Connection.open(5270)];
    await workstation.stop();
    api.drop();
    page.drop();
  });
}
