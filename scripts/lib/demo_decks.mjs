// The decks of the tour: plugged in from the start, looked at and pressed through the control of
// the library that stands in for the USB bus.
import * as bus from '../../tests/driver/decks.mjs';
import { addresses } from '../../tests/driver/environment.mjs';

export const plugged = [
  { name: 'an XL', keys: 32, ...bus.xl },
  { name: 'a Mini', keys: 6, ...bus.mini },
  { name: 'an Original', keys: 15, ...bus.original },
];

export const deck_environment = bus.environment_with([bus.xl, bus.mini, bus.original]);

const states = async (decode = '') => (await bus.decks.get(`state${decode}`)).decks;

export class Decks {
  constructor(watch) {
    this.watch = watch;
    this.page = `${bus.decks.url}/?servers=${addresses.main},${addresses.backup}`;
    this.pages = new Map(plugged.map(({ serial }) => [serial, 1]));
    this.key_count = plugged.reduce((sum, { keys }) => sum + keys, 0);
  }

  async show_splash() {
    await this.watch.until('the decks show the splash', async () => {
      const shown = await states('?decode');
      return (
        shown.length === plugged.length &&
        shown.every(({ keys }) => keys.every(({ images }) => images > 0)) &&
        shown.every(({ keys }) => keys.some(({ brightest }) => brightest > 60))
      );
    });
  }

  // On the pages that they were turned to. Returns when the last key was painted, by the wall clock
  // in milliseconds.
  async painted_by(server) {
    await this.watch.until(`the decks show what ${server.serial} draws`, async () => {
      for (const deck of plugged) {
        const page = await bus.page_of(server, deck.serial);
        if (page !== this.pages.get(deck.serial)) return false;
        if (!(await bus.shows_all_of(server, deck))) return false;
      }
      return true;
    });
    const painted = (await states()).flatMap(({ keys }) => keys.map((key) => key.paintedUs));
    return Math.max(...painted) / 1000;
  }

  // Presses and releases one key, and returns how long the press took to the last of the servers.
  async tap(servers) {
    const [{ serial, path: device }] = plugged;
    const pressed = Date.now();
    await bus.tap(device, 9);
    let last = 0;
    for (const server of servers) {
      const event = await this.watch.until(`${server.serial} has the key`, async () => {
        const { keyEvents } = (await server.report()).operatorDecks;
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
    await bus.tap(deck.path, deck.keys - 1);
    for (const server of servers) {
      await this.watch.until(`${server.serial} has turned the page`, async () => {
        return (await bus.page_of(server, deck.serial)) === page;
      });
    }
    return { name: deck.name.replace(/^an? /, 'the '), page };
  }
}
