// Renders assets/icon.svg at each size and packs the sizes into assets/icon.ico.
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';

import { read_png, write_png } from './png.mjs';

const drawing = 'assets/icon.svg';
const windows_sizes = [16, 20, 24, 32, 40, 48, 64, 128, 256];
const desktop_sizes = [16, 24, 32, 48, 64, 128, 256];
const largest_bitmap = 64; // loaders that know no PNG want the small sizes as bitmaps

function render(size) {
  const options = ['--width', `${size}`, '--height', `${size}`, '--format', 'png'];
  return read_png(execFileSync('rsvg-convert', [...options, drawing]));
}

// A bitmap as an icon holds it: no file header, twice the height, and the mask of the transparent
// pixels that loaders without an alpha channel go by.
function icon_bitmap({ width, height, pixels }) {
  const mask_stride = Math.ceil(width / 32) * 4;
  const colours = 40;
  const mask = colours + pixels.length;
  const bytes = Buffer.alloc(mask + mask_stride * height);
  bytes.writeUInt32LE(40, 0);
  bytes.writeInt32LE(width, 4);
  bytes.writeInt32LE(2 * height, 8);
  bytes.writeUInt16LE(1, 12);
  bytes.writeUInt16LE(32, 14);
  bytes.writeUInt32LE(bytes.length - colours, 20);
  for (let y = 0; y < height; y++) {
    const row = height - 1 - y;
    for (let x = 0; x < width; x++) {
      const [red, green, blue, alpha] = pixels.subarray((y * width + x) * 4);
      bytes.set([blue, green, red, alpha], colours + (row * width + x) * 4);
      if (alpha === 0) bytes[mask + row * mask_stride + (x >> 3)] |= 0x80 >> (x & 7);
    }
  }
  return bytes;
}

function icon_file(pictures) {
  const images = pictures.map((picture) =>
    picture.width <= largest_bitmap ? icon_bitmap(picture) : write_png(picture),
  );
  const directory = Buffer.alloc(6 + 16 * images.length);
  directory.writeUInt16LE(1, 2);
  directory.writeUInt16LE(images.length, 4);
  let offset = directory.length;
  images.forEach((image, index) => {
    const entry = 6 + 16 * index;
    const { width, height } = pictures[index];
    directory[entry] = width & 0xff; // 256 is written as 0
    directory[entry + 1] = height & 0xff;
    directory.writeUInt16LE(1, entry + 4);
    directory.writeUInt16LE(32, entry + 6);
    directory.writeUInt32LE(image.length, entry + 8);
    directory.writeUInt32LE(offset, entry + 12);
    offset += image.length;
  });
  return Buffer.concat([directory, ...images]);
}

fs.writeFileSync('assets/icon.ico', icon_file(windows_sizes.map(render)));
for (const size of desktop_sizes)
  fs.writeFileSync(`assets/icon-${size}.png`, write_png(render(size)));
