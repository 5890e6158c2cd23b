import assert from 'node:assert/strict';
import { after, before, beforeEach, test } from 'node:test';

import { Network, addresses, until } from './network.mjs';

const question = 'elvantris-server?';
const network = new Network('ports');
before(async () => {
  await network.up();
  await network.start('main', 'simulated_server', '--serial', 'SER-A', '--workstation', 'Stage');
  await network.start('backup', 'simulated_server', '--serial', 'SER-B', '--workstation', 'Wing');
});
after(() => network.down());
beforeEach(() => network.switch('main', { reset: true, forget: true }));

const texts = (replies) => replies.map((reply) => reply.text).sort();

test('a_broadcast_question_finds_every_server', async () => {
  const replies = await network.datagram('10.77.0.255', 1255, question, 2);
  assert.deepEqual(texts(replies), [
    'elvantris-server!,5000,Stage,SER-A',
    'elvantris-server!,5000,Wing,SER-B',
  ]);
  assert.ok(replies.some((reply) => reply.from === `${addresses.main}:1255`));
});

// The answer that does come shows that the earlier one was not merely late.
test('a_silent_server_hears_the_question_but_does_not_answer', async () => {
  await network.switch('main', { discovery: { silent: true } });
  const replies = network.datagram('main', 1255, question, 1);
  await until('the question was heard', async () => {
    return (await network.report('main')).discoveryRequests === 1;
  });
  await network.switch('main', { discovery: { silent: false } });
  assert.equal((await network.datagram('main', 1255, question, 1)).length, 1);
  const outcome = await Promise.race([replies, Promise.resolve('none yet')]);
  assert.equal(outcome, 'none yet');
});

test('other_datagrams_on_the_discovery_port_are_passed_over', async () => {
  for (const other of ['', 'elvantris-server', 'elvantris-server?!', 'elvantris-server!,1']) {
    await network.datagram('main', 1255, other);
  }
  await network.datagram('main', 1255, question, 1);
  assert.equal((await network.report('main')).discoveryRequests, 1);
});

test('discovery_replies_are_whatever_text_was_set', async () => {
  const replies = ['elvantris-server!,x', '', 'elvantris-server!,5000,,ABC'];
  await network.switch('main', { discovery: { replies } });
  assert.deepEqual(texts(await network.datagram('main', 1255, question, 3)), [...replies].sort());
});

test('a_flood_sends_the_reply_as_often_as_was_set', async () => {
  await network.switch('main', { discovery: { copies: 50 } });
  assert.equal((await network.datagram('main', 1255, question, 50)).length, 50);
});

test('commands_are_kept_with_their_bytes_sender_and_time', async () => {
  const bytes = Buffer.from([0x41, 0x00, 0xff, 0x0a]);
  const before_sending = Date.now();
  await network.datagram('main', 1256, bytes);
  await network.datagram('main', 1256, '');
  const { commands } = await until('both arrived', async () => {
    const report = await network.report('main');
    return report.commandCount === 2 && report;
  });
  assert.equal(commands[0].bytesBase64, bytes.toString('base64'));
  assert.equal(commands[0].size, 4);
  assert.match(commands[0].from, /^10\.77\.0\.10:\d+$/);
  assert.ok(commands[0].timeMs >= before_sending && commands[0].timeMs <= Date.now());
  assert.equal(Math.floor(commands[0].timeUs / 1000), commands[0].timeMs);
  assert.deepEqual([commands[1].size, commands[1].bytesBase64], [0, '']);
});

for (const taken of ['http-port', 'simulator-port', 'discovery-port', 'control-port']) {
  test(`a_second_server_with_the_same_${taken}_says_so_and_fails`, async () => {
    const own = { 'http-port': 1, 'simulator-port': 2, 'discovery-port': 3, 'control-port': 4 };
    delete own[taken];
    const options = Object.entries(own).flatMap(([name, port]) => [`--${name}`, `${port}`]);
    const { code, output, errors } = await network.launch('main', 'simulated_server', ...options)
      .exited;
    assert.deepEqual([code, output], [1, '']);
    assert.match(errors, /^simulated_server: cannot open (TCP|UDP) port \d+ on 0\.0\.0\.0: .+\n$/);
  });
}

for (const options of [['--serial'], ['--colour', 'red'], ['--http-port', '70000'], ['serial']]) {
  test(`the_command_line_${options.join('_')}_is_refused_with_one_line`, async () => {
    const { code, errors } = await network.launch('spare', 'simulated_server', ...options).exited;
    assert.equal(code, 2);
    assert.match(errors, /^simulated_server: [^\n]+\n$/);
  });
}

for (const signal of ['SIGTERM', 'SIGINT']) {
  test(`${signal}_ends_a_server_at_once_even_with_a_hanging_client`, async () => {
    const server = await network.start('spare', 'simulated_server');
    await network.switch('spare', { faults: { '*': { hang: true } } });
    const hanging = network.get('spare', '/');
    await until('the request hangs', async () => (await network.report('spare')).calls['/']);
    const asked = performance.now();
    server.child.kill(signal);
    const { code, errors } = await server.exited;
    assert.deepEqual([code, errors], [0, '']);
    // A client that hangs would be left alone after ten seconds.
    assert.ok(performance.now() - asked < 8000);
    await hanging;
  });
}

test('a_pulled_cable_loses_packets_in_silence_until_it_is_plugged_again', async () => {
  network.unplug('main');
  const at_most = { connectMs: 200 };
  const lost = await network.get('main', '/', 200, at_most);
  assert.deepEqual([lost.ended, lost.text], ['timeout', '']);
  network.plug('main');
  await until(
    'it answers again',
    async () => (await network.get('main', '/', 200, at_most)).status === 200,
  );
});

test('two_networks_do_not_meet_and_a_second_up_starts_afresh', async () => {
  const other = new Network('ports-other');
  await other.up();
  try {
    await other.start('main', 'simulated_server', '--serial', 'SER-Z');
    assert.equal((await other.report('main')).serial, 'SER-Z');
    assert.equal((await network.report('main')).serial, 'SER-A');
    await other.up();
    assert.equal((await other.get('main', '/')).ended, 'ECONNREFUSED');
  } finally {
    other.down();
    other.down();
  }
});
