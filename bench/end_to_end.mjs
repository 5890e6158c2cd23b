// Measures the running program as an operator meets it. Started by end_to_end.
import { setTimeout as sleep } from 'node:timers/promises';

import { call } from '../tests/driver/http.mjs';
import { Device } from '../tests/driver/network.mjs';
import { get_status, health_of, operate } from '../tests/driver/operator.mjs';
import { command, Pair } from '../tests/driver/pair.mjs';
import { ask_tool, start_tool } from '../tests/driver/tool.mjs';
import { Workstation } from '../tests/driver/workstation.mjs';
import { memory_mib } from '../tests/e2e/support/hostile.mjs';
import {
  first,
  idle_share,
  ms,
  now,
  poll_period_ms,
  quantile,
  say,
  spread,
} from './support/figures.mjs';

const runs = Number(process.argv[2]);

async function measure_start() {
  const workstation = new Workstation();
  workstation.write_config({ openBrowserOnStart: false });
  const delays = [];
  for (let run = 0; run < 20; run += 1) {
    const begin = now();
    workstation.launch(workstation.with_config('--background'));
    await first('the API answers', () => get_status().catch(() => null));
    delays.push(now() - begin);
    await workstation.stop();
  }
  await workstation.remove();
  say('start until the API answers', spread(delays));
}

// From the start of the tool to its end.
async function measure_check(workstation) {
  const delays = [];
  for (let run = 0; run < 20; run += 1) {
    const begin = now();
    await ask_tool(workstation, 'check');
    delays.push(now() - begin);
  }
  say('elvantris-redundancy-tool check', spread(delays));
}

// The exporter, read as often as docs/monitoring/prometheus.yml has it.
async function measure_metrics(workstation, seconds) {
  const exporter = start_tool(workstation, 'metrics');
  const read = () => call('127.0.0.1', 5280, 'GET', '/metrics').catch(() => null);
  await first('the exporter answers', read);
  const readings = [];
  const timer = setInterval(() => readings.push(read()), 5000);
  const share = await idle_share(exporter, seconds);
  clearInterval(timer);
  const answered = (await Promise.all(readings)).filter((answer) => answer?.status === 200);
  await exporter.signal('SIGTERM');
  say(
    'elvantris-redundancy-tool metrics',
    `${share}, read ${answered.length} times in ${seconds} s`,
  );
}

async function measure_idle(workstation, seconds) {
  const share = await idle_share(workstation.program, seconds);
  const memory = memory_mib(workstation, 'VmRSS').toFixed(1);
  say(`idle for ${seconds} s with a healthy pair`, `${share}, ${memory} MiB resident`);
}

async function measure_status_load(pair, seconds, per_second) {
  const servers = [pair.main, pair.backup];
  const polls = () =>
    Promise.all(servers.map(async (server) => (await server.calls('GetVorHealth')).count));
  const before = await polls();
  const delays = [];
  const pending = [];
  const begin = now();
  for (let count = 0; count < seconds * per_second; count += 1) {
    const due = begin + (count * 1000) / per_second;
    if (due > now()) await sleep(due - now());
    const asked = now();
    pending.push(get_status().then(() => delays.push(now() - asked)));
  }
  await Promise.all(pending);
  const possible = Math.floor((now() - begin) / poll_period_ms);
  const made = (await polls()).map((count, at) => count - before[at]);
  say(
    `status at ${per_second}/s for ${seconds} s`,
    [
      `p50 ${ms(quantile(delays, 0.5))}`,
      `p99 ${ms(quantile(delays, 0.99))}`,
      `max ${ms(Math.max(...delays))}`,
    ].join(', '),
  );
  say('health polls meanwhile (Main, Backup)', `${made.join(', ')} of ${possible}`);
}

const transfer_notice = ({ protection }) =>
  protection.alerts.findLast(({ message }) => message.includes('operating on Backup'));

// A switch of the simulator has acted when it has answered.
async function switched(main, changes) {
  await main.set(changes);
  return now();
}

// A cable is out as soon as it is asked for, though the command takes its time to end.
function unplugged(main) {
  const moment = now();
  main.unplug();
  return moment;
}

// From `fail`, which breaks Main at any phase of the polling and gives the moment, until Backup is active; how old Main's
// last good answer was then; and from the notice until the device had its first byte.
async function one_transfer(pair, device, fail) {
  await device.forget();
  await sleep(Math.random() * poll_period_ms);
  const failed = await fail();
  const moved = await first('Backup is active', async () => {
    const status = await get_status();
    return status.active === 'backup' && status;
  });
  const delay = now() - failed;
  const [arrival] = await first('the device has the command', async () => {
    const received = await device.received();
    return received.length > 0 && received;
  });
  return {
    delay,
    age: health_of(moved, 'SER-A').ageMs,
    outbound: arrival.timeUs / 1000 - transfer_notice(moved).started,
  };
}

async function back_to_main() {
  await first('operation is back on Main', async () => (await operate('main')).ok);
  await first('no sequence runs', async () => !(await get_status()).protection.actionsBusy);
}

async function transfers(pair, device, fail, mend) {
  const all = [];
  for (let run = 0; run < runs; run += 1) {
    all.push(await one_transfer(pair, device, fail));
    await mend();
    await back_to_main();
  }
  return all;
}

function tell_transfers(what, all) {
  say(`${what} -> Backup active`, spread(all.map(({ delay }) => delay)));
  say(`${what}: age of the last good poll`, spread(all.map(({ age }) => age)));
}

await measure_start();
const device = await Device.start();
const pair = await Pair.start();
const { main } = pair;
try {
  await pair.settle({ lossMs: 500, actions: [command('GO\\r')] });
  await sleep(1500); // the grace
  await measure_check(pair.workstation);
  await measure_metrics(pair.workstation, 61);
  await measure_idle(pair.workstation, 30);
  await measure_status_load(pair, 30, 200);
  const stopped = await transfers(
    pair,
    device,
    () => switched(main, { engine: 'stopped' }),
    () => main.set({ engine: 'running' }),
  );
  tell_transfers('engine stopped', stopped);
  say(
    'transfer -> first outbound byte at the device',
    spread(stopped.map(({ outbound }) => outbound)),
  );
  const hung = await transfers(
    pair,
    device,
    () => switched(main, { faults: { '*': { hang: true } } }),
    () => main.set({ faults: null }),
  );
  tell_transfers('Main hangs', hung);
  const cut = await transfers(
    pair,
    device,
    () => unplugged(main),
    () => main.plug(),
  );
  tell_transfers('cable pulled', cut);
} finally {
  await pair.stop();
  await device.stop();
}
