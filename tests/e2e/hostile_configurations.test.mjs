// A server whose configuration names more systems than a network can have.
import assert from 'node:assert/strict';
import { after, afterEach, before, beforeEach, test } from 'node:test';

import { Server } from '../driver/network.mjs';
import { get_status } from '../driver/operator.mjs';
import { until } from '../driver/waiting.mjs';
import { Workstation } from '../driver/workstation.mjs';
import { until_passes, until_saved_again } from './support/hostile.mjs';

let main;
let workstation;
before(async () => {
  main = await Server.start('main', 'SER-A');
});
after(() => main?.stop());
beforeEach(async () => {
  workstation = new Workstation();
  await workstation.start();
});
afterEach(async () => {
  await workstation.kill();
  await workstation.remove();
});

test('a_configuration_of_200000_systems_holds_no_pass', async () => {
  await main.set({ configurationSystems: 200000 });
  await until(
    'the configuration is read',
    async () => (await main.calls('GetOperatorControlConfiguration')).count > 0,
  );
  await until_passes(main, 2);
  await until_saved_again(workstation);
  assert.ok((await get_status()).systems.length <= 1024);
});
