// Every link of every document leads somewhere, and every script that a document names is there.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';

const root = path.resolve(import.meta.dirname, '../..');
const git = (...words) => execFileSync('git', words, { cwd: root, encoding: 'utf8' });
const documents = git('ls-files', '--cached', '--others', '--exclude-standard', '*.md')
  .split('\n')
  .filter(Boolean);
const read = (name) => fs.readFileSync(path.join(root, name), 'utf8');

const without_fences = (text) => text.replace(/^```[^]*?^```$/gm, '');

// As the usual viewers make it of a heading.
const anchor_of = (heading) =>
  heading
    .replace(/[`*]/g, '')
    .trim()
    .toLowerCase()
    .replace(/[^\p{L}\p{N} _-]/gu, '')
    .replaceAll(' ', '-');

const anchors_of = (name) =>
  [...without_fences(read(name)).matchAll(/^#+ (.+)$/gm)].map(([, heading]) => anchor_of(heading));

function broken_links(name) {
  const text = without_fences(read(name));
  const links = [...text.matchAll(/\]\(([^)\s]+)\)/g)].map(([, link]) => link);
  return links.filter((link) => {
    if (/^https?:/.test(link)) return false;
    const [file, anchor] = link.split('#');
    const target = file ? path.join(path.dirname(name), file) : name;
    if (!fs.existsSync(path.join(root, target))) return true;
    return anchor !== undefined && !anchors_of(target).includes(anchor);
  });
}

// What a reader would start: our own scripts, benchmarks and package files by their paths.
function missing_commands(name) {
  const fences = [...read(name).matchAll(/^```[^\n]*\n([^]*?)^```$/gm)].map(([, text]) => text);
  const words = [...without_fences(read(name)).matchAll(/`([^`\n]+)`/g)].map(([, text]) => text);
  const paths = [...fences, ...words].flatMap((text) =>
    [...text.matchAll(/(?<![\w./-])((?:scripts|bench)\/[\w./-]+)/g)].map(([, found]) => found),
  );
  return paths.filter((one) => !fs.existsSync(path.join(root, one.replace(/[.,]$/, ''))));
}

for (const name of documents) {
  test(`links_of_${name}_lead_somewhere`, () => assert.deepEqual(broken_links(name), []));
  test(`scripts_in_${name}_exist`, () => assert.deepEqual(missing_commands(name), []));
}

test('every_page_is_one_or_two_clicks_from_the_readme', () => {
  const links_of = (name) =>
    [...read(name).matchAll(/\]\(([^)\s#]+)/g)]
      .filter(([, link]) => !/^https?:/.test(link))
      .map(([, link]) => path.join(path.dirname(name), link));
  const first = links_of('README.md');
  const guides = documents.filter((name) => name.startsWith('docs/'));
  assert.deepEqual(
    guides.filter((name) => !first.includes(name)),
    [],
  );
});
