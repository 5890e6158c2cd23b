// Every truncation and every flipped bit of both files of settings, in one process.
import { spawnSync } from 'node:child_process';

import { memory_folder } from './support/folders.mjs';
import { said } from './support/words.mjs';

function row_of({ what, all, same, told, refused, changed, hold_for_others, broken, ...rest }) {
  const parts = [
    [same, 'read as before'],
    [told, 'told of and kept'],
    [refused, 'refused with a sentence'],
    [changed, 'one setting reads differently'],
    [hold_for_others, 'of these: the hold names another server'],
    [broken, `**break a rule**, first: ${rest.example}`],
  ];
  return {
    what,
    amount: said(all),
    outcome: parts
      .filter(([count]) => count > 0)
      .map(([count, words]) => `${said(count)} ${words}`)
      .join('; '),
    bound: `none breaks a rule; slowest ${rest.slowest_ms.toFixed(0)} ms of 1000`,
  };
}

export async function prove_damage() {
  const folder = memory_folder();
  try {
    const environment = { ...process.env, TMPDIR: folder.path };
    const { stdout, signal } = spawnSync('build/linux/proof_damage', {
      encoding: 'utf8',
      env: environment,
      timeout: 600_000,
    });
    if (signal || stdout === '') throw new Error(`proof_damage was ended by ${signal}`);
    const counts = JSON.parse(stdout);
    const broken = counts.reduce((sum, one) => sum + one.broken, 0);
    const all = counts.reduce((sum, one) => sum + one.all, 0);
    const slow = counts.some((one) => one.slowest_ms > 1000);
    return {
      passed: broken === 0 && !slow,
      amount: `${said(all)} damaged files`,
      outcome: `${said(broken)} break a rule`,
      bound: 'none',
      rows: counts.map(row_of),
    };
  } finally {
    folder.remove();
  }
}
