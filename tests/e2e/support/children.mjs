// The processes that a test file has started; none of them outlives it.
import { spawn } from 'node:child_process';

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
