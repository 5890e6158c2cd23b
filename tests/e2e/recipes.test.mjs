// The recipes of docs/guide/commands.md, taken out of the page and sent by the program to receivers
// that others have written.
import assert from 'node:assert/strict';
import dgram from 'node:dgram';
import { once } from 'node:events';
import fs from 'node:fs';
import http from 'node:http';
import net from 'node:net';
import path from 'node:path';
import readline from 'node:readline';
import { after, before, test } from 'node:test';

import parse_syslog from 'nsyslog-parser';
import { fromBuffer as parse_osc } from 'osc-min';

import { root } from '../driver/environment.mjs';
import { operate, until_active } from '../driver/operator.mjs';
import { Pair } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';

const place = '127.0.0.1';
const page = fs.readFileSync(path.join(root, 'docs/guide/commands.md'), 'utf8');
const recipes = page
  .split(/^## /m)
  .slice(1)
  .map((section) => ({
    name: section.slice(0, section.indexOf('\n')),
    transport: /^\*\*(TCP|UDP), port \d+\*\*$/m.exec(section)?.[1],
    port: Number(/^\*\*(?:TCP|UDP), port (\d+)\*\*$/m.exec(section)?.[1]),
    payload: /^```\n(.+)\n```$/m.exec(section)?.[1],
  }));

const of_datagrams = (parse) => async (port, take) => {
  const socket = dgram.createSocket('udp4').on('message', (bytes) => take(parse(bytes)));
  await once(socket.bind(port, place), 'listening');
  return () => socket.close();
};

async function of_lines(port, take) {
  const server = net.createServer((socket) => {
    readline.createInterface({ input: socket }).on('line', take);
  });
  await once(server.listen(port, place), 'listening');
  return () => server.close();
}

async function of_requests(port, take) {
  const server = http.createServer((request, response) => {
    const chunks = [];
    request.on('data', (chunk) => chunks.push(chunk));
    request.on('end', () => {
      const { method, url, headers } = request;
      take({ method, url, type: headers['content-type'], body: JSON.parse(Buffer.concat(chunks)) });
      response.end();
    });
  });
  await once(server.listen(port, place), 'listening');
  return () => server.close();
}

function osc_message(bytes) {
  const { address, args } = parse_osc(bytes);
  return { address, values: args.map(({ type, value }) => [type, value]) };
}

function syslog_message(bytes) {
  const { type, facility, level, appName, message } = parse_syslog(String(bytes));
  return { type, facility, level, appName, message: message.trim() };
}

const receivers = {
  'OSC over UDP': {
    listen: of_datagrams(osc_message),
    expected: { address: '/light/show/go', values: [['integer', 1]] },
  },
  'A device that takes lines over TCP': { listen: of_lines, expected: 'TAKE 2' },
  'HTTP POST': {
    listen: of_requests,
    expected: {
      method: 'POST',
      url: '/api/cue',
      type: 'application/json',
      body: { cue: 'takeover' },
    },
  },
  'Syslog over UDP': {
    listen: of_datagrams(syslog_message),
    expected: {
      type: 'RFC5424',
      facility: 'local0',
      level: 'warn',
      appName: 'elvantris',
      message: 'Operation is on Backup',
    },
  },
  'A button of a console program, over TCP': { listen: of_lines, expected: 'LOCATION 1/0/1 PRESS' },
  'A button of a console program, over UDP': {
    listen: of_datagrams(String),
    expected: 'LOCATION 1/0/1 PRESS',
  },
  'An audible alarm': {
    listen: of_datagrams(osc_message),
    expected: { address: '/cue/alarm/start', values: [] },
  },
};

let pair;
before(async () => {
  pair = await Pair.start();
});
after(() => pair?.stop());

test('the_page_has_a_recipe_for_each_receiver_and_no_other', () => {
  assert.deepEqual(
    recipes.map(({ name }) => name),
    Object.keys(receivers),
  );
});

for (const { name, transport, port, payload } of recipes) {
  test(`${name.replaceAll(/[ ,]+/g, '_')}_is_understood_by_a_receiver_of_that_kind`, async () => {
    const { listen, expected } = receivers[name];
    const received = [];
    const stop = await listen(port, (message) => received.push(message));
    try {
      const to = { host: place, port, transport };
      const action = { name, event: 'backup', ...to, payload, enabled: true };
      await pair.settle({ actions: [action] });
      assert.equal((await operate('backup')).ok, true);
      await until('the command arrives', () => received.length > 0);
      assert.deepEqual(received, [expected]);
      await until_active('backup');
    } finally {
      stop();
    }
  });
}
