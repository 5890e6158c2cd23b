// A name that no name server ever answers holds neither the polls, nor a failover, nor the end.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';

import { addresses } from '../driver/environment.mjs';
import { Server, start_silent_resolver } from '../driver/network.mjs';
import { get_status, post, until_active, until_alert, until_status } from '../driver/operator.mjs';
import { paired_config, quick_policy } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';
import { Workstation } from '../driver/workstation.mjs';
import {
  assert_ends_at_once,
  assert_polled_for,
  assert_polls_kept_coming,
  signals_end_the_program,
  spoiled_ms,
  took,
  until_passes,
} from './support/hostile.mjs';

const engine_stopped = 'Main: Engine stopped or exited.';

let resolver;
let main;
let backup;
let workstation;
before(async () => {
  resolver = await start_silent_resolver();
  main = await Server.start('main', 'SER-A');
  backup = await Server.start('backup', 'SER-B');
});
after(async () => {
  await resolver?.stop();
  await main?.stop();
  await backup?.stop();
});
afterEach(async () => {
  if (!workstation.program.ended) await workstation.kill();
  await workstation.remove();
  await main.heal();
  await backup.heal();
});

async function start(config, policy = {}) {
  workstation = new Workstation();
  workstation.write_config(config);
  workstation.write_state({ ...quick_policy, ...policy });
  await workstation.start();
}

// Discovery would find the true address, so Backup doesn't answer it.
async function start_with_a_named_backup() {
  await backup.set({ discovery: { silent: true } });
  const config = paired_config();
  config.systems[1].address = 'backup.nowhere.example';
  const asked = resolver.asked();
  await start(config);
  await until('the name is asked for', () => resolver.asked() > asked);
  await until('Main is polled', async () => (await main.calls('GetVorHealth')).count > 0);
}

test('polls_of_main_stay_punctual_while_backups_name_is_looked_up', async () => {
  await start_with_a_named_backup();
  const begin = Date.now();
  await assert_polled_for(main, 6);
  await assert_polls_kept_coming(main, begin);
  await until_passes(main, 2);
});

test('mains_alert_comes_in_time_while_backups_name_is_looked_up', async () => {
  await start_with_a_named_backup();
  await until_alert('Backup is not ready; automatic protection is degraded.');
  const spent = await took(async () => {
    await main.set({ engine: 'stopped' });
    await until_alert(engine_stopped);
  });
  assert.ok(spent < spoiled_ms, `${spent} ms`);
});

const action = (changes = {}) => ({
  name: 'lights',
  event: 'main',
  host: 'lights.nowhere.example',
  port: 7000,
  transport: 'TCP',
  payload: 'GO',
  delayMs: 0,
  timeoutMs: 500,
  retries: 3,
  enabled: true,
  ...changes,
});

async function start_with_a_named_device(changes) {
  await start(paired_config(), { actions: [action(changes)] });
  await until_status(
    'both are well',
    ({ active, policySynchronized, protection }) =>
      active === 'main' &&
      policySynchronized &&
      protection.systems.length === 2 &&
      protection.systems.every(({ ageMs, engineRunning }) => ageMs >= 0 && engineRunning),
  );
}

async function test_the_action() {
  const asked = resolver.asked();
  assert.equal((await post('/api/protection/test', { index: 0 })).ok, true);
  await until('the name is asked for', () => resolver.asked() > asked);
}

const until_idle = () => until_status('idle', ({ protection }) => !protection.actionsBusy);

for (const transport of ['TCP', 'UDP']) {
  test(`a_${transport}_action_to_such_a_name_ends_after_its_attempts`, async () => {
    await start_with_a_named_device({ transport });
    const spent = await took(async () => {
      await test_the_action();
      await until_idle();
    });
    // Four attempts of half a second.
    assert.ok(spent < 3500, `${spent} ms`);
    const { lastAction } = (await get_status()).protection;
    assert.match(lastAction, /^Test action \/ lights: .*(resolved|timed out)/);
  });
}

test('a_failover_behind_such_an_action_comes_when_its_attempts_are_over', async () => {
  await start_with_a_named_device();
  const spent = await took(async () => {
    await test_the_action();
    await main.set({ engine: 'stopped' });
    await until_active('backup');
  });
  assert.ok(spent < 4000, `${spent} ms`);
});

test('an_action_that_found_no_name_leaves_the_next_one_its_own_time', async () => {
  await start_with_a_named_device();
  await test_the_action();
  await until_idle();
  const good = action({ host: addresses.device, transport: 'UDP' });
  assert.equal((await post('/api/protection', { ...quick_policy, actions: [good] })).ok, true);
  const spent = await took(async () => {
    assert.equal((await post('/api/protection/test', { index: 0 })).ok, true);
    await until_status('it is sent', ({ protection }) =>
      protection.lastAction.startsWith('Test action: sequence sent'),
    );
  });
  assert.ok(spent < spoiled_ms, `${spent} ms`);
});

if (signals_end_the_program) {
  test('a_stop_while_backups_name_is_looked_up_ends_the_program_at_once', async () => {
    await start_with_a_named_backup();
    await assert_ends_at_once(workstation);
  });

  test('a_stop_during_an_action_to_such_a_name_ends_the_program_at_once', async () => {
    await start_with_a_named_device({ timeoutMs: 1000 });
    await test_the_action();
    await assert_ends_at_once(workstation);
  });
}
