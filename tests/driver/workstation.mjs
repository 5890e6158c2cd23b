// The workstation: a folder of its own for everything that the program reads and writes, and the
// program itself, on Linux or under Wine.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

import { Child, run_to_its_end } from './children.mjs';
import { program, windows } from './environment.mjs';
import { answers, call } from './http.mjs';
import { until } from './waiting.mjs';

// As the program sees a path of ours.
export const seen_by_program = (name) => (windows ? `Z:${name.replaceAll('/', '\\')}` : name);

// Wine takes no folder of the user from outside; its own are in its prefix.
export const default_data_folder = () =>
  path.join(process.env.WINEPREFIX, 'drive_c', 'users', os.userInfo().username, 'AppData', 'Local');

// Whether any socket of this network listens there, also one that takes no connection any more.
function is_listened_at(port) {
  const address = `0100007F:${port.toString(16).toUpperCase().padStart(4, '0')}`;
  const sockets = fs.readFileSync('/proc/net/tcp', 'utf8').split('\n');
  return sockets.some((line) => line.includes(`: ${address} 00000000:0000 0A `));
}

// Without anything that a killed program has left in the old one. Ends what runs in it.
export function renew_wine() {
  for (const act of ['-k', '-w', '-p']) execFileSync('wineserver', [act], { stdio: 'ignore' });
}

// Under Wine the ports belong to a process of its own, which learns of a program's end a little
// later. Now and then it keeps the sockets of a killed program for ever, as no Windows does; then
// nothing helps but a new one.
async function until_wine_lets_go() {
  const let_go = () => !is_listened_at(5251);
  try {
    await until('Wine lets the ports go', () => let_go() && !is_listened_at(5270), 15000);
  } catch {
    renew_wine();
    await until('the new Wine has none', let_go);
  }
}

// As the system calls this computer.
export async function machine_name() {
  if (!windows) return os.hostname().split('.')[0].slice(0, 15);
  return (await run_to_its_end(['wine', 'cmd', '/c', 'echo %COMPUTERNAME%'])).output.trim();
}

export class Workstation {
  constructor() {
    this.folder = fs.mkdtempSync(path.join(os.tmpdir(), 'elvantris-e2e-'));
    this.use_folder(path.join(this.folder, 'data'));
    this.opened_file = path.join(this.folder, 'opened');
    const tools = path.join(this.folder, 'bin');
    for (const name of [path.dirname(this.config), tools, path.join(this.folder, 'session')]) {
      fs.mkdirSync(name);
    }
    // Stands in for the desktop; the Windows program comes to it through Wine's own browser entry.
    fs.writeFileSync(
      path.join(tools, 'xdg-open'),
      `#!/bin/sh\nprintf '%s\\n' "$*" >> '${this.opened_file}'\n`,
      { mode: 0o755 },
    );
    this.environment = {
      PATH: `${tools}:${process.env.PATH}`,
      HOME: this.folder,
      XDG_RUNTIME_DIR: path.join(this.folder, 'session'),
      ...(windows && {
        WINEPREFIX: process.env.WINEPREFIX,
        WINEDEBUG: process.env.WINEDEBUG ?? '-all',
        WINEARCH: 'win64',
      }),
    };
  }

  use_folder(folder) {
    this.config = path.join(folder, 'operator-control.json');
    this.state = `${this.config}.protection.json`;
    this.alert_log = `${this.state}.alerts.jsonl`;
    this.log_file = path.join(folder, 'operator-control.log');
  }

  write_config(content) {
    fs.writeFileSync(this.config, typeof content === 'object' ? JSON.stringify(content) : content);
  }

  write_state(content) {
    fs.writeFileSync(this.state, typeof content === 'object' ? JSON.stringify(content) : content);
  }

  // `under` is a program that becomes ours, such as one that sets its limits first.
  command(args, { environment = {}, cwd = this.folder, under = [] } = {}) {
    const env = { ...this.environment, ...environment };
    for (const name of Object.keys(env)) if (env[name] === undefined) delete env[name];
    return [[...under, ...(windows ? ['wine'] : []), program, ...args], { cwd, env }];
  }

  // The program with exactly these arguments.
  launch(args, options) {
    this.program = new Child(...this.command(args, options));
    return this.program;
  }

  with_config(...args) {
    return [...args, '--config', seen_by_program(this.config)];
  }

  // A program that has to end by itself.
  async run(args, options) {
    const child = new Child(...this.command(args, options));
    const { code, signal } = await until('the program ends', () => child.ended && child.exited);
    return { code, signal, ...child.text };
  }

  // The program with the workstation's own files, up to the moment when its API answers.
  async start(...options) {
    if (options.length === 0) options.push('--background');
    return this.await_api(this.launch(this.with_config(...options)));
  }

  async await_api(started) {
    await until('the API answers', async () => {
      if (started.ended) {
        throw new Error(`ended with ${started.process.exitCode}: ${started.text.errors}`);
      }
      return (await answers(5251)) && (await answers_status());
    });
    // No test ends a program with another code than 0; who looks for a fault wants to know of it.
    started.exited.then(({ code }) => {
      if (code) console.error(`the program ended with ${code}: ${started.text.errors}`);
    });
    return started;
  }

  // On Linux by the signal that a session's end sends. The Windows program has no such thing.
  async stop() {
    if (windows) return this.kill();
    assert.deepEqual(await this.program.signal('SIGTERM'), { code: 0, signal: null });
  }

  async kill() {
    await this.program.signal('SIGKILL');
    if (windows) await until_wine_lets_go();
    await until('5251 is free', async () => !(await answers(5251)));
  }

  log() {
    return fs.existsSync(this.log_file) ? fs.readFileSync(this.log_file, 'utf8') : '';
  }

  log_lines(beginning = '') {
    const lines = this.log().split(/\r?\n/);
    return lines.filter((line) => line && line.startsWith(beginning));
  }

  alert_log_lines() {
    const lines = fs.readFileSync(this.alert_log, 'utf8').trimEnd().split('\n');
    return lines.map((line) => JSON.parse(line));
  }

  opened() {
    if (!fs.existsSync(this.opened_file)) return [];
    // The file is there a moment before the line in it.
    return fs.readFileSync(this.opened_file, 'utf8').split('\n').filter(Boolean);
  }

  until_opened(count) {
    return until(`${count} opened`, () => this.opened().length >= count && this.opened());
  }

  saved_config() {
    return JSON.parse(fs.readFileSync(this.config, 'utf8'));
  }

  saved_state() {
    return JSON.parse(fs.readFileSync(this.state, 'utf8'));
  }

  async remove() {
    if (this.program && !this.program.ended) await this.kill();
    fs.rmSync(this.folder, { recursive: true, force: true });
  }
}

async function answers_status() {
  try {
    return (await call('127.0.0.1', 5251, 'GET', '/api/status')).status === 200;
  } catch {
    return false;
  }
}
