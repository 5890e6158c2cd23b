// The tray on a screen with large dots, where Windows doubles everything.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';

import { paired_config } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';
import {
  click_icon,
  close_menu,
  DesktopWorkstation,
  inspect,
  open_menu,
  restart_desktop,
  take_picture,
  window_titles,
} from './support/desktop.mjs';

const sizes = new Map();
let workstation;
before(() => {
  workstation = new DesktopWorkstation();
  workstation.write_config(paired_config());
});
afterEach(async () => {
  if (!workstation.program.ended) await workstation.kill();
});
after(() => workstation.remove());

for (const percent of [100, 200]) {
  test(`icon_and_menu_at_${percent}_percent`, async () => {
    await restart_desktop((96 * percent) / 100);
    await workstation.start_in_tray();
    await click_icon();
    await until('the tip', async () => (await window_titles('tooltips_class32')).length > 0);
    await take_picture(`tip-at-${percent}`);
    const { items } = await open_menu();
    await take_picture(`menu-at-${percent}`);
    await close_menu();
    const { height } = await inspect('taskbar');
    sizes.set(percent, { line: items[1].y - items[0].y, height });
  });
}

test('everything_is_twice_as_large_at_200_percent', () => {
  for (const measure of ['line', 'height']) {
    const factor = sizes.get(200)[measure] / sizes.get(100)[measure];
    assert.ok(factor > 1.7 && factor < 2.3, `${measure}: ${factor}`);
  }
});
