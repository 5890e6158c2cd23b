// The checkout as the tests of the documents read it.
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';

const root = path.resolve(import.meta.dirname, '../..');

export const exists = (name) => fs.existsSync(path.join(root, name));
export const read = (name) => fs.readFileSync(path.join(root, name), 'utf8');

const listed = execFileSync(
  'git',
  ['ls-files', '--cached', '--others', '--exclude-standard', '*.md'],
  { cwd: root, encoding: 'utf8' },
);
// A file that was deleted and not yet committed is listed too.
export const documents = listed.split('\n').filter((name) => name !== '' && exists(name));

const fence = /^```[^\n]*\n([^]*?)^```$/gm;
export const without_fences = (text) => text.replace(fence, '');
export const fences_of = (text) => [...text.matchAll(fence)].map(([, inside]) => inside);

// What is between code marks, the fences left out.
export const code_marks_of = (text) =>
  [...without_fences(text).matchAll(/`([^`\n]+)`/g)].map(([, inside]) => inside);
