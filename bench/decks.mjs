// Measures the running program's decks, which are virtual. Started by decks.
import { setTimeout as sleep } from 'node:timers/promises';

import {
  decks,
  mini,
  original,
  paintings,
  plug_into,
  until_control,
  xl,
} from '../tests/driver/decks.mjs';
import { operate } from '../tests/driver/operator.mjs';
import { Pair } from '../tests/driver/pair.mjs';
import { first, idle_share, now, say, spread } from './support/figures.mjs';

const runs = Number(process.argv[2]);
const all = [xl, mini, original];

const all_paintings = () => Promise.all(all.map(({ path }) => paintings(path)));

// Attaching and the first painting are over when nothing has been painted for a while.
async function rest() {
  for (let before = ''; ; await sleep(500)) {
    const counts = await all_paintings();
    if (String(counts) === before && counts.flat().every((count) => count > 1)) return counts;
    before = String(counts);
  }
}

const last_painted_ms = ({ keys }) => Math.max(...keys.map(({ paintedUs }) => paintedUs)) / 1000;

// Waits until every key of all decks has been painted again; the moments of their last keys.
async function painted_again(before) {
  const shown = await first('every key is painted again', async () => {
    const now_shown = await Promise.all(all.map(({ path }) => decks.deck(path)));
    const again = now_shown.every(({ keys }, deck) =>
      keys.every(({ images }, key) => images > before[deck][key]),
    );
    return again && now_shown;
  });
  return shown.map(last_painted_ms);
}

async function measure_transfers() {
  const of_xl = [];
  const of_all = [];
  let target = 'backup';
  for (let run = 0; run < runs; run += 1) {
    const before = await rest();
    await sleep(Math.random() * 200); // any phase of the manager's pass
    const begin = await first('the transfer is taken', async () => {
      const asked = now();
      const { ok } = await operate(target);
      return ok && asked;
    });
    const painted = await painted_again(before);
    of_xl.push(painted[0] - begin);
    of_all.push(Math.max(...painted) - begin);
    target = target === 'backup' ? 'main' : 'backup';
  }
  say('transfer asked for -> last key of the XL repainted', spread(of_xl));
  say('transfer asked for -> last of all 53 keys', spread(of_all));
  if (target === 'main') await operate('main');
}

async function measure_keys(servers) {
  const delays = [];
  for (let run = 0; run < runs; run += 1) {
    const key = run % 31; // the last one turns a page
    await Promise.all(servers.map((server) => server.set({ forget: true })));
    await sleep(200 + Math.random() * 200);
    const pressed = now();
    await decks.tell('press', { path: xl.path, keys: [key] });
    const arrivals = servers.map((server) =>
      // The release of the key before may still be on its way.
      first(`${server.serial} has the key`, async () => {
        const { keyEvents } = (await server.report()).operatorDecks;
        return keyEvents.find(({ index, isDown }) => isDown && index === key);
      }),
    );
    const events = await Promise.all(arrivals);
    delays.push(Math.max(...events.map(({ timeUs }) => timeUs)) / 1000 - pressed);
    await decks.tell('release', { path: xl.path, keys: [key] });
  }
  say('key pressed -> the event at both servers', spread(delays));
}

const pair = await Pair.start((workstation) => plug_into(workstation, []));
try {
  await until_control();
  await sleep(2000); // the grace
  const { program } = pair.workstation;
  say('idle for 30 s, a healthy pair and no deck', await idle_share(program, 30));
  for (const deck of all) await decks.tell('plug', deck);
  await rest();
  say('idle for 30 s, with three decks attached', await idle_share(program, 30));
  await measure_keys([pair.main, pair.backup]);
  await measure_transfers();
  const { errors } = await decks.get('state?decode');
  if (errors.length > 0) throw new Error(`wrong reports: ${errors.join('; ')}`);
} finally {
  await pair.stop();
}
