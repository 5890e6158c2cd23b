// The man page of the program says what the documents say.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { read } from './support.mjs';

const folder = 'packaging/linux/manuals';
const page = read(`${folder}/elvantris-redundancy-control.1.in`).replaceAll('\\-', '-');
const operation = read('docs/operation.md');

// The first cells of the rows below a heading of a table.
function first_cells(heading) {
  const [, rows] = new RegExp(`^\\| ${heading} \\|.*\\n\\|[-|]*\\n((?:\\|.*\\n)+)`, 'm').exec(
    operation,
  );
  return rows
    .trim()
    .split('\n')
    .map((row) => row.split('|')[1].trim());
}

test('the_man_page_of_the_program_has_each_option', () => {
  const options = first_cells('Argument').flatMap((cell) => cell.match(/--[a-z]+/g));
  assert.ok(options.length >= 5);
  const part = page.split('.SH OPTIONS')[1].split('.SH')[0];
  for (const option of options) assert.ok(part.includes(option), option);
});

test('the_man_page_of_the_program_has_each_exit_code', () => {
  const part = page.split('.SH EXIT STATUS')[1].split('.SH')[0];
  const codes = [...part.matchAll(/^\.B (\d)$/gm)].map(([, code]) => code);
  assert.deepEqual(codes, first_cells('Exit code'));
});
