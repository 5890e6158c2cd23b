// Builds what a proof starts, by the same presets as scripts/test.
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';

function run_quietly(command, words) {
  const { status, stdout, stderr } = spawnSync(command, words, { encoding: 'utf8' });
  if (status !== 0) throw new Error(`${command} ${words.join(' ')} failed:\n${stdout}${stderr}`);
}

// Without targets the whole preset.
export function build_target(preset, ...targets) {
  if (!fs.existsSync(`build/${preset}/build.ninja`)) run_quietly('cmake', ['--preset', preset]);
  const wanted = targets.length > 0 ? ['--target', ...targets] : [];
  run_quietly('cmake', ['--build', '--preset', preset, ...wanted]);
}
