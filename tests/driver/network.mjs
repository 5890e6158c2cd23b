// The hosts around the workstation: simulated servers, an outside device, and their cables.
import { execFileSync } from 'node:child_process';
import dgram from 'node:dgram';
import path from 'node:path';

import { Child } from './children.mjs';
import { addresses, network, root, simulator } from './environment.mjs';
import { call, call_json } from './http.mjs';
import { until } from './waiting.mjs';

const script = path.join(root, 'scripts', 'lib', 'namespaces.sh');

export const namespaces = (...words) => execFileSync(script, words, { encoding: 'utf8' });

export const run_on = (host, ...command) => namespaces('run', network, host, ...command);

export const launch_in = (prefix, host, ...command) =>
  new Child([script, 'run', prefix, host, ...command]);

export const launch_on = (host, ...command) => launch_in(network, host, ...command);

async function start_on(host, ...command) {
  const child = launch_on(host, ...command);
  await until(`${command[0]} on ${host} is ready`, () => {
    if (child.ended) throw new Error(child.text.errors);
    return child.text.output.startsWith('ready');
  });
  return child;
}

const start_helper = (host, name, ...words) =>
  start_on(host, process.execPath, path.join(root, 'tests/e2e/support', name), ...words);

export const start_endless_replies = (host) => start_helper(host, 'endless_replies.mjs');

// Answers each question so many milliseconds later: { 350: 'SERIAL' }.
export const start_timed_replies = (host, serials) =>
  start_helper(host, 'timed_replies.mjs', ...Object.entries(serials).flat());

// A server that says what docs/wire.md says, in that spelling of the keys.
export async function start_documented_server(host, spelling) {
  const child = await start_helper(host, 'documented_server.mjs', spelling);
  return {
    requests: async () => (await call_json(addresses[host], 5000, 'GET', '/requests')).requests,
    stop: () => child.signal('SIGTERM'),
  };
}

// A name server that hears every question and answers none; `asked` counts them.
export async function start_silent_resolver() {
  const child = await start_helper('device', 'silent_resolver.mjs');
  return {
    asked: () => child.text.output.split('asked').length - 1,
    stop: () => child.signal('SIGTERM'),
  };
}

// Gives the host a hundred addresses more, for floods that come from many.
export const crowd = (host) => namespaces('crowd', network, host);

// The moments at which the program asks who is there. Its host hears its own broadcasts.
export async function hear_questions() {
  const moments = [];
  const socket = dgram.createSocket('udp4');
  socket.on('message', (message) => {
    if (message.toString() === 'elvantris-server?') moments.push(Date.now());
  });
  await new Promise((resolve, reject) => {
    socket.once('error', reject);
    socket.bind(1255, resolve);
  });
  return { moments, stop: () => socket.close() };
}

// One of a pairing's systems, as it is written into a show.
export const held_system = (host, serial, role, main_serial = '') => ({
  Serial: serial,
  WorkstationName: `The ${host}`,
  Address: addresses[host],
  Role: role,
  BackupForSerial: main_serial,
});

// One media server on the host of that name.
export class Server {
  static async start(host, serial, ...options) {
    const server = new Server();
    server.host = host;
    server.serial = serial;
    server.address = addresses[host];
    server.workstation = `The ${host}`;
    const words = ['--serial', serial, '--workstation', server.workstation, ...options];
    server.child = await start_on(host, path.join(simulator, 'simulated_server'), ...words);
    return server;
  }

  set(changes) {
    return call_json(this.address, 5999, 'POST', '/simulator', changes);
  }

  break_path(name, fault) {
    return this.set({ faults: { [`/Home/${name}`]: fault } });
  }

  report() {
    return call_json(this.address, 5999, 'GET', '/simulator');
  }

  async calls(name) {
    return (await this.report()).calls[`/Home/${name}`] ?? { count: 0 };
  }

  async commands() {
    return (await this.report()).commands.map(({ text }) => text);
  }

  // The event as another workstation would leave it in the server.
  async hold_pairing(systems, { enabled = true, shared = [3, 7] } = {}) {
    const { eventModel } = await this.report();
    const model = JSON.parse(eventModel);
    model.OperatorControl = {
      Enabled: enabled,
      Systems: systems,
      SharedFunctionIds: shared,
      ReplicationRevision: model.OperatorControl?.ReplicationRevision ?? 0,
    };
    const form = new URLSearchParams({ room: 'prime', data: JSON.stringify(model) }).toString();
    return call(this.address, 5000, 'POST', '/Home/UpdateEventModel', form);
  }

  async heal() {
    this.plug();
    const state = await this.set({ reset: true, forget: true });
    if (state.error) throw new Error(state.error);
  }

  plug() {
    namespaces('plug', network, this.host);
  }

  unplug() {
    namespaces('unplug', network, this.host);
  }

  // It need not look that address up any more.
  know_neighbour(address, mac) {
    const ip = (...words) => run_on(this.host, 'ip', ...words);
    const [, name] = ip('-o', '-4', 'route', 'get', address).match(/ dev (\S+)/);
    ip('neigh', 'replace', address, 'lladdr', mac, 'dev', name, 'nud', 'permanent');
  }

  stop() {
    this.plug();
    return this.child.signal('SIGTERM');
  }
}

// The outside device: what has reached it, in order.
export class Device {
  static async start(host = 'device') {
    const device = new Device();
    device.child = await start_on(host, path.join(simulator, 'outside_device'));
    return device;
  }

  async received() {
    return (await call_json(addresses.device, 7999, 'GET', '/received')).received;
  }

  forget() {
    return call_json(addresses.device, 7999, 'DELETE', '/received');
  }

  mode(mode) {
    return call_json(addresses.device, 7999, 'POST', '/mode', { mode });
  }

  stop() {
    return this.child.signal('SIGTERM');
  }
}
