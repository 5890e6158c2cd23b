// What follows from the rows of src/decks/deck_models.cpp: the udev rule, the simulator's decks,
// the splash sets.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';

import { known_models as models } from '../driver/deck_models.mjs';

const root = path.resolve(path.dirname(new URL(import.meta.url).pathname), '../..');
const read = (name) => fs.readFileSync(path.join(root, name), 'utf8');

test('every row is read by this test', () => {
  const written = read('src/decks/deck_models.cpp').match(/\{0x/g);
  assert.equal(
    models.length,
    written.length,
    'write each row of deck_models.cpp on one line, hexadecimal digits in capitals',
  );
  assert.ok(models.length >= 14);
});

const rule = execFileSync(path.join(root, 'scripts/lib/deck_rule.sh'), { encoding: 'utf8' });
const tagged = rule.split('\n').filter((line) => line.includes('uaccess'));

test('the rule sorts before the one that acts on its tag', () => {
  const [file] = fs
    .readdirSync(path.join(root, 'packaging/linux'))
    .filter((name) => name.endsWith('-stream-deck.rules.in'));
  assert.ok(file < '73-seat-late.rules');
});

test('every known product is in the rule, and no other', () => {
  const named = tagged.flatMap((line) => /idProduct\}=="([^"]+)"/.exec(line)[1].split('|'));
  assert.deepEqual(named.sort(), models.map(({ id }) => id.toLowerCase()).sort());
});

test('each line names the vendor', () => {
  for (const line of tagged) assert.match(line, /ATTRS\{idVendor\}=="0fd9"/);
});

test('the raw devices and the USB devices are both covered', () => {
  const skipped = /SUBSYSTEM!="([^"]+)"/.exec(rule)[1].split('|');
  assert.deepEqual(skipped.sort(), ['hidraw', 'usb']);
});

const simulated = read('simulator/virtual_decks/deck_models.cpp');
const simulated_row =
  /deck_model\{0x([0-9A-F]{4}), "([^"]+)", (\w+), (\d+), (\d+), (\d+), (\d+)\}/g;
const virtual_decks = [...simulated.matchAll(simulated_row)].map(
  ([, id, name, layout, columns, rows, side, turned_back]) => ({
    id,
    name,
    layout,
    keys: Number(columns) * Number(rows),
    side: Number(side),
    turned_back: Number(turned_back),
  }),
);

for (const model of models) {
  test(`the simulator has a ${model.name}`, () => {
    const found = virtual_decks.find(({ id }) => id === model.id);
    assert.ok(
      found,
      `write a row for 0x${model.id} into simulator/virtual_decks/deck_models.cpp: docs/adding.md`,
    );
    const { id, name, family: layout, keys, width: side, rotation } = model;
    const turned_back = (360 - rotation) % 360;
    assert.deepEqual(found, { id, name, layout, keys, side, turned_back });
    assert.equal(model.height, model.width, 'virtual decks have square keys alone');
  });

  test(`the splash of ${model.name} is cut for its keys`, () => {
    const sets = read('scripts/lib/cut_splash.mjs');
    const cut = new RegExp(
      `${model.splash}: \\{ grid: grids\\.(\\w+), key_size: (\\d+), ` +
        `format: '(\\w+)', rotation: (\\d+) \\}`,
    ).exec(sets);
    assert.ok(cut, `${model.splash} is not among the sets of scripts/lib/cut_splash.mjs`);
    const [, grid, key_size, format, rotation] = cut;
    const shape = new RegExp(`${grid}: \\{\\n\\s+columns: (\\d+),\\n\\s+rows: (\\d+),`).exec(sets);
    assert.deepEqual(
      { keys: shape[1] * shape[2], width: Number(key_size), format, rotation: Number(rotation) },
      {
        keys: model.keys,
        width: model.width,
        format: model.format === 'jpeg' ? 'jpg' : model.format,
        rotation: model.rotation,
      },
      'name the set of this grid, size, format and rotation, or cut one: docs/adding.md',
    );
  });
}
