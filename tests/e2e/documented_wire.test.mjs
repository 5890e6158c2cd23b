// The messages of docs/wire.md: the program understands them, and it and the simulated servers send
// nothing else.
import assert from 'node:assert/strict';
import { after, before, describe, test } from 'node:test';

import { decks, plug_into, tap, until_control, until_painted, xl } from '../driver/decks.mjs';
import { addresses, windows } from '../driver/environment.mjs';
import { call } from '../driver/http.mjs';
import { Server, start_documented_server } from '../driver/network.mjs';
import { health_of, operate, system_of, until_active, until_status } from '../driver/operator.mjs';
import { paired_config, quick_policy } from '../driver/pair.mjs';
import { until } from '../driver/waiting.mjs';
import { machine_name, Workstation } from '../driver/workstation.mjs';
import { answers, message } from './support/wire_page.mjs';

const with_decks = windows ? test.skip : test;

// What the page's workstation is called, as this one is.
const machine = await machine_name();
const as_here = (text) => JSON.parse(text.replaceAll('SHOW-1', machine));

for (const spelling of ['PascalCase', 'camelCase']) {
  describe(`a server that answers in ${spelling}`, () => {
    const page = answers(spelling);
    const reply = (name) => JSON.parse(page.get(`/Home/${name}`));
    let server;
    let workstation;
    before(async () => {
      server = await start_documented_server('main', spelling);
      workstation = new Workstation();
      workstation.write_config({ openBrowserOnStart: false });
      workstation.write_state(quick_policy);
      if (!windows) plug_into(workstation, [xl]);
      await workstation.start();
      if (!windows) await until_control();
    });
    after(async () => {
      if (!workstation.program.ended) await workstation.stop();
      await workstation.remove();
      await server.stop();
    });

    test('is_found_and_its_pairing_taken_over', async () => {
      const status = await until_status('the pairing', ({ enabled }) => enabled);
      const [, , name, serial] = message('answer').split(',');
      const main = system_of(status, serial);
      assert.deepEqual([main.role, main.workstation], ['Main', name]);
      assert.deepEqual(system_of(status, 'SER-B').backupForSerial, serial);
      assert.deepEqual(status.sharedFunctionIds, [3, 7]);
      await until_status('no update is needed', ({ policySynchronized }) => policySynchronized);
    });

    test('is_watched', async () => {
      const status = await until_status('health', (now) => health_of(now, 'SER-A')?.supported);
      const said = reply('GetVorHealth');
      const health = health_of(status, 'SER-A');
      for (const key of ['engineRunning', 'engineResponsive', 'telemetryAvailable']) {
        assert.equal(health[key], said[key], key);
      }
      assert.deepEqual(health.outputs, said.outputs);
      assert.equal(health.frameStalled, false);
    });

    test('tells_its_replication', async () => {
      const status = await until_status(
        'replication',
        (now) => system_of(now, 'SER-A').replicationEventTitle === 'Evening show',
      );
      const main = system_of(status, 'SER-A');
      assert.deepEqual(
        [main.replicationRole, main.replicationRevision, main.replicationAppliedRevision],
        ['Main', 12, 12],
      );
    });

    with_decks('draws_on_a_deck_and_hears_its_keys', async () => {
      await until('key 0 is painted and key 1 cleared', async () => {
        const [first, second] = (await decks.deck(xl.path)).keys;
        return first.bytes === 4 && second.clears > 0;
      });
      await tap(xl.path, 3);
      const sent = async (name) =>
        (await server.requests()).filter(({ url }) => url.startsWith(`/Home/OperatorDeck${name}`));
      await until('the key', async () => (await sent('KeyEvent')).length === 2);
      assert.equal((await sent('KeyEvent'))[0].body, JSON.stringify(as_here(message('key'))));
      // The first offer may have come before the deck was attached.
      const offer = JSON.stringify(as_here(message('register')));
      const offered = ({ body }) => body === offer;
      await until('the offer', async () => (await sent('Register')).some(offered));
      const [{ url }] = await sent('State');
      const session = `operator-control-${machine}`;
      assert.equal(url, `/Home/OperatorDeckState?sessionId=${session}&since=0`);
      await workstation.stop();
      assert.deepEqual(
        (await sent('Detach')).map(({ body }) => body),
        [JSON.stringify(as_here(message('detach')))],
      );
    });
  });
}

describe('the simulated servers', () => {
  let servers;
  let workstation;
  before(async () => {
    servers = [await Server.start('main', 'SER-A'), await Server.start('backup', 'SER-B')];
    workstation = new Workstation();
    workstation.write_config(paired_config());
    workstation.write_state(quick_policy);
    if (!windows) plug_into(workstation, [xl]);
    await workstation.start();
    await until_status('the pairing is written', ({ policySynchronized }) => policySynchronized);
  });
  after(async () => {
    if (!workstation.program.ended) await workstation.stop();
    await workstation.remove();
    for (const server of servers) await server.stop();
  });

  // Every key of a reply, however deep, without those of lists that are empty.
  function keys_in(value, into = new Set()) {
    if (Array.isArray(value)) value.forEach((each) => keys_in(each, into));
    else if (value && typeof value === 'object') {
      for (const [key, each] of Object.entries(value)) keys_in(each, into.add(key));
    }
    return into;
  }

  for (const spelling of ['PascalCase', 'camelCase']) {
    test(`send_the_page_s_keys_in_${spelling}`, async () => {
      await servers[0].set({ spelling: { '*': spelling } });
      for (const [target, text] of answers(spelling)) {
        if (target.endsWith('EventModel') || target.endsWith('DeckState')) continue;
        if (target.endsWith('GetVorHealth') && spelling === 'PascalCase') continue;
        const { body } = await call(addresses.main, 5000, 'GET', target);
        assert.deepEqual(
          [...keys_in(JSON.parse(body))].sort(),
          [...keys_in(JSON.parse(text))].sort(),
          target,
        );
      }
      await servers[0].set({ reset: true });
    });
  }

  test('were_sent_the_page_s_pairing_with_the_event_around_it', async () => {
    const { lastBody } = await servers[0].calls('UpdateEventModel');
    const form = new URLSearchParams(lastBody);
    assert.equal(form.get('room'), 'prime');
    const { OperatorControl: written } = JSON.parse(form.get('data'));
    const expected = JSON.parse(message('OperatorControl'));
    const names = servers.map((server) => server.workstation);
    expected.Systems.forEach((system, at) => (system.WorkstationName = names[at]));
    // The server's own, which goes back as it came.
    expected.ReplicationRevision = written.ReplicationRevision;
    assert.equal(JSON.stringify(written), JSON.stringify(expected));
  });

  with_decks('hear_of_the_page_when_operation_moves', async () => {
    await until_painted(servers[0], xl);
    await until('Backup is ready', async () => (await operate('backup')).ok);
    await until_active('backup');
    const told = async () => (await servers[1].calls('OperatorDeckSetPage')).lastBody;
    await until('the page is handed over', told);
    assert.equal(await told(), JSON.stringify(as_here(message('page'))));
  });
});
