// Where the files are: the default folder, the command line's paths, the log.
import assert from 'node:assert/strict';
import dgram from 'node:dgram';
import fs from 'node:fs';
import path from 'node:path';
import { afterEach, beforeEach, test } from 'node:test';

import { windows } from '../driver/environment.mjs';
import { occupy } from '../driver/http.mjs';
import { get_status, post } from '../driver/operator.mjs';
import { until } from '../driver/waiting.mjs';
import { default_data_folder, seen_by_program, Workstation } from '../driver/workstation.mjs';

const tail = path.join('Tarnwell Media', 'Elvantris OperatorControl', 'operator-control.json');

let workstation;
beforeEach(() => {
  workstation = new Workstation();
});
afterEach(async () => {
  if (workstation.program && !workstation.program.ended) await workstation.kill();
  await workstation.remove();
  if (windows) {
    const folder = path.join(default_data_folder(), 'Tarnwell Media');
    fs.rmSync(folder, { recursive: true, force: true });
  }
});

const inside = (name) => path.join(workstation.folder, name);
const start_with = (args, options) =>
  workstation.await_api(workstation.launch(['--background', ...args], options));
const config_path = async () => (await get_status()).configPath;

if (windows) {
  test('without_a_path_the_files_are_in_the_users_local_data_folder', async () => {
    await start_with([]);
    const config = path.join(default_data_folder(), tail);
    await until('the file is saved', () => fs.existsSync(config));
    const below_drive = path.relative(path.join(process.env.WINEPREFIX, 'drive_c'), config);
    assert.equal(await config_path(), `C:\\${below_drive.replaceAll('/', '\\')}`);
    assert.ok(fs.existsSync(path.join(path.dirname(config), 'operator-control.log')));
  });
} else {
  test('without_a_path_the_files_are_under_home', async () => {
    const environment = { LOCALAPPDATA: undefined, APPDATA: undefined, XDG_DATA_HOME: undefined };
    await start_with([], { environment });
    const config = path.join(inside('.local/share'), tail);
    assert.equal(await config_path(), config);
    await until('the file is saved', () => fs.existsSync(config));
    assert.ok(fs.existsSync(path.join(path.dirname(config), 'operator-control.log')));
  });
}

const data_folder = () => (windows ? default_data_folder() : inside('.local/share'));

test('an_old_file_in_the_current_folder_is_carried_to_the_default_place_once', async () => {
  const old = inside('operator-control.json');
  const carried = path.join(data_folder(), tail);
  fs.writeFileSync(old, '{"uiPort":5301,"openBrowserOnStart":false}');
  await start_with([]);
  assert.equal((await get_status()).uiPort, 5301);
  const saved = () => fs.readFileSync(carried, 'utf8').includes('runtimeUiPort');
  await until('the file is saved', saved);
  assert.equal(fs.readFileSync(old, 'utf8'), '{"uiPort":5301,"openBrowserOnStart":false}');
  await workstation.stop();

  fs.writeFileSync(old, '{"uiPort":5302}');
  await start_with([]);
  assert.equal((await get_status()).uiPort, 5301);
});

test('words_of_the_command_line_arrive_as_they_were_given', async () => {
  const given = seen_by_program(inside('a b.json'));
  await start_with(['-x', '', '--Console', given]);
  assert.equal(await config_path(), given);
});

test('an_empty_path_runs_without_files_but_for_the_log_in_the_current_folder', async () => {
  await start_with(['--config=']);
  assert.equal(await config_path(), '');
  const log = inside('operator-control.log');
  await until('the first pass', () => fs.readFileSync(log, 'utf8').includes('[status]'));
  await until('the vain attempt to save is cleared away', () => !fs.existsSync(inside('.tmp')));
});

test('the_folder_of_the_configuration_is_created', async () => {
  const config = inside('not/yet/there/my.json');
  await start_with(['--config', seen_by_program(config)]);
  await until('the file is saved', () => fs.existsSync(config));
  assert.ok(fs.existsSync(path.join(path.dirname(config), 'operator-control.log')));
});

const banner = (config, log) => [
  'Elvantris Redundancy Control 0.9.2',
  'Operator view: http://127.0.0.1:5270/',
  'Diagnostics:   http://127.0.0.1:5251/',
  `Config:        ${config}`,
  `Log:           ${log}`,
];

test('two_runs_append_to_one_log_each_with_its_banner', async () => {
  const lines = [
    ...banner(seen_by_program(workstation.config), seen_by_program(workstation.log_file)),
    '[status] enabled=false active=none',
  ];
  await workstation.start();
  await until('the first pass', () => workstation.log_lines('[status]').length === 1);
  assert.deepEqual(workstation.log_lines(), lines);
  await workstation.stop();
  await workstation.start();
  await until('the second run', () => workstation.log_lines('[status]').length === 2);
  assert.deepEqual(workstation.log_lines(), [...lines, ...lines]);
});

test('a_console_start_creates_no_log_file', async () => {
  await workstation.start('--background', '--console');
  await until('the first pass saves', () => fs.existsSync(workstation.config));
  assert.equal(fs.existsSync(workstation.log_file), false);
  if (!windows) assert.match(workstation.program.text.output, /^Elvantris Redundancy Control 0/);
});

if (!windows) {
  test('on_a_console_trouble_is_told_as_errors_and_all_else_as_output', async () => {
    const taken = await occupy(5291);
    try {
      const { text } = await workstation.start('--background', '--console');
      await until('the first pass', () => text.output.includes('[status]'));
      await post('/api/configure', { uiPort: 5291 });
      await until('the port is refused', () => text.errors !== '');
      assert.deepEqual(text, {
        output: [
          ...banner(workstation.config, workstation.log_file),
          '[status] enabled=false active=none',
          '',
        ].join('\n'),
        errors: '[shell] unable to bind requested UI port 5291; restoring 5270\n',
      });
    } finally {
      await taken.release();
    }
  });
}

test('a_log_that_cannot_be_written_does_not_stop_the_start', async () => {
  fs.mkdirSync(workstation.log_file);
  await workstation.start();
  await until('the first pass saves', () => fs.existsSync(workstation.config));
});

// Few ports are left to this network's namespace, and all of those for datagrams are taken.
async function without_datagram_ports(act) {
  const range_file = '/proc/sys/net/ipv4/ip_local_port_range';
  const usual = fs.readFileSync(range_file, 'utf8');
  // None that a connection of another test may still hold.
  const first = 20000;
  const last = first + 19;
  const takers = [];
  fs.writeFileSync(range_file, `${first} ${last}`);
  try {
    for (let port = first; port <= last; ++port) {
      const taker = dgram.createSocket('udp4');
      takers.push(taker);
      await new Promise((resolve, reject) => {
        taker.once('error', reject);
        taker.bind(port, '0.0.0.0', resolve);
      });
    }
    await act();
  } finally {
    for (const taker of takers) taker.close();
    fs.writeFileSync(range_file, usual);
  }
}

test('a_round_that_cannot_begin_costs_its_whole_pass_and_no_other', async () => {
  const failed = 'Redundancy Control refresh: Unable to bind discovery socket';
  const state_of_file = () => {
    const { ino, mtimeMs } = fs.statSync(workstation.config);
    return [ino, mtimeMs];
  };
  await workstation.start();
  await until('the first pass saves', () => fs.existsSync(workstation.config));
  let kept;
  await without_datagram_ports(async () => {
    const until_failed = (count) =>
      until(`${count} failed passes`, () => workstation.log_lines(failed).length >= count);
    await until_failed(1);
    kept = state_of_file();
    await until_failed(workstation.log_lines(failed).length + 1);
    assert.deepEqual(state_of_file(), kept);

    assert.deepEqual(await post('/api/discover', ''), { status: 200, ok: true });
    assert.notDeepEqual(state_of_file(), kept, 'asked for, a round with nobody is one like others');
    kept = state_of_file();
  });
  await until('the next pass saves', () => String(state_of_file()) !== String(kept));
});
