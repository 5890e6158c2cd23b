// The setup dialog: what it shows, what it refuses, what it sends, and how it ends.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { in_time, until } from '../driver/waiting.mjs';
import { backup, hostile, main, nothing_active, offline, status } from './support/page_status.mjs';
import { PageView } from './support/page_view.mjs';

const view = PageView.for_the_tests();

const value = (id) => view.page.$eval(`#${id}`, (control) => control.value);
const checked = (id) => view.page.isChecked(`#${id}`);
const options = (id) =>
  view.page.$$eval(`#${id} option`, (all) => all.map((one) => [one.value, one.textContent]));
const checked_ids = () =>
  view.page.$$eval('.cmdCheck:checked', (all) => all.map((box) => Number(box.value)));
const save = () => view.page.click('#setupSave');
const message = async () => {
  const { setupStatus } = await view.read('setupStatus');
  return [setupStatus.text, setupStatus.dot.replace('message', '').trim()];
};
const until_message = (text) => view.until_text('setupStatus', text);
const closed = () => view.page.waitForSelector('#setupBg', { state: 'hidden' });

const table_ids = [
  1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 24, 25, 26, 27, 28, 29,
];
const titles = [
  'PadGrid Load Deck',
  'PadGrid Play Column',
  'PadGrid Stop',
  'PadGrid Next',
  'PadGrid Previous',
  'Load Timeline',
  'Start Timeline',
  'Pause Timeline',
  'Stop Timeline',
  'Timeline GOTO 60',
  'Timeline GOTO 30',
  'Timeline GOTO 10',
  'Next Placemark',
  'Previous Placemark',
  'Mute Pixel Space',
  'Mute Track',
  'Hide Track',
  'Timeline Breakout',
  'Play Background',
  'Clear Background',
  'Toggle Background Audio',
  'Hide / Restore Screens',
  'Clear All Layers',
];
const third = main({
  serial: 'SER-C',
  workstation: '',
  role: 'Independent',
  address: '',
  ...offline,
});

test('it_opens_with_what_the_status_holds', async () => {
  const systems = [main(), backup(), third, main({ serial: '', role: 'Independent' })];
  await view.open_setup(status({ systems, uiPort: 5300 }));
  assert.equal(await checked('enabled'), true);
  assert.equal(await value('uiPort'), '5300');
  assert.equal(await checked('openBrowserOnStart'), true);
  assert.deepEqual(await options('mainSelect'), [
    ['', 'Select system...'],
    ['SER-A', 'Stage left - Online (10.77.0.11)'],
    ['SER-B', 'Stage right - Online (10.77.0.12)'],
    ['SER-C', 'SER-C - Offline'],
  ]);
  assert.deepEqual(await options('backupSelect'), [
    ['', 'Select system...'],
    ['SER-B', 'Stage right - Online (10.77.0.12)'],
    ['SER-C', 'SER-C - Offline'],
  ]);
  assert.equal(await value('mainSelect'), 'SER-A');
  assert.equal(await value('backupSelect'), 'SER-B');
  assert.deepEqual(await checked_ids(), [1, 2, 3]);
  assert.equal(
    await view.text('configPath'),
    'Workstation configuration: /home/operator/operator-control.json',
  );
  assert.deepEqual(await message(), ['Main event pairing is synchronized.', '']);
});

const opening_cases = [
  ['enabled_only_if_exactly_true', { enabled: 1 }, () => checked('enabled'), false],
  ['not_enabled', { enabled: false }, () => checked('enabled'), false],
  ['the_default_port', { uiPort: undefined }, () => value('uiPort'), '5270'],
  [
    'the_browser_unless_exactly_false',
    { openBrowserOnStart: undefined },
    () => checked('openBrowserOnStart'),
    true,
  ],
  ['no_browser', { openBrowserOnStart: false }, () => checked('openBrowserOnStart'), false],
  ['all_commands_without_a_set', { sharedFunctionIds: undefined }, checked_ids, table_ids],
  ['no_command_of_an_empty_set', { sharedFunctionIds: [] }, checked_ids, []],
  ['no_main', { systems: [backup()] }, () => value('mainSelect'), ''],
  ['no_backup', { systems: [main()] }, () => value('backupSelect'), ''],
  [
    'no_path',
    { configPath: '' },
    () => view.text('configPath'),
    'Workstation configuration: operator-control.json',
  ],
];
for (const [name, changes, read, wanted] of opening_cases) {
  test(`it_opens_with_${name}`, async () => {
    await view.open_setup(status(changes));
    assert.deepEqual(await read(), wanted);
  });
}

test('every_control_has_its_words_and_its_tooltip', async () => {
  const page = await view.open_setup();
  const dialog = page.getByRole('dialog', { name: 'Elvantris Redundancy Control' });
  for (const [label, tooltip] of [
    [
      'Enable live Main / Backup operation',
      'Enable automatic Main / Backup operation and failover.',
    ],
    ['Main system', 'Select the preferred Main Elvantris system.'],
    ['Backup system', 'Select the redundant Backup Elvantris system.'],
    [
      'Control UI port',
      'Local port for the Redundancy Control browser UI. Valid range: 1024–65535.',
    ],
    [
      'Open browser when Redundancy Control is launched manually',
      'Open the Redundancy Control browser shell after a manual application launch.',
    ],
    ...titles.map((title) => [
      title,
      `Mirror ${title} to the Backup system when redundancy is enabled.`,
    ]),
  ]) {
    assert.equal(await dialog.getByLabel(label, { exact: true }).getAttribute('title'), tooltip);
  }
  for (const [name, tooltip] of [
    ['Recommended', 'Restore the recommended shared-command selection.'],
    ['Select All', 'Enable mirroring for every listed operational command.'],
    ['Clear All', 'Disable mirroring for every listed operational command.'],
    [
      'Rediscover Systems',
      'Send a discovery request now instead of waiting for the normal automatic discovery cycle.',
    ],
  ]) {
    assert.equal(
      await dialog.getByRole('button', { name, exact: true }).getAttribute('title'),
      tooltip,
    );
  }
  const heads = await dialog.locator('h2, h3').allTextContents();
  assert.deepEqual(heads, [
    'Elvantris Redundancy Control',
    'System Pair',
    'Shared Operational Commands',
    'Controller State',
  ]);
  assert.equal(
    await page.getAttribute('#commandsHead', 'title'),
    'Choose which non-Stream-Deck operational commands should also be mirrored to Backup.',
  );
  assert.equal(
    await view.text('pairHint'),
    'The pairing is stored on this Redundancy Control workstation and synchronized into the Main event when Main is online.',
  );
  const ids = await page.$$eval('.cmdCheck', (all) => all.map((box) => Number(box.value)));
  assert.deepEqual(ids, table_ids);
  assert.deepEqual(await page.evaluate('recommendedIds'), table_ids);
  const buttons = await dialog.getByRole('button').allTextContents();
  assert.deepEqual(buttons, [
    'Close',
    'Recommended',
    'Select All',
    'Clear All',
    'Rediscover Systems',
    'Cancel',
    'Save Configuration',
  ]);
});

test('another_main_is_taken_out_of_the_backups_and_the_choice_stays_if_it_can', async () => {
  const page = await view.open_setup(status({ systems: [main(), backup(), third] }));
  await page.selectOption('#mainSelect', 'SER-C');
  assert.deepEqual(
    (await options('backupSelect')).map(([serial]) => serial),
    ['', 'SER-A', 'SER-B'],
  );
  assert.equal(await value('backupSelect'), 'SER-B');
  await page.selectOption('#mainSelect', 'SER-B');
  assert.deepEqual(
    (await options('backupSelect')).map(([serial]) => serial),
    ['', 'SER-A', 'SER-C'],
  );
  assert.equal(await value('backupSelect'), '');
});

test('the_buttons_choose_commands', async () => {
  const page = await view.open_setup();
  await page.click('text=Clear All');
  assert.deepEqual(await checked_ids(), []);
  await page.click('text=Select All');
  assert.deepEqual(await checked_ids(), table_ids);
  await page.click('text=Clear All');
  await page.click('text=Recommended');
  assert.deepEqual(await checked_ids(), table_ids);
});

test('polling_does_not_disturb_an_edit', async () => {
  const page = await view.open_setup(status({ systems: [main(), backup(), third] }));
  await page.uncheck('#enabled');
  await page.fill('#uiPort', '6000');
  await page.selectOption('#backupSelect', 'SER-C');
  await page.click('text=Clear All');
  await page.focus('#uiPort');
  await view.show(
    status({ uiPort: 5400, sharedFunctionIds: [5], policySyncMessage: 'Something else.' }),
  );
  assert.equal(await checked('enabled'), false);
  assert.equal(await value('uiPort'), '6000');
  assert.equal(await value('backupSelect'), 'SER-C');
  assert.deepEqual(await checked_ids(), []);
  assert.deepEqual(await message(), ['Main event pairing is synchronized.', '']);
  assert.equal(await page.evaluate('document.activeElement.id'), 'uiPort');
});

test('what_is_wrong_is_said_in_order_and_nothing_is_sent', async () => {
  const page = await view.open_setup(status({ systems: [main(), backup()] }));
  const port_error = 'Control UI port must be between 1024 and 65535.';
  await page.selectOption('#backupSelect', '');
  for (const port of ['1023', '65536', '', '-1']) {
    await page.fill('#uiPort', port);
    await save();
    assert.deepEqual(await message(), [port_error, 'danger'], port);
  }
  for (const port of ['1024', '65535']) {
    await page.fill('#uiPort', port);
    await save();
    assert.deepEqual(await message(), ['Choose both a Main and a Backup.', 'danger'], port);
  }
  await page.selectOption('#mainSelect', '');
  await save();
  assert.deepEqual(await message(), ['Choose both a Main and a Backup.', 'danger']);
  assert.deepEqual(view.posts, []);
});

for (const enabled of [true, false]) {
  test(`the_same_system_twice_is_refused_with_the_pair_${enabled ? 'on' : 'off'}`, async () => {
    const page = await view.open_setup();
    await page.setChecked('#enabled', enabled);
    // The lists never offer it; the form is judged all the same.
    await page.evaluate("backupSelect.append(new Option('again', 'SER-A', true, true))");
    await save();
    assert.deepEqual(await message(), ['Main and Backup must be different systems.', 'danger']);
    assert.deepEqual(view.posts, []);
  });
}

test('a_disabled_pair_may_be_left_open', async () => {
  const page = await view.open_setup();
  await page.uncheck('#enabled');
  await page.selectOption('#backupSelect', '');
  await save();
  await until('it is sent', () => view.posts.length === 1);
  assert.equal(view.posts[0].body.backupSerial, '');
  await closed();
});

test('saving_sends_the_form_as_plain_text_and_drops_ids_outside_the_table', async () => {
  const page = await view.open_setup(status({ sharedFunctionIds: [2, 20, 29] }));
  view.reply = {
    status: 200,
    json: {
      ok: true,
      serverUpdated: true,
      uiPort: 5270,
      uiPortChanged: false,
      message: 'Written.',
    },
  };
  await page.uncheck('#openBrowserOnStart');
  await save();
  await until_message('Written.');
  assert.deepEqual(view.posts, [
    {
      path: '/api/configure',
      type: 'text/plain',
      body: {
        enabled: true,
        mainSerial: 'SER-A',
        backupSerial: 'SER-B',
        uiPort: 5270,
        openBrowserOnStart: false,
        sharedFunctionIds: [2, 29],
      },
    },
  ]);
  assert.deepEqual(await message(), ['Written.', 'good']);
  await closed();
});

const saved = (changes) => ({
  status: 200,
  json: {
    ok: true,
    serverUpdated: false,
    uiPort: 5270,
    uiPortChanged: false,
    message: '',
    ...changes,
  },
});

// How long the dialog stays once this message is shown, by the page's own clock.
const watch_message = (text) =>
  view.page.evaluate((wanted) => {
    window.stay = new Promise((resolve) => {
      let shown;
      const look = () => {
        if (setupStatus.textContent === wanted)
          shown ??= [performance.now(), setupStatus.className];
        if (shown && !setupBg.open) resolve([performance.now() - shown[0], shown[1]]);
      };
      const every_change = {
        attributes: true,
        childList: true,
        characterData: true,
        subtree: true,
      };
      new MutationObserver(look).observe(setupBg, every_change);
    });
  }, text);

for (const [name, reply, text, kind, least, most] of [
  [
    'a_good_save_closes_soon',
    saved({ serverUpdated: true }),
    'Configuration saved.',
    'good',
    600,
    1300,
  ],
  [
    'a_warning_stays_longer',
    saved({ message: 'Main is offline.' }),
    'Main is offline.',
    'warntext',
    1400,
    2400,
  ],
]) {
  test(name, () =>
    in_time('it closes', async () => {
      await view.open_setup();
      await watch_message(text);
      view.reply = reply;
      await save();
      const [took, shown_as] = await view.page.evaluate('stay');
      assert.equal(shown_as.replace('message', '').trim(), kind);
      assert.ok(took > least, `${took} ms`);
      return took < most;
    }),
  );
}

const failed = 'Unable to save configuration: ';
for (const [name, reply, text] of [
  ['a_refusal', { status: 400, json: { ok: false, error: 'No such system.' } }, 'No such system.'],
  ['a_refusal_without_words', { status: 400, json: { ok: false } }, 'Save failed'],
  ['a_failed_status_that_says_ok', { status: 404, json: { ok: true } }, 'Save failed'],
  ['an_ok_that_is_not_true', { status: 200, json: { ok: 1 } }, 'Save failed'],
  ['no_answer', 'away', 'Failed to fetch'],
]) {
  test(`${name}_is_shown_and_the_dialog_stays_open`, async () => {
    await view.open_setup();
    view.reply = reply;
    await save();
    await until_message(failed + text);
    assert.deepEqual(await message(), [failed + text, 'danger']);
    assert.equal(await view.visible('setupBg'), true);
    assert.equal(await value('mainSelect'), 'SER-A');
    view.complaints.length = 0; // the browser's own words about the failed request
  });
}

// A save that ends with a message and would close the dialog soon.
async function save_with_a_warning() {
  const page = await view.open_setup();
  await view.hold_timers();
  view.reply = saved({ message: 'Main is offline.' });
  await save();
  await until_message('Main is offline.');
  return page;
}
const refused = { status: 400, json: { ok: false, error: 'No such system.' } };
const second_saves = [
  [
    'is_refused',
    async () => {
      view.reply = refused;
      await save();
      await until_message(`${failed}No such system.`);
    },
  ],
  [
    'is_on_its_way',
    async () => {
      await view.hold('/api/configure');
      await save();
      await until_message('Saving configuration...');
    },
  ],
  [
    'is_not_even_sent',
    async (page) => {
      await page.fill('#uiPort', '1');
      await save();
      await until_message('Control UI port must be between 1024 and 65535.');
    },
  ],
];
for (const [name, save_again] of second_saves) {
  test(`a_save_that_${name}_keeps_the_dialog_open_whatever_the_one_before`, async () => {
    const page = await save_with_a_warning();
    await save_again(page);
    const shown = await message();
    await view.run_timers();
    assert.equal(await view.visible('setupBg'), true);
    assert.deepEqual(await message(), shown);
    view.complaints.length = 0; // the browser's own words about a refusal
  });
}

test('two_saves_in_a_row_leave_a_dialog_alone_that_was_opened_again', async () => {
  const page = await save_with_a_warning();
  view.reply = saved({ message: 'Main is still offline.' });
  await save();
  await until_message('Main is still offline.');
  await page.keyboard.press('Escape');
  await page.click('text=Configure Redundancy');
  await view.run_timers();
  assert.equal(await view.visible('setupBg'), true);
});

test('a_second_save_closes_the_dialog_like_a_first', async () => {
  await save_with_a_warning();
  view.reply = saved({ serverUpdated: true, message: 'Written.' });
  await save();
  await until_message('Written.');
  await view.run_timers();
  assert.equal(await view.visible('setupBg'), false);
});

test('while_a_save_is_on_its_way_the_dialog_says_so_and_sends_no_second', async () => {
  await view.open_setup();
  const held = await view.hold('/api/configure');
  await save();
  assert.deepEqual(await message(), ['Saving configuration...', '']);
  await save();
  held.release();
  await closed();
  assert.equal(view.posts.length, 1);
});

// A save that the API is busy with, and a poll that waits behind it.
async function save_before_a_poll() {
  const page = await view.open_setup();
  await view.stop_polling();
  await view.hold_limits();
  const held = await view.hold('/api/configure');
  await save();
  const polls = await view.hold('/api/status');
  const poll = page.evaluate('refresh()');
  await until('the poll waits', () => polls.waiting() === 1);
  return { page, held, polls, poll };
}

test('a_poll_behind_a_save_is_not_given_up_and_the_save_succeeds', async () => {
  const { page, held, polls } = await save_before_a_poll();
  await page.evaluate(() => {
    window.chip = [];
    new MutationObserver(() => window.chip.push(syncStatus.textContent)).observe(syncStatus, {
      childList: true,
      characterData: true,
      subtree: true,
    });
  });
  view.reply = saved({ serverUpdated: true, message: 'Written.' });
  await view.pass_limits(29999);
  held.release();
  polls.release();
  await until_message('Written.');
  await closed();
  assert.deepEqual(await page.evaluate('chip'), []);
  assert.equal(await view.text('syncStatus'), 'In Sync · Rev 12');
});

test('behind_a_save_that_never_ends_the_status_is_given_up_after_thirty_seconds', async () => {
  const { poll } = await save_before_a_poll();
  await view.pass_limits(30000);
  await poll;
  assert.equal(await view.text('syncStatus'), 'Unavailable');
  assert.deepEqual(await message(), ['Saving configuration...', '']);
});

const late_saves = [
  ['a_success', () => saved({ serverUpdated: true, message: 'Written.' }), 'Written.', 'good'],
  ['a_warning', () => saved({ message: 'Main is offline.' }), 'Main is offline.', 'warntext'],
  ['a_refusal', () => refused, `${failed}No such system.`, 'danger'],
];
for (const [name, reply, text, kind] of late_saves) {
  test(`${name}_that_comes_after_the_dialog_was_closed_is_shown_all_the_same`, async () => {
    const page = await view.open_setup();
    view.reply = reply();
    const held = await view.hold('/api/configure');
    await save();
    await page.keyboard.press('Escape');
    held.release();
    await view.until_text('lateResult', text);
    assert.equal(await view.visible('lateResult'), true);
    assert.match((await view.read('lateResult')).lateResult.dot, new RegExp(kind));
    assert.deepEqual(await message(), [text, kind]);
    view.complaints.length = 0; // the browser's own words about a refusal
  });

  test(`${name}_that_comes_late_is_told_in_a_dialog_opened_again_and_leaves_it_open`, async () => {
    const page = await view.open_setup();
    view.reply = reply();
    const held = await view.hold('/api/configure');
    await save();
    await page.keyboard.press('Escape');
    await page.click('text=Configure Redundancy');
    await page.evaluate(() => {
      window.timers = [];
      const { setTimeout } = window;
      window.setTimeout = (act, ms) => window.timers.push(ms) && setTimeout(act, ms);
    });
    held.release();
    await view.until_text('lateResult', text);
    assert.deepEqual(await message(), [text, kind]);
    assert.deepEqual(
      (await page.evaluate('timers')).filter((ms) => ms < 10000),
      [],
    );
    assert.equal(await view.visible('setupBg'), true);
    assert.equal(await view.visible('lateResult'), true);
    view.complaints.length = 0; // the browser's own words about a refusal
  });
}

test('a_dialog_opened_again_saves_beside_the_save_before', async () => {
  const page = await view.open_setup();
  const held = await view.hold('/api/configure');
  await save();
  await page.keyboard.press('Escape');
  await page.click('text=Configure Redundancy');
  await page.uncheck('#enabled');
  await save();
  await until('both are on their way', () => held.waiting() === 2);
  held.release();
  await closed();
  assert.deepEqual(view.posts.map(({ body }) => body.enabled).sort(), [false, true]);
});

test('a_save_is_followed_by_a_look_at_the_status', async () => {
  await view.open_setup();
  await view.stop_polling();
  view.status = status({ streamDeckCount: 7 });
  await save();
  await closed();
  await view.until_text('deckStatus', '7');
  assert.deepEqual(
    (await view.until_requests(2)).map(({ path }) => path),
    ['/api/configure', '/api/status'],
  );
});

test('replies_that_look_like_markup_stay_text', async () => {
  await view.open_setup(status({ policySyncMessage: hostile }));
  assert.equal((await message())[0], hostile);
  view.reply = { status: 400, json: { ok: false, error: hostile } };
  await save();
  await until_message(failed + hostile);
  view.complaints.length = 0; // the browser's own words about the refusal
  view.reply = saved({ message: hostile });
  await save();
  await until_message(hostile);
  await view.assert_no_markup_taken();
});

const switching = 'Configuration saved. Switching Redundancy Control to port 5300...';
const no_reconnect =
  'Port saved, but the browser could not reconnect automatically. Reopen Redundancy Control from the tray/menu-bar icon.';
async function change_port() {
  const page = await view.open_setup();
  view.reply = saved({ uiPort: 5300, uiPortChanged: true, serverUpdated: true });
  await page.fill('#uiPort', '5300');
  view.status = status({ uiPort: 5300, runtimeUiPort: 5270 });
  await save();
  await until_message(switching);
  return page;
}

test('a_changed_port_is_followed_once_the_program_listens_there', async () => {
  const page = await change_port();
  assert.deepEqual(await message(), [switching, 'good']);
  view.status = 'away'; // a failed call is only a try
  await page.waitForTimeout(450);
  assert.equal(page.url(), 'http://127.0.0.1:5270/');
  await page.route('http://127.0.0.1:5300/', (route) =>
    route.fulfill({ contentType: 'text/html', body: 'moved' }),
  );
  view.status = status({ uiPort: 5300, runtimeUiPort: 5300 });
  await page.waitForURL('http://127.0.0.1:5300/');
  view.complaints.length = 0; // the browser's own words about the failed requests
});

test('a_port_that_was_put_back_is_told_after_the_dialog_was_closed_too', async () => {
  const page = await change_port();
  await page.keyboard.press('Escape');
  view.status = status();
  await view.until_text('lateResult', no_reconnect);
});

test('a_port_that_was_put_back_ends_the_waiting_and_leaves_the_dialog_open', async () => {
  const page = await change_port();
  view.status = status();
  await until_message(no_reconnect);
  assert.deepEqual(await message(), [no_reconnect, 'warntext']);
  assert.equal(await view.visible('setupBg'), true);
  assert.equal(page.url(), 'http://127.0.0.1:5270/');
});

test('the_tries_for_a_new_port_are_200_ms_apart', async () => {
  const page = await view.open_setup();
  const pauses = await page.evaluate(async () => {
    const asked = [];
    window.fetch = async () => new Response(JSON.stringify({ uiPort: 5300, runtimeUiPort: 5270 }));
    window.setTimeout = (act, ms) => asked.push(ms) && queueMicrotask(act);
    await move_to_port(5300);
    return asked;
  });
  assert.deepEqual(pauses, Array(30).fill(200));
});

test('after_thirty_tries_the_waiting_ends', async () => {
  const page = await view.open_setup();
  const outcome = await page.evaluate(async () => {
    let tries = 0;
    window.fetch = async () => {
      tries += 1;
      return new Response(JSON.stringify({ uiPort: 5300, runtimeUiPort: 5270, systems: [] }));
    };
    clearInterval(1);
    window.setTimeout = (act) => queueMicrotask(act);
    const before_it = tries;
    const moved = await move_to_port(5300);
    return { moved, tries: tries - before_it };
  });
  assert.equal(outcome.moved, false);
  assert.equal(outcome.tries, 30);
});

test('rediscover_posts_and_looks_again_whatever_comes_of_it', async () => {
  for (const [reply, said] of [
    [
      { status: 200, json: { ok: true } },
      'Discovery has ended. Open this dialog again to see what was found.',
    ],
    [{ status: 404, json: {} }, 'Main event pairing is synchronized.'],
    ['away', 'Main event pairing is synchronized.'],
  ]) {
    await in_time('it looks again soon', async () => {
      const page = await view.open_setup();
      await view.stop_polling();
      view.reply = reply;
      view.status = status({ streamDeckCount: 7 });
      await page.click('text=Rediscover Systems');
      const [discover, look] = await view.until_requests(2);
      assert.deepEqual([discover.path, look.path], ['/api/discover', '/api/status']);
      const waited = look.sent - discover.answered;
      assert.ok(waited > 245, `${waited} ms`);
      await view.until_text('deckStatus', '7');
      assert.equal(view.posts.length, 1);
      await until_message(said);
      view.complaints.length = 0;
      return waited < 1000;
    });
  }
});

test('an_escape_before_anything_was_clicked_closes_it_like_any_other', async () => {
  const page = await view.open(status(), { query: '?configure=1' });
  await page.waitForSelector('#setupBg', { state: 'visible' });
  await page.keyboard.press('Escape');
  await closed();
  await page.waitForFunction('notices.parentElement === document.body');
  await page.evaluate('setupBg.showModal(); setupBg.append(notices); setupBg.close()');
  await page.waitForFunction('notices.parentElement === document.body');
});

test('configure_1_opens_it_once_after_the_first_status', async () => {
  const page = await view.open(status(), { query: '?configure=1' });
  await page.waitForSelector('#setupBg', { state: 'visible' });
  await page.click('text=Cancel');
  await view.show(status());
  assert.equal(await view.visible('setupBg'), false);
  for (const query of ['?configure=0', '?configure', '?other=1']) {
    await view.open(status(), { query });
    await view.show(status());
    assert.equal(await view.visible('setupBg'), false, query);
  }
});

test('without_a_status_it_asks_for_one_before_it_opens', async () => {
  const page = await view.open(null);
  view.status = status({ ...nothing_active, uiPort: 5333 });
  await page.click('text=Configure Systems');
  await page.waitForSelector('#setupBg', { state: 'visible' });
  assert.equal(await value('uiPort'), '5333');
});

async function until_all_is_shown() {
  await view.page.waitForFunction('requests.every(({ answered }) => answered)');
  await view.page.evaluate('new Promise(requestAnimationFrame)');
}

// A discovery that has been asked for ends: it was held since `held`.
async function end_discovery(held) {
  await view.stop_polling();
  held.release();
  await view.until_requests(1);
  await until_all_is_shown();
}

const since_discovery = [
  ['a_refused_form', (page) => page.fill('#uiPort', '1').then(save)],
  [
    'a_save_on_its_way',
    async () => {
      await view.hold('/api/configure');
      await save();
    },
  ],
  [
    'a_failed_save',
    async () => {
      view.reply = refused;
      await save();
      await until_message(`${failed}No such system.`);
    },
  ],
  [
    'the_dialog_opened_again',
    async (page) => {
      await page.keyboard.press('Escape');
      await page.click('text=Configure Redundancy');
    },
  ],
];
for (const [name, meanwhile] of since_discovery) {
  test(`a_discovery_that_ends_says_nothing_over_${name}`, async () => {
    const page = await view.open_setup();
    const held = await view.hold('/api/discover');
    await page.click('text=Rediscover Systems');
    await meanwhile(page);
    const shown = await message();
    await end_discovery(held);
    assert.deepEqual(await message(), shown);
    view.complaints.length = 0; // the browser's own words about a refusal
  });
}

test('a_discovery_that_nobody_could_hear_of_is_not_said_to_have_ended', async () => {
  const page = await open_unread_setup();
  view.reply = 'away';
  await page.evaluate('requests.length = 0');
  await page.click('text=Rediscover Systems');
  await view.until_requests(2);
  await until_all_is_shown();
  assert.deepEqual(await message(), [unavailable, 'danger']);
  view.complaints.length = 0; // the browser's own words about the failed requests
});

test('a_discovery_asked_for_during_a_save_leaves_its_message', async () => {
  const page = await view.open_setup();
  await view.hold('/api/configure');
  await save();
  const held = await view.hold('/api/discover');
  await page.click('text=Rediscover Systems');
  await end_discovery(held);
  assert.deepEqual(await message(), ['Saving configuration...', '']);
});

const unavailable = 'Redundancy Control status service unavailable.';
const form = async () => ({
  enabled: await checked('enabled'),
  main: await options('mainSelect'),
  backup: await options('backupSelect'),
  port: await value('uiPort'),
  browser: await checked('openBrowserOnStart'),
  commands: await checked_ids(),
  path: await view.text('configPath'),
});
const fallbacks = {
  enabled: false,
  main: [['', 'Select system...']],
  backup: [['', 'Select system...']],
  port: '5270',
  browser: true,
  commands: table_ids,
  path: 'Workstation configuration: operator-control.json',
};
const stored = () => status({ uiPort: 5333, openBrowserOnStart: false });

// The dialog as it opens while no status has ever been read; none comes but what the test asks for.
async function open_unread_setup() {
  const page = await view.open('away');
  await view.until_text('syncStatus', 'Unavailable');
  await view.stop_polling();
  await page.click('text=Configure Redundancy');
  await page.waitForSelector('#setupBg', { state: 'visible' });
  return page;
}

test('without_any_status_it_opens_with_the_defaults_and_says_why', async () => {
  await open_unread_setup();
  assert.deepEqual(await form(), fallbacks);
  assert.deepEqual(await message(), [unavailable, 'danger']);
  view.complaints.length = 0; // the browser's own words about the failed requests
});

test('the_first_status_fills_a_dialog_that_nobody_has_touched', async () => {
  const page = await open_unread_setup();
  await view.show(stored());
  const { enabled, port, browser, commands } = await form();
  assert.deepEqual([enabled, port, browser, commands], [true, '5333', false, [1, 2, 3]]);
  assert.equal(await value('mainSelect'), 'SER-A');
  assert.deepEqual(await message(), ['Main event pairing is synchronized.', '']);
  await view.show(status({ uiPort: 5334 }));
  assert.equal(await value('uiPort'), '5333');
  await page.fill('#uiPort', '6000');
  await save();
  await closed();
  assert.equal(view.posts[0].body.uiPort, 6000);
  view.complaints.length = 0; // the browser's own words about the failed requests
});

test('what_was_edited_without_a_status_stays_and_the_rest_is_filled_by_the_first', async () => {
  const page = await open_unread_setup();
  await page.click('text=Clear All');
  await view.show(stored());
  const { enabled, port, browser, commands } = await form();
  assert.deepEqual([enabled, port, browser, commands], [true, '5333', false, []]);
  assert.deepEqual(await message(), ['Main event pairing is synchronized.', '']);
  await save();
  await closed();
  const { uiPort, mainSerial, sharedFunctionIds } = view.posts[0].body;
  assert.deepEqual([uiPort, mainSerial, sharedFunctionIds], [5333, 'SER-A', []]);
  view.complaints.length = 0; // the browser's own words about the failed requests
});

for (const [name, answer, text] of [
  ['cannot_be_asked', 'away', 'Failed to fetch'],
  ['refuses', 'broken', 'Save failed'],
  ['answers_something_else', '[]', 'Save failed'],
]) {
  test(`a_save_of_defaults_fails_in_words_if_the_program_${name}`, async () => {
    const page = await open_unread_setup();
    await page.fill('#uiPort', '6000');
    view.status = answer;
    await save();
    await until_message(failed + text);
    assert.deepEqual(await message(), [failed + text, 'danger']);
    assert.equal(await value('uiPort'), '6000');
    // Nothing was saved, so nothing may look as if it were.
    await view.show(stored());
    assert.deepEqual(await message(), [failed + text, 'danger']);
    assert.deepEqual(view.posts, []);
    view.complaints.length = 0; // the browser's own words about the failed requests
  });
}

test('a_save_without_a_status_reads_what_is_stored_and_sends_the_edits_on_top_of_it', async () => {
  const page = await open_unread_setup();
  await page.fill('#uiPort', '6000');
  const held = await view.hold('/api/status');
  view.status = stored();
  await save();
  assert.deepEqual(await message(), ['Saving configuration...', '']);
  await save();
  await page.keyboard.press('Escape');
  assert.deepEqual(view.posts, []);
  assert.equal(held.waiting(), 1);
  held.release();
  await view.until_text('lateResult', 'Configuration saved.');
  assert.deepEqual(
    view.posts.map(({ body }) => body),
    [
      {
        enabled: true,
        mainSerial: 'SER-A',
        backupSerial: 'SER-B',
        uiPort: 6000,
        openBrowserOnStart: false,
        sharedFunctionIds: [1, 2, 3],
      },
    ],
  );
  view.complaints.length = 0; // the browser's own words about the failed requests
});

test('with_a_last_status_it_shows_what_that_said_and_marks_that_none_comes', async () => {
  const page = await view.open(status());
  await view.show('away');
  await page.click('text=Configure Redundancy');
  assert.deepEqual(await message(), ['Main event pairing is synchronized.', '']);
  assert.equal(await value('uiPort'), '5270');
  const mark = () =>
    page.$eval('#setupTitle', (title) => getComputedStyle(title, '::after').content);
  assert.match(await mark(), /NO STATUS/);
  await view.show(status());
  assert.equal(await mark(), 'none');
  view.complaints.length = 0; // the browser's own words about the failed requests
});

test('after_a_failed_first_poll_configure_1_opens_it_with_the_first_status', async () => {
  const page = await view.open('away', { query: '?configure=1' });
  await view.until_text('syncStatus', 'Unavailable');
  assert.equal(await view.visible('setupBg'), false);
  view.status = status();
  await page.waitForSelector('#setupBg', { state: 'visible' });
  assert.equal(await value('mainSelect'), 'SER-A');
  view.complaints.length = 0; // the browser's own words about the failed requests
});

test('the_focus_goes_to_the_header_if_the_card_that_had_it_is_gone', async () => {
  const page = await view.open(status(nothing_active));
  await page.click('text=Configure Systems');
  await view.show(status());
  assert.equal(await view.visible('standby'), false);
  await page.keyboard.press('Escape');
  assert.equal(await page.evaluate('document.activeElement.id'), 'openSetup');
});

test('a_second_click_before_the_first_status_leaves_the_edit_alone', async () => {
  const page = await view.open(null);
  await view.stop_polling();
  const polls = await view.collect('/api/status');
  await page.click('text=Configure Redundancy');
  await page.click('text=Configure Redundancy');
  await until('both ask for a status', () => polls.length === 2);
  await view.fulfill(polls[0], { status: 200, json: status() });
  await page.waitForSelector('#setupBg', { state: 'visible' });
  await page.fill('#uiPort', '6000');
  await view.fulfill(polls[1], { status: 200, json: status({ streamDeckCount: 7 }) });
  await view.until_text('deckStatus', '7');
  assert.equal(await value('uiPort'), '6000');
  assert.equal(await page.evaluate('document.activeElement.id'), 'uiPort');
});

for (const way of ['Close', 'Cancel', 'Escape', 'background']) {
  test(`${way}_closes_it_without_saving_and_hands_the_focus_back`, async () => {
    const page = await view.open_setup(status(nothing_active));
    if (way === 'Escape') await page.keyboard.press('Escape');
    else if (way === 'background') await page.mouse.click(5, 400);
    else await page.click(`#setupBg >> text="${way}"`);
    assert.equal(await view.visible('setupBg'), false);
    assert.equal(await page.evaluate('document.activeElement.id'), 'openSetup');
    assert.deepEqual(view.posts, []);
  });
}

test('a_click_on_the_dialog_itself_keeps_it_open', async () => {
  const page = await view.open_setup();
  await page.click('#setupTitle');
  // Marking text and letting go outside is no click on the background.
  await page.locator('#setupTitle').hover();
  await page.mouse.down();
  await page.mouse.move(5, 400);
  await page.mouse.up();
  assert.equal(await view.visible('setupBg'), true);
});
