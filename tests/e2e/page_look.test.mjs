// What the eye can tell from two metres away: sizes, contrasts and colours as the browser has
// computed them.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import {
  assert_colour,
  contrast_of_grounds,
  contrast_of_text,
  measure,
} from './support/page_measures.mjs';
import {
  disarmed_fault,
  failed_over,
  held,
  page_states,
  unconfigured,
} from './support/page_states.mjs';
import {
  alert,
  backup,
  health,
  main,
  offline,
  policy,
  protection,
  starting,
  status,
} from './support/page_status.mjs';
import { PageView } from './support/page_view.mjs';

const view = PageView.for_the_tests();

const sizes = [
  [1024, 768],
  [1366, 768],
  [1920, 1080],
  [3840, 2160],
];
const viewport_of = ([width, height]) => ({ viewport: { width, height } });
const missing_output = policy({ outputRules: [{ mainId: 'gone', backupId: 'gone', mode: 2 }] });
const healths = (changes, others) =>
  status({
    protection: protection({
      systems: [health('SER-A', changes), health('SER-B', changes)],
      ...others,
    }),
  });
// By word, and with it what the word means for the show.
const words = {
  WAITING: ['warn', healths({ ageMs: -1 })],
  OFFLINE: ['bad', healths({ ageMs: 5000 })],
  'HEALTH UNKNOWN': ['warn', healths({ supported: false })],
  'ENGINE STOPPED': ['bad', healths({ engineRunning: false })],
  'ENGINE UNRESPONSIVE': ['bad', healths({ engineResponsive: false })],
  'FRAME STALL': ['bad', healths({ frameStalled: true })],
  'TELEMETRY UNKNOWN': ['warn', healths({ telemetryAvailable: false })],
  'PROTECTED OUTPUT FAULT': ['bad', healths({}, { policy: missing_output })],
  READY: ['good', healths({})],
};

for (const size of sizes) {
  const [width] = size;
  test(`at_${width}_each_state_word_is_the_largest_text_of_its_badge_and_whole`, async () => {
    const page = await view.open(status(), viewport_of(size));
    const least = width < 1920 ? 20 : 32;
    for (const [word, [, shown]] of Object.entries(words)) {
      await view.show(shown);
      const badges = await page.$$eval('.badge', (all) =>
        all.map((badge) => {
          const text = badge.querySelector('.badge-word');
          const box = text.getBoundingClientRect();
          const range = document.createRange();
          range.selectNodeContents(text);
          const letters = range.getBoundingClientRect();
          const ground = badge.getBoundingClientRect();
          const size = Number.parseFloat(getComputedStyle(text).fontSize);
          // A line's box is a little higher than its capitals.
          const spare = size / 8;
          return {
            word: text.textContent,
            size,
            name: Number.parseFloat(getComputedStyle(badge.querySelector('.badge-name')).fontSize),
            inside:
              letters.left >= ground.left &&
              letters.right <= ground.right &&
              letters.top >= box.top - spare &&
              letters.bottom <= box.bottom + spare,
          };
        }),
      );
      for (const badge of badges) {
        assert.equal(badge.word, word);
        assert.ok(badge.size >= least, `${word}: ${badge.size} px`);
        assert.ok(badge.size > badge.name, `${word}: ${badge.size} px, the name ${badge.name}`);
        assert.equal(badge.inside, true, `${word} is cut`);
      }
    }
    if (width === 1920) assert.ok((await measure(page, '.badge-word')).font_size >= 46);
  });

  test(`at_${width}_the_header_is_one_line_with_its_names_whole`, async () => {
    const page = await view.open(failed_over, viewport_of(size));
    const tops = await page.$$eval('.bar > :not(.tag)', (all) =>
      all.map((one) => one.getBoundingClientRect().top),
    );
    assert.equal(new Set(tops).size, 1, String(tops));
    const tag = await page.$eval(
      '.tag',
      (one) =>
        one.getBoundingClientRect().height / Number.parseFloat(getComputedStyle(one).lineHeight),
    );
    assert.ok(tag < 2.5, `${tag} lines`);
    const cut = () =>
      page.$$eval('.badge-who, .chip-label', (all) =>
        all.filter((one) => one.scrollWidth > one.clientWidth).map((one) => one.textContent),
      );
    assert.deepEqual(await cut(), []);
    await view.show(status());
    assert.deepEqual(await cut(), []);
    const long = status({
      systems: [main({ workstation: 'A very long name '.repeat(8) }), backup()],
    });
    await view.show(long);
    assert.equal((await cut()).length, 1);
  });

  test(`at_${width}_no_name_runs_below_the_mark_of_the_server_on_air`, async () => {
    const page = await view.open(status(), viewport_of(size));
    const room = () =>
      page.$eval('#mainBadge', (badge) => {
        const mark = getComputedStyle(badge, '::after');
        const { paddingRight } = getComputedStyle(badge.querySelector('.badge-who'));
        const [kept, wide, right, padding] = [
          paddingRight,
          mark.width,
          mark.right,
          mark.paddingLeft,
        ].map(Number.parseFloat);
        // The mark's width may or may not be told with what pads it.
        return kept - right - wide - (mark.boxSizing === 'border-box' ? 0 : 2 * padding);
      });
    assert.ok((await room()) >= 0, `${await room()} px`);
    await view.show('away');
    assert.ok((await room()) >= 0, `${await room()} px`);
    view.complaints.length = 0; // the browser's own words about the failed request
  });
}

test('each_word_colours_its_badge_by_what_it_means', async () => {
  const page = await view.open(status());
  const normal = await measure(page, '#backupBadge');
  for (const [word, [meaning, shown]] of Object.entries(words)) {
    await view.show(shown);
    const badge = await measure(page, '#backupBadge');
    const text = await measure(page, '#backupBadge .badge-word');
    if (meaning === 'good') assert_colour(text.color, 'green', word);
    else assert_colour(badge.background, meaning === 'bad' ? 'red' : 'amber', word);
    assert.ok(contrast_of_text(text) >= 4.5, `${word}: ${contrast_of_text(text)}`);
    if (meaning !== 'good') {
      const found = contrast_of_grounds(badge, normal);
      assert.ok(found >= 2, `${word}: ${found}`);
    }
  }
  for (const [changes, colour] of [
    [offline, 'red'],
    [starting, 'amber'],
  ]) {
    await view.show(status({ systems: [main(), backup(changes)], protection: undefined }));
    assert_colour((await measure(page, '#backupBadge')).background, colour);
  }
  await view.show(unconfigured);
  assert.deepEqual((await measure(page, '#backupBadge')).background, normal.background);
  assert_colour((await measure(page, '#backupBadge .badge-word')).color, 'grey');
});

test('the_dots_are_green_amber_and_red', async () => {
  const page = await view.open(status());
  for (const [word, colour] of [
    ['READY', 'green'],
    ['ENGINE STOPPED', 'amber'],
    ['OFFLINE', 'red'],
  ]) {
    await view.show(words[word][1]);
    assert_colour((await measure(page, '#mainDot')).background, colour, word);
  }
});

test('the_server_on_air_is_framed_and_headed_in_the_colour_of_its_role', async () => {
  const page = await view.open(status());
  const mark = (id) =>
    page.$eval(`#${id}`, (badge) => [
      badge.getAttribute('aria-current'),
      getComputedStyle(badge, '::after').content,
    ]);
  const on_air = ['true', '"ON AIR" / ""'];
  const off_air = [null, 'none'];
  const colours = [];
  for (const [shown, active, other] of [
    [status(), 'mainBadge', 'backupBadge'],
    [held, 'backupBadge', 'mainBadge'],
    [disarmed_fault, 'mainBadge', 'backupBadge'],
  ]) {
    await view.show(shown);
    assert.deepEqual(await mark(active), on_air);
    assert.deepEqual(await mark(other), off_air);
    const head = await measure(page, `#${active} .badge-who`);
    const { border } = await measure(page, `#${active}`);
    assert.deepEqual(head.background, border);
    assert.ok(contrast_of_text(head) >= 4.5);
    assert.ok(contrast_of_grounds(head, await measure(page, '.bar')) >= 3);
    colours.push(String(border));
  }
  assert.equal(new Set(colours).size, 2);
  await view.show(unconfigured);
  assert.deepEqual([await mark('mainBadge'), await mark('backupBadge')], [off_air, off_air]);
});

test('the_banner_is_red_with_alerts_and_amber_while_backup_is_held', async () => {
  const page = await view.open(status());
  const normal = await measure(page, '#vorBanner');
  for (const [shown, colour] of [
    [failed_over, 'red'],
    [disarmed_fault, 'red'],
    [held, 'amber'],
  ]) {
    await view.show(shown);
    const banner = await measure(page, '#vorBanner');
    assert_colour(banner.background, colour);
    assert.ok(contrast_of_grounds(banner, normal) >= 2);
    for (const part of ['p', 'b', 'button']) {
      const text = await measure(page, `#vorBanner ${part}`);
      assert.ok(contrast_of_text(text) >= 4.5, `${part}: ${contrast_of_text(text)}`);
    }
  }
  await view.show(status({ ...held, enabled: false }));
  assert.deepEqual((await measure(page, '#vorBanner')).background, normal.background);
});

test('a_banner_that_says_disarmed_is_told_from_an_armed_one_by_more_than_its_words', async () => {
  const page = await view.open(status());
  const disarmed = (shown) => ({ ...shown, protection: { ...shown.protection, armed: false } });
  for (const shown of [status(), held, failed_over]) {
    await view.show(shown);
    const banner = await measure(page, '#vorBanner');
    assert.deepEqual((await measure(page, '#vorBanner b')).background, banner.background);
    await view.show(disarmed(shown));
    const words = await measure(page, '#vorBanner b');
    assert.ok(contrast_of_grounds(words, banner) >= 2, `${contrast_of_grounds(words, banner)}`);
    assert.ok(contrast_of_text(words) >= 4.5, `${contrast_of_text(words)}`);
  }
});

test('an_acknowledged_alert_is_calmer_than_one_that_waits', async () => {
  const calm = alert(2, { acknowledged: true });
  const page = await view.open_protection(
    status({ protection: protection({ alerts: [alert(1), calm] }) }),
  );
  const waiting = await measure(page, '.vor-alert:last-child');
  const acknowledged = await measure(page, '.vor-alert:first-child');
  assert_colour(waiting.background, 'red');
  assert_colour(acknowledged.background, 'grey');
  assert.ok(contrast_of_grounds(waiting, acknowledged) >= 2);
  for (const part of ['b', 'span', 'small']) {
    assert.ok(contrast_of_text(await measure(page, `.vor-alert:last-child ${part}`)) >= 4.5);
  }
});

test('a_sync_chip_that_is_not_well_differs_from_one_that_is', async () => {
  const page = await view.open(status());
  const normal = await measure(page, '#syncBadge');
  for (const [changes, colour] of [
    [{ systems: [main(), backup({ replicationAppliedRevision: 11 })] }, 'amber'],
    [{ enabled: false }, 'red'],
  ]) {
    await view.show(status(changes));
    assert_colour((await measure(page, '#syncBadge')).background, colour);
    assert.ok(contrast_of_grounds(await measure(page, '#syncBadge'), normal) >= 2);
    for (const part of ['.chip-label', '#syncStatus']) {
      assert.ok(contrast_of_text(await measure(page, `#syncBadge ${part}`)) >= 4.5);
    }
  }
});

for (const name of ['main-on-air', 'failed-over', 'backup-held']) {
  test(`without_a_status_nothing_of_${name}_keeps_its_colour_but_the_sync_chip`, async () => {
    await page_states[name](view);
    const { page } = view;
    const seen = () =>
      page.$$eval('#mainBadge, #backupBadge, #vorBanner', (all) =>
        all.map((one) => getComputedStyle(one).filter),
      );
    const texts = () =>
      page.evaluate('[mainStatus, backupStatus, vorBanner].map((one) => one.textContent)');
    const dots = () => view.read('mainDot', 'backupDot');
    const before_it = [await texts(), await dots()];
    const { font_size } = await measure(page, '#syncStatus');
    assert.deepEqual(await seen(), ['none', 'none', 'none']);
    await view.show('away');
    assert.deepEqual(await seen(), Array(3).fill('grayscale(1)'));
    assert.deepEqual([await texts(), await dots()], before_it);
    const chip = await measure(page, '#syncStatus');
    assert_colour(chip.background, 'red');
    assert.ok(chip.font_size > font_size * 1.2);
    assert.ok(contrast_of_text(chip) >= 4.5);
    assert.ok(contrast_of_grounds(chip, await measure(page, '.bar')) >= 3);
    assert.equal(
      await page.$eval('#syncStatus', (one) => one.scrollWidth > one.clientWidth),
      false,
    );
    await view.show(failed_over);
    assert.deepEqual(await seen(), ['none', 'none', 'none']);
    view.complaints.length = 0; // the browser's own words about the failed requests
  });
}
