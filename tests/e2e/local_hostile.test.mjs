// Local clients that connect and say nothing, and a workstation that runs out of what they take.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { afterEach, beforeEach, test } from 'node:test';

import { simulator, windows } from '../driver/environment.mjs';
import { answers, call, Connection } from '../driver/http.mjs';
import { Server } from '../driver/network.mjs';
import { get_status, post, until_active } from '../driver/operator.mjs';
import { paired_config, quick_policy } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';
import { Workstation } from '../driver/workstation.mjs';

const silent_api_connections = 64;
const page_connections = 256;
// What the program asks the system before everything else ends within this time.
const prompt_ms = 5000;

let workstation;
let silent;
beforeEach(() => {
  workstation = new Workstation();
  silent = [];
});
afterEach(async () => {
  for (const connection of silent) connection.drop();
  if (workstation.program && !workstation.program.ended) await workstation.kill();
  await workstation.remove();
});

async function connect_silently(port, count) {
  const opened = [];
  for (let i = 0; i < count; i += 1) {
    const connection = await Connection.open(port);
    connection.closed.then(() => (connection.over = true));
    opened.push(connection);
  }
  silent.push(...opened);
  return opened;
}

const over = (connections) => connections.filter((connection) => connection.over).length;
const get_page = () => call('127.0.0.1', 5270, 'GET', '/', undefined, prompt_ms);

async function prompt(act) {
  const begun = Date.now();
  const outcome = await act();
  assert.ok(Date.now() - begun < prompt_ms, `${Date.now() - begun} ms`);
  return outcome;
}

test('connections_that_say_nothing_hold_neither_the_status_nor_the_operator', async () => {
  await workstation.start();
  const [first, second] = await connect_silently(5251, 10);
  await prompt(get_status);
  const { ok } = await prompt(() => post('/api/protection/operate', { operation: 'disarm' }));
  assert.equal(ok, true);
  // They were not forgotten either, and the one that speaks first has its answer first.
  await second.write('GET /api/status HTTP/1.1\r\n\r\n');
  assert.match(await second.closed, /^HTTP\/1\.1 200 OK/);
  await first.write('GET /nowhere HTTP/1.1\r\n\r\n');
  assert.match(await first.closed, /^HTTP\/1\.1 404 Not Found/);
});

test('of_too_many_silent_connections_to_the_api_the_oldest_is_closed', async () => {
  await workstation.start();
  const all = await connect_silently(5251, silent_api_connections + 20);
  await prompt(get_status); // which took a place of its own
  await until('21 are closed', () => over(all) >= 21);
  assert.equal(over(all.slice(0, 21)), 21);
  const [oldest] = all.slice(21);
  await oldest.write('GET /nowhere HTTP/1.1\r\n\r\n');
  assert.match(await oldest.closed, /^HTTP\/1\.1 404/);
});

test('hundreds_of_silent_connections_to_the_page_leave_room_for_a_browser', async () => {
  await workstation.start();
  await until('the page answers', () => answers(5270));
  const all = await connect_silently(5270, page_connections + 44);
  const { status, body } = await get_page();
  assert.equal(status, 200);
  assert.match(body, /<\/html>\s*$/);
  await until('45 are closed', () => over(all) >= 45);
  assert.equal(over(all.slice(0, 45)), 45);
  await prompt(get_status);
});

if (!windows) {
  test('silent_and_half_spoken_clients_do_not_hold_the_end', async () => {
    const program = await workstation.start();
    await connect_silently(5251, 20);
    await connect_silently(5270, 20);
    const [half_spoken] = await connect_silently(5251, 1);
    await half_spoken.write('GET /api/sta');
    const ended = await prompt(() => program.signal('SIGTERM'));
    assert.deepEqual(ended, { code: 0, signal: null });
  });

  test('with_128_descriptors_strangers_take_none_from_polls_failover_and_operator', async () => {
    const servers = [await Server.start('main', 'SER-A'), await Server.start('backup', 'SER-B')];
    try {
      workstation.write_config(paired_config());
      workstation.write_state(quick_policy);
      const args = workstation.with_config('--background');
      const program = workstation.launch(args, { under: ['prlimit', '--nofile=128:128'] });
      await workstation.await_api(program);
      await until_active('main');
      await connect_silently(5270, page_connections + 44);
      await connect_silently(5251, silent_api_connections + 20);
      await connect_silently(5270, 20);

      assert.equal((await get_page()).status, 200);
      await prompt(get_status);
      const used = fs.readdirSync(`/proc/${program.process.pid}/fd`).length;
      assert.ok(used < 128 - 24, `${used} descriptors`);
      const before = await servers[0].calls('GetVorHealth');
      await until('health is polled', async () => {
        const { count } = await servers[0].calls('GetVorHealth');
        return count >= before.count + 12;
      });
      const { active, protection } = await get_status();
      assert.equal(active, 'main');
      const lost = protection.alerts.filter(({ message }) => /communication lost/.test(message));
      assert.deepEqual(lost, []);
      await servers[0].set({ engine: 'stopped' });
      await until_active('backup');
    } finally {
      for (const server of servers) await server.stop();
    }
  });

  test('the_program_takes_the_descriptors_that_the_system_grants', async () => {
    const args = workstation.with_config('--background');
    const program = workstation.launch(args, { under: ['prlimit', '--nofile=64:600'] });
    await workstation.await_api(program);
    const limits = fs.readFileSync(`/proc/${program.process.pid}/limits`, 'utf8');
    assert.match(limits, /Max open files\s+600\s+600/);
  });

  const scarce_threads = path.join(simulator, 'libscarce_threads.so');

  for (const count of [0, 1, 2, 3]) {
    test(`a_start_that_can_have_only_${count}_threads_ends_in_order_with_5`, async () => {
      const environment = { LD_PRELOAD: scarce_threads, ELVANTRIS_THREADS: String(count) };
      const args = workstation.with_config('--background');
      const { code, signal } = await workstation.run(args, { environment });
      assert.deepEqual({ code, signal }, { code: 5, signal: null });
      assert.deepEqual(workstation.log_lines(), [
        'Unable to run Redundancy Control: no thread or no memory left.',
      ]);
      assert.deepEqual([await answers(5251), await answers(5270)], [false, false]);
      await workstation.start();
    });
  }

  // While this file exists, the program gets no thread.
  async function start_with_threads_that_can_run_out() {
    const file = path.join(workstation.folder, 'no-threads');
    const environment = { LD_PRELOAD: scarce_threads, ELVANTRIS_NO_THREADS: file };
    await workstation.await_api(
      workstation.launch(workstation.with_config('--background'), { environment }),
    );
    // The API is up before the last thread is; the first pass comes after all of them.
    await until('all is started', () => workstation.log_lines('[status]').length > 0);
    return file;
  }

  test('a_page_without_a_thread_is_closed_and_the_next_one_is_served', async () => {
    const file = await start_with_threads_that_can_run_out();
    assert.equal((await get_page()).status, 200);
    fs.writeFileSync(file, '');
    await assert.rejects(get_page());
    await prompt(get_status);
    fs.rmSync(file);
    assert.equal((await get_page()).status, 200);
  });

  test('a_page_comes_back_on_another_port_as_soon_as_there_is_a_thread_for_it', async () => {
    const file = await start_with_threads_that_can_run_out();
    fs.writeFileSync(file, '');
    await post('/api/configure', { uiPort: 5290 });
    await until('the page is away', async () => !(await answers(5270)));
    fs.rmSync(file);
    await until('the page answers on the new port', () => answers(5290));
    assert.deepEqual(workstation.log_lines('[shell]'), ['[shell] UI port changed to 5290']);
  });
}
