// The decks of the tour: plugged in from the start, looked at and pressed through the control of
// the library that stands in for the USB bus.
import http from 'node:http';
import path from 'node:path';

import { addresses, ask } from './demo_hosts.mjs';

const port = 5998;
const control = `http://127.0.0.1:${port}`;
const calls = 'Home/OperatorDeck';

export const plugged = [
  { name: 'an XL', productId: 0x006c, serial: 'XL-1', path: '/dev/hidraw0', keys: 32 },
  { name: 'a Mini', productId: 0x0063, serial: 'MINI-1', path: '/dev/hidraw1', keys: 6 },
  { name: 'an Original', productId: 0x0060, serial: 'ORIGINAL-1', path: '/dev/hidraw2', keys: 15 },
];

export const deck_environment = {
  LD_LIBRARY_PATH: path.resolve('build/linux/virtual_decks'),
  ELVANTRIS_VIRTUAL_DECKS_PORT: String(port),
  ELVANTRIS_VIRTUAL_DECKS: JSON.stringify(
    plugged.map(({ productId, serial, path: device }) => ({ productId, serial, path: device })),
  ),
};

// The tour asks again for what the bus cannot give yet.
function bytes_of(url) {
  return new Promise((resolve, reject) => {
    http
      .get(url, { agent: false }, (response) => {
        const chunks = [];
        response.on('data', (chunk) => chunks.push(chunk));
        response.on('error', reject);
        response.on('end', () => resolve(Buffer.concat(chunks)));
      })
      .on('error', reject);
  });
}

const states = async (decode = '') => (await ask('GET', `${control}/state${decode}`)).decks;
const server_report = async (address) =>
  (await ask('GET', `http://${address}:5999/simulator`)).operatorDecks;

// What the server draws for each key of each deck now, by the deck's serial.
async function drawn_by(address) {
  const { sessions } = await server_report(address);
  if (sessions.length === 0) return [];
  const session = encodeURIComponent(sessions[0].sessionId);
  const url = `http://${address}:5000/${calls}State?sessionId=${session}&since=0`;
  return (await ask('GET', url)).decks;
}

// The Original alone gets its pictures converted; there the pixels are looked at in their place.
function same_picture(shown, image, mirrored) {
  if (!mirrored) return shown.equals(image);
  if (shown.length !== image.length) return false;
  const side = 72;
  const pixel = (bytes, x, y) => bytes.readUIntLE(54 + (y * side + x) * 3, 3);
  for (let y = 0; y < side; y += 1) {
    for (let x = 0; x < side; x += 1) {
      if (pixel(shown, side - 1 - x, y) !== pixel(image, x, side - 1 - y)) return false;
    }
  }
  return true;
}

async function deck_shows(deck, view) {
  for (const { index, data } of view.keys) {
    const url = `${control}/image?path=${encodeURIComponent(deck.path)}&key=${index}`;
    const shown = await bytes_of(url);
    const image = Buffer.from(data, 'base64');
    if (!same_picture(shown, image, deck.serial.startsWith('ORIGINAL'))) return false;
  }
  return view.keys.length === deck.keys;
}

export class Decks {
  constructor(hosts) {
    this.hosts = hosts;
    this.page = `${control}/?servers=${addresses.main},${addresses.backup}`;
    this.pages = new Map(plugged.map(({ serial }) => [serial, 1]));
    this.key_count = plugged.reduce((sum, { keys }) => sum + keys, 0);
  }

  async show_splash() {
    await this.hosts.until('the decks show the splash', async () => {
      const shown = await states('?decode');
      return (
        shown.length === plugged.length &&
        shown.every(({ keys }) => keys.every(({ images }) => images > 0)) &&
        shown.every(({ keys }) => keys.some(({ brightest }) => brightest > 60))
      );
    });
  }

  // On the pages that they were turned to. Returns when the last key was painted, by the wall clock in milliseconds.
  async painted_by(address) {
    await this.hosts.until(`the decks show what ${address} draws`, async () => {
      const views = await drawn_by(address);
      for (const deck of plugged) {
        const view = views.find(({ serial }) => serial === deck.serial);
        if (view?.page !== this.pages.get(deck.serial)) return false;
        if (!(await deck_shows(deck, view))) return false;
      }
      return true;
    });
    const painted = (await states()).flatMap(({ keys }) => keys.map((key) => key.paintedUs));
    return Math.max(...painted) / 1000;
  }

  // Presses and releases one key, and returns how long the press took to the last of the servers.
  async tap(servers) {
    const [{ serial, path: device }] = plugged;
    const request = { path: device, keys: [9] };
    const pressed = Date.now();
    await ask('POST', `${control}/press`, request);
    await ask('POST', `${control}/release`, request);
    let last = 0;
    for (const address of servers) {
      const event = await this.hosts.until(`${address} has the key`, async () => {
        const { keyEvents } = await server_report(address);
        const mine = keyEvents.filter((one) => one.serial === serial && one.index === 9);
        return mine.length >= 2 && mine[0].isDown && !mine[1].isDown && mine[0];
      });
      last = Math.max(last, event.timeUs / 1000);
    }
    return Math.max(0, Math.round(last - pressed));
  }

  // By the last key, on which the servers turn the page.
  async turn_page(servers) {
    const deck = plugged[1];
    const page = this.pages.get(deck.serial) + 1;
    this.pages.set(deck.serial, page);
    const request = { path: deck.path, keys: [deck.keys - 1] };
    await ask('POST', `${control}/press`, request);
    await ask('POST', `${control}/release`, request);
    for (const address of servers) {
      await this.hosts.until(`${address} has turned the page`, async () => {
        const view = (await drawn_by(address)).find(({ serial }) => serial === deck.serial);
        return view?.page === page;
      });
    }
    return { name: deck.name.replace(/^an? /, 'the '), page };
  }
}
