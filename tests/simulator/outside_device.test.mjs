import assert from 'node:assert/strict';
import { after, before, beforeEach, test } from 'node:test';

import { addresses } from '../driver/environment.mjs';
import { call_json } from '../driver/http.mjs';
import { Device } from '../driver/network.mjs';
import { until } from '../driver/waiting.mjs';
import { end_of, run_to_its_end } from './programs.mjs';
import { datagram, exchange, send } from './raw_calls.mjs';

let device;
before(async () => {
  device = await Device.start();
});
after(() => device.stop());
const control = (...details) => call_json(addresses.device, 7999, ...details);
beforeEach(async () => {
  await control('POST', '/mode', { mode: 'accept' });
  await control('DELETE', '/received');
});

const received = (count) =>
  until(`${count} messages`, async () => {
    const report = await control('GET', '/received');
    return report.received.filter((each) => each.ended).length === count && report.received;
  });

test('a_connection_is_one_message_with_the_time_of_its_first_bytes', async () => {
  const before_sending = Date.now();
  await send('device', 7000, Buffer.from([0x41, 0x00, 0xff]));
  const [message] = await received(1);
  assert.deepEqual(
    [message.transport, message.bytesBase64, message.size],
    ['tcp', Buffer.from([0x41, 0x00, 0xff]).toString('base64'), 3],
  );
  assert.match(message.from, /^10\.77\.0\.10:\d+$/);
  assert.ok(message.timeMs >= before_sending && message.timeMs <= Date.now());
  assert.equal(Math.floor(message.timeUs / 1000), message.timeMs);
});

test('a_datagram_is_one_message', async () => {
  await datagram('device', 7000, 'GO 12');
  const [message] = await received(1);
  assert.deepEqual([message.transport, message.text], ['udp', 'GO 12']);
});

test('a_message_longer_than_one_read_is_kept_whole', async () => {
  const long = 'x'.repeat(200_000);
  await send('device', 7000, long);
  const [message] = await received(1);
  assert.equal(message.size, long.length);
});

test('clearing_forgets_the_messages', async () => {
  await datagram('device', 7000, 'one');
  await received(1);
  assert.deepEqual((await control('DELETE', '/received')).received, []);
});

test('a_refusing_device_has_no_listener_and_opens_again', async () => {
  assert.equal((await control('POST', '/mode', { mode: 'refuse' })).mode, 'refuse');
  assert.equal((await exchange('device', 7000, 'x')).ended, 'ECONNREFUSED');
  await control('POST', '/mode', { mode: 'accept' });
  await send('device', 7000, 'y');
  assert.equal((await received(1))[0].text, 'y');
});

test('a_device_that_never_reads_takes_the_connection_and_keeps_nothing', async () => {
  await control('POST', '/mode', { mode: 'neverRead' });
  assert.equal((await exchange('device', 7000, 'x', 100)).ended, 'timeout');
  await control('POST', '/mode', { mode: 'accept' });
  await send('device', 7000, 'y');
  assert.deepEqual(
    (await received(1)).map((each) => each.text),
    ['y'],
  );
});

test('an_unknown_mode_is_refused', async () => {
  for (const body of [{ mode: 'sleep' }, {}, []]) {
    assert.equal((await control('POST', '/mode', body)).status, 400);
  }
});

test('a_taken_port_is_one_clear_line_and_a_stop_is_clean', async () => {
  const second = await run_to_its_end('device', 'outside_device', '--control-port', '1');
  assert.equal(second.code, 1);
  assert.match(second.errors, /^outside_device: cannot open (TCP|UDP) port 7000 on [^\n]+\n$/);
  const other = await Device.start('spare');
  const end = end_of(other.child);
  await other.stop();
  assert.deepEqual(await end, { code: 0, signal: null, output: 'ready\n', errors: '' });
});
