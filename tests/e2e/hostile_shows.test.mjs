// A show that doesn't arrive whole is never written back.
import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';

import { until_status } from '../driver/operator.mjs';
import { paired_config, quick_policy } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';
import { set_the_stage } from './support/show_stage.mjs';

const torn = 'Main event configuration could not be prepared.';

const stage = set_the_stage();
let main;
let workstation;
let show;
beforeEach(() => {
  ({ main, workstation, show } = stage);
  workstation.write_config(paired_config());
  workstation.write_state(quick_policy);
});

// Behind an object that has been closed, and before the end of the show.
const bytes_up_to = (place) => Buffer.byteLength(show.slice(0, place));
const behind_a_closed_object = () => bytes_up_to(show.indexOf('}') + 1);
const behind_the_last_inner_object = () =>
  bytes_up_to(show.lastIndexOf('}', show.lastIndexOf('}') - 1) + 1);

// The text that was posted is the show with the pairing put in, and nothing else.
function assert_only_the_pairing_was_added(posted, original) {
  const end = original.trimEnd().slice(0, -1).trimEnd().length;
  assert.equal(posted.slice(0, end), original.slice(0, end));
  assert.equal(posted.slice(end, end + 19), ',"OperatorControl":');
  assert.ok(posted.endsWith(original.slice(end)));
  const { OperatorControl: added, ...rest } = JSON.parse(posted);
  assert.equal(added.Systems.length, 2);
  assert.deepEqual(rest, JSON.parse(original));
}

const cuts = [
  ['stalls_behind_a_closed_object', () => ({ stallAfterBytes: behind_a_closed_object() })],
  ['stalls_close_to_its_end', () => ({ stallAfterBytes: behind_the_last_inner_object() })],
  ['is_closed_behind_a_closed_object', () => ({ cutAfterBytes: behind_a_closed_object() })],
  ['is_closed_close_to_its_end', () => ({ cutAfterBytes: behind_the_last_inner_object() })],
  ['is_larger_than_32_mebibytes', () => ({ fillToBytes: 34 * 1024 * 1024 })],
];
for (const [name, fault] of cuts) {
  test(`a_show_that_${name}_stays_as_it_is_until_it_can_be_read_whole`, async () => {
    await main.break_path('GetEventModel', fault());
    await workstation.start();
    await until('a second try', async () => (await main.calls('GetEventModel')).count >= 2);
    const status = await until_status('it is over', (now) => now.policySyncMessage === torn);
    assert.equal(status.policySynchronized, false);
    assert.equal((await main.calls('UpdateEventModel')).count, 0);
    assert.equal((await main.report()).eventModel, show);

    await main.set({ faults: null });
    await until_status('the pairing is written', (now) => now.policySynchronized);
    assert_only_the_pairing_was_added((await main.report()).lastUpdate, show);
  });
}

test('a_show_that_ends_inside_a_text_is_torn_though_the_text_holds_a_brace', async () => {
  const cut = bytes_up_to(show.indexOf('Sunrise {slow}') + 'Sunrise {slow}'.length);
  await main.break_path('GetEventModel', { cutAfterBytes: cut });
  await workstation.start();
  await until_status('the try is over', (now) => now.policySyncMessage === torn);
  assert.equal((await main.calls('UpdateEventModel')).count, 0);
});

test('a_whole_show_of_4_mebibytes_is_written_back_whole', async () => {
  await main.break_path('GetEventModel', { fillToBytes: 4 * 1024 * 1024 });
  await workstation.start();
  await until('an update', async () => (await main.report()).modelUpdates >= 1);
  const { lastUpdate } = await main.report();
  await main.set({ reset: true, eventModel: show });
  const { Filler: filler, OperatorControl: added, ...rest } = JSON.parse(lastUpdate);
  assert.ok(filler.length > 4000);
  assert.equal(added.Systems.length, 2);
  assert.deepEqual(rest, JSON.parse(show));
});
