// The installer's whole life on one user's desktop: put in, run, upgraded during a hold, taken out.
// Each step stands on the one before.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, test } from 'node:test';

import { Child } from '../e2e/support/children.mjs';
import { root, until } from '../e2e/support/environment.mjs';
import { answers } from '../e2e/support/http.mjs';
import { Server } from '../e2e/support/network.mjs';
import { get_status, until_active, until_status } from '../e2e/support/operator.mjs';
import { paired_config, quick_policy } from '../e2e/support/pair.mjs';
import { default_data_folder } from '../e2e/support/workstation.mjs';
import {
  choose,
  DesktopWorkstation,
  icons,
  inspect,
  open_menu,
  restart_desktop,
  run,
  run_value,
  take_picture,
  the_icon,
  wine,
  window_titles,
} from './support/desktop.mjs';

const version = '0.9.2';
const setup = path.join(root, `build/package/elvantris-redundancy-control-${version}-setup.exe`);
const uninstall_key =
  'HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\ElvantrisRedundancyControl';

const local = default_data_folder();
const folder = path.join(local, 'Programs', 'Elvantris Redundancy Control');
const installed = path.join(folder, 'elvantris-redundancy-control.exe');
const shortcut = path.join(
  path.dirname(local),
  'Roaming/Microsoft/Windows/Start Menu/Programs/Elvantris Redundancy Control.lnk',
);
const settings = path.join(local, 'Tarnwell Media', 'Elvantris OperatorControl');

let workstation;
let main;
let backup;
let shipped;

before(async () => {
  await restart_desktop(96);
  for (const rest of [folder, settings, shortcut]) {
    fs.rmSync(rest, { recursive: true, force: true });
  }
  workstation = new DesktopWorkstation();
  workstation.use_folder(settings);
  [main, backup] = [await Server.start('main', 'SER-A'), await Server.start('backup', 'SER-B')];
});
after(async () => {
  await main.stop();
  await backup.stop();
  await workstation.remove();
});

const install = () => wine(setup, '/S');

test('it_installs_for_the_user_alone_and_starts_nothing', async () => {
  assert.equal((await install()).code, 0);
  assert.deepEqual(fs.readdirSync(folder).sort(), [path.basename(installed), 'uninstall.exe']);
  assert.ok(fs.existsSync(shortcut));
  const { output } = await wine('reg', 'query', uninstall_key);
  assert.match(output, /DisplayName\s+REG_SZ\s+Elvantris Redundancy Control$/m);
  assert.match(output, /DisplayVersion\s+REG_SZ\s+0\.9\.2$/m);
  assert.equal(await inspect('window'), null);
  shipped = fs.readFileSync(installed);
});

test('the_installed_program_runs_with_the_users_settings', async () => {
  // Another file, as far as its bytes go: the upgrade has something to replace.
  fs.appendFileSync(installed, 'an older version');
  fs.mkdirSync(settings, { recursive: true });
  workstation.write_config(paired_config());
  workstation.write_state(quick_policy);
  const { environment: env, folder: cwd } = workstation;
  workstation.program = new Child(['wine', installed, '--background'], { env, cwd });
  await workstation.await_api(workstation.program);
  await the_icon();
  await choose('Start with Windows');
  const value = await until('the value is written', run_value);
  assert.match(value, /^"C:\\.*\\elvantris-redundancy-control\.exe" --background$/);
});

test('an_upgrade_during_a_hold_leaves_operation_on_backup', async () => {
  await until_status('both are well', (status) => status.policySynchronized && both_run(status));
  await main.set({ engine: 'stopped' });
  await until_active('backup');
  await main.set({ reset: true });
  await until_status('main is well again', both_run);
  const banners = () => workstation.log_lines('Elvantris Redundancy Control').length;
  assert.equal(banners(), 1);

  // Its menu is open: the operator was about to choose something.
  await open_menu();
  assert.equal((await install()).code, 0);
  assert.deepEqual(await workstation.program.exited, { code: 0, signal: null });
  const status = await until('the new copy answers', async () => {
    return banners() === 2 && (await answers(5251)) && get_status();
  });
  assert.deepEqual([status.active, status.protection.heldOnBackup], ['backup', true]);
  assert.ok(fs.readFileSync(installed).equals(shipped));
  await until_status('the new copy has seen a healthy main', both_run);
  assert.equal((await get_status()).active, 'backup');
  assert.equal((await open_menu()).open, 1);
  await take_picture('menu-after-upgrade');
  assert.equal(fs.readdirSync(folder).length, 2);
});

test('removing_ends_the_program_and_leaves_the_settings', async () => {
  const kept = fs.readFileSync(workstation.state, 'utf8');
  assert.equal((await wine(path.join(folder, 'uninstall.exe'), '/S')).code, 0);
  // It goes on in a copy of itself.
  await until('the folder is gone', () => !fs.existsSync(folder));
  await until('the entry is gone', async () => {
    const { output } = await wine('reg', 'query', uninstall_key);
    return !output.includes('DisplayName');
  });
  assert.equal(fs.existsSync(shortcut), false);
  assert.equal(await run_value(), undefined);
  assert.equal(await answers(5251), false);
  assert.deepEqual(await icons(), []);
  assert.equal(fs.readFileSync(workstation.state, 'utf8'), kept);
  assert.ok(fs.existsSync(workstation.config) && fs.existsSync(workstation.log_file));
});

test('removing_by_hand_tells_where_the_settings_stay', async () => {
  assert.equal((await install()).code, 0);
  // It goes on in a copy of itself, which waits for the operator.
  await wine(path.join(folder, 'uninstall.exe'));
  const is_removal = (title) => title.startsWith('Elvantris Redundancy Control Uninstall');
  await until('its window', async () => (await window_titles('#32770')).some(is_removal));
  await take_picture('uninstall');
  await run('wineserver', '-k');
  fs.rmSync(folder, { recursive: true });
});

function both_run({ protection }) {
  const run = ({ ageMs, engineRunning }) => ageMs >= 0 && ageMs < 500 && engineRunning;
  return protection.systems.length === 2 && protection.systems.every(run);
}
