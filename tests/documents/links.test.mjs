// Every link of every document leads somewhere, every script that a document names is there, and
// the README opens every page of docs/ in one click.
import assert from 'node:assert/strict';
import path from 'node:path';
import { test } from 'node:test';
import { code_marks_of, documents, exists, fences_of, read, without_fences } from './support.mjs';

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

// The links to our own files: the file by its path in the checkout, and the anchor if there is one.
const links_of = (name) =>
  [...without_fences(read(name)).matchAll(/\]\(([^)\s]+)\)/g)]
    .map(([, link]) => link)
    .filter((link) => !/^https?:/.test(link))
    .map((link) => {
      const [file, anchor] = link.split('#');
      return { link, anchor, target: file ? path.join(path.dirname(name), file) : name };
    });

const is_broken = ({ target, anchor }) =>
  !exists(target) || (anchor !== undefined && !anchors_of(target).includes(anchor));

// What a reader would start: our own scripts and benchmarks by their paths.
function missing_commands(name) {
  const text = read(name);
  const paths = [...fences_of(text), ...code_marks_of(text)].flatMap((words) =>
    [...words.matchAll(/(?<![\w./-])((?:scripts|bench)\/[\w./-]+)/g)].map(([, found]) => found),
  );
  return paths.filter((one) => !exists(one.replace(/[.,]$/, '')));
}

for (const name of documents) {
  test(`links_of_${name}_lead_somewhere`, () => {
    const broken = links_of(name).filter(is_broken);
    assert.deepEqual(
      broken.map(({ link }) => link),
      [],
    );
  });
  test(`scripts_in_${name}_exist`, () => assert.deepEqual(missing_commands(name), []));
}

test('the_readme_opens_every_page_of_docs_in_one_click', () => {
  const opened = links_of('README.md').map(({ target }) => target);
  const pages = documents.filter((name) => name.startsWith('docs/'));
  assert.ok(pages.length > 15, 'the pages of docs/ were not found');
  assert.deepEqual(
    pages.filter((name) => !opened.includes(name)),
    [],
  );
});
