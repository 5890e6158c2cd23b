// What the documents say about the sources: files that they name are there; the menu of the first
// steps and the deck models of the guide are the program's.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { documents, exists, read } from './support.mjs';

// A file or folder of the checkout, or a source by its path below src without its ending.
const is_there = (name) =>
  [name, `src/${name}`].flatMap((one) => [one, `${one}.hpp`, `${one}.cpp`]).some(exists);

const folders = [
  ...['src', 'tests', 'simulator', 'rehearsal', 'packaging', 'assets', 'docs'],
  ...[
    'app',
    'local',
    'platform',
    'routing',
    'protection',
    'decks',
    'systems',
    'json',
    'os',
    'tool',
  ],
].join('|');
const named = new RegExp(`\`((?:${folders})/[\\w./-]+)\``, 'g');

for (const name of documents) {
  // The style guide's files are examples.
  if (name === 'docs/house-style.md') continue;
  test(`files_named_in_${name}_exist`, () => {
    const missing = [...read(name).matchAll(named)]
      .map(([, found]) => found)
      .filter((one) => !is_there(one));
    assert.deepEqual(missing, []);
  });
}

test('the_menu_in_the_first_steps_is_the_program_s', () => {
  const code = read('src/platform/tray_menu.cpp');
  const items = [
    ...code.slice(code.indexOf('return {{')).matchAll(/"([A-Z][^"]*?)(?:: ?-*)?"/g),
  ].map(([, text]) => text);
  assert.ok(items.length > 5, 'the items of the menu were not found');
  const table = read('docs/first-steps.md').split('## The tray menu')[1];
  const shown = [...table.matchAll(/^\| ([A-Z][^|]*?) \|/gm)]
    .flatMap(([, cell]) => cell.split(', '))
    .filter((text) => text !== 'Item');
  assert.deepEqual(shown, items);
});

test('the_deck_models_in_the_guide_are_the_program_s', () => {
  const rows = read('src/decks/deck_models.cpp').matchAll(/^ *\{0x[0-9A-F]{4}, "([^"]+)"/gm);
  const known = [...rows].map(([, name]) => name);
  assert.ok(known.length > 10, 'the rows of the models were not found');
  const section = read('docs/guide/troubleshooting.md').split('## A deck is dark')[1];
  const shown = [...section.matchAll(/^\| (Stream Deck [^|]*?) \|/gm)]
    .flatMap(([, cell]) => cell.split(', '))
    .sort();
  const advice = 'name the same models in docs/guide/troubleshooting.md: docs/adding.md';
  assert.deepEqual(shown, known.sort(), advice);
});
