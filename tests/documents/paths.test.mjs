// What the documents say about the sources: files that they name are there, and the menu of the
// first steps is the program's.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';

const root = path.resolve(import.meta.dirname, '../..');
const read = (name) => fs.readFileSync(path.join(root, name), 'utf8');
const files = execFileSync('git', ['ls-files', '--cached', '--others', '--exclude-standard'], {
  cwd: root,
  encoding: 'utf8',
}).split('\n');
const documents = files.filter(
  (name) => name.endsWith('.md') && fs.existsSync(path.join(root, name)),
);

// A file or folder of the checkout, or a source by its path below src without its ending.
function exists(name) {
  const beginnings = [name, `src/${name}`].flatMap((one) => [one, `${one}.hpp`, `${one}.cpp`]);
  return beginnings.some((one) => fs.existsSync(path.join(root, one)));
}

const folders = [
  ...['src', 'tests', 'simulator', 'packaging', 'assets', 'docs'],
  ...['app', 'local', 'platform', 'routing', 'protection', 'decks', 'systems', 'json', 'os'],
].join('|');
const named = new RegExp(`\`((?:${folders})/[\\w./-]+)\``, 'g');

for (const name of documents) {
  // The style guide's files are examples.
  if (name === 'docs/house-style.md') continue;
  test(`files_named_in_${name}_exist`, () => {
    const missing = [...read(name).matchAll(named)]
      .map(([, found]) => found)
      .filter((one) => !exists(one));
    assert.deepEqual(missing, []);
  });
}

test('the_menu_in_the_first_steps_is_the_program_s', () => {
  const code = read('src/platform/tray_menu.cpp');
  const items = [
    ...code.slice(code.indexOf('return {{')).matchAll(/"([A-Z][^"]*?)(?:: ?-*)?"/g),
  ].map(([, text]) => text);
  const table = read('docs/first-steps.md').split('## The tray menu')[1];
  const shown = [...table.matchAll(/^\| ([A-Z][^|]*?) \|/gm)]
    .flatMap(([, cell]) => cell.split(', '))
    .filter((text) => text !== 'Item');
  assert.deepEqual(shown, items);
});
