// The decks on the workstation: plugged in, painted, pressed, handed over to Backup, pulled.
import assert from 'node:assert/strict';
import { after, afterEach, before, beforeEach, describe, test } from 'node:test';

import { start_browser } from '../driver/browser.mjs';
import { known_models } from '../driver/deck_models.mjs';
import {
  decks,
  key_events,
  lit_keys,
  mini,
  original,
  page_of,
  paintings,
  plug_into,
  read_journal,
  scans,
  shows_all_of,
  tap,
  until_control,
  until_painted,
  until_read,
  xl,
} from '../driver/decks.mjs';
import { windows } from '../driver/environment.mjs';
import { call } from '../driver/http.mjs';
import { Server } from '../driver/network.mjs';
import { get_status, until_active, until_status } from '../driver/operator.mjs';
import { Pair } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';
import { machine_name, Workstation } from '../driver/workstation.mjs';
import { end_for_want_of_ports } from './support/ordinary_end.mjs';

const machine = await machine_name();

// Under Wine no deck can be plugged in.
const with_decks = windows ? () => {} : describe;

const logo_tiles = {
  15: [2, 6, 7, 8, 11, 12, 13],
  32: [3, 4, 10, 11, 12, 13, 18, 19, 20, 21, 25, 26, 27, 28, 29, 30],
  6: [1, 3, 4, 5],
  8: [1, 2, 4, 5, 6, 7],
};

with_decks('decks without a server', () => {
  let workstation;
  beforeEach(() => {
    workstation = new Workstation();
    workstation.write_config({ openBrowserOnStart: false });
  });
  afterEach(async () => {
    if (workstation.program && !workstation.program.ended) await workstation.stop();
    await workstation.remove();
  });

  async function start_with(plugged, environment) {
    plug_into(workstation, plugged, environment);
    await workstation.start();
  }
  const lines = (beginning) => workstation.log_lines(`[streamdeck] ${beginning}`);
  const until_lines = (beginning, count) =>
    until(`${count} of "${beginning}"`, () => lines(beginning).length >= count && lines(beginning));
  const until_count = (count) =>
    until_status(`${count} decks`, ({ streamDeckCount }) => streamDeckCount === count);
  const attached_line = (name, serial, productId) =>
    `[streamdeck] attached ${name} serial=${serial} pid=${productId}`;
  const no_error = async () => assert.deepEqual((await decks.get('state?decode')).errors, []);

  test('all_models_attach_and_show_the_splash_on_its_own_tiles_alone', async () => {
    const plugged = known_models.map(({ id }, i) => ({
      productId: Number.parseInt(id, 16),
      serial: `S${String(99 - i)}`,
      path: `/dev/${i}`,
    }));
    await start_with(plugged);
    await until_lines('attached', plugged.length);
    const { decks: shown } = await decks.get('state?decode');
    for (const { model, keys } of shown) {
      const lit = keys.flatMap(({ brightest }, key) => (brightest > 0 ? [key] : []));
      assert.deepEqual(lit, logo_tiles[keys.length], model);
      assert.ok(
        keys.every(({ images }) => images === 1),
        model,
      );
    }
    await no_error();
    const status = await until_count(plugged.length);
    assert.deepEqual(
      status.streamDecks,
      shown
        .map(({ model, productId, keys }, i) => ({
          serial: plugged[i].serial,
          name: model,
          productId: String(productId),
          keyCount: keys.length,
        }))
        .sort((one, other) => (one.serial < other.serial ? -1 : 1)),
    );
    assert.deepEqual(
      lines('attached'),
      shown.map(({ model, productId }, i) => attached_line(model, plugged[i].serial, productId)),
    );
  });

  test('a_serial_is_narrowed_asked_of_the_open_device_or_made_from_the_path', async () => {
    await start_with([
      { productId: 0x6c, serial: 'Ä1€', product: 'Déck', path: '/dev/0' },
      { productId: 0x6c, serial: '', serialWhenOpen: 'LATE', product: '', path: '/dev/1' },
      { productId: 0x6c, serial: null, serialWhenOpen: null, product: null, path: '/dev/2' },
    ]);
    assert.deepEqual(await until_lines('attached', 3), [
      attached_line('D?ck', '?1?', 108),
      attached_line('Stream Deck XL', 'LATE', 108),
      attached_line('Stream Deck XL', 'path:/dev/2', 108),
    ]);
    const { streamDecks } = await until_count(3);
    assert.deepEqual(
      streamDecks.map(({ serial }) => serial),
      ['?1?', 'LATE', 'path:/dev/2'],
    );
  });

  test('a_hid_backend_that_does_not_start_is_told_and_the_program_runs_without_decks', async () => {
    await start_with([xl], { ELVANTRIS_VIRTUAL_DECKS_INIT: 'fail' });
    // The API answers before the decks are begun with.
    assert.deepEqual(await until_lines('unable', 1), [
      '[streamdeck] unable to initialize native HID backend',
    ]);
    const { streamDeckCount, streamDecks } = await get_status();
    assert.deepEqual([streamDeckCount, streamDecks], [0, []]);
  });

  test('at_the_end_each_deck_that_is_left_gets_its_reset_and_is_closed', async () => {
    await start_with([xl, mini, original, { ...xl, serial: 'GONE', path: '/dev/gone' }]);
    await until_count(4);
    await decks.tell('pull', { path: '/dev/gone' });
    await until_count(3);
    await workstation.stop();
    const journal = read_journal(workstation);
    assert.deepEqual(journal.errors, []);
    assert.deepEqual(
      journal.decks.map(({ resets, open }) => [resets, open]),
      [
        [1, false],
        [1, false],
        [1, false],
      ],
    );
    const last = ({ path }) =>
      journal.reports
        .filter((report) => report.path === path && report.act !== 'write')
        .map(({ act, size, bytes }) => `${act} ${size} ${bytes.slice(0, 4)}`.trimEnd());
    assert.deepEqual(last(xl), ['open 0', 'feature 32 0302', 'close 0']);
    assert.deepEqual(last(mini), ['open 0', 'feature 32 0b63', 'close 0']);
    assert.deepEqual(last(original), ['open 0', 'feature 17 0b63', 'close 0']);
    assert.deepEqual(last({ path: '/dev/gone' }), ['open 0', 'close 0']);
  });
});

with_decks('decks of a pair', () => {
  const all = [xl, mini, original];
  let pair;
  before(async () => {
    pair = await Pair.start((workstation) => plug_into(workstation, all));
    await until_control();
  });
  after(() => pair?.stop());
  beforeEach(async () => {
    await pair.settle();
    for (const deck of all) await set_page([pair.main, pair.backup], deck.serial, 1);
    for (const deck of all) await until_painted(pair.main, deck);
  });

  const lines = (beginning) => pair.workstation.log_lines(`[streamdeck] ${beginning}`);
  const session = `operator-control-${machine}`;
  const both = () => [pair.main, pair.backup];

  async function set_page(servers, serial, page) {
    for (const server of servers) {
      const body = JSON.stringify({ SessionId: session, Serial: serial, Page: page });
      const set = () => call(server.address, 5000, 'POST', '/Home/OperatorDeckSetPage', body);
      await until(`${server.serial} sets the page`, async () => (await set()).status === 200);
    }
  }
  const polls = async (server) => (await server.calls('OperatorDeckState')).count;
  // The server has been asked for its state afresh, and the answer dealt with.
  async function until_polled(server) {
    const before_now = await polls(server);
    await until('three polls', async () => (await polls(server)) >= before_now + 3);
  }

  test('a_key_reaches_both_servers_down_and_up_in_order', async () => {
    const expected = ['XL-1 9 true', 'XL-1 9 false', 'MINI-1 2 true', 'MINI-1 2 false'];
    await tap(xl.path, 9);
    await until_read(xl.path);
    await tap(mini.path, 2);
    await until_read(mini.path);
    await tap(original.path, 0, 4);
    expected.push('ORIG-1 0 true', 'ORIG-1 4 true', 'ORIG-1 0 false', 'ORIG-1 4 false');
    for (const server of both()) {
      const seen = await until(`${server.serial} has them`, async () => {
        const events = await key_events(server);
        return events.length >= expected.length && events;
      });
      assert.deepEqual(seen, expected);
    }
  });

  test('the_last_key_turns_the_page_and_the_new_one_is_painted', async () => {
    await tap(mini.path, 5);
    await until(
      'both have turned',
      async () =>
        (await page_of(pair.main, 'MINI-1')) === 2 && (await page_of(pair.backup, 'MINI-1')) === 2,
    );
    await until_painted(pair.main, mini);
    assert.deepEqual((await decks.get('state?decode')).errors, []);
  });

  test('a_failover_takes_the_pages_along_and_paints_every_key_from_backup', async () => {
    await set_page([pair.main], 'XL-1', 3);
    await set_page([pair.main], 'ORIG-1', 2);
    for (const deck of all) await until_painted(pair.main, deck);
    assert.equal(await page_of(pair.backup, 'XL-1'), 1);
    await until_polled(pair.main);
    const painted_before = await paintings(xl.path);
    await pair.backup.set({ forget: true });
    await pair.main.set({ engine: 'stopped' });
    await until_active('backup');
    for (const deck of all) await until_painted(pair.backup, deck);
    const { pagesSet } = (await pair.backup.report()).operatorDecks;
    assert.deepEqual(
      pagesSet.map(({ serial, page }) => [serial, page]),
      [
        ['MINI-1', 1],
        ['ORIG-1', 2],
        ['XL-1', 3],
      ],
    );
    assert.equal(await page_of(pair.backup, 'XL-1'), 3);
    assert.ok((await paintings(xl.path)).every((count, key) => count > painted_before[key]));
    assert.equal(lines('display authority=').at(-1), '[streamdeck] display authority=SER-B');
    await set_page([pair.backup], 'XL-1', 2);
    await until_painted(pair.backup, xl);
    await pair.settle();
    await until(
      'Main has the authority',
      () => lines('display authority=').at(-1) === '[streamdeck] display authority=SER-A',
    );
    for (const deck of all) await until_painted(pair.main, deck);
    assert.equal(await page_of(pair.main, 'XL-1'), 2);
    assert.deepEqual((await decks.get('state?decode')).errors, []);
  });

  test('the_splash_that_main_asks_for_is_painted_and_its_keys_return', async () => {
    await pair.main.set({ decks: { useSplash: true } });
    for (const deck of all) {
      await until(`the splash on ${deck.serial}`, async () => {
        const { keys } = await decks.deck(deck.path, '?decode');
        return String(await lit_keys(deck.path)) === String(logo_tiles[keys.length]);
      });
    }
    await pair.main.set({ decks: null });
    for (const deck of all) await until_painted(pair.main, deck);
  });

  test('a_deck_plugged_in_during_the_show_is_painted_and_a_pulled_one_is_offered_no_more', async () => {
    const second = { productId: 0x0080, serial: 'MK2-1', path: '/dev/mk2' };
    await decks.tell('plug', second);
    await until_painted(pair.main, second);
    await decks.tell('pull', { path: second.path });
    for (const server of both()) {
      await until('it is offered no more', async () => {
        const [{ decks: offered }] = (await server.report()).operatorDecks.sessions;
        return offered.length === 3;
      });
    }
  });

  test('a_deck_pulled_and_plugged_at_once_misses_a_registration_and_is_painted_from_main_again', async () => {
    const told = (beginning) => lines(beginning).length;
    const before_now = { detached: told('detached'), attached: told('attached') };
    const without_it = told('registered 2 deck(s) with SER-A');
    await decks.tell('pull', { path: xl.path });
    await decks.tell('plug', xl);
    await until('it is painted', () => shows_all_of(pair.main, xl));
    assert.equal(told('detached'), before_now.detached + 1);
    assert.equal(told('attached'), before_now.attached + 1);
    assert.ok(told('registered 2 deck(s) with SER-A') > without_it);
    await tap(xl.path, 5);
    await until('its keys arrive', async () =>
      (await key_events(pair.main)).includes('XL-1 5 false'),
    );
    assert.deepEqual((await decks.get('state?decode')).errors, []);
  });

  test('a_deck_whose_writes_hang_and_fail_keeps_its_keys_and_freezes_no_other', async () => {
    await decks.tell('faults', { path: xl.path, failWrites: -1, writeUs: 1000000 });
    const begun = Date.now();
    await set_page([pair.main], xl.serial, 2); // 32 images, each of which would take a second
    await set_page([pair.main], mini.serial, 2);
    await until(
      'the other is painted',
      async () => (await page_of(pair.main, mini.serial)) === 2 && shows_all_of(pair.main, mini),
      15000,
    );
    assert.ok(Date.now() - begun < 10000, `${Date.now() - begun} ms`);
    await tap(xl.path, 5);
    await until('its keys arrive', async () =>
      (await key_events(pair.main)).includes('XL-1 5 false'),
    );
    await decks.tell('faults', { path: xl.path, failWrites: 0, writeUs: 0 });
    await scans(1);
    await set_page([pair.main], xl.serial, 1);
    await until_painted(pair.main, xl);
  });

  test('the_console_page_shows_every_key_and_hands_clicks_on', async () => {
    const browser = await start_browser();
    try {
      const page = await browser.newPage();
      const servers = both().map(({ address }) => address);
      await page.goto(`${decks.url}/?servers=${servers}`);
      await until(
        'all keys are there',
        async () => (await page.locator('.keys img').count()) === 53,
      );
      // The way to the decks is slow in this moment; the release waits for the press all the same.
      await page.route('**/press', (route) => setTimeout(() => route.continue(), 200));
      await page.getByLabel('Stream Deck Mini, key 2').click();
      for (const server of both()) {
        await until(
          `${server.serial} has the click`,
          async () => String(await key_events(server)) === 'MINI-1 2 true,MINI-1 2 false',
        );
      }
      await page.getByRole('button', { name: 'Engine stopped' }).first().click();
      await until_active('backup');
    } finally {
      await browser.close();
    }
  });

  test('the_end_of_the_program_takes_leave_of_both_servers', async () => {
    await pair.workstation.stop();
    for (const server of both()) {
      const { detached, sessions } = (await server.report()).operatorDecks;
      assert.deepEqual(detached, [session]);
      assert.deepEqual(sessions, []);
    }
    assert.deepEqual(read_journal(pair.workstation).errors, []);
    await pair.workstation.start();
    await pair.settle();
  });
});

test('a_start_without_any_deck_tells_so_in_the_status', async () => {
  const workstation = new Workstation();
  workstation.write_config({ openBrowserOnStart: false });
  if (!windows) plug_into(workstation, []);
  await workstation.start();
  const { streamDeckCount, streamDecks } = await get_status();
  assert.deepEqual([streamDeckCount, streamDecks], [0, []]);
  assert.deepEqual(workstation.log_lines('[streamdeck] unable'), []);
  await workstation.stop();
  await workstation.remove();
});

test('without_a_deck_a_server_is_offered_an_empty_list_asked_for_its_state_and_left', async () => {
  const session = `operator-control-${machine}`;
  const server = await Server.start('spare', 'SER-I');
  const workstation = new Workstation();
  workstation.write_config({ openBrowserOnStart: false });
  if (!windows) plug_into(workstation, []);
  const noted = (name) =>
    until(`${name} is noted`, async () => {
      const calls = await server.calls(name);
      return calls.count > 0 && calls;
    });
  try {
    // Refused, each question is the first one again.
    await server.break_path('OperatorDeckState', { status: 500 });
    await workstation.start();
    assert.equal(
      (await noted('OperatorDeckRegister')).lastBody,
      JSON.stringify({ SessionId: session, MachineName: machine, Decks: [] }),
    );
    assert.equal(
      (await noted('OperatorDeckState')).lastHead.split('\r\n')[0],
      `GET /Home/OperatorDeckState?sessionId=${session}&since=0 HTTP/1.1`,
    );
    assert.deepEqual(await end_for_want_of_ports(workstation), { code: 0, signal: null });
    const { count, lastBody } = await server.calls('OperatorDeckDetach');
    assert.deepEqual([count, lastBody], [1, JSON.stringify({ SessionId: session })]);
  } finally {
    await workstation.remove();
    await server.stop();
  }
});

with_decks('the name of the workstation in a session', () => {
  const names = [
    ['a_long_name_is_cut_to_15', 'fifteen-letters-and-more.of.a.domain', 'fifteen-letters'],
    ['a_domain_is_left_out', 'short.of.a.domain', 'short'],
    ['no_name_is_operator', '', 'operator'],
  ];
  // The program alone sees this name.
  const with_name = (name, command) => [
    'unshare',
    '--uts',
    'sh',
    '-c',
    'echo "$0" > /proc/sys/kernel/hostname && exec "$@"',
    name,
    ...command,
  ];
  for (const [rule, name, expected] of names) {
    test(rule, async () => {
      const server = await Server.start('spare', 'SER-I');
      const workstation = new Workstation();
      workstation.write_config({ openBrowserOnStart: false });
      plug_into(workstation, []);
      const plain = workstation.command.bind(workstation);
      workstation.command = (...given) => {
        const [command, options] = plain(...given);
        return [with_name(name, command), options];
      };
      try {
        await workstation.start();
        const { lastBody } = await until('it is registered', async () => {
          const calls = await server.calls('OperatorDeckRegister');
          return calls.count > 0 && calls;
        });
        assert.deepEqual(JSON.parse(lastBody), {
          SessionId: `operator-control-${expected}`,
          MachineName: expected,
          Decks: [],
        });
        await workstation.stop();
      } finally {
        await workstation.remove();
        await server.stop();
      }
    });
  }
});
