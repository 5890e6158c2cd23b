// The deck models that the program knows, as the rows of its table say.
import fs from 'node:fs';

const row = new RegExp(
  String.raw`^ *\{0x([0-9A-F]{4}), "([^"]+)", family_(\w+), ` +
    String.raw`(\d+), (\d+), (\d+), "(\w+)", (\d+), &(\w+)\},$`,
  'gm',
);
const table = fs.readFileSync(new URL('../../src/decks/deck_models.cpp', import.meta.url), 'utf8');

export const known_models = [...table.matchAll(row)].map(
  ([, id, name, family, keys, width, height, format, rotation, splash]) => ({
    id,
    name,
    family,
    keys: Number(keys),
    width: Number(width),
    height: Number(height),
    format,
    rotation: Number(rotation),
    splash,
  }),
);
