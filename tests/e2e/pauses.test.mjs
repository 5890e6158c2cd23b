// The workstation was away, slow, or cut off: nothing that is healthy moves.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import { after, before, beforeEach, test } from 'node:test';
import { setTimeout as sleep } from 'node:timers/promises';

import { addresses, windows } from '../driver/environment.mjs';
import { get_status, until_active, until_alert, until_recovered } from '../driver/operator.mjs';
import { mark, Pair } from '../driver/pair.mjs';

let pair;
before(async () => {
  pair = await Pair.start();
});
after(() => pair?.stop());
beforeEach(() => pair.settle({ lossMs: 1000, stallMs: 1500 }));

const told_of = (raised, status) => raised(status).map(({ message }) => message);

// Operation is where it was all the time.
async function assert_unmoved(raised) {
  const status = await get_status();
  assert.equal(status.active, 'main');
  assert.equal(status.protection.heldOnBackup, false);
  assert.ok(told_of(raised, status).every((message) => !message.includes('operating on')));
}

const pauses = Number(process.env.ELVANTRIS_PAUSES ?? 12);
for (const latency of [1, 100, 300]) {
  test(`a_stopped_program_moves_nothing_with_a_backup_that_answers_in_${latency}_ms`, async () => {
    await pair.backup.break_path('GetVorHealth', { delayMs: latency });
    const raised = await mark();
    for (let count = 0; count < pauses; ++count) {
      await sleep(600 + Math.random() * 400);
      pair.workstation.program.process.kill('SIGSTOP');
      await sleep(600 + Math.random() * 2400);
      pair.workstation.program.process.kill('SIGCONT');
    }
    await sleep(1500);
    await assert_unmoved(raised);
    // On a busy machine 300 ms may become more than the 350 that a poll may take.
    if (latency < 300) assert.deepEqual(told_of(raised, await get_status()), []);
  });
}

const ip = (...words) => execFileSync('ip', words, { encoding: 'utf8' });
const own_interface = () =>
  ip('-o', '-4', 'route', 'get', pair.main.address).match(/ dev (\S+)/)[1];

test('the_own_interface_going_down_moves_nothing', { skip: windows }, async () => {
  const name = own_interface();
  for (const lossMs of [575, 980, 1000]) {
    await pair.settle({ lossMs });
    const raised = await mark();
    for (let count = 0; count < 3; ++count) {
      ip('link', 'set', name, 'down');
      await sleep(1600 + Math.random() * 250);
      ip('link', 'set', name, 'up');
      await until_recovered('Main: Server communication lost.');
      await until_recovered('Backup: Server communication lost.');
    }
    await assert_unmoved(raised);
  }
});

// A system looks a silent neighbour up once a second only, which would hide how soon we ask.
function know_neighbours() {
  const name = own_interface();
  const own_mac = fs.readFileSync(`/sys/class/net/${name}/address`, 'utf8').trim();
  for (const server of [pair.main, pair.backup]) {
    const [, mac] = ip('neigh', 'show', server.address).match(/lladdr (\S+)/);
    ip('neigh', 'replace', server.address, 'lladdr', mac, 'dev', name, 'nud', 'permanent');
    server.know_neighbour(addresses.workstation, own_mac);
  }
}

test('a_main_that_returns_shortly_after_backup_moves_nothing', async () => {
  know_neighbours();
  for (const later of [0, 50, 100, 150, 200]) {
    pair.main.unplug();
    pair.backup.unplug();
    await until_alert('Main: Server communication lost.');
    await until_alert('Backup: Server communication lost.');
    await sleep(Math.random() * 500);
    const before = Date.now();
    pair.backup.plug();
    await sleep(later);
    pair.main.plug();
    const gap = Date.now() - before;
    await until_recovered('Main: Server communication lost.');
    // On a busy machine a cable takes its time.
    if (gap > 300) await pair.settle({ lossMs: 1000, stallMs: 1500 });
    else assert.equal((await get_status()).protection.heldOnBackup, false, `${gap} ms later`);
  }
});

test('a_main_that_stays_away_is_left_all_the_same', async () => {
  pair.main.unplug();
  pair.backup.unplug();
  await until_alert('Backup: Server communication lost.');
  pair.backup.plug();
  await until_active('backup');
});
