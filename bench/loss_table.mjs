// Loses Main for real, in three ways and with each `lossMs`: how old its last good answer was when
// operation moved, and how long after the loss that was. Started by loss_table.
import { setTimeout as sleep } from 'node:timers/promises';

import { get_status, health_of } from '../tests/driver/operator.mjs';
import { Pair } from '../tests/driver/pair.mjs';
import { until } from '../tests/driver/waiting.mjs';
import { poll_period_ms, quantile } from './support/figures.mjs';

const runs = Number(process.argv[2]);
const loss_times = [500, 600, 650, 950, 1000, 1300, 1500, 2000];

const kinds = [
  ['hang', (main) => main.set({ faults: { '*': { hang: true } } })],
  ['cable', (main) => main.unplug()],
  ['refused', (main) => main.set({ httpPort: 'closed' })],
];

const spread = (values) => [0, 0.5, 1].map((part) => quantile(values, part)).join(' ');

async function lose_main(pair, lose, lossMs) {
  await pair.settle({ lossMs, startupMs: 1000 });
  await sleep(1500 + Math.random() * poll_period_ms); // the grace, and any phase of the polls
  const begin = performance.now();
  await lose(pair.main);
  const seen = await until('Backup is active', async () => {
    const status = await get_status();
    return status.active === 'backup' && status;
  });
  const delay = Math.round(performance.now() - begin);
  return { delay, age: health_of(seen, 'SER-A').ageMs };
}

const pair = await Pair.start();
try {
  console.log('lossMs kind     age at the transfer (min median max)   loss to transfer');
  for (const lossMs of loss_times) {
    for (const [name, lose] of kinds) {
      const all = [];
      for (let run = 0; run < runs; run += 1) all.push(await lose_main(pair, lose, lossMs));
      const ages = spread(all.map(({ age }) => age));
      const delays = spread(all.map(({ delay }) => delay));
      console.log(`${String(lossMs).padEnd(6)} ${name.padEnd(8)} ${ages.padEnd(38)} ${delays}`);
    }
  }
} finally {
  await pair.stop();
}
