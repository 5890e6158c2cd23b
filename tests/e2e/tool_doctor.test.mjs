// At any time: the tool looks at the workstation and tells what is wrong with it.
import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, beforeEach, describe, test } from 'node:test';

import { decks, plug_into, until_control, xl } from '../driver/decks.mjs';
import { addresses, program, windows } from '../driver/environment.mjs';
import { occupy, unreadable_status, while_answered } from '../driver/http.mjs';
import { hear_questions } from '../driver/network.mjs';
import { get_status, post, until_status } from '../driver/operator.mjs';
import { Pair, paired_config, quick_policy } from '../driver/pair.mjs';
import {
  ask_tool,
  ask_tool_json,
  run_tool,
  run_tool_under,
  with_files_of,
} from '../driver/tool.mjs';
import { until } from '../driver/waiting.mjs';
import { renew_wine, Workstation } from '../driver/workstation.mjs';

let pair;
let device; // what stands for the deck's device: a file
before(async () => {
  pair = await Pair.start((workstation) => {
    device = path.join(workstation.folder, 'deck');
    fs.writeFileSync(device, '');
    if (!windows) plug_into(workstation, [{ ...xl, path: device }]);
  });
});
after(() => pair?.stop());

const doctor = (workstation = pair.workstation) => ask_tool(workstation, 'doctor');
const doctor_json = (workstation = pair.workstation) => ask_tool_json(workstation, 'doctor');
const ip = (...words) => execFileSync('ip', words);

// What a busy machine delays, an answer or a deck, is no finding that stays.
async function until_healthy(workstation) {
  let seen;
  const is_healthy = async () => {
    seen = await doctor_json(workstation);
    return seen.code === 0 && seen;
  };
  // What it found instead says more than that it took too long.
  return until('HEALTHY', is_healthy).catch((error) => {
    assert.deepEqual(seen?.findings, [], error.message);
    throw error;
  });
}

const until_found = (sentence, look = doctor) =>
  until(sentence, async () => {
    const { code, output } = await look();
    return code === 1 && output.includes(`- ${sentence}`) && output;
  });

// As the same user, without an administrator's right to everything.
const without_privileges = () =>
  run_tool_under(
    ['setpriv', '--bounding-set=-dac_override,-dac_read_search', '--'],
    pair.workstation,
    'doctor',
    ...with_files_of(pair.workstation),
  );

const lan = `lan (${addresses.workstation})`;

describe('with the program running', () => {
  beforeEach(() => pair.settle());

  test('a_healthy_workstation_shows_what_was_seen', async () => {
    const seen = await until_healthy();
    assert.deepEqual([seen.healthy, seen.findings], [true, []]);
    assert.deepEqual(
      seen.ports.map(({ port }) => port),
      [5251, 5270],
    );
    const [lan] = seen.networks;
    assert.deepEqual(
      [seen.networks.length, lan.address, lan.prefixLength, lan.broadcast],
      [1, addresses.workstation, 24, '10.77.0.255'],
    );
    const answered = lan.servers.map(({ serial, address, reachedFrom }) => [
      serial,
      address,
      reachedFrom,
    ]);
    assert.deepEqual(answered.sort(), [
      ['SER-A', addresses.main, addresses.workstation],
      ['SER-B', addresses.backup, addresses.workstation],
    ]);
    assert.deepEqual([seen.otherServers, seen.folder.writable], [[], true]);
    assert.equal(seen.startedVersion, seen.toolVersion);
    const { code, output } = await doctor();
    assert.equal(code, 0);
    assert.match(output, /^HEALTHY\n/);
  });

  test('another_version_in_the_log_is_found', async () => {
    const { toolVersion } = await until_healthy();
    const start = (version) =>
      fs.appendFileSync(pair.workstation.log_file, `Elvantris Redundancy Control ${version}\n`);
    start('0.0.1');
    await until_found(
      `The program's last start in its log is version 0.0.1, and this tool is version ${toolVersion}.`,
    );
    start(toolVersion);
    await until_healthy();
  });

  test('another_configuration_file_than_the_programs_is_found', async () => {
    const other = new Workstation();
    other.write_config(paired_config());
    await until_found('The running program uses another configuration file: ', () => doctor(other));
    await other.remove();
  });

  test('nothing_is_left_in_the_folder_and_nothing_is_changed', async () => {
    await until_healthy();
    const folder = path.dirname(pair.workstation.config);
    // The program replaces its own files by way of others.
    const names = () => fs.readdirSync(folder).filter((name) => !name.endsWith('.tmp'));
    const before_it = names();
    await doctor();
    assert.deepEqual(names(), before_it);
  });

  test('a_page_that_is_on_its_way_to_another_port_is_found', async () => {
    const move_page = async (port) => {
      await post('/api/configure', { uiPort: port });
      await until_status('the page has moved', ({ runtimeUiPort }) => runtimeUiPort === port);
    };
    const heard = await hear_questions();
    const sentence = '- The page is at port 5270, not yet at port 5290. ';
    try {
      await until(sentence, async () => {
        await move_page(5270);
        // The program moves its page when it has asked the network who is there.
        const { length } = heard.moments;
        await until('it asks', () => heard.moments.length > length);
        await post('/api/configure', { uiPort: 5290 });
        return (await doctor()).output.includes(sentence);
      });
    } finally {
      heard.stop();
      await move_page(5270);
    }
    await until_healthy();
  });

  test('servers_that_the_program_alone_can_hear_are_a_note_and_no_finding', async () => {
    const servers = [pair.main, pair.backup];
    const note = '\nNote: No server answers this tool, and the program sees some. ';
    try {
      for (const server of servers) await server.set({ discovery: { silent: true } });
      await until('noted', async () => {
        const { code, output } = await doctor();
        return code === 0 && output.includes(note);
      });
    } finally {
      for (const server of servers) await server.heal();
    }
  });

  if (!windows) {
    // Wine doesn't know who has a socket.
    test('the_owner_of_the_ports_is_named', async () => {
      const { ports } = await until_healthy();
      for (const { programs } of ports)
        assert.deepEqual(
          programs.map(({ name }) => name),
          ['elvantris-redundancy-control'],
        );
    });

    test('a_deck_that_this_user_may_not_open_is_found', async () => {
      await until_control();
      await until('the deck is there', async () => (await get_status()).streamDeckCount === 1);
      const { decks: seen } = await until_healthy();
      assert.deepEqual([seen.length, seen[0].serial, seen[0].access], [1, xl.serial, 'usable']);
      fs.chmodSync(device, 0o000);
      await until_found(
        `This user may not open Stream Deck XL (${xl.serial}), ${device}.`,
        without_privileges,
      );
      fs.chmodSync(device, 0o644);
    });

    test('a_program_that_holds_a_deck_is_named', async () => {
      const held = fs.openSync(device, 'r');
      const other = spawn('sleep', ['600'], { stdio: ['ignore', 'ignore', 'ignore', held] });
      fs.closeSync(held);
      try {
        await until_found(`Stream Deck XL (${xl.serial}) is held by sleep (process ${other.pid}).`);
      } finally {
        other.kill();
      }
    });

    test('a_deck_that_the_program_has_not_is_found', async () => {
      await decks.tell('pull', { path: device });
      await until('the deck is gone', async () => (await get_status()).streamDeckCount === 0);
      await until_found(
        `Stream Deck XL (${xl.serial}) is on the bus, and the program does not use`,
      );
      await decks.tell('plug', { ...xl, path: device });
      await until_healthy();
    });

    test('a_folder_that_takes_no_file_is_found', async () => {
      const folder = path.dirname(pair.workstation.config);
      fs.chmodSync(folder, 0o555);
      try {
        await until_found(
          'Nothing can be written in the folder of the settings: ',
          without_privileges,
        );
      } finally {
        fs.chmodSync(folder, 0o755);
      }
      await until_healthy();
    });
  }
});

describe('with the program stopped', () => {
  let stopped;
  before(async () => {
    await pair.workstation.stop();
    // Wine may keep a socket of the killed program, and then no server's answer arrives.
    if (windows) renew_wine();
    stopped = new Workstation();
    stopped.write_config(paired_config());
    stopped.write_state(quick_policy);
  });
  after(async () => {
    await stopped.remove();
    await pair.workstation.start();
  });

  const found = (sentence) => until_found(sentence, () => doctor(stopped));

  test('a_healthy_workstation_is_healthy_all_the_same', async () => {
    const { notes, ports } = await until_healthy(stopped);
    assert.equal(notes[0].sentence, 'The program is not running.');
    for (const { programs } of ports) assert.deepEqual(programs, []);
  });

  test('the_network_is_asked_in_one_round', async () => {
    const heard = await hear_questions();
    await doctor(stopped);
    heard.stop();
    // To the address of all, and to that of the one network.
    assert.ok(heard.moments.length >= 1 && heard.moments.length <= 2, `${heard.moments}`);
  });

  test('who_took_a_port_is_named', async () => {
    // Wine doesn't know who has a socket.
    const owner = windows
      ? 'a program that the system does not name'
      : `node (process ${process.pid})`;
    const api = await occupy(5251);
    await found(`${owner} holds port 5251 and gives no answer.`);
    await api.release();
    const page = await occupy(5270);
    await found(`Port 5270 of the page is taken by ${owner}`);
    await page.release();
    await while_answered(5251, '{"status":"fine"}', () => found(`Port 5251 is taken by ${owner}.`));
    await until_healthy(stopped);
  });

  test('a_program_whose_status_cannot_be_read_is_found', async () => {
    await while_answered(5251, unreadable_status, () =>
      found("The program is running, and its status can't be read."),
    );
    await until_healthy(stopped);
  });

  test('servers_that_do_not_answer_are_found', async () => {
    pair.backup.unplug();
    await found(`Backup (SER-B) does not answer on any network; it was at ${addresses.backup}.`);
    pair.main.unplug();
    await found('No server answers on any network.');
    pair.main.plug();
    pair.backup.plug();
    await until_healthy(stopped);
  });

  test('cards_and_routes_that_lead_elsewhere_are_found', async () => {
    ip('link', 'add', 'twin', 'type', 'veth', 'peer', 'name', 'twin-end');
    ip('link', 'set', 'twin-end', 'up');
    try {
      ip('address', 'add', '10.77.0.50/24', 'dev', 'twin');
      ip('link', 'set', 'twin', 'up');
      const both = await found('');
      assert.match(both, /\(10\.77\.0\.50\)/);
      assert.match(both, /are in the same network; this computer sends through one of them alone/);
      ip('address', 'replace', '10.88.0.10/24', 'dev', 'twin');
      ip('address', 'del', '10.77.0.50/24', 'dev', 'twin');
      ip('route', 'add', `${addresses.main}/32`, 'dev', 'twin', 'src', '10.88.0.10');
      await found(
        `Main (SER-A) answers on ${lan}, and what this computer sends to it goes through twin ` +
          '(10.88.0.10).',
      );
    } finally {
      ip('link', 'del', 'twin');
    }
    await until_healthy(stopped);
  });

  test('a_server_without_a_way_to_it_is_found', async () => {
    ip('route', 'add', 'unreachable', `${addresses.main}/32`);
    try {
      await found(`Main (SER-A) answers on ${lan}, and this computer has no way to send to it.`);
    } finally {
      ip('route', 'del', 'unreachable', `${addresses.main}/32`);
    }
    await until_healthy(stopped);
  });

  test('servers_in_a_foreign_network_are_found', async () => {
    ip('address', 'del', `${addresses.workstation}/24`, 'dev', 'lan');
    ip('address', 'add', `${addresses.workstation}/32`, 'dev', 'lan');
    ip('route', 'add', 'default', 'dev', 'lan');
    try {
      await found(
        `Backup (SER-B) answers from ${addresses.backup}, which is in none of this computer's ` +
          `networks; what this computer sends to it goes through ${lan}.`,
      );
    } finally {
      ip('route', 'del', 'default', 'dev', 'lan');
      ip('address', 'del', `${addresses.workstation}/32`, 'dev', 'lan');
      ip('address', 'add', `${addresses.workstation}/24`, 'broadcast', '+', 'dev', 'lan');
    }
    await until_healthy(stopped);
  });

  test('a_computer_without_a_network_is_found', async () => {
    ip('link', 'set', 'lan', 'down');
    try {
      await found('This computer has no network.');
    } finally {
      ip('link', 'set', 'lan', 'up');
    }
    await until_healthy(stopped);
  });

  test('a_missing_folder_is_found', async () => {
    const nowhere = new Workstation();
    nowhere.config = path.join(nowhere.folder, 'nowhere', 'operator-control.json');
    await until_found('The folder of the settings is not there: ', () => doctor(nowhere));
    await nowhere.remove();
  });

  test('large_logs_and_a_clock_that_went_back_are_found', async () => {
    fs.writeFileSync(stopped.log_file, '');
    fs.truncateSync(stopped.log_file, 1_200_000_000);
    await found('A log has grown to 1200 MB: ');
    fs.rmSync(stopped.log_file);

    const line = (time) => `{"time":${time},"event":"recovered","key":"k"}\n`;
    fs.writeFileSync(stopped.alert_log, `damaged\n${line(Date.now() + 3_600_000)}`);
    await found('The alert log has a line of ');
    const hours_ago = (hours) => line(Date.now() - hours * 3_600_000);
    fs.writeFileSync(stopped.alert_log, hours_ago(2) + hours_ago(0).repeat(100_000));
    await found('The alert log grows by ');
    fs.rmSync(stopped.alert_log);
    await until_healthy(stopped);
  });

  if (!windows) {
    // Wine doesn't know who has a socket, nor from which file that program was started.
    test('a_program_from_another_folder_or_replaced_since_its_start_is_found', async () => {
      const copy = path.join(stopped.folder, path.basename(program));
      fs.copyFileSync(program, copy);
      const start_copy = ['sh', '-c', 'shift; exec "$0" "$@"', copy];
      await stopped.await_api(
        stopped.launch(stopped.with_config('--background'), { under: start_copy }),
      );
      try {
        await found(`The program that runs is ${copy}, which is not the one beside this tool.`);
        fs.rmSync(copy);
        await found(
          'The program was replaced on the disk after its start: the old one still runs.',
        );
      } finally {
        await stopped.stop();
      }
      await until_healthy(stopped);
    });

    test('what_the_system_does_not_tell_is_noted', async () => {
      plug_into(stopped, [], { ELVANTRIS_VIRTUAL_DECKS_INIT: 'fail' });
      const hidden = ['unshare', '-m', 'sh', '-c', 'mount -t tmpfs tmpfs /proc && exec "$0" "$@"'];
      const { code, output } = await run_tool_under(
        hidden,
        stopped,
        'doctor',
        ...with_files_of(stopped),
      );
      delete stopped.environment.ELVANTRIS_VIRTUAL_DECKS_INIT;
      assert.equal(code, 0, output);
      const notes = output.split('\n').filter((line) => line.startsWith('Note: '));
      assert.deepEqual(
        notes.map((note) => note.split('. ')[0]),
        [
          'Note: The program is not running',
          'Note: The system does not say who holds its ports',
          'Note: The decks on the bus could not be listed',
        ],
      );
    });

    test('a_deck_of_an_unknown_kind_is_found', async () => {
      plug_into(stopped, [{ productId: 0xabcd, serial: 'NEW-1', product: 'New', path: device }]);
      await found("New (NEW-1) is of a kind that the program doesn't know: abcd.");
      plug_into(stopped, []);
      await until_healthy(stopped);
    });
  }

  test('help_says_what_is_looked_at', async () => {
    const help = await run_tool(stopped, 'doctor', '--help');
    assert.equal(help.code, 0);
    assert.match(help.output, /leaves no file/);
  });
});
