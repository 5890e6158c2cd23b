// What Windows reads out of the files of the programs before it runs them.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';

import { program, root } from '../driver/environment.mjs';

const tool = (command, ...words) =>
  execFileSync(command, words, { encoding: 'latin1', maxBuffer: 1 << 26 });
const headers = tool('x86_64-w64-mingw32-objdump', '-p', program);
const resource = (file, type, name) =>
  execFileSync('wrestool', ['--raw', '-x', '-t', String(type), '-n', String(name), file]);

const programs = [
  ['elvantris-redundancy-control', 'Elvantris Redundancy Control'],
  ['elvantris-redundancy-tool', 'Elvantris Redundancy Control, Check and Report'],
  ['elvantris-rehearsal', 'Elvantris Rehearsal'],
].map(([name, description]) => {
  return { name, description, file: path.join(path.dirname(program), `${name}.exe`) };
});

const [, version] = /VERSION (\d+\.\d+\.\d+)/.exec(
  fs.readFileSync(path.join(root, 'CMakeLists.txt'), 'utf8'),
);

test('it_is_a_program_with_windows_and_not_with_a_console', () => {
  assert.match(headers, /^Subsystem\s+0*2\s+\(Windows GUI\)$/m);
});

test('it_needs_only_what_windows_brings', () => {
  const libraries = [...headers.matchAll(/DLL Name: (.*)/g)].map(([, name]) => name.toUpperCase());
  const windows_own =
    /^(ADVAPI32|CRYPT32|GDI32|IPHLPAPI|KERNEL32|MSVCRT|OLE32|SHELL32|USER32|WS2_32)\.DLL$/;
  assert.ok(libraries.length > 0);
  assert.deepEqual(
    libraries.filter((name) => !windows_own.test(name)),
    [],
  );
});

for (const { name, description, file } of programs) {
  test(`${name}_has_the_version_of_the_project`, () => {
    assert.equal(version, '0.9.2');
    const block = resource(file, 16, 1);
    const texts = block.toString('utf16le');
    for (const [key, value] of [
      ['FileVersion', version],
      ['ProductVersion', version],
      ['ProductName', 'Elvantris Redundancy Control'],
      ['FileDescription', description],
      ['OriginalFilename', `${name}.exe`],
      ['CompanyName', 'Tarnwell Media'],
    ]) {
      assert.match(texts, new RegExp(`${key}\0+${value.replaceAll('.', '\\.')}\0`));
    }
    const fixed = block.indexOf(Buffer.from([0xbd, 0x04, 0xef, 0xfe]));
    const [minor, major, build, patch] = [8, 10, 12, 14].map((at) =>
      block.readUInt16LE(fixed + at),
    );
    assert.equal([major, minor, patch].join('.'), version);
    assert.equal(build, 0);
  });

  test(`${name}_asks_for_no_rights_and_speaks_utf8_in_true_size_with_long_paths`, () => {
    const manifest = resource(file, 24, 1).toString();
    for (const element of [
      /<requestedExecutionLevel level="asInvoker" uiAccess="false"\/>/,
      /<activeCodePage [^>]*>UTF-8</,
      /<dpiAwareness [^>]*>PerMonitorV2, PerMonitor</,
      /<longPathAware [^>]*>true</,
    ]) {
      assert.match(manifest, element);
    }
    assert.equal(tool('wrestool', '-l', '-t', '24', file).trim().split('\n').length, 1);
  });

  test(`${name}_has_an_icon_with_the_number_101_in_every_usual_size`, () => {
    const group = resource(file, 14, 101);
    const count = group.readUInt16LE(4);
    // 256 is written as 0.
    const sizes = [...Array(count).keys()].map((index) => group.readUInt8(6 + 14 * index) || 256);
    for (const size of [16, 20, 24, 32, 40, 48, 64, 256]) {
      assert.ok(sizes.includes(size), `${size} is not among ${sizes}`);
    }
  });
}
