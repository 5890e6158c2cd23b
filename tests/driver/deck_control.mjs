// The decks without hardware: a library in the place of the USB bus, and its control over HTTP.
import path from 'node:path';

import { read_bmp } from './bmp.mjs';
import { build } from './environment.mjs';
import { call, call_bytes } from './http.mjs';

export const library_folder = path.join(build, 'virtual_decks');

// Of a program that is to find these decks.
export const deck_environment = (port, decks) => ({
  LD_LIBRARY_PATH: library_folder,
  ELVANTRIS_VIRTUAL_DECKS: JSON.stringify(decks),
  ELVANTRIS_VIRTUAL_DECKS_PORT: String(port),
});

export class DeckControl {
  constructor(port) {
    this.port = port;
    this.url = `http://127.0.0.1:${port}`;
  }

  async tell(act, request = {}) {
    const { status, body } = await call('127.0.0.1', this.port, 'POST', `/${act}`, request);
    const answer = JSON.parse(body);
    if (status !== 200) throw new Error(answer.error);
    return answer;
  }

  async get(target) {
    return JSON.parse((await call('127.0.0.1', this.port, 'GET', `/${target}`)).body);
  }

  async bytes_of(what, deck, key) {
    const which = key === undefined ? '' : `&key=${key}`;
    const target = `/${what}?path=${encodeURIComponent(deck)}${which}`;
    const { status, body } = await call_bytes('127.0.0.1', this.port, 'GET', target);
    if (status !== 200) throw new Error(JSON.parse(body).error);
    return body;
  }

  // What a key was given, as the program sent it.
  image(deck, key) {
    return this.bytes_of('image', deck, key);
  }

  // What it shows of that; of the whole deck without a key.
  async picture(deck, key) {
    return read_bmp(await this.bytes_of('picture', deck, key));
  }

  deck(name, decode = '') {
    return this.get(`state${decode}`).then(({ decks }) => decks.find((one) => one.path === name));
  }
}
