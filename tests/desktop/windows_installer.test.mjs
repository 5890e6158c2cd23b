// The installer's whole life on one user's desktop: put in, run, upgraded during a hold, taken out.
// Each step stands on the one before.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { after, before, test } from 'node:test';

import { Child } from '../driver/children.mjs';
import { addresses, root } from '../driver/environment.mjs';
import { answers } from '../driver/http.mjs';
import { Server } from '../driver/network.mjs';
import { get_status, until_active, until_status } from '../driver/operator.mjs';
import { paired_config, quick_policy } from '../driver/pair.mjs';
import { rehearsal_state, until_rehearsal_runs } from '../driver/rehearsal.mjs';
import { until } from '../driver/waiting.mjs';
import { default_data_folder, seen_by_program } from '../driver/workstation.mjs';
import {
  choose,
  DesktopWorkstation,
  inspect,
  mouse,
  no_icon,
  open_menu,
  restart_desktop,
  run_value,
  take_picture,
  the_icon,
  while_held,
  wine,
} from './support/desktop.mjs';

const version = '0.9.2';
const setup = path.join(root, `build/package/elvantris-redundancy-control-${version}-setup.exe`);
const uninstall_key =
  'Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\ElvantrisRedundancyControl';

const local = default_data_folder();
const folder = path.join(local, 'Programs', 'Elvantris Redundancy Control');
const [installed, tool, rehearsal] = [
  'elvantris-redundancy-control.exe',
  'elvantris-redundancy-tool.exe',
  'elvantris-rehearsal.exe',
].map((name) => path.join(folder, name));
const contents = [installed, tool, rehearsal].map((file) => path.basename(file));
contents.push('licences.txt', 'uninstall.exe');
const start_menu = path.join(path.dirname(local), 'Roaming/Microsoft/Windows/Start Menu/Programs');
const shortcuts = [
  'Elvantris Redundancy Control',
  'Check Redundancy Control',
  'Rehearse a Failover',
].map((name) => path.join(start_menu, `${name}.lnk`));
const [, check_shortcut] = shortcuts;
const settings = path.join(local, 'Tarnwell Media', 'Elvantris OperatorControl');
const told_settings = [
  `C:\\users\\${os.userInfo().username}\\AppData\\Local`,
  'Tarnwell Media',
  'Elvantris OperatorControl',
].join('\\');

let workstation;
let main;
let backup;
let shipped;

before(async () => {
  await restart_desktop(96);
  for (const rest of [folder, settings, ...shortcuts]) {
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
const installed_files = () => fs.readdirSync(folder).sort();
const in_start_menu = () => shortcuts.filter((file) => fs.existsSync(file));
const banners = () => workstation.log_lines('Elvantris Redundancy Control').length;

async function uninstall_entry(hive = 'HKCU') {
  const { output } = await wine('reg', 'query', `${hive}\\${uninstall_key}`);
  return output.includes('DisplayName') ? output : undefined;
}

async function until_started(count) {
  await until('the new copy answers', async () => {
    return banners() === count && (await answers(5251));
  });
  // Nobody is active before both have been asked.
  const { active, protection } = await until_status('it knows', ({ active }) => active !== 'none');
  assert.deepEqual([active, protection.heldOnBackup], ['backup', true]);
}

test('it_installs_for_the_user_alone_and_starts_nothing', async () => {
  assert.equal((await install()).code, 0);
  assert.deepEqual(installed_files(), contents);
  assert.deepEqual(in_start_menu(), shortcuts);
  const entry = await uninstall_entry();
  assert.match(entry, /DisplayName\s+REG_SZ\s+Elvantris Redundancy Control$/m);
  assert.match(entry, /DisplayVersion\s+REG_SZ\s+0\.9\.2$/m);
  // Nothing where only an administrator may write.
  assert.equal(await uninstall_entry('HKLM'), undefined);
  const drive = path.join(process.env.WINEPREFIX, 'drive_c');
  for (const programs of ['Program Files', 'Program Files (x86)']) {
    const names = fs.readdirSync(path.join(drive, programs));
    assert.deepEqual(
      names.filter((name) => /elvantris|tarnwell/i.test(name)),
      [],
    );
  }
  assert.equal(await inspect('window'), null);
  shipped = fs.readFileSync(installed);
});

test('the_start_menu_checks_and_leaves_the_answer_on_the_screen', async () => {
  assert.equal((await wine('start', '/unix', check_shortcut)).code, 0);
  const shown = () => inspect('console-of', 'cmd.exe');
  const lines = await until('the answer is there', async () => {
    const lines = await shown();
    return lines?.at(-1).startsWith('Press any key') && lines;
  });
  assert.ok(
    lines.some((line) => line.startsWith('The program is not running.')),
    lines.join('\n'),
  );
  await take_picture('check');
  // Keys that come before the console has the focus go nowhere.
  await until('the window is closed', async () => {
    if ((await shown()) === null) return true;
    await mouse(300, 300, 'click', '1', 'key', 'Return');
    return false;
  });
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
  assert.equal(banners(), 1);

  // Its menu is open: the operator was about to choose something.
  await open_menu();
  assert.equal((await install()).code, 0);
  assert.deepEqual(await workstation.program.exited, { code: 0, signal: null });
  await until_started(2);
  assert.ok(fs.readFileSync(installed).equals(shipped));
  await until_status('the new copy has seen a healthy main', both_run);
  assert.equal((await get_status()).active, 'backup');
  assert.equal((await open_menu()).open, 1);
  await take_picture('menu-after-upgrade');
  assert.deepEqual(installed_files(), contents);
});

test('a_folder_that_refuses_the_new_file_is_found_out_while_the_program_runs', async () => {
  // As a folder without the right to write; what may stop an ordinary user does not stop root.
  fs.mkdirSync(`${installed}.new`);
  assert.equal((await install()).code, 2);
  fs.rmdirSync(`${installed}.new`);
  assert.equal(banners(), 2);
  assert.equal(await answers(5251), true);
  assert.ok(fs.readFileSync(installed).equals(shipped));
  assert.deepEqual(installed_files(), contents);
});

test('a_program_beside_it_that_cannot_be_replaced_leaves_all_as_it_was', async () => {
  for (const file of [tool, rehearsal]) {
    const before = fs.readFileSync(file);
    await while_held(`${file}.new`, async (until_held) => {
      const [{ code }] = await Promise.all([install(), until_held()]);
      assert.equal(code, 2);
    });
    assert.ok(fs.readFileSync(file).equals(before));
    assert.equal(banners(), 2);
    assert.equal(await answers(5251), true);
    fs.rmSync(`${file}.new`, { force: true });
    assert.deepEqual(installed_files(), contents);
  }
});

test('an_upgrade_that_fails_leaves_the_old_program_in_place_and_running', async () => {
  for (const file of [installed, tool]) fs.appendFileSync(file, 'an older version');
  const older = [installed, tool].map((file) => fs.readFileSync(file));
  await while_held(`${installed}.new`, async (until_held) => {
    const [{ code }] = await Promise.all([install(), until_held()]);
    assert.equal(code, 2);
    await until_started(3);
    assert.ok(fs.readFileSync(installed).equals(older[0]));
    assert.ok(fs.readFileSync(tool).equals(older[1]));
  });
  assert.equal((await install()).code, 0);
  await until_started(4);
  assert.ok(fs.readFileSync(installed).equals(shipped));
  assert.deepEqual(installed_files(), contents);
});

test('an_upgrade_replaces_a_program_that_runs_and_leaves_it_running', async () => {
  const shipped_rehearsal = fs.readFileSync(rehearsal);
  fs.appendFileSync(rehearsal, 'an older version');
  await while_rehearsing(async () => {
    assert.equal((await install()).code, 0);
    await until_started(5);
    assert.ok(await rehearsal_state());
    assert.ok(fs.readFileSync(rehearsal).equals(shipped_rehearsal));
    // The one that runs keeps its file. The next setup does not mind it.
    assert.equal(installed_files().length, contents.length + 1);
    assert.equal((await install()).code, 0);
    await until_started(6);
    assert.ok(await rehearsal_state());
  });
  assert.equal((await install()).code, 0);
  await until_started(7);
  assert.deepEqual(installed_files(), contents);
});

test('while_a_program_beside_it_runs_nothing_is_removed', async () => {
  await while_rehearsing(async () => {
    assert.equal((await remove_in_place()).code, 2);
    assert.ok(await rehearsal_state());
  });
  assert.equal(await answers(5251), true);
  await assert_all_is_there();
});

test('a_removal_that_fails_leaves_the_way_to_remove_it', async () => {
  await while_held(installed, async (until_held) => {
    await until_held();
    assert.equal((await remove_in_place()).code, 2);
  });
  await until('5251 is free', async () => !(await answers(5251)));
  await assert_all_is_there();
});

test('windows_starts_the_installed_program_with_the_session', async () => {
  assert.equal(await inspect('window'), null);
  await wine('wineboot');
  await until_started(8);
  await the_icon();
});

test('removing_ends_the_program_and_leaves_the_settings', async () => {
  const kept = fs.readFileSync(workstation.state, 'utf8');
  assert.equal((await wine(path.join(folder, 'uninstall.exe'), '/S')).code, 0);
  // It goes on in a copy of itself.
  await until('the folder is gone', () => !fs.existsSync(folder));
  await until('the entry is gone', async () => !(await uninstall_entry()));
  assert.deepEqual(in_start_menu(), []);
  assert.equal(await run_value(), undefined);
  await until('5251 is free', async () => !(await answers(5251)));
  await no_icon();
  assert.equal(fs.readFileSync(workstation.state, 'utf8'), kept);
  assert.ok(fs.existsSync(workstation.config) && fs.existsSync(workstation.log_file));
});

test('an_upgrade_keeps_the_options_and_the_folder_that_the_copy_was_started_with', async () => {
  assert.equal((await install()).code, 0);
  const { environment: env } = workstation;
  const cwd = path.join(workstation.folder, 'Bühne links');
  fs.mkdirSync(cwd);
  // Longer than a text of the installer's own may be.
  const unknown = `--${'x'.repeat(3000)}`;
  const words = ['wine', installed, unknown, '--background', '--config', 'a show.json'];
  workstation.program = new Child(words, { env, cwd });
  await workstation.await_api(workstation.program);
  const log = path.join(cwd, 'operator-control.log');
  const starts = () =>
    fs.readFileSync(log, 'utf8').split('Elvantris Redundancy Control').length - 1;
  await until('its banner', () => starts() === 1);
  assert.equal((await install()).code, 0);
  assert.deepEqual(await workstation.program.exited, { code: 0, signal: null });
  await until('the new copy answers', async () => starts() === 2 && (await answers(5251)));
  assert.equal((await get_status()).configPath, 'a show.json');
  assert.deepEqual(workstation.opened(), []);
  assert.equal((await wine(path.join(folder, 'uninstall.exe'), '/S')).code, 0);
  await until('the folder is gone', () => !fs.existsSync(folder));
});

test('removing_by_hand_tells_where_the_settings_stay', async () => {
  assert.equal((await install()).code, 0);
  // It goes on in a copy of itself, which waits for the operator.
  await wine(path.join(folder, 'uninstall.exe'));
  const dialog_saying = (text) =>
    until(`a dialog says ${text}`, async () => {
      const dialog = await inspect('dialog');
      return dialog?.texts.find((shown) => shown.includes(text));
    });
  const go_on = () => inspect('press', '1');
  assert.ok((await dialog_saying('will be removed')).includes(told_settings));
  await take_picture('uninstall');
  await go_on();
  assert.ok((await dialog_saying('has been removed')).includes(told_settings));
  await take_picture('uninstalled');
  await go_on();
  await dialog_saying('Completed');
  await go_on();
  await until('it has ended', async () => (await inspect('dialog')) === null);
  assert.equal(fs.existsSync(folder), false);
});

function both_run({ protection }) {
  const run = ({ ageMs, engineRunning }) => ageMs >= 0 && ageMs < 500 && engineRunning;
  return protection.systems.length === 2 && protection.systems.every(run);
}

// In the folder itself, and not in a copy whose end nobody hears of. The path takes no blanks.
function remove_in_place() {
  const short = path.join(workstation.folder, 'installed');
  if (!fs.existsSync(short)) fs.symlinkSync(folder, short);
  return wine(path.join(folder, 'uninstall.exe'), '/S', `_?=${seen_by_program(short)}`);
}

async function assert_all_is_there() {
  assert.deepEqual(installed_files(), contents);
  assert.ok(fs.readFileSync(installed).equals(shipped));
  assert.deepEqual(in_start_menu(), shortcuts);
  assert.ok(await uninstall_entry());
  assert.ok(await run_value());
}

// The installed rehearsal, with the servers that are there already.
async function while_rehearsing(act) {
  const { environment: env, folder: cwd } = workstation;
  const servers = ['--servers', `${addresses.main},${addresses.backup}`];
  const words = ['wine', rehearsal, '--background', ...servers, '--device', addresses.device];
  const running = new Child(words, { env, cwd });
  try {
    await until_rehearsal_runs(running);
    await act();
  } finally {
    // By Wine itself, and not in the moment of a connection: it would keep the port for ever.
    await wine('taskkill', '/F', '/IM', path.basename(rehearsal));
    await running.signal('SIGKILL');
  }
  await until('5290 is free', async () => !(await answers(5290)));
}
