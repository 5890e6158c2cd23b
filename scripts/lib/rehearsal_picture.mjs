// Takes a picture of the rehearsal in the middle of a scenario. Started by scripts/screenshots.
import path from 'node:path';

import { start_browser } from '../../tests/e2e/support/browser.mjs';
import { Child } from '../../tests/e2e/support/children.mjs';
import { program, until } from '../../tests/e2e/support/environment.mjs';
import { call_json } from '../../tests/e2e/support/http.mjs';
import { get_status, post, until_status } from '../../tests/e2e/support/operator.mjs';
import { Workstation } from '../../tests/e2e/support/workstation.mjs';

const [, , file] = process.argv;
const ask = (...details) => call_json('127.0.0.1', 5290, ...details);

const workstation = new Workstation();
const command = [path.join(path.dirname(program), 'elvantris-rehearsal'), '--background'];
const rehearsal = new Child(command, { cwd: workstation.folder, env: workstation.environment });
await until('the rehearsal runs', () => rehearsal.text.output.includes('Its page is'));
await workstation.start();
await until_status('both are found', ({ systems }) => systems.length === 2);
await post('/api/configure', {
  enabled: true,
  mainSerial: 'REHEARSAL-A',
  backupSerial: 'REHEARSAL-B',
});
const action = { name: 'Switcher', event: 'backup', host: '127.0.0.1', port: 7000, enabled: true };
await post('/api/protection', {
  ...(await get_status()).protection.policy,
  startupMs: 1000,
  actions: [{ ...action, transport: 'TCP', payload: 'TAKE 2' }],
});
const begin = { act: 'begin', scenario: 1 };
await until('it begins', async () => !(await ask('POST', '/act', begin)).refused);
await until('the command has come', async () => (await ask('GET', '/state')).device.length > 0);

const browser = await start_browser();
const page = await browser.newPage({ viewport: { width: 1366, height: 900 } });
await page.goto('http://127.0.0.1:5290/');
await page.locator('#device li').waitFor();
await page.screenshot({ path: file });
await browser.close();
await workstation.stop();
await rehearsal.signal('SIGTERM');
await workstation.remove();
