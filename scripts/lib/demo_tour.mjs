// The tour of scripts/demo: the program's main job, step by step, each with a deadline.
//   node demo_tour.mjs FOLDER [--stay]     inside the workstation of a network
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';

import { Child } from '../../tests/driver/children.mjs';
import { addresses, network, program } from '../../tests/driver/environment.mjs';
import { Device, Server } from '../../tests/driver/network.mjs';
import { get_status, operate, post } from '../../tests/driver/operator.mjs';
import {
  rehearsal_page,
  rehearsal_program,
  rehearsal_state,
} from '../../tests/driver/rehearsal.mjs';
import { deck_environment, Decks, plugged } from './demo_decks.mjs';
import { bold, Timeline } from './demo_timeline.mjs';
import { Watch } from './demo_watch.mjs';

const [folder, ...options] = process.argv.slice(2);
const stay = options.includes('--stay');

const pages = [rehearsal_page, 'http://127.0.0.1:5270/'];
const serials = { main: 'SIM-A', backup: 'SIM-B' };
const names = { main: 'Stage left', backup: 'Stage right' };
const grace_ms = 1000;
const monitor_cycle_ms = 250;
const to_device = { host: addresses.device, port: 7000, timeoutMs: 500, enabled: true };
const commands = {
  backup: { ...to_device, event: 'backup', name: 'Desk', transport: 'TCP', payload: 'GO BACKUP' },
  main: { ...to_device, event: 'main', name: 'Desk', transport: 'UDP', payload: 'GO MAIN' },
};

const watch = new Watch();
const timeline = new Timeline();
const decks = new Decks(watch);
const servers = {};
const log = path.join(folder, 'operator-control.log');
let device;
let running;
let step = '';
let commands_received = 0;

const faults = ({ protection }) =>
  protection.alerts.filter((alert) => alert.active && alert.severity !== 'notice');
const active_on = async (side) => (await get_status()).activeSerial === serials[side];
// The wall clock is for the device's own time of arrival.
const now = () => ({ steady: performance.now(), wall: Date.now() });
const since = (zero) => `${Math.round(performance.now() - zero.steady)} ms`;

async function start() {
  step = 'start';
  for (const side of ['main', 'backup']) {
    servers[side] = await Server.start(side, serials[side], '--workstation', names[side]);
    watch.over(side, servers[side].child);
  }
  device = await Device.start();
  watch.over('device', device.child);
  timeline.event('network', 'two servers and an outside device, each a host of its own');
  const command = [program, '--background', '--config', path.join(folder, 'operator-control.json')];
  // Neither meets an instance that runs on this machine, nor leaves anything in its folders.
  const own = { XDG_RUNTIME_DIR: folder, LOCALAPPDATA: folder, XDG_CONFIG_HOME: folder };
  const env = { ...process.env, ...own, ...deck_environment };
  running = watch.over('the program', new Child(command, { env }));
  await watch.until('the program answers', get_status);
  timeline.event('program', 'runs on the workstation and knows nothing yet');

  step = 'decks';
  await decks.show_splash();
  timeline.event(
    'decks',
    `${plugged.map(({ name }) => name).join(', ')}: attached, with the splash`,
  );
}

async function find() {
  step = 'found';
  await watch.until('both servers are discovered', async () => {
    const { systems } = await get_status();
    return Object.values(serials).every((serial) =>
      systems.some((system) => system.serial === serial && system.online),
    );
  });
  const found = ['main', 'backup'].map((side) => `${names[side]} (${addresses[side]})`);
  timeline.event('found', found.join(' and '));
}

async function pair() {
  step = 'paired';
  const { protection, sharedFunctionIds, uiPort } = await get_status();
  const policy = { ...protection.policy, startupMs: grace_ms, actions: Object.values(commands) };
  const saved = await post('/api/protection', policy);
  if (!saved.ok) throw new Error(`the protection settings were refused: ${saved.error}`);
  const configured = await post('/api/configure', {
    enabled: true,
    mainSerial: serials.main,
    backupSerial: serials.backup,
    sharedFunctionIds,
    uiPort,
    openBrowserOnStart: false,
  });
  if (!configured.ok) throw new Error(`the pairing was refused: ${configured.error}`);
  const paired = performance.now();
  timeline.event('paired', `${names.main} is Main, ${names.backup} its Backup`);

  step = 'written';
  await watch.until('Main holds the pairing, and Backup follows it', async () => {
    const roles = [];
    for (const server of Object.values(servers)) roles.push((await server.report()).role);
    return roles.join() === 'Main,Backup' && (await get_status()).policySynchronized;
  });
  timeline.event('written', "the pairing is in Main's show, and Backup has it from there");

  step = 'ready';
  await watch.until('both servers are ready, and no alert stands', async () => {
    // The grace begins with the first cycle that sees the pair, and shows no alert.
    if (performance.now() - paired < grace_ms + 2 * monitor_cycle_ms) return false;
    const seen = await get_status();
    const ready = seen.systems.filter((system) => system.uiReady).length === 2;
    return ready && seen.activeSerial === serials.main && faults(seen).length === 0;
  });
  timeline.event('ready', 'both servers healthy, Main active, automatic failover armed');

  step = 'painted';
  await decks.painted_by(servers.main);
  timeline.event('painted', `every key shows what ${names.main} draws for it`);
}

async function press() {
  step = 'key';
  const took = await decks.tap(Object.values(servers));
  timeline.event('key', `pressed on ${plugged[0].name}, at both servers after ${took} ms`);

  step = 'page';
  const { name, page } = await decks.turn_page(Object.values(servers));
  await decks.painted_by(servers.main);
  timeline.event('page', `the last key of ${name} turned it to page ${page}`);
}

// The next message that the device gets must be the command of `side`.
async function outbound_command(side, zero, what) {
  step = 'command';
  const { payload, transport } = commands[side];
  const arrived = await watch.until(`the device has received "${payload}"`, async () => {
    const next = (await device.received())[commands_received];
    return next?.ended && next;
  });
  if (arrived.text !== payload || arrived.transport !== transport.toLowerCase()) {
    throw new Error(`the device received "${arrived.text}" and not "${payload}"`);
  }
  ++commands_received;
  const took = Math.max(0, arrived.timeMs - zero.wall);
  const text = `the device has "${payload}" by ${transport}, ${took} ms after ${what}`;
  timeline.event('command', text);
}

// Makes a fault of Main, and returns how long operation took to reach Backup.
async function fault(text, make) {
  step = 'fault';
  timeline.event('FAULT', text, 'fault');
  const zero = now();
  await make();
  step = 'transfer';
  await watch.until('operation moves to Backup', () => active_on('backup'));
  const took = since(zero);
  const reasons = faults(await get_status()).map((alert) => alert.message);
  timeline.event('transfer', `to Backup after ${took}: ${reasons[0] ?? ''}`, 'transfer');
  await outbound_command('backup', zero, 'the fault');
  step = 'repainted';
  const last = await decks.painted_by(servers.backup);
  const painted = Math.max(0, Math.round(last - zero.wall));
  const text_of_keys = `all ${decks.key_count} keys from ${names.backup}, on the same pages`;
  timeline.event('repainted', `${text_of_keys}, ${painted} ms after the fault`, 'transfer');
  return took;
}

async function hold() {
  step = 'held';
  await servers.main.set({ engine: 'running' });
  await watch.until("Main's recovery is noticed", async () => !faults(await get_status()).length);
  const recovered = performance.now();
  await watch.until('a second passes on Backup', async () => {
    const { activeSerial, protection } = await get_status();
    if (activeSerial !== serials.backup || !protection.heldOnBackup) {
      throw new Error('operation left Backup by itself');
    }
    return performance.now() - recovered > 1000;
  });
  timeline.event('held', "Main's engine runs again, and operation stays on Backup");
}

async function return_to_main() {
  step = 'returned';
  let zero;
  await watch.until('the operator may return to Main', async () => {
    if ((await get_status()).protection.actionsBusy) return false;
    zero = now();
    return (await operate('main')).ok;
  });
  await watch.until('operation is on Main again', async () => {
    const seen = await get_status();
    return seen.activeSerial === serials.main && !seen.protection.heldOnBackup;
  });
  timeline.event('returned', 'the operator returned to Main');
  await outbound_command('main', zero, 'the click');
  step = 'repainted';
  await decks.painted_by(servers.main);
}

async function plug_in() {
  step = 'plugged';
  servers.main.plug();
  await watch.until('Main is healthy again', async () => !faults(await get_status()).length);
  timeline.event('plugged', "Main's cable is back, and Main is healthy again");
}

async function finish() {
  step = 'end';
  watch.ending = true;
  running.signal('SIGTERM');
  const { code } = await watch.until('the program ends', () => running.ended && running.exited);
  if (code !== 0) throw new Error(`the program ended with ${code}`);
}

async function tour() {
  await start();
  await find();
  await pair();
  await press();
  timeline.chapter();
  const engine = await fault("Main's engine stopped", () =>
    servers.main.set({ engine: 'stopped' }),
  );
  await hold();
  await return_to_main();
  timeline.chapter();
  const cable = await fault("Main's cable pulled", () => servers.main.unplug());
  await plug_in();
  await return_to_main();
  return `All went well: ${engine} to leave a stopped engine, ${cable} a pulled cable.`;
}

async function start_rehearsal() {
  const places = ['--servers', `${addresses.main},${addresses.backup}`];
  places.push('--device', addresses.device);
  watch.over('the rehearsal', new Child([rehearsal_program, '--background', ...places]));
  await watch.until('the rehearsal answers', rehearsal_state);
}

// The browser must not run as root where there is another user.
function browser_command() {
  const { SUDO_USER: user } = process.env;
  const as_user = ['sudo', '--preserve-env=DISPLAY,WAYLAND_DISPLAY,XAUTHORITY', '-u', user];
  const chromium = ['chromium', `--user-data-dir=${folder}/browser`];
  return user ? [...as_user, ...chromium] : [...chromium, '--no-sandbox'];
}

// Where there is a screen and a browser; otherwise what is printed has to do.
function open_pages() {
  const { DISPLAY, WAYLAND_DISPLAY } = process.env;
  if (!DISPLAY && !WAYLAND_DISPLAY) return;
  const [name, ...words] = browser_command();
  const browser = spawn(name, [...words, ...pages], { stdio: 'ignore', detached: true });
  browser.on('error', () => {});
}

function how_to_reach() {
  const sudo = process.env.SUDO_USER ? 'sudo ' : '';
  const inside = `${sudo}ip netns exec ${network}-workstation`;
  return `
Everything is left running, with the workstation in a network of its own.
${bold("The rehearsal with its switches and scenarios, and the operator's page")}
  ${inside} \\
    ${browser_command().join(' ')} \\
    ${pages.join(' ')}
${bold('The decks with keys to click')}
  the same browser, ${decks.page}
${bold('The status, and a fault of your own making')}
  ${inside} \\
    curl -s http://127.0.0.1:5251/api/status
  ${inside} \\
    curl -s http://${addresses.main}:5999/simulator -d '{"engine":"stopped"}'
  ${sudo}scripts/lib/namespaces.sh unplug ${network} main
${bold('The log')}
  ${log}

Ctrl-C ends it.`;
}

async function stay_until_interrupted() {
  step = 'stay';
  await start_rehearsal();
  console.log(how_to_reach());
  open_pages();
  while (!watch.interrupted) {
    if (watch.unexpected_end) throw new Error(watch.unexpected_end);
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
  watch.interrupted = false;
}

// What the program itself holds to be wrong, if it still answers.
async function standing_alerts() {
  try {
    return faults(await get_status()).map((alert) => `  alert: ${alert.message}\n`);
  } catch {
    return [];
  }
}

async function report(error) {
  timeline.failure(`FAILED at "${step}": ${error.message}`);
  process.stdout.write((await standing_alerts()).join(''));
  const lines = fs.existsSync(log) ? fs.readFileSync(log, 'utf8').trimEnd().split('\n') : [];
  console.log(`The program's log is ${log}${lines.length ? ', and ends with' : ', and is empty'}`);
  for (const line of lines.slice(-15)) console.log(`  ${line}`);
}

try {
  console.log(`${bold('Elvantris Redundancy Control on two simulated servers')}\n`);
  const closing = await tour();
  if (stay) {
    timeline.closing(closing);
    await stay_until_interrupted();
  }
  await finish();
  if (!stay) timeline.closing(closing);
  process.exit(0);
} catch (error) {
  if (watch.interrupted) process.exit(130);
  await report(error);
  process.exit(1);
}
