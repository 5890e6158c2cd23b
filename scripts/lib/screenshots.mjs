// Walks the page through its chief states and takes a picture of each. Started by
// scripts/screenshots.
import path from 'node:path';

import { start_browser } from '../../tests/driver/browser.mjs';
import { Server } from '../../tests/driver/network.mjs';
import {
  operate,
  post,
  until_active,
  until_alert,
  until_recovered,
  until_status,
} from '../../tests/driver/operator.mjs';
import { command, quick_policy } from '../../tests/driver/pair.mjs';
import { until } from '../../tests/driver/waiting.mjs';
import { Workstation } from '../../tests/driver/workstation.mjs';
import { page_address } from '../../tests/e2e/support/page_view.mjs';

const folder = process.argv[2];
const sizes = [
  [1024, 600],
  [1920, 1080],
  [3840, 2160],
];

const outputRules = [
  { mainId: 'out-1', backupId: 'out-1', mode: 2 },
  { mainId: 'out-2', backupId: 'out-2', mode: 1 },
];
const actions = [
  ['Projector shutter', 'backup', 'TCP', 'SHUTTER 0\\r'],
  ['Lighting cue', 'backup', 'UDP', 'GO 12\\n'],
  ['Projector shutter back', 'main', 'TCP', 'SHUTTER 1\\r'],
].map(([name, event, transport, payload]) =>
  command(name, { event, transport, payload, timeoutMs: 500, enabled: false }),
);

const workstation = new Workstation();
const servers = [];
const browser = await start_browser();
const page = await browser.newPage();

// The same picture in each size.
async function take(name) {
  for (const [width, height] of sizes) {
    await page.setViewportSize({ width, height });
    await page.waitForTimeout(300); // the server's own page draws itself anew
    await page.screenshot({ path: path.join(folder, `${name}-${width}.png`) });
  }
}

async function take_dialog(name, button) {
  await page.click(`text=${button}`);
  // A folder of this run is nobody's business.
  await page.evaluate(
    "configPath.textContent = 'Workstation configuration: operator-control.json'",
  );
  await take(name);
  await page.keyboard.press('Escape');
  await page.evaluate('document.activeElement.blur()');
}

async function pair_up() {
  for (const [host, serial, workstation_name] of [
    ['main', 'SER-A', 'Stage left'],
    ['backup', 'SER-B', 'Stage right'],
  ]) {
    servers.push(await Server.start(host, serial, '--workstation', workstation_name));
  }
  await until_status('both servers are found', ({ systems }) => systems.length === 2);
  await post('/api/configure', {
    enabled: true,
    mainSerial: 'SER-A',
    backupSerial: 'SER-B',
    sharedFunctionIds: [1, 2, 3, 6, 7, 8, 9, 24, 29],
    openBrowserOnStart: false,
  });
  await post('/api/protection', { ...quick_policy, outputRules, actions });
  await until_active('main');
  await page.waitForFunction(
    "mainStatus.textContent.endsWith(' READY') && backupStatus.textContent.endsWith(' READY') && syncStatus.textContent.startsWith('In Sync') && !vorBanner.classList.contains('fault')",
  );
}

// Main has failed and Backup can't take over.
async function block_failover() {
  await until('the grace is over', async () => (await operate('main')).ok);
  await servers[1].set({ engine: 'starting' });
  await until_alert('Backup is not ready; automatic protection is degraded.');
  await servers[0].set({ engine: 'stopped' });
  await until_alert('Main fault detected; failover blocked because Backup is not ready.');
  await page.waitForFunction("mainStatus.textContent.endsWith('STOPPED')");
}

async function heal_both() {
  await operate('disarm');
  await servers[0].set({ engine: 'running' });
  await servers[1].set({ engine: 'running' });
  await until_recovered('Backup is not ready; automatic protection is degraded.');
  await operate('arm');
}

async function fail_over() {
  await until('the grace is over', async () => (await operate('main')).ok);
  await servers[0].set({ engine: 'stopped' });
  await until_active('backup');
  await page.waitForFunction(
    "elvantrisUi.src.includes('Role=backup') && mainStatus.textContent.endsWith('STOPPED')",
  );
}

try {
  workstation.write_config({ openBrowserOnStart: false });
  await workstation.start();
  await page.goto(page_address);
  await page.waitForFunction('state !== null');
  await take('stand-by');
  await pair_up();
  await take('both-ready');
  await take_dialog('setup', 'Configure Redundancy');
  await take_dialog('protection', 'Health & Alerts');
  await block_failover();
  await take('blocked');
  await heal_both();
  await fail_over();
  await take('failover');
  await take_dialog('failover-protection', 'Health & Alerts');
} finally {
  await browser.close();
  await workstation.stop();
  await workstation.remove();
  for (const server of servers) await server.stop();
}
