// Two servers that stay for all tests of a file, each test beginning with the show they had at
// first and with nothing broken, and a workstation of the test's own that hasn't been started.
import { after, afterEach, before, beforeEach } from 'node:test';

import { Server } from '../../driver/network.mjs';
import { Workstation } from '../../driver/workstation.mjs';

// To be called once, ahead of the file's tests; its fields are there from their beginning on.
export function set_the_stage() {
  const stage = {};
  before(async () => {
    stage.main = await Server.start('main', 'SER-A');
    stage.backup = await Server.start('backup', 'SER-B');
    stage.show = (await stage.main.report()).eventModel;
  });
  after(async () => {
    await stage.main?.stop();
    await stage.backup?.stop();
  });
  beforeEach(async () => {
    for (const server of [stage.main, stage.backup]) {
      await server.set({ reset: true, forget: true, eventModel: stage.show });
    }
    stage.workstation = new Workstation();
  });
  afterEach(() => stage.workstation.remove());
  return stage;
}
