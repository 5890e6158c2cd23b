// The rehearsal's cards, each played to its end on both pages, and the switches that no card uses.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';

import { start_browser } from '../driver/browser.mjs';
import { decks, lit_keys, plug_into, xl } from '../driver/decks.mjs';
import { windows } from '../driver/environment.mjs';
import { get_status, post, until_active, until_status } from '../driver/operator.mjs';
import {
  card_of,
  launch_rehearsal,
  rehearsal_page,
  rehearsal_serials as serials,
  rehearsal_state as state,
  until_begun,
  until_rehearsal_runs,
} from '../driver/rehearsal.mjs';
import { patience_ms, until } from '../driver/waiting.mjs';
import { Workstation } from '../driver/workstation.mjs';
import { page_address, watch_complaints } from './support/page_view.mjs';

const command = String.raw`TAKE B\\C\x00\xFF\r\n`;
const to_device = { host: '127.0.0.1', port: 7000, timeoutMs: 500, enabled: true };
const backup_command = { name: 'Switcher', event: 'backup', transport: 'TCP', payload: command };

let workstation;
let rehearsal;
let browser;
let page;
let complaints;

before(async () => {
  workstation = new Workstation();
  if (!windows) plug_into(workstation, [xl]);
  rehearsal = launch_rehearsal(workstation, '--background');
  await until_rehearsal_runs(rehearsal);
  await workstation.start();
  await until_status('both are found', ({ systems }) => systems.length === 2);
  const { protection } = await get_status();
  const paired = await post('/api/configure', {
    enabled: true,
    mainSerial: serials.main,
    backupSerial: serials.backup,
    sharedFunctionIds: [3],
  });
  assert.equal(paired.ok, true);
  await post('/api/protection', {
    ...protection.policy,
    startupMs: 1000,
    actions: [{ ...to_device, ...backup_command }],
  });
  browser = await start_browser();
  // As wide as a window of 1366 with its scroll bar.
  page = await browser.newPage({ viewport: { width: 1351, height: 900 } });
  page.setDefaultTimeout(patience_ms);
  complaints = watch_complaints(page);
  await page.goto(rehearsal_page);
});
afterEach(() => assert.deepEqual(complaints, []));
after(async () => {
  await browser?.close();
  if (workstation?.program && !workstation.program.ended) await workstation.stop();
  if (rehearsal && !rehearsal.ended) await rehearsal.signal('SIGKILL');
  await workstation?.remove();
});

// Each test begins, and ends, with operation on Main and both servers well.

// The picture of one key; both servers draw it in a colour of their own.
const key_image = async () => (await decks.image(xl.path, 9)).toString('base64');

test('main_dies_in_the_middle_of_a_cue_and_the_operator_returns_to_main', async () => {
  const switches = page.locator(`#${serials.backup} .troubles`);
  const place = await switches.boundingBox();
  let on_main;
  if (!windows) {
    await until('Main draws every key', async () => (await lit_keys(xl.path)).length === 32);
    on_main = await key_image();
  }
  await until_begun('Main dies');
  await page.getByText('On its outputs: Black. The engine plays nothing.').waitFor();
  await page.locator(`#${serials.backup} .air`, { hasText: 'ON AIR' }).waitFor();
  assert.deepEqual(await switches.boundingBox(), place);
  await page.locator('#device li', { hasText: `TCP ${command}` }).waitFor();
  if (!windows) await until('Backup draws the keys', async () => (await key_image()) !== on_main);

  const { tookMs, reactionMs } = await return_and_finish('Main dies');
  if (!windows) await until('Main draws again', async () => (await key_image()) === on_main);
  assert.equal(reactionMs, tookMs[4]);
});

test('the_picture_freezes_and_the_operator_returns_to_main', async () => {
  await until_begun('The picture freezes');
  await until_audience_sees('A still picture.');
  await until_on_air('Rehearsal server B');
  await until_audience_sees('The show.');
  const { tookMs, reactionMs } = await return_and_finish('The picture freezes');
  assert.equal(reactionMs, tookMs[4]);
});

test('somebody_pulls_mains_cable_and_the_operator_returns_to_main', async () => {
  await until_begun('Somebody pulls');
  await until_audience_sees('The show. The server plays on, but nobody can reach it.');
  await until_on_air('Rehearsal server B');
  await until_audience_sees('The show.');
  const { tookMs, reactionMs } = await return_and_finish('Somebody pulls');
  assert.equal(reactionMs, tookMs[4]);
});

test('operation_moves_to_backup_by_hand_and_back', async () => {
  await until_begun('Move to Backup');
  await until_next('Move to Backup', 'You: Press Health & Alerts, then Take Backup.');
  await press('Take Backup');
  await until_on_air('Rehearsal server B');
  await until_audience_sees('The show.');
  const { tookMs, reactionMs } = await return_and_finish('Move to Backup');
  assert.equal(reactionMs, tookMs[0] + tookMs[1]);
});

test('backup_breaks_and_the_operator_acknowledges_the_alert', async () => {
  await until_begun('Backup breaks');
  await until_next('Backup breaks', 'You: Press Health & Alerts, read the alert');
  const outputs = page.locator(`#${serials.backup} .outputs`);
  assert.equal(await outputs.innerText(), 'On its outputs: Black. The engine plays nothing.');
  await until_on_air('Rehearsal server A');
  await until_audience_sees('The show.');
  await press('Acknowledge Alerts', 'Backup: Engine stopped or exited.');
  const { tookMs, reactionMs } = await until_done('Backup breaks');
  assert.equal(reactionMs, tookMs[2]);
  assert.equal(await outputs.innerText(), 'On its outputs: The show.');
  assert.equal((await get_status()).active, 'main');
});

const clock_alert = (role) => `${role}: Engaged external clock is unavailable or unlocked.`;

test('a_main_that_restarts_or_lags_moves_nothing_and_one_without_a_clock_alerts', async () => {
  const { length } = (await get_status()).protection.alerts;
  await flip('main', 'The server is restarting');
  await until_audience_sees('Black, until the engine has started.');
  // Its alert takes more polls than the move would have taken.
  await flip('main', 'The clock is gone');
  await until_faults(clock_alert('Main'));
  await flip('main', 'The server is restarting');
  await until_audience_sees('The show, out of step with sound and light.');
  await flip('main', 'The clock is gone');
  await until_faults();

  await flip('main', "The show isn't copied yet");
  await until_audience_sees('The show, without the last changes.');
  await until_copied('main', false);
  await flip('main', "The show isn't copied yet");
  await until_audience_sees('The show.');
  await until_copied('main', true);
  const { active, protection } = await get_status();
  assert.equal(active, 'main');
  const raised = protection.alerts.slice(length).map(({ message }) => message);
  assert.deepEqual(raised, [clock_alert('Main')]);
});

for (const [trouble, outputs, alert] of [
  [
    'The server is restarting',
    'Black, until the engine has started.',
    'Backup is not ready; automatic protection is degraded.',
  ],
  ['The clock is gone', 'The show, out of step with sound and light.', clock_alert('Backup')],
  [
    "The show isn't copied yet",
    'The show, without the last changes.',
    'Backup show state or media is not synchronized.',
  ],
]) {
  const name = trouble.toLowerCase().replace("'", '').replaceAll(' ', '_');
  test(`on_backup_${name}_raises_its_alert_alone`, async () => {
    await flip('backup', trouble);
    const shown = page.locator(`#${serials.backup} .outputs`);
    await shown.filter({ hasText: `On its outputs: ${outputs}` }).waitFor();
    await until_faults(alert);
    assert.equal((await get_status()).active, 'main');
    await flip('backup', trouble);
    await shown.filter({ hasText: /^On its outputs: The show\.$/ }).waitFor();
    await until_faults();
  });
}

const card = (title) => card_of(page, title);

const until_next = (title, text) => card(title).locator('li.next', { hasText: text }).waitFor();

// Looks at each frame, because some words are there for a second only.
const until_audience_sees = (words) =>
  page.waitForFunction(
    `document.querySelector('#audienceSees').textContent === ${JSON.stringify(words)}`,
  );

const until_on_air = (name) =>
  page
    .locator('#audienceWhy', { hasText: `${name} is on air, and your switcher has followed` })
    .waitFor();

// On a page of the operator's own, which takes longer to open than the rehearsal to look again:
// what is done before it has looked once counts as done beforehand.
async function press(name, alert = '') {
  const operator = await browser.newPage({ viewport: { width: 1600, height: 900 } });
  operator.setDefaultTimeout(patience_ms);
  await operator.goto(page_address);
  await operator.getByRole('button', { name: 'Health & Alerts' }).click();
  if (alert) await operator.locator('.vor-alert:not(.recovered)', { hasText: alert }).waitFor();
  const message = operator.locator('#vorProtectionMessage');
  await until(`${name} is obeyed`, async () => {
    await operator.getByRole('button', { name, exact: true }).click();
    await message.filter({ hasText: /\S/ }).waitFor();
    return ['Operation completed.', 'Current alerts acknowledged.'].includes(
      await message.innerText(),
    );
  });
  await operator.close();
}

async function return_and_finish(title) {
  await until_next(title, 'You: Press Health & Alerts, then Return to Main.');
  await press('Return to Main');
  const run = await until_done(title);
  await until_active('main');
  await until_on_air('Rehearsal server A');
  await until_audience_sees('The show.');
  return run;
}

// Every step has its tick and its time, and the card says how long the operator took.
async function until_done(title) {
  const result = card(title).locator('.result', { hasText: /\S/ });
  await result.waitFor();
  const { run, scenarios } = await state();
  const seconds = (ms) => `${(ms / 1000).toFixed(1)} s`;
  assert.equal(await result.innerText(), `Done. You took ${seconds(run.reactionMs)}.`);
  assert.ok(scenarios[run.scenario].title.startsWith(title));
  const ticks = await card(title).locator('li.done .time').allInnerTexts();
  assert.deepEqual(
    ticks,
    run.tookMs.map((ms) => `\u2713 ${seconds(ms)}`),
  );
  assert.equal(ticks.length, scenarios[run.scenario].steps.length);
  return run;
}

async function flip(side, words) {
  const button = page.locator(`#${serials[side]}`).getByRole('button', { name: words });
  const other = { true: 'false', false: 'true' }[await button.getAttribute('aria-pressed')];
  await button.click();
  await page.locator(`#${serials[side]} [aria-pressed="${other}"]`, { hasText: words }).waitFor();
}

// Of all alerts that are active these and no others.
const until_faults = (...messages) =>
  until_status(`the alerts are: ${messages}`, ({ protection }) => {
    const faults = protection.alerts.filter(
      ({ active, severity }) => active && severity !== 'notice',
    );
    return faults.map(({ message }) => message).join() === messages.join();
  });

const until_copied = (side, copied) =>
  until_status(`the copy of ${side} is ${copied}`, ({ systems }) => {
    const system = systems.find(({ serial }) => serial === serials[side]);
    const { replicationRevision, replicationAppliedRevision } = system;
    return (replicationAppliedRevision === replicationRevision) === copied;
  });
