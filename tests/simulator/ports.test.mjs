import assert from 'node:assert/strict';
import path from 'node:path';
import { after, before, beforeEach, test } from 'node:test';

import { addresses, simulator } from '../driver/environment.mjs';
import { launch_in, namespaces, Server } from '../driver/network.mjs';
import { until } from '../driver/waiting.mjs';
import { end_of, run_to_its_end } from './programs.mjs';
import { datagram, get } from './raw_calls.mjs';

const question = 'elvantris-server?';
let main;
let backup;
before(async () => {
  main = await Server.start('main', 'SER-A', '--workstation', 'Stage');
  backup = await Server.start('backup', 'SER-B', '--workstation', 'Wing');
});
after(async () => {
  for (const server of [main, backup]) await server.stop();
});
beforeEach(() => main.set({ reset: true, forget: true }));

const texts = (replies) => replies.map((reply) => reply.text).sort();

test('a_broadcast_question_finds_every_server', async () => {
  const replies = await datagram('10.77.0.255', 1255, question, 2);
  assert.deepEqual(texts(replies), [
    'elvantris-server!,5000,Stage,SER-A',
    'elvantris-server!,5000,Wing,SER-B',
  ]);
  assert.ok(replies.some((reply) => reply.from === `${addresses.main}:1255`));
});

// The answer that does come shows that the earlier one was not merely late.
test('a_silent_server_hears_the_question_but_does_not_answer', async () => {
  await main.set({ discovery: { silent: true } });
  const replies = datagram('main', 1255, question, 1);
  await until('the question was heard', async () => {
    return (await main.report()).discoveryRequests === 1;
  });
  await main.set({ discovery: { silent: false } });
  assert.equal((await datagram('main', 1255, question, 1)).length, 1);
  const outcome = await Promise.race([replies, Promise.resolve('none yet')]);
  assert.equal(outcome, 'none yet');
});

test('other_datagrams_on_the_discovery_port_are_passed_over', async () => {
  for (const other of ['', 'elvantris-server', 'elvantris-server?!', 'elvantris-server!,1']) {
    await datagram('main', 1255, other);
  }
  await datagram('main', 1255, question, 1);
  assert.equal((await main.report()).discoveryRequests, 1);
});

test('discovery_replies_are_whatever_text_was_set', async () => {
  const replies = ['elvantris-server!,x', '', 'elvantris-server!,5000,,ABC'];
  await main.set({ discovery: { replies } });
  assert.deepEqual(texts(await datagram('main', 1255, question, 3)), [...replies].sort());
});

test('a_flood_sends_the_reply_as_often_as_was_set', async () => {
  await main.set({ discovery: { copies: 50 } });
  assert.equal((await datagram('main', 1255, question, 50)).length, 50);
});

test('commands_are_kept_with_their_bytes_sender_and_time', async () => {
  const bytes = Buffer.from([0x41, 0x00, 0xff, 0x0a]);
  const before_sending = Date.now();
  await datagram('main', 1256, bytes);
  await datagram('main', 1256, '');
  const { commands } = await until('both arrived', async () => {
    const report = await main.report();
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
    const { code, output, errors } = await run_to_its_end('main', 'simulated_server', ...options);
    assert.deepEqual([code, output], [1, '']);
    assert.match(errors, /^simulated_server: cannot open (TCP|UDP) port \d+ on 0\.0\.0\.0: .+\n$/);
  });
}

for (const options of [['--serial'], ['--colour', 'red'], ['--http-port', '70000'], ['serial']]) {
  test(`the_command_line_${options.join('_')}_is_refused_with_one_line`, async () => {
    const { code, errors } = await run_to_its_end('spare', 'simulated_server', ...options);
    assert.equal(code, 2);
    assert.match(errors, /^simulated_server: [^\n]+\n$/);
  });
}

for (const signal of ['SIGTERM', 'SIGINT']) {
  test(`${signal}_ends_a_server_at_once_even_with_a_hanging_client`, async () => {
    const spare = await Server.start('spare', 'SER-C');
    await spare.set({ faults: { '*': { hang: true } } });
    const hanging = get('spare', '/');
    await until('the request hangs', async () => (await spare.report()).calls['/']);
    const asked = performance.now();
    const end = end_of(spare.child);
    spare.child.signal(signal);
    const { code, errors } = await end;
    assert.deepEqual([code, errors], [0, '']);
    // A client that hangs would be left alone after ten seconds.
    assert.ok(performance.now() - asked < 8000);
    await hanging;
  });
}

test('a_pulled_cable_loses_packets_in_silence_until_it_is_plugged_again', async () => {
  main.unplug();
  const at_most = { connect_ms: 200 };
  const lost = await get('main', '/', 200, at_most);
  assert.deepEqual([lost.ended, lost.text], ['timeout', '']);
  main.plug();
  await until(
    'it answers again',
    async () => (await get('main', '/', 200, at_most)).status === 200,
  );
});

const ask_who_is_there = `
  fetch('http://${addresses.main}:5999/simulator')
    .then((reply) => reply.json())
    .then(({ serial }) => serial, ({ cause }) => cause.code)
    .then((answer) => console.log(answer));
`;
test('two_networks_do_not_meet_and_a_second_up_starts_afresh', async () => {
  const other = `other-${process.pid}`;
  const ask = () =>
    namespaces('run', other, 'workstation', process.execPath, '-e', ask_who_is_there).trim();
  namespaces('up', other);
  try {
    launch_in(other, 'main', path.join(simulator, 'simulated_server'), '--serial', 'SER-Z');
    await until('the other network has its own', () => ask() === 'SER-Z');
    assert.equal((await main.report()).serial, 'SER-A');
    namespaces('up', other);
    assert.equal(ask(), 'ECONNREFUSED');
  } finally {
    namespaces('down', other);
    namespaces('down', other);
  }
});
