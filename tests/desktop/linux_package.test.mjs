// The Debian package's whole life: checked, installed, run as an ordinary user, removed. All of it
// in a copy of this machine that is gone afterwards. Each step stands on the one before.
import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { after, before, test } from 'node:test';

import { Child } from '../e2e/support/children.mjs';
import { root, until } from '../e2e/support/environment.mjs';
import { answers } from '../e2e/support/http.mjs';
import { get_status } from '../e2e/support/operator.mjs';

const name = 'elvantris-redundancy-control';
const architecture = execFileSync('dpkg', ['--print-architecture'], { encoding: 'utf8' }).trim();
const package_file = path.join(root, `build/package/${name}_0.9.2_${architecture}.deb`);

const home = '/home/operator';
const settings = `${home}/.local/share/Tarnwell Media/Elvantris OperatorControl`;
const ended = { code: 0, signal: null };

let scratch;
let machine;
let files;
before(() => {
  // Seen in this network's own namespace of mounts alone.
  scratch = fs.mkdtempSync(path.join(os.tmpdir(), 'elvantris-package-'));
  execFileSync('mount', ['-t', 'tmpfs', 'tmpfs', scratch]);
  const [upper, work] = ['upper', 'work'].map((part) => path.join(scratch, part));
  machine = path.join(scratch, 'machine');
  for (const folder of [upper, work, machine]) fs.mkdirSync(folder);
  const layers = `lowerdir=/,upperdir=${upper},workdir=${work}`;
  execFileSync('mount', ['-t', 'overlay', 'overlay', '-o', layers, machine]);
  execFileSync('mount', ['-t', 'proc', 'proc', in_machine('/proc')]);
  execFileSync('mount', ['--bind', '/dev', in_machine('/dev')]);
  fs.mkdirSync(in_machine(home), { recursive: true });
  execFileSync('chroot', [machine, 'chown', 'nobody:nogroup', home]);
  fs.copyFileSync(package_file, in_machine('/package.deb'));
});
after(() => {
  execFileSync('umount', ['-R', '-l', scratch]);
  fs.rmdirSync(scratch);
});

function in_machine(file) {
  return path.join(machine, file);
}

function as_root(...command) {
  const options = { encoding: 'utf8', env: { PATH: process.env.PATH, LC_ALL: 'C.UTF-8' } };
  const { status, stdout, stderr } = spawnSync('chroot', [machine, ...command], options);
  return { status, text: stdout + stderr };
}

function succeeds(...command) {
  const { status, text } = as_root(...command);
  assert.equal(status, 0, `${command.join(' ')}\n${text}`);
  return text;
}

// Without a display and without a session bus, as on a machine that nobody has logged in to.
const as_operator = (...command) =>
  new Child(['chroot', '--userspec=nobody:nogroup', machine, ...command], {
    cwd: '/',
    env: { PATH: process.env.PATH, HOME: home, XDG_RUNTIME_DIR: home },
  });

test('lintian_finds_no_error', () => {
  succeeds('lintian', '--allow-root', '--fail-on', 'error,warning', '/package.deb');
});

test('it_installs_with_what_debian_has', () => {
  assert.notEqual(as_root('dpkg', '-s', name).status, 0);
  succeeds('dpkg', '-i', '/package.deb');
  assert.match(succeeds('dpkg', '-s', name), /^Status: install ok installed$/m);
  assert.match(succeeds('dpkg', '-s', name), /^Version: 0\.9\.2$/m);
  assert.equal(succeeds('dpkg', '-V', name), '');
  files = succeeds('dpkg', '-L', name)
    .trim()
    .split('\n')
    .filter((file) => !fs.statSync(in_machine(file)).isDirectory());
  for (const file of [
    `/usr/bin/${name}`,
    `/usr/lib/${name}/libhidapi-hidraw.so.0`,
    '/usr/lib/udev/rules.d/70-elvantris-stream-deck.rules',
    `/usr/share/applications/${name}.desktop`,
    `/usr/share/icons/hicolor/scalable/apps/${name}.svg`,
    `/usr/share/icons/hicolor/48x48/apps/${name}.png`,
    `/usr/share/man/man1/${name}.1.gz`,
    `/usr/share/doc/${name}/examples/autostart.desktop`,
  ]) {
    assert.ok(files.includes(file), file);
  }
});

test('the_desktop_understands_what_it_brings', () => {
  const data = '/usr/share/metainfo/media.tarnwell.elvantris_redundancy_control.metainfo.xml';
  succeeds('appstreamcli', 'validate', '--no-net', data);
  const entries = files.filter((file) => file.endsWith('.desktop'));
  assert.equal(entries.length, 2);
  assert.equal(succeeds('desktop-file-validate', ...entries), '');
  assert.match(succeeds('man', '--warnings', name), /--background/);
});

test('an_ordinary_user_runs_it_and_a_second_start_gives_way', async () => {
  const program = as_operator(name, '--background');
  await until('the API answers', async () => {
    if (program.ended) throw new Error(program.text.errors);
    return answers(5251);
  });
  assert.equal((await get_status()).configPath, `${settings}/operator-control.json`);
  assert.deepEqual(await as_operator(name, '--background').exited, ended);
  const log = in_machine(`${settings}/operator-control.log`);
  await until('the first pass', () => /^\[status\]/m.test(fs.readFileSync(log, 'utf8')));
  assert.match(fs.readFileSync(log, 'utf8'), /^Elvantris Redundancy Control 0\.9\.2$/m);
  // Reaches the program itself: chroot has become it.
  assert.deepEqual(await program.signal('SIGTERM'), ended);
});

test('it_goes_without_a_trace_but_for_the_users_settings', () => {
  succeeds('dpkg', '--purge', name);
  assert.deepEqual(
    files.filter((file) => fs.existsSync(in_machine(file))),
    [],
  );
  assert.notEqual(as_root('dpkg', '-s', name).status, 0);
  assert.ok(fs.existsSync(in_machine(`${settings}/operator-control.json`)));
});
