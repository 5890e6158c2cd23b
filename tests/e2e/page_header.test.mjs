// The header: badges, sync chip, deck chip, and what becomes of them when the API goes away.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { in_time, until } from '../driver/waiting.mjs';
import {
  alert,
  backup,
  hostile,
  main,
  nothing_active,
  offline,
  policy,
  protection,
  starting,
  status,
} from './support/page_status.mjs';
import { PageView } from './support/page_view.mjs';

const view = PageView.for_the_tests();

const plain = (changes) => status({ protection: undefined, ...changes });
const pair = (main_changes, backup_changes) => ({
  systems: [main(main_changes), backup(backup_changes)],
});

test('before_the_first_status_the_header_shows_its_starting_texts', async () => {
  await view.open(null);
  const shown = await view.read('mainStatus', 'backupStatus', 'syncStatus', 'deckStatus');
  assert.equal(shown.mainStatus.text, 'Main: --');
  assert.equal(shown.backupStatus.text, 'Backup: --');
  assert.equal(shown.syncStatus.text, 'Starting');
  assert.equal(shown.deckStatus.text, '0');
  const chips = await view.read('syncBadge', 'deckBadge');
  assert.equal(chips.syncBadge.text.trim(), 'Show Sync Starting');
  assert.equal(chips.syncBadge.title, 'Controller starting...');
  assert.equal(chips.deckBadge.text.trim(), 'Stream Decks 0');
  assert.equal(
    chips.deckBadge.title,
    'Number of physical Stream Deck consoles currently owned by Elvantris Redundancy Control.',
  );
  assert.equal(await view.page.title(), 'Elvantris Redundancy Control');
  assert.equal(
    await view.page.getAttribute('text="ELVANTRIS REDUNDANCY CONTROL"', 'title'),
    'This browser is being hosted by Elvantris Redundancy Control with redundant Main / Backup ' +
      'supervision.',
  );
  assert.equal(await view.visible('standby'), true);
  assert.equal(await view.visible('elvantrisUi'), false);
  assert.equal(await view.page.getAttribute('iframe', 'title'), 'Elvantris server interface');
});

test('the_header_stands_in_its_order', async () => {
  await view.open(plain());
  const order = await view.page.$$eval('.bar > *', (all) =>
    all.map(({ id, textContent }) => id || textContent),
  );
  assert.deepEqual(order, [
    'ELVANTRIS REDUNDANCY CONTROL',
    'mainBadge',
    'backupBadge',
    'syncBadge',
    'deckBadge',
    'shellFullscreenButton',
    'openSetup',
  ]);
});

const badge_cases = [
  ['ready', {}, 'Stage left READY', 'Stage left. 10.77.0.11:5000 - Ready.', 'on'],
  ['starting', starting, 'Stage left STARTING', 'Stage left. 10.77.0.11:5000 - Starting.', 'warn'],
  ['offline', offline, 'Stage left OFFLINE', 'Stage left. 10.77.0.11:5000 - Offline.', 'off'],
  [
    'ready_though_not_online',
    { online: false },
    'Stage left READY',
    'Stage left. 10.77.0.11:5000 - Ready.',
    'on',
  ],
  ['without_a_name', { workstation: '' }, 'SER-X READY', 'SER-X. 10.77.0.11:5000 - Ready.', 'on'],
  [
    'without_name_and_serial',
    { workstation: '', serial: '' },
    'Elvantris READY',
    'Elvantris. 10.77.0.11:5000 - Ready.',
    'on',
  ],
  ['without_an_address', { address: '' }, 'Stage left READY', 'Stage left. Ready.', 'on'],
];
for (const role of ['Main', 'Backup']) {
  const id = role.toLowerCase();
  test(`the_${id}_badge_tells_name_and_state`, async () => {
    await view.open(plain());
    for (const [name, changes, text, detail, dot] of badge_cases) {
      await view.show(plain({ systems: [main({ serial: 'SER-X', role, ...changes })] }));
      const shown = await view.read(`${id}Status`, `${id}Badge`, `${id}Dot`);
      assert.equal(shown[`${id}Status`].text, `${role}: ${text}`, name);
      assert.equal(shown[`${id}Badge`].title, `${role} system: ${detail}`, name);
      assert.equal(shown[`${id}Dot`].dot, dot, name);
    }
  });

  test(`without_a_${id}_its_badge_says_so`, async () => {
    await view.open(plain({ systems: [], ...nothing_active }));
    const shown = await view.read(`${id}Status`, `${id}Badge`, `${id}Dot`);
    assert.equal(shown[`${id}Status`].text, `${role}: Not configured OFFLINE`);
    assert.equal(shown[`${id}Badge`].title, `No ${role} system is currently configured.`);
    assert.equal(shown[`${id}Dot`].dot, 'off');
  });
}

test('the_first_system_of_a_role_is_the_one_shown', async () => {
  await view.open(plain({ systems: [backup(), main(), main({ workstation: 'Second' })] }));
  assert.equal(await view.text('mainStatus'), 'Main: Stage left READY');
});

const waiting = 'Pairing saved locally; waiting to synchronize with Main.';
const degraded = 'Redundancy degraded - Backup UI unavailable.';
const on_backup = 'Operating on Backup - Main UI unavailable.';
const at = (mr, br, pm) =>
  pair(
    { replicationRevision: mr },
    { replicationAppliedRevision: br, replicationPendingMedia: pm },
  );
const sync_cases = [
  [
    'disabled',
    { enabled: false, active: 'backup', policySynchronized: false },
    'Disabled',
    'off',
    'Redundancy is not enabled.',
  ],
  [
    'backup_active',
    { active: 'backup', policySynchronized: false },
    'Backup Active',
    'warn',
    on_backup,
  ],
  [
    'pending_with_a_reason',
    { policySynchronized: false, policySyncMessage: 'Main is busy.' },
    'Pairing Pending',
    'warn',
    'Main is busy.',
  ],
  [
    'pending_without_a_reason',
    { policySynchronized: false, policySyncMessage: '' },
    'Pairing Pending',
    'warn',
    waiting,
  ],
  [
    'in_sync',
    at(12, 12, 0),
    'In Sync · Rev 12',
    'on',
    'Main and Backup show state are synchronized at revision 12.',
  ],
  [
    'in_sync_at_one',
    at(1, 1, 0),
    'In Sync · Rev 1',
    'on',
    'Main and Backup show state are synchronized at revision 1.',
  ],
  [
    'no_revision',
    at(0, 0, 0),
    'Syncing · 0/0',
    'warn',
    'Synchronizing show state - Main revision 0, Backup revision 0.',
  ],
  [
    'behind',
    at(12, 11, 0),
    'Syncing · 11/12',
    'warn',
    'Synchronizing show state - Main revision 12, Backup revision 11.',
  ],
  [
    'ahead',
    at(12, 13, 0),
    'Syncing · 13/12',
    'warn',
    'Synchronizing show state - Main revision 12, Backup revision 13.',
  ],
  [
    'media_pending',
    at(12, 12, 3),
    'Syncing · 12/12 · Media 3',
    'warn',
    'Synchronizing show state - Main revision 12, Backup revision 12, pending media 3.',
  ],
  ['only_main_ready', pair({}, starting), 'Backup Offline', 'warn', degraded],
  ['only_main_there', { systems: [main()] }, 'Backup Offline', 'warn', degraded],
  [
    'a_ready_main_behind_one_that_is_not',
    { systems: [main(offline), main({ serial: 'SER-C' })] },
    'Backup Offline',
    'warn',
    degraded,
  ],
  [
    'only_backup_ready',
    { ...pair(offline), ...nothing_active },
    'Backup Active',
    'warn',
    on_backup,
  ],
  [
    'neither_ready',
    { ...pair(offline, offline), ...nothing_active },
    'Unavailable',
    'off',
    'Both configured systems are unavailable.',
  ],
  [
    'neither_there',
    { systems: [], ...nothing_active },
    'Unavailable',
    'off',
    'Both configured systems are unavailable.',
  ],
];
test('the_sync_chip_shows_the_first_row_that_holds', async () => {
  await view.open(plain());
  for (const [name, changes, value, dot, tooltip] of sync_cases) {
    await view.show(plain(changes));
    const shown = await view.read('syncStatus', 'syncDot', 'syncBadge');
    assert.equal(shown.syncStatus.text, value, name);
    assert.equal(shown.syncDot.dot, dot, name);
    assert.equal(shown.syncBadge.title, tooltip, name);
  }
});

test('the_deck_chip_counts', async () => {
  await view.open(plain());
  const owned = 'connected and owned by Elvantris Redundancy Control.';
  for (const [count, tooltip] of [
    [0, `0 physical Stream Deck consoles are ${owned}`],
    [1, `1 physical Stream Deck console is ${owned}`],
    [2, `2 physical Stream Deck consoles are ${owned}`],
  ]) {
    await view.show(plain({ streamDeckCount: count }));
    const shown = await view.read('deckStatus', 'deckBadge');
    assert.equal(shown.deckStatus.text, String(count));
    assert.equal(shown.deckBadge.title, tooltip);
  }
});

for (const failure of ['away', 'broken']) {
  test(`with_the_api_${failure}_only_the_sync_chip_changes_until_it_is_back`, async () => {
    await view.open(status());
    const picture = () => view.read('mainStatus', 'backupStatus', 'deckStatus', 'vorBanner');
    const before_it = await picture();
    const loads = view.frames.length;
    await view.show(failure);
    const shown = await view.read('syncStatus', 'syncDot', 'syncBadge');
    assert.equal(shown.syncStatus.text, 'Unavailable');
    assert.equal(shown.syncDot.dot, 'off');
    assert.equal(shown.syncBadge.title, 'Redundancy Control status service unavailable.');
    assert.deepEqual(await picture(), before_it);
    assert.equal(await view.visible('elvantrisUi'), true);
    await view.show(status());
    assert.equal(await view.text('syncStatus'), 'In Sync · Rev 12');
    assert.equal(view.frames.length, loads);
    view.complaints.length = 0; // the browser's own words about the failed request
  });
}

test('a_page_that_never_reached_the_api_says_so_and_keeps_its_starting_texts', async () => {
  await view.open('away');
  await view.until_text('syncStatus', 'Unavailable');
  const shown = await view.read('syncDot', 'syncBadge');
  assert.equal(shown.syncDot.dot, 'off');
  assert.equal(shown.syncBadge.title, 'Redundancy Control status service unavailable.');
  assert.equal(await view.text('mainStatus'), 'Main: --');
  assert.equal(await view.text('backupStatus'), 'Backup: --');
  assert.equal(await view.visible('standby'), true);
  assert.equal(await view.visible('elvantrisUi'), false);
  assert.equal(await view.text('standbyTitle'), 'Elvantris Redundancy Control is ready');
  assert.equal(await view.text('standbyText'), 'Waiting for an Elvantris Main system.');
  view.complaints.length = 0; // the browser's own words about the failed requests
});

test('a_poll_without_an_answer_is_given_up_after_ten_seconds', async () => {
  const page = await view.open(status());
  await view.stop_polling();
  await view.hold_limits();
  view.status = null;
  const poll = page.evaluate('refresh()');
  await view.until_requests(1);
  await view.pass_limits(9999);
  assert.equal(await view.text('syncStatus'), 'In Sync · Rev 12');
  await view.pass_limits(10000);
  await poll;
  assert.equal(await view.text('syncStatus'), 'Unavailable');
});

// How long after its last status the page says that there is none, by its own clock.
const watch_chip = () =>
  view.page.evaluate(() => {
    window.last_status = performance.now();
    const { fetch } = window;
    window.fetch = async (...request) => {
      const response = await fetch(...request);
      window.last_status = performance.now();
      return response;
    };
    window.blind_after = new Promise((resolve) => {
      new MutationObserver(() => {
        if (syncStatus.textContent !== 'Unavailable') return;
        resolve(performance.now() - window.last_status);
      }).observe(syncStatus, { childList: true, characterData: true, subtree: true });
    });
  });

for (const open of ['open', 'open_protection']) {
  test(`an_api_that_hangs_is_told_within_a_second_and_a_half_by_${open}`, () =>
    in_time('it is told', async () => {
      await view[open](status());
      await watch_chip();
      view.status = null;
      const took = await view.page.evaluate('blind_after');
      assert.ok(took > 900, `${took} ms`);
      return took <= 1510;
    }));
}

test('a_status_that_comes_late_shows_again', async () => {
  const page = await view.open(status());
  const polls = await view.collect('/api/status');
  await view.until_text('syncStatus', 'Unavailable');
  assert.equal(await page.isVisible('#syncBadge.blind'), true);
  assert.equal(await view.text('mainStatus'), 'Main: Stage left READY');
  await view.fulfill(polls[0], { status: 200, json: status() });
  await page.waitForSelector('#syncBadge:not(.blind)');
  assert.equal(await view.text('syncStatus'), 'In Sync · Rev 12');
});

// The page's clock stands still but for the half second after each poll; the polls' routes.
async function poll_by_hand() {
  await view.stop_polling();
  await view.page.evaluate(() => {
    let now = 1000;
    performance.now = () => now;
    window.wait = (ms) => (now += ms);
  });
  const polls = await view.collect('/api/status');
  const send = async () => {
    const sent = polls.length;
    await view.page.evaluate('poll()');
    await until('the poll is on its way', () => polls.length === sent + 1);
    await view.page.evaluate('wait(500)');
  };
  return { polls, send };
}

test('a_slow_api_that_answers_each_poll_within_a_second_is_not_called_unavailable', async () => {
  await view.open(status());
  const { polls, send } = await poll_by_hand();
  await send();
  await send();
  await view.fulfill(polls[0], { status: 200, json: status({ streamDeckCount: 7 }) });
  await view.until_text('deckStatus', '7');
  await send();
  await send();
  assert.equal(await view.text('syncStatus'), 'In Sync · Rev 12');
  await send();
  assert.equal(await view.text('syncStatus'), 'Unavailable');
});

test('the_api_is_called_unavailable_only_when_the_page_s_own_post_is_no_reason', async () => {
  const page = await view.open_protection();
  const { send } = await poll_by_hand();
  const held = await view.hold('/api/protection/operate');
  await send();
  await page.click('text=Take Backup');
  await until('the operation is on its way', () => held.waiting() === 1);
  for (let polls = 0; polls < 10; polls += 1) await send();
  assert.equal(await view.text('syncStatus'), 'In Sync · Rev 12');
  held.release();
  await page.waitForFunction('posts_pending === 0');
  await send();
  assert.equal(await view.text('syncStatus'), 'In Sync · Rev 12');
  await send();
  assert.equal(await view.text('syncStatus'), 'Unavailable');
});

test('a_poll_that_gives_up_says_nothing_against_one_that_was_sent_later', async () => {
  const page = await view.open(status());
  await view.stop_polling();
  await view.hold_limits();
  const polls = await view.collect('/api/status');
  const send = async () => {
    const before_it = polls.length;
    const done = page.evaluate('refresh()');
    await until('the poll is on its way', () => polls.length === before_it + 1);
    return { done, answer: () => view.fulfill(polls[before_it], { status: 200, json: status() }) };
  };
  const [oldest, old, latest] = [await send(), await send(), await send()];
  for (const poll of [latest, oldest]) {
    await poll.answer();
    await poll.done;
  }
  await view.pass_limits(10000);
  await old.done;
  assert.equal(await view.text('syncStatus'), 'In Sync · Rev 12');
  const next = await send();
  await view.pass_limits(10000);
  await next.done;
  assert.equal(await view.text('syncStatus'), 'Unavailable');
});

for (const body of ['null', '5', 'true', '"ready"', '[]', '{', '']) {
  test(`an_answer_that_reads_${body || 'nothing'}_is_a_failed_poll_and_leaves_the_last_status`, async () => {
    const page = await view.open(status());
    await view.stop_polling();
    await page.evaluate('window.last = state');
    view.status = body;
    await page.evaluate('refresh()');
    assert.equal(await page.evaluate('state === last'), true);
    const shown = await view.read('syncStatus', 'syncDot', 'syncBadge');
    assert.equal(shown.syncStatus.text, 'Unavailable');
    assert.equal(shown.syncDot.dot, 'off');
    assert.equal(shown.syncBadge.title, 'Redundancy Control status service unavailable.');
  });
}

test('the_first_poll_is_sent_at_load_and_not_by_the_timer', async () => {
  const page = await view.open(status());
  const context = await view.browser.newContext();
  const other = await context.newPage();
  await other.addInitScript('window.setInterval = () => 0');
  await other.route('**/api/status', (route) => view.answer_status(route));
  await other.goto(page.url());
  await other.waitForFunction('state !== null');
  await context.close();
});

test('an_older_answer_that_comes_later_is_shown_like_any_other', async () => {
  const page = await view.open(status());
  await view.stop_polling();
  const polls = await view.collect('/api/status');
  const sent = [page.evaluate('refresh()'), page.evaluate('refresh()')];
  await until('both are on their way', () => polls.length === 2);
  for (const [poll, streamDeckCount] of [
    [1, 8],
    [0, 7],
  ]) {
    await view.fulfill(polls[poll], { status: 200, json: status({ streamDeckCount }) });
    await view.until_text('deckStatus', String(streamDeckCount));
  }
  await Promise.all(sent);
});

const heard = () =>
  view.page.evaluate('[heardBanner, heardActive, heardTransfer].map((one) => one.textContent)');
const on_backup_now = { active: 'backup', activeSerial: 'SER-B' };
test('what_changes_is_heard_once_and_a_transfer_at_once', async () => {
  const page = await view.open(status());
  await view.stop_polling();
  assert.deepEqual(await heard(), ['', '', '']);
  const roles = await page.evaluate(
    '[vorBanner.firstElementChild, heardBanner, heardActive, heardTransfer].map((one) => one.role)',
  );
  assert.deepEqual(roles, ['status', 'status', 'status', 'alert']);
  await page.evaluate(() => {
    window.changes = 0;
    new MutationObserver((list) => (window.changes += list.length)).observe(notices, {
      childList: true,
      characterData: true,
      subtree: true,
    });
    new MutationObserver((list) => (window.changes += list.length)).observe(vorBanner, {
      childList: true,
      characterData: true,
      subtree: true,
    });
  });
  for (const [shown, wanted] of [
    [status(on_backup_now), ['', '', 'Backup is now active instead of Main.']],
    [status(), ['', '', 'Main is now active instead of Backup.']],
    [status(nothing_active), ['', 'No server is active.', '']],
    [status(on_backup_now), ['', 'Backup is now active.', '']],
    [
      status({ ...on_backup_now, protection: protection({ armed: false }) }),
      ['', 'Backup is now active.', ''],
    ],
    ['away', ['', 'Redundancy Control status service unavailable.', '']],
    [status(on_backup_now), ['', '', '']],
  ]) {
    await view.show(shown);
    assert.deepEqual(await heard(), wanted);
    await page.evaluate('changes = 0');
    await view.show(shown);
    assert.equal(await page.evaluate('changes'), 0);
  }
  view.complaints.length = 0; // the browser's own words about the failed requests
});

test('it_is_heard_with_a_dialog_open_as_well', async () => {
  const page = await view.open_protection();
  assert.equal((await heard())[0], '');
  await view.show(status({ ...on_backup_now, protection: protection({ armed: false }) }));
  assert.deepEqual(await heard(), [
    'AUTO FAILOVER DISARMED · 0 active alerts',
    '',
    'Backup is now active instead of Main.',
  ]);
  assert.equal(await page.evaluate('opened_dialog().contains(notices)'), true);
  await page.keyboard.press('Escape');
  assert.equal(await page.evaluate('notices.parentElement === document.body'), true);
  // The banner is in reach again; another opening must not read an old sentence.
  assert.equal((await heard())[0], '');
});

const guarded = (changes) => status({ protection: protection(changes) });
const unfit_cases = [
  ['no_system_in_the_list', status({ systems: [null] })],
  ['systems_that_are_no_list', status({ systems: {} })],
  ['no_sample_in_the_list', guarded({ systems: [null] })],
  ['a_sample_without_a_policy', guarded({ policy: undefined })],
  ['rules_that_are_null', guarded({ policy: policy({ outputRules: null }) })],
  ['alerts_that_are_null', guarded({ alerts: null })],
  ['no_alert_in_the_list', guarded({ alerts: [null] })],
  ['an_alert_without_a_time', guarded({ alerts: [alert(1, { started: 'yesterday' })] })],
];
test('a_status_that_cannot_be_shown_is_a_failed_poll', async () => {
  const page = await view.open_protection();
  await view.stop_polling();
  for (const [name, unfit] of unfit_cases) {
    await view.show(unfit);
    assert.equal(await view.text('syncStatus'), 'Unavailable', name);
    assert.deepEqual(await page.evaluate('state'), status(), name);
    await view.show(status());
    assert.equal(await view.text('syncStatus'), 'In Sync · Rev 12', name);
  }
});

test('polling_goes_on_every_half_second_without_waiting_for_an_answer', async () => {
  await view.open(status());
  let asked = 0;
  view.page.on('request', (request) => {
    if (request.url().endsWith('/api/status')) asked += 1;
  });
  view.status = null;
  await in_time('as many polls as there were half seconds', async () => {
    const before_now = asked;
    const begun = Date.now();
    await view.page.waitForTimeout(2200);
    const polls = asked - before_now;
    const half_seconds = (Date.now() - begun) / 500;
    return polls > half_seconds - 1.5 && polls < half_seconds + 1;
  });
});

test('names_that_look_like_markup_stay_text', async () => {
  const systems = [
    main({ workstation: hostile, serial: hostile }),
    backup({ workstation: hostile }),
  ];
  await view.open(
    status({
      systems,
      activeSerial: hostile,
      policySyncMessage: hostile,
      policySynchronized: false,
      configPath: hostile,
    }),
  );
  assert.equal(await view.text('mainStatus'), `Main: ${hostile} WAITING`);
  assert.equal(await view.text('standbyMain'), hostile);
  assert.equal((await view.read('syncBadge')).syncBadge.title, hostile);
  await view.page.click('text=Configure Redundancy');
  const option = await view.page.$eval('#mainSelect option:checked', ({ textContent, value }) => [
    textContent,
    value,
  ]);
  assert.deepEqual(option, [`${hostile} - Online (10.77.0.11)`, hostile]);
  const { configPath } = await view.read('configPath');
  assert.deepEqual(
    [configPath.text, configPath.title],
    [`Workstation configuration: ${hostile}`, hostile],
  );
  await view.assert_no_markup_taken();
});

test('fullscreen_takes_the_whole_document_and_the_button_says_the_way_back', async () => {
  const page = await view.open(plain());
  const button = page.locator('#shellFullscreenButton');
  const words = async () => [
    await button.getAttribute('title'),
    await button.getAttribute('aria-label'),
  ];
  const enter = [
    'Enter fullscreen while keeping the Redundancy Control status header visible.',
    'Enter Redundancy Control fullscreen',
  ];
  assert.deepEqual(await words(), enter);
  await button.click();
  await page.waitForFunction('document.fullscreenElement === document.documentElement');
  await page.waitForFunction("shellFullscreenButton.ariaLabel.startsWith('Exit')");
  assert.deepEqual(await words(), [
    'Exit fullscreen and return the Redundancy Control shell to its browser window.',
    'Exit Redundancy Control fullscreen',
  ]);
  assert.equal(await view.visible('mainBadge'), true);
  await button.click();
  await page.waitForFunction("shellFullscreenButton.ariaLabel.startsWith('Enter')");
  assert.deepEqual(await words(), enter);
});

test('fullscreen_falls_back_to_the_prefixed_call', async () => {
  const page = await view.open(plain());
  await page.evaluate('document.documentElement.requestFullscreen = undefined');
  await page.click('#shellFullscreenButton');
  await page.waitForFunction('document.fullscreenElement === document.documentElement');
});

test('leaving_fullscreen_falls_back_to_the_prefixed_call', async () => {
  const page = await view.open(plain());
  await page.click('#shellFullscreenButton');
  await page.waitForFunction('document.fullscreenElement === document.documentElement');
  await page.evaluate('document.exitFullscreen = undefined');
  await page.click('#shellFullscreenButton');
  await page.waitForFunction('document.fullscreenElement === null');
});

for (const [name, refusal] of [
  ['that_refuses', '() => Promise.reject(new Error("no"))'],
  ['without_such_a_thing', 'undefined'],
]) {
  test(`a_browser_${name}_is_not_put_into_fullscreen_and_nothing_breaks`, async () => {
    const page = await view.open(plain());
    await page.evaluate(`Object.assign(document.documentElement, {
      requestFullscreen: ${refusal}, webkitRequestFullscreen: ${refusal}, msRequestFullscreen: ${refusal},
    })`);
    await page.click('#shellFullscreenButton');
    assert.equal(await page.evaluate('document.fullscreenElement === null'), true);
  });
}
