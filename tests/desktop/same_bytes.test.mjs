// Both packages as files: their checksums are beside them, and whoever packs the same programs again
// gets the same bytes.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { test } from 'node:test';

import { root } from '../driver/environment.mjs';

const folder = path.join(root, 'build/package');
const of_this_version = /[-_]0\.9\.2[-_](setup\.exe|\w+\.deb)$/;

test('the_checksums_of_both_packages_are_right', () => {
  const check = ['--check', '--strict', 'SHA256SUMS'];
  const checked = execFileSync('sha256sum', check, { cwd: folder, encoding: 'utf8' });
  const named = checked
    .trim()
    .split('\n')
    .map((line) => line.replace(/: OK$/, ''));
  const packages = fs.readdirSync(folder).filter((file) => of_this_version.test(file));
  assert.equal(packages.length, 2);
  assert.deepEqual(named.sort(), packages.sort());
});

// With other dates, in another folder, for another user in another part of the world.
function packed_again(script, build, programs) {
  const scratch = fs.mkdtempSync(path.join(os.tmpdir(), 'elvantris-packed-'));
  try {
    const copy = path.join(scratch, 'build');
    fs.mkdirSync(copy);
    for (const file of [...programs, 'CMakeCache.txt']) {
      fs.copyFileSync(path.join(root, build, file), path.join(copy, file));
      fs.chmodSync(path.join(copy, file), 0o700);
      fs.utimesSync(path.join(copy, file), 1e9, 1e9);
    }
    const env = {
      ...process.env,
      TZ: 'Pacific/Kiritimati',
      LC_ALL: 'C.UTF-8',
      LANG: 'de_DE.UTF-8',
    };
    const command = `umask 077; scripts/${script} "$1" "$2"`;
    const words = ['-c', command, script, copy, path.join(scratch, 'result')];
    const made = execFileSync('bash', words, { cwd: root, env, encoding: 'utf8' }).trim();
    return { name: path.basename(made), bytes: fs.readFileSync(made) };
  } finally {
    fs.rmSync(scratch, { recursive: true });
  }
}

const programs = ['redundancy-control', 'redundancy-tool', 'rehearsal'];
const linux_build = process.env.ELVANTRIS_BUILD ?? 'build/linux';
const windows_build = process.env.ELVANTRIS_WINDOWS_BUILD;

// Another checkout would make other programs.
for (const [build, ending] of [
  [linux_build, ''],
  [windows_build, '.exe'],
]) {
  test(`the_programs_of_${build}_do_not_tell_where_they_were_built`, () => {
    for (const name of programs) {
      const bytes = fs.readFileSync(path.join(root, build, `elvantris-${name}${ending}`));
      // On Windows an assertion's file name has two bytes for each letter.
      for (const encoding of ['utf8', 'utf16le'])
        assert.equal(bytes.includes(path.resolve(root), 0, encoding), false, name);
    }
  });
}

// Of the header that the DOS stub points to. A date there would differ between two builds.
test('the_programs_for_windows_do_not_tell_when_they_were_linked', () => {
  for (const name of programs) {
    const file = path.join(root, windows_build, `elvantris-${name}.exe`);
    const bytes = fs.readFileSync(file);
    assert.equal(bytes.readUInt32LE(bytes.readUInt32LE(0x3c) + 8), 0, name);
  }
});

for (const [script, build, ending] of [
  ['package_linux', linux_build, ''],
  ['package_windows', windows_build, '.exe'],
]) {
  test(`${script}_makes_the_same_bytes_again`, () => {
    const files = programs.map((name) => `elvantris-${name}${ending}`);
    const { name, bytes } = packed_again(script, build, files);
    assert.ok(bytes.equals(fs.readFileSync(path.join(folder, name))), name);
  });
}
