// The switches that make a server hostile do what they say, and no more.
import assert from 'node:assert/strict';
import { after, before, beforeEach, test } from 'node:test';

import { addresses } from '../driver/environment.mjs';
import { crowd, held_system, Server } from '../driver/network.mjs';
import { until } from '../driver/waiting.mjs';
import { datagram, get, read } from './raw_calls.mjs';

const identity = '/Home/GetOperatorControlIdentity';
const configuration = '/Home/GetOperatorControlConfiguration';
const replication = '/Home/GetOperatorControlReplicationStatus';
const event = '/Home/GetEventModel';
const good_body = '{"Serial":"SER-A","WorkstationName":"Stage"}';
const question = 'elvantris-server?';

let main;
before(async () => {
  crowd('main');
  main = await Server.start('main', 'SER-A', '--workstation', 'Stage');
});
after(() => main.stop());
beforeEach(() => main.set({ reset: true, forget: true }));

const fault = (path, fields) => main.set({ faults: { [path]: fields } });

test('a_stalled_answer_announces_more_than_it_brings_and_stays_open', async () => {
  await fault(identity, { stallAfterBytes: 10 });
  const answer = await get('main', identity, 400);
  assert.equal(answer.ended, 'timeout');
  assert.match(answer.head, /Content-Length: 44\r\n/);
  assert.equal(answer.body, good_body.slice(0, 10));
});

test('a_trickled_body_has_its_head_in_one_piece', async () => {
  await fault(identity, { trickleBytes: 1, trickleEveryMs: 5, trickleBodyOnly: true });
  const answer = await get('main', identity);
  assert.equal(answer.body, good_body);
  assert.ok(answer.pieces.length >= 20, `${answer.pieces.length} pieces`);
  assert.ok(answer.took_ms >= 5 * (good_body.length - 1));
});

test('padded_headers_look_like_lines_and_are_one', async () => {
  await fault(identity, { headerPadBytes: 10000 });
  const answer = await get('main', identity);
  const padding = answer.head.split('\r\n').find((line) => line.startsWith('X-Pad'));
  assert.ok(padding.length > 9900 && padding.length <= 10000, `${padding.length}`);
  assert.ok(
    padding
      .split('\n')
      .slice(1, -1)
      .every((line) => line === 'transfer-encoding:'),
  );
  assert.equal(answer.body, good_body);
});

test('a_filled_show_has_its_size_and_is_the_show_beside_its_filler', async () => {
  const show = JSON.parse((await get('main', event)).body);
  await fault(event, { fillToBytes: 100001 });
  const { head, body } = await get('main', event);
  assert.match(head, /Content-Length: 100001\r\n/);
  assert.equal(Buffer.byteLength(body), 100001);
  const { Filler: filler, ...rest } = JSON.parse(body);
  assert.ok(filler.length > 50);
  assert.deepEqual(rest, show);
  assert.deepEqual(JSON.parse((await get('main', event)).body).Filler, filler);
  assert.equal(JSON.parse((await main.report()).eventModel).Filler, undefined);
});

test('a_show_of_40_mebibytes_is_made_while_it_is_asked_for', async () => {
  const size = 40 * 1024 * 1024;
  await fault(event, { fillToBytes: size });
  const { body } = await get('main', event, 8000);
  assert.equal(Buffer.byteLength(body), size);
});

test('a_configuration_can_name_any_number_of_systems', async () => {
  await main.hold_pairing([held_system('main', 'SER-A', 'Main')]);
  await main.set({ configurationSystems: 5000 });
  const { Enabled: enabled, Systems: systems } = await read('main', configuration);
  assert.equal(enabled, true);
  assert.equal(new Set(systems.map(({ Serial: serial }) => serial)).size, 5000);
  await main.set({ configurationSystems: null });
  assert.equal((await read('main', configuration)).Systems.length, 1);
});

test('a_replicated_title_and_error_can_be_control_bytes_as_they_are', async () => {
  await main.set({ replication: { titleControlBytes: 300, errorControlBytes: 200 } });
  const { body } = await get('main', replication);
  assert.ok(body.includes(`"EventTitle":"${'\u0001'.repeat(300)}"`));
  assert.ok(body.includes(`"LastError":"${'\u0001'.repeat(200)}"`));
});

test('the_moments_of_the_last_calls_of_a_path_are_told', async () => {
  const begin = Date.now() * 1000;
  for (let call = 0; call < 3; call += 1) await get('main', identity);
  const { count, timesUs } = (await main.report()).calls[identity];
  assert.deepEqual([count, timesUs.length], [3, 3]);
  assert.ok(timesUs.every((us, at) => us >= (timesUs[at - 1] ?? begin) && us <= Date.now() * 1000));
});

const set_flood = (flood) => main.set({ discovery: { silent: true, flood } });
const take = (count, limit_ms) => datagram('main', 1255, question, count, limit_ms);
const texts = (replies) => replies.map(({ text }) => text);

test('a_flood_answers_one_question_with_distinct_serials_at_its_rate', async () => {
  await set_flood({ perSecond: 500, forMs: 2000, serials: 1000 });
  const heard = texts(await take(500, 4000));
  assert.equal(heard.length, 500);
  assert.equal(heard[0], 'elvantris-server!,5000,Flood,FLOOD-1');
  assert.equal(new Set(heard).size, 500);
});

test('a_flood_of_one_serial_with_control_bytes_comes_from_many_addresses_and_ends', async () => {
  await set_flood({ perSecond: 200, forMs: 500, nameControlBytes: 1400, addresses: 100 });
  const replies = await take(1000, 1500);
  const heard = texts(replies);
  assert.ok(heard.length >= 50 && heard.length <= 100, `${heard.length} replies`);
  const reply = `elvantris-server!,5000,${'\u0001'.repeat(1400)},FLOOD-1`;
  assert.ok(heard.every((one) => one === reply));
  const senders = new Set(replies.map(({ from }) => from.split(':')[0]));
  assert.ok(senders.has('10.77.0.100') && !senders.has(addresses.main));
  assert.ok(senders.size >= 50, `${senders.size} senders`);
});

test('a_flood_that_is_not_wanted_any_more_is_over', async () => {
  await set_flood({ perSecond: 1000, forMs: 60000 });
  await take(10, 3000);
  await set_flood(null);
  await until('silence', async () => texts(await take(1, 100)).length === 0);
});

test('wrong_floods_are_refused', async () => {
  for (const flood of [{}, { perSecond: 5 }, { perSecond: 0, forMs: 5 }, { forMs: 5, rate: 1 }]) {
    assert.equal((await set_flood(flood)).status, 400, JSON.stringify(flood));
  }
});
