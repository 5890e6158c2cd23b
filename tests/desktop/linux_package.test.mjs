// The Debian package's whole life: checked, installed, run as an ordinary user, removed. Each step
// stands on the one before.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import { after, before, test } from 'node:test';

import { get_status } from '../driver/operator.mjs';
import { until } from '../driver/waiting.mjs';
import { DebianMachine, ended, name, programs, settings } from './support/debian_machine.mjs';

let machine;
let files;
before(() => (machine = new DebianMachine()));
after(() => machine.remove());

test('lintian_finds_no_error', () => {
  machine.succeeds('lintian', '--allow-root', '--fail-on', 'error,warning', '/package.deb');
});

test('it_installs_with_what_debian_has', () => {
  assert.notEqual(machine.as_root('dpkg', '-s', name).status, 0);
  machine.succeeds('dpkg', '-i', '/package.deb');
  const description = machine.succeeds('dpkg', '-s', name);
  assert.match(description, /^Status: install ok installed$/m);
  assert.match(description, /^Version: 0\.9\.2$/m);
  // Of every Debian, so that a workstation without the internet can install it.
  const [, depends] = /^Depends: (.*)$/m.exec(description);
  const needed = depends.split(', ').map((one) => one.split(' ')[0]);
  assert.deepEqual(needed, ['libc6', 'libgcc-s1', 'libstdc++6', 'libudev1', 'zlib1g']);
  assert.equal(machine.succeeds('dpkg', '-V', name), '');
  files = machine
    .succeeds('dpkg', '-L', name)
    .trim()
    .split('\n')
    .filter((file) => !fs.statSync(machine.file(file)).isDirectory());
  for (const file of [
    ...programs.map((program) => `/usr/bin/${program}`),
    ...programs.map((program) => `/usr/share/man/man1/${program}.1.gz`),
    `/usr/lib/${name}/libhidapi-hidraw.so.0`,
    '/usr/lib/udev/rules.d/70-elvantris-stream-deck.rules',
    `/usr/lib/systemd/user/${name}.service`,
    `/usr/lib/systemd/user/${name}-logs.service`,
    `/usr/lib/systemd/user/${name}-logs.timer`,
    `/usr/share/${name}/logrotate.conf`,
    `/usr/share/applications/${name}.desktop`,
    '/usr/share/applications/elvantris-redundancy-tool.desktop',
    '/usr/share/applications/elvantris-rehearsal.desktop',
    `/usr/share/icons/hicolor/scalable/apps/${name}.svg`,
    `/usr/share/icons/hicolor/48x48/apps/${name}.png`,
    `/usr/share/doc/${name}/examples/autostart.desktop`,
  ]) {
    assert.ok(files.includes(file), file);
  }
});

test('the_licences_of_the_libraries_inside_are_told', () => {
  const text = fs.readFileSync(machine.file(`/usr/share/doc/${name}/copyright`), 'utf8');
  const libraries = ['hidapi', 'CLI11', 'JSON for Modern C++', 'cpp-httplib', 'stb', 'minizip'];
  for (const library of [...libraries, 'zlib']) {
    assert.ok(text.includes(library), library);
  }
  const named = [...text.matchAll(/^Files:.*\nCopyright:[^]*?\nLicense: (.*)/gm)];
  assert.ok(named.length >= 6);
  for (const [, licence] of named) assert.match(text, new RegExp(`^License: ${licence}\n `, 'm'));
});

test('the_desktop_understands_what_it_brings', () => {
  const data = '/usr/share/metainfo/media.tarnwell.elvantris_redundancy_control.metainfo.xml';
  machine.succeeds('appstreamcli', 'validate', '--no-net', data);
  const entries = files.filter((file) => file.endsWith('.desktop'));
  assert.equal(entries.length, 4);
  assert.equal(machine.succeeds('desktop-file-validate', ...entries), '');
});

test('the_check_of_the_menu_tells_its_answer_before_its_window_closes', async () => {
  const entry = machine.file('/usr/share/applications/elvantris-redundancy-tool.desktop');
  const [, command] = /^Exec=sh -c "(.*)"$/m.exec(fs.readFileSync(entry, 'utf8'));
  const started = machine.as_operator('sh', '-c', command);
  await started.exited;
  assert.match(started.text.errors, /^The program is not running\. /);
  assert.match(started.text.output, /^Press Enter/m);
});

test('the_session_manager_understands_its_services_and_starts_none_unasked', () => {
  const units = files.filter((file) => file.includes('/systemd/user/'));
  const verify = ['systemd-analyze', '--user', '--man=no', 'verify', ...units];
  assert.equal(machine.succeeds('env', 'XDG_RUNTIME_DIR=/tmp', ...verify), '');
  const listed = machine.succeeds(
    'find',
    '/etc/systemd/user',
    '/usr/lib/systemd/user',
    '-type',
    'l',
  );
  assert.equal(listed.includes(name), false);
});

// The lines of each section of a unit.
const unit_text = (unit) => fs.readFileSync(machine.file(`/usr/lib/systemd/user/${unit}`), 'utf8');
const section = (text, heading) => text.split(`[${heading}]\n`)[1].split('\n\n')[0].split('\n');

test('the_service_starts_a_crashed_program_again_and_gives_up_in_the_end', () => {
  const unit = unit_text(`${name}.service`);
  const service = section(unit, 'Service');
  // These are its exit codes when a port is taken.
  for (const line of ['Restart=on-failure', 'RestartPreventExitStatus=3 4'])
    assert.ok(service.includes(line), `${line} in ${service}`);
  const limits = section(unit, 'Unit').filter((line) => line.startsWith('StartLimit'));
  assert.deepEqual(limits.sort(), ['StartLimitBurst=5', 'StartLimitIntervalSec=60']);
});

// Each part of a page below its heading.
function parts_of(page, heading) {
  const pieces = page.split(heading);
  const parts = new Map();
  for (let i = 1; i < pieces.length; i += 2) parts.set(pieces[i], pieces[i + 1]);
  return parts;
}

const manual = (program) => machine.succeeds('man', '--warnings', '--no-hyphenation', program);
const help = (...command) => machine.succeeds(...command, '--help');

function assert_explains(part, said, what) {
  const options = said.match(/(?<![\w-])--?[a-z][a-z-]*/g);
  assert.ok(options.length > 0, what);
  for (const option of options) {
    assert.match(part, new RegExp(`(^|[ ,])${option}(?![\\w-])`, 'm'), `${option} of ${what}`);
  }
}

function assert_tells_exit_codes(program) {
  const [, told] = /^Exit code: (.*)/m.exec(help(program));
  const codes = told.match(/\b\d\b/g);
  const part = parts_of(manual(program), /^([A-Z ]+)$/m).get('EXIT STATUS');
  assert.deepEqual(part.match(/^ +\d(?= )/gm).map(Number), codes.map(Number));
}

test('the_manual_of_the_tool_explains_every_option_of_every_command', () => {
  const program = 'elvantris-redundancy-tool';
  const page = manual(program);
  const overview = help(program);
  const commands = [...overview.split('Subcommands:')[1].matchAll(/^ {2}([a-z]+) /gm)];
  assert.ok(commands.length >= 3);
  assert_explains(page.split('COMMANDS')[0], overview, program);
  const parts = parts_of(page.split('COMMANDS')[1], /^ {3}([a-z]+)$/m);
  for (const [, command] of commands) {
    const said = help(program, command).split('Options:\n')[1].split('\n\n')[0];
    assert_explains(parts.get(command), said, command);
  }
  assert_tells_exit_codes(program);
});

test('the_manual_of_the_rehearsal_explains_every_option', () => {
  const program = 'elvantris-rehearsal';
  assert_explains(manual(program), help(program), program);
  assert_tells_exit_codes(program);
});

test('the_manual_of_the_program_has_no_fault', () => assert.match(manual(name), /--background/));

test('an_ordinary_user_runs_it_and_a_second_start_gives_way', async () => {
  const program = await machine.start_program();
  assert.equal((await get_status()).configPath, `${settings}/operator-control.json`);
  assert.deepEqual(await machine.as_operator(name, '--background').exited, ended);
  await until('the first pass', () => /^\[status\]/m.test(machine.log()));
  assert.match(machine.log(), /^Elvantris Redundancy Control 0\.9\.2$/m);
  assert.deepEqual(await program.signal('SIGTERM'), ended);
});

test('it_goes_without_a_trace_but_for_the_users_settings', () => {
  machine.succeeds('dpkg', '--purge', name);
  assert.deepEqual(
    files.filter((file) => fs.existsSync(machine.file(file))),
    [],
  );
  assert.notEqual(machine.as_root('dpkg', '-s', name).status, 0);
  assert.ok(fs.existsSync(machine.file(`${settings}/operator-control.json`)));
});
