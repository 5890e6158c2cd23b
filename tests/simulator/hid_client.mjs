// The virtual decks, used through the calls of the library by a small program.
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import readline from 'node:readline';

import { deck_environment, DeckControl } from '../driver/deck_control.mjs';
import { simulator } from '../driver/environment.mjs';

// Below the ports that the system hands out, so that no other connection gets this one before the
// control opens it.
function free_port() {
  return new Promise((resolve) => {
    const attempt = () => {
      const port = 20000 + Math.floor(Math.random() * 10000);
      const server = net.createServer();
      server.once('error', attempt);
      server.listen(port, '127.0.0.1', () => server.close(() => resolve(port)));
    };
    attempt();
  });
}

export class HidClient {
  static async start(decks, environment = {}) {
    const client = new HidClient();
    const port = await free_port();
    client.control = new DeckControl(port);
    client.folder = fs.mkdtempSync(path.join(os.tmpdir(), 'elvantris-decks-'));
    client.journal = path.join(client.folder, 'journal.json');
    client.process = spawn(path.join(simulator, 'hid_client'), {
      stdio: ['pipe', 'pipe', 'inherit'],
      env: {
        ...process.env,
        ...deck_environment(port, decks),
        ELVANTRIS_VIRTUAL_DECKS_JOURNAL: client.journal,
        ...environment,
      },
    });
    client.exited = new Promise((resolve) => client.process.on('exit', resolve));
    client.lines = readline
      .createInterface({ input: client.process.stdout })
      [Symbol.asyncIterator]();
    return client;
  }

  async call(name, details = {}) {
    this.process.stdin.write(`${JSON.stringify({ call: name, ...details })}\n`);
    const { value, done } = await this.lines.next();
    if (done) throw new Error(`the client has ended in ${name}`);
    return JSON.parse(value).result;
  }

  enumerate(vendor = 0x0fd9, product = 0) {
    return this.call('hid_enumerate', { vendor, product });
  }

  open(name) {
    return this.call('hid_open_path', { path: name });
  }

  read(device, limit = 0) {
    return this.call('hid_read_timeout', { device, limit });
  }

  write(device, report) {
    return this.call('hid_write', { device, bytes: Buffer.from(report).toString('hex') });
  }

  feature(device, report) {
    return this.call('hid_send_feature_report', {
      device,
      bytes: Buffer.from(report).toString('hex'),
    });
  }

  async write_all(device, reports) {
    for (const report of reports) await this.write(device, report);
  }

  // Its last words, once it has closed the library.
  async end() {
    await this.call('hid_exit');
    const journal = JSON.parse(fs.readFileSync(this.journal, 'utf8'));
    await this.stop();
    return journal;
  }

  async stop() {
    this.process.stdin.end();
    await this.exited;
    fs.rmSync(this.folder, { recursive: true, force: true });
  }
}

// The reports that carry one image to a key, by the way of each kind of deck.
export const reports_of = {
  jpeg(key, image) {
    const reports = [];
    for (let at = 0; at < image.length || at === 0; at += 1016) {
      const part = image.subarray(at, at + 1016);
      const report = Buffer.alloc(1024);
      report.set([2, 7, key, at + 1016 >= image.length ? 1 : 0]);
      report.writeUInt16LE(part.length, 4);
      report.writeUInt16LE(reports.length, 6);
      part.copy(report, 8);
      reports.push(report);
    }
    return reports;
  },

  mini(key, image) {
    const reports = [];
    for (let at = 0; at < image.length; at += 1008) {
      const report = Buffer.alloc(1024);
      report.set([2, 1, reports.length, 0, at + 1008 >= image.length ? 1 : 0, key + 1]);
      image.copy(report, 16, at, at + 1008);
      reports.push(report);
    }
    return reports;
  },

  original(key, image) {
    return [0, 1].map((number) => {
      const report = Buffer.alloc(8191);
      report.set([2, 1, number + 1, 0, number, key + 5 - 2 * (key % 5)]);
      image.copy(report, 16, number * 7803, (number + 1) * 7803);
      return report;
    });
  },
};
