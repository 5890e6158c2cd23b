// The exporter beside the running program: what a monitoring system reads of a pair, and how it
// begins and ends.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { after, before, beforeEach, test } from 'node:test';

import { windows } from '../driver/environment.mjs';
import { Connection, call, exchange, occupy } from '../driver/http.mjs';
import { operate, until_active, until_alert } from '../driver/operator.mjs';
import { Pair } from '../driver/pair.mjs';
import { promtool } from '../driver/promtool.mjs';
import { ask_tool, run_tool, start_tool } from '../driver/tool.mjs';
import { patience_ms, until } from '../driver/waiting.mjs';

const port = 5280;
const begun = `The metrics are at http://127.0.0.1:${port}/metrics. Ctrl-C ends this.`;

let pair;
let exporter;
before(async () => {
  pair = await Pair.start();
  exporter = start_tool(pair.workstation, 'metrics');
  await until('the exporter runs', () => exporter.text.errors.includes(begun));
});
after(async () => {
  if (exporter && !exporter.ended) await exporter.signal('SIGKILL');
  await pair?.stop();
});
beforeEach(() => pair.settle());

const scrape = () => call('127.0.0.1', port, 'GET', '/metrics');

const sample_line =
  /^[a-z_]+(?:\{[a-z]+="(?:[^"\\\n]|\\["\\n])*"(?:,[a-z]+="(?:[^"\\\n]|\\["\\n])*")*\})? -?[\d.]+(?:e[+-]?\d+)?$/;

// Every sample by its name and labels, of a text in which nothing is against the format.
function samples_of(text) {
  assert.ok(text.endsWith('\n'), text);
  const samples = {};
  let family;
  const described = new Set();
  for (const line of text.trimEnd().split('\n')) {
    const [, kind, name] = line.match(/^# (HELP|TYPE) ([a-z_]+) \S/) ?? [];
    if (kind === 'HELP') {
      assert.ok(!described.has(name), `twice: ${name}`);
      described.add(name);
      family = { name };
    } else if (kind === 'TYPE') {
      assert.equal(name, family.name);
      family.type = line.split(' ').at(-1);
      assert.equal(family.type === 'counter', name.endsWith('_total'), line);
    } else {
      assert.match(line, sample_line);
      const [id, value] = [line.slice(0, line.lastIndexOf(' ')), line.split(' ').at(-1)];
      assert.equal(id.split('{')[0], family.name);
      assert.ok(family.type && !(id in samples), line);
      samples[id] = Number(value);
    }
  }
  return samples;
}

async function figures() {
  const { status, headers, body } = await scrape();
  assert.deepEqual(
    [status, headers['content-type']],
    [200, 'text/plain; version=0.0.4; charset=utf-8'],
  );
  return samples_of(body);
}

const until_figures = (what, satisfied) =>
  until(what, async () => {
    const found = await figures();
    return satisfied(found) && found;
  });

const of = (side, serial) => `{side="${side}",serial="${serial}"}`;

test('a_healthy_pair_is_figures_of_the_format', async () => {
  const found = await figures();
  const expected = {
    elvantris_up: 1,
    elvantris_pair_enabled: 1,
    elvantris_failover_armed: 1,
    elvantris_held_on_backup: 0,
    elvantris_pairing_synchronized: 1,
    'elvantris_active_side{side="main"}': 1,
    'elvantris_active_side{side="backup"}': 0,
    'elvantris_active_alerts{severity="critical"}': 0,
    [`elvantris_server_engine_running${of('main', 'SER-A')}`]: 1,
    [`elvantris_server_engine_running${of('backup', 'SER-B')}`]: 1,
  };
  for (const [id, value] of Object.entries(expected)) assert.equal(found[id], value, id);
  const age = found[`elvantris_server_answer_age_seconds${of('main', 'SER-A')}`];
  assert.ok(age >= 0 && age < patience_ms / 1000, `${age}`);
});

test('promtool_is_content_with_the_figures', async () => {
  const { body } = await scrape();
  execFileSync(promtool, ['check', 'metrics'], { input: body, stdio: 'pipe' });
});

test('a_failover_shows_and_is_counted', async () => {
  const { elvantris_transfers_total: earlier } = await figures();
  await pair.main.set({ engine: 'stopped' });
  await until_active('backup');
  const moved = await until_figures(
    'Main is faulty',
    (now) => now['elvantris_active_alerts{severity="critical"}'] >= 1,
  );
  assert.equal(moved['elvantris_active_side{side="backup"}'], 1);
  assert.equal(moved.elvantris_held_on_backup, 1);
  assert.equal(moved[`elvantris_server_engine_running${of('main', 'SER-A')}`], 0);
  assert.equal(moved.elvantris_transfers_total, earlier + 1);
  const ago = Date.now() / 1000 - moved.elvantris_last_transfer_timestamp_seconds;
  assert.ok(ago > -1 && ago < 2 * (patience_ms / 1000), `${ago}`);
});

test('a_disarmed_program_and_a_silent_server_show', async () => {
  assert.equal((await operate('disarm')).ok, true);
  await pair.backup.set({ httpPort: 'closed' });
  await until_alert('Backup: Server communication lost.');
  const age = `elvantris_server_answer_age_seconds${of('backup', 'SER-B')}`;
  const found = await until_figures('its age grows', (now) => now[age] > 1.4);
  assert.equal(found.elvantris_failover_armed, 0);
});

test('only_a_get_of_the_metrics_is_answered_with_them', async () => {
  assert.equal((await call('127.0.0.1', port, 'GET', '/')).status, 404);
  assert.equal((await call('127.0.0.1', port, 'POST', '/api/status', 'x')).status, 404);
  const { status, headers } = await call('127.0.0.1', port, 'POST', '/metrics');
  assert.deepEqual([status, headers.allow], [405, 'GET']);
  assert.match(await exchange(port, 'nonsense\r\n\r\n'), /^HTTP\/1\.1 400 /);
});

test('silent_and_endless_clients_keep_nobody_waiting', async () => {
  const clients = [];
  for (let i = 0; i < 30; i += 1) clients.push(await Connection.open(port));
  await clients.at(-1).write('GET /metrics HTTP/1.1\r\nX: ');
  assert.equal((await figures()).elvantris_up, 1);
  for (const client of clients) client.drop();
});

test('a_taken_port_and_a_wrong_one_are_refused_in_a_sentence', async () => {
  const second = await ask_tool(pair.workstation, 'metrics');
  const sentence = `Port ${port} of this computer can't be had; another program may use it.`;
  assert.deepEqual(
    [second.code, second.output, second.errors],
    [2, '', `${sentence} Give another with --port.\n`],
  );
  const held = await occupy(5281);
  assert.equal((await ask_tool(pair.workstation, 'metrics', '--port', '5281')).code, 2);
  await held.release();
  for (const wrong of ['0', '65536', 'x'])
    assert.equal((await run_tool(pair.workstation, 'metrics', '--port', wrong)).code, 2);
  const help = await run_tool(pair.workstation, 'metrics', '--help');
  assert.equal(help.code, 0);
  assert.match(help.output, /elvantris_up is 0/);
});

test('without_the_program_only_that_is_told_and_it_shows_again_afterwards', async () => {
  await pair.workstation.stop();
  assert.deepEqual(await until_figures('it is gone', (now) => !now.elvantris_up), {
    elvantris_up: 0,
  });
  const silent = await occupy(5251);
  assert.deepEqual(await figures(), { elvantris_up: 0 });
  await silent.release();
  await pair.workstation.start();
  await until_figures('it is back', (now) => now.elvantris_up === 1);
});

// Wine hands no signal on to a program.
for (const signal of windows ? [] : ['SIGTERM', 'SIGINT', 'SIGHUP']) {
  test(`it_ends_in_order_on_${signal}`, async () => {
    const other = start_tool(pair.workstation, 'metrics', '--port', '5282', '--json');
    await until('it runs', () => other.text.errors.includes('5282'));
    await call('127.0.0.1', 5282, 'GET', '/metrics');
    const waiting = await Connection.open(5282);
    await waiting.write('GET /met');
    assert.deepEqual(await other.signal(signal), { code: 0, signal: null });
    await until('its answer is here', () => other.text.output.endsWith('}\n'));
    assert.deepEqual(JSON.parse(other.text.output), { port: 5282, scrapes: 1 });
    await (await occupy(5282)).release();
  });
}
