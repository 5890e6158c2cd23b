// The demo that stays: the rehearsal in front of servers in networks of their own, until Ctrl-C.
// Needs root and the Linux build; it makes its own namespaces.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, test } from 'node:test';
import { fileURLToPath } from 'node:url';

import { Child } from '../driver/children.mjs';
import { until } from '../driver/waiting.mjs';

const root = path.join(path.dirname(fileURLToPath(import.meta.url)), '..', '..');
const script = (name) => path.join(root, 'scripts', 'lib', name);

let demo;
let prefix;

before(async () => {
  const env = { ...process.env };
  for (const screen of ['DISPLAY', 'WAYLAND_DISPLAY']) delete env[screen]; // no browser opens
  demo = new Child([script('demo_network.sh'), '--stay'], { env });
  prefix = `demo-${demo.process.pid}`;
  await until('the tour is over and it stays', () => {
    if (demo.ended) throw new Error(demo.text.output + demo.text.errors);
    return demo.text.output.includes('Ctrl-C ends it.');
  });
});
// Its own script takes the network away, whatever the test has found.
after(() => !demo.ended && demo.signal('SIGTERM'));

const namespaces = () =>
  fs.readdirSync('/run/netns').filter((name) => name.startsWith(`${prefix}-`));

const processes = () =>
  namespaces().flatMap((name) =>
    execFileSync('ip', ['netns', 'pids', name], { encoding: 'utf8' }).split('\n').filter(Boolean),
  );

const ask = (address, ...words) => {
  const command = ['run', prefix, 'workstation', 'curl', '-sS', '--fail', address, ...words];
  return JSON.parse(execFileSync(script('namespaces.sh'), command, { encoding: 'utf8' }));
};

const pull_cable = (on) =>
  ask(
    'http://127.0.0.1:5290/act',
    '-d',
    JSON.stringify({ act: 'trouble', serial: 'SIM-A', trouble: 'cable', on }),
  );

const main_alerts = () => {
  const { alerts } = ask('http://127.0.0.1:5251/api/status').protection;
  return alerts.filter(({ active, message }) => active && message.startsWith('Main: '));
};

test('its_rehearsal_pulls_mains_cable_and_plugs_it_again', async () => {
  const { servers } = pull_cable(true);
  assert.equal(
    servers.find(({ serial }) => serial === 'SIM-A').outputs,
    'The show. The server plays on, but nobody can reach it.',
  );
  await until('operation moves to Backup', () => {
    return ask('http://127.0.0.1:5290/state').onAir === 'SIM-B';
  });
  pull_cable(false);
  await until('Main is well again', () => main_alerts().length === 0);
});

test('ctrl_c_ends_it_and_leaves_no_process_no_namespace_and_no_folder', async () => {
  const started = processes();
  // The tour, the program, the rehearsal, two servers and the device.
  assert.equal(started.length, 6);
  const folder = path.dirname(demo.text.output.match(/^ {2}(\/\S+\.log)$/m)[1]);
  assert.ok(fs.existsSync(folder));
  assert.deepEqual(await demo.signal('SIGINT'), { code: 0, signal: null });
  assert.deepEqual(namespaces(), []);
  // What was killed is there until somebody has taken its exit code.
  await until('all have gone', () => !started.some((id) => fs.existsSync(`/proc/${id}`)));
  assert.ok(!fs.existsSync(folder));
  assert.equal(demo.text.errors, '');
});
