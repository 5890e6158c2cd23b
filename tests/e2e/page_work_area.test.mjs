// The work area: the active server's own interface in the frame, or the stand-by card.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { until } from '../driver/waiting.mjs';
import { backup, main, nothing_active, offline, starting, status } from './support/page_status.mjs';
import { PageView } from './support/page_view.mjs';

const view = PageView.for_the_tests();

const ready = 'Elvantris Redundancy Control is ready';
const waiting_text = 'Waiting for an Elvantris system to become available.';
const neither = { systems: [main(starting), backup(offline)] };
const card_cases = [
  [
    'not_configured',
    { controllerConfigured: false, enabled: false },
    ready,
    'Discover the Elvantris systems and choose a Main and Backup.',
  ],
  [
    'not_configured_goes_first',
    { controllerConfigured: false, ...neither },
    ready,
    'Discover the Elvantris systems and choose a Main and Backup.',
  ],
  [
    'neither_ready',
    neither,
    'Waiting for Elvantris',
    'The configured systems have been discovered, but neither web application has passed its identity check yet.',
  ],
  [
    'disabled',
    { enabled: false, ...neither },
    'Redundancy is disabled',
    'The saved system pairing is retained. Enable live Main / Backup operation when needed.',
  ],
  ['one_of_them_ready', { systems: [main(offline), backup()] }, ready, waiting_text],
  ['no_backup', { systems: [main(offline)] }, ready, waiting_text],
  ['no_main', { systems: [backup(offline)] }, ready, waiting_text],
];
test('the_stand_by_card_shows_the_first_row_that_holds', async () => {
  await view.open(status());
  for (const [name, changes, title, text] of card_cases) {
    await view.show(status({ ...nothing_active, ...changes }));
    assert.equal(await view.visible('standby'), true, name);
    assert.equal(await view.visible('elvantrisUi'), false, name);
    assert.equal(await view.text('standbyTitle'), title, name);
    assert.equal(await view.text('standbyText'), text, name);
  }
});

test('before_the_first_status_the_card_says_that_it_waits', async () => {
  const page = await view.open(null);
  assert.equal(await view.text('standbyTitle'), ready);
  assert.equal(await view.text('standbyText'), 'Waiting for an Elvantris Main system.');
  for (const side of ['standbyMain', 'standbyBackup']) {
    assert.equal(await view.text(side), 'Not configured');
    assert.equal(await view.text(`${side}Addr`), 'Offline');
  }
  const shown = await page.innerText('#standby');
  assert.match(shown, /Main\s+Not configured\s+Offline\s+Backup\s+Not configured\s+Offline/);
  assert.match(shown, /Configure Systems/);
  assert.match(shown, /This page remains available even when both Elvantris servers are offline\./);
});

test('the_boxes_of_the_card_show_name_and_detail_of_each_side', async () => {
  await view.open(status(nothing_active));
  for (const [systems, names, details] of [
    [
      [main(), backup(starting)],
      ['Stage left', 'Stage right'],
      ['10.77.0.11:5000 - Ready', '10.77.0.12:5000 - Starting'],
    ],
    [
      [main({ address: '', ...offline }), backup({ workstation: '' })],
      ['Stage left', 'SER-B'],
      ['Offline', '10.77.0.12:5000 - Ready'],
    ],
    [[], ['Not configured', 'Not configured'], ['Not configured', 'Not configured']],
  ]) {
    await view.show(status({ ...nothing_active, systems }));
    assert.deepEqual([await view.text('standbyMain'), await view.text('standbyBackup')], names);
    assert.deepEqual(
      [await view.text('standbyMainAddr'), await view.text('standbyBackupAddr')],
      details,
    );
  }
});

const independent = {
  systems: [main({ role: 'Independent' })],
  enabled: false,
  active: 'independent',
};
for (const [word, changes, beginning] of [
  ['main', {}, 'http://10.77.0.11:5000/?operatorControl=1&operatorControlRole=main&t='],
  [
    'backup',
    { active: 'backup', activeSerial: 'SER-B' },
    'http://10.77.0.12:5000/?operatorControl=1&operatorControlRole=backup&t=',
  ],
  [
    'independent',
    independent,
    'http://10.77.0.11:5000/?operatorControl=1&operatorControlRole=independent&t=',
  ],
]) {
  test(`an_active_${word}_is_framed_with_its_role`, async () => {
    const page = await view.open(status(changes));
    assert.equal(await view.visible('elvantrisUi'), true);
    assert.equal(await view.visible('standby'), false);
    const source = await page.getAttribute('iframe', 'src');
    assert.ok(source.startsWith(beginning), source);
    const age = Date.now() - Number(source.slice(beginning.length));
    assert.ok(age >= 0 && age < 20000, `${age} ms old`);
  });
}

for (const [name, changes] of [
  ['none', { active: 'none', activeSerial: 'SER-A' }],
  ['an_unknown_word', { active: 'both', activeSerial: 'SER-A' }],
  ['a_serial_that_nobody_has', { active: 'main', activeSerial: 'SER-Z' }],
]) {
  test(`${name}_shows_the_card`, async () => {
    await view.open(status(changes));
    assert.equal(await view.visible('standby'), true);
    assert.equal(await view.visible('elvantrisUi'), false);
    assert.deepEqual(view.frames, []);
  });
}

test('the_frame_loads_once_for_each_change_of_its_key_and_never_for_a_poll', async () => {
  await view.open(status());
  const on_backup = { active: 'backup', activeSerial: 'SER-B' };
  const changes = [
    {},
    on_backup,
    { ...on_backup, systems: [main(offline), backup({ address: '10.77.0.13' })] },
    { ...on_backup, systems: [main(), backup({ address: '10.77.0.13', webPort: 5001 })] },
    { active: 'main', activeSerial: 'SER-A' },
    { active: 'independent', activeSerial: 'SER-A' },
  ];
  for (const [index, change] of changes.entries()) {
    for (let poll = 0; poll < 4; poll += 1) {
      await view.show(
        status({ ...change, streamDeckCount: poll, policySynchronized: poll % 2 === 0 }),
      );
    }
    await until('the frame is loaded', () => view.frames.length > index);
    assert.equal(view.frames.length, index + 1, view.frames.join('\n'));
  }
});

test('after_the_card_the_same_server_is_loaded_afresh', async () => {
  await view.open(status());
  await view.show(status(nothing_active));
  await view.show(status());
  await until('the frame is loaded again', () => view.frames.length === 2);
});

test('a_server_without_an_address_gives_the_frame_no_host', async () => {
  const page = await view.open(status());
  let loads = 0;
  // Without a place of its own the source leads back here.
  await page.route('**/&t=*', (route) => {
    loads += 1;
    return route.fulfill({ contentType: 'text/html', body: '<!doctype html><title>none</title>' });
  });
  const systems = [main({ address: '' }), backup()];
  for (let poll = 0; poll < 4; poll += 1)
    await view.show(status({ systems, streamDeckCount: poll }));
  assert.match(await page.getAttribute('iframe', 'src'), /^&t=\d+$/);
  await until('the frame is loaded', () => loads > 0);
  assert.equal(loads, 1);
});

test('the_frame_has_all_the_height_below_header_and_banner', async () => {
  for (const [width, height] of [
    [1024, 600],
    [1920, 1080],
    [3840, 2160],
  ]) {
    const page = await view.open(status(), { viewport: { width, height } });
    const { x, y, width: wide, height: high } = await page.locator('iframe').boundingBox();
    const banner = await page.locator('#vorBanner').boundingBox();
    assert.deepEqual([x, wide], [0, width]);
    assert.ok(Math.abs(y - banner.y - banner.height) <= 1);
    assert.ok(Math.abs(y + high - height) <= 1);
    assert.ok(y < height * 0.16, `${y} px of ${height} above the frame`);
  }
});
