// Takes a picture of the rehearsal in the middle of a scenario. Started by scripts/screenshots.
import { start_browser } from '../../tests/driver/browser.mjs';
import { get_status, post, until_status } from '../../tests/driver/operator.mjs';
import {
  launch_rehearsal,
  rehearsal_act,
  rehearsal_page,
  rehearsal_serials,
  rehearsal_state,
  until_rehearsal_runs,
} from '../../tests/driver/rehearsal.mjs';
import { until } from '../../tests/driver/waiting.mjs';
import { Workstation } from '../../tests/driver/workstation.mjs';

const [, , file] = process.argv;

const workstation = new Workstation();
const rehearsal = launch_rehearsal(workstation, '--background');
await until_rehearsal_runs(rehearsal);
await workstation.start();
await until_status('both are found', ({ systems }) => systems.length === 2);
await post('/api/configure', {
  enabled: true,
  mainSerial: rehearsal_serials.main,
  backupSerial: rehearsal_serials.backup,
});
const action = { name: 'Switcher', event: 'backup', host: '127.0.0.1', port: 7000, enabled: true };
await post('/api/protection', {
  ...(await get_status()).protection.policy,
  startupMs: 1000,
  actions: [{ ...action, transport: 'TCP', payload: 'TAKE 2' }],
});
const begin = { act: 'begin', scenario: 1 };
await until('it begins', async () => !(await rehearsal_act(begin)).refused);
await until('the command has come', async () => (await rehearsal_state()).device.length > 0);

const browser = await start_browser();
const page = await browser.newPage({ viewport: { width: 1366, height: 900 } });
await page.goto(rehearsal_page);
await page.locator('#device li').waitFor();
await page.screenshot({ path: file });
await browser.close();
await workstation.stop();
await rehearsal.signal('SIGTERM');
await workstation.remove();
