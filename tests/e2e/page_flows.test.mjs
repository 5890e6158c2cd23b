// The page alone, with real servers: found, paired, protected, tested, failed over, returned.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';

import { start_browser } from '../driver/browser.mjs';
import { addresses } from '../driver/environment.mjs';
import { occupy } from '../driver/http.mjs';
import { Device, Server } from '../driver/network.mjs';
import { get_status, until_active, until_status } from '../driver/operator.mjs';
import { patience_ms, until } from '../driver/waiting.mjs';
import { Workstation } from '../driver/workstation.mjs';
import { page_address, watch_complaints } from './support/page_view.mjs';

let main;
let backup;
let device;
let workstation;
let browser;
let page;
let complaints;
const frames = [];
before(async () => {
  device = await Device.start();
  workstation = new Workstation();
  await workstation.start();
  browser = await start_browser();
  page = await browser.newPage({ viewport: { width: 1920, height: 1080 } });
  page.setDefaultTimeout(patience_ms);
  complaints = watch_complaints(page);
  page.on('request', (request) => {
    if (request.isNavigationRequest() && request.frame() !== page.mainFrame())
      frames.push(request.url());
  });
  await page.goto(page_address);
});
afterEach(() => assert.deepEqual(complaints, []));
after(async () => {
  await browser?.close();
  await workstation?.stop();
  await workstation?.remove();
  for (const one of [main, backup, device]) await one?.stop();
});

const shows = (id, text) =>
  page
    .waitForFunction(
      ([name, wanted]) => document.getElementById(name).textContent === wanted,
      [id, text],
    )
    .catch(async () => assert.equal(await page.textContent(`#${id}`), text));
const shown_server = page_frame('#workstation');
const shown_role = page_frame('#role');
function page_frame(selector) {
  return () => page.frameLocator('#elvantrisUi').locator(selector).textContent();
}
const press = (name) => page.getByRole('button', { name, exact: true }).click();
const closed = (id) => page.waitForSelector(`#${id}`, { state: 'hidden' });

test('before_a_pair_is_chosen_the_card_invites_to_choose_one', async () => {
  await shows('standbyText', 'Discover the Elvantris systems and choose a Main and Backup.');
  await shows('mainStatus', 'Main: Not configured OFFLINE');
  await page.click('text=Configure Systems');
  await page.waitForSelector('#setupBg', { state: 'visible' });
  await page.click('text=Cancel');
});

test('the_servers_found_are_paired_and_main_is_framed', async () => {
  main = await Server.start('main', 'SER-A');
  backup = await Server.start('backup', 'SER-B');
  await until_status('both servers are found', ({ systems }) => systems.length === 2);
  await page.waitForFunction('state.systems.length === 2');
  await page.click('text=Configure Redundancy');
  await page.check('#enabled');
  await page.selectOption('#mainSelect', 'SER-A');
  await page.selectOption('#backupSelect', 'SER-B');
  await page.click('text=Save Configuration');
  await closed('setupBg');
  await shows('mainStatus', 'Main: The main READY');
  await shows('backupStatus', 'Backup: The backup READY');
  await page.waitForFunction("syncStatus.textContent.startsWith('In Sync · Rev ')");
  assert.equal(await shown_server(), 'The main');
  assert.equal(await shown_role(), 'main');
  assert.equal((await get_status()).enabled, true);
});

test('an_output_is_protected_and_an_action_configured_and_tested', async () => {
  await page.click('text=Health & Alerts');
  await page.fill('#vorStartupMs', '1000');
  // A busy machine must not make a healthy server look lost.
  await page.fill('#vorLossMs', '1500');
  await page.click('text=Add Output Rule');
  const rule = page.locator('.vor-rule');
  const outputs = await rule
    .getByLabel('Main output', { exact: true })
    .locator('option')
    .evaluateAll((all) => all.map(({ value }) => value));
  await rule.getByLabel('Main output', { exact: true }).selectOption(outputs[1]);
  await rule.getByLabel('Corresponding Backup output').selectOption(outputs[1]);
  await rule.getByLabel('Response').selectOption('Alert + failover');
  await page.click('text=Add Action');
  const action = page.locator('.vor-action');
  await action.getByLabel('Enable action 1').check();
  await action.getByLabel('Destination host').fill(addresses.device);
  await action.getByLabel('Port', { exact: true }).fill('7000');
  await action.getByLabel('Command string').fill('TAKE\\r');
  await action.locator('text=Test Saved Action').click();
  await shows('vorProtectionMessage', 'Save action edits before testing.');
  await page.click('text=Save Protection Settings');
  await shows('vorProtectionMessage', 'Protection settings saved.');
  await action.locator('text=Test Saved Action').click();
  await shows('vorProtectionMessage', 'Saved action queued for delivery.');
  await shows('vorLastAction', 'Test action: sequence sent; device execution unconfirmed.');
  await until('the device has it', async () => (await device.received()).length > 0);
  assert.deepEqual(
    (await device.received()).map(({ text }) => text),
    ['TAKE\r'],
  );
  await page.click('#vorCloseFoot');
});

test('what_the_program_refuses_is_told_in_its_words', async () => {
  await page.click('text=Health & Alerts');
  await page.fill('#vorLossMs', '499');
  await page.click('text=Save Protection Settings');
  await shows(
    'vorProtectionMessage',
    'Fault delays must be 500-30000 ms; startup grace must be 1000-60000 ms.',
  );
  complaints.length = 0; // the browser's own words about the refusal
  await page.keyboard.press('Escape');
});

test('an_output_that_vanishes_on_backup_shows_on_its_badge', async () => {
  await backup.set({ outputs: [] });
  await shows('backupStatus', 'Backup: The backup PROTECTED OUTPUT FAULT');
  await page.waitForFunction("vorBanner.classList.contains('fault')");
  await backup.set({ outputs: null });
  await shows('backupStatus', 'Backup: The backup READY');
  await page.waitForFunction("!vorBanner.classList.contains('fault')");
});

test('a_failover_moves_the_frame_once_and_says_so', async () => {
  await device.forget();
  const loads = frames.length;
  await main.set({ engine: 'stopped' });
  await until_active('backup');
  await page.waitForFunction(
    "elvantrisUi.src.startsWith('http://10.77.0.12:5000/?operatorControl=1&operatorControlRole=backup&t=')",
  );
  assert.equal(await shown_server(), 'The backup');
  assert.equal(await shown_role(), 'backup');
  await shows('mainStatus', 'Main: The main ENGINE STOPPED');
  await shows('syncStatus', 'Backup Active');
  await page.waitForFunction(
    "vorBanner.firstElementChild.textContent === 'PROTECTION ARMED · Backup held active · 1 active alert · Main: Engine stopped or exited.'",
  );
  await until('the device is told', async () => (await device.received()).length === 1);
  assert.equal(frames.length, loads + 1);
});

test('the_return_to_main_waits_for_main_and_for_the_operator', async () => {
  const loads = frames.length;
  await page.click('text=Health & Alerts');
  await press('Return to Main');
  await shows(
    'vorProtectionMessage',
    'Requested server is not ready for takeover. Check engine and protected outputs.',
  );
  complaints.length = 0; // the browser's own words about the refusal
  await main.set({ engine: 'running' });
  await shows('mainStatus', 'Main: The main READY');
  await page.waitForFunction(
    "vorHealthSummary.textContent.endsWith('Held on Backup. Recovery does not return automatically.')",
  );
  assert.equal(frames.length, loads);
  await press('Return to Main');
  await shows('vorProtectionMessage', 'Operation completed.');
  await page.keyboard.press('Escape');
  await page.waitForFunction("elvantrisUi.src.includes('operatorControlRole=main')");
  assert.equal(await shown_server(), 'The main');
  assert.equal(frames.length, loads + 1);
});

test('disarming_and_arming_show_on_the_banner', async () => {
  await page.click('text=Health & Alerts');
  for (const [button, words] of [
    ['Disarm Automatic Failover', 'AUTO FAILOVER DISARMED'],
    ['Arm Automatic Failover', 'PROTECTION ARMED'],
  ]) {
    await press(button);
    await page.waitForFunction(
      (wanted) => document.querySelector('#vorBanner b').textContent === wanted,
      words,
    );
  }
  await page.keyboard.press('Escape');
});

test('a_program_that_goes_away_and_comes_back_shows_on_the_sync_chip_alone', async () => {
  const loads = frames.length;
  await workstation.stop();
  await shows('syncStatus', 'Unavailable');
  await shows('mainStatus', 'Main: The main READY');
  assert.equal(await page.isVisible('#elvantrisUi'), true);
  await workstation.start();
  await page.waitForFunction("syncStatus.textContent.startsWith('In Sync · Rev ')");
  await shows('mainStatus', 'Main: The main READY');
  assert.equal(await shown_server(), 'The main');
  assert.ok(frames.length - loads <= 1); // the card may have shown while the servers were looked for
  complaints.length = 0; // the browser's own words about the failed requests
});

test('a_program_that_hangs_is_not_shown_as_well_until_it_goes_on', async () => {
  workstation.program.process.kill('SIGSTOP');
  try {
    await page.waitForSelector('#syncBadge.blind');
    await shows('syncStatus', 'Unavailable');
    await shows('mainStatus', 'Main: The main READY');
  } finally {
    workstation.program.process.kill('SIGCONT');
  }
  await page.waitForSelector('#syncBadge:not(.blind)');
  await page.waitForFunction("syncStatus.textContent.startsWith('In Sync · Rev ')");
  complaints.length = 0; // the browser's own words about requests that it gave up
});

test('a_poll_asks_past_the_browser_s_cache', async () => {
  const poll = await page.waitForRequest((request) => request.url().endsWith('/api/status'));
  const headers = await poll.allHeaders();
  assert.equal(headers['cache-control'], 'no-cache');
});

async function save_port(port) {
  await page.click('text=Configure Redundancy');
  await page.fill('#uiPort', String(port));
  await page.click('text=Save Configuration');
}

test('a_port_that_is_taken_is_put_back_and_the_page_stays', async (context) => {
  const other = await occupy(5288);
  context.after(() => other.release());
  await save_port(5288);
  // The program may have put the old port back before it answers; then the save ends like any other.
  await page.waitForFunction(
    "!setupBg.open || setupStatus.textContent.startsWith('Port saved, but ')",
  );
  await until_status('the old port is back', ({ uiPort }) => uiPort === 5270);
  assert.equal(page.url(), page_address);
  await page.keyboard.press('Escape');
});

test('a_free_port_is_followed', async () => {
  await save_port(5289);
  await page.waitForURL('http://127.0.0.1:5289/');
  await shows('mainStatus', 'Main: The main READY');
  assert.equal(await shown_server(), 'The main');
});
