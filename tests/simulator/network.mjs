// One network of namespaces for the length of a test file, with the real programs in it.
import { execFileSync, spawn } from 'node:child_process';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const here = path.dirname(fileURLToPath(import.meta.url));
const root = path.join(here, '..', '..');
const script = path.join(root, 'scripts', 'lib', 'namespaces.sh');
const programs = path.join(root, process.env.ELVANTRIS_BUILD ?? 'build/linux', 'simulator');

export const addresses = {
  workstation: '10.77.0.10',
  main: '10.77.0.11',
  backup: '10.77.0.12',
  spare: '10.77.0.13',
  device: '10.77.0.20',
};

// For a machine that is busy with other things as well. What comes sooner ends the wait at once.
export const patience_ms = 60000;

// Asks again after each pause until the answer satisfies, which it has to within `limitMs`.
export async function until(what, ask, limitMs = patience_ms, pauseMs = 5) {
  const end = Date.now() + limitMs;
  for (;;) {
    const answer = await ask();
    if (answer) return answer;
    if (Date.now() > end) throw new Error(`did not happen: ${what}`);
    await new Promise((resolve) => setTimeout(resolve, pauseMs));
  }
}

export class Network {
  constructor(name) {
    // Two runs at once, of two people or two checkouts, do not meet.
    this.prefix = `${name}-${process.pid}`;
    this.children = [];
    this.agentCalls = new Map();
  }

  namespaces(...words) {
    return execFileSync(script, words, { encoding: 'utf8', stdio: ['ignore', 'pipe', 'pipe'] });
  }

  async up() {
    this.namespaces('up', this.prefix);
    this.agent = this.spawn(
      'workstation',
      [process.execPath, path.join(here, 'host_agent.mjs')],
      ['ignore', 'inherit', 'inherit', 'ipc'],
    );
    await new Promise((resolve) => this.agent.once('message', resolve));
    this.agent.on('message', ({ id, result, error }) => {
      const call = this.agentCalls.get(id);
      this.agentCalls.delete(id);
      if (error) call.reject(new Error(error));
      else call.resolve(result);
    });
  }

  down() {
    this.namespaces('down', this.prefix);
  }

  plug(host) {
    this.namespaces('plug', this.prefix, host);
  }

  unplug(host) {
    this.namespaces('unplug', this.prefix, host);
  }

  spawn(host, command, stdio) {
    return spawn(script, ['run', this.prefix, host, ...command], { stdio });
  }

  // A program of the simulator; `first` is its first line, `exited` its end.
  launch(host, program, ...options) {
    const child = this.spawn(
      host,
      [path.join(programs, program), ...options],
      ['ignore', 'pipe', 'pipe'],
    );
    const text = { output: '', errors: '' };
    child.stdout.on('data', (chunk) => (text.output += chunk));
    child.stderr.on('data', (chunk) => (text.errors += chunk));
    const exited = new Promise((resolve) => {
      child.on('close', (code, signal) => resolve({ code, signal, ...text }));
    });
    return { child, text, exited };
  }

  async start(host, program, ...options) {
    const launched = this.launch(host, program, ...options);
    await until(`${program} is ready`, () => {
      if (launched.child.exitCode !== null) throw new Error(launched.text.errors);
      return launched.text.output === 'ready\n';
    });
    return launched;
  }

  ask(act, details) {
    const id = this.agentCalls.size + Math.random();
    return new Promise((resolve, reject) => {
      this.agentCalls.set(id, { resolve, reject });
      this.agent.send({ id, act, ...details });
    });
  }

  // `limitMs` counts from the moment at which the request has been written; `connectMs` bounds
  // what comes before.
  async exchange(host, port, request, limitMs = patience_ms, options = {}) {
    const result = await this.ask('exchange', {
      host: addresses[host],
      port,
      request: Buffer.from(request).toString('base64'),
      limitMs,
      connectMs: patience_ms,
      ...options,
    });
    return { ...result, text: Buffer.from(result.bytes, 'base64').toString() };
  }

  // Writes, says that this was all, and waits for the other end's goodbye.
  send(host, port, bytes) {
    return this.exchange(host, port, bytes, patience_ms, { finish: true });
  }

  datagram(host, port, bytes, count = 0, limitMs = patience_ms) {
    return this.ask('datagram', {
      host: addresses[host] ?? host,
      port,
      bytes: Buffer.from(bytes).toString('base64'),
      count,
      limitMs,
    });
  }

  async http(host, port, method, target, body = '', limitMs = patience_ms, options = {}) {
    const length = body ? `Content-Length: ${Buffer.byteLength(body)}\r\n` : '';
    const head = `${method} ${target} HTTP/1.1\r\nHost: ${host}\r\nConnection: close\r\n`;
    const request = `${head}${length}\r\n${body}`;
    const answer = await this.exchange(host, port, request, limitMs, options);
    const end = answer.text.indexOf('\r\n\r\n');
    const status = Number(answer.text.split(' ', 2)[1] ?? 0);
    return {
      ...answer,
      status,
      head: answer.text.slice(0, end + 4),
      body: end < 0 ? '' : answer.text.slice(end + 4),
    };
  }

  async json(host, port, method, target, body) {
    const text = body === undefined ? '' : JSON.stringify(body);
    const answer = await this.http(host, port, method, target, text);
    return { status: answer.status, ...JSON.parse(answer.body) };
  }

  get(host, target, limitMs, options) {
    return this.http(host, 5000, 'GET', target, '', limitMs, options);
  }

  async read(host, target) {
    return JSON.parse((await this.get(host, target)).body);
  }

  report(host) {
    return this.json(host, 5999, 'GET', '/simulator');
  }

  switch(host, changes) {
    return this.json(host, 5999, 'POST', '/simulator', changes);
  }

  // Writes a pairing into the server's event model as a workstation does.
  async write_pairing(host, systems, enabled = true) {
    const model = await this.read(host, '/Home/GetEventModel');
    model.OperatorControl = {
      Enabled: enabled,
      Systems: systems,
      SharedFunctionIds: [3, 7],
      ReplicationRevision: model.OperatorControl?.ReplicationRevision ?? 0,
    };
    const form = new URLSearchParams({ room: 'prime', data: JSON.stringify(model) });
    return this.http(host, 5000, 'POST', '/Home/UpdateEventModel', form.toString());
  }
}

export function system(host, serial, role, main = '') {
  return {
    Serial: serial,
    WorkstationName: `The ${host}`,
    Address: addresses[host],
    Role: role,
    BackupForSerial: main,
  };
}
