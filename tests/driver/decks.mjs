// The decks of the workstation: virtual ones, plugged in before the program starts.
import fs from 'node:fs';
import path from 'node:path';

import { difference, read_bmp } from './bmp.mjs';
import { deck_environment, DeckControl } from './deck_control.mjs';
import { answers, call_json } from './http.mjs';
import { until } from './waiting.mjs';

const port = 5998;

export const decks = new DeckControl(port);

export const xl = { productId: 0x006c, serial: 'XL-1', path: '/dev/xl' };
export const mini = { productId: 0x0063, serial: 'MINI-1', path: '/dev/mini' };
export const original = { productId: 0x0060, serial: 'ORIG-1', path: '/dev/original' };

export const environment_with = (plugged) => deck_environment(port, plugged);

export function plug_into(workstation, plugged, environment = {}) {
  workstation.journal = path.join(workstation.folder, 'decks.json');
  Object.assign(workstation.environment, {
    ...environment_with(plugged),
    ELVANTRIS_VIRTUAL_DECKS_JOURNAL: workstation.journal,
    ...environment,
  });
}

export const read_journal = (workstation) =>
  JSON.parse(fs.readFileSync(workstation.journal, 'utf8'));

// The program has loaded the library that answers here.
export const until_control = () => until('the bus answers', () => answers(port));

// At least so many more scans of the bus have gone by from begin to end.
export async function scans(count) {
  await until_control();
  const seen = async () => (await decks.get('state')).calls.hid_free_enumeration ?? 0;
  const before = await seen();
  await until(`${count} scans`, async () => (await seen()) >= before + count);
}

// The device has sent all that was queued.
export const until_read = (name) =>
  until('the report is read', async () => (await decks.deck(name)).waitingInputs === 0);

export async function tap(name, ...keys) {
  await decks.tell('press', { path: name, keys });
  await decks.tell('release', { path: name, keys });
}

// The keys that show anything at all.
export async function lit_keys(name) {
  const deck = await decks.deck(name, '?decode');
  return deck.keys.flatMap(({ brightest }, key) => (brightest > 0 ? [key] : []));
}

// How often each key was painted.
export const paintings = async (name) => (await decks.deck(name)).keys.map(({ images }) => images);

async function full_state(server) {
  const { sessions } = (await server.report()).operatorDecks;
  if (sessions.length === 0) return [];
  const { sessionId } = sessions[0];
  const target = `/Home/OperatorDeckState?sessionId=${encodeURIComponent(sessionId)}&since=0`;
  return (await call_json(server.address, 5000, 'GET', target)).decks;
}

async function shows(name, key, image) {
  const shown = await decks.image(name, key);
  if (name !== original.path) return shown.equals(image);
  return shown.length > 0 && difference(await decks.picture(name, key), read_bmp(image)) === 0;
}

// Every key of the deck shows what this server draws for it.
export async function shows_all_of(server, { serial, path: name }) {
  const view = (await full_state(server)).find((one) => one.serial === serial);
  if (!view || view.keys.length === 0) return false;
  for (const { index, data } of view.keys) {
    if (!(await shows(name, index, Buffer.from(data, 'base64')))) return false;
  }
  return true;
}

export const until_painted = (server, deck) =>
  until(`${deck.serial} shows ${server.serial}`, () => shows_all_of(server, deck));

export async function key_events(server) {
  const { keyEvents } = (await server.report()).operatorDecks;
  return keyEvents.map(({ serial, index, isDown }) => `${serial} ${index} ${isDown}`);
}

export async function page_of(server, serial) {
  const view = (await full_state(server)).find((one) => one.serial === serial);
  return view?.page;
}
