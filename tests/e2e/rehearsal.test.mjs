// The rehearsal, with the real program in front of it: begun, played in a browser, and refused
// where a server answers.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';

import { start_browser } from '../driver/browser.mjs';
import { addresses, windows } from '../driver/environment.mjs';
import { occupy } from '../driver/http.mjs';
import { Device, run_on, Server } from '../driver/network.mjs';
import { get_status, post, until_status } from '../driver/operator.mjs';
import {
  card_of,
  launch_rehearsal,
  rehearsal_act as act,
  rehearsal_page,
  rehearsal_serials as serials,
  rehearsal_state as state,
  until_begun,
  until_rehearsal_runs,
} from '../driver/rehearsal.mjs';
import { patience_ms, until } from '../driver/waiting.mjs';
import { Workstation } from '../driver/workstation.mjs';
import { watch_complaints } from './support/page_view.mjs';

let workstation;
let rehearsal;
let browser;
let page;
let complaints;

const launch = (...words) => launch_rehearsal(workstation, ...words);

before(() => {
  workstation = new Workstation();
});
afterEach(() => assert.deepEqual(complaints ?? [], []));
after(async () => {
  await browser?.close();
  if (workstation?.program && !workstation.program.ended) await workstation.stop();
  if (rehearsal && !rehearsal.ended) await rehearsal.signal('SIGKILL');
  await workstation?.remove();
});

// Each test goes on from where the one before it ended.
test('where_a_server_answers_it_refuses_to_start_and_says_so', async () => {
  const server = await Server.start('main', 'SER-A');
  const refused = launch();
  const { code } = await until('it ends', () => refused.ended && refused.exited);
  await server.stop();
  assert.equal(code, 1);
  await until('it has said why', () => refused.text.errors.includes('start again.'));
  assert.equal(
    refused.text.errors.trim(),
    'elvantris-rehearsal: A media server answers on this network: The main (SER-A) at 10.77.0.11. ' +
      'A rehearsal would mix with it. Take this computer off that network, and start again.',
  );
  assert.deepEqual(workstation.opened(), []);
});

test('where_a_port_is_taken_it_says_which', async () => {
  const taken = await occupy(5290);
  const refused = launch();
  const { code } = await until('it ends', () => refused.ended && refused.exited);
  await taken.release();
  assert.equal(code, 1);
  await until('it has said why', () => refused.text.errors.includes('TCP port 5290'));
});

test('an_option_that_it_does_not_know_is_refused', async () => {
  const refused = launch('--foreground');
  const { code } = await until('it ends', () => refused.ended && refused.exited);
  assert.equal(code, 2);
  await until('it has said why', () => refused.text.errors.includes('--foreground'));
});

const elsewhere = [
  '--background',
  ...['--servers', `${addresses.main},${addresses.backup}`, '--device', addresses.device],
];
test('servers_elsewhere_have_to_answer', async () => {
  const refused = launch(...elsewhere);
  const { code } = await until('it ends', () => refused.ended && refused.exited);
  assert.equal(code, 1);
  await until('it has said why', () => refused.text.errors.includes(`at ${addresses.main}`));
});

// Wine may keep the port of a killed program.
test('its_page_can_be_put_before_servers_elsewhere', { skip: windows }, async () => {
  const main = await Server.start('main', 'SER-A');
  const backup = await Server.start('backup', 'SER-B');
  const device = await Device.start();
  const far = launch(...elsewhere);
  await until_rehearsal_runs(far);
  const { servers } = await act({ act: 'trouble', serial: 'SER-B', trouble: 'engine', on: true });
  assert.deepEqual(
    servers.map(({ name, outputs }) => [name, outputs]),
    [
      ['The main', 'The show.'],
      ['The backup', 'Black. The engine plays nothing.'],
    ],
  );
  assert.equal((await backup.report()).switches.engine, 'stopped');
  assert.equal((await main.report()).switches.engine, 'running');
  await act({ act: 'end' });
  assert.equal((await backup.report()).switches.engine, 'running');
  await act({ act: 'trouble', serial: 'SER-A', trouble: 'cable', on: true });
  assert.equal((await main.report()).switches.cable, 'pulled');
  await act({ act: 'trouble', serial: 'SER-A', trouble: 'cable', on: false });
  assert.equal((await main.report()).switches.cable, 'plugged');
  assert.deepEqual(await far.signal('SIGTERM'), { code: 0, signal: null });
  for (const one of [main, backup, device]) await one.stop();
});

test('it_opens_its_page_by_itself', async () => {
  rehearsal = launch();
  await until_rehearsal_runs(rehearsal);
  assert.deepEqual(await workstation.until_opened(1), [rehearsal_page]);
  browser = await start_browser();
  // As wide as a window of 1366 with its scroll bar.
  page = await browser.newPage({ viewport: { width: 1351, height: 900 } });
  page.setDefaultTimeout(patience_ms);
  complaints = watch_complaints(page);
  await page.goto(rehearsal_page);
  await page.getByText("Redundancy Control doesn't run on this computer. Start it.").waitFor();
});

test('a_second_rehearsal_says_that_one_is_running', async () => {
  const second = launch('--background');
  const { code } = await until('it ends', () => second.ended && second.exited);
  assert.equal(code, 1);
  await until('it has said why', () => second.text.errors.includes('running on this computer'));
});

test('before_there_is_a_pair_the_other_cards_say_what_is_missing', async () => {
  await card('Main dies').getByRole('button', { name: 'Begin' }).click();
  await page.getByText('Start it first.').waitFor();
});

// Under Wine the settings of the show are in a folder that other tests use as well.
test('the_settings_of_the_show_are_pointed_out_and_refused', { skip: windows }, async () => {
  const warning = page.getByText("Redundancy Control uses your show's settings.").first();
  await workstation.await_api(workstation.launch(['--background']));
  await page.locator('#warning', { hasText: 'End it and start it as in step 4.' }).waitFor();
  await card('First').getByRole('button', { name: 'Begin' }).click();
  await card('First').locator('.refused', { hasText: "your show's settings" }).waitFor();
  assert.equal((await state()).run, null);
  await workstation.stop();
  await until('no warning and no refusal of it', async () => !(await warning.isVisible()));
});

test('the_first_card_is_played_with_the_real_program', async () => {
  await card('First').getByRole('button', { name: 'Begin' }).click();
  await workstation.start();
  await until_status('both are found', ({ systems }) => {
    return systems.filter(({ online }) => online).length === 2;
  });
  assert.equal((await state()).onAir, '');
  const { ok } = await post('/api/configure', {
    enabled: true,
    mainSerial: serials.main,
    backupSerial: serials.backup,
    sharedFunctionIds: [3],
  });
  assert.equal(ok, true);
  await card('First')
    .getByText(/^Done\./)
    .waitFor();
  const { systems } = await get_status();
  const places = systems.map(({ serial, address, webPort }) => [serial, address, webPort]);
  assert.deepEqual(places.sort(), [
    [serials.main, addresses.workstation, 5000],
    [serials.backup, addresses.workstation, 5001],
  ]);
  const refused = card('Main dies').locator('.refused');
  await until('the refusal has gone', async () => (await refused.innerText()) === '');
});

test('a_switch_of_the_page_breaks_a_server_and_heals_it', async () => {
  const button = page
    .locator(`#${serials.main}`)
    .getByRole('button', { name: 'An output is unplugged' });
  await button.click();
  await page.locator('#audienceSees', { hasText: 'The left projector is dark.' }).waitFor();
  await until_status('the program sees it', ({ protection }) => {
    const main = protection.systems.find(({ serial }) => serial === serials.main);
    return main?.outputs.some(({ available }) => !available);
  });
  await button.click();
  await page.locator('#audienceSees', { hasText: /^The show\.$/ }).waitFor();
});

test('a_refusal_names_the_switch_that_is_on', async () => {
  const crash = page.locator(`#${serials.backup}`).getByRole('button', { name: 'engine crashes' });
  await crash.click();
  await until('the rehearsal sees it', async () => (await state()).scenarios[1].whyNot !== '');
  await card('Move to').getByRole('button', { name: 'Begin' }).click();
  await card('Move to')
    .getByText('Rehearsal server B: The engine crashes. Press the red switch.')
    .waitFor();
  await crash.click();
  const refused = card('Move to').locator('.refused');
  await until('the refusal has gone', async () => (await refused.innerText()) === '');
});

test('a_trouble_that_is_ended_before_the_move_ends_the_scenario', async () => {
  // Never sees it, however slow this test is.
  const { policy } = (await get_status()).protection;
  await post('/api/protection', { ...policy, frames: 0 });
  await until_begun('The picture freezes');
  const frozen = page.locator(`#${serials.main} [aria-pressed="true"]`);
  await frozen.click();
  await card('The picture freezes').getByText('You ended the trouble before').waitFor();
  await post('/api/protection', policy);
});

test('a_scenario_that_is_stopped_leaves_both_servers_well', async () => {
  await until_begun('Backup breaks');
  const switches = page.locator(`#${serials.backup} [aria-pressed="true"]`);
  await switches.first().waitFor();
  await card('Backup breaks').getByRole('button', { name: 'Stop' }).click();
  await switches.first().waitFor({ state: 'detached' });
  assert.equal((await state()).run, null);
  await until_status('no alert stands', ({ protection }) => {
    return protection.alerts.every(({ active, severity }) => !active || severity === 'notice');
  });
});

test('commands_to_the_servers_are_listed', async () => {
  const reply = await post('/api/route', {
    functionId: 3,
    payload: 'GO',
  });
  assert.equal(reply.deliveries.length, 2);
  await until('both are in the list', async () => (await state()).commands.length === 2);
  await page.getByRole('button', { name: 'Clear both lists' }).click();
  await until('the lists are empty', async () => {
    const { commands, device } = await state();
    return commands.length === 0 && device.length === 0;
  });
});

test('a_request_that_makes_no_sense_changes_nothing', async () => {
  const heard = (await state()).servers;
  for (const request of [
    {},
    { act: 'trouble', serial: 'SER-X', trouble: 'engine', on: true },
    { act: 'trouble', serial: serials.main, trouble: 'rain', on: true },
    { act: 'trouble', serial: serials.main, trouble: 'engine' },
    'nonsense',
  ]) {
    assert.ok((await act(request)).error, JSON.stringify(request));
  }
  assert.deepEqual((await state()).servers, heard);
});

// What another computer would hear of it.
const question_from_outside = `
  const { createSocket } = require('node:dgram');
  const { connect } = require('node:net');
  const socket = createSocket('udp4');
  let heard = '';
  socket.on('message', (message) => (heard += message));
  socket.send('elvantris-server?', 1255, '${addresses.workstation}');
  const web = connect(5000, '${addresses.workstation}');
  web.on('error', () => {});
  web.on('data', (bytes) => (heard += bytes));
  web.on('close', () => setTimeout(() => { console.log('heard:' + heard); process.exit(); }, 300));
  web.write('GET / HTTP/1.1\\r\\n\\r\\n');
`;
test('no_other_computer_gets_an_answer', () => {
  assert.equal(run_on('main', process.execPath, '-e', question_from_outside), 'heard:\n');
});

test('a_server_that_appears_during_a_rehearsal_is_pointed_out', async () => {
  const server = await Server.start('main', 'SER-A');
  await page.getByText('another server answers, SER-A at 10.77.0.11.').waitFor();
  await server.stop();
});

test('a_program_that_ends_ends_the_scenario_and_leaves_the_switcher', async () => {
  await until_begun('Main dies');
  await page.locator(`#${serials.backup} .air`, { hasText: 'ON AIR' }).waitFor();
  await workstation.stop();
  await card('Main dies').getByText('Redundancy Control has ended. Start it').waitFor();
  await page.locator(`#${serials.main} [aria-pressed="true"]`).waitFor({ state: 'detached' });
  const sentence =
    'Redundancy Control has ended; your switcher stays where it was (Rehearsal server B).';
  await page.locator('#audienceWhy', { hasText: sentence }).waitFor();
  assert.equal(await page.locator('#audienceSees').innerText(), 'The show.');
});

test('it_ends_when_it_is_asked_to', { skip: windows }, async () => {
  assert.deepEqual(await rehearsal.signal('SIGTERM'), { code: 0, signal: null });
  assert.equal(rehearsal.text.errors, '');
});

test('the_page_of_a_rehearsal_that_has_ended_is_dead', { skip: windows }, async () => {
  const sentence = page.getByText('The rehearsal has ended. Start it again.');
  await sentence.waitFor();
  assert.equal(await page.locator('main button:enabled').count(), 0);
  await page.mouse.wheel(0, 10_000);
  await until('the page is scrolled', () => page.evaluate('scrollY > 0'));
  assert.ok((await sentence.boundingBox()).y >= 0);
  await page.close();
  complaints = complaints.filter((one) => !one.includes('net::ERR_CONNECTION_REFUSED'));
});

const card = (title) => card_of(page, title);
