// The virtual decks, used through the calls of the library by a small program, and by their
// control over HTTP.
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import readline from 'node:readline';

import { build, simulator } from '../e2e/support/environment.mjs';

export const library_folder = path.join(build, 'virtual_decks');

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

// The control of decks at an address.
export class DeckControl {
  constructor(port) {
    this.url = `http://127.0.0.1:${port}`;
  }

  async tell(act, request = {}) {
    const reply = await fetch(`${this.url}/${act}`, {
      method: 'POST',
      body: JSON.stringify(request),
    });
    const answer = await reply.json();
    if (reply.status !== 200) throw new Error(answer.error);
    return answer;
  }

  async get(target) {
    const reply = await fetch(`${this.url}/${target}`);
    return reply.json();
  }

  async picture(deck, key) {
    const which = key === undefined ? '' : `&key=${key}`;
    const reply = await fetch(`${this.url}/picture?path=${encodeURIComponent(deck)}${which}`);
    if (reply.status !== 200) throw new Error((await reply.json()).error);
    return read_bmp(Buffer.from(await reply.arrayBuffer()));
  }

  deck(name, decode = '') {
    return this.get(`state${decode}`).then(({ decks }) => decks.find((one) => one.path === name));
  }
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
        LD_LIBRARY_PATH: library_folder,
        ELVANTRIS_VIRTUAL_DECKS: JSON.stringify(decks),
        ELVANTRIS_VIRTUAL_DECKS_PORT: String(port),
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

// A picture as {width, height, at(x, y)}, the latter giving [red, green, blue].
export function read_bmp(bytes) {
  const offset = bytes.readUInt32LE(10);
  const width = bytes.readInt32LE(18);
  const height = bytes.readInt32LE(22);
  const stride = Math.ceil((width * 3) / 4) * 4;
  return {
    width,
    height,
    at(x, y) {
      const place = offset + (height - 1 - y) * stride + x * 3;
      return [bytes[place + 2], bytes[place + 1], bytes[place]];
    },
  };
}

export function make_bmp(width, height, at) {
  const stride = Math.ceil((width * 3) / 4) * 4;
  const bytes = Buffer.alloc(54 + stride * height);
  bytes.write('BM');
  bytes.writeUInt32LE(bytes.length, 2);
  bytes.writeUInt32LE(54, 10);
  bytes.writeUInt32LE(40, 14);
  bytes.writeInt32LE(width, 18);
  bytes.writeInt32LE(height, 22);
  bytes.writeUInt16LE(1, 26);
  bytes.writeUInt16LE(24, 28);
  bytes.writeUInt32LE(stride * height, 34);
  for (let y = 0; y < height; y += 1) {
    for (let x = 0; x < width; x += 1) {
      const [red, green, blue] = at(x, y);
      bytes.set([blue, green, red], 54 + (height - 1 - y) * stride + x * 3);
    }
  }
  return bytes;
}

// The largest difference of two pictures in any channel.
export function difference(one, other, step = 1) {
  if (one.width !== other.width || one.height !== other.height) return Infinity;
  let largest = 0;
  for (let y = 0; y < one.height; y += step) {
    for (let x = 0; x < one.width; x += step) {
      const [a, b] = [one.at(x, y), other.at(x, y)];
      a.forEach((value, i) => (largest = Math.max(largest, Math.abs(value - b[i]))));
    }
  }
  return largest;
}
