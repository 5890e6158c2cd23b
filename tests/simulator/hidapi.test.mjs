// The HID library that scripts/setup builds, without any virtual deck.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

import { simulator } from '../driver/environment.mjs';

test('a_device_that_answers_no_more_does_not_open_and_ends_nothing', () => {
  // What is no HID device refuses the same call as one that goes behind the open.
  const call = JSON.stringify({ call: 'hid_open_path', path: fileURLToPath(import.meta.url) });
  const client = path.join(simulator, 'hid_client');
  const run = spawnSync(client, { input: `${call}\n${call}\n${call}\n`, encoding: 'utf8' });
  assert.equal(run.stdout, '{"result":null}\n'.repeat(3));
  assert.equal(run.status, 0, run.signal);
});
