// A Windows desktop as the operator has it before him: the taskbar, the mouse, the registry.
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

import { Child, run_to_its_end } from '../../driver/children.mjs';
import { root } from '../../driver/environment.mjs';
import { patience_ms, until } from '../../driver/waiting.mjs';
import { seen_by_program, Workstation } from '../../driver/workstation.mjs';

export const build = path.join(root, process.env.ELVANTRIS_WINDOWS_BUILD);
const pictures = path.join(root, 'build', 'test', 'desktop');
const run_key = 'HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Run';

// Wine's path names follow the locale; the desktop's own programs must be found again.
const surroundings = { ...process.env, LC_ALL: 'C.UTF-8' };

export const run = (...command) =>
  run_to_its_end(command, { env: surroundings, limit_ms: 2 * patience_ms });

export const wine = (...words) => run('wine', ...words);

const inspector = path.join(build, 'desktop', 'inspector.exe');

// An inspector that fails says why. One that ends without a word was never started: on a busy
// machine Wine fails at that now and then.
export async function inspect(...words) {
  for (let tries = 1; ; ++tries) {
    const { code, output, errors } = await wine(inspector, ...words);
    if (code === 0) return JSON.parse(output);
    if (output || tries === 3) {
      throw new Error(`inspector ${words.join(' ')} ended with ${code}: ${output}${errors}`);
    }
  }
}

// Does something while another program keeps the file from being moved or deleted, as a virus
// scanner does. The file may come to be in the meantime.
export async function while_held(file, act) {
  const words = ['wine', inspector, 'hold', seen_by_program(file)];
  const holder = new Child(words, { env: surroundings });
  try {
    await act(() => until('the file is held', () => holder.text.output.includes('true')));
  } finally {
    await holder.signal('SIGKILL');
  }
}

// Does something while programs find no taskbar, as before the shell starts.
export async function without_taskbar(act) {
  const hider = new Child(['wine', inspector, 'hide-taskbar'], { env: surroundings });
  try {
    await until('the taskbar is hidden', () => hider.text.output.includes('true'));
    await act();
  } finally {
    await inspect('show-taskbar');
    await hider.exited;
  }
}

// To be done before the first program of a desktop; changes what the next ones see.
export async function restart_desktop(dots_per_inch) {
  const explorer = 'HKCU\\Software\\Wine\\Explorer';
  // Wine knows no viewer of .log files, as Windows does; its way out to the machine's own is one.
  const classes = 'HKCR';
  const viewer = 'C:\\windows\\system32\\winebrowser.exe "%1"';
  const settings = [
    [`${classes}\\.log`, '', 'REG_SZ', 'elvantris_test_log'],
    [`${classes}\\elvantris_test_log\\shell\\open\\command`, '', 'REG_SZ', viewer],
    [explorer, 'Desktop', 'REG_SZ', 'shell'],
    [`${explorer}\\Desktops`, 'shell', 'REG_SZ', '1024x768'],
    ['HKCU\\Control Panel\\Desktop', 'LogPixels', 'REG_DWORD', String(dots_per_inch)],
  ];
  for (const [key, name, type, data] of settings) {
    const value = name ? ['/v', name] : ['/ve'];
    await wine('reg', 'add', key, ...value, '/t', type, '/d', data, '/f');
  }
  for (const act of ['-k', '-w', '-p']) await run('wineserver', act);
  await until('the taskbar', async () => (await window_titles('Shell_TrayWnd')).length > 0);
}

export async function window_titles(window_class) {
  const windows = await inspect('titles');
  return windows.filter(([name]) => name === window_class).map(([, title]) => title);
}

// For a person to look at.
export async function take_picture(name) {
  fs.mkdirSync(pictures, { recursive: true });
  await run('import', '-window', 'root', path.join(pictures, `${name}.png`));
}

export const mouse = (x, y, ...act) => run('xdotool', 'mousemove', String(x), String(y), ...act);

// The tray's places are squares at the right end of the taskbar; in an empty one all is one colour.
export async function icons() {
  // On a busy machine Wine now and then doesn't find it at once.
  const { right, top, height } = await until('the taskbar', () => inspect('taskbar'));
  const places = 4;
  const width = places * height;
  const file = path.join(os.tmpdir(), `elvantris-tray-${process.pid}.rgb`);
  const part = `${width}x${height}+${right - width}+${top}`;
  await run('import', '-window', 'root', '-crop', part, '-depth', '8', `rgb:${file}`);
  const pixels = fs.readFileSync(file);
  fs.rmSync(file);
  const painted = (place) => {
    for (let y = 0; y < height; ++y) {
      for (let x = place * height; x < (place + 1) * height; ++x) {
        if (pixels.compare(pixels, 0, 3, 3 * (y * width + x), 3 * (y * width + x) + 3)) return true;
      }
    }
    return false;
  };
  const middle = (place) => ({
    x: Math.round(right - width + (place + 0.5) * height),
    y: Math.round(top + height / 2),
  });
  return [...Array(places).keys()].filter(painted).map(middle);
}

// The taskbar repaints a little later than the icon is gone.
export const no_icon = () => until('no icon', async () => (await icons()).length === 0);

export async function the_icon() {
  return until('one icon', async () => {
    const shown = await icons();
    return shown.length === 1 && shown[0];
  });
}

export async function click_icon(...act) {
  const { x, y } = await the_icon();
  await mouse(x, y, ...act);
}

const menu_is_closed = () =>
  until('the menu is closed', async () => (await inspect('menu')).open === 0);

export async function open_menu() {
  await click_icon('click', '3');
  return until('a menu is open', async () => {
    const menu = await inspect('menu');
    return menu.open > 0 && menu;
  });
}

export async function close_menu() {
  await mouse(200, 200, 'click', '1');
  await menu_is_closed();
}

export async function choose(text) {
  const { items } = await open_menu();
  const { x, y } = items.find((item) => item.text === text);
  await mouse(x, y, 'click', '1');
}

// The command that Windows runs with the session; undefined if there is none.
export async function run_value() {
  const { output } = await wine('reg', 'query', run_key);
  return /ElvantrisOperatorControl\s+REG_SZ\s+(.*)/.exec(output)?.[1];
}

export const delete_run_value = () =>
  wine('reg', 'delete', run_key, '/v', 'ElvantrisOperatorControl', '/f');

export class DesktopWorkstation extends Workstation {
  constructor() {
    super();
    Object.assign(this.environment, { DISPLAY: process.env.DISPLAY, LC_ALL: 'C.UTF-8' });
  }

  async start_in_tray(...options) {
    await this.start(...options);
    return the_icon();
  }
}
