// What holds for the page as a whole: reach, size, accessibility, steadiness.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import { createRequire } from 'node:module';
import path from 'node:path';
import { test } from 'node:test';

import { root } from '../driver/environment.mjs';
import { call, Connection } from '../driver/http.mjs';
import { page_states } from './support/page_states.mjs';
import {
  action,
  alert,
  backup,
  health,
  main,
  nothing_active,
  offline,
  policy,
  protection,
  status,
} from './support/page_status.mjs';
import { PageView } from './support/page_view.mjs';

const axe = fs.readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');

const view = PageView.for_the_tests();

const busy = (changes) =>
  status({
    protection: protection({
      policy: policy({
        actions: [action()],
        outputRules: [{ mainId: 'out-1', backupId: 'gone', mode: 2 }],
      }),
      alerts: [
        alert(1),
        alert(2, { active: false, recovered: 5 }),
        alert(3, { severity: 'notice' }),
      ],
      heldOnBackup: true,
      ...changes,
    }),
  });
const stand_by = status({ ...nothing_active, enabled: false, systems: [main(offline)] });

test('the_document_is_small_and_whole', async () => {
  const { headers, body } = await call('127.0.0.1', 5270, 'GET', '/');
  assert.equal(Number(headers['content-length']), Buffer.byteLength(body));
  assert.ok(Buffer.byteLength(body) <= 72 * 1024);
  assert.ok(body.startsWith('<!doctype html>'));
  assert.ok(body.endsWith('</script>\n</body>\n</html>'));
  assert.doesNotMatch(body, /@[A-Z_]+@/);
});

test('the_page_s_sources_mean_the_same_without_indentation_and_trailing_blanks', () => {
  const folder = path.join(root, 'src', 'local', 'page');
  const files = fs
    .readdirSync(folder, { recursive: true, withFileTypes: true })
    .filter((one) => one.isFile());
  assert.ok(files.length > 20);
  for (const { parentPath, name } of files) {
    const text = fs.readFileSync(path.join(parentPath, name), 'utf8');
    assert.doesNotMatch(text, /[ \t]$/m, name);
    assert.doesNotMatch(text, /^.{101}/m, name);
    // The build strips what would be part of a text that goes over many lines.
    assert.doesNotMatch(text, /^[^`\n]*(`[^`\n]*`[^`\n]*)*`[^`\n]*$/m, name);
  }
});

test('no_text_or_tooltip_of_the_document_shows_where_its_source_was_broken', async () => {
  const page = await view.open(null);
  const texts = await page.evaluate(() => {
    const broken = (text) => text.trim() !== '' && /\n| {2}/.test(text);
    const parts = [...document.querySelectorAll('body *:not(script, style)')];
    return parts
      .flatMap((one) => [
        ...[...one.childNodes].filter(({ nodeType }) => nodeType === 3).map(({ data }) => data),
        ...[...one.attributes].map(({ value }) => value),
      ])
      .filter(broken);
  });
  assert.deepEqual(texts, []);
});

test('a_client_that_says_nothing_is_told_nothing', async () => {
  const silent = await Connection.open(5270);
  assert.equal(await silent.finish(), '');
});

test('it_asks_no_host_but_the_program_and_the_active_server', async () => {
  const page = await view.open_protection(busy());
  await page.click('text=Take Backup');
  await page.keyboard.press('Escape');
  await page.click('text=Configure Redundancy');
  assert.deepEqual([...view.hosts].sort(), ['10.77.0.11:5000', '127.0.0.1:5251', '127.0.0.1:5270']);
});

async function violations() {
  await view.page.evaluate(axe);
  const { violations: found } = await view.page.evaluate(() =>
    axe.run(
      { exclude: [['iframe']] },
      { runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa', 'best-practice'] },
    ),
  );
  return found.flatMap(({ id, nodes }) =>
    nodes.map(({ html, any }) => `${id}: ${html} ${any[0]?.message ?? ''}`),
  );
}

for (const [name, open] of Object.entries(page_states)) {
  test(`${name}_is_accessible`, async () => {
    await open(view, { viewport: { width: 1366, height: 768 } });
    assert.deepEqual(await violations(), []);
    view.complaints.length = 0; // the browser's own words about requests that a state lets fail
  });
}

for (const [width, height] of [
  [1024, 600],
  [1920, 1080],
]) {
  const options = { viewport: { width, height } };
  const pictures = {
    the_card: () => view.open(stand_by, options),
    the_frame: () => view.open(status(), options),
    faults: () => view.open(busy(), options),
    the_setup_dialog: () => view.open_setup(status(), options),
    the_protection_dialog: () => view.open_protection(busy(), options),
  };
  for (const [name, open] of Object.entries(pictures)) {
    test(`${name}_at_${width}_is_accessible`, async () => {
      await open();
      assert.deepEqual(await violations(), []);
    });
  }
}

test('messages_can_be_read_in_every_colour', async () => {
  const page = await view.open_setup();
  for (const kind of ['good', 'warntext', 'danger']) {
    await page.evaluate((name) => show_message(setupStatus, 'Something to read.', name), kind);
    assert.deepEqual(await violations(), []);
  }
});

for (const name of ['setup', 'protection']) {
  test(`the_keyboard_stays_in_the_${name}_dialog`, async () => {
    const page = await view[`open_${name}`](busy());
    // The way from the last control to the first may lead through the browser's own ones.
    const inside = () =>
      page.evaluate(
        () =>
          document.activeElement === document.body ||
          opened_dialog().contains(document.activeElement),
      );
    const count = await page.evaluate(
      () =>
        opened_dialog().querySelectorAll('button, input, select, textarea, [tabindex="0"]').length,
    );
    const reached = new Set();
    for (let step = 0; step <= count; step += 1) {
      await page.keyboard.press('Tab');
      assert.equal(await inside(), true, `step ${step}`);
      reached.add(
        await page.evaluate(() =>
          [...opened_dialog().querySelectorAll('*')].indexOf(document.activeElement),
        ),
      );
    }
    reached.delete(-1);
    assert.equal(reached.size, count);
    for (let step = 0; step < 3; step += 1) {
      await page.keyboard.press('Shift+Tab');
      assert.equal(await inside(), true);
    }
    // Nothing behind the dialog can be reached with the pointer either, though it is in sight.
    const at = async (id) => {
      const { x, y, width, height } = await page.locator(`#${id}`).boundingBox();
      return page.evaluate(
        ([left, top]) => document.elementFromPoint(left, top).closest('[id]').id,
        [x + width / 2, y + height / 2],
      );
    };
    const dialog = await page.evaluate('opened_dialog().id');
    for (const id of ['mainBadge', 'openSetup', 'vorBanner']) assert.equal(await at(id), dialog);
    await page.keyboard.press('Escape');
    assert.equal(await at('openSetup'), 'openSetup');
  });
}

for (const [name, close_button] of [
  ['setup', 'setupClose'],
  ['protection', 'vorCloseFoot'],
]) {
  test(`a_click_on_header_or_banner_leaves_the_${name}_dialog_open_and_one_below_closes_it`, async () => {
    const page = await view[`open_${name}`](busy());
    for (const place of ['mainBadge', 'openSetup', 'vorBanner']) {
      const { x, y, width, height } = await page.locator(`#${place}`).boundingBox();
      await page.mouse.click(x + width / 2, y + height / 2);
      assert.equal(await page.isVisible(`#${close_button}`), true, place);
    }
    const banner = await page.locator('#vorBanner').boundingBox();
    await page.mouse.click(3, banner.y + banner.height + 3);
    assert.equal(await page.isVisible(`#${close_button}`), false);
  });
}

test('the_setup_dialog_stands_in_the_middle_of_what_is_dimmed', async () => {
  const page = await view.open_setup(status(), { viewport: { width: 1920, height: 1400 } });
  const [ground, box] = await page.$$eval('#setupBg, #setupBg .dialog', (all) =>
    all.map((one) => one.getBoundingClientRect().toJSON()),
  );
  const [above, below] = [box.top - ground.top, ground.bottom - box.bottom];
  assert.ok(Math.abs(above - below) <= 1, `${above} px above it, ${below} px below`);
});

test('a_focused_control_is_marked', async () => {
  const page = await view.open(status());
  await page.keyboard.press('Tab');
  const outline = await page.evaluate(() => getComputedStyle(document.activeElement).outlineWidth);
  assert.ok(Number.parseFloat(outline) >= 2, outline);
});

const long = 'A server with a name that no header could ever hold in one piece '.repeat(4);
const different = [
  status(),
  busy(),
  status({
    active: 'backup',
    activeSerial: 'SER-B',
    enabled: false,
    protection: protection({ armed: false, systems: [] }),
  }),
  status({
    systems: [
      main({ workstation: long, replicationRevision: 123456 }),
      backup({
        workstation: long,
        replicationAppliedRevision: 123455,
        replicationPendingMedia: 999,
      }),
    ],
    streamDeckCount: 12,
  }),
  status({
    protection: protection({
      systems: [health('SER-A', { engineResponsive: false })],
      alerts: [alert(1, { message: long })],
    }),
  }),
];
for (const [width, height] of [
  [1024, 600],
  [1280, 720],
  [1920, 1080],
  [3840, 2160],
]) {
  test(`at_${width}_nothing_moves_whatever_a_poll_brings`, async () => {
    const page = await view.open(null, { viewport: { width, height } });
    const places = () =>
      page.$$eval('.bar > *, iframe, #workArea', (all) =>
        all.map((one) => JSON.stringify(one.getBoundingClientRect())),
      );
    await view.show(different[0]);
    const before_it = await places();
    const button = await page.locator('#vorBanner button').boundingBox();
    for (const each of [...different, 'away']) {
      await view.show(each);
      assert.deepEqual(await places(), before_it);
      assert.deepEqual(await page.locator('#vorBanner button').boundingBox(), button);
      const too_wide = await page.evaluate('document.documentElement.scrollWidth > innerWidth');
      assert.equal(too_wide, false);
    }
    view.complaints.length = 0; // the browser's own words about the failed request
  });

  test(`at_${width}_a_word_that_changes_shifts_nothing_around_it`, async () => {
    const page = await view.open(status(), { viewport: { width, height } });
    await page.evaluate(() => {
      window.shifted = [];
      new PerformanceObserver((list) => {
        for (const { sources } of list.getEntries())
          window.shifted.push(...sources.map(({ node }) => node?.nodeName));
      }).observe({ type: 'layout-shift', buffered: false });
    });
    for (const changes of [
      { engineRunning: false },
      { ageMs: 5000 },
      {},
      { telemetryAvailable: false },
    ]) {
      const systems = ['SER-A', 'SER-B'].map((serial) => health(serial, changes));
      const alerts = changes.engineRunning === false ? [alert(1)] : [];
      await view.show(status({ protection: protection({ systems, alerts }), streamDeckCount: 11 }));
      await page.evaluate(
        () => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))),
      );
    }
    // A text may give way to its neighbour within its own chip.
    assert.deepEqual(
      (await page.evaluate('shifted')).filter((name) => name !== '#text'),
      [],
    );
  });

  test(`at_${width}_the_word_of_a_badge_is_never_cut`, async () => {
    const page = await view.open(null, { viewport: { width, height } });
    const outputRules = [{ mainId: 'gone', backupId: 'gone', mode: 2 }];
    const systems = [main({ workstation: long }), backup({ workstation: long })];
    await view.show(
      status({ systems, protection: protection({ policy: policy({ outputRules }) }) }),
    );
    const cut = await page.$$eval('.badge-text', (all) =>
      all.map((text) => {
        const word = text.lastElementChild.getBoundingClientRect();
        return (
          text.lastElementChild.scrollWidth > Math.ceil(word.width) ||
          word.right > text.getBoundingClientRect().right + 1
        );
      }),
    );
    assert.deepEqual(cut, [false, false]);
    assert.equal(
      await page.innerText('#mainStatus'),
      `Main: ${long.trim()} PROTECTED OUTPUT FAULT`,
    );
  });

  test(`at_${width}_both_dialogs_fit_and_scroll_inside`, async () => {
    for (const open of ['open_setup', 'open_protection']) {
      const page = await view[open](busy(), { viewport: { width, height } });
      const box = await page.locator('.dialog:visible').boundingBox();
      assert.ok(
        box.x >= 0 && box.y >= 0 && box.x + box.width <= width && box.y + box.height <= height,
      );
      const foot = page.locator('.dialog:visible .dialog-foot button').last();
      await foot.click({ trial: true });
      assert.equal(
        await page.evaluate('document.documentElement.scrollHeight > innerHeight'),
        false,
      );
    }
  });
}

test('ten_minutes_of_polling_leave_memory_and_document_as_they_were', async () => {
  const page = await view.open_protection(busy());
  const session = await page.context().newCDPSession(page);
  await session.send('Performance.enable');
  const size = async () => {
    await session.send('HeapProfiler.collectGarbage');
    const { metrics } = await session.send('Performance.getMetrics');
    const of = (name) => metrics.find((metric) => metric.name === name).value;
    return { nodes: of('Nodes'), listeners: of('JSEventListeners'), heap: of('JSHeapUsedSize') };
  };
  // The API's answers, changing as they do in a show, without the time that the way to it takes.
  await page.evaluate(
    (answers) => {
      let asked = 0;
      window.fetch = async () => {
        asked += 1;
        const answer = structuredClone(answers[asked % answers.length]);
        answer.protection.alerts.push({ ...answer.protection.alerts[0], id: 1000 + (asked >> 3) });
        return new Response(JSON.stringify(answer));
      };
    },
    [busy(), busy({ armed: false }), busy({ systems: [] })],
  );
  const poll = (times) =>
    page.evaluate(async (count) => {
      for (let index = 0; index < count; index += 1) await refresh();
    }, times);
  await poll(150);
  const before_it = await size();
  await poll(1200);
  const after_it = await size();
  assert.equal(after_it.listeners, before_it.listeners);
  assert.ok(Math.abs(after_it.nodes - before_it.nodes) < 40, JSON.stringify([before_it, after_it]));
  assert.ok(after_it.heap - before_it.heap < 400_000, JSON.stringify([before_it, after_it]));
  await session.detach();
});
