// Replies made to cost time or to spoil what the program tells others.
import assert from 'node:assert/strict';
import { after, before, beforeEach, test } from 'node:test';

import { health_of, until_active, until_status } from '../driver/operator.mjs';
import { Pair } from '../driver/pair.mjs';
import { assert_polled_for, spoiled_ms, took } from './support/hostile.mjs';

let pair;
before(async () => {
  pair = await Pair.start();
});
after(() => pair?.stop());
beforeEach(() => pair.settle());

test('health_behind_repeated_header_text_is_read_four_times_a_second', async () => {
  for (const server of [pair.main, pair.backup]) {
    await server.break_path('GetVorHealth', { headerPadBytes: 250000 });
  }
  await assert_polled_for(pair.main, 5);
  await until_status('the padded health is good', (status) =>
    status.protection.systems.every(({ ageMs, supported }) => ageMs < 500 && supported),
  );
  const spent = await took(async () => {
    await pair.main.set({ engine: 'stopped' });
    await until_active('backup');
  });
  assert.ok(spent < spoiled_ms, `${spent} ms`);
});

const no_json = [
  '[{"id":"a"]',
  '[1,]',
  '[tru]',
  '[01]',
  '["\\q"]',
  '["\u0001"]',
  '[{"id"}]',
  '[}{]',
];
for (const [number, outputs] of no_json.entries()) {
  test(`outputs_that_balance_and_are_no_json_are_told_as_none_${number + 1}`, async () => {
    await until_status('the good outputs', (now) => health_of(now, 'SER-B').outputs.length === 2);
    await pair.backup.set({ outputs });
    await until_status('no outputs', (now) => health_of(now, 'SER-B').outputs.length === 0);
  });
}

test('outputs_that_are_json_are_told_as_they_came', async () => {
  const outputs = '[ {"id":"é\\u00e9","name":null,"more":[1.5e3,-0,true]} ]';
  await pair.backup.set({ outputs });
  const status = await until_status(
    'the outputs',
    (now) => health_of(now, 'SER-B').outputs.length === 1,
  );
  assert.deepEqual(health_of(status, 'SER-B').outputs, JSON.parse(outputs));
});
