// The guide shows what each command of the console tool says, in pictures that load at once.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import { test } from 'node:test';
import { read } from './support.mjs';

const guide = read('docs/guide/tool.md');
const source = read('src/tool/sub_commands.cpp');
const commands = [...source.matchAll(/\b([a-z]+)_command\(\)/g)].map(([, name]) => name);
const most_bytes = 60 * 1024;

test('the_commands_of_the_tool_were_found', () => assert.ok(commands.length >= 6, `${commands}`));

for (const name of commands) {
  test(`the_guide_shows_a_picture_of_${name}_below_its_heading`, () => {
    const shown = `(../screenshots/tool-${name}.png)`;
    const [, picture] = new RegExp(`^## ${name}\n\n!\\[[^\\]]+\\](.*)$`, 'm').exec(guide) ?? [];
    assert.equal(picture, shown, 'scripts/screenshots makes the pictures');
    const { size } = fs.statSync(
      new URL(`../../docs/screenshots/tool-${name}.png`, import.meta.url),
    );
    assert.ok(size <= most_bytes, `${size} bytes`);
  });
}
