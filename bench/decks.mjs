// Measures the running program's decks from inside the workstation's namespace. Started by decks.
import { spawn } from 'node:child_process';
import { readFileSync } from 'node:fs';
import path from 'node:path';

const [build, folder, runsText] = process.argv.slice(2);
const runs = Number(runsText);
const api = 'http://127.0.0.1:5251/api';
const bus = 'http://127.0.0.1:5998';
const servers = ['http://10.77.0.11:5999/simulator', 'http://10.77.0.12:5999/simulator'];
const xl = { productId: 0x006c, serial: 'XL-1', path: '/dev/xl' };
const all = [
  xl,
  { productId: 0x0063, serial: 'MINI-1', path: '/dev/mini' },
  { productId: 0x0060, serial: 'ORIGINAL-1', path: '/dev/original' },
];
const keys_of_all = 32 + 6 + 15;

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
// The wall clock, as in the reports of the simulator.
const now = () => performance.timeOrigin + performance.now();
const get = async (url) => (await fetch(url)).json();
const post = async (url, body) =>
  (await fetch(url, { method: 'POST', body: JSON.stringify(body) })).json();
const status = () => get(`${api}/status`);
const shown = async () => (await get(`${bus}/state`)).decks;

async function until(what, holds, pause = 10, limit = 30000) {
  for (const end = now() + limit; now() < end; await sleep(pause)) {
    const answer = await holds().catch(() => undefined);
    if (answer) return answer;
  }
  throw new Error(`did not happen: ${what}`);
}

const sorted = (values) => [...values].sort((a, b) => a - b);
const median = (values) => sorted(values)[Math.floor(values.length / 2)];
const ms = (value) => `${value.toFixed(1)} ms`;
const spread = (values) =>
  `median ${ms(median(values))}, max ${ms(Math.max(...values))}, min ${ms(Math.min(...values))} (${values.length} runs)`;
const say = (what, figure) => console.log(`${what.padEnd(52)} ${figure}`);

const program = spawn(
  `${build}/elvantris-redundancy-control`,
  ['--background', '--config', path.join(folder, 'operator-control.json')],
  {
    stdio: 'ignore',
    env: {
      ...process.env,
      LD_LIBRARY_PATH: `${build}/virtual_decks`,
      ELVANTRIS_VIRTUAL_DECKS_PORT: '5998',
    },
  },
);
process.on('exit', () => program.kill('SIGKILL'));

async function pair_up() {
  await until('both servers are found', async () => (await status()).systems.length === 2);
  await post(`${api}/configure`, { enabled: true, mainSerial: 'MAIN-1', backupSerial: 'BACK-1',
    sharedFunctionIds: [1, 2, 3], openBrowserOnStart: false });
  await post(`${api}/protection`, { startupMs: 1000 });
  await until('Main is active', async () => {
    const { active, policySynchronized } = await status();
    return active === 'main' && policySynchronized;
  });
  await sleep(2000); // the grace
}

const paintings = async () => (await shown()).map(({ keys }) => keys.map(({ images }) => images));

// Waits until every key has been painted since `before` was taken, and gives the time of the last
// one of the XL, and of all.
async function painted_since(before) {
  const decks = await until('every key is repainted', async () => {
    const state = await shown();
    return state.every(({ keys }, i) => keys.every(({ images }, key) => images > before[i][key])) && state;
  });
  const last = ({ keys }) => Math.max(...keys.map(({ paintedUs }) => paintedUs)) / 1000;
  return [last(decks.find((one) => one.path === xl.path)), Math.max(...decks.map(last))];
}

// Attaching and the first painting are over when nothing has been painted for a while.
async function settle() {
  let before = await paintings();
  await until('the decks are at rest', async () => {
    const after = await paintings();
    const same = String(after) === String(before) && after.flat().every((count) => count > 1);
    before = after;
    return same && after.flat().length === keys_of_all;
  }, 500);
}

async function measure_transfers() {
  const of_xl = [];
  const of_all = [];
  let target = 'backup';
  for (let i = 0; i < runs; i += 1) {
    await settle();
    await sleep(Math.random() * 200); // any phase of the manager's pass
    const before = await paintings();
    const begin = await until('the transfer is taken', async () => {
      const asked = now();
      const { ok } = await post(`${api}/protection/operate`, { operation: target });
      return ok && asked;
    });
    const [xl_painted, all_painted] = await painted_since(before);
    of_xl.push(xl_painted - begin);
    of_all.push(all_painted - begin);
    target = target === 'backup' ? 'main' : 'backup';
  }
  say("transfer asked for -> last key of the XL repainted", spread(of_xl));
  say('transfer asked for -> last of all 53 keys', spread(of_all));
  if (target === 'main') await post(`${api}/protection/operate`, { operation: 'main' });
}

async function measure_keys() {
  const delays = [];
  for (let i = 0; i < runs; i += 1) {
    const key = i % 31; // the last one turns a page
    await Promise.all(servers.map((url) => post(url, { forget: true })));
    await sleep(200 + Math.random() * 200);
    const pressed = now();
    await post(`${bus}/press`, { path: xl.path, keys: [key] });
    const times = [];
    for (const url of servers) {
      // The release of the key before may still be on its way.
      const event = await until('the server has the key', async () => {
        const { keyEvents } = (await get(url)).operatorDecks;
        return keyEvents.find(({ index, isDown }) => isDown && index === key);
      });
      times.push(event.timeUs / 1000);
    }
    delays.push(Math.max(...times) - pressed);
    await post(`${bus}/release`, { path: xl.path, keys: [key] });
  }
  say('key pressed -> the event at both servers', spread(delays));
}

// Of a core, in percent, over so many seconds.
async function idle_share(seconds) {
  const cpu_ms = () => {
    const fields = readFileSync(`/proc/${program.pid}/stat`, 'utf8').split(') ')[1].split(' ');
    return (Number(fields[11]) + Number(fields[12])) * 10;
  };
  const before = cpu_ms();
  await sleep(seconds * 1000);
  return (cpu_ms() - before) / seconds / 10;
}

await until('the program runs', status);
await pair_up();
const without = await idle_share(30);
for (const deck of all) await post(`${bus}/plug`, deck);
await settle();
const with_decks = await idle_share(30);
say('idle for 30 s, a healthy pair and no deck', `${without.toFixed(2)} % of a core`);
say('idle for 30 s, with three decks attached', `${with_decks.toFixed(2)} % of a core`);
await measure_keys();
await measure_transfers();
const { errors } = await get(`${bus}/state?decode`);
if (errors.length > 0) throw new Error(`wrong reports: ${errors.join('; ')}`);
const ended = new Promise((resolve) => program.once('exit', resolve));
program.kill('SIGTERM');
await ended;
process.exit(0);
