// The committed splash tiles, decoded: the blackness of each, and the picture that they make
// together. The pictures are left in build/test/splash/ for a person to look at.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

import { write_png } from '../../scripts/lib/png.mjs';

const root = path.join(path.dirname(fileURLToPath(import.meta.url)), '..', '..');
const tiles = path.join(root, 'src', 'decks', 'splash');
const pictures = path.join(root, 'build', 'test', 'splash');

const five_by_three = { columns: 5, rows: 3, logo: [2, 6, 7, 8, 11, 12, 13] };
const eight_by_four = {
  columns: 8,
  rows: 4,
  logo: [3, 4, 10, 11, 12, 13, 18, 19, 20, 21, 25, 26, 27, 28, 29, 30],
};
const three_by_two = { columns: 3, rows: 2, logo: [1, 3, 4, 5] };
const four_by_two = { columns: 4, rows: 2, logo: [1, 2, 4, 5, 6, 7] };
const sets = {
  splash_15_jpeg: { ...five_by_three, size: 72, format: 'jpg', rotation: 180 },
  splash_32_jpeg: { ...eight_by_four, size: 96, format: 'jpg', rotation: 180 },
  splash_6_bmp: { ...three_by_two, size: 80, format: 'bmp', rotation: 90 },
  splash_8_jpeg_120: { ...four_by_two, size: 120, format: 'jpg', rotation: 0 },
  splash_8_jpeg_96: { ...four_by_two, size: 96, format: 'jpg', rotation: 180 },
  splash_15_original: { ...five_by_three, size: 72, format: 'bmp', rotation: 0 },
};

const numbers_to = (count) => Array.from({ length: count }, (_, number) => number);
const keys_of = (set) => numbers_to(set.columns * set.rows);

function read_tile(name, key) {
  const file = `${String(key).padStart(2, '0')}.${sets[name].format}`;
  return fs.readFileSync(path.join(tiles, name, file));
}

function jpeg_pixels(file, { size }) {
  const image = execFileSync('djpeg', ['-pnm'], { input: file });
  const header = Buffer.from(`P6\n${size} ${size}\n255\n`);
  assert.deepEqual(image.subarray(0, header.length), header);
  return image.subarray(header.length);
}

function bmp_pixels(file, { size }) {
  const pixels = Buffer.alloc(size * size * 3);
  for (let y = 0; y < size; y++) {
    for (let x = 0; x < size; x++) {
      const from = 54 + ((size - 1 - y) * size + x) * 3;
      const to = (y * size + x) * 3;
      for (let part = 0; part < 3; part++) pixels[to + part] = file[from + 2 - part];
    }
  }
  return pixels;
}

const pixels_of = { jpg: jpeg_pixels, bmp: bmp_pixels };

// Where a pixel of the upright picture lies in a tile that was turned clockwise.
function turned({ rotation, size }, x, y) {
  if (rotation === 0) return [x, y];
  if (rotation === 90) return [size - 1 - y, x];
  return [size - 1 - x, size - 1 - y];
}

// The whole grid with the frame between its keys, which is transparent.
function assemble(set, decoded) {
  const pitch = Math.round(set.size * 1.2);
  const width = (set.columns - 1) * pitch + set.size;
  const height = (set.rows - 1) * pitch + set.size;
  const pixels = Buffer.alloc(width * height * 4);
  for (const key of keys_of(set)) {
    const left = (key % set.columns) * pitch;
    const top = Math.floor(key / set.columns) * pitch;
    for (let y = 0; y < set.size; y++) {
      for (let x = 0; x < set.size; x++) {
        const [from_x, from_y] = turned(set, x, y);
        const from = (from_y * set.size + from_x) * 3;
        const to = ((top + y) * width + left + x) * 4;
        decoded[key].copy(pixels, to, from, from + 3);
        pixels[to + 3] = 255;
      }
    }
  }
  return { width, height, pixels };
}

const is_bright = (pixels, at) => pixels[at] + pixels[at + 1] + pixels[at + 2] > 150;

function bright_box({ width, height, pixels }) {
  const box = { left: width, top: height, right: 0, bottom: 0 };
  for (let y = 0; y < height; y++) {
    for (let x = 0; x < width; x++) {
      if (!is_bright(pixels, (y * width + x) * 4)) continue;
      box.left = Math.min(box.left, x);
      box.right = Math.max(box.right, x + 1);
      box.top = Math.min(box.top, y);
      box.bottom = Math.max(box.bottom, y + 1);
    }
  }
  return box;
}

// The motif as a coarse mosaic: the mean colour of each cell, none where the frame covers it.
function mosaic(picture) {
  const { left, top, right, bottom } = bright_box(picture);
  const cells = 16;
  const sums = numbers_to(cells * cells).map(() => ({ all: 0, seen: 0, colour: [0, 0, 0] }));
  for (let y = top; y < bottom; y++) {
    for (let x = left; x < right; x++) {
      const row = Math.floor(((y - top) * cells) / (bottom - top));
      const column = Math.floor(((x - left) * cells) / (right - left));
      const cell = sums[row * cells + column];
      const at = (y * picture.width + x) * 4;
      cell.all++;
      if (picture.pixels[at + 3] === 0) continue;
      cell.seen++;
      cell.colour = cell.colour.map((sum, part) => sum + picture.pixels[at + part]);
    }
  }
  return sums.map(({ all, seen, colour }) =>
    seen > 0.8 * all ? colour.map((sum) => sum / seen) : null,
  );
}

// The mean difference of the colours in the cells that both show, from 0 to 255.
function difference(one, other) {
  const both = numbers_to(one.length).filter((index) => one[index] && other[index]);
  assert.ok(both.length > one.length / 4, `${both.length} cells in common`);
  const parts = both.flatMap((index) =>
    one[index].map((value, part) => Math.abs(value - other[index][part])),
  );
  return parts.reduce((sum, value) => sum + value, 0) / parts.length;
}

function mirrored({ width, height, pixels }) {
  const result = Buffer.alloc(pixels.length);
  for (let y = 0; y < height; y++)
    for (let x = 0; x < width; x++)
      pixels.copy(
        result,
        (y * width + width - 1 - x) * 4,
        (y * width + x) * 4,
        (y * width + x) * 4 + 4,
      );
  return { width, height, pixels: result };
}

function decode(name) {
  const set = sets[name];
  return keys_of(set).map((key) => pixels_of[set.format](read_tile(name, key), set));
}

const picture_of = (name) => assemble(sets[name], decode(name));

for (const [name, set] of Object.entries(sets)) {
  test(`${name}_carries_the_logo_on_its_keys_and_is_black_elsewhere`, () => {
    const decoded = decode(name);
    for (const key of keys_of(set)) {
      const starts = numbers_to(set.size * set.size).map((index) => 3 * index);
      const bright = starts.filter((at) => is_bright(decoded[key], at)).length;
      if (set.logo.includes(key)) assert.ok(bright > starts.length / 100, `key ${key}: ${bright}`);
      else
        assert.ok(
          decoded[key].every((byte) => byte === 0),
          `key ${key} is not black`,
        );
    }
  });
}

test('every_set_shows_the_same_motif_upright', () => {
  fs.mkdirSync(pictures, { recursive: true });
  const mosaics = Object.keys(sets).map((name) => {
    const picture = picture_of(name);
    fs.writeFileSync(path.join(pictures, `${name}.png`), write_png(picture));
    return [name, mosaic(picture)];
  });
  const [[, first], ...others] = mosaics;
  for (const [name, cells] of others) {
    const apart = difference(first, cells);
    assert.ok(apart < 8, `${name} differs by ${apart}`);
  }
});

test('a_mirrored_motif_would_be_told_apart', () => {
  const upright = picture_of('splash_15_jpeg');
  assert.ok(difference(mosaic(upright), mosaic(mirrored(upright))) > 16);
});
