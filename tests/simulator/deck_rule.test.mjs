// The udev rule that hands the decks to the user at the machine.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';

const root = path.resolve(import.meta.dirname ?? path.dirname(new URL(import.meta.url).pathname), '../..');
const file = fs
  .readdirSync(path.join(root, 'packaging/linux'))
  .find((name) => name.endsWith('-stream-deck.rules'));
const rules = fs
  .readFileSync(path.join(root, 'packaging/linux', file), 'utf8')
  .split('\n')
  .filter((line) => line.includes('uaccess'));
const known_products = [
  ...fs
    .readFileSync(path.join(root, 'src/decks/deck_models.cpp'), 'utf8')
    .matchAll(/\{0x([0-9A-F]{4}), "/g),
].map(([, id]) => id.toLowerCase());

test('the rule sorts before the one that acts on its tag', () => {
  assert.ok(file < '73-seat-late.rules');
});

test('every known product is named, and no other', () => {
  assert.equal(known_products.length, 14);
  const named = rules.flatMap((line) => /idProduct\}=="([^"]+)"/.exec(line)[1].split('|'));
  assert.deepEqual(named.sort(), known_products.sort());
});

test('each line names the vendor', () => {
  for (const line of rules) assert.match(line, /ATTRS\{idVendor\}=="0fd9"/);
});

test('the raw devices and the USB devices are both covered', () => {
  const text = fs.readFileSync(path.join(root, 'packaging/linux', file), 'utf8');
  const skipped = /SUBSYSTEM!="([^"]+)"/.exec(text)[1].split('|');
  assert.deepEqual(skipped.sort(), ['hidraw', 'usb']);
});
