// Measures the running program from inside the workstation's namespace. Started by end_to_end.
import { execFileSync, spawn } from 'node:child_process';
import { readFileSync } from 'node:fs';
import net from 'node:net';
import path from 'node:path';

const [prefix, folder, runsText] = process.argv.slice(2);
const runs = Number(runsText);
const api = { host: '127.0.0.1', port: 5251 };
const simulator = (address) => ({ host: address, port: 5999 });
const main = simulator('10.77.0.11');
const backup = simulator('10.77.0.12');
const device = { host: '10.77.0.20', port: 7999 };

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
const now = () => Number(process.hrtime.bigint()) / 1e6;

// One request on a connection of its own; the answer's body as JSON.
function request({ host, port }, method, target, body = '') {
  return new Promise((resolve, reject) => {
    let text = '';
    const socket = net.connect(port, host, () =>
      socket.write(`${method} ${target} HTTP/1.1\r\nHost: ${host}\r\nConnection: close\r\nContent-Length: ${Buffer.byteLength(body)}\r\n\r\n${body}`));
    socket.setNoDelay();
    socket.on('data', (chunk) => (text += chunk));
    socket.on('error', reject);
    socket.on('end', () => resolve(JSON.parse(text.slice(text.indexOf('\r\n\r\n') + 4) || 'null')));
  });
}
const status = () => request(api, 'GET', '/api/status');
const post = (target, body) => request(api, 'POST', target, JSON.stringify(body));
const tell = (server, switches) => request(server, 'POST', '/simulator', JSON.stringify(switches));

async function until(what, holds, pause = 2, limit = 30000) {
  for (const end = now() + limit; now() < end; await sleep(pause)) {
    const answer = await holds().catch(() => undefined);
    if (answer) return answer;
  }
  throw new Error(`did not happen: ${what}`);
}

const sorted = (values) => [...values].sort((a, b) => a - b);
const quantile = (values, q) => sorted(values)[Math.min(values.length - 1, Math.floor(values.length * q))];
const ms = (value) => `${value.toFixed(1)} ms`;
const spread = (values) => `median ${ms(quantile(values, 0.5))}, max ${ms(Math.max(...values))}, min ${ms(Math.min(...values))} (${values.length} runs)`;
const say = (what, figure) => console.log(`${what.padEnd(46)} ${figure}`);

let program;
function startProgram() {
  program = spawn('build/linux/elvantris-redundancy-control',
    ['--background', '--config', path.join(folder, 'operator-control.json')],
    { stdio: 'ignore' });
}
async function stopProgram() {
  const ended = new Promise((resolve) => program.once('exit', resolve));
  program.kill('SIGTERM');
  await ended;
}

async function measureStart() {
  const times = [];
  for (let i = 0; i < 20; i += 1) {
    const begin = now();
    startProgram();
    await until('the API answers', status, 1);
    times.push(now() - begin);
    await stopProgram();
  }
  say('start until the API answers', spread(times));
}

async function pairUp() {
  startProgram();
  await until('both servers are found', async () => (await status()).systems.length === 2, 50);
  await post('/api/configure', { enabled: true, mainSerial: 'MAIN-1', backupSerial: 'BACK-1',
    sharedFunctionIds: [1, 2, 3], openBrowserOnStart: false });
  const action = { name: 'device', event: 'backup', host: '10.77.0.20', port: 7000,
    transport: 'TCP', payload: 'GO\\r', enabled: true };
  await post('/api/protection', { lossMs: 500, startupMs: 1000, actions: [action] });
  await until('Main is active', async () => {
    const { active, policySynchronized, protection } = await status();
    return active === 'main' && policySynchronized && protection.systems.every(({ ageMs }) => ageMs >= 0);
  }, 50);
  await sleep(1500); // the grace
}

const ageOfMain = ({ protection }) => protection.systems.find(({ serial }) => serial === 'MAIN-1').ageMs;

async function returnToMain() {
  await until('operation is back on Main', async () =>
    (await post('/api/protection/operate', { operation: 'main' })).ok, 50);
  await until('no sequence runs', async () => !(await status()).protection.actionsBusy, 20);
}

// One transfer: `fail` breaks Main, `mend` puts it right. The delay until Backup is active, the
// age of Main's last good answer at that moment, and the delay of the device's first byte.
async function transfer(fail, mend) {
  await request(device, 'DELETE', '/received');
  await sleep(Math.random() * 250); // any phase of the polling period
  const begin = now();
  await fail();
  const failed = now();
  const seen = await until('Backup is active', async () => {
    const answer = await status();
    return answer.active === 'backup' && answer;
  }, 1);
  const delay = now() - (failed - begin > 20 ? begin : failed);
  const notice = seen.protection.alerts.findLast(({ message }) => message.includes('operating on Backup'));
  const command = await until('the device has the command', async () =>
    (await request(device, 'GET', '/received')).received[0], 5);
  await mend();
  await returnToMain();
  return { delay, age: ageOfMain(seen), outbound: command.timeUs / 1000 - notice.started };
}

async function measureTransfers(what, fail, mend) {
  const all = [];
  for (let i = 0; i < runs; i += 1) all.push(await transfer(fail, mend));
  say(`${what} -> Backup active`, spread(all.map(({ delay }) => delay)));
  say(`${what}: age of the last good poll then`, spread(all.map(({ age }) => age)));
  return all.map(({ outbound }) => outbound);
}

const healthCalls = async (server) =>
  (await request(server, 'GET', '/simulator')).calls['/Home/GetVorHealth'].count;

// CPU time in ms and resident kilobytes.
function usage() {
  const fields = readFileSync(`/proc/${program.pid}/stat`, 'utf8').split(') ')[1].split(' ');
  const resident = /VmRSS:\s+(\d+)/.exec(readFileSync(`/proc/${program.pid}/status`, 'utf8'))[1];
  return { cpuMs: (Number(fields[11]) + Number(fields[12])) * 10, residentKb: Number(resident) };
}

async function measureIdle(seconds) {
  const before = usage();
  await sleep(seconds * 1000);
  const after = usage();
  say(`idle for ${seconds} s with a healthy pair`,
    `${((after.cpuMs - before.cpuMs) / seconds / 10).toFixed(2)} % of a core, ${(after.residentKb / 1024).toFixed(1)} MiB resident`);
}

async function measureStatusLoad(seconds, perSecond) {
  const [mainBefore, backupBefore] = [await healthCalls(main), await healthCalls(backup)];
  const times = [];
  const pending = [];
  const begin = now();
  for (let i = 0; i < seconds * perSecond; i += 1) {
    const due = begin + (i * 1000) / perSecond;
    if (due > now()) await sleep(due - now());
    const sent = now();
    pending.push(status().then(() => times.push(now() - sent)));
  }
  await Promise.all(pending);
  const cycles = (now() - begin) / 250;
  say(`status at ${perSecond}/s for ${seconds} s`, `p50 ${ms(quantile(times, 0.5))}, p99 ${ms(quantile(times, 0.99))}, max ${ms(Math.max(...times))}`);
  say('health polls meanwhile (Main, Backup)',
    `${(await healthCalls(main)) - mainBefore}, ${(await healthCalls(backup)) - backupBefore} of ${Math.floor(cycles)}`);
}

const cable = (word) => execFileSync('scripts/lib/namespaces.sh', [word, prefix, 'main']);

await until('the simulated servers run', () => Promise.all([main, backup, device].map((server) =>
  request(server, 'GET', server === device ? '/received' : '/simulator'))), 50);
await measureStart();
await pairUp();
await measureIdle(30);
await measureStatusLoad(30, 200);
const outbound = await measureTransfers('engine stopped',
  () => tell(main, { engine: 'stopped' }), () => tell(main, { engine: 'running' }));
say('transfer -> first outbound byte at the device', spread(outbound));
await measureTransfers('Main hangs', () => tell(main, { faults: { '*': { hang: true } } }),
  () => tell(main, { faults: null }));
await measureTransfers('cable pulled', () => cable('unplug'), () => cable('plug'));
await stopProgram();
