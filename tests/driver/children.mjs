// The processes that a test file has started; none of them outlives it.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

import { patience_ms } from './waiting.mjs';

const running = new Set();

process.on('exit', () => {
  for (const child of running) child.kill('SIGKILL');
});

export class Child {
  constructor(command, options) {
    this.text = { output: '', errors: '' };
    this.process = spawn(command[0], command.slice(1), {
      stdio: ['ignore', 'pipe', 'pipe'],
      ...options,
    });
    running.add(this.process);
    this.process.stdout.on('data', (chunk) => (this.text.output += chunk));
    this.process.stderr.on('data', (chunk) => (this.text.errors += chunk));
    // Not `close`: what a child leaves behind, such as Wine's desktop, may hold its streams open for
    // as long as it likes, and nobody is to wait for that.
    this.exited = new Promise((resolve) => {
      this.process.on('exit', (code, signal) => {
        running.delete(this.process);
        this.process.stdout.unref();
        this.process.stderr.unref();
        resolve({ code, signal });
      });
    });
  }

  get ended() {
    return this.process.exitCode !== null || this.process.signalCode !== null;
  }

  signal(name) {
    this.process.kill(name);
    return this.exited;
  }
}

// A program that ends by itself: its code, and what it has said. Through files: a pipe may hold
// something yet when the process has gone, and Wine's desktop, which the first program starts, would
// hold it open for ever.
export async function run_to_its_end(command, { limit_ms = patience_ms, ...options } = {}) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'elvantris-run-'));
  const names = ['output', 'errors'].map((name) => path.join(folder, name));
  const files = names.map((name) => fs.openSync(name, 'w'));
  try {
    const child = spawn(command[0], command.slice(1), {
      ...options,
      stdio: ['ignore', ...files],
      timeout: limit_ms,
      killSignal: 'SIGKILL',
    });
    const [code, signal] = await once(child, 'exit');
    if (signal) throw new Error(`${command.join(' ')} was ended by ${signal}`);
    const [output, errors] = names.map((name) =>
      fs.readFileSync(name, 'utf8').replaceAll('\r', ''),
    );
    return { code, output, errors };
  } finally {
    for (const file of files) fs.closeSync(file);
    fs.rmSync(folder, { recursive: true });
  }
}
