import assert from 'node:assert/strict';
import { after, before, beforeEach, test } from 'node:test';

import { held_system, Server } from '../driver/network.mjs';
import { until } from '../driver/waiting.mjs';
import { datagram, exchange, get } from './raw_calls.mjs';

const path = '/Home/GetOperatorControlIdentity';
const good_body = '{"Serial":"SER-A","WorkstationName":"Stage"}';
let main;
before(async () => {
  main = await Server.start('main', 'SER-A', '--workstation', 'Stage');
});
after(() => main.stop());
beforeEach(() => main.set({ reset: true, forget: true }));

const fault = (fields) => main.set({ faults: { [path]: fields } });

test('a_good_answer_ends_with_its_connection_at_once', async () => {
  // A connection that is kept open lasts five seconds; on a busy machine an answer takes its time.
  const answer = await until('an answer without a pause', async () => {
    const once = await get('main', path);
    assert.equal(once.ended, 'end');
    return once.took_ms < 200 && once;
  });
  assert.match(answer.head, /Content-Length: 44\r\n/);
  assert.equal(answer.body, good_body);
});

test('a_hanging_path_takes_the_request_and_answers_nothing', async () => {
  await fault({ hang: true });
  const answer = await get('main', path, 300);
  assert.equal(answer.ended, 'timeout');
  assert.equal(answer.text, '');
  await until('the request was taken', async () => {
    return (await main.report()).calls[path]?.count === 1;
  });
  assert.equal((await get('main', '/Home/GetEventModel')).status, 200);
});

test('a_fault_of_every_path_gives_way_to_the_fault_of_one', async () => {
  await main.set({ faults: { '*': { status: 503 }, [path]: { status: 418 } } });
  assert.equal((await get('main', path)).status, 418);
  assert.equal((await get('main', '/Home/GetVorHealth')).status, 503);
});

test('a_slow_answer_is_good_but_late', async () => {
  await fault({ delayMs: 150 });
  const answer = await get('main', path);
  assert.equal(answer.body, good_body);
  assert.ok(answer.took_ms >= 150, `${answer.took_ms}`);
});

test('a_trickled_answer_comes_in_pieces_over_time', async () => {
  await fault({ trickleBytes: 20, trickleEveryMs: 20 });
  const answer = await get('main', path);
  assert.equal(answer.body, good_body);
  assert.ok(answer.pieces.length > 4, `${answer.pieces.length} pieces`);
  assert.ok(answer.took_ms >= 20 * (Math.ceil(answer.text.length / 20) - 1));
});

test('a_cut_answer_announces_more_than_it_brings', async () => {
  await fault({ cutAfterBytes: 10 });
  const answer = await get('main', path);
  assert.equal(answer.ended, 'end');
  assert.match(answer.head, /Content-Length: 44\r\n/);
  assert.equal(answer.body, good_body.slice(0, 10));
});

test('a_reset_ends_the_connection_without_a_byte', async () => {
  await fault({ reset: true });
  const answer = await get('main', path);
  assert.equal(answer.ended, 'ECONNRESET');
  assert.equal(answer.text, '');
});

test('a_reset_behind_a_cut_comes_after_the_first_bytes', async () => {
  await fault({ reset: true, cutAfterBytes: 10 });
  const answer = await get('main', path);
  assert.equal(answer.ended, 'ECONNRESET');
  assert.equal(answer.body, good_body.slice(0, 10));
});

test('a_chunked_answer_is_framed_in_chunks_of_the_size_asked_for', async () => {
  await fault({ chunkBytes: 30 });
  const { head, body } = await get('main', path);
  assert.match(head, /Transfer-Encoding: chunked\r\n/);
  assert.doesNotMatch(head, /Content-Length/);
  const [first, second] = [good_body.slice(0, 30), good_body.slice(30)];
  assert.equal(body, `1e\r\n${first}\r\ne\r\n${second}\r\n0\r\n\r\n`);
});

test('a_chunked_answer_can_lack_its_last_chunk', async () => {
  await fault({ chunkBytes: 44, cutAfterBytes: 50 });
  assert.equal((await get('main', path)).body, `2c\r\n${good_body}\r\n`);
});

test('a_huge_answer_is_the_good_one_with_blanks_behind_it', async () => {
  await fault({ padToBytes: 300_000 });
  const { head, body } = await get('main', path);
  assert.match(head, /Content-Length: 300000\r\n/);
  assert.equal(body.length, 300_000);
  assert.equal(body.trimEnd(), good_body);
});

test('status_and_body_replace_the_answer', async () => {
  await fault({ status: 500, body: '<sorry>' });
  const answer = await get('main', path);
  assert.deepEqual([answer.status, answer.body], [500, '<sorry>']);
});

test('a_raw_answer_is_sent_byte_for_byte', async () => {
  await fault({ raw: 'rubbish\r\n\r\n' });
  const answer = await get('main', path);
  assert.deepEqual([answer.text, answer.ended], ['rubbish\r\n\r\n', 'end']);
});

test('an_answer_of_its_own_keeps_the_request_from_the_application', async () => {
  await main.set({ faults: { '/Home/UpdateEventModel': { body: 'OK' } } });
  const answer = await main.hold_pairing([held_system('main', 'SER-A', 'Main')]);
  assert.equal(answer.body, 'OK');
  assert.equal((await main.report()).modelUpdates, 0);
});

test('a_fault_of_a_path_is_replaced_whole_and_null_takes_it_away', async () => {
  await fault({ status: 500 });
  await fault({ delayMs: 1 });
  assert.equal((await get('main', path)).status, 200);
  const answer = await fault(null);
  assert.deepEqual(answer.switches.faults, {});
});

test('a_fault_of_so_many_requests_is_gone_behind_the_last', async () => {
  await fault({ status: 500, times: 2 });
  assert.equal((await get('main', path)).status, 500);
  assert.equal((await get('main', path)).status, 500);
  assert.equal((await get('main', path)).status, 200);
  await main.set({ frames: 'frozen' });
  assert.equal((await get('main', path)).status, 200, 'it stays gone');
});

test('with_its_cable_pulled_a_server_takes_requests_and_answers_none', async () => {
  await main.set({ cable: 'pulled' });
  const answer = await get('main', path, 300);
  assert.deepEqual([answer.ended, answer.text], ['timeout', '']);
  const replies = await datagram('main', 1255, 'elvantris-server?', 1, 300);
  assert.deepEqual(replies, []);
  const { calls, discoveryRequests } = await main.set({ cable: 'plugged' });
  assert.deepEqual([calls, discoveryRequests], [{}, 0]);
  assert.equal((await get('main', path)).body, good_body);
});

test('the_closed_web_port_refuses_and_opens_again', async () => {
  const closed = await main.set({ httpPort: 'closed' });
  assert.equal(closed.switches.httpPort, 'closed');
  assert.equal((await get('main', path)).ended, 'ECONNREFUSED');
  await main.set({ httpPort: 'open' });
  assert.equal((await get('main', path)).body, good_body);
});

test('odd_requests_are_refused_and_the_server_goes_on', async () => {
  const odd = ['\r\n\r\n', 'GET\r\n\r\n', 'POST / HTTP/1.1\r\nContent-Length: x\r\n\r\n'];
  odd.push('POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n');
  for (const request of odd) {
    assert.match((await exchange('main', 5000, request)).text, /^HTTP\/1.1 400 /);
  }
  // The reset of the bytes that are left unread may overtake the answer.
  await until('too long a head is refused', async () => {
    const { text } = await exchange('main', 5000, 'x'.repeat(100_000));
    return text.startsWith('HTTP/1.1 400 ');
  });
  assert.equal((await get('main', path)).status, 200);
});
