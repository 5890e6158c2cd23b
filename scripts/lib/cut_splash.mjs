// Lays assets/logo.svg across the grid of keys of each splash set and writes what falls on each key
// as the file that goes to the deck: src/decks/splash/<set>/<key>.<format>.
//
// The picture covers the frame between the keys too, so that the lines go straight on behind it.
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';

import { read_png } from './png.mjs';

const drawing = 'assets/logo.svg';
const folder = 'src/decks/splash';
const frame_width = 0.2; // between two keys, as a part of a key's width
const jpeg_quality = '92';

// The shape of each grid, and where the drawing's box lies on it: half its width beside the middle,
// its top and its bottom, in key widths. The boxes are chosen so that the drawing falls exactly on
// the keys that `logo` lists. `rotation` is clockwise, the same that servers are asked to apply.
const grids = {
  five_by_three: {
    columns: 5,
    rows: 3,
    logo: [2, 6, 7, 8, 11, 12, 13],
    box: { half_width: 1.42, top: 0.36, bottom: 3.06 },
  },
  eight_by_four: {
    columns: 8,
    rows: 4,
    logo: [3, 4, 10, 11, 12, 13, 18, 19, 20, 21, 25, 26, 27, 28, 29, 30],
    box: { half_width: 2.8, top: 0.05, bottom: 4.4 },
  },
  three_by_two: {
    columns: 3,
    rows: 2,
    logo: [1, 3, 4, 5],
    box: { half_width: 1.3, top: 0.08, bottom: 2.12 },
  },
  four_by_two: {
    columns: 4,
    rows: 2,
    logo: [1, 2, 4, 5, 6, 7],
    box: { half_width: 1.6, top: 0.06, bottom: 2.14 },
  },
};
const sets = {
  splash_15_jpeg: { grid: grids.five_by_three, key_size: 72, format: 'jpg', rotation: 180 },
  splash_32_jpeg: { grid: grids.eight_by_four, key_size: 96, format: 'jpg', rotation: 180 },
  splash_6_bmp: { grid: grids.three_by_two, key_size: 80, format: 'bmp', rotation: 90 },
  splash_8_jpeg_120: { grid: grids.four_by_two, key_size: 120, format: 'jpg', rotation: 0 },
  splash_8_jpeg_96: { grid: grids.four_by_two, key_size: 96, format: 'jpg', rotation: 180 },
  // The adapter mirrors these itself when it converts them for the device.
  splash_15_original: { grid: grids.five_by_three, key_size: 72, format: 'bmp', rotation: 0 },
};

function render({ half_width, top, bottom }, key_size) {
  const width = Math.round(2 * half_width * key_size);
  const height = Math.round((bottom - top) * key_size);
  const size = ['--width', `${width}`, '--height', `${height}`];
  return read_png(execFileSync('rsvg-convert', [...size, '--format', 'png', drawing]));
}

// The RGB bytes of a square of the picture, black where the drawing is transparent or absent.
function cut(picture, left, top, size) {
  const tile = Buffer.alloc(size * size * 3);
  for (let y = 0; y < size; y++) {
    for (let x = 0; x < size; x++) {
      const [column, row] = [left + x, top + y];
      if (column < 0 || row < 0 || column >= picture.width || row >= picture.height) continue;
      const from = (row * picture.width + column) * 4;
      const opacity = picture.pixels[from + 3] / 255;
      for (let part = 0; part < 3; part++)
        tile[(y * size + x) * 3 + part] = Math.round(picture.pixels[from + part] * opacity);
    }
  }
  return tile;
}

function turned_a_quarter_clockwise(tile, size) {
  const turned = Buffer.alloc(tile.length);
  for (let y = 0; y < size; y++)
    for (let x = 0; x < size; x++)
      tile.copy(turned, (x * size + size - 1 - y) * 3, (y * size + x) * 3, (y * size + x) * 3 + 3);
  return turned;
}

function bmp_file(tile, size) {
  const header = Buffer.alloc(54);
  header.write('BM');
  header.writeUInt32LE(54 + tile.length, 2);
  header.writeUInt32LE(54, 10);
  header.writeUInt32LE(40, 14);
  header.writeInt32LE(size, 18);
  header.writeInt32LE(size, 22); // above zero: the bottom row comes first
  header.writeUInt16LE(1, 26);
  header.writeUInt16LE(24, 28);
  header.writeUInt32LE(tile.length, 34);
  const rows = Buffer.alloc(tile.length);
  const stride = size * 3;
  for (let y = 0; y < size; y++)
    tile.copy(rows, (size - 1 - y) * stride, y * stride, (y + 1) * stride);
  for (let at = 0; at < rows.length; at += 3) [rows[at], rows[at + 2]] = [rows[at + 2], rows[at]];
  return Buffer.concat([header, rows]);
}

function jpeg_file(tile, size) {
  const options = ['-quality', jpeg_quality, '-sample', '2x2', '-baseline', '-optimize'];
  const input = Buffer.concat([Buffer.from(`P6\n${size} ${size}\n255\n`), tile]);
  return execFileSync('cjpeg', options, { input });
}

const encoders = { bmp: bmp_file, jpg: jpeg_file };

function write_set(name, { grid, key_size, format, rotation }) {
  const pitch = key_size + Math.round(key_size * frame_width);
  const picture = render(grid.box, key_size);
  const left = Math.round(((grid.columns - 1) * pitch + key_size - picture.width) / 2);
  const top = Math.round(grid.box.top * key_size);

  fs.rmSync(path.join(folder, name), { recursive: true, force: true });
  fs.mkdirSync(path.join(folder, name), { recursive: true });
  for (let key = 0; key < grid.columns * grid.rows; key++) {
    const column = key % grid.columns;
    const row = Math.floor(key / grid.columns);
    let tile = cut(picture, column * pitch - left, row * pitch - top, key_size);
    if (tile.some((byte) => byte > 0) !== grid.logo.includes(key))
      throw new Error(`${name}: key ${key} has the drawing where it should not, or lacks it`);
    for (let degrees = 0; degrees < rotation; degrees += 90)
      tile = turned_a_quarter_clockwise(tile, key_size);
    const file = `${String(key).padStart(2, '0')}.${format}`;
    fs.writeFileSync(path.join(folder, name, file), encoders[format](tile, key_size));
  }
}

for (const [name, set] of Object.entries(sets)) write_set(name, set);
