// The examples of docs/api.md, taken out of the page and sent to the running program.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, test } from 'node:test';

import { plug_into, until_control, xl } from '../driver/decks.mjs';
import { root, windows } from '../driver/environment.mjs';
import { call } from '../driver/http.mjs';
import { Server } from '../driver/network.mjs';
import { get_status, operate, post, until_status } from '../driver/operator.mjs';
import { paired_config, quick_policy } from '../driver/pair.mjs';
import { Workstation } from '../driver/workstation.mjs';

const page = fs.readFileSync(path.join(root, 'docs/api.md'), 'utf8');
const example = /^```http\n(\S+) (\S+)\n([^]*?)```\n\n```json\n(\d+)\n([^]*?)```$/gm;
const examples = [...page.matchAll(example)].map(([, method, target, body, status, answer]) => ({
  method,
  target,
  body: body.trim(),
  status: Number(status),
  answer: JSON.parse(answer),
}));

let servers;
let workstation;
before(async () => {
  servers = [await Server.start('main', 'SER-A'), await Server.start('backup', 'SER-B')];
  workstation = new Workstation();
  workstation.write_config(paired_config());
  workstation.write_state(quick_policy);
  if (!windows) plug_into(workstation, [xl]);
  await workstation.start();
  if (!windows) await until_control();
  await until_status(
    'both servers are ready',
    ({ systems, policySynchronized }) =>
      policySynchronized && systems.filter(({ uiReady }) => uiReady).length === 2,
  );
});
after(async () => {
  await workstation?.stop();
  await workstation?.remove();
  for (const server of servers ?? []) await server.stop();
});

// Keys in their order and the kinds of their values; of a list its first element.
function shape_of(value) {
  if (Array.isArray(value)) return value.length === 0 ? [] : [shape_of(value[0])];
  if (value === null || typeof value !== 'object') return typeof value;
  return Object.entries(value).map(([key, each]) => [key, shape_of(each)]);
}

test('the_page_has_an_example_of_each_route', () => {
  const routes = fs.readFileSync(path.join(root, 'src/local/api_routes.cpp'), 'utf8');
  const known = [...routes.matchAll(/is\("(\w+)", "(\/api[^"]*)"\)/g)].map(
    ([, method, target]) => `${method} ${target}`,
  );
  const shown = new Set(examples.map(({ method, target }) => `${method} ${target}`));
  assert.ok(known.length >= 9);
  assert.deepEqual([...shown].sort(), known.sort());
});

for (const { method, target, body, status, answer } of examples) {
  if (target === '/api/status') continue;
  test(`${method} ${target} ${body}`, async () => {
    const reply = await call('127.0.0.1', 5251, method, target, body || undefined);
    assert.deepEqual([reply.status, JSON.parse(reply.body)], [status, answer]);
    assert.deepEqual(Object.keys(JSON.parse(reply.body)), Object.keys(answer));
  });
}

test('the_status_has_the_keys_of_its_example', async () => {
  const { answer } = examples.find(({ target }) => target === '/api/status');
  await post('/api/protection', answer.protection.policy);
  await until_status('Main is online', ({ systems }) => systems[0].online);
  assert.equal((await operate('backup')).ok, true);
  // There is no virtual deck under Wine.
  const decks = windows ? 0 : 1;
  const status = await until_status(
    'the deck is there',
    ({ streamDeckCount }) => streamDeckCount === decks,
  );
  const wanted = windows ? { ...answer, streamDecks: [] } : answer;
  assert.deepEqual(shape_of(status), shape_of(wanted));
  assert.deepEqual(status.protection.policy, answer.protection.policy);
  assert.equal((await get_status()).controllerConfigured, true);
});
