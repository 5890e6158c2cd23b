// The tray as the operator meets it: a real mouse on a real taskbar.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { after, afterEach, before, beforeEach, test } from 'node:test';

import { program } from '../driver/environment.mjs';
import { call } from '../driver/http.mjs';
import { get_status, until_status } from '../driver/operator.mjs';
import { paired_config } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';
import { seen_by_program } from '../driver/workstation.mjs';
import {
  choose,
  click_icon,
  close_menu,
  delete_run_value,
  DesktopWorkstation,
  inspect,
  mouse,
  no_icon,
  open_menu,
  restart_desktop,
  run_value,
  take_picture,
  the_icon,
  window_titles,
  without_taskbar,
} from './support/desktop.mjs';

const tray_message = '32810';
const right_button_up = '0x205';
const context_menu = '0x7b';
const double_click = '0x203';
const close = '0x10';

// With the icon's own number in the high word, where version 4 of the tray puts it.
const from_icon = (event) => `0x1${event.slice(2).padStart(4, '0')}`;

let workstation;
before(() => restart_desktop(96));
beforeEach(() => {
  workstation = new DesktopWorkstation();
});
afterEach(async () => {
  if (workstation.program && !workstation.program.ended) await workstation.kill();
  await workstation.remove();
});
after(delete_run_value);

const exit_code = () =>
  until('the program ends', () => workstation.program.ended && workstation.program.exited);

// What stands in the menu, in words.
const shown = ({ items }) =>
  items.map(({ text, id, separator, greyed, checked, preset }) => {
    if (separator) return '-';
    const states = [greyed && 'greyed', checked && 'checked', preset && 'default'].filter(Boolean);
    return [text, id, ...states].join(' | ');
  });

const menu_with = (main, backup, sync, autostart = '') => [
  'Open Redundancy Control | 1001 | default',
  'Configure Redundancy | 1002',
  '-',
  `${main} | 0 | greyed`,
  `${backup} | 0 | greyed`,
  `${sync} | 0 | greyed`,
  'Stream Decks: 0 | 0 | greyed',
  '-',
  'Show Log | 1003',
  `Start with Windows | 1004${autostart}`,
  '-',
  'Exit | 1005',
];
const unpaired = ['Main: Not configured', 'Backup: Not configured', 'Show Sync: Disabled'];

test('a_hidden_window_and_one_icon_with_its_tip', async () => {
  await workstation.start_in_tray();
  const window = await inspect('window');
  assert.deepEqual(
    [window.title, window.visible, window.left, window.top],
    ['Elvantris Redundancy Control', false, 0, 0],
  );
  await click_icon();
  await until('the tip is shown', async () => (await window_titles('tooltips_class32')).length > 0);
  await take_picture('tip');
});

test('a_right_click_opens_one_menu_that_closes_for_good', async () => {
  await workstation.start_in_tray();
  // The lines are there when the first pass is over; before it they tell that nothing is known.
  await until('the first pass', () => workstation.log_lines('[status]').length > 0);
  const menu = await open_menu();
  assert.equal(menu.open, 1);
  assert.deepEqual(shown(menu), menu_with(...unpaired));
  await take_picture('menu');
  await close_menu();
  // Whatever still waited in the program's queue has been taken when this has.
  await inspect('send', tray_message, '0', '0');
  assert.equal((await inspect('menu')).open, 0);
});

test('each_of_the_two_messages_opens_the_menu_and_others_do_nothing', async () => {
  await workstation.start_in_tray();
  for (const event of [right_button_up, context_menu]) {
    await mouse(500, 400);
    assert.equal(await inspect('post', tray_message, '0', from_icon(event)), 1);
    const { items } = await until('open', async () => {
      const menu = await inspect('menu');
      return menu.open === 1 && menu;
    });
    // It stands on the cursor.
    assert.ok(
      items.every(({ x, y }) => x > 500 && y < 400 && y > 0),
      JSON.stringify(items),
    );
    await inspect('post', tray_message, '0', context_menu);
    assert.equal((await inspect('menu')).open, 1);
    await close_menu();
  }
  for (const event of ['0x200', '0x201', '0x202', '0x204']) {
    assert.equal(await inspect('send', tray_message, '0', event), 0);
    assert.equal((await inspect('menu')).open, 0);
  }
  assert.deepEqual(workstation.opened(), []);
});

test('the_menu_shows_the_pair_as_it_stands', async () => {
  const config = paired_config();
  config.systems[0].workstation = 'Sound & "Light"';
  config.systems[1].workstation = '';
  workstation.write_config(config);
  await workstation.start_in_tray();
  await until('the first pass', () => workstation.log_lines('[status]').length > 0);
  const ampersand_shown = 'Sound && "Light"';
  const lines = [`Main: ${ampersand_shown} - Offline`, 'Backup: SER-B - Offline'];
  const menu = await until('the lines', async () => {
    const menu = await open_menu();
    if (shown(menu)[3].includes('Sound')) return menu;
    await close_menu();
    return undefined;
  });
  assert.deepEqual(shown(menu), menu_with(...lines, 'Show Sync: Pairing Pending'));
  await take_picture('menu-pair');
});

test('both_ways_into_the_page_follow_the_port', async () => {
  await workstation.start_in_tray();
  await choose('Open Redundancy Control');
  await workstation.until_opened(1);
  await choose('Configure Redundancy');
  await workstation.until_opened(2);
  await call('127.0.0.1', 5251, 'POST', '/api/configure', { uiPort: 5290 });
  await until_status('the page has moved', ({ runtimeUiPort }) => runtimeUiPort === 5290);
  await click_icon('click', '--repeat', '2', '--delay', '50', '1');
  assert.deepEqual(await workstation.until_opened(3), [
    'http://127.0.0.1:5270/',
    'http://127.0.0.1:5270/?configure=1',
    'http://127.0.0.1:5290/',
  ]);
});

test('a_double_click_is_heard_with_the_icons_number_beside_it', async () => {
  await workstation.start_in_tray();
  assert.equal(await inspect('send', tray_message, '0', from_icon(double_click)), 0);
  await workstation.until_opened(1);
});

test('the_log_opens_in_the_desktops_viewer', async () => {
  await workstation.start_in_tray();
  await choose('Show Log');
  const [opened] = await workstation.until_opened(1);
  assert.equal(path.basename(opened), 'operator-control.log');
});

test('starting_with_windows_is_switched_on_shown_and_switched_off', async () => {
  await delete_run_value();
  await workstation.start_in_tray();
  await choose('Start with Windows');
  const value = await until('the value is written', run_value);
  assert.equal(value, `"${seen_by_program(program)}" --background`);
  const menu = await open_menu();
  assert.equal(shown(menu)[9], 'Start with Windows | 1004 | checked');
  await take_picture('menu-checked');
  await close_menu();
  await choose('Start with Windows');
  await until('the value is gone', async () => (await run_value()) === undefined);
  assert.equal(shown(await open_menu())[9], 'Start with Windows | 1004');
});

test('without_the_key_of_what_starts_with_windows_the_program_runs_on', async () => {
  assert.equal(await inspect('break-run-key'), true);
  try {
    await workstation.start_in_tray();
    await choose('Start with Windows');
    assert.equal(shown(await open_menu())[9], 'Start with Windows | 1004');
    assert.equal(await run_value(), undefined);
    await close_menu();
    await choose('Open Redundancy Control');
    await workstation.until_opened(1);
  } finally {
    assert.equal(await inspect('mend-run-key'), true);
  }
});

test('exit_ends_with_0_and_takes_the_icon_away', async () => {
  await workstation.start_in_tray();
  await choose('Exit');
  assert.deepEqual(await exit_code(), { code: 0, signal: null });
  await no_icon();
  assert.equal(await inspect('window'), null);
});

test('a_request_to_close_ends_it_as_exit_does_even_behind_an_open_menu', async () => {
  await workstation.start_in_tray();
  await open_menu();
  assert.equal(await inspect('post', close, '0', '0'), 1);
  assert.deepEqual(await exit_code(), { code: 0, signal: null });
  await no_icon();
});

test('an_icon_that_came_ahead_of_the_shell_is_added_later', async () => {
  await without_taskbar(async () => {
    await workstation.start();
    await until('the first pass', () => workstation.log_lines('[status]').length > 0);
  });
  await the_icon();
  await take_picture('late-icon');
  assert.equal((await open_menu()).open, 1);
  await close_menu();
});

test('the_icon_comes_back_with_a_new_taskbar', async () => {
  await workstation.start_in_tray();
  assert.equal(await inspect('delete-icon'), true);
  await no_icon();
  assert.equal(await inspect('send', 'TaskbarCreated', '0', '0'), 0);
  await the_icon();
  assert.equal((await open_menu()).open, 1);
});

test('a_second_start_gives_way_and_adds_no_icon', async () => {
  await workstation.start_in_tray();
  const { code } = await workstation.run(workstation.with_config('--configure'));
  assert.equal(code, 0);
  assert.deepEqual(await workstation.until_opened(1), ['http://127.0.0.1:5270/?configure=1']);
  await the_icon();
});

test('a_console_has_the_programs_name_takes_the_log_and_ends_the_program_with_ctrl_c', async () => {
  await workstation.start_in_tray('--background', '--console');
  const titles = () => window_titles('WineConsoleClass');
  await until('the console has a name', async () => (await titles()).some((title) => title));
  assert.deepEqual(await titles(), ['Elvantris Redundancy Control']);
  const lines = await until('the banner is written', async () => {
    const lines = await inspect('console');
    return lines.some((line) => line.startsWith('Log: ')) && lines;
  });
  const banner = lines.findIndex((line) => line.startsWith('Elvantris'));
  assert.deepEqual(lines.slice(banner, banner + 3), [
    'Elvantris Redundancy Control 0.9.2',
    'Operator view: http://127.0.0.1:5270/',
    'Diagnostics:   http://127.0.0.1:5251/',
  ]);
  await take_picture('console');
  // A selection would hold up whatever writes the next line.
  assert.equal(await inspect('clicks-select'), false);
  assert.equal(fs.existsSync(workstation.log_file), false);
  // Keys that come before the console has the focus go nowhere.
  const ended = await until('the program ends', async () => {
    if (workstation.program.ended) return workstation.program.exited;
    await mouse(300, 300, 'click', '1', 'key', 'ctrl+c');
    return undefined;
  });
  assert.deepEqual(ended, { code: 0, signal: null });
  await no_icon();
});

test('a_folder_with_blanks_and_letters_of_any_language_serves', async () => {
  const folder = path.join(workstation.folder, 'Bühne links – 舞台');
  fs.mkdirSync(folder);
  workstation.use_folder(folder);
  await workstation.start_in_tray();
  assert.equal((await get_status()).configPath, seen_by_program(workstation.config));
  await until('the first pass saves', () => fs.existsSync(workstation.config));
  assert.match(workstation.log(), /Bühne links – 舞台/);
  await choose('Show Log');
  const [opened] = await workstation.until_opened(1);
  assert.ok(decodeURI(opened).endsWith('Bühne links – 舞台/operator-control.log'), opened);
});
