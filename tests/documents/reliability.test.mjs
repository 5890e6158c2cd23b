// The tables that proof/run writes are what it measured, and the track record names tests that are
// there.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { test } from 'node:test';

import { rendered, written_documents } from '../../proof/support/document.mjs';
import { read } from './support.mjs';

for (const name of written_documents) {
  test(`the_tables_of_${name}_are_what_the_results_give`, () => {
    const text = read(name);
    assert.equal(rendered(name, text), text, 'let proof/run write the tables');
  });
}

test('the_tests_of_the_track_record_exist', () => {
  const page = read('docs/reliability.md');
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
