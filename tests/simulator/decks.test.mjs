import assert from 'node:assert/strict';
import { after, afterEach, before, beforeEach, describe, test } from 'node:test';

import { difference, make_bmp, read_bmp } from '../driver/bmp.mjs';
import { known_models } from '../driver/deck_models.mjs';
import { addresses } from '../driver/environment.mjs';
import { call } from '../driver/http.mjs';
import { Server } from '../driver/network.mjs';
import { until } from '../driver/waiting.mjs';
import { HidClient, reports_of } from './hid_client.mjs';
import { get, read } from './raw_calls.mjs';

const deck = (productId, changes = {}) => ({ productId, ...changes });
const letters = (text) => [...text].map((letter) => letter.codePointAt(0));
const [xl, mini, original] = [0x006c, 0x0063, 0x0060];
const path = '/dev/hidraw0';
const bytes = (size, beginning) => Buffer.concat([Buffer.from(beginning)], size);

describe('virtual decks', () => {
  let client;
  let control;
  async function plug_in(...decks) {
    client = await HidClient.start(decks);
    control = client.control;
    assert.equal(await client.call('hid_init'), 0);
  }
  async function open_one(...details) {
    await plug_in(deck(...details));
    return client.open(path);
  }
  const errors = async () => (await control.get('state?decode')).errors;
  afterEach(() => client?.stop());

  test('all_models_are_on_the_bus_under_their_names_in_the_order_of_plugging', async () => {
    const ids = known_models.map(({ id }) => Number.parseInt(id, 16));
    await plug_in(...ids.map((productId) => deck(productId)));
    const listed = await client.enumerate();
    assert.deepEqual(
      listed.map(({ product, name }) => [product, String.fromCodePoint(...name)]),
      known_models.map(({ name }, i) => [ids[i], name]),
    );
    assert.deepEqual(listed[3].path, '/dev/hidraw3');
    const { decks } = await control.get('state');
    assert.deepEqual(
      decks.map(({ columns, rows, keys }) => [columns * rows, keys.length]),
      known_models.map(({ keys }) => [keys, keys]),
    );
  });

  test('strings_may_be_missing_odd_or_known_only_to_the_open_device', async () => {
    await plug_in(
      deck(xl),
      deck(xl, { serial: 'Ä€😀', product: null }),
      deck(xl, { serial: null, serialWhenOpen: 'LATE', path: '/x' }),
      deck(0x1234, { serial: '', product: 'Pedal' }),
      deck(xl, { vendorId: 1 }),
    );
    const listed = await client.enumerate();
    assert.deepEqual(
      listed.map(({ serial, name }) => [serial, name === null ? null : name.length]),
      [
        [null, 14],
        [[0xc4, 0x20ac, 0x1f600], null],
        [null, 14],
        [[], 5],
      ],
    );
    assert.equal((await client.enumerate(0x0fd9, 0x1234)).length, 1);
    const serial = async (name) =>
      client.call('hid_get_serial_number_string', { device: await client.open(name) });
    assert.equal(await serial(path), null);
    assert.deepEqual(await serial('/x'), letters('LATE'));
  });

  const presses = [
    ['an_xl', xl, [9, 31], 512, { 0: 1, 2: 32, 13: 1, 35: 1 }],
    ['a_mini', mini, [0, 5], 17, { 0: 1, 1: 1, 6: 1 }],
    ['an_original', original, [0, 4, 5, 14], 17, { 0: 1, 5: 1, 1: 1, 10: 1, 11: 1 }],
  ];
  for (const [name, product, keys, size, set] of presses) {
    test(`${name}_reports_its_keys_in_its_own_order`, async () => {
      const device = await open_one(product);
      assert.equal(await client.read(device), '');
      await control.tell('press', { path, keys });
      const expected = Buffer.alloc(size);
      for (const [at, value] of Object.entries(set)) expected[at] = value;
      assert.equal(await client.read(device), expected.toString('hex'));
      await control.tell('release', { path, keys: keys.slice(1) });
      const held = [...Buffer.from(await client.read(device), 'hex')].slice(product === xl ? 4 : 1);
      assert.equal(
        held.reduce((sum, value) => sum + value),
        1,
      );
      assert.equal(await client.read(device), '');
    });
  }

  test('a_report_can_be_any_bytes_and_a_read_waits_for_it', async () => {
    const device = await open_one(mini);
    const waiting = client.read(device, 10000);
    await control.tell('input', { path, bytes: '0102ff' });
    assert.equal(await waiting, '0102ff');
    await assert.rejects(control.tell('input', { path, bytes: '01f' }), /hexadecimal/);
    await assert.rejects(control.tell('press', { path, keys: [6] }), /no such key: 6/);
  });

  // The corner that is at the top left for the person is red, the one below it green.
  const corners = (side) => (x, y) =>
    x < 8 && y < 8 ? [250, 0, 0] : x < 8 && y >= side - 8 ? [0, 250, 0] : [0, 0, 40];

  test('a_mini_shows_a_picture_that_came_turned_clockwise_upright', async () => {
    const device = await open_one(mini);
    const upright = corners(80);
    const turned = make_bmp(80, 80, (x, y) => upright(y, 79 - x));
    await client.write_all(device, reports_of.mini(4, turned));
    const shown = await control.picture(path, 4);
    assert.equal(difference(shown, { width: 80, height: 80, at: upright }), 0);
    assert.deepEqual(await errors(), []);
  });

  test('an_original_shows_rows_from_the_top_and_right_on_the_mirrored_key', async () => {
    const device = await open_one(original);
    const upright = corners(72);
    const image = make_bmp(72, 72, (x, y) => upright(71 - x, 71 - y));
    image.writeInt32LE(3780, 38);
    image.writeInt32LE(3780, 42);
    await client.write_all(device, reports_of.original(5, image));
    const shown = await control.picture(path, 5);
    assert.equal(difference(shown, { width: 72, height: 72, at: upright }), 0);
    const { keys } = await control.deck(path);
    assert.deepEqual(keys.map(({ images }) => images).indexOf(1), 5);
    assert.deepEqual(await errors(), []);
  });

  const small = bytes(10, [0xff, 0xd8]);
  const good_jpeg = () => reports_of.jpeg(3, small)[0];
  const changed = (report, at, value) => {
    report[at] = value;
    return report;
  };
  const two = () => reports_of.jpeg(3, Buffer.alloc(1017, 1));
  const mini_image = make_bmp(80, 80, () => [1, 2, 3]);
  const wrong_reports = [
    ['a_short_report', xl, () => [good_jpeg().subarray(1)], /report of 1023 bytes and not 1024/],
    ['another_report_id', xl, () => [changed(good_jpeg(), 0, 3)], /begins with 3, 7/],
    ['a_key_that_is_not_there', xl, () => [changed(good_jpeg(), 2, 32)], /no such key/],
    ['bytes_behind_the_image', xl, () => [changed(good_jpeg(), 1023, 1)], /must be zero/],
    ['a_first_report_with_number_1', xl, () => [two()[1]], /report number 1 in place of 0/],
    ['a_report_twice', xl, () => [two()[0], two()[0]], /left unfinished/],
    ['two_images_mixed', xl, () => [two()[0], changed(two()[1], 2, 4)], /mixed/],
    ['a_partly_filled_report', xl, () => [changed(two()[0], 4, 7)], /report with 775 image bytes/],
    [
      'key_0_on_a_mini',
      mini,
      () => [changed(reports_of.mini(0, mini_image)[0], 5, 0)],
      /no such key/,
    ],
    [
      'a_mini_image_that_ends_early',
      mini,
      () => reports_of.mini(0, mini_image.subarray(0, 15000)),
      /BMP of 19254 bytes in 15120/,
    ],
    [
      'an_original_first_report_that_says_last',
      original,
      () => [changed(reports_of.original(0, Buffer.alloc(15606))[0], 4, 1)],
      /only the second report is the last/,
    ],
    [
      'an_original_report_of_the_usual_size',
      original,
      () => [reports_of.original(0, Buffer.alloc(15606))[0].subarray(0, 1024)],
      /report of 1024 bytes and not 8191/,
    ],
  ];
  for (const [name, product, reports, error] of wrong_reports) {
    test(`${name}_is_an_error`, async () => {
      const device = await open_one(product);
      await client.write_all(device, reports());
      const found = await errors();
      assert.equal(found.length, 1, found.join());
      assert.match(found[0], error);
    });
  }

  test('a_picture_that_is_damaged_or_of_another_size_is_told_with_its_key', async () => {
    const device = await open_one(mini);
    await client.write_all(
      device,
      reports_of.mini(
        1,
        make_bmp(72, 72, () => [9, 9, 9]),
      ),
    );
    const { keys } = await control.deck(path, '?decode');
    assert.equal(keys[1].error, 'picture of 72 by 72 pixels');
    assert.equal(keys[0].brightest, 0);
    await assert.rejects(control.picture(path, 1), /72 by 72/);
  });

  test('clearing_darkens_one_key_and_a_reset_all_of_them', async () => {
    const device = await open_one(xl);
    for (const key of [3, 4]) await client.write_all(device, reports_of.jpeg(key, small));
    const sizes = async () => (await control.deck(path)).keys.slice(3, 5).map((key) => key.bytes);
    assert.deepEqual(await sizes(), [10, 10]);
    assert.equal(await client.feature(device, bytes(32, [3, 6, 3])), 32);
    assert.deepEqual(await sizes(), [0, 10]);
    assert.equal((await control.deck(path)).keys[3].clears, 1);
    await client.feature(device, bytes(32, [3, 2]));
    assert.deepEqual(await sizes(), [0, 0]);
    assert.equal((await control.deck(path)).resets, 1);
    await client.feature(device, bytes(31, [3, 2]));
    await client.feature(device, bytes(32, [3, 6, 32]));
    assert.deepEqual(await errors(), [
      `${path} feature: unknown feature report`,
      `${path} feature: no such key`,
    ]);
  });

  test('writes_fail_as_often_as_told_and_then_no_more', async () => {
    const device = await open_one(xl);
    await control.tell('faults', { path, failWrites: 2 });
    const [first, last] = two();
    const results = [];
    for (const report of [first, last, first, last])
      results.push(await client.write(device, report));
    assert.deepEqual(results, [-1, -1, 1024, 1024]);
    assert.deepEqual(await errors(), []);
    const log = await control.get(`reports?path=${path}`);
    assert.deepEqual(
      log.filter(({ act }) => act === 'write').map(({ result }) => result),
      ['failed', 'failed', 'ok', 'ok'],
    );
  });

  test('reads_fail_for_as_long_as_told', async () => {
    const device = await open_one(xl);
    await control.tell('faults', { path, failReads: -1 });
    assert.deepEqual([await client.read(device), await client.read(device)], [-1, -1]);
    await control.tell('faults', { path, failReads: 1 });
    assert.deepEqual([await client.read(device), await client.read(device)], [-1, '']);
  });

  test('a_deck_held_by_somebody_else_is_listed_but_cannot_be_opened', async () => {
    await plug_in(deck(xl, { heldOpen: true }));
    assert.equal((await client.enumerate()).length, 1);
    assert.equal(await client.open(path), null);
    await control.tell('faults', { path, heldOpen: false });
    assert.equal(await client.open(path), 0);
  });

  test('the_enumeration_can_fail', async () => {
    await plug_in(deck(xl));
    await control.tell('faults', { enumerationFails: true });
    assert.deepEqual(await client.enumerate(), []);
    await control.tell('faults', { enumerationFails: false });
    assert.equal((await client.enumerate()).length, 1);
  });

  test('a_pulled_deck_leaves_a_dead_handle_also_when_another_has_taken_its_path', async () => {
    const device = await open_one(xl, { serial: 'A' });
    await control.tell('pull', { path });
    assert.deepEqual(await client.enumerate(), []);
    assert.equal(await client.read(device), -1);
    assert.equal(await client.write(device, good_jpeg()), -1);
    await control.tell('plug', deck(xl, { serial: 'A', path }));
    assert.equal(await client.read(device), -1);
    const again = await client.open(path);
    assert.equal(await client.write(again, good_jpeg()), 1024);
    await assert.rejects(control.tell('plug', deck(xl, { path })), /plugged in already/);
  });

  test('a_call_with_a_closed_handle_is_noticed', async () => {
    const device = await open_one(xl);
    await client.call('hid_close', { device });
    assert.equal(await client.write(device, good_jpeg()), -1);
    assert.deepEqual(await errors(), ['hid_write on a handle that is not open']);
  });

  test('the_journal_tells_what_was_left_open_and_which_reports_came_last', async () => {
    const device = await open_one(original);
    await client.open(path);
    await client.feature(device, bytes(17, [0x0b, 0x63]));
    await client.call('hid_close', { device });
    const journal = await client.end();
    assert.deepEqual(journal.errors, [`hid_exit with an open device: ${path}`]);
    assert.equal(journal.decks[0].resets, 1);
    assert.deepEqual(
      journal.reports.map(({ act }) => act),
      ['open', 'open', 'feature', 'close'],
    );
    client = undefined;
  });

  test('the_start_of_the_library_can_fail', async () => {
    client = await HidClient.start([], { ELVANTRIS_VIRTUAL_DECKS_INIT: 'fail' });
    assert.equal(await client.call('hid_init'), -1);
  });
});

describe('decks of a simulated server', () => {
  let main;
  before(async () => {
    main = await Server.start('main', 'SER-A');
  });
  after(() => main.stop());
  beforeEach(async () => {
    await post('Detach', { SessionId: 's' });
    await main.set({ reset: true, forget: true });
  });

  const post = async (name, body) =>
    (await call(addresses.main, 5000, 'POST', `/Home/OperatorDeck${name}`, JSON.stringify(body)))
      .status;
  const state = (since, session = 's') =>
    read('main', `/Home/OperatorDeckState?sessionId=${session}&since=${since}`);
  const offer = (serial, changes = {}) => ({
    Serial: serial,
    PID: '99',
    DeviceName: 'Deck',
    KeyCount: 6,
    DevicePath: '/dev/x',
    KeyWidth: 80,
    KeyHeight: 80,
    ImageFormat: 'bmp',
    ImageRotation: 0,
    ...changes,
  });
  const register = (...decks) =>
    post('Register', { SessionId: 's', MachineName: 'desk', Decks: decks });
  const press = (Serial, Index, IsDown = true) =>
    post('KeyEvent', { SessionId: 's', Serial, Index, IsDown });
  const image_of = ({ data }) => Buffer.from(data, 'base64');

  test('the_first_state_is_full_and_then_only_what_has_changed', async () => {
    assert.equal(await register(offer('D')), 200);
    const first = await state(0);
    assert.equal(first.changed, true);
    assert.deepEqual(
      first.decks[0].keys.map(({ index }) => index),
      [0, 1, 2, 3, 4, 5],
    );
    assert.equal(first.decks[0].page, 1);
    const same = await state(first.generation);
    assert.deepEqual(same, { generation: first.generation, changed: false, decks: [] });
    assert.equal(await press('D', 2), 200);
    const next = await state(first.generation);
    assert.deepEqual(
      next.decks[0].keys.map(({ index }) => index),
      [2],
    );
    assert.ok(next.generation > first.generation);
    const ahead = await state(next.generation + 1000);
    assert.equal(ahead.decks[0].keys.length, 6);
    assert.equal(await register(offer('D')), 200);
    assert.equal((await state(next.generation)).changed, false);
  });

  test('a_deck_that_is_offered_no_more_is_not_drawn', async () => {
    await register(offer('D'), offer('E'));
    assert.deepEqual(
      (await state(0)).decks.map(({ serial }) => serial),
      ['D', 'E'],
    );
    await register(offer('E'));
    assert.deepEqual(
      (await state(0)).decks.map(({ serial }) => serial),
      ['E'],
    );
    assert.equal(await press('D', 0), 404);
    await register();
    assert.deepEqual((await state(0)).decks, []);
  });

  test('the_last_key_turns_the_page_and_the_last_page_to_the_first', async () => {
    await main.set({ decks: { pages: 2 } });
    await register(offer('F'));
    const page = async () => (await state(0)).decks[0].page;
    const before_press = (await state(0)).decks[0].keys[0].data;
    await press('F', 5);
    assert.equal(await page(), 2);
    assert.notEqual((await state(0)).decks[0].keys[0].data, before_press);
    await press('F', 5, false);
    assert.equal(await page(), 2);
    await press('F', 5);
    assert.equal(await page(), 1);
  });

  test('a_page_is_set_and_outlives_the_session', async () => {
    await register(offer('G'));
    assert.equal(await post('SetPage', { SessionId: 's', Serial: 'G', Page: 3 }), 200);
    assert.equal(await post('Detach', { SessionId: 's' }), 200);
    assert.deepEqual((await state(0)).decks, []);
    await register(offer('G'));
    assert.equal((await state(0)).decks[0].page, 3);
    const { operatorDecks } = await main.report();
    assert.deepEqual(
      operatorDecks.pagesSet.map(({ serial, page }) => [serial, page]),
      [['G', 3]],
    );
    assert.deepEqual(operatorDecks.detached, ['s']);
    assert.equal(operatorDecks.sessions[0].machineName, 'desk');
  });

  test('key_events_are_told_in_their_order_with_their_time', async () => {
    await register(offer('D'));
    for (const [key, down] of [
      [4, true],
      [1, true],
      [4, false],
    ])
      await press('D', key, down);
    const { keyEvents } = (await main.report()).operatorDecks;
    assert.deepEqual(
      keyEvents.map(({ serial, index, isDown }) => [serial, index, isDown]),
      [
        ['D', 4, true],
        ['D', 1, true],
        ['D', 4, false],
      ],
    );
    assert.ok(keyEvents[0].timeUs <= keyEvents[2].timeUs);
    assert.ok(Math.abs(keyEvents[2].timeUs / 1000 - Date.now()) < 60000);
  });

  const refused = [
    [
      'a_body_that_is_no_json',
      () => call(addresses.main, 5000, 'POST', '/Home/OperatorDeckRegister', '{'),
      400,
    ],
    ['a_product_id_as_a_number', () => register(offer('D', { PID: 99 })), 400],
    ['an_unknown_format', () => register(offer('D', { ImageFormat: 'png' })), 400],
    ['a_turn_by_45_degrees', () => register(offer('D', { ImageRotation: 45 })), 400],
    ['a_key_event_of_an_unknown_deck', () => press('nobody', 0), 404],
    [
      'a_page_of_an_unknown_session',
      () => post('SetPage', { SessionId: 'x', Serial: 'D', Page: 1 }),
      404,
    ],
    ['the_detaching_of_an_unknown_session', () => post('Detach', { SessionId: 'x' }), 404],
    [
      'a_state_without_a_number',
      () => get('main', '/Home/OperatorDeckState?sessionId=s&since='),
      400,
    ],
  ];
  for (const [name, ask, status] of refused) {
    test(`${name}_is_refused_with_${status}`, async () => {
      const answer = await ask();
      assert.equal(answer.status ?? answer, status);
    });
  }

  test('switches_show_the_splash_clear_keys_and_spoil_base64', async () => {
    await register(offer('D'));
    const { generation } = await state(0);
    await main.set({ decks: { useSplash: true, emptyKeys: [1], brokenKeys: [2] } });
    const { changed, decks } = await state(generation);
    assert.equal(changed, true);
    assert.equal(decks[0].useSplash, true);
    assert.equal(decks[0].keys[1].data, '');
    assert.match(decks[0].keys[2].data, /^[A-Za-z0-9+/]+\*[A-Za-z0-9+/=]+$/);
    assert.doesNotMatch(decks[0].keys[0].data, /\*/);
  });

  test('the_state_comes_in_either_spelling', async () => {
    await register(offer('D'));
    await main.set({ spelling: { '*': 'PascalCase' } });
    const { Decks, Changed } = await state(0);
    assert.equal(Changed, true);
    assert.deepEqual(Object.keys(Decks[0]), ['Serial', 'Page', 'UseSplash', 'Keys', 'Scripts']);
    assert.deepEqual(Object.keys(Decks[0].Keys[0]), ['Index', 'Data']);
  });

  test('a_bmp_is_turned_clockwise_as_registered', async () => {
    await register(offer('D'), offer('E', { ImageRotation: 90 }));
    const [upright, turned] = (await state(0)).decks.map(({ keys }) => read_bmp(image_of(keys[3])));
    const expected = { width: 80, height: 80, at: (x, y) => upright.at(y, 79 - x) };
    assert.equal(difference(turned, expected), 0);
    assert.notEqual(difference(turned, upright), 0);
  });

  test('jpegs_for_an_xl_stand_upright_on_its_keys_and_differ_by_key', async () => {
    const form = { KeyWidth: 96, KeyHeight: 96 };
    const xl_form = { ...form, KeyCount: 32, ImageFormat: 'jpeg', ImageRotation: 180 };
    await register(offer('A', form), offer('X', xl_form));
    const [plain, drawn] = (await state(0)).decks;
    const client = await HidClient.start([deck(xl)]);
    try {
      await client.call('hid_init');
      const device = await client.open(path);
      for (const key of [2, 3]) {
        const image = image_of(drawn.keys[key]);
        await client.write_all(device, reports_of.jpeg(key, image));
        const shown = await until('it is shown', () => client.control.picture(path, key));
        // The file without losses tells what the picture is; the other one is close to it.
        const exact = read_bmp(image_of(plain.keys[key]));
        let sum = 0;
        for (let y = 0; y < 96; y += 1) {
          for (let x = 0; x < 96; x += 1) {
            exact.at(x, y).forEach((value, i) => (sum += Math.abs(value - shown.at(x, y)[i])));
          }
        }
        assert.ok(sum / (96 * 96 * 3) < 8, `${sum / (96 * 96 * 3)}`);
      }
      assert.deepEqual((await client.control.get('state?decode')).errors, []);
    } finally {
      await client.stop();
    }
  });
});
