// A Debian machine to install packages on: a copy of this one that is gone afterwards, seen in this
// network's own namespace of mounts alone. Nobody has logged in to it: there is no display and no
// session bus.
import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

import { Child } from '../../driver/children.mjs';
import { root } from '../../driver/environment.mjs';
import { answers } from '../../driver/http.mjs';
import { until } from '../../driver/waiting.mjs';

export const name = 'elvantris-redundancy-control';
export const programs = [name, 'elvantris-redundancy-tool', 'elvantris-rehearsal'];
const architecture = execFileSync('dpkg', ['--print-architecture'], { encoding: 'utf8' }).trim();
export const package_file = path.join(root, `build/package/${name}_0.9.2_${architecture}.deb`);

const home = '/home/operator';
export const settings = `${home}/.local/share/Tarnwell Media/Elvantris OperatorControl`;
export const ended = { code: 0, signal: null };

const surroundings = { PATH: process.env.PATH, LC_ALL: 'C.UTF-8', MANWIDTH: '200' };
const operator_surroundings = { PATH: process.env.PATH, HOME: home, XDG_RUNTIME_DIR: home };

export class DebianMachine {
  constructor() {
    this.scratch = fs.mkdtempSync(path.join(os.tmpdir(), 'elvantris-package-'));
    execFileSync('mount', ['-t', 'tmpfs', 'tmpfs', this.scratch]);
    const [upper, work] = ['upper', 'work'].map((part) => path.join(this.scratch, part));
    this.root = path.join(this.scratch, 'machine');
    for (const folder of [upper, work, this.root]) fs.mkdirSync(folder);
    const layers = `lowerdir=/,upperdir=${upper},workdir=${work}`;
    execFileSync('mount', ['-t', 'overlay', 'overlay', '-o', layers, this.root]);
    execFileSync('mount', ['-t', 'proc', 'proc', this.file('/proc')]);
    execFileSync('mount', ['--bind', '/dev', this.file('/dev')]);
    fs.mkdirSync(this.file(settings), { recursive: true });
    this.succeeds('chown', '-R', 'nobody:nogroup', home);
    fs.copyFileSync(package_file, this.file('/package.deb'));
  }

  // As this machine sees a path of that one.
  file(name) {
    return path.join(this.root, name);
  }

  // A file of the operator's.
  write_setting(name, content) {
    const file = `${settings}/${name}`;
    fs.writeFileSync(this.file(file), JSON.stringify(content));
    this.succeeds('chown', 'nobody:nogroup', file);
  }

  log() {
    const file = this.file(`${settings}/operator-control.log`);
    return fs.existsSync(file) ? fs.readFileSync(file, 'utf8') : '';
  }

  as_root(...command) {
    const options = { encoding: 'utf8', env: surroundings };
    const { status, stdout, stderr } = spawnSync('chroot', [this.root, ...command], options);
    return { status, text: stdout + stderr };
  }

  succeeds(...command) {
    const { status, text } = this.as_root(...command);
    assert.equal(status, 0, `${command.join(' ')}\n${text}`);
    return text;
  }

  as_operator(...command) {
    return new Child(['chroot', '--userspec=nobody:nogroup', this.root, ...command], {
      cwd: '/',
      env: operator_surroundings,
    });
  }

  // The program, up to the moment when its API answers. A signal reaches the program itself: chroot
  // has become it.
  async start_program() {
    const program = this.as_operator(name, '--background');
    await until('the API answers', async () => {
      if (program.ended) throw new Error(program.text.errors);
      return answers(5251);
    });
    return program;
  }

  remove() {
    execFileSync('umount', ['-R', '-l', this.scratch]);
    fs.rmdirSync(this.scratch);
  }
}
