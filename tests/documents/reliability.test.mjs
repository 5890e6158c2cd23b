// The tables of docs/reliability.md are what proof/run measured, and its track record names tests
// that are there.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { test } from 'node:test';

import { rendered } from '../../proof/support/document.mjs';
import { read } from './support.mjs';

const page = read('docs/reliability.md');

test('the_tables_of_reliability_are_what_the_results_give', () =>
  assert.equal(rendered(page), page, 'let proof/run write the tables'));

test('the_tests_of_the_track_record_exist', () => {
  const named = [...page.split('## Track record')[1].matchAll(/`(\w+)\.(\w+)` \|$/gm)];
  assert.ok(named.length > 0, 'the tests of the track record were not found');
  const sources = execFileSync('git', ['grep', '-h', '--untracked', '^TEST', '--', 'tests'], {
    cwd: new URL('../..', import.meta.url),
    encoding: 'utf8',
  });
  for (const [, suite, name] of named) {
    assert.match(sources, new RegExp(`\\(${suite}, ${name}\\)`), `${suite}.${name} is missing`);
  }
});
