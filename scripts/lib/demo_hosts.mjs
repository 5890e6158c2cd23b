// The hosts of the tour's network: programs started on them, questions asked of them, cables.
// To be used inside the workstation's namespace, where the program's loopback ports are, and in the
// checkout's folder.
import { execFile, spawn } from 'node:child_process';
import fs from 'node:fs';
import http from 'node:http';
import path from 'node:path';
import { promisify } from 'node:util';

export const addresses = { main: '10.77.0.11', backup: '10.77.0.12', device: '10.77.0.20' };

const script = 'scripts/lib/namespaces.sh';
// For a machine that is busy with other things as well; a step that succeeds ends its wait at once.
const patience_ms = 60_000;
const pause_ms = 5;

class Interrupted extends Error {}

// What may pass before a step's time is over; anything else ends the tour at once.
class NoAnswer extends Error {}

export function ask(method, url, body) {
  return new Promise((resolve, reject) => {
    const no_answer = (error) => reject(new NoAnswer(`${url}: ${error.message}`));
    const options = { method, agent: false, timeout: patience_ms };
    const request = http.request(url, options, (response) => {
      const chunks = [];
      response.on('data', (chunk) => chunks.push(chunk));
      response.on('error', no_answer);
      response.on('end', () => {
        try {
          resolve(JSON.parse(Buffer.concat(chunks)));
        } catch {
          reject(new Error(`${url}: the answer is no JSON (status ${response.statusCode})`));
        }
      });
    });
    request.on('timeout', () => request.destroy(new Error('no answer')));
    request.on('error', no_answer);
    request.end(body === undefined ? undefined : JSON.stringify(body));
  });
}

export class Hosts {
  constructor(prefix, folder) {
    this.prefix = prefix;
    this.folder = folder;
    this.interrupted = false;
    this.unexpected_end = '';
    for (const signal of ['SIGINT', 'SIGTERM']) process.on(signal, () => (this.interrupted = true));
  }

  // Keeps what the program prints in `<name>.txt`; `ended` gives its exit code or signal.
  start(host, name, command, environment = {}) {
    const output_path = path.join(this.folder, `${name}.txt`);
    const output = fs.openSync(output_path, 'w');
    // Detached, so that Ctrl-C reaches only the tour, which ends the programs in its own order.
    const child = spawn(script, ['run', this.prefix, host, ...command], {
      stdio: ['ignore', output, output],
      detached: true,
      env: { ...process.env, ...environment },
    });
    fs.closeSync(output);
    const program = { child, stopping: false };
    program.ended = new Promise((resolve) => {
      child.once('exit', (code, signal) => {
        const result = signal ?? code;
        if (!program.stopping) {
          this.unexpected_end = `${name} ended by itself with ${result}, see ${output_path}`;
        }
        resolve(result);
      });
    });
    return program;
  }

  async start_simulated(host, ...command) {
    this.start(host, host, command);
    await this.until(`${host} is ready`, () => {
      return fs.readFileSync(path.join(this.folder, `${host}.txt`), 'utf8').includes('ready\n');
    });
  }

  cable(act, host) {
    return promisify(execFile)(script, [act, this.prefix, host]);
  }

  // Asks again until the answer is not false, and returns it.
  async until(what, question) {
    const end = performance.now() + patience_ms;
    let why = '';
    for (;;) {
      if (this.interrupted) throw new Interrupted();
      if (this.unexpected_end) throw new Error(this.unexpected_end);
      try {
        const answer = await question();
        if (answer) return answer;
        why = '';
      } catch (error) {
        if (!(error instanceof NoAnswer)) throw error;
        why = ` (${error.message})`;
      }
      if (performance.now() > end) {
        throw new Error(`not within ${patience_ms / 1000} s: ${what}${why}`);
      }
      await new Promise((resolve) => setTimeout(resolve, pause_ms));
    }
  }
}
