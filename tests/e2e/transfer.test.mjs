// The main job: Main fails, operation moves to Backup and stays until the operator returns.
import assert from 'node:assert/strict';
import dgram from 'node:dgram';
import { once } from 'node:events';
import net from 'node:net';
import { after, before, beforeEach, test } from 'node:test';

import { Device } from '../driver/network.mjs';
import {
  active_alerts,
  get_status,
  health_of,
  operate,
  post,
  system_of,
  until_active,
  until_alert,
  until_recovered,
  until_status,
} from '../driver/operator.mjs';
import { command, mark, Pair, quick_policy } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';

const not_ready = 'Requested server is not ready for takeover. Check engine and protected outputs.';
const held = '; operating on Backup. Return to Main manually when ready.';

let pair;
let device;
before(async () => {
  device = await Device.start();
  pair = await Pair.start();
});
after(async () => {
  await pair?.stop();
  await device?.stop();
});
beforeEach(() => pair.settle());

const main_faults = [
  ['a_stopped_engine', { engine: 'stopped' }, 'Engine stopped or exited.'],
  ['an_engine_that_does_not_respond', { engine: 'unresponsive' }, 'Engine is not responding.'],
  ['frozen_frames', { frames: 'frozen' }, 'Engine channel frame progress stalled.'],
  ['no_channels_at_all', { channelCount: 0 }, 'Engine channel frame progress stalled.'],
  ['a_closed_port', { httpPort: 'closed' }, 'Server communication lost.'],
  ['a_foreign_serial', { reportedSerial: 'OTHER' }, 'Server communication lost.'],
  ['a_foreign_format', { healthVersion: 2 }, 'Server communication lost.'],
];
for (const [name, fault, reason] of main_faults) {
  test(`${name}_of_main_moves_operation_to_backup_and_holds_it_there`, async () => {
    const raised = await mark();
    await pair.main.set(fault);
    const status = await until_active('backup');
    assert.equal(status.activeSerial, 'SER-B');
    assert.equal(status.protection.heldOnBackup, true);
    const alerts = raised(status).map(({ message, severity }) => [message, severity]);
    assert.deepEqual(alerts, [
      [`Main: ${reason}`, 'critical'],
      [reason + held, 'notice'],
    ]);
    assert.equal(pair.workstation.saved_state().heldOnBackup, true);
  });
}

const outputs = (left, right) => [
  { id: 'out-1', name: 'Left', ...left },
  { id: 'out-2', name: 'Right', ...right },
];
const up = { available: true, known: true };
const down = { available: false, known: true };
const unknown = { available: true, known: false };
const output_lost = 'Protected output unavailable: out-1';
const rule = { outputRules: [{ mainId: 'out-1', backupId: 'out-2', mode: 2 }] };
const clock = { clock: { engaged: true, healthy: false } };

const chosen_faults = [
  ['a_protected_output', rule, { outputs: outputs(down, up) }, output_lost],
  ['an_unknown_output', rule, { outputs: outputs(unknown, up) }, output_lost],
  ['a_missing_output', rule, { outputs: [] }, output_lost],
  ['the_clock', { clock: 2 }, clock, 'Engaged external clock is unavailable or unlocked.'],
];
for (const [name, policy, fault, reason] of chosen_faults) {
  test(`${name}_moves_operation_where_the_policy_says_so`, async () => {
    await pair.settle(policy);
    const raised = await mark();
    await pair.main.set(fault);
    assert.deepEqual(
      raised(await until_active('backup')).map(({ message }) => message),
      [`Main: ${reason}`, reason + held],
    );
  });
}

const alerts_only = [
  ['engine', { engine: 'stopped' }, 'Engine stopped or exited.'],
  ['responsive', { engine: 'unresponsive' }, 'Engine is not responding.'],
  ['frames', { frames: 'frozen' }, 'Engine channel frame progress stalled.'],
  ['clock', clock, 'Engaged external clock is unavailable or unlocked.'],
];
for (const [mode, fault, reason] of alerts_only) {
  test(`${mode}_is_a_warning_alone_at_mode_1_and_nothing_at_mode_0`, async () => {
    await pair.settle({ [mode]: 1 });
    const raised = await mark();
    await pair.main.set(fault);
    const status = await until_alert(`Main: ${reason}`);
    assert.deepEqual(
      raised(status).map(({ message, severity }) => [message, severity]),
      [[`Main: ${reason}`, 'warning']],
    );
    assert.equal(status.active, 'main');
    await post('/api/protection', { ...status.protection.policy, [mode]: 0 });
    await until_recovered(`Main: ${reason}`);
  });
}

const unready_backups = [
  ['a_protected_output_down', rule, { outputs: outputs(up, down) }],
  ['an_unlocked_clock', { clock: 2 }, clock],
  ['no_telemetry', {}, { telemetry: false }],
  ['media_still_to_come', { sync: 2 }, { replication: { pendingMedia: 1 } }],
];
for (const [name, policy, fault] of unready_backups) {
  test(`a_backup_with_${name}_is_not_ready`, async () => {
    await pair.settle(policy);
    await pair.backup.set(fault);
    await until_alert('Backup is not ready; automatic protection is degraded.');
    assert.deepEqual(await operate('backup'), { status: 400, ok: false, error: not_ready });
    assert.equal((await get_status()).active, 'main');
  });
}

test('a_backup_out_of_step_is_warned_of_and_is_ready_all_the_same', async () => {
  await pair.backup.set({ replication: { behind: 1 } });
  const status = await until_alert('Backup show state or media is not synchronized.');
  const alert = status.protection.alerts.findLast(({ message }) => /show state/.test(message));
  assert.equal(alert.severity, 'warning');
  assert.equal((await operate('backup')).ok, true);
  await until_active('backup');
});

test('mains_recovery_changes_nothing_until_the_operator_returns', async () => {
  await pair.main.set({ engine: 'stopped' });
  await until_active('backup');
  assert.deepEqual(await operate('main'), { status: 400, ok: false, error: not_ready });
  const raised = await mark();
  await pair.main.set({ engine: 'running' });
  // Main is well again when the operator may return; a few cycles later nothing has moved.
  await until_recovered('Main: Engine stopped or exited.');
  for (let poll = 0; poll < 40; ++poll) {
    const { active, protection } = await get_status();
    assert.deepEqual([active, protection.heldOnBackup], ['backup', true]);
  }
  assert.deepEqual(raised(await get_status()), []);
  assert.deepEqual(await operate('main'), { status: 200, ok: true, error: '' });
  const status = await until_active('main');
  assert.equal(status.protection.heldOnBackup, false);
  assert.deepEqual(
    raised(status).map(({ message }) => message),
    ['Operator requested transfer; operating on Main.'],
  );
  assert.equal(pair.workstation.saved_state().heldOnBackup, false);
});

test('outbound_commands_arrive_in_order_over_tcp_and_udp', async () => {
  await device.forget();
  const actions = [
    command('first', { payload: 'one\\r\\n' }),
    command('second', { transport: 'UDP', payload: '\\x02two\\x00', delayMs: 100 }),
    command('disabled', { enabled: false }),
    command('return', { event: 'main', payload: 'back' }),
    command('third', { payload: 'three\\t\\\\' }),
  ];
  await pair.settle({ actions });
  await pair.main.set({ engine: 'stopped' });
  await until_status(
    'the sequence has been sent',
    ({ protection }) =>
      !protection.actionsBusy &&
      protection.lastAction === 'Transfer to Backup: sequence sent; device execution unconfirmed.',
  );
  const messages = async () =>
    (await device.received()).map(({ transport, bytesBase64 }) => [
      transport.toUpperCase(),
      Buffer.from(bytesBase64, 'base64').toString('latin1'),
    ]);
  const expected = [
    ['TCP', 'one\r\n'],
    ['UDP', '\x02two\x00'],
    ['TCP', 'three\t\\'],
  ];
  await until('three messages', async () => (await messages()).length === 3);
  assert.deepEqual(await messages(), expected);

  await pair.main.set({ engine: 'running' });
  await until('the operator may return', async () => (await operate('main')).ok);
  await until('the return is told', async () => (await messages()).length === 4);
  assert.deepEqual((await messages())[3], ['TCP', 'back']);
});

test('outbound_commands_reach_an_ipv6_address_over_tcp_and_udp', async () => {
  const received = [];
  const take = (transport) => (bytes) => received.push(`${transport} ${bytes}`);
  const listener = net.createServer((socket) => socket.on('data', take('TCP')));
  const receiver = dgram.createSocket('udp6').on('message', take('UDP'));
  const there = { host: '::1', port: 7001 };
  try {
    await once(listener.listen(there.port, there.host), 'listening');
    await once(receiver.bind(there.port, there.host), 'listening');
    const actions = [command('stream', there), command('datagram', { ...there, transport: 'UDP' })];
    await pair.settle({ actions });
    assert.equal((await operate('backup')).ok, true);
    await until('both commands', () => received.length >= 2);
    assert.deepEqual(received.sort(), ['TCP stream', 'UDP datagram']);
  } finally {
    listener.close();
    receiver.close();
  }
});

test('a_failing_step_ends_the_sequence_and_stands_as_an_alert_until_it_succeeds', async () => {
  await device.forget();
  const nobody = command('broken', { port: 7998, retries: 1 });
  await pair.settle({ actions: [command('sent'), nobody, command('never')] });
  const failure =
    'Transfer to Backup / broken: ' +
    'Connect/send failed or timed out; device execution is unconfirmed.';
  assert.equal((await operate('backup')).ok, true);
  const status = await until_alert(failure);
  assert.equal(status.active, 'backup');
  const idle = await until_status('idle', ({ protection }) => !protection.actionsBusy);
  assert.equal(idle.protection.lastAction, failure);
  await until('the first step', async () => (await device.received()).length === 1);
  const log = pair.workstation.alert_log_lines();
  const actions = log.filter(({ event }) => event === 'action').map(({ message }) => message);
  assert.deepEqual(actions.slice(-2), [
    'Transfer to Backup / sent: sent; device execution unconfirmed.',
    failure,
  ]);

  await post('/api/protection', {
    ...status.protection.policy,
    actions: [command('sent'), command('broken'), command('never')],
  });
  assert.deepEqual(await post('/api/protection/test', { index: 1 }), {
    status: 200,
    ok: true,
    error: '',
  });
  await until_recovered(failure);
  await until('the second step', async () => (await device.received()).length === 2);
  const texts = (await device.received()).map(({ text }) => text);
  assert.deepEqual(texts, ['sent', 'broken']);
});

test('a_destination_that_has_no_address_is_told', async () => {
  await pair.settle({ actions: [command('lost', { host: 'nowhere.invalid' })] });
  assert.equal((await post('/api/protection/test', { index: 0 })).ok, true);
  await until_alert('Test action / lost: Destination could not be resolved.');
});

const losses = [
  ['a_hanging_server', () => pair.main.set({ faults: { '*': { hang: true } } })],
  ['a_pulled_cable', () => pair.main.unplug()],
];
for (const [name, lose] of losses) {
  test(`${name}_is_lost_when_its_last_answer_is_as_old_as_loss_ms_and_not_before`, async () => {
    await lose();
    const status = await until_active('backup');
    const { ageMs } = health_of(status, 'SER-A');
    assert.ok(ageMs >= quick_policy.lossMs, `${ageMs} ms`);
    const later = await until_status('offline', (now) => !system_of(now, 'SER-A').online);
    assert.deepEqual(
      active_alerts(later).filter((message) => message.startsWith('Main: ')),
      ['Main: Server communication lost.'],
    );
  });
}

test('a_fault_of_backup_alone_is_an_alert_and_no_transfer', async () => {
  await pair.backup.set({ engine: 'stopped' });
  const status = await until_alert('Backup is not ready; automatic protection is degraded.');
  assert.ok(active_alerts(status).includes('Backup: Engine stopped or exited.'));
  assert.equal(status.active, 'main');
  assert.deepEqual(await operate('backup'), { status: 400, ok: false, error: not_ready });
});

test('failover_is_blocked_while_backup_is_not_ready_and_follows_when_it_is', async () => {
  const blocked = 'Main fault detected; failover blocked because Backup is not ready.';
  await pair.backup.set({ engine: 'starting' });
  await until_alert('Backup is not ready; automatic protection is degraded.');
  await pair.main.set({ engine: 'stopped' });
  const status = await until_alert(blocked);
  assert.deepEqual([status.active, status.protection.heldOnBackup], ['main', false]);
  await pair.backup.set({ engine: 'running' });
  const moved = await until_active('backup');
  assert.ok(!active_alerts(moved).includes(blocked));
});

test('failover_waits_for_a_running_sequence', async () => {
  const blocked = 'Main fault detected; waiting for the current outbound sequence.';
  await device.forget();
  await pair.settle({ actions: [command('slow', { delayMs: 5000 })] });
  assert.equal((await post('/api/protection/test', { index: 0 })).ok, true);
  assert.deepEqual(await post('/api/protection/test', { index: 0 }), {
    status: 400,
    ok: false,
    error: 'An outbound sequence is already running.',
  });
  assert.deepEqual(await operate('backup'), {
    status: 400,
    ok: false,
    error: 'Wait for the outbound sequence to finish before transferring again.',
  });
  await pair.main.set({ engine: 'stopped' });
  assert.equal((await until_alert(blocked)).active, 'main');
  assert.equal((await until_active('backup')).protection.heldOnBackup, true);
  await until('both sequences', async () => (await device.received()).length === 2);
});

test('disarmed_a_fault_is_alerted_and_nothing_moves_until_it_is_armed_again', async () => {
  assert.equal((await operate('disarm')).ok, true);
  assert.equal(pair.workstation.saved_state().armed, false);
  await pair.main.set({ engine: 'stopped' });
  const status = await until_alert('Main: Engine stopped or exited.');
  assert.equal(status.active, 'main');
  assert.equal(status.protection.armed, false);
  assert.equal((await operate('arm')).ok, true);
  await until_active('backup');
});

test('disarming_clears_a_blocked_failover', async () => {
  const blocked = 'Main fault detected; failover blocked because Backup is not ready.';
  await pair.backup.set({ engine: 'stopped' });
  await pair.main.set({ engine: 'stopped' });
  await until_alert(blocked);
  await operate('disarm');
  assert.equal((await until_recovered(blocked)).active, 'main');
});

test('disarmed_the_operator_still_transfers_both_ways', async () => {
  await pair.settle({ armed: false });
  const raised = await mark();
  assert.equal((await operate('backup')).ok, true);
  await until_active('backup');
  assert.equal((await operate('backup')).ok, true);
  assert.equal((await operate('main')).ok, true);
  assert.equal((await operate('main')).ok, true);
  assert.deepEqual(
    raised(await until_active('main')).map(({ message }) => message),
    [`Operator requested transfer${held}`, 'Operator requested transfer; operating on Main.'],
  );
});

test('a_disabled_pair_is_not_transferred', async () => {
  const disabled = { enabled: false, mainSerial: 'SER-A', backupSerial: 'SER-B' };
  await post('/api/configure', { ...disabled, sharedFunctionIds: [3, 7] });
  assert.deepEqual(await operate('backup'), { status: 400, ok: false, error: not_ready });
  await pair.main.set({ engine: 'stopped' });
  assert.equal((await until_alert('Main: Engine stopped or exited.')).active, 'main');
  await post('/api/configure', { ...disabled, enabled: true, sharedFunctionIds: [3, 7] });
  await until_active('backup');
});

test('an_unknown_operation_is_refused', async () => {
  assert.deepEqual(await operate('reboot'), {
    status: 400,
    ok: false,
    error: 'Unknown protection operation.',
  });
});

test('acknowledging_marks_every_alert_and_a_recurring_fault_is_new', async () => {
  const fault = 'Backup: Engine stopped or exited.';
  await pair.backup.set({ engine: 'stopped' });
  await until_alert(fault);
  assert.equal((await operate('acknowledge')).ok, true);
  const { alerts } = (await get_status()).protection;
  assert.ok(alerts.every(({ acknowledged }) => acknowledged));
  await pair.backup.set({ engine: 'running' });
  await until_recovered(fault);
  await pair.backup.set({ engine: 'stopped' });
  const again = (await until_alert(fault)).protection.alerts.filter(
    ({ message, active }) => active && message === fault,
  );
  assert.deepEqual([again.length, again[0].acknowledged], [1, false]);
});

test('the_alert_log_tells_fault_and_recovery_with_the_key', async () => {
  await pair.backup.set({ engine: 'stopped' });
  await until_alert('Backup: Engine stopped or exited.');
  await pair.backup.set({ engine: 'running' });
  await until_recovered('Backup: Engine stopped or exited.');
  const lines = pair.workstation
    .alert_log_lines()
    .filter(({ key }) => key === 'SER-B:engine')
    .slice(-2);
  assert.deepEqual(lines.map(Object.keys), [
    ['time', 'event', 'key', 'message'],
    ['time', 'event', 'key'],
  ]);
  assert.deepEqual(
    lines.map(({ event }) => event),
    ['fault', 'recovered'],
  );
});
