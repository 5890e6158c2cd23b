// A foreign web page in a real browser beside the real program: what each way to the two ports gives
// must be what SECURITY.md says. Needs root, for a network of its own.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { createInterface } from 'node:readline';

import { expected } from './foreign_page/expected.mjs';
import { said } from './support/words.mjs';

const columns = [
  'The page',
  'from the LAN',
  'from another port of this computer',
  'from the internet',
];

async function tries(deadline) {
  const tried = ['proof/foreign_page/tries.mjs', String(deadline)];
  const words = ['bench/support/in_workstation', ...tried];
  if (process.getuid() !== 0) words.unshift('sudo', '--');
  const child = spawn(words[0], words.slice(1), { stdio: ['ignore', 'pipe', 'inherit'] });
  const ended = once(child, 'exit');
  const outcomes = [];
  for await (const line of createInterface({ input: child.stdout })) {
    if (line.startsWith('{')) outcomes.push(JSON.parse(line));
  }
  const [status] = await ended;
  if (status !== 0) throw new Error('not all ways were tried');
  return outcomes;
}

// Both outcomes, or one where the browser's policy changes nothing.
function cell_of(outcomes, what, place) {
  const of = (policy) =>
    outcomes.find((one) => one.policy === policy && one.what === what && one.place === place)
      ?.outcome;
  const [without, with_policy] = [of('without'), of('with')];
  return without === with_policy ? [without] : [without, with_policy];
}

const same = (one, other) => JSON.stringify(one) === JSON.stringify(other);
const written = ([without, with_policy]) =>
  with_policy === undefined ? (without ?? '') : `${without}; with the policy ${with_policy}`;

export async function prove_foreign_page({ deadline }) {
  const outcomes = await tries(deadline);
  let differing = 0;
  const rows = Object.entries(expected).map(([what, by_place]) => {
    const cells = ['lan', 'neighbour', 'internet'].map((place) => {
      const found = cell_of(outcomes, what, place);
      if (same(found, by_place[place] ?? [undefined])) return written(found);
      differing += 1;
      return `**${written(found)}**, and not ${written(by_place[place] ?? [undefined])}`;
    });
    return [what, ...cells];
  });
  return {
    passed: differing === 0,
    amount: `${said(outcomes.length)} tries`,
    outcome: `${said(differing)} other than SECURITY.md says`,
    bound: 'none',
    columns,
    rows,
  };
}
